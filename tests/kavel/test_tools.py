"""The shell functions that keep a long build from being silent."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# The command ends only when what it said stands in a line of progress: a silent one would hang.
TELLING = """
. tools/common.sh
work() {
  printf '\\033[1m  [34/140] Building CXX object core/CMakeFiles/x.dir/block.cpp.o\\033[0m\\n'
  until grep -q 'compiling 34 of 140: block.cpp' "$TOLD"; do :; done
  echo "in the end: disk full" >&2
  return "$1"
}
with_progress "Building" work "$1" 2> "$TOLD"
echo "went on"
"""


def run(tmp_path: Path, status: int) -> tuple[subprocess.CompletedProcess[str], list[str]]:
    told = tmp_path / "told"
    told.touch()
    own = {"TOLD": str(told), "PROGRESS_SECONDS": "0.05", "TMPDIR": str(tmp_path)}
    done = subprocess.run(
        ["bash", "-euo", "pipefail", "-c", TELLING, "bash", str(status)],
        cwd=ROOT,
        env={**os.environ, **own},
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    )
    return done, told.read_text().splitlines()


def test_a_long_command_tells_what_it_does(tmp_path: Path) -> None:
    done, lines = run(tmp_path, 0)
    assert (done.returncode, done.stdout) == (0, "went on\n")
    assert lines[0] == "Building ..." and lines[-1].startswith("Building: done in ")
    assert "  0 s: compiling 34 of 140: block.cpp" in lines
    assert not any("disk full" in line for line in lines)
    assert list(tmp_path.glob("kavel-log*")) == []


def test_a_failure_is_shown_and_kept(tmp_path: Path) -> None:
    done, lines = run(tmp_path, 7)
    assert (done.returncode, done.stdout) == (7, "")
    assert "in the end: disk full" in lines
    (log,) = tmp_path.glob("kavel-log*")
    assert "disk full" in log.read_text() and lines[-1].endswith(str(log))
