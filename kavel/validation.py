"""The checks of one open scene: run by the core, repaired, and told."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

import core
from kavel.findings import ERROR, PASS, Finding, Summary
from kavel.recording import RunRecorder
from kavel.region import Region
from kavel.report import SceneResult
from kavel.session import Session
from kavel.stored_values import load_errors

_LONGEST = 2000  # characters of a message

PROJECT, SELECTION = "project", "selection"
MODES = {
    PROJECT: core.Constants.Check.Mode.Project,
    SELECTION: core.Constants.Check.Mode.Selection,
}


@dataclass(frozen=True)
class Fix:
    """One repair. `changes` tells what it changed, by path, in words such as "points"; `status` is
    that of the check after it, `error` what was logged when the repair failed."""

    check: str
    name: str
    path: str
    changes: dict[str, list[str]]
    status: str
    error: str

    def data(self) -> dict[str, Any]:
        return {
            "check": self.check,
            "object": self.path or None,
            "changes": [{"object": path, "parts": parts} for path, parts in self.changes.items()],
            "status": self.status,
            "error": self.error,
        }


class Validation:
    """One validation of the scene that `session`, which has checks, has open; to be used while that
    scene is the current one (`kavel.view.use`).

    What was found stays in the core's queue until the session's next validation, and is read from
    there each time: a million results are never held twice.
    """

    def __init__(self, session: Session, scene: SceneResult) -> None:
        self._session = session
        self._recorder: RunRecorder = session.api.recorder
        self._parents = session.operator.graph.parents
        self._rules = {
            joint.path: joint.rule
            for hierarchy in scene.hierarchies
            for _, joint, _ in hierarchy.root.walk()
            if joint.path
        }
        self._region = Region(self._parents)
        self._repaired = False
        #: What the repairs of a trial would have left.
        self.would_leave: Summary | None = None

    def run(self, mode: str) -> None:
        """Run the checks that `mode`, one of `MODES`, plans; in the mode "selection" those of the
        user's settings, on the selected objects.

        Errors: KeyboardInterrupt; what was found until then can be told all the same.
        """
        self._recorder.clear()
        self._session.api.settings.check.mode = MODES[mode]
        self._session.api.validator.start()

    @property
    def planned(self) -> int:
        """How many runs there are to be."""
        lengths: dict[int, int] = {}  # objects of one rule share their controls
        total = 0
        for task in self._session.api.validator.queue:
            for control in task.check_controls[:]:
                key = id(control)
                if key not in lengths:
                    lengths[key] = len(control.parameters)
                total += lengths[key]
        return total

    @property
    def objects(self) -> int:
        """How many objects were checked at all."""
        tasks = self._session.api.validator.queue
        return len({task.path for task in tasks if task.path in self._parents and not task.empty})

    def findings(self) -> Iterator[Finding]:
        """Every run, in the order of the queue. Asks each check for its message."""
        known = len(self._recorder.seconds) == sum(1 for _ in self._results())
        for place, path, result in self._results():
            yield self._finding(place, path, result, known)

    def recount(self) -> Summary:
        """The state of every run as it is now, without asking for messages."""
        summary = Summary()
        for _, _, result in self._results():
            status = str(result.status)
            summary.counts[status] += 1
            summary.fixable += status != PASS and bool(result.could_be_fixed)
        return summary

    def repair(self) -> Iterator[Fix]:
        """Repair what can be repaired, one finding after the other."""
        for place, path, result in self._results():
            if not result.could_be_fixed:
                continue
            if self._concerned(path):
                self._again(place, result.check)
                if not result.could_be_fixed:  # an earlier repair took care of it
                    continue
            fix = self._fix(place, path, result)
            self._repaired = True
            for changed in (path, *fix.changes):
                self._region.add(changed)
            yield fix

    def check_again(self) -> None:
        """After repairs: run the checks of the objects that were repaired or changed, of those
        above and below them, and those of the whole scene; no others."""
        for place, path, result in self._results():
            if self._concerned(path):
                self._again(place, result.check)
        self._session.api.statistics.write()

    def try_repair(self) -> Iterator[Fix]:
        """What `repair` would do, tried on the scene in memory: at the end the scene and the
        results are as before, and no usage record is left."""
        scene = self._session.operator.view
        before = scene.snapshot()
        with self._recorder.off_the_record():
            try:
                yield from self.repair()
                self.check_again()
                self.would_leave = self.recount()
            finally:
                scene.restore(before)
            self.check_again()

    def _fix(self, place: int, path: str, result: Any) -> Fix:
        scene = self._session.operator.view
        before = scene.snapshot()
        self._session.log.print_errors()
        self._again(place, result.fix_result)
        errors = self._session.log.take_errors()
        check = _class_of(result)
        return Fix(
            check=check.class_id,
            name=str(result.name),
            path=path if path in self._parents else "",
            changes=scene.changes(before),
            status=str(result.status),
            error=errors[0] if errors else "",
        )

    def _concerned(self, path: str) -> bool:
        """Whether a repair may matter to the checks of `path`."""
        return self._repaired and (path not in self._parents or path in self._region)

    def _again(self, place: int, operation: Any) -> None:
        with self._recorder.run_again(place):
            operation()

    def _results(self) -> Iterator[tuple[int, str, Any]]:
        """Each result with its position and the path of its task."""
        place = 0
        for task in self._session.api.validator.queue:
            path = str(task.path)
            # A slice: there may be very many short lists, and the end of a live one costs most.
            for result in task.results[:]:
                yield place, path, result
                place += 1

    def _finding(self, place: int, path: str, result: Any, known: bool) -> Finding:
        status = str(result.status)
        check = _class_of(result)
        own_message = "" if status == PASS else str(result.result_message())
        message = (self._reason(place, result) if status == ERROR else "") or own_message
        if len(message) > _LONGEST:
            message = message[:_LONGEST] + " ..."
        return Finding(
            check=str(check.class_id),
            name=str(result.name),
            path=path if path in self._parents else "",
            rule=self._rules.get(path, ""),
            status=status,
            message=message,
            fixable=status != PASS and bool(result.could_be_fixed),
            selectable=status != PASS and bool(result.could_be_selected),
            seconds=self._recorder.seconds[place] if known else None,
            parameters=result._param.data,
        )

    def _reason(self, place: int, result: Any) -> str:
        """Why a run did not come to its end."""
        misfits = load_errors(result._param)
        if misfits:
            return f"The stored parameters cannot be used: {'; '.join(misfits)}"
        return self._recorder.errors.get(place, "")


def _class_of(result: Any) -> Any:
    check = result._check
    return check if isinstance(check, type) else type(check)
