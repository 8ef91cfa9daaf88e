"""Writes docs/checks.md from the check classes that ship with Kavel.

PYTHONPATH=build/dev:. python tools/make_check_docs.py [--check]
"""

from __future__ import annotations

import argparse
import importlib
import inspect
import pkgutil
import sys
from collections.abc import Iterable
from pathlib import Path
from typing import Any

import core
from kavel import checking, checks

ROOT = Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "checks.md"
_BASES = (checking.ObjectCheck, checking.MeshCheck)
_HEADER = """# The checks that ship with Kavel

They are in `kavel/checks`, and run wherever a host gives them a view of its scene. A project lists
them by their id. Parameters are shown with their defaults; how to write further checks tells
[writing-a-check.md](writing-a-check.md).

A check marked as fixable can repair what it finds. It does not offer to where that would disturb a
skin, a blend shape, an animation, or another object that shows the same mesh; the message says why.

In glTF files, points in the same place that move alike are one before any check sees them. So parts
of a mesh that touch exactly count as joined, and only points that are apart count as not merged.
The numbers of points and edges in a message are those of the merged points; the numbers of faces
are those of the file.

<!-- Written by tools/make_check_docs.py from the classes. -->
"""


def shipped() -> list[Any]:
    """The classes of `kavel.checks`, in the order in which they are listed."""
    known = vars(core.Constants.Check.Category).items()
    order = [value for name, value in known if not name.startswith("_")]
    found = []
    for entry in pkgutil.iter_modules(checks.__path__):
        module = importlib.import_module(f"kavel.checks.{entry.name}")
        own = (item for item in vars(module).values() if inspect.isclass(item))
        found += [item for item in own if item.__module__ == module.__name__]
    return sorted(found, key=lambda check: (order.index(check.category), check.sort_index))


def page(classes: Iterable[Any]) -> str:
    parts, category = [_HEADER], ""
    for check in classes:
        if check.category != category:
            category = check.category
            parts.append(f"\n## {_title(category)}\n\n")
            parts.append("| Check | Finds | Parameters |\n| --- | --- | --- |\n")
        inputs = "<br>".join(_input(item) for item in check.parameters().inputs)
        about = f"**{check.long_name}**<br>`{check.class_id}`"
        notes = ["whole scene"] if check.scene_oriented else []
        notes += ["fixable"] if is_fixable(check) else []
        about += f"<br>{', '.join(notes)}" if notes else ""
        parts.append(f"| {about} | {check.description} | {inputs} |\n")
    return "".join(parts)


def is_fixable(check: Any) -> bool:
    return any(issubclass(check, base) and check.fix is not base.fix for base in _BASES)


def _title(category: str) -> str:
    return "Levels of detail" if category == "lod" else category.capitalize()


def _input(item: Any) -> str:
    """The attribute with the default; texts as code, their bars escaped for the table."""
    value = item.data
    if isinstance(item, core.Parameters.ComboBox):
        shown = item.get_selected()
    elif isinstance(value, dict):
        (plain,) = value.values()
        shown = {True: "on", False: "off"}[plain] if isinstance(plain, bool) else _code(plain)
        shown += f" {item.units}" if getattr(item, "units", "") else ""
    elif isinstance(item, core.Parameters.IntSliceList):
        shown = ", ".join(f"{piece.start.value} to {piece.stop.value}" for piece in item)
    else:
        texts = list(item.values)
        shown = ", ".join(map(_code, texts)) or "none"
        if len(shown) > 80:
            shown = f"{len(texts)} texts"
    return f"{item.attr}: {shown}"


def _code(value: Any) -> str:
    if isinstance(value, str):
        return "`" + value.replace("|", "\\|") + "`"
    return f"{value:,}" if isinstance(value, int) else f"{value:.6f}".rstrip("0").rstrip(".")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--check", action="store_true", help="only tell whether it is up to date")
    arguments = parser.parse_args()
    text = page(shipped())
    if not arguments.check:
        PAGE.write_text(text, encoding="utf-8")
        return 0
    if PAGE.read_text(encoding="utf-8") == text:
        return 0
    print("docs/checks.md is not what tools/make_check_docs.py writes", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
