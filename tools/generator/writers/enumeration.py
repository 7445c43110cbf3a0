"""Prints an enumeration: its host, its converters, its operations and the initialiser that makes the class."""

from __future__ import annotations

from ..model import Type
from . import casts
from .host import write_host
from .members import guard, host_of
from .text import function, quoted, table

# Python name, service, table flags; in the order in which the descriptors are stored.
_OPERATIONS = (
    ("_type_of", "METH_NOARGS | METH_STATIC"),
    ("_cast_to", "METH_O | METH_STATIC"),
    ("_cast_from", "METH_O"),
    ("_reinterpret_obj", "METH_O | METH_STATIC"),
    ("_as_uni_enum", "METH_NOARGS"),
    ("_cast_as", "METH_O | METH_STATIC"),
    ("_is_assignable", "METH_O | METH_STATIC"),
    ("get_type", "METH_NOARGS"),
)


def integer_type(entry: Type) -> str:
    """The C++ type of the underlying integer."""
    assert entry.width is not None and entry.width.scalar is not None
    return entry.width.scalar.cpp


def _symbol(entry: Type, operation: str) -> str:
    return f"wrpPy_blts_{entry.symbol}_000_{operation.lstrip('_')}"


def _validity(entry: Type) -> list[str]:
    state = f"wrpPy_uafn_{entry.symbol}_get_aggregate_host_state"
    return [*function(f"[[gnu::noinline]] static const PyHostState& {state}()", [
        f"static const PyHostState state = zelmor::aggregate_host_state({host_of(entry)}.is_not_valid(), "
        f"{host_of(entry)}.error_msg(), {{}});", "return state;"]),
        *function(f"int wrpPy_uafn_{entry.symbol}_invalidate()", [f"return zelmor::guard_type({state}());"])]


def _converters(entry: Type) -> list[str]:
    cpp, symbol = integer_type(entry), entry.symbol
    return [*function(f"int wrpPy_conv_py_to_clr_{symbol}(PyObject* value, {cpp}* out)", [
        f"return zelmor::convert_enum_argument(value, wrpPy_tyds_{symbol}, {quoted(entry.name)}, out);"]),
        *function(f"PyObject* wrpPy_conv_clr_to_py_{symbol}({cpp} value)",
                  [f"return zelmor::convert_enum_result(value, wrpPy_tyds_{symbol});"])]


def _cast(entry: Type, operation: str, service: str, slot: str, reader: str, passed: str) -> list[str]:
    return function(f"static PyObject* {_symbol(entry, operation)}(PyObject*, PyObject* value)", [
        *guard(entry), slot, f"if (!{reader}(value, &from)) {{", "    return zelmor::no_cast();", "}",
        f"{integer_type(entry)} out{{}};", f"const int status = {host_of(entry)}.{service}({passed}, &out);",
        f"return zelmor::finish_enum_cast(status, out, wrpPy_tyds_{entry.symbol});"])


def _of_member(entry: Type, operation: str, service: str, finish: str) -> list[str]:
    """An operation that hands the member's own integer."""
    return function(f"static PyObject* {_symbol(entry, operation)}(PyObject* self, PyObject*)", [
        *guard(entry), f"{integer_type(entry)} value{{}};", "if (!zelmor::read_enum_integer(self, &value)) {",
        "    return nullptr;", "}", "void* out = nullptr;",
        f"{host_of(entry)}.{service}(value, &out);", *finish.split("\n")])


def _operations(entry: Type) -> list[str]:
    handle = "void* from = nullptr;"
    reader = "fn_conv_py_obj_to_clr_refobj_not_null_handle"
    lines = casts.write_type_of(entry)
    lines += _cast(entry, "_cast_to", "btp_CastTo", "VariantArg from{};", "fn_conv_py_obj_to_clr_gen_handle", "&from")
    lines += function(f"static PyObject* {_symbol(entry, '_reinterpret_obj')}(PyObject*, PyObject* value)", [
        *guard(entry), "void* object = nullptr;", "if (!zelmor::read_reinterpreted(value, &object)) {",
        "    return nullptr;", "}", f"{integer_type(entry)} out{{}};",
        f"{host_of(entry)}.btp_ReInterpretObj(object, &out);",
        "if (PyErr_Occurred()) {", "    return nullptr;", "}",
        f"return zelmor::convert_enum_result(out, wrpPy_tyds_{entry.symbol});"])
    lines += _of_member(entry, "_as_uni_enum", "btp_AsUniEnum",
                        "if (PyErr_Occurred()) {\n    return nullptr;\n}\n"
                        "return wrpPyl_convcaps_clr_to_py_738AFABA_Enum(out);")
    lines += _cast(entry, "_cast_as", "btp_CastAs", handle, reader, "from")
    lines += function(f"static PyObject* {_symbol(entry, '_is_assignable')}(PyObject*, PyObject* value)", [
        *guard(entry), handle, f"if (!{reader}(value, &from)) {{", "    Py_RETURN_FALSE;", "}",
        f"return zelmor::finish_is_assignable({host_of(entry)}.btp_IsAssignable(from));"])
    return lines + _of_member(entry, "get_type", "btp_GetType", "return zelmor::finish_type_of(out);")


def _initialiser(entry: Type) -> list[str]:
    lines, names = [], []
    for operation, flags in _OPERATIONS:
        name = f"wrpPy_amml_{entry.symbol}_000_{operation.lstrip('_')}"
        target = "zelmor::cast_stub" if operation == "_cast_from" else _symbol(entry, operation)
        lines.append(f"static PyMethodDef {name} = {{{quoted(operation)}, &{target}, {flags}, nullptr}};")
        names.append(f"&{name}")
    suffix = {"uint32": "u", "uint64": "ul"}.get(entry.width.name if entry.width else "", "")
    rows = [f"{{{quoted(name)}, {value}{suffix}}}" if value != -2147483648 else f"{{{quoted(name)}, -2147483647 - 1}}"
            for name, value in entry.values]
    members = f"static constexpr zelmor::EnumMember<{integer_type(entry)}> wrpPy_emem_{entry.symbol}[]"
    operations = f"static PyMethodDef* const wrpPy_amms_{entry.symbol}[zelmor::kEnumOperationCount]"
    lines += ["", *table(members, rows), *table(operations, names)]
    return lines + function(f"PyObject* wrpPy_eypi_{entry.symbol}()", [
        f"PyObject* made = zelmor::make_enum_class({quoted(entry.name)}, {'true' if entry.flags else 'false'}, "
        f"zelmor::make_enum_members(wrpPy_emem_{entry.symbol}));",
        f"wrpPy_tyds_{entry.symbol} = reinterpret_cast<PyTypeObject*>(made);",
        f"return made == nullptr ? nullptr : zelmor::equip_enum_class(made, wrpPy_amms_{entry.symbol});"])


def write_enumeration(entry: Type, product: str) -> list[str]:
    """The source file of an enumeration."""
    return [f"// {entry.full_name}: written by the generator from {entry.place.path.name}.",
            f'#include "generated/{product}/{product}.h"', "",
            f"PyTypeObject* wrpPy_tyds_{entry.symbol} = nullptr;", "",
            *write_host(entry), *_validity(entry), *_converters(entry), *_operations(entry), *_initialiser(entry)]
