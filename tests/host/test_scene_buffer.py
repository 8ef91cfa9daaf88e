"""Joints, buckets and the buffer: identity, what is embedded, what comes back from bad data."""

from __future__ import annotations

import gc
import json
import re
import weakref
from typing import Any

import pytest
from lifetimes import collected
from project_tools import logged
from scene_host import MemoryHost, Stage, item, record_of

import core

Joint = core.Scene._Buffer.DataJoint
Bucket = core.Scene._Buffer.DataBucket
TREE = {"Car": {"Body:mesh": {}, "Wheels": {"W1:mesh": {}, "W2:mesh": {}}}}
CAR = item(
    "car",
    "Car",
    item("body", "Body"),
    item("wheels", "Wheels", item("wheel", "W", counts=(1, 4))),
)


def joint(name: Any, *children: Any, **fields: Any) -> Any:
    values = {"stamp": "s", "path": f"/{name}", "type": "t", "icon": "i", "color": "c"}
    return Joint(name=name, children=children, **{**values, **fields})


def ghost(*children: Any, path: Any = "") -> Any:
    return joint("ghost root", *children, type="ghost", path=path)


def stage(tree: Any = None) -> Stage:
    return Stage(MemoryHost(TREE if tree is None else tree), CAR)


class Finaliser:
    """Found by the collector, it changes what the core is reading, and uses the memory anew."""

    def __init__(self, change: Any) -> None:
        self.circle, self.change = self, change

    def __del__(self) -> None:
        self.change()
        Finaliser.junk = [bytes(8 * 3000) for _ in range(50)]


@pytest.mark.parametrize("changed", ["buckets", "children"])
@pytest.mark.parametrize("operation", ["update", "get_path_groups"])
def test_reading_outlives_foreign_code_that_the_collector_runs(
    changed: str, operation: str
) -> None:
    made = stage()
    made.buffer.set([Bucket(joint("k", *[joint("n")] * 30)) for _ in range(1000)])
    live = made.buffer.get() if changed == "buckets" else made.buffer.get()[5].joint.children
    gc.collect()
    limits = gc.get_threshold()
    gc.set_threshold(200, 10, 10)
    try:
        Finaliser(live.clear)
        result = getattr(made.buffer, operation)()
    finally:
        gc.set_threshold(*limits)
    assert len(made.host.stored if operation == "update" else result) == 1000


def test_joints_are_equal_by_four_fields() -> None:
    left = joint("a", joint("b"))
    assert left == joint("a", icon="other", color="other")
    assert hash(left) == hash(("s", "a", "/a", "t"))
    for field in ("stamp", "name", "path", "type"):
        other = joint("a")
        setattr(other, field, "other")
        assert left != other, field
    assert left != ("s", "a", "/a", "t")
    assert Joint() == Joint(None, None, None, None)
    assert (joint("a", type="ghost").is_ghost(), Joint(type="Ghost").is_ghost()) == (True, False)
    with pytest.raises(TypeError):
        left.name = 3
    with pytest.raises(TypeError):
        joint("a", "no joint")


def test_buckets_are_equal_by_all_fields_and_have_no_hash() -> None:
    assert Bucket(joint("a"), "n") == Bucket(joint("a", joint("x")), "n", True, opened=True)
    for other in (
        Bucket(joint("b"), "n"),
        Bucket(joint("a"), "m"),
        Bucket(joint("a"), "n", checked=False),
        Bucket(joint("a"), "n", opened=False),
    ):
        assert Bucket(joint("a"), "n") != other
    with pytest.raises(TypeError):
        hash(Bucket(joint("a")))
    with pytest.raises(TypeError):
        Bucket(None)


def test_children_are_one_live_list_and_joints_keep_what_a_host_adds() -> None:
    root = joint("root", joint("a"))
    root.children.append(joint("b"))
    children = root.children
    root.children = [joint("c")]
    assert children is root.children
    assert [child.name for child in children] == ["c"]
    children[0].marker = "kept"
    gone = weakref.ref(children[0])
    gc.collect()
    assert root.children[0].marker == "kept"
    del children[0]
    gc.collect()
    assert gone() is None


def test_get_joints_is_in_preorder_and_survives_a_ring() -> None:
    root = joint("r", joint("a", joint("a1"), joint("a2")), joint("b"))
    names = [each.name for each in Bucket(root).get_joints()]
    assert names == ["r", "a", "a1", "a2", "b"]
    root.children[0].children.append(root)
    assert [each.name for each in Bucket(root).get_joints()] == names
    buffer = stage().buffer
    buffer.add([Bucket(root)])
    buffer.sort()
    assert len(json.dumps(buffer.encode(buffer.get()))) < 1000
    root.children[0].children.pop()


def test_encode_and_decode_are_each_others_inverse() -> None:
    buffer = stage().buffer
    buckets = [
        Bucket(ghost(joint("a", joint("b\udcff")), joint("ж")), "Имя", checked=False),
        Bucket(Joint(), None, opened=False),
    ]
    data = buffer.encode(buckets)
    keys = ["stamp", "name", "path", "type", "icon", "color", "children"]
    assert [list(entry) for entry in data] == [["joint", "name", "checked", "opened"]] * 2
    assert list(data[0]["joint"]) == list(data[0]["joint"]["children"][0]) == keys
    assert data[1]["joint"] == {**dict.fromkeys(keys), "children": []}
    stored = json.loads(json.dumps(data))
    assert buffer.decode(stored) == buckets
    assert buffer.encode(buffer.decode(stored)) == data


@pytest.mark.parametrize("none", [None, "", [], (), {}])
def test_nothing_stored(none: Any) -> None:
    assert stage().buffer.decode(none) == []


@pytest.mark.parametrize(
    ("data", "expected", "skipped"),
    [
        ("text", [], 1),
        ({"joint": {}}, [], 1),
        ([None, 3, "x", [], {}], [Bucket(Joint())], 4),
        ([{"joint": []}], [Bucket(Joint())], 1),
        ([{"joint": {"children": {"a": 1}}}], [Bucket(Joint())], 1),
        (
            [{"name": 7, "checked": "no", "opened": None, "joint": {"name": [], "path": 1}}],
            [Bucket(Joint(), None, True, True)],
            0,
        ),
        ([{"joint": {"children": [5, {"name": "kept"}]}}], None, 1),
    ],
)
def test_hostile_data_takes_defaults(
    data: Any, expected: Any, skipped: int, caplog: pytest.LogCaptureFixture
) -> None:
    buckets = stage().buffer.decode(data)
    if expected is None:
        assert [child.name for child in buckets[0].joint.children] == ["kept"]
    else:
        assert buckets == expected
    warnings = [f"skipped {skipped} entries"] * (skipped > 0)
    assert [entry[: len(f"skipped {skipped} entries")] for entry in logged(caplog)] == warnings


def test_data_that_contains_itself_ends() -> None:
    ring: dict[str, Any] = {"name": "ring"}
    ring["children"] = [ring, {"name": "other"}]
    root = stage().buffer.decode([{"joint": ring}])[0].joint
    assert [child.name for child in root.children] == ["ring", "other"]
    assert list(root.children[0].children) == []


def test_depth_is_not_bounded() -> None:
    depth = 60_000
    deep: dict[str, Any] = {"name": "leaf", "path": "/x"}
    for _ in range(depth):
        deep = {"name": "n", "path": "/x", "children": [deep]}
    made = stage()
    made.host.stored = [{"joint": deep}]
    made.buffer.load()
    made.buffer.sort()
    made.buffer.repath("/x", "/y")
    assert made.buffer.is_match(made.buffer.get()[0]) is False
    gc.collect()
    made.buffer.update()
    assert len(made.buffer.get()[0].get_joints()) == depth + 1
    made.buffer.set([])
    assert len(made.host.called("postscript_scan_remove")) == depth + 1


def test_list_operations_keep_order_and_take_joints_back() -> None:
    made = stage()
    buffer, host = made.buffer, made.host
    one, two, three = (Bucket(joint(name, joint(name + "1")), name) for name in "abc")
    assert not buffer.exists()
    buffer.add([one, two])
    buffer.add(buffer.get())
    assert [bucket.name for bucket in buffer.get()] == ["a", "b", "a", "b"]
    buffer.set(buffer.get())
    assert [bucket.name for bucket in buffer.get()] == ["a", "b", "a", "b"]
    assert len(host.called("postscript_scan_remove")) == 8
    buffer.set([one, two, three])
    assert buffer.get() is buffer.get()
    assert buffer.get()[1] is two
    two.checked = False
    assert buffer.get_checked() == [one, three]
    assert Bucket(joint("a"), "a") in buffer
    assert (Bucket(joint("a"), "z") in buffer, "a" in buffer) == (False, False)
    host.calls.clear()
    buffer.remove(Bucket(joint("c"), "c"))
    assert host.calls == [("postscript_scan_remove", "/c"), ("postscript_scan_remove", "/c1")]
    with pytest.raises(ValueError, match="not in the buffer"):
        buffer.remove(three)
    with pytest.raises(TypeError):
        buffer.add([one, "no bucket"])
    assert buffer.get() == [one, two]


def test_remove_prefers_the_bucket_itself() -> None:
    buffer = stage().buffer
    first, second = Bucket(joint("a"), "n"), Bucket(joint("a"), "n")
    buffer.set([first, second])
    buffer.remove(second)
    assert buffer.get()[0] is first


def test_clearing_goes_on_when_the_host_fails(caplog: pytest.LogCaptureFixture) -> None:
    made = stage()
    made.buffer.add([Bucket(joint("a", joint("b"), joint("c")))])
    made.host.fail["postscript_scan_remove"] = RuntimeError("no outliner")
    made.buffer.erase()
    assert not made.buffer.exists()
    assert len(made.host.called("postscript_scan_remove")) == 3
    entries = logged(caplog)
    assert entries[0].startswith("RuntimeError: no outliner")
    assert "3 scanned items" in entries[-1]
    made.buffer.add([Bucket(joint("a"))])
    made.host.fail["postscript_scan_remove"] = KeyboardInterrupt()
    with pytest.raises(KeyboardInterrupt):
        made.buffer.set([])


def test_update_and_erase_in_order() -> None:
    made = stage()
    made.buffer.update()
    assert made.host.calls == [("erase_filedata",), ("embed_filedata",)]
    assert made.host.stored == []
    made.buffer.add([Bucket(joint("a"))])
    made.virtual.upload(["/Car"])
    made.host.calls.clear()
    made.buffer.erase()
    assert made.host.calls == [("erase_filedata",), ("postscript_scan_remove", "/a")]
    assert (len(made.virtual._name), made.buffer.get(), made.host.stored) == (0, [], None)


def test_load_replaces_and_passes_the_hosts_error() -> None:
    made = stage()
    made.buffer.add([Bucket(joint("old"))])
    made.host.stored = made.buffer.encode([Bucket(joint("new"), "n")])
    made.buffer.load()
    assert [bucket.name for bucket in made.buffer.get()] == ["n"]
    assert made.host.called("postscript_scan_remove") == [("postscript_scan_remove", "/old")]
    error = made.host.fail["query_filedata"] = NotImplementedError()
    with pytest.raises(NotImplementedError) as caught:
        made.buffer.load()
    assert caught.value is error
    assert made.buffer.exists()


@pytest.mark.parametrize(
    ("old", "new", "names", "paths"),
    [
        ("A", "B", ["B1", "XB", None], ["/B/B1", None]),
        ("", "x", ["A1", "XA", None], ["/A/A1", None]),
        ("1", "", ["A", "XA", None], ["/A/A", None]),
        ("missing", "x", ["A1", "XA", None], ["/A/A1", None]),
    ],
)
def test_rename_and_repath_are_textual(old: str, new: str, names: Any, paths: Any) -> None:
    buffer = stage().buffer
    root = joint("r", joint("c", path=None), path="/A/A1")
    buffer.add([Bucket(root, "A1"), Bucket(Joint(), "XA"), Bucket(Joint())])
    buffer.rename(old, new)
    buffer.repath(old, new)
    assert [bucket.name for bucket in buffer.get()] == names
    assert [each.path for each in buffer.get()[0].get_joints()] == paths


def test_sort_is_stable_and_by_code_points() -> None:
    buffer = stage().buffer
    names = ["b", "a", None, "\U0001f9b4", "\ufb01", "\udcff", "Z", "a", ""]
    children = [joint(name, path=str(place)) for place, name in enumerate(names)]
    root = joint("r", joint("inner", *children))
    others = [Bucket(joint(name)) for name in ("z", "a")]
    buffer.add([Bucket(root), *others])
    inner = root.children[0].children
    buffer.sort()
    keys = [(child.name or "", int(child.path)) for child in inner]
    assert keys == sorted(keys)
    assert [bucket.joint.name for bucket in buffer.get()] == ["r", "z", "a"]


def test_roots_of_joints_and_ghosts() -> None:
    buffer = stage().buffer
    assert buffer.get_roots(joint("a", joint("b"))) == ["/a"]
    assert buffer.get_roots(ghost()) == []
    assert buffer.get_roots(ghost(joint("a"), joint("b"))) == ["/a", "/b"]
    buffer.add([Bucket(joint("a")), Bucket(ghost(joint("b")))])
    assert buffer.get_path_groups() == [["/a"], ["/b"]]


def test_validate_finds_what_no_longer_fits(caplog: pytest.LogCaptureFixture) -> None:
    made = stage({**TREE, "Lamp": {}})
    assert made.scan("/Car")
    kept = made.buffer.get()[0]
    gone = Bucket(joint("gone", path="/Gone"))
    pathless = Bucket(Joint())
    made.buffer.add([Bucket(joint("Lamp")), gone, pathless])
    made.host.calls.clear()
    made.buffer.validate()
    assert [bucket.joint.path for bucket in made.buffer.incompatibles] == ["/Lamp", "/Gone", None]
    assert all(isinstance(call[1], str) for call in made.host.calls)
    # A pattern of optional items accepts nothing at all, but not a hierarchy that is gone.
    made.hierarchy.pattern.set(record_of(item("any", "Car", counts=(0, 1))))
    made.buffer.validate()
    assert [bucket.joint.path for bucket in made.buffer.incompatibles] == ["/Gone", None]
    made.hierarchy.pattern.set(record_of(item("any", "(")))
    made.buffer.validate()
    assert len(made.buffer.incompatibles) == 4
    assert any(entry.startswith(f"{re.error.__name__}: ") for entry in logged(caplog))
    listed = made.buffer.incompatibles
    made.buffer.remove(kept)
    assert kept not in list(listed)


def test_is_match_compares_counts_below_each_object() -> None:
    made = stage()
    made.scan("/Car")
    bucket = made.buffer.get()[0]
    assert made.buffer.is_match(bucket)
    assert made.buffer.is_match(bucket.joint)
    made.host.pour({"W3:mesh": {}}, "/Car/Wheels")
    assert not made.buffer.is_match(bucket)
    assert made.buffer.is_match(bucket.joint.children[0])
    assert made.buffer.is_match(ghost(bucket.joint.children[0]))
    assert not made.buffer.is_match(ghost(joint("gone")))
    assert not made.buffer.is_match(Joint())
    with pytest.raises(TypeError):
        made.buffer.is_match("/Car")


def test_a_joint_that_stands_twice_is_kept_twice() -> None:
    twice = joint("twice", joint("leaf"))
    bucket = Bucket(joint("root", twice, twice))
    names = [each.name for each in bucket.get_joints()]
    assert names == ["root", "twice", "leaf", "twice", "leaf"]
    (encoded,) = stage().buffer.encode([bucket])
    assert [len(child["children"]) for child in encoded["joint"]["children"]] == [1, 1]


@pytest.mark.parametrize("looked_at", [(), ("get",), ("get", "incompatibles")])
@collected
def test_incompatible_buckets_are_collected(looked_at: tuple[str, ...]) -> Any:
    made: Any = stage()
    # The joints lead back to the stage.
    made.host.postscript_scan_append = lambda each: setattr(each, "stage", made)
    assert made.scan("/Car")
    for name in looked_at:
        made.kept = getattr(made.buffer, name)
        made.kept = made.kept() if callable(made.kept) else made.kept
    made.hierarchy.pattern.set(record_of(item("other", "Other")))
    made.hierarchy.pattern.kept = made.hierarchy.pattern.get()
    made.buffer.validate()
    return [made.buffer]


@collected
def test_buffer_and_host_are_collected_together() -> Any:
    made: Any = stage()
    made.scan("/Car")
    # Through an attribute of a joint, the list of the buffer and the buffer back to the host.
    made.buffer.get()[0].joint.owner = made.host
    made.host.stage = made
    return made.host, made.buffer.get()[0].joint
