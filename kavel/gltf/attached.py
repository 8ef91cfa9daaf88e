"""What a node carries besides the faces of its mesh, and what else in the file refers to it."""

from __future__ import annotations

import re
from collections.abc import Iterator
from typing import Any

from kavel.gltf.lookup import Lookup
from kavel.gltf.meshes import has_faces

# Extensions that say nothing of where a node stands.
_HARMLESS = ("KHR_node_visibility", "KHR_node_selectability", "KHR_node_hoverability")
_WORDS = {"KHR_lights_punctual": "a light", "EXT_mesh_gpu_instancing": "copies"}
_SHAPES = {0: "points", 1: "lines", 2: "lines", 3: "lines"}
# What extensions call the index of a node, or a list of such. Another index that is taken for one
# costs no more than a fix that is not offered.
_NODE_KEY = re.compile(r"(.*(node|bone|joint)s?|ids|center|source)\Z", re.IGNORECASE)
_POINTER = re.compile(r"/nodes/(0|[1-9]\d{0,8})(?:/|\Z)")


class Attachments:
    """Answers for the nodes of one document."""

    def __init__(self, lookup: Lookup) -> None:
        self._lookup = lookup
        self._referring: dict[int, dict[str, None]] | None = None

    def of(self, index: int) -> str:
        """In words, as in "a camera and lines"; "" for nothing. Errors: SceneError with the
        place."""
        look, place = self._lookup, f"nodes[{index}]"
        node = look.entry("nodes", index, place)
        found = ["a camera"] if "camera" in node else []
        for name in look.mapping(node, "extensions", place):
            if name not in _HARMLESS:
                found.append(_WORDS.get(name, f"the extension {name}"))
        if "mesh" in node:
            mesh = look.entry("meshes", node["mesh"], f"{place}.mesh")
            for primitive in look.entries(mesh, "primitives", f"meshes[{node['mesh']}]"):
                if not has_faces(primitive):
                    mode = primitive.get("mode")
                    shape = _SHAPES.get(mode) if type(mode) is int else None
                    found.append(shape or "a primitive without faces")
        if self._referring is None:
            self._referring = self._references()
        found += [f"what {name} refers to" for name in self._referring.get(index, ())]
        return " and ".join(dict.fromkeys(found))

    def _references(self) -> dict[int, dict[str, None]]:
        """By node, the extensions of the document, its scenes and other nodes that refer to it."""
        document = self._lookup.document
        found: dict[int, dict[str, None]] = {}
        owners: list[tuple[int | None, Any]] = [(None, document)]
        owners += [(None, scene) for scene in self._lookup.entries(document, "scenes", "")]
        owners += list(enumerate(self._lookup.entries(document, "nodes", "")))
        for own, owner in owners:
            extensions = owner.get("extensions")
            for name, content in extensions.items() if isinstance(extensions, dict) else ():
                for node in _nodes_in(content):
                    if node != own:
                        found.setdefault(node, {})[name] = None
        return found


def _nodes_in(content: Any) -> Iterator[int]:
    """What looks like an index of a node in the JSON value of an extension."""
    stack = [("", content)]
    while stack:
        key, value = stack.pop()
        if isinstance(value, dict):
            stack += value.items()
        elif isinstance(value, list):
            stack += [(key, item) for item in value]
        elif isinstance(value, str):
            pointer = _POINTER.match(value)
            if pointer:
                yield int(pointer[1])
        elif type(value) is int and _NODE_KEY.match(key):
            yield value
