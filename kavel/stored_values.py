"""The stored values of a check's parameters: their form, and whether one fits its parameter."""

from __future__ import annotations

import json
import math
import re
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from typing import Any

import core
from kavel.terminal import count

_LONGEST = 60  # characters of a value in a message
_KINDS = core.Parameters
ENDS = "each run of the check ends as an error"


@dataclass(frozen=True)
class Misfit:
    """What was found, what is allowed, and what happens because of it."""

    found: str
    allowed: str
    effect: str


def misfits(item: Any, value: Any) -> Iterator[Misfit]:
    """What is wrong with `value` as a stored value of the input `item`."""
    form = _form(item)
    if form is None:  # what it reads is its author's business
        if _load_error(item.clone(), value):
            yield Misfit(found_text(value), allowed_text(item), ENDS)
        return
    effect = ""
    for found in form.misfits(value):
        effect = effect or _effect(item, value)
        yield Misfit(found, form.words, effect)


def allowed_text(item: Any) -> str:
    """The form in which values of an input are stored: {"value": a whole number from 3 to 64}."""
    form = _form(item)
    return "what the parameter itself reads" if form is None else form.words


def found_text(value: Any) -> str:
    """A stored value as JSON, not too long for a message."""
    text = json.dumps(value, ensure_ascii=False)
    return text if len(text) <= _LONGEST else text[: _LONGEST - 4] + " ..."


def shown_value(data: Any) -> str:
    """A stored value as a reader thinks of it: 3, UVMap, off, [1 to 2], "" for an empty text."""
    if isinstance(data, list):
        shown = ", ".join(shown_value(item) for item in data)
        return (
            f"[{shown}]" if len(shown) < _LONGEST else f"[{count(len(data), 'entry', 'entries')}]"
        )
    if data == "":
        return '""'
    if not isinstance(data, dict):
        return "on" if data is True else "off" if data is False else str(data)
    if set(data) == {"start", "stop"}:
        return f"{shown_value(data['start'])} to {shown_value(data['stop'])}"
    parts = [
        shown_value(value) for key, value in data.items() if key != "enabled" or len(data) == 1
    ]
    return ", ".join(parts) + (" (off)" if len(data) > 1 and data.get("enabled") is False else "")


def load_errors(task: Any) -> list[str]:
    """What makes the values of a set (`core.Parameters.Block.Task`) unusable, in words."""
    words = []
    for error in [*task._build_exceptions, *task._load_exceptions]:
        if isinstance(error, KeyError):
            known = ", ".join(task._table) or "none"
            words.append(f'the check has no parameter "{error.args[0]}" (it has: {known})')
        else:
            words.append(str(error) or type(error).__name__)
    return words


_Test = Callable[[Any], bool]


@dataclass(frozen=True)
class _Object:
    """An object with exactly these members; each with words for its values, and a test."""

    members: dict[str, tuple[str, _Test]]

    @property
    def words(self) -> str:
        inner = (f"{json.dumps(key)}: {words}" for key, (words, _) in self.members.items())
        return f"{{{', '.join(inner)}}}"

    def fits(self, value: Any) -> bool:
        if not isinstance(value, dict) or set(value) != set(self.members):
            return False
        return all(fits(value[key]) for key, (_, fits) in self.members.items())

    def misfits(self, value: Any) -> Iterator[str]:
        if not self.fits(value):
            yield found_text(value)


@dataclass(frozen=True)
class _List:
    """An array of such objects."""

    element: _Object

    @property
    def words(self) -> str:
        return f"a list of {self.element.words}"

    def misfits(self, value: Any) -> Iterator[str]:
        if not isinstance(value, list):
            yield found_text(value)
            return
        for element in value:
            if not self.element.fits(element):
                yield f"the element {found_text(element)}"


def _form(item: Any) -> _Object | _List | None:
    """None for an input of a kind of its own, or that reads its value in a way of its own."""
    if type(item).load is not _KINDS._Input.load:
        return None
    return next((make(item) for kind, make in _FORMS.items() if isinstance(item, kind)), None)


def _range(item: Any) -> _Object:
    """A default that its author put outside of the bounds is allowed as well."""
    whole = isinstance(item, _KINDS.IntRange)
    kind, is_number = ("a whole number", _is_whole) if whole else ("a number", _is_number)
    low, high = (f"{end}" if whole else f"{end:.12g}" for end in (item.minimum, item.maximum))
    words = f"{kind} from {low} to {high}"

    def fits(value: Any) -> bool:
        inside = is_number(value) and item.minimum <= value <= item.maximum
        return bool(inside or is_number(value) and value == item.value)

    return _Object({"value": (words, fits)})


def _is_whole(value: Any) -> bool:
    return isinstance(value, int) and not isinstance(value, bool)


def _is_number(value: Any) -> bool:
    return _is_whole(value) or (isinstance(value, float) and math.isfinite(value))


def _compiles(text: Any) -> bool:
    return isinstance(text, str) and not _why_not(text)


def _why_not(text: str) -> str:
    """Why a text is no regular expression, or ""."""
    try:
        re.compile(text)
    except (re.error, RecursionError, OverflowError) as error:
        return f"it does not compile ({error})"
    return ""


def _choice(item: Any) -> _Object:
    known = [str(entry.attr) for entry in item]
    words = " or ".join(json.dumps(attr) for attr in known) or "nothing"
    return _Object({"selected_attr": (words, lambda value: value in known)})


def _slices(item: Any) -> _List:
    probe = item.clone()
    probe.load([{}])  # a slice with the bounds of the list
    ends = {"start": _range(probe[0].start), "stop": _range(probe[0].stop)}
    return _List(_Object({key: (end.words, end.fits) for key, end in ends.items()}))


_TEXT: tuple[str, _Test] = ("a text", lambda value: isinstance(value, str))
_TRUTH: tuple[str, _Test] = ("true or false", lambda value: isinstance(value, bool))
_FORMS: dict[Any, Callable[[Any], _Object | _List]] = {
    _KINDS.IntRange: _range,
    _KINDS.FloatRange: _range,
    _KINDS.Switch: lambda _: _Object({"enabled": _TRUTH}),
    _KINDS.RegEx: lambda _: _Object({"text": ("a regular expression", _compiles)}),
    _KINDS.ComboBox: _choice,
    _KINDS.TextInputList: lambda _: _List(_Object({"text": _TEXT, "enabled": _TRUTH})),
    _KINDS.TextMatchList: lambda _: _List(_Object({"text": _TEXT})),
    _KINDS.IntSliceList: _slices,
}


def _effect(item: Any, value: Any) -> str:
    """What becomes of `value` when it is loaded."""
    probe = item.clone()
    default = probe.data
    if _load_error(probe, value):
        return ENDS
    loaded = probe.data
    if loaded == value:
        if isinstance(item, _KINDS.RegEx):  # it is stored well, and fails where it is used
            return f"{_why_not(value['text'])}: {ENDS}"
        return "it counts as it stands"
    if loaded == default:
        return f"the default counts: {shown_value(default)}"
    return f"taken for {shown_value(loaded)}"


def _load_error(item: Any, value: Any) -> str:
    try:
        item.load(value)
    except Exception as error:  # an input of the author's own may raise what it likes
        return str(error) or type(error).__name__
    return ""
