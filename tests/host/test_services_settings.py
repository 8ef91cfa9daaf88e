"""The user's settings: what a file of any content gives, what is kept, and who is told."""

from __future__ import annotations

import gc
import json
import os
import sys
import types
import weakref
from pathlib import Path
from typing import Any

import pytest
from project_tools import logged

import core

Settings = core._Settings
Directory = Settings.Check.Directory
Presets = Settings.Check.Presets
Config = Settings.Check.Config


@pytest.fixture(autouse=True)
def _no_pauses(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr("time.sleep", lambda seconds: None)
    monkeypatch.setenv("KAVEL-SERVER", "stale")


@pytest.fixture
def clock(monkeypatch: pytest.MonkeyPatch) -> list[float]:
    """The time since the epoch that the core is told: the last element."""
    moments = [1000.0]
    monkeypatch.setattr("time.time", lambda: moments[-1])
    return moments


def environment(folder: Path, **changes: Any) -> Any:
    values: dict[str, Any] = {
        "target": "maya",
        "scope": "studio.tools",
        "get_settings_file": lambda: str(folder / "settings.json"),
        "get_statistics_file": lambda: str(folder / "statistics.json"),
        **changes,
    }
    return types.SimpleNamespace(**values)


def settings_of(folder: Path, content: Any) -> Any:
    text = content if isinstance(content, str) else json.dumps(content)
    (folder / "settings.json").write_text(text, encoding="utf-8")
    return Settings(environment(folder))


DEFAULTS = {
    "version": 4,
    "check": {"directories": [], "mode": 0, "list": {}, "presets": []},
    "export": {"mode": 0, "directory": "~"},
    "workspace": {"project": "", "check_updates": True},
    "server": {"enabled": False, "host": "", "port": 443, "erase_sent": False},
}


def test_what_is_written_is_read(tmp_path: Path) -> None:
    env = environment(tmp_path)
    settings = Settings(env)
    assert settings.data() == DEFAULTS
    settings.check.mode = core.Constants.Check.Mode.Project
    settings.check.directories.register("mine", str(tmp_path))
    settings.check.config.get("a", force=True).enabled = True
    settings.check.presets.add(" пресет ", settings.check.config.clone())
    settings.export.mode = core.Constants.Export.Mode.Local
    settings.workspace.project = "героj.json"
    settings.server.port = 8080
    settings.write()
    again = Settings(env)
    stored = json.loads((tmp_path / "settings.json").read_text(encoding="utf-8"))
    assert list(stored) == ["version", "check", "export", "workspace", "server"]
    assert stored == settings.data() == again.data()
    assert again.check.presets.names == ["пресет"]
    assert again.check is again.check
    assert again.check.config is again.check.config
    with pytest.raises(AttributeError):
        Settings(types.SimpleNamespace(get_settings_file=lambda: "x", target="maya"))


@pytest.mark.parametrize(
    ("content", "entry", "aside"),
    [
        ({"version": 3, "export": {"mode": 2}}, "Incompatible Settings Version - ", "copy"),
        ({"export": {"mode": 2}}, "Incompatible Settings Version - ", "copy"),
        ([{"version": 4}], "Incompatible Settings File", "copy"),
        ("{broken", "Read Corrupted Settings: ", "moved"),
        ("[" * 100_000, "RecursionError: ", "copy"),
    ],
)
def test_a_file_of_no_use_gives_defaults_and_is_kept(
    content: Any, entry: str, aside: str, tmp_path: Path, caplog: pytest.LogCaptureFixture
) -> None:
    settings = settings_of(tmp_path, content)
    text = content if isinstance(content, str) else json.dumps(content)
    assert settings.data() == DEFAULTS
    assert [message.startswith(entry) for message in logged(caplog)] == [True]
    kept = tmp_path / ".corrupted"
    assert kept.exists() == (aside == "moved")
    settings.write()
    settings.write()
    assert {path.read_text() for path in kept.iterdir()} == {text}
    assert json.loads((tmp_path / "settings.json").read_text()) == DEFAULTS


@pytest.mark.parametrize("wrong", [None, 7, "text", [1], {"x": 1}, True, 1e99, [[]], [None, {}]])
def test_fields_of_any_type_fall_back(wrong: Any, tmp_path: Path) -> None:
    for top in ("check", "export", "workspace", "server"):
        data = settings_of(tmp_path, {"version": 4, top: wrong}).data()
        assert data == DEFAULTS
        for key in DEFAULTS[top]:  # type: ignore[attr-defined]
            read = settings_of(tmp_path, {"version": 4, top: {key: wrong}}).data()[top][key]
            default = DEFAULTS[top][key]  # type: ignore[index]
            assert type(read) is type(default)
            assert read == default or isinstance(wrong, (type(default), dict, list))


def test_a_folder_that_cannot_be_written_is_logged(
    tmp_path: Path, caplog: pytest.LogCaptureFixture
) -> None:
    settings = Settings(environment(tmp_path / "none"))
    assert logged(caplog) == []
    settings.write()
    assert logged(caplog)[0].startswith("FileNotFoundError: ")


def test_directories(tmp_path: Path, caplog: pytest.LogCaptureFixture) -> None:
    for name in ("a", "b", "module"):
        (tmp_path / name).mkdir()
    module = types.ModuleType("shipped")
    module.__file__ = str(tmp_path / "module" / "__init__.py")
    directories = Directory.List()
    directories.embed(module)
    (default,) = directories
    assert (default, default.name, default.locked) == (str(tmp_path / "module"), "Default", True)
    default.enabled = False
    assert default.enabled

    assert directories.register("a", tmp_path / "b" / ".." / "a", enable=False)
    for refused in ("", str(tmp_path / "none"), str(tmp_path / "none" / "file.py")):
        assert not directories.register("x", refused)
    b = Directory(tmp_path / "b", "b")
    directories.insert(0, b)
    assert [list(directories), len(directories)] == [[default, b, str(tmp_path / "a")], 2]
    assert list(directories)[1] is b and directories[0] is b
    assert isinstance(b, str)
    assert directories[-1].data == {"name": "a", "path": str(tmp_path / "a"), "enabled": False}
    directories[-1].enabled = True
    assert directories.data[1]["enabled"]

    total = Directory.List([{"path": str(tmp_path / "a"), "name": "first"}]) + directories
    assert [each.name for each in total] == ["Default", "first", "b", "a"]
    with pytest.raises(TypeError):
        total.append(str(tmp_path))

    stored = [*directories.data, {"path": str(tmp_path / "none")}, {"name": "no path"}, 3]
    stored.append({"path": os.path.relpath(tmp_path / "b")})
    directories.load(stored)
    assert [each.name for each in directories] == ["Default", "b", "a", ""]
    assert [entry.split(" ")[0] for entry in logged(caplog)] == ["Lost", *["Incompatible"] * 2] + [
        "Relative"
    ]
    for nothing in (None, "shipped", types.ModuleType("without file")):
        directories.embed(nothing)
        assert len(list(directories)) == 3


def test_presets_sort_themselves_and_note_changes(clock: list[float]) -> None:
    presets = Presets()
    first = presets.add("b", Config({"x": {"enabled": True}}))
    presets.add("a", Config())
    presets.add("a", Config())
    stamp = first.stamp
    clock.append(2000.0)
    for preset in presets:
        if preset == first:
            preset.name = "0"
    assert presets.names == ["0", "a", "a"]
    assert (first.stamp, first.changed, len(stamp)) == (stamp, 2000.0, 32)
    clock.append(3000.0)
    first.config = Config()
    assert first.changed == 3000.0

    presets.sync_applied(Config({}))
    assert [preset.applied for preset in presets] == [True, True, True]
    first.config.get("x", force=True)
    presets.sync_applied(Config({}))
    assert [preset.applied for preset in presets] == [False, True, True]

    stored = presets.data
    assert list(stored[0]) == ["stamp", "changed", "name", "list"]
    again = Presets([*stored, "no preset"])
    assert again.data == stored
    assert next(iter(again)) == first
    twin = Presets.Set({"stamp": stamp, "name": " padded "})
    assert (twin == first, twin.data["name"]) == (True, "padded")
    assert presets.pop(twin) is first
    assert presets.pop(twin) is None
    first.name = "zz"
    assert presets.names == ["a", "a"]


class FakeCheckList:
    """Remembers what it was loaded from."""

    def __init__(self) -> None:
        self.config: Any = None
        self.loaded: list[Any] = []

    def load(self, config: Any) -> None:
        self.loaded.append(config)


def test_a_folder_that_is_gone_for_a_while_stays_in_the_file(tmp_path: Path) -> None:
    drive = tmp_path / "drive"
    drive.mkdir()
    settings = Settings(environment(tmp_path))
    settings.check.directories.register("d", drive)
    settings.write()
    drive.rmdir()
    for _ in range(2):
        gone = Settings(environment(tmp_path))
        assert gone.check.directories.data == []
        gone.write()
    drive.mkdir()
    back = Settings(environment(tmp_path))
    assert [each.name for each in back.check.directories] == ["d"]
    back.write()
    assert len(back._read()["check"]["directories"]) == 1


def test_presets_of_one_stamp_are_told_apart() -> None:
    presets = Settings.Check.Presets([{"name": name, "stamp": "1"} for name in ("b", "a")])
    presets.pop(list(presets)[1])
    assert presets.names == ["a"]
    (unstamped,) = Settings.Check.Presets([{"name": "a", "stamp": ""}])
    assert unstamped.data["stamp"]


@pytest.mark.parametrize("port", [-1, 65536, 10**30])
def test_ports_are_small_numbers(port: int) -> None:
    server = Settings.Server({"port": 80})
    with pytest.raises(ValueError, match="65535"):
        server.port = port
    with pytest.raises(TypeError):
        server.port = True
    assert server.port == 80


def test_the_editor_copies_between_check_list_and_presets() -> None:
    checklist, presets = FakeCheckList(), Presets()
    editor = Presets.Editor(checklist, presets)
    preset = presets.add("kept", Config({"a": {"enabled": True}}))
    for action in (editor.upload, editor.apply):
        action(preset)
    editor.create("none yet")
    editor.sync_applied()
    assert (editor._config_loaded, editor.names, checklist.loaded) == (False, ["kept"], [])

    checklist.config = config = Config({"b": {"opened": True}})
    editor.apply(preset)
    assert (checklist.config is config, checklist.loaded) == (True, [config])
    assert config == preset.config
    config.get("c", force=True)
    editor.create("copy")
    editor.sync_applied()
    assert [(each.name, each.applied) for each in presets] == [("copy", True), ("kept", False)]
    editor.upload(preset)
    assert preset.config == config
    config.get("d", force=True)
    assert preset.config != config
    editor.erase(preset)
    assert editor.names == ["copy"]

    checklist.editor = editor  # type: ignore[attr-defined]
    gone = weakref.ref(checklist)
    del checklist, editor, action
    gc.collect()
    assert gone() is None


@pytest.mark.skipif(sys.platform == "win32", reason="other texts are refused there")
def test_the_servers_address_is_published(tmp_path: Path, caplog: pytest.LogCaptureFixture) -> None:
    settings = settings_of(tmp_path, {"version": 4, "server": {"host": "tools", "port": 1}})
    assert os.environ["KAVEL-SERVER"] == "tools:1"
    settings.server.port = 8080
    assert os.environ["KAVEL-SERVER"] == "tools:8080"
    settings.server.host = "бюро"
    assert os.environ["KAVEL-SERVER"] == "бюро:8080"
    settings.server.host = "a\0b"
    assert logged(caplog)[0].startswith("ValueError: ")
    for wrong in ("80", None, 8080.5):
        with pytest.raises(TypeError):
            settings.server.port = wrong
    assert settings.server.data["port"] == 8080


def test_addresses_follow_target_and_scope(tmp_path: Path) -> None:
    urls = Settings(environment(tmp_path)).urls
    assert urls.host.endswith(".invalid")
    assert urls.latest == f"https://{urls.host}/validator/downloads/maya/studio-tools/latest/"
    assert urls.documentation_editor == f"{urls.home}/validator/#project-editor"
    assert (urls.feedback, urls.port) == (urls.home + "/feedback", 443)
    assert urls.path.format_scope("Windows10") == "Windows10"


@pytest.mark.parametrize(
    ("name", "method", "approved"),
    [
        ("a b ", "SPACE", "a b"),
        ("aж", "LATIN", "a"),
        ("aжі", "EN_RU", "aж"),
        ("myghost", "GHOST", "my"),
        ("жі ", "EMPTY", "жі "),
        ("жі ", None, "жі "),
        (None, "LATIN", None),
        (5, "SPACE", 5),
    ],
)
def test_name_filters(name: Any, method: Any, approved: Any) -> None:
    method = method and getattr(core.Constants.Name.Filter, method)
    assert Settings.approved_name(name, method) == approved
    expected = isinstance(name, str) and (approved == name)
    assert Settings.is_approved(name, method) is expected
    if isinstance(name, str):
        assert Settings.is_approved(approved, method)
    assert not Settings.is_approved("", core.Constants.Name.Filter.EMPTY)
