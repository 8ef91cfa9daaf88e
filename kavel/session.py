"""Scanning scene files with one project, through the core's `Api`."""

from __future__ import annotations

import os
import shutil
import tempfile
from collections.abc import Sequence
from types import TracebackType
from typing import Any

import core
from kavel.environment import StandaloneEnvironment
from kavel.errors import ProjectError, SceneError
from kavel.gltf.operator import GltfOperator
from kavel.home import target_directory
from kavel.logs import LogHandler
from kavel.projects import ProjectFile
from kavel.report import MATCHED, UNMATCHED, Hierarchy, Joint, SceneObject, SceneResult

_COPY = "project.json"
_LOG_WAIT = 2.0  # seconds that an entry of a failed scan may take to arrive

_REASONS = {
    "empty_scan_selection": "there is no object to scan",
    "used_scan_selection": "what was to be scanned is stored in the file already",
    "empty_scan_result": "no hierarchy matches the project",
}


class Session:
    """One `Api` over a glTF operator, with `project` as its only project.

    The project is used as a copy in a temporary home of its own, with the project's own target, so
    that neither its file nor the user's settings change. A context manager.

    Errors: ProjectError when the project is not usable; OSError when the copy cannot be made.
    """

    def __init__(self, project: ProjectFile, log: LogHandler, lod_names: str | None = None) -> None:
        if not project.checked.usable:
            raise ProjectError(f"{project.path}: the project is not usable")
        self.project = project
        self._log = log
        self.operator = GltfOperator(lod_names)
        self._home = tempfile.mkdtemp(prefix="kavel-")
        try:
            environment = self._environment(project)
            self.api = core.Api(self.operator, environment)
            if self.api.env is not environment:
                raise ProjectError("the core did not accept the environment of this program")
            self._reason = ""
            self._register_reasons()
            self._load()
        except BaseException:
            self._remove_home()
            raise

    def close(self) -> None:
        """Shut the `Api` down and remove the copy of the project."""
        try:
            self.operator.shutdown()
            self.api.shutdown()
        finally:
            self._remove_home()

    def __enter__(self) -> Session:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def scan(
        self, file: str, select: Sequence[str] = (), append: bool = False, save: bool = False
    ) -> SceneResult:
        """Open a scene, scan the objects of `select` (all top objects when there are none), and
        save the scene with what was found when `save` is set and something was.

        `append` adds to the hierarchies that the file holds already instead of replacing them.
        Nothing is raised for the scene's sake: the result says what went wrong.
        """
        result = SceneResult(file)
        try:
            self.operator.open(file)
        except SceneError as error:
            return result.fail("unreadable", str(error))
        if append and self.operator.filedata_problem:
            message = f"{file}: {self.operator.filedata_problem}; nothing can be added to it"
            return result.fail("unreadable", message)
        missing = [path for path in select if not self.operator.object_exists(path)]
        if missing:
            return result.fail("selection", f"{file}: {self._missing_message(missing)}")
        self.operator.select(*(select or self.operator.graph.roots))
        self._scan(result, append)
        if save and result.status == MATCHED:
            self._save(result)
        return result

    def _scan(self, result: SceneResult, append: bool) -> None:
        scene = self.api.scene
        roots = self.operator.get_selection_roots()
        before = list(scene.buffer.get()) if append else []
        self._log.take_errors()
        self._reason = ""
        success = scene.scanner.upload_buffer(append)
        buckets = list(scene.buffer.get())
        new = [bucket for bucket in buckets if not any(bucket is old for old in before)]
        if success:
            result.status = MATCHED
            result.hierarchies = [self._hierarchy(bucket) for bucket in new]
            if not new:  # a success without a hierarchy must never read as a pass
                result.fail("empty_scan_result", _REASONS["empty_scan_result"], UNMATCHED)
        elif self._reason:
            result.fail(self._reason, _REASONS[self._reason], UNMATCHED)
        else:
            errors = self._log.take_errors(wait=_LOG_WAIT)
            result.fail("scan", "; ".join(errors) or "the scan failed without a reason")
        self._count_objects(result, roots, buckets)
        self._count_kept(result, before)

    def _count_objects(self, result: SceneResult, roots: list[str], buckets: list[Any]) -> None:
        operator = self.operator
        taken = {joint.path for bucket in buckets for joint in bucket.get_joints()}
        paths = operator.graph.below(roots)
        result.objects = len(paths)
        result.unassigned = [
            SceneObject(path, operator.name_from_path(path), operator.get_type(path))
            for path in paths
            if path not in taken
        ]

    def _count_kept(self, result: SceneResult, before: list[Any]) -> None:
        result.kept = len(before)
        if before:
            buffer = self.api.scene.buffer
            buffer.validate()
            incompatible = list(buffer.incompatibles)
            result.kept_invalid = sum(
                any(bucket is old for old in incompatible) for bucket in before
            )

    def _save(self, result: SceneResult) -> None:
        try:
            self.operator.save()
            result.saved = True
        except SceneError as error:
            result.fail("save", str(error))

    def _hierarchy(self, bucket: Any) -> Hierarchy:
        top: list[Joint] = []
        stack = [(bucket.joint, top)]
        while stack:
            source, siblings = stack.pop()
            # The core notes the rule's name as the joint's type; the object's own is asked by path.
            kind = self.operator.get_type(source.path) if source.path else "sceneRoot"
            joint = Joint(source.type, source.stamp, source.name, source.path, kind)
            siblings.append(joint)
            stack.extend((child, joint.children) for child in reversed(list(source.children)))
        return Hierarchy(bucket.name, top[0])

    def _environment(self, project: ProjectFile) -> StandaloneEnvironment:
        folder = os.path.join(target_directory(self._home, project.target), "projects")
        os.makedirs(folder)
        shutil.copyfile(project.path, os.path.join(folder, _COPY))
        return StandaloneEnvironment(self._home, project.target)

    def _load(self) -> None:
        projects = self.api.project
        if not projects.is_exists(_COPY):
            reasons = "; ".join(self._log.take_errors(wait=_LOG_WAIT))
            raise ProjectError(f"{self.project.path}: the core does not read it: {reasons}")
        projects.load(_COPY)

    def _register_reasons(self) -> None:
        for name in _REASONS:
            getattr(self.api.callbacks, name).register(self._note(name))

    def _note(self, name: str) -> Any:
        def note(*_: Any, **__: Any) -> None:
            self._reason = name

        return note

    def _missing_message(self, missing: list[str]) -> str:
        known = self.operator.graph.roots
        listed = ", ".join(known[:5]) + (", ..." if len(known) > 5 else "")
        there = f"the top objects are {listed}" if known else "it has none at all"
        return f"no object at {', '.join(missing)}; {there}"

    def _remove_home(self) -> None:
        shutil.rmtree(self._home, ignore_errors=True)
