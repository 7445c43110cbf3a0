"""Samples of JPEG 2000 files in rare forms: palettes beside other channels, codings of single tiles."""

from __future__ import annotations

import io
import struct
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image

from support.arrays import Pixels
from support.image_oracles import managed_error, noise, raster

WIDTH, HEIGHT = 12, 7
Y, X = np.mgrid[0:HEIGHT, 0:WIDTH]


def box(kind: bytes, content: bytes) -> bytes:
    return struct.pack(">I4s", len(content) + 8, kind) + content


def codestream(array: Pixels, **how: Any) -> bytes:
    """The codestream of another encoder, without loss."""
    file = io.BytesIO()
    Pillow.fromarray(array).save(file, "JPEG2000", no_jp2=True, irreversible=False, **how)
    return file.getvalue()


def jp2(stream: bytes, components: int, *boxes: bytes, color: int = 16) -> bytes:
    head = struct.pack(">IIHBBBB", HEIGHT, WIDTH, components, 7, 7, 0, 0)
    header = box(b"ihdr", head) + box(b"colr", struct.pack(">BBBI", 1, 0, 0, color)) + b"".join(boxes)
    return (box(b"jP  ", b"\r\n\x87\n") + box(b"ftyp", b"jp2 \0\0\0\0jp2 ") + box(b"jp2h", header)
            + box(b"jp2c", stream))


def palette(bits: list[int], entries: list[list[int]], signed: bool = False) -> bytes:
    depths = bytes((each - 1) | (0x80 if signed else 0) for each in bits)
    values = b"".join((value % (1 << each)).to_bytes((each + 7) // 8, "big")
                      for entry in entries for each, value in zip(bits, entry))
    return box(b"pclr", struct.pack(">HB", len(entries), len(bits)) + depths + values)


def mapping(*channels: tuple[int, int, int]) -> bytes:
    """Component, whether it is looked up in the palette, and the column there."""
    return box(b"cmap", b"".join(struct.pack(">HBB", *each) for each in channels))


def definitions(*channels: tuple[int, int, int]) -> bytes:
    return box(b"cdef", struct.pack(">H", len(channels)) + b"".join(struct.pack(">3H", *each) for each in channels))


def shown(data: bytes) -> Pixels:
    """Red, green, blue and opacity of each pixel, with 16 bits."""
    image = raster(Image.load(io.BytesIO(data)))
    values = np.array(image.load_argb_64_pixels(image.bounds), np.int64).reshape(image.height, image.width)
    return np.stack([values >> shift & 0xFFFF for shift in (32, 16, 0, 48)], -1)


COLORS = noise(3, width=5, height=1)[0].astype(int)
INDEX, OPACITY = (X + Y) % 5, X * 20 + Y


def test_a_palette_beside_a_channel_of_opacity() -> None:
    stream = codestream(np.dstack([INDEX, OPACITY]).astype(np.uint8))
    data = jp2(stream, 2, palette([8] * 3, COLORS.tolist()), mapping((0, 1, 0), (0, 1, 1), (0, 1, 2), (1, 0, 0)),
               definitions((0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 1, 0)))
    assert np.array_equal(shown(data), np.dstack([COLORS[INDEX], OPACITY]) * 257)


def test_indices_beyond_the_palette_have_its_last_color() -> None:
    index = X * 20
    stream = codestream(np.dstack([index, OPACITY]).astype(np.uint8))
    data = jp2(stream, 2, palette([8] * 3, COLORS.tolist()), mapping((0, 1, 2), (0, 1, 1), (0, 1, 0), (1, 0, 0)),
               definitions((0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 1, 0)))
    expected = COLORS[np.minimum(index, 4)][..., ::-1]
    assert np.array_equal(shown(data), np.dstack([expected, OPACITY]) * 257)


def test_a_palette_for_two_colors_of_three() -> None:
    stream = codestream(np.dstack([INDEX, OPACITY]).astype(np.uint8))
    data = jp2(stream, 2, palette([8] * 2, COLORS[:, :2].tolist()), mapping((0, 1, 0), (1, 0, 0), (0, 1, 1)))
    found = shown(data)
    assert np.array_equal(found[..., :3], np.dstack([COLORS[INDEX, 0], OPACITY, COLORS[INDEX, 1]]) * 257)


def test_a_palette_of_signed_samples() -> None:
    """They count from the middle, which is where the others of the format are moved to."""
    values = [[-128, -1, 0], [127, 5, -5], [0, 64, -64], [1, 2, 3], [-100, 100, 50]]
    stream = codestream(np.dstack([INDEX, OPACITY]).astype(np.uint8))
    data = jp2(stream, 2, palette([8] * 3, values, signed=True), mapping((0, 1, 0), (0, 1, 1), (0, 1, 2), (1, 0, 0)),
               definitions((0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 1, 0)))
    assert np.array_equal(shown(data)[..., :3], (np.array(values)[INDEX] + 128) * 257)


def tile_header(stream: bytes, more: bytes) -> bytes:
    """The codestream with segments in the header of its one tile."""
    at = stream.index(b"\xff\x90\0\x0a")
    length, = struct.unpack_from(">I", stream, at + 6)
    return (stream[:at + 6] + struct.pack(">I", length + len(more) if length else 0) + stream[at + 10:at + 12] + more
            + stream[at + 12:])


def segment(stream: bytes, marker: bytes) -> bytes:
    at = stream.index(marker)
    length, = struct.unpack_from(">H", stream, at + 2)
    return stream[at:at + 2 + length]


def gray_of(data: bytes) -> Pixels:
    return shown(data)[..., 0] // 257


GRAY = (X * 20 + Y * 3).astype(np.uint8)


def test_the_coding_of_a_tile_stands_above_that_of_the_file() -> None:
    stream = codestream(GRAY, num_resolutions=3)
    coding = segment(stream, b"\xff\x52")
    assert coding[9] == 2
    other = bytearray(coding)
    other[9] = 1  # levels of the wavelet that the data do not have
    wrong = stream.replace(coding, bytes(other))
    assert np.array_equal(gray_of(stream), GRAY)
    assert np.array_equal(gray_of(tile_header(wrong, coding)), GRAY)
    assert np.array_equal(gray_of(tile_header(wrong, coding + b"\xff\x64\0\6\0\1ab")), GRAY)


def test_the_coding_of_a_component_of_a_tile() -> None:
    stream = codestream(GRAY, num_resolutions=3)
    coding = segment(stream, b"\xff\x52")
    other = bytearray(coding)
    other[9] = 1
    component = b"\xff\x53" + struct.pack(">HBB", 2 + 1 + 1 + 5, 0, 0) + coding[9:14]
    assert np.array_equal(gray_of(tile_header(stream.replace(coding, bytes(other)), component)), GRAY)
    assert np.array_equal(gray_of(tile_header(stream.replace(coding, bytes(other)), bytes(other) + component)), GRAY)
    # Of the main header, too.
    assert np.array_equal(gray_of(stream.replace(coding, bytes(other) + component)), GRAY)


@pytest.mark.parametrize("more", [b"\xff\x52\0\1", b"\xff\x52\xff\xff", b"\0\0\0\4ab", b"\xff\x64\0\0"])
def test_headers_of_tiles_that_are_cut_off(more: bytes) -> None:
    with managed_error("ImageLoadException", "the header of a tile is cut off"):
        gray_of(tile_header(codestream(GRAY), more))
