"""Edits that lost against newer ones, and getting them back from the server."""

from __future__ import annotations

import json
from dataclasses import dataclass
from datetime import datetime
from typing import Any
from urllib.parse import urlencode

from kavel.errors import KavelError
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
    content = _content(client.send("GET", f"/history/{number}"))
    if not isinstance(content, dict):
        raise KavelError("the server's answer is not a project")
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
