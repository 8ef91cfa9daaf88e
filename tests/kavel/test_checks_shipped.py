"""What holds for all checks that ship, and for the page that tells how to write one."""

from __future__ import annotations

import importlib.util
import re
from collections import Counter
from pathlib import Path
from typing import Any

import numpy as np
import pytest

import core
from kavel.testing import MemoryScene, assert_untouched_by_check, box, grid, polygons
from kavel.testing.running import run
from kavel.view import Mesh

ROOT = Path(__file__).resolve().parents[2]


def _tool() -> Any:
    path = ROOT / "tools" / "make_check_docs.py"
    spec = importlib.util.spec_from_file_location("make_check_docs", path)
    assert spec is not None and spec.loader is not None
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


TOOL = _tool()
CHECKS = TOOL.shipped()


def test_every_category_has_two_checks_and_every_check_an_id_of_its_own() -> None:
    categories = core.Constants.Check.Category
    known = [value for name, value in vars(categories).items() if name[0] != "_"]
    numbers = Counter(check.category for check in CHECKS)
    assert set(numbers) == set(known) and min(numbers.values()) >= 2
    assert max(Counter(check.class_id for check in CHECKS).values()) == 1
    places = Counter((check.category, check.sort_index) for check in CHECKS)
    assert max(places.values()) == 1, "two checks of a category have the same place"


@pytest.mark.parametrize("check", CHECKS, ids=lambda check: check.class_id)
def test_the_core_accepts_it_and_its_texts_are_made_for_people(check: Any) -> None:
    assert core._Assert.Check.is_valid(check) and len(check.__mro__) >= 4
    assert check.class_id.startswith("kavel.")
    assert check.short_name and check.long_name and check.description.endswith(".")
    lists = (core.Parameters.TextInputList, core.Parameters.TextMatchList)
    for item in check.parameters().inputs:
        assert item.help_text
        assert item.label or isinstance(item, (*lists, core.Parameters.IntSliceList))


def test_the_page_of_checks_is_up_to_date() -> None:
    assert (ROOT / "docs" / "checks.md").read_text(encoding="utf-8") == TOOL.page(CHECKS)


def odd_meshes() -> dict[str, Mesh]:
    points = np.random.default_rng(3).random((30, 3))
    rows = np.arange(30).reshape(-1, 3).tolist()
    uvs = {"a": points[:, :2]}
    spoilt = points.copy()
    spoilt[::7] = np.nan
    spoilt[::11, 1] = np.inf
    return {
        "empty": polygons(np.zeros((0, 3)), []),
        "points only": polygons(points, []),
        "one face": polygons(points[:3], [(0, 1, 2)]),
        "one place": polygons(points * 0, rows, uv_sets={"a": points[:, :2] * 0}),
        "one point": polygons(points, [(4, 4, 4), (4, 4, 4, 4)]),
        "repeated": polygons(points, [(0, 1, 0, 1), (0, 0, 1), (0, 1, 2, 1), (2, 1, 2, 1, 2)]),
        "not numbers": polygons(spoilt, rows, normals=spoilt, uv_sets={"a": spoilt[:, :2]}),
        "huge": polygons(points * 1e300, rows, normals=points, uv_sets={"a": uvs["a"] * 1e300}),
        "tiny": polygons(points * 1e-300, rows, normals=points * 1e-300, uv_sets=uvs),
        "wide apart": polygons(points * 10.0 ** np.arange(-15, 15)[:, None], rows, uv_sets=uvs),
        "empty slots": polygons(points, rows, slots=[None], materials=[-1] * 10),
    }


@pytest.mark.parametrize("check", CHECKS, ids=lambda check: check.class_id)
def test_nothing_odd_makes_a_check_fail_itself(check: Any) -> None:
    scene = MemoryScene().add("group", type="transform").add("locator")
    for name, mesh in odd_meshes().items():
        scene.add(f"odd/{name}", mesh)
    paths = [None] if check.scene_oriented else scene.paths()
    with np.errstate(all="raise", under="ignore"):
        for path in paths:
            outcome = assert_untouched_by_check(check, path, scene=scene)
            assert outcome.status != "error", (path, outcome.errors)
            assert outcome.passed or outcome.message
            assert len(outcome.message) < 500


def test_a_clean_scene_passes_everything() -> None:
    scene = MemoryScene("/project/hero_v001.glb").add("hero")
    scene.add_lods("hero/head", [box(), grid(1, 1)])
    wrong = {}
    for check in CHECKS:
        for path in [None] if check.scene_oriented else scene.paths():
            outcome = run(check, path, scene=scene)
            # The sheet of the second level has a border, as it should.
            if not outcome.passed and not (
                path and path.endswith("LOD1") and "border" in check.class_id
            ):
                wrong[check.class_id, path] = outcome.message or outcome.errors
    assert not wrong


def test_the_page_on_writing_a_check_works() -> None:
    text = (ROOT / "docs" / "writing-a-check.md").read_text(encoding="utf-8")
    blocks = re.findall(r"```python\n(.*?)```", text, flags=re.DOTALL)
    assert len(blocks) == 4
    assert sum(bool(line.strip()) for line in blocks[0].splitlines()) <= 20
    names: dict[str, Any] = {}
    for block in blocks:
        exec(compile(block, "writing-a-check.md", "exec"), names)
    for name in ("TallMesh", "CappedMesh"):
        assert core._Assert.Check.is_valid(names[name])
