"""Where objects that no item takes belong: the items of other places that they fit."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from dataclasses import dataclass, replace
from typing import Any

from kavel.diagnosis.fitting import Fitting
from kavel.diagnosis.levels import Level, Matching

_LEVELS = 1000  # places that are looked at
_QUESTIONS = 20_000  # how often an object is tried on an item
# What takes an object of one of these names takes (nearly) any.
_NO_NAMES = ("\ue000", "zqx", "Zqx_9")


@dataclass(frozen=True)
class Home:
    """`item` of `level` would take the object, and has room for it."""

    level: Level
    item: Any


class Homes:
    """The places below the tops of a scene, found when the first object asks.

    An object that was dragged out of its parent leaves the pattern's item there without it. When
    nothing is left below that parent, the core does not miss it, so no departure tells.
    """

    def __init__(self, matching: Matching, fitting: Fitting, tops: Sequence[Level]) -> None:
        self._matching = matching
        self._fitting = fitting
        self._tops = tops
        self._known: list[Home] | None = None
        self._left = _QUESTIONS
        self._found: dict[str, Home | None] = {}

    def of(self, location: Any, place: str) -> Home | None:
        """Where the object, which hangs below `place`, fits; first where objects are missing."""
        if location.path not in self._found:
            self._found[location.path] = self._find(location, place)
        return self._found[location.path]

    def _find(self, location: Any, place: str) -> Home | None:
        if self._known is None:
            self._known = sorted(self._homes(), key=lambda home: not _lacks(home))
        own = f"{location.path}/"
        for home in self._known:
            # Neither where it is, nor below itself.
            if home.level.place == place or f"{home.level.place}/".startswith(own):
                continue
            if self._left <= 0:
                return None
            self._left -= 1
            if self._fitting.fits(home.level, home.item, location) and self._is_choosy(
                home, location
            ):
                return home
        return None

    def _is_choosy(self, home: Home, location: Any) -> bool:
        others = (
            type(location)(name, location.path, location.type, location.children)
            for name in _NO_NAMES
        )
        return not any(self._fitting.fits(home.level, home.item, other) for other in others)

    def _homes(self) -> Iterator[Home]:
        stack = [top for top in reversed(self._tops) if top.exact]
        for _ in range(_LEVELS):
            if not stack:
                return
            level = stack.pop()
            captured: dict[str, Any] = {}
            taken: list[list[str]] = [[] for _ in level.items]
            if level.paths:
                guess = self._matching.guess(level)
                captured, taken = guess.captured, guess.taken
            level = replace(level, taken=taken)
            for item, paths in zip(level.items, taken):
                if item.rule is not None and len(paths) < int(item.rule.range.maximum):
                    yield Home(level, item)
                stack += [self._below(level, item, path, captured) for path in reversed(paths)]

    def _below(self, level: Level, item: Any, path: str, captured: dict[str, Any]) -> Level:
        return Level(
            place=path,
            rule=item.rule,
            paths=self._matching.children(path),
            items=list(item.children),
            captures=level.captures + captured.get(path, ()),
            depth=level.depth + 1,
        )


def _lacks(home: Home) -> bool:
    position = next(n for n, item in enumerate(home.level.items) if item is home.item)
    return len(home.level.taken[position]) < int(home.item.rule.range.minimum)
