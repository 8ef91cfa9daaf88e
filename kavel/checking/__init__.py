"""What checks are made of: bases to derive from, and geometry to find problems with.

This package is outside of the check directory on purpose. The modules in there are loaded by file,
each time anew; what they share must be one module for all of them.
"""

from __future__ import annotations

from kavel.checking.bases import MeshCheck, ObjectCheck, SceneCheck
from kavel.checking.reporting import counted, listing
from kavel.checking.values import Values, combo, matches_any

__all__ = [
    "MeshCheck",
    "ObjectCheck",
    "SceneCheck",
    "Values",
    "combo",
    "counted",
    "listing",
    "matches_any",
]
