"""Anchors of the straight search: what they captured, and the expressions that come of it."""

from __future__ import annotations

import re
from collections.abc import Iterable

from straight_pattern import unpack_anchor

Capture = tuple[str, str]  # (scope path, captured text)


def components(path: str) -> list[str]:
    return path.replace("\\", "|").replace("|", "/").split("/")


def same_scope(scope: str, path: str) -> bool:
    """Whether `scope` is `path` itself or one of its ancestors."""
    parts = components(scope)
    return components(path)[: len(parts)] == parts


def count_shared_symbols(source: str, target: str) -> int:
    count = 0
    for left, right in zip(source, target):
        if left != right:
            break
        count += 1
    return count


def get_scope_sorted(path: str, captures: Iterable[Capture]) -> list[Capture]:
    """Captures by leading symbols shared with `path`, then path depth, then text, all ascending."""

    def key(capture: Capture) -> tuple[int, int, str]:
        scope, text = capture
        return count_shared_symbols(scope, path), len(components(scope)), text

    return sorted(captures, key=key)


def _merge(part: str, before: str, after: str) -> str:
    """Drop an end marker in front of more text and a start marker behind some."""
    if after and part.endswith("$"):
        part = part[:-1]
    if before and part.startswith("^"):
        part = part[1:]
    return part


def _split_flags(expression: str) -> tuple[str, str]:
    """Leading global flags such as "(?i)", which may stand nowhere else, and the rest."""
    match = re.match(r"(?:\(\?[aiLmsux]+\))*", expression)
    end = match.end() if match else 0
    return expression[:end], expression[end:]


class State:
    """Per anchor key the captures made so far, on all branches."""

    def __init__(self, expressions: dict[str, set[Capture]]) -> None:
        self.expressions = {key: set(captures) for key, captures in expressions.items()}

    def clone(self) -> State:
        return State(self.expressions)

    def apply(self, other: State) -> None:
        self.expressions = other.clone().expressions

    def __add__(self, other: State) -> State:
        nothing: set[Capture] = set()
        return State(
            {
                key: captures | other.expressions.get(key, nothing)
                for key, captures in self.expressions.items()
            }
        )


class Anchor:
    """Turns expressions with anchors into plain ones and keeps what the anchors captured."""

    def __init__(self) -> None:
        self.state = State({})

    def replace_anchors(self, expression: str, path: str) -> str:
        """Put captured texts in place of uses, as far as captures lie on the branch of `path`."""
        for key, captures in self.state.expressions.items():
            usage, _ = unpack_anchor(key)
            if usage not in expression:
                continue
            for scope, text in get_scope_sorted(path, captures):
                if same_scope(scope, path):
                    expression = expression.replace(usage, text)
                    break
        return expression

    def apply_anchors(self, expression: str) -> str:
        """Put sub-expressions in place of definitions and of uses that are left."""
        for key in self.state.expressions:
            usage, part = unpack_anchor(key)
            if key in expression:
                before, after = expression.split(key)  # a definition stands once: ValueError
                expression = expression.replace(key, _merge(part, before, after))
            if usage in expression:
                before, after = expression.split(usage, 1)
                expression = expression.replace(usage, _merge(part, before, after))
        return expression

    def match(self, expression: str, name: str, path: str) -> bool:
        expression = self.replace_anchors(expression, path)
        if re.match(self.apply_anchors(expression), name) is None:
            return False
        self.extract_anchors(expression, name, path)
        return True

    def extract_anchors(self, expression: str, name: str, path: str) -> None:
        """Capture, per definition, what the parts before and after it leave of the name."""
        for key, captures in self.state.expressions.items():
            if key not in expression:
                continue
            before, after = expression.split(key)
            flags, begin = _split_flags(self.apply_anchors(before))
            text = name
            match = re.match(f"{flags}^{begin}", text)
            if match is not None:
                text = text[match.end() :]
            match = re.search(f"{flags}{self.apply_anchors(after)}$", text)
            if match is not None:
                text = text[: match.start()] + text[match.end() :]
            captures.add((path, text))
