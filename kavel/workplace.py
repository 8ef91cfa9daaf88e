"""The temporary home of one run: a copy of the project and settings of its own.

Neither the project's file nor the user's settings change, whatever the core writes.
"""

from __future__ import annotations

import os
import shutil
import tempfile
from typing import Any

import core
from kavel.environment import StandaloneEnvironment
from kavel.home import target_directory
from kavel.projects import ProjectFile


def copy_name(project: ProjectFile) -> str:
    """What the copy of a project's file is called, so that usage records name the project."""
    name = os.path.basename(project.path)
    return name if name.endswith(".json") else f"{name}.json"


class Workplace:
    """A home that holds at most one project, of that project's target.

    `settings` are the data of the core's settings, defaults when there are none;
    `statistics_file` is where usage records go, into the temporary home when not given.

    Errors: OSError when it cannot be made.
    """

    def __init__(
        self,
        project: ProjectFile | None,
        settings: dict[str, Any] | None = None,
        statistics_file: str | None = None,
    ) -> None:
        target = None if project is None else project.target
        self._folder = tempfile.mkdtemp(prefix="kavel-")
        try:
            if project is not None:
                projects = os.path.join(target_directory(self._folder, project.target), "projects")
                os.makedirs(projects)
                shutil.copyfile(project.path, os.path.join(projects, copy_name(project)))
            self.environment = StandaloneEnvironment(self._folder, target, statistics_file)
            if settings is not None:
                core._File.Json.write(self.environment.get_settings_file(), settings)
        except BaseException:
            self.remove()
            raise

    def remove(self) -> None:
        shutil.rmtree(self._folder, ignore_errors=True)
