"""The files that recorders of metafiles make, byte by byte: headers, and the records for each way of drawing.

The expected files are put together from the published layouts of the records.
"""

from __future__ import annotations

import io
import struct
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (
    Color, Font, FontStyle, Image, LineCap, LineJoin, Pen, Point, Rectangle, Size, WrapMode)
from zelmor.imaging.brushes import SolidBrush, TextureBrush
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D
from zelmor.imaging.fileformats.wmf.graphics import WmfRecorderGraphics2D

from zelmor.imaging.imageoptions import WmfOptions

from support.image_oracles import raster
from support.metafiles import colorref, emf_record, floats, words, wmf_record

WIDTH, HEIGHT = 100, 80
RED, BLUE, INK = 0xFF0000, 0x0000FF, 0x010203
PIXELS = np.array([[[10, 20, 30], [40, 50, 60], [70, 80, 90]], [[1, 2, 3], [200, 100, 50], [4, 5, 6]]], np.uint8)


def color(number: int, alpha: int = 255) -> Color:
    return Color.from_argb(alpha, number >> 16, number >> 8 & 255, number & 255)


def picture(alpha: bool = False) -> Any:
    """A picture of three by two pixels, the middle one below clear if it has alpha."""
    pixels = np.dstack([PIXELS, np.full((2, 3), 255, np.uint8)]) if alpha else PIXELS
    if alpha:
        pixels[1, 1, 3] = 0
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "PNG")
    return raster(Image.load(io.BytesIO(file.getvalue())))


def pen(width: float, round_ends: bool = False, dashes: Any = None) -> Pen:
    made = Pen(color(INK), width)
    if round_ends:
        made.set_line_cap(LineCap.ROUND, LineCap.ROUND, made.dash_cap)
        made.line_join = LineJoin.ROUND
    if dashes:
        made.dash_pattern = dashes
    return made


def pair_of_squares(g: Any) -> None:
    for number, (x, y) in ((RED, (10, 20)), (RED, (1, 2)), (BLUE, (1, 2))):
        g.fill_rectangle(SolidBrush(color(number)), Rectangle(x, y, 3, 4))


DRAWINGS: dict[str, Callable[[Any], Any]] = {
    "nothing": lambda g: None,
    "squares": pair_of_squares,
    "half": lambda g: g.fill_rectangle(SolidBrush(color(RED, 128)), Rectangle(10, 20, 3, 2)),
    "line": lambda g: g.draw_line(pen(4.0), 10, 10, 50, 10),
    "round line": lambda g: g.draw_line(pen(4.0, round_ends=True), 10, 10, 50, 60),
    "dashes": lambda g: g.draw_line(pen(2.0, dashes=[3.0, 1.0]), 10, 10, 50, 10),
    "text": lambda g: g.draw_string("Hi", Font("DejaVu Sans", 24.0), color(INK), 10, 30),
    "styled text": lambda g: g.draw_string("Hi", Font("DejaVu Sans", 24.0, FontStyle.BOLD), color(INK), 10, 30),
    "decorated text": lambda g: g.draw_string("Hi", Font(
        "DejaVu Sans", 24.0, FontStyle.ITALIC | FontStyle.UNDERLINE | FontStyle.STRIKEOUT), color(INK), 10, 30),
    "picture": lambda g: g.draw_image(picture(), Point(3, 4)),
    "picture with alpha": lambda g: g.draw_image(picture(alpha=True), Point(3, 4)),
}


def rows_of(pixels: Any) -> bytes:
    """The rows of a bitmap of 24 bits, the last one first, each of whole words."""
    return b"".join((row[:, ::-1].tobytes()).ljust(-(-3 * pixels.shape[1] // 4) * 4, b"\0") for row in pixels[::-1])


def bitmap(pixels: Any) -> tuple[bytes, bytes]:
    height, width = pixels.shape[:2]
    rows = rows_of(pixels)
    return struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(rows), 0, 0, 0, 0), rows


# ---- WMF


def wmf_file(*records: bytes, objects: int) -> bytes:
    """The frame at 96 units an inch, the header, what stands at the beginning of each picture, and the records."""
    everything = b"".join([
        wmf_record(0x0103, 8), wmf_record(0x020B, 0, 0), wmf_record(0x020C, HEIGHT, WIDTH),  # anisotropic, the window
        wmf_record(0x0102, data=words(1)[:2] + bytes(2)), wmf_record(0x012E, data=words(24)), *records, wmf_record(0)])
    start = struct.pack("<IH4hHI", 0x9AC6CDD7, 0, 0, 0, WIDTH, HEIGHT, 96, 0)
    checksum = 0
    for (word, ) in struct.iter_unpack("<H", start):
        checksum ^= word
    sizes, at = [], 0  # in words
    while at < len(everything):
        sizes.append(struct.unpack_from("<I", everything, at)[0])
        at += 2 * sizes[-1]
    header = struct.pack("<3HIHIH", 1, 9, 0x300, 9 + sum(sizes), objects, max(sizes), 0)
    return start + struct.pack("<H", checksum) + header + everything


def wmf_brush(number: int) -> bytes:
    return wmf_record(0x02FC, 0, colorref(number) & 0xFFFF, colorref(number) >> 16, 0)


def wmf_pen(style: int, width: int, number: int) -> bytes:
    return wmf_record(0x02FA, style, width, 0, colorref(number) & 0xFFFF, colorref(number) >> 16)


def wmf_select(index: int) -> bytes:
    return wmf_record(0x012D, index)


def wmf_polygon(*points: int) -> bytes:
    return wmf_record(0x0324, len(points) // 2, *points)


def wmf_text(weight: int = 400, italic: int = 0, underline: int = 0, strikeout: int = 0) -> bytes:
    """A font of 24 points, which are 32 pixels; then its color. The place of the text is on its baseline."""
    font = struct.pack("<5h8B", -32, 0, 0, 0, weight, italic, underline, strikeout, 0, 0, 0, 0, 0) + b"DejaVu Sans\0"
    return (wmf_record(0x02FB, data=font) + wmf_select(0)
            + wmf_record(0x0209, colorref(INK) & 0xFFFF, colorref(INK) >> 16))


def wmf_picture(operation: int, x: int, y: int, width: int, height: int, pixels: Any) -> bytes:
    header, rows = bitmap(pixels)
    return wmf_record(0x0F43, operation & 0xFFFF, operation >> 16, 0, pixels.shape[0], pixels.shape[1], 0, 0, height,
                      width, y, x, data=header + rows)


NO_LINE = wmf_pen(5, 0, 0) + wmf_select(1)
MASK = np.zeros_like(PIXELS)
MASK[1, 1] = 255
SHOWN = PIXELS.copy()
SHOWN[1, 1] = 0
WMF: dict[str, tuple[bytes, int]] = {
    "nothing": (b"", 0),
    "squares": (wmf_brush(RED) + wmf_select(0) + NO_LINE + wmf_record(0x0106, data=words(1))
                + wmf_polygon(10, 20, 13, 20, 13, 24, 10, 24) + wmf_polygon(1, 2, 4, 2, 4, 6, 1, 6)
                + wmf_brush(BLUE) + wmf_select(2) + wmf_polygon(1, 2, 4, 2, 4, 6, 1, 6), 3),
    # Half of red and half of white, since the format has no opacity.
    "half": (wmf_picture(0x00CC0020, 10, 20, 3, 2, np.array([[[255, 127, 127]]], np.uint8)), 0),
    # As wide as it has to be, half a pixel beside its middle.
    "line": (wmf_brush(INK) + wmf_select(0) + NO_LINE + wmf_record(0x0106, data=words(2))
             + wmf_polygon(11, 9, 51, 9, 51, 13, 11, 13), 2),
    "round line": (wmf_pen(0, 4, INK) + wmf_select(0) + wmf_record(0x0325, 2, 10, 10, 50, 60), 1),
    "picture": (wmf_picture(0x00CC0020, 3, 4, 3, 2, PIXELS), 0),
    # What is clear stays: it is cut out, and the picture is added.
    "picture with alpha": (wmf_picture(0x008800C6, 3, 4, 3, 2, MASK) + wmf_picture(0x00EE0086, 3, 4, 3, 2, SHOWN), 0),
}


@pytest.mark.parametrize("name", WMF)
def test_wmf(name: str) -> None:
    recorder = WmfRecorderGraphics2D(Rectangle(0, 0, WIDTH, HEIGHT), 96)
    DRAWINGS[name](recorder)
    file = io.BytesIO()
    recorder.end_recording().save(file)
    records, objects = WMF[name]
    assert records_of_wmf(file.getvalue()) == records_of_wmf(wmf_file(records, objects=objects))
    assert file.getvalue() == wmf_file(records, objects=objects)


@pytest.mark.parametrize(("width", "height", "inch"), [
    (100, 80, 1440), (2133, 5, 1440), (2134, 5, 1439), (5, 2134, 1439), (3200, 10, 960), (10, 32000, 96)])
def test_the_units_of_wmf(width: int, height: int, inch: int) -> None:
    """As fine as 15 to a pixel, and as many as numbers of 16 bits have room for: 32000 a side."""
    svg = f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}"/>'
    file = io.BytesIO()
    Image.load(io.BytesIO(svg.encode())).save(file, WmfOptions())
    _, _, left, top, right, bottom, found = struct.unpack_from("<IH4hH", file.getvalue())
    assert (left, top, found) == (0, 0, inch)
    assert (right, bottom) == (round(width * inch / 96), round(height * inch / 96))


def records_of_wmf(data: bytes) -> list[tuple[Any, ...]]:
    """For the message of a failure: the header and each record by numbers."""
    found: list[tuple[Any, ...]] = [struct.unpack("<IH4hHIH3HIHIH", data[:40])]
    at = 40
    while at < len(data):
        size, function = struct.unpack_from("<IH", data, at)
        found.append((hex(function), *struct.unpack(f"<{size - 3}h", data[at + 6:at + 2 * size])))
        at += 2 * size
    return found


STYLES: dict[str, dict[str, int]] = {"text": {}, "styled text": {"weight": 700},
                                     "decorated text": {"italic": 1, "underline": 1, "strikeout": 1}}


@pytest.mark.parametrize("name", STYLES)
def test_text_of_wmf(name: str) -> None:
    recorder = WmfRecorderGraphics2D(Rectangle(0, 0, WIDTH, HEIGHT), 96)
    DRAWINGS[name](recorder)
    file = io.BytesIO()
    recorder.end_recording().save(file)
    style = wmf_text(**STYLES[name])
    assert style in file.getvalue()
    out = file.getvalue().partition(style)[2]
    size, function, y, x, length, options = struct.unpack_from("<IHhhhH", out)
    assert (function, x, length, options, out[14:16]) == (0x0A32, 10, 2, 0, b"Hi")
    first, second = struct.unpack_from("<hh", out, 16)
    assert size == 10 and 57 <= y <= 61 and 22 <= first <= 30 and 8 <= second <= 13  # by the font's own numbers


# ---- EMF: a pixel is 32 units

BOUNDS = words(0, 0, WIDTH - 1, HEIGHT - 1)


def emf_file(*records: bytes, handles: int) -> bytes:
    everything = [
        emf_record(17, words(8)), emf_record(9, words(32 * WIDTH, 32 * HEIGHT)), emf_record(11, words(WIDTH, HEIGHT)),
        emf_record(18, words(1)), emf_record(22, words(24)), emf_record(21, words(4)), *records,
        emf_record(14, words(0, 0, 20))]
    counted = len(everything) + 1 + sum(count_of(record) - 1 for record in records)
    # The frame in hundredths of a millimeter; the device has 9600 by 7680 pixels on 2540 by 2032 millimeters.
    header = BOUNDS + words(0, 0, 2646, 2117, 0x464D4520, 0x10000, 88 + sum(map(len, everything)), counted)
    header += struct.pack("<2H", handles, 0) + words(0, 0, 0, 9600, 7680, 2540, 2032)
    return emf_record(1, header) + b"".join(everything)


def count_of(records: bytes) -> int:
    count = at = 0
    while at < len(records):
        at += struct.unpack_from("<I", records, at + 4)[0]
        count += 1
    return count


def emf_pixels(*places: float) -> bytes:
    return words(*(round(32 * place) for place in places))


def emf_path(*points: float, closed: bool = True, then: int = 62) -> bytes:
    """A path of lines, and what is done with it."""
    lines = emf_record(6, BOUNDS + words(len(points) // 2 - 1) + emf_pixels(*points[2:]))
    return (emf_record(59) + emf_record(27, emf_pixels(*points[:2])) + lines + (emf_record(61) if closed else b"")
            + emf_record(60) + emf_record(then, BOUNDS))


def emf_brush(index: int, number: int) -> bytes:
    return emf_record(39, words(index, 0, colorref(number), 0)) + emf_record(37, words(index))


def emf_pen(style: int, width: float, lengths: tuple[float, ...] = ()) -> bytes:
    return emf_record(95, words(1, 0, 0, 0, 0, style, round(32 * width), 0, colorref(INK), 0, len(lengths))
                      + emf_pixels(*lengths)) + emf_record(37, words(1))


def emf_font(weight: int = 400, italic: int = 0, underline: int = 0, strikeout: int = 0) -> bytes:
    font = struct.pack("<5i8B", -32 * 32, 0, 0, 0, weight, italic, underline, strikeout, 1, 0, 0, 0, 0)
    font += "DejaVu Sans".encode("utf-16-le").ljust(64, b"\0")
    return (emf_record(82, words(1) + font.ljust(320, b"\0")) + emf_record(37, words(1))
            + emf_record(24, words(colorref(INK))))


def emf_picture() -> bytes:
    header, rows = bitmap(PIXELS)
    return emf_record(81, BOUNDS + emf_pixels(3, 4) + words(0, 0, 3, 2, 80, 40, 120, len(rows), 0, 0x00CC0020)
                      + emf_pixels(3, 2) + header + rows)


def emf_blend(x: float, y: float, width: float, height: float, pixels: Any) -> bytes:
    """Pixels with their own opacity, by which their colors are multiplied."""
    rows = np.ascontiguousarray(pixels[::-1][..., [2, 1, 0, 3]], np.uint8).tobytes()
    down, across = pixels.shape[:2]
    header = struct.pack("<IiiHHIIiiII", 40, across, down, 1, 32, 0, len(rows), 0, 0, 0, 0)
    data = BOUNDS + emf_pixels(x, y, width, height) + words(0x01FF0000, 0, 0) + floats(1, 0, 0, 1, 0, 0)
    return emf_record(114, data + words(0, 0, 108, 40, 148, len(rows), across, down) + header + rows)


CLEAR = np.dstack([SHOWN, np.full((2, 3), 255, np.uint8)])
CLEAR[1, 1] = 0
EMF: dict[str, tuple[list[bytes], int]] = {
    "nothing": ([], 1),
    "squares": ([emf_brush(1, RED), emf_record(19, words(1)), emf_path(10, 20, 13, 20, 13, 24, 10, 24),
                 emf_path(1, 2, 4, 2, 4, 6, 1, 6), emf_brush(2, BLUE), emf_path(1, 2, 4, 2, 4, 6, 1, 6)], 3),
    "half": ([emf_record(33), emf_record(19, words(1)), emf_path(10, 20, 13, 20, 13, 22, 10, 22, then=67)[:-24]
              + emf_record(67, words(1)), emf_blend(10, 20, 3, 2, np.array([[[128, 0, 0, 128]]])),
              emf_record(34, words(-1))], 1),
    "line": ([emf_pen(0x12200, 4), emf_path(10, 10, 50, 10, closed=False, then=64)], 2),
    "round line": ([emf_pen(0x10000, 4), emf_path(10, 10, 50, 60, closed=False, then=64)], 2),
    "dashes": ([emf_pen(0x12207, 2, (6, 2)), emf_path(10, 10, 50, 10, closed=False, then=64)], 2),
    "picture": ([emf_picture()], 1),
    "picture with alpha": ([emf_blend(3, 4, 3, 2, CLEAR)], 1),
}


def recorded_emf(name: str) -> bytes:
    recorder = EmfRecorderGraphics2D(Rectangle(0, 0, WIDTH, HEIGHT), Size(9600, 7680), Size(2540, 2032))
    DRAWINGS[name](recorder)
    file = io.BytesIO()
    recorder.end_recording().save(file)
    return file.getvalue()


@pytest.mark.parametrize("name", EMF)
def test_emf(name: str) -> None:
    records, handles = EMF[name]
    data, expected = recorded_emf(name), emf_file(*records, handles=handles)
    assert records_of_emf(data) == records_of_emf(expected)
    assert data == expected


def records_of_emf(data: bytes) -> list[tuple[int, ...]]:
    """For the message of a failure: each record by numbers."""
    found, at = [], 0
    while at < len(data):
        kind, size = struct.unpack_from("<II", data, at)
        found.append((kind, size, *struct.unpack(f"<{size // 4 - 2}i", data[at + 8:at + size])))
        at += size
    return found


@pytest.mark.parametrize("opacity", [0.25, 0.5, 1.0])
def test_a_texture_with_an_opacity(opacity: float) -> None:
    """Its pixels with that opacity, by which their colors are multiplied."""
    pixels = np.array([[[255, 255, 255], [1, 3, 5], [254, 253, 251]], [[127, 129, 131], [0, 0, 0], [9, 99, 199]]],
                      np.uint8)
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "PNG")
    brush = TextureBrush(raster(Image.load(io.BytesIO(file.getvalue()))), WrapMode.CLAMP)
    brush.opacity = opacity
    recorder = EmfRecorderGraphics2D(Rectangle(0, 0, WIDTH, HEIGHT), Size(9600, 7680), Size(2540, 2032))
    recorder.fill_rectangle(brush, Rectangle(0, 0, 3, 2))
    out = io.BytesIO()
    recorder.end_recording().save(out)
    alpha = round(255 * opacity)
    if opacity == 1:
        header, rows = bitmap(pixels)
        assert header + rows in out.getvalue()
        return
    rows = np.frombuffer(out.getvalue()[-20 - 24:-20], np.uint8).reshape(2, 3, 4)[::-1]
    assert (rows[..., 3] == alpha).all()
    assert np.abs(rows[..., 2::-1] - pixels * (alpha / 255)).max() <= 0.51


@pytest.mark.parametrize("name", STYLES)
def test_text_of_emf(name: str) -> None:
    data, font = recorded_emf(name), emf_font(**STYLES[name])
    assert font in data
    out = data.partition(font)[2]
    kind, size = struct.unpack_from("<II", out)
    assert (kind, size, out[8:24]) == (84, 88, BOUNDS)
    assert out[24:36] == words(2) + floats(1, 1)
    x, y, length, place, options = struct.unpack_from("<iiIII", out, 36)
    assert (x, length, place, options) == (320, 2, 76, 0) and 57 * 32 <= y <= 61 * 32
    assert out[56:72] == words(0, 0, 0, 0) and out[76:80] == "Hi".encode("utf-16-le")
    advances, = struct.unpack_from("<I", out, 72)
    first, second = struct.unpack_from("<II", out, advances)
    assert advances == 80 and 22 * 32 <= first <= 30 * 32 and 8 * 32 <= second <= 13 * 32
