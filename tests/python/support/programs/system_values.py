"""Values in both directions beside .NET's own types, as a program of its own on .NET.

    system_values.py KIND COUNT SEED      KIND: decimal, moment, moment_with_offset, span, text, text_alone

A value goes through a property of type object. .NET says what it has got, in the texts, parts and arithmetic of
System.Decimal, System.DateTime, System.DateTimeOffset, System.TimeSpan and System.String; Python says the same of its
own value, by its own means. Values of one half are made by Python, those of the other by .NET.
"""

from __future__ import annotations

import ctypes
import decimal
import os
import random
import sys
from collections.abc import Callable, Iterator
from ctypes import c_char_p, c_int, c_size_t, c_void_p
from datetime import datetime, timedelta, timezone
from decimal import Decimal
from typing import Any
from zoneinfo import ZoneInfo

from support.runtimes import VARIABLES

os.environ.update(VARIABLES)

from support.anything import holder  # noqa: E402
from support.control import control  # noqa: E402

CONTROL = "Zelmor.WrpGen.Control"
MICROSECOND, MINUTE, EPOCH = timedelta(microseconds=1), timedelta(minutes=1), datetime(1970, 1, 1)
TICKS_PER_DAY, LAST_TICK = 864_000_000_000, 3_155_378_975_999_999_999
#: The zone of the process, by both sides' own tables.
ZONE = ZoneInfo("America/New_York")
#: Enough digits for any decimal of .NET, so that Python's arithmetic is exact.
EXACT = decimal.Context(prec=60, rounding=decimal.ROUND_HALF_EVEN)

TAG = holder()
_BUFFER = ctypes.create_string_buffer(1 << 16)


def _oracle(name: str, result: Any, *arguments: Any) -> Any:
    return control.delegate(f"{CONTROL}.Oracle", name, result, *arguments, assembly=CONTROL)


_handle = c_void_p.from_address(id(TAG) + 16).value
_tell = _oracle("Tell", c_size_t, c_void_p, c_char_p, c_size_t)
_make = _oracle("Make", c_size_t, c_void_p, c_int, c_char_p, c_size_t)
_make_text = _oracle("MakeText", None, c_void_p, c_int, c_int)


def said_of(value: Any) -> list[str]:
    """What .NET says of a value that Python has given."""
    TAG.value = value
    assert _tell(_handle, _BUFFER, len(_BUFFER)) <= len(_BUFFER)
    return _BUFFER.value.decode().split(" ")


def made(kind: int) -> tuple[Any, list[str]]:
    """A value that .NET has made, as Python reads it, and what .NET says of it."""
    _make(_handle, kind, _BUFFER, len(_BUFFER))
    return TAG.value, _BUFFER.value.decode().split(" ")


# Decimals


def _plain(value: Decimal) -> str:
    """All digits, and no sign before zero."""
    return format(value if value else abs(value), "f")


def decimal_facts(value: Decimal) -> list[str]:
    """What .NET should say of a decimal."""
    scale = max(-int(value.as_tuple().exponent), 0)

    def to(places: int, rounding: str) -> str:
        return _plain(value.quantize(Decimal(1).scaleb(-places), rounding, EXACT))

    return [_plain(value), str(scale), to(0, decimal.ROUND_DOWN), to(0, decimal.ROUND_FLOOR),
            to(min(scale, 3), decimal.ROUND_HALF_EVEN), str((value > 1) - (value < 1))]


def decimals(draw: random.Random, count: int) -> None:
    """All mantissas of 96 bits and all scales."""
    for _ in range(count):
        mantissa, scale = draw.getrandbits(draw.randint(1, 96)) or 1, draw.randint(0, 28)
        value = Decimal((draw.getrandbits(1), tuple(map(int, str(mantissa))), -scale))
        agree(said_of(value), decimal_facts(value), value)
        value, facts = made(0)
        assert type(value) is Decimal
        agree(facts, decimal_facts(value), value)


# Dates, times and spans


def _ticks(value: timedelta) -> int:
    return value // MICROSECOND * 10


def _day_of_week(value: datetime) -> str:
    return str(value.isoweekday() % 7)


def moment_facts(value: datetime, fraction: int, kind: str) -> list[str]:
    """What .NET should say of a time, with a fraction of a microsecond that Python does not know."""
    ticks = _ticks(value.replace(tzinfo=None) - datetime.min) + fraction
    offset = "-" if kind != "Local" else str(value.replace(tzinfo=ZONE).utcoffset() // MINUTE)  # type: ignore[operator]
    text = f"{value.replace(tzinfo=None).isoformat(timespec='microseconds')}{fraction}"
    return [str(ticks), kind, text, _day_of_week(value), str(value.timetuple().tm_yday), offset]


def moments(draw: random.Random, count: int) -> None:
    """Times of all kinds."""
    for _ in range(count):
        value = datetime.min + timedelta(microseconds=draw.randrange(LAST_TICK // 10 + 1))
        agree(said_of(value), moment_facts(value, 0, "Unspecified"), value)
        value, facts = made(1)
        kind = "Unspecified" if value.tzinfo is None else facts[1]
        if kind == "Utc":
            assert value.tzinfo is timezone.utc
        elif kind == "Local":
            assert str(value.utcoffset() // MINUTE) == facts[5], (value, facts)
            # In the hour that comes twice .NET takes the standard time.
            local = value.replace(tzinfo=ZONE, fold=0)
            if local.utcoffset() != local.replace(fold=1).utcoffset():
                continue
        agree(facts, moment_facts(value, int(facts[0]) % 10, kind), value)


def offset_facts(value: datetime, fraction: int) -> list[str]:
    """What .NET should say of a time with an offset."""
    offset = value.utcoffset()
    assert offset is not None
    local = value.replace(tzinfo=None)
    ticks, minutes = _ticks(local - datetime.min) + fraction, offset // MINUTE
    utc = ticks - _ticks(offset)
    sign = "-" if minutes < 0 else "+"
    text = f"{local.isoformat(timespec='microseconds')}{fraction}{sign}{abs(minutes) // 60:02}:{abs(minutes) % 60:02}"
    return [str(ticks), str(utc), str(minutes), text, str((utc - _ticks(EPOCH - datetime.min)) // 10_000)]


def moments_with_offsets(draw: random.Random, count: int) -> None:
    """Times with the offsets that .NET takes: whole minutes up to 14 hours."""
    for _ in range(count):
        ticks = draw.randrange(TICKS_PER_DAY, LAST_TICK - TICKS_PER_DAY)
        zone = timezone(timedelta(minutes=draw.randint(-840, 840)))
        value = (datetime.min + timedelta(microseconds=ticks // 10)).replace(tzinfo=zone)
        agree(said_of(value), offset_facts(value, 0), value)
        value, facts = made(2)
        agree(facts, offset_facts(value, int(facts[0]) % 10), value)


def span_facts(ticks: int) -> list[str]:
    """What .NET should say of a span."""
    sign, size = "-" if ticks < 0 else "", abs(ticks)
    days, rest = divmod(size, TICKS_PER_DAY)
    seconds, fraction = divmod(rest, 10_000_000)
    text = sign + (f"{days}." if days else "")
    text += f"{seconds // 3600:02}:{seconds // 60 % 60:02}:{seconds % 60:02}"
    text += f".{fraction:07}" if fraction else ""
    return [str(ticks), text, f"{sign}{days}" if days else "0"]


def spans(draw: random.Random, count: int) -> None:
    """Spans of all sizes; less than a microsecond is dropped on the way to Python, toward zero."""
    for _ in range(count):
        size = (1 << draw.randrange(1, 60)) - 1
        value = timedelta(microseconds=draw.randint(-size, size))
        agree(said_of(value), span_facts(_ticks(value)), value)
        value, facts = made(3)
        ticks = int(facts[0])
        assert value // MICROSECOND == (abs(ticks) // 10) * (-1 if ticks < 0 else 1), (value, facts)
        agree(facts, span_facts(ticks), value)


# Texts


def text_facts(value: str) -> list[str]:
    """What .NET should say of a text: its units, and the code points that they make up."""
    units = value.encode("utf-16-le", "surrogatepass")
    points = len(units.decode("utf-16-le", "replace"))
    return [str(len(units) // 2), units.hex().upper(), str(points)]


def _pieces(step: int, size: int) -> Iterator[tuple[int, int]]:
    for first in range(0, 0x110000, step):
        yield first, min(size, 0x110000 - first)


def texts(pieces: Iterator[tuple[int, int]]) -> None:
    """Texts of neighboring code points; one with half of a surrogate pair goes to .NET, and is refused on its way
    back."""
    for first, count in pieces:
        points = range(first, first + count)
        value = "".join(map(chr, points))
        agree(said_of(value), text_facts(value), value)
        _make_text(_handle, first, count)
        halves = any(0xD800 <= point <= 0xDFFF for point in points)
        try:
            shown = TAG.value
        except LookupError:
            # Both halves of a pair, one after the other, are one character.
            assert halves, value
        else:
            whole = value.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "replace")
            assert shown == whole, (shown, whole)


def agree(said: list[str], expected: list[str], value: object) -> None:
    """Stops where .NET and Python differ."""
    assert said == expected, f"{value!r}: .NET says {said}, Python {expected}"


KINDS: dict[str, Callable[[random.Random, int], None]] = {
    "decimal": decimals, "moment": moments, "moment_with_offset": moments_with_offsets, "span": spans,
    "text": lambda draw, count: texts(_pieces(61, 61)),
    "text_alone": lambda draw, count: texts(_pieces(max(1, 0x110000 // count), 1)),
}


def main() -> None:
    """Compares values of one kind, as many from each side."""
    kind, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    _oracle("Seed", None, c_int)(seed & 2**31 - 1)
    KINDS[kind](random.Random(seed), count)
    print(f"{kind}: agreed, seed {seed}")


main()
