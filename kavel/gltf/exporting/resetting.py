"""Moving the placement of objects into their meshes, so that what is left is none."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any

import numpy as np

from kavel.gltf.exporting.animations import moved_nodes
from kavel.gltf.exporting.chosen import Chosen, skin_joints
from kavel.gltf.exporting.placing import local_matrix, set_matrix
from kavel.gltf.exporting.primitives import transformed_mesh
from kavel.gltf.exporting.references import LOD, extensions
from kavel.gltf.exporting.work import Work
from kavel.gltf.transforms import decomposed
from kavel.view.mesh import Reals

# Extensions of a node that say nothing of where it stands, or stand beside its mesh.
_HARMLESS = (LOD, "KHR_node_visibility", "KHR_node_selectability", "KHR_node_hoverability")


@dataclass
class _Plan:
    """What the nodes are to stand at, by index; the matrix that the points of their meshes take;
    and nodes that would be sheared."""

    placements: dict[int, Reals] = field(default_factory=dict)
    bakes: dict[int, Reals] = field(default_factory=dict)
    sheared: list[int] = field(default_factory=list)


def reset_transforms(work: Work, chosen: Chosen, keep_positions: bool) -> None:
    """Make the placement of every object that shows a mesh, or has such an object below it, none
    (or only a position), and move the points of the meshes so that they stay where they are.

    Left as they are: joints and animated objects with all that is above them, the points of
    skinned meshes, and the mesh of an object that also carries a camera, a light, copies, or an
    extension that is not known. An object without a mesh at or below it stays where it is in the
    world. A mesh that several objects show becomes several, where they stand differently.
    Errors: SceneError with the place for a mesh that is compressed or not sound.
    """
    _Reset(work, chosen, keep_positions).run()


class _Reset:
    def __init__(self, work: Work, chosen: Chosen, keep_positions: bool) -> None:
        self._work, self._chosen = work, chosen
        self._keep_positions = keep_positions
        self._children: dict[int, list[int]] = {}
        for child, parent in chosen.parents.items():
            self._children.setdefault(parent, []).append(child)
        self._fixed: set[int] = set()
        self._bakeable: set[int] = set()

    def run(self) -> None:
        joints = self._joints()
        moved = {index for index in moved_nodes(self._work) if index in self._chosen}
        self._hold(joints | moved)
        for kind, found in (("joints", joints), ("animated objects", moved - joints)):
            if found:
                text = f"{kind} keep their transforms, and so does what is above them"
                self._work.note(f"{text} ({len(found)} of them)")
        self._find_bakeable()
        while (plan := self._plan()).sheared:
            names = ", ".join(self._name(index) for index in plan.sheared[:3])
            self._work.note(f"{names} would be sheared; what is above keeps its transforms")
            self._hold(set(plan.sheared))
        for index, matrix in plan.placements.items():
            if not np.array_equal(matrix, local_matrix(self._work, index)):
                set_matrix(self._work, index, matrix)
        self._bake(plan.bakes)

    def _hold(self, nodes: set[int]) -> None:
        for index in nodes:
            self._fixed.add(index)
            self._fixed.update(self._chosen.above(index))

    def _joints(self) -> set[int]:
        nodes = self._work.document["nodes"]
        skins = {
            nodes[index]["skin"]: f"nodes[{index}].skin"
            for index in self._chosen.whole
            if "skin" in nodes[index]
        }
        return {
            joint for skin, place in skins.items() for joint in skin_joints(self._work, skin, place)
        }

    def _find_bakeable(self) -> None:
        skinned = 0
        for index in sorted(self._chosen.whole):
            node = self._work.document["nodes"][index]
            if "mesh" not in node:
                continue
            if "skin" in node:
                skinned += 1
            elif _carries_more(node):
                self._work.note(f"{self._name(index)} holds more than a mesh, and keeps its place")
            else:
                self._bakeable.add(index)
        if skinned:
            self._work.note(f"skinned meshes keep their points ({skinned} of them)")

    def _plan(self) -> _Plan:
        plan = _Plan()
        shows = self._showing()
        stack: list[tuple[int, Reals]] = []
        for top in self._chosen.tops:
            stack += [(index, np.eye(4)) for index in (top, *self._chosen.levels.get(top, []))]
        while stack:
            index, above = stack.pop()
            stands = above @ local_matrix(self._work, index)
            below = self._reset(plan, index, stands, shows)
            for child in self._children.get(index, []):
                stack += [(item, below) for item in (child, *self._chosen.levels.get(child, []))]
        return plan

    def _reset(self, plan: _Plan, index: int, stands: Reals, shows: set[int]) -> Reals:
        """Plan one node; returns what its children take over."""
        flat = not np.isfinite(stands).all() or abs(np.linalg.det(stands[:3, :3])) < 1e-30
        if index in self._fixed or index not in shows or flat:
            if flat and index in shows:
                self._work.note(f"{self._name(index)} is scaled to nothing, and stays as it is")
            plan.placements[index] = stands
            local = local_matrix(self._work, index)
            if decomposed(stands).sheared and not decomposed(local).sheared:
                plan.sheared.append(index)
            return np.eye(4)
        new = np.eye(4)
        if self._keep_positions:
            new[:3, 3] = stands[:3, 3]
        plan.placements[index] = new
        matrix: Reals = np.linalg.inv(new) @ stands
        if index in self._bakeable:
            plan.bakes[index] = matrix
        return matrix

    def _showing(self) -> set[int]:
        """The nodes that a mesh which can be baked stands at or below."""
        shows = set(self._bakeable)
        for index in self._bakeable:
            shows.update(self._chosen.above(index))
        return shows - {index for index in shows if self._carries(index)}

    def _carries(self, index: int) -> bool:
        return _carries_more(self._work.document["nodes"][index])

    def _bake(self, bakes: dict[int, Reals]) -> None:
        made: dict[tuple[Any, bytes], int] = {}
        for index, matrix in sorted(bakes.items()):
            if np.array_equal(matrix, np.eye(4)):
                continue
            node = self._work.replace("nodes", index)
            key = (node["mesh"], (np.round(matrix, 12) + 0.0).tobytes())
            if key not in made:
                made[key] = transformed_mesh(self._work, node["mesh"], matrix)
            node["mesh"] = made[key]

    def _name(self, index: int) -> str:
        return str(self._work.document["nodes"][index].get("name") or f"nodes[{index}]")


def _carries_more(node: dict[str, Any]) -> bool:
    return "camera" in node or any(name not in _HARMLESS for name in extensions(node))
