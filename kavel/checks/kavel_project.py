"""Checks of what a project allows."""

from __future__ import annotations

import re
from typing import Any

import core
from kavel.checking import ObjectCheck, SceneCheck, Values, counted, listing
from kavel.checking.geometry.bounds import world_bounds
from kavel.checking.levels import triangles_of
from kavel.checking.reading import Readable
from kavel.view import Scene


class TriangleBudget(SceneCheck):
    class_id = "kavel.project.triangle_budget"
    short_name = "Triangle Budget"
    long_name = "Too Many Triangles"
    description = (
        "Finds a scene with more triangles than the project allows, and single objects with more "
        "than one object may have. An object that shows the mesh of another counts again."
    )
    category = core.Constants.Check.Category.Project
    sort_index = 10

    @staticmethod
    def parameters() -> Any:
        def limit(attr: str, value: int, label: str) -> Any:
            return core.Parameters.IntRange(
                attr, 0, 100_000_000, 1000, value, label=label, help_text="Most triangles."
            )

        return core.Parameters.Block(
            [limit("scene", 100_000, "Scene"), limit("object", 50_000, "Object")]
        )

    def find(self, scene: Scene, values: Values) -> None:
        readable = Readable(scene)
        counts = {path: triangles_of(mesh) for path, mesh in readable.meshes.items()}
        total, most = sum(counts.values()), values.object
        over = [path for path, count in counts.items() if count > most]
        over.sort(key=lambda path: -counts[path])
        text = f"the scene has {total:,} triangles, allowed are {values.scene:,}"
        too_many = total > values.scene
        if over:
            also = f" ({text})" if too_many else ""
            self.report(f"with more than {most:,} triangles{also}", objects=over)
        if too_many:
            self.report(text[0].upper() + text[1:], items=[scene.file])
        readable.require_all()


class TextureBudget(SceneCheck):
    class_id = "kavel.project.texture_budget"
    short_name = "Texture Budget"
    long_name = "Too Many Textures"
    description = (
        "Finds a scene whose materials use more textures, or more pixels in all, than the project "
        "allows. A texture that several materials use counts once."
    )
    category = core.Constants.Check.Category.Project
    sort_index = 20

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        return kinds.Block(
            [
                kinds.IntRange(
                    "count", 0, 10_000, 1, 50, label="Textures", help_text="Most textures."
                ),
                kinds.IntRange(
                    "megapixels",
                    0,
                    100_000,
                    1,
                    256,
                    units="MP",
                    label="Pixels",
                    help_text="Most pixels of all textures, in millions.",
                ),
            ]
        )

    def find(self, scene: Scene, values: Values) -> None:
        readable = Readable(scene)
        slots = (slot for mesh in readable.meshes.values() for slot in mesh.slots)
        used = {image for slot in slots if slot is not None for image in slot.images.values()}
        images = sorted(used, key=lambda image: -image.width * image.height)
        pixels = sum(image.width * image.height for image in images)
        problems = []
        if len(images) > values.count:
            problems.append(f"{counted(len(images), 'texture')}, allowed are {values.count:,}")
        if pixels > values.megapixels * 1_000_000:
            problems.append(
                f"{pixels / 1e6:,.1f} million pixels, allowed are {values.megapixels:,}"
            )
        if problems:
            names = [image.name for image in images]
            self.report(f"{', and '.join(problems)}. Largest: {listing(names)}", items=names)
        readable.require_all()


class ForbiddenNames(ObjectCheck):
    class_id = "kavel.project.forbidden_names"
    short_name = "Forbidden Names"
    long_name = "Name with a Forbidden Part"
    description = (
        "Finds objects with a text in their name that the project does not want, such as what is "
        "left of pasting or of a test. Texts that are switched off are not looked for."
    )
    category = core.Constants.Check.Category.Project
    sort_index = 30

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        texts = {"temp": True, "copy": True, "test": True, "pasted": True, "old": False, " ": False}
        return kinds.Block(
            [
                kinds.TextInputList(
                    "parts",
                    [kinds.TextInput(text, enabled) for text, enabled in texts.items()],
                    help_text="Texts that no name may contain.",
                ),
                kinds.Switch(
                    "ignore_case", True, label="Ignore case", help_text='"Temp" is like "temp".'
                ),
                kinds.Switch(
                    "whole_words",
                    True,
                    label="Whole words",
                    help_text='"temp" is in "temp_box" and "tempBox", not in "temple".',
                ),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        shown = scene.name(path)
        flags = re.IGNORECASE if values.ignore_case else 0
        found = []
        for part in filter(None, values.parts):
            spans = (match.span() for match in re.finditer(re.escape(part), shown, flags))
            if any(not values.whole_words or _is_word(shown, *span) for span in spans):
                found.append(part)
        if found:
            quoted = " and ".join(f'"{part}"' for part in found)
            self.report(f'The name "{shown}" contains {quoted}', items=found)


def _is_word(text: str, start: int, end: int) -> bool:
    """Whether no word of `text` goes on before or after the part from `start` to `end`. A capital
    behind a small letter begins another word."""
    return all(
        place in (0, len(text))
        or not (text[place - 1].isalpha() and text[place].isalpha())
        or (text[place - 1].islower() and text[place].isupper())
        for place in (start, end)
    )


class BoundingSize(ObjectCheck):
    class_id = "kavel.project.bounding_size"
    short_name = "Size"
    long_name = "Object Too Small or Too Large"
    description = (
        "Finds objects that are smaller or larger than the project allows, measured along the "
        "longest side of the box around all that they show. A wrong unit often shows this way."
    )
    category = core.Constants.Check.Category.Project
    sort_index = 40

    @staticmethod
    def parameters() -> Any:
        def limit(attr: str, value: float, label: str) -> Any:
            return core.Parameters.FloatRange(
                attr, 0.0, 100_000.0, 0.01, 4, value, units="m", label=label, help_text="In metres."
            )

        return core.Parameters.Block(
            [limit("smallest", 0.001, "Smallest"), limit("largest", 100.0, "Largest")]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        bounds = world_bounds(scene, path)
        if bounds is None:
            return
        size = float((bounds[1] - bounds[0]).max())
        if size < values.smallest:
            self.report(f"The object is {size:g} m large, at least {values.smallest:g} m is asked")
        if size > values.largest:
            self.report(f"The object is {size:g} m large, at most {values.largest:g} m is allowed")
