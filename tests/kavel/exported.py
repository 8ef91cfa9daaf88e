"""Exports for tests, and what a reader that is not ours finds in them."""

from __future__ import annotations

import json
import os
import struct
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import trimesh

from kavel.gltf.operator import GltfOperator


def export(scene: str, target: Any, *roots: str, **given: Any) -> Any:
    """Exports objects of a scene file, all top ones when none are given; returns what the operator
    noted. `args` are options, other keywords the switches of the operator."""
    operator = given.pop("operator", None) or GltfOperator()
    if operator.get_current_file() is None:
        operator.open(scene)
    ending = os.path.splitext(str(target))[1][1:]
    chosen = roots or operator.graph.roots
    assert operator.export(list(chosen), str(target), ending, given.pop("args", {}), **given)
    return operator.exports.made[-1].written


def document(path: Any) -> Any:
    data = Path(path).read_bytes()
    if data[:4] == b"glTF":
        (length,) = struct.unpack_from("<I", data, 12)
        data = data[20 : 20 + length]
    return json.loads(data)


def triangles(path: Any) -> dict[str, Any]:
    """By the name of the object: (F, 3, 3) corners of its triangles in the world. Skins count for
    nothing here."""
    scene = trimesh.load_scene(str(path), process=False)
    found = {}
    for name in scene.graph.nodes_geometry:
        matrix, geometry = scene.graph[name]
        shape = scene.geometry[geometry]
        if not hasattr(shape, "faces"):
            continue
        # A placement that mirrors turns round which side is in front.
        order = -1 if np.linalg.det(matrix) < 0 else 1
        found[name] = trimesh.transform_points(shape.vertices, matrix)[shape.faces[:, ::order]]
    return found


def same_triangles(first: Any, second: Any, within: float = 1e-6) -> bool:
    """Whether two files show the same triangles, with the same side in front, under one name."""
    one, two = triangles(first), triangles(second)
    return one.keys() == two.keys() and all(
        one[name].shape == two[name].shape and np.abs(one[name] - two[name]).max() <= within
        for name in one
    )


def unreachable(path: Any) -> list[str]:
    """What stands in a file and is not in use, and indices that lead nowhere."""
    content = document(path)
    seen: set[tuple[str, int]] = set()
    stack: list[tuple[str, Any]] = [("scenes", index) for index in range(len(content["scenes"]))]
    stack += [("animations", index) for index in range(len(content.get("animations", [])))]
    lost = []
    while stack:
        item = stack.pop()
        if item in seen:
            continue
        seen.add(item)
        kind, index = item
        if not 0 <= index < len(content.get(kind, [])):
            lost.append(f"no {kind}[{index}]")
            continue
        stack += references(kind, content[kind][index])
    kinds = ("nodes", "meshes", "materials", "textures", "images", "samplers", "skins", "cameras")
    for kind in (*kinds, "accessors", "bufferViews", "buffers"):
        lost += [f"{kind}[{i}]" for i in range(len(content.get(kind, []))) if (kind, i) not in seen]
    return lost


KINDS = {
    "mesh": "meshes", "skin": "skins", "camera": "cameras", "material": "materials",
    "indices": "accessors", "sampler": "samplers", "source": "images", "skeleton": "nodes",
    "bufferView": "bufferViews", "buffer": "buffers", "node": "nodes", "input": "accessors",
    "output": "accessors", "inverseBindMatrices": "accessors",
}  # fmt: skip
LISTS = {"children": "nodes", "nodes": "nodes", "joints": "nodes", "ids": "nodes"}


def references(kind: str, entry: Any) -> Iterator[tuple[str, int]]:
    """Every index by its key alone, whoever holds it: not how the program finds them."""
    for key, value in entry.items():
        if key in ("extras",) or kind == "animations" and key == "sampler":
            continue
        if key in KINDS and type(value) is int:
            yield KINDS[key], value
        elif key in LISTS:
            yield from ((LISTS[key], index) for index in value)
        elif key in ("attributes", "targets") and kind == "meshes":
            for target in value if isinstance(value, list) else [value]:
                yield from (("accessors", index) for index in target.values())
        elif key.endswith("Texture"):
            yield "textures", value["index"]
        elif isinstance(value, dict):
            yield from references(kind, value)
        elif isinstance(value, list):
            for item in value:
                if isinstance(item, dict):
                    yield from references(kind, item)
