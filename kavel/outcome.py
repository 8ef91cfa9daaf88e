"""The verdict on validated scenes, and the exit status that follows from it."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass, field
from typing import Any

from kavel.document import Problem
from kavel.findings import Summary
from kavel.registry import Found
from kavel.report import ERROR, UNASSIGNED, UNMATCHED, SceneResult

PASSED = "passed"
FAILED = "failed"
STRICT = 3  # the exit status of a run whose checks are not all as they should be


@dataclass
class Outcome:
    """One scene. `scene` is what the scan said, with the reason when no check could run.

    strict_match: whether an object that no rule took fails the scene. fixes: repairs made, or tried
    in a dry run; `would_leave` is what these would have left.
    """

    scene: SceneResult
    threshold: str
    strict_match: bool = False
    summary: Summary = field(default_factory=Summary)
    checked_objects: int = 0
    fixes: int = 0
    would_leave: Summary | None = None

    @property
    def status(self) -> str:
        """ "passed", "failed" (findings at or above the threshold, or objects that no rule took
        and that are not tolerated), "unmatched" or "error"."""
        if self.scene.status in (ERROR, UNMATCHED):
            return self.scene.status
        failed = self.summary.reaches(self.threshold) or self.has_strangers
        return FAILED if failed else PASSED

    @property
    def has_strangers(self) -> bool:
        """Whether there are objects that no rule took and that are not tolerated."""
        return self.strict_match and bool(self.scene.unassigned)

    def data(self) -> dict[str, Any]:
        scene = self.scene
        return {
            "summary": {**self.summary.data(), "objects": self.checked_objects},
            "would_leave": self.would_leave and self.would_leave.data(),
            "match": {
                "hierarchies": len(scene.hierarchies),
                "joints": scene.joint_count,
                "objects": scene.objects,
                "unassigned": len(scene.unassigned),
            },
            "unassigned": [vars(item) for item in scene.unassigned],
            "widened": scene.widened_data,
            "saved": scene.saved,
            "status": self.status,
            "reason": scene.reason or (UNASSIGNED if self.has_strangers else ""),
            "message": scene.message or (scene.strangers if self.has_strangers else ""),
            "diagnosis": scene.diagnosis and scene.diagnosis.data(),
        }


@dataclass
class RunOutcome:
    """All scenes of a run. `broken` are modules and classes that could not be used, `missing` the
    ids of checks that were asked for and are not installed, `misfits` what does not fit in stored
    parameters. `warnings` is how many there are about the project's document."""

    strict: bool = False
    broken: list[Found] = field(default_factory=list)
    missing: list[str] = field(default_factory=list)
    misfits: list[Problem] = field(default_factory=list)
    warnings: int = 0
    statuses: list[str] = field(default_factory=list)
    summary: Summary = field(default_factory=Summary)
    interrupted: bool = False

    def add(self, outcome: Outcome) -> None:
        self.statuses.append(outcome.status)
        self.summary.merge(outcome.summary)

    @property
    def misfitting(self) -> list[str]:
        """The ids of the checks with stored parameters that do not fit."""
        return list(dict.fromkeys(problem.check or "" for problem in self.misfits))

    @property
    def fails_strictly(self) -> bool:
        """Whether checks or the project are not all as they should be, and that is not to be
        tolerated."""
        return self.strict and bool(self.broken or self.missing or self.misfits or self.warnings)

    @property
    def exit_status(self) -> int:
        """0: every scene passed; 1: some did not; 2: some could not be validated; 3: checks are
        broken or missing or their parameters do not fit, or there are warnings about the project,
        and that was not to be tolerated; 130: interrupted."""
        if self.interrupted:
            return 130
        if ERROR in self.statuses or not self.statuses:
            return 2
        if self.fails_strictly:
            return STRICT
        return 0 if set(self.statuses) == {PASSED} else 1

    def data(self) -> dict[str, Any]:
        return {
            "summary": self.summary.data(),
            "exit_status": self.exit_status,
            "interrupted": self.interrupted,
        }


def listing(names: Sequence[str], shown: int = 3) -> str:
    """The first names, and how many more there are."""
    more = len(names) - shown
    return ", ".join(names[:shown]) + (f" and {more} more" if more > 0 else "")
