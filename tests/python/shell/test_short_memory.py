"""Calls with a failing allocation succeed as usual or report the exhausted memory; there is no other outcome.

They run in processes of their own, since a fault could end the process.
"""

from __future__ import annotations

import json
import subprocess
import sys

from support.places import PROGRAMS

PROGRAM = PROGRAMS / "short_memory.py"


def test_at_every_allocation_of_every_kind_of_call() -> None:
    done = subprocess.run([sys.executable, str(PROGRAM)], capture_output=True, text=True, timeout=300, check=False)
    assert done.returncode == 0, done.stderr
    report = json.loads(done.stdout)
    assert len(report) > 50
    assert {name: faults for name, (_, faults) in report.items() if faults} == {}
    assert sum(felt for felt, _ in report.values()) > 250, "the allocator was not the one that fails"
