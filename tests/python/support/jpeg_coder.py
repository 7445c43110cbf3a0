"""JPEG files with Huffman codes, written as the standard (ITU-T T.81) describes them: lossless ones and sums of waves.

The codes are chosen so that short and long ones occur: the first symbols of a table have one to eight bits, and all
others sixteen.
"""

from __future__ import annotations

import struct
from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np

from support.arrays import Pixels

ADOBE_RGB = b"\xff\xee\0\x0eAdobe\0\x64\0\0\0\0\0"
ZIGZAG = sorted(((x, y) for x in range(8) for y in range(8)),
                key=lambda place: (sum(place), place[0] if sum(place) % 2 == 0 else place[1]))


def segment(marker: int, content: bytes, fill: int = 0) -> bytes:
    return b"\xff" * (1 + fill) + bytes([marker]) + struct.pack(">H", len(content) + 2) + content


class Codes:
    """A table of codes for these symbols, the likeliest first."""

    def __init__(self, symbols: Sequence[int]) -> None:
        lengths = list(range(1, 9))[:len(symbols)]
        lengths += [16] * (len(symbols) - len(lengths))
        self.counts = bytes(lengths.count(length) for length in range(1, 17))
        self.symbols = bytes(symbols)
        self.codes: dict[int, str] = {}
        code = before = 0
        for symbol, length in zip(symbols, lengths, strict=True):
            code <<= length - before
            self.codes[symbol] = format(code, f"0{length}b")
            code, before = code + 1, length

    def table(self, place: int) -> bytes:
        return bytes([place]) + self.counts + self.symbols


class Bits:
    """The bits of a scan, in which a zero follows each byte of ones."""

    def __init__(self) -> None:
        self.done, self.digits, self.restarts = b"", "", 0

    def put(self, digits: str) -> None:
        self.digits += digits

    def put_number(self, value: int, size: int) -> None:
        """A number of that size; those below zero are counted from the least one."""
        if size:
            self.put(format(value if value > 0 else value + (1 << size) - 1, f"0{size}b"))

    def flush(self) -> None:
        self.digits += "1" * (-len(self.digits) % 8)
        data = int("1" + self.digits, 2).to_bytes(len(self.digits) // 8 + 1, "big")[1:] if self.digits else b""
        self.done, self.digits = self.done + data.replace(b"\xff", b"\xff\0"), ""

    def restart(self) -> None:
        self.flush()
        self.done += bytes([0xFF, 0xD0 + self.restarts % 8])
        self.restarts += 1


def size_of(value: int) -> int:
    return abs(value).bit_length()


@dataclass
class Form:
    """How a file is laid out."""

    bits: int = 12
    restart: int = 0  # rows of samples or units
    together: bool = True  # all components in one scan
    fill: int = 0  # bytes of ones before each marker
    tables: Sequence[int] = (0, 1, 2, 3)  # the place of the tables of each component


def head(form: Form, marker: int, planes: Sequence[Pixels], width: int, height: int,
         factors: Sequence[tuple[int, int]], quantization: Sequence[int]) -> bytes:
    content = struct.pack(">BHHB", form.bits, height, width, len(planes))
    for i, (across, down) in enumerate(factors):
        content += bytes([i + 1, across << 4 | down, quantization[i]])
    return segment(marker, content, form.fill)


def scan_head(form: Form, members: Sequence[int], first: int, last: int, shift: int) -> bytes:
    content = bytes([len(members)])
    content += b"".join(bytes([i + 1, form.tables[i] << 4 | form.tables[i]]) for i in members)
    return segment(0xDA, content + bytes([first, last, shift]), form.fill)


def predicted(kind: int, left: int, above: int, corner: int) -> int:
    return [left, above, corner, left + above - corner, left + (above - corner >> 1), above + (left - corner >> 1),
            left + above >> 1][kind - 1]


def lossless(planes: Sequence[Pixels], form: Form, predictor: int, shift: int = 0) -> bytes:
    """Restarts come after whole rows."""
    height, width = planes[0].shape
    # Small and great differences first, so that all lengths of codes occur.
    codes = Codes(list(dict.fromkeys([0, 16, 1, form.bits, 2, 3, 5, 7, *range(16)])))
    out = b"\xff\xd8" + ADOBE_RGB
    for place in sorted(set(form.tables[:len(planes)])):
        out += segment(0xC4, codes.table(place), form.fill)
    if form.restart:
        out += segment(0xDD, struct.pack(">H", form.restart * width), form.fill)
    out += head(form, 0xC3, planes, width, height, [(1, 1)] * len(planes), [0] * len(planes))
    for members in [range(len(planes))] if form.together else [[i] for i in range(len(planes))]:
        bits = Bits()
        rows = [planes[i].astype(int) >> shift for i in members]
        for y in range(height):
            fresh = y == 0
            if form.restart and y and y % form.restart == 0:
                bits.restart()
                fresh = True
            for x in range(width):
                for row in rows:
                    left, above = int(row[y, x - 1]), int(row[y - 1, x])
                    if x == 0:
                        guess = 1 << form.bits - shift - 1 if fresh else above
                    else:
                        guess = left if fresh else predicted(predictor, left, above, int(row[y - 1, x - 1]))
                    difference = (int(row[y, x]) - guess + 32768) % 65536 - 32768
                    size = 16 if difference == -32768 else size_of(difference)
                    bits.put(codes.codes[size])
                    if size < 16:
                        bits.put_number(difference, size)
        bits.flush()
        out += scan_head(form, members, predictor, 0, shift) + bits.done
    return out + b"\xff\xd9"


WAVES = np.array([[np.cos((2 * place + 1) * wave * np.pi / 16) * (np.sqrt(1 / 8) if wave == 0 else 0.5)
                   for wave in range(8)] for place in range(8)])


def sequential(planes: Sequence[Pixels], size: tuple[int, int], factors: Sequence[tuple[int, int]],
               steps: Sequence[Any], form: Form, wide: bool = False) -> tuple[bytes, list[Pixels]]:
    """The file of planes that are whole units, and the planes that a decoder gets of it.

    Restarts come after so many units; `steps` are 64 numbers for each component."""
    width, height = size
    across, down = (max(factor[i] for factor in factors) for i in (0, 1))
    blocks: list[Any] = []
    decoded: list[Pixels] = []
    for plane, step in zip(planes, steps, strict=True):
        rows, columns = plane.shape[0] // 8, plane.shape[1] // 8
        cut = plane.reshape(rows, 8, columns, 8).transpose(0, 2, 1, 3) - (1 << form.bits - 1)
        numbers = np.rint(WAVES.T @ cut @ WAVES / step).astype(int)
        blocks.append(numbers)
        back = WAVES @ (numbers * step) @ WAVES.T + (1 << form.bits - 1)
        decoded.append(np.clip(back, 0, (1 << form.bits) - 1).transpose(0, 2, 1, 3).reshape(plane.shape))
    likely = [0x01, 0x00, 0x11, 0x02, 0xF0, 0x31, 0x22, 0x05]
    others = [run << 4 | bits for run in range(16) for bits in range(1, 16)]
    ac = Codes(list(dict.fromkeys(likely + others)))
    dc = Codes([0, 5, 1, 9, 2, 3, 4, *[i for i in range(17) if i not in (0, 5, 1, 9, 2, 3, 4)]])
    out = b"\xff\xd8" + ADOBE_RGB
    for i, step in enumerate(steps):
        content = bytes([(16 if wide else 0) | i])
        ordered = [int(step[y, x]) for x, y in ZIGZAG]
        out += segment(0xDB, content + (struct.pack(">64H", *ordered) if wide else bytes(ordered)), form.fill)
    for place in sorted(set(form.tables[:len(planes)])):
        out += segment(0xC4, dc.table(place) + ac.table(0x10 | place), form.fill)
    if form.restart:
        out += segment(0xDD, struct.pack(">H", form.restart), form.fill)
    out += head(form, 0xC1, planes, width, height, factors, range(len(planes)))
    for members in [range(len(planes))] if form.together else [[i] for i in range(len(planes))]:
        alone = len(members) == 1
        bits, before, units = Bits(), [0] * len(planes), 0
        wide_unit = 8 * across // factors[members[0]][0] if alone else 8 * across
        high_unit = 8 * down // factors[members[0]][1] if alone else 8 * down
        for y in range(-(-height // high_unit)):
            for x in range(-(-width // wide_unit)):
                if form.restart and units and units % form.restart == 0:
                    bits.restart()
                    before = [0] * len(planes)
                units += 1
                for i in members:
                    columns, rows = (1, 1) if alone else factors[i]
                    for by in range(rows):
                        for bx in range(columns):
                            numbers = blocks[i][y * rows + by, x * columns + bx]
                            before[i] = put_block(bits, numbers, before[i], dc, ac)
        bits.flush()
        out += scan_head(form, members, 0, 63, 0) + bits.done
    return out + b"\xff\xd9", decoded


def put_block(bits: Bits, numbers: Any, before: int, dc: Codes, ac: Codes) -> int:
    first = int(numbers[0, 0])
    bits.put(dc.codes[size_of(first - before)])
    bits.put_number(first - before, size_of(first - before))
    zeros = 0
    ordered = [int(numbers[y, x]) for x, y in ZIGZAG[1:]]
    last = max((i for i, value in enumerate(ordered) if value), default=-1)
    for value in ordered[:last + 1]:
        if value == 0:
            zeros += 1
            continue
        while zeros > 15:
            bits.put(ac.codes[0xF0])
            zeros -= 16
        bits.put(ac.codes[zeros << 4 | size_of(value)])
        bits.put_number(value, size_of(value))
        zeros = 0
    if last < 62:
        bits.put(ac.codes[0])
    return first
