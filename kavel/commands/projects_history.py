"""The actions of `kavel projects` that look at records."""

from __future__ import annotations

import argparse
from typing import Any

from kavel.columns import print_columns
from kavel.commands.comparing import compare, print_misfits_of
from kavel.commands.options import add_check_folders, add_json
from kavel.commands.projects_editing import RECORD_HELP
from kavel.document import ERROR, WARNING
from kavel.home import kavel_home
from kavel.json_output import STDOUT, write_json
from kavel.native import require_core
from kavel.printing import print_problems
from kavel.projects import Head, find_head, find_project
from kavel.terminal import count, make_console, printable
from kavel.versions import versions

HISTORY_SCHEMA = "kavel.history/1"
DIFF_SCHEMA = "kavel.diff/1"
LINT_SCHEMA = "kavel.lint/1"


def add_actions(actions: Any) -> None:
    history = actions.add_parser(
        "history",
        help="list a project's records",
        description="List the records of a project, the newest first: number, time of saving, "
        "author, comment. The current one is marked.",
    )
    history.add_argument("project", metavar="FILE|NAME")
    add_json(history, in_place_of="the list")
    history.set_defaults(run=run_history)
    diff = actions.add_parser(
        "diff",
        help="show what changed between two records",
        description="Show what changed between two records of a project. Without B, up to the "
        "current record; without A as well, since the one before it.",
        epilog="Exit status: 0 nothing changed; 1 something did; 2 the project or a record cannot "
        "be used.",
    )
    diff.add_argument("project", metavar="FILE|NAME")
    diff.add_argument("before", metavar="A", nargs="?", default="previous", help=RECORD_HELP)
    diff.add_argument("after", metavar="B", nargs="?", default="current", help="the same")
    add_json(diff, in_place_of="the text")
    diff.set_defaults(run=run_diff)
    lint = actions.add_parser(
        "lint",
        help="check a project document",
        description="Check a project as it is checked before a scan, compare its checklists with "
        "the installed checks, and tell every problem with its place. An error makes a project "
        "unusable; a warning is for what is accepted although it looks wrong.",
        epilog="Exit status: 0 the project can be used; 1 it cannot, or with --strict there is any "
        "problem; 2 there is no such project.",
    )
    lint.add_argument("project", metavar="FILE|NAME")
    lint.add_argument("--strict", action="store_true", help="take warnings for errors")
    add_check_folders(lint)
    add_json(lint, in_place_of="the problems")
    lint.set_defaults(run=run_lint)


def run_history(arguments: argparse.Namespace) -> int:
    project, entries = _entries(arguments)
    if arguments.json:
        records = [entry.data() for entry in reversed(entries)]
        report = {"schema": HISTORY_SCHEMA, **_head(project), "records": records}
        write_json(arguments.json, {**report, "versions": versions()})
    if arguments.json != STDOUT:
        rows = [
            (
                f"{entry.number:>{len(str(len(entries)))}}",
                "*" if entry.current else " ",
                entry.time,
                printable(entry.author) or "-",
                printable(entry.comment),
            )
            for entry in reversed(entries)
        ]
        print_columns(make_console(), rows)
        make_console(stderr=True).print(
            f'{count(len(entries), "record")} of "{printable(project.name)}"'
        )
    return 0


def run_diff(arguments: argparse.Namespace) -> int:
    project, entries = _entries(arguments)
    from kavel.editing.changes import compare_records
    from kavel.editing.diff_printing import print_diff
    from kavel.editing.records import find_entry

    before = find_entry(entries, arguments.before)
    after = find_entry(entries, arguments.after)
    changes = compare_records(before.record.data, after.record.data)
    if arguments.json:
        report = {
            "schema": DIFF_SCHEMA,
            **_head(project),
            "before": before.data(),
            "after": after.data(),
            "changes": [change.data() for change in changes],
            "versions": versions(),
        }
        write_json(arguments.json, report)
    if arguments.json != STDOUT:
        print_diff(make_console(), project.name, before, after, changes)
    return 1 if changes else 0


def run_lint(arguments: argparse.Namespace) -> int:
    project = find_project(arguments.project, kavel_home(arguments.home))
    compared = compare(project, arguments, make_console(stderr=True))
    problems = [*project.checked.problems, *(compared or [])]
    counts = {
        kind: sum(problem.severity == kind for problem in problems) for kind in (ERROR, WARNING)
    }
    failed = bool(counts[ERROR] or (arguments.strict and problems))
    if arguments.json:
        report = {
            "schema": LINT_SCHEMA,
            "usable": project.checked.usable,
            "compared": compared is not None,
            **project.data(),
            "problems": [problem.data() for problem in problems],
        }
        write_json(arguments.json, {**report, "versions": versions()})
    if arguments.json != STDOUT:
        output = make_console()
        print_problems(output, project.path, project.checked.problems)
        print_misfits_of(compared, output)
        errors, warnings = (count(number, kind) for kind, number in counts.items())
        output.print(f"{printable(project.path)}: {errors}, {warnings}")
    return int(failed)


def _entries(arguments: argparse.Namespace) -> tuple[Head, Any]:
    require_core()
    from kavel.editing.documents import read_document
    from kavel.editing.records import read_entries
    from kavel.logs import LogHandler

    project = find_head(arguments.project, kavel_home(arguments.home))
    # What the core has to say of a document is among the problems that lint and show tell.
    with LogHandler(make_console(stderr=True)):
        document = read_document(project.path)
    return project, read_entries(document.history)


def record_of(arguments: argparse.Namespace) -> int:
    """The time of saving of the record that `arguments` name."""
    from kavel.editing.records import find_entry

    _, entries = _entries(arguments)
    return int(find_entry(entries, arguments.record).timestamp)


def _head(project: Head) -> dict[str, Any]:
    return {"project": {"name": project.name, "filename": project.filename, "path": project.path}}
