"""`make threads` reports a race that is made on purpose, and says nothing of threads that wait for each other."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

import pytest
from support.places import BUILD_DIR

LIBRARY = BUILD_DIR / "test-native" / "libzelmor_racing.so"
#: A call of a library lets the other threads run meanwhile; one that keeps the interpreter's lock does not.
RACE = """
import ctypes, sys, threading
count_to = getattr(ctypes, sys.argv[2])(sys.argv[1]).count_to
threads = [threading.Thread(target=count_to, args=[3_000_000]) for _ in range(4)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
"""


@pytest.mark.skipif("tsan" not in os.environ.get("LD_PRELOAD", ""), reason="only make threads loads the sanitizer")
@pytest.mark.parametrize(("kind", "races"), [("CDLL", True), ("PyDLL", False)])
def test_a_race_is_reported(tmp_path: Path, kind: str, races: bool) -> None:
    options = os.environ["TSAN_OPTIONS"].split(":")
    own = [option for option in options if not option.startswith("log_path=")] + [f"log_path={tmp_path}/report"]
    done = subprocess.run(["/usr/bin/python3", "-c", RACE, str(LIBRARY), kind], check=False,
                          env={**os.environ, "TSAN_OPTIONS": ":".join(own)})
    assert done.returncode == 0
    reports = "".join(path.read_text() for path in tmp_path.glob("report.*"))
    assert ("data race" in reports and "count_to" in reports) == races, reports
