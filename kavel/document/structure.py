"""The shape of a project document: types of all fields, version, records."""

from __future__ import annotations

import math
import re
from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

from kavel.document.export_settings import check_export
from kavel.document.problems import Findings, rule_place
from kavel.document.reading import join, kind_of
from kavel.hints import meant

VERSION = 3
TARGETS = ("maya", "3dsmax", "blender", "standalone")
TYPES = ("ghost", "sceneRoot", "transform", "mesh", "locator", "lodGroup")


@dataclass(frozen=True)
class _Kind:
    words: str
    accepts: Callable[[Any], bool]


def _is_integer(value: Any) -> bool:
    return isinstance(value, int) and not isinstance(value, bool)


def _is_number(value: Any) -> bool:
    return isinstance(value, (int, float)) and not isinstance(value, bool)


_TEXT = _Kind("a text", lambda value: isinstance(value, str))
_TEXT_OR_NULL = _Kind("a text or null", lambda value: value is None or isinstance(value, str))
_TRUTH = _Kind("true or false", lambda value: isinstance(value, bool))
_INTEGER = _Kind("an integer", _is_integer)
_ARRAY = _Kind("an array", lambda value: isinstance(value, list))
_OBJECT = _Kind("an object", lambda value: isinstance(value, dict))
_ANY = _Kind("anything", lambda value: True)

_Table = dict[str, _Kind]

_DOCUMENT: _Table = {
    "name": _TEXT,
    "description": _TEXT_OR_NULL,
    "records": _OBJECT,
    "selected_record": _ANY,
    "deleted": _TRUTH,
    "version": _INTEGER,
    "filename": _TEXT,
    "target": _TEXT,
    "edit_timestamp": _ANY,
}
_RECORD: _Table = {
    "export": _OBJECT,
    "rules": _ARRAY,
    "pattern": _ARRAY,
    "author": _TEXT,
    "comment": _TEXT_OR_NULL,
}
_EXPORT: _Table = {"directory": _TEXT, "options": _OBJECT, "flags": _OBJECT}
_RULE: _Table = {
    "stamp": _TEXT,
    "name": _TEXT,
    "regex": _TEXT,
    "types": _ARRAY,
    "checklist": _OBJECT,
    "range": _ARRAY,
    "color": _TEXT_OR_NULL,
    "icon": _TEXT_OR_NULL,
}
_NODE: _Table = {"stamp": _ANY, "children": _ANY}
_DEFAULTED = ("filename",)
_GREATEST_NUMBER = 2**53
_CHECK: _Table = {"enabled": _TRUTH, "opened": _TRUTH, "parameters": _ARRAY}


@dataclass(frozen=True)
class Selected:
    """The record that counts, its time of saving, and its JSON path."""

    record: dict[str, Any]
    timestamp: int
    path: str


def check_structure(document: dict[str, Any], findings: Findings) -> Selected | None:
    """Check every field of every record; returns the record that the document selects."""
    _check_fields(document, _DOCUMENT, "", findings)
    _check_header(document, findings)
    records = document.get("records", {})
    if not isinstance(records, dict):
        return None
    usable: dict[int, Selected] = {}
    for key, record in records.items():
        path = join("records", key)
        timestamp = _timestamp(key)
        if timestamp is None:
            findings.warning("the key is no time; the record is skipped", path)
            continue
        if timestamp in usable:
            findings.warning(f"replaces {usable[timestamp].path}: the same second", path)
        if not isinstance(record, dict):
            findings.error(f"must be an object, not {kind_of(record)}", path)
            continue
        _check_record(record, path, document.get("target"), findings)
        usable[timestamp] = Selected(record, timestamp, path)
    return _select(document, usable, findings)


def _check_header(document: dict[str, Any], findings: Findings) -> None:
    version = document.get("version")
    if version is None:
        findings.error("is missing: this is no project, or one of a very old build", "version")
    elif _is_integer(version) and version != VERSION:
        findings.error(f"is {version}; this build reads version {VERSION}", "version")
    if document.get("deleted") is True:
        findings.error("the project is marked as deleted", "deleted")
    target = document.get("target")
    if target is None:
        findings.warning("is missing: no application lists this project", "target")
    elif isinstance(target, str) and not target.isprintable():
        findings.error("holds characters that no target can have", "target")
    elif isinstance(target, str) and target not in TARGETS:
        findings.warning(f'"{target}" is not one of {", ".join(TARGETS)}', "target")
    edited = document.get("edit_timestamp", 0.0)
    if not _is_number(edited) or not math.isfinite(edited):
        findings.warning("is no time; the project counts as never edited", "edit_timestamp")


def _check_fields(
    owner: dict[str, Any], table: _Table, path: str, findings: Findings, **place: Any
) -> None:
    for key, value in owner.items():
        kind = table.get(key)
        spot = {**place, "field": key} if place else {}
        if kind is None:
            message = f"is no known key; it is lost on saving{meant(key, table)}"
            findings.warning(message, join(path, key), **spot)
        elif not kind.accepts(value):
            message = f"must be {kind.words}, not {kind_of(value)}"
            # The core falls back to a default in these, so the project can still be used.
            tell = findings.warning if table is _CHECK or key in _DEFAULTED else findings.error
            tell(message, join(path, key), **spot)


def _check_record(record: dict[str, Any], path: str, target: Any, findings: Findings) -> None:
    _check_fields(record, _RECORD, path, findings)
    export = record.get("export")
    if isinstance(export, dict):
        _check_fields(export, _EXPORT, join(path, "export"), findings)
        check_export(export, join(path, "export"), target, findings)
    rules = record.get("rules", [])
    if isinstance(rules, list):
        for index, rule in enumerate(rules):
            _check_rule(rule, join(join(path, "rules"), index), findings)
    _check_tree_keys(record.get("pattern"), join(path, "pattern"), findings)


def _check_tree_keys(tree: Any, path: str, findings: Findings) -> None:
    """What else is wrong with a tree is told where it is tied to the rules."""
    lists = [(tree, path)]
    while lists:
        nodes, spot = lists.pop()
        for index, node in enumerate(nodes if isinstance(nodes, list) else ()):
            place = join(spot, index)
            if isinstance(node, dict):
                _check_fields(node, _NODE, place, findings)
                lists.append((node.get("children"), join(place, "children")))


def _check_rule(rule: Any, path: str, findings: Findings) -> None:
    if not isinstance(rule, dict):
        findings.error(f"a rule must be an object, not {kind_of(rule)}", path)
        return
    _check_fields(rule, _RULE, path, findings, **rule_place(rule))
    for key in ("stamp", "name", "regex"):
        if key not in rule:
            findings.warning("is missing", join(path, key), **rule_place(rule, key))
    _check_types(rule, path, findings)
    _check_range(rule, path, findings)
    color = rule.get("color")
    if isinstance(color, str) and not re.fullmatch("#[0-9A-Fa-f]{6}", color):
        message = f'"{color}" is no colour of the form #rrggbb'
        findings.warning(message, join(path, "color"), **rule_place(rule, "color"))
    checklist = rule.get("checklist", {})
    if isinstance(checklist, dict):
        for class_id, entry in checklist.items():
            spot = join(join(path, "checklist"), class_id)
            if isinstance(entry, dict):
                place = {**rule_place(rule), "check": str(class_id)}
                _check_fields(entry, _CHECK, spot, findings, **place)
            else:
                message = f"must be an object, not {kind_of(entry)}: the check stays off"
                place = {**rule_place(rule, "checklist"), "check": str(class_id)}
                findings.warning(message, spot, **place)


def _check_types(rule: dict[str, Any], path: str, findings: Findings) -> None:
    types = rule.get("types", [])
    if not isinstance(types, list):
        return
    place = rule_place(rule, "types")
    for index, name in enumerate(types):
        spot = join(join(path, "types"), index)
        if not isinstance(name, str):
            findings.error(f"a type must be a text, not {kind_of(name)}", spot, **place)
        elif name not in TYPES:
            findings.warning(f'"{name}" is not one of {", ".join(TYPES)}', spot, **place)


def _check_range(rule: dict[str, Any], path: str, findings: Findings) -> None:
    limits = rule.get("range", [1, 1])
    if not isinstance(limits, list):
        return
    spot, place = join(path, "range"), rule_place(rule, "range")
    if len(limits) != 2:
        message = f"must have two numbers, minimum and maximum, not {len(limits)}"
        findings.error(message, spot, **place)
    elif not all(_is_integer(limit) for limit in limits):
        findings.error("minimum and maximum must be integers", spot, **place)
    elif any(abs(limit) > _GREATEST_NUMBER for limit in limits):
        findings.error("a number is too great to count with", spot, **place)
    elif limits[0] > limits[1]:
        message = f"the minimum {limits[0]} is above the maximum {limits[1]}: nothing can match"
        findings.warning(message, spot, **place)
    elif limits[1] < 0:
        findings.warning(f"no number of objects is {limits[1]} or less", spot, **place)
    elif limits[0] < 0:
        message = f"the minimum {limits[0]} is below 0: no number of objects is; write 0"
        findings.warning(message, spot, **place)


def _timestamp(value: Any) -> int | None:
    try:
        return int(float(value))
    except (TypeError, ValueError, OverflowError):
        return None


def _select(
    document: dict[str, Any], usable: dict[int, Selected], findings: Findings
) -> Selected | None:
    if not usable:
        findings.error("there is no record, so nothing can match", "records")
        return None
    wanted = document.get("selected_record")
    timestamp = _timestamp(wanted)
    if timestamp in usable:
        return usable[timestamp]
    newest = usable[max(usable)]
    if wanted is not None:
        message = f"names no record; the newest, {newest.timestamp}, counts"
        findings.warning(message, "selected_record")
    return newest
