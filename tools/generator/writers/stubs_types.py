"""What a value is to a type checker: the annotations of parameters, results and properties, and the imports they need.

An annotation says what the converters accept and what the results are, as near as the checker's types come. Two facts
lie beyond them: `bool` and the members of integer enumerations are kinds of `int` to a checker, and are refused.
"""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass, field

from ..errors import CatalogueError
from ..model import Collection, Model, Type
from ..wires import INTEROP_SHAPES, Wire

SUPPORT = "zelmor._typing"
INTEROP = "zelmor.imaging._wrpgen._interop"
GENERIC = "zelmor.imaging._wrpgen._generic"
REFLECTION = "zelmor.pyreflection"

SCALAR_TYPES = {"bool": "bool", "float": "float", "double": "float", "char": "str",
                **{f"{sign}int{bits}": "int" for sign in ("", "u") for bits in (8, 16, 32, 64)}}
#: How the managed side calls what crosses.
MANAGED_NAMES = {"bool": "Boolean", "int8": "SByte", "uint8": "Byte", "int16": "Int16", "uint16": "UInt16",
                 "int32": "Int32", "uint32": "UInt32", "int64": "Int64", "uint64": "UInt64", "float": "Single",
                 "double": "Double", "char": "Char", "string": "String", "bytes": "Byte[]", "object": "Object",
                 "stream": "Stream", "void": "Void", "datetime": "DateTime", "datetime?": "DateTime?",
                 "datetimeoffset": "DateTimeOffset",
                 "decimal": "Decimal", "timedelta": "TimeSpan", "UUID": "Guid"}
#: What happens to a number that is too large, by managed name.
RANGES = {"SByte": "-128 to 127", "Byte": "0 to 255", "Int16": "-32768 to 32767", "UInt16": "0 to 65535",
          "Int32": "wraps beyond 32 bits", "UInt32": "not negative, wraps beyond 32 bits", "Int64": "64 bits",
          "UInt64": "0 to 2**64 - 1", "Single": "rounded to single precision", "Char": "one UTF-16 unit"}
# Values with a Python class of their own: module and names that are accepted, the first of which a result is.
_DATES = ("datetime", ("datetime", "date", "time"))
_VALUES = {"datetime": _DATES, "datetime?": _DATES, "datetimeoffset": ("datetime", ("datetime", "time")),
           "decimal": ("decimal", ("Decimal", "DecimalTuple")), "timedelta": ("datetime", ("timedelta",)),
           "UUID": ("uuid", ("UUID",))}
_COLLECTION_SUFFIXES = {"array": "Array", "list": "List", "ilist": "IList", "iterable": "Iterable",
                        "iterator": "Iterator"}


class Universe:
    """All assemblies at once: which module a type is in, and who implements an interface."""

    def __init__(self, models: list[Model]) -> None:
        self.models = models
        self.types = [entry for model in models for entry in model.types]
        self.modules = {module.namespace: module.name for model in models for module in model.modules}
        self.collections = [row for model in models for row in model.collections]
        self._implementers: dict[Type, list[Type]] = {}
        for entry in self.types:
            for interface in self._all_interfaces(entry):
                self._implementers.setdefault(interface, []).append(entry)
        self._names = self._collection_names()

    @classmethod
    def _all_interfaces(cls, entry: Type) -> list[Type]:
        found: dict[Type, None] = {}
        for ancestor in [entry, *entry.bases()]:
            for interface in ancestor.implemented:
                found[interface] = None
                found.update(dict.fromkeys(cls._all_interfaces(interface)))
        return list(found)

    def implementers(self, interface: Type) -> list[Type]:
        """The types whose instances an interface takes, without those that derive from another of them."""
        everyone = self._implementers.get(interface, [])
        return [entry for entry in everyone if not any(base in everyone for base in entry.bases())]

    def derived(self, entry: Type) -> list[Type]:
        """The types that derive directly from one."""
        return [other for other in self.types if other.base is entry]

    def _collection_names(self) -> dict[tuple[str, str], str]:
        names = {(row.identifier, kind): self.element_name(row.element) + suffix
                 for row in self.collections for kind, suffix in _COLLECTION_SUFFIXES.items() if kind in row.kinds}
        if len(set(names.values())) != len(names):
            raise CatalogueError(self.collections[0].place, "two typed collections would have one name in the stubs")
        return names

    def element_name(self, wire: Wire) -> str:
        """A word for an element type: `Int32`, `Point`, `DrawingColor`."""
        if wire.type is not None:
            return wire.type.name
        if wire.sibling is not None:
            return "Drawing" + wire.sibling.full_name.rsplit(".", 1)[-1]
        if wire.collection is not None:
            return self.element_name(wire.collection.element) + "Array"
        return {"bytes": "Bytes"}.get(wire.name) or MANAGED_NAMES[wire.name]

    @property
    def collection_names(self) -> set[str]:
        """The words for all typed collections."""
        return set(self._names.values())

    def collection_name(self, row: Collection, kind: str) -> str:
        """The word for a typed collection: `Int32Array`."""
        return self._names[(row.identifier, kind)]


@dataclass
class Scope:
    """The names that one stub file uses: what it defines itself, and what it has to import."""

    universe: Universe
    module: str
    defined: set[str]
    imports: dict[tuple[str, str], str] = field(default_factory=dict)
    shadowed: frozenset[str] = frozenset()  # members of the class at hand that hide builtins of the same name

    def name(self, module: str, name: str) -> str:
        """The text by which a name of a module is meant here."""
        if module == self.module:
            return name
        key = (module, name)
        if key not in self.imports:
            taken = self.defined | set(self.imports.values())
            self.imports[key] = name if name not in taken else f"_{module.rsplit('.', 1)[-1]}_{name}"
        return self.imports[key]

    def builtin(self, name: str) -> str:
        """A builtin, spelled out where the class has a member of that name."""
        if name in self.shadowed:
            self.imports.setdefault(("builtins", ""), "builtins")
            return f"builtins.{name}"
        return name

    def typing(self, name: str) -> str:
        """A name of the typing module."""
        return self.name("typing", name)

    def support(self, name: str) -> str:
        """A name of the module that the stubs share."""
        return self.name(SUPPORT, name)

    def of(self, entry: Type) -> str:
        """A class or enumeration."""
        return self.name(entry.module, entry.name)

    def import_lines(self) -> list[str]:
        """The import statements, sorted."""
        lines = [f"import {module}" for module, name in self.imports if not name]
        by_module: dict[str, list[str]] = {}
        for (module, name), text in self.imports.items():
            if name:
                by_module.setdefault(module, []).append(name if text == name else f"{name} as {text}")
        return sorted(lines) + [line for module in sorted(by_module)
                                for line in _import(module, sorted(by_module[module]))]

    # -- annotations -----------------------------------------------------------------------------------------------

    def argument(self, wire: Wire) -> str:
        """What a parameter or a setter takes."""
        return self._one_of(self._accepted(wire))

    def result(self, wire: Wire) -> str:
        """What a method gives; a checker does not insist on a test for None where the managed side may have none."""
        text, nullable = self._given(wire)
        return f"{text} | {self.support('MaybeNone')}" if nullable else text

    def value(self, wire: Wire) -> str:
        """What a property that can be set to None gives."""
        text, nullable = self._given(wire)
        return f"{text} | None" if nullable else text

    def element(self, wire: Wire) -> str:
        """What a collection holds, as it comes out."""
        return self._given(wire)[0]

    def _one_of(self, parts: Iterable[str]) -> str:
        return " | ".join(dict.fromkeys(parts))

    def _accepted(self, wire: Wire) -> list[str]:
        if wire.name in _VALUES:
            module, names = _VALUES[wire.name]
            return [self.name(module, name) for name in names] + (["None"] if wire.name.endswith("?") else [])
        if wire.type is not None:
            return self._accepted_type(wire.type)
        if wire.sibling is not None:
            return [self._sibling(wire), *(["None"] if wire.sibling.kind == "class" else [])]
        if wire.shape is not None:
            return [*self._accepted_collection(wire), "None"]
        if wire.scalar is not None:
            return [self.builtin(SCALAR_TYPES[wire.name])]
        if wire.kind == "object":
            return [self.support("Variant")]
        if wire.kind == "string":
            return [self.builtin("str"), "None"]
        return [self.support("StreamLike") if wire.kind == "stream" else self.name("_typeshed", "ReadableBuffer"),
                "None"]

    def _accepted_type(self, entry: Type) -> list[str]:
        if entry.kind == "interface":
            return [self.interface(entry), "None"]
        return [self.of(entry), *([] if entry.is_enum or entry.kind == "struct" else ["None"])]

    def _accepted_collection(self, wire: Wire) -> list[str]:
        assert wire.shape is not None
        if wire.collection is not None:
            items = self._one_of(self._accepted(wire.collection.element))
            return [self._wrapper(wire), f"{self.name('collections.abc', 'Sequence')}[{items}]"]
        return [self.support({"Array": "ArrayLike", "ArrayList": "ArrayListLike", "IList": "ListLike",
                              "ICollection": "CollectionLike", "IEnumerable": "EnumerableLike",
                              "IEnumerator": "EnumeratorLike"}[wire.name])]

    def interface(self, entry: Type) -> str:
        """An interface: its own wrapper or that of any class that implements it."""
        if not self.universe.implementers(entry):
            return self.of(entry)
        return self.support(f"{entry.name}Like")

    def _sibling(self, wire: Wire) -> str:
        assert wire.sibling is not None
        namespace, _, name = wire.sibling.full_name.rpartition(".")
        return self.name(self.universe.modules[namespace], name)

    def _wrapper(self, wire: Wire) -> str:
        assert wire.shape is not None
        if wire.collection is None:
            return self.name(INTEROP, f"_{wire.shape.record}")
        kind = wire.name.split(" of ", 1)[0]
        if kind not in wire.collection.kinds:  # only ever built from a Python sequence
            return self.name(INTEROP, "_ArrayWrapper")
        return self.support(self.universe.collection_name(wire.collection, kind))

    def _given(self, wire: Wire) -> tuple[str, bool]:
        """The annotation of a result, and whether it can be None as well."""
        if wire.kind == "void":
            return "None", False
        if wire.name in _VALUES:
            module, names = _VALUES[wire.name]
            return self.name(module, names[0]), wire.name.endswith("?")
        if wire.type is not None:
            text = self.interface(wire.type) if wire.type.kind == "interface" else self.of(wire.type)
            return text, wire.type.kind in ("class", "interface", "static class")
        if wire.sibling is not None:
            return self._sibling(wire), wire.sibling.kind == "class"
        if wire.shape is not None:
            return self._wrapper(wire), True
        if wire.scalar is not None:
            return self.builtin(SCALAR_TYPES[wire.name]), False
        if wire.kind == "object":
            return self.typing("Any"), False
        if wire.kind == "stream":
            return self.support("Stream"), True
        return self.builtin("str" if wire.kind == "string" else "bytearray"), True


def _import(module: str, names: list[str]) -> list[str]:
    line = f"from {module} import {', '.join(names)}"
    if len(line) <= 120:
        return [line]
    return [f"from {module} import (", *(f"    {name}," for name in names), ")"]


def managed_name(wire: Wire) -> str:
    """What a reader of the managed library's own documentation would call a type."""
    if wire.type is not None:
        return wire.type.name
    if wire.sibling is not None:
        return wire.sibling.full_name
    if wire.collection is not None:
        inner = managed_name(wire.collection.element)
        kind = wire.name.split(" of ", 1)[0]
        return {"array": f"{inner}[]", "list": f"List<{inner}>", "ilist": f"IList<{inner}>",
                "iterable": f"IEnumerable<{inner}>", "iterator": f"IEnumerator<{inner}>"}[kind]
    return wire.name if wire.name in INTEROP_SHAPES else MANAGED_NAMES[wire.name]
