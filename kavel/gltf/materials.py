"""Materials and the sizes of their images."""

from __future__ import annotations

import io
import re
import struct
import warnings
from collections.abc import Iterator
from contextlib import contextmanager
from functools import partial
from typing import Any

from PIL import Image as Pillow

from kavel.errors import SceneError
from kavel.gltf.buffers import Buffers
from kavel.gltf.lookup import Lookup
from kavel.view import Image, Material

_WORDS = re.compile(r"(?<=[a-z])(?=[A-Z])")
# The size of an image stands at its beginning, apart from odd ones with long notes before it.
_BEGINNING, _LARGEST = 1 << 20, 1 << 28
_NO_IMAGE = (SceneError, OSError, ValueError, SyntaxError, struct.error)
_KTX2 = b"\xabKTX 20\xbb\r\n\x1a\n"


class Materials:
    """Materials by index, made once each. An image whose index leads nowhere is `missing`, and one
    that cannot be read `unreadable`; neither is an error. Unnamed images are named by their index.

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
            self._materials[index] = Material(_name(entry), images, index)
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
        look, number = self._lookup, reference.get("index")
        try:
            texture = look.entry("textures", number, f"{place}.index")
        except SceneError:
            return Image(f"texture {number}", missing=True, handle=place)
        spot = f"textures[{number}]"
        # A format that needs an extension stands beside the plain one, or in place of it.
        extensions = look.mapping(texture, "extensions", spot).values()
        sources = [
            item["source"] for item in extensions if isinstance(item, dict) and "source" in item
        ]
        source = sources[0] if sources else texture.get("source")
        if source is None:
            return Image(_name(texture) or f"texture {number}", missing=True, handle=spot)
        try:
            image = look.entry("images", source, f"{spot}.source")
        except SceneError:
            return Image(f"image {source}", missing=True, handle=spot)
        if source not in self._images:
            self._images[source] = self._image(image, source)
        return self._images[source]

    def _image(self, image: dict[str, Any], index: int) -> Image:
        uri, place = image.get("uri"), f"images[{index}]"
        name = _name(image)
        outside = isinstance(uri, str) and uri[:5].lower() != "data:"
        if outside:
            name = name or str(uri)
        # Several images may name one file, which is then one texture.
        image_of: Any = partial(Image, name or f"image {index}", handle=uri if outside else index)
        try:
            if isinstance(uri, str):
                data = self._buffers.file_bytes(uri, f"{place}.uri", 0, _BEGINNING)
            else:
                data = self._buffers.view(image.get("bufferView"), f"{place}.bufferView").data
        except (SceneError, OSError, ValueError):
            return image_of(missing=True)  # type: ignore[no-any-return]
        try:
            try:
                size = _size(data)
            except _NO_IMAGE:
                if len(data) != _BEGINNING:
                    raise
                size = _size(self._buffers.file_bytes(str(uri), f"{place}.uri", 0, _LARGEST))
        except _NO_IMAGE:
            return image_of(unreadable=True)  # type: ignore[no-any-return]
        return image_of(width=size[0], height=size[1])  # type: ignore[no-any-return]


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


def _name(entry: dict[str, Any]) -> str:
    name = entry.get("name")
    return name if isinstance(name, str) else ""
