"""Where the top nodes of an export stand."""

from __future__ import annotations

from typing import Any

import numpy as np

from kavel.gltf.exporting.animations import moved_nodes
from kavel.gltf.exporting.chosen import Chosen, Tree, arrange, keep_above
from kavel.gltf.exporting.settings import Settings
from kavel.gltf.exporting.work import Work
from kavel.gltf.transforms import decomposed, read_transform
from kavel.view.mesh import Reals

_PARTS = {"translation": (0, 0, 0), "rotation": (0, 0, 0, 1), "scale": (1, 1, 1)}
_Z_UP = np.array([[1, 0, 0, 0], [0, 0, -1, 0], [0, 1, 0, 0], [0, 0, 0, 1]], np.float64)


def local_matrix(work: Work, index: int) -> Reals:
    """(4, 4), column vectors. Errors: SceneError for what is no placement."""
    node, place = work.document["nodes"][index], f"nodes[{index}]"
    transform = read_transform(work.look, node, place)
    if transform.sheared:
        stored: Reals = work.look.numbers(node, "matrix", place, tuple(np.eye(4).ravel()))
        return np.asarray(stored.reshape(4, 4).T)
    return transform.matrix


def set_matrix(work: Work, index: int, matrix: Reals) -> None:
    """Place a node. A matrix that translation, rotation and scale do not make up is written as it
    is."""
    node = work.replace("nodes", index)
    node.pop("matrix", None)
    parts = decomposed(matrix)
    for key, default in _PARTS.items():
        node.pop(key, None)
        values = [float(value) + 0.0 for value in getattr(parts, key)]
        if not parts.sheared and not np.array_equal(values, default):
            node[key] = values
    if parts.sheared:
        node["matrix"] = [float(value) for value in matrix.T.ravel()]


def place_tops(
    work: Work, tree: Tree, chosen: Chosen, roots: list[int], settings: Settings
) -> None:
    """Put every top node where its parents, the up axis and the scale put it.

    A top node that is animated gets an empty node above it for that, since an animation says
    where its node stands below its parent. Errors: SceneError for what is no placement.
    """
    world = _World(work, tree)
    sheared = [top for top in chosen.tops if _is_sheared(work, top, world.above(top))]
    if any(tree.parents.get(top) is not None for top in sheared):
        work.note("parents were kept, because what hangs below them would be sheared without them")
        keep_above(tree, chosen, sheared)
        arrange(tree, chosen, roots)
    turn = _Z_UP if settings.up_axis == "Z" else np.eye(4)
    scale = np.diag([settings.scale] * 3 + [1.0])
    moved = moved_nodes(work)
    for number, top in enumerate(list(chosen.tops)):
        if any(index in moved for index in tree.line(top)[1:]):
            work.note("the motion of animated parents that are not exported is left out")
        matrix = turn @ scale @ world.above(top)
        node = work.document["nodes"][top]
        if np.array_equal(matrix, np.eye(4)) or "skin" in node and "children" not in node:
            continue  # what has a skin stands where its joints are
        if top in moved:
            chosen.tops[number] = _holder(work, chosen, top, matrix)
            continue
        for index in (top, *chosen.levels.get(top, [])):
            set_matrix(work, index, matrix @ local_matrix(work, index))


def _is_sheared(work: Work, index: int, above: Reals) -> bool:
    return any(decomposed(item).sheared for item in (above, above @ local_matrix(work, index)))


def _holder(work: Work, chosen: Chosen, top: int, matrix: Reals) -> int:
    """A new node above `top`, placed by `matrix`."""
    nodes: list[Any] = work.document["nodes"]
    name = nodes[top].get("name")
    nodes.append({**({"name": f"{name}_placement"} if name else {}), "children": [top]})
    index = len(nodes) - 1
    set_matrix(work, index, matrix)
    chosen.bare.add(index)
    chosen.parents[top] = index
    work.note(f"{name or 'an object'} is animated, and got an empty object above it for its place")
    return index


class _World:
    def __init__(self, work: Work, tree: Tree) -> None:
        self._work, self._tree = work, tree
        self._known: dict[int, Reals] = {}

    def above(self, index: int) -> Reals:
        """(4, 4) from the space of a node's parent to the world."""
        line = self._tree.line(index)[1:]
        matrix: Reals = np.eye(4)
        for above in reversed(line):
            if above not in self._known:
                self._known[above] = matrix @ local_matrix(self._work, above)
            matrix = self._known[above]
        return matrix
