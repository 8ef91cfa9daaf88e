"""Rules, rule lists and rule trees: what they accept, how they name rules, what a tree survives."""

from __future__ import annotations

import gc
import logging
import re
import weakref

import pytest
from lifetimes import collected
from project_tools import logged

import core

Rule = core._Project.Settings.Rule
Tree = Rule.Tree

FULL = {
    "stamp": "0123456789abcdef0123456789abcdef",
    "name": "рука\ud800",
    "regex": "^<side:(L|R)>_arm$",
    "types": ["mesh", "locator"],
    "checklist": {},
    "range": [0, 2**53],
    "color": "#4390ea",
    "icon": None,
}


def named(*names: str) -> Rule.List:
    return Rule.List([{"name": name, "stamp": f"stamp of {i}"} for i, name in enumerate(names)])


def names_of(rules) -> list:
    return [rule.name for rule in rules]


def test_rule_gives_back_what_it_read_in_the_same_order():
    rule = Rule(FULL)
    assert rule.data == FULL
    assert list(rule.data) == list(FULL)
    assert rule.data is not rule.data


def test_rule_from_nothing_has_the_defaults_and_a_stamp_of_its_own():
    first, second = Rule({}), Rule({})
    assert re.fullmatch("[0-9a-f]{32}", first.stamp)
    assert first.stamp != second.stamp
    stored = dict(first.data)
    del stored["stamp"]
    assert stored == {
        "name": "name",
        "regex": "",
        "types": [],
        "checklist": {},
        "range": [1, 1],
        "color": None,
        "icon": None,
    }


@pytest.mark.parametrize(
    ("data", "error"),
    [
        ({"stamp": None}, AssertionError),
        ({"name": 5}, AssertionError),
        ({"regex": ["a"]}, AssertionError),
        ({"types": "mesh"}, AssertionError),
        ({"types": ["mesh", 1]}, AssertionError),
        ({"types": None}, AssertionError),
        ({"color": 255}, AssertionError),
        ({"icon": {}}, AssertionError),
        ({"range": [1, 2, 3]}, ValueError),
        ({"range": [1]}, ValueError),
        ({"range": "12"}, ValueError),
        ({"range": None}, ValueError),
        ({"range": [1, "2"]}, ValueError),
        ({"range": [1.0, 2]}, ValueError),
        ({"range": [True, 2]}, ValueError),
        ({"range": [0, 2**53 + 1]}, ValueError),
        ({"range": [0, 10**30]}, ValueError),
        ({"range": [0, float("nan")]}, ValueError),
        ([], TypeError),
        (None, TypeError),
        ("rule", TypeError),
    ],
)
def test_rule_refuses_data_of_a_wrong_shape(data, error):
    with pytest.raises(error) as raised:
        Rule(data)
    assert str(raised.value)


@pytest.mark.parametrize("field", ["stamp", "name", "regex"])
@pytest.mark.parametrize("value", [None, 1, b"text", ["text"]])
def test_setting_no_text_is_an_assertion_and_changes_nothing(field, value):
    rule = Rule(FULL)
    with pytest.raises(AssertionError, match=field):
        setattr(rule, field, value)
    assert rule.data == FULL


def test_types_stay_one_live_list_also_over_refused_assignments():
    rule = Rule(FULL)
    held = rule.types
    held.append("lodGroup")
    assert rule.data["types"] == ["mesh", "locator", "lodGroup"]
    rule.types = ("transform", "mesh")
    assert rule.types is held
    for wrong in ("mesh", ["mesh", None], 5, {"mesh": 1}):
        with pytest.raises(AssertionError):
            rule.types = wrong
    assert list(held) == ["transform", "mesh"]
    rule.types = held
    assert list(held) == ["transform", "mesh"]


def test_range_is_one_object_compared_by_its_ends():
    rule = Rule(FULL)
    assert rule.range is rule.range
    rule.range.minimum = 7
    assert rule.data["range"] == [7, 2**53]
    with pytest.raises(ValueError, match="whole number"):
        rule.range.maximum = 1.5
    with pytest.raises(AttributeError):
        rule.range = Rule.Range(1, 1)
    assert Rule.Range(2, 1) == Rule.Range(2, 1)
    assert Rule.Range(2, 1) != Rule.Range(1, 1)
    assert Rule.Range(2, 1) != Rule.Range(2, 2)
    assert Rule.Range(2, 1) != [2, 1]


@pytest.mark.parametrize(("name", "ghost"), [("ghost", True), ("Ghost", False), ("ghost ", False)])
def test_only_the_exact_type_name_makes_a_ghost(name, ghost):
    assert Rule({"name": name}).is_ghost is ghost


def test_predefined_rules():
    rules = Rule.List.predefined()
    rows = [(r.name, r.regex, list(r.types), r.color, r.icon, r.range.data) for r in rules]
    assert rows == [
        ("empty", ".+", [], "#000000", "Something", [1, 1]),
        ("render", ".+", ["mesh"], "#4390ea", "Render", [1, 1]),
        ("ghost", "", [], "#262626", "Ghost", [1, 1]),
    ]
    assert rules.has_ghost
    assert Rule.List.predefined() is not rules


def test_list_errors_name_the_rule():
    with pytest.raises(AssertionError, match='rule 2: "name"'):
        Rule.List([{}, {"name": None}])
    with pytest.raises(TypeError):
        Rule.List({})


def test_appended_rules_get_names_of_their_own_and_one_ghost_at_most():
    rules = named("arm")
    other = Rule({"name": "arm"})
    assert rules.append(other) is core.Constants.Plugin.Status.Success
    assert other.name != "arm"
    third = Rule({"name": "arm"})
    assert rules.append(third)
    assert len({rule.name for rule in rules}) == 3

    assert rules.append(Rule({"name": "ghost"}))
    before = rules.data
    late = Rule({"name": "ghost"})
    assert rules.append(late) is core.Constants.Plugin.Status.Failure
    assert late.name == "ghost"
    assert rules.append(other) is False
    assert rules.data == before


def test_names_that_a_file_gave_twice_stay_in_use_when_one_bearer_goes():
    for leave in (lambda rules, rule: rules.remove(rule), lambda rules, r: rules.rename(r, "leg")):
        rules = named("arm", "arm")
        first, second = rules
        assert not rules.has_unique_name(first)
        leave(rules, first)
        assert rules._control.exists("arm")
        assert rules.has_unique_name(second)
        late = Rule({"name": "arm"})
        rules.append(late)
        assert late.name != "arm"


def test_rename_grants_free_names():
    rules = named("arm", "leg", "ghost")
    arm, leg, ghost = rules
    assert rules.rename(arm, "arm") == arm.name == "arm"
    assert rules.rename(arm, "leg") == arm.name != "leg"
    assert not rules._control.exists("arm")
    assert rules.rename(leg, "arm") == "arm"
    assert rules.rename(leg, "ghost") != "ghost"
    assert rules.names == sorted(names_of(rules))
    assert rules.rename(Rule({}), "free") is None
    assert not rules._control.exists("free")
    with pytest.raises(AssertionError):
        rules.rename(ghost, None)
    assert ghost.name == "ghost"
    assert rules._control.exists("ghost")


def test_remove_takes_this_very_rule():
    rules = named("arm", "leg")
    arm, leg = rules
    assert rules.remove(Rule(arm.data)) is False
    assert rules.remove(arm) is True
    assert rules.remove(arm) is False
    assert list(rules) == [leg]
    assert not rules._control.exists("arm")


@pytest.mark.parametrize(
    ("order", "expected"),
    [
        ([], "abcd"),
        ([3, 1], "dbac"),
        ([2, 2, 0, 2], "cabd"),
        ([3, 2, 1, 0], "dcba"),
        (["foreign", 1, None, "twin"], "bacd"),
    ],
)
def test_reorder_puts_the_named_rules_first(order, expected):
    rules = named("a", "b", "c", "d")
    array = rules._array
    strangers = {"foreign": Rule({}), "twin": Rule(rules._array[3].data), None: "no rule"}
    rules.reorder([strangers[i] if i in strangers else array[i] for i in order])
    assert "".join(names_of(rules)) == expected
    assert rules._array is array


def test_get_finds_the_first_of_equal_stamps():
    rules = Rule.List([{"stamp": "s", "name": "a"}, {"stamp": "s", "name": "b"}])
    assert rules.get("s") is next(iter(rules))
    assert rules.get("t") is None
    assert rules.get(None) is None


def test_list_can_change_while_it_is_walked():
    rules = named("a", "b", "c")
    seen = []
    for rule in rules:
        seen.append(rule.name)
        rules.remove(rule)
    assert seen == ["a", "c"]
    assert names_of(rules) == ["b"]


def chain(levels: int) -> list:
    data: list = []
    for _ in range(levels):
        data = [{"stamp": "s", "children": data}]
    return data


def test_tree_round_trip_and_outline():
    rules = named("a", "b", "c\nd")
    data = [
        {
            "stamp": "stamp of 0",
            "children": [
                {"stamp": "stamp of 1", "children": []},
                {"stamp": "stamp of 2", "children": [{"stamp": "stamp of 1", "children": []}]},
            ],
        }
    ]
    root = Tree.Root()
    root.load(data, rules)
    assert root.data == data
    assert str(root) == "a\n  b\n  c\n  d\n    b"
    assert str(root.children[0].children[1]) == "c\nd\n  b"
    a, b, _ = rules
    assert root.is_root(a)
    assert not root.is_root(b)
    rules.rename(a, "z")
    rules.remove(b)
    del a, b
    gc.collect()
    assert str(root) == "z\n  b\n  c\n  d\n    b"


def test_tree_drops_what_it_cannot_place_and_says_so(caplog):
    rules = named("a", "b")
    known, leaf = "stamp of 0", {"stamp": "stamp of 1"}
    data = [
        {"stamp": "lost", "children": [leaf]},
        {"stamp": known, "children": [{"stamp": None}, leaf, {"children": [leaf]}, 7, None]},
        {"stamp": known, "children": {"stamp": known}},
        {"stamp": known, "children": None},
        "text",
        [],
    ]
    root = Tree.Root()
    root.append(Tree.Node(list(rules)[1]))
    caplog.set_level(logging.WARNING)
    root.load(data, rules)
    assert str(root) == "a\n  b\na"
    assert logged(caplog) == ["Incompatible Hierarchy Settings"] * 8


def test_tree_of_any_depth_neither_crashes_nor_loses_what_was_there():
    rules = Rule.List([{"stamp": "s", "name": "n"}])
    root = Tree.Root()
    root.load(chain(240), rules)
    assert root.data == chain(240)
    kept = root.data
    for levels in (241, 100_000):
        with pytest.raises(RecursionError):
            root.load(chain(levels), rules)
    for wrong in (None, {}, "text", 1):
        with pytest.raises(TypeError):
            root.load(wrong, rules)
    assert root.data == kept


@pytest.mark.parametrize("exposed", [False, True])
def test_long_chain_of_nodes_is_refused_in_writing_and_falls_without_recursion(exposed):
    rule = Rule({})
    node = Tree.Node(rule)
    for _ in range(100_000):
        if exposed:
            parent = Tree.Node(rule)
            parent.children.append(node)
        else:
            parent = Tree.Node(rule, [node])
        node = parent
    root = Tree.Root()
    root.append(node)
    del node, parent
    with pytest.raises(RecursionError):
        root.data  # noqa: B018
    with pytest.raises(RecursionError):
        str(root)
    other = Tree.Root()
    other.append(root.children[0])
    root.clear()
    assert root.is_empty
    assert len(other.children[0].children) == 0


def test_long_chain_falls_with_its_last_holder():
    rule = Rule({})
    node = Tree.Node(rule)
    bottom = weakref.ref(node)
    for _ in range(100_000):
        node = Tree.Node(rule, [node])
    del node
    gc.collect()
    assert bottom() is None


def test_nodes_tell_their_data():
    rule = Rule({"name": "a"})
    node = Tree.Node(rule, [Tree.Node(rule)])
    below = {"stamp": rule.stamp, "children": []}
    assert node.data == {"stamp": rule.stamp, "children": [below]}


def test_node_below_itself_is_an_error_when_written_and_can_be_cleared():
    node = Tree.Node(Rule({"name": "loop"}))
    node.append(node)
    root = Tree.Root()
    root.append(node)
    with pytest.raises(RecursionError):
        root.data  # noqa: B018
    with pytest.raises(RecursionError):
        str(node)
    root.clear()
    assert len(node.children) == 0


def test_children_are_kept_once_and_by_identity():
    root = Tree.Root()
    node, twin = root.create_node(Rule({})), None
    twin = root.create_node(node.rule)
    assert root.is_empty
    root.append(node)
    root.append(node)
    root.append(twin)
    root.remove(root.create_node(node.rule))
    assert list(root.children) == [node, twin]
    root.remove(node)
    root.remove(node)
    assert list(root.children) == [twin]
    assert root.children is root.children
    for wrong in (None, Rule({}), root.children):
        with pytest.raises(TypeError):
            root.append(wrong)
    with pytest.raises(TypeError):
        Tree.Node(None)


@collected
def test_cycles_through_host_attributes_and_nodes_are_collected():
    rules = Rule.List.predefined()
    rule = next(iter(rules))
    node = Tree.Node(rule)
    node.append(node)
    rule.seen_by = rules
    rule.node = node
    rules._array[1].range.back = rules
    rules._array[2].check_config.back = node
    assert next(iter(rules)).seen_by is rules
    return rules, rule, node
