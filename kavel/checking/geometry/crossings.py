"""How many faces a ray meets: whether a place is within a closed surface."""

from __future__ import annotations

import numpy as np

from kavel.checking.geometry.cells import cell_keys, in_cells, within_runs
from kavel.view.mesh import Indices, Reals

_AT_ONCE = 1_000_000


def crossings(places: Reals, triangles: Reals) -> Indices:
    """(N,) how many of the triangles (T, 3, 3), T > 0, are above places (N, 3), along the last
    axis: those that face up less those that face down. For a closed surface that shows its front
    this is 1 within and 0 outside. A place exactly below an edge may be counted wrongly.
    """
    low, high = triangles[..., :2].min(axis=1), triangles[..., :2].max(axis=1)
    origin = low.min(axis=0)
    scale = float((high - origin).max()) * (1 + 1e-9) or 1.0
    items, cells, depth = in_cells((low - origin) / scale, (high - origin) / scale)
    keys = cell_keys(cells)
    order = np.argsort(keys, kind="stable")
    items, keys = items[order], keys[order]
    asked = cell_keys(np.floor((places[:, :2] - origin) / scale * 2.0**depth).astype(np.int64))
    starts = np.searchsorted(keys, asked)
    counts = np.searchsorted(keys, asked, side="right") - starts
    result = np.zeros(len(places), dtype=np.int64)
    # In blocks, since a cell may hold many triangles.
    bounds = np.flatnonzero(np.diff(np.cumsum(counts) // _AT_ONCE)) + 1
    for block in np.split(np.arange(len(places)), bounds):
        query = np.repeat(block, counts[block])
        item = items[starts[query] + within_runs(counts[block])]
        senses = _senses(places[query], triangles[item])
        result[block] = np.bincount(query - block[0], senses, len(block)) if len(block) else 0
    return result


def _senses(places: Reals, triangles: Reals) -> Indices:
    """(N,) 1 for a triangle above its place that faces up, -1 for one that faces down, else 0."""
    to = triangles - places[:, None]
    ends = to[:, (1, 2, 0)]
    sides = to[..., 0] * ends[..., 1] - to[..., 1] * ends[..., 0]
    facing = (sides > 0).all(axis=1).astype(np.int64) - (sides < 0).all(axis=1)
    # Each side of the place weighs the height of the corner opposite to it.
    heights = (sides[:, (1, 2, 0)] * to[..., 2]).sum(axis=1)
    return np.where(heights * facing > 0, facing, 0)
