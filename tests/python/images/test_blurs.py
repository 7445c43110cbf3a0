"""Blurs, sharpening, bilateral smoothing and Wiener filters, computed a second time with NumPy."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Rectangle
from zelmor.imaging.imagefilters.filteroptions import (
    BilateralSmoothingFilterOptions, GaussianBlurFilterOptions, GaussWienerFilterOptions, MotionWienerFilterOptions,
    SharpenFilterOptions)

from support.image_oracles import (HEIGHT, WIDTH, Pixels, load, noise, pixels, smooth, wiener_filtered, worst, write,
                                   write_16_bits)


def bell(radius: int, sigma: float) -> Pixels:
    """Weights of Gauss along one line."""
    weights = np.exp(-np.arange(-radius, radius + 1)**2 / (2 * sigma**2))
    return np.asarray(weights / weights.sum())


def blurred(source: Pixels, radius: int, sigma: float) -> Pixels:
    """The exact blur, not rounded; edge pixels go on outside."""
    result = np.pad(source.astype(float), ((radius, radius), (radius, radius), (0, 0)), "edge")
    for axis in (0, 1):
        result = np.apply_along_axis(lambda line: np.convolve(line, bell(radius, sigma), "valid"), axis, result)
    return result


def wide_pixels(image: Any) -> Pixels:
    """The color channels in 16 bits."""
    words = np.array(image.load_argb_64_pixels(image.bounds)).astype(np.uint64).reshape(image.height, image.width)
    return np.stack([words >> np.uint64(shift) & np.uint64(0xFFFF) for shift in (32, 16, 0)], -1).astype(float)


def filtered(tmp_path: Path, source: Pixels, options: Any) -> Pixels:
    """The pixels after the filter."""
    image = load(write(tmp_path / "a.png", source))
    image.filter(image.bounds, options)
    return pixels(image, tmp_path, "RGBA" if source.shape[-1] == 4 else "RGB")


@pytest.mark.parametrize("radius, sigma", [(3, 1.5), (10, 5.0), (30, 12.0), (60, 200.0), (127, 40.0)])
def test_blurs_are_exact_to_their_rounding(tmp_path: Path, radius: int, sigma: float) -> None:
    found = filtered(tmp_path, noise(), GaussianBlurFilterOptions(radius, sigma))
    assert np.abs(found - blurred(noise(), radius, sigma)).max() < 0.501


def test_a_blur_of_sixteen_bits(tmp_path: Path) -> None:
    source = np.random.default_rng(3).integers(0, 65536, (HEIGHT, WIDTH, 3), dtype=np.uint16)
    image = load(write_16_bits(tmp_path / "a.png", source))
    image.filter(image.bounds, GaussianBlurFilterOptions(30, 12.0))
    assert np.abs(wide_pixels(image) - blurred(source, 30, 12.0)).max() < 0.6
    assert image.bits_per_pixel == 48


def test_transparent_colors_do_not_bleed(tmp_path: Path) -> None:
    source = noise(4).astype(float)
    source[:, :25, 3] = 0
    weighed = np.concatenate([source[..., :3] * source[..., 3:] / 255, source[..., 3:]], -1)
    exact = blurred(weighed, 4, 2.0)
    found = filtered(tmp_path, source.astype(np.uint8), GaussianBlurFilterOptions(4, 2.0))
    assert np.abs(found[..., 3] - exact[..., 3]).max() < 0.501
    seen = exact[..., 3] > 1
    assert np.abs(found[seen][:, :3] - exact[seen][:, :3] * 255 / exact[seen][:, 3:]).max() < 0.51


@pytest.mark.parametrize("size, sigma", [(3, 0.05), (3, 0.3), (5, 4.0), (31, 6.0)])
def test_sharpening_adds_the_difference_to_the_blur(tmp_path: Path, size: int, sigma: float) -> None:
    found = filtered(tmp_path, noise(), SharpenFilterOptions(size, sigma))
    exact = np.clip(2.0 * noise() - blurred(noise(), size // 2, sigma), 0, 255)
    assert np.abs(found - exact).max() < 0.501


def test_the_pixels_around_the_area_count(tmp_path: Path) -> None:
    for x, y, width, height in ((5, 10, 20, 10), (0, 0, 1, 1), (WIDTH - 3, HEIGHT - 2, 3, 2)):
        image = load(write(tmp_path / "a.png", noise()))
        image.filter(Rectangle(x, y, width, height), GaussianBlurFilterOptions(12, 5.0))
        exact = noise().astype(float)
        exact[y:y + height, x:x + width] = blurred(noise(), 12, 5.0)[y:y + height, x:x + width]
        assert np.abs(pixels(image, tmp_path) - exact).max() < 0.501


def test_a_blur_of_several_strips(tmp_path: Path) -> None:
    source = noise(3, width=500, height=301)
    assert np.abs(filtered(tmp_path, source, GaussianBlurFilterOptions(9, 3.0)) - blurred(source, 9, 3.0)).max() < 0.501


@pytest.mark.parametrize("size, spatial, color", [(5, 10.0, 50.0), (9, 2.0, 20.0), (101, 4.0, 30.0)])
def test_bilateral_smoothing(tmp_path: Path, size: int, spatial: float, color: float) -> None:
    source = smooth() // 2 + noise() // 4
    options = BilateralSmoothingFilterOptions(size)
    options.spatial_factor, options.color_factor = spatial, color
    sums = np.zeros(source.shape)
    weights = np.zeros(source.shape[:2])
    half = min(size // 2, 24)  # farther ones have a weight below 2^-24
    for dy in range(-half, half + 1):
        for dx in range(-half, half + 1):
            to = np.s_[max(0, -dy):HEIGHT - max(0, dy), max(0, -dx):WIDTH - max(0, dx)]
            at = np.s_[max(0, dy):HEIGHT + min(0, dy), max(0, dx):WIDTH + min(0, dx)]
            if source[to].size == 0:
                continue
            apart = np.abs(source[at].astype(int) - source[to]).sum(-1) / 3
            weight = np.exp(-0.5 * ((dx * dx + dy * dy) / spatial**2 + (apart / color)**2))
            sums[to] += weight[..., None] * source[at]
            weights[to] += weight
    found = filtered(tmp_path, source, options)
    assert np.abs(found - sums / weights[..., None]).max() < 0.51


def motion(length: int, smoothness: float, degrees: float) -> Pixels:
    """A line through the middle, soft across."""
    turn = np.radians(degrees)
    half = (length | 1) // 2
    y, x = np.mgrid[-half:half + 1, -half:half + 1]
    along, across = x * np.cos(turn) + y * np.sin(turn), y * np.cos(turn) - x * np.sin(turn)
    kernel = np.clip(length / 2 + 0.5 - np.abs(along), 0, 1) * np.exp(-across**2 / (2 * smoothness**2))
    return np.asarray(kernel / kernel.sum())


@pytest.mark.parametrize("make, kernel", [
    (lambda: GaussWienerFilterOptions(5, 2.0), np.outer(bell(5, 2.0), bell(5, 2.0))),
    (lambda: GaussWienerFilterOptions(2, 0.8), np.outer(bell(2, 0.8), bell(2, 0.8))),
    (lambda: MotionWienerFilterOptions(9, 1.0, 30.0), motion(9, 1.0, 30.0))])
@pytest.mark.parametrize("size", [(WIDTH, HEIGHT), (400, 290)])
def test_wiener_filters(tmp_path: Path, make: Any, kernel: Pixels, size: tuple[int, int]) -> None:
    width, height = size
    source = (smooth(width=width, height=height) // 2 + noise(width=width, height=height) // 8).astype(np.uint8)
    options = make()
    options.brightness = 1.1
    options.snr = 0.01
    found = filtered(tmp_path, source, options)
    exact = np.clip(wiener_filtered(source, kernel, 0.01) * 1.1, 0, 255)
    assert np.abs(found - exact).max() < 0.6


def test_a_wiener_filter_of_an_area_and_of_sixteen_bits(tmp_path: Path) -> None:
    source = smooth().astype(np.uint16) * 257
    image = load(write_16_bits(tmp_path / "a.png", source))
    options = GaussWienerFilterOptions(2, 0.8)
    options.brightness = 1.0
    image.filter(Rectangle(10, 5, 30, 20), options)
    exact = source.astype(float)
    kernel = np.outer(bell(2, 0.8), bell(2, 0.8))
    exact[5:25, 10:40] = np.clip(wiener_filtered(source, kernel, 0.007), 0, 65535)[5:25, 10:40]
    assert np.abs(wide_pixels(image) - exact).max() < 20  # of 65535
    assert worst(wide_pixels(image)[:5], source[:5]) == 0
