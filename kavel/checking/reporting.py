"""The words of findings."""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from itertools import islice
from typing import Any

from kavel.view import Scene

SHOWN = 5


def counted(number: int, noun: str) -> str:
    """As in "1 face" and "1,204 faces"."""
    plural = noun[:-1] + "ies" if noun.endswith("y") else noun + "s"
    return f"{number:,} {noun if number == 1 else plural}"


def listing(items: Iterable[Any], total: int | None = None, shown: int = SHOWN) -> str:
    """The first items, and how many more there are: "1, 2, 3 and 14 more".

    `total` is needed when `items` has no length.
    """
    if total is None:
        total = len(items) if isinstance(items, Sequence) else sum(1 for _ in items)
    text = ", ".join(_word(item) for item in islice(items, shown))
    return f"{text} and {total - shown:,} more" if total > shown else text


def _word(item: Any) -> str:
    return "-".join(map(str, item)) if isinstance(item, (tuple, list)) else str(item)


def edit_conflict(scene: Scene, path: str) -> str:
    """Why the points and the placement of an object must stay as they are, or ""."""
    if scene.is_deformed(path):
        return "a skin, a blend shape or an animation depends on the object"
    if scene.shares_mesh(path):
        return "other objects show the same mesh"
    return ""
