"""Byte code of tests lies in the build tree, and is used again; nothing lies beside the sources."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]


def run_a_test(folder: Path, **variables: str) -> str:
    """The output of a run of pytest over the folder."""
    environment = {name: value for name, value in os.environ.items() if name not in ("ZELMOR_BUILD_DIR", "PYTHONPATH")}
    run = subprocess.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider",
                          "-p", "tools.pytest_byte_code", "--rootdir", str(folder), str(folder)], cwd=TOP, text=True,
                         capture_output=True, env=environment | {"PYTHONDONTWRITEBYTECODE": "1"} | variables)
    return run.stdout


@pytest.fixture
def folder(tmp_path: Path) -> Path:
    """A test that fails, and starts a program that imports a module."""
    place = tmp_path / "tests"
    place.mkdir()
    (place / "other.py").write_text("VALUE = 3\n")
    (place / "test_it.py").write_text(
        "import subprocess, sys\n"
        "def test_it():\n"
        f"    subprocess.run([sys.executable, '-c', 'import other'], cwd={str(place)!r}, check=True)\n"
        "    assert 3 == 4\n")
    return place


def test_tests_are_rewritten_once(folder: Path, tmp_path: Path) -> None:
    build = tmp_path / "build"
    for attempt in range(2):
        assert "assert 3 == 4" in run_a_test(folder, ZELMOR_BUILD_DIR=str(build))
        (kept,) = build.rglob("test_it*.pyc")
        if attempt == 0:
            times = kept.stat().st_mtime_ns
    assert kept.stat().st_mtime_ns == times and str(kept).startswith(f"{build}/byte-code/")
    assert not list(build.rglob("other*.pyc")), "the program wrote byte code, too"
    assert sorted(file.name for file in folder.iterdir()) == ["other.py", "test_it.py"]
    # Another text is another test.
    (folder / "test_it.py").write_text("def test_it():\n    assert 5 == 6\n")
    assert "assert 5 == 6" in run_a_test(folder, ZELMOR_BUILD_DIR=str(build))


def test_without_a_build_tree_none_is_kept(folder: Path) -> None:
    assert "assert 3 == 4" in run_a_test(folder)
    assert sorted(file.name for file in folder.iterdir()) == ["other.py", "test_it.py"]
