"""`kavel checks`: the list, what was found, and the user's own configuration."""

from __future__ import annotations

import json
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
    assert "test.size  Size" in out and "wanted  IntRange  1" in out
    found = [line.split() for line in out.partition("\nfound\n")[2].splitlines()]
    outcomes = {(cells[0], cells[1]) for cells in found if len(cells) > 1}
    assert outcomes >= {
        ("loaded", "studio_checks"),
        ("loaded", "Size"),
        ("duplicate", "Size"),
        ("denied", "Nameless"),
        ("failed", "unimportable"),
        ("failed", "leaving"),
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
