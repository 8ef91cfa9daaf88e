"""The environment a host supplies: its paths, its folders and what child processes can read."""

from __future__ import annotations

import os
import platform
from pathlib import Path

import pytest

import core

VARIABLES = ("KAVEL-SETTINGS", "KAVEL-TARGET", "KAVEL-SCOPE")


@pytest.fixture(autouse=True)
def _home_and_variables(monkeypatch: pytest.MonkeyPatch) -> None:
    for name in VARIABLES:
        monkeypatch.setenv(name, "stale")
    monkeypatch.setattr(core.Environment, "user_home", "/home/ann")


class StudioEnvironment(core.Environment):
    target = "maya"
    scope = "studio"

    def get_settings_directory(self) -> str:
        return "/studio/settings"


@pytest.mark.parametrize(
    ("path", "encoded", "decoded"),
    [
        ("/home/ann/work/a.json", "~/work/a.json", "/home/ann/work/a.json"),
        ("/home/ann//work/../a.json", "~/a.json", "/home/ann/a.json"),
        ("/mnt/share/a.json", "/mnt/share/a.json", "/mnt/share/a.json"),
        # The home is found as a text, wherever it stands, and every "~" is expanded.
        ("/home/anna/a.json", "~a/a.json", "/home/anna/a.json"),
        ("/x/home/ann/a", "/x~/a", "/x/home/ann/a"),
        ("/home/ann/back\\slash", "~/back/slash", "/home/ann/back/slash"),
        ("/home/ann/\udcff/ж", "~/\udcff/ж", "/home/ann/\udcff/ж"),
    ],
)
def test_paths_survive_the_users_form(path: str, encoded: str, decoded: str) -> None:
    assert core.Environment.encode_user(path) == encoded
    assert core.Environment.decode_user(encoded) == decoded


def test_the_home_may_be_a_path(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setattr(core.Environment, "user_home", tmp_path)
    assert core.Environment.encode_user(tmp_path / "a.json") == "~/a.json"
    assert StudioEnvironment().root == str(tmp_path / ".kavel")
    monkeypatch.setattr(core.Environment, "user_home", 3)
    with pytest.raises(TypeError, match="user_home is an object of class int"):
        core.Environment.encode_user("/a")


@pytest.mark.parametrize("home", [None, ""])
def test_no_home_is_a_type_error(home: str | None, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(core.Environment, "user_home", home)
    for operation in (core.Environment.encode_user, core.Environment.decode_user):
        with pytest.raises(TypeError, match="USERPROFILE"):
            operation("/a.b/c")
    with pytest.raises(TypeError):
        StudioEnvironment().root  # noqa: B018


def test_construction_publishes_the_host() -> None:
    StudioEnvironment()
    assert [os.environ[name] for name in VARIABLES] == ["/studio/settings", "maya", "studio"]


def test_abstract_operations_raise() -> None:
    class Bare(core.Environment):
        def __init__(self) -> None:
            """A host may leave the base constructor out."""

    bare = Bare()
    for name in ("get_settings_file", "get_projects_directory", "get_statistics_file"):
        with pytest.raises(NotImplementedError, match=name):
            getattr(bare, name)()
    for name in ("target", "scope"):
        with pytest.raises(NotImplementedError, match=name):
            getattr(bare, name)


def test_root_is_made_once(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(core.Environment, "user_home", str(tmp_path))
    environment = StudioEnvironment()
    assert environment.root == environment.root == str(tmp_path / ".kavel")
    assert (tmp_path / ".kavel").is_dir()
    monkeypatch.setattr(core.Environment, "user_home", str(tmp_path / "missing" / "home"))
    with pytest.raises(FileNotFoundError):
        environment.root  # noqa: B018


def test_local_default_lives_beside_the_module(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(core, "__file__", str(tmp_path / "core.so"))
    monkeypatch.setattr(core.Environment, "user_home", None)
    kept = tmp_path / ".kavel" / "standalone" / "projects" / "kept.json"
    for _ in range(2):
        local = core._LocalEnv()
        assert local.get_settings_file() == str(tmp_path / ".kavel/standalone/settings.json")
        assert local.get_statistics_file() == str(tmp_path / ".kavel/standalone/statistics.json")
        assert local.get_projects_directory() == str(kept.parent)
        kept.touch()
    assert kept.exists()
    assert os.environ["KAVEL-TARGET"] == local.target == "standalone"
    assert os.environ["KAVEL-SCOPE"] == platform.system() + platform.release()
    assert os.environ["KAVEL-SETTINGS"] == local.get_settings_directory()


@pytest.mark.parametrize("folder", [".kavel", ".kavel/standalone", ".kavel/standalone/projects"])
def test_a_file_in_place_of_the_folder_is_an_error(
    folder: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(core, "__file__", str(tmp_path / "core.so"))
    place = tmp_path / folder
    place.parent.mkdir(parents=True, exist_ok=True)
    place.write_text("not a folder")
    with pytest.raises((FileExistsError, NotADirectoryError)):
        core._LocalEnv()
