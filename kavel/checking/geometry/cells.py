"""The unit square divided into cells, to find what lies near what without comparing all."""

from __future__ import annotations

import numpy as np

from kavel.view.mesh import Indices, Reals

#: So that entries do not become many times the boxes.
_ENTRIES_PER_BOX = 6


def in_cells(low: Reals, high: Reals) -> tuple[Indices, Indices, int]:
    """The cells that boxes in the unit square reach into, from `low` to `high` (N, 2), N > 0.

    Returns an entry for each: (E,) the box and (E, 2) its cell, and how often the square was halved
    to make the cells. They are a few times as large as the usual box, unless that makes too many.
    """
    usual = float(np.median((high - low).max(axis=1)))
    depth = int(np.clip(np.floor(-np.log2(max(4 * usual, 0.5**20))), 0, 20))
    while True:
        begin = np.floor(low * 2.0**depth).astype(np.int64)
        spans = np.floor(high * 2.0**depth).astype(np.int64) - begin + 1
        counts = spans.prod(axis=1)
        if depth == 0 or counts.sum() <= _ENTRIES_PER_BOX * len(low) + 1000:
            break
        depth -= 1
    owner = np.repeat(np.arange(len(low)), counts)
    number = within_runs(counts)
    across = spans[owner, 0]
    cells = begin[owner] + np.stack([number % across, number // across], axis=1)
    return owner, cells, depth


def cell_keys(cells: Indices) -> Indices:
    """(N,) one number for each of the cells (N, 2)."""
    return np.asarray(cells[:, 0] << 32 | cells[:, 1])


def within_runs(counts: Indices) -> Indices:
    """Numbers from 0 for each of the `counts`, one run after the other: 0 1 2, 0 1."""
    starts = np.cumsum(counts) - counts
    return np.arange(int(counts.sum()), dtype=np.int64) - np.repeat(starts, counts)
