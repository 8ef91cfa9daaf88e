"""Exporting what matched in one scene, through the core's export component."""

from __future__ import annotations

from collections.abc import Iterator, Mapping, Sequence
from contextlib import contextmanager
from typing import Any

import core
from kavel.configurations import Configurations
from kavel.errors import SceneError
from kavel.export_options import (
    CHOOSE,
    FLAGS,
    MODES,
    OF_PROJECT,
    ExportOptions,
    file_name,
    select_format,
    set_option,
)
from kavel.export_outcome import EXPORTED, REFUSED, HierarchyExport, SceneExport
from kavel.findings import FAIL, severity
from kavel.gltf.exports import Export
from kavel.outcome import RunOutcome, listing
from kavel.registry import enabled_ids, missing_checks, read_report
from kavel.report import MATCHED, SceneResult
from kavel.session import Session
from kavel.validation import PROJECT, Validation
from kavel.validation_printing import checks_verdict
from kavel.view import use


class SceneExporter:
    """Exports the scenes of one session, whose project is loaded.

    Errors: KavelError for a format, an option or a value that there is not.
    """

    def __init__(self, session: Session, options: ExportOptions) -> None:
        self._session = session
        self._options = options
        file_name(options.name, "", "")  # what is wrong with it is told before the first scene
        api = session.api
        api.settings.export.mode = MODES[options.mode]
        api.settings.check.mode = core.Constants.Check.Mode.Project
        session.operator.directory_answer = options.directory
        session.operator.exports.keeps = True  # scenes may have hierarchies of one name
        if options.format is not None:
            select_format(api.export.options, options.format)
        for text in options.values:
            set_option(api.export.options.selected, text)
        for name, value in (options.flags or {}).items():
            setattr(api.export.flags, name, value)
        self._checks = self._usable_checks() if options.only_valid else None

    def asked(self) -> dict[str, Any]:
        """How this exports, as a report tells it."""
        export = self._session.api.export
        return {
            "mode": self._options.mode,
            "directory": self._options.directory,
            "name": self._options.name,
            "format": str(export.options.selected.attr),
            "options": export.options.data["formats"][export.options.selected.attr],
            "flags": {name: getattr(export.flags, name) for name in FLAGS},
            "only_valid": self._options.only_valid,
            "strict": self._options.strict,
            "unusable_checks": self._checks
            and {
                "broken": [found.data() for found in self._checks.broken],
                "missing": self._checks.missing,
                "misfits": [problem.data() for problem in self._checks.misfits],
            },
        }

    @property
    def checks(self) -> RunOutcome | None:
        """Which checks could not be used; none where none is wanted."""
        return self._checks

    def begin(self, file: str) -> SceneExport:
        """A scene of which nothing is known yet."""
        return SceneExport(SceneResult(file))

    def export(self, outcome: SceneExport) -> None:
        """Scan a scene and export the hierarchies that were found, as far as they are valid where
        only those are wanted. Nothing is raised for the scene's sake.

        Errors: KeyboardInterrupt; the outcome tells what was done until then.
        """
        scene = outcome.scene.fail("interrupted", "it was interrupted")
        try:
            scene = outcome.scene = self._session.scan(scene.file, self._options.select)
            if scene.status == MATCHED:
                self._export(outcome)
        finally:
            for hierarchy in outcome.hierarchies:
                if hierarchy.status != EXPORTED and not hierarchy.reason:
                    hierarchy.reason = scene.message or "it was interrupted"

    def _export(self, outcome: SceneExport) -> None:
        buckets = list(self._session.api.scene.buffer.get())
        outcome.hierarchies = [HierarchyExport(str(bucket.name)) for bucket in buckets]
        if self._checks is not None:
            self._refuse(outcome, self._checks)
        for bucket, hierarchy in zip(buckets, outcome.hierarchies):
            bucket.checked = hierarchy.status != REFUSED
        if outcome.scene.status == MATCHED and any(bucket.checked for bucket in buckets):
            with self._renamed(buckets, outcome.scene.file):
                self._start(outcome)

    @contextmanager
    def _renamed(self, buckets: list[Any], file: str) -> Iterator[None]:
        """The core names files after the buckets, and sees to it that they can be file names."""
        names = [bucket.name for bucket in buckets]
        try:
            for bucket in buckets:
                bucket.name = file_name(self._options.name, file, str(bucket.name))
            yield
        finally:
            for bucket, name in zip(buckets, names):
                bucket.name = name

    def _refuse(self, outcome: SceneExport, checks: RunOutcome) -> None:
        """What is not known to be valid. A check that did not run must never read as passed."""
        if checks.fails_strictly:
            for hierarchy in outcome.hierarchies:
                hierarchy.refuse_unchecked(f"--strict: {checks_verdict(checks)}")
            return
        try:
            self._refuse_invalid(outcome)
        except SceneError as error:
            outcome.scene.fail("validation", str(error))
        asked = {str(rule.get("stamp")): _missing_of(rule, checks) for rule in self._rules()}
        for found, hierarchy in zip(outcome.scene.hierarchies, outcome.hierarchies):
            stamps = dict.fromkeys(joint.stamp for _, joint, _ in found.root.walk())
            ids = list(dict.fromkeys(id for stamp in stamps for id in asked.get(stamp, ())))
            if ids:
                told = f"{'checks' if ids[1:] else 'check'} not installed: {listing(ids)}"
                hierarchy.refuse_unchecked(f"its rules ask for what did not run, {told}")

    def _refuse_invalid(self, outcome: SceneExport) -> None:
        """A check of the scene as a whole concerns every hierarchy."""
        session, scene = self._session, outcome.scene
        owners: dict[str, list[HierarchyExport]] = {}
        for found, hierarchy in zip(scene.hierarchies, outcome.hierarchies):
            for _, joint, _ in found.root.walk():
                owners.setdefault(joint.path, []).append(hierarchy)
        with use(session.operator.view):
            validation = Validation(session, scene)
            validation.run(PROJECT)
            runs = 0
            for finding in validation.findings():
                runs += 1
                if severity(finding.status) >= severity(FAIL):
                    for hierarchy in owners.get(finding.path, outcome.hierarchies):
                        hierarchy.refuse(finding)
        if not runs:
            scene.fail("no_checks", "no check ran, so that nothing is known to be valid")

    def _start(self, outcome: SceneExport) -> None:
        session, operator = self._session, self._session.operator
        before = len(operator.exports.made)
        session.api.export.queue.clear()
        session.log.take_errors()
        planned = [item for item in outcome.hierarchies if item.status != REFUSED]
        reason = None
        try:
            reason = session.watch(session.api.export.start)
        finally:
            self._tell(planned, operator.exports.made[before:], session.log.take_errors())
        if reason:
            name, message = reason
            outcome.scene.fail(name, f"{message}: {self._directory()}")

    def _directory(self) -> str:
        if self._options.mode == CHOOSE:
            return str(self._options.directory)
        if self._options.mode == OF_PROJECT:
            document = self._session.api.project.get_current()
            return str(document.history.get_record().export.directory)
        return "the one of the scene"

    def _tell(self, planned: list[HierarchyExport], made: list[Export], errors: list[str]) -> None:
        """The core asks the operator once for each task that is not empty, in order."""
        exports = iter(made)
        for hierarchy, task in zip(planned, list(self._session.api.export.queue)):
            export = None if task.is_empty() else next(exports, None)
            if export is not None:
                _tell(hierarchy, export, task.is_confirmed())
            elif task.is_empty():
                hierarchy.reason = "none of its objects is there any more"
            elif errors:
                hierarchy.reason = "; ".join(errors)

    def _usable_checks(self) -> RunOutcome:
        classes = self._session.api.scene.hierarchy.pattern.check_classes
        rules = self._rules()
        wanted = [class_id for rule in rules for class_id in enabled_ids(rule.get("checklist"))]
        return RunOutcome(
            strict=self._options.strict,
            broken=[found for found in read_report(classes) if found.broken],
            missing=missing_checks(wanted, classes),
            misfits=Configurations(classes, strict=self._options.strict).of_rules(rules),
        )

    def _rules(self) -> Sequence[Mapping[str, Any]]:
        return self._session.project.rules if self._session.project else []


def _missing_of(rule: Mapping[str, Any], checks: RunOutcome) -> list[str]:
    """The checks that a rule asks for, and that are not installed."""
    return [id for id in enabled_ids(rule.get("checklist")) if id in checks.missing]


def _tell(hierarchy: HierarchyExport, export: Export, confirmed: bool) -> None:
    hierarchy.roots, hierarchy.path = export.roots, export.path
    if export.written is None or not confirmed:
        hierarchy.reason = export.error or "the core did not take it as done"
        return
    hierarchy.status = EXPORTED
    hierarchy.sizes = export.written.sizes
    hierarchy.replaced = export.written.replaced
    hierarchy.objects = export.written.objects
    hierarchy.notes = export.written.notes
