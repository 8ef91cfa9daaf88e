"""Aligned columns of text."""

from __future__ import annotations

from collections.abc import Iterable, Sequence

from rich.cells import cell_len
from rich.console import Console
from rich.text import Text

_MAX_COLUMN = 60  # a longer cell pushes the rest of its own line only

Cell = tuple[str, str]  # text and style


def print_columns(console: Console, rows: Iterable[Sequence[str | Cell]], indent: str = "") -> None:
    """One line for each row; all rows have the same number of cells. A column of empty cells is
    left out."""
    table = [[(cell, "") if isinstance(cell, str) else cell for cell in row] for row in rows]
    widths = [min(max(cell_len(text) for text, _ in column), _MAX_COLUMN) for column in zip(*table)]
    for row in table:
        line = Text(indent)
        for (text, style), width in zip(row, widths):
            if width:
                line.append(text, style)
                line.append(" " * max(width - cell_len(text), 0) + "  ")
        line.rstrip()
        console.print(line)
