"""Materials and the sizes of their images."""

from __future__ import annotations

import io
import re
import struct
import warnings
from collections.abc import Iterator
from contextlib import contextmanager
from typing import Any

from PIL import Image as Pillow

from kavel.errors import SceneError
from kavel.gltf.buffers import Buffers
from kavel.gltf.lookup import Lookup
from kavel.view import Image, Material

_WORDS = re.compile(r"(?<=[a-z])(?=[A-Z])")
_KTX2 = b"\xabKTX 20\xbb\r\n\x1a\n"


class Materials:
    """Materials by index, made once each. Images that cannot be read are `missing`, not an error.

    Errors: SceneError with the place when indices lead nowhere.
    """

    def __init__(self, lookup: Lookup, buffers: Buffers) -> None:
        self._lookup = lookup
        self._buffers = buffers
        self._materials: dict[int, Material] = {}
        self._images: dict[int, Image] = {}

    def material(self, index: Any, place: str) -> Material:
        """`place` is where the index stands."""
        entry = self._lookup.entry("materials", index, place)
        if index not in self._materials:
            spot = f"materials[{index}]"
            images = {
                use: self._texture(texture, where) for use, texture, where in _textures(entry, spot)
            }
            self._materials[index] = Material(_name(entry, spot), images, index)
        return self._materials[index]

    def uv_sets(self, index: Any, place: str) -> set[str]:
        """The names of the UV sets that the textures of a material are mapped with."""
        entry = self._lookup.entry("materials", index, place)
        look, found = self._lookup, set()
        for _, texture, spot in _textures(entry, f"materials[{index}]"):
            extensions = look.mapping(texture, "extensions", spot)
            moved = look.mapping(extensions, "KHR_texture_transform", f"{spot}.extensions")
            found.add(f"TEXCOORD_{moved.get('texCoord', texture.get('texCoord', 0))}")
        return found

    def _texture(self, reference: dict[str, Any], place: str) -> Image:
        look = self._lookup
        texture = look.entry("textures", reference.get("index"), f"{place}.index")
        spot = f"textures[{reference['index']}]"
        # A format that needs an extension stands beside the plain one, or in place of it.
        extensions = look.mapping(texture, "extensions", spot).values()
        sources = [
            item["source"] for item in extensions if isinstance(item, dict) and "source" in item
        ]
        source = sources[0] if sources else texture.get("source")
        if source is None:
            return Image(_name(texture, spot), missing=True)
        image = look.entry("images", source, f"{spot}.source")
        if source not in self._images:
            self._images[source] = self._image(image, f"images[{source}]")
        return self._images[source]

    def _image(self, image: dict[str, Any], place: str) -> Image:
        uri = image.get("uri")
        name = _name(image, place)
        try:
            if isinstance(uri, str):
                name = name if image.get("name") or uri[:5].lower() == "data:" else uri
                data = self._buffers.file_bytes(uri, f"{place}.uri")
            else:
                data = self._buffers.view(image.get("bufferView"), f"{place}.bufferView").data
            return Image(name, *_size(data))
        except (SceneError, OSError, ValueError, SyntaxError, struct.error):
            return Image(name, missing=True)


def _textures(entry: dict[str, Any], place: str) -> Iterator[tuple[str, dict[str, Any], str]]:
    """(use, reference, its place) of every texture of a material, those of extensions included."""
    owners = [(entry, place)]
    for owner, spot in owners:
        for key, value in owner.items():
            if not isinstance(value, dict):
                continue
            if key.endswith("Texture"):
                words = _WORDS.sub(" ", key[: -len("Texture")]).lower()
                yield words, value, f"{spot}.{key}"
            elif key == "pbrMetallicRoughness":
                owners.append((value, f"{spot}.{key}"))
            elif key == "extensions":
                owners += [
                    (item, f"{spot}.{key}.{name}")
                    for name, item in value.items()
                    if isinstance(item, dict)
                ]


def _size(data: bytes) -> tuple[int, int]:
    """Width and height in pixels. Errors: OSError and others for what is no image."""
    if data.startswith(_KTX2):
        size: tuple[int, int] = struct.unpack_from("<II", data, 20)
        return size
    with _any_size(), Pillow.open(io.BytesIO(data)) as image:
        return image.width, image.height


@contextmanager
def _any_size() -> Iterator[None]:
    """Only the header is read, so an image that is too large to be decoded does no harm."""
    limit, Pillow.MAX_IMAGE_PIXELS = Pillow.MAX_IMAGE_PIXELS, None
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            yield
    finally:
        Pillow.MAX_IMAGE_PIXELS = limit


def _name(entry: dict[str, Any], place: str) -> str:
    name = entry.get("name")
    return name if isinstance(name, str) else ""
