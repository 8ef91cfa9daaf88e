"""`kavel stats`, and the records that validations leave."""

from __future__ import annotations

import json
import subprocess
import sys
from pathlib import Path
from xml.etree import ElementTree

import pytest

from kavel.cli import main
from kavel.stats_picture import COLOURS, seconds, stats_picture
from kavel.usage import CheckUsage, check_usage

SAMPLES = Path(__file__).resolve().parents[2] / "samples"
Captured = pytest.CaptureFixture[str]


@pytest.fixture(autouse=True)
def home(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    monkeypatch.setenv("KAVEL_HOME", str(tmp_path / "home"))
    return tmp_path / "home"


def validate(*options: str) -> list[str]:
    project = str(SAMPLES / "character.json")
    return ["validate", str(SAMPLES / "draft.glb"), "--project", project, "-q", *options]


def runs(capsys: Captured) -> dict[str, int]:
    capsys.readouterr()
    assert main(["stats", "--json", "-"]) == 0
    checks = json.loads(capsys.readouterr().out)["checks"]
    return {check["name"]: check["runs"] for check in checks}


def test_every_run_leaves_its_records(capsys: Captured, tmp_path: Path) -> None:
    assert runs(capsys) == {}
    main(validate())
    once = runs(capsys)
    assert sum(once.values()) > 100
    main(validate("--fix", "--dry-run"))
    assert runs(capsys) == {name: 2 * number for name, number in once.items()}
    picture = tmp_path / "stats.svg"
    assert main(["stats", "--picture", str(picture), "--clear"]) == 0
    out = capsys.readouterr().out
    assert "failures" in out and "Missing or Zero Normals (kavel.mesh.normals)" in out
    drawn = "".join(ElementTree.parse(picture).getroot().itertext())
    assert all(name in drawn for name in once) and "kavel.mesh.normals" in drawn
    assert runs(capsys) == {}


def test_two_processes_lose_and_double_nothing(capsys: Captured) -> None:
    main(validate())
    once = runs(capsys)
    command = [sys.executable, "-m", "kavel", *validate()]
    running = [subprocess.Popen(command, stdout=subprocess.DEVNULL) for _ in range(3)]
    assert [process.wait(timeout=120) for process in running] == [1, 1, 1]
    assert runs(capsys) == {name: 4 * number for name, number in once.items()}


def test_only_svg_is_drawn(capsys: Captured) -> None:
    assert main(["stats", "--picture", "stats.png"]) == 2
    assert "written as .svg" in capsys.readouterr().err


def test_usage() -> None:
    def record(name: object, result: object, speed: object) -> dict[str, object]:
        return {"name": name, "result": result, "timestamp": 1.0, "speed": speed}

    records = [
        record("Size (Task 01)", "pass", 0.5),
        record("Size (Task 12)", "error", 1.5),
        record("Names", "fail", 0.25),
        record("Names", "info", 0.75),
        record(3, "pass", 1.0),
        record("Names", "odd", 1.0),
        record("Names", "pass", None),
        None,
    ]
    told = [
        (usage.name, usage.runs, usage.failures, usage.mean, usage.worst)
        for usage in check_usage(records, {})
    ]
    assert told == [("Size", 2, 1, 1.0, 1.5), ("Names", 2, 1, 0.5, 0.75)]


def test_the_ids_of_records() -> None:
    """Records hold names; two checks of one name cannot be told apart."""
    records = [
        {"name": name, "result": "pass", "timestamp": 1.0, "speed": 1.0}
        for name in ("Size (Task 01)", "Names", "Gone")
    ]
    names = {"a.size": "Size", "a.names": "Names", "b.names": "Names"}
    usages = check_usage(records, names)
    assert {usage.name: usage.data()["check"] for usage in usages} == {
        "Size": "a.size",
        "Names": None,
        "Gone": None,
    }


def rectangles(picture: str, colour: str) -> list[float]:
    """The widths of what is drawn in a colour."""
    root = ElementTree.fromstring(picture)
    found = [item for item in root.iter() if item.tag.endswith("rect")]
    return [float(item.attrib["width"]) for item in found if item.get("fill") == colour]


def test_the_picture_has_scales_and_a_legend() -> None:
    def usage(name: str, fails: int, passes: int, worst: float) -> CheckUsage:
        counts = {"pass": passes, "info": 0, "fail": fails, "error": 0}
        return CheckUsage(name, f"id.{name}", counts, worst, worst)

    picture = stats_picture(
        [usage("a<b>\x1b", 1, 999, 2.0), usage("c", 250, 250, 0.0), usage("d", 0, 0, 1e-9)]
    )
    texts = [item.text for item in ElementTree.fromstring(picture).iter() if item.text]
    for words in ("error: did not run to its end", "fail", "info", "pass", "the mean of all runs"):
        assert words in texts
    assert {"0", "500", "1000", "1 s", "10 s", "a<b>\\x1b", "id.c"} <= set(texts)
    *passed, swatch = rectangles(picture, COLOURS["pass"])
    assert passed == pytest.approx([passed[0], passed[0] * 250 / 999], rel=0.01)
    *failed, swatch = rectangles(picture, COLOURS["fail"])
    assert failed[0] == 2.0 and failed[1] == passed[1], "one failure of a thousand is seen"
    assert stats_picture([]).count("<rect") == 1 and "no check has run yet" in stats_picture([])


@pytest.mark.parametrize(
    ("value", "text"),
    [
        (0, "0 µs"),
        (1.25e-5, "12.5 µs"),
        (0.0037, "3.70 ms"),
        (0.0999996, "100 ms"),
        (0.35, "350 ms"),
        (1.0, "1.00 s"),
        (4000, "4000 s"),
    ],
)
def test_times_have_one_precision(value: float, text: str) -> None:
    assert seconds(value) == text
