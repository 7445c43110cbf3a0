"""The tests run on the build tree and on the embedded runtime with its control interface, or with ZELMOR_RUNTIME=dotnet
on .NET with the same interface.

After every test the number of live handles is the same as before, no Python error is pending, and all faults and
scripts that the test set are removed. A test that keeps handles on purpose declares how many:
`@pytest.mark.keeps_handles(2)`.
"""

from __future__ import annotations

import ctypes
import gc
import os
import sys
from collections.abc import Iterator
from pathlib import Path

import pytest

from support.places import BUILD_DIR
from support.runtimes import ON_DOTNET, VARIABLES

# Set before the first import, since the bridge reads these variables only once.
os.environ["ZELMOR_BUILD_DIR"] = str(BUILD_DIR)
os.environ.update(VARIABLES)
sys.path.insert(0, str(BUILD_DIR / "python"))

import zelmor.imaging  # noqa: E402, F401  (the one start of this process)
import support.counts  # noqa: E402
import support.draws  # noqa: E402, F401  (sets what hypothesis draws, before any test is read)
from support.control import Control, control  # noqa: E402
from support.pictures import write_png  # noqa: E402

_error_pending = ctypes.PYFUNCTYPE(ctypes.c_void_p)(ctypes.cast(ctypes.pythonapi.PyErr_Occurred, ctypes.c_void_p).value)


def pytest_configure(config: pytest.Config) -> None:
    """The marks of these tests."""
    config.pluginmanager.register(support.counts, "counts")
    config.addinivalue_line("markers", "keeps_handles(n): the test leaves n handles out, and means to")
    config.addinivalue_line("markers", "embedded_only(reason): the test is about the embedded runtime itself, or a "
                                       "process that .NET cannot run in; skipped on .NET")


def pytest_collection_modifyitems(items: list[pytest.Item]) -> None:
    """Skips the tests that this runtime cannot run; a report counts them, and names the reasons."""
    for item in items:
        reason = _reason_against(item)
        if reason:
            item.add_marker(pytest.mark.skip(reason=reason))


def _reason_against(item: pytest.Item) -> str:
    """Why a test does not run on this runtime; empty if it does."""
    marker = item.get_closest_marker("embedded_only")
    if marker is not None and not (len(marker.args) == 1 and isinstance(marker.args[0], str)):
        raise pytest.UsageError(f"{item.nodeid}: embedded_only takes the reason")
    if marker is not None and ON_DOTNET:
        return f"embedded runtime only: {marker.args[0]}"
    return ""


def collect_and_freeze() -> None:
    """Collects garbage, and keeps what is left out of the collections after this one: pytest holds some hundred
    thousand objects, which a collection would go through for each of the tests that need one."""
    gc.collect()
    gc.freeze()


def pytest_collection_finish() -> None:
    """Freezes the objects that test collection made."""
    collect_and_freeze()


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item, call: pytest.CallInfo[None]) -> Iterator[None]:
    """Notes on the test whether it failed: a failed test keeps its frames, and with them its handles."""
    outcome = yield
    report = outcome.get_result()
    if report.when == "call":
        item.stash[_FAILED] = report.failed


_FAILED: pytest.StashKey[bool] = pytest.StashKey()

#: Whether the managed side collects its garbage before each call.
_COLLECT = os.environ.get("ZELMOR_COLLECT") == "1"


@pytest.fixture(autouse=True)
def balance(request: pytest.FixtureRequest) -> Iterator[None]:
    """Restores the state of the runtime from before the test."""
    before, types_before = control.live(), control.live_by_type()
    if _COLLECT:
        control.collect_before_each_call()
    yield
    # The test object keeps the values of its fixtures alive until after its last step.
    request.node.funcargs.clear()
    unused = control.reset()
    marker = request.node.get_closest_marker("keeps_handles")
    expected = before + (marker.args[0] if marker else 0)
    if control.live() != expected:
        collect_and_freeze()
        control.settle()
    if request.node.stash.get(_FAILED, True):
        return
    control.check()
    assert not _error_pending(), "a Python error is pending"
    assert unused == 0, f"{unused} scripted calls never came"
    # The count can be lower if a test that failed earlier has released its handles in the meantime.
    if control.live() > expected or (marker and control.live() != expected):
        more = {name: count - types_before.get(name, 0) for name, count in control.live_by_type().items()}
        pytest.fail(f"{control.live() - before} handles more are out than before, not {expected - before}: "
                    f"{ {name: count for name, count in more.items() if count} }")


@pytest.fixture(name="control")
def control_fixture() -> Control:
    """The control interface of the runtime."""
    return control


@pytest.fixture
def picture(tmp_path: Path) -> str:
    """The path of a small PNG file."""
    return str(write_png(tmp_path / "picture.png"))
