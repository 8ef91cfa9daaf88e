"""Connections of the studio server that do not wait for ever."""

from __future__ import annotations

import asyncio
from typing import Any

from uvicorn.protocols.http.h11_impl import H11Protocol


class TimedProtocol(H11Protocol):
    """HTTP that ends a connection on which no request begins.

    From the opening of a connection, or the end of an answer, the head of a request has `seconds`
    to arrive: else connections that say nothing would use up all that the server admits. A request
    that has begun is not timed here.
    """

    seconds = 20.0

    _limit: asyncio.TimerHandle | None = None

    def connection_made(self, transport: Any) -> None:
        super().connection_made(transport)
        self._restart()

    def on_response_complete(self) -> None:
        super().on_response_complete()
        self._restart()

    def connection_lost(self, exc: Exception | None) -> None:
        self._stop()
        super().connection_lost(exc)

    def _restart(self) -> None:
        self._stop()
        self._limit = self.loop.call_later(self.seconds, self._end)

    def _stop(self) -> None:
        if self._limit is not None:
            self._limit.cancel()
            self._limit = None

    def _end(self) -> None:
        if self.cycle is None or self.cycle.response_complete:
            self.transport.abort()
