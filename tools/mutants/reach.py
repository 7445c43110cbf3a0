"""The map from sources to the tests that reach them (tests_of_sources.tab)."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

TABLE = Path(__file__).with_name("tests_of_sources.tab")
UNIT_TESTS = "tests/unit"
PYTHON_TESTS = "tests/python"


class BadTable(Exception):
    """The map is not what it should be, or lacks a source."""


@dataclass(frozen=True)
class Reach:
    """For the beginning of a path, the tests in the order in which they are likely to notice something."""

    beginning: str
    tests: tuple[str, ...]  # folders of unit tests and files of tests in Python


def read_table(table: Path = TABLE) -> list[Reach]:
    """The lines of the map."""
    found: dict[str, Reach] = {}
    for number, line in enumerate(table.read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        fields = [field.strip() for field in line.split("|")]
        if len(fields) != 3 or not fields[0] or fields[0] in found:
            raise BadTable(f"{table.name}:{number}: a new path, unit tests and tests in Python are wanted")
        unit = [f"{UNIT_TESTS}/{name}" for name in fields[1].split() if name != "-"]
        python = [f"{PYTHON_TESTS}/{name}" for name in fields[2].split() if name != "-"]
        if not unit and not python:
            raise BadTable(f"{table.name}:{number}: no tests")
        found[fields[0]] = Reach(fields[0], (*unit, *python))
    return list(found.values())


def reaching(path: str, table: list[Reach]) -> tuple[str, ...]:
    """The tests that reach a source: those of the longest beginning of its path."""
    fitting = [reach for reach in table if path.startswith(reach.beginning)]
    if not fitting:
        raise BadTable(f"no tests are named for {path}")
    return max(fitting, key=lambda reach: len(reach.beginning)).tests


def tests_in_python(root: Path) -> list[str]:
    """All files of tests in Python."""
    return sorted(file.relative_to(root).as_posix() for file in (root / PYTHON_TESTS).rglob("test_*.py"))
