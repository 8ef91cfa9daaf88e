"""Errors whose text is meant for the person who ran the command."""

from __future__ import annotations


class KavelError(Exception):
    """A reason why a run, or one scene of it, could not be done."""


class SceneError(KavelError):
    """A scene file that cannot be read, searched or written.

    `file` is the path as given, `place` the spot inside the file (for example
    "nodes[3].children[0]" or "line 4, column 7"; empty when the whole file is meant), `message`
    what is wrong there.
    """

    def __init__(self, file: str, message: str, place: str = "") -> None:
        super().__init__(f"{file}: {place}: {message}" if place else f"{file}: {message}")
        self.file = file
        self.place = place
        self.message = message


class ProjectError(KavelError):
    """A project that cannot be found, read or loaded."""
