"""A project's rule tree as an indented outline."""

from __future__ import annotations

import json
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


def asked_checks(pattern: Pattern) -> list[tuple[list[str], list[tuple[str, str]]]]:
    """The names of rules that ask for the same checks, and these: id and parameters, once for each
    set of parameters."""
    found: dict[tuple[tuple[str, str], ...], list[str]] = {}
    told: set[int] = set()
    for _, item in walk(pattern.top):
        if id(item.rule) not in told and (rows := tuple(_asked_by(item.rule))):
            found.setdefault(rows, []).append(str(item.rule.get("name", "name")))
        told.add(id(item.rule))
    return [(names, list(rows)) for rows, names in found.items()]


def _asked_by(rule: Any) -> Iterator[tuple[str, str]]:
    checklist = rule.get("checklist")
    for check, entry in checklist.items() if isinstance(checklist, dict) else ():
        if not isinstance(entry, dict) or entry.get("enabled") is not True:
            continue
        sets = entry.get("parameters")
        for given in sets if isinstance(sets, list) and sets else [{}]:
            yield check, _set_text(given)


def _set_text(given: Any) -> str:
    """ "as information, maximum 4" """
    if not isinstance(given, dict):
        return "?"
    words = ["as information"] if given.get("as_info") is True else []
    state = given.get("state")
    for attr, value in state.items() if isinstance(state, dict) else ():
        # The stored form of most parameters is an object with one value.
        plain = next(iter(value.values())) if isinstance(value, dict) and len(value) == 1 else value
        text = plain if isinstance(plain, str) else json.dumps(plain, ensure_ascii=False)
        words.append(f"{attr} {text}")
    return ", ".join(words)


def range_text(limits: Any) -> str:
    """ "1", "0..1", "1..4" """
    if not isinstance(limits, list) or len(limits) != 2:
        return "?"
    minimum, maximum = limits
    return f"{minimum}" if minimum == maximum else f"{minimum}..{maximum}"
