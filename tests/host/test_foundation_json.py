"""Files of JSON: what is written is what the interpreter's own encoder writes, byte for byte."""

from __future__ import annotations

import enum
import json
import random
from collections import OrderedDict
from pathlib import Path
from typing import Any

import pytest

import core


def written(folder: Path, data: Any) -> bytes:
    path = folder / "data.json"
    core._File.Json.write(str(path), data)
    return path.read_bytes()


def expected(data: Any) -> bytes:
    return json.dumps(data, indent=2, ensure_ascii=False).encode("utf-8", "backslashreplace")


class Number(enum.IntEnum):
    one = 1


class Text(str):
    pass


LEAVES: list[Any] = [
    *(None, True, False, 0, -1, 2**53, -(2**63), 2**63, 10**30, Number.one),
    *(0.0, -0.0, 1.0, 0.1, 1e16, 1e15, 9999999999999998.0, 1e-4, 1e-5, 5e-324, 1.7e308, 12345.678),
    *(float("inf"), float("-inf"), float("nan")),
    *(
        "",
        "plain",
        'quote " and \\',
        "\n\r\t\b\f\x00\x1f\x7f",
        "Жé€",
        "😀",
        "\ud800",
        "\udc00\ud800",
    ),
    *("\u2028", "a" * 300, Text("derived")),
]


@pytest.mark.parametrize(
    "data",
    [
        LEAVES,
        {"key": {}, "list": [], "tuple": (), "nested": [[{}], ({"": [()]},)]},
        {Text("derived"): 1, "Ж\ud800": 2},
        {1: "a", None: "b", False: "c", 1.5: "d"},
        OrderedDict(b=1, a=[OrderedDict()]),
    ],
    ids=["leaves", "empty", "text keys", "other keys", "derived"],
)
def test_bytes_are_the_interpreters(data: Any, tmp_path: Path) -> None:
    assert written(tmp_path, data) == expected(data)


def test_random_data(tmp_path: Path) -> None:
    source = random.Random(20261121)

    def value(depth: int) -> Any:
        kind = source.randrange(5) if depth else 0
        if kind < 2:
            return source.choice([*LEAVES, source.uniform(-1e6, 1e6), source.getrandbits(70)])
        items = [value(depth - 1) for _ in range(source.randrange(4))]
        if kind == 2:
            return {
                f"{source.choice(['k', 'Ж'])}{number}": item for number, item in enumerate(items)
            }
        return tuple(items) if kind == 3 else items

    for _ in range(200):
        data = value(5)
        assert written(tmp_path, data) == expected(data)


def test_data_that_has_no_text_keeps_the_old_file(tmp_path: Path) -> None:
    assert written(tmp_path, {"old": 1}) == expected({"old": 1})
    endless: list[Any] = []
    endless.append(endless)
    deep: list[Any] = []
    for _ in range(100_000):
        deep = [deep]
    for data, error in (
        (endless, ValueError),
        (deep, RecursionError),
        ({"a": object()}, TypeError),
        ({(): 1}, TypeError),
    ):
        with pytest.raises(error):
            written(tmp_path, data)
        assert (tmp_path / "data.json").read_bytes() == expected({"old": 1})
    while deep:  # taken apart by hand: the interpreter frees it level by level
        deep = deep.pop()
