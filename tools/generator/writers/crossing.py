"""Prints one value on its way across: the C++ type, the slot, the converter, the argument and the result."""

from __future__ import annotations

from ..model import Param
from ..naming import cpp_name
from ..wires import Wire
from .text import quoted


# The out record of a result that does not leave as the return value.
OUT_RECORDS = {"interface": "PyObjectOutArg", "stream": "PyCollectionArg", "collection": "PyCollectionArg"}


def argument_types(wire: Wire) -> list[str]:
    """The C++ types of an argument of a thunk: two for a nullable."""
    return ["int", argument_type(wire.inner)] if wire.inner is not None else [argument_type(wire)]


def argument_names(wire: Wire, name: str) -> list[str]:
    """Names for the same."""
    return [f"{name}present", name] if wire.inner is not None else [name]


def argument_type(wire: Wire) -> str:
    """The C++ type of an argument of a thunk."""
    if wire.words is not None:
        return wire.words.cpp if wire.words.taken == 1 else f"const {wire.words.cpp}*"
    if wire.scalar is not None:
        return wire.scalar.cpp
    if wire.sibling is not None:
        return "int" if wire.sibling.kind == "enum" else f"const {wire.sibling.record}*"
    return {"string": "const PyStringArg*", "bytes": "const PyBytesArg*", "object": "const VariantArg*",
            "stream": "const VariantArg*", "collection": "const VariantArg*", "class": "void*",
            "struct": "const VariantArg*", "interface": "const VariantArg*"}[wire.kind]


def result_type(wire: Wire) -> str:
    """The C++ type of the return value of a thunk."""
    if wire.words is not None or wire.inner is not None:
        return "void"
    if wire.scalar is not None:
        return wire.scalar.cpp
    return {"void": "void", "string": "PyObject*", "bytes": "PyObject*", "object": "PyObject*", "class": "void*",
            "static class": "void*", "struct": "void*", "interface": "void", "stream": "void",
            "collection": "void"}[wire.kind]


def out_types(wire: Wire) -> list[str]:
    """The C++ types of the trailing out records of a result."""
    if wire.inner is not None:
        return ["int*", *(out_types(wire.inner) or [f"{result_type(wire.inner)}*"])]
    if wire.words is not None:
        return [f"{wire.words.cpp}*"]
    record = OUT_RECORDS.get(wire.kind)
    return [f"{record}*"] if record is not None else []


def thunk_types(params: list[Param], result: Wire, instance: bool) -> list[str]:
    """The C++ types of all arguments of a thunk."""
    types = ["void*"] if instance else []
    for param in params:
        types += argument_types(param.wire)
        if param.by_ref:
            types.append(f"{argument_type(param.wire)}*")
    return types + out_types(result)


def thunk_names(params: list[Param], result: Wire, instance: bool) -> list[str]:
    """Names for the same arguments."""
    names = ["handle"] if instance else []
    for param in params:
        names += argument_names(param.wire, cpp_name(param.name))
        if param.by_ref:
            names.append(f"{cpp_name(param.name)}out")
    return names + (["present"] if result.inner is not None else []) + ["result"] * bool(out_types(result))


def slot(wire: Wire, name: str) -> str:
    """The declaration of the slot that a converter fills, in its empty state."""
    if wire.inner is not None:
        value = f"{name}value"
        convert = f"zelmor::as_arg_converter(&{converter(wire.inner)})"
        return f"{slot(wire.inner, value)} PyNullableArg {name}{{0, {convert}, {target(wire.inner, value)}}};"
    if wire.words is not None:
        return f"{wire.words.cpp} {name}{f'[{wire.words.taken}]' if wire.words.taken > 1 else ''}{{}};"
    if wire.scalar is not None:
        return f"{wire.scalar.cpp} {name}{{}};"
    if wire.sibling is not None:
        return f"int {name} = 0;" if wire.sibling.kind == "enum" else f"{wire.sibling.record} {name}{{}};"
    return {"string": f"PyStringArg {name}{{-1, 0, nullptr}};", "bytes": f"PyBytesArgBuilder {name};",
            "class": f"void* {name} = nullptr;"}.get(wire.kind, f"VariantArg {name}{{}};")


def converter(wire: Wire) -> str:
    """The function that fills the slot from a Python value."""
    if wire.inner is not None:
        return "fn_conv_py_nullable_to_clr_nullable"
    if wire.words is not None:
        return wire.words.converter
    if wire.type is not None:
        return f"wrpPy_conv_py_to_clr_{wire.type.symbol}"
    if wire.scalar is not None:
        return wire.scalar.converter
    if wire.sibling is not None:
        return f"*wrpPyl_convcaps_py_to_clr_{wire.sibling.symbol}"
    if wire.collection is not None and wire.shape is not None:
        return f"wrpPygn_conv_py_to_clr_{wire.shape.converter}_{wire.collection.identifier}"
    if wire.shape is not None:
        return f"wrpPye_conv_py_to_clr_{wire.shape.converter}"
    return {"string": "fn_conv_py_string_to_clr_string", "bytes": "fn_conv_py_bytes_to_clr_bytes",
            "object": "fn_conv_py_variant_to_clr_variant", "stream": "wrpPye_conv_py_to_clr_stream"}[wire.kind]


def target(wire: Wire, name: str) -> str:
    """The pointer that the converter gets."""
    return name if wire.words is not None and wire.words.taken > 1 else f"&{name}"


def passed(wire: Wire, name: str) -> str:
    """The expression that hands the slot to a thunk."""
    if wire.inner is not None:
        return f"{name}.has_value, {passed(wire.inner, f'{name}value')}"
    if wire.words is not None:
        return name
    if wire.kind in ("scalar", "class") or (wire.sibling is not None and wire.sibling.kind == "enum"):
        return name
    return f"{name}.get_info()" if wire.kind == "bytes" else f"&{name}"


def to_python(wire: Wire, value: str) -> str:
    """The expression that turns a result into a new Python reference."""
    if wire.inner is not None:
        return f"present != 0 ? {to_python(wire.inner, value)} : fn_py_return_none()"
    if wire.words is not None:
        return f"{wire.words.builder}({value})"
    if wire.type is not None:
        return f"wrpPy_conv_clr_to_py_{wire.type.symbol}({value})"
    if wire.scalar is not None:
        return f"{wire.scalar.builder}({value})"
    if wire.shape is not None:
        reader = ("fn_conv_clr_ifcimpl_to_py_ifcimpl_wps" if wire.shape.interface else
                  "fn_conv_clr_btpobj_to_py_btpobj")
        return f"{reader}({value}, &{collection_record(wire)})"
    if wire.kind == "stream":
        return f"fn_conv_clr_absobj_to_py_absobj({value}, &wrpPye_tyds_FFFFFFFF_StreamWrapper)"
    return f"zelmor::none_if_null({value})"  # strings, bytes and objects arrive as Python objects


def collection_record(wire: Wire) -> str:
    """The static record of the wrapper type that a collection is declared as."""
    assert wire.shape is not None
    if wire.collection is not None:
        return f"wrpPygn_tyds_{wire.collection.identifier}_{wire.shape.record}"
    return f"wrpPye_tyds_FFFFFFFF_{wire.shape.record}"


def declared_slots(params: list[Param]) -> list[str]:
    """Declarations of everything that the parse of these parameters fills."""
    lines = []
    for param in params:
        name = cpp_name(param.name)
        lines.append(slot(param.wire, name))
        if param.by_ref:
            target = f"zelmor::as_arg_converter(&{converter(param.wire)})"
            lines.append(f"PyParamByRef {name}ref{{nullptr, {target}, &{name}}};")
            lines.append(slot(param.wire, f"{name}out"))
    return lines


def parse(params: list[Param], failure: str, refusal: str | None = None, source: str = "args, kwargs") -> list[str]:
    """The slots of these parameters and what fills them from the arguments of a call, `source`; with `refusal`, the
    place that gets the reason if they do not parse."""
    place = [refusal] if refusal is not None else []
    if not params:
        call = f"zelmor::parse_no_arguments({', '.join([source, *place])})"
        return [f"if (!{call}) {{", f"    {failure}", "}"]
    keywords = ", ".join([*(quoted(param.name) for param in params), "nullptr"])
    readers = []
    for param in params:
        name = cpp_name(param.name)
        if param.by_ref:
            readers.append(f"zelmor::reader(&fn_conv_py_parbyref_to_clr_parbyref, &{name}ref)")
        else:
            function = "fn_conv_py_bytes_to_clr_out_bytes" if param.written else converter(param.wire)
            readers.append(f"zelmor::reader(&{function}, {target(param.wire, name)})")
    call = f"zelmor::{'parse_arguments' if refusal is None else 'parse_overload'}"
    lines = [*declared_slots(params), f"static const char* const kKeywords[] = {{{keywords}}};",
             "const zelmor::Reader readers[] = {", *(f"    {row}," for row in readers), "};",
             f"if (!{call}({', '.join([source, 'kKeywords', 'readers', *place])})) {{", f"    {failure}", "}"]
    if any(param.wire.kind == "object" and not param.by_ref for param in params):
        # A variant's instance tests can leave an error behind.
        keep = [] if refusal is None else [f"    zelmor::keep_parse_error({refusal});"]
        lines += ["if (PyErr_Occurred()) {", *keep, f"    {failure}", "}"]
    return lines


def call_arguments(params: list[Param], result: Wire, handle: str | None) -> str:
    """The argument list of a thunk call after a successful parse."""
    arguments = [handle] if handle is not None else []
    for param in params:
        name = cpp_name(param.name)
        arguments.append(passed(param.wire, name))
        if param.by_ref:
            arguments.append(f"&{name}out")
    if result.inner is not None:
        arguments.append("&present")
    if out_types(result):
        arguments.append("result" if (result.inner or result).words is not None else "&result")
    return ", ".join(arguments)


def returned(call: str, result: Wire, params: list[Param], failure: str = "return nullptr;") -> list[str]:
    """The call of a thunk, the test for a pending error, and the return of the converted result."""
    lines = []
    if result.kind in OUT_RECORDS:
        lines += [f"{OUT_RECORDS[result.kind]} result{{}};", f"{call};"]
    elif result.kind in ("words", "nullable"):
        value = result.inner or result
        if value.words is not None:
            declared = f"{value.words.cpp} result[{value.words.given}]{{}};"
        else:
            declared = f"{result_type(value)} result{{}};"
        lines += [*(["int present = 0;"] if result.inner is not None else []), declared, f"{call};"]
    elif result.kind == "void":
        lines.append(f"{call};")
    else:
        lines.append(f"{result_type(result)} result = {call};")
    lines += ["if (PyErr_Occurred()) {", f"    {failure}", "}"]
    lines += _push_out_values(params, failure)
    lines.append("Py_RETURN_NONE;" if result.kind == "void" else f"return {to_python(result, 'result')};")
    return lines


def _push_out_values(params: list[Param], failure: str) -> list[str]:
    """Out values are all built first, then handed to their lists in order."""
    by_ref = [param for param in params if param.by_ref]
    if not by_ref:
        return []
    lines = [f"PyTrPyObjStack<{len(by_ref)}> out_values;"]
    for index, param in enumerate(by_ref):
        value = to_python(param.wire, f"{cpp_name(param.name)}out")
        lines += [f"out_values[{index}] = {value};", "if (PyErr_Occurred()) {", f"    {failure}", "}"]
    for index, param in enumerate(by_ref):
        # The list takes the reference over whether or not it can store it.
        lines += [f"PyObject* out_value_{index} = out_values[{index}];", "++out_values;",
                  f"if (fn_push_parbyref_outvalue({cpp_name(param.name)}ref.list, out_value_{index}) != 0) {{",
                  f"    {failure}", "}"]
    return lines
