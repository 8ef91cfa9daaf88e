"""Project documents: what a file may hold, what is written, and what bad input must not destroy."""

from __future__ import annotations

import gc
import json
import os
import re
import sys
import time
import weakref

import pytest
from project_tools import finish_log, logged, project, rule, store

import core

Settings = core._Project.Settings

KEYS = [
    "name",
    "description",
    "records",
    "selected_record",
    "deleted",
    "version",
    "filename",
    "target",
]


@pytest.fixture(autouse=True)
def _no_pauses(monkeypatch):
    monkeypatch.setattr(time, "sleep", lambda seconds: None)
    yield
    finish_log()


class Collection:
    """Stands in for the collection above a document."""

    def save_project(self, settings):
        self.saved = settings
        return settings.write()


def opened(path) -> Settings:
    return Settings.init(Collection(), str(path))


def made(folder, **fields) -> Settings:
    return Settings(Collection(), str(folder), "", project(**fields))


def test_written_file_has_the_keys_in_order_and_reads_back(tmp_path):
    path = store(tmp_path, "hero.json", project(" Zoë ", description="Beschreibung\n"))
    settings = opened(path)
    assert (settings.name, settings.target, settings.edit_timestamp) == ("Zoë", "blender", 1.5)
    assert (settings.directory, settings.filename) == (str(tmp_path), "hero.json")
    assert settings.path == str(path)
    assert [r.timestamp for r in settings] == [200, 100]
    assert settings.history.pointer == 100
    before = settings.data
    assert list(before) == KEYS
    settings.name = "  Zoë 2 "
    assert settings.write() is True
    text = path.read_text(encoding="utf-8")
    stored = json.loads(text)
    assert list(stored) == [*KEYS, "edit_timestamp"]
    assert stored == {**before, "name": "Zoë 2", "edit_timestamp": 1.5}
    assert '\n  "name": "Zoë 2",\n' in text
    assert opened(path).data == settings.data


def test_version_is_a_constant_of_the_class_and_a_field_of_a_document(tmp_path):
    assert Settings.version == 3
    for fields, version, compatible in (({}, 3, True), ({"version": 2}, 2, False)):
        settings = made(tmp_path, **fields)
        assert (settings.version, settings.compatible) == (version, compatible)
    empty = Settings(None, str(tmp_path), "", {})
    assert (empty.version, empty.compatible, empty.name, empty.data["records"]) == (
        -1,
        False,
        "",
        {},
    )
    empty.version = 3
    assert empty.compatible
    assert Settings.version == 3


WRONG = [
    ({"name": 5}, '"name"'),
    ({"description": ["a"]}, '"description"'),
    ({"target": {}}, '"target"'),
    ({"deleted": "no"}, '"deleted"'),
    ({"version": "3"}, '"version"'),
    ({"version": 3.0}, '"version"'),
    ({"version": None}, '"version"'),
    ({"version": True}, '"version"'),
    ({"version": 10**40}, '"version"'),
    ({"records": [1]}, '"records"'),
    ({"records": {"5": []}}, "record 5"),
    ({"records": {"5": {"rules": [{"name": 1}]}}}, 'record 5: rule 1: "name"'),
    ({"records": {"5": {"rules": [rule("a"), {"range": [1, 2, 3]}]}}}, "rule 2: .range"),
    ({"records": {"5": {"rules": [{"stamp": None}]}}}, '"stamp"'),
    ({"records": {"5": {"pattern": {}}}}, '"pattern"'),
    ({"records": {"5": {"export": {"flags": 1}}}}, '"flags"'),
]


@pytest.mark.parametrize(("fields", "place"), WRONG)
def test_wrong_types_are_refused_with_file_and_place(fields, place, tmp_path, caplog):
    settings = made(tmp_path)
    before = settings.data
    with pytest.raises((AssertionError, TypeError, ValueError), match=place):
        settings.apply(project(**fields))
    assert settings.data == before

    path = store(tmp_path, "bad.json", project(**fields))
    text = path.read_text()
    empty = opened(path)
    assert (empty.name, empty.version, empty.filename) == ("", -1, "bad.json")
    (entry,) = logged(caplog)
    assert re.match(r"(AssertionError|TypeError|ValueError): ", entry)
    assert str(path) in entry
    assert re.search(place, entry)
    assert empty.write() is True
    assert [file.read_text() for file in (tmp_path / ".corrupted").iterdir()] == [text]


@pytest.mark.parametrize(
    ("content", "entry", "moved"),
    [
        (b"{", "Read Corrupted Project: ", True),
        (b"", "Read Corrupted Project: ", True),
        (b"\xff\xfe\x00", "Read Corrupted Project: ", True),
        (b"[1]", "Incompatible Project File", False),
        (b"null", "Incompatible Project File", False),
        (b'"text"', "Incompatible Project File", False),
        (b"[" * 2_000_000, "RecursionError: ", False),
        (b'{"pattern":' + b"[" * 600 + b"]" * 600 + b"}", "RecursionError: ", False),
        (b"{}", None, False),
    ],
)
def test_unusable_files_give_an_empty_document_and_stay(content, entry, moved, tmp_path, caplog):
    path = tmp_path / "project.json"
    path.write_bytes(content)
    settings = opened(path)
    assert (settings.name, settings.version, list(settings)) == ("", -1, [])
    entries = logged(caplog)
    assert [text.startswith(entry) for text in entries] == ([] if entry is None else [True])
    assert path.exists() is not moved
    kept = list((tmp_path / ".corrupted").iterdir()) if moved else [path]
    assert [file.read_bytes() for file in kept] == [content]
    caplog.clear()
    assert Settings._open(str(path)) == {}
    assert opened(tmp_path / "absent.json").version == -1


def test_texts_of_every_kind_survive_the_file(tmp_path):
    name = 'a"b\\c\x01\u2028ё😀\ud800x\x7f'
    path = tmp_path / "odd.json"
    path.write_bytes(b"\xef\xbb\xbf" + json.dumps(project(name, description=name)).encode())
    settings = opened(path)
    assert settings.name == settings.description == name
    assert settings.write()
    assert opened(path).name == name


@pytest.mark.parametrize("stored", ["NaN", "Infinity", "-Infinity", '"5"', "true", "null", "[]"])
def test_times_of_edit_that_are_no_numbers_count_as_zero(stored, tmp_path):
    text = json.dumps(project()).replace('"edit_timestamp": 1.5', f'"edit_timestamp": {stored}')
    assert opened(store(tmp_path, "p.json", text)).edit_timestamp == 0.0


def test_an_edit_is_later_than_the_one_before_whatever_the_clock_says(tmp_path, monkeypatch):
    settings = made(tmp_path, edit_timestamp=5000.0)
    for now, expected in ((6000.25, 6000.25), (100.0, 6000.251)):
        monkeypatch.setattr(time, "time", lambda now=now: now)
        settings.mark_edited()
        assert settings.edit_timestamp == pytest.approx(expected)
    # An endless time would count as none when it is read.
    settings.edit_timestamp = sys.float_info.max
    settings.mark_edited()
    assert settings.edit_timestamp == sys.float_info.max


@pytest.mark.parametrize(
    ("name", "pattern"),
    [
        (" Big Hero ", r"big_hero_[0-9a-f]{8}\.json"),
        ("Рука-Левая", r"ruka_lebaia_[0-9a-f]{8}\.json"),
        ("../../etc/passwd", r"[a-z_]*etcpasswd_[0-9a-f]{8}\.json"),
        ("", r"_[0-9a-f]{8}\.json"),
        ("x" * 5000, r"x{1,186}_[0-9a-f]{8}\.json"),
    ],
)
def test_file_names_are_made_of_the_name_and_random_digits(name, pattern, tmp_path):
    first, second = made(tmp_path, name=name), made(tmp_path, name=name)
    assert first.filename == ""
    assert first.is_outdated is False
    first.reload()
    assert first.filename == ""
    assert first.write()
    assert second.write()
    assert re.fullmatch(pattern, first.filename)
    assert first.filename != second.filename
    assert os.path.dirname(first.path) == str(tmp_path)
    kept = first.filename
    first.name = "renamed"
    assert first.path.endswith(kept)
    first.clear_filename()
    assert first.path.startswith(str(tmp_path / "renamed_"))


def test_the_name_on_the_disk_wins_over_the_one_in_the_file(tmp_path):
    copied = opened(store(tmp_path, "copy.json", project(filename="original.json")))
    assert copied.filename == "copy.json"
    assert copied.data["filename"] == "copy.json"
    copied.reload()
    assert copied.filename == "copy.json"
    given = Settings(None, str(tmp_path), "given.json", project(filename="original.json"))
    assert given.filename == "given.json"


@pytest.mark.parametrize(
    ("filename", "taken"),
    [
        ("other.json", True),
        ("../other.json", False),
        ("a\\b.json", False),
        ("nul.json", False),
        ("other.txt", False),
        ("x" * 300 + ".json", False),
        ("字" * 80 + ".json", False),
        ("..json", False),
        ("..x.json", True),
        ("", False),
        (5, False),
    ],
)
def test_applied_data_may_only_name_a_safe_file(filename, taken, tmp_path):
    settings = Settings(None, str(tmp_path), "mine.json", project())
    settings.apply(project(filename=filename))
    assert settings.filename == (filename if taken else "mine.json")


def test_growth_by_another_editor_is_seen_and_read(tmp_path):
    settings = made(tmp_path)
    assert settings.write()
    assert not settings.is_outdated
    other = opened(settings.path)
    other.description = "longer than before"
    record = other.get_record_promise()
    record.comment = "third"
    record.save()
    assert settings.is_outdated
    history = settings.history
    settings.reload()
    assert not settings.is_outdated
    assert settings.history is history
    assert settings.data == other.data
    assert "third" in [r.comment for r in settings]


@pytest.mark.parametrize(
    "content",
    [b"", b"{" * 5000, b"{}", b"[" + b" " * 5000 + b"]", b"x" * 5000]
    + [json.dumps(project(name=3, description="x" * 5000)).encode()],
)
def test_reload_keeps_the_document_when_the_file_is_no_good(content, tmp_path):
    settings = made(tmp_path)
    settings.write()
    before = settings.data
    with open(settings.path, "wb") as file:
        file.write(content)
    settings.reload()
    assert settings.data == before
    assert settings.write()
    assert opened(settings.path).data == before
    # Another editor may understand what is none to us.
    kept = [file.read_bytes() for file in tmp_path.glob(".corrupted/*")]
    assert kept == ([] if content == b"{}" else [content])


def test_a_refused_edit_of_another_does_not_count_as_outdated_for_ever(tmp_path):
    settings = made(tmp_path)
    settings.write()
    store(tmp_path, settings.filename, project(name=3, description="x" * 5000))
    assert settings.is_outdated
    settings.reload()
    assert not settings.is_outdated


@pytest.mark.parametrize("content", ["{broken", "[1, 2]", "[" * 100_000])
def test_writing_over_unusable_content_moves_or_replaces_it(content, tmp_path):
    settings = made(tmp_path)
    settings.write()
    store(tmp_path, settings.filename, content)
    assert settings.write() is True
    assert opened(settings.path).data == settings.data


def test_a_failed_write_is_logged_and_changes_nothing_in_memory(tmp_path, caplog):
    folder = tmp_path / "gone"
    settings = made(folder)
    before = {**settings.data, "filename": None}
    assert settings.write() is False
    assert {**settings.data, "filename": None} == before
    (entry,) = logged(caplog)
    assert entry.startswith("FileNotFoundError: ")
    folder.mkdir()
    assert settings.write() is True


@pytest.mark.parametrize("version", [0, 2, 4, 2**53])
def test_documents_of_other_versions_are_kept_word_for_word(version, tmp_path):
    data = {
        "records": {"100": {"rules": {"by": "name"}}, "new": 1},
        "layers": [{"deep": None}],
        "version": version,
        "name": "  Next ",
        "deleted": False,
        "edit_timestamp": 7.5,
        "target": "blender",
        "filename": "original.json",
    }
    path = store(tmp_path, "next.json", data)
    settings = opened(path)
    assert (settings.name, settings.target, settings.version) == ("Next", "blender", version)
    assert settings.edit_timestamp == 7.5
    assert not settings.compatible
    assert settings.write()
    assert json.loads(path.read_text()) == data
    assert list(json.loads(path.read_text())) == list(data)

    clone = settings.clone()
    assert clone == settings
    settings.save()
    settings.delete()
    assert settings.write()
    stored = json.loads(path.read_text())
    assert stored.pop("edit_timestamp") > 7.5
    assert stored == {k: v for k, v in data.items() if k != "edit_timestamp"} | {"deleted": True}

    record = settings.get_record_promise()
    record.comment = "lost?"
    with pytest.raises(ValueError, match=str(version)):
        record.save()
    assert record.comment == "lost?"
    assert "lost?" not in [r.comment for r in settings]
    settings.apply(project())
    assert settings.compatible
    assert list(settings.data) == KEYS


def test_saving_goes_through_the_collection(tmp_path, monkeypatch):
    monkeypatch.setattr(time, "time", lambda: 5000.75)
    settings = made(tmp_path)
    record = settings.get_record_promise()
    record.author, record.comment = "Bob", "changed"
    record.save()
    assert settings._collection.saved is settings
    assert settings.edit_timestamp == 5000.75
    assert settings.history.pointer == 5000
    stored = opened(settings.path)
    assert (next(iter(stored)).author, stored.history.pointer) == ("Bob", 5000)


def test_promise_is_an_unedited_copy_of_the_selected_state(tmp_path):
    settings = made(tmp_path)
    promise = settings.get_record_promise()
    assert promise.is_promise
    assert not promise.is_changed
    assert (promise.author, promise.comment) == ("", "")
    assert promise.rules.data == settings.history._records[100].rules.data
    assert promise._history is settings.history
    empty = Settings(None, str(tmp_path), "", {}).get_record_promise()
    assert empty.is_promise
    assert empty.rules.is_empty


def test_clones_share_nothing_with_their_original(tmp_path):
    settings = made(tmp_path)
    settings.write()
    clone = settings.clone()
    assert clone == settings
    assert (clone.filename, clone._collection) == (settings.filename, settings._collection)
    clone.name = "other"
    clone.history.bake()
    assert clone != settings
    assert len(list(settings)) == 2
    assert settings != settings.data
    for field in ("name", "description"):
        with pytest.raises(AssertionError):
            setattr(settings, field, None)
    with pytest.raises(TypeError):
        settings.apply([])


def test_two_documents_alike_are_equal_and_apart(tmp_path):
    path = store(tmp_path, "p.json", project())
    first, second = opened(path), opened(path)
    first.note = "host"
    assert first == second
    assert not hasattr(second, "note")
    next(iter(first)).comment = "edited"
    assert first != second
    assert [r.name for r in Settings.predefined_rules()] == ["empty", "render", "ghost"]


def test_documents_are_collected_with_all_they_hold(tmp_path):
    settings = made(tmp_path)
    collection = settings._collection
    collection.kept = [settings, settings.clone()]
    record = next(iter(settings))
    settings.note = [record, settings.get_record_promise(), settings.history.edit_toggle]
    record.up = settings
    objects = [settings, collection, record, settings.history, *collection.kept, *settings.note]
    ends = [weakref.ref(item) for item in objects]
    history = settings.history
    del settings, collection, record, objects
    gc.collect()
    # The history keeps its document, and so all of it, alive until it goes itself.
    assert history._project_settings.history is history
    del history
    gc.collect()
    assert [end() for end in ends] == [None] * len(ends)
