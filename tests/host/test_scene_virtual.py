"""The virtual scene: what it asks of the host, what it answers, what a faulty host can do to it."""

from __future__ import annotations

import threading
from collections.abc import Mapping
from typing import Any

import pytest
from lifetimes import collected
from scene_host import MemoryHost

import core

TREE = {"A": {"B:mesh": {"C:locator": {}}, "D": {}}, "E": {}}
FIELDS = ("_exists", "_name", "_type", "_parent", "_children")


def questions(path: str) -> list[tuple[str, str]]:
    names = ("object_exists", "name_from_path", "get_type", "get_parent", "get_children")
    return [(name, path) for name in names]


def test_upload_asks_parents_before_children() -> None:
    host = MemoryHost(TREE)
    scene = core.Scene._Virtual(host)
    scene.upload(["/E", "/gone", "/A"])
    expected = [*questions("/E"), ("object_exists", "/gone")]
    for path in ("/A", "/A/B", "/A/B/C", "/A/D"):
        expected += questions(path)
    assert host.calls == expected
    assert dict(scene._name) == {path: host.names[path] for path in host.names}
    assert dict(scene._type) == host.types
    assert dict(scene._parent) == host.parents
    assert dict(scene._children) == host.children
    assert dict(scene._exists) == {**dict.fromkeys(host.names, True), "/gone": False}


def test_answers_for_known_missing_and_unknown_objects() -> None:
    scene = core.Scene._Virtual(MemoryHost(TREE))
    scene.upload(["/A/B", "/gone"])
    rows = {
        "/A/B": (True, "mesh", "/A", ["/A/B/C"]),
        "/A/B/C": (True, "locator", "/A/B", []),
        "/gone": (False, "", None, []),
        # Mentioned as a parent, never asked about.
        "/A": (None, "", None, []),
        "/E": (None, "", None, []),
        None: (None, "", None, []),
    }
    for path, row in rows.items():
        operations = (scene.object_exists, scene.get_type, scene.get_parent, scene.get_children)
        assert tuple(operation(path) for operation in operations) == row, path
    locations = scene.get_locations(["/E", "/A/B", "/gone", "/A"])
    assert [(item.name, item.path, item.type, list(item.children)) for item in locations] == [
        ("B", "/A/B", "mesh", ["/A/B/C"])
    ]


def test_clear_keeps_or_replaces() -> None:
    host = MemoryHost(TREE)
    scene = core.Scene._Virtual(host)
    scene.upload(["/A/D"])
    scene.upload(["/E"], clear=False)
    assert list(scene._name) == ["/A/D", "/E"]
    # An object that is gone by then keeps its facts, but exists no more.
    del host.names["/E"]
    scene.upload(["/E"], False)
    assert (scene.object_exists("/E"), scene.get_type("/E")) == (False, "transform")
    assert scene.get_locations(["/E"]) == []
    scene.upload(["/A/B/C"])
    assert list(scene._name) == ["/A/B/C"]
    scene.offload()
    assert [len(getattr(scene, field)) for field in FIELDS] == [0] * 5


def test_a_changed_object_is_overwritten() -> None:
    host = MemoryHost({"A": {"B": {}}})
    scene = core.Scene._Virtual(host)
    scene.upload(["/A", "/A"])
    assert host.calls == (questions("/A") + questions("/A/B")) * 2
    host.pour({"C": {}, "D": {}}, "/A")
    host.names["/A"], host.types["/A"] = "renamed", "mesh"
    scene.upload(["/A"], clear=False)
    assert (scene._name["/A"], scene.get_type("/A")) == ("renamed", "mesh")
    assert scene.get_children("/A") == ["/A/B", "/A/C", "/A/D"]
    host.children["/A"] = ["/A/D"]
    scene.upload(["/A"], clear=False)
    assert scene.get_children("/A") == ["/A/D"]


@pytest.mark.parametrize(
    "children",
    [
        {"/A": ["/A"]},
        {"/A": ["/A/B"], "/A/B": ["/A/C", "/A"], "/A/C": ["/A/B"]},
        # Every object lists all: a guard on the way down alone would try each order of them.
        {path: ["/A", *(f"/A/{name}" for name in "BCDEFGHIJKLM")] for path in ("/A", "/A/B")},
    ],
)
def test_a_cycle_ends(children: dict[str, list[str]]) -> None:
    host = MemoryHost({"A": {name: {} for name in "BCDEFGHIJKLM"}})
    everything = children["/A/B"] if "/A/B" in children else children["/A"]
    host.children = {path: children.get(path, everything) for path in host.children}
    scene = core.Scene._Virtual(host)
    scene.upload(["/A"])
    assert len(host.called("object_exists")) == len(set(host.called("object_exists")))
    assert scene.get_children("/A") == children["/A"]


@pytest.mark.parametrize(
    "name",
    ["Кириллица", "lone\udcff", "\ud800", "🦴", "a\x00b", "\n\t\x7f", "", 'quote"\\|/', "x" * 5000],
)
def test_any_text_comes_back(name: str) -> None:
    host = MemoryHost({"A": {}})
    path = "/A/" + name
    host.names[path], host.types[path] = name, name
    host.parents[path], host.children[path] = "/A", []
    host.children["/A"] = [path]
    scene = core.Scene._Virtual(host)
    scene.upload(["/A"])
    assert (scene._name[path], scene.get_type(path), scene.get_parent(path)) == (name, name, "/A")
    assert scene.get_children("/A") == [path]
    assert [location.path for location in scene.get_locations([path])] == [path]


def test_deep_scenes_need_no_stack() -> None:
    depth = 50_000
    host = MemoryHost()
    for number in range(depth):
        path = f"n{number}"
        host.names[path], host.types[path] = path, "transform"
        host.parents[path] = f"n{number - 1}" if number else ""
        host.children[path] = [f"n{number + 1}"] if number + 1 < depth else []
    scene = core.Scene._Virtual(host)
    scene.upload(["n0"])
    assert len(scene._name) == depth
    assert scene.get_parent("n0") is None


@pytest.mark.parametrize(
    ("operation", "answer", "message"),
    [
        ("name_from_path", 3, "name_from_path.. returned an object of class int"),
        ("get_type", b"mesh", "get_type.. returned an object of class bytes"),
        ("get_parent", 1.5, "get_parent.. returned an object of class float"),
        ("get_children", "/A/B", "get_children.. returned an object of class str"),
        ("get_children", [None], "get_children.. returned an object of class NoneType"),
        ("get_children", 7, "get_children.. must return a sequence"),
    ],
)
def test_wrong_answers_are_named(operation: str, answer: Any, message: str) -> None:
    host = MemoryHost(TREE)
    setattr(host, operation, lambda path: answer)
    with pytest.raises(TypeError, match=message):
        core.Scene._Virtual(host).upload(["/A"])


def test_none_is_an_empty_answer_and_any_sequence_will_do() -> None:
    host = MemoryHost(TREE)
    host.get_type = lambda path: None  # type: ignore[method-assign]
    host.get_children = lambda path: iter(host.children[path])  # type: ignore
    scene = core.Scene._Virtual(host)
    scene.upload(("/A",))
    assert (scene.get_type("/A"), scene._type["/A"]) == ("", "")
    assert scene.get_children("/A") == ["/A/B", "/A/D"]


def test_the_hosts_own_errors_and_path_objects_cross_untouched() -> None:
    host = MemoryHost(TREE)
    error = host.fail["get_parent"] = RuntimeError("host")
    scene = core.Scene._Virtual(host)
    with pytest.raises(RuntimeError) as caught:
        scene.upload(["/A"])
    assert caught.value is error
    host.fail.clear()
    scene.upload(["/A"])
    assert any(call[1] is host.children["/A"][0] for call in host.calls)


def test_a_host_that_empties_the_table_meanwhile() -> None:
    host = MemoryHost(TREE)
    scene = core.Scene._Virtual(host)
    plain = host.get_type

    def emptying(path: str) -> str:
        if path == "/A/B":
            scene.offload()
        return plain(path)

    host.get_type = emptying  # type: ignore[method-assign]
    scene.upload(["/A"])
    assert dict(scene._name) == {"/A/B": "B", "/A/B/C": "C", "/A/D": "D"}
    assert scene.get_children("/A/B") == ["/A/B/C"]


def test_fields_are_live_read_only_maps() -> None:
    scene = core.Scene._Virtual(MemoryHost(TREE))
    names = scene._name
    assert isinstance(names, Mapping)
    assert "/A" not in names
    scene.upload(["/A/B"])
    assert (names["/A/B"], names.get("/x"), len(names), 1 in names) == ("B", None, 2, False)
    assert names == {"/A/B": "B", "/A/B/C": "C"}
    with pytest.raises(KeyError):
        names["/A"]
    with pytest.raises(TypeError):
        names["/A/B"] = "other"


def test_locations_compare_by_path() -> None:
    made = core.Scene._Virtual._Location("a", "/p", "mesh", ["/p/c"])
    other = core.Scene._Virtual._Location(name="b", path="/p", type="", children=())
    assert made == other
    assert hash(made) == hash("/p")
    assert made != core.Scene._Virtual._Location("a", "/q", "mesh", ["/p/c"])
    assert made != "/p"


def test_other_threads_ask_during_an_upload() -> None:
    host = MemoryHost({"A": {str(number): {} for number in range(2000)}})
    scene = core.Scene._Virtual(host)
    done = threading.Event()
    seen: list[str] = []

    def ask() -> None:
        while not done.is_set():
            for path in scene.get_children("/A")[:50]:
                seen.append(scene.get_type(path))
            scene.get_locations(["/A", "/A/7"])

    reader = threading.Thread(target=ask)
    reader.start()
    try:
        for _ in range(5):
            scene.upload(["/A"])
    finally:
        done.set()
        reader.join()
    assert set(seen) <= {"", "transform"}


@collected
def test_scene_and_host_are_collected_together() -> Any:
    host: Any = MemoryHost(TREE)
    host.scene = core.Scene._Virtual(host)
    host.scene.upload(["/A"])
    assert isinstance(host.scene, core.Scene._QueryOp)
    assert host.scene._operator is host
    return [host]
