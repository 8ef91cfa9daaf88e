"""Write small binary glTF 2.0 scenes from nodes with names, places and simple shapes.

Only what the samples need: a tree of named nodes, meshes with positions, normals and texture
coordinates, plain materials, and LOD groups through the ``MSFT_lod`` extension. The bytes written
depend on nothing but the input, so that a sample made again equals the one in the repository.
"""

from __future__ import annotations

import json
import struct
from dataclasses import dataclass, field
from typing import Any

import numpy as np

GLB_MAGIC, JSON_CHUNK, BINARY_CHUNK = 0x46546C67, 0x4E4F534A, 0x004E4942
FLOAT, UNSIGNED_SHORT = 5126, 5123
VERTICES, INDICES = 34962, 34963


@dataclass(frozen=True)
class Shape:
    """A triangle mesh: float32 arrays of N x 3, N x 3 and N x 2, and 3 indices per triangle.

    ``uvs`` may be none.
    """

    positions: np.ndarray
    normals: np.ndarray
    uvs: np.ndarray | None
    indices: np.ndarray


@dataclass
class Node:
    """A scene node. ``lods`` marks a LOD group whose levels are its children, finest first."""

    name: str
    children: list[Node] = field(default_factory=list)
    mesh: str | None = None
    place: tuple[float, float, float] | None = None
    scale: tuple[float, float, float] | None = None
    lods: bool = False

    def find(self, name: str) -> Node:
        """Return the only node of that name in this subtree; KeyError when there is none."""
        found = [node for node in self.walk() if node.name == name]
        if len(found) != 1:
            raise KeyError(f"{len(found)} nodes are named {name!r}, expected one")
        return found[0]

    def walk(self) -> list[Node]:
        """Return this node and all nodes below it, parents before children."""
        return [self] + [node for child in self.children for node in child.walk()]


@dataclass(frozen=True)
class Mesh:
    """A shape with the name of its material."""

    shape: Shape
    material: str


@dataclass(frozen=True)
class Material:
    """A plain metallic-roughness material; ``color`` is linear RGB, 0 to 1."""

    color: tuple[float, float, float]
    metallic: float = 0.0
    roughness: float = 0.8


def box(width: float, height: float, depth: float) -> Shape:
    """Return a box centred on the origin, each face mapped whole; sizes are along x, y and z."""
    half = np.array([width, height, depth]) / 2
    corners = np.array([(-1, -1), (1, -1), (1, 1), (-1, 1)])
    positions, normals = [], []
    for axis in range(3):
        for sign in (1, -1):
            # The two other axes, ordered so that the corners run counter-clockwise from outside.
            u, v = ((axis + 1) % 3, (axis + 2) % 3)[::sign]
            face = np.zeros((4, 3))
            face[:, axis], face[:, u], face[:, v] = sign, corners[:, 0], corners[:, 1]
            normal = np.zeros(3)
            normal[axis] = sign
            positions.append(face * half)
            normals.append(np.tile(normal, (4, 1)))
    uvs = np.tile((corners + 1) / 2, (6, 1))
    quads = np.arange(24).reshape(6, 4)
    return _shape(np.concatenate(positions), np.concatenate(normals), uvs, quads)


def capsule(radius: float, length: float, segments: int = 12, rings: int = 4) -> Shape:
    """Return an upright capsule centred on the origin; ``length`` is that of its straight part.

    ``segments`` counts the faces around, ``rings`` the bands of each rounded end.
    """
    turn = np.linspace(0, 2 * np.pi, segments + 1)
    # The equator stands twice, once per end, and the two are `length` apart.
    rise = np.concatenate(
        [np.linspace(-np.pi / 2, 0, rings + 1), np.linspace(0, np.pi / 2, rings + 1)]
    )
    shift = np.repeat([-length / 2, length / 2], rings + 1)
    rise_grid, turn_grid = np.meshgrid(rise, turn, indexing="ij")
    normals = np.stack(
        [
            np.cos(rise_grid) * np.sin(turn_grid),
            np.sin(rise_grid),
            np.cos(rise_grid) * np.cos(turn_grid),
        ],
        axis=-1,
    )
    positions = normals * radius
    positions[..., 1] += shift[:, None]
    heights = (positions[:, 0, 1] + length / 2 + radius) / (length + 2 * radius)
    uvs = np.stack(np.meshgrid(turn / (2 * np.pi), 1 - heights), axis=-1)
    first = np.arange(len(rise) - 1)[:, None] * (segments + 1) + np.arange(segments)
    quads = np.stack([first, first + 1, first + segments + 2, first + segments + 1], axis=-1)
    return _shape(
        positions.reshape(-1, 3), normals.reshape(-1, 3), uvs.reshape(-1, 2), quads.reshape(-1, 4)
    )


def _shape(positions: np.ndarray, normals: np.ndarray, uvs: np.ndarray, quads: np.ndarray) -> Shape:
    # Rounding hides the last bits in which mathematical libraries differ between machines.
    def as_float(values: np.ndarray) -> np.ndarray:
        return (np.round(values, 6) + 0.0).astype("<f4")

    triangles = quads[:, [0, 1, 2, 0, 2, 3]].reshape(-1, 3)
    corners = np.round(positions, 6)[triangles]
    area = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
    solid = np.linalg.norm(area, axis=1) > 1e-9
    return Shape(
        as_float(positions), as_float(normals), as_float(uvs), triangles[solid].astype("<u2")
    )


class _Buffer:
    """The binary chunk with its views and accessors."""

    def __init__(self) -> None:
        self.data = bytearray()
        self.views: list[dict[str, Any]] = []
        self.accessors: list[dict[str, Any]] = []

    def add(self, values: np.ndarray, kind: str, target: int) -> int:
        """Store an array and return the index of its accessor."""
        raw = values.tobytes()
        view = {"buffer": 0, "byteOffset": len(self.data), "byteLength": len(raw)}
        self.views.append({**view, "target": target})
        self.data += raw + b"\0" * (-len(raw) % 4)
        accessor: dict[str, Any] = {
            "bufferView": len(self.views) - 1,
            "componentType": UNSIGNED_SHORT if target == INDICES else FLOAT,
            "count": values.size if kind == "SCALAR" else len(values),
            "type": kind,
        }
        if kind == "VEC3":
            accessor["min"] = [float(value) for value in values.min(axis=0)]
            accessor["max"] = [float(value) for value in values.max(axis=0)]
        self.accessors.append(accessor)
        return len(self.accessors) - 1

    def add_shape(self, shape: Shape) -> dict[str, Any]:
        """Store a shape and return the primitive that draws it."""
        attributes = {
            "POSITION": self.add(shape.positions, "VEC3", VERTICES),
            "NORMAL": self.add(shape.normals, "VEC3", VERTICES),
        }
        if shape.uvs is not None:
            attributes["TEXCOORD_0"] = self.add(shape.uvs, "VEC2", VERTICES)
        return {"attributes": attributes, "indices": self.add(shape.indices, "SCALAR", INDICES)}


def glb(roots: list[Node], meshes: dict[str, Mesh], materials: dict[str, Material]) -> bytes:
    """Return the binary glTF file of a scene with these top nodes; unused meshes are left out."""
    nodes = [node for root in roots for node in root.walk()]
    index = {id(node): number for number, node in enumerate(nodes)}
    used = [name for name in meshes if any(node.mesh == name for node in nodes)]
    buffer = _Buffer()
    material_names = list(materials)
    mesh_list = []
    for name in used:
        primitive = buffer.add_shape(meshes[name].shape)
        primitive["material"] = material_names.index(meshes[name].material)
        mesh_list.append({"name": name, "primitives": [primitive]})
    content: dict[str, Any] = {
        "asset": {"version": "2.0", "generator": "Kavel samples"},
        "scene": 0,
        "scenes": [{"name": "Scene", "nodes": [index[id(root)] for root in roots]}],
        "nodes": [_node(node, index, used) for node in nodes],
        "materials": [_material(name, materials[name]) for name in material_names],
        "meshes": mesh_list,
        "accessors": buffer.accessors,
        "bufferViews": buffer.views,
        "buffers": [{"byteLength": len(buffer.data)}],
    }
    if any(node.lods for node in nodes):
        content["extensionsUsed"] = ["MSFT_lod"]
    return _pack(content, bytes(buffer.data))


def _node(node: Node, index: dict[int, int], meshes: list[str]) -> dict[str, Any]:
    result: dict[str, Any] = {"name": node.name}
    if node.place is not None:
        result["translation"] = list(node.place)
    if node.scale is not None:
        result["scale"] = list(node.scale)
    if node.mesh is not None:
        result["mesh"] = meshes.index(node.mesh)
    if node.children:
        result["children"] = [index[id(child)] for child in node.children]
    if node.lods:
        # The group itself stands for the finest level; the extension lists the coarser ones.
        coarser = [index[id(child)] for child in node.children[1:]]
        result["extensions"] = {"MSFT_lod": {"ids": coarser}}
        steps = [round(0.5 / 4**step, 6) for step in range(len(node.children))]
        result["extras"] = {"MSFT_screencoverage": steps}
    return result


def _material(name: str, material: Material) -> dict[str, Any]:
    return {
        "name": name,
        "pbrMetallicRoughness": {
            "baseColorFactor": [*material.color, 1.0],
            "metallicFactor": material.metallic,
            "roughnessFactor": material.roughness,
        },
    }


def _pack(content: dict[str, Any], binary: bytes) -> bytes:
    text = json.dumps(content, separators=(",", ":")).encode("utf-8")
    chunks = b""
    for kind, data, filler in ((JSON_CHUNK, text, b" "), (BINARY_CHUNK, binary, b"\0")):
        data += filler * (-len(data) % 4)
        chunks += struct.pack("<II", len(data), kind) + data
    return struct.pack("<III", GLB_MAGIC, 2, 12 + len(chunks)) + chunks
