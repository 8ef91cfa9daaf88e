"""Checks of materials and their textures."""

from __future__ import annotations

from typing import Any

import numpy as np

import core
from kavel.checking import MeshCheck, Values, combo, counted, listing, matches_any
from kavel.checking.values import default_names_input
from kavel.view import Image, Mesh
from kavel.view.mesh import Indices

_DEFAULT_NAMES = (
    r"(?i)(default|standard|initial|new|no|none)?[ ._-]?(material|mat|shader|shadinggroup)"
    r"[ ._-]?\d*",
    r"(?i)(lambert|phong|blinn|standardsurface|physical|standard)[._-]?\d*(sg)?",
    r"(?i)\d+ ?- ?default",
)


def _face_slots(mesh: Mesh) -> Indices:
    """(F,) the slot of each face; -1 where there is none or it is empty."""
    if mesh.materials is None or not mesh.slots:
        return np.full(mesh.face_count, -1, dtype=np.int64)
    filled = np.array([slot is not None for slot in mesh.slots])
    inside = (mesh.materials >= 0) & (mesh.materials < len(filled))
    return np.where(inside & filled[np.where(inside, mesh.materials, 0)], mesh.materials, -1)


def _used_slots(mesh: Mesh) -> set[int]:
    slots = _face_slots(mesh)
    return set(np.flatnonzero(np.bincount(slots[slots >= 0])).tolist())


class MissingMaterial(MeshCheck):
    class_id = "kavel.material.missing"
    short_name = "Material"
    long_name = "Faces Without a Material"
    description = "Finds faces that have no material, or one in a slot that is empty."
    category = core.Constants.Check.Category.Material
    sort_index = 10

    def find(self, mesh: Mesh, values: Values) -> None:
        found = np.flatnonzero(_face_slots(mesh) < 0)
        if len(found) and len(found) == mesh.face_count:
            self.report("The mesh has no material")
        if len(found):
            self.report("without a material", faces=found)


class TooManyMaterials(MeshCheck):
    class_id = "kavel.material.count"
    short_name = "Number of Materials"
    long_name = "Too Many Materials"
    description = (
        "Finds meshes that use more materials than allowed. Each one is drawn in a call of its own."
    )
    category = core.Constants.Check.Category.Material
    sort_index = 20

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.IntRange(
                    "most",
                    minimum=0,
                    maximum=100,
                    value=4,
                    label="Most materials",
                    help_text="How many different materials a mesh may use.",
                )
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        slots = (mesh.slots[index] for index in sorted(_used_slots(mesh)))
        used = dict.fromkeys((slot.name, slot.handle) for slot in slots if slot is not None)
        names = [name or "unnamed" for name, _ in used]
        if len(names) > values.most:
            self.report(
                f"The mesh uses {counted(len(names), 'material')}, allowed are {values.most}: "
                f"{listing(names)}",
                items=names,
            )


class DefaultMaterial(MeshCheck):
    class_id = "kavel.material.default"
    short_name = "Default Material"
    long_name = "Default Material"
    description = (
        "Finds materials that the application made by itself, told by their name, and those that "
        "have none. The list holds regular expressions; one of them must match the whole name."
    )
    category = core.Constants.Check.Category.Material
    sort_index = 30

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([default_names_input(_DEFAULT_NAMES)])

    def find(self, mesh: Mesh, values: Values) -> None:
        expressions = values.names
        names = dict.fromkeys(slot.name for slot in mesh.slots if slot is not None)
        found = [name or "unnamed" for name in names if not name or matches_any(name, expressions)]
        if found:
            self.report(f"{counted(len(found), 'default material')}: {listing(found)}", items=found)


class UnusedSlots(MeshCheck):
    class_id = "kavel.material.unused_slots"
    short_name = "Unused Slots"
    long_name = "Unused Material Slots"
    description = (
        "Finds material slots that are empty, or that no face uses. They travel along, and shift "
        "the numbers of the others."
    )
    category = core.Constants.Check.Category.Material
    sort_index = 40

    def find(self, mesh: Mesh, values: Values) -> None:
        used = _used_slots(mesh)
        found = [index for index in range(len(mesh.slots)) if index not in used]
        if found:
            names = [_slot_name(mesh, index) for index in found]
            self.report(f"{counted(len(found), 'slot')} not in use: {listing(names)}", items=found)


def _slot_name(mesh: Mesh, index: int) -> str:
    slot = mesh.slots[index]
    return f"{index} (empty)" if slot is None else f"{index} ({slot.name})"


_SIZES = {
    "any": "Any size",
    "four": "Multiple of four",
    "two": "Power of two",
    "square": "Power of two and square",
}


class Textures(MeshCheck):
    class_id = "kavel.material.textures"
    short_name = "Textures"
    long_name = "Missing or Odd-Sized Textures"
    description = (
        "Finds textures whose file is missing or cannot be read, and those whose size does not "
        "suit the engine: compression needs multiples of four, old hardware powers of two."
    )
    category = core.Constants.Check.Category.Material
    sort_index = 50

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        return kinds.Block(
            [
                combo("size", _SIZES, "two", "Size", "What width and height must be, in pixels."),
                kinds.IntRange(
                    "largest",
                    minimum=1,
                    maximum=65536,
                    value=8192,
                    units="px",
                    label="Largest side",
                    help_text="How many pixels a texture may be wide or high.",
                ),
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        images: dict[Image, None] = {}
        for slot in mesh.slots:
            images.update(dict.fromkeys(slot.images.values() if slot is not None else ()))
        rule, largest = values.size, values.largest
        faults = [(image.name, _fault(image, rule, largest)) for image in images]
        found = [(name, fault) for name, fault in faults if fault]
        if found:
            words = listing([f"{name} {fault}" for name, fault in found])
            names = [name for name, _ in found]
            self.report(f"{counted(len(found), 'texture')} not usable: {words}", items=names)


def _fault(image: Image, rule: str, largest: int) -> str:
    if image.missing:
        return "is missing"
    if image.unreadable:
        return "cannot be read"
    sides = (image.width, image.height)
    if 0 in sides:  # not known
        return ""
    size = f"({image.width} x {image.height})"
    if max(sides) > largest:
        return f"{size} is larger than {largest}"
    if rule == "four" and any(side % 4 for side in sides):
        return f"{size} is no multiple of four"
    if rule in ("two", "square") and any(side & (side - 1) for side in sides):
        return f"{size} is no power of two"
    if rule == "square" and image.width != image.height:
        return f"{size} is not square"
    return ""
