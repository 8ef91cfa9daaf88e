"""Exports onto a disk that is full, into a folder that is gone, over files that must not go."""

from __future__ import annotations

import contextlib
import os
import resource
import shutil
import signal
from collections.abc import Iterator
from pathlib import Path
from types import SimpleNamespace
from typing import Any, Callable

import numpy as np
import pytest
from exported import document, export, triangles
from geometry import CORNERS, QUAD, Scene

from kavel.errors import SceneError
from kavel.gltf.exporting.output import Output
from kavel.gltf.operator import GltfOperator

Writer = Callable[[str, Any], str]
NOISE = np.random.default_rng(1).random((4000, 3))


@pytest.fixture(autouse=True, params=["links", "no links"])
def file_system(request: pytest.FixtureRequest, monkeypatch: pytest.MonkeyPatch) -> None:
    """Some file systems have no hard links."""

    def refuse(*_: Any, **__: Any) -> None:
        raise PermissionError(1, "Operation not permitted")

    if request.param == "no links":
        monkeypatch.setattr(os, "link", refuse)


@pytest.fixture
def scene(write: Writer) -> str:
    """Two objects: a small one, and one of some 48 kilobytes."""
    scene = Scene()
    scene.add(scene.primitive(QUAD, CORNERS), name="small")
    scene.add(scene.primitive(NOISE, range(3999)), name="large")
    return write("in/scene.gltf", scene.gltf())


@contextlib.contextmanager
def small_disk(size: int) -> Iterator[None]:
    limits = resource.getrlimit(resource.RLIMIT_FSIZE)
    handler = signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, limits[1]))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
        signal.signal(signal.SIGXFSZ, handler)


def content(folder: Path) -> dict[str, bytes]:
    return {path.name: path.read_bytes() for path in folder.iterdir()}


@pytest.mark.parametrize("ending", ["glb", "gltf"])
@pytest.mark.parametrize("versions", [False, True])
def test_a_full_disk_loses_nothing(scene: str, tmp_path: Path, ending: str, versions: bool) -> None:
    folder = tmp_path / "out"
    folder.mkdir()
    export(scene, folder / f"a.{ending}", "/small")
    operator = GltfOperator()
    operator.open(scene)
    operator.exports.flags = SimpleNamespace(version_control=versions)
    before, source = content(folder), Path(scene).read_bytes()
    target = folder / (f"b.{ending}" if versions else f"a.{ending}")
    with small_disk(20_000), pytest.raises(SceneError, match="cannot be written: File too large"):
        export(scene, target, "/large", operator=operator)
    assert content(folder) == before and Path(scene).read_bytes() == source
    (failed,) = operator.exports.made
    assert failed.written is None and "File too large" in failed.error
    export(scene, target, "/large", operator=operator)
    assert len(triangles(target)["large"]) == 1333


def test_a_folder_that_is_gone(scene: str, tmp_path: Path) -> None:
    operator = GltfOperator()
    operator.open(scene)
    folder = tmp_path / "out"
    folder.mkdir()
    shutil.rmtree(folder)
    with pytest.raises(SceneError, match="cannot be written: its folder is not there"):
        export(scene, folder / "a.glb", operator=operator)
    assert not folder.exists()


def test_half_of_an_export_never_takes_the_place_of_an_earlier_one(
    scene: str, tmp_path: Path
) -> None:
    folder = tmp_path / "out"
    folder.mkdir()
    export(scene, folder / "a.gltf", "/small")
    (folder / "a.gltf").unlink()
    (folder / "a.gltf").mkdir()  # so that the last step, and only that, fails
    before = (folder / "a.bin").read_bytes()
    with pytest.raises(SceneError, match="cannot be written"):
        export(scene, folder / "a.gltf", "/large")
    assert sorted(os.listdir(folder)) == ["a.bin", "a.gltf"]
    assert (folder / "a.bin").read_bytes() == before


def test_the_scene_and_its_files_are_never_replaced(write: Writer, tmp_path: Path) -> None:
    made = Scene()
    made.add(made.primitive(QUAD, CORNERS), name="a")
    scene = write("scene.gltf", made.gltf(uri="scene%20data.bin"))
    write("scene data.bin", bytes(made.data))
    before = content(tmp_path)
    os.symlink(tmp_path, tmp_path / "link")
    for target in ("scene.gltf", "link/scene.gltf", "scene data.gltf"):
        with pytest.raises(SceneError, match="is the open scene, or belongs to it"):
            export(scene, tmp_path / target)
    os.unlink(tmp_path / "link")
    assert content(tmp_path) == before


def test_versions_never_replace_a_file(scene: str, tmp_path: Path) -> None:
    folder = tmp_path / "out"
    folder.mkdir()
    operator = GltfOperator()
    operator.open(scene)
    operator.exports.flags = SimpleNamespace(version_control=True)
    (folder / "a.v01.gltf").write_text("theirs")
    (folder / "a.v02.bin").write_text("theirs too")
    with pytest.raises(SceneError, match="is there already"):
        export(scene, folder / "a.v01.gltf", operator=operator)
    operator.exports.next_version = lambda path: path.replace("v01", "v02")
    written = export(scene, folder / "a.v01.gltf", operator=operator)
    assert [os.path.basename(path) for path in written.sizes] == ["a.v02.gltf", "a.v02.2.bin"]
    assert (folder / "a.v01.gltf").read_text() == "theirs"
    assert (folder / "a.v02.bin").read_text() == "theirs too"
    assert document(folder / "a.v02.gltf")["buffers"][0]["uri"] == "a.v02.2.bin"


def test_a_file_that_appears_while_another_is_written(tmp_path: Path) -> None:
    path = tmp_path / "a.v01.gltf"
    with pytest.raises(FileExistsError), Output(str(path), True, {}) as output:
        for name in (output.beside(".bin"), ""):
            with output.open(name) as stream:
                stream.write(b"ours")
        path.write_bytes(b"theirs")
        output.commit()
    assert content(tmp_path) == {"a.v01.gltf": b"theirs"}


def test_replacing_keeps_the_rights_of_a_file(scene: str, tmp_path: Path) -> None:
    target = tmp_path / "a.glb"
    export(scene, target)
    assert target.stat().st_mode & 0o777 == 0o666 & ~_umask()
    target.chmod(0o640)
    export(scene, target)
    assert target.stat().st_mode & 0o777 == 0o640


def _umask() -> int:
    mask = os.umask(0)
    os.umask(mask)
    return mask
