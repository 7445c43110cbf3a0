"""Prints the cast family of a wrapper type: the record that says how the type does the operations, and an entry for
each."""

from __future__ import annotations

from ...model import Type
from ..cpp_text import function
from .host import host_name, host_of

# Python name, table flags.
OPERATIONS = (
    ("_type_of", "METH_NOARGS | METH_STATIC"),
    ("_cast_to", "METH_O | METH_STATIC"),
    ("_cast_from", "METH_O"),
    ("_reinterpret_obj", "METH_O | METH_STATIC"),
    ("_cast_as", "METH_O | METH_STATIC"),
    ("_is_assignable", "METH_O | METH_STATIC"),
)

# How each kind of type does them: the shapes that the record can name.
_SHAPES = {"class": "kClassCasts", "struct": "kStructCasts", "interface": "kInterfaceCasts",
           "static class": "kStaticClassCasts"}


def symbol(entry: Type, operation: str) -> str:
    """The function behind an operation."""
    if operation == "_cast_from" and not entry.cast_from:
        return "zelmor::cast_stub"
    return f"wrpPy_blts_{entry.symbol}_000{operation}"


def entries(family: str, prefix: str, operations: list[str]) -> list[str]:
    """One function a line: `prefix` and the operation are its name, and the record is handed to the family."""
    lines = []
    for operation in operations:
        name, passed = (" value", ", value") if operation != "_type_of" else ("", "")
        shared = "cast" + operation.removeprefix("_cast")
        lines.append(f"static PyObject* {prefix}{operation}(PyObject*, PyObject*{name}) "
                     f"{{ return zelmor::{shared}({family}{passed}); }}")
    return lines


def _cast_from(entry: Type) -> list[str]:
    return function(f"static PyObject* wrpPy_blts_{entry.symbol}_000_cast_from(PyObject* self, PyObject* type)", [
        "void* type_handle = nullptr;", "if (!zelmor::read_cast_target(type, &type_handle)) {", "    return nullptr;",
        "}", "void* out = nullptr;",
        f"const int status = {host_of(entry)}->btp_CastFrom(zelmor::handle_of(self), type_handle, &out);",
        "return zelmor::finish_cast_from(status, out);"])


def write_casts(entry: Type) -> list[str]:
    """The record and the entries."""
    family = f"wrpPy_cast_{entry.symbol}"
    lines = [f"static constexpr zelmor::CastFamily {family} = {{&wrpPy_tyds_{entry.symbol}, "
             f"&wrpPy_uafn_{entry.symbol}_invalidate, "
             f"&zelmor::casts_of<{host_name(entry)}>, zelmor::{_SHAPES[entry.kind]}}};", ""]
    own = [name for name, _ in OPERATIONS if name != "_cast_from"]
    lines += [*entries(family, f"wrpPy_blts_{entry.symbol}_000", own), ""]
    return lines + (_cast_from(entry) if entry.cast_from else [])
