"""Prints what a class that is a collection itself has beyond other classes: slots, shared methods, the length.

The operations are those of the interop wrappers. A class that is indexed by one of its properties has slots that ask
that property.
"""

from __future__ import annotations

from ...model import Type
from ..cpp_text import function, quoted, table
from . import members

_METHOD_FLAGS = {"insert": "METH_VARARGS", "pop": "METH_VARARGS", "index": "METH_VARARGS",
                 "sort": "METH_VARARGS | METH_KEYWORDS",
                 "clear": "METH_NOARGS", "reverse": "METH_NOARGS", "copy": "METH_NOARGS"}
_COUNTED = (("sq_length", "sq_length"), ("sq_concat", "sq_concat"), ("sq_repeat", "sq_repeat"))
_INDEXED = (("sq_item", "sq_item"), ("sq_ass_item", "sq_ssitem"))
_GROWING = (("sq_inplace_concat", "sq_inplace_concat"), ("sq_inplace_repeat", "sq_inplace_repeat"))
_MAPPING = (("mp_subscript", "mp_subscript"), ("mp_ass_subscript", "mp_ssubscript"))


def operations(entry: Type) -> str:
    """The interop kind whose operations the class has, or nothing."""
    if "_IListWrapper" in entry.interfaces:
        return "ilist"
    return "icol" if "_IColWrapper" in entry.interfaces else ""


def shared_methods(entry: Type) -> list[str]:
    """The rows of the shared methods in the method table."""
    rows = []
    for name in entry.shared:
        if name == "length":
            continue
        symbol = f"&wrpPye_bltp_{operations(entry)}_{name}"
        if name == "sort":
            symbol = f"ZELMOR_KEYWORD_METHOD({symbol})"
        rows.append(f"{{{quoted(name)}, {symbol}, {_METHOD_FLAGS.get(name, 'METH_O')}, nullptr}}")
    return rows


def shared_properties(entry: Type) -> list[str]:
    """The row of the length in the property table."""
    if "length" not in entry.shared:
        return []
    return [f'{{"length", &wrpPye_bltp_{operations(entry)}_get_length, nullptr, nullptr, nullptr}}']


def _slots(kind: str, pairs: tuple[tuple[str, str], ...]) -> list[str]:
    return [f".{slot} = &wrpPye_bltp_{kind}_{operation}" for slot, operation in pairs]


def _item_slots(entry: Type) -> list[str]:
    """Slots that ask the property by which the class is indexed."""
    assert entry.items is not None
    symbol, getter = entry.symbol, f"&{members.property_symbol(entry.items, 'get')}"
    return [
        *function(f"static Py_ssize_t wrpPy_sqfn_{symbol}_length(PyObject* self)",
                  [f"return zelmor::items_length(self, {getter});"]),
        *function(f"static PyObject* wrpPy_sqfn_{symbol}_item(PyObject* self, Py_ssize_t index)",
                  [f"return zelmor::items_item(self, {getter}, index);"]),
        *function(f"static PyObject* wrpPy_sqfn_{symbol}_subscript(PyObject* self, PyObject* key)",
                  [f"return zelmor::items_subscript(self, {getter}, key);"]),
        *table(f"static PySequenceMethods wrpPy_tysd_{symbol}",
               [f".sq_length = &wrpPy_sqfn_{symbol}_length", f".sq_item = &wrpPy_sqfn_{symbol}_item"]),
        *table(f"static PyMappingMethods wrpPy_tygd_{symbol}", [f".mp_subscript = &wrpPy_sqfn_{symbol}_subscript"])]


def write_slots(entry: Type) -> list[str]:
    """The sequence and mapping records of a class that has them."""
    if entry.items is not None:
        return _item_slots(entry)
    kind, symbol = operations(entry), entry.symbol
    if not entry.shared:
        return []
    contains = (("sq_contains", "sq_contains"),)
    pairs = _COUNTED + (_INDEXED + contains + _GROWING if kind == "ilist" else contains)
    lines = table(f"static PySequenceMethods wrpPy_tysd_{symbol}", _slots(kind, pairs))
    if kind == "ilist":
        lines += table(f"static PyMappingMethods wrpPy_tygd_{symbol}", _slots(kind, _MAPPING))
    return lines


def record_rows(entry: Type) -> tuple[list[str], list[str]]:
    """The rows of the type record that name the slots: those before `tp_hash` and the iterator's."""
    slots = []
    if entry.items is not None or entry.shared:
        slots.append(f".tp_as_sequence = &wrpPy_tysd_{entry.symbol}")
    if entry.items is not None or (entry.shared and operations(entry) == "ilist"):
        slots.append(f".tp_as_mapping = &wrpPy_tygd_{entry.symbol}")
    enumerable = entry.kind == "class" and "_IterableWrapper" in entry.interfaces
    return slots, [".tp_iter = &wrpPye_bltp_iterable_iter"] if enumerable else []
