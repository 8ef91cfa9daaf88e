"""Finding out why nothing in the scene that the core scanned last matched."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from dataclasses import dataclass, field
from typing import Any

from kavel.diagnosis.departure import (
    ALONE,
    EMPTY,
    PATTERN,
    ROOT,
    SELECTION,
    Candidate,
    Departure,
    Diagnosis,
    Reason,
)
from kavel.diagnosis.explaining import Explanation
from kavel.diagnosis.fitting import Fitting, described
from kavel.diagnosis.homes import Homes
from kavel.diagnosis.levels import Budget, Level, Matching, wrong_levels

_SCOPES = 1000  # tops of hierarchies that are looked at
_LEVELS = 2000  # levels that are looked at
_KEPT = 20  # departures that are told
_ELSEWHERE = 1000  # objects that are tried in other places than theirs


def diagnose(api: Any) -> Diagnosis:
    """Why the last scan of `api`, a `core.Api`, found nothing.

    To be asked before the scene or the selection changes. The work is bounded: it takes about as
    long as the scan, and counts what it leaves out. Errors: those of the core.
    """
    state = api.scene.hierarchy.search.logic.state
    before = state.clone()
    try:
        return _SceneDiagnosis(api.scene).run()
    finally:
        state.apply(before)


@dataclass
class _Top:
    """One top of a hierarchy. `left` are the top objects that the scan left aside; `levels` are
    those that the core rejects."""

    level: Level
    covered: bool
    left: list[str] = field(default_factory=list)
    levels: list[Level] = field(default_factory=list)

    @property
    def depth(self) -> int:
        return max((level.depth for level in self.levels), default=0)


class _SceneDiagnosis:
    def __init__(self, scene: Any) -> None:
        self._hierarchy = scene.hierarchy
        self._pattern = scene.hierarchy.pattern
        self._scanner = scene.scanner
        self._matching = Matching(scene.hierarchy, scene.scanner._virtual)
        self._fitting = Fitting(self._matching)
        self._complete = True
        self._more = 0
        self._homes = Homes(self._matching, self._fitting, [])
        self._aside: list[str] = []  # top objects that the scan left aside

    def run(self) -> Diagnosis:
        if not len(self._pattern.get()):
            return Diagnosis([Departure(PATTERN)])
        roots = list(self._scanner._find_scope_roots())
        if self._needs_company():
            return Diagnosis([Departure(ALONE)])
        tops = list(self._tops(roots))
        if not tops:
            return Diagnosis([self._no_root(roots)])
        self._search(tops)
        self._homes = Homes(self._matching, self._fitting, [top.level for top in tops])
        return self._told(tops)

    def _needs_company(self) -> bool:
        """Whether the top items need several objects, where each top object is compared alone."""
        items = [item for item in self._pattern.get() if item.rule is not None]
        needed = sum(max(int(item.rule.range.minimum), 0) for item in items)
        return needed > 1 and not self._pattern.has_ghost()

    # The tops

    def _tops(self, roots: list[str]) -> Iterator[_Top]:
        """What the scanner compares with the top of the pattern, in the way that it does."""
        scopes, parents = self._hierarchy.root_scopes(roots)
        ghost = self._pattern.get_ghost()
        owners = [root for root in roots if self._hierarchy.is_ghost_root(ghost, root)]
        met: set[tuple[str, ...]] = set()
        for number, scope in enumerate(scopes):
            if tuple(scope) in met:
                continue
            if len(met) == _SCOPES:
                self._complete = False
                return
            met.add(tuple(scope))
            place = parents.get(scope[0]) if scope else None
            if not scope and len(owners) == len(scopes):
                place = owners[number]
            yield self._top(list(scope), place or "", ghost if place else None)

    def _top(self, paths: list[str], place: str, ghost: Any) -> _Top:
        names = {location.path: location.name for location in self._matching.locations(paths)}
        paths.sort(key=lambda path: names.get(path, ""))
        covered = self._matching.covered(paths)
        # The scan goes on with what the top items took; when they lack something, with nothing.
        taken = [path for path in paths if path in covered]
        level = Level(
            place=place,
            rule=None if ghost is None else ghost.rule,
            paths=taken or paths,
            items=list(self._pattern.get()),
            exact=bool(taken),
        )
        left = [path for path in paths if path not in covered] if taken else []
        return _Top(level, bool(taken), left)

    def _no_root(self, roots: list[str]) -> Departure:
        """The ghost item and what comes nearest to it: what fits it below, else a top object."""
        ghost = self._pattern.get_ghost()
        item = described(ghost)
        for location in self._below(roots):
            if self._hierarchy.is_ghost_root(ghost, location.path):
                reason = Reason(SELECTION, "it was not selected")
                return Departure(
                    ROOT, item=item, candidate=Candidate(location.path, location.name, (reason,))
                )
        level = Level("", None, roots, [ghost])
        found = (
            self._fitting.compare(level, ghost, location)
            for location in self._matching.locations(roots[:_ELSEWHERE])
        )
        candidate = min(found, key=lambda found: found.rank, default=None)
        return Departure(ROOT, item=item, objects=tuple(roots[:1]), candidate=candidate)

    # The levels

    def _search(self, tops: list[_Top]) -> None:
        """Fill in the wrong levels; where some tops are covered, of these only."""
        if any(top.covered for top in tops):
            self._more = sum(bool(top.level.place) for top in tops if not top.covered)
            self._aside = [path for top in tops if not top.covered for path in top.level.paths]
            tops[:] = [top for top in tops if top.covered]
        budget = Budget(_LEVELS)
        for top in tops:
            top.levels = list(wrong_levels(self._matching, top.level, budget))
        self._complete = self._complete and not budget.spent
        # The further down, the likelier it was meant to match.
        tops.sort(key=lambda top: -top.depth)

    def _told(self, tops: list[_Top]) -> Diagnosis:
        found = [level for top in tops for level in top.levels]
        aside = [*self._aside, *(path for top in tops for path in top.left)]
        left = (path for level in found for path in level.left)
        elsewhere = list(self._below([*aside, *left]))
        levels = found if any(top.covered for top in tops) else self._nearest(tops)
        levels.sort(key=lambda level: not level.certain)
        departures: list[Departure] = []
        places = 0
        for level in levels:
            if len(departures) >= _KEPT:
                break
            departures += self._explain(level, elsewhere)
            places += 1
        return self._diagnosis(departures, len(found) - places)

    def _nearest(self, tops: list[_Top]) -> list[Level]:
        """The wrong levels of those tops that come nearest, where none fits at all."""
        # Those for which the budget did not suffice have none.
        ranked = [(_rank(self._explain(top.level)), top) for top in tops if top.levels]
        ranked.sort(key=lambda pair: pair[0])
        near = [top for rank, top in ranked if rank < _FAR] or [top for _, top in ranked[:1]]
        return [level for top in near for level in top.levels]

    def _diagnosis(self, departures: list[Departure], more: int) -> Diagnosis:
        self._complete = self._complete and len(departures) <= _KEPT
        return Diagnosis(departures[:_KEPT], more + self._more, self._complete)

    def _explain(self, level: Level, elsewhere: Sequence[Any] = ()) -> list[Departure]:
        if not level.paths:
            return [Departure(EMPTY, level.place, level.rule.name if level.rule else "")]
        explanation = Explanation(self._matching, self._fitting, level, self._homes, elsewhere)
        return explanation.departures()

    def _below(self, paths: Sequence[str]) -> Iterator[Any]:
        """The first of the objects with everything below them, level by level."""
        queue = list(dict.fromkeys(paths))[:_ELSEWHERE]
        done = 0
        while done < min(len(queue), _ELSEWHERE):
            (location,) = self._matching.locations(queue[done : done + 1])
            yield location
            queue.extend(location.children[:_ELSEWHERE])
            done += 1


_FAR = (True, False, 0.0)


def _rank(departures: list[Departure]) -> tuple[bool, bool, float]:
    """How far the nearest candidate is: below `_FAR` when it is near at all."""
    candidates = [found.candidate for found in departures if found.candidate is not None]
    ranks = ((not found.is_near, *found.rank) for found in candidates)
    return min(ranks, default=(True, True, 1e9))
