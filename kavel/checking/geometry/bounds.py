"""How much room objects take."""

from __future__ import annotations

from dataclasses import replace

import numpy as np

from kavel.view import Mesh, Scene
from kavel.view.mesh import Reals


def below(scene: Scene, path: str) -> list[str]:
    """The object and everything below it, parents first."""
    found = [path]
    for item in found:
        found.extend(scene.children(item))
    return found


def placed(mesh: Mesh, matrix: Reals) -> Mesh:
    """The mesh with its points in the world, by its world `matrix` (4, 4)."""
    with np.errstate(invalid="ignore", over="ignore"):
        return replace(mesh, points=mesh.points @ matrix[:3, :3].T + matrix[:3, 3])


def world_points(scene: Scene, path: str) -> Reals:
    """(P, 3) the finite points of the object's own mesh, in the world."""
    mesh = scene.mesh(path)
    if mesh is None:
        return np.zeros((0, 3))
    points = placed(mesh, scene.shown_matrix(path)).points
    return np.asarray(points[np.isfinite(points).all(axis=1)])


def world_bounds(scene: Scene, path: str) -> tuple[Reals, Reals] | None:
    """The lowest and the highest corner (3,) of what the object and all below it show; none when
    they show nothing."""
    lows, highs = [], []
    for item in below(scene, path):
        points = world_points(scene, item)
        if len(points):
            lows.append(points.min(axis=0))
            highs.append(points.max(axis=0))
    if not lows:
        return None
    return np.min(lows, axis=0), np.max(highs, axis=0)
