"""From the bytes of a project file to its JSON object."""

from __future__ import annotations

import codecs
import json
import math
import re
from collections.abc import Iterator
from typing import Any

from kavel.document.problems import Findings

# The core takes no deeper text: interpreters differ in what they could read, and no sensible tree
# comes near this.
MAX_DEPTH = 500

_STRING_OR_BRACKET = re.compile(r'"(?:[^"\\]|\\.)*"?|[\[\]{}]', re.DOTALL)
_SURROGATE = re.compile("[\ud800-\udfff]")


class _Object(dict[str, Any]):
    """A JSON object that remembers which keys stood in it more than once."""

    repeated: tuple[str, ...] = ()


def read_object(raw: bytes, findings: Findings) -> dict[str, Any] | None:
    """The document, or none when the text cannot be read as a JSON object."""
    text = _decode(raw, findings)
    if text is None or not _is_shallow(text, findings):
        return None
    try:
        document = json.loads(text, object_pairs_hook=_make_object)
    except json.JSONDecodeError as error:
        findings.error(f"not JSON: {error.msg}", line=error.lineno, column=error.colno)
        return None
    except (ValueError, RecursionError) as error:  # an integer of too many digits, or too deep
        findings.error(f"not readable: {error}")
        return None
    _check_values(document, findings)
    if not isinstance(document, dict):
        findings.error(f"the document is {kind_of(document)}, not an object")
        return None
    return document


def kind_of(value: Any) -> str:
    """A JSON value's type in words."""
    if value is None:
        return "null"
    if isinstance(value, bool):
        return "a truth value"
    for kinds, words in (
        ((int, float), "a number"),
        (str, "a text"),
        (list, "an array"),
        (dict, "an object"),
    ):
        if isinstance(value, kinds):
            return words
    return type(value).__name__


def join(path: str, key: str | int) -> str:
    """The JSON path one step further down."""
    if isinstance(key, int):
        return f"{path}[{key}]"
    return f"{path}.{key}" if path else key


def _decode(raw: bytes, findings: Findings) -> str | None:
    if raw.startswith(codecs.BOM_UTF8):
        findings.warning("starts with a byte-order mark, which is skipped", line=1, column=1)
        raw = raw[len(codecs.BOM_UTF8) :]
    elif raw.startswith((codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE)):
        findings.error("is UTF-16 text; a project is saved as UTF-8", line=1, column=1)
        return None
    try:
        return raw.decode("utf-8")
    except UnicodeDecodeError as error:
        before = raw[: error.start]
        column = len(before.rpartition(b"\n")[2].decode("utf-8")) + 1
        findings.error("is not UTF-8 text", line=before.count(b"\n") + 1, column=column)
        return None


def _is_shallow(text: str, findings: Findings) -> bool:
    depth = 0
    for match in _STRING_OR_BRACKET.finditer(text):
        bracket = match.group()
        if bracket in "[{":
            depth += 1
            if depth > MAX_DEPTH:
                line = text.count("\n", 0, match.start()) + 1
                column = match.start() - text.rfind("\n", 0, match.start())
                message = f"nested deeper than {MAX_DEPTH} levels"
                findings.error(message, line=line, column=column)
                return False
        elif bracket in "]}":
            depth -= 1
    return True


def _make_object(pairs: list[tuple[str, Any]]) -> _Object:
    result = _Object(pairs)
    if len(result) < len(pairs):
        keys = [key for key, _ in pairs]
        result.repeated = tuple(key for key in result if keys.count(key) > 1)
    return result


def _check_values(document: Any, findings: Findings) -> None:
    """What JSON readers let pass: repeated keys, NaN, texts that are not Unicode."""
    for path, value in _walk(document):
        if isinstance(value, _Object):
            for key in value.repeated:
                findings.warning("the key stands twice; the last one counts", join(path, key))
            for key in value:
                if _SURROGATE.search(key):
                    findings.warning("the key holds a lone surrogate", join(path, key))
        elif isinstance(value, float) and not math.isfinite(value):
            findings.warning(f"{value} is no JSON number", path)
        elif isinstance(value, str) and _SURROGATE.search(value):
            findings.warning("the text holds a lone surrogate", path)


def _walk(document: Any) -> Iterator[tuple[str, Any]]:
    stack = [("", document)]
    while stack:
        path, value = stack.pop()
        yield path, value
        items: list[tuple[Any, Any]] = []
        if isinstance(value, dict):
            items = list(value.items())
        elif isinstance(value, list):
            items = list(enumerate(value))
        stack.extend((join(path, key), item) for key, item in reversed(items))
