"""Where the entries of a glTF document refer to each other by index.

A kind is the place of an array in the document: "nodes", or "extensions/KHR_lights_punctual/lights"
for one that an extension brings along.
"""

from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import Any, NamedTuple

#: In the order in which they are written.
KINDS = (
    "nodes",
    "cameras",
    "animations",
    "skins",
    "meshes",
    "materials",
    "textures",
    "images",
    "samplers",
    "accessors",
    "bufferViews",
)
LIGHTS = "extensions/KHR_lights_punctual/lights"
VARIANTS = "extensions/KHR_materials_variants/variants"
PACKETS = "extensions/KHR_xmp_json_ld/packets"
MESHOPT = ("EXT_meshopt_compression", "KHR_meshopt_compression")
LOD = "MSFT_lod"
POINTER = "KHR_animation_pointer"
DRACO = "KHR_draco_mesh_compression"

_KNOWN_PREFIX = "KHR_materials_"  # their only indices are those of textures
_KNOWN = {
    "EXT_mesh_gpu_instancing",
    "EXT_texture_avif",
    "EXT_texture_webp",
    "KHR_lights_punctual",
    "KHR_mesh_quantization",
    "KHR_node_hoverability",
    "KHR_node_selectability",
    "KHR_node_visibility",
    "KHR_texture_basisu",
    "KHR_texture_transform",
    "KHR_xmp_json_ld",
    "MSFT_packing_normalRoughnessMetallic",
    "MSFT_packing_occlusionRoughnessMetallic",
    "MSFT_texture_dds",
    DRACO,
    LOD,
    POINTER,
    *MESHOPT,
}


class Slot(NamedTuple):
    """A place that holds an index: `owner[key]` is one into the array `kind`."""

    owner: Any
    key: Any
    kind: str


def is_known(extension: str) -> bool:
    """Whether `slots` finds every index that an extension may hold."""
    return extension in _KNOWN or extension.startswith(_KNOWN_PREFIX)


def entries_of(document: dict[str, Any], kind: str) -> list[Any]:
    """The array that `kind` stands for; empty when it is missing, or no array."""
    owner: Any = document
    for key in kind.split("/"):
        owner = owner.get(key) if isinstance(owner, dict) else None
    return owner if isinstance(owner, list) else []


def slots(kind: str, entry: Any) -> Iterator[Slot]:
    """Every place of an entry of the array `kind` that holds an index. What is no index is for the
    caller to refuse; values of another shape than they should have hold none."""
    if not isinstance(entry, dict):
        return
    if kind in _FINDERS:
        yield from _FINDERS[kind](entry)
    yield from _one(extensions(entry).get("KHR_xmp_json_ld"), "packet", PACKETS)


def extensions(entry: dict[str, Any]) -> dict[str, Any]:
    found = entry.get("extensions")
    return found if isinstance(found, dict) else {}


def dicts(owner: Any, key: str) -> list[dict[str, Any]]:
    """The objects in an array of `owner`."""
    values = owner.get(key) if isinstance(owner, dict) else None
    return [item for item in values if isinstance(item, dict)] if isinstance(values, list) else []


def _one(owner: Any, key: str, kind: str) -> Iterator[Slot]:
    if isinstance(owner, dict) and key in owner:
        yield Slot(owner, key, kind)


def _each(owner: Any, key: str, kind: str) -> Iterator[Slot]:
    values = owner.get(key) if isinstance(owner, dict) else None
    if isinstance(values, list):
        yield from (Slot(values, position, kind) for position in range(len(values)))


def _values(owner: Any, key: str, kind: str) -> Iterator[Slot]:
    values = owner.get(key) if isinstance(owner, dict) else None
    if isinstance(values, dict):
        yield from (Slot(values, name, kind) for name in values)


def _scene(scene: dict[str, Any]) -> Iterator[Slot]:
    yield from _each(scene, "nodes", "nodes")


def _node(node: dict[str, Any]) -> Iterator[Slot]:
    for key, kind in (("mesh", "meshes"), ("skin", "skins"), ("camera", "cameras")):
        yield from _one(node, key, kind)
    yield from _each(node, "children", "nodes")
    found = extensions(node)
    yield from _one(found.get("KHR_lights_punctual"), "light", LIGHTS)
    yield from _each(found.get(LOD), "ids", "nodes")
    yield from _values(found.get("EXT_mesh_gpu_instancing"), "attributes", "accessors")


def _mesh(mesh: dict[str, Any]) -> Iterator[Slot]:
    for primitive in dicts(mesh, "primitives"):
        yield from _values(primitive, "attributes", "accessors")
        yield from _one(primitive, "indices", "accessors")
        yield from _one(primitive, "material", "materials")
        for target in dicts(primitive, "targets"):
            yield from (Slot(target, name, "accessors") for name in target)
        found = extensions(primitive)
        yield from _one(found.get(DRACO), "bufferView", "bufferViews")
        for mapping in dicts(found.get("KHR_materials_variants"), "mappings"):
            yield from _one(mapping, "material", "materials")
            yield from _each(mapping, "variants", VARIANTS)


def _material(material: dict[str, Any]) -> Iterator[Slot]:
    stack = [material]
    while stack:
        for key, value in stack.pop().items():
            if isinstance(value, dict) and key != "extras":
                if key.endswith("Texture"):
                    yield from _one(value, "index", "textures")
                stack.append(value)
    yield from _each(extensions(material).get(LOD), "ids", "materials")


def _texture(texture: dict[str, Any]) -> Iterator[Slot]:
    yield from _one(texture, "sampler", "samplers")
    yield from _one(texture, "source", "images")
    # A format that needs an extension stands beside the plain one, or in place of it.
    for extension in extensions(texture).values():
        yield from _one(extension, "source", "images")


def _image(image: dict[str, Any]) -> Iterator[Slot]:
    yield from _one(image, "bufferView", "bufferViews")


def _skin(skin: dict[str, Any]) -> Iterator[Slot]:
    yield from _one(skin, "inverseBindMatrices", "accessors")
    yield from _one(skin, "skeleton", "nodes")
    yield from _each(skin, "joints", "nodes")


def _animation(animation: dict[str, Any]) -> Iterator[Slot]:
    for channel in dicts(animation, "channels"):
        yield from _one(channel.get("target"), "node", "nodes")
    for sampler in dicts(animation, "samplers"):
        yield from _one(sampler, "input", "accessors")
        yield from _one(sampler, "output", "accessors")


def _accessor(accessor: dict[str, Any]) -> Iterator[Slot]:
    yield from _one(accessor, "bufferView", "bufferViews")
    sparse = accessor.get("sparse")
    if isinstance(sparse, dict):
        yield from _one(sparse.get("indices"), "bufferView", "bufferViews")
        yield from _one(sparse.get("values"), "bufferView", "bufferViews")


_FINDERS: dict[str, Callable[[dict[str, Any]], Iterator[Slot]]] = {
    "scenes": _scene,
    "nodes": _node,
    "meshes": _mesh,
    "materials": _material,
    "textures": _texture,
    "images": _image,
    "skins": _skin,
    "animations": _animation,
    "accessors": _accessor,
}
