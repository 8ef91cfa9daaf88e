"""`kavel validate`: run the checks of a project, or of your own, on scene files."""

from __future__ import annotations

import argparse
import contextlib
from typing import Any

from kavel.commands.options import (
    add_check_folders,
    add_fail_on_unassigned,
    add_json,
    add_project,
    add_scenes,
)
from kavel.errors import KavelError, told
from kavel.home import kavel_home
from kavel.json_output import STDOUT, open_output
from kavel.logs import LogHandler
from kavel.native import require_core
from kavel.printing import require_usable
from kavel.projects import ProjectFile, find_project
from kavel.terminal import make_console
from kavel.versions import versions

_EPILOG = """Exit status: 0 every scene passed; 1 in some scene there are findings at or above
--fail-on, or nothing matched, or with --fail-on-unassigned no rule took an object; 2 a scene or the
project could not be used, or no check ran; 3 with --strict: a check is broken or one that is asked
for is not installed, or stored parameters do not fit their check, or there is a warning about the
project; 130 interrupted."""


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "validate",
        help="check glTF scenes, and fix what can be fixed",
        description="Scan glTF scenes and run the checks that the project's rules list on what "
        "they matched; or, in the mode 'selection', the checks of your own settings.",
        epilog=_EPILOG,
    )
    selected = "objects to scan; in the mode 'selection', to check with all that is below them"
    add_scenes(parser, selected)
    add_project(parser, required=False)
    parser.add_argument(
        "--mode",
        choices=("project", "selection"),
        default="project",
        help="whose checks run: the project's on what it matched (the default), or those enabled "
        "with `kavel checks` on every object; the project can then be left out",
    )
    add_check_folders(parser)
    _add_fixing(parser)
    parser.add_argument(
        "--fail-on",
        choices=("fail", "info"),
        default="fail",
        help="the least status that fails a scene (default: fail)",
    )
    add_fail_on_unassigned(parser)
    parser.add_argument(
        "--strict",
        action="store_true",
        help="broken and missing checks fail the run, and stored parameters that do not fit, and "
        "warnings about the project",
    )
    parser.add_argument(
        "--group",
        choices=("check", "object"),
        default="check",
        help="how to group the findings (default: check)",
    )
    parser.add_argument(
        "--no-info",
        action="store_true",
        help="only count findings below --fail-on in the tables; reports have them all",
    )
    add_json(parser, in_place_of="the tables")
    parser.add_argument("-q", "--quiet", action="store_true", help="no tables, only the verdicts")
    parser.add_argument(
        "-v", "--verbose", action="store_true", help="name objects that no rule took; log more"
    )
    parser.set_defaults(run=run)


def _add_fixing(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--fix", action="store_true", help="repair what checks can repair")
    parser.add_argument(
        "--dry-run",
        action="store_true",
        help="with --fix: tell what each repair would change, and leave the scene as it is",
    )
    parser.add_argument(
        "--save",
        action="store_true",
        help="with --fix: write the repaired scene files, with what matched; nothing else does",
    )


def run(arguments: argparse.Namespace) -> int:
    _require_sense(arguments)
    require_core()
    # What needs the extension module is imported once it is known to be there.
    from kavel.outcome import RunOutcome
    from kavel.validation_report import ReportWriter

    outcome, failure = RunOutcome(), ""
    with contextlib.ExitStack() as stack:
        stream = stack.enter_context(open_output(arguments.json)) if arguments.json else None
        report = ReportWriter(stream)
        try:
            outcome = _validate(arguments, report)
        except BrokenPipeError:  # nobody reads stdout any more
            raise
        except (KavelError, OSError) as error:
            failure = told(error)
        report.end({**outcome.data(), "error": failure, "versions": versions()})
    if failure:
        raise KavelError(failure)
    if outcome.interrupted:
        raise KeyboardInterrupt
    return outcome.exit_status


def _validate(arguments: argparse.Namespace, report: Any) -> Any:
    from kavel.outcome import STRICT
    from kavel.registry import check_setup
    from kavel.validating import Options, Streams, validate_scenes
    from kavel.validation_printing import checks_verdict, run_verdict

    errors = make_console(stderr=True)
    table = errors if arguments.json == STDOUT else make_console()
    project = _project(arguments, errors)
    options = Options(
        mode=arguments.mode,
        select=arguments.select,
        lod_names=arguments.lod_names,
        fix=arguments.fix,
        dry_run=arguments.dry_run,
        save=arguments.save,
        fail_on=arguments.fail_on,
        fail_on_unassigned=arguments.fail_on_unassigned,
        strict=arguments.strict,
        by_check=arguments.group == "check",
        no_info=arguments.no_info,
        quiet=arguments.quiet,
        verbose=arguments.verbose,
    )
    with LogHandler(errors, arguments.verbose):
        setup = check_setup(arguments.home, arguments.checks)
    streams = Streams(table, errors, report)
    outcome = validate_scenes(arguments.scenes, project, setup, options, streams)
    if len(outcome.statuses) > 1:
        table.print(run_verdict(outcome))
    if outcome.exit_status == STRICT:
        errors.print(f"kavel: --strict fails the run: {checks_verdict(outcome)}")
    return outcome


def _project(arguments: argparse.Namespace, errors: Any) -> ProjectFile | None:
    if arguments.project is None:
        return None
    project = find_project(arguments.project, kavel_home(arguments.home))
    require_usable(project, errors)
    return project


def _require_sense(arguments: argparse.Namespace) -> None:
    """Errors: KavelError for options that contradict each other."""
    if arguments.project is None and arguments.mode == "project":
        raise KavelError("--project is needed, unless --mode selection runs your own checks")
    if arguments.fail_on_unassigned and arguments.project is None:
        raise KavelError("--fail-on-unassigned is about the rules of a project: give --project")
    if (arguments.dry_run or arguments.save) and not arguments.fix:
        raise KavelError("--dry-run and --save say what becomes of fixes: give --fix as well")
    if arguments.dry_run and arguments.save:
        raise KavelError("--dry-run changes nothing, so there is nothing to --save")
