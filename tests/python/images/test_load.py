"""Loading images by path: files that Pillow wrote have the pixels that Pillow reads."""

from __future__ import annotations

import os
import shutil
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor import imaging
from zelmor.imaging import FileFormat, Image, LoadOptions

from support.image_oracles import (FORMATS, HEIGHT, WIDTH, few_colors, load, noise, pixels, raster, read, smooth, worst,
                                   write)


@pytest.mark.parametrize("extension", FORMATS)
def test_size_and_format(tmp_path: Path, extension: str) -> None:
    image = Image.load(write(tmp_path / f"a.{extension}", noise()))
    assert (image.width, image.height) == (WIDTH, HEIGHT)
    assert str(image.size) == f"{{Width={WIDTH}, Height={HEIGHT}}}"
    assert (image.bounds.x, image.bounds.y, image.bounds.width, image.bounds.height) == (0, 0, WIDTH, HEIGHT)
    assert image.file_format == FileFormat[FORMATS[extension][0]]
    assert not image.is_cached
    raster(image).cache_data()
    assert image.is_cached
    assert image.container is None
    assert image.use_palette == (extension == "gif")
    assert not image.disposed


@pytest.mark.parametrize("extension", ["png", "bmp", "tif"])
@pytest.mark.parametrize("bands", [1, 3])
def test_pixels_of_lossless_files(tmp_path: Path, extension: str, bands: int) -> None:
    source = noise(bands)
    image = load(write(tmp_path / f"a.{extension}", source))
    mode = "L" if bands == 1 else "RGB"
    assert worst(pixels(image, tmp_path, mode), source) == 0
    assert not image.has_alpha


@pytest.mark.parametrize("extension", ["png", "tif"])
def test_alpha_is_kept(tmp_path: Path, extension: str) -> None:
    source = noise(4)
    image = load(write(tmp_path / f"a.{extension}", source))
    assert image.has_alpha
    assert worst(pixels(image, tmp_path, "RGBA"), source) == 0
    assert image.image_opacity == pytest.approx(source[..., 3].mean() / 255, abs=1e-6)


def test_lossless_webp(tmp_path: Path) -> None:
    source = noise(3)
    image = load(write(tmp_path / "a.webp", source, lossless=True))
    assert worst(pixels(image, tmp_path), source) == 0


@pytest.mark.parametrize("extension", ["jpg", "webp"])
def test_lossy_files_are_decoded_as_pillow_decodes_them(tmp_path: Path, extension: str) -> None:
    path = write(tmp_path / f"a.{extension}", smooth(), quality=90)
    # Two decoders of one format may differ in how they round and upsample colors.
    assert np.abs(pixels(load(path), tmp_path) - read(path, "RGB")).mean() < 1.0
    assert worst(pixels(load(path), tmp_path), smooth()) < 30


@pytest.mark.parametrize("extension", ["png", "gif", "bmp"])
@pytest.mark.parametrize("colors", [2, 16, 200])
def test_palettes_are_resolved(tmp_path: Path, extension: str, colors: int) -> None:
    indexed = Pillow.fromarray(few_colors(colors)).quantize(256, dither=Pillow.Dither.NONE)
    indexed.save(tmp_path / f"a.{extension}")
    image = load(tmp_path / f"a.{extension}")
    assert worst(pixels(image, tmp_path), np.asarray(indexed.convert("RGB"))) == 0


@pytest.mark.parametrize("mode, bits", [("1", 1), ("L", 8), ("P", 8), ("RGB", 24), ("RGBA", 32), ("LA", 16)])
def test_bits_per_pixel_are_those_of_the_file(tmp_path: Path, mode: str, bits: int) -> None:
    picture = Pillow.fromarray(noise(4)).convert(mode) if mode != "P" else Pillow.fromarray(noise(1)).convert("P")
    picture.save(tmp_path / "a.png")
    assert Image.load(str(tmp_path / "a.png")).bits_per_pixel == bits


@pytest.mark.parametrize("extension", ["png", "bmp", "tif"])
def test_one_bit_pictures(tmp_path: Path, extension: str) -> None:
    picture = Pillow.fromarray(noise(1)).convert("1")
    picture.save(tmp_path / f"a.{extension}")
    image = load(tmp_path / f"a.{extension}")
    assert image.bits_per_pixel == 1
    assert worst(pixels(image, tmp_path, "L"), np.asarray(picture.convert("L"))) == 0


def test_sixteen_bits_survive_a_round_trip(tmp_path: Path) -> None:
    source = np.random.default_rng(2).integers(0, 65536, (HEIGHT, WIDTH), dtype=np.uint16)
    Pillow.fromarray(source).save(tmp_path / "a.png")
    image = load(tmp_path / "a.png")
    assert image.bits_per_pixel == 16
    assert image.get_argb_32_pixel(7, 5) & 0xFF == source[5, 7] >> 8
    image.save(str(tmp_path / "b.png"))
    with Pillow.open(tmp_path / "b.png") as copy:
        assert np.array_equal(np.asarray(copy).astype(int), source)


@pytest.mark.parametrize("compression", ["raw", "tiff_lzw", "tiff_adobe_deflate", "packbits"])
def test_tiff_compressions(tmp_path: Path, compression: str) -> None:
    source = noise()
    image = load(write(tmp_path / "a.tif", source, compression=compression))
    assert worst(pixels(image, tmp_path), source) == 0


def test_cmyk_is_brought_to_rgb(tmp_path: Path) -> None:
    Pillow.new("CMYK", (20, 10), (0, 0, 0, 0)).save(tmp_path / "white.jpg", quality=100)
    Pillow.new("CMYK", (20, 10), (0, 0, 0, 255)).save(tmp_path / "black.tif")
    white = load(tmp_path / "white.jpg").get_pixel(5, 5)
    black = load(tmp_path / "black.tif").get_pixel(5, 5)
    assert min(white.r, white.g, white.b) > 245
    assert max(black.r, black.g, black.b) < 70  # black in print colors, converted through a profile, is not quite black


@pytest.mark.parametrize("extension, dpi", [("png", 300), ("jpg", 300), ("tif", 72), ("bmp", 150)])
def test_resolution(tmp_path: Path, extension: str, dpi: int) -> None:
    image = load(write(tmp_path / f"a.{extension}", noise(), dpi=(dpi, 2 * dpi)))
    assert image.horizontal_resolution == pytest.approx(dpi, abs=0.02 * dpi)
    assert image.vertical_resolution == pytest.approx(2 * dpi, abs=0.02 * dpi)


@pytest.mark.parametrize("extension", ["png", "gif", "webp"])
def test_a_file_that_tells_no_resolution_has_that_of_a_screen(tmp_path: Path, extension: str) -> None:
    image = load(write(tmp_path / f"a.{extension}", noise()))
    assert (image.horizontal_resolution, image.vertical_resolution) == (96.0, 96.0)


def test_the_format_is_found_from_the_content(tmp_path: Path) -> None:
    shutil.move(write(tmp_path / "a.png", noise()), tmp_path / "a.jpg")
    assert Image.load(str(tmp_path / "a.jpg")).file_format == FileFormat.PNG


@pytest.mark.parametrize("extension", FORMATS)
def test_get_file_format_and_can_load(tmp_path: Path, extension: str) -> None:
    path = write(tmp_path / f"a.{extension}", noise())
    assert Image.get_file_format(path) == FileFormat[FORMATS[extension][0]]
    assert Image.can_load(path)
    assert Image.can_load(path, LoadOptions())
    assert Image.can_load_with_options(path, LoadOptions())


@pytest.mark.parametrize("content", [b"", b"B", b"BM, some text that begins like a bitmap", b"%PDF-1.4",
                                     b"\x89PNG\r\n\x1a\n"])
def test_what_is_no_picture_cannot_be_loaded(tmp_path: Path, content: bytes) -> None:
    (tmp_path / "a.png").write_bytes(content)
    assert not Image.can_load(str(tmp_path / "a.png"))


def test_get_file_format_of_text_is_undefined(tmp_path: Path) -> None:
    (tmp_path / "a.png").write_text("no picture")
    assert Image.get_file_format(str(tmp_path / "a.png")) == FileFormat.UNDEFINED


def test_load_with_options_does_the_same(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    options = LoadOptions()
    for image in (Image.load(path, options), Image.load_with_options(path, options), Image.load(path, None)):
        assert worst(pixels(image, tmp_path), noise()) == 0


@pytest.mark.parametrize("name", ["mit Umlaut ä.png", "字.png", "emoji 🎨.png", "[page=1].png", "a b'c\"d.png",
                                  "percent%20.png"])
def test_any_file_name(tmp_path: Path, name: str) -> None:
    path = write(tmp_path / name, noise())
    assert Image.load(path).width == WIDTH


def test_file_names_that_are_no_utf8(tmp_path: Path) -> None:
    name = os.fsdecode(os.fsencode(str(tmp_path)) + b"/\xff\xfe.png")
    shutil.move(write(tmp_path / "a.png", noise()), name)
    image = Image.load(name)
    image.save(name.replace(".png", ".bmp"))
    assert worst(read(name.replace(".png", ".bmp")), noise()) == 0


def test_the_file_may_go_once_it_is_loaded(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    image = Image.load(path)
    os.remove(path)
    assert worst(pixels(image, tmp_path), noise()) == 0


def test_no_file_stays_open(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    image = Image.load(path)
    files = [f"/proc/self/fd/{number}" for number in os.listdir("/proc/self/fd")]
    assert path not in [os.readlink(file) for file in files if os.path.exists(file)]
    assert image.width == WIDTH


def test_casts_follow_the_class_tree(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    assert type(image) is Image
    for kind in (imaging.RasterImage, imaging.RasterCachedImage, imaging.DisposableObject):
        assert isinstance(kind._cast_to(image).value, kind)
    assert imaging.VectorImage._cast_to(image).value is None


def test_views_share_the_image(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    raster(image).crop(imaging.Rectangle(0, 0, 10, 5))
    assert (image.width, image.height) == (10, 5)


def test_a_key_color_becomes_alpha(tmp_path: Path) -> None:
    picture = Pillow.fromarray(few_colors(4))
    key = tuple(int(v) for v in few_colors(4)[0, 0])
    picture.save(tmp_path / "a.png", transparency=key)
    image = load(tmp_path / "a.png")
    assert image.has_alpha
    assert image.has_transparent_color
    color = image.transparent_color
    assert (color.r, color.g, color.b) == key
    assert worst(pixels(image, tmp_path, "RGBA"), read(tmp_path / "a.png", "RGBA")) == 0
