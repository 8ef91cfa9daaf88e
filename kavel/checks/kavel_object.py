"""Checks of objects: their names, their placement and what is below them."""

from __future__ import annotations

from collections import defaultdict
from typing import Any

import numpy as np

import core
from kavel.checking import ObjectCheck, SceneCheck, Values, combo, matches_any
from kavel.checking.freezing import Frozen, Parts, frozen
from kavel.checking.geometry.bounds import below, world_bounds
from kavel.checking.values import default_names_input
from kavel.view import Scene

_DEFAULT_NAMES = (
    r"(?i)p?(cube|box|sphere|geosphere|icosphere|cylinder|cone|torus|plane|disc|disk|pipe|circle|"
    r"pyramid|prism|helix|teapot|capsule|tube)(shape)?[._ -]?\d*",
    r"(?i)(poly|nurbs)?(surface|mesh|curve|object|extrude|default)(shape)?[._ -]?\d*",
    r"(?i)(null|empty|locator|group|grp|node|transform|dummy|point|joint|bone)[._ -]?\d*",
    r"(?i)pasted__.*",
)


class DuplicateNames(SceneCheck):
    class_id = "kavel.object.duplicate_names"
    short_name = "Duplicate Names"
    long_name = "Objects of One Name"
    description = (
        "Finds objects anywhere in the scene that have the same short name. Exporters, scripts and "
        "engines often find objects by it, and take the wrong one."
    )
    category = core.Constants.Check.Category.Object
    sort_index = 10

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.Switch(
                    "ignore_case",
                    False,
                    label="Ignore case",
                    help_text='Take "Arm" and "arm" for the same name.',
                )
            ]
        )

    def find(self, scene: Scene, values: Values) -> None:
        ignore_case = values.ignore_case
        users = defaultdict(list)
        for path in scene.paths():
            name = scene.name(path)
            users[name.casefold() if ignore_case else name].append(path)
        repeated = [path for paths in users.values() if len(paths) > 1 for path in paths]
        if repeated:
            self.report("sharing a name with another", objects=repeated)


class DefaultNames(ObjectCheck):
    class_id = "kavel.object.default_name"
    short_name = "Default Name"
    long_name = "Object with a Default Name"
    description = (
        "Finds objects that were never given a name of their own, like Cube.001, and those "
        "that have none. The list holds regular expressions; one of them must match the whole "
        "name."
    )
    category = core.Constants.Check.Category.Object
    sort_index = 20

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([default_names_input(_DEFAULT_NAMES)])

    def find(self, scene: Scene, path: str, values: Values) -> None:
        name = scene.name(path)
        if not name:
            self.report("The object has no name")
        if matches_any(name, values.names):
            self.report(f'"{name}" is a default name')


class FrozenTransforms(ObjectCheck):
    class_id = "kavel.object.frozen_transform"
    short_name = "Frozen Transform"
    long_name = "Transform Not Frozen"
    description = (
        "Finds objects that are turned or scaled against their parent, or moved, where that is "
        "asked for. The fix puts that into the points of the mesh and keeps everything below in "
        "its place; freezing the position takes the object's own pivot away. Not fixed is what is "
        "skinned, animated or shares its mesh, and what has no mesh or more than faces: locators, "
        "cameras, lights, lines. Joints are not looked at, nor are skinned meshes, which their "
        "joints place."
    )
    category = core.Constants.Check.Category.Object
    sort_index = 30

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        return kinds.Block(
            [
                kinds.Switch(
                    "translation",
                    False,  # where an object stands is also its pivot
                    label="Position",
                    help_text="Must be zero, so that the pivot is the parent's.",
                ),
                kinds.Switch("rotation", True, label="Rotation", help_text="Must be zero."),
                kinds.Switch("scale", True, label="Scale", help_text="Must be 1."),
                kinds.FloatRange(
                    "tolerance",
                    minimum=0.0,
                    maximum=0.1,
                    step=0.00001,
                    precision=6,
                    value=0.00001,
                    label="Tolerance",
                    help_text="Smaller differences are fine: metres, radians, and share of scale.",
                ),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        if scene.skin_role(path) == "joint" or _places_nothing(scene, path):
            return
        plan = _plan(scene, path, values)
        self._objection = plan.conflict
        if plan.words:
            self.report(f"The object is {' and '.join(plan.words)}", fixable=True)

    _objection = ""

    def conflict(self, path: str) -> str:
        return self._objection

    def fix(self, scene: Scene, path: str, values: Values) -> None:
        # Planned anew: the scene may have changed since the check, and a second fix does nothing.
        _plan(scene, path, values).apply(scene)


def _places_nothing(scene: Scene, path: str) -> bool:
    """Whether the transform of an object moves nothing: a skin places its mesh."""
    return scene.skin_role(path) == "mesh" and not scene.children(path)


def _plan(scene: Scene, path: str, values: Values) -> Frozen:
    parts = (values.translation, values.rotation, values.scale)
    return frozen(scene, path, Parts(*parts, values.tolerance))


class BadScale(ObjectCheck):
    class_id = "kavel.object.scale"
    short_name = "Scale"
    long_name = "Negative or Uneven Scale"
    description = (
        "Finds objects with a scale that is zero, negative (which turns faces inside out) or not "
        "the same along all axes (which distorts what is rotated below it). The scale of a skinned "
        "mesh is not looked at, since its joints place it; theirs may be negative, which the skin "
        "undoes."
    )
    category = core.Constants.Check.Category.Object
    sort_index = 40

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        return kinds.Block(
            [
                kinds.Switch(
                    "negative", True, label="Negative", help_text="Report negative scale."
                ),
                kinds.Switch("uneven", True, label="Uneven", help_text="Report uneven scale."),
                kinds.FloatRange(
                    "tolerance",
                    minimum=0.0,
                    maximum=0.1,
                    step=0.0001,
                    precision=5,
                    value=0.0001,
                    label="Tolerance",
                    help_text="By which share of the largest the axes may differ.",
                ),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        if _places_nothing(scene, path):
            return
        transform = scene.transform(path)
        scale, sizes = transform.scale, np.abs(transform.scale)
        words = []
        if not np.isfinite(scale).all() or sizes.min() == 0:
            words.append("zero or no number")
        if values.negative and scale.min() < 0 and scene.skin_role(path) != "joint":
            words.append("negative")
        if values.uneven and sizes.max() - sizes.min() > values.tolerance * sizes.max():
            words.append("uneven")
        if values.uneven and transform.sheared:
            words.append("sheared")
        if words:
            numbers = ", ".join(f"{axis:g}" for axis in scale)
            self.report(f"The scale is {' and '.join(words)}: {numbers}")


class EmptyGroup(ObjectCheck):
    class_id = "kavel.object.empty_group"
    short_name = "Empty Group"
    long_name = "Empty Group"
    description = (
        "Finds groups with nothing in them, or nothing but such groups. What a skin or an "
        "animation depends on is not taken for empty, nor are locators, unless asked for."
    )
    category = core.Constants.Check.Category.Object
    sort_index = 50
    mask = core.Mask.Item(
        core.Constants.Scene.Type.Transform, name="Group", attr="Transform", mapped=True
    )

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.Switch(
                    "nested",
                    True,
                    label="Groups of groups",
                    help_text="Also report groups that hold nothing but empty groups.",
                ),
                core.Parameters.Switch(
                    "locators",
                    False,
                    label="Locators",
                    help_text="Take locators for empty groups; glTF does not tell them apart.",
                ),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        if not _is_bare(scene, path, values.locators):
            return
        inside = below(scene, path)[1:] if values.nested else scene.children(path)
        if not inside:
            self.report("The group is empty")
        if values.nested and all(_is_bare(scene, item, values.locators) for item in inside):
            self.report("The group holds nothing but empty groups")


def _is_bare(scene: Scene, path: str, locators: bool) -> bool:
    kinds = core.Constants.Scene.Type
    if scene.type(path) not in (
        (kinds.Transform, kinds.Locator) if locators else [kinds.Transform]
    ):
        return False
    holds = scene.mesh(path) is not None or scene.attached(path)
    return not holds and not scene.is_deformed(path)


class PivotPlace(ObjectCheck):
    class_id = "kavel.object.pivot"
    short_name = "Pivot"
    long_name = "Misplaced Pivot"
    description = (
        "Finds objects whose pivot is not where the project wants it: at the world's origin, or at "
        "a place of the box around all that the object shows. Joints and skinned meshes are not "
        "looked at."
    )
    category = core.Constants.Check.Category.Object
    sort_index = 60

    @staticmethod
    def parameters() -> Any:
        places = {
            "origin": "World origin",
            "bottom": "Middle of the underside",
            "centre": "Centre of the box",
            "inside": "Anywhere in the box",
        }
        return core.Parameters.Block(
            [
                combo("place", places, "origin", "Place", "Where the pivot must be."),
                core.Parameters.FloatRange(
                    "tolerance",
                    minimum=0.0,
                    maximum=10.0,
                    step=0.001,
                    precision=4,
                    value=0.001,
                    units="m",
                    label="Tolerance",
                    help_text="How far off it may be.",
                ),
            ]
        )

    def find(self, scene: Scene, path: str, values: Values) -> None:
        if scene.skin_role(path):
            return
        pivot = scene.world_matrix(path)[:3, 3]
        if values.place == "origin":
            wanted, where = np.zeros(3), "the origin"
        else:
            bounds = world_bounds(scene, path)
            if bounds is None:
                return
            low, high = bounds
            wanted, where = (low + high) / 2, "the centre of its box"
            if values.place == "inside":
                wanted, where = np.clip(pivot, low, high), "its box"
            elif values.place == "bottom":
                axis = "xyz".index(scene.up_axis)
                wanted[axis], where = low[axis], "the middle of its underside"
        off = float(np.linalg.norm(pivot - wanted))
        if not off <= values.tolerance:
            self.report(f"The pivot is {off:g} m away from {where}")
