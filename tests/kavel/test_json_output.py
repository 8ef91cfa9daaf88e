"""Where reports go."""

from __future__ import annotations

import json
import os
import threading
from pathlib import Path

import pytest

from kavel.errors import KavelError
from kavel.json_output import open_output, write_json


@pytest.mark.skipif(not hasattr(os, "mkfifo"), reason="there are no named pipes here")
def test_what_is_no_file_stays_what_it_is(tmp_path: Path) -> None:
    """A report to /dev/null, as root, must not put a file in the place of the device."""
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    read: list[str] = []
    reader = threading.Thread(target=lambda: read.append(pipe.read_text()), daemon=True)
    reader.start()
    write_json(str(pipe), {"a": 1})
    assert pipe.is_fifo()
    reader.join(60)
    assert json.loads(read[0]) == {"a": 1}
    with pytest.raises(KavelError, match="cannot be written"):
        write_json(str(tmp_path), {})


def test_a_file_is_replaced_at_the_end_or_stays(tmp_path: Path) -> None:
    report = tmp_path / "report.json"
    report.write_text("old")
    with pytest.raises(RuntimeError), open_output(str(report)) as stream:
        stream.write("half of")
        raise RuntimeError
    assert report.read_text() == "old"
    write_json(str(report), [])
    assert report.read_text() == "[]\n"
    assert list(tmp_path.iterdir()) == [report]
