"""Chains of objects that hold each other are dropped one by one, however long they are."""

from __future__ import annotations

import pytest
from support.child import run_child

PROLOGUE = """
import sys
from zelmor.imaging import NonGenericDictionary, NonGenericList
LENGTH = 200_000
"""
SCRIPTS = {
    # A list of values that holds the next one, under an object.
    "lists": """
last = NonGenericDictionary()
for _ in range(LENGTH):
    link = NonGenericDictionary()
    link.add("next", last)
    last = link
del link, last
""",
    # Variants and wrappers of the untyped kinds in between.
    "array lists": """
last = NonGenericDictionary().keys
for _ in range(LENGTH):
    link = NonGenericDictionary()
    link.add("next", last)
    last = link.values
del link, last
""",
    # The managed side holds a Python list, which holds the managed side's next.
    "Python lists": """
last = None
for _ in range(LENGTH):
    last = NonGenericList([last])
del last
""",
    # All at once by one change.
    "cleared": """
last = NonGenericDictionary()
for _ in range(LENGTH):
    link = NonGenericDictionary()
    link.add("next", last)
    last = link
whole = NonGenericDictionary()
whole.add("last", last)
del link, last
whole.clear()
assert whole.length == 0
""",
}


@pytest.mark.parametrize("name", SCRIPTS)
def test_a_long_chain_is_dropped(name: str) -> None:
    run_child(PROLOGUE + SCRIPTS[name])


def test_chains_through_every_property_are_dropped() -> None:
    """Every class that has a property for an object of its own, typed or of any kind, or a list of such."""
    run_child("""
import importlib, pkgutil
import zelmor.imaging
LENGTH = 40_000

def classes(module, seen):
    for value in vars(module).values():
        if isinstance(value, type) and value.__module__.startswith("zelmor.imaging") and value not in seen:
            seen.append(value)
        elif type(value) is type(zelmor.imaging) and value.__name__.startswith(module.__name__ + "."):
            classes(value, seen)
    return seen

def setters(type_):
    # Properties that take an instance of the type, alone or in a list.
    try:
        first, second = type_(), type_()
    except Exception:
        return
    for name in dir(type_):
        if name.startswith("_") or not hasattr(getattr(type_, name, None), "__set__"):
            continue
        for wrap in (lambda value: value, lambda value: [value]):
            try:
                setattr(first, name, wrap(second))
            except Exception:
                continue
            yield name, wrap
            break

found = 0
for type_ in classes(zelmor.imaging, []):
    for name, wrap in setters(type_):
        found += 1
        last = type_()
        for _ in range(LENGTH if found <= 40 else 10):
            link = type_()
            setattr(link, name, wrap(last))
            last = link
        del link, last
assert found > 20, found
print(found)
""", seconds=300)
