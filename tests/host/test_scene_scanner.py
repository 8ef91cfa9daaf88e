"""Scans as a host runs them: what is stored, what is notified, and what a failure leaves behind."""

from __future__ import annotations

import threading
import time
from typing import Any

import pytest
from lifetimes import collected
from project_tools import logged
from scene_host import MemoryHost, Stage, item, outline, record_of

import core

TREE = {
    "Car": {"Wheels": {"W2:mesh": {}, "W1:mesh": {}}, "Body:mesh": {}},
    "Car_b": {"Wheels": {"W1:mesh": {}}, "Body:mesh": {}},
    "Lamp": {},
}
CAR = item(
    "car",
    "Car",
    item("body", "Body", types=("mesh",)),
    item("wheels", "Wheels", item("wheel", "W", counts=(1, 4))),
)
CAR_OF_ANY_PARTS = record_of(item("car", "Car", item("part", ".", counts=(0, 9))))
CAR_OUTLINE = ("Car", [("Body", []), ("Wheels", [("W1", []), ("W2", [])])])


def car_stage() -> Stage:
    return Stage(MemoryHost(TREE), CAR)


def contents(stage: Stage) -> list[Any]:
    return [outline(bucket.joint) for bucket in stage.buffer.get()]


def agrees(stage: Stage) -> bool:
    """Whether the scene file holds what the buffer holds; nothing stands for an empty buffer."""
    return (stage.host.stored or []) == stage.buffer.encode(stage.buffer.get())


def decorated(stage: Stage) -> bool:
    """Whether the host shows exactly the joints that are stored."""
    stored = [joint for bucket in stage.buffer.get() for joint in bucket.get_joints()]
    return {id(joint) for joint in stored} == {id(joint) for joint in stage.host.decorated}


def test_a_scan_stores_embeds_and_decorates() -> None:
    stage = car_stage()
    assert stage.scan("/Car/Wheels/W1", "/Car") is core.Constants.Plugin.Status.Success
    assert contents(stage) == [CAR_OUTLINE]
    bucket = stage.buffer.get()[0]
    assert (bucket.name, bucket.checked, bucket.opened) == ("Car", True, True)
    wheel = bucket.joint.children[1].children[0]
    values = (wheel.stamp, wheel.name, wheel.path, wheel.type, wheel.icon, wheel.color)
    kind = ("stamp of wheel", "W1", "/Car/Wheels/W1", "wheel", "icon of wheel", "#123456")
    assert values == kind
    assert (agrees(stage), decorated(stage), stage.events) == (True, True, [])
    assert stage.host.selection == ["/Car/Wheels/W1", "/Car"]
    appended = [call[1] for call in stage.host.called("postscript_scan_append")]
    assert appended[0] == "/Car"
    assert appended.index("/Car/Wheels") < appended.index("/Car/Wheels/W2")


def test_the_host_sees_a_joint_before_its_children() -> None:
    stage = car_stage()
    seen: list[int] = []
    stage.host.postscript_scan_append = (  # type: ignore[method-assign]
        lambda joint: seen.append(len(joint.children))
    )
    stage.scan("/Car")
    assert seen == [0] * 5


@pytest.mark.parametrize(
    ("selection", "append", "expected", "event"),
    [
        (["/Car_b/Body"], True, ["Car", "Car_b"], None),
        (["/Car_b"], False, ["Car_b"], None),
        (["/Car", "/Car/Body"], False, ["Car"], None),
        (["/Car_b", "/Car/Body"], True, ["Car"], "used_scan_selection"),
        (["/Car/Wheels/W1"], True, ["Car"], "used_scan_selection"),
        (["/Lamp"], True, ["Car"], "empty_scan_result"),
        (["/Lamp"], False, [], "empty_scan_result"),
        ([], True, ["Car"], "empty_scan_selection"),
        ([], False, ["Car"], "empty_scan_selection"),
    ],
)
def test_append_or_replace(
    selection: list[str], append: bool, expected: list[str], event: str | None
) -> None:
    stage = car_stage()
    stage.scan("/Car")
    assert stage.scan(*selection, append=append) is (event is None)
    assert [bucket.name for bucket in stage.buffer.get()] == expected
    assert stage.events == ([event] if event else [])
    assert (agrees(stage), decorated(stage)) == (True, True)
    if selection:
        assert stage.host.selection == selection


def test_appending_an_object_beside_what_is_stored_finds_nothing_new() -> None:
    # The selected object is no part of the stored hierarchy, but its scope is.
    stage = Stage(MemoryHost({"Car": {"Body": {}}}), CAR)
    stage.hierarchy.pattern.set(CAR_OF_ANY_PARTS)
    stage.scan("/Car")
    stage.host.pour({"Late": {}}, "/Car")
    assert not stage.scan("/Car/Late", append=True)
    assert stage.events == ["used_scan_selection"]
    assert stage.host.called("postscript_scan_append") == []


def test_an_empty_selection_shows_what_would_be_replaced() -> None:
    stage = car_stage()
    stage.scan("/Car", "/Car_b")
    del stage.host.names["/Car"]
    assert not stage.scan()
    assert stage.host.selection == ["/Car_b"]
    stage.host.names.clear()
    assert not stage.scan()
    assert stage.host.selection == []


def test_ancestors_outside_the_selection_are_found_and_loaded() -> None:
    stage = Stage(
        MemoryHost({"World": TREE}), item("world", "World", CAR, item("rest", ".", counts=(0, 9)))
    )
    assert stage.scan("/World/Car/Wheels/W1")
    assert stage.buffer.get()[0].joint.path == "/World"
    assert stage.scanner._find_scope_root("/World/Car/Body") == "/World"


GHOST_PARTS = (item("body", "Body"), item("wheels", "Wheels", item("wheel", "W", counts=(1, 4))))
SCENE_GHOST = item("ghost", "", *GHOST_PARTS, types=("sceneRoot",))
GROUP_GHOST = item("ghost", "grp_", *GHOST_PARTS, types=("transform",))
PARTS = {"Wheels": {"W1": {}}, "Body": {}}


@pytest.mark.parametrize("ghost", [SCENE_GHOST, item("ghost", "", *GHOST_PARTS)])
def test_a_ghost_stands_for_the_scene_root(ghost: Any) -> None:
    stage = Stage(MemoryHost({**PARTS, "Lamp": {}}), ghost)
    assert stage.scan("/Wheels/W1", "/Body", "/Lamp")
    root = stage.buffer.get()[0].joint
    values = (root.name, root.path, root.type, root.icon, root.stamp, root.color)
    assert values == ("Body", "", "ghost", "Ghost", "stamp of ghost", "#123456")
    assert contents(stage) == [("Body", [("Body", []), ("Wheels", [("W1", [])])])]
    assert stage.buffer.get_path_groups() == [["/Body", "/Wheels"]]
    assert (stage.buffer.ghosts_match(), agrees(stage), decorated(stage)) == (True, True, True)
    stage.buffer.validate()
    assert stage.buffer.incompatibles == []


def test_a_listed_scene_root_stands_for_the_ghost() -> None:
    stage = Stage(MemoryHost({"scene:sceneRoot": PARTS}), SCENE_GHOST)
    assert stage.scan("/scene/Body")
    root = stage.buffer.get()[0].joint
    assert (root.name, root.path, root.is_ghost()) == ("scene", "/scene", True)


def test_named_ghosts_are_scopes_of_their_own() -> None:
    tree = {"world": {"grp_a": PARTS, "grp_b": PARTS, "grp_c": {"Body": {}}, "other": PARTS}}
    stage = Stage(MemoryHost(tree), GROUP_GHOST)
    paths = [f"/world/{name}/Body" for name in ("grp_b", "grp_a", "grp_c", "other")]
    assert stage.scan(*paths, "/world/grp_b")
    found = [(bucket.name, bucket.joint.path) for bucket in stage.buffer.get()]
    assert found == [("grp_b", "/world/grp_b"), ("grp_a", "/world/grp_a")]
    assert stage.buffer.ghosts_match()
    stage.hierarchy.pattern.set(CAR_OF_ANY_PARTS)
    assert not stage.buffer.ghosts_match()


@pytest.mark.parametrize("ghost", [None, SCENE_GHOST, GROUP_GHOST])
def test_cycles_of_a_faulty_host_end(ghost: Any) -> None:
    host = MemoryHost({"a": {"b": {"c": {}}}})
    host.parents["/a"] = "/a/b/c"
    host.children["/a/b/c"] = ["/a"]
    stage = Stage(host, ghost or CAR)
    assert stage.scan("/a/b") in (True, False)
    assert stage.scanner._find_scope_root("/a/b") in host.names


def test_objects_of_one_scope_are_searched_in_the_order_that_is_stored() -> None:
    # The first item takes the first name: in the host's order it would take the second.
    first, second = item("first", "P"), item("second", "P")
    ghost = item("ghost", "", first, second, types=("sceneRoot",))
    stage = Stage(MemoryHost({"P2": {}, "P1": {}}), ghost)
    assert stage.scan("/P2", "/P1")
    children = stage.buffer.get()[0].joint.children
    assert [(child.name, child.type) for child in children] == [("P1", "first"), ("P2", "second")]


def test_a_rule_named_like_the_ghost_gives_no_ghost() -> None:
    stage = Stage(MemoryHost({"A": {"B:mesh": {}}}), item("a", "A", item("ghost", "B")))
    stage.scan("/A")
    inner = stage.buffer.get()[0].joint.children[0]
    assert (inner.type, inner.is_ghost(), inner.stamp) == ("mesh", False, "stamp of ghost")


STEPS = (
    "get_selection",
    "erase_filedata",
    "get_selection_roots",
    "object_exists",
    "name_from_path",
    "get_type",
    "get_parent",
    "get_children",
    "postscript_scan_append",
    "postscript_scan_remove",
    "select",
    "embed_filedata",
)


@pytest.mark.parametrize("append", [False, True])
@pytest.mark.parametrize("step", STEPS)
@pytest.mark.parametrize("call", [1, 2, 7])
def test_a_failing_host_leaves_all_in_agreement(
    step: str, append: bool, call: int, caplog: pytest.LogCaptureFixture
) -> None:
    """The operation fails from its `call`-th call on, within one scan."""
    stage = car_stage()
    stage.scan("/Car")
    old = contents(stage)
    host = stage.host
    plain = getattr(host, step)
    count = 0

    def failing(*arguments: Any) -> Any:
        nonlocal count
        count += 1
        if count >= call:
            raise RuntimeError("host fault")
        return plain(*arguments)

    setattr(host, step, failing)
    status = stage.scan("/Car_b", append=append)
    failed = count >= call
    delattr(host, step)
    new = [("Car_b", [("Body", []), ("Wheels", [("W1", [])])])]
    assert status is (not failed or step == "postscript_scan_remove")
    allowed = [old + new if append else new] if status else [old, []]
    assert contents(stage) in allowed
    assert agrees(stage)
    assert host.selection == ["/Car_b"]
    # What a host fails to take back stays with it.
    assert decorated(stage) or step == "postscript_scan_remove"
    assert bool(logged(caplog)) is failed


@pytest.mark.parametrize("step", [name for name in STEPS if "selection" not in name])
@pytest.mark.parametrize("call", [1, 2])
def test_a_failing_reload_leaves_the_old_trees(step: str, call: int) -> None:
    stage = car_stage()
    stage.scan("/Car", "/Car_b")
    old, joints = contents(stage), [bucket.joint for bucket in stage.buffer.get()]
    stage.host.pour({"W3": {}}, "/Car/Wheels")
    plain = getattr(stage.host, step)
    count = 0

    def failing(*arguments: Any) -> Any:
        nonlocal count
        count += 1
        if count == call:
            raise RuntimeError("host fault")
        return plain(*arguments)

    setattr(stage.host, step, failing)
    status = stage.scanner.reload_buffer()
    failed = count >= call and step != "postscript_scan_remove"
    delattr(stage.host, step)
    assert status is not failed
    assert (contents(stage) == old) is failed
    if failed:
        assert [bucket.joint for bucket in stage.buffer.get()] == joints
    assert agrees(stage)


def test_reload_keeps_buckets_and_what_no_longer_fits() -> None:
    stage = car_stage()
    stage.scan("/Car", "/Car_b")
    stage.buffer.rename("Car", "Auto")
    first, second = stage.buffer.get()
    first.checked = second.opened = False
    stage.host.pour({"W0": {}}, "/Car/Wheels")
    stage.host.children["/Car_b/Wheels"] = []
    stage.host.children["/Car_b"] = []
    del stage.host.names["/Car_b"]
    kept = second.joint
    assert stage.scanner.reload_buffer()
    assert list(stage.buffer.get())[0] is first
    assert (first.name, first.checked, second.opened) == ("Auto", False, False)
    assert [wheel.name for wheel in first.joint.children[1].children] == ["W0", "W1", "W2"]
    assert second.joint is kept
    assert (agrees(stage), decorated(stage)) == (True, True)


def test_reload_of_ghosts_and_after_a_change_of_pattern() -> None:
    stage = Stage(MemoryHost({"grp_a": PARTS}), GROUP_GHOST)
    stage.scan("/grp_a")
    stage.host.pour({"W2": {}}, "/grp_a/Wheels")
    assert stage.scanner.reload_buffer()
    root = stage.buffer.get()[0].joint
    assert (root.name, root.path) == ("grp_a", "/grp_a")
    assert contents(stage) == [("grp_a", [("Body", []), ("Wheels", [("W1", []), ("W2", [])])])]
    stage.hierarchy.pattern.set(CAR_OF_ANY_PARTS)
    assert stage.scanner.reload_buffer()
    assert stage.buffer.get()[0].joint is root


def test_an_expression_that_does_not_compile_is_logged(caplog: pytest.LogCaptureFixture) -> None:
    stage = Stage(MemoryHost(TREE), item("car", "Car("))
    assert stage.scan("/Car") is False
    assert logged(caplog)[0].startswith(("error: ", "PatternError: "))
    assert (stage.events, stage.host.selection) == ([], ["/Car"])


def test_interrupts_pass_and_the_selection_comes_back() -> None:
    stage = car_stage()
    stage.host.fail["get_selection_roots"] = KeyboardInterrupt()
    stage.host.selection = ["/Car"]
    with pytest.raises(KeyboardInterrupt):
        stage.scanner.upload_buffer(False)
    assert stage.host.called("select") == [("select", "/Car")]


def test_the_empty_selection_is_announced_when_nothing_can_be_shown() -> None:
    stage = car_stage()
    stage.scan("/Car")
    stage.host.fail["select"] = RuntimeError("locked")
    assert stage.scan() is False
    assert stage.events == ["empty_scan_selection"]


@pytest.mark.parametrize(
    ("answer", "kind"), [([1], "int"), ("/Car", "str"), ({"/Car", None}, "None")]
)
def test_wrong_selections_name_the_operation(
    answer: Any, kind: str, caplog: pytest.LogCaptureFixture
) -> None:
    stage = car_stage()
    stage.host.get_selection = lambda: answer
    assert stage.scanner.upload_buffer(False) is False
    assert f"get_selection() returned an object of class {kind}" in logged(caplog)[0]


def test_a_scan_inside_of_a_scan_does_nothing(caplog: pytest.LogCaptureFixture) -> None:
    stage = car_stage()
    inner: list[Any] = []

    def scan_again(joint: Any) -> None:
        inner.append((stage.scanner.upload_buffer(False), stage.scanner.reload_buffer()))

    stage.host.postscript_scan_append = scan_again
    assert stage.scan("/Car")
    assert set(inner) == {(False, False)}
    assert len(stage.buffer.get()) == 1
    assert all("does nothing" in entry for entry in logged(caplog))


def test_an_object_named_twice_is_handed_to_the_host_once() -> None:
    stage = car_stage()
    stage.virtual.upload(["/Car"])
    (bucket,) = stage.scanner._scan(["/Car", "/Car"])
    assert len(stage.host.decorated) == len(bucket.get_joints())
    with pytest.raises(TypeError):
        stage.scanner._scan("/Car")


def test_many_hierarchies_take_linear_time() -> None:
    def seconds(count: int) -> float:
        host = MemoryHost({f"Car{number}": {} for number in range(count)})
        stage = Stage(host, item("car", "Car"))
        host.get_selection_roots = lambda: host.selection
        # The host's own list would be searched for each joint.
        host.postscript_scan_remove = lambda joint: None
        start = time.process_time()  # what else runs here must not count
        assert stage.scan(*host.names) and stage.scan(*host.names)
        assert stage.scanner.reload_buffer()
        stage.buffer.set([])
        return time.process_time() - start

    # Quadratic work would make this 16 times.
    assert seconds(8000) < 8 * seconds(2000)


def test_small_steps() -> None:
    stage = car_stage()
    choose = stage.scanner._choose_name
    assert [choose(), choose("", None, "b", "c"), choose("")] == ["", "b", ""]
    stage.scan("/Car")
    bucket = stage.buffer.get()[0]
    Bucket = core.Scene._Buffer.DataBucket
    other = Bucket(bucket.joint, "other")
    filtered = stage.scanner._filter([bucket, other, Bucket(bucket.joint, "Car")])
    assert [each is kept for each, kept in zip(filtered, [bucket, other])] == [True, True]
    assert len(filtered) == 2


def test_another_thread_asks_while_the_main_thread_scans() -> None:
    tree = {f"Car_{number}": TREE["Car"] for number in range(60)}
    stage = Stage(MemoryHost(tree), CAR)
    done = threading.Event()
    faults: list[BaseException] = []

    def ask() -> None:
        try:
            while not done.is_set():
                stage.hierarchy.is_valid(["/Car_3", "/Car_4"])
                stage.hierarchy.mask(list(stage.virtual._name))
                stage.virtual.get_locations(["/Car_5"])
        except BaseException as error:
            faults.append(error)

    thread = threading.Thread(target=ask)
    thread.start()
    try:
        for _ in range(5):
            assert stage.scan(*tree_paths(tree))
    finally:
        done.set()
        thread.join()
    assert faults == []
    assert len(stage.buffer.get()) == 60


def tree_paths(tree: Any) -> list[str]:
    return [f"/{name}" for name in tree]


@collected
def test_scanner_is_collected_with_its_host() -> Any:
    stage: Any = car_stage()
    stage.scan("/Car")
    stage.host.scanner = stage.scanner
    return stage.host, stage.scanner, stage.virtual
