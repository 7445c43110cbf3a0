"""The value types of the drawing module: fields, refused values, equality, hash, text, copies."""

import copy
import itertools
import math
import pickle
import struct
import sys

import pytest
from hypothesis import given
from hypothesis import strategies as st

from zelmor import pydrawing
from zelmor.pydrawing import Color, PointF, Rectangle, RectangleF

INT32 = st.integers(-(2**31), 2**31 - 1)
SINGLE = st.floats(width=32, allow_nan=False)
FLOAT_TYPES = [(PointF, ("x", "y")), (RectangleF, ("x", "y", "width", "height"))]
ALL_TYPES = [*FLOAT_TYPES, (Rectangle, ("x", "y", "width", "height"))]


def single(value):
    """The number rounded to single precision; infinity beyond its range."""
    try:
        return struct.unpack("f", struct.pack("f", value))[0]
    except OverflowError:
        return math.copysign(math.inf, value)


@pytest.mark.parametrize(("kind", "names"), ALL_TYPES)
def test_fields_by_position_and_by_name(kind, names):
    values = tuple(range(1, len(names) + 1))
    value = kind(*values)
    assert tuple(getattr(value, name) for name in names) == values
    assert tuple(value) == values
    assert kind(**dict(zip(names, values))) == value
    assert kind(values[0], **dict(zip(names[1:], values[1:]))) == value


@pytest.mark.parametrize(("kind", "names"), ALL_TYPES)
def test_no_arguments_give_zeros(kind, names):
    assert tuple(kind()) == (0,) * len(names)
    assert kind() == kind.empty
    assert kind().is_empty is True
    assert kind(*range(1, len(names) + 1)).is_empty is False


@pytest.mark.parametrize(("kind", "names"), ALL_TYPES)
def test_wrong_numbers_and_names_of_arguments(kind, names):
    for wrong in ((1,), (1,) * (len(names) + 1)):
        with pytest.raises(TypeError, match=kind.__name__):
            kind(*wrong)
    with pytest.raises(TypeError):
        kind(*range(len(names)), depth=1)
    with pytest.raises(TypeError, match="missing required argument"):
        kind(x=1)


@pytest.mark.parametrize(("kind", "names"), ALL_TYPES)
def test_values_do_not_change(kind, names):
    value = kind(*range(len(names)))
    for name in (*names, "is_empty"):
        with pytest.raises(AttributeError):
            setattr(value, name, 1)
    with pytest.raises(AttributeError):
        value.color = 1
    with pytest.raises(TypeError):
        type("Derived", (kind,), {})


@given(values=st.tuples(st.floats(allow_nan=False), st.floats(allow_nan=False)))
def test_floats_are_held_in_single_precision(values):
    assert tuple(PointF(*values)) == tuple(map(single, values))


@given(values=st.tuples(INT32, INT32, INT32, INT32))
def test_rectangle_holds_all_32_bit_integers(values):
    rectangle = Rectangle(*values)
    x, y, width, height = values
    assert tuple(rectangle) == values
    assert (rectangle.left, rectangle.top, rectangle.right, rectangle.bottom) == (x, y, x + width, y + height)


@pytest.mark.parametrize("values", itertools.product((0, 1), repeat=4))
def test_a_rectangle_is_empty_if_all_its_numbers_are_zero(values):
    assert Rectangle(*values).is_empty == (not any(values))


@given(values=st.tuples(SINGLE, SINGLE, SINGLE, SINGLE))
def test_edges_of_a_float_rectangle(values):
    rectangle = RectangleF(*values)
    x, y, width, height = values
    assert (rectangle.left, rectangle.top) == (x, y)
    for edge, expected in ((rectangle.right, x + width), (rectangle.bottom, y + height)):
        assert edge == single(expected) or (math.isnan(edge) and math.isnan(expected))
    assert rectangle.is_empty == (width <= 0 or height <= 0)


@pytest.mark.parametrize("kind", [PointF, RectangleF])
@pytest.mark.parametrize("wrong", ["1", None, True, 1j, [1]])
def test_what_is_no_number_is_refused(kind, wrong):
    fields = [1] * (2 if kind is PointF else 4)
    fields[-1] = wrong
    with pytest.raises(TypeError) as caught:
        kind(*fields)
    assert str(caught.value) == f"can't build 'Single' from '{type(wrong).__name__}'"


@pytest.mark.parametrize("wrong", ["1", None, True, 1.0])
def test_what_is_no_integer_is_refused(wrong):
    with pytest.raises(TypeError) as caught:
        Rectangle(1, 2, 3, wrong)
    assert str(caught.value) == f"can't build 'Int32' from '{type(wrong).__name__}'"


@pytest.mark.parametrize(
    ("wrong", "message"),
    [
        (2**31, "value too big to convert to 'Int32'"),
        (-(2**31) - 1, "value too small to convert to 'Int32'"),
        (2**70, None),
    ],
)
def test_integers_that_do_not_fit_are_refused(wrong, message):
    with pytest.raises(OverflowError) as caught:
        Rectangle(1, wrong, 3, 4)
    assert message is None or str(caught.value) == message


@given(left=st.tuples(INT32, INT32, INT32, INT32), right=st.tuples(INT32, INT32, INT32, INT32))
def test_equality_and_hash_are_those_of_the_fields(left, right):
    assert (Rectangle(*left) == Rectangle(*right)) == (left == right)
    assert (Rectangle(*left) != Rectangle(*right)) == (left != right)
    assert hash(Rectangle(*left)) == hash(Rectangle(*left))


def test_equality_of_floats_is_that_of_numbers():
    assert PointF(0.0, 1) == PointF(-0.0, 1)
    assert hash(PointF(0.0, 1)) == hash(PointF(-0.0, 1))
    assert PointF(math.nan, 1) != PointF(math.nan, 1)
    assert PointF(0.1, 0.2) == PointF(single(0.1), single(0.2))


def test_values_of_other_kinds_are_not_equal():
    assert PointF() != (0.0, 0.0)
    assert Rectangle() != RectangleF()
    assert Color() != PointF()
    assert (PointF() == None) is False  # noqa: E711
    for value in (PointF(), Rectangle(), RectangleF(), Color()):
        with pytest.raises(TypeError, match="not supported between instances"):
            _ = value < value


@pytest.mark.parametrize(
    ("value", "text"),
    [
        (PointF(1, -2.5), "PointF(x=1.0, y=-2.5)"),
        (Rectangle(1, 2, 3, -4), "Rectangle(x=1, y=2, width=3, height=-4)"),
        (RectangleF(1, 2, 3, 4.5), "RectangleF(x=1.0, y=2.0, width=3.0, height=4.5)"),
        (Color(), "Color()"),
        (Color.alice_blue, "Color.alice_blue"),
        (Color.from_argb(1, 2, 3, 4), "Color.from_argb(1, 2, 3, 4)"),
    ],
)
def test_text_makes_the_value_again(value, text):
    assert repr(value) == text
    assert str(value) == text
    assert eval(text, vars(pydrawing)) == value


@pytest.mark.parametrize(
    "value", [PointF(1.5, 2), Rectangle(1, 2, 3, 4), RectangleF(1, 2, 3, 4), Color(), Color.red, Color.from_argb(5)]
)
def test_copies(value):
    assert copy.copy(value) == value
    assert copy.deepcopy([value]) == [value]
    for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
        again = pickle.loads(pickle.dumps(value, protocol))
        assert again == value
        assert type(again) is type(value)


@given(argb=st.integers(-(2**31), 2**32 - 1))
def test_colors_of_packed_components(argb):
    color = Color.from_argb(argb)
    packed = argb & 0xFFFFFFFF
    assert (color.a, color.r, color.g, color.b) == tuple(packed.to_bytes(4, "big"))
    assert color.to_argb() == packed - (packed >> 31 << 32)
    assert color == Color.from_argb(color.a, color.r, color.g, color.b)
    assert hash(color) == hash(Color.from_argb(packed))
    assert color.name == f"{packed:x}"
    assert (color.is_empty, color.is_known_color, color.is_system_color) == (False, False, False)


def test_forms_of_from_argb():
    assert Color.from_argb(1, 2, 3) == Color.from_argb(255, 1, 2, 3) == Color.from_argb(red=1, green=2, blue=3)
    assert Color.from_argb(7, Color.from_argb(1, 2, 3)) == Color.from_argb(7, 1, 2, 3)
    assert Color.from_argb(alpha=7, base_color=Color.red) == Color.from_argb(7, 255, 0, 0)
    assert Color.from_argb(alpha=7, red=1, green=2, blue=3) == Color.from_argb(7, 1, 2, 3)
    assert Color.from_argb(argb=0x01020304) == Color.from_argb(1, 2, 3, 4)
    with pytest.raises(TypeError, match="from_argb"):
        Color.from_argb()
    with pytest.raises(TypeError, match="from_argb"):
        Color.from_argb(1, 2, 3, 4, 5)
    with pytest.raises(TypeError) as caught:
        Color.from_argb(1, 2)
    assert str(caught.value) == "can't build Color value from 'int'"


@pytest.mark.parametrize("component", [-1, 256])
@pytest.mark.parametrize("place", range(4))
def test_components_out_of_range(component, place):
    components = [0, 0, 0, 0]
    components[place] = component
    with pytest.raises(ValueError, match=f"from 0 to 255, not {component}"):
        Color.from_argb(*components)


@pytest.mark.parametrize("argb", [2**32, -(2**31) - 1])
def test_packed_components_out_of_range(argb):
    with pytest.raises(OverflowError, match="fit 32 bits"):
        Color.from_argb(argb)


def test_named_colors():
    named = {name: value for name, value in vars(Color).items() if isinstance(value, Color)}
    assert named.pop("empty") == Color()
    assert len(named) == 141
    for name, color in named.items():
        assert color.name.lower() == name.replace("_", "")
        assert color.is_known_color and color.is_named_color and not color.is_system_color and not color.is_empty
        assert Color.from_name(color.name) == Color.from_name(color.name.upper()) == color
    assert named["transparent"].to_argb() == 0x00FFFFFF
    assert named["rosy_brown"] == Color.from_name("RosyBrown")
    assert len({color for color in named.values()}) == 141


@pytest.mark.parametrize(
    ("name", "argb"),
    [("alice_blue", 0xFFF0F8FF), ("red", 0xFFFF0000), ("dark_sea_green", 0xFF8FBC8F), ("yellow_green", 0xFF9ACD32)],
)
def test_components_of_named_colors(name, argb):
    assert getattr(Color, name).to_argb() & 0xFFFFFFFF == argb


def test_web_colors_agree_with_pillow():
    colors = pytest.importorskip("PIL.ImageColor")
    compared = 0
    for name, color in vars(Color).items():
        if isinstance(color, Color) and name not in ("empty", "transparent"):
            assert colors.getrgb(color.name) == (color.r, color.g, color.b), name
            compared += 1
    assert compared == 140


def test_a_named_color_differs_from_its_components():
    assert Color.red != Color.from_argb(255, 0, 0)
    assert Color.red.to_argb() == Color.from_argb(255, 0, 0).to_argb()
    assert Color.aqua != Color.cyan
    assert Color.empty != Color.from_argb(0)
    assert Color.empty.name == "0"


def test_unknown_names():
    with pytest.raises(ValueError, match="no color of the name 'Mauve-ish'"):
        Color.from_name("Mauve-ish")
    with pytest.raises(ValueError):
        Color.from_name("")
    with pytest.raises(ValueError):
        Color.from_name("Control")
    with pytest.raises(TypeError):
        Color.from_name(3)
    with pytest.raises(TypeError):
        Color(1)


@given(argb=st.integers(0, 2**24 - 1))
def test_hue_saturation_and_brightness(argb):
    color = Color.from_argb(argb)
    low, high = min(color.r, color.g, color.b), max(color.r, color.g, color.b)
    assert color.get_brightness() == pytest.approx((low + high) / 510)
    import colorsys

    hue, lightness, saturation = colorsys.rgb_to_hls(color.r / 255, color.g / 255, color.b / 255)
    assert color.get_brightness() == pytest.approx(lightness, abs=1e-6)
    assert color.get_saturation() == pytest.approx(saturation, abs=1e-6)
    assert color.get_hue() == pytest.approx(hue * 360, abs=1e-3)


def test_references_stay_balanced():
    number = 12345.678
    before = sys.getrefcount(number), sys.getrefcount(PointF)
    for _ in range(100):
        value = PointF(number, number)
        repr(value), hash(value), tuple(value), value == PointF(), pickle.dumps(value)
        del value
    assert (sys.getrefcount(number), sys.getrefcount(PointF)) == before


def test_hashes_of_colors_are_spread():
    """A dictionary looks at the low bits: colors that differ in any one channel must not share them."""
    for shift in (0, 8, 16, 24):
        low_bits = {hash(Color.from_argb(channel << shift)) & 0xFFF for channel in range(256)}
        assert len(low_bits) > 200
