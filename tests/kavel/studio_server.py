"""A studio server in a process of its own, with a certificate made for it, and its clients."""

from __future__ import annotations

import contextlib
import http.client
import http.server
import json
import os
import re
import signal
import ssl
import subprocess
import sys
import threading
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable

import trustme

TOKEN = "a-token-for-the-tests"
JSON = {"Content-type": "application/json"}
BEARER = {"Authorization": f"Bearer {TOKEN}"}


@dataclass
class Reply:
    status: int
    headers: Any
    body: bytes

    @property
    def data(self) -> Any:
        return json.loads(self.body)


@dataclass
class Server:
    """`authority` signed its certificate; `errors` is the file of its stderr."""

    url: str
    authority: Path
    errors: Path

    def ask(self, method: str, path: str, body: Any = None, **headers: str) -> Reply:
        """One request, with the token and as JSON unless `headers` say otherwise; a header that is
        empty is left out."""
        host = self.url.partition("://")[2]
        context = ssl.create_default_context(cafile=str(self.authority))
        connection = http.client.HTTPSConnection(host, context=context, timeout=60)
        content = body if body is None or isinstance(body, bytes) else json.dumps(body).encode()
        sent = {**JSON, **BEARER, **headers}
        try:
            connection.request(method, path, content, {k: v for k, v in sent.items() if v})
            response = connection.getresponse()
            return Reply(response.status, response.headers, response.read())
        finally:
            connection.close()

    def merge(self, *projects: Any, target: str = "standalone") -> Any:
        """What the server has after taking these, by file name."""
        reply = self.ask("POST", "/projects", {"target": target, "projects": projects})
        assert (reply.status, reply.headers["Content-type"]) == (200, "application/json"), reply
        return {item["filename"]: item for item in reply.data}


def make_certificate(folder: Path, *names: str) -> dict[str, Path]:
    """Files of a certificate for these names: "authority", "certificate" and "key"."""
    folder.mkdir(exist_ok=True)
    authority = trustme.CA()
    issued = authority.issue_cert(*names)
    files = {name: folder / f"{name}.pem" for name in ("authority", "certificate", "key")}
    authority.cert_pem.write_to_path(str(files["authority"]))
    issued.private_key_pem.write_to_path(str(files["key"]))
    for part, blob in enumerate(issued.cert_chain_pems):
        blob.write_to_path(str(files["certificate"]), append=part > 0)
    return files


@contextlib.contextmanager
def running(folder: Path, *options: str, tokens: str = TOKEN) -> Iterator[Server]:
    """A server on a free port of this machine, which is asked to stop at the end, and does."""
    files = make_certificate(folder / "tls", "127.0.0.1", "localhost")
    command = [sys.executable, "-m", "kavel", "--home", str(folder / "server"), "serve",
               "--port", "0", "--certificate", str(files["certificate"]),
               "--key", str(files["key"]), *options]  # fmt: skip
    errors = folder / "server.log"
    environment = {**os.environ, "KAVEL_TOKENS": tokens}
    with (
        errors.open("w") as log,
        subprocess.Popen(
            command, stdout=subprocess.PIPE, stderr=log, env=environment, text=True
        ) as process,
    ):
        assert process.stdout is not None
        try:
            line = process.stdout.readline()
            found = re.search(r"https://\S+", line)
            assert found, (line, errors.read_text())
            yield Server(found[0], files["authority"], errors)
            process.send_signal(signal.SIGTERM)
            assert process.wait(timeout=60) == 0, errors.read_text()
            assert process.stdout.read().endswith("stopped\n")
        finally:
            process.kill()


class OddServer:
    """An HTTPS server in a thread of the tests that answers each request as it is told, and the
    last way from then on. A context manager."""

    def __init__(self, folder: Path, *answers: Callable[[Any], None], names: Any = ()) -> None:
        self.files = make_certificate(folder / "odd tls", *(names or ("127.0.0.1", "localhost")))
        self.requests: list[tuple[str, dict[str, str], bytes]] = []
        self.asked = threading.Event()
        self.closing = threading.Event()
        ways = list(answers)
        odd = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_POST(self) -> None:
                body = self.rfile.read(int(self.headers.get("Content-length") or 0))
                odd.requests.append((self.path, dict(self.headers), body))
                odd.asked.set()
                (ways.pop(0) if len(ways) > 1 else ways[0])(self)
                self.close_connection = True

            do_GET = do_POST

            def log_message(self, *_: Any) -> None:
                pass

        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self._server.daemon_threads = True
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.files["certificate"], self.files["key"])
        listening = self._server.socket
        self._server.socket = context.wrap_socket(listening, True, do_handshake_on_connect=False)
        self.url = f"https://127.0.0.1:{self._server.server_address[1]}"

    def __enter__(self) -> OddServer:
        threading.Thread(target=self._server.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_: object) -> None:
        self.closing.set()
        self._server.shutdown()
        self._server.server_close()

    def wait(self, _: Any = None) -> None:
        """Never answers."""
        self.closing.wait()

    def trickle(self, handler: Any) -> None:
        """Sends a byte now and then for ever."""
        handler.send_response(200)
        handler.send_header("Content-length", "1000000")
        handler.end_headers()
        with contextlib.suppress(OSError):
            while not self.closing.wait(0.05):
                handler.wfile.write(b" ")


def answer(body: Any, status: int = 200, **headers: str) -> Callable[[Any], None]:
    """A way to answer. Headers with an underscore for each hyphen; JSON unless they say another
    content type; a shorter body follows when they say another length."""
    text = body if isinstance(body, bytes) else json.dumps(body).encode()
    usual = {"Content_type": "application/json", "Content_length": str(len(text))}

    def respond(handler: Any) -> None:
        handler.send_response(status)
        for name, value in {**usual, **headers}.items():
            handler.send_header(name.replace("_", "-"), value)
        handler.end_headers()
        handler.wfile.write(text)

    return respond
