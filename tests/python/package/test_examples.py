"""The examples of the reference and of the gallery: each runs, and leaves or prints something."""

from __future__ import annotations

import json
import os
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest

from support.places import BUILD_DIR, FOLDERS, PROGRAMS, ROOT

REFERENCE = sorted((ROOT / "examples" / "reference").glob("*.py"))
LONGEST = 12


def results_of(folder: Path, work: Path) -> dict[str, dict[str, Any]]:
    """What the examples of a folder did, by their names; they run in a process of their own."""
    paths = os.pathsep.join([str(BUILD_DIR / "python"), *FOLDERS])
    done = subprocess.run([sys.executable, "-B", str(PROGRAMS / "run_examples.py"), str(folder), str(work)],
                          capture_output=True, text=True, check=False, env={**os.environ, "PYTHONPATH": paths})
    assert done.returncode == 0, done.stderr
    return {result["name"]: result for result in map(json.loads, done.stdout.splitlines())}


@pytest.fixture(scope="module")
def reference(tmp_path_factory: pytest.TempPathFactory) -> dict[str, dict[str, Any]]:
    """What the examples of the reference did."""
    return results_of(ROOT / "examples" / "reference", tmp_path_factory.mktemp("reference") / "work")


def test_the_classes_that_people_use_have_an_example() -> None:
    assert len(REFERENCE) >= 100


@pytest.mark.parametrize("program", REFERENCE, ids=lambda path: path.stem)
def test_an_example_of_the_reference_runs(reference: dict[str, dict[str, Any]], program: Path) -> None:
    result = reference[program.stem]
    assert not result["error"], result["error"]
    assert result["printed"] or any(result["files"].values()), "it shows nothing"


@pytest.mark.parametrize("program", REFERENCE, ids=lambda path: path.stem)
def test_an_example_is_short_and_about_its_class(program: Path) -> None:
    lines = [line for line in program.read_text().splitlines() if line and not line.startswith(("from ", "import "))]
    assert 1 <= len(lines) <= LONGEST
    assert any(program.stem in line for line in program.read_text().splitlines())
