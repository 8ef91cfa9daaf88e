"""The node hierarchy of a glTF document, by path."""

from __future__ import annotations

import re
from array import array
from dataclasses import dataclass, field
from typing import Any, Optional

from kavel.errors import SceneError
from kavel.gltf.paths import components

# A chain of nodes makes paths whose total length grows with the square of its depth. Real scenes
# stay thousands of times below this many characters.
_PATH_TEXT_LIMIT = 500_000_000

# A place that names a node: the text of its owner ("scenes[0].nodes", "nodes[4].children"), and
# the position in it.
_Reference = tuple[str, int]
_Item = tuple[int, Optional[str], str, _Reference]  # node index, parent path, path, reference


@dataclass
class SceneGraph:
    """What a scene holds: the paths of its top objects, and four maps keyed by path.

    `kinds` are "mesh", "lod", "group" and "empty" (see `node_kind`). The maps list parents before
    their children. `nodes` are the file's indices of the nodes, in the order of the maps.
    """

    roots: list[str] = field(default_factory=list)
    names: dict[str, str] = field(default_factory=dict)
    kinds: dict[str, str] = field(default_factory=dict)
    parents: dict[str, str | None] = field(default_factory=dict)
    children: dict[str, tuple[str, ...]] = field(default_factory=dict)
    nodes: array[int] = field(default_factory=lambda: array("q"))

    def top(self, path: str) -> str:
        """The top object that `path` lies under (`path` itself when it is one)."""
        parent = self.parents[path]
        while parent is not None:
            path, parent = parent, self.parents[parent]
        return path

    def below(self, roots: list[str]) -> list[str]:
        """`roots` and everything below them, parents first."""
        result = []
        stack = list(reversed(roots))
        while stack:
            path = stack.pop()
            result.append(path)
            stack.extend(reversed(self.children[path]))
        return result


def node_kind(node: dict[str, Any], lod_names: re.Pattern[str] | None) -> str:
    """What a node carries.

    "lod": the extension MSFT_lod, or no mesh and a name that `lod_names` matches from its start;
    "mesh": a mesh; "empty": neither mesh nor children (a locator, the last bone of a chain, a
    camera or a light); "group": any other node.
    """
    extensions = node.get("extensions")
    if isinstance(extensions, dict) and "MSFT_lod" in extensions:
        return "lod"
    if "mesh" in node:
        return "mesh"
    if lod_names is not None and lod_names.match(node.get("name", "")):
        return "lod"
    return "group" if node.get("children") else "empty"


def build_graph(
    document: dict[str, Any], file: str, lod_names: re.Pattern[str] | None = None
) -> SceneGraph:
    """The objects of the document's default scene; of all its scenes when it names no default; of
    every node that is nobody's child when it has no scene at all.

    Errors: SceneError with the place for an index out of range, a wrong type, a node with two
    parents, a cycle, or a nesting so deep that the paths would not fit in memory.
    """
    return _Builder(document, file, lod_names).build()


class _Builder:
    def __init__(
        self, document: dict[str, Any], file: str, lod_names: re.Pattern[str] | None
    ) -> None:
        self._file = file
        self._document = document
        self._lod_names = lod_names
        self._nodes = self._list(document, "nodes", "nodes")
        self._graph = SceneGraph()
        self._paths: dict[int, str] = {}
        self._owners: dict[int, _Reference] = {}

    def build(self) -> SceneGraph:
        roots = self._roots()
        stack = self._siblings(roots, None)
        self._graph.roots = [path for _, _, path, _ in stack]
        stack.reverse()
        text_length = 0
        while stack:
            item = stack.pop()
            text_length += len(item[2])
            if text_length > _PATH_TEXT_LIMIT:
                raise self._error(item[3], "the nodes are nested too deep for this program")
            children = self._add(item)
            children.reverse()
            stack.extend(children)
        if not self._document.get("scenes") and len(self._paths) < len(self._nodes):
            lost = next(i for i in range(len(self._nodes)) if i not in self._paths)
            raise SceneError(self._file, "the node is its own ancestor", f"nodes[{lost}]")
        return self._graph

    def _roots(self) -> list[tuple[int, _Reference]]:
        scenes = self._list(self._document, "scenes", "scenes")
        if not scenes:
            owned: set[int] = set()
            for index in range(len(self._nodes)):
                owned.update(child for child, _ in self._children(index))
            return [(i, ("nodes", i)) for i in range(len(self._nodes)) if i not in owned]
        default = self._document.get("scene")
        if default is None:
            chosen = range(len(scenes))
        else:
            if type(default) is not int or not 0 <= default < len(scenes):
                raise self._index_error(default, len(scenes), "scene")
            chosen = range(default, default + 1)
        found: dict[int, _Reference] = {}
        for number in chosen:
            references = self._references(scenes[number], "nodes", f"scenes[{number}]")
            if default is not None and len({i for i, _ in references}) < len(references):
                raise SceneError(self._file, "names a node twice", f"scenes[{number}].nodes")
            # Scenes may share a top node; it is one object all the same.
            for index, reference in references:
                found.setdefault(index, reference)
        return list(found.items())

    def _siblings(
        self, references: list[tuple[int, _Reference]], parent: str | None
    ) -> list[_Item]:
        parts = components(self._name(index) for index, _ in references)
        prefix = "/" if parent is None else parent + "/"
        return [
            (index, parent, prefix + part, reference)
            for (index, reference), part in zip(references, parts)
        ]

    def _add(self, item: _Item) -> list[_Item]:
        index, parent, path, reference = item
        if index in self._paths:
            raise self._second_parent(index, path, reference)
        self._paths[index] = path
        self._owners[index] = reference
        node = self._nodes[index]
        graph = self._graph
        graph.nodes.append(index)
        graph.names[path] = self._name(index)
        graph.kinds[path] = node_kind(node, self._lod_names)
        graph.parents[path] = parent
        below = self._siblings(self._children(index), path) if "children" in node else []
        graph.children[path] = tuple(child[2] for child in below)
        return below

    def _second_parent(self, index: int, path: str, reference: _Reference) -> SceneError:
        first = self._paths[index]
        if path.startswith(first + "/"):
            return self._error(reference, f"node {index} is its own ancestor")
        owner, position = self._owners[index]
        return self._error(reference, f"node {index} also hangs at {owner}[{position}]")

    def _children(self, index: int) -> list[tuple[int, _Reference]]:
        return self._references(self._nodes[index], "children", f"nodes[{index}]")

    def _references(self, owner: Any, key: str, place: str) -> list[tuple[int, _Reference]]:
        if not isinstance(owner, dict):
            raise SceneError(self._file, "is not an object", place)
        spot = f"{place}.{key}"
        values = self._list(owner, key, spot)
        count = len(self._nodes)
        result = []
        for position, value in enumerate(values):
            if type(value) is not int or not 0 <= value < count:
                raise self._index_error(value, count, f"{spot}[{position}]")
            result.append((value, (spot, position)))
        return result

    def _name(self, index: int) -> str:
        node = self._nodes[index]
        if not isinstance(node, dict):
            raise SceneError(self._file, "is not an object", f"nodes[{index}]")
        name = node.get("name", "")
        if not isinstance(name, str):
            raise SceneError(self._file, "is not a text", f"nodes[{index}].name")
        return name

    def _list(self, owner: dict[str, Any], key: str, place: str) -> list[Any]:
        value = owner.get(key, [])
        if not isinstance(value, list):
            raise SceneError(self._file, "is not an array", place)
        return value

    def _index_error(self, value: Any, count: int, place: str) -> SceneError:
        if type(value) is not int:
            return SceneError(self._file, "is not an index", place)
        return SceneError(self._file, f"index {value} is not one of 0 to {count - 1}", place)

    def _error(self, reference: _Reference, message: str) -> SceneError:
        return SceneError(self._file, message, f"{reference[0]}[{reference[1]}]")
