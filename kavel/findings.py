"""What runs of checks came to: single runs, their recount, and findings folded for a reader."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import Any

PASS, INFO, FAIL, ERROR = "pass", "info", "fail", "error"
STATUSES = (PASS, INFO, FAIL, ERROR)  # from best to worst


def severity(status: str) -> int:
    """0 for the best."""
    return STATUSES.index(status)


@dataclass(frozen=True)
class Finding:
    """One run of one check. `path` is empty for the scene as a whole; `rule` is the name of the
    rule that took the object, empty when none did; `seconds` none when they are not known;
    `parameters` the set of values that the check ran with, as projects store them."""

    check: str
    name: str
    path: str
    rule: str
    status: str
    message: str
    fixable: bool
    selectable: bool
    seconds: float | None
    parameters: dict[str, Any]

    def data(self) -> dict[str, Any]:
        return {
            "check": self.check,
            "name": self.name,
            "object": self.path or None,
            "rule": self.rule or None,
            "status": self.status,
            "message": self.message,
            "parameters": self.parameters,
            "seconds": self.seconds,
            "fixable": self.fixable,
            "selectable": self.selectable,
        }


@dataclass
class Summary:
    """The recount of runs, by status. `fixable` counts the findings that can be repaired."""

    counts: dict[str, int] = field(default_factory=lambda: dict.fromkeys(STATUSES, 0))
    fixable: int = 0

    def add(self, finding: Finding) -> None:
        self.counts[finding.status] += 1
        self.fixable += finding.fixable and finding.status != PASS

    def merge(self, other: Summary) -> None:
        for status, number in other.counts.items():
            self.counts[status] += number
        self.fixable += other.fixable

    @property
    def runs(self) -> int:
        return sum(self.counts.values())

    def reaches(self, threshold: str) -> bool:
        """Whether any run is as bad as `threshold`, or worse."""
        return any(self.counts[status] for status in STATUSES[severity(threshold) :])

    def data(self) -> dict[str, int]:
        return {"runs": self.runs, **self.counts, "fixable": self.fixable}


@dataclass
class Entry:
    """Findings of one text: how many, how many of them fixable, and the first places."""

    count: int = 0
    fixable: int = 0
    places: list[str] = field(default_factory=list)


@dataclass
class Section:
    """What is kept of one heading and status; `more` counts findings of further texts."""

    entries: dict[str, Entry] = field(default_factory=dict)
    more: int = 0


class Fold:
    """Findings by heading, status and text, in bounded memory however many there are.

    Each status has room of its own, so that many findings of one never hide a worse one: `sections`
    headings for each status and `entries` texts for each of them. What finds no room is counted.
    """

    PLACES = 3

    def __init__(self, sections: int = 200, entries: int = 20) -> None:
        self._room = sections
        self._entries = entries
        self._kept: dict[str, dict[str, Section]] = {}
        #: Findings under headings that found no room, by status.
        self.more: dict[str, int] = {}

    def add(
        self, status: str, heading: str, text: str, place: str = "", fixable: bool = False
    ) -> None:
        kept = self._kept.setdefault(status, {})
        section = kept.get(heading)
        if section is None:
            if len(kept) >= self._room:
                self.more[status] = self.more.get(status, 0) + 1
                return
            section = kept[heading] = Section()
        entry = section.entries.get(text)
        if entry is None:
            if len(section.entries) >= self._entries:
                section.more += 1
                return
            entry = section.entries[text] = Entry()
        entry.count += 1
        entry.fixable += fixable
        if place and len(entry.places) < self.PLACES:
            entry.places.append(place)

    def __iter__(self) -> Iterator[tuple[str, list[tuple[str, Section]]]]:
        """Each heading with its sections by status, the worst first; the headings with the worst
        findings first, and else in the order of their first mention."""
        statuses = sorted(self._kept, key=severity, reverse=True)
        headings = dict.fromkeys(heading for status in statuses for heading in self._kept[status])
        for heading in headings:
            found = ((status, self._kept[status].get(heading)) for status in statuses)
            yield heading, [(status, section) for status, section in found if section is not None]
