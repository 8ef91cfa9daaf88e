"""The studio server as a web application; docs/studio-server.md describes its protocol."""

from __future__ import annotations

import json
import logging
import re
from collections.abc import Callable
from dataclasses import dataclass, field
from functools import partial
from typing import Any, TypeVar

import anyio
import sqlalchemy as sa
from anyio.to_thread import run_sync
from starlette.applications import Starlette
from starlette.exceptions import HTTPException
from starlette.requests import ClientDisconnect, Request
from starlette.responses import JSONResponse, Response
from starlette.routing import Route

from kavel.studio.bodies import RequestError, parse_object
from kavel.studio.database import Database
from kavel.studio.merging import Kept, Merged, find_edit, list_edits, merge_projects
from kavel.studio.page import make_page
from kavel.studio.projects import read_label, read_request
from kavel.studio.tokens import Tokens
from kavel.studio.usage import take_records
from kavel.terminal import printable
from kavel.versions import versions

VERSION_HEADER = "Kavel-Version"
KEPT_HEADER = "Kavel-Kept"
_KEPT_SIZE = 8000  # characters of a list in that header
_NUMBER = re.compile(r"[0-9]{1,10}")
_AT_ONCE = 4  # requests at work on the database; each may hold several copies of its body

log = logging.getLogger("kavel.studio")
_T = TypeVar("_T")


@dataclass
class Settings:
    """latest: the version that seats are told to be the newest. body_limit: bytes of a request.
    body_seconds: time that a request may take to arrive. keep: as `merge_projects` says."""

    tokens: Tokens = field(default_factory=lambda: Tokens(()))
    latest: str = ""
    body_limit: int = 256 * 2**20
    body_seconds: float = 600.0
    keep: int = 10


def make_app(database: Database, settings: Settings) -> Starlette:
    studio = _Studio(database, settings)
    routes = [
        Route("/", studio.page),
        Route("/health", studio.health),
        Route("/latest", studio.latest),
        # Where the core looks for updates when this server stands in for the usual one.
        Route("/validator/downloads/{target}/{scope}/latest/", studio.latest),
        Route("/history", studio.history),
        Route("/history/{number}", studio.edit),
        Route("/projects", studio.projects, methods=["POST"]),
        Route("/statistics", studio.statistics, methods=["POST"]),
    ]
    handlers: dict[Any, Any] = {
        HTTPException: _on_http_error,
        RequestError: _on_request_error,
        ClientDisconnect: _on_disconnect,
        sa.exc.OperationalError: _on_database_error,
        Exception: _on_error,
    }
    return Starlette(routes=routes, exception_handlers=handlers)


class _Studio:
    """The answers. What touches the database runs on threads."""

    def __init__(self, database: Database, settings: Settings) -> None:
        self._database = database
        self._settings = settings
        self._threads: anyio.CapacityLimiter | None = None

    async def page(self, _: Request) -> Response:
        html = await self._run(partial(make_page, self._database, versions()["kavel"]))
        headers = {
            "Content-Security-Policy": "default-src 'none'; style-src 'unsafe-inline'",
            "X-Content-Type-Options": "nosniff",
            "Referrer-Policy": "no-referrer",
        }
        return Response(html, media_type="text/html", headers=headers)

    async def health(self, _: Request) -> Response:
        await self._run(self._ask_database)
        return JSONResponse({"status": "ok", "version": versions()["kavel"]})

    async def latest(self, _: Request) -> Response:
        return Response(headers={VERSION_HEADER: self._settings.latest})

    async def history(self, request: Request) -> Response:
        self._require_token(request)
        asked = request.query_params
        target, filename = asked.get("target", ""), asked.get("file", "")
        lost = asked.get("lost", "") not in ("", "0")
        found = await self._run(partial(list_edits, self._database, target, filename, lost))
        return JSONResponse(found)

    async def edit(self, request: Request) -> Response:
        self._require_token(request)
        number = request.path_params["number"]
        if not _NUMBER.fullmatch(number) or int(number) >= 2**31:
            raise HTTPException(404)
        found = await self._run(partial(find_edit, self._database, int(number)))
        if found is None:
            raise HTTPException(404, f"there is no edit {number}, or its content was dropped")
        return Response(found[1], media_type="application/json")

    async def projects(self, request: Request) -> Response:
        body = await self._body(request)
        target, merged = await self._run(partial(self._merge, body))
        log.info("projects of %s: %d received, %d new, %d replaced, %d lost, %d beaten",
                 target, merged.received, merged.added, merged.replaced, len(merged.lost),
                 len(merged.beaten))  # fmt: skip
        headers = {KEPT_HEADER: _kept_text(merged)} if merged.lost or merged.beaten else None
        return Response(merged.answer, media_type="application/json", headers=headers)

    async def statistics(self, request: Request) -> Response:
        body = await self._body(request)
        user, taken = await self._run(partial(self._take, body))
        log.info("records of %s: %d received, %d new", user or "nobody", taken.received, taken.new)
        return JSONResponse({"received": taken.received, "new": taken.new})

    def _merge(self, body: bytes) -> tuple[str, Merged]:
        target, incoming = read_request(body)
        return target, merge_projects(self._database, target, incoming, self._settings.keep)

    def _take(self, body: bytes) -> tuple[str, Any]:
        content = parse_object(body)
        user = read_label(content, "username")
        return user, take_records(self._database, user, content.get("contents"))

    def _ask_database(self) -> None:
        with self._database.reading() as connection:
            connection.execute(sa.select(1))

    async def _run(self, work: Callable[[], _T]) -> _T:
        if self._threads is None:  # it belongs to the loop that is running
            self._threads = anyio.CapacityLimiter(_AT_ONCE)
        return await run_sync(work, limiter=self._threads)

    async def _body(self, request: Request) -> bytes:
        """The JSON of a request that may write. Errors: HTTPException, without reading it when the
        request is refused anyway."""
        self._require_token(request)
        kind = request.headers.get("content-type", "").partition(";")[0].strip().lower()
        if kind != "application/json":
            raise HTTPException(415, "the content type is not application/json")
        limit = self._settings.body_limit
        too_large = HTTPException(413, f"the request has more than {limit} bytes")
        length = request.headers.get("content-length", "0")
        if not length.isdecimal() or int(length) > limit:
            raise too_large
        body = bytearray()
        with anyio.move_on_after(self._settings.body_seconds):
            async for chunk in request.stream():
                body += chunk
                if len(body) > limit:
                    raise too_large
            return bytes(body)
        raise HTTPException(408, "the request took too long to arrive")

    def _require_token(self, request: Request) -> None:
        if not self._settings.tokens.admit(request.headers.get("authorization")):
            headers = {"WWW-Authenticate": 'Bearer realm="Kavel studio"'}
            raise HTTPException(401, "a token is missing, or is none of the server's", headers)


def _kept_text(merged: Merged) -> str:
    """The edits that lost, as JSON that fits into a header."""
    return json.dumps(
        {
            "lost": _listing(merged.lost),
            "lost_count": len(merged.lost),
            "beaten": _listing(merged.beaten),
            "beaten_count": len(merged.beaten),
        }
    )


def _listing(kept: list[Kept]) -> list[dict[str, Any]]:
    listed, size = [], 0
    for item in kept:
        entry = {
            "id": item.number,
            "file": item.filename,
            "name": item.name,
            "records": item.records,
        }
        size += len(json.dumps(entry))
        if size > _KEPT_SIZE:
            break
        listed.append(entry)
    return listed


def _error(status: int, message: str, headers: Any = None) -> Response:
    return JSONResponse({"error": printable(message)}, status, headers)


def _on_http_error(request: Request, error: HTTPException) -> Response:
    if error.status_code >= 400 and request.method == "POST":
        log.warning("%s: %s", printable(request.url.path), error.detail)
    return _error(error.status_code, error.detail, error.headers)


def _on_request_error(request: Request, error: RequestError) -> Response:
    log.warning("%s: %s", printable(request.url.path), printable(str(error)))
    return _error(error.status, str(error))


def _on_disconnect(request: Request, _: ClientDisconnect) -> Response:
    log.warning("%s: the connection was closed in the middle", printable(request.url.path))
    return _error(400, "the connection was closed in the middle")


def _on_database_error(_: Request, error: sa.exc.OperationalError) -> Response:
    log.error("the database: %s", error.orig)
    return _error(503, "the database cannot be used at present", {"Retry-After": "5"})


def _on_error(_: Request, __: Exception) -> Response:
    return _error(500, "the server failed; its log tells why")
