"""The command `kavel`."""

from __future__ import annotations

import argparse
import os
import sys
from collections.abc import Sequence

from kavel.commands import (
    checks,
    demo,
    export,
    projects,
    scan,
    serve,
    stats,
    sync,
    validate,
    version,
)
from kavel.commands.parser import Parser
from kavel.errors import KavelError, told
from kavel.home import HOME_VARIABLE
from kavel.terminal import make_console, printable
from kavel.versions import version_line, versions

FAILED = 2
INTERRUPTED = 130


def main(argv: Sequence[str] | None = None) -> int:
    """Run the command line; returns the exit status.

    Errors: SystemExit from wrong arguments (status 2), `--help` and `--version`.
    """
    arguments = _parser().parse_args(argv)
    try:
        return int(arguments.run(arguments))
    except KeyboardInterrupt:
        make_console(stderr=True).print("interrupted")
        return INTERRUPTED
    except BrokenPipeError:
        # The reader of stdout went away; nothing more can be said there, nor flushed at the end.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return FAILED
    except (KavelError, OSError) as error:
        lines = (printable(line) for line in told(error).splitlines())
        make_console(stderr=True).print("kavel: " + "\n".join(lines))
        return FAILED


class _Version(argparse.Action):
    def __call__(self, parser: argparse.ArgumentParser, *_: object) -> None:
        print(version_line(versions()))
        parser.exit()


def _parser() -> Parser:
    parser = Parser(
        prog="kavel",
        description="Check glTF scenes against a project: their hierarchies, and what is in them.",
    )
    parser.add_argument("--version", action=_Version, nargs=0, help="print versions and exit")
    parser.add_argument(
        "--home",
        metavar="DIR",
        help=f"where your settings and projects are (also: variable {HOME_VARIABLE})",
    )
    subparsers = parser.add_subparsers(required=True, metavar="COMMAND")
    commands = (scan, validate, export, checks, projects, stats, sync, serve, version, demo)
    for command in commands:
        command.add_parser(subparsers)
    return parser
