"""Write a project document: naming rules, and the tree that arranges them.

The layout and the order of the keys are those of the documents that Kavel itself saves.
"""

from __future__ import annotations

import hashlib
import json
import uuid
from dataclasses import dataclass, field
from typing import Any

DOCUMENT_VERSION = 3
SAVED = 1700000000  # one fixed time, in seconds since the epoch: made again, a sample is the same


@dataclass(frozen=True)
class Check:
    """A check by its id. ``values`` are stored values by parameter, where they are not the check's
    own defaults; with ``as_info`` what it finds is a note, not a failure."""

    id: str
    values: tuple[tuple[str, Any], ...] = ()
    as_info: bool = False


def check(id: str, as_info: bool = False, **values: Any) -> Check:
    """Return a check whose parameters have these values: numbers, truth values or expressions."""
    return Check(id, tuple(values.items()), as_info)


@dataclass(frozen=True)
class Rule:
    """A naming rule; ``count`` is the fewest and the most objects under one parent, and ``checks``
    run on each object that the rule takes."""

    name: str
    regex: str
    types: tuple[str, ...] = ()
    count: tuple[int, int] = (1, 1)
    color: str | None = None
    icon: str | None = None
    checks: tuple[Check, ...] = ()


@dataclass
class Item:
    """A place in the tree, where a rule's objects are expected. A rule may stand at many places."""

    rule: Rule
    children: list[Item] = field(default_factory=list)


@dataclass(frozen=True)
class Project:
    """A project with one saved state."""

    filename: str
    name: str
    description: str
    tree: list[Item]
    author: str
    comment: str


def document(project: Project) -> dict[str, Any]:
    """Return the project's document; ValueError when two different rules share a name."""
    rules: dict[str, Rule] = {}
    for item in _walk(project.tree):
        if rules.setdefault(item.rule.name, item.rule) != item.rule:
            raise ValueError(f"two rules are named {item.rule.name!r}")
    stamps = {name: _stamp(project.filename, name) for name in rules}
    record = {
        "export": {
            "directory": "~",
            "options": {},
            "flags": {
                "automatic_uv": False,
                "triangulate": False,
                "reset_xforms": False,
                "version_control": False,
            },
        },
        "rules": [_rule(rule, stamps[name]) for name, rule in rules.items()],
        "pattern": [_item(item, stamps) for item in project.tree],
        "author": project.author,
        "comment": project.comment,
    }
    return {
        "name": project.name,
        "description": project.description,
        "records": {str(SAVED): record},
        "selected_record": SAVED,
        "deleted": False,
        "version": DOCUMENT_VERSION,
        "filename": project.filename,
        "target": "standalone",
        "edit_timestamp": float(SAVED),
    }


def text(project: Project) -> str:
    """Return the text of the project's file."""
    return json.dumps(document(project), ensure_ascii=False, indent=2)


def _walk(items: list[Item]) -> list[Item]:
    return [found for item in items for found in [item, *_walk(item.children)]]


def _stamp(filename: str, name: str) -> str:
    digest = hashlib.sha256(f"{filename}/{name}".encode()).digest()
    return uuid.UUID(bytes=digest[:16], version=4).hex


def _rule(rule: Rule, stamp: str) -> dict[str, Any]:
    return {
        "stamp": stamp,
        "name": rule.name,
        "regex": rule.regex,
        "types": list(rule.types),
        "checklist": {item.id: _entry(item) for item in rule.checks},
        "range": list(rule.count),
        "color": rule.color,
        "icon": rule.icon,
    }


def _entry(item: Check) -> dict[str, Any]:
    state = {attr: _stored(value) for attr, value in item.values}
    changed = bool(state) or item.as_info
    parameters = [{"as_info": item.as_info, "state": state}] if changed else []
    return {"enabled": True, "opened": False, "parameters": parameters}


def _stored(value: Any) -> dict[str, Any]:
    if isinstance(value, bool):
        return {"enabled": value}
    return {"text": value} if isinstance(value, str) else {"value": value}


def _item(item: Item, stamps: dict[str, str]) -> dict[str, Any]:
    children = [_item(child, stamps) for child in item.children]
    return {"stamp": stamps[item.rule.name], "children": children}
