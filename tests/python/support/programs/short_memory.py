"""A program that makes each allocation of the interpreter fail, one after the other, during calls into the library.

For each call it counts the failing allocations, and prints as JSON what went wrong at any of them. A call with a failed
allocation may succeed as usual (if the allocation was not essential), or raise a MemoryError, directly or as the cause
or context of another exception.
"""

from __future__ import annotations

import _testcapi
import datetime
import decimal
import io
import json
import os
import sys
import tempfile
import uuid
from collections.abc import Callable
from pathlib import Path
from typing import Any

sys.path[:0] = [str(Path(os.environ["ZELMOR_BUILD_DIR"]) / "python"), str(Path(__file__).parents[2]),
                str(Path(__file__).parents[4])]

from support.collections import VARIANTS, make_interop, make_typed  # noqa: E402
from support.pictures import write_png  # noqa: E402
import zelmor.imaging  # noqa: E402
from zelmor.imaging import (  # noqa: E402
    Color, ColorTranslator, FileFormat, IColorPalette, Image, Point, RasterCachedImage, Rectangle,
    ResizeType, SeekOrigin, Size, SizeF, StreamContainer)
from zelmor.imaging.imageoptions import BmpOptions, JpegOptions, MultiPageOptions, PngOptions  # noqa: E402

_StreamWrapper = zelmor.imaging._wrpgen._interop._StreamWrapper
INT32, STRING, BYTES = "A4A29720", "CBE911FC", "8A028265"

PICTURE = str(write_png(Path(tempfile.mkdtemp()) / "picture.png"))
DATA = Path(PICTURE).read_bytes()
IMAGE = Image.load(PICTURE)
LONG = "a text that nobody has kept " * 3


def calls() -> dict[str, Callable[[], Any]]:
    """Calls of every kind, each with a result that is the same in every run."""
    variants, texts, numbers = make_interop("arrlist", VARIANTS()), make_typed(STRING, "list", ["a", LONG]), \
        make_typed(INT32, "array", [1, 10**9, 3])
    interface, counted = make_interop("ilist", ["b", 2.5]), make_interop("icol", [10**9, "c"])
    size, rectangle, options, jpeg = Size(3, 4), Rectangle(1, 2, 3, 4), BmpOptions(), JpegOptions()
    jpeg.comment = LONG
    of_type, unboxed = Point._type_of(), size._cast_from(Point._type_of()).value

    def stream() -> Any:
        with StreamContainer(io.BytesIO(b"0123456789\nabc")) as container:
            container.seek(2, SeekOrigin.BEGIN)
            return container.read(bytearray(4)), container.position

    def inplace() -> Any:
        own = make_interop("arrlist", [1])
        own += ["x", 5]
        own.insert(1, "y")
        own.extend({"k": 1})
        own[0] = LONG
        del own[2]
        return own.pop(), own[:], own.index("y"), "x" in own

    return {
        "method group, first overload": lambda: Image.can_load(PICTURE),
        "method group, a stream": lambda: Image.can_load(io.BytesIO(DATA)),
        "method group, a class result": lambda: Image.load(PICTURE).width,
        "method group, a file": lambda: Image.load(io.BytesIO(DATA)).width,
        "method group, no overload": lambda: IMAGE.resize(1, 2, 3),
        "method group, by keywords": lambda: IMAGE.resize(new_width=IMAGE.width, new_height=IMAGE.height,
                                                          resize_type=ResizeType.NEAREST_NEIGHBOUR_RESAMPLE),
        "method group, a managed error": lambda: IMAGE.resize(0, 5, ResizeType.LANCZOS_RESAMPLE),
        "mixed method on an object": lambda: Rectangle(1, 2, 3, 4).inflate(1, 2),
        "mixed method, no overload": lambda: rectangle.inflate(1, "x"),
        "mixed method on the class": lambda: Rectangle.inflate(rectangle, 1, 2),
        "constructor": lambda: Size(1, 2),
        "constructor, no overload": lambda: SizeF("x"),
        "constructor, a simple one": lambda: PngOptions().compression_level,
        "static property": lambda: Size.empty,
        "property, an integer": lambda: IMAGE.width,
        "property, a struct": lambda: IMAGE.size,
        "property, an enumeration": lambda: IMAGE.file_format,
        "property, a text": lambda: jpeg.comment,
        "property, an interface": lambda: options.palette is None,
        "property, written": lambda: setattr(jpeg, "comment", LONG),
        "property, a refused value": lambda: setattr(jpeg, "quality", "x"),
        "property, a list": lambda: MultiPageOptions().page_titles,
        "static method, a text": lambda: ColorTranslator.to_html(Color.red),
        "static method, no overload": lambda: Color.from_argb(1, 2, 3, "x"),
        "repr": lambda: repr(size),
        "hash": lambda: hash(size),
        "comparison": lambda: size == Size(3, 4),
        "get_type": lambda: str(IMAGE.get_type()),
        "_type_of": lambda: str(Image._type_of()),
        "_cast_to": lambda: RasterCachedImage._cast_to(IMAGE).status,
        "_cast_as": lambda: IColorPalette._cast_as(options).status,
        "_is_assignable": lambda: RasterCachedImage._is_assignable(IMAGE),
        "_cast_from": lambda: size._cast_from(of_type).status,
        "_cast_from, refused": lambda: size._cast_from(5),
        "_reinterpret_obj": lambda: Point._reinterpret_obj(unboxed),
        "_reinterpret_obj, refused": lambda: IColorPalette._reinterpret_obj(5),
        "enumeration, its type": lambda: str(FileFormat._type_of()),
        "enumeration, a member's type": lambda: str(FileFormat.BMP.get_type()),
        "enumeration, both ways": lambda: FileFormat._cast_to(FileFormat.BMP._as_uni_enum()).value,
        "descriptor, bound": lambda: hash(rectangle.inflate) != 0,
        "descriptor, repr": lambda: (repr(Rectangle.inflate), repr(Rectangle.__dict__["inflate"])),
        "descriptor, refused": lambda: Rectangle.__dict__["inflate"].__get__(size, Size),
        "values of any kind": lambda: variants[:],
        "values of any kind, one": lambda: (variants[8], variants[9]),
        "values of any kind, sought": lambda: (LONG in variants, variants.count(decimal.Decimal("1.50"))),
        "values of any kind, refused": lambda: object() in variants,
        "values of the library": lambda: make_interop("array", [datetime.datetime(2023, 6, 1), uuid.UUID(int=5),
                                                                datetime.timedelta(3), decimal.Decimal("2.5")])[:],
        "texts": lambda: (texts[1], texts.copy(), texts * 2, texts + ["c"]),
        "numbers": lambda: (numbers[1], numbers[:], numbers + [1], list(numbers), numbers[::-1]),
        "numbers, refused": lambda: (numbers.index("x")),
        "numbers, out of range": lambda: numbers[7],
        "a list by its interface": lambda: (interface[1], interface[0:2], [*interface], interface.length),
        "a counted collection": lambda: (counted + [1], counted * 2, len(counted), 5 in counted),
        "a list that changes": inplace,
        "a stream": stream,
        "an empty stream": lambda: _StreamWrapper.__new__(_StreamWrapper).closed,
        "a Python list as an array": lambda: make_typed(BYTES, "array", [b"ab", bytearray(b"c")])[:],
    }


def outcome(call: Callable[[], Any], point: int) -> tuple[Any, BaseException | None]:
    """The outcome of the call in which the allocation with this number fails. Only this one fails: if all later ones
    failed too, the interpreter could not even create an exception and would give up."""
    result, raised = None, None
    _testcapi.set_nomemory(point, point + 1)
    try:
        result = call()
        _testcapi.remove_mem_hooks()
    except BaseException as error:
        _testcapi.remove_mem_hooks()
        raised = error
    return result, raised


def told(result: Any, raised: BaseException | None) -> Any:
    """An outcome in a form that can be compared."""
    return ("result", result) if raised is None else ("raised", type(raised).__name__, str(raised))


def for_want_of_memory(error: BaseException | None) -> bool:
    """Whether an exception reports exhausted memory, itself or through its cause or context."""
    while error is not None:
        # A failure that crossed the managed side arrives as text, which may be only the message of the broken import.
        text = str(error)
        if isinstance(error, MemoryError) or "MemoryError" in text or (
                text.startswith("Proxy error(PythonException)") and "ImportError" in text):
            return True
        error = error.__cause__ or error.__context__
    return False


def by_the_interpreter(raised: BaseException | None, usual: Any) -> bool:
    """Whether the interpreter itself causes such an outcome, whatever raised the exception: it drops a text that it
    cannot format, or the whole exception if it cannot add the line to the traceback; and its import of a capsule has
    the same message for all failures."""
    if isinstance(raised, SystemError):
        return str(raised) == "error return without exception set"
    if isinstance(raised, ImportError):
        return str(raised).startswith("PyCapsule_Import could not import module")
    return usual[0] == "raised" and type(raised).__name__ == usual[1]


#: A number far above that of the last allocation of any call.
NEVER = 1 << 30
#: If this many allocations in a row have no effect, the last allocation of the call is passed.
QUIET = 40


def sweep(call: Callable[[], Any]) -> tuple[int, list[str]]:
    """Tries every allocation of the call: the number that had an effect, and the failures."""
    for _ in range(3):  # the first run may fill caches
        usual = told(*outcome(call, NEVER))
    faults: list[str] = []
    felt = point = quiet = 0
    while quiet < QUIET:
        result, raised = outcome(call, point)
        point += 1  # so many have been made to fail; the first has the number 0
        text = told(result, raised)
        if text == usual:
            quiet += 1
        else:
            quiet, felt = 0, felt + 1
            if not for_want_of_memory(raised) and not by_the_interpreter(raised, usual):
                faults.append(f"allocation {point}: {text}"[:300])
        del result, raised, text
    return felt, faults


def main() -> None:
    """Runs the sweeps over all calls, or over the named ones."""
    wanted = sys.argv[1:]
    json.dump({name: sweep(call) for name, call in calls().items() if not wanted or name in wanted}, sys.stdout)


if __name__ == "__main__":
    main()
