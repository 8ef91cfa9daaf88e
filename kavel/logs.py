"""What the core writes to the log, on stderr and at hand as the reason of a failure."""

from __future__ import annotations

import logging
import re
import threading
import time
from collections import deque

from rich.console import Console

from kavel.document.pattern import BRANCH_DROPPED
from kavel.projects import ProjectFile
from kavel.terminal import count, printable

_SETTLE = 2.0  # seconds that entries may take to arrive
# What the core writes, and what it means for the person at the terminal.
_TOLD_WITH_CHECKS = re.compile("Import Failed: ")
_DAMAGED = re.compile(r"Read Corrupted \w+: (.*)")
_DAMAGED_WORDS = (
    r"\1: is damaged; it was moved into the folder .corrupted beside it, and a new one is begun"
)
_BRANCH_DROPPED_IN_CORE = "Incompatible Hierarchy Settings"
_KEPT = 100  # errors at hand, and entries that are told apart when they repeat


class LogHandler(logging.Handler):
    """Prints entries to `console`, each text once, and remembers the last errors.

    An error is printed only when nobody has taken it: who takes one tells it in words and at a
    place of its own. So is told which check modules could not be loaded. With `verbose` everything
    is printed at once, tracebacks included.

    A context manager: inside it, the handler is on the root logger; at its end it prints how often
    entries were repeated.
    """

    def __init__(self, console: Console, verbose: bool = False) -> None:
        super().__init__(logging.INFO if verbose else logging.WARNING)
        self._console = console
        self._verbose = verbose
        self._errors: deque[str] = deque()
        self._repeats: dict[str, int] = {}
        self._left_out = 0
        self._told_before: set[str] = set()
        self._root_level = logging.WARNING

    def emit(self, record: logging.LogRecord) -> None:
        try:
            text = record.getMessage()
            if record.levelno >= logging.ERROR:
                self._errors.append(text)
                if len(self._errors) > _KEPT:
                    self._print_error(self._errors.popleft())
            told_elsewhere = (
                record.levelno >= logging.ERROR
                or _TOLD_WITH_CHECKS.match(text)
                or text in self._told_before
            )
            if self._verbose or not told_elsewhere:
                self._print(_entry(record.levelname, text, self._verbose))
        except Exception:
            self.handleError(record)

    def project_told(self, project: ProjectFile) -> None:
        """Leave out what the core logs of the project and its problems, which were printed, tell
        better."""
        if any(BRANCH_DROPPED in problem.message for problem in project.checked.problems):
            self._told_before.add(_BRANCH_DROPPED_IN_CORE)

    def take_errors(self) -> list[str]:
        """The first lines of the last errors since the last call, which are not printed then."""
        settle()
        errors = []
        while self._errors:
            errors.append((self._errors.popleft().splitlines() or [""])[0])
        return errors

    def take_last_error(self) -> str:
        """The first line of the last error, or ""; what came before it is printed."""
        settle()
        last = self._errors.pop() if self._errors else ""
        self.print_errors()
        return (last.splitlines() or [""])[0]

    def print_errors(self) -> None:
        """Print the errors that nobody took."""
        settle()
        while self._errors:
            self._print_error(self._errors.popleft())

    def _print_error(self, text: str) -> None:
        if not self._verbose:  # else it was printed already
            self._print(_entry("ERROR", text, False))

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
        self.print_errors()
        root = logging.getLogger()
        root.removeHandler(self)
        root.setLevel(self._root_level)
        for entry, repeats in self._repeats.items():
            if repeats:
                first = entry.partition("\n")[0]
                self._console.print(f"{first} ({count(repeats, 'more time')})")
        if self._left_out:
            self._console.print(f"and {count(self._left_out, 'log entry', 'log entries')} more")


def _entry(level: str, text: str, verbose: bool) -> str:
    if not verbose:
        text = text.partition("\nTraceback")[0]
        text = _DAMAGED.sub(_DAMAGED_WORDS, text)
    lines = [printable(line) for line in text.splitlines() or [""]]
    # An error without a traceback comes with its own text in the place of one.
    if len(lines) == 2 and lines[0] == lines[1]:
        del lines[1]
    return f"{level.lower()}: " + "\n  ".join(lines)


def settle() -> None:
    """Wait until what the core has logged so far has arrived: it logs on threads of its own."""
    import core

    end = time.monotonic() + _SETTLE
    for thread in list(core._log_threads):
        if thread is not threading.current_thread():
            thread.join(max(end - time.monotonic(), 0))
