"""The words of the stubs for the kinds of wires: annotations, managed names, and ranges of numbers."""

from __future__ import annotations

from dataclasses import dataclass

from ...wires import Shape, Wire

SUPPORT = "zelmor._typing"
INTEROP = "zelmor.imaging._wrpgen._interop"
GENERIC = "zelmor.imaging._wrpgen._generic"
REFLECTION = "zelmor.pyreflection"

Name = tuple[str, str]  # a module and a name in it
_BUILTINS = "builtins"


@dataclass(frozen=True)
class WireWords:
    """The words for a wire that needs no catalogue."""

    managed: str  # the type's name on the managed side
    accepted: tuple[Name, ...]  # the types of arguments
    given: Name  # the type of a result
    takes_none: bool = False
    gives_none: bool = False


def _plain(managed: str, name: str) -> WireWords:
    return WireWords(managed, ((_BUILTINS, name),), (_BUILTINS, name))


def _value(managed: str, module: str, *names: str, nullable: bool = False) -> WireWords:
    """A value with a Python class of its own: the first name is that of results."""
    return WireWords(managed, tuple((module, name) for name in names), (module, names[0]), nullable, nullable)


def _reference(managed: str, accepted: Name, given: Name) -> WireWords:
    return WireWords(managed, (accepted,), given, True, True)


WIRES = {
    "bool": _plain("Boolean", "bool"), "int8": _plain("SByte", "int"), "uint8": _plain("Byte", "int"),
    "int16": _plain("Int16", "int"), "uint16": _plain("UInt16", "int"), "int32": _plain("Int32", "int"),
    "uint32": _plain("UInt32", "int"), "int64": _plain("Int64", "int"), "uint64": _plain("UInt64", "int"),
    "float": _plain("Single", "float"), "double": _plain("Double", "float"), "char": _plain("Char", "str"),
    "timedelta": _value("TimeSpan", "datetime", "timedelta"),
    "datetime": _value("DateTime", "datetime", "datetime", "date", "time"),
    "datetime?": _value("DateTime?", "datetime", "datetime", "date", "time", nullable=True),
    "datetimeoffset": _value("DateTimeOffset", "datetime", "datetime", "time"),
    "decimal": _value("Decimal", "decimal", "Decimal", "DecimalTuple"), "UUID": _value("Guid", "uuid", "UUID"),
    "string": _reference("String", (_BUILTINS, "str"), (_BUILTINS, "str")),
    "bytes": _reference("Byte[]", ("_typeshed", "ReadableBuffer"), (_BUILTINS, "bytearray")),
    "object": WireWords("Object", ((SUPPORT, "Variant"),), ("typing", "Any")),
    "stream": _reference("Stream", (SUPPORT, "StreamLike"), (SUPPORT, "Stream")),
    "Array": _reference("Array", (SUPPORT, "ArrayLike"), (INTEROP, "_ArrayWrapper")),
    "ArrayList": _reference("ArrayList", (SUPPORT, "ArrayListLike"), (INTEROP, "_ArrListWrapper")),
    "IList": _reference("IList", (SUPPORT, "ListLike"), (INTEROP, "_IListWrapper")),
    "ICollection": _reference("ICollection", (SUPPORT, "CollectionLike"), (INTEROP, "_IColWrapper")),
    "IEnumerable": _reference("IEnumerable", (SUPPORT, "EnumerableLike"), (INTEROP, "_IterableWrapper")),
    "IEnumerator": _reference("IEnumerator", (SUPPORT, "EnumeratorLike"), (INTEROP, "_IterWrapper")),
}


@dataclass(frozen=True)
class ShapeWords:
    """The words for a kind of typed collection."""

    managed: str  # the managed name of a collection of {0}
    suffix: str  # behind the name of the element


SHAPES = {Shape.ARRAY: ShapeWords("{0}[]", "Array"), Shape.LIST: ShapeWords("List<{0}>", "List"),
          Shape.LIST_INTERFACE: ShapeWords("IList<{0}>", "IList"),
          Shape.ENUMERABLE: ShapeWords("IEnumerable<{0}>", "Iterable"),
          Shape.ENUMERATOR: ShapeWords("IEnumerator<{0}>", "Iterator")}

#: The range of a number, and the result of one that is beyond, by managed name.
RANGES = {"SByte": "-128 to 127", "Byte": "0 to 255", "Int16": "-32768 to 32767", "UInt16": "0 to 65535",
          "Int32": "wraps beyond 32 bits", "UInt32": "not negative, wraps beyond 32 bits", "Int64": "64 bits",
          "UInt64": "0 to 2**64 - 1", "Single": "rounded to single precision", "Char": "one UTF-16 unit"}


def managed_name(wire: Wire) -> str:
    """The name of a type in the managed library's own documentation."""
    if wire.type is not None:
        return wire.type.name
    if wire.sibling:
        return wire.sibling
    if wire.collection is not None and wire.shape is not None:
        return SHAPES[wire.shape].managed.format(managed_name(wire.collection.element))
    return WIRES[wire.name].managed
