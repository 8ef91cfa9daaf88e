"""Finding the elements that are the same."""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

from kavel.view.mesh import Indices


def unique_rows(*columns: npt.NDArray[Any]) -> tuple[Indices, Indices]:
    """Which rows of (N, ...) arrays, taken side by side as numbers, are equal.

    Returns the first row of each group, (G,) int64 in order of appearance, and the group of each
    row, (N,) int64. Equality is exact, and 0 equals -0.
    """
    rows = len(columns[0])
    if not rows:
        return np.zeros(0, np.int64), np.zeros(0, np.int64)
    table = np.concatenate([np.asarray(part, "<f8").reshape(rows, -1) for part in columns], axis=1)
    table = np.ascontiguousarray(table + 0.0)  # -0 becomes 0, so that equal bytes are equal numbers
    # Sorting one number per row is many times faster than sorting rows.
    first, groups = _grouped(_hashes(table))
    if not np.array_equal(table[first][groups], table):  # two rows have the same hash, or are NaN
        first, groups = _grouped(table.view(np.dtype((np.void, table.shape[1] * 8))).ravel())
    return first, groups


def _grouped(keys: npt.NDArray[Any]) -> tuple[Indices, Indices]:
    _, first, groups = np.unique(keys, return_index=True, return_inverse=True)
    order = np.argsort(first)
    rank = np.empty(len(order), np.int64)
    rank[order] = np.arange(len(order))
    return first[order].astype(np.int64), rank[groups.ravel()]


def _hashes(table: npt.NDArray[Any]) -> npt.NDArray[Any]:
    bits = table.view(np.uint64)
    result = np.zeros(len(table), np.uint64)
    for column in range(bits.shape[1]):
        result = (result ^ bits[:, column]) * np.uint64(0x9E3779B97F4A7C15)
        result ^= result >> np.uint64(29)
    return result
