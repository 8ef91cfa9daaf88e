"""Placements taken apart and put together."""

from __future__ import annotations

import numpy as np

from kavel.view import Transform
from kavel.view.mesh import Reals


def taken_apart(matrix: Reals, tolerance: float = 1e-6) -> Transform | None:
    """The transform with this (4, 4) matrix; none when it has a shear, is flat, or not finite.

    A mirroring becomes a negative scale along x.
    """
    # Loading it takes longer than most checks run, and few need it.
    from scipy.spatial.transform import Rotation

    linear = matrix[:3, :3]
    if not np.isfinite(matrix).all():
        return None
    scale = np.linalg.norm(linear, axis=0)
    if scale.min() < np.finfo(np.float32).tiny or scale.min() < scale.max() * tolerance:
        return None
    if np.linalg.det(linear / scale) < 0:
        scale = scale * (-1.0, 1.0, 1.0)
    axes = linear / scale
    if np.abs(axes.T @ axes - np.eye(3)).max() > tolerance:
        return None
    return Transform(matrix[:3, 3].copy(), Rotation.from_matrix(axes).as_quat(), scale)
