"""`kavel scan`: which hierarchies of scene files follow a project."""

from __future__ import annotations

import argparse
import contextlib
import json
import os
import re
import sys
from typing import Any

from rich.console import Console

from kavel.errors import KavelError, ProjectError
from kavel.home import kavel_home
from kavel.logs import LogHandler
from kavel.printing import print_hierarchy, print_problems, print_unassigned, verdict
from kavel.progress import LateProgress
from kavel.projects import ProjectFile, find_project
from kavel.report import ERROR, SCHEMA, SceneResult, exit_code
from kavel.terminal import make_console
from kavel.versions import versions


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "scan",
        help="scan glTF scenes with a project",
        description="Scan glTF scenes and print the hierarchies that follow the project.",
        epilog="Exit status: 0 every scene matched; 1 in some scene nothing matched; 2 a scene or "
        "the project could not be used; 130 interrupted.",
    )
    parser.add_argument("scenes", nargs="+", metavar="SCENE", help="a .gltf or .glb file")
    parser.add_argument(
        "--project",
        required=True,
        metavar="FILE|NAME",
        help="a project file, or the name of one of your projects",
    )
    parser.add_argument(
        "--select",
        nargs="+",
        action="extend",
        default=[],
        metavar="PATH",
        help='objects to scan, for example "/Rig"; all top objects when not given',
    )
    parser.add_argument(
        "--append",
        action="store_true",
        help="add to the hierarchies that a scene file holds instead of replacing them",
    )
    parser.add_argument("--save", action="store_true", help="store what matched in the scene files")
    parser.add_argument(
        "--json",
        metavar="FILE|-",
        help='write a JSON report; "-": to stdout, in place of the trees',
    )
    parser.add_argument(
        "--lod-names",
        metavar="REGEX",
        type=_expression,
        help="groups whose name matches from its start count as LOD groups",
    )
    parser.add_argument("-q", "--quiet", action="store_true", help="no trees, only the verdicts")
    parser.add_argument(
        "-v", "--verbose", action="store_true", help="name objects that no rule took; log more"
    )
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    errors = make_console(stderr=True)
    output = errors if arguments.json == "-" else make_console()
    results: list[SceneResult] = []
    project: ProjectFile | None = None
    failure = ""
    try:
        project = find_project(arguments.project, kavel_home(arguments.home))
        print_problems(errors, project.path, project.checked.problems)
        if not project.checked.usable:
            raise ProjectError(f"{project.path}: the project cannot be used")
        results = scan_scenes(project, arguments, output, errors)
    except BrokenPipeError:  # nobody reads stdout any more: no fault of the scan
        raise
    except (KavelError, OSError) as error:
        failure = str(error)
    status = 2 if failure else exit_code(results)
    if arguments.json:
        try:
            _write_json(arguments.json, _report(project, results, status, failure))
        except (OSError, RecursionError) as error:
            failure, status = f"{arguments.json}: cannot be written: {error}", 2
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
    (errors if result.status == ERROR else output).print(verdict(result))
    if arguments.verbose:
        print_unassigned(output, result)


def _report(
    project: ProjectFile | None, results: list[SceneResult], status: int, failure: str
) -> dict[str, Any]:
    return {
        "schema": SCHEMA,
        "exit_status": status,
        "error": failure,
        "project": project
        and {
            "name": project.name,
            "filename": project.filename,
            "target": project.target,
            "record": project.checked.timestamp,
            "problems": [problem.data() for problem in project.checked.problems],
        },
        "scenes": [result.data() for result in results],
        "versions": versions(),
    }


def _write_json(path: str, report: dict[str, Any]) -> None:
    # Plain ASCII: names may hold lone surrogates, which UTF-8 has no form for.
    text = json.dumps(report, indent=2) + "\n"
    if path == "-":
        sys.stdout.write(text)
        return
    target = os.path.realpath(path)
    beside = f"{target}.{os.getpid()}.tmp"
    try:
        with open(beside, "x", encoding="ascii") as stream:
            stream.write(text)
        os.replace(beside, target)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(beside)
        raise


def _expression(text: str) -> str:
    try:
        re.compile(text)
    except re.error as error:
        raise argparse.ArgumentTypeError(f"not a regular expression: {error}") from None
    return text
