"""Finding, listing and showing projects; it also works without the extension module."""

from __future__ import annotations

import json
import re
import sys
import types
from pathlib import Path
from typing import Any, Callable

import pytest
from check_modules import sound_checks
from conftest import project, rule

from kavel.cli import main
from kavel.errors import ProjectError
from kavel.home import kavel_home, target_directory
from kavel.projects import find_project

Writer = Callable[[str, Any], str]


@pytest.fixture
def home(write: Writer, tmp_path: Path) -> str:
    write("home/maya/projects/hero_1.json", project([rule("a")], name="Hero", target="maya"))
    write("home/blender/projects/hero_2.json", project([rule("a")], name="Hero", target="blender"))
    write("home/blender/projects/prop.json", project([rule("(", "(")], name="Prop"))
    write("home/blender/projects/gone.json", project([rule("a")], name="Gone", deleted=True))
    write("home/blender/projects/torn.json", b"{")
    write("home/blender/projects/notes.txt", b"")
    return str(tmp_path / "home")


def test_where_the_home_is(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setenv("XDG_CONFIG_HOME", str(tmp_path))
    monkeypatch.delenv("KAVEL_HOME", raising=False)
    assert Path(kavel_home()).name == "kavel"
    monkeypatch.setenv("KAVEL_HOME", str(tmp_path / "by variable"))
    assert kavel_home() == str(tmp_path / "by variable")
    assert kavel_home(str(tmp_path / "by option")) == str(tmp_path / "by option")
    for target in ("maya", "", ".", "..", "a/b", "a\\b"):
        assert Path(target_directory(str(tmp_path), target)).parent == tmp_path


@pytest.mark.parametrize(
    ("text", "file"),
    [("Prop", "prop.json"), ("hero_1", "hero_1.json"), ("hero_2.json", "hero_2.json")],
)
def test_a_project_is_found_by_name_and_by_file_name(home: str, text: str, file: str) -> None:
    assert find_project(text, home).filename == file


@pytest.mark.parametrize(
    ("text", "message"),
    [
        ("Hero", "more than one.*\n.*hero_2.json\n.*hero_1.json"),
        ("Gone", "neither a file nor"),
        ("nobody", "neither a file nor"),
    ],
)
def test_no_project_or_too_many(home: str, text: str, message: str) -> None:
    with pytest.raises(ProjectError, match=message):
        find_project(text, home)


def test_list(home: str, capsys: pytest.CaptureFixture[str]) -> None:
    assert main(["--home", home, "projects", "list"]) == 0
    out, err = capsys.readouterr()
    rows = [re.split("  +", line)[:-1] for line in out.splitlines()]
    unusable = "not usable: does not compile: missing ), unterminated subpattern"
    assert rows == [
        ["Hero", "blender", "ok"],
        ["Hero", "maya", "ok"],
        ["Prop", "standalone", unusable],
        ["-", "-", "unreadable: not JSON: Expecting property name enclosed in double quotes"],
    ]
    assert err.startswith("4 projects in ")


def test_list_of_deleted_and_empty_projects(
    home: str, write: Writer, capsys: pytest.CaptureFixture[str]
) -> None:
    write("home/blender/projects/none.json", project([], name="None", deleted=True))
    assert main(["--home", home, "projects", "list", "--deleted"]) == 0
    rows = [re.split("  +", line)[2] for line in capsys.readouterr().out.splitlines()]
    assert rows == ["ok", "not usable: the rule tree names no rule: nothing can match"]


def test_a_narrow_list_keeps_files_whole(
    write: Callable[[str, Any], str],
    tmp_path: Path,
    monkeypatch: pytest.MonkeyPatch,
    capsys: pytest.CaptureFixture[str],
) -> None:
    monkeypatch.setenv("COLUMNS", "80")
    folder = "home/standalone/projects"
    name = "A rather long name of a project that leaves little room for all else on a line"
    for number, title in enumerate(["beta", name]):
        write(f"{folder}/some_project_{number}_0bbd63b4.json", project([rule("a")], name=title))
    assert main(["--home", str(tmp_path / "home"), "projects", "list"]) == 0
    lines = capsys.readouterr().out.splitlines()
    assert max(map(len, lines)) <= 80
    assert [line.split()[0] for line in lines if "standalone  ok" in line] == ["A", "beta"]
    for number in range(2):
        assert any(line.endswith(f"some_project_{number}_0bbd63b4.json") for line in lines)


def test_list_of_no_home(tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    assert main(["--home", str(tmp_path / "none"), "projects", "list"]) == 0
    out, err = capsys.readouterr()
    assert out == "" and str(tmp_path / "none/standalone/projects") in err


def test_show(write: Writer, capsys: pytest.CaptureFixture[str]) -> None:
    rules = [
        rule("ghost", "", ["sceneRoot"]),
        rule("arm", "arm\x1b_<s:(l|r)>$", ["transform", "locator"], [2, 2]),
        rule("hand", "hand_<s>$", [], [0, 3]),
    ]
    path = write("p.json", project(rules, {"ghost": {"arm": {"hand": {}}}}, target="maya"))
    assert main(["projects", "show", path]) == 0
    out, err = capsys.readouterr()
    assert [line.split() for line in out.splitlines()] == [
        ["Test:", "target", "maya,", "record", "1700000000"],
        ["ghost", "sceneRoot", "1"],
        ["arm", "arm\\x1b_<s:(l|r)>$", "transform,", "locator", "2"],
        ["hand", "hand_<s>$", "any", "type", "0..3"],
    ]
    indents = [len(line) - len(line.lstrip()) for line in out.splitlines()]
    assert indents == [0, 2, 4, 6]
    assert err == ""


def test_show_tells_the_checks_and_keeps_names_whole(
    write: Writer, capsys: pytest.CaptureFixture[str], monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("COLUMNS", "60")
    sets = [{"as_info": True, "state": {"most": {"value": 4}}}, {"state": {}}]
    asked = {"mesh.count": {"enabled": True, "parameters": sets}, "off": {"enabled": False}}
    expression = "a_rather_long_expression_(of|many)_words_" * 2 + "$"
    rules = [rule("a_very_long_name", expression, checklist=asked), rule("b", checklist=asked)]
    path = write("p.json", project(rules, {"a_very_long_name": {"b": {}}}))
    assert main(["projects", "show", path]) == 0
    lines = capsys.readouterr().out.splitlines()
    assert lines[1].split() == ["a_very_long_name", "any", "type", "1"]
    assert expression in "".join(line.strip() for line in lines)
    assert lines[-3:] == [
        "checks on a_very_long_name, b:",
        "  mesh.count  as information, most 4",
        "  mesh.count",
    ]


def test_show_of_an_unusable_project(write: Writer, capsys: pytest.CaptureFixture[str]) -> None:
    path = write("p.json", project([rule("a", "(")]))
    assert main(["projects", "show", path]) == 2
    out, err = capsys.readouterr()
    assert "a  (  any type  1" in out
    assert f'{path}: error: rule "a" [a], regex at 0: does not compile' in err


def test_show_compares_parameters_with_the_checks(
    write: Writer, tmp_path: Path, capsys: pytest.CaptureFixture[str]
) -> None:
    entry = {"enabled": False, "parameters": [{"state": {"wanted": {"value": "1"}}}]}
    path = write("p.json", project([rule("a", checklist={"test.size": entry})]))
    assert main(["projects", "show", path]) == 0
    err = capsys.readouterr().err
    assert 'warning: check test.size, in rule "a"\n    is not installed' in err
    folder = sound_checks(tmp_path / "checks")
    assert main(["projects", "show", path, "--checks", folder]) == 0
    err = capsys.readouterr().err
    assert 'warning: check test.size, parameter "wanted", in rule "a"\n' in err
    assert 'found    {"value": "1"}\n' in err and "not installed" not in err


def test_lint_compares_parameters_with_the_checks(
    write: Writer, tmp_path: Path, capsys: pytest.CaptureFixture[str]
) -> None:
    entry = {"enabled": True, "parameters": [{"state": {"wnated": {"value": 1}}}]}
    checklist = {"test.size": entry, "test.whloe": {"enabled": True}}
    path = write("p.json", project([rule("a", checklist=checklist)]))
    lint = ["projects", "lint", path, "--checks", sound_checks(tmp_path / "checks")]
    assert [main(lint), main([*lint, "--strict"])] == [0, 1]
    out = capsys.readouterr().out
    assert "is test.whole meant?" in out and 'is "wanted" meant?' in out
    assert out.endswith("0 errors, 2 warnings\n")
    main([*lint, "--json", "-"])
    report = json.loads(capsys.readouterr().out)
    assert report["compared"] and [item["check"] for item in report["problems"]] == [
        "test.whloe",
        "test.size",
    ]


def test_show_without_the_extension_module(
    write: Writer, capsys: pytest.CaptureFixture[str], monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setitem(sys.modules, "core", types.ModuleType("core"))
    assert main(["projects", "show", write("p.json", project([rule("a")]))]) == 0
    out, err = capsys.readouterr()
    assert "a$" in out and "the parameters of checks were not compared" in err
