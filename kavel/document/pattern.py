"""The rules and the rule tree of one record, tied together."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import Any

from kavel.document.problems import Findings, rule_place
from kavel.document.reading import join, kind_of

GHOST = "ghost"
BRANCH_DROPPED = "the branch is dropped"  # the end of a message
_MAX_LEVELS = 240  # the deepest tree that the core reads


@dataclass
class Item:
    """One place in the rule tree. `path` is the JSON path of its node."""

    rule: dict[str, Any]
    path: str
    parent: Item | None = None
    children: list[Item] = field(default_factory=list)

    @property
    def regex(self) -> str:
        return text_of(self.rule, "regex")

    @property
    def is_ghost(self) -> bool:
        return self.rule.get("name") == GHOST

    def ancestors(self) -> Iterator[Item]:
        item = self.parent
        while item is not None:
            yield item
            item = item.parent


@dataclass
class Pattern:
    """The rules in list order, and the top items of the tree."""

    rules: list[dict[str, Any]] = field(default_factory=list)
    top: list[Item] = field(default_factory=list)
    path: str = ""

    @property
    def ghost(self) -> Item | None:
        """The top item that stands for the scene root or for a group of free name."""
        return next((item for item in self.top if item.is_ghost), None)

    @property
    def matched(self) -> list[Item]:
        """The top items that objects are compared with: the ghost's, if there is a ghost."""
        ghost = self.ghost
        return self.top if ghost is None else ghost.children


def text_of(rule: dict[str, Any], key: str) -> str:
    value = rule.get(key, "")
    return value if isinstance(value, str) else ""


def walk(items: list[Item]) -> Iterator[tuple[int, Item]]:
    """Every item with its depth (0 at the top), parents first, in tree order."""
    stack = [(0, item) for item in reversed(items)]
    while stack:
        depth, item = stack.pop()
        yield depth, item
        stack.extend((depth + 1, child) for child in reversed(item.children))


def read_pattern(record: dict[str, Any], path: str, findings: Findings) -> Pattern:
    """Tie the tree to the rules by their stamps; branches that name no rule are dropped."""
    listed = record.get("rules", [])
    rules = [rule for rule in listed if isinstance(rule, dict)] if isinstance(listed, list) else []
    pattern = Pattern(rules, path=path)
    by_stamp: dict[str, dict[str, Any]] = {}
    for rule in rules:
        stamp = rule.get("stamp")
        if isinstance(stamp, str) and by_stamp.setdefault(stamp, rule) is not rule:
            findings.warning("another rule has the same stamp", path, **rule_place(rule, "stamp"))
    tree = record.get("pattern", [])
    if isinstance(tree, list):
        _read_tree(tree, by_stamp, pattern, findings)
    return pattern


def _read_tree(
    tree: list[Any], by_stamp: dict[str, dict[str, Any]], pattern: Pattern, findings: Findings
) -> None:
    stack: list[tuple[Any, str, Item | None, int]] = []

    def push(nodes: list[Any], path: str, parent: Item | None, level: int) -> None:
        for index in reversed(range(len(nodes))):
            stack.append((nodes[index], join(path, index), parent, level))

    push(tree, join(pattern.path, "pattern"), None, 1)
    while stack:
        node, path, parent, level = stack.pop()
        if level > _MAX_LEVELS:
            findings.error(f"the tree is deeper than {_MAX_LEVELS} levels", path)
            return
        if not isinstance(node, dict):
            findings.warning(f"is {kind_of(node)}, not an object; {BRANCH_DROPPED}", path)
            continue
        stamp = node.get("stamp")
        rule = by_stamp.get(stamp) if isinstance(stamp, str) else None
        if rule is None:
            message = f"names no rule of the list; {BRANCH_DROPPED}"
            findings.warning(message, join(path, "stamp"))
            continue
        item = Item(rule, path, parent)
        (pattern.top if parent is None else parent.children).append(item)
        children = node.get("children", [])
        if isinstance(children, list):
            push(children, join(path, "children"), item, level + 1)
        else:
            message = f"must be an array, not {kind_of(children)}"
            findings.error(message, join(path, "children"))
