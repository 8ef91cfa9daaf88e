"""A problem of a project document, and where it is."""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import asdict, dataclass
from typing import Any

ERROR = "error"
WARNING = "warning"


@dataclass(frozen=True)
class Problem:
    """One problem. Of the places, those that do not apply are none.

    `path` leads through the JSON document ("records.1700000000.rules[3].range"); `rule` and `stamp`
    name the rule, `field` its key, `position` the character in an expression, counted from 0;
    `line` and `column`, counted from 1, are given when the text is not JSON.
    """

    severity: str
    message: str
    path: str | None = None
    rule: str | None = None
    stamp: str | None = None
    field: str | None = None
    position: int | None = None
    line: int | None = None
    column: int | None = None

    @property
    def place(self) -> str:
        if self.line is not None:
            return f"line {self.line}, column {self.column}"
        if self.rule is None:
            return self.path or ""
        parts = [f'rule "{self.rule}"' + (f" [{self.stamp}]" if self.stamp else "")]
        if self.field:
            at = "" if self.position is None else f" at {self.position}"
            parts.append(self.field + at)
        return ", ".join(parts)

    def __str__(self) -> str:
        place = self.place
        return (
            f"{self.severity}: {place}: {self.message}"
            if place
            else (f"{self.severity}: {self.message}")
        )

    def data(self) -> dict[str, Any]:
        """The problem as a JSON object, without the places that do not apply."""
        return {key: value for key, value in asdict(self).items() if value is not None}


class Findings:
    """Collects problems in the order in which they are found, each once."""

    def __init__(self) -> None:
        self.problems: list[Problem] = []
        self._seen: set[Problem] = set()

    def error(self, message: str, path: str | None = None, **place: Any) -> None:
        self._add(Problem(ERROR, message, path, **place))

    def warning(self, message: str, path: str | None = None, **place: Any) -> None:
        self._add(Problem(WARNING, message, path, **place))

    def _add(self, problem: Problem) -> None:
        if problem not in self._seen:
            self._seen.add(problem)
            self.problems.append(problem)


def rule_place(rule: Mapping[str, Any], field: str | None = None) -> dict[str, Any]:
    """The keywords that name a rule of the document as the place of a problem."""
    name, stamp = rule.get("name", "name"), rule.get("stamp")
    return {
        "rule": name if isinstance(name, str) else repr(name),
        "stamp": stamp if isinstance(stamp, str) else None,
        "field": field,
    }
