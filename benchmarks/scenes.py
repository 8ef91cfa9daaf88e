"""Large scenes in memory, each with a project record that describes it: for benchmarks and tests.

Every generator is deterministic, and knows by construction which rule takes which object and what
the anchors capture, so that a result can be checked where the straight search is too slow.
"""

from __future__ import annotations

from collections.abc import Callable, Sequence
from dataclasses import dataclass, field
from typing import Any

DictRule = dict[str, Any]
DictNode = dict[str, Any]


class MemoryScene:
    """The five scene queries over dictionaries; a path is the slash-separated way from the root."""

    def __init__(self) -> None:
        self.roots: list[str] = []
        self.names: dict[str, str] = {}
        self.types: dict[str, str] = {}
        self.parents: dict[str, str | None] = {}
        self.children: dict[str, list[str]] = {}

    def add(
        self,
        name: str,
        kind: str = "transform",
        parent: str | None = None,
        path: str | None = None,
    ) -> str:
        """Add an object as the last child of `parent` and return its path.

        Siblings of one name are told apart by a number in the path. A `path` that is given is
        taken as it stands (opaque paths); ValueError when it is in use, KeyError for an unknown
        parent.
        """
        if path is None:
            stem = path = f"{parent or ''}/{name}"
            number = 2
            while path in self.names:
                path = f"{stem}#{number}"
                number += 1
        elif path in self.names:
            raise ValueError(f"path in use: {path}")
        siblings = self.roots if parent is None else self.children[parent]
        siblings.append(path)
        self.names[path] = name
        self.types[path] = kind
        self.parents[path] = parent
        self.children[path] = []
        return path

    def __len__(self) -> int:
        return len(self.names)

    def object_exists(self, path: str) -> bool:
        return path in self.names

    def get_type(self, path: str) -> str:
        return self.types.get(path, "")

    def get_parent(self, path: str) -> str | None:
        return self.parents.get(path)

    def get_children(self, path: str) -> list[str]:
        return self.children.get(path, [])

    def name_from_path(self, path: str) -> str:
        return self.names.get(path, path.rpartition("/")[2])


@dataclass
class Case:
    """A scene, the project record to match it with, and the paths to start from."""

    name: str
    scene: MemoryScene
    record: dict[str, Any]
    roots: list[str]
    expected: dict[str, str] = field(default_factory=dict)  # path -> rule stamp, if known
    captures: list[tuple[str, str, str]] = field(
        default_factory=list
    )  # (key, path, text), if known

    def add(
        self, rule: DictRule, name: str, parent: str | None = None, path: str | None = None
    ) -> str:
        """Add an object that `rule` is expected to take, of the first type that it admits."""
        kind = rule["types"][0] if rule["types"] else "transform"
        path = self.scene.add(name, kind, parent, path)
        self.expected[path] = rule["stamp"]
        if parent is None:
            self.roots.append(path)
        return path


def rule(
    number: int,
    name: str,
    regex: str,
    types: Sequence[str] = (),
    minimum: int = 1,
    maximum: int = 1,
) -> DictRule:
    """A rule as a project stores it; `number` becomes its stamp."""
    return {
        "stamp": f"{number:032x}",
        "name": name,
        "regex": regex,
        "types": list(types),
        "checklist": {},
        "range": [minimum, maximum],
        "color": None,
        "icon": None,
    }


def node(item: DictRule, *children: DictNode) -> DictNode:
    return {"stamp": item["stamp"], "children": list(children)}


def _case(name: str, rules: Sequence[DictRule], *pattern: DictNode) -> Case:
    return Case(name, MemoryScene(), {"rules": list(rules), "pattern": list(pattern)}, [])


FAMILIES = (
    ("body", "head", "arm", "hand", "finger", "leg", "foot", "toe", "eye", "brow")
    + ("lash", "tooth", "tongue", "hair", "hat", "coat", "belt", "boot", "glove", "bag")
)  # fmt: skip
BRANCH_SIZE = 9  # objects per branch of anchor_branches
PART_SIZE = 3  # objects per part of defining_siblings


def wide(objects: int) -> Case:
    """One group with `objects - 1` mesh children of 20 name families, taking turns."""
    if objects <= len(FAMILIES):
        raise ValueError(f"wide needs more than {len(FAMILIES)} objects")
    root = rule(1, "root", "root$", ["transform"])
    families = [
        rule(2 + index, name, rf"{name}_\d+$", ["mesh"], 1, objects)
        for index, name in enumerate(FAMILIES)
    ]
    case = _case("wide", [root, *families], node(root, *map(node, families)))
    top = case.add(root, "root")
    for index in range(objects - 1):
        number, family = divmod(index, len(families))
        case.add(families[family], f"{FAMILIES[family]}_{number}", top)
    return case


def deep(objects: int, depth: int = 100) -> Case:
    """One group with `objects // depth` chains of `depth` objects; at least one chain."""
    chains = max(1, objects // depth)
    root = rule(1, "root", "root$", ["transform"])
    links = [rule(2, "chain", r"c\d+$", ["transform"], 1, chains)]
    links += [rule(2 + level, f"link {level}", f"j{level:02d}$") for level in range(1, depth)]
    below = node(links[-1])
    for link in reversed(links[:-1]):
        below = node(link, below)
    case = _case("deep", [root, *links], node(root, below))
    top = case.add(root, "root")
    for chain in range(chains):
        path = case.add(links[0], f"c{chain}", top)
        for level in range(1, depth):
            path = case.add(links[level], f"j{level:02d}", path)
    return case


def anchor_branches(branches: int) -> Case:
    """Branches that each capture an id; in each two sides, with three meshes that use both."""
    root = rule(1, "root", "root$", ["transform"])
    branch = rule(2, "branch", r"<id:b\d+>$", ["transform"], 1, branches)
    side = rule(3, "side", "<id>_<side:(L|R)>$", ["transform"], 2, 2)
    parts = ("arm", "hand", "leg")
    meshes = [
        rule(4 + index, part, f"<id>_{part}_<side>$", ["mesh"]) for index, part in enumerate(parts)
    ]
    below = node(branch, node(side, *map(node, meshes)))
    case = _case("anchors", [root, branch, side, *meshes], node(root, below))
    top = case.add(root, "root")
    for index in range(branches):
        number = f"b{index:05d}"
        path = case.add(branch, number, top)
        case.captures.append((r"<id:b\d+>", path, number))
        for letter in "LR":
            group = case.add(side, f"{number}_{letter}", path)
            case.captures.append(("<side:(L|R)>", group, letter))
            for mesh, part in zip(meshes, parts):
                case.add(mesh, f"{number}_{part}_{letter}", group)
    case.captures.sort()
    return case


def defining_siblings(parts: int) -> Case:
    """One level on which every sibling defines an anchor for its own two children."""
    root = rule(1, "root", "root$", ["transform"])
    part = rule(2, "part", r"part_<number:\d+>$", ["transform"], 1, parts)
    mesh = rule(3, "mesh", "mesh_<number>$", ["mesh"])
    collider = rule(4, "collider", "collider_<number>$", ["mesh"])
    below = node(part, node(mesh), node(collider))
    case = _case("siblings", [root, part, mesh, collider], node(root, below))
    top = case.add(root, "root")
    for index in range(parts):
        path = case.add(part, f"part_{index}", top)
        case.captures.append((r"<number:\d+>", path, str(index)))
        case.add(mesh, f"mesh_{index}", path)
        case.add(collider, f"collider_{index}", path)
    case.captures.sort()
    return case


def anchored_chains(objects: int, depth: int = 100) -> Case:
    """Chains in which every object captures a number of its own and uses its parent's."""
    chains = max(1, objects // depth)
    root = rule(1, "root", "root$", ["transform"])
    links = [rule(2, "chain", r"c_<n00:\d+>$", ["transform"], 1, chains)]
    links += [
        rule(2 + level, f"link {level}", rf"j<n{level - 1:02d}>_<n{level:02d}:\d+>$")
        for level in range(1, depth)
    ]
    below = node(links[-1])
    for link in reversed(links[:-1]):
        below = node(link, below)
    case = _case("levels", [root, *links], node(root, below))
    top = case.add(root, "root")
    for number in range(chains):
        path = case.add(links[0], f"c_{number}", top)
        case.captures.append((r"<n00:\d+>", path, str(number)))
        for level in range(1, depth):
            path = case.add(links[level], f"j{number}_{number}", path)
            case.captures.append((rf"<n{level:02d}:\d+>", path, str(number)))
    case.captures.sort()
    return case


def chain(objects: int, levels: int | None = None) -> Case:
    """One chain with opaque paths "o0", "o1", ...; as many pattern levels unless `levels` is given.

    With fewer levels the chain is invalid: its last item is a leaf, the object it meets is none.
    """
    levels = objects if levels is None else levels
    link = rule(1, "link", r"o\d+$", ["transform"])
    below = node(link)
    for _ in range(levels - 1):
        below = node(link, below)
    case = _case("chain", [link], below)
    path: str | None = None
    for index in range(objects):
        path = case.add(link, f"o{index}", path, f"o{index}")
    if levels < objects:
        case.expected.clear()
    return case


LARGE: dict[str, Callable[[int], Case]] = {
    "wide": wide,
    "deep": deep,
    "anchors": lambda objects: anchor_branches(max(1, (objects - 1) // BRANCH_SIZE)),
    "siblings": lambda objects: defining_siblings(max(1, (objects - 1) // PART_SIZE)),
    "levels": anchored_chains,
    "chain": chain,
}
"""Generators by number of objects, which the scene has but for a part of a chain or branch."""
