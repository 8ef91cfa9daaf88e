"""Which side of a closed surface its faces show.

A closed part that shows its back outward holds a negative volume. A part within another one may do
so all the same: it is the wall of a cavity. What tells the two apart is how often the space inside
is wound around by all closed parts: once in a body, not at all in its cavity, and less than that in
what was turned inside out.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from kavel.checking.geometry.crossings import crossings
from kavel.checking.geometry.faces import NOISE
from kavel.checking.geometry.manifold import groups
from kavel.checking.geometry.topology import Topology, largest, topology
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

#: Places looked at per part; most of them decide, since parts may touch or cross others.
_PLACES = 5
# Of no regular place: what lies above an edge of another part would count twice, or not at all.
_WEIGHTS = np.array([0.217351, 0.341179, 0.44147])


@dataclass(frozen=True)
class _Parts:
    """Closed parts with a volume. owner: (F,) the part of each face, -1 for one that is in none.

    volume: (N,) signed, in cubes of `Topology.unit`; 0 where rounding decides on it: no face is of
    such a part.
    """

    owner: Indices
    volume: Reals


def inside_out_faces(mesh: Mesh) -> Indices:
    """Faces of closed parts that face inward and enclose no cavity.

    Closed is a part in which each edge has two faces that agree on the way round. Others, and those
    so flat that rounding decides on their volume, are not judged.
    """
    if not mesh.face_count:
        return np.zeros(0, dtype=np.int64)
    shape = topology(mesh)
    parts = _closed_parts(shape, mesh.face_count)
    wrong = np.zeros(len(parts.volume), dtype=bool)
    wrong[parts.volume < 0] = True
    if wrong.any() and (parts.volume > 0).any():
        wrong[wrong] = _Nesting(shape, parts).windings(np.flatnonzero(wrong)) < 0
    return np.flatnonzero(np.isin(parts.owner, np.flatnonzero(wrong)))


def _closed_parts(shape: Topology, face_count: int) -> _Parts:
    faces = shape.faces[shape.halves]
    sizes = np.diff(shape.starts)
    one_edge = np.repeat(np.arange(len(sizes)), sizes)
    joined = one_edge[1:] == one_edge[:-1]
    labels = groups(face_count, np.stack([faces[:-1], faces[1:]], axis=1)[joined])
    begin = shape.corners[shape.halves]
    first = shape.starts[:-1]
    sound = (sizes == 2) & (shape.face_counts == 2)
    sound[sound] = begin[first[sound]] != begin[first[sound] + 1]
    count = int(labels.max(initial=-1)) + 1
    closed = np.zeros(count, dtype=bool)  # a face without a proper edge is no part
    closed[labels[faces]] = True
    closed[labels[faces[~sound[one_edge]]]] = False
    owner = np.where(closed, np.cumsum(closed) - 1, -1)[labels]
    volume = _volumes(shape, owner, int(closed.sum()))
    owner[np.isin(owner, np.flatnonzero(volume == 0))] = -1
    return _Parts(owner, volume)


def _volumes(shape: Topology, owner: Indices, count: int) -> Reals:
    within = owner >= 0
    part = owner[within]
    with np.errstate(invalid="ignore", over="ignore"):
        start = shape.points[shape.corners[shape.offsets[:-1][within]]] / shape.unit
        vectors = shape.area_vectors[within]
        # About a point of each part: far from the origin the digits would not do.
        base = np.zeros((count, 3))
        base[part] = start
        volume = np.bincount(part, ((start - base[part]) * vectors).sum(axis=1) / 3, count)
        area = np.bincount(part, np.linalg.norm(vectors, axis=1), count)
        reach = np.zeros(count)
        values = np.abs(shape.points[shape.corners] / shape.unit).max(axis=1, initial=0.0)
        np.maximum.at(reach, part, largest(values, shape.offsets)[within])
        # Written so that what is not a number has no volume.
        return np.asarray(np.where(np.abs(volume) > area * reach * NOISE, volume, 0.0))


class _Nesting:
    """Which parts lie within which. One that merely crosses another does not lie within it."""

    def __init__(self, shape: Topology, parts: _Parts) -> None:
        triangles, owner = _triangles(shape, parts.owner)
        order = np.argsort(owner, kind="stable")
        self._triangles = triangles[order]
        # Parts without a volume have none, and are never asked about.
        self._starts = np.searchsorted(owner[order], np.arange(len(parts.volume) + 1))
        self._known = np.flatnonzero(parts.volume)
        begin = self._starts[self._known]
        self._low = np.zeros((len(parts.volume), 3))
        self._high = np.zeros((len(parts.volume), 3))
        self._low[self._known] = np.minimum.reduceat(self._triangles.min(axis=1), begin)
        self._high[self._known] = np.maximum.reduceat(self._triangles.max(axis=1), begin)
        self._volume = parts.volume

    def windings(self, parts: Indices) -> Indices:
        """(N,) how often parts wind around the space just inside each of these, which all show
        their backs; -1 where no part that shows its front lies around."""
        result = np.full(len(parts), -1)
        result += self._around(parts, np.flatnonzero(self._volume > 0))
        inner = result >= 0
        result[inner] += self._around(parts[inner], np.flatnonzero(self._volume < 0))
        return result

    def _around(self, parts: Indices, others: Indices) -> Indices:
        """(N,) how often the `others` wind around each of the parts from outside."""
        result = np.zeros(len(parts), dtype=np.int64)
        # By column: there may be many parts, and the boxes of most pairs are apart.
        lows, highs = self._low[parts].T.copy(), self._high[parts].T.copy()
        for other in others.tolist() if len(parts) else ():
            within = parts != other
            for axis in range(3):
                within &= lows[axis] >= self._low[other, axis]
                within &= highs[axis] <= self._high[other, axis]
            if within.any():
                places = self._places(parts[within])
                own = self._triangles[self._starts[other] : self._starts[other + 1]]
                counts = crossings(places.reshape(-1, 3), own).reshape(-1, _PLACES)
                result[within] += np.median(counts, axis=1).astype(np.int64)
        return result

    def _places(self, parts: Indices) -> Reals:
        """(N, places, 3) on the faces of each part."""
        sizes = self._starts[parts + 1] - self._starts[parts]
        step = (sizes[:, None] * np.arange(_PLACES)) // _PLACES
        chosen = self._triangles[self._starts[parts][:, None] + step]
        return np.asarray(np.einsum("k,nikj->nij", _WEIGHTS, chosen))


def _triangles(shape: Topology, owner: Indices) -> tuple[Reals, Indices]:
    """(T, 3, 3) triangles that make up the faces of parts, and (T,) the part of each."""
    first = shape.offsets[:-1][shape.faces]
    here = np.arange(len(shape.corners))
    chosen = (here > first) & (shape.following > first) & (owner[shape.faces] >= 0)
    corners = np.stack([first, here, shape.following], axis=1)[chosen]
    return shape.points[shape.corners[corners]] / shape.unit, owner[shape.faces[chosen]]
