"""Scan results as text."""

from __future__ import annotations

from collections.abc import Iterator

from rich.cells import cell_len
from rich.console import Console
from rich.text import Text

from kavel.document import ERROR, Problem
from kavel.errors import ProjectError
from kavel.projects import ProjectFile
from kavel.report import MATCHED, UNMATCHED, Hierarchy, SceneResult
from kavel.terminal import count, is_unicode, printable

# Beyond this depth the lines keep their indentation: a chain of thousands of objects would
# otherwise print more blanks than names.
_MAX_INDENT = 40
_MAX_COLUMN = 60
_LISTED = 10  # objects named with --verbose

_STYLES = {MATCHED: "green", UNMATCHED: "red"}


def print_hierarchy(console: Console, hierarchy: Hierarchy) -> None:
    """A tree of the matched objects: name, the rule that took it, type."""
    lines = list(_tree_lines(hierarchy, is_unicode(console)))
    name_width = min(max(cell_len(guide + name) for guide, name, _, _ in lines), _MAX_COLUMN)
    rule_width = min(max(cell_len(rule) for _, _, rule, _ in lines), _MAX_COLUMN)
    for guide, name, rule, kind in lines:
        name_pad = " " * max(name_width - cell_len(guide + name), 0)
        rule_pad = " " * max(rule_width - cell_len(rule), 0)
        if console.is_terminal:
            styled = ((guide, "dim"), (name, "bold"), name_pad, "  ", (rule, "cyan"), rule_pad)
            console.print(Text.assemble(*styled, "  ", (kind, "dim")))
        else:
            console.file.write(f"{guide}{name}{name_pad}  {rule}{rule_pad}  {kind}\n")


def _tree_lines(hierarchy: Hierarchy, unicode: bool) -> Iterator[tuple[str, str, str, str]]:
    branch, corner, bar = ("├─ ", "└─ ", "│  ") if unicode else ("|- ", "`- ", "|  ")
    bars: list[str] = []  # what stands below each ancestor but the root
    guide = ""
    for depth, joint, last in hierarchy.root.walk():
        if depth:
            del bars[depth - 1 :]
            deep = [f"[{depth}] "] if len(bars) > _MAX_INDENT else []
            guide = "".join([*bars[:_MAX_INDENT], *deep, corner if last else branch])
            bars.append("   " if last else bar)
        name = printable(joint.name) or "(no name)"
        yield guide, name, printable(joint.rule), joint.type


def verdict(result: SceneResult) -> Text:
    """One line: what matched in a scene and what no rule took."""
    line = Text.assemble((f"{printable(result.file)}: ", "bold"))
    if result.status not in _STYLES:
        line.append(f"error: {printable(result.message)}", "red")
        return line
    found = count(len(result.hierarchies), "hierarchy", "hierarchies")
    if result.status == MATCHED:
        line.append(f"{found} matched", "green")
        line.append(f", {count(result.joint_count, 'joint')}")
    else:
        line.append(f"nothing matched: {result.message}", "red")
    left = len(result.unassigned)
    line.append(f", {count(left, 'object')} that no rule took", "yellow" if left else "")
    if result.kept:
        line.append(f", {result.kept} stored before and kept")
        if result.kept_invalid:
            line.append(f" ({result.kept_invalid} of them no longer valid)", "yellow")
    if result.saved:
        line.append(", saved")
    return line


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
        raise ProjectError(f"{project.path}: the project cannot be used")


def print_problems(console: Console, path: str, problems: list[Problem]) -> None:
    for problem in problems:
        style = "red" if problem.severity == ERROR else "yellow"
        console.print(Text(f"{printable(path)}: {printable(str(problem))}", style))
