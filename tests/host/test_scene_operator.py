"""The bases that hosts derive from, and which host is recognised."""

from __future__ import annotations

import abc
import enum
import sys
import types
from typing import Any, ClassVar

import pytest

import core

OPERATIONS = [name for name in vars(core.Scene.Operator) if not name.startswith("_")]
KNOWN = ("bpy", "maya", "maya.cmds", "MaxPlus", "pymxs")


def test_abstract_operations_name_themselves() -> None:
    operator = core.Scene.Operator()
    queries = ["object_exists", "get_type", "get_parent", "get_children"]
    concrete = {"TYPE_MAPPING", "type_mapping", "map_type"}
    for name in queries + [name for name in OPERATIONS if name not in concrete]:
        with pytest.raises(NotImplementedError, match=name):
            getattr(operator, name)("argument")


class Kind(str, enum.Enum):
    """Texts that print themselves in another way than their characters."""

    MESH = "mesh"


@pytest.mark.parametrize(
    "table",
    [types.MappingProxyType({"m": "mesh"}), {"m": Kind.MESH}, {core._str("m"): core._str("mesh")}],
    ids=["read-only", "enumeration", "unified"],
)
def test_type_mapping_takes_the_characters_of_any_mapping(table: Any) -> None:
    mapping = core.TypeMapping(table)
    assert (mapping.get("m"), mapping.exist("mesh")) == ("mesh", True)
    assert core._str(Kind.MESH) == "mesh"
    assert core._format("{}, {}", Kind.MESH, 3) == "mesh, 3"


def test_properties_may_be_plain_attributes_of_an_instance() -> None:
    class Host(core.Scene.Operator, core.Environment):
        def __init__(self) -> None:
            self.target, self.scope = "maya", "studio"
            self.type_mapping = core.TypeMapping({"m": "mesh"})

    host = Host()
    assert (host.target, host.scope, host.map_type("m")) == ("maya", "studio", "mesh")


@pytest.mark.parametrize("forgetful", [False, True])
def test_type_mapping_of_a_host_with_mixins(forgetful: bool) -> None:
    class Mixin(abc.ABC, dict):  # type: ignore[type-arg]
        """Another metaclass and another layout than the base's."""

    class Host(core.Scene.Operator, Mixin):
        TYPE_MAPPING: ClassVar = {"mesh_node": "mesh"}

        def __init__(self) -> None:
            if not forgetful:
                super().__init__()

    host = Host()
    assert (host.map_type("mesh_node"), host.map_type("camera")) == ("mesh", None)
    assert host.type_mapping.exist("mesh")
    assert host.type_mapping is host.type_mapping


@pytest.mark.parametrize(
    ("modules", "expected"),
    [
        ((), "Unknown"),
        (("bpy", "pymxs"), "Blender"),
        (("maya", "maya.cmds"), "Maya"),
        (("MaxPlus", "pymxs"), "3dsMax"),
        (("pymxs",), "3dsMax"),
    ],
)
def test_detect(modules: tuple[str, ...], expected: str, monkeypatch: pytest.MonkeyPatch) -> None:
    for name in KNOWN:
        # None in the table makes the import fail, also where the real module is installed.
        module = types.ModuleType(name) if name in modules else None
        monkeypatch.setitem(sys.modules, name, module)
    assert core._Software.detect() == expected


def test_detect_passes_other_errors(monkeypatch: pytest.MonkeyPatch) -> None:
    class Broken:
        def find_spec(self, name: str, path: object, target: object = None) -> None:
            if name == "bpy":
                raise OSError("broken installation")

    monkeypatch.delitem(sys.modules, "bpy", raising=False)
    monkeypatch.setattr(sys, "meta_path", [Broken(), *sys.meta_path])
    with pytest.raises(OSError, match="broken"):
        core._Software.detect()


def test_named_buffer_is_a_list() -> None:
    source = ["a", "b"]
    buffer = core.Structure.NamedBuffer("found", iter(source))
    assert (buffer, buffer.name, buffer.length) == (source, "found", 2)
    assert isinstance(buffer, list)
    assert (buffer.has_issues(), buffer.is_empty()) == (True, False)
    buffer.clear()
    assert (buffer, buffer.has_issues(), buffer.is_empty()) == ([], False, True)
    assert core.Structure.NamedBuffer().name == ""
