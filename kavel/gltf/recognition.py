"""Finding the faces of a mesh in an edited copy of it.

Faces in the same place are told apart by their material, normals and UVs. Where these are equal
too, and some of the faces were removed, what the file has besides decides whether it matters which.
"""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np
import numpy.typing as npt

from kavel.gltf.weld import unique_rows
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals

#: Whether vertices of a primitive, (N,) and (N,), are the same pair by pair in all that a file has.
Alike = Callable[[int, Indices, Indices], bool]


class Recognition:
    """Leads the faces of `new` back to those of `old`, all of them triangles."""

    def __init__(self, old: Mesh, new: Mesh, alike: Alike) -> None:
        self._old, self._new, self._alike = old, new, alike

    def faces(self, before: Reals, after: Reals) -> Indices:
        """For each face of `new` the face of `old` in the same place; -1 when there is none.

        `before`, `after`: the places of their corners, (F, 3, width), in any terms. Errors:
        ValueError when it cannot be known which of several faces is left, and it matters.
        """
        result = np.full(len(after), -1, np.int64)
        if not len(after) or not len(before):
            return result
        taken = np.zeros(len(before), bool)
        for groups in (self._groups(before, after, True), self._groups(before, after, False)):
            known, asked = np.flatnonzero(~taken), np.flatnonzero(result < 0)
            if not len(known) or not len(asked):
                break
            first, second = groups[: len(before)][known], groups[len(before) :][asked]
            found = _matched(first, second)
            self._require_known(first, second, known, before)
            result[asked] = np.where(found >= 0, known[found], -1)
            taken[result[result >= 0]] = True
        return result

    def _groups(self, before: Reals, after: Reals, by_values: bool) -> Indices:
        """(F + F',) the group of each face: of equal places, and equal values where asked for."""
        corners = [np.concatenate([before, after]).reshape(-1, before.shape[2])]
        faces = []
        old, new = self._old, self._new
        if by_values:
            pairs = [(old.normals, new.normals)]
            pairs += [(old.uv_sets.get(name), new.uv_sets[name]) for name in new.uv_sets]
            corners += [np.concatenate([a, b]) for a, b in pairs if a is not None and b is not None]
            faces.append(np.concatenate([_materials(old), _materials(new)]))
        _, groups = unique_rows(*corners)
        return unique_rows(np.sort(groups.reshape(-1, 3), axis=1), *faces)[1]

    def _require_known(
        self, first: Indices, second: Indices, known: Indices, before: Reals
    ) -> None:
        """Errors: ValueError when fewer faces of a group are left, and these are not alike."""
        size = int(max(first.max(), second.max())) + 1
        counts, left = np.bincount(first, minlength=size), np.bincount(second, minlength=size)
        unclear = (left > 0) & (left < counts)
        mine = np.flatnonzero(unclear[first])
        if not len(mine):
            return
        representative = np.zeros(size, np.int64)
        representative[first[mine[::-1]]] = known[mine[::-1]]
        one, other = representative[first[mine]], known[mine]
        if not self._are_alike(one, other, turns(before[one], before[other])):
            raise ValueError(
                "several faces lie in the same place, and the file tells them apart by more than "
                "is known of them, so that it cannot be known which were removed"
            )

    def _are_alike(self, one: Indices, other: Indices, turned: Indices) -> bool:
        """Whether pairs of faces, the corners of the second `turned` (N, 3) to the first's, are the
        same to the file."""
        handles = self._old.handles
        if not np.array_equal(handles.faces[one], handles.faces[other]):
            return False
        first = handles.vertices[one[:, None] * 3 + turned]
        second = handles.vertices[other[:, None] * 3 + np.arange(3)]
        for number, part in enumerate(handles.parts):
            mine = handles.faces[one] == number
            pairs = part.sources[first[mine].ravel()], part.sources[second[mine].ravel()]
            same = np.array_equal(*pairs)
            if not same and not self._alike(part.primitive, *pairs):
                return False
        return True


def _materials(mesh: Mesh) -> Indices:
    """(F,) the file's material of each face, -1 for none."""
    if mesh.materials is None:
        return np.full(mesh.face_count, -1, np.int64)
    handles = [-1 if slot is None else slot.handle for slot in mesh.slots]
    return np.array([*handles, -1], np.int64)[mesh.materials]


def turns(before: npt.NDArray[Any], after: npt.NDArray[Any]) -> Indices:
    """(F, 3) for each corner of the faces `after`, (F, 3, ...), its position in the face `before`;
    -1 where it is not there. A corner that stayed where it was is itself."""
    equal = (after[:, :, None] == before[:, None, :]).all(axis=-1)
    positions = np.where(equal.any(axis=2), equal.argmax(axis=2), -1)
    stayed = equal[:, np.arange(3), np.arange(3)]
    return np.where(stayed, np.arange(3), positions).astype(np.int64)


def _matched(known: Indices, asked: Indices) -> Indices:
    """For each group in `asked` its place in `known`, -1 when it is not there. The second of one
    group is the second one there too."""
    most = int(max(known.max(), asked.max())) + 1
    keys, wanted = known + _occurrences(known) * most, asked + _occurrences(asked) * most
    order = np.argsort(keys)
    places = np.searchsorted(keys, wanted, sorter=order)
    places = order[np.minimum(places, len(keys) - 1)]
    return np.where(keys[places] == wanted, places, -1)


def _occurrences(groups: Indices) -> Indices:
    """How often the group of each element came before it."""
    order = np.argsort(groups, kind="stable")
    ordered = groups[order]
    starts = np.searchsorted(ordered, ordered)
    result = np.empty(len(groups), np.int64)
    result[order] = np.arange(len(groups)) - starts
    return result
