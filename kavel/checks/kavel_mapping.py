"""Checks of texture coordinates."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np

import core
from kavel.checking import MeshCheck, Values, counted
from kavel.checking.geometry.overlap import overlapping_faces
from kavel.checking.geometry.uv import faces_outside, zero_area_uvs
from kavel.view import Mesh
from kavel.view.mesh import Indices, Reals


def _sets_input() -> Any:
    return core.Parameters.RegEx(
        "sets", ".*", label="UV sets", help_text="Looks at the UV sets whose whole name matches."
    )


def _search(
    check: MeshCheck, mesh: Mesh, values: Values, problem: str, find: Callable[[Reals], Indices]
) -> None:
    """Report the faces that `find` finds in any of the chosen UV sets."""
    chosen = {name: uvs for name, uvs in mesh.uv_sets.items() if values.sets.fullmatch(name)}
    found = {name: find(uvs) for name, uvs in chosen.items()}
    names = [name for name, faces in found.items() if len(faces)]
    if names:
        faces = np.unique(np.concatenate([found[name] for name in names]))
        place = f" in {', '.join(names)}" if len(mesh.uv_sets) > 1 else ""
        check.report(problem + place, faces=faces)


class MissingUvs(MeshCheck):
    class_id = "kavel.mapping.missing"
    short_name = "UV Set"
    long_name = "Missing UV Set"
    description = (
        "Finds meshes without texture coordinates, or without a UV set that the project asks for "
        "by its name."
    )
    category = core.Constants.Check.Category.Mapping
    sort_index = 10

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters
        return kinds.Block(
            [
                kinds.TextInputList(
                    "names",
                    [kinds.TextInput("UVMap", False)],
                    help_text="UV sets that every mesh must have; none: any one will do.",
                )
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        if not mesh.face_count:
            return
        if not mesh.uv_sets:
            self.report("The mesh has no UV set")
        missing = [name for name in values.names if name not in mesh.uv_sets]
        if missing:
            self.report(f"The mesh has no UV set {' and no '.join(missing)}", items=missing)


class UvSetCount(MeshCheck):
    class_id = "kavel.mapping.set_count"
    short_name = "Number of UV Sets"
    long_name = "Wrong Number of UV Sets"
    description = (
        "Finds meshes with fewer or more UV sets than any of the allowed ranges says. Both ends of "
        "a range are allowed."
    )
    category = core.Constants.Check.Category.Mapping
    sort_index = 20

    @staticmethod
    def parameters() -> Any:
        kinds = core.Parameters

        def piece() -> Any:
            ends = (kinds.IntRange(name, 0, 16, 1, number) for name, number in _USUAL_SETS)
            return kinds.IntSlice(*ends)

        return kinds.Block(
            [
                kinds.IntSliceList(
                    "counts", piece(), [piece()], help_text="Allowed numbers of UV sets."
                )
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        count, ranges = len(mesh.uv_sets), values.counts
        if not mesh.face_count or any(start <= count <= stop for start, stop in ranges):
            return
        allowed = " or ".join(f"{start} to {stop}" for start, stop in ranges)
        self.report(
            f"The mesh has {counted(count, 'UV set')}, allowed is {allowed or 'no number at all'}",
            items=list(mesh.uv_sets) or None,
        )


_USUAL_SETS = (("start", 1), ("stop", 2))


class UvRange(MeshCheck):
    class_id = "kavel.mapping.range"
    short_name = "UV Range"
    long_name = "UVs Outside of the Range"
    description = (
        "Finds faces with texture coordinates outside of the given range, or that are no numbers. "
        "Allow a larger one for textures that repeat, or for several tiles. In glTF files, V runs "
        "downwards."
    )
    category = core.Constants.Check.Category.Mapping
    sort_index = 30

    @staticmethod
    def parameters() -> Any:
        def end(attr: str, value: float, label: str) -> Any:
            return core.Parameters.FloatRange(
                attr, -100.0, 100.0, 0.05, 3, value, label=label, help_text="Still allowed."
            )

        return core.Parameters.Block(
            [
                end("u_low", 0.0, "Lowest U"),
                end("u_high", 1.0, "Highest U"),
                end("v_low", 0.0, "Lowest V"),
                end("v_high", 1.0, "Highest V"),
                _sets_input(),
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        low = np.array([values.u_low, values.v_low])
        high = np.array([values.u_high, values.v_high])
        problem = "with UVs outside of the range"
        _search(self, mesh, values, problem, lambda uvs: faces_outside(mesh, uvs, low, high))


class ZeroAreaUvs(MeshCheck):
    class_id = "kavel.mapping.zero_area"
    short_name = "Zero-Area UVs"
    long_name = "Faces Without Area in UV Space"
    description = (
        "Finds faces that have an area in the scene but none on the texture. They show a smear, "
        "and their tangents cannot be computed."
    )
    category = core.Constants.Check.Category.Mapping
    sort_index = 40

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([_sets_input()])

    def find(self, mesh: Mesh, values: Values) -> None:
        problem = "without area in UV space"
        _search(self, mesh, values, problem, lambda uvs: zero_area_uvs(mesh, uvs))


class OverlappingUvs(MeshCheck):
    class_id = "kavel.mapping.overlap"
    short_name = "Overlapping UVs"
    long_name = "Faces That Overlap in UV Space"
    description = (
        "Finds faces that share a part of the texture with another face of the mesh. Light maps "
        "and baked textures need every face to have a place of its own."
    )
    category = core.Constants.Check.Category.Mapping
    sort_index = 50

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block(
            [
                core.Parameters.FloatRange(
                    "tolerance",
                    minimum=0.0,
                    maximum=0.1,
                    step=0.00001,
                    precision=6,
                    value=0.00001,
                    label="Tolerance",
                    help_text="By how much of the texture's width faces may overlap.",
                ),
                _sets_input(),
            ]
        )

    def find(self, mesh: Mesh, values: Values) -> None:
        tolerance = values.tolerance
        complete = True

        def find(uvs: Reals) -> Indices:
            nonlocal complete
            found, all_examined = overlapping_faces(mesh, uvs, tolerance)
            complete &= all_examined
            return found

        _search(self, mesh, values, "overlapping another one in UV space", find)
        if not complete:
            raise RuntimeError("The UVs are too tangled to be compared; none overlap so far")
