"""Filters and straightening, compared with NumPy."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Color, Rectangle
from zelmor.imaging.imagefilters.filteroptions import (
    BigRectangularFilterOptions, BilateralSmoothingFilterOptions, GaussianBlurFilterOptions, GaussWienerFilterOptions,
    MedianFilterOptions, MotionWienerFilterOptions, SharpenFilterOptions, SmallRectangularFilterOptions)

from support.image_oracles import HEIGHT, WIDTH, Pixels, load, managed_error, noise, pixels, smooth, worst, write


def convolved(source: Pixels, kernel: Pixels) -> Pixels:
    """The weighted sum around each pixel, edges repeated."""
    half = kernel.shape[0] // 2
    wide = np.pad(source.astype(float), ((half, half), (half, half), (0, 0)), "edge")
    result = np.zeros(source.shape)
    for y in range(kernel.shape[0]):
        for x in range(kernel.shape[1]):
            result += kernel[y, x] * wide[y:y + source.shape[0], x:x + source.shape[1]]
    return np.clip(np.rint(result), 0, 255)


def bell(radius: int, sigma: float) -> Pixels:
    """A normalized Gaussian kernel."""
    y, x = np.mgrid[-radius:radius + 1, -radius:radius + 1]
    weights = np.exp(-(x * x + y * y) / (2 * sigma * sigma))
    return weights / weights.sum()


def box(side: int) -> Pixels:
    """Equal weights."""
    return np.full((side, side), 1 / side**2)


def sharpening(size: int, sigma: float) -> Pixels:
    """Twice the pixel minus the Gaussian blur."""
    kernel = -bell(size // 2, sigma)
    kernel[size // 2, size // 2] += 2
    return kernel


def filtered(tmp_path: Path, options: Any, source: Pixels, area: tuple[int, int, int, int] | None = None) -> Pixels:
    """A picture after the filter."""
    image = load(write(tmp_path / "a.png", source))
    image.filter(Rectangle(*area) if area else image.bounds, options)
    return pixels(image, tmp_path)


@pytest.mark.parametrize("make, kernel", [
    (lambda: GaussianBlurFilterOptions(3, 1.5), bell(3, 1.5)),
    (lambda: GaussianBlurFilterOptions(1, 0.8), bell(1, 0.8)),
    (lambda: SharpenFilterOptions(5, 1.2), sharpening(5, 1.2)), (SmallRectangularFilterOptions, box(3)),
    (BigRectangularFilterOptions, box(5))])
def test_convolutions(tmp_path: Path, make: Any, kernel: Pixels) -> None:
    assert worst(filtered(tmp_path, make(), noise()), convolved(noise(), kernel)) <= 1


def test_factor_and_bias(tmp_path: Path) -> None:
    options = GaussianBlurFilterOptions(1, 1.0)
    assert (options.factor, options.bias) == (1.0, 0)
    options.factor = 0.5
    options.bias = 20
    expected = np.rint(convolved(smooth(), bell(1, 1.0)) * 0.5 + 20)
    assert worst(filtered(tmp_path, options, smooth()), expected) <= 2


def test_median(tmp_path: Path) -> None:
    source = noise()
    wide = np.pad(source, ((1, 1), (1, 1), (0, 0)), "edge")
    windows = np.stack([wide[y:y + HEIGHT, x:x + WIDTH] for y in range(3) for x in range(3)])
    assert worst(filtered(tmp_path, MedianFilterOptions(3), source), np.median(windows, 0)) == 0


def test_bilateral_smoothing_keeps_edges(tmp_path: Path) -> None:
    source = np.zeros((HEIGHT, WIDTH, 3), np.uint8)
    source[:, 30:] = 220
    source += np.random.default_rng(1).integers(0, 8, source.shape, dtype=np.uint8)
    result = filtered(tmp_path, BilateralSmoothingFilterOptions(7), source)
    assert result[:, :28].std() < source[:, :28].std() / 2
    assert result[5, 29].max() < 15 and result[5, 30].min() > 210


def test_only_the_area_is_filtered(tmp_path: Path) -> None:
    source = noise()
    expected = source.astype(int)
    expected[10:20, 5:25] = convolved(source, box(3))[10:20, 5:25]
    assert worst(filtered(tmp_path, SmallRectangularFilterOptions(), source, (5, 10, 20, 10)), expected) <= 1


@pytest.mark.parametrize("make, blur", [
    (lambda: GaussWienerFilterOptions(4, 1.5), bell(4, 1.5)),
    (lambda: MotionWienerFilterOptions(7, 0.3, 0.0), np.pad(np.full((1, 7), 1 / 7), ((3, 3), (0, 0))))])
def test_blurs_are_undone(tmp_path: Path, make: Any, blur: Pixels) -> None:
    y, x = np.mgrid[0:96, 0:96]
    sharp = np.repeat(np.where((x // 12 + y // 12) % 2, 200, 50).astype(np.uint8)[..., None], 3, -1)
    options = make()
    assert options.brightness == pytest.approx(1.15)
    options.brightness = 1.0
    options.snr = 0.001
    blurred = convolved(sharp, blur).astype(np.uint8)
    restored = filtered(tmp_path, options, blurred)

    def error(picture: Pixels) -> float:
        return float(np.sqrt(((picture.astype(float) - sharp)[12:-12, 12:-12] ** 2).mean()))

    assert error(restored) < error(blurred) * 0.65
    options.grayscale = True
    gray = filtered(tmp_path, options, blurred)
    assert (gray[..., 0] == gray[..., 2]).all()


def test_what_filters_refuse(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentNullException", "options"):
        image.filter(image.bounds, None)
    with managed_error("ArgumentOutOfRangeException", "Radius", "0"):
        image.filter(image.bounds, GaussianBlurFilterOptions(0, 1.0))
    for sigma in (0.0, -1.0, float("nan"), float("inf")):
        with managed_error("ArgumentOutOfRangeException", "Sigma"):
            image.filter(image.bounds, GaussianBlurFilterOptions(1, sigma))
    with managed_error("ArgumentOutOfRangeException", "Size"):
        image.filter(image.bounds, MedianFilterOptions(100000))
    with managed_error("ArgumentOutOfRangeException"):
        image.filter(Rectangle(0, 0, WIDTH + 1, 1), SmallRectangularFilterOptions())
    assert worst(pixels(image, tmp_path), noise()) == 0


def text_page() -> Pixels:
    """Dark lines on paper, as text has them."""
    page = np.full((300, 400, 3), 255, np.uint8)
    for top in range(30, 270, 20):
        page[top:top + 6, 50:350] = 20
    return page


@pytest.mark.parametrize("degrees", [0.0, 4.5, -11.25])
def test_the_skew_of_a_page(tmp_path: Path, degrees: float) -> None:
    image = load(write(tmp_path / "a.png", text_page()))
    image.rotate(degrees, True, Color.white)
    assert image.get_skew_angle() == pytest.approx(degrees, abs=0.3)
    image.normalize_angle(False, Color.white)
    assert image.get_skew_angle() == pytest.approx(0.0, abs=0.3)


def test_a_page_is_put_straight_in_its_own_size(tmp_path: Path) -> None:
    page = load(write(tmp_path / "a.png", text_page()))
    page.rotate(7.0, False, Color.white)
    page.save(str(tmp_path / "b.png"))
    image = load(tmp_path / "b.png")
    image.background_color, image.has_background_color = Color.red, True
    image.normalize_angle()
    assert (image.width, image.height) == (400, 300)
    assert image.get_skew_angle() == pytest.approx(0.0, abs=0.3)
    assert [tuple(image.get_pixel(x, y).to_argb() & 0xFFFFFF for x in (0, 399)) for y in (0, 299)] \
        == [(0xFF0000, 0xFF0000)] * 2
    grown = load(tmp_path / "b.png")
    grown.normalize_angle(True, Color.white)
    assert grown.width > 400 and grown.height > 300


def test_corners_of_a_page_with_alpha_are_clear(tmp_path: Path) -> None:
    page = load(write(tmp_path / "a.png", np.dstack([text_page(), np.full((300, 400), 255, np.uint8)])))
    page.rotate(7.0, False, Color.white)
    page.normalize_angle()
    assert [page.get_pixel(x, y).a for y in (0, 299) for x in (0, 399)] == [0] * 4


def test_a_page_without_lines(tmp_path: Path) -> None:
    blank = np.full((50, 60, 3), 240, np.uint8)
    image = load(write(tmp_path / "a.png", blank))
    assert image.get_skew_angle() == 0.0
    image.normalize_angle()
    assert worst(pixels(image, tmp_path), blank) == 0
