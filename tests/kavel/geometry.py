"""glTF documents with binary data for tests, and what tests ask of meshes."""

from __future__ import annotations

import base64
import json
from dataclasses import replace
from typing import Any

import numpy as np
from conftest import glb

from kavel.gltf.accessors import Accessors
from kavel.gltf.buffers import Buffers
from kavel.gltf.container import SceneFile
from kavel.gltf.lookup import Lookup
from kavel.gltf.operator import GltfOperator
from kavel.gltf.view import GltfScene
from kavel.view import Mesh

CODES = {"i1": 5120, "u1": 5121, "i2": 5122, "u2": 5123, "u4": 5125, "f4": 5126}
KINDS = {1: "SCALAR", 2: "VEC2", 3: "VEC3", 4: "VEC4"}
QUAD = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0)]
CORNERS = [0, 1, 2, 0, 2, 3]


class Scene:
    """A document that grows by accessors; `document` may be changed freely before it is packed."""

    def __init__(self, **fields: Any) -> None:
        self.data = bytearray()
        self.document: dict[str, Any] = {
            "asset": {"version": "2.0"},
            "scene": 0,
            "scenes": [{"nodes": []}],
            "nodes": [],
            "meshes": [],
            "accessors": [],
            "bufferViews": [],
            **fields,
        }

    def view(self, raw: bytes, **fields: Any) -> int:
        self.data += b"\0" * (-len(self.data) % 4)
        view = {"buffer": 0, "byteOffset": len(self.data), "byteLength": len(raw), **fields}
        self.data += raw
        self.document["bufferViews"].append(view)
        return len(self.document["bufferViews"]) - 1

    def accessor(self, values: Any, kind: str = "f4", stride: int = 0, **fields: Any) -> int:
        """Values of (N,) or (N, width); `stride` puts them that many bytes apart."""
        array = np.asarray(values, f"<{kind}")
        array = array.reshape(len(array), -1)
        view: dict[str, Any] = {"byteStride": stride} if stride else {}
        raw = b"".join(row.tobytes().ljust(stride, b"\xcc") for row in array)
        accessor = {
            "bufferView": self.view(raw, **view),
            "componentType": CODES[kind],
            "count": len(array),
            "type": KINDS[array.shape[1]],
            **fields,
        }
        self.document["accessors"].append(accessor)
        return len(self.document["accessors"]) - 1

    def primitive(self, positions: Any, indices: Any = None, **attributes: Any) -> dict[str, Any]:
        found = {"POSITION": self.accessor(positions)}
        for name, values in attributes.items():
            kind = "u2" if name.startswith("JOINTS") else "f4"
            found[name] = self.accessor(values, kind)
        result: dict[str, Any] = {"attributes": found}
        if indices is not None:
            result["indices"] = self.accessor(indices, "u2")
        return result

    def add(self, *primitives: dict[str, Any], name: str = "body", **node: Any) -> Scene:
        """A top node with a mesh of these primitives."""
        self.document["meshes"].append({"primitives": list(primitives)})
        return self.node(name, mesh=len(self.document["meshes"]) - 1, **node)

    def node(self, name: str, **fields: Any) -> Scene:
        self.document["nodes"].append({"name": name, **fields})
        self.document["scenes"][0]["nodes"].append(len(self.document["nodes"]) - 1)
        return self

    def glb(self, *chunks: tuple[int, bytes]) -> bytes:
        data = bytes(self.data) + b"\0" * (-len(self.data) % 4)
        document = {**self.document, "buffers": [{"byteLength": len(self.data)}]}
        return glb(document, (0x004E4942, data), *chunks)

    def gltf(self, uri: str = "") -> bytes:
        """The document as text; the data stands in it when it has no other place."""
        text = base64.b64encode(self.data).decode()
        uri = uri or f"data:application/octet-stream;base64,{text}"
        buffer = {"byteLength": len(self.data), "uri": uri}
        return json.dumps({**self.document, "buffers": [buffer]}).encode()


def open_edges(mesh: Mesh, vertices: Any = None) -> int:
    """Edges with one face; between points, or between other `vertices` of the corners."""
    ends = mesh.corners if vertices is None else np.asarray(vertices)
    edges = np.sort(np.stack([ends, ends[mesh.next_corners]], axis=1), axis=1)
    return int((np.unique(edges, axis=0, return_counts=True)[1] == 1).sum())


def outward(mesh: Mesh) -> bool:
    """Whether every face of a shape around the origin faces away from it, and so do its normals."""
    corners = mesh.points[mesh.corners].reshape(-1, 3, 3)
    faced = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
    middle = corners.mean(axis=1)
    assert mesh.normals is not None
    normals = mesh.normals.reshape(-1, 3, 3).sum(axis=1)
    return bool(((faced * middle).sum(1) > 0).all() and ((normals * middle).sum(1) > 0).all())


def view_of(file: str) -> GltfScene:
    operator = GltfOperator()
    operator.open(file)
    return operator.view


def mesh_of(view: GltfScene, path: str = "/body") -> Mesh:
    mesh = view.mesh(path)
    assert mesh is not None
    return mesh


def corners_of(mesh: Mesh, faces: Any) -> Any:
    return (np.asarray(faces)[:, None] * 3 + np.arange(3)).ravel()


def taken(mesh: Mesh, faces: Any, turned: Any = ()) -> Mesh:
    """Some faces of a mesh in this order, those in `turned` the other way round."""
    faces = np.asarray(faces, int)
    corners = corners_of(mesh, faces).reshape(-1, 3)
    rows = [position for position, face in enumerate(faces) if face in turned]
    corners[rows] = corners[rows, ::-1]
    chosen = corners.ravel()
    return replace(
        mesh,
        corners=mesh.corners[chosen],
        offsets=np.arange(0, len(chosen) + 1, 3),
        normals=None if mesh.normals is None else mesh.normals[chosen],
        uv_sets={name: values[chosen] for name, values in mesh.uv_sets.items()},
        materials=None if mesh.materials is None else mesh.materials[faces],
    )


def reachable(file: str) -> dict[str, list[Any]]:
    """Every attribute of each corner that the file draws, by the corner's place in the mesh."""
    scene = SceneFile(file)
    look = Lookup(scene.document, file)
    read = Accessors(look, Buffers(scene, look))
    result: dict[str, list[Any]] = {}
    for primitive in scene.document["meshes"][0]["primitives"]:
        if "mode" in primitive:
            continue
        order = read.raw(primitive["indices"], "")[:, 0]
        for name, index in primitive["attributes"].items():
            result.setdefault(name, []).extend(read.raw(index, "")[order].tolist())
    return result
