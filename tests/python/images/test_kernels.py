"""Resizing by each kernel, computed a second time from the kernels' published formulas."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Rectangle, ResizeType

from support.image_oracles import HEIGHT, WIDTH, Pixels, load, noise, pixels, smooth, worst, write, write_16_bits

Kernel = tuple[float, Callable[[Pixels], Pixels]]  # half its width, and its value at a distance from the center


def cubic(b: float, c: float) -> Kernel:
    """Mitchell and Netravali's family."""
    def at(x: Pixels) -> Pixels:
        inner = ((12 - 9 * b - 6 * c) * x**3 + (-18 + 12 * b + 6 * c) * x**2 + 6 - 2 * b) / 6
        outer = ((-b - 6 * c) * x**3 + (6 * b + 30 * c) * x**2 + (-12 * b - 48 * c) * x + 8 * b + 24 * c) / 6
        return np.where(x < 1, inner, np.where(x < 2, outer, 0))

    return 2, at


LANCZOS: Kernel = (3, lambda x: np.where(x < 3, np.sinc(x) * np.sinc(x / 3), 0))
KERNELS: dict[ResizeType, Kernel] = {
    ResizeType.BILINEAR_RESAMPLE: (1, lambda x: np.maximum(0, 1 - x)),
    ResizeType.BELL: (1.5, lambda x: np.where(x < 0.5, 0.75 - x**2, np.where(x < 1.5, 0.5 * (x - 1.5)**2, 0))),
    ResizeType.CUBIC_B_SPLINE: cubic(1, 0),
    ResizeType.MITCHELL: cubic(1 / 3, 1 / 3),
    ResizeType.CATMULL_ROM: cubic(0, 1 / 2),
    ResizeType.CUBIC_CONVOLUTION: cubic(0, 1 / 2),
    ResizeType.LANCZOS_RESAMPLE: LANCZOS,
    ResizeType.HIGH_QUALITY_RESAMPLE: LANCZOS,
    ResizeType.SIN_C: (4, lambda x: np.where(x < 4, np.sinc(x) * (1 + np.cos(np.pi * x / 4)) / 2, 0)),
}
SIZES = [(2 * WIDTH, 3 * HEIGHT), (WIDTH // 2, HEIGHT // 3), (33, 47), (200, 11), (WIDTH, 90), (20, HEIGHT), (1, 1),
         (3, 301)]


def weights(kernel: Kernel, old: int, new: int) -> Pixels:
    """A row of weights for each new pixel; the kernel grows as the picture shrinks, and is cut off at the edges."""
    if old == new:
        return np.eye(old)
    width = max(1.0, old / new)
    centers = (np.arange(new) + 0.5) * old / new
    distances = np.abs(np.arange(old) + 0.5 - centers[:, None]) / width
    half, at = kernel
    table = np.where(distances < half, at(distances), 0)
    return np.asarray(table / table.sum(1, keepdims=True))


def resized(source: Pixels, kernel: Kernel, size: tuple[int, int], top: float = 255) -> Pixels:
    """The exact samples, which are not rounded."""
    across = weights(kernel, source.shape[1], size[0])
    down = weights(kernel, source.shape[0], size[1])
    planes = np.moveaxis(source.astype(float).reshape(*source.shape[:2], -1), 2, 0)
    result = np.stack([down @ plane @ across.T for plane in planes], -1)
    return np.clip(result.reshape(size[1], size[0], *source.shape[2:]), 0, top)


def error(found: Pixels, exact: Pixels) -> float:
    """The greatest difference; rounding alone makes a half."""
    assert found.shape == exact.shape
    return float(np.abs(found - exact).max())


@pytest.mark.parametrize("kind", KERNELS)
@pytest.mark.parametrize("bands", [1, 3])
def test_each_kernel_is_that_of_its_name(tmp_path: Path, kind: ResizeType, bands: int) -> None:
    path = write(tmp_path / "a.png", noise(bands))
    for size in SIZES:
        image = load(path)
        image.resize(*size, kind)
        found = pixels(image, tmp_path, "L" if bands == 1 else "RGB")
        assert error(found, resized(noise(bands), KERNELS[kind], size)) < 0.51, size


@pytest.mark.parametrize("kind", KERNELS)
@pytest.mark.parametrize("size", [(2 * WIDTH, 3 * HEIGHT), (20, 11)])
def test_sixteen_bits_stay_sixteen(tmp_path: Path, kind: ResizeType, size: tuple[int, int]) -> None:
    source = np.random.default_rng(3).integers(0, 65536, (HEIGHT, WIDTH, 3), dtype=np.uint16)
    image = load(write_16_bits(tmp_path / "a.png", source))
    image.resize(*size, kind)
    words = np.array(image.load_argb_64_pixels(image.bounds)).astype(np.uint64).reshape(size[1], size[0])
    found = np.stack([words >> np.uint64(shift) & np.uint64(0xFFFF) for shift in (32, 16, 0)], -1).astype(float)
    assert error(found, resized(source, KERNELS[kind], size, 65535)) < 0.6


@pytest.mark.parametrize("kind", KERNELS)
@pytest.mark.parametrize("size", [(2 * WIDTH, 3 * HEIGHT), (20, 11), (3, 60)])
def test_colors_are_weighed_by_alpha(tmp_path: Path, kind: ResizeType, size: tuple[int, int]) -> None:
    source = noise(4).astype(float)
    source[:, :20, 3] = 0
    image = load(write(tmp_path / "a.png", source.astype(np.uint8)))
    image.resize(*size, kind)
    found = pixels(image, tmp_path, "RGBA")
    kernel = KERNELS[kind]
    across, down = weights(kernel, WIDTH, size[0]), weights(kernel, HEIGHT, size[1])
    alpha = down @ source[..., 3] @ across.T
    assert error(found[..., 3], np.clip(alpha, 0, 255)) < 0.51
    weighed = np.stack([down @ (source[..., band] * source[..., 3]) @ across.T for band in range(3)], -1)
    seen = alpha > 20
    assert error(found[seen][:, :3], np.clip(weighed[seen] / alpha[seen][:, None], 0, 255)) < 0.51
    assert (found[alpha < -0.01] == 0).all()


def test_a_b_spline_enlarges_a_line_of_one_pixel_to_two_thirds(tmp_path: Path) -> None:
    line = np.zeros((21, 21), np.uint8)
    line[:, 10] = 255
    peaks = {}
    for kind in (ResizeType.CUBIC_B_SPLINE, ResizeType.BELL, ResizeType.MITCHELL, ResizeType.CATMULL_ROM):
        image = load(write(tmp_path / "a.png", line))
        image.resize(189, 21, kind)
        peaks[kind] = int(pixels(image, tmp_path, "L").max())
    assert list(peaks.values()) == [170, 191, 227, 255]


def test_high_quality_is_lanczos(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    for size in ((100, 90), (20, 10)):
        lanczos, high_quality = load(path), load(path)
        lanczos.resize(*size, ResizeType.LANCZOS_RESAMPLE)
        high_quality.resize(*size, ResizeType.HIGH_QUALITY_RESAMPLE)
        assert worst(pixels(lanczos, tmp_path), pixels(high_quality, tmp_path)) == 0


@pytest.mark.parametrize("kind, pillow", [
    (ResizeType.BILINEAR_RESAMPLE, Pillow.Resampling.BILINEAR), (ResizeType.CATMULL_ROM, Pillow.Resampling.BICUBIC),
    (ResizeType.LANCZOS_RESAMPLE, Pillow.Resampling.LANCZOS)])
@pytest.mark.parametrize("size", SIZES)
def test_as_pillow_to_the_edges(tmp_path: Path, kind: ResizeType, pillow: Pillow.Resampling,
                                size: tuple[int, int]) -> None:
    image = load(write(tmp_path / "a.png", smooth()))
    image.resize(*size, kind)
    expected = np.asarray(Pillow.fromarray(smooth()).resize(size, pillow))
    assert worst(pixels(image, tmp_path), expected) <= 1  # Pillow rounds between its two passes


@pytest.mark.parametrize("kind", [ResizeType.LANCZOS_RESAMPLE, ResizeType.CUBIC_B_SPLINE,
                                  ResizeType.NEAREST_NEIGHBOUR_RESAMPLE, ResizeType.ADAPTIVE_RESAMPLE])
@pytest.mark.parametrize("old, new", [((30000, 8), (10, 4)), ((8, 30000), (3, 10)), ((20000, 5), (1, 1))])
def test_shrinking_by_thousands(tmp_path: Path, kind: ResizeType, old: tuple[int, int], new: tuple[int, int]) -> None:
    y, x = np.mgrid[0:old[1], 0:old[0]]
    source = ((x + y) * 255 / (old[0] + old[1])).astype(np.uint8)
    image = load(write(tmp_path / "a.png", source))
    image.resize(*new, kind)
    if kind == ResizeType.NEAREST_NEIGHBOUR_RESAMPLE:
        expected = source[(2 * np.arange(new[1]) + 1) * old[1] // (2 * new[1])][
            :, (2 * np.arange(new[0]) + 1) * old[0] // (2 * new[0])]
    else:
        expected = resized(source, KERNELS.get(kind, LANCZOS), new)
    assert error(pixels(image, tmp_path, "L"), expected) < 0.52


def test_adaptive_reduces_as_lanczos_does(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.resize(20, 10, ResizeType.ADAPTIVE_RESAMPLE)
    assert error(pixels(image, tmp_path), resized(noise(), LANCZOS, (20, 10))) < 0.51
    assert image.bounds == Rectangle(0, 0, 20, 10)
