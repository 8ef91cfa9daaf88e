"""Checking project documents: every problem is found, with its place."""

from __future__ import annotations

import codecs
import json
from typing import Any

import pytest
from conftest import project, rule, tree

from kavel.document import check_bytes
from kavel.document.shapes import nested_repeats

A, B = rule("a"), rule("b")


def check(document: Any) -> list[str]:
    raw = document if isinstance(document, bytes) else json.dumps(document).encode()
    return [str(problem) for problem in check_bytes(raw).problems]


def test_a_sound_document_has_no_problem() -> None:
    rules = [
        rule("ghost", "", ["sceneRoot"]),
        rule("side", r"arm_<side:(l|r)>$", ["transform"], [0, 2], color="#12aBef", icon=None),
        rule("hand", r"hand_<side>(_[a-z]+)*$", checklist={"x.Y": {"enabled": True}}),
    ]
    document = project(rules, {"ghost": {"side": {"hand": {}}}}, edit_timestamp=1.5, filename="a")
    assert check(document) == []
    checked = check_bytes(json.dumps(document).encode())
    assert checked.usable and checked.timestamp == 1700000000


@pytest.mark.parametrize(
    ("raw", "problem"),
    [
        (b"", "error: line 1, column 1: not JSON"),
        (b'{"a": 1\n "b": 2}', "error: line 2, column 2: not JSON"),
        (b'{"\n\xd0\xb6\xff', "error: line 2, column 2: is not UTF-8"),
        (codecs.BOM_UTF16_LE + b"{\0}\0", "error: line 1, column 1: is UTF-16"),
        (codecs.BOM_UTF8 + b"{}", "warning: line 1, column 1: starts with a byte-order mark"),
        (b"[]", "error: the document is an array, not an object"),
        (b'{"n":\n' + b"[" * 1_000_000 + b"]" * 1_000_000 + b"}", "error: line 2, column 500: nes"),
        (b'{"name": "a[[[[\\"[", "name": "b"}', "warning: name: the key stands twice"),
        (b'{"version": ' + b"1" * 5_000 + b"}", "error: "),
        (b"{}", "error: version: is missing"),
        (b"{}", "error: records: there is no record"),
    ],
)
def test_texts_that_are_no_project(raw: bytes, problem: str) -> None:
    found = check(raw)
    assert [line for line in found if line.startswith(problem)], found
    assert not check_bytes(raw).usable


DOCUMENT_FIELDS: list[tuple[dict[str, Any], str]] = [
    ({"name": 5}, "error: name: must be a text, not a number"),
    ({"description": 5}, "error: description: must be a text or null, not a number"),
    ({"records": []}, "error: records: must be an object, not an array"),
    ({"deleted": 1}, "error: deleted: must be true or false, not a number"),
    ({"deleted": True}, "error: deleted: the project is marked as deleted"),
    ({"version": "3"}, "error: version: must be an integer, not a text"),
    ({"version": 2}, "error: version: is 2; this build reads version 3"),
    ({"filename": {}}, "warning: filename: must be a text, not an object"),
    ({"target": 1}, "error: target: must be a text, not a number"),
    ({"target": "ma\nya"}, "error: target: holds characters"),
    ({"target": "\ud800"}, "warning: target: the text holds a lone surrogate"),
    ({"target": "nuke"}, 'warning: target: "nuke" is not one of'),
    ({"edit_timestamp": float("nan")}, "warning: edit_timestamp: nan is no JSON number"),
    ({"edit_timestamp": "x"}, "warning: edit_timestamp: is no time"),
    ({"selected_record": 5}, "warning: selected_record: names no record; the newest, 17"),
    ({"records": {"x": {}, "1": {}}}, "warning: records.x: the key is no time"),
    ({"records": {"inf": {}, "1": {}}}, "warning: records.inf: the key is no time"),
    ({"records": {"1": {}, "1.5": {}}}, "warning: records.1.5: replaces records.1"),
    ({"records": {"1": 5}}, "error: records.1: must be an object, not a number"),
    ({"records": {"1": {"rules": {}}}}, "error: records.1.rules: must be an array"),
    ({"records": {"1": {"rules": [5]}}}, "error: records.1.rules[0]: a rule must be an object"),
    ({"records": {"1": {"pattern": {}}}}, "error: records.1.pattern: must be an array"),
    ({"records": {"1": {"author": 1}}}, "error: records.1.author: must be a text"),
    ({"records": {"1": {"export": {"flags": []}}}}, "error: records.1.export.flags: must be"),
    ({"records": {"1": {}}}, "error: records.1.pattern: the rule tree names no rule"),
    ({"recrods": {}}, 'warning: recrods: is no known key; it is lost on saving; is "records" m'),
    *(
        (
            {"records": {"1": {"export": export}}},
            f"{problem.replace(': ', ': records.1.export.', 1)}",
        )
        for export, problem in (
            ({"flags": {"triangulat": True}}, "warning: flags.triangulat: is no known key; it is"),
            ({"flags": {"triangulate": 1}}, "error: flags.triangulate: must be true or false, not"),
            ({"options": {"format": {}}}, "warning: options.format: is no known key; it has no"),
            ({"options": {"selected": "obj"}}, 'warning: options.selected: "obj" is not one of'),
            ({"options": {"formats": {"obj": {}}}}, "warning: options.formats.obj: is not one of"),
            (
                {"options": {"formats": {"glb": {"scales": 2}}}},
                "warning: options.formats.glb.scales: is no known key; it has no effect; is",
            ),
        )
    ),
]


@pytest.mark.parametrize(("fields", "problem"), DOCUMENT_FIELDS)
def test_fields_of_the_document(fields: dict[str, Any], problem: str) -> None:
    found = check({**project([A]), **fields})
    assert [line for line in found if line.startswith(problem)], found


RULE_FIELDS: list[tuple[dict[str, Any], str]] = [
    ({"stamp": 7}, 'error: rule "a", stamp: must be a text, not a number'),
    ({"name": 7}, 'error: rule "7" [a], name: must be a text'),
    ({"regex": None}, 'error: rule "a" [a], regex: must be a text, not null'),
    ({"types": "mesh"}, 'error: rule "a" [a], types: must be an array, not a text'),
    ({"types": [1]}, 'error: rule "a" [a], types: a type must be a text, not a number'),
    ({"types": ["Mesh"]}, 'warning: rule "a" [a], types: "Mesh" is not one of'),
    ({"range": [0, 1, 2]}, 'error: rule "a" [a], range: must have two numbers'),
    ({"range": 1}, 'error: rule "a" [a], range: must be an array, not a number'),
    ({"range": [1, 1.5]}, 'error: rule "a" [a], range: minimum and maximum must be integers'),
    ({"range": [0, True]}, 'error: rule "a" [a], range: minimum and maximum must be integers'),
    ({"range": [2, 1]}, 'warning: rule "a" [a], range: the minimum 2 is above the maximum 1'),
    ({"range": [-3, -1]}, 'warning: rule "a" [a], range: no number of objects is -1 or less'),
    ({"range": [-1, 4]}, 'warning: rule "a" [a], range: the minimum -1 is below 0'),
    ({"checklist": []}, 'error: rule "a" [a], checklist: must be an object'),
    ({"checklist": {"x": 1}}, 'warning: rule "a" [a], check x, checklist: must be an object'),
    ({"checklist": {"x": {"enabled": 1}}}, 'warning: rule "a" [a], check x, enabled: must be true'),
    ({"color": 7}, 'error: rule "a" [a], color: must be a text or null'),
    ({"color": "red"}, 'warning: rule "a" [a], color: "red" is no colour'),
    (
        {"regexp": "x"},
        'warning: rule "a" [a], regexp: is no known key; it is lost on saving; is "regex"',
    ),
    (
        {"checklst": {}},
        'warning: rule "a" [a], checklst: is no known key; it is lost on saving; is "ch',
    ),
    ({"name": "Ghost"}, 'warning: rule "Ghost" [a], name: only the exact name "ghost"'),
]


@pytest.mark.parametrize(("change", "problem"), RULE_FIELDS)
def test_fields_of_a_rule(change: dict[str, Any], problem: str) -> None:
    found = check(project([{**A, **change}], {"a": {}}))
    assert [line for line in found if line.startswith(problem)], found


@pytest.mark.parametrize(
    ("rules", "shape", "problem"),
    [
        ([A, A], {"a": {}}, 'warning: rule "a" [a], stamp: another rule has the same stamp'),
        ([A, {**B, "name": "a"}], {"a": {}}, 'warning: rule "a" [b], name: another rule has the'),
        ([A], {"a": {"x": {}}}, "warning: records.1700000000.pattern[0].children[0].stamp: names"),
        ([A, B], {"a": {}}, 'warning: rule "b" [b]: stands nowhere in the rule tree'),
        ([rule("ghost")], None, "error: records.1700000000.pattern: the rule tree has nothing bel"),
        ([A, rule("ghost")], {"ghost": {"a": {}}, "a": {}}, 'warning: rule "a" [a]: stands beside'),
        ([A, rule("ghost")], {"a": {"ghost": {}}}, 'warning: rule "ghost" [ghost]: the ghost coun'),
    ],
)
def test_the_tree(rules: list[Any], shape: dict[str, Any] | None, problem: str) -> None:
    found = check(project(rules, shape))
    assert [line for line in found if line.startswith(problem)], found


@pytest.mark.parametrize(
    ("node", "problem"),
    [
        (
            {"stamp": "a", "children": 5},
            "error: records.1700000000.pattern[0].children: must be an",
        ),
        ("a", "warning: records.1700000000.pattern[0]: is a text, not an object; the branch is dr"),
        ({"stamp": ["a"]}, "warning: records.1700000000.pattern[0].stamp: names no rule"),
        (
            {"stamp": "a", "children": [{"stamp": "a", "childern": []}]},
            "warning: records.1700000000.pattern[0].children[0].childern: is no known key; it is"
            ' lost on saving; is "children" meant?',
        ),
    ],
)
def test_damaged_tree_nodes(node: Any, problem: str) -> None:
    document = project([A])
    document["records"]["1700000000"]["pattern"] = [node, *tree({"a": {}})]
    found = check(document)
    assert [line for line in found if line.startswith(problem)], found


def test_a_rule_twice_on_a_level() -> None:
    document = project([A])
    document["records"]["1700000000"]["pattern"] = tree({"a": {}}) * 2
    assert any("twice on one level" in line for line in check(document))


@pytest.mark.parametrize(
    ("regex", "position", "severity", "message"),
    [
        ("a(b", 1, "error", "does not compile: missing ), unterminated subpattern"),
        (r"<up:[a-z]+>_<up:[a-z]+>$", 0, "error", "stands twice in one expression"),
        # Places inside and behind a sub-expression, which is put in without its brackets.
        (r"<up:(x>_$", 4, "error", "does not compile"),
        (r"<up:\d+$>_x[y$", 11, "error", "does not compile: unterminated character set"),
        (r"(<up:\d+>_)?mesh$", 1, "error", "cannot be told from what stands around it"),
        ("", None, "warning", "is empty, which matches every name"),
        ("x_<no>$", 2, "warning", "no rule defines the anchor <no>"),
        ("x_<sdie>$", 2, "warning", "<sdie>: it is ordinary text; is <side> meant?"),
        ("x_<side>_<up:a>$", 2, "warning", "no item above defines <side>"),
        ("<up:(?:a|b)>$", 0, "warning", 'write "(" instead of "(?:"'),
        ("(?P<up>a)$", 3, "warning", "the brackets of this group are read as the anchor <up>"),
        ("<up:(?<=x)y>$", 0, "warning", 'loses the "<" inside it'),
        (r"<up:a>b>$", 7, "warning", 'a lone ">" is ordinary text; an anchor ends at its first'),
        (r"<up:L|R>_arm$", 0, "warning", "the alternatives of <up:L|R> need a group"),
        (r"<up:.+>_a$", 0, "warning", "can capture punctuation such as $"),
        (r"<up:\d+>_mesh", None, "warning", "defines an anchor without ending in $"),
        (r"<up:\d+>_mesh\$", None, "warning", "defines an anchor without ending in $"),
        (r"<up:x\$>_y$", 0, "warning", 'ends in an escaped "$"'),
        ("<up:(?i)[a-z]>$", 0, "warning", "the flags of <up:(?i)[a-z]> hold for the match, not"),
        (r"<side:x>$", 0, "warning", "another rule defines the anchor <side> as <side:(l|r)>"),
        ("<up:a>_<up:b>$", 7, "warning", "defines the anchor <up> twice, first as <up:a>; each"),
        (r"x(a+)+$", 1, "warning", "an unbounded repeat inside an unbounded repeat"),
        (r"<up:\d>_(\w+_)*$", 8, "warning", "an unbounded repeat inside an unbounded repeat"),
    ],
)
def test_expressions(regex: str, position: int | None, severity: str, message: str) -> None:
    rules = [rule("x", regex), rule("y", "<up>$"), rule("z", "<side:(l|r)>$")]
    checked = check_bytes(json.dumps(project(rules, {"z": {}, "x": {"y": {}}})).encode())
    found = [item for item in checked.problems if message in item.message]
    assert [(i.rule, i.field, i.position, i.severity) for i in found[:1]] == [
        ("x", "regex", position, severity)
    ], checked.problems


def test_expressions_beside_the_matched_tree() -> None:
    rules = [rule("ghost", "<a:b>(", ["transform"]), A, rule("unused", "(")]
    found = check(project(rules, {"ghost": {"a": {}}}))
    assert 'warning: rule "unused" [unused], regex at 0: does not compile' in "\n".join(found)
    assert 'error: rule "ghost" [ghost], regex at 5: does not compile' in "\n".join(found)
    assert 'warning: rule "ghost" [ghost], regex at 0: the ghost knows no anchors' in "\n".join(
        found
    )


def test_an_anchor_defined_again_below_itself() -> None:
    rules = [rule("x", "<n:[a-z]+>$"), rule("y", "<n:[a-z]+>_y$")]
    assert any(
        "above defines <n> already" in line for line in check(project(rules, {"x": {"y": {}}}))
    )
    assert check(project(rules)) == []  # siblings of one definition are the usual thing


def test_only_the_selected_record_is_searched_for_bad_expressions() -> None:
    document = project([A])
    document["records"]["1"] = {"rules": [rule("old", "(")], "pattern": tree({"old": {}})}
    assert check(document) == []
    document["records"]["1"]["rules"][0]["range"] = [1]
    assert check(document) == [
        'error: rule "old" [old], range: must have two numbers, minimum and maximum, not 1'
    ]


@pytest.mark.parametrize(
    ("expression", "positions"),
    [
        ("(a+)+", [0]),
        ("(a*)*b", [0]),
        (r"((?:\w+\s?))*", [0]),
        ("(?P<x>[^_]+)+", [0]),
        ("((a{2,})b?){3,}", [0]),
        ("(_[a-z]+)*", []),
        ("([a-z]+_)+", []),
        ("(a+)?(b+)", []),
        (r"(a\+)+[(a+)+]", []),
        ("(ab)+", []),
    ],
)
def test_nested_repeats(expression: str, positions: list[int]) -> None:
    assert nested_repeats(expression) == positions


def test_formats_of_other_applications_are_their_own() -> None:
    options = {"selected": "fbx", "formats": {"fbx": {"version": 7}}}
    document = project([A], target="maya")
    document["records"]["1700000000"]["export"] = {"options": options}
    assert check(document) == []
