"""Pictures of what a terminal would show."""

from __future__ import annotations

import io
import re

from rich._export_format import CONSOLE_SVG_FORMAT
from rich.console import Console, RenderableType


def svg(content: RenderableType, title: str, identity: str, width: int) -> str:
    """An SVG of `content`, `width` characters wide. The same content gives the same text.

    `identity` keeps the styles of several pictures on one page apart.
    """
    console = Console(record=True, width=width, file=io.StringIO(), force_terminal=True)
    console.print(content)
    # Any monospaced font does; a picture should load nothing.
    style = re.sub(r"@font-face \{\{.*?\}\}\s*", "", CONSOLE_SVG_FORMAT, flags=re.DOTALL)
    style = style.replace("<svg ", '<svg xml:space="preserve" ', 1)  # some drop leading blanks
    return console.export_svg(title=title, code_format=style, unique_id=identity) + "\n"
