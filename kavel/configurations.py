"""Stored check configurations, compared with the check classes that are installed.

A run takes what it can from stored values and says nothing of the rest, so that a project of an
older check still works. Here is told what would silently not be what its author meant.
"""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Mapping
from dataclasses import asdict, replace
from typing import Any, Optional

from kavel.document.problems import ERROR, WARNING, Problem, rule_place
from kavel.hints import meant
from kavel.stored_values import ENDS, Misfit, found_text, misfits

_Inputs = Mapping[str, Any]  # by attribute
_Placed = Iterator[tuple[Optional[str], Misfit]]  # the attribute, none for the set as a whole
_SET = '{"as_info": true or false, "state": {...}}'


class Configurations:
    """Compares check configurations with `classes`, the core's registry of check classes.

    What does not fit is a warning, when `strict` an error.
    """

    def __init__(self, classes: Any, strict: bool = False) -> None:
        self._classes = classes
        self._severity = ERROR if strict else WARNING
        self._inputs: dict[str, _Inputs | None] = {}

    def of_rules(self, rules: Iterable[Mapping[str, Any]], disabled: bool = False) -> list[Problem]:
        """The problems of the checks that the rules of a project ask for; with `disabled`, of those
        that are switched off as well."""
        return [
            replace(problem, **rule_place(rule))
            for rule in rules
            for problem in self.of_checklist(rule.get("checklist"), disabled)
        ]

    def of_checklist(self, checklist: Any, disabled: bool = False) -> list[Problem]:
        """The same for one configuration, {id: {"enabled", "parameters"}}. Ids that no class has
        are left out."""
        return [
            problem
            for class_id, entry in _entries(checklist).items()
            if isinstance(entry, Mapping) and (disabled or entry.get("enabled") is True)
            for problem in self._of_check(str(class_id), entry.get("parameters", []))
        ]

    def missing(self, rules: Iterable[Mapping[str, Any]], disabled: bool = False) -> list[Problem]:
        """The checks that rules ask for, and that are not installed; with `disabled`, also those
        that are switched off."""
        return [
            replace(problem, **rule_place(rule))
            for rule in rules
            for problem in self.missing_of(rule.get("checklist"), disabled)
        ]

    def missing_of(self, checklist: Any, disabled: bool = False) -> list[Problem]:
        """The same for one configuration, with what may have been meant."""
        return [
            Problem(self._severity, self._not_installed(str(class_id)), check=str(class_id))
            for class_id, entry in _entries(checklist).items()
            if self._classes.get(class_id) is None
            and (disabled or isinstance(entry, Mapping) and entry.get("enabled") is True)
        ]

    def _not_installed(self, class_id: str) -> str:
        ids = {str(check.class_id): check for check in self._classes}
        word = class_id.strip().casefold()
        for known, check in ids.items():
            if word in (str(name).casefold() for name in (check.long_name, check.short_name)):
                return f"is not installed, so it cannot run; it is the name of {known}, not an id"
        return f"is not installed, so it cannot run{meant(class_id, ids, '{}')}"

    def _of_check(self, class_id: str, sets: Any) -> Iterator[Problem]:
        inputs = self._inputs_of(class_id)
        if inputs is None:
            return
        if not isinstance(sets, list):
            found = Misfit(found_text(sets), f"a list of {_SET}", "the defaults count")
            yield self._problem(found, class_id)
            return
        for number, entry in enumerate(sets, 1):
            for attr, found in _of_set(inputs, entry):
                yield self._problem(found, class_id, number if len(sets) > 1 else None, attr)

    def _problem(
        self, misfit: Misfit, class_id: str, number: int | None = None, attr: str | None = None
    ) -> Problem:
        text = f"found {misfit.found}; allowed: {misfit.allowed}; {misfit.effect}"
        return Problem(
            self._severity, text, check=class_id, set=number, parameter=attr, **asdict(misfit)
        )

    def _inputs_of(self, class_id: str) -> _Inputs | None:
        """The inputs of an installed check; of equal attributes the first. None for a check that is
        not installed or not sound: that is told elsewhere."""
        if class_id not in self._inputs:
            check = self._classes.get(class_id)
            table: dict[str, Any] = {}
            try:
                for item in [] if check is None else check.parameters().inputs:
                    table.setdefault(str(item.attr), item)
            except Exception:  # a check may raise, and return, what it likes
                check = None
            self._inputs[class_id] = None if check is None else table
        return self._inputs[class_id]


def _entries(checklist: Any) -> Mapping[str, Any]:
    return checklist if isinstance(checklist, Mapping) else {}


def _of_set(inputs: _Inputs, entry: Any) -> _Placed:
    """What does not fit in one set of values."""
    if not isinstance(entry, Mapping):
        yield None, Misfit(found_text(entry), _SET, ENDS)
        return
    for key in entry:
        if key not in ("as_info", "state"):
            effect = "it has no effect" + meant(str(key), ("as_info", "state"))
            yield None, Misfit(found_text({key: entry[key]}), _SET, effect)
    as_info, state = entry.get("as_info", False), entry.get("state", {})
    if not isinstance(as_info, bool):
        found = found_text({"as_info": as_info})
        yield None, Misfit(found, _SET, "what the check itself says counts")
    if not isinstance(state, Mapping):
        effect = "the defaults count" if state is None else ENDS
        yield None, Misfit(found_text({"state": state}), _SET, effect)
        return
    for attr, value in state.items():
        yield from ((attr, found) for found in _of_value(inputs, str(attr), value))


def _of_value(inputs: _Inputs, attr: str, value: Any) -> Iterator[Misfit]:
    if attr in inputs:
        yield from misfits(inputs[attr], value)
        return
    known = f"the parameters of the check: {', '.join(inputs)}" if inputs else "no parameters"
    yield Misfit(f'the parameter "{attr}"', known, ENDS + meant(attr, inputs))
