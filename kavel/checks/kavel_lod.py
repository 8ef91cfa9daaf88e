"""Checks of levels of detail."""

from __future__ import annotations

from typing import Any

import core
from kavel.checking import ObjectCheck, Values, listing
from kavel.checking.levels import chains, level_input, levels, shown_children, triangle_count
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
        found: dict[str, None] = {}
        words = []
        # An asset may be of several objects, and a group may hold several assets.
        whole = levels(scene, path, values.level)
        single = chains(scene, path, values.level).values()
        for steps in (whole, *(chain for chain in single if chain != whole and len(chain) > 1)):
            before = None
            for number, paths in steps.items():
                count = sum(triangle_count(scene, item) for item in paths)
                if before is not None and count > before * share and not found.keys() >= set(paths):
                    found.update(dict.fromkeys(paths))
                    words.append(f"level {number} {count:,} after {before:,}")
                before = count
        if found:
            self.report(
                f"of a level with too many triangles ({listing(words)})", objects=list(found)
            )


class LodNumbering(ObjectCheck):
    class_id = "kavel.lod.numbering"
    short_name = "LOD Numbering"
    long_name = "Gap in the Levels of Detail"
    description = (
        "Finds groups in which a level of detail is missing: the numbers in the names do not begin "
        "at the first, or leave one out, be it of a single asset in the group."
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
        for stem, chain in chains(scene, path, values.level).items():
            inner = range(min(chain), min(max(chain), min(chain) + 100))
            gaps = [number for number in inner if number not in chain]
            if gaps:
                self.report(f'Of "{stem}", there is no level {listing(gaps)}', items=gaps)


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
                core.Parameters.RegEx(
                    "other",
                    r"(?i)U(CX|BX|SP|CP)_.*",
                    label="Others",
                    help_text="Matches the whole name of what is no level, such as collisions.",
                ),
                level_input(),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        if not levels(scene, path, values.level):
            return
        names = {child: scene.name(child) for child in shown_children(scene, path)}
        found = [
            child
            for child, name in names.items()
            if not values.name.fullmatch(name) and not values.other.fullmatch(name)
        ]
        if found:
            self.report("not named like a level of detail", objects=found)
