"""What an exchange with a studio server did, as text."""

from __future__ import annotations

from collections.abc import Sequence

from rich.console import Console
from rich.text import Text

from kavel.columns import print_columns
from kavel.studio.addresses import Address
from kavel.studio.exchange import Entry, ProjectsOutcome, StatisticsOutcome
from kavel.studio.recovery import KeptEdit
from kavel.terminal import count, printable

_LISTED = 20  # projects named of each kind
_ERROR = 300  # characters of one, which may quote a document
_LABELS = {
    "added": "new here",
    "updated": "updated",
    "deleted": "deleted by others",
    "erased": "erased, the server does not have it",
    "kept_local": "kept, newer here",
}
_LOST = "your edit of {} lost: a newer one of another seat took its place without it (edit {})"
_SAME_TIME = "your {} differs from the server's, which says the same time of editing (edit {})"
_BEATEN = "your edit of {} won: it took the place of another seat's, without it (edit {})"


def print_projects(console: Console, outcome: ProjectsOutcome, address: Address) -> None:
    """A line of counts, one for each project that changed, and how to get back what lost."""
    counts = [
        f"{len(outcome.added)} new",
        f"{len(outcome.updated)} updated",
        f"{len(outcome.deleted)} deleted",
        f"{len(outcome.erased)} erased",
        f"{len(outcome.kept_local)} kept local",
        count(outcome.lost_count + outcome.beaten_count, "conflict"),
    ]
    console.print(
        f"projects: {outcome.sent} sent, {outcome.received} received from {address}: "
        + ", ".join(counts)
    )
    for key, label in _LABELS.items():
        _print_entries(console, label, getattr(outcome, key))
    unmarked = [entry for entry in outcome.lost if entry.same_time]
    lost = [entry for entry in outcome.lost if not entry.same_time]
    _print_kept(console, unmarked, len(unmarked), _SAME_TIME)
    _print_kept(console, lost, outcome.lost_count - len(unmarked), _LOST)
    _print_kept(console, outcome.beaten, outcome.beaten_count, _BEATEN)
    _print_advice(console, outcome, address)
    if outcome.errors:
        console.print(Text(f"  {count(len(outcome.errors), 'error')} on the way:", "red"))
        for error in outcome.errors[:_LISTED]:
            console.print(Text(f"  {printable(error)[:_ERROR]}", "red"))


def _print_advice(console: Console, outcome: ProjectsOutcome, address: Address) -> None:
    """How to get back what lost: by its records, where the project lacks any."""
    unmarked = [entry for entry in outcome.lost if entry.same_time]
    if unmarked:
        console.print(
            "  Edited by hand? To make an edit of it that the server takes:\n"
            f"  kavel projects save {unmarked[0].filename} --from {unmarked[0].filename}"
        )
    kept = [entry for entry in [*outcome.lost, *outcome.beaten] if not entry.same_time]
    if outcome.lost_count + outcome.beaten_count == len(unmarked):
        return
    plain = [str(entry.kept) for entry in kept if not entry.records]
    if len(plain) < len(kept) or not kept:
        console.print(
            "  The server keeps what lost. To have the records of an edit in the project again:\n"
            f"  kavel sync --server {address} --restore-edit NUMBER\n"
            "  or --get-edit NUMBER --to FILE for a file of its own; --list-edits lists them all."
        )
    if plain:
        what = "edit" if len(plain) == 1 else "edits"
        console.print(
            f"  Of {what} {', '.join(plain[:_LISTED])} no records are missing, only name, "
            "description or deletion differ:\n"
            "  set them anew with kavel projects rename, delete or restore; "
            f"to look at one:\n  kavel sync --server {address} --get-edit NUMBER --to FILE"
        )


def print_statistics(console: Console, outcome: StatisticsOutcome) -> None:
    if not outcome.sent:
        console.print("statistics: no records to send")
        return
    line = f"statistics: {count(outcome.sent, 'record')} sent"
    if outcome.new is not None:
        line += f", {outcome.new} of them new to the server"
    if outcome.erased:
        line += ", erased here"
    console.print(line)


def print_edits(console: Console, listed: Sequence[KeptEdit]) -> None:
    rows = [
        (str(edit.number), edit.when, edit.name or "-", edit.filename,
         "lost" if edit.lost else "contained in a newer one")
        for edit in listed
    ]  # fmt: skip
    if rows:
        print_columns(console, [("edit", "of", "project", "file", "state"), *rows])
    else:
        console.print("the server keeps no earlier edits of this target")


def _print_entries(console: Console, label: str, entries: Sequence[Entry]) -> None:
    for entry in entries[:_LISTED]:
        console.print(f"  {label}: {_title(entry)}")
    if len(entries) > _LISTED:
        console.print(f"  {label}: and {len(entries) - _LISTED} more")


def _print_kept(console: Console, entries: Sequence[Entry], number: int, text: str) -> None:
    for entry in entries[:_LISTED]:
        console.print(Text(f"  {text.format(_title(entry), entry.kept)}", "yellow"))
    more = number - min(len(entries), _LISTED)
    if more > 0:
        console.print(f"  and {more} more of these")


def _title(entry: Entry) -> str:
    return f"{printable(entry.name) or '(no name)'} ({printable(entry.filename)})"
