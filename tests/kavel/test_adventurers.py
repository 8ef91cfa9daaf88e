"""samples/adventurers.json against real characters: it takes each whole and rejects every fault.

The characters are found through KAVEL_ASSETS, a folder that holds characters/*.glb. Faults are put
into a tree in memory behind an operator of its own; each one is then scanned through core.Api.
"""

from __future__ import annotations

import copy
import json
import os
import struct
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import pytest

import core
from kavel.diagnosis import diagnose
from kavel.environment import StandaloneEnvironment
from kavel.testing import MemoryScene

PROJECT = Path(__file__).resolve().parents[2] / "samples" / "adventurers.json"
HAND_SLOTS = ("handslot.l", "handslot.r")
OTHER_SIDE = {".l": ".r", ".r": ".l"}


# Scenes


@dataclass
class Node:
    name: str
    mesh: bool = False
    skin: bool = False
    children: list[Node] = field(default_factory=list)

    def walk(self) -> Iterator[Node]:
        yield self
        for child in self.children:
            yield from child.walk()

    def find(self, name: str) -> Node:
        (found,) = (node for node in self.walk() if node.name == name)
        return found

    @property
    def type(self) -> str:
        if self.mesh:
            return "mesh"
        return "transform" if self.children else "locator"


def read_character(path: Path) -> Node:
    """Read the only top node of a binary glTF file with everything below it."""
    data = path.read_bytes()
    (length,) = struct.unpack_from("<I", data, 12)
    content = json.loads(data[20 : 20 + length])

    def build(index: int) -> Node:
        node = content["nodes"][index]
        children = [build(child) for child in node.get("children", ())]
        return Node(node["name"], "mesh" in node, "skin" in node, children)

    (root,) = content["scenes"][content["scene"]]["nodes"]
    return build(root)


@pytest.fixture(scope="module")
def characters() -> dict[str, Node]:
    folder = os.environ.get("KAVEL_ASSETS")
    if not folder:
        pytest.skip("KAVEL_ASSETS is not set: no real character was tried against adventurers.json")
    found = {path.stem: read_character(path) for path in Path(folder).glob("characters/*.glb")}
    assert found, f"KAVEL_ASSETS is {folder}, but there is no characters/*.glb in it"
    return dict(sorted(found.items()))


# The host: a scene in memory, and a scan of all of it


class TreeOperator(MemoryScene):
    """Holds one tree at a time, all of it selected."""

    def __init__(self) -> None:
        super().__init__()
        self.nodes: dict[str, Node] = {}

    def open(self, root: Node) -> None:
        for top in list(self.nodes)[:1]:
            self.remove(top)
        self.nodes = {}
        self._pour(root, "")
        self.select(next(iter(self.nodes)))

    def _pour(self, node: Node, above: str) -> None:
        path = f"{above}/{node.name}" if above else node.name
        while path in self.nodes:  # equal names of siblings
            path += "#"
        self.nodes[path] = node
        self.add(path, name=node.name, type=node.type)
        for child in node.children:
            self._pour(child, path)


class Host:
    """An Api with the project loaded; `matched` scans a tree and counts the objects taken."""

    def __init__(self, folder: Path) -> None:
        self.operator = TreeOperator()
        environment = StandaloneEnvironment(str(folder))
        copied = Path(environment.get_projects_directory()) / PROJECT.name
        copied.write_bytes(PROJECT.read_bytes())
        self.api = core.Api(self.operator, environment)
        assert self.api.env is environment
        assert [header.filename for header in self.api.project.get_headers()] == [PROJECT.name]
        self.api.project.load(PROJECT.name)
        self.nothing_found = 0
        self.api.callbacks.empty_scan_result.register(self._count_empty)

    def _count_empty(self, *_: Any) -> None:
        self.nothing_found += 1

    def matched(self, root: Node) -> int:
        """Return how many objects rules took: 0 means that the scan itself said "nothing found"."""
        self.operator.open(root)
        self.nothing_found = 0
        found = bool(self.api.scene.scanner.upload_buffer(False))
        buckets = list(self.api.scene.buffer.get())
        assert self.nothing_found == (0 if found else 1), "the scan failed, it did not reject"
        assert bool(buckets) == found
        return sum(count_joints(bucket.joint) for bucket in buckets)


def count_joints(joint: Any) -> int:
    return 1 + sum(count_joints(child) for child in joint.children)


@pytest.fixture(scope="module")
def host(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Host]:
    folder = tmp_path_factory.mktemp("adventurers")
    with pytest.MonkeyPatch.context() as patch:
        # The environment writes these; the patch restores them, and gives a home where none is.
        for name in ("SETTINGS", "TARGET", "SCOPE", "SERVER"):
            patch.setenv(f"KAVEL-{name}", "")
        patch.setattr(core.Environment, "user_home", str(folder))
        host = Host(folder)
        yield host
        host.api.shutdown()


# Faults: each is a label and the tree with it

Faults = Callable[[Node], Iterator[tuple[str, Node]]]


def rename_bones(root: Node) -> Iterator[tuple[str, Node]]:
    for index, node in enumerate(root.walk()):
        if node.mesh:
            continue
        names = [f"{node.name}.001", f"x{node.name}", "Bone"]
        if node.name[-2:] in OTHER_SIDE:
            names.append(node.name[:-2] + OTHER_SIDE[node.name[-2:]])
        for name in names:
            changed = copy.deepcopy(root)
            list(changed.walk())[index].name = name
            yield f"{node.name} renamed to {name}", changed


def swap_sides(root: Node) -> Iterator[tuple[str, Node]]:
    """Exchange two names. Left/Right of the body meshes is no such pair: exporters list meshes by
    name, so an exchange leaves the same names in the same order and nothing to tell it by."""
    for node in root.walk():
        if node.name.endswith(".l"):
            changed = copy.deepcopy(root)
            left, right = changed.find(node.name), changed.find(node.name[:-1] + "r")
            left.name, right.name = right.name, left.name
            yield f"{right.name} and {left.name} exchanged", changed


def lose_children(root: Node) -> Iterator[tuple[str, Node]]:
    """Every bone but those that may be bare or empty."""
    for index, node in enumerate(root.walk()):
        if node.type == "transform" and node.name not in ("head", *HAND_SLOTS):
            changed = copy.deepcopy(root)
            list(changed.walk())[index].children.clear()
            yield f"{node.name} without children", changed


def remove_body_meshes(root: Node) -> Iterator[tuple[str, Node]]:
    for node in root.walk():
        if node.skin:
            changed = copy.deepcopy(root)
            changed.children.remove(changed.find(node.name))
            yield f"{node.name} removed", changed


def add_strays(root: Node) -> Iterator[tuple[str, Node]]:
    """Everywhere but in the hand slots, where any mesh is equipment."""
    someone = next(node.name for node in root.walk() if node.skin).split("_")[0]
    for index, node in enumerate(root.walk()):
        if node.name in HAND_SLOTS:
            continue
        for name in ("Stray", f"{someone}_Stray"):
            for place in {0, len(node.children)}:
                changed = copy.deepcopy(root)
                list(changed.walk())[index].children.insert(place, Node(name, mesh=True))
                yield f"{name} at {place} under {node.name}", changed


# Every kind of fault, and how many of it each character must give at least.
FEWEST: dict[Faults, int] = {
    rename_bones: 100,
    swap_sides: 18,
    lose_children: 20,
    remove_body_meshes: 6,
    add_strays: 100,
}


@pytest.mark.parametrize("faults", FEWEST)
def test_every_fault_is_rejected(
    host: Host,
    characters: dict[str, Node],
    faults: Faults,
) -> None:
    for name, root in characters.items():
        tried = {label: host.matched(changed) for label, changed in faults(root)}
        assert len(tried) >= FEWEST[faults], f"{name}: only {len(tried)} faults were made"
        accepted = [label for label, count in tried.items() if count]
        assert not accepted, f"{name}: accepted with {accepted}"


def paths(root: Node) -> set[str]:
    operator = TreeOperator()
    operator.open(root)
    return set(operator.nodes)


# Exchanged siblings are left out: their paths are the same afterwards.
@pytest.mark.parametrize("faults", [rename_bones, lose_children, remove_body_meshes, add_strays])
def test_every_fault_is_located(
    host: Host,
    characters: dict[str, Node],
    faults: Callable[[Node], Iterator[tuple[str, Node]]],
) -> None:
    """What is told first is about the children of the parent of the first path that changed; where
    an object's type changed with its children, one level further up."""
    for name, root in characters.items():
        before = paths(root)
        for label, changed in faults(root):
            assert not host.matched(changed)
            (first, *_) = diagnose(host.api).departures
            top = min(before ^ paths(changed), key=lambda path: path.count("/"))
            places = [top.rpartition("/")[0], top.rpartition("/")[0].rpartition("/")[0]]
            assert first.place in places and first.certain, f"{name}, {label}: {first}"


# What belongs to the family


def unchanged(root: Node) -> None:
    pass


def another_name(root: Node) -> None:
    for node in root.walk():
        if node.skin or node.name.endswith("_Cape"):
            node.name = "Swamp_Witch_2_" + node.name.rsplit("_", 1)[1]


def hooded_and_bareheaded(root: Node) -> None:
    (head,) = (node for node in root.children if node.name.endswith("_Head"))
    head.name += "_Hooded"
    root.find("head").children.clear()


def empty_handed(root: Node) -> None:
    for slot in HAND_SLOTS:
        root.find(slot).children.clear()


def heavily_armed(root: Node) -> None:
    root.find("handslot.r").children += [Node(f"Dagger {number}", mesh=True) for number in range(9)]


@pytest.mark.parametrize(
    "change", [unchanged, another_name, hooded_and_bareheaded, empty_handed, heavily_armed]
)
def test_the_family_is_taken_whole(
    host: Host, characters: dict[str, Node], change: Callable[[Node], None]
) -> None:
    for name, root in characters.items():
        changed = copy.deepcopy(root)
        change(changed)
        assert host.matched(changed) == len(list(changed.walk())), name
