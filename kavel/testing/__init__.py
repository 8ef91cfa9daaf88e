"""Test kit for authors of checks: a scene in memory, and runs of a check through the real core.

No 3D application and no test runner is needed.
"""

from __future__ import annotations

from kavel.testing.scene import MemoryScene
from kavel.testing.shapes import box, grid, polygons

__all__ = ["MemoryScene", "box", "grid", "polygons"]
