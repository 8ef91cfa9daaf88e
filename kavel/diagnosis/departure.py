"""Departures of a scene from a pattern, as data."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any

# Kinds of departures
PATTERN = "pattern"  # the pattern has no items at all
ALONE = "alone"  # without a ghost item each top object is compared alone, but the top needs several
ROOT = "root"  # no object can stand for the ghost item
EMPTY = "empty"  # there is no object to compare with the pattern
MISSING = "missing"  # an item took fewer objects than it needs
TOO_MANY = "too_many"  # more objects fit an item than it may take
STRAY = "stray"  # objects that no item takes
REPEATED = "repeated"  # a rule stands twice on the level, so its objects are not counted rightly

# Why an object does not stand in an item's place, or how it could
NAME = "name"
ANCHOR = "anchor"  # the name fits, but with another text than was captured above
TYPE = "type"
CHILDREN = "children"  # it has children, the item has none
TAKEN = "taken"  # it fits, and an earlier item took it
FULL = "full"  # it fits, and the item has all it may take
PLACE = "place"  # it fits, but hangs elsewhere
SELECTION = "selection"  # it fits, but was not selected


_ALIKE = 1.3


@dataclass(frozen=True)
class Item:
    """A pattern item. `rule` is the rule's name, `types` is empty when any type will do."""

    rule: str
    stamp: str
    expression: str
    types: tuple[str, ...]
    minimum: int
    maximum: int

    def data(self) -> dict[str, Any]:
        return {
            "rule": self.rule,
            "stamp": self.stamp,
            "expression": self.expression,
            "types": list(self.types),
            "range": [self.minimum, self.maximum],
        }


@dataclass(frozen=True)
class Bound:
    """An anchor that an expression uses: `text` was captured from the object at `path`."""

    anchor: str
    text: str
    path: str

    def data(self) -> dict[str, str]:
        return {"anchor": self.anchor, "text": self.text, "object": self.path}


@dataclass(frozen=True)
class Reason:
    """`text` continues a sentence: "but ..."."""

    kind: str
    text: str

    def data(self) -> dict[str, str]:
        return {"kind": self.kind, "text": self.text}


@dataclass(frozen=True)
class Candidate:
    """The object (or, for a stray object, the item) that comes nearest: a hint, no verdict.

    `cost` is 0 for what fits and grows with the difference.
    """

    path: str
    name: str
    reasons: tuple[Reason, ...]
    cost: float = 0.0
    item: Item | None = None

    @property
    def is_named(self) -> bool:
        """Whether its name is right, or would be with another captured text."""
        return all(reason.kind != NAME for reason in self.reasons)

    @property
    def is_near(self) -> bool:
        """Whether it is worth telling even where there are others."""
        return self.is_named or self.cost <= _ALIKE

    @property
    def rank(self) -> tuple[bool, float]:
        """The less, the nearer: a right name tells more than all else."""
        return not self.is_named, self.cost

    def data(self) -> dict[str, Any]:
        return {
            "object": self.path,
            "item": self.item and self.item.data(),
            "reasons": [reason.data() for reason in self.reasons],
        }


@dataclass(frozen=True)
class Departure:
    """One departure on one level: among the children of the object at `place`, which `place_rule`
    took; both are empty at the top of the scene.

    `found` counts the objects that `item` took, or that fit it when they are too many (there may
    then be yet more with `at_least`), and `taken` are the first that it took of too many. `objects`
    are the first of those that nothing took, `more` how many there are beyond. Objects are told by
    their paths. `certain` is false below a level that is wrong itself: its objects may stand in the
    wrong items' places.
    """

    kind: str
    place: str = ""
    place_rule: str = ""
    item: Item | None = None
    found: int = 0
    at_least: bool = False
    taken: tuple[str, ...] = ()
    objects: tuple[str, ...] = ()
    more: int = 0
    bound: tuple[Bound, ...] = ()
    candidate: Candidate | None = None
    certain: bool = True

    def data(self) -> dict[str, Any]:
        from kavel.diagnosis.wording import details, headline

        return {
            "kind": self.kind,
            "place": self.place or None,
            "place_rule": self.place_rule or None,
            "item": self.item and self.item.data(),
            "found": self.found,
            "at_least": self.at_least,
            "taken": list(self.taken),
            "objects": list(self.objects),
            "more_objects": self.more,
            "anchors": [bound.data() for bound in self.bound],
            "nearest": self.candidate and self.candidate.data(),
            "certain": self.certain,
            "message": headline(self),
            "details": list(details(self)),
        }


@dataclass(frozen=True)
class Diagnosis:
    """Departures, the first that the core meets first; those that are not certain come last.

    `more` counts further places with departures; when not `complete`, there may be yet more.
    """

    departures: list[Departure] = field(default_factory=list)
    more: int = 0
    complete: bool = True

    def data(self) -> dict[str, Any]:
        return {
            "departures": [departure.data() for departure in self.departures],
            "more_places": self.more,
            "complete": self.complete,
        }
