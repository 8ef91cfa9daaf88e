"""What the tests of the projects share."""

from __future__ import annotations

import json
from pathlib import Path
from types import SimpleNamespace

import core

VERSION = 3


def finish_log() -> None:
    """Waits for the log entries so far; they are written on threads of their own."""
    for thread in list(core._log_threads):
        thread.join()


def logged(caplog) -> list[str]:
    """The log entries so far, without tracebacks."""
    finish_log()
    return [record.getMessage().partition("\nTraceback")[0] for record in caplog.records]


def rule(stamp: str, **fields) -> dict:
    return core._Project.Settings.Rule({"stamp": stamp, "name": stamp, **fields}).data


def project(name: str = "Hero", **fields) -> dict:
    """The data of a small project with two records."""
    records = {
        str(stamp): {
            "rules": [rule("s", regex=f"^{stamp}$")],
            "pattern": [{"stamp": "s", "children": []}],
            "author": "Ann",
            "comment": f"at {stamp}",
        }
        for stamp in (100, 200)
    }
    data = {
        "name": name,
        "description": "",
        "records": records,
        "selected_record": 100,
        "version": VERSION,
        "target": "blender",
        "edit_timestamp": 1.5,
    }
    return {**data, **fields}


def store(folder: Path, filename: str, data: object) -> Path:
    path = folder / filename
    path.write_text(data if isinstance(data, str) else json.dumps(data), encoding="utf-8")
    return path


class StandIn(SimpleNamespace):
    """Any object of a host; can be referred to weakly."""


class Export:
    """Stands in for one half of the export component."""

    def __init__(self):
        self.loaded = []

    def load(self, data):
        self.loaded.append(data)


class Pattern:
    def __init__(self):
        self.records = []

    def set(self, record):
        self.records.append(record)


def make_api(folder: object, target: str = "blender", project: object = "") -> StandIn:
    """Stands in for the facade; counts what is announced and written."""
    written: list = []
    settings = StandIn(
        workspace=StandIn(project=project),
        check=StandIn(mode=core.Constants.Check.Mode.Selection),
        written=written,
    )
    settings.write = lambda: written.append(settings.workspace.project)
    return StandIn(
        env=StandIn(target=target, get_projects_directory=lambda: str(folder)),
        callbacks=core._CallBacks(),
        settings=settings,
        export=StandIn(options=Export(), flags=Export()),
    )
