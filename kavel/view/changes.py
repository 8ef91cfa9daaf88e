"""Telling in words what differs between two states of an object."""

from __future__ import annotations

from typing import Any

import numpy as np

from kavel.view.mesh import Mesh
from kavel.view.scene import Transform


def transform_changes(before: Transform, after: Transform) -> list[str]:
    """["transform"] when the two place an object differently, else nothing."""
    same = before.sheared == after.sheared and all(
        np.array_equal(getattr(before, part), getattr(after, part))
        for part in ("translation", "rotation", "scale")
    )
    return [] if same else ["transform"]


def mesh_changes(before: Mesh | None, after: Mesh | None) -> list[str]:
    """Which parts of a mesh differ: "points", "faces", "normals", "UV sets", "materials"; or "mesh"
    when only one of the two is there.

    What belongs to corners and faces is compared only between the same number of faces: where some
    were removed, "faces" says it.
    """
    if before is after:
        return []
    if before is None or after is None:
        return ["mesh"]
    same_faces = _equal(before.corners, after.corners) and _equal(before.offsets, after.offsets)
    differ = {"points": not _equal(before.points, after.points), "faces": not same_faces}
    if _equal(before.offsets, after.offsets):
        # A face that was turned round keeps its values, at corners in another order.
        first, second = (slice(None) if same_faces else _order(mesh) for mesh in (before, after))
        names = list(dict.fromkeys([*before.uv_sets, *after.uv_sets]))
        differ["normals"] = not _equal(before.normals, after.normals, first, second)
        differ["UV sets"] = list(before.uv_sets) != list(after.uv_sets) or not all(
            _equal(before.uv_sets[name], after.uv_sets[name], first, second) for name in names
        )
        differ["materials"] = not _equal(before.materials, after.materials)
    differ["materials"] = differ.get("materials", False) or before.slots != after.slots
    return [part for part, changed in differ.items() if changed]


def _order(mesh: Mesh) -> Any:
    """(C,) the corners, face after face, sorted by their point within each."""
    return np.lexsort((mesh.corners, mesh.corner_faces))


def _equal(before: Any, after: Any, first: Any = slice(None), second: Any = slice(None)) -> bool:
    if before is None or after is None:
        return before is after
    # A value that is no number is equal to itself here: it did not change.
    numbers = before.dtype.kind == "f"
    return bool(np.array_equal(before[first], after[second], equal_nan=numbers))
