"""The checks of meshes, of their surface, mapping and materials."""

from __future__ import annotations

from dataclasses import replace
from typing import Any

import numpy as np
import pytest
from verdicts import expect

from kavel.checking.geometry.editing import turned_over
from kavel.checking.geometry.topology import topology
from kavel.checks.kavel_manifold import (
    BowtiePoints,
    CrowdedEdges,
    InsideOut,
    OpenBorders,
    Winding,
)
from kavel.checks.kavel_mapping import (
    MissingUvs,
    OverlappingUvs,
    UvRange,
    UvSetCount,
    ZeroAreaUvs,
)
from kavel.checks.kavel_material import (
    DefaultMaterial,
    MissingMaterial,
    Textures,
    TooManyMaterials,
    UnusedSlots,
)
from kavel.checks.kavel_mesh import (
    BadNormals,
    DuplicateFaces,
    IsolatedPoints,
    Ngons,
    UnmergedPoints,
    ZeroAreaFaces,
)
from kavel.testing import (
    MemoryScene,
    assert_finds,
    assert_fix_is_idempotent,
    assert_passes,
    box,
    fix,
    grid,
    polygons,
    run,
    select,
)
from kavel.view import Image, Material, Mesh

SQUARE = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0)]


def flat(points: Any, *faces: Any, **parts: Any) -> Mesh:
    return polygons([(*point, 0.0)[:3] for point in points], faces, **parts)


def strip(*turned: int) -> Mesh:
    """Five quads in a row; those of the given numbers are turned over."""
    points = [(i, j, 0) for i in range(6) for j in range(2)]
    rows = [[2 * i, 2 * i + 2, 2 * i + 3, 2 * i + 1] for i in range(5)]
    return polygons(points, [row[::-1] if i in turned else row for i, row in enumerate(rows)])


def turned(mesh: Mesh, *faces: int) -> Mesh:
    """The mesh with these faces turned over; all of them when none are named."""
    return turned_over(mesh, np.array(faces or range(mesh.face_count)))


def rows_of(mesh: Mesh) -> list[Any]:
    return [row.tolist() for row in np.split(mesh.corners, mesh.offsets[1:-1])]


def joined(*meshes: Mesh) -> Mesh:
    """The meshes as one, without anything at their corners; all have as many points."""
    rows = [
        [point + number * len(mesh.points) for point in row]
        for number, mesh in enumerate(meshes)
        for row in rows_of(mesh)
    ]
    return polygons(np.concatenate([mesh.points for mesh in meshes]), rows)


INVERTED = turned(box())
HOLLOW = turned(box(0.3, 0.3, 0.3))
FIN = flat([*SQUARE, (0, 0, 1), (0, 1, 1)], (0, 1, 2, 3), (0, 3, 5, 4), (0, 3, 2))
BOW = flat([(0, 0), (1, 1), (1, 0), (-1, 0), (-1, 1)], (0, 2, 1), (0, 3, 4))
TWO_SQUARES = flat(
    [*SQUARE, *((x + 1.00001, y, z) for x, y, z in SQUARE)], (0, 1, 2, 3), (4, 5, 6, 7)
)


@pytest.mark.parametrize(
    ("check", "mesh", "values", "items"),
    [
        (ZeroAreaFaces, box(), {}, None),
        (ZeroAreaFaces, flat([(0, 0), (1, 0), (2, 0), (0, 1)], (0, 1, 2), (0, 1, 3)), {}, [0]),
        (ZeroAreaFaces, flat(SQUARE, (0, 1, 2), (0, 0, 2), (0, 2, 0, 2)), {}, [1, 2]),
        (ZeroAreaFaces, grid(10, 10, 0.01, 0.01), {"area": 0.9}, None),
        (ZeroAreaFaces, grid(2, 1, 0.002, 0.001), {"area": 1.1}, [0, 1]),
        (DuplicateFaces, box(), {}, None),
        (DuplicateFaces, flat(SQUARE, (0, 1, 2), (2, 0, 1), (2, 1, 0), (0, 1, 3)), {}, [1, 2]),
        (
            DuplicateFaces,
            flat(SQUARE, (0, 1, 2), (2, 0, 1), (2, 1, 0), (0, 1, 3)),
            {"opposite": False},
            [1],
        ),
        (IsolatedPoints, box(), {}, None),
        (IsolatedPoints, flat([*SQUARE, (5, 5)], (1, 2, 3)), {}, [0, 4]),
        (IsolatedPoints, flat([(0, 0), (1, 1)]), {}, [0, 1]),
        (Ngons, box(), {}, None),
        (Ngons, box(), {"corners": 3}, [0, 1, 2, 3, 4, 5]),
        (Ngons, flat([*SQUARE, (0.5, 2)], (0, 1, 2, 4, 3), (0, 1, 2)), {}, [0]),
        (UnmergedPoints, box(), {}, None),
        (UnmergedPoints, TWO_SQUARES, {}, None),
        (UnmergedPoints, TWO_SQUARES, {"distance": 0.0101}, [1, 2, 4, 7]),
        (BadNormals, box(), {}, None),
        (BadNormals, flat(SQUARE, (0, 1, 2, 3)), {}, ["a"]),
        (BadNormals, flat(SQUARE, (0, 1, 2, 3)), {"missing": False}, None),
        (CrowdedEdges, box(), {}, None),
        (CrowdedEdges, FIN, {}, [(0, 3)]),
        (OpenBorders, box(), {}, None),
        (OpenBorders, flat(SQUARE, (0, 1, 2)), {}, [(0, 1), (0, 2), (1, 2)]),
        (OpenBorders, TWO_SQUARES, {"allowed": True, "most": 2}, None),
        (
            OpenBorders,
            TWO_SQUARES,
            {"allowed": True, "most": 1},
            [(0, 1), (0, 3), (1, 2), (2, 3), (4, 5), (4, 7), (5, 6), (6, 7)],
        ),
        (Winding, box(), {}, None),
        (Winding, strip(1, 4), {}, [1, 4]),
        (Winding, strip(0, 2, 3, 4), {}, [1]),
        (Winding, flat(SQUARE, (0, 1, 2), (0, 2, 3)[::-1]), {}, [1]),
        (InsideOut, box(), {}, None),
        (InsideOut, INVERTED, {}, [0, 1, 2, 3, 4, 5]),
        (InsideOut, turned(box(1e-5, 1e-5, 1e-5, (9, 9, 9))), {}, [0, 1, 2, 3, 4, 5]),
        # A cavity, what is turned together with its surroundings, and a body within a cavity.
        (InsideOut, joined(HOLLOW, box()), {}, None),
        (InsideOut, joined(turned(box(centre=(2, 0, 0))), box()), {}, [0, 1, 2, 3, 4, 5]),
        (InsideOut, joined(HOLLOW, INVERTED), {}, list(range(12))),
        (InsideOut, joined(turned(box(0.1, 0.1, 0.1)), HOLLOW, box()), {}, [0, 1, 2, 3, 4, 5]),
        # Not judged: open, crowded, wound in two ways, flat to the last digit, not of numbers.
        (InsideOut, flat(SQUARE, (0, 1, 2, 3), (3, 2, 1, 0)), {}, None),
        (InsideOut, polygons(INVERTED.points, rows_of(INVERTED)[:5]), {}, None),
        (InsideOut, polygons(INVERTED.points, [*rows_of(INVERTED), (0, 1, 7, 6)]), {}, None),
        (InsideOut, turned(box(), 0, 1, 2, 3, 4), {}, None),
        (InsideOut, turned(box(1e-4, 1e-4, 1e-4, (900, 0, 0))), {}, None),
        (InsideOut, turned(box(centre=(np.nan, 0, 0))), {}, None),
        (BowtiePoints, box(), {}, None),
        (BowtiePoints, BOW, {}, [0]),
    ],
)
def test_shape(check: Any, mesh: Any, values: Any, items: Any) -> None:
    expect(check, scene=MemoryScene().add("a", mesh), values=values, items=items)


def test_distances_and_areas_are_those_in_the_scene() -> None:
    scene = MemoryScene().add("a", TWO_SQUARES, scale=(0.1, 1, 1))
    assert_finds(UnmergedPoints, scene=scene, distance=0.00101, count=4)
    scene = MemoryScene().add("a", grid(1, 1), scale=(0.001, 1, 0.001))
    assert_passes(ZeroAreaFaces, scene=scene, area=0.99)
    assert_finds(ZeroAreaFaces, scene=scene, area=1.01, items=[0])


def test_winding_is_fixed_with_all_that_belongs_to_the_corners() -> None:
    mesh = strip(1, 4)
    uvs = np.arange(40, dtype=float).reshape(-1, 2)
    normals = np.tile([0.0, 0.0, 1.0], (20, 1))
    normals[:8] *= -1  # a face that is turned, whose normals must be, and one that is not
    mesh = replace(mesh, uv_sets={"a": uvs}, normals=normals)
    scene = MemoryScene().add("a", mesh)
    before = corner_sets(mesh)
    assert_fix_is_idempotent(Winding, scene=scene)
    fixed = scene.mesh("a")
    assert fixed is not None and corner_sets(fixed) == before
    assert (topology(fixed).area_vectors[:, 2] > 0).all()
    assert fixed.normals is not None
    assert fixed.normals.reshape(-1, 4, 3)[:, :, 2].tolist() == [[-1] * 4, *[[1] * 4] * 4]


def corner_sets(mesh: Mesh) -> Any:
    """Per face, which texture coordinate each point has."""
    pairs = zip(mesh.corners.tolist(), mesh.uv_sets["a"].tolist())
    rows = list(pairs)
    return [sorted(rows[a:b]) for a, b in zip(mesh.offsets[:-1], mesh.offsets[1:])]


def test_a_twisted_strip_is_found_and_left_alone() -> None:
    ring = [(2 * i, 2 * i + 1, 2 * i + 3, 2 * i + 2) for i in range(4)]
    mesh = polygons(np.random.default_rng(1).random((10, 3)), [*ring, (8, 9, 0, 1)])
    outcome = assert_finds(Winding, scene=MemoryScene().add("a", mesh), message="one-sided")
    assert not outcome.fixable


@pytest.mark.parametrize("missing", [True, False])
def test_normals_are_fixed(missing: bool) -> None:
    good = box()
    assert good.normals is not None
    spoilt = good.normals.copy()
    spoilt[5], spoilt[9] = 0, np.nan
    scene = MemoryScene().add("a", replace(good, normals=None if missing else spoilt))
    if not missing:
        assert_finds(BadNormals, scene=scene, items=[1, 2])
    assert_fix_is_idempotent(BadNormals, scene=scene)
    mesh = scene.mesh("a")
    assert mesh is not None and mesh.normals == pytest.approx(good.normals)


def test_what_is_inside_out_is_turned_over_with_its_normals() -> None:
    good = box()
    assert good.normals is not None
    normals = turned(good).normals
    assert normals is not None
    normals = np.concatenate([normals[:12], -normals[12:]])  # half of them point outward already
    scene = MemoryScene().add("a", replace(INVERTED, normals=normals))
    assert_fix_is_idempotent(InsideOut, scene=scene)
    fixed = scene.mesh("a")
    assert fixed is not None and fixed.normals == pytest.approx(good.normals)
    assert fixed.corners.tolist() == good.corners.tolist()


@pytest.mark.parametrize(
    ("check", "mesh"),
    [(Winding, strip(1)), (InsideOut, INVERTED), (BadNormals, flat(SQUARE, (0, 1, 2, 3)))],
)
@pytest.mark.parametrize(("how", "why"), [("deformed", "skin"), ("shared", "same mesh")])
def test_deformed_and_shared_meshes_are_not_fixed(
    check: Any, mesh: Any, how: str, why: str
) -> None:
    scene = MemoryScene().add("a", mesh, deformed=how == "deformed")
    if how == "shared":
        scene.add("b", mesh_of="a")
    outcome = assert_finds(check, "a", scene=scene, message=why)
    before = scene.snapshot()
    assert not outcome.fixable
    fix(outcome)
    assert not scene.changes(before)


@pytest.mark.parametrize(
    ("check", "mesh", "kind", "elements"),
    [
        (Ngons, flat([*SQUARE, (0.5, 2)], (0, 1, 2), (0, 1, 2, 4, 3)), "faces", [1]),
        (IsolatedPoints, flat([*SQUARE, (5, 5)], (0, 1, 2, 3)), "points", [4]),
        (CrowdedEdges, FIN, "edges", [[0, 3]]),
        (MissingUvs, flat(SQUARE, (0, 1, 2, 3)), "object", None),
    ],
)
def test_elements_are_selected(check: Any, mesh: Any, kind: str, elements: Any) -> None:
    scene = MemoryScene().add("a", mesh)
    outcome = run(check, scene=scene)
    assert outcome.selectable
    select(outcome)
    (selection,) = scene.selections
    found = None if selection.elements is None else np.asarray(selection.elements).tolist()
    assert (selection.path, selection.kind, found) == ("a", kind, elements)


def mapped(*faces: Any, **others: Any) -> Mesh:
    """Separate squares with the given UVs, 4 corners each, in the set "a"; others by name."""
    count = len(faces)
    points = [(x + 2 * i, y, z) for i in range(count) for x, y, z in SQUARE]
    rows = np.arange(4 * count).reshape(-1, 4).tolist()
    return polygons(points, rows, uv_sets={"a": faces, **others})


def at(u: float, v: float, size: float = 0.4) -> Any:
    return [(u, v), (u + size, v), (u + size, v + size), (u, v + size)]


SMEAR = [(0, 0), (1, 1), (0.5, 0.5), (0.2, 0.2)]


@pytest.mark.parametrize(
    ("check", "mesh", "values", "items"),
    [
        (MissingUvs, box(), {}, None),
        (MissingUvs, box(uv_set=""), {}, ["a"]),
        (MissingUvs, box(), {"names": ["UVMap", "light"]}, ["light"]),
        (UvSetCount, box(), {}, None),
        (UvSetCount, box(uv_set=""), {}, ["a"]),
        (UvSetCount, mapped(at(0, 0), b=[at(0, 0)], c=[at(0, 0)]), {}, ["a", "b", "c"]),
        (UvSetCount, mapped(at(0, 0)), {"counts": [(3, 4), (1, 1)]}, None),
        (UvSetCount, mapped(at(0, 0)), {"counts": [(2, 2)]}, ["a"]),
        (UvRange, mapped(at(0, 0), at(0.6, 0.6)), {}, None),
        (UvRange, mapped(at(0, 0), at(0.7, 0), at(0, -0.1), at(np.nan, 0)), {}, [1, 2, 3]),
        (UvRange, mapped(at(0, 0), at(0.7, 0)), {"u_high": 2.0}, None),
        (UvRange, mapped(at(0, 0), b=[at(5, 5)]), {"sets": "a"}, None),
        (UvRange, mapped(at(0, 0), at(0, 0), b=[at(0, 0), at(5, 5)]), {}, [1]),
        (ZeroAreaUvs, mapped(at(0, 0)), {}, None),
        (ZeroAreaUvs, mapped(at(0, 0), SMEAR, at(0, 0, 0), at(np.inf, 0)), {}, [1, 2, 3]),
        (OverlappingUvs, mapped(at(0, 0), at(0.4, 0), at(0, 0.5)), {}, None),
        (OverlappingUvs, mapped(at(0, 0), at(0.3, 0.3), at(0.8, 0.8)), {}, [0, 1]),
        (OverlappingUvs, mapped(at(0, 0), at(0, 0), at(0, 0), at(0.5, 0.5)), {}, [0, 1, 2]),
        (OverlappingUvs, mapped(at(0, 0), at(0.3, 0.3)), {"tolerance": 0.11}, None),
        (OverlappingUvs, mapped(SMEAR, SMEAR, at(np.nan, 0)), {}, None),
    ],
)
def test_mapping(check: Any, mesh: Any, values: Any, items: Any) -> None:
    expect(check, scene=MemoryScene().add("a", mesh), values=values, items=items)


def test_a_face_without_area_is_not_blamed_for_its_uvs() -> None:
    mesh = flat([(0, 0), (1, 0), (2, 0)], (0, 1, 2), uv_sets={"a": [[(0, 0), (1, 0), (1, 0)]]})
    assert_passes(ZeroAreaUvs, scene=MemoryScene().add("a", mesh))


def painted(materials: Any, *slots: Any) -> Mesh:
    return replace(box(slots=slots), materials=np.array(materials))


def picture(name: str, width: int = 0, height: int = 0, missing: bool = False) -> Material:
    return Material(f"m {name}", {"base color": Image(name, width, height, missing)})


@pytest.mark.parametrize(
    ("check", "mesh", "values", "items"),
    [
        (MissingMaterial, box(), {}, None),
        (MissingMaterial, box(slots=[]), {}, ["a"]),
        (MissingMaterial, painted([0, 1, -1, 0, 1, 0], "red", None), {}, [1, 2, 4]),
        (TooManyMaterials, painted([0, 1, 2, 2, 2, 2], "red", "blue", "red"), {"most": 2}, None),
        (
            TooManyMaterials,
            painted([0, 1, 1, 1, 1, 1], "red", "blue"),
            {"most": 1},
            ["red", "blue"],
        ),
        (TooManyMaterials, painted([0] * 6, "red", "blue"), {"most": 1}, None),
        (DefaultMaterial, box(), {}, None),
        (DefaultMaterial, box(slots=["lambert1"]), {}, ["lambert1"]),
        (DefaultMaterial, box(slots=["Material.001", "Materialise"]), {}, ["Material.001"]),
        (DefaultMaterial, box(slots=["red"]), {"names": ["r.*"]}, ["red"]),
        (UnusedSlots, box(), {}, None),
        (UnusedSlots, painted([0, 0, 0, 0, 2, 2], "red", "blue", None), {}, [1, 2]),
        (Textures, box(slots=[picture("a", 64, 32), picture("b")]), {}, None),
        (Textures, box(slots=[picture("a", 64, 36), picture("b", missing=True)]), {}, ["a", "b"]),
        (Textures, box(slots=[picture("a", 64, 36)]), {"size": "four"}, None),
        (Textures, box(slots=[picture("a", 64, 34)]), {"size": "four"}, ["a"]),
        (Textures, box(slots=[picture("a", 65, 37)]), {"size": "any"}, None),
        (Textures, box(slots=[picture("a", 64, 32)]), {"size": "square"}, ["a"]),
        (Textures, box(slots=[picture("a", 64, 32)]), {"largest": 32}, ["a"]),
        (Textures, box(slots=[None, "plain"]), {}, None),
        (Textures, box(slots=[Material("m", {"a": Image("b", unreadable=True)})]), {}, ["b"]),
    ],
)
def test_materials(check: Any, mesh: Any, values: Any, items: Any) -> None:
    expect(check, scene=MemoryScene().add("a", mesh), values=values, items=items)


def test_messages_say_how_many_and_show_the_first() -> None:
    scene = MemoryScene().add("a", grid(60, 50))
    outcome = run(Ngons, scene=scene, corners=3)
    assert outcome.message == ("3,000 faces with more than 3 corners: 0, 1, 2, 3, 4 and 2,995 more")
    assert outcome.found == list(range(3000))
