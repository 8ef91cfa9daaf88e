"""Tests of objects from outside: environments, check classes, attribute names, JSON data."""

from __future__ import annotations

import types
from typing import Any

import pytest
from project_tools import logged

import core

PATHS = ("get_settings_file", "get_settings_directory", "get_projects_directory")


def environment(**changes: Any) -> Any:
    operations: dict[str, Any] = {name: lambda: "path" for name in (*PATHS, "get_statistics_file")}
    operations.update(decode_user=lambda path: path, encode_user=lambda path: path)
    operations.update(changes)
    return types.SimpleNamespace(**{k: v for k, v in operations.items() if v is not None})


def fail(*arguments: object) -> str:
    raise OSError("no such drive")


@pytest.mark.parametrize(
    ("instance", "valid"),
    [
        (environment(), True),
        (environment(get_settings_file=lambda: core._str("")), True),
        (environment(get_statistics_file=lambda: 3), False),
        (environment(get_projects_directory=None), False),
        (environment(get_settings_directory="a path"), False),
        (environment(encode_user=lambda: "~"), False),
        (environment(decode_user=lambda path: None), False),
        (environment(decode_user=fail), False),
        (core.Environment, False),
        (None, False),
    ],
)
def test_environments(instance: object, valid: bool) -> None:
    assert core._Assert.Environment.is_valid(instance) is valid


def test_failures_of_an_environment_are_logged_but_interrupts_pass(
    caplog: pytest.LogCaptureFixture,
) -> None:
    assert not core._Assert.Environment.is_valid(environment(get_settings_file=fail))
    (entry,) = logged(caplog)
    assert entry.startswith("OSError: no such drive\nTraceback")

    def interrupt() -> str:
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        core._Assert.Environment.is_valid(environment(get_settings_file=interrupt))


@pytest.mark.parametrize(
    ("name", "error", "message"),
    [
        ("width", None, ""),
        ("_w1", None, ""),
        ("1w", core.Error.WrongAttributeName, 'Wrong Name for Attribute - "1w"'),
        ("", core.Error.WrongAttributeName, 'Wrong Name for Attribute - ""'),
        ("ж", core.Error.WrongAttributeName, 'Wrong Name for Attribute - "ж"'),
        (5, core.Error.WrongAttributeName, 'Wrong Name for Attribute - "5"'),
        (None, core.Error.WrongAttributeName, "Wrong Name for Attribute"),
        ("__w", core.Error.PrivateAttributeName, 'Used Private Name for Attribute - "__w"'),
    ],
)
def test_attribute_names(name: object, error: Any, message: str) -> None:
    if error is None:
        core._Assert.Parameters.Input.attribute(name)
        return
    with pytest.raises(error) as caught:
        core._Assert.Parameters.Input.attribute(name)
    assert (str(caught.value), caught.value.name) == (message, name)


def test_unified_texts_become_plain_in_place() -> None:
    text = core._str("x")
    data: Any = {"k": text, "l": [text, (text,), {"m": text}], "n": 1}
    data["self"] = data
    assert core._Assert.Json.clean(data) is data
    assert [type(data["k"]), type(data["l"][0]), type(data["l"][2]["m"])] == [str, str, str]
    assert type(core._Assert.Json.clean(text)) is str
    assert core._Assert.Json.clean(None) is None


def test_check_classes_need_more_than_attributes() -> None:
    texts = ("class_id", "short_name", "long_name", "description", "category")
    described = dict.fromkeys(texts, "text")
    for changes in ({"sort_index": float("nan")}, {"class_id": ""}, {"category": None}, {}):
        members: dict[str, Any] = {**described, "sort_index": 1, **changes}
        members["parameters"] = staticmethod(list)
        assert core._Assert.Check.is_valid(type("Check", (), members)) is False
