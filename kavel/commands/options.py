"""Arguments that several commands share."""

from __future__ import annotations

import argparse
import re


def add_scenes(parser: argparse.ArgumentParser, selected: str) -> None:
    """`selected` tells what is done with the selected objects."""
    parser.add_argument("scenes", nargs="+", metavar="SCENE", help="a .gltf or .glb file")
    parser.add_argument(
        "--select",
        action="append",
        default=[],
        metavar="PATH",
        help=f'{selected}, for example "/Rig"; may be given several times; all top objects when '
        "not given; a scan widens one below the top to its top object, and tells",
    )
    parser.add_argument(
        "--lod-names",
        metavar="REGEX",
        type=_expression,
        help="groups whose name matches from its start count as LOD groups",
    )


def add_fail_on_unassigned(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "--fail-on-unassigned",
        action="store_true",
        help="a scene with objects that no rule took fails, and they are named",
    )


def add_project(parser: argparse.ArgumentParser, required: bool) -> None:
    parser.add_argument(
        "--project",
        required=required,
        metavar="FILE|NAME",
        help="a project file, or the name of one of your projects",
    )


def add_json(parser: argparse.ArgumentParser, in_place_of: str, of_action: bool = False) -> None:
    """`of_action`: for a parser of actions, whose command takes the option as well."""
    parser.add_argument(
        "--json",
        default=argparse.SUPPRESS if of_action else None,
        metavar="FILE|-",
        help=f'write a JSON report; "-": to stdout, in place of {in_place_of}',
    )


def add_check_folders(parser: argparse.ArgumentParser, of_action: bool = False) -> None:
    """`of_action`: for a parser of actions, whose command takes the option as well."""
    parser.add_argument(
        "--checks",
        action="append",
        # Apart: what an action's parser finds takes the place of what its command's has found.
        dest=_OF_ACTION if of_action else "checks",
        default=argparse.SUPPRESS if of_action else [],
        metavar="DIR",
        help="a folder with checks of your own, searched before those of your settings; may be "
        "given several times; they are programs, and run with your rights",
    )


def check_folders(arguments: argparse.Namespace) -> list[str]:
    """The folders that `--checks` named, before and after the action."""
    return [*arguments.checks, *getattr(arguments, _OF_ACTION, [])]


_OF_ACTION = "checks_of_action"


def _expression(text: str) -> str:
    try:
        re.compile(text)
    except re.error as error:
        raise argparse.ArgumentTypeError(f"not a regular expression: {error}") from None
    return text
