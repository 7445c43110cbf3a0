"""PNG files of every form: what is loaded and saved without a change is the same, sample by sample."""

from __future__ import annotations

import io
import struct
import zlib
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import DataRecoveryMode, Image, LoadOptions, Rectangle, RotateFlipType
from zelmor.imaging.fileformats.png import PngColorType, PngFilterType
from zelmor.imaging.imageloadoptions import PngLoadOptions
from zelmor.imaging.imageoptions import PngOptions

from support.image_oracles import load, managed_error, noise, raster, read, smooth, worst
from support.png_files import (
    CHANNELS, FORMS, GRAY, GRAY_ALPHA, INDEXED, RGB, RGBA, SIGNATURE, Png, chunk, from_bytes, header, packed,
    picture_data, random_png, to_bytes)


def resaved(tmp_path: Path, data: bytes) -> Png:
    """What a file is after it was loaded and saved."""
    (tmp_path / "a.png").write_bytes(data)
    Image.load(str(tmp_path / "a.png")).save(str(tmp_path / "b.png"))
    return from_bytes((tmp_path / "b.png").read_bytes())


def same(a: Png, b: Png, *kinds: bytes) -> bool:
    """Equal form and samples, and equal chunks of these kinds."""
    return ((a.color, a.depth, a.interlaced) == (b.color, b.depth, b.interlaced)
            and np.array_equal(a.samples, b.samples)
            and all(a.chunks.get(kind) == b.chunks.get(kind) for kind in kinds))


@pytest.mark.parametrize("interlaced", [False, True])
@pytest.mark.parametrize("color, depth", FORMS)
def test_each_form_is_kept(tmp_path: Path, color: int, depth: int, interlaced: bool) -> None:
    png = random_png(color, depth, interlaced)
    assert same(resaved(tmp_path, to_bytes(png)), png, b"PLTE", b"tRNS")


@pytest.mark.parametrize("size", [(1, 1), (1, 9), (9, 1), (2, 2), (5, 3)])
@pytest.mark.parametrize("interlaced", [False, True])
def test_small_pictures_are_kept(tmp_path: Path, size: tuple[int, int], interlaced: bool) -> None:
    for color, depth in ((GRAY, 1), (INDEXED, 2), (RGB, 16), (RGBA, 8)):
        png = random_png(color, depth, interlaced, *size)
        assert same(resaved(tmp_path, to_bytes(png)), png, b"PLTE")


@pytest.mark.parametrize("color, depth", [form for form in FORMS if form[0] in (GRAY, RGB)])
def test_the_transparent_color_is_kept(tmp_path: Path, color: int, depth: int) -> None:
    png = random_png(color, depth)
    key = png.samples[3, 4]
    png.chunks[b"tRNS"] = struct.pack(f">{len(key)}H", *key)
    assert same(resaved(tmp_path, to_bytes(png)), png, b"tRNS")
    image = load(tmp_path / "a.png")
    clear = np.all(png.samples == key, axis=-1)
    for y in range(png.samples.shape[0]):
        for x in range(png.samples.shape[1]):
            assert (image.get_argb_32_pixel(x, y) >> 24 & 255) == (0 if clear[y, x] else 255)


def test_a_transparent_color_that_is_drawn_over_becomes_alpha(tmp_path: Path) -> None:
    png = random_png(RGB, 8)
    png.chunks[b"tRNS"] = struct.pack(">3H", *png.samples[3, 4])
    (tmp_path / "a.png").write_bytes(to_bytes(png))
    image = load(tmp_path / "a.png")
    image.set_argb_32_pixel(0, 0, 0x40102030)
    image.save(str(tmp_path / "b.png"))
    found = from_bytes((tmp_path / "b.png").read_bytes())
    assert found.color == RGBA and b"tRNS" not in found.chunks
    assert list(found.samples[0, 0]) == [0x10, 0x20, 0x30, 0x40]
    assert found.samples[3, 4, 3] == 0 and np.array_equal(found.samples[1:, :, :3], png.samples[1:])


@pytest.mark.parametrize("depth", [1, 2, 4, 8])
def test_palettes_are_kept_with_their_transparency(tmp_path: Path, depth: int) -> None:
    png = random_png(INDEXED, depth)
    colors = (1 << depth) - (1 if depth > 1 else 0)  # fewer than the indices could tell apart
    png.samples %= colors
    png.chunks[b"PLTE"] = png.chunks[b"PLTE"][:3 * colors]
    png.chunks[b"tRNS"] = bytes(range(0, colors, 2))[:colors - 1 or 1]
    assert same(resaved(tmp_path, to_bytes(png)), png, b"PLTE", b"tRNS")


def test_equal_colors_of_a_palette_keep_their_indices(tmp_path: Path) -> None:
    png = random_png(INDEXED, 4)
    png.chunks[b"PLTE"] = b"\x10\x20\x30" * 16
    assert same(resaved(tmp_path, to_bytes(png)), png, b"PLTE")


@pytest.mark.parametrize("color, depth", [(GRAY, 1), (GRAY, 4), (INDEXED, 2), (INDEXED, 8), (GRAY, 16), (RGBA, 16)])
def test_turning_and_cropping_keep_the_form(tmp_path: Path, color: int, depth: int) -> None:
    png = random_png(color, depth)
    (tmp_path / "a.png").write_bytes(to_bytes(png))
    image = load(tmp_path / "a.png")
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    image.crop(Rectangle(1, 2, 7, 8))
    image.save(str(tmp_path / "b.png"))
    found = from_bytes((tmp_path / "b.png").read_bytes())
    wanted = np.rot90(png.samples, -1)[2:10, 1:8]
    assert (found.color, found.depth) == (color, depth) and np.array_equal(found.samples, wanted)
    assert found.chunks.get(b"PLTE") == png.chunks.get(b"PLTE")


def test_the_resolution_is_kept(tmp_path: Path) -> None:
    png = random_png(GRAY, 1)
    png.chunks[b"pHYs"] = struct.pack(">IIB", 11811, 5906, 1)
    found = resaved(tmp_path, to_bytes(png))
    assert same(found, png, b"pHYs")
    assert load(tmp_path / "a.png").horizontal_resolution == pytest.approx(300, abs=0.01)


def test_the_profile_is_kept(tmp_path: Path) -> None:
    srgb = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    for color in (RGB, RGBA, INDEXED):
        png = random_png(color, 8)
        png.chunks = {b"iCCP": b"name\0\0" + zlib.compress(srgb), **png.chunks}
        found = resaved(tmp_path, to_bytes(png))
        assert same(found, png, b"PLTE")
        assert zlib.decompress(found.chunks[b"iCCP"].split(b"\0", 2)[2]) == srgb


@pytest.mark.parametrize("color", [RGB, INDEXED, GRAY])
def test_chunks_that_say_srgb_are_kept(tmp_path: Path, color: int) -> None:
    png = random_png(color, 8)
    colors = struct.pack(">8I", 31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000)
    png.chunks = {b"sRGB": b"\2", b"gAMA": struct.pack(">I", 45455), b"cHRM": colors, **png.chunks}
    found = resaved(tmp_path, to_bytes(png))
    assert same(found, png, b"sRGB", b"gAMA", b"cHRM") and b"iCCP" not in found.chunks


def test_another_gamma_becomes_a_profile(tmp_path: Path) -> None:
    png = random_png(RGB, 8)
    png.samples[:] = 55
    png.chunks[b"gAMA"] = struct.pack(">I", 100000)
    found = resaved(tmp_path, to_bytes(png))
    assert same(found, png) and b"iCCP" in found.chunks and b"gAMA" not in found.chunks
    load(tmp_path / "a.png").save(str(tmp_path / "c.bmp"))  # which holds no profile: linear 55 is 128 in sRGB
    assert np.abs(read(tmp_path / "c.bmp", "RGB") - 128).max() <= 1


@pytest.mark.parametrize("kind", list(PngFilterType))
@pytest.mark.parametrize("level", [0, 1, 9])
def test_filters_and_levels_lose_nothing(tmp_path: Path, kind: PngFilterType, level: int) -> None:
    options = PngOptions()
    options.filter_type, options.compression_level = kind, level
    options.color_type = PngColorType.TRUECOLOR
    (tmp_path / "a.png").write_bytes(to_bytes(random_png(RGB, 8)))
    Image.load(str(tmp_path / "a.png")).save(str(tmp_path / "b.png"), options)
    assert np.array_equal(from_bytes((tmp_path / "b.png").read_bytes()).samples, random_png(RGB, 8).samples)


def test_files_are_as_small_as_those_of_pillow(tmp_path: Path) -> None:
    for bands in (1, 3, 4):
        picture = np.clip(smooth(bands, 500, 400).astype(int) + noise(bands, 3, 500, 400) % 9, 0, 255).astype(np.uint8)
        Pillow.fromarray(picture).save(tmp_path / "a.png")
        Image.load(str(tmp_path / "a.png")).save(str(tmp_path / "b.png"))
        assert (tmp_path / "b.png").stat().st_size <= 1.05 * (tmp_path / "a.png").stat().st_size
        assert worst(read(tmp_path / "b.png"), read(tmp_path / "a.png")) == 0


def test_an_index_without_a_color_is_damage(tmp_path: Path) -> None:
    png = random_png(INDEXED, 8)
    png.samples[2, 3], png.chunks[b"PLTE"] = 255, png.chunks[b"PLTE"][:-3]
    (tmp_path / "a.png").write_bytes(to_bytes(png))
    with managed_error("ImageLoadException", "palette"):
        load(tmp_path / "a.png").get_argb_32_pixel(3, 2)
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.MAXIMAL_RECOVER
    found = raster(Image.load(str(tmp_path / "a.png"), options)).get_argb_32_pixel(3, 2) & 0xFFFFFF
    assert found == int.from_bytes(png.chunks[b"PLTE"][:3], "big")  # the first color in its place


def chunks(names: str) -> bytes:
    """A PNG file of these chunks, of a gray picture whose pixels are spread over all IDAT chunks."""
    pixels = zlib.compress(packed(np.zeros((4, 6, 1), np.uint8), 8))
    kinds = names.split()
    parts = [bytes(part) for part in np.array_split(np.frombuffer(pixels, np.uint8), max(1, kinds.count("IDAT")))]
    bodies = {"IHDR": struct.pack(">IIBBBBB", 6, 4, 8, 0, 0, 0, 0), "PLTE": bytes(6), "tEXt": b"Comment\0words"}
    return SIGNATURE + b"".join(chunk(kind.encode(), parts.pop(0) if kind == "IDAT" else bodies.get(kind, b""))
                                for kind in kinds)


@pytest.mark.parametrize(("names", "fault"), [
    ("IHDR IDAT IEND", ""), ("IHDR tEXt IDAT IDAT IDAT tEXt IEND", ""), ("IHDR PLTE IDAT IEND", ""),
    ("IHDR IDAT", "the data ends before the end chunk"),
    ("IHDR IDAT tEXt", "the data ends before the end chunk"),
    ("IHDR IDAT IDAT tEXt IDAT IEND", "the chunk 'IDAT' is out of order"),
    ("IHDR IDAT PLTE IEND", "the chunk 'PLTE' is out of order"),
    ("IHDR IHDR IDAT IEND", "the chunk 'IHDR' is out of order"),
    ("IHDR IDAT IHDR IEND", "the chunk 'IHDR' is out of order"),
    ("IHDR XXXX IDAT IEND", "the chunk 'XXXX' is unknown"),
    ("IHDR xxXX IDAT IEND", ""),  # may be left out
    ("IHDR tEXt IEND", "there are no pixels before the end"),
])
def test_the_strict_mode_wants_chunks_in_order(tmp_path: Path, names: str, fault: str) -> None:
    (tmp_path / "a.png").write_bytes(chunks(names))
    options = PngLoadOptions()
    options.strict_mode = True
    if fault:
        with managed_error("ImageLoadException", fault + ", which PngLoadOptions.StrictMode refuses"):
            Image.load(str(tmp_path / "a.png"), options)
        return
    image = raster(Image.load(str(tmp_path / "a.png"), options))
    assert set(image.load_argb_32_pixels(image.bounds)) == {-0x1000000}


def test_damaged_rows_are_told(tmp_path: Path) -> None:
    png = random_png(RGBA, 16, False, 60, 50)
    rows = bytearray(picture_data(png))
    rows[len(rows) // 2] ^= 0xFF
    for checksum in (False, True):
        part = chunk(b"IDAT", bytes(rows) if checksum else picture_data(png))
        part = part if checksum else part[:-1] + bytes([part[-1] ^ 1])
        (tmp_path / "a.png").write_bytes(SIGNATURE + header(png) + part + chunk(b"IEND", b""))
        with managed_error("ImageLoadException", "PNG"):
            load(tmp_path / "a.png").get_argb_32_pixel(59, 49)


def test_gray_with_alpha_stays_gray(tmp_path: Path) -> None:
    png = random_png(GRAY_ALPHA, 8)
    (tmp_path / "a.png").write_bytes(to_bytes(png))
    image = load(tmp_path / "a.png")
    assert image.has_alpha and image.bits_per_pixel == 16


@pytest.mark.parametrize(("color", "depth"), [form for form in FORMS if form[0] != INDEXED])
def test_a_new_image_has_the_form_of_its_options(color: int, depth: int) -> None:
    options = PngOptions()
    options.color_type, options.bit_depth = PngColorType(color), depth
    image = raster(Image.create(options, 5, 4))
    assert (image.width, image.height, image.bits_per_pixel) == (5, 4, CHANNELS[color] * depth)
    assert image.has_alpha == (color in (GRAY_ALPHA, RGBA))
    file = io.BytesIO()
    image.save(file, PngOptions())
    found = from_bytes(file.getvalue())
    assert (found.color, found.depth) == (color, depth)
    assert (found.samples == 0).all()
