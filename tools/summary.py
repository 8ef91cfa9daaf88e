"""The closing lines of a test run, read from its JUnit reports."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
from pathlib import Path
from xml.etree import ElementTree

PROGRAMS = ("c++", "cmake", "ninja", "ccache", "clang-format", "clang-tidy", "ruff", "mypy")


def main(reports: Path) -> None:
    """Prints interpreters, assets and programs used, skipped tests, and the counts."""
    files = sorted(reports.glob("*.xml"))
    interpreters = [file.stem[len("host-") :] for file in files if file.stem.startswith("host-")]
    print("interpreters:", ", ".join(interpreters) or "none")
    print("assets:", describe_assets(os.environ.get("KAVEL_ASSETS", "")))
    for program in PROGRAMS:
        print(f"program: {program}: {version_of(program)}")
    counts = {"passed": 0, "failed": 0, "skipped": 0}
    for file in files:
        for outcome, text in outcomes(file):
            counts[outcome] += 1
            if outcome == "skipped":
                print("not run:", file.stem, text)
    print(", ".join(f"{number} {outcome}" for outcome, number in counts.items()))


def describe_assets(folder: str) -> str:
    if not os.path.isdir(folder):
        return "none (KAVEL_ASSETS names no folder)"
    scenes = sorted(path.name for path in Path(folder).rglob("*.glb"))
    return f"{len(scenes)} scenes: {', '.join(scenes)}"


def version_of(program: str) -> str:
    if shutil.which(program) is None:
        return "not found"
    asked = subprocess.run([program, "--version"], capture_output=True, text=True, check=False)
    lines = [line.strip() for line in asked.stdout.splitlines() if "version" in line.lower()]
    return lines[0] if lines else asked.stdout.strip().partition("\n")[0]


def outcomes(report: Path) -> list[tuple[str, str]]:
    """Outcome and, where there is one, reason of each test of a report."""
    result = []
    for case in ElementTree.parse(report).iter("testcase"):
        skipped = case.find("skipped")
        failed = case.find("failure") is not None or case.find("error") is not None
        outcome = "failed" if failed else "passed" if skipped is None else "skipped"
        reason = "" if skipped is None else skipped.get("message", "")
        result.append((outcome, f"{case.get('name')}: {reason}"))
    return result


if __name__ == "__main__":
    main(Path(sys.argv[1]))
