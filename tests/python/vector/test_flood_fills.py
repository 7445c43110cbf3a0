"""Flood fills of metafiles: on pixels, on lines and text, and beside another program (ImageMagick)."""

from __future__ import annotations

import io
import struct
import subprocess
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, SmoothingMode
from zelmor.imaging.imageoptions import EmfRasterizationOptions, PdfOptions, SvgOptions, WmfRasterizationOptions

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, drawn
from support.metafiles import (BLACK_PEN, NULL_BRUSH, SIDE, brush, colorref, emf, emf_record, floats, font, pen, plus,
                               plus_comment, plus_record, select, text_out, wmf, wmf_brush, wmf_pen, wmf_record,
                               wmf_select, words)

BORDER, SURFACE = 0, 1
#: A black frame of a pixel around 20 to 60, and a slanted line through it from corner to corner; then blue areas.
FRAME = wmf_pen(BLACK) + wmf_select(0) + wmf_brush(BLACK, 1) + wmf_select(1) + wmf_record(0x041B, 61, 61, 20, 20)
SLANT = wmf_record(0x0214, 20, 20) + wmf_record(0x0213, 60, 60)
BLUE_AREAS = wmf_brush(BLUE) + wmf_select(2)


def flood(x: int, y: int, color: int, mode: int | None = None) -> bytes:
    number = colorref(color)
    parts = [number & 0xFFFF, number >> 16, y, x]
    return wmf_record(0x0419, *parts) if mode is None else wmf_record(0x0548, mode, *parts)


def emf_flood(x: int, y: int, color: int, mode: int) -> bytes:
    return emf_record(53, words(x, y, colorref(color), mode))


CASES: dict[str, tuple[bytes, dict[tuple[int, int], int]]] = {
    "up to a border": (FRAME + BLUE_AREAS + flood(40, 40, BLACK),
                       {(20, 40): BLACK, (21, 21): BLUE, (59, 59): BLUE, (60, 60): BLACK, (61, 40): WHITE}),
    "up to a border, with a mode": (FRAME + BLUE_AREAS + flood(40, 40, BLACK, BORDER),
                                    {(21, 21): BLUE, (59, 59): BLUE, (61, 40): WHITE}),
    "outside of a border": (FRAME + BLUE_AREAS + flood(0, 0, BLACK),
                            {(0, 0): BLUE, (95, 95): BLUE, (19, 40): BLUE, (21, 40): WHITE}),
    "a slanted border": (FRAME + SLANT + BLUE_AREAS + flood(50, 30, BLACK),
                         {(50, 30): BLUE, (59, 22): BLUE, (30, 50): WHITE, (40, 40): BLACK, (41, 40): BLUE}),
    "over colors up to a border": (FRAME + wmf_record(0x041F, 0x00FF, 0, 40, 40) + BLUE_AREAS + flood(30, 30, BLACK),
                                   {(40, 40): BLUE}),
    "over a surface": (FRAME + wmf_record(0x041F, 0x00FF, 0, 40, 40) + BLUE_AREAS + flood(30, 30, WHITE, SURFACE),
                       {(40, 40): RED, (30, 30): BLUE, (61, 61): WHITE}),
    "over a line": (FRAME + SLANT + BLUE_AREAS + flood(20, 40, BLACK, SURFACE),
                    {(20, 40): BLUE, (60, 40): BLUE, (40, 20): BLUE, (40, 40): BLACK, (30, 40): WHITE}),
    "beginning at another color": (FRAME + BLUE_AREAS + flood(30, 30, RED, SURFACE), {(30, 30): WHITE}),
    "beginning at the border": (FRAME + BLUE_AREAS + flood(20, 40, BLACK), {(20, 40): BLACK, (30, 30): WHITE}),
    "beginning outside": (FRAME + BLUE_AREAS + flood(-5, 40, BLACK), {(0, 40): WHITE, (30, 30): WHITE}),
    "within a clip": (FRAME + wmf_record(0x0416, 50, 60, 30, 20) + BLUE_AREAS + flood(40, 40, BLACK),
                      {(40, 30): BLUE, (40, 49): BLUE, (40, 29): WHITE, (40, 50): WHITE}),
    "cut off by a clip": (wmf_record(0x0415, 96, 60, 0, 40) + wmf_brush(BLUE) + wmf_select(0) + flood(10, 10, BLACK),
                          {(39, 40): BLUE, (40, 40): WHITE, (60, 40): WHITE}),
    "beginning outside of a clip": (FRAME + wmf_record(0x0416, 50, 60, 30, 20) + BLUE_AREAS + flood(40, 25, BLACK),
                                    {(40, 40): WHITE}),
    "without a brush": (FRAME + wmf_brush(BLUE, 1) + wmf_select(2) + flood(40, 40, BLACK), {(40, 40): WHITE}),
    "with hatches": (FRAME + wmf_brush(GREEN, 2, 0) + wmf_select(2) + wmf_record(0x0102, 1) + flood(40, 40, BLACK),
                     {(40, 24): GREEN, (40, 28): WHITE, (10, 24): WHITE}),
    "mixed with what is there": (wmf_pen(BLACK, style=5) + wmf_select(0) + wmf_brush(GREEN) + wmf_select(1)
                                 + wmf_record(0x041B, 61, 61, 20, 20) + wmf_brush(RED) + wmf_select(2)
                                 + wmf_record(0x0104, 7) + flood(40, 40, GREEN, SURFACE),
                                 {(40, 40): 0xFFFF00, (10, 10): WHITE}),
    "one after the other": (FRAME + BLUE_AREAS + flood(40, 40, BLACK) + wmf_brush(RED) + wmf_select(3)
                            + flood(40, 40, BLUE, SURFACE) + flood(0, 0, BLACK), {(40, 40): RED, (0, 0): RED}),
    "in units of a window": (wmf_record(0x020C, 192, 192) + wmf_pen(BLACK, 4) + wmf_select(0) + wmf_brush(WHITE)
                             + wmf_select(1) + wmf_record(0x041B, 121, 121, 40, 40) + BLUE_AREAS
                             + flood(80, 80, BLACK), {(40, 40): BLUE, (62, 40): WHITE}),
}


def expect(picture: Pillow.Image, expected: dict[tuple[int, int], int]) -> None:
    found = {place: color_at(picture, place) for place in expected}
    assert {place: hex(color) for place, color in found.items()} == {
        place: hex(color) for place, color in expected.items()}


@pytest.mark.parametrize("name", CASES)
def test_areas(name: str) -> None:
    records, expected = CASES[name]
    expect(drawn(wmf(records), WmfRasterizationOptions()), expected)


EMF_FRAME = select(BLACK_PEN) + select(NULL_BRUSH) + emf_record(43, words(20, 20, 61, 61)) + brush(1, BLUE)


@pytest.mark.parametrize("mode, color", [(BORDER, BLACK), (SURFACE, WHITE)])
def test_enhanced_metafiles(mode: int, color: int) -> None:
    expect(drawn(emf(EMF_FRAME + emf_flood(40, 40, color, mode))),
           {(20, 40): BLACK, (21, 21): BLUE, (59, 59): BLUE, (61, 40): WHITE})


def test_what_other_records_drew_bounds_the_area() -> None:
    red = plus_record(0x400A, 0x8000, words(0xFF000000 | RED, 1) + floats(40, 0, 10, 96))
    handed_over = plus(red) + plus_comment(plus_record(0x4004))
    expect(drawn(emf(handed_over + brush(1, BLUE) + emf_flood(10, 40, WHITE, SURFACE))),
           {(10, 10): BLUE, (39, 90): BLUE, (45, 40): RED, (60, 40): WHITE})


def test_a_clip_in_parts() -> None:
    """The path between two halves of the picture lies outside of the clip."""
    triangle = emf_record(59) + emf_record(3, words(0, 0, 95, 95, 3, 0, 0, 96, 0, 0, 96)) + emf_record(60) + emf_record(
        67, words(5))
    expect(drawn(emf(triangle + brush(1, BLUE) + emf_flood(10, 10, WHITE, SURFACE))),
           {(0, 0): BLUE, (60, 30): BLUE, (60, 60): WHITE})


def rings(*floods: bytes) -> bytes:
    """Ellipses, a triangle and lines of several widths, in 960 units to a side."""
    lines = (wmf_record(0x0103, 8) + wmf_record(0x020B, 0, 0) + wmf_record(0x020C, 960, 960)
             + wmf_pen(BLACK, 9) + wmf_select(0) + wmf_brush(WHITE, 1) + wmf_select(1)
             + wmf_record(0x0418, 900, 900, 60, 60) + wmf_record(0x0418, 700, 600, 260, 200)
             + wmf_record(0x0214, 30, 480) + wmf_record(0x0213, 940, 490) + wmf_pen(RED, 25) + wmf_select(2)
             + wmf_record(0x0324, 3, 500, 100, 900, 300, 650, 600))
    return wmf(lines, *floods, units=960)


@pytest.mark.parametrize("mode, color, draws", [(BORDER, BLACK, "filltoborder"), (SURFACE, WHITE, "floodfill"),
                                                (BORDER, RED, "filltoborder"), (SURFACE, BLACK, "floodfill")])
@pytest.mark.parametrize("x, y", [(300, 300), (620, 200), (700, 800), (20, 20), (500, 65), (640, 480)])
def test_areas_are_those_of_another_program(x: int, y: int, mode: int, color: int, draws: str, tmp_path: Path) -> None:
    """ImageMagick fills the picture without the flood fill: all pixels are the same."""
    large = {"page_width": 480.0, "page_height": 480.0}
    before = drawn(rings(), WmfRasterizationOptions(), **large)
    fill = wmf_brush(BLUE) + wmf_select(3) + flood(x, y, color, mode)
    ours = drawn(rings(fill), WmfRasterizationOptions(), **large)
    place = (x // 2, y // 2)
    if mode == SURFACE and color_at(before, place) != color:
        assert ours.tobytes() == before.tobytes()
        return
    before.save(tmp_path / "a.png")
    subprocess.run(["convert", tmp_path / "a.png", "-fill", "#0000ff", "-bordercolor", f"#{color:06x}", "-draw",
                    f"color {place[0]},{place[1]} {draws}", tmp_path / "b.png"], check=True)
    assert ours.tobytes() == Pillow.open(tmp_path / "b.png").convert("RGB").tobytes()


def saved(file: bytes, options: SvgOptions | PdfOptions, layout: EmfRasterizationOptions) -> bytes:
    layout.page_width = layout.page_height = float(SIDE)
    layout.background_color = Color.white
    options.vector_rasterization_options = layout
    target = io.BytesIO()
    with Image.load(io.BytesIO(file)) as image:
        image.save(target, options)
    return target.getvalue()


#: Thick enough for the other programs, which smooth edges.
THICK_RING = pen(1, BLACK, 5) + select(NULL_BRUSH) + emf_record(42, words(10, 10, 86, 86)) + brush(2, BLUE) + emf_flood(
    40, 40, BLACK, BORDER)


def test_on_lines_and_text_areas_are_shapes(tmp_path: Path) -> None:
    file = emf(THICK_RING)
    pixels = np.asarray(drawn(file)).astype(int)
    svg = saved(file, SvgOptions(), EmfRasterizationOptions())
    assert b"<image" not in svg
    shown = subprocess.run(["rsvg-convert", "-f", "png"], input=svg, capture_output=True, check=True).stdout
    theirs = np.asarray(Pillow.open(io.BytesIO(shown)).convert("RGB")).astype(int)
    assert (np.abs(pixels - theirs).max(axis=2) > 64).mean() < 0.04  # along smoothed edges
    (tmp_path / "a.pdf").write_bytes(saved(file, PdfOptions(), EmfRasterizationOptions()))
    subprocess.run(["pdftoppm", "-r", "96", "-png", "-singlefile", tmp_path / "a.pdf", tmp_path / "a"], check=True)
    theirs = np.asarray(Pillow.open(tmp_path / "a.png").convert("RGB").resize((SIDE, SIDE))).astype(int)
    assert (np.abs(pixels - theirs).max(axis=2) > 64).mean() < 0.04
    for picture in (pixels, theirs):
        assert tuple(picture[40, 40]) == (0, 0, 255) and tuple(picture[5, 5]) == (255, 255, 255)


def test_smoothed_lines_bound_areas_too() -> None:
    slant = EMF_FRAME + emf_record(27, words(20, 20)) + emf_record(54, words(60, 60)) + emf_flood(50, 30, BLACK, BORDER)
    picture = drawn(emf(slant), smoothing_mode=SmoothingMode.ANTI_ALIAS)
    expect(picture, {(50, 30): BLUE, (58, 23): BLUE, (30, 50): WHITE})


def test_areas_of_a_page_that_is_drawn_in_parts() -> None:
    """A way that leads through all parts of the page and back."""
    comb = pen(1, BLACK, 2) + select(NULL_BRUSH) + emf_record(43, words(2, 2, 94, 94)) + emf_record(
        27, words(32, 2)) + emf_record(54, words(32, 88)) + emf_record(27, words(64, 94)) + emf_record(54, words(64, 8))
    picture = drawn(emf(comb + brush(2, BLUE) + emf_flood(10, 10, BLACK, BORDER)), page_width=3000.0,
                    page_height=3000.0)
    scale = 3000 // SIDE
    expect(picture, {(x * scale, y * scale): BLUE for x in (10, 48, 80) for y in (10, 50, 85)})
    expect(picture, {(20, 20): WHITE})


def underlined_font(index: int) -> bytes:
    name = "DejaVu Sans".encode("utf-16-le").ljust(64, b"\0")
    data = struct.pack("<5i8B", -24, 0, 300, 300, 400, 0, 1, 1, 0, 0, 0, 0, 0) + name
    return emf_record(82, words(index) + data + bytes(320 - len(data))) + select(index)


#: Records of all kinds of drawing. What a file with a flood fill draws besides is what it draws without one.
BESIDE: dict[str, bytes] = {
    "clear": plus(plus_record(0x4009, 0, words(0xFF000000 | GREEN))),
    "source copy": plus(plus_record(0x4009, 0, words(0xFF000000 | RED)), plus_record(0x4023, 1), plus_record(
        0x400A, 0x8000, words(0x80000000 | BLUE, 1) + floats(10, 10, 30, 30)), plus_record(0x4023, 0), plus_record(
            0x400A, 0x8000, words(0x80000000 | BLUE, 1) + floats(50, 10, 30, 30))),
    "inverted": EMF_FRAME + emf_record(20, words(6)) + emf_record(43, words(10, 10, 51, 51)) + emf_record(
        20, words(13)),
    "lines and text": pen(2, RED, 7) + emf_record(42, words(5, 5, 91, 60)) + font(3, -24, "DejaVu Sans")
    + text_out("Wi", (20, 30), []) + underlined_font(4) + text_out("gi", (10, 60), []),
    "clips": emf_record(33) + emf_record(30, words(10, 10, 60, 60)) + brush(2, RED) + emf_record(
        43, words(0, 0, 97, 97)) + emf_record(34, words(-1)) + brush(2, BLUE) + emf_record(43, words(50, 50, 97, 97)),
}


@pytest.mark.parametrize("name", BESIDE)
@pytest.mark.parametrize("mode", [SmoothingMode.NONE, SmoothingMode.ANTI_ALIAS])
def test_a_flood_fill_changes_nothing_else(name: str, mode: SmoothingMode) -> None:
    """One without a brush, and one of a single pixel."""
    handed_over = plus_comment(plus_record(0x4004)) if name in ("clear", "source copy") else b""
    plain = drawn(emf(BESIDE[name]), smoothing_mode=mode)
    assert (len(plain.getcolors(99999)) > 1) == (name != "clear")
    unfilled = emf_record(20, words(13)) + select(NULL_BRUSH) + emf_flood(90, 90, WHITE, SURFACE)
    assert drawn(emf(BESIDE[name] + handed_over + unfilled), smoothing_mode=mode).tobytes() == plain.tobytes()


def test_areas_are_found_among_all_that_was_drawn() -> None:
    """Each kind of drawing is on the paper that areas are found on."""
    fill = brush(9, 0xFF00FF) + emf_flood(90, 90, BLACK, BORDER)
    whole = {(0, 0): 0xFF00FF, (95, 95): 0xFF00FF}
    over = plus_comment(plus_record(0x4004))
    expect(drawn(emf(BESIDE["clear"] + over + brush(9, 0xFF00FF) + emf_flood(90, 90, GREEN, SURFACE))), whole)
    expect(drawn(emf(BESIDE["clear"] + over + brush(9, 0xFF00FF) + emf_flood(90, 90, WHITE, SURFACE))), {(0, 0): GREEN})
    copied = BESIDE["source copy"] + over + brush(9, 0xFF00FF)
    expect(drawn(emf(copied + emf_flood(20, 20, BLUE, SURFACE))), {(20, 20): 0xFF00FF, (70, 20): 0x7F0080})
    expect(drawn(emf(copied + emf_flood(70, 20, BLUE, SURFACE))), {(20, 20): BLUE, (70, 20): 0x7F0080})
    expect(drawn(emf(BESIDE["inverted"] + fill)), {(30, 30): BLACK, (20, 40): WHITE, (70, 70): 0xFF00FF})
    for clipped, color in (((70, 70), BLUE), ((20, 20), RED)):
        expect(drawn(emf(BESIDE["clips"] + brush(9, 0xFF00FF) + emf_flood(*clipped, color, SURFACE))),
               {clipped: 0xFF00FF, (80, 20): WHITE})
