"""Exporting from an open glTF file."""

from __future__ import annotations

import base64
import json
import os
import struct
import urllib.parse
from collections import ChainMap
from collections.abc import Mapping
from dataclasses import dataclass, field
from typing import Any, BinaryIO

from kavel.errors import SceneError, reason_of
from kavel.gltf.container import SceneFile
from kavel.gltf.exporting.chosen import Chosen, Tree, choose
from kavel.gltf.exporting.geometry import add_uvs, triangulate
from kavel.gltf.exporting.output import Output
from kavel.gltf.exporting.packing import Packed, pack
from kavel.gltf.exporting.placing import place_tops
from kavel.gltf.exporting.reduced import Reduced, reduce
from kavel.gltf.exporting.references import KINDS, entries_of
from kavel.gltf.exporting.resetting import reset_transforms
from kavel.gltf.exporting.settings import FORMATS, GLB, KEEP, Settings, read_settings
from kavel.gltf.exporting.work import Work
from kavel.gltf.lookup import Lookup

_HEADER = struct.Struct("<4sII")
_CHUNK = struct.Struct("<I4s")
_LARGEST = 0xFFFFFFFF  # a .glb counts its bytes in 32 bits


@dataclass(frozen=True)
class Geometry:
    """What is to be done to the geometry of an export."""

    automatic_uv: bool = False
    triangulate: bool = False
    reset_xforms: bool = False


@dataclass(frozen=True)
class Written:
    """A file that was written. sizes: the bytes of the file, and of those beside it that it refers
    to, by path. replaced: those that took the place of a file of before. objects: the nodes in it.
    notes: what a person should know of it."""

    path: str
    sizes: dict[str, int]
    objects: int
    notes: list[str] = field(default_factory=list)
    replaced: list[str] = field(default_factory=list)


class Exporter:
    """Exports from an open `file`, which stays as it is, and whose nodes do not change.

    view: the scene as checks see it, whose edits are exported as well; none for none. protected:
    files that are not replaced, by their real paths, with the reason; those of the scene never are.
    """

    def __init__(self, file: SceneFile) -> None:
        self._file = file
        self._tree: Tree | None = None
        self.view: Any = None
        self.protected: dict[str, str] = {}
        self._own = self._own_files()

    def export(
        self,
        roots: list[int],
        path: str,
        format: str,
        args: Mapping[str, Any],
        geometry: Geometry,
        exclusive: bool = False,
    ) -> Written:
        """Write the nodes `roots` with all that is below them into the file at `path`.

        Errors: SceneError, with the reason, when it cannot be done; FileExistsError when with
        `exclusive` there is such a file already. No file is changed then.
        """
        try:
            settings = self._settings(path, format, args)
            tree = self._sound_tree()
            with Output(path, exclusive, ChainMap(self._own, self.protected)) as output:
                work = Work(self._file)
                if self.view is not None:
                    self.view.apply(work)
                as_files = format != GLB and not settings.embed
                reduced = self._prepared(work, tree, roots, settings, geometry, as_files)
                packed = pack(work, reduced.document, reduced.views)
                if format == GLB:
                    _write_glb(output, work, reduced, packed)
                else:
                    _write_gltf(output, work, reduced, packed, as_files)
                beside = output.commit()
        except FileExistsError:
            raise
        except OSError as error:
            reason = reason_of(error, writing=True)
            raise SceneError(path, f"cannot be written: {reason}") from error
        except RecursionError as error:
            raise SceneError(self._file.path, f"is nested too deep: {error}") from error
        sizes = {item: os.path.getsize(item) for item in (path, *beside)}
        objects = len(entries_of(reduced.document, "nodes"))
        replaced = [item for item in sizes if os.path.abspath(item) in output.replaced]
        return Written(path, sizes, objects, work.notes, replaced)

    def _sound_tree(self) -> Tree:
        """The nodes of the document, whose arrays hold objects as they should."""
        if self._tree is None:
            look = Lookup(self._file.document, self._file.path)
            for kind in ("scenes", "buffers", *KINDS):
                look.entries(look.document, kind, "")
            self._tree = Tree(look)
        return self._tree

    def _settings(self, path: str, format: str, args: Mapping[str, Any]) -> Settings:
        if format not in FORMATS:
            known = " and ".join(FORMATS)
            raise SceneError(path, f"cannot be written as {format!r}; there are {known}")
        try:
            return read_settings(format, args)
        except ValueError as error:
            raise SceneError(path, str(error)) from None

    def _prepared(
        self,
        work: Work,
        tree: Tree,
        roots: list[int],
        settings: Settings,
        geometry: Geometry,
        as_files: bool,
    ) -> Reduced:
        chosen = choose(work, tree, roots, settings.parents == KEEP)
        place_tops(work, tree, chosen, roots, settings)
        meshes = _meshes(work, chosen)
        if geometry.triangulate:
            triangulate(work, meshes)
        if geometry.automatic_uv:
            add_uvs(work, meshes)
        if geometry.reset_xforms:
            reset_transforms(work, chosen, settings.keep_positions)
        return reduce(work, chosen, settings, as_files)

    def _own_files(self) -> dict[str, str]:
        """The files that the scene is made of."""
        folder = os.path.dirname(os.path.abspath(self._file.path))
        found = [self._file.path]
        for kind in ("buffers", "images"):
            for entry in entries_of(self._file.document, kind):
                uri = entry.get("uri") if isinstance(entry, dict) else None
                if isinstance(uri, str) and uri[:5].lower() != "data:":
                    found.append(os.path.join(folder, urllib.parse.unquote(uri)))
        real = map(os.path.realpath, found)
        return dict.fromkeys(real, "it is the open scene, or belongs to it")


def _meshes(work: Work, chosen: Chosen) -> list[int]:
    """The meshes of the nodes that are written whole."""
    found = set()
    for index in chosen.whole:
        node = work.document["nodes"][index]
        if "mesh" in node:
            work.look.entry("meshes", node["mesh"], f"nodes[{index}].mesh")
            found.add(node["mesh"])
    return sorted(found)


def _write_glb(output: Output, work: Work, reduced: Reduced, packed: Packed) -> None:
    text = _text(work, reduced.document)
    text += b" " * (-len(text) % 4)
    size = packed.length + -packed.length % 4
    total = _HEADER.size + _CHUNK.size + len(text) + (_CHUNK.size + size if size else 0)
    if total > _LARGEST:
        raise SceneError(output.path, "is larger than 4 GiB, which a .glb cannot be; use .gltf")
    with output.open() as stream:
        stream.write(_HEADER.pack(b"glTF", 2, total))
        stream.write(_CHUNK.pack(len(text), b"JSON") + text)
        if size:
            stream.write(_CHUNK.pack(size, b"BIN\0"))
            _write_binary(stream, work, packed)
            stream.write(b"\0" * (size - packed.length))


def _write_gltf(
    output: Output, work: Work, reduced: Reduced, packed: Packed, as_files: bool
) -> None:
    document = reduced.document
    if packed.length and as_files:
        name = output.beside(".bin")
        with output.open(name) as stream:
            _write_binary(stream, work, packed)
        document["buffers"][0]["uri"] = urllib.parse.quote(name)
    elif packed.length:
        data = base64.b64encode(b"".join(packed.blocks(work))).decode("ascii")
        document["buffers"][0]["uri"] = f"data:application/octet-stream;base64,{data}"
    taken: set[str] = set()
    for image in reduced.images:
        ending, number = f".{image.name}", 1
        while ending.casefold() in taken:  # images may have one name
            number += 1
            first, last = os.path.splitext(image.name)
            ending = f".{first}-{number}{last}"
        taken.add(ending.casefold())
        name = output.beside(ending)
        with output.open(name) as stream:
            stream.write(image.data)
        document["images"][image.index]["uri"] = urllib.parse.quote(name)
    with output.open() as stream:
        stream.write(_text(work, document, indent=2) + b"\n")


def _write_binary(stream: BinaryIO, work: Work, packed: Packed) -> None:
    for block in packed.blocks(work):
        stream.write(block)


def _text(work: Work, document: dict[str, Any], indent: int | None = None) -> bytes:
    separators = None if indent else (",", ":")
    try:
        text = json.dumps(
            document, ensure_ascii=False, allow_nan=False, indent=indent, separators=separators
        )
    except ValueError as error:
        raise work.error("", f"cannot be written as JSON: {error}") from error
    # A lone surrogate has no UTF-8 form; the escape that replaces it is the JSON escape.
    return text.encode("utf-8", "backslashreplace")
