"""The server component: what a host is given to send, and what becomes of the answers."""

from __future__ import annotations

import gc
import json
import weakref
from types import SimpleNamespace

import pytest
from project_tools import Pattern, StandIn, logged, make_api, project, store

import core

EVENTS = ("projects_saved", "projects_synchronized", "projects_response_closed", "http_no_response")


pytestmark = pytest.mark.usefixtures("pauses")


def reply(projects, content_type: str = "application/json") -> SimpleNamespace:
    body = json.dumps(projects).encode()
    return SimpleNamespace(headers={"Content-Type": content_type}, read=lambda: body, status=200)


def made_api(folder, current: str = "") -> StandIn:
    """A facade with real projects and statistics; `events` notes what was fired."""
    api = make_api(folder, project=current)
    api.pattern = Pattern()
    api.project = core._Project(api, SimpleNamespace(pattern=api.pattern))
    statistics = SimpleNamespace(get_statistics_file=lambda: str(folder / "usage"))
    api.statistics = core._Statistics(statistics)
    api.settings.server = SimpleNamespace(erase_sent=False)
    api.http = core.Api._Http(api)
    api.events = []
    for name in EVENTS:
        getattr(api.callbacks, name).register(lambda name=name: api.events.append(name))
    return api


def served(filename: str, **fields) -> dict:
    return {**project(**fields), "filename": filename}


def test_requests_come_from_the_collection_and_the_statistics(tmp_path, monkeypatch):
    monkeypatch.setenv("USERNAME", "ann")
    store(tmp_path, "hero.json", project())
    api = made_api(tmp_path)
    request = api.http.projects_request()
    assert isinstance(request, core._Project.Collection.HttpRequest)
    assert [data["filename"] for data in request] == ["hero.json"]
    assert api.http.statistics_request().username == "ann"
    assert (api.http._api, api.http._last_projects) == (api, None)


def test_an_answer_is_taken_over_once_and_always_closed(tmp_path):
    store(tmp_path, "hero.json", project())
    api = made_api(tmp_path, "hero.json")
    api.project.get_current()
    api.project.load("hero.json")
    loads = len(api.pattern.records)
    answer = [served("hero.json", edit_timestamp=9, selected_record=200), served("b.json")]
    expected = ["projects_saved"] * 2 + ["projects_synchronized", "projects_response_closed"]

    api.http.projects_response(reply(answer))
    assert api.events == expected
    # The current project was changed there: it is loaded again.
    assert len(api.pattern.records) == loads + 1
    assert api.pattern.records[-1].comment == "at 200"
    assert api.http._last_projects == core._Project.Collection.HttpResponse(reply(answer))

    api.events.clear()
    api.http.projects_response(reply(answer))
    api.http.projects_response(core._Project.Collection.HttpResponse(reply(answer)))
    assert api.events == ["projects_response_closed"] * 2

    # Not accepted: nothing is known anew. Then none at all: the empty project is loaded.
    api.events.clear()
    api.http.projects_response(reply([], "text/html"))
    assert api.events == ["projects_response_closed"]
    assert len(list(api.project.collection)) == 2
    api.events.clear()
    api.http.projects_response(reply([]))
    assert api.events == ["projects_synchronized", "projects_response_closed"]
    assert list(api.project.collection) == []
    assert list(api.pattern.records[-1].rules) == []


def test_failures_are_logged_closed_and_tried_again(tmp_path, caplog):
    api = made_api(tmp_path)
    real = api.project.load

    class Broken:
        collection = api.project.collection
        get_current = api.project.get_current

        def load(self, filename):
            raise OSError("no pattern")

    api.project = Broken()
    api.http.projects_response(reply([served("a.json")]))
    assert api.events == ["projects_saved", "projects_response_closed"]
    assert any(entry == "OSError: no pattern" for entry in logged(caplog))
    assert api.http._last_projects is None

    Broken.load = lambda self, filename: real(filename)
    api.events.clear()
    api.http.projects_response(reply([served("a.json")]))
    assert api.events == ["projects_synchronized", "projects_response_closed"]
    assert api.http._last_projects.accepted

    # Whoever waits for the end does so also when the user interrupts.
    Broken.load = lambda self, filename: (_ for _ in ()).throw(KeyboardInterrupt())
    api.events.clear()
    with pytest.raises(KeyboardInterrupt):
        api.http.projects_response(reply([]))
    assert api.events == ["projects_response_closed"]
    assert api.http._last_projects is None


def test_what_could_not_be_written_is_tried_again_with_the_same_answer(tmp_path):
    api = made_api(tmp_path)
    (tmp_path / "a.json.lock").touch()
    answer = [served("a.json"), served("b.json")]
    api.http.projects_response(reply(answer))
    assert sorted(api.project.collection._table) == ["b.json"]
    assert api.events[-2:] == ["projects_synchronized", "projects_response_closed"]
    (tmp_path / "a.json.lock").unlink()
    api.http.projects_response(reply(answer))
    assert sorted(api.project.collection._table) == ["a.json", "b.json"]


@pytest.mark.parametrize("erase", [False, True])
@pytest.mark.parametrize("status", [200, 500])
def test_sent_statistics_are_erased_where_the_settings_say_so(tmp_path, erase, status):
    api = made_api(tmp_path)
    api.settings.server.erase_sent = erase
    api.statistics.add(core._Statistics.Type.FeedbackSent())
    api.http.statistics_request()
    api.http.statistics_response(SimpleNamespace(status=status))
    assert bool(api.statistics._data["feedback_sent"]) is not (erase and status == 200)


def test_no_response_is_told(tmp_path):
    api = made_api(tmp_path)
    api.http.http_no_response()
    assert api.events == ["http_no_response"]


def test_the_component_is_collected_with_its_facade(tmp_path):
    api = made_api(tmp_path)
    api.http.projects_response(reply([served("a.json")]))
    api.callbacks.projects_saved.register(api.http.projects_request)
    api.http._last_projects.note = api.http
    ends = [weakref.ref(api), weakref.ref(api.http), weakref.ref(api.http._last_projects)]
    del api
    gc.collect()
    assert [end() for end in ends] == [None, None, None]


def seats(folder, count: int) -> list[StandIn]:
    made = []
    for number in range(count):
        home = folder / str(number)
        home.mkdir()
        made.append(made_api(home))
    return made


def synchronise(api: StandIn, server: dict) -> None:
    """One exchange with a server that keeps the newest edit of each project."""
    for data in json.loads(bytes(api.http.projects_request()))["projects"]:
        known = server.get(data["filename"])
        if known is None or data["edit_timestamp"] > known["edit_timestamp"]:
            server[data["filename"]] = data
    api.http.projects_response(reply(list(server.values())))


def test_seats_agree_through_a_server(tmp_path):
    ann, ben, eve = seats(tmp_path, 3)
    server: dict = {}
    hero = ann.project.collection.get_empty()
    hero.name = "Hero"
    hero.save()
    for seat in (ann, ben, eve):
        synchronise(seat, server)
        assert seat.project.collection.names == ["Hero"]
    # Ben is offline while the others edit and delete.
    spare = ben.project.collection.get_empty()
    spare.name = "Spare"
    spare.save()
    ben.project.collection.get(hero.filename).get_record_promise().save()
    hero.description = "Ann's"
    hero.save()
    synchronise(ann, server)
    (theirs,) = eve.project.collection
    synchronise(eve, server)
    assert theirs.description == "Ann's"
    theirs.delete()
    theirs.save()
    for seat in (eve, ben, ann, eve):
        synchronise(seat, server)
        assert seat.project.collection.names == (["Spare"] if "Spare" in str(server) else [])
    for seat in (ann, ben, eve):
        assert seat.project.collection.get(hero.filename).deleted
    # Ben's record lost against the deletion, but is still there.
    (copy,) = (tmp_path / "1" / ".replaced").iterdir()
    assert len(json.loads(copy.read_text())["records"]) == 1
