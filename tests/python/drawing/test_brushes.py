"""What brushes paint, pixel by pixel: hatches, gradients in linear light, and gradients towards an inner polygon."""

from __future__ import annotations

from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
from zelmor.imaging import Color, ColorBlend, Graphics, HatchStyle, Point, PointF, RectangleF
from zelmor.imaging.brushes import (
    HatchBrush, LinearGradientBrush, LinearMulticolorGradientBrush, PathGradientBrush, PathMulticolorGradientBrush,
)

from support.image_oracles import load, pixels, write


def painted(brush: Any, folder: Path, width: int, height: int) -> np.ndarray:
    """A sheet of no color that the brush has filled, in RGBA."""
    image = load(write(folder / "sheet.png", np.zeros((height, width, 4), np.uint8)))
    Graphics(image).fill_rectangle(brush, 0, 0, width, height)
    return pixels(image, folder, "RGBA")


Y, X = np.indices((8, 8))
#: The patterns that follow from their names: what is set, by column and row.
DRAWN: dict[str, np.ndarray] = {
    "HORIZONTAL": Y == 0,
    "VERTICAL": X == 0,
    "FORWARD_DIAGONAL": X == Y,
    "BACKWARD_DIAGONAL": X + Y == 7,
    "CROSS": (X == 0) | (Y == 0),
    "DIAGONAL_CROSS": (X == Y) | (X + Y == 7),
    "LIGHT_DOWNWARD_DIAGONAL": (X - Y) % 4 == 0,
    "LIGHT_UPWARD_DIAGONAL": (X + Y) % 4 == 3,
    "DARK_DOWNWARD_DIAGONAL": (X - Y) % 4 < 2,
    "DARK_UPWARD_DIAGONAL": (X + Y) % 4 >= 2,
    "WIDE_DOWNWARD_DIAGONAL": abs((X - Y + 4) % 8 - 4) <= 1,
    "WIDE_UPWARD_DIAGONAL": abs((X + Y + 5) % 8 - 4) <= 1,
    "LIGHT_VERTICAL": X % 4 == 0,
    "LIGHT_HORIZONTAL": Y % 4 == 0,
    "NARROW_VERTICAL": X % 2 == 1,
    "NARROW_HORIZONTAL": Y % 2 == 0,
    "DARK_VERTICAL": X % 4 < 2,
    "DARK_HORIZONTAL": Y % 4 < 2,
    "DASHED_DOWNWARD_DIAGONAL": ((X - Y) % 4 == 2) & (Y // 2 % 3 != 0),
    "DASHED_UPWARD_DIAGONAL": ((X + Y) % 4 == 1) & (Y // 2 % 3 != 0),
    "DASHED_HORIZONTAL": (Y % 4 == 0) & (X // 4 == Y // 4),
    "DASHED_VERTICAL": (X % 4 == 0) & (X // 4 == Y // 4),
    "ZIG_ZAG": (X == Y % 4) | (X + Y % 4 == 7),
    "DIAGONAL_BRICK": (X + Y == 7) | ((X == Y) & (Y >= 4)),
    "HORIZONTAL_BRICK": (Y % 4 == 0) | ((X % 4 == 0) & (X // 4 == Y // 4)),
    "PLAID": np.where(Y < 4, (X + Y) % 2 == 0, X < 4),
    "DOTTED_GRID": ((X == 0) | (Y == 0)) & (X % 2 == 0) & (Y % 2 == 0),
    "DOTTED_DIAMOND": ((X - Y) % 8 == 0) & (Y % 2 == 0) | ((X + Y) % 8 == 0) & (Y % 2 == 0),
    "TRELLIS": (Y % 2 == 0) | (((X + 1) // 2 + Y // 2) % 2 == 1),
    "SMALL_GRID": (X % 4 == 0) | (Y % 4 == 0),
    "SMALL_CHECKER_BOARD": ((X + 1) // 2 + (Y + 1) // 2) % 2 == 0,
    "LARGE_CHECKER_BOARD": X // 4 == Y // 4,
    "OUTLINED_DIAMOND": abs(X - 3) == abs(Y - 3),
    "SOLID_DIAMOND": abs(X - 3) + abs(Y - 3) <= 3,
}
#: The others, as they were measured of System.Drawing's brushes.
MEASURED = {
    "SMALL_CONFETTI": "#....... ....#... .#...... ......#. ...#.... .......# ..#..... .....#..",
    "LARGE_CONFETTI": "#.##...# ..##.... ......## ...##.## ##.##... ##...... ....##.. #...##.#",
    "WAVE": "........ ...##... ..#..#.# ##...... ........ ...##... ..#..#.# ##......",
    "WEAVE": "#...#... .#.#.#.. ..#...#. .#...#.# #...#... ...#.#.. ..#...#. .#.#...#",
    "DIVOT": "........ ...#.... ....#... ...#.... ........ #....... .......# #.......",
    "SHINGLE": "......## #....#.. .#..#... ..##.... ....##.. ......#. .......# .......#",
    "SPHERE": ".###.### #...#..# #...#### #...#### .###.### #..##... #####... #####...",
}


def dither(percent: int) -> np.ndarray:
    """The part of an ordered dither that is set: each step of the matrix halves the distance between its pixels."""
    order = np.zeros((1, 1), int)
    for _ in range(3):
        order = np.block([[4 * order, 4 * order + 2], [4 * order + 3, 4 * order + 1]])
    return order < round(64 * percent / 100)


def pattern(name: str) -> np.ndarray:
    if name.startswith("PERCENT"):
        return dither(int(name[len("PERCENT"):]))
    if name in DRAWN:
        return DRAWN[name]
    return np.array([[mark == "#" for mark in row] for row in MEASURED[name].split()])


@pytest.mark.parametrize("style", list(HatchStyle), ids=lambda style: style.name)
def test_hatches_are_the_known_patterns(tmp_path: Path, style: HatchStyle) -> None:
    brush = HatchBrush()
    brush.hatch_style = style
    brush.foreground_color, brush.background_color = Color.from_argb(255, 1, 2, 3), Color.from_argb(255, 200, 100, 50)
    expected = np.where(np.tile(pattern(style.name), (2, 3))[..., None], [1, 2, 3, 255], [200, 100, 50, 255])
    assert (painted(brush, tmp_path, 24, 16) == expected).all()


def light(level: Any) -> Any:
    """The light of a level of sRGB, as its standard defines it."""
    part = np.asarray(level) / 255
    return np.where(part <= 0.04045, part / 12.92, ((part + 0.055) / 1.055)**2.4)


def level(amount: Any) -> Any:
    return 255 * np.where(amount <= 0.0031308, amount * 12.92, 1.055 * np.maximum(amount, 0)**(1 / 2.4) - 0.055)


def check_light(seen: np.ndarray, positions: list[float], stops: list[tuple[int, ...]]) -> None:
    """Each row goes through the stops, in the colors by their light and in alpha as it is."""
    at = (np.arange(seen.shape[1]) + 0.5) / seen.shape[1]
    for channel in range(4):
        by_light = channel < 3
        values = [stop[channel] for stop in stops]
        between = np.interp(at, positions, light(values) if by_light else values)
        expected = level(between) if by_light else between
        assert np.abs(seen[3, :, channel] - expected).max() <= 1.5, "RGBA"[channel]


def color(stop: tuple[int, ...]) -> Color:
    red, green, blue, alpha = stop
    return Color.from_argb(alpha, red, green, blue)


def test_corrected_gradients_mix_light(tmp_path: Path) -> None:
    stops = [(0, 8, 200, 255), (255, 0, 30, 255)]
    brush = LinearGradientBrush(PointF(0, 0), PointF(300, 0), color(stops[0]), color(stops[1]))
    brush.gamma_correction = True
    check_light(painted(brush, tmp_path, 300, 5), [0, 1], stops)


def test_corrected_gradients_of_many_colors_mix_light(tmp_path: Path) -> None:
    stops = [(9, 9, 9, 255), (0, 250, 128, 255), (255, 0, 1, 255), (0, 0, 255, 255)]
    brush = LinearMulticolorGradientBrush(RectangleF(0, 0, 200, 5), 0.0)
    blend = ColorBlend(4)
    blend.colors, blend.positions = [color(stop) for stop in stops], [0.0, 0.25, 0.5, 1.0]
    brush.interpolation_colors, brush.gamma_correction = blend, True
    check_light(painted(brush, tmp_path, 200, 5), [0, 0.25, 0.5, 1], stops)


def test_light_is_mixed_and_alpha_is_not(tmp_path: Path) -> None:
    stops = [(255, 255, 255, 255), (255, 255, 255, 15)]
    brush = LinearGradientBrush(PointF(0, 0), PointF(100, 0), color(stops[0]), color(stops[1]))
    brush.gamma_correction = True
    check_light(painted(brush, tmp_path, 100, 5), [0, 1], stops)


CORNERS = [Point(0, 0), Point(40, 0), Point(40, 40), Point(0, 40)]


def two_colors() -> PathGradientBrush:
    brush = PathGradientBrush(CORNERS)
    brush.center_color, brush.surround_colors = Color.black, [Color.white]
    return brush


def many_colors() -> PathMulticolorGradientBrush:
    brush = PathMulticolorGradientBrush(CORNERS)
    blend = ColorBlend(2)
    blend.colors, blend.positions = [Color.white, Color.black], [0.0, 1.0]
    brush.interpolation_colors = blend
    return brush


@pytest.mark.parametrize("make", [two_colors, many_colors])
@pytest.mark.parametrize("scales", [(0, 0), (0.5, 0.5), (0.25, 0.75), (0.8, 0), (0, 1), (1, 1), (-3, 7)], ids=str)
def test_focus_scales_make_an_inner_polygon(tmp_path: Path, make: Callable[[], Any],
                                            scales: tuple[float, float]) -> None:
    """The square shrinks to a rectangle: the way to that is as long for all pixels that it has passed."""
    brush = make()
    brush.focus_scales = PointF(*scales)
    out = abs(np.arange(40) + 0.5 - 20) / 20
    across, down = ((1 - out) / max(1 - min(max(scale, 0), 1), 1e-9) for scale in scales)
    inward = np.minimum(1, np.minimum(across[None, :], down[:, None]))
    seen = painted(brush, tmp_path, 50, 40)
    assert np.abs(seen[:, :40, 0] - 255 * (1 - inward)).max() <= 1.5
    assert (seen[:, :40, 3] == 255).all() and (seen[:, 40:] == 0).all()
