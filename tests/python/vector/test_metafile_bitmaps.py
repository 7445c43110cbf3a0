"""Bitmaps in records of metafiles beside Pillow, which reads the same header and rows as a BMP file; and how much of a
bitmap may be missing."""

from __future__ import annotations

import io
import struct
from collections.abc import Sequence

import numpy as np
import pytest
from PIL import Image as Pillow

from support.drawn_metafiles import BLACK, WHITE, color_at, drawn
from support.metafiles import (BOUNDS, IDENTITY, bitmap_header, emf, emf_record, stretch_dib, wmf, wmf_record,
                               words)

WIDTH, HEIGHT = 10, 7
RANDOM = np.random.default_rng(9)


def bmp(header: bytes, bits: bytes) -> bytes:
    return b"BM" + struct.pack("<IIi", 14 + len(header) + len(bits), 0, 14 + len(header)) + header + bits


def rows(bits: int) -> bytes:
    stride = (WIDTH * bits + 31) // 32 * 4
    return RANDOM.integers(0, 256, stride * HEIGHT, np.uint8).tobytes()


def colors(count: int) -> list[int]:
    return [int(color) for color in RANDOM.integers(0, 1 << 24, count)]


def runs(bits: int) -> bytes:
    """Runs, single pixels in pairs of bytes, and ends of rows and of the picture."""
    return b"".join(bytes([6, 0x21 + y]) + (bytes([0, 4, 1, y, 3, 1]) if bits == 8 else bytes([0, 4, 0x12, 0x31 + y]))
                    + b"\0\0" for y in range(HEIGHT)) + b"\0\1"


def coded(kind: str) -> bytes:
    file = io.BytesIO()
    pixels = np.repeat(np.arange(0, 250, 25, dtype=np.uint8)[None, :, None], HEIGHT, 0).repeat(3, 2)
    Pillow.fromarray(pixels).save(file, kind)
    return file.getvalue()


#: A header with what stands behind it, and the rows.
FORMS: dict[str, tuple[bytes, bytes]] = {
    **{f"{bits} bits": (bitmap_header(WIDTH, HEIGHT, bits, colors=colors(1 << bits)), rows(bits))
       for bits in (1, 4, 8)},
    "fewer colors": (bitmap_header(WIDTH, HEIGHT, 8, colors=colors(3)),
                     bytes(index % 3 for index in range(12 * HEIGHT))),
    **{f"{bits} bits": (bitmap_header(WIDTH, HEIGHT, bits), rows(bits)) for bits in (16, 24, 32)},
    **{f"{bits} bits from above": (bitmap_header(WIDTH, -HEIGHT, bits), rows(bits)) for bits in (16, 24, 32)},
    "fields of 565": (bitmap_header(WIDTH, HEIGHT, 16, 3) + words(0xF800, 0x7E0, 0x1F), rows(16)),
    "fields of 555": (bitmap_header(WIDTH, HEIGHT, 16, 3) + words(0x7C00, 0x3E0, 0x1F), rows(16)),
    "fields of 32 bits": (bitmap_header(WIDTH, HEIGHT, 32, 3) + words(0xFF0000, 0xFF00, 0xFF), rows(32)),
    "runs of 8 bits": (bitmap_header(WIDTH, HEIGHT, 8, 1, colors(256)), runs(8)),
    "runs of 4 bits": (bitmap_header(WIDTH, HEIGHT, 4, 2, colors(16)), runs(4)),
}


def shown(header: bytes, bits: bytes, width: int = WIDTH, height: int = HEIGHT) -> Pillow.Image:
    return drawn(emf(stretch_dib(header, bits, (0, 0, width, height), (width, height))))


@pytest.mark.parametrize("name", FORMS)
def test_forms_of_bitmaps(name: str) -> None:
    header, bits = FORMS[name]
    expected = np.asarray(Pillow.open(io.BytesIO(bmp(header, bits))).convert("RGB"))
    found = np.asarray(shown(header, bits))
    # Levels of five and six bits are rounded there or cut.
    assert np.abs(found[:HEIGHT, :WIDTH].astype(int) - expected).max() <= (1 if header[14] == 16 else 0)
    assert found[HEIGHT:].min() == found[:, WIDTH:].min() == 255


def test_fields_in_another_order() -> None:
    bits = rows(32)
    found, other = (np.asarray(shown(bitmap_header(WIDTH, HEIGHT, 32, 3) + words(*masks), bits)) for masks in (
        (0xFF0000, 0xFF00, 0xFF), (0xFF, 0xFF00, 0xFF0000)))
    assert np.array_equal(found, other[..., ::-1]) and not np.array_equal(found, other)


@pytest.mark.parametrize(("kind", "compression"), [("JPEG", 4), ("PNG", 5)])
def test_files_as_bitmaps(kind: str, compression: int) -> None:
    data = coded(kind)
    found = np.asarray(shown(bitmap_header(WIDTH, HEIGHT, 0, compression), data)).astype(int)
    expected = np.asarray(Pillow.open(io.BytesIO(data)).convert("RGB")).astype(int)
    assert np.abs(found[:HEIGHT, :WIDTH] - expected).max() <= (1 if kind == "JPEG" else 0)


@pytest.mark.parametrize("bits", [24, 32])
def test_rows_that_are_missing_are_black(bits: int) -> None:
    data = rows(bits)
    stride = len(data) // HEIGHT
    header = bitmap_header(WIDTH, HEIGHT, bits)
    whole = np.asarray(shown(header, data))[:HEIGHT, :WIDTH]
    for count in (1, 3, HEIGHT):
        part = np.asarray(shown(header, data[:count * stride]))[:HEIGHT, :WIDTH]
        assert np.array_equal(part[HEIGHT - count:], whole[HEIGHT - count:]) and not part[:HEIGHT - count].any()
    # Less than a row is no bitmap.
    assert np.asarray(shown(header, data[:stride - 1])).min() == 255
    assert np.asarray(shown(header, b"")).min() == 255


def black(width: int, height: int, bits: int, size: int, palette: Sequence[int] = ()) -> bool:
    """Whether a bitmap of black pixels is drawn."""
    picture = drawn(emf(stretch_dib(bitmap_header(width, height, bits, colors=palette), bytes(size), (0, 0, 96, 96),
                                    (max(width, 1), max(abs(height), 1)))))
    found = {color_at(picture, place) for place in ((1, 1), (94, 94), (48, 48))}
    assert found in ({BLACK}, {WHITE})
    return found == {BLACK}


@pytest.mark.parametrize(("width", "height", "size", "is_drawn"), [
    (4096, 4096, 512, True), (4097, 4096, 516, False), (4096, 4097, 512, False), (4096, 4097, 512 * 4097, True),
    (4096, 4097, 512 * 4097 - 1, False), (4096, 4096, 511, False), (0, 4, 8, False), (4, 0, 8, False),
    (-4, 4, 16, False), (1 << 28, 2, 1 << 10, False), (2, 1 << 28, 1 << 10, False)])
def test_sizes_of_bitmaps(width: int, height: int, size: int, is_drawn: bool) -> None:
    """Where rows are missing, of at most 16 million pixels."""
    assert black(width, height, 1, size, [0, 0]) == is_drawn


# ---- WMF: bitmaps of the first version, in whose records the size stands before the bits


def old_blit(width: int, height: int, stride: int, depth: int, bits: bytes) -> bytes:
    """BitBlt of the whole bitmap to the corner."""
    source = struct.pack("<4hBB", 0, width, height, stride, 1, depth) + bits
    return wmf_record(0x0922, 0x0020, 0x00CC, 0, 0, height, width, 0, 0, data=source)


@pytest.mark.parametrize(("depth", "stride"), [(1, 2), (1, 4), (24, 30), (24, 32), (32, 40), (32, 44)])
@pytest.mark.parametrize("count", [HEIGHT, 2])
def test_bitmaps_of_the_first_version(depth: int, stride: int, count: int) -> None:
    """Their rows begin above; what the record lacks of them is not drawn."""
    data = RANDOM.integers(0, 256, (HEIGHT, stride), np.uint8)
    found = np.asarray(drawn(wmf(old_blit(WIDTH, HEIGHT, stride, depth, data[:count].tobytes()))))
    if depth == 1:
        levels = np.unpackbits(data, axis=1)[:, :WIDTH] * 255
        pixels = np.dstack([levels] * 3)
    else:
        pixels = data[:, :WIDTH * depth // 8].reshape(HEIGHT, WIDTH, -1)[..., 2::-1]
    assert np.array_equal(found[:count, :WIDTH], pixels[:count])
    assert found[HEIGHT:].min() == 255


@pytest.mark.parametrize(("width", "height", "stride", "depth", "size", "is_drawn"), [
    (8, 8, 1, 1, 8, True), (9, 8, 1, 1, 8, False), (9, 8, 2, 1, 16, True), (8, 8, 24, 24, 192, True),
    (8, 8, 23, 24, 192, False), (8, 8, 32, 32, 256, True), (8, 8, 31, 32, 256, False), (0, 8, 2, 1, 16, False),
    (8, 0, 2, 1, 16, False), (8, 8, 0, 1, 16, False), (8, 8, 16, 16, 128, False), (8, 8, 8, 8, 64, False),
    (8, 8, 4, 4, 32, False), (8, 8, 24, 24, 22, False), (8, 8, 24, 24, 24, True)])
def test_bitmaps_of_the_first_version_that_are_none(width: int, height: int, stride: int, depth: int, size: int,
                                                    is_drawn: bool) -> None:
    picture = drawn(wmf(old_blit(width, height, stride, depth, bytes(size))))
    assert (color_at(picture, (0, 0)) == BLACK) == is_drawn


# ---- Masks of EMF


def mask_of(bits: np.ndarray) -> tuple[bytes, bytes]:
    height, width = bits.shape
    packed = np.packbits(bits[::-1].astype(np.uint8), axis=1)
    return (bitmap_header(width, height, 1, colors=(0, 0xFFFFFF)),
            np.pad(packed, ((0, 0), (0, -packed.shape[1] % 4))).tobytes())


def masked(kind: int, bits: np.ndarray, at: tuple[int, int], source: np.ndarray) -> np.ndarray:
    """MaskBlt (78), where set bits copy and others invert what is there, or PlgBlt (79), where others leave it."""
    height, width = source.shape[:2]
    header = bitmap_header(width, height, 32)
    rows = np.dstack([source[::-1, :, ::-1], np.zeros((height, width), np.uint8)]).tobytes()
    mask_header, mask_bits = mask_of(bits)
    if kind == 78:
        fixed, place = 128, words(20, 30, width, height, 0x55CC0000, 0, 0)
    else:
        fixed, place = 140, words(20, 30, 20 + width, 30, 20, 30 + height, 0, 0, width, height)
    data = BOUNDS + place + IDENTITY + words(0, 0, fixed, 40, fixed + 40, len(rows), *at, 0, fixed + 40 + len(rows),
                                             len(mask_header), fixed + 40 + len(rows) + len(mask_header),
                                             len(mask_bits))
    assert len(data) + 8 == fixed
    return np.asarray(drawn(emf(emf_record(kind, data + header + rows + mask_header + mask_bits))))


@pytest.mark.parametrize("kind", [78, 79])
@pytest.mark.parametrize("size, at", [((7, 10), (0, 0)), ((9, 16), (0, 0)), ((9, 16), (3, 1)), ((4, 10), (0, 0)),
                                      ((7, 6), (0, 0)), ((7, 10), (2, 0)), ((7, 10), (0, 3)), ((7, 10), (-1, -2))])
def test_masks_of_other_sizes(kind: int, size: tuple[int, int], at: tuple[int, int]) -> None:
    """The bit beside each pixel, counted from a place in the mask. Where there is no row of it, and beyond as many
    columns as it has, nothing is drawn; to the left and right of it bits are not set."""
    source = RANDOM.integers(1, 255, (HEIGHT, WIDTH, 3), np.uint8)
    bits = RANDOM.integers(0, 2, size, np.uint8) != 0
    found = masked(kind, bits, at, source)
    expected = np.full((96, 96, 3), 255, np.uint8)
    for y in range(HEIGHT):
        for x in range(min(WIDTH, size[1])):
            row, column = y + at[1], x + at[0]
            if 0 <= row < size[0]:
                if 0 <= column < size[1] and bits[row, column]:
                    expected[30 + y, 20 + x] = source[y, x]
                elif kind == 78:
                    expected[30 + y, 20 + x] = 0
    assert np.array_equal(found, expected)


@pytest.mark.parametrize("kind", [78, 79])
def test_masks_without_pixels(kind: int) -> None:
    source = RANDOM.integers(0, 255, (HEIGHT, WIDTH, 3), np.uint8)
    found = masked(kind, np.zeros((0, 0), bool), (0, 0), source)
    assert found.min() == 255
