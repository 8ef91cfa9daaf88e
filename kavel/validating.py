"""Validating scene files one after the other: scan, run the checks, repair, tell."""

from __future__ import annotations

import os
from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from typing import Any

from rich.console import Console
from rich.text import Text

from kavel.configuration_printing import print_broken, print_misfits
from kavel.configurations import Configurations
from kavel.diagnosis.printing import print_diagnosis
from kavel.document import Problem
from kavel.errors import SceneError
from kavel.findings import FAIL, INFO
from kavel.logs import LogHandler
from kavel.outcome import Outcome, RunOutcome
from kavel.printing import print_unassigned, print_widened
from kavel.progress import LateProgress
from kavel.projects import ProjectFile
from kavel.registry import CheckSetup, enabled_ids, loaded_checks, missing_checks, read_report
from kavel.report import ERROR, MATCHED, OPENED, UNMATCHED, SceneResult
from kavel.session import Session
from kavel.terminal import printable
from kavel.validation import PROJECT, SELECTION, Validation
from kavel.validation_printing import FindingsTable, FixesTable, validation_verdict
from kavel.validation_report import ReportWriter
from kavel.view import use


@dataclass(frozen=True)
class Options:
    """What to do with each scene.

    `mode` is one of `kavel.validation.MODES`; `select` are the objects to work on, with what is
    below them; `fail_on` is the least status that fails a scene, and with `fail_on_unassigned` an
    object that no rule took does. With `no_info`, findings below `fail_on` are only counted.
    """

    mode: str = PROJECT
    select: Sequence[str] = ()
    lod_names: str | None = None
    fix: bool = False
    dry_run: bool = False
    save: bool = False
    fail_on: str = FAIL
    fail_on_unassigned: bool = False
    strict: bool = False
    by_check: bool = True
    no_info: bool = False
    quiet: bool = False
    verbose: bool = False


@dataclass(frozen=True)
class Streams:
    """Where the run is told: `table` for findings and verdicts, `errors` for what went wrong."""

    table: Console
    errors: Console
    report: ReportWriter

    @property
    def shows_tables(self) -> bool:
        return self.table is not self.errors


def validate_scenes(
    scenes: Sequence[str],
    project: ProjectFile | None,
    setup: CheckSetup,
    options: Options,
    streams: Streams,
) -> RunOutcome:
    """Validate each scene and print it as soon as it is done; the report is begun, not ended.

    An interrupt ends the run after what was found so far is told.
    Errors: those of `Session`. A scene that cannot be used is an outcome.
    """
    log = LogHandler(streams.errors, options.verbose)
    bar = LateProgress(streams.errors)
    with log, bar, Session(project, log, options.lod_names, setup) as session:
        validator = SceneValidator(session, options, streams, bar)
        for number, scene in enumerate(scenes, 1):
            place = f" ({number} of {len(scenes)})" if len(scenes) > 1 else ""
            bar.step(os.path.basename(scene) + place)
            bar.tell(0, None)
            try:
                validator.validate(scene)
            except KeyboardInterrupt:
                validator.run.interrupted = True
            if validator.run.interrupted:
                break
        return validator.run


class SceneValidator:
    """Validates scenes in one session, and keeps the outcome of all of them."""

    def __init__(
        self, session: Session, options: Options, streams: Streams, bar: LateProgress
    ) -> None:
        self._session = session
        self._options = options
        self._streams = streams
        self._bar = bar
        classes = session.api.scene.hierarchy.pattern.check_classes
        report = read_report(classes)
        self.run = RunOutcome(
            strict=options.strict,
            broken=[found for found in report if found.broken],
            missing=missing_checks(self._wanted(), classes),
            misfits=self._misfits(classes),
            warnings=len(session.project.checked.problems) if session.project else 0,
        )
        print_broken(streams.errors, self.run.broken)
        print_misfits(streams.errors, [*self._missing(classes), *self.run.misfits])
        streams.report.begin(
            {
                "project": session.project and session.project.data(),
                "run": {
                    "mode": options.mode,
                    "fail_on": options.fail_on,
                    "fail_on_unassigned": options.fail_on_unassigned,
                    "strict": options.strict,
                    "fix": "dry-run" if options.dry_run else "yes" if options.fix else "no",
                },
                "checks": {
                    "loaded": loaded_checks(classes),
                    "broken": [found.data() for found in self.run.broken],
                    "missing": self.run.missing,
                    "misfits": [problem.data() for problem in self.run.misfits],
                },
            }
        )

    def validate(self, file: str) -> Outcome:
        """One scene, told on the streams; after an interrupt, what was found until then."""
        outcome = Outcome(self._open(file), self._options.fail_on, self._options.fail_on_unassigned)
        least = self._options.fail_on if self._options.no_info else INFO
        table = FindingsTable(self._options.by_check, least)
        fixes = FixesTable(self._options.dry_run)
        self._streams.report.begin_scene(file)
        usable = (MATCHED, OPENED, *([UNMATCHED] if self._options.mode == SELECTION else []))
        try:
            if outcome.scene.status in usable:
                with use(self._session.operator.view):
                    self._validate(outcome, table, fixes)
        finally:
            self._streams.report.end_scene(outcome.data())
            self.run.add(outcome)
        with self._bar.hidden():
            self._print(outcome, table, fixes)
        return outcome

    def _open(self, file: str) -> SceneResult:
        """Scanned where there is a project; in the selection mode everything below is selected."""
        session, select = self._session, self._options.select
        result = session.scan(file, select) if session.project else session.open(file, select)
        if self._options.mode == SELECTION and result.status != ERROR:
            result.widened = {}  # the checks run on what was selected
            graph = session.operator.graph
            session.operator.select(*graph.below(list(select) or graph.roots))
        return result

    def _validate(self, outcome: Outcome, table: FindingsTable, fixes: FixesTable) -> None:
        validation = Validation(self._session, outcome.scene)
        try:
            self._watch(validation)
            validation.run(self._options.mode)
            if self._options.fix:
                self._fix(validation, outcome, fixes)
        except KeyboardInterrupt:
            self.run.interrupted = True
        except SceneError as error:
            outcome.scene.fail("validation", str(error))
        for finding in validation.findings():
            outcome.summary.add(finding)
            table.add(finding)
            self._streams.report.finding(finding)
        outcome.checked_objects = validation.objects
        nothing = not outcome.summary.runs and not self.run.interrupted
        if nothing and outcome.scene.status != ERROR:
            outcome.scene.fail("no_checks", self._no_checks())

    def _fix(self, validation: Validation, outcome: Outcome, fixes: FixesTable) -> None:
        dry_run = self._options.dry_run
        changed = False
        for fix in validation.try_repair() if dry_run else validation.repair():
            fixes.add(fix)
            self._streams.report.fix(fix)
            changed = changed or bool(fix.changes)
        outcome.fixes, outcome.would_leave = fixes.count, validation.would_leave
        if dry_run:
            return
        # Saved first: whether the scene is saved is among what is checked again.
        if changed and self._options.save:
            self._session.save(outcome.scene)
        validation.check_again()

    def _watch(self, validation: Validation) -> None:
        """Let the bar follow the runs; how many there are to be is counted with the first."""
        totals: list[int] = []

        def tell(done: int) -> None:
            if not totals:
                totals.append(validation.planned)
            self._bar.tell(done, totals[0])

        self._session.api.recorder.on_progress = tell

    def _wanted(self) -> Iterable[str]:
        """The ids of the checks that the run is to use."""
        if self._options.mode == SELECTION:
            return enabled_ids(self._session.api.settings.check.config.data)
        rules = self._session.project.rules if self._session.project else []
        return [class_id for rule in rules for class_id in enabled_ids(rule.get("checklist"))]

    def _misfits(self, classes: Any) -> list[Problem]:
        """What does not fit in the stored parameters of the checks that the run is to use."""
        configurations = Configurations(classes, strict=self._options.strict)
        if self._options.mode == SELECTION:
            return configurations.of_checklist(self._session.api.settings.check.config.data)
        return configurations.of_rules(self._session.project.rules if self._session.project else [])

    def _missing(self, classes: Any) -> list[Problem]:
        """The checks that are asked for and not installed, with their places."""
        configurations = Configurations(classes, strict=self._options.strict)
        if self._options.mode == SELECTION:
            return configurations.missing_of(self._session.api.settings.check.config.data)
        return configurations.missing(self._session.project.rules if self._session.project else [])

    def _no_checks(self) -> str:
        if self.run.missing:
            return "no check ran: those that are asked for are not installed (see --checks)"
        if self._options.mode == SELECTION:
            return "no check ran: none is on; `kavel checks enable ID` switches one on"
        return "no check ran: the project asks for none on what matched"

    def _print(self, outcome: Outcome, table: FindingsTable, fixes: FixesTable) -> None:
        streams = self._streams
        if streams.shows_tables and not self._options.quiet:
            if fixes.count or table.count:
                streams.table.print(Text(f"-- {printable(outcome.scene.file)}", "bold cyan"))
            fixes.print(streams.table)
            table.print(streams.table)
            scene = outcome.scene
            print_diagnosis(streams.table, scene.file, scene.diagnosis, self._options.verbose)
        print_widened(streams.table, outcome.scene)
        console = streams.errors if outcome.status == ERROR else streams.table
        console.print(validation_verdict(outcome, self.run))
        if self._options.verbose or outcome.has_strangers:
            print_unassigned(streams.table, outcome.scene)
