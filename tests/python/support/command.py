"""Runs the command `zelmor`, here or as a program."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pytest
from zelmor.command import main

from support.places import BUILD_DIR

PROGRAM = [sys.executable, "-m", "zelmor"]
HEARS_INTERRUPTS = ["env", "--default-signal=INT"]
ENVIRONMENT = dict(os.environ, PYTHONPATH=str(BUILD_DIR / "python"), COLUMNS="100")


class Told:
    """What a command told: its exit status and both outputs."""

    def __init__(self, status: int, out: str, err: str) -> None:
        self.status, self.out, self.err = status, out, err


class Commands:
    """Runs commands in a folder."""

    def __init__(self, folder: Path, capture: pytest.CaptureFixture[str]) -> None:
        self.folder = folder
        self._capture = capture

    def __call__(self, *arguments: object) -> Told:
        """Runs a command in this process; its work is done by others."""
        self._capture.readouterr()
        try:
            status = main(list(map(str, arguments)))
        except SystemExit as end:  # argparse ends the process for help and wrong arguments
            status = int(end.code or 0)
        out, err = self._capture.readouterr()
        return Told(status, out, err)

    def program(self, *arguments: object, given: bytes | None = None) -> subprocess.CompletedProcess[bytes]:
        """Runs a command as a program, with bytes on standard input."""
        return subprocess.run([*PROGRAM, *map(str, arguments)], cwd=self.folder, env=ENVIRONMENT, input=given,
                              capture_output=True, timeout=120, check=False)

    def start(self, *arguments: object, **keywords: object) -> subprocess.Popen[bytes]:
        """Starts a command as a program, in a session of its own. It hears Ctrl-C, even if the tests run in the
        background, where shells let programs ignore it.
        """
        return subprocess.Popen([*HEARS_INTERRUPTS, *PROGRAM, *map(str, arguments)], cwd=self.folder, env=ENVIRONMENT,
                                start_new_session=True, **keywords)  # type: ignore[call-overload]
