"""The benchmark of start-up: what a host waits for when it makes its `Api`.

    python benchmarks/start_up.py [--projects 1 200 2000] [--records 1000] [--json FILE]

Each row is the best of three processes of its own, with a folder of projects that are as large as
the bundled character's, a settings file and a usage file:

- start: seconds for `core.Api(...)`, which loads the first project; cpu: those in which the
  processor worked, which other programs disturb less; json: the same for plain reading and parsing.
- turns: how often start-up slept for the pause that a turn at a file begins with. The settings and
  the usage file take one each; all projects together should take one, not one each.
- slept: seconds of start in which it only waited.
- MB: the growth of the process's memory; KB/project: what of that each project takes.
- restore: processor seconds to make the oldest record of a project the current one and write it.

Seconds depend on the machine; turns do not. A slow run fails nothing.
"""

from __future__ import annotations

import argparse
import copy
import gc
import json
import os
import platform
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import core
from kavel.environment import StandaloneEnvironment
from kavel.gltf.operator import GltfOperator
from kavel.home import target_directory

REPEATS = 3
SAVED = 1_700_000_000
SAMPLE = Path(__file__).parent / ".." / "samples" / "character.json"


class Sleeps:
    """What is slept while it is active."""

    def __init__(self) -> None:
        self.seconds = 0.0
        self.pauses = 0

    @contextmanager
    def watched(self) -> Iterator[None]:
        sleep = time.sleep

        def counted(seconds: Any) -> None:
            started = time.perf_counter()
            sleep(seconds)
            self.seconds += time.perf_counter() - started
            self.pauses += 1

        time.sleep = counted
        try:
            yield
        finally:
            time.sleep = sleep


def fill(home: str, projects: int, records: int) -> None:
    """A home with that many projects, of that many records each."""
    sample = json.loads(SAMPLE.read_text(encoding="utf-8"))
    (record,) = sample["records"].values()
    folder = Path(target_directory(home, "standalone"), "projects")
    folder.mkdir(parents=True)
    for number in range(projects):
        name = f"project_{number:05}"
        document = copy.copy(sample)
        document.update(name=name, filename=f"{name}.json")
        document["records"] = {str(SAVED + second): record for second in range(records)}
        document["selected_record"] = SAVED + records - 1
        text = json.dumps(document, indent=2, ensure_ascii=False)
        Path(folder, f"{name}.json").write_text(text, encoding="utf-8")
    api = core.Api(GltfOperator(), StandaloneEnvironment(home))
    api.settings.write()
    api.statistics.add(core._Statistics.Type.Validate(1.0))
    api.statistics.write()
    api.shutdown()


def memory() -> float:
    """Bytes of this process that are in memory."""
    gc.collect()
    with open("/proc/self/statm", encoding="ascii") as stream:
        return int(stream.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def measure(home: str) -> dict[str, Any]:
    """One start-up in this process, which has made no `Api` yet."""
    operator, environment = GltfOperator(), StandaloneEnvironment(home)
    sleeps, before = Sleeps(), memory()
    with sleeps.watched():
        started, worked = time.perf_counter(), time.process_time()
        api = core.Api(operator, environment)
        start, cpu = time.perf_counter() - started, time.process_time() - worked
    used = memory() - before
    headers = api.project.get_headers()
    document = api.project.collection.get(headers[0].filename)
    worked = time.process_time()
    document.history.pointer = SAVED
    document.save()
    restore = time.process_time() - worked
    folder = environment.get_projects_directory()
    api.shutdown()
    plain = read_plainly(folder)
    return {
        "projects": len(headers),
        "records": len(list(document)),
        "start s": start,
        "cpu s": cpu,
        "json s": plain,
        "cpu/json": cpu / plain,
        "turns": sleeps.pauses,
        "slept s": sleeps.seconds,
        "MB": used / 1e6,
        "KB/project": used / 1e3 / len(headers),
        "restore s": restore,
    }


def read_plainly(folder: str) -> float:
    worked = time.process_time()
    kept = [
        json.loads(path.read_text(encoding="utf-8")) for path in sorted(Path(folder).glob("*.json"))
    ]
    seconds = time.process_time() - worked
    del kept
    return seconds


def row(projects: int, records: int) -> dict[str, Any]:
    with tempfile.TemporaryDirectory() as home:
        fill(home, projects, records)
        command = [sys.executable, __file__, "--measure", home]
        found: list[dict[str, Any]] = []
        for _ in range(REPEATS):
            answer = subprocess.run(command, check=True, capture_output=True, text=True).stdout
            found.append(json.loads(answer))
        return min(found, key=lambda values: float(values["start s"]))


def table(rows: list[dict[str, Any]]) -> None:
    print("| " + " | ".join(rows[0]) + " |")
    print("| " + " | ".join("---" for _ in rows[0]) + " |")
    for values in rows:
        texts = [f"{v:.3g}" if isinstance(v, float) else str(v) for v in values.values()]
        print("| " + " | ".join(texts) + " |")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--projects", type=int, nargs="+", default=[1, 200, 2000])
    parser.add_argument("--records", type=int, default=1000, help="of one project more")
    parser.add_argument("--json", metavar="FILE", help="write the rows there too")
    parser.add_argument("--measure", metavar="HOME", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.measure:
        print(json.dumps(measure(options.measure)))
        return
    print(f"core {core.__version__}, Python {platform.python_version()}\n")
    rows = [row(count, 1) for count in options.projects] + [row(1, options.records)]
    table(rows)
    if options.json:
        Path(options.json).write_text(json.dumps(rows, indent=1), encoding="utf-8")


if __name__ == "__main__":
    main()
