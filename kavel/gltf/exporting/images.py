"""Where the images of an export go: into the file, or into files of their own."""

from __future__ import annotations

import re
from dataclasses import dataclass
from typing import Any

from kavel.errors import SceneError
from kavel.gltf.exporting.work import Work

# By their first bytes: the type that a document names, and how such files are named.
_SIGNATURES = (
    (b"\x89PNG\r\n\x1a\n", "image/png", ".png"),
    (b"\xff\xd8\xff", "image/jpeg", ".jpg"),
    (b"RIFF....WEBP", "image/webp", ".webp"),
    (b"\xabKTX 20\xbb", "image/ktx2", ".ktx2"),
    (b"DDS ", "image/vnd-ms.dds", ".dds"),
    (b"....ftypavif", "image/avif", ".avif"),
)
_UNSAFE = re.compile(r"[^\w.-]+")


@dataclass
class ImageFile:
    """An image that becomes a file. `index` is its number in the document, where it is to get a
    URI; `name` what the file is called after, with the ending of its kind."""

    index: int
    name: str
    data: bytes


def place_images(work: Work, images: list[int], as_files: bool) -> list[ImageFile]:
    """Take the images with these indices out of other files, and with `as_files` out of buffers.

    An image that cannot be read is left as it is, with a note, and so is a file that is no image of
    a known kind: a scene of somebody else could name any file of this machine.
    """
    files = []
    for index in images:
        entry = work.document["images"][index]
        if "uri" not in entry and not as_files:
            continue
        data = _read(work, entry, index)
        if data is None:
            continue
        known = _known_kind(data)
        if known is None and _is_file(entry):
            work.note(
                f"an image is referred to as before: images[{index}].uri: "
                f"{entry['uri']} is no image of a known kind"
            )
            continue
        given = entry.get("mimeType")
        kind, ending = known or (given if isinstance(given, str) else "", ".img")
        entry = {key: value for key, value in entry.items() if key not in ("uri", "bufferView")}
        if kind:
            entry["mimeType"] = kind
        _replace(work, index, entry)
        if as_files:
            files.append(ImageFile(index, _file_name(entry, index) + ending, data))
        else:
            entry["bufferView"] = work.blob(data)
    return files


def _read(work: Work, entry: dict[str, Any], index: int) -> bytes | None:
    place, uri = f"images[{index}]", entry.get("uri")
    try:
        if isinstance(uri, str):
            return work.buffers.file_bytes(uri, f"{place}.uri")
        return work.buffers.view(entry.get("bufferView"), f"{place}.bufferView").data
    except SceneError as error:
        work.note(f"an image is referred to as before: {error.place}: {error.message}")
        return None


def _replace(work: Work, index: int, entry: dict[str, Any]) -> None:
    images = work.document["images"] = list(work.document["images"])
    images[index] = entry


def _is_file(entry: dict[str, Any]) -> bool:
    uri = entry.get("uri")
    return isinstance(uri, str) and uri[:5].lower() != "data:"


def _known_kind(data: bytes) -> tuple[str, str] | None:
    for start, kind, ending in _SIGNATURES:
        if re.match(re.escape(start).replace(rb"\.", b"."), data[:16], re.DOTALL):
            return kind, ending
    return None


def _file_name(entry: dict[str, Any], index: int) -> str:
    name = entry.get("name")
    safe = _UNSAFE.sub("_", name).strip("._")[:80] if isinstance(name, str) else ""
    return safe or f"image{index}"
