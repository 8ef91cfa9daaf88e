"""`kavel checks`: the checks that are installed, and which of them are yours to run."""

from __future__ import annotations

import argparse
from collections.abc import Sequence
from typing import Any

from rich.console import Console
from rich.text import Text

from kavel.columns import Cell, print_columns
from kavel.commands.options import add_check_folders, add_json
from kavel.json_output import write_json
from kavel.native import require_core
from kavel.terminal import count, make_console, printable
from kavel.versions import versions

SCHEMA = "kavel.checks/1"
_LONGEST = 60  # characters of a list of default values
_STYLES = {"loaded": "green", "denied": "red", "failed": "red", "duplicate": "yellow"}


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "checks",
        help="list checks, and choose your own",
        description="List the checks that are installed with their parameters, and every file and "
        "class that was found, usable or not. What you enable here runs in "
        "`kavel validate --mode selection`.",
    )
    add_check_folders(parser)
    parser.add_argument(
        "--trace", action="store_true", help="print the traceback of what could not be loaded"
    )
    add_json(parser, in_place_of="the list")
    parser.set_defaults(run=run_list)
    actions = parser.add_subparsers(metavar="ACTION")
    for name, enabled in (("enable", True), ("disable", False)):
        action = actions.add_parser(name, help=f"{name} checks in your configuration")
        action.add_argument("ids", nargs="+", metavar="ID")
        action.set_defaults(run=run_enable, enabled=enabled)
    preset = actions.add_parser("preset", help="keep and take back configurations")
    presets = preset.add_subparsers(required=True, metavar="ACTION")
    presets.add_parser("list", help="list your presets").set_defaults(run=run_presets)
    for name, what in _PRESET_ACTIONS.items():
        action = presets.add_parser(name, help=what)
        action.add_argument("name", metavar="NAME")
        action.set_defaults(run=run_preset, action=name)


_PRESET_ACTIONS = {
    "create": "keep the present configuration under a name",
    "apply": "take a preset for your configuration",
    "erase": "forget a preset",
}


def run_list(arguments: argparse.Namespace) -> int:
    own = _own(arguments)
    from kavel.registry import read_report

    found = read_report(own.classes)
    if arguments.json:
        checks = [_check_data(control) for control in own.list]
        notes = [note.data() for note in found]
        report = {"schema": SCHEMA, "checks": checks, "found": notes, "versions": versions()}
        write_json(arguments.json, report)
    if arguments.json != "-":
        output = make_console()
        _print_checks(output, own.list)
        _print_found(output, found, arguments.trace)
    return 0


def run_enable(arguments: argparse.Namespace) -> int:
    _own(arguments).enable(arguments.ids, arguments.enabled)
    return 0


def run_presets(arguments: argparse.Namespace) -> int:
    own, output = _own(arguments), make_console()
    for name in own.preset_names:
        output.print(printable(name) + (" (in use)" if own.applied(name) else ""))
    return 0


def run_preset(arguments: argparse.Namespace) -> int:
    own = _own(arguments)
    actions = {
        "create": own.create_preset,
        "apply": own.apply_preset,
        "erase": own.erase_preset,
    }
    actions[arguments.action](arguments.name)
    return 0


def _own(arguments: argparse.Namespace) -> Any:
    require_core()
    from kavel.logs import LogHandler
    from kavel.own_checks import OwnChecks
    from kavel.registry import check_setup

    # What could not be loaded is listed: the log would only say it twice.
    with LogHandler(make_console(stderr=True)):
        return OwnChecks(arguments.home, check_setup(arguments.home, arguments.checks))


def _check_data(control: Any) -> dict[str, Any]:
    check = control.check
    return {
        "id": str(check.class_id),
        "name": str(control.name),
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
            }
            for item in control.parameters.inputs
        ],
    }


def _print_checks(output: Console, checklist: Any) -> None:
    for category in checklist.categories:
        output.print(Text(printable(str(category.name)), "bold"))
        for control in category:
            _print_check(output, _check_data(control))


def _print_check(output: Console, data: dict[str, Any]) -> None:
    enabled = data["enabled"]
    mark = ("  on   ", "green") if enabled else ("  off  ", "dim")
    name, class_id = printable(data["name"]), printable(data["id"])
    output.print(Text.assemble(mark, (class_id, "cyan"), "  ", (name, "bold")))
    output.print(Text(f"       {printable(data['description'])}"))
    rows: list[list[str | Cell]] = []
    for item in data["parameters"]:
        value = f"{shown_value(item['default'])} {item['units']}".rstrip()
        cells = (item["attr"], item["type"], value, item["label"])
        rows.append([printable(cell) for cell in cells])
    print_columns(output, rows, " " * 9)


def shown_value(data: Any) -> str:
    """A stored value as a reader thinks of it: 3, "UVMap", off, [1 to 2]."""
    if isinstance(data, list):
        shown = ", ".join(shown_value(item) for item in data)
        return (
            f"[{shown}]" if len(shown) < _LONGEST else f"[{count(len(data), 'entry', 'entries')}]"
        )
    if not isinstance(data, dict):
        return "on" if data is True else "off" if data is False else str(data)
    if set(data) == {"start", "stop"}:
        return f"{shown_value(data['start'])} to {shown_value(data['stop'])}"
    parts = [
        shown_value(value) for key, value in data.items() if key != "enabled" or len(data) == 1
    ]
    return ", ".join(parts) + (" (off)" if len(data) > 1 and data.get("enabled") is False else "")


def _print_found(output: Console, found: Sequence[Any], trace: bool) -> None:
    output.print(Text("found", "bold"))
    rows: list[list[str | Cell]] = [
        [
            ("  " + note.outcome, _STYLES.get(note.outcome, "dim")),
            printable(note.class_name or note.module or "(folder)"),
            printable(note.class_id),
            printable(note.reason or note.file),
        ]
        for note in found
    ]
    print_columns(output, rows)
    if trace:
        for note in found:
            if note.traceback:
                output.print(Text(f"{printable(note.name)}:", "bold"))
                for line in note.traceback.splitlines():
                    output.print(f"  {printable(line)}")
    broken = [note for note in found if note.broken]
    if broken and not trace:
        output.print(f"{count(len(broken), 'broken entry', 'broken entries')}; --trace tells more")
