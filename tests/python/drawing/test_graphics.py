"""Drawing on images: the pixels that change, and their colors."""

from __future__ import annotations

import math
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageFont
from zelmor.imaging import (
    CharacterSet, Color, ColorMap, ColorMatrix, CompositingQuality, CustomLineCap, DashCap, DashStyle, Figure, Font,
    FontStyle, Graphics, GraphicsPath, GraphicsUnit, HatchStyle, ImageAttributes, InterpolationMode, LineCap, Matrix,
    Pen, PenAlignment, Point, PointF, RasterImage, Rectangle, RectangleF, Region, SizeF, SmoothingMode, StringAlignment,
    StringDigitSubstitute, StringFormat, StringFormatFlags, StringTrimming, WrapMode,
)
from zelmor.imaging.brushes import (
    HatchBrush, LinearGradientBrush, LinearMulticolorGradientBrush, PathGradientBrush, SolidBrush, TextureBrush,
)
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.fileformats.svg import SvgImage
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.shapes import EllipseShape, PolygonShape, RectangleShape, TextShape

from support.image_oracles import load, managed_error, noise, pixels, write, write_16_bits

WIDTH, HEIGHT = 60, 40


class Sheet:
    """A white image with a graphics on it."""

    def __init__(self, folder: Path, alpha: bool = False) -> None:
        self.folder = folder
        blank = np.full((HEIGHT, WIDTH, 4 if alpha else 3), 255, np.uint8)
        if alpha:
            blank[:] = 0
        self.image = load(write(folder / "sheet.png", blank))
        self.graphics = Graphics(self.image)

    def seen(self, mode: str = "RGB") -> np.ndarray:
        return pixels(self.image, self.folder, mode)

    def ink(self) -> np.ndarray:
        """The pixels of the sheet that are not white."""
        return (self.seen() != 255).any(-1)


@pytest.fixture
def sheet(tmp_path: Path) -> Sheet:
    return Sheet(tmp_path)


def black() -> SolidBrush:
    return SolidBrush(Color.black)


def box(x: int, y: int, width: int, height: int) -> np.ndarray:
    mask = np.zeros((HEIGHT, WIDTH), bool)
    mask[max(y, 0):max(y + height, 0), max(x, 0):max(x + width, 0)] = True
    return mask


@pytest.mark.parametrize("mode", [SmoothingMode.NONE, SmoothingMode.ANTI_ALIAS])
def test_filled_rectangles_cover_whole_pixels(sheet: Sheet, mode: SmoothingMode) -> None:
    sheet.graphics.smoothing_mode = mode
    sheet.graphics.fill_rectangle(SolidBrush(Color.from_argb(10, 20, 30)), Rectangle(5, 6, 7, 8))
    sheet.graphics.fill_rectangles(black(), [RectangleF(-3, -3, 5, 5), RectangleF(58, 38, 9, 9)])
    seen = sheet.seen()
    assert (sheet.ink() == (box(5, 6, 7, 8) | box(0, 0, 2, 2) | box(58, 38, 2, 2))).all()
    assert tuple(seen[6, 5]) == (10, 20, 30) and tuple(seen[0, 0]) == (0, 0, 0)


@pytest.mark.parametrize("mode", [SmoothingMode.NONE, SmoothingMode.ANTI_ALIAS])
def test_thin_frames_and_lines_are_one_pixel(sheet: Sheet, mode: SmoothingMode) -> None:
    sheet.graphics.smoothing_mode = mode
    sheet.graphics.draw_rectangle(Pen(Color.black), 10, 10, 20, 12)
    assert (sheet.ink() == (box(10, 10, 21, 13) & ~box(11, 11, 19, 11))).all()


#: Members whose first overload takes a list of whole points or rectangles, and a later one those with fractions.
WITH_FRACTIONS = {
    "draw_lines": lambda g, made: g.draw_lines(Pen(Color.black), made),
    "draw_beziers": lambda g, made: g.draw_beziers(Pen(Color.black), made),
    "draw_image": lambda g, made: g.draw_image(g.image, made[:3]),
    "part of draw_image": lambda g, made: g.draw_image(g.image, made[:3], Rectangle(1, 2, 12, 10), GraphicsUnit.PIXEL),
}


@pytest.mark.parametrize("way", WITH_FRACTIONS)
def test_a_list_with_fractions_goes_to_the_overload_that_takes_them(tmp_path: Path, way: str) -> None:
    places = [(4, 5), (30, 8), (10, 33), (44, 30)]
    lists = [[Point(*place) for place in places], [PointF(*place) for place in places],
             [Point(*places[0]), *(PointF(*place) for place in places[1:])]]
    results = []
    for number, points in enumerate([*lists, [PointF(x + 0.5, y + 0.5) for x, y in places]]):
        (tmp_path / str(number)).mkdir()
        sheet = Sheet(tmp_path / str(number))
        sheet.graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
        sheet.graphics.fill_rectangle(SolidBrush(Color.red), Rectangle(2, 2, 9, 7))
        WITH_FRACTIONS[way](sheet.graphics, points)
        results.append(sheet.seen())
    assert (results[0] == results[1]).all() and (results[0] == results[2]).all()
    assert (results[0] != results[3]).any()


def test_a_list_that_fits_no_overload_names_its_element(sheet: Sheet) -> None:
    with pytest.raises(RuntimeError, match="InvalidCastException|can't build Rectangle value from 'int'"):
        sheet.graphics.fill_rectangles(black(), [Rectangle(1, 1, 2, 2), 3])  # type: ignore[list-item]
    assert not sheet.ink().any()


def test_points_may_be_those_of_a_shape(tmp_path: Path) -> None:
    """A list of the library is one of points as well as a list of Python."""
    points = [PointF(5, 5), PointF(40, 8), PointF(20, 30)]
    seen = []
    for each in (points, PolygonShape(points, True).points, tuple(points)):
        sheet = Sheet(tmp_path)
        sheet.graphics.fill_polygon(black(), each)
        sheet.graphics.draw_lines(Pen(Color.black), each)
        seen.append(sheet.ink())
    assert seen[0].any() and all((other == seen[0]).all() for other in seen)
    with managed_error("ArgumentNullException", "points"):
        Sheet(tmp_path).graphics.draw_lines(Pen(Color.black), None)


def test_lines_include_both_ends(sheet: Sheet) -> None:
    sheet.graphics.draw_line(Pen(Color.black), Point(3, 4), Point(13, 4))
    sheet.graphics.draw_line(Pen(Color.black, 0.0), 20, 5, 20, 25)
    assert (sheet.ink() == (box(3, 4, 11, 1) | box(20, 5, 1, 21))).all()


def test_every_way_to_a_rectangle_is_the_same(tmp_path: Path) -> None:
    brush, pen = black(), Pen(Color.black, 2.0)
    ways = [lambda g: g.fill_rectangle(brush, Rectangle(3, 4, 10, 11)),
            lambda g: g.fill_rectangle(brush, RectangleF(3, 4, 10, 11)),
            lambda g: g.fill_rectangle(brush, 3, 4, 10, 11),
            lambda g: g.fill_rectangle(brush, 3.0, 4.0, 10.0, 11.0),
            lambda g: g.fill_rectangle_f(brush, RectangleF(3, 4, 10, 11)),
            lambda g: g.fill_polygon(brush, [Point(3, 4), Point(13, 4), Point(13, 15), Point(3, 15)]),
            lambda g: g.fill_polygon(brush, [PointF(3, 4), PointF(13, 4), PointF(13, 15), PointF(3, 15)]),
            lambda g: g.fill_region(brush, Region(Rectangle(3, 4, 10, 11)))]
    frames = [lambda g: g.draw_rectangle(pen, Rectangle(3, 4, 10, 11)),
              lambda g: g.draw_rect(pen, 3, 4, 10, 11),
              lambda g: g.draw_rect_f(pen, 3, 4, 10, 11),
              lambda g: g.draw_polygon(pen, [Point(3, 4), Point(13, 4), Point(13, 15), Point(3, 15)])]
    for group in (ways, frames):
        results = []
        for way in group:
            sheet = Sheet(tmp_path)
            way(sheet.graphics)
            results.append(sheet.ink())
        assert results[0].any() and all((result == results[0]).all() for result in results)


def test_a_disc_has_its_area(sheet: Sheet) -> None:
    sheet.graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
    sheet.graphics.fill_ellipse(black(), Rectangle(10, 5, 30, 30))
    assert (255 - sheet.seen()[..., 0].astype(float)).sum() / 255 == pytest.approx(math.pi * 15**2, rel=5e-3)
    sheet.graphics.clear(Color.white)
    sheet.graphics.fill_pie(black(), Rectangle(10, 5, 30, 30), 0.0, 90.0)
    assert (255 - sheet.seen()[..., 0].astype(float)).sum() / 255 == pytest.approx(math.pi * 15**2 / 4, rel=2e-2)
    assert sheet.ink()[25, 30] and not sheet.ink()[15, 20]


def test_colors_are_laid_over_others(tmp_path: Path) -> None:
    sheet = Sheet(tmp_path)
    sheet.graphics.fill_rectangle(SolidBrush(Color.from_argb(128, 255, 0, 0)), 0, 0, 10, 10)
    assert sheet.seen()[5, 5] == pytest.approx([255, 127, 127], abs=1)
    brush = black()
    brush.opacity = 0.25
    sheet.graphics.fill_rectangle(brush, 20, 0, 10, 10)
    assert sheet.seen()[5, 25] == pytest.approx([191] * 3, abs=1)
    clear = Sheet(tmp_path, alpha=True)
    clear.graphics.fill_rectangle(SolidBrush(Color.from_argb(100, 10, 200, 30)), 0, 0, 5, 5)
    seen = clear.seen("RGBA")
    assert seen[0, 0] == pytest.approx([10, 200, 30, 100], abs=2) and tuple(seen[9, 9]) == (0, 0, 0, 0)
    clear.graphics.clear(Color.from_argb(7, 1, 2, 3))
    assert clear.seen("RGBA")[20, 20, 3] == 7


def test_pixels_that_are_not_drawn_on_stay(tmp_path: Path) -> None:
    source = noise(4)
    image = load(write(tmp_path / "a.png", source))
    Graphics(image).draw_line(Pen(Color.red), 0, 0, 5, 0)
    seen = pixels(image, tmp_path, "RGBA")
    assert (seen[1:] == source[1:]).all() and tuple(seen[0, 3]) == (255, 0, 0, 255)


@pytest.mark.parametrize(("bands", "depth"), [(1, 8), (3, 8), (4, 8), (3, 16), (4, 16)])
def test_copies_are_drawn_on_alone(tmp_path: Path, bands: int, depth: int) -> None:
    """An image and a copy of it share their pixels only until one of them changes."""
    source = noise(bands)
    for drawn_on in (0, 1):
        path = tmp_path / "a.png"
        image = load(write(path, source) if depth == 8 else write_16_bits(path, source.astype(np.uint16) * 257))
        both = (image, RasterImage._cast_to(PngImage(image)).value)
        Graphics(both[drawn_on]).fill_rectangle(SolidBrush(Color.red), 3, 4, 5, 6)
        changed, kept = (pixels(each, tmp_path, "RGBA") for each in (both[drawn_on], both[1 - drawn_on]))
        assert (kept == np.asarray(Pillow.fromarray(source).convert("RGBA"))).all()
        assert (changed[4:10, 3:8] == (255, 0, 0, 255)).all()
        kept[4:10, 3:8] = (255, 0, 0, 255)
        assert (changed == kept).all()


def test_transformations_and_units(sheet: Sheet) -> None:
    g = sheet.graphics
    g.translate_transform(10.0, 5.0)
    g.scale_transform(2.0, 2.0)
    g.fill_rectangle(black(), 1, 1, 3, 3)
    assert (sheet.ink() == box(12, 7, 6, 6)).all()
    changed = Matrix()
    changed.scale(3.0, 3.0)
    g.transform = changed
    assert g.transform == changed
    g.transform.scale(9.0, 9.0)
    assert g.transform == changed
    g.reset_transform()
    assert g.transform == Matrix()
    g.clear(Color.white)
    g.page_unit = GraphicsUnit.INCH
    g.fill_rectangle(black(), RectangleF(10 / g.dpi_x, 5 / g.dpi_y, 20 / g.dpi_x, 4 / g.dpi_y))
    assert (sheet.ink() == box(10, 5, 20, 4)).all()
    g.page_unit, g.page_scale = GraphicsUnit.PIXEL, 2.0
    g.clear(Color.white)
    g.fill_rectangle(black(), 1, 1, 2, 2)
    assert (sheet.ink() == box(2, 2, 4, 4)).all()


def test_clips(sheet: Sheet) -> None:
    g = sheet.graphics
    assert g.clip.is_infinite(g)
    region = Region(Rectangle(5, 5, 20, 20))
    region.exclude(Rectangle(10, 10, 5, 5))
    g.clip = region
    assert g.clip == region
    g.clear(Color.black)
    assert (sheet.ink() == (box(5, 5, 20, 20) & ~box(10, 10, 5, 5))).all()
    g.clip = Region(Rectangle(0, 0, 3, 3))
    g.clear(Color.white)
    g.clip = Region()
    g.clear(Color.white)
    assert not sheet.ink().any()
    region.make_infinite()
    region.exclude(Rectangle(0, 0, 50, 40))
    g.clip = region
    g.fill_rectangle(black(), 0, 0, WIDTH, HEIGHT)
    assert (sheet.ink() == box(50, 0, 10, 40)).all()


def test_updates_reach_the_image_at_their_end(sheet: Sheet) -> None:
    g = sheet.graphics
    g.begin_update()
    assert g.is_in_begin_update_call
    g.fill_rectangle(black(), 1, 1, 5, 5)
    g.fill_rectangle(SolidBrush(Color.white), 2, 2, 3, 3)
    # A save would take the drawing in: see test_forms.py.
    assert all(color == Color.from_argb(255, 255, 255, 255)
               for color in sheet.image.load_pixels(Rectangle(0, 0, WIDTH, HEIGHT)))
    with managed_error("InvalidOperationException", "begun already"):
        g.begin_update()
    g.end_update()
    assert not g.is_in_begin_update_call
    assert (sheet.ink() == (box(1, 1, 5, 5) & ~box(2, 2, 3, 3))).all()
    with managed_error("InvalidOperationException", "No update"):
        g.end_update()


def test_an_update_of_an_image_that_got_another_size(sheet: Sheet) -> None:
    """What was drawn before is in the image when it gets its size; after it, nothing has a place."""
    g = sheet.graphics
    g.begin_update()
    g.fill_rectangle(black(), 1, 1, 5, 5)
    RasterImage._cast_to(sheet.image).value.resize(WIDTH * 2, HEIGHT)
    g.fill_rectangle(black(), 20, 20, 5, 5)
    with managed_error("InvalidOperationException", "The image was given another size since the update began."):
        g.end_update()
    assert not g.is_in_begin_update_call
    seen = sheet.seen()
    assert seen.shape[1] == WIDTH * 2 and (seen[2:5, 3:11] < 20).all() and (seen[:, 17:] == 255).all()
    g.fill_rectangle(black(), 100, 1, 5, 5)
    assert (sheet.seen()[1:6, 100:105] == 0).all()


@pytest.mark.parametrize("mode", [mode for mode in InterpolationMode if mode != InterpolationMode.INVALID])
def test_ways_of_enlarging_pictures(sheet: Sheet, tmp_path: Path, mode: InterpolationMode) -> None:
    """The nearest pixel has the colors of the picture alone; others mix them, those of high quality all the same."""
    picture = load(write(tmp_path / "p.png", np.array([[[255, 0, 0], [0, 255, 0]]], np.uint8)))

    def enlarged(chosen: InterpolationMode) -> np.ndarray:
        other = Sheet(tmp_path)
        other.graphics.interpolation_mode = chosen
        other.graphics.draw_image(picture, Rectangle(0, 0, 2, 1), Rectangle(10, 10, 20, 10), GraphicsUnit.PIXEL)
        return other.seen()[12, 10:30]

    found = enlarged(mode)
    sharp = mode in (InterpolationMode.LOW, InterpolationMode.NEAREST_NEIGHBOR)
    assert (found[2] == [255, 0, 0]).all() and (found[17] == [0, 255, 0]).all()
    assert (len(np.unique(found, axis=0)) == 2) == sharp
    fine = (InterpolationMode.HIGH, InterpolationMode.BICUBIC, InterpolationMode.HIGH_QUALITY_BILINEAR,
            InterpolationMode.HIGH_QUALITY_BICUBIC)
    assert (found == enlarged(fine[-1])).all() == (mode in fine)


def test_pictures_of_lines_are_not_drawn_on(sheet: Sheet) -> None:
    vector = SvgImage(4, 4)
    with managed_error("NotSupportedException", "Drawing on a Zelmor.Imaging.FileFormats.Svg.SvgImage"):
        Graphics(vector)
    with managed_error("NotSupportedException", "Drawing a Zelmor.Imaging.FileFormats.Svg.SvgImage"):
        sheet.graphics.draw_image(vector, PointF(0, 0))
    with managed_error("NotSupportedException", "A texture of a Zelmor.Imaging.FileFormats.Svg.SvgImage"):
        sheet.graphics.fill_rectangle(TextureBrush(vector), 0, 0, 9, 9)
    assert not sheet.ink().any()


def test_gradients_go_from_one_color_to_the_other(sheet: Sheet) -> None:
    brush = LinearGradientBrush(PointF(0, 0), PointF(WIDTH, 0), Color.black, Color.white)
    sheet.graphics.fill_rectangle(brush, 0, 0, WIDTH, HEIGHT)
    row = sheet.seen()[7, :, 0]
    assert row == pytest.approx([255 * (x + 0.5) / WIDTH for x in range(WIDTH)], abs=2)
    brush.set_blend_triangular_shape(0.5)
    sheet.graphics.fill_rectangle(brush, 0, 0, WIDTH, HEIGHT)
    row = sheet.seen()[7, :, 0]
    assert row == pytest.approx([255 * (1 - abs(1 - 2 * (x + 0.5) / WIDTH)) for x in range(WIDTH)], abs=3)
    brush = LinearGradientBrush(Rectangle(0, 0, WIDTH, HEIGHT), Color.black, Color.white, 90.0)
    sheet.graphics.fill_rectangle(brush, 0, 0, WIDTH, HEIGHT)
    assert sheet.seen()[:, 9, 0] == pytest.approx([255 * (y + 0.5) / HEIGHT for y in range(HEIGHT)], abs=2)
    with managed_error("InvalidOperationException", "no colors"):
        sheet.graphics.fill_rectangle(LinearMulticolorGradientBrush(Point(0, 0), Point(9, 9)), 0, 0, 5, 5)


def test_a_path_gradient_has_its_colors_at_corners_and_center(sheet: Sheet) -> None:
    brush = PathGradientBrush([Point(0, 0), Point(40, 0), Point(40, 40), Point(0, 40)])
    assert brush.center_point == PointF(20, 20) and len(list(brush.path_points)) == 4
    brush.center_color = Color.from_argb(255, 0, 255, 0)
    brush.surround_colors = [Color.from_argb(255, 255, 0, 0), Color.from_argb(255, 0, 0, 255)]
    sheet.graphics.fill_rectangle(brush, 0, 0, WIDTH, HEIGHT)
    seen = sheet.seen().astype(int)
    assert seen[20, 20] == pytest.approx([0, 255, 0], abs=20)
    assert seen[0, 0] == pytest.approx([255, 0, 0], abs=20) and seen[0, 39] == pytest.approx([0, 0, 255], abs=20)
    assert seen[0, 20] == pytest.approx([127, 0, 127], abs=20)
    assert tuple(seen[20, 50]) == (255, 255, 255)


def test_hatches_have_two_colors(sheet: Sheet) -> None:
    brush = HatchBrush()
    brush.foreground_color, brush.background_color = Color.black, Color.red
    shares = {}
    for style in HatchStyle:
        brush.hatch_style = style
        sheet.graphics.fill_rectangle(brush, 0, 0, 40, 40)
        area = sheet.seen()[:40, :40]
        dark = (area == 0).all(-1)
        assert (dark | (area == (255, 0, 0)).all(-1)).all()
        assert (area[:32, :32] == area[8:40, 8:40]).all()
        shares[style.name] = dark.mean()
    for percent in (5, 10, 20, 25, 30, 40, 50, 60, 70, 75, 80, 90):
        assert shares[f"PERCENT{percent:02}"] == pytest.approx(percent / 100, abs=0.01)
    assert all(0 < share < 1 for share in shares.values())


def tile(tmp_path: Path) -> RasterImage:
    return load(write(tmp_path / "tile.png", noise(3, seed=7, width=5, height=4)))


@pytest.mark.parametrize("mode, flips", [(WrapMode.TILE, (False, False)), (WrapMode.TILE_FLIP_X, (True, False)),
                                         (WrapMode.TILE_FLIP_Y, (False, True)), (WrapMode.TILE_FLIP_XY, (True, True))])
def test_textures_repeat(sheet: Sheet, tmp_path: Path, mode: WrapMode, flips: tuple[bool, bool]) -> None:
    image = tile(tmp_path)
    sheet.graphics.fill_rectangle(TextureBrush(image, mode), 0, 0, WIDTH, HEIGHT)
    source = noise(3, seed=7, width=5, height=4)
    row = np.hstack([source, source[:, ::-1] if flips[0] else source])
    block = np.vstack([row, row[::-1] if flips[1] else row])
    assert (sheet.seen() == np.tile(block, (5, 6, 1))).all()


def test_a_texture_can_be_a_part(sheet: Sheet, tmp_path: Path) -> None:
    brush = TextureBrush(tile(tmp_path), Rectangle(1, 1, 2, 2))
    brush.translate_transform(1.0, 0.0)
    sheet.graphics.fill_rectangle(brush, 0, 0, 10, 10)
    part = np.roll(np.tile(noise(3, seed=7, width=5, height=4)[1:3, 1:3], (5, 5, 1)), 1, axis=1)
    assert (sheet.seen()[:10, :10] == part).all()


def test_images_are_drawn_pixel_by_pixel(sheet: Sheet, tmp_path: Path) -> None:
    image, source = tile(tmp_path), noise(3, seed=7, width=5, height=4)
    g = sheet.graphics
    g.draw_image_unscaled(image, Point(3, 2))
    assert (sheet.seen()[2:6, 3:8] == source).all() and sheet.ink().sum() <= 20
    g.draw_image(image, Rectangle(1, 1, 2, 3), Rectangle(20, 10, 2, 3), GraphicsUnit.PIXEL)
    assert (sheet.seen()[10:13, 20:22] == source[1:4, 1:3]).all()
    g.interpolation_mode = InterpolationMode.NEAREST_NEIGHBOR
    g.draw_image(image, Rectangle(30, 20, 10, 8))
    assert (sheet.seen()[20:28, 30:40] == source.repeat(2, 0).repeat(2, 1)).all()
    g.draw_image(image, [Point(50, 10), Point(50, 15), Point(46, 10)])  # a rotation by 90 degrees
    assert (sheet.seen()[10:15, 46:50] == np.rot90(source, -1)).all()
    g.draw_image_unscaled_and_clipped(image, Rectangle(0, 30, 2, 2))
    assert (sheet.seen()[30:32, 0:2] == source[:2, :2]).all() and not sheet.ink()[32:, :5].any()


def test_image_attributes_change_colors(sheet: Sheet, tmp_path: Path) -> None:
    image, source = tile(tmp_path), noise(3, seed=7, width=5, height=4)
    swap = ColorMatrix()
    swap.matrix00, swap.matrix02, swap.matrix20, swap.matrix22 = 0, 1, 1, 0
    attributes = ImageAttributes()
    attributes.set_color_matrix(swap)

    def drawn() -> np.ndarray:
        sheet.graphics.clear(Color.white)
        sheet.graphics.draw_image(image, Rectangle(0, 0, 5, 4), GraphicsUnit.PIXEL, attributes)
        return sheet.seen()[:4, :5]

    assert (drawn() == source[..., ::-1]).all()
    attributes.clear_color_matrix()
    attributes.set_threshold(0.5)
    assert (drawn() == np.where(source > 127, 255, 0)).all()
    attributes.clear_threshold()
    r, g, b = (int(v) for v in source[0, 0])
    change = ColorMap()
    change.old_color, change.new_color = Color.from_argb(r, g, b), Color.from_argb(1, 2, 3)
    attributes.set_remap_table([change])
    assert tuple(drawn()[0, 0]) == (1, 2, 3)
    attributes.set_no_op()
    assert (drawn() == source).all()
    attributes.clear_no_op()
    attributes.set_output_channel_color_profile("a.icc")
    with managed_error("NotSupportedException", "SetOutputChannelColorProfile"):
        drawn()


def test_pens_draw_dashes_caps_and_insets(sheet: Sheet) -> None:
    g = sheet.graphics
    pen = Pen(Color.black, 2.0)
    pen.dash_pattern = [2.0, 1.0]
    assert pen.dash_style == DashStyle.CUSTOM
    g.draw_line(pen, PointF(0.5, 9.5), PointF(30.5, 9.5))
    row = sheet.ink()[9]
    assert [bool(v) for v in row[1:25]] == [True] * 4 + ([False] * 2 + [True] * 4) * 3 + [False] * 2
    g.clear(Color.white)
    pen = Pen(Color.black, 4.0)
    pen.alignment = PenAlignment.INSET
    g.draw_rectangle(pen, 10, 10, 20, 20)
    rows, columns = np.nonzero(sheet.ink())
    assert columns.max() - columns.min() in (19, 20) and rows.max() - rows.min() in (19, 20)
    g.clear(Color.white)
    pen = Pen(Color.black, 3.0)
    pen.end_cap = LineCap.ARROW_ANCHOR
    g.draw_line(pen, 5, 20, 40, 20)
    heights = sheet.ink().sum(0)
    assert heights[10] == 3 and heights[34:37].max() >= 5 and heights[39] == 1 and set(heights[5:33]) == {3}


def test_a_compound_pen_draws_lines_beside_each_other(sheet: Sheet) -> None:
    g = sheet.graphics
    pen = Pen(Color.black, 10.0)
    pen.compound_array = [0.0, 0.2, 0.8, 1.0]
    g.draw_line(pen, 5, 20, 40, 20)
    column = sheet.ink()[:, 20]
    assert np.flatnonzero(column).tolist() in ([15, 16, 23, 24], [16, 17, 24, 25])
    g.clear(Color.white)
    g.draw_rectangle(pen, 10, 10, 20, 20)  # on the left of the way, which goes clockwise, and on the right
    row = sheet.ink()[20]
    assert row[[6, 14, 26, 34]].all() and not row[[10, 20, 30]].any()
    pen.compound_array = [0.0, 0.9, 0.2, 1.0]
    with managed_error("ArgumentException", "CompoundArray"):
        g.draw_line(pen, 5, 20, 40, 20)


def test_curves_go_through_their_points(sheet: Sheet) -> None:
    points = [Point(5, 5), Point(20, 30), Point(40, 8), Point(55, 35)]
    sheet.graphics.draw_curve(Pen(Color.black, 2.0), points)
    sheet.graphics.draw_beziers(Pen(Color.black, 2.0), [Point(0, 39), Point(10, 20), Point(20, 20), Point(30, 39)])
    ink = sheet.ink()
    assert all(ink[p.y - 1:p.y + 2, p.x - 1:p.x + 2].any() for p in points) and ink[24:27, 15].any()
    with managed_error("ArgumentException", "three for each"):
        sheet.graphics.draw_beziers(Pen(Color.black), [Point(0, 0)] * 5)
    with managed_error("ArgumentOutOfRangeException", "offset"):
        sheet.graphics.draw_curve(Pen(Color.black), [PointF(0, 0), PointF(1, 1)], 7, 1)


def test_paths_are_drawn_and_filled(sheet: Sheet) -> None:
    figure = Figure()
    figure.add_shapes([RectangleShape(RectangleF(5, 5, 30, 30)), RectangleShape(RectangleF(10, 10, 10, 10))])
    path = GraphicsPath([figure])
    sheet.graphics.fill_path(black(), path)
    assert (sheet.ink() == (box(5, 5, 30, 30) & ~box(10, 10, 10, 10))).all()
    sheet.graphics.clear(Color.white)
    sheet.graphics.draw_path(Pen(Color.black), path)
    frame = box(5, 5, 31, 31) & ~box(6, 6, 29, 29) | box(10, 10, 11, 11) & ~box(11, 11, 9, 9)
    assert (sheet.ink() == frame).all()


FONT = Font("DejaVu Sans", 12.0, GraphicsUnit.PIXEL)


def extent(sheet: Sheet) -> tuple[int, int, int, int]:
    rows, columns = np.nonzero(sheet.ink())
    return int(columns.min()), int(rows.min()), int(columns.max()) + 1, int(rows.max()) + 1


def test_text_is_where_it_was_measured(sheet: Sheet) -> None:
    g = sheet.graphics
    size = g.measure_string("Ag", FONT, SizeF(0, 0), None)
    assert 8 < size.width < 30 and 10 < size.height < 25
    g.draw_string("Ag", FONT, black(), 10.0, 5.0)
    left, top, right, bottom = extent(sheet)
    assert 9 <= left and right <= 10 + size.width + 1 and 4 <= top and bottom <= 5 + size.height + 1
    twice = g.measure_string("AgAg", FONT, SizeF(0, 0), None)
    assert twice.width == pytest.approx(2 * size.width, abs=2) and twice.height == size.height
    assert g.measure_string("", FONT, SizeF(0, 0), None) == SizeF(0, 0)
    g.clear(Color.white)
    g.draw_string("", FONT, black(), 0.0, 0.0)
    g.draw_string("x", Font("DejaVu Sans", 0.0), black(), 0.0, 0.0)
    assert not sheet.ink().any()


def test_text_is_aligned_and_broken(sheet: Sheet) -> None:
    g = sheet.graphics
    format_ = StringFormat()
    format_.alignment = format_.line_alignment = StringAlignment.FAR
    g.draw_string("il", FONT, black(), RectangleF(0, 0, WIDTH, HEIGHT), format_)
    left, top, right, bottom = extent(sheet)
    assert right > WIDTH - 4 and bottom > HEIGHT - 6 and left > 40 and top > 20
    one = g.measure_string("ab cd ef", FONT, SizeF(0, 0), format_)
    broken = g.measure_string("ab cd ef", FONT, SizeF(one.width / 2, 0), format_)
    assert broken.height > 1.9 * one.height / 1 - 1 and broken.width <= one.width / 2
    format_.format_flags = StringFormatFlags.NO_WRAP
    assert g.measure_string("ab cd ef", FONT, SizeF(one.width / 2, 0), format_).height == one.height
    format_.format_flags = StringFormatFlags.DIRECTION_VERTICAL
    with managed_error("NotSupportedException", "vertical"):
        g.draw_string("a", FONT, black(), PointF(0, 0), format_)


def test_text_takes_styles_brushes_and_transformations(sheet: Sheet) -> None:
    g = sheet.graphics
    g.draw_string("ii", Font("DejaVu Sans", 12.0, FontStyle.UNDERLINE, GraphicsUnit.PIXEL), black(), 5.0, 5.0)
    assert sheet.ink().sum(1).max() > 5
    g.clear(Color.white)
    g.rotate_transform(90.0)
    g.draw_string("lll", FONT, SolidBrush(Color.red), 2.0, -40.0)
    left, top, right, bottom = extent(sheet)
    assert bottom - top >= right - left - 3 and (sheet.seen()[..., 0] == 255).all()


def test_text_shapes_have_outlines() -> None:
    shape = TextShape("o", RectangleF(10, 20, 40, 30), Font("DejaVu Sans", 20.0, GraphicsUnit.PIXEL), StringFormat())
    assert shape.has_segments and len(list(shape.segments)) > 8
    figure = Figure()
    figure.add_shape(shape)
    path = GraphicsPath([figure])
    xs = [s.start_point.x for s in shape.segments]
    ys = [s.start_point.y for s in shape.segments]
    middle = PointF((min(xs) + max(xs)) / 2, (min(ys) + max(ys)) / 2)
    assert not path.is_visible(middle) and path.is_visible(PointF(min(xs) + 1, middle.y))
    assert not TextShape().has_segments and list(TextShape().segments) == []


@pytest.mark.parametrize("size", [9.0, 20.0])
def test_text_shapes_have_all_of_their_letters(size: float) -> None:
    """Also far from the first one, where Pillow says that the last one is."""
    advance = ImageFont.truetype("DejaVuSans.ttf", 1000).getlength("H") * size / 1000
    widths = {}
    for letters in (1, 12, 300):
        shape = TextShape("H" * letters, RectangleF(0, 0, 1e5, 60), Font("DejaVu Sans", size, GraphicsUnit.PIXEL),
                          StringFormat())
        places = [segment.start_point.x for segment in shape.segments]
        assert len(places) == 12 * letters
        widths[letters] = max(places) - min(places)
        # Letters may be set by whole pixels.
        assert widths[letters] - widths[1] == pytest.approx((letters - 1) * advance, abs=0.5 * letters)


def test_what_is_set_is_read(sheet: Sheet) -> None:
    g = sheet.graphics
    assert g.image == sheet.image and (g.image.width, g.image.height) == (WIDTH, HEIGHT)
    refused = {CompositingQuality.INVALID: "ArgumentOutOfRangeException",
               CompositingQuality.GAMMA_CORRECTED: "NotSupportedException"}
    for mode in CompositingQuality:
        if mode in refused:
            with managed_error(refused[mode], "CompositingQuality"):
                g.compositing_quality = mode
            continue
        g.compositing_quality = mode
        assert g.compositing_quality == mode
    g.paintable_image_options = None
    with managed_error("NotSupportedException", "Graphics.PaintableImageOptions"):
        g.paintable_image_options = PngOptions()
    assert g.paintable_image_options is None
    assert g.page_unit == GraphicsUnit.DISPLAY and g.page_scale == 1.0


def test_what_cannot_be_drawn_is_refused(sheet: Sheet) -> None:
    g = sheet.graphics
    with managed_error("ArgumentNullException", "pen"):
        g.draw_line(None, 0, 0, 1, 1)
    with managed_error("ArgumentNullException", "brush"):
        g.fill_rectangle(None, 0, 0, 1, 1)
    with managed_error("ArgumentNullException", "font"):
        g.draw_string("a", None, black(), 0.0, 0.0)
    with managed_error("ArgumentException", "needed"):
        g.draw_lines(Pen(Color.black), [Point(0, 0)])
    for far in (1e9, 3e38, math.inf, -math.inf, math.nan):
        try:
            g.draw_line(Pen(Color.black), PointF(0, 0), PointF(far, far))
            g.fill_ellipse(black(), RectangleF(0, 0, far, far))
            g.draw_string("a", FONT, black(), far, far)
        except RuntimeError as error:
            assert "InvalidOperationException" in str(error)
    with sheet.image:
        pass
    with managed_error("ObjectDisposedException"):
        g.fill_rectangle(black(), 0, 0, 1, 1)
    with managed_error("ArgumentNullException", "source_image"):
        Graphics(None)


def test_an_image_is_drawn_on_itself(tmp_path: Path) -> None:
    source = noise(3)
    image = load(write(tmp_path / "a.png", source))
    Graphics(image).draw_image(image, Rectangle(0, 0, 8, 8), Rectangle(8, 0, 8, 8), GraphicsUnit.PIXEL)
    assert (pixels(image, tmp_path)[:8, 8:16] == source[:8, :8]).all()


def test_an_ellipse_path_fills_as_the_ellipse(tmp_path: Path) -> None:
    seen: list[Any] = []
    for way in range(2):
        sheet = Sheet(tmp_path)
        if way == 0:
            sheet.graphics.fill_ellipse(black(), 5, 5, 40, 20)
        else:
            figure = Figure()
            figure.add_shape(EllipseShape(RectangleF(5, 5, 40, 20)))
            sheet.graphics.fill_path(black(), GraphicsPath([figure]))
        seen.append(sheet.ink())
    assert (seen[0] == seen[1]).all() and seen[0].any()


# ---- Pens


def test_dashes_have_points(sheet: Sheet) -> None:
    pen = Pen(Color.black, 10.0)
    pen.dash_pattern, pen.dash_cap = [1.0, 1.5], DashCap.TRIANGLE
    sheet.graphics.draw_line(pen, PointF(9.5, 19.5), PointF(49.5, 19.5))
    heights = sheet.ink().sum(0)
    # A dash from 10 to 20, which points to both sides; the next begins at 35.
    assert (heights[11:19] >= 10).all() and heights[27] == 0
    assert heights[22] in (4, 5, 6) and heights[32] in (3, 4, 5, 6)
    assert heights[7] in (3, 4, 5, 6) and (heights[36:44] >= 10).all()
    pen.dash_cap = DashCap.FLAT
    sheet.graphics.clear(Color.white)
    sheet.graphics.draw_line(pen, PointF(9.5, 19.5), PointF(49.5, 19.5))
    assert sheet.ink().sum(0)[22] == 0


@pytest.mark.parametrize(("alignment", "rows"), [
    (PenAlignment.CENTER, (18, 22)), (PenAlignment.LEFT, (16, 20)), (PenAlignment.RIGHT, (20, 24))])
def test_a_line_beside_its_way(sheet: Sheet, alignment: PenAlignment, rows: tuple[int, int]) -> None:
    pen = Pen(Color.black, 4.0)
    pen.alignment = alignment
    sheet.graphics.draw_line(pen, PointF(4.5, 19.5), PointF(40.5, 19.5))
    assert (sheet.ink() == box(5, rows[0], 36, rows[1] - rows[0])).all()


def test_a_pen_outside_of_an_outline(sheet: Sheet) -> None:
    pen = Pen(Color.black, 4.0)
    pen.alignment = PenAlignment.OUTSET
    sheet.graphics.draw_rectangle(pen, RectangleF(19.5, 9.5, 20, 20))
    ink = sheet.ink()
    assert not ink[10:30, 20:40].any() and ink[20, 16:20].all() and ink[20, 40:44].all() and not ink[20, 15]


def test_a_custom_cap_has_a_base(sheet: Sheet) -> None:
    figure = Figure()
    figure.add_shape(RectangleShape(RectangleF(-1.5, 0, 3, 1)))
    cap = CustomLineCap(GraphicsPath([figure]), None, LineCap.FLAT, 2.0)
    pen = Pen(Color.black, 4.0)
    pen.end_cap, pen.custom_end_cap = LineCap.CUSTOM, cap

    def heights() -> list[int]:
        sheet.graphics.clear(Color.white)
        sheet.graphics.draw_line(pen, PointF(4.5, 19.5), PointF(39.5, 19.5))
        return [int(height) for height in sheet.ink().sum(0)]

    # The line ends at 32, and the cap is a block from 40 to 44.
    drawn = heights()
    assert drawn[31] == 4 and drawn[33:39] == [0] * 6 and drawn[41] == 12
    cap.base_cap = LineCap.SQUARE
    assert heights()[33] == 4 and heights()[36] == 0
    cap.base_inset = 0.0
    assert heights()[20:40] == [4] * 20


# ---- What surrounds a picture


def around(sheet: Sheet, image: RasterImage, attributes: ImageAttributes) -> np.ndarray:
    """A part of the image that is one pixel larger than it on each side."""
    sheet.graphics.clear(Color.white)
    sheet.graphics.draw_image(image, Rectangle(-1, -1, 7, 6), Rectangle(10, 10, 7, 6), GraphicsUnit.PIXEL, attributes)
    return sheet.seen()[10:16, 10:17]


def test_a_color_surrounds_a_picture(sheet: Sheet, tmp_path: Path) -> None:
    image, source = tile(tmp_path), noise(3, seed=7, width=5, height=4)
    attributes = ImageAttributes()
    attributes.set_wrap_mode(WrapMode.CLAMP, Color.from_argb(10, 20, 30))
    seen = around(sheet, image, attributes)
    assert (seen[1:5, 1:6] == source).all()
    assert (seen[0] == (10, 20, 30)).all() and (seen[:, 6] == (10, 20, 30)).all()
    with managed_error("NotSupportedException", "clamp"):
        attributes.set_wrap_mode(WrapMode.CLAMP, Color.red, True)


@pytest.mark.parametrize("mode", [WrapMode.TILE, WrapMode.TILE_FLIP_X, WrapMode.TILE_FLIP_Y, WrapMode.TILE_FLIP_XY])
def test_a_picture_goes_on(sheet: Sheet, tmp_path: Path, mode: WrapMode) -> None:
    image, source = tile(tmp_path), noise(3, seed=7, width=5, height=4)
    attributes = ImageAttributes()
    attributes.set_wrap_mode(mode)
    seen = around(sheet, image, attributes)
    flips_x, flips_y = (mode in (flip, WrapMode.TILE_FLIP_XY) for flip in (WrapMode.TILE_FLIP_X, WrapMode.TILE_FLIP_Y))
    assert (seen[1:5, 0] == source[:, 0 if flips_x else 4]).all()
    assert (seen[0, 1:6] == source[0 if flips_y else 3]).all()


# ---- Formats of text


def drawn_width(sheet: Sheet, format_: StringFormat, text: str, width: float) -> int:
    sheet.graphics.clear(Color.white)
    sheet.graphics.draw_string(text, FONT, black(), RectangleF(0, 5, width, 30), format_)
    return extent(sheet)[2]


def test_lines_that_are_not_broken_are_trimmed(sheet: Sheet) -> None:
    format_ = StringFormat(StringFormatFlags.NO_WRAP)
    measured = {text: sheet.graphics.measure_string(text, FONT, SizeF(0, 0), None).width for text in ("ll", "ll l")}
    room = measured["ll l"] + 1
    format_.trimming = StringTrimming.NONE
    assert drawn_width(sheet, format_, "ll llm", room) > measured["ll l"] - 3
    format_.trimming = StringTrimming.CHARACTER
    by_character = drawn_width(sheet, format_, "ll lllm", room)
    assert measured["ll"] < by_character <= measured["ll l"]
    format_.trimming = StringTrimming.WORD
    assert drawn_width(sheet, format_, "ll lllm", room) <= measured["ll"]
    two = sheet.graphics.measure_string("ll lllm\nll", FONT, SizeF(room, 0), format_)
    assert two.height == pytest.approx(2 * sheet.graphics.measure_string("l", FONT, SizeF(0, 0), None).height, abs=0.1)


def test_only_whole_lines_are_drawn(sheet: Sheet) -> None:
    g = sheet.graphics
    line = g.measure_string("M", FONT, SizeF(0, 0), None).height
    frame = RectangleF(0, 0, WIDTH, line * 1.6)
    g.draw_string("M\nM", FONT, black(), frame)
    assert extent(sheet)[3] > line + 2
    for flags in (StringFormatFlags.LINE_LIMIT, StringFormatFlags.LINE_LIMIT | StringFormatFlags.NO_CLIP):
        g.clear(Color.white)
        g.draw_string("M\nM", FONT, black(), frame, StringFormat(flags))
        assert 0 < extent(sheet)[3] <= line + 1
    g.clear(Color.white)
    g.draw_string("M", FONT, black(), RectangleF(0, 0, WIDTH, line / 2), StringFormat(StringFormatFlags.LINE_LIMIT))
    assert not sheet.ink().any()


def test_trailing_spaces_are_measured_by_a_flag(sheet: Sheet) -> None:
    def width(text: str, flags: int = 0) -> float:
        return sheet.graphics.measure_string(text, FONT, SizeF(0, 0), StringFormat(StringFormatFlags(flags))).width

    assert width("a   ") == width("a") and width("a   \nb") == width("a\nb")
    assert width("a   ", StringFormatFlags.MEASURE_TRAILING_SPACES) > width("a") + 3


def test_characters_that_the_font_lacks(sheet: Sheet) -> None:
    def seen(flags: int) -> np.ndarray:
        sheet.graphics.clear(Color.white)
        sheet.graphics.draw_string("a\u200bb", FONT, black(), PointF(2, 5), StringFormat(StringFormatFlags(flags)))
        return sheet.seen()

    assert (seen(0) != seen(StringFormatFlags.DISPLAY_FORMAT_CONTROL)).any()


def test_distances_between_characters(sheet: Sheet) -> None:
    format_ = StringFormat()
    plain = sheet.graphics.measure_string("aaa", FONT, SizeF(0, 0), format_).width
    format_.custom_char_ident = PointF(5, 0)
    assert sheet.graphics.measure_string("aaa", FONT, SizeF(0, 0), format_).width == pytest.approx(plain + 15, abs=5.1)
    with managed_error("NotSupportedException", "CustomCharIdent"):
        format_.custom_char_ident = PointF(0, 1)
    with managed_error("NotSupportedException", "DigitSubstitutionMethod"):
        format_.digit_substitution_method = StringDigitSubstitute.NATIONAL
    with managed_error("NotSupportedException", "DigitSubstitutionLanguage"):
        format_.digit_substitution_language = 1025
    format_.digit_substitution_method = StringDigitSubstitute.NONE
    with managed_error("NotSupportedException", "EXACT_ALIGNMENT"):
        sheet.graphics.measure_string("a", FONT, SizeF(0, 0), StringFormat(StringFormatFlags.EXACT_ALIGNMENT))
    with managed_error("NotSupportedException", "Font.CharacterSet"):
        symbols = Font("DejaVu Sans", 12.0, FontStyle.REGULAR, GraphicsUnit.PIXEL, CharacterSet.SYMBOL)
        sheet.graphics.measure_string("a", symbols, SizeF(0, 0), None)
