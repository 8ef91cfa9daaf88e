"""The straight search against cases worked out by hand: an oracle has to be right by itself.

The cases of single expressions hold for the core as well.
"""

from __future__ import annotations

import re
import sys
from collections.abc import Sequence
from pathlib import Path
from typing import Any

import pytest

import core

sys.path.insert(0, str(Path(__file__).parents[2] / "benchmarks"))

import scenes
import straight
from random_scenes import random_case
from straight_anchors import Anchor, State
from straight_pattern import find

Item = tuple[dict[str, Any], list[Any]]
Tree = dict[str, Any]


def item(
    stamp: str,
    regex: str,
    *children: Item,
    types: Sequence[str] = (),
    counts: tuple[int, int] = (1, 1),
) -> Item:
    """A rule, named and stamped alike, with the items below it."""
    rule = {
        "stamp": stamp,
        "name": stamp,
        "regex": regex,
        "types": list(types),
        "range": list(counts),
    }
    return rule, list(children)


def record_of(*items: Item, unknown: Sequence[str] = ()) -> dict[str, Any]:
    rules: list[dict[str, Any]] = []

    def node(entry: Item) -> dict[str, Any]:
        rules.append(entry[0])
        return {"stamp": entry[0]["stamp"], "children": [node(child) for child in entry[1]]}

    pattern = [node(entry) for entry in items]
    return {"rules": [rule for rule in rules if rule["stamp"] not in unknown], "pattern": pattern}


def scene_of(tree: Tree) -> scenes.MemoryScene:
    """A scene from nested maps of "name" (a transform) or "name:type"."""
    scene = scenes.MemoryScene()

    def pour(level: Tree, parent: str | None) -> None:
        for text, below in level.items():
            name, _, kind = text.partition(":")
            pour(below, scene.add(name, kind or "transform", parent))

    pour(tree, None)
    return scene


def matched(record: dict[str, Any], tree: Tree) -> list[str] | None:
    """The "path rule" rows of the only root scope, none when it is invalid."""
    scene = scene_of(tree)
    (result,) = straight.scan(scene, record, scene.roots)
    return [f"{path} {stamp}" for _, path, stamp in result.flat()] if result.valid else None


def under_root(*items: Item) -> dict[str, Any]:
    return record_of(item("root", "root$", *items))


IDS = under_root(item("id", r"<id:\d+>$", item("part", "<id>_part$"), counts=(1, 2)))
SIBLINGS = under_root(item("use", "<id>_col$"), item("def", r"<id:\d+>_mesh$"))
GREEDY = under_root(item("any", r"x\d$", counts=(1, 2)), item("three", "x3$"))
COUNTS = under_root(item("x", r"x\d$", counts=(1, 2)))
OPTIONAL = under_root(item("a", "a$"), item("b", "b$", counts=(0, 1)))
REFUSED = under_root(
    item("leaf", r"<n:\d+>$"),
    item("group", r"\d+$", item("below", "<n>_x$")),
)
ONE_TOO_MANY = under_root(
    item("one", r"<n:\d+>$", item("a", "a$")),
    item("rest", r"\d+$", item("below", "<n>_x$")),
)
TWICE = under_root(item("r", r"x\d$"), item("r", r"x\d$"))
LOST = record_of(item("root", "root$", item("a", "a$"), item("lost", "b$")), unknown=["lost"])


@pytest.mark.parametrize(
    ("record", "tree", "rows"),
    [
        # a leaf on a leaf item is finished; a leaf item takes no object that has children
        (record_of(item("root", "root$")), {"root": {}}, ["/root root"]),
        (record_of(item("root", "root$")), {"root": {"a": {}}}, None),
        # captures hold for their own branch
        (
            IDS,
            {"root": {"12": {"12_part": {}}, "7": {"7_part": {}}}},
            ["/root root", "/root/12 id", "/root/12/12_part part"]
            + ["/root/7 id", "/root/7/7_part part"],
        ),
        (IDS, {"root": {"12": {"7_part": {}}, "7": {"12_part": {}}}}, None),
        # between siblings a use stands for the sub-expression; the definition is searched first
        (
            SIBLINGS,
            {"root": {"13_col": {}, "12_mesh": {}}},
            ["/root root", "/root/12_mesh def", "/root/13_col use"],
        ),
        (SIBLINGS, {"root": {"x_col": {}, "12_mesh": {}}}, None),
        # the first item takes what it can, in scene order, and nothing is tried again
        (
            GREEDY,
            {"root": {"x1": {}, "x2": {}, "x3": {}}},
            ["/root root", "/root/x1 any", "/root/x2 any", "/root/x3 three"],
        ),
        (GREEDY, {"root": {"x3": {}, "x1": {}, "x2": {}}}, None),
        # counts: none is too few, but a group without children is not entered at all
        (COUNTS, {"root": {"x1": {}}}, ["/root root", "/root/x1 x"]),
        (COUNTS, {"root": {"x2": {}, "x1": {}}}, ["/root root", "/root/x2 x", "/root/x1 x"]),
        (COUNTS, {"root": {"x1": {}, "x2": {}, "x3": {}}}, None),
        (COUNTS, {"root": {"y": {}}}, None),
        (COUNTS, {"root": {}}, ["/root root"]),
        (under_root(item("x", "x", counts=(2, 1))), {"root": {"x1": {}, "x2": {}}}, None),
        # one optional item lets every wrong guess of its level pass, with nothing assigned
        (OPTIONAL, {"root": {"a": {}}}, ["/root root", "/root/a a"]),
        (OPTIONAL, {"root": {"b": {}}}, ["/root root"]),
        (OPTIONAL, {"root": {"a": {}, "stranger": {}}}, ["/root root"]),
        # types
        (
            record_of(item("m", "", types=["mesh", "locator"])),
            {"m:locator": {}},
            ["/m m"],
        ),
        (record_of(item("m", "", types=["mesh"])), {"m": {}}, None),
        # an object that a leaf item refuses leaves no capture behind for the item that takes it
        (
            REFUSED,
            {"root": {"12": {"99_x": {}}, "7": {}}},
            ["/root root", "/root/7 leaf", "/root/12 group", "/root/12/99_x below"],
        ),
        # nor does one that matches when its item has enough
        (
            ONE_TOO_MANY,
            {"root": {"7": {"a": {}}, "12": {"99_x": {}}}},
            ["/root root", "/root/7 one", "/root/7/a a", "/root/12 rest", "/root/12/99_x below"],
        ),
        # a rule that stands twice on a level: both items answer with what the later one took
        (
            TWICE,
            {"root": {"x1": {}, "x2": {}}},
            ["/root root", "/root/x2 r", "/root/x2 r"],
        ),
        # an item without a rule asks for nothing and takes nothing
        (LOST, {"root": {"a": {}}}, ["/root root", "/root/a a"]),
        (LOST, {"root": {"a": {}, "b": {}}}, None),
    ],
)
def test_assignment(record: dict[str, Any], tree: Tree, rows: list[str] | None) -> None:
    assert matched(record, tree) == rows


def test_an_empty_root_list_needs_an_optional_item() -> None:
    for counts, valid in (((0, 1), True), ((1, 1), False)):
        record = record_of(item("a", "a", counts=counts))
        matcher = straight.Matcher(straight.Snapshot(scenes.MemoryScene(), []), record)
        assert matcher.is_valid([]) is valid


both = pytest.mark.parametrize("made", [Anchor, core._Hierarchy.Anchor], ids=["plain", "core"])


def logic(made: Any, *keys: str, **captures: set[tuple[str, str]]) -> Any:
    anchor = made()
    expressions = {key: captures.get(f"k{i}", set()) for i, key in enumerate(keys)}
    if made is Anchor:
        anchor.state = State(expressions)
    else:
        anchor.state.set(expressions)
    return anchor


@both
@pytest.mark.parametrize(
    ("expression", "name", "texts"),
    [
        (r"<a:\d+>_mesh$", "12_mesh", ["12"]),
        (r"<a:\d+>_mesh$", "x_mesh", None),
        # what the parts before and after leave, which need not be what the group matched
        ("<s:(L|R)>", "L_arm", ["L_arm"]),
        (r"<a:.+>_\w+", "12_a_b", ["12"]),
        (r"<a:\d+>_mesh$", "12_mesh\n", ["12\n"]),
        # markers inside a sub-expression go when text stands on that side
        (r"<a:\d+$>_x$", "3_x", ["3"]),
        (r"x_<a:^\d+>", "x_3", ["3"]),
        # global flags stay in front, and hold for the part after as well
        ("(?i)ARM_<s:(l|r)>_X$", "arm_L_x", ["L"]),
        # an empty text is a capture; a sub-expression gets no group of its own
        ("<t:[^_]*>_geo$", "_geo", [""]),
        ("<s:L|R>_arm", "R_arm", ["R"]),
        (r"<s:[LR]>_<n:\d+>$", "L_7", ["L", "7"]),
        (r"cost\$<n:\d+>", "cost$5", ["5"]),
        (r"<n:\d+>_<n>$", "1_2", ["1"]),
    ],
)
def test_captures(made: Any, expression: str, name: str, texts: list[str] | None) -> None:
    keys = find(expression)
    anchor = logic(made, *keys)
    assert anchor.match(expression, name, "/p") is (texts is not None)
    expected = [{("/p", text)} for text in texts] if texts is not None else [set()] * len(keys)
    assert list(anchor.state.expressions.values()) == expected


@both
@pytest.mark.parametrize(
    ("captures", "path", "replaced"),
    [
        ({("/a", "L"), ("/a/b", "R")}, "/a/b/c", "L_arm"),  # nearest the root
        ({("/a", "L"), ("/b", "R")}, "/b/c", "R_arm"),
        ({("/a", "L")}, "/a", "L_arm"),
        ({("/a1", "L"), ("/a/b", "R")}, "/a12", "<n>_arm"),  # a shared prefix is no ancestor
        ({("/a/b", "L")}, "/a", "<n>_arm"),
        ({("|a|b", "L")}, "\\a\\b/c", "L_arm"),
        ({("a/b", "B"), ("a", "Z")}, "a|b|c", "Z_arm"),  # a tie: fewer components, then text
        ({("a", "Z"), ("a", "B")}, "a", "B_arm"),
        ({("/a", "<n>_x")}, "/a", "<n>_x_arm"),  # ends although the use is still there
        ({("/a", "<n>_x"), ("/a/b", "R")}, "/a/b", "<n>_x_arm"),  # one capture decides, once
        ({("/a", "")}, "/a", "_arm"),
    ],
)
def test_replacement(made: Any, captures: set[tuple[str, str]], path: str, replaced: str) -> None:
    assert logic(made, "<n:.+>", k0=captures).replace_anchors("<n>_arm", path) == replaced


@both
def test_the_first_key_with_a_capture_decides(made: Any) -> None:
    keys = (r"<n:\d+>", "<n:[a-z]+>")
    anchor = logic(made, *keys, k0={("/a/b", "1")}, k1={("/a", "x")})
    assert anchor.replace_anchors("<n>", "/a/b") == "1"
    assert anchor.replace_anchors("<n>", "/a/c") == "x"


@both
@pytest.mark.parametrize(
    ("key", "expression", "plain"),
    [
        (r"<n:\d+>", "<n>_arm_<n>", r"\d+_arm_\d+"),
        (r"<n:\d+>", "<m>_<n:x>", "<m>_<n:x>"),
        (r"<n:^\d+$>", "<n>", r"^\d+$"),
        (r"<n:^\d+$>", "a<n>b", r"a\d+b"),
        (r"<n:a\$>", r"<n:a\$>_x", "a\\_x"),
    ],
)
def test_plain_expression(made: Any, key: str, expression: str, plain: str) -> None:
    assert logic(made, key).apply_anchors(expression) == plain


@pytest.mark.parametrize(
    ("regex", "name", "error"),
    [
        (r"<n:\d+>_<n:\d+>", "no match at all", ValueError),
        (r"(<n:\d+>_)?mesh", "mesh", re.error),
        ("(", "x", re.error),
    ],
)
def test_errors_reach_the_caller(regex: str, name: str, error: type[Exception]) -> None:
    with pytest.raises(error):
        matched(record_of(item("r", regex)), {name: {}})


@pytest.mark.parametrize(
    ("types", "tree", "roots", "scopes", "ghosts"),
    [
        ([], {"b": {}, "a": {}}, None, [["/b", "/a"]], [None]),
        (["sceneRoot"], {"w": {"a": {}}}, ["/w/a", "/w"], [["/w"]], [None]),
        (["sceneRoot"], {"w:sceneRoot": {"a": {}}, "b": {}}, None, [["/w/a", "/b"]], ["/w"]),
        (["transform"], {"w1": {"a": {}}, "x": {}, "w2": {}}, None, [["/w1/a"], []], ["/w1", None]),
        (["mesh"], {"w1": {"a": {}}}, None, [], []),
        (
            ["transform"],
            {"s": {"w1": {"a": {}, "b": {}}}},
            ["/s/w1"],
            [["/s/w1/a", "/s/w1/b"]],
            ["/s/w1"],
        ),
        (
            ["transform", "sceneRoot"],
            {"s": {"w1": {"a": {}}}},
            ["/s", "/s/w1"],
            [["/s"], ["/s/w1/a"]],
            [None, "/s/w1"],
        ),
    ],
)
def test_ghost_roots(
    types: list[str],
    tree: Tree,
    roots: list[str] | None,
    scopes: list[list[str]],
    ghosts: list[str | None],
) -> None:
    scene = scene_of(tree)
    record = record_of(item("ghost", r"w\d$", item("a", "a"), types=types))
    matcher = straight.Matcher(straight.Snapshot(scene, scene.roots), record)
    found, parents = matcher.root_scopes(scene.roots if roots is None else roots)
    assert found == scopes
    assert [parents[paths[0]] if paths else None for paths in found] == ghosts


def test_ghost_scope_is_masked_in_name_order() -> None:
    record = record_of(item("beside", "b"), item("ghost", "", item("one", ".$", counts=(1, 2))))
    scene = scene_of({"c": {}, "b": {}, "stranger": {}, "a": {}})
    (result,) = straight.scan(scene, record, scene.roots)
    assert (result.masked, result.valid) == (["/a", "/b"], True)
    assert result.flat() == [(0, "/a", "one"), (0, "/b", "one")]

    needs_two = record_of(item("ghost", "", item("a", "a$"), item("z", "z$")))
    (result,) = straight.scan(scene, needs_two, scene.roots)
    assert (result.masked, result.valid) == ([], False)


def test_without_a_ghost_each_root_stands_alone() -> None:
    scene = scene_of({"b": {}, "a": {}, "x": {}})
    results = straight.scan(scene, record_of(item("r", "[ab]$")), scene.roots)
    assert [(result.masked, result.valid) for result in results] == [
        (["/b"], True),
        (["/a"], True),
        ([], False),
    ]
    assert (
        straight.Matcher(straight.Snapshot(scene, ["/a"]), record_of()).is_ghost_root(None, "/a")
        is False
    )


def test_a_scene_that_loops_ends() -> None:
    scene = scene_of({"a": {"b": {}}})
    scene.children["/a/b"].append("/a")
    snapshot = straight.Snapshot(scene, ["/a", "/gone"])
    assert snapshot.exists == {"/a": True, "/a/b": True, "/gone": False}
    assert snapshot.get_locations(["/gone", "/other"]) == []


@pytest.mark.parametrize("name", list(scenes.LARGE))
def test_large_scenes_are_what_they_claim(name: str) -> None:
    case = scenes.LARGE[name](3000 if name == "chain" else 300)
    (result,) = straight.scan(case.scene, case.record, case.roots)
    assert result.valid
    assert {path: stamp for _, path, stamp in result.flat()} == case.expected
    assert set(case.expected) == set(case.scene.names)
    assert result.captures == case.captures


def test_random_cases_repeat_and_go_both_ways() -> None:
    verdicts: dict[tuple[bool, bool], int] = {}
    for seed in range(300):
        case, again = random_case(seed, odd=0), random_case(seed, odd=0)
        assert (case.record, case.roots) == (again.record, again.roots)
        assert case.scene.names == again.scene.names
        has_ghost = any(rule["name"] == "ghost" for rule in case.record["rules"])
        for result in straight.scan(case.scene, case.record, case.roots):
            key = (has_ghost, result.valid)
            verdicts[key] = verdicts.get(key, 0) + 1
    assert len(verdicts) == 4
    assert min(verdicts.values()) >= 25, verdicts
