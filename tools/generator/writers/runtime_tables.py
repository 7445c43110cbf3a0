"""Prints the tables of the embedded runtime: every type, property and entry point of all catalogues."""

from __future__ import annotations

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

    @staticmethod
    def _known(wires: list[Wire]) -> bool:
        """Whether it is known how all of these cross."""
        return all(wire.runtime_wire for wire in wires)

    def _param(self, param: Param) -> str:
        by_ref = "true" if param.by_ref else "false"
        return (f"{{{quoted(param.name)}, Wire::{param.wire.runtime_wire}, {by_ref}, {self._type(param.wire)}, "
                f"{self._collection(param.wire)}}}")

    @staticmethod
    def _signature(params: list[Param], result: Wire, instance: bool) -> str:
        arguments = "".join(param.wire.code + ("r" if param.by_ref else "") for param in params)
        return result.result_code + ("p" if instance else "") + arguments + result.out_code

    def _entry(self, name: str, member: str, role: str, result: Wire, signature: str, prop: int = -1,
               params: str = "{}") -> str:
        return (f"{{{quoted(name)}, {quoted(member)}, EntryRole::{role}, Wire::{result.runtime_wire}, "
                f"{self._type(result)}, {self._collection(result)}, {prop}, {quoted(signature)}, {params}}}")

    def _overload(self, overload: Overload, lines: list[str], number: int) -> str | None:
        wires = [param.wire for param in overload.params] + [overload.result]
        if not self._known(wires):
            return None
        params = "{}"
        if overload.params:
            params = f"params_{self._index[overload.owner]}_{number}"
            lines += table(f"constexpr ParamInfo {params}[]", [self._param(param) for param in overload.params])
        if not overload.python:
            signature = "p" + self._signature(overload.params, VOID, False)[1:]
            return self._entry(overload.entry, overload.owner.name, "kCtor", VOID, signature, params=params)
        role = "kStaticCall" if overload.static else "kCall"
        return self._entry(overload.entry, overload.managed, role, overload.result,
                           self._signature(overload.params, overload.result, not overload.static), params=params)

    def _property_entries(self, prop: Property, number: int) -> list[str]:
        suffix, instance = ("sa", False) if prop.static else ("", True)
        roles = ("kGetStatic", "kSetStatic") if prop.static else ("kGet", "kSet")
        rows = [self._entry(f"get{suffix}_{prop.managed}", prop.managed, roles[0], prop.wire,
                            self._signature([], prop.wire, instance), number)]
        if prop.writable:
            signature = "v" + ("p" if instance else "") + prop.wire.code
            rows.append(self._entry(f"set{suffix}_{prop.managed}", prop.managed, roles[1], VOID, signature, number))
        return rows

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
        overloads = [*entry.constructors, *(o for method in entry.methods for o in method.own)]
        for number, overload in enumerate(overloads):
            row = self._overload(overload, lines, number)
            entries += [row] if row is not None else []
        properties = [prop for static in (False, True) for prop in entry.properties
                      if prop.static == static and prop.declared_by is entry and self._known([prop.wire])]
        rows = []
        for number, prop in enumerate(properties):
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
