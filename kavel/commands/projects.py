"""`kavel projects`: the user's projects."""

from __future__ import annotations

import argparse
import os
from collections.abc import Sequence
from typing import Any

from rich.console import Console

from kavel.columns import column_widths, fits, print_columns
from kavel.commands import projects_editing, projects_history
from kavel.commands.comparing import compare, print_misfits_of
from kavel.commands.options import add_check_folders
from kavel.document import ERROR, Pattern
from kavel.document.structure import VERSION
from kavel.home import kavel_home, target_directory
from kavel.outline import asked_checks, outline
from kavel.printing import print_problems
from kavel.projects import ProjectFile, find_project, read_project, user_projects
from kavel.terminal import count, make_console, printable


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser("projects", help="list, edit and compare projects")
    actions = parser.add_subparsers(required=True, metavar="ACTION")
    listing = actions.add_parser("list", help="list your projects of all targets")
    listing.add_argument("--deleted", action="store_true", help="those that you deleted")
    listing.set_defaults(run=run_list)
    show = actions.add_parser("show", help="show a project's rule tree")
    show.add_argument("project", metavar="FILE|NAME")
    add_check_folders(show)
    show.add_argument("--record", metavar="RECORD", help=projects_editing.RECORD_HELP)
    show.set_defaults(run=run_show)
    projects_editing.add_actions(actions)
    projects_history.add_actions(actions)


def run_list(arguments: argparse.Namespace) -> int:
    output, errors = make_console(), make_console(stderr=True)
    home = kavel_home(arguments.home)
    found = [found for found in user_projects(home) if found.deleted == arguments.deleted]
    found.sort(key=lambda found: (not found.name, found.name.casefold(), found.target, found.path))
    rows = [
        (printable(project.name) or "-", printable(project.target) or "-", _state(project),
         printable(project.path))
        for project in found
    ]  # fmt: skip
    _print_list(output, rows)
    what = "deleted project" if arguments.deleted else "project"
    errors.print(f"{count(len(rows), what)} in {printable(home)}")
    if not rows and not arguments.deleted:
        folder = os.path.join(target_directory(home, "standalone"), "projects")
        errors.print(f"a project file in {printable(folder)} is known by its name")
    return 0


def _print_list(output: Console, rows: Sequence[tuple[str, str, str, str]]) -> None:
    """A line for each project; where they are too long, the path stands on a line of its own."""
    if fits(output, rows):
        print_columns(output, rows)
        return
    heads = [row[:3] for row in rows]
    widths = column_widths(output, heads)
    for row, head in zip(rows, heads):
        print_columns(output, [head], widths=widths)
        output.print(f"  {row[3]}")


def run_show(arguments: argparse.Namespace) -> int:
    output, errors = make_console(), make_console(stderr=True)
    project = find_project(arguments.project, kavel_home(arguments.home))
    if arguments.record is not None:
        project = read_project(project.path, projects_history.record_of(arguments))
    checked = project.checked
    print_problems(errors, project.path, checked.problems)
    if not checked.document:
        return 2
    print_misfits_of(compare(project, arguments, errors), errors)
    title = printable(project.name) or "(no name)"
    target = printable(project.target) or "(none)"
    output.print(f"{title}: target {target}, record {checked.timestamp or '(none)'}")
    description = checked.text("description")
    if description:
        output.print(printable(description))
    if checked.pattern is not None:
        _print_outline(output, checked.pattern)
        for names, rows in asked_checks(checked.pattern):
            output.print(f"checks on {printable(', '.join(names))}:")
            cells = [(printable(check), printable(parameters)) for check, parameters in rows]
            print_columns(output, cells, "  ")
    return 0 if checked.usable else 2


def _print_outline(output: Console, pattern: Pattern) -> None:
    """A line for each item; where they are too long, expressions stand on lines of their own."""
    lines = [
        (("  " * (depth + 1)) + printable(name), printable(regex), printable(types), limits)
        for depth, name, regex, types, limits in outline(pattern)
    ]
    if fits(output, lines):
        print_columns(output, lines)
        return
    heads = [(name, types, limits) for name, _, types, limits in lines]
    widths = column_widths(output, heads)
    for (name, regex, _, _), head in zip(lines, heads):
        print_columns(output, [head], widths=widths)
        if regex:
            output.print(f"{' ' * (len(name) - len(name.lstrip()) + 4)}{regex}")


def _state(project: ProjectFile) -> str:
    """In words, with the first reason why a project cannot be used. That it is deleted is none:
    where those are listed, nothing else would be told."""
    checked = project.checked
    version = checked.document.get("version")
    errors = [
        printable(problem.message)
        for problem in checked.problems
        if problem.severity == ERROR and not (project.deleted and problem.path == "deleted")
    ]
    reason = f": {errors[0]}" if errors else ""
    more = f", and {count(len(errors) - 1, 'more error')}" if len(errors) > 1 else ""
    if not checked.document:
        return f"unreadable{reason}{more}"
    if version is not None and version != VERSION:
        return f"version {printable(str(version))}"
    return f"not usable{reason}{more}" if errors else "ok"
