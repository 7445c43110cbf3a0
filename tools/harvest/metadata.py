"""An assembly as its metadata describes it: types with their fields, methods and properties."""

from __future__ import annotations

import struct
from bisect import bisect_right
from collections import defaultdict
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

from .errors import AssemblyError
from .heaps import Heaps
from .image import Image, read_file
from .signatures import MethodSignature, SignatureReader, Term
from .tables import Tables

_MOST_NESTED = 64  # the deepest nesting of types within types
_PUBLIC_TYPE, _NESTED_PUBLIC, _VISIBILITY = 1, 2, 7
_INTERFACE = 0x20
_PUBLIC, _MEMBER_ACCESS, _STATIC, _LITERAL = 6, 7, 0x10, 0x40
_CODED_TYPE = "TypeDefOrRef"
_CONSTANTS = {0x02: "<B", 0x03: "<H", 0x04: "<b", 0x05: "<B", 0x06: "<h", 0x07: "<H", 0x08: "<i", 0x09: "<I",
              0x0A: "<q", 0x0B: "<Q"}


@dataclass(frozen=True)
class Field:
    """A field of a type; a literal has a value."""

    name: str
    type: Term
    is_static: bool
    value: int | None


@dataclass(frozen=True)
class Method:
    """A method of a type."""

    number: int  # of its row
    name: str
    signature: MethodSignature
    is_public: bool
    is_static: bool
    parameters: tuple[str, ...]  # their names; those that the file does not name are empty
    attributes: tuple[str, ...]  # the full names of the attributes


@dataclass(frozen=True)
class Property:
    """A property of a type, with the methods that read and write it."""

    name: str
    type: Term
    getter: Method | None
    setter: Method | None

    @property
    def is_static(self) -> bool:
        """Whether it belongs to the type."""
        return any(method.is_static for method in (self.getter, self.setter) if method is not None)


class TypeDefinition:
    """A type; its members are read when they are asked for."""

    def __init__(self, assembly: Assembly, number: int, name: str) -> None:
        self._assembly = assembly
        self.number = number
        self.full_name = name
        flags = assembly.tables.value("TypeDef", number, "flags")
        self.is_public = flags & _VISIBILITY in (_PUBLIC_TYPE, _NESTED_PUBLIC)
        self.is_interface = bool(flags & _INTERFACE)

    @cached_property
    def base(self) -> Term | None:
        """The type that it extends."""
        coded = self._assembly.tables.value("TypeDef", self.number, "extends")
        return self._assembly.named(coded, False, 0) if coded >> 2 else None

    @property
    def is_enumeration(self) -> bool:
        """Whether it is an enumeration."""
        return self.base is not None and self.base.name == "System.Enum"

    @cached_property
    def methods(self) -> list[Method]:
        """The methods in their order."""
        return [self._assembly.method(number) for number in self._assembly.members("TypeDef", self.number, "methods")]

    @cached_property
    def fields(self) -> list[Field]:
        """The fields in their order."""
        return [self._assembly.field(number) for number in self._assembly.members("TypeDef", self.number, "fields")]

    @cached_property
    def properties(self) -> list[Property]:
        """The properties in their order."""
        return self._assembly.properties_of(self.number)

    @cached_property
    def attributes(self) -> tuple[str, ...]:
        """The full names of its attributes."""
        return self._assembly.attributes_of("TypeDef", self.number)

    @property
    def underlying(self) -> Term | None:
        """Of an enumeration: its underlying integer."""
        return next((field.type for field in self.fields if not field.is_static), None)


class Assembly:
    """The metadata of one file. Everything that is read of it can end in an AssemblyError."""

    def __init__(self, data: bytes) -> None:
        self.image = Image(data)
        self.tables = Tables(Heaps(self.image.metadata()))
        if len(self.tables["Assembly"]) != 1:
            raise AssemblyError("it is a module without an assembly of its own")
        self.name = self.tables.text("Assembly", 1)
        self._terms: dict[tuple[int, bool], Term] = {}
        self._signatures: dict[int, MethodSignature] = {}

    @classmethod
    def read(cls, path: Path) -> Assembly:
        """Reads a file."""
        return cls(read_file(path))

    # -- types ------------------------------------------------------------------------------------------------------

    @cached_property
    def _enclosing(self) -> dict[int, int]:
        return dict(self.tables["NestedClass"].rows)  # type: ignore[arg-type]

    def _full_name(self, number: int) -> str:
        """The name of a type, behind those of the types that it is nested in."""
        names = []
        for _ in range(_MOST_NESTED):
            namespace = self.tables.text("TypeDef", number, "namespace")
            name = self.tables.text("TypeDef", number)
            names.append(f"{namespace}.{name}" if namespace else name)
            if number not in self._enclosing:
                return "+".join(reversed(names))
            number = self._enclosing[number]
        raise AssemblyError("the file is damaged: types are nested in one another")

    @cached_property
    def types(self) -> dict[str, TypeDefinition]:
        """All types by their full names, in their order, without the one of the module itself."""
        types: dict[str, TypeDefinition] = {}
        for number in range(2, len(self.tables["TypeDef"]) + 1):
            name = self._full_name(number)
            types.setdefault(name, TypeDefinition(self, number, name))
        return types

    @cached_property
    def references(self) -> list[str]:
        """The names of the assemblies that it refers to."""
        return [self.tables.text("AssemblyRef", number + 1) for number in range(len(self.tables["AssemblyRef"]))]

    def _reference(self, number: int) -> Term:
        """The term of a reference to a type elsewhere."""
        names = []
        for _ in range(_MOST_NESTED):
            namespace = self.tables.text("TypeRef", number, "namespace")
            name = self.tables.text("TypeRef", number)
            names.append(f"{namespace}.{name}" if namespace else name)
            table, outer = self.tables.decode("ResolutionScope", self.tables.value("TypeRef", number, "scope"))
            if table != "TypeRef":
                scope = self.tables.text("AssemblyRef", outer) if table == "AssemblyRef" and outer else ""
                return Term("named", "+".join(reversed(names)), scope=scope)
            number = outer
        raise AssemblyError("the file is damaged: types are nested in one another")

    def named(self, coded: int, is_value: bool, depth: int) -> Term:
        """The term of a coded index of a type."""
        known = self._terms.get((coded, is_value))
        if known is not None:
            return known
        table, number = self.tables.decode(_CODED_TYPE, coded)
        if table == "TypeDef":
            found = Term("named", self._full_name(number), is_value=is_value)
        elif table == "TypeRef":
            found = self._reference(number)
            found = Term("named", found.name, is_value=is_value, scope=found.scope)
        else:
            blob = self.tables.heaps.blob(self.tables.value("TypeSpec", number, "signature"))
            found = SignatureReader(blob, self.named, depth + 1).type()
        self._terms[coded, is_value] = found
        return found

    # -- members ----------------------------------------------------------------------------------------------------

    def members(self, table: str, number: int, column: str) -> range:
        """The numbers of the rows that belong to a row: from its own first to that of the next row."""
        of = {"methods": "MethodDef", "fields": "Field", "params": "Param", "properties": "Property"}[column]
        if len(self.tables[f"{of.removesuffix('Def')}Ptr"]):
            raise AssemblyError("it is an assembly that was edited while it ran, which this tool does not read")
        last = len(self.tables[of]) + 1
        first = self.tables.value(table, number, column)
        end = self.tables.value(table, number + 1, column) if number < len(self.tables[table]) else last
        if not 0 < first <= end <= last:
            raise AssemblyError(f"the file is damaged: the {column} of a row of {table} are in no order")
        return range(first, end)

    def method_signature(self, offset: int) -> MethodSignature:
        """The signature of a method or property."""
        found = self._signatures.get(offset)
        if found is None:
            found = SignatureReader(self.tables.heaps.blob(offset), self.named).method()
            self._signatures[offset] = found
        return found

    def method(self, number: int) -> Method:
        """A method by the number of its row."""
        flags = self.tables.value("MethodDef", number, "flags")
        signature = self.method_signature(self.tables.value("MethodDef", number, "signature"))
        names = [""] * len(signature.parameters)
        for row in self.members("MethodDef", number, "params"):
            sequence = self.tables.value("Param", row, "sequence")
            if 0 < sequence <= len(names):
                names[sequence - 1] = self.tables.text("Param", row)
        return Method(number, self.tables.text("MethodDef", number), signature, flags & _MEMBER_ACCESS == _PUBLIC,
                      bool(flags & _STATIC), tuple(names), self.attributes_of("MethodDef", number))

    def field(self, number: int) -> Field:
        """A field by the number of its row."""
        flags = self.tables.value("Field", number, "flags")
        blob = self.tables.heaps.blob(self.tables.value("Field", number, "signature"))
        return Field(self.tables.text("Field", number), SignatureReader(blob, self.named).field(),
                     bool(flags & _STATIC), self._constants.get(number) if flags & _LITERAL else None)

    @cached_property
    def _constants(self) -> dict[int, int]:
        """The integers of literal fields, by the numbers of the fields."""
        found: dict[int, int] = {}
        for kind, _, parent, value in self.tables["Constant"].rows:
            table, number = self.tables.decode("HasConstant", parent)
            if table == "Field" and kind in _CONSTANTS:
                blob = self.tables.heaps.blob(value)
                if len(blob) != struct.calcsize(_CONSTANTS[kind]):
                    raise AssemblyError("the file is damaged: a constant is not as wide as its type")
                found[number] = struct.unpack(_CONSTANTS[kind], blob)[0]
        return found

    @cached_property
    def _semantics(self) -> dict[tuple[str, int], dict[int, int]]:
        """The methods of properties and events, by what they do: 1 writes, 2 reads."""
        found: dict[tuple[str, int], dict[int, int]] = defaultdict(dict)
        for semantics, method, association in self.tables["MethodSemantics"].rows:
            found[self.tables.decode("HasSemantics", association)][semantics] = method
        return found

    @cached_property
    def _property_maps(self) -> dict[int, int]:
        return {parent: row for row, parent in enumerate(self.tables["PropertyMap"].column("parent"), 1)}

    def properties_of(self, number: int) -> list[Property]:
        """The properties of a type by the number of its row."""
        if number not in self._property_maps:
            return []
        found = []
        for row in self.members("PropertyMap", self._property_maps[number], "properties"):
            signature = self.method_signature(self.tables.value("Property", row, "signature"))
            methods = self._semantics.get(("Property", row), {})
            setter, getter = (self.method(methods[bit]) if bit in methods else None for bit in (1, 2))
            found.append(Property(self.tables.text("Property", row), signature.returned, getter, setter))
        return found

    # -- attributes -------------------------------------------------------------------------------------------------

    @cached_property
    def _attributes(self) -> dict[tuple[str, int], list[int]]:
        found: dict[tuple[str, int], list[int]] = defaultdict(list)
        for parent, kind, _ in self.tables["CustomAttribute"].rows:
            found[self.tables.decode("HasCustomAttribute", parent)].append(kind)
        return found

    @cached_property
    def _attribute_names(self) -> dict[int, str]:
        return {}

    def attributes_of(self, table: str, number: int) -> tuple[str, ...]:
        """The full names of the attributes of a row."""
        return tuple(self._attribute(kind) for kind in self._attributes.get((table, number), ()))

    def _attribute(self, kind: int) -> str:
        """The name of the type whose constructor makes an attribute."""
        if kind not in self._attribute_names:
            table, number = self.tables.decode("CustomAttributeType", kind)
            if table == "MethodDef":
                self.tables.row("MethodDef", number)
                name = self._full_name(self._owner(number))
            else:
                parent, row = self.tables.decode("MemberRefParent", self.tables.value("MemberRef", number, "parent"))
                # A generic attribute belongs to a specification; a constructor of a module has no type of interest.
                name = (self._reference(row).name if parent == "TypeRef"
                        else self._full_name(row) if parent == "TypeDef" else "")
            self._attribute_names[kind] = name
        return self._attribute_names[kind]

    @cached_property
    def _first_methods(self) -> list[int]:
        return self.tables["TypeDef"].column("methods")

    def _owner(self, method: int) -> int:
        """The number of the type that a method belongs to."""
        return max(1, bisect_right(self._first_methods, method))
