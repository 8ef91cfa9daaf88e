"""`kavel demo`: the main job on the bundled sample."""

from __future__ import annotations

import argparse
import os
from typing import Any

from kavel.commands.scan import scan_scenes
from kavel.errors import KavelError
from kavel.projects import read_project
from kavel.report import MATCHED, UNMATCHED
from kavel.samples import broken_scenes, samples_directory
from kavel.terminal import make_console


def add_parser(subparsers: Any) -> None:
    parser = subparsers.add_parser(
        "demo",
        help="scan the bundled sample",
        description="Scan the bundled character, and a broken variant that must not match.",
    )
    parser.set_defaults(run=run)


def run(arguments: argparse.Namespace) -> int:
    folder = samples_directory()
    broken = broken_scenes()
    if not broken:
        raise KavelError(f"{folder}: there is no broken sample")
    project = read_project(os.path.join(folder, "character.json"))
    options = argparse.Namespace(
        scenes=[os.path.join(folder, "character.glb"), broken[0]],
        select=[],
        append=False,
        save=False,
        lod_names=None,
        quiet=False,
        verbose=False,
    )
    output, errors = make_console(), make_console(stderr=True)
    results = scan_scenes(project, options, output, errors)
    if [result.status for result in results] != [MATCHED, UNMATCHED]:
        raise KavelError(
            "the samples did not behave: one must match and its broken variant must not"
        )
    output.print("As it should be: the character follows the project, its broken variant does not.")
    return 0
