"""The shapes of lines: caps, joins, sides, bands and dashes of pens, beside areas that NumPy computes.

A line is centered on the pixels that its coordinates name. Pixels within two thirds of one of an edge may be on either
side of it.
"""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import (
    Color, CustomLineCap, DashCap, DashStyle, Figure, Graphics, GraphicsPath, LineCap, LineJoin, Pen, PenAlignment,
    PointF, RectangleF, SmoothingMode)
from zelmor.imaging.shapes import PolygonShape

from support.image_oracles import load, managed_error, pixels, write

WIDTH, HEIGHT = 130, 100
Y, X = np.mgrid[0:HEIGHT, 0:WIDTH].astype(float)
Area = Callable[[Any, Any], Any]


def drawn(tmp_path: Path, draw: Callable[[Any], Any]) -> Any:
    """Where something was drawn."""
    sheet = load(write(tmp_path / "sheet.png", np.full((HEIGHT, WIDTH, 3), 255, np.uint8)))
    graphics = Graphics(sheet)
    graphics.smoothing_mode = SmoothingMode.NONE
    draw(graphics)
    return pixels(sheet, tmp_path).max(axis=-1) < 255


def check(found: Any, area: Area) -> None:
    reach = 2 / 3
    votes = [area(X + x * reach, Y + y * reach) for x in (-1, 0, 1) for y in (-1, 0, 1)]
    sure_in, sure_out = np.logical_and.reduce(votes), ~np.logical_or.reduce(votes)
    assert sure_in.any() and not (sure_in & ~found).any(), np.argwhere(sure_in & ~found)[:4]
    assert not (sure_out & found).any(), np.argwhere(sure_out & found)[:4]


def pen(width: float, **properties: Any) -> Pen:
    made = Pen(Color.black, width)
    for name, value in properties.items():
        setattr(made, name, value)
    return made


#: Along the line from its end on, and across it, in widths of the line.
CAPS: dict[LineCap, Area] = {
    LineCap.FLAT: lambda a, c: a < -9,
    LineCap.SQUARE: lambda a, c: (0 <= a) & (a <= 0.5) & (abs(c) <= 0.5),
    LineCap.ROUND: lambda a, c: a * a + c * c <= 0.25,
    LineCap.TRIANGLE: lambda a, c: (0 <= a) & (abs(c) <= 0.5 - a),
    LineCap.SQUARE_ANCHOR: lambda a, c: (abs(a) <= 0.75) & (abs(c) <= 0.75),
    LineCap.ROUND_ANCHOR: lambda a, c: a * a + c * c <= 1,
    LineCap.DIAMOND_ANCHOR: lambda a, c: abs(a) + abs(c) <= 1,
    LineCap.ARROW_ANCHOR: lambda a, c: (-1.75 <= a) & (abs(c) <= -a / 1.75),
}


def line(width: float, length: float, start: LineCap, end: LineCap) -> Area:
    """A line along x from the origin, with its caps."""
    def area(x: Any, y: Any) -> Any:
        first = 0.9 * width if start == LineCap.ARROW_ANCHOR else 0
        last = length - (0.9 * width if end == LineCap.ARROW_ANCHOR else 0)
        body = (first <= x) & (x <= last) & (abs(y) <= width / 2)
        return body | CAPS[start](-x / width, y / width) | CAPS[end]((x - length) / width, y / width)
    return area


@pytest.mark.parametrize("end", CAPS)
@pytest.mark.parametrize("start", [LineCap.FLAT, LineCap.ROUND, LineCap.ARROW_ANCHOR, LineCap.SQUARE_ANCHOR])
@pytest.mark.parametrize("turn", [0, 90, 217])
def test_caps(start: LineCap, end: LineCap, turn: float, tmp_path: Path) -> None:
    width, length = 12.0, 50.0
    cosine, sine = np.cos(np.radians(turn)), np.sin(np.radians(turn))
    x0, y0 = 65 - length / 2 * cosine, 50 - length / 2 * sine
    found = drawn(tmp_path, lambda g: g.draw_line(
        pen(width, start_cap=start, end_cap=end), PointF(x0, y0), PointF(x0 + length * cosine, y0 + length * sine)))
    alone = line(width, length, start, end)

    def turned(x: Any, y: Any) -> Any:
        return alone((x - x0) * cosine + (y - y0) * sine, (y - y0) * cosine - (x - x0) * sine)
    check(found, turned)


@pytest.mark.parametrize("cap", [LineCap.TRIANGLE, LineCap.ROUND_ANCHOR, LineCap.DIAMOND_ANCHOR])
def test_caps_of_a_pen_that_is_stretched(cap: LineCap, tmp_path: Path) -> None:
    """The sheet is twice as high; the line is as well, and so are its caps."""
    def draw(g: Any) -> None:
        g.scale_transform(1.0, 2.0)
        g.draw_line(pen(10.0, end_cap=cap), PointF(65, 10), PointF(65, 30))
    found = drawn(tmp_path, draw)
    rows = np.flatnonzero(found.any(axis=1))
    assert abs(rows[0] - 20) <= 1 and rows[-1] > 62


def corner(width: float, join: LineJoin, limit: float) -> Area:
    """From the left to (60, 50), and up from there."""
    half = width / 2

    def area(x: Any, y: Any) -> Any:
        lines = (20 <= x) & (x <= 60) & (abs(y - 50) <= half) | (10 <= y) & (y <= 50) & (abs(x - 60) <= half)
        right, below = x - 60, y - 50
        outside = (right >= 0) & (below >= 0)
        square = (right <= half) & (below <= half)
        if join == LineJoin.ROUND:
            return lines | (right ** 2 + below ** 2 <= half ** 2)
        if join == LineJoin.BEVEL or limit < np.sqrt(2) and join == LineJoin.MITER:
            return lines | outside & (right + below <= half)
        return lines | outside & square
    return area


@pytest.mark.parametrize(("join", "limit"), [(LineJoin.MITER, 10.0), (LineJoin.BEVEL, 10.0), (LineJoin.ROUND, 10.0),
                                             (LineJoin.MITER, 1.2)])
def test_joins(join: LineJoin, limit: float, tmp_path: Path) -> None:
    found = drawn(tmp_path, lambda g: g.draw_lines(
        pen(20.0, line_join=join, miter_limit=limit), [PointF(20, 50), PointF(60, 50), PointF(60, 10)]))
    check(found, corner(20, join, limit))


@pytest.mark.parametrize(("alignment", "inner", "outer"), [
    (PenAlignment.CENTER, 5, 5), (PenAlignment.INSET, 10, 0), (PenAlignment.OUTSET, 0, 10), (PenAlignment.RIGHT, 10, 0),
    (PenAlignment.LEFT, 0, 10)])
def test_on_which_side_of_a_rectangle_a_pen_draws(alignment: PenAlignment, inner: float, outer: float,
                                                  tmp_path: Path) -> None:
    """It goes clockwise, so that the right side is inside."""
    found = drawn(tmp_path, lambda g: g.draw_rectangle(pen(10.0, alignment=alignment), RectangleF(30, 25, 60, 45)))

    def area(x: Any, y: Any) -> Any:
        def within(more: float) -> Any:
            return (30 - more <= x) & (x <= 90 + more) & (25 - more <= y) & (y <= 70 + more)
        return within(outer) & ~within(-inner)
    check(found, area)


@pytest.mark.parametrize("bands", [[0.0, 0.2, 0.5, 1.0], [0.3, 0.7], [0.0, 0.4]])
def test_a_compound_pen(bands: list[float], tmp_path: Path) -> None:
    """Lines beside each other, from the left side of the way to the right one."""
    found = drawn(tmp_path, lambda g: g.draw_line(pen(20.0, compound_array=bands), PointF(20, 50), PointF(100, 50)))

    def area(x: Any, y: Any) -> Any:
        part = (y - 50) / 20 + 0.5
        inside = (x < 0) & (y < 0)
        for i in range(0, len(bands), 2):
            inside = inside | (bands[i] <= part) & (part <= bands[i + 1])
        return inside & (20 <= x) & (x <= 100)
    check(found, area)


@pytest.mark.parametrize("bands", [[0.5, 0.2], [-0.1, 1.0], [0.0, 1.1]])
def test_bands_that_do_not_rise_are_refused(bands: list[float], tmp_path: Path) -> None:
    with managed_error("ArgumentException", "rise from 0 to 1"):
        drawn(tmp_path, lambda g: g.draw_line(pen(20.0, compound_array=bands), PointF(20, 50), PointF(100, 50)))


@pytest.mark.parametrize("cap", list(DashCap))
@pytest.mark.parametrize(("pattern", "offset"), [([2.0, 1.5], 0.0), ([2.0, 1.5], 1.0), ([2.0, 1.5], 2.5),
                                                 ([1.0, 2.0, 3.0, 1.5], 0.0), ([2.0, 1.5], -1.0)])
def test_dashes(pattern: list[float], offset: float, cap: DashCap, tmp_path: Path) -> None:
    """In widths of the pen, each with its own ends."""
    width = 8.0
    made = pen(width, dash_pattern=pattern, dash_cap=cap, dash_offset=offset)
    found = drawn(tmp_path, lambda g: g.draw_line(made, PointF(10, 50), PointF(118, 50)))
    cycle = sum(pattern)
    dashes = []
    for turn in range(-3, 12):
        at = turn * cycle - offset
        for i, length in enumerate(pattern):
            if i % 2 == 0:
                begin, end = max(at, 0), min(at + length, 108 / width)
                if end > begin:
                    dashes.append((begin, end))
            at += length

    def area(x: Any, y: Any) -> Any:
        along, across = (x - 10) / width, (y - 50) / width
        inside = (x < 0) & (y < 0)
        for begin, end in dashes:
            inside = inside | (begin <= along) & (along <= end) & (abs(across) <= 0.5)
            if cap == DashCap.ROUND:
                for middle in (begin, end):
                    inside = inside | ((along - middle) ** 2 + across ** 2 <= 0.25)
            elif cap == DashCap.TRIANGLE:
                inside = inside | (begin - 0.5 <= along) & (along <= end + 0.5) & (
                    abs(across) <= np.minimum(0.5, np.minimum(along - begin, end - along) + 0.5))
        return inside
    # The ends of the whole line have caps of their own.
    middle = (X > 18) & (X < 110)
    reach = 2 / 3
    votes = [area(X + x * reach, Y + y * reach) for x in (-1, 0, 1) for y in (-1, 0, 1)]
    assert not (np.logical_and.reduce(votes) & ~found & middle).any()
    assert not (~np.logical_or.reduce(votes) & found & middle).any()


def test_thin_lines_have_a_pixel(tmp_path: Path) -> None:
    for width in (0.0, 0.2, 1.0):
        found = drawn(tmp_path, lambda g: g.draw_line(pen(width), PointF(20, 50), PointF(100, 50)))
        assert np.array_equal(found, (Y == 50) & (20 <= X) & (X <= 100))


STYLES = {DashStyle.SOLID: [108 / 8], DashStyle.DASH: [3, 1], DashStyle.DOT: [1, 1], DashStyle.DASH_DOT: [3, 1, 1, 1],
          DashStyle.DASH_DOT_DOT: [3, 1, 1, 1, 1, 1], DashStyle.CUSTOM: [2, 1]}


@pytest.mark.parametrize("style", STYLES)
def test_styles_of_dashes(style: DashStyle, tmp_path: Path) -> None:
    made = pen(8.0, **({"dash_pattern": [2.0, 1.0]} if style == DashStyle.CUSTOM else {}))
    made.dash_style = style
    found = drawn(tmp_path, lambda g: g.draw_line(made, PointF(10, 50), PointF(118, 50)))[50]
    ends = np.cumsum(np.tile(STYLES[style], 20)) * 8 + 10
    for x in range(12, 116):
        if abs(ends - x).min() > 1:
            assert found[x] == (np.searchsorted(ends, x) % 2 == 0), x


# ---- Custom caps: the line ends at the origin and comes from below


def polygon(*points: tuple[float, float], closed: bool = True) -> GraphicsPath:
    figure, path = Figure(), GraphicsPath()
    figure.add_shape(PolygonShape([PointF(x, y) for x, y in points], closed))
    path.add_figure(figure)
    return path


def capped(tmp_path: Path, cap: CustomLineCap, width: float = 6.0) -> Any:
    made = pen(width, custom_end_cap=cap, end_cap=LineCap.CUSTOM)
    return drawn(tmp_path, lambda g: g.draw_line(made, PointF(20, 50), PointF(80, 50)))


TIP = ((0.0, 0.0), (-3.0, -4.0), (3.0, -4.0))


@pytest.mark.parametrize("scale", [1.0, 1.5])
def test_filled_caps(scale: float, tmp_path: Path) -> None:
    cap = CustomLineCap(polygon(*TIP), None)
    assert cap.width_scale == 1.0
    cap.width_scale = scale

    def area(x: Any, y: Any) -> Any:
        behind = (80 - x) / (6 * scale)
        return (20 <= x) & (x <= 80) & (abs(y - 50) <= 3) | (0 <= behind) & (behind <= 4) & (
            abs(y - 50) <= behind * 0.75 * 6 * scale)
    check(capped(tmp_path, cap), area)


@pytest.mark.parametrize("ends", [(LineCap.FLAT, LineCap.FLAT), (LineCap.SQUARE, LineCap.ROUND),
                                  (LineCap.ROUND, LineCap.TRIANGLE), (LineCap.TRIANGLE, LineCap.SQUARE)])
def test_caps_of_a_line_have_caps(ends: tuple[LineCap, LineCap], tmp_path: Path) -> None:
    """A bar across the end, as wide as the line, with an end of its own at each side."""
    cap = CustomLineCap(None, polygon((-3.0, -2.0), (3.0, -2.0), closed=False))
    cap.set_stroke_caps(*ends)

    def end(cap: LineCap, along: Any, across: Any) -> Any:
        return np.zeros_like(along, bool) if cap == LineCap.FLAT else CAPS[cap](along, across)

    def area(x: Any, y: Any) -> Any:
        along, across = (y - 50) / 6, (x - 68) / 6  # the first point of the bar lies to the right of the way
        body = (20 <= x) & (x <= 80) & (abs(y - 50) <= 3) | (abs(along) <= 3) & (abs(across) <= 0.5)
        return body | end(ends[0], along - 3, across) | end(ends[1], -along - 3, across)
    check(capped(tmp_path, cap), area)


@pytest.mark.parametrize("join", [LineJoin.MITER, LineJoin.MITER_CLIPPED])
@pytest.mark.parametrize("turned", [False, True])
def test_sharp_corners_reach_far_beyond_their_points(tmp_path: Path, join: LineJoin, turned: bool) -> None:
    """A corner of 14 degrees ends four widths of the line beyond its point."""
    def draw(graphics: Any) -> None:
        if turned:
            graphics.translate_transform(float(WIDTH), 0.0)
            graphics.scale_transform(-1.0, 1.0)
        graphics.draw_lines(pen(10.0, line_join=join, miter_limit=9.0),
                            [PointF(-40, 38), PointF(60, 50), PointF(-40, 62)])

    found = drawn(tmp_path, draw)[:, ::-1 if turned else 1]
    # The outer sides are five pixels from the lines, and meet there.
    slope = 12 / 100
    tip = 60 + 5 * np.hypot(1, slope) / slope
    assert 101 < tip < 103
    check(found, lambda x, y: (abs(y - 50) <= (tip - x) * slope)
          & ((abs(y - 50) >= (60 - x) * slope - 5 * np.hypot(1, slope))))
