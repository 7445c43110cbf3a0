"""What EMF+ records draw, pixel by pixel, without smoothing."""

from __future__ import annotations

import struct
import uuid

import pytest
from PIL import Image as Pillow
from zelmor.imaging.fileformats.emf import EmfRenderMode

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, dark, drawn
from support.metafiles import (NULL_PEN, SIDE, VERSION, brush, emf, emf_record, floats, plus, plus_comment, plus_object,
                               plus_path, plus_record, rows24, select, words)

OPAQUE = 0xFF000000
BRUSH, PEN, PATH, REGION, IMAGE, FONT, FORMAT, ATTRIBUTES = 1, 2, 3, 4, 5, 6, 7, 8


def fill_rects(color: int, *rects: tuple[float, float, float, float]) -> bytes:
    flat = [number for rect in rects for number in rect]
    return plus_record(0x400A, 0x8000, words(OPAQUE | color, len(rects)) + floats(*flat))


def fill_with(index: int, left: float = 0, top: float = 0, width: float = SIDE, height: float = SIDE) -> bytes:
    return plus_record(0x400A, 0, words(index, 1) + floats(left, top, width, height))


def solid_brush(color: int) -> bytes:
    return VERSION + words(0, OPAQUE | color)


def pen_data(color: int, width: float, flags: int = 0, optional: bytes = b"") -> bytes:
    return VERSION + words(0, flags, 0) + floats(width) + optional + solid_brush(color)


LINE = [(10.0, 40.0), (80.0, 40.0)]


def draw_line(index: int = 2) -> bytes:
    return plus_record(0x400D, index, words(2) + floats(10, 40, 80, 40))


def bitmap(rows: list[list[int]]) -> bytes:
    """Opaque pixels of 24 bits, the top row first."""
    stride = (3 * len(rows[0]) + 3) // 4 * 4
    return (VERSION + words(1, len(rows[0]), len(rows), stride, 0x21808, 0) + rows24(list(reversed(rows))))


def hatch(style: int) -> bytes:
    """Lines of red on green: rows (0) or columns (1), eight pixels from each other."""
    return plus_object(1, BRUSH, VERSION + words(1, style, OPAQUE | RED, OPAQUE | GREEN))


SQUARE = plus_path([(20, 20), (60, 20), (60, 60), (20, 60)], [0, 1, 1, 0x81])
FOUR = bitmap([[RED, GREEN], [BLUE, BLACK]])


def see_through(alpha: int, color: int, left: float) -> bytes:
    """A square of 20 by 20 in a color that is not opaque."""
    return plus_record(0x400A, 0x8000, words(alpha << 24 | color, 1) + floats(left, 10, 20, 20))


def with_effect(identifier: str, *numbers: int) -> bytes:
    """The four pixels at 20 to 60, after an effect."""
    data = b"".join(struct.pack("<i", number) for number in numbers)
    return plus(plus_object(5, IMAGE, FOUR), plus_record(0x4021, 5), plus_record(
        0x4038, 0, uuid.UUID(identifier).bytes_le + words(len(data)) + data), plus_record(
            0x401B, 0x2005, words(0, 2) + floats(0, 0, 2, 2) + words(3) + floats(20, 20, 60, 20, 20, 60)))


CURVE, HUE, TINT = ("DD6A0022-58E4-4A67-9D9B-D48EB881A53D", "8B2DD6C3-EB07-4D87-A5F0-7108E26A9C5F",
                    "1077AF00-2848-4441-9489-44AD4C2D7A2C")

CASES: dict[str, tuple[bytes, dict[tuple[int, int], int]]] = {
    "clear": (plus(plus_record(0x4009, 0, words(OPAQUE | GREEN))), {(0, 0): GREEN, (95, 95): GREEN}),
    "source copy": (plus(fill_rects(BLUE, (0, 0, 96, 96)), plus_record(0x4023, 1), see_through(0x80, RED, 10),
                         plus_record(0x4025, 0, words(3)), plus_record(0x4023, 0), see_through(0x80, RED, 40),
                         plus_record(0x4026, 0, words(3)), see_through(0x80, RED, 70)),
                    {(15, 15): RED, (45, 15): 0x80007F, (75, 15): RED, (5, 5): BLUE}),
    "source copy of a terminal server": (
        plus(fill_rects(BLUE, (0, 0, 96, 96)), plus_record(0x4039, 0, struct.pack(
            "<4B2hH2B6f", 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 20, 0)), see_through(0x80, RED, 10)),
        {(35, 15): RED, (15, 15): BLUE}),
    "rectangles": (plus(fill_rects(RED, (20, 20, 10, 10), (50, 50, 10, 10))),
                   {(20, 20): RED, (59, 59): RED, (30, 30): WHITE, (60, 60): WHITE}),
    "short rectangles": (plus(plus_record(0x400A, 0xC000, words(OPAQUE | RED, 1) + struct.pack("<4h", 20, 20, 9, 9))),
                         {(20, 20): RED, (29, 29): WHITE}),
    "brush": (plus(plus_object(1, BRUSH, solid_brush(BLUE)), fill_with(1, 20, 20, 10, 10)), {(25, 25): BLUE}),
    "hatch": (plus(hatch(0), fill_with(1)),
              {(40, 0): RED, (40, 4): GREEN, (40, 8): RED}),
    "hatch from its origin": (plus(hatch(0), plus_record(0x401D, 0, words(3, 5)), fill_with(1)),
                              {(40, 5): RED, (40, 4): GREEN, (40, 0): GREEN, (40, 93): RED}),
    "hatch from an origin outside": (plus(hatch(1), plus_record(0x401D, 0, words(-3, 70000)), fill_with(1)),
                                     {(5, 40): RED, (0, 40): GREEN, (93, 40): RED, (94, 40): GREEN}),
    "hatch from an origin that is saved": (
        plus(hatch(0), plus_record(0x401D, 0, words(0, 2)), plus_record(0x4025, 0, words(3)),
             plus_record(0x401D, 0, words(0, 4)), fill_with(1, 0, 0, 48, 96), plus_record(0x4026, 0, words(3)),
             fill_with(1, 48, 0, 48, 96)), {(40, 4): RED, (40, 2): GREEN, (60, 2): RED, (60, 4): GREEN}),
    "hatch of a terminal server": (
        plus(hatch(0), plus_record(0x4039, 0, struct.pack("<4B2hH2B6f", 0, 0, 0, 0, 0, 6, 0, 0, 0, 1, 0, 0, 1, 0, 0)),
             fill_with(1)), {(40, 6): RED, (40, 0): GREEN, (40, 14): RED}),
    "texture": (plus(plus_object(1, BRUSH, VERSION + words(2, 0, 0) + FOUR), fill_with(1)),
                {(0, 0): RED, (1, 0): GREEN, (0, 1): BLUE, (2, 2): RED}),
    "moved texture": (plus(plus_object(1, BRUSH, VERSION + words(2, 2, 0) + floats(1, 0, 0, 1, 1, 0) + FOUR),
                           fill_with(1)), {(1, 0): RED, (2, 0): GREEN}),
    "linear gradient": (plus(plus_object(1, BRUSH, VERSION + words(4, 0, 4) + floats(0, 0, 96, 96)
                                         + words(OPAQUE | RED, OPAQUE | BLUE, 0, 0)), fill_with(1)),
                        {(0, 10): 0xFE0001, (48, 50): 0x7F0080, (95, 90): 0x0100FE}),
    "gradient of colors": (plus(plus_object(1, BRUSH, VERSION + words(4, 4, 4) + floats(0, 0, 96, 96)
                                            + words(0, 0, 0, 0, 3) + floats(0, 0.5, 1)
                                            + words(OPAQUE | RED, OPAQUE | GREEN, OPAQUE | BLUE)), fill_with(1)),
                           {(0, 10): 0xFD0200, (48, 50): GREEN, (95, 90): 0x0002FD}),
    "path gradient": (plus(plus_object(1, BRUSH, VERSION + words(3, 0, 4, OPAQUE | RED) + floats(48, 48)
                                       + words(1, OPAQUE | BLUE, 4) + floats(0, 0, 96, 0, 96, 96, 0, 96)),
                           fill_with(1)), {(48, 48): 0xFC0003, (1, 48): 0x0400FB}),
    "polygon": (plus(plus_record(0x400C, 0x8000, words(OPAQUE | RED, 3) + floats(20, 20, 80, 20, 20, 80))),
                {(25, 25): RED, (70, 70): WHITE}),
    "relative polygon": (plus(plus_record(0x400C, 0x8800, words(OPAQUE | RED, 3) + bytes(
        [20, 20, 50, 0, 0x4E, 50]))), {(25, 25): RED, (69, 69): WHITE}),
    "ellipse": (plus(plus_record(0x400E, 0x8000, words(OPAQUE | RED) + floats(20, 20, 40, 40))),
                {(40, 40): RED, (21, 21): WHITE}),
    "pie": (plus(plus_record(0x4010, 0x8000, words(OPAQUE | RED) + floats(0, 90, 20, 20, 40, 40))),
            {(50, 50): RED, (30, 30): WHITE}),
    "path": (plus(plus_object(3, PATH, SQUARE), plus_record(0x4014, 0x8003, words(OPAQUE | RED))),
             {(20, 20): RED, (59, 59): RED, (60, 60): WHITE}),
    "closed curve": (plus(plus_record(0x4016, 0x8000, words(OPAQUE | RED) + floats(0.5) + words(4)
                                      + floats(20, 20, 60, 20, 60, 60, 20, 60))), {(40, 40): RED, (5, 5): WHITE}),
    "region": (plus(plus_object(4, REGION, VERSION + words(2, 4, 0x10000000) + floats(20, 20, 40, 40)
                                + words(0x10000000) + floats(30, 30, 20, 20)),
                    plus_record(0x4013, 0x8004, words(OPAQUE | RED))), {(25, 25): RED, (40, 40): WHITE}),
    "region of a path": (plus(plus_object(4, REGION, VERSION + words(0, 0x10000001, len(SQUARE)) + SQUARE),
                              plus_record(0x4013, 0x8004, words(OPAQUE | RED))), {(25, 25): RED, (70, 70): WHITE}),

    "line": (plus(plus_object(2, PEN, pen_data(BLUE, 5)), draw_line()),
             {(40, 40): BLUE, (40, 38): BLUE, (40, 36): WHITE, (82, 40): WHITE}),
    "closed lines": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x400D, 0x2002, words(3) + floats(
        20, 20, 60, 20, 20, 60))), {(20, 40): BLUE, (40, 20): BLUE}),
    "caps": (plus(plus_object(2, PEN, pen_data(BLUE, 10, 6, words(1, 0))), draw_line()),
             {(6, 40): BLUE, (6, 37): BLUE, (84, 40): WHITE}),
    "dashes": (plus(plus_object(2, PEN, pen_data(BLUE, 5, 0x100, words(2) + floats(4, 2))), draw_line()),
               {(20, 40): BLUE, (34, 40): WHITE, (45, 40): BLUE}),
    "pen transformed": (plus(plus_object(2, PEN, pen_data(BLUE, 5, 1, floats(1, 0, 0, 3, 0, 0))), draw_line()),
                        {(40, 34): BLUE, (40, 46): BLUE}),
    "compound pen": (plus(plus_object(2, PEN, pen_data(BLUE, 20, 0x400, words(4) + floats(0, 0.25, 0.75, 1))),
                          draw_line()), {(40, 32): BLUE, (40, 40): WHITE, (40, 48): BLUE}),
    "custom cap": (plus(plus_object(2, PEN, pen_data(BLUE, 4, 0x1000, words(60) + VERSION + words(1) + floats(4, 4, 0)
                                                     + words(1, 0, 0, 0) + floats(10, 1, 0, 0, 0, 0))), draw_line()),
                   {(68, 44): BLUE, (68, 36): BLUE, (50, 44): WHITE}),
    "rectangle lines": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x400B, 2, words(1) + floats(
        20, 20, 40, 40))), {(20, 40): BLUE, (60, 40): BLUE, (40, 40): WHITE}),
    "ellipse lines": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x400F, 2, floats(20, 20, 40, 40))),
                      {(20, 40): BLUE, (40, 40): WHITE}),
    "pie lines": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x4011, 2, floats(0, 90, 20, 20, 40, 40))),
                  {(50, 40): BLUE, (40, 50): BLUE, (30, 30): WHITE}),
    "arc": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x4012, 2, floats(0, 90, 20, 20, 40, 40))),
            {(54, 54): BLUE, (50, 40): WHITE}),
    "path lines": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_object(3, PATH, SQUARE),
                        plus_record(0x4015, 3, words(2))), {(20, 40): BLUE, (40, 40): WHITE}),
    "curve": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x4018, 2, floats(0) + words(0, 2, 3) + floats(
        10, 40, 50, 40, 50, 80))), {(30, 40): BLUE, (50, 60): BLUE}),
    "closed curve lines": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x4017, 2, floats(0) + words(
        3) + floats(20, 20, 60, 20, 20, 60))), {(20, 40): BLUE, (40, 20): BLUE}),
    "curves": (plus(plus_object(2, PEN, pen_data(BLUE, 3)), plus_record(0x4019, 2, words(4) + floats(
        10, 50, 10, 10, 80, 10, 80, 50))), {(45, 20): BLUE}),

    "image": (plus(plus_object(5, IMAGE, FOUR), plus_record(0x4021, 5), plus_record(0x401A, 5, words(0, 2) + floats(
        0, 0, 2, 2, 20, 20, 40, 40))), {(25, 25): RED, (55, 25): GREEN, (25, 55): BLUE, (61, 61): WHITE}),
    "part of an image": (plus(plus_object(5, IMAGE, FOUR), plus_record(0x4021, 5), plus_record(
        0x401A, 5, words(0, 2) + floats(1, 0, 1, 1, 20, 20, 40, 40))), {(25, 25): GREEN, (55, 55): GREEN}),
    "image to points": (plus(plus_object(5, IMAGE, FOUR), plus_record(0x4021, 5), plus_record(
        0x401B, 5, words(0, 2) + floats(0, 0, 2, 2) + words(3) + floats(60, 20, 20, 20, 60, 60))),
        {(55, 25): RED, (25, 25): GREEN}),
    "image with an effect": (plus(plus_object(5, IMAGE, FOUR), plus_record(0x4021, 5), plus_record(
        0x4038, 0, struct.pack("<I2H", 0x718F2615, 0x7933, 0x40E3) + bytes(8) + words(100) + floats(
            0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1)), plus_record(
                0x401B, 0x2005, words(0, 2) + floats(0, 0, 2, 2) + words(3) + floats(20, 20, 60, 20, 20, 60))),
        {(25, 25): GREEN, (55, 25): RED, (25, 55): BLUE}),

    "turned hue": (with_effect(HUE, 120, 0, 0), {(25, 25): GREEN, (55, 25): BLUE, (25, 55): RED, (55, 55): BLACK}),
    "no light": (with_effect(HUE, 0, 0, -100), {(25, 25): BLACK, (55, 25): BLACK}),
    "no saturation": (with_effect(HUE, 0, -100, 0), {(25, 25): 0x808080, (25, 55): 0x808080, (55, 55): BLACK}),
    "half the saturation": (with_effect(HUE, 0, -50, 0), {(25, 25): 0xBF4040, (55, 25): 0x40BF40, (55, 55): BLACK}),
    "curve of black": (with_effect(CURVE, 7, 2, 255), {(25, 25): RED, (55, 25): BLACK, (25, 55): BLUE}),
    "curve of density": (with_effect(CURVE, 1, 0, -255), {(25, 25): RED, (55, 55): BLACK}),
    "curve of exposure": (with_effect(CURVE, 0, 1, -255), {(25, 25): 0x800000, (55, 25): GREEN}),
    "tint": (with_effect(TINT, 0, 100), {(25, 25): RED, (55, 25): RED, (25, 55): RED, (55, 55): BLACK}),

    "world": (plus(plus_record(0x402A, 0, floats(2, 0, 0, 2, 10, 20)), fill_rects(RED, (0, 0, 20, 20))),
              {(10, 20): RED, (49, 59): RED, (50, 40): WHITE}),
    "steps": (plus(plus_record(0x402D, 0, floats(20, 20)), plus_record(0x402E, 0, floats(2, 2)),
                   plus_record(0x402F, 0, floats(90)), fill_rects(RED, (0, -10, 10, 10))),
              {(21, 21): RED, (39, 39): RED, (41, 41): WHITE, (19, 30): WHITE}),
    "steps behind": (plus(plus_record(0x402D, 0, floats(10, 0)), plus_record(0x402E, 0x2000, floats(2, 2)),
                          fill_rects(RED, (0, 0, 10, 10))), {(20, 0): RED, (39, 19): RED, (19, 0): WHITE}),
    "world reset": (plus(plus_record(0x402D, 0, floats(20, 20)), plus_record(0x402B), fill_rects(RED, (0, 0, 9, 9))),
                    {(0, 0): RED, (20, 20): WHITE}),
    "world multiplied": (plus(plus_record(0x402C, 0, floats(1, 0, 0, 1, 30, 0)), fill_rects(RED, (0, 0, 9, 9))),
                         {(30, 0): RED, (0, 0): WHITE}),
    "page": (plus(plus_record(0x4030, 4, floats(1)), fill_rects(RED, (0.25, 0.25, 0.5, 0.5))),
             {(24, 24): RED, (71, 71): RED, (72, 72): WHITE}),
    "saved": (plus(plus_record(0x4025, 0, words(1)), plus_record(0x402D, 0, floats(50, 50)),
                   plus_record(0x4026, 0, words(1)), fill_rects(RED, (0, 0, 9, 9))), {(0, 0): RED, (50, 50): WHITE}),
    "container": (plus(plus_record(0x4027, 2, floats(20, 20, 40, 40, 0, 0, 10, 10) + words(1)),
                       fill_rects(RED, (0, 0, 10, 10)), plus_record(0x4029, 0, words(1)),
                       fill_rects(BLUE, (0, 0, 10, 10))), {(20, 20): RED, (59, 59): RED, (5, 5): BLUE}),
    "plain container": (plus(plus_record(0x402D, 0, floats(20, 0)), plus_record(0x4028, 0, words(1)),
                             plus_record(0x402D, 0, floats(10, 0)), fill_rects(RED, (0, 0, 5, 5)),
                             plus_record(0x4029, 0, words(1)), fill_rects(BLUE, (0, 0, 5, 5))),
                        {(30, 0): RED, (20, 0): BLUE}),

    "clip": (plus(plus_record(0x4032, 0, floats(20, 20, 40, 40)), fill_rects(RED, (0, 0, 96, 96))),
             {(20, 20): RED, (60, 60): WHITE}),
    "clip united": (plus(plus_record(0x4032, 0, floats(20, 20, 10, 10)),
                         plus_record(0x4032, 0x200, floats(50, 50, 10, 10)), fill_rects(RED, (0, 0, 96, 96))),
                    {(25, 25): RED, (55, 55): RED, (40, 40): WHITE}),
    "clip excluded": (plus(plus_record(0x4032, 0x400, floats(20, 20, 40, 40)), fill_rects(RED, (0, 0, 96, 96))),
                      {(40, 40): WHITE, (70, 70): RED}),
    "clip by a path": (plus(plus_object(3, PATH, SQUARE), plus_record(0x4033, 3), fill_rects(RED, (0, 0, 96, 96))),
                       {(40, 40): RED, (70, 70): WHITE}),
    "clip by a region": (plus(plus_object(4, REGION, VERSION + words(0, 0x10000000) + floats(20, 20, 40, 40)),
                              plus_record(0x4034, 4), fill_rects(RED, (0, 0, 96, 96))),
                         {(40, 40): RED, (70, 70): WHITE}),
    "clip moved": (plus(plus_record(0x4032, 0, floats(20, 20, 10, 10)), plus_record(0x4035, 0, floats(30, 0)),
                        fill_rects(RED, (0, 0, 96, 96))), {(55, 25): RED, (25, 25): WHITE}),
    "clip ended": (plus(plus_record(0x4032, 0, floats(20, 20, 10, 10)), plus_record(0x4031),
                        fill_rects(RED, (0, 0, 96, 96))), {(70, 70): RED}),
}


def expect(picture: Pillow.Image, expected: dict[tuple[int, int], int]) -> None:
    found = {place: color_at(picture, place) for place in expected}
    wrong = {place: (hex(found[place]), hex(color)) for place, color in expected.items()
             if max(abs((found[place] >> shift & 255) - (color >> shift & 255)) for shift in (0, 8, 16)) > 4}
    assert not wrong


@pytest.mark.parametrize("name", CASES)
def test_records(name: str) -> None:
    records, expected = CASES[name]
    expect(drawn(emf(records)), expected)


FONT_DATA = VERSION + floats(20) + words(2, 0, 0, 11) + "DejaVu Sans".encode("utf-16-le") + bytes(2)


def string(text: str, frame: tuple[float, float, float, float], formatted: int = 0xFF) -> bytes:
    data = words(OPAQUE | BLUE, formatted, len(text)) + floats(*frame) + text.encode("utf-16-le")
    return plus_record(0x401C, 0x8000 | 6, data)


def test_strings() -> None:
    picture = drawn(emf(plus(plus_object(6, FONT, FONT_DATA), string("H", (20, 20, 0, 0)))))
    left, top, right, bottom = dark(picture)
    assert 22 <= left <= 28 and 22 <= top <= 30 and bottom <= 46
    assert (0, 0, 255) in {color for _, color in picture.getcolors(9999)}
    far = VERSION + words(0, 0, 2, 2, 0, 0) + floats(0) + words(0) + floats(0, 0, 1) + words(0, 0, 0)
    picture = drawn(emf(plus(plus_object(6, FONT, FONT_DATA), plus_object(7, FORMAT, far),
                             string("H", (0, 0, 90, 90), 7))))
    left, top, right, bottom = dark(picture)
    assert right in range(86, 91) and bottom > 75


def test_driver_strings() -> None:
    data = words(OPAQUE | BLUE, 1, 0, 2) + struct.pack("<2H", ord("I"), ord("I")) + floats(10, 50, 60, 50)
    picture = drawn(emf(plus(plus_object(6, FONT, FONT_DATA), plus_record(0x4036, 0x8006, data))))
    left, top, right, bottom = dark(picture)
    assert left in range(10, 16) and right in range(60, 68) and bottom in (50, 51)


def test_a_metafile_is_an_image() -> None:
    inner = emf(select(NULL_PEN) + brush(1, RED) + emf_record(43, words(0, 0, 49, 49)))
    image = VERSION + words(2, 3, len(inner)) + inner
    picture = drawn(emf(plus(plus_object(5, IMAGE, image), plus_record(0x401A, 5, words(0, 2) + floats(
        0, 0, 96, 96, 40, 40, 48, 48)))))
    expect(picture, {(41, 41): RED, (63, 63): RED, (66, 66): WHITE, (20, 20): WHITE})


RED_SQUARE = select(NULL_PEN) + brush(1, RED) + emf_record(43, words(0, 0, 31, 31))
BLUE_SQUARE = plus(fill_rects(BLUE, (40, 40, 20, 20)), dual=True)


@pytest.mark.parametrize("mode, red, blue", [("AUTO", False, True), ("EMF_ONLY", True, False),
                                             ("EMF_PLUS_ONLY", False, True), ("DUAL", True, True)])
def test_one_of_both_kinds_of_records_is_drawn(mode: str, red: bool, blue: bool) -> None:
    picture = drawn(emf(BLUE_SQUARE, RED_SQUARE), render_mode=EmfRenderMode[mode])
    expect(picture, {(10, 10): RED if red else WHITE, (50, 50): BLUE if blue else WHITE})


def test_records_behind_a_device_context_are_drawn_for_emf_plus() -> None:
    header = plus_record(0x4001, 0, VERSION + words(1, 96, 96))
    records = (plus_comment(header, fill_rects(BLUE, (40, 40, 20, 20)), plus_record(0x4004)) + RED_SQUARE
               + plus_comment(fill_rects(GREEN, (60, 60, 20, 20))) + emf_record(43, words(0, 60, 31, 91)))
    expect(drawn(emf(records)), {(10, 10): RED, (50, 50): BLUE, (70, 70): GREEN, (10, 70): WHITE})
