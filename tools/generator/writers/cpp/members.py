"""Prints methods, constructors and properties of a wrapper type."""

from __future__ import annotations

from ...entry_points import of_getter, of_setter
from ...model import Method, Overload, Property, Type
from ..cpp_text import function, quoted
from . import crossing, words
from .host import host_of

_METHOD = "PyObject* {name}(PyObject* self, PyObject* args, PyObject* kwargs)"
_PLAIN = "PyObject* {name}(PyObject* self, PyObject*)"


def guard(entry: Type, failure: str = "nullptr") -> list[str]:
    """The type guard at the head of what can be reached without an instance."""
    return [f"if (wrpPy_uafn_{entry.symbol}_invalidate() != 0) {{", f"    return {failure};", "}"]


def overload_symbol(overload: Overload) -> str:
    """The function that runs one overload of a group."""
    owner, name = overload.owner, overload.python
    if not name:
        return f"wrpPy_ctfn_{owner.symbol}_{overload.number:03}_ctor"
    if overload.published is not None:
        return f"wrpPy_htgn_{owner.symbol}_{overload.published:03}_{name}"
    return f"wrpPy_mgov_{owner.symbol}_{overload.number:03}_{name}"  # called by the type's own group alone


def simple_symbol(method: Method) -> str:
    """The function behind a name with one overload; of external linkage where other interfaces inherit it."""
    overload = method.overloads[0]
    family = "htfn" if overload.published is not None and overload.owner.kind == "interface" else "mtfn"
    return f"wrpPy_{family}_{overload.owner.symbol}_{overload.number:03}_{method.python}"


def method_symbol(method: Method) -> str:
    """The function that the method table names."""
    if method.is_group:
        return f"wrpPy_mgfn_{method.owner.symbol}_000_{method.python}"
    return simple_symbol(method)


def _call(overload: Overload) -> str:
    handle = None if overload.static else "zelmor::handle_of(self)"
    arguments = crossing.call_arguments(overload.params, overload.result, handle)
    return f"{host_of(overload.owner)}->{overload.entry}({arguments})"


def _self(overload: Overload, signature: str) -> str:
    """The signature, with an unused `self` left unnamed."""
    return signature.replace("PyObject* self", "PyObject*") if overload.static else signature


def write_simple(method: Method) -> list[str]:
    """A method with one overload."""
    overload = method.overloads[0]
    linkage = "" if simple_symbol(method).startswith("wrpPy_htfn") else "static "
    shape = _METHOD if overload.params else _PLAIN
    body = guard(overload.owner) if overload.static else []
    if overload.params:
        body += crossing.parse(overload.params, "return nullptr;")
    body += crossing.returned(_call(overload), overload.result, overload.params)
    return function(linkage + _self(overload, shape.format(name=simple_symbol(method))), body)


def write_overload(overload: Overload) -> list[str]:
    """One overload of a group, which leaves a failed parse in its error slot."""
    linkage = "" if overload.published is not None else "static "
    body = [*crossing.parse(overload.params, "return nullptr;", "error_slot"),
            *crossing.returned(_call(overload), overload.result, overload.params)]
    signature = (f"{linkage}PyObject* {overload_symbol(overload)}(PyObject* self, PyObject* args, PyObject* kwargs, "
                 "PyObject** error_slot)")
    return function(_self(overload, signature), body)


def write_group(method: Method) -> list[str]:
    """The dispatcher of a method group, behind those of its overloads that the type declares itself."""
    lines: list[str] = []
    for overload in method.overloads:
        if overload.owner is method.owner:
            lines += write_overload(overload)
    attempts = ", ".join(f"&{overload_symbol(overload)}" for overload in method.overloads)
    body = guard(method.owner) if method.static else []
    body.append(f"return zelmor::dispatch<{attempts}>(self, args, kwargs);")
    return lines + function("static " + _METHOD.format(name=method_symbol(method)), body)


def inherited_by_groups(method: Method) -> bool:
    """Whether groups of derived classes call the only overload of a method."""
    overload = method.overloads[0]
    return (not method.is_group and overload.owner is method.owner and overload.published is not None
            and method.owner.kind != "interface")


def write_method(method: Method) -> list[str]:
    """Everything behind one Python name; nothing where it is another interface's function."""
    lines: list[str] = []
    if method.static_overload is not None:
        lines += write_simple(Method(method.owner, method.python, [method.static_overload]))
    if not method.overloads:
        return lines
    if method.is_group:
        return lines + write_group(method)
    if method.overloads[0].owner is not method.owner:
        return lines
    # A group of a derived type may inherit what is the only overload here.
    return lines + (write_overload(method.overloads[0]) if inherited_by_groups(method) else []) + write_simple(method)


def construct_symbol(entry: Type) -> str:
    """The function that fills an empty wrapper, however the arguments of the call arrive."""
    return f"wrpPy_tpct_{entry.symbol}_construct"


def write_constructors(entry: Type) -> list[str]:
    """What fills an empty wrapper, with one overload or dispatched over several, and `tp_init`, which runs it."""
    if not entry.constructors:
        return []
    name = construct_symbol(entry)
    signature = "static int {}(PyObject* self, const zelmor::CallArguments& arguments{})"
    lines: list[str] = []
    grouped = len(entry.constructors) > 1
    for overload in entry.constructors:
        arguments = crossing.call_arguments(overload.params, overload.result, None)
        body = [*crossing.parse(overload.params, "return -1;", "error_slot" if grouped else None, "arguments"),
                # A handle that an earlier run stored is overwritten and not given back.
                f"zelmor::set_handle(self, {host_of(entry)}->{overload.entry}({arguments}));",
                "return PyErr_Occurred() ? -1 : 0;"]
        symbol, slot = (overload_symbol(overload), ", PyObject** error_slot") if grouped else (name, "")
        lines += function(signature.format(symbol, slot), body)
    if grouped:
        attempts = ", ".join(f"&{overload_symbol(overload)}" for overload in entry.constructors)
        lines += function(signature.format(name, ""), [f"return zelmor::dispatch<{attempts}>(self, arguments);"])
    return lines + function(
        f"static int wrpPy_tpsb_{entry.symbol}_tp_init(PyObject* self, PyObject* args, PyObject* kwargs)",
        [f"return {name}(self, zelmor::CallArguments::of(args, kwargs));"])


# -- properties -----------------------------------------------------------------------------------------------------


def property_symbol(prop: Property, operation: str) -> str:
    """The getter or setter of a property."""
    owner = prop.declared_by
    if prop.static:
        return f"wrpPy_spvg_{owner.symbol}_000_{operation}_{prop.python}"
    family = "phfn" if owner.kind == "interface" else "pafn"
    return f"wrpPy_{family}_{owner.symbol}_000_{operation}_{prop.python}"


def _getter(prop: Property) -> list[str]:
    entry = prop.owner
    handle = None if prop.static else "zelmor::handle_of(self)"
    call = f"{host_of(entry)}->{of_getter(prop).name}({crossing.call_arguments([], prop.wire, handle)})"
    linkage = "" if property_symbol(prop, "get").startswith("wrpPy_phfn") else "static "
    self_name = "" if prop.static else " self"
    body = [*(guard(entry) if prop.static else []), *crossing.returned(call, prop.wire, [])]
    return function(f"{linkage}PyObject* {property_symbol(prop, 'get')}(PyObject*{self_name}, void*)", body)


def _setter_body(prop: Property, handle: list[str], failure: str) -> list[str]:
    failed = f"!{words.converter(prop.wire)}(value, {words.target(prop.wire, 'slot')})"
    if prop.wire.kind == "object":
        failed += " || PyErr_Occurred()"
    arguments = ", ".join([*handle, words.passed(prop.wire, "slot")])
    return [words.variable(prop.wire, "slot"), f"if ({failed}) {{", f"    return {failure};", "}",
            f"{host_of(prop.owner)}->{of_setter(prop).name}({arguments});"]


def _setter(prop: Property) -> list[str]:
    linkage = "" if property_symbol(prop, "set").startswith("wrpPy_phfn") else "static "
    body = ["if (value == nullptr) {", f"    return zelmor::refuse_delete({quoted(prop.python)});", "}",
            *_setter_body(prop, ["zelmor::handle_of(self)"], "-1"),
            "return PyErr_Occurred() ? -1 : 0;"]
    return function(f"{linkage}int {property_symbol(prop, 'set')}(PyObject* self, PyObject* value, void*)", body)


def _static_writer(prop: Property) -> list[str]:
    body = [*guard(prop.owner), *_setter_body(prop, [], "nullptr"),
            "if (PyErr_Occurred()) {", "    return nullptr;", "}", "Py_RETURN_NONE;"]
    return function(f"static PyObject* {property_symbol(prop, 'set')}(PyObject*, PyObject* value)", body)


def write_property(prop: Property) -> list[str]:
    """Getter and setter; nothing where the property is another interface's."""
    if prop.declared_by is not prop.owner:
        return []
    lines = _getter(prop)
    if prop.writable:
        lines += _static_writer(prop) if prop.static else _setter(prop)
    return lines
