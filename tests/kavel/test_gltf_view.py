"""The view of glTF files: what checks see of the hierarchy, of placement and of deformation."""

from __future__ import annotations

import json
from dataclasses import replace
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
from geometry import CORNERS, QUAD, Scene, view_of

from kavel.errors import SceneError
from kavel.gltf.operator import GltfOperator
from kavel.view import EditableScene, Selection, Transform

Writer = Callable[[str, Any], str]

HALF = 0.5**0.5


def test_the_scene(write: Writer, monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    scene = Scene()
    scene.add(scene.primitive(QUAD, CORNERS), children=[1])
    scene.document["nodes"].append({"name": "below"})
    write("a.glb", scene.glb())
    monkeypatch.chdir(tmp_path)
    operator = GltfOperator()
    with pytest.raises(SceneError, match="no scene is open"):
        _ = operator.view
    operator.open("a.glb")
    view: EditableScene = operator.view
    assert operator.view is view
    assert (view.file, view.is_saved) == (str(tmp_path / "a.glb"), True)
    assert (view.unit, view.up_axis) == (1.0, "y")
    assert view.paths() == ["/body", "/body/below"]
    assert (view.parent("/body/below"), view.children("/body")) == ("/body", ("/body/below",))
    assert (view.name("/body/below"), view.type("/body/below")) == ("below", "locator")
    assert view.mesh("/body/below") is None and view.mesh("/body") is view.mesh("/body")
    asked: list[Any] = [view.name, view.type, view.parent, view.children, view.transform]
    asked += [view.mesh, view.world_matrix, view.is_deformed, view.shares_mesh, view.skin_role]
    for ask in asked:
        with pytest.raises(KeyError):
            ask("/gone")
    chosen = [Selection("/body", "faces", np.array([1])), Selection("/gone")]
    view.select(chosen)
    assert operator.get_selection() == ["/body"] and operator.selections == chosen[:1]
    with operator.selection_manager():
        operator.select("/body/below")
        assert operator.selections == []
    assert operator.selections == chosen[:1]


# Placement

PLACED = np.array([[0, 0, 2, 5], [0, 1, 0, 6], [-2, 0, 0, 7], [0, 0, 0, 1]], float)
MIRRORED = np.diag([-1.0, 1, 1, 1])
SHEARED = np.array([[1, 1, 0, 0], [0, 1, 0, 0], [0, 0, 1, 0], [0, 0, 0, 1]], float)


@pytest.mark.parametrize(
    ("fields", "expected", "sheared"),
    [
        ({}, np.eye(4), False),
        (
            {"translation": [5, 6, 7], "rotation": [0, HALF, 0, HALF], "scale": [2, 1, 2]},
            PLACED,
            False,
        ),
        ({"rotation": [0, 3, 0, 3], "translation": [5, 6, 7], "scale": [2, 1, 2]}, PLACED, False),
        ({"matrix": PLACED.T.ravel().tolist()}, PLACED, False),
        ({"matrix": MIRRORED.ravel().tolist()}, MIRRORED, False),
        ({"matrix": (-MIRRORED).ravel().tolist()[:15] + [1]}, np.diag([1.0, -1, -1, 1]), False),
        ({"matrix": np.diag([0.0, 2, 0, 1]).ravel().tolist()}, np.diag([0.0, 2, 0, 1]), False),
        ({"matrix": SHEARED.T.ravel().tolist()}, None, True),
    ],
)
def test_placement(write: Writer, fields: Any, expected: Any, sheared: bool) -> None:
    scene = Scene().node("a", translation=[1, 0, 0], children=[1])
    scene.document["nodes"].append({"name": "b", **fields})
    view = view_of(write("a.gltf", scene.gltf()))
    transform = view.transform("/a/b")
    assert transform.sheared is sheared
    assert abs(np.linalg.norm(transform.rotation) - 1) < 1e-9
    if expected is None:
        return
    assert np.allclose(transform.matrix, expected)
    assert np.allclose(view.world_matrix("/a/b")[:3, 3], expected[:3, 3] + (1, 0, 0))
    moved = Transform(np.array([0.0, 1, 0]), np.array([0, 0, 0, 1.0]), np.array([2.0, 2, 2]))
    view.set_transform("/a", moved)  # the cached matrices below it must follow
    assert np.allclose(view.world_matrix("/a/b"), moved.matrix @ expected)


@pytest.mark.parametrize(
    ("fields", "message"),
    [
        ({"translation": [1, 2]}, r"nodes\[0\].translation: is not an array of 3 numbers"),
        ({"translation": [1, 2, True]}, "translation: is not an array of 3 numbers"),
        ({"translation": None}, "translation: is not an array"),
        ({"scale": [1, 2, 10**400]}, "scale: holds a number that is too large"),
        ({"rotation": [0, 0, 0, 0]}, "rotation: is a quaternion of length 0"),
        ({"matrix": [1] * 15}, "matrix: is not an array of 16 numbers"),
        ({"matrix": [*[0] * 11, 1, *[0] * 4]}, "matrix: is no placement"),
    ],
)
def test_faulty_placement(write: Writer, fields: Any, message: str) -> None:
    view = view_of(write("a.gltf", Scene().node("a", **fields).gltf()))
    with pytest.raises(SceneError, match=message):
        view.transform("/a")


@pytest.mark.parametrize("fields", [{"scale": [1, 2, 3]}, {"matrix": PLACED.T.ravel().tolist()}])
def test_a_new_placement_is_saved(write: Writer, fields: Any) -> None:
    file = write("a.gltf", Scene().node("a", extras={"b": 1}, **fields).gltf())
    view = view_of(file)
    view.set_transform("/a", view.transform("/a"))
    assert view.changes() == {} and view.is_saved
    wrongs: list[tuple[dict[str, Any], str]] = [
        ({"sheared": True}, "a shear cannot be stored"),
        ({"rotation": np.zeros(4)}, "a rotation is a unit quaternion"),
        ({"scale": np.array([1, 2, np.nan])}, "a scale is 3 numbers"),
    ]
    for wrong, message in wrongs:
        with pytest.raises(ValueError, match=message):
            view.set_transform("/a", replace(view.transform("/a"), **wrong))
    new = Transform(np.array([0, 0.1, 0]), np.array([0, 0, 0, 1.0]), np.ones(3))
    view.set_transform("/a", new)
    assert view.changes() == {"/a": ["transform"]} and not view.is_saved
    view.operator.save()
    assert view.changes() == {} and view.is_saved
    assert json.loads(Path(file).read_text())["nodes"] == [
        {"name": "a", "extras": {"b": 1}, "translation": [0, 0.1, 0]}
    ]


def test_deformation_and_sharing(write: Writer) -> None:
    scene = Scene()
    plain = scene.primitive(QUAD, CORNERS)
    scene.add(plain).add({**plain, "targets": [{"POSITION": 0}]}, name="shaped")
    names = ["skinned", "top", "hips", "sword", "door", "instanced", "twin", "free"]
    scene.document["nodes"] += [{"name": name} for name in names]
    nodes = {node["name"]: node for node in scene.document["nodes"]}
    index = {name: number for number, name in enumerate(nodes)}
    nodes["skinned"].update(mesh=0, skin=0)
    nodes["top"]["children"] = [index["hips"]]
    nodes["hips"]["children"] = [index["sword"]]
    nodes["instanced"]["extensions"] = {"EXT_mesh_gpu_instancing": {}}
    for name in ("sword", "twin"):
        nodes[name]["mesh"] = 2
    scene.document["meshes"].append({"primitives": [plain]})
    scene.document["skins"] = [{"joints": [index["hips"]]}]
    channel = {"target": {"node": index["door"], "path": "rotation"}}
    scene.document["animations"] = [{"channels": [channel, {"target": {"path": "weights"}}]}]
    scene.document["scenes"][0]["nodes"] = [
        number for name, number in index.items() if name not in ("hips", "sword", "twin")
    ]
    view = view_of(write("a.glb", scene.glb()))
    paths = {view.name(path): path for path in view.paths()}
    deformed = {name for name, path in paths.items() if view.is_deformed(path)}
    assert deformed == {"shaped", "skinned", "top", "hips", "door", "instanced"}
    # The twin is in no scene, and still shows the sword's mesh.
    shared = {name for name, path in paths.items() if view.shares_mesh(path)}
    assert shared == {"body", "skinned", "sword"}
