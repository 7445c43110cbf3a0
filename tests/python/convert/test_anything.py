"""Any Python value as an argument of managed type object: the tag that it gets or its refusal, and the returned value.

The expected tag is computed here with Python's own type checks, in the documented order.
"""

from __future__ import annotations

import array
import collections
import contextlib
import ctypes
import datetime
import decimal
import enum
import functools
import http
import importlib
import math
import mmap
import os
import random
import signal
import struct
import sys
import threading
import time
import types
import uuid
import weakref
from collections.abc import Iterator
from ctypes import byref, c_double, c_long
from typing import Any

import pytest
from support.anything import holder
from support.control import control
from support.draws import seeds
from support.records import PyStringArg, VariantArg
from zelmor.imaging import Point
from zelmor.imaging.imageloadoptions import OdLoadOptions

#: Looked up once, since these tests make many calls.
callback = functools.cache(control.callback)

#: Modules whose types are instantiated, where this works without arguments.
MODULES = """
builtins argparse array ast asyncio bdb bisect calendar cmd code codecs collections configparser contextlib
contextvars copy copyreg csv datetime decimal difflib dis email.message enum fractions functools gettext hashlib heapq
html.parser http http.cookies io ipaddress itertools json keyword logging numbers opcode operator optparse pathlib
pickle platform plistlib pprint queue random re sched secrets selectors shelve shlex socketserver statistics string
struct symtable tarfile tempfile textwrap threading time timeit token tokenize traceback types typing unittest
urllib.parse uuid warnings weakref xml.dom.minidom xml.etree.ElementTree zipfile zlib zoneinfo
""".split()

#: Types that are not instantiated: they would start something, or use input, output or memory outside of the test.
LEFT_OUT = {"asyncio.Runner", "code.InteractiveConsole", "cmd.Cmd", "builtins.copyright", "builtins.credits",
            "builtins.exit", "builtins.quit", "builtins.license", "builtins.help", "unittest.TestProgram"}


class Number(enum.IntEnum):
    ONE = 1


class Bits(enum.IntFlag):
    LOW = 1


class Word(enum.StrEnum):
    TEXT = "text"


class Plain(enum.Enum):
    A = 1


Pair = collections.namedtuple("Pair", "a b")


class Slots:
    __slots__ = ()


def values_by_hand() -> list[Any]:
    """Values of types that need arguments, and values that are similar to one of the kinds."""
    return [
        None, True, False, Ellipsis, NotImplemented, 0, -1, 2**31, 2**63, 2**64, -2**63, 10**100, 1.5, math.nan, -0.0,
        math.inf, 1j, "", "text", "\xe9", "\u20ac", "\U0001f600", "\ud800", b"", b"ab", bytearray(b"ab"),
        memoryview(b"ab"), memoryview(array.array("i", [1])), array.array("b"), mmap.mmap(-1, 16),
        (ctypes.c_int * 2)(), ctypes.c_int(5), [],
        [1], [[]], (), (1,), {}, {1}, frozenset(), range(3), slice(1), Pair(1, 2), collections.UserList([1]),
        collections.UserString("x"), collections.deque([1]), time.localtime(), os.stat("."), sys.version_info,
        sys.flags, Number.ONE, Bits.LOW, Word.TEXT, Plain.A, http.HTTPStatus.OK, signal.SIGINT, Number, enum.EnumType,
        int, type, decimal.Decimal("1.5"), decimal.Decimal("1.5").as_tuple(), decimal.Decimal("NaN"), uuid.UUID(int=5),
        datetime.datetime(2023, 6, 1), datetime.date(2023, 6, 1), datetime.time(1), datetime.timedelta(1),
        datetime.timezone.utc, datetime.datetime(2023, 6, 1, tzinfo=datetime.timezone.utc), os, len, "".join, print,
        lambda: None, (n for n in range(0)), iter(()), threading.Lock(), weakref.WeakSet(),
        types.SimpleNamespace(), types.MappingProxyType({}), object(), Slots(), KeyError("x"), sys.stdout,
        *(type("Own", (kind,), {})() for kind in (int, float, str, bytes, bytearray, list, tuple, dict, set, complex)),
        *(type("Own", (kind,), {})(2023, 6, 1) for kind in (datetime.datetime, datetime.date)),
        type("Own", (datetime.time,), {})(), type("Own", (datetime.timedelta,), {})(),
        type("Own", (decimal.Decimal,), {})(), type("Own", (uuid.UUID,), {})(int=1),
        type("Own", (decimal.DecimalTuple,), {})(0, (1,), 0),
    ]


def values_of_the_library() -> Iterator[Any]:
    """An instance of each public type of the modules that can be created without arguments."""
    for name in MODULES:
        module = importlib.import_module(name)
        for attribute in sorted(vars(module)):
            kind = getattr(module, attribute)
            if not isinstance(kind, type) or attribute.startswith("_") or f"{name}.{attribute}" in LEFT_OUT:
                continue
            # A class that needs arguments, or cannot be instantiated, may raise any exception.
            with contextlib.suppress(Exception, SystemExit):
                yield kind()
            yield kind


def tag_of(value: Any) -> int | None:
    """The tag that a value has to get; None for an unknown type."""
    exact: dict[type, int] = {type(None): 0, bool: 5, int: 6}
    if type(value) in exact:
        return exact[type(value)]
    for kind, tag in ((float, 7), (decimal.DecimalTuple, 9), (decimal.Decimal, 8), (uuid.UUID, 14),
                      (datetime.timedelta, 13), (datetime.datetime, 10), (datetime.date, 11), (datetime.time, 12),
                      (str, 3), (bytes, 4), (bytearray, 4)):
        if isinstance(value, kind):
            return tag
    containers: dict[type, int] = {memoryview: 4, list: 15, tuple: 16}
    return containers.get(type(value))


def seen(value: object) -> tuple[int, int] | None:
    """Tag and value of the record that a value becomes; None if it is refused as unknown."""
    record = VariantArg()
    try:
        assert callback("olist", "get_item")([value], 0, byref(record)) == 0
    except TypeError as refused:
        assert str(refused) == "unknown variant type"
        return None
    return record.tag, record.value


def check(value: object) -> None:
    """The record has the kind of the value, and only borrows the value."""
    before = sys.getrefcount(value)
    record, tag = seen(value), tag_of(value)
    assert record == (None if tag is None else (tag, id(value))), (type(value), record)
    if type(value).__flags__ & 1 << 9 and not isinstance(value, (bool, type(None), type)):  # of a Python class
        assert sys.getrefcount(value) == before


def test_values_of_every_kind_have_their_tag() -> None:
    for value in values_by_hand():
        check(value)


@pytest.mark.filterwarnings("ignore")
def test_every_type_of_the_library_has_its_tag_or_none() -> None:
    kinds: collections.Counter[int | None] = collections.Counter()
    for value in values_of_the_library():
        check(value)
        kinds[tag_of(value)] += 1
        del value
    assert kinds[None] > 500 and {3, 4, 5, 6, 7, 8, 13, 15, 16} <= set(kinds)


def test_a_wrapper_is_lent_as_its_handle() -> None:
    assert (seen(OdLoadOptions()) or (0,))[0] == 1
    assert (seen(Point(1, 2)) or (0,))[0] == 2
    assert (seen(OdLoadOptions._type_of()) or (0,))[0] == 1
    assert seen(OdLoadOptions.__new__(OdLoadOptions)) is None


COMING_BACK = [
    "", "caf\u00e9", "\U0001f600", b"", b"ab", 0, 2**64 - 1, -2**63, math.inf, -0.0, decimal.Decimal("-1.50"),
    datetime.datetime(2023, 6, 1, 12), datetime.timedelta(-1, 5), uuid.UUID(int=7), True, None,
]


@pytest.mark.parametrize("value", COMING_BACK, ids=repr)
def test_a_value_comes_back_equal(value: object) -> None:
    options = holder()
    options.value = value
    assert options.value == value
    assert type(options.value) is (bytearray if isinstance(value, bytes) else type(value))
    options.value = None
    assert options.value is None


def as_lists(value: object) -> object:
    """A collection of any kind as a list, with nested collections converted too."""
    if isinstance(value, (str, bytes, bytearray)) or not hasattr(value, "__len__"):
        return value
    return [as_lists(item) for item in value]  # type: ignore[attr-defined]


@pytest.mark.parametrize("value", [
    [], [1, "two", None, b"ab"], [[1], [2]], (), (1, 2.5), ((),), [decimal.Decimal(1), uuid.UUID(int=1)],
    [datetime.datetime(2023, 6, 1), datetime.timedelta(1)],
], ids=repr)
def test_the_items_of_a_list_or_tuple_come_back_equal(value: object) -> None:
    options, before = holder(), sys.getrefcount(value)
    options.value = value
    assert as_lists(options.value) == as_lists(value)
    options.value = None
    assert sys.getrefcount(value) == before


# Numbers and text, in bulk


def test_an_integer_at_every_power_of_two_has_its_width() -> None:
    read, out = callback("read", "vers_long"), c_long()
    for value in (sign * (1 << power) + near for power in range(70) for sign in (1, -1) for near in range(-2, 3)):
        width = 1 if -2**31 <= value < 2**31 else 2 if -2**63 <= value < 2**63 else 3 if 0 <= value < 2**64 else 0
        if width:
            assert read(value, byref(out)) == width
            assert out.value % 2**64 == value % 2**64
            assert callback("write", "uint64" if width == 3 else "int64")(value) == value
        else:
            with pytest.raises(TypeError, match="^can't build integer value from 'int'$"):
                read(value, byref(out))


@pytest.mark.parametrize("seed", seeds(1))
def test_any_number_goes_and_comes(seed: int) -> None:
    draw, out, real = random.Random(seed), c_long(), c_double()
    for _ in range(100_000):
        value = draw.getrandbits(draw.randint(1, 64)) * draw.choice((1, 1, -1))
        if value >= -2**63:
            assert callback("read", "vers_long")(value, byref(out)) > 0
            assert out.value % 2**64 == value % 2**64
        bits = draw.randbytes(8)
        [number] = struct.unpack("<d", bits)
        assert callback("read", "float64")(number, byref(real)) == 1
        if number == number:  # a NaN can change its bits when it passes through a register
            assert bytes(real) == bits
            assert struct.pack("<d", callback("write", "float64")(number)) == bits
        else:
            assert math.isnan(callback("write", "float64")(number))


def drawn_text(draw: random.Random) -> str:
    """Text of one storage width or of several, sometimes with lone surrogates."""
    last = draw.choice((0x7F, 0xFF, 0xD7FF, 0xFFFF, 0x10FFFF))
    return "".join(chr(draw.randint(0, last)) for _ in range(draw.randint(0, 20)))


@pytest.mark.parametrize("seed", seeds(1))
def test_any_text_is_seen_in_its_own_storage(seed: int) -> None:
    draw, view = random.Random(seed), PyStringArg()
    for _ in range(30_000):
        text = drawn_text(draw)
        widest = max(map(ord, text), default=0)
        assert callback("read", "string")(text, byref(view)) == 1
        assert (view.length, view.char_size) == (len(text), 1 if widest < 0x100 else 2 if widest < 0x10000 else 4)
        if widest < 0xD800 or not any(0xD800 <= ord(character) < 0xE000 for character in text):
            assert view.text() == text
            units = text.encode("utf-16-le")
            assert callback("single", "py_string")(units, len(units) // 2) == text
        else:
            data = ctypes.string_at(view.data, view.length * view.char_size)
            assert data == b"".join(ord(character).to_bytes(view.char_size, "little") for character in text)


def test_a_lone_surrogate_is_passed_and_cannot_be_returned() -> None:
    options = holder()
    for text in ("\ud800", "a\udfffb", "\U0001f600\udc00"):
        options.value = text
        with pytest.raises(LookupError, match="^unknown error handler name ''$"):
            assert options.value


@pytest.mark.parametrize("seed", seeds(1))
def test_any_uuid_goes_and_comes(seed: int) -> None:
    draw, out = random.Random(seed), ctypes.create_string_buffer(16)
    for _ in range(5_000):
        value = uuid.UUID(int=draw.getrandbits(128))
        assert callback("read", "guid")(value, out) == 1
        assert out.raw == value.bytes_le
        assert callback("write", "guid")(out) == value
