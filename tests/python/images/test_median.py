"""The median filter beside NumPy's median of each window and beside Pillow's filter; edge pixels go on outside."""

from __future__ import annotations

from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageFilter
from zelmor.imaging import Rectangle
from zelmor.imaging.imagefilters.filteroptions import MedianFilterOptions

from support.image_oracles import HEIGHT, WIDTH, Pixels, load, managed_error, noise, pixels, read, worst, write
from support.image_oracles import write_16_bits


def medians(source: Pixels, size: int) -> Pixels:
    """The middle sample of the square around each one."""
    half = size // 2
    wide = np.pad(source, ((half, half), (half, half)) + ((0, 0),) * (source.ndim - 2), "edge")
    windows = np.lib.stride_tricks.sliding_window_view(wide, (size, size), (0, 1))
    return np.median(windows.reshape(*source.shape, -1), -1).astype(int)


@pytest.mark.parametrize("size", [1, 3, 5, 7, 9, 11, 25])
@pytest.mark.parametrize("bands", [1, 3])
def test_the_median_of_each_window(tmp_path: Path, size: int, bands: int) -> None:
    source = noise(bands)
    image = load(write(tmp_path / "a.png", source))
    image.filter(image.bounds, MedianFilterOptions(size))
    assert worst(pixels(image, tmp_path, "L" if bands == 1 else "RGB"), medians(source, size)) == 0


@pytest.mark.parametrize("size", [3, 5, 7])
def test_as_pillow_to_the_edges(tmp_path: Path, size: int) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.filter(image.bounds, MedianFilterOptions(size))
    expected = np.asarray(Pillow.fromarray(noise()).filter(ImageFilter.MedianFilter(size)))
    assert worst(pixels(image, tmp_path), expected) == 0


@pytest.mark.parametrize("size", [3, 5, 7, 9, 21])
@pytest.mark.parametrize("most", [300, 65536])
def test_sixteen_bits(tmp_path: Path, size: int, most: int) -> None:
    source = np.random.default_rng(size).integers(0, most, (HEIGHT, WIDTH), dtype=np.uint16)
    image = load(write(tmp_path / "a.png", source))
    image.filter(image.bounds, MedianFilterOptions(size))
    assert image.bits_per_pixel == 16
    image.save(str(tmp_path / "b.png"))
    assert worst(read(tmp_path / "b.png"), medians(source, size)) == 0


def test_sixteen_bits_in_color(tmp_path: Path) -> None:
    source = np.random.default_rng(4).integers(0, 65536, (HEIGHT, WIDTH, 3), dtype=np.uint16)
    image = load(write_16_bits(tmp_path / "a.png", source))
    image.filter(image.bounds, MedianFilterOptions(5))
    words = np.array(image.load_argb_64_pixels(image.bounds)).astype(np.uint64).reshape(HEIGHT, WIDTH)
    found = np.stack([words >> np.uint64(shift) & np.uint64(0xFFFF) for shift in (32, 16, 0)], -1)
    assert worst(found, medians(source, 5)) == 0


@pytest.mark.parametrize("size", [5, 13])
def test_alpha_stays(tmp_path: Path, size: int) -> None:
    source = noise(4)
    image = load(write(tmp_path / "a.png", source))
    image.filter(image.bounds, MedianFilterOptions(size))
    found = pixels(image, tmp_path, "RGBA")
    assert worst(found[..., :3], medians(source[..., :3], size)) == 0
    assert worst(found[..., 3], source[..., 3]) == 0


@pytest.mark.parametrize("size", [5, 9])
def test_pixels_around_the_area_count(tmp_path: Path, size: int) -> None:
    source = noise()
    for x, y, width, height in ((5, 10, 20, 10), (0, 0, 1, 1), (WIDTH - 3, HEIGHT - 2, 3, 2), (0, 20, WIDTH, 1)):
        expected = source.astype(int)
        expected[y:y + height, x:x + width] = medians(source, size)[y:y + height, x:x + width]
        image = load(write(tmp_path / "a.png", source))
        image.filter(Rectangle(x, y, width, height), MedianFilterOptions(size))
        assert worst(pixels(image, tmp_path), expected) == 0


@pytest.mark.parametrize("size", [3, 7, 51])
def test_windows_larger_than_the_picture(tmp_path: Path, size: int) -> None:
    source = noise(width=4, height=3)
    image = load(write(tmp_path / "a.png", source))
    image.filter(image.bounds, MedianFilterOptions(size))
    assert worst(pixels(image, tmp_path), medians(source, size)) == 0


def test_pictures_of_several_strips(tmp_path: Path) -> None:
    source = noise(1, width=300, height=401)
    for size in (7, 9):
        image = load(write(tmp_path / "a.png", source))
        image.filter(image.bounds, MedianFilterOptions(size))
        assert worst(pixels(image, tmp_path, "L"), medians(source, size)) == 0


def test_an_even_size_is_the_next_odd_one(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.filter(image.bounds, MedianFilterOptions(4))
    assert worst(pixels(image, tmp_path), medians(noise(), 5)) == 0
    for size in (0, -3, 256):
        with managed_error("ArgumentOutOfRangeException", "Size"):
            image.filter(image.bounds, MedianFilterOptions(size))
