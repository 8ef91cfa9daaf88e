"""The JSON report of a validation, written as the runs are told: it never stands in memory.

Its form is published in docs/schema/validation-report.schema.json.
"""

from __future__ import annotations

import json
from typing import Any, TextIO

from kavel.findings import Finding
from kavel.validation import Fix

SCHEMA = "kavel.validation/1"
EMPTY_HEAD: dict[str, Any] = {
    "project": None,
    "run": None,
    "checks": {"loaded": [], "broken": [], "missing": [], "misfits": []},
}


class ReportWriter:
    """Writes one row for each repair and each run. Without a stream it does nothing.

    In this order: `begin`; for each scene `begin_scene`, `fix` and then `finding` any number of
    times, and `end_scene`; then `end`.
    """

    def __init__(self, stream: TextIO | None = None) -> None:
        self._stream = stream
        self._begun = False
        self._scenes = 0
        self._arrays: list[str] = []  # of the present scene; the last one is open

    def begin(self, head: dict[str, Any]) -> None:
        self._begun = True
        self._write("{" + f'"schema": {_text(SCHEMA)}')
        self._members(head)
        self._write(',\n"scenes": [')

    def begin_scene(self, file: str) -> None:
        self._write(("," if self._scenes else "") + '\n{"file": ' + _text(file))
        self._scenes += 1
        self._arrays = []

    def fix(self, fix: Fix) -> None:
        self._row("fixes", fix)

    def finding(self, finding: Finding) -> None:
        self._row("results", finding)

    def end_scene(self, tail: dict[str, Any]) -> None:
        for name in ("fixes", "results"):
            if name not in self._arrays:
                self._open(name)
        self._write("]")
        self._members(tail)
        self._write("}")

    def end(self, tail: dict[str, Any]) -> None:
        """Ends the report, also one that could not be begun."""
        if not self._begun:
            self.begin(EMPTY_HEAD)
        self._write("]")
        self._members(tail)
        self._write("}\n")

    def _open(self, array: str) -> None:
        self._write(("]" if self._arrays else "") + f',\n"{array}": [')
        self._arrays.append(array)

    def _row(self, array: str, row: Fix | Finding) -> None:
        if self._stream is None:
            return
        first = array not in self._arrays
        if first:
            self._open(array)
        self._write(("" if first else ",") + "\n" + _text(row.data()))

    def _members(self, members: dict[str, Any]) -> None:
        for name, value in members.items():
            self._write(f",\n{_text(name)}: {_text(value)}")

    def _write(self, text: str) -> None:
        if self._stream is not None:
            self._stream.write(text)


def _text(value: Any) -> str:
    # Plain ASCII: names may hold lone surrogates, which UTF-8 has no form for.
    try:
        return json.dumps(value, allow_nan=False)
    except ValueError:  # a parameter of a check that is no number
        return json.dumps(_without_nan(value), allow_nan=False)


def _without_nan(value: Any) -> Any:
    if isinstance(value, dict):
        return {key: _without_nan(item) for key, item in value.items()}
    if isinstance(value, list):
        return [_without_nan(item) for item in value]
    if isinstance(value, float) and value - value != 0:
        return str(value)
    return value
