"""The outcome of scanning, as data and as JSON."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from kavel.diagnosis import Diagnosis

from kavel.terminal import count

SCHEMA = "kavel.scan/1"

OPENED = "opened"
MATCHED = "matched"
UNMATCHED = "unmatched"
ERROR = "error"
UNASSIGNED = "unassigned"  # a reason: objects that no rule took were not tolerated


@dataclass
class Joint:
    """A scene object that a rule took. `type` is its unified type; of a ghost without an object,
    "sceneRoot", and `path` is then empty."""

    rule: str
    stamp: str
    name: str
    path: str
    type: str
    children: list[Joint] = field(default_factory=list)

    def walk(self) -> Iterator[tuple[int, Joint, bool]]:
        """Each joint with its depth and whether it is the last of its siblings, parents first."""
        stack = [(0, self, True)]
        while stack:
            depth, joint, last = stack.pop()
            yield depth, joint, last
            end = len(joint.children) - 1
            for index in range(end, -1, -1):
                stack.append((depth + 1, joint.children[index], index == end))

    def data(self) -> dict[str, Any]:
        top: list[dict[str, Any]] = []
        stack = [(self, top)]
        while stack:
            joint, siblings = stack.pop()
            entry: dict[str, Any] = {
                "rule": joint.rule,
                "stamp": joint.stamp,
                "name": joint.name,
                "path": joint.path,
                "type": joint.type,
                "children": [],
            }
            siblings.append(entry)
            stack.extend((child, entry["children"]) for child in reversed(joint.children))
        return top[0]


@dataclass
class Hierarchy:
    """One matched hierarchy."""

    name: str
    root: Joint

    @property
    def joint_count(self) -> int:
        return sum(1 for _ in self.root.walk())


@dataclass
class SceneObject:
    path: str
    name: str
    type: str


@dataclass
class SceneResult:
    """What a scan found in one scene.

    `status` is "opened" before the scan, "matched" when at least one hierarchy matched, "unmatched"
    when none did, "error" when the scene could not be scanned or saved. `reason` is the name of the
    core's notification, or "unreadable", "selection", "scan", "save" or "unassigned" (a scene that
    matched and fails because of objects that no rule took); empty where there is none.
    `hierarchies` are those that this scan found, `kept` counts those that the file held before and
    appending kept, `kept_invalid` those of them that the scene does not match any more.
    `unassigned` are the objects below the scanned top objects that no rule took; `objects` counts
    all objects there. `widened` has the object that was scanned, with all below it, by the selected
    object in whose place that was: a scan begins at top objects, or at what stands for the ghost
    item. `diagnosis` tells why nothing matched, where that could be found out.
    """

    file: str
    status: str = ERROR
    reason: str = ""
    message: str = ""
    hierarchies: list[Hierarchy] = field(default_factory=list)
    unassigned: list[SceneObject] = field(default_factory=list)
    objects: int = 0
    kept: int = 0
    kept_invalid: int = 0
    saved: bool = False
    widened: dict[str, str] = field(default_factory=dict)
    diagnosis: Diagnosis | None = None

    @property
    def joint_count(self) -> int:
        return sum(hierarchy.joint_count for hierarchy in self.hierarchies)

    @property
    def strangers(self) -> str:
        """How many objects no rule took, in words."""
        return f"{count(len(self.unassigned), 'object')} that no rule took"

    @property
    def widened_data(self) -> list[dict[str, str]]:
        return [{"selected": path, "root": root} for path, root in self.widened.items()]

    @property
    def told(self) -> str:
        """The message, for a line that begins with the file."""
        return self.message.removeprefix(f"{self.file}: ")

    def fail(self, reason: str, message: str, status: str = ERROR) -> SceneResult:
        self.status, self.reason, self.message = status, reason, message
        return self

    def data(self) -> dict[str, Any]:
        return {
            "file": self.file,
            "status": self.status,
            "reason": self.reason,
            "message": self.message,
            "saved": self.saved,
            "counts": {
                "hierarchies": len(self.hierarchies),
                "joints": self.joint_count,
                "objects": self.objects,
                "unassigned": len(self.unassigned),
                "kept": self.kept,
                "kept_invalid": self.kept_invalid,
            },
            "hierarchies": [
                {"name": hierarchy.name, "joint": hierarchy.root.data()}
                for hierarchy in self.hierarchies
            ],
            "unassigned": [vars(item) for item in self.unassigned],
            "widened": self.widened_data,
            "diagnosis": self.diagnosis and self.diagnosis.data(),
        }


def exit_code(results: list[SceneResult]) -> int:
    """0: every scene matched; 1: in some scene nothing matched, or objects were left that are not
    tolerated; 2: some scene could not be done."""
    statuses = {result.status for result in results}
    if ERROR in statuses or not statuses:
        return 2
    strangers = any(result.reason == UNASSIGNED for result in results)
    return 1 if UNMATCHED in statuses or strangers else 0
