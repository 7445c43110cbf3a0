"""A stream that is closed or disposed of while it is in use: by its own file, by another thread, or by a nested use.

Every operation on every kind of stream is tried, with the interference in each of the calls that it makes into Python.
The attempts run in a process in which freed memory is overwritten, so that a use after free shows.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest

from support.pictures import write_png
from support.places import PROGRAMS, TESTS

PROGRAM = PROGRAMS / "streams_in_use.py"
JOINED = ["joined stream", "owning joined stream"]
SUBJECTS = ["container", "owning container", "container of a source", "container of a file", "split container",
            *JOINED, "image"]
# The permitted exceptions. PythonException: the file was closed together with its container.
MAY_FAIL = {"", "ObjectDisposedException", "InvalidOperationException", "PythonException", "EndOfStreamException",
            "IOException", "ImageLoadException", "ArgumentOutOfRangeException", "NotSupportedException"}


def expected_failure(subject: str, operation: str) -> str:
    """The exception that an operation raises without interference: a picture with inserted data cannot be read."""
    return "ImageLoadException" if subject in JOINED and operation == "load" else ""


def attempts(subject: str, meddling: str, directory: Path) -> dict[str, tuple[str, list[Any]]]:
    """The outcome of each operation without interference, and with interference in each of its calls."""
    write_png(directory / "picture.png")
    environment = {**os.environ, "MALLOC_PERTURB_": "165", "PYTHONPATH": str(TESTS)}
    done = subprocess.run([sys.executable, str(PROGRAM), subject, meddling, str(directory)], env=environment,
                          capture_output=True, text=True, timeout=100, check=False)
    last = done.stdout.rstrip().rsplit("\n", 1)[-1]
    assert done.returncode == 0, f"ended with {done.returncode} at {last}:\n{done.stderr}"
    found = {}
    for line in done.stdout.splitlines():
        head, _, outcomes = line.partition("\t")
        name, calls, failure = json.loads(head)
        found[name] = (failure, json.loads(outcomes))
        assert len(found[name][1]) == calls
    return found


@pytest.mark.parametrize("meddling", ["disposing", "disposing in a thread"])
@pytest.mark.parametrize("subject", SUBJECTS)
def test_it_is_disposed_of(tmp_path: Path, subject: str, meddling: str) -> None:
    found = attempts(subject, meddling, tmp_path)
    assert sum(len(outcomes) for _, outcomes in found.values()) > (1 if subject == "image" else 3)
    for name, (failure, outcomes) in found.items():
        assert failure == expected_failure(subject, name), name
        for outcome, same in outcomes:
            assert outcome in MAY_FAIL, name
            # A file that stays open completes the operation.
            if subject in ("container", "image") and outcome == "":
                assert same, name


@pytest.mark.parametrize("meddling", ["inserting", "shortening", "using"])
@pytest.mark.parametrize("subject", ["split container", *JOINED])
def test_its_pieces_move(tmp_path: Path, subject: str, meddling: str) -> None:
    for name, (failure, outcomes) in attempts(subject, meddling, tmp_path).items():
        assert failure == expected_failure(subject, name), name
        assert {outcome for outcome, _ in outcomes} <= MAY_FAIL, name


def test_a_joined_stream_that_was_changed_says_so(tmp_path: Path) -> None:
    for meddling, expected in (("inserting", "InvalidOperationException"), ("disposing", "ObjectDisposedException")):
        found = attempts("joined stream", meddling, tmp_path)
        for name in ("read", "write", "stream.read", "stream.write", "write behind the end"):
            assert {outcome for outcome, _ in found[name][1]} == {expected}, name
