"""The operator's half of a scene in memory: what the core asks of an application."""

from __future__ import annotations

import json
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from typing import Any, ClassVar

import core
from kavel.view import Selection

_Type = core.Constants.Scene.Type


class MemoryOperator(core.Scene.Operator):
    """Answers the core from the view's questions, which the derived class answers.

    `select` takes paths, as the core passes them, or one sequence of `Selection`, as checks do.
    Dialogs answer `directory_answer` and `file_answer`; what was exported is in `exports`.
    """

    TYPE_MAPPING: ClassVar[dict[str, str]] = {
        str(value): value
        for value in (_Type.SceneRoot, _Type.Transform, _Type.Mesh, _Type.Locator, _Type.LodGroup)
    }

    file: str
    selections: list[Selection]

    def __init__(self) -> None:
        super().__init__()
        self.directory_answer: str | None = None
        self.file_answer: str | None = None
        #: The arguments of every export: (roots, file_path, type).
        self.exports: list[tuple[list[str], str, str]] = []
        self.joints: dict[str, Any] = {}
        self._selection: list[str] = []
        self._filedata: str | None = None
        self._scene_opened: list[Callable[[], Any]] = []
        self._shutdown: list[Callable[[], Any]] = []

    # To be answered by the view

    def exists(self, path: str) -> bool:
        raise NotImplementedError

    def name(self, path: str) -> str:
        raise NotImplementedError

    def type(self, path: str) -> str:
        raise NotImplementedError

    def parent(self, path: str) -> str | None:
        raise NotImplementedError

    def children(self, path: str) -> Sequence[str]:
        raise NotImplementedError

    # The hierarchy; the core may ask for what is no longer there

    def object_exists(self, path: str) -> bool:
        return self.exists(path)

    def get_type(self, path: str) -> str:
        return self.type(path) if self.exists(path) else ""

    def get_parent(self, path: str) -> str | None:
        return self.parent(path) if self.exists(path) else None

    def get_children(self, path: str) -> Sequence[str]:
        return self.children(path) if self.exists(path) else ()

    def name_from_path(self, path: str) -> str:
        return self.name(path) if self.exists(path) else path.rpartition("/")[2]

    # The selection

    def get_selection(self) -> list[str]:
        return list(self._selection)

    def get_selection_roots(self) -> list[str]:
        roots = []
        for path in self._selection:
            while (parent := self.parent(path)) is not None:
                path = parent
            roots.append(path)
        return list(dict.fromkeys(roots))

    def select(self, *what: Any) -> None:
        """Paths of objects that are not there are left out."""
        if len(what) == 1 and not isinstance(what[0], str):
            self.selections = list(what[0])
            what = tuple(selection.path for selection in self.selections)
        else:
            self.selections = []
        self._selection = [path for path in dict.fromkeys(what) if self.exists(path)]

    @contextmanager
    def selection_manager(self) -> Iterator[None]:
        selection, selections = self._selection, self.selections
        try:
            yield
        finally:
            self._selection = [path for path in selection if self.exists(path)]
            self.selections = selections

    # Events

    def register_scene_opened_callback(self, function: Callable[[], Any]) -> None:
        self._scene_opened.append(function)

    def register_shutdown_callback(self, function: Callable[[], Any]) -> None:
        self._shutdown.append(function)

    def delete_callbacks(self) -> None:
        self._scene_opened.clear()
        self._shutdown.clear()

    def announce_opened(self) -> None:
        """Act as if the scene had just been opened."""
        for function in list(self._scene_opened):
            function()

    def announce_shutdown(self) -> None:
        """Act as if the application were about to close."""
        for function in list(self._shutdown):
            function()

    def postscript_scan_append(self, joint: Any) -> None:
        self.joints[joint.path] = joint

    def postscript_scan_remove(self, joint: Any) -> None:
        self.joints.pop(joint.path, None)

    # Files

    def get_current_file(self) -> str:
        return self.file

    def directory_dialog(self, starting: str = "~", caption: str = "") -> str | None:
        return self.directory_answer

    def file_dialog(
        self, starting: str = "~", caption: str = "", file_filter: str = ""
    ) -> str | None:
        return self.file_answer

    def export(
        self,
        roots: Any,
        file_path: str,
        type: Any,
        args: Any,
        automatic_uv: bool = False,
        triangulate: bool = False,
        reset_xforms: bool = False,
    ) -> bool:
        """Writes nothing; notes in `exports` what would have been written."""
        self.exports.append((list(roots), str(file_path), str(type)))
        return True

    def query_filedata(self) -> Any:
        return None if self._filedata is None else json.loads(self._filedata)

    def embed_filedata(self, data: Any) -> None:
        self._filedata = json.dumps(data)

    def erase_filedata(self) -> None:
        self._filedata = None
