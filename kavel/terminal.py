"""Texts and streams of the command line."""

from __future__ import annotations

import sys

from rich.console import Console

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
    """A console on the present stdout or stderr; colours only on a terminal, and no wrapping."""
    stream = sys.stderr if stderr else sys.stdout
    # A terminal that cannot show a name must not end the run.
    reconfigure = getattr(stream, "reconfigure", None)
    if reconfigure is not None:
        reconfigure(errors="backslashreplace")
    return Console(file=stream, highlight=False, soft_wrap=True, markup=False, emoji=False)


def is_unicode(console: Console) -> bool:
    return console.encoding.startswith("utf")


def count(number: int, noun: str, plural: str | None = None) -> str:
    """ "1 joint", "2 joints"; `plural` for nouns that do not simply take an s."""
    return f"{number} {noun if number == 1 else plural or noun + 's'}"
