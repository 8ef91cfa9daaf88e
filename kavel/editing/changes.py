"""The difference between two records, as a list of changes."""

from __future__ import annotations

from collections import Counter, defaultdict
from collections.abc import Iterator, Mapping
from dataclasses import asdict, dataclass
from typing import Any

from kavel.editing.check_changes import CheckChange, compare_checks, same
from kavel.editing.tree_changes import Key, Place, compare_trees, read_tree

RULE_ADDED = "rule_added"
RULE_REMOVED = "rule_removed"
RULE_ORDER = "rule_order"
PLACE_ADDED = "place_added"
PLACE_REMOVED = "place_removed"
PLACE_MOVED = "place_moved"
PLACE_ORDER = "place_order"
EXPORT = "export"
WIDENED = "widened"
NARROWED = "narrowed"

_FIELDS = {
    "stamp": "identity",
    "name": "name",
    "regex": "expression",
    "types": "types",
    "range": "range",
    "color": "color",
    "icon": "icon",
}


@dataclass(frozen=True)
class Change:
    """One change; what does not apply is empty.

    kind: "rule_added", "rule_removed", "identity", "name", "expression", "types", "range", "color",
    "icon" (of a rule), "rule_order" (of the list, which has no effect on a scene), "place_added",
    "place_removed", "place_moved", "place_order" (in the tree), "check_added", "check_removed",
    "check_switched", "check_opened", "parameter", "parameter_level", "parameter_sets" (of a rule's
    checks), "export".

    rule and stamp: the rule, as the later record has it unless it was removed. check: the id of a
    check. set: number of its set of parameters, from 1. subject: a parameter, or the dotted path of
    an export setting. before and after: the values; of a place, the names of the rules above it,
    from the top; of an order, the names in that order; none for a value that is not stored. effect:
    "widened" or "narrowed" of a range whose one form holds the other.
    """

    kind: str
    rule: str = ""
    stamp: str = ""
    check: str = ""
    set: int = 0
    subject: str = ""
    before: Any = None
    after: Any = None
    effect: str = ""

    def data(self) -> dict[str, Any]:
        """Without what does not apply, but always with both values."""
        values = ("before", "after")
        return {key: value for key, value in asdict(self).items() if value or key in values}


class _Rules:
    """The rules of one record by what identifies them: stamp, and number among equal stamps."""

    def __init__(self, rules: list[dict[str, Any]]) -> None:
        self.by_key: dict[Key, dict[str, Any]] = {}
        seen: Counter[str] = Counter()
        for rule in rules:
            stamp = rule["stamp"]
            self.by_key[stamp, seen[stamp]] = rule
            seen[stamp] += 1

    def rename_keys(self, names: Mapping[Key, Key]) -> None:
        self.by_key = {names.get(key, key): rule for key, rule in self.by_key.items()}

    def by_name(self, keys: set[Key]) -> dict[str, Key]:
        """Those of `keys` whose name no other of them has."""
        counts = Counter(self.by_key[key]["name"] for key in keys)
        return {self.by_key[k]["name"]: k for k in keys if counts[self.by_key[k]["name"]] == 1}

    def name(self, key: Key) -> str:
        return str(self.by_key[key]["name"])

    def names(self, keys: list[Key]) -> list[str]:
        return [self.name(key) for key in keys]


def compare_records(before: Mapping[str, Any], after: Mapping[str, Any]) -> list[Change]:
    """The changes from one record's data to another's, in the form in which the core gives them.

    The rules come in the later record's order, those that were removed after them, then what
    concerns the record as a whole. Author and comment are no part of the content. There is no
    change exactly when the content is equal.
    """
    old, new = _Rules(before["rules"]), _Rules(after["rules"])
    aliases = _pair(old, new)
    places = compare_trees(
        read_tree(before["pattern"], {}),
        read_tree(after["pattern"], {stamp: key for (stamp, n), key in aliases.items() if n == 0}),
    )
    of_rule: defaultdict[Key | None, list[Place]] = defaultdict(list)
    for place in places:
        of_rule[place.key].append(place)
    changes: list[Change] = []
    for key in [*new.by_key, *(key for key in old.by_key if key not in new.by_key)]:
        changes += _rule_changes(key, old, new)
        changes += [_place_change(place, old, new) for place in of_rule[key]]
    changes += [_order_change(place, old, new) for place in of_rule[None]]
    changes += _list_order(old, new)
    changes += _export_changes(before["export"], after["export"])
    return changes


def _pair(old: _Rules, new: _Rules) -> dict[Key, Key]:
    """Takes rules of different identity for one when their names say so; returns new keys by those
    that were replaced. Projects that a program writes may give every rule a new identity."""
    gone = old.by_name(set(old.by_key) - set(new.by_key))
    come = new.by_name(set(new.by_key) - set(old.by_key))
    aliases = {key: gone[name] for name, key in come.items() if name in gone}
    new.rename_keys(aliases)
    return aliases


def _rule_changes(key: Key, old: _Rules, new: _Rules) -> Iterator[Change]:
    before, after = old.by_key.get(key), new.by_key.get(key)
    if before is None or after is None:
        rule = after or before or {}
        kind = RULE_REMOVED if after is None else RULE_ADDED
        yield Change(kind, rule["name"], rule["stamp"], before=before, after=after)
        return
    named = {"rule": after["name"], "stamp": after["stamp"]}
    for field, kind in _FIELDS.items():
        if not same(before[field], after[field]):
            effect = _effect(before[field], after[field]) if field == "range" else ""
            yield Change(kind, before=before[field], after=after[field], effect=effect, **named)
    for check in compare_checks(before["checklist"], after["checklist"]):
        yield _check_change(check, named)


def _check_change(found: CheckChange, named: dict[str, str]) -> Change:
    return Change(
        found.kind,
        check=found.check,
        set=found.set,
        subject=found.parameter,
        before=found.before,
        after=found.after,
        **named,
    )


def _effect(before: list[int], after: list[int]) -> str:
    """How the numbers of objects that a range admits changed; none fit a range of no numbers."""
    if _holds(after, before):
        return WIDENED
    return NARROWED if _holds(before, after) else ""


def _holds(outer: list[int], inner: list[int]) -> bool:
    return inner[0] > inner[1] or (outer[0] <= inner[0] and inner[1] <= outer[1])


def _place_change(place: Place, old: _Rules, new: _Rules) -> Change:
    assert place.key is not None
    rules = old if place.kind == PLACE_REMOVED else new
    rule = rules.by_key[place.key]
    before = None if place.before is None else old.names(place.before)
    after = None if place.after is None else new.names(place.after)
    return Change(place.kind, rule["name"], rule["stamp"], before=before, after=after)


def _order_change(place: Place, old: _Rules, new: _Rules) -> Change:
    """The subject is where the siblings stand; they are those that both records have there."""
    assert place.before is not None and place.after is not None
    subject = " > ".join(new.names(place.above))
    before, after = old.names(place.before), new.names(place.after)
    return Change(PLACE_ORDER, subject=subject, before=before, after=after)


def _list_order(old: _Rules, new: _Rules) -> Iterator[Change]:
    before = [key for key in old.by_key if key in new.by_key]
    after = [key for key in new.by_key if key in old.by_key]
    if before != after:
        yield Change(RULE_ORDER, before=old.names(before), after=new.names(after))


def _export_changes(before: dict[str, Any], after: dict[str, Any]) -> Iterator[Change]:
    stack: list[tuple[str, Any, Any]] = [("", before, after)]
    while stack:
        path, old, new = stack.pop()
        if same(old, new):
            continue
        if not (isinstance(old, dict) and isinstance(new, dict)):
            yield Change(EXPORT, subject=path, before=old, after=new)
            continue
        for key in [*old, *(key for key in new if key not in old)]:
            below = f"{path}.{key}" if path else key
            if key in old and key in new:
                stack.append((below, old[key], new[key]))
            else:
                yield Change(EXPORT, subject=below, before=old.get(key), after=new.get(key))
