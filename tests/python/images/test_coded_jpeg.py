"""JPEG files of 12 bits and lossless ones in every layout of scans, tables and restarts, beside an encoder of ours."""

from __future__ import annotations

import io
import struct
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions

from support import png_files
from support.arrays import Pixels
from support.image_oracles import managed_error
from support.jpeg_coder import ADOBE_RGB, ZIGZAG, Form, lossless, sequential

WIDTH, HEIGHT = 21, 13


def samples(data: bytes) -> Any:
    file = io.BytesIO()
    Image.load(io.BytesIO(data)).save(file, PngOptions())
    return png_files.from_bytes(file.getvalue()).samples.astype(int)


def spread(stored: Any, bits: int) -> Any:
    most, top = (1 << bits) - 1, 255 if bits <= 8 else 65535
    return (stored.astype(int) * top + most // 2) // most


def noise(bits: int, width: int = WIDTH, height: int = HEIGHT, seed: int = 0) -> Pixels:
    return np.random.default_rng(seed + bits).integers(0, 1 << bits, (height, width))


def slopes(bits: int, width: int, height: int, band: int = 0) -> Pixels:
    rows, columns = np.mgrid[0:height, 0:width]
    waves = np.sin(columns / (4 + band)) + np.cos(rows / (6 - band)) + 2
    return (waves / 4 * ((1 << bits) - 1)).astype(int)


def test_the_order_of_waves() -> None:
    assert ZIGZAG[:6] == [(0, 0), (1, 0), (0, 1), (0, 2), (1, 1), (2, 0)] and ZIGZAG[-2:] == [(6, 7), (7, 7)]


# ---- Lossless


@pytest.mark.parametrize("predictor", range(1, 8))
@pytest.mark.parametrize("bits", [2, 5, 8, 9, 12, 15, 16])
def test_every_predictor_and_depth(bits: int, predictor: int) -> None:
    for make in (noise(bits), slopes(bits, WIDTH, HEIGHT)):
        data = lossless([make], Form(bits), predictor)
        assert np.array_equal(samples(data)[..., 0], spread(make, bits))


@pytest.mark.parametrize("form", [
    Form(12, restart=1), Form(12, restart=4), Form(12, restart=13), Form(12, together=False), Form(12, fill=3),
    Form(12, restart=3, together=False), Form(12, tables=(3, 0, 3)), Form(12, tables=(2, 2, 1), together=False)],
    ids=str)
@pytest.mark.parametrize("predictor", [1, 4, 7])
def test_layouts_of_lossless_files(form: Form, predictor: int) -> None:
    planes = [noise(12, seed=band) for band in range(3)]
    assert np.array_equal(samples(lossless(planes, form, predictor)), spread(np.stack(planes, -1), 12))


@pytest.mark.parametrize("shift", [1, 3, 11])
def test_samples_without_their_lowest_bits(shift: int) -> None:
    plane = noise(12)
    data = lossless([plane], Form(12), 5, shift)
    assert np.array_equal(samples(data)[..., 0], spread(plane >> shift << shift, 12))


@pytest.mark.parametrize(("width", "height"), [(1, 1), (1, 9), (9, 1), (2, 2)])
def test_small_pictures(width: int, height: int) -> None:
    plane = noise(16, width, height)
    for predictor in range(1, 8):
        assert np.array_equal(samples(lossless([plane], Form(16), predictor))[..., 0], plane)


def altered(data: bytes, marker: int, at: int, value: int) -> bytes:
    """With another byte in the content of a segment."""
    place = data.index(bytes([0xFF, marker])) + 4 + at
    return data[:place] + bytes([value]) + data[place + 1:]


FLAT = np.full((8, 8), 3)
PLAIN = lossless([noise(12)], Form(12), 1)
COLORS = lossless([noise(12, seed=band) for band in range(3)], Form(12), 1)
SUMS = sequential([slopes(12, 24, 16)], (24, 16), [(1, 1)], [FLAT], Form())[0]


@pytest.mark.parametrize(("data", "kind", "text"), [
    (altered(PLAIN, 0xDA, 3, 0), "ImageLoadException", "no predictor"),
    (altered(PLAIN, 0xDA, 3, 8), "ImageLoadException", "no predictor"),
    (altered(PLAIN, 0xDA, 5, 12), "ImageLoadException", "no predictor"),
    (altered(PLAIN, 0xDA, 1, 9), "ImageLoadException", "a component that the frame has not"),
    (altered(PLAIN, 0xDA, 2, 0x40), "ImageLoadException", "a component that the frame has not"),
    (altered(PLAIN, 0xDA, 2, 0x10), "ImageLoadException", "no table of Huffman codes"),
    (altered(PLAIN, 0xC4, 0, 4), "ImageLoadException", "makes no sense"),
    (altered(PLAIN, 0xC4, 0, 0x20), "ImageLoadException", "makes no sense"),
    (altered(COLORS, 0xC3, 7, 0x21), "NotSupportedException", "fewer samples than pixels"),
    (altered(COLORS, 0xC3, 7, 0x12), "NotSupportedException", "fewer samples than pixels"),
    (altered(COLORS, 0xC3, 7, 0x51), "ImageLoadException", "makes no sense"),
    (altered(COLORS, 0xC3, 7, 0x10), "ImageLoadException", "makes no sense"),
    (PLAIN.replace(b"\xff\xc3", b"\xff\xdd\0\4\0\7\xff\xc3"), "ImageLoadException", "interrupted within a row"),
    (altered(altered(altered(PLAIN, 0xC4, 1, 3), 0xC4, 2, 0), 0xC4, 3, 0), "ImageLoadException",
     "a table of Huffman codes has too many of them"),
    (altered(PLAIN, 0xC3, 0, 1), "ImageLoadException", "JPEG has no samples of 1 bits"),
    (altered(PLAIN, 0xC3, 0, 17), "ImageLoadException", "JPEG has no samples of 17 bits"),
    (SUMS.replace(b"\xff\xdb\0\x43", b"\xff\xdb\0\x42", 1), "ImageLoadException", ""),
    (altered(SUMS, 0xDB, 0, 0x04), "ImageLoadException", "a table of quantization makes no sense"),
    (altered(SUMS, 0xDB, 0, 0x10), "ImageLoadException", "a table of quantization makes no sense"),
    (PLAIN[:-40], "ImageLoadException", "")])
def test_what_makes_no_sense(data: bytes, kind: str, text: str) -> None:
    with managed_error(kind, text):
        samples(data)


@pytest.mark.parametrize("data", [PLAIN, COLORS, SUMS])
@pytest.mark.parametrize("marker", [0x01, *range(0xD0, 0xD8)])
def test_markers_that_stand_alone_have_no_content(data: bytes, marker: int) -> None:
    assert np.array_equal(samples(data[:2] + bytes([0xFF, marker]) + data[2:]), samples(data))


@pytest.mark.parametrize("count", [1, 2, 5])
def test_restarts_with_bytes_of_ones_before_their_markers(count: int) -> None:
    for make in (lambda fill: lossless([noise(12)], Form(12, restart=2, fill=fill), 1),
                 lambda fill: sequential([slopes(12, 24, 16)], (24, 16), [(1, 1)], [FLAT],
                                         Form(restart=1, fill=fill))[0]):
        assert np.array_equal(samples(make(count)), samples(make(0)))


def test_a_single_component_has_no_factors() -> None:
    assert np.array_equal(samples(altered(PLAIN, 0xC3, 7, 0x22)), samples(PLAIN))


# ---- Sums of waves

STEEP = np.add.outer(np.arange(8), np.arange(8)) * 9 + 5


def unit(size: tuple[int, int], factors: list[tuple[int, int]], band: int) -> tuple[int, int]:
    """The size of a component in whole units of the picture."""
    across, down = (max(factor[i] for factor in factors) for i in (0, 1))
    return (-(-size[0] // (8 * across)) * 8 * factors[band][0], -(-size[1] // (8 * down)) * 8 * factors[band][1])


def expected(decoded: list[Pixels], size: tuple[int, int], factors: list[tuple[int, int]]) -> Any:
    """Each sample for all pixels that share it."""
    across, down = (max(factor[i] for factor in factors) for i in (0, 1))
    shown = [plane.repeat(down // factor[1], 0).repeat(across // factor[0], 1)[:size[1], :size[0]]
             for plane, factor in zip(decoded, factors, strict=True)]
    return np.stack(shown, -1)


def check(size: tuple[int, int], factors: list[tuple[int, int]], form: Form, steps: Any, wide: bool = False) -> None:
    planes = [slopes(12, *unit(size, factors, band), band) for band in range(len(factors))]
    data, decoded = sequential(planes, size, factors, steps, form, wide)
    found = samples(data).reshape(size[1], size[0], len(factors))
    # The decoder's waves are as exact as numbers of 32 bits.
    assert np.abs(found - expected(decoded, size, factors) * 65535 / 4095).max() <= 17


SAMPLINGS = [[(1, 1)] * 3, [(2, 1), (1, 1), (1, 1)], [(1, 2), (1, 1), (1, 1)], [(2, 2), (1, 1), (1, 1)],
             [(2, 2), (2, 1), (1, 2)], [(4, 1), (1, 1), (2, 1)], [(1, 4), (1, 2), (1, 1)]]


@pytest.mark.parametrize("factors", SAMPLINGS, ids=str)
@pytest.mark.parametrize("size", [(8, 8), (21, 13), (33, 17), (40, 70)])
def test_every_sampling(factors: list[tuple[int, int]], size: tuple[int, int]) -> None:
    check(size, factors, Form(), [FLAT, STEEP, STEEP.T])


@pytest.mark.parametrize("form", [
    Form(restart=1), Form(restart=2), Form(restart=5), Form(together=False), Form(together=False, restart=3),
    Form(fill=2), Form(tables=(3, 1, 0)), Form(tables=(1, 1, 2), together=False)], ids=str)
@pytest.mark.parametrize("factors", [SAMPLINGS[0], SAMPLINGS[3], SAMPLINGS[4]], ids=str)
def test_layouts_of_files_of_12_bits(factors: list[tuple[int, int]], form: Form) -> None:
    check((45, 37), factors, form, [FLAT, STEEP, STEEP.T])


@pytest.mark.parametrize("wide", [False, True])
def test_tables_of_quantization(wide: bool) -> None:
    steep = STEEP * (7 if wide else 1)
    check((45, 37), [(1, 1)] * 3, Form(), [FLAT, steep, steep.T], wide)
    check((45, 37), [(1, 1)], Form(), [steep], wide)


def test_noise_of_12_bits() -> None:
    """Every wave of a block, and samples at both ends."""
    plane = noise(12, 32, 24)
    plane[:8] = np.where(plane[:8] > 2047, 4095, 0)
    data, decoded = sequential([plane], (30, 23), [(1, 1)], [np.ones((8, 8), int)], Form())
    found = samples(data)[..., 0]
    assert np.abs(found - decoded[0][:23, :30] * 65535 / 4095).max() <= 17
    assert np.abs(found - plane[:23, :30] * 65535 / 4095).max() <= 2.5 * 16


def test_one_component_with_factors() -> None:
    plane = slopes(12, 24, 16)
    data, decoded = sequential([plane], (21, 13), [(1, 1)], [FLAT], Form())
    place = data.index(b"\xff\xc1") + 4 + 7
    found = samples(data[:place] + b"\x22" + data[place + 1:])[..., 0]
    assert np.abs(found - decoded[0][:13, :21] * 65535 / 4095).max() <= 17


@pytest.mark.parametrize("factors", [[(3, 1), (2, 1), (1, 1)], [(1, 3), (1, 2), (1, 1)]])
def test_uneven_samples_are_refused(factors: list[tuple[int, int]]) -> None:
    planes = [slopes(12, *unit((24, 24), factors, band), band) for band in range(3)]
    data, _ = sequential(planes, (24, 24), factors, [FLAT] * 3, Form())
    with managed_error("NotSupportedException", "uneven samples"):
        samples(data)


def test_a_scan_for_the_second_time_is_damage() -> None:
    planes = [slopes(12, 24, 16, band) for band in range(3)]
    data, _ = sequential(planes, (24, 16), [(1, 1)] * 3, [FLAT] * 3, Form(together=False))
    first = data.index(b"\xff\xda")
    second = data.index(b"\xff\xda", first + 2)
    with managed_error("ImageLoadException", "a component for the second time"):
        samples(data[:second] + data[first:second] + data[second:])
    assert ADOBE_RGB in data and struct.unpack_from(">H", data, 4)[0] == 14
