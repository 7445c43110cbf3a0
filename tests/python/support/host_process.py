"""Programs that use type hosts, over the test runtime.

What a process has learned of a host stays, so that each program has a process of its own.
"""

from __future__ import annotations

from typing import Any

from .control import TEST_RUNTIME_ROOT
from .package_process import ASSEMBLY, NETCORE, child
from .places import FOLDERS

PREPARE = f"import sys; sys.path[:0] = {FOLDERS!r}\n" + """
from support.control import control
from support.host_use import refusal, requests
import zelmor.imaging as imaging
"""


def run(code: str, missing: str | None = None) -> Any:
    """What `code` leaves in `result`, with one entry point left out."""
    runtime = str(TEST_RUNTIME_ROOT)
    return child(PREPARE + code, **{NETCORE: runtime, ASSEMBLY: runtime,
                                    "ZELMOR_EMBED_CONTROL": f"missing={missing}" if missing else None})
