"""What every host test relies on."""

from __future__ import annotations

from collections.abc import Iterator

import pytest

import core


@pytest.fixture(autouse=True)
def _finished_log() -> Iterator[None]:
    """Log entries are written on threads of their own: none reaches the test that follows."""
    yield
    for thread in list(core._log_threads):
        thread.join()


@pytest.fixture
def pauses(monkeypatch: pytest.MonkeyPatch) -> list[float]:
    """Nothing waits; what would have been waited for is noted."""
    waited: list[float] = []
    monkeypatch.setattr("time.sleep", waited.append)
    return waited
