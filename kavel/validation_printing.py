"""Findings, repairs and verdicts of a validation as text."""

from __future__ import annotations

from collections.abc import Iterator, Sequence

from rich.console import Console
from rich.text import Text

from kavel.columns import Row, fits, print_columns
from kavel.findings import (
    ERROR,
    FAIL,
    INFO,
    PASS,
    STATUSES,
    Entry,
    Finding,
    Fold,
    Section,
    Summary,
    severity,
)
from kavel.outcome import FAILED, PASSED, Outcome, RunOutcome, listing
from kavel.report import UNMATCHED
from kavel.terminal import check_title, count, printable
from kavel.validation import Fix

_STYLES = {PASS: "green", INFO: "blue", FAIL: "red", ERROR: "bold red"}
_SCENE = "the scene"
_MISFITTING = (
    "check with stored parameters that do not fit",
    "checks with stored parameters that do not fit",
)
_WORDS = {ERROR: "check error", FAIL: "failure", INFO: "note"}


class FindingsTable:
    """Collects findings, and prints them folded: by check, or by object. Those below the status
    `least` are only counted."""

    def __init__(self, by_check: bool = True, least: str = INFO) -> None:
        self._by_check = by_check
        self._least = severity(least)
        self._hidden = 0
        self._fold = Fold()
        self.count = 0

    def add(self, finding: Finding) -> None:
        if finding.status == PASS:
            return
        self.count += 1
        if severity(finding.status) < self._least:
            self._hidden += 1
            return
        place = finding.path or _SCENE
        message = finding.message or "no message"
        if self._by_check:
            heading, text = check_title(finding.name, finding.check), message
        else:
            title = check_title(finding.name, finding.check)
            heading, text, place = place, f"{title}: {message}", ""
        self._fold.add(finding.status, heading, text, place, finding.fixable)

    def print(self, console: Console) -> None:
        for heading, sections in self._fold:
            console.print(Text(printable(heading), "bold"))
            _print_rows(console, list(self._rows(sections)))
        things = "checks" if self._by_check else "objects"
        for status in reversed(STATUSES):
            more = self._fold.more.get(status, 0)
            if more:
                counted = count(more, f"finding of {status}", f"findings of {status}")
                console.print(f"and {counted} of further {things}", style=_STYLES[status])
        if self._hidden:
            hidden = count(self._hidden, "finding of info", "findings of info")
            console.print(f"{hidden} not shown (--no-info)", style=_STYLES[INFO])

    def _rows(self, sections: list[tuple[str, Section]]) -> Iterator[list[Text]]:
        """A status, a text, a note and places each."""
        for status, section in sections:
            word = Text(status, _STYLES[status])
            for text, entry in section.entries.items():
                note = Text("fixable" if entry.fixable else "", "cyan")
                yield [word, Text(printable(text)), note, Text(self._places(entry))]
            if section.more:
                what = "with other messages" if self._by_check else "more"
                more = f"{count(section.more, 'finding')} {what}"
                yield [word, Text(more), Text(), Text()]

    def _places(self, entry: Entry) -> str:
        if not self._by_check:
            return f"{entry.count} times" if entry.count > 1 else ""
        return _places(entry)


class FixesTable:
    """Collects repairs, and prints them folded by check."""

    def __init__(self, dry_run: bool) -> None:
        self._dry_run = dry_run
        self._fold = Fold()
        self.count = 0

    def add(self, fix: Fix) -> None:
        self.count += 1
        title = check_title(fix.name, fix.check)
        self._fold.add(fix.status, title, self._text(fix), fix.path or _SCENE)

    def print(self, console: Console) -> None:
        if not self.count:
            return
        console.print(Text("Fixes that were tried" if self._dry_run else "Fixes", "bold"))
        rows: list[list[Text]] = []
        for heading, sections in self._fold:
            for status, section in sections:
                word = ("fixable" if self._dry_run else "fixed") if status == PASS else status
                state = Text(word, _STYLES[status])
                for text, entry in section.entries.items():
                    told = Text(printable(f"{heading}: {text}"))
                    rows.append([state, told, Text(), Text(_places(entry))])
                if section.more:
                    more = f"{count(section.more, 'object')} in other ways"
                    rows.append([state, Text(printable(f"{heading}: {more}")), Text(), Text()])
        _print_rows(console, rows)

    def _text(self, fix: Fix) -> str:
        if fix.error:
            return f"failed: {fix.error}"
        verb = "would change" if self._dry_run else "changed"
        if not fix.changes:
            return f"{verb} nothing"
        own = fix.changes.get(fix.path)
        others = len(fix.changes) - (own is not None)
        told = [", ".join(own)] if own else []
        if others:
            parts = {
                part for path, found in fix.changes.items() if path != fix.path for part in found
            }
            told.append(f"{', '.join(sorted(parts))} of {count(others, 'other object')}")
        return f"{verb} " + ", and ".join(told)


def validation_verdict(outcome: Outcome, run: RunOutcome) -> Text:
    """One line: passed or not, what was found, and what was not looked at."""
    scene = outcome.scene
    line = Text.assemble((f"{printable(scene.file)}: ", "bold"))
    if outcome.status == PASSED:
        line.append("passed", "green")
    elif outcome.status == FAILED:
        line.append("failed", "red")
    elif outcome.status == UNMATCHED:
        line.append(f"nothing matched: {scene.message}", "red")
    else:
        line.append(f"error: {printable(scene.told)}", "red")
    if outcome.summary.runs:
        line.append(f": {_found(outcome)}")
    if scene.objects:
        style = "red" if outcome.has_strangers else "yellow" if scene.unassigned else ""
        line.append(f", {scene.strangers}", style)
    checks = checks_verdict(run)
    if checks:  # silence would read as a pass
        line.append(f", {checks}", "red" if run.strict else "yellow")
    if outcome.would_leave is not None:
        line.append(f"; {_fixes(outcome)} would leave {_counts(outcome.would_leave)}")
    elif outcome.fixes:
        line.append(f"; {_fixes(outcome)} made, {'saved' if scene.saved else 'not saved'}")
    return line


def run_verdict(run: RunOutcome) -> Text:
    """One line for all scenes."""
    passed = run.statuses.count(PASSED)
    style = "green" if passed == len(run.statuses) else "red"
    line = Text.assemble((f"{passed} of {count(len(run.statuses), 'scene')} passed", style))
    line.append(f": {_counts(run.summary)} in {count(run.summary.runs, 'check')}")
    return line


def checks_verdict(run: RunOutcome) -> str:
    """The checks that could not be used as they were meant, or ""; in a strict run also that there
    are warnings about the project."""
    parts = []
    for ids, words in (
        ([found.name for found in run.broken], ("broken check", "broken checks")),
        (run.missing, ("check not installed", "checks not installed")),
        (run.misfitting, _MISFITTING),
    ):
        if ids:
            parts.append(f"{count(len(ids), *words)}: {listing(list(map(printable, ids)))}")
    if run.strict and run.warnings:
        parts.append(f"{count(run.warnings, 'warning')} about the project")
    return ", ".join(parts)


def _print_rows(console: Console, rows: Sequence[Sequence[Text]]) -> None:
    """Rows of a status, a text, a note and places. On a narrow terminal the places stand below the
    text: in a column of their own, paths would be broken."""
    if fits(console, rows, "  "):
        print_columns(console, rows, indent="  ")
        return
    table: list[Row] = []
    for status, text, note, places in rows:
        table.append([status, Text.assemble(text, "  ", note) if note else text])
        if places:
            table.append(["", places])
    print_columns(console, table, indent="  ", hang=0)


def _fixes(outcome: Outcome) -> str:
    return count(outcome.fixes, "fix", "fixes")


def _counts(summary: Summary) -> str:
    found = [
        count(summary.counts[status], word)
        for status, word in _WORDS.items()
        if summary.counts[status]
    ]
    return ", ".join(found) or "no findings"


def _places(entry: Entry) -> str:
    shown = ", ".join(map(printable, entry.places))
    more = entry.count - len(entry.places)
    if entry.count == 1:
        return shown
    return f"{count(entry.count, 'object')}: {shown}" + (f" and {more} more" if more else "")


def _found(outcome: Outcome) -> str:
    runs = count(outcome.summary.runs, "check")
    return f"{_counts(outcome.summary)} in {runs} of {count(outcome.checked_objects, 'object')}"
