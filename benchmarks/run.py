"""The benchmark: what a scan costs beside what the host's own calls cost.

    python benchmarks/run.py [--sizes 1000 10000 ...] [--scenes wide ...] [--straight] [--json FILE]

For each scene and size it prints the time of each stage of the public scan (upload, match, load
and embedding), the bytes that the snapshot takes per object, the growth exponent from one size to
the next, and, measured in the same run:

- calls: the five operator calls that an upload makes, in a plain Python loop (the floor);
- re: one bare match of a compiled expression for each (name, expression) pair that a level tries;
- straight: a plain Python implementation of the same search (`--straight`; it is quadratic).

What was assigned and captured is checked against what the generator knows, not only validity.
Seconds depend on the machine; the ratios in one run are what counts. A slow run fails nothing.
"""

from __future__ import annotations

import argparse
import gc
import json
import math
import platform
import re
import sys
import tempfile
import time
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import scenes
import straight

import core

STRAIGHT_LIMIT = {
    "wide": 100_000,
    "deep": 100_000,
    "anchors": 9_001,
    "siblings": 3_001,
    "levels": 3_001,
    "chain": 10_000,
}
"""Beyond these numbers of objects the plain implementation takes minutes."""
LARGEST = {"chain": 100_000}
"""A pattern as deep as the chain is measured up to here."""


CALLS = ("object_exists", "name_from_path", "get_type", "get_parent", "get_children")
"""What an upload asks of each object, in this order."""


class Operator(core.Scene.Operator):
    """A host over a scene in memory, written in Python as a host plug-in would be."""

    TYPE_MAPPING = {name: name for name in ("transform", "mesh", "locator", "lodGroup")}

    def __init__(self, scene: scenes.MemoryScene, roots: list[str]) -> None:
        super().__init__()
        self.scene = scene
        self.roots = roots
        self.data: Any = None
        # Bound once: what is measured is the core, not this class's indirection.
        for name in CALLS:
            setattr(self, name, getattr(scene, name))

    def get_selection(self) -> list[str]:
        return list(self.roots)

    def get_selection_roots(self) -> list[str]:
        return list(self.roots)

    def select(self, *paths: str) -> None:
        pass

    @contextmanager
    def selection_manager(self) -> Iterator[None]:
        yield

    def register_scene_opened_callback(self, function: Callable[[], object]) -> None:
        pass

    def delete_callbacks(self) -> None:
        pass

    def get_current_file(self) -> str:
        return ""

    def query_filedata(self) -> Any:
        return self.data

    def embed_filedata(self, data: Any) -> None:
        self.data = data

    def erase_filedata(self) -> None:
        self.data = None

    def postscript_scan_append(self, joint: Any) -> None:
        pass

    def postscript_scan_remove(self, joint: Any) -> None:
        pass


class Home(core.Environment):
    """Keeps its files in a folder that goes with the run."""

    target = core.Constants.Plugin.Target.Standalone
    scope = "benchmark"

    def __init__(self, folder: str) -> None:
        self.folder = folder
        super().__init__()

    def get_settings_file(self) -> str:
        return f"{self.folder}/settings.json"

    def get_settings_directory(self) -> str:
        return self.folder

    def get_projects_directory(self) -> str:
        return self.folder

    def get_statistics_file(self) -> str:
        return f"{self.folder}/statistics.json"


def record_of(data: dict[str, Any]) -> Any:
    """The record of a case in the shape that the pattern reads; deep trees need no recursion."""
    record = SimpleNamespace(
        rules=[
            SimpleNamespace(
                **{key: rule[key] for key in ("stamp", "name", "regex", "types")},
                range=SimpleNamespace(minimum=rule["range"][0], maximum=rule["range"][1]),
                color=None,
                icon=None,
                check_config=core._Settings.Check.Config({}),
            )
            for rule in data["rules"]
        ],
        pattern=SimpleNamespace(children=[]),
    )
    stack = [(node, record.pattern.children) for node in reversed(data["pattern"])]
    while stack:
        node, siblings = stack.pop()
        made = SimpleNamespace(rule=SimpleNamespace(stamp=node["stamp"]), children=[])
        siblings.append(made)
        stack.extend((child, made.children) for child in reversed(node["children"]))
    return record


@contextmanager
def quiet_collector() -> Iterator[None]:
    """Collections of the interpreter would be charged to whichever stage they fall into."""
    gc.collect()
    gc.disable()
    try:
        yield
    finally:
        gc.enable()


def timed(work: Callable[[], Any]) -> tuple[float, Any]:
    """Seconds and result of one run."""
    with quiet_collector():
        start = time.perf_counter()
        result = work()
        return time.perf_counter() - start, result


def plain_calls(operator: Operator, roots: Sequence[str]) -> None:
    """The five calls that the interface demands for each object, and nothing else."""
    stack = list(roots)
    while stack:
        path = stack.pop()
        operator.object_exists(path)
        operator.name_from_path(path)
        operator.get_type(path)
        operator.get_parent(path)
        stack.extend(operator.get_children(path) or ())


def plain_matches(case: scenes.Case) -> Callable[[], None]:
    """One match for each pair of a name and an expression of its own level's items."""
    plain = {
        rule["stamp"]: re.compile(re.sub(r"<[^:>]*:?([^>]*)>", r"(\1)", rule["regex"]))
        for rule in case.record["rules"]
    }
    siblings: dict[str, list[re.Pattern[str]]] = {}
    stack = [case.record["pattern"]]
    while stack:
        level = stack.pop()
        own = [plain[node["stamp"]] for node in level]
        for position, node in enumerate(level):
            siblings[node["stamp"]] = own[: position + 1]
            stack.append(node["children"])
    name = case.scene.name_from_path
    work = [(name(path), siblings[stamp]) for path, stamp in case.expected.items()]

    def run() -> None:
        for text, expressions in work:
            for expression in expressions:
                expression.match(text)

    return run


def joints_of(buckets: Any) -> Iterator[Any]:
    for bucket in buckets:
        yield from bucket.get_joints()


class Measured:
    """One scene at one size."""

    def __init__(self, api: Any, operator: Operator, case: scenes.Case, with_straight: bool):
        self.case = case
        self.objects = len(case.scene)
        scanner, virtual = api.scene.scanner, api.scene.scanner._virtual
        hierarchy = api.scene.hierarchy
        hierarchy.pattern.set(record_of(case.record))
        roots = case.roots
        self.calls = self.upload = self.match = self.scan = self.re = math.inf
        plain = plain_matches(case)
        # By turns: what else runs on the machine slows all of them alike.
        for _ in range(5 if self.objects <= 200_000 else 3):
            self.calls = min(self.calls, timed(lambda: plain_calls(operator, roots))[0])
            self.upload = min(self.upload, timed(lambda: virtual.upload(roots))[0])
            seconds, self.valid = timed(lambda: hierarchy.is_valid(roots))
            self.match = min(self.match, seconds)
            seconds, self.status = timed(lambda: scanner.upload_buffer(False))
            self.scan = min(self.scan, seconds)
            self.re = min(self.re, timed(plain)[0])
        self.path_bytes = sum(len(path.encode("utf-8", "surrogatepass")) for path in case.expected)
        self.bytes = float(virtual._bytes - self.path_bytes) / self.objects
        self.straight = math.nan
        if with_straight:
            snapshot = straight.Snapshot(case.scene, roots)
            matcher = straight.Matcher(snapshot, case.record)
            self.straight, _ = timed(lambda: matcher.is_valid(roots))
        self.check(api, hierarchy)

    def check(self, api: Any, hierarchy: Any) -> None:
        if not self.valid or not self.status:
            raise SystemExit(f"{self.case.name}: the scan found nothing")
        found = {joint.path: joint.stamp for joint in joints_of(api.scene.buffer.get())}
        if found != self.case.expected:
            raise SystemExit(f"{self.case.name}: wrong assignments")
        hierarchy.is_valid(self.case.roots)
        captures = sorted(
            (key, path, text)
            for key, pairs in hierarchy.search.logic.state.expressions.items()
            for path, text in pairs
        )
        if captures != sorted(self.case.captures):
            raise SystemExit(f"{self.case.name}: wrong captures")

    def row(self, before: Measured | None) -> dict[str, Any]:
        ratio = {
            "upload/calls": self.upload / self.calls,
            "match/calls": self.match / self.calls,
            "(upload+match)/calls": (self.upload + self.match) / self.calls,
            "match/re": self.match / self.re,
            "straight/match": self.straight / self.match,
        }
        growth = growth_per_byte = math.nan
        if before is not None:
            slower = math.log((self.upload + self.match) / (before.upload + before.match))
            growth = slower / math.log(self.objects / before.objects)
            growth_per_byte = slower / math.log(self.path_bytes / before.path_bytes)
        return {
            "scene": self.case.name,
            "objects": self.objects,
            "calls s": self.calls,
            "upload s": self.upload,
            "match s": self.match,
            "whole scan s": self.scan,
            "re s": self.re,
            "straight s": self.straight,
            **ratio,
            "growth": growth,
            "growth/byte": growth_per_byte,
            "bytes/object": self.bytes,
        }


def cell(value: Any) -> str:
    if isinstance(value, float):
        return "-" if math.isnan(value) else f"{value:.4g}"
    return str(value)


def print_table(rows: list[dict[str, Any]]) -> None:
    columns = list(rows[0])
    print("| " + " | ".join(columns) + " |")
    print("|" + " --- |" * len(columns))
    for row in rows:
        print("| " + " | ".join(cell(row[column]) for column in columns) + " |")


def measure(
    names: Sequence[str], sizes: Sequence[int], with_straight: bool
) -> list[dict[str, Any]]:
    rows = []
    for name in names:
        before = None
        for size in sizes:
            if size > LARGEST.get(name, size):
                continue
            case = scenes.LARGE[name](size)
            with tempfile.TemporaryDirectory() as folder:
                operator = Operator(case.scene, case.roots)
                core.Environment.user_home = folder
                api = core.Api(operator, Home(folder))
                straight_too = with_straight and size <= STRAIGHT_LIMIT[name] + 1
                measured = Measured(api, operator, case, straight_too)
            rows.append(measured.row(before))
            before = measured
            print(f"{name} {measured.objects}", file=sys.stderr)
    return rows


def main() -> None:
    parser = argparse.ArgumentParser(description="Measures scans beside the host's own calls.")
    parser.add_argument("--sizes", type=int, nargs="+", default=[1_000, 10_000, 100_000, 1_000_000])
    parser.add_argument("--scenes", nargs="+", choices=list(scenes.LARGE), default=None)
    parser.add_argument("--straight", action="store_true", help="also run the plain implementation")
    parser.add_argument("--json", type=Path, help="write the rows to a file")
    options = parser.parse_args()
    rows = measure(options.scenes or list(scenes.LARGE), options.sizes, options.straight)
    print(f"Python {platform.python_version()}, core {core.__version__}\n")
    print_table(rows)
    if options.json:
        options.json.write_text(json.dumps(rows, indent=2) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
