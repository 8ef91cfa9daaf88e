"""Runs of checks, their repair, and the queue that holds them."""

from __future__ import annotations

import logging
import threading
import time
from collections.abc import Iterator
from contextlib import contextmanager
from typing import Any

import pytest
from lifetimes import collected
from project_tools import logged

import core

Check = core.Check
Status = core.Constants.Check.Result


class Host:
    """What a result needs of an operator: a selection that is kept."""

    def __init__(self) -> None:
        self.selection = ["a"]
        self.scopes: list[Any] = []

    @contextmanager
    def selection_manager(self) -> Iterator[None]:
        kept = list(self.selection)
        try:
            yield
        except BaseException as error:
            self.scopes.append(type(error))
            raise
        else:
            self.scopes.append(None)
        finally:
            self.selection = kept


class Store:
    def __init__(self) -> None:
        self.records: list[Any] = []

    def add(self, record: Any) -> None:
        self.records.append((record.name, record.result))


class Plain(Check.Base):
    """A base of a host's own."""

    class_id = "plain"
    long_name = "Plain"
    broken = False
    script: Any = staticmethod(lambda self: None)

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([core.Parameters.IntRange("limit", value=1)])

    def check(self, path: str, parameters: Any) -> Any:
        return type(self).script(self)


def make_class(script: Any, **attributes: Any) -> Any:
    return type("Scripted", (Plain,), {"script": staticmethod(script), **attributes})


def run(check_class: Any, *, as_info: bool = False, single: bool = True, number: int = 0) -> Any:
    task = core.Parameters.Block.Task([core.Parameters.IntRange("limit", value=3)], as_info)
    task.number = number
    return Check._Queue.Task.Result("/car", check_class, task, Store(), Host(), single)


def finding(self: Any) -> None:
    self.result.extend(["f1", "f2"])
    self.could_be_fixed = self.could_be_selected = True
    raise core.Error.ValidationError("two faces")


class Leaving(BaseException):
    """What a test tool raises to end a test: not an `Exception`."""


def raising(error: BaseException) -> Any:
    def script(self: Any) -> None:
        raise error

    return script


def test_the_statuses() -> None:
    passed, found = run(make_class(lambda self: "nonsense")), run(make_class(finding))
    assert (passed.status, found.status) == (Status.Pass, Status.Fail)
    assert run(make_class(finding), as_info=True).status == Status.Info
    assert list(found._check.result) == ["f1", "f2"]
    assert (found.could_be_fixed, found.could_be_selected, passed.could_be_fixed) == (
        True,
        True,
        False,
    )
    assert (found.name, found._path, found._param["limit"].value) == ("Plain", "/car", 3)
    assert type(found._check.result) is core.Structure.NamedBuffer
    assert (found._check.result.name, found._check.result.length) == ("", 2)


@pytest.mark.parametrize(
    "error",
    [
        ValueError("broken"),
        SystemExit(3),
        RecursionError(),
        NotImplementedError("check"),
        Leaving(),
    ],
    ids=lambda error: type(error).__name__,
)
def test_whatever_a_check_raises_is_an_error_of_that_run(error: Any, caplog: Any) -> None:
    result = run(make_class(raising(error)))
    assert result.status == Status.Error
    assert f"{type(error).__name__}: {error}" in logged(caplog)
    assert result._statistics.records == [("Plain", Status.Error)]


@pytest.mark.parametrize("error", [KeyboardInterrupt(), GeneratorExit()], ids=["ctrl-c", "close"])
def test_interrupts_pass(error: Any) -> None:
    with pytest.raises(type(error)):
        run(make_class(raising(error)))


def test_faults_around_a_check_are_its_error() -> None:
    def fail(*arguments: Any, **keywords: Any) -> Any:
        raise SystemExit("no")

    unmade = run(make_class(finding, __init__=fail), single=False, number=3)
    assert (unmade.status, unmade.name, unmade.could_be_fixed) == (Status.Error, "Plain", False)
    assert (unmade.select_result(), unmade.result_message()) == (None, "")
    unmade.fix_result()
    assert unmade.status == Status.Error
    assert run(make_class(finding, result=property(lambda self: None))).status == Status.Error
    # A description that is wrong is never run.
    task = core.Parameters.Block.Task(["no input"])
    result = Check._Queue.Task.Result("/car", make_class(finding), task, Store(), Host())
    assert (result.status, result._check.result.length) == (Status.Error, 0)
    assert run(Check.Base).status == Status.Error


def test_a_failing_store_or_log_disturbs_nothing(monkeypatch: Any) -> None:
    class Full(Store):
        def add(self, record: Any) -> None:
            raise OSError("disk full")

    task = core.Parameters.Block.Task([])
    result = Check._Queue.Task.Result("/car", make_class(finding), task, Full(), Host())
    assert result.status == Status.Fail

    def broken(*_: Any, **__: Any) -> Any:
        raise RuntimeError("no log")

    def take_the_log_down(self: Any) -> None:
        # No thread starts any more, and what would write directly fails.
        undo.setattr(threading.Thread, "start", broken)
        undo.setattr(logging, "getLogger", broken)
        raise ValueError("after the log is gone")

    with monkeypatch.context() as undo:
        result = run(make_class(take_the_log_down))
    assert result.status == Status.Error


class Leaves(ValueError):
    def __str__(self) -> str:
        raise SystemExit


def leave(self: Any) -> Any:
    raise SystemExit


# The thread that logs finds no clock.
@pytest.mark.filterwarnings("ignore::pytest.PytestUnhandledThreadExceptionWarning")
def test_a_check_cannot_leave_through_a_side_door(monkeypatch: Any) -> None:
    assert run(make_class(raising(Leaves()))).status == Status.Error
    doors = {"could_be_fixed": property(leave, lambda self, value: None)}
    result = run(make_class(lambda self: None, **doors))
    assert (result.status, result.could_be_fixed) == (Status.Pass, False)
    named = run(make_class(lambda self: None, long_name=property(leave, lambda self, value: None)))
    assert (named.status, named.name) == (Status.Pass, "Scripted")
    with monkeypatch.context() as undo:
        result = run(make_class(lambda self: undo.setattr(time, "time", None)))
    assert result.status == Status.Pass
    # What took the place of the list is replaced by a new one at the next run.
    result = run(make_class(lambda self: setattr(self, "result", None)))
    result.check()
    assert result.status == Status.Pass


def test_long_names() -> None:
    check_class = make_class(finding)
    for single, number, name in [
        (True, 3, "Plain"),
        (False, 1, "Plain (Task 01)"),
        (False, 12, "Plain (Task 12)"),
        (False, 123, "Plain (Task 123)"),
    ]:
        result = run(check_class, single=single, number=number)
        assert (result.name, result._statistics.records) == (name, [(name, Status.Fail)])
    assert check_class.long_name == "Plain"
    assert run(make_class(finding, long_name=5)).name == "5"


def test_a_repair_is_followed_by_another_run() -> None:
    class Fixable(Plain):
        def __init__(self) -> None:
            self.faulty = True

        def check(self, path: str, parameters: Any) -> None:
            if self.faulty:
                finding(self)

        def fix_result(self, path: str, parameters: Any) -> None:
            self.faulty = parameters["limit"].value != 3
            self.host.selection = []

    result = run(Fixable)
    result._check.host = result._op
    result.fix_result()
    assert (result.status, result.could_be_fixed, list(result._check.result)) == (
        Status.Pass,
        False,
        [],
    )
    assert result._statistics.records == [("Plain", Status.Fail), ("Plain", Status.Pass)]
    assert (result._op.selection, result._op.scopes) == (["a"], [None])


def test_failures_of_repair_selection_and_message_are_logged(caplog: Any) -> None:
    class Failing(Plain):
        script = staticmethod(finding)

        def fix_result(self, *_: Any) -> None:
            raise ValueError("fix")

        def select_result(self) -> None:
            raise SystemExit("select")

        def result_message(self) -> str:
            return 5  # type: ignore[return-value]

    result = run(Failing)
    result.fix_result()
    assert (result.status, result._op.scopes) == (Status.Fail, [None])
    assert (result.select_result(), result.result_message()) == (None, "")
    entries = logged(caplog)
    assert "ValueError: fix" in entries and "SystemExit: select" in entries
    good = run(
        make_class(finding, select_result=lambda self: ["x"], result_message=lambda self: "m")
    )
    assert (good.select_result(), good.result_message()) == (["x"], "m")


def test_a_result_keeps_its_own_parameters() -> None:
    task = core.Parameters.Block.Task([core.Parameters.IntRange("limit", value=1)])
    seen: list[int] = []

    class Reading(Plain):
        def check(self, path: str, parameters: Any) -> None:
            seen.append(parameters["limit"].value)
            parameters["limit"].value += 10

    first = Check._Queue.Task.Result("/a", Reading, task, Store(), Host())
    task["limit"].value = 5
    second = Check._Queue.Task.Result("/a", Reading, task, Store(), Host())
    first.check()
    second.check()
    assert (seen, task["limit"].value) == ([1, 5, 11, 15], 5)


def test_the_worst_result_is_the_task_s() -> None:
    task = Check._Queue.Task("/car", [])
    assert (task.status, task.empty, task.name, task.icon) == (Status.Pass, True, "/car", None)
    statuses = []
    scripts = [lambda self: None, finding, raising(ValueError()), lambda self: None]
    for script, as_info in zip(scripts, [False, True, False, False]):
        task.results.add(run(make_class(script), as_info=as_info))
        statuses.append(task.status)
    assert statuses == [Status.Pass, Status.Info, Status.Error, Status.Error]
    assert task._level_order == [Status.Pass, Status.Info, Status.Fail, Status.Error]
    assert [task._order_indices[level] for level in task._level_order] == [0, 1, 2, 3]
    assert (len(task.results), list(task.results)[0] is task.results[0]) == (4, True)
    named = Check._Queue.Task("/car", [1, 2], "Car", "icon")
    assert (named.name, named.icon, list(named.check_controls)) == ("Car", "icon", [1, 2])
    assert Check._Queue.Task("/car", [], "").name == "/car"


def test_fixing_everything_goes_over_a_snapshot() -> None:
    queue = Check._Queue()
    assert (queue.is_empty(), queue.fix_exists()) == (True, False)
    queue.fix_all()
    tasks, fixed = queue._tasks, []

    class Meddling(Plain):
        script = staticmethod(finding)

        def fix_result(self, path: str, parameters: Any) -> None:
            fixed.append(path)
            queue.fix_all()
            queue.clear()

    for path in ("/a", "/b"):
        task = Check._Queue.Task(path, [])
        parameters = core.Parameters.Block.Task([])
        for check_class in (make_class(raising(ValueError())), Meddling):
            result = Check._Queue.Task.Result(path, check_class, parameters, Store(), Host())
            task.results.add(result)
        queue.add(task)
    assert (queue.fix_exists(), len(queue)) == (True, 2)
    queue.fix_all()
    assert (fixed, len(queue), queue._tasks is tasks) == (["/a", "/b"], 0, True)
    for wrong in ("task", None):
        with pytest.raises(TypeError):
            queue.add(wrong)


@collected
def test_cycles_through_a_check_are_collected() -> Any:
    class Keeping(Plain):
        def check(self, path: str, parameters: Any) -> None:
            self.parameters_seen = parameters
            self.input_seen = parameters["limit"]

    result = run(Keeping)
    queue, task = Check._Queue(), Check._Queue.Task("/car", [])
    queue.add(task)
    task.results.add(result)
    result._check.queue = queue
    result._op.queue = queue
    result._check.clone = result._param.clone()
    return queue, task, result, result._check, result._op
