"""Meshes that cannot be read: what can be said of a scene all the same."""

from __future__ import annotations

from kavel.checking.reporting import counted, listing
from kavel.errors import SceneError
from kavel.view import Mesh, Scene


class Readable:
    """The `meshes` of a scene that can be read, by the paths of all objects that show them.

    A check that counts over the whole scene reports what is too much already, and calls
    `require_all` before it says that all is well.
    """

    def __init__(self, scene: Scene) -> None:
        self.meshes: dict[str, Mesh] = {}
        self._others: dict[str, SceneError] = {}
        for path in scene.paths():
            try:
                mesh = scene.mesh(path)
            except SceneError as error:
                self._others[path] = error
                continue
            if mesh is not None:
                self.meshes[path] = mesh

    def require_all(self) -> None:
        """Errors: SceneError when there are meshes that cannot be read, with the first reason."""
        for error in self._others.values():
            paths = list(self._others)
            which = f"{counted(len(paths), 'object')} with a mesh that cannot be read"
            text = f"{which}: {listing(paths)}. {error.message}"
            raise SceneError(error.file, text, error.place)


def shows_faces(scene: Scene, path: str) -> bool:
    """Whether an object or what is below it has faces. What cannot be read counts as having."""
    stack = [path]
    while stack:
        item = stack.pop()
        try:
            mesh = scene.mesh(item)
        except SceneError:
            return True
        if mesh is not None and mesh.face_count:
            return True
        stack.extend(scene.children(item))
    return False
