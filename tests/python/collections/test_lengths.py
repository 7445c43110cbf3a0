"""Lengths that no list can have, as a faulty managed side may return them."""

from __future__ import annotations

from typing import Any

import pytest
from support.collections import make_interop, make_typed
from support.control import Control
from support.forked import outcome_of

INT32 = "A4A29720"
INTEROP = "Zelmor.WrpGen.Interop.SiApi"

#: A collection with three elements, and the class that returns its length.
COLLECTIONS = {
    "array": (lambda: make_interop("array", [1, 2, 3]), INTEROP + "Array"),
    "arrlist": (lambda: make_interop("arrlist", [1, 2, 3]), INTEROP + "ArrayList"),
    "ilist": (lambda: make_interop("ilist", [1, 2, 3]), INTEROP + "CntCollection"),
    "icol": (lambda: make_interop("icol", [1, 2, 3]), INTEROP + "CntCollection"),
    "typed array": (lambda: make_typed(INT32, "array", [1, 2, 3]), f"Zelmor.WrpGen.Generic.SiApiArray_{INT32}"),
    "typed list": (lambda: make_typed(INT32, "list", [1, 2, 3]), f"Zelmor.WrpGen.Generic.SiApiList_{INT32}"),
}
OPERATIONS = {
    "+ list": lambda collection: collection + [1],
    "+ iterable": lambda collection: collection + {1: 2},
    "+ sequence": lambda collection: collection + range(3),
    "copy": lambda collection: collection.copy(),
    "*": lambda collection: collection * 2,
    "* 0": lambda collection: collection * 0,
}


@pytest.mark.parametrize("length", [-1, -5, -2**31])
@pytest.mark.parametrize("operation", OPERATIONS)
@pytest.mark.parametrize("kind", COLLECTIONS)
def test_a_list_of_a_negative_length_is_refused(control: Control, kind: str, operation: str, length: int) -> None:
    make, services = COLLECTIONS[kind]
    collection = make()

    def step() -> Any:
        control.return_next(services, "SqLength", length)
        return OPERATIONS[operation](collection)

    assert outcome_of(step) == f"ValueError: the length of the collection is negative: {length}"


@pytest.mark.parametrize("kind", [kind for kind in COLLECTIONS if kind != "icol"])
def test_another_operand_of_a_negative_length_is_refused(control: Control, kind: str) -> None:
    make, services = COLLECTIONS[kind]
    own = make_typed("CBE911FC", "array", ["a"])
    other = make()

    def step() -> Any:
        control.return_next(services, "SqLength", -7)
        return own + other

    assert outcome_of(step) == "ValueError: the length of the collection is negative: -7"


@pytest.mark.parametrize("kind", [kind for kind in COLLECTIONS if kind != "icol"])
def test_a_negative_length_has_no_slices_and_no_elements(control: Control, kind: str) -> None:
    make, services = COLLECTIONS[kind]
    collection = make()
    for key in (slice(None), slice(None, None, -1), slice(-2, None), slice(2, -1, -1), slice(-2**70, 2**70, -3)):
        control.return_next(services, "SqLength", -2**31)
        assert collection[key] == []
    for index in (-1, -3, -2**63, -2**63 + 5):
        control.return_next(services, "SqLength", -2**31)
        with pytest.raises(IndexError, match="^list index out of range$"):
            collection[index]
    control.return_next(services, "SqLength", -2**31)
    assert collection.length == -2**31
