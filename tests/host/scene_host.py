"""A host application in memory: a scene as nested maps, every call of the core noted."""

from __future__ import annotations

from collections.abc import Callable
from types import SimpleNamespace
from typing import Any

import core

Tree = dict[str, Any]


class MemoryHost(core.Scene.Operator):
    """The operator over nested maps of "name" (a transform) or "name:type".

    `calls` notes each call as a tuple of operation and arguments; `fail` maps an operation to the
    exception that it raises; `selection` and `stored` are what the user sees and the scene holds.
    """

    def __init__(self, tree: Tree | None = None) -> None:
        super().__init__()
        self.names: dict[str, str] = {}
        self.types: dict[str, str] = {}
        self.parents: dict[str, str | None] = {}
        self.children: dict[str, list[str]] = {}
        self.selection: list[str] = []
        self.stored: Any = None
        self.decorated: list[Any] = []
        self.opened: list[Callable[..., None]] = []
        self.calls: list[tuple[Any, ...]] = []
        self.fail: dict[str, BaseException] = {}
        self.pour(tree or {}, None)

    def pour(self, tree: Tree, parent: str | None) -> None:
        for text, below in tree.items():
            name, _, kind = text.partition(":")
            path = f"{parent or ''}/{name}"
            self.names[path] = name
            self.types[path] = kind or "transform"
            self.parents[path] = parent
            self.children[path] = []
            if parent is not None:
                self.children[parent].append(path)
            self.pour(below, path)

    def note(self, operation: str, *arguments: Any) -> None:
        self.calls.append((operation, *arguments))
        if operation in self.fail:
            raise self.fail[operation]

    def called(self, *operations: str) -> list[tuple[Any, ...]]:
        return [call for call in self.calls if call[0] in operations]

    def object_exists(self, path: str) -> bool:
        self.note("object_exists", path)
        return path in self.names

    def name_from_path(self, path: str) -> str:
        self.note("name_from_path", path)
        return self.names[path]

    def get_type(self, path: str) -> str:
        self.note("get_type", path)
        return self.types[path]

    def get_parent(self, path: str) -> str | None:
        self.note("get_parent", path)
        return self.parents[path]

    def get_children(self, path: str) -> list[str] | None:
        self.note("get_children", path)
        # Hosts differ in how they say "none".
        return self.children[path] or None

    def get_selection(self) -> list[str]:
        self.note("get_selection")
        return list(self.selection)

    def get_selection_roots(self) -> list[str]:
        self.note("get_selection_roots")
        return [
            path
            for path in self.selection
            if not any(path.startswith(other + "/") for other in self.selection)
        ]

    def select(self, *paths: str) -> None:
        self.note("select", *paths)
        self.selection = list(paths)

    def query_filedata(self) -> Any:
        self.note("query_filedata")
        return self.stored

    def embed_filedata(self, data: Any) -> None:
        self.note("embed_filedata")
        self.stored = data

    def erase_filedata(self) -> None:
        self.note("erase_filedata")
        self.stored = None

    def postscript_scan_append(self, joint: Any) -> None:
        self.note("postscript_scan_append", joint.path)
        self.decorated.append(joint)

    def postscript_scan_remove(self, joint: Any) -> None:
        self.note("postscript_scan_remove", joint.path)
        self.decorated = [kept for kept in self.decorated if kept is not joint]

    def register_scene_opened_callback(self, function: Callable[..., None]) -> None:
        self.note("register_scene_opened_callback")
        self.opened.append(function)


def item(
    name: str,
    regex: str,
    *children: tuple[Any, ...],
    types: tuple[str, ...] = (),
    counts: tuple[int, int] = (1, 1),
) -> tuple[Any, ...]:
    """A rule, stamped by its name, with the items below it."""
    rule = SimpleNamespace(
        stamp=f"stamp of {name}",
        name=name,
        regex=regex,
        types=list(types),
        range=SimpleNamespace(minimum=counts[0], maximum=counts[1]),
        icon=f"icon of {name}",
        color="#123456",
        check_config=core._Settings.Check.Config({}),
    )
    return rule, children


def record_of(*items: tuple[Any, ...]) -> SimpleNamespace:
    """A record as a project hands it to the pattern."""
    rules: list[Any] = []

    def node(entry: tuple[Any, ...]) -> SimpleNamespace:
        rules.append(entry[0])
        return SimpleNamespace(rule=entry[0], children=[node(child) for child in entry[1]])

    tree = SimpleNamespace(children=[node(entry) for entry in items])
    return SimpleNamespace(rules=rules, pattern=tree)


class Stage:
    """A host with everything that scans it; `events` notes the notifications that were fired."""

    def __init__(self, host: MemoryHost, *items: tuple[Any, ...], classes: Any = None) -> None:
        self.host = host
        self.virtual = core.Scene._Virtual(host)
        self.hierarchy = core._Hierarchy(self.virtual, classes)
        self.hierarchy.pattern.set(record_of(*items))
        self.buffer = core.Scene._Buffer(host, self.virtual, self.hierarchy)
        self.callbacks = core._CallBacks()
        self.events: list[str] = []
        for name in dir(core._CallBacks):
            if isinstance(getattr(self.callbacks, name), core._CallBacks.List):
                getattr(self.callbacks, name).register(
                    lambda *arguments, name=name: self.events.append(name)
                )
        self.scanner = core.Scene._Scanner(
            SimpleNamespace(), host, self.virtual, self.hierarchy, self.buffer, self.callbacks
        )

    def scan(self, *selection: str, append: bool = False) -> Any:
        """Selects, scans and returns the status; notes start anew."""
        self.host.selection = list(selection)
        self.host.calls.clear()
        self.events.clear()
        return self.scanner.upload_buffer(append)


def outline(joint: Any) -> Any:
    """A joint's tree as nested pairs of (name, children)."""
    return (joint.name, [outline(child) for child in joint.children])
