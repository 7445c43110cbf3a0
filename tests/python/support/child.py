"""Runs programs in a child process, for tests whose program may crash or end the process."""

from __future__ import annotations

import os
import subprocess

from .places import BUILD_DIR, FOLDERS
from .runtimes import ON_DOTNET

_FOLDERS = (str(BUILD_DIR / "python"), *FOLDERS)


def run_child(script: str, *arguments: str, seconds: float = 120, **environment: str) -> None:
    """Runs a program that can import the module and these helpers; it has to end by itself with exit code 0."""
    # Freed memory is overwritten, so that a use after free shows. .NET itself does not survive that in the C library's.
    variables = {**os.environ, "PYTHONPATH": os.pathsep.join(_FOLDERS), "PYTHONMALLOC": "debug",
                 "MALLOC_PERTURB_": "0" if ON_DOTNET else "170", "PYTHONFAULTHANDLER": "1", **environment}
    done = subprocess.run(["/usr/bin/python3", "-c", script, *arguments], capture_output=True, text=True, check=False,
                          timeout=seconds, env=variables)
    assert done.returncode == 0, f"ended with {done.returncode}:\n{done.stdout[-2000:]}\n{done.stderr[-4000:]}"
