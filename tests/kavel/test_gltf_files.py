"""glTF containers and node graphs: what is read, what is refused, what saving leaves alone."""

from __future__ import annotations

import json
import os
import re
import resource
import signal
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Any, Callable

import pytest
from conftest import Node, glb, gltf, mesh, node

from kavel.errors import SceneError
from kavel.gltf.container import SceneFile
from kavel.gltf.graph import build_graph
from kavel.gltf.paths import name_of

Writer = Callable[[str, Any], str]

BIN = (0x004E4942, b"\x00\x01\xfe\xff")
FOREIGN = (0x12345678, b"keep me!")


@pytest.mark.parametrize(
    ("name", "content", "message"),
    [
        ("a.glb", b"", "is empty"),
        ("a.glb", b"hello", "is not a glTF file: it holds neither binary glTF nor JSON"),
        ("a.glb", b"glTF\x02\x00", "cut off inside its header"),
        ("a.glb", glb(gltf())[:-8], "cut off: "),
        ("a.glb", glb(gltf()).replace(b"\x02\0\0\0", b"\x01\0\0\0", 1), "version 1"),
        ("a.glb", glb(gltf()).replace(b"JSON", b"JSOM"), "byte 16: the first chunk is not JSON"),
        ("a.gltf", b'{"asset": {\n "version": }}', "line 2, column 13: is not JSON"),
        ("a.gltf", b'{"asset": {"version": "\xff"}}', "byte 23: .* not UTF-8"),
        ("a.gltf", b'{"asset": {"version": "2.0"}, "a": NaN}', "NaN is no JSON number"),
        ("a.gltf", b"[" * 100_000, "not usable JSON"),
        ("a.gltf", {"asset": {"version": "1.0"}}, "asset.version: is glTF version 1.0"),
        ("a.gltf", {"name": "a project", "version": 3}, "not a glTF file"),
        ("a.gltf", [], "not a glTF file"),
    ],
)
def test_files_that_are_no_gltf_are_refused(
    write: Writer, name: str, content: Any, message: str
) -> None:
    path = write(name, content)
    with pytest.raises(SceneError, match=re.escape(path) + ".*" + message):
        SceneFile(path)


def test_saving_keeps_chunks_and_unknown_values(write: Writer) -> None:
    document = gltf(
        node("a", extras={"n": None, "e": {}}, extensions={"X": [10**20, 0.1]}), unknown=[1]
    )
    path = write("a.glb", glb(document, BIN, FOREIGN))
    file = SceneFile(path)
    file.document["asset"]["extras"] = {"kavel": "\ud800 ы"}
    file.save()
    again = SceneFile(path)
    assert again.document == file.document
    assert {**again.document, "asset": document["asset"]} == document
    raw = Path(path).read_bytes()
    assert raw.endswith(glb(document, BIN, FOREIGN)[-28:])
    assert int.from_bytes(raw[8:12], "little") == len(raw)
    again.save()
    assert Path(path).read_bytes() == raw


@pytest.mark.parametrize(("indent", "end"), [(None, ""), (2, "\n"), ("\t", "\n")])
def test_a_text_file_keeps_its_layout(write: Writer, indent: Any, end: str) -> None:
    separators = None if indent else (",", ":")
    text = json.dumps(gltf(node("ы")), indent=indent, separators=separators, ensure_ascii=False)
    path = write("a.gltf", (text + end).encode())
    SceneFile(path).save()
    assert Path(path).read_text("utf-8") == text + end


def test_saving_is_refused_when_the_file_changed_meanwhile(write: Writer) -> None:
    path = write("a.gltf", gltf(node("a")))
    file = SceneFile(path)
    other = json.dumps(gltf(node("another"))).encode()
    Path(path).write_bytes(other)
    with pytest.raises(SceneError, match="changed on disk"):
        file.save()
    assert Path(path).read_bytes() == other
    assert os.listdir(os.path.dirname(path)) == ["a.gltf"]


def test_a_disk_that_takes_no_more_leaves_the_old_file(write: Writer) -> None:
    path = write("a.glb", glb(gltf(node("a")), BIN))
    before = Path(path).read_bytes()
    file = SceneFile(path)
    file.document["asset"]["extras"] = {"kavel": "x" * 20_000}
    limits = resource.getrlimit(resource.RLIMIT_FSIZE)
    handler = signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (8192, limits[1]))
    try:
        with pytest.raises(SceneError, match="cannot be saved"):
            file.save()
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
        signal.signal(signal.SIGXFSZ, handler)
    assert Path(path).read_bytes() == before
    assert os.listdir(os.path.dirname(path)) == ["a.glb"]


def test_a_read_only_file_is_not_replaced() -> None:
    script = """
import os, sys
from kavel.errors import SceneError
from kavel.gltf.container import SceneFile
file = SceneFile(sys.argv[1])
if os.getuid() == 0:  # the superuser may write everything
    os.setresuid(65534, 65534, 65534)
try:
    file.save()
except SceneError as error:
    print(error)
"""
    with tempfile.TemporaryDirectory() as folder:  # one that every user can reach
        os.chmod(folder, 0o777)
        path = Path(folder, "a.gltf")
        content = json.dumps(gltf(node("a")), indent=1).encode()
        path.write_bytes(content)
        os.chmod(path, 0o444)
        command = [sys.executable, "-c", script, str(path)]
        done = subprocess.run(command, capture_output=True, text=True, check=True)
        assert done.stdout == f"{path}: cannot be saved: the file is read-only\n"
        assert path.read_bytes() == content


def test_saving_through_a_link_keeps_the_link_and_the_mode(write: Writer, tmp_path: Path) -> None:
    path = write("a.gltf", gltf(node("a")))
    os.chmod(path, 0o640)
    link = tmp_path / "link.gltf"
    link.symlink_to(path)
    SceneFile(str(link)).save()
    assert link.is_symlink()
    assert os.stat(path).st_mode & 0o777 == 0o640


def test_paths_are_unique_and_give_the_name_back() -> None:
    names = ["arm", "arm", "arm#2", "", "", "a/b", "a|b", "a\\b", "a%2Fb", "a b\n", "имя", "\ud800"]
    graph = build_graph(gltf(node("Rig", *map(node, names))), "f")
    paths = graph.children["/Rig"]
    assert paths[:5] == ("/Rig/arm", "/Rig/arm#2", "/Rig/arm%232", "/Rig/#1", "/Rig/#2")
    assert len(set(paths)) == len(names)
    assert [graph.names[path] for path in paths] == names
    assert [name_of(path) for path in paths] == names
    # Comparing paths by their components needs every separator to be one of ours.
    assert all(len(re.split(r"[/\\|]", path)) == 3 for path in paths)


def test_kinds() -> None:
    lod = {"MSFT_lod": {"ids": [1]}}
    document = gltf(
        node("group", node("empty")),
        node("skin", node("bone"), mesh=0),
        node("lod", mesh=0, extensions=lod),
        node("Body_LOD", mesh("Body_LOD0")),
        node("light", extensions={"KHR_lights_punctual": {"light": 0}}),
    )
    kinds = build_graph(document, "f").kinds
    assert kinds == {
        "/group": "group",
        "/group/empty": "empty",
        "/skin": "mesh",
        "/skin/bone": "empty",
        "/lod": "lod",
        "/Body_LOD": "group",
        "/Body_LOD/Body_LOD0": "mesh",
        "/light": "empty",
    }
    named = build_graph(document, "f", re.compile(".*_LOD")).kinds
    assert {path for path in kinds if named[path] != kinds[path]} == {"/Body_LOD"}


def test_which_scenes_are_read() -> None:
    document = gltf(node("a"), node("b"), node("c", node("d")))
    document["scenes"] = [{"nodes": [0]}, {"nodes": [0, 1]}, {}]
    assert build_graph(document, "f").roots == ["/a"]
    del document["scene"]
    assert build_graph(document, "f").roots == ["/a", "/b"]
    del document["scenes"]
    assert build_graph(document, "f").roots == ["/a", "/b", "/c"]


@pytest.mark.parametrize(
    ("change", "place"),
    [
        ({"nodes": {}}, "nodes: is not an array"),
        ({"nodes": ["x"]}, r"nodes\[0\]: is not an object"),
        ({"nodes": [{"name": 5}]}, r"nodes\[0\].name: is not a text"),
        ({"nodes": [{"children": [1]}]}, r"nodes\[0\].children\[0\]: index 1 is not one of 0 to 0"),
        ({"nodes": [{"children": [True]}]}, r"nodes\[0\].children\[0\]: is not an index"),
        ({"nodes": [{"children": [0]}]}, r"nodes\[0\].children\[0\]: node 0 is its own ancestor"),
        (
            {"nodes": [{"children": [1]}, {"children": [2]}, {"children": [1]}]},
            r"nodes\[2\].children\[0\]: node 1 is its own ancestor",
        ),
        (
            {"nodes": [{"children": [1, 2]}, {"name": "x", "children": [2]}, {"name": "y"}]},
            r"nodes\[0\].children\[1\]: node 2 also hangs at nodes\[1\].children\[0\]",
        ),
        ({"scene": 1}, "scene: index 1"),
        ({"scenes": [{"nodes": [0, 0]}], "nodes": [{}]}, r"scenes\[0\].nodes: names a node twice"),
        (
            {"scenes": [], "nodes": [{"children": [1]}, {"children": [0]}]},
            r"nodes\[0\]: the node is its own ancestor",
        ),
    ],
)
def test_malformed_graphs_name_file_and_node(change: dict[str, Any], place: str) -> None:
    document = {**gltf(node("a")), **change}
    with pytest.raises(SceneError, match="^f: " + place):
        build_graph(document, "f")


def test_depth_has_no_recursion_limit_but_a_bound() -> None:
    def chain(length: int, name: str) -> dict[str, Any]:
        document = gltf(Node(name))
        document["nodes"] = [{"name": name, "children": [i + 1]} for i in range(length - 1)]
        document["nodes"].append({"name": name})
        return document

    assert len(build_graph(chain(5_000, "a"), "f").names) == 5_000
    with pytest.raises(SceneError, match=r"nodes\[\d+\].children\[0\]: .* nested too deep"):
        build_graph(chain(6_000, "a" * 100), "f")
