"""Whether objects are collected, for tests of cycles between a host and the core."""

from __future__ import annotations

import functools
import gc
import weakref
from collections.abc import Callable, Iterable
from typing import Any


def collected(test: Callable[..., Iterable[Any]]) -> Callable[..., None]:
    """A test that returns objects: none of them outlives the test."""

    @functools.wraps(test)
    def run(*arguments: Any, **keywords: Any) -> None:
        gone = [weakref.ref(item) for item in test(*arguments, **keywords)]
        gc.collect()
        assert [item() for item in gone] == [None] * len(gone)

    return run
