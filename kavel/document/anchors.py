"""Anchors in name expressions: "<side:(l|r)>" defines one, "<side>" uses it."""

from __future__ import annotations

import re
from collections.abc import Mapping
from dataclasses import dataclass

_PIECE = re.compile("<.*?>")
_BRACKETS = re.compile("<+|>+")


@dataclass(frozen=True)
class Piece:
    """A bracketed piece of an expression; `start` is the position of its "<"."""

    text: str
    start: int

    @property
    def end(self) -> int:
        return self.start + len(self.text)

    @property
    def inner(self) -> str:
        return self.text[1:-1]

    @property
    def is_definition(self) -> bool:
        return self.inner.count(":") == 1

    @property
    def name(self) -> str:
        return _BRACKETS.sub("", self.text).partition(":")[0]

    @property
    def expression(self) -> str:
        """A definition's sub-expression; it has lost every "<" and ">"."""
        return _BRACKETS.sub("", self.text).partition(":")[2]


def pieces(expression: str) -> list[Piece]:
    return [Piece(match.group(), match.start()) for match in _PIECE.finditer(expression)]


def definitions(expression: str) -> list[Piece]:
    return [piece for piece in pieces(expression) if piece.is_definition]


@dataclass(frozen=True)
class Plain:
    """An expression without anchor markup. `origin(i)` is where its character i came from."""

    text: str
    origins: tuple[int, ...]
    length: int

    def origin(self, position: int) -> int:
        return self.origins[position] if position < len(self.origins) else self.length


def plain(expression: str, known: Mapping[str, Piece]) -> Plain:
    """Replace every anchor by its sub-expression, as it stands before anything is captured.

    `known` are the pattern's definitions, by their whole text and in the order in which they are
    tried.
    """
    text, origins = expression, list(range(len(expression)))
    for key, definition in known.items():
        for form in (key, f"<{definition.name}>"):
            if form in text:
                text, origins = _replace(text, origins, form, definition.expression)
    return Plain(text, tuple(origins), len(expression))


def _replace(text: str, origins: list[int], form: str, part: str) -> tuple[str, list[int]]:
    before, _, after = text.partition(form)
    # The ends of the sub-expression are not the ends of the name when text stands around them.
    if after and part.endswith("$"):
        part = part[:-1]
    if before and part.startswith("^"):
        part = part[1:]
    shift = form.rfind(part) if ":" in form else -1  # a use has no such text of its own
    result: list[int] = []
    start = 0
    while (found := text.find(form, start)) >= 0:
        result += origins[start:found]
        base, step = (found + shift, 1) if shift >= 0 else (found, 0)
        result += [origins[base + step * i] for i in range(len(part))]
        start = found + len(form)
    return text.replace(form, part), result + origins[start:]
