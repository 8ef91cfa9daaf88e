"""Projects as seats send them: what a request may hold, and what an edit leaves of another."""

from __future__ import annotations

import hashlib
import json
import math
from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any

from kavel.document.structure import VERSION
from kavel.studio.bodies import RequestError, parse_object
from kavel.studio.file_names import is_safe_filename
from kavel.terminal import printable

_MAXIMUM_TEXT = 200  # characters of a target or a user's name
# What a seat can take: beyond these, its exchange would end with an error each time.
_DEPTH = 400  # arrays and objects in each other
_LARGEST_VERSION = 2**53 - 1  # every JSON reader has it exactly
_LATEST_EDIT = 1e11  # seconds since the epoch, the year 5138: nothing could be newer


@dataclass(frozen=True)
class Project:
    """One edit of a project.

    `edited` is in seconds since the epoch, `text` the whole document as JSON, `digest` tells edits
    apart.
    """

    filename: str
    name: str
    edited: float
    deleted: bool
    digest: str
    text: str

    @property
    def data(self) -> Any:
        return json.loads(self.text)


def read_request(body: bytes) -> tuple[str, list[Project]]:
    """Target and projects of a request.

    Errors: RequestError when it is none, or one of the projects cannot be kept: a seat removes what
    an answer lacks, so none may be left out.
    """
    projects: list[Project] = []
    targets: dict[str, str] = {}  # the first file name of each, in case they differ

    def take(element: Any, text: str) -> None:
        project = _checked(element, text)
        targets.setdefault(element["target"], project.filename)
        projects.append(project)

    content = parse_object(body, "projects", take)
    target = read_label(content, "target")
    if not isinstance(content.get("projects"), list):
        raise RequestError('"projects" is not an array')
    for other, filename in targets.items():
        if other != target:
            raise RequestError(f"{filename}: the project is not of the target of the request")
    return target, projects


def read_label(content: Mapping[str, Any], key: str) -> str:
    """A short text of a request. Errors: RequestError when it is none, or cannot be stored."""
    text = content.get(key)
    if not isinstance(text, str) or len(text) > _MAXIMUM_TEXT or printable(text) != text:
        raise RequestError(f'"{key}" is not a text of at most {_MAXIMUM_TEXT} plain characters')
    return text


def read_project(data: Mapping[str, Any], text: str | None = None) -> Project:
    """From a document whose file name is safe, and its JSON. One without a time of its edit gets
    one, as seats expect it."""
    edited = edit_time(data)
    if text is None or data.get("edit_timestamp") != edited:
        text = json.dumps({**data, "edit_timestamp": edited})
    name = data.get("name")
    return Project(
        filename=data["filename"],
        name=printable(name)[:_MAXIMUM_TEXT] if isinstance(name, str) else "",
        edited=edited,
        deleted=data.get("deleted") is True,
        digest=hashlib.sha256(text.encode("utf-8")).hexdigest(),
        text=text,
    )


def edit_time(data: Mapping[str, Any]) -> float:
    """When a document was edited; 0 when it does not say so by a finite number."""
    value = data.get("edit_timestamp")
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        return 0.0
    try:
        return float(value) if math.isfinite(value) else 0.0
    except OverflowError:
        return 0.0


def keeps_records(newer: Mapping[str, Any], older: Mapping[str, Any]) -> bool:
    """Whether every record of the older document's history is in the newer one's."""
    kept, records = newer.get("records"), older.get("records")
    if not isinstance(kept, dict) or not isinstance(records, dict):
        return bool(kept == records)
    return all(stamp in kept and kept[stamp] == record for stamp, record in records.items())


def keeps_everything(newer: Mapping[str, Any], older: Mapping[str, Any]) -> bool:
    """Whether nothing of the older document is lost when the newer one takes its place."""
    ours = newer.get("version") == VERSION == older.get("version")
    keys = {"name", "description", "deleted"} if ours else {*newer, *older} - {"edit_timestamp"}
    return keeps_records(newer, older) and all(newer.get(key) == older.get(key) for key in keys)


def _checked(item: Any, text: str) -> Project:
    if not isinstance(item, dict):
        raise RequestError("a project is not a JSON object")
    filename, version = item.get("filename"), item.get("version")
    if not is_safe_filename(filename):
        raise RequestError(
            f"{json.dumps(filename)[:_MAXIMUM_TEXT]} cannot be the name of a project's file on "
            "every system; rename the file"
        )
    if not isinstance(item.get("target"), str):
        raise RequestError(f"{filename}: the project has no target")
    if isinstance(version, bool) or not isinstance(version, int) or version < 0:
        raise RequestError(f'{filename}: the project\'s "version" is not an integer from 0 on')
    if version > _LARGEST_VERSION:
        raise RequestError(f'{filename}: the project\'s "version" is above {_LARGEST_VERSION}')
    if version == VERSION and not (isinstance(item.get("records"), dict) and item["records"]):
        raise RequestError(f'{filename}: the project\'s "records" are not an object with a record')
    edited = item.get("edit_timestamp")
    if isinstance(edited, (int, float)) and edited > _LATEST_EDIT:
        raise RequestError(f'{filename}: the project\'s "edit_timestamp" is above {_LATEST_EDIT:g}')
    if _depth(item) > _DEPTH:
        raise RequestError(f"{filename}: the project is nested more than {_DEPTH} deep")
    return read_project(item, text)


def _depth(value: Any) -> int:
    """How many arrays and objects stand in each other; what is beyond `_DEPTH` is not counted."""
    depth, layer = 0, [value]
    while layer and depth <= _DEPTH:
        inner = [part for part in layer if isinstance(part, (dict, list))]
        layer = [
            one for part in inner for one in (part.values() if isinstance(part, dict) else part)
        ]
        depth += bool(inner)
    return depth
