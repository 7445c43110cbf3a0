"""Every pixel of drawings in enhanced metafiles, beside arrays: operations of pixels, patterns, bitmaps and clips."""

from __future__ import annotations

import struct
from typing import Any

import numpy as np
import pytest

from support.arrays import Pixels
from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, drawn
from support.metafiles import (BOUNDS, NULL_BRUSH, NULL_PEN, SIDE, bitmap_header, blit, brush, colorref, emf,
                               emf_record, pen, points32, region, rows24, select, stretch_dib, words)

FILLED = select(NULL_PEN) + brush(1, RED)
Y, X = np.mgrid[0:SIDE, 0:SIDE]


def box(left: int, top: int, right: int, bottom: int, kind: int = 43) -> bytes:
    return emf_record(kind, words(left, top, right, bottom))


def shown(records: bytes) -> Pixels:
    """The picture as numbers 0xRRGGBB."""
    pixels = np.asarray(drawn(emf(records))).astype(int)
    return pixels[..., 0] << 16 | pixels[..., 1] << 8 | pixels[..., 2]


def painted(*areas: tuple[int, int, int, int, int], below: int = WHITE) -> Pixels:
    """Areas (left, top, right, bottom, color), each over those before it."""
    page = np.full((SIDE, SIDE), below)
    for left, top, right, bottom, color in areas:
        page[max(top, 0):max(bottom, 0), max(left, 0):max(right, 0)] = color
    return page


SOLID: dict[str, tuple[bytes, Pixels]] = {
    "rectangle": (FILLED + box(20, 21, 61, 62), painted((20, 21, 60, 61, RED))),
    "rectangle with a line": (brush(1, RED) + pen(2, BLUE) + box(20, 21, 61, 62),
                              painted((20, 21, 61, 62, BLUE), (21, 22, 60, 61, RED))),
    "rectangle of a line": (select(NULL_BRUSH) + pen(2, BLUE) + box(20, 21, 61, 62),
                            painted((20, 21, 61, 62, BLUE), (21, 22, 60, 61, WHITE))),
    "line across": (pen(2, BLUE) + points32(4, [(10, 30), (50, 30)]), painted((10, 30, 51, 31, BLUE))),
    "line down": (pen(2, BLUE) + points32(4, [(10, 30), (10, 70)]), painted((10, 30, 11, 71, BLUE))),
    "clip": (FILLED + box(10, 12, 50, 60, 30) + box(0, 0, 97, 97), painted((10, 12, 50, 60, RED))),
    "hole in a clip": (FILLED + box(10, 12, 50, 60, 29) + box(0, 0, 97, 97),
                       painted((0, 0, 96, 96, RED), (10, 12, 50, 60, WHITE))),
    "moved clip": (FILLED + box(10, 12, 50, 60, 30) + emf_record(26, words(5, -7)) + box(0, 0, 97, 97),
                   painted((15, 5, 55, 53, RED))),
    "two clips": (FILLED + box(10, 12, 50, 60, 30) + box(30, 2, 90, 40, 30) + box(0, 0, 97, 97),
                  painted((30, 12, 50, 40, RED))),
    "filled region": (brush(1, RED) + emf_record(71, BOUNDS + words(64, 1) + region([(3, 5, 20, 9), (8, 9, 30, 17)])),
                      painted((3, 5, 20, 9, RED), (8, 9, 30, 17, RED))),
    "framed region": (brush(1, RED) + emf_record(72, BOUNDS + words(48, 1, 3, 5) + region([(20, 20, 60, 60)])),
                      painted((20, 20, 60, 60, RED), (23, 25, 57, 55, WHITE))),
    "inverted region": (emf_record(73, BOUNDS + words(48) + region([(20, 24, 60, 60)])), painted((20, 24, 60, 60, 0))),
    "pixels": (emf_record(15, words(0, 0, colorref(RED))) + emf_record(15, words(95, 95, colorref(GREEN)))
               + emf_record(15, words(96, 5, colorref(BLUE))), painted((0, 0, 1, 1, RED), (95, 95, 96, 96, GREEN))),
}


@pytest.mark.parametrize("name", SOLID)
def test_areas(name: str) -> None:
    records, expected = SOLID[name]
    found = shown(records)
    assert np.array_equal(found, expected), np.argwhere(found != expected)[:5]


@pytest.mark.parametrize("mode", [1, 2, 3, 4, 5])
def test_each_way_to_combine_clips(mode: int) -> None:
    """And, or, exclusive or, without, and instead."""
    first = (10 <= X) & (X < 50) & (12 <= Y) & (Y < 60)
    second = (30 <= X) & (X < 90) & (2 <= Y) & (Y < 40)
    expected = {1: first & second, 2: first | second, 3: first ^ second, 4: first & ~second, 5: second}[mode]
    records = FILLED + box(10, 12, 50, 60, 30)
    records += emf_record(75, words(48, mode) + region([(30, 2, 90, 40)])) + box(0, 0, 97, 97)
    assert np.array_equal(shown(records) == RED, expected)


# ---- Operations

#: Of the pixels to draw (P) and those that are there (D), in the order of their numbers from 1 on.
MIXES = [lambda p, d: 0 * p, lambda p, d: ~(p | d), lambda p, d: ~p & d, lambda p, d: ~p, lambda p, d: p & ~d,
         lambda p, d: ~d, lambda p, d: p ^ d, lambda p, d: ~(p & d), lambda p, d: p & d, lambda p, d: ~(p ^ d),
         lambda p, d: d, lambda p, d: ~p | d, lambda p, d: p, lambda p, d: p | ~d, lambda p, d: p | d,
         lambda p, d: 0 * p | 0xFFFFFF]
GROUND, OVER = 0x3355AA, 0x0FC35A


@pytest.mark.parametrize("number", range(1, 17))
def test_every_mix_of_a_pen_and_a_brush(number: int) -> None:
    start = select(NULL_PEN) + brush(1, GROUND) + box(0, 0, 51, 97)  # the left half of the page
    records = start + emf_record(20, words(number)) + brush(2, OVER) + box(10, 10, 91, 31)
    records += pen(3, OVER) + points32(4, [(10, 50), (90, 50)])
    ground = np.where(X < 50, GROUND, WHITE)
    mixed = MIXES[number - 1](np.full_like(ground, OVER), ground) & 0xFFFFFF
    inside = (10 <= X) & ((X < 90) & (10 <= Y) & (Y < 30) | (X <= 90) & (Y == 50))
    assert np.array_equal(shown(records), np.where(inside, mixed, ground))


@pytest.mark.parametrize("half", [0, 1])
def test_every_operation_with_a_source_and_a_pattern(half: int) -> None:
    """Each of the 256: a bit of the result is that bit of the operation which those of pattern, source and destination
    have the number of. A cell of six pixels for each of 128 of them."""
    pattern, left, right = 0x0F0F0F, 0x333333, 0xCC33AA
    source = bitmap_header(2, 1, 24), rows24([[left, right]])
    records = select(NULL_PEN) + brush(1, 0x55AA55) + box(0, 0, 97, 97) + brush(2, pattern)
    expected = np.full((SIDE, SIDE), 0x55AA55)
    for cell in range(128):
        operation = 128 * half + cell
        x, y = cell % 16 * 6, cell // 16 * 6
        sourced = (operation >> 2 ^ operation) & 0x33 != 0
        number = operation << 16
        records += (blit(77, (x, y, 4, 4), number, (0, 0, 2, 1), source) if sourced
                    else blit(76, (x, y, 4, 4), number))
        for column, color in ((x, left), (x + 2, right)):
            result = 0
            for bit in range(24):
                index = (pattern >> bit & 1) << 2 | (color >> bit & 1) << 1 | (0x55AA55 >> bit & 1)
                result |= (operation >> index & 1) << bit
            expected[y:y + 4, column:column + 2] = result
    found = shown(records)
    wrong = np.argwhere(found != expected)
    assert len(wrong) == 0, [(int(x) // 6 + int(y) // 6 * 16 + 128 * half, hex(found[y, x]), hex(expected[y, x]))
                             for y, x in wrong[:3]]


# ---- Patterns

HATCHES = {0: Y % 8 == 0, 1: X % 8 == 0, 2: (X - Y) % 8 == 0, 3: (X + Y) % 8 == 7, 4: (X % 8 == 0) | (Y % 8 == 0),
           5: ((X - Y) % 8 == 0) | ((X + Y) % 8 == 7)}


@pytest.mark.parametrize("opaque", [False, True])
@pytest.mark.parametrize("style", HATCHES)
def test_hatches(style: int, opaque: bool) -> None:
    records = select(NULL_PEN) + emf_record(18, words(2 if opaque else 1)) + emf_record(25, words(colorref(GREEN)))
    found = shown(records + brush(1, RED, 2, style) + box(0, 0, 97, 97))
    assert np.array_equal(found, np.where(HATCHES[style], RED, GREEN if opaque else WHITE))


@pytest.mark.parametrize("origin", [(0, 0), (1, 2), (-3, 1)])
def test_a_pattern_from_any_origin(origin: tuple[int, int]) -> None:
    tile = np.array([[RED, GREEN, BLUE], [BLACK, 0x123456, 0x654321]])
    header, rows = bitmap_header(3, 2, 24), rows24(tile.tolist())
    records = select(NULL_PEN) + emf_record(13, words(*origin))
    records += emf_record(94, words(1, 0, 32, 40, 72, len(rows)) + header + rows) + select(1) + box(0, 0, 97, 97)
    assert np.array_equal(shown(records), tile[(Y - origin[1]) % 2, (X - origin[0]) % 3])


# ---- Bitmaps

COLORS = np.array([[0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF, 0x000000],
                   [0x102030, 0x405060, 0x708090, 0xA0B0C0, 0xF8E0D0],
                   [0x808080, 0x008080, 0x800080, 0x808000, 0x400000]])
PLACES = np.arange(15).reshape(3, 5)  # of each color in a palette
PALETTE = COLORS.ravel().tolist()


def packed(bits: int, indices: Pixels) -> bytes:
    """Rows of indices, the last one first."""
    data = b""
    for row in indices[::-1]:
        digits = "".join(format(each, f"0{bits}b") for each in row.tolist())
        digits += "0" * (-len(digits) % 32)
        data += int(digits, 2).to_bytes(len(digits) // 8, "big")
    return data


def words_of(values: Pixels, size: int) -> bytes:
    rows = [b"".join(int(each).to_bytes(size, "little") for each in row) for row in values[::-1]]
    return b"".join(row + bytes(-len(row) % 4) for row in rows)


FIVE = (COLORS >> 19 & 31) << 10 | (COLORS >> 11 & 31) << 5 | COLORS >> 3 & 31
SIX = (COLORS >> 19 & 31) << 11 | (COLORS >> 10 & 63) << 5 | COLORS >> 3 & 31


def widened(value: Pixels, bits: int) -> Pixels:
    return np.rint(value * 255 / ((1 << bits) - 1)).astype(int)


FROM_FIVE = widened(COLORS >> 19 & 31, 5) << 16 | widened(COLORS >> 11 & 31, 5) << 8 | widened(COLORS >> 3 & 31, 5)
FROM_SIX = widened(COLORS >> 19 & 31, 5) << 16 | widened(COLORS >> 10 & 63, 6) << 8 | widened(COLORS >> 3 & 31, 5)
RUNS_8 = bytes([2, 10, 3, 11, 0, 0, 5, 6, 0, 0, 0, 3, 0, 1, 2, 0, 1, 3, 1, 4, 0, 1])
RUNS_4 = bytes([4, 0xAB, 1, 0xC0, 0, 0, 5, 0x66, 0, 0, 0, 5, 0x01, 0x23, 0x40, 0, 0, 1])
#: By name: the header and the rows, and the picture.
BITMAPS: dict[str, tuple[bytes, bytes, Pixels]] = {
    "1 bit": (bitmap_header(5, 3, 1, colors=(RED, GREEN)), packed(1, PLACES % 2),
              np.where(PLACES % 2 == 1, GREEN, RED)),
    "4 bits": (bitmap_header(5, 3, 4, colors=PALETTE), packed(4, PLACES), COLORS),
    "8 bits": (bitmap_header(5, 3, 8, colors=PALETTE), packed(8, PLACES), COLORS),
    "16 bits": (bitmap_header(5, 3, 16), words_of(FIVE, 2), FROM_FIVE),
    "16 bits of masks": (bitmap_header(5, 3, 16, 3, (0xF800, 0x07E0, 0x001F)), words_of(SIX, 2), FROM_SIX),
    "24 bits": (bitmap_header(5, 3, 24), rows24(COLORS.tolist()), COLORS),
    "32 bits": (bitmap_header(5, 3, 32), words_of(COLORS, 4), COLORS),
    "32 bits of masks": (bitmap_header(5, 3, 32, 3, (0xFF, 0xFF00, 0xFF0000)), words_of(
        (COLORS & 0xFF) << 16 | COLORS & 0xFF00 | COLORS >> 16, 4), COLORS),
    "runs of 8 bits": (bitmap_header(5, 3, 8, 1, PALETTE), RUNS_8,
                       COLORS.ravel()[[[0, 1, 2, 3, 4], [6] * 5, [10, 10, 11, 11, 11]]]),
    "runs of 4 bits": (bitmap_header(5, 3, 4, 2, PALETTE), RUNS_4,
                       COLORS.ravel()[[[0, 1, 2, 3, 4], [6] * 5, [10, 11, 10, 11, 12]]]),
    "from the top": (bitmap_header(5, -3, 24), rows24(COLORS[::-1].tolist()), COLORS),
}


def page_with(picture: Pixels, x: int, y: int) -> Pixels:
    page = np.full((SIDE, SIDE), WHITE)
    page[y:y + picture.shape[0], x:x + picture.shape[1]] = picture
    return page


@pytest.mark.parametrize("name", BITMAPS)
def test_bitmaps(name: str) -> None:
    header, rows, expected = BITMAPS[name]
    for across, down in ((1, 1), (4, 3)):
        found = shown(stretch_dib(header, rows, (20, 30, 5 * across, 3 * down), (5, 3)))
        wanted = page_with(expected.repeat(down, 0).repeat(across, 1), 20, 30)
        assert np.array_equal(found, wanted), [(hex(found[y, x]), hex(wanted[y, x]), x, y) for y, x in
                                               np.argwhere(found != wanted)[:4]]


@pytest.mark.parametrize(("turned", "expected"), [
    ((25, 30, -5, 3), COLORS[:, ::-1]), ((20, 33, 5, -3), COLORS[::-1]), ((25, 33, -5, -3), COLORS[::-1, ::-1])])
def test_mirrored_bitmaps(turned: tuple[int, int, int, int], expected: Pixels) -> None:
    header, rows, _ = BITMAPS["24 bits"]
    assert np.array_equal(shown(stretch_dib(header, rows, turned, (5, 3))), page_with(expected, 20, 30))


@pytest.mark.parametrize("part", [(0, 0, 5, 3), (1, 0, 3, 2), (2, 1, 1, 1), (4, 2, 1, 1), (0, 2, 5, 1)])
def test_parts_of_a_bitmap(part: tuple[int, int, int, int]) -> None:
    """Rows of the part are counted from the last one of the file."""
    header, rows, _ = BITMAPS["24 bits"]
    x, y, width, height = part
    data = BOUNDS + words(20, 30, x, y, width, height, 80, len(header), 80 + len(header), len(rows), 0, 0x00CC0020,
                          2 * width, 3 * height)
    expected = COLORS[3 - y - height:3 - y, x:x + width].repeat(3, 0).repeat(2, 1)
    assert np.array_equal(shown(emf_record(81, data + header + rows)), page_with(expected, 20, 30))


@pytest.mark.parametrize("key", [0xFF0000, 0x102030, 0x400000])
def test_a_color_that_is_left_out(key: int) -> None:
    header, rows, _ = BITMAPS["24 bits"]
    found = shown(blit(116, (20, 30, 5, 3), colorref(key), (0, 0, 5, 3), (header, rows)))
    assert np.array_equal(found, page_with(np.where(COLORS == key, WHITE, COLORS), 20, 30))


@pytest.mark.parametrize("alpha", [0, 1, 64, 128, 254, 255])
def test_a_bitmap_with_one_opacity(alpha: int) -> None:
    header, rows, _ = BITMAPS["24 bits"]
    found = shown(blit(114, (20, 30, 5, 3), alpha << 16, (0, 0, 5, 3), (header, rows)))
    parts = [(COLORS >> shift & 255) * alpha / 255 + 255 * (1 - alpha / 255) for shift in (16, 8, 0)]
    for shift, part in zip((16, 8, 0), parts, strict=True):
        wanted = page_with(np.rint(part).astype(int), 20, 30)
        wanted[wanted == WHITE] = 255
        assert np.abs((found >> shift & 255) - wanted).max() <= 1


def test_a_mask_chooses_between_two_operations() -> None:
    header, rows, _ = BITMAPS["24 bits"]
    mask = bitmap_header(5, 3, 1, colors=(BLACK, WHITE)), packed(1, PLACES % 2)
    for foreground, background in ((0xCC, 0xAA), (0xAA, 0xCC), (0x33, 0x00), (0xFF, 0x55)):
        number = background << 24 | foreground << 16
        found = shown(blit(78, (20, 30, 5, 3), number, bitmap=(header, rows), mask=mask))

        def result(code: int) -> Any:
            return {0xCC: COLORS, 0xAA: np.full_like(COLORS, WHITE), 0x33: COLORS ^ 0xFFFFFF, 0x00: 0 * COLORS,
                    0xFF: 0 * COLORS + WHITE, 0x55: 0 * COLORS}[code]
        expected = np.where(PLACES % 2 == 1, result(foreground), result(background))
        assert np.array_equal(found, page_with(expected, 20, 30))


@pytest.mark.parametrize("mode", [0, 1])
def test_gradients_go_evenly(mode: int) -> None:
    """From one corner to the other, by the middle of each pixel."""
    corners = b"".join(struct.pack("<2i4H", x, y, value << 8, 0, 0xFF00 - (value << 8), 0)
                       for x, y, value in ((10, 10, 0), (60, 60, 255)))
    found = shown(emf_record(118, BOUNDS + words(2, 1, mode) + corners + words(0, 1)))
    along = X if mode == 0 else Y
    inside = (10 <= X) & (X < 60) & (10 <= Y) & (Y < 60)
    part = (along - 10 + 0.5) / 50 * 255
    assert np.abs((found >> 16)[inside] - part[inside]).max() <= 2
    assert np.abs((found & 255)[inside] - (255 - part[inside])).max() <= 2
    assert ((found >> 8 & 255)[inside] == 0).all() and (found[~inside] == WHITE).all()


@pytest.mark.parametrize(("height", "missing", "seen"), [(4096, 1, True), (4097, 0, True), (4097, 1, False)])
def test_large_bitmaps_whose_bytes_are_missing(height: int, missing: int, seen: bool) -> None:
    """More than 16777216 pixels are shown only if all of their bytes are there."""
    bits = b"\xff" * (4096 // 8 * height - missing)
    found = shown(stretch_dib(bitmap_header(4096, height, 1, 0, [BLACK, RED]), bits, (0, 0, SIDE, SIDE),
                              (4096, height)))
    assert (found[20:, :90] == (RED if seen else WHITE)).all()
