"""What a check must come to, as the rows of tables say it."""

from __future__ import annotations

from typing import Any

from kavel.testing import assert_finds, assert_passes


def expect(
    check: Any,
    path: str | None = None,
    *,
    scene: Any,
    values: Any = None,
    items: Any = None,
    message: str = "",
) -> None:
    """The check finds these items, and says so; with neither it passes."""
    if items is None and not message:
        assert_passes(check, path, scene=scene, parameters=values)
    else:
        told = {"items": items, "message": message or None}
        assert_finds(check, path, scene=scene, parameters=values, **told)
