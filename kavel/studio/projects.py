"""Projects as seats send them: what a request may hold, and what an edit leaves of another."""

from __future__ import annotations

import hashlib
import json
import math
from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any

from kavel.document.structure import VERSION
from kavel.errors import KavelError
from kavel.studio.file_names import is_safe_filename
from kavel.terminal import printable

_MAXIMUM_TEXT = 200  # characters of a target or a user's name


class RequestError(KavelError):
    """A request that cannot be carried out, with the status of the answer."""

    def __init__(self, message: str, status: int = 422) -> None:
        super().__init__(message)
        self.status = status


@dataclass(frozen=True)
class Project:
    """One edit of a project.

    `edited` is in seconds since the epoch, `text` the whole document as JSON in ASCII, `digest`
    tells edits apart, `data` is the document.
    """

    filename: str
    edited: float
    digest: str
    text: str
    data: Mapping[str, Any]

    @property
    def name(self) -> str:
        name = self.data.get("name")
        return printable(name)[:_MAXIMUM_TEXT] if isinstance(name, str) else ""

    @property
    def deleted(self) -> bool:
        return self.data.get("deleted") is True


def parse_request(body: bytes) -> dict[str, Any]:
    """The object that a body holds. Errors: RequestError when it is no JSON object."""
    try:
        content = json.loads(body.decode("utf-8"), parse_constant=_no_constant)
    except (ValueError, RecursionError) as error:
        raise RequestError(f"the body is not JSON: {error}", 400) from error
    if not isinstance(content, dict):
        raise RequestError("the body is not a JSON object")
    return content


def read_label(content: Mapping[str, Any], key: str) -> str:
    """A short text of a request. Errors: RequestError when it is none, or cannot be stored."""
    text = content.get(key)
    if not isinstance(text, str) or len(text) > _MAXIMUM_TEXT or printable(text) != text:
        raise RequestError(f'"{key}" is not a text of at most {_MAXIMUM_TEXT} plain characters')
    return text


def read_projects(content: Mapping[str, Any], target: str) -> list[Project]:
    """The projects of a request. Errors: RequestError when one of them cannot be kept; a seat
    removes what an answer lacks, so none may be left out."""
    listed = content.get("projects")
    if not isinstance(listed, list):
        raise RequestError('"projects" is not an array')
    return [_read_project(item, target) for item in listed]


def read_project(data: dict[str, Any]) -> Project:
    """From a document whose file name is safe. Errors: ValueError for numbers that JSON lacks,
    RecursionError when it is nested too deep."""
    edited = edit_time(data)
    if data.get("edit_timestamp") != edited:
        data = {**data, "edit_timestamp": edited}
    # ASCII: names may hold lone surrogates and NUL, which databases do not take.
    text = json.dumps(data, separators=(",", ":"), allow_nan=False)
    digest = hashlib.sha256(text.encode("ascii")).hexdigest()
    return Project(data["filename"], edited, digest, text, data)


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


def _read_project(item: object, target: str) -> Project:
    if not isinstance(item, dict):
        raise RequestError("a project is not a JSON object")
    filename, version = item.get("filename"), item.get("version")
    if not is_safe_filename(filename):
        raise RequestError(
            f"{json.dumps(filename)[:_MAXIMUM_TEXT]} cannot be the name of a project's file on "
            "every system; rename the file"
        )
    if item.get("target") != target:
        raise RequestError(f"{filename}: the project is not of the target of the request")
    if isinstance(version, bool) or not isinstance(version, int) or version < 0:
        raise RequestError(f'{filename}: the project\'s "version" is not a number from 0 on')
    try:
        return read_project(item)
    except (ValueError, RecursionError) as error:
        raise RequestError(f"{filename}: the project cannot be kept: {error}") from error


def _no_constant(name: str) -> float:
    raise ValueError(f"{name} is not a number of JSON")
