"""Bringing the projects of a seat and of the server together: the newer edit of each wins.

No edit is thrown away. What a newer one takes the place of goes to the table of edits; it is marked
as lost when the newer one does not build upon it, and is then kept for good.
"""

from __future__ import annotations

import json
import time
from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import Any

import sqlalchemy as sa

from kavel.studio.database import Database, edits, projects
from kavel.studio.projects import Project, keeps_everything, keeps_records

_LISTED = 1000  # edits in one answer


@dataclass
class Kept:
    """An edit in the table of edits: its number, and the file and name of its project."""

    number: int
    filename: str
    name: str


@dataclass
class Merged:
    """What became of a request. `lost`: edits that the seat sent and that lost; `beaten`: edits of
    other seats that lost against one of the request."""

    received: int = 0
    added: int = 0
    replaced: int = 0
    lost: list[Kept] = field(default_factory=list)
    beaten: list[Kept] = field(default_factory=list)
    answer: bytes = b""


def merge_projects(
    database: Database, target: str, incoming: Iterable[Project], keep: int
) -> Merged:
    """Merge projects of one target in one transaction; `answer` is the JSON array of all of them.

    keep: how many edits are kept for each project beside the newest one and the lost ones.
    """
    with database.writing(f"projects {target}") as connection:
        merging = _Merging(connection, database, target, keep)
        for project in incoming:
            merging.take(project)
        merging.finish()
        return merging.merged


def list_edits(database: Database, target: str, filename: str, lost: bool) -> list[dict[str, Any]]:
    """The newest of the replaced edits whose content is still there; `filename` may be empty,
    `lost` leaves out those that a newer edit contains."""
    columns = [edits.c.id, edits.c.target, edits.c.filename, edits.c.name, edits.c.edited,
               edits.c.kept, edits.c.lost]  # fmt: skip
    query = sa.select(*columns).where(edits.c.document.is_not(None))
    if target:
        query = query.where(edits.c.target == target)
    if filename:
        query = query.where(edits.c.filename == filename)
    if lost:
        query = query.where(edits.c.lost)
    with database.reading() as connection:
        found = connection.execute(query.order_by(edits.c.id.desc()).limit(_LISTED))
        return [dict(row._mapping) for row in found]


def find_edit(database: Database, number: int) -> tuple[str, str] | None:
    """File name and JSON of a replaced edit; nothing when there is none or its content is gone."""
    query = sa.select(edits.c.filename, edits.c.document).where(edits.c.id == number)
    with database.reading() as connection:
        row = connection.execute(query).first()
    return None if row is None or row.document is None else (row.filename, row.document)


class _Merging:
    """One request, within its transaction."""

    def __init__(
        self, connection: sa.Connection, database: Database, target: str, keep: int
    ) -> None:
        self.merged = Merged()
        self._connection = connection
        self._database = database
        self._target = target
        self._keep = keep
        columns = (projects.c.filename, projects.c.edited, projects.c.digest)
        query = sa.select(*columns).where(projects.c.target == target)
        self._known = {row.filename: (row.edited, row.digest) for row in connection.execute(query)}
        self._new: list[Project] = []

    def take(self, project: Project) -> None:
        self.merged.received += 1
        edited, digest = self._known.get(project.filename, (None, None))
        if edited is None:
            self.merged.added += 1
            self._new.append(project)
        elif digest == project.digest:
            return
        elif project.edited > edited:
            self._replace(project)
        else:
            self._set_aside(project)
            return
        self._known[project.filename] = (project.edited, project.digest)

    def finish(self) -> None:
        """Write what is new, and make the answer."""
        self._flush()
        query = sa.select(projects.c.document).where(projects.c.target == self._target)
        documents = self._connection.scalars(query.order_by(projects.c.filename))
        self.merged.answer = ("[" + ",".join(documents) + "]").encode("ascii")

    def _replace(self, project: Project) -> None:
        """The server's edit gives way to a newer one."""
        old = self._current(project.filename)
        lost = not keeps_records(project.data, json.loads(old["document"]))
        kept = self._keep_edit(old, lost)
        if lost:
            self.merged.beaten.append(kept)
        self._prune(project.filename)
        here = (projects.c.target == self._target) & (projects.c.filename == project.filename)
        self._connection.execute(sa.update(projects).where(here).values(_row(project)))
        self.merged.replaced += 1

    def _set_aside(self, project: Project) -> None:
        """The seat is behind, or was offline when it made an edit that others have overtaken."""
        found = self._find_edit(project.filename, project.digest)
        if found is None:
            current = json.loads(self._current(project.filename)["document"])
            lost = not keeps_everything(current, project.data)
            self._keep_edit(_row(project), lost)
            found = self._find_edit(project.filename, project.digest)
            self._prune(project.filename)
        if found is not None and found.lost:
            self.merged.lost.append(Kept(found.id, project.filename, found.name))

    def _current(self, filename: str) -> dict[str, Any]:
        self._flush()
        here = (projects.c.target == self._target) & (projects.c.filename == filename)
        row = self._connection.execute(sa.select(projects).where(here)).one()
        return dict(row._mapping)

    def _find_edit(self, filename: str, digest: str) -> Any:
        here = self._edits_of(filename) & (edits.c.digest == digest)
        columns = (edits.c.id, edits.c.name, edits.c.lost)
        return self._connection.execute(sa.select(*columns).where(here)).first()

    def _keep_edit(self, row: dict[str, Any], lost: bool) -> Kept:
        fields = {key: row[key] for key in ("filename", "digest", "edited", "name", "document")}
        values = {**fields, "target": self._target, "kept": time.time(), "lost": lost}
        self._connection.execute(self._database.insert_missing(edits), [values])
        found = self._find_edit(row["filename"], row["digest"])
        return Kept(found.id, row["filename"], row["name"])

    def _prune(self, filename: str) -> None:
        """Drop the content of old edits that a newer one contains."""
        spare = self._edits_of(filename) & ~edits.c.lost & edits.c.document.is_not(None)
        query = sa.select(edits.c.id).where(spare).order_by(edits.c.edited.desc(), edits.c.id)
        numbers = list(self._connection.scalars(query.offset(self._keep)))
        if numbers:
            dropped = sa.update(edits).where(edits.c.id.in_(numbers)).values(document=None)
            self._connection.execute(dropped)

    def _edits_of(self, filename: str) -> sa.ColumnElement[bool]:
        return (edits.c.target == self._target) & (edits.c.filename == filename)

    def _flush(self) -> None:
        if self._new:
            rows = [{"target": self._target, **_row(project)} for project in self._new]
            self._connection.execute(sa.insert(projects), rows)
            self._new.clear()


def _row(project: Project) -> dict[str, Any]:
    return {
        "filename": project.filename,
        "edited": project.edited,
        "digest": project.digest,
        "name": project.name,
        "deleted": project.deleted,
        "document": project.text,
    }
