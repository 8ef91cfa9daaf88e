"""An exchange with a shared server: responses, projects as it has them, and what is on disk."""

from __future__ import annotations

import json
import os
from types import SimpleNamespace

from project_tools import make_api, project, store

import core

Collection = core._Project.Collection
JSON = "application/json"


def reply(body, content_type: str | None = JSON, **fields) -> SimpleNamespace:
    """The response of an HTTP client."""
    data = body if isinstance(body, bytes) else json.dumps(body).encode("utf-8")
    parts = {"getheader": lambda name: content_type, "read": lambda: data}
    return SimpleNamespace(**{**parts, **fields})


def served(filename: str, name: str = "Hero", **fields) -> dict:
    """A project as a server has it."""
    return {**project(name, **fields), "filename": filename}


def collection_of(folder, **projects) -> Collection:
    for stem, data in projects.items():
        store(folder, f"{stem}.json", data)
    return Collection(make_api(folder), "blender")


def on_disk(folder, filename: str) -> dict:
    return json.loads((folder / filename).read_text(encoding="utf-8"))


def kept(folder) -> list[dict]:
    """What was copied aside before it was replaced."""
    aside = folder / ".replaced"
    return [on_disk(aside, name) for name in sorted(os.listdir(aside))] if aside.exists() else []
