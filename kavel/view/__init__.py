"""What a check sees of a scene: the same in every host, and plain numpy arrays for geometry."""

from __future__ import annotations

from kavel.view.mesh import Image, Material, Mesh
from kavel.view.scene import EditableScene, Scene, Selection, Transform, current, use

__all__ = [
    "EditableScene",
    "Image",
    "Material",
    "Mesh",
    "Scene",
    "Selection",
    "Transform",
    "current",
    "use",
]
