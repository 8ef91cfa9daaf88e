"""The difference between two records as text, at most 80 columns wide."""

from __future__ import annotations

import json
from collections.abc import Callable, Iterable, Iterator, Sequence
from typing import Any

from rich.cells import cell_len
from rich.console import Console
from rich.text import Text

from kavel.editing.changes import Change
from kavel.editing.check_changes import same
from kavel.editing.records import Entry
from kavel.outline import range_text
from kavel.stored_values import shown_value
from kavel.terminal import printable

WIDTH = 80
_STYLES = {"+": "green", "-": "red", "~": "yellow"}
_SIGNS = {"rule_added": "+", "rule_removed": "-"}
_HANG = "    "

Lines = list[str]


def print_diff(
    console: Console, name: str, before: Entry, after: Entry, changes: Sequence[Change]
) -> None:
    """A heading, then the changes of each rule, those of the tree's order, and the rest."""
    _print(console, Text(f"{printable(name)}: record {before.number} to {after.number}", "bold"))
    for entry in (before, after):
        parts = (str(entry.number), entry.time, entry.author, entry.comment)
        _print(console, Text("  ".join(printable(part) for part in parts if part)), "  ")
    if not changes:
        _print(console, Text("nothing changed"))
    rule: tuple[str, str] | None = None
    for change in changes:
        if change.stamp and (change.kind in _SIGNS or (change.rule, change.stamp) != rule):
            rule = (change.rule, change.stamp)
            sign = _SIGNS.get(change.kind, "~")
            _print(console, Text(f'{sign} rule "{printable(change.rule)}"', _STYLES[sign]))
        for line in _lines(change):
            _print(console, Text(printable(line)), "    " if change.stamp else "")


def _print(console: Console, text: Text, indent: str = "") -> None:
    """Lines that fit; a word is broken only when it is longer than a line."""
    room = WIDTH - len(indent)
    if cell_len(text.plain) <= room:
        lines = [text]
    else:
        # The first line has more room than the others, which is left unused.
        lines = list(text.wrap(console, room - len(_HANG), overflow="fold"))
    for number, line in enumerate(lines):
        line.rstrip()
        console.print(Text.assemble(indent, _HANG if number else "", line))


def _lines(change: Change) -> Iterator[str]:
    kind, before, after = change.kind, change.before, change.after
    if kind in ("rule_added", "rule_removed"):
        yield from _rule_lines(after or before)
    elif kind in _FIELDS:
        yield from _FIELDS[kind](change)
    elif kind.startswith("place_"):
        yield from _place_lines(change)
    elif kind == "rule_order":
        yield "~ order in the list of rules, without an effect on scenes:"
        yield from _pair(", ".join(before), ", ".join(after))
    elif kind == "export":
        yield from _from_to(f"~ export setting {change.subject}", _stored(before), _stored(after))
    else:
        yield from _check_lines(change)


def _rule_lines(rule: dict[str, Any]) -> Lines:
    lines = [f"expression: {rule['regex']}", f"types: {_types(rule['types'])}"]
    lines.append(f"range: {range_text(rule['range'])}")
    checks = [check for check, entry in rule["checklist"].items() if entry["enabled"]]
    return lines + ([f"checks: {', '.join(checks)}"] if checks else [])


def _type_lines(change: Change) -> Lines:
    before, after = change.before, change.after
    if sorted(before) == sorted(after):
        return _from_to("order of types", _types(before), _types(after))
    return _from_to("types", _types(before), _types(after))


def _range_lines(change: Change) -> Lines:
    before, after = range_text(change.before), range_text(change.after)
    return [f"range: {before} -> {after}" + (f" ({change.effect})" if change.effect else "")]


_FIELDS: dict[str, Callable[[Change], Lines]] = {
    "identity": lambda change: [f"identity: {change.before} -> {change.after}"],
    "name": lambda change: _from_to("name", f'"{change.before}"', f'"{change.after}"'),
    "expression": lambda change: _from_to("expression", change.before, change.after),
    "types": _type_lines,
    "range": _range_lines,
    "color": lambda change: _from_to("color", change.before or "none", change.after or "none"),
    "icon": lambda change: _from_to("icon", change.before or "none", change.after or "none"),
}


def _place_lines(change: Change) -> Lines:
    if change.kind == "place_added":
        return [f"in the tree: {_above(change.after)}"]
    if change.kind == "place_removed":
        return [f"no longer in the tree: {_above(change.before)}"]
    if change.kind == "place_moved":
        return _from_to("moved", _above(change.before), _above(change.after))
    where = f"below {change.subject}" if change.subject else "at the top"
    return [f"~ order {where}:", *_pair(", ".join(change.before), ", ".join(change.after))]


def _above(names: Iterable[str]) -> str:
    path = " > ".join(names)
    return f"below {path}" if path else "at the top"


def _check_lines(change: Change) -> Lines:
    check = f"check {change.check}"
    before, after = change.before, change.after
    if change.kind == "check_added":
        return [f"{check}: added, {_switch(after['enabled'])}", *_set_lines(after["parameters"])]
    if change.kind == "check_removed":
        return [f"{check}: removed, was {_switch(before['enabled'])}"]
    if change.kind == "check_switched":
        return [f"{check}: switched {_switch(after)}"]
    if change.kind == "check_opened":
        return [f"{check}: {'un' if after else ''}folded in user interfaces"]
    if change.kind == "parameter_sets":
        title = f"{check}: sets of parameters"
        return [title, "was:", *_set_lines(before), "now:", *_set_lines(after)]
    number = f", set {change.set}" if change.set > 1 else ""
    if change.kind == "parameter_level":
        return [f"{check}{number}: findings are {'notes' if after else 'failures'}"]
    return _parameter_lines(f"{check}{number}, {change.subject}", before, after)


def _parameter_lines(title: str, before: Any, after: Any) -> Lines:
    """Of long lists only what differs."""
    if isinstance(before, list) and isinstance(after, list):
        gone = [item for item in before if not any(same(item, other) for other in after)]
        come = [item for item in after if not any(same(item, other) for other in before)]
        if gone or come:
            return [f"{title}:", *(f"  - {_value(item)}" for item in gone),
                    *(f"  + {_value(item)}" for item in come)]  # fmt: skip
    shown = [_value(before), _value(after)]
    if shown[0] == shown[1]:
        shown = [json.dumps(value) for value in (before, after)]
    return _from_to(title, *shown)


def _set_lines(parameters: list[Any]) -> Lines:
    lines = []
    for number, values in enumerate(parameters, 1):
        if not isinstance(values, dict) or not isinstance(values.get("state"), dict):
            lines.append(f"  set {number}: {json.dumps(values)}")
            continue
        shown = [f"{attr} {_value(value)}" for attr, value in values["state"].items()]
        level = ["findings are notes"] if values.get("as_info") else []
        lines.append(f"  set {number}: {', '.join(level + shown) or 'defaults'}")
    return lines or ["  defaults"]


def _from_to(title: str, before: str, after: str) -> Lines:
    line = f"{title}: {before} -> {after}"
    return [line] if cell_len(line) <= WIDTH - 8 else [f"{title}:", *_pair(before, after)]


def _pair(before: str, after: str) -> Lines:
    return [f"  - {before}", f"  + {after}"]


def _stored(value: Any) -> str:
    if value is None or isinstance(value, bool):
        return "(none)" if value is None else _switch(value)
    return value if isinstance(value, str) else json.dumps(value, ensure_ascii=False)


def _types(types: Sequence[str]) -> str:
    return ", ".join(types) or "any"


def _switch(enabled: bool) -> str:
    return "on" if enabled else "off"


def _value(value: Any) -> str:
    if value is None:
        return "(default)"
    if isinstance(value, list):
        return f"[{', '.join(map(_value, value))}]"
    return shown_value(value) if isinstance(value, (dict, bool)) else str(value)
