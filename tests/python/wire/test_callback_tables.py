"""The callbacks, called as the managed side calls them: values in both directions, references, buffers, collections,
files.

A call that leaves a Python error pending raises it in the test; its status code is then not visible.
"""

from __future__ import annotations

import ctypes
import io
import sys
import uuid
from ctypes import byref, c_double, c_long, c_uint, c_void_p, py_object
from typing import Any

import pytest
from support.callbacks import TABLES, Reference
from support.control import Control
from support.records import PyBytesArg, PyStringArg, VariantArg
from zelmor.imaging import Point
from zelmor.imaging.imageoptions import DxfOptions

#: The values that a test collects.
Kept = list[Any]


def reference(value: object) -> int:
    """The address of an object, with a new reference that the callback takes over."""
    ctypes.pythonapi.Py_IncRef(py_object(value))
    return id(value)


def taken(address: int | None) -> Any:
    """The object behind a reference that a callback returned; the reference is released."""
    assert address
    value = ctypes.cast(address, py_object).value
    ctypes.pythonapi.Py_DecRef(py_object(value))
    return value


# References


def test_references_are_taken_and_dropped(control: Control) -> None:
    value = object()
    before = sys.getrefcount(value)
    control.callback("obj_api", "inc_ref")(id(value))
    assert sys.getrefcount(value) == before + 1
    control.callback("obj_api", "dec_ref")(id(value))
    assert sys.getrefcount(value) == before
    control.callback("obj_api", "inc_ref")(None)
    control.callback("obj_api", "dec_ref")(None)
    assert control.callback("obj_api", "get_none")() is None


# Values


@pytest.mark.parametrize("text", ["", "abc", "caf\u00e9", "a\u20acb", "a\U0001f600b", "\0"])
def test_a_string_is_read_in_its_own_width(control: Control, text: str) -> None:
    view = PyStringArg()
    assert control.callback("read", "string")(text, byref(view)) == 1
    assert view.text() == text
    widest = max(map(ord, text), default=0)
    assert view.char_size == (1 if widest < 0x100 else 2 if widest < 0x10000 else 4)


@pytest.mark.parametrize("text", ["", "abc", "caf\u00e9", "a\u20acb", "a\U0001f600b", "\0", "\ufeffa"])
def test_a_string_is_built_from_utf16(control: Control, text: str) -> None:
    units = text.encode("utf-16-le")
    for name in ("py_string", "py_unraisable_string"):
        built = control.callback("single", name)(ctypes.create_string_buffer(units), len(units) // 2)
        assert (built if name == "py_string" else taken(built)) == text


def test_a_lone_surrogate_cannot_be_built(control: Control, capfd: pytest.CaptureFixture[str],
                                          monkeypatch: pytest.MonkeyPatch) -> None:
    unit = ctypes.create_string_buffer(b"\x00\xd8")
    with pytest.raises(LookupError, match="^unknown error handler name ''$"):
        control.callback("single", "py_string")(unit, 1)
    reports: Kept = []
    monkeypatch.setattr(sys, "unraisablehook", lambda report: reports.append((report.object, report.exc_type)))
    assert not control.callback("single", "py_unraisable_string")(unit, 1)
    assert reports == [("FormatCallbackException", LookupError)]


def test_truth_is_read_from_anything(control: Control) -> None:
    read = control.callback("read", "boolean")
    values = (True, False, 1, 0, [], [0], None)
    assert [read(value) for value in values] == [bool(value) for value in values]


@pytest.mark.parametrize(("value", "width"), [
    (0, 1), (-1, 1), (2**31 - 1, 1), (-2**31, 1), (2**31, 2), (-2**31 - 1, 2), (2**63 - 1, 2), (-2**63, 2), (2**63, 3),
    (2**64 - 1, 3),
])
def test_an_integer_is_read_with_its_width(control: Control, value: int, width: int) -> None:
    slot = c_long(0x5555)
    assert control.callback("read", "vers_long")(value, byref(slot)) == width
    assert slot.value % 2**64 == value % 2**64


def test_an_integer_of_more_than_64_bits_is_a_type_error(control: Control) -> None:
    with pytest.raises(TypeError, match="^can't build integer value from 'int'$"):
        control.callback("read", "vers_long")(2**64, byref(c_long()))


def test_a_float_is_read_from_what_converts_itself(control: Control) -> None:
    out = c_double()
    for value in (1.5, 7, True):
        assert control.callback("read", "float64")(value, byref(out)) == 1
        assert out.value == float(value)
    with pytest.raises(TypeError):
        control.callback("read", "float64")("1.5", byref(out))


def test_a_guid_is_read_and_built_in_managed_order(control: Control) -> None:
    value = uuid.UUID("00112233-4455-6677-8899-aabbccddeeff")
    out = ctypes.create_string_buffer(16)
    assert control.callback("read", "guid")(value, out) == 1
    assert out.raw == value.bytes_le
    assert control.callback("write", "guid")(out) == value


@pytest.mark.parametrize(("name", "value", "expected"), [
    ("boolean", 1, True), ("boolean", 0, False), ("boolean", 0x100, False),
    ("int32", -2**31, -2**31), ("uint32", 2**32 - 1, 2**32 - 1), ("int64", -2**63, -2**63),
    ("uint64", 2**64 - 1, 2**64 - 1), ("float64", 0.1, 0.1), ("character", 0x20AC, "\u20ac"),
])
def test_a_scalar_is_built(control: Control, name: str, value: float, expected: object) -> None:
    built = control.callback("write", name)(value)
    assert built == expected
    assert type(built) is type(expected)


def test_an_object_is_shown_by_its_run_time_type(control: Control) -> None:
    name = "Zelmor.Imaging.ImageOptions.DxfOptions"
    shown = control.callback("write", "tpo")(control.new_object(name), control.type_id(name))
    assert type(shown) is DxfOptions
    out = Reference()
    try_write = control.callback("tpo_api", "try_write_tpo")
    assert try_write(control.new_object(name), control.type_id(name), byref(out)) == 1
    assert type(taken(out.value)) is DxfOptions


def test_bytes_are_built_as_a_bytearray(control: Control) -> None:
    built = control.callback("single", "py_bytes")(b"a\0b", 3)
    assert type(built) is bytearray
    assert built == b"a\0b"


# Buffers


def test_a_buffer_is_held_in_managed_memory(control: Control) -> None:
    assert control.callback("buffer", "get_sizeof")() == 80
    view = ctypes.create_string_buffer(b"\x55" * 80, 80)
    control.callback("buffer", "create")(view)
    assert view.raw == bytes(80)
    data, record = bytearray(b"abc"), PyBytesArg(0, -1, None)
    assert control.callback("buffer", "read_view")(data, view, byref(record)) == 1
    assert (record.acquired, record.length, ctypes.string_at(record.data, 3)) == (1, 3, b"abc")
    with pytest.raises(BufferError):
        data.append(1)
    control.callback("buffer", "release")(view)
    data.append(1)


# Collections


def test_a_list_is_worked_on_by_reference(control: Control) -> None:
    values = [1, "two"]
    out = VariantArg()
    assert control.callback("olist", "get_item")(values, 1, byref(out)) == 0
    assert (out.tag, out.value) == (3, id(values[1]))
    assert control.callback("olist", "add")(values, reference(3.0)) == 3
    assert control.callback("olist", "insert")(values, 0, reference(0)) == 0
    assert control.callback("olist", "set_item")(values, 1, reference("one")) == 0
    assert control.callback("olist", "remove")(values, reference("two")) == 0
    assert values == [0, "one", 3.0]
    assert control.callback("olist", "index_of")(values, reference("one")) == 1
    assert control.callback("olist", "index_of")(values, reference("none")) == -1
    assert control.callback("olist", "contains")(values, reference(0)) == 1
    assert control.callback("ucol", "remove_at")(values, -1) == 0
    assert control.callback("ucol", "list_length")(values) == 2
    assert control.callback("ucol", "clear")(values) == 0
    assert values == []
    with pytest.raises(IndexError):
        control.callback("olist", "get_item")(values, 0, byref(out))


def test_elements_that_come_in_are_not_kept(control: Control) -> None:
    values: Kept = []
    element = object()
    before = sys.getrefcount(element)
    control.callback("olist", "add")(values, reference(element))
    control.callback("olist", "contains")(values, reference(element))
    control.callback("olist", "index_of")(values, reference(element))
    control.callback("oseq", "contains")((element,), reference(element))
    control.callback("oseq", "index_of")((element,), reference(element))
    assert sys.getrefcount(element) == before + 1
    control.callback("olist", "remove")(values, reference(element))
    assert sys.getrefcount(element) == before


def test_a_list_of_known_size_is_filled_in_place(control: Control) -> None:
    made = Reference()
    items = control.callback("ucol", "create_fast_list")(2, byref(made))
    for index, value in enumerate(("a", 5)):
        control.callback("olist", "set_fast_item")(items, index, reference(value))
    assert taken(made.value) == ["a", 5]


@pytest.mark.parametrize(("name", "kind"), [
    ("write_clr_ilist", "_IListWrapper"),
    ("write_clr_arrlist", "_ArrListWrapper"),
    ("write_clr_array", "_ArrayWrapper"),
])
def test_a_managed_collection_is_shown_as_its_kind(control: Control, name: str, kind: str) -> None:
    shown = control.callback("olist", name)(control.new_object("Zelmor.Imaging.ImageOptions.DxfOptions"))
    assert type(shown).__name__ == kind


def test_a_sequence_is_read_and_searched(control: Control) -> None:
    out = VariantArg()
    point = Point(1, 2)
    values = (point, None)
    assert control.callback("oseq", "get_item")(values, 0, byref(out)) == 0
    assert out.tag == 2
    ctypes.pythonapi.Py_DecRef(py_object(point))  # the reference that goes with the variant
    assert control.callback("oseq", "contains")(values, reference(Point(1, 2))) == 1
    assert control.callback("oseq", "index_of")(values, reference(None)) == 1


def test_an_iterator_is_walked(control: Control) -> None:
    iterator = control.callback("ucol", "get_enumerator")(["x"])
    owner, out = Reference(), VariantArg()
    step = control.callback("iter", "next")
    assert step(iterator, byref(owner), byref(out)) == 0
    assert taken(owner.value) == "x"
    assert out.tag == 3
    assert step(iterator, byref(owner), byref(out)) == 1


def test_a_unicode_image_starts_one_unit_behind_its_length(control: Control) -> None:
    owner, length, data = Reference(), c_uint(), c_void_p()
    assert control.callback("ucol", "get_unicode_bytes")("ab\u20ac", byref(owner), byref(length), byref(data)) == 1
    image = taken(owner.value)
    assert image == b"\xff\xfe" + "ab\u20ac".encode("utf-16-le")
    assert length.value == 3


# Files


def test_a_file_is_worked_on(control: Control) -> None:
    file = io.BytesIO(b"abcdef")
    memory = ctypes.create_string_buffer(4)
    rawio = {entry[0]: control.callback("rawio", entry[0]) for entry in TABLES["rawio"]}
    assert rawio["read"](file, memory, 4) == 4
    assert memory.raw == b"abcd"
    assert rawio["readbyte"](file) == ord("e")
    assert rawio["length"](file) == 6
    assert rawio["tell"](file) == 5
    assert rawio["seek"](file, -1, 2) == 5
    assert rawio["write"](file, ctypes.create_string_buffer(b"XY"), 2) == 2
    assert rawio["write_byte"](file, ord("Z")) == 1
    assert rawio["readbyte"](file) == -1
    assert rawio["flush"](file) == 0
    assert file.getvalue() == b"abcdeXYZ"
    assert [rawio[name](file) for name in ("readable", "writable", "seekable")] == [1, 1, 1]
    rawio["close"](file)
    assert file.closed
    assert [rawio[name](file) for name in ("readable", "writable", "seekable")] == [0, 0, 0]
    assert rawio["length"](file) == -3


def test_the_error_of_a_file_reaches_the_caller(control: Control) -> None:
    class Broken(io.RawIOBase):
        def readinto(self, buffer: Any) -> int:
            raise KeyError("broken")

    with pytest.raises(KeyError, match="broken"):
        control.callback("rawio", "read")(Broken(), ctypes.create_string_buffer(4), 4)


# Errors


def test_without_an_error_there_is_nothing_to_collect(control: Control) -> None:
    owner, text = Reference(7), PyStringArg(5, 6, 8)
    assert control.callback("single", "catch_and_clear_error")(byref(owner), byref(text)) == -1
    assert (owner.value, text.length, text.char_size, text.data) == (7, 5, 6, 8)


def test_a_managed_exception_can_be_raised_by_hand(control: Control) -> None:
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): detail$"):
        control.callback("single", "exception")(reference("X"), reference("detail"))
