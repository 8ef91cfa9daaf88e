"""What an export does to placements and geometry, measured by a reader that is not ours."""

from __future__ import annotations

from dataclasses import replace
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
import trimesh
from conftest import node
from exported import document, export, same_triangles, triangles, unreachable
from geometry import CORNERS, QUAD, Scene

from kavel.gltf.exporting.geometry import box_uvs
from kavel.gltf.operator import GltfOperator

Writer = Callable[[str, Any], str]
SQUARE = np.array(QUAD, float)
UP = [(0.0, 0.0, 1.0)] * 4
TANGENT = [(1.0, 0.0, 0.0, 1.0)] * 4
TURN = [0, 0, 0.70710678118654752, 0.70710678118654752]  # by 90 degrees around z
MIRROR = {"translation": [1, 2, 3], "rotation": TURN, "scale": [-2, 1, 3]}


def part(scene: Scene, **more: Any) -> Any:
    return scene.primitive(SQUARE, CORNERS, NORMAL=UP, TANGENT=TANGENT, **more)


def family(**placed: Any) -> Scene:
    """A grandparent, a parent, and a mesh below them with a child of its own."""
    scene = Scene()
    scene.add(part(scene), name="body", **placed)
    scene.document["nodes"] += [
        {"name": "parent", "children": [0], "translation": [0, 5, 0], "rotation": TURN},
        {"name": "top", "children": [1], "scale": [2, 2, 2]},
        {"name": "socket", "translation": [0, 0, 1]},
    ]
    scene.document["nodes"][0]["children"] = [3]
    scene.document["scenes"][0]["nodes"] = [2]
    return scene


def places(path: Any) -> dict[str, Any]:
    """(4, 4) where each object stands in the world, by its name."""
    graph = trimesh.load_scene(str(path), process=False).graph
    return {name: graph[name][0] for name in graph.nodes}


@pytest.mark.parametrize(
    ("parents", "names"),
    [("Bake", ["body", "socket"]), ("Keep", ["body", "parent", "top", "socket"])],
)
def test_what_stands_below_others_stays_in_its_place(
    write: Writer, tmp_path: Path, parents: str, names: list[str]
) -> None:
    source, target = write("s.glb", family(**MIRROR).glb()), tmp_path / "t.glb"
    export(source, target, "/top/parent/body", args={"parents": parents})
    assert [item["name"] for item in document(target)["nodes"]] == names
    assert same_triangles(source, target)
    before, after = places(source), places(target)
    assert np.allclose(before["socket"], after["socket"])


@pytest.mark.parametrize("parents", ["Bake", "Keep"])
def test_up_axis_and_scale(write: Writer, tmp_path: Path, parents: str) -> None:
    source, target = write("s.glb", family(**MIRROR).glb()), tmp_path / "t.glb"
    args = {"parents": parents, "up_axis": "Z", "scale": 0.5}
    export(source, target, "/top/parent/body", args=args)
    x, y, z = np.moveaxis(triangles(source)["body"], -1, 0)
    assert np.allclose(triangles(target)["body"], np.stack([x, -z, y], axis=-1) / 2)
    copy = tmp_path / "reset.glb"
    export(source, copy, "/top/parent/body", args=args, reset_xforms=True)
    assert same_triangles(target, copy) and np.allclose(places(copy)["body"], np.eye(4))


def test_an_animated_object_keeps_its_motion(write: Writer, tmp_path: Path) -> None:
    scene = family(translation=[1, 0, 0])
    times, values = scene.accessor([0.0, 1.0]), scene.accessor([(0, 0, 0), (4, 0, 0)])
    channel = {"sampler": 0, "target": {"node": 0, "path": "translation"}}
    sampler = {"input": times, "output": values}
    scene.document["animations"] = [{"channels": [channel], "samplers": [sampler]}]
    source, target = write("s.glb", scene.glb()), tmp_path / "t.glb"
    written = export(source, target, "/top/parent/body", reset_xforms=True)
    content = document(target)
    (holder,) = (item for item in content["nodes"] if item["name"] == "body_placement")
    assert content["nodes"][content["animations"][0]["channels"][0]["target"]["node"]] == {
        **scene.document["nodes"][0],
        "children": [1],
    }
    assert holder["children"] == [0] and same_triangles(source, target)
    assert any("animated" in note for note in written.notes)


def test_a_place_that_would_be_sheared_keeps_the_parents(write: Writer, tmp_path: Path) -> None:
    scene = family(rotation=[0, 0, 0.38268343, 0.92387953])
    scene.document["nodes"][2]["scale"] = [3, 1, 1]
    source, target = write("s.glb", scene.glb()), tmp_path / "t.glb"
    (note,) = export(source, target, "/top/parent/body").notes
    assert "sheared" in note and same_triangles(source, target)
    assert not any("matrix" in item for item in document(target)["nodes"])
    # The socket would be sheared, so what is above it cannot be reset; the mesh still is shown.
    scene.document["nodes"][3]["rotation"] = [0, 0, 0.19509032, 0.98078528]
    source = write("s.glb", scene.glb())
    notes = export(source, target, reset_xforms=True).notes
    assert any("socket would be sheared" in note for note in notes)
    assert same_triangles(source, target)
    assert np.allclose(places(source)["socket"], places(target)["socket"])


def test_reset_transforms_leave_everything_where_it_is(write: Writer, tmp_path: Path) -> None:
    scene = family(**MIRROR)
    scene.document["nodes"].append({"name": "twin", "mesh": 0, "translation": [9, 0, 0]})
    scene.document["nodes"][2]["children"].append(4)
    source, target = write("s.glb", scene.glb()), tmp_path / "t.glb"
    export(source, target, reset_xforms=True)
    assert same_triangles(source, target) and unreachable(target) == []
    before, after = places(source), places(target)
    assert np.allclose(before["socket"], after["socket"])
    for name in ("top", "parent", "body", "twin"):
        assert np.array_equal(after[name], np.eye(4)), name
    assert len(document(target)["meshes"]) == 2, "they stood differently"
    export(source, target, reset_xforms=True, args={"keep_positions": True})
    assert same_triangles(source, target)
    after = places(target)
    for name in ("top", "parent", "body", "twin"):
        assert np.allclose(after[name][:3, :3], np.eye(3)), name
        assert np.allclose(after[name][:3, 3], before[name][:3, 3]), name
    assert np.allclose(before["socket"], after["socket"])


def test_directions_and_blend_shapes_are_reset_too(write: Writer, tmp_path: Path) -> None:
    scene = Scene()
    shape = part(scene)
    shape["targets"] = [
        {"POSITION": scene.accessor([(0, 0, 1)] * 4), "NORMAL": scene.accessor([(1, 0, 0)] * 4)}
    ]
    scene.add(shape, name="body", **MIRROR)
    target = tmp_path / "t.glb"
    export(write("s.glb", scene.glb()), target, reset_xforms=True)
    content, data = document(target), target.read_bytes()
    start = data.index(b"BIN\0") + 4

    def values(index: int, width: int) -> list[Any]:
        view = content["bufferViews"][content["accessors"][index]["bufferView"]]
        found = np.frombuffer(data, "<f4", 4 * width, start + view["byteOffset"])
        return np.round(found.reshape(4, width)[0], 5).tolist()

    primitive = content["meshes"][0]["primitives"][0]
    assert values(primitive["attributes"]["NORMAL"], 3) == [0, 0, 1]
    # Mirrored along x, then turned by 90 degrees: the tangent points down, the bitangent to -x,
    # which is minus what follows from the normal and the tangent.
    assert values(primitive["attributes"]["TANGENT"], 4) == [0, -1, 0, -1]
    assert values(primitive["targets"][0]["POSITION"], 3) == [0, 0, 3]
    # A length of 1/3 became 1, so the offset of the normal, 1/2 by then, grew as much.
    assert values(primitive["targets"][0]["NORMAL"], 3) == [0, -1.5, 0]


@pytest.mark.parametrize(("mode", "order"), [(5, [0, 1, 3, 2]), (6, [0, 1, 2, 3]), (6, None)])
def test_triangulating(write: Writer, tmp_path: Path, mode: int, order: Any) -> None:
    scene = Scene()
    drawn = {**scene.primitive(SQUARE, order), "mode": mode}
    scene.add(drawn, {**scene.primitive(SQUARE), "mode": 1}, name="body")
    source, target = write("s.glb", scene.glb()), tmp_path / "t.glb"
    export(source, target, triangulate=True)
    faces, lines = document(target)["meshes"][0]["primitives"]
    assert "mode" not in faces and lines["mode"] == 1
    shown = np.concatenate(list(triangles(target).values()))
    normals = np.cross(shown[:, 1] - shown[:, 0], shown[:, 2] - shown[:, 0])
    assert np.allclose(normals, (0, 0, 1)), "two triangles of area 1/2 that face to z"
    assert {tuple(point) for point in shown.reshape(-1, 3)} == {tuple(point) for point in SQUARE}
    export(source, tmp_path / "kept.glb")
    assert document(tmp_path / "kept.glb")["meshes"][0]["primitives"][0]["mode"] == mode


def test_made_texture_coordinates(write: Writer, tmp_path: Path) -> None:
    box = trimesh.creation.box((4, 2, 1))
    scene = Scene()
    joints = {"JOINTS_0": [(index, 0, 0, 0) for index in range(8)]}
    scene.document["materials"] = [{}]
    plain = scene.primitive(box.vertices, box.faces.ravel(), **joints)
    scene.add({**plain, "material": 0}, name="bare")
    mapped = scene.primitive(SQUARE, CORNERS, TEXCOORD_0=SQUARE[:, :2] * 7)
    scene.add({**mapped, "material": 0}, name="mapped")
    source, target = write("s.glb", scene.glb()), tmp_path / "t.glb"
    export(source, target, automatic_uv=True)
    assert same_triangles(source, target)
    shapes = trimesh.load_scene(str(target), process=False).geometry.values()
    bare, kept = (shape.visual.uv for shape in shapes)
    assert kept.max() == 7
    assert len(bare) == 24, "a corner of a box belongs to three views"
    (shape, _) = shapes
    sides = bare[shape.faces]
    assert sides.min() >= 0 and sides.max() <= 1
    edges = sides[:, 1:] - sides[:, :1]
    areas = np.abs(edges[:, 0, 0] * edges[:, 1, 1] - edges[:, 0, 1] * edges[:, 1, 0])
    # One scale for all sides: 4 metres are 0.98 of a third.
    assert np.allclose(areas, shape.area_faces * 2 * (0.98 / 3 / 4) ** 2)
    cells = {tuple(cell) for cell in np.floor(sides.mean(axis=1) * 3).astype(int)}
    assert len(cells) == 6, "each side has a place of its own"


def test_texture_coordinates_are_not_mirrored() -> None:
    for sign in (1, -1):
        box = trimesh.creation.box((1, 1, 1))
        points = box.vertices + 0.5
        faces = box.faces[:, ::sign]
        sources, corners, uvs = box_uvs(points, faces)
        assert np.array_equal(sources[corners], faces)
        a, b, c = (uvs[corners[:, number]] * (1, -1) for number in range(3))
        turned = (b - a)[:, 0] * (c - a)[:, 1] - (b - a)[:, 1] * (c - a)[:, 0]
        assert (turned > 0).all(), "a face runs the same way in the picture as seen from outside"


def skinned(outside: bool) -> Scene:
    """A rig with a body, and a skeleton that stands in another top object when `outside`."""
    scene = Scene()
    body = scene.primitive(
        SQUARE, CORNERS, JOINTS_0=[(0, 1, 0, 0)] * 4, WEIGHTS_0=[(0.5, 0.5, 0, 0)] * 4
    )
    scene.document["skins"] = [{"joints": [3, 4], "skeleton": 1}]
    scene.add(body, name="body", skin=0, scale=[2, 2, 2])
    tops = [node(name) for name in ("Armature", "hips", "left", "right", "hat")]
    scene.document["nodes"] += [{"name": item.name} for item in tops]
    nodes = scene.document["nodes"]
    nodes[1].update(children=[2], scale=[3, 3, 3])
    nodes[2]["children"] = [3, 4]
    nodes[4]["children"] = [5]
    nodes[5]["mesh"] = 0
    nodes.append({"name": "Rig", "children": [0] if outside else [0, 1]})
    scene.document["scenes"][0]["nodes"] = [6, 1] if outside else [6]
    return scene


def test_joints_come_along_with_their_skin(write: Writer, tmp_path: Path) -> None:
    source, target = write("s.glb", skinned(outside=True).glb()), tmp_path / "t.glb"
    export(source, target, "/Rig", args={"scale": 2.0})
    content = document(target)
    assert [item["name"] for item in content["nodes"]] == ["body", "hips", "left", "right", "Rig"]
    assert unreachable(target) == [] and content["skins"] == [{"joints": [2, 3]}]
    before, after = places(source), places(target)
    for name in ("left", "right"):
        assert np.allclose(after[name], np.diag([2, 2, 2, 1]) @ before[name])
    assert [content["nodes"][top]["name"] for top in content["scenes"][0]["nodes"]] == [
        "Rig",
        "hips",
    ]


def test_skins_and_joints_are_not_reset(write: Writer, tmp_path: Path) -> None:
    source, target = write("s.glb", skinned(outside=False).glb()), tmp_path / "t.glb"
    notes = export(source, target, reset_xforms=True).notes
    assert [note.partition(" (")[2] for note in notes] == ["2 of them)", "1 of them)"]
    before, after = places(source), places(target)
    assert all(np.allclose(before[name], after[name]) for name in ("body", "Armature", "left"))
    assert same_triangles(source, target)


def test_levels_of_detail(write: Writer, tmp_path: Path) -> None:
    scene = Scene()
    for name in ("fine", "coarse", "other"):
        scene.add(part(scene), name=name, scale=[2, 2, 2])
    scene.document["nodes"][0].update(
        extensions={"MSFT_lod": {"ids": [1]}}, extras={"MSFT_screencoverage": [1, 0], "x": 1}
    )
    scene.document["scenes"][0]["nodes"] = [0, 2]
    source, target = write("s.glb", scene.glb()), tmp_path / "t.glb"
    export(source, target, "/fine", reset_xforms=True, args={"extras": False, "scale": 3.0})
    content = document(target)
    assert content["scenes"] == [{"nodes": [0]}]
    fine, coarse = content["nodes"]
    assert fine["extensions"] == {"MSFT_lod": {"ids": [1]}}
    assert fine["extras"] == {"MSFT_screencoverage": [1, 0]}
    # The hidden level takes the place of the other, so it is made as large.
    assert "scale" not in fine and "scale" not in coarse
    for mesh in content["meshes"]:
        position = mesh["primitives"][0]["attributes"]["POSITION"]
        assert content["accessors"][position]["max"] == [6, 6, 0]
    assert triangles(target)["fine"].max() == 6


def test_changes_in_memory_are_exported(write: Writer, tmp_path: Path) -> None:
    source, target = write("s.glb", family().glb()), tmp_path / "t.glb"
    before = Path(source).read_bytes()
    operator = GltfOperator()
    operator.open(source)
    path, view = "/top/parent/body", operator.view
    mesh = view.mesh(path)
    assert mesh is not None
    view.set_mesh(path, replace(mesh, points=mesh.points * (1, 1, 0) + (0, 0, 7)))
    view.set_transform(path, replace(view.transform(path), scale=np.full(3, 2.0)))
    export(source, target, operator=operator, reset_xforms=True)
    assert np.allclose(triangles(target)["body"][..., 2], 7 * 2 * 2)
    assert Path(source).read_bytes() == before and not view.is_saved
    assert unreachable(target) == []
