"""Checks of the scene as a whole."""

from __future__ import annotations

import math
import os
from typing import Any

import core
from kavel.checking import SceneCheck, Values, combo
from kavel.view import Scene

_UNITS = {
    "millimetre": ("Millimetre", 0.001),
    "centimetre": ("Centimetre", 0.01),
    "decimetre": ("Decimetre", 0.1),
    "metre": ("Metre", 1.0),
    "kilometre": ("Kilometre", 1000.0),
    "inch": ("Inch", 0.0254),
    "foot": ("Foot", 0.3048),
    "yard": ("Yard", 0.9144),
}


class SceneFile(SceneCheck):
    class_id = "kavel.scene.file"
    short_name = "Scene File"
    long_name = "Unsaved or Unnamed Scene File"
    description = (
        "Finds a scene that has no file yet, whose file name does not follow the convention, or "
        "that has changes which are not saved. What others get is what is on the disk."
    )
    category = core.Constants.Check.Category.Scene
    sort_index = 10

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.Switch(
                    "changes", True, label="Unsaved changes", help_text="Report unsaved changes."
                ),
                core.Parameters.RegEx(
                    "file_name",
                    r"(?!(untitled|unnamed|new|new scene)[ ._-]?\d*$).+",
                    label="File name",
                    help_text="Must match the whole file name, without folder and ending, in small "
                    "letters.",
                ),
            ]
        )

    def find(self, scene: Scene, values: Values) -> None:
        if not scene.file:
            self.report("The scene has never been saved to a file", items=[scene.file])
        name = os.path.splitext(os.path.basename(scene.file))[0]
        problems = []
        if not values.file_name.fullmatch(name.lower()):
            problems.append(f'The file name "{name}" does not follow the convention')
        if values.changes and not scene.is_saved:
            problems.append("The scene has changes that are not saved")
        if problems:
            self.report(". ".join(problems), items=[scene.file])


class SceneUnit(SceneCheck):
    class_id = "kavel.scene.unit"
    short_name = "Unit"
    long_name = "Wrong Scene Unit"
    description = (
        "Finds a scene that is not built in the project's unit of length. Its objects have the "
        "wrong size as soon as they are used elsewhere."
    )
    category = core.Constants.Check.Category.Scene
    sort_index = 20

    @staticmethod
    def parameters() -> Any:
        items = {attr: text for attr, (text, _) in _UNITS.items()}
        return core.Parameters.Block(
            [combo("unit", items, "metre", "Unit", "The length of one scene unit.")]
        )

    def find(self, scene: Scene, values: Values) -> None:
        text, wanted = _UNITS[values.unit]
        if not math.isclose(scene.unit, wanted, rel_tol=1e-5):
            known = (name for name, size in _UNITS.values() if math.isclose(size, scene.unit))
            here = next(known, f"{scene.unit:g} metres").lower()
            self.report(f"The scene unit is {here}, not {text.lower()}", items=[scene.unit])


class SceneUpAxis(SceneCheck):
    class_id = "kavel.scene.up_axis"
    short_name = "Up Axis"
    long_name = "Wrong Up Axis"
    description = "Finds a scene in which another axis points up than in the rest of the project."
    category = core.Constants.Check.Category.Scene
    sort_index = 30

    @staticmethod
    def parameters() -> Any:
        axes = {axis: axis.upper() for axis in "xyz"}
        return core.Parameters.Block(
            [combo("axis", axes, "y", "Up axis", "The axis that points up.")]
        )

    def find(self, scene: Scene, values: Values) -> None:
        if scene.up_axis != values.axis:
            self.report(
                f"{scene.up_axis.upper()} points up, not {values.axis.upper()}",
                items=[scene.up_axis],
            )
