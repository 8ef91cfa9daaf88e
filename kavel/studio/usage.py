"""Usage records of all seats: taken in once each, and summed up."""

from __future__ import annotations

import hashlib
import json
import math
from collections import Counter
from collections.abc import Iterator, Mapping
from dataclasses import dataclass
from typing import Any

import sqlalchemy as sa

from kavel.studio.bodies import RequestError
from kavel.studio.database import Database, records
from kavel.terminal import printable
from kavel.usage import without_set_number

_MAXIMUM_NAME = 200
_MAXIMUM_KINDS = 20
_FAILURES = ("fail", "error")


@dataclass(frozen=True)
class Taken:
    """Records of a request: how many there were, and how many of them the server had not yet."""

    received: int
    new: int


@dataclass(frozen=True)
class UseOf:
    """Records of one kind with one name; seconds are of a single run."""

    kind: str
    name: str
    runs: int
    failures: int
    mean: float
    users: int


def take_records(database: Database, user: str, contents: object) -> Taken:
    """Add the records that the server does not have from that user.

    A user sends all records again and again. Equal ones of one request are counted one by one: a
    request that has two where the server has one adds one.

    Errors: RequestError when the contents are no arrays of objects.
    """
    rows = [row | {"user": user} for row in _rows(contents)]
    with database.writing(f"records {user}") as connection:
        query = sa.select(sa.func.count()).select_from(records).where(records.c.user == user)
        before = connection.scalar(query) or 0
        if rows:
            connection.execute(database.insert_missing(records), rows)
        return Taken(len(rows), (connection.scalar(query) or 0) - before)


def sum_up(database: Database) -> list[UseOf]:
    """Every name of every kind, the most frequent first."""
    number = sa.func.count()
    failed = sa.func.sum(sa.case((records.c.failed, 1), else_=0))
    average = sa.func.avg(records.c.seconds)
    seats = sa.func.count(records.c.user.distinct())
    query = (
        sa.select(records.c.kind, records.c.name, number, failed, average, seats)
        .group_by(records.c.kind, records.c.name)
        .order_by(number.desc(), records.c.kind, records.c.name)
    )
    with database.reading() as connection:
        found = connection.execute(query)
        return [
            UseOf(kind, name, runs, int(failures), float(mean), users)
            for kind, name, runs, failures, mean, users in found
        ]


def _rows(contents: object) -> Iterator[dict[str, Any]]:
    if not isinstance(contents, dict):
        raise RequestError('"contents" is not an object')
    kinds = {key: value for key, value in contents.items() if key != "version"}
    if len(kinds) > _MAXIMUM_KINDS:
        raise RequestError('"contents" has too many kinds of records')
    for kind, listed in kinds.items():
        if not isinstance(listed, list) or not all(isinstance(item, dict) for item in listed):
            raise RequestError('"contents" has something else than arrays of objects')
        yield from _rows_of(printable(kind)[:_MAXIMUM_NAME], listed)


def _rows_of(kind: str, listed: list[dict[str, Any]]) -> Iterator[dict[str, Any]]:
    seen: Counter[str] = Counter()
    for record in listed:
        try:
            text = json.dumps(record, sort_keys=True, separators=(",", ":"), allow_nan=False)
        except (ValueError, RecursionError) as error:
            raise RequestError(f"a record cannot be kept: {error}") from error
        digest = hashlib.sha256(text.encode("ascii")).hexdigest()
        seen[digest] += 1
        yield {
            "kind": kind,
            "digest": digest,
            "number": seen[digest],
            "name": _name(record),
            "failed": record.get("result") in _FAILURES,
            "seconds": _seconds(record),
            "record": text,
        }


def _name(record: Mapping[str, Any]) -> str:
    """What is counted together: a check, a project or a file format."""
    found = (record.get(key) for key in ("name", "project", "format"))
    name = next((name for name in found if isinstance(name, str)), "")
    return printable(without_set_number(name))[:_MAXIMUM_NAME]


def _seconds(record: Mapping[str, Any]) -> float:
    value = record.get("speed")
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        return 0.0
    try:
        return float(value) if math.isfinite(value) and value >= 0 else 0.0
    except OverflowError:
        return 0.0
