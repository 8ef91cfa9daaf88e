"""The benchmark of validation: what a run of a check costs beside the check itself.

    python benchmarks/validation.py [--runs 20000] [--results 1000000] [--json FILE]

- overhead: processor time for each object and check beyond the bare `check()` call, with 3 and
  with 10 inputs of which the check reads none, one, or all; beside it the same for a plain Python
  implementation (`straight_checks.py`) in the same run.
- memory: bytes that each of many results takes, beyond the instance of the check.
- errors: results whose check raises, each of which is logged on a thread of its own.
- records: reading a statistics file with many records at start-up.
- discovery: loading many check modules.

Seconds depend on the machine; the ratios in one run are what counts. A slow run fails nothing.
"""

from __future__ import annotations

import argparse
import gc
import json
import logging
import os
import platform
import tempfile
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import straight_checks as straight

import core

REPEATS = 5
READS = {"none": 0, "one": 1, "all": None}
CHECKS = 10
"""Checks of each object; planning an object is part of what its runs cost."""
SELECTION = core.Constants.Check.Mode.Selection


class Unwritten(core._Statistics):
    """Keeps its records in memory: the plain implementation writes no file either."""

    def write(self) -> None:
        pass


def open_store(folder: str, store: Any = core._Statistics) -> Any:
    path = os.path.join(folder, "statistics.json")
    return store(SimpleNamespace(get_statistics_file=lambda: path))


def check_classes(inputs: int, reads: str, count: int = 1) -> tuple[list[Any], Any]:
    """The same check for the core, as several classes, and for the plain implementation."""
    attrs = [f"input_{number}" for number in range(inputs)]

    class Base(core.Check.Base):
        long_name = "Reads its parameters"

        @staticmethod
        def parameters() -> Any:
            return core.Parameters.Block([core.Parameters.IntRange(attr) for attr in attrs])

        def check(self, path: str, parameters: Any) -> None:
            for attr in attrs[: READS[reads]]:
                parameters[attr].value  # noqa: B018

    class Plain:
        long_name = Base.long_name
        check = Base.check

    names = [f"benchmark_{number}" for number in range(count)]
    made = [type(name, (Base,), {"class_id": name, "short_name": name}) for name in names]
    return made, Plain


def validator_over(paths: list[str], classes: list[Any], store: Any) -> Any:
    """The validator with these checks enabled and these objects selected."""

    @contextmanager
    def selection_manager() -> Iterator[None]:
        yield

    operator: Any = SimpleNamespace(
        get_selection=lambda: paths,
        get_current_file=lambda: "scene",
        selection_manager=selection_manager,
    )
    entry = {"enabled": True, "opened": False, "parameters": []}
    config = core._Settings.Check.Config({check.class_id: entry for check in classes})
    settings = SimpleNamespace(
        check=SimpleNamespace(presets=None, config=config, mode=SELECTION),
        workspace=SimpleNamespace(project=""),
    )
    api = SimpleNamespace(statistics=store, settings=settings)
    scene: Any = core.Scene._Virtual(operator)
    hierarchy = core._Hierarchy(scene, None)
    buffer = core.Scene._Buffer(operator, scene, hierarchy)
    return core.Api._Validator(api, operator, classes, hierarchy, buffer)


def best(action: Callable[[], object]) -> float:
    """The least seconds of the processor of several runs: the one that was disturbed least."""
    times = []
    for _ in range(REPEATS):
        gc.collect()
        started = time.process_time()
        kept = action()
        times.append(time.process_time() - started)
        del kept
    return min(times)


def overhead(count: int, inputs: int, reads: str, folder: str) -> dict[str, Any]:
    """What planning and running costs beyond the check; the store is not written in between."""
    classes, plain_class = check_classes(inputs, reads, CHECKS)
    objects = [f"|scene|object_{number}" for number in range(count // CHECKS)]
    paths = [path for path in objects for _ in range(CHECKS)]
    count = len(paths)
    (task,) = loaded(classes[0].parameters())
    plain_task = straight.Task([straight.Number(source.attr) for source in task])
    validator = validator_over(objects, classes, open_store(folder, Unwritten))

    def bare() -> None:
        instance, parameters = classes[0](), task.clone()
        for path in paths:
            instance.check(path, parameters)

    calls = best(bare)
    ours = best(lambda: validated(validator)) - calls
    assert sum(len(planned.results) for planned in validator.queue) == count
    plain = best(lambda: straight.validate(paths, plain_class, plain_task, [])) - calls
    return {
        "inputs": inputs,
        "reads": reads,
        "check us": calls / count * 1e6,
        "overhead us": ours / count * 1e6,
        "straight us": plain / count * 1e6,
        "straight/overhead": plain / ours,
    }


def validated(validator: Any) -> None:
    validator.queue.clear()  # as the plain results go with each run
    validator.start()


def loaded(block: Any) -> Any:
    block.load([])
    return block


def resident() -> int:
    """Bytes of this process in memory."""
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def memory(count: int, inputs: int, reads: str, folder: str) -> dict[str, Any]:
    """Twenty checks for each object. What an instance takes is measured by itself before."""
    per_object = 20
    classes, _ = check_classes(inputs, reads, per_object)
    paths = [f"|scene|object_{number}" for number in range(count // per_object)]
    validator = validator_over(paths, classes, open_store(folder, Unwritten))
    total = len(paths) * per_object
    before = resident()
    instances = [flagged(classes[number % per_object]()) for number in range(total)]
    of_instance = (resident() - before) / total
    del instances
    gc.collect()
    before = resident()
    validator.start()
    used = (resident() - before) / total
    assert sum(len(task.results) for task in validator.queue) == total
    return {
        "results": total,
        "inputs": inputs,
        "reads": reads,
        "instance": of_instance,
        "bytes beyond the instance": used - of_instance,
    }


def flagged(check: Any) -> Any:
    """With the attributes that every check is given, but for the list of what it found."""
    check.could_be_fixed = check.could_be_selected = False
    check.result = None
    return check


def errors(count: int, folder: str) -> dict[str, Any]:
    """Checks that raise; each entry is written on a thread of its own before this returns."""

    class Base(core.Check.Base):
        def check(self, path: str, parameters: Any) -> None:
            raise ValueError(path)

    raising = type("Raising", (Base,), {"class_id": "raising", "short_name": "", "long_name": ""})
    entries: list[str] = []
    handler = logging.Handler()
    handler.emit = lambda record: entries.append(record.getMessage())  # type: ignore[method-assign]
    logging.getLogger().addHandler(handler)
    paths = [f"object_{number}" for number in range(count)]
    validator = validator_over(paths, [raising], open_store(folder))
    started = time.perf_counter()
    validator.start()
    seconds = time.perf_counter() - started
    for thread in list(core._log_threads):
        thread.join()
    logging.getLogger().removeHandler(handler)
    assert len(entries) == count, len(entries)
    logged = time.perf_counter() - started
    return {"errors": count, "run s": seconds, "until logged s": logged}


def records(count: int, folder: str) -> dict[str, Any]:
    """A file that an older version let grow."""
    made = [
        {"name": f"Check {n % 20}", "result": "pass", "timestamp": n * 0.5, "speed": n * 1e-6}
        for n in range(count)
    ]
    content = {"version": 1, "validate": [], "checks": made, "exported": [], "feedback_sent": []}
    path = Path(folder, "statistics.json")
    path.write_text(json.dumps(content), encoding="utf-8")
    parse = best(lambda: json.loads(path.read_text(encoding="utf-8")))
    opened = best(lambda: open_store(folder))
    path.unlink()
    return {"records": count, "open s": opened, "json s": parse, "open/json": opened / parse}


MODULE = """
import core

class Base(core.Check.Base):
    pass

class Check{number}(Base):
    class_id = "check_{number}"
    short_name = long_name = "Check {number}"
    category = "mesh"
    sort_index = {number}

    def check(self, path, parameters):
        pass
"""


def discovery(count: int, folder: str) -> dict[str, Any]:
    for number in range(count):
        text = MODULE.format(number=number)
        Path(folder, f"check_{number}.py").write_text(text, encoding="utf-8")
    directory = core._Settings.Check.Directory(folder)

    def compiled() -> None:
        for number in range(count):
            exec(compile(Path(folder, f"check_{number}.py").read_text(), "check", "exec"), {})

    assert len(list(core.Check._Classes([directory]))) == count
    found = best(lambda: core.Check._Classes([directory]))
    bare = best(compiled)
    return {"modules": count, "load s": found, "compile and run s": bare, "load/bare": found / bare}


def table(title: str, rows: list[dict[str, Any]]) -> None:
    print(f"\n{title}\n")
    print("| " + " | ".join(rows[0]) + " |")
    print("| " + " | ".join("---" for _ in rows[0]) + " |")
    for row in rows:
        values = [
            f"{value:.4g}" if isinstance(value, float) else str(value) for value in row.values()
        ]
        print("| " + " | ".join(values) + " |", flush=True)


def measure(action: Callable[..., dict[str, Any]], *arguments: Any) -> dict[str, Any]:
    with tempfile.TemporaryDirectory() as folder:
        return action(*arguments, folder)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=20_000)
    parser.add_argument("--results", type=int, default=1_000_000)
    parser.add_argument("--errors", type=int, default=20_000)
    parser.add_argument("--records", type=int, default=1_000_000)
    parser.add_argument("--modules", type=int, default=500)
    parser.add_argument("--json", metavar="FILE", help="write the rows there too")
    options = parser.parse_args()
    print(f"core {core.__version__}, Python {platform.python_version()}")
    parts: list[tuple[str, list[tuple[Any, ...]]]] = [
        ("memory", [(memory, options.results, 3, reads) for reads in READS]),
        (
            "overhead",
            [(overhead, options.runs, inputs, reads) for inputs in (3, 10) for reads in READS],
        ),
        ("errors", [(errors, options.errors)]),
        ("records", [(records, options.records)]),
        ("discovery", [(discovery, options.modules)]),
    ]
    report = {}
    for title, measures in parts:
        report[title] = [measure(*arguments) for arguments in measures]
        table(title, report[title])
    if options.json:
        Path(options.json).write_text(json.dumps(report, indent=1), encoding="utf-8")


if __name__ == "__main__":
    main()
