"""Scenes in memory, as the test kit makes them: the view, edits, shapes, and the operator."""

from __future__ import annotations

from dataclasses import replace
from typing import Any

import numpy as np
import pytest

import core
from kavel.testing import MemoryScene, box, grid, polygons
from kavel.view import EditableScene, Material, Selection, Transform, current

UNIT = np.array([0.0, 0.0, 0.0, 1.0])


def test_a_scene_in_memory() -> None:
    with pytest.raises(LookupError):
        current()
    scene = (
        MemoryScene(file="", unit=0.01, up_axis="z")
        .add("hero/body", box(slots=["cloth"]), translation=(1, 0, 0))
        .add("hero/twin", mesh_of="hero/body", name="body", deformed=True)
        .add("hero/empty")
        .add("rest", points=[(0, 0, 0), (1, 0, 0), (0, 1, 0)], faces=[(0, 1, 2)])
        .add_lods("hero/head", [grid(4, 4), grid()])
        .add("hero/body/socket", translation=(0, 2, 0), scale=(1, 2, 1))
    )
    view: Any = scene
    _: EditableScene = scene  # as mypy is asked to confirm
    assert (view.file, view.is_saved, view.unit, view.up_axis) == ("", False, 0.01, "z")
    lods = ["hero/head/head_LOD0", "hero/head/head_LOD1"]
    expected = ["hero", "hero/body", "hero/body/socket", "hero/twin", "hero/empty", "hero/head"]
    assert view.paths() == [*expected, *lods, "rest"]
    assert [view.type(path) for path in view.paths()] == [
        "transform", "mesh", "locator", "mesh", "locator", "lodGroup", "mesh", "mesh", "mesh"
    ]  # fmt: skip
    assert (view.name("hero/twin"), view.parent("hero/twin")) == ("body", "hero")
    assert view.shares_mesh("hero/body") and not view.shares_mesh("rest")
    assert view.is_deformed("hero/twin") and not view.is_deformed("hero/body")
    assert view.world_matrix("hero/body/socket")[:3, 3].tolist() == [1, 2, 0]
    assert view.mesh("hero/twin") is view.mesh("hero/body")
    assert [slot.name for slot in view.mesh("hero/body").slots] == ["cloth"]
    bound = MemoryScene().add("body", box(), skin="mesh", translation=(1, 0, 0))
    assert bound.is_deformed("body") and bound.skin_role("body") == "mesh"
    assert bound.shown_matrix("body").tolist() == np.eye(4).tolist()
    for refused, message in [
        (lambda: scene.add("rest"), "is there already"),
        (lambda: scene.add("/rest"), "is no path"),
        (lambda: scene.add("a", type="nurbs"), "'nurbs' is not one of the types"),
        (lambda: scene.add("a", box(), mesh_of="rest"), "give a mesh, or"),
        (lambda: scene.add("a", box(), points=[]), "points and a mesh are given"),
        (lambda: scene.add("a", points=[(0, 0, 0)], faces=[(0, 0, 1)]), "corners refer to 1"),
        (lambda: scene.add("a", points=[(0, 0, 0)], faces=[(0, 0)]), "less than 3 corners"),
        (lambda: scene.add("a", rotation=(0, 0, 1)), "a rotation is 4 numbers"),
        (lambda: MemoryScene(up_axis="w"), "the up axis"),
        (lambda: MemoryScene(unit=0), "positive length"),
        (lambda: scene.set_mesh("hero", box()), "has no mesh"),
        (lambda: scene.save(), "no file"),
    ]:
        with pytest.raises(ValueError, match=message):
            refused()
    with pytest.raises(KeyError, match="no object at 'gone'; there are hero, hero/body"):
        view.mesh("gone")


def test_edits_of_a_scene_in_memory() -> None:
    scene = MemoryScene().add("a", box()).add("b", mesh_of="a").add("c/d")
    start, mesh = scene.snapshot(), scene.mesh("a")
    assert mesh is not None
    turned = replace(mesh, corners=mesh.corners.reshape(-1, 4)[:, ::-1].ravel())
    scene.set_mesh("b", replace(turned, slots=[Material("gold")]))
    scene.set_transform("c/d", Transform(np.ones(3), UNIT, np.ones(3)))
    scene.remove("c")
    assert scene.changes() == scene.changes(start) == {
        "a": ["faces", "UV sets", "materials"],
        "b": ["faces", "UV sets", "materials"],
        "c": ["removed"],
        "c/d": ["removed"],
    }  # fmt: skip
    assert not scene.is_saved
    scene.restore(start)
    assert scene.changes() == {} and scene.is_saved and scene.mesh("a") is mesh


def test_the_shapes_have_no_fault() -> None:
    for mesh, closed in ((box(1, 2, 3, centre=(4, 5, 6)), True), (grid(3, 2), False)):
        corners = mesh.points[mesh.corners].reshape(-1, 4, 3)
        middle = mesh.points.mean(axis=0)
        facing = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 1])
        assert mesh.normals is not None
        assert ((facing * mesh.normals[::4]).sum(axis=1) > 0).all()
        assert not closed or ((corners.mean(axis=1) - middle) * facing > -1e-9).all()
        edges = np.stack([mesh.corners, mesh.corners[mesh.next_corners]], axis=1)
        assert len(np.unique(edges, axis=0)) == len(edges)  # neighbours run the same way round
        _, counts = np.unique(np.sort(edges, axis=1), axis=0, return_counts=True)
        assert counts.max() == 2 and bool(counts.min() == 2) is closed
        uvs = mesh.uv_sets["UVMap"]
        assert uvs.min() >= 0 and uvs.max() <= 1 and len(np.unique(uvs, axis=0)) > 11
    mixed = polygons(np.eye(4)[:, :3], [(0, 1, 2, 3), (0, 1, 2)], uv_sets={"m": np.zeros((7, 2))})
    assert mixed.face_sizes.tolist() == [4, 3]


def test_the_core_works_on_a_scene_in_memory(tmp_path: Any) -> None:
    scene = MemoryScene(file=str(tmp_path / "a")).add("hero/body", box()).add("other")
    calls: list[str] = []
    scene.register_scene_opened_callback(lambda: calls.append("opened"))
    scene.register_shutdown_callback(lambda: calls.append("shut"))
    scene.announce_opened()
    scene.announce_shutdown()
    scene.delete_callbacks()
    scene.announce_opened()
    assert calls == ["opened", "shut"]
    scene.select("hero/body", "gone")
    assert scene.get_selection() == ["hero/body"] and scene.get_selection_roots() == ["hero"]
    with scene.selection_manager():
        scene.select([Selection("other", "faces", np.array([0]))])
        assert scene.get_selection() == ["other"] and len(scene.selections) == 1
    assert scene.get_selection() == ["hero/body"] and scene.selections == []
    assert (scene.get_type("gone"), scene.get_parent("gone"), scene.get_children("gone")) == (
        "",
        None,
        (),
    )
    virtual = core.Scene._Virtual(scene)
    virtual.upload(["hero", "other"])
    assert virtual.get_type("hero/body") == "mesh" and virtual.object_exists("other")
