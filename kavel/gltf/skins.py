"""Where a skin puts the points of a mesh."""

from __future__ import annotations

from typing import Any

import numpy as np

from kavel.gltf.accessors import Accessors
from kavel.gltf.lookup import Lookup
from kavel.view.mesh import Reals


def heaviest_joint(look: Lookup, read: Accessors, index: int) -> tuple[int, Reals] | None:
    """The joint with the most weight in the mesh of a node, and the (4, 4) matrix from the mesh to
    that joint; none without weights. Errors: SceneError with the place."""
    node = look.entry("nodes", index, f"nodes[{index}]")
    skin = look.entry("skins", node["skin"], f"nodes[{index}].skin")
    place = f"skins[{node['skin']}]"
    joints = skin.get("joints")
    if not isinstance(joints, list):
        raise look.error(f"{place}.joints", "is not an array")
    mesh = look.entry("meshes", node["mesh"], f"nodes[{index}].mesh")
    totals = np.zeros(len(joints))
    for primitive in look.entries(mesh, "primitives", f"meshes[{node['mesh']}]"):
        totals += _weights(read, primitive, len(joints))
    if not totals.any():
        return None
    number = int(totals.argmax())
    look.entry("nodes", joints[number], f"{place}.joints[{number}]")
    if "inverseBindMatrices" not in skin:
        return joints[number], np.eye(4)
    matrices = read.matrices(skin["inverseBindMatrices"], f"{place}.inverseBindMatrices")
    if len(matrices) <= number:
        raise look.error(f"{place}.inverseBindMatrices", f"has {len(matrices)} matrices")
    return joints[number], matrices[number]


def _weights(read: Accessors, primitive: dict[str, Any], count: int) -> Reals:
    """(count,) the sum of the weights of each joint; what refers to none is left out."""
    names = primitive.get("attributes")
    if not isinstance(names, dict) or not {"JOINTS_0", "WEIGHTS_0"} <= names.keys():
        return np.zeros(count)
    joints = read.reals(names["JOINTS_0"], 4, "JOINTS_0").astype(np.int64).ravel()
    weights = np.nan_to_num(read.reals(names["WEIGHTS_0"], 4, "WEIGHTS_0")).ravel()
    sound = (joints >= 0) & (joints < count) if len(joints) == len(weights) else np.zeros(0, bool)
    if not sound.any():
        return np.zeros(count)
    return np.asarray(np.bincount(joints[sound], weights[sound], count), np.float64)
