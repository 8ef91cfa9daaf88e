"""The project component: which project is current, and when it is loaded into what."""

from __future__ import annotations

import json
import time

import pytest
from lifetimes import collected
from project_tools import Pattern, StandIn, finish_log, logged, make_api, project, store

import core

Component = core._Project


@pytest.fixture(autouse=True)
def _no_pauses(monkeypatch):
    monkeypatch.setattr(time, "sleep", lambda seconds: None)
    yield
    finish_log()


def component_of(folder, current: object = "", **projects) -> Component:
    for stem, data in projects.items():
        store(folder, f"{stem}.json", data)
    return Component(make_api(folder, project=current), StandIn(pattern=Pattern()))


def loaded(component) -> list[str]:
    """Comments of the records that were handed to the pattern."""
    return [record.comment for record in component._hierarchy.pattern.records]


def test_without_files_the_empty_project_is_current_and_nothing_is_loaded(tmp_path):
    component = component_of(tmp_path)
    current = component.get_current()
    assert (current.filename, current.target, component.get_headers()) == ("", "blender", [])
    assert component.get_empty() == current
    assert loaded(component) == []
    assert component._pointer.filename is None
    component.delete_current()
    assert list(tmp_path.iterdir()) == []
    assert component._api.settings.written == []


@pytest.mark.parametrize(
    ("current", "expected"),
    [
        ("hero.json", "hero.json"),
        ("gone.json", "ally.json"),
        ("newer.json", "ally.json"),
        ("foreign.json", "ally.json"),
        ("absent.json", "ally.json"),
        ("", "ally.json"),
        (None, "ally.json"),
        (5, "ally.json"),
    ],
)
def test_current_project_is_the_remembered_or_the_first_that_can_be_loaded(
    current, expected, tmp_path
):
    component = component_of(
        tmp_path,
        current,
        aardvark=project("Aardvark", version=4),
        ally=project("Ally"),
        gone=project("Gone", deleted=True),
        hero=project("Hero"),
        newer=project("A newer", version=9),
        foreign=project("A foreign", target="maya"),
    )
    assert component.get_current() is component.collection.get(expected)
    remembered = expected == current
    assert loaded(component) == ([] if remembered else ["at 100"])
    assert component._api.settings.written == ([] if remembered else [expected])
    assert [h.filename for h in component.get_headers()][:2] == ["newer.json", "aardvark.json"]
    assert component.is_exists("newer.json")
    assert not component.is_exists("gone.json")


def test_an_unchanged_project_is_loaded_once(tmp_path, caplog):
    caplog.set_level("INFO")
    options = {"formats": {"unheard of": {"a": 1}}, "selected": "fbx"}
    data = project()
    data["records"]["100"]["export"] = {"options": options, "flags": {"triangulate": True}}
    component = component_of(tmp_path, hero=data)
    for _ in range(3):
        component.load("hero.json")
    export = component._api.export
    assert loaded(component) == ["at 100"]
    assert export.options.loaded == [options]
    assert [flags["triangulate"] for flags in export.flags.loaded] == [True]
    assert logged(caplog) == ['Load "Hero" project']
    export.options.loaded[0].clear()
    assert (
        component.collection.get("hero.json").history.get_record().export.get_options() == options
    )
    record = component._hierarchy.pattern.records[0]
    assert record is not component.collection.get("hero.json").history._records[100]


def test_an_edited_project_is_loaded_again_without_touching_the_settings(tmp_path):
    component = component_of(tmp_path, "hero.json", hero=project())
    component.load("hero.json")
    assert component._api.settings.written == []
    settings = component.get_current()
    settings.history.pointer = 200
    settings.mark_edited()
    component.load("hero.json")
    assert loaded(component) == ["at 100", "at 200"]
    store(tmp_path, "hero.json", project(edit_timestamp=9e9, description="by another editor"))
    component._load(component.get_current())
    assert loaded(component) == ["at 100", "at 200", "at 100"]
    assert component._api.settings.written == []
    component._api.settings.workspace.project = "other.json"
    component._load(component.collection.get("hero.json"))
    assert component._api.settings.written == []


def test_new_check_classes_load_the_project_again(tmp_path):
    component = component_of(tmp_path, "hero.json", hero=project())
    component.load("hero.json")
    component._hierarchy.pattern.check_classes = StandIn(reloads=2)
    for _ in range(2):
        component.load("hero.json")
    assert loaded(component) == ["at 100", "at 100"]
    assert component._api.settings.written == []


def test_switching_projects_is_remembered(tmp_path):
    component = component_of(tmp_path, a=project("A"), b=project("B"), n=project("N", version=2))
    for filename in ("a.json", "b.json", "a.json", "n.json"):
        component.load(filename)
    assert component._api.settings.written == ["a.json", "b.json", "a.json"]
    assert component._pointer.filename == "a.json"
    component.load("absent.json")
    assert component._pointer.filename == "a.json"
    component.load("b.json")
    component.load("absent.json")
    assert component._pointer.filename == "a.json"


def test_a_pattern_that_refuses_leaves_the_project_unloaded(tmp_path):
    class Refusing(Pattern):
        def set(self, record):
            super().set(record)
            if len(self.records) == 1:
                raise KeyError("check")

    component = component_of(tmp_path, hero=project())
    component._hierarchy.pattern = Refusing()
    with pytest.raises(KeyError):
        component.load("hero.json")
    assert component._pointer.filename is None
    assert component._api.settings.written == []
    component.load("hero.json")
    assert component._pointer.filename == "hero.json"
    assert component._pointer.timestamp == 1.5


def test_deleting_marks_the_file_and_loads_what_remains(tmp_path):
    component = component_of(
        tmp_path, "b.json", a=project("A", version=5), b=project("B"), c=project("C")
    )
    component.load("b.json")
    component.delete_current()
    stored = json.loads((tmp_path / "b.json").read_text())
    assert stored["deleted"] is True
    assert stored["edit_timestamp"] > 1.5
    assert component._pointer.filename == "c.json"
    assert [h.filename for h in component.get_headers()] == ["a.json", "c.json"]

    component.delete_current()
    # Nothing is left that can be loaded: the deleted pattern must not stay in use.
    assert component._pointer.filename == ""
    assert component._hierarchy.pattern.records[-1].rules.is_empty
    assert component._api.export.options.loaded[-1] == {}
    assert component._api.settings.written == ["c.json", ""]
    assert [h.filename for h in component.get_headers()] == ["a.json"]
    files = sorted(p.name for p in tmp_path.iterdir())
    component.delete_current()
    assert sorted(p.name for p in tmp_path.iterdir()) == files == ["a.json", "b.json", "c.json"]


def test_a_clone_starts_a_project_with_the_selected_state_only(tmp_path):
    component = component_of(tmp_path, "hero.json", hero=project())
    clone = component.get_clone()
    original = component.get_current()
    assert (clone.name, clone.filename, original.name) == ("", "", "Hero")
    assert [r.comment for r in clone] == ["at 100"]
    assert len(list(original)) == 2
    clone.name = "Second"
    clone.save()
    assert sorted(component.collection.names) == ["Hero", "Second"]
    assert component.collection.get("hero.json") is original


def test_is_active_follows_the_settings(tmp_path):
    component = component_of(tmp_path)
    for mode, active in ((0, False), (1, True), (None, False), ("1", False)):
        component._api.settings.check.mode = mode
        assert component.is_active() is active


def test_load_pointer_compares_file_and_time_of_any_document():
    pointer = core._LoadPointer()
    empty = StandIn(filename="", edit_timestamp=0.0)
    one = StandIn(filename="a.json", edit_timestamp=1.5)
    later = StandIn(filename="a.json", edit_timestamp=2)
    other = StandIn(filename="b.json", edit_timestamp=1.5)
    assert (pointer.other(empty), pointer.edited(empty), pointer.same(empty)) == (True, True, False)
    pointer.set(one)
    answers = [(pointer.other(s), pointer.edited(s), pointer.same(s)) for s in (one, later, other)]
    assert answers == [(False, False, True), (False, True, False), (True, False, False)]
    assert (pointer.filename, pointer.timestamp) == ("a.json", 1.5)


@collected
def test_components_are_collected_with_what_they_load(tmp_path):
    component = component_of(tmp_path, hero=project())
    api, hierarchy = component._api, component._hierarchy
    api.project = hierarchy.project = component
    component.load("hero.json")
    component.collection.note = component
    loaded = [component.collection, component.get_current(), hierarchy.pattern.records[0]]
    return [component, api, hierarchy, *loaded]
