"""`kavel demo`: the main job on the bundled samples."""

from __future__ import annotations

import argparse
import os
import tempfile
from typing import Any

from rich.console import Console

from kavel.errors import KavelError
from kavel.native import require_core
from kavel.projects import ProjectFile, read_project
from kavel.samples import broken_scenes, samples_directory
from kavel.terminal import make_console


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "demo",
        help="validate the bundled samples, and export one",
        description="Validate the bundled character, a variant that must not match, and a draft "
        "with faults, some of which are fixed. What is valid is exported.",
    )
    parser.add_argument(
        "--directory",
        metavar="DIR",
        help="where the exported files go, a folder that is there; a new temporary one without it",
    )
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    require_core()
    if arguments.directory and not os.path.isdir(arguments.directory):
        raise KavelError(f"{arguments.directory}: there is no such folder to export to")
    from kavel.outcome import FAILED, PASSED
    from kavel.registry import check_setup
    from kavel.report import UNMATCHED
    from kavel.validating import Options, Streams, validate_scenes
    from kavel.validation_report import ReportWriter

    folder = samples_directory()
    good, draft = (_short(os.path.join(folder, name)) for name in ("character.glb", "draft.glb"))
    scenes = [good, *map(_short, broken_scenes()[:1])]
    project = read_project(os.path.join(folder, "character.json"))
    output = make_console()
    streams = Streams(output, make_console(stderr=True), ReportWriter())
    # Settings and usage records of the user's own have no part in it.
    with tempfile.TemporaryDirectory(prefix="kavel-") as home:
        setup = check_setup(home)
        found = validate_scenes([*scenes, draft], project, setup, Options(), streams)
        output.print("\nThe draft again, with --fix:\n")
        fixed = validate_scenes([draft], project, setup, Options(fix=True), streams)
    better = fixed.summary.counts["fail"] < found.summary.counts["fail"]
    if found.statuses != [PASSED, UNMATCHED, FAILED] or not better:
        raise KavelError("the samples did not behave as they should")
    output.print("\nWhat a fix cannot know is left to you; --save would have written the fixes.")
    output.print("What is valid can be exported, each time with a new version number:\n")
    _export([scenes[0], draft], project, arguments.directory, output)
    return 0


def _export(
    scenes: list[str], project: ProjectFile, directory: str | None, output: Console
) -> None:
    """Errors: KavelError unless the first scene is exported, and only that."""
    from kavel.export_options import ExportOptions
    from kavel.export_outcome import EXPORTED, SKIPPED, ExportRun
    from kavel.exporting import Streams, export_scenes
    from kavel.registry import check_setup

    folder = os.path.abspath(directory or tempfile.mkdtemp(prefix="kavel-demo-"))
    options = ExportOptions("choose", folder, only_valid=True, flags={"version_control": True})
    run = ExportRun()
    with tempfile.TemporaryDirectory(prefix="kavel-") as home:
        streams = Streams(output, make_console(stderr=True))
        export_scenes(scenes, project, check_setup(home), options, run, streams)
    if [scene.status for scene in run.scenes] != [EXPORTED, SKIPPED]:
        raise KavelError("the samples were not exported as they should be")


def _short(path: str) -> str:
    """The path from here, where that is shorter."""
    try:
        return min(path, os.path.relpath(path), key=len)
    except ValueError:  # on another drive
        return path
