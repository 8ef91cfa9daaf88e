"""glTF geometry: what is read of accessors, primitives and images, and what is refused."""

from __future__ import annotations

import io
import json
import os
import struct
import sys
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
from geometry import CORNERS, QUAD, Scene, open_edges, outward
from PIL import Image as Pillow
from PIL import PngImagePlugin

from kavel.checking.geometry.orientation import inside_out_faces
from kavel.errors import SceneError
from kavel.gltf.operator import GltfOperator
from kavel.view import Mesh

Writer = Callable[[str, Any], str]
SAMPLES = Path(__file__).resolve().parents[2] / "samples"
UVS = [(0, 0), (1, 0), (1, 1), (0, 1)]


def read(file: str, path: str = "/body") -> Mesh:
    operator = GltfOperator()
    operator.open(file)
    mesh = operator.view.mesh(path)
    assert mesh is not None
    return mesh


def png(width: int, height: int) -> bytes:
    stream = io.BytesIO()
    Pillow.new("RGB", (width, height)).save(stream, "PNG")
    return stream.getvalue()


@pytest.mark.parametrize(("shape", "points"), [("box", 8), ("capsule", 98)])
def test_known_shapes(
    write: Writer, monkeypatch: pytest.MonkeyPatch, shape: str, points: int
) -> None:
    monkeypatch.syspath_prepend(str(SAMPLES))
    import scene_writer as make  # type: ignore[import-not-found]

    made = make.box(1, 2, 3) if shape == "box" else make.capsule(0.5, 1.0)
    meshes = {"part": make.Mesh(made, "steel")}
    nodes = [make.Node("body", mesh="part")]
    mesh = read(write("a.glb", make.glb(nodes, meshes, {"steel": make.Material((1, 1, 1))})))
    assert (len(mesh.points), mesh.face_count) == (points, len(made.indices))
    assert open_edges(mesh) == 0 < open_edges(mesh, mesh.handles.vertices)
    assert outward(mesh)
    assert np.array_equal(mesh.points[mesh.corners], made.positions[made.indices.ravel()])
    assert np.array_equal(mesh.uv_sets["TEXCOORD_0"], made.uvs[made.indices.ravel()])
    assert [slot and slot.name for slot in mesh.slots] == ["steel"]
    assert mesh.materials is not None and not mesh.materials.any()
    sys.modules.pop("scene_writer", None)


def test_real_characters_have_the_borders_of_their_shape() -> None:
    if not os.path.isdir(os.environ.get("KAVEL_ASSETS", "")):
        pytest.skip("KAVEL_ASSETS names no folder")
    operator = GltfOperator()
    operator.open(os.path.join(os.environ["KAVEL_ASSETS"], "characters", "Knight.glb"))
    view, counts = operator.view, [0, 0]
    for path in view.paths():
        mesh = view.mesh(path)
        if mesh is not None:
            counts[0] += open_edges(mesh, mesh.handles.vertices)
            counts[1] += open_edges(mesh)
        assert mesh is None or not len(inside_out_faces(mesh))
    assert counts == [6186, 278]
    assert view.is_deformed("/Rig/Knight_Body") and view.is_deformed("/Rig")
    assert mesh_image(view) == (1024, 1024, False)


def test_a_real_flame_is_inside_out() -> None:
    """Its 54 faces hold a volume of -0.0073 cubic metres; the torch below it is sound."""
    if not os.path.isdir(os.environ.get("KAVEL_ASSETS", "")):
        pytest.skip("KAVEL_ASSETS names no folder")
    file = os.path.join(os.environ["KAVEL_ASSETS"], "props", "torch_lit.glb")
    assert inside_out_faces(read(file, "/torch_lit")).tolist() == list(range(216, 270))


def mesh_image(view: Any) -> Any:
    image = view.mesh("/Rig/Knight_Body").slots[0].images["base color"]
    return image.width, image.height, image.missing


def with_uvs(kind: str, stride: int = 0, file: str = "a.glb") -> tuple[Scene, str]:
    scale = 1 if kind == "f4" else np.iinfo(kind).max
    scene = Scene()
    primitive = scene.primitive(QUAD, CORNERS)
    normalized = {} if kind == "f4" else {"normalized": True}
    values = np.array(UVS) * scale
    index = scene.accessor(values, kind, stride, **normalized)
    primitive["attributes"]["TEXCOORD_0"] = index
    return scene.add(primitive), file


def with_indices(kind: str, corners: list[int] = CORNERS, **fields: Any) -> tuple[Scene, str]:
    scene = Scene()
    primitive = scene.primitive(QUAD, TEXCOORD_0=UVS)
    if kind:
        primitive["indices"] = scene.accessor(corners, kind)
    return scene.add({**primitive, **fields}), "a.glb"


def interleaved() -> tuple[Scene, str]:
    scene = Scene()
    rows = [struct.pack("<5f", *point, *uv) for point, uv in zip(QUAD, UVS)]
    view = scene.view(b"".join(rows), byteStride=20)
    common = {"bufferView": view, "componentType": 5126, "count": 4}
    scene.document["accessors"] += [
        {**common, "type": "VEC3"},
        {**common, "type": "VEC2", "byteOffset": 12},
    ]
    attributes = {"POSITION": 0, "TEXCOORD_0": 1}
    return scene.add({"attributes": attributes, "indices": scene.accessor(CORNERS, "u1")}), "a.glb"


def sparse(with_data: bool) -> tuple[Scene, str]:
    scene = Scene()
    primitive = scene.primitive(QUAD, CORNERS, TEXCOORD_0=UVS)
    accessor = scene.document["accessors"][0]
    if with_data:
        wrong = [(9, 9, 9), *QUAD[1:3], (8, 8, 8)]
        accessor["bufferView"] = scene.view(np.array(wrong, "<f4").tobytes())
        rows, values = [0, 3], [QUAD[0], QUAD[3]]
    else:
        del accessor["bufferView"]
        rows, values = [1, 2, 3], QUAD[1:]
    accessor["sparse"] = {
        "count": len(rows),
        "indices": {
            "bufferView": scene.view(np.array(rows, "<u2").tobytes()),
            "componentType": 5123,
        },
        "values": {"bufferView": scene.view(np.array(values, "<f4").tobytes())},
    }
    return scene.add(primitive), "a.glb"


STRIP = [1, 2, 0, 3]
FORMS: dict[str, tuple[Scene, str]] = {
    "floats": with_uvs("f4"),
    "bytes": with_uvs("u1", stride=4),
    "shorts": with_uvs("u2"),
    "signed shorts": with_uvs("i2"),
    "signed bytes far apart": with_uvs("i1", stride=16),
    "embedded text": with_uvs("f4", file="a.gltf"),
    "a file beside": with_uvs("f4", file="beside.gltf"),
    "byte indices": with_indices("u1"),
    "long indices": with_indices("u4"),
    "a fan": with_indices("u1", [0, 1, 2, 3], mode=6),
    "a fan without indices": with_indices("", mode=6),
    "a strip": with_indices("u1", STRIP, mode=5),
    "a strip with a turn": with_indices("u1", [1, 2, 0, 0, 0, 2, 3], mode=5),
    "interleaved": interleaved(),
    "sparse": sparse(True),
    "sparse over nothing": sparse(False),
}


@pytest.mark.parametrize("form", FORMS)
def test_every_form_of_the_same_square(write: Writer, tmp_path: Path, form: str) -> None:
    scene, name = FORMS[form]
    if name == "beside.gltf":
        write("the data.bin", bytes(scene.data) + b"more than is used")
        file = write(name, scene.gltf("the%20data.bin"))
    else:
        file = write(name, scene.glb() if name.endswith(".glb") else scene.gltf())
    mesh = read(file)
    corners = mesh.points[mesh.corners]
    first, second, third = corners.reshape(-1, 3, 3).swapaxes(0, 1)
    assert np.allclose(np.cross(second - first, third - first), (0, 0, 1))
    assert sorted(map(tuple, mesh.points.tolist())) == sorted(QUAD)
    assert open_edges(mesh) == 4
    assert np.abs(mesh.uv_sets["TEXCOORD_0"] - corners[:, :2]).max() < 1e-6


def test_primitives_are_joined(write: Writer) -> None:
    scene = Scene(materials=[{"name": "cloth"}, {"name": "metal"}])
    normals = [(0, 0, 1), (0, 0, float("nan")), (0, 0, 1), (0, 0, 1)]
    first = scene.primitive([*QUAD, (5, 5, 5)], CORNERS, TEXCOORD_0=[*UVS, (0, 0)])
    shifted = np.array(QUAD) + (1, 0, 0)
    second = scene.primitive(shifted, CORNERS, NORMAL=normals, TEXCOORD_1=UVS)
    lines = {**scene.primitive(QUAD), "mode": 1, "material": 0}
    third = scene.primitive(shifted + (1, 0, 0), CORNERS)
    first["material"], third["material"] = 1, 1
    mesh = read(write("a.glb", scene.add(first, lines, second, third).glb()))
    assert (len(mesh.points), mesh.face_count, open_edges(mesh)) == (9, 6, 8)
    assert [slot and slot.name for slot in mesh.slots] == ["metal"]
    assert mesh.materials is not None and mesh.materials.tolist() == [0, 0, -1, -1, 0, 0]
    assert mesh.normals is not None
    assert (np.linalg.norm(mesh.normals, axis=1) > 0).tolist() == [
        *[False] * 6, True, False, True, True, True, True, *[False] * 6
    ]  # fmt: skip
    assert list(mesh.uv_sets) == ["TEXCOORD_0", "TEXCOORD_1"]
    isolated = np.setdiff1d(np.arange(9), mesh.corners)
    assert mesh.points[isolated].tolist() == [[5, 5, 5]]
    handles = mesh.handles
    shared = int(np.flatnonzero((mesh.points == (1, 1, 0)).all(axis=1))[0])
    assert handles.file_vertices([shared]) == [(0, 2), (2, 3)]
    assert handles.file_faces([1, 2, 5]) == [(0, 1), (2, 0), (3, 1)]


@pytest.mark.parametrize(
    ("second", "joints", "weights", "shape", "points"),
    [
        ((1, 1, 0), 0, 1, 0, 4),
        ((np.nextafter(np.float32(1), np.float32(2)), 1, 0), 0, 1, 0, 5),  # no tolerance
        ((1, 1, -0.0), 0, 1, 0, 4),
        ((1, 1, 0), 3, 1, 0, 5),
        ((1, 1, 0), 0, 0.5, 0, 5),
        ((1, 1, 0), 0, 1, 0.25, 5),
    ],
)
def test_points_are_one_when_nothing_tells_them_apart(
    write: Writer, second: Any, joints: int, weights: float, shape: float, points: int
) -> None:
    scene = Scene()
    split = [*QUAD, second]  # the corner at 1, 1 twice: the same but for what the table says
    indices = [0, 1, 2, 0, 4, 3]
    bound = [[0, 0, 0, 0]] * 4 + [[joints, 7, 0, 0]]  # 7 has no weight
    weigh = [[1, 0, 0, 0]] * 4 + [[weights, 0, 0, 0]]
    primitive = scene.primitive(split, indices, JOINTS_0=bound, WEIGHTS_0=weigh)
    moved = scene.accessor([(0, 0, 0)] * 4 + [(shape, 0, 0)])
    primitive["targets"] = [{"POSITION": moved}]
    mesh = read(write("a.glb", scene.add(primitive).glb()))
    assert len(mesh.points) == points


def test_images(write: Writer, tmp_path: Path) -> None:
    scene = Scene()
    embedded = scene.view(png(16, 4))
    ktx = scene.view(b"\xabKTX 20\xbb\r\n\x1a\n" + struct.pack("<IIII", 0, 1, 256, 128))
    broken = scene.view(b"no image at all!")
    (tmp_path / "a b.png").write_bytes(png(3, 5))
    scene.document["images"] = [
        {"bufferView": embedded, "name": "inside"},
        {"uri": "a%20b.png"},
        {"uri": "gone.png"},
        {"bufferView": broken, "name": "broken"},
        {"bufferView": ktx, "name": "packed"},
        {"uri": "https://example.com/a.png"},
    ]
    scene.document["textures"] = [
        *({"source": source} for source in range(4)),
        {"source": 3, "extensions": {"KHR_texture_basisu": {"source": 4}}},
        {"source": 5},
        {},
    ]
    scene.document["materials"] = [
        {
            "name": "all",
            "pbrMetallicRoughness": {
                "baseColorTexture": {"index": 0},
                "metallicRoughnessTexture": {"index": 1},
            },
            "normalTexture": {"index": 2},
            "occlusionTexture": {"index": 3},
            "emissiveTexture": {"index": 4},
            "extensions": {
                "KHR_materials_clearcoat": {"clearcoatTexture": {"index": 5}},
                "KHR_materials_sheen": {"sheenColorTexture": {"index": 6}},
            },
        }
    ]
    scene.add({**scene.primitive(QUAD, CORNERS), "material": 0})
    (material,) = read(write("a.glb", scene.glb())).slots
    assert material is not None
    seen = {
        use: (image.name, image.width, image.height, image.missing or image.unreadable and "odd")
        for use, image in material.images.items()
    }
    assert seen == {
        "base color": ("inside", 16, 4, False),
        "metallic roughness": ("a%20b.png", 3, 5, False),
        "normal": ("gone.png", 0, 0, True),
        "occlusion": ("broken", 0, 0, "odd"),
        "emissive": ("packed", 256, 128, False),
        "clearcoat": ("https://example.com/a.png", 0, 0, True),
        "sheen color": ("texture 6", 0, 0, True),
    }


def faulty(change: Callable[[dict[str, Any]], Any]) -> bytes:
    scene = Scene(materials=[{}])
    primitive = scene.primitive(QUAD, CORNERS, TEXCOORD_0=UVS)
    scene.add({**primitive, "material": 0})
    change(scene.document)
    return scene.glb()


def put(*keys: Any) -> Callable[[dict[str, Any]], Any]:
    """Sets the last of `keys` at the place that the others lead to."""

    def change(document: dict[str, Any]) -> None:
        place: Any = document
        for key in keys[:-2]:
            place = place[key]
        place[keys[-2]] = keys[-1]

    return change


PRIMITIVE = ("meshes", 0, "primitives", 0)
BAD: list[tuple[Callable[[dict[str, Any]], Any], str]] = [
    (put("nodes", 0, "mesh", 1), r"nodes\[0\].mesh: index 1 is not one of 0 to 0"),
    (put("meshes", 0, "primitives", {}), r"meshes\[0\].primitives: is not an array"),
    (put(*PRIMITIVE, "attributes", "POSITION", 7), r"attributes.POSITION: index 7 "),
    (put(*PRIMITIVE, "attributes", "POSITION", 1), "POSITION: accessor 1 is VEC2, not 3 numbers"),
    (put(*PRIMITIVE, "attributes", "POSITION", 2), "POSITION: accessor 2 is SCALAR, not 3"),
    (put(*PRIMITIVE, "indices", 0), r"indices: accessor 0 holds no indices"),
    (put(*PRIMITIVE, "material", "0"), r"primitives\[0\].material: is not an index"),
    (put("accessors", 1, "count", 3), "TEXCOORD_0: has 3 values for 4 vertices"),
    (put("accessors", 2, "count", 5), "5 corners do not make up triangles"),
    (put("accessors", 0, "count", 4.0), r"accessors\[0\].count: is not a whole number"),
    (put("accessors", 0, "count", 10**12), r"accessors\[0\]: ends at byte \d+ of a buffer view"),
    (
        put("accessors", 0, {"count": 10**12, "type": "VEC3", "componentType": 5126}),
        "claims 10{12}",
    ),
    (
        lambda document: [put("accessors", n, "count", 3)(document) for n in (0, 1)],
        r"accessors\[2\]: refers to vertex 3, and there are 3",
    ),
    (put("accessors", 0, "componentType", 5124), "5124 is no component type"),
    (put("accessors", 0, "type", ["VEC3"]), "'VEC3'. is not supported here"),
    (put("nodes", 0, "mesh", [0]), r"nodes\[0\].mesh: is not an index"),
    (put("accessors", 0, "type", "VEC9"), "'VEC9' is not supported here"),
    (put("accessors", 0, "byteOffset", -4), r"byteOffset: is not a whole number of at least 0"),
    (put("accessors", 0, "sparse", {"count": 1}), r"sparse.indices.componentType"),
    (put("bufferViews", 0, "byteStride", 8), "elements of 12 bytes, 8 bytes apart"),
    (put("bufferViews", 0, "byteOffset", 500), r"bufferViews\[0\]: ends at byte 548 of a buffer"),
    (put("bufferViews", 0, "buffer", 3), r"bufferViews\[0\].buffer: index 3"),
    (
        put("bufferViews", 0, "extensions", {"EXT_meshopt_compression": {}}),
        "compressed with EXT_meshopt_compression",
    ),
    (
        put(*PRIMITIVE, "extensions", {"KHR_draco_mesh_compression": {}}),
        r"meshes\[0\].primitives\[0\]: is compressed with KHR_draco",
    ),
]


@pytest.mark.parametrize(("change", "message"), BAD, ids=[message for _, message in BAD])
def test_faulty_geometry_names_the_place(
    write: Writer, change: Callable[[dict[str, Any]], Any], message: str
) -> None:
    with pytest.raises(SceneError, match=r"a.glb: .*" + message):
        read(write("a.glb", faulty(change)))


def claimed(count: int) -> Scene:
    """Points without data, and as many beside them as `count` says."""
    scene = Scene()
    empty = {"componentType": 5126, "type": "VEC3", "count": count}
    scene.document["accessors"].append(empty)
    return scene.add({"attributes": {"POSITION": 0}})


def test_what_a_file_claims_takes_no_memory(write: Writer, tmp_path: Path) -> None:
    assert len(read(write("a.glb", claimed(30_000).glb())).points) == 1
    with pytest.raises(SceneError, match="claims 90000 elements, and there is no data"):
        read(write("b.glb", claimed(90_000).glb()))
    scene = claimed(90_000)
    scene.view(bytes(90_000))
    assert len(read(write("c.glb", scene.glb())).points) == 1
    (tmp_path / "short.bin").write_bytes(bytes(60))
    scene = Scene()
    text = scene.add(scene.primitive(QUAD, CORNERS)).gltf("short.bin")
    document = json.loads(text)
    document["buffers"][0]["byteLength"] = document["bufferViews"][0]["byteLength"] = 10**15
    with pytest.raises(SceneError, match="is shorter than"):
        read(write("d.gltf", json.dumps(document).encode()))


def test_images_are_looked_for_in_regular_files_only(write: Writer, tmp_path: Path) -> None:
    os.mkfifo(tmp_path / "pipe")
    long = io.BytesIO()
    Pillow.new("RGB", (6, 4)).save(long, "PNG", pnginfo=noted(2_000_000))
    (tmp_path / "long.png").write_bytes(long.getvalue())
    uris = ["pipe", "/dev/zero", "long.png"]
    scene = Scene(images=[{"uri": uri} for uri in uris], textures=[{"source": 7}])
    scene.document["textures"] += [{"source": number} for number in range(3)]
    numbers = range(5)
    scene.document["materials"] = [{"normalTexture": {"index": number}} for number in numbers]
    parts = [{**scene.primitive(QUAD, CORNERS), "material": number} for number in numbers]
    mesh = read(write("a.glb", scene.add(*parts).glb()))
    images = [slot.images["normal"] for slot in mesh.slots if slot is not None]
    assert [(image.name, image.width, image.missing) for image in images] == [
        ("image 7", 0, True),
        ("pipe", 0, True),
        ("/dev/zero", 0, True),
        ("long.png", 6, False),
        ("texture 4", 0, True),
    ]


def noted(length: int) -> PngImagePlugin.PngInfo:
    note = PngImagePlugin.PngInfo()
    note.add_text("Comment", "x" * length)
    return note


def test_faulty_data(write: Writer, tmp_path: Path) -> None:
    def one(positions: Any = QUAD) -> Scene:
        scene = Scene()
        return scene.add(scene.primitive(positions, CORNERS))

    mesh = read(write("nan.glb", one([*QUAD[:2], (0, float("nan"), 0), QUAD[3]]).glb()))
    assert np.flatnonzero(np.isnan(mesh.points).any(axis=1)).tolist() == [2]
    (tmp_path / "short.bin").write_bytes(bytes(50))
    (tmp_path / "folder").mkdir()
    os.mkfifo(tmp_path / "pipe")
    for uri, message in [
        ("gone.bin", r"buffers\[0\].uri: .*gone.bin cannot be read: No such file"),
        ("short.bin", r"buffers\[0\]: is shorter than the 60 bytes that it states"),
        ("http://example.com/a.bin", "is not a file beside the scene"),
        ("data:;base64,###", "is not base64"),
        ("data:nothing", "has no comma"),
        ("%00", "cannot be read"),
        ("http://[x/a.bin", "is no address"),
        ("folder", "is not a regular file|cannot be read: Is a directory"),
        ("pipe", "is not a regular file"),
    ]:
        with pytest.raises(SceneError, match=message):
            read(write("a.gltf", one().gltf(uri)))
    operator = GltfOperator()
    operator.open(file := write("changed.glb", one().glb()))
    os.utime(file, (1, 1))
    with pytest.raises(SceneError, match="changed on disk since it was opened"):
        operator.view.mesh("/body")
    empty = read(write("empty.glb", Scene().add().glb()))
    assert (len(empty.points), empty.face_count) == (0, 0)
