"""A project's rule tree as an indented outline."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

from kavel.document import Pattern
from kavel.document.pattern import walk


def outline(pattern: Pattern) -> Iterator[tuple[int, str, str, str, str]]:
    """Depth, rule name, expression, types and range of each item, parents first."""
    for depth, item in walk(pattern.top):
        rule = item.rule
        types = rule.get("types")
        yield (
            depth,
            str(rule.get("name", "name")),
            item.regex,
            ", ".join(map(str, types)) if isinstance(types, list) and types else "any type",
            range_text(rule.get("range", [1, 1])),
        )


def range_text(limits: Any) -> str:
    """ "1", "0..1", "1..4" """
    if not isinstance(limits, list) or len(limits) != 2:
        return "?"
    minimum, maximum = limits
    return f"{minimum}" if minimum == maximum else f"{minimum}..{maximum}"
