"""The C# words for the kinds of wires: types of members and slots, and how a value crosses."""

from __future__ import annotations

from dataclasses import dataclass

from ...wires import (AnyCollection, Enumeration, Form, Instance, Interface, Nullable, Passing, Shape, SiblingClass,
                      SiblingEnumeration, SiblingRecord, Slot, Struct, TypedCollection, Wire)

# The type of each form on the wire; those of pointers without the star.
FORMS = {Form.NOTHING: "void", Form.BOOL: "byte", Form.INT8: "sbyte", Form.UINT8: "byte", Form.INT16: "short",
         Form.UINT16: "ushort", Form.INT32: "int", Form.UINT32: "uint", Form.INT64: "long", Form.UINT64: "ulong",
         Form.SINGLE: "float", Form.DOUBLE: "double", Form.HANDLE: "nint", Form.OBJECT: "nint",
         Form.TEXT: "PyStringArg", Form.BYTES: "PyBytesArg", Form.VARIANT: "VariantArg",
         Form.INSTANCE: "PyObjectOutArg", Form.COLLECTION: "PyCollectionArg", Form.DATE: "long", Form.DECIMAL: "uint",
         Form.UUID: "byte"}
_RECORDS = {"System.Drawing.PointF": "ShlPointFObject", "System.Drawing.Color": "ShlColorObject"}

# Types of the catalogues that .NET has itself.
FRAMEWORK_TYPES = frozenset(("System.Object", "System.Type", "System.Enum", "System.IO.FileMode"))

# The .NET types of wires that need no catalogue.
_TYPES = {"void": "void", "bool": "bool", "int8": "sbyte", "uint8": "byte", "int16": "short", "uint16": "ushort",
          "int32": "int", "uint32": "uint", "int64": "long", "uint64": "ulong", "float": "float", "double": "double",
          "char": "char", "timedelta": "System.TimeSpan", "datetime": "System.DateTime",
          "datetime?": "System.DateTime?", "datetimeoffset": "System.DateTimeOffset", "decimal": "decimal",
          "UUID": "System.Guid", "string": "string", "bytes": "byte[]", "object": "object",
          "stream": "System.IO.Stream"}
# The .NET types of collections; {} is the element.
_COLLECTIONS = "System.Collections"
SHAPES = {Shape.SYSTEM_ARRAY: "System.Array", Shape.ARRAY_LIST: f"{_COLLECTIONS}.ArrayList",
          Shape.ANY_LIST: f"{_COLLECTIONS}.IList", Shape.ANY_COLLECTION: f"{_COLLECTIONS}.ICollection",
          Shape.ANY_ENUMERABLE: f"{_COLLECTIONS}.IEnumerable", Shape.ANY_ENUMERATOR: f"{_COLLECTIONS}.IEnumerator",
          Shape.ARRAY: "{}[]", Shape.LIST: f"{_COLLECTIONS}.Generic.List<{{}}>",
          Shape.LIST_INTERFACE: f"{_COLLECTIONS}.Generic.IList<{{}}>",
          Shape.ENUMERABLE: f"{_COLLECTIONS}.Generic.IEnumerable<{{}}>",
          Shape.ENUMERATOR: f"{_COLLECTIONS}.Generic.IEnumerator<{{}}>"}
# The functions of Arguments that read them.
_READERS = {Shape.SYSTEM_ARRAY: "AnyArray({name})", Shape.ARRAY_LIST: "AnyArrayList({name})",
            Shape.ANY_LIST: "AnyList({name}, Bridge.Module, ref lent)",
            Shape.ANY_COLLECTION: "AnyCollection({name}, Bridge.Module, ref lent)",
            Shape.ANY_ENUMERABLE: "AnyEnumerable({name}, Bridge.Module, ref lent)",
            Shape.ANY_ENUMERATOR: "AnyEnumerator({name}, ref lent)",
            Shape.ARRAY: "Array({name}, {element})", Shape.LIST: "List({name}, {element})"}


@dataclass(frozen=True)
class WireWords:
    """How a value of a kind of wire crosses, as templates: {name} is a slot, {value} a .NET value, {type} its type."""

    read: str  # the expression that makes the .NET value of an argument
    write: str  # what is returned or, where the result comes out by an argument, the call that fills `result`


_SAME = WireWords("{name}", "{value}")
_WORDS: dict[str | type[Wire], WireWords] = {
    **{name: _SAME for name in ("int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64", "float",
                                "double")},
    "bool": WireWords("{name} != 0", "(byte)({value} ? 1 : 0)"),
    "char": WireWords("(char){name}", "{value}"),
    "timedelta": WireWords("Arguments.TimeSpan({name})", "{value}.Ticks"),
    "datetime": WireWords("Arguments.DateTime({name})", "Results.DateTime({value}, {name})"),
    "datetimeoffset": WireWords("Arguments.DateTimeOffset({name})", "Results.DateTimeOffset({value}, {name})"),
    "decimal": WireWords("Arguments.Decimal({name})", "Results.Decimal({value}, {name})"),
    "UUID": WireWords("Arguments.Guid({name})", "Results.Guid({value}, {name})"),
    "string": WireWords("Arguments.Text({name})", "Results.Text({value})"),
    "bytes": WireWords("Arguments.Bytes({name})", "Results.Bytes({value})"),
    "object": WireWords("Arguments.Anything({name})", "Results.Anything({value}, Bridge.Module)"),
    "stream": WireWords("Arguments.Stream({name}, Bridge.Module, ref lent)", "Results.Collection({value}, {name})"),
    Enumeration: WireWords("({type}){name}", "({form}){value}"),
    Instance: WireWords("Handles.Argument<{type}>({name})", "Handles.Make({value})"),
    Struct: WireWords("Arguments.Struct<{type}>({name})", "Handles.MakeStruct({value})"),
    Interface: WireWords("Arguments.Instance<{type}>({name})", "Results.Instance({value}, {name})"),
    SiblingClass: WireWords("Handles.Argument<{type}>({name})", "Handles.Make({value})"),
    SiblingEnumeration: WireWords("({type}){name}", "(int){value}"),
}
_RECORD_WORDS = {"System.Drawing.PointF": WireWords("Arguments.PointF({name})", "Results.PointF({value}, {name})"),
                 "System.Drawing.Color": WireWords("Arguments.Color({name})", "Results.Color({value}, {name})")}


def is_reference(wire: Wire) -> bool:
    """Whether a value can be null."""
    return (wire.name in ("string", "bytes", "object", "stream") or wire.shape is not None
            or isinstance(wire, (Instance, Interface, SiblingClass)))


def net_type(wire: Wire) -> str:
    """The .NET type of a wire, without the mark of what can be null."""
    if wire.name in _TYPES:
        return _TYPES[wire.name]
    if wire.type is not None:
        return wire.type.full_name
    if wire.shape is not None:
        return SHAPES[wire.shape].format(element_type(wire.collection.element) if wire.collection is not None else "")
    return wire.sibling


def element_type(wire: Wire) -> str:
    """The type of a collection's elements: a collection of anything can hold null, too."""
    return "object?" if wire.name == "object" else net_type(wire)


def member_type(wire: Wire) -> str:
    """The type of a property, parameter or result. Python can hand None over for every reference."""
    return net_type(wire) + ("?" if is_reference(wire) else "")


def slot_type(slot: Slot) -> str:
    """The type of an argument or of a return value on the wire."""
    name = _RECORDS[slot.record] if slot.form is Form.RECORD else FORMS[slot.form]
    return name if slot.passing is Passing.VALUE else f"{name}*"


def record_type(wire: SiblingRecord) -> str:
    """The record of a sibling's value."""
    return _RECORDS[wire.sibling]


def words_of(wire: Wire) -> WireWords:
    """How values of a wire cross."""
    if isinstance(wire, SiblingRecord):
        return _RECORD_WORDS[wire.sibling]
    if isinstance(wire, AnyCollection):
        return WireWords("", "Results.Collection({value}, {name})")
    return _WORDS.get(wire.name) or _WORDS[type(wire)]


def element_reader(identifier: str) -> str:
    """The object that reads elements of this type from Python lists."""
    return f"Elements.E{identifier}"


def read(wire: Wire, name: str) -> str:
    """The expression that makes the .NET value of an argument."""
    if isinstance(wire, Nullable):
        return f"{name}Present != 0 ? {read(wire.inner, name)} : null"
    if isinstance(wire, AnyCollection):
        if wire.shape not in _READERS:
            return f"Arguments.Collection<{net_type(wire)}>({name})"
        element = element_reader(wire.row.identifier) if isinstance(wire, TypedCollection) else ""
        return "Arguments." + _READERS[wire.declared_shape].format(name=name, element=element)
    return words_of(wire).read.format(name=name, type=net_type(wire))


def write(wire: Wire, value: str, name: str = "result") -> str:
    """The expression for what is returned, or the call that fills the argument for the result."""
    form = FORMS[wire.returned.form]
    return words_of(wire).write.format(value=value, name=name, form=form)
