"""Check modules in folders, for tests of what loads and lists them."""

from __future__ import annotations

from pathlib import Path

BASE = """
import core

class Host(core.Check.Base):
    pass
"""


def check(name: str, **attributes: object) -> str:
    """The source of a check class; its identity is its name unless the attributes say otherwise."""
    members = {"class_id": name, "short_name": name, "long_name": name, "category": "mesh"}
    lines = [f"    {key} = {value!r}" for key, value in {**members, **attributes}.items()]
    return "\n".join([f"class {name}(Host):", *lines, ""])


def module(folder: Path, name: str, *parts: str) -> Path:
    """Writes a module that holds the base of a host and `parts`."""
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / f"{name}.py"
    path.write_text(BASE + "".join(parts), encoding="utf-8")
    return path
