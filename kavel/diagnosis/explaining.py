"""What is wrong on one level that the core rejects."""

from __future__ import annotations

from collections import Counter
from collections.abc import Iterator, Sequence
from dataclasses import replace
from typing import Any

from kavel.diagnosis.departure import (
    FULL,
    MISSING,
    PLACE,
    REPEATED,
    STRAY,
    TAKEN,
    TOO_MANY,
    Candidate,
    Departure,
    Reason,
)
from kavel.diagnosis.fitting import Fitting, described
from kavel.diagnosis.homes import Home, Homes
from kavel.diagnosis.levels import Level, Matching
from kavel.diagnosis.wording import named

_CHECKED = 4000  # left objects of a level that are tried on its items
_COMPARED = 40  # objects and items of a level that are compared with each other
_LISTED = 10  # objects that a departure names


class Explanation:
    """The departures of one level.

    `elsewhere` are objects of other places that stand wrong there; one of them may be what this
    level lacks. `homes` tells where else objects that no item takes belong.
    """

    def __init__(
        self,
        matching: Matching,
        fitting: Fitting,
        level: Level,
        homes: Homes,
        elsewhere: Sequence[Any] = (),
    ) -> None:
        self._matching = matching
        self._fitting = fitting
        self._level = level
        self._elsewhere = elsewhere
        self._homes = homes
        self._items = [
            (position, item) for position, item in enumerate(level.items) if item.rule is not None
        ]
        left = level.left
        self._unlisted = max(len(left) - _CHECKED, 0)
        self._left = {place.path: place for place in matching.locations(left[:_CHECKED])}

    def departures(self) -> list[Departure]:
        """What lacks, what is too much, what no item takes; the likeliest fault first."""
        repeated = list(self._repeated())
        if repeated:  # what was taken cannot be told rightly on such a level
            return repeated
        fitting = self._left_that_fit()
        missing = self._missing(fitting)
        if not self._level.exact:  # objects may be left over
            return missing or self._strays(list(self._left))
        used = {departure.candidate.path for departure in missing if departure.candidate}
        strays = [path for path in self._left if path not in fitting and path not in used]
        found = [*missing, *self._too_many(fitting), *self._strays(strays)]
        # An item that lost its object to another one follows from what that one does not take.
        return sorted(found, key=_lost_its_object)

    def _departure(self, kind: str, item: Any = None, **more: Any) -> Departure:
        level = self._level
        return Departure(
            kind=kind,
            place=level.place,
            place_rule=level.rule.name if level.rule is not None else "",
            item=None if item is None else described(item),
            bound=() if item is None else self._fitting.bound(level, item),
            certain=level.certain,
            **more,
        )

    def _repeated(self) -> Iterator[Departure]:
        numbers = Counter(item.rule for _, item in self._items)
        for rule, number in numbers.items():
            if number > 1:
                item = next(item for _, item in self._items if item.rule == rule)
                yield self._departure(REPEATED, item)

    def _left_that_fit(self) -> dict[str, int]:
        """The left objects that fit an item, with its position: it had no room for them."""
        fitting = {}
        full = [found for found in self._items if self._is_full(*found)][:_COMPARED]
        for path, location in self._left.items():
            for position, item in full:
                if self._matching.accepts(self._level, item, location):
                    fitting[path] = position
                    break
        return fitting

    def _missing(self, fitting: dict[str, int]) -> list[Departure]:
        """`fitting` are the left objects for which other items had no room."""
        lacking = [
            (position, item)
            for position, item in self._items
            if not _contains(item, len(self._level.taken[position]))
        ]
        # Where no number of objects will do, none comes near either.
        possible = [(position, item) for position, item in lacking if _possible(item)]
        nearest = self._nearest(possible[:_COMPARED], fitting)
        departures = []
        for number, (position, item) in enumerate(lacking):
            candidate = None
            if number < _COMPARED and _possible(item):
                candidate = self._candidate(position, item, nearest.get(position))
            found = len(self._level.taken[position])
            departures.append(self._departure(MISSING, item, found=found, candidate=candidate))
        return departures

    def _candidate(self, position: int, item: Any, nearest: Candidate | None) -> Candidate | None:
        if nearest is not None and nearest.is_named:
            return nearest
        taken = self._taken_by_another(position, item)
        if taken is not None or (nearest is not None and nearest.is_near):
            return taken or nearest
        return self._misplaced(item) or nearest

    def _nearest(
        self, lacking: list[tuple[int, Any]], fitting: dict[str, int]
    ) -> dict[int, Candidate]:
        """For each item, by position, the left object that comes nearest, each object once; those
        that fit no other item first."""
        pairs = []
        for position, item in lacking:
            for order, path in enumerate(list(self._left)[:_COMPARED]):
                candidate = self._fitting.compare(self._level, item, self._left[path])
                if not candidate.is_named and self._home(path):
                    continue  # its name is right, for another place
                pairs.append((path in fitting, candidate.rank, position, order, candidate))
        only = len(self._left) == len(lacking) == 1 and not self._unlisted
        nearest: dict[int, Candidate] = {}
        used = set()
        for fits_another, _, position, _, candidate in sorted(pairs, key=lambda pair: pair[:4]):
            if position in nearest or candidate.path in used:
                continue
            if candidate.is_near or (only and not fits_another):
                nearest[position] = candidate
                used.add(candidate.path)
        return nearest

    def _taken_by_another(self, position: int, item: Any) -> Candidate | None:
        """An object that fits the item and was taken by another one on its level."""
        taken = [
            (path, other)
            for other, paths in enumerate(self._level.taken)
            if other != position
            for path in paths[:_CHECKED]
        ][:_CHECKED]
        for location, (_, other) in zip(self._matching.locations([p for p, _ in taken]), taken):
            if self._matching.accepts(self._level, item, location):
                name = self._level.items[other].rule.name
                reason = Reason(TAKEN, f'"{name}", which comes first, took it')
                return Candidate(location.path, location.name, (reason,), item=described(item))
        return None

    def _misplaced(self, item: Any) -> Candidate | None:
        """An object of another place that would fit here."""
        here = set(self._level.paths)
        for location in self._elsewhere:
            if location.path not in here and self._fitting.fits(self._level, item, location):
                reason = Reason(PLACE, "it stands elsewhere")
                return Candidate(location.path, location.name, (reason,), item=described(item))
        return None

    def _too_many(self, fitting: dict[str, int]) -> Iterator[Departure]:
        by_item: dict[int, list[str]] = {}
        for path, position in fitting.items():
            by_item.setdefault(position, []).append(path)
        for position, paths in by_item.items():
            if not _possible(self._level.items[position]):  # told already
                continue
            yield self._departure(
                TOO_MANY,
                self._level.items[position],
                found=len(self._level.taken[position]) + len(paths),
                at_least=bool(self._unlisted),
                taken=tuple(self._level.taken[position][:_LISTED]),
                objects=tuple(paths[:_LISTED]),
                more=max(len(paths) - _LISTED, 0),
            )

    def _strays(self, paths: list[str]) -> list[Departure]:
        """Together when the same comes near to them in the same way, and when nothing does."""
        groups: dict[Any, list[str]] = {}
        nearest: dict[Any, tuple[Level, Any, Candidate]] = {}
        for order, path in enumerate(paths):
            found = self._meant_for(path) if order < _COMPARED else None
            key = None
            if found is not None:
                level, item, candidate = found
                key = (level.place, id(item), tuple(reason.kind for reason in candidate.reasons))
            groups.setdefault(key, []).append(path)
            if found is not None:
                nearest.setdefault(key, found)
        far = groups.pop(None, [])
        departures = []
        for key, alike in groups.items():
            level, item, candidate = nearest[key]
            bound = self._fitting.bound(level, item)
            departures.append(replace(self._stray(alike), candidate=candidate, bound=bound))
        if far or self._unlisted:
            departures.append(self._stray(far, self._unlisted))
        return departures

    def _stray(self, paths: list[str], more: int = 0) -> Departure:
        more += max(len(paths) - _LISTED, 0)
        return self._departure(STRAY, objects=tuple(paths[:_LISTED]), more=more)

    def _home(self, path: str) -> Home | None:
        return self._homes.of(self._left[path], self._level.place)

    def _meant_for(self, path: str) -> tuple[Level, Any, Candidate] | None:
        """The item that a stray object fits elsewhere, else the one that it comes near to here."""
        near = self._nearest_item(path)
        home = None if near is not None and near[1].is_named else self._home(path)
        if home is None:
            return None if near is None else (self._level, *near)
        parent = home.level.place
        below = f"below {named(parent)}" if parent else "at the top"
        reason = Reason(PLACE, f"which belongs {below}")
        location = self._left[path]
        candidate = Candidate(path, location.name, (reason,), item=described(home.item))
        return home.level, home.item, candidate

    def _nearest_item(self, path: str) -> tuple[Any, Candidate] | None:
        compared = []
        for position, item in self._items[:_COMPARED]:
            candidate = self._fitting.compare(self._level, item, self._left[path])
            if candidate.is_near:
                if self._is_full(position, item):
                    full = Reason(FULL, f'"{item.rule.name}" has all it may take')
                    candidate = replace(candidate, reasons=(*candidate.reasons, full))
                compared.append((item, candidate))
        return min(compared, key=lambda pair: pair[1].rank, default=None)

    def _is_full(self, position: int, item: Any) -> bool:
        return len(self._level.taken[position]) >= int(item.rule.range.maximum)


def _contains(item: Any, number: int) -> bool:
    limits = item.rule.range
    return bool(limits.minimum <= number <= limits.maximum)


def _possible(item: Any) -> bool:
    limits = item.rule.range
    return bool(limits.minimum <= limits.maximum)


def _lost_its_object(departure: Departure) -> bool:
    candidate = departure.candidate
    return candidate is not None and any(reason.kind == TAKEN for reason in candidate.reasons)
