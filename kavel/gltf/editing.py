"""What an edited mesh means for the file: where each of its elements comes from.

A check hands in plain arrays. Colours, skin weights, blend shapes and whatever else a file keeps
per vertex are not in them, so every corner of the new mesh is led back to a vertex of the file,
from which the writer takes them. Faces may be changed, turned round and removed; new ones
have nothing to come from and are refused.
"""

from __future__ import annotations

from dataclasses import dataclass, replace
from typing import Any

import numpy as np
import numpy.typing as npt

from kavel.gltf.meshes import Handles, Part
from kavel.gltf.recognition import Alike, Recognition, turns
from kavel.gltf.weld import unique_rows
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals


def carried(old: Mesh, new: Mesh, alike: Alike) -> Mesh:
    """`new`, rounded to what a file holds and with the handles that follow from those of `old`.

    Errors: ValueError for arrays that do not fit together, or for an edit that cannot be stored.
    """
    new = rounded(new.checked())
    if not (new.face_sizes == 3).all():
        raise ValueError("the file's format holds triangles only")
    _require_names(old, new)
    materials = _slot_materials(old, new)
    return replace(new, handles=_Carrier(old, new, materials, alike).handles())


def rounded(mesh: Mesh) -> Mesh:
    """`mesh` in the single precision of the file, so that a check finds now what it would find
    when the file is opened again. Errors: ValueError for numbers that have no such form."""
    return replace(
        mesh,
        points=_single("points", mesh.points),
        normals=None if mesh.normals is None else _single("normals", mesh.normals),
        uv_sets={
            name: _single(f'UV set "{name}"', values) for name, values in mesh.uv_sets.items()
        },
    )


def _single(what: str, values: Reals) -> Reals:
    with np.errstate(over="ignore"):
        result = values.astype(np.float32).astype(np.float64)
    if not np.isfinite(result).all():
        raise ValueError(f"{what} hold a value that is no number, or too large for the file")
    result.setflags(write=False)
    return result


def _require_names(old: Mesh, new: Mesh) -> None:
    wanted = [f"TEXCOORD_{number}" for number in range(len(new.uv_sets))]
    if list(new.uv_sets) != wanted and list(new.uv_sets) != list(old.uv_sets):
        raise ValueError(f"UV sets are {', '.join(wanted)} in this format, without a gap")


def _slot_materials(old: Mesh, new: Mesh) -> list[int | None]:
    """The file's material of each slot of `new`, found by what `old` has in its slots."""
    known: list[int | None] = old.handles.slot_materials
    result: list[int | None] = []
    for number, slot in enumerate(new.slots):
        same = number < len(old.slots) and old.slots[number] == slot
        if slot is None:
            result.append(None)
        elif same or slot in old.slots:
            result.append(known[number if same else old.slots.index(slot)])
        else:
            raise ValueError(f"the mesh has no material {slot.name!r} that a slot could refer to")
    return result


@dataclass
class _Group:
    """The faces of `new` that come from one part and have one material now.

    first, whole: whether it is the first of the part's groups, and the only one.
    """

    part: int
    material: int | None
    faces: Indices
    first: bool
    whole: bool


class _Carrier:
    def __init__(self, old: Mesh, new: Mesh, materials: list[int | None], alike: Alike) -> None:
        self._old, self._new = old, new
        self._handles: Handles = old.handles
        self._materials = materials
        self._same_points = len(old.points) == len(new.points)
        self._sources = corner_sources(old, new, alike)
        self._vertices = self._handles.vertices[self._sources]
        isolated = np.ones(len(new.points), bool)
        isolated[new.corners] = False
        self._isolated = np.flatnonzero(isolated)

    def handles(self) -> Handles:
        count = self._new.face_count
        faces, vertices = np.zeros(count, np.int64), np.zeros(count * 3, np.int64)
        parts: list[Part] = []
        for group in self._groups():
            part, numbers = self._part(group)
            faces[group.faces] = len(parts)
            vertices[_corners_of(group.faces)] = numbers
            parts.append(part)
        if not parts:
            raise ValueError("no face would be left; the format has no empty mesh")
        held = np.concatenate([part.points for part in parts])
        lost = np.setdiff1d(np.arange(len(self._new.points)), held)
        if len(lost):
            raise ValueError(f"point {lost[0]} belongs to no face, and to nothing in the file")
        return Handles(parts, faces, vertices, self._materials)

    def _groups(self) -> list[_Group]:
        old_part = self._handles.faces[self._sources[::3] // 3]
        slots = self._new.materials
        slot = np.full(len(old_part), -1, np.int64) if slots is None else slots
        width = len(self._materials) + 1
        pairs = old_part * width + slot + 1
        merged: dict[tuple[int, int | None], list[Indices]] = {}
        for pair in np.unique(pairs).tolist():
            part, place = divmod(pair, width)
            key = (part, self._materials[place - 1] if place else None)
            merged.setdefault(key, []).append(np.flatnonzero(pairs == pair))
        owners = [part for part, _ in merged]
        return [
            _Group(
                part,
                material,
                np.sort(np.concatenate(faces)),
                first=part not in owners[:number],
                whole=owners.count(part) == 1,
            )
            for number, ((part, material), faces) in enumerate(merged.items())
        ]

    def _part(self, group: _Group) -> tuple[Part, Indices]:
        """The part for the faces of `group`, and the vertex in it of each of their corners."""
        old = self._handles.parts[group.part]
        corners = _corners_of(group.faces)
        vertices = self._vertices[corners]
        points = self._new.corners[corners]
        values = [points, *self._values(corners)]
        split = any(_differ(vertices, array) for array in values)
        if self._same_points and group.whole and not split:
            places = old.points.copy()
            places[vertices] = points
            return Part(old.primitive, group.material, old.sources, places), vertices
        if split:
            first, rows = unique_rows(vertices, *values)
        else:
            _, first, rows = np.unique(vertices, return_index=True, return_inverse=True)
        kept, kept_points = self._kept(group)
        sources = np.concatenate([old.sources[vertices[first]], old.sources[kept]])
        places = np.concatenate([points[first], kept_points])
        return Part(old.primitive, group.material, sources, places), rows

    def _values(self, corners: Indices) -> list[Reals]:
        new = self._new
        values = [] if new.normals is None else [new.normals[corners]]
        return values + [array[corners] for array in new.uv_sets.values()]

    def _kept(self, group: _Group) -> tuple[Indices, Indices]:
        """Vertices of the old part that no face uses and whose point is still there, and that
        point. The first group of the part keeps them."""
        old = self._handles.parts[group.part]
        mine = np.repeat(self._handles.faces[self._sources[::3] // 3] == group.part, 3)
        rest = np.setdiff1d(np.arange(len(old.sources)), self._vertices[mine])
        if not group.first:
            return rest[:0], rest[:0]
        if self._same_points:
            return rest, old.points[rest]
        places = self._old.points[old.points[rest]]
        _, groups = unique_rows(np.concatenate([self._new.points[self._isolated], places]))
        there, asked = groups[: len(self._isolated)], groups[len(self._isolated) :]
        found = np.isin(asked, there)
        by_group = dict(zip(there.tolist(), self._isolated.tolist()))
        points = [by_group[group] for group in asked[found].tolist()]
        return rest[found], np.array(points, np.int64)


def corner_sources(old: Mesh, new: Mesh, alike: Alike) -> Indices:
    """(C,) the corner of `old` that each corner of `new` comes from.

    Faces are recognised by their points in the order they had; then by where these lie, and faces
    in the same place by their values; then by their points in any order; then as many faces as
    before are the same faces with merged points. Errors: ValueError when faces cannot be
    recognised.
    """
    before, after = old.corners.reshape(-1, 3), new.corners.reshape(-1, 3)
    same_points = len(old.points) == len(new.points)
    if same_points and len(before) == len(after):
        turned = turns(before[..., None], after[..., None])
        if (turned >= 0).all():
            return _flat(np.arange(len(after)), turned)
    places = [(old.points[before], new.points[after])]
    if same_points:
        places.append((before[..., None].astype(float), after[..., None].astype(float)))
    for known, asked in places:
        faces = Recognition(old, new, alike).faces(known, asked)
        if (faces >= 0).all():
            return _flat(faces, turns(known[faces], asked))
    if len(before) != len(after):
        raise ValueError(
            "faces were added, or were removed while points moved; the file keeps more per vertex "
            "than is known of them (remove first, then move)"
        )
    _require_merged(old, new)
    return np.arange(len(after) * 3, dtype=np.int64)


def _require_merged(old: Mesh, new: Mesh) -> None:
    """Errors: ValueError unless each of the old points went to one place with all its corners."""
    now = new.points[new.corners]
    went = np.zeros((len(old.points), 3))
    went[old.corners] = now
    if not np.array_equal(went[old.corners], now):
        raise ValueError(
            "faces came into another order, or apart, while points moved; the file keeps more per "
            "vertex than is known of them (one after the other)"
        )


def _flat(faces: Indices, turned: Indices) -> Indices:
    return (faces[:, None] * 3 + turned).ravel()


def _differ(vertices: Indices, values: npt.NDArray[Any]) -> bool:
    """Whether corners at the same vertex have different values."""
    last = np.zeros((vertices.max() + 1, *values.shape[1:]), values.dtype)
    last[vertices] = values
    return not np.array_equal(last[vertices], values)


def _corners_of(faces: Indices) -> Indices:
    return (faces[:, None] * 3 + np.arange(3)).ravel()
