"""Images made by the constructors of their classes."""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, ColorPalette
from zelmor.imaging.fileformats.bmp import BitmapCompression, BmpImage
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.png import PngColorType, PngImage
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

from support.image_oracles import HEIGHT, WIDTH, few_colors, load, managed_error, noise, read, smooth, worst, write

KINDS = [(PngImage, "PNG", 0), (BmpImage, "BMP", 0), (JpegImage, "JPEG", 40)]


@pytest.mark.parametrize("kind, name, tolerance", KINDS)
@pytest.mark.parametrize("suffix", ["png", "bmp", "tif"])
def test_of_a_file_a_stream_and_an_image(tmp_path: Path, kind: Any, name: str, tolerance: int, suffix: str) -> None:
    path = write(tmp_path / f"a.{suffix}", smooth())
    for image in (kind(path), kind.create_from_stream(io.BytesIO(Path(path).read_bytes())),
                  kind.create_from_image(load(path))):
        assert (image.width, image.height) == (WIDTH, HEIGHT)
        assert image.file_format.name == name
        target = io.BytesIO()
        image.save(target)
        with Pillow.open(target) as picture:
            assert picture.format == name
            assert worst(np.asarray(picture.convert("RGB")), smooth()) <= tolerance


@pytest.mark.parametrize("kind, name, tolerance", KINDS)
def test_of_a_size(kind: Any, name: str, tolerance: int) -> None:
    image = kind(9, 5)
    image.set_argb_32_pixel(4, 2, -1)
    target = io.BytesIO()
    image.save(target)
    with Pillow.open(target) as picture:
        assert (picture.format, picture.size) == (name, (9, 5))
        assert worst(np.asarray(picture.convert("RGB"))[2, 4], np.array([255] * 3)) <= 60
    for width, height, parameter in ((0, 5, "width"), (5, -1, "height")):
        with managed_error("ArgumentOutOfRangeException", parameter):
            kind(width, height)


def test_the_file_of_an_image_is_saved_to(tmp_path: Path) -> None:
    path = write(tmp_path / "a.bmp", noise())
    image = BmpImage(path)
    image.set_argb_32_pixel(0, 0, -1)
    image.save()
    assert tuple(read(path)[0, 0]) == (255, 255, 255)


#: The color types with Pillow's modes and the bits of a pixel.
COLOR_TYPES = [(PngColorType.GRAYSCALE, "L", 8), (PngColorType.TRUECOLOR, "RGB", 24),
               (PngColorType.INDEXED_COLOR, "P", 8), (PngColorType.GRAYSCALE_WITH_ALPHA, "LA", 16),
               (PngColorType.TRUECOLOR_WITH_ALPHA, "RGBA", 32)]


def of_modes(folder: Path) -> dict[str, Path]:
    """Files of 16 colors in several modes; "P" has a clear one."""
    colors = Pillow.fromarray(few_colors())
    palette = colors.quantize(16)
    alpha = Pillow.fromarray(np.where(few_colors()[..., 0] > 100, 255, 0).astype(np.uint8))
    pictures = {"L": colors.convert("L"), "RGB": colors, "RGBA": Pillow.merge("RGBA", (*colors.split(), alpha)),
                "P": palette}
    for mode, picture in pictures.items():
        picture.save(folder / f"{mode}.png", **({"transparency": 3} if mode == "P" else {}))
    return {mode: folder / f"{mode}.png" for mode in pictures}


@pytest.mark.parametrize(("kind", "mode", "bits"), COLOR_TYPES, ids=lambda value: str(value))
@pytest.mark.parametrize("source", ["L", "RGB", "RGBA", "P"])
def test_png_by_color_type(tmp_path: Path, source: str, kind: PngColorType, mode: str, bits: int) -> None:
    """The image has the color type, in memory and in the file that it is saved to without options."""
    path = of_modes(tmp_path)[source]
    target = tmp_path / "a.png"
    for image in (PngImage(load(path), kind), PngImage(str(path), kind)):
        assert image.bits_per_pixel == (4 if source == mode == "P" else bits)
        assert image.use_palette == (mode == "P")
        assert mode == "P" or image.has_alpha == (mode in ("LA", "RGBA"))
        image.save(str(target))
        with Pillow.open(target) as saved, Pillow.open(path) as before:
            assert saved.mode == mode
            white = Pillow.new("RGBA", before.size, "white")
            shown = before.convert("RGBA")
            if mode in ("L", "RGB"):  # transparent pixels show the background
                shown = Pillow.alpha_composite(white, shown)
            expected = np.asarray(shown.convert("LA" if mode in ("L", "LA") else "RGBA"), int)
            found = np.asarray(saved.convert("LA" if mode in ("L", "LA") else "RGBA"), int)
            seen = expected[..., -1] > 0
            assert (found[..., -1] == expected[..., -1]).all()
            assert abs(found[seen] - expected[seen]).max() <= 1  # a gray of colors may be rounded otherwise
        options = image.get_original_options()
        assert PngOptions._cast_to(options).value.color_type == kind


def test_png_of_an_image_keeps_its_form(tmp_path: Path) -> None:
    sixteen = np.arange(30 * 20, dtype=np.uint16).reshape(20, 30) * 100
    Pillow.fromarray(sixteen).save(tmp_path / "I;16.png")
    Pillow.fromarray(few_colors()[..., 0] > 100).save(tmp_path / "1.png")
    bits = {"L": 8, "RGB": 24, "RGBA": 32, "P": 4, "I;16": 16, "1": 1}
    for mode, path in {**of_modes(tmp_path), "I;16": tmp_path / "I;16.png", "1": tmp_path / "1.png"}.items():
        image = PngImage(load(path))
        assert image.bits_per_pixel == bits[mode], mode
        image.save(str(tmp_path / "copy.png"))
        with Pillow.open(tmp_path / "copy.png") as saved, Pillow.open(path) as before:
            assert saved.mode == before.mode and (np.asarray(saved) == np.asarray(before)).all()
    image = PngImage(load(tmp_path / "I;16.png"), PngColorType.TRUECOLOR_WITH_ALPHA)
    assert image.bits_per_pixel == 64
    image.save(str(tmp_path / "deep.png"))
    assert load(tmp_path / "deep.png").bits_per_pixel == 64
    red = [(color >> 32) & 0xFFFF for color in image.load_argb_64_pixels(image.bounds)]
    assert red == sixteen.ravel().tolist()


def test_a_png_with_alpha_takes_transparency(tmp_path: Path) -> None:
    image = PngImage(load(of_modes(tmp_path)["RGB"]), PngColorType.TRUECOLOR_WITH_ALPHA)
    image.set_pixel(2, 1, Color.from_argb(128, 1, 2, 3))
    image.save(str(tmp_path / "a.png"))
    with Pillow.open(tmp_path / "a.png") as saved:
        assert saved.getpixel((2, 1)) == (1, 2, 3, 128) and saved.getpixel((3, 1))[3] == 255


def test_more_colors_than_a_palette_has_become_those_of_one(tmp_path: Path) -> None:
    image = PngImage(load(write(tmp_path / "a.png", noise())), PngColorType.INDEXED_COLOR)
    assert image.use_palette and image.bits_per_pixel == 8
    image.save(str(tmp_path / "b.png"))
    with Pillow.open(tmp_path / "b.png") as picture:
        assert picture.mode == "P"
    assert np.abs(read(tmp_path / "b.png", "RGB") - noise().astype(int)).mean() < 25


@pytest.mark.parametrize(("mode", "bits"), [("L", 8), ("RGB", 24), ("CMYK", 32), ("1", 8)])
def test_a_jpeg_has_the_bits_of_its_file(tmp_path: Path, mode: str, bits: int) -> None:
    Pillow.fromarray(smooth()).convert(mode).save(tmp_path / "a.tif")
    for image in (JpegImage(load(tmp_path / "a.tif")), JpegImage(str(tmp_path / "a.tif"))):
        assert image.bits_per_pixel == bits
        image.save(str(tmp_path / "a.jpg"))
        assert load(tmp_path / "a.jpg").bits_per_pixel == bits


def test_png_of_a_size() -> None:
    assert not PngImage(4, 4, PngColorType.TRUECOLOR).has_alpha
    options = PngOptions()
    options.color_type = PngColorType.GRAYSCALE
    assert PngImage(options, 4, 4).bits_per_pixel == 8


def test_bmp_by_its_settings(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", few_colors())
    image = BmpImage(path, 8, BitmapCompression.RLE8, 300.0, 150.0)
    assert (image.bits_per_pixel, image.compression) == (8, BitmapCompression.RLE8)
    assert (round(image.horizontal_resolution), round(image.vertical_resolution)) == (300, 150)
    image.horizontal_resolution = 200.0
    image.horizontal_resolution = 300.0
    image.save(str(tmp_path / "b.bmp"))
    with Pillow.open(tmp_path / "b.bmp") as picture:
        assert picture.mode == "P"
        assert picture.info["dpi"] == pytest.approx((300, 150), abs=0.1)
    assert worst(read(tmp_path / "b.bmp", "RGB"), few_colors()) == 0
    palette = ColorPalette([-1, -16777216, -65536])
    image = BmpImage(6, 4, 4, palette)
    image.save(str(tmp_path / "c.bmp"))
    with Pillow.open(tmp_path / "c.bmp") as picture:
        assert np.array(picture.getpalette())[:9].tolist() == [255, 255, 255, 0, 0, 0, 255, 0, 0]
    with managed_error("ArgumentException", "3 entries", "1 bits"):
        BmpImage(6, 4, 1, palette)
    with managed_error("ArgumentOutOfRangeException", "7 bits"):
        BmpImage(path, 7, BitmapCompression.RGB, 96.0, 96.0)
    with managed_error("ArgumentOutOfRangeException", "vertical_resolution"):
        BmpImage(path, 24, BitmapCompression.RGB, 96.0, 0.0)


def test_jpeg_with_options() -> None:
    options = JpegOptions()
    options.quality = 33
    image = JpegImage(options, 8, 8)
    assert image.jpeg_options.quality == 33


def test_what_constructors_refuse(tmp_path: Path) -> None:
    (tmp_path / "none.png").write_bytes(b"no picture")
    for kind, _, _ in KINDS:
        with managed_error("FileNotFoundException", "missing.png"):
            kind(str(tmp_path / "missing.png"))
        with managed_error("ImageLoadException"):
            kind(str(tmp_path / "none.png"))
        with managed_error("ArgumentNullException", "raster_image"):
            kind.create_from_image(None)
