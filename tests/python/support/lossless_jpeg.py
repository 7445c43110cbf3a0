"""Lossless JPEG files, read bit by bit as the standard (ITU-T T.81, annex H) describes them."""

from __future__ import annotations

import struct
from collections.abc import Iterator
from dataclasses import dataclass, field

import numpy as np

from support.arrays import Pixels


@dataclass
class Lossless:
    """A file of one scan without restart intervals."""

    bits: int = 0
    predictor: int = 0
    samples: Pixels = field(default_factory=lambda: np.zeros((0, 0, 0), int))
    segments: dict[int, list[bytes]] = field(default_factory=dict)


def _bits(data: bytes) -> Iterator[int]:
    for byte in data.replace(b"\xff\0", b"\xff"):
        for shift in range(7, -1, -1):
            yield byte >> shift & 1


def _codes(table: bytes) -> dict[tuple[int, int], int]:
    """The values by length and bits of their codes."""
    found, code, at = {}, 0, 17
    for length in range(1, 17):
        for _ in range(table[length]):
            found[length, code] = table[at]
            code, at = code + 1, at + 1
        code <<= 1
    return found


def from_bytes(data: bytes) -> Lossless:
    assert data[:2] == b"\xff\xd8" and data[-2:] == b"\xff\xd9"
    result, at = Lossless(), 2
    while True:
        marker, size = data[at + 1], struct.unpack_from(">H", data, at + 2)[0]
        assert data[at] == 0xFF
        result.segments.setdefault(marker, []).append(data[at + 4:at + 2 + size])
        at += 2 + size
        if marker == 0xDA:
            break
    [frame], [scan] = result.segments[0xC3], result.segments[0xDA]
    result.bits, height, width, bands = struct.unpack_from(">BHHB", frame)
    assert scan[0] == bands
    result.predictor = scan[1 + 2 * bands]
    assert scan[2 + 2 * bands:] == b"\0\0"
    tables = {table[0]: _codes(table) for table in result.segments[0xC4]}
    codes = [tables[scan[2 + 2 * band] >> 4] for band in range(bands)]
    for table in result.segments[0xC4]:  # no code of ones only
        lengths = {(length, bits) for length, bits in _codes(table)}
        assert not any(bits == (1 << length) - 1 for length, bits in lengths)
    source = _bits(data[at:-2])

    def difference(band: int) -> int:
        code = length = 0
        while (length, code) not in codes[band]:
            code, length = code << 1 | next(source), length + 1
            assert length <= 16
        size = codes[band][length, code]
        if size in (0, 16):
            return 32768 * (size // 16)
        value = 0
        for _ in range(size):
            value = value << 1 | next(source)
        return value if value >> size - 1 else value - (1 << size) + 1

    rows = np.zeros((height, width, bands), int)
    for y in range(height):
        for x in range(width):
            for band in range(bands):
                left, above = (int(rows[y, x - 1, band]) if x else 0), (int(rows[y - 1, x, band]) if y else 0)
                corner = int(rows[y - 1, x - 1, band]) if x and y else 0
                if y == 0:
                    guess = left if x else 1 << result.bits - 1
                elif x == 0:
                    guess = above
                else:
                    guess = [left, above, corner, left + above - corner, left + (above - corner >> 1),
                             above + (left - corner >> 1), left + above >> 1][result.predictor - 1]
                rows[y, x, band] = (guess + difference(band)) % 65536
    rest = list(source)
    assert len(rest) < 8 and all(rest)
    result.samples = rows
    return result
