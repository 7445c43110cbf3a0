"""A plugin of pytest that gives the files of tests to the workers of pytest-xdist, each file as a whole.

    python -m pytest -p tools.pytest_files -n 2 --dist loadfile TESTS

The scheduler of --dist loadfile does the same, but goes through all tests that a worker was ever given for each test
that ends, and through all that were collected for each that it hands out: a file of eighteen thousand tests costs it
fifteen seconds. This one counts instead. Without -n, or with another --dist, the plugin does nothing.
"""

from __future__ import annotations

from typing import Any

import pytest
from xdist.scheduler import LoadFileScheduling


class _Unit(dict[str, bool]):
    """The tests of a file by their names, and whether each has ended, as the scheduler keeps them."""

    def __init__(self) -> None:
        super().__init__()
        self.pending = 0

    def __setitem__(self, name: str, ended: bool) -> None:
        self.pending += (not ended) - (name in self and not self[name])
        super().__setitem__(name, ended)


class _Queue(dict[str, _Unit]):
    """The files that no worker has yet, first come, first served."""

    def setdefault(self, file: str, default: object = None) -> _Unit:
        if file not in self:
            self[file] = _Unit()
        return self[file]

    def popitem(self, last: bool = True) -> tuple[str, _Unit]:
        file = list(self)[-1 if last else 0]
        return file, self.pop(file)


class FilesInTurn(LoadFileScheduling):  # type: ignore[misc]  # xdist is not typed
    """Gives each worker one file after the other."""

    def __init__(self, config: pytest.Config, log: Any = None) -> None:
        super().__init__(config, log)
        self.workqueue = _Queue()
        self._places: dict[object, dict[str, int]] = {}  # of the tests in the collection of a worker

    def add_node_collection(self, node: Any, collection: list[str]) -> None:
        super().add_node_collection(node, collection)
        self._places[node] = {name: place for place, name in enumerate(collection)}

    def mark_test_complete(self, node: Any, item_index: int, duration: float = 0) -> None:
        name = self.registered_collections[node][item_index]
        file = self._split_scope(name)
        units = self.assigned_work[node]
        units[file][name] = True
        if not units[file].pending:
            del units[file]
        self._reschedule(node)

    def _assign_work_unit(self, node: Any) -> None:
        file, unit = self.workqueue.popitem(last=False)
        self.assigned_work[node][file] = unit
        node.send_runtest_some([self._places[node][name] for name, ended in unit.items() if not ended])

    def _pending_of(self, workload: dict[str, _Unit]) -> int:
        return sum(unit.pending for unit in workload.values())


@pytest.hookimpl(optionalhook=True)
def pytest_xdist_make_scheduler(config: pytest.Config, log: Any) -> FilesInTurn | None:
    """The scheduler for --dist loadfile; for others that of pytest-xdist."""
    return FilesInTurn(config, log) if config.getvalue("dist") == "loadfile" else None
