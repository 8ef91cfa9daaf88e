"""What the straight search is asked to find: rules, their tree, and the order of siblings."""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from typing import Any

GHOST = "ghost"


@dataclass(frozen=True)
class Rule:
    """One naming rule; frozen and compared by value, so equal rules are one key of a guess."""

    stamp: str
    name: str
    regex: str
    types: tuple[str, ...]
    minimum: int
    maximum: int

    def allows(self, count: int) -> bool:
        return self.minimum <= count <= self.maximum


@dataclass(eq=False)
class Scope:
    """One item of the pattern; `rule` is None when the rule list lacks its stamp."""

    rule: Rule | None
    children: list[Scope] = field(default_factory=list)


class Pattern:
    def __init__(self, record: dict[str, Any]) -> None:
        rules = {data["stamp"]: self._rule(data) for data in record.get("rules", ())}
        self.hierarchy: list[Scope] = []
        stack = [(node, self.hierarchy) for node in reversed(record.get("pattern", ()))]
        while stack:
            node, siblings = stack.pop()
            scope = Scope(rules.get(node["stamp"]))
            siblings.append(scope)
            stack.extend((child, scope.children) for child in reversed(node.get("children", ())))
        levels = [self.get()]
        while levels:
            scopes = levels.pop()
            sort_scopes(scopes)
            levels.extend(scope.children for scope in scopes)

    @staticmethod
    def _rule(data: dict[str, Any]) -> Rule:
        minimum, maximum = data.get("range", (1, 1))
        types = tuple(data.get("types", ()))
        name, regex = data.get("name", "name"), data.get("regex", "")
        return Rule(data["stamp"], name, regex, types, minimum, maximum)

    def get_ghost(self) -> Scope | None:
        for scope in self.hierarchy:
            if scope.rule is not None and scope.rule.name == GHOST:
                return scope
        return None

    def get(self) -> list[Scope]:
        """The effective top level: below the ghost item when there is one."""
        ghost = self.get_ghost()
        return self.hierarchy if ghost is None else ghost.children

    def definitions(self) -> list[str]:
        """Every anchor definition below the effective top level, pre-order, each once."""
        keys: dict[str, None] = {}
        stack = list(reversed(self.get()))
        while stack:
            scope = stack.pop()
            if scope.rule is not None:
                keys.update(dict.fromkeys(find(scope.rule.regex)))
            stack.extend(reversed(scope.children))
        return list(keys)


def sort_scopes(scopes: list[Scope]) -> None:
    """Order siblings in place: the first in list order that waits for no definition goes next.

    When all that are left wait for one another, the first of them goes next.
    """
    defined, used = [], []
    for scope in scopes:
        inner = findall(scope.rule.regex, unpacked=True) if scope.rule is not None else []
        defined.append({unpack_anchor(text)[0] for text in inner if has_definition(text)})
        used.append({f"<{text}>" for text in inner if not has_definition(text)})
    waiting = list(range(len(scopes)))
    order = []
    while waiting:
        chosen = waiting[0]
        for index in waiting:
            if not any(defined[other] & used[index] for other in waiting if other != index):
                chosen = index
                break
        waiting.remove(chosen)
        order.append(scopes[chosen])
    scopes[:] = order


def findall(text: str, unpacked: bool = False) -> list[str]:
    return re.findall("<(.*?)>" if unpacked else "<.*?>", text)


def has_definition(text: str) -> bool:
    return len(text.split(":")) == 2


def find(text: str) -> list[str]:
    return [piece for piece in findall(text) if has_definition(piece)]


def unpack_anchor(key: str) -> tuple[str, str]:
    """The usage form and the sub-expression of a definition."""
    name, expression = re.sub("(<+|>+)", "", key).split(":")
    return f"<{name}>", expression
