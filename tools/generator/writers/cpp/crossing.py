"""Prints one call on its way across: the variables, their converters, the arguments and the result."""

from __future__ import annotations

from ...entry_points import Argument
from ...model import Param
from ...naming import cpp_name
from ...wires import NO_RESULT, Nullable, Wire, Words
from ..cpp_text import quoted
from .words import converter, passed, slot_type, target, to_python, variable


def argument_name(argument: Argument) -> str:
    """The C++ name of an entry point's argument."""
    return cpp_name(argument.keyword) + argument.name if argument.keyword else argument.name


def declared_variables(params: list[Param]) -> list[str]:
    """Declarations of everything that the parse of these parameters fills."""
    lines = []
    for param in params:
        name = cpp_name(param.name)
        lines.append(variable(param.wire, name))
        if param.by_ref:
            convert = f"zelmor::as_arg_converter(&{converter(param.wire)})"
            lines.append(f"PyParamByRef {name}ref{{nullptr, {convert}, &{name}}};")
            lines.append(variable(param.wire, f"{name}out"))
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
            function = "fn_conv_py_bytes_to_clr_out_bytes" if param.memory else converter(param.wire)
            readers.append(f"zelmor::reader(&{function}, {target(param.wire, name)})")
    call = f"zelmor::{'parse_arguments' if refusal is None else 'parse_overload'}"
    lines = [*declared_variables(params), f"static const char* const kKeywords[] = {{{keywords}}};",
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
    if isinstance(result, Nullable):
        arguments.append("&present")
    if result.given:
        arguments.append("result" if _words(result) is not None else "&result")
    return ", ".join(arguments)


def _words(result: Wire) -> Words | None:
    """The words that a result comes out in."""
    value = result.inner if isinstance(result, Nullable) else result
    return value if isinstance(value, Words) else None


def returned(call: str, result: Wire, params: list[Param], failure: str = "return nullptr;") -> list[str]:
    """The call of an entry point, the test for a pending error, and the return of the converted result."""
    lines = []
    if result.given:
        record, words = slot_type(result.given[-1]).removesuffix("*"), _words(result)
        number = f"[{words.words_given}]" if words is not None else ""
        lines += [*(["int present = 0;"] if isinstance(result, Nullable) else []),
                  f"{record} result{number}{{}};", f"{call};"]
    elif result.returned == NO_RESULT:
        lines.append(f"{call};")
    else:
        lines.append(f"{slot_type(result.returned)} result = {call};")
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
