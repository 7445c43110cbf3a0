"""The program of docs/batch.md runs, and its tables list what there is."""

from __future__ import annotations

import os
import re
import subprocess
import sys
from pathlib import Path

from zelmor import batch
from zelmor.batch.jobs import KINDS

from support.image_oracles import noise, write
from support.places import BUILD_DIR, ROOT

PAGE = (ROOT / "docs" / "batch.md").read_text()


def test_the_program_runs(tmp_path: Path) -> None:
    (tmp_path / "photos").mkdir()
    for name in "ab":
        write(tmp_path / "photos" / f"{name}.jpg", noise())
    (tmp_path / "photos" / "c.jpg").write_bytes(b"no picture")
    program, = re.findall(r"```python\n(.*?)```", PAGE, re.DOTALL)
    done = subprocess.run([sys.executable, "-c", program], cwd=tmp_path, capture_output=True, text=True, timeout=600,
                          env=dict(os.environ, PYTHONPATH=str(BUILD_DIR / "python")), check=True)
    assert re.match(r"2 done, 0 skipped, 1 failed in \d+\.\d s\n.*/photos/c.jpg the data is of none", done.stdout)
    assert sorted(os.listdir(tmp_path / "small")) == ["a.webp", "b.webp"]


def test_the_tables_list_jobs_and_steps() -> None:
    listed = set(re.findall(r"`(\w+)\(", "".join(line for line in PAGE.splitlines() if line.startswith("| `"))))
    kinds = {kind.__name__ for kind in KINDS.values() if issubclass(kind, (batch.Job, batch.Step))}
    assert listed == kinds


def test_every_public_name_is_there() -> None:
    for name in batch.__all__:
        assert getattr(batch, name) is not None
