"""How alike a name and an expression look. For hints only: what matches is for the core to say."""

from __future__ import annotations

import re
from difflib import SequenceMatcher
from functools import lru_cache

_VARIANTS = 16
_LEAST = 0.5
_LONGEST = 200  # characters that are compared

_GROUP = re.compile(r"\((?!\?)([^()]*)\)|\(\?(?:P<\w+>|:)([^()]*)\)")
_LOOK_AROUND = re.compile(r"\(\?(?:<?[=!]|#)[^()]*\)|\(\?[aiLmsux-]+\)")
_SET = re.compile(r"\[\^?\]?[^\]]*\]")
_SYNTAX = re.compile(r"\\[A-Za-z0-9]|\{[\d,]*\}|[*+?.^$|()]")
_ESCAPED = re.compile(r"\\(\W)")
_QUOTED = "\ue000"  # stands before a character that an escape made plain


def similarity(name: str, expression: str) -> float:
    """0.5 to 1: how much of `name` is in the plain text of `expression`, which has no anchors; 0
    when they have less than half of their characters in common."""
    matcher = SequenceMatcher(None, "", name[:_LONGEST].casefold(), autojunk=False)
    best = 0.0
    for text in plain_texts(expression[:_LONGEST]):
        matcher.set_seq1(text.casefold())
        if matcher.real_quick_ratio() >= _LEAST and matcher.quick_ratio() >= _LEAST:
            best = max(best, matcher.ratio())
    return best if best >= _LEAST else 0.0


@lru_cache(maxsize=500)
def plain_texts(expression: str) -> list[str]:
    """What is left of an expression without its syntax; one text for each of the first variants
    that its groups of alternatives give."""
    # Escaped characters are put out of reach while the syntax is taken away.
    text = _ESCAPED.sub(lambda match: f"{_QUOTED}{ord(match.group(1)):06x}", expression)
    variants = [_LOOK_AROUND.sub("", _SET.sub("", text))]
    while True:
        expanded = [other for variant in variants for other in _expand(variant)]
        if expanded == variants:
            break
        variants = expanded[:_VARIANTS]
    alternatives = [part for variant in variants for part in variant.split("|")]
    return list(dict.fromkeys(map(_unquoted, alternatives)))[:_VARIANTS]


def _expand(text: str) -> list[str]:
    """`text` with its first innermost group replaced by each of the alternatives in it."""
    group = _GROUP.search(text)
    if group is None:
        return [text]
    content = group.group(1) if group.group(1) is not None else group.group(2)
    before, after = text[: group.start()], text[group.end() :]
    return [before + part + after for part in content.split("|")]


def _unquoted(text: str) -> str:
    text = _SYNTAX.sub("", text)
    return re.sub(f"{_QUOTED}([0-9a-f]{{6}})", lambda match: chr(int(match.group(1), 16)), text)
