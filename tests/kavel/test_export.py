"""`kavel export` from the command line: folders, versions, refusals, exit statuses, reports."""

from __future__ import annotations

import json
import os
import re
import subprocess
import sys
from pathlib import Path
from typing import Any, Callable

import jsonschema  # type: ignore[import-untyped]
import pytest
from check_modules import asked, sound_checks
from conftest import gltf, node, project, rule
from exported import document

from kavel.cli import main
from kavel.errors import KavelError
from kavel.export_options import set_option
from kavel.gltf.exporting.settings import Settings, export_formats, read_settings

ROOT = Path(__file__).resolve().parents[2]
SCHEMA = json.loads((ROOT / "docs/schema/export-report.schema.json").read_text())
Writer = Callable[[str, Any], str]
Captured = pytest.CaptureFixture[str]
HERO = [node("Hero", node("part")), node("Hero.b", node("part", scale=[2, 2, 2]))]


@pytest.fixture
def out(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    monkeypatch.setenv("KAVEL_HOME", str(tmp_path / "home"))
    (tmp_path / "out").mkdir()
    return tmp_path / "out"


@pytest.fixture
def run(write: Writer, tmp_path: Path, out: Path) -> Callable[..., Any]:
    """Runs the command with a project whose hierarchies are top objects named after a hero;
    returns the exit status and the report, which follows its schema."""
    folder = sound_checks(tmp_path / "checks")
    record: dict[str, Any] = {"formats": {}, "selected": "gltf"}

    def run(*arguments: str, checklist: Any = None, directory: str = "", **flags: bool) -> Any:
        rules = [
            rule("Hero", "Hero.*", ["transform"]),
            rule("Part", "part|stop", limits=(0, 9), checklist=checklist or {}),
        ]
        content = project(rules, {"Hero": {"Part": {}}})
        switches = dict.fromkeys(("automatic_uv", "triangulate", "reset_xforms"), False)
        export = {"directory": directory or str(out), "options": record}
        export["flags"] = {**switches, "version_control": False, **flags}
        content["records"]["1700000000"]["export"] = export
        report = tmp_path / "report.json"
        given = ["--project", write("p.json", content), "--json", str(report)]
        checks = ["--checks", folder] if "--only-valid" in arguments else []
        status = main(["export", *arguments, *given, *checks])
        found = json.loads(report.read_text())
        jsonschema.validate(found, SCHEMA)
        assert found["exit_status"] == status
        return status, found

    return run


def files(folder: Path) -> list[str]:
    return sorted(os.listdir(folder))


def test_the_modes_and_what_is_written(
    write: Writer, run: Any, out: Path, tmp_path: Path, capsys: Captured
) -> None:
    scene = write("in/s.glb", gltf(*HERO, node("stray")))
    status, report = run(scene, "--directory", str(out), "--format", "glb")
    assert (status, files(out)) == (0, ["Hero.b.glb", "Hero.glb"])
    names = [item["name"] for item in document(out / "Hero.b.glb")["nodes"]]
    assert names == ["Hero.b", "part"]
    lines = capsys.readouterr().out.splitlines()
    assert re.fullmatch(
        rf"exported  {re.escape(str(out))}/Hero.glb  \d+ bytes  2 objects", lines[0]
    )
    assert lines[-1] == f"{scene}: 2 of 2 hierarchies exported, 1 object that no rule took"
    (told, other) = report["scenes"][0]["hierarchies"]
    size = (out / "Hero.glb").stat().st_size
    assert told["files"] == [{"path": str(out / "Hero.glb"), "bytes": size}]
    assert (told["roots"], told["objects"], told["status"]) == (["/Hero"], 2, "exported")
    assert report["summary"]["files"] == 2
    # Without a format, the project's; without a mode, beside the scene.
    assert run(scene)[0] == 0 and files(tmp_path / "in") == ["Hero.b.gltf", "Hero.gltf", "s.glb"]
    assert run(scene, "--mode", "project")[0] == 0
    assert files(out) == ["Hero.b.glb", "Hero.b.gltf", "Hero.glb", "Hero.gltf"]


@pytest.mark.parametrize(
    ("arguments", "told"),
    [
        (["--mode", "choose"], "--mode choose needs a --directory"),
        (["--mode", "local", "--directory", "."], "leave out --directory"),
        (["--checks", "."], "give that as well"),
        (["--strict"], "give that as well"),
        (["--format", "fbx"], "there is no format 'fbx'; there are glb, gltf"),
        (["--set", "up_axis"], "--set up_axis: a value is missing; the value is one of y, z"),
        (["--set", "scale"], "--set scale: a value is missing; the value is a number from 0.0001"),
        (["--set", "embed"], "--set embed: a value is missing; the value is one of on, true"),
        (["--set", "up=Z"], "sets no option of gltf; there are embed, extras"),
        (["--set", "up_axis=X"], "the value is one of y, z"),
        (["--set", "scale=0"], "the value is a number from 0.0001 to 10000"),
        (["--set", "embed=maybe"], "the value is one of on,"),
    ],
)
def test_arguments_that_make_no_sense(
    write: Writer, run: Any, out: Path, capsys: Captured, arguments: list[str], told: str
) -> None:
    scene = write("s.glb", gltf(*HERO))
    try:
        assert run(scene, *arguments)[0] == 2
    except FileNotFoundError:  # of the report, which was not begun
        assert arguments[0] in ("--mode", "--checks", "--strict")
    assert told in capsys.readouterr().err and files(out) == []


def test_statuses_of_scenes(write: Writer, run: Any, out: Path, capsys: Captured) -> None:
    good, stray = write("s.glb", gltf(HERO[0])), write("x.glb", gltf(node("stray")))
    into = ["--directory", str(out), "--set", "embed=on"]
    status, report = run(good, stray, *into)
    assert (status, [item["status"] for item in report["scenes"]]) == (1, ["exported", "unmatched"])
    assert report["scenes"][1]["diagnosis"]
    assert "x.glb departs from the project" in " ".join(capsys.readouterr().out.split())
    status, report = run("no.glb", good, *into)
    assert (status, [item["status"] for item in report["scenes"]]) == (2, ["error", "exported"])
    for into in (["--directory", str(out / "gone")], ["--mode", "project"]):
        status, report = run(good, *into, directory=str(out / "gone"))
        assert status == 2 and f"no folder to export to: {out}/gone" in capsys.readouterr().err
        assert report["scenes"][0]["reason"] == "lost_export_directory"
        assert report["scenes"][0]["hierarchies"][0]["status"] == "skipped"


def test_hierarchies_of_one_name_are_not_lost(
    write: Writer, run: Any, out: Path, capsys: Captured
) -> None:
    scenes = [write(f"{name}.glb", gltf(node("Hero", node("part", extras=name)))) for name in "ab"]
    into = ["--directory", str(out), "--format", "glb"]
    status, report = run(*scenes, *into)
    assert (status, files(out)) == (1, ["Hero.glb"])
    assert document(out / "Hero.glb")["nodes"][1]["extras"] == "a"
    assert "written a moment ago" in report["scenes"][1]["hierarchies"][0]["reason"]
    assert run(scenes[1], *into)[0] == 0, "another run replaces it"
    assert document(out / "Hero.glb")["nodes"][1]["extras"] == "b"
    assert "1 earlier file replaced" in capsys.readouterr().out
    status, report = run(*scenes, *into, "--version-control")
    assert (status, files(out)) == (0, ["Hero.glb", "Hero.v01.glb", "Hero.v02.glb"])


@pytest.mark.parametrize(
    ("template", "names"),
    [
        ("{scene}", ["a.glb", "b.x.glb"]),
        ("{root}-{scene}", ["Hero-a.glb", "Hero-b.x.glb"]),
        ("../{scene}/v1", ["___a_v1.glb", "___b.x_v1.glb"]),
        ("{scene", None),
        ("{asset}", None),
        ("", None),
    ],
)
def test_names_of_files(
    write: Writer, run: Any, out: Path, capsys: Captured, template: str, names: list[str] | None
) -> None:
    scenes = [write(f"{name}.glb", gltf(HERO[0])) for name in ("a", "b.x")]
    into = ["--directory", str(out), "--format", "glb", "--name", template]
    status, report = run(*scenes, *into)
    if names is None:
        assert status == 2 and files(out) == []
        assert f"--name {template!r}: it is a text with" in capsys.readouterr().err
        return
    assert (status, files(out)) == (0, names)
    (told,) = report["scenes"][0]["hierarchies"]
    assert (told["name"], told["replaced"]) == ("Hero", [])
    (told,) = run(scenes[0], *into)[1]["scenes"][0]["hierarchies"]
    assert told["replaced"] == [str(out / names[0])]
    assert "in place of an earlier file" in capsys.readouterr().out


def test_only_valid_hierarchies(write: Writer, run: Any, out: Path, capsys: Captured) -> None:
    scene = write("s.glb", gltf(*HERO))
    into = ["--directory", str(out), "--format", "glb", "--only-valid"]
    status, report = run(scene, *into, checklist=asked("test.size"))
    assert (status, files(out)) == (1, ["Hero.glb"])
    good, bad = report["scenes"][0]["hierarchies"]
    assert (good["status"], good["failures"]) == ("exported", 0)
    assert (bad["status"], bad["failures"], bad["file"]) == ("refused", 1, None)
    assert bad["findings"][0]["object"] == "/Hero.b/part"
    text = capsys.readouterr().out
    assert "refused  Hero.b: Size: The size is wrong (/Hero.b/part)" in text
    assert "1 of 2 hierarchies exported, 1 refused" in text
    status, report = run(scene, *into, checklist=asked("test.size", as_info=True))
    assert status == 0, "a note refuses nothing"
    assert run(scene, *into, checklist=asked("test.crash"))[1]["summary"]["refused"] == 2
    status, report = run(scene, *into, checklist=asked("test.gone"))
    assert status == 2 and report["scenes"][0]["reason"] == "no_checks"


def test_a_check_that_did_not_run_is_not_passed(
    write: Writer, run: Any, out: Path, capsys: Captured
) -> None:
    scene = write("s.glb", gltf(HERO[0]))
    into = ["--directory", str(out), "--only-valid"]
    gone, misfit = asked("test.size", "test.gone"), asked("test.size")
    misfit["test.size"] = {"enabled": True, "parameters": [{"state": {"wanted": {"valeu": 7}}}]}
    for checklist, strict, ended, word in (
        (gone, False, 1, "ask for what did not run, check not installed: test.gone"),
        (gone, True, 3, "1 check not installed: test.gone"),
        (misfit, True, 3, "1 check with stored parameters that do not fit: test.size"),
        (misfit, False, 0, ""),
        (asked("test.size"), True, 0, ""),
    ):
        status, report = run(scene, *into, *(["--strict"] if strict else []), checklist=checklist)
        (told,) = report["scenes"][0]["hierarchies"]
        assert (status, told["status"]) == (ended, "exported" if ended == 0 else "refused")
        assert word in told["reason"]
        assert bool(files(out)) is (ended == 0)
        assert ("--strict fails the run" in capsys.readouterr().err) is (ended == 3)
        for name in files(out):
            (out / name).unlink()


def test_an_interrupt_keeps_what_was_written(
    write: Writer, run: Any, out: Path, capsys: Captured
) -> None:
    good = write("s.glb", gltf(node("Hero", node("part"))))
    stop = write("stop.glb", gltf(node("Hero.b", node("stop")), node("Hero.c", node("part"))))
    into = ["--directory", str(out), "--format", "glb", "--only-valid"]
    status, report = run(good, stop, good, *into, checklist=asked("test.stop"))
    assert (status, files(out)) == (130, ["Hero.glb"])
    told = [[item["status"] for item in scene["hierarchies"]] for scene in report["scenes"]]
    assert told == [["exported"], ["skipped", "skipped"]] and report["interrupted"] is True
    assert "skipped  Hero.c: it was interrupted" in capsys.readouterr().out


def test_flags_come_from_the_project_and_the_command(write: Writer, run: Any, out: Path) -> None:
    scene = write("s.glb", gltf(node("Hero", node("part", mesh=0, scale=[2, 2, 2]))))
    into = ["--directory", str(out), "--format", "glb"]
    kinds = {"reset_xforms": True, "version_control": True}
    status, report = run(scene, *into, **kinds)
    assert status == 0 and "scale" not in document(out / "Hero.v01.glb")["nodes"][1]
    status, report = run(scene, *into, "--no-reset-xforms", **kinds)
    assert document(out / "Hero.v02.glb")["nodes"][1]["scale"] == [2, 2, 2]
    flags = report["run"]["flags"]
    assert (flags["reset_xforms"], flags["version_control"]) == (False, True)


def test_a_full_disk_is_told(write: Writer, run: Any, out: Path) -> None:
    large = [node("Hero", node("part", extras="x" * 100_000)), node("Hero.b", node("part"))]
    scene = write("s.glb", gltf(*large))
    (out / "Hero.glb").write_text("earlier")
    script = (
        "import resource, signal, sys; from kavel.cli import main\n"
        "signal.signal(signal.SIGXFSZ, signal.SIG_IGN)\n"
        "resource.setrlimit(resource.RLIMIT_FSIZE, (50_000, resource.RLIM_INFINITY))\n"
        "sys.exit(main(sys.argv[1:]))"
    )
    run(scene, "--directory", str(out), "--select", "/Hero.b")  # writes the project
    command = ["export", scene, "--project", str(Path(scene).parent / "p.json")]
    ended = subprocess.run(
        [sys.executable, "-c", script, *command, "--directory", str(out), "--format", "glb"],
        capture_output=True, text=True, timeout=60, check=False,
    )  # fmt: skip
    assert ended.returncode == 1, ended.stderr
    assert "skipped  Hero: " in ended.stdout and "File too large" in ended.stdout
    assert (out / "Hero.glb").read_text() == "earlier"
    assert document(out / "Hero.b.glb")["nodes"][0]["name"] == "Hero.b"


def test_exporters_in_one_folder_never_overwrite(write: Writer, run: Any, out: Path) -> None:
    scenes = []
    for name in "abc":
        part = node("part", extras=name)
        scenes.append(write(f"{name}.glb", gltf(node("Hero", part), node("Hero.b", part))))
    run(scenes[0], "--directory", str(out), "--select", "/Hero.b")  # writes the project
    for name in files(out):
        (out / name).unlink()
    given = ["--project", str(Path(scenes[0]).parent / "p.json"), "--directory", str(out)]
    each = 4
    running = [
        subprocess.Popen(
            [sys.executable, "-m", "kavel", "export", *[scene] * each, *given, "--version-control"],
            stdout=subprocess.PIPE, text=True,
        )
        for scene in scenes
    ]  # fmt: skip
    told = [line for process in running for line in process.communicate(timeout=120)[0].split("\n")]
    assert [process.returncode for process in running] == [0, 0, 0]
    assert len(files(out)) == len(scenes) * each * 2 and not any(
        "reserved" in n for n in files(out)
    )
    for stem in ("Hero", "Hero.b"):
        owners = [
            document(out / name)["nodes"][1]["extras"]
            for name in files(out)
            if re.match(rf"{stem}\.v\d+\.gltf", name)
        ]
        assert sorted(owners) == sorted("abc" * each)
    assert len([line for line in told if line.startswith("exported")]) == len(files(out))


def test_the_formats_offer_what_the_exporter_takes() -> None:
    for format in export_formats():
        values = {}
        for name, item in format._parameters.items():
            if format.is_switch(item):
                values[name] = item.enabled
            else:
                values[name] = item.get_selected() if format.is_combobox(item) else item.value
        assert read_settings(format.attr, values) == Settings()
        assert format.data == {}
        for text in ("extras=no", "up_axis=z", "scale=2", "parents=keep", "extensions=Drop"):
            set_option(format, text)
        assert format.data == {
            "extras": False, "up_axis": "Z", "scale": 2.0, "parents": "Keep", "extensions": "Drop",
        }  # fmt: skip
        with pytest.raises(KavelError):
            set_option(format, "scale=nan")
