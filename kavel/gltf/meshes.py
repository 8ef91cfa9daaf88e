"""Reading glTF meshes: primitives joined into one mesh, with welded points."""

from __future__ import annotations

import re
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any

import numpy as np

from kavel.gltf.accessors import Accessors
from kavel.gltf.lookup import Lookup
from kavel.gltf.materials import Materials
from kavel.gltf.weld import unique_rows
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

TRIANGLES, STRIP, FAN = 4, 5, 6
_COMPRESSED = ("KHR_draco_mesh_compression",)
_UV_SET = re.compile(r"TEXCOORD_(0|[1-9]\d*)\Z")
_SKIN_SET = re.compile(r"(JOINTS|WEIGHTS)_(0|[1-9]\d*)\Z")


@dataclass(frozen=True)
class Part:
    """One primitive of the file within a mesh, V vertices.

    primitive: its number in the file's mesh. material: the file's index, or none.
    sources: (V,) the file's vertex that each vertex comes from. points: (V,) the point of each.
    """

    primitive: int
    material: int | None
    sources: Indices
    points: Indices


@dataclass(frozen=True)
class Handles:
    """What leads from the elements of a `Mesh` to those of the file.

    faces: (F,) the part of each face. vertices: (C,) the vertex of each corner, within its part.
    slot_materials: the file's index of the material in each slot.
    """

    parts: list[Part]
    faces: Indices
    vertices: Indices
    slot_materials: list[int | None]

    def file_vertices(self, points: Iterable[int]) -> list[tuple[int, int]]:
        """(primitive, vertex) of each vertex of the file that lies at one of `points`."""
        wanted = np.fromiter(points, np.int64)
        return [
            (part.primitive, int(vertex))
            for part in self.parts
            for vertex in part.sources[np.isin(part.points, wanted)]
        ]

    def file_faces(self, faces: Iterable[int]) -> list[tuple[int, int]]:
        """(primitive, number of the triangle among its triangles) of each of `faces`."""
        ranks = np.zeros(len(self.faces), np.int64)
        for number in range(len(self.parts)):
            mine = self.faces == number
            ranks[mine] = np.arange(mine.sum())
        return [(self.parts[self.faces[face]].primitive, int(ranks[face])) for face in faces]


@dataclass
class _Raw:
    """One primitive as the file has it: (V, ...) arrays, and (F, 3) triangles of vertices."""

    number: int
    material: int | None
    positions: Reals
    triangles: Indices
    normals: Reals | None
    uv_sets: dict[str, Reals]
    binding: dict[str, Reals]  # what else two points must share to be one: skin and blend shapes


class Meshes:
    """Reads meshes by index, each time anew.

    Primitives of triangles, strips and fans become faces; points and lines are left out, and so are
    primitives without positions. Where one primitive has no normals or lacks a UV set that another
    one has, zeros stand for them; so they do for a normal that is no number. Positions and UVs that
    are no numbers are left for checks to find. Strips leave out the triangles without area that
    only continue them.

    Errors: SceneError with file and place.
    """

    def __init__(self, lookup: Lookup, accessors: Accessors, materials: Materials) -> None:
        self._lookup = lookup
        self._accessors = accessors
        self._materials = materials

    def read(self, index: Any, place: str) -> Mesh:
        """`place` is where the mesh's index stands."""
        mesh = self._lookup.entry("meshes", index, place)
        spot = f"meshes[{index}]"
        primitives = self._lookup.entries(mesh, "primitives", spot)
        parts = [
            self._primitive(primitive, number, f"{spot}.primitives[{number}]")
            for number, primitive in enumerate(primitives)
            if has_faces(primitive)
        ]
        return self._joined(parts, spot)

    def _primitive(self, primitive: dict[str, Any], number: int, place: str) -> _Raw:
        look, read = self._lookup, self._accessors
        extensions = look.mapping(primitive, "extensions", place)
        for extension in _COMPRESSED:
            if extension in extensions:
                raise look.error(place, f"is compressed with {extension}, which is not supported")
        attributes = look.mapping(primitive, "attributes", place)
        values = {
            name: read.reals(index, width, f"{place}.attributes.{name}")
            for name, index in attributes.items()
            if (width := _width(name))
        }
        count = len(values["POSITION"])
        for name, array in values.items():
            if len(array) != count:
                message = f"has {len(array)} values for {count} vertices"
                raise look.error(f"{place}.attributes.{name}", message)
        normals = values.get("NORMAL")
        if normals is not None:
            normals[~np.isfinite(normals).all(axis=1)] = 0.0
        uv_sets = {name: values[name] for name in sorted(values, key=_natural) if _is_uv(name)}
        return _Raw(
            number,
            self._material(primitive, place),
            values["POSITION"],
            self._triangles(primitive, count, place),
            normals,
            uv_sets,
            {**_skin(values), **self._shapes(primitive, count, place)},
        )

    def _material(self, primitive: dict[str, Any], place: str) -> int | None:
        index = primitive.get("material")
        if index is not None:
            self._lookup.entry("materials", index, f"{place}.material")
        return index

    def _triangles(self, primitive: dict[str, Any], count: int, place: str) -> Indices:
        if "indices" in primitive:
            order = self._accessors.indices(primitive["indices"], count, f"{place}.indices")
        else:
            order = np.arange(count, dtype=np.int64)
        mode = primitive.get("mode", TRIANGLES)
        if len(order) % 3 and mode == TRIANGLES or len(order) < 3:
            raise self._lookup.error(place, f"{len(order)} corners do not make up triangles")
        return triangle_list(order, mode)

    def _shapes(self, primitive: dict[str, Any], count: int, place: str) -> dict[str, Reals]:
        found = {}
        targets = self._lookup.entries(primitive, "targets", place)
        for number, target in enumerate(targets):
            if "POSITION" not in target:
                continue
            spot = f"{place}.targets[{number}].POSITION"
            moved = self._accessors.reals(target["POSITION"], 3, spot)
            if len(moved) != count:
                raise self._lookup.error(spot, f"has {len(moved)} values for {count} vertices")
            found[f"target {number}"] = moved
        return found

    def _joined(self, raws: list[_Raw], place: str) -> Mesh:
        used = dict.fromkeys(raw.material for raw in raws if raw.material is not None)
        slots = {material: slot for slot, material in enumerate(used)}
        sizes = np.array([len(raw.triangles) for raw in raws], np.int64)
        faces = np.repeat(np.arange(len(raws), dtype=np.int64), sizes)
        vertices = _stack([raw.triangles.ravel() for raw in raws]).astype(np.int64)
        first, groups = unique_rows(*_point_keys(raws))
        bounds = np.cumsum([0, *(len(raw.positions) for raw in raws)], dtype=np.int64)
        starts = np.repeat(bounds[:-1], sizes * 3)
        parts = [
            Part(raw.number, raw.material, np.arange(stop - start), groups[start:stop])
            for raw, start, stop in zip(raws, bounds, bounds[1:])
        ]
        names = sorted({name for raw in raws for name in raw.uv_sets}, key=_natural)
        normals = _corner_values([raw.normals for raw in raws], raws, 3)
        uv_sets = {
            name: _corner_values([raw.uv_sets.get(name) for raw in raws], raws, 2) for name in names
        }
        face_slots = np.array([slots.get(raw.material, -1) for raw in raws], np.int64)  # type: ignore[arg-type]
        return Mesh(
            points=_stack([raw.positions for raw in raws], 3)[first],
            corners=groups[vertices + starts],
            offsets=np.arange(0, len(vertices) + 1, 3),
            normals=normals,
            uv_sets={name: values for name, values in uv_sets.items() if values is not None},
            materials=face_slots[faces] if slots else None,
            slots=[self._materials.material(material, place) for material in used],
            handles=Handles(parts, faces, vertices, list(used)),
        ).checked()


def triangle_list(order: Indices, mode: int) -> Indices:
    """(F, 3) the triangles of (N,) vertices in the order of a list, a strip or a fan. Those of a
    strip or fan in which a vertex stands twice only continue it, and are left out."""
    if mode == TRIANGLES:
        return order.reshape(-1, 3)
    first = np.arange(len(order) - 2)
    if mode == FAN:
        corners = np.stack([first + 1, first + 2, np.zeros_like(first)], axis=1)
    else:  # every second triangle of a strip runs the other way round
        odd = first % 2
        corners = np.stack([first, first + 1 + odd, first + 2 - odd], axis=1)
    faces: Indices = order[corners]
    a, b, c = faces.T
    solid: Indices = faces[(a != b) & (b != c) & (c != a)]
    return solid


def has_faces(primitive: dict[str, Any]) -> bool:
    """Whether a primitive is drawn as faces. An unknown mode is not."""
    attributes = primitive.get("attributes")
    drawn = isinstance(attributes, dict) and "POSITION" in attributes
    return drawn and primitive.get("mode", TRIANGLES) in (TRIANGLES, STRIP, FAN)


def _width(name: str) -> int:
    """Numbers per element of the attributes that are read; 0 for others."""
    if name in ("POSITION", "NORMAL"):
        return 3
    if _is_uv(name):
        return 2
    return 4 if _SKIN_SET.match(name) else 0


def _is_uv(name: str) -> bool:
    return _UV_SET.match(name) is not None


def _natural(name: str) -> tuple[int, str]:
    return len(name), name


def _skin(values: dict[str, Reals]) -> dict[str, Reals]:
    """Joints and weights; a joint without weight does not tell two points apart."""
    found = {name: array for name, array in values.items() if _SKIN_SET.match(name)}
    for name, joints in found.items():
        weights = found.get(name.replace("JOINTS", "WEIGHTS"))
        if name.startswith("JOINTS") and weights is not None:
            found[name] = np.where(weights == 0, 0.0, joints)
    return found


def _point_keys(raws: list[_Raw]) -> list[Reals]:
    names = {name: array.shape[1] for raw in raws for name, array in raw.binding.items()}
    keys = [_stack([raw.positions for raw in raws], 3)]
    for name, width in names.items():
        filled = [raw.binding.get(name, np.zeros((len(raw.positions), width))) for raw in raws]
        keys.append(_stack(filled, width))
    return keys


def _corner_values(arrays: list[Reals | None], raws: list[_Raw], width: int) -> Reals | None:
    if all(array is None for array in arrays):
        return None
    result: Reals = _stack(
        [
            np.zeros((raw.triangles.size, width)) if array is None else array[raw.triangles.ravel()]
            for array, raw in zip(arrays, raws)
        ],
        width,
    )
    return result


def _stack(arrays: list[Any], width: int = 0) -> Any:
    return np.concatenate(arrays) if arrays else np.zeros((0, width) if width else 0)
