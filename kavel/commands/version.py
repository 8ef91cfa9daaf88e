"""`kavel version`: ours, and the newest."""

from __future__ import annotations

import argparse
from typing import Any

from kavel.commands.options import add_json
from kavel.errors import KavelError
from kavel.json_output import write_json
from kavel.native import require_core
from kavel.terminal import make_console
from kavel.versions import version_line, versions

SCHEMA = "kavel.version/1"
NEWER = 1
_LONGEST = 3600


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "version",
        help="show the versions here, and the newest that there is",
        description="Show versions. With --latest, ask a server for the newest one; the exit "
        "status is 1 when that is above ours, and 2 when it cannot be found out.",
    )
    parser.add_argument("--latest", action="store_true", help="ask for the newest version")
    parser.add_argument(
        "--from",
        dest="source",
        metavar="URL",
        help="an https address whose answer has the header Kavel-Version, or a studio server "
        "(also: variable KAVEL_UPDATES)",
    )
    parser.add_argument(
        "--timeout", type=float, default=10, metavar="S", help="seconds to wait for the server"
    )
    parser.add_argument(
        "--remember", action="store_true", help="write that address into your settings"
    )
    add_json(parser, in_place_of="the lines")
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    if not arguments.latest and (arguments.source or arguments.remember):
        raise KavelError("--from and --remember need --latest")
    if not 0 < arguments.timeout <= _LONGEST:
        raise KavelError(f"--timeout is above 0, and at most {_LONGEST} seconds")
    output = make_console()
    ours = versions()
    if arguments.json != "-":
        output.print(version_line(ours))
    report: dict[str, Any] = {"schema": SCHEMA, "versions": ours}
    if arguments.latest:
        newest, above = _ask(arguments, ours["kavel"])
        report.update(latest=newest, update=above)
        if arguments.json != "-":
            output.print(f"{newest} is there" if above else f"nothing newer is there ({newest})")
    if arguments.json:
        write_json(arguments.json, report)
    return NEWER if report.get("update") else 0


def _ask(arguments: argparse.Namespace, ours: str) -> tuple[str, bool]:
    require_core()
    from kavel.environment import StandaloneEnvironment
    from kavel.updates import newest_version, remember_address, update_address

    environment = StandaloneEnvironment(arguments.home)
    address = update_address(environment, arguments.source)
    found = newest_version(address, ours, arguments.timeout)
    if arguments.remember:
        remember_address(environment, address)
    return found
