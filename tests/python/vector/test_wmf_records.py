"""What each record of a Windows metafile draws, pixel by pixel, without smoothing."""

from __future__ import annotations

import io
import struct
import subprocess
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, Rectangle
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.emf import MetaObjectList
from zelmor.imaging.fileformats.wmf import WmfImage, WmfRenderMode
from zelmor.imaging.fileformats.wmf.graphics import WmfRecorderGraphics2D
from zelmor.imaging.fileformats.wmf.objects import WmfCreateBrushInDirect, WmfPolygon
from zelmor.imaging.fileformats.wmf.objects.escaperecords import WmfEscapeEnhancedMetafile
from zelmor.imaging.imageoptions import PngOptions, WmfRasterizationOptions

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, dark, drawn
from support.metafiles import (NULL_PEN, SIDE, bitmap_header, brush, colorref, emf, emf_record, rows24, select, wmf,
                               wmf_brush, wmf_color, wmf_font, wmf_pen, wmf_record, wmf_select, words)


#: No lines, and red areas; the objects 0 and 1.
FILLED = wmf_pen(BLACK, style=5) + wmf_select(0) + wmf_brush(RED) + wmf_select(1)
LINES = wmf_pen(BLUE) + wmf_select(0) + wmf_brush(RED, 1) + wmf_select(1)
THICK = wmf_pen(BLUE, 3) + wmf_select(0) + wmf_brush(RED, 1) + wmf_select(1)
SQUARE = wmf_record(0x0324, 4, 20, 20, 60, 20, 60, 60, 20, 60)
ALL = wmf_record(0x041B, 97, 97, 0, 0)
FOUR = bitmap_header(2, 2, 24) + rows24([[RED, GREEN], [BLUE, BLACK]])
OLD = struct.pack("<4H2B", 0, 2, 2, 2, 1, 1) + bytes([0x80, 0, 0x40, 0])
#: Of 20 by 2 pixels, and of two pixels of true colors.
WIDE = struct.pack("<4H2B", 0, 20, 2, 4, 1, 1) + bytes([0x81, 0x80, 0x10, 0, 0xFE, 0x7E, 0x7F, 0])
OLD_24 = struct.pack("<4H2B", 0, 2, 1, 6, 1, 24) + bytes([0, 0, 255, 3, 2, 1])
OLD_32 = struct.pack("<4H2B", 0, 2, 1, 8, 1, 32) + bytes([0, 255, 0, 0, 3, 2, 1, 0])
REGION = wmf_record(0x06FF, 0, 6, 0, 0, 0, 1, 2, 20, 20, 60, 60, 2, 20, 60, 20, 60, 2)

CASES: dict[str, tuple[bytes, dict[tuple[int, int], int]]] = {
    "rectangle": (FILLED + wmf_record(0x041B, 61, 61, 20, 20), {(20, 20): RED, (59, 59): RED, (61, 61): WHITE}),
    "ellipse": (FILLED + wmf_record(0x0418, 61, 61, 20, 20), {(40, 40): RED, (21, 21): WHITE}),
    "round rectangle": (FILLED + wmf_record(0x061C, 20, 20, 61, 61, 20, 20), {(20, 20): WHITE, (40, 20): RED}),
    "arc": (THICK + wmf_record(0x0817, 0, 40, 40, 80, 61, 61, 20, 20), {(54, 26): BLUE, (40, 60): WHITE}),
    "chord": (FILLED + wmf_record(0x0830, 0, 40, 40, 80, 61, 61, 20, 20), {(50, 28): RED, (42, 38): WHITE}),
    "pie": (FILLED + wmf_record(0x081A, 0, 40, 40, 80, 61, 61, 20, 20), {(50, 28): RED, (38, 42): WHITE}),
    "polygon": (FILLED + SQUARE, {(20, 20): RED, (59, 59): RED, (61, 61): WHITE}),
    "polyline": (LINES + wmf_record(0x0325, 3, 20, 20, 60, 20, 60, 60), {(40, 20): BLUE, (60, 40): BLUE}),
    "several polygons": (FILLED + wmf_record(0x0538, 2, 4, 4, 20, 20, 60, 20, 60, 60, 20, 60, 30, 30, 50, 30, 50, 50,
                                             30, 50), {(25, 25): RED, (40, 40): WHITE}),
    "winding": (FILLED + wmf_record(0x0106, 2) + wmf_record(0x0538, 2, 4, 4, 20, 20, 60, 20, 60, 60, 20, 60, 30, 30,
                                                            50, 30, 50, 50, 30, 50), {(40, 40): RED}),
    "line to": (LINES + wmf_record(0x0214, 10, 10) + wmf_record(0x0213, 10, 50), {(30, 10): BLUE, (30, 11): WHITE}),
    "pixel": (wmf_record(0x041F, colorref(GREEN) & 0xFFFF, colorref(GREEN) >> 16, 40, 30),
              {(30, 40): GREEN, (31, 40): WHITE}),
    "lowest free number": (FILLED + wmf_record(0x01F0, 1) + wmf_brush(GREEN) + wmf_select(1) + SQUARE,
                           {(40, 40): GREEN}),
    "saved state": (FILLED + wmf_record(0x001E) + wmf_brush(GREEN) + wmf_select(2) + SQUARE + wmf_record(0x0127, -1)
                    + wmf_record(0x041B, 91, 91, 70, 70), {(40, 40): GREEN, (80, 80): RED}),
    "window": (FILLED + wmf_record(0x020B, -10, -10) + SQUARE, {(30, 30): RED, (25, 25): WHITE, (69, 69): RED}),
    "extent": (FILLED + wmf_record(0x020C, 192, 192) + SQUARE, {(10, 10): RED, (29, 29): RED, (31, 31): WHITE}),
    "window moved": (FILLED + wmf_record(0x020F, 10, 20) + SQUARE, {(0, 10): RED, (39, 49): RED, (41, 20): WHITE}),
    "viewport moved": (FILLED + wmf_record(0x0211, 10, 20) + SQUARE, {(40, 30): RED, (35, 30): WHITE}),
    "viewport": (FILLED + wmf_record(0x020D, 10, 20) + wmf_record(0x020E, 48, 48) + SQUARE,
                 {(30, 20): RED, (49, 39): RED, (51, 30): WHITE}),
    "scaled": (FILLED + wmf_record(0x0412, 2, 1, 2, 1) + SQUARE, {(10, 10): RED, (29, 29): RED, (31, 31): WHITE}),
    "scaled window": (FILLED + wmf_record(0x0410, 1, 2, 1, 2) + SQUARE, {(10, 10): RED, (31, 31): WHITE}),
    "clip": (FILLED + wmf_record(0x0416, 60, 60, 20, 20) + ALL, {(40, 40): RED, (60, 60): WHITE}),
    "clip without": (FILLED + wmf_record(0x0415, 60, 60, 20, 20) + ALL, {(40, 40): WHITE, (60, 60): RED}),
    "clip moved": (FILLED + wmf_record(0x0416, 60, 60, 20, 20) + wmf_record(0x0220, 0, 20) + ALL,
                   {(30, 40): WHITE, (70, 40): RED}),
    "clip of a region": (FILLED + REGION + wmf_record(0x012C, 2) + ALL, {(40, 40): RED, (70, 70): WHITE}),
    "filled region": (FILLED + REGION + wmf_record(0x0228, 2, 1), {(20, 20): RED, (60, 60): WHITE}),
    "painted region": (FILLED + REGION + wmf_record(0x012B, 2), {(20, 20): RED, (60, 60): WHITE}),
    "framed region": (FILLED + REGION + wmf_record(0x0429, 2, 1, 4, 4), {(21, 40): RED, (40, 40): WHITE}),
    "inverted region": (FILLED + REGION + wmf_record(0x012A, 2), {(40, 40): BLACK, (70, 70): WHITE}),
    "mix": (FILLED + wmf_record(0x0104, 6) + SQUARE, {(40, 40): BLACK, (70, 70): WHITE}),
    "hatch": (FILLED + wmf_brush(GREEN, 2, 0) + wmf_select(2) + wmf_record(0x0102, 1) + ALL,
              {(40, 0): GREEN, (40, 4): WHITE}),
    "hatch over its background": (FILLED + wmf_brush(GREEN, 2, 1) + wmf_select(2) + wmf_color(0x0201, BLUE) + ALL,
                                  {(0, 40): GREEN, (4, 40): BLUE}),
    "pattern": (FILLED + wmf_record(0x0142, 5, 0, data=FOUR) + wmf_select(2) + ALL,
                {(0, 0): RED, (1, 0): GREEN, (0, 1): BLUE, (2, 2): RED}),
    "pattern alone": (FILLED + wmf_record(0x061D, 0x21, 0xF0, 40, 40, 20, 20), {(20, 20): RED, (60, 60): WHITE}),
    "bitmap": (wmf_record(0x0F43, 0x20, 0xCC, 0, 2, 2, 0, 0, 40, 40, 20, 20, data=FOUR),
               {(25, 25): RED, (55, 25): GREEN, (25, 55): BLUE, (61, 61): WHITE}),
    "stretched bitmap": (wmf_record(0x0B41, 0x20, 0xCC, 2, 2, 0, 0, 40, 40, 20, 20, data=FOUR),
                         {(25, 25): RED, (55, 25): GREEN, (25, 55): BLUE}),
    "copied bitmap": (wmf_record(0x0940, 0x20, 0xCC, 0, 0, 2, 2, 20, 20, data=FOUR),
                      {(20, 20): RED, (21, 20): GREEN, (20, 21): BLUE, (22, 22): WHITE}),
    "operation without a bitmap": (FILLED + wmf_record(0x0940, 0x42, 0, 0, 0, 0, 40, 40, 20, 20),
                                   {(20, 20): BLACK, (60, 60): WHITE}),
    "old bitmap": (wmf_record(0x0B23, 0x20, 0xCC, 2, 2, 0, 0, 40, 40, 20, 20, data=OLD),
                   {(25, 25): WHITE, (55, 25): BLACK, (25, 55): BLACK, (55, 55): WHITE}),
    "old bitmap of two colors": (wmf_record(0x0B23, 0x20, 0xCC, 2, 20, 0, 0, 2, 20, 20, 20, data=WIDE),
                                 {**{(20 + x, 20): WHITE if x in (0, 7, 8, 19) else BLACK for x in range(20)},
                                  **{(20 + x, 21): BLACK if x in (7, 8, 15, 16) else WHITE for x in range(20)}}),
    "old bitmap of true colors": (wmf_record(0x0B23, 0x20, 0xCC, 1, 2, 0, 0, 40, 40, 20, 20, data=OLD_24),
                                  {(25, 40): RED, (55, 40): 0x010203}),
    "old bitmap of 32 bits": (wmf_record(0x0B23, 0x20, 0xCC, 1, 2, 0, 0, 40, 40, 20, 20, data=OLD_32),
                              {(25, 40): GREEN, (55, 40): 0x010203}),
    "bitmap to the device": (wmf_record(0x0D33, 0, 2, 0, 0, 0, 2, 2, 30, 20, data=FOUR),
                             {(20, 30): RED, (21, 30): GREEN, (20, 31): BLUE}),
}


COLORS = np.array([[0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF, 0x000000], [0x102030, 0x405060, 0x708090, 0xA0B0C0,
                                                                        0xF8E0D0],
                   [0x808080, 0x008080, 0x800080, 0x808000, 0x400000]])
BITMAP = bitmap_header(5, 3, 24) + rows24(COLORS.tolist())
FROM_TOP = bitmap_header(5, -3, 24) + rows24(COLORS[::-1].tolist())
OLD_COLORS = struct.pack("<4H2B", 0, 5, 3, 16, 1, 24) + b"".join(
    b"".join(int(each).to_bytes(3, "little") for each in row) + b"\0" for row in COLORS)


@pytest.mark.parametrize("part", [(0, 0, 5, 3), (1, 0, 3, 2), (2, 1, 1, 1), (4, 2, 1, 1), (0, 2, 5, 1)])
@pytest.mark.parametrize("kind", ["stretch", "from the top", "blit", "stretched blit", "old", "device",
                                  "device from the top"])
def test_parts_of_bitmaps(kind: str, part: tuple[int, int, int, int]) -> None:
    """Each pixel two across and three down, where the record can; only some count their rows from the last one."""
    x, y, width, height = part
    to = (3 * height, 2 * width, 30, 20)
    record = {
        "stretch": wmf_record(0x0F43, 0x20, 0xCC, 0, height, width, y, x, *to, data=BITMAP),
        "from the top": wmf_record(0x0F43, 0x20, 0xCC, 0, height, width, y, x, *to, data=FROM_TOP),
        "blit": wmf_record(0x0940, 0x20, 0xCC, y, x, height, width, 30, 20, data=BITMAP),
        "stretched blit": wmf_record(0x0B41, 0x20, 0xCC, height, width, y, x, *to, data=BITMAP),
        "old": wmf_record(0x0B23, 0x20, 0xCC, height, width, y, x, *to, data=OLD_COLORS),
        "device": wmf_record(0x0D33, 0, 3, 0, y, x, height, width, 30, 20, data=BITMAP),
        "device from the top": wmf_record(0x0D33, 0, 3, 0, y, x, height, width, 30, 20, data=FROM_TOP)}[kind]
    from_below = kind in ("stretch", "device")
    shown = COLORS[3 - y - height:3 - y, x:x + width] if from_below else COLORS[y:y + height, x:x + width]
    if kind not in ("blit", "device", "device from the top"):
        shown = shown.repeat(3, 0).repeat(2, 1)
    page = np.full((SIDE, SIDE), WHITE)
    if kind == "device from the top":
        shown = COLORS[y:y + height, x:x + width]
    page[30:30 + shown.shape[0], 20:20 + shown.shape[1]] = shown
    pixels = np.asarray(drawn(wmf(record), layout())).astype(int)
    found = pixels[..., 0] << 16 | pixels[..., 1] << 8 | pixels[..., 2]
    assert np.array_equal(found, page), np.argwhere(found != page)[:4]


def layout() -> WmfRasterizationOptions:
    return WmfRasterizationOptions()


def expect(picture: Pillow.Image, expected: dict[tuple[int, int], int]) -> None:
    found = {place: color_at(picture, place) for place in expected}
    assert {place: hex(color) for place, color in found.items()} == {
        place: hex(color) for place, color in expected.items()}


@pytest.mark.parametrize("name", CASES)
def test_records(name: str) -> None:
    records, expected = CASES[name]
    expect(drawn(wmf(records), layout()), expected)


TEXT = wmf_record(0x0102, 1) + wmf_font(-20, b"DejaVu Sans") + wmf_select(0)


def test_text() -> None:
    baseline = wmf_record(0x012E, 24)
    plain = wmf_record(0x0521, 1, data=b"H\0" + struct.pack("<2h", 60, 30))
    picture = drawn(wmf(TEXT + baseline + plain), layout())
    left, top, right, bottom = dark(picture)
    assert 30 <= left <= 34 and abs(bottom - 60) <= 1 and abs(top - 45) <= 1
    spread = wmf_record(0x0A32, 60, 10, 2, 0, data=b"||" + struct.pack("<2h", 50, 10))
    picture = drawn(wmf(TEXT + baseline + spread), layout())
    left, _, right, _ = dark(picture)
    assert right - left in range(49, 54)


def test_units_of_the_window_are_scaled_to_the_frame() -> None:
    records = FILLED + wmf_record(0x0324, 4, 200, 200, 600, 200, 600, 600, 200, 600)
    expect(drawn(wmf(records, units=960), layout()), {(20, 20): RED, (59, 59): RED, (61, 61): WHITE})


def test_a_file_without_a_frame_is_as_large_as_its_window() -> None:
    records = wmf_record(0x020B, 0, 0) + wmf_record(0x020C, SIDE, SIDE) + FILLED + SQUARE
    expect(drawn(wmf(records, placeable=False), layout()), {(20, 20): RED, (61, 61): WHITE})


def embedded(file: bytes) -> bytes:
    half = len(file) // 2 & ~1
    parts = [file[:half], file[half:]]
    records = b""
    left = len(file)
    for part in parts:
        left -= len(part)
        data = (b"WMFC" + words(1, 0x10000) + bytes(2) + words(0, len(parts), len(part), left, len(file)) + part)
        records += wmf_record(0x0626, 15, len(data), data=data)
    return records


@pytest.mark.parametrize("mode, red, blue", [("AUTO", False, True), ("WMF_RECORDS_ONLY", True, False),
                                             ("EMBEDDED_EMF_ONLY", False, True), ("BOTH", True, True)])
def test_an_enhanced_metafile_in_comments(mode: str, red: bool, blue: bool) -> None:
    inner = emf(select(NULL_PEN) + brush(1, BLUE) + emf_record(43, words(60, 60, 91, 91)))
    file = wmf(embedded(inner) + FILLED + SQUARE)
    options = layout()
    options.render_mode = WmfRenderMode[mode]
    expect(drawn(file, options), {(40, 40): RED if red else WHITE, (80, 80): BLUE if blue else WHITE})


def in_two_formats() -> Any:
    """A red square in the records, and a blue one beside it in the comments."""
    inner = emf(select(NULL_PEN) + brush(1, BLUE) + emf_record(43, words(60, 60, 91, 91)))
    return WmfImage._cast_to(Image.load(io.BytesIO(wmf(embedded(inner) + FILLED + SQUARE)))).value


def shown(image: Any, mode: WmfRenderMode = WmfRenderMode.AUTO) -> Pillow.Image:
    png, options, target = PngOptions(), layout(), io.BytesIO()
    options.render_mode, options.background_color = mode, Color.white
    options.page_width = options.page_height = float(SIDE)
    png.vector_rasterization_options = options
    image.save(target, png)
    return Pillow.open(io.BytesIO(target.getvalue())).convert("RGB")


def change_color(image: Any) -> None:
    brush_record = next(record for record in image.records if isinstance(record, WmfCreateBrushInDirect))
    brush_record.argb_32_color_ref = Color.from_argb(0x00, 0xFF, 0x00).to_argb()


def without_comments(image: Any) -> None:
    image.records = MetaObjectList([record for record in image.records
                                    if not isinstance(record, WmfEscapeEnhancedMetafile)])


def drop_square(image: Any) -> None:
    image.records = MetaObjectList([record for record in image.records if not isinstance(record, WmfPolygon)])


ONLY_BLUE = {(40, 40): WHITE, (80, 80): BLUE}


def test_an_untouched_file_shows_and_keeps_the_copy_in_its_comments() -> None:
    with in_two_formats() as image:
        before = image.records
        image.records = MetaObjectList(list(before))
        expect(shown(image), ONLY_BLUE)
        target = io.BytesIO()
        image.save(target)
        expect(drawn(target.getvalue(), layout()), ONLY_BLUE)
        assert target.getvalue().count(b"WMFC") == 2


@pytest.mark.parametrize("change, color", [(change_color, GREEN), (drop_square, WHITE)])
def test_changed_records_are_shown_instead_of_the_copy_in_comments(change: Callable[[Any], None], color: int) -> None:
    with in_two_formats() as image:
        change(image)
        records = {(40, 40): color, (80, 80): WHITE}
        expect(shown(image), records)
        expect(shown(image, WmfRenderMode.EMBEDDED_EMF_ONLY), ONLY_BLUE)  # where it is asked for
        target = io.BytesIO()
        image.save(target)
        assert target.getvalue().count(b"WMFC") == 0
        expect(drawn(target.getvalue(), layout()), records)


def test_a_change_that_is_taken_back_is_none() -> None:
    with in_two_formats() as image:
        before = list(image.records)
        drop_square(image)
        expect(shown(image), {(40, 40): WHITE, (80, 80): WHITE})
        image.records = MetaObjectList(before)
        expect(shown(image), ONLY_BLUE)


def test_comments_that_were_changed_too_are_up_to_date() -> None:
    with in_two_formats() as image:
        drop_square(image)
        for record in image.records:
            if isinstance(record, WmfEscapeEnhancedMetafile):
                record.enhanced_metafile_data = bytes(record.enhanced_metafile_data).replace(
                    words(60, 60, 91, 91), words(60, 60, 95, 95))
        expect(shown(image), ONLY_BLUE)
        target = io.BytesIO()
        image.save(target)
        assert target.getvalue().count(b"WMFC") == 2


def test_a_recording_replaces_the_enhanced_metafile_in_comments() -> None:
    inner = emf(select(NULL_PEN) + brush(1, BLUE) + emf_record(43, words(60, 60, 91, 91)))
    image = WmfImage._cast_to(Image.load(io.BytesIO(wmf(embedded(inner) + FILLED + SQUARE)))).value
    recorder = WmfRecorderGraphics2D.from_wmf_image(image)
    recorder.fill_rectangle(SolidBrush(Color.from_argb(255, 0, 0, 255)), Rectangle(70, 70, 20, 20))
    file = io.BytesIO()
    recorder.end_recording().save(file)
    expect(drawn(file.getvalue(), layout()), {(40, 40): RED, (80, 80): BLUE, (65, 65): WHITE})


ORACLE = (wmf_record(0x0103, 8) + wmf_record(0x020B, 0, 0) + wmf_record(0x020C, 960, 960) + wmf_record(0x0102, 1)
          + wmf_pen(BLACK, style=5) + wmf_select(0) + wmf_brush(WHITE) + wmf_select(1)
          + wmf_record(0x041B, 960, 960, 0, 0)  # the other program shows no more than is drawn
          + wmf_brush(GREEN) + wmf_select(2) + wmf_record(0x0324, 4, 700, 600, 900, 700, 700, 900, 500, 700)
          + wmf_brush(RED) + wmf_select(3) + wmf_record(0x041B, 400, 400, 100, 100) + wmf_brush(BLUE) + wmf_select(4)
          + wmf_record(0x0324, 3, 500, 100, 900, 100, 700, 400)
          + wmf_record(0x081A, 500, 300, 700, 500, 900, 500, 500, 100))


def test_shapes_are_those_of_another_program(tmp_path: Path) -> None:
    file = tmp_path / "a.wmf"
    file.write_bytes(wmf(ORACLE, units=960))
    subprocess.run(["wmf2gd", "-t", "png", "--maxpect", "--wmf-width=96", "--wmf-height=96", "-o", tmp_path / "a.png",
                    file], check=True, capture_output=True)
    theirs = Pillow.open(tmp_path / "a.png").convert("RGB").resize((SIDE, SIDE), Pillow.NEAREST)
    ours = drawn(file.read_bytes(), layout())
    different = sum(max(abs(a - b) for a, b in zip(x, y)) > 64 for x, y in zip(ours.getdata(), theirs.getdata()))
    assert different < SIDE * SIDE * 0.03
    assert len(ours.getcolors(9999)) == 4
