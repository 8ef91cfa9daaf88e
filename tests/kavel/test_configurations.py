"""Stored parameters are compared with what the installed checks take."""

from __future__ import annotations

import json
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import pytest

import core
from kavel.configurations import Configurations
from kavel.projects import read_project
from kavel.stored_values import misfits

SAMPLES = Path(__file__).resolve().parents[2] / "samples"
KINDS = core.Parameters


class OwnRange(KINDS.IntRange):
    """Stores its value in a form of its own."""

    def load(self, data: Any) -> None:
        if data != "own form":
            raise ValueError("not my form")


def inputs() -> list[Any]:
    def ends() -> Any:
        return KINDS.IntSlice(KINDS.IntRange("a", 0, 9, 1, 1), KINDS.IntRange("b", 0, 9, 1, 2))

    box = [KINDS.ComboBox.Item("metre", "Metre", True), KINDS.ComboBox.Item("foot", "Foot")]
    return [
        KINDS.IntRange("count", 0, 10, 1, 4),
        KINDS.IntRange("outside", 0, 10, 1, 99),
        KINDS.FloatRange("size", -1.0, 1.5, 0.1, 2, 0.5),
        KINDS.Switch("flag", True),
        KINDS.RegEx("name", ".+"),
        KINDS.ComboBox("unit", box),
        KINDS.TextInputList("parts", [KINDS.TextInput("x", True)]),
        KINDS.TextMatchList("names", [KINDS.TextMatch("x")]),
        KINDS.IntSliceList("ranges", ends(), [ends()]),
        OwnRange("own", 0, 10, 1, 4),
    ]


class Check(core.Check.Base):
    class_id = short_name = long_name = "check"

    @staticmethod
    def parameters() -> Any:
        return KINDS.Block(inputs())


class Registry(dict):  # type: ignore[type-arg]
    """As the core's registry: looked up by id, and walked class by class."""

    def __iter__(self) -> Any:
        return iter(self.values())


CONFIGURATIONS = Configurations(Registry(check=Check))
ENDS = "each run of the check ends as an error"


def problems(state: Any, **members: Any) -> list[Any]:
    entry = {"enabled": True, "parameters": [{"as_info": False, "state": state, **members}]}
    return CONFIGURATIONS.of_checklist({"check": entry})


@pytest.mark.parametrize(
    ("attr", "value", "allowed", "effect"),
    [
        ("count", {"value": "4"}, "a whole number from 0 to 10", ENDS),
        ("count", {"value": 4.0}, "a whole number from 0 to 10", ENDS),
        ("count", {"value": True}, "a whole number from 0 to 10", "it counts as it stands"),
        ("count", {"value": 11}, "a whole number from 0 to 10", "it counts as it stands"),
        ("count", {"valeu": 5}, '{"value": ', "the default counts: 4"),
        ("count", {"value": 5, "x": 1}, '{"value": ', "taken for 5"),
        ("count", {}, '{"value": ', "the default counts: 4"),
        ("count", 5, '{"value": ', ENDS),
        ("count", {"value": 10**30}, '{"value": ', ENDS),
        ("size", {"value": float("nan")}, "a number from -1 to 1.5", ""),
        ("size", {"value": 1.6}, "a number from -1 to 1.5", "it counts as it stands"),
        ("size", {"value": None}, "a number from -1 to 1.5", ENDS),
        ("flag", {"enabled": 0}, "true or false", ENDS),
        ("flag", {"enabeld": False}, "true or false", "the default counts: on"),
        ("name", {"text": "(a"}, "a regular expression", f"at position 0): {ENDS}"),
        ("name", {"text": 3}, "a regular expression", ENDS),
        ("unit", {"selected_attr": "Foot"}, '"metre" or "foot"', "the default counts: metre"),
        ("unit", {"selected_attr": []}, '"metre" or "foot"', "the default counts: metre"),
        ("parts", {"text": "x", "enabled": True}, "a list of", ENDS),
        ("parts", [{"text": "y"}], '"enabled": true or false', "taken for [y (off)]"),
        ("parts", [{"text": ""}], '"enabled": true or false', 'taken for ["" (off)]'),
        ("names", [{"text": 3}], '{"text": a text}', ENDS),
        ("ranges", [{"start": {"value": 10}, "stop": {"value": 2}}], "from 0 to 9", "it counts"),
        ("ranges", [{"start": 1}], "from 0 to 9", ENDS),
        ("own", {"value": 3}, "what the parameter itself reads", ENDS),
    ],
)
def test_a_value_that_does_not_fit(attr: str, value: Any, allowed: str, effect: str) -> None:
    (problem,) = problems({attr: value})
    assert (problem.check, problem.parameter, problem.severity) == ("check", attr, "warning")
    assert allowed in problem.allowed and effect in problem.effect
    assert problem.found.endswith(json.dumps(value[0] if isinstance(value, list) else value))
    assert json.dumps(problem.data())


def test_what_fits() -> None:
    """The defaults of every kind, in the form in which they are stored; and what an older check,
    which had fewer parameters, has left out."""
    defaults = {item.attr: item.data for item in inputs() if item.attr != "own"}
    defaults["outside"] = {"value": 99}
    assert problems({**defaults, "own": "own form"}) == []
    assert problems({}) == [] and problems({"size": {"value": 1}, "ranges": []}) == []
    assert problems({"ranges": [{"start": {"value": 0}, "stop": {"value": 9}}]}) == []


@pytest.mark.parametrize(
    ("entry", "found", "effect"),
    [
        ({"as_info": 1, "state": {}}, '{"as_info": 1}', "what the check itself says counts"),
        ({"asinfo": True}, '{"asinfo": true}', 'it has no effect; is "as_info" meant?'),
        ({"state": []}, '{"state": []}', ENDS),
        ({"state": None}, '{"state": null}', "the defaults count"),
        ([], "[]", ENDS),
        ({"state": {"coumt": {"value": 4}}}, 'the parameter "coumt"', 'is "count" meant?'),
    ],
)
def test_a_set_that_does_not_fit(entry: Any, found: str, effect: str) -> None:
    checklist = {"check": {"enabled": True, "parameters": [{"state": {}}, entry]}}
    (problem,) = CONFIGURATIONS.of_checklist(checklist)
    assert problem.found == found and effect in (problem.effect or "")
    assert problem.set == 2 and "check check, set 2" in problem.place


def test_what_follows_is_what_happens() -> None:
    """The core itself loads the values: it ends in an error where that was told, and only there."""
    table = {item.attr: item for item in inputs()}
    for attr, value in [
        ("count", {"value": "4"}),
        ("count", {"value": 11}),
        ("unit", {"selected_attr": "Foot"}),
        ("ranges", [{"start": 1}]),
    ]:
        task = KINDS.Block.Task([table[attr]])
        task.load({attr: value})
        (misfit,) = misfits(table[attr], value)
        failed = False
        try:
            task.assert_no_errors()
        except Exception:
            failed = True
        assert failed == (misfit.effect == ENDS), attr


def test_the_place_of_a_rule_and_what_is_switched_off() -> None:
    entry = {"parameters": [{"state": {"count": 1}}]}
    rules: list[dict[str, Any]] = [
        {"name": "a", "stamp": "s", "checklist": {"check": {**entry, "enabled": True}}},
        {"name": "b", "stamp": "t", "checklist": {"check": entry, "gone": {}}},
        {"name": "c", "stamp": "u", "checklist": 3},
    ]
    (problem,) = CONFIGURATIONS.of_rules(rules)
    assert problem.place == 'rule "a" [s], check check, parameter "count"'
    assert [found.rule for found in CONFIGURATIONS.of_rules(rules, disabled=True)] == ["a", "b"]
    strict = Configurations({"check": Check}, strict=True)
    assert [found.severity for found in strict.of_rules(rules)] == ["error"]
    (missing,) = CONFIGURATIONS.missing(rules, disabled=True)
    assert (missing.rule, missing.check) == ("b", "gone") and not CONFIGURATIONS.missing(rules)


@pytest.mark.parametrize(
    ("class_id", "message"),
    [
        ("test.chek", "it cannot run; is test.check meant?"),
        ("bevelled EDGES", "it cannot run; it is the name of test.check, not an id"),
        ("nothing", "it cannot run"),
    ],
)
def test_what_a_missing_check_may_be(class_id: str, message: str) -> None:
    check = SimpleNamespace(class_id="test.check", long_name="Bevelled Edges", short_name="Bevel")
    registry = Registry({"test.check": check})
    (missing,) = Configurations(registry).missing_of({class_id: {"enabled": True}})
    assert missing.message.endswith(message)


@pytest.mark.parametrize("parameters", [lambda: 1 / 0, lambda: None, lambda: SimpleNamespace()])
def test_a_check_that_is_not_sound_is_left_to_others(parameters: Any) -> None:
    check = SimpleNamespace(parameters=parameters)
    entry = {"enabled": True, "parameters": [{"state": {"x": 1}}]}
    assert Configurations({"odd": check}).of_checklist({"odd": entry, "gone": entry}) == []


@pytest.mark.parametrize("file", sorted(SAMPLES.glob("*.json")), ids=lambda path: path.name)
def test_the_samples_fit(file: Path, tmp_path: Path) -> None:
    from kavel.own_checks import OwnChecks
    from kavel.registry import check_setup

    own = OwnChecks(str(tmp_path), check_setup(str(tmp_path)))
    rules = read_project(str(file)).rules
    configurations = Configurations(own.classes)
    assert (
        configurations.of_rules(rules, disabled=True)
        == []
        == configurations.missing(rules, disabled=True)
    )
