"""JSON files and the queue in which processes take turns at them."""

from __future__ import annotations

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest

import core

Queue = core._File.Json.AccessQueue
LONG = os.environ.get("KAVEL_LONG_TESTS") == "1"


@pytest.fixture
def data_file(tmp_path: Path) -> Path:
    path = tmp_path / "data.json"
    path.write_text('{"old": [1]}', encoding="utf-8")
    return path


@pytest.fixture
def sleeps(monkeypatch: pytest.MonkeyPatch) -> list[float]:
    """The pauses that were asked for; none of them is made."""
    pauses: list[float] = []
    monkeypatch.setattr(time, "sleep", pauses.append)
    return pauses


@pytest.fixture
def open_folder() -> Iterator[Path]:
    """A folder that every user can reach, unlike the ones that pytest makes."""
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        yield Path(folder)


def markers(path: Path) -> list[str]:
    return sorted(entry.name for entry in path.parent.iterdir() if entry.name != path.name)


def start(script: str, *arguments: object) -> subprocess.Popen[str]:
    """Another process with `core` loaded, which can be talked to line by line."""
    environment = {**os.environ, "PYTHONPATH": str(Path(core.__file__).parent)}
    return subprocess.Popen(
        [sys.executable, "-c", script, *map(str, arguments)],
        env=environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )


def output_of(script: str, *arguments: object) -> str:
    process = start(script, *arguments)
    out, _ = process.communicate(timeout=60)
    assert process.returncode == 0
    return out.strip()


def age(path: Path, seconds: float) -> None:
    moment = time.time() - seconds
    os.utime(path, (moment, moment), follow_symlinks=False)


def test_a_turn_reads_edits_and_leaves_nothing_behind(data_file: Path, sleeps: list[float]) -> None:
    queue = Queue(data_file, write=True)
    with queue as data:
        data["имя"] = core._str("ж")
        assert markers(data_file) == sorted(
            [Path(queue._path_id).name, Path(queue._path_lock).name]
        )
        assert queue._get_editors_sequence() == [queue._path_id]
    assert sleeps == [0.1]
    assert data_file.read_text(encoding="utf-8") == ('{\n  "old": [\n    1\n  ],\n  "имя": "ж"\n}')
    with Queue(str(data_file)) as data:
        data.clear()
    assert core._File.Json.read(data_file) == {"old": [1], "имя": "ж"}
    missing = data_file.with_name("missing.json")

    def fail_inside() -> None:
        with Queue(missing, write=True) as data:
            data["new"] = True
            raise RuntimeError("boom")

    with pytest.raises(RuntimeError, match="boom"):
        fail_inside()
    assert json.loads(missing.read_text()) == {"new": True}
    missing.unlink()
    assert markers(data_file) == []


@pytest.mark.parametrize(
    "name", ["a+b.json", "proj[1].json", "c++.json", "a(b.json", "ж\udcff.json"]
)
def test_every_file_name_recognises_its_own_tickets(
    name: str, tmp_path: Path, sleeps: list[float]
) -> None:
    with Queue(tmp_path / name, write=True) as data:
        data["x"] = 1
    assert [entry.name for entry in tmp_path.iterdir()] == [name]


def test_tickets_take_turns_in_the_order_of_their_names(
    data_file: Path, sleeps: list[float]
) -> None:
    names = ["data.json.id.7", "dataXjson.id.10", "data.json.id.10 or so", "data.json.id.9"]
    for name in [*names, "data.json.id.", "data.json.id.x", "data.jsonl.id.1", "my data.json.id.1"]:
        data_file.with_name(name).touch()
    age(data_file.with_name("data.json.id.9"), 36)
    queue = Queue(data_file)
    expected = [str(data_file.with_name(name)) for name in sorted(names[:3])]
    assert queue._get_editors_sequence() == expected
    assert not data_file.with_name("data.json.id.9").exists()
    # Others still wait, so the lock stays when one leaves.
    lock = Path(queue._path_lock)
    lock.touch()
    queue._release_access()
    assert lock.exists()
    for path in expected:
        Path(path).unlink()
    queue._release_access()
    assert not lock.exists()


def test_waiting_ends(data_file: Path, sleeps: list[float]) -> None:
    lock = data_file.with_name("data.json.lock")
    lock.touch()
    with pytest.raises(core.Error.AccessQueueTimeout, match="Await Time"):
        Queue(data_file).__enter__()
    assert set(sleeps) == {0.5}
    assert sum(sleeps) == pytest.approx(30)
    assert markers(data_file) == [lock.name]

    age(lock, 36)
    with Queue(data_file) as data:
        assert data == {"old": [1]}
    assert markers(data_file) == []

    data_file.with_name("data.json.id.0").touch()
    sleeps.clear()
    late = Queue(data_file, access_timeout=2.0)
    with pytest.raises(core.Error.AccessQueueTimeout):
        late.__enter__()
    assert sum(sleeps) == pytest.approx(2.1, abs=0.11)
    assert Path(late._path_id).exists()

    with pytest.raises(FileNotFoundError):
        Queue(data_file.parent / "none" / "data.json").__enter__()


@pytest.mark.parametrize(
    ("content", "expected"),
    [
        (b'\xef\xbb\xbf{"bom": 1}', {"bom": 1}),
        (b"[NaN, 1e400, 12345678901234567890]", None),
        (b'"\\ud800"', "\ud800"),
        (b"{", ValueError),
        (b"", ValueError),
        (b'"\xff"', ValueError),
        (b'"\xed\xa0\x80"', ValueError),
        (b"[" * 200_000, RecursionError),
    ],
)
def test_contents(content: bytes, expected: Any, data_file: Path, sleeps: list[float]) -> None:
    data_file.write_bytes(content)
    if isinstance(expected, type):
        with pytest.raises(expected):
            Queue(data_file, write=True).__enter__()
    else:
        with Queue(data_file) as data:
            assert data == expected if expected is not None else data[2] == 12345678901234567890
    assert data_file.read_bytes() == content
    assert markers(data_file) == []


def test_what_is_written_reads_back(data_file: Path, sleeps: list[float]) -> None:
    unified = core._str("text")
    nested: dict[str, Any] = {"map": {"list": [unified, ["\ud800é", unified]]}, "n": None}
    core._File.Json.write(data_file, nested)
    assert core._File.Json.read(data_file) == nested
    assert type(nested["map"]["list"][1][1]) is str
    assert "é" in data_file.read_text(encoding="utf-8")
    before = data_file.read_bytes()
    mode = 0o640
    data_file.chmod(mode)
    with pytest.raises(TypeError), Queue(data_file, write=True) as data:
        data["no JSON"] = object()
    assert (data_file.read_bytes(), markers(data_file)) == (before, [])
    with Queue(data_file, write=True) as data:
        data["n"] = 1
    assert data_file.stat().st_mode & 0o777 == mode


@pytest.mark.skipif(not hasattr(os, "O_NOFOLLOW"), reason="links are followed here")
def test_planted_markers_are_not_followed(data_file: Path, sleeps: list[float]) -> None:
    victim = data_file.with_name("victim")
    victim.write_text("precious")
    lock = data_file.with_name("data.json.lock")
    for link in (True, False):
        if link:
            lock.symlink_to(victim)
        else:
            lock.mkdir()
        with pytest.raises(OSError, match=r"data\.json\.lock"):
            Queue(data_file).__enter__()
        assert markers(data_file) == [lock.name, victim.name]
        if link:
            lock.unlink()
        else:
            lock.rmdir()
    assert victim.read_text() == "precious"
    # A data file may be a link: it stays one, and its target is replaced.
    linked = data_file.with_name("link.json")
    linked.symlink_to(data_file)
    with Queue(linked, write=True) as data:
        data["through"] = "link"
    assert linked.is_symlink()
    assert json.loads(data_file.read_text())["through"] == "link"


def test_unusable_files_are_put_aside_under_free_names(
    data_file: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(time, "time", lambda: 12.6)
    for name, timed in [("scene.json", "scene-13.json"), ("a", "a-13"), (".json", ".json-13")]:
        assert core._File.timed_filename(name) == timed
    core._File.move_corrupted(data_file)
    data_file.write_text("second")
    core._File.move_corrupted(str(data_file))
    core._File.move_corrupted(data_file)
    aside = data_file.parent / ".corrupted"
    assert sorted(entry.name for entry in aside.iterdir()) == ["data-13.json", "data-14.json"]
    text = data_file.with_name("notes.txt")
    text.write_bytes("é\r\n".encode())
    assert core._File.Text.read(text) == "é\n"


HOLD_TURN = """
import sys, core
with core._File.Json.AccessQueue(sys.argv[1], write=True) as data:
    data["held"] = True
    print("inside", flush=True)
    sys.stdin.readline()
"""


def test_a_turn_of_another_process_is_waited_for(data_file: Path) -> None:
    holder = start(HOLD_TURN, data_file)
    assert holder.stdout is not None
    assert holder.stdout.readline() == "inside\n"
    with pytest.raises(core.Error.AccessQueueTimeout):
        Queue(data_file, access_timeout=0.1).__enter__()
    holder.communicate("leave\n", timeout=60)
    with Queue(data_file) as data:
        assert data == {"old": [1], "held": True}


def test_a_killed_writer_blocks_only_until_its_markers_are_old(data_file: Path) -> None:
    victim = start(HOLD_TURN, data_file)
    assert victim.stdout is not None
    assert victim.stdout.readline() == "inside\n"
    victim.send_signal(signal.SIGKILL)
    victim.communicate(timeout=60)
    left = markers(data_file)
    assert len(left) == 2
    for name in left:
        age(data_file.with_name(name), 36)
    with Queue(data_file, access_timeout=1.0) as data:
        assert data == {"old": [1]}
    assert markers(data_file) == []


FILL_DISK = """
import resource, signal, sys, core
resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
try:
    with core._File.Json.AccessQueue(sys.argv[1], write=True) as data:
        data["big"] = "x" * 100_000
except OSError as error:
    print(type(error).__name__, error.errno)
"""


def test_a_full_disk_keeps_the_old_content(data_file: Path) -> None:
    before = data_file.read_bytes()
    assert output_of(FILL_DISK, data_file) == "OSError 27"
    assert (data_file.read_bytes(), markers(data_file)) == (before, [])


NO_PERMISSION = """
import os, sys, core
# Loaded before the privileges are dropped: the other user may not reach them.
import encodings.idna, json, logging, random, shutil, traceback, uuid
if os.getuid() == 0:
    os.setgroups([])
    os.setgid(65534)
    os.setuid(65534)
for write in (False, True):
    try:
        core._File.Json.AccessQueue(sys.argv[1], write).__enter__()
    except PermissionError as error:
        print("refused", end=" ")
try:
    core._File.Json.write(sys.argv[1], {"written": "in place"})
except PermissionError:
    print("refused", end=" ")
core._File.move_corrupted(sys.argv[1])
"""


PROTECTED = """
import os, sys, core
import encodings.idna, json, logging, random, shutil, traceback, uuid
if os.getuid() == 0:
    os.setgroups([])
    os.setgid(65534)
    os.setuid(65534)
try:
    core._File.Json.write(sys.argv[1], {"written": "around the protection"})
except PermissionError as error:
    print("refused", end="")
"""


def test_a_protected_file_in_an_open_folder(open_folder: Path) -> None:
    path = open_folder / "data.json"
    path.write_text("{}")
    path.chmod(0o444)
    open_folder.chmod(0o777)
    assert output_of(PROTECTED, path) == "refused"
    assert (path.read_text(), list(open_folder.iterdir())) == ("{}", [path])


def test_a_name_that_leaves_no_room_for_a_mark(tmp_path: Path) -> None:
    path = tmp_path / ("n" * 245 + ".json")
    core._File.Json.write(str(path), {"a": 1})
    core._File.Json.write(str(path), {"a": 2})
    assert json.loads(path.read_text()) == {"a": 2}
    assert list(tmp_path.iterdir()) == [path]


@pytest.mark.parametrize("writable_file", [False, True])
def test_a_folder_without_permission(open_folder: Path, writable_file: bool) -> None:
    path = open_folder / "data.json"
    path.write_text("{}")
    path.chmod(0o666 if writable_file else 0o444)
    open_folder.chmod(0o555)
    try:
        out = output_of(NO_PERMISSION, path)
        assert out == ("refused refused" if writable_file else "refused refused refused")
        assert json.loads(path.read_text()) == ({"written": "in place"} if writable_file else {})
        assert markers(path) == []
    finally:
        open_folder.chmod(0o755)


COUNT = """
import sys, time, core
path, name, end = sys.argv[1], sys.argv[2], time.time() + float(sys.argv[3])
done = 0
while time.time() < end:
    try:
        with core._File.Json.AccessQueue(path, write=True) as data:
            data["sum"] = data.get("sum", 0) + 1
            data[name] = data.get(name, 0) + 1
        done += 1
    except core.Error.AccessQueueTimeout:
        pass
print(done)
"""


def test_no_turn_of_eight_processes_is_lost(tmp_path: Path) -> None:
    path = tmp_path / "counts.json"
    names = [f"process {index}" for index in range(8)]
    processes = [start(COUNT, path, name, 60 if LONG else 5) for name in names]
    outputs = [process.communicate(timeout=180)[0] for process in processes]
    done = {name: int(out) for name, out in zip(names, outputs)}
    assert sum(done.values()) > 8
    counts = json.loads(path.read_text())
    assert counts.pop("sum") == sum(done.values())
    assert counts == {name: count for name, count in done.items() if count}
    assert markers(path) == []
