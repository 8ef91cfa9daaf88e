"""Reading values out of a glTF document, with the place in every error."""

from __future__ import annotations

from typing import Any

import numpy as np

from kavel.errors import SceneError
from kavel.view.mesh import Reals


class Lookup:
    """Typed access to one `document`. `place` is where the value asked for stands, for errors.

    Errors: SceneError with file and place for a value that is missing, or is not what it should be.
    """

    def __init__(self, document: dict[str, Any], file: str) -> None:
        self.document = document
        self.file = file

    def error(self, place: str, message: str) -> SceneError:
        return SceneError(self.file, message, place)

    def entry(self, kind: str, index: Any, place: str) -> dict[str, Any]:
        """The object `index` of the top-level array `kind`; `place` is where the index stands."""
        entries = self.document.get(kind, [])
        if not isinstance(entries, list):
            raise self.error(kind, "is not an array")
        if type(index) is not int:
            raise self.error(place, "is not an index")
        if not 0 <= index < len(entries):
            raise self.error(place, f"index {index} is not one of 0 to {len(entries) - 1}")
        if not isinstance(entries[index], dict):
            raise self.error(f"{kind}[{index}]", "is not an object")
        return entries[index]  # type: ignore[no-any-return]

    def entries(self, owner: dict[str, Any], key: str, place: str) -> list[dict[str, Any]]:
        """An array of objects; empty when it is missing."""
        values = owner.get(key, [])
        spot = _spot(place, key)
        if not isinstance(values, list):
            raise self.error(spot, "is not an array")
        for position, value in enumerate(values):
            if not isinstance(value, dict):
                raise self.error(f"{spot}[{position}]", "is not an object")
        return values

    def mapping(self, owner: dict[str, Any], key: str, place: str) -> dict[str, Any]:
        """An object; empty when it is missing."""
        value = owner.get(key, {})
        if not isinstance(value, dict):
            raise self.error(_spot(place, key), "is not an object")
        return value

    def integer(
        self, owner: dict[str, Any], key: str, place: str, default: int | None = None, low: int = 0
    ) -> int:
        """A whole number, at least `low`; required when there is no default."""
        value = owner.get(key, default)
        if type(value) is not int or value < low:
            raise self.error(_spot(place, key), f"is not a whole number of at least {low}")
        return value

    def numbers(
        self, owner: dict[str, Any], key: str, place: str, default: tuple[float, ...]
    ) -> Reals:
        """As many finite numbers as `default` has, which stands for missing ones."""
        value = owner.get(key)
        if value is None and key not in owner:
            return np.array(default)
        if (
            not isinstance(value, list)
            or len(value) != len(default)
            or not all(type(number) in (int, float) for number in value)
        ):
            raise self.error(_spot(place, key), f"is not an array of {len(default)} numbers")
        try:
            result = np.array(value, np.float64)
        except OverflowError:
            result = np.full(len(default), np.inf)
        if not np.isfinite(result).all():
            raise self.error(_spot(place, key), "holds a number that is too large")
        return result


def _spot(place: str, key: str) -> str:
    return f"{place}.{key}" if place else key
