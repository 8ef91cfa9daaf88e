"""The same on both databases: SQLite, and a PostgreSQL that is started for it."""

from __future__ import annotations

import glob
import os
import shutil
import subprocess
import tempfile
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from typing import Any

import pytest

from kavel.studio.database import Database
from kavel.studio.merging import find_edit, list_edits, merge_projects
from kavel.studio.page import make_page
from kavel.studio.projects import read_project
from kavel.studio.usage import sum_up, take_records


def programs() -> str | None:
    """The folder of PostgreSQL's programs, the newest there is."""
    found = shutil.which("initdb") or max(glob.glob("/usr/lib/postgresql/*/bin/initdb"), default="")
    return os.path.dirname(found) or None


@pytest.fixture(scope="module")
def cluster() -> Iterator[str]:
    """A PostgreSQL without a network port, of an account that is not root's."""
    folder = programs()
    if folder is None:
        pytest.skip("PostgreSQL is not installed: the studio server was tested on SQLite only")
    account = {"user": "nobody"} if os.geteuid() == 0 else {}
    home = tempfile.mkdtemp(prefix="kavel-pg-")  # a short path: it holds a socket
    try:
        if account:
            shutil.chown(home, **account)
        data = os.path.join(home, "data")
        run: dict[str, Any] = {**account, "cwd": home, "check": True, "stdout": subprocess.DEVNULL}
        subprocess.run([f"{folder}/initdb", "-D", data, "-U", "kavel", "-A", "trust", "-N"], **run)
        options = f"-c listen_addresses= -c unix_socket_directories={home} -c fsync=off"
        control = [f"{folder}/pg_ctl", "-D", data, "-w", "-l", f"{home}/log"]
        subprocess.run([*control, "-o", options, "start"], **run)
        try:
            yield f"postgresql://kavel@/postgres?host={home}"
        finally:
            subprocess.run([*control, "-m", "immediate", "stop"], **run)
    finally:
        shutil.rmtree(home, ignore_errors=True)


@pytest.fixture(params=["sqlite", "postgresql"], scope="module")
def database(
    request: pytest.FixtureRequest, tmp_path_factory: pytest.TempPathFactory
) -> Iterator[Database]:
    if request.param == "sqlite":
        opened = Database(str(tmp_path_factory.mktemp("studio") / "new folder" / "studio.sqlite"))
    else:
        opened = Database(request.getfixturevalue("cluster"))
    yield opened
    opened.close()


def edit(filename: str, edited: float, *stamps: int, **fields: Any) -> Any:
    records = {str(stamp): {"author": str(stamp)} for stamp in stamps}
    return read_project(
        {"filename": filename, "edit_timestamp": edited, "version": 3, "name": "N\x00\ud800",
         "records": records, **fields}
    )  # fmt: skip


def test_merging_and_getting_back(database: Database) -> None:
    first, ours, theirs = edit("a.json", 1, 1), edit("a.json", 2, 1, 2), edit("a.json", 3, 1, 3)
    merged = merge_projects(database, "t", [first, theirs, ours], keep=0)
    assert merged.answer.decode() == f"[{theirs.text}]"
    assert (merged.received, merged.added, merged.replaced) == (3, 1, 1)
    (lost,) = merged.lost
    assert find_edit(database, lost.number) == ("a.json", ours.text)
    assert [item["edited"] for item in list_edits(database, "t", "", False)] == [2]
    assert find_edit(database, lost.number + 50) is None
    assert b"N\\x00\\ud800" in make_page(database, "1.0")


def test_an_interrupted_request_leaves_nothing(database: Database) -> None:
    def incoming() -> Any:
        yield edit("half.json", 1)
        raise RuntimeError("the power went")

    with pytest.raises(RuntimeError):
        merge_projects(database, "half", incoming(), keep=0)
    assert merge_projects(database, "half", [], keep=0).answer == b"[]"


def test_writers_take_turns(database: Database) -> None:
    """Two that read the same state at once would make one of the edits vanish, or fail."""

    def write(number: int) -> None:
        merge_projects(database, "race", [edit("x.json", number, number)], keep=0)
        take_records(database, "ann", {"checks": [{"name": "x", "timestamp": number % 5}]})

    with ThreadPoolExecutor(8) as pool:
        list(pool.map(write, range(40)))
    assert {item["edited"] for item in list_edits(database, "race", "", True)} == set(range(39))
    (use,) = sum_up(database)
    assert (use.runs, use.users, use.failures) == (5, 1, 0)


def test_opening_again(database: Database) -> None:
    merge_projects(database, "again", [edit("a.json", 1)], keep=0)
    again = Database(database.url.render_as_string(hide_password=False)
                     if "://" in str(database) else str(database))  # fmt: skip
    try:
        assert merge_projects(again, "again", [], keep=0).answer != b"[]"
    finally:
        again.close()
