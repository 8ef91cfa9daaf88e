"""The placement of glTF nodes, as parts or as a matrix."""

from __future__ import annotations

from typing import Any

import numpy as np

from kavel.gltf.lookup import Lookup
from kavel.view import Transform
from kavel.view.mesh import Reals

_PARTS = {
    "translation": (0.0, 0.0, 0.0),
    "rotation": (0.0, 0.0, 0.0, 1.0),
    "scale": (1.0, 1.0, 1.0),
}
_IDENTITY = tuple(np.eye(4).ravel().tolist())
# Exporters store single precision: what differs by less is the same matrix.
_SAME = 1e-5


def read_transform(look: Lookup, node: dict[str, Any], place: str) -> Transform:
    """Errors: SceneError for values that are no placement: too few numbers, a rotation of length
    0, a matrix with a perspective."""
    if "matrix" in node:
        matrix = look.numbers(node, "matrix", place, _IDENTITY).reshape(4, 4).T
        if not np.array_equal(matrix[3], (0, 0, 0, 1)):
            raise look.error(f"{place}.matrix", "is no placement: its last row is not 0, 0, 0, 1")
        return decomposed(matrix)
    parts = {key: look.numbers(node, key, place, default) for key, default in _PARTS.items()}
    length = float(np.linalg.norm(parts["rotation"]))
    if length < 1e-6:
        raise look.error(f"{place}.rotation", "is a quaternion of length 0")
    if abs(length - 1.0) > 1e-6:  # what single precision leaves is no reason to touch the numbers
        parts["rotation"] = parts["rotation"] / length
    for values in parts.values():
        values.setflags(write=False)
    return Transform(parts["translation"], parts["rotation"], parts["scale"])


def decomposed(matrix: Reals) -> Transform:
    """The parts of a (4, 4) matrix of column vectors; `sheared` when they do not make it up.

    A mirroring becomes a negative scale along x.
    """
    scale = np.linalg.norm(matrix[:3, :3], axis=0)
    if np.linalg.det(matrix[:3, :3]) < 0:
        scale[0] = -scale[0]
    axes = np.eye(3)
    np.divide(matrix[:3, :3], scale, out=axes, where=scale != 0)
    # The nearest rotation: axes that are not at right angles are a shear, and told below.
    left, _, right = np.linalg.svd(axes)
    turned = left @ np.diag([1.0, 1.0, np.sign(np.linalg.det(left @ right)) or 1.0]) @ right
    result = Transform(matrix[:3, 3].copy(), _quaternion(turned), scale)
    error = np.abs(result.matrix - matrix).max()
    sheared = bool(error > _SAME * max(1.0, float(np.abs(matrix).max())))
    return Transform(result.translation, result.rotation, result.scale, sheared)


def sound_transform(transform: Transform) -> Transform:
    """`transform` as read-only numbers. Errors: ValueError for a shear, or for what is no
    placement."""
    if transform.sheared:
        raise ValueError("a shear cannot be stored as translation, rotation and scale")
    parts = []
    for key, default in _PARTS.items():
        values = np.array(getattr(transform, key), np.float64)
        if values.shape != (len(default),) or not np.isfinite(values).all():
            raise ValueError(f"a {key} is {len(default)} numbers, not {getattr(transform, key)}")
        values.setflags(write=False)
        parts.append(values)
    if abs(np.linalg.norm(parts[1]) - 1.0) > _SAME:
        raise ValueError(f"a rotation is a unit quaternion, not {transform.rotation}")
    return Transform(parts[0], parts[1], parts[2])


def write_transform(node: dict[str, Any], old: Transform, new: Transform) -> None:
    """Puts `new` into a node that stands at `old`; what stays equal stays as it is written."""
    as_matrix = node.pop("matrix", None) is not None
    for key, default in _PARTS.items():
        values = getattr(new, key)
        if np.array_equal(values, getattr(old, key)) and not as_matrix:
            continue
        if np.array_equal(values, default):
            node.pop(key, None)
        else:
            node[key] = [float(value) for value in values]


def _quaternion(turn: Reals) -> Reals:
    """x, y, z, w of a (3, 3) rotation."""
    # Each row is the wanted quaternion times one of its own parts; the longest is most exact.
    (a, b, c), (d, e, f), (g, h, i) = turn
    rows = np.array(
        [
            (1 + a - e - i, b + d, c + g, h - f),
            (b + d, 1 - a + e - i, f + h, c - g),
            (c + g, f + h, 1 - a - e + i, d - b),
            (h - f, c - g, d - b, 1 + a + e + i),
        ]
    )
    row = rows[np.argmax(np.linalg.norm(rows, axis=1))]
    row = row / np.linalg.norm(row)
    return row if row[3] >= 0 else -row  # type: ignore[no-any-return]
