"""Letters of metafiles stand at fractions of pixels: as far from each other as the records say, in any size.

Where a letter belongs is worked out from the record; where its ink is within the letter is measured with Pillow.
"""

from __future__ import annotations

import math
import struct

import numpy
import pytest
from PIL import Image as Pillow
from PIL import ImageDraw, ImageFont
from zelmor.imaging import TextRenderingHint

from support.drawn_metafiles import drawn
from support.metafiles import (VERSION, emf, emf_record, floats, font, plus, plus_object, plus_record, select, text_out,
                               words)

FINE = 100  # logical units in a pixel
FONT = "DejaVuSans.ttf"
BLACK_COLOR = 0xFF000000  # as EMF+ has it
FRACTIONS = (0, 37, 50, 88, 12, 71)  # hundredths of a pixel that each letter stands beside a whole one


def fine(*records: bytes) -> bytes:
    """A picture whose logical units are hundredths of pixels, and whose text stands on its baseline."""
    return emf(emf_record(17, words(8)) + emf_record(9, words(FINE, FINE)) + emf_record(11, words(1, 1))
               + emf_record(18, words(1)) + emf_record(22, words(24)) + b"".join(records))


def ink_of(picture: Pillow.Image) -> numpy.ndarray:
    return 255 - numpy.asarray(picture.convert("L"), dtype=float)


def center(ink: numpy.ndarray) -> tuple[float, float]:
    total = ink.sum()
    assert total > 255, "nothing is drawn"
    y, x = numpy.indices(ink.shape)
    return float((ink * (x + 0.5)).sum() / total), float((ink * (y + 0.5)).sum() / total)


def center_of_bar(size: float) -> tuple[float, float]:
    """Of the ink of "|" from where it stands, of letters of so many pixels."""
    large = 1000
    picture = Pillow.new("L", (2 * large, 2 * large), 255)
    ImageDraw.Draw(picture).text((0, large), "|", 0, ImageFont.truetype(FONT, large), anchor="ls")
    x, y = center(ink_of(picture))
    return x * size / large, (y - large) * size / large


@pytest.mark.parametrize("degrees", [0, 90, 30])
def test_letters_stand_where_the_record_says(degrees: int) -> None:
    size = 10
    sine, cosine = math.sin(math.radians(degrees)), math.cos(math.radians(degrees))
    start = (1000 if degrees == 0 else 3000, 8000)
    places = [1200 * n + fraction for n, fraction in enumerate(FRACTIONS)]
    advances = [after - before for before, after in zip(places, places[1:] + [places[-1] + 1200])]
    text = text_out("|" * len(places), start, advances)
    ink = ink_of(drawn(fine(font(1, -size * FINE, "DejaVu Sans", escapement=10 * degrees) + text)))
    right, down = center_of_bar(size)
    y, x = numpy.indices(ink.shape) + 0.5
    for place in places:
        along = place / FINE + right
        expected = (start[0] / FINE + cosine * along + sine * down, start[1] / FINE - sine * along + cosine * down)
        own = numpy.where(abs((x - expected[0]) * cosine - (y - expected[1]) * sine) < 5, ink, 0)
        found = center(own)
        # Letters have four places in a pixel; those of level and upright lines keep to one row or column.
        off = ((found[0] - expected[0]) * cosine - (found[1] - expected[1]) * sine,
               (found[0] - expected[0]) * sine + (found[1] - expected[1]) * cosine)
        assert abs(off[0]) < 0.2, (place, off)
        assert abs(off[1]) < (0.25 if degrees == 30 else 0.55), (place, off)


def test_letters_of_a_level_line_look_alike_in_their_rows() -> None:
    places = [1000 * n + fraction for n, fraction in enumerate(FRACTIONS)]
    advances = [after - before for before, after in zip(places, places[1:] + [places[-1] + 1200])]
    ink = ink_of(drawn(fine(font(1, -1000, "DejaVu Sans"), text_out("-" * len(places), (1000, 5033), advances))))
    rows = numpy.flatnonzero(ink.sum(axis=1))
    for column in range(10, 64, 10):
        part = ink[:, column:column + 6]
        assert (numpy.flatnonzero(part.sum(axis=1)) == rows).all()


@pytest.mark.parametrize("hint", [TextRenderingHint.ANTI_ALIAS_GRID_FIT, TextRenderingHint.SINGLE_BIT_PER_PIXEL])
def test_letters_that_are_fitted_to_pixels_keep_to_them(hint: TextRenderingHint) -> None:
    places = [1000 * n + fraction for n, fraction in enumerate(FRACTIONS)]
    advances = [after - before for before, after in zip(places, places[1:] + [places[-1] + 1200])]
    file = fine(font(1, -1000, "DejaVu Sans"), text_out("|" * len(places), (1000, 5000), advances))
    columns = ink_of(drawn(file, text_rendering_hint=hint)).sum(axis=0)
    shapes = {tuple(columns[at][columns[at] > 0]) for at in
              (slice(round(10 + place / FINE), round(10 + place / FINE) + 8) for place in places)}
    assert len(shapes) == 1


def test_a_line_takes_as_much_room_as_its_font_says() -> None:
    text = "illumination of mills"
    file = fine(font(1, -701, "DejaVu Sans"), text_out(text, (200, 5000), [351] * len(text)))
    narrow = fine(font(1, -701, "DejaVu Sans"), text_out(text, (200, 5000), advances_of(text, 701)))
    width = ImageFont.truetype(FONT, 701).getlength(text) / FINE
    columns = numpy.flatnonzero(ink_of(drawn(narrow)).sum(axis=0))
    assert abs(columns[-1] + 1 - (2 + width)) < 1
    assert numpy.flatnonzero(ink_of(drawn(file)).sum(axis=0))[-1] < 2 + 3.51 * len(text)


def advances_of(text: str, size: int) -> list[int]:
    lengths = [round(ImageFont.truetype(FONT, size).getlength(text[:n])) for n in range(len(text) + 1)]
    return [after - before for before, after in zip(lengths, lengths[1:])]


def test_large_letters_stand_at_fractions_too() -> None:
    for place in (3000, 3040, 3077):
        file = fine(font(1, -20000, "DejaVu Sans"), text_out("|", (place, 8000), [6000]))
        ink = ink_of(drawn(file))
        x = center(ink)[0]
        assert abs(x - (place / FINE + center_of_bar(200)[0])) < 0.1


def underlined(index: int, height: int, strikeout: bool = False) -> bytes:
    name = "DejaVu Sans".encode("utf-16-le").ljust(64, b"\0")
    data = struct.pack("<5i8B", height, 0, 0, 0, 400, 0, not strikeout, strikeout, 0, 0, 0, 0, 0) + name
    return emf_record(82, words(index) + data + bytes(320 - len(data))) + select(index)


@pytest.mark.parametrize("strikeout", [False, True])
def test_a_line_under_letters_goes_on_between_them(strikeout: bool) -> None:
    file = fine(underlined(1, -2000, strikeout), text_out("iii", (1000, 5000), [2000, 2500, 1500]))
    ink = ink_of(drawn(file))
    line = (ink[40:48] if strikeout else ink[50:53]).sum(axis=0)
    assert (line[10:70] > 200).all()
    assert not line[:10].any() and not line[70:].any()


@pytest.mark.parametrize("advances", [advances_of("i i", 1800), [1700, 2100, 1900]])
@pytest.mark.parametrize("strikeout", [False, True])
def test_a_line_under_letters_is_not_blurred(advances: list[int], strikeout: bool) -> None:
    for top in (5000, 5033, 5061):
        file = fine(underlined(1, -1800, strikeout), text_out("i i", (1000, top), advances))
        between = ink_of(drawn(file))[:, round(10 + (advances[0] + 200) / FINE)]
        assert sorted(between)[-2:] == [0, 255]


def test_letters_far_outside_are_left_out() -> None:
    text = text_out("|||", (-100000000, 5000), [100000000 + 2000, 2000, 100000000])
    columns = numpy.flatnonzero(ink_of(drawn(fine(font(1, -1000, "DejaVu Sans"), text))).sum(axis=0))
    right = center_of_bar(10)[0]
    assert len(columns) in range(2, 6)
    assert {round(20 + right - 0.5), round(40 + right - 0.5)} <= set(columns)


def test_strings_of_emf_plus_take_as_much_room_in_any_unit() -> None:
    text, size = "illuminations", 7.3
    width = ImageFont.truetype(FONT, 1000).getlength(text) * size / 1000
    for scale in (1.0, 16.0, 0.25):  # pixels in a unit
        name = "DejaVu Sans"
        held = VERSION + floats(size / scale) + words(0, 0, 0, len(name)) + name.encode("utf-16-le")
        data = words(BLACK_COLOR, 0, len(text)) + floats(4 / scale, 20 / scale, 0, 0) + text.encode("utf-16-le")
        file = emf(plus(plus_object(6, 6, held), plus_record(0x402E, 0, floats(scale, scale)),
                        plus_record(0x401C, 0x8006, data)))
        columns = numpy.flatnonzero(ink_of(drawn(file)).sum(axis=0))
        assert abs(columns[-1] - columns[0] + 1 - width) < 2, scale


def difference(a: Pillow.Image, b: Pillow.Image) -> float:
    first, second = ink_of(a), ink_of(b)
    return float(abs(first - second).sum() / first.sum())


def sized(height: int) -> Pillow.Image:
    return drawn(fine(font(1, height, "DejaVu Sans"), text_out("Hgx", (1000, 6000), [])))


@pytest.mark.parametrize("pixels", [12, 20, 31])
def test_heights_of_fonts(pixels: int) -> None:
    """Those of letters are below zero, those of whole lines above; a line is as high as the font states."""
    ascent, descent = ImageFont.truetype(FONT, 1000).getmetrics()
    letters = round(-pixels * FINE * 1000 / (ascent + descent))
    assert difference(sized(pixels * FINE), sized(letters)) < 0.03
    assert difference(sized(pixels * FINE), sized(-pixels * FINE)) > 0.3


def test_a_font_without_a_height_has_twelve_pixels() -> None:
    assert sized(0).tobytes() == sized(-12 * FINE).tobytes() != sized(-13 * FINE).tobytes()
    plain = emf(emf_record(18, words(1)), font(1, 0, "DejaVu Sans"), text_out("Hgx", (10, 30), []))
    same = emf(emf_record(18, words(1)), font(1, -12, "DejaVu Sans"), text_out("Hgx", (10, 30), []))
    assert drawn(plain).tobytes() == drawn(same).tobytes()


@pytest.mark.parametrize("align, start", [(24 | 1, 90), (24 | 1 | 2, 30), (24 | 1 | 6, 60), (24, 60), (24 | 2, 60)])
def test_where_a_line_goes_on_behind_text(align: int, start: int) -> None:
    """To the right of it, to its left, or where it was, where text is centered or has a place of its own."""
    file = emf(emf_record(18, words(1)), emf_record(22, words(align)), font(1, -10, "DejaVu Sans"),
               emf_record(27, words(60, 20)), text_out(" ", (5, 5), [30]), emf_record(54, words(start, 90)))
    columns = numpy.flatnonzero((ink_of(drawn(file)) > 128).any(axis=0))
    assert list(columns) == [start] and (ink_of(drawn(file))[25:85, start] == 255).all()
