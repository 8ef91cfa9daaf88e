"""Text that fits the width of a terminal, with nothing left out."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

from rich.cells import cell_len
from rich.console import Console
from rich.text import Text

# A word that is too long is broken after one of these: the later ones only where there is none of
# those before, so that the parts of paths, and endings of file names, stay whole.
_SEPARATORS = ("/\\|", "_,:;-=&?", ".")
_NARROWEST = 40  # a line gets at least so many cells, on whatever terminal


class WrappingConsole(Console):
    """A console that breaks texts which are too long for a line where words end. A line that goes
    on is indented two cells more than it began."""

    def print(self, *objects: Any, style: Any = None, **options: Any) -> None:
        if len(objects) != 1 or not isinstance(objects[0], (str, Text)):
            super().print(*objects, style=style, **options)
            return
        text = Text(objects[0]) if isinstance(objects[0], str) else objects[0]
        for line in wrapped(text, console_width(self)):
            super().print(line, style=style, **options)


def console_width(console: Console) -> int:
    return max(console.width, _NARROWEST)


def wrapped(text: Text, width: int, hang: int = 2) -> list[Text]:
    """The lines of `text`, which may have line ends, at most `width` cells wide. A line that
    continues another is indented by `hang` cells more than that one."""
    lines: list[Text] = []
    for paragraph in text.split("\n", allow_blank=True):
        plain = paragraph.plain
        if cell_len(plain) <= width:
            lines.append(paragraph)
            continue
        indent = min(_begin(plain, 0) + hang, width // 2)
        for start, end in _pieces(plain, width, indent):
            line = Text.assemble(" " * indent if start else "", paragraph[start:end])
            line.rstrip()
            lines.append(line)
    return lines


def _pieces(plain: str, width: int, indent: int) -> Iterator[tuple[int, int]]:
    start, room = 0, width
    while start < len(plain):
        end = _break(plain, start, room, width - indent)
        yield start, end
        start, room = _begin(plain, end), width - indent


def _begin(plain: str, start: int) -> int:
    """Where the first word at or after `start` begins."""
    return len(plain) - len(plain[start:].lstrip(" "))


def _break(plain: str, start: int, room: int, full: int) -> int:
    """Where the line that begins at `start` ends; `full` is the room of the lines after it."""
    end = _reach(plain, start, room)
    if end == len(plain) or plain[end] == " ":
        return end
    first = _begin(plain, start)
    blank = plain.rfind(" ", first, end)
    word_end = plain.find(" ", end)
    word = plain[max(blank, first) : len(plain) if word_end < 0 else word_end]
    if blank > first and cell_len(word) <= full:
        return blank
    for characters in _SEPARATORS:
        separator = max(plain.rfind(char, max(blank, first), end) for char in characters)
        # Two slashes or an ellipsis stay together.
        while separator > first and plain[separator] == plain[separator - 1]:
            separator -= 1
        if separator > first:
            return separator + 1
    return blank if blank > first else end


def _reach(plain: str, start: int, room: int) -> int:
    """The end of what fits into `room` cells; at least one character."""
    end = min(start + room, len(plain))
    while end > start + 1 and cell_len(plain[start:end]) > room:
        end -= 1
    return end
