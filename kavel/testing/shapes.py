"""Meshes to test with. Each is free of faults; a test puts in the one fault that it is about."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from typing import Any

import numpy as np
import numpy.typing as npt

from kavel.view import Material, Mesh

Slots = Sequence["Material | str | None"]


def polygons(
    points: npt.ArrayLike,
    faces: Sequence[Sequence[int]],
    normals: Any = None,
    uv_sets: Mapping[str, Any] | None = None,
    materials: npt.ArrayLike | None = None,
    slots: Slots = (),
) -> Mesh:
    """A mesh from P points, and for each of F faces the indices of its points (at least 3).

    `normals` and the values of `uv_sets` are given per face corner: as one list in the order of the
    faces, or as one list per face. `slots` takes materials or just their names; `materials` is the
    slot of each face, all 0 when there are slots and nothing else is said.

    Errors: ValueError for parts that do not fit together.
    """
    sizes = [len(face) for face in faces]
    if slots and materials is None:
        materials = np.zeros(len(sizes), np.int64)
    return Mesh(
        points=np.asarray(points, np.float64).reshape(-1, 3),
        corners=np.array([corner for face in faces for corner in face], dtype=np.int64),
        offsets=np.cumsum([0, *sizes], dtype=np.int64),
        normals=None if normals is None else _per_corner(normals, 3),
        uv_sets={name: _per_corner(values, 2) for name, values in (uv_sets or {}).items()},
        materials=None if materials is None else np.asarray(materials),
        slots=[Material(slot) if isinstance(slot, str) else slot for slot in slots],
    ).checked()


def box(
    width: float = 1.0,
    height: float = 1.0,
    depth: float = 1.0,
    centre: Sequence[float] = (0.0, 0.0, 0.0),
    slots: Slots = ("paint",),
    uv_set: str = "UVMap",
) -> Mesh:
    """A closed box of 8 points and 6 quads, sizes in metres along x, y and z.

    It has flat normals and one UV set (none when `uv_set` is empty), in which the six sides lie
    beside each other.
    """
    points = np.array([(x, y, z) for x in (-0.5, 0.5) for y in (-0.5, 0.5) for z in (-0.5, 0.5)])
    faces = [(0, 1, 3, 2), (4, 6, 7, 5), (0, 4, 5, 1), (2, 3, 7, 6), (0, 2, 6, 4), (1, 5, 7, 3)]
    normals = [[normal] * 4 for normal in ((-1, 0, 0), (1, 0, 0), (0, -1, 0), (0, 1, 0))]
    normals += [[normal] * 4 for normal in ((0, 0, -1), (0, 0, 1))]
    square = np.array([(0.0, 0.0), (1.0, 0.0), (1.0, 1.0), (0.0, 1.0)])
    sides = [(square * 0.9 + (0.05 + side % 3, 0.05 + side // 3)) / (3, 2) for side in range(6)]
    return polygons(
        points * (width, height, depth) + np.asarray(centre, np.float64),
        faces,
        normals=normals,
        uv_sets={uv_set: sides} if uv_set else None,
        slots=slots,
    )


def grid(
    columns: int = 2,
    rows: int = 2,
    width: float = 1.0,
    depth: float = 1.0,
    slots: Slots = ("paint",),
    uv_set: str = "UVMap",
) -> Mesh:
    """A flat sheet of `columns` times `rows` quads in the plane of x and z, facing up along y.

    Its border is open. Point `row * (columns + 1) + column` lies at that place of the sheet.
    """
    across, along = np.meshgrid(np.linspace(0, 1, columns + 1), np.linspace(0, 1, rows + 1))
    uvs = np.stack([across.ravel(), along.ravel()], axis=1)
    points = np.zeros((len(uvs), 3))
    points[:, 0], points[:, 2] = (uvs[:, 0] - 0.5) * width, (0.5 - uvs[:, 1]) * depth
    first = (np.arange(rows)[:, None] * (columns + 1) + np.arange(columns)).reshape(-1, 1)
    faces = first + np.array([0, 1, columns + 2, columns + 1])
    return polygons(
        points,
        faces.tolist(),
        normals=np.tile([0.0, 1.0, 0.0], (faces.size, 1)),
        uv_sets={uv_set: uvs[faces.ravel()]} if uv_set else None,
        slots=slots,
    )


def _per_corner(values: Any, width: int) -> npt.NDArray[np.float64]:
    rows = [np.asarray(row, np.float64).reshape(-1, width) for row in values]
    return np.concatenate(rows) if rows else np.zeros((0, width))
