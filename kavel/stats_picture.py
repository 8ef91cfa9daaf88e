"""The usage records of checks as a picture: plain SVG, which needs no font and no program of its
own."""

from __future__ import annotations

import math
from collections.abc import Iterator, Sequence
from xml.sax.saxutils import escape, quoteattr

from rich.cells import cell_len

from kavel.findings import ERROR, FAIL, INFO, PASS
from kavel.terminal import count, printable
from kavel.usage import CheckUsage

_ROW, _SIZE, _CHARACTER = 22, 13, 8.0  # height of a row and of letters, width of a wide letter
_MARGIN, _GAP = 20, 24
_RUNS, _DECADE = 220, 52  # widths of the diagram of runs, and of each step in that of times
_GROUND, _INK, _FAINT, _LINE = "#22262b", "#e4e6e8", "#98a0a8", "#3d444c"
_MEAN, _WORST = "#f2d16b", "#9a7f2e"
_SHORTEST = 1e-6  # seconds that can be told from none

#: Of the parts of a bar, in their order from the left.
COLOURS = {ERROR: "#b06bd6", FAIL: "#dd5a5a", INFO: "#5b9bd5", PASS: "#6fae5d"}


def stats_picture(usages: Sequence[CheckUsage]) -> str:
    """An SVG document: for each check its runs by status, and how long a run took in the mean and
    at worst, with the scales and a legend. The same figures give the same text."""
    drawing = _Drawing(usages)
    body = "\n".join(drawing.parts())
    width, height = drawing.width, drawing.height
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
        f'height="{height}" font-family="DejaVu Sans, Verdana, sans-serif" font-size="{_SIZE}">\n'
        f"<title>kavel stats</title>\n"
        f'<rect width="{width}" height="{height}" fill="{_GROUND}"/>\n{body}\n</svg>\n'
    )


def seconds(value: float) -> str:
    """With the unit that fits, in three digits: "1.20 s", "350 ms", "12.5 µs"."""
    scaled, unit = _scaled(value)
    # Not 1e+03, and no point at the end.
    text = f"{scaled:.0f}" if scaled >= 99.95 or not scaled else f"{scaled:#.3g}"
    return f"{text} {unit}"


def _scaled(value: float) -> tuple[float, str]:
    for unit, scale in (("s", 1.0), ("ms", 1e3)):
        if value * scale >= 1:
            return value * scale, unit
    return value * 1e6, "µs"


def _mark(value: float) -> str:
    """A power of ten, without digits after it."""
    scaled, unit = _scaled(value)
    return f"{scaled:.3g} {unit}"


class _Drawing:
    def __init__(self, usages: Sequence[CheckUsage]) -> None:
        self._usages = usages
        self._most = max((usage.runs for usage in usages), default=1)
        times = [time for usage in usages for time in (usage.mean, usage.worst)]
        times = [max(time, _SHORTEST) for time in times] or [_SHORTEST]
        self._low = math.floor(math.log10(min(times)))
        self._high = max(math.ceil(math.log10(max(times))), self._low + 1)
        self._top = _MARGIN + 3 * _ROW
        self._names = _MARGIN
        self._ids = self._names + self._text_width(usage.name for usage in usages)
        self._counts = self._ids + self._text_width(usage.check for usage in usages)
        self._runs = self._counts + 150
        self._times = self._runs + _RUNS + 2 * _GAP
        self._figures = self._times + _DECADE * max(self._high - self._low, 5) + _GAP
        self.width = round(self._figures + 170)
        self._bottom = self._top + len(usages) * _ROW
        self.height = self._bottom + 7 * _ROW

    def parts(self) -> Iterator[str]:
        yield _text(_MARGIN, _MARGIN + 16, "kavel stats", size=18)
        runs = count(sum(usage.runs for usage in self._usages), "run")
        told = f"{runs} of {count(len(self._usages), 'check')}"
        yield _text(_MARGIN + 130, _MARGIN + 16, told, _FAINT)
        if not self._usages:
            yield _text(_MARGIN, self._top, "no check has run yet")
            return
        yield from self._headings()
        for number, usage in enumerate(self._usages):
            yield from self._row(self._top + number * _ROW, usage)
        yield from self._legend(self._bottom + _ROW)

    def _headings(self) -> Iterator[str]:
        y = self._top - 14
        for x, text in ((self._names, "check"), (self._ids, "id")):
            yield _text(x, y, text, _FAINT)
        for x, text in self._number_columns():
            yield _text(x, y, text, _FAINT, anchor="end")
        yield _text(self._runs, y - 18, "runs by status", _FAINT)
        for runs in sorted({0, self._most // 2, self._most}):
            yield from self._tick(self._runs + runs * _RUNS / self._most, str(runs))
        yield _text(self._times, y - 18, "time of one run, each step ten times more", _FAINT)
        for power in range(self._low, self._high + 1):
            yield from self._tick(self._time_x(10.0**power), _mark(10.0**power))

    def _number_columns(self) -> list[tuple[float, str]]:
        return [
            (self._counts + 50, "runs"),
            (self._counts + 126, "failures"),
            (self._figures + 66, "mean"),
            (self._figures + 150, "worst"),
        ]

    def _tick(self, x: float, text: str) -> Iterator[str]:
        yield _text(x, self._top - 14, text, _FAINT, anchor="middle", size=11)
        yield (
            f'<line x1="{x:.1f}" y1="{self._top - 8}" x2="{x:.1f}" y2="{self._bottom}" '
            f'stroke="{_LINE}"/>'
        )

    def _row(self, y: float, usage: CheckUsage) -> Iterator[str]:
        line = y + 16
        yield _text(self._names, line, usage.name)
        yield _text(self._ids, line, usage.check, _FAINT)
        figures = (
            str(usage.runs),
            str(usage.failures),
            seconds(usage.mean),
            seconds(usage.worst),
        )
        for (end, _), figure in zip(self._number_columns(), figures):
            yield _text(end, line, figure, anchor="end")
        x = self._runs
        for status, colour in COLOURS.items():
            if usage.counts[status]:
                # A single failure among thousands is seen.
                width = max(usage.counts[status] * _RUNS / self._most, 2.0)
                yield _rectangle(x, y + 4, width, colour)
                x += width
        mean, worst = self._time_x(usage.mean), self._time_x(usage.worst)
        yield _rectangle(mean, y + 8, max(worst - mean, 1.0), _WORST, height=6)
        yield _rectangle(mean - 2, y + 4, 4, _MEAN)

    def _legend(self, y: float) -> Iterator[str]:
        yield _text(self._runs, y + 11, "runs", _FAINT)
        for number, (status, colour) in enumerate(COLOURS.items(), 1):
            words = "error: did not run to its end" if status == ERROR else status
            yield _rectangle(self._runs, y + number * _ROW, 14, colour)
            yield _text(self._runs + 22, y + number * _ROW + 11, words)
        yield _text(self._times, y + 11, "time", _FAINT)
        yield _rectangle(self._times + 5, y + _ROW, 4, _MEAN)
        yield _text(self._times + 22, y + _ROW + 11, "the mean of all runs")
        yield _rectangle(self._times, y + 2 * _ROW + 4, 14, _WORST, height=6)
        yield _text(self._times + 22, y + 2 * _ROW + 11, "from the mean to the slowest run")
        yield _text(_MARGIN, y + 11, "checks", _FAINT)
        yield _text(_MARGIN, y + _ROW + 11, "those that took longest in all stand first")
        yield _text(_MARGIN, y + 2 * _ROW + 11, "failures are runs that end with fail or error")

    def _time_x(self, time: float) -> float:
        power = math.log10(max(time, _SHORTEST))
        return self._times + _DECADE * (power - self._low)

    @staticmethod
    def _text_width(texts: Iterator[str]) -> float:
        longest = max((cell_len(printable(text)) for text in texts), default=0)
        return longest * _CHARACTER + (_GAP if longest else 0)


def _text(
    x: float, y: float, text: str, colour: str = _INK, anchor: str = "start", size: int = _SIZE
) -> str:
    return (
        f'<text x="{x:.1f}" y="{y:.1f}" fill={quoteattr(colour)} text-anchor="{anchor}" '
        f'font-size="{size}">{escape(printable(text))}</text>'
    )


def _rectangle(x: float, y: float, width: float, colour: str, height: float = 14) -> str:
    return f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height}" fill="{colour}"/>'
