"""The user's own check configuration: which checks are on, and named presets of that."""

from __future__ import annotations

import copy
from collections.abc import Sequence
from typing import Any

import core
from kavel.environment import StandaloneEnvironment
from kavel.errors import KavelError
from kavel.hints import meant
from kavel.registry import CheckSetup, embedded_checks


class OwnChecks:
    """The check list over the settings in the user's home; changes are written at once.

    With a `setup`, its folders of checks count, which are not stored.
    """

    def __init__(self, home: str | None, setup: CheckSetup) -> None:
        self._settings = core._Settings(StandaloneEnvironment(home))
        state = self._settings.check
        directories = core._Settings.Check.Directory.List()
        directories.load(setup.settings["check"]["directories"])
        directories.embed(embedded_checks())
        self.classes = core.Check._Classes(directories)
        self.list: Any = core.Check._List(self.classes, state.presets, state.config)

    def enable(self, class_ids: Sequence[str], enabled: bool) -> None:
        """Errors: KavelError for an id that no class has; nothing is changed then."""
        known = {control.check.class_id: control for control in self.list}
        config = self.list.config
        for class_id in class_ids:
            # What was enabled once and is not installed any more can still be disabled.
            if class_id not in known and (enabled or config.get(class_id, False) is None):
                raise KavelError(self.no_such_check(class_id))
        for class_id in class_ids:
            config.get(class_id, True).enabled = enabled
        self._write()

    @property
    def configuration(self) -> dict[str, Any]:
        """A copy: {id: {"enabled", "opened", "parameters"}} of what was ever switched on."""
        return copy.deepcopy(self.list.config.data)

    @property
    def names(self) -> dict[str, str]:
        """The name of each installed check by its id."""
        return {str(control.check.class_id): str(control.check.long_name) for control in self.list}

    def no_such_check(self, class_id: str) -> str:
        """The words for an id that no class has."""
        hint = meant(class_id, self.names, "{}") or "; `kavel checks` lists them"
        return f'there is no check "{class_id}"{hint}'

    @property
    def preset_names(self) -> list[str]:
        return [str(preset.name) for preset in self._settings.check.presets]

    def applied(self, name: str) -> bool:
        """Whether the preset equals the configuration."""
        self.list.preset.sync_applied()
        return bool(self._preset(name).applied)

    def create_preset(self, name: str) -> None:
        """Keep the present configuration. Errors: KavelError for a name that is taken or empty."""
        if name in self.preset_names:
            raise KavelError(f'there is a preset "{name}" already')
        if not name.strip():
            raise KavelError("a preset needs a name")
        self.list.preset.create(name)
        self._write()

    def apply_preset(self, name: str) -> None:
        """Errors: KavelError when there is no such preset."""
        self.list.preset.apply(self._preset(name))
        self._write()

    def erase_preset(self, name: str) -> None:
        """Errors: KavelError when there is no such preset."""
        self.list.preset.erase(self._preset(name))
        self._write()

    def _preset(self, name: str) -> Any:
        for preset in self._settings.check.presets:
            if preset.name == name:
                return preset
        listed = ", ".join(self.preset_names) or "none"
        raise KavelError(f'there is no preset "{name}"; there are: {listed}')

    def _write(self) -> None:
        self._settings.write()
