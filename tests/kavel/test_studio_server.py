"""The studio server over its protocol, as a process of its own with TLS."""

from __future__ import annotations

import json
import socket
import ssl
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any, Callable

import pytest
from studio_server import BEARER, Server, running

from kavel.cli import main
from kavel.studio.addresses import Address
from kavel.studio.exchange import Entry, ProjectsOutcome
from kavel.studio.file_names import is_safe_filename
from kavel.studio.printing import print_projects
from kavel.terminal import make_console

Captured = pytest.CaptureFixture[str]


@pytest.fixture(scope="module")
def server(tmp_path_factory: pytest.TempPathFactory) -> Any:
    options = ("--max-request", "8", "--keep", "2", "--latest", "3.1")
    with running(tmp_path_factory.mktemp("studio"), *options) as running_server:
        yield running_server


def document(filename: str, edited: float, records: Any = None, **fields: Any) -> dict[str, Any]:
    return {
        "name": "Héro",
        "description": "",
        "records": {"1700000000": {"rules": [], "author": "A"}} if records is None else records,
        "selected_record": 1700000000,
        "deleted": False,
        "version": 3,
        "filename": filename,
        "target": "standalone",
        "edit_timestamp": edited,
        **fields,
    }


def record(author: str) -> dict[str, Any]:
    return {"rules": [], "author": author}


def kept(reply: Any) -> Any:
    return json.loads(reply.headers["Kavel-Kept"] or "{}")


def test_the_newest_edit_wins_whoever_sends_it(server: Server) -> None:
    first = document("wins.json", 10.5)
    newer = document("wins.json", 11.5, {**first["records"], "1700000009": record("B")})
    assert server.merge(first)["wins.json"] == first
    assert server.merge()["wins.json"] == first
    assert server.merge(newer)["wins.json"] == newer
    assert server.merge(first)["wins.json"] == newer  # a seat that was behind
    equal = {**newer, "name": "other"}
    assert server.merge(equal)["wins.json"] == newer
    gone = {**newer, "deleted": True, "edit_timestamp": 12.0}
    assert server.merge(gone)["wins.json"] == gone  # the mark stays
    assert "wins.json" not in server.merge(target="maya")


def test_a_losing_edit_is_kept_and_told(server: Server) -> None:
    def send(data: Any) -> Any:
        return kept(server.ask("POST", "/projects", {"target": "standalone", "projects": [data]}))

    base = document("kept.json", 10)
    ours = document("kept.json", 20, {**base["records"], "1700000020": record("ours")})
    theirs = document("kept.json", 30, {**base["records"], "1700000030": record("theirs")})
    assert send(base) == {}
    assert send(theirs) == {}  # it builds upon the first
    told = send(ours)  # offline until now
    (lost,) = told["lost"]
    assert (told["lost_count"], told["beaten"], lost["file"]) == (1, [], "kept.json")
    assert server.ask("GET", f"/history/{lost['id']}").data == ours
    assert send(ours) == told  # the same number, once
    assert send(base) == {}  # a seat without an edit of its own has lost nothing
    winner = {**ours, "edit_timestamp": 40}
    told = send(winner)
    assert (told["lost_count"], told["beaten_count"]) == (0, 1)
    assert server.ask("GET", f"/history/{told['beaten'][0]['id']}").data == theirs
    assert send(theirs)["lost"] == told["beaten"]  # the other seat is told, too
    listed = server.ask("GET", "/history?file=kept.json&lost=1").data
    assert [item["edited"] for item in listed] == [30, 20]


def test_an_edit_that_lost_only_its_name_says_so(server: Server) -> None:
    base = document("named.json", 10)
    renamed = {**base, "edit_timestamp": 20, "name": "Ours"}
    server.merge({**base, "edit_timestamp": 30, "name": "Theirs"})
    body = {"target": "standalone", "projects": [renamed]}
    (lost,) = kept(server.ask("POST", "/projects", body))["lost"]
    assert lost["name"] == "Ours" and lost["records"] is False


@pytest.mark.parametrize(
    ("records", "restore", "anew"), [([True], 1, 0), ([False], 0, 1), ([True, False], 1, 1)]
)
def test_the_advice_after_a_conflict(
    capsys: Captured, records: list[bool], restore: int, anew: int
) -> None:
    lost = [Entry("a", "a.json", number, has) for number, has in enumerate(records)]
    outcome = ProjectsOutcome(lost=lost, lost_count=len(lost))
    print_projects(make_console(), outcome, Address("host", 1))
    out = capsys.readouterr().out
    assert out.count("--restore-edit") == restore and out.count("set them anew") == anew


def test_old_edits_that_are_contained_make_room(server: Server) -> None:
    records: dict[str, Any] = {}
    for step in range(6):
        records = {**records, str(1700000000 + step): record("A")}
        edit = document("room.json", step, records)
        server.merge(edit)
    assert server.merge(document("room.json", 2, {"1": record("lost")}))
    listed = server.ask("GET", "/history?file=room.json").data
    edits = [(item["edited"], item["lost"]) for item in listed]
    assert edits == [(2, True), (4, False), (3, False)]
    # Its content is gone, and it is known all the same.
    old = document("room.json", 0, {"1700000000": record("A")})
    reply = server.ask("POST", "/projects", {"target": "standalone", "projects": [old]})
    assert kept(reply) == {}


def test_what_a_newer_build_wrote_is_kept_as_it_is(server: Server) -> None:
    odd = document("future.json", 5, records=[{"x": 1.0, "y": 10**30}], version=7,
                   name={"en": "A"}, more={"\ud800": "\x00", "n": 1e-7})  # fmt: skip
    assert server.merge(odd)["future.json"] == odd
    text = server.ask("POST", "/projects", {"target": "standalone", "projects": []}).body.decode()
    assert json.dumps(odd) in text  # not one character is another
    deep = document("deep.json", 5, version=2**53 - 1, more=json.loads("[" * 399 + "]" * 399))
    assert server.merge(deep)["deep.json"] == deep
    assert server.merge({**deep, "edit_timestamp": 1e11})["deep.json"]["edit_timestamp"] == 1e11
    plain = {"filename": "plain.json", "target": "standalone", "version": 0}
    assert server.merge(plain)["plain.json"] == {**plain, "edit_timestamp": 0.0}


def nested(depth: int) -> Any:
    return b'{"target":"standalone","projects":' + b"[" * depth + b"]" * depth + b"}"


def of(**fields: Any) -> Any:
    odd = {**document("x", 9), **fields}
    return {"target": "standalone", "projects": [document("ok.json", 9), odd]}


@pytest.mark.parametrize(
    ("body", "status", "message"),
    [
        (b"{", 400, "not JSON"),
        (b"\xff", 400, "not JSON"),
        (b'{"target":"t","projects":[NaN]}', 400, "NaN"),
        (nested(200_000), 400, "not JSON"),
        ([], 422, "not a JSON object"),
        ({"target": "standalone", "projects": {"0": 1}}, 422, "not an array"),
        ({"target": "standalone", "projects": 1}, 422, "not an array"),
        ({"target": "t"}, 422, "not an array"),
        ({"projects": []}, 422, '"target"'),
        ({"target": "t\x1b", "projects": []}, 422, '"target"'),
        ({"target": "t", "projects": [1]}, 422, "not a JSON object"),
        (of(filename="../x.json"), 422, "../x.json"),
        (of(filename=None), 422, "null"),
        (of(filename="x.json", target="maya"), 422, "target"),
        (of(filename="x.json", version=-1), 422, "version"),
        (of(filename="x.json", version=True), 422, "version"),
        (of(filename="x.json", version=2**53), 422, "version"),
        (of(filename="x.json", version=10**3999), 422, "version"),
        (of(filename="x.json", records=[]), 422, "records"),
        (of(filename="x.json", records={}), 422, "records"),
        (of(filename="x.json", edit_timestamp=10**400), 422, "edit_timestamp"),
        (of(filename="x.json", edit_timestamp=1.1e11), 422, "edit_timestamp"),
        (of(filename="x.json", description=json.loads("[" * 400 + "]" * 400)), 422, "nested"),
        (b'{"target":"standalone","projects":[{"filename":"x.json","version":3,'
         b'"target":"standalone","n":1e999}]}', 400, "too large"),  # fmt: skip
        (b'{"target":"standalone","projects":[', 400, "not JSON"),
        (b'{"target":"standalone","projects":[]', 400, "expected"),
        (b'{"target":"standalone","projects":[]} {}', 400, "more follows"),
        (b" " * (8 * 2**20 + 1), 413, "more than"),
    ],
)  # fmt: skip
def test_a_refused_request_changes_nothing(
    server: Server, body: Any, status: int, message: str
) -> None:
    before = server.merge()
    reply = server.ask("POST", "/projects", body)
    assert reply.status == status
    assert message in reply.data["error"]
    assert server.merge() == before


def test_file_names_that_could_escape() -> None:
    refused = ["../x.json", "a/b.json", "a\\b.json", "c:x.json", ".json", "..", "x.txt", "x.JSON",
               "nul.json", "Com1.a.json", "LPT\u00b9.json", "a\x00.json", "a\ud800.json",
               "\x85.json", "a.json.id.1.json", "a" * 196 + ".json", 3, None]  # fmt: skip
    accepted = ["x.json", "Héro_1.json", "con_sole.json", "..json", "a b.json", "a" * 195 + ".json"]
    assert [name for name in refused if is_safe_filename(name)] == []
    assert [name for name in accepted if not is_safe_filename(name)] == []


@pytest.mark.parametrize("header", ["", "Bearer", "Bearer wrong-but-long-enough", "Basic x"])
@pytest.mark.parametrize(
    ("method", "path", "body"),
    [("POST", "/projects", {"target": "standalone", "projects": []}),
     ("POST", "/statistics", b"x" * 5_000_000), ("GET", "/history", None),
     ("GET", "/history/1", None)],
)  # fmt: skip
def test_nothing_without_a_token(
    server: Server, method: str, path: str, body: Any, header: str
) -> None:
    reply = server.ask(method, path, body, Authorization=header)
    assert (reply.status, reply.headers["WWW-Authenticate"][:6]) == (401, "Bearer")
    assert "token" in reply.data["error"]


@pytest.mark.parametrize(
    ("method", "path", "headers", "status"),
    [
        ("POST", "/projects", {"Content-type": "text/plain"}, 415),
        ("POST", "/projects", {"Content-type": ""}, 415),
        ("GET", "/projects", {}, 405),
        ("GET", "/nothing", {}, 404),
        ("GET", "/history/99999999999", {}, 404),
        ("GET", "/history/7777", {}, 404),
        ("GET", "/history/" + "9" * 5000, {}, 404),
    ],
)
def test_other_errors_are_json_too(
    server: Server, method: str, path: str, headers: Any, status: int
) -> None:
    reply = server.ask(method, path, b"{}" if method == "POST" else None, **headers)
    assert (reply.status, list(reply.data)) == (status, ["error"])


def test_open_addresses(server: Server) -> None:
    server.merge(document("page.json", 3, name="<script>alert(1)</script>\x07"))
    assert server.ask("GET", "/health", Authorization="").data["status"] == "ok"
    for path in ("/latest", "/validator/downloads/standalone/Linux/latest/"):
        assert server.ask("GET", path, Authorization="").headers["Kavel-Version"] == "3.1"
    page = server.ask("GET", "/", Authorization="")
    assert page.headers["Content-type"].startswith("text/html")
    assert "&lt;script&gt;alert(1)" in page.body.decode()
    assert "<script>" not in page.body.decode()


def test_records_count_once_for_each_user(server: Server) -> None:
    def take(user: str, *records: Any) -> Any:
        contents = {"version": 1, "checks": list(records), "exported": []}
        reply = server.ask("POST", "/statistics", {"username": user, "contents": contents})
        assert reply.status == 200
        return reply.data

    def run(name: str, when: float) -> Any:
        return {"name": name, "result": "fail", "timestamp": when, "speed": 0.5}

    first, second = run("Size (Task 01)", 1.25), run("Size", 2.25)
    assert take("ann", first) == {"received": 1, "new": 1}
    assert take("ann", first, second) == {"received": 2, "new": 1}
    assert take("bob", first) == {"received": 1, "new": 1}
    assert take("ann", first, first) == {"received": 2, "new": 1}  # two that are equal are two
    page = server.ask("GET", "/").body.decode()
    assert '>Size</td><td class="number">4</td>' in page
    wrong: list[Any] = [[], {"checks": {}}, {"checks": [1]}, {"checks": None}]
    for contents in wrong:
        reply = server.ask("POST", "/statistics", {"username": "x", "contents": contents})
        assert reply.status == 422


def test_writers_at_once(server: Server) -> None:
    """Each edit builds upon none: one of each project wins, and all others are kept."""

    def write(number: int) -> Any:
        edits = [document(f"race_{index}.json", 100 + number, {str(number): record(str(number))})
                 for index in range(5)]  # fmt: skip
        return server.merge(*edits)

    with ThreadPoolExecutor(8) as pool:
        list(pool.map(write, range(16)))
    left = server.merge()
    assert {left[f"race_{index}.json"]["edit_timestamp"] for index in range(5)} == {115}
    for index in range(5):
        listed = server.ask("GET", f"/history?file=race_{index}.json&lost=1").data
        assert sorted(item["edited"] for item in listed) == list(range(100, 115))


def test_a_body_that_ends_too_early_changes_nothing(server: Server) -> None:
    before = server.merge()
    host, port = server.url.partition("://")[2].split(":")
    context = ssl.create_default_context(cafile=str(server.authority))
    token = BEARER["Authorization"]
    lines = ["POST /projects HTTP/1.1", f"Host: {host}", "Content-type: application/json",
             f"Authorization: {token}", "Content-length: 500", "", ""]  # fmt: skip
    with (
        socket.create_connection((host, int(port)), timeout=30) as plain,
        context.wrap_socket(plain, server_hostname=host) as secure,
    ):
        secure.sendall("\r\n".join(lines).encode() + b'{"target": "standalone", "projects": []}')
    assert server.merge() == before
    assert server.ask("GET", "/health").status == 200


def test_a_restart_forgets_nothing(tmp_path: Path) -> None:
    with running(tmp_path) as first:
        first.merge(document("stays.json", 1))
    with running(tmp_path) as second:
        assert list(second.merge()) == ["stays.json"]


def too_short(folder: Path) -> list[str]:
    (folder / "tokens").write_text("# ours\nshort\n")
    return ["--insecure", "--token-file", str(folder / "tokens")]


def no_database(folder: Path) -> list[str]:
    (folder / "notes.sqlite").write_text("this is no database at all, but a text")
    return ["--insecure", "--database", str(folder / "notes.sqlite")]


@pytest.mark.parametrize(
    ("options", "message"),
    [
        (lambda _: [], "--certificate"),
        (lambda _: ["--insecure", "--host", "0.0.0.0"], "this machine only"),
        (lambda _: ["--insecure", "--certificate", "c.pem"], "exclude"),
        (lambda _: ["--certificate", "missing.pem"], "missing.pem"),
        (lambda _: ["--certificate", "c.pem", "--host", "0.0.0.0"], "tokens are needed"),
        (lambda _: ["--insecure", "--token-file", "missing"], "missing: cannot be read"),
        (too_short, "less than 16"),
        (no_database, "cannot be used"),
        (lambda _: ["--insecure", "--database", "mysql://u:secret@h/d"], "only SQLite"),
        (lambda _: ["--insecure", "--host", "203.0.113.7.nowhere.invalid"], "this machine only"),
    ],
)
def test_a_server_that_must_not_start(
    tmp_path: Path, capsys: Captured, options: Callable[[Path], list[str]], message: str
) -> None:
    assert main(["--home", str(tmp_path), "serve", "--port", "0", *options(tmp_path)]) == 2
    err = capsys.readouterr().err
    assert message in err
    assert "secret" not in err


def test_without_its_libraries(
    monkeypatch: pytest.MonkeyPatch, capsys: Captured, tmp_path: Path
) -> None:
    monkeypatch.setitem(sys.modules, "uvicorn", None)
    assert main(["--home", str(tmp_path), "serve", "--insecure"]) == 2
    assert "pip install 'kavel[server]'" in capsys.readouterr().err
