"""How an export is asked for on the command line."""

from __future__ import annotations

import os
import re
from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from typing import Any

import core
from kavel.errors import KavelError

CHOOSE, OF_PROJECT, LOCAL = "choose", "project", "local"
MODES = {
    CHOOSE: core.Constants.Export.Mode.Choose,
    OF_PROJECT: core.Constants.Export.Mode.Project,
    LOCAL: core.Constants.Export.Mode.Local,
}
NAME = "{root}"  # how files are named where nothing else is asked for
FLAGS = ("version_control", "triangulate", "automatic_uv", "reset_xforms")
_PLACEHOLDER = re.compile(r"\{([^{}]*)\}")
_SWITCH = {"on": True, "true": True, "yes": True, "off": False, "false": False, "no": False}


@dataclass(frozen=True)
class ExportOptions:
    """What to export and how.

    mode is one of `MODES`, directory the folder of "choose". name: how files are named, see
    `file_name`. format: the attribute name or label of
    a format, none for the project's. values: texts "OPTION=VALUE". flags: those of `FLAGS` that
    differ from the project's. strict: with only_valid, nothing is exported unless every check can
    be used as it is meant. select: the objects to scan; lod_names as in `GltfOperator`.
    """

    mode: str
    directory: str | None = None
    name: str = NAME
    format: str | None = None
    values: Sequence[str] = ()
    flags: dict[str, bool] | None = None
    only_valid: bool = False
    strict: bool = False
    select: Sequence[str] = ()
    lod_names: str | None = None


def file_name(template: str, scene: str, root: str) -> str:
    """`template` with "{scene}" as the name of the file `scene` without its extension, and "{root}"
    as the name `root` of the hierarchy.

    Errors: KavelError for an empty template, other placeholders, and braces without a partner.
    """
    values = {"scene": os.path.splitext(os.path.basename(scene))[0], "root": root}
    unknown = [name for name in _PLACEHOLDER.findall(template) if name not in values]
    rest = _PLACEHOLDER.sub("", template)
    if unknown or "{" in rest or "}" in rest or not template:
        raise KavelError(f"--name {template!r}: it is a text with {{scene}} and {{root}} in it")
    return _PLACEHOLDER.sub(lambda match: values[match[1]], template)


def select_format(options: Any, key: str) -> None:
    """Select a format of the core's export component by its attribute name or label.

    Errors: KavelError for one that there is not; it names those there are.
    """
    known = {str(name) for item in options for name in (item.attr, item.label)}
    if key not in known:
        names = ", ".join(str(item.attr) for item in options)
        raise KavelError(f"there is no format {key!r}; there are {names}")
    options.select(key)


def set_option(format: Any, text: str) -> None:
    """Set an option of a format from "OPTION=VALUE".

    Errors: KavelError for an option or a value that there is not, or for none; it names those there
    are.
    """
    name, sign, value = text.partition("=")
    inputs = format._parameters
    if name not in inputs:
        names = ", ".join(inputs)
        raise KavelError(f"{text!r} sets no option of {format.attr}; there are {names}")
    setting = inputs[name]
    if not sign:
        raise KavelError(f"--set {text}: a value is missing; {_allowed(format, setting)}")
    if format.is_switch(setting):
        setting.enabled = _chosen(text, value.lower(), list(_SWITCH), _SWITCH.get)
    elif format.is_combobox(setting):
        texts = {item.text.lower(): item.text for item in setting}
        setting.set_selected(_chosen(text, value.lower(), list(texts), texts.get))
    else:
        _set_number(format, setting, text, value)


def _allowed(format: Any, setting: Any) -> str:
    """The values of an option, in words."""
    if format.is_switch(setting):
        return _one_of(_SWITCH)
    if format.is_combobox(setting):
        return _one_of(item.text.lower() for item in setting)
    return f"the value is a number from {setting.minimum:g} to {setting.maximum:g}"


def _one_of(values: Iterable[str]) -> str:
    return f"the value is one of {', '.join(values)}"


def _chosen(text: str, value: str, known: list[str], find: Any) -> Any:
    if value not in known:
        raise KavelError(f"{text!r}: {_one_of(known)}")
    return find(value)


def _set_number(format: Any, setting: Any, text: str, value: str) -> None:
    kind = int if format.is_integer(setting) else float
    low, high = setting.minimum, setting.maximum
    try:
        number = kind(value)
    except ValueError:
        number = kind(high + 1)
    if not low <= number <= high:
        raise KavelError(f"{text!r}: {_allowed(format, setting)}")
    setting.value = number
