"""The environment of programs that are not ours: without what a memory checker or a debug build needs.

A sanitizer that is loaded into such a program makes it slow, and may make it wait for itself for ever.
"""

from __future__ import annotations

import os

_OURS = ("LD_PRELOAD", "PYTHONMALLOC")


def plain_environment() -> dict[str, str]:
    """That of this process, without the variables that make it a watched one."""
    return {name: value for name, value in os.environ.items() if name not in _OURS}
