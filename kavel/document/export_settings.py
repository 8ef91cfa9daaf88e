"""The export settings of a record."""

from __future__ import annotations

from dataclasses import fields
from typing import Any

from kavel.document.problems import Findings
from kavel.document.reading import join, kind_of
from kavel.gltf.exporting.settings import FORMATS, Settings
from kavel.hints import meant

FLAGS = ("version_control", "triangulate", "automatic_uv", "reset_xforms")
#: The target whose formats are those of this program; other applications bring their own.
_OWN_TARGET = "standalone"
_OPTIONS = tuple(item.name for item in fields(Settings))


def check_export(export: dict[str, Any], path: str, target: Any, findings: Findings) -> None:
    """Flags and options; that both are objects was checked before."""
    flags, options = export.get("flags", {}), export.get("options", {})
    if isinstance(flags, dict):
        where = join(path, "flags")
        _check_known(flags, FLAGS, where, "it is lost on saving", findings)
        for key in FLAGS:
            if not isinstance(flags.get(key, False), bool):
                message = f"must be true or false, not {kind_of(flags[key])}"
                findings.error(message, join(where, key))
    if isinstance(options, dict):
        _check_options(options, join(path, "options"), target, findings)


def _check_options(options: dict[str, Any], path: str, target: Any, findings: Findings) -> None:
    effect = "it has no effect"
    _check_known(options, ("formats", "selected"), path, effect, findings)
    if target != _OWN_TARGET:
        return
    selected = options.get("selected")
    if selected and selected not in FORMATS:
        message = f'"{selected}" is not one of the formats {", ".join(FORMATS)}'
        findings.warning(message, join(path, "selected"))
    formats = options.get("formats")
    if not isinstance(formats, dict):
        return
    where = join(path, "formats")
    for key, values in formats.items():
        if key not in FORMATS:
            message = f"is not one of the formats {', '.join(FORMATS)}; {effect}"
            findings.warning(message, join(where, key))
        elif isinstance(values, dict):
            _check_known(values, _OPTIONS, join(where, key), effect, findings)


def _check_known(
    owner: dict[str, Any], known: tuple[str, ...], path: str, effect: str, findings: Findings
) -> None:
    for key in owner:
        if key not in known:
            message = f"is no known key; {effect}{meant(key, known)}"
            findings.warning(message, join(path, key))
