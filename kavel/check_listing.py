"""Check classes as a list, in detail, and as data."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Sequence
from typing import Any

from rich.console import Console
from rich.text import Text

from kavel.columns import Row, column_widths, print_columns
from kavel.stored_values import allowed_text, shown_value
from kavel.terminal import check_title, printable

_OUTCOMES = {"loaded": "green", "denied": "red", "failed": "red", "duplicate": "yellow"}


def check_data(control: Any) -> dict[str, Any]:
    """What a control of the core's check list says, as JSON. `name` is the long one, by which
    reports and usage records call the check."""
    check = control.check
    return {
        "id": str(check.class_id),
        "name": str(check.long_name),
        "short_name": str(check.short_name),
        "category": str(check.category),
        "description": str(control.description),
        "scene_wide": bool(check.scene_oriented),
        "enabled": bool(control.enabled),
        "parameters": [
            {
                "attr": str(item.attr),
                "type": type(item).__name__,
                "label": str(item.label),
                "help": str(item.help_text),
                "units": str(getattr(item, "units", "")),
                "default": item.data,
                "allowed": allowed_text(item),
            }
            for item in control.parameters.inputs
        ],
    }


def print_check_list(output: Console, checks: Iterable[dict[str, Any]]) -> None:
    """One line for each check, below its category."""
    groups: dict[str, list[Row]] = {}
    for data in checks:
        state = ("  on", "green") if data["enabled"] else ("  off", "dim")
        row: Row = [state, (printable(data["id"]), "cyan"), printable(data["name"])]
        groups.setdefault(data["category"], []).append(row)
    widths = column_widths(output, [row for rows in groups.values() for row in rows])
    for category, rows in groups.items():
        output.print(Text(printable(category), "bold"))
        print_columns(output, rows, widths=widths)


def print_check_details(output: Console, data: dict[str, Any]) -> None:
    """A check with its description and its parameters."""
    output.print(Text(printable(check_title(data["name"], data["id"])), "bold"))
    facts = [data["category"], "on" if data["enabled"] else "off"]
    facts += ["once for the whole scene"] if data["scene_wide"] else []
    output.print(Text("  " + ", ".join(map(printable, facts)), "dim"))
    lines: list[Row] = [[printable(line)] for line in data["description"].splitlines()]
    print_columns(output, lines, indent="  ", hang=0)
    rows = [row for item in data["parameters"] for row in _parameter_rows(item)]
    print_columns(output, rows, indent="    ", hang=0)


def _parameter_rows(item: dict[str, Any]) -> Iterator[Row]:
    default = f"{shown_value(item['default'])} {item['units']}".rstrip()
    yield [(printable(item["attr"]), "cyan"), f"{item['type']}, default {printable(default)}"]
    told = ": ".join(part for part in (item["label"], item["help"]) if part)
    if told:
        yield ["", printable(told)]
    yield ["", (f"stored as {printable(item['allowed'])}", "dim")]


def print_found(output: Console, found: Sequence[Any], trace: bool) -> None:
    """What became of files and classes: of those that are broken, or with `trace` of all of them,
    with the tracebacks."""
    broken = [note for note in found if note.broken]
    files: dict[str, list[Any]] = {}
    for note in found if trace else broken:
        files.setdefault(note.file, []).append(note)
    if files:
        output.print(Text("found" if trace else "cannot be used", "bold"))
    for file, notes in files.items():
        output.print("  " + printable(file))
        print_columns(output, [_found_row(note) for note in notes], indent="    ")
        for note in notes if trace else ():
            for line in note.traceback.splitlines():
                output.print(f"      {printable(line)}")
    if broken and not trace:
        one = len(broken) == 1
        words = "entry of the check folders" if one else "entries of the check folders"
        output.print(f"{len(broken)} {words} cannot be used; --trace tells more")


def _found_row(note: Any) -> Row:
    style = _OUTCOMES.get(note.outcome, "dim")
    name = note.class_name or ("the file" if note.module else "the folder")
    reason = "a base, no check" if note.outcome == "intermediate" else note.reason
    cells = (name, note.class_id, reason)
    return [(note.outcome, style), *map(printable, cells)]
