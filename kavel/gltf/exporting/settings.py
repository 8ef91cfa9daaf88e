"""What an export is asked for: the formats with their options, and the values of one export."""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass, fields
from typing import Any

GLB, GLTF = "glb", "gltf"
FORMATS = (GLB, GLTF)

BAKE, KEEP, DROP = "Bake", "Keep", "Drop"
_CHOICES = {"up_axis": ("Y", "Z"), "parents": (BAKE, KEEP), "extensions": (KEEP, DROP)}


@dataclass(frozen=True)
class Settings:
    """The values of one format's options; `embed` is one of "gltf" only."""

    embed: bool = False
    extras: bool = True
    animations: bool = True
    extensions: str = KEEP
    parents: str = BAKE
    up_axis: str = "Y"
    scale: float = 1.0
    keep_positions: bool = False


def read_settings(format: str, args: Mapping[str, Any]) -> Settings:
    """The settings of a mapping from options to values; what is missing has its default.

    Errors: ValueError for an option that the format does not have, or a value that it cannot have.
    """
    kinds = {field.name: type(field.default) for field in fields(Settings)}
    if format != GLTF:
        del kinds["embed"]
    found: dict[str, Any] = {}
    for name, value in args.items():
        kind = kinds.get(name)
        if kind is None:
            raise ValueError(f"{format} files have no option {name!r}")
        if kind is float and type(value) is int:
            value = float(value)
        choices = _CHOICES.get(name)
        if type(value) is not kind or choices and value not in choices:
            raise ValueError(f"{value!r} is no value of the option {name!r}")
        found[name] = value
    result = Settings(**found)
    if not 0 < result.scale < float("inf"):
        raise ValueError(f"a scene cannot be scaled by {result.scale}")
    return result


def export_formats() -> list[Any]:
    """The formats that can be written, as the core shows them to users: a list of
    `core.Parameters.Options`, new each time."""
    return [
        _format(GLB, "Binary glTF", "One .glb file that holds everything.", []),
        _format(GLTF, "glTF", "A .gltf text, with a .bin and images beside it.", [_embed()]),
    ]


def _format(attr: str, label: str, help_text: str, own: list[Any]) -> Any:
    from core import Parameters

    content = [
        *own,
        Parameters.Switch(
            "extras", True, "Extras", 'Keep what other programs noted in the fields "extras".'
        ),
        Parameters.Switch(
            "animations", True, "Animations", "Write the animations of what is exported."
        ),
        _choice(
            "extensions",
            "Unknown extensions",
            "Keep extensions that this program does not know as they are, or leave them out.",
        ),
    ]
    placement = [
        _choice("up_axis", "Up axis", "Z turns every top object by 90 degrees around x."),
        Parameters.FloatRange(
            "scale",
            minimum=0.0001,
            maximum=10000.0,
            step=0.1,
            precision=4,
            value=1.0,
            label="Scale",
            help_text="Scales every top object.",
        ),
        _choice(
            "parents",
            "Parents",
            "Where an exported object has parents that are not exported: bake their placement into "
            "it, or keep them as empty objects.",
        ),
        Parameters.Switch(
            "keep_positions",
            False,
            "Keep positions",
            "Resetting transforms leaves positions alone, as they are pivots.",
        ),
    ]
    groups = [Parameters.Group("Content", content), Parameters.Group("Placement", placement)]
    return Parameters.Options(attr, label, help_text, groups)


def _embed() -> Any:
    from core import Parameters

    help_text = "Put buffers and images into the text instead of files beside it."
    return Parameters.Switch("embed", False, "Embed", help_text)


def _choice(attr: str, label: str, help_text: str) -> Any:
    from core import Parameters

    items = [Parameters.ComboBox.Item(text.lower(), text) for text in _CHOICES[attr]]
    return Parameters.ComboBox(attr, items, label, help_text)
