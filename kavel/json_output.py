"""Where a command's JSON goes: a file that is replaced in one step, or stdout."""

from __future__ import annotations

import contextlib
import json
import os
import sys
from collections.abc import Iterator
from typing import Any, TextIO

from kavel.errors import KavelError, reason_of

STDOUT = "-"


@contextlib.contextmanager
def open_output(path: str) -> Iterator[TextIO]:
    """A stream for ASCII text: stdout for "-", else one whose content takes the place of the file
    at `path` when the block ends well; otherwise the file stays as it was. What is no file, such as
    a device or a pipe, is written to.

    Errors: KavelError when the file cannot be made; OSError when writing fails.
    """
    if path == STDOUT:
        yield sys.stdout
        return
    target = os.path.realpath(path)
    if os.path.exists(target) and not os.path.isfile(target):
        with _opened_in_place(path, target) as stream:
            yield stream
        return
    beside = f"{target}.{os.getpid()}.tmp"
    try:
        with open(beside, "x", encoding="ascii") as stream:
            yield stream
        os.replace(beside, target)
    except BaseException as error:
        with contextlib.suppress(OSError):
            os.unlink(beside)
        if isinstance(error, OSError) and error.filename == beside:  # opening or replacing failed
            reason = reason_of(error, writing=True)
            raise KavelError(f"{path}: cannot be written: {reason}") from error
        raise


def _opened_in_place(path: str, target: str) -> TextIO:
    try:
        return open(target, "w", encoding="ascii")
    except OSError as error:
        raise KavelError(f"{path}: cannot be written: {reason_of(error, writing=True)}") from error


def write_json(path: str, data: Any) -> None:
    """Errors: those of `open_output`; KavelError for data that is nested too deep."""
    try:
        # Plain ASCII: names may hold lone surrogates, which UTF-8 has no form for.
        text = json.dumps(data, indent=2) + "\n"
    except RecursionError as error:
        raise KavelError(f"{path}: cannot be written: {error}") from error
    with open_output(path) as stream:
        stream.write(text)
