"""The open scene as checks use it, whatever the application."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from contextvars import ContextVar
from dataclasses import dataclass
from typing import Any, Literal, Protocol

import numpy as np

from kavel.view.mesh import Indices, Mesh, Reals


@dataclass(frozen=True)
class Transform:
    """An object's placement below its parent: scaled, rotated, then moved.

    translation: (3,) metres. rotation: (4,) unit quaternion x, y, z, w. scale: (3,).
    sheared: the application's own matrix holds a shear that these three cannot express.
    """

    translation: Reals
    rotation: Reals
    scale: Reals
    sheared: bool = False

    @property
    def matrix(self) -> Reals:
        """(4, 4), column vectors."""
        x, y, z, w = self.rotation
        result = np.eye(4)
        result[:3, :3] = [
            [1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)],
            [2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)],
            [2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)],
        ]
        result[:3, :3] *= self.scale
        result[:3, 3] = self.translation
        return result


@dataclass(frozen=True)
class Selection:
    """What to select of one object: the whole object, or some of its elements.

    elements: indices into the points, the faces, or (E, 2) pairs of points for edges.
    """

    path: str
    kind: Literal["object", "points", "edges", "faces"] = "object"
    elements: Indices | None = None


class Scene(Protocol):
    """Paths are the operator's. What is asked of a path that is not there raises KeyError."""

    @property
    def file(self) -> str:
        """The scene's file, absolute; "" while it has none."""

    @property
    def is_saved(self) -> bool:
        """Whether the file holds the scene as it is now."""

    @property
    def unit(self) -> float:
        """Metres per scene unit."""

    @property
    def up_axis(self) -> str:
        """Which axis points up: "x", "y" or "z"."""

    @property
    def lods_by_order(self) -> bool:
        """Whether the children of a LOD group without numbers are its levels, finest first."""

    def paths(self) -> list[str]:
        """Every object, parents before children."""

    def exists(self, path: str) -> bool: ...
    def name(self, path: str) -> str: ...
    def type(self, path: str) -> str:
        """One of `core.Constants.Scene.Type`."""

    def parent(self, path: str) -> str | None: ...
    def children(self, path: str) -> Sequence[str]: ...
    def transform(self, path: str) -> Transform: ...

    def world_matrix(self, path: str) -> Reals:
        """(4, 4), from object space to the world, column vectors."""

    def shown_matrix(self, path: str) -> Reals:
        """(4, 4), from the points of an object's mesh to where they are shown: the world matrix,
        but for a skin that places them by its joints."""

    def mesh(self, path: str) -> Mesh | None:
        """None for an object without a mesh. The same Mesh until the object's mesh changes."""

    def is_deformed(self, path: str) -> bool:
        """Whether a skin, a blend shape or an animation depends on the object's points or
        placement, so that neither may be changed by a fix."""

    def skin_role(self, path: str) -> Literal["", "mesh", "joint"]:
        """What an object is to a skin. "mesh": the skin's joints place the points of its mesh, and
        its own transform does not. "joint": it places points of others, and the skin undoes what
        its transform is at rest. "": neither."""

    def attached(self, path: str) -> str:
        """What else than faces and children stands where the object's transform puts it, as in
        "a camera" or "lines", or refers to the object; "" for nothing. It would be left behind by a
        fix that moves the transform into points."""

    def shares_mesh(self, path: str) -> bool:
        """Whether other objects show the same mesh, so that changing its points changes them."""

    def set_transform(self, path: str, transform: Transform) -> None: ...

    def set_mesh(self, path: str, mesh: Mesh) -> None:
        """Replaces points, faces, normals, UV sets and slots of faces.

        Errors: ValueError, with nothing changed, for arrays that do not fit together, or for a
        change that the host cannot express (it says which).
        """

    def select(self, selections: Sequence[Selection]) -> None:
        """Selects in the application; a host without elements selects the objects."""


class EditableScene(Scene, Protocol):
    """A scene whose edits can be listed and taken back, for example to try a fix."""

    def snapshot(self) -> Any:
        """The scene as it is now; cheap, and valid until another file is opened."""

    def restore(self, snapshot: Any) -> None:
        """Takes back every edit since `snapshot`."""

    def changes(self, since: Any = None) -> dict[str, list[str]]:
        """What differs from `since`, or from the scene as it was opened: by path, in words such as
        "transform", "points", "faces", "normals"."""


_scene: ContextVar[Scene] = ContextVar("kavel scene")


def current() -> Scene:
    """The scene that is being validated. Errors: LookupError outside of a validation."""
    return _scene.get()


@contextmanager
def use(scene: Scene) -> Iterator[None]:
    """Makes `scene` the current one inside the block."""
    token = _scene.set(scene)
    try:
        yield
    finally:
        _scene.reset(token)
