"""What lies below scanning and validation: files, turns of the access queue, and starting up.

    python benchmarks/foundation.py [--repeat N]

- dump: writing 5 MB of indented JSON with `core._File.Json.write`, which waits until the disk has
  it, beside `json.dump(indent=2)` into a file, which does not, in the same run. What was written
  must read back equal.
- turn: entering and leaving the access queue of one file in a folder with 1,000 other files.
- start: importing `core` and building an `Api` over an empty home in a new interpreter, beside
  importing a small extension module of the interpreter's own; and the whole of both processes,
  from their start to their end. Turns of the access queue, which sleep by design, are counted and
  taken off.

Each figure is the best of the repetitions: what the code needs when nothing is in its way.
"""

from __future__ import annotations

import argparse
import json
import math
import subprocess
import sys
import tempfile
import textwrap
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

import core

DUMPED_BYTES = 5_000_000
OTHER_FILES = 1_000

START_API = """
    import sys, time
    sys.path[:] = {path!r}
    started = time.perf_counter()
    import core

    class Host(core.Scene.Operator):
        TYPE_MAPPING = {{"mesh": "mesh"}}
        target = core.Constants.Plugin.Target.DCC_Blender
        scope = "benchmark"

        def register_scene_opened_callback(self, function):
            pass

        def query_filedata(self):
            return None

    core.Environment.user_home = {home!r}
    slept = 0.0
    sleep = time.sleep

    def counted(seconds):
        global slept
        begin = time.perf_counter()
        sleep(seconds)
        slept += time.perf_counter() - begin

    time.sleep = counted
    core.Api(Host(), None)
    print(time.perf_counter() - started - slept, slept)
"""
START_EMPTY = """
    import sys, time
    sys.path[:] = {path!r}
    started = time.perf_counter()
    import _bisect
    print(time.perf_counter() - started, 0)
"""


def best(repeat: int, measure: Callable[[], float]) -> float:
    return min(measure() for _ in range(repeat))


def seconds(action: Callable[[], Any]) -> float:
    begin = time.perf_counter()
    action()
    return time.perf_counter() - begin


def document() -> dict[str, Any]:
    """About 5 MB when it is written with an indent of 2: rules as projects have them."""
    rule = {
        "stamp": "0123456789abcdef",
        "name": "bone_Ж",
        "regex": r"^(?:[a-z]+_)+\d{2,4}$",
        "types": ["transform", "mesh", "locator"],
        "range": [0, 1],
        "weights": [0.1, 1e-9, 12345.678],
        "optional": True,
        "color": None,
    }
    size = len(json.dumps(rule, indent=2))
    return {"rules": [dict(rule) for _ in range(DUMPED_BYTES // size)]}


def dump(folder: Path, repeat: int) -> tuple[float, float]:
    """Seconds of ours and of the interpreter's."""
    data = document()
    ours, theirs = folder / "ours.json", folder / "theirs.json"

    def write_theirs() -> None:
        with open(theirs, "w", encoding="utf-8") as stream:
            json.dump(data, stream, indent=2)

    own = other = math.inf
    for _ in range(2 * repeat):  # by turns: both see the same disk and the same neighbours
        own = min(own, seconds(lambda: core._File.Json.write(str(ours), data)))
        other = min(other, seconds(write_theirs))
    if json.loads(ours.read_text("utf-8")) != data:
        raise SystemExit("what was written is not what was given")
    return own, other


def turn(folder: Path, repeat: int) -> float:
    for number in range(OTHER_FILES):
        (folder / f"other_{number}.json").write_text("{}", "utf-8")
    path = str(folder / "shared.json")

    def enter() -> None:
        with core._File.Json.AccessQueue(path, write=False):
            pass

    return best(repeat, lambda: seconds(enter))


def start(script: str, repeat: int, folder: Path) -> tuple[float, float]:
    """Seconds of what the script measures and of its process, without what it slept."""

    def run() -> tuple[float, float]:
        with tempfile.TemporaryDirectory(dir=folder) as home:
            source = textwrap.dedent(script).format(path=sys.path, home=home)
            begin = time.perf_counter()
            ended = subprocess.run(
                [sys.executable, "-I", "-c", source], capture_output=True, text=True, check=True
            )
            measured, slept = map(float, ended.stdout.split())
            return measured, time.perf_counter() - begin - slept

    runs = [run() for _ in range(repeat)]
    return min(one for one, _ in runs), min(whole for _, whole in runs)


def main() -> None:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("--repeat", type=int, default=5, help="repetitions of each figure")
    repeat = parser.parse_args().repeat
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        own, other = dump(folder, repeat)
        waited = turn(folder, repeat)
        # Short, and more at the mercy of what else runs than the others.
        api = start(START_API, 4 * repeat, folder)
        empty = start(START_EMPTY, 4 * repeat, folder)
    print("| what | measured | beside | ratio or difference | target |")
    print("| --- | --- | --- | --- | --- |")
    print(
        f"| indented dump of 5 MB | {own * 1e3:.0f} ms | json.dump {other * 1e3:.0f} ms "
        f"| {other / own:.1f} times | 8 times |"
    )
    print(f"| turn with 1,000 other files | {waited * 1e3:.1f} ms | - | - | 103 ms |")
    for what, own, other, target in (
        ("import and Api, empty home", api[0], empty[0], "30 ms"),
        ("the same, the whole process", api[1], empty[1], "-"),
    ):
        print(
            f"| {what} | {own * 1e3:.0f} ms | {other * 1e3:.1f} ms "
            f"| {(own - other) * 1e3:.0f} ms | {target} |"
        )


if __name__ == "__main__":
    main()
