"""Why nothing matched: the place, the item and the reason of what is told first."""

from __future__ import annotations

import json
from pathlib import Path
from typing import Any, Callable

import jsonschema  # type: ignore[import-untyped]
import pytest
from conftest import gltf, mesh, node, project, rule

import kavel.session
from kavel.cli import main
from kavel.diagnosis import Departure, Diagnosis, diagnose
from kavel.diagnosis.wording import headline
from kavel.logs import LogHandler
from kavel.projects import read_project
from kavel.report import SceneResult
from kavel.session import Session
from kavel.terminal import make_console

ROOT = Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "samples"
SCHEMA = json.loads((ROOT / "docs/schema/validation-report.schema.json").read_text())
Writer = Callable[[str, Any], str]
Scan = Callable[[Any, Any], SceneResult]

GHOST = rule("ghost", "", ["sceneRoot"])


@pytest.fixture
def scan(write: Writer) -> Scan:
    """Scans a glTF document, or a file, with a project document, or a file. Every diagnosis leaves
    the matcher as it was and follows the schema."""

    def scan(scene: Any, document: Any) -> SceneResult:
        scene = scene if isinstance(scene, str) else write("scene.gltf", scene)
        file = document if isinstance(document, str) else write("project.json", document)
        log = LogHandler(make_console(stderr=True))
        with log, Session(read_project(file), log) as session:
            state = session.api.scene.hierarchy.search.logic.state
            result = session.scan(scene)
            if result.diagnosis is not None:
                before = state.clone()
                assert diagnose(session.api) == result.diagnosis
                assert state == before
                schema = {"$ref": "#/$defs/diagnosis", "$defs": SCHEMA["$defs"]}
                jsonschema.validate(result.diagnosis.data(), schema)
            return result

    return scan


def told(result: SceneResult) -> list[Departure]:
    assert result.diagnosis is not None, result.status
    return result.diagnosis.departures


def outline(departure: Departure) -> tuple[str, str, str, str, tuple[str, ...]]:
    """Kind, place, item, the candidate's or the left objects' paths, the candidate's reasons."""
    near = departure.candidate
    return (
        departure.kind,
        departure.place,
        departure.item.rule if departure.item else "",
        near.path if near else ", ".join(departure.objects),
        tuple(reason.kind for reason in near.reasons) if near else (),
    )


ARM_L, ARM_R = "/scout_model/arm_L", "/scout_model/arm_R"


@pytest.mark.parametrize(
    ("sample", "expected"),
    [
        ("count", ("too_many", f"{ARM_L}/hand_L", "finger", f"{ARM_L}/hand_L/finger_L_5", ())),
        (
            "locator",
            ("missing", f"{ARM_R}/hand_R", "grip", f"{ARM_R}/hand_R/handle_R", ("name",)),
        ),
        ("missing", ("missing", "/scout_model/leg_R", "boot", "", ())),
        ("side", ("missing", ARM_L, "hand", f"{ARM_L}/hand_R", ("anchor",))),
        ("stray", ("stray", "/scout_model", "", "/scout_model/Cube", ())),
    ],
)
def test_the_broken_samples(scan: Scan, sample: str, expected: Any) -> None:
    result = scan(str(SAMPLES / f"broken_{sample}.glb"), str(SAMPLES / "character.json"))
    departures = told(result)
    assert outline(departures[0]) == expected
    # Exchanged hands are wrong at two places; every other sample has one fault.
    assert len(departures) == (2 if sample == "side" else 1) and departures[0].certain


def test_a_captured_text_is_told_with_its_origin(scan: Scan) -> None:
    result = scan(str(SAMPLES / "broken_side.glb"), str(SAMPLES / "character.json"))
    left, right = told(result)
    assert [vars(bound) for bound in left.bound] == [
        {"anchor": "<side>", "text": "L", "path": ARM_L}
    ]
    assert headline(right) == (
        f'in {ARM_R} ("arm"): "hand" is missing: needs 1, found 0; "hand_L" comes nearest, '
        'but its name has "L" where <side> is "R"'
    )


RULES = [
    rule("rig", "rig_<id:[a-z]+>$", ["transform"]),
    rule("body", "<id>_body$", ["mesh"]),
    rule("part", r"part_<id>_\d$", ["mesh"], [2, 3]),
    rule("group", "group$", ["transform"]),
    rule("extra", "extra$", ["mesh"], [0, 1]),
]
SHAPE: dict[str, Any] = {"rig": {"body": {}, "part": {}, "group": {"extra": {}}}}
PROJECT = project(RULES, SHAPE)
PARTS = [mesh("part_a_1"), mesh("part_a_2")]
GROUP = node("group", mesh("whatever"))  # accepted: its only item is optional
BODY = mesh("a_body")


def rig(*children: Any, name: str = "rig_a") -> Any:
    return node(name, *children)


@pytest.mark.parametrize(
    ("tops", "expected"),
    [
        pytest.param(
            [rig(node("a_body"), *PARTS, GROUP)],
            ("missing", "/rig_a", "body", "/rig_a/a_body", ("type",)),
            id="type",
        ),
        pytest.param(
            [rig(mesh("a_body", mesh("x")), *PARTS, GROUP)],
            ("missing", "/rig_a", "body", "/rig_a/a_body", ("children",)),
            id="children below a leaf",
        ),
        pytest.param(
            [rig(mesh("x"), mesh("A_Body"), *PARTS, GROUP)],
            ("missing", "/rig_a", "body", "/rig_a/A_Body", ("name",)),
            id="the more alike of two",
        ),
        pytest.param(
            [rig(mesh("b_body"), *PARTS, GROUP)],
            ("missing", "/rig_a", "body", "/rig_a/b_body", ("anchor",)),
            id="captured text",
        ),
        pytest.param(
            [rig(*PARTS, GROUP), BODY],
            ("missing", "/rig_a", "body", "/a_body", ("place",)),
            id="it lies at the top",
        ),
        pytest.param(
            [rig(BODY, PARTS[0], GROUP)], ("missing", "/rig_a", "part", "", ()), id="too few"
        ),
        pytest.param(
            [rig(BODY, *PARTS, mesh("part_a_3"), mesh("part_a_4"), GROUP)],
            ("too_many", "/rig_a", "part", "/rig_a/part_a_4", ()),
            id="too many",
        ),
        pytest.param(
            [rig(BODY, *PARTS, mesh("prt_a_3"), node("x"), GROUP)],
            ("stray", "/rig_a", "", "/rig_a/prt_a_3", ("name",)),
            id="a stray object near an item with room",
        ),
        pytest.param(
            [node("Camera"), rig(BODY, *PARTS, GROUP, name="Rig_a")],
            ("missing", "", "rig", "/Rig_a", ("name",)),
            id="the top object that comes nearest",
        ),
        pytest.param(
            [node("Camera"), node("RootNode", rig(BODY, *PARTS, GROUP))],
            ("missing", "", "rig", "/RootNode/rig_a", ("place",)),
            id="a wrapper around the asset",
        ),
    ],
)
def test_first_departures(scan: Scan, tops: Any, expected: Any) -> None:
    first = told(scan(gltf(*tops), PROJECT))[0]
    assert outline(first) == expected, headline(first)


MESH, ANY = rule("m", "m_.*", ["mesh"]), rule("any", "")
ASSET = rule("ghost", "asset_", ["transform"])


@pytest.mark.parametrize(
    ("rules", "shape", "tops", "expected"),
    [
        pytest.param(
            [ASSET, MESH],
            {"ghost": {"m": {}}},
            [node("Asset_1", mesh("m_1"))],
            ("root", "", "ghost", "/Asset_1", ("name",)),
            id="nothing stands for the ghost",
        ),
        pytest.param(
            [ASSET, MESH],
            {"ghost": {"m": {}}},
            [node("world", node("asset_1", mesh("m_1")))],
            ("root", "", "ghost", "/world/asset_1", ("selection",)),
            id="what stands for the ghost was not selected",
        ),
        pytest.param(
            [ASSET, MESH],
            {"ghost": {"m": {}}},
            [node("asset_1", node("m_1"), mesh("x"))],
            ("missing", "/asset_1", "m", "/asset_1/m_1", ("type",)),
            id="the top below a ghost object",
        ),
        pytest.param(
            [rule("ghost", "asset_", ["locator"]), MESH],
            {"ghost": {"m": {}}},
            [node("asset_1")],
            ("empty", "/asset_1", "", "", ()),
            id="a ghost object without children",
        ),
        pytest.param(
            [GHOST, {**MESH, "range": [0, 1]}],
            {"ghost": {"m": {}}},
            [node("x")],
            ("stray", "", "", "/x", ()),
            id="only optional items at the top",
        ),
        pytest.param(
            [GHOST, ANY, MESH],
            {"ghost": {"any": {}, "m": {}}},
            [mesh("m_1")],
            ("missing", "", "m", "/m_1", ("taken",)),
            id="an earlier item took it",
        ),
        pytest.param(
            [GHOST, {**MESH, "range": [3, 2]}],
            {"ghost": {"m": {}}},
            [mesh("m_1"), mesh("m_2")],
            ("missing", "", "m", "", ()),
            id="a range that no number is in",
        ),
        pytest.param(
            [ANY, MESH],
            {"any": {}, "m": {}},
            [mesh("m_1"), mesh("m_2")],
            ("alone", "", "", "", ()),
            id="two items at the top without a ghost",
        ),
        pytest.param(
            [ANY, MESH],
            {"any": {"m": {}}},
            [node("a", mesh("m_1"), mesh("n"), mesh("o"))],
            ("stray", "/a", "", "/a/n, /a/o", ()),
            id="strays together",
        ),
    ],
)
def test_tops_and_items(scan: Scan, rules: Any, shape: Any, tops: Any, expected: Any) -> None:
    first = told(scan(gltf(*tops), project(rules, shape)))[0]
    assert outline(first) == expected, headline(first)


@pytest.mark.parametrize("limits", [[4, 1], [4, 0]])
def test_an_impossible_range_is_told_once_and_whole(scan: Scan, limits: list[int]) -> None:
    tops = [mesh("m_1"), mesh("m_2"), mesh("m_3")]
    rules = [GHOST, {**MESH, "range": limits}]
    (departure,) = told(scan(gltf(*tops), project(rules, {"ghost": {"m": {}}})))
    said = f'"m" fits no number of objects: its range is {limits[0]} to {limits[1]}'
    assert headline(departure) == f"at the top of the scene: {said}"


@pytest.mark.parametrize(
    ("left", "lid", "expected"),
    [
        pytest.param([], "chest_gold_lid", ("lid", "place"), id="its old parent is a leaf now"),
        pytest.param([mesh("lock")], "chest_gold_lid", ("lid", "place"), id="it is none"),
        pytest.param([], "chest_iron_lid", ("body", "name"), id="of another parent"),
        pytest.param(
            [mesh("chest_gold_lid"), mesh("lock"), mesh("x")],
            "chest_gold_lid",
            ("body", "name"),
            id="there is no room for it",
        ),
    ],
)
def test_an_object_that_was_dragged_out(
    scan: Scan, left: Any, lid: str, expected: tuple[str, str]
) -> None:
    rules = [
        rule("prop"),
        rule("box"),
        rule("any", ""),  # what takes everything is nobody's home,
        rule("word", r"\w+$"),  # and neither is what takes nearly everything
        rule("chest", "chest_<id:[a-z]+>$"),
        rule("lid", "chest_<id>_lid", ["mesh"]),
        rule("lock"),
        rule("body", "chest_gold_body", ["mesh"]),
    ]
    below: dict[str, Any] = {
        "box": {"any": {}, "word": {}},
        "chest": {"lid": {}, "lock": {}},
        "body": {},
    }
    shape = {"prop": below}
    inside = [node("box"), node("chest_gold", *left), mesh("chest_gold_body"), mesh(lid)]
    departures = told(scan(gltf(node("prop", *inside)), project(rules, shape)))
    (stray,) = (found for found in departures if found.objects == (f"/prop/{lid}",))
    near = stray.candidate
    assert near is not None and near.item is not None
    assert (near.item.rule, near.reasons[0].kind) == expected
    if expected == ("lid", "place"):
        assert headline(stray).endswith('it fits "lid", which belongs below "chest_gold"')


@pytest.mark.parametrize(
    ("name", "said"),
    [
        ("m_1 ", '"m_1 " comes nearest, but its name ends with a blank'),
        (" m_1", '" m_1" comes nearest, but its name begins with a blank'),
        ("m/_1", '"m/_1" (m%2F_1 in paths) comes nearest, but its name does not match'),
        ("", "left over is #1 (an object without a name), but its name does not match"),
        ("m_ 2", '"m_ 2" comes nearest, but its name does not match'),
    ],
)
def test_names_that_are_hard_to_see(scan: Scan, name: str, said: str) -> None:
    rules = [ANY, rule("m", r"m_\d$")]
    (departure,) = told(scan(gltf(node("a", mesh(name))), project(rules, {"any": {"m": {}}})))
    assert headline(departure).endswith(f"; {said}")


def test_a_rule_twice_on_a_level(scan: Scan) -> None:
    document = project([ANY, MESH], {"any": {"m": {}}})
    top = document["records"]["1700000000"]["pattern"][0]
    top["children"] = top["children"] * 2
    (departure,) = told(scan(gltf(node("a", mesh("m_1"), mesh("x"))), document))
    assert outline(departure) == ("repeated", "/a", "m", "", ())


def test_what_the_matcher_accepts_is_no_departure(scan: Scan) -> None:
    """A wrong level with an optional item, a childless group that lacks everything, and strays at
    the top of the scene: all accepted, and named nowhere."""
    rules = [GHOST, *RULES, rule("bare", "bare$"), rule("leaf")]
    shape = {"ghost": {**SHAPE, "bare": {"leaf": {}}}}
    scene = [rig(*PARTS, node("group", mesh("q"))), node("bare"), node("stray", mesh("x"))]
    (departure,) = told(scan(gltf(*scene), project(rules, shape)))
    assert outline(departure) == ("missing", "/rig_a", "body", "", ())


def test_below_a_wrong_level_nothing_is_certain(scan: Scan) -> None:
    rules = [ANY, rule("arm", "arm_.*", ["transform"], [1, 2]), MESH]
    scene = node("a", node("arm_1", mesh("x")), mesh("stray"))
    first, second = told(scan(gltf(scene), project(rules, {"any": {"arm": {"m": {}}}})))
    assert (first.kind, first.place, first.certain) == ("stray", "/a", True)
    assert (second.kind, second.place, second.certain) == ("missing", "/a/arm_1", False)


# Bounds


def many(number: int) -> Any:
    return [node(f"arm_{index}", mesh("x")) for index in range(number)]


@pytest.mark.parametrize(
    ("children", "more"),
    [
        pytest.param(many(300), 280, id="wrong branches"),
        pytest.param([mesh(f"x{index}") for index in range(20_000)], 0, id="strays"),
        pytest.param([mesh(f"arm_{index}") for index in range(20_000)], 0, id="too many"),
    ],
)
def test_what_is_told_is_bounded(scan: Scan, children: Any, more: int) -> None:
    rules = [ANY, rule("arm", "arm_.*", [], [1, 1000]), MESH]
    result = scan(gltf(node("a", *children)), project(rules, {"any": {"arm": {"m": {}}}}))
    diagnosis = result.diagnosis
    assert diagnosis is not None and diagnosis.more == more and diagnosis.complete
    assert len(diagnosis.departures) <= 20
    assert len(json.dumps(diagnosis.data())) < 20_000
    if not more:
        left = sum(len(found.objects) + found.more for found in diagnosis.departures)
        assert left == len(children) - (1000 if children[0].name.startswith("arm") else 0)


@pytest.mark.parametrize("name", ["a", "b"])
def test_levels_that_were_not_looked_at_are_told(
    scan: Scan, monkeypatch: pytest.MonkeyPatch, name: str
) -> None:
    """Below one top, and of many tops that do not fit at all."""
    monkeypatch.setattr("kavel.diagnosis.scene._LEVELS", 30)
    rules = [rule("a"), rule("arm", "arm_.*", [], [1, 1000]), MESH]
    tops = [node("a", *many(50))] if name == "a" else many(50)
    result = scan(gltf(*tops), project(rules, {"a": {"arm": {"m": {}}}}))
    assert result.diagnosis is not None and result.diagnosis.departures
    assert not result.diagnosis.complete and 0 < result.diagnosis.more < 30


# The command line


def test_it_is_told_within_80_columns(write: Writer, capsys: pytest.CaptureFixture[str]) -> None:
    scene = write("s.gltf", gltf(rig(mesh("b_body"), *PARTS, GROUP, name="rig_a")))
    file = write("p.json", PROJECT)
    assert main(["scan", scene, "--project", file]) == 1
    out = capsys.readouterr().out
    assert out[out.index("project:") : out.index(f"{scene}: nothing")] == (
        "project:\n"
        '  in /rig_a ("rig"): "body" is missing: needs 1, found 0; "b_body" comes\n'
        '    nearest, but its name has "b" where <id> is "a"\n'
        '      "body" has the expression <id>_body$, type mesh\n'
        '      <id> is "a" here, because of /rig_a\n'
    )
    assert main(["scan", scene, "--project", file, "-q"]) == 1
    assert "departs" not in capsys.readouterr().out


def test_a_failing_diagnosis_leaves_the_verdict(
    write: Writer, capsys: pytest.CaptureFixture[str], monkeypatch: pytest.MonkeyPatch
) -> None:
    def fail(*_: Any) -> Diagnosis:
        raise RuntimeError("no idea")

    monkeypatch.setattr(kavel.session, "diagnose", fail)
    scene = write("s.gltf", gltf(node("x")))
    assert main(["scan", scene, "--project", write("p.json", PROJECT), "--json", "-"]) == 1
    out, err = capsys.readouterr()
    assert json.loads(out)["scenes"][0]["diagnosis"] is None
    assert "why nothing matched could not be found out: RuntimeError: no idea" in err
