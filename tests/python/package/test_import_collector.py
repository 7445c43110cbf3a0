"""The garbage collector after an import: enabled or disabled as before, and all objects in the same generations."""

from __future__ import annotations

from typing import Any

import pytest

from support.package_process import PACKAGE, child

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


@pytest.mark.parametrize("switch", ["enable", "disable"])
@pytest.mark.parametrize("meanwhile", ["enable", "disable"])
def test_what_is_switched_during_the_import_does_not_stay(switch: str, meanwhile: str) -> None:
    code = f"""
import gc, sys
import zelmor
class Switching:
    def find_spec(self, name, path=None, target=None):
        if name == "zelmor.pyio" and not seen:
            seen.append(gc.isenabled())
            gc.{meanwhile}()
seen = []
sys.meta_path.insert(0, Switching())
gc.{switch}()
import zelmor.imaging
result = [seen, gc.isenabled()]
"""
    assert child(code) == [[False], switch == "enable"]


def test_no_collection_runs_while_the_module_is_built() -> None:
    watched = """
from types import ModuleType
def built():
    modules = [thing for thing in gc.get_objects() if isinstance(thing, ModuleType)]
    return any(module.__name__ == "zelmor.imaging" and hasattr(module, "VERSION") for module in modules)
def watch(phase, info):
    if phase == "start":
        runs.append(built())
runs = []
gc.callbacks.append(watch)
"""
    assert imported("", "runs.count(False)", watched) == 0


def test_the_import_needs_no_module_of_the_collector() -> None:
    assert imported("import sys", "'up'", "sys.modules['gc'] = None") == "up"


def test_the_objects_of_the_program_stay_in_their_generation() -> None:
    code = "mine = [[]]"  # while the collector is disabled, only the import could move it
    result = "[any(thing is mine for thing in gc.get_objects(generation)) for generation in range(3)]"
    assert imported("gc.disable()", result, code) == [True, False, False]


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
