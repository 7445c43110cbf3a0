"""The callbacks that a module hands over, by table and name, with their C types, so that a test can call them as the
managed side does."""

from __future__ import annotations

import ctypes
from ctypes import POINTER, c_bool, c_char_p, c_double, c_int, c_long, c_size_t, c_uint, c_ulong, c_void_p, py_object
from typing import Any

from .records import PyBytesArg, PyStringArg, VariantArg

#: A Python reference that a callback takes over or fills in, as a plain pointer: the test counts the references itself.
Reference = c_void_p

#: For each table, its slots in order: name, result type, argument types.
TABLES: dict[str, list[tuple[Any, ...]]] = {
    "single": [
        ("exception", None, Reference, Reference),
        ("catch_and_clear_error", c_int, POINTER(Reference), POINTER(PyStringArg)),
        ("u16_buffer", c_void_p, c_void_p, c_int),
        ("py_string", py_object, c_void_p, c_int),
        ("py_unraisable_string", Reference, c_void_p, c_int),
        ("py_bytes", py_object, c_char_p, c_int),
    ],
    "obj_api": [
        ("get_none", py_object),
        ("inc_ref", None, Reference),
        ("dec_ref", None, Reference),
    ],
    "read": [
        ("string", c_int, py_object, POINTER(PyStringArg)),
        ("boolean", c_bool, py_object),
        ("vers_long", c_int, py_object, c_void_p),
        ("float64", c_int, py_object, POINTER(c_double)),
        ("decimal", c_int, py_object, POINTER(c_uint)),
        ("decimal_tuple", c_int, py_object, POINTER(c_uint)),
        ("vers_datetime", c_int, py_object, POINTER(c_long)),
        ("vers_date", c_int, py_object, POINTER(c_long)),
        ("vers_time", c_int, py_object, POINTER(c_long)),
        ("datetimedelta", c_int, py_object, POINTER(c_long)),
        ("guid", c_int, py_object, c_void_p),
    ],
    "write": [
        ("tpo", py_object, c_void_p, c_long),
        ("boolean", py_object, c_int),
        ("int32", py_object, c_int),
        ("uint32", py_object, c_uint),
        ("int64", py_object, c_long),
        ("uint64", py_object, c_ulong),
        ("float64", py_object, c_double),
        ("decimal", py_object, POINTER(c_uint)),
        ("date_time", py_object, POINTER(c_long)),
        ("date_time_offset", py_object, POINTER(c_long)),
        ("datetimedelta", py_object, c_long),
        ("timezone", py_object, c_void_p, c_int, c_long),
        ("guid", py_object, c_void_p),
        ("character", py_object, c_int),
    ],
    "buffer": [
        ("get_sizeof", c_size_t),
        ("create", None, c_void_p),
        ("read_view", c_int, py_object, c_void_p, POINTER(PyBytesArg)),
        ("release", None, c_void_p),
    ],
    "tpo_api": [("try_write_tpo", c_int, c_void_p, c_long, POINTER(Reference))],
    "iter": [("next", c_int, py_object, POINTER(Reference), POINTER(VariantArg))],
    "ucol": [
        ("list_length", c_int, py_object),
        ("list_longlength", c_long, py_object),
        ("remove_at", c_int, py_object, c_int),
        ("clear", c_int, py_object),
        ("sequence_length", c_int, py_object),
        ("sequence_longlength", c_long, py_object),
        ("get_enumerator", py_object, py_object),
        ("object_length", c_int, py_object),
        ("create_fast_list", c_void_p, c_int, POINTER(Reference)),
        ("create_fast_longlist", c_void_p, c_long, POINTER(Reference)),
        ("get_unicode_bytes", c_int, py_object, POINTER(Reference), POINTER(c_uint), POINTER(c_void_p)),
    ],
    "olist": [
        ("get_item", c_int, py_object, c_int, POINTER(VariantArg)),
        ("set_item", c_int, py_object, c_int, Reference),
        ("add", c_long, py_object, Reference),
        ("insert", c_int, py_object, c_int, Reference),
        ("remove", c_int, py_object, Reference),
        ("contains", c_int, py_object, Reference),
        ("index_of", c_int, py_object, Reference),
        ("set_fast_item", None, c_void_p, c_int, Reference),
        ("write_clr_ilist", py_object, c_void_p),
        ("write_clr_arrlist", py_object, c_void_p),
        ("write_clr_array", py_object, c_void_p),
    ],
    "oseq": [
        ("get_item", c_int, py_object, c_int, POINTER(VariantArg)),
        ("contains", c_int, py_object, Reference),
        ("index_of", c_int, py_object, Reference),
    ],
    "rawio": [
        ("write", c_int, py_object, c_void_p, c_int),
        ("write_byte", c_int, py_object, c_int),
        ("read", c_int, py_object, c_void_p, c_int),
        ("readbyte", c_int, py_object),
        ("seek", c_long, py_object, c_long, c_int),
        ("flush", c_int, py_object),
        ("close", None, py_object),
        ("readable", c_int, py_object),
        ("writable", c_int, py_object),
        ("seekable", c_int, py_object),
        ("tell", c_long, py_object),
        ("length", c_long, py_object),
    ],
}


def slot_of(table: str, name: str) -> int:
    """The position of a callback in its table."""
    return next(slot for slot, entry in enumerate(TABLES[table]) if entry[0] == name)


def prototype(table: str, name: str) -> Any:
    """The function type of a callback. A call through it raises the Python error that the callback left pending."""
    _, result, *arguments = TABLES[table][slot_of(table, name)]
    return ctypes.PYFUNCTYPE(result, *arguments)
