"""The validation component: what it plans, and what survives while it runs."""

from __future__ import annotations

import gc
import weakref
from collections.abc import Iterator
from contextlib import contextmanager
from types import SimpleNamespace
from typing import Any

import pytest
from lifetimes import collected
from project_tools import StandIn, logged
from scene_host import MemoryHost, Stage, Tree, item

import core

Mode = core.Constants.Check.Mode
Status = core.Constants.Check.Result

TREE: Tree = {"Car": {"Wheel_L:mesh": {}, "Wheel_R:mesh": {}, "Stray:locator": {}}}


class Intermediate(core.Check.Base):
    ran: list[Any] = []

    def check(self, path: str, parameters: Any) -> None:
        self.ran.append((self.class_id, path, self.long_name))
        self.act(path)

    def act(self, path: str) -> None:
        """What a test lets the check do."""


def check_class(class_id: str, **attributes: Any) -> Any:
    named = {"class_id": class_id, "short_name": class_id, "long_name": class_id.title()}
    return type(class_id, (Intermediate,), {**named, **attributes})


class Host(MemoryHost):
    def __init__(self, tree: Tree) -> None:
        super().__init__(tree)
        self.file: str | None = "/scenes/car.glb"
        self.left_with: list[Any] = []

    def get_current_file(self) -> str | None:
        return self.file

    @contextmanager
    def selection_manager(self) -> Iterator[None]:
        kept = list(self.selection)
        try:
            yield
        except BaseException as error:
            self.left_with.append(type(error))
            raise
        finally:
            self.selection = kept


class Store:
    def __init__(self) -> None:
        self.records: list[Any] = []
        self.written = 0

    def add(self, record: Any) -> None:
        self.records.append(record)

    def write(self) -> None:
        self.written += 1


def config(**enabled: Any) -> Any:
    """Class id -> stored parameter sets; none of them for one that is switched off."""
    entries = {
        class_id: {
            "enabled": parameters is not None,
            "opened": False,
            "parameters": parameters or [],
        }
        for class_id, parameters in enabled.items()
    }
    return core._Settings.Check.Config(entries)


class Scene:
    """A host, a pattern over it and the validator, with stand-ins for the rest of the program."""

    def __init__(self, classes: list[Any], workspace: Any = None, **rules: Any) -> None:
        Intermediate.ran = []
        self.host = Host(TREE)
        wheel = item("wheel", "Wheel_.", types=("mesh",), counts=(1, 9))
        stray = item("stray", "Stray", types=("locator",), counts=(0, 9))
        car = item("car", "Car", wheel, stray)
        for entry in (car, wheel, stray):
            entry[0].check_config = rules.get(entry[0].name, config())
        self.stage = Stage(self.host, car, classes=classes)
        self.store = Store()
        check = SimpleNamespace(mode=Mode.Project, presets=None, config=workspace or config())
        self.settings = SimpleNamespace(check=check, workspace=SimpleNamespace(project="p.json"))
        self.api = StandIn(settings=self.settings, statistics=self.store)
        self.validator = core.Api._Validator(
            self.api, self.host, classes, self.stage.hierarchy, self.stage.buffer
        )
        assert self.stage.scan("/Car")
        self.host.calls.clear()

    def start(self) -> list[Any]:
        """Validates; (name, [(check, status)]) for each task."""
        self.validator.start()
        return self.outcome()

    def outcome(self) -> list[Any]:
        return [
            (task.name, [(result.name, result.status) for result in task.results])
            for task in self.validator.queue
        ]


SCENE = "The Entire Scene"
FACES, SIZES = check_class("faces"), check_class("sizes")
UNITS, FILES = check_class("units", scene_oriented=True), check_class("files", scene_oriented=True)
ALL = [FILES, UNITS, FACES, SIZES]


def test_a_project_decides_what_runs_on_what_it_matched() -> None:
    scene = Scene(
        ALL,
        workspace=config(sizes=[], units=[]),
        car=config(faces=None, units=[], gone=[]),
        wheel=config(units=[{}, {}], sizes=[], files=[], faces=[]),
    )
    outcome = scene.start()
    # The car's rule asks for no object check; the stray's configuration is empty.
    assert outcome == [
        (SCENE, [("Files", Status.Pass), ("Units", Status.Pass)]),
        ("/Car", []),
        ("/Car/Wheel_L", [("Faces", Status.Pass), ("Sizes", Status.Pass)]),
        ("/Car/Wheel_R", [("Faces", Status.Pass), ("Sizes", Status.Pass)]),
    ]
    tasks = list(scene.validator.queue)
    assert (tasks[0].path, tasks[0].icon) == ("/scenes/car.glb", None)
    assert [task.icon for task in tasks[1:]] == ["icon of car"] + ["icon of wheel"] * 2
    assert [task.status for task in tasks] == [Status.Pass] * 4


def test_every_set_of_parameters_is_a_run() -> None:
    class Limited(Intermediate):
        class_id = long_name = short_name = "limited"

        @staticmethod
        def parameters() -> Any:
            return core.Parameters.Block([core.Parameters.IntRange("limit", value=7)])

        def check(self, path: str, parameters: Any) -> None:
            self.ran.append((path, parameters["limit"].value))
            raise core.Error.ValidationError()

    sets = [
        {"as_info": info, "state": {"limit": {"value": v}}} for info, v in [(True, 1), (False, 2)]
    ]
    scene = Scene([Limited], car=config(limited=sets), wheel=config(limited=[]))
    assert scene.start() == [
        (SCENE, []),
        ("/Car", [("limited (Task 01)", Status.Info), ("limited (Task 02)", Status.Fail)]),
        ("/Car/Wheel_L", [("limited", Status.Fail)]),
        ("/Car/Wheel_R", [("limited", Status.Fail)]),
    ]
    assert Limited.ran == [("/Car", 1), ("/Car", 2), ("/Car/Wheel_L", 7), ("/Car/Wheel_R", 7)]


def test_what_is_gone_or_not_ticked_is_left_out() -> None:
    scene = Scene([FACES], car=config(faces=[]), wheel=config(faces=[]))
    del scene.host.names["/Car/Wheel_L"]
    assert [name for name, _ in scene.start()] == [SCENE, "/Car", "/Car/Wheel_R"]
    (bucket,) = scene.stage.buffer.get()
    bucket.joint.type = core.Constants.Scene.Type.Ghost
    assert [name for name, _ in scene.start()] == [SCENE, "/Car/Wheel_R"]
    bucket.checked = False
    assert scene.start() == [(SCENE, [])]


def test_the_selection_gets_the_user_s_checks() -> None:
    scene = Scene(ALL, workspace=config(units=[], sizes=[], faces=None), car=config(faces=[]))
    scene.settings.check.mode = Mode.Selection
    scene.host.selection = ["/Car/Stray", "/Car"]
    assert scene.start() == [
        (SCENE, [("Units", Status.Pass)]),
        ("/Car/Stray", [("Sizes", Status.Pass)]),
        ("/Car", [("Sizes", Status.Pass)]),
    ]
    scene.host.selection, scene.host.file = [], None
    assert scene.start() == [(SCENE, [("Units", Status.Pass)])]
    assert list(scene.validator.queue)[0].path == ""
    scene.settings.check.mode = 7
    assert scene.start() == []
    checklist = scene.validator.checklist
    assert checklist.workspace is checklist is scene.validator.checklist
    assert isinstance(checklist, core.Api._Validator._CheckList)


def test_a_validation_leaves_one_record() -> None:
    scene = Scene([FACES], car=config(faces=[]))
    scene.start()
    scene.settings.check.mode = Mode.Selection
    scene.start()
    scene.settings.check.mode = None
    scene.start()
    kinds = [(record.key, getattr(record, "project", None)) for record in scene.store.records]
    assert kinds == [("checks", None), ("validate", "p.json"), ("validate", "")]
    assert scene.store.written == 2


# Runs are lent the parameters of earlier ones: nothing that one leaves on them may reach the next.
def test_every_run_gets_the_parameters_as_they_were_planned() -> None:
    kept: list[Any] = []
    actions: dict[str, Any] = {
        "read": lambda task: task["limit"].value,
        "note": lambda task: setattr(task, "note", 1),
        "note on the input": lambda task: setattr(task["limit"], "note", 1),
        "as information": lambda task: setattr(task, "as_info", True),
        "number": lambda task: setattr(task, "number", 7),
        "keep": lambda task: kept.append(task),
        "keep the input": lambda task: kept.append(task["limit"]),
        "refer": lambda task: kept.append(weakref.ref(task["limit"])),
        "keep attributes": lambda task: kept.append(vars(task["limit"])),
        "keep a choice": lambda task: kept.append(next(iter(task["side"]))),
        "note on a choice": lambda task: setattr(next(iter(task["side"])), "note", 1),
        "change": lambda task: setattr(task["limit"], "value", 7),
        "read again": lambda task: task["limit"].value,
    }
    seen = []

    def check(self: Any, path: str, parameters: Any) -> None:
        state = (parameters.state, parameters.as_info, parameters.number)
        parts = [parameters, parameters["limit"], *parameters["side"]]
        seen.append((state, [dict(vars(part)) for part in parts]))
        actions[path](parameters)

    choices = [core.Parameters.ComboBox.Item(side, side) for side in ("left", "right")]
    inputs = [
        core.Parameters.IntRange("limit", value=1),
        core.Parameters.ComboBox("side", choices),
    ]
    leaving = check_class("leaving", check=check, parameters=lambda: core.Parameters.Block(inputs))
    scene = Scene([leaving], workspace=config(leaving=[]))
    scene.settings.check.mode = Mode.Selection
    scene.host.selection = list(actions)
    scene.validator.start()
    assert seen == [seen[0]] * len(actions)
    assert (seen[0][0][0]["limit"], seen[0][1]) == ({"value": 1}, [{}] * 4)
    parameters = {task.path: task.results[0]._param for task in list(scene.validator.queue)[1:]}
    found = {
        path: (task["limit"].value, task.as_info, task.number) for path, task in parameters.items()
    }
    changed = {"as information": (1, True, 0), "number": (1, False, 7), "change": (7, False, 0)}
    assert found == {path: changed.get(path, (1, False, 0)) for path in actions}
    assert kept[0] is parameters["keep"] and kept[1] is parameters["keep the input"]["limit"]
    assert vars(parameters["note"]) == vars(parameters["note on the input"]["limit"]) == {"note": 1}


def test_an_interrupt_keeps_what_was_found() -> None:
    def stop(self: Any, path: str) -> None:
        if path == "/Car/Wheel_L":
            raise KeyboardInterrupt

    scene = Scene([FACES, check_class("sizes", act=stop)], wheel=config(faces=[], sizes=[]))
    scene.host.selection = ["/Car"]
    with pytest.raises(KeyboardInterrupt):
        scene.start()
    assert scene.outcome() == [
        (SCENE, []),
        ("/Car/Wheel_L", [("Faces", Status.Pass)]),
        ("/Car/Wheel_R", []),
    ]
    assert (scene.host.left_with, scene.store.written) == ([KeyboardInterrupt], 1)


def test_a_check_may_do_anything(caplog: Any) -> None:
    scene: Any = None

    def meddle(self: Any, path: str) -> None:
        scene.host.selection = []
        scene.validator.start()
        scene.validator._plan_checks(Mode.Project)
        scene.validator.queue.clear()
        scene.stage.buffer.erase()
        scene.stage.hierarchy.pattern.set(
            SimpleNamespace(rules=[], pattern=SimpleNamespace(children=[]))
        )
        scene.host.names.clear()
        gc.collect()

    scene = Scene([check_class("faces", act=meddle)], car=config(faces=[]), wheel=config(faces=[]))
    scene.host.selection = ["/Car"]
    scene.start()
    assert [path for _, path, _ in Intermediate.ran] == ["/Car", "/Car/Wheel_L", "/Car/Wheel_R"]
    assert (scene.host.selection, len(scene.validator.queue)) == (["/Car"], 4)
    assert any("under way" in entry for entry in logged(caplog))
    assert scene.start() == [(SCENE, [])]


def test_failures_of_the_host_reach_the_caller_and_the_next_run_starts_clean() -> None:
    scene = Scene([FACES], car=config(faces=[]))
    scene.host.fail["object_exists"] = OSError("the host is gone")
    with pytest.raises(OSError, match="gone"):
        scene.start()
    scene.host.fail.clear()
    assert [name for name, _ in scene.start()] == [SCENE, "/Car"]


def test_a_broken_control_costs_its_own_run_only(caplog: Any) -> None:
    class Moody(type):
        broken = False

        @property
        def class_id(cls) -> str:
            if Moody.broken:
                raise ValueError("moody")
            return "moody"

    moody = Moody(
        "moody", (Intermediate,), {"short_name": "", "long_name": "", "scene_oriented": True}
    )
    scene = Scene([moody, UNITS, FACES], car=config(moody=[], units=[], faces=[]))
    Moody.broken = True
    cleared = next(iter(scene.stage.hierarchy.pattern.get_checklist("stamp of car").get()))
    cleared.clear()
    cleared.enabled = True
    assert scene.start() == [
        (SCENE, [("Units", Status.Pass)]),
        ("/Car", [("Faces", Status.Pass)]),
    ]
    assert any("moody" in entry for entry in logged(caplog))


def test_a_store_that_fails_disturbs_nothing(caplog: Any) -> None:
    scene = Scene([FACES], car=config(faces=[]))
    scene.store.write = scene.store.add = None  # type: ignore[assignment]
    assert scene.start() == [(SCENE, []), ("/Car", [("Faces", Status.Pass)])]
    assert any("TypeError" in entry for entry in logged(caplog))


@collected
def test_a_dropped_validator_is_collected() -> Any:
    scene = Scene([FACES, SIZES], car=config(faces=[], sizes=[]))
    scene.start()
    (_, task) = scene.validator.queue
    task.results[0]._check.validator = scene.validator
    scene.api.validator = scene.host.validator = scene.validator
    return scene.validator, scene.api, scene.validator.queue
