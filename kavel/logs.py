"""What the core writes to the log, on stderr and at hand as the reason of a failure."""

from __future__ import annotations

import logging
import threading
import time
from collections import deque

from rich.console import Console

from kavel.terminal import count, printable

_SETTLE = 2.0  # seconds that entries may take to arrive
_KEPT = 100  # errors at hand, and entries that are told apart when they repeat


class LogHandler(logging.Handler):
    """Prints entries to `console`, each text once, and remembers the last errors.

    A context manager: inside it, the handler is on the root logger; at its end it prints how often
    entries were repeated.
    """

    def __init__(self, console: Console, verbose: bool = False) -> None:
        super().__init__(logging.INFO if verbose else logging.WARNING)
        self._console = console
        self._verbose = verbose
        self._errors: deque[str] = deque(maxlen=_KEPT)
        self._repeats: dict[str, int] = {}
        self._left_out = 0
        self._root_level = logging.WARNING

    def emit(self, record: logging.LogRecord) -> None:
        try:
            text = record.getMessage()
            if record.levelno >= logging.ERROR:
                self._errors.append(text)
            if not self._verbose:
                text = text.partition("\nTraceback")[0]
            lines = (printable(line) for line in text.splitlines() or [""])
            self._print(f"{record.levelname.lower()}: " + "\n  ".join(lines))
        except Exception:
            self.handleError(record)

    def take_errors(self) -> list[str]:
        """The first lines of the last errors since the last call."""
        settle()
        errors = []
        while self._errors:
            errors.append((self._errors.popleft().splitlines() or [""])[0])
        return errors

    def _print(self, entry: str) -> None:
        if entry in self._repeats:
            self._repeats[entry] += 1
        elif len(self._repeats) < _KEPT:
            self._repeats[entry] = 0
            self._console.print(entry)
        else:
            self._left_out += 1

    def __enter__(self) -> LogHandler:
        root = logging.getLogger()
        self._root_level = root.level
        root.setLevel(min(root.level, self.level) if root.level else self.level)
        root.addHandler(self)
        return self

    def __exit__(self, *_: object) -> None:
        settle()
        root = logging.getLogger()
        root.removeHandler(self)
        root.setLevel(self._root_level)
        for entry, repeats in self._repeats.items():
            if repeats:
                first = entry.partition("\n")[0]
                self._console.print(f"{first} ({count(repeats, 'more time')})")
        if self._left_out:
            self._console.print(f"and {count(self._left_out, 'log entry', 'log entries')} more")


def settle() -> None:
    """Wait until what the core has logged so far has arrived: it logs on threads of its own."""
    import core

    end = time.monotonic() + _SETTLE
    for thread in list(core._log_threads):
        if thread is not threading.current_thread():
            thread.join(max(end - time.monotonic(), 0))
