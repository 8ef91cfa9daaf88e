"""Running checks in plain Python: a baseline for the benchmark, sharing no code with the core.

What a validation does for each object and check is written down as it would be told: the parameters
are copied input by input, an instance gets a fresh list for what it finds, the run is timed and
recorded.
"""

from __future__ import annotations

import time
from collections.abc import Callable
from dataclasses import dataclass, field, replace
from typing import Any


@dataclass
class Number:
    attr: str
    minimum: int = 0
    maximum: int = 100
    step: int = 1
    value: int = 50
    prefix: str = ""
    units: str = ""
    label: str = ""
    help_text: str = ""

    @property
    def data(self) -> dict[str, int]:
        return {"value": self.value}

    def load(self, data: dict[str, int]) -> None:
        self.value = data.get("value", self.value)

    def clone(self) -> Number:
        return replace(self)


class Task:
    """One set of parameters."""

    def __init__(self, inputs: list[Number], as_info: bool = False) -> None:
        self.inputs = [source.clone() for source in inputs]
        self.as_info = as_info
        self.number = 0
        self.table: dict[str, Number] = {}
        self.errors: list[Exception] = []
        for source in self.inputs:
            if source.attr in self.table:
                self.errors.append(ValueError(source.attr))
            else:
                self.table[source.attr] = source

    def load(self, state: dict[str, dict[str, int]]) -> None:
        for attr, value in state.items():
            try:
                self.table[attr].load(value)
            except Exception as error:
                self.errors.append(error)

    @property
    def state(self) -> dict[str, dict[str, int]]:
        return {attr: source.data for attr, source in self.table.items()}

    def assert_no_errors(self) -> None:
        if self.errors:
            raise self.errors[0]

    def clone(self) -> Task:
        copy = Task(self.inputs, self.as_info)
        copy.load(self.state)
        copy.errors.extend(self.errors)
        return copy

    def __getitem__(self, attr: str) -> Number:
        return self.table[attr]


class Found(Exception):
    """A check found an issue."""


class Buffer(list):  # type: ignore[type-arg]
    """What a check found."""

    def __init__(self, name: str = "") -> None:
        super().__init__()
        self.name = name


@dataclass
class Record:
    name: str
    result: str
    speed: float
    timestamp: float = field(default_factory=time.time)

    @property
    def data(self) -> dict[str, Any]:
        return {
            "name": self.name,
            "result": self.result,
            "timestamp": self.timestamp,
            "speed": self.speed,
        }


class Result:
    def __init__(
        self, path: str, check_class: Callable[[], Any], parameters: Task, records: list[Any]
    ) -> None:
        self.records = records
        self.instance = check_class()
        self.instance.result = Buffer()
        self.path = path
        self.parameters = parameters.clone()
        self.status = ""
        self.check()

    def check(self) -> None:
        self.status = "pass"
        started = time.monotonic()
        try:
            self.parameters.assert_no_errors()
            self.instance.could_be_fixed = False
            self.instance.could_be_selected = False
            self.instance.result.clear()
            self.instance.check(self.path, self.parameters)
        except Found:
            self.status = "info" if self.parameters.as_info else "fail"
        except Exception:
            self.status = "error"
        seconds = time.monotonic() - started
        self.records.append(Record(self.instance.long_name, self.status, seconds).data)


def validate(
    paths: list[str], check_class: Callable[[], Any], parameters: Task, records: list[Any]
) -> list[Result]:
    return [Result(path, check_class, parameters, records) for path in paths]
