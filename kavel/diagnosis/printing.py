"""A diagnosis on a console."""

from __future__ import annotations

import textwrap

from rich.console import Console
from rich.text import Text

from kavel.diagnosis.departure import Diagnosis
from kavel.diagnosis.wording import details, headline
from kavel.terminal import count, printable

_TOLD = 5  # departures
_WIDTH = 80


def print_diagnosis(
    console: Console, file: str, diagnosis: Diagnosis | None, verbose: bool = False
) -> None:
    """The first departures, all that are known with `verbose`; nothing without any.

    Lines are as wide as the terminal, elsewhere at most 80 columns. Names are never cut.
    """
    if diagnosis is None or not diagnosis.departures:
        return
    width = console.width if console.is_terminal else min(console.width, _WIDTH)
    _print(console, f"{printable(file)} departs from the project:", width, "", "bold")
    told = diagnosis.departures if verbose else diagnosis.departures[:_TOLD]
    certain = True
    for departure in told:
        if certain and not departure.certain:
            _print(console, "below that, as far as can be told:", width, "  ", "dim")
            certain = False
        _print(console, printable(headline(departure)), width, "  ", "red")
        for detail in details(departure):
            _print(console, printable(detail), width, "      ")
    left = len(diagnosis.departures) - len(told)
    if left:
        _print(console, f"and {count(left, 'more departure')}; -v tells them", width, "  ", "dim")
    if diagnosis.more or not diagnosis.complete:
        least = "" if diagnosis.complete else "at least "
        more = f"and {least}{count(diagnosis.more, 'further place')} with departures"
        if not diagnosis.more:
            more = "and there may be more departures"
        _print(console, more, width, "  ", "dim")


def _print(console: Console, text: str, width: int, indent: str, style: str = "") -> None:
    # A path is one word, so that it can be copied: a longer one gets a line of its own.
    lines = textwrap.wrap(
        text,
        width,
        initial_indent=indent,
        subsequent_indent=indent + "  ",
        break_long_words=False,
        break_on_hyphens=False,
    )
    for line in lines:
        console.print(Text(line, style))
