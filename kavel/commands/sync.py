"""`kavel sync`: projects and usage records, exchanged with a studio server."""

from __future__ import annotations

import argparse
from typing import Any

from kavel.commands.options import add_json
from kavel.errors import KavelError
from kavel.json_output import write_json
from kavel.native import require_core
from kavel.studio.addresses import parse_address
from kavel.studio.printing import print_edits, print_projects, print_statistics
from kavel.studio.recovery import fetch_edit, list_kept, restore_edit
from kavel.studio.tokens import CLIENT_VARIABLE, read_tokens
from kavel.studio.transport import Client
from kavel.terminal import count, make_console, printable

SCHEMA = "kavel.sync/1"
EDITS_SCHEMA = "kavel.edits/1"
INCOMPLETE = 1  # the projects are exchanged, but there is something to look after
_LONGEST = 3600
_MOST_RETRIES = 20


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "sync",
        help="exchange your projects and usage records with a studio server",
        description="Send your projects to a studio server and take over what is newer there; then "
        "send your usage records. Of two edits of a project the later one wins, and the server "
        "keeps the other.",
    )
    parser.add_argument(
        "--server",
        metavar="URL",
        help="https://HOST[:PORT]; the server of your settings when not given",
    )
    parser.add_argument(
        "--remember", action="store_true", help="write the server into your settings"
    )
    parser.add_argument(
        "--token-file",
        metavar="FILE",
        help=f"holds the server's token (also: variable {CLIENT_VARIABLE})",
    )
    parser.add_argument(
        "--target", help='the host application whose projects are meant; usual: "standalone"'
    )
    parser.add_argument(
        "--timeout", type=float, default=30, metavar="S", help="seconds to wait for the server"
    )
    parser.add_argument(
        "--retries", type=int, default=3, metavar="N", help="how often to ask again"
    )
    parser.add_argument(
        "--statistics",
        action=argparse.BooleanOptionalAction,
        default=True,
        help="whether to send usage records, under the name of your account",
    )
    kept = parser.add_mutually_exclusive_group()
    kept.add_argument(
        "--list-edits", action="store_true", help="only list the edits that the server keeps"
    )
    kept.add_argument(
        "--get-edit", type=int, metavar="N", help="only fetch one of them; needs --to"
    )
    kept.add_argument(
        "--restore-edit",
        type=int,
        metavar="N",
        help="only bring the records of one of them back into its project here",
    )
    parser.add_argument("--to", metavar="FILE", help="where --get-edit writes, a new file")
    add_json(parser, in_place_of="the lines")
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    _check(arguments)
    require_core()
    from kavel.logs import LogHandler
    from kavel.studio.seat import Seat, require_plain

    address = None if arguments.server is None else parse_address(arguments.server)
    tokens = read_tokens(arguments.token_file, CLIENT_VARIABLE)
    if len(tokens) > 1:
        raise KavelError("more than one token is given; a seat has one")
    if arguments.remember and address is not None:
        require_plain(address)
    errors = make_console(stderr=True)
    with LogHandler(errors) as log, Seat(arguments.home, arguments.target, log) as seat:
        client = Client(
            address or seat.server,
            token=tokens[0] if tokens else None,
            timeout=arguments.timeout,
            retries=arguments.retries,
            tell=lambda line: errors.print(printable(line)),
        )
        if arguments.list_edits:
            return _list_edits(arguments, client, seat.target)
        if arguments.get_edit is not None:
            return _get_edit(arguments.get_edit, arguments.to, client)
        if arguments.restore_edit is not None:
            return _restore_edit(arguments.restore_edit, client, seat, log)
        result = _synchronise(arguments, client, seat)
        if arguments.remember:
            seat.remember(client.address)
    if arguments.json:
        write_json(arguments.json, {"schema": SCHEMA, **result})
    return int(result["exit_status"])


def _synchronise(arguments: argparse.Namespace, client: Client, seat: Any) -> dict[str, Any]:
    """Both exchanges; what they did, as a report says it."""
    output, errors = make_console(), make_console(stderr=True)
    told = output if arguments.json != "-" else None
    exchange = seat.exchange(client)
    projects = exchange.projects()
    result: dict[str, Any] = {
        "server": str(client.address),
        "target": seat.target,
        "projects": projects.data(),
        "statistics": None,
    }
    if told is not None:
        print_projects(told, projects, client.address)
    status = 0 if not (projects.lost_count or projects.errors) else INCOMPLETE
    if arguments.statistics:
        try:
            statistics = exchange.statistics()
            result["statistics"] = statistics.data()
            if told is not None:
                print_statistics(told, statistics)
        except KavelError as error:
            errors.print(f"kavel: the usage records were not taken: {error}")
            status = INCOMPLETE
    return {**result, "exit_status": status}


def _list_edits(arguments: argparse.Namespace, client: Client, target: str) -> int:
    found = list_kept(client, target)
    if arguments.json:
        rows = [vars(edit) for edit in found]
        write_json(arguments.json, {"schema": EDITS_SCHEMA, "edits": rows})
    if arguments.json != "-":
        print_edits(make_console(), found)
    return 0


def _get_edit(number: int, path: str, client: Client) -> int:
    fetch_edit(client, number, path)
    make_console().print(f"edit {number} is in {printable(path)}")
    return 0


def _restore_edit(number: int, client: Client, seat: Any, log: Any) -> int:
    name, records = restore_edit(client, number, seat.api, log)
    make_console().print(
        f"{count(records, 'record')} of edit {number} came back into {printable(name)}, which is a "
        "new edit now; `kavel sync` shares it"
    )
    return 0


def _check(arguments: argparse.Namespace) -> None:
    if (arguments.get_edit is None) != (arguments.to is None):
        raise KavelError("--get-edit and --to go together")
    if not 0 < arguments.timeout <= _LONGEST or not 0 <= arguments.retries <= _MOST_RETRIES:
        raise KavelError(
            f"--timeout is at most {_LONGEST} seconds and above 0, "
            f"--retries from 0 to {_MOST_RETRIES}"
        )
