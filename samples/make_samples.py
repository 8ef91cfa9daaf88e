"""Make the bundled samples beside this script, or with ``--check`` compare them with its output.

    python samples/make_samples.py [--check]

Needs numpy. The same bytes come out each time; ``--check`` names the files that differ and then
ends with exit code 1.
"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

import adventurers
import character
from project_writer import text
from scene_writer import Node, glb

FOLDER = Path(__file__).resolve().parent


def samples() -> dict[str, bytes]:
    """Return the content of every sample by its file name."""

    def scene_file(nodes: list[Node]) -> bytes:
        return glb(nodes, character.MESHES, character.MATERIALS)

    files = {"character.glb": scene_file(character.scene())}
    for name in character.FAULTS:
        files[name] = scene_file(character.broken_scene(name))
    meshes = {**character.MESHES, **character.DRAFT_MESHES}
    materials = {**character.MATERIALS, **character.DRAFT_MATERIALS}
    files["draft.glb"] = glb(character.draft(), meshes, materials)
    for project in (character.project(), adventurers.project()):
        files[project.filename] = text(project).encode("utf-8")
    return files


def main() -> int:
    """Write or compare the samples and return the exit code."""
    parser = argparse.ArgumentParser(description="Make the samples that Kavel bundles.")
    parser.add_argument("--check", action="store_true", help="compare only, write nothing")
    check = parser.parse_args().check
    differing = 0
    for name, content in samples().items():
        path = FOLDER / name
        if path.exists() and path.read_bytes() == content:
            continue
        differing += 1
        if check:
            print(f"{name} is not what this script makes", file=sys.stderr)
        else:
            path.write_bytes(content)
            print(f"{name}: {len(content)} bytes")
    return 1 if check and differing else 0


if __name__ == "__main__":
    sys.exit(main())
