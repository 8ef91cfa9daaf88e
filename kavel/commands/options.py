"""Arguments that several commands share."""

from __future__ import annotations

import argparse
import re


def add_scenes(parser: argparse.ArgumentParser, selected: str) -> None:
    """`selected` tells what is done with the selected objects."""
    parser.add_argument("scenes", nargs="+", metavar="SCENE", help="a .gltf or .glb file")
    parser.add_argument(
        "--select",
        nargs="+",
        action="extend",
        default=[],
        metavar="PATH",
        help=f'{selected}, for example "/Rig"; all top objects when not given',
    )
    parser.add_argument(
        "--lod-names",
        metavar="REGEX",
        type=_expression,
        help="groups whose name matches from its start count as LOD groups",
    )


def add_project(parser: argparse.ArgumentParser, required: bool) -> None:
    parser.add_argument(
        "--project",
        required=required,
        metavar="FILE|NAME",
        help="a project file, or the name of one of your projects",
    )


def add_json(parser: argparse.ArgumentParser, in_place_of: str) -> None:
    parser.add_argument(
        "--json",
        metavar="FILE|-",
        help=f'write a JSON report; "-": to stdout, in place of {in_place_of}',
    )


def add_check_folders(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "--checks",
        action="append",
        default=[],
        metavar="DIR",
        help="a folder with checks of your own, searched before those of your settings; they are "
        "programs, and run with your rights",
    )


def _expression(text: str) -> str:
    try:
        re.compile(text)
    except re.error as error:
        raise argparse.ArgumentTypeError(f"not a regular expression: {error}") from None
    return text
