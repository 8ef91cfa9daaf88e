"""Paths of scene objects: "/Rig/root/hips".

A path is the chain of names from the top node down, one component per node. Because names in a
file are free text, a component escapes the characters that would break the path apart ("/", and
"\\" and "|", which count as separators too when paths are compared) and the two that the escaping
itself uses ("%" and "#"). Siblings of equal name are told apart by a number that only the path
bears: "arm", "arm#2", "arm#3". A node without a name is "#1", "#2" and so on.
"""

from __future__ import annotations

import re
from collections.abc import Iterable

_ESCAPES = {"%": "%25", "/": "%2F", "\\": "%5C", "|": "%7C", "#": "%23"}
_ENCODE = str.maketrans(_ESCAPES)
_DECODE = {code: char for char, code in _ESCAPES.items()}
_ENCODED = re.compile("|".join(_DECODE))


def components(names: Iterable[str]) -> list[str]:
    """One path component per sibling, in order; all different from each other."""
    seen: dict[str, int] = {}
    result = []
    for name in names:
        count = seen[name] = seen.get(name, 0) + 1
        part = name.translate(_ENCODE)
        result.append(f"{part}#{count}" if count > 1 or not part else part)
    return result


def name_of(path: str) -> str:
    """The object's name as the file has it, worked out from its path alone."""
    part = path.rpartition("/")[2].partition("#")[0]
    return _ENCODED.sub(lambda match: _DECODE[match.group()], part)
