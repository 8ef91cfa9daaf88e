"""The bundled samples are what their script makes."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "samples" / "make_samples.py"


def test_the_samples_are_up_to_date() -> None:
    command = [sys.executable, str(SCRIPT), "--check"]
    ended = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert (ended.returncode, ended.stderr) == (0, "")
