"""The records of a project's history, and which of them a word means."""

from __future__ import annotations

import re
import time
from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

from kavel.errors import ProjectError

_SHOWN = 5  # times that are listed when a text fits several
_TIME = re.compile(r"\d{4}-[\d :T-]*\Z")
WORDS = ("current", "previous", "newest", "oldest")


@dataclass(frozen=True)
class Entry:
    """A record. `number` counts from 1, the oldest; `current` tells whether it is the one in force;
    `record` is the core's."""

    number: int
    timestamp: int
    author: str
    comment: str
    current: bool
    record: Any

    @property
    def time(self) -> str:
        """Local time of saving, "2026-11-21 10:00:00"; for what no calendar has, the seconds."""
        try:
            return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(self.timestamp))
        except (OverflowError, OSError, ValueError):
            return f"@{self.timestamp}"

    def data(self) -> dict[str, Any]:
        """What a report says of the record."""
        return {
            "number": self.number,
            "timestamp": self.timestamp,
            "author": self.author,
            "comment": self.comment,
            "current": self.current,
        }


def read_entries(history: Any) -> list[Entry]:
    """The records of a core history, the oldest first."""
    selected = history.pointer
    records = sorted(history, key=lambda record: int(record.timestamp))
    return [
        Entry(
            number,
            int(record.timestamp),
            str(record.author),
            str(record.comment),
            record.timestamp == selected,
            record,
        )
        for number, record in enumerate(records, 1)
    ]


def find_entry(entries: Sequence[Entry], text: str) -> Entry:
    """The record that `text` means: its number, the second of saving (with "@" in front if need
    be), the local time of saving or its beginning, or one of `WORDS`.

    Errors: ProjectError, with what there is, when it means none or more than one.
    """
    if not entries:
        raise ProjectError("the project has no records")
    found = _by_word(entries, text) if text in WORDS else _by_place(entries, text)
    if len(found) == 1:
        return found[0]
    if not found:
        raise ProjectError(
            f'"{text}" is no record: give a number from 1 to {len(entries)}, a time, or one of '
            f"{', '.join(WORDS)}"
        )
    times = "".join(f"\n  {entry.number}  {entry.time}" for entry in found[:_SHOWN])
    more = f"\n  and {len(found) - _SHOWN} more" if len(found) > _SHOWN else ""
    raise ProjectError(f'"{text}" means more than one record:{times}{more}')


def _by_word(entries: Sequence[Entry], word: str) -> list[Entry]:
    if word in ("newest", "oldest"):
        return [entries[-1 if word == "newest" else 0]]
    current = next(entry for entry in entries if entry.current)
    if word == "current":
        return [current]
    if current.number == 1:
        raise ProjectError("no record is older than the current one")
    return [entries[current.number - 2]]


def _by_place(entries: Sequence[Entry], text: str) -> list[Entry]:
    second = text[1:] if text.startswith("@") else text
    if re.fullmatch(r"-?[0-9]{1,18}", second, re.ASCII):
        number = int(second)
        return [
            entry
            for entry in entries
            if entry.timestamp == number or (entry.number == number and second == text)
        ]
    if not _TIME.match(text):
        return []
    start = text.replace("T", " ")
    return [entry for entry in entries if entry.time.startswith(start)]
