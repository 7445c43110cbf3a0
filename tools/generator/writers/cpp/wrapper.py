"""Prints a wrapper type: its host, its functions, its tables and its static record."""

from __future__ import annotations

from ...model import Method, Property, Type
from ..cpp_text import function, quoted, table
from . import casts, collection_slots, members
from .host import host_of, write_host

# The part of a symbol that stands for an interface of the .NET library.
_INTEROP_SYMBOLS = {"_IDisposableWrapper": "idisposable", "_IterWrapper": "iter", "_IterableWrapper": "iterable",
                    "_IColWrapper": "icol", "_IListWrapper": "ilist"}


def _probe(reference: Type | str) -> str:
    if isinstance(reference, str):
        return f"&wrpPye_bltp_{_INTEROP_SYMBOLS[reference]}_is_not_valid"
    return f"&wrpPy_bltp_{reference.symbol}_is_not_valid"


def _validity(entry: Type) -> list[str]:
    probes = ", ".join(_probe(reference) for reference in entry.referenced())
    state = f"wrpPy_uafn_{entry.symbol}_get_aggregate_host_state"
    lines = function(f"[[gnu::noinline]] static const PyHostState& {state}()", [
        f"static const PyHostState state = zelmor::aggregate_host_state({host_of(entry)}.is_not_valid(), "
        f"{host_of(entry)}.error_msg(), {{{probes}}});", "return state;"])
    lines += function(f"int wrpPy_uafn_{entry.symbol}_invalidate()", [f"return zelmor::guard_type<&{state}>();"])
    return lines + function(f"bool wrpPy_bltp_{entry.symbol}_is_not_valid(std::string& message)",
                            [f"return zelmor::report_validity({state}(), message);"])


def _argument_converter(entry: Type) -> list[str]:
    symbol = entry.symbol
    variant = entry.kind in ("struct", "interface")
    signature = f"int wrpPy_conv_py_to_clr_{symbol}(PyObject* value, {'VariantArg' if variant else 'void*'}* out)"
    exact = f"Py_TYPE(value) == &wrpPy_tyds_{symbol}"
    handle = "zelmor::handle_of(value)"
    body: list[str] = []
    if entry.kind == "class":
        body += ["if (value == Py_None) {", "    *out = nullptr;", "    return 1;", "}",
                 f"if ({exact} || PyType_IsSubtype(Py_TYPE(value), &wrpPy_tyds_{symbol})) {{",
                 f"    *out = {handle};", "    return 1;", "}"]
        reader, passed = "fn_conv_py_obj_to_clr_refobj_not_null_handle", "*out"
    else:
        if entry.kind == "interface":
            body += ["if (value == Py_None) {", "    *out = VariantArg{};", "    return 1;", "}"]
        tag = "kHandleStruct" if entry.kind == "struct" else "kHandleObject"
        body += [f"if ({exact}) {{", f"    *out = VariantArg{{{tag}, {handle}}};", "    return 1;", "}"]
        if entry.kind == "interface":
            body += ["int kind = 0;", "if (fn_is_this_module_clr_instance(value, &kind) && "
                     f"fn_contains_additional_ifc_markattr(value, &wrpPy_tyds_{symbol})) {{",
                     f"    *out = VariantArg{{kind, {handle}}};", "    return 1;", "}"]
        reader, passed = "fn_conv_py_obj_to_clr_gen_not_null_handle", "out"
    body += [f"if ({reader}(value, out)) {{", f"    if (wrpPy_uafn_{symbol}_invalidate() != 0) {{", "        return 0;",
             "    }", f"    return zelmor::accept_assignable({host_of(entry)}->btp_IsAssignable({passed}), "
             f"{quoted(entry.name)}, value);", "}", f"return zelmor::refuse_value({quoted(entry.name)}, value);"]
    return function(signature, body)


def _converters(entry: Type) -> list[str]:
    if entry.kind == "static class":
        return []
    lines = _argument_converter(entry)
    if entry.kind == "interface":
        return lines + function(f"PyObject* wrpPy_conv_clr_to_py_{entry.symbol}(const PyObjectOutArg& result)",
                                [f"return fn_conv_clr_ifcimpl_to_py_ifcimpl(result, &wrpPy_tyds_{entry.symbol});"])
    return lines + function(f"PyObject* wrpPy_conv_clr_to_py_{entry.symbol}(void* handle)",
                            [f"return fn_conv_clr_clsobj_to_py_clsobj(handle, &wrpPy_tyds_{entry.symbol});"])


def _allocation(entry: Type) -> list[str]:
    return function(
        f"static PyObject* wrpPy_tpsb_{entry.symbol}_tp_new(PyTypeObject* type, PyObject*, PyObject*)",
        [*members.guard(entry), "return zelmor::make_empty_wrapper(type);"])


def _definition(name: str, symbol: str, flags: str) -> str:
    return f"{{{quoted(name)}, {symbol}, {flags}, nullptr}}"


def _method_definition(name: str, method: Method, symbol: str) -> str:
    static = " | METH_STATIC" if method.static else ""
    if method.is_group or method.overloads[0].params:
        return _definition(name, f"ZELMOR_KEYWORD_METHOD(&{symbol})", "METH_VARARGS | METH_KEYWORDS" + static)
    return _definition(name, f"&{symbol}", "METH_NOARGS" + static)


def _method_rows(entry: Type) -> list[str]:
    rows = []
    if entry.disposable:
        rows += ['{"__enter__", &wrpPye_bltp_idisposable_enter, METH_NOARGS, nullptr}',
                 '{"__exit__", &wrpPye_bltp_idisposable_exit, METH_VARARGS, nullptr}']
    listed = [method for method in entry.methods if method.overloads and not method.mixed]
    for method in sorted(listed, key=lambda method: not method.is_group):
        rows.append(_method_definition(method.python, method, members.method_symbol(method)))
    rows += collection_slots.shared_methods(entry)
    kind = "Struct" if entry.kind == "struct" else "Object"
    rows.append(_definition("get_type", f"ZELMOR_SELF_METHOD(&wrapClr{kind}_get_type)", "METH_NOARGS"))
    for prop in entry.static_writers:
        rows.append(_definition(f"set_{prop.python}", f"&{members.property_symbol(prop, 'set')}",
                                "METH_O | METH_STATIC"))
    for operation, flags in casts.OPERATIONS:
        rows.append(_definition(operation, f"&{casts.symbol(entry, operation)}", flags))
    return [*rows, "{nullptr, nullptr, 0, nullptr}"]


def _instance_properties(entry: Type) -> list[Property]:
    return [prop for prop in entry.properties if not prop.static]


def _static_properties(entry: Type) -> list[Property]:
    return [prop for prop in entry.properties if prop.static]


def _property_rows(entry: Type) -> list[str]:
    rows = collection_slots.shared_properties(entry)
    for prop in _instance_properties(entry):
        setter = f"&{members.property_symbol(prop, 'set')}" if prop.writable else "nullptr"
        getter = f"&{members.property_symbol(prop, 'get')}"
        rows.append(f"{{{quoted(prop.python)}, {getter}, {setter}, nullptr, nullptr}}")
    return [*rows, "{nullptr, nullptr, nullptr, nullptr, nullptr}"] if rows else []


def _mixed(entry: Type) -> list[Method]:
    return [method for method in entry.methods if method.mixed and method.overloads and method.static_overload]


def _mixed_entries(entry: Type) -> list[str]:
    lines = []
    for method in _mixed(entry):
        assert method.static_overload is not None
        on_class = Method(entry, method.python, [method.static_overload])
        for number, side in ((0, method), (1, on_class)):
            row = _method_definition(method.python, side, members.method_symbol(side))
            lines.append(f"static PyMethodDef wrpPy_mxml_{entry.symbol}_{number:03}_{method.python} = {row};")
    return [*lines, ""] if lines else []


def needs_post_initializer(entry: Type) -> bool:
    """Whether something has to be added to the type's dictionary that its static record cannot hold."""
    return bool(_static_properties(entry) or _mixed(entry))


def _post_initializer(entry: Type) -> list[str]:
    if not needs_post_initializer(entry):
        return []
    record = f"&wrpPy_tyds_{entry.symbol}"
    lines = []
    for prop in _static_properties(entry):
        row = f"{{{quoted(prop.python)}, &{members.property_symbol(prop, 'get')}, nullptr, nullptr, nullptr}}"
        lines.append(f"static PyGetSetDef wrpPy_sgsf_{entry.symbol}_000_{prop.python} = {row};")
    lines += ["", *_mixed_entries(entry)]
    body: list[str] = []
    if _static_properties(entry):
        fields = ", ".join(f"&wrpPy_sgsf_{entry.symbol}_000_{prop.python}" for prop in _static_properties(entry))
        body += [f"static PyGetSetDef* const kFields[] = {{{fields}}};", "for (PyGetSetDef* field : kFields) {",
                 f"    PyObject* descriptor = PyShDescr_NewStaticField({record}, field);",
                 f"    if (zelmor::store_static_member({record}, field->name, descriptor) != 0) {{",
                 "        return -1;", "    }", "}"]
    for method in _mixed(entry):
        stem = f"&wrpPy_mxml_{entry.symbol}_"
        entries = f"{stem}001_{method.python}, {stem}000_{method.python}"
        body += [f"if (zelmor::store_static_member({record}, {quoted(method.python)}, "
                 f"PyShDescr_NewMixedMethod({record}, {entries})) != 0) {{",
                 "    return -1;", "}"]
    return lines + function(f"int wrpPy_eypi_{entry.symbol}()", [*body, "return 0;"])


def _record(entry: Type) -> list[str]:
    symbol = entry.symbol
    kind = "Struct" if entry.kind == "struct" else "Object"
    slots, iterator = collection_slots.record_rows(entry)
    init = f"&wrpPy_tpsb_{symbol}_tp_init" if entry.constructors else "&wrapClrObject_tp_init_fault"
    rows = [".ob_base = {PyObject_HEAD_INIT(nullptr) 0}", f".tp_name = {quoted(entry.dotted)}",
            ".tp_basicsize = sizeof(PyClrObject)",
            f".tp_dealloc = reinterpret_cast<destructor>(&wrapClr{kind}_tp_dealloc)",
            f".tp_repr = reinterpret_cast<reprfunc>(&wrapClr{kind}_str)", *slots,
            f".tp_hash = reinterpret_cast<hashfunc>(&wrapClr{kind}_hash)",
            f".tp_richcompare = &wrapClr{kind}_tp_richcompare", *iterator, f".tp_methods = wrpPy_tymd_{symbol}"]
    if _property_rows(entry):
        rows.append(f".tp_getset = wrpPy_typd_{symbol}")
    if entry.base is not None:
        rows.append(f".tp_base = &wrpPy_tyds_{entry.base.symbol}")
    rows += [f".tp_init = {init}", ".tp_alloc = &PyType_GenericAlloc", f".tp_new = &wrpPy_tpsb_{symbol}_tp_new"]
    if entry.constructors:
        rows.append(f".tp_vectorcall = &zelmor::construct_by_vectorcall<&wrpPy_uafn_{symbol}_invalidate, "
                    f"&{members.construct_symbol(entry)}>")
    return table(f"PyTypeObject wrpPy_tyds_{symbol}", rows)


def write_wrapper(entry: Type, product: str) -> list[str]:
    """The source file of a wrapper type."""
    lines = [f"// {entry.full_name}: written by the generator from {entry.place.path.name}.",
             f'#include "generated/{product}/{product}.h"', "", *write_host(entry), *_validity(entry),
             *_converters(entry), *_allocation(entry), *members.write_constructors(entry)]
    for method in entry.methods:
        lines += members.write_method(method)
    for prop in entry.properties:
        lines += members.write_property(prop)
    lines += casts.write_casts(entry)
    lines += table(f"static PyMethodDef wrpPy_tymd_{entry.symbol}[]", _method_rows(entry))
    properties = _property_rows(entry)
    if properties:
        lines += table(f"static PyGetSetDef wrpPy_typd_{entry.symbol}[]", properties)
    lines += collection_slots.write_slots(entry)
    return [*lines, *_record(entry), *_post_initializer(entry)]
