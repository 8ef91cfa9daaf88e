"""Edits of glTF meshes: what is saved, what stays as it was, and what is refused."""

from __future__ import annotations

import os
from dataclasses import replace
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
from geometry import CORNERS, QUAD, Scene, corners_of, mesh_of, reachable, taken, view_of

from kavel.errors import SceneError
from kavel.gltf.container import SceneFile
from kavel.view import Material, Mesh

Writer = Callable[[str, Any], str]
Edit = Callable[[Mesh], Mesh]

UVS = [(0, 0), (1, 0), (1, 1), (0, 1)]
UP = [(0, 0, 1)] * 4
FOREIGN = (0x12345678, b"keep me!")


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
    mesh = mesh_of(view)
    wanted = edit(mesh)
    view.set_mesh("/body", wanted)
    assert view.changes() == ({"/body": words} if words else {})
    edited = mesh_of(view)
    assert np.allclose(edited.points, wanted.points) and np.array_equal(
        edited.corners, wanted.corners
    )
    view.save()
    if not words:
        assert Path(file).read_bytes() == content
        return
    again = view_of(file)
    assert shown(mesh_of(again)) == shown(edited)
    assert shown(mesh_of(again, "/other")) == shown(mesh_of(view, "/other"))
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
        x, y, z = (int(round(float(value))) for value in place)
        vertex = QUAD.index((x, y, z))
        assert joints[0] == vertex and colour == [vertex * 60, vertex * 60 + 20, vertex * 60 + 40]


def test_edits_build_on_each_other_and_can_be_taken_back(write: Writer) -> None:
    content = saved_once(file := write("a.glb", rich().glb()))
    view = view_of(file)
    start = view.snapshot()
    before = mesh_of(view)
    view.set_mesh("/body", without_isolated(before))
    view.set_mesh("/body", normals_per_face(mesh_of(view)))
    middle = view.snapshot()
    view.set_mesh("/body", moved(taken(mesh_of(view), [0, 1, 2, 3], [3])))
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
        mesh = mesh_of(view)
        view.set_mesh("/body", moved(mesh))
        view.save()
    reopened = mesh_of(view_of(file))
    assert view.is_saved
    assert shown(reopened) == shown(mesh_of(view))
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
    mesh = mesh_of(view)
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
    mesh = mesh_of(view)
    with pytest.raises(ValueError, match=message):
        view.set_mesh("/body", edit(mesh))
    assert view.is_saved
    if "targets" not in fields:  # other edits of the same mesh are possible
        view.set_mesh("/body", moved(mesh))
        assert view.changes() == {"/body": ["points"]}
