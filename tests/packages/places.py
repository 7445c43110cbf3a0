"""Paths, and programs that run with nothing of the project on their import path."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("ZELMOR_BUILD_DIR", ROOT / "build")).resolve()
PYTHON = "/usr/bin/python3"
SMOKE = ROOT / "packaging" / "debian" / "tests" / "smoke.py"
#: Uses the installed command on pictures of many formats.
COMMANDS = Path(__file__).with_name("commands.sh")

#: The environment of a user who has not heard of the build tree.
CLEAN = {name: value for name, value in os.environ.items()
         if not name.startswith(("PYTHON", "ZELMOR", "NETCORE", "PIP"))}


def run(*command: str | Path, folder: Path, **variables: str) -> str:
    """The output of a program that has to succeed."""
    done = subprocess.run(command, cwd=folder, env={**CLEAN, **variables}, check=False, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    assert done.returncode == 0, done.stdout
    return done.stdout
