"""Every pixel of EMF+ drawings, beside arrays: images in all formats, clips, regions, maps, dashes and fills."""

from __future__ import annotations

from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Color, Graphics, HatchStyle, Rectangle
from zelmor.imaging.brushes import HatchBrush

from support.arrays import Pixels
from support.drawn_metafiles import BLUE, GREEN, RED, WHITE, drawn
from support.image_oracles import load, pixels, write
from support.metafiles import SIDE, VERSION, emf, floats, plus, plus_object, plus_path, plus_record, words

OPAQUE = 0xFF000000
BRUSH, PEN, PATH, REGION, IMAGE = 1, 2, 3, 4, 5
Y, X = np.mgrid[0:SIDE, 0:SIDE]
Rect = tuple[float, float, float, float]


def shown(*records: bytes) -> Pixels:
    found = np.asarray(drawn(emf(plus(*records)))).astype(int)
    return found[..., 0] << 16 | found[..., 1] << 8 | found[..., 2]


def fill(color: int, *rects: Rect) -> bytes:
    flat = [each for rect in rects for each in rect]
    return plus_record(0x400A, 0x8000, words(OPAQUE | color, len(rects)) + floats(*flat))


EVERYTHING = fill(RED, (0, 0, SIDE, SIDE))


def inside(left: float, top: float, width: float, height: float) -> Pixels:
    return (left <= X) & (X < left + width) & (top <= Y) & (Y < top + height)


# ---- Clips and regions

FIRST, SECOND = (10, 12, 40, 48), (30, 2, 60, 38)
#: In the order of the numbers of the modes: instead, and, or, exclusive or, without, and what of the new one is left.
MODES = [lambda a, b: b, lambda a, b: a & b, lambda a, b: a | b, lambda a, b: a ^ b, lambda a, b: a & ~b,
         lambda a, b: b & ~a]


def corners(rect: Rect) -> list[tuple[float, float]]:
    left, top, width, height = rect
    return [(left, top), (left + width, top), (left + width, top + height), (left, top + height)]


def path_of(rect: Rect) -> bytes:
    return plus_path(corners(rect), [0, 1, 1, 0x81])


def rectangle(rect: Rect) -> bytes:
    return words(0x10000000) + floats(*rect)


@pytest.mark.parametrize("mode", range(6))
@pytest.mark.parametrize("kind", ["rectangle", "path", "region"])
def test_clips(kind: str, mode: int) -> None:
    first = plus_record(0x4032, 0, floats(*FIRST))
    second = {"rectangle": [plus_record(0x4032, mode << 8, floats(*SECOND))],
              "path": [plus_object(3, PATH, path_of(SECOND)), plus_record(0x4033, mode << 8 | 3)],
              "region": [plus_object(4, REGION, VERSION + words(0) + rectangle(SECOND)),
                         plus_record(0x4034, mode << 8 | 4)]}[kind]
    expected = MODES[mode](inside(*FIRST), inside(*SECOND))
    assert np.array_equal(shown(first, *second, EVERYTHING) == RED, expected)


def test_a_clip_is_moved_and_taken_away() -> None:
    clip = plus_record(0x4032, 0, floats(*FIRST))
    assert np.array_equal(shown(clip, plus_record(0x4035, 0, floats(7, -5)), EVERYTHING) == RED,
                          inside(17, 7, 40, 48))
    assert (shown(clip, plus_record(0x4031), EVERYTHING) == RED).all()


@pytest.mark.parametrize("kind", range(1, 6))
def test_regions_of_two(kind: int) -> None:
    data = VERSION + words(2, kind) + rectangle(FIRST) + rectangle(SECOND)
    found = shown(plus_object(4, REGION, data), plus_record(0x4013, 0x8004, words(OPAQUE | RED)))
    assert np.array_equal(found == RED, MODES[kind](inside(*FIRST), inside(*SECOND)))


def test_regions_within_regions() -> None:
    third = (20, 20, 50, 50)
    data = VERSION + words(4, 3, 2) + rectangle(FIRST) + rectangle(SECOND) + rectangle(third)
    found = shown(plus_object(4, REGION, data), plus_record(0x4013, 0x8004, words(OPAQUE | RED)))
    assert np.array_equal(found == RED, (inside(*FIRST) | inside(*SECOND)) ^ inside(*third))
    for code, expected in ((0x10000002, inside(*FIRST) & False), (0x10000003, inside(*FIRST))):  # none, everything
        data = VERSION + words(2, 1) + rectangle(FIRST) + words(code)
        found = shown(plus_object(4, REGION, data), plus_record(0x4013, 0x8004, words(OPAQUE | RED)))
        assert np.array_equal(found == RED, expected)


# ---- Maps

MAPS: dict[str, tuple[list[bytes], Any]] = {
    "set": ([plus_record(0x402A, 0, floats(2, 0, 0, 3, 5, 7))], [[2, 0, 5], [0, 3, 7]]),
    "moved": ([plus_record(0x402D, 0, floats(11, 13))], [[1, 0, 11], [0, 1, 13]]),
    "scaled": ([plus_record(0x402E, 0, floats(2, 4))], [[2, 0, 0], [0, 4, 0]]),
    "moved, then scaled before": ([plus_record(0x402D, 0, floats(11, 13)), plus_record(0x402E, 0, floats(2, 4))],
                                  [[2, 0, 11], [0, 4, 13]]),
    "moved, then scaled behind": ([plus_record(0x402D, 0, floats(11, 13)), plus_record(0x402E, 0x2000, floats(2, 4))],
                                  [[2, 0, 22], [0, 4, 52]]),
    "scaled, then moved behind": ([plus_record(0x402E, 0, floats(2, 4)), plus_record(0x402D, 0x2000, floats(11, 13))],
                                  [[2, 0, 11], [0, 4, 13]]),
    "turned": ([plus_record(0x402D, 0, floats(50, 20)), plus_record(0x402F, 0, floats(90))],
               [[0, -1, 50], [1, 0, 20]]),
    "turned behind": ([plus_record(0x402D, 0, floats(20, -50)), plus_record(0x402F, 0x2000, floats(90))],
                      [[0, -1, 50], [1, 0, 20]]),
    "multiplied": ([plus_record(0x402A, 0, floats(2, 0, 0, 2, 3, 5)),
                    plus_record(0x402C, 0, floats(1, 0, 0, 3, 4, 6))], [[2, 0, 11], [0, 6, 17]]),
    "multiplied behind": ([plus_record(0x402A, 0, floats(2, 0, 0, 2, 3, 5)),
                           plus_record(0x402C, 0x2000, floats(1, 0, 0, 3, 4, 6))], [[2, 0, 7], [0, 6, 21]]),
    "pixels": ([plus_record(0x4030, 2, floats(3))], [[3, 0, 0], [0, 3, 0]]),
    "points": ([plus_record(0x4030, 3, floats(1.5))], [[2, 0, 0], [0, 2, 0]]),
    "inches": ([plus_record(0x4030, 4, floats(1 / 48))], [[2, 0, 0], [0, 2, 0]]),
    "documents": ([plus_record(0x4030, 5, floats(6.25))], [[2, 0, 0], [0, 2, 0]]),
    "millimeters": ([plus_record(0x4030, 6, floats(25.4 / 48))], [[2, 0, 0], [0, 2, 0]]),
}


@pytest.mark.parametrize("name", MAPS)
def test_maps(name: str) -> None:
    """Of a rectangle; all of them keep it upright."""
    records, rows = MAPS[name]
    left, top, width, height = 3, 2, 12, 7
    points = np.array(rows) @ np.array([[left, left + width], [top, top + height], [1, 1]])
    (x0, x1), (y0, y1) = np.sort(points, axis=1)
    found = shown(*records, fill(RED, (left, top, width, height)))
    assert np.array_equal(found == RED, inside(x0, y0, x1 - x0, y1 - y0))


# ---- Images

COLORS = np.array([[0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF, 0x000000],
                   [0x102030, 0x405060, 0x708090, 0xA0B0C0, 0xF8E0D0],
                   [0x808080, 0x008080, 0x800080, 0x808000, 0x400000]])
RGB = np.stack([COLORS >> shift & 255 for shift in (16, 8, 0)], -1)
PLACES = np.arange(15).reshape(3, 5)
PALETTE = words(0, 15, *(OPAQUE | color for color in COLORS.ravel().tolist()))


def packed(bits: int, indices: Pixels) -> bytes:
    rows = ["".join(format(each, f"0{bits}b") for each in row) for row in indices.tolist()]
    return b"".join(int(row + "0" * (-len(row) % 32), 2).to_bytes(-(-len(row) // 32) * 4, "big") for row in rows)


def rows_of(values: Any, size: int) -> bytes:
    rows = [b"".join(int(each).to_bytes(size, "little") for each in row) for row in values.tolist()]
    return b"".join(row + bytes(-len(row) % 4) for row in rows)


def fields(*parts: tuple[int, int]) -> Any:
    """Each part's upper bits, and where they stand, from red to blue."""
    return sum(RGB[..., i] >> 8 - bits << place for i, (bits, place) in enumerate(parts))


def widened(*bits: int) -> Any:
    found = [(RGB[..., i] >> 8 - each) * 255 // ((1 << each) - 1) for i, each in enumerate(bits)]
    return found[0] << 16 | found[1] << 8 | found[2]


DEEP = RGB * 8192 // 255
LIGHT = DEEP * 255 // 8192
GRAYS = RGB[..., 0] * 257
#: By name: the number of the format, the pixels, and what is shown of them.
FORMATS: dict[str, tuple[int, bytes, Any]] = {
    "1 bit": (0x30101, PALETTE + packed(1, PLACES % 2), COLORS.ravel()[PLACES % 2]),
    "4 bits": (0x30402, PALETTE + packed(4, PLACES), COLORS),
    "8 bits": (0x30803, PALETTE + packed(8, PLACES), COLORS),
    "beyond the palette": (0x30803, PALETTE + packed(8, PLACES + 10), np.where(
        PLACES < 5, COLORS.ravel()[np.minimum(PLACES + 10, 14)], 0)),
    "gray": (0x101004, rows_of(GRAYS, 2), RGB[..., 0] * 0x10101),
    "5 5 5": (0x21005, rows_of(fields((5, 10), (5, 5), (5, 0)), 2), widened(5, 5, 5)),
    "5 6 5": (0x21006, rows_of(fields((5, 11), (6, 5), (5, 0)), 2), widened(5, 6, 5)),
    "1 5 5 5": (0x61007, rows_of(fields((5, 10), (5, 5), (5, 0)) | PLACES % 2 << 15, 2),
                np.where(PLACES % 2 == 1, widened(5, 5, 5), WHITE)),
    "24 bits": (0x21808, rows_of(COLORS, 3), COLORS),
    "32 bits": (0x22009, rows_of(COLORS, 4), COLORS),
    "with alpha": (0x26200A, rows_of(COLORS | (PLACES % 2 * 255) << 24, 4), np.where(PLACES % 2 == 1, COLORS, WHITE)),
    "multiplied": (0xE200B, rows_of((COLORS | OPAQUE) * (PLACES % 2), 4), np.where(PLACES % 2 == 1, COLORS, WHITE)),
    "48 bits": (0x10300C, rows_of(DEEP[..., 2] | DEEP[..., 1] << 16 | DEEP[..., 0] << 32, 6),
                LIGHT[..., 0] << 16 | LIGHT[..., 1] << 8 | LIGHT[..., 2]),
    "64 bits": (0x34400D, rows_of(DEEP[..., 2] | DEEP[..., 1] << 16 | DEEP[..., 0] << 32 | 8192 << 48, 8),
                LIGHT[..., 0] << 16 | LIGHT[..., 1] << 8 | LIGHT[..., 2]),
    "64 bits multiplied": (0x1C400E, rows_of(DEEP[..., 2] | DEEP[..., 1] << 16 | DEEP[..., 0] << 32 | 8192 << 48, 8),
                           LIGHT[..., 0] << 16 | LIGHT[..., 1] << 8 | LIGHT[..., 2]),
}


def image(name: str) -> bytes:
    number, data, _ = FORMATS[name]
    bits = number >> 8 & 0xFF
    return VERSION + words(1, 5, 3, -(-5 * bits // 32) * 4, number, 0) + data


def page_with(picture: Any, x: int, y: int) -> Pixels:
    page = np.full((SIDE, SIDE), WHITE)
    page[y:y + picture.shape[0], x:x + picture.shape[1]] = picture
    return page


#: The nearest pixels, by their corners.
NEAREST = plus_record(0x4021, 5)


@pytest.mark.parametrize("name", FORMATS)
def test_pixels_of_images(name: str) -> None:
    found = shown(plus_object(5, IMAGE, image(name)), NEAREST,
                  plus_record(0x401A, 5, words(0, 2) + floats(0, 0, 5, 3, 20, 30, 20, 9)))
    expected = page_with(FORMATS[name][2].repeat(3, 0).repeat(4, 1), 20, 30)
    assert np.array_equal(found, expected), [(hex(found[y, x]), hex(expected[y, x]), x, y)
                                             for y, x in np.argwhere(found != expected)[:4]]


@pytest.mark.parametrize("alpha", [1, 64, 128, 200, 254])
def test_colors_that_are_multiplied_by_their_alpha(alpha: int) -> None:
    """On black, where they are shown as they stand in the file."""
    stored = RGB * alpha // 255
    data = stored[..., 2] | stored[..., 1] << 8 | stored[..., 0] << 16 | alpha << 24
    content = VERSION + words(1, 5, 3, 20, 0xE200B, 0) + rows_of(data, 4)
    found = shown(fill(0, (0, 0, SIDE, SIDE)), plus_object(5, IMAGE, content), NEAREST,
                  plus_record(0x401A, 5, words(0, 2) + floats(0, 0, 5, 3, 20, 30, 5, 3)))[30:33, 20:25]
    for i, shift in enumerate((16, 8, 0)):
        assert np.abs((found >> shift & 255) - stored[..., i]).max() <= 1


@pytest.mark.parametrize(("points", "expected"), [
    ((20, 30, 25, 30, 20, 33), COLORS), ((25, 30, 20, 30, 25, 33), COLORS[:, ::-1]),
    ((20, 33, 25, 33, 20, 30), COLORS[::-1]), ((20, 30, 20, 35, 23, 30), COLORS.T),
    ((25, 33, 20, 33, 25, 30), COLORS[::-1, ::-1])])
def test_images_to_points(points: tuple[float, ...], expected: Pixels) -> None:
    found = shown(plus_object(5, IMAGE, image("24 bits")), NEAREST,
                  plus_record(0x401B, 5, words(0, 2) + floats(0, 0, 5, 3) + words(3) + floats(*points)))
    assert np.array_equal(found, page_with(expected, 20, 30))


@pytest.mark.parametrize("part", [(0, 0, 5, 3), (1, 0, 3, 2), (2, 1, 1, 1), (4, 2, 1, 1), (0, 2, 5, 1)])
def test_parts_of_an_image(part: tuple[int, int, int, int]) -> None:
    x, y, width, height = part
    found = shown(plus_object(5, IMAGE, image("24 bits")), NEAREST, plus_record(
        0x401A, 5, words(0, 2) + floats(x, y, width, height, 20, 30, 2 * width, 3 * height)))
    shown_part = COLORS[y:y + height, x:x + width].repeat(3, 0).repeat(2, 1)
    assert np.array_equal(found, page_with(shown_part, 20, 30))


# ---- Fills and lines


@pytest.mark.parametrize("style", list(HatchStyle), ids=lambda style: style.name)
def test_hatches_are_those_of_brushes(style: HatchStyle, tmp_path: Any) -> None:
    data = VERSION + words(1, int(style), OPAQUE | RED, OPAQUE | GREEN)
    found = shown(plus_object(1, BRUSH, data), plus_record(0x400A, 0, words(1, 1) + floats(0, 0, 16, 16)))[:16, :16]
    brush = HatchBrush()
    brush.hatch_style, brush.foreground_color, brush.background_color = style, Color.red, Color.from_argb(0, 255, 0)
    sheet = load(write(tmp_path / "sheet.png", np.zeros((16, 16, 3), np.uint8)))
    Graphics(sheet).fill_rectangle(brush, Rectangle(0, 0, 16, 16))
    wanted = pixels(sheet, tmp_path).astype(int)
    assert np.array_equal(found, wanted[..., 0] << 16 | wanted[..., 1] << 8 | wanted[..., 2])


@pytest.mark.parametrize(("pattern", "offset"), [((4, 2), 0), ((1, 1), 0), ((3, 1, 1, 1), 0), ((4, 2), 3)])
@pytest.mark.parametrize("width", [4, 5])
def test_dashes(pattern: tuple[float, ...], offset: float, width: int) -> None:
    """In widths of the line, from its beginning on."""
    flags = 0x100 | (0x80 if offset else 0)
    optional = (floats(offset) if offset else b"") + words(len(pattern)) + floats(*pattern)
    pen = VERSION + words(0, flags, 0) + floats(width) + optional + VERSION + words(0, OPAQUE | BLUE)
    found = shown(plus_object(2, PEN, pen), plus_record(0x400D, 2, words(2) + floats(8, 40, 88, 40)))
    place = (X - 8 + 0.5) / width + offset
    part = place % sum(pattern)
    ink = np.zeros_like(X, bool)
    for i, length in enumerate(pattern):
        if i % 2 == 0:
            ink |= (part >= sum(pattern[:i])) & (part < sum(pattern[:i]) + length)
    expected = ink & (8 <= X) & (X < 88)
    row = found[40] == BLUE
    assert np.array_equal(row, expected[40])
    assert (found == BLUE).any(axis=1).sum() == width


@pytest.mark.parametrize(("wrap", "expected"), [
    (0, lambda place: place % 1), (1, lambda place: np.where(place // 1 % 2 == 0, place % 1, 1 - place % 1))])
def test_gradients_that_go_on(wrap: int, expected: Any) -> None:
    """Beyond their ends they begin again, or turn round."""
    data = VERSION + words(4, 0, wrap) + floats(20, 0, 40, 40) + words(OPAQUE | RED, OPAQUE | BLUE, 0, 0)
    found = shown(plus_object(1, BRUSH, data), plus_record(0x400A, 0, words(1, 1) + floats(0, 0, SIDE, SIDE)))[10]
    place = (np.arange(SIDE) + 0.5 - 20) / 40
    part = expected(place)
    inner = np.abs(place - np.rint(place)) > 0.03  # but for where it begins again
    assert np.abs((found >> 16) - 255 * (1 - part))[inner].max() <= 3
    assert np.abs((found & 255) - 255 * part)[inner].max() <= 3
    assert ((found >> 8 & 255) == 0).all()


def test_gradients_by_factors() -> None:
    factors, places = [0, 0.8, 0.2, 1], [0, 0.25, 0.5, 1]
    data = VERSION + words(4, 8, 4) + floats(0, 0, SIDE, SIDE) + words(OPAQUE | RED, OPAQUE | BLUE, 0, 0, 4)
    data += floats(*places) + floats(*factors)
    found = shown(plus_object(1, BRUSH, data), plus_record(0x400A, 0, words(1, 1) + floats(0, 0, SIDE, SIDE)))[10]
    part = np.interp((np.arange(SIDE) + 0.5) / SIDE, places, factors)
    assert np.abs((found >> 16) - 255 * (1 - part)).max() <= 4
