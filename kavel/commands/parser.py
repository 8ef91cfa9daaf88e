"""A parser of arguments whose commands answer for themselves."""

from __future__ import annotations

import argparse
import difflib
import sys
from collections.abc import Sequence
from typing import Any, NoReturn

from kavel.terminal import make_console, printable

_USAGE = 2
_ALIKE = 0.7  # how much an option must resemble another one to be taken for it
_OF_PROGRAM = "--home"


class Parser(argparse.ArgumentParser):
    """What a command does not know is told with the usage of that command, not of the program;
    options cannot be shortened, so that a new one never changes what an old script means."""

    def __init__(self, **options: Any) -> None:
        super().__init__(allow_abbrev=False, **options)

    # A command's parser is asked for what it knows, and would leave the rest to the program's.
    def parse_known_args(  # type: ignore[override]
        self, args: Sequence[str] | None = None, namespace: Any = None
    ) -> tuple[argparse.Namespace, list[str]]:
        given = sys.argv[1:] if args is None else list(args)
        self._refuse_unknown_before_command(given)
        found, unknown = super().parse_known_args(given, namespace)
        if unknown:
            self.error(self._unknown(unknown))
        return found, []

    def error(self, message: str) -> NoReturn:
        console = make_console(stderr=True)
        self.print_usage(console.file)
        console.print(f"{self.prog}: {printable(message)}")
        console.print(f"`{self.prog} --help` lists the options.")
        raise SystemExit(_USAGE)

    def _check_value(self, action: argparse.Action, value: Any) -> None:
        choices = action.choices
        if choices is None or value in choices:
            return
        known = [str(choice) for choice in choices]
        close = difflib.get_close_matches(str(value), known, 1)
        hint = f"is {close[0]} meant?" if close else f"there are {', '.join(known)}"
        if action.option_strings:
            self.error(f'{action.option_strings[0]}: there is no "{value}"; {hint}')
        self.error(f'there is no {str(action.metavar).lower()} "{value}"; {hint}')

    def _refuse_unknown_before_command(self, arguments: Sequence[str]) -> None:
        """Else what the command lacks would be told first."""
        if self._subparsers is None:
            return
        rest = iter(arguments)
        for argument in rest:
            name, _, value = argument.partition("=")
            if not name.startswith("-") or name == "-":
                return
            action = self._option_string_actions.get(name)
            if action is None:
                self.error(self._unknown([argument]))
            if action.nargs is None and not value:
                next(rest, None)

    def _unknown(self, arguments: Sequence[str]) -> str:
        first = arguments[0]
        if not first.startswith("-"):
            listed = " ".join(arguments)
            return f"nothing was expected at: {listed}; what is no option stands together"
        name = first.partition("=")[0]
        known = [option for option in self._option_string_actions if option.startswith("--")]
        if name == _OF_PROGRAM and name not in known:
            return f"{name} stands before the command: kavel {name} DIR COMMAND"
        close = difflib.get_close_matches(name, known, 1, _ALIKE)
        return f"there is no option {name}" + (f"; is {close[0]} meant?" if close else "")
