"""Chains of objects that hold each other are destroyed without recursion, however long they are."""

from __future__ import annotations

import pytest
from support.child import run_child

#: The chain is destroyed in a thread with a small stack, so that a shorter chain suffices than in a program.
PROLOGUE = """
import threading
from support.collections import make_interop, new_dictionary
from zelmor.imaging import NonGenericList
LENGTH = 10_000

def in_thread(body):
    failures = []
    def guarded():
        try:
            body()
        except BaseException as failure:
            failures.append(failure)
    threading.stack_size(192 * 1024)
    thread = threading.Thread(target=guarded)
    thread.start()
    thread.join()
    assert not failures, failures
"""
SCRIPTS = {
    # A list of values that contains the next list, under an object.
    "lists": """
last = new_dictionary()
for _ in range(LENGTH):
    link = new_dictionary()
    link.add("next", last)
    last = link
del link, last
""",
    # Values of type object, with wrappers of the untyped kinds in between.
    "array lists": """
last = make_interop("arrlist")
for _ in range(LENGTH):
    link = make_interop("arrlist")
    link.append(last)
    last = link
del link, last
""",
    # The managed side holds a Python list, which holds the next object of the managed side.
    "Python lists": """
last = None
for _ in range(LENGTH):
    last = NonGenericList([last])
del last
""",
    # A single change releases the whole chain.
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
    body = "".join(f"    {line}\n" for line in SCRIPTS[name].splitlines())
    run_child(f"{PROLOGUE}\ndef body():\n{body}\nin_thread(body)", PYTHONMALLOC="default")


def test_a_list_around_lists_asks_the_innermost() -> None:
    run_child(PROLOGUE + """
def body():
    last = NonGenericList([1, 2, 3])
    for _ in range(LENGTH):
        last = NonGenericList(last)
    assert len(last) == 3 and list(last) == [1, 2, 3] and last[1] == 2
in_thread(body)
""")


def test_chains_through_every_property_are_dropped() -> None:
    """Every class with a property that can hold an object of the class, of type object, or a list of such objects."""
    run_child(PROLOGUE + """
from support.catalogue import every_class

def setters(type_):
    try:
        first, second = type_(), type_()
    except (TypeError, RuntimeError):
        return  # has no constructor without arguments
    tried = {"alone": lambda value: value, "in a list": lambda value: [value]}
    for name in dir(type_):
        if name.startswith("_") or not hasattr(getattr(type_, name, None), "__set__"):
            continue
        for how, wrap in list(tried.items()):
            try:
                setattr(first, name, wrap(second))
            except (AttributeError, TypeError, RuntimeError):
                continue
            yield name, tried.pop(how)
            break

def body():
    for type_ in every_class():
        for name, wrap in setters(type_):
            last = type_()
            for _ in range(2_000):
                link = type_()
                setattr(link, name, wrap(last))
                last = link
            del link, last
            dropped.append((type_.__name__, name))

dropped = []
in_thread(body)
assert dropped
""", seconds=300, PYTHONMALLOC="default")
