"""The table of findings: what it keeps of a great many."""

from __future__ import annotations

import io
import tracemalloc

import pytest
from rich.console import Console

from kavel.findings import Finding
from kavel.validation_printing import FindingsTable


def finding(number: int, status: str = "fail", check: str = "c") -> Finding:
    message = f"face {number} is wrong"
    return Finding(check, check, f"/o{number}", "", status, message, False, True, None, {})


@pytest.mark.parametrize("by_check", [True, False])
def test_many_findings_take_little_room_and_hide_nothing_worse(by_check: bool) -> None:
    """Every message and every object is another one; the worst comes last."""
    stream = io.StringIO()
    table = FindingsTable(by_check)
    tracemalloc.start()
    for number in range(100_000):
        table.add(finding(number))
    table.add(finding(100_000, "error"))
    table.print(Console(file=stream, soft_wrap=True, width=80))
    _, peak = tracemalloc.get_traced_memory()
    tracemalloc.stop()
    lines = stream.getvalue().splitlines()
    assert peak < 5_000_000 and len(lines) < 500
    assert "face 100000 is wrong" in lines[1] and lines[1].split()[0] == "error"
    told = sum("face" in line and "fail" in line for line in lines)
    assert f"{100_000 - told:} finding" in stream.getvalue()
