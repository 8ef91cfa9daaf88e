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
