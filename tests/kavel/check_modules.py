"""Check modules for tests, as a studio would write them."""

from __future__ import annotations

from pathlib import Path

#: Every check notes its runs in the file that this variable names.
RUNS = "KAVEL_TEST_RUNS"

SOUND = """
import os
from dataclasses import replace
from typing import Any

import numpy as np

import core
from kavel.checking import ObjectCheck, SceneCheck

def note(check, path):
    if os.environ.get("KAVEL_TEST_RUNS"):
        with open(os.environ["KAVEL_TEST_RUNS"], "a") as stream:
            stream.write(f"{check.class_id} {os.path.basename(path)}\\n")

class Size(ObjectCheck):
    class_id = "test.size"
    short_name = long_name = "Size"
    description = "Finds scaled objects."
    category = "object"
    sort_index = 1

    @staticmethod
    def parameters():
        return core.Parameters.Block([core.Parameters.IntRange("wanted", value=1)])

    def find(self, scene, path, values):
        note(self, path)
        if scene.transform(path).scale[0] != values.wanted:
            self.report("The size is wrong", fixable=True)

    def fix(self, scene, path, values):
        scene.set_transform(path, replace(scene.transform(path), scale=np.full(3, values.wanted)))

class Whole(SceneCheck):
    class_id = "test.whole"
    short_name = long_name = "Whole"
    description = "Passes."
    category = "scene"
    sort_index = 1

    def find(self, scene, values):
        note(self, "scene")

class Crash(ObjectCheck):
    class_id = "test.crash"
    short_name = long_name = "Crash"
    description = "Raises."
    category = "object"
    sort_index = 2

    def find(self, scene, path, values):
        raise ValueError("broken here")

class Stop(ObjectCheck):
    class_id = "test.stop"
    short_name = long_name = "Stop"
    description = "Ends the run at an object named stop."
    category = "object"
    sort_index = 3

    def find(self, scene, path, values):
        if scene.name(path) == "stop":
            raise KeyboardInterrupt
"""

BROKEN = {
    "unimportable.py": "import nothing_of_that_name",
    "leaving.py": "import sys; sys.exit(3)",
    "denied.py": """
from kavel.checking import ObjectCheck
class Nameless(ObjectCheck):
    class_id = 7
""",
}


def sound_checks(folder: Path) -> str:
    folder.mkdir()
    (folder / "studio_checks.py").write_text(SOUND)
    return str(folder)


def broken_checks(folder: Path) -> str:
    folder.mkdir()
    for name, text in BROKEN.items():
        (folder / name).write_text(text)
    return str(folder)


def asked(*class_ids: str, as_info: bool = False) -> dict[str, object]:
    """A rule's checklist with these checks."""
    entry = {
        "enabled": True,
        "opened": False,
        "parameters": [{"as_info": as_info, "state": {"wanted": {"value": 1}}}],
    }
    plain = {**entry, "parameters": [{"as_info": as_info, "state": {}}]}
    return {class_id: entry if class_id == "test.size" else plain for class_id in class_ids}
