"""The user's projects, and finding the one that is meant."""

from __future__ import annotations

import os
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

from kavel.document import Checked, check_file
from kavel.document.pattern import walk
from kavel.errors import ProjectError, reason_of


@dataclass(frozen=True)
class ProjectFile:
    """A project document and the file that it was read from."""

    path: str
    checked: Checked

    @property
    def filename(self) -> str:
        return os.path.basename(self.path)

    @property
    def name(self) -> str:
        return self.checked.text("name")

    @property
    def target(self) -> str:
        return self.checked.text("target")

    @property
    def deleted(self) -> bool:
        return self.checked.document.get("deleted") is True

    @property
    def rules(self) -> list[dict[str, Any]]:
        """The rules that stand in the pattern, each once."""
        pattern = self.checked.pattern
        used = (
            {} if pattern is None else {id(item.rule): item.rule for _, item in walk(pattern.top)}
        )
        return list(used.values())

    def data(self) -> dict[str, Any]:
        """What a report says of the project."""
        return {
            "name": self.name,
            "filename": self.filename,
            "target": self.target,
            "record": self.checked.timestamp,
            "problems": [problem.data() for problem in self.checked.problems],
        }


def read_project(path: str) -> ProjectFile:
    """Errors: ProjectError when the file cannot be read; what it holds is only checked."""
    try:
        return ProjectFile(path, check_file(path))
    except OSError as error:
        raise ProjectError(f"{path}: cannot be read: {reason_of(error)}") from error


def user_projects(home: str) -> Iterator[ProjectFile]:
    """Every project below `home`, of all targets, in the order of their paths."""
    for target in _listed(home):
        folder = os.path.join(home, target, "projects")
        for name in _listed(folder):
            path = os.path.join(folder, name)
            if name.endswith(".json") and os.path.isfile(path):
                yield read_project(path)


def find_project(text: str, home: str) -> ProjectFile:
    """The project that `text` names: a file, or one of the user's by its name or file name.

    Errors: ProjectError when there is none, or more than one of that name.
    """
    if os.path.isfile(text):
        return read_project(text)
    found = [
        project
        for project in user_projects(home)
        if not project.deleted and text in _spellings(project)
    ]
    if not found and os.path.isdir(text):
        raise ProjectError(f"{text}: is a folder; give the project's file in it")
    if not found:
        raise ProjectError(
            f'"{text}" is neither a file nor the name of a project in {home}; '
            "`kavel projects list` lists those"
        )
    if len(found) > 1:
        lines = "".join(f"\n  {project.path}" for project in found)
        raise ProjectError(f'"{text}" names more than one project; give one of these files:{lines}')
    return found[0]


def _spellings(project: ProjectFile) -> set[str]:
    return {project.name, project.filename, os.path.splitext(project.filename)[0]}


def _listed(folder: str) -> list[str]:
    try:
        return sorted(os.listdir(folder))
    except (FileNotFoundError, NotADirectoryError):
        return []
    except OSError as error:
        raise ProjectError(f"{folder}: cannot be read: {reason_of(error)}") from error
