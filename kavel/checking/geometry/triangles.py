"""Polygons in the plane cut into triangles."""

from __future__ import annotations

import numpy as np

from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals


def triangles(mesh: Mesh, uvs: Reals) -> tuple[Indices, Indices]:
    """(T, 3) corners of triangles that cover the faces in texture space (C, 2), and (T,) their
    faces. A face that crosses itself there is cut from its first corner."""
    corners = [np.zeros((0, 3), dtype=np.int64)]
    faces = [np.zeros(0, dtype=np.int64)]
    for size in np.flatnonzero(np.bincount(mesh.face_sizes)):
        chosen = np.flatnonzero(mesh.face_sizes == size)
        rows = mesh.offsets[chosen][:, None] + np.arange(size)
        cut = rows[:, None, :] if size == 3 else _cut(rows, uvs)
        corners.append(cut.reshape(-1, 3))
        faces.append(np.repeat(chosen, size - 2))
    return np.concatenate(corners), np.concatenate(faces)


def _cut(rows: Indices, uvs: Reals) -> Indices:
    """(N, n - 2, 3) from polygons (N, n), n > 3: a fan where one covers the polygon, else ears."""
    count, size = rows.shape
    result = _fan(rows)
    open_rows = np.arange(count)
    sense = np.sign(_doubled(uvs[result]).sum(axis=1))
    for first in range(size):
        fan = _fan(np.roll(rows[open_rows], -first, axis=1))
        with np.errstate(invalid="ignore"):
            covers = (_doubled(uvs[fan]) * sense[open_rows][:, None] > 0).all(axis=1)
        result[open_rows[covers]] = fan[covers]
        open_rows = open_rows[~covers]
        if not len(open_rows):
            break
    for row in open_rows:
        if np.isfinite(uvs[rows[row]]).all():
            ears = _ears(uvs[rows[row]], float(sense[row]))
            if ears is not None:
                result[row] = rows[row][ears]
    return result


def _fan(rows: Indices) -> Indices:
    """(N, n - 2, 3) triangles that all begin at the first of each row (N, n)."""
    begin = np.broadcast_to(rows[:, :1], (len(rows), rows.shape[1] - 2))
    return np.stack([begin, rows[:, 1:-1], rows[:, 2:]], axis=2)


def _doubled(shapes: Reals) -> Reals:
    """(...) twice the signed area of triangles (..., 3, 2)."""
    with np.errstate(invalid="ignore", over="ignore"):
        one, two = shapes[..., 1, :] - shapes[..., 0, :], shapes[..., 2, :] - shapes[..., 0, :]
        return np.asarray(one[..., 0] * two[..., 1] - one[..., 1] * two[..., 0])


def _ears(outline: Reals, sense: float) -> Indices | None:
    """(n - 2, 3) triangles of a simple polygon (n, 2) by cutting off one ear after the other; none
    when there is no ear, as in a polygon that crosses itself."""
    left = list(range(len(outline)))
    found = []
    while len(left) > 3:
        for position in range(len(left)):
            ear = [left[position - 1], left[position], left[(position + 1) % len(left)]]
            others = outline[[item for item in left if item not in ear]]
            if _doubled(outline[ear]) * sense > 0 and not _holds(outline[ear], others, sense):
                found.append(ear)
                del left[position]
                break
        else:
            return None
    return np.array([*found, left])


def _holds(triangle: Reals, points: Reals, sense: float) -> bool:
    inside = np.ones(len(points), dtype=bool)
    for begin, end in zip(triangle, np.roll(triangle, -1, axis=0)):
        along, to = end - begin, points - begin
        inside &= (along[0] * to[:, 1] - along[1] * to[:, 0]) * sense > 0
    return bool(inside.any())
