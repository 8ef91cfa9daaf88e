"""The user's own projects, records and settings in the core's `Api`."""

from __future__ import annotations

import contextlib
import getpass
import os

import core
from kavel.environment import StandaloneEnvironment
from kavel.errors import KavelError
from kavel.gltf.operator import GltfOperator
from kavel.logs import LogHandler
from kavel.studio.addresses import Address
from kavel.studio.exchange import Exchange
from kavel.studio.transport import Client

_USER_VARIABLE = "USERNAME"


class Seat:
    """An `Api` over the user's home, for one target. A context manager.

    Errors: OSError when the home cannot be made; KavelError when the core does not accept it.
    """

    def __init__(self, home: str | None, target: str | None, log: LogHandler) -> None:
        _name_user()
        environment = StandaloneEnvironment(home, target)
        self.target: str = environment.target
        self.api = core.Api(GltfOperator(), environment)
        if self.api.env is not environment:
            self.api.shutdown()
            raise KavelError("the core did not accept the environment of this program")
        self._log = log

    @property
    def server(self) -> Address:
        """The server of the settings. Errors: KavelError when there is none."""
        server = self.api.settings.server
        if not server.host:
            raise KavelError("no server is known; give --server URL, and --remember to keep it")
        return Address(server.host, server.port)

    def exchange(self, client: Client) -> Exchange:
        return Exchange(self.api, client, self._log)

    def remember(self, address: Address) -> None:
        """Write the server into the settings. Errors: those of `require_plain`."""
        require_plain(address)
        settings = self.api.settings
        settings.server.host, settings.server.port = address.host, address.port
        settings.write()

    def close(self) -> None:
        self.api.shutdown()

    def __enter__(self) -> Seat:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


def require_plain(address: Address) -> None:
    """Errors: KavelError for an address that is more than the settings can hold."""
    if not address.secure or address.path:
        raise KavelError(f"{address}: settings hold the host and port of an https server only")


def _name_user() -> None:
    """The core names the user by a variable that is only set on Windows."""
    if _USER_VARIABLE not in os.environ:
        # Without a name the records are counted as nobody's.
        with contextlib.suppress(KeyError, OSError, ImportError):
            os.environ[_USER_VARIABLE] = getpass.getuser()
