"""The mesh of one scene object, in the object's own space."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any

import numpy as np
import numpy.typing as npt

Reals = npt.NDArray[np.float64]
Indices = npt.NDArray[np.int64]


@dataclass(frozen=True)
class Image:
    """A texture image. `width` and `height` are pixels, 0 when they are not known; `missing` says
    that the file or the embedded data is not there or not readable."""

    name: str
    width: int = 0
    height: int = 0
    missing: bool = False


@dataclass(frozen=True)
class Material:
    """What one material slot refers to; `images` by their use ("base color", "normal", ...)."""

    name: str
    images: dict[str, Image] = field(default_factory=dict)


@dataclass
class Mesh:
    """Polygons over shared points. P points, F faces, C face corners, S material slots.

    Points that a file splits only because a normal or a texture coordinate differs on both sides
    are one point here; `handles` leads back to the file's own numbering. Corner values keep the
    difference. A check must not write into the arrays: it replaces the mesh (`Scene.set_mesh`).

    points: (P, 3) float64, metres, object space.
    corners: (C,) int64, the point of each corner, face after face.
    offsets: (F + 1,) int64; face f has corners `offsets[f]` to `offsets[f + 1]` (at least 3).
    normals: (C, 3) float64 as stored, not normalised; none when the mesh has no normals.
    uv_sets: by name, in order; (C, 2) float64 each.
    materials: (F,) int64, the slot of each face; -1 for none.
    slots: S entries; none for an empty slot.
    handles: what the host that made the mesh needs to find its own elements again.
    """

    points: Reals
    corners: Indices
    offsets: Indices
    normals: Reals | None = None
    uv_sets: dict[str, Reals] = field(default_factory=dict)
    materials: Indices | None = None
    slots: list[Material | None] = field(default_factory=list)
    handles: Any = None

    @property
    def face_count(self) -> int:
        return len(self.offsets) - 1

    @property
    def face_sizes(self) -> Indices:
        """(F,) int64, the number of corners of each face."""
        return np.diff(self.offsets)

    @property
    def corner_faces(self) -> Indices:
        """(C,) int64, the face of each corner."""
        return np.repeat(np.arange(self.face_count, dtype=np.int64), self.face_sizes)

    @property
    def next_corners(self) -> Indices:
        """(C,) int64, the following corner around the same face."""
        following = np.arange(1, len(self.corners) + 1, dtype=np.int64)
        following[self.offsets[1:] - 1] = self.offsets[:-1]
        return following
