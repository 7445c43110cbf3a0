"""Typed access of the managed side to the elements of Python lists and sequences, directly through the callback tables.

The unit tests check the status codes of failures; here the error that a call leaves pending is raised.
"""

from __future__ import annotations

import ctypes
import struct
import sys
from ctypes import POINTER, byref, c_int, c_void_p, py_object
from typing import Any

import pytest
from support.callbacks import Reference
from support.collections import ROWS, values_of
from support.control import Control, control
from support.records import PyBytesArg, PyStringArg, VariantArg
from zelmor.imaging import Point

#: The order of the slots, written down a second time.
ELEMENTS = """
6DB53617 4161C915 AD9D9BA5 C63CF845 0D581152 793CE1A2 A29B253A 5A6B40F1 0230D20F 5924F2FC A139325E A57BD1E8 0938A206
75054454 9BE3A030 2F797332 DD9A8D00 11A60AB4 2B0546B4 B67D0F40 F421E052 62797633 578FF222 590CE12F 51D6BEAB 5A71E0F9
AD4C5CC9 32726122 6228A3B1 B748930C C89B66BC B3841592 3814BE29 4B725488 79C35D44 70438DFB 35D0AC00 D065E58A 8E76FE13
8626AC59 6569C051 5BCD4B3E 436B9FB4 8A028265 1BA766B5 A2718E40 A4A29720 DAF680C1 E7C32114 F372CE9B CF33F510 FCB07591
F25B175D CBE911FC 57AC8DC4 110A8374 72D20219
""".split()
FORMATS = {"int8": "b", "int16": "h", "uint16": "H", "int32": "i", "uint32": "I", "int64": "q", "uint64": "Q",
           "float": "f", "double": "d"}
#: An element of a type that no typed collection can store.
NOT_ONE = object()


def handle_of(wrapper: Any) -> int:
    return ctypes.c_void_p.from_address(id(wrapper) + 16).value or 0


class Reader:
    """The two callbacks of an element."""

    def __init__(self, slot: int) -> None:
        self._bytes = ROWS[ELEMENTS[slot]].element.kind == "bytes"
        state = [c_void_p] if self._bytes else []
        self._from_list = control.generic_callback(slot, ctypes.PYFUNCTYPE(c_int, py_object, c_int, c_void_p, *state))
        self._from_sequence = control.generic_callback(
            slot + 57, ctypes.PYFUNCTYPE(c_int, py_object, c_int, POINTER(Reference), c_void_p, *state))

    def read(self, items: Any, index: int) -> bytes:
        """The content of the slot after an element was read; the reference that keeps the element alive is released."""
        out = ctypes.create_string_buffer(b"\0" * 16, 16)
        view = ctypes.create_string_buffer(80)
        state = [view] if self._bytes else []
        owner = Reference()
        if isinstance(items, list):
            assert self._from_list(items, index, out, *state) == 0
        else:
            assert self._from_sequence(items, index, byref(owner), out, *state) == 0
            assert owner.value == id(items[index])
        if self._bytes:
            if PyBytesArg.from_buffer(out).acquired:
                assert items[index] == ctypes.string_at(PyBytesArg.from_buffer(out).data,
                                                        PyBytesArg.from_buffer(out).length)
                control.callback("buffer", "release")(view)
        if owner.value:
            control.callback("obj_api", "dec_ref")(owner.value)
        return out.raw


def shown(identifier: str, raw: bytes, value: Any) -> tuple[Any, Any]:
    """The content of a slot, and the expected content for a value."""
    row = ROWS[identifier]
    wire = row.element
    if wire.name in FORMATS:
        return struct.unpack_from("<" + FORMATS[wire.name], raw)[0], value
    if wire.type is not None and wire.type.is_enum:
        return struct.unpack_from("<i", raw)[0], int(value)
    if wire.kind == "string":
        return PyStringArg.from_buffer_copy(raw).text(), value
    if wire.kind == "bytes":
        record = PyBytesArg.from_buffer_copy(raw)
        return record.length, -1 if value is None else len(value)
    if wire.kind == "class":
        return struct.unpack_from("<Q", raw)[0], handle_of(value) if value is not None else 0
    record_ = VariantArg.from_buffer_copy(raw)
    if wire.kind == "object":
        own = type(value).__module__.startswith("zelmor")
        return record_.value or 0, handle_of(value) if own else id(value)
    tag = 1 if wire.kind == "struct" else 0
    return (record_.tag, record_.value or 0), (tag, handle_of(value) if value is not None else 0)


def test_the_table_of_elements_is_in_this_order() -> None:
    assert [identifier for identifier, row in ROWS.items() if row.slot is not None] == ELEMENTS
    assert [ROWS[identifier].slot for identifier in ELEMENTS] == list(range(57))


@pytest.mark.parametrize("slot", range(57), ids=ELEMENTS)
def test_elements_are_read_in_the_elements_own_form(slot: int) -> None:
    values = values_of(ROWS[ELEMENTS[slot]])
    reader = Reader(slot)
    for items in (list(values), tuple(values)):
        for index, value in enumerate(values):
            found, expected = shown(ELEMENTS[slot], reader.read(items, index), value)
            assert found == expected


@pytest.mark.parametrize("slot", range(57), ids=ELEMENTS)
def test_reading_keeps_no_reference(slot: int) -> None:
    values = values_of(ROWS[ELEMENTS[slot]])
    reader = Reader(slot)
    items, sequence = list(values), tuple(values)
    last = max(index for index, value in enumerate(values) if value is not None)
    value = values[last]
    before = sys.getrefcount(value)
    for _ in range(100):
        reader.read(items, last)
        reader.read(sequence, last)
    assert abs(sys.getrefcount(value) - before) < 20


@pytest.mark.parametrize("slot", range(57), ids=ELEMENTS)
def test_an_index_out_of_range_is_an_index_error(slot: int) -> None:
    values = values_of(ROWS[ELEMENTS[slot]])[:1]
    reader = Reader(slot)
    for items, index in (([], 0), (values, 1), (values, -1), (values, -2), ((), 0), (tuple(values), 1)):
        with pytest.raises(IndexError):
            reader.read(items, index)


@pytest.mark.parametrize("slot", range(57), ids=ELEMENTS)
def test_an_element_of_the_wrong_type_is_its_converters_error(slot: int) -> None:
    reader = Reader(slot)
    before = sys.getrefcount(NOT_ONE)
    for items in ([NOT_ONE], (NOT_ONE,)):
        with pytest.raises(TypeError, match="^(can't build .* from 'object'|must be real number, not object|unknown "
                                            "variant type)$"):
            reader.read(items, 0)
        del items
    assert sys.getrefcount(NOT_ONE) == before


def test_an_element_that_a_sequence_fails_to_give_is_its_error() -> None:
    class Failing:
        def __len__(self) -> int:
            return 1

        def __getitem__(self, index: int) -> Any:
            raise KeyError("mine")

    for slot in range(57):
        with pytest.raises(KeyError, match="mine"):
            Reader(slot).read(Failing(), 0)


def test_a_list_inside_a_list_goes_by_reference(control: Control) -> None:
    inner = [1, 2]
    raw = Reader(ELEMENTS.index("DAF680C1")).read([inner, (3,)], 0)
    assert (VariantArg.from_buffer_copy(raw).tag, VariantArg.from_buffer_copy(raw).value) == (2, id(inner))
    outer = [(3,)]
    raw = Reader(ELEMENTS.index("DAF680C1")).read(outer, 0)
    assert (VariantArg.from_buffer_copy(raw).tag, VariantArg.from_buffer_copy(raw).value) == (3, id(outer[0]))


def test_a_buffer_is_locked_for_as_long_as_the_managed_side_holds_it(control: Control) -> None:
    slot = ELEMENTS.index("8A028265")
    get_item = control.generic_callback(slot, ctypes.PYFUNCTYPE(c_int, py_object, c_int, c_void_p, c_void_p))
    data = bytearray(b"abc")
    record, view = PyBytesArg(), ctypes.create_string_buffer(80)
    assert get_item([data], 0, byref(record), view) == 0
    with pytest.raises(BufferError):
        data.append(1)
    control.callback("buffer", "release")(view)
    data.append(1)
    # An element that cannot be converted is released at once.
    strided = memoryview(b"abcdef")[::2]
    record = PyBytesArg()
    with pytest.raises(BufferError, match="^buffer is not contiguous$"):
        get_item([strided], 0, byref(record), view)
    assert record.acquired == 0
    strided.release()


def test_a_variant_element_has_the_variants_tags() -> None:
    reader = Reader(ELEMENTS.index("F372CE9B"))
    tags = [VariantArg.from_buffer_copy(reader.read([value], 0)).tag
            for value in (None, Point(1, 2), "a", b"a", True, 1, 1.0, [1], (1,))]
    assert tags == [0, 2, 3, 4, 5, 6, 7, 15, 16]


class Leaving(str):
    """A text that is removed from its list when its class is requested."""

    items: list[Any]

    @property
    def __class__(self) -> Any:
        self.items.clear()
        return str


def test_an_element_that_leaves_its_list_is_not_read() -> None:
    reader = Reader(ELEMENTS.index("F372CE9B"))  # the only one of the conversions that can run Python code
    leaving = Leaving("text")
    leaving.items = [leaving, 1]
    with pytest.raises(RuntimeError, match="^the list lost the element while it was read$"):
        reader.read(leaving.items, 0)
    # The returned reference keeps an element of a sequence alive.
    leaving.items = [leaving]
    reader.read((leaving,), 0)
