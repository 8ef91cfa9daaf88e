"""The scene component: what it loads at its start and each time the host opens a scene."""

from __future__ import annotations

import gc
import weakref
from types import SimpleNamespace
from typing import Any

import pytest
from lifetimes import collected
from scene_host import MemoryHost, Stage, item

import core


class Project:
    """Stands in for the project component."""

    def __init__(self, current: str | None, *existing: str) -> None:
        self.current, self.existing = current, existing
        self.loaded: list[str] = []

    def get_current(self) -> Any:
        return None if self.current is None else SimpleNamespace(filename=self.current)

    def is_exists(self, filename: str) -> bool:
        return filename in self.existing

    def load(self, filename: str) -> None:
        self.loaded.append(filename)


class Home:
    @staticmethod
    def decode_user(path: str) -> str:
        return path.replace("~", "/home/ann")

    @staticmethod
    def encode_user(path: str) -> str:
        return path.replace("/home/ann", "~")


def make(project: Project | None = None, host: MemoryHost | None = None) -> tuple[Any, Stage, Any]:
    stage = Stage(host or MemoryHost({"Car": {}}), item("car", "Car"))
    api = SimpleNamespace(project=project or Project(None), callbacks=stage.callbacks, env=Home())
    component = core.Api._Scene(api, stage.host, stage.virtual, stage.hierarchy, stage.buffer)
    return component, stage, api


@pytest.mark.parametrize(
    ("current", "existing", "loaded"),
    [("p.json", ["p.json"], ["p.json"]), ("p.json", [], []), ("", ["p.json"], []), (None, [], [])],
)
def test_the_current_project_is_loaded(
    current: str | None, existing: list[str], loaded: list[str]
) -> None:
    project = Project(current, *existing)
    make(project)
    assert project.loaded == loaded


def test_opening_a_scene_loads_the_buffer_once() -> None:
    host = MemoryHost({"Car": {}})
    host.stored = [{"name": "stored"}]
    component, stage, api = make(host=host)
    assert (component.buffer, component.hierarchy) == (stage.buffer, stage.hierarchy)
    assert component.scanner is component.scanner
    assert (component._api, component._op) == (api, host)
    assert [bucket.name for bucket in stage.buffer.get()] == ["stored"]
    assert (stage.events, len(host.opened)) == (["buffer_loaded"], 1)
    host.stored = [{"name": "other"}, "no map"]
    # Some hosts pass what they know of the scene.
    host.opened[0]("scene.gltf", reason="opened")
    assert [bucket.name for bucket in stage.buffer.get()] == ["other"]
    assert stage.events == ["buffer_loaded"] * 2
    host.fail["query_filedata"] = RuntimeError("unreadable")
    with pytest.raises(RuntimeError, match="unreadable"):
        host.opened[0]()
    assert stage.events == ["buffer_loaded"] * 2


def test_scans_run_through_the_component() -> None:
    component, stage, _ = make()
    stage.host.selection = ["/Car"]
    assert component.scanner.upload_buffer(append=True)
    assert [bucket.name for bucket in component.buffer.get()] == ["Car"]


@pytest.mark.parametrize(
    ("start", "shown", "picked", "returned"),
    [
        ("~/exports", "/home/ann/exports", "/home/ann/out", "~/out"),
        ("/mnt", "/mnt", "/mnt/x", "/mnt/x"),
        ("", "/home/ann", "", None),
        ("~", "/home/ann", None, None),
    ],
)
def test_directory_dialog(start: str, shown: str, picked: str | None, returned: Any) -> None:
    component, stage, _ = make()
    asked: list[tuple[str, ...]] = []

    def dialog(*arguments: str) -> str | None:
        asked.append(arguments)
        return picked

    stage.host.directory_dialog = dialog  # type: ignore[method-assign]
    assert component.directory_dialog(start) == returned
    assert asked == [(shown, "Set Directory")]


def test_a_failing_start_leaves_nothing_behind() -> None:
    host = MemoryHost()
    host.fail["register_scene_opened_callback"] = RuntimeError("no events")
    with pytest.raises(RuntimeError, match="no events"):
        make(host=host)
    gone = weakref.ref(host)
    del host
    gc.collect()
    assert gone() is None


@collected
def test_host_handler_and_component_are_collected_together() -> Any:
    component, stage, api = make()
    api.scene = component
    return component, stage.host, stage.buffer
