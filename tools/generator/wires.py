"""How values cross: the wire types that a catalogue line can name, and what each means on both sides.

A wire is resolved against the model: a type name becomes a class, struct, interface or enumeration, a collection's name
finds the row of its element.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from .model import Collection, Type


@dataclass(frozen=True)
class Scalar:
    """A value that crosses as the machine type of the same width."""

    cpp: str  # C++ type on the wire
    converter: str  # from Python
    builder: str  # to Python
    code: str  # in a signature
    wire: str  # enumerator of the runtime's Wire


SCALARS: dict[str, Scalar] = {
    "bool": Scalar("bool", "fn_conv_py_bool_to_clr_bool", "PyBool_FromLong", "b", "kBool"),
    "int8": Scalar("signed char", "fn_conv_py_long_to_clr_int8", "PyLong_FromLong", "c", "kInt8"),
    "uint8": Scalar("unsigned char", "fn_conv_py_ulong_to_clr_uint8", "PyLong_FromUnsignedLong", "C", "kUInt8"),
    "int16": Scalar("short", "fn_conv_py_long_to_clr_int16", "PyLong_FromLong", "s", "kInt16"),
    "uint16": Scalar("unsigned short", "fn_conv_py_ulong_to_clr_uint16", "PyLong_FromUnsignedLong", "S", "kUInt16"),
    "int32": Scalar("int", "fn_conv_py_long_to_clr_int32", "PyLong_FromLong", "i", "kInt32"),
    "uint32": Scalar("unsigned int", "fn_conv_py_ulong_to_clr_uint32", "PyLong_FromUnsignedLong", "I", "kUInt32"),
    "int64": Scalar("long", "fn_conv_py_long_to_clr_int64", "PyLong_FromLongLong", "l", "kInt64"),
    "uint64": Scalar("unsigned long", "fn_conv_py_ulong_to_clr_uint64", "PyLong_FromUnsignedLongLong", "L", "kUInt64"),
    "float": Scalar("float", "fn_conv_py_float_to_clr_float", "PyFloat_FromDouble", "f", "kSingle"),
    "double": Scalar("double", "fn_conv_py_float_to_clr_double", "PyFloat_FromDouble", "d", "kDouble"),
    "char": Scalar("unsigned short", "fn_conv_py_string_to_clr_char", "fn_conv_clr_char_to_py_string", "S", "kChar"),
    "timedelta": Scalar("long", "fn_conv_py_datetimedelta_to_clr_timespan", "fn_conv_clr_timespan_to_py_datetimedelta",
                        "l", "kTimeSpan"),
}


@dataclass(frozen=True)
class Words:
    """A value type of the .NET library that crosses as several words, behind a pointer; alone it goes by value."""

    cpp: str  # C++ type of a word
    taken: int  # how many words an argument has
    given: int  # how many words a result has
    converter: str  # from Python
    builder: str  # to Python
    code: str  # of the pointer in a signature
    wire: str  # enumerator of the runtime's Wire


WORDS: dict[str, Words] = {
    "datetime": Words("long", 1, 2, "fn_conv_py_datetime_to_clr_datetime", "fn_conv_clr_datetime_to_py_datetime",
                      "t", "kDateTime"),
    "datetimeoffset": Words("long", 2, 2, "fn_conv_py_datetime_to_clr_datetimeoffset",
                            "fn_conv_clr_datetimeoffset_to_py_datetime", "t", "kDateTimeOffset"),
    "decimal": Words("unsigned int", 4, 4, "fn_conv_py_decimal_to_clr_decimal", "fn_conv_clr_decimal_to_py_decimal",
                     "D", "kDecimal"),
    "UUID": Words("unsigned char", 16, 16, "fn_conv_py_uuid_to_clr_guid", "fn_conv_clr_guid_to_py_uuid", "G", "kGuid"),
}

# The values that can be null, written with a question mark behind: those that the runtime has an enumerator for.
NULLABLES = ("datetime",)


@dataclass(frozen=True)
class Shape:
    """A kind of managed collection as a member's type."""

    runtime: str  # enumerator of the runtime's CollectionShape
    record: str  # suffix of the wrapper's static record
    converter: str  # from Python; empty where no member takes one
    interface: bool  # a result finds its run-time type, or the Python object that the managed side held


# The kinds without an element type, by the name that a catalogue line uses.
INTEROP_SHAPES: dict[str, Shape] = {
    "Array": Shape("kSystemArray", "ArrayWrapper", "array", False),
    "ArrayList": Shape("kArrayList", "ArrListWrapper", "arrlist", False),
    "IList": Shape("kIList", "IListWrapper", "ilist", True),
    "ICollection": Shape("kICollection", "IColWrapper", "icollection", True),
    "IEnumerable": Shape("kIEnumerable", "IterableWrapper", "iterable", True),
    "IEnumerator": Shape("kIEnumerator", "IterWrapper", "iter", True),
}

# The kinds of closed generic collections.
TYPED_SHAPES: dict[str, Shape] = {
    "array": Shape("kArray", "ArrayWrapper", "array", False),
    "list": Shape("kList", "ListWrapper", "list", False),
    "ilist": Shape("kIList", "IListWrapper", "", True),
    "iterable": Shape("kIEnumerable", "IterableWrapper", "", True),
    "iterator": Shape("kIEnumerator", "IterWrapper", "", True),
}


@dataclass(frozen=True)
class Sibling:
    """A type of a sibling module, which crosses by the converters that the sibling's capsule holds."""

    full_name: str
    symbol: str
    kind: str  # `class`, `record` or `enum`
    record: str = ""  # the value record that it crosses in


SIBLINGS: dict[str, Sibling] = {
    "drawing.PointF": Sibling("System.Drawing.PointF", "EDE1485C_PointF", "record", "ShlPointFObject"),
    "drawing.Color": Sibling("System.Drawing.Color", "52DA2AC5_Color", "record", "ShlColorObject"),
    "drawing.ColorMap": Sibling("System.Drawing.Imaging.ColorMap", "9AB10FD3_ColorMap", "class"),
    "io.FileMode": Sibling("System.IO.FileMode", "54938D61_FileMode", "enum"),
}


@dataclass(frozen=True)
class Wire:
    """A resolved wire type. `kind` is `void`, `scalar`, `words`, `nullable`, `string`, `bytes`, `object`, `stream`,
    `collection`, `sibling`, or a kind of type."""

    kind: str
    name: str
    scalar: Scalar | None = None
    type: Type | None = None
    shape: Shape | None = None  # of a collection
    collection: Collection | None = None  # the element row of a typed collection
    sibling: Sibling | None = None
    words: Words | None = None
    inner: Wire | None = None  # of a nullable: what it is if it is not null

    @property
    def code(self) -> str:
        """The signature character of an argument of this wire; two for a nullable."""
        if self.inner is not None:
            return "i" + self.inner.code
        if self.words is not None:
            return "l" if self.words.taken == 1 else self.words.code
        if self.scalar is not None:
            return self.scalar.code
        if self.sibling is not None:
            return "i" if self.sibling.kind == "enum" else "p"
        return {"void": "v", "string": "T", "bytes": "B", "object": "V", "class": "p", "static class": "p",
                "struct": "V", "interface": "V", "stream": "V", "collection": "V"}[self.kind]

    @property
    def result_code(self) -> str:
        """The signature character of the return value of this wire."""
        if self.inner is not None or self.words is not None:
            return "v"
        if self.scalar is not None:
            return self.scalar.code
        return {"void": "v", "string": "O", "bytes": "O", "object": "O", "class": "p", "static class": "p",
                "struct": "p", "interface": "v", "stream": "v", "collection": "v"}[self.kind]

    @property
    def out_code(self) -> str:
        """The signature character of a trailing out record, or nothing; two for a nullable."""
        if self.inner is not None:
            return "r" + (self.inner.out_code or "r")
        if self.words is not None:
            return self.words.code
        return {"interface": "o", "stream": "k", "collection": "k"}.get(self.kind, "")

    @property
    def runtime_wire(self) -> str:
        """The enumerator of the runtime's Wire."""
        if self.inner is not None:
            return "kNullable" + self.inner.runtime_wire.removeprefix("k")
        if self.words is not None:
            return self.words.wire
        if self.scalar is not None:
            return self.scalar.wire
        if self.sibling is not None:
            return {"enum": "kInt32", "class": "kClass", "record": ""}[self.sibling.kind]
        return {"void": "kVoid", "string": "kString", "bytes": "kBytes", "object": "kObject", "class": "kClass",
                "static class": "kClass", "struct": "kStruct", "interface": "kInterface",
                "stream": "kStream", "collection": "kCollection"}[self.kind]


VOID = Wire("void", "void")
