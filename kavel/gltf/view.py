"""The view that checks have of an open glTF file."""

from __future__ import annotations

import os
from collections.abc import Sequence
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Literal

import numpy as np

from kavel.errors import SceneError
from kavel.gltf.accessors import Accessors
from kavel.gltf.attached import Attachments
from kavel.gltf.buffers import Buffers
from kavel.gltf.container import SceneFile
from kavel.gltf.deformation import Deformation
from kavel.gltf.editing import carried
from kavel.gltf.encoding import Draft, encode_mesh, same_vertices
from kavel.gltf.lookup import Lookup
from kavel.gltf.materials import Materials
from kavel.gltf.meshes import Meshes
from kavel.gltf.skins import heaviest_joint
from kavel.gltf.transforms import read_transform, sound_transform, write_transform
from kavel.view import Mesh, Selection, Transform
from kavel.view.changes import mesh_changes, transform_changes
from kavel.view.mesh import Indices, Reals

if TYPE_CHECKING:
    from kavel.gltf.operator import GltfOperator


@dataclass(frozen=True)
class Edits:
    """What was changed since the file was opened or saved, by the file's index.

    base: the document that the indices belong to.
    """

    base: int = 0
    meshes: dict[int, Mesh] = field(default_factory=dict)
    transforms: dict[int, Transform] = field(default_factory=dict)


class GltfScene:
    """The scene of one open file: implements `kavel.view.EditableScene`.

    glTF scenes are in metres with y up. Points split by normals or texture coordinates are one
    point (see `kavel.gltf.meshes`); `Mesh.handles` is a `kavel.gltf.meshes.Handles`.

    Meshes are in object space, counter-clockwise seen from the front, whatever the node's scale:
    a renderer turns the faces of a node with a mirroring world matrix round. Who moves such a scale
    into the points must turn the faces round, and normals take the inverse transpose.

    Edits are kept beside the document, in single precision, until `save` writes them; what the file
    has besides stays as it is, byte for byte. Tangents are dropped where points, normals or texture
    coordinates of their primitive change, because they follow from these.

    A file with invalid data raises SceneError where that data is asked for.
    """

    unit = 1.0
    up_axis = "y"
    # The children of a node with MSFT_lod are parts of its finest level.
    lods_by_order = False

    def __init__(self, file: SceneFile, operator: GltfOperator) -> None:
        self.operator = operator
        self._file = file
        graph = operator.graph
        self._graph = graph
        self._nodes = dict(zip(graph.names, graph.nodes))
        self._saves = 0
        self._edits = Edits()
        self._read()

    def _read(self) -> None:
        """Start from the document as it is now."""
        self._lookup = Lookup(self._file.document, self._file.path)
        buffers = Buffers(self._file, self._lookup)
        self._accessors = Accessors(self._lookup, buffers)
        self._materials = Materials(self._lookup, buffers)
        self._reader = Meshes(self._lookup, self._accessors, self._materials)
        self._deformation = Deformation(self._lookup)
        self._attachments = Attachments(self._lookup)
        self._meshes: dict[int, Mesh] = {}
        self._transforms: dict[int, Transform] = {}
        self._worlds: dict[str, Reals] = {}

    # The scene

    @property
    def file(self) -> str:
        return os.path.abspath(self._file.path)

    @property
    def is_saved(self) -> bool:
        """Whether everything that checks changed is in the file; data that the core embeds does
        not count."""
        return not (self._edits.meshes or self._edits.transforms)

    # The hierarchy

    def paths(self) -> list[str]:
        return list(self._nodes)

    def exists(self, path: str) -> bool:
        return path in self._nodes

    def name(self, path: str) -> str:
        return self._graph.names[path]

    def type(self, path: str) -> str:
        self._node(path)
        return self.operator.get_type(path)

    def parent(self, path: str) -> str | None:
        return self._graph.parents[path]

    def children(self, path: str) -> tuple[str, ...]:
        return self._graph.children[path]

    # Placement

    def transform(self, path: str) -> Transform:
        index = self._nodes[path]
        return self._edits.transforms.get(index) or self._stored_transform(index)

    def world_matrix(self, path: str) -> Reals:
        chain = []
        above: str | None = path
        while above is not None and above not in self._worlds:
            chain.append(above)
            above = self._graph.parents[above]
        matrix: Reals = np.eye(4) if above is None else self._worlds[above]
        for below in reversed(chain):
            matrix = matrix @ self.transform(below).matrix
            self._worlds[below] = matrix
        return np.array(matrix)

    def set_transform(self, path: str, transform: Transform) -> None:
        """Errors: ValueError for a shear, or for values that are no placement."""
        index = self._nodes[path]
        transform = sound_transform(transform)
        if transform_changes(self._stored_transform(index), transform):
            self._edits.transforms[index] = transform
        else:
            self._edits.transforms.pop(index, None)
        self._worlds.clear()

    def shown_matrix(self, path: str) -> Reals:
        """A mesh with a skin is taken to hang rigidly on the joint with the most weight."""
        node = self._node(path)
        bound = None
        if "skin" in node and "mesh" in node:
            bound = heaviest_joint(self._lookup, self._accessors, self._nodes[path])
        if bound is None:
            return self.world_matrix(path)
        joint, matrix = bound
        above = next((other for other, index in self._nodes.items() if index == joint), None)
        return self.world_matrix(path) if above is None else self.world_matrix(above) @ matrix

    # Meshes

    def mesh(self, path: str) -> Mesh | None:
        index = self._mesh_index(path)
        if index is None:
            return None
        return self._edits.meshes.get(index) or self._stored_mesh(index, path)

    def is_deformed(self, path: str) -> bool:
        """True for the users of a skin or of blend shapes; for joints and animated nodes; and for
        what lies above these, in whose space their placement is stored. An object that merely moves
        with an animated parent can be changed freely."""
        return self._deformation.concerns(self._nodes[path])

    def skin_role(self, path: str) -> Literal["", "mesh", "joint"]:
        node = self._node(path)
        if self._deformation.is_joint(self._nodes[path]):
            return "joint"
        return "mesh" if "skin" in node and "mesh" in node else ""

    def attached(self, path: str) -> str:
        """Cameras, lights, extensions of the node that this program does not know, primitives that
        are no faces, and extensions elsewhere in the file that refer to the node."""
        return self._attachments.of(self._nodes[path])

    def shares_mesh(self, path: str) -> bool:
        """Nodes that are in none of the shown scenes count too."""
        index = self._mesh_index(path)
        return index is not None and self._deformation.users(index) > 1

    def set_mesh(self, path: str, mesh: Mesh) -> None:
        """For every object that shares the mesh. See `kavel.gltf.editing` for what is possible."""
        index = self._mesh_index(path)
        if index is None:
            raise ValueError(f"{path} has no mesh that could be replaced")
        original = self._stored_mesh(index, path)
        primitives = self._lookup.document["meshes"][index]["primitives"]

        def alike(number: int, first: Indices, second: Indices) -> bool:
            return same_vertices(self._accessors, primitives[number], first, second)

        mesh = carried(self._edits.meshes.get(index, original), mesh, alike)
        self._require_unused(original, mesh)
        try:
            encode_mesh(self._draft(), self._accessors, index, original, mesh)
        except SceneError as error:
            raise ValueError(f"the mesh cannot be stored: {error}") from error
        if mesh_changes(original, mesh):
            self._edits.meshes[index] = mesh
        else:
            self._edits.meshes.pop(index, None)

    def select(self, selections: Sequence[Selection]) -> None:
        """Selects the objects, and keeps the elements for a report (`GltfOperator.selections`)."""
        chosen = list(selections)
        self.operator.select(*(selection.path for selection in chosen))
        self.operator.selections = [item for item in chosen if item.path in self._nodes]

    # Edits

    def snapshot(self) -> Edits:
        return Edits(self._saves, dict(self._edits.meshes), dict(self._edits.transforms))

    def restore(self, snapshot: Edits) -> None:
        """Errors: ValueError when edits were saved since the snapshot."""
        self._require_current(snapshot)
        self._edits = Edits(self._saves, dict(snapshot.meshes), dict(snapshot.transforms))
        self._worlds.clear()

    def changes(self, since: Edits | None = None) -> dict[str, list[str]]:
        """An object that shares a changed mesh is listed as well.

        Errors: ValueError when edits were saved since the snapshot.
        """
        if since is not None:
            self._require_current(since)
        before, now = since or Edits(), self._edits
        words: dict[int, list[str]] = {}
        for index in {**before.transforms, **now.transforms}:
            stored = self._stored_transform(index)
            pair = [edits.transforms.get(index, stored) for edits in (before, now)]
            words[index] = transform_changes(*pair)
        of_mesh: dict[int, list[str]] = {}
        for index in {**before.meshes, **now.meshes}:
            first, second = (
                edits.meshes.get(index, self._meshes[index]) for edits in (before, now)
            )
            of_mesh[index] = mesh_changes(first, second)
        if not any(words.values()) and not any(of_mesh.values()):
            return {}
        result = {}
        for path, node in self._nodes.items():
            mesh = self._lookup.document["nodes"][node].get("mesh")
            found = words.get(node, []) + (of_mesh.get(mesh, []) if type(mesh) is int else [])
            if found:
                result[path] = found
        return result

    def save(self) -> None:
        """Write the file: as it was read, apart from what was changed.

        New data of a binary file goes to the end of its binary chunk. Otherwise it is embedded in
        the document as text: the files beside a .gltf stay as they are, since others may use them.

        Errors: SceneError when the file cannot be written; it is then as it was, with every edit
        still pending.
        """
        if not self._edits.meshes and not self._edits.transforms:
            self._file.save()
            return
        draft = self._draft()
        self.apply(draft)
        appended = draft.finish()
        self._file.save(draft.document, appended)
        self._saves += 1
        self._edits = Edits(self._saves)
        self._read()

    def apply(self, draft: Draft) -> None:
        """Put what was changed since the file was read or saved into a draft of its document."""
        for index, transform in self._edits.transforms.items():
            node = draft.replace("nodes", index)
            write_transform(node, self._stored_transform(index), transform)
        for index, mesh in self._edits.meshes.items():
            encode_mesh(draft, self._accessors, index, self._meshes[index], mesh)

    def _draft(self) -> Draft:
        document = self._file.document
        buffers = document.get("buffers")
        first = buffers[0] if isinstance(buffers, list) and buffers else None
        own = isinstance(first, dict) and "uri" not in first and self._file.binary_size > 0
        return Draft(document, self._file.binary_size if own else None)

    def _node(self, path: str) -> dict[str, Any]:
        return self._lookup.document["nodes"][self._nodes[path]]  # type: ignore[no-any-return]

    def _mesh_index(self, path: str) -> Any:
        """Errors: SceneError when the node's mesh is none of the file's."""
        node = self._node(path)
        if "mesh" not in node:
            return None
        self._lookup.entry("meshes", node["mesh"], f"nodes[{self._nodes[path]}].mesh")
        return node["mesh"]

    def _stored_mesh(self, index: int, path: str) -> Mesh:
        if index not in self._meshes:
            place = f"nodes[{self._nodes[path]}].mesh"
            self._meshes[index] = self._reader.read(index, place)
        return self._meshes[index]

    def _stored_transform(self, index: int) -> Transform:
        if index not in self._transforms:
            node = self._lookup.document["nodes"][index]
            self._transforms[index] = read_transform(self._lookup, node, f"nodes[{index}]")
        return self._transforms[index]

    def _require_current(self, snapshot: Edits) -> None:
        if snapshot.base != self._saves:
            raise ValueError("the scene was saved since the snapshot")

    def _require_unused(self, original: Mesh, mesh: Mesh) -> None:
        """Errors: ValueError when a UV set is gone that a material is mapped with."""
        gone = set(original.uv_sets) - set(mesh.uv_sets)
        for material in mesh.handles.slot_materials if gone else ():
            if material is None:
                continue
            used = self._materials.uv_sets(material, "material") & gone
            if used:
                raise ValueError(f"a texture is mapped with {used.pop()}, which would be removed")
