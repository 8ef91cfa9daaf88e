"""The check list: controls over check classes, their categories, and what is stored of them."""

from __future__ import annotations

import gc
import sys
import weakref
from collections.abc import Iterator
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import pytest
from check_tools import check, module
from lifetimes import collected
from project_tools import finish_log

import core

Config = core._Settings.Check.Config
Presets = core._Settings.Check.Presets


@pytest.fixture(autouse=True)
def _no_modules_left() -> Iterator[None]:
    yield
    for name, found in list(sys.modules.items()):
        if "__plug_in__" in vars(found):
            del sys.modules[name]


class Host(core.Check.Base):
    pass


class Limit(Host):
    class_id, short_name, category, description = "limit", "Limit", "Mesh", "Counts."

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([core.Parameters.IntRange("limit", 0, 9, value=5)])


class Names(Host):
    class_id, short_name, category = "names", "Names", "object"


class Scene(Host):
    class_id, short_name, category, scene_oriented = "scene", "Scene", "MESH", True


class Broken(Host):
    class_id = short_name = category = "broken"

    @staticmethod
    def parameters() -> Any:
        raise ValueError("no parameters")


def choice(limit: int | None = None, enabled: bool = True) -> dict[str, Any]:
    state = [] if limit is None else [{"as_info": False, "state": {"limit": {"value": limit}}}]
    return {"enabled": enabled, "opened": enabled, "parameters": state}


def control(listed: Any, class_id: str) -> Any:
    return next(found for found in listed if found.check.class_id == class_id)


def limits(listed: Any) -> list[int]:
    return [task["limit"].value for task in control(listed, "limit").parameters]


def test_controls_stand_for_classes_in_their_order(caplog: pytest.LogCaptureFixture) -> None:
    made = core.Check._List([Limit, Broken, Names, Scene])
    # A class without parameters is named in the log and left out.
    assert (
        [found.check for found in made]
        == [Limit, Names, Scene]
        == [found.check for found in made._controls]
    )
    first = control(made, "limit")
    assert (first.name, first.description, first.enabled, first.opened, first._state) == (
        "Limit", "Counts.", False, False, None,
    )  # fmt: skip
    assert [(group.name, [found.name for found in group]) for group in made.categories] == [
        ("mesh", ["Limit", "Scene"]), ("object", ["Names"]),
    ]  # fmt: skip
    assert next(iter(made._categories[0])) is first
    assert (made.is_empty(), made.config, made.preset) == (False, None, None)
    assert core.Check._List([]).is_empty()
    finish_log()
    assert "ValueError: no parameters" in caplog.text
    with pytest.raises(ValueError, match="no parameters"):
        core.Check._List.Control(Broken)


def test_loading_takes_the_choices_and_changes_nothing() -> None:
    config = Config({"limit": choice(7), "unknown": choice()})
    before = config.data
    made = core.Check._List(iter([Limit, Names, Scene]), config=config)
    assert made.config is config and config.data == before
    found = control(made, "limit")
    assert (found.enabled, found.opened, limits(made)) == (True, True, [7])
    assert found._state is config.get("limit")
    # A missing entry: off, with one set of defaults, and not stored.
    missing = control(made, "names")
    assert (missing.enabled, len(missing.parameters), missing._state.data) == (
        False, 1, core._Settings.Check.empty("names").data,
    )  # fmt: skip
    control(made, "scene").enabled = True
    assert [entry.name for entry in made.iterator(enabled=True)] == ["Limit", "Scene"]
    assert [entry.name for entry in made.iterator()] == ["Limit", "Names", "Scene"]
    assert [entry.name for entry in made.get()] == ["Limit"]
    assert [entry.name for entry in made.get(scene_oriented=True)] == ["Scene"]
    assert [entry.name for entry in made.get(enabled=False)] == ["Limit", "Names"]


def test_saving_keeps_no_edits_of_disabled_checks() -> None:
    config = Config({"limit": choice(7)})
    made = core.Check._List([Limit, Names], config=config)
    control(made, "limit").parameters.append_task()
    control(made, "names").enabled = True
    made.save()
    assert [entry["state"] for entry in config.data["limit"]["parameters"]] == [
        {"limit": {"value": 7}}, {"limit": {"value": 5}},
    ]  # fmt: skip
    assert config.data["names"] == {**choice(), "opened": False, "parameters": [
        {"as_info": False, "state": {}},
    ]}  # fmt: skip
    control(made, "limit").enabled = False
    made.save()
    assert config.data["limit"] == choice(5, enabled=False)
    made.clear()
    assert not any(found.enabled or found.opened for found in made)
    # Only saving stores it.
    assert config.data["names"]["enabled"]
    core.Check._List([Limit]).save()


def test_entries_and_configurations_of_a_host() -> None:
    entry = SimpleNamespace(**choice(3))
    asked = []

    def get(class_id: str, force: bool) -> Any:
        asked.append((class_id, force))
        return entry if class_id == "limit" or force else None

    config = SimpleNamespace(get=get)
    made = core.Check._List([Limit, Names], config=config)
    assert made.config is config and asked == [("limit", False), ("names", False)]
    found = control(made, "limit")
    assert found._state is entry and limits(made) == [3]
    found.enabled = False
    found.save()
    assert vars(entry) == choice(5, enabled=False)
    with pytest.raises(TypeError):
        found.load(None)


def test_stored_values_of_an_older_check_are_errors_of_their_set() -> None:
    stored = {"limit": {**choice(), "parameters": [{"state": {"limit": "x", "gone": 1}}]}}
    made = core.Check._List([Limit], config=Config(stored))
    task = next(iter(control(made, "limit").parameters))
    assert task["limit"].value == 5
    with pytest.raises(TypeError, match="a stored value"):
        task.assert_no_errors()


class Calling(core.Parameters.IntRange):
    """Runs `action` wherever the core asks it for something."""

    action: Any = None

    @property
    def data(self) -> Any:
        self.run()
        return {"value": self.value}

    def load(self, data: Any) -> None:
        self.run()
        super().load(data)

    def run(self) -> None:
        if Calling.action is not None:
            Calling.action()


class Inquiring(Host):
    class_id = short_name = category = "inquiring"

    @staticmethod
    def parameters() -> Any:
        return core.Parameters.Block([Calling("limit", 0, 9, value=5)])


@pytest.fixture()
def _no_action() -> Iterator[None]:
    yield
    Calling.action = None


@pytest.mark.usefixtures("_no_action")
def test_lists_that_are_bound_anew_meanwhile() -> None:
    config = Config({"inquiring": choice(7), "names": choice()})
    made = core.Check._List([Inquiring, Names])
    Calling.action = lambda: made.load(None)
    made.load(config)
    # Not from within its own loading; while it saves, it goes on with what it began with.
    assert made.config is config and [found.enabled for found in made] == [True, True]
    control(made, "names").opened = False
    made.save()
    assert made.config is None
    assert config.data["names"]["opened"] is False
    assert config.data["inquiring"]["parameters"][0]["state"] == {"limit": {"value": 7}}

    def get(class_id: str, force: bool) -> Any:
        made.load(None)
        return None

    made.load(SimpleNamespace(get=get))
    assert [found.enabled for found in made] == [False, False]


@pytest.mark.usefixtures("_no_action")
def test_controls_that_are_loaded_anew_while_they_save() -> None:
    other = SimpleNamespace(**choice(1, enabled=False))

    class Entry(SimpleNamespace):
        def __setattr__(self, name: str, value: object) -> None:
            found.load(other)
            super().__setattr__(name, value)

    found = core.Check._List.Control(Inquiring)
    entry = Entry(**choice(3))
    found.load(entry)
    found.save()
    # What was chosen when the saving began goes into the entry that it began with.
    assert vars(entry) == choice(3) and found._state is other
    plain = SimpleNamespace(**choice(3))
    found.load(plain)
    plain.enabled = False
    Calling.action = once(lambda: found.load(other))
    found.save()
    assert plain.enabled is True and found._state is other and vars(other)["enabled"] is False


def once(action: Any) -> Any:
    def run() -> None:
        Calling.action = None
        action()

    return run


def test_a_control_that_cannot_be_loaded_harms_no_other(caplog: pytest.LogCaptureFixture) -> None:
    class Meta(type(Host)):  # type: ignore[misc]
        answers = True

        @property
        def class_id(cls) -> str:
            if not Meta.answers:
                raise SystemExit(3)
            return "odd"

    odd = Meta("Odd", (Host,), {"short_name": "Odd", "category": "mesh"})
    config = Config({"odd": choice(), "limit": choice(7)})
    made = core.Check._List([odd, Limit], config=config)
    before = config.data
    Meta.answers = False
    made.load(config)
    assert [found.enabled for found in made] == [False, True]
    assert [task["limit"].value for task in made._controls[1].parameters] == [7]
    Meta.answers = True
    made.save()
    # What is stored for it stays as it is.
    assert config.data == before
    made.load(config)
    assert made._controls[0].enabled
    finish_log()
    assert "SystemExit: 3" in caplog.text


def test_only_whole_numbers_of_reloads_count() -> None:
    class Classes(list):  # type: ignore[type-arg]
        reloads: Any = None

    for odd in (None, "1", 1.5, 10**30, object()):
        classes = Classes([Limit])
        classes.reloads = odd
        made = core.Check._List(classes)
        old = made._controls[0]
        made.load(Config({}))
        assert made._controls[0] is old


def test_presets_are_applied_through_the_editor() -> None:
    presets = Presets()
    config = Config({"limit": choice(7)})
    made = core.Check._List([Limit, Names], presets, config)
    assert made.preset is made._preset_editor
    made.preset.create("Mine")
    control(made, "limit").clear()
    made.save()
    assert config.data["limit"]["enabled"] is False
    (mine,) = presets
    made.preset.apply(mine)
    assert (made.config is config, control(made, "limit").enabled, limits(made)) == (
        True,
        True,
        [7],
    )
    made.preset.sync_applied()
    assert mine.applied
    assert core.Check._List([Limit], presets=SimpleNamespace()).preset is None
    # Until a configuration is bound the editor does nothing.
    unbound = core.Check._List([Limit], presets)
    unbound.preset.create("Nothing")
    assert presets.names == ["Mine"]
    editor, watched = unbound.preset, weakref.ref(unbound)
    del unbound
    gc.collect()
    assert watched() is not None
    del editor
    gc.collect()
    assert watched() is None


def test_new_classes_are_taken_at_the_next_load(tmp_path: Path) -> None:
    module(tmp_path, "a", check("One"))
    classes = core.Check._Classes([str(tmp_path)])
    config = Config({"One": choice(), "Two": choice()})
    made = core.Check._List(classes, config=config)
    controls, groups, old = made._controls, made._categories, made._controls[0]
    made.load(config)
    assert made._controls[0] is old
    module(tmp_path, "b", check("Two", category="object"))
    classes.reload()
    assert [found.name for found in made] == ["One"]
    made.load(config)
    assert made._controls is controls and made._categories is groups
    assert [(found.check, found.enabled) for found in made] == [
        (classes.get("Two"), True), (classes.get("One"), True),
    ]  # fmt: skip
    assert [group.name for group in made.categories] == ["object", "mesh"]


def test_what_a_rule_has_to_check_has_three_states() -> None:
    states = {
        "empty": ({}, False),
        "none enabled": ({"limit": choice(enabled=False)}, True),
        "enabled": ({"limit": choice(8)}, True),
        "foreign": ({"other": choice()}, True),
    }
    rules = core._Project.Settings.Rule.List(
        [{"stamp": name, "name": name, "checklist": stored} for name, (stored, _) in states.items()]
    )
    record = SimpleNamespace(rules=rules, pattern=SimpleNamespace(children=[]))
    before = rules.data
    pattern = core._Hierarchy.Pattern([Limit, Scene])
    pattern.set(record)
    assert {name: pattern.is_verifiable(name) for name in states} == {
        name: verifiable for name, (_, verifiable) in states.items()
    }
    assert not pattern.is_verifiable("unknown") and pattern.get_checklist("unknown") is None
    listed = pattern.get_checklist("enabled")
    assert listed is pattern.get_checklist("enabled")
    assert [found.check for found in listed.get()] == [Limit] and limits(listed) == [8]
    assert list(pattern.get_checklist("none enabled").get()) == []
    assert rules.data == before
    without = core._Hierarchy.Pattern([])
    without.set(record)
    assert not without.is_verifiable("enabled")


@collected
def test_lists_are_collected_with_what_they_hold() -> Any:
    class Local(Limit):
        class_id = "local"

    config = Config({"local": choice(1)})
    made = core.Check._List([Local], Presets(), config)
    Local.listed = made  # type: ignore[attr-defined]
    made.editor = made.preset
    return made, Local
