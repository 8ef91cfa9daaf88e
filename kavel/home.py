"""Where kavel keeps the user's settings, projects and statistics."""

from __future__ import annotations

import os
from urllib.parse import quote

import platformdirs

HOME_VARIABLE = "KAVEL_HOME"


def kavel_home(path: str | None = None) -> str:
    """The folder to use: `path`, else the variable KAVEL_HOME, else the platform's convention."""
    chosen = path or os.environ.get(HOME_VARIABLE)
    if chosen:
        return os.path.abspath(os.path.expanduser(chosen))
    return platformdirs.user_config_dir("kavel", appauthor=False)


def target_directory(home: str, target: str) -> str:
    """The folder of one target below `home`; one path component whatever the target's text is."""
    return os.path.join(home, quote(target, safe=" ").replace(".", "%2E") or "%")
