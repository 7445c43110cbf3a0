"""Pens, brushes, fonts and maps of metafiles one by one: those that exist without being made, the usual dashes, mixes
of colors, units of length, and the shapes of corners and ends."""

from __future__ import annotations

import io
import struct
import subprocess
from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageDraw
from zelmor.imaging import Color, Image, SmoothingMode
from zelmor.imaging.imageoptions import (
    EmfOptions, EmfRasterizationOptions, PdfOptions, SvgOptions, WmfOptions, WmfRasterizationOptions)

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, dark, drawn
from support.metafiles import (BOUNDS, NULL_BRUSH, NULL_PEN, SIDE, Point, bitmap_header, blit, brush, colorref, emf,
                               emf_record, extended_pen, floats, pen, points32, rows24, select, text_out, wmf,
                               wmf_brush, wmf_pen, wmf_record, wmf_select, words)

STOCK = 0x80000000
FILLED = select(NULL_PEN) + brush(1, RED)
TRANSPARENT = emf_record(18, words(1))


def box(left: int, top: int, right: int, bottom: int, kind: int = 43, more: tuple[int, ...] = ()) -> bytes:
    return emf_record(kind, words(left, top, right, bottom, *more))


def extent(picture: Pillow.Image, color: int = RED) -> tuple[int, int, int, int] | None:
    """The box around the pixels of a color."""
    pixels = np.asarray(picture)
    there = (pixels == [color >> 16, color >> 8 & 255, color & 255]).all(axis=2)
    found: tuple[int, int, int, int] | None = Pillow.fromarray(there).getbbox()
    return found


# ---- Objects that exist without being made


@pytest.mark.parametrize("number, color", [(0, WHITE), (1, 0xC0C0C0), (2, 0x808080), (3, 0x404040), (4, BLACK),
                                           (5, BLUE), (18, WHITE), (9, GREEN), (20, GREEN), (7, GREEN)])
def test_stock_brushes(number: int, color: int) -> None:
    """On blue; what is no brush leaves the green one."""
    picture = drawn(emf(select(NULL_PEN), brush(1, BLUE), box(0, 0, 97, 97), brush(2, GREEN), select(STOCK + number),
                        select(NULL_PEN), box(20, 20, 61, 61)))
    assert color_at(picture, (40, 40)) == color and color_at(picture, (70, 70)) == BLUE


@pytest.mark.parametrize("number, color", [(6, WHITE), (7, BLACK), (8, BLUE), (19, BLACK), (9, GREEN), (0, GREEN)])
def test_stock_pens(number: int, color: int) -> None:
    picture = drawn(emf(select(NULL_PEN), brush(1, BLUE), box(0, 0, 97, 97), pen(2, GREEN, 1), select(STOCK + number),
                        points32(4, [(10, 40), (80, 40)])))
    assert color_at(picture, (40, 40)) == color and color_at(picture, (40, 39)) == color_at(picture, (40, 41)) == BLUE


def named_font(face: str, family: int) -> bytes:
    name = face.encode("utf-16-le").ljust(64, b"\0")
    data = struct.pack("<5i8B", 0, 0, 0, 0, 400, 0, 0, 0, 0, 0, 0, 0, family << 4) + name
    return emf_record(82, words(3) + data + bytes(320 - len(data))) + select(3)


@pytest.mark.parametrize("number, face, family", [
    *[(number, "Courier New", 3) for number in (10, 11, 16)], *[(number, "Arial", 2) for number in (12, 13, 14, 17)]])
def test_stock_fonts(number: int, face: str, family: int) -> None:
    def shown(chosen: bytes) -> Pillow.Image:
        return drawn(emf(TRANSPARENT, chosen, text_out("Wim", (10, 30), [])))

    found = shown(named_font("DejaVu Serif", 1) + select(STOCK + number))
    assert found.tobytes() == shown(named_font(face, family)).tobytes()
    assert dark(found)[2] > 20 and found.tobytes() != shown(named_font("DejaVu Serif", 1)).tobytes()


# ---- Dashes

#: Of a line as thin as a pixel, and of one of width 1.
DASHES = {1: ((18, 6), (3, 1)), 2: ((3, 3), (1, 1)), 3: ((9, 6, 3, 6), (3, 1, 1, 1)),
          4: ((9, 3, 3, 3, 3, 3), (3, 1, 1, 1, 1, 1))}


def expect_dashes(file: bytes, lengths: tuple[float, ...]) -> None:
    """Of a line from the left side on; the pixels at the ends of dashes may belong to either."""
    line = np.asarray(drawn(file).convert("L"))[40] < 128
    ends = np.cumsum(np.tile(lengths, 20))
    for x in range(1, SIDE - 1):
        if abs(ends - x).min() > 0.9:
            assert line[x] == (np.searchsorted(ends, x) % 2 == 0), x


@pytest.mark.parametrize("style", DASHES)
def test_dashes_of_thin_lines(style: int) -> None:
    line = points32(4, [(0, 40), (95, 40)])
    expect_dashes(emf(TRANSPARENT, pen(2, BLACK, 0, style), line), DASHES[style][0])
    expect_dashes(emf(extended_pen(2, BLACK, 1, style), line), DASHES[style][0])
    expect_dashes(wmf(wmf_record(0x0102, 1), wmf_pen(BLACK, 0, style), wmf_select(0),
                      wmf_record(0x0325, 2, 0, 40, 95, 40)), DASHES[style][0])


@pytest.mark.parametrize("style", DASHES)
@pytest.mark.parametrize("width", [4, 7])
def test_dashes_of_wide_lines(style: int, width: int) -> None:
    line = points32(4, [(0, 40), (95, 40)])
    lengths = tuple(width * length for length in DASHES[style][1])
    expect_dashes(emf(extended_pen(2, BLACK, width, 0x10200 | style), line), lengths)


@pytest.mark.parametrize("size", [SIDE, 2 * SIDE])
def test_every_second_pixel(size: int) -> None:
    """Style 8 of an extended pen; pixels are those of the result."""
    file = emf(extended_pen(2, BLACK, 1, 8), points32(4, [(0, 40), (95, 40)]))
    for mode in (SmoothingMode.NONE, SmoothingMode.ANTI_ALIAS):
        picture = drawn(file, page_width=float(size), page_height=float(size), smoothing_mode=mode)
        line = np.asarray(picture.convert("L"))[40 * size // SIDE].astype(int)[2:-4]
        assert (np.abs(line[1:] - line[:-1]) > (254 if size == SIDE else 120)).all()


def test_own_dashes_that_have_no_length() -> None:
    """A line is whole then; lengths below zero count as none."""
    for lengths in ((0, 0), (-5, 0)):
        picture = drawn(emf(extended_pen(2, BLUE, 4, 0x10207, lengths), points32(4, [(10, 40), (80, 40)])))
        whole = drawn(emf(extended_pen(2, BLUE, 4, 0x10200), points32(4, [(10, 40), (80, 40)])))
        assert extent(whole, BLUE) == (10, 38, 80, 42) and picture.tobytes() == whole.tobytes()


# ---- Mixes of a color with the one there

THERE, OWN = 0x5533CC, 0x0F55AA
MIXES: dict[int, Callable[[int, int], int]] = {
    1: lambda d, p: 0, 2: lambda d, p: ~(d | p), 3: lambda d, p: d & ~p, 4: lambda d, p: ~p, 5: lambda d, p: p & ~d,
    6: lambda d, p: ~d, 7: lambda d, p: d ^ p, 8: lambda d, p: ~(d & p), 9: lambda d, p: d & p,
    10: lambda d, p: ~(d ^ p), 11: lambda d, p: d, 12: lambda d, p: d | ~p, 13: lambda d, p: p,
    14: lambda d, p: p | ~d, 15: lambda d, p: d | p, 16: lambda d, p: WHITE}


@pytest.mark.parametrize("mode", MIXES)
def test_mixes(mode: int) -> None:
    expected = MIXES[mode](THERE, OWN) & WHITE
    ground = select(NULL_PEN) + brush(1, THERE) + box(0, 0, 97, 97)
    shapes = (brush(2, OWN) + box(10, 10, 31, 31) + pen(3, OWN, 6) + points32(4, [(10, 60), (80, 60)]))
    picture = drawn(emf(ground, emf_record(20, words(mode)), shapes))
    for place in ((20, 20), (40, 60), (40, 58), (40, 62)):
        assert color_at(picture, place) == expected
    assert color_at(picture, (40, 20)) == color_at(picture, (40, 66)) == THERE
    old = (wmf_record(0x02FA, 5, 0, 0, 0, 0) + wmf_select(0) + wmf_brush(THERE) + wmf_select(1)
           + wmf_record(0x041B, 97, 97, 0, 0) + wmf_record(0x0104, mode) + wmf_brush(OWN) + wmf_select(2)
           + wmf_record(0x041B, 31, 31, 10, 10))
    assert color_at(drawn(wmf(old)), (20, 20)) == expected


def as_lines_and_text(file: bytes, name: str, folder: Path) -> Pillow.Image:
    """The picture as SVG or PDF, drawn by another program."""
    layout, options = EmfRasterizationOptions(), SvgOptions() if name == "svg" else PdfOptions()
    layout.page_width = layout.page_height = float(SIDE)
    layout.background_color = Color.white
    options.vector_rasterization_options = layout
    with Image.load(io.BytesIO(file)) as image:
        image.save(str(folder / name), options)
    target = folder / "shown.png"
    if name == "svg":
        subprocess.run(["rsvg-convert", "-f", "png", "-o", target, folder / name], check=True)
        return Pillow.open(target).convert("RGB")
    subprocess.run(["pdftoppm", "-r", "72", "-scale-to", str(SIDE), "-png", "-singlefile", folder / name,
                    target.with_suffix("")], check=True)
    return Pillow.open(target).convert("RGB")


#: Channels of nothing and of all: each meets each in the two halves of a cell.
LEFT_HALF, RIGHT_HALF, MIXED = 0xFFFF00, 0xFFFFFF, 0xFF00FF
CELL = SIDE // 4


@pytest.mark.parametrize("name", ["svg", "pdf"])
@pytest.mark.parametrize("flooded", [False, True])
def test_mixes_on_lines_and_text(name: str, flooded: bool, tmp_path: Path) -> None:
    """A cell for each; a flood fill fills the black ones beside the first. Pillow fills the same ones."""
    records, model = select(NULL_PEN), Pillow.new("RGB", (SIDE, SIDE))
    for mode, mix in MIXES.items():
        x, y = (mode - 1) % 4 * CELL, (mode - 1) // 4 * CELL
        records += emf_record(20, words(13)) + brush(1, LEFT_HALF) + box(x, y, x + CELL // 2 + 1, y + CELL + 1)
        records += emf_record(20, words(mode)) + brush(2, MIXED) + box(x, y, x + CELL + 1, y + CELL + 1)
        for left, there in ((x, LEFT_HALF), (x + CELL // 2, RIGHT_HALF)):
            model.paste(f"#{mix(there, MIXED) & WHITE:06x}", (left, y, left + CELL // 2, y + CELL))
    records += emf_record(20, words(13))
    if flooded:
        records += brush(3, GREEN ^ RED) + emf_record(53, words(5, 5, colorref(BLACK), 1))
        ImageDraw.floodfill(model, (5, 5), (255, 255, 0))
        assert color_at(model, (18, 36)) == 0xFFFF00
    picture = as_lines_and_text(emf(records), name, tmp_path)
    for place in ((x, y) for x in range(6, SIDE, CELL // 2) for y in range(12, SIDE, CELL)):
        assert color_at(picture, place) == color_at(model, place), place


@pytest.mark.parametrize("mode", MIXES)
@pytest.mark.parametrize("clipped", [False, True])
def test_mixes_in_saved_metafiles(mode: int, clipped: bool) -> None:
    """They are mixes there, too, and end with the shape."""
    clip = box(0, 0, 60, 60, 30) if clipped else b""
    file = emf(select(NULL_PEN), brush(1, THERE), box(0, 0, 97, 97), clip, emf_record(20, words(mode)), brush(2, OWN),
               box(10, 10, 71, 71), emf_record(20, words(13)), brush(3, RED), box(0, 0, 9, 9))
    for options, read in ((EmfOptions(), EmfRasterizationOptions()), (WmfOptions(), WmfRasterizationOptions())):
        layout, target = EmfRasterizationOptions(), io.BytesIO()
        layout.page_width = layout.page_height = float(SIDE)
        options.vector_rasterization_options = layout
        with Image.load(io.BytesIO(file)) as image:
            image.save(target, options)
        picture = drawn(target.getvalue(), read)
        mixed = MIXES[mode](THERE, OWN) & WHITE
        found = [color_at(picture, place) for place in ((20, 20), (65, 40), (80, 80), (4, 4))]
        assert found == [mixed, THERE if clipped else mixed, THERE, RED]


#: Operations of a source and what is there.
SOURCES: dict[int, Callable[[int, int], int]] = {
    0x008800C6: lambda d, s: d & s, 0x00EE0086: lambda d, s: d | s, 0x00660046: lambda d, s: d ^ s,
    0x00440328: lambda d, s: s & ~d, 0x001100A6: lambda d, s: ~(d | s), 0x00BB0226: lambda d, s: d | ~s,
    0x00220326: lambda d, s: d & ~s, 0x00990066: lambda d, s: ~(d ^ s), 0x007700E6: lambda d, s: ~(d & s),
    0x00DD0228: lambda d, s: s | ~d, 0x00330008: lambda d, s: ~s, 0x00CC0020: lambda d, s: s,
    0x00AA0029: lambda d, s: d, 0x00550009: lambda d, s: ~d, 0x00000042: lambda d, s: 0,
    0x00FF0062: lambda d, s: WHITE}
CORNERS = {(28, 28): RED, (52, 28): GREEN, (28, 52): BLUE, (52, 52): BLACK}


@pytest.mark.parametrize("operation", SOURCES)
def test_operations_of_a_source(operation: int, tmp_path: Path) -> None:
    four = (bitmap_header(2, 2, 24), rows24([[RED, GREEN], [BLUE, BLACK]]))
    file = emf(select(NULL_PEN), brush(1, LEFT_HALF), box(0, 0, 97, 97),
               blit(77, (20, 20, 40, 40), operation, (0, 0, 2, 2), four))
    for picture in (drawn(file), as_lines_and_text(file, "svg", tmp_path)):
        found = {place: color_at(picture, place) for place in CORNERS}
        assert found == {place: SOURCES[operation](LEFT_HALF, color) & WHITE for place, color in CORNERS.items()}
        assert color_at(picture, (70, 70)) == LEFT_HALF


# ---- Ends and corners of lines. The corner is at (60, 20), the end at (20, 60), the lines are 12 pixels wide.

CORNER: list[Point] = [(20, 20), (60, 20), (60, 60)]


def mixed_corner(style: int) -> Pillow.Image:
    """A mix with white that gives the color of the pen: areas of such lines are worked out apart."""
    return drawn(emf(emf_record(20, words(9)), extended_pen(2, BLUE, 12, style), select(NULL_BRUSH),
                     points32(4, CORNER)))


def drawn_corner(style: int) -> Pillow.Image:
    return drawn(emf(extended_pen(2, BLUE, 12, style), select(NULL_BRUSH), points32(4, CORNER)))


def widened_corner(style: int) -> Pillow.Image:
    return drawn(emf(emf_record(19, words(2)), extended_pen(2, RED, 12, style), brush(1, BLUE), emf_record(59),
                     points32(4, CORNER), emf_record(60), emf_record(66), emf_record(62, BOUNDS)))


@pytest.mark.parametrize("make", [drawn_corner, mixed_corner, widened_corner])
@pytest.mark.parametrize("style, join", [(0x10000, "round"), (0x11000, "bevel"), (0x12000, "miter")])
def test_corners(make: Callable[[int], Pillow.Image], style: int, join: str) -> None:
    picture = make(style)
    shift = 0 if make is widened_corner else 1  # lines go through the middles of pixels
    found = [color_at(picture, (60 + side, 20 + shift - 1 - side)) == BLUE for side in (1, 3, 5)]
    assert found == [True, join != "bevel", join == "miter"]


@pytest.mark.parametrize("make", [drawn_corner, mixed_corner, widened_corner])
@pytest.mark.parametrize("style, end", [(0x10000, "round"), (0x10100, "square"), (0x10200, "flat")])
def test_ends(make: Callable[[int], Pillow.Image], style: int, end: str) -> None:
    picture = make(style)
    found = [color_at(picture, place) == BLUE for place in ((16, 20), (15, 15), (60, 64), (64, 65), (13, 20))]
    square = end == "square"
    assert found == [end != "flat", square, end != "flat", square, False]


# ---- Pens with a brush


def pen_with_brush(style: int, brush_style: int, hatch: int = 0, bitmap: tuple[bytes, bytes] = (b"", b"")) -> bytes:
    head, bits = bitmap
    at = 52 if bitmap[0] else 0
    data = words(2, at, len(head), at + len(head), len(bits), style, 12, brush_style, colorref(BLUE), hatch, 0)
    return emf_record(95, data + head + bits) + select(2)


FOUR = (bitmap_header(2, 2, 24), rows24([[RED, GREEN], [BLUE, BLACK]]))
LINE = points32(4, [(10, 40), (80, 40)])


def test_pens_with_a_brush() -> None:
    solid = drawn(emf(pen_with_brush(0x10200, 0), LINE))
    assert color_at(solid, (40, 40)) == color_at(solid, (40, 36)) == BLUE
    none = drawn(emf(pen_with_brush(0x10200, 1), LINE))
    assert none.getextrema() == ((255, 255), ) * 3
    upright = drawn(emf(TRANSPARENT, pen_with_brush(0x10200, 2, 1), LINE))
    assert [color_at(upright, (x, 40)) for x in (40, 44, 48)] == [BLUE, WHITE, BLUE]
    pattern = drawn(emf(pen_with_brush(0x10200, 5, 0, FOUR), LINE))
    assert [color_at(pattern, place) for place in ((40, 40), (41, 40), (40, 41), (41, 41))] == [RED, GREEN, BLUE, BLACK]
    missing = drawn(emf(pen_with_brush(0x10200, 5), LINE))
    assert color_at(missing, (40, 40)) == BLUE


# ---- Maps

HALF_AN_INCH = {2: 127, 3: 1270, 4: 50, 5: 500, 6: 720}


@pytest.mark.parametrize("mode", HALF_AN_INCH)
def test_units_of_length(mode: int) -> None:
    """Their y points up: the origin is at the lower left corner of the picture here."""
    side = HALF_AN_INCH[mode]
    corners = [(0, 0), (side, 0), (side, side), (0, side)]
    flat = [number for corner in corners for number in corner]
    for picture in (drawn(emf(FILLED, emf_record(12, words(0, SIDE)), emf_record(17, words(mode)),
                              points32(3, corners))),
                    drawn(wmf(wmf_pen(BLACK, style=5), wmf_select(0), wmf_brush(RED), wmf_select(1),
                              wmf_record(0x020D, SIDE, 0), wmf_record(0x0103, mode),
                              wmf_record(0x0324, 4, *flat)))):
        found = extent(picture)
        assert found is not None and found[0] == 0 and found[3] == SIDE
        assert abs(found[2] - SIDE // 2) <= 1 and abs(found[1] - SIDE // 2) <= 1


@pytest.mark.parametrize("mode, expected", [(1, (0, 20)), (2, (20, 60)), (3, (10, 50)), (4, (10, 30)), (5, (0, 40))])
def test_changes_of_the_world(mode: int, expected: tuple[int, int]) -> None:
    """Twice as large before; moved by 10: ended, before it, behind it, instead of it; other numbers change nothing."""
    picture = drawn(emf(FILLED, emf_record(35, floats(2, 0, 0, 2, 0, 0)),
                        emf_record(36, floats(1, 0, 0, 1, 10, 0) + words(mode)),
                        points32(3, [(0, 0), (20, 0), (20, 20), (0, 20)])))
    found = extent(picture)
    assert found is not None and (found[0], found[2]) == expected


def test_frames_are_a_pixel_smaller_only_where_they_are_upright() -> None:
    upright = drawn(emf(FILLED, box(20, 30, 61, 71)))
    assert extent(upright) == (20, 30, 60, 70)
    assert extent(drawn(emf(FILLED, box(61, 71, 20, 30)))) == (20, 30, 60, 70)  # from any corner
    turned = drawn(emf(FILLED, emf_record(35, floats(0, 1, -1, 0, 90, 0)), box(20, 30, 61, 71)))
    assert extent(turned) == (19, 20, 60, 61)


# ---- Arcs, and boxes without a size


@pytest.mark.parametrize("direction", [1, 2])
def test_arcs_that_end_where_they_begin_are_whole(direction: int) -> None:
    picture = drawn(emf(emf_record(57, words(direction)), pen(2, BLUE, 3), box(20, 20, 61, 61, 45, (80, 40, 80, 40))))
    for place in ((20, 40), (60, 40), (40, 20), (40, 60)):
        assert color_at(picture, place) == BLUE
    assert color_at(picture, (40, 40)) == WHITE


@pytest.mark.parametrize("records", [
    box(20, 20, 20, 61, 47, (80, 40, 40, 0)), box(20, 20, 61, 20, 46, (80, 40, 40, 0)),
    emf_record(27, words(40, 40)) + emf_record(41, words(40, 40, 0) + floats(0, 90)),
    points32(3, [(20, 20)]), points32(4, [(20, 20)]), points32(2, [(20, 20), (30, 30), (40, 20)]), points32(6, []),
    points32(5, [(20, 20), (30, 30)]), emf_record(7, BOUNDS + words(1, 1, 1, 20, 20))])
def test_shapes_without_an_extent(records: bytes) -> None:
    """Nothing is drawn, and the position stays."""
    picture = drawn(emf(pen(2, BLUE, 3), brush(1, RED), emf_record(27, words(10, 80)), records))
    assert picture.getextrema() == ((255, 255), ) * 3


def test_round_rectangles_without_round_corners() -> None:
    for corner in ((0, 20), (20, 0), (0, 0)):
        assert extent(drawn(emf(FILLED, box(20, 20, 61, 61, 44, corner)))) == (20, 20, 60, 60)
        assert color_at(drawn(emf(FILLED, box(20, 20, 61, 61, 44, corner))), (20, 20)) == RED


@pytest.mark.parametrize("corner", [(1, 1), (2, 2), (1, 3), (9, 9)])
def test_round_corners_are_measured_in_units(corner: tuple[int, int]) -> None:
    """A unit has twenty pixels here. The halves of a corner's sides are the radii, at most half of the box."""
    units = emf_record(17, words(8)) + emf_record(9, words(5, 5)) + emf_record(11, words(100, 100))
    picture = drawn(emf(units, FILLED, box(1, 1, 4, 4, 44, corner)))
    rx, ry = (min(20 * side, 60) / 2 for side in corner)
    for x, y in ((x + 0.5, y + 0.5) for x in range(20, 50) for y in range(20, 50)):
        outside = np.hypot(max(20 + rx - x, 0) / rx, max(20 + ry - y, 0) / ry)
        if abs(outside - 1) > 0.25:
            assert color_at(picture, (int(x), int(y))) == (WHITE if outside > 1 else RED), (x, y)


def typed(points: list[Point], types: list[int]) -> bytes:
    flat = [number for point in points for number in point]
    return emf_record(56, BOUNDS + words(len(points), *flat) + bytes(types))


CURVE: list[Point] = [(10, 10), (80, 10), (80, 50)]


def test_points_with_types_can_be_curves() -> None:
    start = pen(2, BLUE, 3) + emf_record(27, words(10, 50))
    usual = drawn(emf(start, points32(5, CURVE)))
    assert color_at(usual, (45, 20)) == BLUE
    assert drawn(emf(start, typed(CURVE, [4, 4, 4]))).tobytes() == usual.tobytes()
    closed = drawn(emf(start, typed(CURVE, [4, 4, 5])))
    assert color_at(closed, (45, 50)) == BLUE and color_at(usual, (45, 50)) == WHITE
    # Fewer than three of them are lines.
    lines = drawn(emf(start, points32(6, CURVE[:2])))
    assert drawn(emf(start, typed(CURVE[:2], [4, 4]))).tobytes() == lines.tobytes() != usual.tobytes()
    # The position is at the last point, or where a closed figure began.
    onward = emf_record(54, words(80, 90))
    assert color_at(drawn(emf(start, typed(CURVE, [4, 4, 4]), onward)), (80, 70)) == BLUE
    assert color_at(drawn(emf(start, typed(CURVE, [4, 4, 5]), onward)), (45, 70)) == BLUE
