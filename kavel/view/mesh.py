"""The mesh of one scene object, in the object's own space."""

from __future__ import annotations

from dataclasses import dataclass, field, replace
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
    """What one material slot refers to; `images` by their use ("base color", "normal", ...).

    `handle` is how the host tells it from others that look the same here; none when it cannot.
    """

    name: str
    images: dict[str, Image] = field(default_factory=dict)
    handle: Any = None


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

    def checked(self) -> Mesh:
        """A mesh of the same content whose arrays have the stated types and cannot be written to.

        Errors: ValueError, saying which, for arrays that do not fit together.
        """
        points = _array("points", self.points, np.float64, None, 3)
        corners = _array("corners", self.corners, np.int64, None)
        offsets = _array("offsets", self.offsets, np.int64, None)
        if not len(offsets) or offsets[0] != 0 or offsets[-1] != len(corners):
            raise ValueError(f"offsets do not run from 0 to the {len(corners)} corners")
        if np.any(np.diff(offsets) < 3):
            raise ValueError(f"face {int(np.argmin(np.diff(offsets)))} has less than 3 corners")
        _require_range("corners", corners, 0, len(points), "points")
        count = len(corners)
        normals, materials = self.normals, self.materials
        if normals is not None:
            normals = _array("normals", normals, np.float64, count, 3)
        if materials is not None:
            materials = _array("materials", materials, np.int64, len(offsets) - 1)
            _require_range("materials", materials, -1, len(self.slots), "slots")
        uv_sets = {
            name: _array(f'UV set "{name}"', values, np.float64, count, 2)
            for name, values in self.uv_sets.items()
        }
        return replace(
            self,
            points=points,
            corners=corners,
            offsets=offsets,
            normals=normals,
            uv_sets=uv_sets,
            materials=materials,
            slots=list(self.slots),
        )


def _array(what: str, values: Any, kind: Any, length: int | None, width: int = 0) -> Any:
    """`values` as a read-only array of (length,), or (length, width)."""
    array = np.asarray(values)
    if kind is np.int64 and array.size and array.dtype.kind not in "iu":
        raise ValueError(f"{what} are no whole numbers")
    if array.dtype != kind or array.flags.writeable:
        array = array.astype(kind)  # a copy, which nobody else can write to
        array.setflags(write=False)
    shape = (len(array) if length is None and array.ndim else length, *([width] if width else []))
    if array.shape != shape:
        wanted = "any number of rows" if length is None else f"{length} rows"
        columns = f" of {width}" if width else ""
        raise ValueError(f"{what} have the shape {array.shape} instead of {wanted}{columns}")
    return array


def _require_range(what: str, values: Indices, low: int, end: int, of: str) -> None:
    if len(values) and (values.min() < low or values.max() >= end):
        bad = int(values[np.argmax((values < low) | (values >= end))])
        raise ValueError(f"{what} refer to {bad}, and there are {end} {of}")
