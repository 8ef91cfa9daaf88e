"""`kavel stats`: how often checks ran on this machine, what they found, how long they took."""

from __future__ import annotations

import argparse
from collections.abc import Sequence
from pathlib import Path
from typing import Any

from rich.bar import Bar
from rich.cells import cell_len
from rich.console import RenderableType
from rich.table import Table
from rich.text import Text

from kavel.columns import print_columns
from kavel.commands.options import add_json
from kavel.errors import KavelError
from kavel.json_output import write_json
from kavel.native import require_core
from kavel.picture import svg
from kavel.terminal import count, make_console, printable
from kavel.usage import CheckUsage, check_usage
from kavel.versions import versions

SCHEMA = "kavel.stats/1"
_FIGURES = 80  # characters beside the names of a picture


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "stats",
        help="show how often checks ran, and how long they took",
        description="Every validation leaves a record of each check that ran, in a file of yours. "
        "Only `kavel sync` sends them anywhere.",
    )
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

    with LogHandler(make_console(stderr=True)):
        store = core._Statistics(StandaloneEnvironment(arguments.home))
        usages = check_usage(store._data["checks"])
        if arguments.json:
            checks = [usage.data() for usage in usages]
            write_json(arguments.json, {"schema": SCHEMA, "checks": checks, "versions": versions()})
        if arguments.json != "-":
            _print(usages)
        if arguments.picture:
            Path(arguments.picture).write_text(picture(usages), encoding="utf-8")
        if arguments.clear:
            store._clear()
            store.write()
    return 0


def picture(usages: Sequence[CheckUsage]) -> str:
    """An SVG: runs with the share that failed, and seconds, of each check."""
    table = Table(box=None, padding=(0, 1), title=None)
    for column in ("check", "runs", "failures", "", "mean", "worst", ""):
        right = column not in ("check", "")
        table.add_column(column, justify="right" if right else "left", no_wrap=True)
    most = max((usage.runs for usage in usages), default=1)
    slowest = max((usage.worst for usage in usages), default=0.0) or 1.0
    for usage in usages:
        table.add_row(
            printable(usage.name),
            str(usage.runs),
            str(usage.failures),
            _bars(usage, most),
            seconds(usage.mean),
            seconds(usage.worst),
            Bar(slowest, 0, usage.worst, width=16, color="yellow"),
        )
    content: RenderableType = table if usages else Text("no check has run yet")
    longest = max((cell_len(printable(usage.name)) for usage in usages), default=0)
    return svg(content, "kavel stats", "stats", longest + _FIGURES)


def _bars(usage: CheckUsage, most: int) -> Text:
    """Passed and failed runs, one after the other, on one scale for all checks."""
    width = 20
    failed = -(-usage.failures * width // most)  # a single failure is seen
    passed = max(usage.runs * width // most - failed, 0)
    return Text.assemble(("█" * failed, "red"), ("█" * passed, "green"))


def seconds(value: float) -> str:
    """With the unit that fits: "1.2 s", "350 ms", "12 us"."""
    for unit, scale in (("s", 1.0), ("ms", 1e3)):
        if value * scale >= 1:
            return f"{value * scale:.3g} {unit}"
    return f"{value * 1e6:.3g} us"


def _print(usages: Sequence[CheckUsage]) -> None:
    output, errors = make_console(), make_console(stderr=True)
    rows = [("check", "runs", "failures", "mean", "worst")] + [
        (printable(usage.name), str(usage.runs), str(usage.failures), seconds(usage.mean),
         seconds(usage.worst))
        for usage in usages
    ]  # fmt: skip
    if usages:
        print_columns(output, rows)
    errors.print(
        f"{count(sum(usage.runs for usage in usages), 'run')} of {count(len(usages), 'check')}"
    )
