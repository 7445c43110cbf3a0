"""Managed collections for tests: one of each kind, and Python values for each kind of element."""

from __future__ import annotations

import decimal
from collections.abc import Iterable, Sequence
from typing import Any

import zelmor.imaging
from zelmor.pydrawing import Color as DrawingColor
from zelmor.pydrawing import PointF as DrawingPointF
from zelmor.imaging.xmp import XmpPackage
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from tools.generator.builder import load
from tools.generator.wires import Collection

from .control import IMAGING, control
from .places import CATALOGUE

DRAWING = "WrpInterop.Zelmor.PyDrawing"
INTEROP = zelmor.imaging._wrpgen._interop
GENERIC = zelmor.imaging._wrpgen._generic
MODEL = load(CATALOGUE)
ROWS = {row.identifier: row for row in MODEL.collections}
#: The kind in the table of collections -> the part of a wrapper's name that stands for it.
NAMES = {"array": "_ArrayWrapper_", "list": "_ListWrapper_", "ilist": "_IListWrapper_",
         "iterable": "_IterableWrapper_", "iterator": "_IterWrapper_"}
#: Kind of interop wrapper, its Python type, and the managed list behind it.
INTEROP_KINDS = {"array": ("_ArrayWrapper", "array"), "arrlist": ("_ArrListWrapper", "arraylist"),
                 "ilist": ("_IListWrapper", "arraylist"), "icol": ("_IColWrapper", "arraylist"),
                 "colbase": ("_ColBaseWrapper", "colbase"), "rocolbase": ("_RoColBaseWrapper", "rocolbase")}
#: Every typed sequence: element identifier and kind.
TYPED = [(row.identifier, kind) for row in MODEL.collections for kind in ("array", "list", "ilist")
         if kind in row.kinds]


def typed(identifier: str, kind: str) -> Any:
    """The Python type of a typed collection."""
    return getattr(GENERIC, NAMES[kind] + identifier)


def cast(type_: Any, value: Any) -> Any:
    """A wrapper of this type around the same managed object."""
    result = type_._cast_to(value)
    assert result.status != 0, f"{value} is no {type_.__name__}"
    return result.value


def make_interop(kind: str, values: Iterable[Any] = ()) -> Any:
    """An interop wrapper with these elements."""
    items = list(values)
    name, shape = INTEROP_KINDS[kind]
    count = len(items) if shape == "array" else 0
    filled = control.callback("olist", "write_clr_array" if shape == "array" else "write_clr_ilist")(
        control.new_list(shape, "", count))
    fill(filled, items, shape == "array")
    return cast(getattr(INTEROP, name), filled)


def make_typed(identifier: str, kind: str, values: Iterable[Any] = ()) -> Any:
    """A typed collection with these elements."""
    items = list(values)
    shape = "array" if kind == "array" else "list"
    handle = control.new_list(shape, identifier, len(items) if kind == "array" else 0)
    made = cast(typed(identifier, kind), control.callback("olist", "write_clr_array")(handle))
    fill(made, items, kind == "array")
    return made


def fill(collection: Any, items: list[Any], fixed: bool) -> None:
    """Stores the items in an empty list, or in an array of their number."""
    if fixed:
        collection[:] = items
    else:
        for item in items:
            collection.append(item)


def new_object(full_name: str, assembly: str = IMAGING) -> Any:
    """A wrapper of a new managed object, even of a type without public constructors."""
    return control.callback("write", "tpo", assembly)(control.new_object(full_name), control.type_id(full_name))


def new_dictionary() -> Any:
    """A managed dictionary, which accepts values of any kind."""
    return new_object("Zelmor.Imaging.NonGenericDictionary")


#: Numbers that are returned unchanged.
NUMBERS: dict[str, list[Any]] = {
    "int8": [-128, -1, 0, 1, 127], "int16": [-2**15, -7, 0, 7, 2**15 - 1], "int32": [-2**31, -5, 0, 5, 2**31 - 1],
    "int64": [-2**63, -3, 0, 3, 2**63 - 1], "uint16": [0, 1, 2**15, 2**16 - 1], "uint32": [0, 1, 2**31, 2**32 - 1],
    "uint64": [0, 1, 2**63, 2**64 - 1], "float": [-1.5, 0.0, 0.25, 2.0**100, float("inf")],
    "double": [-1.1, 0.0, 5e-324, 1.7e308, float("-inf")],
}


def _structs(name: str) -> list[Any] | None:
    imaging = zelmor.imaging
    made = {
        "Color": lambda: [imaging.Color.from_argb(1, 2, 3, 4), imaging.Color.red, imaging.Color()],
        "Point": lambda: [imaging.Point(x, 7) for x in range(4)],
        "PointF": lambda: [imaging.PointF(x, 0.5) for x in range(4)],
        "Rectangle": lambda: [imaging.Rectangle(x, 1, 2, 3) for x in range(4)],
        "RectangleF": lambda: [imaging.RectangleF(x, 1, 2, 3) for x in range(4)],
    }.get(name)
    return made() if made else None


def values_of(row: Collection) -> list[Any]:
    """Some values of an element type, most of them different from each other."""
    wire = row.element
    if wire.name in NUMBERS:
        return NUMBERS[wire.name]
    if wire.kind == "string":
        return ["", "a", "b", "caf\u00e9", "\u20ac", "\U0001f600 wide", None]
    if wire.kind == "bytes":
        return [bytearray(b""), bytearray(b"a\0b"), bytearray(range(256)), None]
    if wire.kind == "object":
        return VARIANTS()
    if wire.sibling:
        return {"System.Drawing.PointF": [DrawingPointF(x, 2) for x in range(3)],
                "System.Drawing.Color": [DrawingColor.from_argb(9, 8, 7), DrawingColor.red],
                }.get(wire.sibling) or [*(new_object(wire.sibling, DRAWING) for _ in "ab"), None]
    if wire.name.startswith("array of "):
        inner = next(other for other in MODEL.collections if other.element.name == wire.name[len("array of "):])
        return [make_typed(inner.identifier, "array", values_of(inner)[:count]) for count in (0, 1, 3)] + [None]
    assert wire.type is not None
    if wire.type.is_enum:
        return list(python_type(wire.type.dotted))[:6]
    if wire.type.kind == "struct":
        return _structs(wire.type.name) or [new_object(wire.name)]
    if wire.type.name == "XmpPackage":  # can be constructed only through a derived class
        return [cast(XmpPackage, DublinCorePackage()) for _ in range(3)] + [None]
    return [new_object(wire.name), new_object(wire.name), new_object(wire.name), None]


def VARIANTS() -> list[Any]:
    """Values of all kinds that an untyped collection stores and returns unchanged."""
    return [None, True, 0, -1, 2**40, 1.5, "text", "", zelmor.imaging.Point(3, 4), decimal.Decimal("1.50")]


def python_type(dotted: str) -> Any:
    """A class or enumeration by its dotted name."""
    value: Any = zelmor
    for part in dotted.split(".")[1:]:
        value = getattr(value, part)
    return value


def same(left: Sequence[Any], right: Sequence[Any]) -> bool:
    """Whether two sequences hold equal elements of the same types."""
    return len(left) == len(right) and all(a == b and type(a) is type(b) for a, b in zip(left, right))
