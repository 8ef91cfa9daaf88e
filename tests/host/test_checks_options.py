"""Option trees: groups of inputs, what is stored of them, and what is refused."""

from __future__ import annotations

from typing import Any

import pytest
from project_tools import logged

import core

P = core.Parameters


def combo(*attrs: str) -> Any:
    return P.ComboBox("choice", [P.ComboBox.Item(attr, attr.upper()) for attr in attrs])


def tree(**values: Any) -> Any:
    options = P.Options(
        "fbx",
        "FBX",
        contents=[
            P.Switch("smooth", True),
            P.Group("Units", [P.IntRange("unit"), P.Group("", [P.FloatRange("scale")])], "smooth"),
            combo("x", "y"),
            P.RegEx("not_part_of_it"),
        ],
    )
    options.load(values)
    return options


def test_options_store_what_differs_from_the_defaults() -> None:
    options = tree()
    assert list(options._parameters) == ["smooth", "unit", "scale", "choice", "not_part_of_it"]
    assert options._defaults == {"smooth": True, "unit": 50, "scale": 0.5, "choice": "X"}
    assert options.data == {}
    options._parameters["smooth"].enabled = False
    options._parameters["choice"].set_selected("Y")
    assert options.data == {"smooth": False, "choice": "Y"}
    copy = options.clone()
    options._parameters["smooth"].enabled = True
    options.reset()
    assert (options.data, copy.data) == ({}, {"smooth": False, "choice": "Y"})
    copy.load({"scale": 2, "unit": 1})
    assert copy.data == {"scale": 2.0, "unit": 1}


def test_options_keep_what_they_cannot_read_out(caplog: Any) -> None:
    options = tree(smooth="yes", unit=1.5, scale=None, choice="unknown", gone=1, not_part_of_it="x")
    assert options.data == {}
    assert sum("cannot take the stored value" in entry for entry in logged(caplog)) == 5
    options.load("no map")
    assert options.data == {}
    with pytest.raises(core.Error.ParameterInputType):
        P.Options("a", contents=["x"])
    with pytest.raises(core.Error.ParameterInputType):
        P.Group("a", [None])


def test_nodes_of_a_tree_are_told_apart() -> None:
    derived = type("Seconds", (P.IntRange,), {})("a")
    nodes = [P.Group(), P.Switch("a"), P.IntRange("a"), P.FloatRange("a"), combo("x"), derived]
    tests = ["is_group", "is_input", "is_switch", "is_integer", "is_float", "is_combobox"]
    answers = [[name for name in tests if getattr(P.Options, name)(node)] for node in nodes]
    assert answers == [
        ["is_group"],
        ["is_input", "is_switch"],
        ["is_input", "is_integer"],
        ["is_input", "is_float"],
        ["is_input", "is_combobox"],
        ["is_input", "is_integer"],
    ]
    assert not any(getattr(P.Options, name)(object()) for name in tests)


def test_deep_groups_are_refused() -> None:
    group = P.Group("", [P.Switch("a")])
    for _ in range(1_000):
        group = P.Group("", [group])
    with pytest.raises(RecursionError):
        P.Options("a", contents=[group])
    with pytest.raises(RecursionError):
        group.clone()
