"""What was exported, as text."""

from __future__ import annotations

from rich.console import Console
from rich.text import Text

from kavel.export_outcome import (
    EXPORTED,
    REFUSED,
    ExportRun,
    HierarchyExport,
    SceneExport,
)
from kavel.outcome import RunOutcome
from kavel.report import ERROR, UNMATCHED
from kavel.terminal import count, printable
from kavel.validation_printing import checks_verdict

_LONGEST = 200  # characters of a reason
_UNITS = ("bytes", "kB", "MB", "GB")


def print_hierarchy_export(console: Console, hierarchy: HierarchyExport) -> None:
    """A line for each file, or why there is none."""
    name = printable(hierarchy.name) or "(no name)"
    if hierarchy.status != EXPORTED:
        style = "yellow" if hierarchy.status == REFUSED else "red"
        reason = printable(hierarchy.reason)
        text = f": {reason if len(reason) <= _LONGEST else reason[:_LONGEST] + ' ...'}"
        if hierarchy.failures > 1:
            text += f" and {count(hierarchy.failures - 1, 'more finding')}"
        console.print(Text.assemble((hierarchy.status, style), f"  {name}{text}"))
        return
    for path, size in hierarchy.sizes.items():
        line = Text.assemble(("exported", "green"), f"  {printable(path)}  {readable(size)}")
        if path == hierarchy.path:
            line.append(f"  {count(hierarchy.objects, 'object')}")
        if path in hierarchy.replaced:
            line.append("  in place of an earlier file", "yellow")
        console.print(line)


def export_verdict(scene: SceneExport, checks: RunOutcome | None) -> Text:
    """One line: what was exported and what was not. `checks` tells which checks could not be used,
    where only valid hierarchies are exported."""
    result = scene.scene
    line = Text.assemble((f"{printable(result.file)}: ", "bold"))
    if scene.status == ERROR:
        line.append(f"error: {printable(result.told)}", "red")
        return line
    if scene.status == UNMATCHED:
        line.append(f"nothing matched: {result.message}", "red")
    else:
        done, total = scene.count(EXPORTED), len(scene.hierarchies)
        counted = count(total, "hierarchy", "hierarchies")
        style = "green" if done == total else "red"
        line.append(f"{done} of {counted} exported", style)
        refused = scene.count(REFUSED)
        replaced = sum(len(hierarchy.replaced) for hierarchy in scene.hierarchies)
        if replaced:
            line.append(f", {count(replaced, 'earlier file')} replaced", "yellow")
        if refused:
            line.append(f", {refused} refused", "yellow")
        if total - done - refused:
            line.append(f", {total - done - refused} not written", "red")
    line.append(f", {result.strangers}", "yellow" if result.unassigned else "")
    unused = "" if checks is None else checks_verdict(checks)
    if unused:  # silence would read as valid
        line.append(f", {unused}", "red" if checks and checks.strict else "yellow")
    return line


def run_verdict(run: ExportRun) -> Text:
    """One line for all scenes."""
    done = sum(scene.status == EXPORTED for scene in run.scenes)
    style = "green" if done == len(run.scenes) else "red"
    files = sum(len(item.sizes) for scene in run.scenes for item in scene.hierarchies)
    line = Text.assemble((f"{done} of {count(len(run.scenes), 'scene')} exported", style))
    line.append(f", {count(files, 'file')}")
    return line


def readable(size: int) -> str:
    """A number of bytes as a person reads it, in steps of 1000."""
    value, unit = float(size), 0
    while value >= 999.5 and unit < len(_UNITS) - 1:
        value, unit = value / 1000, unit + 1
    return f"{size} bytes" if not unit else f"{value:.3g} {_UNITS[unit]}"
