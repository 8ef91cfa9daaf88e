"""Checks for meshes that are not a proper surface."""

from __future__ import annotations

from typing import Any

import numpy as np

import core
from kavel.checking import MeshCheck, Values, counted, listing
from kavel.checking.geometry.editing import turned_over
from kavel.checking.geometry.manifold import (
    border_count,
    border_edges,
    bowtie_points,
    crowded_edges,
    misplaced_winding,
)
from kavel.checking.geometry.orientation import inside_out_faces
from kavel.view import Mesh


class CrowdedEdges(MeshCheck):
    class_id = "kavel.nonmanifold.edges"
    short_name = "Non-Manifold Edges"
    long_name = "Edges with More Than Two Faces"
    description = (
        "Finds edges that more than two faces share, such as a wall inside of a body. They have no "
        "inside and outside, and cannot be unfolded, subdivided or simulated."
    )
    category = core.Constants.Check.Category.MeshNonManifold
    sort_index = 10

    def find(self, mesh: Mesh, values: Values) -> None:
        found = crowded_edges(mesh)
        if len(found):
            self.report("with more than two faces", edges=found)


class OpenBorders(MeshCheck):
    class_id = "kavel.nonmanifold.borders"
    short_name = "Open Borders"
    long_name = "Open Borders"
    description = (
        "Finds edges that only one face has: holes, and rims of a surface that is not closed. "
        "Where borders are allowed, as for cloth, their number can still be limited."
    )
    category = core.Constants.Check.Category.MeshNonManifold
    sort_index = 20

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        return kinds.Block(
            [
                kinds.Switch(
                    "allowed", False, label="Allowed", help_text="Whether there may be borders."
                ),
                kinds.IntRange(
                    "most",
                    minimum=1,
                    maximum=10000,
                    value=100,
                    label="Most borders",
                    help_text="Where borders are allowed: how many separate ones a mesh may have.",
                ),
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        found = border_edges(mesh)
        if not len(found):
            return
        borders = border_count(found, len(mesh.points))
        if not values.allowed or borders > values.most:
            self.report(f"on {counted(borders, 'open border')}", edges=found)


class Winding(MeshCheck):
    class_id = "kavel.nonmanifold.winding"
    short_name = "Winding"
    long_name = "Faces Wound Against Their Neighbours"
    description = (
        "Finds faces that show their back where their neighbours show their front. The fix turns "
        "over the smaller side. It cannot help where a strip is twisted and has one side only."
    )
    category = core.Constants.Check.Category.MeshNonManifold
    sort_index = 30

    def find(self, mesh: Mesh, values: Values) -> None:
        turn, twisted = misplaced_winding(mesh)
        if len(twisted):
            also = f", and {counted(len(turn), 'face')} to turn over" if len(turn) else ""
            self.report(
                f"{counted(len(twisted), 'face')} of a twisted, one-sided surface{also}: "
                f"{listing(twisted.tolist())}",
                items=np.union1d(twisted, turn).tolist(),
            )
        if len(turn):
            self.report("wound against the neighbours", faces=turn, fixable=True)

    def fix(self, mesh: Mesh, values: Values) -> Mesh | None:
        turn, _ = misplaced_winding(mesh)
        return turned_over(mesh, turn) if len(turn) else None


class InsideOut(MeshCheck):
    class_id = "kavel.nonmanifold.inside_out"
    short_name = "Inside Out"
    long_name = "Closed Parts Turned Inside Out"
    description = (
        "Finds closed parts whose faces all point inward, so that they show their back. The fix "
        "turns them over. The walls of a cavity within another part may point inward. Parts with a "
        "border, with crowded edges or with faces wound against each other are not judged, nor are "
        "those too flat to have an inside."
    )
    category = core.Constants.Check.Category.MeshNonManifold
    sort_index = 35

    def find(self, mesh: Mesh, values: Values) -> None:
        found = inside_out_faces(mesh)
        if len(found):
            self.report("pointing inward", faces=found, fixable=True)

    def fix(self, mesh: Mesh, values: Values) -> Mesh | None:
        found = inside_out_faces(mesh)
        return turned_over(mesh, found) if len(found) else None


class BowtiePoints(MeshCheck):
    class_id = "kavel.nonmanifold.points"
    short_name = "Bow-Tie Points"
    long_name = "Parts That Touch in a Point"
    description = (
        "Finds points at which parts of the mesh meet without sharing an edge, like the two halves "
        "of a bow tie. They cannot be subdivided or simulated."
    )
    category = core.Constants.Check.Category.MeshNonManifold
    sort_index = 40

    def find(self, mesh: Mesh, values: Values) -> None:
        found = bowtie_points(mesh)
        if len(found):
            self.report("where parts touch without an edge in common", points=found)
