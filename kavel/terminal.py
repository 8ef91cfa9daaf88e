"""Texts and streams of the command line."""

from __future__ import annotations

import os
import sys

from rich.console import Console

from kavel.wrapping import WrappingConsole

_WIDTH = 80  # of what is no terminal
_JOINER = "\u200d"  # holds emoji together; without an effect elsewhere


def printable(text: str) -> str:
    """`text` with everything that could act on a terminal, or that cannot be seen, as an escape."""
    if text.isprintable():
        return text
    return "".join(
        char
        if char.isprintable() or char == _JOINER
        else char.encode("unicode_escape").decode("ascii")
        for char in text
    )


def make_console(stderr: bool = False) -> Console:
    """A console on the present stdout or stderr, with colours only on a terminal. Texts are wrapped
    at the terminal's width, at 80 where there is none, or at what the variable COLUMNS says."""
    stream = sys.stderr if stderr else sys.stdout
    # A terminal that cannot show a name must not end the run.
    reconfigure = getattr(stream, "reconfigure", None)
    if reconfigure is not None:
        reconfigure(errors="backslashreplace")
    width = None if stream.isatty() or os.environ.get("COLUMNS", "").isdigit() else _WIDTH
    return WrappingConsole(
        file=stream, width=width, highlight=False, soft_wrap=True, markup=False, emoji=False
    )


def check_title(name: str, class_id: str) -> str:
    """A check as every text calls it: by its name and the id that never changes."""
    return f"{name} ({class_id})" if class_id else name


def is_unicode(console: Console) -> bool:
    return console.encoding.startswith("utf")


def count(number: int, noun: str, plural: str | None = None) -> str:
    """ "1 joint", "2 joints"; `plural` for nouns that do not simply take an s."""
    return f"{number} {noun if number == 1 else plural or noun + 's'}"
