"""Operations on samples of every kind, gray and RGB, with and without alpha: the arithmetic of shares, written out.

A share is a sample as a part of its range, from 0 to 1. TIFF files are built and read here, byte by byte.
"""

from __future__ import annotations

import dataclasses
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Color, Graphics, RasterImage, Rectangle, ResizeType, RotateFlipType
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.imagefilters.filteroptions import (
    BilateralSmoothingFilterOptions, GaussianBlurFilterOptions, GaussWienerFilterOptions, MedianFilterOptions,
    SharpenFilterOptions)
from zelmor.imaging.imageoptions import BmpOptions

from support import tiff_files as tiff
from support.image_oracles import Pixels, load, read, wiener_filtered
from support.tiff_files import Form

WIDTH, HEIGHT = 37, 29
#: Bits of a sample, and what kind of number it is: 1 unsigned, 2 signed, 3 floating.
KINDS = {"u8": (8, 1), "i8": (8, 2), "u16": (16, 1), "i16": (16, 2), "u32": (32, 1), "i32": (32, 2), "half": (16, 3),
         "float": (32, 3), "double": (64, 3)}
RARE = ("i8", "i16", "i32", "half")
FORMS = [pytest.param(Form(name, tiff.RGB if bands > 2 else tiff.BLACK_IS_ZERO, bands, bits, numbers,
                           extra=None if bands % 2 else 2), id=f"{name}-{bands}")
         for name, (bits, numbers) in KINDS.items() for bands in ((1, 4) if name in RARE else (1, 2, 3, 4))]
every_form = pytest.mark.parametrize("form", FORMS)
SINGLE = 2e-6  # what a computation in single precision loses
LUMA = np.array([0.299, 0.587, 0.114])


def top(form: Form) -> float:
    """The number of steps of an integer's range."""
    return 2.0**form.bits - 1


def stored(shares: Pixels, form: Form) -> Pixels:
    """Samples as a file has them."""
    if form.numbers == 3:
        return shares.astype(form.type())
    whole = np.rint(np.clip(shares, 0, 1) * top(form))
    return np.asarray(whole - (2**(form.bits - 1) if form.numbers == 2 else 0)).astype(form.type())


def shares_of(samples: Pixels, form: Form) -> Pixels:
    """The shares that samples of a file stand for."""
    if form.numbers == 3:
        return samples.astype(float)
    return np.asarray((samples.astype(float) + (2**(form.bits - 1) if form.numbers == 2 else 0)) / top(form))


def lost_in(form: Form) -> float:
    """What is lost where only samples of more than 24 bits are computed with in double precision."""
    return SINGLE if form.bits < 32 or (form.bits, form.numbers) == (32, 3) else 1e-12


def noise_of(form: Form, seed: int = 1) -> Pixels:
    """Random shares that the form has exactly; the left columns are clear where there is alpha."""
    shares = np.random.default_rng(seed).random((HEIGHT, WIDTH, form.bands))
    if form.extra:
        shares[:, :9, -1] = 0
        shares[:, 30:, -1] = 1
    return shares_of(stored(shares, form), form)


def opened(tmp_path: Path, shares: Pixels, form: Form) -> RasterImage:
    """An image of these shares."""
    (tmp_path / "in.tif").write_bytes(tiff.tiff_bytes(stored(shares, form), form))
    return load(tmp_path / "in.tif")


def saved(tmp_path: Path, image: RasterImage) -> tuple[Form, Pixels]:
    """The form that an image is saved in, and its shares."""
    image.save(str(tmp_path / "out.tif"))
    data = (tmp_path / "out.tif").read_bytes()
    page = tiff.page(tmp_path / "out.tif")
    assert page.number(tiff.COMPRESSION) == 1
    form = Form("", page.number(tiff.PHOTOMETRIC), page.number(tiff.SAMPLES), page.number(tiff.BITS),
                page.number(tiff.SAMPLE_FORMAT, 1), extra=page.number(tiff.EXTRA_SAMPLES) or None)
    places = zip(page.tags[tiff.STRIP_OFFSETS], page.tags[tiff.STRIP_SIZES])
    strips = b"".join(data[at:at + size] for at, size in places)
    samples = tiff.unpacked(strips, form, page.number(tiff.WIDTH), page.number(tiff.HEIGHT))
    return form, shares_of(samples, form)


def expect(tmp_path: Path, image: RasterImage, form: Form, exact: Pixels, lost: float = 1e-12) -> None:
    """Compares an image with shares that are exact; a computation in single precision has lost a millionth."""
    found_form, found = saved(tmp_path, image)
    assert (found_form.bits, found_form.numbers, found_form.extra) == (form.bits, form.numbers, form.extra)
    assert found.shape == exact.shape
    if form.numbers != 3:
        allowed = 0.501 / top(form) + lost
        exact = np.clip(exact, 0, 1)
    else:
        allowed = max({16: 2.0**-10, 32: 1e-6, 64: 1e-12}[form.bits] * max(1.0, float(np.abs(exact).max())), lost)
    assert np.abs(found - exact).max() <= allowed


def with_colors(shares: Pixels, colors: Pixels, form: Form) -> Pixels:
    """Other colors with the alpha that there was."""
    return np.concatenate([colors, shares[..., -1:]], -1) if form.extra else colors


def colors_of(shares: Pixels, form: Form) -> Pixels:
    return shares[..., :-1] if form.extra else shares


def luma(colors: Pixels) -> Pixels:
    return np.asarray(colors @ LUMA)[..., None] if colors.shape[-1] == 3 else colors


def rgb(colors: Pixels) -> Pixels:
    return np.repeat(colors, 3, -1) if colors.shape[-1] == 1 else colors


# ---- Tones

TONES: dict[str, tuple[Callable[[RasterImage], object], Callable[[Pixels], Pixels]]] = {
    "lighter": (lambda image: image.adjust_brightness(30), lambda shares: shares + 30 / 255),
    "darker": (lambda image: image.adjust_brightness(-200), lambda shares: shares - 200 / 255),
    "more contrast": (lambda image: image.adjust_contrast(20), lambda shares: (shares - 0.5) * 1.44 + 0.5),
    "less contrast": (lambda image: image.adjust_contrast(-50), lambda shares: (shares - 0.5) * 0.25 + 0.5),
    "gamma": (lambda image: image.adjust_gamma(1.75), lambda shares: shares**(1 / 1.75)),
}


@every_form
@pytest.mark.parametrize("tone", TONES)
def test_tones(tmp_path: Path, form: Form, tone: str) -> None:
    shares = noise_of(form)
    image = opened(tmp_path, shares, form)
    TONES[tone][0](image)
    expect(tmp_path, image, form, with_colors(shares, TONES[tone][1](colors_of(shares, form)), form),
           2e-7 if form.bits < 32 else 1e-12)  # tables are made in single precision


@every_form
def test_a_gamma_for_each_channel(tmp_path: Path, form: Form) -> None:
    """A gray picture gets colors by it. Below zero the curve is that above it turned round."""
    shares = noise_of(form)
    if form.numbers == 3:
        shares[3:9, :20, :3] *= -1
    image = opened(tmp_path, shares, form)
    image.adjust_gamma(2.0, 1.0, 0.5)
    colors = rgb(colors_of(shares, form))
    exact = np.abs(colors)**np.array([0.5, 1.0, 2.0]) * np.sign(colors)
    if form.bands < 3 and form.numbers == 2:
        form = dataclasses.replace(form, numbers=1)  # as whatever changes its model
    expect(tmp_path, image, form, with_colors(shares, exact, form), 2e-7 if form.bits < 32 else 1e-12)


@every_form
def test_gray_is_luma(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    image = opened(tmp_path, shares, form)
    image.grayscale()
    expect(tmp_path, image, form, with_colors(shares, luma(colors_of(shares, form)), form))


# ---- Black and white

def levels(shares: Pixels, form: Form) -> Pixels:
    """Shares in 255 steps; of samples of 16 bits the upper byte."""
    if form.bits == 16 and form.numbers != 3:
        return np.floor(np.rint(shares * 65535) / 256)
    return np.rint(shares * 255)


def otsu(gray: Pixels) -> int:
    """The threshold with the greatest variance between what is above it and what is not."""
    counts = np.bincount(gray.astype(int).ravel(), minlength=256).astype(float)
    below, sums = counts.cumsum(), (counts * np.arange(256)).cumsum()
    above = below[-1] - below
    with np.errstate(invalid="ignore"):
        between = below * above * (sums / below - (sums[-1] - sums) / above)**2
    return int(np.nanargmax(between))


def bradley(gray: Pixels, half: int, difference: float) -> Pixels:
    """White where a pixel is not darker than the mean around it by the difference."""
    def sums(values: Pixels) -> Pixels:
        span = 2 * half + 1
        total = np.pad(np.pad(values.astype(float), half), ((1, 0), (1, 0))).cumsum(0).cumsum(1)
        return np.asarray(total[span:, span:] - total[:-span, span:] - total[span:, :-span] + total[:-span, :-span])

    return np.asarray(gray * sums(np.ones_like(gray)) >= sums(gray) * (1 - difference))


@every_form
def test_thresholds(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    gray = luma(colors_of(shares, form))[..., 0]
    gray = levels(np.rint(gray * top(form)) / top(form) if form.numbers != 3 else gray, form)
    cases: list[tuple[Callable[[RasterImage], object], Pixels]] = [
        (lambda image: image.binarize_fixed(100), gray > 100),
        (lambda image: image.binarize_otsu(), gray > otsu(gray)),
        (lambda image: image.binarize_bradley(0.25, 6), bradley(gray, 3, 0.25)),
    ]
    for change, white in cases:
        image = opened(tmp_path, shares, form)
        change(image)
        found, result = saved(tmp_path, image)
        assert (found.bits, found.numbers, found.extra) == (8, form.numbers if form.bits == 8 else 1, form.extra)
        assert (result[..., 0] == white).all()
        if form.extra:
            assert (np.rint(result[..., 1] * 255) == levels(shares[..., -1], form)).all()


# ---- Colors

def near(shares: Pixels, form: Form, wanted: Pixels, tolerance: int) -> Pixels:
    """Where no channel is farther from a color of 8 bits than the tolerance."""
    if form.numbers != 3:  # in whole numbers
        step = int(top(form)) // 255
        numbers = np.rint(shares * top(form)).astype(np.int64)
        return np.asarray((np.abs(numbers - wanted.astype(np.int64) * step) <= tolerance * step).all(-1))
    return np.asarray((np.abs(shares - wanted / 255) <= tolerance / 255 + 1e-7).all(-1))


@every_form
@pytest.mark.parametrize("tolerance", [0, 40])
@pytest.mark.parametrize("new", [(7, 7, 7), (1, 200, 3)])
def test_a_color_is_replaced(tmp_path: Path, form: Form, tolerance: int, new: tuple[int, int, int]) -> None:
    """Within the bounds of the tolerance, and not one step beyond them."""
    shares = noise_of(form)
    if form.extra:
        shares[:, 20:, -1] = 1
    step = 0.01 if form.numbers == 3 else 1 / top(form)
    inside = 0.001 if form.numbers == 3 else 0.0  # a bound is no sum of floating numbers
    shares[0, 20:24, :form.bands - bool(form.extra)] = np.array(
        [(128 + tolerance) / 255 - inside, (128 - tolerance) / 255 + inside, (128 + tolerance) / 255 + step,
         (128 - tolerance) / 255 - step])[:, None]
    shares[1, 20] = 1
    shares[1, 20, :form.bands - bool(form.extra)] = 128 / 255
    shares = shares_of(stored(shares, form), form)
    wanted = np.array([128] * (form.bands - bool(form.extra)) + [255] * bool(form.extra))
    places = near(shares, form, wanted, tolerance)
    assert not places[0, 22:24].any()
    if form.numbers != 3 or tolerance:
        assert places[0, 20:22].all() and places[1, 20]
    elif form.bits > 16:  # a half is too coarse for the color itself
        assert places[1, 20]
    image = opened(tmp_path, shares, form)
    image.replace_color(Color.from_argb(255, 128, 128, 128), tolerance, Color.from_argb(255, *new))
    found, result = saved(tmp_path, image)
    if not places.any():
        assert (result == shares).all()
        return
    colors = colors_of(shares, form)
    colors = rgb(colors) if len(set(new)) > 1 else colors
    exact = with_colors(shares, colors.copy(), form)
    color = list(new)[:colors.shape[-1]]
    exact[places] = np.array(color + [255] * bool(form.extra)) / 255
    assert found.bits == form.bits
    assert np.abs(result - exact).max() <= (2.0**-12 if form.numbers == 3 else 1e-12)
    assert (result[~places] == exact[~places]).all()


@every_form
def test_all_colors_by_one(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    for color in ((10, 20, 30), (40, 40, 40)):
        image = opened(tmp_path, shares, form)
        image.replace_non_transparent_colors(Color.from_argb(255, *color))
        found, result = saved(tmp_path, image)
        bands = 1 if color[0] == color[1] and form.bands < 3 else 3
        exact = with_colors(shares, np.broadcast_to(np.array(color[:bands]) / 255, (HEIGHT, WIDTH, bands)), form)
        assert (found.bits, result.shape) == (form.bits, exact.shape)
        assert np.abs(result - exact).max() <= (2.0**-12 if form.numbers == 3 else 1e-12)


@every_form
def test_colors_are_read(tmp_path: Path, form: Form) -> None:
    """In 8 and in 16 bits a channel; floating samples are clipped."""
    shares = noise_of(form)
    if form.numbers == 3:
        shares = shares * 2 - 0.5
        shares[3, 4] = np.nan
        shares = shares_of(stored(shares, form), form)
    image = opened(tmp_path, shares, form)
    limited = np.clip(np.nan_to_num(shares), 0, 1)
    opaque = np.ones((HEIGHT, WIDTH, 1))
    channels = np.concatenate([rgb(colors_of(limited, form)), limited[..., -1:] if form.extra else opaque], -1)
    colors = np.array(list(image.load_argb_32_pixels(image.bounds)), np.int64).reshape(HEIGHT, WIDTH, 1)
    found = colors >> np.array([16, 8, 0, 24]) & 255
    assert np.abs(found - levels(channels, form)).max() <= (form.numbers == 3)  # halves may be rounded to either side
    assert np.abs(found / 255 - channels).max() <= (1 / 255 if form.bits == 16 else 0.50001 / 255)
    words = np.array(list(image.load_argb_64_pixels(image.bounds)), np.int64).reshape(HEIGHT, WIDTH, 1)
    deep = words >> np.array([32, 16, 0, 48]) & 65535
    assert np.abs(deep / 65535 - channels).max() <= 0.50001 / 65535
    assert image.get_pixel(5, 6).to_argb() & 0xFFFFFFFF == int(colors[6, 5, 0]) & 0xFFFFFFFF
    assert image.image_opacity == pytest.approx(channels[..., 3].mean(), abs=1e-6)


@every_form
def test_colors_are_written(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    image = opened(tmp_path, shares, form)
    image.set_pixel(3, 4, Color.from_argb(255, 51, 51, 51))
    image.set_pixel(36, 28, Color.from_argb(255, 254, 254, 254))
    exact = shares.copy()
    exact[4, 3], exact[28, 36] = 51 / 255, 254 / 255
    if form.extra:
        exact[4, 3, -1] = exact[28, 36, -1] = 1
    expect(tmp_path, image, form, exact)


@every_form
def test_drawings_are_laid_over(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    image = opened(tmp_path, shares, form)
    graphics = Graphics(image)
    graphics.fill_rectangle(SolidBrush(Color.from_argb(255, 64, 64, 64)), Rectangle(10, 5, 12, 6))
    graphics.fill_rectangle(SolidBrush(Color.from_argb(51, 255, 255, 255)), Rectangle(3, 15, 30, 9))  # a fifth
    found, result = saved(tmp_path, image)
    exact = shares.copy()
    count = form.bands - bool(form.extra)
    exact[5:11, 10:22] = 1
    exact[5:11, 10:22, :count] = 64 / 255
    part = exact[15:24, 3:33]
    alpha = part[..., -1:].copy() if form.extra else np.ones((9, 30, 1))
    whole = 0.2 + alpha * 0.8
    part[..., :count] = (part[..., :count] * alpha * 0.8 + 0.2) / whole
    if form.extra:
        part[..., -1:] = whole
    assert (found.bits, found.numbers, result.shape) == (form.bits, form.numbers, exact.shape)
    changed = np.zeros((HEIGHT, WIDTH), bool)
    changed[5:11, 10:22] = changed[15:24, 3:33] = True
    assert (result[~changed] == shares[~changed]).all()
    weights = exact[..., -1:] if form.extra else 1.0
    assert np.abs((result - exact) * weights)[changed].max() <= 2.1 / 255  # what a drawing of 8 bits rounds
    assert np.abs(result - exact)[5:11, 10:22].max() <= (2.0**-12 if form.numbers == 3 else 1e-12)


@pytest.mark.parametrize("form", [form for form in FORMS if form.values[0].extra])
@pytest.mark.parametrize("background", [(0, 0, 0), (10, 200, 99)])
def test_a_background_stands_behind_alpha(tmp_path: Path, form: Form, background: tuple[int, int, int]) -> None:
    """Where a format has no alpha. Floating alphas count within their range."""
    shares = noise_of(form)
    if form.numbers == 3:
        shares[2:5, 9:12, -1] = [-0.5, 1.5, np.nan]
        shares[7, 8] = np.nan
    image = opened(tmp_path, shares, form)
    image.has_background_color, image.background_color = True, Color.from_argb(255, *background)
    options = BmpOptions()
    options.bits_per_pixel = 24
    image.save(str(tmp_path / "out.bmp"), options)
    alpha = np.clip(np.nan_to_num(shares[..., -1:]), 0, 1)
    own = rgb(colors_of(np.nan_to_num(shares), form))
    exact = (own * alpha + np.array(background) / 255 * (1 - alpha)) * 255
    assert np.abs(read(tmp_path / "out.bmp", "RGB") - exact).max() <= (1.0 if form.bits == 16 else 0.502)


# ---- Geometry

@every_form
def test_pixels_are_moved(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    image = opened(tmp_path, shares, form)
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_X)
    image.crop(Rectangle(2, 5, 20, 30))
    expect(tmp_path, image, form, np.rot90(shares, -1)[:, ::-1][5:35, 2:22])
    image = opened(tmp_path, shares, form)
    image.resize(60, 50, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    across, down = ((np.arange(60) + 0.5) * WIDTH / 60).astype(int), ((np.arange(50) + 0.5) * HEIGHT / 50).astype(int)
    expect(tmp_path, image, form, shares[down][:, across])


def bilinear(old: int, new: int) -> Pixels:
    """The weights of old pixels for new ones: a triangle, as wide as a pixel of the coarser grid on either side."""
    scale = max(1.0, old / new)
    centers = (np.arange(new) + 0.5) * old / new - 0.5
    weights = np.clip(1 - np.abs(np.arange(old) - centers[:, None]) / scale, 0, None)
    return np.asarray(weights / weights.sum(1, keepdims=True))


@every_form
@pytest.mark.parametrize("size", [(60, 50), (20, 11), (37, 40)])
def test_samples_are_mixed(tmp_path: Path, form: Form, size: tuple[int, int]) -> None:
    shares = noise_of(form)
    image = opened(tmp_path, shares, form)
    image.resize(*size, ResizeType.BILINEAR_RESAMPLE)
    alpha = shares[..., -1:] if form.extra else np.ones((HEIGHT, WIDTH, 1))
    weighed = np.concatenate([colors_of(shares, form) * alpha, alpha], -1)
    mixed = np.einsum("yv,vub,xu->yxb", bilinear(HEIGHT, size[1]), weighed, bilinear(WIDTH, size[0]))
    colors = np.divide(mixed[..., :-1], mixed[..., -1:], out=np.zeros_like(mixed[..., :-1]), where=mixed[..., -1:] > 0)
    exact = np.concatenate([colors, mixed[..., -1:]], -1) if form.extra else colors
    expect(tmp_path, image, form, exact, lost_in(form))


@every_form
def test_mixed_pictures_are_weighed_by_alpha(tmp_path: Path, form: Form) -> None:
    """Colors that are all alike where they are seen stay what they are."""
    shares = noise_of(form)
    count = form.bands - bool(form.extra)
    shares[..., :count] = np.where(shares[..., -1:] == 0, 1.0, 0.25) if form.extra else 0.25
    image = opened(tmp_path, shares, form)
    image.resize(60, 50, ResizeType.ADAPTIVE_RESAMPLE)
    result = saved(tmp_path, image)[1]
    seen = result[..., -1] > 0.1 if form.extra else np.ones(result.shape[:2], bool)
    assert np.abs(result[seen][:, :count] - 0.25).max() <= 0.02
    image = opened(tmp_path, shares, form)
    image.rotate(30.0, True, Color.from_argb(0 if form.extra else 255, 64, 64, 64))
    found, result = saved(tmp_path, image)
    assert (found.bits, found.bands) == (form.bits, form.bands)
    seen = result[..., -1] > 0.1 if form.extra else np.ones(result.shape[:2], bool)
    assert np.abs(result[seen][:, :count] - 0.25).max() <= 0.02
    if form.extra:
        assert 0.2 < seen.mean() < 0.6


# ---- Filters

def around(shares: Pixels, kernel: Pixels) -> Pixels:
    """The weighted sum around each pixel; edge pixels go on outside."""
    half = kernel.shape[0] // 2
    wide = np.pad(shares, ((half, half), (half, half), (0, 0)), "edge")
    parts = [kernel[y, x] * wide[y:y + HEIGHT, x:x + WIDTH] for y in range(2 * half + 1) for x in range(2 * half + 1)]
    return np.asarray(np.sum(parts, axis=0))


def bell(radius: int, sigma: float) -> Pixels:
    y, x = np.mgrid[-radius:radius + 1, -radius:radius + 1]
    weights = np.exp(-(x * x + y * y) / (2 * sigma * sigma))
    return np.asarray(weights / weights.sum())


@every_form
def test_blurs(tmp_path: Path, form: Form) -> None:
    """Colors are weighed by their alpha, unless a factor or an addition makes that impossible."""
    shares = noise_of(form)
    image = opened(tmp_path, shares, form)
    image.filter(image.bounds, GaussianBlurFilterOptions(2, 1.1))
    alpha = shares[..., -1:] if form.extra else np.ones((HEIGHT, WIDTH, 1))
    sums = around(np.concatenate([colors_of(shares, form) * alpha, alpha], -1), bell(2, 1.1))
    colors = np.divide(sums[..., :-1], sums[..., -1:], out=np.zeros_like(sums[..., :-1]), where=sums[..., -1:] > 0)
    expect(tmp_path, image, form, np.concatenate([colors, sums[..., -1:]], -1) if form.extra else colors,
           lost_in(form))
    for factor, bias in ((0.5, 0), (1.0, 20), (1.5, -30)):
        image = opened(tmp_path, shares, form)
        options = GaussianBlurFilterOptions(2, 1.1)
        options.factor, options.bias = factor, bias
        image.filter(image.bounds, options)
        changed = around(colors_of(shares, form), bell(2, 1.1)) * factor + bias / 255
        expect(tmp_path, image, form, with_colors(shares, changed, form), lost_in(form))


@every_form
def test_sharpening(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    shares[..., -1] = 1 if form.extra else shares[..., -1]
    image = opened(tmp_path, shares, form)
    image.filter(Rectangle(4, 3, 20, 11), SharpenFilterOptions(5, 1.3))
    exact = shares.copy()
    exact[3:14, 4:24] = (2 * shares - around(shares, bell(2, 1.3)))[3:14, 4:24]
    if form.extra:
        exact[..., -1] = 1
    expect(tmp_path, image, form, exact, lost_in(form))


@every_form
def test_medians(tmp_path: Path, form: Form) -> None:
    shares = noise_of(form)
    colors = colors_of(shares, form)
    for size in (3, 5):
        image = opened(tmp_path, shares, form)
        image.filter(image.bounds, MedianFilterOptions(size))
        half = size // 2
        wide = np.pad(colors, ((half, half), (half, half), (0, 0)), "edge")
        windows = [wide[y:y + HEIGHT, x:x + WIDTH] for y in range(size) for x in range(size)]
        expect(tmp_path, image, form, with_colors(shares, np.median(windows, axis=0), form))


@every_form
def test_bilateral_smoothing(tmp_path: Path, form: Form) -> None:
    """Differences are taken of levels of 8 bits, which are cut off."""
    shares = noise_of(form)
    colors = colors_of(shares, form)
    image = opened(tmp_path, shares, form)
    options = BilateralSmoothingFilterOptions(5)
    options.spatial_factor, options.color_factor = 2.0, 60.0
    image.filter(image.bounds, options)
    steps = np.floor(colors * 255 + 1e-9) if form.bits != 16 or form.numbers == 3 else levels(colors, form)
    sums, weights = np.zeros(colors.shape), np.zeros((HEIGHT, WIDTH, 1))
    for dy in range(-2, 3):
        for dx in range(-2, 3):
            to = np.s_[max(0, -dy):HEIGHT - max(0, dy), max(0, -dx):WIDTH - max(0, dx)]
            at = np.s_[max(0, dy):HEIGHT + min(0, dy), max(0, dx):WIDTH + min(0, dx)]
            apart = np.abs(steps[at] - steps[to]).mean(-1, keepdims=True)
            weight = np.exp(-0.5 * ((dx * dx + dy * dy) / 4.0 + (apart / 60.0)**2))
            sums[to] += weight * colors[at]
            weights[to] += weight
    expect(tmp_path, image, form, with_colors(shares, sums / weights, form), SINGLE)


@every_form
@pytest.mark.parametrize("gray", [False, True])
def test_wiener_filters(tmp_path: Path, form: Form, gray: bool) -> None:
    shares = noise_of(form)
    colors = colors_of(shares, form)
    image = opened(tmp_path, shares, form)
    options: Any = GaussWienerFilterOptions(2, 0.8)
    options.brightness, options.snr, options.grayscale = 1.1, 0.01, gray
    image.filter(image.bounds, options)
    source = luma(colors) if gray else colors
    source = np.rint(source * top(form)) / top(form) if form.numbers != 3 else source
    exact = wiener_filtered(source, bell(2, 0.8), 0.01) * 1.1
    exact = np.repeat(exact, 3, -1) if gray and form.bands > 2 else exact
    found, result = saved(tmp_path, image)
    exact = with_colors(shares, exact, form)
    exact = np.clip(exact, 0, 1) if form.numbers != 3 else exact
    assert (found.bits, found.numbers, result.shape) == (form.bits, form.numbers, exact.shape)
    assert np.abs(result - exact).max() <= (0.6 / top(form) if form.numbers != 3 else 2.0**-9) + 3e-4
