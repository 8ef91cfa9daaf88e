"""Scene files in the core's `Api`: opening, selecting, scanning and saving them."""

from __future__ import annotations

import difflib
import logging
import os
import re
from collections.abc import Callable, Sequence
from typing import Any

import core
from kavel.diagnosis import Diagnosis, diagnose
from kavel.errors import ProjectError, SceneError
from kavel.gltf.exporting.settings import export_formats
from kavel.gltf.operator import GltfOperator
from kavel.logs import LogHandler
from kavel.projects import ProjectFile
from kavel.recording import RecordedApi
from kavel.registry import CheckSetup, embedded_checks
from kavel.report import MATCHED, OPENED, UNMATCHED, Hierarchy, Joint, SceneObject, SceneResult
from kavel.workplace import Workplace, copy_name

_VERSION = re.compile(r"\.v\d+\Z")
_ALIKE = 0.8  # how much a path must resemble another one to be taken for it
_REASONS = {
    "lost_export_directory": "there is no folder to export to",
    "empty_export_selection": "there is nothing to export",
    "empty_scan_selection": "there is no object to scan",
    "used_scan_selection": "what was to be scanned is stored in the file already",
    "empty_scan_result": "no hierarchy matches the project",
}


class Session:
    """One `Api` over a glTF operator, with `project`, if any, as its only project.

    The project is used as a copy in a temporary home of its own, with the project's own target, so
    that neither its file nor the user's settings change. Checks are loaded when `setup` is given;
    `api` is then a `RecordedApi`. Usage records go to the file of `setup`, or to `statistics_file`;
    with neither they are lost. A context manager.

    Errors: ProjectError when the project is not usable; OSError when the copy cannot be made.
    """

    def __init__(
        self,
        project: ProjectFile | None,
        log: LogHandler,
        lod_names: str | None = None,
        setup: CheckSetup | None = None,
        statistics_file: str | None = None,
    ) -> None:
        if project is not None and not project.checked.usable:
            raise ProjectError(f"{project.path}: the project is not usable")
        if project is not None:
            log.project_told(project)
        self.project = project
        self.log = log
        self.operator = GltfOperator(lod_names)
        if setup is None:
            self._workplace = Workplace(project, statistics_file=statistics_file)
        else:
            self._workplace = Workplace(project, setup.settings, setup.statistics_file)
        try:
            self.api = self._make_api(setup is not None)
            self._reason = ""
            self._register_reasons()
            self.operator.exports.flags = self.api.export.flags
            self.operator.exports.next_version = self._next_version
            self._load()
        except BaseException:
            self._workplace.remove()
            raise

    def close(self) -> None:
        """Shut the `Api` down and remove the copy of the project."""
        try:
            self.operator.shutdown()
            self.api.shutdown()
        finally:
            self._workplace.remove()

    def __enter__(self) -> Session:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def open(self, file: str, select: Sequence[str] = ()) -> SceneResult:
        """Open a scene and select the objects of `select`, all top objects when there are none.

        Nothing is raised for the scene's sake: the result's status is "opened", or "error" with the
        reason.
        """
        result = SceneResult(file)
        try:
            self.operator.open(file)
        except SceneError as error:
            return result.fail("unreadable", str(error))
        missing = [path for path in select if not self.operator.object_exists(path)]
        if missing:
            return result.fail("selection", f"{file}: {self._missing_message(missing)}")
        self.operator.select(*(select or self.operator.graph.roots))
        result.status = OPENED
        return result

    def scan(
        self, file: str, select: Sequence[str] = (), append: bool = False, save: bool = False
    ) -> SceneResult:
        """Open a scene as `open` does, scan what is selected, and save the scene with what was
        found when `save` is set and something was.

        `append` adds to the hierarchies that the file holds already instead of replacing them.
        """
        result = self.open(file, select)
        if result.status != OPENED:
            return result
        if append and self.operator.filedata_problem:
            message = f"{file}: {self.operator.filedata_problem}; nothing can be added to it"
            return result.fail("unreadable", message)
        self._scan(result, append)
        result.widened = self._widened(select)
        if save and result.status == MATCHED:
            self.save(result)
        return result

    def _widened(self, select: Sequence[str]) -> dict[str, str]:
        """What the core scanned in place of each selected object, where that is not the object."""
        operator, scanner = self.operator, self.api.scene.scanner
        found: dict[str, str] = {}
        with operator.selection_manager():
            for path in dict.fromkeys(select):
                operator.select(path)
                found.update((path, str(root)) for root in scanner._find_scope_roots())
        return {path: root for path, root in found.items() if path != root}

    def save(self, result: SceneResult) -> None:
        """Write the open scene; a failure is the result's."""
        try:
            self.operator.save()
            result.saved = True
        except SceneError as error:
            result.fail("save", str(error))

    def watch(self, operation: Callable[[], Any]) -> tuple[str, str] | None:
        """Run an operation of the core; returns why it did nothing, as the name of the core's
        notification and in words, or none."""
        self._reason = ""
        operation()
        return (self._reason, _REASONS[self._reason]) if self._reason else None

    def _next_version(self, path: str) -> str:
        """The file that the core would export to now, in place of one of an older version."""
        folder, name = os.path.split(path)
        stem, ending = os.path.splitext(name)
        base = _VERSION.sub("", stem)
        return str(self.api.export._create_path(folder, base, ending[1:], True))

    def _scan(self, result: SceneResult, append: bool) -> None:
        scene = self.api.scene
        roots = self.operator.get_selection_roots()
        before = list(scene.buffer.get()) if append else []
        self.log.print_errors()
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
            if self._reason == "empty_scan_result":
                result.diagnosis = self._diagnose()
        else:
            errors = self.log.take_errors()
            result.fail("scan", "; ".join(errors) or "the scan failed without a reason")
        self._count_objects(result, roots, buckets)
        self._count_kept(result, before)

    def _diagnose(self) -> Diagnosis | None:
        """Why nothing matched; the verdict stands without it."""
        try:
            return diagnose(self.api)
        except Exception as error:
            text = f"why nothing matched could not be found out: {type(error).__name__}: {error}"
            logging.getLogger(__name__).warning(text)
            return None

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

    def _make_api(self, with_checks: bool) -> Any:
        environment, formats = self._workplace.environment, export_formats()
        api: Any = (
            RecordedApi(self.operator, environment, formats, embedded_checks(), self.log)
            if with_checks
            else core.Api(self.operator, environment, export_options=formats)
        )
        if api.env is not environment:
            raise ProjectError("the core did not accept the environment of this program")
        return api

    def _load(self) -> None:
        if self.project is None:
            return
        projects, file = self.api.project, copy_name(self.project)
        if not projects.is_exists(file):
            reasons = "; ".join(self.log.take_errors())
            raise ProjectError(f"{self.project.path}: the core does not read it: {reasons}")
        projects.load(file)

    def _register_reasons(self) -> None:
        for name in _REASONS:
            getattr(self.api.callbacks, name).register(self._note(name))

    def _note(self, name: str) -> Any:
        def note(*_: Any, **__: Any) -> None:
            self._reason = name

        return note

    def _missing_message(self, missing: list[str]) -> str:
        graph = self.operator.graph
        named = ", ".join(f'"{path}"' for path in missing)
        close = difflib.get_close_matches(missing[0], graph.parents, 1, _ALIKE)
        if close:
            return f"there is no object {named}; is {close[0]} meant?"
        known = graph.roots
        listed = ", ".join(known[:5]) + (", ..." if len(known) > 5 else "")
        there = f"its top objects are {listed}" if known else "it has no objects at all"
        return f"there is no object {named}; {there}"
