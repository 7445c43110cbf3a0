"""Programs that a test runs in a process of their own, since they may end it."""

from __future__ import annotations

import os
import subprocess

from .places import BUILD_DIR, FOLDERS

_FOLDERS = (str(BUILD_DIR / "python"), *FOLDERS)


def run_child(script: str, *arguments: str, seconds: float = 120, **environment: str) -> None:
    """Runs a program with the module and these helpers in reach; it has to end by itself and in peace."""
    # What was freed is overwritten, so that whoever goes on using it is found out.
    variables = {**os.environ, "PYTHONPATH": os.pathsep.join(_FOLDERS), "PYTHONMALLOC": "debug",
                 "MALLOC_PERTURB_": "170", "PYTHONFAULTHANDLER": "1", **environment}
    done = subprocess.run(["/usr/bin/python3", "-c", script, *arguments], capture_output=True, text=True, check=False,
                          timeout=seconds, env=variables)
    assert done.returncode == 0, f"ended with {done.returncode}:\n{done.stdout[-2000:]}\n{done.stderr[-4000:]}"
