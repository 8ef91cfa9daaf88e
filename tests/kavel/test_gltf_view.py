"""The view of glTF files: placement, deformation, and edits that keep everything else."""

from __future__ import annotations

import json
import os
from dataclasses import replace
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
from geometry import CORNERS, QUAD, Scene

from kavel.errors import SceneError
from kavel.gltf.accessors import Accessors
from kavel.gltf.buffers import Buffers
from kavel.gltf.container import SceneFile
from kavel.gltf.lookup import Lookup
from kavel.gltf.operator import GltfOperator
from kavel.gltf.view import GltfScene
from kavel.view import EditableScene, Material, Mesh, Selection, Transform

Writer = Callable[[str, Any], str]
Edit = Callable[[Mesh], Mesh]

UVS = [(0, 0), (1, 0), (1, 1), (0, 1)]
UP = [(0, 0, 1)] * 4
HALF = 0.5**0.5
FOREIGN = (0x12345678, b"keep me!")


def view_of(file: str) -> GltfScene:
    operator = GltfOperator()
    operator.open(file)
    return operator.view


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
    for ask in (view.name, view.type, view.parent, view.children, view.transform):
        with pytest.raises(KeyError):
            ask("/gone")
    for ask in (view.mesh, view.world_matrix, view.is_deformed, view.shares_mesh):
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
    for wrong, message in [
        ({"sheared": True}, "a shear cannot be stored"),
        ({"rotation": np.zeros(4)}, "a rotation is a unit quaternion"),
        ({"scale": np.array([1, 2, np.nan])}, "a scale is 3 numbers"),
    ]:
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


# Edits of meshes


def saved_once(file: str) -> bytes:
    """The content of a file in the layout of this program's own JSON."""
    SceneFile(file).save()
    return Path(file).read_bytes()


def rich(lines: bool = False) -> Scene:
    """A mesh whose file knows much more of each vertex than a check sees, with `lines` among its
    faces, which must stay where they are."""
    scene = Scene(
        materials=[{"name": "cloth", "extras": {"z": None}}, {"name": "metal"}],
        extensionsUsed=["X_unknown"],
        extensions={"X_unknown": {"accessor": 0}},
    )
    skin = {"JOINTS_0": [(n, 0, 0, 0) for n in range(4)], "WEIGHTS_0": [(1, 0, 0, 0)] * 4}
    first = scene.primitive(
        QUAD, CORNERS, NORMAL=UP, TEXCOORD_0=UVS, TANGENT=[(1, 0, 0, 1)] * 4, **skin
    )
    first["attributes"]["COLOR_0"] = scene.accessor(
        np.arange(12).reshape(4, 3) * 20, "u1", 4, normalized=True, name="colours"
    )
    first.update(material=0, extras={"of": "the primitive"})
    far = np.array(QUAD) + (1, 0, 0)
    second = scene.primitive([*far, (9, 9, 9)], CORNERS, NORMAL=[*UP, (0, 0, 1)])
    second["material"] = 1
    between = [{**scene.primitive(QUAD), "mode": 1}] if lines else []
    scene.add(first, *between, second).add(scene.primitive(QUAD, CORNERS), name="other")
    return scene


def corners_of(mesh: Mesh, faces: Any) -> Any:
    return (np.asarray(faces)[:, None] * 3 + np.arange(3)).ravel()


def taken(mesh: Mesh, faces: Any, turned: Any = ()) -> Mesh:
    """Some faces of a mesh in this order, those in `turned` the other way round."""
    faces = np.asarray(faces, int)
    corners = corners_of(mesh, faces).reshape(-1, 3)
    rows = [position for position, face in enumerate(faces) if face in turned]
    corners[rows] = corners[rows, ::-1]
    chosen = corners.ravel()
    return replace(
        mesh,
        corners=mesh.corners[chosen],
        offsets=np.arange(0, len(chosen) + 1, 3),
        normals=None if mesh.normals is None else mesh.normals[chosen],
        uv_sets={name: values[chosen] for name, values in mesh.uv_sets.items()},
        materials=None if mesh.materials is None else mesh.materials[faces],
    )


def without_isolated(mesh: Mesh) -> Mesh:
    used, corners = np.unique(mesh.corners, return_inverse=True)
    return replace(mesh, points=mesh.points[used], corners=corners.ravel())


def moved(mesh: Mesh) -> Mesh:
    return replace(mesh, points=mesh.points * 2 + 0.1)


def normals_per_face(mesh: Mesh) -> Mesh:
    normals = np.repeat([(0, 0, 1), (0, 1, 0), (1, 0, 0), (0, 0, -1)], 3, axis=0)
    return replace(mesh, normals=normals.astype(float))


def other_uvs(mesh: Mesh) -> Mesh:
    return replace(mesh, uv_sets={"TEXCOORD_0": mesh.uv_sets["TEXCOORD_0"] + 0.25})


EDITS: dict[str, tuple[Edit, list[str]]] = {
    "nothing": (lambda mesh: taken(mesh, [0, 1, 2, 3]), []),
    "moved": (moved, ["points"]),
    "a turned face": (lambda mesh: taken(mesh, [0, 1, 2, 3], [1, 2]), ["faces"]),
    "fewer faces": (lambda mesh: without_isolated(taken(mesh, [1, 2, 3])), ["points", "faces"]),
    "no isolated points": (without_isolated, ["points"]),
    "no second part": (lambda mesh: without_isolated(taken(mesh, [0, 1])), ["points", "faces"]),
    "another order": (
        lambda mesh: taken(mesh, [3, 1, 0, 2]),
        ["faces", "UV sets", "materials"],
    ),
    "hard normals": (normals_per_face, ["normals"]),
    "no normals": (lambda mesh: replace(mesh, normals=None), ["normals"]),
    "other UVs": (other_uvs, ["UV sets"]),
    "a second UV set": (
        lambda mesh: replace(
            mesh, uv_sets={**mesh.uv_sets, "TEXCOORD_1": mesh.uv_sets["TEXCOORD_0"] / 2}
        ),
        ["UV sets"],
    ),
    "no UVs": (lambda mesh: replace(mesh, uv_sets={}), ["UV sets"]),
    "other materials": (
        lambda mesh: replace(mesh, materials=np.array([1, 0, 1, -1])),
        ["materials"],
    ),
    "merged points": (
        lambda mesh: without_isolated(
            replace(mesh, corners=np.where(mesh.corners == 3, 2, mesh.corners))
        ),
        ["points", "faces"],
    ),
    "everything": (
        lambda mesh: taken(normals_per_face(moved(other_uvs(mesh))), [0, 1, 2, 3], [0]),
        ["points", "faces", "normals", "UV sets"],
    ),
}


def reachable(file: str) -> dict[str, list[Any]]:
    """Every attribute of each corner that the file draws, by the corner's place in the mesh."""
    scene = SceneFile(file)
    look = Lookup(scene.document, file)
    read = Accessors(look, Buffers(scene, look))
    result: dict[str, list[Any]] = {}
    for primitive in scene.document["meshes"][0]["primitives"]:
        if "mode" in primitive:
            continue
        order = read.raw(primitive["indices"], "")[:, 0]
        for name, index in primitive["attributes"].items():
            result.setdefault(name, []).extend(read.raw(index, "")[order].tolist())
    return result


def shown(mesh: Mesh) -> list[Any]:
    """What a mesh looks like, whatever the order of its faces and the numbering of its points."""
    slots = [-1] * mesh.face_count if mesh.materials is None else mesh.materials.tolist()
    names = [mesh.slots[slot] if slot >= 0 else None for slot in slots]
    faces = []
    for face, material in enumerate(names):
        corners = corners_of(mesh, [face])
        columns = [mesh.points[mesh.corners[corners]]]
        columns += [] if mesh.normals is None else [mesh.normals[corners]]
        columns += list(mesh.uv_sets.values()) and [v[corners] for v in mesh.uv_sets.values()]
        rows = [tuple(row) for row in np.concatenate(columns, axis=1).tolist()]
        first = rows.index(min(rows))
        faces.append((str(material), rows[first:] + rows[:first]))
    return sorted(faces)


@pytest.mark.parametrize("form", ["a.glb", "inside.gltf", "beside.gltf"])
@pytest.mark.parametrize("name", EDITS)
def test_an_edit_is_saved_and_nothing_else(
    write: Writer, tmp_path: Path, name: str, form: str
) -> None:
    edit, words = EDITS[name]
    scene = rich(lines=name not in ("moved", "merged points", "everything"))
    beside = write("data.bin", bytes(scene.data)) if form == "beside.gltf" else ""
    content = scene.glb(FOREIGN) if form == "a.glb" else scene.gltf(beside and "data.bin")
    content = saved_once(write(form, content))
    view = view_of(file := str(tmp_path / form))
    mesh = view.mesh("/body")
    assert mesh is not None
    wanted = edit(mesh)
    view.set_mesh("/body", wanted)
    assert view.changes() == ({"/body": words} if words else {})
    edited = view.mesh("/body")
    assert edited is not None
    assert np.allclose(edited.points, wanted.points) and np.array_equal(
        edited.corners, wanted.corners
    )
    view.save()
    if not words:
        assert Path(file).read_bytes() == content
        return
    again = view_of(file)
    saved = again.mesh("/body")
    assert saved is not None and shown(saved) == shown(edited)
    assert again.mesh("/other") and shown(again.mesh("/other")) == shown(view.mesh("/other"))
    require_kept(content, file, scene, form)
    if beside:
        assert Path(beside).read_bytes() == bytes(scene.data)
    require_following(file, edited, name)


def require_kept(content: bytes, file: str, scene: Scene, form: str) -> None:
    """What was in the file is where it was, and new data lies behind it."""
    old, new = scene.document, SceneFile(file).document
    for key in ("accessors", "bufferViews"):
        assert new[key][: len(old[key])] == old[key]
    for key in ("asset", "materials", "nodes", "scenes", "extensions", "extensionsUsed"):
        assert new[key] == old[key]
    for primitive in old["meshes"][0]["primitives"]:
        assert "mode" not in primitive or primitive in new["meshes"][0]["primitives"]
    assert new["meshes"][0]["primitives"][0]["extras"] == {"of": "the primitive"}
    for view in new["bufferViews"]:
        assert view["byteOffset"] % 4 == 0
    for mesh in new["meshes"]:
        for primitive in mesh["primitives"]:
            position = new["accessors"][primitive["attributes"]["POSITION"]]
            fresh = primitive["attributes"]["POSITION"] >= len(old["accessors"])
            assert ("min" in position and "max" in position) or not fresh
    if form == "a.glb":
        raw = Path(file).read_bytes()
        assert bytes(scene.data) in raw and raw.endswith(content[-16:])
        assert int.from_bytes(raw[8:12], "little") == len(raw)


def require_following(file: str, mesh: Mesh, name: str) -> None:
    """What the check does not see belongs to the same corners of the shape as before."""
    drawn = reachable(file)
    moved = name in ("moved", "everything", "merged points")
    shaded = name in ("hard normals", "no normals", "other UVs", "a second UV set", "no UVs")
    assert ("TANGENT" in drawn) is not (moved or shaded)
    for position, joints, colour in zip(drawn["POSITION"], drawn["JOINTS_0"], drawn["COLOR_0"]):
        place = (np.array(position) - 0.1) / 2 if name in ("moved", "everything") else position
        if name == "merged points" and joints[0] == 3:
            place = QUAD[3]  # it stands at the point that it was merged with now
        vertex = QUAD.index(tuple(int(round(float(value))) for value in place))
        assert joints[0] == vertex and colour == [vertex * 60, vertex * 60 + 20, vertex * 60 + 40]


def test_edits_build_on_each_other_and_can_be_taken_back(write: Writer) -> None:
    content = saved_once(file := write("a.glb", rich().glb()))
    view = view_of(file)
    start = view.snapshot()
    before = view.mesh("/body")
    assert before is not None
    view.set_mesh("/body", without_isolated(before))
    view.set_mesh("/body", normals_per_face(view.mesh("/body")))
    middle = view.snapshot()
    view.set_mesh("/body", moved(taken(view.mesh("/body"), [0, 1, 2, 3], [3])))
    view.set_transform("/other", replace(view.transform("/other"), scale=np.full(3, 2.0)))
    assert view.changes(middle) == {"/body": ["points", "faces"], "/other": ["transform"]}
    last, edited = view.snapshot(), view.mesh("/body")
    view.restore(start)
    assert view.changes() == {} and view.mesh("/body") is before
    view.save()
    assert Path(file).read_bytes() == content
    view.restore(last)
    assert view.mesh("/body") is edited
    os.chmod(file, 0o644)
    os.utime(file, (1, 1))
    with pytest.raises(SceneError, match="changed on disk"):
        view.save()
    assert view.mesh("/body") is edited and view.changes(start) == view.changes() != {}


def test_saving_twice(write: Writer) -> None:
    file = write("a.glb", rich().glb(FOREIGN))
    view = view_of(file)
    old = view.snapshot()
    for _ in range(2):
        mesh = view.mesh("/body")
        assert mesh is not None
        view.set_mesh("/body", moved(mesh))
        view.save()
    reopened = view_of(file).mesh("/body")
    assert reopened is not None and view.is_saved
    assert shown(reopened) == shown(view.mesh("/body"))
    assert np.allclose(reopened.points[0], (np.array(QUAD[0]) * 2 + 0.1) * 2 + 0.1)
    for stale in (view.restore, view.changes):
        with pytest.raises(ValueError, match="saved since the snapshot"):
            stale(old)


def flat(mesh: Mesh, **fields: Any) -> Mesh:
    return replace(mesh, **fields)


REFUSED: dict[str, tuple[Edit, str]] = {
    "a new face": (lambda mesh: taken(mesh, [0, 1, 2, 3, 3]), "faces were added"),
    "no face": (lambda mesh: without_isolated(taken(mesh, [])), "no face would be left"),
    "a quad": (
        lambda mesh: flat(
            mesh,
            corners=np.array([0, 1, 2, 3]),
            offsets=np.array([0, 4]),
            normals=None,
            uv_sets={},
            materials=None,
        ),
        "triangles only",
    ),
    "a new point": (
        lambda mesh: flat(mesh, points=np.concatenate([mesh.points, [(3, 3, 3)]])),
        "point 9 belongs to no face",
    ),
    "no number": (lambda mesh: flat(mesh, points=mesh.points * np.nan), "points hold a value"),
    "too large": (lambda mesh: flat(mesh, points=mesh.points + 1e39), "points hold a value"),
    "a gap": (
        lambda mesh: flat(mesh, uv_sets={"TEXCOORD_1": mesh.uv_sets["TEXCOORD_0"]}),
        "UV sets are TEXCOORD_0 in this format",
    ),
    "a new material": (lambda mesh: flat(mesh, slots=[Material("gold")] * 2), "no material 'gold'"),
    "short normals": (lambda mesh: flat(mesh, normals=np.zeros((2, 3))), "normals have the shape"),
    "no such point": (lambda mesh: flat(mesh, corners=mesh.corners + 5), "corners refer to"),
    "lines left behind": (moved, "lines or points, which would stay behind"),
    "another order, moved and renumbered": (
        lambda mesh: without_isolated(moved(taken(mesh, [3, 1, 0, 2]))),
        "faces came into another order",
    ),
}


@pytest.mark.parametrize("name", REFUSED)
def test_what_cannot_be_stored_is_refused(write: Writer, name: str) -> None:
    edit, message = REFUSED[name]
    view = view_of(write("a.glb", rich(lines=True).glb()))
    mesh = view.mesh("/body")
    assert mesh is not None
    with pytest.raises(ValueError, match=message):
        view.set_mesh("/body", edit(mesh))
    assert view.mesh("/body") is mesh and view.is_saved
    with pytest.raises(ValueError, match="read-only"):
        mesh.points[0] = 1


@pytest.mark.parametrize(
    ("fields", "edit", "message"),
    [
        ({"targets": True}, moved, "blend shapes"),
        ({"extensions": {"X_vertices": {}}}, without_isolated, "X_vertices may refer to vertices"),
        ({"attributes": "_MATRIX"}, without_isolated, "cannot be stored: .*'MAT4'"),
        ({"material": True}, lambda mesh: flat(mesh, uv_sets={}), "mapped with TEXCOORD_0"),
    ],
)
def test_what_an_edit_would_spoil(write: Writer, fields: Any, edit: Edit, message: str) -> None:
    scene = Scene()
    primitive = scene.primitive([*QUAD, (7, 7, 7)], CORNERS, TEXCOORD_0=[*UVS, (0, 0)])
    if "targets" in fields:
        fields = {"targets": [{"POSITION": 0}]}
    if "material" in fields:
        scene.document["textures"] = [{}]
        scene.document["materials"] = [{"normalTexture": {"index": 0}}]
        fields = {"material": 0}
    if "attributes" in fields:
        scene.document["accessors"].append({"type": "MAT4", "componentType": 5126, "count": 5})
        fields = {"attributes": {**primitive["attributes"], "_MATRIX": 3}}
    view = view_of(write("a.glb", scene.add({**primitive, **fields}).glb()))
    mesh = view.mesh("/body")
    assert mesh is not None
    with pytest.raises(ValueError, match=message):
        view.set_mesh("/body", edit(mesh))
    assert view.is_saved
    if "targets" not in fields:  # other edits of the same mesh are possible
        view.set_mesh("/body", moved(mesh))
        assert view.changes() == {"/body": ["points"]}
