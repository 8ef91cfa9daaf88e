"""Writing edited meshes into a glTF document.

New data stands in accessors and buffer views of its own, behind the old. Nothing that is there
already is moved, overwritten or removed: accessors may be shared, and extensions that this program
does not know may refer to them. The bytes of what was replaced therefore stay in the file.
"""

from __future__ import annotations

import base64
import copy
import hashlib
import json
from typing import Any

import numpy as np
import numpy.typing as npt

from kavel.errors import SceneError
from kavel.gltf.accessors import COMPONENTS, Accessors
from kavel.gltf.meshes import TRIANGLES, Part
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

_TYPES = {1: "SCALAR", 2: "VEC2", 3: "VEC3", 4: "VEC4"}
_CODES = {np.dtype(kind): code for code, kind in COMPONENTS.items()}
_VERTICES, _INDICES = 34962, 34963
# Extensions of a primitive that do not speak of its vertices.
_HARMLESS = ("KHR_materials_variants",)


class Draft:
    """A copy of a document that takes new accessors; the document itself stays as it is.

    `start` is the size of the binary chunk that `data` is to be appended to, or none when the
    document's first buffer is not that chunk: then `finish` embeds the data as text.
    """

    def __init__(self, document: dict[str, Any], start: int | None) -> None:
        self.document = dict(document)
        self.data = bytearray()
        self._known: dict[Any, int] = {}  # accessors that were added, by what they hold
        self._in_chunk = start is not None
        self._padding = -(start or 0) % 4  # accessors must start at a multiple of 4
        self._start = (start or 0) + self._padding
        for key in ("accessors", "bufferViews", "buffers", "meshes", "nodes"):
            if key in document:
                self.document[key] = list(document[key])
        #: The document's buffer that `data` belongs to; there from `finish` on.
        self.buffer = 0 if self._in_chunk else len(self.document.get("buffers", []))

    def replace(self, kind: str, index: int) -> dict[str, Any]:
        """A copy of an entry, put in its place, to be changed."""
        entry = copy.deepcopy(self.document[kind][index])
        self.document[kind][index] = entry
        return entry  # type: ignore[no-any-return]

    def accessor(
        self,
        values: npt.NDArray[Any],
        target: int,
        bounds: bool = False,
        like: dict[str, Any] | None = None,
    ) -> int:
        """Add (N, width) values and return the index of their accessor.

        `like` is an accessor whose other fields, such as its name and whether it is normalized,
        the new one takes over. Primitives that shared an accessor share the new one too, where
        their values are still the same.
        """
        accessor = {
            key: value
            for key, value in (like or {}).items()
            if key not in ("bufferView", "byteOffset", "sparse", "min", "max")
        }
        digest = hashlib.sha256(np.ascontiguousarray(values).data).digest()
        shape = (values.shape, values.dtype.str, target, bounds)
        key = (digest, *shape, json.dumps(accessor, sort_keys=True))
        if key in self._known:
            return self._known[key]
        accessor.update(
            bufferView=self._view(values, target),
            componentType=_CODES[values.dtype],
            count=len(values),
            type=_TYPES[values.shape[1]],
        )
        if bounds:
            accessor["min"], accessor["max"] = values.min(0).tolist(), values.max(0).tolist()
        accessors = self.document.setdefault("accessors", [])
        accessors.append(accessor)
        self._known[key] = len(accessors) - 1
        return len(accessors) - 1

    def finish(self) -> bytes:
        """Set the length of the buffer that was added to, and return what belongs at the end of
        the binary chunk."""
        if not self.data:
            return b""
        buffers = self.document.setdefault("buffers", [])
        if self._in_chunk:
            self.replace("buffers", 0)["byteLength"] = self._start + len(self.data)
            return b"\0" * self._padding + bytes(self.data)
        text = base64.b64encode(self.data).decode("ascii")
        uri = f"data:application/octet-stream;base64,{text}"
        buffers.append({"byteLength": len(self.data), "uri": uri})
        return b""

    def _view(self, values: npt.NDArray[Any], target: int) -> int:
        """Add the bytes of (N, width) values and return the index of their buffer view."""
        size = values.dtype.itemsize * values.shape[1]
        stride = size if target == _INDICES else -(-size // 4) * 4
        rows = np.zeros((len(values), stride), np.uint8)
        rows[:, :size] = np.ascontiguousarray(values).view(np.uint8).reshape(len(values), size)
        view: dict[str, Any] = {
            "buffer": self.buffer,
            "byteOffset": self._start + len(self.data),
            "byteLength": rows.size,
        }
        if stride != size:
            view["byteStride"] = stride
        view["target"] = target
        self.data += rows.tobytes()
        self.data += b"\0" * (-len(self.data) % 4)
        views = self.document.setdefault("bufferViews", [])
        views.append(view)
        return len(views) - 1


def encode_mesh(
    draft: Draft, accessors: Accessors, index: int, original: Mesh, current: Mesh
) -> None:
    """Put the mesh `current` in place of `original`, the file's mesh `index`.

    Errors: ValueError when the file keeps something about the mesh that the edit would spoil.
    """
    mesh = draft.replace("meshes", index)
    olds = {part.primitive: number for number, part in enumerate(original.handles.parts)}
    written: dict[int, list[dict[str, Any]]] = {}
    moved = False
    for number, part in enumerate(current.handles.parts):
        edit = _Primitive(draft, accessors, mesh["primitives"][part.primitive], original, current)
        result = edit.write(olds[part.primitive], number)
        moved |= edit.moved
        written.setdefault(part.primitive, []).append(result)
    if moved and len(olds) < len(mesh["primitives"]):
        raise ValueError("the mesh has lines or points, which would stay behind")
    mesh["primitives"] = [
        primitive
        for number, old in enumerate(mesh["primitives"])
        for primitive in (written.get(number, []) if number in olds else [old])
    ]


def same_vertices(
    accessors: Accessors, primitive: dict[str, Any], first: Indices, second: Indices
) -> bool:
    """Whether vertices (N,) and (N,) of a primitive agree pair by pair in all their attributes.
    Attributes that cannot be read may differ."""
    try:
        for owner in (primitive["attributes"], *primitive.get("targets", [])):
            for name, index in owner.items():
                values = accessors.raw(index, name)
                if not np.array_equal(values[first], values[second]):
                    return False
    except SceneError:
        return False
    return True


class _Primitive:
    """One primitive, brought from the state `original` to `current`."""

    def __init__(
        self,
        draft: Draft,
        accessors: Accessors,
        source: dict[str, Any],
        original: Mesh,
        current: Mesh,
    ) -> None:
        self._draft, self._accessors = draft, accessors
        self._source = source
        self._result = copy.deepcopy(source)
        self._original, self._current = original, current
        self._renumbered = False
        #: After `write`: whether points are in another place than before.
        self.moved = False
        self._sources: Indices = np.zeros(0, np.int64)

    def write(self, old: int, new: int) -> dict[str, Any]:
        """The primitive to be. `old` and `new` are the numbers of its part in the two meshes."""
        before: Part = self._original.handles.parts[old]
        after: Part = self._current.handles.parts[new]
        self._sources = after.sources
        self._renumbered = not np.array_equal(after.sources, before.sources)
        self.moved = moved = self._set("POSITION", self._current.points[after.points])
        shaded = self._shading(new)
        self._require_shapes_fit(moved, shaded)
        if self._renumbered:
            self._gather_others()
        if moved or shaded:
            # They follow from points, normals and UVs; readers compute them when they are missing.
            self._result["attributes"].pop("TANGENT", None)
        self._write_indices(old, new)
        if after.material != before.material:
            self._result.pop("material", None)
            if after.material is not None:
                self._result["material"] = after.material
        return self._result

    def _shading(self, new: int) -> bool:
        """Write normals and UV sets; whether any of them changed."""
        old_sets, new_sets = self._original.uv_sets, self._current.uv_sets
        changed = self._corner_values("NORMAL", self._current.normals, new)
        for name in dict.fromkeys([*old_sets, *new_sets]):
            changed |= self._corner_values(name, new_sets.get(name), new)
        return changed

    def _corner_values(self, name: str, values: Reals | None, new: int) -> bool:
        if values is None:
            return self._result["attributes"].pop(name, None) is not None
        handles = self._current.handles
        mine = np.repeat(handles.faces == new, 3)
        if name in self._source["attributes"]:
            wanted = self._stored(name, values.shape[1]).copy()
        elif not values[mine].any():
            return False  # what the file does not have reads as zeros
        else:
            wanted = np.zeros((len(self._sources), values.shape[1]))
        wanted[handles.vertices[mine]] = values[mine]
        return self._set(name, wanted)

    def _set(self, name: str, wanted: Reals) -> bool:
        """Write an attribute when it differs from the file's; whether it does."""
        attributes = self._result["attributes"]
        if name in attributes and np.array_equal(wanted, self._stored(name, wanted.shape[1])):
            if self._renumbered:
                attributes[name] = self._gathered(name, attributes[name])
            return False
        values = wanted.astype("<f4")
        attributes[name] = self._draft.accessor(values, _VERTICES, name == "POSITION")
        return True

    def _stored(self, name: str, width: int) -> Reals:
        """(V, width) what the file has for the vertices to be, as it is read."""
        values = self._accessors.reals(self._source["attributes"][name], width, name)
        if name == "NORMAL":
            values[~np.isfinite(values).all(axis=1)] = 0.0
        return values[self._sources]

    def _gather_others(self) -> None:
        """Take over what this program does not edit for the vertices to be."""
        unknown = [name for name in self._source.get("extensions", {}) if name not in _HARMLESS]
        if unknown:
            raise ValueError(f"{unknown[0]} may refer to vertices, which would be renumbered")
        attributes = self._result["attributes"]
        for name, index in attributes.items():
            if index == self._source["attributes"].get(name):
                attributes[name] = self._gathered(name, index)
        for target in self._result.get("targets", []):
            for name, index in target.items():
                target[name] = self._gathered(name, index)

    def _gathered(self, name: str, index: int) -> int:
        like = self._draft.document["accessors"][index]
        values = self._accessors.raw(index, "attributes")[self._sources]
        bounds = name == "POSITION" or "min" in like
        return self._draft.accessor(values, _VERTICES, bounds, like)

    def _require_shapes_fit(self, moved: bool, shaded: bool) -> None:
        names = {name for target in self._source.get("targets", []) for name in target}
        if moved and names or shaded and names & {"NORMAL", "TANGENT"}:
            raise ValueError("the mesh has blend shapes, which are offsets from what would change")

    def _write_indices(self, old: int, new: int) -> None:
        before, after = self._original.handles, self._current.handles
        first = before.vertices[np.repeat(before.faces == old, 3)]
        second = after.vertices[np.repeat(after.faces == new, 3)]
        if not self._renumbered and np.array_equal(first, second):
            return
        kind = "<u2" if len(self._sources) < 0xFFFF else "<u4"
        values = second.astype(kind).reshape(-1, 1)
        self._result["indices"] = self._draft.accessor(values, _INDICES)
        if self._result.get("mode", TRIANGLES) != TRIANGLES:
            self._result["mode"] = TRIANGLES
