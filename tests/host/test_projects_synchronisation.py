"""A collection and a shared server: what is sent, and what is taken over."""

from __future__ import annotations

import json
import os
import threading
import time
from types import SimpleNamespace

import pytest
from exchange_tools import JSON, Collection, collection_of, kept, on_disk, reply, served
from project_tools import logged, make_api, project, store

import core

Response = Collection.HttpResponse


pytestmark = pytest.mark.usefixtures("pauses")


# Requests


def test_a_request_carries_every_document_as_it_is(tmp_path):
    newer = project("Newer", version=4, novel={"x": [1]}, filename="original.json")
    gone = project("Gone", deleted=True)
    collection = collection_of(
        tmp_path, hero=project("Рука"), gone=gone, newer=newer, foreign=project(target="maya")
    )
    request = collection.create_http_request()
    assert request.headers == Collection.HttpResponse.headers == {"Content-type": JSON}
    body = json.loads(bytes(request).decode("utf-8"))
    assert body == {"target": "blender", "projects": request.projects}
    assert list(body) == ["target", "projects"]
    by_file = {sent["filename"]: sent for sent in request}
    assert sorted(by_file) == ["gone.json", "hero.json", "newer.json"]
    hero = collection.get("hero.json")
    assert by_file["hero.json"] == {**hero.data, "edit_timestamp": 1.5}
    assert by_file["gone.json"]["deleted"] is True
    # What this version does not understand goes out as it came in, under the name of the file.
    assert by_file["newer.json"] == {**newer, "filename": "newer.json"}
    assert "Рука" in str(request)


def test_a_request_can_be_made_by_hand():
    Request = Collection.HttpRequest
    request = Request("blender", [{"name": core._Str("a"), "odd": "\ud800"}])
    assert str(request) == r'{"target": "blender", "projects": [{"name": "a", "odd": "\ud800"}]}'
    assert bytes(Request("ж", ())) == '{"target": "ж", "projects": []}'.encode()
    for wrong in (None, {}, "text", [object()]):
        with pytest.raises(TypeError):
            Request("blender", wrong)


# Answers


def broken(error: Exception):
    def read():
        raise error

    return read


def headers_only(headers) -> SimpleNamespace:
    return SimpleNamespace(headers=headers, read=lambda: json.dumps([served("a.json")]).encode())


@pytest.mark.parametrize(
    ("response", "accepted", "entry"),
    [
        (reply([served("a.json")]), True, None),
        (reply([]), True, None),
        (headers_only({"Server": "x", "CONTENT-TYPE": JSON}), True, None),
        (headers_only([("content-type", JSON)]), True, None),
        (headers_only({"Content-type": "text/json"}), False, None),
        (headers_only(None), False, None),
        # Compared as a text, and not even read when it differs.
        (reply([], "application/json; charset=utf-8", read=broken(OSError())), False, None),
        (reply([], "", read=broken(OSError())), False, None),
        (reply([], None, read=broken(OSError())), False, None),
        (reply([], getheader=broken(OSError("no header"))), False, "TypeError"),
        (reply([], read=broken(OSError("cut off"))), False, "OSError: cut off"),
        (reply([], read=lambda: "a text"), False, "TypeError"),
        (reply(b'[{"filename": "a.json"}, {"fi'), False, "JSONDecodeError"),
        (reply(b"\xff\xfe"), False, "UnicodeDecodeError"),
        (reply(b"[" * 100_000), False, "RecursionError"),
        (reply({"error": "no such target"}), False, "TypeError"),
        (reply(None), False, "TypeError"),
        (reply("projects"), False, "TypeError"),
        (reply([1, None, {"filename": 5}, {"name": "x"}, served("../x.json")]), False, "Projects"),
        (reply([1, served("a.json"), served("con.json")]), True, "Projects"),
        (object(), False, None),
    ],
)
def test_only_an_array_of_projects_is_accepted(tmp_path, caplog, response, accepted, entry):
    answer = Response(response)
    assert answer.accepted is accepted
    assert list(answer) == answer.projects
    assert all(data["filename"] == "a.json" for data in answer)
    assert len(answer.projects) <= accepted
    entries = logged(caplog)
    assert entries == [] if entry is None else any(found.startswith(entry) for found in entries)
    if not accepted:
        collection = collection_of(tmp_path, hero=project())
        assert collection.accept_http_response(response) is False
        assert collection.names == ["Hero"]
        assert os.listdir(tmp_path) == ["hero.json"]


def test_a_project_that_is_nested_too_deeply_keeps_no_other_out(tmp_path):
    deep: list = []
    for _ in range(600):
        deep = [deep]
    collection = collection_of(tmp_path, deep=project("Ours"))
    collection.create_http_request()
    answer = [served("a.json", "A"), served("deep.json", version=9, novel=deep, edit_timestamp=9)]
    assert collection.accept_http_response(reply(answer)) is True
    # The server has it, so ours is not erased.
    assert collection.names == ["A", "Ours"]
    assert Response(reply([answer[1]])).accepted is False


def test_answers_with_the_same_projects_are_equal():
    answer = Response(reply([served("a.json")]))
    assert answer == Response(reply([dict(reversed(served("a.json").items()))]))
    assert answer != Response(reply([served("a.json", edit_timestamp=2)]))
    assert answer != [served("a.json")]
    assert (answer == Response(reply([]))) is False
    answer._decode(reply([], "text/html"))
    assert (answer.accepted, answer.projects) == (False, [])


# Taking over


@pytest.mark.parametrize(
    ("fields", "taken"),
    [
        ({"edit_timestamp": 4.999}, False),
        ({"edit_timestamp": 5}, False),
        ({"edit_timestamp": 5.001}, True),
        ({"edit_timestamp": 6, "deleted": True}, True),
        ({"edit_timestamp": 6, "version": 9, "novel": [1, {"x": None}]}, True),
        ({"edit_timestamp": 6, "version": 2}, True),
        ({"edit_timestamp": 6, "target": "maya"}, False),
        ({"edit_timestamp": 6, "version": -1}, False),
        ({"edit_timestamp": 6, "version": "3"}, False),
        ({"edit_timestamp": 6, "records": {"5": {"rules": 7}}}, False),
        ({"edit_timestamp": 6, "name": None, "target": 5}, False),
        ({"edit_timestamp": float("nan")}, False),
        ({"edit_timestamp": float("inf")}, False),
        ({"edit_timestamp": "6"}, False),
    ],
)
def test_the_newer_edit_wins(tmp_path, fields, taken):
    collection = collection_of(tmp_path, hero=project(description="ours", edit_timestamp=5))
    settings = collection.get("hero.json")
    before = on_disk(tmp_path, "hero.json")
    theirs = served("hero.json", **{"description": "theirs", **fields})
    assert collection.accept_http_response(reply([theirs])) is True
    assert collection.get("hero.json") is settings
    assert settings.description == ("theirs" if taken else "ours")
    stored = on_disk(tmp_path, "hero.json")
    assert stored["description"] == settings.description
    if not taken:
        assert stored == before
    elif theirs["version"] != 3:
        # What this version does not understand is kept to the letter.
        assert stored == theirs
    assert collection.names == ([] if fields.get("deleted") else ["Hero"])
    again = Collection(make_api(tmp_path), "blender").get("hero.json")
    assert (again.data, again.edit_timestamp) == (settings.data, settings.edit_timestamp)
    assert not settings.is_outdated


def test_unknown_projects_are_written_and_announced_outside_the_lock(tmp_path):
    collection = collection_of(tmp_path)
    seen = []
    collection._api.callbacks.projects_saved.register(
        lambda: seen.append((collection.names, collection._mutex_edit.locked()))
    )
    answer = [
        served("a.json", "A"),
        served("b.json", "B", edit_timestamp=3, description="newest"),
        served("b.json", "B", edit_timestamp=2),
        served("c.json", "C", deleted=True),
        served("d.json", "D", target="maya"),
    ]
    collection.accept_http_response(Response(reply(answer)))
    assert sorted(os.listdir(tmp_path)) == ["a.json", "b.json", "c.json"]
    assert collection.get("b.json").description == "newest"
    assert collection.get("c.json").deleted
    assert seen == [(["A", "B"], False)] * 3
    # Another answer with the same projects writes nothing.
    collection.accept_http_response(reply(answer))
    assert len(seen) == 3


def test_names_of_files_lead_nowhere_else(tmp_path, caplog):
    folder = tmp_path / "projects"
    folder.mkdir()
    store(folder, "statistics.json", {"version": 1, "checks": []})
    store(folder, "maya.json", project(target="maya"))
    # A name that would not be taken from a server, but is the name of a file here.
    store(folder, "aux.json", project("Odd"))
    collection = collection_of(folder)
    names = ["../x.json", "/x.json", "sub/x.json", "..", "a\\x.json", "c:x.json", "con.json"]
    names += ["x.json\n", "x\0.json", "hero.json.id.1.json", "x" * 300 + ".json", "aux.json"]
    files = [*names, "statistics.json", "maya.json", "good.json"]
    answer = [served(name, edit_timestamp=9) for name in files]
    assert collection.accept_http_response(reply(answer)) is True
    assert os.listdir(tmp_path) == ["projects"]
    stored = ["aux.json", "good.json", "maya.json", "statistics.json"]
    assert sorted(os.listdir(folder)) == stored
    # Neither other files of the user nor projects of another application are replaced.
    assert on_disk(folder, "statistics.json")["version"] == 1
    assert on_disk(folder, "maya.json")["target"] == "maya"
    assert sorted(collection.names) == ["Hero", "Odd"]
    entries = "\n".join(logged(caplog))
    assert all(found in entries for found in ("../x.json", "statistics.json", "maya.json"))


def test_links_that_were_planted_are_not_followed(tmp_path):
    folder, private = tmp_path / "projects", tmp_path / "private"
    folder.mkdir()
    private.write_text("secret")
    (folder / "d.json").symlink_to(store(tmp_path, "elsewhere.json", project("Linked")))
    collection = collection_of(folder)
    (folder / "a.json").symlink_to(private)
    (folder / "b.json").symlink_to(tmp_path / "absent")
    (folder / "c.json.lock").symlink_to(private)
    answer = [served(f"{stem}.json", stem, edit_timestamp=9) for stem in "abcd"]
    assert collection.accept_http_response(reply(answer)) is False
    assert private.read_text() == "secret"
    assert not (tmp_path / "absent").exists()
    # A project may be kept elsewhere.
    assert collection.names == ["d"]
    assert on_disk(tmp_path, "elsewhere.json")["name"] == "d"
    assert (folder / "d.json").is_symlink()


@pytest.mark.skipif(not hasattr(os, "mkfifo"), reason="there are no named pipes")
def test_a_pipe_among_the_projects_is_not_waited_for(tmp_path, caplog):
    os.mkfifo(tmp_path / "pipe.json")
    made: list[Collection] = []

    def synchronise() -> None:
        made.append(collection_of(tmp_path, hero=project()))
        answer = [served("hero.json"), served("pipe.json", edit_timestamp=9)]
        assert made[0].accept_http_response(reply(answer)) is False
        made.append(made[0])

    worker = threading.Thread(target=synchronise, daemon=True)
    worker.start()
    worker.join(20)
    assert len(made) == 2, "it hangs or failed"
    assert made[0].names == ["Hero"]
    assert (tmp_path / "pipe.json").is_fifo()
    assert any("not a regular file" in entry and "pipe.json" in entry for entry in logged(caplog))


# What the server does not have


def test_what_the_server_does_not_list_goes_unless_it_cannot_know_of_it(tmp_path):
    collection = collection_of(
        tmp_path,
        listed=project("Listed"),
        absent=project("Absent"),
        marked=project("Marked", deleted=True),
        edited=project("Edited"),
        retargeted=project("Retargeted"),
    )
    collection.create_http_request()
    settings = collection.get_empty()
    settings.name = "New"
    settings.save()
    collection.get("edited.json").save()
    # A later request that gets no answer does not make the earlier answer know more.
    collection.create_http_request()
    answer = [served("listed.json", "Listed"), served("retargeted.json", target="maya")]
    collection.accept_http_response(reply(answer))
    assert collection.names == ["Edited", "Listed", "New", "Retargeted"]
    assert not (tmp_path / "absent.json").exists()
    assert not (tmp_path / "marked.json").exists()
    assert [data["name"] for data in kept(tmp_path)] == ["Absent"]

    collection.create_http_request()
    collection.accept_http_response(reply([]))
    assert (collection.names, list(collection)) == ([], [])
    assert [name for name in os.listdir(tmp_path) if not name.startswith(".")] == []


def test_without_a_request_the_answer_counts_for_all(tmp_path):
    collection = collection_of(tmp_path, hero=project(edit_timestamp=time.time() + 1000))
    collection.accept_http_response(reply([]))
    assert collection.names == []
    # What an answer brought is known to the server, too.
    collection.create_http_request()
    collection.accept_http_response(reply([served("a.json")]))
    collection.accept_http_response(reply([]))
    assert collection.names == []
