"""Accessors: typed arrays inside the binary data."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import numpy as np
import numpy.typing as npt

from kavel.gltf.buffers import Buffers
from kavel.gltf.lookup import Lookup
from kavel.view.mesh import Indices, Reals

COMPONENTS = {5120: "i1", 5121: "u1", 5122: "<i2", 5123: "<u2", 5125: "<u4", 5126: "<f4"}
WIDTHS = {"SCALAR": 1, "VEC2": 2, "VEC3": 3, "VEC4": 4}
_UNSIGNED = ("u1", "<u2", "<u4")
# Elements of an accessor without data of its own are all zero: a few bytes that claim any memory.
# Such accessors accompany others, so that there are no more than the file has bytes, or these.
_MOST_WITHOUT_DATA = 65_536


class Accessors:
    """Reads whole accessors. `place` is where the accessor's index stands.

    Errors: SceneError with file and place for anything that does not fit together.
    """

    def __init__(self, lookup: Lookup, buffers: Buffers) -> None:
        self._lookup = lookup
        self._buffers = buffers

    def matrices(self, index: Any, place: str) -> Reals:
        """(count, 4, 4), column vectors."""
        values = self.raw(index, place, {"MAT4": 16}).astype(np.float64)
        result: Reals = values.reshape(-1, 4, 4).transpose(0, 2, 1)
        return result

    def raw(self, index: Any, place: str, widths: Mapping[str, int] = WIDTHS) -> npt.NDArray[Any]:
        """(count, width) in the stored component type, sparse values laid over; read-only."""
        look = self._lookup
        accessor = look.entry("accessors", index, place)
        spot = f"accessors[{index}]"
        kind = self._kind(accessor, spot)
        width = widths.get(str(accessor.get("type")), 0)
        if not width:
            raise look.error(f"{spot}.type", f"{accessor.get('type')!r} is not supported here")
        count = look.integer(accessor, "count", spot, low=1)
        if "bufferView" in accessor:
            values = self._elements(accessor, spot, kind, width, count)
        elif count > max(_MOST_WITHOUT_DATA, self._buffers.available):
            raise look.error(f"{spot}.count", f"claims {count} elements, and there is no data")
        else:
            values = np.zeros((count, width), kind)
        if "sparse" in accessor:
            values = self._overlaid(accessor, spot, kind, values)
        values.setflags(write=False)
        return values

    def reals(self, index: Any, width: int, place: str) -> Reals:
        """(count, width) float64; whole numbers that stand for fractions ("normalized") are
        divided."""
        values = self.raw(index, place)
        accessor = self._lookup.entry("accessors", index, place)
        if values.shape[1] != width:
            message = f"accessor {index} is {accessor.get('type')}, not {width} numbers per element"
            raise self._lookup.error(place, message)
        result = values.astype(np.float64)
        if accessor.get("normalized") is True and values.dtype.kind in "iu":
            result = np.maximum(result / np.iinfo(values.dtype).max, -1.0)
        return result

    def indices(self, index: Any, below: int, place: str) -> Indices:
        """(count,) int64, all less than `below`."""
        values = self.raw(index, place)
        if values.shape[1] != 1 or values.dtype.kind != "u":
            raise self._lookup.error(place, f"accessor {index} holds no indices")
        if values.max() >= below:
            message = f"refers to vertex {values.max()}, and there are {below}"
            raise self._lookup.error(f"accessors[{index}]", message)
        return values[:, 0].astype(np.int64)

    def _kind(self, owner: dict[str, Any], place: str) -> str:
        kind = owner.get("componentType")
        if type(kind) is not int or kind not in COMPONENTS:
            raise self._lookup.error(f"{place}.componentType", f"{kind!r} is no component type")
        return COMPONENTS[kind]

    def _elements(
        self, owner: dict[str, Any], place: str, kind: str, width: int, count: int
    ) -> npt.NDArray[Any]:
        """`count` elements of the buffer view that `owner` names."""
        view = self._buffers.view(owner.get("bufferView"), f"{place}.bufferView")
        offset = self._lookup.integer(owner, "byteOffset", place, 0)
        size = np.dtype(kind).itemsize * width
        stride = view.stride or size
        if stride < size:
            message = f"has elements of {size} bytes, {stride} bytes apart"
            raise self._lookup.error(place, message)
        end = offset + (count - 1) * stride + size
        if end > len(view.data):
            message = f"ends at byte {end} of a buffer view of {len(view.data)} bytes"
            raise self._lookup.error(place, message)
        strides = (stride, np.dtype(kind).itemsize)
        values: npt.NDArray[Any] = np.ndarray((count, width), kind, view.data, offset, strides)
        return values

    def _overlaid(
        self, accessor: dict[str, Any], place: str, kind: str, values: npt.NDArray[Any]
    ) -> npt.NDArray[Any]:
        look, spot = self._lookup, f"{place}.sparse"
        sparse = look.mapping(accessor, "sparse", place)
        count = look.integer(sparse, "count", spot, low=1)
        where = look.mapping(sparse, "indices", spot)
        what = look.mapping(sparse, "values", spot)
        index_kind = self._kind(where, f"{spot}.indices")
        if index_kind not in _UNSIGNED:
            raise look.error(f"{spot}.indices.componentType", "is no type for indices")
        rows = self._elements(where, f"{spot}.indices", index_kind, 1, count)[:, 0].astype(np.int64)
        if rows.max() >= len(values):
            message = f"refers to element {rows.max()}, and there are {len(values)}"
            raise look.error(f"{spot}.indices", message)
        result: npt.NDArray[Any] = values.copy()
        result[rows] = self._elements(what, f"{spot}.values", kind, values.shape[1], count)
        return result
