"""Exporting scene files one after the other: scan, validate where asked, export, tell."""

from __future__ import annotations

import os
from collections.abc import Sequence
from dataclasses import dataclass

from rich.console import Console

from kavel.configuration_printing import print_broken, print_misfits
from kavel.diagnosis.printing import print_diagnosis
from kavel.export_options import ExportOptions
from kavel.export_outcome import ExportRun, SceneExport
from kavel.export_printing import export_verdict, print_hierarchy_export, run_verdict
from kavel.logs import LogHandler
from kavel.outcome import STRICT
from kavel.printing import print_unassigned, print_widened
from kavel.progress import LateProgress
from kavel.projects import ProjectFile
from kavel.registry import CheckSetup
from kavel.report import ERROR
from kavel.scene_export import SceneExporter
from kavel.session import Session
from kavel.validation_printing import checks_verdict


@dataclass(frozen=True)
class Streams:
    """Where the run is told: `output` for files and verdicts, `errors` for what went wrong. Files
    are listed unless both are the same or `quiet` is set."""

    output: Console
    errors: Console
    quiet: bool = False
    verbose: bool = False


def export_scenes(
    scenes: Sequence[str],
    project: ProjectFile,
    setup: CheckSetup,
    options: ExportOptions,
    run: ExportRun,
    streams: Streams,
) -> None:
    """Export each scene, add it to `run`, and print it as soon as it is done.

    `options.select` and `options.lod_names` are as in `Session.scan`. An interrupt ends the run
    after what was written so far is told. Errors: those of `Session` and `SceneExporter`.
    """
    log = LogHandler(streams.errors, streams.verbose)
    bar = LateProgress(streams.errors, len(scenes))
    checks = setup if options.only_valid else None
    session = Session(project, log, options.lod_names, checks, setup.statistics_file)
    with log, bar, session:
        exporter = SceneExporter(session, options)
        run.asked = exporter.asked()
        run.fails_strictly = exporter.checks is not None and exporter.checks.fails_strictly
        if exporter.checks is not None:
            print_broken(streams.errors, exporter.checks.broken)
            print_misfits(streams.errors, exporter.checks.misfits)
        for file in scenes:
            bar.step(os.path.basename(file))
            scene = exporter.begin(file)
            run.scenes.append(scene)
            try:
                exporter.export(scene)
            except KeyboardInterrupt:
                run.interrupted = True
            bar.advance()
            with bar.hidden():
                _print(scene, exporter, streams)
            if run.interrupted:
                break
    if len(scenes) > 1:
        streams.output.print(run_verdict(run))
    _print_strictness(run, exporter, streams)


def _print_strictness(run: ExportRun, exporter: SceneExporter, streams: Streams) -> None:
    if run.exit_status == STRICT and exporter.checks is not None:
        told = checks_verdict(exporter.checks)
        streams.errors.print(f"kavel: --strict fails the run, nothing is exported: {told}")


def _print(scene: SceneExport, exporter: SceneExporter, streams: Streams) -> None:
    if streams.output is not streams.errors and not streams.quiet:
        for hierarchy in scene.hierarchies:
            print_hierarchy_export(streams.output, hierarchy)
        result = scene.scene
        print_diagnosis(streams.output, result.file, result.diagnosis, streams.verbose)
    print_widened(streams.output, scene.scene)
    console = streams.errors if scene.status == ERROR else streams.output
    console.print(export_verdict(scene, exporter.checks))
    if streams.verbose:
        print_unassigned(streams.output, scene.scene)
