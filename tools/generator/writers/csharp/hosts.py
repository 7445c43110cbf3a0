"""Prints the interop assembly: for each type the static class that Python looks its entry points up in."""

from __future__ import annotations

from ...entry_points import (Argument, EntryPoint, declared_overloads, declared_properties, of_getter, of_overload,
                             of_service, of_setter)
from ...model import Overload, Param, Property, Type
from ...wires import Nullable, Scalar, Shape, Struct, TypedCollection, Wire
from .implemented import Implemented
from .text import block, camel_case, escaped
from .words import element_reader, read, slot_type, write

_HEAD = ["#nullable enable", "using System;", "using System.Runtime.InteropServices;", "using Zelmor.WrpGen.Core;",
         "using Zelmor.WrpGen.Interop;", ""]


def entry_point(name: str, returned: str, arguments: str, body: list[str], failed: str = "",
                keeps: bool = True) -> list[str]:
    """A method that Python calls: whatever is thrown in it becomes a Python error."""
    default = "Errors.Report(e);" if returned == "void" else f"return Errors.Report<{returned}>(e);"
    steps = [*block("try", body), *block("catch (Exception e)", [failed or default])]
    if any("ref lent" in line for line in body):
        steps = [f"var lent = new Lending({'keeps: true' if keeps else 'keeps: false'});", *block("try", body),
                 *block("catch (Exception e)", ["lent.Failed();", failed or default]),
                 *block("finally", ["lent.Release();"])]
    return ["[UnmanagedCallersOnly]", *block(f"public static {returned} {name}({arguments})", steps)]


def static_class(name: str, comment: str, of: str, methods: list[list[str]]) -> list[str]:
    """The file of a class with these methods; its name has the namespace. `of` is the type that it is for."""
    namespace, _, short = name.rpartition(".")
    lines: list[str] = []
    for method in methods:
        lines += ["", *method] if lines else method
    return [f"// {comment}", *_HEAD, f"namespace {namespace};", "",
            *([f"[HostOf(typeof({of}))]"] if of else []), *block(f"public static unsafe class {short}", lines)]


def _argument_name(argument: Argument) -> str:
    """The name of a slot: of a parameter's own value, of the integer that says that there is one, or of what the call
    gives back for it."""
    own = camel_case(argument.keyword) if argument.keyword else ""
    if not own:
        # The arguments that the generator adds itself: handle, result, value and so on.
        return {"from": "source", "object": "item", "out": "result", "valuepresent": "valuePresent"}.get(
            argument.name, argument.name)
    suffix = {"": "", "present": "Present", "out": "Out"}[argument.name]
    return escaped(f"{own}{suffix}") if not suffix else f"{own}{suffix}"


def _arguments(point: EntryPoint) -> str:
    names = (_argument_name(argument) if argument.keyword else _own_name(_argument_name(argument), point)
             for argument in point.arguments)
    return ", ".join(f"{slot_type(argument.slot)} {name}" for argument, name in zip(point.arguments, names))


def _own_name(name: str, point: EntryPoint) -> str:
    """The name of an argument that the generator adds: told apart from a parameter of the same name."""
    return f"{name}Slot" if any(camel_case(argument.keyword) == name for argument in point.arguments
                                if argument.keyword) else name


def _is_by_argument(wire: Wire) -> bool:
    return bool(wire.given)


def _deliver(wire: Wire, value: str, result: str) -> list[str]:
    """The statements that hand a result over."""
    if wire.kind == "void":
        return [f"{value};"]
    if isinstance(wire, Nullable):
        return [f"var value = {value};", "*present = value.HasValue ? 1 : 0;",
                *block("if (value.HasValue)", [write(wire.inner, "value.Value", result) + ";"])]
    written = write(wire, value, result)
    return [f"{written};"] if _is_by_argument(wire) else [f"return {written};"]


def _instance(entry: Type, handle: str) -> str:
    accessor = "Unbox" if entry.kind == "struct" else "Get"
    return f"Handles.{accessor}<{entry.full_name}>({handle})"


def _local(param: Param) -> str:
    return f"{camel_case(param.name)}Value"


def _passed(param: Param) -> str:
    name = escaped(camel_case(param.name))
    if param.memory:
        return f"Arguments.Memory({name}, nameof({name}))"
    if param.written:
        return _local(param)
    return f"ref {_local(param)}" if param.by_ref else read(param.wire, name)


def _widens(narrow: Wire, wide: Wire) -> bool:
    """Whether values of a wire become those of another one without a loss, as points become points with fractions."""
    if isinstance(narrow, TypedCollection) and isinstance(wide, TypedCollection):
        return narrow.shape is wide.shape and _widens(narrow.row.element, wide.row.element)
    return narrow == wide or isinstance(narrow, Struct) and f"{narrow.name}F" == wide.name


def _wider(overload: Overload) -> tuple[Param, Param] | None:
    """An array of whole points or rectangles, and the one with fractions that an overload behind this one has in its
    place: Python cannot tell them apart, so that a list for either comes here."""
    for other in declared_overloads(overload.owner):
        if (other.number <= overload.number or (other.managed, other.static) != (overload.managed, overload.static)
                or len(other.params) != len(overload.params)):
            continue
        pairs = list(zip(overload.params, other.params))
        arrays = [(narrow, wide) for narrow, wide in pairs
                  if narrow.wire != wide.wire and narrow.wire.shape is Shape.ARRAY]
        if len(arrays) == 1 and all(_widens(narrow.wire, wide.wire) for narrow, wide in pairs):
            return arrays[0]
    return None


def _call(overload: Overload, point: EntryPoint) -> list[str]:
    arrays = _wider(overload)
    if arrays is None or overload.result.kind != "void" or not overload.python:
        return _plain_call(overload, point, {})
    narrow, wide = arrays
    name, both = escaped(camel_case(narrow.name)), (narrow.wire, wide.wire)
    readers = [element_reader(wire.row.identifier) for wire in both if isinstance(wire, TypedCollection)]
    return [f"var {_local(narrow)} = Arguments.Array({name}, {', '.join(readers)}, out var {_local(narrow)}F);",
            *block(f"if ({_local(narrow)}F != null)",
                   [*_plain_call(overload, point, {narrow.name: f"{_local(narrow)}F"}), "return;"]),
            *_plain_call(overload, point, {narrow.name: _local(narrow)})]


def _plain_call(overload: Overload, point: EntryPoint, known: dict[str, str]) -> list[str]:
    """The statements that call a member; the names of arguments that are read already are `known`."""
    entry = overload.owner
    arguments = ", ".join(known.get(param.name) or _passed(param) for param in overload.params)
    references = [param for param in overload.params if param.by_ref]
    arrays = [param for param in overload.params if param.written and not param.memory]
    before = [f"var {_local(param)} = {read(param.wire, escaped(camel_case(param.name)))};"
              for param in (*references, *arrays)]
    after = [f"Arguments.WriteBack({escaped(camel_case(param.name))}, {_local(param)}, Bridge.Module);"
             for param in arrays]
    for param in references:
        assert isinstance(param.wire, Scalar)
        after.append(f"*{camel_case(param.name)}Out = {write(param.wire, _local(param))};")
    if not overload.python:
        made = "MakeStruct" if entry.kind == "struct" else "Make"
        return [*before, f"return Handles.{made}(new {entry.full_name}({arguments}));"]
    target = entry.full_name if overload.static else _instance(entry, _own_name("handle", point))
    call = f"{target}.{overload.managed}({arguments})"
    result = _own_name("result", point)
    if not after or overload.result.kind == "void":
        return [*before, *_deliver(overload.result, call, result), *after]
    return [*before, f"var returned = {call};", *after, *_deliver(overload.result, "returned", result)]


def _getter(prop: Property) -> list[str]:
    target = prop.owner.full_name if prop.static else _instance(prop.owner, "handle")
    return _deliver(prop.wire, f"{target}.{prop.managed}", "result")


def _setter(prop: Property) -> list[str]:
    target = prop.owner.full_name if prop.static else _instance(prop.owner, "handle")
    return [f"{target}.{prop.managed} = {read(prop.wire, 'value')};"]


def _service(entry: Type, name: str) -> str:
    """The expression that does a built-in service."""
    of = entry.full_name
    if entry.is_enum:
        bodies = {"TypeOf": f"Casts.TypeOf(typeof({of}), result)", "CastTo": "Casts.ToEnum(source, result)",
                  "ReInterpretObj": "Casts.ReinterpretEnum(item, result)",
                  "AsUniEnum": f"Casts.Box(({of})value, result)", "CastAs": "Casts.AsEnum(source, result)",
                  "IsAssignable": f"Casts.Is<{of}>(value)", "GetType": f"Casts.TypeOf(typeof({of}), result)"}
        return bodies[name].replace(", result)", f", ({of}*)result)") if name in (
            "CastTo", "ReInterpretObj", "CastAs") else bodies[name]
    source = f"Handles.Unbox<{of}>(handle)" if entry.kind == "struct" else f"Handles.Get<{of}>(handle)"
    return {"TypeOf": f"Casts.TypeOf(typeof({of}), result)", "CastTo": f"Casts.To<{of}>(source, result)",
            "CastFrom": f"Casts.From({source}, type, result)",
            "ReInterpretObj": f"Casts.Reinterpret<{of}>(item, result)", "CastAs": f"Casts.As<{of}>(source, result)",
            "IsAssignable": f"Casts.Is<{of}>(value)"}[name]


def write_host(entry: Type, implemented: Implemented) -> list[str]:
    """The file of a type's host. What a constructor or a setter gets may be stored."""
    methods = []
    for overload in declared_overloads(entry):
        point = of_overload(overload)
        keeps = not overload.python or implemented.keeps(entry.full_name, point.name) or implemented.in_library(entry)
        methods.append(entry_point(point.name, slot_type(point.returned), _arguments(point), _call(overload, point),
                                   keeps=keeps))
    for prop in declared_properties(entry):
        point = of_getter(prop)
        methods.append(entry_point(point.name, slot_type(point.returned), _arguments(point), _getter(prop)))
        if prop.writable:
            point = of_setter(prop)
            methods.append(entry_point(point.name, "void", _arguments(point), _setter(prop)))
    for service in entry.services:
        point = of_service(entry, service)
        is_cast = service in ("btp_CastTo", "btp_CastAs", "btp_CastFrom")
        methods.append(entry_point(service, "int", _arguments(point), [f"return {_service(entry, point.member)};"],
                                   "return Errors.ReportFailedCast(e);" if is_cast else ""))
    return static_class(entry.host_class, f"The entry points of {entry.full_name}. Written by the generator.",
                        entry.full_name, methods)
