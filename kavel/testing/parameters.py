"""Values for the parameters of a check, written as an author thinks of them."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import core


def parameter_task(
    check_class: Any, values: Mapping[str, Any] | None = None, as_info: bool | None = None
) -> Any:
    """The first parameter set of `check_class`, with its defaults where `values` says nothing.

    By the type of the input, a value is a number (IntRange, FloatRange), a text (RegEx), a Boolean
    (Switch), the attribute or the shown text of an item (ComboBox), a list of texts (TextInputList,
    TextMatchList), or a list of (start, stop) (IntSliceList).

    Errors: ValueError for a parameter that the check does not have; TypeError for a value that the
    parameter does not take, or when `parameters()` returns no block; what the core raises for a
    block that is not sound.
    """
    name = check_class.__name__
    block = check_class.parameters()
    if not isinstance(block, core.Parameters.Block):
        raise TypeError(f"{name}.parameters() returns {block!r}, not a Parameters.Block")
    inputs = {item.attr: item for item in block.inputs}
    state = {}
    for attr, value in (values or {}).items():
        if attr not in inputs:
            known = ", ".join(inputs) or "none"
            raise ValueError(f"{name} has no parameter {attr!r}; it has {known}")
        state[attr] = _data(f"{name}: {attr}", inputs[attr], value)
    task = core.Parameters.Block.Task(
        list(block.inputs), block.as_info if as_info is None else as_info
    )
    task.load(state)
    task.number = 1
    task.assert_no_errors()
    return task


def _data(place: str, item: Any, value: Any) -> Any:
    """The stored form of `value` for an input."""
    kinds = core.Parameters
    if isinstance(item, kinds.Switch):
        return {"enabled": _of(place, value, bool)}
    if isinstance(item, kinds.IntRange):
        return {"value": _of(place, value, int)}
    if isinstance(item, kinds.FloatRange):
        return {"value": float(_of(place, value, int, float))}
    if isinstance(item, kinds.RegEx):
        return {"text": _of(place, value, str)}
    if isinstance(item, kinds.ComboBox):
        return {"selected_attr": _choice(place, item, value)}
    if isinstance(item, kinds.TextInputList):
        return [{"text": _of(place, text, str), "enabled": True} for text in _items(place, value)]
    if isinstance(item, kinds.TextMatchList):
        return [{"text": _of(place, text, str)} for text in _items(place, value)]
    if isinstance(item, kinds.IntSliceList):
        return [_slice(place, pair) for pair in _items(place, value)]
    return value  # an input of the author's own: its stored form


def _slice(place: str, pair: Any) -> dict[str, Any]:
    bounds = [_of(place, bound, int) for bound in _items(place, pair)]
    if len(bounds) != 2:
        raise ValueError(f"{place}: {pair!r} is no pair")
    return {"start": {"value": bounds[0]}, "stop": {"value": bounds[1]}}


def _choice(place: str, box: Any, value: Any) -> Any:
    """The attribute of the item that has this attribute, or shows this text."""
    probe = box.clone()
    probe.load({"selected_attr": _of(place, value, str)})
    if probe.data["selected_attr"] != value:
        probe.set_selected(value)
        if probe.get_selected() != value:
            raise ValueError(f"{place}: there is no item {value!r}")
    return probe.data["selected_attr"]


def _items(place: str, value: Any) -> list[Any]:
    if isinstance(value, str) or not hasattr(value, "__iter__"):
        raise TypeError(f"{place}: {value!r} is no list")
    return list(value)


def _of(place: str, value: Any, *kinds: type) -> Any:
    if isinstance(value, bool) and bool not in kinds or not isinstance(value, kinds):
        wanted = " or ".join(kind.__name__ for kind in kinds)
        raise TypeError(f"{place}: {value!r} is no {wanted}")
    return value
