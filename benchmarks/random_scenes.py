"""Small random hierarchies with their patterns, for fuzzing. Every seed gives the same one."""

from __future__ import annotations

import random
from collections.abc import Iterator, Sequence
from dataclasses import dataclass, field

from random_expressions import Expressions, Part
from scenes import Case, DictNode, DictRule, MemoryScene, rule

_WORDS = ("arm", "leg", "geo", "lod", "Root", "тело", "x", "jaw")
_ANCHORS: dict[str, tuple[tuple[str, tuple[str, ...]], ...]] = {
    "side": (("(L|R)", ("L", "R")), ("[LR]", ("L", "R")), ("L|R", ("L", "R"))),
    "id": ((r"\d+", ("1", "07", "12")), (r"\d+$", ("3", "07")), (".+", ("7", "a.b", "12_a"))),
    "tag": (("[a-z]+", ("foo", "bar")), (r"^\w+", ("foo", "q_1")), (r"[^_]*", ("", "bar"))),
}
_FILLERS: tuple[tuple[str, tuple[str, ...]], ...] = (
    (r"\d+", ("0", "12", "305")),
    (r"\w*", ("", "high", "a_1")),
    ("[a-c]", ("a", "b", "c")),
    ("(_old)?", ("", "_old")),
    (".", ("a", "-", "é")),
    ("(?:up|down)", ("up", "down")),
)
_TYPES = (
    ("mesh",), ("transform",), ("mesh", "transform"), ("locator", "mesh"), (), (), ("lodGroup",),
)  # fmt: skip
_RANGES = ((1, 1),) * 8 + ((0, 1), (1, 2), (1, 3), (2, 2), (0, 3), (1, 5), (0, 0), (2, 1))
_KINDS = ("mesh", "transform", "locator", "lodGroup")
_ODD: tuple[tuple[str, tuple[str, ...]], ...] = (
    ("<id:\\d+>_<id:\\d+>", ("1_2",)),  # defined twice: an error for every name
    ("(<id:\\d+>_)?mesh", ("1_mesh", "mesh")),  # the part before is no expression by itself
    ("(?i)ARM_<side:(l|r)>", ("arm_L", "Arm_r")),
    ("<tag:.+>_mesh$", ("f(x_mesh", "a+b_mesh", "<tag>_mesh", "12_mesh\n")),
    ("<id:\\d+>_<id>", ("1_2", "1_1")),
    ("<a:b:c>|<nobody>", ("<a:b:c>", "<nobody>")),
    ("<side:L|R>_arm_<id:\\d+>", ("L_arm_1", "R_arm_1")),
    ("", ("anything", "")),
    (r"cost\$<id:\d+>", ("cost$5",)),
)


_Piece = tuple[str, str, tuple[str, ...]]  # ("define" | "use" | "text", anchor, samples)


@dataclass
class _Item:
    """One pattern item: its rule, and per piece of its expression what may stand there."""

    rule: DictRule
    pieces: list[_Piece]
    children: list[_Item] = field(default_factory=list)

    def tree(self) -> DictNode:
        return {"stamp": self.rule["stamp"], "children": [item.tree() for item in self.children]}


@dataclass
class _Draft:
    """An object before it has a path, so that names can still be changed."""

    name: str
    kind: str
    children: list[_Draft] = field(default_factory=list)
    start: bool = False  # a scan starts here

    def walk(self) -> Iterator[_Draft]:
        yield self
        for child in self.children:
            yield from child.walk()


class _Generator:
    def __init__(self, seed: int, odd: float, wild: bool) -> None:
        self.rng = random.Random(seed)
        self.odd = odd
        self.wild = Expressions(self.rng, odd) if wild else None
        self.rules: list[DictRule] = []
        self.defined: dict[str, tuple[str, ...]] = {}  # anchor -> samples of its first definition

    def chance(self, share: float) -> bool:
        return self.rng.random() < share

    def expression(self, word: str) -> tuple[str, list[_Piece]]:
        """A word, then up to two pieces: fillers, anchor definitions or anchor uses."""
        rng = self.rng
        if self.wild is not None:
            return self.wild_expression(word, self.wild)
        if self.chance(self.odd):
            regex, samples = rng.choice(_ODD)
            return regex, [("text", "", samples)]
        parts: list[tuple[str, _Piece]] = [(word, ("text", "", (word,)))]
        for anchor in rng.sample(sorted(_ANCHORS), rng.choice((0, 1, 1, 2))):
            regex, samples = rng.choices(_ANCHORS[anchor], (8, 1, 1))[0]
            way = rng.random()
            if way < 0.2:
                regex, samples = rng.choice(_FILLERS)
                parts.append((regex, ("text", "", samples)))
            elif anchor in self.defined and way < 0.8 or way < 0.22:  # rarely one never defined
                parts.append((f"<{anchor}>", ("use", anchor, self.defined.get(anchor, samples))))
            else:
                self.defined.setdefault(anchor, samples)
                parts.append((f"<{anchor}:{regex}>", ("define", anchor, samples)))
        if self.chance(0.3):
            rng.shuffle(parts)
        begin = "^" if self.chance(0.2) else ""
        end = "$" if self.chance(0.7) else ""
        return begin + "_".join(part for part, _ in parts) + end, [piece for _, piece in parts]

    def wild_expression(self, word: str, wild: Expressions) -> tuple[str, list[_Piece]]:
        """The same out of random parts."""

        def texts(part: Part) -> tuple[str, ...]:
            return tuple(part[1]() for _ in range(4))

        parts: list[tuple[str, _Piece]] = [(word, ("text", "", (word,)))]
        for anchor in self.rng.sample(["a", "b", "c"], self.rng.choice((0, 1, 1, 2))):
            way = self.rng.random()
            if way < 0.2:
                part = wild.part(1)
                parts.append((part[0], ("text", "", texts(part))))
            elif anchor in self.defined and way < 0.75:
                parts.append((f"<{anchor}>", ("use", anchor, self.defined[anchor])))
            else:
                part = wild.body()
                self.defined.setdefault(anchor, texts(part))
                parts.append((f"<{anchor}:{part[0]}>", ("define", anchor, texts(part))))
        if self.chance(0.3):
            self.rng.shuffle(parts)
        end = "$" if self.chance(0.7) else ""
        return "_".join(part for part, _ in parts) + end, [piece for _, piece in parts]

    def item(self, word: str, depth: int) -> _Item:
        rng = self.rng
        regex, pieces = self.expression(word)
        types, (minimum, maximum) = rng.choice(_TYPES), rng.choice(_RANGES)
        number = len(self.rules) + 1
        data = rule(number, f"rule {number}", regex, types, minimum, maximum)
        self.rules.append(data)
        made = _Item(data, pieces)
        if depth > 0 and self.chance(0.7):
            made.children = self.level(rng.randint(1, 3), depth - 1)
        return made

    def level(self, count: int, depth: int) -> list[_Item]:
        items = [self.item(word, depth) for word in self.rng.sample(_WORDS, count)]
        if self.chance(0.04):
            again = self.rng.choice(items)  # the same rule twice on one level
            items.append(_Item(again.rule, again.pieces))
        if self.chance(0.04):
            lost = rule(0xFFFF, "lost", "")  # in the tree, not in the rule list
            items.append(_Item(lost, [("text", "", ("lost",))]))
        return items

    def draft(self, item: _Item, bound: dict[str, str]) -> _Draft:
        bound = dict(bound)
        texts = []
        for way, anchor, samples in item.pieces:
            text = self.rng.choice(samples)
            if way == "use":
                text = bound.get(anchor, text)
            elif way == "define":
                bound.setdefault(anchor, text)
            texts.append(text)
        made = _Draft("_".join(texts), self.rng.choice(item.rule["types"] or _KINDS))
        if not self.chance(0.04):  # else a leaf on an item that expects children
            made.children = self.drafts(item.children, bound)
        return made

    def drafts(self, items: Sequence[_Item], bound: dict[str, str]) -> list[_Draft]:
        made = []
        for item in items:
            minimum, maximum = item.rule["range"]
            for _ in range(self.rng.randint(minimum, max(minimum, maximum))):
                made.append(self.draft(item, bound))
        if self.chance(0.3):
            self.rng.shuffle(made)
        return made

    def mutate(self, tops: list[_Draft]) -> None:
        """Damage one object: its name, type, place, number or children."""
        rng = self.rng
        victim = rng.choice([draft for top in tops for draft in top.walk()])
        way = rng.randrange(6)
        if way == 0:
            victim.name = rng.choice(_WORDS) + rng.choice(("", "_L", "_12", "_bar"))
        elif way == 1:
            victim.name = victim.name.translate(str.maketrans("LR17", "RL71"))
        elif way == 2:
            victim.kind = rng.choice(_KINDS)
        elif way == 3 and victim.children:
            victim.children.pop(rng.randrange(len(victim.children)))
        elif way == 4 and victim.children:
            twin = rng.choice(victim.children)
            victim.children.append(_Draft(twin.name, twin.kind))
        else:
            victim.children.append(_Draft("stray", rng.choice(_KINDS)))

    def tops(self) -> tuple[list[DictNode], list[_Draft]]:
        """The pattern's tree and the top objects of the scene, with or without a ghost item."""
        rng = self.rng
        ghost = rng.choice(("",) * 6 + ("untyped", "scene root", "listed", "named", "mixed"))
        if not ghost:
            items = self.level(1 if self.chance(0.8) else 2, 3)
            for item in items:  # each root is matched alone, so every item must do with one object
                item.rule["range"] = [int(len(items) == 1), 1]
            drafts = [self.draft(rng.choice(items), {}) for _ in range(rng.randint(1, 3))]
            for draft in drafts:
                draft.start = True
            return [item.tree() for item in items], drafts
        items = self.level(rng.randint(1, 3), 2)
        types = {"untyped": [], "named": ["transform"], "mixed": ["transform", "sceneRoot"]}
        data = rule(
            len(self.rules) + 1, "ghost", r"(world|set_\d+)$", types.get(ghost, ["sceneRoot"])
        )
        self.rules.append(data)
        tree = [{"stamp": data["stamp"], "children": [item.tree() for item in items]}]
        if self.chance(0.1):
            tree.insert(rng.randrange(2), self.item("beside", 1).tree())
        if ghost in ("untyped", "scene root"):
            drafts = self.drafts(items, {})
            for draft in drafts:
                draft.start = True
            return tree, drafts
        worlds = []
        for name in ("world", "set_1", "other")[: rng.randint(1, 3)]:
            kind = "sceneRoot" if ghost == "listed" else "transform"
            worlds.append(_Draft(name, kind, self.drafts(items, {}), start=True))
        nested = ghost != "listed" and self.chance(0.4)
        return tree, [_Draft("stage", "transform", worlds)] if nested else worlds

    def case(self, name: str) -> Case:
        pattern, tops = self.tops()
        if tops and self.chance(0.45):
            for _ in range(self.rng.choice((1, 1, 2))):
                self.mutate(tops)
        made = Case(name, MemoryScene(), {"rules": self.rules, "pattern": pattern}, [])
        stack: list[tuple[_Draft, str | None]] = [(top, None) for top in reversed(tops)]
        while stack:
            draft, parent = stack.pop()
            path = made.scene.add(draft.name, draft.kind, parent)
            if draft.start:
                made.roots.append(path)
            stack.extend((child, path) for child in reversed(draft.children))
        return made


def random_case(seed: int, odd: float = 0.02, wild: bool = False) -> Case:
    """A small random hierarchy with its pattern; valid and invalid ones both come often.

    `odd` is the share of expressions taken from a list of strange ones, some of which raise
    `re.error` or ValueError when they are matched. 0 leaves them out. `wild` makes expressions of
    random parts, of which `odd` is the share out of the ordinary.
    """
    return _Generator(seed, odd, wild).case(f"random {seed}")
