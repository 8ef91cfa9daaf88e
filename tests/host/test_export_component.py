"""The export component: where files go, what the operator is told, what survives a run."""

from __future__ import annotations

import gc
import subprocess
import sys
import textwrap
import weakref
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import pytest
from project_tools import StandIn, logged
from scene_host import MemoryHost, Stage

import core

CheckMode = core.Constants.Check.Mode
ExportMode = core.Constants.Export.Mode
Parameters = core.Parameters
Bucket, Joint = core.Scene._Buffer.DataBucket, core.Scene._Buffer.DataJoint


class Fbx(Parameters.Options):
    def __init__(self) -> None:
        items = [Parameters.ComboBox.Item(text.lower(), text) for text in "YZ"]
        inputs = [Parameters.FloatRange("scale", value=1.0), Parameters.ComboBox("axis", items)]
        group = Parameters.Group("Units", inputs)
        super().__init__("fbx", "Filmbox", contents=[Parameters.Switch("embed"), group])


class Host(MemoryHost):
    """`act` is what the exporter does with a path; `answer` what the dialog answers."""

    def __init__(self) -> None:
        super().__init__({"Hero": {}, "Wheel": {}, "Car": {"Door": {}}})
        self.act: Callable[[Path], Any] = lambda path: None
        self.answer: Any = None
        self.file: str | None = None
        self.left_with: list[Any] = []

    def export(self, roots: Any, file_path: Any, type: Any, args: Any, **flags: Any) -> Any:
        self.note("export", roots, file_path, type, args, flags)
        return self.act(Path(file_path))

    def directory_dialog(self, *arguments: Any) -> Any:
        self.note("directory_dialog", *arguments)
        return self.answer

    def get_current_file(self) -> str | None:
        return self.file

    @contextmanager
    def selection_manager(self) -> Iterator[None]:
        self.note("selection_manager")
        error: Any = None
        try:
            yield
        except BaseException as raised:
            error = raised
            raise
        finally:
            self.left_with.append(type(error))


class Store:
    def __init__(self) -> None:
        self.records: list[Any] = []
        self.written = 0

    def add(self, record: Any) -> None:
        assert record.key == "exported"
        data = record.data
        assert data.pop("timestamp") > 0 and data.pop("speed") >= 0
        self.records.append(data)

    def write(self) -> None:
        self.written += 1


class Desk:
    """The component over a host, with stand-ins for the rest of the program and a folder."""

    def __init__(self, folder: Path, *hierarchies: Any, formats: Any = (Fbx,)) -> None:
        """`hierarchies` are names of buckets, each with the paths of its roots."""
        self.folder = folder
        self.host = Host()
        self.stage = Stage(self.host)
        self.stage.buffer.set([bucket(name, *roots) for name, *roots in hierarchies])
        self.store = Store()
        record = StandIn(export=StandIn())
        history = StandIn(get_record=lambda: record)
        self.settings = StandIn(
            check=StandIn(mode=CheckMode.Project),
            export=StandIn(mode=ExportMode.Local, directory="~"),
        )
        self.api = StandIn(
            settings=self.settings,
            statistics=self.store,
            callbacks=self.stage.callbacks,
            env=StandIn(decode_user=lambda path: path.replace("~", str(folder))),
            project=StandIn(get_current=lambda: StandIn(history=history)),
        )
        self.record = record.export
        self.export = core.Api._Export(self.api, self.host, self.stage.buffer, formats)
        self.host.calls.clear()

    def project(self) -> list[tuple[str, bool]]:
        """Exports the ticked hierarchies; name and success of each task."""
        self.stage.events.clear()
        self.export.project(str(self.folder))
        return self.outcome()

    def outcome(self) -> list[tuple[str, bool]]:
        return [(task.name, task.is_confirmed()) for task in self.export.queue]

    def written(self) -> list[str]:
        return [Path(call[2]).name for call in self.host.called("export")]

    def names(self) -> list[str]:
        return sorted(path.name for path in self.folder.iterdir())


def bucket(name: Any, *roots: str) -> Any:
    if len(roots) == 1:
        return Bucket(Joint(name=name, path=roots[0], type="car"), name)
    children = [Joint(name=root, path=root, type="car") for root in roots]
    return Bucket(Joint(name=name, path="", type="ghost", children=children), name)


def test_the_operator_is_told_everything(tmp_path: Path) -> None:
    desk = Desk(tmp_path, ("Parts", "/Hero", "/gone", "/Wheel"), ("Car", "/Car"), ("Off", "/Hero"))
    desk.stage.buffer.get()[2].checked = False
    desk.export.options.selected._parameters["axis"].set_selected("Z")
    desk.export.flags.load({"triangulate": True})
    desk.settings.export.mode = ExportMode.Project
    desk.record.directory = "~"
    desk.export.start()
    arguments = {"embed": False, "scale": 1.0, "axis": "Z"}
    flags = {"automatic_uv": False, "triangulate": True, "reset_xforms": False}
    assert desk.host.called("selection_manager", "export", "directory_dialog") == [
        ("selection_manager",),
        ("export", ["/Hero", "/Wheel"], str(tmp_path / "Parts.fbx"), "fbx", arguments, flags),
        ("export", ["/Car"], str(tmp_path / "Car.fbx"), "fbx", arguments, flags),
    ]
    first, second = (call[4] for call in desk.host.called("export"))
    assert first is not second
    assert desk.outcome() == [("Parts", True), ("Car", True)]
    assert desk.stage.events == ["export_success"]
    assert desk.store.records == [{"format": "fbx", "count": 2, "skipped": 0}]
    assert (desk.store.written, desk.host.left_with) == (1, [type(None)])
    assert [(task.name, list(task.roots)) for task in desk.export._queue] == [
        ("Parts", ["/Hero", "/Wheel"]),
        ("Car", ["/Car"]),
    ]


def test_the_selection_goes_out_root_by_root(tmp_path: Path) -> None:
    desk = Desk(tmp_path, ("Car", "/Car"))
    desk.settings.check.mode = CheckMode.Selection
    desk.host.file = str(tmp_path / "scene.glb")
    desk.host.selection = ["/Hero", "/Car/Door"]
    desk.export.start()
    assert desk.outcome() == [("_Hero", True), ("_Car_Door", True)]
    assert desk.written() == ["_Hero.fbx", "_Car_Door.fbx"]
    desk.host.selection = []
    desk.export.selected(tmp_path)
    assert (desk.outcome(), desk.stage.events) == ([], ["export_success", "empty_export_selection"])
    # To some exporters a root without a path is the whole scene.
    desk.host.get_selection_roots = lambda: [""]  # type: ignore[method-assign]
    desk.export.selected(tmp_path)
    assert desk.stage.events[-1] == "empty_export_selection"
    desk.settings.check.mode = 7
    desk.export.start()
    assert (len(desk.written()), desk.store.written) == (2, 1)


@pytest.mark.parametrize(
    ("mode", "given", "found"),
    [
        (ExportMode.Project, "~/out", "out"),
        (ExportMode.Project, "~/gone", None),
        (ExportMode.Project, "", None),
        (ExportMode.Local, "{}/out/scene.glb", "out"),
        (ExportMode.Local, "{}/gone/scene.glb", None),
        (ExportMode.Local, "scene.glb", None),
        (ExportMode.Local, None, None),
        (ExportMode.Choose, "{}/out", "out"),
        (ExportMode.Choose, "{}/file", None),
        (ExportMode.Choose, "", None),
        (ExportMode.Choose, None, None),
        (7, "{}/out", None),
    ],
)
def test_where_files_go(mode: int, given: str | None, found: str | None, tmp_path: Path) -> None:
    desk = Desk(tmp_path, ("Car", "/Car"))
    (tmp_path / "out").mkdir()
    (tmp_path / "file").touch()
    path = given.format(tmp_path) if given else given
    desk.settings.export.mode = mode
    desk.record.directory, desk.host.file, desk.host.answer = path, path, path
    desk.export.start()
    expected = [] if found is None else [str(tmp_path / found / "Car.fbx")]
    assert [call[2] for call in desk.host.called("export")] == expected
    assert desk.stage.events == (["export_success"] if found else ["lost_export_directory"])
    assert desk.store.written == len(expected)
    asked = [("directory_dialog", str(tmp_path), "Set Directory")] * (mode == ExportMode.Choose)
    assert desk.host.called("directory_dialog") == asked


VERSIONS = [
    ([], "Hero", "Hero.v01.fbx"),
    (["Hero.v01.fbx", "Hero.v03.FBX"], "Hero", "Hero.v04.fbx"),
    (["Hero.v02.Fbx", "Hero.v07.obj", "Hero.v08.fbx.bak"], "Hero", "Hero.v01.fbx"),
    (["a Hero.v05.fbx"], "Hero", "Hero.v01.fbx"),
    (["Hero2.v05.fbx", "Hero.fbx"], "Hero", "Hero.v06.fbx"),
    (["Hero.v0.fbx"], "Hero", "Hero.v01.fbx"),
    ([f"Hero.v{10**30}.fbx"], "Hero", f"Hero.v{10**30 + 1}.fbx"),
    (["Hero.v٣.fbx"], "Hero", "Hero.v04.fbx"),
    (["a+b.v04.fbx", "aab.v02.fbx"], "a+b", "a+b.v05.fbx"),
    (["a+b.v02.fbx", "aab.v04.fbx"], "a+b", "a+b.v05.fbx"),
    (["f(x.v03.fbx"], "f(x", "f(x.v04.fbx"),
    (["___x.v02.fbx"], "../x", "___x.v03.fbx"),
]


@pytest.mark.parametrize(("files", "name", "expected"), VERSIONS)
def test_a_version_is_one_above_all(
    files: list[str], name: str, expected: str, tmp_path: Path
) -> None:
    for file in files:
        (tmp_path / file).write_text("kept", encoding="utf-8")
    desk = Desk(tmp_path, (name, "/Car"))
    create = desk.export._create_path
    assert create(str(tmp_path), name, "fbx", True) == str(tmp_path / expected)
    plain = expected.rpartition(".v")[0] + ".fbx"
    assert create(tmp_path / "x" / "..", name, "FBX", False) == str(tmp_path / plain)

    desk.export.flags.version_control = True
    desk.host.act = lambda path: path.open("x", encoding="utf-8").close()
    assert desk.project() == desk.project() == [(name, True)]
    assert desk.written()[0] == expected
    assert desk.names() == sorted([*files, *desk.written()])
    assert all((tmp_path / file).read_text(encoding="utf-8") == "kept" for file in files)


def test_versions_need_a_folder(tmp_path: Path, caplog: Any) -> None:
    desk = Desk(tmp_path, ("Car", "/Car"))
    with pytest.raises(FileNotFoundError):
        desk.export._create_path(str(tmp_path / "gone"), "Car", "fbx", True)
    desk.export.flags.version_control = True
    desk.export.project(tmp_path / "gone")
    assert desk.stage.events == ["export_skipped"]
    assert any("FileNotFoundError: " in entry for entry in logged(caplog))
    for nothing in ("", None):
        desk.stage.events.clear()
        desk.export.project(nothing)
        assert desk.stage.events == ["lost_export_directory"]
    assert desk.written() == []


def test_files_of_one_name(tmp_path: Path, caplog: Any) -> None:
    desk = Desk(tmp_path, ("A", "/Car"), ("A", "/Hero"), ("A", "/Wheel"), ("B/", "/Car"))
    desk.host.act = lambda path: path.write_text("x", encoding="utf-8")
    assert desk.project() == [("A", True)] * 3 + [("B/", True)]
    assert desk.names() == ["A.fbx", "B_.fbx"]
    assert len([entry for entry in logged(caplog) if "one file" in entry]) == 1
    desk.export.flags.version_control = True
    desk.project()
    assert desk.names()[:3] == ["A.fbx", "A.v01.fbx", "A.v02.fbx"]
    assert len([entry for entry in logged(caplog) if "one file" in entry]) == 1


PROGRAM = """
    import sys
    from pathlib import Path
    from test_export_component import Desk
    desk = Desk(Path(sys.argv[1]), ("A", "/Car"), ("A", "/Hero"))
    desk.export.flags.version_control = True
    desk.host.act = lambda path: path.open("x").close()
    assert all(desk.project() == [("A", True)] * 2 for _ in range(20))
"""


def test_programs_share_a_folder(tmp_path: Path) -> None:
    path = f"import sys; sys.path[:0] = {sys.path!r}\n"
    command = [sys.executable, "-c", path + textwrap.dedent(PROGRAM), str(tmp_path)]
    programs = [subprocess.Popen(command, stderr=subprocess.PIPE) for _ in range(3)]
    for program in programs:
        assert (program.communicate(timeout=120)[1], program.returncode) == (b"", 0)
    assert sorted(tmp_path.iterdir()) == sorted(
        tmp_path / f"A.v{number:02d}.fbx" for number in range(1, 121)
    )


class Torn:
    def __bool__(self) -> bool:
        raise ValueError("neither")


@pytest.mark.parametrize(
    ("answer", "written"),
    [
        (None, True),
        (core.Constants.Plugin.Status.Success, True),
        ("path", True),
        (core.Constants.Plugin.Status.Failure, False),
        (0, False),
        (Torn(), False),
        (OSError("no space {} %s"), False),
        (NotImplementedError("no exporter"), False),
    ],
)
def test_one_failure_costs_one_file(
    answer: Any, written: bool, tmp_path: Path, caplog: Any
) -> None:
    desk = Desk(tmp_path, ("A", "/Car"), ("Gone", "/gone"), ("B", "/Hero"))

    def act(path: Path) -> Any:
        if path.name != "A.fbx":
            return None
        if isinstance(answer, Exception):
            raise answer
        return answer

    desk.host.act = act
    assert desk.project() == [("A", written), ("Gone", False), ("B", True)]
    assert desk.written() == ["A.fbx", "B.fbx"]
    assert desk.stage.events == ["export_success", "export_skipped"]
    count = 1 + written
    assert desk.store.records == [{"format": "fbx", "count": count, "skipped": 3 - count}]
    assert desk.host.left_with == [type(None)]
    if isinstance(answer, Exception):
        assert f"{type(answer).__name__}: {answer}" in logged(caplog)
    desk.host.act = lambda path: False
    desk.project()
    assert desk.stage.events == ["export_skipped"]


def test_without_formats_nothing_is_written(tmp_path: Path, caplog: Any) -> None:
    for formats in (None, []):
        desk = Desk(tmp_path, ("A", "/Car"), formats=formats)
        assert desk.project() == [("A", False)]
        assert desk.stage.events == ["export_skipped"]
        assert desk.host.called("export", "selection_manager") == []
        assert desk.store.records == [{"format": "", "count": 0, "skipped": 1}]
    assert any("no format" in entry for entry in logged(caplog))


def test_whatever_runs_inside_an_export(tmp_path: Path, caplog: Any) -> None:
    desk = Desk(tmp_path, ("A", "/Car"), ("B", "/Hero"))

    def meddle(*arguments: Any) -> None:
        desk.export.start()
        desk.export.project(str(tmp_path))
        desk.export._resolve_queue(str(tmp_path))
        desk.export.queue.clear()
        desk.export.options.load({})
        desk.export.flags.load({"triangulate": True, "version_control": True})
        desk.stage.buffer.set([])
        gc.collect()

    desk.host.act = meddle
    desk.stage.callbacks.export_success.register(meddle)
    seen: list[Any] = []
    desk.stage.callbacks.export_success.register(lambda *given: seen.append((given, len(tasks))))
    tasks = desk.export.queue
    assert desk.project() == []
    assert desk.written() == ["A.fbx", "B.fbx"]
    assert [call[5]["triangulate"] for call in desk.host.called("export")] == [False, False]
    assert seen == [((), 0)]
    assert desk.store.records == [{"format": "fbx", "count": 2, "skipped": 0}]
    assert any("under way" in entry for entry in logged(caplog))
    desk.stage.callbacks.export_success.delete(meddle)
    desk.stage.buffer.set([bucket("A", "/Car")])
    # The exporter alone empties the queue too early: handlers still see the tasks.
    assert desk.project() == [("A", True)]
    assert seen == [((), 0), ((), 1)]


def test_an_interrupt_ends_the_run(tmp_path: Path) -> None:
    desk = Desk(tmp_path, ("A", "/Car"), ("B", "/Hero"))
    desk.export.flags.version_control = True

    def act(path: Path) -> None:
        if path.name == "B.v01.fbx":
            raise KeyboardInterrupt
        path.touch()

    desk.host.act = act
    with pytest.raises(KeyboardInterrupt):
        desk.project()
    assert (desk.outcome(), desk.names()) == ([("A", True), ("B", False)], ["A.v01.fbx"])
    assert (desk.host.left_with, desk.stage.events) == ([KeyboardInterrupt], [])
    assert desk.store.records == [{"format": "fbx", "count": 1, "skipped": 1}]
    desk.host.act = lambda path: path.touch()

    def plan() -> None:
        task = core._Export.Queue.Task("mine")
        task.add("/Hero")
        desk.export.queue.add(task)

    desk.export._perform(plan, tmp_path)
    assert (desk.outcome(), desk.written()[2:]) == ([("mine", True)], ["mine.v01.fbx"])


def test_failures_around_the_files(tmp_path: Path, caplog: Any) -> None:
    desk = Desk(tmp_path, ("A", "/Car"))
    for operation in ("selection_manager", "object_exists"):
        desk.host.fail = {operation: OSError("the host is gone")}
        with pytest.raises(OSError, match="gone"):
            desk.project()
    desk.host.fail = {}
    desk.store.add = None  # type: ignore[assignment, method-assign]
    assert desk.project() == [("A", True)]
    assert any("TypeError" in entry for entry in logged(caplog))


def test_a_dropped_component_is_collected(tmp_path: Path) -> None:
    desk = Desk(tmp_path, ("A", "/Car"))
    desk.project()
    desk.api.export = desk.host.held = desk.export
    desk.stage.callbacks.export_success.register(desk.export.start)
    parts = (desk.export, desk.api, desk.export.queue, desk.export.flags, desk.export.options)
    seen = [weakref.ref(part) for part in parts]
    del desk, parts
    gc.collect()
    assert [reference() for reference in seen] == [None] * len(seen)
