"""What both runtimes answer to the same questions: runs `programs/same_on_both.py` on each."""

from __future__ import annotations

import os
import subprocess
import sys
import tempfile

from .places import BUILD_DIR, FOLDERS, PROGRAMS


def lines(runtime: str, *arguments: str) -> dict[str, str]:
    """The answers of a runtime by their questions."""
    variables = {name: value for name, value in os.environ.items() if not name.startswith("NETCORE_WRAPPER_")}
    variables |= {"PYTHONPATH": os.pathsep.join([str(BUILD_DIR / "python"), *FOLDERS]), "ZELMOR_RUNTIME": runtime}
    with tempfile.TemporaryDirectory() as directory:  # for the pictures that arguments name
        done = subprocess.run([sys.executable, "-B", PROGRAMS / "same_on_both.py", *arguments], env=variables,
                              cwd=directory, capture_output=True, text=True, timeout=600, check=False)
    assert done.returncode == 0, done.stderr[-3000:]
    return dict(line.split("\t", 1) for line in done.stdout.replace(directory, "").splitlines())


def differing(embedded: dict[str, str], dotnet: dict[str, str]) -> list[str]:
    """The questions that have two answers, with both."""
    return [f"{question}: {told} on .NET, {embedded[question]} on the embedded runtime"
            for question, told in dotnet.items() if told != embedded[question]]
