"""What all vector images do: changes of their page, pixels as options want them, and saves in formats of pixels.

The images are empty pages, as constructors make them. How drawings look is tested with the formats that have them, and
in the unit tests of vector images.
"""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import (Color, ColorPalette, Image, ImageExportersRegistry, ImageResizeSettings, Rectangle,
                            ResizeType, ResolutionSetting, RotateFlipType, Size, SizeF, SmoothingMode)
from zelmor.imaging.fileformats.cmx import CmxImagePage
from zelmor.imaging.fileformats.cmx.objectmodel import CmxPage
from zelmor.imaging.fileformats.emf import EmfImage
from zelmor.imaging.fileformats.svg import SvgImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.imageoptions import (BmpOptions, CmxRasterizationOptions, EmfRasterizationOptions, GifOptions,
                                         JpegOptions, MultiPageOptions, PngOptions, SvgRasterizationOptions,
                                         TiffOptions, VectorRasterizationOptions, WmfRasterizationOptions)

from support.image_oracles import managed_error

KINDS = (EmfImage, WmfImage, SvgImage)


def saved(image: Any, options: Any, *bounds: Rectangle) -> Pillow.Image:
    file = io.BytesIO()
    image.save(file, options, *bounds)
    picture = Pillow.open(io.BytesIO(file.getvalue()))
    picture.load()
    return picture


def with_layout(options: Any, layout: VectorRasterizationOptions) -> Any:
    options.vector_rasterization_options = layout
    return options


# ---- Changes of the page


@pytest.mark.parametrize("kind", KINDS)
def test_resizing(kind: Any) -> None:
    image = kind(40, 20)
    image.resize(60, 50)
    assert image.size == Size(60, 50)
    image.resize(30, 10, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    assert image.size_f == SizeF(30, 10)
    image.resize_by_settings(33, 11, ImageResizeSettings())
    image.resize_width_proportionally(66)
    assert image.size == Size(66, 22)
    image.resize_height_proportionally(11, ResizeType.CENTER_TO_CENTER)
    assert image.size == Size(33, 11)
    for width, height in ((0, 4), (4, -1)):
        with managed_error("ArgumentOutOfRangeException", "not positive"):
            image.resize(width, height)
    assert image.size == Size(33, 11)


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("turn", list(RotateFlipType))
def test_turning(kind: Any, turn: RotateFlipType) -> None:
    image = kind(40, 20)
    image.rotate_flip(turn)
    swaps = "90" in turn.name or "270" in turn.name
    assert image.size == (Size(20, 40) if swaps else Size(40, 20))


@pytest.mark.parametrize("kind", (EmfImage, WmfImage))
def test_cutting(kind: Any) -> None:
    image = kind(40, 20)
    image.crop(Rectangle(3, 4, 30, 10))
    assert image.size == Size(30, 10)
    image.crop(1, 2, 3, 4)
    assert image.size == Size(27, 3)
    image.resize_canvas(Rectangle(-10, -10, 100, 90))
    assert image.size == Size(100, 90)
    with managed_error("ArgumentOutOfRangeException", "not a part of the image of 100 by 90 pixels", "rectangle"):
        image.crop(Rectangle(0, 0, 101, 1))
    with managed_error("ArgumentOutOfRangeException", "-1 is negative", "left_shift"):
        image.crop(-1, 0, 0, 0)
    with managed_error("ArgumentOutOfRangeException", "Nothing of the image", "bottom_shift"):
        image.crop(0, 0, 50, 40)
    with managed_error("ArgumentOutOfRangeException", "empty", "new_rectangle"):
        image.resize_canvas(Rectangle(0, 0, 0, 5))
    assert image.size == Size(100, 90)


def test_an_image_without_a_size_cannot_be_scaled() -> None:
    image = EmfImage()
    with managed_error("InvalidOperationException", "without a size"):
        image.resize(4, 4)
    with managed_error("InvalidOperationException", "no proportions"):
        image.resize_width_proportionally(4)


def test_embedded_images_of_an_empty_page() -> None:
    assert len(list(SvgImage(4, 4).get_embedded_images())) == 0


# ---- Pixels


@pytest.mark.parametrize("kind", KINDS)
def test_an_empty_page_is_transparent_where_the_format_allows_it(kind: Any) -> None:
    picture = saved(kind(30, 20), PngOptions())
    assert (picture.size, picture.mode, picture.getextrema()) == ((30, 20), "RGBA", ((0, 0),) * 4)
    picture = saved(kind(30, 20), JpegOptions())
    assert (picture.size, picture.getextrema()) == ((30, 20), ((255, 255),) * 3)
    assert saved(kind(30, 20), BmpOptions()).getextrema() == ((255, 255),) * 3


def test_a_page_of_fractions_is_rounded_up() -> None:
    page = CmxPage()
    page.width, page.height = 2.5 / 96, 3 / 96
    assert saved(CmxImagePage(page), PngOptions()).size == (3, 3)


@pytest.mark.parametrize("smoothing", [SmoothingMode.NONE, SmoothingMode.ANTI_ALIAS])
@pytest.mark.parametrize("alpha", [255, 128])
def test_the_background_ends_with_the_last_pixel(smoothing: SmoothingMode, alpha: int) -> None:
    layout = SvgRasterizationOptions()
    layout.page_size = SizeF(2.25, 3.25)
    layout.background_color = Color.from_argb(alpha, 255, 0, 255)
    layout.smoothing_mode = smoothing
    picture = saved(SvgImage(9, 13), with_layout(PngOptions(), layout)).convert("RGBA")
    assert picture.size == (3, 4)
    assert picture.getcolors() == [(12, (255, 0, 255, alpha))]


def test_the_background_color_of_the_image_counts() -> None:
    image = SvgImage(3, 2)
    image.background_color = Color.from_argb(255, 10, 20, 30)
    image.has_background_color = True
    assert saved(image, PngOptions()).convert("RGB").getpixel((1, 1)) == (10, 20, 30)


def test_the_extension_chooses_the_format(tmp_path: Path) -> None:
    for name, format_ in (("a.png", "PNG"), ("b.jpg", "JPEG"), ("c.tif", "TIFF"), ("d.gif", "GIF"), ("e.webp", "WEBP"),
                          ("f.bmp", "BMP")):
        SvgImage(31, 17).save(str(tmp_path / name))
        with Pillow.open(tmp_path / name) as picture:
            assert (picture.format, picture.size) == (format_, (31, 17))


def test_the_layout() -> None:
    layout = SvgRasterizationOptions()
    layout.page_size = SizeF(70, 0)
    assert (layout.page_width, layout.page_height) == (70.0, 0.0)
    picture = saved(SvgImage(40, 20), with_layout(PngOptions(), layout))
    assert (picture.size, picture.mode, picture.getpixel((5, 5))) == ((70, 35), "RGB", (255, 255, 255))
    layout.page_height = 50.0
    assert layout.page_size == SizeF(70, 50)
    layout.background_color = Color.from_argb(128, 1, 2, 3)
    picture = saved(SvgImage(40, 20), with_layout(PngOptions(), layout))
    assert (picture.size, picture.mode) == ((70, 50), "RGBA")
    assert picture.getpixel((69, 49))[3] == 128
    assert saved(SvgImage(40, 20), with_layout(PngOptions(), layout), Rectangle(10, 10, 5, 6)).size == (5, 6)
    with managed_error("ArgumentOutOfRangeException", "bounds_rectangle"):
        saved(SvgImage(40, 20), with_layout(PngOptions(), layout), Rectangle(0, 0, 71, 50))


def test_copies_of_layouts_keep_their_page() -> None:
    layout = EmfRasterizationOptions()
    layout.page_width, layout.page_height, layout.border_x = 30, 40, 2
    copy = WmfRasterizationOptions()
    layout.copy_to(copy)
    assert (copy.page_size, copy.border_x) == (SizeF(30, 40), 2.0)


def test_layouts_say_which_setting_they_refuse() -> None:
    def refused(name: str, value: Any, error: str = "ArgumentOutOfRangeException") -> None:
        layout = SvgRasterizationOptions()
        setattr(layout, name, value)
        managed = "".join(part.title() for part in name.split("_"))
        with managed_error(error, f"SvgRasterizationOptions.{managed}"):
            saved(SvgImage(4, 4), with_layout(PngOptions(), layout))

    refused("border_x", -1.0)
    refused("border_y", float("inf"))
    refused("page_width", float("nan"))
    refused("scale_x", 0.0)
    refused("full_frame", True, "NotSupportedException")
    refused("resolution_settings", ResolutionSetting(), "NotSupportedException")
    refused("multi_page_options", MultiPageOptions(), "NotSupportedException")


def test_pictures_of_pixels_have_no_layout() -> None:
    file = io.BytesIO()
    Pillow.new("RGB", (4, 4)).save(file, "PNG")
    image = Image.load(io.BytesIO(file.getvalue()))
    with managed_error("NotSupportedException", "PngOptions.VectorRasterizationOptions"):
        image.save(io.BytesIO(), with_layout(PngOptions(), SvgRasterizationOptions()))


def test_too_many_pixels_are_refused() -> None:
    with managed_error("OutOfMemoryException", "larger than the limit"):
        saved(SvgImage(2_000_000, 2_000_000), PngOptions())
    options = PngOptions()
    options.buffer_size_hint = 1
    with managed_error("OutOfMemoryException", "PngOptions.BufferSizeHint"):
        saved(SvgImage(2000, 2000), options)


def test_a_large_page_is_written_in_strips() -> None:
    layout = SvgRasterizationOptions()
    layout.background_color = Color.from_argb(255, 4, 5, 6)
    picture = saved(SvgImage(17000, 300), with_layout(PngOptions(), layout))
    assert (picture.size, picture.getextrema()) == ((17000, 300), ((4, 4), (5, 5), (6, 6)))


def test_pages_of_an_image_with_one_page() -> None:
    options = TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB)
    options.multi_page_options = MultiPageOptions([0])
    layout = SvgRasterizationOptions()
    layout.page_size = SizeF(12, 6)
    options.multi_page_options.page_rasterization_options = [layout]
    assert saved(SvgImage(40, 20), options).size == (12, 6)
    options.multi_page_options.export_area = Rectangle(2, 2, 5, 3)
    assert saved(SvgImage(40, 20), options).size == (5, 3)
    options.multi_page_options = MultiPageOptions([1])
    with managed_error("ArgumentOutOfRangeException", "no page 1"):
        saved(SvgImage(40, 20), options)


def test_palettes() -> None:
    image = SvgImage(10, 10)
    colors = [Color.from_argb(255, 250, 0, 0).to_argb(), Color.from_argb(255, 0, 0, 250).to_argb()]
    image.set_palette(ColorPalette(colors), True)
    assert image.use_palette
    assert image.palette is not None and len(list(image.palette.entries)) == 2
    layout = SvgRasterizationOptions()
    layout.background_color = Color.from_argb(255, 200, 10, 10)
    assert saved(image, with_layout(GifOptions(), layout)).convert("RGB").getpixel((3, 3)) == (250, 0, 0)
    image.set_palette(ColorPalette(colors), False)
    assert saved(image, with_layout(PngOptions(), layout)).convert("RGB").getpixel((3, 3)) == (200, 10, 10)
    image.palette = None
    assert not image.use_palette
    with managed_error("ArgumentException", "palette"):
        image.set_palette(ColorPalette([colors[0]] * 257), False)


# ---- Options


def test_default_options_are_those_of_the_class() -> None:
    page = CmxPage()
    page.width, page.height = 0.25, 0.125
    for image, kind in ((EmfImage(30, 20), EmfRasterizationOptions), (WmfImage(30, 20), WmfRasterizationOptions),
                        (SvgImage(30, 20), SvgRasterizationOptions), (CmxImagePage(page), CmxRasterizationOptions)):
        options = kind._cast_to(image.get_default_options([])).value
        assert options is not None
        assert options.page_size == image.size_f
        assert options.background_color == Color.from_argb(255, 255, 255, 255)
        options = kind._cast_to(image.get_default_options([Color.from_argb(255, 9, 8, 7), 50, 40])).value
        assert options is not None
        assert (options.page_width, options.page_height) == (50.0, 40.0)
        assert options.background_color == Color.from_argb(255, 9, 8, 7)
        assert saved(image, with_layout(PngOptions(), options)).size == (50, 40)


@pytest.mark.parametrize("arguments", (["red"], [Color.from_argb(1, 2, 3), 0], [Color.from_argb(1, 2, 3), "4"],
                                       [Color.from_argb(1, 2, 3), 4, 5, 6]))
def test_default_options_refuse_other_arguments(arguments: list[Any]) -> None:
    with managed_error("ArgumentException", "args" if len(arguments) < 4 else "more arguments"):
        SvgImage(4, 4).get_default_options(arguments)


def test_exporters_take_vector_images() -> None:
    image = SvgImage(30, 20)
    options = PngOptions()
    assert image.can_save(options)
    exporter = ImageExportersRegistry.create_first_supported_exporter(image, options)
    file = io.BytesIO()
    exporter.export(image, file, options)
    assert Pillow.open(io.BytesIO(file.getvalue())).size == (30, 20)


def test_pages_of_vector_images_make_an_image() -> None:
    first, second = SvgImage(30, 20), EmfImage(10, 40)
    image = Image.create([first, second], True)
    options = TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB)
    file = io.BytesIO()
    image.save(file, options)
    with Pillow.open(io.BytesIO(file.getvalue())) as pages:
        sizes = []
        for page in range(2):
            pages.seek(page)
            sizes.append(pages.size)
    assert sizes == [(30, 20), (10, 40)]
    with managed_error("ObjectDisposedException"):
        first.width  # noqa: B018
