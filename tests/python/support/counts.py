"""A pytest plugin that counts the checks of the sweep over every member, summed over all worker processes. It fails
a run of the whole sweep in which there were fewer checks than expected."""

from __future__ import annotations

from collections import Counter
from typing import Any

import pytest

#: Kind of check -> the number of checks made.
COUNTS: Counter[str] = Counter()

#: The minimum of each in a run of the whole sweep.
LEAST = 40_000


@pytest.hookimpl(trylast=True)
def pytest_sessionfinish(session: pytest.Session) -> None:
    """A worker passes its counts to the process that started it, which checks the sum."""
    config: Any = session.config
    if hasattr(config, "workeroutput"):
        config.workeroutput["counts"] = dict(COUNTS)
        return
    if _runs_all(config) and sum(COUNTS.values()) < LEAST:
        print(f"\nthe sweep over every member made {sum(COUNTS.values())} checks, not {LEAST}: {dict(COUNTS)}")
        session.exitstatus = pytest.ExitCode.TESTS_FAILED


def _runs_all(config: Any) -> bool:
    """Whether the run includes the whole of tests/python, without a selection."""
    asked = [str(argument).rstrip("/") for argument in config.args]
    return any(argument.endswith("tests/python") for argument in asked) and not config.option.keyword


@pytest.hookimpl(optionalhook=True)
def pytest_testnodedown(node: Any) -> None:
    """Adds the counts of a worker that has finished."""
    COUNTS.update(getattr(node, "workeroutput", {}).get("counts", {}))
