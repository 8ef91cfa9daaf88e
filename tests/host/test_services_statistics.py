"""The store of usage records: collecting, sharing one file, exchanging with a server."""

from __future__ import annotations

import json
import resource
import subprocess
import sys
import textwrap
import time
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import pytest
from project_tools import finish_log

import core

Type = core._Statistics.Type
EMPTY: dict[str, Any] = {
    "validate": [], "checks": [], "exported": [], "feedback_sent": [], "version": 1,
}  # fmt: skip


def store(path: Path) -> Any:
    return core._Statistics(SimpleNamespace(get_statistics_file=lambda: str(path)))


def test_records_have_their_keys_in_order() -> None:
    before = time.time()
    records = [
        (Type.Validate(1.5, "Hero"), "validate", ["project", "timestamp", "speed"]),
        (Type.Checks("UVs", "fail", 0.1), "checks", ["name", "result", "timestamp", "speed"]),
        (
            Type.Exported("fbx", 2, 1, 0.5),
            "exported",
            ["format", "count", "skipped", "timestamp", "speed"],
        ),
        (Type.FeedbackSent(), "feedback_sent", ["timestamp"]),
        (Type._Record(), "", ["timestamp"]),
    ]
    for record, key, fields in records:
        assert isinstance(record, Type._Record)
        assert (record.key, list(record.data)) == (key, fields)
        assert before <= record.timestamp <= time.time()


@pytest.mark.parametrize(
    ("text", "kept"),
    [
        (None, False),
        ("{", False),
        ("[]", False),
        ('{"validate": [1]}', False),
        ('{"version": 2, "validate": [1]}', False),
        ('{"version": 1, "validate": [{"timestamp": 1.0}], "checks": 5}', True),
    ],
)
def test_unusable_files_count_as_empty(tmp_path: Path, text: str | None, kept: bool) -> None:
    path = tmp_path / "statistics.json"
    if text is not None:
        path.write_text(text, encoding="utf-8")
    data = store(path)._data
    assert data == ({**EMPTY, "validate": [{"timestamp": 1.0}]} if kept else EMPTY)
    if text == "{":
        assert not path.exists()
        assert next((tmp_path / ".corrupted").iterdir()).read_text(encoding="utf-8") == "{"
    elif text is not None:
        json.loads(path.read_text(encoding="utf-8"))


def checks(*times: float) -> list[dict[str, Any]]:
    return [{"name": "UVs", "result": "pass", "timestamp": time, "speed": 0.5} for time in times]


def record(time: float) -> Any:
    return SimpleNamespace(key="checks", data=checks(time)[0])


def content(path: Path) -> Any:
    return json.loads(path.read_text(encoding="utf-8"))


def test_added_records_are_bounded_and_typed(
    tmp_path: Path, caplog: pytest.LogCaptureFixture
) -> None:
    made = store(tmp_path / "statistics.json")
    assert made.maximum_records == 100_000
    for number in range(100_003):
        made.add(record(float(number)))
    kept = made._data["checks"]
    assert (len(kept), kept[0], kept[-1]) == (100_000, *checks(3.0, 100_002.0))

    class Renamed(Type.Checks):
        @property
        def data(self) -> Any:
            return {"odd": [1, None, "\ud800"]}

    for added in (Type._Record(), object(), SimpleNamespace(key="checks", data={1})):
        made.add(added)
    made.add(Renamed("UVs", "pass", 1.0))
    made.add(Type.Validate(2.0, "Hero"))
    finish_log()
    # The three misfits are logged, not raised, and nothing of them is kept.
    assert len(caplog.records) == 3
    assert made._data["checks"][-1] == {"odd": [1, None, "\ud800"]}
    assert [entry["project"] for entry in made._data["validate"]] == ["Hero"]


def test_two_stores_of_one_file_lose_and_double_nothing(tmp_path: Path) -> None:
    path = tmp_path / "statistics.json"
    path.write_text(json.dumps({"version": 1, "checks": checks(1.0, 1.0), "note": ["\u0416"]}))
    one, other = store(path), store(path)
    one.add(record(3.0))
    other.add(record(2.0))
    for _ in range(2):
        one.write()
        other.write()
    expected = checks(1.0, 1.0, 2.0, 3.0)
    # In order of time, whoever came first; what else stands in the file stays.
    assert content(path)["checks"] == other._data["checks"] == expected
    assert content(path)["note"] == ["\u0416"]
    assert path.read_text(encoding="utf-8").startswith('{\n  "version": 1,\n  "validate": [],')

    # The other one's records survive our clearing, and what we cleared does not come back.
    other.add(record(4.0))
    one.write()
    one._clear()
    one.add(record(5.0))
    one.write()
    other.write()
    assert content(path)["checks"] == other._data["checks"] == checks(4.0, 5.0)


PROCESS = """
    import sys
    from types import SimpleNamespace
    sys.path[:] = {path!r}
    import core
    store = core._Statistics(SimpleNamespace(get_statistics_file=lambda: {file!r}))
    for turn in range(3):
        for number in range(50):
            store.add(core._Statistics.Type.Checks("{name}", str(turn * 50 + number), 0.1))
        store.write()
"""


def test_processes_writing_at_once_lose_and_double_nothing(tmp_path: Path) -> None:
    path = tmp_path / "statistics.json"
    runs = []
    for name in "ABC":
        script = PROCESS.format(path=sys.path, file=str(path), name=name)
        command = [sys.executable, "-c", textwrap.dedent(script)]
        runs.append(subprocess.Popen(command, stderr=subprocess.PIPE))
    assert [(run.communicate(timeout=60)[1], run.returncode) for run in runs] == [(b"", 0)] * 3
    found = sorted((entry["name"], int(entry["result"])) for entry in content(path)["checks"])
    assert found == [(name, number) for name in "ABC" for number in range(150)]


@pytest.mark.parametrize(
    ("old", "replaced", "message"),
    [
        (None, True, ""),
        ("[1]", True, ""),
        ('{"version": 0, "checks": [1]}', True, ""),
        ('{"checks": [1]}', True, ""),
        ('{"version": 2, "checks": [1]}', False, "Incompatible Statistics Version - "),
        ("{", True, "JSONDecodeError: "),
    ],
)
def test_files_that_changed_meanwhile(
    tmp_path: Path,
    caplog: pytest.LogCaptureFixture,
    old: str | None,
    replaced: bool,
    message: str,
) -> None:
    path = tmp_path / "statistics.json"
    made = store(path)
    made.add(record(1.0))
    if old is not None:
        path.write_text(old, encoding="utf-8")
    made.write()
    assert content(path) == ({**EMPTY, "checks": checks(1.0)} if replaced else json.loads(str(old)))
    finish_log()
    assert [entry.getMessage()[: len(message)] for entry in caplog.records] == [message] * bool(
        message
    )
    if old == "{":
        assert next((tmp_path / ".corrupted").iterdir()).read_text(encoding="utf-8") == "{"


def test_failed_writing_keeps_the_records(tmp_path: Path, caplog: pytest.LogCaptureFixture) -> None:
    made = store(tmp_path / "missing" / "statistics.json")
    made.add(record(1.0))
    made.write()
    assert made._data["checks"] == checks(1.0)
    assert not made._mutex_edit.locked()
    finish_log()
    assert "FileNotFoundError: " in caplog.text
    (tmp_path / "missing").mkdir()
    made.maximum_records = 2
    made.add(record(3.0))
    made.add(record(2.0))
    made.write()
    assert content(tmp_path / "missing" / "statistics.json")["checks"] == checks(2.0, 3.0)


def test_merging_by_hand_edits_the_map_in_place(tmp_path: Path) -> None:
    made = store(tmp_path / "statistics.json")
    made.add(record(2.0))
    edited = {"version": 1, "checks": checks(1.0)}
    made._extend(edited)
    assert edited == {**EMPTY, "checks": checks(1.0, 2.0)}
    assert made._data["checks"] == checks(2.0)


def test_requests_carry_user_and_records(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.delenv("USERNAME", raising=False)
    made = store(tmp_path / "statistics.json")
    assert made.create_http_request().username == ""
    monkeypatch.setenv("USERNAME", "Anna Ж")
    made.add(record(1.0))
    made.add(SimpleNamespace(key="validate", data={"project": "\ud800", "timestamp": 1}))
    request = made.create_http_request()
    made.add(record(2.0))
    assert request.headers == {"Content-type": "application/json"}
    assert (request.username, request.contents["checks"]) == ("Anna Ж", checks(1.0))
    assert json.loads(bytes(request)) == {
        "username": request.username,
        "contents": request.contents,
    }
    assert "Anna Ж" in str(request)
    given = core._Statistics.HttpRequest({"a": core._Str("b")}, "me")
    assert json.loads(str(given)) == {"username": "me", "contents": {"a": "b"}}


def broken_response() -> Any:
    class Broken:
        @property
        def status(self) -> int:
            raise OSError("closed")

    return Broken()


@pytest.mark.parametrize(
    ("response", "accepted"),
    [
        (SimpleNamespace(status=200), True),
        (SimpleNamespace(status=204, code=200), False),
        (SimpleNamespace(getcode=lambda: 200), True),
        (SimpleNamespace(code=200), True),
        (SimpleNamespace(status=None, code=500), False),
        (object(), False),
        (broken_response(), False),
    ],
)
def test_only_accepted_responses_clear(tmp_path: Path, response: Any, accepted: bool) -> None:
    path = tmp_path / "statistics.json"
    made = store(path)
    made.add(record(1.0))
    made.write()
    made.create_http_request()
    # Added after the request was built: not sent yet.
    made.add(record(2.0))
    wrapped = core._Statistics.HttpResponse(response)
    assert wrapped.accepted is accepted
    made.accept_http_response(wrapped, False)
    assert made._data["checks"] == checks(1.0, 2.0)
    for _ in range(2):
        made.accept_http_response(response, True)
    assert made._data["checks"] == (checks(2.0) if accepted else checks(1.0, 2.0))
    assert content(path)["checks"] == (checks(2.0) if accepted else checks(1.0))


def test_answers_remove_only_what_every_open_request_carried(tmp_path: Path) -> None:
    made = store(tmp_path / "statistics.json")
    yes, no = SimpleNamespace(status=200), SimpleNamespace(status=500)
    # Requests, answers and added records by time; what is left in the end.
    cases: list[tuple[list[Any], list[float]]] = [
        ([1.0, "request", 2.0, "request", 3.0, yes], [2.0, 3.0]),
        ([1.0, "request", 2.0, "request", 3.0, yes, yes], [2.0, 3.0]),
        ([1.0, "request", yes, 2.0, yes], [2.0]),
        ([1.0, "request", no, 2.0, "request", 3.0, yes], [3.0]),
        ([1.0, "request", 2.0, "request", no, yes], [1.0, 2.0]),
    ]
    for steps, left in cases:
        made._clear()
        for step in steps:
            if step == "request":
                made.create_http_request()
            elif isinstance(step, float):
                made.add(record(step))
            else:
                made.accept_http_response(step, True)
        assert made._data["checks"] == checks(*left)
        # Ends what a case left open.
        made.accept_http_response(no, True)


def test_names_of_records_that_are_gone_take_no_room(tmp_path: Path) -> None:
    made = store(tmp_path / "statistics.json")
    made.maximum_records = 50
    made.add(Type.Checks("sent", "pass", 0.5))
    made.create_http_request()
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    for number in range(50_000):
        made.add(Type.Checks(f"{number:_>4000}", "pass", 0.5))
        if number % 20_000 == 0:
            made.write()
    # 200 MB of names went by.
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 60_000
    kept = [f"{number:_>4000}" for number in range(49_950, 50_000)]
    assert [entry["name"] for entry in made._data["checks"]] == kept
    made.accept_http_response(SimpleNamespace(status=200), True)
    assert [entry["name"] for entry in content(tmp_path / "statistics.json")["checks"]] == kept


NESTED = """
    import sys
    from types import SimpleNamespace
    sys.path[:] = {path!r}
    import core
    store = core._Statistics(SimpleNamespace(get_statistics_file=lambda: {file!r}))

    class Key:
        def __init__(self, text, action):
            self.hash, self.action = hash(text), action
        def __hash__(self):
            return self.hash
        def __eq__(self, other):
            self.action()
            return False

    def add():
        store.add(core._Statistics.Type.Checks("nested", "pass", 0.5))

    odd = {{Key("name", add): 1, "result": 2, "timestamp": 3, "speed": 4}}
    store.add(SimpleNamespace(key="checks", data=odd))
    assert [entry.get("name") for entry in store._data["checks"]].count("nested") >= 1
    count = len(store._data["checks"])
    store._extend({{Key("version", add): 1}})
    assert len(store._data["checks"]) > count
    for action in (store.write, store._clear):
        store._extend({{Key("version", action): 1}})
    store.write()
    assert not store._mutex_edit.locked() and len(store._data["checks"]) > count
"""


def test_records_that_are_added_within_a_call_follow_it(tmp_path: Path) -> None:
    path = tmp_path / "statistics.json"
    script = textwrap.dedent(NESTED.format(path=sys.path, file=str(path)))
    # In a process of its own: a store that waits for itself would wait for ever.
    command = [sys.executable, "-c", script]
    run = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert run.returncode == 0, run.stderr
    assert content(path)["checks"]


def test_responses_without_a_request_clear_everything(tmp_path: Path) -> None:
    made = store(tmp_path / "statistics.json")
    made.add(record(1.0))
    made.accept_http_response(SimpleNamespace(status=200), True)
    assert made._data == EMPTY
