"""Files that appear together, complete, or not at all."""

from __future__ import annotations

import contextlib
import os
import secrets
import shutil
from collections.abc import Iterator, Mapping
from typing import BinaryIO

from kavel.errors import SceneError


class Output:
    """The file at `path` and files beside it, written under other names first. A context manager:
    what is not committed at its end is gone.

    With `exclusive`, no file is ever replaced: the file at `path` is created in one step, complete,
    or FileExistsError is raised; and a file beside it that is there already leaves its name to
    whoever made it. `protected` are files that are never replaced, by their real paths, with the
    reason.

    Errors of all operations: SceneError for a protected file; OSError when something cannot be
    written. All files are then as they were before.
    """

    def __init__(self, path: str, exclusive: bool, protected: Mapping[str, str]) -> None:
        self.path = path
        self._folder, self._name = os.path.split(os.path.abspath(path))
        self._exclusive = exclusive
        self._protected = protected
        self._reserved: list[str] = []  # empty files that hold names for us
        self._written: dict[str, str] = {}  # where each file stands until it is committed, by name
        self._committed = False
        #: The files that were replaced, by their absolute paths.
        self.replaced: set[str] = set()
        if exclusive and os.path.lexists(path):
            raise FileExistsError(f"{path} is there already")
        self._require_free(self._name)

    def __enter__(self) -> Output:
        return self

    def __exit__(self, *_: object) -> None:
        leftover = list(self._written.values())
        if not self._committed:
            leftover += self._reserved
        for path in leftover:
            with contextlib.suppress(OSError):
                os.unlink(path)

    def beside(self, ending: str) -> str:
        """The name of a file beside, made of the name of `path` and `ending` (".bin")."""
        stem = os.path.splitext(self._name)[0]
        if not self._exclusive:
            self._require_free(stem + ending)
            return stem + ending
        first, dot, last = ending.rpartition(".")
        number = 1
        while True:
            name = stem + (ending if number == 1 else f"{first}.{number}{dot}{last}")
            path = os.path.join(self._folder, name)
            try:
                with open(path, "xb"):
                    self._reserved.append(path)
                    return name
            except FileExistsError:
                number += 1

    @contextlib.contextmanager
    def open(self, name: str = "") -> Iterator[BinaryIO]:
        """A stream for the file of a name that `beside` gave, or for that at `path`."""
        name = name or self._name
        path = os.path.join(self._folder, f".kavel-{secrets.token_hex(8)}.tmp")
        with open(path, "xb") as stream:
            self._written[name] = path
            yield stream
            stream.flush()
            os.fsync(stream.fileno())

    def commit(self) -> list[str]:
        """Let the files appear, the one at `path` last; returns the paths of those beside it."""
        names = [name for name in self._written if name != self._name]
        if self._exclusive:
            self._commit_new(names)
        else:
            self._commit_over([*names, self._name])
        self._committed = True
        return [os.path.join(self._folder, name) for name in names]

    def _commit_new(self, names: list[str]) -> None:
        for name in names:  # the names are ours
            os.replace(self._written[name], os.path.join(self._folder, name))
        _create(self._written[self._name], os.path.join(self._folder, self._name))

    def _commit_over(self, names: list[str]) -> None:
        kept: list[tuple[str, str]] = []  # each file that was replaced, and what stood there
        try:
            for name in names:
                target = os.path.join(self._folder, name)
                kept.append((target, self._keep(target)))
                if kept[-1][1]:
                    shutil.copymode(target, self._written[name])
                os.replace(self._written[name], target)
        except BaseException:
            for target, old in reversed(kept):
                with contextlib.suppress(OSError):
                    os.replace(old, target) if old else os.unlink(target)
            raise
        self.replaced = {target for target, old in kept if old}
        for _, old in kept:
            with contextlib.suppress(OSError):
                os.unlink(old)

    def _keep(self, target: str) -> str:
        """A second name for the file at `target`; "" when there is none."""
        if not os.path.lexists(target):
            return ""
        path = os.path.join(self._folder, f".kavel-{secrets.token_hex(8)}.old")
        try:
            os.link(target, path)
        except OSError:  # not every file system has second names
            try:
                shutil.copy2(target, path)
            except BaseException:
                with contextlib.suppress(OSError):
                    os.unlink(path)
                raise
        return path

    def _require_free(self, name: str) -> None:
        path = os.path.join(self._folder, name)
        reason = self._protected.get(os.path.realpath(path))
        if reason:
            raise SceneError(path, f"is not replaced: {reason}")


def _create(source: str, target: str) -> None:
    """Give a file the name `target` in one step, unless there is one: then FileExistsError."""
    try:
        os.link(source, target)
    except FileExistsError:
        raise
    except OSError:  # not every file system has second names
        with open(target, "xb"):
            pass
        os.replace(source, target)
