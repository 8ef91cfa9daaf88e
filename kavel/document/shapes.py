"""What a regular expression can match, as far as a warning needs to know.

The structure comes from the interpreter's own parser of expressions. Character sets are sampled: a
set is represented by those characters of `_SAMPLE` that it holds.
"""

from __future__ import annotations

import re
import string
from collections.abc import Iterator
from typing import Any

try:
    from re import _parser  # type: ignore[attr-defined]
except ImportError:  # before Python 3.11
    import sre_parse as _parser

PUNCTUATION = frozenset(".^$*+?{}[]\\|()")
_SAMPLE = frozenset(string.printable + "éßЯя中😀\u00a0")
_CLASSES = {
    "CATEGORY_DIGIT": r"\d",
    "CATEGORY_NOT_DIGIT": r"\D",
    "CATEGORY_SPACE": r"\s",
    "CATEGORY_NOT_SPACE": r"\S",
    "CATEGORY_WORD": r"\w",
    "CATEGORY_NOT_WORD": r"\W",
}
_GROUP_START = re.compile(r"\?(?:P<\w+>|[aiLmsux-]*:|>)")
_UNBOUNDED = re.compile(r"[*+]|\{\d*,\}")


def matched_characters(expression: str) -> frozenset[str]:
    """The sampled characters that a match of `expression` can hold; none if it is invalid."""
    try:
        parsed = _parser.parse(expression)
    except (re.error, RecursionError, OverflowError):
        return frozenset()
    return _characters(parsed)


def nested_repeats(expression: str) -> list[int]:
    """Where groups start that are repeated without bound although their content can already take
    the same characters without bound, so that a failing match tries every way to share them out.
    """
    return [start for start, body in _repeated_groups(expression) if _is_ambiguous(body)]


def bare_alternation(expression: str) -> int | None:
    """The position of the first "|" that stands in no group, if there is one."""
    depth = 0
    for position, char in _operators(expression):
        depth += {"(": 1, ")": -1}.get(char, 0)
        if char == "|" and depth == 0:
            return position
    return None


def _repeated_groups(expression: str) -> Iterator[tuple[int, str]]:
    opened: list[int] = []
    for position, char in _operators(expression):
        if char == "(":
            opened.append(position)
        elif char == ")" and opened:
            start = opened.pop()
            if _UNBOUNDED.match(expression, position + 1):
                body = expression[start + 1 : position]
                prefix = _GROUP_START.match(body)
                yield start, body[prefix.end() :] if prefix else body


def _operators(expression: str) -> Iterator[tuple[int, str]]:
    """The characters that are neither escaped nor in a character class, with their positions."""
    position = 0
    while position < len(expression):
        char = expression[position]
        if char == "\\":
            position += 1
        elif char == "[":
            position = _class_end(expression, position)
        else:
            yield position, char
        position += 1


def _class_end(expression: str, start: int) -> int:
    """The position of the "]" that ends the character class that begins at `start`."""
    position = start + 1
    if expression.startswith("^", position):
        position += 1
    position += 1  # a "]" in first place belongs to the class
    while position < len(expression) and expression[position] != "]":
        position += 2 if expression[position] == "\\" else 1
    return position


def _is_ambiguous(body: str) -> bool:
    try:
        parsed = _parser.parse(body)
    except (re.error, RecursionError, OverflowError):
        return False
    borders = [_characters([node]) for node in _mandatory(parsed)]
    for repeated in _unbounded_repeats(parsed):
        taken = _characters(repeated)
        # A character that each round must have and the inner repeat cannot take is a border.
        if taken and all(not border or border & taken for border in borders):
            return True
    return False


def _mandatory(parsed: Any) -> Iterator[Any]:
    """The single characters and classes that every match of the sequence goes through."""
    for node in parsed:
        name, argument = str(node[0]), node[1]
        if name == "SUBPATTERN":
            yield from _mandatory(argument[-1])
        elif name in ("LITERAL", "NOT_LITERAL", "IN", "ANY"):
            yield node


def _unbounded_repeats(parsed: Any) -> Iterator[Any]:
    for name, argument in _nodes(parsed):
        if name in ("MAX_REPEAT", "MIN_REPEAT") and argument[1] is _parser.MAXREPEAT:
            yield argument[2]


def _nodes(parsed: Any) -> Iterator[tuple[str, Any]]:
    """Every node of a parsed expression that takes characters, outer ones first."""
    for operation, argument in parsed:
        name = str(operation)
        yield name, argument
        if name == "SUBPATTERN":
            yield from _nodes(argument[-1])
        elif name in ("MAX_REPEAT", "MIN_REPEAT", "POSSESSIVE_REPEAT"):
            yield from _nodes(argument[2])
        elif name == "ATOMIC_GROUP":
            yield from _nodes(argument)
        elif name == "BRANCH":
            for branch in argument[1]:
                yield from _nodes(branch)


def _characters(parsed: Any) -> frozenset[str]:
    found: frozenset[str] = frozenset()
    for name, argument in _nodes(parsed):
        if name == "LITERAL":
            found |= {chr(argument)}
        elif name == "NOT_LITERAL":
            found |= _SAMPLE - {chr(argument)}
        elif name == "ANY":
            found |= _SAMPLE - {"\n"}
        elif name == "IN":
            found |= _class_characters(argument)
    return found


def _class_characters(items: Any) -> frozenset[str]:
    found: frozenset[str] = frozenset()
    negated = False
    for operation, argument in items:
        name = str(operation)
        if name == "NEGATE":
            negated = True
        elif name == "LITERAL":
            found |= {chr(argument)}
        elif name == "RANGE":
            found |= {char for char in _SAMPLE if argument[0] <= ord(char) <= argument[1]}
        elif name == "CATEGORY":
            category = _CLASSES.get(str(argument), r"\Z")
            found |= {char for char in _SAMPLE if re.fullmatch(category, char)}
    return _SAMPLE - found if negated else found
