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
_BATCH = 200  # projects at once


@dataclass
class Kept:
    """An edit in the table of edits: its number, and the file and name of its project. `records`:
    whether what won lacks records of it, not only its name, description or deletion."""

    number: int
    filename: str
    name: str
    records: bool = True


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
    """One request, within its transaction; projects are worked on in batches."""

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
        # By their file names, each of which is in one of them at most.
        self._new: dict[str, Project] = {}
        self._newer: dict[str, Project] = {}
        self._late: dict[str, Project] = {}

    def take(self, project: Project) -> None:
        waiting = (self._new, self._newer, self._late)
        if any(project.filename in part for part in waiting) or sum(map(len, waiting)) >= _BATCH:
            self._work()
        self.merged.received += 1
        edited, digest = self._known.get(project.filename, (None, None))
        if digest == project.digest:
            return
        if edited is not None and project.edited <= edited:
            # The seat is behind, or was offline when it made an edit that others have overtaken.
            self._late[project.filename] = project
            return
        (self._new if edited is None else self._newer)[project.filename] = project
        self._known[project.filename] = (project.edited, project.digest)

    def finish(self) -> None:
        """Make the answer."""
        self._work()
        query = sa.select(projects.c.document).where(projects.c.target == self._target)
        documents = self._connection.scalars(query.order_by(projects.c.filename))
        self.merged.answer = ("[" + ",".join(documents) + "]").encode("utf-8")

    def _work(self) -> None:
        if self._newer or self._late:
            self._keep_edits()
        if self._new:
            rows = [{"target": self._target, **_row(project)} for project in self._new.values()]
            self._connection.execute(sa.insert(projects), rows)
        if self._newer:
            here = projects.c.filename == sa.bindparam("the_file")
            update = sa.update(projects).where(projects.c.target == self._target, here)
            rows = [{"the_file": name, **_row(project)} for name, project in self._newer.items()]
            self._connection.execute(update, rows)
        self.merged.added += len(self._new)
        self.merged.replaced += len(self._newer)
        for waiting in (self._new, self._newer, self._late):
            waiting.clear()

    def _keep_edits(self) -> None:
        """Everything that gives way goes to the table of edits, unless it is there already."""
        names = [*self._newer, *self._late]
        query = sa.select(projects).where(projects.c.target == self._target)
        found = self._connection.execute(query.where(projects.c.filename.in_(names)))
        current = {row.filename: dict(row._mapping) for row in found}
        there = self._edits_of(names)
        rows = [
            self._edit(current[name], not keeps_records(project.data, _document(current[name])))
            for name, project in self._newer.items()
        ] + [
            self._edit(_row(project), not keeps_everything(_document(current[name]), project.data))
            for name, project in self._late.items()
            if (name, project.digest) not in there
        ]
        if rows:
            self._connection.execute(self._database.insert_missing(edits), rows)
            self._prune(names)
            there = self._edits_of(names)
        beaten = ((name, current[name]["digest"]) for name in self._newer)
        lost = ((name, project.digest) for name, project in self._late.items())
        for name, project in self._late.items():
            kept = there[name, project.digest][0]
            kept.records = not keeps_records(_document(current[name]), project.data)
        self.merged.beaten += [there[key][0] for key in beaten if there[key][1]]
        self.merged.lost += [there[key][0] for key in lost if there[key][1]]

    def _edit(self, row: dict[str, Any], lost: bool) -> dict[str, Any]:
        fields = {key: row[key] for key in ("filename", "digest", "edited", "name", "document")}
        return {**fields, "target": self._target, "kept": time.time(), "lost": lost}

    def _edits_of(self, names: list[str]) -> dict[tuple[str, str], tuple[Kept, bool]]:
        """Edits of these files, and whether they are lost, by file name and digest."""
        columns = (edits.c.id, edits.c.filename, edits.c.digest, edits.c.name, edits.c.lost)
        found = self._connection.execute(sa.select(*columns).where(self._are(names)))
        return {
            (filename, digest): (Kept(number, filename, name), lost)
            for number, filename, digest, name, lost in found
        }

    def _prune(self, names: list[str]) -> None:
        """Drop the content of old edits that a newer one contains."""
        newest = (edits.c.edited.desc(), edits.c.id.desc())
        rank = sa.func.row_number().over(partition_by=edits.c.filename, order_by=newest)
        spare = self._are(names) & ~edits.c.lost & edits.c.document.is_not(None)
        ranked = sa.select(edits.c.id, rank.label("rank")).where(spare).subquery()
        old = sa.select(ranked.c.id).where(ranked.c.rank > self._keep)
        dropped = sa.update(edits).where(edits.c.id.in_(old)).values(document=None)
        self._connection.execute(dropped)

    def _are(self, names: list[str]) -> sa.ColumnElement[bool]:
        return (edits.c.target == self._target) & edits.c.filename.in_(names)


def _document(row: dict[str, Any]) -> Any:
    return json.loads(row["document"])


def _row(project: Project) -> dict[str, Any]:
    return {
        "filename": project.filename,
        "edited": project.edited,
        "digest": project.digest,
        "name": project.name,
        "deleted": project.deleted,
        "document": project.text,
    }
