"""Random name expressions with names that they may match, for fuzzing; every seed gives the same.

What is drawn is wider than what projects contain: sets that start with a bracket, lazy and bounded
repeats, places in the middle, references, flags, characters beyond ASCII, lone surrogates. A part
of the expressions does not compile.
"""

from __future__ import annotations

import random
from collections.abc import Callable

Sample = Callable[[], str]
Part = tuple[str, Sample]
"""An expression, and a draw of a text that it may match by itself."""

_CHARACTERS: tuple[tuple[str, str], ...] = (
    *((letter, letter) for letter in "aabbx_1-,"),
    (".", "ab1_ -é\n"),
    (r"\d", "0129"),
    (r"\w", "ab1_éж"),
    (r"\s", " \t\n\x1c\xa0"),
    (r"\D", "a_-"),
    (r"\W", "-. $"),
    (r"\S", "a1_"),
    (r"\.", "."),
    (r"\$", "$"),
    (r"\\", "\\"),
    (r"\n", "\n"),
    (r"\x00", "\0"),
    ("\0", "\0"),
    ("ж", "ж"),
    ("é", "é"),
    ("\U0001f600", "\U0001f600"),
    ("\udc80", "\udc80"),
    ("[ab]", "ab"),
    ("[^a]", "b1_é\n"),
    ("[a-c_]", "abc_"),
    (r"[\d_]", "1_"),
    (r"[^\W\d]", "ab_ж"),
    ("[]a]", "]a"),
    ("[^]a]", "b1"),
    (r"[a\]b]", "a]b"),
    ("[^a-я]", "1_Z"),
    ("[ж-яa]", "жюa"),
    (r"[\x00-\x7f]", "a\0\x7f"),
)
_PLACES = ("^", "$", "$", r"\A", r"\Z")
_REPEATS: tuple[tuple[str, int, int], ...] = (
    ("*", 0, 3),
    ("+", 1, 3),
    ("?", 0, 1),
    ("{2}", 2, 2),
    ("{1,}", 1, 3),
    ("{,2}", 0, 2),
    ("{1,2}", 1, 2),
    ("{0}", 0, 0),
)
_LIGHT = tuple(repeat for repeat in _REPEATS if repeat[0] in ("?", "{2}", "{0}"))
_FLAGS = ("(?i)", "(?s)", "(?i)(?s)", "(?m)", "(?x)", "(?a)")
_ODD_PARTS = (
    r"\b", r"\B", "(?=a)", "(?!b)", "(?<=a)", "(?<!b)", r"\1", "(?P=n)", "(?P<n>a)", "(?P<a>b)",
    "(?i:A)", "(?#c)", "(", ")", "[", "*", "{", "{1", "}", "(?(1)a|b)", "(?>a)", "a*+", "x)|(?:y",
    r"(?m:^)", "\\", "<", ">", "<>", "<c>", ":",
)  # fmt: skip
_STRANGE = "abAx_1-,.$\\]\n \0éжЖ\U0001f600\ud83d\ude00\udc80\u2028\x7f(<>"


def _is_heavy(text: str) -> bool:
    """Whether repeats of it take time that grows with a power of two of a name's length."""
    return len(text) > 6 and any(mark in text for mark in "*+,")


class Expressions:
    """Draws expressions from `rng`; `odd` is the share of parts out of the ordinary."""

    def __init__(self, rng: random.Random, odd: float = 0.03) -> None:
        self.rng = rng
        self.odd = odd

    def chance(self, share: float) -> bool:
        return self.rng.random() < share

    def character(self) -> Part:
        text, matched = self.rng.choice(_CHARACTERS)
        return text, lambda: self.rng.choice(matched)

    def group(self, level: int) -> Part:
        text, draw = self.branch(level - 1)
        return (f"({text})" if self.chance(0.5) else f"(?:{text})"), draw

    def part(self, level: int) -> Part:
        if self.chance(self.odd):
            return self.rng.choice(_ODD_PARTS), lambda: self.rng.choice(("", "a"))
        if self.chance(0.07):
            return self.rng.choice(_PLACES), lambda: ""
        inner = self.group(level) if level > 0 and self.chance(0.3) else self.character()
        return self.repeated(inner) if self.chance(0.35) else inner

    def repeated(self, inner: Part) -> Part:
        text, draw = inner
        mark, least, most = self.rng.choice(_LIGHT if _is_heavy(text) else _REPEATS)
        lazy = "?" if self.chance(0.3) else ""
        return f"{text}{mark}{lazy}", lambda: "".join(
            draw() for _ in range(self.rng.randint(least, most))
        )

    def sequence(self, level: int) -> Part:
        parts = [self.part(level) for _ in range(self.rng.choice((0, 1, 1, 2, 2, 3)))]
        return "".join(text for text, _ in parts), lambda: "".join(draw() for _, draw in parts)

    def branch(self, level: int) -> Part:
        ways = [self.sequence(level) for _ in range(self.rng.choice((1, 1, 1, 2, 3)))]
        return "|".join(text for text, _ in ways), lambda: self.rng.choice(ways)[1]()

    def flags(self) -> str:
        return self.rng.choice(_FLAGS) if self.chance(self.odd * 2) else ""

    def body(self, level: int = 1) -> Part:
        """What may stand in a definition: nothing that ends it or makes it two."""
        while True:
            text, draw = self.branch(level)
            if not set(text) & set("<>:\n"):
                return self.flags() + text, draw

    def name(self, draw: Sample) -> str:
        """A text that is likely to match, perhaps damaged."""
        name = draw()
        for _ in range(self.rng.choice((0, 0, 0, 1, 1, 2))):
            place = self.rng.randint(0, len(name))
            name = name[:place] + self.rng.choice(_STRANGE) + name[place + self.rng.randint(0, 1) :]
        return name[:16]


class AnchorCase:
    """Some anchors with captures on two branches, and expressions that define and use them."""

    PATH = "/r/a/x"
    _SCOPES = ("/r", "/r", "/r/a", "/r/a", "/r/b", "/r/a/x", "|r", "/r/ab", "")
    _TEXTS = ("a", "b1", "ab_", "12", "2", "x", "ж", "a\n", "é_1", "\U0001f600", "\udc80", " ", ",",
              "", "a.b", "+", "<b>", "\0", "(", "^a", "a|b", "\\", "$")  # fmt: skip

    def __init__(self, seed: int) -> None:
        self.rng = random.Random(seed)
        self.expressions = Expressions(self.rng, self.rng.choice((0.0, 0.0, 0.03, 0.15)))
        self.bodies: dict[str, Part] = {}
        self.state: dict[str, set[tuple[str, str]]] = {}
        for _ in range(self.rng.choice((0, 1, 2, 2, 3))):
            body = self.expressions.body()
            self.bodies[f"<{self.rng.choice('abb')}:{body[0]}>"] = body
        for key in self.bodies:
            captures = self.rng.choice((0, 1, 1, 2))
            self.state[key] = {
                (self.rng.choice(self._SCOPES), self.capture()) for _ in range(captures)
            }

    def capture(self) -> str:
        plain = self.expressions.chance(0.75)
        return self.rng.choice(self._TEXTS[:7] if plain else self._TEXTS)

    def use(self, key: str) -> Part:
        texts = [text for _, text in sorted(self.state[key])]
        body = self.bodies[key][1]
        usage = key.partition(":")[0] + ">"
        return (
            usage,
            lambda: self.rng.choice(texts) if texts and self.rng.random() < 0.8 else body(),
        )

    def expression(self) -> Part:
        """Parts of all kinds in a row, some of them in groups, most with an end."""
        rng, expressions = self.rng, self.expressions
        left = list(self.bodies)
        parts: list[Part] = []
        for _ in range(rng.choice((1, 2, 3, 3, 4))):
            way = rng.random()
            if way < 0.25 and left:
                key = left.pop(rng.randrange(len(left)))
                part: Part = (key, self.bodies[key][1])
            elif way < 0.65 and self.bodies:
                part = self.use(rng.choice(list(self.bodies)))
            else:
                part = expressions.part(2)
            if expressions.chance(0.08):
                part = (f"({part[0]})", part[1])
            if expressions.chance(0.03) and not _is_heavy("".join(self.state)):
                part = expressions.repeated(part)
            parts.append(part)
            if expressions.chance(0.3):
                parts.append(("_", lambda: "_"))
        end = "$" if expressions.chance(0.5) else ""
        text = expressions.flags() + "".join(part for part, _ in parts) + end
        return text, lambda: "".join(draw() for _, draw in parts)
