"""Why an object does not fit an item, and how near it comes."""

from __future__ import annotations

import contextlib
import re
from typing import Any

from kavel.diagnosis.departure import ANCHOR, CHILDREN, NAME, TYPE, Bound, Candidate, Item, Reason
from kavel.diagnosis.levels import Level, Matching
from kavel.diagnosis.similarity import similarity

# What each kind of difference costs. A name that differs costs more the less alike it is.
_COSTS = {ANCHOR: 0.5, TYPE: 0.7, CHILDREN: 0.7, NAME: 0.3}
_UNLIKE = 2.0


class Fitting:
    """Compares objects with the items of a level, on the captures of that level."""

    def __init__(self, matching: Matching) -> None:
        self._matching = matching
        self._logic = matching.logic

    def fits(self, level: Level, item: Any, location: Any) -> bool:
        """Whether `item` would take the object if it stood on this level."""
        path = _moved(location.path, level.place)
        here = type(location)(location.name, path, location.type, location.children)
        return self._matching.accepts(level, item, here)

    def compare(self, level: Level, item: Any, location: Any) -> Candidate:
        """The object beside the item; without reasons when it fits."""
        rule = item.rule
        reasons = []
        cost = 0.0
        if not self._matching.matches(level.captures, rule.regex, location):
            anchors = self._other_texts(level, rule.regex, location)
            if anchors:
                reasons += [Reason(ANCHOR, text) for text in anchors]
                cost += _COSTS[ANCHOR]
            else:
                reasons.append(Reason(NAME, self._name_text(level, rule.regex, location)))
                unlike = 1 - similarity(location.name, self._plain(level, rule.regex))
                cost += _COSTS[NAME] + _UNLIKE * unlike
        types = list(rule.types)
        if types and location.type not in types:
            reasons.append(
                Reason(TYPE, f"its type is {location.type or 'unknown'}, not {' or '.join(types)}")
            )
            cost += _COSTS[TYPE]
        if location.children and not item.children:
            reasons.append(Reason(CHILDREN, "it has children, where the pattern has none"))
            cost += _COSTS[CHILDREN]
        return Candidate(location.path, location.name, tuple(reasons), cost, described(item))

    def bound(self, level: Level, item: Any) -> tuple[Bound, ...]:
        """The anchors that the item uses and that are captured above, with what they stand for."""
        return tuple(self._bound(level, item.rule.regex))

    def _bound(self, level: Level, expression: str) -> list[Bound]:
        bound: dict[str, Bound] = {}
        if not level.captures:
            return []
        self._matching.set_captures(level.captures)
        for definition in self._matching.definitions:
            usage = str(self._logic.unpack_anchor(definition)[0])
            if usage in bound or usage not in expression:
                continue
            captures = {capture[1:] for capture in level.captures if capture[0] == definition}
            if not captures:
                continue
            path = str(self._logic.get_scope_sorted(level.place, captures)[0][0])
            bound[usage] = Bound(usage, self._logic.replace_anchors(usage, level.place), path)
        return list(bound.values())

    def _other_texts(self, level: Level, expression: str, location: Any) -> list[str]:
        """When the name would match with other texts in place of the captured ones: which."""
        bound = self._bound(level, expression)
        if not bound or not self._matching.matches((), expression, location):
            return []
        texts = []
        # The altered expression may not compile; then there is nothing to tell.
        with contextlib.suppress(re.error, ValueError):
            for anchor in bound:
                found = self._text_of(anchor.anchor, expression, location)
                if found != anchor.text:
                    texts.append(f'its name has "{found}" where {anchor.anchor} is "{anchor.text}"')
        return texts

    def _text_of(self, usage: str, expression: str, location: Any) -> str:
        """What the name has in place of an anchor that nothing binds."""
        for definition in self._matching.definitions:
            if self._logic.unpack_anchor(definition)[0] != usage or definition in expression:
                continue
            self._matching.matches((), expression.replace(usage, definition, 1), location)
            for _, text in self._logic.state.expressions[definition]:
                return str(text)
        return ""

    def _name_text(self, level: Level, expression: str, location: Any) -> str:
        with contextlib.suppress(re.error, ValueError):
            if self._matching.matches(level.captures, f"(?i){expression}", location):
                return "upper and lower case differ in its name"
            blanks = _outer_blanks(location.name)
            bare = type(location)(
                location.name.strip(" "), location.path, location.type, location.children
            )
            if blanks and self._matching.matches(level.captures, expression, bare):
                return f"its name {blanks}"
        return "its name does not match"

    def _plain(self, level: Level, expression: str) -> str:
        """The expression with all anchors replaced."""
        self._matching.set_captures(level.captures)
        return str(self._logic.apply_anchors(self._logic.replace_anchors(expression, level.place)))


def described(item: Any) -> Item:
    rule = item.rule
    limits = rule.range
    types = tuple(map(str, rule.types))
    return Item(rule.name, rule.stamp, rule.regex, types, limits.minimum, limits.maximum)


def _outer_blanks(name: str) -> str:
    parts = [
        f"{verb} with a blank"
        for verb, found in (("begins", name.startswith(" ")), ("ends", name.endswith(" ")))
        if found
    ]
    return " and ".join(parts)


def _moved(path: str, place: str) -> str:
    """The path that the object would have below `place`."""
    return f"{place}/{path[max(path.rfind(mark) for mark in '/|') + 1 :]}"
