"""Running the studio server until it is told to stop."""

from __future__ import annotations

import logging
import signal
import socket
import ssl
from dataclasses import dataclass

import uvicorn
from starlette.applications import Starlette

from kavel.errors import KavelError
from kavel.studio.addresses import Address, is_loopback
from kavel.studio.connections import TimedProtocol

_BACKLOG = 128
_CONNECTIONS = 200  # at once; more are told to come back
_GRACE = 10  # seconds that running requests have at the end


@dataclass(frozen=True)
class Listening:
    """Where to listen, and the files that TLS needs; without them only this machine is served."""

    host: str
    port: int
    certificate: str | None = None
    key: str | None = None

    @property
    def secure(self) -> bool:
        return self.certificate is not None


def check_listening(listening: Listening, insecure: bool, has_tokens: bool) -> None:
    """Errors: KavelError for what would let others read or write what they should not, and for
    files that TLS cannot use."""
    local = is_loopback(listening.host)
    if insecure == listening.secure:
        raise KavelError(
            "--insecure and --certificate exclude each other"
            if insecure
            else "give --certificate FILE and --key FILE, or --insecure for a trial on this machine"
        )
    if insecure and not local:
        raise KavelError(f"{listening.host}: --insecure is for this machine only (127.0.0.1)")
    if not local and not has_tokens:
        raise KavelError(
            f"{listening.host}: others can reach this address, so tokens are needed; "
            "`kavel serve --new-token` makes one"
        )
    if listening.certificate is not None:
        try:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(listening.certificate, listening.key)
        except OSError as error:
            files = f"{listening.certificate}, {listening.key or listening.certificate}"
            raise KavelError(f"{files}: no certificate with its key: {error}") from error


def open_socket(listening: Listening) -> tuple[socket.socket, Address]:
    """A listening socket, and the address that reaches it. Errors: KavelError."""
    try:
        found = socket.getaddrinfo(listening.host, listening.port, type=socket.SOCK_STREAM)
        family, kind, protocol, _, address = found[0]
        opened = socket.socket(family, kind, protocol)
        opened.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        opened.bind(address)
        opened.listen(_BACKLOG)
    except OSError as error:
        where = f"{listening.host}, port {listening.port}"
        raise KavelError(f"{where}: cannot listen: {error.strerror or error}") from error
    port = opened.getsockname()[1]
    return opened, Address(listening.host, port, secure=listening.secure)


def run_server(app: Starlette, opened: socket.socket, listening: Listening) -> None:
    """Serve until SIGINT or SIGTERM; requests at work are finished."""
    config = uvicorn.Config(
        app,
        http=TimedProtocol,
        ssl_certfile=listening.certificate,
        ssl_keyfile=listening.key,
        log_config=None,
        access_log=False,
        server_header=False,
        proxy_headers=False,
        lifespan="off",
        limit_concurrency=_CONNECTIONS,
        timeout_graceful_shutdown=_GRACE,
    )
    # The server raises the signal that ended it once more, which is to end nothing else.
    handled = [signal.SIGINT, signal.SIGTERM]
    before = [signal.signal(number, lambda *_: None) for number in handled]
    try:
        uvicorn.Server(config).run(sockets=[opened])
    finally:
        for number, handler in zip(handled, before):
            signal.signal(number, handler)


def set_up_log(verbose: bool) -> None:
    """Entries on stderr, with their time."""
    logging.basicConfig(format="%(asctime)s %(levelname)s %(message)s", level=logging.WARNING)
    logging.getLogger("kavel.studio").setLevel(logging.INFO if verbose else logging.WARNING)
