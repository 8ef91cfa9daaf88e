"""Moving an object's transform into its mesh and its children."""

from __future__ import annotations

from dataclasses import dataclass, field

import numpy as np

from kavel.checking.geometry.editing import transformed
from kavel.checking.geometry.transforms import taken_apart
from kavel.checking.reporting import edit_conflict
from kavel.view import Mesh, Scene, Transform


@dataclass(frozen=True)
class Frozen:
    """What is to be done. `words` tell what is not frozen, none when all is; `conflict` why nothing
    may be done about it. `transforms` by path, the object's own among them."""

    words: list[str] = field(default_factory=list)
    conflict: str = ""
    path: str = ""
    mesh: Mesh | None = None
    matrix: np.ndarray | None = None
    transforms: dict[str, Transform] = field(default_factory=dict)

    def apply(self, scene: Scene) -> None:
        """Does nothing when there is a conflict. The mesh is first, since a host may refuse it."""
        if not self.words or self.conflict:
            return
        if self.mesh is not None and self.matrix is not None:
            scene.set_mesh(self.path, transformed(self.mesh, self.matrix))
        for path, transform in self.transforms.items():
            scene.set_transform(path, transform)


def frozen(
    scene: Scene, path: str, translation: bool, rotation: bool, scale: bool, tolerance: float
) -> Frozen:
    """What freezing the chosen parts of the transform of `path` takes."""
    old = scene.transform(path)
    words = _words(old, translation, rotation, scale, tolerance)
    if not words:
        return Frozen()
    new = Transform(
        np.zeros(3) if translation else old.translation,
        np.array([0.0, 0.0, 0.0, 1.0]) if rotation else old.rotation,
        np.ones(3) if scale else old.scale,
    )
    children = scene.children(path)
    conflict = edit_conflict(scene, path) or _conflict(old, new)
    for child in children:
        if not conflict and scene.is_deformed(child):
            conflict = f"a skin, a blend shape or an animation depends on {scene.name(child)}"
    if conflict:
        return Frozen(words, conflict)
    matrix = np.linalg.inv(new.matrix) @ old.matrix
    transforms = {path: new}
    for child in children:
        moved = taken_apart(matrix @ scene.transform(child).matrix)
        if moved is None or scene.transform(child).sheared:
            return Frozen(words, f"{scene.name(child)} below it would be sheared")
        transforms[child] = moved
    return Frozen(words, "", path, scene.mesh(path), matrix, transforms)


def _words(
    old: Transform, translation: bool, rotation: bool, scale: bool, tolerance: float
) -> list[str]:
    words = []
    # Written so that what is not a number counts as not frozen.
    if translation and not np.abs(old.translation).max() <= tolerance:
        words.append("moved")
    angle = 2 * np.arctan2(np.linalg.norm(old.rotation[:3]), abs(old.rotation[3]))
    if rotation and not angle <= tolerance:
        words.append("rotated")
    if scale and not np.abs(old.scale - 1).max() <= tolerance:
        words.append("scaled")
    return words


def _conflict(old: Transform, new: Transform) -> str:
    if old.sheared:
        return "its transform holds a shear"
    if not np.isfinite(old.matrix).all():
        return "its transform holds what is not a number"
    sizes = np.abs(np.concatenate([old.scale, new.scale]))
    return "its scale is zero" if sizes.min() < 1e-9 else ""
