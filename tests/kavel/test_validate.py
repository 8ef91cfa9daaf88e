"""`kavel validate` from the command line: verdicts, exit statuses, repairs, reports."""

from __future__ import annotations

import json
import os
import re
from collections import Counter
from pathlib import Path
from typing import Any, Callable

import jsonschema  # type: ignore[import-untyped]
import pytest
from check_modules import RUNS, asked, broken_checks, sound_checks
from conftest import gltf, node, project, rule

from kavel.cli import main
from kavel.projects import read_project

ROOT = Path(__file__).resolve().parents[2]
SCHEMA = json.loads((ROOT / "docs/schema/validation-report.schema.json").read_text())
Writer = Callable[[str, Any], str]
Captured = pytest.CaptureFixture[str]

SMALL, LARGE = node("small"), node("large", scale=[2, 2, 2])


@pytest.fixture
def home(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    monkeypatch.setenv("KAVEL_HOME", str(tmp_path / "home"))
    return tmp_path / "home"


@pytest.fixture
def validate(write: Writer, tmp_path: Path, home: Path) -> Callable[..., Any]:
    """Runs the command with a project of one rule, which takes everything below a group "top" and
    has this checklist; returns the exit status and the report, which follows its schema."""
    folder = sound_checks(tmp_path / "checks")

    def validate(*arguments: str, checklist: Any = None, regex: str = ".+") -> tuple[int, Any]:
        rules = [
            rule("Top", "top$", ["transform"]),
            rule("Part", regex, limits=(0, 9999), checklist=checklist or asked("test.size")),
        ]
        file = write("project.json", project(rules, {"Top": {"Part": {"Part": {}}}}))
        report = tmp_path / "report.json"
        run = ["--project", file, "--checks", folder, "--json", str(report)]
        status = main(["validate", *arguments, *run])
        return status, checked_report(report)

    return validate


def checked_report(path: Path) -> Any:
    report = json.loads(path.read_text())
    jsonschema.validate(report, SCHEMA)
    sums: Counter[str] = Counter()
    for scene in report["scenes"]:
        rows = Counter(row["status"] for row in scene["results"])
        counts = scene["summary"]
        assert {status: counts[status] for status in rows} == rows
        assert counts["runs"] == len(scene["results"])
        assert counts["fixable"] == sum(row["fixable"] for row in scene["results"])
        sums.update({key: counts[key] for key in report["summary"]})
    assert {key: sums[key] for key in report["summary"]} == report["summary"]
    return report


def scene_of(write: Writer, *parts: Any, name: str = "s.glb") -> str:
    return write(name, gltf(node("top", *parts)))


@pytest.mark.parametrize(
    ("parts", "checklist", "options", "status", "told"),
    [
        ([SMALL], asked("test.size"), [], 0, "passed: no findings in 1 check of 1 object"),
        ([SMALL, LARGE], asked("test.size"), [], 1, "failed: 1 failure in 2 checks of 2 objects"),
        ([LARGE], asked("test.size", as_info=True), [], 0, "passed: 1 note in 1 check"),
        ([LARGE], asked("test.size", as_info=True), ["--fail-on", "info"], 1, "failed: 1 note"),
        ([SMALL], asked("test.crash"), [], 1, "ValueError: broken here"),
        ([SMALL], asked("test.gone", "test.size"), [], 0, "1 check not installed: test.gone"),
        ([SMALL], asked("test.gone", "test.size"), ["--strict"], 3, "not installed: test.gone"),
        ([SMALL], asked("test.gone"), [], 2, "error: no check ran: those that are asked for are"),
        ([SMALL], {}, [], 2, "error: no check ran: the project asks for none"),
        ([SMALL], asked("test.whole"), [], 0, "1 check of 0 objects"),
    ],
)
def test_exit_statuses_and_verdicts(
    write: Writer,
    validate: Any,
    capsys: Captured,
    parts: Any,
    checklist: Any,
    options: list[str],
    status: int,
    told: str,
) -> None:
    found, report = validate(scene_of(write, *parts), *options, checklist=checklist or {"x": {}})
    assert found == report["exit_status"] == status
    assert told in "".join(capsys.readouterr())


@pytest.mark.parametrize(("options", "expected"), [([], 0), (["--strict"], 3)])
def test_strict_counts_warnings_about_the_project(
    write: Writer, home: Path, tmp_path: Path, capsys: Captured, options: list[str], expected: int
) -> None:
    rules = [rule("top", checklist=asked("test.size"), regexp="x")]
    arguments = [scene_of(write), "--project", write("p.json", project(rules))]
    checks = ["--checks", sound_checks(tmp_path / "sound")]
    assert main(["validate", *arguments, *checks, *options]) == expected
    assert ("1 warning about the project" in "".join(capsys.readouterr())) == bool(options)


@pytest.mark.parametrize(("options", "logged"), [([], False), (["-v"], True)])
def test_a_dropped_branch_is_told_once(
    write: Writer, home: Path, tmp_path: Path, capsys: Captured, options: list[str], logged: bool
) -> None:
    content = project([rule("top", checklist=asked("test.size"))], {"top": {}, "gone": {}})
    arguments = [scene_of(write), "--project", write("p.json", content)]
    main(["validate", *arguments, "--checks", sound_checks(tmp_path / "sound"), *options])
    err = capsys.readouterr().err
    assert "names no rule of the list; the branch is dropped" in err
    assert ("Incompatible Hierarchy Settings" in err) == logged


def test_nothing_matched_and_unreadable_scenes(
    write: Writer, validate: Any, tmp_path: Path, capsys: Captured
) -> None:
    good = scene_of(write, SMALL)
    stray = write("stray.glb", gltf(node("stray")))
    status, report = validate(good, stray)
    assert (status, [scene["status"] for scene in report["scenes"]]) == (1, ["passed", "unmatched"])
    passed, unmatched = (scene["diagnosis"] for scene in report["scenes"])
    assert passed is None and unmatched["departures"][0]["item"]["rule"] == "Top"
    assert "1 of 2 scenes passed: no findings in 1 check" in capsys.readouterr().out
    status, report = validate(str(tmp_path / "none.glb"), good)
    assert (status, [scene["status"] for scene in report["scenes"]]) == (2, ["error", "passed"])
    assert "none.glb: error: " in capsys.readouterr().err


def test_broken_checks_are_named_and_disturb_nothing(
    write: Writer, validate: Any, tmp_path: Path, capsys: Captured
) -> None:
    broken = ["--checks", broken_checks(tmp_path / "broken")]
    status, report = validate(scene_of(write, SMALL), *broken)
    assert status == 0
    out = capsys.readouterr().out
    assert "3 broken checks: Nameless in denied.py, leaving.py, unimportable.py" in out
    reasons = {entry["module"]: entry["reason"] for entry in report["checks"]["broken"]}
    assert "nothing_of_that_name" in reasons["unimportable"]
    assert validate(scene_of(write, SMALL), *broken, "--strict")[0] == 3
    assert validate(scene_of(write, LARGE), *broken, "--strict")[0] == 3


MISFITS: dict[str, Any] = {
    "test.size": {
        "enabled": True,
        "parameters": [{"state": {"wanted": {"valeu": 2}}}, {"state": {"wnated": {"value": 1}}}],
    }
}


def test_stored_parameters_that_do_not_fit(write: Writer, validate: Any, capsys: Captured) -> None:
    """The first set silently runs with the default, the second cannot run at all."""
    status, report = validate(scene_of(write, SMALL), checklist=MISFITS)
    out, err = capsys.readouterr()
    assert status == 1
    first, second = report["checks"]["misfits"]
    assert (first["rule"], first["check"], first["set"]) == ("Part", "test.size", 1)
    assert (first["severity"], first["parameter"]) == ("warning", "wanted")
    assert first["found"] == '{"valeu": 2}' and "from 0 to 100" in first["allowed"]
    assert first["effect"] == "the default counts: 1"
    assert second["parameter"] == "wnated" and 'is "wanted" meant?' in second["effect"]
    assert 'warning: check test.size, set 1, parameter "wanted", in rule "Part"\n' in err
    assert re.search(r'found +{"valeu": 2}\n', err)
    assert "1 check with stored parameters that do not fit: test.size" in out
    rows = {row["status"]: row["message"] for row in report["scenes"][0]["results"]}
    assert rows["error"] == (
        'The stored parameters cannot be used: the check has no parameter "wnated" (it has: wanted)'
    )
    assert "KeyError" not in out + err


def test_misfits_fail_a_strict_run(write: Writer, validate: Any, capsys: Captured) -> None:
    only_default = {"test.size": {**MISFITS["test.size"]}}
    only_default["test.size"]["parameters"] = MISFITS["test.size"]["parameters"][:1]
    scene = scene_of(write, SMALL)
    status, report = validate(scene, checklist=only_default)
    assert status == 0 and report["scenes"][0]["status"] == "passed"
    status, report = validate(scene, "--strict", checklist=only_default)
    assert status == 3 and report["checks"]["misfits"][0]["severity"] == "error"
    told = "--strict fails the run: 1 check with stored parameters that do not fit: test.size"
    assert told in capsys.readouterr().err


def test_misfits_of_the_own_settings(
    write: Writer, home: Path, tmp_path: Path, capsys: Captured
) -> None:
    folder = ["--checks", sound_checks(tmp_path / "checks")]
    assert main(["checks", "enable", "test.size", *folder]) == 0
    file = home / "standalone/settings.json"
    settings = json.loads(file.read_text())
    settings["check"]["list"]["test.size"]["parameters"] = [{"state": {"wanted": {"value": 500}}}]
    file.write_text(json.dumps(settings))
    arguments = ["validate", scene_of(write, SMALL), "--mode", "selection", *folder]
    assert main(arguments) == 1
    assert 'check test.size, parameter "wanted", in your settings' in capsys.readouterr().err


def test_objects_that_no_rule_took_can_fail(write: Writer, validate: Any, capsys: Captured) -> None:
    scene = scene_of(write, SMALL, node("stranger"))
    strict, checklist = ["--fail-on-unassigned"], asked("test.whole")
    status, report = validate(scene, *strict, checklist=checklist)
    assert status == 0 and report["run"]["fail_on_unassigned"] is True
    # An optional rule lets strangers pass.
    rules = [rule("Top", "top$", checklist=checklist), rule("Part", "other", limits=(0, 9))]
    file = write("lenient.json", project(rules, {"Top": {"Part": {}}}))
    told = write("told.json", {})
    folder = str(Path(file).parent / "checks")
    arguments = ["validate", scene, "--project", file, "--checks", folder, "--json", told]
    assert main(arguments) == 0
    assert main([*arguments, *strict]) == 1
    out = capsys.readouterr().out
    assert "failed: no findings in 1 check of 0 objects, 2 objects that no rule took" in out
    assert "no rule took /top/small (locator)" in out
    (found,) = checked_report(Path(told))["scenes"]
    assert (found["status"], found["reason"]) == ("failed", "unassigned")
    assert found["message"] == "2 objects that no rule took"
    assert [item["path"] for item in found["unassigned"]] == ["/top/small", "/top/stranger"]


def test_a_report_tells_each_run(write: Writer, validate: Any) -> None:
    status, report = validate(scene_of(write, SMALL, LARGE), checklist=asked("test.size"))
    (scene,) = report["scenes"]
    large, small = scene["results"]
    assert large.pop("seconds") > 0
    assert large == {
        "check": "test.size",
        "name": "Size",
        "object": "/top/large",
        "rule": "Part",
        "status": "fail",
        "message": "The size is wrong",
        "parameters": {"as_info": False, "state": {"wanted": {"value": 1}}},
        "fixable": True,
        "selectable": True,
    }
    assert (small["status"], small["message"], small["fixable"]) == ("pass", "", False)
    assert scene["match"] == {"hierarchies": 1, "joints": 3, "objects": 3, "unassigned": 0}
    assert "test.size" in [check["id"] for check in report["checks"]["loaded"]]
    assert report["project"]["record"] == 1700000000


def test_grouping(write: Writer, validate: Any, capsys: Captured) -> None:
    scene = scene_of(write, *(node(f"large{number}", scale=[2, 2, 2]) for number in range(5)))
    validate(scene)
    places = "/top/large0, /top/large1, /top/large2 and 2 more"
    assert capsys.readouterr().out.splitlines()[:3] == [
        f"-- {scene}",
        "Size (test.size)",
        f"  fail  The size is wrong  fixable  5 objects: {places}",
    ]
    validate(scene, "--group", "object")
    assert capsys.readouterr().out.splitlines()[1:3] == [
        "/top/large0",
        "  fail  Size (test.size): The size is wrong  fixable",
    ]


def test_notes_can_be_left_out(write: Writer, validate: Any, capsys: Captured) -> None:
    scene, notes = scene_of(write, LARGE), asked("test.size", as_info=True)
    told = {}
    for options in ([], ["--no-info"], ["--no-info", "--fail-on", "info"]):
        _, report = validate(scene, *options, checklist=notes)
        assert "The size is wrong" in json.dumps(report)
        told[" ".join(options)] = capsys.readouterr().out
    assert told["--no-info"].splitlines()[1] == "1 finding of info not shown (--no-info)"
    assert "1 note in 1 check" in told["--no-info"] and "wrong" not in told["--no-info"]
    assert "info  The size is wrong" in told[""]
    assert "info  The size is wrong" in told["--no-info --fail-on info"]


def test_a_dry_run_tells_and_changes_nothing(
    write: Writer, validate: Any, capsys: Captured
) -> None:
    scene = scene_of(write, SMALL, LARGE)
    before = Path(scene).read_bytes()
    status, report = validate(scene, "--fix", "--dry-run")
    assert status == 1 and Path(scene).read_bytes() == before
    out = capsys.readouterr().out
    assert "fixable  Size (test.size): would change transform  /top/large" in out
    assert "failed: 1 failure in 2 checks of 2 objects" in out
    assert "; 1 fix would leave no findings" in out
    (told,) = report["scenes"]
    assert [row["status"] for row in told["results"]] == ["fail", "pass"]
    assert told["would_leave"]["fail"] == 0 and told["saved"] is False
    (fix,) = told["fixes"]
    assert fix["changes"] == [{"object": "/top/large", "parts": ["transform"]}]


def test_a_fix_is_saved_only_when_asked(write: Writer, validate: Any, capsys: Captured) -> None:
    scene = scene_of(write, SMALL, LARGE)
    before = Path(scene).read_bytes()
    status, report = validate(scene, "--fix")
    assert status == 0 and Path(scene).read_bytes() == before
    assert "; 1 fix made, not saved" in capsys.readouterr().out
    assert [row["status"] for row in report["scenes"][0]["results"]] == ["pass", "pass"]
    status, report = validate(scene, "--fix", "--save")
    assert status == 0 and report["scenes"][0]["saved"] is True
    assert Path(scene).read_bytes() != before
    held = Path(scene).read_bytes()
    status, report = validate(scene, "--fix", "--save")
    assert (status, report["scenes"][0]["fixes"]) == (0, [])
    assert Path(scene).read_bytes() == held, "nothing to fix, nothing to save"


def test_what_runs_again_after_a_fix(
    write: Writer, validate: Any, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    runs = tmp_path / "runs"
    monkeypatch.setenv(RUNS, str(runs))
    checklist = asked("test.size", "test.whole")
    parts = [
        node("over", node("large", node("under"), scale=[2, 2, 2]), node("beside")),
        node("apart"),
    ]
    scene = write("s.glb", gltf(node("top", *parts)))
    rules = [rule("Part", ".+", limits=(0, 99), checklist=checklist)]
    file = write("deep.json", project(rules, {"Part": {"Part": {"Part": {"Part": {}}}}}))
    arguments = ["validate", scene, "--project", file, "--checks", str(tmp_path / "checks")]
    assert main([*arguments, "--fix"]) == 0
    counted = Counter(runs.read_text().split("\n"))
    # Each once; at the object again after its fix; then once more where it may matter.
    assert counted == {
        "test.whole scene": 2,
        "test.size top": 2,
        "test.size over": 2,
        "test.size large": 3,
        "test.size under": 2,
        "test.size beside": 1,
        "test.size apart": 1,
        "": 1,
    }


def test_interrupting(write: Writer, validate: Any, capsys: Captured) -> None:
    scene = scene_of(write, LARGE, node("stop"), node("untold", scale=[3, 3, 3]))
    before = Path(scene).read_bytes()
    checklist = asked("test.size", "test.stop")
    status, report = validate(scene, scene, "--fix", "--save", checklist=checklist)
    assert status == report["exit_status"] == 130
    assert report["interrupted"] is True and len(report["scenes"]) == 1
    found = [(row["object"], row["status"]) for row in report["scenes"][0]["results"]]
    assert found == [("/top/large", "fail"), ("/top/large", "pass"), ("/top/stop", "pass")]
    assert Path(scene).read_bytes() == before
    out, err = capsys.readouterr()
    assert "The size is wrong" in out and "interrupted" in err


def test_the_selection_mode_runs_what_the_user_enabled(
    write: Writer, validate: Any, home: Path, tmp_path: Path, capsys: Captured
) -> None:
    folder = ["--checks", str(tmp_path / "checks")]
    scene = scene_of(write, SMALL, LARGE)
    arguments = ["validate", scene, "--mode", "selection", *folder]
    assert main(arguments) == 2
    assert "none is on; `kavel checks enable ID`" in capsys.readouterr().err
    assert main(["checks", *folder, "enable", "test.size"]) == 0
    settings = (home / "standalone/settings.json").read_bytes()
    assert main(arguments) == 1
    assert "1 failure in 3 checks of 3 objects" in capsys.readouterr().out
    assert main([*arguments, "--select", "/top/small"]) == 0
    assert "1 check of 1 object" in capsys.readouterr().out
    assert (home / "standalone/settings.json").read_bytes() == settings


@pytest.mark.parametrize(
    "options",
    [
        ["--mode", "project"],
        ["--mode", "selection", "--dry-run"],
        ["--mode", "selection", "--save"],
        ["--mode", "selection", "--fix", "--dry-run", "--save"],
        ["--mode", "selection", "--checks", "/no/such/folder"],
        ["--mode", "selection", "--fail-on-unassigned"],
        ["--mode", "selection", "--json", "/no/such/folder/report.json"],
    ],
)
def test_options_without_sense(
    write: Writer, home: Path, capsys: Captured, options: list[str]
) -> None:
    assert main(["validate", scene_of(write, SMALL), *options]) == 2
    assert capsys.readouterr().err.startswith("kavel: ")
    assert not home.exists() or not list(home.rglob("*.json"))


def test_a_project_that_cannot_be_used_is_reported(
    write: Writer, tmp_path: Path, home: Path
) -> None:
    report = tmp_path / "report.json"
    file = write("p.json", b"{")
    assert main(["validate", "s.glb", "--project", file, "--json", str(report)]) == 2
    told = checked_report(report)
    assert (told["exit_status"], told["scenes"]) == (2, []) and "cannot be used" in told["error"]


def test_the_samples(home: Path, capsys: Captured) -> None:
    """The finished character passes; of the draft, what can be fixed is fixed."""
    samples = ROOT / "samples"
    scenes = [str(samples / "character.glb"), str(samples / "draft.glb")]
    arguments = ["validate", "--project", str(samples / "character.json"), "--strict", "-q"]
    assert main([*arguments, scenes[0], "--fail-on", "info"]) == 0
    assert main([*arguments, scenes[1], "--fix"]) == 1
    out = capsys.readouterr().out
    assert "passed: no findings" in out and "3 fixes made, not saved" in out


def test_demo(home: Path, tmp_path: Path, capsys: Captured) -> None:
    folder = tmp_path / "exported"
    folder.mkdir()
    for number in (1, 2):
        assert main(["demo", "--directory", str(folder)]) == 0
        out = capsys.readouterr().out
        assert re.search(rf"exported  {folder}/scout_model.v0{number}.glb  .* objects", out)
        assert re.search(r"draft\.glb: 0 of 1 hierarchy exported, 1 refused", out)
    assert len(list(folder.iterdir())) == 2
    assert re.search(r"character\.glb: passed", out)
    assert re.search(
        r'departs from the project:\n  in /scout_model.*: "finger" takes at most 5', out
    )
    assert re.search(r"broken_\w+\.glb: nothing matched", out)
    assert re.search(r"draft\.glb: failed: .*; 3 fixes made, not saved", out)
    assert not home.exists()


def test_real_characters(home: Path, tmp_path: Path) -> None:
    folder = os.environ.get("KAVEL_ASSETS")
    if not folder:
        pytest.skip("KAVEL_ASSETS is not set: no real character was validated")
    scenes = sorted(map(str, Path(folder).glob("characters/*.glb")))
    assert scenes, f"KAVEL_ASSETS is {folder}, but there is no characters/*.glb in it"
    report = tmp_path / "report.json"
    file = ROOT / "samples" / "adventurers.json"
    arguments = ["--project", str(file), "--strict", "--json", str(report)]
    assert main(["validate", *scenes, *arguments]) in (0, 1)
    told = checked_report(report)
    wanted = {check.get("id") for check in told["checks"]["loaded"]}
    for rule_ in read_project(str(file)).rules:
        assert set(rule_["checklist"]) <= wanted
    for scene in told["scenes"]:
        assert scene["status"] in ("passed", "failed")
        assert scene["summary"]["error"] == 0 and scene["summary"]["runs"] > 100
