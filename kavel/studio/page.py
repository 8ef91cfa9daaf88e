"""The page that shows what is on the studio server.

It is made as a tree of elements, so that every text is escaped where it is written out.
"""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from datetime import datetime, timezone
from xml.etree import ElementTree
from xml.etree.ElementTree import Element, SubElement

import sqlalchemy as sa

from kavel.studio.database import Database, edits, projects
from kavel.studio.usage import UseOf, sum_up

_LISTED = 1000  # rows of a table
_STYLE = """
body { font-family: sans-serif; margin: 2em; }
table { border-collapse: collapse; }
th, td { text-align: left; padding: 0.2em 1em 0.2em 0; border-bottom: 1px solid #ccc; }
td.number { text-align: right; }
"""


@dataclass(frozen=True)
class _Listed:
    target: str
    name: str
    filename: str
    edited: float
    lost: int


def make_page(database: Database, version: str) -> bytes:
    """HTML, UTF-8."""
    html = Element("html", lang="en")
    head = SubElement(html, "head")
    SubElement(head, "meta", charset="utf-8")
    SubElement(head, "title").text = "Kavel studio server"
    SubElement(head, "style").text = _STYLE
    body = SubElement(html, "body")
    SubElement(body, "h1").text = "Kavel studio server"
    _add_projects(body, _projects(database))
    _add_use(body, sum_up(database))
    SubElement(body, "p").text = f"Kavel {version}"
    text = ElementTree.tostring(html, encoding="unicode", method="html")
    return ("<!DOCTYPE html>\n" + text).encode("utf-8")


def _projects(database: Database) -> list[_Listed]:
    here = (edits.c.target == projects.c.target) & (edits.c.filename == projects.c.filename)
    lost = sa.select(sa.func.count()).where(here & edits.c.lost).scalar_subquery()
    columns = (projects.c.target, projects.c.name, projects.c.filename, projects.c.edited, lost)
    query = sa.select(*columns).where(~projects.c.deleted)
    with database.reading() as connection:
        found = connection.execute(
            query.order_by(projects.c.target, projects.c.name, projects.c.filename)
        )
        return [_Listed(*row) for row in found]


def _add_projects(body: Element, listed: Sequence[_Listed]) -> None:
    SubElement(body, "h2").text = f"Projects ({len(listed)})"
    _add_table(
        body,
        ("target", "project", "file", "last edit", "lost edits kept"),
        (
            (item.target, item.name, item.filename, _when(item.edited), item.lost)
            for item in listed[:_LISTED]
        ),
        len(listed),
    )


def _add_use(body: Element, listed: Sequence[UseOf]) -> None:
    total = sum(item.runs for item in listed)
    SubElement(body, "h2").text = f"Use ({total} records)"
    _add_table(
        body,
        ("kind", "name", "records", "failed", "mean seconds", "users"),
        (
            (item.kind, item.name, item.runs, item.failures, f"{item.mean:.4g}", item.users)
            for item in listed[:_LISTED]
        ),
        len(listed),
    )


def _add_table(
    body: Element, titles: Iterable[str], rows: Iterable[Sequence[object]], count: int
) -> None:
    if not count:
        SubElement(body, "p").text = "None yet."
        return
    table = SubElement(body, "table")
    head = SubElement(table, "tr")
    for title in titles:
        SubElement(head, "th").text = title
    for row in rows:
        line = SubElement(table, "tr")
        for value in row:
            cell = SubElement(line, "td", {"class": "number"} if isinstance(value, int) else {})
            cell.text = str(value)
    if count > _LISTED:
        SubElement(body, "p").text = f"And {count - _LISTED} more."


def _when(seconds: float) -> str:
    try:
        time = datetime.fromtimestamp(seconds, timezone.utc)
    except (OverflowError, OSError, ValueError):
        return f"{seconds:g}"
    return time.strftime("%Y-%m-%d %H:%M:%S UTC")
