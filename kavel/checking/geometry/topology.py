"""How the faces of a mesh hang together."""

from __future__ import annotations

from functools import cached_property

import numpy as np

from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

_KEY = "_kavel_topology"


class Topology:
    """Edges of one mesh, made on first use. C face corners, E edges.

    The half edge of a corner runs from its point to that of the next corner around the face.
    """

    def __init__(self, mesh: Mesh) -> None:
        self.points, self.corners, self.offsets = mesh.points, mesh.corners, mesh.offsets
        self.faces = mesh.corner_faces
        self.following = mesh.next_corners

    def describes(self, mesh: Mesh) -> bool:
        same_faces = self.corners is mesh.corners and self.offsets is mesh.offsets
        return same_faces and self.points is mesh.points

    @cached_property
    def halves(self) -> Indices:
        """(H,) corners with a half edge that does not end where it begins, those of one edge next
        to each other and by ascending face."""
        begin, end = self.corners, self.corners[self.following]
        proper = np.flatnonzero(begin != end)
        low, high = np.minimum(begin, end)[proper], np.maximum(begin, end)[proper]
        return proper[np.argsort(low * len(self.points) + high, kind="stable")]

    @cached_property
    def starts(self) -> Indices:
        """(E + 1,) where the half edges of each edge begin in `halves`."""
        low, high = self._ends
        if not len(low):
            return np.zeros(1, dtype=np.int64)
        change = (low[1:] != low[:-1]) | (high[1:] != high[:-1])
        return np.concatenate([[0], np.flatnonzero(change) + 1, [len(low)]])

    @property
    def _ends(self) -> tuple[Indices, Indices]:
        begin = self.corners[self.halves]
        end = self.corners[self.following[self.halves]]
        return np.minimum(begin, end), np.maximum(begin, end)

    @cached_property
    def edges(self) -> Indices:
        """(E, 2) the points of each edge, the lower index first."""
        low, high = self._ends
        first = self.starts[:-1]
        return np.stack([low[first], high[first]], axis=1)

    @cached_property
    def face_counts(self) -> Indices:
        """(E,) how many faces have each edge."""
        face = self.faces[self.halves]
        fresh = np.ones(len(face), dtype=np.int64)
        fresh[1:] = face[1:] != face[:-1]
        fresh[self.starts[:-1]] = 1
        return np.add.reduceat(fresh, self.starts[:-1]) if len(fresh) else fresh

    @cached_property
    def pairs(self) -> Indices:
        """(N, 2) the two half edges of each edge that exactly two faces have, once each."""
        both = (np.diff(self.starts) == 2) & (self.face_counts == 2)
        first = self.starts[:-1][both]
        return np.stack([self.halves[first], self.halves[first + 1]], axis=1)

    @cached_property
    def area_vectors(self) -> Reals:
        """(F, 3) per face a vector along its normal, as long as its area, in units in which the
        farthest coordinate is 1 (see `unit`)."""
        columns = (self.points / self.unit).T
        first = self.corners[self.offsets[:-1]]
        here = []
        with np.errstate(invalid="ignore", over="ignore"):
            # About each face's own first point: far from the origin the digits would not do.
            for column in columns:
                here.append(column[self.corners] - column[first][self.faces])
            there = [column[self.following] for column in here]
            doubled = [
                sums(here[i] * there[j] - here[j] * there[i], self.offsets)
                for i, j in ((1, 2), (2, 0), (0, 1))
            ]
        return np.stack(doubled, axis=1) / 2

    @cached_property
    def unit(self) -> float:
        """The largest finite coordinate; 1 when all are zero."""
        size = np.abs(self.points[np.isfinite(self.points)]).max(initial=0.0)
        return float(size) or 1.0


def topology(mesh: Mesh) -> Topology:
    """The topology of `mesh`, made once for all checks of it."""
    known = mesh.__dict__.get(_KEY)
    # A copy of the mesh with other arrays may have brought the original's along.
    if not isinstance(known, Topology) or not known.describes(mesh):
        known = mesh.__dict__[_KEY] = Topology(mesh)
    return known


def sums(values: Reals, offsets: Indices) -> Reals:
    """(F,) the sum of the corner values (C,) of each face."""
    return np.add.reduceat(values, offsets[:-1]) if len(offsets) > 1 else np.zeros(0)


def largest(values: Reals, offsets: Indices) -> Reals:
    """(F,) the largest of the corner values (C,) of each face; no number if one is none."""
    return np.maximum.reduceat(values, offsets[:-1]) if len(offsets) > 1 else np.zeros(0)
