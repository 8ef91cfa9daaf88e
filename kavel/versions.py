"""Versions of this program and of what it runs on."""

from __future__ import annotations

import platform
from importlib import metadata


def versions() -> dict[str, str]:
    """ "kavel", "core" and "python"; "unknown" for what is not installed."""
    return {"kavel": _kavel(), "core": _core(), "python": platform.python_version()}


def version_line(found: dict[str, str]) -> str:
    return f"kavel {found['kavel']} (core {found['core']}, Python {found['python']})"


def _kavel() -> str:
    try:
        return metadata.version("kavel")
    except metadata.PackageNotFoundError:
        return _core()  # a checkout: both come from one source tree


def _core() -> str:
    try:
        import core
    except ImportError:
        return "unknown"
    return str(getattr(core, "__version__", "unknown"))
