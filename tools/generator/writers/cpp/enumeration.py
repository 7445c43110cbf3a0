"""Prints an enumeration: its host, its converters, its operations and the initializer that makes the class."""

from __future__ import annotations

from ...model import Type
from ..cpp_text import function, quoted, table
from . import casts
from .host import host_name, host_of, write_host
from .words import FORMS

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
    assert entry.width is not None
    return FORMS[entry.width.form]


def _symbol(entry: Type, operation: str) -> str:
    return f"wrpPy_blts_{entry.symbol}_000_{operation.lstrip('_')}"


def _validity(entry: Type) -> list[str]:
    state = f"wrpPy_uafn_{entry.symbol}_get_aggregate_host_state"
    return [*function(f"[[gnu::noinline]] static const PyHostState& {state}()", [
        f"static const PyHostState state = zelmor::aggregate_host_state({host_of(entry)}.is_not_valid(), "
        f"{host_of(entry)}.error_msg(), {{}});", "return state;"]),
        *function(f"int wrpPy_uafn_{entry.symbol}_invalidate()", [f"return zelmor::guard_type<&{state}>();"])]


def _converters(entry: Type) -> list[str]:
    cpp, symbol = integer_type(entry), entry.symbol
    return [*function(f"int wrpPy_conv_py_to_clr_{symbol}(PyObject* value, {cpp}* out)", [
        f"return zelmor::convert_enum_argument(value, wrpPy_tyds_{symbol}, {quoted(entry.name)}, out);"]),
        *function(f"PyObject* wrpPy_conv_clr_to_py_{symbol}({cpp} value)",
                  [f"return zelmor::convert_enum_result(value, wrpPy_tyds_{symbol});"])]


def _operations(entry: Type) -> list[str]:
    family = f"wrpPy_cast_{entry.symbol}"
    lines = [f"static constexpr zelmor::EnumCastFamily<{integer_type(entry)}> {family} = {{&wrpPy_tyds_{entry.symbol}, "
             f"&wrpPy_uafn_{entry.symbol}_invalidate, &zelmor::casts_of<{host_name(entry)}>}};", ""]
    own = [name for name, _ in casts.OPERATIONS if name != "_cast_from"]
    lines += [*casts.entries(family, f"wrpPy_blts_{entry.symbol}_000", own), ""]
    for operation, service, show in (("_as_uni_enum", "btp_AsUniEnum", "wrpPyl_convcaps_clr_to_py_738AFABA_Enum"),
                                     ("get_type", "btp_GetType", "&zelmor::finish_type_of")):
        lines += function(f"static PyObject* {_symbol(entry, operation)}(PyObject* self, PyObject*)", [
            f"const auto service = []({integer_type(entry)} value, void** out) "
            f"{{ return {host_of(entry)}->{service}(value, out); }};",
            f"return zelmor::ask_of_member({family}, self, +service, {show});"])
    return lines


def _initializer(entry: Type) -> list[str]:
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
            *write_host(entry), *_validity(entry), *_converters(entry), *_operations(entry), *_initializer(entry)]
