"""Programs that use type hosts, with the test runtime.

A process binds each host only once, so that each program runs in a process of its own.
"""

from __future__ import annotations

from typing import Any

from .package_process import child
from .places import FOLDERS
from .runtimes import VARIABLES

PREPARE = f"import sys; sys.path[:0] = {FOLDERS!r}\n" + """
from support.control import control
from support.host_use import refusal, requests
import zelmor.imaging as imaging
"""


def run(code: str, missing: str | None = None) -> Any:
    """The value that `code` assigns to `result`, in a process in which one entry point is unavailable."""
    return child(PREPARE + code, **VARIABLES, ZELMOR_EMBED_CONTROL=f"missing={missing}" if missing else None)
