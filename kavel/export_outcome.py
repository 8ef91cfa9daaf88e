"""What became of the hierarchies of exported scenes, as data and as an exit status."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any

from kavel.findings import Finding
from kavel.outcome import STRICT
from kavel.report import ERROR, UNMATCHED, SceneResult

SCHEMA = "kavel.export/1"

EXPORTED = "exported"
REFUSED = "refused"
SKIPPED = "skipped"
STATUSES = (EXPORTED, REFUSED, SKIPPED)

_TOLD = 100  # findings per hierarchy in a report


@dataclass
class HierarchyExport:
    """One hierarchy. `status` is "exported"; "refused" when a check failed, or could not
    be used; "skipped" when it was
    not written.

    path: the file that was written, or was to be; empty when it did not come to that. sizes: the
    bytes of every file written, by path. replaced: those of them that took the place of an
    earlier file. findings: data of the first findings that it was refused
    for, of `failures`.
    """

    name: str
    status: str = SKIPPED
    reason: str = ""
    roots: list[str] = field(default_factory=list)
    path: str = ""
    sizes: dict[str, int] = field(default_factory=dict)
    replaced: list[str] = field(default_factory=list)
    objects: int = 0
    notes: list[str] = field(default_factory=list)
    failures: int = 0
    findings: list[dict[str, Any]] = field(default_factory=list)

    def refuse_unchecked(self, reason: str) -> None:
        """A finding is the better reason, and stays."""
        if self.status != REFUSED:
            self.status, self.reason = REFUSED, reason

    def refuse(self, finding: Finding) -> None:
        """`finding` is one that failed."""
        self.status = REFUSED
        self.failures += 1
        if len(self.findings) < _TOLD:
            self.findings.append(finding.data())
        if self.failures == 1:
            place = finding.path or "the scene"
            self.reason = f"{finding.name}: {finding.message or 'no message'} ({place})"

    def data(self) -> dict[str, Any]:
        return {
            "name": self.name,
            "status": self.status,
            "reason": self.reason,
            "roots": self.roots,
            "file": self.path or None,
            "files": [{"path": path, "bytes": size} for path, size in self.sizes.items()],
            "replaced": self.replaced,
            "objects": self.objects,
            "notes": self.notes,
            "failures": self.failures,
            "findings": self.findings,
        }


@dataclass
class SceneExport:
    """One scene; `scene` is what the scan said, with the reason when nothing could be exported."""

    scene: SceneResult
    hierarchies: list[HierarchyExport] = field(default_factory=list)

    def count(self, status: str) -> int:
        return sum(hierarchy.status == status for hierarchy in self.hierarchies)

    @property
    def status(self) -> str:
        """ "exported" when every hierarchy was; "skipped" when some were not; "unmatched" when
        there is none; "error" when the scene could not be used, or there was no folder."""
        if self.scene.status in (ERROR, UNMATCHED):
            return self.scene.status
        return EXPORTED if self.count(EXPORTED) == len(self.hierarchies) else SKIPPED

    def data(self) -> dict[str, Any]:
        return {
            "file": self.scene.file,
            "status": self.status,
            "reason": self.scene.reason,
            "message": self.scene.message,
            "diagnosis": self.scene.diagnosis and self.scene.diagnosis.data(),
            "unassigned": len(self.scene.unassigned),
            "widened": self.scene.widened_data,
            "hierarchies": [hierarchy.data() for hierarchy in self.hierarchies],
        }


@dataclass
class ExportRun:
    """All scenes of a run; `asked` is how they were asked for, none when it could not begin.
    fails_strictly: whether nothing was exported because of checks that cannot be used."""

    asked: dict[str, Any] | None = None
    scenes: list[SceneExport] = field(default_factory=list)
    interrupted: bool = False
    fails_strictly: bool = False

    @property
    def exit_status(self) -> int:
        """0: everything was exported; 1: something was not; 2: a scene could not be used, or there
        was nowhere to export to; 3: checks cannot be used as they are meant, and that was not to be
        tolerated; 130: interrupted."""
        statuses = {scene.status for scene in self.scenes}
        if self.interrupted:
            return 130
        if ERROR in statuses or not statuses:
            return 2
        if self.fails_strictly:
            return STRICT
        return 0 if statuses == {EXPORTED} else 1

    def data(self) -> dict[str, Any]:
        hierarchies = [item for scene in self.scenes for item in scene.hierarchies]
        sizes = [size for item in hierarchies for size in item.sizes.values()]
        counts = {status: sum(item.status == status for item in hierarchies) for status in STATUSES}
        return {
            "run": self.asked,
            "scenes": [scene.data() for scene in self.scenes],
            "summary": {
                "hierarchies": len(hierarchies),
                **counts,
                "files": len(sizes),
                "bytes": sum(sizes),
            },
            "exit_status": self.exit_status,
            "interrupted": self.interrupted,
        }
