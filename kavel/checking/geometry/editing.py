"""Repaired copies of meshes."""

from __future__ import annotations

from dataclasses import replace

import numpy as np
import numpy.typing as npt

from kavel.checking.geometry.manifold import corner_fans
from kavel.checking.geometry.topology import Topology, topology
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

#: Shorter normals have no direction to rely on.
SHORTEST_NORMAL = 1e-6


def bad_normals(normals: Reals) -> Indices:
    """Corners whose normal (C, 3) is zero or not finite."""
    with np.errstate(over="ignore", invalid="ignore"):
        length = np.linalg.norm(normals, axis=1)
    return np.flatnonzero(~(length > SHORTEST_NORMAL) | ~np.isfinite(length))


def computed_normals(mesh: Mesh, crease: float) -> Reals:
    """(C, 3) unit normals, weighted by area, smooth over edges that bend less than `crease`
    degrees. A corner none of whose faces has a direction gets that of +z."""
    shape = topology(mesh)
    vectors = np.nan_to_num(shape.area_vectors, nan=0.0, posinf=0.0, neginf=0.0)
    smooth = _unit(_gathered(vectors, shape, corner_fans(shape, _bends_less(shape, crease))))
    around = _unit(_gathered(vectors, shape, shape.corners))
    normals = np.where(_is_zero(smooth)[:, None], around, smooth)
    normals[_is_zero(normals)] = (0.0, 0.0, 1.0)
    return normals


def _bends_less(shape: Topology, crease: float) -> npt.NDArray[np.bool_]:
    normal = _unit(np.nan_to_num(shape.area_vectors))[shape.faces[shape.halves]]
    cosine = np.einsum("ij,ij->i", normal[1:], normal[:-1])
    begin = shape.corners[shape.halves]
    # Neighbours that are wound against each other have opposite normals on the same side.
    cosine = np.where(begin[1:] == begin[:-1], -cosine, cosine)
    return np.asarray(cosine > np.cos(np.radians(crease)))


def _gathered(vectors: Reals, shape: Topology, labels: Indices) -> Reals:
    columns = [np.bincount(labels, column[shape.faces])[labels] for column in vectors.T]
    return np.stack(columns, axis=1) if len(labels) else np.zeros((0, 3))


def _unit(vectors: Reals) -> Reals:
    """Zero stays zero."""
    x, y, z = np.abs(vectors).T
    largest = np.maximum(np.maximum(x, y), z)[:, None]
    scaled = np.divide(vectors, largest, out=np.zeros_like(vectors), where=largest > 0)
    length = np.sqrt(np.einsum("ij,ij->i", scaled, scaled))[:, None]
    return np.asarray(np.divide(scaled, length, out=scaled, where=length > 0))


def _is_zero(vectors: Reals) -> npt.NDArray[np.bool_]:
    return np.asarray((vectors[:, 0] == 0) & (vectors[:, 1] == 0) & (vectors[:, 2] == 0))


def turned_over(mesh: Mesh, faces: Indices) -> Mesh:
    """The mesh with these faces wound the other way; each keeps its first corner. Normals that
    then point away from their face are turned as well."""
    turned = _rewound(mesh, faces)
    if turned.normals is None:
        return turned
    chosen = np.zeros(mesh.face_count, dtype=bool)
    chosen[faces] = True
    owner = mesh.corner_faces
    vectors = topology(turned).area_vectors[owner]
    with np.errstate(invalid="ignore"):
        away = chosen[owner] & ((turned.normals * vectors).sum(axis=1) < 0)
    return replace(turned, normals=np.where(away[:, None], -turned.normals, turned.normals))


def _rewound(mesh: Mesh, faces: Indices) -> Mesh:
    """The mesh with the corners of these faces, and the values there, in the opposite order."""
    chosen = np.zeros(mesh.face_count, dtype=bool)
    chosen[faces] = True
    owner = mesh.corner_faces
    position = np.arange(len(mesh.corners)) - mesh.offsets[owner]
    back = mesh.offsets[owner] + (-position) % mesh.face_sizes[owner]
    order = np.where(chosen[owner], back, np.arange(len(mesh.corners)))
    return replace(
        mesh,
        corners=mesh.corners[order],
        normals=None if mesh.normals is None else mesh.normals[order],
        uv_sets={name: uvs[order] for name, uvs in mesh.uv_sets.items()},
    )


def transformed(mesh: Mesh, matrix: Reals) -> Mesh:
    """The mesh with its points moved by an affine `matrix` (4, 4) that can be inverted. Normals
    go along as the surface's own do, also where somebody bent them on purpose; the faces of a
    mirrored mesh are wound the other way, so that its outside stays outside."""
    linear = matrix[:3, :3]
    normals = mesh.normals
    if normals is not None:
        normals = _unit(normals @ np.linalg.inv(linear))
    moved = replace(mesh, points=mesh.points @ linear.T + matrix[:3, 3], normals=normals)
    if np.linalg.det(linear) >= 0:
        return moved
    return _rewound(moved, np.arange(mesh.face_count))
