"""Projects as the core's documents: read as they lie on the disk, or changed in a turn."""

from __future__ import annotations

import os
import shutil
from collections.abc import Callable, Iterator, Mapping
from contextlib import ExitStack, contextmanager
from dataclasses import dataclass, field
from typing import Any

import core
from kavel.document.structure import VERSION
from kavel.errors import ProjectError
from kavel.projects import Head

#: Seconds to wait for the other editors of a file, and again for the own turn.
ACCESS_TIMEOUT = 30.0
_ASIDE = ".corrupted"  # where the core, too, keeps what it cannot take over


@dataclass
class Edit:
    """A project that is being changed. Once it was written, `lost` are the JSON paths of what the
    core did not take over from the file, and `kept` is the copy that still has it."""

    path: str
    document: Any
    lost: list[str] = field(default_factory=list)
    kept: str = ""


class _Unsaved:
    """Stands in for the collection of a document: saving is left to the end of the turn."""

    def __init__(self) -> None:
        self.was_asked = False

    def save_project(self, _: Any) -> None:
        self.was_asked = True


def read_document(path: str) -> Any:
    """The core's document of a project, for looking at only.

    Errors: ProjectError when it cannot be read, is of another version, or of a form that the core
    refuses.
    """
    try:
        data = core._File.Json.read(path)
    except (OSError, ValueError, RecursionError) as error:
        raise ProjectError(f"{path}: cannot be read: {_reason(error)}") from error
    return _document(path, data, _Unsaved())


@contextmanager
def editing(project: Head, on_wait: Callable[[], object]) -> Iterator[Edit]:
    """Changes a project: its document is read anew, and written when it was saved in the block.

    All of it happens in one turn at the file, so that nothing that another editor saves in between
    is lost. `on_wait` is called when there are other editors to wait for.

    Errors: ProjectError when the file cannot be read, used or written, or when the other editors
    do not finish; it is as it was then.
    """
    path = project.path
    queue = core._File.Json.AccessQueue(path, False, ACCESS_TIMEOUT)
    if os.path.lexists(queue._path_lock):
        on_wait()
    try:
        with ExitStack() as turn:
            try:
                data = turn.enter_context(queue)
            except (ValueError, RecursionError) as error:
                raise ProjectError(f"{path}: cannot be read: {_reason(error)}") from error
            yield from _edit(path, data, queue)
    except core.Error.AccessQueueTimeout:
        raise ProjectError(
            f"{path}: other programs are editing it and did not finish in {ACCESS_TIMEOUT:.0f} "
            "seconds; nothing was changed"
        ) from None
    except OSError as error:
        raise ProjectError(f"{path}: cannot be changed: {_reason(error)}") from error


def _reason(error: Exception) -> str:
    return str((error.strerror if isinstance(error, OSError) else "") or error)


def _edit(path: str, data: Any, queue: Any) -> Iterator[Edit]:
    collection = _Unsaved()
    edit = Edit(path, _document(path, data, collection))
    yield edit
    if not collection.was_asked:
        return
    document = edit.document
    content = {**document.data, "edit_timestamp": document.edit_timestamp}
    edit.lost = missing(data, content)
    if edit.lost:
        edit.kept = _keep(path)
    queue._data, queue._write = content, True


def _document(path: str, data: Any, collection: Any) -> Any:
    if not isinstance(data, dict) or not data:
        raise ProjectError(f"{path}: holds no project")
    folder, name = os.path.split(path)
    try:
        document = core._Project.Settings(collection, folder, name, data)
    except (ValueError, TypeError, AssertionError, OverflowError, RecursionError) as error:
        raise ProjectError(f"{path}: the project cannot be used: {error}") from error
    if not document.compatible:
        version: Any = document.version
        raise ProjectError(f"{path}: {_foreign(version)}")
    return document


def _foreign(version: int) -> str:
    if version < 0:
        return "says no version: this is no project, or one of a very old build"
    made = "a newer" if version > VERSION else "an older"
    return (
        f"was made by {made} version of the program (its documents are of version {version}, those "
        f"of this one of version {VERSION}); use that one"
    )


def missing(original: Any, taken: Any) -> list[str]:
    """JSON paths of what `original` holds and `taken`, made from it, does not."""
    found = []
    stack = [("", original, taken)]
    while stack:
        path, old, new = stack.pop()
        kept: Any
        if isinstance(old, Mapping):
            kept = new if isinstance(new, Mapping) else {}
            pairs = [(f"{path}.{key}" if path else key, old[key], key in kept, key) for key in old]
        elif isinstance(old, list):
            kept = new if isinstance(new, list) else []
            pairs = [(f"{path}[{n}]", old[n], n < len(kept), n) for n in range(len(old))]
        else:
            continue
        found += [place for place, _, is_there, _ in pairs if not is_there]
        stack += [(place, value, kept[key]) for place, value, is_there, key in pairs if is_there]
    return sorted(found)


def _keep(path: str) -> str:
    """A copy of the file beside it, under a name that carries the time."""
    folder, name = os.path.split(os.path.abspath(path))
    aside = os.path.join(folder, _ASIDE)
    os.makedirs(aside, exist_ok=True)
    copy = os.path.join(aside, core._File.timed_filename(name))
    shutil.copy2(path, copy)
    return copy
