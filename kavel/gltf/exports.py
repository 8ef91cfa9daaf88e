"""What a scene operator exports: which files it may write, and what came of each."""

from __future__ import annotations

import logging
import os
from collections.abc import Callable, Mapping
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from kavel.errors import SceneError
from kavel.gltf.container import SceneFile
from kavel.gltf.graph import SceneGraph

if TYPE_CHECKING:
    from kavel.gltf.exporting.exporter import Exporter, Geometry, Written
    from kavel.gltf.view import GltfScene

_KEPT = "it was written a moment ago for others of that name; number or name them differently"
_log = logging.getLogger(__name__)


@dataclass
class Export:
    """One export: the objects, the file that was written, or was to be, and what came of it.
    `error` is why nothing was written."""

    roots: list[str]
    path: str
    written: Written | None = None
    error: str = ""


class Exports:
    """Exports from the file that is open.

    made: every export so far, failed ones included. flags: the switches of the core's export
    component (`api.export.flags`); with version control a file is never replaced, whoever else
    exports into its folder. next_version: gives the file to write in place of one that somebody
    else has made meanwhile. keeps: whether files of earlier exports may not be replaced either.
    """

    def __init__(self) -> None:
        self.made: list[Export] = []
        self.flags: Any = None
        self.next_version: Callable[[str], str] | None = None
        self.keeps = False
        self._kept: dict[str, str] = {}
        self._nodes: dict[str, int] = {}
        self._graph = SceneGraph()
        self._file: SceneFile | None = None
        self._exporter: Exporter | None = None

    def open(self, file: SceneFile, graph: SceneGraph) -> None:
        """Export from another file from now on."""
        self._file, self._graph, self._exporter = file, graph, None

    def export(
        self,
        roots: list[str],
        path: str,
        format: str,
        args: Mapping[str, Any],
        geometry: Geometry,
        view: GltfScene | None,
    ) -> None:
        """Errors: SceneError with the reason; every file is then as it was."""
        export = Export(roots, path)
        self.made.append(export)
        try:
            exporter, nodes = self._ready(roots)
            exporter.view, exporter.protected = view, self._kept if self.keeps else {}
            while export.written is None:
                exclusive = self.flags is not None and self.flags.version_control
                try:
                    export.written = exporter.export(
                        nodes, export.path, format, args, geometry, exclusive
                    )
                except FileExistsError as error:
                    export.path = self._next(export.path, error)
        except Exception as error:
            export.error = str(error)
            raise
        self._kept.update((os.path.realpath(file), _KEPT) for file in export.written.sizes)
        for note in export.written.notes:
            _log.warning("%s: %s", export.path, note)

    def _ready(self, roots: list[str]) -> tuple[Exporter, list[int]]:
        """The exporter of the open file, and the nodes of `roots`."""
        from kavel.gltf.exporting.exporter import Exporter

        if self._file is None:
            raise SceneError("", "no scene is open")
        if self._exporter is None:
            self._exporter = Exporter(self._file)
            self._nodes = dict(zip(self._graph.names, self._graph.nodes))
        missing = [root for root in roots if root not in self._nodes]
        if missing or not roots:
            raise SceneError(self._file.path, f"no object at {', '.join(missing) or 'all'}")
        return self._exporter, list(dict.fromkeys(self._nodes[root] for root in roots))

    def _next(self, path: str, error: FileExistsError) -> str:
        following = path if self.next_version is None else self.next_version(path)
        if following == path:
            raise SceneError(path, "is there already, and is not replaced") from error
        return following
