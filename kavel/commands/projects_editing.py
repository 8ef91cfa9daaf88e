"""The actions of `kavel projects` that change something."""

from __future__ import annotations

import argparse
from collections.abc import Callable
from typing import TYPE_CHECKING, Any

from rich.console import Console

from kavel.document.structure import TARGETS
from kavel.home import kavel_home
from kavel.native import require_core
from kavel.printing import print_problems
from kavel.projects import Head, find_head, find_own_head, read_project
from kavel.terminal import make_console, printable

if TYPE_CHECKING:
    from kavel.editing.documents import Edit

_LISTED = 5  # things that a copy still has, by name


def add_actions(actions: Any) -> None:
    _add_making(actions)
    save = _add(
        actions,
        "save",
        run_save,
        "store the content of a project file as a new record of a project",
        "Store the current record of a project file, edited by hand perhaps, as a new record of "
        "the project, which it means from now on. All records stay in the history.",
    )
    save.add_argument("project", metavar="NAME")
    save.add_argument(
        "--from",
        dest="source",
        metavar="FILE|NAME",
        required=True,
        help="the project whose current record is stored; the project's own file, too",
    )
    save.add_argument(
        "--comment",
        metavar="TEXT",
        default="",
        help="what the history says of the record; that of --from when not given",
    )
    rename = _add(actions, "rename", run_rename, "give a project another name")
    rename.add_argument("project", metavar="NAME")
    rename.add_argument("name", metavar="NEW-NAME")
    delete = _add(actions, "delete", run_delete, "delete a project; it can be restored")
    delete.add_argument("project", metavar="NAME")
    restore = _add(
        actions,
        "restore",
        run_restore,
        "make an old record the current one, or bring a deleted project back",
        "Make a record the current one: what the project means from now on. All records stay in "
        "the history. Without a record, bring a deleted project back.",
    )
    restore.add_argument("project", metavar="NAME")
    restore.add_argument("record", metavar="RECORD", nargs="?", help=RECORD_HELP)


RECORD_HELP = (
    "a number of `kavel projects history`, a time of saving or its beginning, or current, "
    "previous, newest, oldest"
)


def _add_making(actions: Any) -> None:
    new = _add(actions, "new", run_new, "make a project, empty or from a project file")
    new.add_argument("name", metavar="NAME")
    start = new.add_mutually_exclusive_group()
    start.add_argument(
        "--from",
        dest="source",
        metavar="FILE|NAME",
        help="start with the current record of this project",
    )
    start.add_argument(
        "--comment",
        metavar="TEXT",
        default="",
        help="what the history says of the first record of an empty project",
    )
    clone = _add(actions, "clone", run_clone, "make a project with the content of another")
    clone.add_argument("source", metavar="NAME")
    clone.add_argument("name", metavar="NEW-NAME")
    for parser, default in ((new, '"standalone", or that of --from'), (clone, "the other's")):
        parser.add_argument(
            "--target",
            choices=TARGETS,
            help=f"the application that the project is for; {default} when not given",
        )


def _add(
    actions: Any, name: str, run: Callable[..., int], what: str, description: str = ""
) -> argparse.ArgumentParser:
    parser: argparse.ArgumentParser = actions.add_parser(
        name, help=what, description=description or f"{what[0].upper()}{what[1:]}."
    )
    parser.set_defaults(run=run)
    return parser


def run_new(arguments: argparse.Namespace) -> int:
    home = kavel_home(arguments.home)
    source = find_head(arguments.source, home) if arguments.source else None
    return _create(arguments, source, arguments.comment)


def run_clone(arguments: argparse.Namespace) -> int:
    return _create(arguments, find_own_head(arguments.source, kavel_home(arguments.home)))


def _create(arguments: argparse.Namespace, source: Head | None, comment: str = "") -> int:
    require_core()
    from kavel.editing.actions import create
    from kavel.logs import LogHandler

    errors = make_console(stderr=True)
    checked = None if source is None else read_project(source.path)
    if checked is not None:
        print_problems(errors, checked.path, checked.checked.problems)
    target = arguments.target or (source.target if source else "standalone")
    home = kavel_home(arguments.home)
    with LogHandler(errors) as log:
        if checked is not None:
            log.project_told(checked)
        path = create(home, arguments.name, target, source, comment, log)
    origin = f' from "{printable(source.name)}"' if source else ", empty"
    make_console().print(
        f'made "{printable(arguments.name.strip())}" for {target}{origin}: {printable(path)}'
    )
    return 0


def run_save(arguments: argparse.Namespace) -> int:
    require_core()
    from kavel.editing.actions import save
    from kavel.logs import LogHandler

    home, errors = kavel_home(arguments.home), make_console(stderr=True)
    project = find_own_head(arguments.project, home)
    source = find_head(arguments.source, home)
    checked = read_project(source.path)
    print_problems(errors, checked.path, checked.checked.problems)
    with LogHandler(errors) as log:
        log.project_told(checked)
        edit, entry = save(project, source, arguments.comment, log, _waiting(errors, project))
    _tell(edit, f'saved record {entry.number} of "{project.name}", the current one')
    return 0


def run_rename(arguments: argparse.Namespace) -> int:
    require_core()
    from kavel.editing.actions import rename

    home = kavel_home(arguments.home)
    project = find_own_head(arguments.project, home)
    edit = _edit(lambda wait: rename(home, project, arguments.name, wait), project)
    _tell(edit, f'renamed "{project.name}" to "{edit.document.name}"')
    return 0


def run_delete(arguments: argparse.Namespace) -> int:
    require_core()
    from kavel.editing.actions import delete

    project = find_own_head(arguments.project, kavel_home(arguments.home))
    edit = _edit(lambda wait: delete(project, wait), project)
    _tell(edit, f'deleted "{project.name}"')
    make_console().print(f"bring it back with: kavel projects restore {_quoted(project.filename)}")
    return 0


def run_restore(arguments: argparse.Namespace) -> int:
    require_core()
    from kavel.editing.actions import restore

    project = find_own_head(arguments.project, kavel_home(arguments.home), deleted=True)
    edit, entry = _edit(lambda wait: restore(project, arguments.record, wait), project)
    if project.deleted:
        _tell(edit, f'brought "{project.name}" back')
    if entry is not None and entry.current and not project.deleted:
        _tell(edit, f'record {entry.number} of "{project.name}", {entry.time}, is current already')
    elif entry is not None:
        _tell(edit, f'record {entry.number} of "{project.name}", {entry.time}, is the current one')
    return 0


def _edit(action: Callable[[Callable[[], object]], Any], project: Head) -> Any:
    from kavel.logs import LogHandler

    errors = make_console(stderr=True)
    with LogHandler(errors):
        return action(_waiting(errors, project))


def _waiting(errors: Console, project: Head) -> Callable[[], object]:
    return lambda: errors.print(f"waiting for other editors of {printable(project.path)}")


def _tell(edit: Edit, what: str) -> None:
    make_console().print(f"{printable(what)}: {printable(edit.path)}")
    if edit.kept:
        more = len(edit.lost) - _LISTED
        listed = ", ".join(edit.lost[:_LISTED]) + (f" and {more} more" if more > 0 else "")
        make_console(stderr=True).print(
            f"warning: the file held what no editor keeps ({printable(listed)}); as it was, it is "
            f"kept in {printable(edit.kept)}"
        )
        edit.kept = ""  # told once


def _quoted(text: str) -> str:
    return f'"{printable(text)}"' if set(text) & set(" '&();") else printable(text)
