"""Python values of every kind that members accept, and values that no converter accepts.

Instances of classes are created with their own constructors, those with the fewest parameters first, from sample
arguments. For a class without a public constructor a derived class is used, for an interface a class that implements
it.
"""

from __future__ import annotations

import datetime
import decimal
import functools
import io
import itertools
import uuid
from pathlib import Path
from typing import Any

import zelmor.imaging
from zelmor.pydrawing import Color as DrawingColor
from zelmor.pydrawing import PointF as DrawingPointF
from zelmor.pyio import FileMode

from tools.generator.model import Overload, Type
from tools.generator.wires import Wire
from tools.generator.writers.cpp.words import SHAPES

from .module_tree import MODEL
from .pictures import png_bytes

_PATHS = ("path", "file_path", "file_name", "filename")
_PICTURE = png_bytes(6, 5, [(x * 40, y * 50, 7) for y in range(5) for x in range(6)])
_numbers = itertools.count()
_BITS = {f"{sign}int{width}": (sign == "", width) for sign in ("", "u") for width in (8, 16, 32, 64)}
TEXTS = ["", "a", "gr\u00fcn", "\u4e2d\u6587", "\U0001f600"]
OBJECTS = [None, True, 7, 2.5, "text", decimal.Decimal("1.50"), uuid.UUID(int=5), datetime.timedelta(days=1),
           datetime.datetime(2020, 2, 29, 12, 30)]
SIBLING_VALUES = {"drawing.PointF": DrawingPointF(1.5, 2.5), "drawing.Color": DrawingColor.from_argb(1, 2, 3),
                  "io.FileMode": FileMode.OPEN}


class Unfit:
    """A value that no converter accepts."""


def python_type(entry: Type) -> Any:
    """The Python type of an entry of the model."""
    return functools.reduce(getattr, entry.dotted.split(".")[2:], zelmor.imaging)


@functools.cache
def _makers(entry: Type) -> list[Overload]:
    """Constructors that create an instance of a type, the simplest first."""
    def weight(overload: Overload) -> tuple[int, int]:
        hard = sum(param.wire.kind in ("class", "interface", "stream", "bytes") for param in overload.params)
        return hard, len(overload.params)

    own = sorted(entry.constructors, key=weight)
    if entry.kind == "interface":
        heirs = [other for other in MODEL.types if entry in other.interfaces and other.constructors]
    else:
        heirs = [other for other in MODEL.types if entry in other.bases() and other.constructors]
    return own + sorted((overload for heir in heirs for overload in heir.constructors), key=weight)[:6]


class Cannot(Exception):
    """Raised where no sample of a type can be made."""


def arguments(overload: Overload, depth: int = 0) -> list[Any]:
    """Valid arguments of one overload."""
    return [[] if param.by_ref else bytearray(8) if param.written else sample(param.wire, param.name, depth)
            for param in overload.params]


def make(entry: Type, depth: int = 0) -> Any:
    """An instance of a class, struct or interface; raises Cannot where none can be made."""
    if depth > 4:
        raise Cannot(entry.name)
    for overload in _makers(entry):
        try:
            return python_type(overload.owner)(*arguments(overload, depth + 1))
        except (Cannot, RuntimeError):
            continue
    raise Cannot(entry.name)


def samples(wire: Wire, depth: int = 0) -> list[Any]:
    """Valid values of a kind, boundaries included; raises Cannot where none can be made."""
    name = wire.name
    if wire.type is not None and wire.type.is_enum:
        return list(python_type(wire.type))
    if name in _BITS:
        signed, width = _BITS[name]
        low, high = (-(1 << width - 1), (1 << width - 1) - 1) if signed else (0, (1 << width) - 1)
        return [low, 0, 1, high - 1, high]
    if wire.type is not None:
        return [*([] if wire.kind == "struct" else [None]), make(wire.type, depth)]
    if wire.shape is not None:
        return [None, _items(wire, depth)]
    simple: dict[str, list[Any]] = {
        "bool": [True, False], "float": [0.0, 1.5, -2.25, 16777216.0], "double": [0.0, 1.5, -2.25, 1e300],
        "char": ["a", "\u00fc"], "string": [None, *TEXTS], "bytes": [None, b"", b"\x00\x01\xff"],
        "object": OBJECTS, "stream": [io.BytesIO(b"some bytes")],
        "datetime": [datetime.datetime(1, 1, 1), datetime.datetime(2020, 2, 29, 23, 59, 59, 999999)],
        "datetime?": [None, datetime.datetime(2020, 2, 29, 23, 59, 59, 999999)],
        "timedelta": [datetime.timedelta(0), datetime.timedelta(days=-1, microseconds=1)],
        "UUID": [uuid.UUID(int=0), uuid.UUID(int=(1 << 128) - 2)],
        "decimal": [decimal.Decimal(0), decimal.Decimal("-79228162514264337593543950335")],
    }
    if name in simple:
        return simple[name]
    return [SIBLING_VALUES[name]]


def _items(wire: Wire, depth: int) -> list[Any]:
    if wire.collection is None:
        return [1, "two", None]
    return [sample(wire.collection.element, depth=depth) for _ in range(2)]


def _file() -> str:
    """A picture in a file of its own, in the working directory, which a test may change."""
    path = Path(f"sample-{next(_numbers)}.png").absolute()
    path.write_bytes(_PICTURE)
    return str(path)


def sample(wire: Wire, name: str = "", depth: int = 0) -> Any:
    """One valid value that makes a member do some work: small numbers, an existing picture."""
    if name in _PATHS and wire.name == "string":
        return _file()
    if wire.name in _BITS:
        return 4
    if wire.name == "string":
        return "sample"
    if wire.name == "stream":
        return io.BytesIO(_PICTURE)
    if wire.type is not None and wire.type.name in ("RasterImage", "RasterCachedImage", "Image"):
        return zelmor.imaging.Image.load(io.BytesIO(_PICTURE))
    fitting = samples(wire, depth)
    return next((value for value in fitting if value is not None), None)


def is_kind(value: Any, wire: Wire) -> bool:
    """Whether a result has the Python type of its kind of value."""
    if wire.type is not None and wire.type.is_enum:
        return isinstance(value, python_type(wire.type))
    if wire.type is not None and wire.kind != "interface":
        return (value is None and wire.kind == "class") or type(value) is python_type(wire.type)
    if wire.name in _BITS:
        return type(value) is int
    if wire.collection is not None and wire.shape is not None:
        name = f"_{SHAPES[wire.shape].record}_{wire.collection.identifier}"
        return value is None or type(value).__name__ == name
    types: dict[str, Any] = {"bool": bool, "float": float, "double": float, "char": str, "datetime": datetime.datetime,
                             "timedelta": datetime.timedelta, "UUID": uuid.UUID, "decimal": decimal.Decimal,
                             "void": type(None)}
    if wire.name in types:
        return type(value) is types[wire.name]
    nullable = {"string": str, "bytes": bytearray, "datetime?": datetime.datetime}
    return value is None or wire.name not in nullable or isinstance(value, nullable[wire.name])
