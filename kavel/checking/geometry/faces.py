"""Faces and points that should not be there."""

from __future__ import annotations

import numpy as np

from kavel.checking.geometry.topology import largest, topology
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

#: Files hold single precision: a height below this share of the coordinates is noise.
NOISE = float(np.finfo(np.float32).eps)


def areas(mesh: Mesh) -> Reals:
    """(F,) the area of each face, in square metres of object space."""
    shape = topology(mesh)
    with np.errstate(over="ignore", invalid="ignore"):
        return np.asarray(np.linalg.norm(shape.area_vectors, axis=1) * shape.unit * shape.unit)


def zero_area_faces(mesh: Mesh) -> Indices:
    """Faces whose height cannot be told from rounding, or whose points are not finite."""
    shape = topology(mesh)
    square = np.zeros(len(mesh.corners))
    reach = np.zeros(len(mesh.corners))
    with np.errstate(invalid="ignore", over="ignore"):
        for column in (mesh.points / shape.unit).T:
            here = column[mesh.corners]
            square += (here[shape.following] - here) ** 2
            reach = np.maximum(reach, np.abs(here))
        length = np.sqrt(largest(square, mesh.offsets))
        area = np.linalg.norm(shape.area_vectors, axis=1)
        # Written so that what is not a number counts as without area.
        return np.flatnonzero(~(area > length * largest(reach, mesh.offsets) * NOISE))


def duplicate_faces(mesh: Mesh, either_way: bool = True) -> Indices:
    """Faces over the same points as a face before them; with `either_way`, in any order, otherwise
    only those wound the same way."""
    found = []
    for size in np.flatnonzero(np.bincount(mesh.face_sizes)):
        faces = np.flatnonzero(mesh.face_sizes == size)
        rows = mesh.corners[mesh.offsets[faces][:, None] + np.arange(size)]
        rows = np.sort(rows, axis=1) if either_way else _begun_at_lowest(rows)
        order = np.lexsort(rows.T[::-1])
        rows = rows[order]
        # The sort is stable, so the first of each run of equal rows is the first face.
        found.append(faces[order[1:][(rows[1:] == rows[:-1]).all(axis=1)]])
    return np.sort(np.concatenate(found)) if found else np.zeros(0, dtype=np.int64)


def _begun_at_lowest(rows: Indices) -> Indices:
    size = rows.shape[1]
    turn = (rows.argmin(axis=1)[:, None] + np.arange(size)) % size
    return np.take_along_axis(rows, turn, axis=1)


def isolated_points(mesh: Mesh) -> Indices:
    """Points that no face uses."""
    used = np.zeros(len(mesh.points), dtype=bool)
    used[mesh.corners] = True
    return np.flatnonzero(~used)


def close_points(points: Reals, distance: float) -> Indices:
    """Points (P, 3) that have another one within `distance`; one that is not finite has none."""
    # Loading it takes longer than most checks run, and few need it.
    from scipy.spatial import cKDTree

    finite = np.flatnonzero(np.isfinite(points).all(axis=1))
    if len(finite) < 2:
        return finite[:0]
    tree = cKDTree(points[finite], balanced_tree=False, compact_nodes=False)
    # The bound is exclusive, and is squared in there.
    bound = max(distance * (1 + 1e-12), 1e-100)
    nearest, _ = tree.query(points[finite], k=2, distance_upper_bound=bound)
    return np.asarray(finite[np.isfinite(nearest[:, 1])])
