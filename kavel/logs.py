"""What the core writes to the log, on stderr and at hand as the reason of a failure.

The core logs on short-lived threads of its own, so an entry may come a moment after the call that
caused it.
"""

from __future__ import annotations

import logging
import threading
import time
from types import TracebackType

from rich.console import Console

from kavel.terminal import printable


class LogHandler(logging.Handler):
    """Prints entries to `console` and remembers the messages of errors.

    A context manager: inside it, the handler is on the root logger.
    """

    def __init__(self, console: Console, verbose: bool = False) -> None:
        super().__init__(logging.INFO if verbose else logging.WARNING)
        self._console = console
        self._verbose = verbose
        self._arrived = threading.Condition()
        self._errors: list[str] = []
        self._root_level = logging.WARNING

    def emit(self, record: logging.LogRecord) -> None:
        try:
            text = record.getMessage()
            if record.levelno >= logging.ERROR:
                with self._arrived:
                    self._errors.append(text)
                    self._arrived.notify_all()
            if not self._verbose:
                text = text.partition("\nTraceback")[0]
            lines = (printable(line) for line in text.splitlines() or [""])
            self._console.print(f"{record.levelname.lower()}: " + "\n  ".join(lines))
        except Exception:
            self.handleError(record)

    def take_errors(self, wait: float = 0.0) -> list[str]:
        """The first lines of the errors since the last call; waits up to `wait` seconds for one."""
        end = time.monotonic() + wait
        with self._arrived:
            while not self._errors and (left := end - time.monotonic()) > 0:
                self._arrived.wait(left)
            errors, self._errors = self._errors, []
        return [(error.splitlines() or [""])[0] for error in errors]

    def __enter__(self) -> LogHandler:
        root = logging.getLogger()
        self._root_level = root.level
        root.setLevel(min(root.level, self.level) if root.level else self.level)
        root.addHandler(self)
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        root = logging.getLogger()
        root.removeHandler(self)
        root.setLevel(self._root_level)
