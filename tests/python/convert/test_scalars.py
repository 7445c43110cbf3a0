"""Numbers and booleans as arguments: the word that is passed on the wire, and the messages of refusals."""

from __future__ import annotations

import enum
import struct
from fractions import Fraction
from typing import Any

import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from support.control import Control, control
from support.draws import examples
from zelmor.imaging import Image, Point, RasterImage, ResolutionSetting, StreamContainer
from zelmor.imaging.imageoptions import DxfOptions, SvgRasterizationOptions, TimeInterval

EXHAUSTIVE = settings(max_examples=examples(300), deadline=None, suppress_health_check=list(HealthCheck))


def wrapper_of(name: str) -> Any:
    """A wrapper of a new managed object of this type."""
    return control.callback("write", "tpo")(control.new_object(name), control.type_id(name))


def argument_on_the_wire(owner: str, method: str, position: int, call: Any) -> int:
    """The word that a call passes as an argument; the entry point itself is not run."""
    control.return_next(owner, method)
    with control.journal() as calls:
        call()
    [made] = [entry for entry in calls if entry.method == method]
    return made.arguments[position]


class Number(enum.IntEnum):
    """An enumeration that belongs to no managed type."""

    ONE = 1


class Own(int):
    """A plain subclass of int."""


class Index:
    """An object with `__index__` that is not a number."""

    def __index__(self) -> int:
        return 1

    def __float__(self) -> float:
        return 1.0


@EXHAUSTIVE
@given(st.integers(-2**63, 2**63 - 1))
def test_an_int32_takes_the_low_32_bits(value: int) -> None:
    word = argument_on_the_wire("Zelmor.Imaging.Image", "call_000_GetProportionalWidth", 0,
                                lambda: Image.get_proportional_width(value, 1, 1))
    assert word == value % 2**32


@EXHAUSTIVE
@given(st.integers(0, 2**64 - 1))
def test_a_uint32_takes_the_low_32_bits(value: int) -> None:
    interval = TimeInterval(0, 0)
    word = argument_on_the_wire("Zelmor.Imaging.ImageOptions.TimeInterval", "set_To", 1,
                                lambda: setattr(interval, "to", value))
    assert word == value % 2**32


@EXHAUSTIVE
@given(st.integers(-2**63, 2**63 - 1))
def test_an_int64_arrives_unchanged(value: int) -> None:
    container: StreamContainer = wrapper_of("Zelmor.Imaging.StreamContainer")
    word = argument_on_the_wire("Zelmor.Imaging.StreamContainer", "set_Position", 1,
                                lambda: setattr(container, "position", value))
    assert word == value % 2**64


@pytest.mark.parametrize("value", range(0, 256, 15))
def test_a_byte_arrives_unchanged(value: int) -> None:
    image: RasterImage = wrapper_of("Zelmor.Imaging.RasterImage")
    assert argument_on_the_wire("Zelmor.Imaging.RasterImage", "call_000_BinarizeFixed", 1,
                                lambda: image.binarize_fixed(value)) == value


def test_a_byte_is_between_0_and_255() -> None:
    image: RasterImage = wrapper_of("Zelmor.Imaging.RasterImage")
    with pytest.raises(OverflowError, match="^value too big to convert to 'Byte'$"):
        image.binarize_fixed(256)
    with pytest.raises(OverflowError, match="^can't convert negative value to unsigned int$"):
        image.binarize_fixed(-1)


def test_an_integer_beyond_64_bits_is_pythons_own_overflow() -> None:
    interval = TimeInterval(0, 0)
    for value in (2**64, -1):
        with pytest.raises(OverflowError):
            interval.to = value
    with pytest.raises(OverflowError, match="^Python int too large to convert to C long$"):
        Image.get_proportional_width(2**63, 1, 1)
    assert interval.to == 0


@pytest.mark.parametrize("value", [True, 1.0, "1", None, Own(1), Number.ONE, Index(), Fraction(1)])
def test_only_an_int_is_an_integer(value: object) -> None:
    with pytest.raises(TypeError) as refused:
        Image.get_proportional_width(value, 1, 1)
    assert str(refused.value) == f"can't build 'Int32' from '{tp_name(value)}'"
    with pytest.raises(TypeError) as refused:
        TimeInterval(0, 0).to = value
    assert str(refused.value) == f"can't build 'UInt32' from '{tp_name(value)}'"


def tp_name(value: object) -> str:
    """The name in the interpreter's type object: with a module for only a few of its own types."""
    return type(value).__name__


@EXHAUSTIVE
@given(st.floats())
def test_a_float_arrives_in_the_width_of_its_parameter(value: float) -> None:
    setting = ResolutionSetting()
    word = argument_on_the_wire("Zelmor.Imaging.ResolutionSetting", "set_HorizontalResolution", 1,
                                lambda: setattr(setting, "horizontal_resolution", value))
    assert struct.pack("<Q", word) == struct.pack("<d", value)
    options = SvgRasterizationOptions()
    word = argument_on_the_wire("Zelmor.Imaging.ImageOptions.SvgRasterizationOptions", "set_ScaleX", 1,
                                lambda: setattr(options, "scale_x", value))
    assert word.to_bytes(4, "little") == single(value)


def single(value: float) -> bytes:
    """The nearest binary32, computed from exact fractions; infinity beyond its range."""
    if value != value or value in (float("inf"), float("-inf")) or value == 0:
        return struct.pack("<f", value)
    exact, sign = Fraction(abs(value)), 0x80000000 if value < 0 else 0
    exponent = max(exact.numerator.bit_length() - exact.denominator.bit_length() - 1, -126)
    while exact >= 2 * Fraction(2) ** exponent:
        exponent += 1
    scaled = exact / Fraction(2) ** (exponent - 23)
    mantissa = round(scaled)  # ties to even
    if mantissa >= 2**24:
        mantissa, exponent = mantissa // 2, exponent + 1
    if exponent > 127:
        return struct.pack("<I", sign | 0x7F800000)
    biased = exponent + 127 if mantissa >= 2**23 else 0
    return struct.pack("<I", sign | biased << 23 | mantissa & 0x7FFFFF)


@EXHAUSTIVE
@given(st.integers(-2**63, 2**64 - 1))
def test_an_integer_is_a_float_rounded_once(value: int) -> None:
    setting = ResolutionSetting()
    word = argument_on_the_wire("Zelmor.Imaging.ResolutionSetting", "set_HorizontalResolution", 1,
                                lambda: setattr(setting, "horizontal_resolution", value))
    assert struct.pack("<Q", word) == struct.pack("<d", value)


@pytest.mark.parametrize("value", [True, "1", None, Own(1), Number.ONE, Index(), Fraction(1), 1j])
def test_only_a_float_or_an_int_is_a_float(value: object) -> None:
    with pytest.raises(TypeError) as refused:
        ResolutionSetting().horizontal_resolution = value
    assert str(refused.value) == f"can't build 'Double' from '{tp_name(value)}'"
    with pytest.raises(TypeError) as refused:
        SvgRasterizationOptions().scale_x = value
    assert str(refused.value) == f"can't build 'Single' from '{tp_name(value)}'"


def test_a_subclass_of_float_is_one() -> None:
    setting = ResolutionSetting()
    setting.horizontal_resolution = type("OwnFloat", (float,), {})(72.5)
    assert setting.horizontal_resolution == 72.5


def test_an_integer_beyond_64_bits_is_no_float() -> None:
    for value in (2**64, -2**63 - 1):
        with pytest.raises(OverflowError):
            ResolutionSetting().horizontal_resolution = value


def test_a_float_beyond_single_is_infinite() -> None:
    options = SvgRasterizationOptions()
    options.scale_x = 1e39
    assert options.scale_x == float("inf")


@pytest.mark.parametrize("value", [1, 0, 1.0, "True", None, [], Index()])
def test_a_boolean_is_exactly_bool(value: object) -> None:
    options = DxfOptions()
    with pytest.raises(TypeError) as refused:
        options.text_as_lines = value
    assert str(refused.value) == f"can't build bool from '{tp_name(value)}'"
    assert options.text_as_lines is False


@pytest.mark.parametrize("value", [True, False])
def test_a_boolean_arrives_as_one_byte(value: bool) -> None:
    options = DxfOptions()
    word = argument_on_the_wire("Zelmor.Imaging.ImageOptions.DxfOptions", "set_TextAsLines", 1,
                                lambda: setattr(options, "text_as_lines", value))
    assert word == int(value)


def test_a_boolean_result_is_its_low_byte(control: Control) -> None:
    options = DxfOptions()
    for word, expected in ((1, True), (0, False)):
        control.return_next("Zelmor.Imaging.ImageOptions.DxfOptions", "get_TextAsLines", word)
        assert options.text_as_lines is expected


@EXHAUSTIVE
@given(st.integers(-2**31, 2**31 - 1), st.integers(-2**31, 2**31 - 1))
def test_integers_come_back(x: int, y: int) -> None:
    point = Point(x, y)
    assert (point.x, point.y) == (x, y)
