"""Reading and rewriting glTF files (.gltf, .glb) without touching what is not ours.

Only the JSON part is read at once; of the binary chunk, what somebody asks for. When the file is
saved, chunks are copied byte for byte, and new data stands behind the old in the binary chunk.
Everything in the JSON part that this program does not know is kept as well.
"""

from __future__ import annotations

import json
import os
import re
import shutil
import struct
import tempfile
from typing import Any, BinaryIO

from kavel.errors import SceneError, reason_of

_MAGIC = b"glTF"
_JSON_CHUNK = 0x4E4F534A
_BINARY_CHUNK = 0x004E4942
_HEADER = struct.Struct("<4sIIII")  # magic, version, whole length; JSON chunk: length, type
_CHUNK = struct.Struct("<II")  # length, type
_INDENT = re.compile(r'\A\{\s*\n([ \t]+)"')


class SceneFile:
    """One glTF file: its JSON `document`, and how to write it back.

    Errors: SceneError when the file cannot be read or is not glTF 2.0, with the place in the file.
    """

    def __init__(self, path: str) -> None:
        self.path = path
        self._rest = 0  # where the bytes after the JSON chunk start; 0 for a .gltf text
        #: Bytes in the binary chunk, padding included; 0 when there is none.
        self.binary_size = 0
        self._indent: str | None = None
        self._final_newline = ""
        try:
            with open(path, "rb") as stream:
                self._state = file_state(os.fstat(stream.fileno()))
                raw = self._read_json_bytes(stream)
        except OSError as error:
            raise SceneError(path, f"cannot be read: {reason_of(error)}") from error
        self.document = self._parse(raw)

    @property
    def binary(self) -> bool:
        return self._rest > 0

    def read_binary(self, offset: int, length: int) -> bytes:
        """At most `length` bytes of the binary chunk from `offset`; fewer at its end.

        Errors: SceneError when the file cannot be read or is not the one that was opened.
        """
        length = max(0, min(length, self.binary_size - offset))
        try:
            with open(self.path, "rb") as stream:
                if file_state(os.fstat(stream.fileno())) != self._state:
                    raise SceneError(self.path, "was changed on disk since it was opened")
                stream.seek(self._rest + _CHUNK.size + offset)
                return stream.read(length)
        except OSError as error:
            raise SceneError(self.path, f"cannot be read: {reason_of(error)}") from error

    def save(self, document: dict[str, Any] | None = None, appended: bytes = b"") -> None:
        """Write the document back in one step: a reader sees the old file or the new one.

        With `document`, that one takes the place of the open one once it is written. `appended`
        goes to the end of the binary chunk, which must be there, and starts at its byte
        `binary_size`.

        Errors: SceneError when the file is read-only, was changed by somebody else since it was
        read, or cannot be written; the file on disk is then as it was, and so is the open document.
        """
        document = self.document if document is None else document
        target = os.path.realpath(self.path)
        try:
            text = json.dumps(
                document,
                ensure_ascii=False,
                allow_nan=False,
                indent=self._indent,
                separators=None if self._indent else (",", ":"),
            )
        except (ValueError, RecursionError) as error:
            raise SceneError(self.path, f"cannot be written as JSON: {error}") from error
        # A lone surrogate has no UTF-8 form; the escape that replaces it is the JSON escape.
        payload = (text + self._final_newline).encode("utf-8", "backslashreplace")
        if not os.access(target, os.W_OK):  # replacing it would not even ask
            raise SceneError(self.path, "cannot be saved: the file is read-only")
        try:
            self._replace(target, payload, appended)
            self.document = document
            self._state = file_state(os.stat(target))
        except OSError as error:
            raise SceneError(self.path, f"cannot be saved: {reason_of(error)}") from error

    def _replace(self, target: str, payload: bytes, appended: bytes) -> None:
        folder, name = os.path.split(target)
        handle, beside = tempfile.mkstemp(prefix=f".{name}.", suffix=".tmp", dir=folder)
        try:
            with os.fdopen(handle, "wb") as stream:
                appended += b"\0" * (-len(appended) % 4)
                rest = self._write(stream, target, payload, appended)
                stream.flush()
                os.fsync(stream.fileno())
            shutil.copymode(target, beside)
            os.replace(beside, target)
            self._rest = rest
            self.binary_size += len(appended)
        except BaseException:
            os.unlink(beside)
            raise

    def _write(self, stream: BinaryIO, target: str, payload: bytes, appended: bytes) -> int:
        """Write the new file; returns where the bytes after its JSON chunk start."""
        with open(target, "rb") as source:
            if file_state(os.fstat(source.fileno())) != self._state:
                raise SceneError(self.path, "was changed on disk since it was read; not saved")
            if not self.binary:
                stream.write(payload)
                return 0
            payload += b" " * (-len(payload) % 4)
            _, version, length, _, _ = _HEADER.unpack(source.read(_HEADER.size))
            rest = _HEADER.size + len(payload)
            length += rest - self._rest + len(appended)
            stream.write(_HEADER.pack(_MAGIC, version, length, len(payload), _JSON_CHUNK))
            stream.write(payload)
            source.seek(self._rest)
            if appended:
                source.read(_CHUNK.size)
                stream.write(_CHUNK.pack(self.binary_size + len(appended), _BINARY_CHUNK))
                _copy(source, stream, self.binary_size)
                stream.write(appended)
            shutil.copyfileobj(source, stream, 1 << 20)
            return rest

    def _read_json_bytes(self, stream: BinaryIO) -> bytes:
        start = stream.read(_HEADER.size)
        if not start:
            raise SceneError(self.path, "is empty: there is nothing in the file")
        if not start.startswith(_MAGIC):
            return start + stream.read()
        if len(start) < _HEADER.size:
            raise SceneError(self.path, "is cut off inside its header")
        _, version, length, chunk, kind = _HEADER.unpack(start)
        size = os.fstat(stream.fileno()).st_size
        if version != 2:
            raise SceneError(self.path, f"is binary glTF version {version}; only 2 is supported")
        if length > size:
            raise SceneError(
                self.path, f"is cut off: {size} of {length} bytes are there; export it again"
            )
        if kind != _JSON_CHUNK:
            raise SceneError(self.path, "the first chunk is not JSON", "byte 16")
        if _HEADER.size + chunk > length:
            raise SceneError(self.path, "the JSON chunk is longer than the file", "byte 12")
        self._rest = _HEADER.size + chunk
        content = stream.read(chunk)
        following = stream.read(_CHUNK.size)
        if len(following) == _CHUNK.size:
            data, kind = _CHUNK.unpack(following)
            if kind == _BINARY_CHUNK:
                if self._rest + _CHUNK.size + data > length:
                    place = f"byte {self._rest}"
                    raise SceneError(self.path, "the binary chunk is longer than the file", place)
                self.binary_size = data
        return content

    def _parse(self, raw: bytes) -> dict[str, Any]:
        try:
            text = raw.decode("utf-8-sig")
            document = json.loads(text, parse_constant=_refuse_constant)
        except UnicodeDecodeError as error:
            place = f"byte {error.start}"
            raise SceneError(self.path, "the JSON text is not UTF-8", place) from None
        except json.JSONDecodeError as error:
            if not self.binary and not text.lstrip().startswith("{"):
                message = "is not a glTF file: it holds neither binary glTF nor JSON"
                raise SceneError(self.path, message) from None
            place = f"line {error.lineno}, column {error.colno}"
            raise SceneError(self.path, f"is not JSON: {error.msg}", place) from None
        except (ValueError, RecursionError) as error:
            raise SceneError(self.path, f"is not usable JSON: {error}") from None
        if not self.binary:
            indent = _INDENT.match(text)
            self._indent = indent.group(1) if indent else None
            self._final_newline = "\n" if text.endswith("\n") else ""
        self._require_gltf(document)
        return document  # type: ignore[no-any-return]

    def _require_gltf(self, document: Any) -> None:
        asset = document.get("asset") if isinstance(document, dict) else None
        version = asset.get("version") if isinstance(asset, dict) else None
        if not isinstance(version, str):
            message = "is not a glTF file: it has no glTF version"
            raise SceneError(self.path, message, "asset.version")
        if version.partition(".")[0] != "2":
            message = f"is glTF version {version}; only version 2 is supported"
            raise SceneError(self.path, message, "asset.version")


def _refuse_constant(constant: str) -> Any:
    raise ValueError(f"{constant} is no JSON number")


def _copy(source: BinaryIO, target: BinaryIO, size: int) -> None:
    while size and (block := source.read(min(size, 1 << 20))):
        target.write(block)
        size -= len(block)


def file_state(status: os.stat_result) -> tuple[int, int, int]:
    return status.st_ino, status.st_size, status.st_mtime_ns
