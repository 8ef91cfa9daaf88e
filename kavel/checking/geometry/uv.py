"""Faces in texture space."""

from __future__ import annotations

import numpy as np

from kavel.checking.geometry.faces import NOISE, zero_area_faces
from kavel.checking.geometry.topology import largest, sums, topology
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals


def faces_outside(mesh: Mesh, uvs: Reals, low: Reals, high: Reals) -> Indices:
    """Faces with a corner (C, 2) outside of `low` (2,) to `high` (2,), or not finite."""
    inside = ((uvs >= low - NOISE) & (uvs <= high + NOISE)).all(axis=1)
    outside = np.zeros(mesh.face_count, dtype=bool)
    outside[mesh.corner_faces[~inside]] = True
    return np.flatnonzero(outside)


def zero_area_uvs(mesh: Mesh, uvs: Reals) -> Indices:
    """Faces whose height in texture space (C, 2) cannot be told from rounding though they have one
    in the scene, and those whose coordinates are not finite."""
    shape, offsets = topology(mesh), mesh.offsets
    with np.errstate(invalid="ignore", over="ignore"):
        u, v = ((column - column[offsets[:-1]][shape.faces]) for column in uvs.T)
        next_u, next_v = u[shape.following], v[shape.following]
        area = np.abs(sums(u * next_v - v * next_u, offsets)) / 2
        length = largest(np.hypot(next_u - u, next_v - v), offsets)
        reach = largest(np.maximum(*np.abs(uvs).T), offsets)
        flat = ~(area > length * reach * NOISE)
    flat[zero_area_faces(mesh)] = False
    return np.flatnonzero(flat)
