"""Geometry against plain loops, on small random meshes with every kind of fault."""

from __future__ import annotations

from collections import Counter, defaultdict
from itertools import combinations
from typing import Any

import numpy as np
import pytest

from kavel.checking.geometry import editing, faces, manifold, overlap, transforms, triangles
from kavel.checking.geometry.orientation import inside_out_faces
from kavel.checking.geometry.topology import topology
from kavel.testing import box, grid, polygons
from kavel.view import Mesh, Transform


def random_mesh(seed: int) -> Mesh:
    """Few points and many faces: repeated points, double faces and crowded edges are common."""
    random = np.random.default_rng(seed)
    count = int(random.integers(3, 9))
    sizes = random.integers(3, 6, int(random.integers(0, 12)))
    rows = [random.integers(0, count, size).tolist() for size in sizes]
    return polygons(random.integers(0, 3, (count, 3)), rows)


def rows_of(mesh: Mesh) -> list[list[int]]:
    return [row.tolist() for row in np.split(mesh.corners, mesh.offsets[1:-1])][: mesh.face_count]


def half_edges(mesh: Mesh) -> dict[tuple[int, int], list[tuple[int, bool]]]:
    """By edge: each face that has it, and whether it runs upwards there."""
    found = defaultdict(list)
    for face, row in enumerate(rows_of(mesh)):
        for a, b in zip(row, row[1:] + row[:1]):
            if a != b:
                found[min(a, b), max(a, b)].append((face, a < b))
    return found


def plain_bowties(mesh: Mesh) -> list[int]:
    """Points whose corners stay apart when those of faces with a common edge there are joined."""
    rows = rows_of(mesh)
    corners = [(face, at) for face, row in enumerate(rows) for at in range(len(row))]
    group = {corner: number for number, corner in enumerate(corners)}

    def join(one: Any, other: Any) -> None:
        old, new = group[one], group[other]
        group.update({key: new for key, value in group.items() if value == old})

    def sides(corner: Any) -> set[frozenset[int]]:
        face, at = corner
        row = rows[face]
        near = (row[at - 1], row[(at + 1) % len(row)])
        return {frozenset((row[at], point)) for point in near if point != row[at]}

    for one, other in combinations(corners, 2):
        if rows[one[0]][one[1]] != rows[other[0]][other[1]]:
            continue
        neighbours = one[0] == other[0] and abs(one[1] - other[1]) in (1, len(rows[one[0]]) - 1)
        if neighbours or sides(one) & sides(other):
            join(one, other)
    groups = defaultdict(set)
    for corner, number in group.items():
        groups[rows[corner[0]][corner[1]]].add(number)
    return sorted(point for point, numbers in groups.items() if len(numbers) > 1)


@pytest.mark.parametrize("seed", range(60))
def test_faults_are_those_that_plain_loops_find(seed: int) -> None:
    mesh = random_mesh(seed)
    rows, edges = rows_of(mesh), half_edges(mesh)
    owners = {edge: {face for face, _ in uses} for edge, uses in edges.items()}
    seen: Counter[Any] = Counter()
    doubles, wound_alike = [], []
    turned_seen = set()
    for face, row in enumerate(rows):
        seen[tuple(sorted(row))] += 1
        doubles += [face] if seen[tuple(sorted(row))] > 1 else []
        first = row.index(min(row))
        turned = tuple(row[first:] + row[:first])
        wound_alike += [face] if turned in turned_seen else []
        turned_seen.add(turned)

    crowded = sorted(edge for edge, users in owners.items() if len(users) > 2)
    border = sorted(edge for edge, users in owners.items() if len(users) == 1)
    assert sorted(map(tuple, manifold.crowded_edges(mesh).tolist())) == crowded
    assert sorted(map(tuple, manifold.border_edges(mesh).tolist())) == border
    assert faces.duplicate_faces(mesh).tolist() == doubles
    assert faces.duplicate_faces(mesh, either_way=False).tolist() == wound_alike
    unused = set(range(len(mesh.points))) - {point for row in rows for point in row}
    assert faces.isolated_points(mesh).tolist() == sorted(unused)
    assert manifold.bowtie_points(mesh).tolist() == plain_bowties(mesh)
    close = [
        index
        for index, point in enumerate(mesh.points)
        if np.sort(np.linalg.norm(mesh.points - point, axis=1))[1] <= 1
    ]
    assert faces.close_points(mesh.points, 1.0).tolist() == close


@pytest.mark.parametrize("seed", range(40))
def test_turning_faces_over_leaves_only_twisted_parts(seed: int) -> None:
    mesh = random_mesh(seed)
    turn, twisted = manifold.misplaced_winding(mesh)
    fixed = editing.turned_over(mesh, turn)
    again, still_twisted = manifold.misplaced_winding(fixed)
    assert not len(again)
    disagreeing = {
        face
        for uses in half_edges(fixed).values()
        if len(uses) == 2 and uses[0][0] != uses[1][0] and uses[0][1] == uses[1][1]
        for face, _ in uses
    }
    assert disagreeing == set(still_twisted.tolist())
    # Parts that no turning helps are left as they were.
    assert set(twisted.tolist()) == set(still_twisted.tolist())


def test_a_moebius_strip_cannot_be_turned() -> None:
    ring = [(2 * i, 2 * i + 1, 2 * i + 3, 2 * i + 2) for i in range(4)]
    strip = polygons(np.random.default_rng(1).random((10, 3)), [*ring, (8, 9, 0, 1)])
    turn, twisted = manifold.misplaced_winding(strip)
    assert not len(turn) and len(twisted) == 2


@pytest.mark.parametrize("seed", range(20))
def test_inside_out_is_what_nesting_tells(seed: int) -> None:
    """Boxes in boxes, each turned over by chance: one is wrong if the space inside is wound around
    less than not at all. With these turned over, none is wrong."""
    random = np.random.default_rng(seed)
    points: list[Any] = []
    rows: list[list[int]] = []
    wrong: list[int] = []

    def nest(corner: Any, size: float, around: int) -> None:
        turned = bool(random.random() < 0.5)
        around += -1 if turned else 1
        wrong.extend(range(len(rows), len(rows) + 6) if turned and around < 0 else ())
        base = len(points)
        rows.extend([base + i for i in (row[::-1] if turned else row)] for row in rows_of(box()))
        points.extend((box().points + 0.5) * size + corner)
        for share in (0.03, 0.51):
            if size > 0.02 and random.random() < 0.8:
                nest(corner + size * share, size * 0.46, around)

    nest(np.zeros(3), 1.0, 0)
    nest(np.array([1.5, 0, 0]), 1.0, 0)
    turn = np.linalg.qr(random.normal(size=(3, 3)))[0] if seed % 2 else np.eye(3)
    mesh = polygons(np.array(points) @ (turn * np.sign(np.linalg.det(turn))), rows)
    found = inside_out_faces(mesh)
    assert found.tolist() == wrong
    assert not len(inside_out_faces(editing.turned_over(mesh, found)))


def rasterised(shapes: Any, resolution: int = 80) -> Any:
    """(F, pixels) which face covers which pixel; shapes (F, n, 2) are convex."""
    ticks = (np.arange(resolution) + 0.5) / resolution
    places = np.stack(np.meshgrid(ticks, ticks), axis=2).reshape(-1, 2)
    covers = []
    for shape in shapes:
        along = np.roll(shape, -1, axis=0) - shape
        to = places[:, None] - shape
        side = along[:, 0] * to[..., 1] - along[:, 1] * to[..., 0]
        covers.append((side > 0).all(axis=1) | (side < 0).all(axis=1))
    return np.array(covers)


@pytest.mark.parametrize("seed", range(30))
@pytest.mark.parametrize("size", [0.05, 0.3])
def test_overlaps_are_those_that_a_raster_shows(seed: int, size: float) -> None:
    random = np.random.default_rng(seed)
    count = 25
    shapes = random.random((count, 1, 2)) * (1 - size) + random.random((count, 3, 2)) * size
    shapes[3] = shapes[7]  # a stacked copy
    mesh = polygons(random.random((3 * count, 3)), np.arange(3 * count).reshape(-1, 3).tolist())
    found, complete = overlap.overlapping_faces(mesh, shapes.reshape(-1, 2), 1e-9)
    exact = [
        any(other != face and convex_overlap(shapes[face], shapes[other]) for other in range(count))
        for face in range(count)
    ]
    assert complete and found.tolist() == np.flatnonzero(exact).tolist()
    covers = rasterised(shapes)
    seen = (covers & (covers.sum(axis=0) > 1)).any(axis=1)
    assert set(np.flatnonzero(seen)) <= set(found.tolist())


def convex_overlap(one: Any, other: Any) -> bool:
    for shape in (one, other):
        for begin, end in zip(shape, np.roll(shape, -1, axis=0)):
            normal = np.array([begin[1] - end[1], end[0] - begin[0]])
            a, b = one @ normal, other @ normal
            if a.max() <= b.min() + 1e-12 or b.max() <= a.min() + 1e-12:
                return False
    return True


def folded_sheet(kind: str) -> Any:
    """UVs of a sheet of 40 by 40 quads, and the columns of faces that must be found."""
    sheet = grid(40, 40)
    uvs = sheet.uv_sets["UVMap"].copy()
    column = np.arange(1600) % 40
    if kind == "mirrored":  # the right half lies over the left one
        uvs[:, 0] = 0.5 - np.abs(uvs[:, 0] - 0.5)
        return sheet, uvs, column >= 0
    if kind == "rolled":  # as around a tube that overlaps itself by two columns, without a seam
        angle = uvs[:, 0] * 2 * np.pi * 40 / 38
        radius = 1 + uvs[:, 1]
        uvs = np.stack([np.cos(angle), np.sin(angle)], axis=1) * radius[:, None]
        return sheet, uvs, (column < 2) | (column >= 38)
    uvs[:, 0] = np.round(uvs[:, 0] * 40) ** 3  # from narrow to wide, and in order
    return sheet, uvs, column < 0


@pytest.mark.parametrize("kind", ["mirrored", "rolled", "stretched"])
@pytest.mark.parametrize("scale", [1.0, 1e-3, 1e6, 1e200])
def test_overlaps_within_one_sheet(kind: str, scale: float) -> None:
    sheet, uvs, expected = folded_sheet(kind)
    found, complete = overlap.overlapping_faces(sheet, uvs * scale, 1e-6 * scale)
    assert complete and found.tolist() == np.flatnonzero(expected).tolist()


def test_a_large_face_beside_stacked_small_ones_is_left_out() -> None:
    """Its box covers them all, but it lies on the other side of the diagonal."""
    sheet = grid(14, 14).uv_sets["UVMap"]
    half = np.stack([sheet[:, 0] * (1 - 0.95 * sheet[:, 1]), sheet[:, 1]], axis=1) * 0.9
    uvs = np.concatenate([half, half * 0.99 + 0.001, [(1, 1), (0, 1), (1, 0)]])
    shapes = np.split(uvs, np.arange(4, len(uvs), 4))
    rows = np.split(np.arange(len(uvs)), np.arange(4, len(uvs), 4))
    mesh = polygons(np.zeros((len(uvs), 3)), [row.tolist() for row in rows])
    found, _ = overlap.overlapping_faces(mesh, uvs, 1e-9)
    one, other = shapes[:196], shapes[196:392]
    exact = [any(convex_overlap(a, b) for b in other) for a in one]
    exact += [any(convex_overlap(a, b) for a in one) for b in other]
    assert len(found) > 300 and found.tolist() == np.flatnonzero(exact).tolist()


def test_what_a_face_does_to_itself_is_left_out() -> None:
    crossed = np.array([(0, 0), (1, 1), (1, 0), (0, 1)] * 3, dtype=float)
    crossed[4:8] += (1, 0)
    crossed[8:] = crossed[:4] + (0.1, 3)
    rows = np.arange(12).reshape(-1, 4).tolist()
    found, _ = overlap.overlapping_faces(polygons(np.zeros((12, 3)), rows), crossed, 1e-6)
    assert not len(found)


def test_the_work_on_overlaps_is_bounded() -> None:
    shapes = np.random.default_rng(1).random((1500, 2))
    soup = polygons(np.zeros((1500, 3)), np.arange(1500).reshape(-1, 3).tolist())
    found, complete = overlap.overlapping_faces(soup, shapes, 1e-9, comparisons=200)
    assert not complete


@pytest.mark.parametrize(
    "outline",
    [
        [(0, 0), (2, 0), (0.4, 0.4), (0, 2)],  # a concave quad
        [(0, 0), (3, 0), (3, 3), (2, 3), (2, 1), (1, 1), (1, 3), (0, 3)],  # a U: no fan covers it
        [(0, 3), (1, 3), (1, 1), (2, 1), (2, 3), (3, 3), (3, 0), (0, 0)],  # the same, clockwise
    ],
)
def test_concave_faces_are_covered_once(outline: Any) -> None:
    shape = np.array(outline, dtype=float)
    mesh = polygons(np.zeros((len(outline), 3)), [list(range(len(outline)))])
    corners, owners = triangles.triangles(mesh, shape)
    one, two = (
        shape[corners[:, 1]] - shape[corners[:, 0]],
        shape[corners[:, 2]] - shape[corners[:, 0]],
    )
    cut = np.abs(one[:, 0] * two[:, 1] - one[:, 1] * two[:, 0]).sum()
    x, y = shape.T
    whole = abs((x * np.roll(y, -1) - y * np.roll(x, -1)).sum())
    assert len(owners) == len(outline) - 2 and cut == pytest.approx(whole)


@pytest.mark.parametrize("offset", [0.0, 1e4])
@pytest.mark.parametrize("scale", [1e-12, 1.0, 1e150])
def test_areas_are_independent_of_size_and_place(scale: float, offset: float) -> None:
    base = box()
    moved = Mesh((base.points + offset) * scale, base.corners, base.offsets)
    assert not len(faces.zero_area_faces(moved))
    assert faces.areas(moved) == pytest.approx([scale**2] * 6, rel=1e-6)
    far = Mesh((base.points + offset * 1000) * scale, base.corners, base.offsets)
    assert faces.areas(far) == pytest.approx([scale**2] * 6, rel=1e-6)


def test_degenerate_faces() -> None:
    points = [(0, 0, 0), (1, 0, 0), (2, 0, 0), (0, 1, 0), (np.nan, 0, 0), (0, np.inf, 0)]
    mesh = polygons(points, [(0, 1, 3), (0, 1, 2), (0, 0, 3), (0, 1, 4), (0, 1, 5)])
    assert faces.zero_area_faces(mesh).tolist() == [1, 2, 3, 4]
    # 1/3 and the like cannot be stored: points on a line that runs across are not quite on it.
    line = np.array([(0, 0, 0), (1, 2, 3), (2, 4, 6)]) / 7 + (0.3, 5.1, 2.7)
    rounded = polygons(line.astype(np.float32), [(0, 1, 2)])
    assert faces.zero_area_faces(rounded).tolist() == [0]


def test_normals_are_smooth_below_the_crease_angle_and_hard_above() -> None:
    cube = box()
    flat = editing.computed_normals(cube, 60)
    assert flat == pytest.approx(cube.normals)
    smooth = editing.computed_normals(cube, 100)
    outward = cube.points[cube.corners] / np.linalg.norm(cube.points[cube.corners], axis=1)[:, None]
    assert smooth == pytest.approx(outward)
    # A gentle bend, with the second face wound the other way, and a sharp one.
    bent = polygons(
        [
            (0, 0, 0),
            (0, 0, 1),
            (1, 0, 0),
            (1, 0, 1),
            (2, 0.3, 0),
            (2, 0.3, 1),
            (2, 3, 0),
            (2, 3, 1),
        ],
        [(0, 1, 3, 2), (2, 4, 5, 3), (4, 5, 7, 6)],
    )
    corners = editing.computed_normals(bent, 60).reshape(3, 4, 3)
    lone = np.array([(0, 1, 0), (0.3, -1, 0), (-1, 0, 0)]) / [[1], [np.hypot(0.3, 1)], [1]]
    assert corners[0, 0] == pytest.approx(lone[0]) and corners[2, 0] == pytest.approx(lone[2])
    assert corners[1, 1] == pytest.approx(lone[1])
    spoilt = editing.computed_normals(polygons([(np.nan, 0, 0)] * 3, [(0, 1, 2)]), 60)
    assert spoilt.tolist() == [[0, 0, 1]] * 3


@pytest.mark.parametrize("scale", [(1, 1, 1), (2, 3, 0.5), (-1, 1, 1), (-2, -1, 3), (-1, -2, -3)])
def test_a_transformed_box_stays_right_side_out(scale: Any) -> None:
    turn = np.array([0.1, -0.3, 0.2, 0.9])
    matrix = Transform(np.array([5.0, 1, 2]), turn / np.linalg.norm(turn), np.array(scale)).matrix
    moved = editing.transformed(box(), matrix)
    centres = moved.points[moved.corners].reshape(-1, 4, 3).mean(axis=1)
    outward = centres - matrix[:3, 3]
    assert ((topology(moved).area_vectors * outward).sum(axis=1) > 0).all()
    vectors = np.repeat(topology(moved).area_vectors, 4, axis=0)
    assert moved.normals == pytest.approx(vectors / np.linalg.norm(vectors, axis=1)[:, None])


def test_transforms_are_taken_apart() -> None:
    random = np.random.default_rng(5)
    for _ in range(50):
        turn = random.normal(size=4)
        scale = random.uniform(0.1, 3, 3) * random.choice([-1, 1], 3)
        matrix = Transform(random.normal(size=3), turn / np.linalg.norm(turn), scale).matrix
        parts = transforms.taken_apart(matrix)
        assert parts is not None and parts.matrix == pytest.approx(matrix)
    shear = np.eye(4)
    shear[0, 1] = 0.1
    for bad in (shear, np.zeros((4, 4)), np.full((4, 4), np.nan)):
        assert transforms.taken_apart(bad) is None


def test_topology_is_kept_for_a_mesh_and_not_for_its_copies() -> None:
    mesh = box()
    kept = topology(mesh)
    assert topology(mesh) is kept
    copy = Mesh(**{name: getattr(mesh, name) for name in mesh.__dataclass_fields__})
    copy.__dict__.update(mesh.__dict__)
    object.__setattr__(copy, "corners", mesh.corners[::-1].copy())
    assert topology(copy) is not kept and topology(mesh) is kept


def test_an_empty_mesh_has_no_faults() -> None:
    empty = polygons(np.zeros((0, 3)), [])
    for find in (
        *(faces.zero_area_faces, faces.duplicate_faces, faces.isolated_points, faces.areas),
        *(manifold.crowded_edges, manifold.border_edges, manifold.bowtie_points),
        *(lambda mesh: manifold.misplaced_winding(mesh)[0], inside_out_faces),
        *(lambda mesh: overlap.overlapping_faces(mesh, np.zeros((0, 2)), 0.1)[0],),
        *(lambda mesh: editing.computed_normals(mesh, 60),),
    ):
        assert len(find(empty)) == 0
