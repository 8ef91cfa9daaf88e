"""`kavel scan` and `kavel demo` from the command line: trees, verdicts, exit statuses, streams."""

from __future__ import annotations

import json
import os
import re
import subprocess
import sys
import types
from pathlib import Path
from typing import Any, Callable

import pytest
from conftest import gltf, mesh, node, project, rule

from kavel.cli import main
from kavel.gltf.operator import GltfOperator
from kavel.session import Session

Writer = Callable[[str, Any], str]
Captured = pytest.CaptureFixture[str]

RULES = [
    rule("Asset", r"<asset:[A-Z][a-z]+>$", ["transform"]),
    rule("Body", r"<asset>_Body$", ["mesh"]),
    rule("Socket", r"socket_\d$", ["locator"], [0, 2]),
]
SHAPE: dict[str, Any] = {"Asset": {"Body": {}, "Socket": {}}}
PROJECT = project(RULES, SHAPE, name="Assets", target="maya")


def asset(name: str, *more: Any) -> Any:
    return node(name, mesh(f"{name}_Body"), *more)


@pytest.fixture
def good(write: Writer) -> str:
    return write("good.glb", gltf(asset("Chair", node("socket_1")), asset("Table")))


@pytest.fixture
def bad(write: Writer) -> str:
    return write("bad.glb", gltf(node("chair", mesh("Table_Body"), mesh("stray"))))


@pytest.fixture
def file(write: Writer) -> str:
    return write("assets.json", PROJECT)


def state(folder: Path) -> dict[str, tuple[bytes, int]]:
    files = (path for path in folder.rglob("*") if path.is_file())
    return {str(path): (path.read_bytes(), path.stat().st_mtime_ns) for path in files}


def test_a_matching_scene(good: str, file: str, capsys: Captured) -> None:
    assert main(["scan", good, "--project", file]) == 0
    out, err = capsys.readouterr()
    assert [line.split() for line in out.splitlines()] == [
        ["Chair", "Asset", "transform"],
        ["├─", "Chair_Body", "Body", "mesh"],
        ["└─", "socket_1", "Socket", "locator"],
        ["Table", "Asset", "transform"],
        ["└─", "Table_Body", "Body", "mesh"],
        f"{good}: 2 hierarchies matched, 5 joints, 0 objects that no rule took".split(),
    ]
    assert err == "" and "\x1b" not in out


def test_nothing_matched_is_no_pass(good: str, bad: str, file: str, capsys: Captured) -> None:
    assert main(["scan", good, bad, "--project", file, "-q", "-v"]) == 1
    out = capsys.readouterr().out
    assert f"{bad}: nothing matched: no hierarchy matches the project, 3 objects that" in out
    assert "no rule took /chair/stray (mesh)" in out


def test_what_an_optional_rule_hides_is_counted(write: Writer, file: str, capsys: Captured) -> None:
    """A level with an optional item accepts strangers; the verdict must show them."""
    scene = write("s.glb", gltf(node("Chair", node("whatever"), mesh("else"))))
    assert main(["scan", scene, "--project", file, "--json", "-"]) == 0
    result = json.loads(capsys.readouterr().out)["scenes"][0]
    assert result["counts"]["unassigned"] == 2
    assert [item["path"] for item in result["unassigned"]] == ["/Chair/whatever", "/Chair/else"]


@pytest.mark.parametrize(
    ("content", "reason"),
    [
        (None, "cannot be read: there is no such file"),
        (b"", "is empty"),
        (b"hello", "is not a glTF file: it holds neither binary glTF nor JSON"),
        (b"glTF\2\0\0\0", "is cut off"),
        (gltf(node("a", children=[0])), r"nodes\[0\].children\[0\]: node 0 is its own ancestor"),
    ],
)
def test_an_unreadable_scene_does_not_stop_the_others(
    write: Writer, good: str, file: str, tmp_path: Path, capsys: Captured, content: Any, reason: str
) -> None:
    scene = str(tmp_path / "none.glb") if content is None else write("torn.glb", content)
    assert main(["scan", scene, good, "--project", file, "-q"]) == 2
    out, err = capsys.readouterr()
    assert re.search(re.escape(scene) + ".*" + reason, err)
    assert out.startswith(f"{good}: 2 hierarchies matched")


@pytest.mark.parametrize(
    ("content", "reason"),
    [
        (b"{", "error: line 1, column 2: not JSON"),
        ({**PROJECT, "version": 2}, "error: version: is 2; this build reads version 3"),
        (project([rule("a", "x(")]), r'error: rule "a" \[a\], regex at 1: does not compile'),
        (None, "neither a file nor the name of a project"),
    ],
)
def test_a_bad_project_ends_the_run(
    write: Writer, good: str, tmp_path: Path, capsys: Captured, content: Any, reason: str
) -> None:
    path = str(tmp_path / "none.json") if content is None else write("p.json", content)
    report = tmp_path / "report.json"
    assert (
        main(["--home", str(tmp_path), "scan", good, "--project", path, "--json", str(report)]) == 2
    )
    out, err = capsys.readouterr()
    assert re.search(reason, err) and out == ""
    assert json.loads(report.read_text())["exit_status"] == 2


def test_an_empty_scene(write: Writer, file: str, capsys: Captured) -> None:
    assert main(["scan", write("empty.gltf", gltf()), "--project", file]) == 1
    assert "nothing matched: there is no object to scan" in capsys.readouterr().out


def test_select(good: str, file: str, capsys: Captured) -> None:
    selection = ["--select", "/Table/Table_Body", "--select", "/Table"]
    assert main(["scan", good, "--project", file, "--json", "-", *selection]) == 0
    result = json.loads(capsys.readouterr().out)["scenes"][0]
    assert [item["name"] for item in result["hierarchies"]] == ["Table"]
    assert main(["scan", good, "--project", file, "--select", "/Tabel"]) == 2
    assert 'there is no object "/Tabel"; is /Table meant?' in capsys.readouterr().err
    assert main(["scan", good, "--project", file, "--select", "/nothing"]) == 2
    assert "its top objects are /Chair, /Table" in capsys.readouterr().err


def test_a_selection_below_the_top_is_widened(
    good: str, file: str, write: Writer, tmp_path: Path, capsys: Captured
) -> None:
    """Every command that scans says so; the mode that checks just what is selected does not."""
    select = ["--select", "/Table/Table_Body", "--select", "/Chair"]
    told = f"{good}: the selection /Table/Table_Body is widened to its top object /Table"
    content = json.loads(Path(file).read_text())
    record = content["records"][str(content["selected_record"])]
    checklist = {"kavel.object.duplicate_names": {"enabled": True, "parameters": []}}
    for entry in record["rules"]:
        entry["checklist"] = checklist
    checked = write("checked.json", content)
    report = tmp_path / "report.json"
    for command in ("scan", "validate", "export"):
        main([command, good, "--project", checked, "--json", str(report), *select])
        (scene,) = json.loads(report.read_text())["scenes"]
        assert scene["widened"] == [{"selected": "/Table/Table_Body", "root": "/Table"}]
        assert capsys.readouterr().out.count("widened") == 1
        main([command, good, "--project", checked, "--select", "/Table", "-q"])
        assert "widened" not in capsys.readouterr().out
    main(["scan", good, "--project", checked, *select])
    assert told in capsys.readouterr().out.splitlines()
    main(["validate", good, "--project", checked, "--mode", "selection", *select])
    assert "widened" not in capsys.readouterr().out
    ghost = [rule("ghost", "Group", ["transform"]), *RULES]
    below = write("below.glb", gltf(node("World", node("Group", asset("Chair")))))
    wide = write("ghost.json", project(ghost, {"ghost": SHAPE}))
    main(["scan", below, "--project", wide, "--select", "/World/Group/Chair/Chair_Body"])
    out = " ".join(capsys.readouterr().out.split())
    assert "that the ghost item stands for, /World/Group" in out


def test_a_selected_path_takes_nothing_from_the_scenes(good: str, file: str) -> None:
    assert main(["scan", "--project", file, "--select", "/Table", good]) == 0


def test_objects_that_no_rule_took_can_fail(write: Writer, file: str, capsys: Captured) -> None:
    """The scene matches: an optional rule lets strangers pass."""
    lenient = write("s.glb", gltf(node("Chair", node("whatever"), mesh("else"))))
    full = write("full.glb", gltf(asset("Chair")))
    arguments = ["scan", lenient, full, "--project", file, "-q"]
    assert main(arguments) == 0
    assert main([*arguments, "--fail-on-unassigned", "--json", "-"]) == 1
    report = json.loads(capsys.readouterr().out.partition("\n{")[2].join("{ "))
    first, second = report["scenes"]
    assert (report["fail_on_unassigned"], report["exit_status"]) == (True, 1)
    assert (first["status"], first["reason"]) == ("matched", "unassigned")
    assert second["reason"] == ""
    main([*arguments, "--fail-on-unassigned"])
    out = capsys.readouterr().out
    assert f"{lenient}: failed: 1 hierarchy matched, 1 joint, 2 objects that no rule took" in out
    assert "no rule took /Chair/else (mesh)" in out


def test_json(good: str, bad: str, file: str, tmp_path: Path, capsys: Captured) -> None:
    assert main(["scan", good, bad, "--project", file, "--json", "-"]) == 1
    out, err = capsys.readouterr()
    report = json.loads(out)
    assert "nothing matched" in err
    assert set(report) == {
        "schema", "exit_status", "fail_on_unassigned", "error", "project", "scenes", "versions"
    }  # fmt: skip
    assert report["schema"] == "kavel.scan/1" and report["exit_status"] == 1
    assert report["project"] == {
        "name": "Assets",
        "filename": "assets.json",
        "target": "maya",
        "record": 1700000000,
        "problems": [],
    }
    first, second = report["scenes"]
    assert first["hierarchies"][1] == {
        "name": "Table",
        "joint": {
            "rule": "Asset",
            "stamp": "Asset",
            "name": "Table",
            "path": "/Table",
            "type": "transform",
            "children": [
                {
                    "rule": "Body",
                    "stamp": "Body",
                    "name": "Table_Body",
                    "path": "/Table/Table_Body",
                    "type": "mesh",
                    "children": [],
                }
            ],
        },
    }
    assert (second["status"], second["reason"]) == ("unmatched", "empty_scan_result")
    (departure,) = second["diagnosis"]["departures"]
    assert (departure["kind"], departure["nearest"]["object"]) == ("missing", "/chair")
    assert first["diagnosis"] is None
    assert set(report["versions"]) == {"kavel", "core", "python"}
    target = tmp_path / "report.json"
    assert main(["scan", good, bad, "--project", file, "--json", str(target)]) == 1
    assert json.loads(target.read_text()) == report
    assert capsys.readouterr().out.startswith("Chair ")


def test_a_report_that_cannot_be_written(good: str, file: str, capsys: Captured) -> None:
    assert main(["scan", good, "--project", file, "--json", "/nonexistent/r.json"]) == 2
    assert "/nonexistent/r.json: cannot be written" in capsys.readouterr().err


def test_nothing_of_the_users_changes(
    good: str, file: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    scratch = tmp_path / "scratch"
    scratch.mkdir()
    monkeypatch.setattr("tempfile.tempdir", str(scratch))
    before = state(tmp_path)
    home = tmp_path / "home"
    assert main(["--home", str(home), "scan", good, "--project", file]) == 0
    assert state(tmp_path) == before
    assert not home.exists() and not list(scratch.iterdir())


def test_the_run_has_the_projects_target(
    good: str, write: Writer, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    """A project of the user's own is found in any target's folder, and used as a copy too."""
    write("home/maya/projects/assets_1.json", PROJECT)
    seen: list[str] = []
    close = Session.close

    def spy(self: Session) -> None:
        assert self.api.env.get_settings_directory() != str(tmp_path / "home" / "maya")
        seen.append(self.api.env.target)
        close(self)

    monkeypatch.setattr(Session, "close", spy)
    before = state(tmp_path)
    assert main(["--home", str(tmp_path / "home"), "scan", good, "--project", "Assets"]) == 0
    assert seen == ["maya"]
    assert state(tmp_path) == before


def test_save_and_append(good: str, file: str, capsys: Captured) -> None:
    before = Path(good).read_bytes()
    arguments = ["scan", good, "--project", file, "-q"]
    assert main([*arguments, "--select", "/Chair"]) == 0
    assert Path(good).read_bytes() == before

    def names() -> list[str]:
        operator = GltfOperator()
        operator.open(good)
        return [bucket["name"] for bucket in operator.query_filedata()]

    assert main([*arguments, "--save", "--select", "/Chair"]) == 0
    assert names() == ["Chair"]
    assert main([*arguments, "--save", "--append", "--select", "/Table"]) == 0
    assert names() == ["Chair", "Table"]
    assert "1 hierarchy matched, 2 joints, 0 objects that no rule took, 1 stored before" in (
        capsys.readouterr().out
    )
    held = Path(good).read_bytes()
    assert main([*arguments, "--save", "--append", "--select", "/Table"]) == 1
    assert "stored in the file already" in capsys.readouterr().out
    assert Path(good).read_bytes() == held
    assert main([*arguments, "--save"]) == 0
    assert names() == ["Chair", "Table"]


def test_a_scan_without_a_match_saves_nothing(bad: str, file: str) -> None:
    before = Path(bad).read_bytes()
    assert main(["scan", bad, "--project", file, "--save"]) == 1
    assert Path(bad).read_bytes() == before


def test_append_to_damaged_data_is_refused(write: Writer, file: str, capsys: Captured) -> None:
    asset_field = {"version": "2.0", "extras": {"kavel": "[1"}}
    scene = write("s.glb", gltf(asset("Chair"), asset=asset_field))
    assert main(["scan", scene, "--project", file, "--append", "--save"]) == 2
    assert "asset.extras.kavel is not readable" in capsys.readouterr().err
    assert main(["scan", scene, "--project", file, "--save"]) == 0


def test_an_expression_that_fails_on_a_name_is_told(write: Writer, capsys: Captured) -> None:
    """A captured bracket breaks the expression that it is put into: no crash, no silence."""
    rules = [rule("a", "<n:.+>$"), rule("b", "<n>$")]
    path = write("p.json", project(rules, {"a": {"b": {}}}))
    scene = write("s.glb", gltf(node("f(x", node("f(x"))))
    assert main(["scan", scene, "--project", path]) == 2
    assert re.search(r"s.glb: error: .*(missing|unterminated)", capsys.readouterr().err)


def test_control_characters_of_a_scene_stay_harmless(write: Writer, capsys: Captured) -> None:
    name = "a\x1b[2J\n\x9b\u202e\ud800ы😀"
    path = write("p.json", project([rule("any", "(?s).+$", ["mesh"])]))
    assert main(["scan", write("s.glb", gltf(mesh(name))), "--project", path, "-v"]) == 0
    out = capsys.readouterr().out
    assert "a\\x1b[2J\\n\\x9b\\u202e\\ud800ы😀" in out
    assert not re.search("[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e\ud800]", out)


def test_interrupting(good: str, file: str, capsys: Captured, monkeypatch: Any) -> None:
    def interrupt(*_: Any) -> None:
        raise KeyboardInterrupt

    monkeypatch.setattr(GltfOperator, "get_selection_roots", interrupt)
    assert main(["scan", good, "--project", file]) == 130
    assert capsys.readouterr().err == "interrupted\n"


def test_a_reader_that_leaves_early_is_no_fault_of_the_scan(good: str, file: str) -> None:
    """As in `kavel scan ... | head -1`, with a pipe that nobody reads."""
    reading, writing = os.pipe()
    os.close(reading)
    command = [sys.executable, "-m", "kavel", "scan", good, "--project", file]
    with os.fdopen(writing, "wb") as stdout:
        done = subprocess.run(command, stdout=stdout, stderr=subprocess.PIPE, check=False)
    assert (done.returncode, done.stderr) == (2, b"")


@pytest.mark.parametrize(
    ("argv", "message"),
    [
        ([], "kavel: the following arguments are required: COMMAND"),
        (["scna"], 'kavel: there is no command "scna"; is scan meant?'),
        (["--hoem", "x", "scan"], "kavel: there is no option --hoem; is --home meant?"),
        (["checks", "--home", "x"], "kavel checks: --home stands before the command"),
        (["scan"], "kavel scan: the following arguments are required: SCENE, --project"),
        (["scan", "a", "--project", "b", "--slect", "c"], "no option --slect; is --select meant?"),
        (["scan", "a", "--project", "b", "--select", "c", "-q", "e"], "nothing was expected at: e"),
        (["validate", "a", "--mode", "x"], 'kavel validate: --mode: there is no "x"; there are '),
        (["projects"], "kavel projects: the following arguments are required: ACTION"),
        (["checks", "--bogus", "enable", "x"], "kavel checks: there is no option --bogus"),
        (["checks", "enable", "x", "--bogus"], "kavel checks enable: there is no option --bogus"),
        (["checks", "preset", "crate"], 'no action "crate"; is create meant?'),
    ],
)
def test_wrong_arguments(argv: list[str], message: str, capsys: Captured) -> None:
    """Told with the usage of the command that was given."""
    with pytest.raises(SystemExit) as info:
        main(argv)
    assert info.value.code == 2
    out, err = capsys.readouterr()
    assert out == "" and re.search(message, err)
    command = err.splitlines()[-1].partition(" --help")[0].strip("`")
    assert err.startswith(f"usage: {command} [")


def test_what_can_be_said_of_a_home_that_is_a_file(
    write: Writer, good: str, file: str, capsys: Captured
) -> None:
    home = write("home", b"")
    for command in (["checks"], ["stats"], ["validate", good, "--project", file]):
        assert main(["--home", home, *command]) == 2
        err = capsys.readouterr().err
        assert err.startswith(f"kavel: {home}: cannot hold your settings, projects and usage")
        assert "Errno" not in err and "--home" in err


def test_version(capsys: Captured) -> None:
    with pytest.raises(SystemExit) as info:
        main(["--version"])
    assert info.value.code == 0
    assert re.fullmatch(r"kavel \S+ \(core \d\S*, Python 3\.\S+\)\n", capsys.readouterr().out)


def test_real_characters(capsys: Captured) -> None:
    folder = os.environ.get("KAVEL_ASSETS")
    if not folder:
        pytest.skip("KAVEL_ASSETS is not set: no real character was scanned")
    scenes = sorted(map(str, Path(folder).glob("characters/*.glb")))
    assert scenes, f"KAVEL_ASSETS is {folder}, but there is no characters/*.glb in it"
    samples = Path(__file__).resolve().parents[2] / "samples"
    assert main(["scan", *scenes, "--project", str(samples / "adventurers.json")]) == 0
    out = capsys.readouterr().out
    verdicts = re.findall(r"1 hierarchy matched, (\d+) joints, 0 objects that no rule took", out)
    assert len(verdicts) == len(scenes) and min(map(int, verdicts)) > 50


def test_a_checkout_without_the_built_module(
    good: str, file: str, capsys: Captured, monkeypatch: pytest.MonkeyPatch
) -> None:
    """There, `import core` finds the folder of the C++ sources."""
    monkeypatch.setitem(sys.modules, "core", types.ModuleType("core"))
    assert main(["scan", good, "--project", file]) == 2
    assert "the extension module `core` is not built" in capsys.readouterr().err
