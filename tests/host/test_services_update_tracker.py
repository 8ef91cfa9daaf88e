"""The update tracker: versions, and what it makes of servers that answer, fail or pretend."""

from __future__ import annotations

import http.server
import logging
import socket
import ssl
import threading
from collections.abc import Iterator
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import pytest
from project_tools import logged

import core

Tracker = core.UpdateTracker


def tracker(host: str, local: Any = "1.2.0") -> Any:
    urls = SimpleNamespace(host=host, path=SimpleNamespace(latest="/latest/"))
    return Tracker(SimpleNamespace(settings=SimpleNamespace(urls=urls)), local)


@pytest.mark.parametrize(
    ("version", "text"),
    [
        ("2", "2.0.0"),
        ("2.1", "2.1.0"),
        ("1.2.3.4", "1.2.3.4"),
        ((1, 9), "1.9.0"),
        ([1, 2, 3, 4], "1.2.3.4"),
        (2, "2.0.0"),
        ("", ".0.0"),
    ],
)
def test_versions_have_three_parts(version: Any, text: str) -> None:
    assert Tracker._handle_version(version) == text
    assert tracker("", version)._local_version == text
    assert Tracker._clean_version(text) == text


def test_only_digits_make_a_version() -> None:
    for text in ("0", "1.2", "10.20.30", "007"):
        assert Tracker._is_version(text)
    for text in ("", ".", "1.", "1..2", "v1", "1.2a", "1.²", "٣.1", " 1", "1 ", "-1", 1, None):
        assert not Tracker._is_version(text)


@pytest.mark.parametrize(
    ("local", "remote", "newer"),
    [
        ("1.2.0", "1.2.0", False),
        ("1.2.0", "1.2.1", True),
        ("1.9.0", "1.10.0", True),
        ("1.10.0", "1.9.9", False),
        ("2.0.0", "1.99.99", False),
        ("1.2.0", "1.2.0.1", False),
        ("1.02.0", "1.2.0", False),
        ("1.0.0", "1.0.123456789012345678901234567890", True),
        ("1.0.0", "rubbish", False),
        ("rubbish", "1.0.0", False),
        ("1.0.0", None, False),
    ],
)
def test_versions_are_compared_part_by_part(local: str, remote: Any, newer: bool) -> None:
    assert Tracker._is_above_version(local, remote) is newer


def refused_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port: int = probe.getsockname()[1]
        return port


@pytest.mark.parametrize("host", ["", "localhost:{}", "a b", "\0", "name.invalid:x"])
def test_a_server_out_of_reach_means_no_update(host: str, caplog: pytest.LogCaptureFixture) -> None:
    host = host.format(refused_port())
    asked = tracker(host)
    assert (asked.accepted, asked._accepted, asked.version) == (True, True, None)
    assert [asked.exist() for _ in range(3)] == [False] * 3
    assert asked.version is asked._remote_version is None
    # Asked once, also after a failure.
    assert logged(caplog) == [f"Could not check version for update from {host}"]


def test_a_server_that_stalls_is_given_up(caplog: pytest.LogCaptureFixture) -> None:
    with socket.create_server(("127.0.0.1", 0)) as silent:
        asked = tracker(f"127.0.0.1:{silent.getsockname()[1]}")
        assert asked.timeout == 10
        asked.timeout = 0.1
        with caplog.at_level(logging.DEBUG):
            assert asked.exist() is False
            error, reason = sorted(logged(caplog))
        assert error.startswith("Could not check version for update from 127.0.0.1:")
        assert "timed out" in reason


class Server(http.server.ThreadingHTTPServer):
    """Answers with `version` as the header, over TLS; `paths` notes what it was asked for."""

    version: str | None = None
    #: Headers follow each other without an end until it is set.
    full: threading.Event | None = None

    def __init__(self, certificate: Any) -> None:
        super().__init__(("127.0.0.1", 0), Handler)
        self.paths: list[str] = []
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        certificate.configure_cert(context)
        self.socket = context.wrap_socket(self.socket, server_side=True)
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()

    @property
    def host(self) -> str:
        return f"localhost:{self.server_address[1]}"

    def handle_error(self, *arguments: Any) -> None:
        """A client that goes away is no error here."""


class Handler(http.server.BaseHTTPRequestHandler):
    server: Server

    def do_GET(self) -> None:
        self.server.paths.append(self.path)
        self.send_response(200)
        if self.server.version is not None:
            self.send_header("Kavel-Version", self.server.version)
        if self.server.full is not None:
            self.flush_headers()
            while not self.server.full.wait(0.02):
                self.wfile.write(b"X")
        self.end_headers()

    def log_message(self, *arguments: Any) -> None:
        pass


@pytest.fixture(scope="module")
def authority() -> Any:
    """Makes certificates."""
    library = pytest.importorskip("trustme", reason="trustme, which makes certificates, is missing")
    return library.CA()


@pytest.fixture
def trusted(authority: Any, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """The interpreter trusts the authority, as it would that of a studio."""
    path = tmp_path / "authority.pem"
    authority.cert_pem.write_to_path(str(path))
    monkeypatch.setenv("SSL_CERT_FILE", str(path))


@pytest.fixture
def server(authority: Any) -> Iterator[Server]:
    made = Server(authority.issue_cert("localhost"))
    yield made
    made.shutdown()
    made.server_close()


@pytest.mark.parametrize(
    ("answer", "newer", "version"),
    [
        ("1.3", True, "1.3.0"),
        ("1.2", False, "1.2.0"),
        ("1.1.9", False, "1.1.9"),
        ("1.2.0.5", False, "1.2.0.5"),
        (None, False, None),
        ("rubbish", False, None),
        ("1.3-beta", False, None),
    ],
)
@pytest.mark.usefixtures("trusted")
def test_the_server_is_asked_once(
    server: Server, caplog: pytest.LogCaptureFixture, answer: str, newer: bool, version: str
) -> None:
    server.version = answer
    asked = tracker(server.host)
    assert server.paths == []
    assert [asked.exist() for _ in range(3)] == [newer] * 3
    assert asked.version == version
    assert server.paths == ["/latest/"]
    failures = [f"Could not check version for update from {server.host}"]
    assert logged(caplog) == ([] if version else failures)
    assert asked._get_version_response() == (version or answer or "")


@pytest.mark.usefixtures("trusted")
def test_a_server_that_drips_is_given_up(server: Server, caplog: pytest.LogCaptureFixture) -> None:
    server.version = "9.9.9"
    server.full = threading.Event()
    asked = tracker(server.host)
    asked.timeout = 1.0
    # Ends a wait that has no end of its own.
    rescue = threading.Timer(10, server.full.set)
    rescue.start()
    try:
        with caplog.at_level(logging.DEBUG):
            assert asked.exist() is False
        assert not server.full.is_set()
        assert any("timed out" in entry for entry in logged(caplog))
    finally:
        rescue.cancel()
        server.full.set()


def test_a_server_that_cannot_prove_who_it_is_is_not_asked(
    server: Server, authority: Any, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    server.version = "9.9.9"
    other = tmp_path / "other.pem"
    type(authority)().cert_pem.write_to_path(str(other))
    monkeypatch.setenv("SSL_CERT_FILE", str(other))
    assert not tracker(server.host).exist()
    authority.cert_pem.write_to_path(str(other))
    # The certificate is for the name, not for the address.
    assert not tracker(server.host.replace("localhost", "127.0.0.1")).exist()
    assert server.paths == []
    assert tracker(server.host).exist()
