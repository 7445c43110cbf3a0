"""Chains of objects that hold each other are dropped one by one, however long they are."""

from __future__ import annotations

import pytest
from support.child import run_child

PROLOGUE = """
import sys
from support.collections import make_interop, new_dictionary
from zelmor.imaging import NonGenericList
LENGTH = 200_000
"""
SCRIPTS = {
    # A list of values that holds the next one, under an object.
    "lists": """
last = new_dictionary()
for _ in range(LENGTH):
    link = new_dictionary()
    link.add("next", last)
    last = link
del link, last
""",
    # Variants and wrappers of the untyped kinds in between.
    "array lists": """
last = make_interop("arrlist")
for _ in range(LENGTH):
    link = make_interop("arrlist")
    link.append(last)
    last = link
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
last = new_dictionary()
for _ in range(LENGTH):
    link = new_dictionary()
    link.add("next", last)
    last = link
whole = new_dictionary()
whole.add("last", last)
del link, last
whole.clear()
assert list(whole.keys) == []
""",
}


@pytest.mark.parametrize("name", SCRIPTS)
def test_a_long_chain_is_dropped(name: str) -> None:
    run_child(PROLOGUE + SCRIPTS[name])


def test_chains_through_every_property_are_dropped() -> None:
    """Every class that has a property for an object of its own, typed or of any kind, or for a list of such."""
    run_child("""
import sys, threading
from support.catalogue import every_class
LENGTH = 5_000  # enough for the stack of the thread

def setters(type_):
    try:
        first, second = type_(), type_()
    except (TypeError, RuntimeError):
        return  # has no constructor without arguments
    for name in dir(type_):
        if name.startswith("_") or not hasattr(getattr(type_, name, None), "__set__"):
            continue
        for wrap in (lambda value: value, lambda value: [value]):
            try:
                setattr(first, name, wrap(second))
            except (AttributeError, TypeError, RuntimeError):
                continue
            yield name, wrap
            break

def run():
    for type_ in every_class():
        for name, wrap in setters(type_):
            last = type_()
            for _ in range(LENGTH):
                link = type_()
                setattr(link, name, wrap(last))
                last = link
            del link, last
            dropped.append((type_.__name__, name))

dropped = []
threading.stack_size(256 * 1024)
thread = threading.Thread(target=run)
thread.start()
thread.join()
assert len(dropped) > 10, dropped
""", seconds=300, PYTHONMALLOC="default")
