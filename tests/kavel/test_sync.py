"""Seats that exchange projects and records with a studio server: separate processes over TLS."""

from __future__ import annotations

import contextlib
import json
import os
import shlex
import signal
import socket
import subprocess
import sys
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable

import pytest
from conftest import project, rule
from studio_server import TOKEN, OddServer, Server, answer, running

from kavel.errors import KavelError
from kavel.studio.addresses import parse_address
from kavel.studio.tokens import Tokens, read_tokens


@dataclass
class Seat:
    """A user's home, and the server that its commands go to."""

    home: Path
    url: str
    authority: Path

    @property
    def folder(self) -> Path:
        return self.home / "standalone" / "projects"

    def start(self, *arguments: str, **environment: str) -> subprocess.Popen[str]:
        variables = {**os.environ, "SSL_CERT_FILE": str(self.authority), "KAVEL_TOKEN": TOKEN,
                     "USERNAME": self.home.name, **environment}  # fmt: skip
        command = [sys.executable, "-m", "kavel", "--home", str(self.home), *arguments]
        pipe = subprocess.PIPE
        return subprocess.Popen(command, env=variables, text=True, stdout=pipe, stderr=pipe)

    def run(self, *arguments: str, **environment: str) -> tuple[int, str, str]:
        with self.start(*arguments, **environment) as process:
            out, err = process.communicate(timeout=120)
            return process.returncode, out, err

    def sync(self, *options: str, status: int = 0, **environment: str) -> str:
        """Both streams of a synchronisation that ends with that status."""
        ended, out, err = self.run("sync", "--server", self.url, *options, **environment)
        assert ended == status, (ended, out, err)
        return out + err

    def write(self, filename: str, edited: float, *stamps: int, **fields: Any) -> Any:
        """Save a project with records of these times."""
        whole = project([rule("a")], name=filename[:-5].title())
        content = whole["records"]["1700000000"]
        whole["records"] = {str(stamp): {**content, "author": f"of {stamp}"} for stamp in stamps}
        whole.update(filename=filename, edit_timestamp=edited, selected_record=stamps[-1])
        self.put({**whole, **fields})
        return self.brief(filename)

    def put(self, data: Any) -> None:
        self.folder.mkdir(parents=True, exist_ok=True)
        (self.folder / data["filename"]).write_text(json.dumps(data), encoding="utf-8")

    def read(self, filename: str) -> Any:
        return json.loads((self.folder / filename).read_text(encoding="utf-8"))

    def brief(self, filename: str) -> Any:
        """What edits of `write` differ in; the rest gets its defaults when the core sends it."""
        return brief(self.read(filename))

    def files(self) -> dict[str, bytes]:
        """Everything in the projects folder and beside it, by name."""
        found = [path for path in self.home.rglob("*") if path.is_file()]
        return {str(path.relative_to(self.home)): path.read_bytes() for path in found}


@pytest.fixture(scope="module")
def server(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Server]:
    with running(tmp_path_factory.mktemp("studio"), "--latest", "9.10") as found:
        yield found


@pytest.fixture
def fresh_server(tmp_path: Path) -> Iterator[Server]:
    with running(tmp_path) as found:
        yield found


def brief(data: Any) -> Any:
    records = {stamp: record["author"] for stamp, record in data["records"].items()}
    keys = ("name", "edit_timestamp", "deleted", "selected_record")
    return records, [data[key] for key in keys]


def seats(folder: Path, server: Server) -> tuple[Seat, Seat]:
    return (Seat(folder / "ann", server.url, server.authority),
            Seat(folder / "bob", server.url, server.authority))  # fmt: skip


def test_two_seats(tmp_path: Path, fresh_server: Server) -> None:
    ann, bob = seats(tmp_path, fresh_server)
    ann.write("hero.json", 1000, 1)
    ann.write("prop.json", 1000, 1)
    assert "2 sent, 2 received" in ann.sync()
    assert "0 sent, 2 received" in bob.sync()
    assert bob.brief("hero.json") == ann.brief("hero.json")

    edit = bob.write("hero.json", 2000, 1, 2)
    gone = bob.write("prop.json", 2000, 1, deleted=True)
    told = bob.sync()
    assert "0 conflicts" in told
    told = ann.sync()
    assert "0 new, 1 updated, 1 deleted, 0 erased" in told
    assert "updated: Hero (hero.json)" in told
    assert "deleted by others: Prop (prop.json)" in told
    assert (ann.brief("hero.json"), ann.brief("prop.json")) == (edit, gone)
    assert "Prop" not in ann.run("projects", "list")[1]
    before = ann.files()
    assert "0 new, 0 updated, 0 deleted, 0 erased" in ann.sync()
    assert ann.files() == before


def test_one_seat_was_offline(tmp_path: Path, fresh_server: Server) -> None:
    ann, bob = seats(tmp_path, fresh_server)
    ann.write("hero.json", 1000, 1)
    ann.sync()
    bob.sync()
    lost = ann.write("hero.json", 2000, 1, 20)  # not sent
    won = bob.write("hero.json", 3000, 1, 30)
    bob.sync()
    told = ann.sync(status=1)
    assert "1 conflict" in told
    assert "your edit of Hero (hero.json) lost" in told
    assert ann.brief("hero.json") == won

    listed = ann.sync("--list-edits")
    (line,) = [line for line in listed.splitlines() if line.endswith("lost")]
    number = line.split()[0]
    assert f"(edit {number})" in told
    back = tmp_path / "back.json"
    assert str(back) in ann.sync("--get-edit", number, "--to", str(back))
    assert brief(json.loads(back.read_text(encoding="utf-8"))) == lost
    assert "is not replaced" in ann.sync("--get-edit", number, "--to", str(back), status=2)

    assert "1 record of edit" in ann.sync("--restore-edit", number)
    assert "no record that the project lacks" in ann.sync("--restore-edit", number, status=2)
    records, (*_, selected) = ann.brief("hero.json")
    assert (list(records), selected) == (["1", "20", "30"], 20)
    assert "0 conflicts" in ann.sync()
    bob.sync()
    assert bob.brief("hero.json") == ann.brief("hero.json")
    again = ann.write("hero.json", 4e9, 1, 40)
    assert "your edit of Hero (hero.json) won" in ann.sync()
    bob.sync(status=1)
    assert bob.brief("hero.json") == again


def test_an_edit_by_hand_that_kept_its_time(tmp_path: Path, fresh_server: Server) -> None:
    ann, bob = seats(tmp_path, fresh_server)
    ann.write("hero.json", 1000, 1)
    ann.sync()
    bob.sync()
    edited = ann.read("hero.json")
    edited["records"]["1"]["comment"] = "by hand"
    ann.put(edited)
    told = ann.sync(status=1)
    assert "your Hero (hero.json) differs from the server's" in told and "lost" not in told
    (command,) = [line for line in told.splitlines() if line.startswith("  kavel ")]
    assert ann.run(*shlex.split(command)[1:])[0] == 0
    assert "your edit of Hero (hero.json) won" in ann.sync()
    bob.sync(status=1)  # what it had is kept aside: the record of that second was another one
    assert [record["comment"] for record in bob.read("hero.json")["records"].values()] == [
        "by hand",
        "by hand",
    ]


def test_what_a_newer_build_wrote(tmp_path: Path, fresh_server: Server) -> None:
    ann, bob = seats(tmp_path, fresh_server)
    odd = {"version": 9, "target": "standalone", "filename": "odd.json", "edit_timestamp": 5.5,
           "name": "Odd", "records": [1.0, {"é": None}], "x": {"y": []}}  # fmt: skip
    ann.put(odd)
    ann.sync()
    bob.sync()
    assert bob.read("odd.json") == odd
    bob.sync()
    ann.sync()
    assert ann.read("odd.json") == odd


def test_many_projects(tmp_path: Path, fresh_server: Server) -> None:
    ann, bob = seats(tmp_path, fresh_server)
    for number in range(500):
        ann.write(f"p{number}.json", 1000 + number, 1)
    assert "500 sent, 500 received" in ann.sync()
    told = bob.sync()
    assert "500 new" in told
    assert "and 480 more" in told
    assert {path.name for path in bob.folder.glob("*.json")} == set(os.listdir(ann.folder))
    assert bob.brief("p499.json") == ann.brief("p499.json")


def test_records(tmp_path: Path, fresh_server: Server) -> None:
    ann, bob = seats(tmp_path, fresh_server)
    record = {"name": "Size", "result": "pass", "timestamp": 1.5, "speed": 0.25}
    for seat in (ann, bob):
        seat.folder.mkdir(parents=True)
        statistics = seat.home / "standalone" / "statistics.json"
        statistics.write_text(json.dumps({"version": 1, "checks": [record]}))
    assert "statistics" not in ann.sync("--no-statistics")
    assert "1 record sent, 1 of them new" in ann.sync()
    assert "1 record sent, 0 of them new" in ann.sync()
    settings = {"version": 4, "server": {"erase_sent": True}}
    (bob.home / "standalone" / "settings.json").write_text(json.dumps(settings))
    assert "1 of them new to the server, erased here" in bob.sync()
    assert "no records to send" in bob.sync()
    page = fresh_server.ask("GET", "/").body.decode()
    assert '>Size</td><td class="number">2</td>' in page


def test_the_server_of_the_settings(tmp_path: Path, server: Server) -> None:
    ann, _ = seats(tmp_path, server)
    assert "no server is known" in ann.run("sync")[2]
    report = json.loads(ann.run("sync", "--server", server.url, "--remember", "--json", "-")[1])
    assert (report["schema"], report["exit_status"]) == ("kavel.sync/1", 0)
    assert f"from {server.url}:" in ann.run("sync")[1]


@pytest.mark.parametrize("token", ["", "not-one-of-the-tokens"])
def test_without_the_right_token(tmp_path: Path, server: Server, token: str) -> None:
    ann, _ = seats(tmp_path, server)
    ann.write("hero.json", 1000, 1)
    told = ann.sync(status=2, KAVEL_TOKEN=token)
    assert "a token is missing, or is none of the server's (status 401)" in told


UNSAFE = [
    {"filename": name, "version": 3, "target": "standalone", "name": "x", "edit_timestamp": 1e10}
    for name in ("../x.json", "a/../../x.json", "x", "nul.json")
]
NOTHING = answer([])


@pytest.mark.parametrize(
    ("answers", "message", "asked"),
    [
        ([answer(b"[]", Content_length="1000")], "the answer was cut off", 2),
        ([answer(b'[{"filename": "hero.json"')], "nothing was changed", 1),
        ([answer([], Content_type="text/html")], "nothing was changed", 1),
        ([answer([], Content_type="application/json; charset=utf-8")], "nothing was changed", 1),
        ([answer({"error": "no"})], "nothing was changed", 1),
        ([answer(None)], "nothing was changed", 1),
        ([answer(UNSAFE)], "nothing was changed", 1),
        ([answer(b"<html>\x1b[31m", 500)], "Internal Server Error (status 500)", 2),
        ([answer({"error": "full \x1b[31m"}, 507)], "full \\x1b[31m (status 507)", 1),
        ([answer([], 302, Location="https://127.0.0.1:1/")], "Found (status 302)", 1),
        ([answer({"error": "busy"}, 503, Retry_After="0"), answer({"error": "x"}, 403)],
         "busy; again in 0.0 s", 2),
        ([lambda _: None], "closed without an answer", 2),
    ],
)  # fmt: skip
def test_an_answer_that_cannot_be_used_changes_nothing(
    tmp_path: Path, answers: list[Callable[[Any], None]], message: str, asked: int
) -> None:
    with OddServer(tmp_path, *answers) as odd:
        ann = Seat(tmp_path / "home" / "ann", odd.url, odd.files["authority"])
        ann.write("hero.json", 1000, 1)
        before = ann.files()
        assert message in ann.sync("--retries", "1", status=2)
    assert {name: ann.files()[name] for name in before} == before
    assert not list(tmp_path.rglob("x.json"))
    assert len(odd.requests) == asked
    assert {request[1]["Authorization"] for request in odd.requests} == {f"Bearer {TOKEN}"}


def test_an_answer_with_some_unsafe_names(tmp_path: Path) -> None:
    """What can be used is, and nothing is written outside of the folder."""
    fresh = {**UNSAFE[0], "filename": "fresh.json"}
    with OddServer(tmp_path, answer([*UNSAFE, fresh])) as odd:
        ann = Seat(tmp_path / "home" / "ann", odd.url, odd.files["authority"])
        told = ann.sync("--no-statistics")
    assert "1 new" in told
    assert "safe file name" in told
    assert os.listdir(ann.folder) == ["fresh.json"]
    assert not list(tmp_path.rglob("x.json"))


def test_a_project_that_cannot_be_taken_over_is_told(tmp_path: Path) -> None:
    broken: dict[str, Any] = {**UNSAFE[0], "filename": "broken.json", "records": []}
    with OddServer(tmp_path, answer([broken])) as odd:
        ann = Seat(tmp_path / "home" / "ann", odd.url, odd.files["authority"])
        told = ann.sync("--no-statistics", status=1)
    assert 'error on the way:\n  AssertionError: "records"' in told


def test_projects_that_the_server_has_no_more(tmp_path: Path) -> None:
    with OddServer(tmp_path, NOTHING) as odd:
        ann = Seat(tmp_path / "home" / "ann", odd.url, odd.files["authority"])
        ann.write("hero.json", 1000, 1)
        told = ann.sync("--no-statistics")
    assert "1 erased" in told
    assert "erased, the server does not have it: Hero (hero.json)" in told
    assert not (ann.folder / "hero.json").exists()


@pytest.mark.parametrize("way", ["wait", "trickle"])
def test_a_server_that_stalls(tmp_path: Path, way: str) -> None:
    with OddServer(tmp_path, lambda handler: getattr(odd, way)(handler)) as odd:
        ann = Seat(tmp_path / "home" / "ann", odd.url, odd.files["authority"])
        ann.write("hero.json", 1000, 1)
        told = ann.sync("--timeout", "0.2", "--retries", "0", status=2)
    assert "no answer in time" in told or "took too long" in told
    assert ann.read("hero.json")["edit_timestamp"] == 1000


@pytest.fixture
def interruptible() -> Iterator[None]:
    """A shell makes what it runs in the background, and what that starts, deaf to interrupts."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, before)


@pytest.mark.usefixtures("interruptible")
def test_an_interrupt(tmp_path: Path) -> None:
    with OddServer(tmp_path, lambda handler: odd.wait()) as odd:
        ann = Seat(tmp_path / "home" / "ann", odd.url, odd.files["authority"])
        with ann.start("sync", "--server", odd.url) as process:
            assert odd.asked.wait(60)
            process.send_signal(signal.SIGINT)
            assert "interrupted" in process.communicate(timeout=60)[1]
            assert process.returncode == 130


def test_a_certificate_that_proves_nothing(tmp_path: Path) -> None:
    with OddServer(tmp_path, NOTHING, names=["elsewhere.example"]) as odd:
        ann = Seat(tmp_path / "home" / "ann", odd.url, odd.files["authority"])
        assert "not trusted" in ann.sync(status=2)  # of another name
        assert "not trusted" in ann.sync(status=2, SSL_CERT_FILE=os.devnull)  # of nobody known
    assert odd.requests == []


def closed_port() -> int:
    with contextlib.closing(socket.socket()) as opened:
        opened.bind(("127.0.0.1", 0))
        return int(opened.getsockname()[1])


def test_nobody_there(tmp_path: Path) -> None:
    """Hosts are told, and what was repeated is told to the user."""
    from kavel.logs import LogHandler
    from kavel.studio.seat import Seat as OwnSeat
    from kavel.studio.transport import Client
    from kavel.terminal import make_console

    lines: list[str] = []
    address = parse_address(f"https://127.0.0.1:{closed_port()}")
    client = Client(address, retries=2, tell=lines.append, pause=0.01)
    with LogHandler(make_console()) as log, OwnSeat(str(tmp_path), None, log) as seat:
        fired: list[int] = []
        seat.api.callbacks.http_no_response.register(lambda *_: fired.append(1))
        with pytest.raises(KavelError, match="refused"):
            seat.exchange(client).projects()
    assert (fired, len(lines)) == ([1], 2)


@pytest.mark.parametrize(
    ("latest", "status", "message"),
    [
        (answer(b"", Kavel_Version="99"), 1, "99.0.0 is there"),
        (answer(b"", Kavel_Version="0.0.1"), 0, "nothing newer is there (0.0.1)"),
        (answer(b""), 2, "no version is told there"),
        (answer(b"", Kavel_Version="newest!"), 2, "no version is told there"),
        (None, 2, "timed out"),
    ],
)
def test_versions(tmp_path: Path, latest: Any, status: int, message: str) -> None:
    odd: OddServer
    with OddServer(tmp_path, latest or (lambda _: odd.wait())) as odd:
        ann = Seat(tmp_path / "ann", odd.url, odd.files["authority"])
        ended, out, err = ann.run("version", "--latest", "--from", odd.url, "--timeout", "1")
    assert (ended, odd.requests[0][0]) == (status, "/latest")
    assert message in out + err


def test_where_versions_are_asked_for(tmp_path: Path, server: Server) -> None:
    ann, _ = seats(tmp_path, server)
    ended, out, _ = ann.run("version", "--latest", "--from", server.url, "--remember")
    assert (ended, "9.10.0 is there" in out) == (1, True)
    assert ann.run("version", "--latest")[0] == 1
    assert "http://" in ann.run("version", "--latest", KAVEL_UPDATES="http://127.0.0.1")[2]
    assert ann.run("--version")[1].startswith("kavel ")
    untrusted = ann.run("version", "--latest", SSL_CERT_FILE=os.devnull)
    assert (untrusted[0], "certificate" in untrusted[2]) == (2, True)


@pytest.mark.parametrize(
    ("text", "found"),
    [
        ("https://studio.example", "https://studio.example"),
        ("https://studio.example:8443/kavel/", "https://studio.example:8443/kavel"),
        ("https://[::1]:443", "https://[::1]"),
        ("http://localhost:80", "http://localhost"),
        ("http://127.8.0.1:81", "http://127.8.0.1:81"),
        ("http://studio.example", None),
        ("http://127.0.0.1.example", None),
        ("ftp://studio.example", None),
        ("studio.example", None),
        ("https://", None),
        ("https://u:p@studio.example", None),
        ("https://studio.example?x", None),
        ("https://studio.example:x", None),
        ("https://[::1", None),
    ],
)
def test_addresses(text: str, found: str | None) -> None:
    if found is None:
        with pytest.raises(KavelError):
            parse_address(text)
    else:
        assert str(parse_address(text)) == found


def test_tokens(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("TOKENS", " first-token-of-two second-token-of-two ")
    tokens = Tokens(read_tokens(None, "TOKENS"))
    assert tokens.admit("bearer second-token-of-two")
    for header in (None, "", "Bearer", "Bearer first", "first-token-of-two", "Bearer \udce9"):
        assert not tokens.admit(header)
    assert Tokens([]).admit(None)
    for content in ("", "# none\n", "sh\u00f6rt-but-sixteen-long", "with blanks in the token"):
        (tmp_path / "tokens").write_text(content, encoding="utf-8")
        with pytest.raises(KavelError):
            read_tokens(str(tmp_path / "tokens"), "TOKENS")
