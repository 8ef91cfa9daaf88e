"""The document while it is being prepared for an export."""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

from kavel.errors import SceneError
from kavel.gltf.accessors import Accessors
from kavel.gltf.buffers import Buffers
from kavel.gltf.container import SceneFile
from kavel.gltf.encoding import Draft
from kavel.gltf.lookup import Lookup


class Work(Draft):
    """A draft of a scene's document whose new values can be read like those of the file.

    look, buffers, read: of the draft as it is at the time. notes: what a person has to be told, in
    sentences that begin in lower case.
    """

    def __init__(self, file: SceneFile) -> None:
        super().__init__(file.document, None)
        self.document["buffers"] = [*self.document.get("buffers", []), {"byteLength": 0}]
        self.look = Lookup(self.document, file.path)
        self.buffers = _Buffers(file, self)
        self.read = Accessors(self.look, self.buffers)
        self.notes: list[str] = []

    def note(self, text: str) -> None:
        if text not in self.notes:
            self.notes.append(text)

    def error(self, place: str, message: str) -> SceneError:
        return self.look.error(place, message)

    def accessor(
        self,
        values: npt.NDArray[Any],
        target: int,
        bounds: bool = False,
        like: dict[str, Any] | None = None,
    ) -> int:
        """As in `Draft`. Errors: SceneError for bounds that would be no numbers."""
        if bounds and not np.isfinite(values).all():
            raise self.error("accessors", "positions that are no numbers cannot be rewritten")
        return super().accessor(values, target, bounds, like)

    def blob(self, data: bytes) -> int:
        """Add bytes of any meaning and return the index of their buffer view."""
        views = self.document.setdefault("bufferViews", [])
        offset = len(self.data)
        views.append({"buffer": self.buffer, "byteOffset": offset, "byteLength": len(data)})
        self.data += data + b"\0" * (-len(data) % 4)
        self._grow()
        return len(views) - 1

    def _view(self, values: npt.NDArray[Any], target: int) -> int:
        result = super()._view(values, target)
        self._grow()
        return result

    def _grow(self) -> None:
        self.document["buffers"][self.buffer] = {"byteLength": len(self.data)}


class _Buffers(Buffers):
    def __init__(self, file: SceneFile, work: Work) -> None:
        super().__init__(file, work.look)
        self._work = work

    def read_buffer(self, number: int, buffer: dict[str, Any], at: int, size: int) -> bytes:
        if number == self._work.buffer:
            return bytes(self._work.data[at : at + size])
        return super().read_buffer(number, buffer, at, size)
