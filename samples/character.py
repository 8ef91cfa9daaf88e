"""The sample character: its scene, its project, and broken variants of the scene."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import replace

import numpy as np
from project_writer import Item, Project, Rule, check
from scene_writer import Material, Mesh, Node, Shape, box, capsule

CENTRE, SIDE, LOD, SOCKET, GEAR = "#4390ea", "#e8743b", "#8e6bbf", "#3fa66b", "#9a9a9a"

MATERIALS = {
    "skin": Material((0.76, 0.5, 0.36)),
    "cloth": Material((0.11, 0.29, 0.22)),
    "leather": Material((0.22, 0.11, 0.05), roughness=0.6),
    "metal": Material((0.55, 0.56, 0.58), metallic=1.0, roughness=0.35),
}

# Coarser levels are a little slimmer, so that a viewer that draws all at once shows the finest.
MESHES = {
    "body_LOD0": Mesh(capsule(0.2, 0.36, 16, 6), "cloth"),
    "body_LOD1": Mesh(capsule(0.195, 0.36, 10, 3), "cloth"),
    "body_LOD2": Mesh(capsule(0.19, 0.36, 6, 1), "cloth"),
    "head_LOD0": Mesh(capsule(0.13, 0.06, 16, 6), "skin"),
    "head_LOD1": Mesh(capsule(0.125, 0.06, 10, 3), "skin"),
    "head_LOD2": Mesh(capsule(0.12, 0.06, 6, 1), "skin"),
    "sleeve": Mesh(capsule(0.06, 0.42), "cloth"),
    "palm": Mesh(box(0.04, 0.1, 0.09), "skin"),
    "finger": Mesh(box(0.02, 0.08, 0.02), "skin"),
    "thigh": Mesh(capsule(0.09, 0.28), "leather"),
    "shin": Mesh(capsule(0.07, 0.28), "leather"),
    "boot": Mesh(box(0.12, 0.1, 0.26), "leather"),
    "backpack": Mesh(box(0.26, 0.34, 0.14), "leather"),
    "lantern": Mesh(capsule(0.05, 0.06), "metal"),
    "crate": Mesh(box(0.3, 0.3, 0.3), "metal"),
}

# What every mesh of the character has to be, what its groups of levels have to be, and the scene.
SOLID = (
    check("kavel.object.default_name"),
    check("kavel.object.frozen_transform", translation=False),
    check("kavel.object.scale"),
    check("kavel.mesh.zero_area_faces"),
    check("kavel.mesh.duplicate_faces"),
    check("kavel.mesh.isolated_points"),
    check("kavel.mesh.unmerged_points"),
    check("kavel.mesh.normals"),
    check("kavel.nonmanifold.edges"),
    check("kavel.nonmanifold.borders"),
    check("kavel.nonmanifold.winding"),
    check("kavel.mapping.missing"),
    check("kavel.mapping.range", as_info=True),
    check("kavel.material.missing"),
    check("kavel.material.default"),
)
LEVELS = (
    check("kavel.lod.triangles", share=0.6),
    check("kavel.lod.numbering"),
    check("kavel.lod.names"),
)
WHOLE = (
    check("kavel.scene.file", changes=False),
    check("kavel.scene.unit"),
    check("kavel.scene.up_axis"),
    check("kavel.object.duplicate_names"),
    check("kavel.project.triangle_budget", scene=10_000, object=2_000),
    check("kavel.project.bounding_size", smallest=1.0, largest=3.0),
)


def scene() -> list[Node]:
    """Return the top nodes of a scout in metres, y up, facing z, left at positive x."""
    model = Node(
        "scout_model",
        [
            _lod_group("scout_body", "body", (0.0, 1.15, 0.0)),
            _lod_group("scout_head", "head", (0.0, 1.68, 0.0)),
            _arm("L", 1),
            _arm("R", -1),
            _leg("L", 1),
            _leg("R", -1),
            Node(
                "scout_gear",
                [
                    Node("gear_backpack", mesh="backpack", place=(0.0, 1.2, -0.26)),
                    Node("gear_lantern", mesh="lantern", place=(0.24, 0.9, 0.05)),
                ],
            ),
        ],
    )
    sockets = Node(
        "scout_sockets",
        [
            Node("socket_head", place=(0.0, 1.85, 0.0)),
            Node("socket_back", place=(0.0, 1.3, -0.2)),
            Node("socket_belt", place=(0.2, 0.95, 0.0)),
        ],
    )
    return [model, sockets]


def _lod_group(name: str, part: str, place: tuple[float, float, float]) -> Node:
    levels = [Node(f"{part}_LOD{level}", mesh=f"{part}_LOD{level}") for level in range(3)]
    return Node(name, levels, place=place, lods=True)


def _arm(side: str, sign: int) -> Node:
    fingers = [
        Node(f"finger_{side}_{number}", mesh="finger", place=(0.0, -0.13, 0.045 - 0.03 * number))
        for number in range(4)
    ]
    palm = Node(f"palm_{side}", mesh="palm", place=(0.0, -0.05, 0.0))
    grip = Node(f"grip_{side}", place=(0.0, -0.08, 0.03))
    hand = Node(f"hand_{side}", [palm, *fingers, grip], place=(0.0, -0.54, 0.0))
    sleeve = Node(f"sleeve_{side}", mesh="sleeve", place=(0.0, -0.24, 0.0))
    return Node(f"arm_{side}", [sleeve, hand], place=(sign * 0.28, 1.42, 0.0))


def _leg(side: str, sign: int) -> Node:
    return Node(
        f"leg_{side}",
        [
            Node(f"thigh_{side}", mesh="thigh", place=(0.0, -0.18, 0.0)),
            Node(f"shin_{side}", mesh="shin", place=(0.0, -0.54, 0.0)),
            Node(f"boot_{side}", mesh="boot", place=(0.0, -0.78, 0.05)),
            Node(f"sole_{side}", place=(0.0, -0.83, 0.0)),
        ],
        place=(sign * 0.11, 0.85, 0.0),
    )


def project() -> Project:
    """Return the project that the scout follows."""
    return Project(
        filename="character.json",
        name="Character",
        description=(
            "A character in two top-level groups, the model and its sockets. The asset's name and "
            "the side are captured where they first stand and must repeat in every name below."
        ),
        tree=[_ghost()],
        author="Kavel",
        comment="The gear is optional, so its level accepts whatever hangs there.",
    )


def _ghost() -> Item:
    ghost = Rule("ghost", "", ("sceneRoot",), color="#262626", icon="Ghost")
    model = Rule("model", "<asset:[a-z]+>_model$", ("transform",), color=CENTRE, checks=WHOLE)
    sockets = Rule("sockets", "<asset:[a-z]+>_sockets$", ("transform",), color=SOCKET)
    socket = Rule("socket", "socket_[a-z]+$", ("locator",), (1, 8), SOCKET)
    gear = Rule("gear", "<asset>_gear$", ("transform", "locator"), color=GEAR)
    piece = Rule("piece of gear", "gear_[a-z]+$", ("mesh",), (0, 8), GEAR, "Render", SOLID)
    return Item(
        ghost,
        [
            Item(model, [_lods(), _arms(), _legs(), Item(gear, [Item(piece)])]),
            Item(sockets, [Item(socket)]),
        ],
    )


def _lods() -> Item:
    group = Rule(
        "LOD group", "<asset>_<part:(body|head)>$", ("lodGroup",), (2, 2), LOD, checks=LEVELS
    )
    level = Rule("LOD", "<part>_LOD[0-3]$", ("mesh",), (2, 4), LOD, "Render", SOLID)
    return Item(group, [Item(level)])


def _arms() -> Item:
    arm = Rule("arm", "arm_<side:(L|R)>$", ("transform",), (2, 2), SIDE)
    hand = Rule("hand", "hand_<side>$", ("transform",), color=SIDE)
    finger = Rule("finger", r"finger_<side>_\d$", ("mesh",), (3, 5), SIDE, "Render", SOLID)
    grip = Rule("grip", "grip_<side>$", ("locator",), color=SOCKET)
    return Item(
        arm,
        [
            Item(_side_mesh("sleeve")),
            Item(hand, [Item(_side_mesh("palm")), Item(finger), Item(grip)]),
        ],
    )


def _legs() -> Item:
    leg = Rule("leg", "leg_<side:(L|R)>$", ("transform",), (2, 2), SIDE)
    sole = Rule("sole", "sole_<side>$", ("locator",), color=SOCKET)
    parts = [Item(_side_mesh(name)) for name in ("thigh", "shin", "boot")]
    return Item(leg, [*parts, Item(sole)])


def _side_mesh(name: str) -> Rule:
    return Rule(name, f"{name}_<side>$", ("mesh",), color=SIDE, icon="Render", checks=SOLID)


def _swap_hands(model: Node) -> None:
    left, right = model.find("hand_L"), model.find("hand_R")
    left.name, right.name = right.name, left.name


def _drop_boot(model: Node) -> None:
    leg = model.find("leg_R")
    leg.children.remove(leg.find("boot_R"))


def _add_stray(model: Node) -> None:
    model.children.append(Node("Cube", mesh="crate", place=(0.9, 0.15, 0.0)))


def _misname_locator(model: Node) -> None:
    model.find("grip_R").name = "handle_R"


def _add_fingers(model: Node) -> None:
    hand = model.find("hand_L")
    for number in (4, 5):
        place = (0.0, -0.13, 0.045 - 0.03 * number)
        hand.children.append(Node(f"finger_L_{number}", mesh="finger", place=place))


# File name of each broken variant, and the one fault put into its model.
FAULTS: dict[str, Callable[[Node], None]] = {
    "broken_side.glb": _swap_hands,
    "broken_missing.glb": _drop_boot,
    "broken_stray.glb": _add_stray,
    "broken_locator.glb": _misname_locator,
    "broken_count.glb": _add_fingers,
}


def broken_scene(filename: str) -> list[Node]:
    """Return the top nodes of one broken variant, named as in ``FAULTS``."""
    nodes = scene()
    FAULTS[filename](nodes[0])
    return nodes


# A draft of the same character: it follows the project, but it is not finished.


def _turned(shape: Shape, triangles: slice) -> Shape:
    """Some triangles show their backs."""
    indices = shape.indices.reshape(-1, 3).copy()
    indices[triangles] = indices[triangles, ::-1]
    return replace(shape, indices=indices.reshape(shape.indices.shape))


def _unshaded(shape: Shape, vertices: slice) -> Shape:
    """Some normals have no direction."""
    normals = shape.normals.copy()
    normals[vertices] = 0
    return replace(shape, normals=normals)


def _doubled(shape: Shape, triangles: slice) -> Shape:
    """Some triangles stand twice."""
    indices = shape.indices.reshape(-1, 3)
    return replace(shape, indices=np.concatenate([indices, indices[triangles]]))


DRAFT_MATERIALS = {"Material.001": Material((0.8, 0.8, 0.8))}

DRAFT_MESHES = {
    "draft_sleeve": Mesh(capsule(0.06, 0.35), "cloth"),
    "draft_palm": Mesh(replace(box(0.04, 0.1, 0.09), uvs=None), "skin"),
    "draft_boot": Mesh(_unshaded(box(0.12, 0.1, 0.26), slice(0, 8)), "leather"),
    "draft_backpack": Mesh(_turned(box(0.26, 0.34, 0.14), slice(4, 6)), "leather"),
    "draft_lantern": Mesh(_doubled(capsule(0.05, 0.06), slice(0, 3)), "Material.001"),
    "draft_head": Mesh(capsule(0.125, 0.06, 16, 5), "skin"),
}

# What is different in the draft: the mesh of an object, and its scale.
DRAFT: dict[str, tuple[str, tuple[float, float, float] | None]] = {
    "sleeve_L": ("draft_sleeve", (1.0, 1.2, 1.0)),
    "palm_R": ("draft_palm", None),
    "boot_R": ("draft_boot", None),
    "gear_backpack": ("draft_backpack", None),
    "gear_lantern": ("draft_lantern", None),
    "head_LOD1": ("draft_head", None),
}


def draft() -> list[Node]:
    """Return the top nodes of the draft."""
    nodes = scene()
    for name, (mesh, scale) in DRAFT.items():
        node = nodes[0].find(name)
        node.mesh, node.scale = mesh, scale
    return nodes
