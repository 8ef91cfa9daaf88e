"""Making, changing, restoring and listing the records of the user's projects."""

from __future__ import annotations

import json
import re
import shlex
import time
from collections.abc import Iterator
from pathlib import Path
from types import SimpleNamespace
from typing import Any, Callable

import pytest
from conftest import project, rule
from test_document_core import DOCUMENT_CHANGES, RULE_CHANGES

import core
from kavel.cli import main
from kavel.commands import projects_editing
from kavel.document import check_file
from kavel.editing import documents
from kavel.editing.records import Entry, find_entry
from kavel.environment import StandaloneEnvironment
from kavel.errors import ProjectError
from kavel.gltf.operator import GltfOperator

Writer = Callable[[str, Any], str]
Capture = pytest.CaptureFixture[str]

RECORDS = {
    str(second): {
        "rules": [rule(name)],
        "pattern": [{"stamp": name, "children": []}],
        "author": "ann",
        "comment": f"about {name}",
    }
    for second, name in ((1700000000, "a"), (1700003600, "b"), (1700090000, "c"))
}


@pytest.fixture(autouse=True)
def utc() -> Iterator[None]:
    with pytest.MonkeyPatch.context() as patch:
        patch.setenv("TZ", "UTC")
        time.tzset()
        yield
    time.tzset()


@pytest.fixture
def home(write: Writer, tmp_path: Path) -> str:
    hero = project([], name="Hero", records=RECORDS, selected_record=1700003600)
    write("home/standalone/projects/hero.json", {**hero, "edit_timestamp": 5.0})
    for file, target in (("twin_1", "maya"), ("twin_2", "blender")):
        write(
            f"home/{target}/projects/{file}.json", project([rule("a")], name="Twin", target=target)
        )
    newer = project([rule("a")], name="Newer", version=4, invention={"x": 1})
    write("home/standalone/projects/newer.json", newer)
    write("home/standalone/projects/odd.json", project([rule("a", limits=[1, 2, 3])], name="Odd"))
    write("home/standalone/projects/torn.json", b"{")
    return str(tmp_path / "home")


@pytest.fixture
def run(home: str, capsys: Capture) -> Callable[..., tuple[int, str, str]]:
    """Runs `kavel projects ...` in the home: exit status, stdout and stderr."""

    def run(*arguments: str) -> tuple[int, str, str]:
        status = main(["--home", home, "projects", *arguments])
        return (status, *capsys.readouterr())

    return run


Run = Callable[..., tuple[int, str, str]]


def content(home: str, file: str = "hero.json", target: str = "standalone") -> Any:
    return json.loads(Path(home, target, "projects", file).read_text(encoding="utf-8"))


def made(out: str) -> Path:
    return Path(out.rpartition(": ")[2].strip())


def all_bytes(home: str) -> dict[str, bytes]:
    return {str(path): path.read_bytes() for path in Path(home).rglob("*") if path.is_file()}


def test_new_and_empty(run: Run, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr("getpass.getuser", lambda: "bob")
    status, out, _ = run("new", "Prop", "--target", "blender", "--comment", "first")
    assert status == 0 and out.startswith('made "Prop" for blender, empty: ')
    document = json.loads(made(out).read_text())
    (record,) = document["records"].values()
    assert (record["author"], record["comment"], record["rules"]) == ("bob", "first", [])
    assert (document["name"], document["target"], document["version"]) == ("Prop", "blender", 3)
    assert document["filename"] == made(out).name
    assert not Path(made(out).parents[1], "settings.json").exists()


@pytest.mark.parametrize("action", ["new", "clone"])
def test_a_project_of_another_has_its_current_record(action: str, run: Run, home: str) -> None:
    before = all_bytes(home)
    options = {"new": ["Copy", "--from", "Hero"], "clone": ["Hero", "Copy"]}[action]
    status, out, _ = run(action, *options, "--target", "maya")
    assert status == 0
    document = json.loads(made(out).read_text())
    assert list(document["records"]) == ["1700003600"]
    assert (document["name"], document["target"]) == ("Copy", "maya")
    assert document["records"]["1700003600"]["rules"][0]["name"] == "b"
    assert check_file(str(made(out))).problems == []
    assert {**all_bytes(home), **before} == all_bytes(home)


def test_saving_adds_the_content_of_a_file_as_the_current_record(
    run: Run, home: str, write: Writer, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr("getpass.getuser", lambda: "bob")
    edited = write("edited.json", project([rule("mine")], name="Other"))
    status, out, err = run("save", "Hero", "--from", str(edited), "--comment", "by hand")
    assert (status, err) == (0, "") and 'saved record 4 of "Hero", the current one' in out
    document = content(home)
    assert list(document["records"])[:3] == list(RECORDS)
    record = document["records"][str(document["selected_record"])]
    assert (record["author"], record["comment"]) == ("bob", "by hand")
    assert [entry["name"] for entry in record["rules"]] == ["mine"]
    assert document["name"] == "Hero" and document["edit_timestamp"] > time.time() - 60
    # In the same second there is no room for another one, and later the own file will do.
    before = all_bytes(home)
    monkeypatch.setattr("time.time", lambda: float(document["selected_record"]))
    status, _, err = run("save", "Hero", "--from", "Hero")
    assert status == 2 and "not saved" in err and all_bytes(home) == before
    monkeypatch.setattr("time.time", lambda: document["selected_record"] + 10.0)
    assert run("save", "Hero", "--from", "Hero")[0] == 0
    assert len(content(home)["records"]) == len(RECORDS) + 2


def test_rename(run: Run, home: str) -> None:
    status, out, err = run("rename", "Hero", " Heroine ")
    assert (status, err) == (0, "") and 'renamed "Hero" to "Heroine"' in out
    document = content(home)
    assert document["name"] == "Heroine" and document["edit_timestamp"] > time.time() - 60
    assert list(document["records"]) == list(RECORDS) and document["selected_record"] == 1700003600
    assert run("rename", "Heroine", "Heroine")[0] == 0  # its own name is not taken


def test_what_was_deleted_comes_back_with_the_command_that_is_told(run: Run, home: str) -> None:
    _, out, _ = run("delete", "Hero")
    assert content(home)["deleted"] is True
    assert "Hero" not in run("list")[1] and "Hero" in run("list", "--deleted")[1]
    status, _, err = run("rename", "Hero", "x")
    assert status == 2 and "kavel projects restore hero.json" in err
    command = shlex.split(out.rpartition("kavel projects ")[2])
    assert run(*command)[0] == 0
    document = content(home)
    assert document["deleted"] is False and document["selected_record"] == 1700003600


@pytest.mark.parametrize("deleted", [False, True])
def test_restoring_a_record_keeps_every_other(deleted: bool, run: Run, home: str) -> None:
    if deleted:
        run("delete", "Hero")
    before = content(home)["records"]
    status, out, _ = run("restore", "Hero", "oldest")
    assert status == 0 and 'record 1 of "Hero", 2023-11-14 22:13:20, is the current one' in out
    document = content(home)
    assert document["selected_record"] == 1700000000 and not document["deleted"]
    assert {key: record["comment"] for key, record in document["records"].items()} == {
        key: record["comment"] for key, record in before.items()
    }
    marks = [line.split()[:2] for line in run("history", "Hero")[1].splitlines()]
    assert [mark for mark in marks if "*" in mark] == [["1", "*"]]


def test_restoring_the_current_record_changes_nothing(run: Run, home: str) -> None:
    before = content(home)
    status, out, err = run("restore", "Hero", "2")
    assert (status, err) == (0, "") and 'record 2 of "Hero"' in out and "current already" in out
    assert content(home) == before


@pytest.mark.parametrize(
    ("arguments", "reason"),
    [
        (["rename", "nobody", "x"], '"nobody" is not the name of a project'),
        (["delete", "Twin"], "more than one project.*\n.*twin_2.json\n.*twin_1.json"),
        (["restore", "Hero"], "not deleted; which record"),
        (["restore", "Hero", "9"], "a number from 1 to 3"),
        (["restore", "Hero", "2023-11"], "more than one record:\n  1  2023-11-14 22:13:20\n  2 "),
        (["rename", "Newer", "x"], "made by a newer version .* 4, .* 3"),
        (["restore", "Newer", "1"], "made by a newer version"),
        (["history", "Newer"], "made by a newer version"),
        (["clone", "Newer", "x"], "made by a newer version"),
        (["delete", "Odd"], "odd.json.*record 1700000000"),
        (["history", "Odd"], "odd.json.*record 1700000000"),
        (["delete", "torn"], "torn.json: cannot be read"),
        (["history", "torn"], "torn.json: cannot be read: Expecting"),
        (["new", "Hero"], 'a project "Hero" for standalone already: .*hero.json'),
        (["clone", "twin_1", "Twin"], 'a project "Twin" for maya already'),
        (["rename", "twin_1", "  "], "needs a name"),
        (["new", "a\x1b[1mb"], "cannot be printed"),
        (["new", "x", "--from", "nowhere"], '"nowhere" is neither a file nor'),
        (["diff", "Twin"], "more than one project"),
        (["diff", "twin_1"], "no record is older than the current one"),
        (["lint", "nobody"], "neither a file nor"),
    ],
)
def test_a_refusal_says_why_and_changes_nothing(
    arguments: list[str], reason: str, run: Run, home: str
) -> None:
    before = all_bytes(home)
    status, out, err = run(*arguments)
    assert (status, out) == (2, "")
    assert re.search(reason, err), err
    assert all_bytes(home) == before


def test_no_document_ends_an_action_without_a_reason(
    run: Run, home: str, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(time, "sleep", lambda _: None)
    path = Path(home, "standalone", "projects", "hero.json")
    changes: list[dict[str, Any]] = [
        *(
            {"records": {"1": {}, "2": {"rules": [{**rule("a"), **change}]}}}
            for change in RULE_CHANGES
        ),
        *DOCUMENT_CHANGES,
        {"records": {"1e300": {}, "nan": {}, "-5": {}, "1.5": {}, "99999999999999": {}}},
        {
            "records": {
                "1": {"rules": [rule("a", checklist={"k": {"parameters": [1, {"state": 5}]}})]}
            }
        },
        {
            "records": {
                "1": {"author": "\ud800\n", "export": {"options": {"a": [{"b": None}]}}},
                "2": {},
            }
        },
    ]
    actions = ["diff hero oldest newest", "show hero --record oldest", "rename hero Other"]
    for change in changes:
        for action in actions:
            path.write_text(json.dumps({**project([], name="Hero"), **change}))
            status, _, err = run(*action.split())
            assert status in (0, 1) or (status == 2 and err), (change, action)


def test_files_elsewhere_are_only_looked_at(run: Run, home: str, write: Writer) -> None:
    path = write("elsewhere.json", content(home))
    before = Path(path).read_bytes()
    for action in (["delete", path], ["rename", path, "x"], ["restore", path, "1"]):
        status, _, err = run(*action)
        assert status == 2 and f"kavel projects new NAME --from {path}" in err
    assert run("history", path)[0] == 0 and run("diff", path)[0] == 1
    assert Path(path).read_bytes() == before
    assert run("delete", str(Path(home, "standalone", "projects", "hero.json")))[0] == 0


def test_what_another_editor_saved_since_is_kept(
    run: Run, home: str, monkeypatch: pytest.MonkeyPatch
) -> None:
    path = Path(home, "standalone", "projects", "hero.json")
    lookup = projects_editing.find_own_head

    def look_up(*arguments: Any, **options: Any) -> Any:
        project_file = lookup(*arguments, **options)
        document = content(home)
        document["records"]["1700100000"] = {"comment": "meanwhile"}
        path.write_text(json.dumps(document))
        return project_file

    monkeypatch.setattr(projects_editing, "find_own_head", look_up)
    assert run("restore", "Hero", "1")[0] == 0
    assert content(home)["records"]["1700100000"]["comment"] == "meanwhile"


def test_a_file_that_others_edit(run: Run, home: str, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(documents, "ACCESS_TIMEOUT", 0.0)
    lock = Path(home, "standalone", "projects", "hero.json.lock")
    lock.touch()
    before = all_bytes(home)
    status, out, err = run("rename", "Hero", "x")
    assert (status, out) == (2, "")
    assert "waiting for other editors of" in err and "other programs are editing it" in err
    assert all_bytes(home) == before
    assert run("history", "Hero")[0] == 0  # looking needs no turn


def test_an_interrupt_while_waiting_leaves_no_trace(
    run: Run, home: str, monkeypatch: pytest.MonkeyPatch
) -> None:
    def interrupt(_: float) -> None:
        raise KeyboardInterrupt

    before = all_bytes(home)
    monkeypatch.setattr(time, "sleep", interrupt)
    assert run("delete", "Hero")[0] == 130
    assert all_bytes(home) == before


def test_what_the_core_would_drop_is_kept_aside(run: Run, home: str) -> None:
    path = Path(home, "standalone", "projects", "hero.json")
    document = content(home)
    document["note"] = "by hand"
    document["records"]["1700003600"]["rules"][0]["remark"] = 1
    path.write_text(json.dumps(document))
    before = path.read_bytes()
    status, _, err = run("rename", "Hero", "x")
    assert status == 0 and "(note, records.1700003600.rules[0].remark)" in err
    (copy,) = Path(path.parent, ".corrupted").iterdir()
    assert copy.read_bytes() == before and str(copy) in err
    assert "note" not in content(home)


def test_history(run: Run) -> None:
    _, out, err = run("history", "Hero")
    assert [line.split(maxsplit=2) for line in out.splitlines()] == [
        ["3", "2023-11-15", "23:13:20  ann  about c"],
        ["2", "*", "2023-11-14 23:13:20  ann  about b"],
        ["1", "2023-11-14", "22:13:20  ann  about a"],
    ]
    assert err == '3 records of "Hero"\n'
    report = json.loads(run("history", "Hero", "--json", "-")[1])
    assert report["schema"] == "kavel.history/1"
    assert report["records"][1] == {
        "number": 2, "timestamp": 1700003600, "author": "ann", "comment": "about b",
        "current": True,
    }  # fmt: skip


def test_a_record_can_be_shown(run: Run) -> None:
    assert "  b  b$" in run("show", "Hero")[1]
    _, out, _ = run("show", "Hero", "--record", "newest")
    assert "record 1700090000" in out and "  c  c$" in out


def entry(number: int, timestamp: int, current: bool = False) -> Entry:
    return Entry(number, timestamp, "", "", current, SimpleNamespace())


@pytest.mark.parametrize(
    ("text", "number"),
    [
        ("current", 3), ("previous", 2), ("oldest", 1), ("newest", 4),
        ("2", None), ("@2", 1), ("3", 3), ("1700003600", 3), ("@1700003600", 3),
        ("2023-11-14 22", 2), ("2023-11-14T23:13:20", 3), ("2023-11-14", None), ("2023", None),
        ("9", None), ("@9", None), ("-1", None), ("", None), ("٣", None), ("newer", None),
    ],
)  # fmt: skip
def test_words_for_records(text: str, number: int | None) -> None:
    # The second 2 is record 1, so "2" alone could mean either.
    entries = [entry(1, 2), entry(2, 1700000000), entry(3, 1700003600, True), entry(4, 10**15)]
    if number is None:
        with pytest.raises(ProjectError):
            find_entry(entries, text)
    else:
        assert find_entry(entries, text).number == number


@pytest.mark.parametrize(
    ("fields", "options", "status", "summary"),
    [
        ({}, [], 0, "0 errors, 0 warnings"),
        ({"note": 1}, [], 0, "0 errors, 1 warning"),
        ({"note": 1}, ["--strict"], 1, "0 errors, 1 warning"),
        ({"name": 5, "note": 1}, [], 1, "1 error, 1 warning"),
    ],
)
def test_lint(
    fields: dict[str, Any], options: list[str], status: int, summary: str, run: Run, write: Writer
) -> None:
    path = write("p.json", project([rule("a")], **fields))
    found, out, err = run("lint", path, *options)
    assert (found, err) == (status, "") and out.endswith(f"{path}: {summary}\n")
    report = json.loads(run("lint", path, *options, "--json", "-")[1])
    assert len(report["problems"]) == len(fields)


def test_a_project_stays_readable_for_the_core(run: Run, home: str) -> None:
    """After every action the core finds the project as it was meant."""
    run("restore", "Hero", "newest")
    run("rename", "Hero", "Heroine")
    api = core.Api(GltfOperator(), StandaloneEnvironment(home))
    document = api.project.collection.get("hero.json")
    assert (document.name, document.history.pointer) == ("Heroine", 1700090000)
    assert document.compatible and len(list(document)) == 3
    api.shutdown()
