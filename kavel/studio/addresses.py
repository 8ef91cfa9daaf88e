"""Addresses of studio servers."""

from __future__ import annotations

import ipaddress
from dataclasses import dataclass
from urllib.parse import urlsplit

from kavel.errors import KavelError

HTTPS_PORT = 443


def is_loopback(host: str) -> bool:
    """Whether only this machine can reach it: "localhost", or an address like 127.0.0.1 or ::1."""
    if host.lower() == "localhost":
        return True
    try:
        return ipaddress.ip_address(host).is_loopback
    except ValueError:
        return False


@dataclass(frozen=True)
class Address:
    """A server's address. `path` has no slash at its end."""

    host: str
    port: int
    path: str = ""
    secure: bool = True

    @property
    def authority(self) -> str:
        """Host and port; the usual port is left out."""
        shown = f"[{self.host}]" if ":" in self.host else self.host
        return shown if self.port == _usual_port(self.secure) else f"{shown}:{self.port}"

    def __str__(self) -> str:
        return f"{'https' if self.secure else 'http'}://{self.authority}{self.path}"


def parse_address(text: str) -> Address:
    """An https address; http is for this machine only, where nobody can listen.

    Errors: KavelError when it is neither, or has a user, a query or a fragment.
    """
    try:
        parts = urlsplit(text)
        host, port = parts.hostname, parts.port
    except ValueError as error:
        raise KavelError(f"{text}: not an address: {error}") from None
    if parts.scheme not in ("https", "http") or not host:
        raise KavelError(f"{text}: not an address like https://studio.example:8443")
    if parts.username is not None or parts.query or parts.fragment:
        raise KavelError("a server's address has no user, password, query or fragment")
    secure = parts.scheme == "https"
    if not secure and not is_loopback(host):
        raise KavelError(f"{text}: only https is used between machines")
    chosen = _usual_port(secure) if port is None else port
    return Address(host, chosen, parts.path.rstrip("/"), secure)


def _usual_port(secure: bool) -> int:
    return HTTPS_PORT if secure else 80
