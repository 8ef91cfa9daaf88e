"""`kavel export`: write the hierarchies of scenes that follow a project into files."""

from __future__ import annotations

import argparse
import os
from typing import TYPE_CHECKING, Any

from kavel.commands.options import add_check_folders, add_json, add_project, add_scenes
from kavel.errors import KavelError, told
from kavel.home import kavel_home
from kavel.json_output import STDOUT, write_json
from kavel.native import require_core
from kavel.printing import require_usable
from kavel.projects import ProjectFile, find_project
from kavel.terminal import make_console
from kavel.versions import versions

if TYPE_CHECKING:
    from kavel.export_outcome import ExportRun

_EPILOG = """Exit status: 0 everything that matched was exported; 1 in some scene nothing matched,
or something was refused or could not be written; 2 a scene, the project or the folder could not be
used; 3 with --strict: a check is broken or one that is asked for is not installed, or stored
parameters do not fit their check; 130 interrupted."""


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "export",
        help="write what follows a project into files of its own",
        description="Scan glTF scenes and write each hierarchy that follows the project into a "
        "file of its own, with what it uses and nothing else.",
        epilog=_EPILOG,
    )
    add_scenes(parser, selected="objects to scan and export")
    add_project(parser, required=True)
    _add_target(parser)
    _add_content(parser)
    parser.add_argument(
        "--only-valid",
        action="store_true",
        help="run the project's checks first, and leave out each hierarchy in which one fails, or "
        "asks for one that is not installed",
    )
    parser.add_argument(
        "--strict",
        action="store_true",
        help="with --only-valid: export nothing if a check is broken or not installed, or stored "
        "parameters do not fit",
    )
    add_check_folders(parser)
    add_json(parser, in_place_of="the list of files")
    parser.add_argument("-q", "--quiet", action="store_true", help="only the verdicts")
    parser.add_argument(
        "-v", "--verbose", action="store_true", help="name objects that no rule took; log more"
    )
    parser.set_defaults(run=run)


def _add_target(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "--mode",
        choices=("choose", "project", "local"),
        help="where the files go: into --directory, the folder that the project names, or beside "
        "each scene; without it, into --directory if that is given, else beside each scene",
    )
    parser.add_argument("--directory", metavar="DIR", help="the folder to export to")
    parser.add_argument(
        "--name",
        metavar="TEMPLATE",
        default="{root}",
        help="how the files are named: {scene} stands for the scene's, {root} for the top object's "
        'name, for example "{scene}_{root}" (default: {root})',
    )
    parser.add_argument(
        "--version-control",
        action=argparse.BooleanOptionalAction,
        help="never overwrite: number the files .v01, .v02, ...",
    )


def _add_content(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "--format", metavar="KEY", help="glb or gltf; without it, the one that the project names"
    )
    parser.add_argument(
        "--set",
        action="append",
        default=[],
        metavar="OPTION=VALUE",
        help='an option of the format, for example "up_axis=Z"; docs/exporting.md lists them',
    )
    for name, text in (
        ("triangulate", "write strips and fans as triangles"),
        ("automatic-uv", "make texture coordinates where there are none"),
        ("reset-xforms", "move the transforms of objects into their meshes"),
    ):
        parser.add_argument(f"--{name}", action=argparse.BooleanOptionalAction, help=text)


def run(arguments: argparse.Namespace) -> int:
    require_core()
    # What needs the extension module is imported once it is known to be there.
    from kavel.export_outcome import ExportRun

    mode = _mode(arguments)
    errors = make_console(stderr=True)
    run, failure = ExportRun(), ""
    project: ProjectFile | None = None
    try:
        project = find_project(arguments.project, kavel_home(arguments.home))
        require_usable(project, errors)
        _export(project, arguments, mode, run)
    except BrokenPipeError:  # nobody reads stdout any more: no fault of the export
        raise
    except (KavelError, OSError) as error:
        failure = told(error)
    if arguments.json:
        try:
            write_json(arguments.json, _report(project, run, failure))
        except KavelError as error:
            failure = failure or told(error)
    if failure:
        raise KavelError(failure)
    if run.interrupted:
        raise KeyboardInterrupt
    return run.exit_status


def _export(project: ProjectFile, arguments: argparse.Namespace, mode: str, run: ExportRun) -> None:
    from kavel.export_options import FLAGS, ExportOptions
    from kavel.exporting import Streams, export_scenes
    from kavel.registry import check_setup

    errors = make_console(stderr=True)
    output = errors if arguments.json == STDOUT else make_console()
    directory = arguments.directory and os.path.abspath(os.path.expanduser(arguments.directory))
    flags = {name: getattr(arguments, name) for name in FLAGS}
    options = ExportOptions(
        mode=mode,
        directory=directory,
        name=arguments.name,
        format=arguments.format,
        values=arguments.set,
        flags={name: value for name, value in flags.items() if value is not None},
        only_valid=arguments.only_valid,
        strict=arguments.strict,
        select=arguments.select,
        lod_names=arguments.lod_names,
    )
    setup = check_setup(arguments.home, arguments.checks)
    streams = Streams(output, errors, arguments.quiet, arguments.verbose)
    export_scenes(arguments.scenes, project, setup, options, run, streams)


def _mode(arguments: argparse.Namespace) -> str:
    """Errors: KavelError for a folder where none is wanted, or none where one is."""
    mode = arguments.mode or ("choose" if arguments.directory else "local")
    if mode == "choose" and not arguments.directory:
        raise KavelError("--mode choose needs a --directory")
    if mode != "choose" and arguments.directory:
        raise KavelError(f"--mode {mode} names a folder by itself: leave out --directory")
    if arguments.checks and not arguments.only_valid:
        raise KavelError("--checks adds checks for --only-valid: give that as well")
    if arguments.strict and not arguments.only_valid:
        raise KavelError("--strict is about the checks of --only-valid: give that as well")
    return str(mode)


def _report(project: ProjectFile | None, run: ExportRun, failure: str) -> dict[str, Any]:
    from kavel.export_outcome import SCHEMA

    data = run.data()
    return {
        "schema": SCHEMA,
        "project": project and project.data(),
        **data,
        "exit_status": 2 if failure else data["exit_status"],
        "error": failure,
        "versions": versions(),
    }
