"""What changed between two rule trees.

Every place of the earlier tree gets at most one partner in the later one, a place of the same rule:
first those below partners, from the top down, then, where they are left over, those that stand
elsewhere. What has no partner was added or removed; what has one below another parent was moved.
"""

from __future__ import annotations

from collections import defaultdict, deque
from collections.abc import Iterator, Mapping
from dataclasses import dataclass, field
from typing import Any

Key = tuple[str, int]  # what identifies a rule


@dataclass(eq=False)
class Node:
    """A place in a tree; the root's key is none."""

    key: Key | None
    parent: Node | None = None
    children: list[Node] = field(default_factory=list)
    partner: Node | None = None

    def above(self) -> list[Key]:
        """The rules above the place, from the top."""
        keys: list[Key] = []
        node = self.parent
        while node is not None and node.key is not None:
            keys.append(node.key)
            node = node.parent
        return keys[::-1]


@dataclass(frozen=True)
class Place:
    """A change of one place: `before` and `after` are the rules above it, from the top.

    kind: "place_added", "place_removed", "place_moved"; or "place_order" for the places below one
    parent, with the order in which both trees have them. `above` is then where they stand.
    """

    kind: str
    key: Key | None
    before: list[Key] | None = None
    after: list[Key] | None = None
    above: list[Key] = field(default_factory=list)


def read_tree(nodes: list[dict[str, Any]], keys: Mapping[str, Key]) -> Node:
    """The root of a tree as it is stored; `keys` is for rules whose stamp is not their key."""
    root = Node(None)
    stack = [(root, nodes)]
    while stack:
        parent, below = stack.pop()
        for node in below:
            stamp = node["stamp"]
            child = Node(keys.get(stamp, (stamp, 0)), parent)
            parent.children.append(child)
            stack.append((child, node["children"]))
    return root


def compare_trees(old: Node, new: Node) -> list[Place]:
    """The changes, none when the trees are equal."""
    _find_partners(old, new)
    changes = []
    for node in _walk(new):
        if node.partner is None:
            changes.append(Place("place_added", node.key, after=node.above()))
    for node in _walk(old):
        if node.partner is None:
            changes.append(Place("place_removed", node.key, before=node.above()))
        elif node.parent is not None and node.parent.partner is not node.partner.parent:
            moved = Place("place_moved", node.key, node.above(), node.partner.above())
            changes.append(moved)
    return changes + [order for node in _walk(old) for order in _orders(node)]


def _find_partners(old: Node, new: Node) -> None:
    _join(old, new)
    left: defaultdict[Key | None, deque[Node]] = defaultdict(deque)
    for node in _walk(new):
        if node.partner is None:
            left[node.key].append(node)
    for node in _walk(old):
        candidates = left[node.key]
        while node.partner is None and candidates:
            candidate = candidates.popleft()
            if candidate.partner is None:
                _join(node, candidate)


def _join(old: Node, new: Node) -> None:
    """Makes two places partners, and the children of the same rules in their order, and so on."""
    stack = [(old, new)]
    while stack:
        before, after = stack.pop()
        before.partner, after.partner = after, before
        left: defaultdict[Key | None, deque[Node]] = defaultdict(deque)
        for child in after.children:
            if child.partner is None:
                left[child.key].append(child)
        for child in before.children:
            if child.partner is None and left[child.key]:
                stack.append((child, left[child.key].popleft()))


def _orders(old: Node) -> Iterator[Place]:
    new = old.partner
    if new is None:
        return
    # A place and the parent of its partner: only those that stayed below their parent.
    stayed = [child for child in old.children if child.partner and child.partner.parent is new]
    found = [child for child in new.children if child.partner and child.partner.parent is old]
    if [child.partner for child in stayed] != found:
        before = [child.key for child in stayed if child.key]
        after = [child.key for child in found if child.key]
        above = [*new.above(), *([new.key] if new.key else [])]
        yield Place("place_order", None, before, after, above)


def _walk(root: Node) -> Iterator[Node]:
    """Every place, parents first, in tree order; the root as well."""
    stack = [root]
    while stack:
        node = stack.pop()
        yield node
        stack.extend(reversed(node.children))
