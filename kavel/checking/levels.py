"""Levels of detail: below an object, or beside each other at the top of the scene."""

from __future__ import annotations

import re
from typing import Any

import core
from kavel.checking.geometry.bounds import below
from kavel.checking.reading import shows_faces
from kavel.view import Mesh, Scene


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
    numbers has them as its levels in their order. Children of a level that bear its own number are
    no levels but its parts.

    Errors: ValueError for an expression whose first group is not a number.
    """
    shown = shown_children(scene, path)
    found = _by_number(scene, shown, level)
    by_order = not found and scene.lods_by_order
    if by_order and scene.type(path) == core.Constants.Scene.Type.LodGroup:
        return {number: [child] for number, child in enumerate(shown)}
    own = level.search(scene.name(path)) if len(found) == 1 else None
    return {} if own is not None and _number(own) in found else found


def top_step(scene: Scene, path: str, level: re.Pattern[str]) -> dict[int, list[str]]:
    """Like `levels`, for levels that no group holds: the level that `path` is at the top of the
    scene, after the next finer one of its asset there.

    Empty for an object below another one, for what shows nothing or is no level, and for the only
    level of its asset, which may well be a file of its own. Errors: as for `levels`.
    """
    stem = None if scene.parent(path) is not None else _stem(scene, path, level)
    if stem is None:
        return {}
    tops = [top for top in scene.paths() if scene.parent(top) is None]
    asset = [top for top in tops if _stem(scene, top, level) == stem]
    found = _by_number(scene, [top for top in asset if shows_faces(scene, top)], level)
    own = [number for number, paths in found.items() if path in paths]
    if not own or len(found) == 1:
        return {}
    upto = [number for number in found if number <= own[0]]
    return {number: found[number] for number in upto[-2:]}


def _by_number(scene: Scene, paths: list[str], level: re.Pattern[str]) -> dict[int, list[str]]:
    if not level.groups:
        raise ValueError(f"{level.pattern!r} has no group that holds the number of the level")
    found: dict[int, list[str]] = {}
    for path in paths:
        match = level.search(scene.name(path))
        if match is not None:
            found.setdefault(_number(match), []).append(path)
    return dict(sorted(found.items()))


def _stem(scene: Scene, path: str, level: re.Pattern[str]) -> str | None:
    """The name that the levels of an asset share, capitals like small letters; none for an object
    that is no level by its name."""
    name = scene.name(path)
    match = level.search(name)
    return None if match is None else (name[: match.start()] + name[match.end() :]).casefold()


def chains(scene: Scene, path: str, level: re.Pattern[str]) -> dict[str, dict[int, list[str]]]:
    """`levels` of each asset below `path`, by the name that its levels share. Capitals are like
    small letters."""
    result: dict[str, dict[int, list[str]]] = {}
    for number, paths in levels(scene, path, level).items():
        for child in paths:
            stem = _stem(scene, child, level)
            asset = scene.name(child).casefold() if stem is None else stem
            result.setdefault(asset, {}).setdefault(number, []).append(child)
    return result


def _number(match: re.Match[str]) -> int:
    try:
        return int(match[1])
    except (TypeError, ValueError):
        text = f"{match.re.pattern!r} finds {match[1]!r} for the number of a level"
        raise ValueError(text) from None


def shown_children(scene: Scene, path: str) -> list[str]:
    """The children that have faces, themselves or below."""
    return [child for child in scene.children(path) if shows_faces(scene, child)]


def triangle_count(scene: Scene, path: str) -> int:
    """The triangles of an object and all below it."""
    meshes = (scene.mesh(item) for item in below(scene, path))
    return sum(triangles_of(mesh) for mesh in meshes if mesh is not None)


def triangles_of(mesh: Mesh) -> int:
    return len(mesh.corners) - 2 * mesh.face_count
