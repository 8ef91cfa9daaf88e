"""`kavel scan`: which hierarchies of scene files follow a project."""

from __future__ import annotations

import argparse
import os
from typing import Any

from rich.console import Console

from kavel.commands.options import add_fail_on_unassigned, add_json, add_project, add_scenes
from kavel.diagnosis.printing import print_diagnosis
from kavel.errors import KavelError, told
from kavel.home import kavel_home
from kavel.json_output import STDOUT, write_json
from kavel.logs import LogHandler
from kavel.native import require_core
from kavel.printing import (
    print_hierarchy,
    print_unassigned,
    print_widened,
    require_usable,
    verdict,
)
from kavel.progress import LateProgress
from kavel.projects import ProjectFile, find_project
from kavel.report import ERROR, MATCHED, SCHEMA, UNASSIGNED, SceneResult, exit_code
from kavel.terminal import make_console
from kavel.versions import versions


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "scan",
        help="scan glTF scenes with a project",
        description="Scan glTF scenes and print the hierarchies that follow the project.",
        epilog="Exit status: 0 every scene matched; 1 in some scene nothing matched, or with "
        "--fail-on-unassigned no rule took an object; 2 a scene or the project could not be used; "
        "130 interrupted.",
    )
    add_scenes(parser, selected="objects to scan")
    add_project(parser, required=True)
    parser.add_argument(
        "--append",
        action="store_true",
        help="add to the hierarchies that a scene file holds instead of replacing them",
    )
    parser.add_argument("--save", action="store_true", help="store what matched in the scene files")
    add_fail_on_unassigned(parser)
    add_json(parser, in_place_of="the trees")
    parser.add_argument("-q", "--quiet", action="store_true", help="no trees, only the verdicts")
    parser.add_argument(
        "-v", "--verbose", action="store_true", help="name objects that no rule took; log more"
    )
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    errors = make_console(stderr=True)
    output = errors if arguments.json == STDOUT else make_console()
    results: list[SceneResult] = []
    project: ProjectFile | None = None
    failure = ""
    try:
        require_core()
        project = find_project(arguments.project, kavel_home(arguments.home))
        require_usable(project, errors)
        results = scan_scenes(project, arguments, output, errors)
    except BrokenPipeError:  # nobody reads stdout any more: no fault of the scan
        raise
    except (KavelError, OSError) as error:
        failure = told(error)
    status = 2 if failure else exit_code(results)
    if arguments.json:
        try:
            report = _report(project, results, status, failure)
            report["fail_on_unassigned"] = arguments.fail_on_unassigned
            write_json(arguments.json, report)
        except KavelError as error:
            failure = failure or told(error)
    if failure:
        raise KavelError(failure)
    return status


def scan_scenes(
    project: ProjectFile, arguments: argparse.Namespace, output: Console, errors: Console
) -> list[SceneResult]:
    """Scan each scene and print it as soon as it is done; trees only when stdout is for text."""
    from kavel.session import Session  # loads the extension module: only when it is needed

    results = []
    log = LogHandler(errors, arguments.verbose)
    bar = LateProgress(errors, len(arguments.scenes))
    with log, bar, Session(project, log, arguments.lod_names) as session:
        for scene in arguments.scenes:
            bar.step(os.path.basename(scene))
            result = session.scan(scene, arguments.select, arguments.append, arguments.save)
            if arguments.fail_on_unassigned and result.status == MATCHED and result.unassigned:
                result.reason, result.message = UNASSIGNED, result.strangers
            results.append(result)
            bar.advance()
            with bar.hidden():
                _print(result, arguments, output, errors)
    return results


def _print(
    result: SceneResult, arguments: argparse.Namespace, output: Console, errors: Console
) -> None:
    if output is not errors and not arguments.quiet:
        for hierarchy in result.hierarchies:
            print_hierarchy(output, hierarchy)
        print_diagnosis(output, result.file, result.diagnosis, arguments.verbose)
    print_widened(output, result)
    (errors if result.status == ERROR else output).print(verdict(result))
    if arguments.verbose or result.reason == UNASSIGNED:
        print_unassigned(output, result)


def _report(
    project: ProjectFile | None, results: list[SceneResult], status: int, failure: str
) -> dict[str, Any]:
    return {
        "schema": SCHEMA,
        "exit_status": status,
        "error": failure,
        "project": project and project.data(),
        "scenes": [result.data() for result in results],
        "versions": versions(),
    }
