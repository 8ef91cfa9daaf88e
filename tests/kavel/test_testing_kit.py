"""The test kit for authors of checks: scenes in memory, runs, and assertions that can fail."""

from __future__ import annotations

import subprocess
import sys
from collections.abc import Iterator
from dataclasses import replace
from typing import Any

import numpy as np
import pytest
from geometry import CORNERS, QUAD, Scene

import core
from kavel import testing as kit
from kavel.checking import MeshCheck
from kavel.gltf.operator import GltfOperator
from kavel.testing import MemoryScene, box, grid
from kavel.view import Selection, current, use

Inputs = core.Parameters
UNIT = np.array([0.0, 0.0, 0.0, 1.0])


class Base(core.Check.Base):
    """What the checks below have in common."""

    class_id = short_name = long_name = "kit"
    description = "a check of the tests"
    category = core.Constants.Check.Category.Mesh
    sort_index = 0
    scene_oriented = False
    mask = None

    def found(self, *items: Any) -> None:
        self.result.extend(items)
        raise core.Error.ValidationError

    def result_message(self) -> str:
        return f"{self.result.length} things"


class Low(Base):
    """Finds points below a height; its fix lifts them."""

    lift = True

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([core.Parameters.FloatRange("height", value=0.0)])

    def check(self, path: str, parameters: Any) -> None:
        (height,) = (item.value for item in parameters)
        mesh = current().mesh(path)
        assert mesh is not None
        low = np.flatnonzero(mesh.points[:, 1] < height)
        if len(low):
            self.could_be_fixed = self.could_be_selected = True
            self.found(*low)

    def fix_result(self, path: str, parameters: Any) -> None:
        (height,) = (item.value for item in parameters)
        mesh = current().mesh(path)
        assert mesh is not None
        points = mesh.points.copy()
        points[:, 1] = np.maximum(points[:, 1], height)
        current().set_mesh(path, replace(mesh, points=points))

    def select_result(self) -> None:
        current().select([Selection("body", "points", np.array(list(self.result)))])


class Idle(Low):
    """Its fix does nothing."""

    def fix_result(self, path: str, parameters: Any) -> None:
        pass


class Raising(Low):
    """Its fix repairs the mesh and then fails."""

    def fix_result(self, path: str, parameters: Any) -> None:
        super().fix_result(path, parameters)
        raise RuntimeError("after the work")


class Growing(Low):
    """Its fix moves everything up a little more each time."""

    def fix_result(self, path: str, parameters: Any) -> None:
        mesh = current().mesh(path)
        assert mesh is not None
        current().set_mesh(path, replace(mesh, points=mesh.points + (0, 1, 0)))


class Meddling(Low):
    """Moves the object that it is to check, and passes."""

    def check(self, path: str, parameters: Any) -> None:
        old = current().transform(path)
        current().set_transform(path, replace(old, translation=old.translation + 1))


class Grabbing(Low):
    """Changes the selection while it checks."""

    def check(self, path: str, parameters: Any) -> None:
        current().select([Selection(path)])


class Writing(Low):
    """Writes into the arrays that it is shown."""

    def check(self, path: str, parameters: Any) -> None:
        mesh = current().mesh(path)
        assert mesh is not None
        mesh.points[0] = 7


class Emptying(Low):
    """Writes into the containers that it is shown."""

    def check(self, path: str, parameters: Any) -> None:
        mesh = current().mesh(path)
        assert mesh is not None
        mesh.uv_sets.clear()  # type: ignore[attr-defined]


class Swapping(Low):
    """Puts other points into the mesh that it is shown."""

    def check(self, path: str, parameters: Any) -> None:
        mesh = current().mesh(path)
        assert mesh is not None
        mesh.points = mesh.points + 1  # type: ignore[misc]


class Shrinking(MeshCheck):
    """Its fix makes the mesh smaller each time."""

    class_id = short_name = long_name = description = "kit"
    category = core.Constants.Check.Category.Mesh

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([])

    def find(self, mesh: Any, values: Any) -> None:
        if mesh.points.max() > 0.4:
            self.report("is large", fixable=True)

    def fix(self, mesh: Any, values: Any) -> Any:
        return replace(mesh, points=mesh.points / 2)


class Everything(Base):
    """Reports its parameters."""

    @staticmethod
    def parameters() -> Any:
        items = [Inputs.ComboBox.Item("up", "Upwards"), Inputs.ComboBox.Item("down", "Downwards")]
        pair = Inputs.IntSlice(Inputs.IntRange("start"), Inputs.IntRange("stop"))
        return Inputs.Block(
            [
                Inputs.IntRange("count"),
                Inputs.FloatRange("scene"),
                Inputs.Switch("strict"),
                Inputs.RegEx("names"),
                Inputs.ComboBox("way", items),
                Inputs.TextInputList("banned", [Inputs.TextInput("old", True)]),
                Inputs.TextMatchList("wanted", []),
                Inputs.IntSliceList("slices", pair, []),
            ]
        )

    def check(self, path: str, parameters: Any) -> None:
        self.found(parameters.state)


class OfScene(Base):
    scene_oriented = True

    def check(self, path: str, parameters: Any) -> None:
        self.found(path)


@pytest.fixture
def scene() -> Iterator[MemoryScene]:
    scene = MemoryScene().add("body", box())
    with use(scene):
        yield scene


def test_a_run(scene: MemoryScene) -> None:
    outcome = kit.run(Low, height=-1.0)
    assert (outcome.status, outcome.found, outcome.fixable) == ("pass", [], False)
    outcome = kit.run(Low, "body")
    assert outcome.status == "fail" and not outcome.passed
    assert len(outcome.found) == 4 and outcome.message == "4 things"
    assert outcome.fixable and outcome.selectable and outcome.log == ""
    assert len(outcome.records) == 1
    kit.select(outcome)
    (selection,) = scene.selections
    assert selection.elements is not None and selection.elements.tolist() == outcome.found
    assert kit.run(Low, as_info=True).status == "info"
    fixed = kit.fix(outcome)
    assert fixed.passed and len(fixed.records) == 2 and scene.changes() == {"body": ["points"]}
    assert kit.run(OfScene).found == [scene.file]
    broken = kit.run(Base, "body")
    assert broken.status == "error" and "NotImplementedError" in broken.errors


def test_parameters_are_written_as_one_thinks_of_them(scene: MemoryScene) -> None:
    (state,) = kit.run(
        Everything,
        count=3,
        parameters={"scene": 1},
        strict=True,
        names="a.*",
        way="Downwards",
        banned=["x", "y"],
        wanted=["z"],
        slices=[(1, 2)],
    ).found
    assert state == {
        "count": {"value": 3},
        "scene": {"value": 1.0},
        "strict": {"enabled": True},
        "names": {"text": "a.*"},
        "way": {"selected_attr": "down"},
        "banned": [{"text": "x", "enabled": True}, {"text": "y", "enabled": True}],
        "wanted": [{"text": "z"}],
        "slices": [{"start": {"value": 1}, "stop": {"value": 2}}],
    }
    assert kit.run(Everything, way="up").found[0]["way"] == {"selected_attr": "up"}
    refused: list[tuple[dict[str, Any], Any, str]] = [
        ({"counts": 3}, ValueError, "no parameter 'counts'; it has count, scene, strict"),
        ({"count": 3.5}, TypeError, "count: 3.5 is no int"),
        ({"count": True}, TypeError, "count: True is no int"),
        ({"strict": 1}, TypeError, "strict: 1 is no bool"),
        ({"way": "left"}, ValueError, "way: there is no item 'left'"),
        ({"banned": "text"}, TypeError, "banned: 'text' is no list"),
        ({"slices": [(1, 2, 3)]}, ValueError, "slices: .* is no pair"),
    ]
    for values, error, message in refused:
        with pytest.raises(error, match=message):
            kit.run(Everything, **values)


class NoBlock(Base):
    @staticmethod
    def parameters() -> Any:
        return []


class Repeated(Base):
    @staticmethod
    def parameters() -> Any:
        return Inputs.Block([Inputs.Switch("a"), Inputs.Switch("a")])


def test_wrong_use_is_told(scene: MemoryScene) -> None:
    with pytest.raises(KeyError, match="no object at 'gone'; there are body"):
        kit.run(Low, "gone")
    scene.add("other")
    with pytest.raises(ValueError, match="say on which of the 2 objects Low runs"):
        kit.run(Low)
    with pytest.raises(TypeError, match=r"NoBlock.parameters\(\) returns \[\]"):
        kit.run(NoBlock, "body")
    with pytest.raises(TypeError, match="Everything has a parameter 'count'"):
        kit.assert_finds(Everything, "body", count=1)
    with pytest.raises(core.Error.AttributeNameRepeat):
        kit.run(Repeated, "body")


def test_a_run_without_a_current_scene() -> None:
    with pytest.raises(LookupError, match="pass scene="):
        kit.run(Low, "body")
    assert kit.run(Low, scene=MemoryScene().add("body", grid())).passed


@pytest.mark.parametrize(
    ("assertion", "check", "options", "message"),
    [
        (kit.assert_passes, Low, {}, r"Low on 'body': fail, found 4 \[0, .*, but should pass"),
        (kit.assert_passes, Writing, {}, "(?s)error, .*read-only"),
        (kit.assert_passes, Emptying, {}, "(?s)error, .*mappingproxy"),
        (kit.assert_passes, Swapping, {}, "(?s)error, .*cannot assign to field"),
        (
            kit.assert_fix_is_idempotent,
            Shrinking,
            {},
            r"Shrinking fixed twice changed .*\s+body: points",
        ),
        (kit.assert_passes, Meddling, {}, r"without a fix changed the scene\s+body: transform"),
        (kit.assert_passes, Grabbing, {}, "changed the selection while checking"),
        (kit.assert_finds, Low, {"height": -1.0}, "pass, found 0 .*, but should find something"),
        (kit.assert_finds, Base, {}, "Base on 'body': error"),
        (kit.assert_finds, Low, {"count": 3}, "3 were expected"),
        (kit.assert_finds, Low, {"items": [0, 1, 4, 6]}, r"expected was \[0, 1, 4, 6\]"),
        (kit.assert_finds, Low, {"message": "five"}, "does not say 'five'"),
        (kit.assert_finds, Low, {"status": "info"}, "fail, .* should find something"),
        (kit.assert_fix_works, Low, {"height": -1.0}, "pass, .*with nothing to fix"),
        (kit.assert_fix_works, OfScene, {"path": "body"}, "fail, .*with nothing to fix"),
        (kit.assert_fix_works, Idle, {}, "after the fix, Idle on 'body': fail"),
        (kit.assert_fix_works, Raising, {}, "(?s)after the fix, Raising.*after the work"),
        (
            kit.assert_fix_is_idempotent,
            Growing,
            {},
            r"Growing fixed twice changed .*\s+body: points",
        ),
        (kit.assert_untouched_by_check, Meddling, {}, "Meddling without a fix changed the scene"),
    ],
)
def test_assertions_fail(
    scene: MemoryScene, assertion: Any, check: Any, options: Any, message: str
) -> None:
    with pytest.raises(AssertionError, match=message):
        assertion(check, options.pop("path", "body"), **options)


def test_assertions_hold(scene: MemoryScene) -> None:
    kit.assert_passes(Low, height=-1.0)
    found = np.flatnonzero(box().points[:, 1] < 0)
    kit.assert_finds(Low, count=4, items=found, message="4 things", status="fail")
    before = scene.snapshot()
    kit.assert_fix_works(Low)
    scene.restore(before)
    kit.assert_fix_is_idempotent(Low)


def test_a_fix_on_a_file(write: Any) -> None:
    file = Scene()
    file.add(file.primitive(np.array(QUAD) - (0, 0.5, 0), CORNERS))
    operator = GltfOperator()
    operator.open(write("a.glb", file.glb()))
    view = operator.view
    before = view.snapshot()
    kit.assert_finds(Low, "/body", count=2, scene=view)
    kit.assert_fix_is_idempotent(Low, "/body", scene=view)
    assert view.changes() == {"/body": ["points"]}
    view.restore(before)
    kit.assert_finds(Low, "/body", count=2, scene=view)
    view.operator.save()
    kit.assert_fix_works(Low, "/body", scene=view)
    view.operator.save()
    operator.open(view.file)
    kit.assert_passes(Low, "/body", scene=operator.view)


def test_no_test_runner_is_needed() -> None:
    code = "import sys, kavel.testing; sys.exit('pytest' in sys.modules)"
    assert subprocess.run([sys.executable, "-c", code], check=False).returncode == 0
