"""The matcher against an independent plain implementation, and what a host sees of it."""

from __future__ import annotations

import os
import re
import sys
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import pytest
from lifetimes import collected

import core

sys.path.insert(0, str(Path(__file__).parents[2] / "benchmarks"))

import scenes
import straight
from random_scenes import random_case
from straight_pattern import Pattern

Hierarchy = core._Hierarchy
Anchor = Hierarchy.Anchor
CASES = int(os.environ.get("KAVEL_FUZZ_CASES", "600"))


class SceneOperator(core.Scene.Operator):
    """The queries of an operator over a generated scene."""

    def __init__(self, scene: scenes.MemoryScene) -> None:
        super().__init__()
        self.scene = scene

    def object_exists(self, path: str) -> bool:
        return self.scene.object_exists(path)

    def get_type(self, path: str) -> str:
        return self.scene.get_type(path)

    def get_parent(self, path: str) -> str | None:
        return self.scene.get_parent(path)

    def get_children(self, path: str) -> list[str]:
        return self.scene.get_children(path)

    def name_from_path(self, path: str) -> str:
        return self.scene.name_from_path(path)


class PlainQuery:
    """A query object that is no virtual scene: the matcher only calls its operations."""

    def __init__(self, virtual: Any, operator: SceneOperator) -> None:
        self.virtual = virtual
        self.get_locations = virtual.get_locations
        self.get_parent = virtual.get_parent
        self.get_type = virtual.get_type
        self.name_from_path = operator.name_from_path


def project_rule(data: dict[str, Any]) -> SimpleNamespace:
    minimum, maximum = data.get("range", (1, 1))
    return SimpleNamespace(
        stamp=data["stamp"],
        name=data.get("name", data["stamp"]),
        regex=data["regex"],
        types=data.get("types", []),
        range=SimpleNamespace(minimum=minimum, maximum=maximum),
        icon=None,
        color=None,
        check_config=core._Settings.Check.Config({}),
    )


def tree_node(data: dict[str, Any]) -> SimpleNamespace:
    children = [tree_node(child) for child in data.get("children", ())]
    return SimpleNamespace(rule=SimpleNamespace(stamp=data["stamp"]), children=children)


def record(data: dict[str, Any]) -> SimpleNamespace:
    """A record as a project hands it over, from its stored form."""
    return SimpleNamespace(
        rules=[project_rule(rule) for rule in data["rules"]],
        pattern=SimpleNamespace(children=[tree_node(node) for node in data["pattern"]]),
    )


def matcher(case: scenes.Case, plain: bool = False) -> Any:
    operator = SceneOperator(case.scene)
    virtual = core.Scene._Virtual(operator)
    virtual.upload(case.roots)
    made = Hierarchy(PlainQuery(virtual, operator) if plain else virtual, None)
    made.pattern.set(record(case.record))
    return made


def captures(hierarchy: Any) -> list[tuple[str, str, str]]:
    expressions = hierarchy.search.logic.state.expressions
    return sorted((key, path, text) for key, pairs in expressions.items() for path, text in pairs)


def answers(case: scenes.Case, plain: bool) -> Any:
    """The matcher's answers in the shape of the plain implementation's results."""
    hierarchy = matcher(case, plain)
    scopes, parents = hierarchy.root_scopes(case.roots)
    results = []
    for paths in scopes:
        ordered = sorted(paths, key=case.scene.name_from_path)
        covered = set(hierarchy.mask(ordered))
        masked = [path for path in ordered if path in covered]
        valid = bool(masked) and hierarchy.is_valid(masked)
        ghost = parents[paths[0]] if paths else None
        results.append((ordered, ghost, masked, valid, captures(hierarchy) if masked else []))
    return results


def outcome(work: Any) -> Any:
    try:
        return work()
    except Exception as error:
        return type(error).__name__


@pytest.mark.parametrize("plain", [False, True], ids=["virtual", "duck-typed"])
def test_random_hierarchies_agree_with_the_plain_search(plain: bool) -> None:
    # Any difference in order, ranges, anchors, captures, ghosts or errors shows up as a seed.
    start = 0 if plain else 1_000_000
    kinds: set[Any] = set()
    for seed in range(start, start + CASES):
        case = random_case(seed)
        expected = outcome(
            lambda case=case: [
                (found.roots, found.ghost, found.masked, found.valid, found.captures)
                for found in straight.scan(case.scene, case.record, case.roots)
            ]
        )
        assert outcome(lambda case=case: answers(case, plain)) == expected, f"seed {seed}"
        kinds.update([expected] if isinstance(expected, str) else (row[3] for row in expected))
    assert {True, False, re.error.__name__, "ValueError"} <= kinds, (
        "the generator lost a kind of case"
    )


@pytest.mark.parametrize("name", list(scenes.LARGE))
def test_large_scenes_get_the_known_captures(name: str) -> None:
    # The record of a chain is as deep as the chain, and made here by recursion.
    case = scenes.LARGE[name](300 if name == "chain" else 2_000)
    hierarchy = matcher(case)
    assert hierarchy.is_valid(case.roots)
    assert captures(hierarchy) == sorted(case.captures)


def test_deep_chains_do_not_recurse() -> None:
    case = scenes.chain(20_000, levels=2)
    assert matcher(case).is_valid(case.roots) is False


SYNTAX = [
    (Anchor.findall, ("<a:x>_<b>_>",), ["<a:x>", "<b>"]),
    (Anchor.findall, ("<a:x>_<b>", True), ["a:x", "b"]),
    (Anchor.findall, ("<a\nb> <c>",), ["<c>"]),
    (Anchor.find, ("<a><a:b><a:b:c>",), ["<a:b>"]),
    (Anchor.unpack_anchor, ("<side:(L|R)>",), ("<side>", "(L|R)")),
    (Anchor.unpack_anchor, ("<<a:b>>",), ("<a>", "b")),
    (Anchor.count_shared_symbols, ("abc", "abd"), 2),
    (Anchor.count_shared_symbols, ("абв", "абг"), 2),
    (Anchor.count_shared_symbols, ([1, 2], (1, 3)), 1),
    (Anchor.count_shared_symbols, ("", ""), 0),
    (Anchor.same_scope, ("|a|b", "/a/b/c"), True),
    (Anchor.same_scope, ("/a/b", "/a/bc"), False),
    (Anchor.merge_begins, ("<a>", "x$", "<a>_y"), "x"),
    (Anchor.merge_begins, ("<a>", "x$", "y_<a>"), "x$"),
    (Anchor.merge_ends, ("<a>", "^x", "y_<a>"), "x"),
    (Anchor.merge_ends, ("<a>", "^x", "<a>"), "^x"),
    (
        Anchor.get_scope_sorted,
        ("/a/b/c", [("/a/b", "x"), ("/z", "y"), ("/a", "z")]),
        [("/z", "y"), ("/a", "z"), ("/a/b", "x")],
    ),
    (
        Anchor.get_scope_sorted,
        ("a|b|c", {("a/b", "x"), ("a", "z"), ("a", "y")}),
        [("a", "y"), ("a", "z"), ("a/b", "x")],
    ),
]


@pytest.mark.parametrize(("operation", "arguments", "expected"), SYNTAX)
def test_anchor_syntax(operation: Any, arguments: tuple[Any, ...], expected: Any) -> None:
    assert operation(*arguments) == expected


def test_failures_and_copies_of_captures() -> None:
    anchor = Anchor()
    anchor.state.set({r"<a:\d+>": set()})
    assert anchor.match(r"<a:\d+>_mesh$", "12_mesh", "/root/12_mesh")
    saved = anchor.state.clone()
    anchor.match(r"<a:\d+>_mesh$", "7_mesh", "/root/7_mesh")
    assert anchor.state != saved
    anchor.state.apply(saved)
    assert anchor.state == saved and hash(anchor.state) == hash(saved)
    with pytest.raises(ValueError, match="more than once"):
        anchor.match(r"<a:\d+>_<a:\d+>", "x", "/x")
    for branch in ("/root/12_mesh/x", "/root/x"):
        with pytest.raises(re.error):
            anchor.match("x)(<a>", "x", branch)
    assert anchor.state == saved


@pytest.mark.parametrize(
    ("before", "after"),
    [
        (["b", "a", "<n>", "c"], ["b", "a", "<n>", "c"]),  # nothing is forced
        (["b", "a", "<n>", "<n:1>"], ["b", "a", "<n:1>", "<n>"]),
        (["<c>", "<b><c:1>", "<b:1>"], ["<b:1>", "<b><c:1>", "<c>"]),
        (["<a><b:1>", "<b><a:1>", "x"], ["x", "<a><b:1>", "<b><a:1>"]),  # a cycle ends
        (["<a><a:1>", "x"], ["<a><a:1>", "x"]),
        (["<a:b:c>", "<a:1>"], ["<a:b:c>", "<a:1>"]),  # two colons: a use of another name
    ],
)
def test_definitions_come_first(before: list[str], after: list[str]) -> None:
    rules = [{"stamp": str(number), "regex": regex} for number, regex in enumerate(before)]
    data = {"rules": rules, "pattern": [{"stamp": rule["stamp"]} for rule in rules]}
    pattern = Hierarchy.Pattern(None)
    pattern.set(record(data))
    for made in (pattern, Pattern(data)):
        assert [scope.rule and scope.rule.regex for scope in made.get()] == after


def test_pattern_keeps_its_lists_and_answers_by_stamp() -> None:
    pattern = Hierarchy.Pattern(None)
    top = pattern.get()
    rules = [{"stamp": "g", "name": "ghost", "regex": ""}, {"stamp": "a", "regex": "a"}]
    tree = [{"stamp": "g", "children": [{"stamp": "a"}, {"stamp": "lost"}]}]
    pattern.set(record({"rules": rules, "pattern": tree}))
    assert top is pattern._hierarchy and len(top) == 1, "refilled in place"
    assert pattern.has_ghost() and pattern.get() is pattern.get_ghost().children
    assert [scope.rule and scope.rule.stamp for scope in pattern.get()] == ["a", None]
    assert pattern.get_checklist("a") is pattern.get_checklist("a")
    assert pattern.get_checklist("lost") is None
    for unverifiable in ("a", "lost", None):
        assert not pattern.is_verifiable(unverifiable)
    assert pattern.get_checklist(None) is None
    broken = record({"rules": [{"stamp": "x", "regex": 5}], "pattern": []})
    with pytest.raises(TypeError):
        pattern.set(broken)
    assert pattern.has_ghost(), "a failed set changes nothing"
    pattern.set(record({"rules": [], "pattern": []}))
    assert list(top) == [] and pattern.get() is top


def test_rules_are_compared_by_what_matches() -> None:
    rule = Hierarchy.Pattern.Rule
    data = {"stamp": "s", "regex": "r", "types": ["mesh"], "range": (0, 2)}
    one, same = rule(project_rule(data), None), rule(project_rule(data), object())
    assert one == same and hash(one) == hash(same) and one != "s"
    assert one != rule(project_rule({**data, "range": (0, 3)}), None)
    one.types.append("locator")
    assert one != same, "the list is what it matches"
    assert one.get_range() == {0, 1, 2} and one.is_optional()
    huge = rule(project_rule({**data, "range": (0, 10**30)}), None)
    assert huge.is_optional()
    with pytest.raises(ValueError, match="too many"):
        huge.get_range()


def test_layers_can_be_taken_step_by_step() -> None:
    case = scenes.anchor_branches(2)
    hierarchy = matcher(case)
    hierarchy.find_anchors()
    search = hierarchy.search
    result = search.layer(case.roots, hierarchy.pattern.get())
    assert [found.location.path for found in result] == case.roots
    root = next(iter(result))
    search.load_variables(root.location.children[:1] + ["/nowhere"], root.scope.children)
    search.backup_state()
    search.make_guess()
    assert not search.wrong_guess() and not search.create_response().is_empty()
    assert captures(hierarchy) != []
    search.reset_state()
    assert captures(hierarchy) == [] and search.create_response(empty=True).is_empty()
    (branch,) = root.scope.children
    location = search.create_response()._array[0].location
    assert search.scope_match(location, branch)
    assert not search.scope_match(location, branch.children[0])


def test_a_failing_step_keeps_the_captures() -> None:
    rules = [{"stamp": "a", "regex": "<n:.>a"}, {"stamp": "b", "regex": "<n>(b"}]
    scene = scenes.MemoryScene()
    roots = [scene.add("1a", "mesh"), scene.add("1b", "mesh")]
    data = {"rules": rules, "pattern": [{"stamp": "a"}, {"stamp": "b"}]}
    case = scenes.Case("a failing item", scene, data, roots)
    hierarchy = matcher(case)
    hierarchy.find_anchors()
    search = hierarchy.search
    with pytest.raises(re.error):
        search.layer(case.roots, hierarchy.pattern.get())
    assert captures(hierarchy) == []
    search.load_variables(case.roots, hierarchy.pattern.get())
    with pytest.raises(re.error):
        search.make_guess()
    assert captures(hierarchy) == []


def test_keys_may_change_between_the_steps() -> None:
    case = scenes.anchor_branches(2)
    hierarchy = matcher(case)
    hierarchy.find_anchors()
    search = hierarchy.search
    search.load_variables(case.roots, hierarchy.pattern.get())
    search.logic.state.set({})
    search.make_guess()
    assert captures(hierarchy) == []


def test_trees_that_hang_below_themselves_end() -> None:
    hierarchy = matcher(scenes.anchor_branches(1))
    tree = record({"rules": [], "pattern": [{"stamp": "a", "children": [{"stamp": "b"}]}]})
    (node,) = tree.pattern.children
    node.children[0].children.append(node)
    with pytest.raises(RecursionError, match="below itself"):
        hierarchy.pattern.set(tree)
    scope = hierarchy.pattern.get()[0]
    scope.children.append(scope)
    hierarchy.find_anchors()
    Hierarchy.Pattern._Sorter.sort(hierarchy.pattern.get())
    scope.children.pop()


@pytest.mark.parametrize("operation", ["sort", "shuffle_scopes"])
def test_none_is_no_list_of_items(operation: str) -> None:
    sorter = Hierarchy.Pattern._Sorter
    arguments = [None] if operation == "sort" else [None, sorter.Order([])]
    with pytest.raises(TypeError):
        getattr(sorter, operation)(*arguments)


@collected
def test_matchers_and_patterns_are_collected() -> Any:
    case = scenes.anchor_branches(1)
    hierarchy = matcher(case)
    hierarchy.is_valid(case.roots)
    hierarchy.pattern.me = hierarchy
    hierarchy.search.layer(case.roots, hierarchy.pattern.get())
    scope = hierarchy.pattern.get()[0]
    scope.owner = hierarchy
    return hierarchy, hierarchy.pattern, hierarchy.search, scope
