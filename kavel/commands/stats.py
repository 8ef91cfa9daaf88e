"""`kavel stats`: how often checks ran on this machine, what they found, how long they took."""

from __future__ import annotations

import argparse
from collections.abc import Sequence
from typing import Any

from kavel.columns import print_columns
from kavel.commands.options import add_check_folders, add_json
from kavel.errors import KavelError, reason_of
from kavel.json_output import write_json
from kavel.native import require_core
from kavel.stats_picture import seconds, stats_picture
from kavel.terminal import check_title, count, is_unicode, make_console, printable
from kavel.usage import CheckUsage, check_usage
from kavel.versions import versions

SCHEMA = "kavel.stats/1"


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "stats",
        help="show how often checks ran, and how long they took",
        description="Every validation leaves a record of each check that ran, in a file of yours. "
        "Only `kavel sync` sends them anywhere.",
    )
    add_check_folders(parser)
    add_json(parser, in_place_of="the table")
    parser.add_argument("--picture", metavar="FILE.svg", help="draw the table as a picture")
    parser.add_argument(
        "--clear", action="store_true", help="forget all records, after showing them"
    )
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    if arguments.picture and not arguments.picture.lower().endswith(".svg"):
        raise KavelError(f"{arguments.picture}: pictures are written as .svg files")
    require_core()
    import core
    from kavel.environment import StandaloneEnvironment
    from kavel.logs import LogHandler
    from kavel.own_checks import OwnChecks
    from kavel.registry import check_setup

    with LogHandler(make_console(stderr=True)):
        setup = check_setup(arguments.home, arguments.checks)
        store = core._Statistics(StandaloneEnvironment(arguments.home))
        usages = check_usage(store._data["checks"], OwnChecks(arguments.home, setup).names)
        if arguments.json:
            checks = [usage.data() for usage in usages]
            write_json(arguments.json, {"schema": SCHEMA, "checks": checks, "versions": versions()})
        if arguments.picture:
            _write_picture(arguments.picture, usages)
        if arguments.json != "-":
            _print(usages)
        if arguments.clear:
            store._clear()
            store.write()
            make_console(stderr=True).print("the records are gone")
    return 0


def _write_picture(path: str, usages: Sequence[CheckUsage]) -> None:
    """Errors: KavelError when the file cannot be written."""
    try:
        with open(path, "w", encoding="utf-8") as stream:
            stream.write(stats_picture(usages))
    except OSError as error:
        raise KavelError(f"{path}: cannot be written: {reason_of(error, writing=True)}") from error


def _print(usages: Sequence[CheckUsage]) -> None:
    output, errors = make_console(), make_console(stderr=True)
    micro = str if is_unicode(output) else _ascii
    figures = [("runs", "failures", "mean", "worst")] + [
        (
            str(usage.runs),
            str(usage.failures),
            *(micro(seconds(time)) for time in (usage.mean, usage.worst)),
        )
        for usage in usages
    ]
    widths = [max(map(len, column)) for column in zip(*figures)]
    titles = ["check"] + [check_title(usage.name, usage.check) for usage in usages]
    rows = [
        [printable(title), *(text.rjust(width) for text, width in zip(row, widths))]
        for title, row in zip(titles, figures)
    ]
    if usages:
        print_columns(output, rows)
    runs = count(sum(usage.runs for usage in usages), "run")
    errors.print(f"{runs} of {count(len(usages), 'check')}")


def _ascii(text: str) -> str:
    return text.replace("µ", "u")
