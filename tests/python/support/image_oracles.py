"""Helpers of the image tests: pictures from fixed seeds, Pillow and NumPy as oracles, and casts of images."""

from __future__ import annotations

import contextlib
import re
import struct
import zlib
from collections.abc import Iterator
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor import imaging

from support.arrays import Pixels as Pixels
from support.pictures import png_chunk

WIDTH, HEIGHT = 61, 43  # odd, so that wrong padding of rows shows

#: The formats by extension: managed name of the format, Pillow's name, whether a save is lossless by default.
FORMATS = {
    "png": ("PNG", "PNG", True),
    "bmp": ("BMP", "BMP", True),
    "tif": ("TIFF", "TIFF", True),
    "webp": ("WEBP", "WEBP", True),
    "gif": ("GIF", "GIF", False),
    "jpg": ("JPEG", "JPEG", False),
}


def noise(bands: int = 3, seed: int = 1, width: int = WIDTH, height: int = HEIGHT) -> Pixels:
    """A picture of random colors."""
    shape = (height, width, bands) if bands > 1 else (height, width)
    return np.random.default_rng(seed).integers(0, 256, shape, dtype=np.uint8)


def smooth(bands: int = 3, width: int = WIDTH, height: int = HEIGHT) -> Pixels:
    """Soft waves, which every sound method of resampling or compression preserves."""
    y, x = np.mgrid[0:height, 0:width]
    waves = [127 + 110 * np.sin(x / (9 + 3 * k) + k) * np.cos(y / (8 + 2 * k)) for k in range(bands)]
    picture = np.stack(waves, -1).round().astype(np.uint8)
    return picture if bands > 1 else picture[..., 0]


def few_colors(count: int = 16) -> Pixels:
    """Blocks of `count` colors."""
    colors = noise(3, seed=5, width=count, height=1)[0]
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    return colors[(x // 5 + y // 4 * 3) % count]


def write(path: Path, pixels: Pixels, **options: object) -> str:
    """Writes an array with Pillow; the extension selects the format."""
    Pillow.fromarray(pixels).save(path, **options)
    return str(path)


def read(path: Path | str, mode: str | None = None) -> Pixels:
    """The pixels of a file as Pillow reads them."""
    with Pillow.open(path) as picture:
        return np.asarray(picture.convert(mode) if mode else picture).astype(int)


def raster(image: imaging.Image) -> imaging.RasterImage:
    """An image, cast to a raster image."""
    return imaging.RasterImage._cast_to(image).value


def load(path: Path | str) -> imaging.RasterImage:
    """Loads a file and casts it to a raster image."""
    return raster(imaging.Image.load(str(path)))


def pixels(image: imaging.Image, tmp_path: Path, mode: str = "RGB") -> Pixels:
    """The pixels of an image, read from a lossless file that it is saved to."""
    image.save(str(tmp_path / "pixels.png"))
    return read(tmp_path / "pixels.png", mode)


def worst(a: Pixels, b: Pixels) -> int:
    """The greatest difference between two pictures of the same shape."""
    assert a.shape == b.shape
    return int(np.abs(a.astype(int) - b.astype(int)).max())


@contextlib.contextmanager
def managed_error(name: str, *parts: str) -> Iterator[None]:
    """Expects a managed exception of this name, whose text contains all the parts."""
    with pytest.raises(RuntimeError) as caught:
        yield
    text = str(caught.value)
    assert re.match(rf"Proxy error\({name}\): .", text), text
    for part in parts:
        assert part in text, text


def write_16_bits(path: Path, pixels: Pixels) -> str:
    """Writes a PNG of 16 bits per channel, which Pillow writes of gray pictures only: RGB or RGBA."""
    height, width, bands = pixels.shape
    rows = pixels.astype(">u2").reshape(height, -1).view(np.uint8)
    header = struct.pack(">IIBBBBB", width, height, 16, {3: 2, 4: 6}[bands], 0, 0, 0)
    data = zlib.compress(np.pad(rows, ((0, 0), (1, 0))).tobytes(), 1)
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + png_chunk(b"IDAT", data)
                     + png_chunk(b"IEND", b""))
    return str(path)


def wiener_filtered(source: Pixels, kernel: Pixels, noise_to_signal: float) -> Pixels:
    """Wiener's filter by one transform of the picture, mirrored at its edges; not rounded."""
    wall = np.concatenate([source, source[::-1]], 0)
    wall = np.concatenate([wall, wall[:, ::-1]], 1).astype(float)
    spread = np.zeros(wall.shape[:2])
    half = kernel.shape[0] // 2
    for y in range(-half, half + 1):
        for x in range(-half, half + 1):
            spread[y % spread.shape[0], x % spread.shape[1]] += kernel[y + half, x + half]
    blur = np.fft.fft2(spread)
    result = np.fft.fft2(wall, axes=(0, 1)) * (blur.conj() / (np.abs(blur)**2 + noise_to_signal))[..., None]
    return np.asarray(np.fft.ifft2(result, axes=(0, 1)).real[:source.shape[0], :source.shape[1]])
