"""The plugin that tells which changes each single test reaches, on a made-up file of tests."""

from __future__ import annotations

import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

from tools.mutants.cases import CASES, ONLY, REACHED

TREE = Path(__file__).resolve().parents[2]
TESTS = """
import os
import pytest

def reach(number):
    if "ZELMOR_MUTANTS_REACHED" in os.environ:
        with open(os.environ["ZELMOR_MUTANTS_REACHED"], "r+b") as file:
            file.seek(number)
            file.write(b"\\1")

reach(1)

@pytest.fixture(scope="session")
def outer():
    reach(2)

@pytest.fixture(scope="module")
def shared(outer):
    reach(3)

@pytest.fixture
def own(request):
    # Set up within another, it still counts for itself.
    reach(4)
    request.getfixturevalue("shared")
    reach(5)
    yield
    reach(6)

@pytest.mark.parametrize("number", [7, 8])
def test_alone(number):
    reach(number)

def test_first(own, shared):
    assert os.environ.get("ZELMOR_MUTANT") != "17"

def test_second(shared):
    reach(9)

def test_third(own, shared):
    reach(9)
"""


def _run(folder: Path, **environment: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, "-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", "-p",
                           "tools.mutants.cases", "--rootdir", str(folder), str(folder / "test_a.py")],
                          cwd=TREE, env={**os.environ, **environment}, text=True, capture_output=True)


@pytest.fixture
def folder(tmp_path: Path) -> Path:
    (tmp_path / "test_a.py").write_text(TESTS)
    return tmp_path


def test_each_test_has_what_it_reaches_itself_and_by_shared_fixtures_and_the_import(folder: Path) -> None:
    reached = folder / "reached"
    reached.write_bytes(bytes(20))
    run = _run(folder, **{REACHED: str(reached), CASES: str(folder / "record")})
    assert run.returncode == 0, run.stdout
    found = json.loads((folder / "record").read_text())
    assert {test: numbers for test, (numbers, _) in found.items()} == {
        "test_a.py::test_alone[7]": [1, 7],
        "test_a.py::test_alone[8]": [1, 8],
        "test_a.py::test_first": [1, 2, 3, 4, 5, 6],
        "test_a.py::test_second": [1, 2, 3, 9],
        "test_a.py::test_third": [1, 2, 3, 4, 5, 6, 9]}
    assert all(0 <= seconds < 60 for _, seconds in found.values())
    # The file has all of it in the end, as it would have without the plugin.
    assert [number for number, seen in enumerate(reached.read_bytes()) if seen] == list(range(1, 10))


def test_only_the_named_tests_run(folder: Path) -> None:
    names = folder / "names"
    names.write_text(json.dumps(["test_a.py::test_alone[8]", "test_a.py::test_first"]))
    run = _run(folder, **{ONLY: str(names)})
    assert run.returncode == 0 and "2 passed, 3 deselected" in run.stdout
    run = _run(folder, **{ONLY: str(names), "ZELMOR_MUTANT": "17"})
    assert run.returncode == 1 and "1 failed, 1 passed, 3 deselected" in run.stdout


def test_without_the_variables_nothing_is_left_out(folder: Path) -> None:
    run = _run(folder)
    assert run.returncode == 0 and "5 passed" in run.stdout and "deselected" not in run.stdout
