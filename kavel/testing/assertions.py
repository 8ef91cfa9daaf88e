"""What a check promises, as assertions. All take the arguments of `run`, and return its outcome."""

from __future__ import annotations

from typing import Any

import numpy as np

import core
from kavel.testing.running import Outcome, fix, run, scene_of

_Result = core.Constants.Check.Result


def assert_passes(check_class: Any, path: str | None = None, **options: Any) -> Outcome:
    """The check finds nothing, and changes nothing in the scene."""
    outcome = assert_untouched_by_check(check_class, path, **options)
    if not outcome.passed:
        raise AssertionError(f"{_about(check_class, outcome)}, but should pass")
    return outcome


def assert_finds(
    check_class: Any,
    path: str | None = None,
    *,
    count: int | None = None,
    items: Any = None,
    message: str | None = None,
    status: str = "",
    **options: Any,
) -> Outcome:
    """The check finds something: `count` things, or exactly `items` in this order; its message
    contains `message`. The status is "info" or "fail", or the one said.

    Errors: TypeError when the check has a parameter of the name of one of these that is given; its
    value belongs into `parameters`, and what was found is then to be compared by the caller.
    """
    expected = {"count": count, "items": items, "message": message, "status": status or None}
    _require_no_parameter(
        check_class, [key for key, value in expected.items() if value is not None]
    )
    outcome = assert_untouched_by_check(check_class, path, **options)
    about = _about(check_class, outcome)
    if outcome.status not in ([status] if status else [_Result.Fail, _Result.Info]):
        raise AssertionError(f"{about}, but should find something")
    found = plain(outcome.found)
    if count is not None and len(found) != count:
        raise AssertionError(f"{about}; {count} were expected")
    if items is not None and found != plain(items):
        raise AssertionError(f"{about}; expected was {plain(items)}")
    if message is not None and message not in outcome.message:
        raise AssertionError(f"{about}; its message does not say {message!r}")
    return outcome


def assert_fix_works(check_class: Any, path: str | None = None, **options: Any) -> Outcome:
    """The check finds something that it can fix, the fix raises nothing, and after it the check
    passes. Returns the outcome after the fix."""
    before = run(check_class, path, **options)
    if before.passed or not before.fixable:
        raise AssertionError(f"{_about(check_class, before)}, with nothing to fix")
    after = fix(before)
    if after.errors or not after.passed:
        raise AssertionError(f"after the fix, {_about(check_class, after)}")
    return after


def assert_fix_is_idempotent(check_class: Any, path: str | None = None, **options: Any) -> Outcome:
    """After a fix, another run of the same fix changes nothing, although the check offers it no
    longer. Returns the last outcome."""
    first = assert_fix_works(check_class, path, **options)
    fixed = first.scene.snapshot()
    # The bases do nothing unless the check found something to fix; here the fix itself must run.
    first.result._check.could_be_fixed = True
    again = fix(first)
    _require_unchanged(f"{check_class.__name__} fixed twice", first.scene, fixed)
    if again.errors or not again.passed:
        raise AssertionError(f"after a second fix, {_about(check_class, again)}")
    return again


def assert_untouched_by_check(check_class: Any, path: str | None = None, **options: Any) -> Outcome:
    """A run of the check alone changes nothing in the scene, the selection included."""
    scene = scene_of(options.get("scene"))
    before, selected = scene.snapshot(), _selection(scene)
    outcome = run(check_class, path, **options)
    _require_unchanged(f"{check_class.__name__} without a fix", scene, before)
    if _selection(scene) != selected:
        raise AssertionError(f"{check_class.__name__} changed the selection while checking")
    return outcome


def plain(value: Any) -> Any:
    """`value` without what only numpy tells apart: arrays and tuples become lists, numbers
    Python's own."""
    if isinstance(value, (np.ndarray, np.generic)):
        value = value.tolist()
    if isinstance(value, (list, tuple)):
        return [plain(item) for item in value]
    return value


def _require_no_parameter(check_class: Any, names: list[str]) -> None:
    attrs = {item.attr for item in getattr(check_class.parameters(), "inputs", ())} if names else ()
    for name in names:
        if name in attrs:
            raise TypeError(
                f"{check_class.__name__} has a parameter {name!r}: pass it in parameters=..., and "
                "compare what the outcome has"
            )


def _about(check_class: Any, outcome: Outcome) -> str:
    """What came out, at most a few lines."""
    found = plain(outcome.found)
    shown = f"{found[:10]}" + (f" and {len(found) - 10} more" if len(found) > 10 else "")
    said = f", saying {outcome.message!r}" if outcome.message else ""
    logged = f"\n{outcome.log}\n" if outcome.log else ""
    result = f"{check_class.__name__} on {outcome.path!r}: {outcome.status}"
    return f"{result}, found {len(found)} {shown}{said}{logged}"


def _selection(scene: Any) -> list[str]:
    operator = scene if isinstance(scene, core.Scene.Operator) else scene.operator
    return list(operator.get_selection() or ())


def _require_unchanged(what: str, scene: Any, before: Any) -> None:
    changes = scene.changes(before)
    if changes:
        lines = [f"{path}: {', '.join(words)}" for path, words in list(changes.items())[:10]]
        raise AssertionError(f"{what} changed the scene\n  " + "\n  ".join(lines))
