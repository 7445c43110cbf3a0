"""States of metafiles that other records are drawn by: room between letters, a mirrored page, limits of miters, and
palettes."""

from __future__ import annotations

import struct
from collections.abc import Callable

import numpy as np
import pytest
from PIL import Image as Pillow

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, drawn
from support.metafiles import (BOUNDS, NULL_PEN, SIDE, bitmap_header, brush, emf, emf_record, extended_pen, font,
                               points32, select, text_out, wmf, wmf_brush, wmf_font, wmf_record, wmf_select, words)

TEXT = "| | |"


def bars(picture: Pillow.Image) -> list[float]:
    """The middles of the upright bars."""
    dark = (np.asarray(picture.convert("L")) < 128).any(axis=0)
    ends = np.flatnonzero(np.diff(np.concatenate([[0], dark.astype(int), [0]])))
    return [(a + b - 1) / 2 for a, b in zip(ends[::2], ends[1::2], strict=True)]


def emf_text(*records: bytes) -> Pillow.Image:
    return drawn(emf(emf_record(18, words(1)), *records, font(3, -16, "DejaVu Sans"), text_out(TEXT, (5, 30), [])))


def wmf_text(*records: bytes) -> Pillow.Image:
    text = struct.pack("<H", len(TEXT)) + TEXT.encode() + b"\0" * (len(TEXT) % 2)
    return drawn(wmf(wmf_record(0x0102, data=struct.pack("<H", 1) + bytes(2)), *records, wmf_font(-16, b"DejaVu Sans"),
                     wmf_select(0), wmf_record(0x0521, data=text + struct.pack("<2h", 30, 5))))


def emf_break(extra: int, count: int) -> bytes:
    return emf_record(120, words(extra, count))


def wmf_break(extra: int, count: int) -> bytes:
    return wmf_record(0x020A, count, extra)


@pytest.mark.parametrize(("write", "justify"), [(emf_text, emf_break), (wmf_text, wmf_break)], ids=["emf", "wmf"])
@pytest.mark.parametrize(("extra", "count", "each"), [(20, 2, 10), (12, 1, 12), (0, 2, 0), (20, 0, 0), (9, 3, 3)])
def test_room_at_spaces(write: Callable[..., Pillow.Image], justify: Callable[[int, int], bytes], extra: int,
                        count: int, each: float) -> None:
    """So much for so many spaces together."""
    plain, found = bars(write()), bars(write(justify(extra, count)))
    assert len(plain) == len(found) == 3
    assert [b - a for a, b in zip(plain, found, strict=True)] == pytest.approx([0, each, 2 * each], abs=1)


@pytest.mark.parametrize("extra", [5, 1, -2, 0])
def test_room_behind_each_letter(extra: int) -> None:
    """Two letters stand between a bar and the next."""
    plain, found = bars(wmf_text()), bars(wmf_text(wmf_record(0x0108, extra)))
    assert [b - a for a, b in zip(plain, found, strict=True)] == pytest.approx([0, 2 * extra, 4 * extra], abs=1)


def test_room_of_both_kinds() -> None:
    plain, found = bars(wmf_text()), bars(wmf_text(wmf_record(0x0108, 3), wmf_break(8, 2)))
    assert [b - a for a, b in zip(plain, found, strict=True)] == pytest.approx([0, 10, 20], abs=1)


@pytest.mark.parametrize(("mode", "mirrored"), [(0, False), (1, True), (8, False), (9, True)])
def test_a_mirrored_page(mode: int, mirrored: bool) -> None:
    """Its x-axis points to the left, from the right side on."""
    square = [(10, 20), (30, 20), (30, 40), (10, 40)]
    shape = select(NULL_PEN) + brush(1, RED)
    flat = [number for point in square for number in point]
    old = wmf_brush(RED) + wmf_select(0) + wmf_record(0x02FA, 5, 0, 0, 0, 0) + wmf_select(1)
    for picture in (drawn(emf(emf_record(115, words(mode)), shape, points32(3, square))),
                    drawn(wmf(wmf_record(0x0149, mode, 0), old, wmf_record(0x0324, 4, *flat)))):
        left, right = (SIDE - 30, SIDE - 10) if mirrored else (10, 30)
        for x in range(SIDE):
            if min(abs(x - left), abs(x - right)) > 1:
                assert color_at(picture, (x, 30)) == (RED if left < x < right else WHITE), x


@pytest.mark.parametrize(("limit", "sharp"), [(None, True), (10, True), (3, True), (2, False), (1, False)])
def test_limits_of_miters(limit: int | None, sharp: bool) -> None:
    """A corner of 45 degrees is 2.6 times as long as the line is wide."""
    corner = [(70, 50), (30, 50), (70, 10)]
    records = [] if limit is None else [emf_record(58, words(limit))]
    picture = drawn(emf(*records, extended_pen(1, BLUE, 8, 0x12000), points32(4, corner)))
    assert color_at(picture, (24, 52)) == (BLUE if sharp else WHITE) and color_at(picture, (50, 50)) == BLUE


# ---- Palettes: the colors of a bitmap are numbers of 16 bits

COLORS = [RED, GREEN, BLUE]


def entries(colors: list[int]) -> bytes:
    return b"".join(struct.pack("<3BB", color >> 16, color >> 8 & 255, color & 255, 0) for color in colors)


def emf_palette(index: int, colors: list[int]) -> bytes:
    return emf_record(49, words(index) + struct.pack("<HH", 0x300, len(colors)) + entries(colors))


def indexed(numbers: list[int], usage: int) -> bytes:
    """Columns of the colors with these numbers, each eight pixels wide."""
    header = bitmap_header(len(numbers), 1, 8)[:32] + words(len(numbers), 0)
    header += struct.pack(f"<{len(numbers)}H", *numbers)
    header += bytes(-len(header) % 4)
    bits = bytes(range(len(numbers)))
    bits += bytes(-len(bits) % 4)
    data = BOUNDS + words(0, 0, 0, 0, len(numbers), 1, 80, len(header), 80 + len(header), len(bits), usage, 0x00CC0020,
                          8 * len(numbers), 8)
    return emf_record(81, data + header + bits)


@pytest.mark.parametrize(("records", "expected"), [
    ([emf_palette(5, COLORS), emf_record(48, words(5))], [BLUE, RED, GREEN, BLACK]),
    ([emf_palette(5, COLORS), emf_record(48, words(5)), emf_record(50, words(5, 1, 1) + entries([0x102030])),
      emf_record(48, words(5))], [BLUE, RED, 0x102030, BLACK]),
    ([emf_palette(5, COLORS), emf_record(50, words(5, 2, 2) + entries([0x102030, 0x405060])),
      emf_record(48, words(5))], [0x102030, RED, GREEN, BLACK]),
    ([emf_palette(5, COLORS), emf_record(50, words(6, 0, 1) + entries([0x102030])), emf_record(48, words(5))],
     [BLUE, RED, GREEN, BLACK]),
    # A palette that is selected already is changed, too.
    ([emf_palette(5, COLORS), emf_record(48, words(5)), emf_record(50, words(5, 1, 1) + entries([0x102030]))],
     [BLUE, RED, 0x102030, BLACK]),
    ([emf_palette(5, COLORS), emf_record(48, words(5)), emf_record(50, words(5, 0xFFFFFFFF, 2) + entries([1, 2]))],
     [BLUE, RED, GREEN, BLACK]),
    # What is beyond the new end goes; new entries are black. No palette has none, or more than 1,024.
    ([emf_palette(5, COLORS), emf_record(48, words(5)), emf_record(51, words(5, 2))], [BLACK, RED, GREEN, BLACK]),
    ([emf_palette(5, COLORS), emf_record(51, words(5, 1)), emf_record(51, words(5, 3)), emf_record(48, words(5))],
     [BLACK, RED, BLACK, BLACK]),
    ([emf_palette(5, COLORS), emf_record(48, words(5)), emf_record(51, words(5, 1024)),
      emf_record(50, words(5, 7, 1) + entries([0x102030]))], [BLUE, RED, GREEN, 0x102030]),
    *(([emf_palette(5, COLORS), emf_record(48, words(5)), emf_record(51, words(*numbers)),
        emf_record(50, words(5, 7, 1) + entries([0x102030]))], [BLUE, RED, GREEN, BLACK])
      for numbers in [(5, 0), (5, 1025), (5, 0xFFFFFFFF), (6, 8)])])
def test_palettes(records: list[bytes], expected: list[int]) -> None:
    picture = drawn(emf(*records, indexed([2, 0, 1, 7], 1)))
    assert [color_at(picture, (8 * i + 4, 4)) for i in range(4)] == expected
