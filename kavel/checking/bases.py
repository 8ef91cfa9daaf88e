"""The bases of checks: derive from one, name the class, and write `find`.

Each derives from `core.Check.Base` directly. The loader offers only classes that are further away,
so a base that a check module imports is never taken for a check. That is why the three share
functions, not a common base of their own.
"""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any, ClassVar, NoReturn

import numpy.typing as npt

import core
from kavel.checking.reporting import counted, edit_conflict, listing
from kavel.checking.values import Values
from kavel.view import Mesh, Scene, Selection, current


def _report_problem(
    self: Any,
    problem: str,
    *,
    points: npt.NDArray[Any] | None = None,
    edges: npt.NDArray[Any] | None = None,
    faces: npt.NDArray[Any] | None = None,
    objects: Sequence[str] | None = None,
    items: Sequence[Any] | None = None,
    fixable: bool = False,
) -> NoReturn:
    """Report what was found, and end the check.

    With `points` (N,), `edges` (N, 2) or `faces` (N,) of the object, or with the paths of
    `objects`, `problem` is the end of a sentence: "without area" becomes "2 faces without area: 4,
    7", and these are what is selected. Otherwise `problem` is the whole sentence, the checked
    object is selected, and `items` (plain values) are the result; the object's path when there are
    none.

    `fixable`: `fix` can repair this, unless `conflict` has an objection, which is then told.
    Errors: always `core.Error.ValidationError`.
    """
    kind, found = "object", None
    for name, elements in (("point", points), ("edge", edges), ("face", faces)):
        if elements is not None:
            kind, found = name, elements
    plain: list[Any]
    if found is not None:
        plain = found.tolist() if kind != "edge" else [tuple(pair) for pair in found.tolist()]
        self._selections = [Selection(self._path, f"{kind}s", found)]  # type: ignore[arg-type]
    elif objects is not None:
        plain = list(objects)
        self._selections = [Selection(path) for path in plain]
    else:
        plain = [self._path] if items is None else list(items)
        self._selections = [] if self.scene_oriented else [Selection(self._path)]
    self._message = problem
    if found is not None or objects is not None:
        self._message = f"{counted(len(plain), kind)} {problem}: {listing(plain)}"
    self.result.extend(plain)
    self.could_be_selected = bool(self._selections)
    if fixable:
        conflict = self.conflict(self._path)
        self.could_be_fixed = not conflict
        if conflict:
            self._message += f". Fix it by hand: {conflict}"
    raise core.Error.ValidationError()


def _select_found(self: Any) -> None:
    if self._selections:
        current().select(self._selections)


def _tell_problem(self: Any) -> str:
    return str(self._message)


class SceneCheck(core.Check.Base):
    """A check that runs once for the whole scene.

    Write `find`, which returns when all is well and calls `report` when it is not.
    """

    scene_oriented = True
    _path = ""
    _message = ""
    _selections: Sequence[Selection] = ()

    def find(self, scene: Scene, values: Values) -> None:
        """Errors: NotImplementedError unless a check overrides it."""
        raise NotImplementedError

    def check(self, path: str, parameters: Any) -> None:
        self._path, self._message, self._selections = path, "", ()
        self.find(current(), Values(parameters))

    def conflict(self, path: str) -> str:
        """Why the fix must not run on what is there now; "" when it may."""
        return ""

    report = _report_problem
    select_result = _select_found
    result_message = _tell_problem


class ObjectCheck(core.Check.Base):
    """A check of one object.

    Write `find`, which returns when all is well and calls `report` when it is not; and `fix` if the
    problem can be repaired, with `conflict` for the cases in which it must not be.
    """

    mask: ClassVar[Any] = core.Mask.Item(name="Any", attr="Any")
    _path = ""
    _message = ""
    _selections: Sequence[Selection] = ()

    def find(self, scene: Scene, path: str, values: Values) -> None:
        """Errors: NotImplementedError unless a check overrides it."""
        raise NotImplementedError

    def fix(self, scene: Scene, path: str, values: Values) -> None:
        """Repair the object. Repairing it again must change nothing."""

    def conflict(self, path: str) -> str:
        """Why the fix must not run on what is there now; "" when it may."""
        return ""

    def check(self, path: str, parameters: Any) -> None:
        self._path, self._message, self._selections = path, "", ()
        self.find(current(), path, Values(parameters))

    def fix_result(self, path: str, parameters: Any) -> None:
        # Asked again: another fix may have changed the scene since the check ran.
        if self.could_be_fixed and not self.conflict(path):
            self.fix(current(), path, Values(parameters))

    report = _report_problem
    select_result = _select_found
    result_message = _tell_problem


class MeshCheck(core.Check.Base):
    """A check of one object's mesh; an object without a mesh passes.

    Write `find`, which returns when all is well and calls `report` when it is not; and `fix` if the
    problem can be repaired. A fix never runs on a mesh that is deformed or shared.
    """

    mask: ClassVar[Any] = core.Mask.Item(
        core.Constants.Scene.Type.Mesh, name="Mesh", attr="Mesh", mapped=True
    )
    _path = ""
    _message = ""
    _selections: Sequence[Selection] = ()

    def find(self, mesh: Mesh, values: Values) -> None:
        """Errors: NotImplementedError unless a check overrides it."""
        raise NotImplementedError

    def fix(self, mesh: Mesh, values: Values) -> Mesh | None:
        """The repaired mesh with arrays of its own; none when there is nothing to repair."""
        return None

    def conflict(self, path: str) -> str:
        """Why the fix must not run on what is there now; "" when it may."""
        return edit_conflict(current(), path)

    @property
    def path(self) -> str:
        """The object that is checked."""
        return self._path

    def check(self, path: str, parameters: Any) -> None:
        self._path, self._message, self._selections = path, "", ()
        mesh = current().mesh(path)
        if mesh is not None:
            self.find(mesh, Values(parameters))

    def fix_result(self, path: str, parameters: Any) -> None:
        scene = current()
        if not self.could_be_fixed or self.conflict(path):
            return
        mesh = scene.mesh(path)
        repaired = None if mesh is None else self.fix(mesh, Values(parameters))
        if repaired is not None:
            scene.set_mesh(path, repaired)

    report = _report_problem
    select_result = _select_found
    result_message = _tell_problem
