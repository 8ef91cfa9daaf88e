"""A collection and a shared server: no edit is lost, and nobody waits for long."""

from __future__ import annotations

import os
import threading
import time

import pytest
from exchange_tools import Collection, collection_of, kept, on_disk, reply, served
from project_tools import logged, project, rule, store

import core

Response = Collection.HttpResponse


pytestmark = pytest.mark.usefixtures("pauses")


def record(comment: str) -> dict:
    pattern = [{"stamp": "s", "children": []}]
    return {"rules": [rule("s")], "pattern": pattern, "author": "Ann", "comment": comment}


@pytest.mark.parametrize(
    ("ours", "theirs", "is_kept"),
    [
        ({}, {}, False),
        # Their project has all that ours has, and more.
        ({"records": {"1": 1}}, {"records": {"1": 1, "2": 2}, "selected_record": 2}, False),
        ({"deleted": True}, {"deleted": False}, False),
        ({"records": {"1": 1, "3": 3}}, {"records": {"1": 1, "2": 2}}, True),
        ({"records": {"1": 1}}, {"records": {"1": 2}}, True),
        ({"name": "Ours"}, {"name": "Theirs"}, True),
        ({"description": "ours"}, {"description": "theirs"}, True),
        ({"version": 4, "novel": "ours"}, {"version": 4}, True),
    ],
)
def test_an_edit_that_gives_way_is_kept(tmp_path, caplog, ours, theirs, is_kept):
    def made(fields: dict) -> dict:
        comments = fields.get("records", {"1": 1})
        records = {key: record(f"comment {value}") for key, value in comments.items()}
        return {**served("hero.json"), **fields, "records": records}

    store(tmp_path, "hero.json", {**made(ours), "edit_timestamp": 5})
    collection = collection_of(tmp_path)
    # As this version writes it, without the time of its edit being changed.
    collection.get("hero.json").write()
    before = on_disk(tmp_path, "hero.json")
    collection.create_http_request()
    collection.accept_http_response(reply([{**made(theirs), "edit_timestamp": 6}]))
    assert on_disk(tmp_path, "hero.json")["edit_timestamp"] == 6
    assert kept(tmp_path) == ([before] if is_kept else [])
    assert any(str(tmp_path / ".replaced") in entry for entry in logged(caplog)) is is_kept


def test_an_edit_that_was_kept_can_be_made_the_newest(tmp_path):
    collection = collection_of(tmp_path, hero=project(description="ours"))
    theirs = served("hero.json", description="theirs", edit_timestamp=time.time() + 1000)
    collection.accept_http_response(reply([theirs]))
    (copy,) = (tmp_path / ".replaced").iterdir()
    settings = collection.get("hero.json")
    data = core._File.Json.read(copy)
    settings.apply({**data, "filename": "hero.json", "edit_timestamp": settings.edit_timestamp})
    settings.save()
    assert list(collection._table) == ["hero.json"]
    collection.accept_http_response(reply([theirs]))
    assert on_disk(tmp_path, "hero.json")["description"] == "ours"


@pytest.mark.parametrize("on_server", [True, False])
@pytest.mark.parametrize("other_edit", [None, "by hand", "newer"])
def test_what_was_typed_but_not_saved_is_kept(tmp_path, on_server, other_edit):
    # Without the defaults that this version would write: that alone is no edit.
    collection = collection_of(tmp_path, hero=project(), still=project("Still"))
    settings = collection.get("hero.json")
    collection.create_http_request()
    if on_server:
        settings.description = "typed"
    else:
        list(settings.history.edit_toggle)[0].comment = "typed"
    typed = {**settings.data, "edit_timestamp": settings.edit_timestamp}
    if other_edit:
        stamp = 99 if other_edit == "newer" else 1.5
        store(tmp_path, "hero.json", project(description=other_edit, edit_timestamp=stamp))
    theirs = [served("hero.json", description="theirs", edit_timestamp=9)] if on_server else []
    for answer in (theirs, theirs):
        assert collection.accept_http_response(reply(answer)) is True
    copies = [data for data in kept(tmp_path) if data["name"] == "Hero"]
    assert typed in copies
    # What the file held as well, if the file was replaced; a document without edits once.
    assert len(copies) == (1 if other_edit == "newer" else 2)
    assert len(kept(tmp_path)) == len(copies) + 1


def test_what_was_typed_stays_when_it_cannot_be_kept(tmp_path):
    collection = collection_of(tmp_path, hero=project(), gone=project("Gone"))
    (tmp_path / ".replaced").write_text("in the way")
    collection.create_http_request()
    for filename in ("hero.json", "gone.json"):
        collection.get(filename).description = "typed"
        store(tmp_path, filename, project(edit_timestamp=99))
    answer = [served("hero.json", edit_timestamp=9)]
    assert collection.accept_http_response(reply(answer)) is False
    for filename in ("hero.json", "gone.json"):
        assert collection._table[filename].description == "typed"


def test_what_the_server_had_before_is_not_kept(tmp_path):
    collection = collection_of(tmp_path)
    for stamp in (1, 2, 3):
        name = f"Name {stamp}"
        collection.accept_http_response(reply([served("a.json", name, edit_timestamp=stamp)]))
    assert (collection.names, kept(tmp_path)) == (["Name 3"], [])


def test_what_was_edited_by_hand_is_kept_though_its_time_is_known(tmp_path, caplog):
    collection = collection_of(tmp_path, hero=project())
    collection.get("hero.json").write()
    known = list(collection.create_http_request())
    collection.accept_http_response(reply(known))
    store(tmp_path, "hero.json", {**on_disk(tmp_path, "hero.json"), "description": "by hand"})
    theirs = {**known[0], "name": "Theirs", "edit_timestamp": 9}
    collection.accept_http_response(reply([theirs]))
    assert [data["description"] for data in kept(tmp_path)] == ["by hand"]
    # Told by the name that it had here.
    assert any(entry.startswith('"Hero" was replaced') for entry in logged(caplog))


def test_a_working_copy_outlives_their_edit(tmp_path):
    collection = collection_of(tmp_path, hero=project())
    settings = collection.get("hero.json")
    toggle = settings.history.edit_toggle
    promise = settings.get_record_promise()
    toggle.set_promise(promise)
    promise.comment = "at work"
    theirs = served("hero.json", edit_timestamp=9)
    theirs["records"]["300"] = record("theirs")
    collection.accept_http_response(reply([theirs]))
    assert toggle.current is promise
    assert [each.comment for each in toggle] == ["at work", "theirs", "at 200", "at 100"]
    # What was chosen to be shown stays so, too.
    toggle.switch(3)
    collection.accept_http_response(reply([{**theirs, "edit_timestamp": 10}]))
    assert toggle.current.timestamp == 100
    assert list(toggle)[0] is promise


def test_an_edit_that_cannot_be_kept_is_not_replaced(tmp_path, caplog):
    (tmp_path / ".replaced").write_text("in the way")
    collection = collection_of(tmp_path, a=project("Ours"), b=project("Ours"))
    collection.get("b.json").write()
    same = collection.get("b.json").data
    answer = [served("a.json", "Theirs", edit_timestamp=9), {**same, "edit_timestamp": 9}]
    assert collection.accept_http_response(reply(answer)) is False
    assert on_disk(tmp_path, "a.json")["name"] == collection.get("a.json").name == "Ours"
    assert collection.get("a.json").edit_timestamp == 1.5
    assert collection.get("b.json").edit_timestamp == 9
    assert any("a.json" in entry for entry in logged(caplog))


def test_an_attempt_that_fails_leaves_no_copy(tmp_path, monkeypatch):
    collection = collection_of(tmp_path, hero=project("Ours"), broken=project("Broken"))
    collection.get("hero.json").description = collection.get("broken.json").description = "typed"
    # Newer than the server's, but not to be taken over.
    store(tmp_path, "broken.json", project(records={"5": {"rules": 7}}, edit_timestamp=99))
    names = ["hero.json", "broken.json"]
    answer = reply([served(name, "Theirs", edit_timestamp=9) for name in names])

    def refuse(source, target):
        raise IsADirectoryError(target)

    with monkeypatch.context() as patch:
        patch.setattr(os, "replace", refuse)
        for _ in range(3):
            assert collection.accept_http_response(answer) is False
    assert on_disk(tmp_path, "hero.json")["name"] == "Ours"
    assert os.listdir(tmp_path / ".replaced") == []
    assert collection.accept_http_response(answer) is False
    assert sorted(data["description"] for data in kept(tmp_path)) == ["", "typed"]
    assert collection._table["broken.json"].description == "typed"


def test_the_copy_of_a_file_that_was_half_written_stays(tmp_path, monkeypatch):
    collection = collection_of(tmp_path, hero=project("Ours"))
    written = []

    def refuse(source, target):
        raise PermissionError(target)

    def fill_the_disk(descriptor):
        written.append(descriptor)
        if len(written) == 2:
            raise OSError("no space left")

    monkeypatch.setattr(os, "replace", refuse)
    monkeypatch.setattr(os, "fsync", fill_the_disk)
    answer = reply([served("hero.json", "Theirs", edit_timestamp=9)])
    assert collection.accept_http_response(answer) is False
    assert [data["name"] for data in kept(tmp_path)] == ["Ours"]


def test_half_a_copy_is_not_left_behind(tmp_path, monkeypatch):
    collection = collection_of(tmp_path, hero=project("Ours"))

    def fill_the_disk(source, target):
        with open(target, "w", encoding="utf-8") as file:
            file.write('{"name": "Ou')
        raise OSError("no space left")

    monkeypatch.setattr("shutil.copyfile", fill_the_disk)
    answer = reply([served("hero.json", "Theirs", edit_timestamp=9)])
    assert collection.accept_http_response(answer) is False
    assert on_disk(tmp_path, "hero.json")["name"] == "Ours"
    assert os.listdir(tmp_path / ".replaced") == []


def test_what_another_program_edited_meanwhile_stays(tmp_path):
    collection = collection_of(
        tmp_path, a=project("A"), b=project("B"), c=project("C"), d=project("D"), e=project("E")
    )
    collection.create_http_request()
    store(tmp_path, "a.json", project("A here", edit_timestamp=8))
    store(tmp_path, "b.json", project("B here", edit_timestamp=8))
    store(tmp_path, "c.json", project("C here", target="maya", edit_timestamp=8))
    store(tmp_path, "d.json", "no JSON")
    (tmp_path / "e.json").unlink()
    # Saved here since this collection was loaded; the server's is older.
    store(tmp_path, "f.json", project("F here", edit_timestamp=8))
    answer = [served("a.json", edit_timestamp=5), served("d.json", "D there", edit_timestamp=5)]
    answer += [served("f.json", edit_timestamp=5)]
    collection.accept_http_response(reply(answer))
    assert collection.names == ["A here", "B here", "D there", "F here"]
    names = [name for name in os.listdir(tmp_path) if name.endswith(".json")]
    assert sorted(names) == ["a.json", "b.json", "c.json", "d.json", "f.json"]
    assert on_disk(tmp_path, "c.json")["name"] == "C here"
    assert on_disk(tmp_path, "f.json")["name"] == "F here"
    (aside,) = os.listdir(tmp_path / ".replaced")
    assert (tmp_path / ".replaced" / aside).read_text() == "no JSON"
    sent = {data["filename"]: data["edit_timestamp"] for data in collection.create_http_request()}
    assert sent == {"a.json": 8, "b.json": 8, "d.json": 5, "f.json": 8}


def test_a_document_that_a_host_holds_takes_their_records(tmp_path):
    collection = collection_of(tmp_path, hero=project())
    settings = collection.get("hero.json")
    promise = settings.get_record_promise()
    theirs = served("hero.json", edit_timestamp=9)
    theirs["records"]["300"] = record("theirs")
    collection.accept_http_response(reply([theirs]))
    promise.save()
    stored = on_disk(tmp_path, "hero.json")
    # Saving the old document would have taken their record away.
    assert list(stored["records"])[:3] == ["100", "200", "300"]
    assert len(stored["records"]) == 4
    assert stored["edit_timestamp"] > 9


def test_an_edit_that_waits_for_its_turn_is_not_overwritten(tmp_path, monkeypatch):
    collection = collection_of(tmp_path, hero=project())
    settings = collection.get("hero.json")
    workers: list[threading.Thread] = []

    def edit():
        settings.description = "ours"
        settings.save()

    def pause(seconds: float) -> None:
        if not workers:
            workers.append(threading.Thread(target=edit))
            workers[0].start()
            workers[0].join(0.05)
            assert workers[0].is_alive(), "saving did not wait"

    monkeypatch.setattr(time, "sleep", pause)
    theirs = served("hero.json", description="theirs", edit_timestamp=9)
    assert collection.accept_http_response(reply([theirs])) is False
    workers[0].join(10)
    assert on_disk(tmp_path, "hero.json")["description"] == settings.description == "ours"


def test_a_file_that_stays_locked_is_left_for_the_next_answer(tmp_path, caplog):
    collection = collection_of(tmp_path, held=project("Held"), gone=project("Gone"))
    (tmp_path / "held.json.lock").touch()
    answer = [served("held.json", "There", edit_timestamp=9), served("a.json", "A")]
    assert collection.accept_http_response(reply(answer)) is False
    assert collection.names == ["A", "Held"]
    assert any(entry.startswith("AccessQueueTimeout") for entry in logged(caplog))
    (tmp_path / "held.json.lock").unlink()
    assert collection.accept_http_response(reply(answer)) is True
    assert collection.names == ["A", "There"]


def test_the_turns_of_many_files_overlap(tmp_path, pauses):
    collection = collection_of(tmp_path)
    answer = [served(f"p{index}.json", f"P{index}") for index in range(600)]
    collection.accept_http_response(reply(answer))
    assert len(os.listdir(tmp_path)) == len(collection.names) == 600
    collection.accept_http_response(reply([]))
    assert [name for name in os.listdir(tmp_path) if name.endswith((".json", ".lock"))] == []
    assert len(kept(tmp_path)) == 600
    # A turn for each slice of the files, not 1,200.
    assert sum(pauses) < 3.0


def test_others_get_the_lock_between_the_slices_of_an_answer(tmp_path, monkeypatch):
    collection = collection_of(tmp_path)
    seen: list[list[str]] = []

    def look(seconds: float) -> None:
        if not collection._mutex_edit.locked():
            seen.append(collection.names)

    monkeypatch.setattr(time, "sleep", look)
    answer = [served(f"p{index:03}.json", f"P{index:03}") for index in range(120)]
    collection.accept_http_response(reply(answer))
    assert [len(names) for names in seen] == [50, 100]

    def save_one(seconds: float) -> None:
        if not collection._mutex_edit.locked() and collection.get("p119.json").description == "":
            collection.get("p119.json").description = "ours"
            collection.get("p119.json").save()
            # Does not make the answer at hand know of it.
            collection.create_http_request()

    collection.create_http_request()
    collection.accept_http_response(reply(answer))
    monkeypatch.setattr(time, "sleep", save_one)
    collection.accept_http_response(reply([]))
    assert collection.names == ["P119"]
    assert on_disk(tmp_path, "p119.json")["description"] == "ours"
