"""Checking the name expression of one rule."""

from __future__ import annotations

import re
import warnings
from collections.abc import Mapping
from dataclasses import dataclass, field
from typing import Any

from kavel.document.anchors import Piece, definitions, pieces, plain
from kavel.document.pattern import text_of
from kavel.document.problems import Findings, rule_place
from kavel.document.shapes import (
    PUNCTUATION,
    bare_alternation,
    matched_characters,
    nested_repeats,
)
from kavel.hints import meant

_FLAGS = re.compile(r"\A\(\?[aiLmsux]+\)")
_DOLLAR = re.compile(r"(?<!\\)(?:\\\\)*\$\Z")  # at the end, and not escaped
_GROUP_SYNTAX = re.compile(r"\(\?P?\Z")


@dataclass
class Anchors:
    """The pattern's anchors: definitions by their whole text in tree order, and names in use."""

    known: dict[str, Piece] = field(default_factory=dict)
    used: set[str] = field(default_factory=set)

    @property
    def names(self) -> set[str]:
        return {piece.name for piece in self.known.values()}


def check_matched(rule: Mapping[str, Any], anchors: Anchors, findings: Findings) -> None:
    """The expression of a rule whose item is compared with scene objects."""
    regex = text_of(dict(rule), "regex")
    place = rule_place(rule, "regex")
    if not regex:
        findings.warning("is empty, which matches every name", **place)
    _check_brackets(regex, anchors, place, findings)
    for piece in definitions(regex):
        _check_definition(piece, regex, anchors, place, findings)
    if _compiles(regex, anchors.known, place, findings.error, findings):
        _check_parts(regex, anchors.known, place, findings)
        flat = plain(regex, anchors.known)
        for position in nested_repeats(flat.text):
            message = (
                "an unbounded repeat inside an unbounded repeat: a name that fails late can take "
                "practically for ever"
            )
            findings.warning(message, position=flat.origin(position), **place)


def check_unmatched(rule: Mapping[str, Any], anchors: Anchors, findings: Findings) -> None:
    """The expression of a rule that the tree does not use."""
    regex = text_of(dict(rule), "regex")
    _compiles(regex, anchors.known, rule_place(rule, "regex"), findings.warning, findings)


def check_ghost(rule: Mapping[str, Any], findings: Findings) -> None:
    """The expression of the ghost, which is matched as it stands."""
    regex = text_of(dict(rule), "regex")
    place = rule_place(rule, "regex")
    for piece in pieces(regex):
        message = f"the ghost knows no anchors: {piece.text} is ordinary text"
        findings.warning(message, position=piece.start, **place)
    types = rule.get("types") or ["sceneRoot"]
    stands_for_scene_root = isinstance(types, list) and "sceneRoot" in types
    report = findings.warning if stands_for_scene_root else findings.error
    _compiles(regex, {}, place, report, findings)


def _check_brackets(
    regex: str, anchors: Anchors, place: dict[str, Any], findings: Findings
) -> None:
    found = pieces(regex)
    start = 0
    for piece in found:
        _check_stray(regex, start, piece.start, place, findings)
        start = piece.end
        message = _bracket_message(piece, regex, anchors)
        if message:
            findings.warning(message, position=piece.start, **place)
    _check_stray(regex, start, len(regex), place, findings)


def _bracket_message(piece: Piece, regex: str, anchors: Anchors) -> str:
    if _GROUP_SYNTAX.search(regex, 0, piece.start):
        return f"the brackets of this group are read as the anchor {piece.text}"
    if piece.is_definition:
        if "<" in piece.inner:
            return f'{piece.text} loses the "<" inside it'
        return ""
    if ":" in piece.inner:
        hint = '; write "(" instead of "(?:"' if "(?:" in piece.inner else ""
        return f"{piece.text} has more than one colon: it is no anchor but ordinary text{hint}"
    if piece.name not in anchors.names:
        hint = meant(piece.name, anchors.names, "<{}>")
        return f"no rule defines the anchor {piece.text}: it is ordinary text{hint}"
    return ""


def _check_stray(
    regex: str, start: int, end: int, place: dict[str, Any], findings: Findings
) -> None:
    for position in range(start, end):
        if regex[position] not in "<>" or _GROUP_SYNTAX.search(regex, 0, position):
            continue
        message = f'a lone "{regex[position]}" is ordinary text'
        if regex[position] == ">" and start:
            message += '; an anchor ends at its first ">"'
        findings.warning(message, position=position, **place)


def _check_definition(
    piece: Piece, regex: str, anchors: Anchors, place: dict[str, Any], findings: Findings
) -> None:
    if regex.count(piece.text) > 1:
        message = f"{piece.text} stands twice in one expression: no name can be matched"
        findings.error(message, position=piece.start, **place)
    if bare_alternation(piece.expression) is not None and piece.text != regex:
        message = (
            f"the alternatives of {piece.text} need a group around them: they divide the whole "
            f"expression (<{piece.name}:({piece.expression})>)"
        )
        findings.warning(message, position=piece.start, **place)
    special = sorted(matched_characters(piece.expression) & PUNCTUATION)
    if special and piece.name in anchors.used:
        message = (
            f"{piece.text} can capture punctuation such as {special[0]}, which has its special "
            "meaning where the anchor is used"
        )
        findings.warning(message, position=piece.start, **place)
    _check_sub_expression(piece, regex, place, findings)
    if not _DOLLAR.search(regex):
        message = "defines an anchor without ending in $: the capture takes the rest of the name"
        findings.warning(message, **place)


def _check_sub_expression(
    piece: Piece, regex: str, place: dict[str, Any], findings: Findings
) -> None:
    """What means something else inside a definition than it does alone."""
    if _FLAGS.match(piece.expression):
        message = (
            f"the flags of {piece.text} hold for the match, not for the capture; put them at the "
            "start of the whole expression"
        )
        findings.warning(message, position=piece.start, **place)
    followed = piece.end < len(regex)
    if followed and piece.expression.endswith("$") and not _DOLLAR.search(piece.expression):
        message = (
            f'{piece.text} ends in an escaped "$", which is taken away before further text, where '
            'the backslash stays; write "[$]"'
        )
        findings.warning(message, position=piece.start, **place)


def _compiles(
    regex: str, known: Mapping[str, Piece], place: dict[str, Any], report: Any, findings: Findings
) -> bool:
    flat = plain(regex, known)
    try:
        for message in _compile(flat.text):
            findings.warning(message, **place)
    except re.error as error:
        position = None if error.pos is None else flat.origin(error.pos)
        report(f"does not compile: {error.msg}", position=position, **place)
        return False
    except (RecursionError, OverflowError) as error:
        report(f"does not compile: {error}", **place)
        return False
    return True


def _compile(text: str) -> list[str]:
    """Compile; returns the interpreter's warnings. Errors: as `re.compile`."""
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        re.compile(text)
    return [str(warning.message) for warning in caught]


def _check_parts(
    regex: str, known: Mapping[str, Piece], place: dict[str, Any], findings: Findings
) -> None:
    """A capture is what the parts before and after a definition leave: both are used alone."""
    flags = _FLAGS.match(regex)
    lead = flags.group() if flags else ""
    for piece in definitions(regex):
        before, after = regex[len(lead) : piece.start], regex[piece.end :]
        try:
            _compile(f"{lead}^{plain(before, known).text}")
            _compile(f"{lead}{plain(after, known).text}$")
        except re.error as error:
            message = f"{piece.text} cannot be told from what stands around it: {error.msg}"
            findings.error(message, position=piece.start, **place)
