"""Test kit for authors of checks: a scene in memory, and runs of a check through the real core.

No 3D application and no test runner is needed; an assertion raises AssertionError.

    from kavel.testing import MemoryScene, assert_finds, assert_passes, box
    from kavel.view import use

    scene = MemoryScene().add("hero/body", box()).add("hero/Cube.001", box())
    with use(scene):
        assert_passes(DefaultNames, "hero/body")
        assert_finds(DefaultNames, "hero/Cube.001", count=1)
"""

from __future__ import annotations

from kavel.testing.assertions import (
    assert_finds,
    assert_fix_is_idempotent,
    assert_fix_works,
    assert_passes,
    assert_untouched_by_check,
)
from kavel.testing.parameters import parameter_task
from kavel.testing.running import Outcome, fix, run, select
from kavel.testing.scene import MemoryScene
from kavel.testing.shapes import box, grid, polygons

__all__ = [
    "MemoryScene",
    "Outcome",
    "assert_finds",
    "assert_fix_is_idempotent",
    "assert_fix_works",
    "assert_passes",
    "assert_untouched_by_check",
    "box",
    "fix",
    "grid",
    "parameter_task",
    "polygons",
    "run",
    "select",
]
