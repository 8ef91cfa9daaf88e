"""Departures in words."""

from __future__ import annotations

from collections.abc import Iterator, Sequence

from kavel.diagnosis.departure import (
    ALONE,
    EMPTY,
    FULL,
    MISSING,
    PATTERN,
    PLACE,
    REPEATED,
    ROOT,
    SELECTION,
    STRAY,
    TAKEN,
    TOO_MANY,
    Candidate,
    Departure,
    Item,
)
from kavel.gltf.paths import name_of
from kavel.terminal import count

_NAMED = 3  # objects that a line names


def headline(departure: Departure) -> str:
    """Where, and what is wrong there; what comes nearest to being right included."""
    if departure.kind == PATTERN:
        return "the project's pattern is empty: nothing can match"
    if departure.kind == ALONE:
        return (
            "the top of the pattern needs several objects, but without a ghost item each top "
            "object is a hierarchy of its own: nothing can match"
        )
    if departure.kind == ROOT:
        what = "no selected object, nor any above one, can stand for the ghost item"
    else:
        what = f"{_where(departure)}: {_what(departure)}"
    candidate = departure.candidate
    return what if candidate is None else f"{what}; {_nearest(departure, candidate)}"


def _where(departure: Departure) -> str:
    if not departure.place:
        return "at the top of the scene"
    return f'in {_path(departure.place)} ("{departure.place_rule}")'


def _what(departure: Departure) -> str:
    item = departure.item
    if item is None:
        if departure.kind == EMPTY:
            return "there is no object"
        return f"no item takes {_objects(departure)}"
    name = f'"{item.rule}"'
    if departure.kind == REPEATED:
        return f"{name} stands twice here in the pattern, so that its objects are not counted right"
    if departure.kind == TOO_MANY:
        least = "at least " if departure.at_least else ""
        fitting = f"{name} takes at most {item.maximum}, but {least}{departure.found} fit"
        taken = _names(departure.taken, departure.found - len(departure.objects) - departure.more)
        return f"{fitting}: it takes {taken}, and leaves {_objects(departure)}"
    if item.minimum > item.maximum:
        return f"{name} fits no number of objects: its range is {_range(item)}"
    missing = f"{name} is missing" if not departure.found else f"there are too few {name}"
    return f"{missing}: needs {_range(item)}, found {departure.found}"


def details(departure: Departure) -> Iterator[str]:
    """What helps to mend it, a sentence each."""
    item = departure.item
    if item is None and departure.candidate is not None:
        item = departure.candidate.item
    if item is not None and departure.kind in (MISSING, TOO_MANY, STRAY, ROOT):
        kinds = f"type {' or '.join(item.types)}" if item.types else "any type"
        yield f'"{item.rule}" has the expression {item.expression or "that is empty"}, {kinds}'
    for bound in departure.bound:
        yield f'{bound.anchor} is "{bound.text}" here, because of {_path(bound.path)}'


def _nearest(departure: Departure, candidate: Candidate) -> str:
    reasons = ", and ".join(reason.text for reason in candidate.reasons)
    kinds = {reason.kind for reason in candidate.reasons}
    if departure.kind == STRAY and candidate.item is not None:
        if PLACE in kinds:
            it = "it fits" if len(departure.objects) == 1 else "they fit"
            return f'{it} "{candidate.item.rule}", {reasons}'
        it = "it" if len(departure.objects) == 1 else named(candidate.path)
        near = f'{it} comes near "{candidate.item.rule}"'
        return f"{near}, but {reasons}" if kinds != {FULL} else f"{near}: {reasons}"
    if kinds & {PLACE, SELECTION}:
        return f"{_path(candidate.path)} would fit, but {reasons}"
    if TAKEN in kinds:
        return f"{named(candidate.path)} fits, but {reasons}"
    if not candidate.is_near:
        return f"left over is {named(candidate.path)}, but {reasons}"
    return f"{named(candidate.path)} comes nearest, but {reasons}"


def _range(item: Item) -> str:
    if item.minimum == item.maximum:
        return str(item.minimum)
    return f"{item.minimum} to {item.maximum}"


def _objects(departure: Departure) -> str:
    return _names(departure.objects, len(departure.objects) + departure.more)


def _names(paths: Sequence[str], number: int) -> str:
    """The last parts of the first paths, of `number` in all."""
    names = [named(path) for path in paths[:_NAMED]]
    if not names:
        return count(number, "further object")
    more = number - len(names)
    return ", ".join(names) + (f" and {more} more" if more else "")


def named(path: str) -> str:
    """The name of an object in quotes, so that blanks can be seen, and its part of the path where
    that is another text."""
    part = path[max(path.rfind(separator) for separator in "/|") + 1 :]
    name = name_of(part)
    if not name:
        return f"{part} (an object without a name)"
    return f'"{name}"' if name == part else f'"{name}" ({part} in paths)'


def _path(path: str) -> str:
    """Only quoted where it holds blanks: it is there to be copied."""
    return f'"{path}"' if " " in path else path
