"""Draws docs/demo.svg: what `kavel demo` prints on a terminal. Needs kavel and `core` installed."""

from __future__ import annotations

import os
import subprocess
import sys
import tempfile
from pathlib import Path

from rich.text import Text

from kavel.picture import svg
from kavel.samples import samples_directory

PICTURE = Path(__file__).resolve().parents[1] / "docs" / "demo.svg"
WIDTH = 100


def main() -> None:
    own = {"FORCE_COLOR": "1", "TERM": "xterm-256color", "COLUMNS": str(WIDTH)}
    environment = {**os.environ, **own}
    with tempfile.TemporaryDirectory() as folder:
        ran = subprocess.run(
            [sys.executable, "-m", "kavel", "demo", "--directory", folder],
            cwd=samples_directory(),
            env=environment,
            capture_output=True,
            text=True,
            check=True,
        )
    output = "$ kavel demo --directory exported\n" + ran.stdout.replace(folder, "exported")
    PICTURE.write_text(svg(Text.from_ansi(output), "kavel", "demo", WIDTH), encoding="utf-8")


if __name__ == "__main__":
    main()
