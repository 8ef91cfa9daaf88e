"""Writes host/core.pyi from the built module: classes, signatures and properties as they are bound.

Where a binding can only say "some object", tools/stub_types.py says what it is.
"""

from __future__ import annotations

import argparse
import importlib
import re
import sys
from collections.abc import MutableSequence
from pathlib import Path
from typing import Any

from stub_types import (
    ALIASES,
    ARGUMENTS,
    CLASSES,
    ELEMENTS,
    PER_OBJECT,
    READ_ONLY,
    RESULTS,
    TYPES,
)

STUB = Path(__file__).resolve().parents[1] / "host" / "core.pyi"
HEADER = '''"""{doc}

Written by tools/make_stub.py from the built module.
"""
'''
# What the stub may need, by module; only what it uses is imported.
IMPORTS = {
    "collections.abc": (
        *("Callable", "Iterable", "Iterator", "Mapping", "MutableSequence", "Sequence"),
    ),
    "contextlib": ("AbstractContextManager",),
    "os": ("PathLike",),
    "typing": ("Any", "ClassVar", "overload"),
}
# Special methods that are part of the interface; others come with every class.
SPECIAL = {
    *("__init__", "__call__", "__iter__", "__len__", "__getitem__", "__setitem__", "__delitem__"),
    *("__contains__", "__enter__", "__exit__", "__add__", "__bool__", "__next__"),
    *("__str__", "__bytes__"),
}
# What a live list has beside its own element type comes from MutableSequence.
SEQUENCE_OWN = {"copy", "sort"}
SIGNATURE = re.compile(r"^(?:\d+\. )?(\w*)\((.*)\)(?: -> (.+))?$")
# An operation that a host implements tells its arguments in its docstring: "name(arguments): what".
ABSTRACT = re.compile(r"^(\w+)\((.*?)\): ")


class Stub:
    """The lines of the stub of one module."""

    def __init__(self, module: Any) -> None:
        self.module = module
        self.lines: list[str] = []
        self.aliases: set[str] = set()

    def text(self) -> str:
        for name, value in vars(self.module).items():
            if name.startswith("__") and name != "__version__":
                continue
            self.member(name, value, [], 0)
        self.lines += ["\n", *(f"{name}Class = {name}" for name in sorted(self.aliases))]
        body = "\n".join(self.lines).rstrip() + "\n"
        text = HEADER.format(doc=self.module.__doc__) + "\n" + imports(body) + "\n" + body
        return re.sub(r"\n{3,}(?= )", "\n\n", re.sub(r"\n{4,}", "\n\n\n", text))

    def add(self, depth: int, line: str) -> None:
        self.lines.append("    " * depth + line)

    def member(self, name: str, value: Any, path: list[str], depth: int) -> None:
        dotted = ".".join([*path, name])
        if isinstance(value, type):
            if value.__name__ == name and value.__qualname__ == dotted:
                self.class_(value, [*path, name], depth)
            elif name == value.__qualname__:
                # Inside a class the name would stand for itself.
                self.aliases.add(name)
                self.add(depth, f"{name} = {name}Class")
            else:
                self.add(depth, f"{name} = {value.__qualname__}")
        elif isinstance(value, property):
            self.property_(name, value, dotted, depth)
        elif isinstance(value, staticmethod):
            self.function(name, value.__func__, dotted, depth, "@staticmethod")
        elif callable(value):
            self.function(name, value, dotted, depth)
        elif name == "__hash__" and value is None:
            self.add(depth, "__hash__: ClassVar[None]  # type: ignore[assignment]")
        else:
            kind = TYPES.get(dotted, type(value).__name__)
            plain = not path or dotted in PER_OBJECT
            self.add(depth, f"{name}: {kind if plain else f'ClassVar[{kind}]'}")

    def class_(self, value: type, path: list[str], depth: int) -> None:
        dotted = ".".join(path)
        element = ELEMENTS.get(dotted, "Any") if is_live_list(value) else None
        bases = [self.base_text(base) for base in value.__bases__ if public(base)]
        if element is not None:
            bases = [f"MutableSequence[{element}]"]
        if depth == 0:
            self.lines.append("\n")
        self.add(depth, f"class {path[-1]}{'(' + ', '.join(bases) + ')' if bases else ''}:")
        self.add(depth + 1, f'"""{first_line(value.__doc__)}"""\n')
        if element is not None:
            self.list_protocol(element, dotted, depth + 1)
        for name, member in vars(value).items():
            if name.startswith(("__", "_pybind11")) and name not in SPECIAL | {"__hash__"}:
                continue
            if element is not None and name not in SEQUENCE_OWN | {"__init__"}:
                continue
            if not name.startswith("__") or name in SPECIAL or member is None:
                self.member(name, member, path, depth + 1)
        self.lines.append("")

    def list_protocol(self, element: str, dotted: str, depth: int) -> None:
        """The abstract operations of a mutable sequence, and the operators of a list."""
        self.add(depth, "def __len__(self) -> int: ...")
        self.add(depth, "def __getitem__(self, index: Any) -> Any: ...")
        self.add(depth, "def __setitem__(self, index: Any, value: Any) -> None: ...")
        self.add(depth, "def __delitem__(self, index: Any) -> None: ...")
        self.add(depth, f"def insert(self, index: int, value: {element}) -> None: ...")
        plain, other = f"list[{element}]", f"list[{element}] | {dotted}"
        self.signature("__add__", f"self, other: {other}", plain, depth, "")
        self.signature("__radd__", f"self, other: {plain}", plain, depth, "")
        for name in ("__mul__", "__rmul__"):
            self.signature(name, "self, count: int", plain, depth, "")
        self.signature("__imul__", "self, count: int", dotted, depth, "")
        for name in ("__lt__", "__le__", "__gt__", "__ge__"):
            self.signature(name, f"self, other: {other}", "bool", depth, "")

    def base_text(self, base: type) -> str:
        return self.type_text(base.__name__ if base.__module__ == "builtins" else base.__qualname__)

    def property_(self, name: str, value: property, dotted: str, depth: int) -> None:
        result = self.known(dotted, self.result_of(value.fget))
        self.add(depth, "@property")
        self.add(depth, f"def {name}(self) -> {result}: ...")
        if value.fset is not None and dotted not in READ_ONLY:
            self.add(depth, f"@{name}.setter")
            self.add(depth, f"def {name}(self, value: {result}) -> None: ...")

    def result_of(self, getter: Any) -> str:
        found = SIGNATURE.match(first_line(getter.__doc__))
        return self.type_text(found.group(3) or "Any") if found else "Any"

    def function(self, name: str, value: Any, dotted: str, depth: int, decorator: str = "") -> None:
        lines = (value.__doc__ or "").splitlines()
        abstract = [found for line in lines if (found := ABSTRACT.match(line))]
        signatures = abstract or [
            found
            for line in lines
            if (found := SIGNATURE.match(line))
            and found.group(1) in (name, "initialise")
            and found.group(2) != "*args, **kwargs"
        ]
        if not signatures:
            free = "*args: Any, **kwargs: Any"
            arguments = free if decorator or depth == 0 else f"self, {free}"
            self.signature(name, arguments, self.known(dotted, "Any"), depth, decorator)
        for found in signatures:
            if len(signatures) > 1:
                self.add(depth, "@overload")
            text = ("self, " if abstract else "") + found.group(2)
            result = "Any" if abstract else self.type_text(found.group(3) or "None")
            arguments = self.arguments(text, dotted, bool(decorator) or depth == 0)
            self.signature(name, arguments, self.known(dotted, result), depth, decorator)

    @staticmethod
    def known(dotted: str, told: str) -> str:
        """The type that the tables know, before the one that the binding tells."""
        by_name = RESULTS.get(dotted.rpartition(".")[2], told)
        return TYPES.get(dotted, by_name if told == "Any" else told)

    def signature(self, name: str, arguments: str, result: str, depth: int, decorator: str) -> None:
        result = "None" if name == "__init__" else result
        if decorator:
            self.add(depth, decorator)
        line = f"def {name}({arguments}) -> {result}: ..."
        if depth * 4 + len(line) <= 100:
            self.add(depth, line)
            return
        self.add(depth, f"def {name}(")
        for argument in split_arguments(arguments):
            self.add(depth + 1, f"{argument},")
        self.add(depth, f") -> {result}: ...")

    def arguments(self, text: str, dotted: str, static: bool) -> str:
        result = []
        for index, argument in enumerate(split_arguments(text)):
            name, _, rest = argument.partition(":")
            kind, equals, default = rest.partition("=")
            if not rest:
                name, equals, default = argument.partition("=")
            name = name.strip()
            if index == 0 and not static:
                result.append("self")
            elif name.startswith("*"):
                result.append(f"{name}: {ARGUMENTS.get(name, 'Any')}")
            else:
                kind = TYPES.get(f"{dotted}({name})") or self.type_text(kind.strip())
                kind = ARGUMENTS.get(name, "Any") if kind in ("", "Any") else kind
                if default.strip() == "None" and "None" not in kind and kind != "Any":
                    kind = f"{kind} | None"
                result.append(f"{name}: {kind}" + (" = ..." if equals else ""))
        return ", ".join(result)

    @staticmethod
    def type_text(text: str) -> str:
        for pattern, replacement in ALIASES:
            text = re.sub(pattern, replacement, text)
        # A class that was bound after the function is named as C++ names it.
        for foreign in re.findall(r"[^\[\], ]*::.*", text):
            text = text.replace(foreign, CLASSES.get(foreign, "Any"))
            if foreign not in CLASSES:
                print(f"stub_types.CLASSES lacks {foreign}", file=sys.stderr)
        return text


def imports(body: str) -> str:
    lines = ""
    for module, names in IMPORTS.items():
        used = [name for name in names if re.search(rf"\b{name}\b", body)]
        lines += f"from {module} import {', '.join(used)}\n" if used else ""
    return lines


def is_live_list(value: type) -> bool:
    return issubclass(value, MutableSequence) and "insert" in vars(value)


def public(base: type) -> bool:
    return base is not object and not base.__name__.startswith("pybind11")


def first_line(text: str | None) -> str:
    return (text or "").strip().partition("\n")[0]


def split_arguments(text: str) -> list[str]:
    """The arguments of a signature, split at commas outside brackets and texts."""
    parts, depth, quote, start = [], 0, "", 0
    for index, letter in enumerate(text):
        if quote:
            quote = "" if letter == quote else quote
        elif letter in "'\"":
            quote = letter
        elif letter in "[({":
            depth += 1
        elif letter in "])}":
            depth -= 1
        elif letter == "," and depth == 0:
            parts.append(text[start:index].strip())
            start = index + 1
    return [part for part in [*parts, text[start:].strip()] if part]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--check", action="store_true", help="compare instead of writing")
    arguments = parser.parse_args()
    text = Stub(importlib.import_module("core")).text()
    if not arguments.check:
        STUB.write_text(text, encoding="utf-8")
        return 0
    if STUB.read_text(encoding="utf-8") == text:
        return 0
    print("host/core.pyi is not what tools/make_stub.py writes for this module", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
