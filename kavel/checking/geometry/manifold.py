"""Where a mesh is not a surface."""

from __future__ import annotations

import numpy as np
import numpy.typing as npt

from kavel.checking.geometry.topology import Topology, topology
from kavel.view import Mesh
from kavel.view.mesh import Indices


def crowded_edges(mesh: Mesh) -> Indices:
    """(N, 2) edges that more than two faces have."""
    shape = topology(mesh)
    return np.asarray(shape.edges[shape.face_counts > 2])


def border_edges(mesh: Mesh) -> Indices:
    """(N, 2) edges that only one face has."""
    shape = topology(mesh)
    return np.asarray(shape.edges[shape.face_counts == 1])


def border_count(edges: Indices, point_count: int) -> int:
    """How many separate borders the edges (N, 2) make."""
    labels = groups(point_count, edges)
    return len(np.unique(labels[edges[:, 0]]))


def groups(count: int, links: Indices) -> Indices:
    """(count,) a label for each of `count` things; those joined by links (N, 2) share theirs."""
    # Loading it takes longer than most checks run, and few need it.
    from scipy.sparse import coo_matrix
    from scipy.sparse.csgraph import connected_components

    weights = np.ones(len(links), dtype=np.int8)
    graph = coo_matrix((weights, (links[:, 0], links[:, 1])), shape=(count, count))
    return np.asarray(connected_components(graph, directed=False)[1], dtype=np.int64)


def corner_fans(shape: Topology, across: npt.NDArray[np.bool_] | None = None) -> Indices:
    """(C,) a label for each corner; the corners at one point whose faces follow each other over
    shared edges have the same. `across` (H - 1,) tells over which neighbours in `shape.halves`."""
    halves = shape.halves
    first, second = halves[:-1], halves[1:]
    joined = np.ones(len(first), dtype=bool)
    joined[shape.starts[1:-1] - 1] = False
    if across is not None:
        joined &= across
    first, second = first[joined], second[joined]
    first_end, second_end = shape.following[first], shape.following[second]
    same_way = shape.corners[first] == shape.corners[second]
    links = [
        np.stack([first, np.where(same_way, second, second_end)], axis=1),
        np.stack([first_end, np.where(same_way, second_end, second)], axis=1),
    ]
    # A face may have the same point twice in a row.
    still = np.flatnonzero(shape.corners == shape.corners[shape.following])
    links.append(np.stack([still, shape.following[still]], axis=1))
    return groups(len(shape.corners), np.concatenate(links))


def bowtie_points(mesh: Mesh) -> Indices:
    """Points at which faces meet that do not follow each other over shared edges."""
    shape = topology(mesh)
    fans = corner_fans(shape)
    corner = np.zeros(fans.max(initial=-1) + 1, dtype=np.int64)
    corner[fans] = np.arange(len(fans))  # any corner of the fan will do
    count = np.bincount(shape.corners[corner], minlength=len(mesh.points))
    return np.flatnonzero(count > 1)


def misplaced_winding(mesh: Mesh) -> tuple[Indices, Indices]:
    """Faces to turn over so that all faces of a part agree, and faces of parts where no turning
    helps, at the edges over which they disagree. A part's smaller side is the one to turn.

    Only edges that exactly two faces have can tell.
    """
    shape = topology(mesh)
    faces = shape.faces[shape.pairs]
    same_way = shape.corners[shape.pairs[:, 0]] == shape.corners[shape.pairs[:, 1]]
    if not same_way.any():
        return np.zeros(0, dtype=np.int64), np.zeros(0, dtype=np.int64)
    count = mesh.face_count
    # Each face stands here twice, as it is and turned over (+ count), linked to the neighbour that
    # agrees with it. A part falls into two halves then, or stays in one piece if it is one-sided.
    ahead = np.stack([faces[:, 0], faces[:, 1] + same_way * count], axis=1)
    behind = np.stack([faces[:, 0] + count, faces[:, 1] + ~same_way * count], axis=1)
    labels = groups(2 * count, np.concatenate([ahead, behind]))
    own, turned = labels[:count], labels[count:]
    one_sided = own == turned
    sizes = np.bincount(own, minlength=2 * count)
    firsts = np.full(2 * count, count)
    np.minimum.at(firsts, own, np.arange(count))
    smaller = (sizes[own] < sizes[turned]) | (
        (sizes[own] == sizes[turned]) & (firsts[own] > firsts[turned])
    )
    disagreeing = np.unique(faces[same_way])
    return np.flatnonzero(smaller & ~one_sided), disagreeing[one_sided[disagreeing]]
