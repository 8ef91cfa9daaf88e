"""A check's parameters as plain values."""

from __future__ import annotations

import re
from collections.abc import Iterable, Mapping
from typing import Any

import core


class Values:
    """One parameter set, read by attribute: `values.tolerance` is the number itself.

    IntRange and FloatRange give their number, Switch a bool, RegEx a compiled expression, ComboBox
    the attribute of the selected item, TextInputList and TextMatchList their list of texts,
    IntSliceList a list of (start, stop).

    Errors: AttributeError for an attribute that the check has no parameter for; ValueError, which
    names the parameter, for a text that is not a regular expression.
    """

    def __init__(self, task: Any) -> None:
        """`task` is a `core.Parameters.Block.Task`."""
        self._task = task

    def __getattr__(self, name: str) -> Any:
        try:
            item = self._task[name]
        except KeyError:
            raise AttributeError(f"the check has no parameter {name!r}") from None
        return _plain(item)


def _plain(item: Any) -> Any:
    kinds = core.Parameters
    if isinstance(item, (kinds.IntRange, kinds.FloatRange)):
        return item.value
    if isinstance(item, kinds.Switch):
        return item.enabled
    if isinstance(item, kinds.RegEx):
        return _compiled(item.text, item.label or item.attr)
    if isinstance(item, kinds.ComboBox):
        return item.data["selected_attr"]
    if isinstance(item, kinds.IntSliceList):
        return [(piece.start.value, piece.stop.value) for piece in item]
    return list(item.values)


def _compiled(text: str, label: str) -> re.Pattern[str]:
    try:
        return re.compile(text)
    except re.error as error:
        raise ValueError(f'"{label}": {text!r} is not a regular expression: {error}') from None


def matches_any(name: str, expressions: Iterable[str]) -> bool:
    """Whether one of the regular expressions matches the whole name.

    Errors: ValueError for a text that is not a regular expression.
    """
    return any(_compiled(text, "pattern").fullmatch(name) for text in expressions)


def combo(
    attr: str, items: Mapping[str, str], selected: str, label: str = "", help_text: str = ""
) -> Any:
    """A ComboBox of `items`, texts by attribute, with one selected."""
    kinds = core.Parameters
    entries = [kinds.ComboBox.Item(key, text, key == selected) for key, text in items.items()]
    return kinds.ComboBox(attr, entries, label=label, help_text=help_text)


def default_names_input(expressions: Iterable[str]) -> Any:
    """The parameter "names": regular expressions for the names that an application gives by
    itself. See `matches_any`."""
    items = [core.Parameters.TextMatch(text) for text in expressions]
    help_text = "Regular expressions for default names."
    return core.Parameters.TextMatchList("names", items, help_text=help_text)
