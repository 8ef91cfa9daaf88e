"""Making, saving, renaming, deleting and restoring the user's projects."""

from __future__ import annotations

import getpass
import os
from collections.abc import Callable
from typing import Any

import core
from kavel.document.structure import TARGETS, VERSION
from kavel.editing.documents import Edit, editing, read_document
from kavel.editing.records import Entry, find_entry, read_entries
from kavel.environment import StandaloneEnvironment
from kavel.errors import ProjectError
from kavel.logs import LogHandler
from kavel.projects import Head, project_heads

OnWait = Callable[[], object]


class _Folder:
    """Stands in for the collection of a new document."""

    def save_project(self, settings: Any) -> None:
        settings.write()


def create(
    home: str, name: str, target: str, source: Head | None, comment: str, log: LogHandler
) -> str:
    """Make a project of that name; returns the path of its file.

    It starts with one record: the current one of `source`, or an empty one with `comment` by this
    user.

    Errors: ProjectError when a project of that target has the name, the name or `target` cannot be
    used, `source` is none for the core, or the file cannot be written.
    """
    name = usable_name(name)
    if target not in TARGETS:
        raise ProjectError(f'"{target}" is no target; give one of {", ".join(TARGETS)}')
    _require_free(home, name, target)
    content = None if source is None else read_document(source.path).data
    try:
        folder = StandaloneEnvironment(home, target).get_projects_directory()
    except OSError as error:
        raise ProjectError(f"{home}: cannot be used: {error.strerror or error}") from error
    # The document alone: a whole `Api` would take the first project for the user's current one.
    document = core._Project.Settings(_Folder(), folder, "", {"version": VERSION, "target": target})
    if content is not None:
        document.apply({**content, "target": target, "deleted": False})
        document.history.bake()
        document.clear_filename()
    document.name = name
    _save_first(document, comment)
    path = str(document.path)
    if not os.path.isfile(path):  # the core has logged why
        reason = "; ".join(log.take_errors())
        raise ProjectError(f"{path}: cannot be written" + (f": {reason}" if reason else ""))
    return path


def save(
    project: Head, source: Head, comment: str, log: LogHandler, on_wait: OnWait
) -> tuple[Edit, Entry]:
    """Store the current record of `source` as a new record of the project, by this user, and make
    it the current one. Without a comment it keeps the one it has.

    Errors: ProjectError when `source` has no record or is none for the core, or a record of this
    second is there already; those of `editing`.
    """
    given = read_document(source.path).history.get_record()
    if given.is_promise:
        raise ProjectError(f"{source.path}: the project has no record to save")
    with editing(project, on_wait) as edit:
        document = edit.document
        known = {entry.timestamp for entry in read_entries(document.history)}
        record = document.get_record_promise()
        record._apply(given.data)
        record.author, record.comment = _user(), comment or str(given.comment)
        record.save()
        current = find_entry(read_entries(document.history), "current")
        if current.timestamp in known:
            reasons = log.take_errors() or ["a record of this second is there already; try again"]
            raise ProjectError(f"{project.path}: not saved: {'; '.join(reasons)}")
    return edit, current


def rename(home: str, project: Head, name: str, on_wait: OnWait) -> Edit:
    """Give a project another name; the name of its file stays.

    Errors: ProjectError when another project of its target has the name, or it cannot be used;
    those of `editing`.
    """
    name = usable_name(name)
    _require_free(home, name, project.target, project.path)
    with editing(project, on_wait) as edit:
        edit.document.name = name
        edit.document.save()
    return edit


def delete(project: Head, on_wait: OnWait) -> Edit:
    """Mark a project as deleted. Its file stays, so that the mark reaches other seats.

    Errors: those of `editing`.
    """
    with editing(project, on_wait) as edit:
        edit.document.delete()
        edit.document.save()
    return edit


def restore(project: Head, record: str | None, on_wait: OnWait) -> tuple[Edit, Entry | None]:
    """Make a record the current one, and a deleted project one of the user's again.

    Every record stays in the history, and the next one that is saved starts from this one. None,
    which changes no record, is only for deleted projects. Returns the record,
    which is `current` when it was so before.

    Errors: ProjectError when there is no such record, or nothing to restore; those of `editing`.
    """
    entry = None
    with editing(project, on_wait) as edit:
        document = edit.document
        deleted, document.deleted = document.deleted, False
        if record is not None:
            entry = find_entry(read_entries(document.history), record)
            if entry.current and not deleted:
                return edit, entry  # as it shall be: nothing is written
            entry.record.select()
        elif not deleted:
            raise ProjectError("the project is not deleted; which record shall be the current one?")
        document.save()
    return edit, entry


def usable_name(text: str) -> str:
    """Errors: ProjectError for a name that is empty, or that no line can show."""
    name = text.strip(" ")
    if not name:
        raise ProjectError("a project needs a name")
    if not name.isprintable():
        raise ProjectError(f"{name!r}: the name holds characters that cannot be printed")
    return name


def _require_free(home: str, name: str, target: str, own: str = "") -> None:
    for other in project_heads(home):
        if (other.name, other.target, other.deleted) == (name, target, False) and other.path != own:
            raise ProjectError(f'there is a project "{name}" for {target} already: {other.path}')


def _save_first(document: Any, comment: str) -> None:
    if document.history.pointer:
        document.save()
        return
    record = document.get_record_promise()
    record.author = _user()
    record.comment = comment
    record.save()


def _user() -> str:
    try:
        return getpass.getuser()
    except (KeyError, OSError, ImportError):  # an account without a name
        return ""
