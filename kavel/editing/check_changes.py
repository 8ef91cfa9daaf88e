"""What changed between the checks of one rule in two records."""

from __future__ import annotations

import json
from collections.abc import Iterator, Mapping
from dataclasses import dataclass
from typing import Any

CHECK_ADDED = "check_added"
CHECK_REMOVED = "check_removed"
CHECK_SWITCHED = "check_switched"
CHECK_OPENED = "check_opened"
PARAMETER = "parameter"
PARAMETER_LEVEL = "parameter_level"
PARAMETER_SETS = "parameter_sets"


@dataclass(frozen=True)
class CheckChange:
    """A change of the check with the id `check`; `set` counts its sets of parameters from 1."""

    kind: str
    check: str
    before: Any = None
    after: Any = None
    set: int = 0
    parameter: str = ""


def compare_checks(before: Mapping[str, Any], after: Mapping[str, Any]) -> Iterator[CheckChange]:
    for check in [*before, *(check for check in after if check not in before)]:
        old, new = before.get(check), after.get(check)
        if check not in after:
            yield CheckChange(CHECK_REMOVED, check, before=old)
        elif check not in before:
            yield CheckChange(CHECK_ADDED, check, after=new)
        else:
            yield from _entry_changes(check, old, new)


def _entry_changes(check: str, old: Any, new: Any) -> Iterator[CheckChange]:
    for key, kind in (("enabled", CHECK_SWITCHED), ("opened", CHECK_OPENED)):
        if not same(old[key], new[key]):
            yield CheckChange(kind, check, old[key], new[key])
    before, after = old["parameters"], new["parameters"]
    if same(before, after):
        return
    if len(before) != len(after) or not all(map(_is_set, [*before, *after])):
        yield CheckChange(PARAMETER_SETS, check, before, after)
        return
    for number, (earlier, later) in enumerate(zip(before, after), 1):
        yield from _set_changes(check, number, earlier, later)


def _is_set(value: Any) -> bool:
    """Whether a set of parameters has the usual form; nothing forbids another."""
    return (
        isinstance(value, dict)
        and set(value) == {"as_info", "state"}
        and isinstance(value["state"], dict)
    )


def _set_changes(
    check: str, number: int, old: dict[str, Any], new: dict[str, Any]
) -> Iterator[CheckChange]:
    if not same(old["as_info"], new["as_info"]):
        yield CheckChange(PARAMETER_LEVEL, check, old["as_info"], new["as_info"], number)
    before, after = old["state"], new["state"]
    for attr in [*before, *(attr for attr in after if attr not in before)]:
        earlier, later = before.get(attr), after.get(attr)
        if not same(earlier, later) or (attr in before) != (attr in after):
            yield CheckChange(PARAMETER, check, earlier, later, number, attr)


def same(one: Any, other: Any) -> bool:
    """Whether two JSON values are stored alike: true and 1 are not, nor are 1 and 1.0."""
    return json.dumps(one, sort_keys=True) == json.dumps(other, sort_keys=True)
