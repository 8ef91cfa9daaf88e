"""The tokens that give write access.

They come from files or the environment, never from the command line, which other users of a machine
can see.
"""

from __future__ import annotations

import hashlib
import hmac
import os
import re
import secrets
from collections.abc import Iterable

from kavel.errors import KavelError

SERVER_VARIABLE = "KAVEL_TOKENS"
CLIENT_VARIABLE = "KAVEL_TOKEN"
_SHORTEST = 16
_TOKEN = re.compile(r"[A-Za-z0-9._~+/=-]+")


def make_token() -> str:
    return secrets.token_urlsafe(32)


def read_tokens(path: str | None, variable: str) -> list[str]:
    """The tokens of a file, one a line, else of a variable, separated by blanks. Empty lines and
    lines that begin with "#" do not count.

    Errors: KavelError when the file cannot be read or has none, or a token is too easy to guess or
    has characters that no header can carry.
    """
    if path is None:
        found = os.environ.get(variable, "").split()
        where = f"the variable {variable}"
    else:
        found, where = _lines(path), path
        if not found:
            raise KavelError(f"{path}: there is no token in it")
    for number, token in enumerate(found, 1):
        # The token itself is never told.
        if not _TOKEN.fullmatch(token):
            raise KavelError(f"{where}: token {number} has characters that a token cannot have")
        if len(token) < _SHORTEST:
            raise KavelError(f"{where}: token {number} has less than {_SHORTEST} characters")
    return found


class Tokens:
    """What may be written with. Without any token everybody may."""

    def __init__(self, tokens: Iterable[str]) -> None:
        self._digests = [_digest(token) for token in tokens]

    def __len__(self) -> int:
        return len(self._digests)

    def admit(self, authorization: str | None) -> bool:
        """Whether the header of a request gives one of the tokens."""
        if not self._digests:
            return True
        scheme, _, token = (authorization or "").partition(" ")
        if scheme.lower() != "bearer":
            return False
        given = _digest(token.strip())
        admitted = False
        for known in self._digests:  # all of them, so that the time tells nothing
            admitted |= hmac.compare_digest(given, known)
        return admitted


def _digest(token: str) -> bytes:
    return hashlib.sha256(token.encode("utf-8", "surrogateescape")).digest()


def _lines(path: str) -> list[str]:
    try:
        with open(path, encoding="utf-8") as stream:
            lines = [line.strip() for line in stream]
    except (OSError, UnicodeDecodeError) as error:
        reason = getattr(error, "strerror", None) or error
        raise KavelError(f"{path}: cannot be read: {reason}") from error
    return [line for line in lines if line and not line.startswith("#")]
