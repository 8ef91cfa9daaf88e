"""What an exported file holds, as a reader that is not ours finds it: all, and nothing else."""

from __future__ import annotations

import os
import shutil
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
import trimesh
from exported import document, export, same_triangles, triangles, unreachable
from geometry import CORNERS, QUAD, Scene

from kavel.errors import SceneError

Writer = Callable[[str, Any], str]
PNG = bytes.fromhex(
    "89504e470d0a1a0a0000000d49484452000000010000000108060000001f15c4890000000d49444154789c6360f8"
    "cf50000003ff01ff0c4f1a2b0000000049454e44ae426082"
)
SQUARE = np.array(QUAD, float)
TURN = [0, 0, 0.70710678118654752, 0.70710678118654752]  # by 90 degrees around z


@pytest.fixture
def characters() -> list[Path]:
    folder = os.environ.get("KAVEL_ASSETS")
    if not folder:
        pytest.skip("KAVEL_ASSETS is not set: no real character was exported")
    return sorted(Path(folder).glob("characters/*.glb"))


@pytest.mark.parametrize(("ending", "args"), [("glb", {}), ("gltf", {}), ("gltf", {"embed": True})])
def test_real_characters_come_out_whole(
    characters: list[Path], tmp_path: Path, ending: str, args: Any
) -> None:
    assert len(characters) == 3
    for source in characters:
        target = tmp_path / f"out.{ending}"
        written = export(str(source), target, args=args)
        assert set(written.sizes) == {str(path) for path in tmp_path.iterdir()}
        assert unreachable(target) == [] and same_triangles(source, target, 0)
        one, two = (trimesh.load_scene(str(path), process=False) for path in (source, target))
        for name in one.geometry:
            before, after = one.geometry[name].visual, two.geometry[name].visual
            assert np.array_equal(before.uv, after.uv)
            image, other = (np.asarray(item.material.baseColorTexture) for item in (before, after))
            assert np.array_equal(image, other)
        assert document(target)["animations"] == document(source)["animations"]
        for path in tmp_path.iterdir():
            path.unlink()


def two_assets() -> Scene:
    """Two top objects that share nothing but a buffer and a buffer view."""
    scene = Scene()
    doc = scene.document
    for name in ("kept", "left"):
        number = len(doc["nodes"])
        doc.setdefault("images", []).append(
            {"name": name, "bufferView": scene.view(PNG + name.encode())}
        )
        doc.setdefault("samplers", []).append({"name": name})
        doc.setdefault("textures", []).append({"source": number // 4, "sampler": number // 4})
        texture = {"index": number // 4}
        normal = {"KHR_materials_clearcoat": {"clearcoatNormalTexture": texture}}
        doc.setdefault("materials", []).append({"name": name, "extensions": normal})
        part = scene.primitive(SQUARE + number, CORNERS)
        part["material"] = number // 4
        doc.setdefault("cameras", []).append({"type": "perspective", "name": name})
        lights = doc.setdefault("extensions", {}).setdefault("KHR_lights_punctual", {"lights": []})
        lights["lights"].append({"type": "point", "name": name})
        light = {"KHR_lights_punctual": {"light": number // 4}}
        scene.add(part, name=name, children=[number + 1, number + 2, number + 3])
        bind = scene.view(np.eye(4, dtype="<f4").tobytes())
        doc["accessors"].append(
            {"bufferView": bind, "componentType": 5126, "count": 1, "type": "MAT4"}
        )
        matrices = len(doc["accessors"]) - 1
        skin = {"joints": [number + 2], "inverseBindMatrices": matrices, "name": name}
        doc.setdefault("skins", []).append(skin)
        doc["nodes"] += [
            {"name": f"{name} camera", "camera": number // 4},
            {"name": f"{name} bone", "extensions": light},
            {"name": f"{name} body", "mesh": number // 4, "skin": number // 4},
        ]
        move = {"input": scene.accessor([0.0, 1.0]), "output": scene.accessor(SQUARE[:2])}
        channels = [{"sampler": 0, "target": {"node": number + 2, "path": "translation"}}]
        doc.setdefault("animations", []).append(
            {"name": name, "samplers": [move], "channels": channels}
        )
    doc["extensionsUsed"] = ["KHR_lights_punctual", "KHR_materials_clearcoat"]
    # One animation moves both; it has two samplers, and only one is to stay.
    first, second = doc["animations"]
    channel = {**second["channels"][0], "sampler": 1}
    doc["animations"].append(
        {
            "name": "both",
            "samplers": first["samplers"] + second["samplers"],
            "channels": [channel, first["channels"][0]],
        }
    )
    return scene


@pytest.mark.parametrize("ending", ["glb", "gltf"])
@pytest.mark.parametrize("root", ["kept", "left"])
def test_nothing_else_is_written(write: Writer, tmp_path: Path, ending: str, root: str) -> None:
    source = write("s.glb", two_assets().glb())
    target = tmp_path / f"out/one.{ending}"
    target.parent.mkdir()
    written = export(source, target, f"/{root}")
    assert unreachable(target) == [] and written.objects == 4 and written.notes == []
    content = document(target)
    for kind in ("images", "samplers", "materials", "cameras", "skins"):
        assert [item["name"] for item in content[kind]] == [root], kind
    assert content["extensions"]["KHR_lights_punctual"]["lights"] == [
        {"type": "point", "name": root}
    ]
    assert [item["name"] for item in content["animations"]] == [root, "both"]
    assert [len(item["samplers"]) for item in content["animations"]] == [1, 1]
    data = b"".join(path.read_bytes() for path in target.parent.iterdir())
    other = {"kept": "left", "left": "kept"}[root]
    assert PNG + root.encode() in data and other.encode() not in data
    number = 4.0 if root == "left" else 0.0
    shown = triangles(target)
    assert np.array_equal(shown[root], (SQUARE + number)[CORNERS].reshape(-1, 3, 3))


def test_of_shared_data_only_what_is_used_is_taken(write: Writer, tmp_path: Path) -> None:
    scene = Scene()
    part, other = scene.primitive(SQUARE, CORNERS), scene.primitive(SQUARE + 5, CORNERS)
    # All positions in one view, one after the other, and a third accessor interleaved with nothing.
    both = scene.view(np.concatenate([SQUARE + 5, SQUARE]).astype("<f4").tobytes())
    for primitive, offset in ((other, 0), (part, 48)):
        entry = scene.document["accessors"][primitive["attributes"]["POSITION"]]
        entry.update(bufferView=both, byteOffset=offset)
    rows = np.arange(4 * 20, dtype=np.uint8).tobytes()
    woven = scene.view(rows, byteStride=20)
    uv = {"bufferView": woven, "componentType": 5126, "count": 4, "type": "VEC2"}
    scene.document["accessors"] += [{**uv, "byteOffset": 0}, {**uv, "byteOffset": 12}]
    count = len(scene.document["accessors"])
    part["attributes"].update(TEXCOORD_0=count - 2, TEXCOORD_1=count - 1)
    scene.add(part, name="a").add(other, name="b")
    source = write("s.glb", scene.glb())
    export(source, tmp_path / "a.glb", "/a")
    data = (tmp_path / "a.glb").read_bytes()
    assert (SQUARE + 5).astype("<f4").tobytes() not in data and rows in data
    assert np.array_equal(triangles(tmp_path / "a.glb")["a"], triangles(source)["a"])


def test_sparse_and_compressed_data_survives(write: Writer, tmp_path: Path) -> None:
    scene = Scene()
    part = scene.primitive(SQUARE, CORNERS)
    moved = {"count": 1, "indices": {"bufferView": scene.view(b"\2\0\0\0"), "componentType": 5121}}
    moved["values"] = {"bufferView": scene.view(np.array([3, 3, 3], "<f4").tobytes())}
    scene.document["accessors"][part["attributes"]["POSITION"]]["sparse"] = moved
    scene.add(part, name="sparse")
    draco = scene.primitive(SQUARE, CORNERS)
    for index in (draco["attributes"]["POSITION"], draco["indices"]):
        del scene.document["accessors"][index]["bufferView"]
    packed = {"bufferView": scene.view(b"draco data"), "attributes": {"POSITION": 0}}
    draco["extensions"] = {"KHR_draco_mesh_compression": packed}
    scene.add(draco, name="draco")
    meshopt = scene.primitive(SQUARE, CORNERS)
    view = scene.document["accessors"][meshopt["attributes"]["POSITION"]]["bufferView"]
    scene.view(b"meshopt data")
    offset = scene.document["bufferViews"].pop()["byteOffset"]
    extension = {"buffer": 0, "byteOffset": offset, "byteLength": 12, "byteStride": 12, "count": 4}
    entry = scene.document["bufferViews"][view]
    entry["extensions"] = {"EXT_meshopt_compression": {**extension, "mode": "ATTRIBUTES"}}
    scene.add(meshopt, name="meshopt")
    used = ["KHR_draco_mesh_compression", "EXT_meshopt_compression", "KHR_mesh_quantization"]
    scene.document["extensionsUsed"] = [*used, "EXT_not_in_use"]
    source = write("s.glb", scene.glb())
    target = tmp_path / "out.glb"
    export(source, target)
    content, data = document(target), target.read_bytes()
    assert content["extensionsUsed"] == [*used, "EXT_not_in_use"]
    start = data.index(b"BIN\0") + 4
    for part in content["meshes"][1]["primitives"]:
        view = content["bufferViews"][part["extensions"][used[0]]["bufferView"]]
        assert data[start + view["byteOffset"] :][: view["byteLength"]] == b"draco data"
    (found,) = (item for item in content["bufferViews"] if "extensions" in item)
    place = found["extensions"][used[1]]
    assert data[start + place["byteOffset"] :][:12] == b"meshopt data"
    assert data[start + found["byteOffset"] :][:48] == SQUARE.astype("<f4").tobytes()
    export(source, tmp_path / "sparse.glb", "/sparse")
    content, data = document(tmp_path / "sparse.glb"), (tmp_path / "sparse.glb").read_bytes()
    (sparse,) = (item["sparse"] for item in content["accessors"] if "sparse" in item)
    view = content["bufferViews"][sparse["values"]["bufferView"]]
    start = data.index(b"BIN\0") + 4 + view["byteOffset"] + sparse["values"].get("byteOffset", 0)
    assert np.frombuffer(data, "<f4", 3, start).tolist() == [3, 3, 3]
    for name, used_name in (("draco", used[0]), ("meshopt", used[1])):
        with pytest.raises(SceneError, match=used_name):
            flags = {"automatic_uv": True}
            export(source, tmp_path / "no.glb", f"/{name}", **flags)
    assert not (tmp_path / "no.glb").exists()


def test_images_outside_come_along(write: Writer, tmp_path: Path) -> None:
    scene = Scene()
    part = scene.primitive(SQUARE, CORNERS, TEXCOORD_0=SQUARE[:, :2])
    part["material"] = 0
    texture = {"pbrMetallicRoughness": {"baseColorTexture": {"index": 0}}}
    images = [{"uri": "my%20tex.png", "name": "Skin/1"}, {"uri": "gone.png"}]
    scene.document.update(
        materials=[{**texture, "occlusionTexture": {"index": 1}}],
        textures=[{"source": 0}, {"source": 1}],
        images=images,
    )
    source = write("in/s.glb", scene.add(part).glb())
    write("in/my tex.png", PNG)
    folder = tmp_path / "out"
    folder.mkdir()
    export(source, folder / "A b.gltf")
    assert sorted(os.listdir(folder)) == ["A b.Skin_1.png", "A b.bin", "A b.gltf"]
    assert document(folder / "A b.gltf")["images"][0]["uri"] == "A%20b.Skin_1.png"
    (note,) = export(source, folder / "a.gltf").notes
    assert "gone.png cannot be read" in note
    assert (folder / "a.Skin_1.png").read_bytes() == PNG
    export(source, folder / "c.glb")
    assert document(folder / "c.glb")["images"][0]["mimeType"] == "image/png"
    shutil.rmtree(tmp_path / "in")
    for name in ("a.gltf", "c.glb"):
        shape = next(iter(trimesh.load_scene(str(folder / name), process=False).geometry.values()))
        assert shape.visual.material.baseColorTexture.size == (1, 1)


@pytest.mark.parametrize("name", ["a.gltf", "a.glb"])
def test_a_file_that_is_no_image_stays_where_it_is(
    write: Writer, tmp_path: Path, name: str
) -> None:
    """A scene of somebody else must not bring files of this machine into an export."""
    secret = tmp_path / "secret.txt"
    secret.write_text("root:x:0:0")
    scene = Scene()
    part = scene.primitive(SQUARE, CORNERS)
    part["material"] = 0
    texture = {"pbrMetallicRoughness": {"baseColorTexture": {"index": 0}}}
    images = [{"uri": str(secret), "mimeType": "image/png"}]
    scene.document.update(materials=[texture], textures=[{"source": 0}], images=images)
    folder = tmp_path / "out"
    folder.mkdir()
    (note,) = export(write("in/s.glb", scene.add(part).glb()), folder / name).notes
    assert "secret.txt is no image of a known kind" in note
    assert document(folder / name)["images"] == images
    assert not any(b"root:x" in path.read_bytes() for path in folder.iterdir())


def test_extras_extensions_and_animations_as_asked(write: Writer, tmp_path: Path) -> None:
    scene = two_assets()
    doc = scene.document
    doc["nodes"][0].update(extras={"a": 1}, extensions={"X_number": {"node": 3}, "X_text": "y"})
    doc["asset"]["extras"] = {"kavel": "[]", "mine": 1}
    doc["extensionsUsed"] += ["X_number", "X_text"]
    source = write("s.glb", scene.glb())
    whole = export(source, tmp_path / "whole.glb")
    assert whole.notes == [], "nothing was left out, so every index is what it was"
    part = export(source, tmp_path / "part.glb", "/kept")
    assert len(part.notes) == 1 and part.notes[0].startswith("X_number is kept as it is, but may")
    content = document(tmp_path / "part.glb")
    assert content["nodes"][0]["extras"] == {"a": 1} and content["asset"]["extras"] == {"mine": 1}
    assert content["extensionsUsed"][-2:] == ["X_number", "X_text"]
    args = {"extras": False, "extensions": "Drop", "animations": False}
    assert export(source, tmp_path / "less.glb", "/kept", args=args).notes == []
    less = document(tmp_path / "less.glb")
    assert "extras" not in str(less) and "X_" not in str(less) and "animations" not in less
    assert unreachable(tmp_path / "less.glb") == []


def test_pointers_of_animations_are_led_along(write: Writer, tmp_path: Path) -> None:
    scene = two_assets()

    def channel(pointer: str) -> Any:
        extension = {"KHR_animation_pointer": {"pointer": pointer}}
        return {"sampler": 0, "target": {"path": "pointer", "extensions": extension}}

    pointers = [
        "/materials/0/alphaCutoff",
        "/materials/1/alphaCutoff",
        "/nodes/4/scale",
        "/nodes/0/scale",
    ]
    lights = "/extensions/KHR_lights_punctual/lights/1/intensity"
    scene.document["animations"][1]["channels"] = [channel(text) for text in [*pointers, lights]]
    target = tmp_path / "left.glb"
    export(write("s.glb", scene.glb()), target, "/left")
    found = [
        item["target"]["extensions"]["KHR_animation_pointer"]["pointer"]
        for item in document(target)["animations"][0]["channels"]
    ]
    assert found == ["/materials/0/alphaCutoff", "/nodes/0/scale", lights.replace("1", "0")]


def test_a_channel_without_its_sampler_is_told(write: Writer, tmp_path: Path) -> None:
    scene = two_assets()
    both = scene.document["animations"][2]
    both["channels"][0]["sampler"] = 5
    written = export(write("s.glb", scene.glb()), tmp_path / "left.glb", "/left")
    told = "animations[2].channels[0] is left out, because its sampler is not one of 0 to 1"
    assert written.notes == [told]
    assert [item["name"] for item in document(tmp_path / "left.glb")["animations"]] == ["left"]
    # What moves other objects is none of this export's business.
    assert export(str(tmp_path / "s.glb"), tmp_path / "kept.glb", "/kept").notes == []


def test_an_index_that_leads_nowhere_is_told(write: Writer, tmp_path: Path) -> None:
    def told(change: Callable[[Any], object], root: str) -> str:
        """The error, without the file."""
        scene = two_assets()
        change(scene.document)
        with pytest.raises(SceneError) as info:
            export(write("bad.glb", scene.glb()), tmp_path / "a.glb", root)
        os.unlink(tmp_path / "bad.glb")
        return f"{info.value.place}: {info.value.message}"

    primitive = "meshes[0].primitives[0]"
    for change, place in (
        (lambda it: it["meshes"][0]["primitives"][0].update(indices=99), f"{primitive}.indices: "),
        (
            lambda it: it["meshes"][0]["primitives"][0]["attributes"].update(NORMAL=99),
            f"{primitive}.attributes.NORMAL: index 99 of accessors is not one of",
        ),
        (
            lambda it: it["animations"][1]["samplers"][0].update(output=99),
            "animations[1].samplers[0].output: ",
        ),
        (
            lambda it: it["meshes"][0].update(primitives="x"),
            "meshes[0].primitives: is not an array",
        ),
        (lambda it: it["meshes"][0]["primitives"].append(3), "meshes[0].primitives["),
        (
            lambda it: it["meshes"][0]["primitives"][0].update(attributes=[]),
            f"{primitive}.attributes: is not an object",
        ),
    ):
        root = "/left" if "anim" in place else "/kept"  # the first animation is left out then
        assert told(change, root).startswith(place)
    scene = two_assets()
    scene.document["materials"][0]["normalTexture"] = {"index": 7}
    source = write("s.glb", scene.glb())
    expected = r"materials\[0\].normalTexture.index: index 7 of textures is not one of 0 to 1"
    with pytest.raises(SceneError, match=expected):
        export(source, tmp_path / "a.glb", "/kept")
    export(source, tmp_path / "b.glb", "/left")
    for bad in ({"size": 1}, {"up_axis": "X"}, {"scale": 0.0}, {"embed": True}):
        with pytest.raises(SceneError, match=next(iter(bad))):
            export(source, tmp_path / "c.glb", "/left", args=bad)
    assert sorted(os.listdir(tmp_path)) == ["b.glb", "s.glb"]
