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
    """Which parts of a mesh differ; ["mesh"] when only one of the two is there."""
    if before is after:
        return []
    if before is None or after is None:
        return ["mesh"]
    faces = _equal(before.corners, after.corners) and _equal(before.offsets, after.offsets)
    uv_sets = list(before.uv_sets) == list(after.uv_sets) and all(
        _equal(values, after.uv_sets[name]) for name, values in before.uv_sets.items()
    )
    same = {
        "points": _equal(before.points, after.points),
        "faces": faces,
        "normals": _equal(before.normals, after.normals),
        "UV sets": uv_sets,
        "materials": _equal(before.materials, after.materials) and before.slots == after.slots,
    }
    return [part for part, equal in same.items() if not equal]


def _equal(before: Any, after: Any) -> bool:
    if before is None or after is None:
        return before is after
    # A value that is no number is equal to itself here: it did not change.
    return bool(np.array_equal(before, after, equal_nan=before.dtype.kind == "f"))
