"""What is printed fits the terminal, and nothing is lost for it."""

from __future__ import annotations

from pathlib import Path
from typing import Any, Callable

import pytest
from conftest import gltf, mesh, node, project, rule
from rich.cells import cell_len
from rich.text import Text

from kavel.cli import main
from kavel.columns import fitted
from kavel.wrapping import wrapped

SAMPLES = Path(__file__).resolve().parents[2] / "samples"
Writer = Callable[[str, Any], str]
Captured = pytest.CaptureFixture[str]


@pytest.mark.parametrize(
    ("text", "lines"),
    [
        ("short", ["short"]),
        ("one two three four", ["one two", "  three", "  four"]),
        ("a\n\nb", ["a", "", "b"]),
        ("  one two three", ["  one two", "    three"]),
        ("/a/path/of/folders", ["/a/path/", "  of/", "  folders"]),
        ("see /a/path/name", ["see /a/", "  path/", "  name"]),
        ("a.r/bb.r/c.r", ["a.r/bb.r/", "  c.r"]),
        ("ab_cde.json", ["ab_", "  cde.json"]),
        ("abcdefgh.js.on", ["abcdefgh.", "  js.on"]),
        ("https://x", ["https://x"]),
        ("httpshttps://x", ["httpshttps", "  ://x"]),
        ("x" * 25, ["x" * 10, "  " + "x" * 8, "  " + "x" * 7]),
        ("骨" * 7, ["骨" * 5, "  骨骨"]),
    ],
)
def test_wrapping(text: str, lines: list[str]) -> None:
    assert [line.plain for line in wrapped(Text(text), 10)] == lines


@pytest.mark.parametrize(
    ("natural", "width", "widths"),
    [
        ([5, 10, 20], 80, [5, 10, 20]),
        ([5, 70, 20], 80, [5, 51, 20]),
        ([5, 70, 60], 80, [5, 35, 35]),
        ([5, 0, 100], 40, [5, 0, 33]),  # an empty column has no gap either
        ([50, 50, 50], 10, [8, 8, 8]),
    ],
)
def test_the_widest_columns_give_way(natural: list[int], width: int, widths: list[int]) -> None:
    assert fitted(natural, width) == widths


@pytest.fixture
def at(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> Callable[[int | None], None]:
    monkeypatch.setenv("KAVEL_HOME", str(tmp_path / "home"))

    def at(width: int | None) -> None:
        if width is None:
            monkeypatch.delenv("COLUMNS")
        else:
            monkeypatch.setenv("COLUMNS", str(width))

    return at


def words(text: str) -> str:
    """The characters of a text whatever the lines are that it stands on."""
    return "".join(text.split())


DRAFT = [str(SAMPLES / "draft.glb"), "--project", str(SAMPLES / "character.json")]
RUNS = {
    "validate": ["validate", *DRAFT, "--fix", "--dry-run"],
    "by object": ["validate", *DRAFT, "--group", "object"],
    "scan": ["scan", str(SAMPLES / "character.glb"), *DRAFT[1:]],
    "checks": ["checks"],
    "trace": ["checks", "--trace"],
    "details": ["checks", "--category", "scene", "--category", "lod"],
    "projects": ["projects", "show", str(SAMPLES / "adventurers.json")],
}


@pytest.mark.parametrize("name", RUNS)
def test_commands_fit(
    name: str, at: Callable[[int | None], None], tmp_path: Path, capsys: Captured
) -> None:
    at(None)  # what is no terminal has 80 columns
    main(RUNS[name])
    narrow = capsys.readouterr()
    assert narrow.out and max(map(cell_len, "".join(narrow).splitlines())) <= 80
    at(1000)
    main(RUNS[name])
    wide = capsys.readouterr()
    # The same characters, though those of two columns may be told in another order.
    assert sorted(words("".join(narrow))) == sorted(words("".join(wide)))


def test_the_usage_records_fit(at: Callable[[int | None], None], capsys: Captured) -> None:
    main(["validate", *DRAFT, "-q"])
    capsys.readouterr()
    at(None)
    main(["stats"])
    out = capsys.readouterr().out
    assert max(map(cell_len, out.splitlines())) <= 80
    assert "Missing or Zero Normals (kavel.mesh.normals)" in out


@pytest.mark.parametrize("width", [40, 60, 80])
def test_paths_and_trees_that_are_too_long(
    width: int, at: Callable[[int | None], None], write: Writer, capsys: Captured
) -> None:
    top = deep = node("a" * 70)
    for number in range(30):
        deep.children.append(node(f"a_group_with_a_rather_long_name_{number}"))
        deep = deep.children[0]
    deep.children.append(mesh("m" * 70))
    rules = [rule("Any " + "r" * 40, ".+", limits=(0, 9))]
    nested: dict[str, Any] = {}
    for _ in range(40):
        nested = {rules[0]["stamp"]: nested}
    file = write("p.json", project(rules, nested))
    scene = write(f"{'folder/' * 12}{'s' * 60}.glb", gltf(top))
    at(width)
    assert main(["scan", scene, "--project", file, "--fail-on-unassigned"]) == 0
    out = capsys.readouterr().out
    assert max(map(cell_len, out.splitlines())) <= width
    assert "[30]" in out and words(out).count("m") >= 70
    assert words(scene) in words(out)
