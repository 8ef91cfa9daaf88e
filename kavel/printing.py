"""Scan results as text."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from dataclasses import dataclass

from rich.cells import cell_len
from rich.console import Console
from rich.text import Text

from kavel.columns import GAP, fitted, row_lines
from kavel.document import ERROR, Problem
from kavel.errors import ProjectError
from kavel.projects import ProjectFile
from kavel.report import MATCHED, UNASSIGNED, UNMATCHED, Hierarchy, SceneResult
from kavel.terminal import count, is_unicode, printable
from kavel.wrapping import console_width, wrapped

_BESIDE = 45  # cells that are left of a line for names, rules and types, however deep
_STEP = 3  # cells of one level
_SHORT_NAME = 8  # cells that a name gets at least
_LISTED = 10  # objects named with --verbose

_STYLES = {MATCHED: "green", UNMATCHED: "red"}


def print_hierarchy(console: Console, hierarchy: Hierarchy) -> None:
    """A tree of the matched objects: name, the rule that took it, type."""
    # Deeper lines keep their indentation: a chain of thousands of objects would otherwise print
    # more blanks than names.
    levels = max((console_width(console) - _BESIDE) // _STEP, 1)
    lines = list(_tree_lines(hierarchy, levels, is_unicode(console)))
    natural = [
        max(cell_len(line.guide + line.name) for line in lines),
        max(cell_len(line.rule) for line in lines),
        max(cell_len(line.kind) for line in lines),
    ]
    widths = fitted(natural, console_width(console))
    least = min(natural[0], max(cell_len(line.guide) for line in lines) + _SHORT_NAME)
    if widths[0] < least:
        widths = [least, *fitted(natural[1:], console_width(console) - least - GAP)]
    for line in lines:
        if not console.is_terminal and line.fits(widths):  # trees are long, and styles slow
            console.file.write(line.plain(widths))
        else:
            for text in line.texts(widths):
                console.print(text)


@dataclass(frozen=True)
class _TreeLine:
    """`below` stands under `guide` when the name goes on in a further line."""

    guide: str
    below: str
    name: str
    rule: str
    kind: str

    def fits(self, widths: Sequence[int]) -> bool:
        cells = (self.guide + self.name, self.rule, self.kind)
        return all(cell_len(cell) <= width for cell, width in zip(cells, widths))

    def plain(self, widths: Sequence[int]) -> str:
        cells = zip((self.guide + self.name, self.rule), widths)
        padded = (text + " " * (width - cell_len(text) + GAP) for text, width in cells)
        return f"{''.join(padded)}{self.kind}\n"

    def texts(self, widths: Sequence[int]) -> Iterator[Text]:
        indent = cell_len(self.guide)
        names = wrapped(Text(self.name, "bold"), max(widths[0] - indent, 1))
        label = Text("\n").join(
            Text.assemble((self.below if number else self.guide, "dim"), name)
            for number, name in enumerate(names)
        )
        cells = [label, Text(self.rule, "cyan"), Text(self.kind, "dim")]
        return row_lines(cells, widths, hang=0)


def _tree_lines(hierarchy: Hierarchy, levels: int, unicode: bool) -> Iterator[_TreeLine]:
    branch, corner, bar = ("├─ ", "└─ ", "│  ") if unicode else ("|- ", "`- ", "|  ")
    bars: list[str] = []  # what stands below each ancestor but the root
    guide = below = ""
    for depth, joint, last in hierarchy.root.walk():
        if depth:
            del bars[depth - 1 :]
            deep = [f"[{depth}] "] if len(bars) > levels else []
            outer = [*bars[:levels], *deep]
            guide = "".join([*outer, corner if last else branch])
            bars.append(" " * _STEP if last else bar)
            below = "".join([*outer[: len(bars) - 1], bars[-1]])
            below += " " * (cell_len(guide) - cell_len(below))
        name = printable(joint.name) or "(no name)"
        yield _TreeLine(guide, below, name, printable(joint.rule), joint.type)


def verdict(result: SceneResult) -> Text:
    """One line: what matched in a scene and what no rule took."""
    line = Text.assemble((f"{printable(result.file)}: ", "bold"))
    if result.status not in _STYLES:
        line.append(f"error: {printable(result.told)}", "red")
        return line
    found = count(len(result.hierarchies), "hierarchy", "hierarchies")
    if result.reason == UNASSIGNED:
        line.append("failed: ", "red")
    if result.status == MATCHED:
        line.append(f"{found} matched", "green")
        line.append(f", {count(result.joint_count, 'joint')}")
    else:
        line.append(f"nothing matched: {result.message}", "red")
    style = "yellow" if result.unassigned else ""
    line.append(f", {result.strangers}", "red" if result.reason == UNASSIGNED else style)
    if result.kept:
        line.append(f", {result.kept} stored before and kept")
        if result.kept_invalid:
            line.append(f" ({result.kept_invalid} of them no longer valid)", "yellow")
    if result.saved:
        line.append(", saved")
    return line


def print_widened(console: Console, result: SceneResult) -> None:
    """The first of the selected objects in whose place more was scanned."""
    for path, root in list(result.widened.items())[:_LISTED]:
        is_top = root.count("/") == 1  # components of paths hold none
        kind = "its top object" if is_top else "the object above it that the ghost item stands for,"
        text = f"{result.file}: the selection {path} is widened to {kind} {root}"
        console.print(Text(printable(text), "yellow"))
    more = len(result.widened) - _LISTED
    if more > 0:
        console.print(f"  and {more} more")


def print_unassigned(console: Console, result: SceneResult) -> None:
    """The first of the objects that no rule took."""
    for item in result.unassigned[:_LISTED]:
        console.print(f"  no rule took {printable(item.path)} ({item.type})")
    more = len(result.unassigned) - _LISTED
    if more > 0:
        console.print(f"  and {more} more")


def require_usable(project: ProjectFile, console: Console) -> None:
    """Print the project's problems. Errors: ProjectError when they make it unusable."""
    print_problems(console, project.path, project.checked.problems)
    if not project.checked.usable:
        errors = sum(problem.severity == ERROR for problem in project.checked.problems)
        found = "for the error" if errors == 1 else f"for the {errors} errors"
        raise ProjectError(f"{project.path}: the project cannot be used, {found} above")


def print_problems(console: Console, path: str, problems: list[Problem]) -> None:
    for problem in problems:
        style = "red" if problem.severity == ERROR else "yellow"
        console.print(Text(f"{printable(path)}: {printable(str(problem))}", style))
