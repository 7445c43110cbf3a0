"""Tones and thresholds compared with their formulas; colors through profiles."""

from __future__ import annotations

from pathlib import Path

import numpy as np
import pytest
from zelmor.imaging import CmykColor, Color

from support.image_oracles import HEIGHT, WIDTH, Pixels, load, managed_error, noise, pixels, smooth, worst, write

LUMA = np.array([0.299, 0.587, 0.114])


def gray(source: Pixels) -> Pixels:
    return np.rint(source[..., :3] @ LUMA)


@pytest.mark.parametrize("bands", [3, 4])
def test_grayscale(tmp_path: Path, bands: int) -> None:
    image = load(write(tmp_path / "a.png", noise(bands)))
    image.grayscale()
    result = pixels(image, tmp_path, "RGBA")
    for channel in range(3):
        assert worst(result[..., channel], gray(noise(bands))) <= 1
    if bands == 4:
        assert np.array_equal(result[..., 3], noise(4)[..., 3])


@pytest.mark.parametrize("brightness", [-255, -77, 0, 1, 128, 255])
def test_brightness(tmp_path: Path, brightness: int) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.adjust_brightness(brightness)
    assert worst(pixels(image, tmp_path), np.clip(noise().astype(int) + brightness, 0, 255)) == 0


@pytest.mark.parametrize("contrast", [-100, -50, -12.5, 0, 20, 100])
def test_contrast(tmp_path: Path, contrast: float) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.adjust_contrast(contrast)
    expected = ((noise() / 255 - 0.5) * ((100 + contrast) / 100) ** 2 + 0.5) * 255
    assert np.abs(pixels(image, tmp_path) - np.clip(expected, 0, 255)).max() <= 0.51


@pytest.mark.parametrize("gammas", [(2.2,), (0.5,), (1.0,), (2.0, 1.0, 0.4)])
def test_gamma(tmp_path: Path, gammas: tuple[float, ...]) -> None:
    image = load(write(tmp_path / "a.png", noise(4)))
    image.adjust_gamma(*gammas)
    result = pixels(image, tmp_path, "RGBA")
    for channel in range(3):
        expected = 255 * (noise(4)[..., channel] / 255) ** (1 / gammas[channel % len(gammas)])
        assert np.abs(result[..., channel] - expected).max() <= 0.51
    assert np.array_equal(result[..., 3], noise(4)[..., 3])


@pytest.mark.parametrize("threshold", [0, 1, 100, 254, 255])
def test_binarize_fixed(tmp_path: Path, threshold: int) -> None:
    source = noise(1)
    image = load(write(tmp_path / "a.png", source))
    image.binarize_fixed(threshold)
    assert worst(pixels(image, tmp_path, "L"), 255 * (source > threshold)) == 0


def test_binarize_otsu(tmp_path: Path) -> None:
    rng = np.random.default_rng(8)
    light = rng.random((HEIGHT, WIDTH)) < 0.4
    source = np.where(light, rng.integers(150, 220, light.shape), rng.integers(20, 90, light.shape)).astype(np.uint8)
    image = load(write(tmp_path / "a.png", source))
    image.binarize_otsu()
    assert worst(pixels(image, tmp_path, "L"), 255 * light) == 0


@pytest.mark.parametrize("difference", [0.0, 0.15, 1.0])
@pytest.mark.parametrize("window", [1, 5, 12, 31, 500, 2**31 - 1])
def test_binarize_bradley(tmp_path: Path, difference: float, window: int) -> None:
    source = noise(1)
    image = load(write(tmp_path / "a.png", source))
    image.binarize_bradley(difference, window)
    half = min(window, 2 * WIDTH) // 2
    span = 2 * half + 1

    def sums(values: Pixels) -> Pixels:
        total = np.pad(np.pad(values.astype(float), half), ((1, 0), (1, 0))).cumsum(0).cumsum(1)
        return total[span:, span:] - total[:-span, span:] - total[span:, :-span] + total[:-span, :-span]

    white = source * sums(np.ones_like(source)) >= sums(source) * (1 - difference)
    assert worst(pixels(image, tmp_path, "L"), 255 * white) == 0


@pytest.mark.parametrize("window", [3, 9, 151, 301])
def test_binarize_bradley_of_many_rows(tmp_path: Path, window: int) -> None:
    """The sums of windows go on where rows are worked on in several parts."""
    source = np.random.default_rng(11).integers(0, 256, (1310, 19)).astype(np.uint8)
    image = load(write(tmp_path / "a.png", source))
    image.binarize_bradley(0.25, window)
    reach, (height, width) = window // 2, source.shape
    total = np.pad(source.astype(int), ((1, 0), (1, 0))).cumsum(0).cumsum(1)
    rows, columns = np.mgrid[0:height, 0:width]
    top, bottom = np.maximum(rows - reach, 0), np.minimum(rows + reach + 1, height)
    left, right = np.maximum(columns - reach, 0), np.minimum(columns + reach + 1, width)
    sums = total[bottom, right] - total[top, right] - total[bottom, left] + total[top, left]
    white = 4 * source.astype(int) * (bottom - top) * (right - left) >= 3 * sums
    assert worst(pixels(image, tmp_path, "L"), 255 * white) == 0


@pytest.mark.parametrize(("width", "window"), [(61, 7), (56, 7), (55, 6), (20, 3), (200, 25)])
def test_a_window_is_an_eighth_of_the_width(tmp_path: Path, width: int, window: int) -> None:
    """At least three pixels."""
    path = write(tmp_path / "a.png", noise(1, width=width))
    found, wanted = load(path), load(path)
    found.binarize_bradley(0.15)
    wanted.binarize_bradley(0.15, window)
    assert worst(pixels(found, tmp_path, "L"), pixels(wanted, tmp_path, "L")) == 0
    other = load(path)
    other.binarize_bradley(0.15, window | 1 if window % 2 == 0 else window + 2)
    assert (worst(pixels(found, tmp_path, "L"), pixels(other, tmp_path, "L")) == 0) == (window % 2 == 0)


def test_binarize_bradley_on_uneven_light(tmp_path: Path) -> None:
    """Writing on a page that is dark on one side: no global threshold separates it, the local one does."""
    page = np.tile(np.linspace(40, 250, 160), (80, 1))
    ink = np.zeros(page.shape, bool)
    ink[20:60:4, 10:150] = True
    image = load(write(tmp_path / "a.png", np.where(ink, page * 0.6, page).astype(np.uint8)))
    image.binarize_bradley(0.15)
    assert ((pixels(image, tmp_path, "L") == 0) == ink).mean() > 0.99


@pytest.mark.parametrize("call, arguments, parameter, value", [
    ("adjust_brightness", (256,), "brightness", "256"),
    ("adjust_brightness", (-256,), "brightness", "-256"),
    ("adjust_contrast", (100.5,), "contrast", "100.5"),
    ("adjust_contrast", (float("nan"),), "contrast", "NaN"),
    ("adjust_gamma", (0.0,), "gamma", "0"),
    ("adjust_gamma", (1.0, -2.0, 1.0), "gamma_green", "-2"),
    ("binarize_bradley", (1.5, 5), "brightness_difference", "1.5"),
    ("binarize_bradley", (-0.1,), "brightness_difference", "-0.1"),
    ("binarize_bradley", (0.1, 0), "window_size", "0"),
])
def test_arguments_outside_their_range(tmp_path: Path, call: str, arguments: tuple[float, ...], parameter: str,
                                       value: str) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentOutOfRangeException", f"'{parameter}'", f" {value} "):
        getattr(image, call)(*arguments)
    assert worst(pixels(image, tmp_path), noise()) == 0


def test_operations_on_gray_and_sixteen_bits(tmp_path: Path) -> None:
    wide = np.random.default_rng(3).integers(0, 65536, (HEIGHT, WIDTH), dtype=np.uint16)
    image = load(write(tmp_path / "a.png", wide))
    image.adjust_brightness(10)
    image.save(str(tmp_path / "b.png"))
    from PIL import Image as Pillow
    with Pillow.open(tmp_path / "b.png") as result:
        assert np.array_equal(np.asarray(result).astype(int), np.minimum(wide.astype(int) + 2570, 65535))


def test_tones_agree_between_views(tmp_path: Path) -> None:
    """An operation called through the base class is the same as through the derived class."""
    from zelmor.imaging import Image, RasterCachedImage
    path = write(tmp_path / "a.png", smooth())
    one, other = load(path), RasterCachedImage._cast_to(Image.load(path)).value
    for image in (one, other):
        image.adjust_gamma(1.7)
        image.binarize_bradley(0.1, 9)
    assert worst(pixels(one, tmp_path), pixels(other, tmp_path)) == 0


@pytest.mark.parametrize("color", [(255, 255, 255), (0, 0, 0), (128, 128, 128), (60, 120, 90), (200, 160, 40)])
def test_colors_through_the_cmyk_profile_and_back(color: tuple[int, int, int]) -> None:
    cmyk = Color.to_cmyk_color_with_def_icc(Color.from_argb(255, *color))
    back = CmykColor.to_color_with_def_icc(cmyk)
    assert back.a == 255
    for value, expected in zip((back.r, back.g, back.b), color):
        assert abs(value - expected) <= 40  # colors that ink on paper cannot reproduce
    assert str(Color.to_cmyk_icc(Color.from_argb(255, *color))) == str(cmyk)
    assert str(CmykColor.to_color_icc(cmyk)) == str(back)


def test_white_needs_no_ink_and_black_much() -> None:
    white = Color.to_cmyk_color_with_def_icc(Color.white)
    black = Color.to_cmyk_color_with_def_icc(Color.black)
    assert (white.c, white.m, white.y, white.k) == (0, 0, 0, 0)
    assert black.k > 150
