"""The words of the embedded runtime for the kinds of wires: enumerators of its tables, and characters of signatures."""

from __future__ import annotations

from ...wires import (AnyCollection, Enumeration, Form, Instance, Interface, Passing, Shape, SiblingClass,
                      SiblingEnumeration, SiblingRecord, Slot, Struct, TypedCollection, Wire)

# The enumerator of the runtime's Wire, by the name of a wire that needs no catalogue or else by its class. A sibling's
# record has none: no behavior takes one.
WIRES: dict[str | type[Wire], str] = {
    "void": "kVoid", "bool": "kBool", "int8": "kInt8", "uint8": "kUInt8", "int16": "kInt16", "uint16": "kUInt16",
    "int32": "kInt32", "uint32": "kUInt32", "int64": "kInt64", "uint64": "kUInt64", "float": "kSingle",
    "double": "kDouble", "char": "kChar", "timedelta": "kTimeSpan", "datetime": "kDateTime",
    "datetime?": "kNullableDateTime", "datetimeoffset": "kDateTimeOffset", "decimal": "kDecimal", "UUID": "kGuid",
    "string": "kString", "bytes": "kBytes", "object": "kObject", "stream": "kStream",
    Instance: "kClass", Struct: "kStruct", Interface: "kInterface", AnyCollection: "kCollection",
    TypedCollection: "kCollection", SiblingEnumeration: "kInt32", SiblingClass: "kClass", SiblingRecord: ""}

# The enumerator of the runtime's CollectionShape.
SHAPES = {Shape.SYSTEM_ARRAY: "kSystemArray", Shape.ARRAY_LIST: "kArrayList", Shape.ANY_LIST: "kIList",
          Shape.ANY_COLLECTION: "kICollection", Shape.ANY_ENUMERABLE: "kIEnumerable",
          Shape.ANY_ENUMERATOR: "kIEnumerator", Shape.ARRAY: "kArray", Shape.LIST: "kList",
          Shape.LIST_INTERFACE: "kIList", Shape.ENUMERABLE: "kIEnumerable", Shape.ENUMERATOR: "kIEnumerator"}

# Characters of a signature: of values, and of the pointers that have one of their own.
_VALUES = {Form.NOTHING: "v", Form.BOOL: "b", Form.INT8: "c", Form.UINT8: "C", Form.INT16: "s", Form.UINT16: "S",
           Form.INT32: "i", Form.UINT32: "I", Form.INT64: "l", Form.UINT64: "L", Form.SINGLE: "f", Form.DOUBLE: "d",
           Form.HANDLE: "p", Form.OBJECT: "O"}
_POINTERS = {Form.TEXT: "T", Form.BYTES: "B", Form.VARIANT: "V", Form.INSTANCE: "o", Form.COLLECTION: "k",
             Form.DATE: "t", Form.DECIMAL: "D", Form.UUID: "G", Form.RECORD: "p"}

# The .NET types of elements that have a name of their own on the wire.
NET_TYPES = {"bool": "Boolean", "int8": "SByte", "uint8": "Byte", "int16": "Int16", "uint16": "UInt16",
             "int32": "Int32", "uint32": "UInt32", "int64": "Int64", "uint64": "UInt64", "float": "Single",
             "double": "Double", "char": "Char", "string": "String", "bytes": "Byte[]", "object": "Object"}

# The underlying integers of enumerations.
INTEGERS = {Form.INT8: "int8_t", Form.UINT8: "uint8_t", Form.INT16: "int16_t", Form.UINT16: "uint16_t",
            Form.INT32: "int32_t", Form.UINT32: "uint32_t", Form.INT64: "int64_t", Form.UINT64: "uint64_t"}


def runtime_wire(wire: Wire) -> str:
    """The enumerator of the runtime's Wire; nothing where it has none."""
    if isinstance(wire, Enumeration):
        return WIRES[wire.underlying.name]
    found = WIRES.get(wire.name)
    return WIRES[type(wire)] if found is None else found


def code(slot: Slot) -> str:
    """The character of a signature for one argument or for the return value."""
    if slot.passing is Passing.VALUE:
        return _VALUES[slot.form]
    return _POINTERS.get(slot.form, "r")
