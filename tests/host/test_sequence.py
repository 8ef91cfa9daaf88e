"""Live lists: everything that a list can do, on the core's own elements."""

from __future__ import annotations

import gc
import weakref
from typing import Any

import pytest

import core

Joint = core.Scene._Buffer.DataJoint
ITEMS = [Joint(name=name) for name in "abcd"]
LOOSE = Joint(name="x")


def live(items: list[Any] | None = None) -> Any:
    return Joint(children=ITEMS if items is None else items).children


CHANGES: dict[str, Any] = {
    "append": lambda list_: list_.append(LOOSE),
    "extend": lambda list_: list_.extend(iter([LOOSE, ITEMS[0]])),
    "extend by itself": lambda list_: list_.extend(list_),
    "insert": lambda list_: (list_.insert(-1, LOOSE), list_.insert(99, LOOSE)),
    "remove": lambda list_: list_.remove(ITEMS[2]),
    "pop": lambda list_: (list_.pop(), list_.pop(0)),
    "reverse": lambda list_: list_.reverse(),
    "sort": lambda list_: list_.sort(key=lambda joint: joint.name, reverse=True),
    "clear": lambda list_: list_.clear(),
    "item": lambda list_: list_.__setitem__(-1, LOOSE),
    "slice from an iterator": lambda list_: list_.__setitem__(slice(1, 3), iter([LOOSE] * 3)),
    "whole slice": lambda list_: list_.__setitem__(slice(None), (k for k in reversed(ITEMS))),
    "extended slice": lambda list_: list_.__setitem__(slice(0, 4, 2), (LOOSE, LOOSE)),
    "delete": lambda list_: (list_.__delitem__(0), list_.__delitem__(slice(1, 3))),
    "in-place sum": lambda list_: list_.__iadd__([LOOSE]),
    "in-place product": lambda list_: list_.__imul__(2),
    "loop that adds": lambda list_: [list_.append(LOOSE) for _ in list_ if len(list_) < 6],
    "loop that removes": lambda list_: [list_.remove(joint) for joint in list_],
}
ANSWERS: dict[str, Any] = {
    "length": len,
    "elements": list,
    "reversed": lambda list_: list(reversed(list_)),
    "slices": lambda list_: (list_[1:], list_[::-2], list_[9:]),
    "contains": lambda list_: (ITEMS[1] in list_, LOOSE in list_, 3 in list_),
    "places": lambda list_: (list_.index(ITEMS[1]), list_.count(LOOSE)),
    "sums": lambda list_: (list_ + [LOOSE], [LOOSE] + list_, list_ + list_),
    "products": lambda list_: (list_ * 2, 0 * list_),
    "equality": lambda list_: (list_ == ITEMS, list_ != ITEMS[:2], list_ == 5),
}


@pytest.mark.parametrize("change", CHANGES.values(), ids=CHANGES)
def test_changes_are_those_of_a_list(change: Any) -> None:
    expected, found = list(ITEMS), live()
    change(expected)
    change(found)
    assert list(found) == expected
    assert [id(joint) for joint in found] == [id(joint) for joint in expected]


@pytest.mark.parametrize("answer", ANSWERS.values(), ids=ANSWERS)
def test_answers_are_those_of_a_list(answer: Any) -> None:
    assert answer(live()) == answer(list(ITEMS))


def test_texts_are_in_order() -> None:
    texts = core.Scene._Virtual._Location("n", "p", "t", ["b", "c"]).children
    assert (texts < ["b", "d"], texts <= texts, texts > ["a"], texts >= ["c"]) == (
        True,
        True,
        True,
        False,
    )
    with pytest.raises(TypeError):
        assert texts < ("b",)


@pytest.mark.parametrize(
    ("change", "error"),
    [
        (lambda list_: list_.append(None), TypeError),
        (lambda list_: list_.extend([LOOSE, "no joint"]), TypeError),
        (lambda list_: list_.__setitem__(slice(None), [LOOSE, 3]), TypeError),
        (lambda list_: list_.__setitem__(slice(0, 4, 2), [LOOSE]), ValueError),
        (lambda list_: list_ + (LOOSE,), TypeError),
        (lambda list_: list_ * "2", TypeError),
        (lambda list_: list_[9], IndexError),
        (lambda list_: list_.pop(9), IndexError),
    ],
)
def test_refused_changes_lose_nothing(change: Any, error: type[Exception]) -> None:
    found = live()
    with pytest.raises(error):
        change(found)
    assert list(found) == ITEMS


def test_iterators_hold_the_list_and_are_collected() -> None:
    found = live()
    iterator = iter(found)
    assert iter(iterator) is iterator and next(iterator) is ITEMS[0]
    owner = Joint(children=ITEMS)
    held = weakref.ref(owner.children)
    owner.children.iterator = iter(owner.children)
    del owner
    gc.collect()
    assert held() is None
    assert [*iterator] == ITEMS[1:]
    found.append(LOOSE)
    assert list(iterator) == [], "an iterator that has ended stays so"
