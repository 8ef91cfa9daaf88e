"""Reading the bodies of requests, which may be large.

The elements of a long array are parsed one by one: other threads get their turn in between, and
what has been looked at makes room. Each element's own text is kept, so that nothing of it changes.
"""

from __future__ import annotations

import json
import math
import re
from collections.abc import Callable
from typing import Any

from kavel.errors import KavelError

_BLANKS = re.compile(r"[ \t\n\r]*")


class RequestError(KavelError):
    """A request that cannot be carried out, with the status of the answer."""

    def __init__(self, message: str, status: int = 422) -> None:
        super().__init__(message)
        self.status = status


def parse_object(
    body: bytes, array: str = "", take: Callable[[Any, str], None] | None = None
) -> dict[str, Any]:
    """The object that a body holds. Each element of the array under the key `array` is handed to
    `take` with its text; it is not in the object, whose member is an empty array then.

    Errors: RequestError when the body is no JSON object, or has a number that JSON has no form for.
    """
    try:
        return _Reader(body.decode("utf-8"), array, take).read()
    except (ValueError, RecursionError) as error:
        raise RequestError(f"the body is not JSON: {error}", 400) from error


class _Reader:
    def __init__(self, text: str, array: str, take: Callable[[Any, str], None] | None) -> None:
        self._text = text
        self._array = array
        self._take = take
        self._at = 0
        self._decoder = json.JSONDecoder(parse_constant=_refuse, parse_float=_finite)

    def read(self) -> dict[str, Any]:
        if not self._meets("{"):
            value = self._value()
            self._end()
            raise RequestError(f"the body is not a JSON object, but {type(value).__name__}")
        found: dict[str, Any] = {}
        if not self._meets("}"):
            while True:
                key = self._value()
                if not isinstance(key, str) or not self._meets(":"):
                    raise self._error("a member of an object is expected")
                found[key] = self._member(key)
                if self._meets("}"):
                    break
                self._expect(",")
        self._end()
        return found

    def _member(self, key: str) -> Any:
        if self._take is None or key != self._array or not self._meets("["):
            return self._value()
        if self._meets("]"):
            return []
        while True:
            self._skip()
            start = self._at
            element = self._value()
            self._take(element, self._text[start : self._at])
            if self._meets("]"):
                return []
            self._expect(",")

    def _value(self) -> Any:
        self._skip()
        value, self._at = self._decoder.raw_decode(self._text, self._at)
        return value

    def _skip(self) -> None:
        blanks = _BLANKS.match(self._text, self._at)
        assert blanks is not None
        self._at = blanks.end()

    def _meets(self, sign: str) -> bool:
        self._skip()
        met = self._text.startswith(sign, self._at)
        self._at += met
        return met

    def _expect(self, sign: str) -> None:
        if not self._meets(sign):
            raise self._error(f'"{sign}" is expected')

    def _end(self) -> None:
        self._skip()
        if self._at != len(self._text):
            raise self._error("more follows")

    def _error(self, message: str) -> ValueError:
        return json.JSONDecodeError(message, self._text, self._at)


def _refuse(name: str) -> float:
    raise ValueError(f"{name} is not a number of JSON")


def _finite(text: str) -> float:
    value = float(text)
    if not math.isfinite(value):
        raise ValueError(f"{text[:20]} is too large a number")
    return value
