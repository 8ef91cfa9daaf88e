"""Rewriting the primitives of meshes: their triangles, their vertices, and where they stand."""

from __future__ import annotations

import copy
from typing import Any

import numpy as np

from kavel.gltf.exporting.references import DRACO, dicts, extensions, is_known
from kavel.gltf.exporting.work import Work
from kavel.gltf.meshes import TRIANGLES, has_faces, triangle_list
from kavel.view.mesh import Indices, Reals

_VERTICES, _INDICES = 34962, 34963
_OF_MATERIALS = "KHR_materials_variants"


class Primitive:
    """One primitive of the draft, to be changed in place. `place` is for errors.

    Errors of all operations: SceneError with the place when its data is compressed, missing, or
    does not fit together.
    """

    def __init__(self, work: Work, content: dict[str, Any], place: str) -> None:
        self._work = work
        self.content = content
        self.place = place
        attributes = content.get("attributes")
        self.attributes: dict[str, Any] = attributes if isinstance(attributes, dict) else {}

    @property
    def mode(self) -> Any:
        return self.content.get("mode", TRIANGLES)

    @property
    def has_faces(self) -> bool:
        return has_faces(self.content)

    @property
    def unknown(self) -> str:
        """An extension that may number vertices; "" when there is none."""
        names = extensions(self.content)
        return next((name for name in names if not is_known(name) and name != _OF_MATERIALS), "")

    def reals(self, name: str, width: int) -> Reals:
        self._require_readable()
        spot = f"{self.place}.attributes.{name}"
        return self._work.read.reals(self.attributes[name], width, spot)

    def count(self) -> int:
        """How many vertices there are."""
        spot = f"{self.place}.attributes.POSITION"
        accessor = self._work.look.entry("accessors", self.attributes.get("POSITION"), spot)
        return self._work.look.integer(accessor, "count", spot, low=1)

    def triangles(self) -> Indices:
        """(F, 3) vertices. Nothing for too few corners."""
        self._require_readable()
        count = self.count()
        if "indices" in self.content:
            spot = f"{self.place}.indices"
            order = self._work.read.indices(self.content["indices"], count, spot)
        else:
            order = np.arange(count, dtype=np.int64)
        if len(order) < 3 or self.mode == TRIANGLES and len(order) % 3:
            raise self._work.error(self.place, f"{len(order)} corners do not make up triangles")
        return triangle_list(order, self.mode)

    def set_triangles(self, faces: Indices, count: int) -> None:
        """(F, 3) of `count` vertices."""
        kind = "<u2" if count < 0xFFFF else "<u4"
        values = faces.reshape(-1, 1).astype(kind)
        self.content["indices"] = self._work.accessor(values, _INDICES)
        self.content.pop("mode", None)

    def set_attribute(self, name: str, values: Reals) -> None:
        """(V, width), stored in single precision."""
        bounds = name == "POSITION"
        self.attributes[name] = self._work.accessor(values.astype("<f4"), _VERTICES, bounds)

    def gather(self, sources: Indices) -> None:
        """Let vertex i be what vertex `sources[i]` was, in all attributes and blend shapes."""
        self._require_readable()
        count = self.count()
        for owner in (self.attributes, *dicts(self.content, "targets")):
            for name, index in owner.items():
                owner[name] = self._gathered(name, index, sources, count)

    def transform(self, matrix: Reals) -> None:
        """Move points, normals, tangents and blend shapes by (4, 4); the front of a face stays in
        front when the matrix mirrors."""
        linear = matrix[:3, :3]
        mirrored = bool(np.linalg.det(linear) < 0)
        if mirrored and self.has_faces:
            faces = self.triangles()
            self.set_triangles(faces[:, ::-1], self.count())
        matrices = {"POSITION": linear, "NORMAL": np.linalg.inv(linear).T, "TANGENT": linear}
        lengths = {
            name: self._move(name, matrices[name], matrix[:3, 3], mirrored)
            for name in matrices
            if name in self.attributes
        }
        for target in dicts(self.content, "targets"):
            for name in target:
                if name in matrices:
                    spot = f"{self.place}.targets.{name}"
                    moved = self._work.read.reals(target[name], 3, spot) @ matrices[name].T
                    self._require_length(spot, len(moved), self.count())
                    values = (moved / lengths.get(name, 1.0)).astype("<f4")
                    bounds = name == "POSITION"
                    target[name] = self._work.accessor(values, _VERTICES, bounds)

    def _move(self, name: str, linear: Reals, offset: Reals, mirrored: bool) -> Any:
        """Returns what the values were divided by: (V, 1) lengths of directions, or 1."""
        values = self.reals(name, 4 if name == "TANGENT" else 3)
        self._require_length(f"{self.place}.attributes.{name}", len(values), self.count())
        moved = values[:, :3] @ linear.T
        if name == "POSITION":
            self.set_attribute(name, moved + offset)
            return 1.0
        lengths = np.linalg.norm(moved, axis=1, keepdims=True)
        lengths[~(lengths > 0)] = 1.0
        moved /= lengths
        if name == "TANGENT":  # the third axis follows from the other two and this sign
            moved = np.hstack([moved, -values[:, 3:] if mirrored else values[:, 3:]])
        self.set_attribute(name, moved)
        return lengths

    def _gathered(self, name: str, index: Any, sources: Indices, count: int) -> int:
        spot = f"{self.place}.{name}"
        like = self._work.look.entry("accessors", index, spot)
        values = self._work.read.raw(index, spot)
        self._require_length(spot, len(values), count)
        bounds = name == "POSITION" or "min" in like
        return self._work.accessor(values[sources], _VERTICES, bounds, like)

    def _require_length(self, place: str, length: int, count: int) -> None:
        if length != count:
            raise self._work.error(place, f"has {length} values for {count} vertices")

    def _require_readable(self) -> None:
        if DRACO in extensions(self.content):
            message = f"is compressed with {DRACO}, so its geometry cannot be changed"
            raise self._work.error(self.place, message)


def primitives_of(work: Work, mesh: dict[str, Any], number: int) -> list[Primitive]:
    """Those of a mesh entry that may be changed; `number` is for errors."""
    entries = work.look.entries(mesh, "primitives", f"meshes[{number}]")
    return [
        Primitive(work, content, f"meshes[{number}].primitives[{position}]")
        for position, content in enumerate(entries)
    ]


def transformed_mesh(work: Work, number: int, matrix: Reals) -> int:
    """Add a copy of a mesh whose points are moved by (4, 4); returns its index."""
    mesh = copy.deepcopy(work.look.entry("meshes", number, f"meshes[{number}]"))
    for primitive in primitives_of(work, mesh, number):
        primitive.transform(matrix)
    work.document["meshes"].append(mesh)
    return len(work.document["meshes"]) - 1
