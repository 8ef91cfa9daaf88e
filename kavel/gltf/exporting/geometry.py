"""Triangles and texture coordinates that an export makes where there are none."""

from __future__ import annotations

from collections.abc import Iterable

import numpy as np

from kavel.gltf.exporting.primitives import Primitive, primitives_of
from kavel.gltf.exporting.work import Work
from kavel.gltf.meshes import FAN, STRIP
from kavel.view.mesh import Indices, Reals

_UV = "TEXCOORD_0"
# For the sides +x, -x, +y, -y, +z, -z of a box, as seen from outside: the axis that runs to the
# right and whether it is turned round, then the same for the one that runs up.
_SIDES = ((2, 1, 1, 0), (2, 0, 1, 0), (0, 0, 2, 1), (0, 0, 2, 0), (0, 0, 1, 0), (0, 1, 1, 0))
_CELL, _MARGIN = 1 / 3, 0.01


def triangulate(work: Work, meshes: Iterable[int]) -> None:
    """Write strips and fans as lists of triangles. Triangles in which a vertex stands twice only
    continue a strip, and are left out.

    Errors: SceneError with the place for a strip or fan that is compressed or not sound.
    """
    for number in meshes:
        mesh = work.replace("meshes", number)
        for primitive in primitives_of(work, mesh, number):
            if primitive.has_faces and primitive.mode in (STRIP, FAN):
                faces = primitive.triangles()
                if len(faces):
                    primitive.set_triangles(faces, primitive.count())
                else:
                    work.note(f"{primitive.place} has no triangle with an area, and stays a strip")


def add_uvs(work: Work, meshes: Iterable[int]) -> None:
    """Give every primitive with faces and without texture coordinates a set, `TEXCOORD_0`.

    The mesh stands in a cube as long as its longest side. Each face is seen from the side of the
    cube that it faces most; the six views lie side by side within 0 to 1, three in a row, and all
    in one scale, so nothing is stretched but by its own slope. Faces of one view may overlap.
    Vertices are split where the faces around them belong to several views.

    Errors: SceneError with the place for a primitive that is compressed or not sound.
    """
    for number in meshes:
        mesh = work.replace("meshes", number)
        bare = [
            primitive
            for primitive in primitives_of(work, mesh, number)
            if primitive.has_faces and _UV not in primitive.attributes
        ]
        points = [primitive.reals("POSITION", 3) for primitive in bare]
        if not points:
            continue
        every = np.nan_to_num(np.concatenate(points))
        low, size = every.min(axis=0), float(np.ptp(every, axis=0).max())
        for primitive, places in zip(bare, points):
            _add(work, primitive, (np.nan_to_num(places) - low) / (size or 1.0))


def _add(work: Work, primitive: Primitive, points: Reals) -> None:
    """`points` are (V, 3), each within 0 to 1."""
    faces = primitive.triangles()
    if not len(faces):
        return
    sources, corners, uvs = box_uvs(points, faces)
    if not np.array_equal(sources, np.arange(len(points))):
        if primitive.unknown:
            work.note(
                f"{primitive.place} got no texture coordinates: {primitive.unknown} may refer to "
                "vertices, which would be renumbered"
            )
            return
        primitive.gather(sources)
        primitive.set_triangles(corners, len(sources))
    primitive.set_attribute(_UV, uvs)


def box_uvs(points: Reals, faces: Indices) -> tuple[Indices, Indices, Reals]:
    """The texture coordinates of (V, 3) points, each within 0 to 1, and (F, 3) faces of them.

    Returns the point that each of W vertices comes from, (W,); (F, 3) vertices; and (W, 2)
    coordinates, v downwards. Points of no face are left out.
    """
    corners = points[faces]
    normals = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
    axes = np.abs(normals).argmax(axis=1)
    sides = axes * 2 + (normals[np.arange(len(faces)), axes] < 0)
    keys, vertices = np.unique(faces * 6 + sides[:, None], return_inverse=True)
    sources, side = keys // 6, keys % 6
    table = np.array(_SIDES)[side]
    rows = np.arange(len(sources))
    right, up = (
        np.abs(table[:, turned] - points[sources][rows, table[:, axis]])
        for axis, turned in ((0, 1), (2, 3))
    )
    inner = 1 - 2 * _MARGIN
    u = (side % 3 + _MARGIN + inner * right) * _CELL
    v = (side // 3 + _MARGIN + inner * (1 - up)) * _CELL
    return sources, vertices.reshape(faces.shape), np.stack([u, v], axis=1)
