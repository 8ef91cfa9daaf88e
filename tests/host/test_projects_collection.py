"""The collection of project documents: what is listed, found, saved and erased, and its lock."""

from __future__ import annotations

import gc
import json
import threading
import weakref

import pytest
from project_tools import logged, make_api, project, store

import core

Settings = core._Project.Settings
Collection = core._Project.Collection


pytestmark = pytest.mark.usefixtures("pauses")


def collection_of(folder, **projects) -> Collection:
    for stem, data in projects.items():
        store(folder, f"{stem}.json", data)
    return Collection(make_api(folder), "blender")


def test_only_approved_projects_are_listed_and_no_bad_file_stops_the_others(tmp_path, caplog):
    (tmp_path / "folder.json").mkdir()
    store(tmp_path, "notes.txt", project("Text"))
    store(tmp_path, "UPPER.JSON", project("Upper"))
    collection = collection_of(
        tmp_path,
        good=project("Good"),
        foreign=project("Foreign", target="maya"),
        unversioned={**project("Unversioned"), "version": -1},
        gone=project("Gone", deleted=True),
        newer=project("Newer", version=4),
        wrong=project(["Wrong"]),
        broken="{",
        deep="[" * 100_000,
        stamps=project("Stamps", records={"5": {"rules": [{"stamp": None}]}}),
    )
    assert collection.names == ["Good", "Newer"]
    assert sorted(collection._table) == ["gone.json", "good.json", "newer.json"]
    assert [(h.filename, h.compatible) for h in collection.headers] == [
        ("good.json", True),
        ("newer.json", False),
    ]
    assert {settings.name for settings in collection} == {"Good", "Gone", "Newer"}
    assert collection.get("gone.json").deleted
    assert not (tmp_path / "broken.json").exists()
    assert (tmp_path / "deep.json").exists()
    # Each refused file is named in the log.
    for stem in ("wrong", "broken", "deep", "stamps"):
        assert any(f"{stem}.json" in entry for entry in logged(caplog)), stem


def test_headers_of_one_name_stand_in_order_of_their_edits(tmp_path):
    collection = collection_of(
        tmp_path,
        a=project("Same", edit_timestamp=30),
        b=project("Same", edit_timestamp=10.5),
        c=project("Same", edit_timestamp=20),
        d=project("Above"),
    )
    assert [h.filename for h in collection.headers] == ["d.json", "b.json", "c.json", "a.json"]
    assert str(collection.headers[1]) == (
        'Project.Header(name="Same", filename="b.json", edit_timestamp="10.5", compatible=True)'
    )
    with pytest.raises(AttributeError):
        collection.headers[0].name = "x"


@pytest.mark.parametrize(
    "seconds",
    [0.0, 1e-5, 1e-4, 0.5, 100000.0, 1700000000.0, 1700000000.25, 1e15, 1e16, 1.5e300]
    + [float("inf"), float("nan"), -2.0],
)
def test_headers_print_times_as_the_interpreter_does(seconds):
    header = core._Project.Header("n", "f.json", seconds, False)
    assert f'edit_timestamp="{seconds}", ' in str(header)


def test_all_files_are_waited_for_side_by_side(tmp_path, pauses):
    for index in range(60):
        store(tmp_path, f"p{index}.json", project(f"Project {index}"))
    collection = Collection(make_api(tmp_path), "blender")
    assert len(collection.names) == 60
    assert sum(pauses) < 1.0
    assert sorted(p.name for p in tmp_path.iterdir()) == sorted(f"p{i}.json" for i in range(60))


def test_a_missing_folder_is_logged_and_gives_an_empty_collection(tmp_path, caplog):
    collection = collection_of(tmp_path / "absent")
    assert (collection.names, collection.headers, list(collection)) == ([], [], [])
    assert [entry.split(":")[0] for entry in logged(caplog)] == ["FileNotFoundError"]


def test_get_reads_again_what_another_editor_made_grow(tmp_path):
    collection = collection_of(tmp_path, hero=project())
    settings = collection.get("hero.json")
    assert collection.get("hero.json") is settings
    store(tmp_path, "hero.json", project(description="x" * 1000))
    assert collection.get("hero.json") is settings
    assert settings.description == "x" * 1000
    settings.note = "kept"
    del settings
    gc.collect()
    assert collection.get("hero.json").note == "kept"
    assert collection.get_file("Hero") == str(tmp_path / "hero.json")
    assert collection.get_file("hero") is None


def test_what_is_not_there_gives_a_new_empty_project(tmp_path):
    collection = collection_of(tmp_path)
    for empty in (collection.get("absent.json"), collection.get(""), collection.get_empty()):
        assert (empty.filename, empty.target, empty.compatible) == ("", "blender", True)
        assert (empty.directory, empty._collection) == (str(tmp_path), collection)
        assert collection.is_approved(empty)
    assert list(tmp_path.iterdir()) == []
    for nothing in (None, {}, "x.json"):
        assert collection.is_approved(nothing) is False
    for fields in ({"target": "maya"}, {"version": -1}):
        assert not collection.is_approved(Settings(None, "", "", project(**fields)))


def test_no_name_is_the_name_of_nothing(tmp_path):
    collection = collection_of(tmp_path, good=project("Good"))
    assert collection.get(None).filename == ""
    assert collection.get_file(None) is None


def test_a_project_under_a_new_file_name_leaves_the_old_one(tmp_path):
    collection = collection_of(tmp_path, good=project("Good"))
    settings = collection.get("good.json")
    settings.apply({**settings.data, "filename": "better.json"})
    settings.save()
    assert list(collection._table) == ["better.json"]


def test_saving_writes_stores_and_announces_outside_the_lock(tmp_path):
    collection = collection_of(tmp_path)
    seen = []
    collection._api.callbacks.projects_saved.register(
        lambda: seen.append((collection.names, collection._mutex_edit.locked()))
    )
    settings = collection.get_empty()
    settings.name = "New Hero"
    settings.save()
    assert seen == [(["New Hero"], False)]
    assert collection.get(settings.filename) is settings
    assert Collection(make_api(tmp_path), "blender").get(settings.filename) == settings
    record = settings.get_record_promise()
    record.save()
    assert len(seen) == 2


def test_a_failed_save_keeps_the_project_in_the_table_and_announces_nothing(tmp_path, caplog):
    folder = tmp_path / "projects"
    folder.mkdir()
    collection = collection_of(folder)
    seen = []
    collection._api.callbacks.projects_saved.register(lambda: seen.append(1))
    folder.rmdir()
    settings = collection.get_empty()
    settings.name = "Kept"
    collection.save_project(settings)
    assert (collection.names, seen) == (["Kept"], [])
    assert any(entry.startswith("FileNotFoundError") for entry in logged(caplog))
    folder.mkdir()
    collection._save_project(settings)
    assert seen == [1]
    for wrong in (None, project(), object()):
        with pytest.raises(TypeError):
            collection.save_project(wrong)


def test_everything_that_reads_the_table_waits_for_its_lock(tmp_path):
    collection = collection_of(tmp_path, hero=project())
    settings = collection.get("hero.json")
    actions = [
        lambda: collection.get("hero.json"),
        lambda: collection.get_file("Hero"),
        lambda: collection.names,
        lambda: collection.headers,
        lambda: list(collection),
        lambda: collection.save_project(settings),
        collection._load,
        collection.create_http_request,
    ]
    for action in actions:
        worker = threading.Thread(target=action)
        with collection._mutex_edit:
            worker.start()
            worker.join(0.02)
            assert worker.is_alive()
        worker.join(5)
        assert not worker.is_alive()
    with collection._mutex_edit:
        assert collection.get_empty().filename == ""
        assert collection.is_approved(settings)
        collection._load_file(str(tmp_path / "hero.json"))
        collection._erase_project("hero.json")
    assert collection.names == []


def test_erasing_takes_only_what_is_in_the_table(tmp_path, caplog):
    outside = store(tmp_path, "outside.json", project())
    folder = tmp_path / "projects"
    folder.mkdir()
    collection = collection_of(folder, hero=project(), foreign=project(target="maya"))
    for key in ("foreign.json", "../outside.json", "absent.json", ""):
        collection._erase_project(key)
    assert outside.exists()
    assert (folder / "foreign.json").exists()
    planted = Settings(collection, str(folder), "../outside.json", project())
    collection.save_project(planted)
    collection._erase_project("../outside.json")
    assert outside.exists()
    assert sorted(collection._table) == ["hero.json"]
    assert logged(caplog)[-1].startswith("AssertionError")

    store(folder, "hero.json", "no JSON at all")
    collection._erase_project("hero.json")
    assert [p.name for p in folder.iterdir()] == ["foreign.json"]
    collection._load_file(str(store(folder, "late.json", project())))
    (folder / "late.json").unlink()
    collection._erase_project("late.json")
    assert collection.names == []
    assert logged(caplog)[-1].startswith("FileNotFoundError")
    assert [p.name for p in folder.iterdir()] == ["foreign.json"]


def test_projects_come_and_go_while_others_walk_them(tmp_path):
    projects = {f"p{index}": project(f"P{index}") for index in range(8)}
    collection = collection_of(tmp_path, **projects)
    errors = []

    def network():
        try:
            for index in range(8):
                collection._erase_project(f"p{index}.json")
                empty = collection.get_empty()
                empty.name = f"N{index}"
                collection.save_project(empty)
        except Exception as error:
            errors.append(error)

    worker = threading.Thread(target=network)
    worker.start()
    while worker.is_alive():
        for settings in collection:
            assert settings.data
        names = collection.names
        assert names == sorted(names)
    worker.join()
    assert errors == []
    assert collection.names == [f"N{index}" for index in range(8)]


def test_what_is_saved_by_one_collection_is_read_by_another(tmp_path):
    mine, yours = collection_of(tmp_path), collection_of(tmp_path)
    settings = mine.get_empty()
    settings.name = "Shared"
    rules = core._Project.Settings.Rule.List.predefined()
    record = settings.get_record_promise()
    for rule in list(rules):
        record.rules.append(rule)
    record.pattern.append(record.pattern.create_node(next(iter(record.rules))))
    record.save()
    yours._load()
    (read,) = yours
    assert read == settings
    assert str(read.history.get_record().pattern) == "empty"
    assert json.loads((tmp_path / settings.filename).read_text())["name"] == "Shared"


def test_collections_are_collected_with_api_and_documents(tmp_path):
    collection = collection_of(tmp_path, hero=project(), villain=project("Villain"))
    api = collection._api
    api.project = collection
    api.callbacks.projects_saved.register(collection.get)
    settings = collection.get("hero.json")
    settings.note = [settings.get_record_promise(), collection.headers]
    objects = [collection, api, settings, *settings.note[:1]]
    ends = [weakref.ref(item) for item in objects]
    del collection, api, objects
    gc.collect()
    assert settings._collection._api.project.get("hero.json") is settings
    del settings
    gc.collect()
    assert [end() for end in ends] == [None] * len(ends)
