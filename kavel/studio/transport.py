"""Requests to a studio server, with time-outs and repetition.

Certificates are verified against the platform's store, or the file that SSL_CERT_FILE names; there
is no way around that. Every request may be repeated: the server takes nothing twice.
"""

from __future__ import annotations

import contextlib
import email.message
import http.client
import json
import random
import socket
import ssl
import threading
import time
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field

from kavel.errors import KavelError
from kavel.studio.addresses import Address
from kavel.terminal import printable

_BODY_LIMIT = 2**30  # bytes of an answer
_CHUNK = 2**16
_WHOLE = 20  # an exchange as a whole takes at most this many times the time-out
_LONGEST_PAUSE = 30.0  # seconds
_AGAIN = {408, 429, 500, 502, 503, 504}  # answers that a repetition may change
_MESSAGE = 300  # characters of a server's own words


class Unreachable(KavelError):
    """No answer came, however often the server was asked."""


@dataclass(frozen=True)
class Answer:
    """A whole answer; the core reads it like any response of an HTTP library."""

    status: int
    headers: email.message.Message = field(default_factory=email.message.Message)
    body: bytes = b""

    def getheader(self, name: str, default: str | None = None) -> str | None:
        return self.headers.get(name, default)

    def read(self) -> bytes:
        return self.body

    @property
    def error(self) -> str:
        """What the server says is wrong, in one line."""
        try:
            content = json.loads(self.body)
            message = content["error"]
        except (ValueError, RecursionError, TypeError, KeyError):
            message = http.client.responses.get(self.status, "")
        return printable(str(message))[:_MESSAGE] or f"status {self.status}"

    def require_success(self) -> None:
        """Errors: KavelError with the server's own words when it did not do what was asked."""
        if self.status != 200:
            raise KavelError(f"the server refused: {self.error} (status {self.status})")


@dataclass
class Client:
    """Sends requests to one server.

    token: for the header of each request. timeout: seconds to wait for a connection, and for each
    part of an answer. retries: how often a request is repeated. tell: takes a line for each failure
    that a repetition follows.
    """

    address: Address
    token: str | None = None
    timeout: float = 30.0
    retries: int = 3
    tell: Callable[[str], None] = lambda _: None
    pause: float = 0.5

    def send(
        self,
        method: str,
        path: str,
        body: bytes | None = None,
        headers: Mapping[str, str] | None = None,
    ) -> Answer:
        """The answer, whatever its status is; one that a repetition may change is asked for again.

        Errors: Unreachable when there is none; KavelError when the server's certificate cannot be
        trusted, or the answer is too large, which no repetition would change.
        """
        for left in range(self.retries, -1, -1):
            wait = None
            try:
                answer = self._exchange(method, path, body, headers or {})
                if answer.status not in _AGAIN or not left:
                    return answer
                reason, wait = answer.error, _wanted_pause(answer)
            except ssl.SSLCertVerificationError as error:
                raise KavelError(f"{self.address}: not trusted: {error.verify_message}") from error
            except (OSError, http.client.HTTPException) as error:
                reason = _reason(error)
                if not left:
                    raise Unreachable(f"{self.address}: {reason}") from error
            self._pause(self.retries - left, reason, wait)
        raise AssertionError("the last repetition ends above")

    def _exchange(
        self, method: str, path: str, body: bytes | None, headers: Mapping[str, str]
    ) -> Answer:
        opened: list[socket.socket] = []

        def work() -> Answer:
            connection = self._connection()
            try:
                connection.connect()
                opened.append(connection.sock)
                _request(connection, method, self.address.path + path, body, self._headers(headers))
                response = connection.getresponse()
                return Answer(response.status, response.headers, _read(response))
            finally:
                connection.close()

        try:
            # A server that sends a byte now and then never runs into the time-out of one wait.
            return _within(self.timeout * _WHOLE, work)
        finally:
            # Ends a wait that was given up. Closing it from here would wait as well.
            for left in opened:
                with contextlib.suppress(OSError):
                    socket.socket.shutdown(left, socket.SHUT_RDWR)

    def _connection(self) -> http.client.HTTPConnection:
        host, port = self.address.host, self.address.port
        if not self.address.secure:
            return http.client.HTTPConnection(host, port, timeout=self.timeout)
        context = ssl.create_default_context()
        return http.client.HTTPSConnection(host, port, timeout=self.timeout, context=context)

    def _headers(self, headers: Mapping[str, str]) -> dict[str, str]:
        token = {} if self.token is None else {"Authorization": f"Bearer {self.token}"}
        return {**headers, **token}

    def _pause(self, done: int, reason: str, wait: float | None) -> None:
        """Longer from time to time, and not the same for all seats."""
        if wait is None:
            wait = self.pause * 2**done * (0.5 + random.random())
        wait = min(wait, _LONGEST_PAUSE)
        self.tell(f"{self.address}: {reason}; again in {wait:.1f} s")
        time.sleep(wait)


def _within(seconds: float, work: Callable[[], Answer]) -> Answer:
    """What the work gives. Errors: its own; TimeoutError when it takes too long."""
    done: list[Answer] = []
    failed: list[BaseException] = []

    def run() -> None:
        try:
            done.append(work())
        except BaseException as error:
            failed.append(error)

    # Looking up a name, or a handshake, cannot be ended from outside: such a thread is left behind.
    thread = threading.Thread(target=run, daemon=True)
    thread.start()
    thread.join(seconds)
    if failed:
        raise failed[0]
    if not done:
        raise TimeoutError("the exchange took too long")
    return done[0]


def _request(
    connection: http.client.HTTPConnection,
    method: str,
    path: str,
    body: bytes | None,
    headers: dict[str, str],
) -> None:
    try:
        connection.request(method, path, body, headers)
    except (BrokenPipeError, ConnectionResetError):
        # A server that refuses a large body answers before it has read it; that answer is wanted.
        if connection.sock is None:
            raise


def _read(response: http.client.HTTPResponse) -> bytes:
    """The whole body. Errors: IncompleteRead when it ends too early; KavelError when it is too
    large."""
    body = bytearray()
    while chunk := response.read(_CHUNK):
        body += chunk
        if len(body) > _BODY_LIMIT:
            raise KavelError(f"the answer has more than {_BODY_LIMIT} bytes")
    if response.length:  # what was announced and did not come
        raise http.client.IncompleteRead(b"", response.length)
    return bytes(body)


def _wanted_pause(answer: Answer) -> float | None:
    text = answer.getheader("Retry-After") or ""
    return float(text) if text.isascii() and text.isdigit() else None


def _reason(error: Exception) -> str:
    if isinstance(error, (TimeoutError, socket.timeout)):  # one class from Python 3.10 on
        return str(error) if str(error).startswith("the ") else "no answer in time"
    if isinstance(error, http.client.IncompleteRead):
        return "the answer was cut off"
    if isinstance(error, http.client.RemoteDisconnected):
        return "the connection was closed without an answer"
    if isinstance(error, OSError) and error.strerror:
        return error.strerror
    return printable(str(error))[:_MESSAGE] or type(error).__name__
