"""The levels of a scene that the core rejects, found with the steps of its own search."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from dataclasses import dataclass, field
from typing import Any

# A capture on the way down to a level: the anchor's definition, the object's path, the text.
Capture = tuple[str, str, str]


@dataclass
class Level:
    """The objects `paths` below `place`, and the items that they are handed to.

    `captures` are those of the objects above, the topmost first. Only a top is not `exact`: one
    where the scan could begin no hierarchy, whose objects may be left over. `taken` are the objects
    by position of the item, once the core has assigned them.
    """

    place: str
    rule: Any
    paths: list[str]
    items: list[Any]
    captures: tuple[Capture, ...] = ()
    exact: bool = True
    depth: int = 0
    certain: bool = True
    taken: list[list[str]] = field(default_factory=list)

    @property
    def left(self) -> list[str]:
        """What no item took."""
        taken = {path for paths in self.taken for path in paths}
        return [path for path in self.paths if path not in taken]


@dataclass
class Guess:
    wrong: bool
    taken: list[list[str]]
    captured: dict[str, tuple[Capture, ...]]


class Matching:
    """The core's matcher, asked about single levels and objects.

    Each question is put with the captures of one branch. They are the only ones that can decide
    there, and to the core's steps, which copy the captures, those of a whole scene would be many.
    """

    def __init__(self, hierarchy: Any, scene: Any) -> None:
        """`scene` is the virtual scene that `hierarchy` asks."""
        self.hierarchy = hierarchy
        self.search = hierarchy.search
        self.logic = hierarchy.search.logic
        self._scene = scene
        hierarchy.find_anchors()
        self.definitions: list[str] = list(self.logic.state.expressions)
        self._captures: Sequence[Capture] | None = None  # those in the state, while that is known

    def locations(self, paths: Sequence[str]) -> list[Any]:
        return list(self._scene.get_locations(list(paths)))

    def children(self, path: str) -> list[str]:
        return list(self._scene.get_children(path))

    def set_captures(self, captures: Sequence[Capture]) -> None:
        if captures is self._captures:
            return
        expressions: dict[str, set[tuple[str, str]]] = {key: set() for key in self.definitions}
        for definition, path, text in captures:
            expressions[definition].add((path, text))
        self.logic.state.set_expressions(expressions)
        self._captures = captures

    def matches(self, captures: Sequence[Capture], expression: str, location: Any) -> bool:
        """Whether the object's name matches. Errors: those of the expression."""
        self.set_captures(captures)
        matched = bool(self.logic.match(expression, location.name, location.path))
        if matched:
            self._captures = None
        return matched

    def covered(self, paths: list[str]) -> set[str]:
        """Those of the top objects that the top items take; none when an item lacks objects."""
        self._captures = None
        return set(self.hierarchy.mask(paths))

    def follows(self, level: Level) -> bool:
        """Whether the core accepts the level with all that is below it."""
        self.set_captures(level.captures)
        self._captures = None
        return bool(self.hierarchy.match(level.paths, level.items))

    def guess(self, level: Level) -> Guess:
        """What each item takes of a level, right or wrong."""
        self.set_captures(level.captures)
        self._captures = None
        self.search.load_variables(level.paths, level.items, level.exact)
        self.search.make_guess()
        taken: list[list[str]] = [[] for _ in level.items]
        positions = {id(item): position for position, item in enumerate(level.items)}
        for response in self.search.create_response():
            taken[positions[id(response.scope)]].append(response.location.path)
        return Guess(bool(self.search.wrong_guess()), taken, self._captured(level))

    def accepts(self, level: Level, item: Any, location: Any) -> bool:
        """Whether `item` of the level would take the object."""
        self.set_captures(level.captures)
        accepted = item.rule is not None and bool(self.search.scope_match(location, item))
        if accepted:
            self._captures = None
        return accepted

    def _captured(self, level: Level) -> dict[str, tuple[Capture, ...]]:
        known = set(level.captures)
        captured: dict[str, tuple[Capture, ...]] = {}
        for definition, captures in self.logic.state.expressions.items():
            for path, text in captures:
                if (definition, path, text) not in known:
                    captured[path] = (*captured.get(path, ()), (definition, path, text))
        return captured


class Budget:
    """How many levels may be looked at in one diagnosis."""

    def __init__(self, levels: int) -> None:
        self._left = levels
        self.spent = False

    def take(self) -> bool:
        self.spent = self._left <= 0
        self._left -= 1
        return not self.spent


def wrong_levels(matching: Matching, top: Level, budget: Budget) -> Iterator[Level]:
    """The levels at and below `top` that the core rejects, in the order in which it meets them.

    Branches that the core accepts, also where it is lenient, are not entered. Those below a wrong
    level are, as far as its items took objects; such levels are not certain.
    """
    stack = [top]
    while stack:
        level = stack.pop()
        if not budget.take():
            return
        guess = matching.guess(level)
        if guess.wrong or not level.exact:
            level.taken = guess.taken
            yield level
        stack.extend(reversed(_wrong_below(matching, level, guess)))


def _wrong_below(matching: Matching, level: Level, guess: Guess) -> list[Level]:
    below = []
    for item, paths in zip(level.items, guess.taken):
        for path in paths:
            children = matching.children(path)
            if not children:  # the core is done with it, whatever the item has below
                continue
            lower = Level(
                place=path,
                rule=item.rule,
                paths=children,
                items=list(item.children),
                captures=level.captures + guess.captured.get(path, ()),
                depth=level.depth + 1,
                certain=level.certain and not guess.wrong,
            )
            if not matching.follows(lower):
                below.append(lower)
    return below
