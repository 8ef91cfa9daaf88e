"""The benchmark of synchronisation: what exchanging many projects with a studio server costs.

    python benchmarks/synchronisation.py [--projects 5000] [--json FILE]

A server and two seats, each a process of its own on this machine, over TLS:

- first: a seat sends all of its projects to an empty server.
- fetch: another seat, with none, gets and writes them all.
- same: the first seat again, nothing having changed.
- edited: after the first seat edited every project, it sends them.
- overtaken: the second seat, which gets and writes them all again.

Seconds are of the whole command, start included, and of the processors that seat and server used;
megabytes are the most that the seat and, up to then, the server ever had. Needs `kavel[server]` and
trustme.
"""

from __future__ import annotations

import argparse
import contextlib
import json
import os
import platform
import re
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import trustme

SAMPLE = Path(__file__).resolve().parents[1] / "samples" / "character.json"
COMMAND = [sys.executable, "-m", "kavel"]
COLUMNS = ("step", "seconds", "seat CPU s", "server CPU s", "seat MB", "server MB", "request MB")


def write_projects(home: Path, count: int, edited: float) -> float:
    """Projects like the bundled one; gives their megabytes in a request."""
    base = json.loads(SAMPLE.read_text(encoding="utf-8"))
    folder = home / base["target"] / "projects"
    folder.mkdir(parents=True, exist_ok=True)
    size = 0
    for number in range(count):
        filename = f"project_{number:05}.json"
        whole = {**base, "name": f"Project {number}", "filename": filename}
        text = json.dumps({**whole, "edit_timestamp": edited + number})
        (folder / filename).write_text(text, encoding="utf-8")
        size += len(text)
    return size / 1e6


@contextlib.contextmanager
def serving(folder: Path) -> Iterator[tuple[str, int]]:
    """Address and process of a server; its certificate's authority is in SSL_CERT_FILE then."""
    authority = trustme.CA()
    issued = authority.issue_cert("127.0.0.1")
    authority.cert_pem.write_to_path(str(folder / "authority.pem"))
    issued.private_key_and_cert_chain_pem.write_to_path(str(folder / "server.pem"))
    os.environ["SSL_CERT_FILE"] = str(folder / "authority.pem")
    command = [*COMMAND, "--home", str(folder), "serve", "--port", "0", "--quiet",
               "--certificate", str(folder / "server.pem"), "--max-request", "4096"]  # fmt: skip
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        try:
            assert process.stdout is not None
            found = re.search(r"https://\S+", process.stdout.readline())
            assert found, "the server did not start"
            yield found[0], process.pid
        finally:
            process.terminate()


def peak(process: int) -> float:
    """The most megabytes that a process ever had; not a number where the system does not tell."""
    try:
        status = Path(f"/proc/{process}/status").read_text()
    except OSError:
        return float("nan")
    found = re.search(r"VmHWM:\s+(\d+) kB", status)
    return int(found[1]) / 1e3 if found else float("nan")


def used(process: int) -> float:
    """Seconds of processors that a process had so far; not a number where the system is silent."""
    try:
        fields = Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()
    except OSError:
        return float("nan")
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def synchronise(home: Path, url: str) -> tuple[float, float, float, str]:
    """Seconds, seconds of processors, megabytes and the first line of a seat's exchange."""
    command = [*COMMAND, "--home", str(home), "sync", "--server", url, "--timeout", "600"]
    measured = [sys.executable, "-c", MEASURED, *command]
    started = time.perf_counter()
    ended = subprocess.run(measured, capture_output=True, text=True, check=False)
    seconds = time.perf_counter() - started
    if ended.returncode:
        raise SystemExit(ended.stdout + ended.stderr)
    lines = ended.stdout.splitlines()
    processors, kilobytes = map(float, lines[-1].split())
    return seconds, processors, kilobytes / 1e3, lines[0]


# Runs a command; the last line is the seconds of processors and the most kilobytes that it had.
MEASURED = """
import resource, subprocess, sys
status = subprocess.run(sys.argv[1:]).returncode
used = resource.getrusage(resource.RUSAGE_CHILDREN)
print(used.ru_utime + used.ru_stime, used.ru_maxrss, flush=True)
sys.exit(status)
"""


def measure(count: int) -> list[dict[str, Any]]:
    rows = []
    with tempfile.TemporaryDirectory(prefix="kavel-") as name, serving(Path(name)) as (url, server):
        ann, bob = Path(name) / "ann", Path(name) / "bob"
        size = write_projects(ann, count, 1e9)
        for step, home in (("first", ann), ("fetch", bob), ("same", ann), ("edited", ann),
                           ("overtaken", bob)):  # fmt: skip
            if step == "edited":
                size = write_projects(ann, count, 1.1e9)
            before = used(server)
            seconds, processors, seat, line = synchronise(home, url)
            print(f"{step}: {seconds:.1f} s, {line}", file=sys.stderr)
            values = (step, seconds, processors, used(server) - before, seat, peak(server),
                      0.0 if step == "fetch" else size)  # fmt: skip
            rows.append(dict(zip(COLUMNS, values)))
    return rows


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--projects", type=int, default=5000)
    parser.add_argument("--json", metavar="FILE")
    arguments = parser.parse_args()
    rows = measure(arguments.projects)
    print(f"{arguments.projects} projects, Python {platform.python_version()}")
    print("| " + " | ".join(COLUMNS) + " |\n|" + " --- |" * len(COLUMNS))
    for row in rows:
        cells = (value if isinstance(value, str) else f"{value:.4g}" for value in row.values())
        print("| " + " | ".join(cells) + " |")
    if arguments.json:
        Path(arguments.json).write_text(json.dumps(rows, indent=2) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
