"""Edits that lost against newer ones, and getting them back from the server."""

from __future__ import annotations

import json
from dataclasses import dataclass
from datetime import datetime
from typing import Any
from urllib.parse import urlencode

from kavel.errors import KavelError
from kavel.logs import LogHandler
from kavel.studio.transport import Answer, Client
from kavel.terminal import printable


@dataclass(frozen=True)
class KeptEdit:
    """An edit on the server; `lost` when no newer one builds upon it. Times in seconds since the
    epoch."""

    number: int
    target: str
    filename: str
    name: str
    edited: float
    lost: bool

    @property
    def when(self) -> str:
        try:
            return datetime.fromtimestamp(self.edited).strftime("%Y-%m-%d %H:%M:%S")
        except (OverflowError, OSError, ValueError):
            return f"{self.edited:g}"


def list_kept(client: Client, target: str) -> list[KeptEdit]:
    """The newest first. Errors: KavelError when the server does not tell."""
    answer = client.send("GET", "/history?" + urlencode({"target": target}))
    content = _content(answer)
    try:
        return [_kept(item) for item in content]
    except (KeyError, TypeError, ValueError):
        raise KavelError("the server's list of edits cannot be read") from None


def fetch_edit(client: Client, number: int, path: str) -> None:
    """Write a kept edit to a new file. Errors: KavelError when there is none, or the file is there
    already or cannot be written."""
    content = _edit(client, number)
    try:
        text = json.dumps(content, indent=2, ensure_ascii=False).encode("utf-8")
    except UnicodeEncodeError:  # a lone surrogate, which only an escape can hold
        text = json.dumps(content, indent=2).encode("ascii")
    try:
        with open(path, "xb") as stream:
            stream.write(text)
    except FileExistsError:
        raise KavelError(f"{path}: is there already, and is not replaced") from None
    except OSError as error:
        raise KavelError(f"{path}: cannot be written: {error.strerror or error}") from error


def restore_edit(client: Client, number: int, api: Any, log: LogHandler) -> tuple[str, int]:
    """Bring the records of a kept edit back into its project here, as a new edit that keeps all
    others; the edit's own record is selected then. The project's name, and how many came back.

    Errors: KavelError when there is no such edit or project, its version is another one, nothing
    of the edit is missing, or the project cannot be written.
    """
    lost = _edit(client, number)
    filename = lost.get("filename")
    found = [document for document in api.project.collection if document.filename == filename]
    if not found:
        raise KavelError(f"edit {number} is of a project that is not here; use --get-edit")
    document = found[0]
    if not document.compatible or lost.get("version") != document.version:
        raise KavelError(f"edit {number} is of another version than this program's; use --get-edit")
    current = document.data
    records, places = _union(current["records"], lost.get("records"))
    if not places:
        raise KavelError(
            f"edit {number} has no record that the project lacks; if its name or deletion "
            "differ, set them with `kavel projects`"
        )
    selected = str(lost.get("selected_record"))
    changed = {
        "records": records,
        "selected_record": int(places.get(selected, max(places.values(), key=int))),
        "deleted": False,
        "edit_timestamp": document.edit_timestamp,
    }
    log.take_errors()
    try:
        document.apply({**current, **changed})
    except (AssertionError, TypeError, ValueError) as error:
        raise KavelError(f"edit {number} cannot be used: {error}") from error
    document.save()
    errors = log.take_errors()
    if errors:
        raise KavelError(f"{filename}: cannot be written: {'; '.join(errors)}")
    return str(document.name), len(places)


def _union(ours: dict[str, Any], theirs: Any) -> tuple[dict[str, Any], dict[str, str]]:
    """All records in the order of their stamps, and the stamps of those of theirs that we lack:
    what they were, and what they are now. Two of one second cannot both have its stamp."""
    records, places = dict(ours), {}
    for stamp, record in theirs.items() if isinstance(theirs, dict) else ():
        if not (stamp.isascii() and stamp.isdigit()) or ours.get(stamp) == record:
            continue
        place = int(stamp)
        while str(place) in records:
            place += 1
        records[str(place)] = record
        places[stamp] = str(place)
    return dict(sorted(records.items(), key=lambda entry: float(entry[0]))), places


def _edit(client: Client, number: int) -> dict[str, Any]:
    content = _content(client.send("GET", f"/history/{number}"))
    if not isinstance(content, dict):
        raise KavelError("the server's answer is not a project")
    return content


def _content(answer: Answer) -> Any:
    answer.require_success()
    try:
        return json.loads(answer.body)
    except (ValueError, RecursionError):
        raise KavelError("the server's answer is not JSON") from None


def _kept(item: dict[str, Any]) -> KeptEdit:
    target, filename, name = (printable(str(item[key])) for key in ("target", "filename", "name"))
    edited, lost = float(item["edited"]), bool(item["lost"])
    return KeptEdit(int(item["id"]), target, filename, name, edited, lost)
