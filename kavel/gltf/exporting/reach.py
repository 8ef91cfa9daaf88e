"""What of a document is in use, and the document with only that."""

from __future__ import annotations

from collections.abc import Iterable
from functools import partial
from typing import Any, Callable, Union

from kavel.gltf.exporting.references import KINDS, Slot, entries_of, is_known, slots
from kavel.gltf.exporting.work import Work

# Their data finds its place when it is known which images are in use.
_LATER = ("images",)

_HOLD = (dict, list)
_Place = Union[str, Callable[[], str]]  # worked out only where it is told


class Reach:
    """Collects the entries that are in use, by kind, and numbers them anew in their old order.

    Errors of all operations: SceneError with the place for an index that leads nowhere.
    """

    def __init__(self, work: Work) -> None:
        self._work = work
        self._source = dict(work.document)  # with the numbers of the file: animations get others
        self.kept: dict[str, set[int]] = {}

    def follow(self, kind: str, index: Any, place: _Place) -> None:
        """An entry is in use, and so is all that it refers to."""
        stack: list[tuple[str, Any, _Place]] = [(kind, index, place)]
        while stack:
            kind, index, place = stack.pop()
            entry = self.entry(kind, index, place)
            found = self.kept.setdefault(kind, set())
            if index in found:
                continue
            found.add(index)
            if kind == "meshes":
                self._require_sound(entry, f"meshes[{index}]")
            if kind not in _LATER:
                stack += self._references(kind, index, entry)

    def follow_entry(self, kind: str, entry: Any, place: str) -> None:
        """What an entry refers to is in use."""
        for slot in slots(kind, entry):
            self.follow(slot.kind, slot.owner[slot.key], f"{place}.{slot.key}")

    def follow_images(self) -> None:
        """Now also follow the images that were found; see `kavel.gltf.exporting.images`."""
        for index in sorted(self.kept.get("images", ())):
            entry = self.entry("images", index, "images")
            self.follow_entry("images", entry, f"images[{index}]")

    def entry(self, kind: str, index: Any, place: _Place) -> dict[str, Any]:
        entries = entries_of(self._work.document, kind)
        if type(index) is not int or not 0 <= index < len(entries):
            last = len(entries) - 1
            place = place if isinstance(place, str) else place()
            raise self._work.error(place, f"index {index} of {kind} is not one of 0 to {last}")
        if not isinstance(entries[index], dict):
            raise self._work.error(f"{kind}[{index}]", "is not an object")
        return entries[index]  # type: ignore[no-any-return]

    def _references(
        self, kind: str, index: int, entry: dict[str, Any]
    ) -> Iterable[tuple[str, Any, _Place]]:
        for slot in slots(kind, entry):
            yield slot.kind, slot.owner[slot.key], partial(self._place, kind, index, entry, slot)

    def _place(self, kind: str, index: int, entry: Any, slot: Slot) -> str:
        """Where a slot stands in the file, such as "meshes[0].primitives[0].indices"."""
        places = [(number, item) for number, item in enumerate(entries_of(self._source, kind))]
        for number, item in [*places, (index, entry)]:
            way = _way(item, slot.owner)
            if way is not None:
                return f"{kind.replace('/', '.')}[{number}]{way}{_step(slot.owner, slot.key)}"
        return f"{kind}[{index}]"

    def _require_sound(self, mesh: dict[str, Any], place: str) -> None:
        """What is no array or object would be written as it is, and the geometry be lost.

        Errors: SceneError with the place.
        """
        look = self._work.look
        for position, primitive in enumerate(look.entries(mesh, "primitives", place)):
            spot = f"{place}.primitives[{position}]"
            look.mapping(primitive, "attributes", spot)
            look.entries(primitive, "targets", spot)

    def numbers(self, kind: str) -> dict[int, int]:
        """The new number of each entry in use, by its old one."""
        return {old: new for new, old in enumerate(sorted(self.kept.get(kind, ())))}

    def renumbered(self, entries: dict[str, list[Any]]) -> None:
        """Let every index in these entries, by kind, be the new one. They must be copies."""
        numbers = {kind: self.numbers(kind) for kind in self.kept}
        for kind, items in entries.items():
            for item in items:
                for slot in list(slots(kind, item)):
                    slot.owner[slot.key] = numbers[slot.kind][slot.owner[slot.key]]

    def all_kept(self) -> bool:
        """Whether nothing was left out, so that every index is what it was."""
        kinds = {*KINDS, *self.kept}
        return all(
            len(self.kept.get(kind, ())) == len(entries_of(self._work.document, kind))
            for kind in kinds
        )


def _way(content: Any, owner: Any) -> str | None:
    """The steps from `content` down to the very object or array `owner`; none where it is not."""
    stack = [(content, "")]
    while stack:
        value, way = stack.pop()
        if value is owner:
            return way
        items: Iterable[tuple[Any, Any]] = ()
        if isinstance(value, dict):
            items = value.items()
        elif isinstance(value, list):
            items = enumerate(value)
        stack += [(item, way + _step(value, key)) for key, item in items if isinstance(item, _HOLD)]
    return None


def _step(owner: Any, key: Any) -> str:
    return f"[{key}]" if isinstance(owner, list) else f".{key}"


def copied(value: Any, extras: bool, unknown: bool) -> Any:
    """A deep copy of JSON data; without the fields "extras", and without unknown extensions, unless
    they are wanted."""
    if isinstance(value, list):
        return [copied(item, extras, unknown) for item in value]
    if not isinstance(value, dict):
        return value
    result = {}
    for key, item in value.items():
        if key == "extras" and not extras:
            continue
        if key == "extensions" and isinstance(item, dict):
            item = {name: content for name, content in item.items() if unknown or is_known(name)}
            if not item:
                continue
        result[key] = copied(item, extras, unknown)
    return result


def extension_names(value: Any) -> dict[str, bool]:
    """The extensions that JSON data uses, in order, and whether any use of each holds a whole
    number, which might be an index."""
    found: dict[str, bool] = {}
    stack = [value]
    while stack:
        item = stack.pop()
        if isinstance(item, list):
            stack += reversed(item)
        elif isinstance(item, dict):
            used = item.get("extensions")
            if isinstance(used, dict):
                for name, content in used.items():
                    found[name] = found.get(name, False) or _has_number(content)
            stack += [content for key, content in reversed(item.items()) if key != "extras"]
    return found


def _has_number(value: Any) -> bool:
    stack = [value]
    while stack:
        item = stack.pop()
        if type(item) is int:
            return True
        if isinstance(item, (dict, list)):
            stack += item.values() if isinstance(item, dict) else item
    return False
