"""What checks and fixes take for granted in a file, and what they must not."""

from __future__ import annotations

import json
import os
from collections.abc import Callable
from dataclasses import replace
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from geometry import CORNERS, QUAD, Scene, mesh_of, reachable, taken, view_of

from kavel.checks.kavel_lod import LodNames, LodNumbering, LodTriangles
from kavel.checks.kavel_manifold import OpenBorders
from kavel.checks.kavel_mesh import UnmergedPoints
from kavel.checks.kavel_object import BadScale, EmptyGroup, FrozenTransforms, PivotPlace
from kavel.checks.kavel_project import BoundingSize, TextureBudget, TriangleBudget
from kavel.errors import SceneError
from kavel.gltf.container import SceneFile
from kavel.testing import assert_finds, assert_fix_is_idempotent, assert_passes, fix

Writer = Callable[[str, bytes], str]
TURNED = [0.0, 0.6, 0.0, 0.8]
RED, GREEN = (1, 0, 0, 1), (0, 1, 0, 1)


def colours(file: str) -> list[tuple[float, ...]]:
    """For each corner that the file draws its x, and the red and the green of its colour."""
    drawn = reachable(file)
    return [(p[0], *c[:2]) for p, c in zip(drawn["POSITION"], drawn["COLOR_0"])]


@pytest.mark.parametrize(
    ("fields", "message"),
    [
        ({"camera": 0}, "no mesh|a camera"),
        ({}, "no mesh to take it over"),
        ({"mesh": 0, "camera": 0}, "holds a camera,"),
        ({"mesh": 0, "extensions": {"KHR_lights_punctual": {"light": 0}}}, "holds a light,"),
        ({"mesh": 0, "extensions": {"X_socket": {}}}, "holds the extension X_socket,"),
        ({"mesh": 1}, "holds lines,"),
        ({"mesh": 2}, "holds points,"),
        ({"mesh": 0, "file": {"VRM": {"humanBones": [{"bone": "hips", "node": 0}]}}}, "what VRM"),
        ({"mesh": 0, "file": {"X_springs": [{"bones": [3, 0], "center": -1}]}}, "what X_springs"),
        ({"mesh": 0, "file": {"X_graph": {"target": "/nodes/0/scale"}}}, "what X_graph refers to"),
        ({"mesh": 0, "other": {"MSFT_lod": {"ids": [0]}}}, "what MSFT_lod refers to"),
        ({"mesh": 0, "other": {"KHR_lights_punctual": {"light": 0}}}, ""),
        ({"mesh": 0, "file": {"KHR_lights_punctual": {"lights": [{"intensity": 0}]}}}, ""),
        ({"mesh": 0, "file": {"X_springs": {"node": 1, "names": ["/nodes/10"]}}}, ""),
        ({"mesh": 0, "pointer": "/nodes/0/translation"}, "an animation depends"),
        ({"mesh": 0, "pointer": "/odd/0"}, "an animation depends"),
        ({"mesh": 0, "pointer": None}, "an animation depends"),
        ({"mesh": 0, "pointer": "/materials/0/emissiveFactor"}, ""),
        ({"mesh": 0, "pointer": "/nodes/1/translation"}, ""),
        ({"mesh": 0, "extensions": {"KHR_node_visibility": {"visible": True}}}, ""),
    ],
)
def test_freezing_is_offered_only_for_faces(write: Writer, fields: Any, message: str) -> None:
    scene = Scene(cameras=[{"type": "perspective", "perspective": {"yfov": 1, "znear": 1}}])
    faces = scene.primitive(QUAD, CORNERS)
    lines = {**scene.primitive(QUAD, [0, 1, 1, 2]), "mode": 1}
    dots = {**scene.primitive(QUAD), "mode": 0}
    for primitives in ([faces], [faces, lines], [dots]):
        scene.document["meshes"].append({"primitives": primitives})
    fields = dict(fields)
    scene.document["extensions"] = fields.pop("file", {})
    other = {"extensions": fields.pop("other", {})}
    if "pointer" in fields:
        pointed = {"KHR_animation_pointer": {"pointer": fields.pop("pointer")}}
        channel = {"sampler": 0, "target": {"path": "pointer", "extensions": pointed}}
        scene.document["animations"] = [{"channels": [channel], "samplers": [{}]}]
    scene.node("it", translation=[1, 2, 3], rotation=TURNED, **fields).node("other", **other)
    view = view_of(write("a.glb", scene.glb()))
    options: Any = {"scene": view, "parameters": {"translation": True}}
    if not message:
        assert_fix_is_idempotent(FrozenTransforms, "/it", **options)
        return
    outcome = assert_finds(FrozenTransforms, "/it", **options)
    assert not outcome.fixable
    assert any(part in outcome.message for part in message.split("|"))
    fix(outcome)
    assert view.is_saved


def test_a_group_that_only_an_extension_uses_is_not_empty(write: Writer) -> None:
    scene = Scene().node("car", extensions={"MSFT_lod": {"ids": [1]}})
    scene.node("nothing", children=[3]).node("unused", children=[4])
    scene.document["nodes"] += [{"name": "a"}, {"name": "b"}]
    view = view_of(write("a.glb", scene.glb()))
    assert_passes(EmptyGroup, "/nothing", scene=view, locators=True)
    assert_finds(EmptyGroup, "/unused", scene=view, locators=True)


def doubled(second: Any, **values: Any) -> Scene:
    """Two squares in the same place, the second in another colour."""
    scene = Scene()
    order = [0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7]
    return scene.add(scene.primitive(QUAD * 2, order, COLOR_0=[RED] * 4 + [second] * 4, **values))


def test_of_faces_in_one_place_the_right_one_stays(write: Writer) -> None:
    up, down = [(0, 0, 1)] * 4, [(0, 0, -1)] * 4
    file = write("a.glb", doubled(GREEN, NORMAL=up + down).glb())
    view = view_of(file)
    mesh = mesh_of(view)
    view.set_mesh("/body", taken(mesh, [2, 3]))
    view.save()
    assert {colour[1:] for colour in colours(file)} == {(0.0, 1.0)}
    # Nothing that a check sees tells these apart, and the file does.
    view = view_of(write("b.glb", doubled(GREEN).glb()))
    mesh = mesh_of(view)
    with pytest.raises(ValueError, match="several faces lie in the same place"):
        view.set_mesh("/body", taken(mesh, [2, 3]))
    # Where the file has the same for both, one is as good as the other.
    view = view_of(write("c.glb", doubled(RED).glb()))
    mesh = mesh_of(view)
    view.set_mesh("/body", taken(mesh, [2, 3]))
    assert view.changes() == {"/body": ["faces"]}


def test_faces_that_moved_in_another_order_keep_their_colours(write: Writer) -> None:
    scene = Scene()
    far = [(x + 5, y, z) for x, y, z in QUAD]
    order = [0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7]
    scene.add(scene.primitive([*QUAD, *far], order, COLOR_0=[RED] * 4 + [GREEN] * 4))
    view = view_of(file := write("a.glb", scene.glb()))
    mesh = mesh_of(view)
    view.set_mesh("/body", replace(taken(mesh, [2, 3, 0, 1]), points=mesh.points + 1))
    view.save()
    assert set(colours(file)) == {(1, 1, 0), (2, 1, 0), (6, 0, 1), (7, 0, 1)}


def test_slots_of_equal_looks_are_not_mistaken(write: Writer) -> None:
    scene = Scene(materials=[{"name": "m"}, {"name": "m", "alphaMode": "BLEND"}, {}, {}])
    parts = [scene.primitive([(x, y, z + n) for x, y, z in QUAD], CORNERS) for n in range(4)]
    for number, part in enumerate(parts):
        part["material"] = number
    view = view_of(file := write("a.glb", scene.add(*parts).glb()))
    mesh = view.mesh("/body")
    assert mesh is not None and mesh.materials is not None
    view.set_mesh("/body", replace(mesh, slots=mesh.slots[::-1], materials=3 - mesh.materials))
    view.save()
    primitives = SceneFile(file).document["meshes"][0]["primitives"]
    assert [primitive["material"] for primitive in primitives] == [0, 1, 2, 3]


def test_what_primitives_share_is_written_once(write: Writer) -> None:
    scene = Scene()
    first = scene.primitive(QUAD * 1000, CORNERS)
    view = view_of(file := write("a.glb", scene.add(*[first] * 20).glb()))
    size = Path(file).stat().st_size
    mesh = mesh_of(view)
    view.set_mesh("/body", replace(mesh, points=mesh.points + 1))
    view.save()
    assert Path(file).stat().st_size < 3 * size


@pytest.mark.parametrize(("count", "kind"), [(65_534, 5123), (65_536, 5125), (70_000, 5125)])
def test_indices_are_as_wide_as_they_must_be(write: Writer, count: int, kind: int) -> None:
    points = np.random.default_rng(1).uniform(size=(count, 3)).astype(np.float32)
    order = np.arange(count - count % 3)
    scene = Scene()
    scene.add(scene.primitive(points))
    scene.document["meshes"][0]["primitives"][0]["indices"] = scene.accessor(order, "u4")
    view = view_of(file := write("a.glb", scene.glb()))
    mesh = mesh_of(view)
    view.set_mesh("/body", replace(mesh, corners=mesh.corners.reshape(-1, 3)[:, [0, 2, 1]].ravel()))
    view.save()
    document = SceneFile(file).document
    indices = document["meshes"][0]["primitives"][0]["indices"]
    assert document["accessors"][indices]["componentType"] == kind
    saved = mesh_of(view_of(file))
    assert saved.points[saved.corners].tolist() == (
        mesh.points[mesh.corners].reshape(-1, 3, 3)[:, [0, 2, 1]].reshape(-1, 3).tolist()
    )


def test_narrow_attributes_are_written_at_multiples_of_four(write: Writer) -> None:
    scene = Scene()
    primitive = scene.primitive([*QUAD, (7, 7, 7)], CORNERS)
    paint = np.arange(15).reshape(5, 3)
    primitive["attributes"]["COLOR_0"] = scene.accessor(paint, "u1", 4, normalized=True)
    view = view_of(file := write("a.glb", scene.add(primitive).glb()))
    mesh = mesh_of(view)
    view.set_mesh("/body", replace(mesh, points=mesh.points[:4]))  # without the one of no face
    view.save()
    document = SceneFile(file).document
    names = document["meshes"][0]["primitives"][0]["attributes"]
    accessor = document["accessors"][names["COLOR_0"]]
    view_entry = document["bufferViews"][accessor["bufferView"]]
    assert (accessor["count"], view_entry["byteStride"], view_entry["byteOffset"] % 4) == (4, 4, 0)


def test_a_file_beside_the_scene_that_changes_is_noticed(write: Writer, tmp_path: Path) -> None:
    scene = Scene()
    scene.add(scene.primitive(QUAD, CORNERS)).add(scene.primitive(QUAD, CORNERS), name="other")
    beside = write("data.bin", bytes(scene.data))
    view = view_of(write("a.gltf", scene.gltf("data.bin")))
    assert view.mesh("/body") is not None
    os.utime(beside, (1, 1))
    with pytest.raises(SceneError, match=r"data.bin: was changed on disk"):
        view.mesh("/other")


def test_parts_of_a_level_are_no_levels(write: Writer) -> None:
    scene = Scene()
    scene.document["meshes"] = [{"primitives": [scene.primitive(QUAD, CORNERS)]}]
    scene.node("car", children=[1, 2], extensions={"MSFT_lod": {"ids": [3]}})
    names = ("body", "wheel", "car_low")
    scene.document["nodes"] += [{"name": name, "mesh": 0} for name in names]
    view = view_of(write("a.glb", scene.glb()))
    for check in (LodTriangles, LodNames):
        assert_passes(check, "/car", scene=view)


def skinned(bound: bool = False, **body: Any) -> Scene:
    """A square that hangs on the joint "root", in an arm that is scaled; `bound` to a third."""
    scene = Scene()
    skin = {"JOINTS_0": [[1, 0, 0, 0]] * 4, "WEIGHTS_0": [[1, 0, 0, 0]] * 4}
    scene.document["meshes"] = [{"primitives": [scene.primitive(QUAD, CORNERS, **skin)]}]
    scene.document["skins"] = [{"joints": [3, 1]}]
    if bound:  # the joint stands for three times what it was bound at
        matrices = np.stack([np.eye(4), np.diag([3.0, 3.0, 3.0, 1.0])]).reshape(-1, 16)
        view = scene.view(matrices.astype("<f4").tobytes())
        entry = {"bufferView": view, "componentType": 5126, "count": 2, "type": "MAT4"}
        scene.document["accessors"].append(entry)
        index = len(scene.document["accessors"]) - 1
        scene.document["skins"][0]["inverseBindMatrices"] = index
    scene.node("arm", scale=[0.01] * 3, children=[1, 2, 3])
    scene.document["nodes"] += [
        {"name": "root", "scale": [100] * 3},
        {"name": "body", "mesh": 0, "skin": 0, **body},
        {"name": "unused", "scale": [1, -1, 1], "rotation": TURNED},
        {"name": "below"},
    ]
    return scene


@pytest.mark.parametrize("bound", [False, True])
def test_a_skinned_mesh_is_as_large_as_its_joints_make_it(write: Writer, bound: bool) -> None:
    view_ = view_of(write("a.glb", skinned(bound).glb()))
    size = 3.0 if bound else 1.0
    limits = {"smallest": size * 0.99, "largest": size * 1.01}
    assert_passes(BoundingSize, "/arm/body", scene=view_, parameters=limits)
    assert_passes(UnmergedPoints, "/arm/body", scene=view_, distance=15.0)


def test_what_a_skin_places_is_not_judged_by_its_own_transform(write: Writer) -> None:
    placed: Any = {"scale": [-1, 2, 3], "rotation": TURNED, "translation": [5, 5, 5]}
    view = view_of(write("a.glb", skinned(**placed).glb()))
    options: Any = {"scene": view, "parameters": {"translation": True}}
    for path in ("/arm/body", "/arm/unused", "/arm/root"):
        assert_passes(FrozenTransforms, path, **options)
        assert_passes(BadScale, path, scene=view)
        assert_passes(PivotPlace, path, scene=view)
    # Above the joints, and where something hangs on the node itself, the transform counts.
    outcome = assert_finds(FrozenTransforms, "/arm", **options, message="scaled")
    assert not outcome.fixable
    view = view_of(write("b.glb", skinned(**placed, children=[4]).glb()))
    assert_finds(BadScale, "/arm/body", scene=view, message="negative and uneven")
    assert not assert_finds(FrozenTransforms, "/arm/body", scene=view).fixable


def test_a_missing_buffer_spoils_only_what_needs_it(write: Writer) -> None:
    """Two levels lost their data; the others have theirs in the text."""
    scene = Scene(materials=[{"name": "wood"}])
    for name in ("a_LOD0", "a_LOD2", "b"):
        scene.add(scene.primitive(QUAD, CORNERS), name=name, rotation=TURNED)
    document = json.loads(scene.gltf())
    document["buffers"].append({"byteLength": len(scene.data), "uri": "gone.bin"})
    for view_entry in document["bufferViews"][:4]:
        view_entry["buffer"] = 1
    view = view_of(write("a.gltf", json.dumps(document).encode()))
    lost = ["/a_LOD0", "/a_LOD2"]
    assert view.paths() == [*lost, "/b"] and view.parent("/b") is None
    assert_finds(OpenBorders, "/b", scene=view, count=4)
    for path in lost:
        outcome = assert_finds(OpenBorders, path, scene=view, status="error")
        assert "gone.bin cannot be read" in outcome.errors
        outcome = assert_finds(FrozenTransforms, path, scene=view, message="gone.bin cannot be")
        assert not outcome.fixable
    assert_finds(LodNumbering, "/a_LOD2", scene=view, items=[1])
    # What counts over the whole scene says what is too much already, and never that all is well.
    assert_finds(TriangleBudget, scene=view, parameters={"scene": 1}, message="has 2 triangles")
    outcome = assert_finds(TriangleBudget, scene=view, status="error")
    assert "2 objects with a mesh that cannot be read: /a_LOD0, /a_LOD2" in outcome.errors
    assert "2 objects with" in assert_finds(TextureBudget, scene=view, status="error").errors
