"""Moving an object's transform into its mesh and its children."""

from __future__ import annotations

from dataclasses import dataclass, field

import numpy as np

from kavel.checking.geometry.editing import transformed
from kavel.checking.geometry.transforms import taken_apart
from kavel.checking.reading import shows_faces
from kavel.checking.reporting import edit_conflict
from kavel.errors import SceneError
from kavel.view import Mesh, Scene, Transform


@dataclass(frozen=True)
class Frozen:
    """What is to be done. `words` tell what is not frozen, none when all is; `conflict` why nothing
    may be done about it. `meshes`, each with a matrix for its points, and `transforms` by path."""

    words: list[str] = field(default_factory=list)
    conflict: str = ""
    meshes: dict[str, tuple[Mesh, np.ndarray]] = field(default_factory=dict)
    transforms: dict[str, Transform] = field(default_factory=dict)

    def apply(self, scene: Scene) -> None:
        """Does nothing when there is a conflict. Meshes are first, since a host may refuse one; the
        others are then as they were."""
        if not self.words or self.conflict:
            return
        done: list[str] = []
        try:
            for path, (mesh, matrix) in self.meshes.items():
                scene.set_mesh(path, transformed(mesh, matrix))
                done.append(path)
        except Exception:
            for path in done:
                scene.set_mesh(path, self.meshes[path][0])
            raise
        for path, transform in self.transforms.items():
            scene.set_transform(path, transform)


@dataclass(frozen=True)
class Parts:
    """Which parts of a transform are to be frozen. Smaller differences than `tolerance`, in metres,
    radians and share of the scale, are none."""

    translation: bool
    rotation: bool
    scale: bool
    tolerance: float

    def of(self, old: Transform) -> Transform:
        """`old` with these parts frozen."""
        return Transform(
            np.zeros(3) if self.translation else old.translation,
            np.array([0.0, 0.0, 0.0, 1.0]) if self.rotation else old.rotation,
            np.ones(3) if self.scale else old.scale,
        )


def frozen(scene: Scene, path: str, parts: Parts) -> Frozen:
    """What freezing these parts of the transform of `path` takes.

    What lies below takes the transform over. What was frozen there stays frozen, as far as it can.
    """
    old = scene.transform(path)
    words = _words(old, parts)
    if not words:
        return Frozen()
    conflict = _objection(scene, path, old, parts.of(old))
    if conflict:
        return Frozen(words, conflict)
    try:
        return _planned(scene, path, parts, words)
    except SceneError as error:
        return Frozen(words, f"a mesh cannot be read: {error.message}")


def _planned(scene: Scene, path: str, parts: Parts, words: list[str]) -> Frozen:
    """Errors: SceneError for a mesh that cannot be read."""
    plan = Frozen(words)
    old = scene.transform(path)
    stack = [(path, old)]  # what is to be frozen, and the transform that it would have otherwise
    while stack:
        item, stands = stack.pop()
        new = parts.of(stands)
        matrix = np.linalg.inv(new.matrix) @ stands.matrix
        plan.transforms[item] = new
        mesh = scene.mesh(item)
        if mesh is not None:
            plan.meshes[item] = mesh, matrix
        for child in scene.children(item):
            was = scene.transform(child)
            moved = taken_apart(matrix @ was.matrix)
            if moved is None or was.sheared:
                return Frozen(words, f"{scene.name(child)} below it would be sheared")
            if _words(was, parts) or _objection(scene, child, moved, parts.of(moved)):
                plan.transforms[child] = moved
            else:
                stack.append((child, moved))
    return plan


def _objection(scene: Scene, path: str, old: Transform, new: Transform) -> str:
    """Why the transform of an object must not be brought from `old` to `new`, or ""."""
    conflict = edit_conflict(scene, path) or _conflict(old, new)
    if conflict:
        return conflict
    left = scene.attached(path)
    if left:
        return f"the object also holds {left}, which would be left behind"
    for child in scene.children(path):
        if scene.is_deformed(child):
            return f"a skin, a blend shape or an animation depends on {scene.name(child)}"
    if not shows_faces(scene, path):
        return "there is no mesh to take it over; the placement is all that the object holds"
    return ""


def _words(old: Transform, parts: Parts) -> list[str]:
    words, tolerance = [], parts.tolerance
    # Written so that what is not a number counts as not frozen.
    if parts.translation and not np.abs(old.translation).max() <= tolerance:
        words.append("moved")
    angle = 2 * np.arctan2(np.linalg.norm(old.rotation[:3]), abs(old.rotation[3]))
    if parts.rotation and not angle <= tolerance:
        words.append("rotated")
    if parts.scale and not np.abs(old.scale - 1).max() <= tolerance:
        words.append("scaled")
    return words


def _conflict(old: Transform, new: Transform) -> str:
    if old.sheared:
        return "its transform holds a shear"
    if not np.isfinite(old.matrix).all():
        return "its transform holds what is not a number"
    sizes = np.abs(np.concatenate([old.scale, new.scale]))
    return "its scale is zero" if sizes.min() < 1e-9 else ""
