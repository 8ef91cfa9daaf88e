"""What a node carries besides the faces of its mesh."""

from __future__ import annotations

from kavel.gltf.lookup import Lookup
from kavel.gltf.meshes import has_faces

# Extensions that say nothing of where a node stands.
_HARMLESS = ("KHR_node_visibility", "KHR_node_selectability", "KHR_node_hoverability")
_WORDS = {"KHR_lights_punctual": "a light", "EXT_mesh_gpu_instancing": "copies"}
_SHAPES = {0: "points", 1: "lines", 2: "lines", 3: "lines"}


def attached(look: Lookup, index: int) -> str:
    """In words, as in "a camera and lines"; "" for nothing. Errors: SceneError with the place."""
    place = f"nodes[{index}]"
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
    return " and ".join(dict.fromkeys(found))
