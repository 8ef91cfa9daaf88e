"""The module as a whole: its names, its end, and what a dropped `Api` leaves behind."""

from __future__ import annotations

import operator
import subprocess
import sys
import textwrap
import threading
from pathlib import Path
from typing import Any

import pytest

import core


def run(script: str, *options: str) -> subprocess.CompletedProcess[str]:
    """Runs a script in an interpreter of its own; a hang is a failure."""
    command = [sys.executable, *options, "-c", textwrap.dedent(script)]
    return subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)


@pytest.mark.parametrize("options", [(), ("-X", "dev"), ("-I",)], ids=["plain", "dev", "isolated"])
def test_import_and_quit_print_nothing(options: tuple[str, ...]) -> None:
    ended = run(f"import sys; sys.path[:] = {sys.path!r}; import core", *options)
    assert (ended.returncode, ended.stdout, ended.stderr) == (0, "", "")


LOGGING = """
    import logging, sys
    logging.basicConfig(stream=sys.stdout, level=logging.INFO, format="%(message)s")
"""
SHUTDOWNS = {
    # Threads still write when the interpreter ends.
    "many entries": """
        for number in range(200):
            core.Logger.info("entry %d", number)
    """,
    "slow handler": """
        import time
        class Slow(logging.Handler):
            def emit(self, record):
                time.sleep(0.05)
                print(record.getMessage(), flush=True)
        logging.getLogger().handlers[:] = [Slow()]
        for number in range(5):
            core.Logger.info("entry %d", number)
    """,
    # Entries made by what the interpreter still runs at its end.
    "exit handlers": """
        import atexit
        atexit.register(core.Logger.info, "entry 0")
    """,
    "destructors": """
        class Loud:
            def __del__(self, log=core.Logger.info):
                log("entry 0")
        sys.modules["keeper"] = Loud()
        loud = Loud()
    """,
    # A thread of the host that logs until it is stopped by the end itself.
    "thread of the host": """
        import threading
        def chatter():
            while True:
                core.Logger.info("entry 0")
        for _ in range(4):
            threading.Thread(target=chatter, daemon=True).start()
        import time
        time.sleep(0.1)
    """,
}


@pytest.mark.parametrize("script", SHUTDOWNS.values(), ids=SHUTDOWNS)
def test_log_threads_do_not_disturb_the_end(script: str) -> None:
    ended = run(LOGGING + "    import core" + script.replace("\n    ", "\n"))
    assert (ended.returncode, ended.stderr) == (0, "")
    # What is logged after the interpreter took its modules down may be lost.
    assert "entry 0" in ended.stdout.splitlines() or "__del__" in script


def test_an_interrupt_while_logging_passes(monkeypatch: pytest.MonkeyPatch) -> None:
    start, interrupts = threading.Thread.start, [KeyboardInterrupt()]

    def interrupted(thread: threading.Thread) -> None:
        if interrupts:
            raise interrupts.pop()
        start(thread)

    monkeypatch.setattr(threading.Thread, "start", interrupted)
    with pytest.raises(KeyboardInterrupt):
        core.Logger.info("never written")


OPERATOR = """
    import core, sys, threading, time
    class Late:
        def __del__(self, sleep=time.sleep):
            sleep(0.7)
    # The interpreter takes a while to end, so that threads wake up meanwhile.
    sys.modules["keeper"] = Late()
    class Host(core.Scene.Operator):
        def object_exists(self, path):
            work()
            return True
        name_from_path = get_type = lambda self, path: "mesh"
        get_parent = lambda self, path: None
        get_children = lambda self, path: [path + "/a"]
    def start(call):
        threading.Thread(target=call, daemon=True).start()
"""
ENDS = {
    "short operations": """
        def work(): time.sleep(0.02)
        start(lambda: core.Scene._Virtual(Host()).upload(["/r"]))
    """,
    "endless operation": """
        def work():
            while True: time.sleep(0.02)
        start(lambda: core.Scene._Virtual(Host()).upload(["/r"]))
    """,
    "operation of the system": """
        Host.object_exists = lambda self, path, wait=time.sleep: wait(2.3)
        start(lambda: core.Scene._Virtual(Host()).upload(["/r"]))
    """,
    "turns of a queue": """
        import os, tempfile
        path = os.path.join(tempfile.mkdtemp(), "x.json")
        open(path + ".lock", "w").close()
        for _ in range(4): start(core._File.Json.AccessQueue(path).__enter__)
    """,
    "handler": """
        calls = core._CallBacks()
        calls.buffer_loaded.register(lambda: [time.sleep(0.02) for _ in iter(int, 1)])
        start(calls.buffer_loaded)
    """,
}


@pytest.mark.parametrize("script", ENDS.values(), ids=ENDS)
def test_threads_inside_the_core_do_not_disturb_the_end(script: str) -> None:
    body = OPERATOR + script.replace("\n    ", "\n") + "    time.sleep(0.2)"
    ended = run(body)
    assert (ended.returncode, ended.stderr) == (0, "")


def instances() -> dict[str, Any]:
    """An object of each class whose attributes exist on its objects only."""
    types = core.Constants.Scene.Type
    kinds = (types.SceneRoot, types.Transform, types.Mesh, types.Locator, types.LodGroup)
    mask = core.Mask(core.TypeMapping({kind: kind for kind in kinds}))
    return {
        "core.Mask.Ghost": mask.Ghost,
        "core.Mask.Type": mask.Type,
        "core.Mask.Result": mask.Result,
        "core.Structure.NamedBuffer": core.Structure.NamedBuffer(),
    }


def names() -> list[tuple[str, str]]:
    text = (Path(__file__).parent / "interface_names.txt").read_text(encoding="utf-8")
    lines = [line.split(" ") for line in text.splitlines() if not line.startswith("#")]
    return [(name, kind) for name, kind in lines]


def reach(name: str, known: dict[str, Any]) -> Any:
    owner, _, last = name.rpartition(".")
    holder = known.get(owner)
    if holder is None:
        holder = operator.attrgetter(owner.partition(".")[2])(core) if "." in owner else core
    return getattr(holder, last)


def test_every_name_is_there_and_documented() -> None:
    missing, undocumented, known = [], [], instances()
    for name, kind in names():
        try:
            found = reach(name, known)
        except AttributeError:
            missing.append(name)
            continue
        # Special methods are what the interpreter's own documentation says.
        if kind in ("class", "function") and not name.endswith("__"):
            text = (found.__doc__ or "").strip()
            is_bare = text.startswith(f"{found.__name__}(") and "\n" not in text
            if not text or is_bare:
                undocumented.append(name)
    assert (missing, undocumented) == ([], [])


def test_an_object_without_its_constructor_is_refused_everywhere() -> None:
    """Memory that nobody filled would be read as an object otherwise."""
    script = f"""
        import sys; sys.path[:] = {sys.path!r}
        import core
        seen, pending, asked = set(), [core], 0
        while pending:
            scope = pending.pop()
            for name, found in list(vars(scope).items()):
                if isinstance(found, type) and found not in seen:
                    seen.add(found)
                    pending.append(found)
        for found in seen:
            if type(found).__name__ != "pybind11_type":
                continue
            for name, member in list(vars(found).items()):
                if not isinstance(member, property) or name == "__dict__":
                    continue
                try:
                    getattr(found.__new__(found), name)
                except TypeError as error:
                    assert "__init__" in str(error), (found, name, error)
                    asked += 1
                else:
                    raise SystemExit(f"{{found}}.{{name}} answered")
            try:
                found.__new__(found) == found.__new__(found)
            except TypeError:
                pass
        print("asked" if asked > 100 else asked)
    """
    ended = run(script)
    assert (ended.returncode, ended.stdout.strip(), ended.stderr) == (0, "asked", "")
