"""A scene that exists in memory only."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass, replace
from typing import Any, Literal

import numpy as np

import core
from kavel.testing.operator import MemoryOperator
from kavel.testing.shapes import polygons
from kavel.view import Mesh, Selection, Transform
from kavel.view.changes import mesh_changes, transform_changes
from kavel.view.mesh import Reals

_Type = core.Constants.Scene.Type
_TYPES = (_Type.Transform, _Type.Mesh, _Type.Locator, _Type.LodGroup)


@dataclass(frozen=True)
class _Object:
    """One object; replaced as a whole by every edit, so that a snapshot is a copy of the table."""

    name: str
    type: str  # "" for what its mesh and its children make of it
    parent: str | None
    transform: Transform
    deformed: bool
    attached: str
    skin: Literal["", "mesh", "joint"]
    mesh: int | None  # key in the table of meshes; objects with the same key share the mesh


@dataclass(frozen=True)
class _State:
    objects: dict[str, _Object]
    meshes: dict[int, Mesh]
    is_saved: bool


class MemoryScene(MemoryOperator):
    """A scene for tests: what a check sees of it (`kavel.view.Scene`), and the operator that the
    core works with, in one object.

        scene = (
            MemoryScene(up_axis="z")
            .add("hero")
            .add("hero/body", box(slots=["cloth"]), scale=(1, 1, 2))
            .add("hero/rest", points=[...], faces=[(0, 1, 2)])
            .add_lods("hero/head", [grid(4, 4), grid(2, 2)])
        )

    A path is the chain of names, joined by "/". Objects on the way that are not there yet are added
    as groups. Editing clears `is_saved`.
    """

    def __init__(
        self,
        file: str = "/project/scene.mem",
        unit: float = 1.0,
        up_axis: str = "y",
        is_saved: bool | None = None,
    ) -> None:
        """`file` is "" for a scene without a file, which is then not saved either; `unit` is metres
        per scene unit.

        Errors: ValueError for another axis than "x", "y" or "z", or a unit that is not positive.
        """
        super().__init__()
        if up_axis not in ("x", "y", "z"):
            raise ValueError(f'the up axis is "x", "y" or "z", not {up_axis!r}')
        if not unit > 0:
            raise ValueError(f"the unit is {unit}; a scene unit has a positive length")
        self.file = file
        self.unit = unit
        self.lods_by_order = True
        self.up_axis = up_axis
        self.is_saved = bool(file) if is_saved is None else is_saved
        #: What was selected last through the view, elements included.
        self.selections: list[Selection] = []
        self._objects: dict[str, _Object] = {}
        self._meshes: dict[int, Mesh] = {}
        self._next_key = 0
        self._opened: _State | None = None  # as it was before the first edit

    # Building

    def add(
        self,
        path: str,
        mesh: Mesh | None = None,
        *,
        mesh_of: str | None = None,
        name: str | None = None,
        type: str = "",
        translation: Sequence[float] = (0.0, 0.0, 0.0),
        rotation: Sequence[float] = (0.0, 0.0, 0.0, 1.0),
        scale: Sequence[float] = (1.0, 1.0, 1.0),
        sheared: bool = False,
        deformed: bool = False,
        attached: str = "",
        skin: Literal["", "mesh", "joint"] = "",
        **parts: Any,
    ) -> MemoryScene:
        """Add an object and return the scene.

        Its mesh is `mesh`, or made of `parts` such as points=... and faces=..., which are those of
        `kavel.testing.polygons`, or the one of the object `mesh_of`, then shared with it. `name` is
        the shown name where it is not the last part of the path, as with siblings of one name.
        `type` is a unified type; without it, a mesh makes "mesh", children "transform", and neither
        "locator". `rotation` is a quaternion x, y, z, w. `deformed`: a skin or an animation depends
        on the object. `attached`: what else it carries, as in "a camera". `skin`: what the object
        is to a skin (`skin_role`); the points of its "mesh" are shown where they are in the world.

        Errors: ValueError for a path that is taken or malformed, an unknown type, a mesh given
        twice, or parts that do not fit together; KeyError when `mesh_of` is not there; TypeError
        for parts that a mesh does not have.
        """
        self._require_free(path)
        if type and type not in _TYPES:
            raise ValueError(f"{type!r} is not one of the types {', '.join(map(str, _TYPES))}")
        if parts and mesh is not None:
            raise ValueError(f"{path}: {', '.join(parts)} and a mesh are given")
        key = self._mesh_key(path, polygons(**parts) if parts else mesh, mesh_of)
        placed = _transform(translation, rotation, scale, sheared)
        parent, _, last = path.rpartition("/")
        if parent and parent not in self._objects:
            self.add(parent)
        shown = last if name is None else name
        item = _Object(shown, type, parent or None, placed, deformed, attached, skin, key)
        self._objects[path] = item
        self._opened = None
        return self

    def add_lods(
        self, path: str, levels: Sequence[Mesh], pattern: str = "{name}_LOD{level}"
    ) -> MemoryScene:
        """Add a LOD group with one mesh object per level, finest first, and return the scene."""
        self.add(path, type=_Type.LodGroup)
        for level, mesh in enumerate(levels):
            name = pattern.format(name=self.name(path), level=level)
            self.add(f"{path}/{name}", mesh)
        return self

    def remove(self, path: str) -> None:
        """Delete an object with everything below it, as a user would; this is an edit."""
        self._begin_edit(path)
        for other in [path, *(other for other in self._objects if other.startswith(f"{path}/"))]:
            del self._objects[other]

    def _mesh_key(self, path: str, mesh: Mesh | None, mesh_of: str | None) -> int | None:
        if mesh is None:
            return None if mesh_of is None else self._object(mesh_of).mesh
        if mesh_of is not None:
            raise ValueError(f"{path}: give a mesh, or the object to share one with")
        self._next_key += 1
        self._meshes[self._next_key] = mesh.checked()
        return self._next_key

    def _require_free(self, path: str) -> None:
        if not path or not all(path.split("/")):
            raise ValueError(f'{path!r} is no path: names joined by "/", as in "hero/body"')
        if path in self._objects:
            raise ValueError(f"{path} is there already")

    # The view

    @property
    def view(self) -> MemoryScene:
        return self

    def paths(self) -> list[str]:
        result: list[str] = []
        below: dict[str | None, list[str]] = {}
        for path, item in self._objects.items():
            below.setdefault(item.parent, []).append(path)
        stack = below.get(None, [])[::-1]
        while stack:
            path = stack.pop()
            result.append(path)
            stack.extend(reversed(below.get(path, [])))
        return result

    def exists(self, path: str) -> bool:
        return path in self._objects

    def name(self, path: str) -> str:
        return self._object(path).name

    def type(self, path: str) -> str:
        item = self._object(path)
        if item.type:
            return item.type
        if item.mesh is not None:
            return _Type.Mesh
        return _Type.Transform if self._children_of(path) else _Type.Locator

    def parent(self, path: str) -> str | None:
        return self._object(path).parent

    def children(self, path: str) -> list[str]:
        self._object(path)
        return self._children_of(path)

    def transform(self, path: str) -> Transform:
        return self._object(path).transform

    def world_matrix(self, path: str) -> Reals:
        item = self._object(path)
        matrix = item.transform.matrix
        while item.parent is not None:
            item = self._objects[item.parent]
            matrix = item.transform.matrix @ matrix
        return matrix

    def shown_matrix(self, path: str) -> Reals:
        return np.eye(4) if self.skin_role(path) == "mesh" else self.world_matrix(path)

    def mesh(self, path: str) -> Mesh | None:
        key = self._object(path).mesh
        return None if key is None else self._meshes[key]

    def is_deformed(self, path: str) -> bool:
        item = self._object(path)
        return item.deformed or item.skin != ""

    def skin_role(self, path: str) -> Literal["", "mesh", "joint"]:
        return self._object(path).skin

    def attached(self, path: str) -> str:
        return self._object(path).attached

    def shares_mesh(self, path: str) -> bool:
        key = self._object(path).mesh
        users = sum(item.mesh == key for item in self._objects.values())
        return key is not None and users > 1

    def set_transform(self, path: str, transform: Transform) -> None:
        """Errors: ValueError for values that are no numbers or not as many as they should be."""
        parts = (transform.translation, transform.rotation, transform.scale)
        placed = _transform(*parts, transform.sheared)
        self._begin_edit(path)
        self._objects[path] = replace(self._object(path), transform=placed)

    def set_mesh(self, path: str, mesh: Mesh) -> None:
        key = self._object(path).mesh
        if key is None:
            raise ValueError(f"{path} has no mesh that could be replaced")
        mesh = mesh.checked()
        self._begin_edit(path)
        self._meshes[key] = mesh

    # Edits

    def save(self) -> None:
        """Errors: ValueError for a scene without a file."""
        if not self.file:
            raise ValueError("the scene has no file to be saved to")
        self.is_saved = True

    def snapshot(self) -> _State:
        return _State(dict(self._objects), dict(self._meshes), self.is_saved)

    def restore(self, snapshot: _State) -> None:
        self._objects = dict(snapshot.objects)
        self._meshes = dict(snapshot.meshes)
        self.is_saved = snapshot.is_saved

    def changes(self, since: _State | None = None) -> dict[str, list[str]]:
        before = self._opened if since is None else since
        if before is None:
            return {}
        result = {}
        for path, item in self._objects.items():
            old = before.objects.get(path)
            if old is None:
                result[path] = ["added"]
                continue
            words = transform_changes(old.transform, item.transform)
            words += mesh_changes(*_mesh_of(before.meshes, old), *_mesh_of(self._meshes, item))
            if words:
                result[path] = words
        return {**result, **{path: ["removed"] for path in before.objects.keys() - self._objects}}

    def _begin_edit(self, path: str) -> None:
        self._object(path)
        if self._opened is None:
            self._opened = self.snapshot()
        self.is_saved = False

    def _object(self, path: str | None) -> _Object:
        if path not in self._objects:
            known = ", ".join(list(self._objects)[:5])
            raise KeyError(f"no object at {path!r}; there are " + (known or "none at all"))
        return self._objects[path]

    def _children_of(self, path: str | None) -> list[str]:
        return [child for child, item in self._objects.items() if item.parent == path]


def _mesh_of(meshes: dict[int, Mesh], item: _Object) -> list[Mesh | None]:
    return [None if item.mesh is None else meshes[item.mesh]]


def _transform(translation: Any, rotation: Any, scale: Any, sheared: bool) -> Transform:
    return Transform(
        translation=_numbers("translation", translation, 3),
        rotation=_numbers("rotation", rotation, 4),
        scale=_numbers("scale", scale, 3),
        sheared=sheared,
    )


def _numbers(name: str, given: Any, count: int) -> Reals:
    values = np.array(given, np.float64)
    if values.shape != (count,) or not np.isfinite(values).all():
        raise ValueError(f"a {name} is {count} numbers, not {given}")
    values.setflags(write=False)
    return values
