"""Checking a record's rules and tree as a whole."""

from __future__ import annotations

from kavel.document.anchors import Piece, definitions, pieces
from kavel.document.expressions import Anchors, check_ghost, check_matched, check_unmatched
from kavel.document.pattern import GHOST, Item, Pattern, text_of, walk
from kavel.document.problems import Findings, rule_place


def check_pattern(pattern: Pattern, findings: Findings) -> None:
    _check_names(pattern, findings)
    _check_top(pattern, findings)
    _check_levels(pattern, findings)
    _check_unplaced(pattern, findings)
    matched = [item for _, item in walk(pattern.matched)]
    anchors = _anchors(matched, findings)
    _check_uses(matched, anchors, findings)
    rules = {id(item.rule): item.rule for item in matched}
    for rule in rules.values():
        check_matched(rule, anchors, findings)
    if pattern.ghost is not None:
        check_ghost(pattern.ghost.rule, findings)
        rules[id(pattern.ghost.rule)] = pattern.ghost.rule
    for rule in pattern.rules:
        if id(rule) not in rules:
            check_unmatched(rule, anchors, findings)


def _check_names(pattern: Pattern, findings: Findings) -> None:
    seen: set[str] = set()
    for rule in pattern.rules:
        name = text_of(rule, "name")
        if name in seen:
            findings.warning("another rule has the same name", **rule_place(rule, "name"))
        seen.add(name)
        if name != GHOST and name.strip().lower() == GHOST:
            message = (
                f'only the exact name "{GHOST}" makes a rule the ghost; this is an ordinary rule'
            )
            findings.warning(message, **rule_place(rule, "name"))


def _check_top(pattern: Pattern, findings: Findings) -> None:
    ghost = pattern.ghost
    if not pattern.matched:
        where = "names no rule" if ghost is None else "has nothing below the ghost"
        findings.error(f"the rule tree {where}: nothing can match", f"{pattern.path}.pattern")
    for item in pattern.top:
        if ghost is not None and item is not ghost:
            message = "stands beside the ghost and is never matched"
            findings.warning(message, item.path, **rule_place(item.rule))
    for depth, item in walk(pattern.top):
        if depth and item.is_ghost:
            message = "the ghost counts only at the top of the tree; here it is an ordinary item"
            findings.warning(message, item.path, **rule_place(item.rule))


def _check_levels(pattern: Pattern, findings: Findings) -> None:
    levels = [pattern.top] + [item.children for _, item in walk(pattern.top)]
    for level in levels:
        seen: set[int] = set()
        for item in level:
            if id(item.rule) in seen:
                message = (
                    "the rule stands twice on one level: only the objects of its last place are "
                    "followed further down"
                )
                findings.warning(message, item.path, **rule_place(item.rule))
            seen.add(id(item.rule))


def _check_unplaced(pattern: Pattern, findings: Findings) -> None:
    placed = {text_of(item.rule, "stamp") for _, item in walk(pattern.top)}
    for rule in pattern.rules:
        if placed and text_of(rule, "stamp") not in placed:  # without a tree, that is told once
            message = "stands nowhere in the rule tree: nothing is compared with it"
            findings.warning(message, **rule_place(rule))


def _anchors(matched: list[Item], findings: Findings) -> Anchors:
    anchors = Anchors()
    first: dict[str, tuple[Piece, Item]] = {}
    for item in matched:
        place = rule_place(item.rule, "regex")
        for piece in pieces(item.regex):
            if not piece.is_definition:
                anchors.used.add(piece.name)
                continue
            anchors.known.setdefault(piece.text, piece)
            other, owner = first.setdefault(piece.name, (piece, item))
            if other.text != piece.text:
                message = f"another rule defines the anchor <{piece.name}> as {other.text}"
                if owner.rule is item.rule:
                    message = (
                        f"the expression defines the anchor <{piece.name}> twice, first as "
                        f"{other.text}; each needs a name of its own"
                    )
                findings.warning(message, item.path, position=piece.start, **place)
            above = _definer(piece.name, item)
            if above is not None:
                message = (
                    f'rule "{text_of(above.rule, "name")}" above defines <{piece.name}> already, '
                    "and its capture is the one that counts below"
                )
                findings.warning(message, item.path, position=piece.start, **place)
    return anchors


def _check_uses(matched: list[Item], anchors: Anchors, findings: Findings) -> None:
    for item in matched:
        for piece in pieces(item.regex):
            known = piece.name in anchors.names and ":" not in piece.inner
            if known and _definer(piece.name, item) is None:
                message = (
                    f"no item above defines {piece.text}: it stands for the sub-expression, not "
                    "for a captured text"
                )
                place = rule_place(item.rule, "regex")
                findings.warning(message, item.path, position=piece.start, **place)


def _definer(name: str, item: Item) -> Item | None:
    """The nearest item above that defines the anchor."""
    for above in item.ancestors():
        if any(piece.name == name for piece in definitions(above.regex)):
            return above
    return None
