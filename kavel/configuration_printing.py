"""What is wrong with checks and with what is stored for them, as text."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import replace

from rich.console import Console
from rich.text import Text

from kavel.columns import Row, print_columns
from kavel.document import ERROR, WARNING, Problem
from kavel.registry import Found
from kavel.terminal import count, printable

_LISTED = 20
_INDENT = "    "
_STYLES = {WARNING: "yellow", ERROR: "red"}


def print_broken(console: Console, broken: Sequence[Found]) -> None:
    """Modules and classes of checks that cannot be used, and why."""
    for found in broken[:_LISTED]:
        text = f"warning: the check {found.name} cannot be used: {found.reason}"
        console.print(Text(printable(text), _STYLES[WARNING]))
    left = len(broken) - _LISTED
    if left > 0:
        console.print(f"and {count(left, 'more check')} that cannot be used; --json has all")


def print_misfits(console: Console, misfits: Sequence[Problem]) -> None:
    """Each with its place; what is the same in several rules is told once."""
    places: dict[Problem, list[Problem]] = {}
    for problem in misfits:
        places.setdefault(replace(problem, rule=None, stamp=None), []).append(problem)
    for anywhere, problems in list(places.items())[:_LISTED]:
        heading = f"{anywhere.severity}: {anywhere.place}, {_where(problems)}"
        console.print(Text(printable(heading), _STYLES[anywhere.severity]))
        if anywhere.found is None:
            console.print(_INDENT + printable(anywhere.message))
            continue
        told = {"found": anywhere.found, "allowed": anywhere.allowed, "so": anywhere.effect}
        rows: list[Row] = [[(word, "dim"), printable(text or "")] for word, text in told.items()]
        print_columns(console, rows, _INDENT, hang=0)
    left = len(places) - _LISTED
    if left > 0:
        console.print(f"and {count(left, 'more parameter')} that do not fit; --json has all")


def _where(problems: Sequence[Problem]) -> str:
    """The first of the rules, and how many more there are."""
    first, more = problems[0].rule, len(problems) - 1
    if first is None:
        return "in your settings"
    return f'in rule "{first}"' + (f" and {more} more" if more else "")
