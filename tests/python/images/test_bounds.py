"""The numbers that options and members take: the first and the last that is allowed, and those next to them."""

from __future__ import annotations

import io
from collections.abc import Callable, Iterable
from datetime import timedelta
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (
    Color, ColorPalette, DitheringMethod, Graphics, Image, ImageResizeSettings, IntRange, LoadOptions, Pen, Point,
    Rectangle, ResizeType, ResolutionSetting, SizeF)
from zelmor.imaging.fileformats.bmp import BitmapCompression, BmpImage
from zelmor.imaging.fileformats.emf import EmfImage
from zelmor.imaging.fileformats.gif.blocks import GifFrameBlock
from zelmor.imaging.fileformats.jpeg import JFIFData
from zelmor.imaging.fileformats.jpeg2000 import Jpeg2000Image
from zelmor.imaging.fileformats.pdf import PdfCoreOptions
from zelmor.imaging.fileformats.tga import TgaImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.imagefilters.filteroptions import (
    BilateralSmoothingFilterOptions, GaussianBlurFilterOptions, GaussWienerFilterOptions, MedianFilterOptions,
    MotionWienerFilterOptions, SharpenFilterOptions)
from zelmor.imaging.imageloadoptions import Jpeg2000LoadOptions
from zelmor.imaging.imageoptions import (
    ApngOptions, BmpOptions, GifOptions, JpegOptions, Jpeg2000Options, PdfOptions, PngOptions, TiffOptions,
    WebPOptions)
from zelmor.imaging.xmp.schemas.photoshop import PhotoshopPackage
from zelmor.imaging.xmp.schemas.xmpbaseschema import XmpBasicPackage

from support.image_oracles import managed_error, raster

MOST = 2**31 - 1
TINY = 5e-324

#: Settings of options by class: the property, and the first and the last number it takes.
SETTINGS: list[tuple[Any, str, int, int]] = [
    (PngOptions, "buffer_size_hint", 0, MOST), (LoadOptions, "buffer_size_hint", 0, MOST),
    (ApngOptions, "num_plays", 0, MOST), (ApngOptions, "default_frame_time", 0, MOST),
    (Jpeg2000LoadOptions, "maximum_decoding_time", 0, MOST),
    (Jpeg2000LoadOptions, "maximum_decoding_time_for_tile", 0, MOST), (GifOptions, "color_resolution", 0, 7),
    (GifOptions, "loops_count", 0, 65535), (GifOptions, "pixel_aspect_ratio", 0, 255),
    (GifOptions, "background_color_index", 0, 255), (GifOptions, "max_diff", 0, 255), (JpegOptions, "quality", 1, 100),
    (JpegOptions, "bits_per_channel", 2, 16), (JpegOptions, "default_memory_allocation_limit", 0, MOST),
    (JpegOptions, "jpeg_ls_allowed_lossy_error", 0, 255), (PngOptions, "compression_level", 0, 9),
    (TiffOptions, "compressed_quality", 1, 100), (TiffOptions, "default_memory_allocation_limit", 0, MOST),
    (TiffOptions, "rows_per_strip", 0, MOST), (TiffOptions, "tile_width", 0, MOST),
    (TiffOptions, "tile_length", 0, MOST), (WebPOptions, "anim_loop_count", 0, 65535),
    (WebPOptions, "quality", 0, 100), (JFIFData, "version", 0, 65535), (JFIFData, "x_density", 1, 65535),
    (JFIFData, "y_density", 1, 65535), (BmpOptions, "bits_per_pixel", 1, 32)]


def tiff() -> TiffOptions:
    return TiffOptions(TiffExpectedFormat.DEFAULT)


@pytest.mark.parametrize(("kind", "name", "least", "most"), SETTINGS,
                         ids=[f"{setting[0].__name__}.{setting[1]}" for setting in SETTINGS])
def test_settings(kind: Any, name: str, least: int, most: int) -> None:
    options = tiff() if kind is TiffOptions else kind()
    for value in (least, most):
        setattr(options, name, value)
        assert getattr(options, name) == value
    for value in (least - 1, most + 1)[:1 if most == MOST else 2]:
        # The bridge itself refuses what does not fit the type of the parameter.
        with pytest.raises((RuntimeError, TypeError, OverflowError)) as refusal:
            setattr(options, name, value)
        if isinstance(refusal.value, RuntimeError):
            text = f"The value {value} of {kind.__name__}."
            assert "ArgumentOutOfRangeException" in str(refusal.value) and text in str(refusal.value)
            assert f"is not between {least} and {most}" in str(refusal.value)
    assert getattr(options, name) == most


def picture(width: int = 7, height: int = 5) -> Any:
    file = io.BytesIO()
    pixels = np.random.default_rng(3).integers(0, 256, (height, width, 3), np.uint8)
    Pillow.fromarray(pixels).save(file, "PNG")
    return raster(Image.load(io.BytesIO(file.getvalue())))


def filtered(make: Callable[[Any], Any]) -> Callable[[Any], None]:
    return lambda value: picture().filter(Rectangle(0, 0, 7, 5), make(value))


def with_property(options: Any, name: str) -> Callable[[Any], Any]:
    def make(value: Any) -> Any:
        setattr(options, name, value)
        return options
    return make


def saved(make: Callable[[Any], Any]) -> Callable[[Any], None]:
    return lambda value: picture().save(io.BytesIO(), make(value))


def tiles(size: tuple[int, int]) -> TiffOptions:
    options = tiff()
    options.tile_width, options.tile_length = size
    return options


def resolution(value: float) -> PngOptions:
    options = PngOptions()
    options.resolution_settings = ResolutionSetting(value, 96.0)
    return options


def resolution_down(value: float) -> PngOptions:
    options = PngOptions()
    options.resolution_settings = ResolutionSetting(96.0, value)
    return options


def entries(value: int) -> None:
    image, settings = picture(), ImageResizeSettings()
    settings.entries_count = value
    image.dither(DitheringMethod.THRESHOLD_DITHERING, 4)
    image.resize(5, 4, settings)


def pdf_quality(value: int) -> PdfOptions:
    options, core = PdfOptions(), PdfCoreOptions()
    core.jpeg_quality = value
    options.pdf_core_options = core
    return options


def curve(value: tuple[int, int]) -> None:
    points = [Point(0, 0), Point(3, 1), Point(5, 4), Point(1, 2)]
    Graphics(picture()).draw_curve(Pen(Color.red), points, value[0], value[1])


def tga(name: str) -> Callable[[Any], None]:
    return lambda value: setattr(TgaImage(picture()), name, value)


def bmp(bits: int = 24, x: float = 96.0, y: float = 96.0) -> None:
    BmpImage(picture(), bits, BitmapCompression.RGB, x, y)


FRACTIONS = ([TINY, 1e-3, 1e9], [0.0, -TINY, float("nan"), float("inf")])
WORDS = ([0, 65535], [-1, 65536])

#: By name: what takes the value, values that are good, and values next to them that are not.
MEMBERS: dict[str, tuple[Callable[[Any], Any], Iterable[Any], Iterable[Any]]] = {
    "median": (filtered(MedianFilterOptions), [1, 255], [0, 256]),
    "bilateral": (filtered(lambda value: with_property(BilateralSmoothingFilterOptions(), "size")(value)),
                  [1, 255], [0, 256]),
    "Gauss": (filtered(lambda value: GaussianBlurFilterOptions(value, 1.0)), [1, 127], [0, 128]),
    "sharpening": (filtered(lambda value: SharpenFilterOptions(value, 1.0)), [3, 255], [2, 256]),
    "Gauss and Wiener": (filtered(lambda value: GaussWienerFilterOptions(value, 1.0)), [1, 127], [0, 128]),
    "motion": (filtered(lambda value: MotionWienerFilterOptions(value, 1.0, 30.0)), [1, 255], [0, 256]),
    "sigma": (filtered(lambda value: GaussianBlurFilterOptions(1, value)), [1e-3, 1e9], FRACTIONS[1]),
    "smoothness": (filtered(lambda value: GaussWienerFilterOptions(1, value)), [1e-3, 1e9], FRACTIONS[1]),
    "smoothness of motion": (filtered(lambda value: MotionWienerFilterOptions(1, value, 0.0)), [1e-3, 1e9],
                             FRACTIONS[1]),
    "noise": (filtered(lambda value: with_property(GaussWienerFilterOptions(1, 1.0), "snr")(value)), [1e-3, 1e9],
              FRACTIONS[1]),
    "brightness after Wiener": (filtered(lambda value: with_property(GaussWienerFilterOptions(1, 1.0), "brightness")(
        value)), [1e-3, 1e3], FRACTIONS[1]),
    **{f"bilateral {name}": (filtered(lambda value, name=name: with_property(BilateralSmoothingFilterOptions(), name)(
        value)), [1e-3, 1e3], FRACTIONS[1])
        for name in ("spatial_factor", "spatial_power", "color_factor", "color_power")},
    "brightness": (lambda value: picture().adjust_brightness(value), [-255, 255], [-256, 256]),
    "contrast": (lambda value: picture().adjust_contrast(value), [-100.0, 100.0], [-100.01, 100.01, float("nan")]),
    "gamma": (lambda value: picture().adjust_gamma(value), [1e-3, 1e3], [0.0, -1.0, float("nan"), float("inf")]),
    **{f"gamma {i}": (lambda value, i=i: picture().adjust_gamma(*[value if i == j else 1.0 for j in range(3)]),
                      [1e-3, 1e3], [0.0, -1.0, float("nan"), float("inf")]) for i in range(3)},
    "difference": (lambda value: picture().binarize_bradley(value, 3), [0.0, 1.0], [-0.001, 1.001, float("nan")]),
    "window": (lambda value: picture().binarize_bradley(0.5, value), [1, MOST], [0, -1]),
    "angle": (lambda value: picture().rotate(value), [0.0, 1e6], [float("nan"), float("inf"), -float("inf")]),
    "crop": (lambda value: picture().crop(Rectangle(*value)), [(0, 0, 7, 5), (6, 4, 1, 1)], [
        (0, 0, 8, 5), (0, 0, 7, 6), (-1, 0, 7, 5), (0, -1, 7, 5), (0, 0, 0, 5), (0, 0, 7, 0), (7, 0, 1, 1),
        (0, 5, 1, 1), (1, 0, 7, 5), (0, 1, 7, 5)]),
    "crop by sides": (lambda value: picture().crop(*value), [(0, 0, 0, 0), (6, 0, 4, 0), (0, 6, 0, 4), (3, 3, 2, 2)], [
        (-1, 0, 0, 0), (0, -1, 0, 0), (0, 0, -1, 0), (0, 0, 0, -1), (7, 0, 0, 0), (4, 3, 0, 0), (0, 0, 5, 0),
        (0, 0, 2, 3)]),
    "depth of dithering": (lambda value: picture().dither(DitheringMethod.THRESHOLD_DITHERING, value), [1, 8], [0, 9]),
    "entries of a resized palette": (entries, [1, 256], [0, 257]),
    "size": (lambda value: picture().resize(*value, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE), [(1, 1), (9, 9)],
             [(0, 1), (1, 0), (-1, 1), (1, -1)]),
    "pixel": (lambda value: picture().get_pixel(*value), [(0, 0), (6, 4)], [(7, 0), (0, 5), (-1, 0), (0, -1)]),
    "row": (lambda value: picture().read_argb_32_scan_line(value), [0, 4], [-1, 5]),
    "resolution": (lambda value: setattr(picture(), "horizontal_resolution", value), [1e-3, 1e6], FRACTIONS[1]),
    "resolution down": (lambda value: setattr(picture(), "vertical_resolution", value), [1e-3, 1e6], FRACTIONS[1]),
    "resolution of a file": (saved(resolution), [1e-3, 1e6], FRACTIONS[1]),
    "resolution down of a file": (saved(resolution_down), [1e-3, 1e6], FRACTIONS[1]),
    "bits of BMP": (bmp, [24, 32], [0, 2, 15, 25, 33, 64]),
    "resolution of BMP": (lambda value: bmp(24, value), [1e-3, 1e9], [0.0, -1.0, float("nan"), 1.0000001e9]),
    "resolution down of BMP": (lambda value: bmp(24, 96.0, value), [1e-3, 1e9],
                               [0.0, -1.0, float("nan"), 1.0000001e9]),
    "tiles": (saved(tiles), [(16, 16), (32768, 16), (16, 32768), (0, 0)], [
        (0, 16), (16, 0), (8, 16), (16, 8), (17, 16), (16, 17), (32784, 16), (16, 32784)]),
    "quality in PDF": (saved(pdf_quality), [1, 100], [0, 101]),
    "page of PDF": (saved(lambda value: with_property(PdfOptions(), "page_size")(SizeF(*value))),
                    [(0, 0), (100, 50)], [(-1, 5), (5, -1), (float("nan"), 5), (5, float("inf"))]),
    "layers of JPEG 2000": (saved(lambda value: with_property(Jpeg2000Options(), "compression_ratios")(value)), [
        [1], [2, 1], [2**31 - 1, 1]], [[0], [1, 1], [1, 2], [-1]]),
    "bits of JPEG 2000": (lambda value: Jpeg2000Image(3, 2, value), [8, 16, 24, 32], [0, 7, 9, 15, 17, 23, 25, 31, 33]),
    "bits of a frame": (lambda value: GifFrameBlock(0, 0, 3, 2, ColorPalette([-1, 0]), False, False, value), [1, 8],
                        [0, 9]),
    "size of a frame": (lambda value: GifFrameBlock(*value), [(1, 1), (65535, 1)], [(0, 1), (1, 0)]),
    "first code of a frame": (lambda value: GifFrameBlock.
                              create_from_image_left_top_pal_sorted_interlaced_code_size(
                                  picture(), 0, 0, False, False, value), [2, 8], [1, 9]),
    "curve": (curve, [(0, 1), (0, 3), (2, 1), (1, 2)], [(-1, 1), (3, 1), (0, 0), (0, 4), (2, 2), (1, 3)]),
    "origin of TGA": (tga("x_origin"), *WORDS), "origin up of TGA": (tga("y_origin"), *WORDS),
    "version of TGA": (tga("software_version_number"), *WORDS),
    "time of TGA": (tga("job_time"), [timedelta(), timedelta(hours=65535, minutes=59)],
                    [timedelta(seconds=-1), timedelta(hours=65536)]),
    "units of WMF": (lambda value: setattr(WmfImage(3, 2), "inch", value), [1, 65535], [0, -1, 65536]),
    "size of WMF": (lambda value: WmfImage(*value), [(1, 1), (9, 1)], [(0, 1), (1, 0), (-1, 1), (1, -1)]),
    "size of EMF": (lambda value: EmfImage(*value), [(1, 1), (9, 1)], [(0, 1), (1, 0), (-1, 1), (1, -1)]),
    "count of a range": (lambda value: IntRange.get_range(0, value, 1), [0, 1, 1000], [-1, 10_000_001]),
    "urgency": (lambda value: PhotoshopPackage().set_urgency(value), [1, 8], [0, 9]),
    "rating": (lambda value: XmpBasicPackage().set_rating(value), [-1, 0, 5], [-2, 6]),
}


@pytest.mark.parametrize("name", MEMBERS)
def test_members(name: str) -> None:
    use, good, bad = MEMBERS[name]
    for value in good:
        use(value)
    for value in bad:
        with managed_error("ArgumentOutOfRangeException"):
            use(value)
