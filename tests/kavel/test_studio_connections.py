"""Connections to the studio server that do nothing."""

from __future__ import annotations

import asyncio
import contextlib
from typing import Any

import pytest
import uvicorn
from uvicorn.server import ServerState

from kavel.studio.connections import TimedProtocol

HEAD = b"GET / HTTP/1.1\r\nHost: x\r\n"


def test_a_connection_without_a_request_ends_and_a_request_at_work_does_not(
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    monkeypatch.setattr(TimedProtocol, "seconds", 0.2)
    asyncio.run(asyncio.wait_for(_talk(), 30))


async def _talk() -> None:
    idle_ended = asyncio.Event()

    async def app(scope: Any, receive: Any, send: Any) -> None:
        await idle_ended.wait()
        await send({"type": "http.response.start", "status": 204, "headers": []})
        await send({"type": "http.response.body"})

    config = uvicorn.Config(app, http=TimedProtocol, ws="none", lifespan="off", log_config=None)
    config.load()
    state = ServerState()
    loop = asyncio.get_running_loop()
    server = await loop.create_server(lambda: TimedProtocol(config, state, {}), "127.0.0.1", 0)
    port = server.sockets[0].getsockname()[1]
    working, writer = await asyncio.open_connection("127.0.0.1", port)
    writer.write(HEAD + b"\r\n")
    for beginning in (b"", HEAD):
        idle, idle_writer = await asyncio.open_connection("127.0.0.1", port)
        idle_writer.write(beginning)
        with contextlib.suppress(ConnectionResetError):
            assert await idle.read() == b""
        idle_writer.close()
    idle_ended.set()
    assert (await working.readline()).startswith(b"HTTP/1.1 204")
    writer.close()
    server.close()
