"""Prints the tables of the embedded runtime: every type, property and entry point of all catalogues."""

from __future__ import annotations

from dataclasses import dataclass

from ..model import Collection, Model, Overload, Param, Property, Type
from ..wires import VOID, Wire
from .text import function, quoted, table

_KINDS = {"class": "kClass", "static class": "kStaticClass", "interface": "kInterface", "struct": "kStruct",
          "enum": "kEnum"}
# The .NET types of elements that have a name of their own on the wire.
_NET_TYPES = {"bool": "Boolean", "int8": "SByte", "uint8": "Byte", "int16": "Int16", "uint16": "UInt16",
              "int32": "Int32", "uint32": "UInt32", "int64": "Int64", "uint64": "UInt64", "float": "Single",
              "double": "Double", "char": "Char", "string": "String", "bytes": "Byte[]", "object": "Object"}
_SERVICE_ROLES = {"TypeOf": "kTypeOf", "CastTo": "kCastTo", "CastFrom": "kCastFrom",
                  "ReInterpretObj": "kReinterpretObj", "AsUniEnum": "kAsUniEnum", "CastAs": "kCastAs",
                  "IsAssignable": "kIsAssignable", "GetType": "kGetType"}


@dataclass(frozen=True)
class Entry:
    """An entry point of a type: its name, "call_000_Load", and how its arguments cross."""

    name: str
    signature: str


def _known(wires: list[Wire]) -> bool:
    """Whether it is known how all of these cross."""
    return all(wire.runtime_wire for wire in wires)


def _signature(params: list[Param], result: Wire, instance: bool) -> str:
    arguments = "".join(param.wire.code + ("r" if param.by_ref else "") for param in params)
    return result.result_code + ("p" if instance else "") + arguments + result.out_code


def overload_entry(overload: Overload) -> Entry | None:
    """The entry point of an overload; none where it is not known how its arguments cross."""
    if not _known([*(param.wire for param in overload.params), overload.result]):
        return None
    if not overload.python:
        return Entry(overload.entry, "p" + _signature(overload.params, VOID, False)[1:])
    return Entry(overload.entry, _signature(overload.params, overload.result, not overload.static))


def property_entries(prop: Property) -> list[Entry]:
    """The getter of a property, and its setter if it has one."""
    suffix, instance = ("sa", False) if prop.static else ("", True)
    entries = [Entry(f"get{suffix}_{prop.managed}", _signature([], prop.wire, instance))]
    if prop.writable:
        entries.append(Entry(f"set{suffix}_{prop.managed}", "v" + ("p" if instance else "") + prop.wire.code))
    return entries


def own_overloads(entry: Type) -> list[Overload]:
    """The constructors and methods that a type has entry points for, in their order."""
    return [*entry.constructors, *(overload for method in entry.methods for overload in method.own)]


def own_properties(entry: Type) -> list[Property]:
    """The properties that a type has entry points for, in their order: those of instances first."""
    return [prop for static in (False, True) for prop in entry.properties
            if prop.static == static and prop.declared_by is entry and _known([prop.wire])]


def entries_of(entry: Type) -> list[Entry]:
    """The entry points of a type's members."""
    overloads = [overload_entry(overload) for overload in own_overloads(entry)]
    return [*(row for row in overloads if row is not None),
            *(row for prop in own_properties(entry) for row in property_entries(prop))]


class Tables:
    """Collects the tables of all models; types are numbered through."""

    def __init__(self, models: list[Model]) -> None:
        self._models = models
        self._index = {entry: number for number, entry in
                       enumerate(entry for model in models for entry in model.types)}

    def _type(self, wire: Wire) -> str:
        return str(self._index[wire.type]) if wire.type is not None else "kNoType"

    @staticmethod
    def _collection(wire: Wire) -> str:
        if wire.shape is None:
            return "{}"
        element = wire.collection.identifier if wire.collection is not None else ""
        return f"{{CollectionShape::{wire.shape.runtime}, {quoted(element)}}}"

    def _param(self, param: Param) -> str:
        by_ref = "true" if param.by_ref else "false"
        return (f"{{{quoted(param.name)}, Wire::{param.wire.runtime_wire}, {by_ref}, {self._type(param.wire)}, "
                f"{self._collection(param.wire)}}}")

    def _entry(self, name: str, member: str, role: str, result: Wire, signature: str, prop: int = -1,
               params: str = "{}") -> str:
        return (f"{{{quoted(name)}, {quoted(member)}, EntryRole::{role}, Wire::{result.runtime_wire}, "
                f"{self._type(result)}, {self._collection(result)}, {prop}, {quoted(signature)}, {params}}}")

    def _overload(self, overload: Overload, lines: list[str], number: int) -> str | None:
        entry = overload_entry(overload)
        if entry is None:
            return None
        params = "{}"
        if overload.params:
            params = f"params_{self._index[overload.owner]}_{number}"
            lines += table(f"constexpr ParamInfo {params}[]", [self._param(param) for param in overload.params])
        if not overload.python:
            return self._entry(entry.name, overload.owner.name, "kCtor", VOID, entry.signature, params=params)
        role = "kStaticCall" if overload.static else "kCall"
        return self._entry(entry.name, overload.managed, role, overload.result, entry.signature, params=params)

    def _property_entries(self, prop: Property, number: int) -> list[str]:
        roles = ("kGetStatic", "kSetStatic") if prop.static else ("kGet", "kSet")
        results = (prop.wire, VOID)
        return [self._entry(entry.name, prop.managed, role, result, entry.signature, number)
                for entry, role, result in zip(property_entries(prop), roles, results)]

    def _service(self, entry: Type, service: str) -> str:
        value = entry.width.code if entry.width is not None else ""
        variant = "V" if entry.kind in ("struct", "interface") else "p"
        signature = {"TypeOf": "ir", "CastTo": "iVr", "CastFrom": "ippr", "ReInterpretObj": "ipr",
                     "AsUniEnum": f"i{value}r", "CastAs": f"i{variant}r", "IsAssignable": f"i{variant}",
                     "GetType": f"i{value}r"}[service]
        return self._entry(f"btp_{service}", service, _SERVICE_ROLES[service], VOID, signature)

    def _write_type(self, entry: Type) -> tuple[list[str], str]:
        index = self._index[entry]
        lines: list[str] = []
        entries: list[str] = []
        for number, overload in enumerate(own_overloads(entry)):
            row = self._overload(overload, lines, number)
            entries += [row] if row is not None else []
        rows = []
        for number, prop in enumerate(own_properties(entry)):
            flags = f"{'true' if prop.static else 'false'}, {'true' if prop.writable else 'false'}"
            rows.append(f"{{{quoted(prop.managed)}, Wire::{prop.wire.runtime_wire}, {flags}, {self._type(prop.wire)}, "
                        f"{self._collection(prop.wire)}}}")
            entries += self._property_entries(prop, number)
        entries += [self._service(entry, service.removeprefix("btp_")) for service in entry.services]
        interfaces = [str(self._index[interface]) for interface in entry.implemented]
        values = [f"{{{quoted(name)}, {value}}}" for name, value in entry.values]
        spans = []
        for name, element, items in (("interfaces", "int16_t", interfaces), ("properties", "PropertyInfo", rows),
                                     ("entries", "EntryInfo", entries), ("members", "EnumMember", values)):
            if items:
                lines += table(f"constexpr {element} {name}_{index}[]", items)
            spans.append(f"{name}_{index}" if items else "{}")
        base = str(self._index[entry.base]) if entry.base is not None else "kNoType"
        width = entry.width.runtime_wire if entry.width is not None else "kVoid"
        marks = [entry.disposable, bool(entry.constructors), entry.flags]
        row = ", ".join([quoted(entry.full_name), quoted(entry.name), quoted(entry.host_class),
                         quoted(next(m.assembly for m in self._models if entry in m.types)),
                         f"TypeKind::{_KINDS[entry.kind]}", *(str(mark).lower() for mark in marks),
                         f"Wire::{width}", base, *spans])
        return lines, f"{{{row}}}"

    def _element(self, row: Collection) -> str:
        wire = row.element
        name = f"System.{_NET_TYPES[wire.name]}" if wire.name in _NET_TYPES else wire.name
        crossing = wire.runtime_wire
        if wire.shape is not None or wire.name.startswith("array of "):
            inner = wire.name.removeprefix("array of ")
            name = next(other.identifier for model in self._models for other in model.collections
                        if other.element.name == inner)
            crossing = "kCollection"
        elif wire.sibling is not None:
            name = wire.sibling.full_name
            crossing = "kRecord" if wire.sibling.kind == "record" else crossing
        elif wire.scalar is not None and wire.type is not None:
            crossing = "kInt32"
        return f"{{{quoted(row.identifier)}, Wire::{crossing}, {quoted(name)}, {self._type(wire)}}}"

    def _elements(self) -> list[str]:
        """The elements of typed collections, in the order of their identifiers."""
        rows = sorted((row for model in self._models for row in model.collections), key=lambda row: row.identifier)
        if not rows:
            return function("std::span<const ElementType> elements()", ["return {};"])
        return [*table("constexpr ElementType kElements[]", [self._element(row) for row in rows]),
                *function("std::span<const ElementType> elements()", ["return kElements;"])]

    def write(self) -> list[str]:
        """The source file of the tables."""
        lines = ["// The catalogue as the embedded runtime sees it: written by the generator.",
                 '#include "runtime/native/catalogue/tables.h"', "", "namespace zelmor::embed {", "namespace {", ""]
        rows = []
        for entry in self._index:
            text, row = self._write_type(entry)
            lines += text
            rows.append(row)
        lines += table("constexpr TypeInfo kTypes[]", rows)
        return [*lines, "}  // namespace", "", *function("std::span<const TypeInfo> types()", ["return kTypes;"]),
                *self._elements(), "}  // namespace zelmor::embed"]
