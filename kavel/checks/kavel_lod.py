"""Checks of levels of detail."""

from __future__ import annotations

from typing import Any

import core
from kavel.checking import ObjectCheck, Values, listing
from kavel.checking.levels import (
    chains,
    level_input,
    levels,
    shown_children,
    top_step,
    triangle_count,
)
from kavel.view import Scene

_Type = core.Constants.Scene.Type
# What has no parent may be a level itself, beside the others at the top of the scene.
_GROUPS = core.Mask.Item(
    _Type.LodGroup,
    _Type.Transform,
    _Type.Mesh,
    name="LOD Group, Group or Mesh",
    attr="LodGroupTransformMesh",
)


class LodTriangles(ObjectCheck):
    class_id = "kavel.lod.triangles"
    short_name = "LOD Triangles"
    long_name = "Level of Detail with Too Many Triangles"
    description = (
        "Finds levels of detail that save too little: each level may have at most a given share of "
        "the triangles of the level before it, in its group or beside it at the top of the scene."
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
        several = (chain for chain in single if chain != whole and len(chain) > 1)
        for steps in (whole, *several, top_step(scene, path, values.level)):
            before = None
            for number, paths in steps.items():
                count = sum(triangle_count(scene, item) for item in paths)
                if before is not None and count > before * share and not found.keys() >= set(paths):
                    found.update(dict.fromkeys(paths))
                    words.append(f"level {number}: {count:,} after {before:,}")
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
        "at the first, or leave one out, be it of a single asset in the group. At the top of the "
        "scene, the level after the gap is found."
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
        first, level = values.first, values.level
        step = list(top_step(scene, path, level))
        if step:
            self._require_all(step[-1:], first if len(step) == 1 else step[0] + 1, first)
        numbers = list(levels(scene, path, level))
        if not numbers or not any(
            level.search(scene.name(child)) for child in scene.children(path)
        ):
            return
        self._require_all(numbers, first, first)
        for stem, chain in chains(scene, path, level).items():
            inner = range(min(chain), min(max(chain), min(chain) + 100))
            gaps = [number for number in inner if number not in chain]
            if gaps:
                self.report(f'Of "{stem}", there is no level {listing(gaps)}', items=gaps)

    def _require_all(self, numbers: list[int], begin: int, first: int) -> None:
        """Report what is missing of the levels from `begin` on, and levels before the `first`."""
        # A number like 20240101 must not make a list of millions.
        last = min(numbers[-1], first + 100)
        missing = [number for number in range(begin, last) if number not in numbers]
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
        "engines do not take it for one; and badly named levels at the top of the scene."
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
        asked = [path] if top_step(scene, path, values.level) else []
        if levels(scene, path, values.level):
            asked += shown_children(scene, path)
        names = {item: scene.name(item) for item in asked}
        found = [
            item
            for item, name in names.items()
            if not values.name.fullmatch(name) and not values.other.fullmatch(name)
        ]
        if found:
            self.report("not named like a level of detail", objects=found)
