"""Palettes that options give: what they do to the colors of a picture in each format, and those that do not fit."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import ColorPalette, Image, RasterImage
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.psd import ColorModes
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat, TiffPhotometrics
from zelmor.imaging.imageoptions import BmpOptions, GifOptions, PngOptions, PsdOptions, TiffOptions

from support.arrays import Pixels
from support.image_oracles import managed_error

COLORS = [(0, 0, 0), (255, 0, 0), (0, 200, 0), (20, 30, 255)]


def palette(*colors: tuple[int, ...]) -> ColorPalette:
    return ColorPalette([((color[3] if len(color) > 3 else 255) << 24 | color[0] << 16 | color[1] << 8 | color[2])
                         - (1 << 32 if len(color) < 4 or color[3] > 127 else 0) for color in colors])


def raster(image: Pillow.Image) -> Any:
    file = io.BytesIO()
    image.save(file, "PNG")
    return RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value


def blocks() -> Pixels:
    return np.array(COLORS, np.uint8)[np.add.outer(np.arange(12) // 3, np.arange(16) // 4) % 4]


def saved(image: Any, options: Any) -> Pillow.Image:
    file = io.BytesIO()
    image.save(file, options)
    return Pillow.open(io.BytesIO(file.getvalue()))


def tiff(bits: int) -> TiffOptions:
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    options.photometric, options.bits_per_sample = TiffPhotometrics.PALETTE, [bits]
    return options


def png(bits: int) -> PngOptions:
    options = PngOptions()
    options.color_type, options.bit_depth = PngColorType.INDEXED_COLOR, bits
    return options


def bmp(bits: int) -> BmpOptions:
    options = BmpOptions()
    options.bits_per_pixel = bits
    return options


def psd(_: int) -> PsdOptions:
    options = PsdOptions()
    options.color_mode = ColorModes.INDEXED
    return options


@pytest.mark.parametrize("make", [tiff, png, bmp, psd, lambda bits: GifOptions()])
@pytest.mark.parametrize("order", [(0, 1, 2, 3), (3, 2, 1, 0), (2, 0, 3, 1)])
def test_the_palette_of_the_options_is_that_of_the_file(make: Any, order: tuple[int, ...]) -> None:
    options = make(4)
    options.palette = palette(*(COLORS[i] for i in order))
    for source in (Pillow.fromarray(blocks()), Pillow.fromarray(blocks()).quantize(4)):
        with saved(raster(source), options) as read:
            assert read.mode == "P"
            found = np.array(read.getpalette(), np.uint8).reshape(-1, 3)[:4]
            assert found.tolist() == [list(COLORS[i]) for i in order]
            assert np.array_equal(np.asarray(read.convert("RGB")), blocks())


@pytest.mark.parametrize(("make", "bits", "text"), [
    *[(tiff, bits, "the palette has {more} colors, and {bits} bits hold {most}.") for bits in (1, 2, 4)],
    *[(png, bits, "a palette of {more} colors does not fit an indexed PNG of {bits} bits per pixel.") for bits in (1,
                                                                                                                   2,
                                                                                                                   4)],
    *[(bmp, bits, "the picture has more than {most} colors.") for bits in (1, 4)]])
def test_palettes_of_more_colors_than_the_depth_holds(make: Any, bits: int, text: str) -> None:
    most = 1 << bits
    options = make(bits)
    options.palette = palette(*((i, 0, 0) for i in range(most)))
    with saved(raster(Pillow.fromarray(blocks())), options) as read:
        assert read.mode == "P"
    options.palette = palette(*((i, 0, 0) for i in range(most + 1)))
    with managed_error("ImageSaveException", text.format(more=most + 1, bits=bits, most=most)):
        saved(raster(Pillow.fromarray(blocks())), options)


def with_alpha(*alpha: int) -> Any:
    """A picture of four colors of a palette with this opacity."""
    source = Pillow.fromarray((np.arange(12).reshape(3, 4) % 4).astype(np.uint8), "P")
    source.putpalette([part for color in COLORS for part in color])
    file = io.BytesIO()
    source.save(file, "PNG", transparency=bytes(alpha))
    return RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value


def test_half_transparent_colors_stay_where_the_format_has_them() -> None:
    with saved(with_alpha(255, 128, 0, 255), PngOptions()) as read:
        rgba = np.asarray(read.convert("RGBA"))
    assert rgba[0, :, 3].tolist() == [255, 128, 0, 255]
    assert rgba[0, [0, 1, 3], :3].tolist() == [list(COLORS[i]) for i in (0, 1, 3)]


@pytest.mark.parametrize("half", [127, 128])
def test_half_transparent_colors_are_clear_or_opaque_in_an_indexed_psd(half: int) -> None:
    file = io.BytesIO()
    with_alpha(255, half, 0, 255).save(file, psd(8))
    image = RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value
    alpha = [image.get_pixel(x, 0).a for x in range(4)]
    assert alpha == [255, 255 if half == 128 else 0, 0, 255]
