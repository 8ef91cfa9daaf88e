"""The checks of the scene as a whole, of objects, of levels of detail and of a project's limits."""

from __future__ import annotations

from dataclasses import replace
from typing import Any

import numpy as np
import pytest
from verdicts import expect

from kavel.checks.kavel_lod import LodNames, LodNumbering, LodTriangles
from kavel.checks.kavel_material import DefaultMaterial, TooManyMaterials
from kavel.checks.kavel_project import BoundingSize, ForbiddenNames, TextureBudget, TriangleBudget
from kavel.checks.kavel_scene import SceneFile, SceneUnit, SceneUpAxis
from kavel.testing import MemoryScene, assert_finds, assert_passes, box, grid, run, select
from kavel.view import Image, Material

FILE = "/project/scene.mem"


@pytest.mark.parametrize(
    ("check", "scene", "values", "message"),
    [
        (SceneFile, {}, {}, ""),
        (SceneFile, {"file": ""}, {}, "never been saved"),
        (SceneFile, {"file": "/a/Untitled 2.blend"}, {}, '"Untitled 2" does not follow'),
        (SceneFile, {"file": "/a/newspaper.blend"}, {}, ""),
        (SceneFile, {"is_saved": False}, {}, "changes that are not saved"),
        (SceneFile, {"is_saved": False}, {"changes": False}, ""),
        (SceneFile, {}, {"file_name": r"[a-z]+_v\d+"}, "convention"),
        (SceneFile, {"file": "/a/Hero_v12.ma"}, {"file_name": r"[a-z]+_v\d+"}, ""),
        (SceneUnit, {}, {}, ""),
        (SceneUnit, {"unit": 0.01}, {}, "is centimetre, not metre"),
        (SceneUnit, {"unit": 0.3}, {"unit": "foot"}, "is 0.3 metres, not foot"),
        (SceneUnit, {"unit": 0.3048000001}, {"unit": "foot"}, ""),
        (SceneUpAxis, {}, {}, ""),
        (SceneUpAxis, {"up_axis": "z"}, {}, "Z points up, not Y"),
        (SceneUpAxis, {"up_axis": "z"}, {"axis": "z"}, ""),
    ],
)
def test_scene(check: Any, scene: Any, values: Any, message: str) -> None:
    expect(check, scene=MemoryScene(**scene), values=values, message=message)


def lods(*sides: int, pattern: str = "{name}_LOD{level}") -> MemoryScene:
    """A LOD group with a sheet of side * side quads for each level."""
    return MemoryScene().add_lods("head", [grid(side, side) for side in sides], pattern)


def tops(**sides: int) -> MemoryScene:
    """Sheets of side * side quads by name with no parent; asked is the last one."""
    scene = MemoryScene()
    for name, side in reversed(sides.items()):
        scene.add(name, grid(side, side))
    return scene


def group(*names: str) -> MemoryScene:
    """A plain group with one sheet of each name, each with a quarter of the quads."""
    scene = MemoryScene().add("body")
    for level, name in enumerate(names):
        side = 2 ** (len(names) - level)
        scene.add(f"body/{name}", grid(side, side))
    return scene


def level_of_parts() -> MemoryScene:
    scene = MemoryScene().add("hero_LOD1/body_LOD1", grid(4, 4)).add("hero_LOD1/hat_lod1", grid())
    return scene.add("hero_LOD0/body_LOD0", grid(4, 4))


def assets(**sides: int) -> MemoryScene:
    """A group with a sheet of side * side quads by name."""
    scene = MemoryScene().add("g")
    for name, side in sides.items():
        scene.add(f"g/{name}", grid(side, side))
    return scene


@pytest.mark.parametrize(
    ("check", "scene", "values", "items"),
    [
        (LodTriangles, lods(8, 4, 2), {}, None),
        (LodTriangles, lods(8, 4, 4, 8), {}, ["head/head_LOD2", "head/head_LOD3"]),
        (LodTriangles, lods(8, 4), {"share": 0.2}, ["head/head_LOD1"]),
        (LodTriangles, lods(8, 4), {"share": 0.25}, None),
        # Without numbers in the names, the order in the group counts.
        (LodTriangles, lods(4, 8, pattern="{level} {name}"), {}, ["head/1 head"]),
        # A level may consist of several objects.
        (LodTriangles, group("a_LOD0", "b_LOD0", "a_LOD1", "b_LOD1"), {}, None),
        (LodTriangles, group("b_lod1", "b_lod0"), {}, ["body/b_lod1"]),
        (LodTriangles, group("hat", "coat"), {}, None),
        (LodNumbering, lods(4, 3, 2), {}, None),
        (LodNumbering, group("a_LOD0", "a_LOD3"), {}, [1, 2]),
        (LodNumbering, group("a_LOD1", "a_LOD2"), {}, [0]),
        (LodNumbering, group("a_LOD1", "a_LOD2"), {"first": 1}, None),
        (LodNumbering, group("a_LOD0", "a_LOD1"), {"first": 1}, [0]),
        (LodNumbering, group("hat", "coat"), {}, None),
        (LodNumbering, lods(3, 2, pattern="{level} {name}"), {"first": 1}, None),
        # Several assets in one group: what one of them saves must not hide another.
        (LodTriangles, assets(A_LOD0=8, A_LOD1=4, A_LOD2=2, b_LOD0=2, B_LOD2=2), {}, ["g/B_LOD2"]),
        (LodNumbering, assets(A_LOD0=8, A_LOD1=4, A_LOD2=2, b_LOD0=2, B_LOD2=2), {}, [1]),
        (LodNumbering, assets(A_LOD0=8, B_LOD0=8, A_LOD1=4, all_LOD2=2), {}, None),
        # Levels that no group holds are judged one by one, against the next finer one.
        (LodTriangles, tops(A_LOD0=8, A_LOD1=4, a_LOD2=4), {}, ["a_LOD2"]),
        (LodTriangles, tops(A_LOD0=8, A_LOD1=8, A_LOD2=4), {}, None),
        (LodTriangles, tops(A_LOD0=2, B_LOD1=8), {}, None),
        (LodNumbering, tops(A_LOD0=8, A_LOD3=4, A_LOD4=2), {}, None),
        (LodNumbering, tops(A_LOD0=8, A_LOD3=4), {}, [1, 2]),
        (LodNumbering, tops(A_LOD2=2, A_LOD1=8), {}, [0]),
        (LodNumbering, tops(A_LOD1=4, A_LOD0=8), {"first": 1}, [0]),
        (LodNumbering, tops(B_LOD0=8, A_LOD1=4), {}, None),
        (LodNames, tops(a_LOD0=4, hat=2), {}, None),
        (LodNames, tops(a_LOD0=4, **{"a-lod1": 2}), {}, ["a-lod1"]),
        # What a level consists of bears its number, and is no chain by itself.
        (LodNumbering, level_of_parts(), {}, None),
        (LodTriangles, level_of_parts(), {}, ["hero_LOD1"]),
        (LodNames, assets(A_LOD0=2, UCX_A_01=1), {}, None),
        (LodNames, lods(4, 2), {}, None),
        (LodNames, group("a_LOD0", "a-lod1", "hat"), {}, ["body/a-lod1", "body/hat"]),
        (LodNames, group("a_LOD0").add("body/bones"), {}, None),
        (LodNames, group("hat", "coat"), {}, None),
        (LodNames, group("a.1"), {"level": r"\.(\d)$", "name": r"a\.\d"}, None),
    ],
)
def test_levels_of_detail(check: Any, scene: Any, values: Any, items: Any) -> None:
    expect(check, scene.paths()[0], scene=scene, values=values, items=items)


@pytest.mark.parametrize("level", ["lod", "lod(.+)$", "lod(\\d+"])
def test_a_bad_level_expression_is_named(level: str) -> None:
    scene = group("a_lodx")
    outcome = assert_finds(LodNumbering, "body", scene=scene, status="error", level=level)
    assert repr(level) in outcome.errors


def test_a_huge_level_number_does_not_list_millions() -> None:
    outcome = assert_finds(LodNumbering, "body", scene=group("a_LOD0", "a_LOD20240101"), count=99)
    assert len(outcome.message) < 100


WOOD = Material("wood", {"base color": Image("wood.png", 1000, 1000), "normal": Image("n", 10, 10)})
OAK = Material("oak", {"base color": Image("wood.png", 1000, 1000)})


def crowd() -> MemoryScene:
    scene = MemoryScene().add("a", grid(2, 2, slots=[WOOD])).add("b", box(slots=[OAK]))
    return scene.add("c", mesh_of="b", translation=(5, 0, 0), scale=(2, 3, 4))


@pytest.mark.parametrize(
    ("check", "path", "values", "items", "message"),
    [
        (TriangleBudget, None, {"scene": 32, "object": 12}, None, ""),
        (TriangleBudget, None, {"scene": 31}, [FILE], "The scene has 32 triangles, allowed are 31"),
        (TriangleBudget, None, {"object": 10}, ["b", "c"], "2 objects with more than 10 triangles"),
        (TriangleBudget, None, {"scene": 8, "object": 8}, ["b", "c"], "the scene has 32"),
        (TextureBudget, None, {"count": 2, "megapixels": 2}, None, ""),
        (TextureBudget, None, {"count": 1}, ["wood.png", "n"], "2 textures, allowed are 1"),
        (TextureBudget, None, {"megapixels": 1}, ["wood.png", "n"], "1.0 million pixels"),
        (ForbiddenNames, "a", {}, None, ""),
        (ForbiddenNames, "a", {"parts": ["b", "A"]}, ["A"], 'The name "a" contains "A"'),
        (ForbiddenNames, "a", {"parts": ["A"], "ignore_case": False}, None, ""),
        (ForbiddenNames, "a", {"parts": [""]}, None, ""),
        (BoundingSize, "c", {"smallest": 4, "largest": 4}, None, ""),
        (BoundingSize, "c", {"largest": 3.9}, ["c"], "is 4 m large, at most 3.9 m"),
        (BoundingSize, "b", {"smallest": 1.1}, ["b"], "is 1 m large, at least 1.1 m"),
    ],
)
def test_project(check: Any, path: Any, values: Any, items: Any, message: str) -> None:
    expect(check, path, scene=crowd(), values=values, items=items, message=message)


@pytest.mark.parametrize(
    ("name", "found"),
    [
        ("Temple", []),
        ("contest_flag", []),
        ("greatest", []),
        ("temp", ["temp"]),
        ("box_TEMP2", ["temp"]),
        ("tempBox", ["temp"]),
        ("boxTemp", ["temp"]),
        ("template_test", ["test"]),
    ],
)
def test_forbidden_names_are_whole_words(name: str, found: list[str]) -> None:
    scene = MemoryScene().add(name)
    expect(ForbiddenNames, scene=scene, items=found or None)
    if not found:
        whole = {"parts": ["temp", "test"], "whole_words": False}
        assert_finds(ForbiddenNames, scene=scene, parameters=whole)


def test_textures_and_materials_without_names_are_told_apart() -> None:
    slots = [Material("", {"base color": Image("image", 8, 8, handle=n)}, n) for n in range(6)]
    mesh = replace(box(slots=slots), materials=np.arange(6))
    scene = MemoryScene().add("a", mesh).add("b", mesh)
    outcome = run(TextureBudget, scene=scene, parameters={"count": 5})
    assert outcome.message.startswith("6 textures, allowed are 5")
    assert_finds(TooManyMaterials, "a", scene=scene, message="uses 6 materials, allowed are 4")
    assert_finds(DefaultMaterial, "a", scene=scene, items=["unnamed"])


def test_sizes_include_what_is_below_and_leave_out_what_is_no_number() -> None:
    scene = MemoryScene().add("top", translation=(100, 0, 0)).add("top/a", box())
    scene.add("top/b", box(), translation=(9, 0, 0)).add("top/c")
    scene.add("top/d", points=[(np.nan, 0, 0), (np.inf, 0, 0), (0, 0, 0)], faces=[(0, 1, 2)])
    assert_passes(BoundingSize, "top", scene=scene, smallest=10, largest=10)
    assert_passes(BoundingSize, "top/c", scene=scene, smallest=10)


def test_a_scene_wide_check_selects_the_objects() -> None:
    scene = crowd()
    outcome = assert_finds(TriangleBudget, scene=scene, object=10)
    assert outcome.selectable
    select(outcome)
    assert [selection.path for selection in scene.selections] == ["b", "c"]
