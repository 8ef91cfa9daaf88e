"""Checks of levels of detail."""

from __future__ import annotations

from typing import Any

import core
from kavel.checking import ObjectCheck, Values, listing
from kavel.checking.levels import level_input, levels, shown_children, triangle_count
from kavel.view import Scene

_Type = core.Constants.Scene.Type
_GROUPS = core.Mask.Item(
    _Type.LodGroup, _Type.Transform, name="LOD Group or Group", attr="LodGroupTransform"
)


class LodTriangles(ObjectCheck):
    class_id = "kavel.lod.triangles"
    short_name = "LOD Triangles"
    long_name = "Level of Detail with Too Many Triangles"
    description = (
        "Finds levels of detail that save too little: each level may have at most a given share of "
        "the triangles of the level before it."
    )
    category = core.Constants.Check.Category.Lod
    sort_index = 10
    mask = _GROUPS

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.FloatRange(
                    "share",
                    minimum=0.0,
                    maximum=1.0,
                    step=0.05,
                    precision=2,
                    value=0.75,
                    label="Largest share",
                    help_text="Of the triangles of the level before.",
                ),
                level_input(),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        share = values.share
        found, words = [], []
        before = None
        for number, paths in levels(scene, path, values.level).items():
            count = sum(triangle_count(scene, item) for item in paths)
            if before is not None and count > before * share:
                found.extend(paths)
                words.append(f"level {number} {count:,} after {before:,}")
            before = count
        if found:
            self.report(f"of a level with too many triangles ({listing(words)})", objects=found)


class LodNumbering(ObjectCheck):
    class_id = "kavel.lod.numbering"
    short_name = "LOD Numbering"
    long_name = "Gap in the Levels of Detail"
    description = (
        "Finds groups in which a level of detail is missing: the numbers in the names do not begin "
        "at the first, or leave one out."
    )
    category = core.Constants.Check.Category.Lod
    sort_index = 20
    mask = _GROUPS

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.IntRange(
                    "first",
                    minimum=0,
                    maximum=10,
                    value=0,
                    label="First",
                    help_text="The number of the finest level.",
                ),
                level_input(),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        numbers = list(levels(scene, path, values.level))
        if not numbers or not any(
            values.level.search(scene.name(child)) for child in scene.children(path)
        ):
            return
        first = values.first
        # A number like 20240101 must not make a list of millions.
        last = min(numbers[-1], first + 100)
        missing = [number for number in range(first, last) if number not in numbers]
        early = [number for number in numbers if number < first]
        if missing:
            word = "Level" if len(missing) == 1 else "Levels"
            verb = "is" if len(missing) == 1 else "are"
            self.report(f"{word} {listing(missing)} {verb} missing", items=missing)
        if early:
            self.report(f"Level {listing(early)} comes before the first, {first}", items=early)


class LodNames(ObjectCheck):
    class_id = "kavel.lod.names"
    short_name = "LOD Names"
    long_name = "Badly Named Level of Detail"
    description = (
        "Finds what is shown in a group with levels of detail and not named like a level, so that "
        "engines do not take it for one."
    )
    category = core.Constants.Check.Category.Lod
    sort_index = 30
    mask = _GROUPS

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.RegEx(
                    "name",
                    r".+_LOD\d+",
                    label="Name",
                    help_text="Must match the whole name of each level.",
                ),
                level_input(),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        if not levels(scene, path, values.level):
            return
        expression = values.name
        shown = shown_children(scene, path)
        found = [child for child in shown if not expression.fullmatch(scene.name(child))]
        if found:
            self.report("not named like a level of detail", objects=found)
