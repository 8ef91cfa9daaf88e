"""Records, their history and the toggle between them: what is kept, what is dropped, and when."""

from __future__ import annotations

import gc
import time

import pytest
from lifetimes import collected

import core

Settings = core._Project.Settings
Record = Settings.Record
History = Record.History

RULE = {
    "stamp": "s",
    "name": "n",
    "regex": "",
    "types": [],
    "checklist": {},
    "range": [1, 1],
    "color": None,
    "icon": None,
}
FLAGS = {
    "automatic_uv": False,
    "triangulate": True,
    "reset_xforms": False,
    "version_control": True,
}
FULL = {
    "export": {
        "directory": "~/out",
        "options": {"formats": {"unheard of": {"deep": [1, {"two": None}]}}, "selected": "fbx"},
        "flags": FLAGS,
    },
    "rules": [RULE],
    "pattern": [{"stamp": "s", "children": []}],
    "author": "Zoë",
    "comment": "first\nline",
}
EMPTY = {
    "export": {"directory": "~", "options": {}, "flags": dict.fromkeys(FLAGS, False)},
    "rules": [],
    "pattern": [],
    "author": "",
    "comment": "",
}


class Document:
    """Stands in for the document above a history."""

    def __init__(self):
        self.saved = 0

    def save(self):
        self.saved += 1


class HistoryStandIn(list):
    """Stands in for the history above a record: newest first."""

    pointer = 0
    answer = None

    def save_record(self, record):
        self.insert(0, record)
        return self.answer


def history_of(*timestamps, selected=None) -> History:
    history = History(Document())
    records = {str(stamp): {**FULL, "comment": f"at {stamp}"} for stamp in timestamps}
    history.load({"records": records, "selected_record": selected})
    return history


@pytest.fixture
def clock(monkeypatch):
    now = [1_700_000_000.9]
    monkeypatch.setattr(time, "time", lambda: now[0])
    return now


def test_record_gives_back_what_it_read_in_the_same_order():
    record = Record(None, FULL, 5)
    assert record.data == FULL
    assert [list(record.data), list(record.data["export"])] == [list(FULL), list(FULL["export"])]
    assert list(record.export.flags.data) == list(FLAGS)
    for part in ("rules", "pattern", "export"):
        assert getattr(record, part) is getattr(record, part)
    assert record.export.flags is record.export.flags
    assert Record.emtpy(None).data == EMPTY
    assert Record.emtpy(None).is_promise


@pytest.mark.parametrize(
    ("data", "place"),
    [
        ({"author": 1}, "author"),
        ({"comment": []}, "comment"),
        ({"rules": {}}, "rules"),
        ({"rules": [RULE, {"types": "mesh"}]}, 'rule 2: "types"'),
        ({"rules": [None]}, "rule 1"),
        ({"pattern": "s"}, "pattern"),
        ({"export": []}, "export"),
        ({"export": {"directory": 5}}, 'export: "directory"'),
        ({"export": {"options": []}}, 'export: "options"'),
        ({"export": {"flags": [True]}}, 'export: "flags"'),
        ({"export": {"flags": {"triangulate": "no"}}}, 'export: "triangulate"'),
        ([], "record"),
        (None, "record"),
    ],
)
def test_wrong_types_are_refused_with_their_place_and_change_nothing(data, place):
    with pytest.raises((AssertionError, TypeError), match=place):
        Record(None, data)
    record = Record(None, FULL)
    parts = (record.rules, record.pattern, record.export)
    with pytest.raises((AssertionError, TypeError)):
        record._apply(data)
    assert (record.rules, record.pattern, record.export) == parts
    assert record.data == FULL
    history = history_of(1)
    with pytest.raises((AssertionError, TypeError), match="record 7"):
        history.load({"records": {"2": FULL, "7": data}})
    assert list(history.data) == ["1"]


def test_edits_show_and_are_dropped():
    record = Record(None, FULL)
    edits = [
        lambda: setattr(record, "comment", "other"),
        lambda: setattr(next(iter(record.rules)), "regex", "x"),
        lambda: setattr(next(iter(record.rules)).range, "minimum", 0),
        lambda: record.pattern.clear(),
        lambda: setattr(record.export.flags, "triangulate", False),
        lambda: record.export.set_options({}),
        lambda: record.clear_author(),
    ]
    for edit in edits:
        assert not record.is_changed
        edit()
        assert record.is_changed
        assert record != Record(None, FULL)
        record.reset()
    assert record == Record(None, FULL, 99)
    assert record != FULL
    with pytest.raises(AssertionError):
        record.author = None
    with pytest.raises(AssertionError):
        record.export.directory = None


def test_export_options_are_copied_in_and_out():
    class Options:
        data = {"formats": {"fbx": {"a": 1}}, "selected": "fbx"}

    export = Record(None, FULL).export
    export.get_options()["formats"].clear()
    export._options.clear()
    assert export.data == FULL["export"]
    export.set_options(Options())
    assert export.get_options() == Options.data
    export.get_options()["formats"]["fbx"]["a"] = 2
    assert export.data["options"] == Options.data
    for wrong in (None, [], "text", object()):
        with pytest.raises(TypeError):
            export.set_options(wrong)
    assert export.get_options() == Options.data


def test_saving_moves_the_edits_into_the_history(clock):
    history = History(Document())
    record = history.get_record()
    assert record.is_promise
    record.comment = "mine"
    record.save()
    stored = next(iter(history))
    assert (stored.comment, stored.timestamp) == ("mine", 1_700_000_000)
    assert stored.is_selected
    assert not stored.is_changed
    assert (record.comment, record.timestamp) == ("", 0)
    assert history._project_settings.saved == 1
    assert history.edit_toggle.current is stored

    record.comment = "again"
    record.save()
    assert [r.comment for r in history] == ["again"]
    clock[0] += 1
    record.save()
    assert list(history.data) == ["1700000000", "1700000001"]
    assert history.pointer == 1_700_000_001


def test_a_save_during_a_save_is_refused_and_keeps_the_edits(clock):
    class Saving(Document):
        def save(self):
            super().save()
            other.save()
            refused.append(history.save_record(other.clone()))

    refused = []
    history = History(Saving())
    record, other = history.get_record(), history.get_record()
    record.comment, other.comment = "first", "second"
    record.save()
    assert refused == [False]
    assert other.comment == "second"
    assert [r.comment for r in history] == ["first"]
    clock[0] += 1
    history._project_settings.__class__ = Document
    other.save()
    assert [r.comment for r in history] == ["second", "first"]
    assert other.comment == ""


def test_a_failing_save_comes_out_after_the_release(clock):
    class Failing(Document):
        def save(self):
            raise failure

    failure = OSError("disk full")
    history = History(Failing())
    record = history.get_record()
    record.comment = "kept"
    for _ in range(2):
        with pytest.raises(OSError, match="disk full") as raised:
            record.save()
        assert raised.value is failure
        assert record.comment == "kept"
    with pytest.raises(AssertionError):
        history.save_record(FULL)
    with pytest.raises(AssertionError):
        history.save_record(None)


@pytest.mark.parametrize(
    ("key", "stamp"),
    [
        ("12", 12),
        ("12.9", 12),
        (" 12\n", 12),
        ("+12", 12),
        ("1.2e1", 12),
        ("-3", -3),
        ("1_000", 1000),
        ("\u0661\u0662", 12),
        ("nan(2)", None),
        ("9007199254740992", 2**53),
        ("9007199254740994", None),
        ("1e999", None),
        ("inf", None),
        ("nan", None),
        ("0x10", None),
        ("", None),
        ("twelve", None),
        ("12 13", None),
    ],
)
def test_record_keys(key, stamp):
    history = History(Document())
    history.load({"records": {key: {}}})
    assert list(history._records) == ([] if stamp is None else [stamp])


@pytest.mark.parametrize(
    ("value", "answer"),
    [("1", True), (1.5, True), ("nan", True), ("1e999", True), (10**400, True), ("a", False)]
    + [(value, False) for value in (None, [], {}, b"1", object(), "")],
)
def test_is_timestamp(value, answer):
    assert History._is_timestamp(value) is answer


@pytest.mark.parametrize(
    ("selected", "pointer"),
    [(5, 5), ("5", 5), (5.5, 5), (6, 9), (None, 9), ("x", 9), (float("nan"), 9), ([5], 9)],
)
def test_selected_record_falls_back_to_the_newest(selected, pointer):
    history = history_of(9, 2, 5, selected=selected)
    assert history.pointer == pointer
    assert history._get_pointer({"selected_record": selected}) == pointer
    assert history.get_record().comment == f"at {pointer}"


def test_history_order_pointer_and_copies():
    history = history_of(9, 2, 5)
    assert [r.timestamp for r in history] == [5, 2, 9]
    assert list(history._records) == [9, 2, 5]
    for ignored in (3, None, "2", 2.5, [2], object()):
        history.pointer = ignored
        assert history.pointer == 9
    history.pointer = 2
    selected = history.get_record()
    assert selected == history._records[2]
    assert selected is not history._records[2]
    assert selected.timestamp == 2
    history._records[5].select()
    assert history.pointer == 5
    promise = history.get_record()
    promise.clear_timestamp()
    promise.timestamp = -4
    promise.select()
    assert history.pointer == 5
    assert history._records[2] is next(r for r in history if r.timestamp == 2)


def test_select_record_finds_the_equal_one():
    history = history_of(9, 2, 5)
    for record in history:
        record.comment = "same"
    history.select_record(history._records[2])
    assert history.pointer == 2
    copy = history._records[2].clone()
    copy.timestamp = 77
    history.select_record(copy)
    assert history.pointer == 9
    copy.comment = "unlike any"
    history.select_record(copy)
    assert history.pointer == 9


def test_bake_and_clear():
    history = history_of(9, 2, 5, selected=2)
    kept = history._records[2]
    history.bake()
    assert list(history) == [kept]
    assert list(history.edit_toggle) == [kept]
    history.clear()
    assert history.pointer == 0
    assert history.data == {}
    assert list(history.edit_toggle) == []
    history.bake()
    history.load({})
    assert history.get_record().is_promise
    assert history.get_record().data == EMPTY


def test_toggle_follows_the_history_and_drops_the_edits_of_a_promise():
    history = history_of(1, 2)
    toggle = history.edit_toggle
    second, first = history
    assert list(toggle) == [second, first]
    assert toggle.current is second
    promise = history.get_record()
    promise.clear_timestamp()
    toggle.set_promise(promise)
    assert list(toggle) == [promise, second, first]
    assert toggle.current is promise
    promise.comment = "edited"
    for outside in (-1, 3, 2**40):
        toggle.switch(outside)
        assert toggle.current is promise
        assert promise.comment == "edited"
    toggle.switch(2)
    assert toggle.current is first
    assert promise.comment == "at 2"
    first.comment = "stays"
    toggle.switch(0)
    assert first.comment == "stays"
    toggle.update()
    assert list(toggle) == [second, first]
    toggle.clear()
    assert toggle._current is None
    made = toggle.current
    assert made.is_promise
    assert toggle.current is made
    assert list(toggle) == []


def test_records_and_toggles_work_over_any_object_above_them():
    above = HistoryStandIn()
    record = Record(above, FULL, 4)
    assert record._history is above
    assert record.clone()._history is above
    record.select()
    assert above.pointer == 4
    assert record.is_selected
    above.pointer = None
    assert not record.is_selected
    for answer, comment in ((False, "edit"), (None, FULL["comment"]), (True, FULL["comment"])):
        above.answer = answer
        record.comment = "edit"
        record.save()
        assert record.comment == comment
    toggle = History.EditToggle(above)
    assert toggle._history is above
    assert list(toggle) == list(above)
    toggle.clear()
    assert toggle.current._history is above
    above.append("no record")
    with pytest.raises(TypeError):
        toggle.update()
    with pytest.raises(AttributeError):
        Record(None, FULL).save()


def test_parts_keep_what_is_above_them_alive():
    history = history_of(1)
    record, toggle = next(iter(history)), history.edit_toggle
    record.note = toggle.note = "host"
    assert record._history is history
    del history
    gc.collect()
    assert next(iter(record._history)) is record
    assert record._history.edit_toggle is toggle
    assert record.note == record._history.edit_toggle.note == "host"


@collected
def test_histories_records_and_rules_are_collected():
    document = Document()
    history = History(document)
    history.load({"records": {"1": FULL, "2": FULL}})
    document.history = history
    record = next(iter(history))
    record.toggle = history.edit_toggle
    next(iter(record.rules)).record = record
    record.pattern.children[0].record = record
    record.export.flags.history = history
    own = Record(history, FULL)
    history.save_record(own)
    promise = Record.emtpy(history)
    history.edit_toggle.set_promise(promise)
    return document, history, record, own, promise, next(iter(record.rules))
