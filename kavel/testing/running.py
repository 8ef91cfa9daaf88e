"""Running one check on one object, through the core that runs it in production."""

from __future__ import annotations

import logging
from collections.abc import Iterator, Mapping
from contextlib import contextmanager
from dataclasses import dataclass, field
from typing import Any

import core
from kavel.testing.parameters import parameter_task
from kavel.view import current, use


@dataclass
class Outcome:
    """What one run of a check came to.

    status: one of `core.Constants.Check.Result`: "pass", "info", "fail" or "error".
    found: what the check put into its result, in order.
    message: the check's own words.
    log: what was logged, a line each. errors: what of it are errors, tracebacks included.
    fixable, selectable: whether the check offers to fix, or to select, what it found.
    records: the statistics of the run.
    """

    path: str
    status: str
    found: list[Any]
    message: str
    fixable: bool
    selectable: bool
    log: str
    errors: str
    records: list[Any]
    scene: Any = field(repr=False)
    result: Any = field(repr=False)  # the core's own

    @property
    def passed(self) -> bool:
        return self.status == core.Constants.Check.Result.Pass


class _Statistics:
    def __init__(self) -> None:
        self.records: list[Any] = []

    def add(self, record: Any) -> None:
        self.records.append(record)


def run(
    check_class: Any,
    path: str | None = None,
    *,
    scene: Any = None,
    parameters: Mapping[str, Any] | None = None,
    as_info: bool | None = None,
    **values: Any,
) -> Outcome:
    """Run a check on the object at `path` of `scene`, by default the current one.

    Without a path, a scene-oriented check runs on the scene's file, another one on the scene's only
    object. `values` are parameters by their attribute, in the forms that
    `kavel.testing.parameters.parameter_task` tells; `parameters` is for those whose attribute is a
    name that this function uses itself.

    Errors: LookupError without a scene; KeyError for a path that is not there; ValueError when the
    path must be said; those of `parameter_task`. What the check raises is an outcome, not an error.
    """
    scene = scene_of(scene)
    path = _path(check_class, path, scene)
    task = parameter_task(check_class, {**(parameters or {}), **values}, as_info)
    statistics = _Statistics()
    operator = scene if isinstance(scene, core.Scene.Operator) else scene.operator
    with use(scene), _logged() as log:
        result = core.Check._Queue.Task.Result(
            path, check_class, task, statistics, operator, single=True
        )
        outcome = _outcome(path, result, statistics, scene)
    return log.told(outcome)


def fix(outcome: Outcome) -> Outcome:
    """Run the fix of a check, and the check again; the outcome after it. `log` holds what either
    raised."""
    return _again(outcome, outcome.result.fix_result)


def select(outcome: Outcome) -> Outcome:
    """Run the selection of a check. What is selected then, the scene tells."""
    return _again(outcome, outcome.result.select_result)


def _again(before: Outcome, operation: Any) -> Outcome:
    with use(before.scene), _logged() as log:
        operation()
        after = _outcome(before.path, before.result, before.result._statistics, before.scene)
    return log.told(after)


def _outcome(path: str, result: Any, statistics: Any, scene: Any) -> Outcome:
    return Outcome(
        path=path,
        status=str(result.status),
        found=list(result._check.result),
        message=str(result.result_message()),
        fixable=bool(result.could_be_fixed),
        selectable=bool(result.could_be_selected),
        log="",
        errors="",
        records=list(statistics.records),
        scene=scene,
        result=result,
    )


def scene_of(scene: Any = None) -> Any:
    """`scene`, or the current one when it is none."""
    if scene is not None:
        return scene
    try:
        return current()
    except LookupError:
        message = (
            "no scene is current: pass scene=..., or work inside `with kavel.view.use(scene):`"
        )
        raise LookupError(message) from None


def _path(check_class: Any, path: str | None, scene: Any) -> str:
    if path is not None:
        if not scene.exists(path) and path != scene.file:
            known = ", ".join(scene.paths()[:5]) or "none at all"
            raise KeyError(f"no object at {path!r}; there are {known}")
        return path
    if check_class.scene_oriented:
        return str(scene.file)
    paths = scene.paths()
    if len(paths) != 1:
        raise ValueError(f"say on which of the {len(paths)} objects {check_class.__name__} runs")
    return str(paths[0])


class _Log(logging.Handler):
    def __init__(self) -> None:
        super().__init__(logging.INFO)
        self._entries: list[tuple[int, str]] = []

    def emit(self, record: logging.LogRecord) -> None:
        self._entries.append((record.levelno, record.getMessage()))

    def told(self, outcome: Outcome) -> Outcome:
        outcome.log = "\n".join(text for _, text in self._entries)
        outcome.errors = "\n".join(text for level, text in self._entries if level >= logging.ERROR)
        return outcome


@contextmanager
def _logged() -> Iterator[_Log]:
    """Collects what is logged inside the block; the core logs on threads of its own."""
    root = logging.getLogger()
    level, handler = root.level, _Log()
    root.addHandler(handler)
    root.setLevel(min(level, logging.INFO) or logging.INFO)
    try:
        yield handler
        for thread in list(core._log_threads):
            thread.join()
    finally:
        root.setLevel(level)
        root.removeHandler(handler)
