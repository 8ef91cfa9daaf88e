"""The project for the rigged characters of one family: one skeleton, six body meshes, equipment.

Three habits of these characters shape the pattern.

- The side, l or r, is captured where a limb leaves the body and must repeat in every name below.
- The IK nodes of the two sides are siblings and leaves: if two of them exchange their names, only
  the order tells. It is that of the skeleton and survives renaming, so the pattern relies on it: an
  item that takes "a left node, or the right one that must come later" finds the right one first
  when the names are exchanged, and leaves none for the item that needs it. Body meshes come from
  exporters in order of their names, which therefore says nothing, so theirs is not used.
- A bare head and an empty hand are leaves. An object without children passes an item that expects
  some, so what is worn or held can be left away although its item demands one; no item has to be
  optional, which would accept anything else on its level too.
"""

from __future__ import annotations

from project_writer import Check, Item, Project, Rule, check

GROUP, LEAF, MESH = ("transform",), ("locator",), ("mesh",)
CENTRE, SIDE, CONTROL, BODY, WORN = "#4390ea", "#e8743b", "#8e6bbf", "#3fa66b", "#9a9a9a"
SIDES = (("left", "l"), ("right", "r"))

# The characters are coloured by a palette, so faces share points of the texture on purpose: that is
# a note. So are open borders, which are common where parts of a body go into each other.
MESHES = (
    check("kavel.object.default_name"),
    check("kavel.object.scale"),
    check("kavel.mesh.zero_area_faces"),
    check("kavel.mesh.duplicate_faces"),
    check("kavel.mesh.isolated_points"),
    check("kavel.mesh.unmerged_points"),
    check("kavel.mesh.normals"),
    check("kavel.nonmanifold.edges"),
    check("kavel.nonmanifold.borders", as_info=True),
    check("kavel.nonmanifold.winding"),
    check("kavel.mapping.missing"),
    check("kavel.mapping.range"),
    check("kavel.mapping.zero_area", as_info=True),
    check("kavel.material.missing"),
    check("kavel.material.default"),
    check("kavel.material.count", most=1),
    check("kavel.material.textures"),
)
WHOLE = (
    check("kavel.scene.file", changes=False),
    check("kavel.scene.up_axis"),
    check("kavel.object.duplicate_names"),
    check("kavel.project.triangle_budget", scene=20_000, object=5_000),
    check("kavel.project.texture_budget", count=2, megapixels=4),
    check("kavel.project.bounding_size", smallest=1.0, largest=5.0),
)


def project() -> Project:
    """Return the project that all characters of the family follow."""
    return Project(
        filename="adventurers.json",
        name="Adventurers",
        description=(
            "Rigged characters of one family, whatever their names: body meshes and skeleton under "
            "one Rig, the side repeated in every name of a limb, a head that may be bare and hands "
            "that may be empty or hold any number of loose meshes. The IK nodes of the left side "
            "stand before those of the right."
        ),
        tree=[_rig()],
        author="Kavel",
        comment="No item is optional, so every level rejects what it does not know.",
    )


def _rig() -> Item:
    parts = ["ArmLeft", "ArmRight", "Body", "Head", "LegLeft", "LegRight"]
    rig = _centre("Rig", "Rig", checks=WHOLE)
    return Item(rig, [*(Item(_body(part)) for part in parts), _skeleton()])


def _centre(
    name: str, regex: str, types: tuple[str, ...] = GROUP, checks: tuple[Check, ...] = ()
) -> Rule:
    return Rule(name, f"{regex}$", types, color=CENTRE, checks=checks)


def _body(part: str) -> Rule:
    # A head may be named after its look as well, as in Rogue_Head_Hooded.
    look = "(_[A-Z][A-Za-z]*)?" if part == "Head" else ""
    return Rule(part, rf"[A-Z]\w*_{part}{look}$", MESH, color=BODY, icon="Render", checks=MESHES)


def _skeleton() -> Item:
    return Item(_centre("root", "root"), [_hips(), *_controls()])


def _hips() -> Item:
    head = Item(_centre("head", "head", GROUP + LEAF), [Item(_worn("headgear", "[A-Z][A-Za-z]*"))])
    arms = [_limb(f"{side} arm", "upperarm", letter, _arm()) for side, letter in SIDES]
    legs = [_limb(f"{side} leg", "upperleg", letter, _leg()) for side, letter in SIDES]
    chest = Item(_centre("chest", "chest"), [*arms, head, Item(_worn("cape", "Cape"))])
    return Item(_centre("hips", "hips"), [Item(_centre("spine", "spine"), [chest]), *legs])


def _worn(name: str, part: str) -> Rule:
    return Rule(name, rf"[A-Z]\w*_{part}$", MESH, color=WORN, icon="Render", checks=MESHES)


def _limb(name: str, bone: str, letter: str, children: list[Item], color: str = SIDE) -> Item:
    # One definition for both sides, told apart by looking ahead: the bones below are then shared.
    rule = Rule(name, rf"{bone}\.(?={letter})<side:(l|r)>$", GROUP, color=color)
    return Item(rule, children)


def _arm() -> list[Item]:
    held = Rule("held", ".+", MESH, (1, 32), WORN, "Render", MESHES)
    slot = Item(_bone("handslot", GROUP + LEAF), [Item(held)])
    return _chain(["lowerarm", "wrist", "hand"], [slot])


def _leg() -> list[Item]:
    return _chain(["lowerleg", "foot"], [Item(_bone("toes", LEAF))])


def _chain(bones: list[str], end: list[Item]) -> list[Item]:
    for bone in reversed(bones):
        end = [Item(_bone(bone), end)]
    return end


def _bone(name: str, types: tuple[str, ...] = GROUP, color: str = SIDE) -> Rule:
    return Rule(name, rf"{name}\.<side>$", types, color=color)


def _controls() -> list[Item]:
    # Left before right: see the head of this file. The toe control's item also takes leaves, for
    # the knee's sake; a toe control that lost its children is therefore taken by the elbow's item,
    # which stands first and leaves the elbow to none.
    left_elbow = r"(elbowIK\.l|control-toe-roll\.l)"
    left_toe = r"(control-toe-roll\.(?=l)|kneeIK\.(?=r))<side:(l|r)>$"
    left_hand = r"(handIK\.l|elbowIK\.r)"
    return [
        Item(_ik("left elbow", left_elbow)),
        Item(_ik("left knee", r"kneeIK\.l")),
        Item(Rule("left toe control", left_toe, GROUP + LEAF, color=CONTROL), _foot_controls()),
        Item(_ik("right knee", r"kneeIK\.r")),
        _limb("right toe control", "control-toe-roll", "r", _foot_controls(), CONTROL),
        Item(_ik("left hand", left_hand)),
        Item(_ik("right elbow", r"elbowIK\.r")),
        Item(_ik("right hand", r"handIK\.r")),
    ]


def _ik(name: str, regex: str) -> Rule:
    return Rule(name, f"{regex}$", LEAF, color=CONTROL)


def _foot_controls() -> list[Item]:
    def control(name: str, types: tuple[str, ...] = GROUP) -> Rule:
        return _bone(name, types, CONTROL)

    foot = [Item(control("heelIK", LEAF)), Item(control("IK-foot", LEAF))]
    heel = [Item(control("control-foot-roll"), foot), Item(control("IK-toe", LEAF))]
    return [Item(control("control-heel-roll"), heel)]
