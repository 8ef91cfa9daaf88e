"""`kavel serve`: the studio server."""

from __future__ import annotations

import argparse
import os
from typing import Any

from kavel.errors import KavelError
from kavel.home import kavel_home
from kavel.studio.tokens import SERVER_VARIABLE, Tokens, make_token, read_tokens
from kavel.terminal import count, make_console, printable
from kavel.versions import versions

PORT = 8443
DATABASE_VARIABLE = "KAVEL_DATABASE"


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "serve",
        help="run a studio server, which keeps the projects of all seats the same",
        description="Run a studio server until Ctrl-C. Seats reach it with `kavel sync`.",
    )
    parser.add_argument("--host", default="127.0.0.1", help="address to listen on")
    parser.add_argument("--port", type=int, default=PORT, help=f"0: any free one; usual: {PORT}")
    parser.add_argument("--certificate", metavar="FILE", help="TLS certificate chain, PEM")
    parser.add_argument("--key", metavar="FILE", help="private key of the certificate, PEM")
    parser.add_argument(
        "--insecure", action="store_true", help="no TLS, for a trial on this machine alone"
    )
    parser.add_argument(
        "--token-file",
        metavar="FILE",
        help="tokens that seats may write with, one a line "
        f"(also: variable {SERVER_VARIABLE}, separated by blanks)",
    )
    parser.add_argument(
        "--new-token", action="store_true", help="print a fresh token for that file and exit"
    )
    parser.add_argument(
        "--database",
        metavar="FILE|URL",
        help="an SQLite file, or postgresql://...; a file in your folder when not given "
        f"(also: variable {DATABASE_VARIABLE})",
    )
    parser.add_argument(
        "--latest", metavar="VERSION", help="the version that seats should have; usual: the own"
    )
    parser.add_argument(
        "--max-request", type=int, default=256, metavar="MB", help="size of a request; usual: 256"
    )
    parser.add_argument(
        "--keep",
        type=int,
        default=10,
        metavar="N",
        help="earlier edits kept of each project; lost ones are always kept; usual: 10",
    )
    parser.add_argument("-q", "--quiet", action="store_true", help="log refusals and errors only")
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    if arguments.new_token:
        make_console().print(make_token())
        return 0
    _check(arguments)
    _require_libraries()
    from kavel.studio.app import Settings, make_app
    from kavel.studio.database import Database
    from kavel.studio.server import Listening, check_listening, open_socket, run_server, set_up_log

    listening = Listening(arguments.host, arguments.port, arguments.certificate, arguments.key)
    tokens = Tokens(read_tokens(arguments.token_file, SERVER_VARIABLE))
    check_listening(listening, arguments.insecure, len(tokens) > 0)
    set_up_log(verbose=not arguments.quiet)
    database = Database(_database(arguments))
    settings = Settings(
        tokens=tokens,
        latest=arguments.latest or versions()["kavel"],
        body_limit=arguments.max_request * 2**20,
        keep=arguments.keep,
    )
    opened, address = open_socket(listening)
    output = make_console()
    access = count(len(tokens), "token") if len(tokens) else "no tokens: whoever reaches it writes"
    output.print(f"studio server on {address}")
    output.print(f"database {printable(str(database))}; {access}; stop with Ctrl-C")
    output.file.flush()
    try:
        run_server(make_app(database, settings), opened, listening)
    finally:
        opened.close()
        database.close()
    output.print("stopped")
    return 0


def _require_libraries() -> None:
    try:
        import sqlalchemy  # noqa: F401
        import starlette  # noqa: F401
        import uvicorn  # noqa: F401
    except ImportError as error:
        raise KavelError(
            f"the studio server needs more libraries ({error}); "
            "install them with: pip install 'kavel[server]'"
        ) from error


def _check(arguments: argparse.Namespace) -> None:
    if arguments.key and not arguments.certificate:
        raise KavelError("--key needs --certificate")
    if not 0 <= arguments.port <= 65535:
        raise KavelError("--port is a number from 0 to 65535")
    if arguments.max_request < 1 or arguments.keep < 0:
        raise KavelError("--max-request is at least 1, and --keep at least 0")


def _database(arguments: argparse.Namespace) -> str:
    given = arguments.database or os.environ.get(DATABASE_VARIABLE)
    return given or os.path.join(kavel_home(arguments.home), "studio-server", "studio.sqlite")
