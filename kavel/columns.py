"""Aligned columns of text that fit the terminal."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Sequence
from typing import Union

from rich.cells import cell_len
from rich.console import Console
from rich.text import Text

from kavel.wrapping import console_width, wrapped

GAP = 2  # blanks between columns
_NARROWEST = 8  # no column is made narrower than that

Cell = Union[str, tuple[str, str], Text]  # a pair is text and style
Row = Sequence[Cell]


def print_columns(
    console: Console,
    rows: Iterable[Row],
    indent: str = "",
    hang: int = 2,
    widths: Sequence[int] | None = None,
) -> None:
    """Rows of the same number of cells, one below the other. A column of empty cells is left out.

    Where the terminal is too narrow, the widest columns give way and their cells take several
    lines, of which all but the first are indented by `hang`. `widths` are those of `column_widths`,
    for rows that are only a part of a table.
    """
    table = [[_text(cell) for cell in row] for row in rows]
    if widths is None:
        widths = column_widths(console, table, indent)
    for row in table:
        for line in row_lines(row, widths, hang):
            console.print(Text.assemble(indent, line))


def column_widths(console: Console, rows: Iterable[Row], indent: str = "") -> list[int]:
    """How wide the columns of a table are on `console`; 0 for one of empty cells."""
    return fitted(_natural(rows), console_width(console) - cell_len(indent))


def fits(console: Console, rows: Iterable[Row], indent: str = "") -> bool:
    """Whether each row of a table takes one line."""
    natural = _natural(rows)
    return fitted(natural, console_width(console) - cell_len(indent)) == natural


def _natural(rows: Iterable[Row]) -> list[int]:
    lengths = ([cell_len(_text(cell).plain) for cell in row] for row in rows)
    return [max(column) for column in zip(*lengths)]


def _text(cell: Cell) -> Text:
    if isinstance(cell, Text):
        return cell
    return Text(cell) if isinstance(cell, str) else Text(*cell)


def fitted(natural: Sequence[int], width: int) -> list[int]:
    """The widths of columns that want to be `natural` cells wide and have `width` cells in all,
    gaps included: the widest give way first."""
    widths = list(natural)
    room = width - GAP * (sum(map(bool, widths)) - 1)
    while sum(widths) > room:
        widest = max(widths)
        if widest <= _NARROWEST:
            break
        next_lower = max((other for other in widths if other < widest), default=0)
        share = -(-(sum(widths) - room) // widths.count(widest))
        lower = max(widest - share, next_lower, _NARROWEST)
        widths = [lower if other == widest else other for other in widths]
    return widths


def row_lines(cells: Sequence[Text], widths: Sequence[int], hang: int = 2) -> Iterator[Text]:
    """The lines of one row; a cell that takes several goes on `hang` cells further in."""
    blocks = [
        wrapped(cell, width, min(hang, width // 4)) if width else []
        for cell, width in zip(cells, widths)
    ]
    for number in range(max(map(len, blocks), default=0)):
        line = Text()
        for block, width in zip(blocks, widths):
            if width:
                part = block[number] if number < len(block) else Text()
                line.append_text(part)
                line.append(" " * (max(width - cell_len(part.plain), 0) + GAP))
        line.rstrip()
        yield line
