"""Decimals in both directions, compared with a second implementation that uses whole numbers.

A managed decimal has a mantissa of 96 bits and a scale of 0 to 28; a value that does not fit is rounded by one digit or
refused. The second implementation follows the documented rules and does not share the grouping of digits or the
multiplication.
"""

from __future__ import annotations

import functools
import itertools
import random
import re
import sys
from collections.abc import Iterator
from ctypes import c_uint
from decimal import Decimal, DecimalTuple
from fractions import Fraction
from typing import Any

import pytest
from support.anything import holder
from support.control import control
from support.draws import seeds

LARGEST = 2**96 - 1
TOO_LARGE = "value too large for .Net decimal"

#: Looked up once, since these tests make many calls.
callback = functools.cache(control.callback)

#: Mantissa, scale and sign; or None for a value that is refused as too large.
Record = tuple[int, int, int] | None


def read_as(name: str, value: object) -> tuple[int, int, int]:
    """The result of a reader of decimals: mantissa, scale, sign."""
    words = (c_uint * 4)(*[0xDEADBEEF] * 4)
    assert callback("read", name)(value, words) == 1
    assert words[3] & ~0x80FF0000 == 0
    return int.from_bytes(bytes(words)[:12], "little"), words[3] >> 16 & 0xFF, words[3] >> 31


def read(text: str) -> tuple[int, int, int]:
    """The result of the reader of decimals, and that of the reader of tuples for the parts of the same value."""
    record = read_as("decimal", Decimal(text))
    assert read_as("decimal_tuple", Decimal(text).as_tuple()) == record
    return record


def write(mantissa: int, scale: int, sign: int) -> Decimal:
    """The Decimal of a record."""
    words = [mantissa >> shift & 0xFFFFFFFF for shift in (0, 32, 64)]
    return callback("write", "decimal")((c_uint * 4)(*words, sign << 31 | scale << 16))


def expected(sign: int, digits: tuple[int, ...], exponent: int) -> Record:
    """The record for a tuple by the documented rules, computed in whole numbers."""
    count = len(digits)
    if count > 1 and 29 - count < exponent:
        return None
    taken, rounded = count, False
    if exponent < -28:
        taken, rounded = count - (-28 - exponent) + 1, True
        if taken < 1:
            return 0, 0, 0  # all digits are below the last decimal place
        exponent = -28
    if taken - rounded > 29:
        # Thirty digits are considered, whatever follows.
        exponent += taken - rounded - 29
        taken, rounded = 30, True
    number = int("".join(map(str, digits[:taken])) or "0")
    if rounded:
        number, dropped = divmod(number, 10)
        # Ties go to even; a single digit after groups of nine is rounded as if an even digit preceded it.
        alone = taken % 9 == 1
        number += dropped > 5 or (dropped == 5 and not alone and number % 2 == 1)
    if taken - rounded == 29 and exponent < 0 and number > LARGEST:
        number, dropped = divmod(number, 10)
        number += dropped > 5 or (dropped == 5 and number % 2 == 1)
        exponent += 1
    if number == 0:
        return 0, 0, 0
    number *= 10 ** min(max(exponent, 0), 40)
    return None if number > LARGEST else (number, max(-exponent, 0), sign)


def check_all(tuples: Iterator[tuple[int, tuple[int, ...], int]]) -> int:
    """Compares the reader of tuples with the second implementation; returns the number of comparisons."""
    words = (c_uint * 4)()
    reader = callback("read", "decimal_tuple")
    count = 0
    for sign, digits, exponent in tuples:
        count += 1
        try:
            reader(DecimalTuple(sign, digits, exponent), words)
        except OverflowError as error:
            assert expected(sign, digits, exponent) is None and str(error) == TOO_LARGE, (sign, digits, exponent)
            continue
        raw = int.from_bytes(words, "little")
        record = raw & LARGEST, raw >> 112 & 0xFF, raw >> 127
        assert record == expected(sign, digits, exponent), (sign, digits, exponent)
    return count


# The documented cases


@pytest.mark.parametrize(("text", "mantissa", "scale", "sign"), [
    ("79228162514264337593543950335", LARGEST, 0, 0),
    ("-79228162514264337593543950335", LARGEST, 0, 1),
    ("7.9228162514264337593543950335", LARGEST, 28, 0),
    ("7.9228162514264337593543950336", 7922816251426433759354395034, 27, 0),
    ("1E+28", 10**28, 0, 0),
    ("-1E+28", 10**28, 0, 1),
    ("1.50", 150, 2, 0),
    ("-1.50", 150, 2, 1),
    ("0E+100", 0, 0, 0),
    ("-0", 0, 0, 0),
    ("0.000", 0, 0, 0),
    ("1E-40", 0, 0, 0),
    ("1E-29", 0, 0, 0),
    ("6E-29", 1, 28, 0),
    ("5E-29", 0, 0, 0),
    ("15E-29", 2, 28, 0),
    ("25E-29", 2, 28, 0),
    ("1234567895E-29", 123456789, 28, 0),
    ("1234567896E-29", 123456790, 28, 0),
    ("1.2345678901234567890123456785000001", 12345678901234567890123456785, 28, 0),
])
def test_a_decimal_becomes_mantissa_scale_and_sign(text: str, mantissa: int, scale: int, sign: int) -> None:
    assert read(text) == (mantissa, scale, sign)
    assert expected(*Decimal(text).as_tuple()) == (mantissa, scale, sign)  # type: ignore[arg-type]


@pytest.mark.parametrize("text", [
    "79228162514264337593543950336", "-79228162514264337593543950336", "1E+29", "12345678901234567890123456789E+1",
    "8E+28", "1E+999999", "1E+999999999999999999", "9" * 30, "9" * 400,
])
def test_a_decimal_beyond_96_bits_is_too_large(text: str) -> None:
    with pytest.raises(OverflowError) as refused:
        read(text)
    assert str(refused.value) == TOO_LARGE


def test_a_zero_takes_any_exponent() -> None:
    for exponent in (-10**18, -1000, -29, -28, 0, 28, 29, 10**18):
        assert read_as("decimal_tuple", DecimalTuple(1, (0,), exponent)) == (0, 0, 0)
        assert read_as("decimal_tuple", DecimalTuple(0, (), exponent)) == (0, 0, 0)


def test_two_zeros_with_a_large_exponent_are_two_digits() -> None:
    with pytest.raises(OverflowError, match=f"^{TOO_LARGE}$"):
        read_as("decimal_tuple", DecimalTuple(0, (0, 0), 28))
    assert read_as("decimal_tuple", DecimalTuple(0, (0, 0), 27)) == (0, 0, 0)


@pytest.mark.parametrize(("text", "message"), [
    ("NaN", "value is not a number"), ("-NaN12", "value is not a number"), ("sNaN", "value is not a number"),
    ("Infinity", "value too large for .Net 'Decimal'"), ("-Infinity", "value too large for .Net 'Decimal'"),
])
def test_what_is_no_finite_number_is_refused(text: str, message: str) -> None:
    with pytest.raises(OverflowError, match=f"^{re.escape(message)}$"):
        read_as("decimal", Decimal(text))
    with pytest.raises(OverflowError, match=f"^{re.escape(message)}$"):
        read_as("decimal_tuple", Decimal(text).as_tuple())


@pytest.mark.parametrize(("parts", "error", "message"), [
    ((0, (1,), "x"), TypeError, "can't build 'Decimal' from exponent value 'x'"),
    ((0, (1,), "FF"), TypeError, "can't build 'Decimal' from exponent value 'FF'"),
    ((0, (1,), ""), TypeError, "can't build 'Decimal' from exponent value ''"),
    ((0, (1,), 1.0), TypeError, "unknown exponent type 'float'"),
    ((0, (1,), None), TypeError, "unknown exponent type 'NoneType'"),
    ((0, (1,), 2**63), OverflowError, "int too big to convert"),
    ((2**63, (1,), 0), OverflowError, "Python int too large to convert to C long"),
    ((0, (10,), 0), ValueError, "coefficient must be a tuple of digits"),
    ((0, (1, -1), 0), ValueError, "coefficient must be a tuple of digits"),
])
def test_parts_that_say_nothing_are_refused(parts: tuple[Any, Any, Any], error: type[Exception], message: str) -> None:
    with pytest.raises(error, match=f"^{re.escape(message)}$"):
        read_as("decimal_tuple", DecimalTuple(*parts))


@pytest.mark.parametrize("parts", [(0, ("1",), 0), (0, [1], 0), ("0", (1,), 0), (None, (1,), 0), (0, None, 0)])
def test_parts_of_a_wrong_kind_raise(parts: tuple[Any, Any, Any]) -> None:
    with pytest.raises((TypeError, SystemError)):
        read_as("decimal_tuple", DecimalTuple(*parts))


@pytest.mark.parametrize("value", [1, 1.5, True, None, "1.5", (0, (1,), 0), Fraction(1)])
def test_only_a_decimal_or_its_tuple_is_a_decimal(value: object) -> None:
    with pytest.raises(TypeError) as refused:
        read_as("decimal", value)
    assert str(refused.value) == f"can't build Decimal from '{type(value).__name__}'"


def test_the_reader_of_decimals_takes_tuples_too() -> None:
    assert read_as("decimal", Decimal("-1.5").as_tuple()) == (15, 1, 1)
    assert read_as("decimal", type("Own", (Decimal,), {})("2.5")) == (25, 1, 0)


def test_a_class_that_is_not_to_be_had_fails_the_reading(monkeypatch: pytest.MonkeyPatch) -> None:
    missing: Any = None
    monkeypatch.setitem(sys.modules, "decimal", missing)
    for name, value in (("read", Decimal(1)), ("write", (c_uint * 4)(1))):
        arguments = (value, (c_uint * 4)()) if name == "read" else (value,)
        with pytest.raises(ImportError, match="^Unable to import the specified module decimal"):
            callback(name, "decimal")(*arguments)


def test_an_error_in_as_tuple_comes_out() -> None:
    class Broken(Decimal):
        def as_tuple(self) -> DecimalTuple:
            raise KeyError("broken")

    with pytest.raises(KeyError, match="broken"):
        read_as("decimal", Broken(1))


# Towards Python


@pytest.mark.parametrize("mantissa", [0, 1, 5, 10, 99, 2**32 - 1, 2**32, 2**64 - 1, 2**64, 10**28, LARGEST])
@pytest.mark.parametrize("sign", [0, 1])
def test_a_record_becomes_the_decimal_with_its_digits(mantissa: int, sign: int) -> None:
    for scale in range(256):
        parts = DecimalTuple(sign, tuple(map(int, str(mantissa))), -scale)
        assert write(mantissa, scale, sign).as_tuple() == parts


def test_a_zero_keeps_its_scale_on_the_way_back() -> None:
    assert write(0, 5, 0).as_tuple() == DecimalTuple(0, (0,), -5)


def test_building_consumes_the_record() -> None:
    words = (c_uint * 4)(1, 2, 3, 1 << 31 | 4 << 16)
    callback("write", "decimal")(words)
    assert list(words) == [0, 0, 0, 1 << 31 | 4 << 16]


def test_flags_outside_sign_and_scale_do_not_count() -> None:
    words = (c_uint * 4)(15, 0, 0, 0x7F01FFFF)
    assert callback("write", "decimal")(words).as_tuple() == DecimalTuple(0, (1, 5), -1)


@pytest.mark.parametrize("seed", seeds(2))
def test_records_come_back_as_they_were(seed: int) -> None:
    draw = random.Random(seed)
    for _ in range(50_000):
        mantissa, scale, sign = draw.getrandbits(draw.randint(1, 96)) or 1, draw.randint(0, 28), draw.getrandbits(1)
        value = write(mantissa, scale, sign)
        assert value.as_tuple() == DecimalTuple(sign, tuple(map(int, str(mantissa))), -scale)
        assert read_as("decimal", value) == (mantissa, scale, sign)


# Against the second implementation


def test_all_short_numbers_and_scales() -> None:
    draws = ((number & 1, tuple(map(int, str(number))), exponent)
             for number in range(1000) for exponent in range(-40, 41))
    assert check_all(draws) == 81_000


def test_every_length_with_every_scale() -> None:
    patterns = ("1", "5", "9", "49", "50", "95", "123456789", "987654321", "4999999999", "5000000000",
                "79228162514264337")
    draws = ((0, tuple(map(int, (pattern * length)[:length])), exponent)
             for pattern in patterns for length in range(1, 65) for exponent in range(-90, 41))
    assert check_all(draws) == len(patterns) * 64 * 131


def test_a_half_in_every_position() -> None:
    """Digits around a dropped 5, with various digits before and after it."""
    def draws() -> Iterator[tuple[int, tuple[int, ...], int]]:
        for before, after, lead in itertools.product(range(31), (0, 1, 9), range(10)):
            for dropped in (4, 5, 6):
                body = (7,) * max(before - 1, 0) + ((lead,) if before else ())
                for tail in ((), (after,), (after, 1)):
                    digits = (*body, dropped, *tail)
                    for exponent in (-28 - len(tail) - 1, -28 - len(tail), -29 - len(tail) - 1, -20, 0):
                        yield 0, digits, exponent

    assert check_all(draws()) == 31 * 3 * 10 * 3 * 3 * 5


def test_around_the_largest_mantissa() -> None:
    """29 and 30 digits near the limit of 96 bits, and near the limit for two more digits."""
    def draws() -> Iterator[tuple[int, tuple[int, ...], int]]:
        for near in range(-60, 61):
            for number in (LARGEST + near, (LARGEST // 100 + near) * 100 + 35, 10 * LARGEST + near):
                for extra in ("", "0", "4", "5", "6", "49", "50", "51", "99"):
                    digits = tuple(map(int, str(number) + extra))
                    for exponent in range(-33, 3):
                        yield near & 1, digits, exponent

    assert check_all(draws()) == 121 * 3 * 9 * 36


@pytest.mark.parametrize("seed", seeds(10))
def test_any_digits(seed: int) -> None:
    draw = random.Random(seed)

    def draws() -> Iterator[tuple[int, tuple[int, ...], int]]:
        bits, between, lengths = draw.getrandbits, draw.randint, range(1, 70)
        for _ in range(100_000):
            kind = bits(3)
            if kind == 0:  # leading zeros, which no Decimal has
                digits = tuple(draw.choices(range(10), k=between(0, 34)))
            elif kind == 1:  # runs of nines and halves
                digits = tuple(draw.choices((0, 4, 5, 9), k=draw.choice(lengths)))
            elif kind == 2:
                digits = tuple(map(int, str(LARGEST + between(-10**9, 10**9)))) + (between(0, 9),) * bits(1)
            else:
                digits = tuple(map(int, str(bits(between(1, 130)))))
            # Most generated values are meant to fit, close to either limit.
            exponent = between(-40 - len(digits), 3 + max(0, 29 - len(digits)))
            yield bits(1), digits, exponent

    assert check_all(draws()) == 100_000


# Reference counts


def test_no_reference_is_kept_or_lost() -> None:
    value, wrong = Decimal("1234567890.5"), DecimalTuple(0, (1, 10), 0)
    parts = value.as_tuple()
    too_many, nothing = DecimalTuple(0, (9,) * 40, 0), DecimalTuple(0, (1,), "x")  # type: ignore[arg-type]
    watched = [value, parts, parts.digits, wrong, wrong.digits, Decimal, DecimalTuple]
    before = [sys.getrefcount(item) for item in watched]
    for _ in range(100):
        read_as("decimal", value)
        read_as("decimal_tuple", parts)
        write(12345, 3, 1)
        for refused in (wrong, too_many, nothing):
            with pytest.raises((ValueError, OverflowError, TypeError)):
                read_as("decimal_tuple", refused)
    assert [sys.getrefcount(item) for item in watched] == before


# As a value of managed type object


@pytest.mark.parametrize("text", ["0", "1.50", "-79228162514264337593543950335", "7.9228162514264337593543950335",
                                  "0.0000000000000000000000000001", "123456789.987654321"])
def test_a_decimal_comes_back_with_its_scale(text: str) -> None:
    options = holder()
    for value in (Decimal(text), Decimal(text).as_tuple()):
        options.value = value
        assert type(options.value) is Decimal
        assert options.value.as_tuple() == Decimal(text).as_tuple()


def test_a_decimal_that_cannot_cross_is_a_managed_exception() -> None:
    options = holder()
    with pytest.raises(RuntimeError, match=r"^Proxy error\(PythonException\): .*value too large for \.Net decimal"):
        options.value = Decimal("1E+29")
    assert options.value is None
