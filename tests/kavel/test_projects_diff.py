"""Comparing records: every difference is told, in words and as data."""

from __future__ import annotations

import copy
import json
import random
from collections import Counter
from typing import Any, Callable

import pytest
from conftest import project, rule, tree
from rich.cells import cell_len

from kavel.cli import main
from kavel.editing.changes import compare_records
from kavel.editing.tree_changes import Node, compare_trees, read_tree

Writer = Callable[[str, Any], str]
Capture = pytest.CaptureFixture[str]

CHECK = {
    "enabled": True,
    "opened": False,
    "parameters": [
        {"as_info": False, "state": {"maximum": {"value": 4}, "words": [{"text": "a"}]}}
    ],
}


def record() -> dict[str, Any]:
    """A record in the form in which the core gives it."""
    rules = [
        {**rule(name, types=["mesh"], limits=(1, 5)), "checklist": {}, "color": None, "icon": None}
        for name in ("rig", "arm", "hand", "spare")
    ]
    rules[1]["checklist"] = {"a.Check": copy.deepcopy(CHECK)}
    flags = {"automatic_uv": False, "triangulate": False}
    return {
        "export": {"directory": "~", "options": {"glb": {"scale": 1.0}}, "flags": flags},
        "rules": rules,
        "pattern": tree({"rig": {"arm": {}, "hand": {}}}),
        "author": "ann",
        "comment": "first",
    }


def set_rule(stamp: str, **fields: Any) -> Callable[[dict[str, Any]], None]:
    def change(data: dict[str, Any]) -> None:
        next(item for item in data["rules"] if item["stamp"] == stamp).update(fields)

    return change


def set_tree(shape: dict[str, Any]) -> Callable[[dict[str, Any]], None]:
    return lambda data: data.update(pattern=tree(shape))


def set_check(**fields: Any) -> Callable[[dict[str, Any]], None]:
    return lambda data: data["rules"][1]["checklist"]["a.Check"].update(fields)


def set_state(**state: Any) -> Callable[[dict[str, Any]], None]:
    return lambda data: data["rules"][1]["checklist"]["a.Check"]["parameters"][0]["state"].update(
        state
    )


def add_rule(data: dict[str, Any]) -> None:
    extra = {**data["rules"][0], "stamp": "x", "name": "thumb", "regex": "t$", "types": []}
    data["rules"].append(extra)
    data["pattern"] = tree({"rig": {"arm": {}, "hand": {"x": {}}}})


def remove_rule(data: dict[str, Any]) -> None:
    del data["rules"][1]
    data["pattern"] = tree({"rig": {"hand": {}}})


def renumber(data: dict[str, Any]) -> None:
    """The same rules under another identity, as of a project that a program writes."""
    text = json.dumps({"rules": data["rules"], "pattern": data["pattern"]})
    data.update(json.loads(text.replace('"stamp": "', '"stamp": "new ')))


CASES: list[tuple[Callable[[dict[str, Any]], Any], list[str]]] = [
    (lambda data: data.update(author="bob", comment="second"), ["nothing changed"]),
    (add_rule, ['+ rule "thumb"', "expression: t$", "types: any", "range: 1..5",
                "in the tree: below rig > hand"]),
    (remove_rule, ['- rule "arm"', "expression: arm$", "types: mesh", "range: 1..5",
                   "checks: a.Check", "no longer in the tree: below rig"]),
    (set_rule("arm", name="limb"), ['~ rule "limb"', 'name: "arm" -> "limb"']),
    (set_rule("arm", regex="a.*$"), ['~ rule "arm"', "expression: arm$ -> a.*$"]),
    (set_rule("arm", types=[]), ['~ rule "arm"', "types: mesh -> any"]),
    (set_rule("arm", range=[0, 5]), ['~ rule "arm"', "range: 1..5 -> 0..5 (widened)"]),
    (set_rule("arm", range=[2, 2]), ['~ rule "arm"', "range: 1..5 -> 2 (narrowed)"]),
    (set_rule("arm", range=[2, 9]), ['~ rule "arm"', "range: 1..5 -> 2..9"]),
    (set_rule("arm", range=[3, 2]), ['~ rule "arm"', "range: 1..5 -> 3..2 (narrowed)"]),
    (set_rule("arm", color="#000000"), ['~ rule "arm"', "color: none -> #000000"]),
    (lambda data: data["rules"].reverse(),
     ["~ order in the list of rules, without an effect on scenes:", "- rig, arm, hand, spare",
      "+ spare, hand, arm, rig"]),
    (set_tree({"rig": {"arm": {"hand": {}}}}),
     ['~ rule "hand"', "moved: below rig -> below rig > arm"]),
    (set_tree({"arm": {}, "rig": {"hand": {}}}),
     ['~ rule "arm"', "moved: below rig -> at the top"]),
    (set_tree({"rig": {"hand": {}, "arm": {}}}),
     ["~ order below rig:", "- arm, hand", "+ hand, arm"]),
    (set_tree({"rig": {"arm": {"spare": {}}, "hand": {}}}),
     ['~ rule "spare"', "in the tree: below rig > arm"]),
    (set_check(enabled=False), ['~ rule "arm"', "check a.Check: switched off"]),
    (set_check(opened=True), ['~ rule "arm"', "check a.Check: unfolded in user interfaces"]),
    (set_check(parameters=[]),
     ['~ rule "arm"', "check a.Check: sets of parameters", "was:", "set 1: maximum 4, words [a]",
      "now:", "defaults"]),
    (set_rule("arm", checklist={}), ['~ rule "arm"', "check a.Check: removed, was on"]),
    (set_rule("hand", checklist={"b.B": {**CHECK, "parameters": []}}),
     ['~ rule "hand"', "check b.B: added, on", "defaults"]),
    (set_state(maximum={"value": 5}), ['~ rule "arm"', "check a.Check, maximum: 4 -> 5"]),
    (set_state(switch={"enabled": True}),
     ['~ rule "arm"', "check a.Check, switch: (default) -> on"]),
    (set_state(words=[{"text": "a"}, {"text": "b"}]),
     ['~ rule "arm"', "check a.Check, words:", "+ b"]),
    (set_state(maximum={"text": "4"}),
     ['~ rule "arm"', 'check a.Check, maximum: {"value": 4} -> {"text": "4"}']),
    (lambda data: data["export"]["flags"].update(triangulate=True),
     ["~ export setting flags.triangulate: off -> on"]),
    (lambda data: data["export"]["options"]["glb"].update(scale=0.01),
     ["~ export setting options.glb.scale: 1.0 -> 0.01"]),
]  # fmt: skip


@pytest.mark.parametrize(("change", "lines"), CASES)
def test_what_is_told(
    change: Callable[[dict[str, Any]], Any], lines: list[str], write: Writer, capsys: Capture
) -> None:
    later = record()
    change(later)
    document = project([], records={"100": record(), "200": later}, selected_record=200)
    status = main(["projects", "diff", write("p.json", document)])
    told = [line.strip() for line in capsys.readouterr().out.splitlines()[3:]]
    assert told == lines
    assert status == (0 if lines == ["nothing changed"] else 1)


def test_the_change_as_data(write: Writer, capsys: Capture) -> None:
    later = record()
    set_rule("arm", range=[0, 5])(later)
    set_tree({"rig": {"arm": {"hand": {}}}})(later)
    document = project([], records={"100": record(), "200": later})
    path = write("p.json", document)
    assert main(["projects", "diff", path, "oldest", "newest", "--json", "-"]) == 1
    report = json.loads(capsys.readouterr().out)
    assert report["schema"] == "kavel.diff/1"
    assert (report["before"]["number"], report["after"]["timestamp"]) == (1, 200)
    assert report["changes"] == [
        {"kind": "range", "rule": "arm", "stamp": "arm", "before": [1, 5], "after": [0, 5],
         "effect": "widened"},
        {"kind": "place_moved", "rule": "hand", "stamp": "hand", "before": ["rig"],
         "after": ["rig", "arm"]},
    ]  # fmt: skip


def test_lines_fit_and_lose_nothing(write: Writer, capsys: Capture) -> None:
    later = record()
    later["rules"][0].update(regex="(" + "骨|" * 100 + "bone)$", name="n" * 200)
    later["comment"] = "word " * 40
    later["export"]["directory"] = "~/" + "deep/" * 40
    document = project([], name="A name " * 20, records={"100": record(), "200": later})
    main(["projects", "diff", write("p.json", document)])
    lines = capsys.readouterr().out.splitlines()
    assert max(map(cell_len, lines)) <= 80
    joined = "".join(line.strip() for line in lines)
    assert joined.count("骨") == 100 and joined.count("deep/") == 40 and joined.count("n" * 9) > 20


def test_two_rules_of_one_identity_are_two_rules() -> None:
    later = record()
    later["rules"] += [{**later["rules"][3], "name": name} for name in ("twin", "spare")]
    changes = compare_records(record(), later)
    assert [(change.kind, change.rule) for change in changes] == [
        ("rule_added", "twin"), ("rule_added", "spare"),
    ]  # fmt: skip


def test_rules_of_another_identity_are_known_by_their_name() -> None:
    later = record()
    renumber(later)
    set_rule("new hand", range=[1, 1])(later)
    kinds = Counter(change.kind for change in compare_records(record(), later))
    assert kinds == {"identity": 4, "range": 1}


def random_nodes(chance: random.Random, depth: int = 0) -> list[dict[str, Any]]:
    """Few rules in many places, so that places of one rule must be told apart."""
    return [
        {
            "stamp": chance.choice("abc"),
            "children": random_nodes(chance, depth + 1) if depth < 3 else [],
        }
        for _ in range(chance.randrange(4))
    ]


def balanced(old: Node, new: Node) -> bool:
    """Whether the numbers of places agree with what is told to be added and removed."""
    changes = Counter(place.kind for place in compare_trees(old, new))
    sizes = [len(list(walk(root))) for root in (old, new)]
    return sizes[0] - changes["place_removed"] == sizes[1] - changes["place_added"]


def walk(node: Node) -> list[Node]:
    return [node, *(below for child in node.children for below in walk(child))]


def test_trees_differ_exactly_when_a_change_is_told() -> None:
    chance = random.Random(7)
    equal = 0
    for _ in range(2000):
        one = random_nodes(chance)
        other = copy.deepcopy(one)
        if chance.random() < 0.8:
            other = random_nodes(chance)
        told = compare_trees(read_tree(one, {}), read_tree(other, {}))
        assert bool(told) == (one != other), (one, other)
        assert balanced(read_tree(one, {}), read_tree(other, {}))
        equal += one == other
    assert 300 < equal < 700
