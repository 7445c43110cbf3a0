"""Programs that use type hosts, with the test runtime.

A process binds each host only once, so that each program runs in a process of its own.
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
    """The value that `code` assigns to `result`, in a process in which one entry point is unavailable."""
    runtime = str(TEST_RUNTIME_ROOT)
    return child(PREPARE + code, **{NETCORE: runtime, ASSEMBLY: runtime,
                                    "ZELMOR_EMBED_CONTROL": f"missing={missing}" if missing else None})
