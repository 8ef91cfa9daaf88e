"""The store of usage records, as far as it reads and collects."""

from __future__ import annotations

import json
import time
from pathlib import Path
from types import SimpleNamespace
from typing import Any

import pytest

import core

Type = core._Statistics.Type
EMPTY: dict[str, Any] = {
    "validate": [], "checks": [], "exported": [], "feedback_sent": [], "version": 1,
}  # fmt: skip


def store(path: Path) -> Any:
    return core._Statistics(SimpleNamespace(get_statistics_file=lambda: str(path)))


def test_records_have_their_keys_in_order() -> None:
    before = time.time()
    records = [
        (Type.Validate(1.5, "Hero"), "validate", ["project", "timestamp", "speed"]),
        (Type.Checks("UVs", "fail", 0.1), "checks", ["name", "result", "timestamp", "speed"]),
        (
            Type.Exported("fbx", 2, 1, 0.5),
            "exported",
            ["format", "count", "skipped", "timestamp", "speed"],
        ),
        (Type.FeedbackSent(), "feedback_sent", ["timestamp"]),
        (Type._Record(), "", ["timestamp"]),
    ]
    for record, key, fields in records:
        assert isinstance(record, Type._Record)
        assert (record.key, list(record.data)) == (key, fields)
        assert before <= record.timestamp <= time.time()


@pytest.mark.parametrize(
    ("content", "kept"),
    [
        (None, False),
        ("{", False),
        ("[]", False),
        ('{"validate": [1]}', False),
        ('{"version": 2, "validate": [1]}', False),
        ('{"version": 1, "validate": [{"timestamp": 1.0}], "checks": 5}', True),
    ],
)
def test_unusable_files_count_as_empty(tmp_path: Path, content: str | None, kept: bool) -> None:
    path = tmp_path / "statistics.json"
    if content is not None:
        path.write_text(content, encoding="utf-8")
    data = store(path)._data
    assert data == ({**EMPTY, "validate": [{"timestamp": 1.0}]} if kept else EMPTY)
    if content == "{":
        assert not path.exists()
        assert next((tmp_path / ".corrupted").iterdir()).read_text(encoding="utf-8") == "{"
    elif content is not None:
        json.loads(path.read_text(encoding="utf-8"))


def test_added_records_are_bounded_and_typed(tmp_path: Path) -> None:
    made = store(tmp_path / "statistics.json")
    for number in range(100_001):
        made.add(SimpleNamespace(key="checks", data={"timestamp": float(number)}))
    kept = made._data["checks"]
    assert len(kept) <= 100_000 and kept[-1] == {"timestamp": 100_000.0}
    with pytest.raises(ValueError, match="no records"):
        made.add(Type._Record())
    with pytest.raises(NotImplementedError, match="write"):
        made.write()
