"""The checks of objects."""

from __future__ import annotations

from typing import Any

import numpy as np
import pytest
from verdicts import expect

from kavel.checks.kavel_object import (
    BadScale,
    DefaultNames,
    DuplicateNames,
    EmptyGroup,
    FrozenTransforms,
    PivotPlace,
)
from kavel.testing import (
    MemoryScene,
    assert_finds,
    assert_fix_is_idempotent,
    assert_passes,
    box,
    fix,
    polygons,
    run,
)

ALL: Any = {"translation": True}
TURN = (0.0, 0.0, np.sin(0.3), np.cos(0.3))


def names() -> MemoryScene:
    scene = MemoryScene().add("hero/arm", box()).add("villain/arm", box()).add("villain/Arm", box())
    return (
        scene.add("hero/Cube.001", box())
        .add("hero/pCube12", box())
        .add("hero/hat box", box())
        .add("hero/nameless", name="")
    )


@pytest.mark.parametrize(
    ("check", "path", "values", "items"),
    [
        (DuplicateNames, None, {}, ["hero/arm", "villain/arm"]),
        (DuplicateNames, None, {"ignore_case": True}, ["hero/arm", "villain/arm", "villain/Arm"]),
        (DefaultNames, "hero/arm", {}, None),
        (DefaultNames, "hero/hat box", {}, None),
        (DefaultNames, "hero/Cube.001", {}, ["hero/Cube.001"]),
        (DefaultNames, "hero/pCube12", {}, ["hero/pCube12"]),
        (DefaultNames, "hero/pCube12", {"names": []}, None),
        (DefaultNames, "hero/nameless", {}, ["hero/nameless"]),
        (DefaultNames, "hero/arm", {"names": ["a", "ar."]}, ["hero/arm"]),
    ],
)
def test_names(check: Any, path: Any, values: Any, items: Any) -> None:
    expect(check, path, scene=names(), values=values, items=items)


@pytest.mark.parametrize(
    ("placed", "values", "message"),
    [
        ({"scale": (2, 2, 2)}, {}, ""),
        ({"scale": (1, 1, 1.00001)}, {}, ""),
        ({"scale": (-2, 2, 2)}, {}, "negative: -2, 2, 2"),
        ({"scale": (-2, 2, 2)}, {"negative": False}, ""),
        ({"scale": (1, 2, 3)}, {}, "uneven: 1, 2, 3"),
        ({"scale": (1, 2, 3)}, {"uneven": False}, ""),
        ({"scale": (1, -2, 1)}, {}, "negative and uneven"),
        ({"scale": (0, 0, 0)}, {"uneven": False, "negative": False}, "zero"),
        ({"sheared": True}, {}, "sheared"),
    ],
)
def test_scale(placed: Any, values: Any, message: str) -> None:
    scene = MemoryScene().add("a", box(), **placed)
    expect(BadScale, scene=scene, values=values, message=message)


def test_empty_groups() -> None:
    scene = MemoryScene().add("empty", type="transform").add("full/mesh", box()).add("locator")
    scene.add("nest/inner", type="transform").add("bone", type="transform", deformed=True)
    scene.add("rig/bone", type="transform", deformed=True)
    for path in ("full", "full/mesh", "locator", "bone", "rig"):
        assert_passes(EmptyGroup, path, scene=scene)
    assert_finds(EmptyGroup, "empty", scene=scene, items=["empty"], message="is empty")
    assert_finds(EmptyGroup, "nest", scene=scene, message="nothing but empty groups")
    assert_passes(EmptyGroup, "nest", scene=scene, nested=False)
    scene.add("sockets/left").add("lamps/sun", attached="a light")
    for path in ("sockets", "lamps"):
        assert_passes(EmptyGroup, path, scene=scene)
    assert_finds(EmptyGroup, "sockets", scene=scene, locators=True, message="nothing but empty")
    assert_passes(EmptyGroup, "lamps", scene=scene, locators=True)


@pytest.mark.parametrize(
    ("place", "centre", "moved", "up", "off"),
    [
        ("origin", (3, 0, 0), (0, 0, 0), "y", ""),
        ("origin", (0, 0, 0), (3, 0, 4), "y", "5 m away from the origin"),
        ("centre", (0, 0, 0), (3, 0, 4), "y", ""),
        ("centre", (0, 0.5, 0), (3, 0, 4), "y", "0.5 m away from the centre"),
        ("bottom", (0, 0.5, 0), (3, 0, 4), "y", ""),
        ("bottom", (0, 0, 0.5), (3, 0, 4), "z", ""),
        ("bottom", (0, 0, 0.5), (3, 0, 4), "y", "away from the middle of its underside"),
        ("inside", (0.4, 0.4, -0.4), (3, 0, 4), "y", ""),
        ("inside", (2.5, 0, 0), (3, 0, 4), "y", "2 m away from its box"),
    ],
)
def test_pivot(place: str, centre: Any, moved: Any, up: str, off: str) -> None:
    scene = MemoryScene(up_axis=up).add("a", box(centre=centre), translation=moved)
    expect(PivotPlace, scene=scene, values={"place": place}, message=off)


def test_a_pivot_without_a_box_passes() -> None:
    scene = MemoryScene().add("a", translation=(1, 0, 0))
    assert_passes(PivotPlace, scene=scene, place="centre")


def placed_family(**placed: Any) -> MemoryScene:
    child: Any = {"translation": (1, 2, 3), "rotation": TURN, "scale": (2, 2, 2)}
    scene = MemoryScene().add("top", translation=(7, 7, 7)).add("top/a", box(), **placed)
    return scene.add("top/a/child", box(), **child).add("top/a/child/leaf", translation=(1, 0, 0))


def world(scene: Any) -> Any:
    """Every object's mesh in the world, or the place of one without."""
    found = {}
    for path in scene.paths():
        matrix, mesh = scene.world_matrix(path), scene.mesh(path)
        points = np.zeros((1, 3)) if mesh is None else mesh.points
        found[path] = points @ matrix[:3, :3].T + matrix[:3, 3]
    return found


@pytest.mark.parametrize(
    "placed",
    [
        {"translation": (1, 2, 3)},
        {"rotation": TURN},
        {"scale": (-1, 1, 1)},
        {"scale": (3, 3, 3), "rotation": TURN, "translation": (1, 0, 0)},
        {"scale": (-3, -3, -3), "rotation": TURN},
    ],
)
@pytest.mark.parametrize("values", [ALL, {}, {**ALL, "scale": False}])
def test_freezing_moves_nothing_but_the_pivot(placed: Any, values: Any) -> None:
    scene = placed_family(**placed)
    before = world(scene)
    defaults = {"translation": False, "rotation": True, "scale": True}
    if not any({**defaults, **values}[part] for part in placed):
        assert_passes(FrozenTransforms, "top/a", scene=scene, parameters=values)
        return
    assert_fix_is_idempotent(FrozenTransforms, "top/a", scene=scene, parameters=values)
    after = world(scene)
    for path in ("top/a", "top/a/child", "top/a/child/leaf"):
        assert after[path] == pytest.approx(before[path])
    if values == ALL:
        assert scene.transform("top/a").matrix == pytest.approx(np.eye(4))


@pytest.mark.parametrize(
    ("change", "why"),
    [
        ({"deformed": True, "scale": (2, 2, 2)}, "skin"),
        ({"sheared": True, "scale": (2, 2, 2)}, "shear"),
        ({"scale": (0, 1, 1)}, "zero"),
        ({"scale": (1, 2, 3)}, "would be sheared"),
        ({"scale": (2, 2, 2), "attached": "a camera"}, "holds a camera, which would be left"),
    ],
)
def test_freezing_is_not_offered_where_it_would_harm(change: Any, why: str) -> None:
    scene = placed_family(**change)
    outcome = assert_finds(FrozenTransforms, "top/a", scene=scene, message=why)
    before = scene.snapshot()
    assert not outcome.fixable
    fix(outcome)
    assert not scene.changes(before)


def test_freezing_keeps_shared_meshes_and_animated_children() -> None:
    scene = MemoryScene().add("a", box(), scale=(2, 2, 2)).add("b", mesh_of="a")
    outcome = assert_finds(FrozenTransforms, "a", scene=scene, items=["a"], message="same mesh")
    assert not outcome.fixable
    scene = MemoryScene().add("a", box(), scale=(2, 2, 2)).add("a/low", sheared=True)
    assert not assert_finds(FrozenTransforms, "a", scene=scene, message="low below it").fixable
    scene = MemoryScene().add("a", box(), scale=(2, 2, 2)).add("a/bone", deformed=True)
    assert not assert_finds(FrozenTransforms, "a", scene=scene, message="bone").fixable
    scene = MemoryScene().add("hand/socket", rotation=TURN).add("group", rotation=TURN)
    for path in ("hand/socket", "group"):
        outcome = assert_finds(FrozenTransforms, path, scene=scene, message="no mesh to take it")
        assert not outcome.fixable


def test_freezing_makes_nothing_fail_that_passed() -> None:
    scene = MemoryScene().add("a", translation=(0, 1, 0), rotation=TURN).add("a/b").add("a/own")
    scene.add("a/b/c", box()).add("a/own/mesh", box(), translation=(1, 0, 0), scale=(2, 2, 2))
    before, paths = world(scene), [path for path in scene.paths() if path != "a/own"]
    failed = {path for path in paths if not run(FrozenTransforms, path, scene=scene, **ALL).passed}
    assert failed == {"a", "a/own/mesh"}
    assert_fix_is_idempotent(FrozenTransforms, "a", scene=scene, parameters=ALL)
    for path in paths:
        assert run(FrozenTransforms, path, scene=scene, **ALL).passed is (path != "a/own/mesh")
    after = world(scene)
    for path in ("a/b/c", "a/own/mesh"):
        assert after[path] == pytest.approx(before[path])


class Refusing(MemoryScene):
    """Takes no new mesh for one object."""

    def set_mesh(self, path: str, mesh: Any) -> None:
        if path == "a/low":
            raise ValueError("the mesh is locked")
        super().set_mesh(path, mesh)


def test_a_refused_mesh_leaves_the_others_alone() -> None:
    scene = Refusing().add("a", box(), scale=(2, 2, 2)).add("a/low", box())
    before = scene.snapshot()
    assert "the mesh is locked" in fix(run(FrozenTransforms, "a", scene=scene)).errors
    assert not scene.changes(before)


def test_freezing_a_mirrored_object_keeps_normals_that_were_bent() -> None:
    quad = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0)]
    against = polygons(quad, [(0, 1, 2, 3)], normals=[[(0, 0, -1)] * 4])
    scene = MemoryScene().add("a", against, scale=(-1, 1, 1))
    fix(assert_finds(FrozenTransforms, scene=scene))
    mesh = scene.mesh("a")
    assert mesh is not None and mesh.normals is not None
    assert mesh.normals.tolist() == [[0, 0, -1]] * 4 and mesh.corners.tolist() == [0, 3, 2, 1]


def test_what_is_frozen_passes() -> None:
    scene = placed_family(translation=(0, 1e-6, 0), rotation=(0, 0, 0, -1))
    assert_passes(FrozenTransforms, "top/a", scene=scene, parameters=ALL)
    assert_finds(FrozenTransforms, "top/a", scene=scene, **ALL, tolerance=1e-7, message="moved")


def test_a_fix_asks_again_whether_it_may() -> None:
    scene = MemoryScene().add("a", box(), scale=(2, 2, 2))
    outcome = run(FrozenTransforms, "a", scene=scene)
    assert outcome.fixable
    scene.add("b", mesh_of="a")
    before = scene.snapshot()
    fix(outcome)
    assert not scene.changes(before)
