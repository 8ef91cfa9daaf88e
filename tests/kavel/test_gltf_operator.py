"""The operator over glTF files, by itself and under an Api."""

from __future__ import annotations

import json
import os
from pathlib import Path
from types import SimpleNamespace
from typing import Any, Callable

import pytest
from conftest import gltf, mesh, node

import core
from kavel.document.structure import TARGETS, TYPES
from kavel.environment import StandaloneEnvironment
from kavel.errors import SceneError
from kavel.gltf.operator import GltfOperator

Writer = Callable[[str, Any], str]

# What the scene buffer may hand over: every kind of text, and none.
FILEDATA = [
    {"joint": {"name": "\ud800 ы \0\x1b\n", "path": None, "children": []}, "checked": True},
    {"joint": {"name": '"</script>\\', "children": [{"name": "\U0001f600"}]}, "opened": False},
]


@pytest.fixture
def scene(write: Writer) -> str:
    rig = node("Rig", mesh("body"), node("root", node("hips", node("toe"))))
    return write("scene.glb", gltf(rig, node("Other", node("x")), mesh("floor")))


@pytest.fixture
def operator(scene: str) -> GltfOperator:
    operator = GltfOperator()
    operator.open(scene)
    return operator


def test_our_constants_are_the_cores() -> None:
    def values(group: Any) -> set[str]:
        return {value for key, value in vars(group).items() if not key.startswith("_")}

    assert values(core.Constants.Scene.Type) == set(TYPES)
    assert values(core.Constants.Plugin.Target) == set(TARGETS)


def test_queries(operator: GltfOperator, scene: str) -> None:
    kinds = {path: operator.get_type(path) for path in operator.graph.names}
    assert kinds == {
        "/Rig": "transform",
        "/Rig/body": "mesh",
        "/Rig/root": "transform",
        "/Rig/root/hips": "transform",
        "/Rig/root/hips/toe": "locator",
        "/Other": "transform",
        "/Other/x": "locator",
        "/floor": "mesh",
    }
    assert operator.get_parent("/Rig") is None
    assert operator.get_parent("/Rig/body") == "/Rig"
    assert list(operator.get_children("/Rig")) == ["/Rig/body", "/Rig/root"]
    assert list(operator.get_children("/floor")) == []
    assert operator.name_from_path("/Rig/root/hips") == "hips"
    assert operator.object_exists("/Rig/body") and not operator.object_exists("/Rig/gone")
    assert operator.name_from_path("/Rig/gone%2Fby#2") == "gone/by"
    assert operator.get_current_file() == os.path.abspath(scene)
    assert GltfOperator().get_current_file() is None
    mask: Any = core.Mask(operator.type_mapping)
    assert next(item.attr for item in mask.Ghost) == "SceneRoot"


def test_selection(operator: GltfOperator) -> None:
    assert operator.get_selection() == []
    operator.select("/Other/x", "/Rig/body", "/gone", "/Other/x", "/Rig/root/hips")
    assert operator.get_selection() == ["/Other/x", "/Rig/body", "/Rig/root/hips"]
    assert operator.get_selection_roots() == ["/Other", "/Rig"]
    with pytest.raises(ZeroDivisionError), operator.selection_manager():
        operator.select("/floor")
        assert operator.get_selection_roots() == ["/floor"]
        raise ZeroDivisionError
    assert operator.get_selection() == ["/Other/x", "/Rig/body", "/Rig/root/hips"]
    operator.select()
    assert operator.get_selection_roots() == []


def test_events(operator: GltfOperator, scene: str) -> None:
    seen: list[Any] = []
    operator.register_scene_opened_callback(
        lambda: seen.append(operator.get_selection()[0:1] or "o")
    )
    operator.register_shutdown_callback(lambda: seen.append("s"))
    operator.select("/Rig")
    operator.open(scene)
    operator.shutdown()
    assert seen == ["o", "s"]
    operator.delete_callbacks()
    operator.open(scene)
    operator.shutdown()
    assert seen == ["o", "s"]


def test_a_scene_that_cannot_be_opened_leaves_the_open_one(
    operator: GltfOperator, scene: str, write: Writer
) -> None:
    operator.select("/Rig")
    for content in (b"glTF", gltf(node("a", children=[5]))):
        with pytest.raises(SceneError):
            operator.open(write("bad.glb", content))
    assert operator.get_current_file() == scene
    assert operator.get_selection() == ["/Rig"]


def test_dialogs() -> None:
    operator = GltfOperator(directory_answer="/d", file_answer="/f")
    assert operator.directory_dialog("~", "c") == "/d"
    assert operator.file_dialog("~", "c", "*.glb") == "/f"
    assert GltfOperator().directory_dialog() is None


def test_joints_are_remembered_by_path(operator: GltfOperator) -> None:
    old, new = SimpleNamespace(path="/Rig"), SimpleNamespace(path="/Rig")
    operator.postscript_scan_append(old)
    operator.postscript_scan_append(new)
    operator.postscript_scan_remove(old)
    assert operator.joints == {"/Rig": new}
    operator.postscript_scan_remove(new)
    assert operator.joints == {}


@pytest.mark.parametrize("name", ["scene.glb", "scene.gltf"])
def test_embedded_data_survives_save_and_reopen(write: Writer, name: str) -> None:
    document = gltf(node("a"), extras={"theirs": 1})
    document["asset"]["extras"] = {"theirs": [None]}
    path = write(name, document)
    operator = GltfOperator()
    operator.open(path)
    assert operator.query_filedata() is None
    operator.embed_filedata(FILEDATA)
    assert operator.query_filedata() == FILEDATA
    operator.save()

    again = GltfOperator()
    again.open(path)
    assert again.query_filedata() == FILEDATA
    assert again._file is not None
    extras = again._file.document["asset"]["extras"]
    assert extras["theirs"] == [None] and again._file.document["extras"] == {"theirs": 1}
    again.erase_filedata()
    assert again.query_filedata() is None
    again.save()
    operator.open(path)
    assert operator.query_filedata() is None


@pytest.mark.parametrize("extras", [{"kavel": "[1"}, {"kavel": 5}, {"kavel": "[" * 100_000}])
def test_embedded_data_that_is_damaged(write: Writer, extras: Any) -> None:
    operator = GltfOperator()
    operator.open(write("a.gltf", gltf(asset={"version": "2.0", "extras": extras})))
    assert operator.query_filedata() is None
    assert "asset.extras.kavel is not readable" in operator.filedata_problem


def test_a_file_without_room_for_the_data(write: Writer) -> None:
    operator = GltfOperator()
    operator.open(write("a.gltf", gltf(asset={"version": "2.0", "extras": ["theirs"]})))
    operator.erase_filedata()
    with pytest.raises(SceneError, match=r"asset\.extras: is not an object"):
        operator.embed_filedata([])
    assert operator.query_filedata() is None


def test_the_environment_is_accepted(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.delenv("USERPROFILE", raising=False)
    monkeypatch.setattr(core.Environment, "user_home", None)
    environment = StandaloneEnvironment(str(tmp_path / "home"), "maya")
    api = core.Api(GltfOperator(), environment)
    assert api.env is environment
    assert os.environ["KAVEL-TARGET"] == "maya"
    assert environment.get_projects_directory() == str(tmp_path / "home" / "maya" / "projects")
    home = os.path.expanduser("~")
    assert environment.encode_user(os.path.join(home, "x")) == "~/x"
    assert environment.decode_user("~/x") == os.path.join(home, "x")
    assert StandaloneEnvironment(str(tmp_path / "home")).target == "standalone"
    api.shutdown()


def test_opening_a_scene_loads_what_it_holds(write: Writer, tmp_path: Path) -> None:
    joint = {"stamp": "s", "name": "a", "path": "/a", "type": "r", "children": []}
    held = json.dumps([{"joint": joint, "name": "bucket"}])
    document = gltf(node("a"), asset={"version": "2.0", "extras": {"kavel": held}})
    operator = GltfOperator()
    api = core.Api(operator, StandaloneEnvironment(str(tmp_path / "home")))
    loaded: list[int] = []
    api.callbacks.buffer_loaded.register(lambda *_: loaded.append(len(api.scene.buffer.get())))
    operator.open(write("held.glb", document))
    operator.open(write("empty.glb", gltf(node("a"))))
    assert loaded == [1, 0]
    api.shutdown()
    operator.open(write("held.glb", document))
    assert loaded == [1, 0]
