"""Checking a project document before it is used, with every problem and its place.

What makes a document unusable is an error; what the core accepts although it looks wrong (because
it drops it, or because nothing can ever match it) is a warning. Everything here is plain Python.
"""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any

from kavel.document.pattern import Pattern, read_pattern
from kavel.document.pattern_checks import check_pattern
from kavel.document.problems import ERROR, WARNING, Findings, Problem
from kavel.document.reading import read_object
from kavel.document.structure import check_structure

__all__ = ["ERROR", "WARNING", "Checked", "Pattern", "Problem", "check_bytes", "check_file"]


@dataclass
class Checked:
    """A project document and what was found in it.

    `document` is empty when the text is no JSON object; `timestamp` and `pattern` are those of the
    selected record, none when no record can be selected.
    """

    document: dict[str, Any] = field(default_factory=dict)
    timestamp: int | None = None
    pattern: Pattern | None = None
    problems: list[Problem] = field(default_factory=list)

    @property
    def usable(self) -> bool:
        return all(problem.severity != ERROR for problem in self.problems)

    def text(self, key: str) -> str:
        value = self.document.get(key)
        return value if isinstance(value, str) else ""


def check_file(path: str, record: int | None = None) -> Checked:
    """Check the document in a file. Errors: OSError when it cannot be read."""
    with open(path, "rb") as stream:
        return check_bytes(stream.read(), record)


def check_bytes(raw: bytes, record: int | None = None) -> Checked:
    """Check a document given as the bytes of its file. The pattern that is checked is that of the
    record saved at `record`, else of the one that the document selects."""
    findings = Findings()
    document = read_object(raw, findings)
    if document is None:
        return Checked(problems=findings.problems)
    if record is not None:
        document["selected_record"] = record
    selected = check_structure(document, findings)
    if selected is None:
        return Checked(document, problems=findings.problems)
    pattern = read_pattern(selected.record, selected.path, findings)
    check_pattern(pattern, findings)
    return Checked(document, selected.timestamp, pattern, findings.problems)
