"""Pictures of 1, 2 and 4 bits a pixel are decoded to their bits, and look as if each sample had a byte."""

from __future__ import annotations

import io
import struct
import zlib
from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from support.image_oracles import Pixels, load, managed_error, noise, raster, read
from support.pictures import png_chunk
from zelmor.imaging import (Color, Graphics, Image, LoadOptions, Pen, PixelDataFormat, RasterCachedMultipageImage,
                            RasterImage, RawDataSettings, Rectangle, ResizeType, RotateFlipType)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngColorType, PngImage
from zelmor.imaging.imageoptions import PngOptions

PAGE = (1728, 2200)  # of a fax: 3.6 MB as bytes, 0.45 MB as bits


def fax(path: Path, count: int) -> list[Pixels]:
    """Pages of random dots; each differs."""
    pages = [noise(1, seed, *PAGE) > 127 for seed in range(count)]
    pictures = [Pillow.fromarray(page) for page in pages]
    pictures[0].save(path, save_all=True, append_images=pictures[1:], compression="group4")
    return pages


def limited(megabytes: int) -> LoadOptions:
    options = LoadOptions()
    options.buffer_size_hint = megabytes
    return options


def pages_of(path: Path, megabytes: int) -> RasterCachedMultipageImage:
    return RasterCachedMultipageImage._cast_to(Image.load(str(path), limited(megabytes))).value


def test_a_page_of_a_fax_costs_its_bits(tmp_path: Path) -> None:
    expected = fax(tmp_path / "a.tif", 3)
    image = pages_of(tmp_path / "a.tif", 1)
    for page, dots in zip(image.pages, expected):
        page = raster(page)
        page.cache_data()
        assert page.is_cached and page.bits_per_pixel == 1
        for x, y in ((0, 0), (7, 1), (8, 2), (1727, 2199), (1000, 1234)):
            assert page.get_argb_32_pixel(x, y) == (-1 if dots[y, x] else -(1 << 24))
        area = Rectangle(3, 5, 1001, 7)
        found = np.array(list(page.load_argb_32_pixels(area))).reshape(7, 1001)
        assert ((found == -1) == dots[5:12, 3:1004]).all()


def test_a_page_of_bytes_does_not_fit_there(tmp_path: Path) -> None:
    Pillow.fromarray(noise(1, 1, *PAGE)).save(tmp_path / "a.tif")
    with managed_error("ImageLoadException", "limit of one image is 1048576 bytes"):
        raster(Image.load(str(tmp_path / "a.tif"), limited(1))).get_argb_32_pixel(0, 0)


def test_a_page_that_is_worked_on_takes_bytes(tmp_path: Path) -> None:
    """The limit says so; with room for them the page is changed, and keeps its depth where it can."""
    dots, = fax(tmp_path / "a.tif", 1)
    image = raster(Image.load(str(tmp_path / "a.tif"), limited(1)))
    image.cache_data()
    with managed_error("ImageLoadException", "limit of one image is 1048576 bytes"):
        image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
    image = raster(Image.load(str(tmp_path / "a.tif"), limited(8)))
    image.cache_data()
    image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
    assert image.bits_per_pixel == 1
    image.set_pixel(0, 0, Color.white)
    image.save(str(tmp_path / "b.tif"))
    dots = dots[:, ::-1].copy()
    dots[0, 0] = True
    with Pillow.open(tmp_path / "b.tif") as copy:
        assert copy.mode == "1" and (np.asarray(copy) == dots).all()


def depths(folder: Path) -> dict[str, tuple[Path, Pixels]]:
    """Files of each depth below 8 with the colors of their pixels; no width is a multiple of 8."""
    made = {}
    for bits in (1, 2, 4):
        levels = noise(1, bits, 61, 43) >> 8 - bits
        gray = (levels * (255 // (2**bits - 1))).astype(np.uint8)
        path = folder / f"gray{bits}.png"
        write_small(path, levels, bits, None)
        made[f"gray{bits}"] = path, np.repeat(gray[..., None], 3, 2)
        palette = noise(3, 20 + bits, 2**bits, 1)[0]
        path = folder / f"palette{bits}.png"
        write_small(path, levels, bits, palette)
        made[f"palette{bits}"] = path, palette[levels]
    return made


def write_small(file: Path | io.BytesIO, levels: Pixels, bits: int, palette: Pixels | None) -> None:
    """A PNG file of gray or indices."""
    rows = np.unpackbits(levels.astype(np.uint8)[..., None], axis=2)[..., 8 - bits:].reshape(levels.shape[0], -1)
    data = b"".join(b"\0" + np.packbits(row).tobytes() for row in rows)
    height, width = levels.shape
    head = struct.pack(">IIBBBBB", width, height, bits, 0 if palette is None else 3, 0, 0, 0)
    data = (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", head)
            + (b"" if palette is None else png_chunk(b"PLTE", palette.astype(np.uint8).tobytes()))
            + png_chunk(b"IDAT", zlib.compress(data)) + png_chunk(b"IEND", b""))
    if isinstance(file, Path):
        file.write_bytes(data)
    else:
        file.write(data)


@pytest.mark.parametrize("kind", ["gray1", "gray2", "gray4", "palette1", "palette2", "palette4"])
def test_every_depth_reads_as_it_is(tmp_path: Path, kind: str) -> None:
    path, expected = depths(tmp_path)[kind]
    assert (read(path, "RGB") == expected).all()
    image = load(path)
    image.cache_data()
    for area in (Rectangle(0, 0, 61, 43), Rectangle(1, 2, 7, 40), Rectangle(9, 0, 52, 1), Rectangle(60, 42, 1, 1)):
        part = expected[area.y:area.y + area.height, area.x:area.x + area.width].astype(np.int64)
        argb = (0xFF000000 | part[..., 0] << 16 | part[..., 1] << 8 | part[..., 2]).astype(np.uint32).astype(np.int32)
        assert list(image.load_argb_32_pixels(area)) == argb.reshape(-1).tolist()
        wide = np.array(list(image.load_argb_64_pixels(area)), np.int64).view(np.uint64)
        assert (wide >> 32 & 0xFFFF == part[..., 0].reshape(-1) * 257).all()
        settings = RawDataSettings()
        settings.pixel_data_format = PixelDataFormat.get_rgb(8)
        settings.line_size = 3 * area.width
        raw = bytes(image.get_default_raw_data(area, settings))
        assert raw == part.astype(np.uint8).tobytes()
    again = io.BytesIO()
    image.save(again, PngOptions())
    image.save(str(tmp_path / "again.png"))
    for file in (again, tmp_path / "again.png"):
        with Pillow.open(file) as copy:
            assert (np.asarray(copy.convert("RGB")) == expected).all()
    bits = int(kind[-1])
    assert load(tmp_path / "again.png").bits_per_pixel == bits


CHANGES: dict[str, Callable[[RasterImage], object]] = {
    "a pixel": lambda image: image.set_pixel(1, 1, Color.black),
    "pixels": lambda image: image.save_argb_32_pixels(Rectangle(0, 0, 2, 1), [-1, -1 << 24]),
    "a rectangle": lambda image: Graphics(image).fill_rectangle(SolidBrush(Color.white), Rectangle(2, 2, 9, 9)),
    "a slanting line": lambda image: Graphics(image).draw_line(Pen(Color.black), 0, 0, 60, 33),
    "another page": lambda image: Graphics(image).draw_image(load_bytes(small_bytes(1)), 3, 3),
    "a larger canvas": lambda image: image.resize(80, 70, ResizeType.LEFT_TOP_TO_LEFT_TOP),
    "a part": lambda image: image.crop(Rectangle(3, 4, 40, 30)),
    "a quarter turn": lambda image: image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE),
}
#: Of gray pictures only: indices become colors.
TONES: dict[str, Callable[[RasterImage], object]] = {
    "another color": lambda image: image.replace_color(Color.white, 0, Color.black),
    "gray": lambda image: image.grayscale(),
    "black and white": lambda image: image.binarize_fixed(100),
    "black and white by Otsu": lambda image: image.binarize_otsu(),
    "black and white by Bradley": lambda image: image.binarize_bradley(0.1, 9),
}


def small_bytes(bits: int, palette: Pixels | None = None) -> bytes:
    """A PNG whose first and last level are black and white."""
    levels = noise(1, bits, 61, 43) >> 8 - bits
    file = io.BytesIO()
    write_small(file, levels, bits, palette)
    return file.getvalue()


def load_bytes(data: bytes) -> RasterImage:
    return raster(Image.load(io.BytesIO(data)))


def black_to_white(bits: int) -> Pixels:
    palette = noise(3, 20 + bits, 2**bits, 1)[0]
    palette[0], palette[-1] = 0, 255
    return palette


@pytest.mark.parametrize(("kind", "change"), [
    *((f"gray{bits}", change) for bits in (1, 2, 4) for change in (*CHANGES, *TONES)),
    *((f"palette{bits}", change) for bits in (1, 2, 4) for change in CHANGES)])
def test_what_fits_the_depth_keeps_it(tmp_path: Path, kind: str, change: str) -> None:
    bits = int(kind[-1])
    data = small_bytes(bits, None if kind.startswith("gray") else black_to_white(bits))
    image, deep = load_bytes(data), RasterImage._cast_to(PngImage(load_bytes(data), PngColorType.TRUECOLOR)).value
    assert deep is not None and image.bits_per_pixel == bits and deep.bits_per_pixel == 24
    for picture in (image, deep):
        {**CHANGES, **TONES}[change](picture)
    assert image.bits_per_pixel == bits
    image.save(str(tmp_path / "a.png"))
    assert load(tmp_path / "a.png").bits_per_pixel == bits
    deep.save(str(tmp_path / "b.png"))
    assert (read(tmp_path / "a.png", "RGB") == read(tmp_path / "b.png", "RGB")).all()


def test_what_does_not_fit_the_depth_makes_more_of_it(tmp_path: Path) -> None:
    for data, bits in ((small_bytes(1), 8), (small_bytes(4), 8), (small_bytes(2, black_to_white(2)), 24)):
        image = load_bytes(data)
        image.set_pixel(1, 1, Color.from_argb(255, 100, 100, 100))
        assert image.bits_per_pixel == bits
        image.save(str(tmp_path / "a.png"))
        assert load(tmp_path / "a.png").bits_per_pixel == bits
        assert read(tmp_path / "a.png", "RGB")[1, 1].tolist() == [100, 100, 100]


def test_steps_behind_the_packing(tmp_path: Path) -> None:
    """Crops and copies of a picture that is decoded already."""
    path, expected = depths(tmp_path)["palette4"]
    image = load(path)
    image.cache_data()
    copy = raster(Image.create([image]))
    image.crop(Rectangle(3, 4, 50, 30))
    image.save(str(tmp_path / "part.png"))
    copy.save(str(tmp_path / "copy.png"), PngOptions())
    assert (read(tmp_path / "part.png", "RGB") == expected[4:34, 3:53]).all()
    assert (read(tmp_path / "copy.png", "RGB") == expected).all()


def test_damage_is_found_as_in_any_picture(tmp_path: Path) -> None:
    path, _ = depths(tmp_path)["gray1"]
    content = bytearray(path.read_bytes())
    content[content.index(b"IDAT") + 20] ^= 0xFF
    path.write_bytes(content)
    image = load(path)
    for _ in range(2):
        with managed_error("ImageLoadException", "damaged or incomplete"):
            image.cache_data()
        with managed_error("ImageLoadException", "damaged or incomplete"):
            image.get_argb_32_pixel(0, 42)
    assert not image.is_cached
