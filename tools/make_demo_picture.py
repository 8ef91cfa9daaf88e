"""Draws docs/demo.svg: what `kavel demo` prints on a terminal. Needs kavel and `core` installed."""

from __future__ import annotations

import io
import os
import re
import subprocess
import sys
from pathlib import Path

from rich._export_format import CONSOLE_SVG_FORMAT
from rich.console import Console
from rich.text import Text

from kavel.samples import samples_directory

PICTURE = Path(__file__).resolve().parents[1] / "docs" / "demo.svg"
WIDTH = 84


def main() -> None:
    environment = {**os.environ, "FORCE_COLOR": "1", "TERM": "xterm-256color"}
    ran = subprocess.run(
        [sys.executable, "-m", "kavel", "demo"],
        env=environment,
        capture_output=True,
        text=True,
        check=True,
    )
    output = "$ kavel demo\n" + ran.stdout.replace(samples_directory() + os.sep, "")
    console = Console(record=True, width=WIDTH, file=io.StringIO(), force_terminal=True)
    console.print(Text.from_ansi(output))
    # Any monospaced font does; a picture should load nothing.
    style = re.sub(r"@font-face \{\{.*?\}\}\s*", "", CONSOLE_SVG_FORMAT, flags=re.DOTALL)
    picture = console.export_svg(title="kavel", code_format=style, unique_id="demo")
    PICTURE.write_text(picture + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
