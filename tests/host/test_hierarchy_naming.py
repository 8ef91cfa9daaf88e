"""Name filters, the registry of names and the check configuration, as a host sees them."""

from __future__ import annotations

import pytest

import core

naming = core._Naming


@pytest.mark.parametrize(
    ("text", "title", "expected"),
    [
        ("Рука-Левая", False, "ruka_lebaia"),
        ("a.b", False, "a_b"),
        ("  Щит \u0431 ж ъ  ", False, "shit___"),
        ("\u00a0İstanbul ﬁ ß\u00a0", False, "istanbul__"),
        ("left_arm 2b", True, "Left_Arm_2B"),
        ("ОБЪЕМ", False, "oem"),
        ("", True, ""),
        ("\ud800x", False, "x"),
    ],
)
def test_force_ascii(text: str, title: bool, expected: str) -> None:
    assert naming.force_ascii(text, title) == expected


@pytest.mark.parametrize(
    ("name", "attribute", "private"),
    [
        ("", False, False),
        ("_1", True, False),
        ("1abc", False, False),
        ("abc", True, False),
        ("abc\n", False, False),
        ("имя", False, False),
        ("a b", False, False),
        ("__", True, False),
        ("__a", True, True),
        ("__\n", False, False),
        ("_a__", True, False),
    ],
)
def test_kinds_of_names(name: str, attribute: bool, private: bool) -> None:
    assert (naming.is_attribute(name), naming.is_private(name)) == (attribute, private)


def test_filters_keep_only_what_they_say_and_give_unified_texts() -> None:
    text = "\tAz~\x7fЁё\u0410я\u0456é\n"
    results = [
        (naming.latin_filter(text), "Az~"),
        (naming.en_ru_filter(text), "Az~Ёё\u0410я"),
        (naming._char_filter("aébc", [(98, 98), (233, 233)]), "éb"),
        (naming.space_filter(" \ta b  "), "\ta b"),
        (naming.strip("ёжaxё", "ёx"), "жa"),
        (naming.strip("xx", "x"), ""),
        # One pass: what grows together stays, and case counts.
        (naming.ghost_filter("ghghostostGhost"), "ghostGhost"),
    ]
    for result, expected in results:
        assert result == expected
        assert isinstance(result, core._Str)


def test_names_control_grants_names_that_are_free() -> None:
    control = core._NamesControl()
    control.remove("never seen")
    granted = []
    for wanted in ["arm", "arm", "arm", "arm 1", "forearm", "arm 007", "a 9", "a", "arm", ""]:
        name = control.get_init(wanted)
        assert not control.exists(name)
        control.append(name)
        granted.append(name)
    assert granted[:6] == ["arm", "arm 1", "arm 2", "arm 3", "forearm", "arm 007"]
    assert granted[6:] == ["a 9", "a", "arm 8", ""]
    # A number too long to be counted on belongs to the name.
    control.append("b 99999999999999999999")
    assert control.get_init("b 99999999999999999999") == "b 99999999999999999999 1"
    assert control._get_alike("arm 1") == ["", "a", "arm", "arm 1"]
    control.rename("arm", "leg")
    assert (control.exists("arm"), control.exists("leg")) == (False, True)
    control.clear()
    assert control._names == set()


def test_check_config_keeps_entries_and_tolerates_what_is_no_entry() -> None:
    config_class = core._Settings.Check.Config
    stored = {
        "b": {"enabled": True, "opened": True, "parameters": [{"as_info": True, "state": {}}]},
        "a": {"enabled": 1, "parameters": {}, "extra": 3},
        "c": None,
    }
    empty = {"enabled": False, "opened": False, "parameters": []}
    config = config_class(stored)
    assert list(config.data.items()) == [("b", stored["b"]), ("a", empty), ("c", empty)]
    assert config.mask() == ["b", "a", "c"]

    clone = config.clone()
    assert clone == config
    entry = clone.get("b")
    assert entry is clone.get("b")
    entry.parameters = []
    assert clone != config
    assert config.get("b").parameters == stored["b"]["parameters"]

    assert (clone.get("new"), clone.mask()) == (None, ["b", "a", "c"])
    assert (clone.get("new", force=True).data, clone.mask()[-1]) == (empty, "new")
    config.apply(clone)
    assert config == clone
    assert config.get("new") is not clone.get("new")
    for nothing in ({}, None, [], 3):
        config.load(nothing)
        assert config.is_empty()
    assert config != {}
