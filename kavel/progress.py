"""A progress bar that appears only when the work takes its time."""

from __future__ import annotations

import threading
from collections.abc import Iterator
from contextlib import contextmanager

from rich.console import Console
from rich.progress import BarColumn, MofNCompleteColumn, Progress, TextColumn, TimeElapsedColumn

_DELAY = 1.0  # seconds


class LateProgress:
    """Counts steps done; shows a bar on a terminal once a second has passed, and removes it."""

    def __init__(self, console: Console, total: int | None = None) -> None:
        columns = (
            TextColumn("{task.description}"),
            BarColumn(),
            MofNCompleteColumn(),
            TimeElapsedColumn(),
        )
        self._progress = Progress(
            *columns, console=console, transient=True, redirect_stdout=False, redirect_stderr=False
        )
        self._task = self._progress.add_task("", total=_measure(total))
        self._wanted = console.is_terminal
        self._lock = threading.Lock()
        self._timer = threading.Timer(_DELAY, self._start)
        self._timer.daemon = True
        self._ended = False
        self._shown = False

    def step(self, description: str) -> None:
        self._progress.update(self._task, description=description)

    def advance(self) -> None:
        self._progress.advance(self._task)

    def tell(self, done: int, total: int | None) -> None:
        """How much is done of `total` steps; of none, when their number is not known."""
        self._progress.update(self._task, completed=done, total=_measure(total))

    @contextmanager
    def hidden(self) -> Iterator[None]:
        """Takes the bar away while something else is printed on the terminal."""
        with self._lock:
            if self._shown:
                self._progress.stop()
            try:
                yield
            finally:
                if self._shown:
                    self._progress.start()

    def __enter__(self) -> LateProgress:
        if self._wanted:
            self._timer.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._timer.cancel()
        with self._lock:
            self._ended = True
            if self._shown:
                self._progress.stop()

    def _start(self) -> None:
        with self._lock:
            if not self._ended:
                self._shown = True
                self._progress.start()


def _measure(total: int | None) -> int | None:
    # A single step has no measure of its own: the bar then only shows that work goes on.
    return total if total is not None and total > 1 else None
