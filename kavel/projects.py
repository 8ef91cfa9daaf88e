"""The user's projects, and finding the one that is meant."""

from __future__ import annotations

import json
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


def read_project(path: str, record: int | None = None) -> ProjectFile:
    """With `record`, the time of saving of one, it is checked instead of the selected one.

    Errors: ProjectError when the file cannot be read; what it holds is only checked.
    """
    try:
        return ProjectFile(path, check_file(path, record))
    except OSError as error:
        raise ProjectError(f"{path}: cannot be read: {reason_of(error)}") from error


def user_projects(home: str) -> Iterator[ProjectFile]:
    """Every project below `home`, of all targets, in the order of their paths."""
    return map(read_project, _project_paths(home))


@dataclass(frozen=True)
class Head:
    """What a project is found by, read without checking it; empty where it cannot be read.

    Checking takes twenty times as long, and longer with every record.
    """

    path: str
    name: str
    target: str
    deleted: bool

    @property
    def filename(self) -> str:
        return os.path.basename(self.path)

    def is_meant(self, text: str) -> bool:
        """Whether `text` is the project's name, its file's name with or without the extension, or
        the path of its file."""
        name = self.filename
        if text in (self.name, name, os.path.splitext(name)[0]):
            return True
        same = os.path.realpath
        return os.path.basename(text) == name and same(text) == same(self.path)


def read_head(path: str) -> Head:
    try:
        with open(path, encoding="utf-8-sig") as stream:
            document = json.load(stream)
    except (OSError, ValueError, RecursionError):
        document = None
    checked = Checked(document if isinstance(document, dict) else {})
    deleted = checked.document.get("deleted") is True
    return Head(path, checked.text("name"), checked.text("target"), deleted)


def project_heads(home: str) -> Iterator[Head]:
    """The heads of all projects below `home`, in the order of their paths."""
    return map(read_head, _project_paths(home))


def find_project(text: str, home: str) -> ProjectFile:
    """The project that `text` names: a file, or one of the user's by its name or file name.

    Errors: ProjectError when there is none, or more than one of that name.
    """
    return read_project(find_head(text, home).path)


def find_head(text: str, home: str) -> Head:
    """The same, unchecked."""
    if os.path.isfile(text):
        return read_head(text)
    named = [head for head in project_heads(home) if head.is_meant(text)]
    found = [head for head in named if not head.deleted]
    if not found and os.path.isdir(text):
        raise ProjectError(f"{text}: is a folder; give the project's file in it")
    if not found:
        message = f'"{text}" is neither a file nor the name of a project in {home}'
        hint = _deleted_hint(named) or "; `kavel projects list` lists those"
        raise ProjectError(message + hint)
    return _only(found, text)


def find_own_head(text: str, home: str, deleted: bool = False) -> Head:
    """One of the user's projects, by its name, file name or path; with `deleted`, one that is
    marked as deleted if no other is meant.

    Errors: ProjectError when there is none, or more than one.
    """
    named = [head for head in project_heads(home) if head.is_meant(text)]
    found = [head for head in named if not head.deleted] or (named if deleted else [])
    if found:
        return _only(found, text)
    if not named and os.path.isfile(text):
        raise ProjectError(
            f"{text}: is none of your projects, and only those are changed; make one of it with: "
            f"kavel projects new NAME --from {text}"
        )
    message = f'"{text}" is not the name of a project in {home}'
    raise ProjectError(message + _deleted_hint(named))


def _deleted_hint(deleted: list[Head]) -> str:
    if not deleted:
        return ""
    file = os.path.basename(deleted[0].path)
    return f"; it was deleted, and comes back with: kavel projects restore {file}"


def _only(found: list[Head], text: str) -> Head:
    if len(found) > 1:
        lines = "".join(f"\n  {head.path}" for head in found)
        raise ProjectError(f'"{text}" names more than one project; give one of these files:{lines}')
    return found[0]


def _project_paths(home: str) -> Iterator[str]:
    for target in _listed(home):
        folder = os.path.join(home, target, "projects")
        for name in _listed(folder):
            path = os.path.join(folder, name)
            if name.endswith(".json") and os.path.isfile(path):
                yield path


def _listed(folder: str) -> list[str]:
    try:
        return sorted(os.listdir(folder))
    except (FileNotFoundError, NotADirectoryError):
        return []
    except OSError as error:
        raise ProjectError(f"{folder}: cannot be read: {reason_of(error)}") from error
