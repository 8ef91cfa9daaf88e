"""The exchange of one seat with a studio server, through the core's server component.

The core makes the bodies and takes the answers; what is here carries them, and tells what changed.
"""

from __future__ import annotations

import contextlib
import json
from collections.abc import Iterable, Mapping
from dataclasses import dataclass, field, replace
from typing import Any

from kavel.errors import KavelError
from kavel.logs import LogHandler
from kavel.studio.bodies import RequestError, parse_object
from kavel.studio.projects import edit_time
from kavel.studio.transport import Answer, Client, Unreachable

_KEPT_HEADER = "Kavel-Kept"


@dataclass(frozen=True)
class Entry:
    """A project that something became of; `kept` is the number of an edit on the server, `records`
    whether the project lacks records of it, `same_time` whether the one that it lost against says
    the same time of editing, as one does that was edited by hand."""

    name: str
    filename: str
    kept: int | None = None
    records: bool = True
    same_time: bool = False

    def data(self) -> dict[str, Any]:
        kept = {} if self.kept is None else {"edit": self.kept}
        return {"name": self.name, "filename": self.filename, **kept}


@dataclass
class ProjectsOutcome:
    """What an exchange of projects did.

    added, updated, deleted: taken over from the server, new here, newer, or newer and marked as
    deleted. erased: gone, because the server does not have them. kept_local: newer here than in the
    answer. lost: edits of this seat that newer ones took the place of without building upon them;
    beaten: edits of others that gave way to ours in the same way.
    """

    sent: int = 0
    received: int = 0
    added: list[Entry] = field(default_factory=list)
    updated: list[Entry] = field(default_factory=list)
    deleted: list[Entry] = field(default_factory=list)
    erased: list[Entry] = field(default_factory=list)
    kept_local: list[Entry] = field(default_factory=list)
    lost: list[Entry] = field(default_factory=list)
    lost_count: int = 0
    beaten: list[Entry] = field(default_factory=list)
    beaten_count: int = 0
    errors: list[str] = field(default_factory=list)

    CHANGES = ("added", "updated", "deleted", "erased", "kept_local", "lost", "beaten")

    def data(self) -> dict[str, Any]:
        lists = {key: [entry.data() for entry in getattr(self, key)] for key in self.CHANGES}
        return {
            "sent": self.sent,
            "received": self.received,
            **lists,
            "lost_count": self.lost_count,
            "beaten_count": self.beaten_count,
            "errors": self.errors,
        }


@dataclass
class StatisticsOutcome:
    """`new` are records that the server did not have; nothing when it does not say so."""

    sent: int = 0
    new: int | None = None
    erased: bool = False

    def data(self) -> dict[str, Any]:
        return {"sent": self.sent, "new": self.new, "erased": self.erased}


class Exchange:
    """One seat's `api` and a connection to a server; `log` holds what the core complains about."""

    def __init__(self, api: Any, client: Client, log: LogHandler) -> None:
        self._api = api
        self._client = client
        self._log = log
        self._synchronized = False
        api.callbacks.projects_synchronized.register(self._note)

    def _note(self, *_: Any, **__: Any) -> None:
        self._synchronized = True

    def projects(self) -> ProjectsOutcome:
        """Send all projects and take over what is newer on the server.

        Errors: KavelError when there is no answer, or it is refused by the server or by the core;
        nothing has changed here then.
        """
        self._log.take_errors()
        collection = self._api.project.collection
        before = {
            document.filename: _State(document.name, document.edit_timestamp, document.deleted)
            for document in collection
        }
        request = self._api.http.projects_request()
        answer = self._send("/projects", request)
        answer.require_success()
        self._synchronized = False
        self._api.http.projects_response(answer)
        errors = self._log.take_errors()
        if not self._synchronized:
            reasons = "; ".join(errors) or "it is not what a studio server answers"
            raise KavelError(f"the answer was refused, nothing was changed: {reasons}")
        answered = _answered(answer)
        outcome = _compare(before, collection, answered)
        outcome.errors = errors
        _add_kept(outcome, answer)
        outcome.lost = [
            replace(entry, same_time=_same_time(before, answered, entry.filename))
            for entry in outcome.lost
        ]
        return outcome

    def statistics(self) -> StatisticsOutcome:
        """Send the usage records. Errors: KavelError when the server does not take them."""
        request = self._api.http.statistics_request()
        listed = [value for value in request.contents.values() if isinstance(value, list)]
        outcome = StatisticsOutcome(sent=sum(map(len, listed)))
        if not outcome.sent:
            return outcome
        answer = self._send("/statistics", request)
        self._api.http.statistics_response(answer)
        answer.require_success()
        outcome.erased = bool(self._api.settings.server.erase_sent)
        content = _json(answer.body)
        new = content.get("new") if isinstance(content, dict) else None
        outcome.new = new if isinstance(new, int) else None
        return outcome

    def _send(self, path: str, request: Any) -> Answer:
        try:
            return self._client.send("POST", path, bytes(request), dict(request.headers))
        except Unreachable:
            self._api.http.http_no_response()
            raise


def _json(text: bytes | str) -> Any:
    try:
        return json.loads(text)
    except (ValueError, RecursionError):
        return None


@dataclass(frozen=True)
class _State:
    """What is compared of a project."""

    name: str
    edited: float
    deleted: bool


def _answered(answer: Answer) -> dict[str, float]:
    """When each project of an answer was edited, by file name."""
    found: dict[str, float] = {}

    def take(item: Any, _: str) -> None:
        if isinstance(item, dict) and isinstance(item.get("filename"), str):
            found[item["filename"]] = edit_time(item)

    # One by one: all of them at once would take many times the room of the answer. The core has
    # accepted it, and is less strict about numbers.
    with contextlib.suppress(RequestError):
        parse_object(b'{"all":' + answer.body + b"}", "all", take)
    return found


def _same_time(before: Mapping[str, _State], answered: Mapping[str, float], filename: str) -> bool:
    return filename in before and before[filename].edited == answered.get(filename)


def _compare(
    before: Mapping[str, _State], documents: Iterable[Any], answered: Mapping[str, float]
) -> ProjectsOutcome:
    outcome = ProjectsOutcome(sent=len(before), received=len(answered))
    left = dict(before)
    for document in documents:
        name, edited = document.filename, document.edit_timestamp
        entry = Entry(document.name, name)
        old, told = left.pop(name, None), answered.get(name)
        if old is None:
            outcome.added.append(entry)
        elif told is not None and edited > told:
            outcome.kept_local.append(entry)
        elif edited > old.edited:
            deleted = document.deleted and not old.deleted
            (outcome.deleted if deleted else outcome.updated).append(entry)
    outcome.erased = [Entry(old.name, name) for name, old in left.items()]
    return outcome


def _add_kept(outcome: ProjectsOutcome, answer: Answer) -> None:
    """What the server tells of edits that lost; other servers may tell nothing."""
    told = _json(answer.getheader(_KEPT_HEADER) or "")
    if isinstance(told, dict):
        outcome.lost = _entries(told.get("lost"))
        outcome.beaten = _entries(told.get("beaten"))
        outcome.lost_count = _number(told.get("lost_count"), len(outcome.lost))
        outcome.beaten_count = _number(told.get("beaten_count"), len(outcome.beaten))


def _entries(listed: Any) -> list[Entry]:
    return [
        Entry(
            str(item.get("name")),
            str(item.get("file")),
            _number(item.get("id"), 0),
            item.get("records") is not False,  # other servers do not tell
        )
        for item in (listed if isinstance(listed, list) else ())
        if isinstance(item, dict)
    ]


def _number(value: Any, otherwise: int) -> int:
    return value if isinstance(value, int) and not isinstance(value, bool) else otherwise
