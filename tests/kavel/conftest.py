"""Makers of tiny scenes and projects."""

from __future__ import annotations

import json
import struct
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Callable

import pytest


@dataclass
class Node:
    name: str
    children: list[Node] = field(default_factory=list)
    fields: dict[str, Any] = field(default_factory=dict)


def node(name: str, *children: Node, **fields: Any) -> Node:
    return Node(name, list(children), fields)


def mesh(name: str, *children: Node) -> Node:
    return node(name, *children, mesh=0)


def gltf(*tops: Node, **fields: Any) -> dict[str, Any]:
    """A glTF document with one scene, its nodes in pre-order."""
    nodes: list[dict[str, Any]] = []

    def add(item: Node) -> int:
        entry = {"name": item.name, **item.fields}
        nodes.append(entry)
        index = len(nodes) - 1
        children = [add(child) for child in item.children]
        if children:
            entry["children"] = children
        return index

    roots = [add(top) for top in tops]
    document = {"asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": roots}]}
    return {**document, "nodes": nodes, "meshes": [{"primitives": []}], **fields}


def glb(document: dict[str, Any], *chunks: tuple[int, bytes]) -> bytes:
    text = json.dumps(document).encode()
    text += b" " * (-len(text) % 4)
    body = b"".join(
        struct.pack("<II", len(data), kind) + data for kind, data in [(0x4E4F534A, text), *chunks]
    )
    return struct.pack("<4sII", b"glTF", 2, 12 + len(body)) + body


def rule(name: str, regex: Any = None, types: Any = (), limits: Any = (1, 1), **fields: Any) -> Any:
    """A rule whose stamp is its name and whose expression is its name in full."""
    return {
        "stamp": name,
        "name": name,
        "regex": f"{name}$" if regex is None else regex,
        "types": list(types),
        "range": list(limits),
        **fields,
    }


def tree(shape: dict[str, Any]) -> list[dict[str, Any]]:
    """{"a": {"b": {}}}: the rule b below the rule a."""
    return [{"stamp": stamp, "children": tree(below)} for stamp, below in shape.items()]


def project(rules: list[Any], shape: dict[str, Any] | None = None, **fields: Any) -> dict[str, Any]:
    """A project document with one record; all rules stand at the top when no tree is given."""
    if shape is None:
        shape = {item["stamp"]: {} for item in rules}
    return {
        "name": "Test",
        "description": "",
        "records": {"1700000000": {"rules": rules, "pattern": tree(shape)}},
        "selected_record": 1700000000,
        "deleted": False,
        "version": 3,
        "target": "standalone",
        **fields,
    }


@pytest.fixture(autouse=True)
def wide(monkeypatch: pytest.MonkeyPatch) -> None:
    """Texts on one line, unless a test is about the width of a terminal."""
    monkeypatch.setenv("COLUMNS", "1000")


@pytest.fixture(autouse=True)
def not_the_own_home(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setenv("KAVEL_HOME", str(tmp_path / "home"))


@pytest.fixture
def write(tmp_path: Path) -> Callable[[str, Any], str]:
    """Writes bytes, or an object as JSON (binary glTF for a .glb), to a file of a fresh folder."""

    def write(name: str, content: Any) -> str:
        path = tmp_path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if not isinstance(content, bytes):
            content = glb(content) if name.endswith(".glb") else json.dumps(content).encode()
        path.write_bytes(content)
        return str(path)

    return write
