"""What fixes and edits leave alone in a file, because they could not keep it right."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import replace
from typing import Any

import numpy as np
import pytest
from geometry import CORNERS, QUAD, Scene

from kavel.checks.kavel_object import FrozenTransforms
from kavel.gltf.accessors import Accessors
from kavel.gltf.buffers import Buffers
from kavel.gltf.container import SceneFile
from kavel.gltf.lookup import Lookup
from kavel.gltf.operator import GltfOperator
from kavel.gltf.view import GltfScene
from kavel.testing import assert_finds, assert_fix_is_idempotent, fix
from kavel.view import Mesh

Writer = Callable[[str, bytes], str]
TURNED = [0.0, 0.6, 0.0, 0.8]
RED, GREEN = (1, 0, 0, 1), (0, 1, 0, 1)


def view_of(file: str) -> GltfScene:
    operator = GltfOperator()
    operator.open(file)
    return operator.view


def colours(file: str) -> list[tuple[float, ...]]:
    """For each corner that the file draws its x, and the red and the green of its colour."""
    scene = SceneFile(file)
    look = Lookup(scene.document, file)
    read = Accessors(look, Buffers(scene, look))
    found = []
    for primitive in scene.document["meshes"][0]["primitives"]:
        indices = read.raw(primitive["indices"], "")[:, 0]
        names = primitive["attributes"]
        x = read.raw(names["POSITION"], "")[indices, 0]
        colour = read.raw(names["COLOR_0"], "")[indices]
        found += [(float(a), *map(float, b[:2])) for a, b in zip(x, colour)]
    return found


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
    if "pointer" in fields:
        fields = dict(fields)
        pointed = {"KHR_animation_pointer": {"pointer": fields.pop("pointer")}}
        channel = {"sampler": 0, "target": {"path": "pointer", "extensions": pointed}}
        scene.document["animations"] = [{"channels": [channel], "samplers": [{}]}]
    scene.node("it", translation=[1, 2, 3], rotation=TURNED, **fields).node("other")
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


def kept(mesh: Mesh, faces: Any) -> Mesh:
    corners = (np.asarray(faces)[:, None] * 3 + np.arange(3)).ravel()
    return replace(
        mesh,
        corners=mesh.corners[corners],
        offsets=np.arange(0, len(corners) + 1, 3),
        normals=None if mesh.normals is None else mesh.normals[corners],
        uv_sets={name: values[corners] for name, values in mesh.uv_sets.items()},
        materials=None if mesh.materials is None else mesh.materials[faces],
    )


def doubled(second: Any, **values: Any) -> Scene:
    """Two squares in the same place, the second in another colour."""
    scene = Scene()
    order = [0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7]
    return scene.add(scene.primitive(QUAD * 2, order, COLOR_0=[RED] * 4 + [second] * 4, **values))


def test_of_faces_in_one_place_the_right_one_stays(write: Writer) -> None:
    up, down = [(0, 0, 1)] * 4, [(0, 0, -1)] * 4
    file = write("a.glb", doubled(GREEN, NORMAL=up + down).glb())
    view = view_of(file)
    mesh = view.mesh("/body")
    assert mesh is not None
    view.set_mesh("/body", kept(mesh, [2, 3]))
    view.save()
    assert {colour[1:] for colour in colours(file)} == {(0.0, 1.0)}
    # Nothing that a check sees tells these apart, and the file does.
    view = view_of(write("b.glb", doubled(GREEN).glb()))
    mesh = view.mesh("/body")
    assert mesh is not None
    with pytest.raises(ValueError, match="several faces lie in the same place"):
        view.set_mesh("/body", kept(mesh, [2, 3]))
    # Where the file has the same for both, one is as good as the other.
    view = view_of(write("c.glb", doubled(RED).glb()))
    mesh = view.mesh("/body")
    assert mesh is not None
    view.set_mesh("/body", kept(mesh, [2, 3]))
    assert view.changes() == {"/body": ["faces"]}


def test_faces_that_moved_in_another_order_keep_their_colours(write: Writer) -> None:
    scene = Scene()
    far = [(x + 5, y, z) for x, y, z in QUAD]
    order = [0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7]
    scene.add(scene.primitive([*QUAD, *far], order, COLOR_0=[RED] * 4 + [GREEN] * 4))
    view = view_of(file := write("a.glb", scene.glb()))
    mesh = view.mesh("/body")
    assert mesh is not None
    view.set_mesh("/body", replace(kept(mesh, [2, 3, 0, 1]), points=mesh.points + 1))
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
