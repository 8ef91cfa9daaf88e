"""Which nodes skins, blend shapes and animations depend on."""

from __future__ import annotations

import re
from typing import Any

from kavel.gltf.lookup import Lookup

_NODE = re.compile(r"/nodes/(0|[1-9]\d*)(/|\Z)")
# Below these, nothing is said of where a node stands or of the points of its mesh; the blend shapes
# of meshes are found by themselves.
_ELSEWHERE = ("/materials/", "/textures/", "/images/", "/cameras/", "/meshes/", "/extensions/")


class Deformation:
    """Answers for the nodes of one document, in which the parents are sound.

    Errors: SceneError with the place for animations, skins and meshes that cannot be read.
    """

    def __init__(self, lookup: Lookup) -> None:
        self._lookup = lookup
        self._concerned: set[int] | None = None
        self._known_joints: frozenset[int] | None = None
        self._users: dict[Any, int] | None = None

    def concerns(self, node: int) -> bool:
        """Whether a deformation depends on the points or the placement of a node."""
        if self._concerned is None:
            self._concerned = self._collect()
        return node in self._concerned

    def is_joint(self, node: int) -> bool:
        """Whether a skin places points by a node."""
        return node in self._joints()

    def users(self, mesh: int) -> int:
        """How many nodes show a mesh."""
        if self._users is None:
            self._users = {}
            for node in self._nodes():
                index = node.get("mesh")
                if type(index) is int:
                    self._users[index] = self._users.get(index, 0) + 1
        return self._users.get(mesh, 0)

    def _collect(self) -> set[int]:
        nodes = self._nodes()
        parents = {
            child: index
            for index, node in enumerate(nodes)
            for child in node.get("children") or ()
            if type(child) is int
        }
        concerned: set[int] = set()
        for target in [*self._animated(), *self._joints()]:
            above: int | None = target
            while above is not None and above not in concerned:
                concerned.add(above)
                above = parents.get(above)
        for index, node in enumerate(nodes):
            extensions = self._lookup.mapping(node, "extensions", f"nodes[{index}]")
            instanced = "EXT_mesh_gpu_instancing" in extensions
            if "skin" in node or instanced or self._has_shapes(node, f"nodes[{index}]"):
                concerned.add(index)
        return concerned

    def _nodes(self) -> list[dict[str, Any]]:
        return self._lookup.entries(self._lookup.document, "nodes", "")

    def _animated(self) -> list[int]:
        look, found = self._lookup, []
        for number, animation in enumerate(look.entries(look.document, "animations", "")):
            place = f"animations[{number}]"
            for position, channel in enumerate(look.entries(animation, "channels", place)):
                spot = f"{place}.channels[{position}]"
                target = look.mapping(channel, "target", spot)
                if "node" in target:
                    look.entry("nodes", target["node"], f"{spot}.target.node")
                    found.append(target["node"])
                extensions = look.mapping(target, "extensions", f"{spot}.target")
                if "KHR_animation_pointer" in extensions:
                    found += self._pointed_at(extensions["KHR_animation_pointer"])
        return found

    def _pointed_at(self, extension: Any) -> list[int]:
        """The nodes that a JSON pointer leads to; all of them when it is not understood."""
        pointer = extension.get("pointer") if isinstance(extension, dict) else None
        count = len(self._nodes())
        if isinstance(pointer, str):
            node = _NODE.match(pointer)
            if node and len(node[1]) < 10 and int(node[1]) < count:
                return [int(node[1])]
            if pointer.startswith(_ELSEWHERE):
                return []
        return list(range(count))

    def _joints(self) -> frozenset[int]:
        if self._known_joints is None:
            self._known_joints = frozenset(self._read_joints())
        return self._known_joints

    def _read_joints(self) -> list[int]:
        look, found = self._lookup, []
        for number, skin in enumerate(look.entries(look.document, "skins", "")):
            joints = skin.get("joints")
            if not isinstance(joints, list):
                raise look.error(f"skins[{number}].joints", "is not an array")
            for position, joint in enumerate(joints):
                look.entry("nodes", joint, f"skins[{number}].joints[{position}]")
                found.append(joint)
        return found

    def _has_shapes(self, node: dict[str, Any], place: str) -> bool:
        if "mesh" not in node:
            return False
        mesh = self._lookup.entry("meshes", node["mesh"], f"{place}.mesh")
        primitives = self._lookup.entries(mesh, "primitives", f"meshes[{node['mesh']}]")
        return any(primitive.get("targets") for primitive in primitives)
