"""The levels of detail below an object."""

from __future__ import annotations

import re
from typing import Any

import core
from kavel.checking.geometry.bounds import below
from kavel.view import Scene


def level_input() -> Any:
    """The parameter that tells levels by their names."""
    return core.Parameters.RegEx(
        "level",
        r"(?i)[._ -]?lod[._ -]?(\d+)$",
        label="Level",
        help_text="Finds the number of a level in its name, as the first group.",
    )


def levels(scene: Scene, path: str, level: re.Pattern[str]) -> dict[int, list[str]]:
    """The children of `path` by the number of their level, in ascending order. Several objects may
    be of one level; children that show nothing belong to none. A LOD group whose children carry no
    numbers has them as its levels in their order.

    Errors: ValueError for an expression whose first group is not a number.
    """
    if not level.groups:
        raise ValueError(f"{level.pattern!r} has no group that holds the number of the level")
    found: dict[int, list[str]] = {}
    shown = shown_children(scene, path)
    for child in shown:
        match = level.search(scene.name(child))
        if match is not None:
            found.setdefault(_number(match), []).append(child)
    by_order = not found and scene.lods_by_order
    if by_order and scene.type(path) == core.Constants.Scene.Type.LodGroup:
        return {number: [child] for number, child in enumerate(shown)}
    return dict(sorted(found.items()))


def chains(scene: Scene, path: str, level: re.Pattern[str]) -> dict[str, dict[int, list[str]]]:
    """`levels` of each asset below `path`, by the name that its levels share. Capitals are like
    small letters."""
    result: dict[str, dict[int, list[str]]] = {}
    for number, paths in levels(scene, path, level).items():
        for child in paths:
            name = scene.name(child)
            match = level.search(name)
            stem = name if match is None else name[: match.start()] + name[match.end() :]
            result.setdefault(stem.casefold(), {}).setdefault(number, []).append(child)
    return result


def _number(match: re.Match[str]) -> int:
    try:
        return int(match[1])
    except (TypeError, ValueError):
        text = f"{match.re.pattern!r} finds {match[1]!r} for the number of a level"
        raise ValueError(text) from None


def shown_children(scene: Scene, path: str) -> list[str]:
    """The children that have faces, themselves or below."""
    return [child for child in scene.children(path) if triangle_count(scene, child)]


def triangle_count(scene: Scene, path: str) -> int:
    """The triangles of an object and all below it."""
    return sum(own_triangles(scene, item) for item in below(scene, path))


def own_triangles(scene: Scene, path: str) -> int:
    mesh = scene.mesh(path)
    return 0 if mesh is None else len(mesh.corners) - 2 * mesh.face_count
