"""PNG files written and read here byte by byte, as an oracle that no library stands behind."""

from __future__ import annotations

import struct
import zlib
from dataclasses import dataclass, field

import numpy as np

from support.arrays import Pixels

GRAY, RGB, INDEXED, GRAY_ALPHA, RGBA = 0, 2, 3, 4, 6
CHANNELS = {GRAY: 1, RGB: 3, INDEXED: 1, GRAY_ALPHA: 2, RGBA: 4}
#: All color types with their depths.
FORMS = [(GRAY, depth) for depth in (1, 2, 4, 8, 16)] + [(INDEXED, depth) for depth in (1, 2, 4, 8)] + [
    (color, depth) for color in (RGB, GRAY_ALPHA, RGBA) for depth in (8, 16)]
ADAM7 = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]
SIGNATURE = b"\x89PNG\r\n\x1a\n"


@dataclass
class Png:
    """A PNG file: its samples with the shape (height, width, channels), as the file has them, and its other chunks."""

    color: int
    depth: int
    samples: Pixels
    interlaced: bool = False
    chunks: dict[bytes, bytes] = field(default_factory=dict)


def chunk(kind: bytes, data: bytes) -> bytes:
    """A chunk with its length and its checksum."""
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def packed(samples: Pixels, depth: int) -> bytes:
    """Rows of samples without filters, each behind the number of its filter."""
    rows = []
    for row in samples.reshape(samples.shape[0], -1):
        if depth == 16:
            data = row.astype(">u2").tobytes()
        else:
            bits = (row[:, None] >> np.arange(depth - 1, -1, -1)) & 1
            data = np.packbits(bits.astype(np.uint8).reshape(-1)).tobytes()
        rows.append(b"\0" + data)
    return b"".join(rows)


def passes(width: int, height: int, interlaced: bool) -> list[tuple[slice, slice]]:
    """The rows and columns of each pass that has pixels."""
    if not interlaced:
        return [(slice(0, height), slice(0, width))]
    return [(slice(y, height, dy), slice(x, width, dx)) for x, y, dx, dy in ADAM7 if x < width and y < height]


def header(png: Png) -> bytes:
    """The header chunk."""
    height, width = png.samples.shape[:2]
    return chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, png.depth, png.color, 0, 0, png.interlaced))


def picture_data(png: Png) -> bytes:
    """The compressed rows."""
    height, width = png.samples.shape[:2]
    return zlib.compress(b"".join(packed(png.samples[part], png.depth)
                                  for part in passes(width, height, png.interlaced)))


def to_bytes(png: Png) -> bytes:
    """The whole file."""
    return (SIGNATURE + header(png) + b"".join(chunk(kind, data) for kind, data in png.chunks.items())
            + chunk(b"IDAT", picture_data(png)) + chunk(b"IEND", b""))


def chunks_of(data: bytes) -> list[tuple[bytes, bytes]]:
    """All chunks, whose checksums are compared."""
    assert data[:8] == SIGNATURE
    found, at = [], 8
    while at < len(data):
        length, = struct.unpack_from(">I", data, at)
        kind, content = data[at + 4:at + 8], data[at + 8:at + 8 + length]
        assert struct.unpack_from(">I", data, at + 8 + length)[0] == zlib.crc32(kind + content)
        found.append((kind, content))
        at += 12 + length
    return found


def unfiltered(data: bytes, rows: int, row_bytes: int, step: int) -> Pixels:
    """The bytes of rows whose filters are undone."""
    above = np.zeros(row_bytes + step, int)
    result = np.zeros((rows, row_bytes), np.uint8)
    for y in range(rows):
        at = y * (row_bytes + 1)
        kind, row = data[at], np.zeros(row_bytes + step, int)
        for i, value in enumerate(data[at + 1:at + 1 + row_bytes]):
            a, b, c = row[i], above[i + step], above[i]
            p = a + b - c
            paeth = a if abs(p - a) <= min(abs(p - b), abs(p - c)) else b if abs(p - b) <= abs(p - c) else c
            row[i + step] = value + (0, a, b, (a + b) // 2, paeth)[kind] & 255
        result[y] = row[step:]
        above = row
    return result


def samples_of(data: bytes, color: int, depth: int, width: int, height: int, interlaced: bool) -> Pixels:
    """The samples in the compressed rows."""
    raw, channels = zlib.decompress(data), CHANNELS[color]
    samples = np.zeros((height, width, channels), int)
    at = 0
    for part in passes(width, height, interlaced):
        rows, columns = samples[part].shape[:2]
        row_bytes = (columns * channels * depth + 7) // 8
        found = unfiltered(raw[at:], rows, row_bytes, max(1, channels * depth // 8))
        at += rows * (row_bytes + 1)
        if depth == 16:
            values = found.reshape(rows, -1, 2).astype(int) @ np.array([256, 1])
        else:
            bits = np.unpackbits(found, axis=1).reshape(rows, -1, depth).astype(int)
            values = (bits @ (1 << np.arange(depth - 1, -1, -1)))[:, :columns * channels]
        samples[part] = values.reshape(rows, columns, channels)
    assert at == len(raw)
    return samples


def from_bytes(data: bytes) -> Png:
    """The file's samples and chunks."""
    found = chunks_of(data)
    assert found[0][0] == b"IHDR" and found[-1][0] == b"IEND"
    width, height, depth, color, _, _, interlaced = struct.unpack(">IIBBBBB", found[0][1])
    rows = b"".join(content for kind, content in found if kind == b"IDAT")
    samples = samples_of(rows, color, depth, width, height, bool(interlaced))
    return Png(color, depth, samples, bool(interlaced), {kind: content for kind, content in found
                                                         if kind not in (b"IHDR", b"IDAT", b"IEND")})


def random_png(color: int, depth: int, interlaced: bool = False, width: int = 13, height: int = 11) -> Png:
    """A file of random samples, with a palette where there are indices."""
    numbers = np.random.default_rng(color * 100 + depth)
    samples = numbers.integers(0, 1 << depth, (height, width, CHANNELS[color]))
    png = Png(color, depth, samples, interlaced)
    if color == INDEXED:
        png.chunks[b"PLTE"] = numbers.integers(0, 256, 3 << depth, np.uint8).tobytes()
    return png
