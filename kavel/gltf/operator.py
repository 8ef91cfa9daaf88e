"""The scene operator over glTF files."""

from __future__ import annotations

import json
import os
import re
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import TYPE_CHECKING, Any, ClassVar

import core
from kavel.errors import SceneError
from kavel.gltf.container import SceneFile
from kavel.gltf.exports import Exports
from kavel.gltf.graph import SceneGraph, build_graph
from kavel.gltf.paths import name_of

if TYPE_CHECKING:
    from kavel.gltf.view import GltfScene
    from kavel.view import Selection

_EXTRAS_KEY = "kavel"
_Type = core.Constants.Scene.Type


class GltfOperator(core.Scene.Operator):
    """One open glTF 2.0 file as the scene.

    Objects are the nodes of the file's default scene (of all scenes when it names none). Their
    paths are described in `kavel.gltf.paths`. Unified types, from what a node carries:

    - "lodGroup": a node with the extension MSFT_lod. With `lod_names`, also a node without a mesh
      whose name that regular expression matches from its start. The lower levels that MSFT_lod
      refers to are objects only where the file also lists them as children of some node.
    - "mesh": a node with a mesh.
    - "locator": a node with neither mesh nor children: an empty, the last bone of a chain, a
      camera, a light.
    - "transform": any other node.

    The scene root is not an object: top objects have no parent.

    Data embedded by the core is kept as one JSON text in the file's `asset.extras.kavel`, and
    reaches the disk with `save()`. There is no user to ask, so the dialogs answer what the operator
    was given: `directory_answer` and `file_answer`, none for "nothing chosen".
    """

    TYPE_MAPPING: ClassVar[dict[str, str]] = {
        "scene": _Type.SceneRoot,
        "group": _Type.Transform,
        "mesh": _Type.Mesh,
        "empty": _Type.Locator,
        "lod": _Type.LodGroup,
    }

    def __init__(
        self,
        lod_names: str | None = None,
        directory_answer: str | None = None,
        file_answer: str | None = None,
    ) -> None:
        """Errors: re.error when `lod_names` is not a regular expression."""
        super().__init__()
        self._lod_names = re.compile(lod_names) if lod_names else None
        #: What the directory dialog answers.
        self.directory_answer = directory_answer
        self._file_answer = file_answer
        self._file: SceneFile | None = None
        self._graph = SceneGraph()
        self._types: dict[str, str] = {}
        self._selection: list[str] = []
        #: What checks selected last, elements included, for a report to show.
        self.selections: list[Selection] = []
        self._view: GltfScene | None = None
        self._filedata: Any = None
        self._scene_opened: list[Callable[[], Any]] = []
        self._shutdown: list[Callable[[], Any]] = []
        #: The joints of the last scans by path, as the core announced them.
        self.joints: dict[str, Any] = {}
        #: What was exported, and how files are replaced.
        self.exports = Exports()
        #: Why the data embedded in the open file could not be read; "" when it could.
        self.filedata_problem = ""

    # The file

    def open(self, path: str) -> None:
        """Open a scene file in place of the one that is open, and tell the registered handlers.

        Errors: SceneError; the scene that was open stays open.
        """
        file = SceneFile(path)
        graph = build_graph(file.document, path, self._lod_names)
        self._file, self._graph = file, graph
        self.exports.open(file, graph)
        self._types = {path: self.TYPE_MAPPING[kind] for path, kind in graph.kinds.items()}
        self._selection, self.selections = [], []
        self._view = None
        self._filedata, self.filedata_problem = self._read_filedata(file)
        for function in list(self._scene_opened):
            function()

    def save(self) -> None:
        """Write the open file with the data embedded in it, and with what checks changed.

        Errors: SceneError when no scene is open, or the file cannot be written; it then stays as it
        was.
        """
        if self._file is None:
            raise SceneError("", "no scene is open")
        if self._view is None:
            self._file.save()
        else:
            self._view.save()

    def shutdown(self) -> None:
        """Tell the registered handlers that the application is about to close."""
        for function in list(self._shutdown):
            function()

    @property
    def graph(self) -> SceneGraph:
        return self._graph

    @property
    def view(self) -> GltfScene:
        """The open scene as checks use it; another one for each scene that is opened.

        Errors: SceneError when no scene is open.
        """
        if self._file is None:
            raise SceneError("", "no scene is open")
        if self._view is None:
            # Numerics and image formats are loaded where they are needed; a scan needs neither.
            from kavel.gltf.view import GltfScene

            self._view = GltfScene(self._file, self)
        return self._view

    def get_current_file(self) -> str | None:
        return os.path.abspath(self._file.path) if self._file else None

    # The hierarchy

    def object_exists(self, path: str) -> bool:
        return path in self._types

    def get_type(self, path: str) -> str:
        """An empty text when the object is not there; its parent is then none, and it has no
        children."""
        return self._types.get(path, "")

    def get_parent(self, path: str) -> str | None:
        return self._graph.parents.get(path)

    def get_children(self, path: str) -> tuple[str, ...]:
        return self._graph.children.get(path, ())

    def name_from_path(self, path: str) -> str:
        name = self._graph.names.get(path)
        return name_of(path) if name is None else name

    # The selection

    def get_selection(self) -> list[str]:
        return list(self._selection)

    def get_selection_roots(self) -> list[str]:
        return list(dict.fromkeys(self._graph.top(path) for path in self._selection))

    def select(self, *paths: str) -> None:
        """Paths of objects that are not there are left out, and repeated ones count once."""
        self.selections = []
        self._selection = [path for path in dict.fromkeys(paths) if path in self._types]

    @contextmanager
    def selection_manager(self) -> Iterator[None]:
        selection, selections = self._selection, self.selections
        try:
            yield
        finally:
            self.select(*selection)
            self.selections = selections

    # Events

    def register_scene_opened_callback(self, function: Callable[[], Any]) -> None:
        self._scene_opened.append(function)

    def register_shutdown_callback(self, function: Callable[[], Any]) -> None:
        self._shutdown.append(function)

    def delete_callbacks(self) -> None:
        self._scene_opened.clear()
        self._shutdown.clear()

    def postscript_scan_append(self, joint: Any) -> None:
        self.joints[joint.path] = joint

    def postscript_scan_remove(self, joint: Any) -> None:
        # The joint may be of an older scan than the one that stored this path last.
        path = joint.path
        if self.joints.get(path) is joint:
            del self.joints[path]

    # Dialogs and export

    def directory_dialog(self, starting: str = "~", caption: str = "") -> str | None:
        return self.directory_answer

    def file_dialog(
        self, starting: str = "~", caption: str = "", file_filter: str = ""
    ) -> str | None:
        return self._file_answer

    def export(
        self,
        roots: Any,
        file_path: str,
        type: str,
        args: Any,
        automatic_uv: bool = False,
        triangulate: bool = False,
        reset_xforms: bool = False,
    ) -> Any:
        """Write `roots` with all that is below them, and what they use, as "glb" or "gltf".

        `args` are values of that format's options (`kavel.gltf.exporting.settings`). What it came
        to is told in `exports`. Errors: SceneError with the reason; every file is then as it was.
        """
        # Numerics are loaded where they are needed; a scan needs none.
        from kavel.gltf.exporting.exporter import Geometry

        geometry = Geometry(automatic_uv, triangulate, reset_xforms)
        self.exports.export(list(roots), file_path, type, args, geometry, self._view)
        return core.Constants.Plugin.Status.Success

    # Embedded data

    def query_filedata(self) -> Any:
        return self._filedata

    def embed_filedata(self, data: Any) -> None:
        """Errors: SceneError when the file has no place for it, TypeError or ValueError when `data`
        is no JSON; what was embedded stays."""
        # Escaped, the text is plain ASCII and carries lone surrogates through any rewriting.
        text = json.dumps(data)
        self._extras(create=True)[_EXTRAS_KEY] = text
        self._filedata = json.loads(text)

    def erase_filedata(self) -> None:
        if self._file is not None:
            self._extras().pop(_EXTRAS_KEY, None)
        self._filedata = None

    def _extras(self, create: bool = False) -> dict[str, Any]:
        file = self._file
        if file is None:
            raise SceneError("", "no scene is open")
        asset = file.document["asset"]
        extras = asset.setdefault("extras", {}) if create else asset.get("extras", {})
        if isinstance(extras, dict):
            return extras
        if create:
            raise SceneError(file.path, "is not an object", "asset.extras")
        return {}

    def _read_filedata(self, file: SceneFile) -> tuple[Any, str]:
        extras = file.document["asset"].get("extras")
        text = extras.get(_EXTRAS_KEY) if isinstance(extras, dict) else None
        if text is None:
            return None, ""
        try:
            return json.loads(text), ""
        except (TypeError, ValueError, RecursionError) as error:
            return None, f"asset.extras.{_EXTRAS_KEY} is not readable: {error}"
