"""Prints the tables of the embedded runtime: every type, property and entry point of all catalogues."""

from __future__ import annotations

from ...declaration import Declaration
from ...entry_points import EntryPoint, Role, of_overload, of_property, of_service
from ...model import Model, Param, Type
from ...wires import Collection, Enumeration, Sibling, SiblingRecord, TypedCollection, Wire
from ..cpp_text import function, quoted, table
from .signatures import overloads, properties, signature
from .words import NET_TYPES, SHAPES, runtime_wire

_KINDS = {"class": "kClass", "static class": "kStaticClass", "interface": "kInterface", "struct": "kStruct",
          "enum": "kEnum"}
_ROLES = {Role.CTOR: "kCtor", Role.CALL: "kCall", Role.STATIC_CALL: "kStaticCall", Role.GET: "kGet",
          Role.SET: "kSet", Role.GET_STATIC: "kGetStatic", Role.SET_STATIC: "kSetStatic"}
_SERVICE_ROLES = {"TypeOf": "kTypeOf", "CastTo": "kCastTo", "CastFrom": "kCastFrom",
                  "ReInterpretObj": "kReinterpretObj", "AsUniEnum": "kAsUniEnum", "CastAs": "kCastAs",
                  "IsAssignable": "kIsAssignable", "GetType": "kGetType"}


class Tables:
    """Collects the tables of all models; types are numbered through."""

    def __init__(self, models: list[Model]) -> None:
        self._models = models
        self._types = [entry for model in models for entry in model.types]
        self._index: dict[Declaration, int] = {entry: number for number, entry in enumerate(self._types)}

    def _type(self, wire: Wire) -> str:
        return str(self._index[wire.type]) if wire.type is not None else "kNoType"

    @staticmethod
    def _collection(wire: Wire) -> str:
        if wire.shape is None:
            return "{}"
        element = wire.collection.identifier if wire.collection is not None else ""
        return f"{{CollectionShape::{SHAPES[wire.shape]}, {quoted(element)}}}"

    def _param(self, param: Param) -> str:
        by_ref = "true" if param.by_ref else "false"
        return (f"{{{quoted(param.name)}, Wire::{runtime_wire(param.wire)}, {by_ref}, {self._type(param.wire)}, "
                f"{self._collection(param.wire)}}}")

    def _entry(self, point: EntryPoint, prop: int = -1, params: str = "{}") -> str:
        role = _SERVICE_ROLES[point.member] if point.role is Role.SERVICE else _ROLES[point.role]
        return (f"{{{quoted(point.name)}, {quoted(point.member)}, EntryRole::{role}, "
                f"Wire::{runtime_wire(point.result)}, {self._type(point.result)}, {self._collection(point.result)}, "
                f"{prop}, {quoted(signature(point))}, {params}}}")

    def _overloads(self, entry: Type) -> tuple[list[str], list[str]]:
        """The tables of parameters, and the rows of the entry points."""
        lines: list[str] = []
        rows = []
        for number, overload in enumerate(overloads(entry)):
            if overload is None:
                continue
            params = "{}"
            if overload.params:
                params = f"params_{self._index[entry]}_{number}"
                lines += table(f"constexpr ParamInfo {params}[]", [self._param(param) for param in overload.params])
            rows.append(self._entry(of_overload(overload), params=params))
        return lines, rows

    def _write_type(self, entry: Type) -> tuple[list[str], str]:
        index = self._index[entry]
        lines, entries = self._overloads(entry)
        rows = []
        for number, prop in enumerate(properties(entry)):
            flags = f"{'true' if prop.static else 'false'}, {'true' if prop.writable else 'false'}"
            rows.append(f"{{{quoted(prop.managed)}, Wire::{runtime_wire(prop.wire)}, {flags}, {self._type(prop.wire)}, "
                        f"{self._collection(prop.wire)}}}")
            entries += [self._entry(point, number) for point in of_property(prop)]
        entries += [self._entry(of_service(entry, service)) for service in entry.services]
        interfaces = [str(self._index[interface]) for interface in entry.implemented]
        values = [f"{{{quoted(name)}, {value}}}" for name, value in entry.values]
        spans = []
        for name, element, items in (("interfaces", "int16_t", interfaces), ("properties", "PropertyInfo", rows),
                                     ("entries", "EntryInfo", entries), ("members", "EnumMember", values)):
            if items:
                lines += table(f"constexpr {element} {name}_{index}[]", items)
            spans.append(f"{name}_{index}" if items else "{}")
        base = str(self._index[entry.base]) if entry.base is not None else "kNoType"
        width = runtime_wire(entry.width) if entry.width is not None else "kVoid"
        marks = [entry.disposable, bool(entry.constructors), entry.flags]
        row = ", ".join([quoted(entry.full_name), quoted(entry.name), quoted(entry.host_class),
                         quoted(next(m.assembly for m in self._models if entry in m.types)),
                         f"TypeKind::{_KINDS[entry.kind]}", *(str(mark).lower() for mark in marks),
                         f"Wire::{width}", base, *spans])
        return lines, f"{{{row}}}"

    def _element(self, row: Collection) -> str:
        wire = row.element
        name, crossing = wire.name, runtime_wire(wire)
        if wire.name in NET_TYPES:
            name = f"System.{NET_TYPES[wire.name]}"
        elif isinstance(wire, TypedCollection):
            name = wire.row.identifier
        elif isinstance(wire, Sibling):
            name = wire.full_name
            crossing = "kRecord" if isinstance(wire, SiblingRecord) else crossing
        elif isinstance(wire, Enumeration):
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
        for entry in self._types:
            text, row = self._write_type(entry)
            lines += text
            rows.append(row)
        lines += table("constexpr TypeInfo kTypes[]", rows)
        return [*lines, "}  // namespace", "", *function("std::span<const TypeInfo> types()", ["return kTypes;"]),
                *self._elements(), "}  // namespace zelmor::embed"]
