"""The checker against the core: an error is what the core cannot use, a warning what it takes."""

from __future__ import annotations

import json
from pathlib import Path
from typing import Any

from conftest import project, rule
from test_document import DOCUMENT_FIELDS, RULE_FIELDS

import core
from kavel.document import check_bytes
from kavel.environment import StandaloneEnvironment
from kavel.gltf.operator import GltfOperator

# Beside the changes whose messages are tested: what the checker says nothing of, or not in words.
RULE_CHANGES: list[dict[str, Any]] = [
    *(change for change, _ in RULE_FIELDS),
    {"range": ["1", "2"]},
    {"range": [0, 10**30]},
    {"icon": []},
    {"regex": "\ud800"},
]

DOCUMENT_CHANGES: list[dict[str, Any]] = [
    {},
    # A project of another application is sound, and not offered in this one.
    *(fields for fields, _ in DOCUMENT_FIELDS if fields != {"target": "nuke"}),
    {"name": "\ud800"},
    {"description": None},
    {"records": {}},
    {"version": 3.0},
    {"filename": "other.json"},
    {"edit_timestamp": None},
    {"selected_record": []},
]

RECORD_CHANGES: list[dict[str, Any]] = [
    {"author": 1},
    {"comment": None},
    {"rules": {}},
    {"rules": [5]},
    {"pattern": {}},
    {"pattern": [5, {"stamp": "a"}]},
    {"pattern": [{"stamp": "a", "children": 5}]},
    {"pattern": [{"stamp": "a"}, {"stamp": "x", "children": [{"stamp": "a"}]}]},
    {"export": []},
    {"export": {"directory": 1}},
    {"export": {"options": []}},
    {"export": {"flags": []}},
]


def documents() -> dict[str, bytes]:
    found: dict[str, Any] = {}
    for change in DOCUMENT_CHANGES:
        found[f"document {change}"] = {**project([rule("a")]), **change}
    for change in RULE_CHANGES:
        found[f"rule {change}"] = project([{**rule("a"), **change}], {"a": {}})
    for change in RECORD_CHANGES:
        document = project([rule("a")])
        document["records"]["1700000000"].update(change)
        found[f"record {change}"] = document
    for levels in (240, 241):
        nested: list[Any] = []
        for _ in range(levels):
            nested = [{"stamp": "a", "children": nested}]
        document = project([rule("a")])
        document["records"]["1700000000"]["pattern"] = nested
        found[f"tree of {levels} levels"] = document
    texts = {key: json.dumps(value).encode() for key, value in found.items()}
    sound = texts["document {}"]
    depths = {depth: b"[" * depth + b"1" + b"]" * depth for depth in (499, 500, 1_000_000)}
    nests = {
        f"{depth} deep": sound[:-1] + b', "x": ' + text + b"}" for depth, text in depths.items()
    }
    texts.update(
        {
            **nests,
            "byte-order mark": b"\xef\xbb\xbf" + sound,
            "UTF-16": sound.decode().encode("utf-16"),
            "cut off": sound[:-1],
            "an array": b"[" + sound + b"]",
        }
    )
    return texts


def test_errors_are_what_the_core_cannot_use(tmp_path: Path) -> None:
    environment = StandaloneEnvironment(str(tmp_path))
    files = dict(zip((f"p{i}.json" for i in range(1000)), documents().items()))
    for filename, (_, raw) in files.items():
        Path(environment.get_projects_directory(), filename).write_bytes(raw)
    api = core.Api(GltfOperator(), environment)
    differences = []
    for filename, (what, raw) in files.items():
        usable = False
        if api.project.is_exists(filename):
            api.project.load(filename)
            # What cannot be loaded leaves the project that was loaded before.
            is_current = api.project.get_current().filename == filename
            usable = is_current and bool(len(api.scene.hierarchy.pattern.get()))
        if usable != check_bytes(raw).usable:
            differences.append(f"{'taken' if usable else 'refused'} by the core: {what}")
    api.shutdown()
    assert differences == []
