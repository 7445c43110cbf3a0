"""PSD files of the codec beside those of other programs, by a program that reads and writes rows."""

from __future__ import annotations

import itertools
import shutil
import subprocess
from pathlib import Path

import numpy as np
import pytest
from PIL import Image

from support.arrays import Pixels
from support.places import BUILD_DIR

PROGRAM = BUILD_DIR / "test-native" / "psd_rows"
#: ImageMagick 6 as Debian has it.
CONVERT = shutil.which("convert-im6.q16")
WIDTH, HEIGHT = 37, 23
GRAY, RGB, CMYK, LAB, INDEXED = range(5)
BANDS = {GRAY: 1, RGB: 3, CMYK: 4, LAB: 3, INDEXED: 1}
TYPES = {1: np.uint8, 8: np.uint8, 16: np.uint16, 32: np.float32}
RAW, PACK_BITS, ZIP, ZIP_WITH_PREDICTION = range(4)


def run(*words: object) -> bytes:
    done = subprocess.run([str(word) for word in words], capture_output=True, timeout=60)
    assert done.returncode == 0, done.stderr
    return done.stdout


def random_pixels(color: int, bits: int = 8, alpha: bool = False) -> Pixels:
    shape = (HEIGHT, WIDTH, BANDS[color] + alpha)
    random = np.random.default_rng(color + bits)
    if bits == 1:
        return (random.integers(0, 2, shape) * 255).astype(np.uint8)
    numbers = random.integers(0, 65536 if bits > 8 else 256, shape)
    return (numbers / 65535).astype(np.float32) if bits == 32 else numbers.astype(TYPES[bits])


def write(path: Path, pixels: Pixels, color: int, bits: int = 8, *, alpha: bool = False,
          compression: int = PACK_BITS, large: bool = False, thumbnail: bool = False) -> Path:
    rows = path.with_suffix(".rows")
    pixels.tofile(rows)
    run(PROGRAM, "write", rows, path, WIDTH, HEIGHT, color, bits, int(alpha), compression, int(large), int(thumbnail))
    return path


def read(path: Path) -> tuple[int, int, bool, Pixels, Pixels]:
    """Color, bits, alpha, pixels, palette."""
    rows = path.with_suffix(".read")
    lines = run(PROGRAM, "read", path, rows).decode().split("\n")
    width, height, color, bits, alpha, colors = map(int, lines[0].split())
    palette = np.array([[int(line[i:i + 2], 16) for i in (2, 4, 6)] for line in lines[1:1 + colors]], np.uint8)
    return color, bits, alpha == 1, np.fromfile(rows, TYPES[bits]).reshape(height, width, -1), palette


@pytest.mark.parametrize("compression", [RAW, PACK_BITS])
@pytest.mark.parametrize("color", BANDS)
def test_pillow_reads_what_is_written(tmp_path: Path, color: int, compression: int) -> None:
    pixels = random_pixels(color)
    with Image.open(write(tmp_path / "a.psd", pixels, color, compression=compression)) as image:
        assert image.mode == {GRAY: "L", RGB: "RGB", CMYK: "CMYK", LAB: "LAB", INDEXED: "P"}[color]
        assert np.array_equal(np.asarray(image).reshape(pixels.shape), pixels)
        if color == INDEXED:
            palette = np.asarray(image.convert("RGB"))
            indices = pixels[..., 0]
            assert np.array_equal(palette, np.stack([indices, 255 - indices, indices // 2], -1))


@pytest.mark.parametrize("compression", [RAW, PACK_BITS])
def test_pillow_reads_a_composite_on_white(tmp_path: Path, compression: int) -> None:
    pixels = random_pixels(RGB, alpha=True)
    with Image.open(write(tmp_path / "a.psd", pixels, RGB, alpha=True, compression=compression)) as image:
        found = np.asarray(image).astype(float)
    alpha = pixels[..., 3:] / 255
    assert np.array_equal(found[..., 3], pixels[..., 3])
    assert np.abs(found[..., :3] - (255 + (pixels[..., :3] - 255.0) * alpha)).max() <= 0.5


@pytest.mark.parametrize("compression", [RAW, PACK_BITS])
def test_pillow_reads_bits(tmp_path: Path, compression: int) -> None:
    pixels = random_pixels(GRAY, 1)
    with Image.open(write(tmp_path / "a.psd", pixels, GRAY, 1, compression=compression)) as image:
        # It takes a bit that is set for white, where the format means black.
        assert np.array_equal(255 - np.asarray(image.convert("L")), pixels[..., 0])


def test_exiftool_reads_the_resources(tmp_path: Path) -> None:
    path = write(tmp_path / "a.psd", random_pixels(RGB), RGB, thumbnail=True)
    found = run("exiftool", "-s3", "-XResolution", "-YResolution", "-ColorMode", "-BitDepth", path)
    assert found.decode().split() == ["300", "150", "RGB", "8"]
    thumbnail = tmp_path / "small.jpg"
    thumbnail.write_bytes(run("exiftool", "-b", "-PhotoshopThumbnail", path))
    with Image.open(thumbnail) as image:
        assert image.size == (WIDTH, HEIGHT)
    path = write(tmp_path / "b.psd", random_pixels(RGB, alpha=True), RGB, alpha=True)
    found = run("exiftool", "-s3", "-LayerCount", "-LayerNames", "-Compression", path)
    assert found.decode().splitlines() == ["1", "Layer 1", "RLE"]


def test_tags_of_exiftool_stay_in_a_picture_that_is_written_again(tmp_path: Path) -> None:
    path = write(tmp_path / "a.psd", random_pixels(RGB), RGB)
    tags = {"EXIF:Artist": "Ada", "IPTC:City": "Bonn", "XMP:Creator": "Grace"}
    run("exiftool", "-q", "-overwrite_original", *(f"-{name}={text}" for name, text in tags.items()), path)
    again = tmp_path / "again.psd"
    run(PROGRAM, "again", path, again)
    assert again.read_bytes() == path.read_bytes()
    assert run("exiftool", "-s3", *(f"-{name}" for name in tags), again).decode().split() == list(tags.values())


def magick(*words: object) -> bytes:
    assert CONVERT is not None
    return run(CONVERT, *words)


needs_magick = pytest.mark.skipif(CONVERT is None, reason="ImageMagick is not installed")
NAMES = {GRAY: "gray", RGB: "rgb", CMYK: "cmyk", LAB: "rgb"}


@needs_magick
@pytest.mark.parametrize("bits", [8, 16, 32])
@pytest.mark.parametrize("color", NAMES)
def test_imagemagick_reads_what_is_written(tmp_path: Path, color: int, bits: int) -> None:
    for alpha, large in itertools.product((False, True), (False, True)):
        if color == LAB and (alpha or bits == 32):
            continue
        # It reads compressed planes only of layers, which pictures with alpha have.
        for compression in (RAW, PACK_BITS, ZIP, ZIP_WITH_PREDICTION) if alpha else (RAW, PACK_BITS):
            if bits == 32 and compression == ZIP_WITH_PREDICTION:
                continue
            pixels = random_pixels(color, bits, alpha)
            path = write(tmp_path / ("a.psb" if large else "a.psd"), pixels, color, bits, alpha=alpha,
                         compression=compression, large=large)
            plain = ["-set", "colorspace", "sRGB"] if color == LAB else []
            form = NAMES[color] + ("a" if alpha else "")
            found = np.frombuffer(magick(f"{path}[{int(alpha)}]", *plain, "-depth", 8 if bits == 8 else 16,
                                         "-endian", "LSB", f"{form}:-"), np.uint8 if bits == 8 else np.uint16)
            wanted = np.round(pixels * 65535.0).astype(np.uint16) if bits == 32 else pixels.copy()
            if color == LAB:
                wanted[..., 1:] ^= 1 << (bits - 1)
            assert np.array_equal(found.reshape(wanted.shape), wanted), (alpha, large, compression)


@needs_magick
@pytest.mark.parametrize("bits", [8, 16])
@pytest.mark.parametrize("color", [GRAY, RGB, CMYK])
def test_files_of_imagemagick_are_read(tmp_path: Path, color: int, bits: int) -> None:
    for alpha, compression, ending in itertools.product((False, True), ("none", "rle"), ("psd", "psb")):
        pixels = random_pixels(color, bits, alpha)
        rows = tmp_path / "rows"
        pixels.tofile(rows)
        path = tmp_path / f"a.{ending}"
        magick("-size", f"{WIDTH}x{HEIGHT}", "-depth", bits, "-endian", "LSB",
               f"{NAMES[color]}{'a' if alpha else ''}:{rows}", "-compress", compression, path)
        found_color, found_bits, found_alpha, found, _ = read(path)
        assert (found_color, found_bits, found_alpha) == (color, bits, alpha)
        assert np.array_equal(found, pixels), (alpha, compression, ending)


@needs_magick
def test_bits_and_palettes_of_imagemagick_are_read(tmp_path: Path) -> None:
    pixels = random_pixels(GRAY, 1)
    path = write(tmp_path / "a.psd", pixels, GRAY, 1)
    assert magick(f"{path}[0]", "-depth", 8, "gray:-") == pixels.tobytes()
    magick(f"{path}[0]", "-monochrome", "-compress", "none", tmp_path / "b.psd")
    color, bits, _, found, _ = read(tmp_path / "b.psd")
    assert (color, bits) == (GRAY, 1)
    assert np.array_equal(found, pixels)
    magick("rose:", "-type", "palette", "-colors", 64, "-compress", "rle", tmp_path / "c.psd")
    color, bits, _, found, palette = read(tmp_path / "c.psd")
    assert (color, bits) == (INDEXED, 8)
    with Image.open(tmp_path / "c.psd") as image:
        assert np.array_equal(palette[found[..., 0]], np.asarray(image.convert("RGB")))
