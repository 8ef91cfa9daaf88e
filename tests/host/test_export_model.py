"""The model of an export: its formats."""

from __future__ import annotations

from types import SimpleNamespace

import pytest

import core

Parameters = core.Parameters


class Obj(Parameters.Options):
    def __init__(self) -> None:
        super().__init__("obj", "Wavefront", contents=[Parameters.IntRange("digits", value=6)])


def test_formats_are_option_trees() -> None:
    for wrong in ("fbx", [None], [SimpleNamespace(attr="fbx")], [int], [Parameters.Switch("a")]):
        with pytest.raises(AssertionError):
            core._Export.Options(wrong)
    fbx = Parameters.Options("fbx", "Filmbox")
    options = core._Export.Options([fbx, Obj])
    assert options.selected is fbx and isinstance(list(options)[1], Obj)
    for key, attr in [("obj", "obj"), ("Filmbox", "fbx"), ("Wavefront", "obj"), ("none", "fbx")]:
        options.select(key)
        assert options.selected.attr == attr
    options.select(list(options)[1])
    list(options)[1]._parameters["digits"].value = 3
    data = {"formats": {"fbx": {}, "obj": {"digits": 3}}, "selected": "obj"}
    clone = options.clone()
    assert options.data == clone.data == data
    options.load({"selected": "gone"})
    assert options.data == {"formats": {"fbx": {}, "obj": {}}, "selected": "fbx"}
    assert clone.data == data and clone.selected.attr == "obj"
