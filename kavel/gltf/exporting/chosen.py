"""Which nodes an export writes, and how they hang together."""

from __future__ import annotations

from collections.abc import Iterable, Iterator
from dataclasses import dataclass, field
from typing import Any

from kavel.gltf.exporting.references import LOD, entries_of, extensions
from kavel.gltf.exporting.work import Work
from kavel.gltf.lookup import Lookup


@dataclass
class Chosen:
    """Nodes by their index in the document.

    whole: written with all they have, and with everything below them. bare: only their names and
    placements, because a skin needs them as joints or because something hangs below them.
    tops: those without a written parent that stand in a scene, in order. parents: the written
    parent of the others. levels: nodes that stand in no scene, by the node whose lower levels of
    detail they are; a viewer puts them in its place.
    """

    whole: set[int] = field(default_factory=set)
    bare: set[int] = field(default_factory=set)
    tops: list[int] = field(default_factory=list)
    parents: dict[int, int] = field(default_factory=dict)
    levels: dict[int, list[int]] = field(default_factory=dict)

    def __contains__(self, node: int) -> bool:
        return node in self.whole or node in self.bare

    def above(self, node: int) -> Iterator[int]:
        """The written ancestors of a written node, the nearest first."""
        while node in self.parents:
            node = self.parents[node]
            yield node


class Tree:
    """The parents and children of a document's nodes, those in no scene included.

    shown: the nodes that stand in a scene. Errors: SceneError with the place when they are not
    sound.
    """

    def __init__(self, look: Lookup) -> None:
        self._look = look
        self.nodes = look.entries(look.document, "nodes", "")
        self.parents: dict[int, int] = {}
        for index in range(len(self.nodes)):
            for child in self.children(index):
                if self.parents.setdefault(child, index) != index:
                    raise look.error(f"nodes[{child}]", "has two parents")
        self.shown = set(self.below(_scene_tops(look.document)))

    def children(self, index: int) -> list[int]:
        children = self.nodes[index].get("children", [])
        place = f"nodes[{index}].children"
        if not isinstance(children, list):
            raise self._look.error(place, "is not an array")
        for position, child in enumerate(children):
            self._look.entry("nodes", child, f"{place}[{position}]")
        return children

    def levels(self, index: int) -> list[int]:
        """The nodes that MSFT_lod names as the lower levels of a node."""
        extension = extensions(self.nodes[index]).get(LOD)
        ids = extension.get("ids", []) if isinstance(extension, dict) else []
        place = f"nodes[{index}].extensions.{LOD}.ids"
        if not isinstance(ids, list):
            raise self._look.error(place, "is not an array")
        for position, other in enumerate(ids):
            self._look.entry("nodes", other, f"{place}[{position}]")
        return ids

    def below(self, tops: Iterable[int], levels: bool = False) -> list[int]:
        """`tops` and everything below them, with `levels` also lower levels of detail."""
        found: dict[int, None] = {}
        stack = list(tops)
        while stack:
            index = stack.pop()
            if index not in found:
                found[index] = None
                stack += self.children(index)
                stack += self.levels(index) if levels else []
        return list(found)

    def line(self, index: int) -> list[int]:
        """A node and its ancestors, the nearest first."""
        result = [index]
        while (above := self.parents.get(result[-1])) is not None:
            if len(result) > len(self.nodes):
                raise self._look.error(f"nodes[{index}]", "is its own ancestor")
            result.append(above)
        return result


def choose(work: Work, tree: Tree, roots: list[int], keep_parents: bool) -> Chosen:
    """What has to be written for `roots`. `keep_parents`: their ancestors too, as empty nodes.

    Errors: SceneError with the place for indices that lead nowhere.
    """
    chosen = Chosen(whole=set(tree.below(roots, levels=True)))
    for index in sorted(chosen.whole):
        _add_joints(work, tree, chosen, index)
    if keep_parents:
        keep_above(tree, chosen, [*chosen.whole, *chosen.bare])
    arrange(tree, chosen, roots)
    return chosen


def keep_above(tree: Tree, chosen: Chosen, nodes: Iterable[int]) -> None:
    """Also write the ancestors of `nodes`; `arrange` is to follow."""
    for index in nodes:
        if index in tree.shown:
            for above in tree.line(index)[1:]:
                if above not in chosen:
                    chosen.bare.add(above)


def arrange(tree: Tree, chosen: Chosen, roots: list[int]) -> None:
    """Work out tops, parents and levels of the nodes that were chosen."""
    every = chosen.whole | chosen.bare
    chosen.parents = {
        index: tree.parents[index] for index in every if tree.parents.get(index) in every
    }
    tops = [index for index in every if index not in chosen.parents and index in tree.shown]
    order = {root: place for place, root in enumerate(roots)}
    chosen.tops = sorted(tops, key=lambda index: (order.get(index, len(roots)), index))
    chosen.levels = {}
    for index in sorted(chosen.whole):
        hidden = [
            other
            for other in tree.levels(index)
            if other not in chosen.parents and other not in tree.shown
        ]
        if hidden:
            chosen.levels[index] = hidden


def _add_joints(work: Work, tree: Tree, chosen: Chosen, index: int) -> None:
    """The joints of a node's skin that are not chosen yet, up to what they have in common."""
    if "skin" not in tree.nodes[index]:
        return
    number = tree.nodes[index]["skin"]
    joints = skin_joints(work, number, f"nodes[{index}].skin")
    if all(joint in chosen for joint in joints):
        return
    lines = [tree.line(joint) for joint in joints]
    common = set(lines[0]).intersection(*lines[1:])
    for line in lines:
        for joint in line:
            if joint not in chosen:
                chosen.bare.add(joint)
            if joint in common or not common:
                break


def skin_joints(work: Work, number: Any, place: str) -> list[int]:
    skin = work.look.entry("skins", number, place)
    joints = skin.get("joints")
    if not isinstance(joints, list):
        raise work.error(f"skins[{number}].joints", "is not an array")
    for position, joint in enumerate(joints):
        work.look.entry("nodes", joint, f"skins[{number}].joints[{position}]")
    return joints


def _scene_tops(document: dict[str, Any]) -> list[int]:
    """The top nodes of what the operator shows: see `kavel.gltf.graph.build_graph`."""
    scenes = entries_of(document, "scenes")
    if not scenes:
        owned = {
            child for node in entries_of(document, "nodes") for child in node.get("children", [])
        }
        return [index for index in range(len(entries_of(document, "nodes"))) if index not in owned]
    default = document.get("scene")
    shown = scenes if default is None else [scenes[default]]
    return [index for scene in shown for index in scene.get("nodes", [])]
