"""The check classes that were found: which can be used, and what is wrong with the others."""

from __future__ import annotations

import importlib
import os
from collections.abc import Iterable, Sequence
from dataclasses import asdict, dataclass
from types import ModuleType
from typing import Any

import core
from kavel.environment import StandaloneEnvironment
from kavel.errors import KavelError

_BROKEN = ("denied", "failed")


@dataclass(frozen=True)
class Found:
    """What the loader says of one folder, file or class.

    outcome: "loaded", "denied" (a class that is not sound), "duplicate" (another class has its id),
    "failed" (a module that could not be loaded), "intermediate" (derives straight from the base) or
    "disabled" (a folder). Fields that do not apply are empty.
    """

    file: str
    module: str
    class_name: str
    class_id: str
    outcome: str
    reason: str
    traceback: str

    @property
    def broken(self) -> bool:
        return self.outcome in _BROKEN

    @property
    def name(self) -> str:
        """What to call it in a line: the class in its file, or the file."""
        file = os.path.basename(self.file)
        return f"{self.class_name} in {file}" if self.class_name else file

    def data(self) -> dict[str, str]:
        return asdict(self)


def read_report(classes: Any) -> list[Found]:
    """Everything that the registry came across, in the order of its search."""
    fields = Found.__dataclass_fields__
    return [Found(**{name: str(getattr(note, name)) for name in fields}) for note in classes.report]


def loaded_checks(classes: Any) -> list[dict[str, Any]]:
    """What the loaded classes say of themselves, in their order."""
    return [
        {
            "id": str(check.class_id),
            "name": str(check.long_name),
            "short_name": str(check.short_name),
            "category": str(check.category),
            "description": str(check.description),
            "scene_wide": bool(check.scene_oriented),
        }
        for check in classes
    ]


@dataclass(frozen=True)
class CheckSetup:
    """Which checks a run uses: the user's settings, with folders added, as data of the core's
    settings; and where its usage records go."""

    settings: dict[str, Any]
    statistics_file: str


def check_setup(home: str | None, folders: Sequence[str] = ()) -> CheckSetup:
    """The user's own settings, with `folders` of checks before the user's.

    Errors: KavelError for a folder that is not there.
    """
    environment = StandaloneEnvironment(home)
    data = core._Settings(environment).data()
    given = [_folder(path) for path in folders]
    paths = {entry["path"] for entry in given}
    stored = [entry for entry in data["check"]["directories"] if entry["path"] not in paths]
    data["check"]["directories"] = given + stored
    return CheckSetup(data, environment.get_statistics_file())


def embedded_checks() -> ModuleType:
    """The package whose folder holds the checks that ship with this program."""
    return importlib.import_module("kavel.checks")


def missing_checks(wanted: Iterable[str], classes: Any) -> list[str]:
    """Those of the ids `wanted` that no class has, in order."""
    return [class_id for class_id in dict.fromkeys(wanted) if classes.get(class_id) is None]


def enabled_ids(checklist: Any) -> list[str]:
    """The ids that a stored check configuration asks for."""
    if not isinstance(checklist, dict):
        return []
    return [
        class_id
        for class_id, entry in checklist.items()
        if isinstance(entry, dict) and entry.get("enabled") is True
    ]


def _folder(path: str) -> dict[str, Any]:
    if not os.path.isdir(path):
        raise KavelError(f"{path}: there is no such folder of checks")
    path = os.path.abspath(path)
    return {"name": os.path.basename(path), "path": path, "enabled": True}
