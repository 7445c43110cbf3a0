"""The objects of Windows metafiles: their numbers, patterns of old and of new bitmaps, palettes, and regions."""

from __future__ import annotations

import io
import struct
from collections.abc import Sequence

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.fileformats.wmf.objects import WmfCreatePalette, WmfCreatePatternBrush, WmfUntyped

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, drawn
from support.metafiles import (bitmap_header, colorref, rows24, wmf, wmf_brush, wmf_color, wmf_pen, wmf_record,
                               wmf_select, words)

NO_LINES = wmf_pen(BLACK, style=5) + wmf_select(0)
ALL = wmf_record(0x041B, 97, 97, 0, 0)


def shown(*records: bytes) -> Pillow.Image:
    return drawn(wmf(*records))


def colors(picture: Pillow.Image, *places: tuple[int, int]) -> list[int]:
    return [color_at(picture, place) for place in places]


# ---- Numbers


def test_objects_have_the_lowest_free_numbers() -> None:
    made = NO_LINES + wmf_brush(RED) + wmf_brush(GREEN) + wmf_brush(BLUE)
    assert [color_at(shown(made, wmf_select(i), ALL), (9, 9)) for i in (1, 2, 3)] == [RED, GREEN, BLUE]
    delete = [wmf_record(0x01F0, i) for i in range(9)]
    # The two that were deleted are given again from below, then the next one.
    again = made + delete[3] + delete[1] + wmf_brush(0x111111) + wmf_brush(0x222222) + wmf_brush(0x333333)
    for index, color in ((1, 0x111111), (2, GREEN), (3, 0x222222), (4, 0x333333)):
        assert color_at(shown(again, wmf_select(index), ALL), (9, 9)) == color
    # Deleting what does not exist changes nothing, also for numbers that are given later.
    later = made + delete[4] + delete[8] + wmf_brush(0x111111)
    assert color_at(shown(later, wmf_select(4), ALL), (9, 9)) == 0x111111
    # An object that was deleted is not there to be selected; one that is selected stays.
    assert color_at(shown(made, wmf_select(1), delete[2], wmf_select(2), ALL), (9, 9)) == RED
    assert color_at(shown(made, wmf_select(1), delete[1], ALL), (9, 9)) == RED


# ---- Patterns

MONO = bytes([0x80, 0, 0x40, 0])  # the first pixel of the first row and the second one of the second row are set
TRUE = bytes([0, 0, 255, 0, 255, 0]) + bytes([255, 0, 0, 9, 9, 9])  # two rows of two


def old_head(width: int, height: int, stride: int, depth: int) -> bytes:
    return struct.pack("<4H2B", 0, width, height, stride, 1, depth)


def old_pattern(depth: int, stride: int, bits: bytes) -> bytes:
    """The record of the first version: the bitmap's head with a pointer, 18 bytes, and the rows."""
    return wmf_record(0x01F9, data=old_head(2, 2, stride, depth) + bytes(4) + bytes(18) + bits)


def style_3(depth: int, stride: int, bits: bytes) -> bytes:
    """The later record, with a bitmap of the old kind."""
    return wmf_record(0x0142, 3, 0, data=old_head(2, 2, stride, depth) + bits)


def test_old_patterns_of_two_colors() -> None:
    """Set bits have the color of the background and others that of text."""
    state = wmf_color(0x0209, BLUE) + wmf_color(0x0201, GREEN)
    picture = shown(NO_LINES, state, old_pattern(1, 2, MONO), wmf_select(1), ALL)
    assert colors(picture, (0, 0), (1, 0), (0, 1), (1, 1), (2, 0)) == [GREEN, BLUE, BLUE, GREEN, GREEN]
    later = shown(NO_LINES, state, style_3(1, 2, MONO), wmf_select(1), ALL)
    assert colors(later, (0, 0), (1, 0), (0, 1), (1, 1)) == [WHITE, BLACK, BLACK, WHITE]


def test_old_patterns_of_true_colors() -> None:
    for record in (old_pattern(24, 6, TRUE), style_3(24, 6, TRUE)):
        picture = shown(NO_LINES, wmf_color(0x0209, BLUE), record, wmf_select(1), ALL)
        assert colors(picture, (0, 0), (1, 0), (0, 1), (1, 1), (2, 2)) == [RED, GREEN, BLUE, 0x090909, RED]


def test_patterns_are_saved_as_they_were() -> None:
    """With the pointer and the bytes that mean nothing."""
    record = wmf_record(0x01F9, data=old_head(2, 2, 2, 1) + bytes([1, 2, 3, 4]) + bytes(range(18)) + MONO)
    for each in (record, old_pattern(24, 6, TRUE), style_3(1, 2, MONO)):
        target = io.BytesIO()
        with Image.load(io.BytesIO(wmf(NO_LINES, each, wmf_select(1), ALL))) as image:
            brush = WmfImage._cast_to(image).value.records[2]
            if isinstance(brush, WmfCreatePatternBrush):
                assert (brush.bitmap16.width, brush.bitmap16.height) == (2, 2)
                assert bytes(brush.pattern) == each[38:38 + len(brush.pattern)] and len(brush.reserved) == 18
            image.save(target)
        assert each in target.getvalue()


@pytest.mark.parametrize("record", [old_pattern(24, 6, b""), style_3(24, 6, b""), style_3(8, 2, MONO),
                                    wmf_record(0x0142, 3, 0), old_pattern(24, 4, TRUE)])
def test_patterns_without_pixels_draw_nothing(record: bytes) -> None:
    """They are objects all the same: the next one has the number behind."""
    assert shown(NO_LINES, record, wmf_select(1), ALL).getextrema() == ((255, 255), ) * 3
    assert color_at(shown(NO_LINES, record, wmf_brush(RED), wmf_select(2), ALL), (5, 5)) == RED
    # Nor do raster operations with such a brush.
    patted = shown(NO_LINES, wmf_brush(RED), wmf_select(1), ALL, record, wmf_select(2),
                   wmf_record(0x061D, 0x21, 0xF0, 40, 40, 20, 20))
    assert color_at(patted, (30, 30)) == RED


# ---- Palettes

COLORS = [RED, GREEN, BLUE]


def entries(values: Sequence[int], flags: Sequence[int] = ()) -> bytes:
    return b"".join(struct.pack("<3BB", color >> 16, color >> 8 & 255, color & 255, flags[i] if flags else 0)
                    for i, color in enumerate(values))


def palette(values: Sequence[int], flags: Sequence[int] = ()) -> bytes:
    return wmf_record(0x00F7, 0x300, len(values), data=entries(values, flags))


def indexed(numbers: Sequence[int], usage: int) -> tuple[bytes, bytes]:
    header = bitmap_header(len(numbers), 1, 8)[:32] + words(len(numbers), 0)
    header += struct.pack(f"<{len(numbers)}H", *numbers) if usage else words(*[0x102030] * len(numbers))
    bits = bytes(range(len(numbers)))
    return header, bits + bytes(-len(bits) % 4)


def stretched(numbers: Sequence[int], usage: int = 1) -> bytes:
    header, bits = indexed(numbers, usage)
    return wmf_record(0x0F43, 0x20, 0xCC, usage, 1, len(numbers), 0, 0, 8, 8 * len(numbers), 0, 0, data=header + bits)


def to_device(numbers: Sequence[int]) -> bytes:
    header, bits = indexed(numbers, 1)
    return wmf_record(0x0D33, 1, 1, 0, 0, 0, 1, len(numbers), 0, 0, data=header + bits)


def pattern(numbers: Sequence[int]) -> bytes:
    header, bits = indexed(numbers, 1)
    return wmf_record(0x0142, 5, 1, data=header + bits)


def test_palettes() -> None:
    chosen = NO_LINES + palette(COLORS) + wmf_record(0x0234, 1)
    places = [(4, 4), (12, 4), (20, 4), (28, 4)]
    assert colors(shown(chosen, stretched([2, 0, 1, 7])), *places) == [BLUE, RED, GREEN, BLACK]
    assert colors(shown(chosen, stretched([2, 0], 0)), *places[:3]) == [0x102030, 0x102030, WHITE]
    assert colors(shown(chosen, to_device([1, 2, 0])), (0, 0), (1, 0), (2, 0), (3, 0)) == [GREEN, BLUE, RED, WHITE]
    brushed = shown(chosen, pattern([1, 2]), wmf_select(2), ALL)
    assert colors(brushed, (0, 0), (1, 0), (2, 9)) == [GREEN, BLUE, GREEN]
    # A palette that was made, but not selected, is none.
    assert colors(shown(NO_LINES, palette(COLORS), stretched([2, 0])), *places[:2]) == [BLACK, BLACK]
    other = palette([0x102030, 0x405060]) + wmf_record(0x0234, 2)
    assert colors(shown(chosen, other, stretched([1, 0])), *places[:2]) == [0x405060, 0x102030]


def set_entries(start: int, *values: int, flags: Sequence[int] = ()) -> bytes:
    return wmf_record(0x0037, start, len(values), data=entries(values, flags))


def animate(start: int, *values: int, flags: Sequence[int] = ()) -> bytes:
    return wmf_record(0x0436, start, len(values), data=entries(values, flags))


def resize(count: int) -> bytes:
    return wmf_record(0x0139, count)


A, B, C = 0x102030, 0x405060, 0x708090
SAVE, RESTORE = wmf_record(0x001E), wmf_record(0x0127, 0xFFFF)


@pytest.mark.parametrize("flags, changes, expected", [
    # Entries are set whatever their flags are, as many as there are.
    ((), set_entries(1, A), [RED, A, BLUE, BLACK]),
    ((), set_entries(0, A, B), [A, B, BLUE, BLACK]),
    ((1, 1, 1), set_entries(2, A, B, C), [RED, GREEN, A, BLACK]),
    ((), set_entries(3, A) + set_entries(0xFFFF, A, B), [RED, GREEN, BLUE, BLACK]),
    # Animated are those alone that the palette has for it; other flags have no part in it.
    ((), animate(0, A, B, C), [RED, GREEN, BLUE, BLACK]),
    ((), animate(0, A, B, C, flags=(1, 1, 1)), [RED, GREEN, BLUE, BLACK]),
    ((1, 0, 1), animate(0, A, B, C), [A, GREEN, C, BLACK]),
    ((5, 4, 2), animate(0, A, B, C), [A, GREEN, BLUE, BLACK]),
    ((0, 1, 1), animate(1, A, B, C), [RED, A, B, BLACK]),
    ((1, 1, 1), animate(2, A, B), [RED, GREEN, A, BLACK]),
    ((1, 1, 1), animate(3, A) + animate(0xFFFF, A, B), [RED, GREEN, BLUE, BLACK]),
    # The flags of an entry are those that it was given last.
    ((), set_entries(1, A, flags=(1, )) + animate(0, B, B, B), [RED, B, BLUE, BLACK]),
    ((1, 1, 1), set_entries(0, A, B) + animate(0, C, C, C), [A, B, C, BLACK]),
    ((1, 1, 0), animate(0, A, A, flags=(1, 0)) + animate(0, B, B), [B, A, BLUE, BLACK]),
    # What is beyond the end goes, new entries are black and have no flags.
    ((), resize(2), [RED, GREEN, BLACK, BLACK]),
    ((), resize(1) + resize(3), [RED, BLACK, BLACK, BLACK]),
    ((), resize(4) + set_entries(2, A, B, C), [RED, GREEN, A, B]),
    ((), resize(3) + set_entries(2, A, B), [RED, GREEN, A, BLACK]),
    ((1, 1, 1), resize(2) + resize(4) + animate(0, A, B, C, C), [A, B, BLACK, BLACK]),
    # No palette has so few or so many.
    ((), resize(0) + set_entries(2, A), [RED, GREEN, A, BLACK]),
    ((), resize(1025) + set_entries(3, A), [RED, GREEN, BLUE, BLACK]),
    ((), resize(1024) + set_entries(3, A), [RED, GREEN, BLUE, A]),
    # The palette itself changes, whatever state it was selected in.
    ((), SAVE + set_entries(0, A) + RESTORE, [A, GREEN, BLUE, BLACK]),
    ((), set_entries(0, A) + palette([B]) + wmf_record(0x0234, 2) + set_entries(0, C) + wmf_record(0x0234, 1),
     [A, GREEN, BLUE, BLACK]),
])
def test_changes_of_the_selected_palette(flags: Sequence[int], changes: bytes, expected: list[int]) -> None:
    chosen = NO_LINES + palette(COLORS, flags) + wmf_record(0x0234, 1)
    picture = shown(chosen, changes, stretched([0, 1, 2, 3]))
    assert colors(picture, (4, 4), (12, 4), (20, 4), (28, 4)) == expected


def test_flags_go_with_the_colors_that_they_were_read_with() -> None:
    """As in a saved file: a program that sets other colors sets entries without flags."""
    data = wmf(NO_LINES, palette(COLORS, (1, 1, 1)), wmf_record(0x0234, 1), animate(0, A), stretched([0, 1, 2]))
    for own, expected in ((COLORS, [A, GREEN, BLUE]), ([RED, GREEN, C], [RED, GREEN, C])):
        target = io.BytesIO()
        with Image.load(io.BytesIO(data)) as image:
            made = WmfImage._cast_to(image).value.records[2]
            assert isinstance(made, WmfCreatePalette)
            made.argb_32_entries = [(0xFF000000 | color) - (1 << 32) for color in own]
            image.save(target)
        assert colors(drawn(target.getvalue()), (4, 4), (12, 4), (20, 4)) == expected


# ---- Regions


def region(*scans: tuple[int, int, tuple[tuple[int, int], ...]]) -> bytes:
    data = b"".join(struct.pack("<3H", 2 * len(lines), top, bottom)
                    + b"".join(struct.pack("<2h", *line) for line in lines) + struct.pack("<H", 2 * len(lines))
                    for top, bottom, lines in scans)
    head = struct.pack("<Hh I 3h 4h", 0, 6, 0, 22 + len(data), len(scans), max(len(lines) for _, _, lines in scans),
                       0, 0, 96, 96)
    return wmf_record(0x06FF, data=head + data)


TWO_ROWS = region((10, 30, ((10, 30), (50, 60))), (30, 40, ((10, 60), )))
INSIDE, OUTSIDE = [(10, 10), (29, 29), (55, 20), (40, 35)], [(9, 20), (30, 20), (49, 29), (60, 35), (20, 40), (40, 5)]


@pytest.mark.parametrize("use", [
    wmf_record(0x012C, 2) + ALL, wmf_select(2) + ALL, wmf_record(0x012B, 2), wmf_record(0x0228, 2, 1),
    wmf_record(0x0228, 2, 9), wmf_record(0x0228, 2, 0)])
def test_regions_of_scans(use: bytes) -> None:
    """As a clip, selected in two ways; painted and filled, also with a brush that is none: the selected one."""
    picture = shown(NO_LINES, wmf_brush(RED), wmf_select(1), TWO_ROWS, use)
    assert colors(picture, *INSIDE) == [RED] * 4 and colors(picture, *OUTSIDE) == [WHITE] * 6


def test_regions_are_filled_with_the_brush_of_the_record() -> None:
    picture = shown(NO_LINES, wmf_brush(RED), wmf_select(1), TWO_ROWS, wmf_brush(BLUE), wmf_record(0x0228, 2, 3))
    assert colors(picture, *INSIDE) == [BLUE] * 4
    inverted = shown(NO_LINES, wmf_brush(RED), wmf_select(1), ALL, TWO_ROWS, wmf_record(0x012A, 2))
    assert colors(inverted, *INSIDE) == [RED ^ WHITE] * 4 and colors(inverted, *OUTSIDE) == [RED] * 6


@pytest.mark.parametrize("width, height", [(2, 4), (5, 1)])
def test_frames_of_regions(width: int, height: int) -> None:
    """What is left without the places that are farther from each side than the frame is wide or high."""
    picture = np.asarray(shown(NO_LINES, wmf_brush(RED), region((20, 60, ((20, 70), ))),
                               wmf_record(0x0429, 2, 1, height, width)))
    filled = (picture == [255, 0, 0]).all(axis=2)
    expected = np.zeros_like(filled)
    expected[20:60, 20:70] = True
    expected[20 + height:60 - height, 20 + width:70 - width] = False
    assert (filled == expected).all()


def test_a_clip_that_is_no_region_is_none() -> None:
    clip = NO_LINES + wmf_brush(RED) + wmf_select(1) + TWO_ROWS + wmf_record(0x012C, 2)
    assert colors(shown(clip, wmf_record(0x012C, 1), ALL), *OUTSIDE) == [RED] * 6
    assert colors(shown(clip, wmf_record(0x012C, 77), ALL), *OUTSIDE) == [RED] * 6
    assert colors(shown(clip, wmf_record(0x012B, 1)), *INSIDE) == [WHITE] * 4  # nor can it be painted


# ---- Scales, and rows of bitmaps


@pytest.mark.parametrize("numbers, width, height", [
    ((1, 2, 1, 2), 20, 20), ((2, 1, 1, 3), 30, 5), ((0, 2, 1, 2), 20, 10), ((1, 2, 0, 2), 10, 20),
    ((1, 1, 1, 1), 10, 10)])
def test_scales(numbers: tuple[int, ...], width: int, height: int) -> None:
    """Denominator and numerator of y, then those of x; a denominator of zero changes nothing."""
    square = wmf_record(0x0324, 4, 0, 0, 10, 0, 10, 10, 0, 10)
    window = wmf_record(0x0410, numbers[1], numbers[0] or numbers[1], numbers[3], numbers[2] or numbers[3])
    for scale in (wmf_record(0x0412, *numbers), window):
        picture = shown(NO_LINES, wmf_brush(RED), wmf_select(1), wmf_record(0x0103, 8), wmf_record(0x020C, 96, 96),
                        wmf_record(0x020E, 96, 96), scale, square)
        found = (np.asarray(picture) == [255, 0, 0]).all(axis=2)
        assert (found.any(axis=0).sum(), found.any(axis=1).sum()) == (width, height)


FOUR = bitmap_header(2, 2, 24) + rows24([[RED, GREEN], [BLUE, BLACK]])


@pytest.mark.parametrize("first, count, height, found", [
    (0, 2, 2, [RED, BLUE]), (0, 1, 2, [WHITE, BLUE]), (1, 1, 2, [None, None])])
def test_rows_to_the_device(first: int, count: int, height: int, found: list[int | None]) -> None:
    """Rows are counted from the bottom: the first one given is the lowest."""
    picture = shown(wmf_record(0x0D33, 0, count, first, 0, 0, height, 2, 30, 20, data=FOUR))
    for y, color in enumerate(found):
        if color is not None:
            assert color_at(picture, (20, 30 + y)) == color


def test_rows_that_are_outside_are_not_drawn() -> None:
    for first in (-5, 5):
        assert shown(wmf_record(0x0D33, 0, 2, first, 0, 0, 2, 2, 30, 20, data=FOUR)).getextrema() == (
            (255, 255), ) * 3


@pytest.mark.parametrize("color", [RED, 0x123456])
def test_pixels(color: int) -> None:
    picture = shown(wmf_record(0x041F, colorref(color) & 0xFFFF, colorref(color) >> 16, 40, 30))
    assert color_at(picture, (30, 40)) == color and len(picture.getcolors()) == 2


@pytest.mark.parametrize("numbers", [(), (1,), (1, 2, 3, 4, 5, 6, 7)])
def test_a_record_of_no_known_kind_says_its_own_size(numbers: tuple[int, ...]) -> None:
    """However long it becomes, and whatever its property says."""
    image = WmfImage._cast_to(Image.load(io.BytesIO(wmf(wmf_record(0x0777, 9, 8, 7), wmf_record(0x0102, 1))))).value
    assert image is not None
    (record,) = (record for record in image.records if isinstance(record, WmfUntyped))
    assert (record.record_function, record.record_size, list(record.rd_parm)) == (0x0777, 6, [9, 8, 7])
    record.rd_parm = numbers
    record.record_size = 99
    file = io.BytesIO()
    image.save(file)
    assert file.getvalue()[40:].startswith(wmf_record(0x0777, *numbers) + wmf_record(0x0102, 1))
