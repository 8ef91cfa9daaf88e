"""A plain hierarchy search in pure Python: an oracle for the tests, a baseline for the benchmark.

It shares no code with the core. Every rule of matching is written down as it would be told: the
anchor state is copied whole for each object that is taken, captures are sorted for each name that
is tried, taken objects leave the list of free ones one by one. That makes it quadratic, on purpose:
what is this plain is easy to check by reading. Only deep scenes get care: nothing here recurses.

`scan(operator, record, roots)` is the entrance. `record` is a plain dict as a project stores it::

    {"rules": [{"stamp": ..., "name": ..., "regex": ..., "types": [...], "range": [1, 1]}],
     "pattern": [{"stamp": ..., "children": [...]}]}

`operator` is anything with object_exists, get_type, get_parent, get_children and name_from_path.
Errors of the operator and of regular expressions reach the caller.
"""

from __future__ import annotations

import re
from collections.abc import Iterable, Sequence
from dataclasses import dataclass, field
from typing import Any

from straight_anchors import Anchor, State
from straight_pattern import Pattern, Rule, Scope

SCENE_ROOT = "sceneRoot"


class Location:
    """One object of a level; told apart by identity, a level makes each only once."""

    def __init__(self, name: str, path: str, kind: str, children: list[str]) -> None:
        self.name = name
        self.path = path
        self.type = kind
        self.children = children


class Snapshot:
    """The hierarchies below some roots, copied out of an operator into dictionaries."""

    def __init__(self, operator: Any, roots: Sequence[str]) -> None:
        self.exists: dict[str, bool] = {}
        self.name: dict[str, str] = {}
        self.type: dict[str, str] = {}
        self.parent: dict[str, str | None] = {}
        self.children: dict[str, list[str]] = {}
        way_down: set[str] = set()
        stack = [(path, False) for path in reversed(roots)]
        while stack:
            path, leaving = stack.pop()
            if leaving:
                way_down.discard(path)
                continue
            if path in way_down:  # a faulty host made the object its own descendant
                continue
            self.exists[path] = bool(operator.object_exists(path))
            if not self.exists[path]:
                continue
            self.name[path] = operator.name_from_path(path)
            self.type[path] = operator.get_type(path)
            self.parent[path] = operator.get_parent(path)
            self.children[path] = list(operator.get_children(path) or ())
            way_down.add(path)
            stack.append((path, True))
            stack.extend((child, False) for child in reversed(self.children[path]))

    def get_locations(self, paths: Iterable[str]) -> list[Location]:
        return [
            Location(self.name[path], path, self.type[path], self.children[path])
            for path in paths
            if self.exists.get(path)
        ]


@dataclass(eq=False)
class Response:
    location: Location
    scope: Scope


class Search:
    """One greedy guess per level: which object belongs to which item."""

    def __init__(self, snapshot: Snapshot) -> None:
        self.snapshot = snapshot
        self.logic = Anchor()
        self.locations: list[Location] = []
        self.guess: dict[Rule, list[Location]] = {}

    def layer(
        self, paths: Iterable[str], scopes: list[Scope], exact: bool = True
    ) -> list[Response]:
        scopes = [scope for scope in scopes if scope.rule is not None]
        self.locations = self.snapshot.get_locations(paths)
        self.guess = {}
        backup = self.logic.state.clone()
        self.make_guess(scopes)
        if self.wrong_guess(scopes, exact):
            self.logic.state.apply(backup)
            return []
        return [
            Response(location, scope)
            for scope in scopes
            if scope.rule is not None
            for location in self.guess[scope.rule]
        ]

    def make_guess(self, scopes: list[Scope]) -> None:
        state = self.logic.state.clone()
        for scope in scopes:
            rule = scope.rule
            assert rule is not None
            found: list[Location] = []
            for location in self.locations:
                if not self.scope_match(location, scope, rule):
                    continue
                if len(found) + 1 > rule.maximum:
                    break
                found.append(location)
                state = state + self.logic.state.clone()
            self.guess[rule] = found
            self.logic.state.apply(state)
            for location in found:
                self.locations.remove(location)

    def scope_match(self, location: Location, scope: Scope, rule: Rule) -> bool:
        if rule.types and location.type not in rule.types:
            return False
        refused = bool(location.children) and not scope.children
        backup = self.logic.state.clone() if refused else None
        matched = self.logic.match(rule.regex, location.name, location.path)
        if backup is not None:  # an object that is refused leaves no captures behind
            self.logic.state.apply(backup)
            return False
        return matched

    def wrong_guess(self, scopes: list[Scope], exact: bool) -> bool:
        for scope in scopes:
            if scope.rule is not None and not scope.rule.allows(len(self.guess[scope.rule])):
                return True
        return exact and bool(self.locations)


@dataclass(eq=False)
class Joint:
    """One object of a matched hierarchy with the stamp of the rule that took it."""

    path: str
    stamp: str
    children: list[Joint] = field(default_factory=list)


class Matcher:
    def __init__(self, snapshot: Snapshot, record: dict[str, Any]) -> None:
        self.snapshot = snapshot
        self.pattern = Pattern(record)
        self.search = Search(snapshot)

    def find_anchors(self) -> None:
        self.search.logic.state = State({key: set() for key in self.pattern.definitions()})

    def is_valid(self, roots: Sequence[str]) -> bool:
        self.find_anchors()
        return self.match(roots, self.pattern.get())

    def mask(self, roots: Sequence[str]) -> list[str]:
        self.find_anchors()
        responses = self.search.layer(roots, self.pattern.get(), exact=False)
        return [response.location.path for response in responses]

    def match(self, roots: Sequence[str], scopes: list[Scope]) -> bool:
        """Level by level, depth first, in the order of the responses, up to the first failure."""
        stack = [(roots, scopes)]
        while stack:
            paths, level = stack.pop()
            responses = self.search.layer(paths, level)
            if not responses and not any(s.rule is not None and s.rule.allows(0) for s in level):
                return False
            stack.extend(
                (response.location.children, response.scope.children)
                for response in reversed(responses)
                if not self._is_finished(response)
            )
        return True

    @staticmethod
    def _is_finished(response: Response) -> bool:
        """A leaf is not descended into, whether its item is one too or expects children."""
        return not response.location.children

    def load(self, roots: Sequence[str]) -> list[Joint]:
        """The assignment of a valid hierarchy; a level that no object was assigned in is empty."""
        self.find_anchors()
        joints: list[Joint] = []
        stack = [(roots, self.pattern.get(), joints)]
        while stack:
            paths, level, target = stack.pop()
            below = []
            for response in self.search.layer(paths, level):
                assert response.scope.rule is not None
                joint = Joint(response.location.path, response.scope.rule.stamp)
                target.append(joint)
                if not self._is_finished(response):
                    below.append(
                        (response.location.children, response.scope.children, joint.children)
                    )
            stack.extend(reversed(below))
        return joints

    def captures(self) -> list[tuple[str, str, str]]:
        """Sorted (anchor key, scope path, text) of the last question."""
        return sorted(
            (key, path, text)
            for key, captures in self.search.logic.state.expressions.items()
            for path, text in captures
        )

    @staticmethod
    def _ghost_types(ghost: Rule) -> tuple[str, ...]:
        return ghost.types or (SCENE_ROOT,)

    def is_ghost_root(self, ghost: Scope | None, path: str) -> bool:
        if ghost is None or ghost.rule is None:
            return False
        types = self._ghost_types(ghost.rule)
        if SCENE_ROOT in types and not self.snapshot.parent.get(path):
            return True
        if re.match(ghost.rule.regex, self.snapshot.name.get(path, "")) is None:
            return False
        return self.snapshot.type.get(path, "") in types

    def root_scopes(self, roots: Sequence[str]) -> tuple[list[list[str]], dict[str, str | None]]:
        """Effective roots, grouped by scope, and for each the object that stands for the ghost."""
        ghost = self.pattern.get_ghost()
        if ghost is None or ghost.rule is None:
            return [[root] for root in roots], dict.fromkeys(roots)
        scopes: list[list[str]] = []
        parents: dict[str, str | None] = {}
        top: list[str] | None = None
        for root in roots:
            if not self.is_ghost_root(ghost, root):
                continue
            at_top = not self.snapshot.parent.get(root)
            if SCENE_ROOT in self._ghost_types(ghost.rule) and at_top:
                if top is None:
                    top = []
                    scopes.append(top)
                scope = top
                listed = self.snapshot.type.get(root) == SCENE_ROOT
            else:
                scope, listed = [], True
                scopes.append(scope)
            below = self.snapshot.children.get(root, []) if listed else [root]
            scope.extend(below)
            parents.update(dict.fromkeys(below, root if listed else None))
        return scopes, parents


@dataclass
class ScopeResult:
    """What became of one root scope; `captures` are those left when its validity was decided."""

    roots: list[str]  # effective roots, ordered by name
    ghost: str | None  # path of the object that stands for the ghost item
    masked: list[str]  # the roots that the pattern's top level covers
    valid: bool
    joints: list[Joint]  # empty unless valid
    captures: list[tuple[str, str, str]]  # (anchor key, scope path, text), sorted

    def flat(self) -> list[tuple[int, str, str]]:
        """(depth, path, rule stamp) of every joint, pre-order: safe to compare at any depth."""
        rows = []
        stack = [(0, joint) for joint in reversed(self.joints)]
        while stack:
            depth, joint = stack.pop()
            rows.append((depth, joint.path, joint.stamp))
            stack.extend((depth + 1, child) for child in reversed(joint.children))
        return rows


def scan_snapshot(
    snapshot: Snapshot, record: dict[str, Any], roots: Sequence[str]
) -> list[ScopeResult]:
    """Match every root scope that `roots` give; a root with nothing below is a scope as well."""
    matcher = Matcher(snapshot, record)
    scopes, parents = matcher.root_scopes(roots)
    results = []
    for paths in scopes:
        ordered = sorted(paths, key=lambda path: snapshot.name.get(path, ""))
        covered = set(matcher.mask(ordered))
        masked = [path for path in ordered if path in covered]
        valid = bool(masked) and matcher.is_valid(masked)
        captures = matcher.captures() if masked else []
        joints = matcher.load(masked) if valid else []
        ghost = parents.get(paths[0]) if paths else None
        results.append(ScopeResult(ordered, ghost, masked, valid, joints, captures))
    return results


def scan(operator: Any, record: dict[str, Any], roots: Sequence[str]) -> list[ScopeResult]:
    return scan_snapshot(Snapshot(operator, roots), record, roots)
