"""Images made by the constructors of their classes."""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import ColorPalette
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


def test_png_by_color_type(tmp_path: Path) -> None:
    source = load(write(tmp_path / "a.png", few_colors()))
    for kind, mode in ((PngColorType.GRAYSCALE, "L"), (PngColorType.TRUECOLOR, "RGB"),
                       (PngColorType.INDEXED_COLOR, "P")):
        target = tmp_path / f"{kind.name}.png"
        image = PngImage(source, kind)
        image.save(str(target))
        assert image.get_original_options() is not None
        with Pillow.open(target) as picture:
            assert picture.mode in (mode, "RGB" if mode == "L" else mode)
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
