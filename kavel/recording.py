"""An `Api` whose runs of checks can be watched: how many there were, and how long each took."""

from __future__ import annotations

import time
from array import array
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from types import ModuleType
from typing import Any

import core
from kavel.logs import LogHandler

_TOLD_EVERY = 0.1  # seconds between two tellings of the progress


class RunRecorder:
    """Stands in for the store of usage records, to which it passes every record on.

    The core adds one record for each run of a check, in the order of the results, so this is where
    a run's seconds are known, and where it can be told how far a validation is.

    seconds: of each result, by its position in the queue. errors: what was logged when a check
    failed to run, by the same position; texts that repeat are one object.
    """

    def __init__(self, store: Any, log: LogHandler) -> None:
        self._store = store
        self._log = log
        self._texts: dict[str, str] = {}
        self.seconds: array[float] = array("d")
        self.errors: dict[int, str] = {}
        self._place: int | None = None
        self._told = 0.0
        self._passes_on = True
        #: Called now and then with the number of runs so far.
        self.on_progress: Callable[[int], object] | None = None

    def add(self, record: Any) -> None:
        if self._passes_on:
            self._store.add(record)
        if not isinstance(record, core._Statistics.Type.Checks):
            return
        place = len(self.seconds) if self._place is None else self._place
        if place == len(self.seconds):
            self.seconds.append(record.speed)
        else:
            self.seconds[place] = record.speed
        if record.result == core.Constants.Check.Result.Error:
            reason = self._log.take_last_error()
            self.errors[place] = self._texts.setdefault(reason, reason)
        self._tell()

    def write(self) -> None:
        if self._passes_on:
            self._store.write()

    def clear(self) -> None:
        """Forget the runs, not what was passed on: another scene's follow."""
        del self.seconds[:]
        self.errors.clear()
        self._texts.clear()

    @contextmanager
    def run_again(self, place: int) -> Iterator[None]:
        """Runs inside the block are of the result at `place`."""
        self._place = place
        self.errors.pop(place, None)
        try:
            yield
        finally:
            self._place = None

    @contextmanager
    def off_the_record(self) -> Iterator[None]:
        """Runs inside the block leave no usage records."""
        self._passes_on = False
        try:
            yield
        finally:
            self._passes_on = True

    def __getattr__(self, name: str) -> Any:
        return getattr(self._store, name)

    def _tell(self) -> None:
        now = time.monotonic()
        if self.on_progress is not None and now - self._told > _TOLD_EVERY:
            self._told = now
            self.on_progress(len(self.seconds))


class RecordedApi(core.Api):
    """`core.Api` with a recorder in the place of its store of usage records."""

    def __init__(
        self,
        operator: Any,
        environment: Any,
        formats: Sequence[Any],
        checks: ModuleType,
        log: LogHandler,
    ) -> None:
        self._recorder: RunRecorder | None = None
        super().__init__(operator, environment, export_options=formats, checks=checks)
        self._recorder = RunRecorder(super().statistics, log)

    @property
    def statistics(self) -> Any:
        return super().statistics if self._recorder is None else self._recorder

    @property
    def recorder(self) -> RunRecorder:
        assert self._recorder is not None
        return self._recorder
