"""What the tests of the projects share."""

from __future__ import annotations

import core


def logged(caplog) -> list[str]:
    """The log entries so far; entries are written on threads of their own."""
    for thread in list(core._log_threads):
        thread.join()
    return [record.getMessage() for record in caplog.records]
