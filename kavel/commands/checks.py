"""`kavel checks`: the checks that are installed, and which of them are yours to run."""

from __future__ import annotations

import argparse
from collections.abc import Mapping
from typing import Any

from rich.text import Text

from kavel.columns import Row, print_columns
from kavel.commands.options import add_check_folders, add_json, check_folders
from kavel.errors import KavelError
from kavel.hints import meant
from kavel.json_output import write_json
from kavel.native import require_core
from kavel.terminal import count, make_console, printable
from kavel.versions import versions

SCHEMA = "kavel.checks/1"


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "checks",
        help="list checks, and choose your own",
        description="List the checks that are installed by category, with what could not be "
        "loaded. What is on runs in `kavel validate --mode selection`.",
    )
    add_check_folders(parser)
    parser.add_argument(
        "--category",
        action="append",
        default=[],
        metavar="NAME",
        help="show the checks of this category in full, with their parameters; may be given "
        "several times",
    )
    parser.add_argument(
        "--trace",
        action="store_true",
        help="tell what became of every file and class, with the traceback of what could not be "
        "loaded",
    )
    add_json(parser, in_place_of="the list")
    parser.set_defaults(run=run_list)
    _add_actions(parser.add_subparsers(metavar="ACTION"))


def _add_actions(actions: Any) -> None:
    show = actions.add_parser("show", help="show checks in full, with their parameters")
    _add_ids(show)
    add_json(show, in_place_of="the text", of_action=True)
    show.set_defaults(run=run_show)
    for name, enabled in (("enable", True), ("disable", False)):
        action = actions.add_parser(name, help=f"switch checks {'on' if enabled else 'off'}")
        _add_ids(action)
        action.set_defaults(run=run_enable, enabled=enabled)
    preset = actions.add_parser("preset", help="keep and take back which checks are on")
    presets = preset.add_subparsers(required=True, metavar="ACTION")
    listing = presets.add_parser("list", help="list your presets")
    add_check_folders(listing, of_action=True)
    listing.set_defaults(run=run_presets)
    for name, (what, run) in _PRESET_ACTIONS.items():
        action = presets.add_parser(name, help=what)
        action.add_argument("name", metavar="NAME")
        add_check_folders(action, of_action=True)
        action.set_defaults(run=run)


def _add_ids(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("ids", nargs="+", metavar="ID", help="as `kavel checks` lists them")
    add_check_folders(parser, of_action=True)


def run_list(arguments: argparse.Namespace) -> int:
    own = _own(arguments)
    from kavel.check_listing import check_data, print_check_list, print_found
    from kavel.registry import read_report

    chosen = _of_categories(own, arguments.category)
    found = read_report(own.classes)
    checks = [check_data(control) for control in chosen]
    if arguments.json:
        notes = [note.data() for note in found]
        _write(arguments, {"checks": checks, "found": notes})
    if arguments.json == "-":
        return 0
    output = make_console()
    if arguments.category:
        _print_details(checks)
    else:
        print_check_list(output, checks)
    print_found(output, found, arguments.trace)
    on = sum(data["enabled"] for data in checks)
    make_console(stderr=True).print(
        f"{count(len(checks), 'check')}, {on} on; `kavel checks show ID` tells more of one"
    )
    return 0


def run_show(arguments: argparse.Namespace) -> int:
    own = _own(arguments)
    from kavel.check_listing import check_data

    known = {str(control.check.class_id): control for control in own.list}
    unknown = [class_id for class_id in arguments.ids if class_id not in known]
    if unknown:
        raise KavelError(own.no_such_check(unknown[0]))
    checks = [check_data(known[class_id]) for class_id in dict.fromkeys(arguments.ids)]
    if arguments.json:
        _write(arguments, {"checks": checks})
    if arguments.json != "-":
        _print_details(checks)
    return 0


def run_enable(arguments: argparse.Namespace) -> int:
    own = _own(arguments)
    before = own.configuration
    own.enable(arguments.ids, arguments.enabled)
    _print_changes(own, before)
    return 0


def run_presets(arguments: argparse.Namespace) -> int:
    own, output = _own(arguments), make_console()
    for name in own.preset_names:
        output.print(printable(name) + (" (in use)" if own.applied(name) else ""))
    if not own.preset_names:
        make_console(stderr=True).print(
            "you have no presets; `kavel checks preset create NAME` keeps which checks are on"
        )
    return 0


def run_create(arguments: argparse.Namespace) -> int:
    own = _own(arguments)
    own.create_preset(arguments.name)
    on = sum(entry["enabled"] is True for entry in own.configuration.values())
    kept = count(on, "check that is on", "checks that are on")
    make_console().print(f'the preset "{printable(arguments.name)}" keeps {kept}')
    return 0


def run_apply(arguments: argparse.Namespace) -> int:
    own = _own(arguments)
    before = own.configuration
    own.apply_preset(arguments.name)
    _print_changes(own, before)
    return 0


def run_erase(arguments: argparse.Namespace) -> int:
    _own(arguments).erase_preset(arguments.name)
    name = printable(arguments.name)
    make_console().print(f'the preset "{name}" is gone; what is on stays as it is')
    return 0


_PRESET_ACTIONS = {
    "create": ("keep which checks are on, and their parameters, under a name", run_create),
    "apply": ("switch to what a preset keeps", run_apply),
    "erase": ("forget a preset", run_erase),
}


def _own(arguments: argparse.Namespace) -> Any:
    require_core()
    from kavel.logs import LogHandler
    from kavel.own_checks import OwnChecks
    from kavel.registry import check_setup

    # What could not be loaded is listed: the log would only say it twice.
    with LogHandler(make_console(stderr=True)):
        return OwnChecks(arguments.home, check_setup(arguments.home, check_folders(arguments)))


def _of_categories(own: Any, wanted: list[str]) -> list[Any]:
    """The controls of these categories, of all when there are none. Errors: KavelError for a
    category that no check is in."""
    groups = {str(category.name): list(category) for category in own.list.categories}
    chosen: dict[str, None] = {}  # names in order, each once
    for name in wanted or groups:
        # As it is stored, or else whatever the case is.
        alike = [known for known in groups if known.casefold() == name.casefold()]
        exact = [name] if name in groups else alike
        if not exact:
            listed = ", ".join(f'"{known}"' for known in groups)
            hint = meant(name.casefold(), groups) or f"; there are {listed}"
            raise KavelError(f'no check is in the category "{name}"{hint}')
        chosen.update(dict.fromkeys(exact))
    return [control for name in chosen for control in groups[name]]


def _write(arguments: argparse.Namespace, content: Mapping[str, Any]) -> None:
    write_json(arguments.json, {"schema": SCHEMA, **content, "versions": versions()})


def _print_details(checks: list[dict[str, Any]]) -> None:
    from kavel.check_listing import print_check_details

    output = make_console()
    for number, data in enumerate(checks):
        if number:
            output.print("")
        print_check_details(output, data)


def _print_changes(own: Any, before: Mapping[str, Any]) -> None:
    """What an action changed, and how many checks are on now."""
    output = make_console()
    names = own.names
    rows: list[Row] = []
    after = own.configuration
    for class_id in {**before, **after}:
        old, new = before.get(class_id, {}), after.get(class_id, {})
        was, is_on = old.get("enabled") is True, new.get("enabled") is True
        if was != is_on:
            word = ("on", "green") if is_on else ("off", "yellow")
        elif is_on and old.get("parameters") != new.get("parameters"):
            word = ("other parameters", "green")
        else:
            continue
        name = names.get(class_id, "(not installed)")
        rows.append([word, (printable(class_id), "cyan"), printable(name)])
    print_columns(output, rows)
    on = sum(entry["enabled"] is True for entry in after.values())
    changed = count(len(rows), "check") if rows else "nothing"
    output.print(Text(f"{changed} changed; {count(on, 'check is', 'checks are')} on"))
