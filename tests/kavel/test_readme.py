"""The example of the README does what it says."""

from __future__ import annotations

import os
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def test_the_example_prints_the_hierarchies_of_the_sample(tmp_path: Path) -> None:
    text = (ROOT / "README.md").read_text(encoding="utf-8")
    (example,) = re.findall(r"```python\n(.*?)```", text, flags=re.DOTALL)
    ended = subprocess.run(
        [sys.executable, "-c", example],
        cwd=ROOT,
        env={**os.environ, "KAVEL_HOME": str(tmp_path)},
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    )
    assert (ended.returncode, ended.stderr) == (0, "")
    lines = ended.stdout.splitlines()
    assert lines
    for line in lines:
        assert re.fullmatch(r"\S.* [1-9]\d*", line), line
