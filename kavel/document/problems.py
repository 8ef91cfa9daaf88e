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
    `line` and `column`, counted from 1, are given when the text is not JSON. Of a check that is
    asked for, `check` is the id, `set` the number of the set of values, counted from 1, `parameter`
    the attribute; `found` and `allowed` say why its value does not fit, `effect` what follows.
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
    check: str | None = None
    set: int | None = None
    parameter: str | None = None
    found: str | None = None
    allowed: str | None = None
    effect: str | None = None

    @property
    def place(self) -> str:
        if self.line is not None:
            return f"line {self.line}, column {self.column}"
        if self.rule is None and self.check is None:
            return self.path or ""
        parts = []
        if self.rule is not None:
            parts.append(f'rule "{self.rule}"' + (f" [{self.stamp}]" if self.stamp else ""))
        parts += self._place_in_check()
        if self.field:
            at = "" if self.position is None else f" at {self.position}"
            parts.append(self.field + at)
        return ", ".join(parts)

    def _place_in_check(self) -> list[str]:
        parts = {
            "check": self.check,
            "set": self.set,
            "parameter": None if self.parameter is None else f'"{self.parameter}"',
        }
        return [f"{word} {part}" for word, part in parts.items() if part is not None]

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
