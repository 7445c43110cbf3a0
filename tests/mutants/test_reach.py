"""The map from sources to tests: it names tests for every source, and only tests that there are."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path

import pytest

from tools.mutants.reach import BadTable, Reach, read_table, reaching
from tools.mutants.sample import PARTS, sources

TREE = Path(__file__).parents[2]


def test_every_source_has_tests() -> None:
    table = read_table()
    for path in sources(TREE, PARTS):
        assert reaching(path, table)


def test_every_line_is_needed_and_names_tests_that_are_there() -> None:
    table = read_table()
    used = {max((reach for reach in table if path.startswith(reach.beginning)),
                key=lambda reach: len(reach.beginning)) for path in sources(TREE, PARTS)}
    for reach in table:
        # The lines for whole parts take sources that are yet to come.
        assert reach in used or reach.beginning.rstrip("/") in PARTS, reach.beginning
        assert len(set(reach.tests)) == len(reach.tests), reach.beginning
        for test in reach.tests:
            place = TREE / test if test.endswith(".py") else TREE / test / "CMakeLists.txt"
            assert place.is_file(), test


def test_the_longest_beginning_counts() -> None:
    table = [Reach("a/", ("1",)), Reach("a/b", ("2",)), Reach("a/bc.cpp", ("3",))]
    assert [reaching(path, table) for path in ("a/x.cpp", "a/b.cpp", "a/bc.cpp")] == [("1",), ("2",), ("3",)]
    with pytest.raises(BadTable, match="no tests are named for b.cpp"):
        reaching("b.cpp", table)


@pytest.mark.parametrize(("text", "message"), [
    ("a/ | x\n", "t.tab:1: a new path, unit tests and tests in Python are wanted"),
    ("# a\na/ | x | y\na/ | x | y\n", "t.tab:3: a new path"),
    ("a/ | - | -\n", "t.tab:1: no tests")])
def test_bad_tables(tmp_path: Path, text: str, message: str) -> None:
    (tmp_path / "t.tab").write_text(text)
    with pytest.raises(BadTable, match=message):
        read_table(tmp_path / "t.tab")


def command(*arguments: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, "-B", "-m", "tools.mutants", *arguments], cwd=TREE, text=True,
                          capture_output=True)


def test_the_list_of_the_command(tmp_path: Path) -> None:
    listed = command("--list", "--count", "5", "--seed", "3", "--build", str(tmp_path / "build"), "host", "streams")
    assert listed.returncode == 0, listed.stderr
    assert len(listed.stdout.splitlines()) == 5
    assert not (tmp_path / "build").exists()
    assert command("--list", "--count", "5", "--seed", "3", "host", "streams").stdout == listed.stdout


@pytest.mark.parametrize(("path", "message"), [
    ("nowhere", "nowhere is no file or folder of the tree"), ("docs", "nothing there can be changed"),
    ("runtime/wrapper", "no tests are named for runtime/wrapper/")])
def test_paths_that_cannot_be_changed(path: str, message: str) -> None:
    refused = command("--list", path)
    assert refused.returncode == 2
    assert message in refused.stderr
