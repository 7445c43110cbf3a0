"""Gradients pixel by pixel: where their colors are in the plane, beside positions that NumPy computes."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Blend, Color, ColorBlend, Graphics, Matrix, PointF, RectangleF, WrapMode
from zelmor.imaging.brushes import (
    LinearGradientBrush, LinearMulticolorGradientBrush, PathGradientBrush, PathMulticolorGradientBrush)

from support.image_oracles import load, managed_error, pixels, write

WIDTH, HEIGHT = 72, 56
Y, X = np.mgrid[0:HEIGHT, 0:WIDTH] + 0.5
FIRST, SECOND = np.array([10, 240, 30, 255]), np.array([250, 20, 90, 255])


def color(rgba: Any) -> Color:
    red, green, blue, alpha = (int(part) for part in rgba)
    return Color.from_argb(alpha, red, green, blue)


def painted(brush: Any, folder: Path) -> np.ndarray:
    """A sheet of no color that the brush has filled, in RGBA."""
    image = load(write(folder / "sheet.png", np.zeros((HEIGHT, WIDTH, 4), np.uint8)))
    Graphics(image).fill_rectangle(brush, 0, 0, WIDTH, HEIGHT)
    return pixels(image, folder, "RGBA").astype(int)


def between(part: Any, positions: Any = (0, 1), colors: Any = (FIRST, SECOND)) -> np.ndarray:
    return np.stack([np.interp(part, positions, [stop[channel] for stop in colors]) for channel in range(4)], -1)


# ---- From one line to another

WRAPS: dict[WrapMode, Callable[[Any], Any]] = {
    WrapMode.CLAMP: lambda part: np.clip(part, 0, 1),
    WrapMode.TILE: lambda part: part % 1,
    WrapMode.TILE_FLIP_X: lambda part: 1 - abs(part % 2 - 1),
    WrapMode.TILE_FLIP_Y: lambda part: 1 - abs(part % 2 - 1),
    WrapMode.TILE_FLIP_XY: lambda part: 1 - abs(part % 2 - 1),
}


def along(rect: tuple[float, ...], degrees: float, scalable: bool, x: Any = X, y: Any = Y) -> Any:
    """The part of the way: the lines of one color touch two corners of the rectangle at its ends."""
    left, top, width, height = rect
    x, y = x - left - width / 2, y - top - height / 2
    if scalable:
        x, y, width, height = x / width, y / height, 1.0, 1.0
    cosine, sine = np.cos(np.radians(degrees)), np.sin(np.radians(degrees))
    half = (width * abs(cosine) + height * abs(sine)) / 2
    return ((x * cosine + y * sine) / half + 1) / 2


def check_linear(brush: Any, part: Any, expected: Any, folder: Path) -> None:
    """The colors are steep where the gradient begins again."""
    sure = abs(part - np.round(part)) > 0.04
    assert sure.any()
    assert np.abs(painted(brush, folder) - expected)[sure].max() <= 2.5


@pytest.mark.parametrize("degrees", [0.0, 30.0, 90.0, 135.0, 200.0, -75.0])
@pytest.mark.parametrize("scalable", [False, True])
def test_the_angle_of_a_gradient(tmp_path: Path, degrees: float, scalable: bool) -> None:
    rect = (12.0, 8.0, 40.0, 25.0)
    brush = LinearGradientBrush(RectangleF(*rect), color(FIRST), color(SECOND), degrees, scalable)
    for wrap, place in WRAPS.items():
        brush.wrap_mode = wrap
        part = along(rect, degrees, scalable)
        check_linear(brush, part, between(place(part)), tmp_path)


@pytest.mark.parametrize(("start", "end"), [((10, 10), (50, 40)), ((50, 40), (10, 10)), ((12, 30), (60, 30)),
                                            ((20, 45), (20, 5))])
def test_a_gradient_from_point_to_point(tmp_path: Path, start: tuple[float, float], end: tuple[float, float]) -> None:
    brush = LinearGradientBrush(PointF(*start), PointF(*end), color(FIRST), color(SECOND))
    brush.wrap_mode = WrapMode.CLAMP
    way = np.subtract(end, start)
    length = np.hypot(*way)
    # Over the rectangle between the points it reaches from corner to corner.
    part = ((X - start[0]) * way[0] + (Y - start[1]) * way[1]) / length ** 2
    check_linear(brush, part, between(np.clip(part, 0, 1)), tmp_path)


BLENDS = [([0.0, 1.0], [0.2, 0.9]), ([0.0, 0.3, 1.0], [1.0, 0.0, 0.5]), ([0.0, 0.25, 0.5, 1.0], [0.0, 0.8, 0.2, 1.0])]


def blend_of(positions: list[float], factors: list[float]) -> Blend:
    blend = Blend(len(positions))
    blend.positions, blend.factors = positions, factors
    return blend


def colors_of(positions: list[float], colors: Any) -> ColorBlend:
    blend = ColorBlend(len(positions))
    blend.positions, blend.colors = positions, [color(stop) for stop in colors]
    return blend


@pytest.mark.parametrize(("positions", "factors"), BLENDS)
def test_a_blend_says_how_much_of_the_second_color(tmp_path: Path, positions: list[float],
                                                   factors: list[float]) -> None:
    brush = LinearGradientBrush(PointF(0, 0), PointF(WIDTH, 0), color(FIRST), color(SECOND))
    brush.blend = blend_of(positions, factors)
    share = np.interp(X / WIDTH, positions, factors)
    assert np.abs(painted(brush, tmp_path) - between(share)).max() <= 2.5


STOPS = [(255, 0, 0, 255), (0, 200, 40, 255), (9, 9, 250, 255), (240, 240, 0, 255)]


def test_a_gradient_of_many_colors_that_is_moved(tmp_path: Path) -> None:
    brush = LinearMulticolorGradientBrush(RectangleF(0, 0, 30, 20), 0.0)
    brush.interpolation_colors = colors_of([0.0, 0.2, 0.7, 1.0], STOPS)
    brush.wrap_mode = WrapMode.TILE
    brush.translate_transform(7.0, 3.0)
    brush.rotate_transform(90.0)
    part = along((0, 0, 30, 20), 0, False, Y - 3, -(X - 7))
    check_linear(brush, part, between(part % 1, [0, 0.2, 0.7, 1], STOPS), tmp_path)


def test_gradients_without_an_extent_have_their_last_color(tmp_path: Path) -> None:
    brush = LinearGradientBrush(PointF(20, 20), PointF(20, 20), color(FIRST), color(SECOND))
    assert (painted(brush, tmp_path) == SECOND).all()


def test_blends_have_as_many_values_as_positions(tmp_path: Path) -> None:
    corners = [PointF(0, 0), PointF(30, 0), PointF(0, 30)]
    for two in (LinearGradientBrush(PointF(0, 0), PointF(9, 0), Color.red, Color.lime), PathGradientBrush(corners)):
        two.blend = blend_of([0.0, 0.5, 1.0], [0.0, 1.0])
        with managed_error("ArgumentException", "A blend has as many factors as positions."):
            painted(two, tmp_path)
    for many in (LinearMulticolorGradientBrush(PointF(0, 0), PointF(9, 0)), PathMulticolorGradientBrush(corners)):
        with managed_error("InvalidOperationException",
                           "The gradient has no colors: interpolation_colors is not set."):
            painted(many, tmp_path)
        many.interpolation_colors = colors_of([0.0, 0.5, 1.0], STOPS[:2])
        with managed_error("ArgumentException", "A blend has as many colors as positions."):
            painted(many, tmp_path)


# ---- From an outline to a center

OUTLINE = np.array([(6.0, 4.0), (48.0, 9.0), (60.0, 33.0), (25.0, 50.0), (3.0, 30.0)])
CORNERS = np.array([(255, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 255), (255, 255, 0, 100), (0, 255, 255, 255)])
MIDDLE = np.array([20, 30, 40, 200])


def inward(center: Any, x: Any = X, y: Any = Y, outline: Any = OUTLINE) -> tuple[Any, Any, Any]:
    """For each place how far it is on the way to the center (less than 0 outside), between which corners, and how near
    to the second of them: a place is center + u (corner - center) + v (next - center)."""
    way, side, second = np.full(x.shape, -1.0), np.zeros(x.shape, int), np.zeros(x.shape)
    for i, corner in enumerate(outline):
        frame = np.stack([corner - center, np.roll(outline, -1, 0)[i] - center], -1)
        u, v = np.tensordot(np.linalg.inv(frame), np.stack([x - center[0], y - center[1]]), 1)
        here = (u >= 0) & (v >= 0) & (u + v <= 1)
        way[here], side[here], second[here] = (1 - u - v)[here], i, (v / np.maximum(u + v, 1e-300))[here]
    return way, side, second


def shaded(way: Any, side: Any, second: Any, corners: Any, share: Callable[[Any], Any] = lambda way: way) -> Any:
    edge = corners[side] * (1 - second[..., None]) + np.roll(corners, -1, 0)[side] * second[..., None]
    part = share(way)[..., None]
    return np.where(way[..., None] >= 0, edge * (1 - part) + MIDDLE * part, 0)


def check_path(brush: Any, expected: Any, way: Any, folder: Path) -> None:
    """Where colors are transparent, rounded ones are compared by what they add."""
    found = painted(brush, folder)
    sure = abs(way) > 0.01  # at the very outline a pixel may be on either side
    assert np.abs(found[..., 3] - expected[..., 3])[sure].max() <= 1.5
    seen = np.abs(found - expected)[..., :3] * expected[..., 3:] / 255
    assert seen[sure].max() <= 2.5
    assert (found[way == -1][..., 3] == 0).all()


def path_brush(corners: Any = CORNERS, outline: Any = OUTLINE) -> PathGradientBrush:
    brush = PathGradientBrush([PointF(*point) for point in outline])
    brush.center_color, brush.surround_colors = color(MIDDLE), [color(corner) for corner in corners]
    return brush


@pytest.mark.parametrize("center", [OUTLINE.mean(0), (20.0, 30.0), (45.0, 15.0)], ids=str)
def test_a_path_gradient_mixes_the_corners_and_the_center(tmp_path: Path, center: Any) -> None:
    brush = path_brush()
    brush.center_point = PointF(*center)
    way, side, second = inward(np.array(center))
    check_path(brush, shaded(way, side, second, CORNERS), way, tmp_path)


@pytest.mark.parametrize("given", [1, 2, 4, 5])
def test_the_last_surrounding_color_goes_for_the_corners_behind_it(tmp_path: Path, given: int) -> None:
    way, side, second = inward(OUTLINE.mean(0))
    corners = np.array([CORNERS[min(i, given - 1)] for i in range(5)])
    check_path(path_brush(CORNERS[:given]), shaded(way, side, second, corners), way, tmp_path)


def test_without_surrounding_colors_they_are_white(tmp_path: Path) -> None:
    way, side, second = inward(OUTLINE.mean(0))
    brush = path_brush([])
    check_path(brush, shaded(way, side, second, np.full((5, 4), 255)), way, tmp_path)
    brush.center_color = Color.white
    assert (painted(brush, tmp_path)[way > 0.01] == 255).all()


@pytest.mark.parametrize(("positions", "factors"), [*BLENDS, ([0.2, 0.5, 0.9], [0.1, 0.8, 0.3])])
def test_a_blend_of_a_path_gradient(tmp_path: Path, positions: list[float], factors: list[float]) -> None:
    """Before the first position and behind the last one, their factors go on."""
    brush = path_brush()
    brush.blend = blend_of(positions, factors)
    way, side, second = inward(OUTLINE.mean(0))
    check_path(brush, shaded(way, side, second, CORNERS, lambda way: np.interp(way, positions, factors)), way, tmp_path)


def test_a_blend_may_leap(tmp_path: Path) -> None:
    brush = path_brush()
    brush.blend = blend_of([0.0, 0.5, 0.5, 1.0], [0.0, 0.2, 0.7, 1.0])
    way, side, second = inward(OUTLINE.mean(0))
    expected = shaded(way, side, second, CORNERS, lambda way: np.where(way <= 0.5, 0.4 * way, 0.7 + 0.6 * (way - 0.5)))
    away = np.where(abs(way - 0.5) > 0.01, way, 0)
    check_path(brush, expected, away, tmp_path)


def test_a_blend_of_one_position_changes_nothing(tmp_path: Path) -> None:
    brush = path_brush()
    brush.blend = blend_of([0.4], [0.3])
    way, side, second = inward(OUTLINE.mean(0))
    check_path(brush, shaded(way, side, second, CORNERS), way, tmp_path)


def test_a_path_gradient_of_many_colors(tmp_path: Path) -> None:
    brush = PathMulticolorGradientBrush([PointF(*point) for point in OUTLINE])
    brush.interpolation_colors = colors_of([0.1, 0.2, 0.7, 0.9], STOPS)
    way, _, _ = inward(OUTLINE.mean(0))
    expected = np.where(way[..., None] >= 0, between(way, [0.1, 0.2, 0.7, 0.9], STOPS), 0)
    check_path(brush, expected, way, tmp_path)


@pytest.mark.parametrize("mode", list(WrapMode))
def test_a_path_gradient_repeats_by_its_bounds(tmp_path: Path, mode: WrapMode) -> None:
    outline = np.array([(23.0, 20.0), (40.0, 24.0), (37.0, 35.0), (20.0, 31.0)])
    brush = path_brush(CORNERS[:4], outline)
    brush.wrap_mode = mode
    left, top = outline.min(0)
    width, height = np.ptp(outline, 0)
    across, down = (X - left) / width, (Y - top) / height
    if mode != WrapMode.CLAMP:
        def place(part: Any, flips: bool) -> Any:
            return np.where(flips & (part // 1 % 2 == 1), 1 - part % 1, part % 1)
        across = place(across, mode in (WrapMode.TILE_FLIP_X, WrapMode.TILE_FLIP_XY))
        down = place(down, mode in (WrapMode.TILE_FLIP_Y, WrapMode.TILE_FLIP_XY))
    way, side, second = inward(outline.mean(0), left + across * width, top + down * height, outline)
    assert ((way >= 0).mean() > 0.4) == (mode != WrapMode.CLAMP)
    check_path(brush, shaded(way, side, second, CORNERS[:4]), way, tmp_path)


def test_a_path_gradient_is_moved_with_its_brush(tmp_path: Path) -> None:
    brush = path_brush()
    brush.translate_transform(10.0, 5.0)
    brush.scale_transform(0.75, 0.5)
    way, side, second = inward(OUTLINE.mean(0), (X - 10) / 0.75, (Y - 5) / 0.5)
    check_path(brush, shaded(way, side, second, CORNERS), way, tmp_path)
    brush.transform = Matrix(1.0, 2.0, 2.0, 4.0, 0.0, 0.0)  # onto a line
    assert (painted(brush, tmp_path) == 0).all()
