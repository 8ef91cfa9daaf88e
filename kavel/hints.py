"""What may have been meant by a word that is not known."""

from __future__ import annotations

import difflib
from collections.abc import Iterable


def meant(word: str, known: Iterable[str], form: str = '"{}"') -> str:
    """The end of a message, such as '; is "regex" meant?', or "" where nothing is alike."""
    close = difflib.get_close_matches(word, list(known), 1)
    return f"; is {form.format(close[0])} meant?" if close else ""
