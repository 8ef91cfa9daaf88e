"""The document of an export: the chosen nodes with all they need, numbered anew."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

from kavel.gltf.exporting.animations import (
    chosen_animations,
    only_channels,
    pointed_at,
    pointer,
    repointed,
)
from kavel.gltf.exporting.chosen import Chosen
from kavel.gltf.exporting.images import ImageFile, place_images
from kavel.gltf.exporting.reach import Reach, copied, extension_names
from kavel.gltf.exporting.references import KINDS, LOD, entries_of, extensions, is_known
from kavel.gltf.exporting.settings import KEEP, Settings
from kavel.gltf.exporting.work import Work
from kavel.versions import versions

_COVERAGE = "MSFT_screencoverage"  # a field of extras that belongs to the extension MSFT_lod


@dataclass
class Reduced:
    """`document` has everything but buffers. views: the old number of each buffer view.
    images: those that are to become files of their own."""

    document: dict[str, Any]
    views: list[int]
    images: list[ImageFile]


def reduce(work: Work, chosen: Chosen, settings: Settings, image_files: bool) -> Reduced:
    """Errors: SceneError with the place for an index that leads nowhere."""
    return _Reduction(work, chosen, settings).run(image_files)


class _Reduction:
    def __init__(self, work: Work, chosen: Chosen, settings: Settings) -> None:
        self._work, self._chosen, self._settings = work, chosen, settings
        self._reach = Reach(work)

    def run(self, image_files: bool) -> Reduced:
        work, reach = self._work, self._reach
        self._reduce_nodes()
        self._reduce_skins()
        for top in self._chosen.tops:
            reach.follow("nodes", top, "scenes[0].nodes")
        self._reduce_animations()
        asset = self._asset()
        outer = self._outer_extensions()
        reach.follow_entry("asset", asset, "asset")
        files = place_images(work, sorted(reach.kept.get("images", ())), image_files)
        reach.follow_images()
        numbers = reach.numbers("images")
        for file in files:
            file.index = numbers[file.index]
        document = self._assembled(asset, outer)
        return Reduced(document, sorted(reach.kept.get("bufferViews", ())), files)

    def _reduce_nodes(self) -> None:
        nodes = self._work.document["nodes"]
        for index in self._chosen.whole | self._chosen.bare:
            node = nodes[index]
            bare = index in self._chosen.bare and index not in self._chosen.whole
            if bare:
                kept = ("name", "translation", "rotation", "scale", "matrix", "extras", "children")
                node = {key: node[key] for key in kept if key in node}
            children = [
                child
                for child in node.get("children", [])
                if self._chosen.parents.get(child) == index
            ]
            node = {key: value for key, value in node.items() if key != "children"}
            nodes[index] = {**node, "children": children} if children else node

    def _reduce_skins(self) -> None:
        """A skeleton's root is only a hint, and left out where the root is not written."""
        skins = list(entries_of(self._work.document, "skins"))
        for index, skin in enumerate(skins):
            if isinstance(skin, dict) and skin.get("skeleton", -1) not in self._chosen:
                skins[index] = {key: value for key, value in skin.items() if key != "skeleton"}
        self._work.document["skins"] = skins

    def _reduce_animations(self) -> None:
        work, reach = self._work, self._reach
        found = chosen_animations(work, self._chosen) if self._settings.animations else []
        kept = []
        for animation in found:
            channels = [item for item in animation["channels"] if self._is_there(item)]
            reduced = only_channels(animation, channels)
            if reduced["channels"]:
                kept.append(reduced)
        work.document["animations"] = kept
        for index in range(len(kept)):
            reach.follow("animations", index, "animations")

    def _is_there(self, channel: dict[str, Any]) -> bool:
        if pointer(channel) is None:
            return True
        found = pointed_at(channel)
        if found is None:
            self._work.note(f"the animation of {pointer(channel)} is kept without being understood")
            return True
        return found[1] in self._reach.kept.get(found[0], ())

    def _asset(self) -> dict[str, Any]:
        source = self._work.document["asset"]
        asset = {key: value for key, value in source.items() if key not in ("extras", "generator")}
        extras = source.get("extras")
        if isinstance(extras, dict):  # what this program embeds tells of the whole scene
            extras = {key: value for key, value in extras.items() if key != "kavel"}
        if extras and self._settings.extras:
            asset["extras"] = extras
        return {"generator": f"Kavel {versions()['kavel']}", **asset}

    def _outer_extensions(self) -> dict[str, Any]:
        """Extensions of the whole document, unless what they hold is renumbered or left out."""
        document = self._work.document
        default = document.get("scene", 0)
        for index, scene in enumerate(entries_of(document, "scenes")):
            if index == default and isinstance(scene, dict):
                names = [name for name in extensions(scene) if name != "KHR_xmp_json_ld"]
                if names:
                    self._work.note(f"the scene's {', '.join(names)} is left out")
        return {name: value for name, value in extensions(document).items() if not is_known(name)}

    def _assembled(self, asset: dict[str, Any], outer: dict[str, Any]) -> dict[str, Any]:
        entries = {
            kind: [self._copied(kind, index) for index in sorted(found)]
            for kind, found in self._reach.kept.items()
        }
        unknown = self._settings.extensions == KEEP
        scene = {"nodes": list(self._chosen.tops)}
        held: dict[str, list[Any]] = {
            "asset": [copied(asset, self._settings.extras, unknown)],
            "scenes": [scene],
        }
        self._repoint(entries.get("animations", []))
        self._reach.renumbered({**entries, **held})
        result: dict[str, Any] = {"asset": held["asset"][0]}
        outside: dict[str, Any] = copied(outer, self._settings.extras, True) if unknown else {}
        for kind, items in entries.items():
            if "/" in kind:
                _, name, key = kind.split("/")
                outside[name] = {**self._own_fields(name, key), key: items}
        document = {"scene": 0, "scenes": [scene]}
        document.update((kind, entries[kind]) for kind in KINDS if entries.get(kind))
        if "extras" in self._work.document and self._settings.extras:
            document["extras"] = copied(self._work.document["extras"], True, True)
        if outside:
            document["extensions"] = outside
        result.update(self._declared({**document, "asset": asset}))
        return {**result, **document}

    def _own_fields(self, name: str, key: str) -> dict[str, Any]:
        """What an extension of the document holds beside the array `key`."""
        content = extensions(self._work.document)[name]
        return {other: value for other, value in content.items() if other != key}

    def _copied(self, kind: str, index: int) -> Any:
        source = self._reach.entry(kind, index, kind)
        extras, unknown = self._settings.extras, self._settings.extensions == KEEP
        result = copied(source, extras, unknown)
        held = source.get("extras")
        if LOD in extensions(source) and isinstance(held, dict) and _COVERAGE in held:
            result.setdefault("extras", {_COVERAGE: held[_COVERAGE]})
        return result

    def _repoint(self, animations: list[Any]) -> None:
        for animation in animations:
            for channel in animation["channels"]:
                found = pointed_at(channel)
                if found is not None:
                    repointed(channel, self._reach.numbers(found[0])[found[1]])

    def _declared(self, document: dict[str, Any]) -> dict[str, Any]:
        """The names of the extensions in use; one that shows nowhere in the source is kept, for
        example KHR_mesh_quantization, which only allows other types of numbers."""
        source, used = self._work.document, extension_names(document)
        self._warn(used)
        result = {}
        everywhere: dict[str, bool] | None = None
        for key in ("extensionsUsed", "extensionsRequired"):
            names = [name for name in entries_of(source, key) if isinstance(name, str)]
            if everywhere is None and any(name not in used for name in names):
                everywhere = extension_names(source)
            kept = [name for name in names if name in used or name not in (everywhere or used)]
            if self._settings.extensions != KEEP:
                kept = [name for name in kept if is_known(name)]
            if kept:
                result[key] = kept
        return result

    def _warn(self, used: dict[str, bool]) -> None:
        unknown = [name for name, numbered in used.items() if numbered and not is_known(name)]
        if unknown and not self._reach.all_kept():
            self._work.note(
                f"{', '.join(unknown)} is kept as it is, but may refer to what has another number "
                "now, or is not there"
            )
