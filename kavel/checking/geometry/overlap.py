"""Faces that lie over each other in texture space.

Comparing each triangle with each is out of the question, and so is comparing each with its
neighbours for a million of them. What helps: with all triangles turned counterclockwise, how many
of them lie over a place can change only across a seam, an edge that is not shared by two triangles
on opposite sides. So the square is divided into cells. In a cell without a seam, counting over one
place tells all. Cells with seams are divided again as long as that tells their triangles apart;
within the last cells triangles are compared, neighbours in the list first, then those two apart,
and so on, but what is known to overlap not with its like. Before, triangles in exactly the same
place are found by sorting, since no cell can tell them apart. The work is bounded: what is too
tangled is reported as not fully examined.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
import numpy.typing as npt

from kavel.checking.geometry.cells import cell_keys, in_cells
from kavel.checking.geometry.triangles import triangles
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

Flags = npt.NDArray[np.bool_]

_FEW = 16
_DEEPEST = 30
_MIXERS = np.array([0x9E3779B97F4A7C15, 0xC2B2AE3D27D4EB4F, 0x165667B19E3779F9], dtype=np.uint64)
#: Nothing regular lies on this place of a cell.
_PROBE = np.array([0.51370921, 0.48713047])
#: More comparisons take minutes.
COMPARISONS = 300_000_000


@dataclass(frozen=True)
class _Triangles:
    """shapes: (T, 3, 2) counterclockwise in the unit square; corners: (T, 3) theirs in the mesh;
    folded: (T,) whether the face lies over itself; low, high: (T, 2) the boxes."""

    shapes: Reals
    corners: Indices
    faces: Indices
    folded: Flags
    low: Reals
    high: Reals
    tolerance: float


def overlapping_faces(
    mesh: Mesh, uvs: Reals, tolerance: float, comparisons: int = COMPARISONS
) -> tuple[Indices, bool]:
    """Faces that lie over another face by more than `tolerance` in texture space (C, 2), and
    whether all were examined. Faces thinner than that, or with coordinates that are not finite, are
    left out; so is what a face does to itself."""
    pieces = _prepared(mesh, uvs, tolerance)
    found = np.zeros(len(pieces.faces), dtype=bool)
    left = _without_copies(pieces, found)
    complete = True
    if len(left) > 1:
        complete = _search(pieces, left, _seams(mesh, uvs, pieces, left), found, comparisons)
    return _marked(pieces.faces[found], mesh.face_count), complete


def _marked(indices: Indices, count: int) -> Indices:
    """The distinct ones of `indices`, all below `count`, ascending; faster than sorting them."""
    marks = np.zeros(count, dtype=bool)
    marks[indices] = True
    return np.flatnonzero(marks)


def _prepared(mesh: Mesh, uvs: Reals, tolerance: float) -> _Triangles:
    corners, faces = triangles(mesh, uvs)
    finite = np.isfinite(uvs[corners]).all(axis=(1, 2))
    corners, faces = corners[finite], faces[finite]
    used = uvs[_marked(corners, len(uvs))]
    origin = used.min(axis=0) if len(used) else np.zeros(2)
    # Halved, so that the extent of any finite coordinates is finite.
    half = (used / 2 - origin / 2).max(initial=0.0)
    scale = half if half > 0 else 1.0
    tolerance = tolerance / 2 / scale
    shapes = ((uvs[corners] / 2 - origin / 2) / scale).reshape(-1, 3, 2)
    edges = shapes[:, (1, 2, 0)] - shapes
    doubled = edges[:, 0, 0] * edges[:, 1, 1] - edges[:, 0, 1] * edges[:, 1, 0]
    longest = np.hypot(edges[..., 0], edges[..., 1]).max(axis=1, initial=0.0)
    thick = np.abs(doubled) > longest * tolerance
    shapes, corners, faces = shapes[thick], corners[thick], faces[thick]
    clockwise = doubled[thick] < 0
    shapes[clockwise] = shapes[clockwise, ::-1]
    corners[clockwise] = corners[clockwise, ::-1]
    count = mesh.face_count
    some, other = (np.bincount(faces[side], minlength=count) for side in (clockwise, ~clockwise))
    folded = ((some > 0) & (other > 0))[faces]
    return _Triangles(
        shapes, corners, faces, folded, shapes.min(axis=1), shapes.max(axis=1), tolerance
    )


def _seams(mesh: Mesh, uvs: Reals, pieces: _Triangles, items: Indices) -> Flags:
    """(T, 3) which edges of the triangles are seams; those of `items` alone are looked at. The edge
    follows the corner of the same number."""
    begin = pieces.corners[items].ravel()
    end = pieces.corners[items][:, (1, 2, 0)].ravel()
    a, b = mesh.corners[begin], mesh.corners[end]
    keys = np.minimum(a, b) * len(mesh.points) + np.maximum(a, b)
    order = np.argsort(keys, kind="stable")
    keys = keys[order]
    same = np.concatenate([[False], keys[1:] == keys[:-1], [False]])
    first = np.flatnonzero(same[1:-1] & ~same[:-2] & ~same[2:])
    one, two = order[first], order[first + 1]
    shared = (uvs[begin[one]] == uvs[end[two]]).all(axis=1)
    shared &= (uvs[end[one]] == uvs[begin[two]]).all(axis=1)
    one, two = one[shared], two[shared]
    seam = np.ones(len(begin), dtype=bool)
    seam[one] = seam[two] = False
    result = np.ones((len(pieces.faces), 3), dtype=bool)
    result[items] = seam.reshape(-1, 3)
    result[pieces.folded] = True
    return result


def _without_copies(pieces: _Triangles, found: Flags) -> Indices:
    """Marks triangles in the same place as another; one of each place is left to examine."""
    quantum = max(pieces.tolerance, 2.0**-30)
    place = np.rint(pieces.shapes / quantum).astype(np.int64)
    codes = np.sort(place[..., 0] << 32 | place[..., 1], axis=1)
    order = np.argsort(codes.view(np.uint64) @ _MIXERS, kind="stable")
    first, second = order[:-1], order[1:]
    same = (codes[first] == codes[second]).all(axis=1)
    first, second = first[same], second[same]
    same = _overlaps(pieces, first, second)
    first, second = first[same], second[same]
    found[first] = found[second] = True
    left = np.ones(len(found), dtype=bool)
    left[second] = False
    return np.flatnonzero(left)


def _overlaps(pieces: _Triangles, first: Indices, second: Indices) -> Flags:
    """(N,) which pairs of triangles of different faces share an area."""
    tolerance = pieces.tolerance
    low = np.maximum(pieces.low[first], pieces.low[second])
    high = np.minimum(pieces.high[first], pieces.high[second])
    candidates = (high - low > tolerance).all(axis=1)
    candidates &= pieces.faces[first] != pieces.faces[second]
    left = np.flatnonzero(candidates)
    for one, other in ((first, second), (second, first)):
        for begin, end in ((0, 1), (1, 2), (2, 0)):
            base = pieces.shapes[one[left], begin]
            along = pieces.shapes[one[left], end] - base
            to = pieces.shapes[other[left]] - base[:, None]
            inward = along[:, None, 0] * to[..., 1] - along[:, None, 1] * to[..., 0]
            limit = np.hypot(along[:, 0], along[:, 1]) * tolerance
            left = left[inward.max(axis=1, initial=-np.inf) > limit]
    result = np.zeros(len(first), dtype=bool)
    result[left] = True
    return result


@dataclass(frozen=True)
class _Entries:
    """Triangles in cells, by cell: the triangle, its cell (N, 2), and at which depth."""

    items: Indices
    cells: Indices
    depth: int

    def sorted(self) -> _Entries:
        order = np.argsort(cell_keys(self.cells), kind="stable")
        return _Entries(self.items[order], self.cells[order], self.depth)

    def of(self, cells: Flags, sizes: Indices) -> _Entries:
        chosen = np.repeat(cells, sizes)
        return _Entries(self.items[chosen], self.cells[chosen], self.depth)

    def starts(self) -> Indices:
        """(cells + 1,) where each cell begins."""
        change = (self.cells[1:] != self.cells[:-1]).any(axis=1)
        return np.concatenate([[0], np.flatnonzero(change) + 1, [len(self.items)]])


def _search(
    pieces: _Triangles, items: Indices, seams: Flags, found: Flags, comparisons: int
) -> bool:
    entries = _first_entries(pieces, items).sorted()
    side = (pieces.high - pieces.low).max(axis=1)
    while len(entries.items):
        starts = entries.starts()
        sizes = np.diff(starts)
        crossed = np.logical_or.reduceat(_crossed(pieces, entries, seams), starts[:-1])
        _count(pieces, entries.of(~crossed, sizes), found)
        mean = np.add.reduceat(side[entries.items], starts[:-1]) / sizes
        last = (sizes <= _FEW) | (mean >= 0.5**entries.depth) | (entries.depth >= _DEEPEST)
        comparisons = _compare(pieces, entries.of(crossed & last, sizes), found, comparisons)
        if comparisons < 0:
            return False
        entries = _divided(pieces, entries.of(crossed & ~last, sizes))
    return True


def _crossed(pieces: _Triangles, entries: _Entries, seams: Flags) -> Flags:
    """(N,) whether a seam of the triangle may reach into the cell."""
    result = np.zeros(len(entries.items), dtype=bool)
    for begin, end in ((0, 1), (1, 2), (2, 0)):
        at = np.flatnonzero(seams[entries.items, begin])
        shapes = pieces.shapes[entries.items[at]] * 2.0**entries.depth
        low = np.minimum(shapes[:, begin], shapes[:, end])
        high = np.maximum(shapes[:, begin], shapes[:, end])
        cells = entries.cells[at]
        result[at] |= ((low <= cells + 1) & (high >= cells)).all(axis=1)
    return result


def _count(pieces: _Triangles, entries: _Entries, found: Flags) -> None:
    """Marks what lies in cells without a seam over a place that has two triangles or more."""
    if not len(entries.items):
        return
    starts = entries.starts()
    size = 0.5**entries.depth
    shapes = pieces.shapes[entries.items]
    over = _inward(shapes, (entries.cells + _PROBE) * size, 0.0)
    several = np.add.reduceat(over.astype(np.int64), starts[:-1]) > 1
    chosen = np.repeat(several, np.diff(starts))
    items, low = entries.items[chosen], entries.cells[chosen] * size
    high = low + size
    meets = np.minimum(high, pieces.high[items]) - np.maximum(low, pieces.low[items])
    within = (meets > pieces.tolerance).all(axis=1)
    items, low = items[within], low[within]
    shapes = pieces.shapes[items]
    reaches = np.ones(len(items), dtype=bool)
    for begin, end in ((0, 1), (1, 2), (2, 0)):
        along = shapes[:, end] - shapes[:, begin]
        # The corner of the cell that lies farthest on the inner side of the edge.
        farthest = low + size * np.stack([along[:, 1] < 0, along[:, 0] > 0], axis=1)
        reaches &= _beyond(shapes[:, begin], along, farthest, pieces.tolerance)
    found[items[reaches]] = True


def _inward(shapes: Reals, places: Reals, tolerance: float) -> Flags:
    """(N,) whether triangles (N, 3, 2) hold the places (N, 2)."""
    result = np.ones(len(shapes), dtype=bool)
    for begin, end in ((0, 1), (1, 2), (2, 0)):
        along = shapes[:, end] - shapes[:, begin]
        result &= _beyond(shapes[:, begin], along, places, tolerance)
    return result


def _beyond(base: Reals, along: Reals, places: Reals, tolerance: float) -> Flags:
    """(N,) whether places lie farther than `tolerance` to the left of edges; all (N, 2)."""
    to = places - base
    inward = along[:, 0] * to[:, 1] - along[:, 1] * to[:, 0]
    return np.asarray(inward > np.hypot(along[:, 0], along[:, 1]) * tolerance)


def _first_entries(pieces: _Triangles, items: Indices) -> _Entries:
    owner, cells, depth = in_cells(pieces.low[items], pieces.high[items])
    return _Entries(items[owner], cells, depth)


def _divided(pieces: _Triangles, entries: _Entries) -> _Entries:
    depth, items, cells = entries.depth + 1, entries.items, entries.cells
    low = np.floor(pieces.low[items] * 2.0**depth).astype(np.int64)
    high = np.floor(pieces.high[items] * 2.0**depth).astype(np.int64)
    new_items, new_cells = [], []
    for step in ((0, 0), (1, 0), (0, 1), (1, 1)):
        quarter = cells * 2 + step
        touched = ((quarter >= low) & (quarter <= high)).all(axis=1)
        new_items.append(items[touched])
        new_cells.append(quarter[touched])
    return _Entries(np.concatenate(new_items), np.concatenate(new_cells), depth).sorted()


def _compare(pieces: _Triangles, leaf: _Entries, found: Flags, comparisons: int) -> int:
    """Marks what overlaps within each cell. Returns the comparisons that are left, negative when
    they did not suffice."""
    if not len(leaf.items):
        return comparisons
    starts = leaf.starts()
    ends = np.repeat(starts[1:], np.diff(starts))
    active = np.arange(len(leaf.items))
    distance = 1
    while True:
        active = active[active + distance < ends[active]]
        if not len(active):
            return comparisons
        comparisons -= len(active)
        if comparisons < 0:
            return comparisons
        first, second = leaf.items[active], leaf.items[active + distance]
        news = ~(found[first] & found[second])
        # Two triangles meet in several cells; only the one with their common lowest corner counts.
        low = np.maximum(pieces.low[first], pieces.low[second])
        news &= (np.floor(low * 2.0**leaf.depth) == leaf.cells[active]).all(axis=1)
        first, second = first[news], second[news]
        over = _overlaps(pieces, first, second)
        found[first[over]] = found[second[over]] = True
        if distance % _FEW == 0:
            open_cells = np.logical_or.reduceat(~found[leaf.items], starts[:-1])
            active = active[np.repeat(open_cells, np.diff(starts))[active]]
        distance += 1
