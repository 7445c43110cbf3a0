"""Values of any kind for a parameter of managed type `object`: the tag that each gets, and the returned value."""

from __future__ import annotations

import array
import collections
import datetime
import decimal
import enum
import struct
import sys
import uuid
from typing import Any

import pytest
from support.anything import HOLDER, holder
from support.control import control
from zelmor.imaging import Point
from zelmor.imaging.imageloadoptions import OdLoadOptions

OWNER = HOLDER
EMPTY_WRAPPER = OdLoadOptions.__new__(OdLoadOptions)


class Number(enum.IntEnum):
    """An enumeration that belongs to no managed type."""

    ONE = 1


Pair = collections.namedtuple("Pair", "a b")


def variant_on_the_wire(value: Any) -> tuple[int, int]:
    """Tag and value of the record that a value becomes; the entry point itself is not run."""
    options = holder()
    control.return_next(OWNER, "set_Value")
    with control.journal() as calls:
        options.value = value
    [made] = [entry for entry in calls if entry.method == "set_Value"]
    tag, word = struct.unpack("<i4xQ", made.records[1] or b"")
    return tag, word


KINDS = [
    (0, None),
    (3, "text"), (3, type("Text", (str,), {})("text")),
    (4, b"ab"), (4, bytearray(b"ab")), (4, memoryview(b"ab")), (4, type("Data", (bytes,), {})(b"ab")),
    (5, True), (5, False),
    (6, 1), (6, 2**100),
    (7, 1.0), (7, type("Real", (float,), {})(1.0)),
    (8, decimal.Decimal("1.5")),
    (9, decimal.Decimal("1.5").as_tuple()),
    (10, datetime.datetime(2023, 6, 1)),
    (11, datetime.date(2023, 6, 1)),
    (12, datetime.time(1, 2)),
    (13, datetime.timedelta(1)),
    (14, uuid.UUID(int=5)),
    (15, [1]),
    (16, (1,)),
]


@pytest.mark.parametrize(("tag", "value"), KINDS, ids=[f"{tag}-{type(value).__name__}" for tag, value in KINDS])
def test_a_value_goes_by_reference_with_the_tag_of_its_kind(tag: int, value: object) -> None:
    before, rounds = sys.getrefcount(value), 40
    for _ in range(rounds):
        assert variant_on_the_wire(value) == (tag, id(value))
    if value is not None:  # any code may increase its reference count
        # Other threads of the test run hold and let go of `True` and of small numbers.
        assert abs(sys.getrefcount(value) - before) < rounds / 2


def test_a_wrapper_goes_as_its_handle() -> None:
    tag, handle = variant_on_the_wire(OdLoadOptions())
    assert tag == 1 and handle != 0
    tag, handle = variant_on_the_wire(Point(1, 2))
    assert tag == 2 and handle != 0


def test_a_sibling_modules_wrapper_goes_as_its_handle() -> None:
    tag, handle = variant_on_the_wire(OdLoadOptions._type_of())
    assert tag == 1 and handle != 0


UNKNOWN = [{1}, {1: 2}, Pair(1, 2), type("List", (list,), {})(), array.array("i", [1]), Number.ONE, object(), 1j,
           type("Int", (int,), {})(5), int, range(3), EMPTY_WRAPPER]


@pytest.mark.parametrize("value", UNKNOWN, ids=[type(value).__name__ for value in UNKNOWN])
def test_anything_else_is_unknown(value: object) -> None:
    options = holder()
    with pytest.raises(TypeError, match="^unknown variant type$"):
        options.value = value
    assert options.value is None


SIMPLE = [None, True, False, 0, -1, 2**31, 2**63, 2**64 - 1, -2**63, 1.5, "", "caf\u00e9 \u20ac", uuid.UUID(int=7)]


@pytest.mark.parametrize("value", SIMPLE, ids=repr)
def test_a_simple_value_comes_back_equal(value: object) -> None:
    options = holder()
    options.value = value
    assert options.value == value
    assert type(options.value) is type(value)


def test_bytes_come_back_as_a_bytearray() -> None:
    options = holder()
    for value in (b"ab", bytearray(b"ab"), memoryview(b"ab")):
        options.value = value
        assert type(options.value) is bytearray
        assert options.value == b"ab"


def test_a_wrapper_comes_back_as_an_equal_one() -> None:
    options, point, other = holder(), Point(1, 2), OdLoadOptions()
    options.value = point
    assert type(options.value) is Point
    assert options.value == point
    options.value = other
    assert options.value == other and options.value is not other


def test_a_failed_import_fails_the_argument(monkeypatch: pytest.MonkeyPatch) -> None:
    options = holder()
    monkeypatch.setitem(sys.modules, "decimal", None)
    with pytest.raises(ImportError) as failed:
        options.value = "text"
    assert str(failed.value) == ("Unable to import the specified module decimal. The module not found or errors "
                                 "occurred while initializing it.")
    options.value = 5
    assert options.value == 5
