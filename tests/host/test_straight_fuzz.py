"""Random expressions, names and scenes: the core's answers against the interpreter's and the plain
search's.

KAVEL_FUZZ=N draws about N pairs of an expression and a name, and a scene for every 25 of them;
KAVEL_FUZZ_SEED=S starts there, so that a seed that failed comes first.
"""

from __future__ import annotations

import os
import random
import re
import sys
import threading
from collections.abc import Mapping
from pathlib import Path
from types import SimpleNamespace
from typing import Any, Callable

import pytest

import core

sys.path.insert(0, str(Path(__file__).parents[2] / "benchmarks"))

import straight
import straight_anchors
from random_expressions import AnchorCase, Expressions
from random_scenes import random_case
from scene_host import MemoryHost
from scenes import Case
from test_hierarchy_matching import answers, record

PAIRS = int(os.environ.get("KAVEL_FUZZ", "20000"))
SEED = int(os.environ.get("KAVEL_FUZZ_SEED", "0"))
NAMES = 8  # for each expression

# Sets in sets and flags behind the start are only a warning in some interpreters.
pytestmark = pytest.mark.filterwarnings("ignore::FutureWarning", "ignore::DeprecationWarning")

Captures = Mapping[str, "set[tuple[str, str]]"]


def outcome(work: Callable[[], Any]) -> Any:
    """What comes of it, or the kind of its error."""
    try:
        return work()
    except (re.error, ValueError, OverflowError, RecursionError) as error:
        return "re.error" if isinstance(error, re.error) else type(error).__name__


def asked(anchor: Any, expression: str, name: str, path: str) -> Any:
    """The verdict, with all that is captured then."""
    return outcome(lambda: (anchor.match(expression, name, path), anchor.state.expressions))


def plain_anchor(state: Captures) -> straight_anchors.Anchor:
    anchor = straight_anchors.Anchor()
    anchor.state = straight_anchors.State(dict(state))
    return anchor


def differences(
    state: Captures, expressions: list[str], names: list[list[str]], path: str = AnchorCase.PATH
) -> list[str]:
    """One row for each name on which the core, asked all along, and the plain search part."""
    anchor = core._Hierarchy.Anchor()
    found = []
    for expression, own in zip(expressions, names):
        for name in own:
            anchor.state.set(state)
            given = asked(anchor, expression, name, path)
            expected = asked(plain_anchor(state), expression, name, path)
            if given != expected:
                found.append(f"{expression!r} on {name!r} with {state!r}: {given} for {expected}")
    return found


A = {"<a:x+>": {("/r", "foo")}}
PAST = [
    # sub-expressions that come to stand beside a captured text
    (A, {r"<b:^\d+>": set()}, "<b>_<a>", "1_fooé"),
    (A, {"<b:(?i)x>": set()}, "<b>_<a>", "X_foo"),
    (A, {r"<b:(x)\1>": set()}, "<b>_<a>", "xx_foo"),
    (A, {"<b:+>": set()}, "<a><b>$", "foofoo"),
    (A, {"<b:x)|(y>": set()}, "<b>_<a>", "é"),
    (A, {"<d:x>": set(), "<b:^y>": set()}, "<d:x><b>_<a>", "xy_y_fooé"),
    # a captured text that becomes a count, or the name of another anchor
    ({"<a:x+>": {("/r", "2")}}, {}, "x{1<a>}$", "x" * 12),
    ({"<b:x+>": {("/r", "a")}}, {"<a:y>": set()}, "<<b>>$", "y"),
    ({"<b:y>": {("/r", "foo")}}, {"<q:<b>": set()}, "<q:<b>>", "<q:foo>"),
    # leading flags
    ({"<d:x>": set()}, {}, "(?i)(?s)y<d:x>", "Yx"),
    ({"<d:x>": set()}, {"<b:^y>": set()}, "(?i)<d:x><b>", "xy_y"),
    ({"<a:x>": set()}, {"<b:(?i)k>": {("/r", "2")}}, "<b><a:x>y", "2xyY"),
]


@pytest.mark.parametrize(("state", "more", "expression", "name"), PAST)
def test_past_differences(state: Captures, more: Captures, expression: str, name: str) -> None:
    assert differences({**state, **more}, [expression], [[name]]) == []


@pytest.mark.parametrize(
    "expression",
    [
        "[ab]*a[ab]{10}$",  # more states than an automaton may have
        "(?:a{50}){90}|a",  # more nodes
        "a{65535}|b",
        "(" * 120 + "a" + ")" * 120 + "*b?$",  # deeper than what is read
        "<a>(a|b)*<a>$",  # a captured text up to the last place
        "<d:[ab]*><a>$",
        "<a>?<d:b+>$",
    ],
)
def test_limits_of_automata(expression: str) -> None:
    rng = random.Random(1)
    state = {"<a:x>": {("/r", "ab")}, "<d:[ab]*>": set(), "<d:b+>": set()}
    names = [
        "".join(rng.choice("ab") for _ in range(length - 2)) + end
        for length in (2, 9, 13, 40, 62, 63, 64, 65, 66, 300)
        for end in ("ab", "aa", "b\n", "é")
    ]
    assert differences(state, [expression], [[*names, *("ab" + name for name in names)]]) == []


def test_expressions_that_look_alike_are_told_apart() -> None:
    # One is asked with the captured text by reference; the other looks like it with its usage.
    anchor = core._Hierarchy.Anchor()
    anchor.state.set(A)
    assert anchor.match("<a>$", "foo", "/r/n")
    assert not anchor.match("<a>$\0<a>", "xx", "/other")


def test_random_expressions() -> None:
    share = 0
    for seed in range(SEED, SEED + PAIRS * 3 // 4 // (3 * NAMES)):
        case = AnchorCase(seed)
        drawn = [case.expression() for _ in range(3)]
        texts = [text for text, _ in drawn]
        names = [[case.expressions.name(draw) for _ in range(NAMES)] for _, draw in drawn]
        assert differences(case.state, texts, names) == [], f"KAVEL_FUZZ_SEED={seed}"
        anchor = plain_anchor(case.state)
        share += asked(anchor, texts[0], names[0][0], case.PATH) not in (False, "re.error")
    assert SEED or share > PAIRS // 320, "the generator lost the names that match"


def long_names(rng: random.Random) -> list[str]:
    """Names around the length up to which places in a name fit into one word."""
    names = []
    for length in (1, 61, 62, 63, 64, 65, 66, 129):
        name = "".join(rng.choice("aaab1_") for _ in range(length))
        names.append(name[:-1] + rng.choice("a1_\né"))
    return names


def test_random_expressions_without_anchors() -> None:
    compiled = 0
    for seed in range(SEED, SEED + PAIRS // 4 // (2 * NAMES)):
        rng = random.Random(seed)
        expressions = Expressions(rng, odd=0.05)
        text, draw = expressions.sequence(0) if seed % 4 == 0 else expressions.branch(3)
        text = expressions.flags() + text
        names = long_names(rng) if seed % 4 == 0 else [expressions.name(draw) for _ in range(NAMES)]
        assert differences({}, [text], [names]) == [], f"KAVEL_FUZZ_SEED={seed}"
        # Matched by the expression in the middle as well, and not only at the start.
        defined = f"<a:[ab_]*>{text}"
        names = [rng.choice(("", "a", "ab_")) + name for name in names]
        assert differences({"<a:[ab_]*>": set()}, [defined], [names]) == [], (
            f"KAVEL_FUZZ_SEED={seed}"
        )
        compiled += outcome(lambda text=text: re.compile(text)) != "re.error"
    assert SEED or compiled > PAIRS // 4 // (4 * NAMES), "the generator lost what compiles"


def rows(joint: Any) -> list[tuple[str, str]]:
    """(path, stamp) of every joint that a rule took, from above."""
    own = [] if joint.is_ghost() else [(joint.path, joint.stamp)]
    return own + [row for child in joint.children for row in rows(child)]


def assignments(case: Case) -> list[list[tuple[str, str]]]:
    """What a scan assigns, for each match."""
    host = MemoryHost()
    host.names, host.types = case.scene.names, case.scene.types
    host.parents, host.children = case.scene.parents, case.scene.children
    virtual = core.Scene._Virtual(host)
    virtual.upload(case.roots)
    hierarchy = core._Hierarchy(virtual, None)
    hierarchy.pattern.set(record(case.record))
    buffer = core.Scene._Buffer(host, virtual, hierarchy)
    scanner = core.Scene._Scanner(
        SimpleNamespace(), host, virtual, hierarchy, buffer, core._CallBacks()
    )
    return [rows(bucket.joint) for bucket in scanner._scan(case.roots)]


def straight_results(case: Case) -> tuple[Any, Any]:
    """The same answers of the plain search, in the shapes of `answers` and `assignments`."""
    results = straight.scan(case.scene, case.record, case.roots)
    questions = [
        (found.roots, found.ghost, found.masked, found.valid, found.captures) for found in results
    ]
    found: dict[tuple[str, ...], list[tuple[str, str]]] = {}
    for result in results:
        if result.valid and result.joints:
            rows_below = [(path, stamp) for _, path, stamp in result.flat()]
            found.setdefault(tuple(result.roots), rows_below)
    return questions, list(found.values())


def test_random_scenes() -> None:
    kinds = {True: 0, False: 0, "error": 0}
    for seed in range(SEED, SEED + PAIRS // 25):
        case = random_case(seed, odd=0.02 if seed % 3 == 0 else 0.0, wild=True)
        expected = outcome(lambda case=case: straight_results(case))
        given = outcome(lambda case=case: (answers(case, False), assignments(case)))
        assert given == expected, f"KAVEL_FUZZ_SEED={seed}"
        if isinstance(expected, str):
            kinds["error"] += 1
            continue
        for row in expected[0]:
            kinds[row[3]] += 1
    assert SEED or min(kinds.values()) > PAIRS // 2500, kinds


def test_threads_share_one_logic() -> None:
    """Automata grow while they are asked: one vocabulary serves threads that ask at once."""
    case = AnchorCase(7)
    anchor = core._Hierarchy.Anchor()
    anchor.state.set({})
    rng = random.Random(7)
    expressions = Expressions(rng, odd=0.0)
    drawn = [expressions.branch(2) for _ in range(40)]
    asks = [(text, case.expressions.name(draw)) for text, draw in drawn for _ in range(20)]
    expected = [outcome(lambda ask=ask: re.match(*ask) is not None) for ask in asks]
    found: list[list[Any]] = [[], [], []]

    def ask_all(own: list[Any]) -> None:
        own.extend(outcome(lambda ask=ask: anchor.match(*ask, "/x")) for ask in asks)

    threads = [threading.Thread(target=ask_all, args=(own,)) for own in found]
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    try:
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    finally:
        sys.setswitchinterval(interval)
    assert found == [expected] * 3
