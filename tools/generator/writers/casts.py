"""Prints the cast family of a wrapper type."""

from __future__ import annotations

from ..model import Type
from .members import guard, host_of
from .text import function

# Python name, whether it is called on the type, table flags.
OPERATIONS = (
    ("_type_of", "METH_NOARGS | METH_STATIC"),
    ("_cast_to", "METH_O | METH_STATIC"),
    ("_cast_from", "METH_O"),
    ("_reinterpret_obj", "METH_O | METH_STATIC"),
    ("_cast_as", "METH_O | METH_STATIC"),
    ("_is_assignable", "METH_O | METH_STATIC"),
)

_NO_CAST = ["    return zelmor::no_cast();", "}"]


def symbol(entry: Type, operation: str) -> str:
    """The function behind an operation; stubs are shared by all types."""
    own = f"wrpPy_blts_{entry.symbol}_000{operation}"
    if operation == "_cast_from" and not entry.cast_from:
        return "zelmor::cast_stub"
    if entry.kind == "static class":
        return {"_cast_to": "zelmor::cast_stub", "_cast_as": "zelmor::cast_stub",
                "_is_assignable": "zelmor::never_assignable"}.get(operation, own)
    return own


def write_type_of(entry: Type) -> list[str]:
    """`T._type_of()`."""
    return function(f"static PyObject* wrpPy_blts_{entry.symbol}_000_type_of(PyObject*, PyObject*)", [
        *guard(entry), "void* out = nullptr;", f"{host_of(entry)}.btp_TypeOf(&out);",
        "return zelmor::finish_type_of(out);"])


def _cast(entry: Type, operation: str, service: str, slot: str, reader: str, passed: str) -> list[str]:
    return function(f"static PyObject* wrpPy_blts_{entry.symbol}_000{operation}(PyObject*, PyObject* value)", [
        *guard(entry), slot, f"if (!{reader}(value, &from)) {{", *_NO_CAST, "void* out = nullptr;",
        f"const int status = {host_of(entry)}.{service}({passed}, &out);",
        f"return zelmor::finish_cast(status, out, &wrpPy_tyds_{entry.symbol});"])


def _is_assignable(entry: Type, slot: str, reader: str, passed: str) -> list[str]:
    return function(f"static PyObject* wrpPy_blts_{entry.symbol}_000_is_assignable(PyObject*, PyObject* value)", [
        *guard(entry), slot, f"if (!{reader}(value, &from)) {{", "    Py_RETURN_FALSE;", "}",
        f"return zelmor::finish_is_assignable({host_of(entry)}.btp_IsAssignable({passed}));"])


def _cast_from(entry: Type) -> list[str]:
    return function(f"static PyObject* wrpPy_blts_{entry.symbol}_000_cast_from(PyObject* self, PyObject* type)", [
        "void* type_handle = nullptr;", "if (!zelmor::read_cast_target(type, &type_handle)) {", "    return nullptr;",
        "}", "void* out = nullptr;",
        f"const int status = {host_of(entry)}.btp_CastFrom(zelmor::handle_of(self), type_handle, &out);",
        "return zelmor::finish_cast_from(status, out);"])


def _reinterpret(entry: Type) -> list[str]:
    head = f"static PyObject* wrpPy_blts_{entry.symbol}_000_reinterpret_obj(PyObject*, PyObject* value)"
    if entry.kind in ("interface", "static class"):
        return function(head, [f"return zelmor::refuse_reinterpret(value, &wrpPy_tyds_{entry.symbol});"])
    return function(head, [
        *guard(entry), "void* object = nullptr;", "if (!zelmor::read_reinterpreted(value, &object)) {",
        "    return nullptr;", "}", "void* out = nullptr;",
        f"{host_of(entry)}.btp_ReInterpretObj(object, &out);",
        "if (PyErr_Occurred()) {", "    return nullptr;", "}",
        f"return wrpPy_conv_clr_to_py_{entry.symbol}(out);"])


def write_casts(entry: Type) -> list[str]:
    """All operations that are the type's own."""
    lines = write_type_of(entry)
    if entry.kind == "static class":
        return lines + _reinterpret(entry)
    variant = entry.kind in ("struct", "interface")
    record = ("VariantArg from{};", "fn_conv_py_obj_to_clr_gen_not_null_handle", "&from")
    handle = ("void* from = nullptr;", "fn_conv_py_obj_to_clr_refobj_not_null_handle", "from")
    lines += _cast(entry, "_cast_to", "btp_CastTo", "VariantArg from{};", "fn_conv_py_obj_to_clr_gen_handle", "&from")
    if entry.cast_from:
        lines += _cast_from(entry)
    lines += _reinterpret(entry)
    lines += _cast(entry, "_cast_as", "btp_CastAs", *(record if variant else handle))
    lines += _is_assignable(entry, *(record if variant else handle))
    return lines
