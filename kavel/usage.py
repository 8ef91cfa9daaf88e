"""What the usage records say of each check."""

from __future__ import annotations

import re
from collections import Counter
from collections.abc import Iterable, Mapping
from dataclasses import dataclass, field
from typing import Any

from kavel.findings import ERROR, FAIL, STATUSES

_SET_NUMBER = re.compile(r" \(Task \d{2,}\)$")


@dataclass
class CheckUsage:
    """The runs of one check. Records hold its name only; `check` is the id of the installed check
    of that name, empty when there is none, or more than one. Seconds are of single runs."""

    name: str
    check: str = ""
    counts: dict[str, int] = field(default_factory=lambda: dict.fromkeys(STATUSES, 0))
    seconds: float = 0.0
    worst: float = 0.0

    @property
    def runs(self) -> int:
        return sum(self.counts.values())

    @property
    def failures(self) -> int:
        """Runs with the status "fail" or "error"."""
        return self.counts[FAIL] + self.counts[ERROR]

    @property
    def mean(self) -> float:
        return self.seconds / self.runs if self.runs else 0.0

    def data(self) -> dict[str, Any]:
        return {
            "check": self.check or None,
            "name": self.name,
            "runs": self.runs,
            "failures": self.failures,
            **self.counts,
            "mean_seconds": self.mean,
            "worst_seconds": self.worst,
        }


def check_usage(records: Iterable[Any], names: Mapping[str, str]) -> list[CheckUsage]:
    """One entry for each check, the slowest in all first; records of no use are left out. The
    parameter sets of a check, which have a number at the end of their name, count together.
    `names` are those of the installed checks by their ids."""
    known = Counter(names.values())
    ids = {name: class_id for class_id, name in names.items() if known[name] == 1}
    table: dict[str, CheckUsage] = {}
    for record in records:
        if not isinstance(record, Mapping):
            continue
        name, status, seconds = record.get("name"), record.get("result"), record.get("speed")
        if not isinstance(name, str) or status not in STATUSES:
            continue
        if isinstance(seconds, bool) or not isinstance(seconds, (int, float)) or seconds < 0:
            continue
        name = without_set_number(name)
        usage = table.setdefault(name, CheckUsage(name, ids.get(name, "")))
        usage.counts[status] += 1
        usage.seconds += seconds
        usage.worst = max(usage.worst, seconds)
    return sorted(table.values(), key=lambda usage: (-usage.seconds, usage.name))


def without_set_number(name: str) -> str:
    """A check's name without the number that its parameter sets have at the end of theirs."""
    return _SET_NUMBER.sub("", name)
