"""The binary data of a glTF file: its own chunk, files beside it, and data embedded as text."""

from __future__ import annotations

import base64
import binascii
import os
import stat
import urllib.parse
from dataclasses import dataclass
from functools import cached_property, lru_cache
from typing import Any

from kavel.errors import SceneError
from kavel.gltf.container import SceneFile, file_state
from kavel.gltf.lookup import Lookup

_COMPRESSED_VIEWS = ("EXT_meshopt_compression", "KHR_meshopt_compression")


def _open_at_once(path: str, flags: int) -> int:
    return os.open(path, flags | getattr(os, "O_NONBLOCK", 0))


@dataclass(frozen=True)
class View:
    """The bytes of a buffer view. stride: bytes from element to element; 0 when they are packed."""

    data: bytes
    stride: int


class Buffers:
    """Reads parts of buffers when they are asked for, so that a file may be larger than memory.

    Errors: SceneError with file and place when data is missing, shorter than the document says,
    compressed in a way that this program cannot read, or was changed since it was first read.
    """

    def __init__(self, file: SceneFile, lookup: Lookup) -> None:
        self._file = file
        self._lookup = lookup
        self._states: dict[str, tuple[int, int, int]] = {}
        # Interleaved attributes share a view; a primitive has a handful of them.
        self._view = lru_cache(maxsize=16)(self._read_view)
        self._embedded = lru_cache(maxsize=4)(self._decode)

    def view(self, index: Any, place: str) -> View:
        """`place` is where the index stands."""
        self._lookup.entry("bufferViews", index, place)
        return self._view(index)

    def file_bytes(self, uri: str, place: str, offset: int = 0, length: int | None = None) -> bytes:
        """What a URI leads to, or `length` bytes of it from `offset`; shorter when it ends.

        Only regular files are read: a pipe would wait for ever, and a device never end.
        """
        if uri[:5].lower() == "data:":
            end = None if length is None else offset + length
            return self._embedded(uri, place)[offset:end]
        path = self._path(uri, place)
        try:
            with open(path, "rb", opener=_open_at_once) as stream:
                status = os.fstat(stream.fileno())
                if not stat.S_ISREG(status.st_mode):
                    raise self._lookup.error(place, f"{path} is not a regular file")
                state = file_state(status)
                if self._states.setdefault(path, state) != state:
                    raise SceneError(path, "was changed on disk since it was read")
                stream.seek(offset)
                rest = max(0, status.st_size - offset)
                return stream.read(rest if length is None else min(length, rest))
        except (OSError, ValueError) as error:
            reason = getattr(error, "strerror", None) or error
            raise self._lookup.error(place, f"{path} cannot be read: {reason}") from error

    @cached_property
    def available(self) -> int:
        """How many bytes the buffers have in fact, whatever the document says."""
        total = self._file.binary_size
        for number, buffer in enumerate(self._lookup.entries(self._lookup.document, "buffers", "")):
            uri = buffer.get("uri")
            if isinstance(uri, str) and uri[:5].lower() == "data:":
                total += len(uri)
            elif isinstance(uri, str):
                try:
                    total += os.stat(self._path(uri, f"buffers[{number}].uri")).st_size
                except (OSError, ValueError, SceneError):
                    continue
        return total

    def _read_view(self, index: int) -> View:
        look, place = self._lookup, f"bufferViews[{index}]"
        view = look.entry("bufferViews", index, place)
        for extension in _COMPRESSED_VIEWS:
            if extension in look.mapping(view, "extensions", place):
                raise look.error(place, f"is compressed with {extension}, which is not supported")
        offset = look.integer(view, "byteOffset", place, 0)
        length = look.integer(view, "byteLength", place, low=1)
        stride = look.integer(view, "byteStride", place, 0)
        return View(self.part(view.get("buffer"), offset, length, place), stride)

    def part(self, number: Any, offset: int, length: int, place: str) -> bytes:
        """`length` bytes of a buffer from `offset`; `place` is what refers to the buffer."""
        look = self._lookup
        buffer = look.entry("buffers", number, f"{place}.buffer")
        size = look.integer(buffer, "byteLength", f"buffers[{number}]", low=1)
        if offset + length > size:
            message = f"ends at byte {offset + length} of a buffer of {size} bytes"
            raise look.error(place, message)
        data = self.read_buffer(number, buffer, offset, length)
        if len(data) < length:
            raise look.error(
                f"buffers[{number}]", f"is shorter than the {size} bytes that it states"
            )
        return data

    def read_buffer(self, number: int, buffer: dict[str, Any], at: int, size: int) -> bytes:
        """At most `size` bytes of `buffer`, the document's buffer `number`; fewer at its end."""
        place = f"buffers[{number}].uri"
        uri = buffer.get("uri")
        if uri is None and number == 0:
            return self._file.read_binary(at, size)
        if not isinstance(uri, str):
            raise self._lookup.error(place, "is not a text")
        return self.file_bytes(uri, place, at, size)

    def _decode(self, uri: str, place: str) -> bytes:
        head, comma, text = uri.partition(",")
        if not comma:
            raise self._lookup.error(place, "is no data: URI; it has no comma")
        raw = urllib.parse.unquote_to_bytes(text)
        if not head.lower().endswith(";base64"):
            return raw
        try:
            return base64.b64decode(raw + b"=" * (-len(raw) % 4), validate=True)
        except (binascii.Error, ValueError) as error:
            raise self._lookup.error(place, f"is not base64: {error}") from None

    def _path(self, uri: str, place: str) -> str:
        try:
            parts = urllib.parse.urlsplit(uri)
        except ValueError as error:
            raise self._lookup.error(place, f"{uri} is no address: {error}") from None
        # One letter is a drive, which a careless exporter wrote; two or more are a scheme.
        if len(parts.scheme) > 1 or parts.netloc:
            raise self._lookup.error(place, f"{uri} is not a file beside the scene")
        folder = os.path.dirname(os.path.abspath(self._file.path))
        return os.path.join(folder, urllib.parse.unquote(uri))
