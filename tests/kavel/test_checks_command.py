"""`kavel checks`: the list, what was found, and the user's own configuration."""

from __future__ import annotations

import json
import re
from pathlib import Path

import pytest
from check_modules import broken_checks, sound_checks

from kavel.cli import main

Captured = pytest.CaptureFixture[str]


@pytest.fixture(autouse=True)
def home(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    monkeypatch.setenv("KAVEL_HOME", str(tmp_path / "home"))
    return tmp_path / "home"


def enabled(capsys: Captured) -> set[str]:
    capsys.readouterr()
    assert main(["checks", "--json", "-"]) == 0
    checks = json.loads(capsys.readouterr().out)["checks"]
    return {check["id"] for check in checks if check["enabled"]}


def test_everything_that_was_found_is_listed(tmp_path: Path, capsys: Captured) -> None:
    folders = [sound_checks(tmp_path / "a"), broken_checks(tmp_path / "b")]
    twin = tmp_path / "c"
    sound_checks(twin)
    folders.append(str(twin))
    options = [item for folder in folders for item in ("--checks", folder)]
    assert main(["checks", *options, "--trace"]) == 0
    out = capsys.readouterr().out
    assert re.search(r"off  test.size +Size\n", out)
    found = [line.split() for line in out.partition("\nfound\n")[2].splitlines()]
    outcomes = {(cells[0], cells[1]) for cells in found if len(cells) > 1}
    files = {Path(cells[0]).name for cells in found if len(cells) == 1}
    assert files >= {"studio_checks.py", "denied.py", "unimportable.py", "leaving.py"}
    assert outcomes >= {
        ("loaded", "the"),  # file
        ("loaded", "Size"),
        ("duplicate", "Size"),
        ("denied", "Nameless"),
        ("failed", "the"),
        ("intermediate", "ObjectCheck"),
    }
    assert "Traceback" in out and "import nothing_of_that_name" in out


def test_enabling_and_disabling(capsys: Captured) -> None:
    assert main(["checks", "enable", "kavel.mesh.ngons", "kavel.mesh.normals"]) == 0
    assert enabled(capsys) == {"kavel.mesh.ngons", "kavel.mesh.normals"}
    assert main(["checks", "disable", "kavel.mesh.ngons"]) == 0
    assert main(["checks", "enable", "kavel.mesh.ngons", "nothing"]) == 2
    assert 'there is no check "nothing"' in capsys.readouterr().err
    assert enabled(capsys) == {"kavel.mesh.normals"}


def test_presets(capsys: Captured) -> None:
    main(["checks", "enable", "kavel.mesh.ngons"])
    assert main(["checks", "preset", "create", "Props"]) == 0
    assert main(["checks", "preset", "create", "Props"]) == 2
    main(["checks", "disable", "kavel.mesh.ngons"])
    main(["checks", "enable", "kavel.mesh.normals"])
    capsys.readouterr()
    assert main(["checks", "preset", "list"]) == 0
    assert capsys.readouterr().out == "Props\n"
    assert main(["checks", "preset", "apply", "Props"]) == 0
    assert enabled(capsys) == {"kavel.mesh.ngons"}
    main(["checks", "preset", "list"])
    assert capsys.readouterr().out == "Props (in use)\n"
    assert main(["checks", "preset", "erase", "Props"]) == 0
    assert main(["checks", "preset", "apply", "Props"]) == 2
    assert 'there is no preset "Props"; there are: none' in capsys.readouterr().err


def test_the_list_is_short_and_broken_entries_are_in_it(tmp_path: Path, capsys: Captured) -> None:
    assert main(["checks", "--checks", broken_checks(tmp_path / "b")]) == 0
    out, err = capsys.readouterr()
    shipped, _, broken = out.partition("cannot be used\n")
    assert "\nmesh\n" in shipped
    assert "  off  kavel.mesh.ngons               Faces with Too Many Corners\n" in shipped
    assert "corners" not in shipped
    assert "No module named 'nothing_of_that_name'" in broken and "loaded" not in broken
    assert err == "37 checks, 0 on; `kavel checks show ID` tells more of one\n"


@pytest.mark.parametrize(
    "arguments", [["show", "kavel.mesh.ngons", "kavel.mesh.normals"], ["--category", "Mesh"]]
)
def test_details(arguments: list[str], capsys: Captured) -> None:
    assert main(["checks", *arguments]) == 0
    out = capsys.readouterr().out
    assert "Faces with Too Many Corners (kavel.mesh.ngons)\n" in out
    assert "Finds faces with more corners than allowed." in out
    assert re.search(r"\n    corners  IntRange, default 4\n", out)
    assert 'stored as {"value": a whole number from 3 to 100}' in out
    assert "(kavel.mesh.normals)" in out and "kavel.scene.unit" not in out
    assert main(["checks", *arguments, "--json", "-"]) == 0
    checks = json.loads(capsys.readouterr().out)["checks"]
    (ngons,) = (check for check in checks if check["id"] == "kavel.mesh.ngons")
    assert (ngons["name"], ngons["short_name"]) == ("Faces with Too Many Corners", "N-gons")


@pytest.mark.parametrize(
    ("arguments", "message"),
    [
        (["show", "kavel.mesh.ngon"], 'no check "kavel.mesh.ngon"; is kavel.mesh.ngons meant?'),
        (["show", "???"], 'no check "???"; `kavel checks` lists them'),
        (["--category", "meshes"], 'no check is in the category "meshes"; is "mesh" meant?'),
        (["--category", "???"], 'there are "scene", "object", "mesh"'),
    ],
)
def test_what_is_not_there(arguments: list[str], message: str, capsys: Captured) -> None:
    assert main(["checks", *arguments]) == 2
    out, err = capsys.readouterr()
    assert out == "" and message in err


def test_actions_tell_what_they_changed(capsys: Captured) -> None:
    def told(*arguments: str) -> list[str]:
        capsys.readouterr()
        assert main(["checks", *arguments]) == 0
        return [" ".join(line.split()) for line in capsys.readouterr().out.splitlines()]

    ngons = "kavel.mesh.ngons Faces with Too Many Corners"
    assert told("enable", "kavel.mesh.ngons", "kavel.mesh.normals") == [
        f"on {ngons}",
        "on kavel.mesh.normals Missing or Zero Normals",
        "2 checks changed; 2 checks are on",
    ]
    assert told("enable", "kavel.mesh.ngons") == ["nothing changed; 2 checks are on"]
    kept = told("preset", "create", "Props")
    assert kept == ['the preset "Props" keeps 2 checks that are on']
    changed = told("disable", "kavel.mesh.ngons")
    assert changed == [f"off {ngons}", "1 check changed; 1 check is on"]
    assert told("preset", "apply", "Props")[0] == f"on {ngons}"
    (erased,) = told("preset", "erase", "Props")
    assert erased == 'the preset "Props" is gone; what is on stays as it is'


def test_folders_of_checks_stand_before_or_after_the_action(
    tmp_path: Path, capsys: Captured
) -> None:
    a, b = sound_checks(tmp_path / "a"), broken_checks(tmp_path / "b")
    assert main(["checks", "--checks", b, "enable", "test.size", "--checks", a]) == 0
    assert main(["checks", "disable", "test.size", "--checks", a]) == 0
    assert main(["checks", "preset", "create", "P", "--checks", a]) == 0
    assert "off  test.size  Size" in capsys.readouterr().out
