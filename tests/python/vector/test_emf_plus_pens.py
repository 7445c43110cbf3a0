"""Pens of EMF+: joins, dashes, caps, units, and where lines lie."""

from __future__ import annotations

from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow

from support.drawn_metafiles import BLUE, WHITE, color_at, dark, drawn
from support.metafiles import VERSION, emf, floats, plus, plus_object, plus_path, plus_record, words

OPAQUE = 0xFF000000
PEN, PATH = 2, 3


def pen(width: float, flags: int = 0, optional: bytes = b"", unit: int = 0) -> bytes:
    return plus_object(2, PEN, VERSION + words(0, flags, unit) + floats(width) + optional
                       + VERSION + words(0, OPAQUE | BLUE))


def lines(*points: tuple[float, float]) -> bytes:
    flat = [number for point in points for number in point]
    return plus_record(0x400D, 2, words(len(points)) + floats(*flat))


def shown(*records: bytes, **options: Any) -> Pillow.Image:
    return drawn(emf(plus(*records)), **options)


def colors(picture: Pillow.Image, *places: tuple[int, int]) -> list[int]:
    return [color_at(picture, place) for place in places]


CORNER = lines((20, 20), (60, 20), (60, 60))
LINE = lines((10, 40), (80, 40))


@pytest.mark.parametrize("join, found", [(0, [BLUE, BLUE, BLUE]), (1, [BLUE, WHITE, WHITE]), (2, [BLUE, BLUE, WHITE]),
                                         (3, [BLUE, BLUE, BLUE]), (-1, [BLUE, BLUE, BLUE]), (9, [BLUE, BLUE, BLUE])])
def test_joins(join: int, found: list[int]) -> None:
    """Pointed, bevelled, round, pointed as far as the limit allows; other numbers are the nearest."""
    picture = shown(pen(12, 8, words(join)), CORNER)
    assert colors(picture, (61, 19), (64, 16), (65, 15)) == found


@pytest.mark.parametrize("join", [0, 3])
@pytest.mark.parametrize("limit, cut", [(1, True), (1.4, True), (1.5, False), (10, False), (0, True), (-5, True)])
def test_limits_of_miters(join: int, limit: float, cut: bool) -> None:
    """A right angle is 1.41 times as long as the line is wide. The point is cut off or, of that kind, shortened."""
    picture = shown(pen(12, 0x18, words(join) + floats(limit)), CORNER)
    assert colors(picture, (61, 19), (65, 15)) == [BLUE, WHITE if cut else BLUE]


def dashes_of(*data: bytes, flags: int, width: float = 4) -> list[int]:
    """The lengths of dashes and gaps, as pixels in the middle of a line from 10 to 90."""
    picture = shown(pen(width, flags, b"".join(data)), lines((10, 40), (90, 40)))
    row = np.asarray(picture)[40, :, 0] < 128
    ends = np.flatnonzero(np.diff(np.concatenate([[0], row.astype(int), [0]])))
    return [int(length) for length in np.diff(ends)]


@pytest.mark.parametrize("style, lengths", [(0, [80]), (1, [12, 4]), (2, [4, 4]), (3, [12, 4, 4, 4]),
                                            (4, [12, 4, 4, 4, 4, 4]), (-1, [80]), (5, [80])])
def test_styles_of_dashes(style: int, lengths: list[int]) -> None:
    found = dashes_of(words(style), flags=0x20)
    assert found[:len(lengths)] == lengths and (len(found) == 1) == (lengths == [80])


@pytest.mark.parametrize("offset, first", [(0, 12), (1, 8), (2, 4), (-1, 0)])
def test_dashes_begin_at_an_offset(offset: float, first: int) -> None:
    """As many widths of the line: less of the first dash, or of the gap before it."""
    picture = shown(pen(4, 0xA0, words(1) + floats(offset)), lines((10, 40), (90, 40)))
    row = [color_at(picture, (x, 40)) == BLUE for x in range(11, 24)]
    assert row[:first] == [True] * max(first - 1, 0) + row[max(first - 1, 0):first]
    assert row.index(False) in (first - 1, first) if first else row.index(True) in (3, 4)


@pytest.mark.parametrize("cap, grows, filled", [(0, 0, False), (2, 4, False), (3, 2, False)])
def test_caps_of_dashes(cap: int, grows: int, filled: bool) -> None:
    """Flat, round and pointed dashes: with a width of 8, ends reach half of it beyond the dash, along the middle."""
    picture = shown(pen(8, 0x140, words(cap, 2) + floats(2, 2)), lines((10, 40), (90, 40)))
    assert color_at(picture, (20, 40)) == BLUE and color_at(picture, (34, 40)) == WHITE
    beyond = [color_at(picture, (27 + by, 40)) == BLUE for by in range(6)]
    assert beyond[:max(grows - 1, 0)] == [True] * max(grows - 1, 0) and beyond[5] is filled
    if grows == 4:  # corners of round ends are missing
        assert color_at(picture, (29, 37)) == WHITE


@pytest.mark.parametrize("lengths, found", [((2, 1), [8, 4]), ((2, -1, 2, 3), [16, 12]), ((0, 0), [80]),
                                            ((-1, -2), [80]), ((1, 2, 3, 1), [4, 8, 12, 4])])
def test_own_dashes(lengths: tuple[float, ...], found: list[int]) -> None:
    """In widths of the line; a length below zero is none, and without any length there are no dashes."""
    data = words(len(lengths)) + floats(*lengths)
    assert dashes_of(data, flags=0x100)[:len(found)] == found


@pytest.mark.parametrize("alignment, inside", [(0, False), (1, True), (2, False), (7, False)])
def test_a_pen_may_stay_inside(alignment: int, inside: bool) -> None:
    square = plus_object(3, PATH, plus_path([(20, 20), (60, 20), (60, 60), (20, 60)], [0, 1, 1, 0x81]))
    picture = shown(pen(8, 0x200, words(alignment)), square, plus_record(0x4015, 3, words(2)))
    assert colors(picture, (18, 40), (22, 40), (26, 40), (29, 40)) == (
        [WHITE, BLUE, BLUE, WHITE] if inside else [BLUE, BLUE, WHITE, WHITE])


@pytest.mark.parametrize("parts, found", [((0, 0.25, 0.75, 1), [BLUE, WHITE, BLUE]), ((0, 0.5), [BLUE, WHITE, WHITE]),
                                          ((0, 1.5), [BLUE, BLUE, BLUE]), ((-0.5, 0.25), [BLUE, BLUE, BLUE]),
                                          ((0.75, 0.25), [BLUE, BLUE, BLUE])])
def test_lines_of_several(parts: tuple[float, ...], found: list[int]) -> None:
    """Parts of the width; numbers outside of it, or in another order, are none."""
    picture = shown(pen(20, 0x400, words(len(parts)) + floats(*parts)), LINE)
    assert colors(picture, (40, 32), (40, 41), (40, 48)) == found


@pytest.mark.parametrize("unit, width, found", [(0, 8, 8), (2, 8, 8), (3, 9, 12), (4, 0.125, 12), (5, 37.5, 12),
                                                (6, 3.175, 12)])
def test_units_of_a_pen(unit: int, width: float, found: int) -> None:
    """World, pixels, points, inches, documents of 300 to an inch, millimeters."""
    picture = shown(pen(width, unit=unit), LINE)
    column = np.asarray(picture)[:, 40, 0] < 128
    assert column.sum() == found and column[40 - found // 2 + 1:40 + found // 2].all()


TIP = [(0.0, 0.0), (-3.0, -6.0), (3.0, -6.0)]  # the end of the line is at the origin, the line comes from below


def custom_cap(fill_path: bytes = b"", line_path: bytes = b"", scale: float = 1, base: int = 0, inset: float = 0,
               ends: tuple[int, int] = (0, 0), join: int = 0, limit: float = 10) -> bytes:
    flags = bool(fill_path) | 2 * bool(line_path)
    data = VERSION + words(0, flags, base) + floats(inset) + words(*ends, join) + floats(limit, scale, 0, 0, 0, 0)
    for path in (fill_path, line_path):
        data += words(len(path)) + path if path else b""
    return words(len(data)) + data


@pytest.mark.parametrize("start", [False, True])
@pytest.mark.parametrize("scale, reach", [(1, 1), (2, 2), (0, 1), (-3, 1)])
def test_caps_of_a_path(start: bool, scale: float, reach: int) -> None:
    """In widths of the line, times a scale that is 1 where it makes no sense."""
    cap = custom_cap(plus_path(TIP, [0, 1, 0x81]), scale=scale)
    picture = shown(pen(2, 0x800 if start else 0x1000, cap), LINE)
    depth, half = 12 * reach, 6 * reach
    for along in (4, depth // 2, depth - 3):
        x, wide = 10 + along if start else 79 - along, half * along / depth
        assert wide < 3 or color_at(picture, (x, round(40 + wide - 2))) == BLUE, along
        assert color_at(picture, (x, round(40 + wide + 3))) == WHITE, along
    behind = 10 + depth + 3 if start else 79 - depth - 3
    assert colors(picture, (behind, 44), (behind, 40)) == [WHITE, BLUE]
    edge = 10 + depth - 2 if start else 79 - depth + 2
    assert color_at(picture, (edge, 40 + half - 3)) == color_at(picture, (edge, 40 - half + 4)) == BLUE


def test_caps_of_lines() -> None:
    """An open path is drawn with the pen's width, in its color, and not filled."""
    wings = plus_path([(-4, -4), (0, 0), (4, -4)], [0, 1, 1])
    picture = shown(pen(3, 0x1000, custom_cap(line_path=wings)), LINE)
    assert colors(picture, (73, 47), (73, 34), (60, 47), (60, 40)) == [BLUE, BLUE, WHITE, BLUE]
    closed = plus_path([(-4, -6), (0, 0), (4, -6)], [0, 1, 0x81])
    outlined = shown(pen(2, 0x1000, custom_cap(line_path=closed)), LINE)
    filled = shown(pen(2, 0x1000, custom_cap(fill_path=closed)), LINE)
    assert color_at(outlined, (71, 43)) == WHITE and color_at(filled, (71, 43)) == BLUE
    assert color_at(outlined, (67, 46)) == BLUE


FLAT, SQUARE, ROUND, POINTED = [WHITE] * 3, [BLUE] * 3, [BLUE, BLUE, WHITE], [BLUE, WHITE, WHITE]
ENDS = {0: FLAT, 1: SQUARE, 2: ROUND, 3: POINTED, 0x10: FLAT, 0x11: FLAT, 0x14: FLAT, 0xFF: FLAT, 77: FLAT}


@pytest.mark.parametrize("start, end", [(0, 0), *((each, 0) for each in list(ENDS)[1:]),
                                        *((0, each) for each in list(ENDS)[1:]), (2, 1), (3, 2)])
def test_ends_of_the_lines_of_a_cap(start: int, end: int) -> None:
    """A bar across the end of the line, from -3 to 3 widths of the pen, with ends of half a width of it.

    With a width of 8, ends reach 4 pixels beyond 40 + 24 = 64 and 40 - 24 = 16, from 76 to 84 in x.
    The space of the cap is turned and not mirrored: -3 is at the bottom.
    """
    bar = plus_path([(-3, 0), (3, 0)], [0, 1])
    picture = shown(pen(8, 0x1000, custom_cap(line_path=bar, ends=(start, end))), LINE)
    # In the middle, within a round end beside it, and near the corner of a square one.
    assert colors(picture, (80, 66), (77, 66), (77, 67)) == ENDS[start]
    assert colors(picture, (80, 14), (77, 14), (77, 13)) == ENDS[end]
    assert colors(picture, (79, 18), (79, 62), (73, 18)) == [BLUE, BLUE, WHITE]


@pytest.mark.parametrize("join, limit, found", [
    (0, 10, [BLUE, BLUE]), (1, 10, [WHITE, WHITE]), (2, 10, [BLUE, WHITE]), (3, 10, [BLUE, BLUE]),
    (9, 10, [BLUE, BLUE]), (0, 1.5, [BLUE, BLUE]), (0, 1.4, [WHITE, WHITE]), (3, 1.5, [BLUE, BLUE]),
    (0, 1, [WHITE, WHITE]), (0, -3, [WHITE, WHITE])])
@pytest.mark.parametrize("mode", ["path", "arrow"])
def test_joins_of_the_lines_of_a_cap(mode: str, join: int, limit: float, found: list[int]) -> None:
    """A right angle at the end of a line that is 8 wide: its miter is 1.41 widths long, from 80 to 85.6 in x."""
    if mode == "path":
        wings = plus_path([(-2, -2), (0, 0), (2, -2)], [0, 1, 1])
        cap = custom_cap(line_path=wings, join=join, limit=limit)
    else:
        cap = arrow(0, join=join, limit=limit, width=4, height=2)
    picture = shown(pen(8, 0x1000, cap), LINE)
    assert colors(picture, (83, 39), (84, 40)) == found
    assert colors(picture, (81, 40), (86, 40)) == [BLUE, WHITE]


def test_a_cap_without_a_path_is_none() -> None:
    assert shown(pen(4, 0x1000, custom_cap()), LINE).tobytes() == shown(pen(4), LINE).tobytes()


@pytest.mark.parametrize("base", [0, 2, 3])
def test_the_line_below_a_cap(base: int) -> None:
    """It ends before the cap, by widths of the line, with an end of its own."""
    small = plus_path([(-0.5, 0), (0, 0.5), (0.5, 0)], [0, 1, 0x81])
    picture = shown(pen(8, 0x1000, custom_cap(small, base=base, inset=4)), LINE)
    assert colors(picture, (40, 40), (46, 40), (55, 40), (81, 40)) == [BLUE, BLUE, WHITE, BLUE]
    assert colors(picture, (50, 40), (51, 38)) == [BLUE if base else WHITE, BLUE if base == 2 else WHITE]


def arrow(filled: int, inset: float = 0, scale: float = 1, join: int = 0, limit: float = 10, width: float = 4,
          height: float = 4) -> bytes:
    data = VERSION + words(1) + floats(width, height, inset) + words(filled, 0, 0, join)
    data += floats(limit, scale, 0, 0, 0, 0)
    return words(len(data)) + data


def test_arrows() -> None:
    full = shown(pen(4, 0x1000, arrow(1)), LINE)
    outline = shown(pen(4, 0x1000, arrow(0)), LINE)
    inset = shown(pen(4, 0x1000, arrow(1, 1)), LINE)
    assert colors(full, (68, 45), (68, 35), (78, 40), (60, 45)) == [BLUE, BLUE, BLUE, WHITE]
    assert colors(inset, (66, 46), (66, 43)) == [BLUE, WHITE] and color_at(full, (66, 43)) == BLUE
    assert dark(outline)[1] < dark(full)[1]  # the line around it is as wide as the other
    assert dark(shown(pen(4, 0x1000, arrow(1, 0, 2)), LINE))[1] == pytest.approx(40 - 2 * (40 - dark(full)[1]), abs=1)


@pytest.mark.parametrize("cap, flat", [(0, True), (1, False), (2, False), (3, False), (0x11, False), (0x12, False),
                                       (0x13, False), (0x14, False), (0x10, True), (0x15, True), (99, True)])
def test_usual_caps(cap: int, flat: bool) -> None:
    """Square, round, pointed, and the anchors; numbers without a cap of their own are flat."""
    picture = shown(pen(8, 4, words(cap)), LINE)
    assert (picture.tobytes() == shown(pen(8), LINE).tobytes()) == flat
    at_start = shown(pen(8, 2, words(cap)), lines((80, 40), (10, 40)))
    assert at_start.tobytes() == picture.tobytes()
