"""What an import leaves of the garbage collector: as it was found, with nothing to go through at once."""

from __future__ import annotations

from typing import Any

import pytest
from package_process import PACKAGE, child

IMPORT = """
import gc
{}
import zelmor.pydrawing, zelmor.pyreflection, zelmor.pyio
{}
import zelmor.imaging
result = {}
"""


def imported(before: str, result: str, just_before: str = "") -> Any:
    return child(IMPORT.format(before, just_before, result), package=PACKAGE)


@pytest.mark.parametrize("switch", ["enable", "disable"])
def test_the_collector_is_left_on_or_off_as_it_was(switch: str) -> None:
    assert imported(f"gc.{switch}()", "gc.isenabled()") is (switch == "enable")


def test_no_collection_runs_while_the_module_is_built() -> None:
    runs = "sum(generation['collections'] for generation in gc.get_stats())"
    assert imported("", f"{runs} - before", f"before = {runs}") == 0


def test_nothing_stays_frozen_and_the_classes_are_known_to_the_collector() -> None:
    assert imported("", "[gc.get_freeze_count(), gc.is_tracked(zelmor.imaging.CacheType)]") == [0, True]


def test_what_a_program_has_frozen_stays_frozen() -> None:
    assert imported("", "gc.get_freeze_count() == frozen > 0", "gc.freeze(); frozen = gc.get_freeze_count()") is True


def test_a_cycle_made_before_the_import_is_still_collected() -> None:
    cycle = """
class Node:
    pass
import weakref
node = Node()
node.itself = node
alive = weakref.ref(node)
"""
    assert imported(cycle, "[alive() is None, gc.collect() > 0, alive() is None]", "del node") == [False, True, True]


def test_a_failed_import_leaves_the_collector_on() -> None:
    code = """
import gc, sys
import zelmor.pydrawing, zelmor.pyreflection, zelmor.pyio, zelmor.pygc
sys.modules["zelmor.pyreflection"] = sys
try:
    import zelmor.imaging
    failed = False
except ImportError:
    failed = True
result = [failed, gc.isenabled()]
"""
    assert child(code) == [True, True]
