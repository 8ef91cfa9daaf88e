"""The environment of the stand-alone program."""

from __future__ import annotations

import os
import platform

import core
from kavel.errors import KavelError, reason_of
from kavel.home import HOME_VARIABLE, kavel_home, target_directory


class StandaloneEnvironment(core.Environment):
    """Settings, statistics and projects in one folder per target below `home`.

    `home` is found as `kavel.home.kavel_home` says; `target` is the host application whose projects
    are used, "standalone" when not given; `statistics_file` replaces the usual one. The folders are
    made when they are missing.

    Errors: KavelError when a folder cannot be made.
    """

    def __init__(
        self,
        home: str | None = None,
        target: str | None = None,
        statistics_file: str | None = None,
    ) -> None:
        self._target = core.Constants.Plugin.Target.Standalone if target is None else target
        self._settings = target_directory(kavel_home(home), self._target)
        self._projects = os.path.join(self._settings, "projects")
        self._statistics = statistics_file or os.path.join(self._settings, "statistics.json")
        try:
            os.makedirs(self._projects, exist_ok=True)
        except OSError as error:
            raise KavelError(
                f"{kavel_home(home)}: cannot hold your settings, projects and usage records: "
                f"{reason_of(error)}; name another folder with --home or {HOME_VARIABLE}"
            ) from error
        # Outside Windows nothing else sets it, and an environment without it is not accepted.
        if not core.Environment.user_home:
            core.Environment.user_home = os.path.expanduser("~")
        super().__init__()

    @property
    def root(self) -> str:
        return os.path.dirname(self._settings)

    @property
    def target(self) -> str:
        return self._target

    @property
    def scope(self) -> str:
        return platform.system() + platform.release()

    def get_settings_file(self) -> str:
        return os.path.join(self._settings, "settings.json")

    def get_settings_directory(self) -> str:
        return self._settings

    def get_projects_directory(self) -> str:
        return self._projects

    def get_statistics_file(self) -> str:
        return self._statistics
