"""Which names from foreign documents may become names of files in a folder of projects."""

from __future__ import annotations

import re

_MAXIMUM = 200
_EXTENSION = ".json"
_FORBIDDEN = re.compile(r"[\x00-\x1f\x7f-\x9f\ud800-\udfff/\\:]")
# Windows takes what stands before the first point, whatever follows it; its superscript digits
# count as digits.
_DEVICE = re.compile(
    r"(con|prn|aux|nul|conin\$|conout\$|clock\$|(com|lpt)[0-9\u00b9\u00b2\u00b3]) *(\.|$)",
    re.IGNORECASE | re.ASCII,
)
# The access queue of "a.json" keeps its tickets in files of this form.
_TICKET = re.compile(r"json\.id\.[0-9]")


def is_safe_filename(name: object) -> bool:
    """Whether it is a text that names one JSON file in the same folder on every system: a single
    component, no control characters, no device, no ticket of another file's access queue, at most
    200 characters. The core accepts the same names."""
    if not isinstance(name, str) or not len(_EXTENSION) < len(name) <= _MAXIMUM:
        return False
    if not name.endswith(_EXTENSION) or _FORBIDDEN.search(name):
        return False
    return not _DEVICE.match(name) and not _TICKET.search(name)
