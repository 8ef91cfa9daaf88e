"""Checks of meshes: faces, points and normals that should not be there."""

from __future__ import annotations

from dataclasses import replace
from typing import Any

import numpy as np

import core
from kavel.checking import MeshCheck, Values
from kavel.checking.geometry.bounds import placed
from kavel.checking.geometry.editing import bad_normals, computed_normals
from kavel.checking.geometry.faces import (
    areas,
    close_points,
    duplicate_faces,
    isolated_points,
    zero_area_faces,
)
from kavel.view import Mesh, current


class ZeroAreaFaces(MeshCheck):
    class_id = "kavel.mesh.zero_area_faces"
    short_name = "Zero-Area Faces"
    long_name = "Faces Without Area"
    description = (
        "Finds faces whose points lie on one line or in one place, or are not numbers. They show "
        "nothing, and break normals, tangents and light maps."
    )
    category = core.Constants.Check.Category.Mesh
    sort_index = 10

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.FloatRange(
                    "area",
                    minimum=0.0,
                    maximum=10000.0,
                    step=0.01,
                    precision=4,
                    value=0.0,
                    units="mm²",
                    label="Smallest area",
                    help_text="Faces that are smaller in the scene are reported as well.",
                )
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        found = zero_area_faces(mesh)
        if values.area > 0:
            sizes = areas(placed(mesh, current().shown_matrix(self.path)))
            found = np.union1d(found, np.flatnonzero(~(sizes * 1e6 >= values.area)))
        if len(found):
            self.report("without area" if not values.area else "too small", faces=found)


class DuplicateFaces(MeshCheck):
    class_id = "kavel.mesh.duplicate_faces"
    short_name = "Duplicate Faces"
    long_name = "Faces Over the Same Points"
    description = (
        "Finds faces that use the same points as another face of the mesh. They flicker, and cost "
        "twice. The first face of each place is not reported."
    )
    category = core.Constants.Check.Category.Mesh
    sort_index = 20

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.Switch(
                    "opposite",
                    True,
                    label="Opposite sides",
                    help_text="Also report a face that shows the back of another one.",
                )
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        found = duplicate_faces(mesh, either_way=values.opposite)
        if len(found):
            self.report("over the same points as another", faces=found)


class IsolatedPoints(MeshCheck):
    class_id = "kavel.mesh.isolated_points"
    short_name = "Isolated Points"
    long_name = "Points Without a Face"
    description = "Finds points that no face uses. They enlarge the object's box and its file."
    category = core.Constants.Check.Category.Mesh
    sort_index = 30

    def find(self, mesh: Mesh, values: Values) -> None:
        found = isolated_points(mesh)
        if len(found):
            self.report("used by no face", points=found)


class Ngons(MeshCheck):
    class_id = "kavel.mesh.ngons"
    short_name = "N-gons"
    long_name = "Faces with Too Many Corners"
    description = (
        "Finds faces with more corners than allowed. Every application cuts them into triangles in "
        "its own way, and they do not subdivide well."
    )
    category = core.Constants.Check.Category.Mesh
    sort_index = 40

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.IntRange(
                    "corners",
                    minimum=3,
                    maximum=100,
                    value=4,
                    label="Most corners",
                    help_text="How many corners a face may have.",
                )
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        found = np.flatnonzero(mesh.face_sizes > values.corners)
        if len(found):
            self.report(f"with more than {values.corners} corners", faces=found)


class UnmergedPoints(MeshCheck):
    class_id = "kavel.mesh.unmerged_points"
    short_name = "Unmerged Points"
    long_name = "Points in the Same Place"
    description = (
        "Finds points so close to another one that they should be one. The surface is open there "
        "though it looks closed."
    )
    category = core.Constants.Check.Category.Mesh
    sort_index = 50

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.FloatRange(
                    "distance",
                    minimum=0.0,
                    maximum=100.0,
                    step=0.001,
                    precision=5,
                    value=0.001,
                    units="mm",
                    label="Distance",
                    help_text="Up to which distance in the scene two points count as one.",
                )
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        points = placed(mesh, current().shown_matrix(self.path)).points
        found = close_points(points, values.distance / 1000)
        if len(found):
            self.report("not merged with another one close by", points=found)


class BadNormals(MeshCheck):
    class_id = "kavel.mesh.normals"
    short_name = "Normals"
    long_name = "Missing or Zero Normals"
    description = (
        "Finds meshes without normals, and faces with a normal that has no length or is no number. "
        "They are shaded black or not at all. The fix computes those normals from the faces."
    )
    category = core.Constants.Check.Category.Mesh
    sort_index = 60

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        return kinds.Block(
            [
                kinds.Switch(
                    "missing",
                    True,
                    label="Missing normals",
                    help_text="Report meshes that have no normals at all.",
                ),
                kinds.IntRange(
                    "crease",
                    minimum=0,
                    maximum=180,
                    value=60,
                    units="°",
                    label="Crease angle",
                    help_text="The fix keeps edges hard that bend by more than this.",
                ),
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        if not mesh.face_count:
            return
        if mesh.normals is None:
            if values.missing:
                self.report("The mesh has no normals", fixable=True)
            return
        corners = bad_normals(mesh.normals)
        if len(corners):
            faces = np.unique(mesh.corner_faces[corners])
            self.report("with a normal of no direction", faces=faces, fixable=True)

    def fix(self, mesh: Mesh, values: Values) -> Mesh | None:
        if mesh.normals is None:
            return replace(mesh, normals=computed_normals(mesh, values.crease))
        corners = bad_normals(mesh.normals)
        if not len(corners):
            return None
        normals = mesh.normals.copy()
        normals[corners] = computed_normals(mesh, values.crease)[corners]
        return replace(mesh, normals=normals)
