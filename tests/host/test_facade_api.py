"""`Api` as a host sees it: what it builds and shares, how it ends, and that it leaves nothing."""

from __future__ import annotations

import contextlib
import gc
import json
import types
import weakref
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from check_tools import check, module
from scene_host import MemoryHost

import core

COMPONENTS = ("validator", "export", "project", "scene", "http")


class Host(MemoryHost):
    """Counts how often it is asked to delete its callbacks."""

    deletions = 0

    def delete_callbacks(self) -> None:
        self.deletions += 1


class Environment(core.Environment):
    """Everything in one folder."""

    target = core.Constants.Plugin.Target.DCC_Blender
    scope = "test"

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        super().__init__()

    @property
    def root(self) -> str:
        return str(self.folder)

    def get_settings_file(self) -> str:
        return str(self.folder / "settings.json")

    def get_settings_directory(self) -> str:
        return str(self.folder)

    def get_projects_directory(self) -> str:
        return str(self.folder)

    def get_statistics_file(self) -> str:
        return str(self.folder / "statistics.json")


@pytest.fixture(autouse=True)
def home(tmp_path: Path) -> Iterator[None]:
    before = core.Environment.user_home
    core.Environment.user_home = str(tmp_path)
    yield
    core.Environment.user_home = before


@pytest.fixture
def environment(tmp_path: Path) -> Environment:
    return Environment(tmp_path)


def test_the_engine_exists_once_and_is_shared(environment: Environment) -> None:
    host = Host({"root": {}})
    api = core.Api(host, environment)
    assert api._op is host
    assert api.env is environment
    assert api.validator._hierarchy is api.scene.hierarchy
    assert api.validator._buffer is api.export._buffer is api.scene.buffer
    for name in COMPONENTS:
        assert getattr(api, name)._api is api
        assert getattr(api, name) is getattr(api, name)
    for name in (*COMPONENTS, "callbacks", "env", "settings", "statistics", "version"):
        with pytest.raises(AttributeError):
            setattr(api, name, None)
    assert len(host.opened) == 1
    assert core.Api._Project is core._Project
    assert core._LoadPointer is core._Project._LoadPointer


def test_shared_names_are_the_modules_own(environment: Environment) -> None:
    host = Host()
    api = core.Api(host, environment)
    assert api.constants is core.Constants
    assert api.logger is core.Logger
    assert api.version is core.__version__
    assert api.constants.Check.Result.Fail == "fail"
    assert api.constants.Plugin.Status.Success is True

    first, second = api.masks, api.masks
    assert first is not second
    assert [item.attr for item in first.Type] == ["Any"]
    host._type_mapping = core.TypeMapping({"polygon": "mesh"})
    assert [item.attr for item in api.masks.Type] == ["Mesh", "Any"]


@pytest.mark.parametrize("unusable", [None, "text", object()], ids=["none", "text", "object"])
def test_an_unusable_environment_is_replaced(
    unusable: Any, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(core._LocalEnv, "root", property(lambda self: str(tmp_path)))
    assert type(core.Api(Host(), unusable).env) is core._LocalEnv


def test_exporters_and_checks_are_passed_on(environment: Environment, tmp_path: Path) -> None:
    module(tmp_path / "checks", "one", check("One"))
    checks = types.ModuleType("checks")
    checks.__file__ = str(tmp_path / "checks" / "__init__.py")
    given = core.Parameters.Options("fbx", "FBX")
    api = core.Api(Host(), environment, export_options=[given], checks=checks)
    assert list(api.export.options) == [given]
    assert api.export.options.selected is given
    assert list(api.settings.check.directories) == [str(tmp_path / "checks")]
    (control,) = api.validator.checklist
    assert control.check.class_id == "One"
    assert not control.enabled and api.settings.check.config.is_empty()

    plain = core.Api(Host(), environment)
    assert list(plain.export.options) == []
    assert plain.export.options.selected is None
    assert list(plain.settings.check.directories) == []
    with pytest.raises(AssertionError):
        core.Api(Host(), environment, export_options=["fbx"])


def test_an_export_goes_through_the_whole(environment: Environment, tmp_path: Path) -> None:
    class Exporting(Host):
        selection_manager = contextlib.nullcontext

        def export(self, roots: Any, file_path: str, *rest: Any, **flags: Any) -> None:
            Path(file_path).write_text(roots[0], encoding="utf-8")

    host = Exporting({"Hero": {}})
    api = core.Api(host, environment, export_options=[core.Parameters.Options("fbx")])
    host.selection = ["/Hero"]
    api.settings.check.mode = core.Constants.Check.Mode.Selection
    # The empty project's folder is the user's home.
    api.settings.export.mode = core.Constants.Export.Mode.Project
    api.export.start()
    assert (tmp_path / "_Hero.fbx").read_text(encoding="utf-8") == "/Hero"
    stored = json.loads((tmp_path / "statistics.json").read_text(encoding="utf-8"))
    assert [(record["format"], record["count"]) for record in stored["exported"]] == [("fbx", 1)]


def test_shutdown_empties_the_lists_after_the_host(environment: Environment) -> None:
    host = Host()
    api = core.Api(host, environment)
    api.callbacks.buffer_loaded.register(print)
    api.shutdown()
    assert host.deletions == 1
    assert len(api.callbacks.buffer_loaded) == 0
    api.shutdown()
    assert host.deletions == 2

    api.callbacks.buffer_loaded.register(print)
    host.delete_callbacks = lambda: 1 / 0  # type: ignore[method-assign, assignment, return-value]
    with pytest.raises(ZeroDivisionError):
        api.shutdown()
    assert len(api.callbacks.buffer_loaded) == 1


@pytest.mark.parametrize("handler", ["clear", "register", None])
def test_a_list_that_holds_itself_is_collected(handler: str | None) -> None:
    notifications = core._CallBacks.List()
    assert notifications, "an empty list is no reason to skip it"
    notifications.register(getattr(notifications, handler) if handler else notifications)
    gone = weakref.ref(notifications)
    del notifications
    gc.collect()
    assert gone() is None


def test_a_failure_while_building_leaves_unchanged(environment: Environment) -> None:
    failure = RuntimeError("the host has no callbacks")
    host = Host()
    host.fail["register_scene_opened_callback"] = failure
    with pytest.raises(RuntimeError) as caught:
        core.Api(host, environment)
    assert caught.value is failure


def test_a_thousand_dropped_apis_leave_nothing(tmp_path: Path) -> None:
    def build() -> list[weakref.ref[Any]]:
        host, environment = Host({"root": {}}), Environment(tmp_path)
        api = core.Api(host, environment)
        # The circle that every host closes: its own handler knows the Api.
        api.callbacks.buffer_loaded.register(lambda: api)
        host.api = api
        api.note = api.scene.scanner
        parts = [getattr(api, name) for name in COMPONENTS]
        engine = [api.scene.hierarchy, api.scene.buffer, api.settings, api.project.collection]
        return [weakref.ref(part) for part in (api, host, environment, *parts, *engine)]

    def living() -> int:
        gc.collect()
        return len(gc.get_objects())

    build()
    before = living()
    references = [reference for _ in range(1000) for reference in build()]
    count = len(references)
    gc.collect()
    assert sum(reference() is not None for reference in references) == 0
    del references
    assert count > 0
    assert living() < before + 1000
