"""The database of the studio server: its tables, and transactions on them.

SQLite in a file, or PostgreSQL. Writers of one target, or of one user's records, take turns: each
holds a row of `turns` until its transaction ends. SQLite has one writer at a time anyway.
"""

from __future__ import annotations

import os
from collections.abc import Iterator
from contextlib import contextmanager
from typing import Any

import sqlalchemy as sa
from sqlalchemy.dialects import postgresql, sqlite

from kavel.errors import KavelError

SCHEMA = 1
_BUSY = 60  # seconds to wait for another process that writes to the same SQLite file

_metadata = sa.MetaData()

projects = sa.Table(
    "projects",
    _metadata,
    sa.Column("target", sa.Text, primary_key=True),
    sa.Column("filename", sa.Text, primary_key=True),
    sa.Column("edited", sa.Double, nullable=False),
    sa.Column("digest", sa.Text, nullable=False),
    sa.Column("name", sa.Text, nullable=False),
    sa.Column("deleted", sa.Boolean, nullable=False),
    sa.Column("document", sa.Text, nullable=False),
)
"""The newest edit of each project; `document` is its JSON."""

edits = sa.Table(
    "edits",
    _metadata,
    sa.Column("id", sa.Integer, primary_key=True, autoincrement=True),
    sa.Column("target", sa.Text, nullable=False),
    sa.Column("filename", sa.Text, nullable=False),
    sa.Column("digest", sa.Text, nullable=False),
    sa.Column("edited", sa.Double, nullable=False),
    sa.Column("kept", sa.Double, nullable=False),
    sa.Column("name", sa.Text, nullable=False),
    sa.Column("lost", sa.Boolean, nullable=False),
    sa.Column("document", sa.Text),
    sa.UniqueConstraint("target", "filename", "digest"),
)
"""Edits that a newer one took the place of. `lost`: the newer one does not build upon it. Of an old
edit that is contained in a newer one, `document` is dropped after a while."""

records = sa.Table(
    "records",
    _metadata,
    sa.Column("user", sa.Text, primary_key=True),
    sa.Column("kind", sa.Text, primary_key=True),
    sa.Column("digest", sa.Text, primary_key=True),
    sa.Column("number", sa.Integer, primary_key=True),
    sa.Column("name", sa.Text, nullable=False),
    sa.Column("failed", sa.Boolean, nullable=False),
    sa.Column("seconds", sa.Double, nullable=False),
    sa.Column("record", sa.Text, nullable=False),
    sa.Index("records_by_name", "kind", "name"),
)
"""Usage records; `number` counts equal ones of one request."""

_turns = sa.Table("turns", _metadata, sa.Column("name", sa.Text, primary_key=True))
_studio = sa.Table(
    "studio",
    _metadata,
    sa.Column("key", sa.Text, primary_key=True),
    sa.Column("value", sa.Text, nullable=False),
)


class Database:
    """An open database, with its tables.

    `where` is a path of an SQLite file, or an address with "://".
    Errors: KavelError when it cannot be opened, or holds something else.
    """

    def __init__(self, where: str) -> None:
        self.url = _url(where)
        try:
            self._engine = sa.create_engine(self.url, pool_pre_ping=True)
            if self._is_sqlite:
                sa.event.listen(self._engine, "connect", _set_up_sqlite)
                sa.event.listen(self._engine, "begin", _begin_sqlite)
            self._make_tables()
        except (sa.exc.SQLAlchemyError, ImportError) as error:
            reason = getattr(error, "orig", None) or error
            raise KavelError(f"{self}: the database cannot be used: {reason}") from error

    def __str__(self) -> str:
        return self.url.database or "" if self._is_sqlite else self.url.render_as_string()

    def close(self) -> None:
        self._engine.dispose()

    @contextmanager
    def reading(self) -> Iterator[sa.Connection]:
        """A transaction that changes nothing."""
        with self._engine.begin() as connection:
            yield connection

    @contextmanager
    def writing(self, turn: str) -> Iterator[sa.Connection]:
        """A transaction that has the turn of that name to itself; undone when the block raises."""
        engine = self._engine.execution_options(kavel_writes=True)
        with engine.begin() as connection:
            connection.execute(self.insert_missing(_turns), [{"name": turn}])
            connection.execute(sa.select(_turns).where(_turns.c.name == turn).with_for_update())
            yield connection

    def insert_missing(self, table: sa.Table) -> Any:
        """An insertion that leaves rows alone that are there already."""
        insert: Any = sqlite.insert if self._is_sqlite else postgresql.insert
        return insert(table).on_conflict_do_nothing()

    @property
    def _is_sqlite(self) -> bool:
        return self.url.get_backend_name() == "sqlite"

    def _make_tables(self) -> None:
        with self._engine.begin() as connection:
            names = sa.inspect(connection).get_table_names()
            if names and _studio.name not in names:
                raise KavelError(f"{self}: the database holds something else")
        engine = self._engine.execution_options(kavel_writes=True)
        with engine.begin() as connection:
            if not self._is_sqlite:  # two servers that start at once
                connection.execute(sa.text("SELECT pg_advisory_xact_lock(6241902)"))
            _metadata.create_all(connection)
            row = {"key": "schema", "value": str(SCHEMA)}
            connection.execute(self.insert_missing(_studio), [row])
            found = connection.scalar(sa.select(_studio.c.value).where(_studio.c.key == "schema"))
            if found != str(SCHEMA):
                raise KavelError(f"{self}: the database was made by another version ({found})")


def _url(where: str) -> sa.URL:
    if "://" not in where:
        path = os.path.abspath(os.path.expanduser(where))
        os.makedirs(os.path.dirname(path), mode=0o700, exist_ok=True)
        return sa.URL.create("sqlite", database=path)
    try:
        url = sa.make_url(where)
    except (sa.exc.ArgumentError, ValueError):
        raise KavelError("the address of the database cannot be read") from None
    if url.drivername in ("postgres", "postgresql"):
        url = url.set(drivername="postgresql+psycopg")
    if url.get_backend_name() != "postgresql":
        raise KavelError(f"{url.render_as_string()}: only SQLite files and PostgreSQL are known")
    return url


def _set_up_sqlite(connection: Any, _: object) -> None:
    connection.isolation_level = None  # else its driver begins transactions by itself, too late
    cursor = connection.cursor()
    cursor.execute(f"PRAGMA busy_timeout = {_BUSY * 1000}")
    cursor.execute("PRAGMA journal_mode = WAL")
    cursor.execute("PRAGMA synchronous = FULL")
    cursor.close()


def _begin_sqlite(connection: sa.Connection) -> None:
    # A reader that starts to write after another has written would be refused.
    writes = connection.get_execution_options().get("kavel_writes")
    connection.exec_driver_sql("BEGIN IMMEDIATE" if writes else "BEGIN")
