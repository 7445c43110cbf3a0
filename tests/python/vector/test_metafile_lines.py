"""How wide, and how dark, lines of metafiles are that are thinner than a pixel: the ink across them is worked out.

Edges are smoothed in steps of a fifteenth of a pixel, by which a line can be too dark or too pale.
"""

from __future__ import annotations

from typing import Any

import pytest
from zelmor.imaging import SmoothingMode
from zelmor.imaging.imageoptions import WmfRasterizationOptions

from support.drawn_metafiles import drawn
from support.metafiles import (SIDE, VERSION, emf, emf_record, extended_pen, floats, pen, plus, plus_object,
                               plus_record, points32, wmf, wmf_pen, wmf_record, wmf_select, words)

STEP = 1 / 15 + 1e-6
FINE = 100  # units in a pixel
UNITS = emf_record(17, words(8)) + emf_record(9, words(FINE, FINE)) + emf_record(11, words(1, 1))
GEOMETRIC = 0x10000
LINE = points32(4, [(500, 4050), (9000, 4050)])


def across(file: bytes, smooth: bool = True, layout: Any = None, size: int = SIDE) -> float:
    """The ink in a column of pixels, as pixels that are black."""
    mode = SmoothingMode.ANTI_ALIAS if smooth else SmoothingMode.NONE
    picture = drawn(file, layout, smoothing_mode=mode, page_width=float(size), page_height=float(size)).convert("L")
    return sum(255 - picture.getpixel((size // 2, y)) for y in range(size)) / 255


def plus_line(width: float, scale: float) -> bytes:
    held = VERSION + words(0, 0, 0) + floats(width / scale) + VERSION + words(0, 0xFF000000)
    line = words(2) + floats(5 / scale, 40.5 / scale, 90 / scale, 40.5 / scale)
    units = plus_record(0x402E, 0, floats(scale, scale))
    return emf(plus(plus_object(2, 2, held), units, plus_record(0x400D, 2, line)))


@pytest.mark.parametrize("width, ink", [(0, 1), (1, 0.25), (40, 0.4), (60, 0.6), (100, 1), (300, 3)])
def test_a_geometric_pen_is_as_dark_as_it_is_wide(width: int, ink: float) -> None:
    file = emf(UNITS + extended_pen(1, 0, width, GEOMETRIC) + LINE)
    assert across(file) == pytest.approx(ink, abs=STEP)
    assert across(file, smooth=False) == max(1, round(ink))


@pytest.mark.parametrize("width, ink", [(0, 1), (1, 1), (40, 1), (100, 1), (300, 3)])
def test_a_pen_of_the_old_kind_is_at_least_a_pixel_wide(width: int, ink: float) -> None:
    assert across(emf(UNITS + pen(1, 0, width) + LINE)) == pytest.approx(ink, abs=STEP)
    file = wmf(wmf_pen(0, width) + wmf_select(0) + wmf_record(0x0325, 2, 500, 4050, 9000, 4050), units=SIDE * FINE)
    assert across(file, layout=WmfRasterizationOptions()) == pytest.approx(ink, abs=STEP)


def test_a_cosmetic_pen_is_a_pixel_wide() -> None:
    for width in (1, 300):
        assert across(emf(UNITS + extended_pen(1, 0, width, 0) + LINE)) == pytest.approx(1, abs=STEP)


@pytest.mark.parametrize("width, ink", [(0, 1), (0.01, 0.25), (0.4, 0.4), (1, 1), (3, 3)])
@pytest.mark.parametrize("scale", [1.0, 20.0])
def test_a_pen_of_emf_plus_is_as_dark_as_it_is_wide(width: float, ink: float, scale: float) -> None:
    file = plus_line(width, scale)
    assert across(file) == pytest.approx(ink, abs=STEP)
    assert across(file, smooth=False) == max(1, round(ink))


def test_a_reduced_drawing_is_not_blackened() -> None:
    lines = b"".join(points32(4, [(500, y), (9000, y)]) for y in range(1000, 9000, 100))
    file = emf(UNITS + extended_pen(1, 0, 40, GEOMETRIC) + lines)
    assert across(file) == pytest.approx(80 * 0.4, abs=80 * STEP)
    assert across(file, size=SIDE * 4) == pytest.approx(80 * 1.6, abs=80 * STEP)
    assert across(file, size=SIDE // 2) == pytest.approx(80 * 0.25, abs=80 * STEP)  # a quarter of a pixel


def test_dashes_of_a_thin_line_keep_their_lengths() -> None:
    columns = {}
    for width in (0, 50):
        picture = drawn(emf(UNITS + extended_pen(1, 0, width, GEOMETRIC | 0x201) + LINE),
                        smoothing_mode=SmoothingMode.ANTI_ALIAS).convert("L")
        columns[width] = [any(picture.getpixel((x, y)) < 250 for y in range(SIDE)) for x in range(SIDE)]
    assert columns[0] == columns[50] and 18 <= columns[0].index(False, 10) - 5 <= 20
