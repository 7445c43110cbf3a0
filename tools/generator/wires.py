"""The kinds of wires: how a value of each type of the catalogue crosses between Python and the managed side.

A wire says which slots a value has in a call: the arguments by which it goes in, the return value, and the trailing
arguments by which a result comes out. All of this holds for both halves and for every language that is written; the
words of a language for a wire stand in the table of its back end.
"""

from __future__ import annotations

from dataclasses import dataclass
from enum import Enum, auto
from typing import ClassVar

from .declaration import Declaration
from .errors import Place


class Form(Enum):
    """The form in which a slot holds its value."""

    NOTHING = auto()
    BOOL = auto()
    INT8 = auto()
    UINT8 = auto()
    INT16 = auto()
    UINT16 = auto()
    INT32 = auto()
    UINT32 = auto()
    INT64 = auto()
    UINT64 = auto()
    SINGLE = auto()
    DOUBLE = auto()
    HANDLE = auto()  # of a managed object or value
    OBJECT = auto()  # a reference to a Python object
    TEXT = auto()  # a view of text
    BYTES = auto()  # a view of memory
    VARIANT = auto()  # a value with a tag that says what it is
    INSTANCE = auto()  # a handle with the run-time type
    COLLECTION = auto()  # a handle with the run-time type, or the Python object that the managed side held
    DATE = auto()  # words of 64 bits: the ticks, and the offset
    DECIMAL = auto()  # words of 32 bits
    UUID = auto()  # 16 bytes
    RECORD = auto()  # a value record of a sibling module


class Passing(Enum):
    """How a slot reaches the other side."""

    VALUE = auto()
    IN = auto()  # a pointer to what is read
    OUT = auto()  # a pointer to what is written


@dataclass(frozen=True)
class Slot:
    """One argument of a call, or its return value."""

    form: Form
    passing: Passing = Passing.VALUE
    record: str = ""  # of Form.RECORD: the full managed name of the value


NO_RESULT = Slot(Form.NOTHING)
HANDLE = Slot(Form.HANDLE)
VARIANT = Slot(Form.VARIANT, Passing.IN)


@dataclass(frozen=True)
class Wire:
    """How a value of one type crosses; `name` is the type's name in the catalogue, with full names of types."""

    name: str
    kind: ClassVar[str]  # the kind of wire in one word

    @property
    def taken(self) -> tuple[Slot, ...]:
        """The arguments by which a value goes in."""
        return (VARIANT,)

    @property
    def returned(self) -> Slot:
        """The return value of a call with a result of this type."""
        return NO_RESULT

    @property
    def given(self) -> tuple[Slot, ...]:
        """The trailing arguments by which a result comes out; none where it is the return value."""
        return ()

    @property
    def type(self) -> Declaration | None:
        """The type of the catalogue that the wire names, if it names one."""
        return None

    @property
    def shape(self) -> Shape | None:
        """The kind of a collection."""
        return None

    @property
    def collection(self) -> Collection | None:
        """The row of a typed collection's element."""
        return None

    @property
    def sibling(self) -> str:
        """The full managed name of a sibling's type, or nothing."""
        return ""


# -- values of the .NET library ---------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Nothing(Wire):
    """The result of a call that has none."""

    kind = "void"


@dataclass(frozen=True)
class Scalar(Wire):
    """A value that crosses as the machine type of its form."""

    kind = "scalar"
    form: Form

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (Slot(self.form),)

    @property
    def returned(self) -> Slot:
        return Slot(self.form)

    @property
    def by_reference(self) -> Slot:
        """The argument behind the value's own by which a call gives it a new value."""
        return Slot(self.form, Passing.OUT)


@dataclass(frozen=True)
class Words(Wire):
    """A value type that crosses as several words behind a pointer; a single word goes by value."""

    kind = "words"
    form: Form
    words_taken: int  # how many words an argument has
    words_given: int  # how many words a result has

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (Slot(Form.INT64),) if self.words_taken == 1 else (Slot(self.form, Passing.IN),)

    @property
    def given(self) -> tuple[Slot, ...]:
        return (Slot(self.form, Passing.OUT),)


@dataclass(frozen=True)
class Nullable(Wire):
    """A value that can be null: an integer that is 0 for null stands before the value itself."""

    kind = "nullable"
    inner: Words

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (Slot(Form.INT32), *self.inner.taken)

    @property
    def given(self) -> tuple[Slot, ...]:
        return (Slot(Form.INT32, Passing.OUT), *self.inner.given)


@dataclass(frozen=True)
class Text(Wire):
    """Text: a view of the Python string on the way in, a Python string on the way out."""

    kind = "string"

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (Slot(Form.TEXT, Passing.IN),)

    @property
    def returned(self) -> Slot:
        return Slot(Form.OBJECT)


@dataclass(frozen=True)
class Bytes(Wire):
    """Bytes: a view of memory on the way in, a Python object on the way out."""

    kind = "bytes"

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (Slot(Form.BYTES, Passing.IN),)

    @property
    def returned(self) -> Slot:
        return Slot(Form.OBJECT)


@dataclass(frozen=True)
class Anything(Wire):
    """Any value: tagged on the way in, a Python object on the way out."""

    kind = "object"

    @property
    def returned(self) -> Slot:
        return Slot(Form.OBJECT)


@dataclass(frozen=True)
class Stream(Wire):
    """A stream: tagged on the way in, with its run-time type on the way out."""

    kind = "stream"

    @property
    def given(self) -> tuple[Slot, ...]:
        return (Slot(Form.COLLECTION, Passing.OUT),)


# -- types of the catalogue --------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Enumeration(Scalar):
    """An enumeration, which crosses as its underlying integer."""

    kind = "enum"
    declaration: Declaration
    underlying: Scalar

    @property
    def type(self) -> Declaration:
        return self.declaration


@dataclass(frozen=True)
class Instance(Wire):
    """A class: a handle in both directions."""

    kind = "class"
    declaration: Declaration

    @property
    def type(self) -> Declaration:
        return self.declaration

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (HANDLE,)

    @property
    def returned(self) -> Slot:
        return HANDLE


@dataclass(frozen=True)
class Struct(Wire):
    """A struct: tagged on the way in, a handle on the way out."""

    kind = "struct"
    declaration: Declaration

    @property
    def type(self) -> Declaration:
        return self.declaration

    @property
    def returned(self) -> Slot:
        return HANDLE


@dataclass(frozen=True)
class Interface(Wire):
    """An interface: tagged on the way in, with the run-time type on the way out."""

    kind = "interface"
    declaration: Declaration

    @property
    def type(self) -> Declaration:
        return self.declaration

    @property
    def given(self) -> tuple[Slot, ...]:
        return (Slot(Form.INSTANCE, Passing.OUT),)


# -- collections -------------------------------------------------------------------------------------------------------


class Shape(Enum):
    """A kind of managed collection as a member's type."""

    SYSTEM_ARRAY = auto()  # those without an element type
    ARRAY_LIST = auto()
    ANY_LIST = auto()
    ANY_COLLECTION = auto()
    ANY_ENUMERABLE = auto()
    ANY_ENUMERATOR = auto()
    ARRAY = auto()  # those with one
    LIST = auto()
    LIST_INTERFACE = auto()
    ENUMERABLE = auto()
    ENUMERATOR = auto()

    @property
    def interface(self) -> bool:
        """Whether a result finds its run-time type, or is the Python object that the managed side held."""
        return self not in (Shape.SYSTEM_ARRAY, Shape.ARRAY_LIST, Shape.ARRAY, Shape.LIST)


# The kinds without an element type, by the name that a catalogue line uses.
INTEROP_SHAPES = {"Array": Shape.SYSTEM_ARRAY, "ArrayList": Shape.ARRAY_LIST, "IList": Shape.ANY_LIST,
                  "ICollection": Shape.ANY_COLLECTION, "IEnumerable": Shape.ANY_ENUMERABLE,
                  "IEnumerator": Shape.ANY_ENUMERATOR}
# The kinds of closed generic collections, by the word that collections.tab has for them.
TYPED_SHAPES = {"array": Shape.ARRAY, "list": Shape.LIST, "ilist": Shape.LIST_INTERFACE,
                "iterable": Shape.ENUMERABLE, "iterator": Shape.ENUMERATOR}


@dataclass(eq=False)
class Collection:
    """An element type and the closed generic collections that there are of it."""

    place: Place
    identifier: str
    element: Wire
    kinds: tuple[str, ...]
    slot: int | None  # of its typed callbacks, counted over all elements that have an argument converter


@dataclass(frozen=True)
class AnyCollection(Wire):
    """A collection without an element type: tagged on the way in, with its run-time type on the way out."""

    kind = "collection"
    declared_shape: Shape

    @property
    def shape(self) -> Shape:
        return self.declared_shape

    @property
    def given(self) -> tuple[Slot, ...]:
        return (Slot(Form.COLLECTION, Passing.OUT),)


@dataclass(frozen=True)
class TypedCollection(AnyCollection):
    """A closed generic collection, which crosses like one of any element."""

    row: Collection

    @property
    def collection(self) -> Collection:
        return self.row


# -- types of sibling modules ------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Sibling(Wire):
    """A type of a sibling module, which crosses by the converters that the sibling hands out."""

    kind = "sibling"
    full_name: str
    identifier: str  # on the Python side

    @property
    def sibling(self) -> str:
        return self.full_name

    @property
    def symbol(self) -> str:
        """The part that the sibling's symbols for the type have."""
        return f"{self.identifier}_{self.full_name.rpartition('.')[2]}"


@dataclass(frozen=True)
class SiblingClass(Sibling):
    """A class of a sibling: a handle."""

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (HANDLE,)


@dataclass(frozen=True)
class SiblingRecord(Sibling):
    """A value of a sibling: a pointer to its record."""

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (Slot(Form.RECORD, Passing.IN, self.full_name),)


@dataclass(frozen=True)
class SiblingEnumeration(Sibling):
    """An enumeration of a sibling: an integer."""

    @property
    def taken(self) -> tuple[Slot, ...]:
        return (Slot(Form.INT32),)


# -- the wires that need no catalogue ----------------------------------------------------------------------------------

VOID = Nothing("void")
SCALARS = {wire.name: wire for wire in (
    Scalar("bool", Form.BOOL), Scalar("int8", Form.INT8), Scalar("uint8", Form.UINT8), Scalar("int16", Form.INT16),
    Scalar("uint16", Form.UINT16), Scalar("int32", Form.INT32), Scalar("uint32", Form.UINT32),
    Scalar("int64", Form.INT64), Scalar("uint64", Form.UINT64), Scalar("float", Form.SINGLE),
    Scalar("double", Form.DOUBLE), Scalar("char", Form.UINT16), Scalar("timedelta", Form.INT64))}
# The values that can be null, written with a question mark behind the name.
NULLABLES = ("datetime",)
# All of them by the name that a catalogue line uses.
PLAIN_WIRES: dict[str, Wire] = {**SCALARS, **{wire.name: wire for wire in (
    Words("datetime", Form.DATE, 1, 2), Words("datetimeoffset", Form.DATE, 2, 2),
    Words("decimal", Form.DECIMAL, 4, 4), Words("UUID", Form.UUID, 16, 16),
    Text("string"), Bytes("bytes"), Anything("object"), Stream("stream"),
    *(AnyCollection(name, shape) for name, shape in INTEROP_SHAPES.items()),
    SiblingRecord("drawing.PointF", "System.Drawing.PointF", "EDE1485C"),
    SiblingRecord("drawing.Color", "System.Drawing.Color", "52DA2AC5"),
    SiblingClass("drawing.ColorMap", "System.Drawing.Imaging.ColorMap", "9AB10FD3"),
    SiblingEnumeration("io.FileMode", "System.IO.FileMode", "54938D61"))}}
