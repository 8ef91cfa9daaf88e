"""Trees and logs as text."""

from __future__ import annotations

import io
import logging

from rich.cells import cell_len
from rich.console import Console

import core
from kavel.logs import LogHandler
from kavel.printing import print_hierarchy
from kavel.progress import LateProgress
from kavel.report import Hierarchy, Joint


def joint(name: str, *children: Joint) -> Joint:
    return Joint("rule", "s", name, f"/{name}", "mesh", list(children))


def printed(root: Joint, encoding: str = "utf-8", width: int = 80) -> list[str]:
    stream = io.TextIOWrapper(io.BytesIO(), encoding=encoding, write_through=True)
    print_hierarchy(Console(file=stream, width=width), Hierarchy("h", root))
    stream.seek(0)
    return [line.removesuffix("  rule  mesh").rstrip() for line in stream.read().splitlines()]


def test_the_lines_of_a_tree() -> None:
    root = joint(
        "a", joint("b", joint("c", joint("d")), joint("e")), joint("f", joint("g")), joint("h")
    )
    assert printed(root) == [
        "a",
        "├─ b",
        "│  ├─ c",
        "│  │  └─ d",
        "│  └─ e",
        "├─ f",
        "│  └─ g",
        "└─ h",
    ]
    assert printed(root, "ascii")[3] == "|  |  `- d"


def test_a_name_that_is_too_long_goes_on_below_itself() -> None:
    root = joint("骨" * 5, joint("x" * 80 + "_end", joint("z")), joint("y"))
    assert printed(root) == [
        "骨骨骨骨骨",
        "├─ " + "x" * 65,
        "│    " + "x" * 15 + "_end",
        "│  └─ z",
        "└─ y",
    ]
    stream = io.StringIO()
    print_hierarchy(Console(file=stream, width=80), Hierarchy("h", root))
    starts = [line.partition("  rule  mesh")[0] for line in stream.getvalue().splitlines()]
    assert {cell_len(start) for start in starts if "_end" not in start} == {68}


def test_a_chain_of_thousands_does_not_fill_the_screen_with_blanks() -> None:
    root = tip = joint("0")
    for number in range(1, 5_000):
        tip.children.append(joint(str(number)))
        tip = tip.children[0]
    lines = printed(root)
    assert len(lines) == 5_000 and max(map(len, lines)) <= 80
    assert "[4999]" in lines[-1] and lines[-1].endswith(" 4999")


def test_log_entries_are_escaped_and_kept_as_reasons() -> None:
    stream = io.StringIO()
    with LogHandler(Console(file=stream, soft_wrap=True)) as log:
        logging.getLogger("x").info("not shown")
        logging.getLogger("x").warning("\x1b[2Jfrom a scene")
        entry = "ValueError: 100% wrong\nTraceback (most recent call last):\n  deep inside"
        core.Logger.error(entry)  # on a thread of its own
        core.Logger.error(entry)
        assert log.take_errors() == 2 * ["ValueError: 100% wrong"]
        assert log.take_errors() == []
        for text in ("first", "first", "last\nlast"):
            logging.getLogger("x").error(text)
        assert log.take_last_error() == "last"
        logging.getLogger("x").error("left\nTraceback (most recent call last):\n  deep inside")
    assert stream.getvalue().splitlines() == [
        "warning: \\x1b[2Jfrom a scene",
        "error: first",  # nobody took them: they must not be lost
        "error: left",
        "error: first (1 more time)",
    ]


def test_everything_is_logged_when_asked() -> None:
    stream = io.StringIO()
    with LogHandler(Console(file=stream, soft_wrap=True), verbose=True) as log:
        logging.getLogger("x").error("wrong\nTraceback (most recent call last):\n  deep inside")
        assert log.take_errors() == ["wrong"]
    lines = stream.getvalue().splitlines()
    assert lines == ["error: wrong", "  Traceback (most recent call last):", "    deep inside"]


def test_the_bar_comes_late_and_only_on_a_terminal() -> None:
    stream = io.StringIO()
    console = Console(file=stream, force_terminal=True, width=60)
    with LateProgress(console, 3) as bar:
        bar.step("quick.glb")
    assert stream.getvalue() == ""
    bar._start()  # the timer fires although the work has just ended
    assert stream.getvalue() == ""
    with LateProgress(console, 3) as bar:
        bar.step("slow.glb")
        bar._start()
        with bar.hidden():
            shown = stream.getvalue()
            assert "slow.glb" in shown and "0/3" in shown
            assert shown.endswith("\x1b[1A\x1b[2K")  # gone from the screen
