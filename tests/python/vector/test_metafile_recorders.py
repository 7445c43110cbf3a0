"""Recordings of metafiles: pages that do not begin at the origin, images that are turned, pens that stay inside, and
objects of an image that a recording goes on with."""

from __future__ import annotations

import io
from collections.abc import Callable
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import (Color, Font, GraphicsUnit, Image, Pen, PenAlignment, Point, Rectangle, Size)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.emf import EmfImage
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.fileformats.wmf.graphics import WmfRecorderGraphics2D
from zelmor.imaging.imageoptions import EmfRasterizationOptions, WmfRasterizationOptions

from support.drawn_metafiles import BLUE, GREEN, RED, WHITE, color_at, dark, drawn
from support.image_oracles import managed_error
from support.metafiles import SIDE, wmf, wmf_brush, wmf_pen, wmf_record, wmf_select


def emf_recorder(left: int = 0, top: int = 0) -> Any:
    return EmfRecorderGraphics2D(Rectangle(left, top, SIDE, SIDE), Size(960, 960), Size(254, 254))


def wmf_recorder(left: int = 0, top: int = 0) -> Any:
    return WmfRecorderGraphics2D(Rectangle(left, top, SIDE, SIDE), SIDE)


RECORDERS = [emf_recorder, wmf_recorder]


def recorded(recorder: Any) -> Pillow.Image:
    """The saved recording, drawn."""
    target = io.BytesIO()
    with recorder.end_recording() as image:
        is_emf = isinstance(image, EmfImage)
        image.save(target)
    return drawn(target.getvalue(), EmfRasterizationOptions() if is_emf else WmfRasterizationOptions())


def solid(color: int) -> SolidBrush:
    return SolidBrush(Color.from_argb(color >> 16, color >> 8 & 255, color & 255))


def colors(picture: Pillow.Image, *places: tuple[int, int]) -> list[int]:
    return [color_at(picture, place) for place in places]


def four() -> bytes:
    """Four colors, ten by ten pixels each, with 96 pixels to an inch."""
    picture, file = Pillow.new("RGB", (20, 20), (255, 0, 0)), io.BytesIO()
    for place, color in (((10, 0), (0, 255, 0)), ((0, 10), (0, 0, 255)), ((10, 10), (0, 0, 0))):
        picture.paste(color, (*place, place[0] + 10, place[1] + 10))
    picture.save(file, "PNG", dpi=(96, 96))
    return file.getvalue()


@pytest.mark.parametrize("make", RECORDERS)
@pytest.mark.parametrize("left, top", [(0, 0), (10, 20), (-30, 5)])
def test_pages_may_begin_anywhere(make: Callable[..., Any], left: int, top: int) -> None:
    """Coordinates are those of the page: its corner is the corner of the picture."""
    recorder = make(left, top)
    recorder.fill_rectangle(solid(RED), Rectangle(left, top, 20, 20))
    recorder.fill_rectangle(solid(BLUE), Rectangle(left + 50, top + 60, 10, 10))
    picture = recorded(recorder)
    assert colors(picture, (1, 1), (18, 18), (21, 21), (55, 65), (49, 65), (61, 65), (55, 59), (55, 71)) == [
        RED, RED, WHITE, BLUE, WHITE, WHITE, WHITE, WHITE]


@pytest.mark.parametrize("make", RECORDERS)
def test_turned_images(make: Callable[..., Any]) -> None:
    recorder = make()
    recorder.translate_transform(60.0, 20.0)
    recorder.rotate_transform(90.0)
    with Image.load(io.BytesIO(four())) as image:
        recorder.draw_image(image, Rectangle(0, 0, 40, 40), Rectangle(0, 0, 20, 20), GraphicsUnit.PIXEL)
    recorder.set_transform(recorder.get_transform())
    recorder.rotate_transform(-90.0)
    recorder.fill_rectangle(solid(BLUE), Rectangle(20, 50, 10, 10))
    picture = recorded(recorder)
    # The upper left corner is at the upper right, and the upper right at the lower right.
    assert colors(picture, (55, 25), (55, 55), (25, 25), (65, 25), (25, 65), (85, 75)) == [
        RED, GREEN, BLUE, WHITE, WHITE, BLUE]


@pytest.mark.parametrize("make", RECORDERS)
@pytest.mark.parametrize("alignment, found", [(PenAlignment.CENTER, [BLUE, BLUE, WHITE]),
                                              (PenAlignment.INSET, [WHITE, BLUE, BLUE])])
def test_pens_inside(make: Callable[..., Any], alignment: PenAlignment, found: list[int]) -> None:
    """What is drawn afterwards is not cut."""
    pen = Pen(Color.blue, 8.0)
    pen.alignment = alignment
    recorder = make()
    recorder.draw_rectangle(pen, Rectangle(20, 20, 40, 40))
    recorder.fill_rectangle(solid(RED), Rectangle(70, 70, 10, 10))
    picture = recorded(recorder)
    assert colors(picture, (18, 40), (22, 40), (26, 40), (40, 40), (75, 75)) == [*found, WHITE, RED]


@pytest.mark.parametrize("make", RECORDERS)
def test_series_of_curves(make: Callable[..., Any]) -> None:
    points = [Point(10, 40), Point(10, 10), Point(40, 10), Point(40, 40), Point(40, 70), Point(80, 70), Point(80, 40)]
    pen = Pen(Color.blue, 3.0)
    recorder = make()
    recorder.draw_poly_cubic_bezier(pen, points)
    picture = recorded(recorder)
    assert colors(picture, (25, 17), (60, 62), (25, 40)) == [BLUE, BLUE, WHITE]
    for count in (0, 3):
        with managed_error("ArgumentException", f"There are {count} points where 4 are needed. (Parameter 'points')"):
            make().draw_poly_cubic_bezier(pen, points[:count])
    for count in (5, 6):
        with managed_error("ArgumentException", "three points for each curve and one more. (Parameter 'points')"):
            make().draw_poly_cubic_bezier(pen, points[:count])


@pytest.mark.parametrize("make", RECORDERS)
def test_texts_of_nothing(make: Callable[..., Any]) -> None:
    recorder, font = make(), Font("DejaVu Sans", 20.0)
    with managed_error("ArgumentNullException", "string"):
        recorder.draw_string(None, font, Color.black, 10, 10)
    with managed_error("ArgumentNullException", "font"):
        recorder.draw_string("", None, Color.black, 10, 10)
    recorder.draw_string("", font, Color.black, 10, 10)
    assert recorded(recorder).getextrema() == ((255, 255), ) * 3


@pytest.mark.parametrize("make", RECORDERS)
def test_streams_without_pixels(make: Callable[..., Any]) -> None:
    svg = b'<svg xmlns="http://www.w3.org/2000/svg" width="9" height="9"><rect width="9" height="9"/></svg>'
    with managed_error("NotSupportedException", "Taking the pixels of a SvgImage, which has none,"):
        make().draw_image(io.BytesIO(svg), Rectangle(0, 0, 9, 9), GraphicsUnit.PIXEL)


@pytest.mark.parametrize("make", RECORDERS)
@pytest.mark.parametrize("part", [Rectangle(0, 0, 0, 20), Rectangle(0, 0, 20, 0), Rectangle(20, 0, 5, 5),
                                  Rectangle(0, 20, 5, 5), Rectangle(-5, 0, 5, 5), Rectangle(0, -5, 5, 5)])
def test_parts_of_an_image_that_are_none(make: Callable[..., Any], part: Rectangle) -> None:
    recorder = make()
    with Image.load(io.BytesIO(four())) as image:
        recorder.draw_image(image, Rectangle(10, 10, 40, 40), part, GraphicsUnit.PIXEL)
    assert recorded(recorder).getextrema() == ((255, 255), ) * 3


@pytest.mark.parametrize("make", RECORDERS)
def test_parts_of_an_image_that_reach_beyond_it(make: Callable[..., Any]) -> None:
    """The pixels that exist stand where they belong, and there is nothing around them."""
    recorder = make()
    with Image.load(io.BytesIO(four())) as image:
        recorder.draw_image(image, Rectangle(20, 20, 40, 40), Rectangle(-10, -10, 40, 40), GraphicsUnit.PIXEL)
    picture = recorded(recorder)
    assert colors(picture, (35, 35), (45, 35), (35, 45), (29, 35), (51, 35), (35, 29), (35, 51)) == [
        RED, GREEN, BLUE, WHITE, WHITE, WHITE, WHITE]


# ---- Recordings that go on with an image

SQUARE = wmf_record(0x0324, 4, 20, 20, 40, 20, 40, 40, 20, 40)
DELETED = [wmf_record(0x01F0, index) for index in range(10)]


@pytest.mark.parametrize("ends", [b"", DELETED[1], DELETED[0] + DELETED[1], DELETED[1] + wmf_brush(GREEN),
                                  DELETED[2], DELETED[1] + DELETED[0] + wmf_pen(0), DELETED[7]])
def test_objects_behind_those_that_were_deleted(ends: bytes) -> None:
    """New objects have numbers that no record before uses."""
    before = (wmf_pen(0, style=5) + wmf_select(0) + wmf_brush(RED) + wmf_select(1) + wmf_brush(GREEN) + SQUARE + ends)
    image: Any = WmfImage._cast_to(Image.load(io.BytesIO(wmf(before)))).value
    with image:
        recorder: Any = WmfRecorderGraphics2D.from_wmf_image(image)
        recorder.fill_rectangle(solid(BLUE), Rectangle(60, 20, 20, 20))
        recorder.draw_line(Pen(Color.from_argb(0, 255, 0), 5.0), 20, 70, 80, 70)
        recorder.fill_rectangle(solid(0x123456), Rectangle(60, 45, 20, 10))
        recorder.draw_string("I", Font("DejaVu Sans", 12.0), Color.black, 5, 50)
        picture = recorded(recorder)
    assert colors(picture, (30, 30), (70, 30), (50, 70), (70, 50), (50, 30)) == [RED, BLUE, GREEN, 0x123456, WHITE]
    assert dark(picture)[0] < 20


def test_a_recording_leaves_the_states_of_the_image_behind() -> None:
    """Clips, mixes and maps of its records do not reach the new ones."""
    before = (wmf_record(0x0416, 30, 30, 0, 0) + wmf_record(0x0104, 6) + wmf_record(0x020B, 50, 50))
    image: Any = WmfImage._cast_to(Image.load(io.BytesIO(wmf(before)))).value
    with image:
        recorder: Any = WmfRecorderGraphics2D.from_wmf_image(image)
        recorder.fill_rectangle(solid(BLUE), Rectangle(60, 20, 20, 20))
        picture = recorded(recorder)
    assert colors(picture, (70, 30), (59, 30), (70, 41)) == [BLUE, WHITE, WHITE]
