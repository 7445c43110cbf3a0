"""Prints the header that all generated sources of an assembly share: what types call of each other."""

from __future__ import annotations

from ...model import Model, Type
from ..cpp_text import guarded
from . import members
from .enumeration import integer_type
from .host import write_services
from .typed_collections import write_declarations
from .wrapper import needs_post_initializer

_INCLUDES = (
    "collections/class_items.h", "collections/interop.h", "collections/interop_operations.h", "convert/bytes.h",
    "convert/dates.h", "convert/decimal.h", "convert/scalars.h", "convert/small_values.h", "convert/strings.h",
    "convert/variant.h", "exchange/records.h", "exchange/type_host.h", "exchange/wire/tags.h", "pyshell/arguments.h",
    "pyshell/casts.h", "pyshell/class_recipe.h", "pyshell/descriptors.h", "pyshell/enum_types.h",
    "pyshell/host_class.h", "pyshell/markers.h", "pyshell/module_plan.h", "pyshell/overload.h",
    "pyshell/result_typing.h", "pyshell/sibling_converters.h",
)


def _wrapper(entry: Type) -> list[str]:
    symbol = entry.symbol
    lines = [f"extern PyTypeObject wrpPy_tyds_{symbol};", f"int wrpPy_uafn_{symbol}_invalidate();",
             f"bool wrpPy_bltp_{symbol}_is_not_valid(std::string& message);"]
    if entry.kind != "static class":
        record = "void*" if entry.kind == "class" else "VariantArg"
        result = "const PyObjectOutArg& result" if entry.kind == "interface" else "void* handle"
        lines += [f"int wrpPy_conv_py_to_clr_{symbol}(PyObject* value, {record}* out);",
                  f"PyObject* wrpPy_conv_clr_to_py_{symbol}({result});"]
    if needs_post_initializer(entry):
        lines.append(f"int wrpPy_eypi_{symbol}();")
    for method in entry.methods:
        if method.is_group or members.inherited_by_groups(method):
            lines += [f"PyObject* {members.overload_symbol(o)}(PyObject* self, PyObject* args, PyObject* kwargs, "
                      "PyObject** error_slot);" for o in method.own if o.published is not None]
        elif method.overloads and method.own and members.simple_symbol(method).startswith("wrpPy_htfn"):
            rest = "PyObject* args, PyObject* kwargs" if method.overloads[0].params else "PyObject* ignored"
            lines.append(f"PyObject* {members.simple_symbol(method)}(PyObject* self, {rest});")
    for prop in entry.properties:
        if entry.kind == "interface" and prop.declared_by is entry and not prop.static:
            lines.append(f"PyObject* {members.property_symbol(prop, 'get')}(PyObject* self, void* closure);")
            if prop.writable:
                lines.append(f"int {members.property_symbol(prop, 'set')}(PyObject* self, PyObject* value, void*);")
    return lines


def _enumeration(entry: Type) -> list[str]:
    symbol, cpp = entry.symbol, integer_type(entry)
    return [f"extern PyTypeObject* wrpPy_tyds_{symbol};", f"PyObject* wrpPy_eypi_{symbol}();",
            f"int wrpPy_uafn_{symbol}_invalidate();",
            f"int wrpPy_conv_py_to_clr_{symbol}(PyObject* value, {cpp}* out);",
            f"PyObject* wrpPy_conv_clr_to_py_{symbol}({cpp} value);"]


def write_header(model: Model, product: str) -> list[str]:
    """The header of an assembly."""
    lines = ["#include <string>", "", *(f'#include "{name}"' for name in _INCLUDES), ""]
    for entry in model.types:
        lines += [f"// {entry.full_name}", *(_enumeration(entry) if entry.is_enum else _wrapper(entry)), ""]
    lines += write_services(model)
    lines += write_declarations(model)
    lines += [f"PyObject* wrpPy_mlit_{module.symbol}();" for module in model.modules]
    return [f"// What the types of {model.assembly} call of each other. Written by the generator.",
            *guarded(f"ZELMOR_GENERATED_{product.upper()}_H", lines)]
