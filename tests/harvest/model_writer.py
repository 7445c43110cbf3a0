"""Writes the two assemblies of a catalogue, as a maker of such assemblies would: hosts, and the class library."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

from tools.generator.entry_points import entry_points
from tools.generator.model import Model, Overload, Type
from tools.generator.wires import Wire
from tools.generator.writers.csharp.services import services_of
from tools.generator.writers.csharp.text import camel_case, member_name
from tools.generator.writers.csharp.words import FORMS, net_type, slot_type
from tools.harvest.collection_changes import fixed_services

from .assembly_writer import AssemblyWriter, MethodRow, TypeRow

CORE = "Zelmor.WrpGen.Core"
RECORDS = ("VariantArg", "PyStringArg", "PyBytesArg", "PyObjectOutArg", "PyCollectionArg", "ShlPointFObject",
           "ShlColorObject")
UNMANAGED = "System.Runtime.InteropServices.UnmanagedCallersOnlyAttribute"
_VALUES = frozenset((*(f"{CORE}.{name}" for name in RECORDS), "System.DateTime", "System.DateTimeOffset",
                     "System.TimeSpan", "System.Decimal", "System.Guid", "System.Nullable`1"))


def _word(text: str) -> str:
    """A machine type as the writer takes it."""
    name = text.rstrip("*")
    return f"{CORE}.{name}{text[len(name):]}" if name in RECORDS else text


def _net(wire: Wire) -> str:
    """A .NET type as the writer takes it; the words of C# that it has no code for are structures of the framework."""
    text = net_type(wire).replace("?", "")
    if wire.name.endswith("?"):
        text = f"System.Nullable<{text}>"
    return {"decimal": "System.Decimal"}.get(text, text)


def _host(entry: Type) -> TypeRow:
    namespace, _, name = entry.host_class.rpartition(".")
    methods = [MethodRow(point.name, _word(slot_type(point.returned)),
                         [(_word(slot_type(argument.slot)), camel_case(argument.keyword or argument.name))
                          for argument in point.arguments],
                         names_type=entry.full_name if point.name == "btp_TypeOf" else "", attributes=(UNMANAGED,))
               for point in entry_points(entry)]
    return TypeRow(namespace, name, methods)


def _service(name: str, entries: tuple[str, ...]) -> TypeRow:
    namespace, _, simple = name.rpartition(".")
    return TypeRow(namespace, simple, [MethodRow(entry, "int", [("nint", "handle")]) for entry in entries])


def _method(overload: Overload) -> MethodRow:
    params = []
    for param in overload.params:
        word = "System.Span<byte>" if param.memory else _net(param.wire)
        params.append((f"ref {word}" if param.by_ref else word, camel_case(param.name)))
    if not overload.python:
        return MethodRow(".ctor", "void", params, static=False)
    return MethodRow(overload.managed, _net(overload.result), params, static=overload.static)


def _library_type(entry: Type) -> TypeRow:
    if entry.width is not None:
        return TypeRow(entry.namespace, entry.name, values=[(member_name(name), value) for name, value in entry.values],
                       base=FORMS[entry.width.form],
                       attributes=("System.FlagsAttribute",) if entry.flags else ())
    methods = [_method(overload) for overload in (*entry.constructors, *(
        overload for method in entry.methods for overload in method.own))]
    own = [prop for prop in entry.properties if prop.declared_by is entry]
    for prop in own:
        methods.append(MethodRow(f"get_{prop.managed}", _net(prop.wire), [], static=prop.static))
        if prop.writable:
            methods.append(MethodRow(f"set_{prop.managed}", "void", [(_net(prop.wire), "value")], static=prop.static))
    return TypeRow(entry.namespace, entry.name, methods, properties=[(_net(prop.wire), prop.managed) for prop in own],
                   base=entry.base.full_name if entry.base is not None else "", is_value=entry.kind == "struct")


def interop_types(model: Model) -> list[TypeRow]:
    """All classes of the interop assembly."""
    types = [_host(entry) for entry in model.types]
    types += [_service(name, names) for name, names in fixed_services().items()]
    for row in model.collections:
        types += [_service(f"Zelmor.WrpGen.Generic.SiApi{end}_{row.identifier}", names)
                  for end, _, names in services_of(row)]
    return types


def write_assemblies(model: Model, directory: Path, library: bool = True,
                     change: Callable[[list[TypeRow]], None] = lambda types: None,
                     structures: frozenset[str] = frozenset()) -> Path:
    """The path of the interop assembly; the class library lies beside it or not.

    The classes can be changed before they are written; `structures` names types that only the changed ones use.
    """
    directory.mkdir(parents=True, exist_ok=True)
    home = f"{model.root.namespace}.Library"
    values = _VALUES | structures | {entry.full_name for entry in model.types if entry.kind in ("struct", "enum")}
    scopes = {**{f"{CORE}.{name}": CORE for name in RECORDS}, **{entry.full_name: home for entry in model.types}}
    if library:
        AssemblyWriter(home, [_library_type(entry) for entry in model.types], values).write(directory)
    types = interop_types(model)
    change(types)
    return AssemblyWriter(model.assembly, types, values, scopes).write(directory)
