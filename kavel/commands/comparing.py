"""A project's checklists against the checks that are installed, for commands without a scene."""

from __future__ import annotations

import argparse
from collections.abc import Sequence

from rich.console import Console

from kavel.document import Problem
from kavel.errors import KavelError
from kavel.logs import LogHandler
from kavel.native import require_core
from kavel.projects import ProjectFile


def compare(
    project: ProjectFile, arguments: argparse.Namespace, errors: Console
) -> list[Problem] | None:
    """What does not fit, of the rules in the pattern, of checks that are switched off as well.
    None where the extension module is missing, so that nothing could be compared.

    Errors: KavelError for a folder of `--checks` that is not there.
    """
    try:
        require_core()
    except KavelError as error:
        errors.print(f"warning: the parameters of checks were not compared: {error}")
        return None
    from kavel.configurations import Configurations
    from kavel.own_checks import OwnChecks
    from kavel.registry import check_setup

    with LogHandler(errors):
        own = OwnChecks(arguments.home, check_setup(arguments.home, arguments.checks))
    configurations = Configurations(own.classes)
    rules = project.rules
    return [
        *configurations.missing(rules, disabled=True),
        *configurations.of_rules(rules, disabled=True),
    ]


def print_misfits_of(compared: Sequence[Problem] | None, console: Console) -> None:
    if compared:
        from kavel.configuration_printing import print_misfits

        print_misfits(console, compared)
