"""The binary data of an export: the parts of the source's buffers that are in use, side by side."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass, field, replace
from typing import Any

import numpy as np

from kavel.gltf.accessors import COMPONENTS
from kavel.gltf.exporting.references import DRACO, MESHOPT, dicts, entries_of, extensions
from kavel.gltf.exporting.work import Work

# Accessors and what stands in them begin at multiples of 4 bytes, or of less.
_ALIGNMENT = 4
_BLOCK = 1 << 24
# The numbers of an element; columns of matrices begin at multiples of 4 bytes.
_SHAPES = {
    "SCALAR": (1, 1),
    "VEC2": (1, 2),
    "VEC3": (1, 3),
    "VEC4": (1, 4),
    "MAT2": (2, 2),
    "MAT3": (3, 3),
    "MAT4": (4, 4),
}


@dataclass(frozen=True)
class Piece:
    """Bytes of one of the source's buffers, and how many zeros stand before them."""

    buffer: Any
    start: int
    length: int
    padding: int


@dataclass
class Packed:
    """The pieces of the one buffer with data, and its length."""

    pieces: list[Piece] = field(default_factory=list)
    length: int = 0

    def add(self, buffer: Any, start: int, length: int, aligned_to: int) -> int:
        """Append bytes so that they stand as far from a multiple of 4 as `aligned_to`; returns
        where they begin."""
        padding = (aligned_to - self.length) % _ALIGNMENT
        begin = self.length + padding
        last = self.pieces[-1] if self.pieces else None
        if last and not padding and (last.buffer, last.start + last.length) == (buffer, start):
            self.pieces[-1] = replace(last, length=last.length + length)
        else:
            self.pieces.append(Piece(buffer, start, length, padding))
        self.length = begin + length
        return begin

    def blocks(self, work: Work) -> Iterator[bytes]:
        """The bytes, in order. Errors: SceneError when they cannot be read."""
        for piece in self.pieces:
            if piece.padding:
                yield b"\0" * piece.padding
            for done in range(0, piece.length, _BLOCK):
                size = min(_BLOCK, piece.length - done)
                yield work.buffers.part(piece.buffer, piece.start + done, size, "bufferViews")


def pack(work: Work, document: dict[str, Any], views: list[int]) -> Packed:
    """Give the buffer views and accessors of `document`, which are numbered anew, their places in
    one new buffer; `views` are the old numbers of the buffer views.

    Of each buffer view only what accessors use is taken over. Views whose data is compressed are
    taken as they are. The document gets its `buffers`. Errors: SceneError with the place.
    """
    packing = _Packing(work, document, views)
    packing.run()
    return packing.packed


class _Packing:
    def __init__(self, work: Work, document: dict[str, Any], views: list[int]) -> None:
        self._work, self._document, self._views = work, document, views
        self.packed = Packed()
        self._unpacked = 0  # bytes that compressed views take when they are unpacked
        self._extension = MESHOPT[0]
        self._users: dict[int, list[tuple[dict[str, Any], int]]] = {}
        self._whole: set[int] = set()

    def run(self) -> None:
        self._find_users()
        for number, old in enumerate(self._views):
            self._place(number, old)
        buffers: list[dict[str, Any]] = []
        if self.packed.length:
            buffers.append({"byteLength": self.packed.length})
        if self._unpacked:
            fallback = {self._extension: {"fallback": True}}
            buffers.append({"byteLength": self._unpacked, "extensions": fallback})
        if buffers:
            self._document["buffers"] = buffers

    def _find_users(self) -> None:
        """Which accessors use a view, and how many bytes each; the views that are used whole."""
        for number, accessor in enumerate(entries_of(self._document, "accessors")):
            spot = f"accessors[{number}]"
            look = self._work.look
            count = look.integer(accessor, "count", spot, low=1)
            self._use(accessor, accessor, count, self._element(accessor, accessor, spot))
            if "sparse" in accessor:
                sparse = look.mapping(accessor, "sparse", spot)
                some = look.integer(sparse, "count", f"{spot}.sparse", low=1)
                indices = look.mapping(sparse, "indices", f"{spot}.sparse")
                values = look.mapping(sparse, "values", f"{spot}.sparse")
                size = self._element({"type": "SCALAR"}, indices, f"{spot}.sparse.indices")
                self._use(indices, indices, some, size)
                self._use(values, values, some, self._element(accessor, accessor, spot))
        for image in entries_of(self._document, "images"):
            self._whole.add(image.get("bufferView", -1))
        for mesh in entries_of(self._document, "meshes"):
            for primitive in dicts(mesh, "primitives"):
                draco = extensions(primitive).get(DRACO)
                if isinstance(draco, dict):
                    self._whole.add(draco.get("bufferView", -1))

    def _use(self, owner: dict[str, Any], place: dict[str, Any], count: int, size: int) -> None:
        view = owner.get("bufferView")
        if type(view) is not int:
            return
        stride = self._document["bufferViews"][view].get("byteStride")
        step = stride if type(stride) is int and stride > 0 else size
        self._users.setdefault(view, []).append((place, (count - 1) * step + size))

    def _element(self, shape: dict[str, Any], kind: dict[str, Any], place: str) -> int:
        """Bytes of one element."""
        columns, rows = _SHAPES.get(str(shape.get("type")), (0, 0))
        code = kind.get("componentType")
        if not columns or type(code) is not int or code not in COMPONENTS:
            raise self._work.error(place, "is of no type that this program knows")
        size = np.dtype(COMPONENTS[code]).itemsize
        if columns == 1:
            return size * rows
        return columns * (-(-size * rows // 4) * 4)

    def _place(self, number: int, old: int) -> None:
        view = self._document["bufferViews"][number]
        look, place = self._work.look, f"bufferViews[{old}]"
        start = look.integer(view, "byteOffset", place, 0)
        length = look.integer(view, "byteLength", place, low=1)
        packed = next((name for name in MESHOPT if name in extensions(view)), None)
        if packed is not None:
            self._place_compressed(view, packed, place)
            return
        users = self._users.get(number, [])
        if number in self._whole or not users:
            offset = self.packed.add(view.get("buffer"), start, length, 0)
        else:
            offset, length = self._place_used(view, users, start, length, place)
        view.update(buffer=0, byteOffset=offset, byteLength=length)

    def _place_used(
        self,
        view: dict[str, Any],
        users: list[tuple[dict[str, Any], int]],
        start: int,
        length: int,
        place: str,
    ) -> tuple[int, int]:
        """Take the parts of a view that `users` need; returns where it begins now, and its length.

        Parts that overlap, as those of interleaved attributes do, stay together.
        """
        spans = []
        for owner, size in users:
            offset = self._work.look.integer(owner, "byteOffset", place, 0)
            if offset + size > length:
                message = f"ends at byte {length}, and an accessor at byte {offset + size}"
                raise self._work.error(place, message)
            spans.append((offset, offset + size))
        first = self.packed.add(view.get("buffer"), start, 0, 0)
        moved: list[tuple[int, int, int]] = []
        for low, high in _merged(spans):
            at = self.packed.add(view.get("buffer"), start + low, high - low, start + low)
            moved.append((low, high, at))
        for owner, _ in users:
            offset = owner.get("byteOffset", 0)
            low, _, at = next(item for item in moved if item[0] <= offset < item[1])
            owner.pop("byteOffset", None)
            if at + offset - low > first:
                owner["byteOffset"] = at + offset - low - first
        return first, self.packed.length - first

    def _place_compressed(self, view: dict[str, Any], name: str, place: str) -> None:
        look, self._extension = self._work.look, name
        packed = look.mapping(view["extensions"], name, f"{place}.extensions")
        spot = f"{place}.extensions.{name}"
        start = look.integer(packed, "byteOffset", spot, 0)
        length = look.integer(packed, "byteLength", spot, low=1)
        packed["byteOffset"] = self.packed.add(packed.get("buffer"), start, length, 0)
        packed["buffer"] = 0
        size = look.integer(view, "byteLength", place, low=1)
        buffer = look.entry("buffers", view.get("buffer"), f"{place}.buffer")
        marks = extensions(buffer).get(name)
        if isinstance(marks, dict) and marks.get("fallback") is True:
            view.update(buffer=1, byteOffset=self._unpacked)
            self._unpacked += -(-size // 4) * 4
        else:  # the same data also stands there unpacked, for readers without the extension
            offset = look.integer(view, "byteOffset", place, 0)
            view.update(buffer=0, byteOffset=self.packed.add(view["buffer"], offset, size, 0))


def _merged(spans: list[tuple[int, int]]) -> list[tuple[int, int]]:
    result: list[tuple[int, int]] = []
    for low, high in sorted(spans):
        if result and low <= result[-1][1]:
            result[-1] = (result[-1][0], max(high, result[-1][1]))
        else:
            result.append((low, high))
    return result
