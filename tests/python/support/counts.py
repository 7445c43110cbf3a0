"""How much the sweep over every member has tried: a plugin that sums it up over all processes that run tests, and
fails a run of the whole sweep that tried less than it means to."""

from __future__ import annotations

from collections import Counter
from typing import Any

import pytest

#: Kind of check -> how often it was made.
COUNTS: Counter[str] = Counter()

#: What a run of the whole sweep makes at least.
LEAST = 40_000


@pytest.hookimpl(trylast=True)
def pytest_sessionfinish(session: pytest.Session) -> None:
    """A worker hands its counts to the process that started it, and that one looks at the sum."""
    config: Any = session.config
    if hasattr(config, "workeroutput"):
        config.workeroutput["counts"] = dict(COUNTS)
        return
    if _runs_all(config) and sum(COUNTS.values()) < LEAST:
        print(f"\nthe sweep over every member made {sum(COUNTS.values())} checks, not {LEAST}: {dict(COUNTS)}")
        session.exitstatus = pytest.ExitCode.TESTS_FAILED


def _runs_all(config: Any) -> bool:
    """Whether the whole of tests/python was asked for, and nothing taken away."""
    asked = [str(argument).rstrip("/") for argument in config.args]
    return any(argument.endswith("tests/python") for argument in asked) and not config.option.keyword


@pytest.hookimpl(optionalhook=True)
def pytest_testnodedown(node: Any) -> None:
    """The counts of a worker that is done."""
    COUNTS.update(getattr(node, "workeroutput", {}).get("counts", {}))
