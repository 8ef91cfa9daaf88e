"""The newest version there is, asked of a server that says so in a header of its answer."""

from __future__ import annotations

import json
import logging
import os
from types import SimpleNamespace
from typing import Any

import core
from kavel.environment import StandaloneEnvironment
from kavel.errors import KavelError
from kavel.logs import settle
from kavel.studio.addresses import Address, parse_address
from kavel.terminal import printable

ADDRESS_VARIABLE = "KAVEL_UPDATES"
_SETTINGS = "kavel.json"  # what the core's settings have no place for
_KEY = "updates"
_PATH = "/latest"


def update_address(environment: StandaloneEnvironment, given: str | None) -> Address:
    """Where to ask: `given`, else the variable KAVEL_UPDATES, else what `remember_address` wrote,
    else the studio server of the user's settings. Without a path a studio server is meant.

    Errors: KavelError when none of them names an https server.
    """
    text = given or os.environ.get(ADDRESS_VARIABLE) or _remembered(environment)
    if text:
        address = parse_address(text)
    else:
        server = core._Settings(environment).server
        if not server.host:
            raise KavelError(
                "where to ask for the newest version is not known; give --from URL, and "
                "--remember to keep it"
            )
        address = Address(server.host, server.port)
    if not address.secure:
        raise KavelError(f"{address}: versions are asked for by https only")
    return address if address.path else Address(address.host, address.port, _PATH)


def remember_address(environment: StandaloneEnvironment, address: Address) -> None:
    """Write the address into a file beside the user's settings. Errors: OSError."""
    content = {**_read(environment), _KEY: str(address)}
    beside = f"{_file(environment)}.{os.getpid()}.tmp"
    with open(beside, "x", encoding="ascii") as stream:
        json.dump(content, stream, indent=2)
    os.replace(beside, _file(environment))


def newest_version(address: Address, ours: str, timeout: float) -> tuple[str, bool]:
    """The newest version, and whether it is above `ours`. timeout: seconds for each step of asking.

    Errors: KavelError when the server does not tell; certificates are verified as for everything.
    """
    urls = SimpleNamespace(host=address.authority, path=SimpleNamespace(latest=address.path))
    tracker = core.UpdateTracker(SimpleNamespace(settings=SimpleNamespace(urls=urls)), ours)
    tracker.timeout = timeout
    with _Reasons() as reasons:
        above = tracker.exist()
    newest = tracker.version
    if newest is None:
        raise KavelError(f"{address}: {reasons.last or 'no version is told there'}")
    return newest, above


class _Reasons(logging.Handler):
    """Remembers why the server could not be asked, which the core logs for debugging only."""

    def __init__(self) -> None:
        super().__init__(logging.DEBUG)
        self.last = ""
        self._level = logging.NOTSET

    def emit(self, record: logging.LogRecord) -> None:
        if record.levelno == logging.DEBUG:
            self.last = printable(record.getMessage())

    def __enter__(self) -> _Reasons:
        root = logging.getLogger()
        self._level = root.level
        root.setLevel(logging.DEBUG)
        root.addHandler(self)
        return self

    def __exit__(self, *_: object) -> None:
        settle()
        root = logging.getLogger()
        root.removeHandler(self)
        root.setLevel(self._level)


def _remembered(environment: StandaloneEnvironment) -> str:
    text = _read(environment).get(_KEY)
    return text if isinstance(text, str) else ""


def _read(environment: StandaloneEnvironment) -> dict[str, Any]:
    path = _file(environment)
    try:
        with open(path, encoding="utf-8") as stream:
            content = json.load(stream)
    except FileNotFoundError:
        return {}
    except (OSError, ValueError) as error:
        raise KavelError(f"{path}: cannot be read: {error}") from error
    if not isinstance(content, dict):
        raise KavelError(f"{path}: does not hold settings")
    return content


def _file(environment: StandaloneEnvironment) -> str:
    return os.path.join(environment.get_settings_directory(), _SETTINGS)
