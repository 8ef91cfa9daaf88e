"""The animations of an export: what moves its nodes, and nothing else."""

from __future__ import annotations

import re
from typing import Any

from kavel.gltf.exporting.chosen import Chosen
from kavel.gltf.exporting.references import POINTER, dicts, entries_of, extensions
from kavel.gltf.exporting.work import Work

_POINTER = re.compile(
    r"/(nodes|materials|meshes|cameras|textures|images|skins|extensions/\w+/\w+)/(\d{1,9})(/.*)?\Z",
    re.DOTALL,
)
_PLACEMENT = ("translation", "rotation", "scale")


def moved_nodes(work: Work) -> set[int]:
    """The nodes whose placement is animated."""
    found: set[int] = set()
    for animation in entries_of(work.document, "animations"):
        for channel in dicts(animation, "channels"):
            target = _target(channel)
            if target.get("path") in _PLACEMENT and type(target.get("node")) is int:
                found.add(target["node"])
            pointed = pointed_at(channel)
            if pointed and pointed[0] == "nodes" and pointed[2][1:] in _PLACEMENT:
                found.add(pointed[1])
    return found


def pointed_at(channel: dict[str, Any]) -> tuple[str, int, str] | None:
    """The kind and index of what an animation pointer leads to, and the rest of the pointer; none
    for a channel without a pointer, or with one that is not understood."""
    match = _POINTER.match(pointer(channel) or "")
    return (match[1], int(match[2]), match[3] or "") if match else None


def pointer(channel: dict[str, Any]) -> str | None:
    extension = extensions(_target(channel)).get(POINTER)
    text = extension.get("pointer") if isinstance(extension, dict) else None
    return text if isinstance(text, str) else None


def repointed(channel: dict[str, Any], index: int) -> None:
    """Let the pointer of a channel, which `pointed_at` understands, lead to another index."""
    found = pointed_at(channel)
    assert found is not None
    target = channel["target"]["extensions"][POINTER]
    target["pointer"] = f"/{found[0]}/{index}{found[2]}"


def only_channels(animation: dict[str, Any], channels: list[Any]) -> dict[str, Any]:
    """A copy of an animation with these of its channels, and the samplers that they use."""
    samplers = animation.get("samplers")
    samplers = samplers if isinstance(samplers, list) else []
    used = sorted({index for channel in channels if type(index := channel.get("sampler")) is int})
    used = [index for index in used if 0 <= index < len(samplers)]
    place = {old: new for new, old in enumerate(used)}
    sound = [item for item in channels if type(item.get("sampler")) is int]
    sound = [item for item in sound if item["sampler"] in place]
    return {
        **animation,
        "channels": [{**channel, "sampler": place[channel["sampler"]]} for channel in sound],
        "samplers": [samplers[index] for index in used],
    }


def chosen_animations(work: Work, chosen: Chosen) -> list[dict[str, Any]]:
    """The animations of written nodes; those with pointers to other things keep these channels for
    now, see `kavel.gltf.exporting.reduced`."""
    result = []
    for number, animation in enumerate(work.look.entries(work.document, "animations", "")):
        _note_lost(work, animation, chosen, f"animations[{number}]")
        channels = [item for item in dicts(animation, "channels") if _concerns(item, chosen)]
        reduced = only_channels(animation, channels)
        if reduced["channels"]:
            result.append(reduced)
    return result


def _note_lost(work: Work, animation: dict[str, Any], chosen: Chosen, place: str) -> None:
    """Tell which channels `only_channels` will leave out for their samplers."""
    channels, samplers = animation.get("channels"), animation.get("samplers")
    known = len(samplers) if isinstance(samplers, list) else 0
    for position, channel in enumerate(channels if isinstance(channels, list) else []):
        if not isinstance(channel, dict) or not _concerns(channel, chosen):
            continue
        index = channel.get("sampler")
        if type(index) is not int or not 0 <= index < known:
            there = f"is not one of 0 to {known - 1}" if known else "leads nowhere: there is none"
            work.note(f"{place}.channels[{position}] is left out, because its sampler {there}")


def _concerns(channel: dict[str, Any], chosen: Chosen) -> bool:
    if pointer(channel) is not None:
        found = pointed_at(channel)
        return found is None or found[0] != "nodes" or found[1] in chosen
    target = _target(channel)
    node = target.get("node")
    if target.get("path") == "weights":  # they belong to the node's mesh, which a bare one leaves
        return type(node) is int and node in chosen.whole
    return type(node) is int and node in chosen


def _target(channel: dict[str, Any]) -> dict[str, Any]:
    target = channel.get("target")
    return target if isinstance(target, dict) else {}
