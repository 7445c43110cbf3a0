"""A plugin of pytest that records which changes each single test reaches, or runs only the tests that reach one.

    ZELMOR_MUTANTS_REACHED=FILE ZELMOR_MUTANTS_CASES=RECORD python -m pytest -p tools.mutants.cases TEST_FILE
    ZELMOR_MUTANT=17 ZELMOR_MUTANTS_ONLY=NAMES python -m pytest -p tools.mutants.cases TEST_FILES

FILE has a byte for each change, which the changed program sets (selected.h). RECORD becomes a JSON object: by the name
of each test the changes that it reaches and the seconds that it took. What the file reaches when it is imported counts
for all of its tests, and what a fixture of a module or class reaches, for all tests that ask for it. NAMES has a JSON
list of such names. Without these variables the plugin does nothing.
"""

from __future__ import annotations

import json
import mmap
import os
import time
from collections.abc import Generator
from pathlib import Path
from typing import Any

import pytest

REACHED = "ZELMOR_MUTANTS_REACHED"
CASES = "ZELMOR_MUTANTS_CASES"
ONLY = "ZELMOR_MUTANTS_ONLY"


class _Recorder:
    """Takes what was reached out of the file bit by bit; at the end of the session it puts all of it back."""

    def __init__(self, reached: Path, record: Path) -> None:
        with reached.open("r+b") as file:
            self._bytes = mmap.mmap(file.fileno(), 0)
        self._record = record
        self._by_import: set[int] = set()
        self._by_fixture: dict[str, set[int]] = {}
        self._by_test: dict[str, set[int]] = {}
        self._users: dict[str, set[str]] = {}  # the names of the tests by that of a fixture
        self._seconds: dict[str, float] = {}
        self._takers = [self._by_import]  # who is reaching something, innermost last

    def _take(self) -> None:
        """Gives the innermost taker what was reached since the last time."""
        text = self._bytes[:]
        found = {number for number, seen in enumerate(text) if seen} if any(text) else set()
        for number in found:
            self._bytes[number] = 0
        self._takers[-1].update(found)

    @pytest.hookimpl(hookwrapper=True)
    def pytest_runtest_protocol(self, item: pytest.Item) -> Generator[None, None, None]:
        self._take()
        for name in getattr(item, "fixturenames", ()):
            self._users.setdefault(name, set()).add(item.nodeid)
        self._takers.append(self._by_test.setdefault(item.nodeid, set()))
        begun = time.monotonic()
        yield
        self._seconds[item.nodeid] = time.monotonic() - begun
        self._take()
        self._takers.pop()

    @pytest.hookimpl(hookwrapper=True)
    def pytest_fixture_setup(self, fixturedef: Any) -> Generator[None, None, None]:
        if fixturedef.scope == "function":
            yield
            return
        self._take()
        self._takers.append(self._by_fixture.setdefault(fixturedef.argname, set()))
        yield
        self._take()
        self._takers.pop()

    def pytest_sessionfinish(self) -> None:
        self._take()
        for fixture, numbers in self._by_fixture.items():
            for test in self._users.get(fixture, ()):
                self._by_test[test] |= numbers
        for numbers in self._by_test.values():
            numbers |= self._by_import
        for number in set().union(self._by_import, *self._by_test.values(), *self._by_fixture.values()):
            self._bytes[number] = 1
        self._record.write_text(json.dumps({test: [sorted(numbers), self._seconds[test]]
                                            for test, numbers in self._by_test.items()}))


class _Chooser:
    """Leaves out the tests that are not named."""

    def __init__(self, names: frozenset[str]) -> None:
        self._names = names

    def pytest_collection_modifyitems(self, config: pytest.Config, items: list[pytest.Item]) -> None:
        left_out = [item for item in items if item.nodeid not in self._names]
        items[:] = [item for item in items if item.nodeid in self._names]
        config.hook.pytest_deselected(items=left_out)


def pytest_configure(config: pytest.Config) -> None:
    record, only = os.environ.get(CASES), os.environ.get(ONLY)
    if record:
        config.pluginmanager.register(_Recorder(Path(os.environ[REACHED]), Path(record)))
    if only:
        config.pluginmanager.register(_Chooser(frozenset(json.loads(Path(only).read_text()))))
