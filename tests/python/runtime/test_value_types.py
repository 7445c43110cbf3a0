"""The value types of geometry and color, compared with implementations in Python."""

from __future__ import annotations

import colorsys
import math
import struct
from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st

from zelmor.imaging import (
    CmykColor, CmykColorHelper, Color, ColorTranslator, KnownColor, Point, PointF, Rectangle, RectangleF, Size, SizeF,
)

from zelmor.imaging.fileformats.cdr.types import PointD

INT32 = st.integers(-2**31, 2**31 - 1)
SMALL = st.integers(-10_000, 10_000)
FLOAT = st.floats(-1e6, 1e6, width=32)
BYTE = st.integers(0, 255)


def wrapped(value: int) -> int:
    """A 32-bit integer with wrap-around."""
    return (value + 2**31) % 2**32 - 2**31


def single(value: float) -> float:
    """The nearest number of single precision."""
    return struct.unpack("f", struct.pack("f", value))[0]


def as_int(value: float) -> int:
    """The managed conversion of a floating-point number to 32 bits."""
    if math.isnan(value) or not -2**31 <= math.trunc(value) < 2**31:
        return -2**31
    return math.trunc(value)


def size(value: Size | SizeF) -> tuple[Any, Any]:
    return value.width, value.height


def point(value: Point | PointF) -> tuple[Any, Any]:
    return value.x, value.y


def rect(value: Rectangle | RectangleF) -> tuple[Any, ...]:
    return value.x, value.y, value.width, value.height


class TestSizes:
    @given(INT32, INT32, INT32, INT32)
    def test_sums_and_differences_wrap_around(self, a: int, b: int, c: int, d: int) -> None:
        assert size(Size.add(Size(a, b), Size(c, d))) == (wrapped(a + c), wrapped(b + d))
        assert size(Size.subtract(Size(a, b), Size(c, d))) == (wrapped(a - c), wrapped(b - d))

    @given(st.floats(width=32), st.floats(width=32))
    def test_rounding(self, width: float, height: float) -> None:
        value = SizeF(width, height)
        for method, rounded in ((Size.truncate, lambda x: x), (Size.ceiling, math.ceil), (Size.round, round)):
            expected = tuple(as_int(rounded(x)) if math.isfinite(x) else -2**31 for x in (width, height))
            assert size(method(value)) == expected

    def test_constructors(self) -> None:
        assert size(Size()) == (0, 0)
        assert size(Size(Point(3, 4))) == (3, 4)
        assert size(SizeF(SizeF(1.5, 2.5))) == (1.5, 2.5)
        assert size(SizeF(PointF(1.5, 2.5))) == (1.5, 2.5)
        assert size(SizeF.create_from_point_f(PointF(0.5, 1))) == (0.5, 1)
        assert size(SizeF(2.9, -2.9).to_size()) == (2, -2)
        assert point(SizeF(2.5, -2.5).to_point_f()) == (2.5, -2.5)

    def test_empty(self) -> None:
        assert Size.empty.is_empty and SizeF.empty.is_empty
        assert not Size(0, 1).is_empty and not SizeF(0.5, 0).is_empty

    @given(INT32, INT32)
    def test_properties_text_and_equality(self, width: int, height: int) -> None:
        value = Size()
        value.width, value.height = width, height
        assert size(value) == (width, height)
        assert value == Size(width, height) and hash(value) == hash(Size(width, height))
        assert str(value) == repr(value) == f"{{Width={width}, Height={height}}}"

    def test_a_value_of_another_type_is_not_equal(self) -> None:
        assert Size(1, 2) != Point(1, 2)
        assert Size(1, 2) != SizeF(1, 2)
        assert Size(1, 2) != None  # noqa: E711  (reaches the managed side)


class TestPoints:
    @given(INT32, INT32, INT32, INT32)
    def test_moves_wrap_around(self, x: int, y: int, dx: int, dy: int) -> None:
        assert point(Point.add(Point(x, y), Size(dx, dy))) == (wrapped(x + dx), wrapped(y + dy))
        assert point(Point.subtract(Point(x, y), Size(dx, dy))) == (wrapped(x - dx), wrapped(y - dy))
        moved = Point(x, y)
        moved.offset(dx, dy)
        assert point(moved) == (wrapped(x + dx), wrapped(y + dy))
        moved.offset(Point(-1, 1))
        assert point(moved) == (wrapped(x + dx - 1), wrapped(y + dy + 1))

    @given(INT32)
    def test_a_double_word_holds_two_words(self, word: int) -> None:
        x, y = struct.unpack("<hh", struct.pack("<i", word))
        assert point(Point(word)) == point(Point.create_from_d_word(word)) == (x, y)

    @given(INT32, INT32)
    def test_a_long_holds_two_numbers(self, x: int, y: int) -> None:
        packed = Point(x, y).to_long()
        assert packed == struct.unpack("<q", struct.pack("<ii", x, y))[0]
        out_x: list[Any] = []
        out_y: list[Any] = []
        assert Point.from_long(packed, out_x, out_y) == x
        assert (out_x, out_y) == ([x], [y])

    @given(FLOAT, FLOAT, FLOAT, FLOAT, SMALL)
    def test_floats_are_single(self, x: float, y: float, w: float, h: float, n: int) -> None:
        start = PointF(x, y)
        assert point(PointF.add(start, SizeF(w, h))) == (single(x + w), single(y + h))
        assert point(PointF.subtract_size_f(start, SizeF(w, h))) == (single(x - w), single(y - h))
        assert point(PointF.add_size(start, Size(n, -n))) == (single(x + n), single(y - n))
        assert point(PointF.subtract(start, Size(n, -n))) == (single(x - n), single(y + n))

    @given(FLOAT, FLOAT)
    def test_rounding(self, x: float, y: float) -> None:
        for method, rounded in ((Point.truncate, math.trunc), (Point.ceiling, math.ceil), (Point.round, round)):
            assert point(method(PointF(x, y))) == (rounded(x), rounded(y))

    def test_text(self) -> None:
        assert str(Point(1, -2)) == "{X=1,Y=-2}"
        assert str(PointF(0.1, 1e20)) == "{X=0.1, Y=1E+20}"


class TestRectangles:
    @given(SMALL, SMALL, st.integers(0, 1000), st.integers(0, 1000), SMALL, SMALL)
    def test_it_holds_its_left_and_top_edge(self, x: int, y: int, w: int, h: int, px: int, py: int) -> None:
        inside = x <= px < x + w and y <= py < y + h
        value = Rectangle(x, y, w, h)
        assert value.contains(px, py) is inside
        assert value.contains(Point(px, py)) is inside
        assert value.contains_point(Point(px, py)) is inside

    @given(st.lists(st.integers(0, 20), min_size=8, max_size=8))
    def test_set_operations(self, numbers: list[int]) -> None:
        a, b = Rectangle(*numbers[:4]), Rectangle(*numbers[4:])

        def cells(r: Rectangle) -> set[tuple[int, int]]:
            return {(x, y) for x in range(r.left, r.right) for y in range(r.top, r.bottom)}

        both = cells(a) & cells(b)
        assert cells(Rectangle.intersect_rects(a, b)) == both
        assert bool(both) is False or a.intersects_with(b)
        united = Rectangle.union(a, b)
        assert cells(a) <= cells(united) and cells(b) <= cells(united)
        assert united.left == min(a.left, b.left) and united.bottom == max(a.bottom, b.bottom)
        if cells(b):
            assert a.contains(b) is (cells(b) <= cells(a))
        mine = Rectangle(*numbers[:4])
        mine.intersect(b)
        assert mine == Rectangle.intersect(a, b) == Rectangle.intersect_rects(a, b)

    @given(SMALL, SMALL, SMALL, SMALL)
    def test_corners_in_any_order(self, x1: int, y1: int, x2: int, y2: int) -> None:
        value = Rectangle.from_points(Point(x1, y1), Point(x2, y2))
        assert rect(value) == (min(x1, x2), min(y1, y2), abs(x1 - x2), abs(y1 - y2))
        edges = Rectangle.from_left_top_right_bottom(x1, y1, x2, y2)
        assert (edges.left, edges.top, edges.right, edges.bottom) == (x1, y1, x2, y2)
        edges.normalize()
        assert edges == value

    @given(SMALL, SMALL, SMALL, SMALL, SMALL, SMALL)
    def test_inflating(self, x: int, y: int, w: int, h: int, dx: int, dy: int) -> None:
        expected = (x - dx, y - dy, w + 2 * dx, h + 2 * dy)
        assert rect(Rectangle.inflate_rect(Rectangle(x, y, w, h), dx, dy)) == expected
        assert rect(Rectangle.inflate(Rectangle(x, y, w, h), dx, dy)) == expected
        by_size = Rectangle(x, y, w, h)
        by_size.inflate(Size(dx, dy))
        by_numbers = Rectangle(x, y, w, h)
        by_numbers.inflate(dx, dy)
        assert rect(by_size) == rect(by_numbers) == expected

    @given(st.lists(FLOAT, min_size=4, max_size=4))
    def test_rounding(self, numbers: list[float]) -> None:
        value = RectangleF(*numbers)
        for method, rounded in ((Rectangle.truncate, math.trunc), (Rectangle.ceiling, math.ceil),
                                (Rectangle.round, round)):
            assert rect(method(value)) == tuple(rounded(x) for x in numbers)

    @pytest.mark.parametrize("kind", [Rectangle, RectangleF])
    def test_an_edge_moves_alone(self, kind: Any) -> None:
        edges = ["left", "top", "right", "bottom"]
        for moved in edges:
            value = kind.from_left_top_right_bottom(10, 20, 30, 40)
            before = {edge: getattr(value, edge) for edge in edges}
            setattr(value, moved, before[moved] + 5)
            after = {edge: getattr(value, edge) for edge in edges}
            assert after == {**before, moved: before[moved] + 5}

    @pytest.mark.parametrize(("kind", "location", "extent"), [(Rectangle, Point, Size), (RectangleF, PointF, SizeF)])
    def test_parts_are_copies(self, kind: Any, location: Any, extent: Any) -> None:
        value = kind(location(1, 2), extent(3, 4))
        value.location.x = 100
        value.size.width = 100
        assert rect(value) == (1, 2, 3, 4)
        value.location, value.size = location(5, 6), extent(7, 8)
        assert rect(value) == (5, 6, 7, 8)
        value.offset(location(1, 1))
        value.offset(1, 1)
        assert rect(value) == (7, 8, 7, 8)

    def test_empty(self) -> None:
        assert Rectangle.empty.is_empty and RectangleF.empty.is_empty
        assert not Rectangle(1, 0, 0, 0).is_empty
        assert RectangleF(1, 1, 0, 5).is_empty and RectangleF(1, 1, -1, 5).is_empty

    def test_text(self) -> None:
        assert str(Rectangle(1, 2, 3, 4)) == "{X=1,Y=2,Width=3,Height=4}"
        assert str(RectangleF(1, 2, 0.25, 4)) == "{X=1,Y=2,Width=0.25,Height=4}"


class TestConversions:
    """The conversion operators, through the casts."""

    def test_widening(self) -> None:
        assert size(SizeF._cast_to(Size(1, 2)).value) == (1, 2)
        assert point(PointF._cast_to(Point(1, 2)).value) == (1, 2)
        assert rect(RectangleF._cast_to(Rectangle(1, 2, 3, 4)).value) == (1, 2, 3, 4)

    def test_between_points_and_sizes(self) -> None:
        boxed = Point(3, 4)._cast_from(Size._type_of()).value
        assert size(Size._reinterpret_obj(boxed)) == (3, 4)
        boxed = SizeF(1.5, 2)._cast_from(PointF._type_of()).value
        assert point(PointF._reinterpret_obj(boxed)) == (1.5, 2)

    def test_no_conversion(self) -> None:
        assert Size._cast_to(Rectangle(1, 2, 3, 4)).status == 0
        assert Size(1, 2)._cast_from(Rectangle._type_of()).status == 0


class TestColors:
    @given(BYTE, BYTE, BYTE, BYTE)
    def test_components(self, a: int, r: int, g: int, b: int) -> None:
        color = Color.from_argb(a, r, g, b)
        assert (color.a, color.r, color.g, color.b) == (a, r, g, b)
        argb = struct.unpack("<i", bytes([b, g, r, a]))[0]
        assert color.to_argb() == argb and Color.from_argb(argb) == color
        assert Color.from_argb(r, g, b).a == 255
        assert Color.from_argb(a, Color.from_argb(r, g, b)) == color
        assert str(color) == f"Color [A={a}, R={r}, G={g}, B={b}]"
        assert color.name == f"{argb & 0xFFFFFFFF:x}"
        assert not color.is_named_color and not color.is_empty

    @given(BYTE, BYTE, BYTE)
    def test_hue_saturation_and_brightness(self, r: int, g: int, b: int) -> None:
        color = Color.from_argb(r, g, b)
        hue, lightness, saturation = colorsys.rgb_to_hls(r / 255, g / 255, b / 255)
        assert color.get_brightness() == pytest.approx(lightness, abs=1e-6)
        assert color.get_saturation() == pytest.approx(saturation, abs=1e-6)
        assert color.get_hue() == pytest.approx(hue * 360, abs=1e-3)

    @pytest.mark.parametrize(("arguments", "name", "value"), [
        ((256, 0, 0), "red", 256), ((0, -1, 0), "green", -1), ((0, 0, 1000), "blue", 1000),
        ((300, 1, 2, 3), "alpha", 300),
    ])
    def test_a_component_out_of_range(self, arguments: tuple[int, ...], name: str, value: int) -> None:
        with pytest.raises(RuntimeError, match=rf"^Proxy error\(ArgumentException\): Value of '{value}' is not valid "
                                               rf"for '{name}'"):
            Color.from_argb(*arguments)

    @pytest.mark.parametrize("known", list(KnownColor), ids=lambda known: known.name)
    def test_known_colors(self, known: KnownColor) -> None:
        color = Color.from_known_color(known)
        assert color.is_known_color and color.is_named_color
        assert color.to_known_color() is known
        plain = known.name.replace("_", "").lower()
        assert color.name.lower() == plain
        assert getattr(Color, known.name.lower()) == color == Color.from_name(plain)
        assert str(color) == f"Color [{color.name}]"
        components = Color.from_argb(color.a, color.r, color.g, color.b)
        assert components.to_argb() == color.to_argb() and components != color

    def test_published_values(self) -> None:
        published = {"red": 0xFFFF0000, "tomato": 0xFFFF6347, "rosy_brown": 0xFFBC8F8F, "transparent": 0x00FFFFFF,
                     "dark_sea_green": 0xFF8FBC8F, "white_smoke": 0xFFF5F5F5, "teal": 0xFF008080}
        assert {name: getattr(Color, name).to_argb() & 0xFFFFFFFF for name in published} == published

    def test_a_name_without_a_meaning_is_kept(self) -> None:
        color = Color.from_name("no such \u2603")
        assert color.name == "no such \u2603"
        assert color.is_named_color and not color.is_known_color and color.to_argb() == 0

    def test_empty(self) -> None:
        assert Color.empty.is_empty and Color() == Color.empty
        assert str(Color()) == "Color [Empty]" and Color().name == "0"

    def test_no_color_of_none(self) -> None:
        with pytest.raises(RuntimeError, match=r"^Proxy error\(ArgumentNullException\)"):
            Color.from_name(None)


class TestCmyk:
    @given(BYTE, BYTE, BYTE)
    def test_there_and_back(self, r: int, g: int, b: int) -> None:
        cmyk = Color.to_cmyk(Color.from_argb(r, g, b))
        assert cmyk.k == 255 - max(r, g, b)
        assert 0 in (cmyk.c, cmyk.m, cmyk.y)
        back = CmykColor.to_color(cmyk)
        assert all(abs(x - y) <= 1 for x, y in zip((back.r, back.g, back.b), (r, g, b), strict=True))

    @given(BYTE, BYTE, BYTE, BYTE)
    def test_packed(self, c: int, m: int, y: int, k: int) -> None:
        cmyk = CmykColor.from_params(c, m, y, k)
        assert (cmyk.c, cmyk.m, cmyk.y, cmyk.k) == (c, m, y, k)
        packed = struct.unpack(">i", bytes([c, m, y, k]))[0]
        assert cmyk.to_value() == packed == CmykColorHelper.from_components(c, m, y, k)
        helper = CmykColorHelper
        assert [helper.get_c(packed), helper.get_m(packed), helper.get_y(packed), helper.get_k(packed)] == [c, m, y, k]
        assert helper.to_argb(packed) == CmykColor.to_color(cmyk)

    def test_a_component_out_of_range(self) -> None:
        with pytest.raises(RuntimeError, match="Value of '-1' is not valid for 'yellow'"):
            CmykColor.from_params(0, 0, -1, 0)


class TestColorTranslator:
    @given(BYTE, BYTE, BYTE)
    def test_numbers(self, r: int, g: int, b: int) -> None:
        color = Color.from_argb(r, g, b)
        assert ColorTranslator.to_html(color) == f"#{r:02X}{g:02X}{b:02X}"
        assert ColorTranslator.from_html(f"#{r:02x}{g:02X}{b:02x}") == color
        assert ColorTranslator.to_win32(color) == ColorTranslator.to_ole(color) == r | g << 8 | b << 16
        assert ColorTranslator.from_win32(r | g << 8 | b << 16) == color

    def test_names(self) -> None:
        assert ColorTranslator.from_html("dodgerblue") == Color.dodger_blue
        assert ColorTranslator.to_html(Color.light_gray) == "LightGrey"
        assert ColorTranslator.from_html("#abc") == Color.from_argb(0xAA, 0xBB, 0xCC)

    @pytest.mark.parametrize("text", ["#12345", "#xyzxyz", "nocolor", "#", "##"])
    def test_what_is_no_color(self, text: str) -> None:
        with pytest.raises(RuntimeError, match="ArgumentException"):
            ColorTranslator.from_html(text)


def test_what_is_no_number_has_one_hash() -> None:
    """Its sign is chance: it comes out of arithmetic."""
    one, other = math.nan, math.copysign(math.nan, -1.0)
    for value in (PointF, SizeF, lambda x, y: RectangleF(x, y, 1.0, 2.0), lambda x, y: RectangleF(1.0, 2.0, y, x)):
        assert hash(value(one, 5.0)) == hash(value(other, 5.0)) != hash(value(4.0, 5.0))
    assert PointF(one, 5.0) != PointF(other, 5.0)


def test_values_without_an_equality_of_their_own_compare_their_numbers() -> None:
    """As numbers do by Equals: what is no number is equal to itself."""
    points = []
    for x, y in ((math.nan, 0.0), (math.copysign(math.nan, -1.0), -0.0), (math.nan, 1.0), (2.0, 1.0)):
        point = PointD()
        point.x, point.y = x, y
        points.append(point)
    assert points[0] == points[1] and hash(points[0]) == hash(points[1])
    assert points[2] != points[1] and points[2] != points[3] and points[3] != points[2]
