"""Errors whose text is meant for the person who ran the command."""

from __future__ import annotations

import errno
import os


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


_REASONS = {
    errno.ENOENT: "there is no such file or folder",
    errno.EISDIR: "it is a folder, not a file",
    errno.ENOTDIR: "a part of its path is a file, not a folder",
    errno.EACCES: "you have no permission",
    errno.EPERM: "you have no permission",
    errno.EROFS: "the disk is write-protected",
    errno.ENOSPC: "the disk is full",
    errno.ENAMETOOLONG: "its name is too long",
}


def reason_of(error: OSError, writing: bool = False) -> str:
    """Why a file could not be used, in words; `writing` is for a file that was to be made."""
    if writing and error.errno == errno.ENOENT:
        return "its folder is not there"
    return _REASONS.get(error.errno or 0) or error.strerror or str(error)


def told(error: Exception) -> str:
    """What to say to the person who ran the command."""
    if not isinstance(error, OSError):
        return str(error)
    if error.filename is None:
        return f"a file cannot be used: {reason_of(error)}"
    return f"{os.fsdecode(error.filename)}: cannot be used: {reason_of(error)}"
