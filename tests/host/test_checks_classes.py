"""The loader of check classes: what it finds, in which order, and what it makes of the rest."""

from __future__ import annotations

import json
import subprocess
import sys
import textwrap
import types
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from check_tools import BASE, check, module
from lifetimes import collected
from project_tools import finish_log

import core

Directory = core._Settings.Check.Directory


@pytest.fixture(autouse=True)
def _modules_left_alone() -> Iterator[None]:
    """Other modules of the interpreter are as they were, whatever a check module is called."""
    before = {name: id(found) for name, found in sys.modules.items()}
    yield
    for name, found in list(sys.modules.items()):
        if "__plug_in__" in vars(found):
            del sys.modules[name]
    changed = [name for name, found in before.items() if id(sys.modules.get(name)) != found]
    assert changed == []


def names(classes: Any) -> list[str]:
    return [found.__name__ for found in classes]


def outcomes(classes: Any) -> dict[str, str]:
    """Outcome by class, or by module for what is no class."""
    return {note.class_name or note.module: note.outcome for note in classes.report}


def test_classes_come_in_order_of_group_and_index(tmp_path: Path) -> None:
    module(
        tmp_path,
        "a",
        check("Zeta", category="zeta"),
        check("Alpha", category="Alpha"),
        check("Late", category="MESH", sort_index=2.5),
        check("Twin", category="mesh", sort_index=1),
        check("Huge", category="mesh", sort_index=10**400),
        check("Last", category="project"),
    )
    module(tmp_path, "b", check("Other", category="Mesh", sort_index=1), check("First"))
    module(tmp_path / "pkg" / "deep", "m", check("Lod", category="lod"))
    (tmp_path / "pkg" / "__init__.py").write_text("raise RuntimeError")
    (tmp_path / "pkg" / "deep" / "__init__.py").touch()
    module(tmp_path / "no_package", "m", check("Unseen"))
    classes = core.Check._Classes([str(tmp_path)])
    # Equal indices keep the order of discovery, within a module that of the names.
    order = ["First", "Twin", "Other", "Late", "Huge", "Lod", "Last", "Alpha", "Zeta"]
    assert names(classes) == names(classes._array) == order
    assert classes.get("Twin") is classes._array[1]
    assert classes.get("Host") is None
    assert sorted(classes._table) == sorted(order)
    assert classes._group_order[0] == "scene" and len(classes._group_order) == 8
    assert (classes.get_denied(), classes._directory, classes.reloads) == ([], str(tmp_path), 1)
    assert classes.get("Lod").__module__ == "m"


def test_only_classes_two_levels_below_the_base_are_offered(tmp_path: Path) -> None:
    module(
        tmp_path,
        "a",
        check("Check"),
        "class Mixin: pass\n"
        "class Mixed(Mixin, core.Check.Base):\n"
        "    class_id = short_name = long_name = category = 'Mixed'\n"
        "class Plain: pass\n"
        "Again = Check\n"
        "alias = list[int]\n",
    )
    classes = core.Check._Classes([str(tmp_path)])
    assert names(classes) == ["Check", "Mixed"]
    assert outcomes(classes) == {
        "a": "loaded",
        "Check": "loaded",
        "Host": "intermediate",
        "Mixed": "loaded",
    }


# Body of a check class that keeps it from being offered, and what the report says about it.
DENIED = {
    "no identity": ("class_id = ''", '"class_id" is not a text with content'),
    "identity of another type": ("class_id = 5", '"class_id" is not a text with content'),
    "name of another type": ("short_name = None", '"short_name" is not a text'),
    "description": ("description = b'x'", '"description" is not a text'),
    "index is a text": ("sort_index = '1'", '"sort_index" is not a finite number'),
    "index is no number": ("sort_index = float('nan')", '"sort_index" is not a finite number'),
    "wrong block": (
        "parameters = staticmethod(lambda: [])",
        '"parameters" is not an operation that returns a Parameters.Block',
    ),
    "parameters of instances": (
        "def parameters(self): return core.Parameters.Block([])",
        "TypeError: ",
    ),
    "parameters raise": (
        "parameters = staticmethod(lambda: 1 / 0)",
        "ZeroDivisionError: division by zero",
    ),
    "parameters leave": (
        "parameters = staticmethod(lambda: __import__('sys').exit(3))",
        "SystemExit: 3",
    ),
}


@pytest.mark.parametrize(("body", "reason"), DENIED.values(), ids=DENIED)
def test_malformed_classes_are_denied(
    tmp_path: Path, caplog: pytest.LogCaptureFixture, body: str, reason: str
) -> None:
    path = module(tmp_path, "a", check("Good"), check("Bad"), f"    {body}\n")
    classes = core.Check._Classes([str(tmp_path)])
    assert names(classes) == ["Good"]
    assert names(classes.get_denied()) == ["Bad"]
    assert not core._Assert.Check.is_valid(classes.get_denied()[0])
    note = next(note for note in classes.report if note.class_name == "Bad")
    assert (note.outcome, note.file, note.module) == ("denied", str(path), "a")
    assert note.reason.startswith(reason)
    raised = "is not" not in reason
    assert bool(note.traceback) is raised
    finish_log()
    assert len(caplog.records) == (2 if raised else 0)


# Source of a module that cannot be loaded, and the class of the error.
BROKEN = {
    "syntax": ("def (:", "SyntaxError"),
    "import": ("import no_such_module", "ModuleNotFoundError"),
    "exit": ("import sys; sys.exit(1)", "SystemExit"),
    "raises": ("raise LookupError('{} %s')", "LookupError"),
    "encoding": ("# -*- coding: nonsense -*-", "SyntaxError"),
    "null": ("x = '\0'", "SyntaxError"),
    "odd class": ("raise type('A: B', (Exception,), {})", "A: B"),
}


@pytest.mark.parametrize(("source", "error"), BROKEN.values(), ids=BROKEN)
def test_broken_modules_are_noted_and_left_out(
    tmp_path: Path, caplog: pytest.LogCaptureFixture, source: str, error: str
) -> None:
    module(tmp_path, "aa_good", check("One"))
    (tmp_path / "broken_check.py").write_text(source)
    module(tmp_path, "zz_good", check("Two"))
    classes = core.Check._Classes([str(tmp_path)])
    assert names(classes) == ["One", "Two"]
    note = next(note for note in classes.report if note.module == "broken_check")
    assert (note.outcome, note.class_name) == ("failed", "")
    assert note.reason.startswith((error, "ValueError" if error == "SyntaxError" else error))
    assert "broken_check.py" in note.traceback or "null" in note.traceback
    assert "broken_check" not in sys.modules
    finish_log()
    if error == "SyntaxError":
        error = note.reason.partition(":")[0]
    assert [entry.getMessage() for entry in caplog.records] == [
        f"Import Failed: broken_check - {error}"
    ]


def test_interrupts_end_the_search_and_leave_everything(tmp_path: Path) -> None:
    path = module(tmp_path, "a", check("One"))
    classes = core.Check._Classes([str(tmp_path)])
    path.write_text("raise KeyboardInterrupt")
    with pytest.raises(KeyboardInterrupt):
        classes.reload()
    assert (names(classes), classes.reloads, "a" in sys.modules) == (["One"], 1, True)
    assert sys.modules["a"].One is classes.get("One")


def test_directories_that_cannot_be_read_leave_everything(tmp_path: Path) -> None:
    class Fails:
        broken = False

        def __iter__(self) -> Iterator[str]:
            if self.broken:
                raise OSError("unplugged")
            return iter([str(tmp_path)])

    module(tmp_path, "kept_module", check("One"))
    directories = Fails()
    classes = core.Check._Classes(directories)
    directories.broken = True
    with pytest.raises(OSError, match="unplugged"):
        classes.reload()
    assert names(classes) == ["One"]
    assert sys.modules["kept_module"].One is classes.get("One")
    with pytest.raises(TypeError, match="not one text"):
        core.Check._Classes(str(tmp_path))
    assert [classes.get(key) for key in (None, 5, "\ud800")] == [None] * 3


def test_names_of_modules_do_not_mix(tmp_path: Path) -> None:
    first, second = tmp_path / "first", tmp_path / "second"
    module(first, "same_name", check("One"), "PLACE = 1\n")
    module(first, "uses_it", "import same_name\n", check("Two"), "    place = same_name.PLACE\n")
    module(second, "same_name", check("Three"), "PLACE = 2\n")
    module(second, "json", check("Four"), "import sys\nOWN = sys.modules[__name__].__file__\n")
    module(second, "uses_it", "import same_name\n", check("Five"), "    place = same_name.PLACE\n")
    classes = core.Check._Classes([str(first), str(second)])
    assert sorted(classes._table) == ["Five", "Four", "One", "Three", "Two"]
    # Each runs by itself, under its bare name; a module of the interpreter's own is never replaced.
    assert {found.__module__ for found in classes} == {"same_name", "uses_it", "json"}
    assert not hasattr(sys.modules["same_name"], "One")
    assert (classes.get("Two").place, classes.get("Five").place) == (1, 2)
    assert sys.modules["json"] is json
    assert len({note.file for note in classes.report if note.module == "same_name"}) == 2
    classes._directories[:] = []
    classes.reload()
    assert "same_name" not in sys.modules


def test_modules_that_others_mean_are_never_replaced(tmp_path: Path) -> None:
    # One of the interpreter's own and one on the search path, which nobody imported yet.
    script = """
        import sys
        sys.path[:] = {path!r} + [{installed!r}]
        import core
        for name in ("colorsys", "installed_module"):
            sys.modules.pop(name, None)
        classes = core.Check._Classes([{checks!r}])
        assert [found.__name__ for found in classes] == ["One", "Two", "Three"]
        import colorsys, installed_module, own_checks
        assert hasattr(colorsys, "rgb_to_hsv") and installed_module.PLACE == 1
        assert own_checks.Three is classes.get("Three")
    """
    installed, checks = tmp_path / "installed", tmp_path / "checks"
    installed.mkdir()
    (installed / "installed_module.py").write_text("PLACE = 1")
    for index, name in enumerate(["colorsys", "installed_module", "own_checks"]):
        module(checks, name, check(["One", "Two", "Three"][index], sort_index=index))
    code = script.format(path=sys.path, installed=str(installed), checks=str(checks))
    command = [sys.executable, "-c", textwrap.dedent(code)]
    run = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert (run.stderr, run.returncode) == ("", 0)


def test_classes_whose_metaclass_raises_are_denied(tmp_path: Path) -> None:
    source = (
        "class Meta(type):\n"
        "    def __getattribute__(cls, name):\n"
        "        if name == '__qualname__':\n"
        "            raise SystemExit(3)\n"
        "        return type.__getattribute__(cls, name)\n"
        "class Odd(Host, metaclass=Meta):\n"
        "    class_id = 'odd'\n"
    )
    module(tmp_path, "a", check("One"), source, check("Two"))
    classes = core.Check._Classes([str(tmp_path)])
    assert names(classes) == ["One", "Two"]
    assert len(classes.get_denied()) == 1
    assert [note.reason for note in classes.report if note.outcome == "denied"] == ["SystemExit: 3"]


def test_first_of_equal_identities_wins(tmp_path: Path) -> None:
    first, second = tmp_path / "first", tmp_path / "second"
    path = module(first, "a", check("One"), check("Two", class_id="One"))
    module(second, "b", check("Three", class_id="One"), check("Four"))
    classes = core.Check._Classes([str(first), str(second)])
    assert names(classes) == ["One", "Four"]
    twins = [note for note in classes.report if note.outcome == "duplicate"]
    assert [(note.class_name, note.class_id, note.reason) for note in twins] == [
        (name, "One", f"the class id is taken by a check of {path}") for name in ("Two", "Three")
    ]
    disabled = Directory(str(first), name="First", enabled=False)
    assert names(core.Check._Classes([disabled, str(second)])) == ["Four", "Three"]
    assert outcomes(core.Check._Classes([disabled])) == {"": "disabled"}


def test_folders_that_loop_or_are_gone(tmp_path: Path, caplog: pytest.LogCaptureFixture) -> None:
    checks = tmp_path / "checks"
    module(checks / "pkg", "m", check("One"))
    (checks / "pkg" / "__init__.py").touch()
    (checks / "pkg" / "again").symlink_to(checks / "pkg", target_is_directory=True)
    classes = core.Check._Classes([str(checks), str(tmp_path / "gone")])
    assert names(classes) == ["One"]
    found = {(Path(note.file).name, note.outcome, note.reason[:18]) for note in classes.report}
    assert ("again", "duplicate", "the folder was sea") in found
    assert ("gone", "failed", "FileNotFoundError:") in found
    finish_log()
    assert [entry.getMessage() for entry in caplog.records] == [
        f"Lost Check Directory - {tmp_path / 'gone'}"
    ]


def test_reloading_keeps_the_lists_and_takes_new_sources(tmp_path: Path) -> None:
    path = module(tmp_path, "a", check("One", description="a"))
    classes = core.Check._Classes([str(tmp_path)])
    array, denied, report, old = (
        classes._array,
        classes.get_denied(),
        classes.report,
        classes._array[0],
    )
    # Of equal size and within the same second: a cached compilation would be taken for this one.
    module(tmp_path, "a", check("One", description="b"))
    classes.reload()
    assert classes._array is array and classes.get_denied() is denied and classes.report is report
    assert (array[0].description, array[0] is old, classes.reloads) == ("b", False, 2)
    assert not (tmp_path / "__pycache__").exists()
    path.write_text(
        BASE + "import gc, core\n"
        "for found in gc.get_objects():\n"
        "    if type(found) is core.Check._Classes:\n"
        "        found.reload()\n" + check("Again")
    )
    classes.reload()
    assert (names(classes), classes.reloads) == (["Again"], 3)
    path.unlink()
    classes.reload()
    assert (array, denied, report, classes._table) == ([], [], [], {})


def test_modules_find_themselves_while_they_run(tmp_path: Path) -> None:
    # A data class looks its own module up to read texts of annotations.
    source = (
        "from __future__ import annotations\nimport dataclasses\n"
        "@dataclasses.dataclass\nclass Data:\n    value: dataclasses.InitVar[int]\n"
    )
    path = module(tmp_path, "own_module", check("One"))
    path.write_text(source + path.read_text())
    assert names(core.Check._Classes([str(tmp_path)])) == ["One"]


@collected
def test_registries_are_collected_with_their_classes(tmp_path: Path) -> Any:
    module(tmp_path, "a", check("One"))
    classes = core.Check._Classes([str(tmp_path)])
    classes.get("One").registry = classes
    classes._directories[:] = []
    del sys.modules["a"]
    return classes, classes.get("One")


def test_the_embedded_module_is_searched_first(tmp_path: Path) -> None:
    embedded, users = tmp_path / "embedded", tmp_path / "users"
    module(embedded, "a", check("One"))
    module(users, "b", check("Two", class_id="One"))
    directories = core._Settings.Check.Directory.List()
    directories.register("Users", str(users))
    shipped = types.ModuleType("shipped")
    shipped.__file__ = str(embedded / "__init__.py")
    directories.embed(shipped)
    classes = core.Check._Classes(directories)
    assert classes._directories is directories
    assert names(classes) == ["One"]
