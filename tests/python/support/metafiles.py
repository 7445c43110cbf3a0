"""Metafiles from single records, byte by byte, as the formats are published."""

from __future__ import annotations

import struct
from collections.abc import Iterable, Sequence

SIDE = 96  # of the pictures, in pixels; an inch

Point = tuple[int, int]
Box = tuple[int, int, int, int]  # left, top, right, bottom

NULL_PEN, NULL_BRUSH, BLACK_PEN, WHITE_BRUSH = 0x80000008, 0x80000005, 0x80000007, 0x80000000
BOUNDS = struct.pack("<4i", 0, 0, SIDE - 1, SIDE - 1)


def words(*numbers: int) -> bytes:
    """Numbers of 32 bits, with or without a sign."""
    return b"".join(struct.pack("<I", number & 0xFFFFFFFF) for number in numbers)


def floats(*numbers: float) -> bytes:
    return struct.pack(f"<{len(numbers)}f", *numbers)


def colorref(color: int) -> int:
    """0xRRGGBB with the red byte first."""
    return (color & 0xFF) << 16 | color & 0xFF00 | color >> 16


# ---- EMF


def emf_record(kind: int, data: bytes = b"") -> bytes:
    data += bytes(-len(data) % 4)
    return struct.pack("<2I", kind, len(data) + 8) + data


def emf(*records: bytes, handles: int = 16) -> bytes:
    """A picture of 96 by 96 pixels, an inch to a side."""
    end = emf_record(14, words(0, 16, 20))
    body = b"".join(records) + end
    header = (words(0, 0, SIDE - 1, SIDE - 1, 0, 0, 2540, 2540, 0x464D4520, 0x10000, 88 + len(body), len(records) + 2)
              + struct.pack("<2H", handles, 0) + words(0, 0, 0, 9600, 9600, 2540, 2540))
    return emf_record(1, header) + body


def brush(index: int, color: int, style: int = 0, hatch: int = 0) -> bytes:
    return emf_record(39, words(index, style, colorref(color), hatch)) + emf_record(37, words(index))


def pen(index: int, color: int, width: int = 1, style: int = 0) -> bytes:
    return emf_record(38, words(index, style, width, 0, colorref(color))) + emf_record(37, words(index))


def extended_pen(index: int, color: int, width: int, style: int = 0x10000, lengths: Sequence[int] = ()) -> bytes:
    data = words(index, 0, 0, 0, 0, style, width, 0, colorref(color), 0, len(lengths), *lengths)
    return emf_record(95, data) + emf_record(37, words(index))


def select(index: int) -> bytes:
    return emf_record(37, words(index))


def points32(kind: int, points: Iterable[Point]) -> bytes:
    flat = [number for point in points for number in point]
    return emf_record(kind, BOUNDS + words(len(flat) // 2, *flat))


def points16(kind: int, points: Iterable[Point]) -> bytes:
    flat = [number for point in points for number in point]
    return emf_record(kind, BOUNDS + words(len(flat) // 2) + struct.pack(f"<{len(flat)}h", *flat))


def region(rects: Sequence[Box]) -> bytes:
    flat = [number for rect in rects for number in rect]
    return words(32, 1, len(rects), 16 * len(rects), 0, 0, SIDE, SIDE, *flat)


def bitmap_header(width: int, height: int, bits: int, compression: int = 0, colors: Sequence[int] = ()) -> bytes:
    return (struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, compression, 0, 0, 0, len(colors), 0)
            + words(*colors))


def rows24(rows: Sequence[Sequence[int]]) -> bytes:
    """Pixels 0xRRGGBB, the top row first, as a bitmap has them."""
    data = b""
    for row in reversed(rows):
        line = b"".join(struct.pack("<I", color)[:3] for color in row)
        data += line + bytes(-len(line) % 4)
    return data


def rows32(rows: Sequence[Sequence[int]]) -> bytes:
    return b"".join(struct.pack("<I", color) for row in reversed(rows) for color in row)


def stretch_dib(header: bytes, bits: bytes, to: Box, size: Point, operation: int = 0x00CC0020) -> bytes:
    """Draws all of the bitmap; `to` is left, top, width and height."""
    data = BOUNDS + words(to[0], to[1], 0, 0, size[0], size[1], 80, len(header), 80 + len(header), len(bits), 0,
                          operation, to[2], to[3])
    return emf_record(81, data + header + bits)


IDENTITY = floats(1, 0, 0, 1, 0, 0)


def blit(kind: int, to: Box, operation: int, source: Box = (0, 0, 0, 0), bitmap: tuple[bytes, bytes] | None = None,
         mask: tuple[bytes, bytes] | None = None) -> bytes:
    """BitBlt (76), StretchBlt (77), MaskBlt (78), AlphaBlend (114), TransparentBlt (116)."""
    sized = kind in (77, 114, 116)
    fixed = 100 + 8 * sized + 28 * (kind == 78)
    header, bits = bitmap or (b"", b"")
    at = fixed
    data = BOUNDS + words(*to, operation, source[0], source[1]) + IDENTITY + words(0, 0)
    data += words(at, len(header), at + len(header), len(bits)) if bitmap else words(0, 0, 0, 0)
    if sized:
        data += words(source[2], source[3])
    if kind == 78:
        mask_header, mask_bits = mask or (b"", b"")
        at += len(header) + len(bits)
        data += words(0, 0, 0, at, len(mask_header), at + len(mask_header), len(mask_bits))
        return emf_record(kind, data + header + bits + mask_header + mask_bits)
    return emf_record(kind, data + header + bits)


def font(index: int, height: int, face: str, escapement: int = 0, weight: int = 400, charset: int = 0) -> bytes:
    name = face.encode("utf-16-le").ljust(64, b"\0")
    data = struct.pack("<5i8B", height, 0, escapement, escapement, weight, 0, 0, 0, charset, 0, 0, 0, 0) + name
    return emf_record(82, words(index) + data + bytes(320 - len(data))) + select(index)


def text_out(text: str, at: Point, advances: Sequence[int], options: int = 0, box: Box = (0, 0, 0, 0),
             wide: bool = True) -> bytes:
    data = text.encode("utf-16-le") if wide else text.encode("cp1251")
    data += bytes(-len(data) % 4)
    fixed = BOUNDS + words(1) + floats(1, 1)
    offset = 8 + len(fixed) + 40
    # Without distances the letters are as wide as those of the font.
    fixed += words(*at, len(text), offset, options, *box, offset + len(data) if advances or not text else 0)
    return emf_record(84 if wide else 83, fixed + data + words(*advances))


# ---- EMF+


def plus_record(kind: int, flags: int = 0, data: bytes = b"") -> bytes:
    data += bytes(-len(data) % 4)
    return struct.pack("<HHII", kind, flags, len(data) + 12, len(data)) + data


def plus_comment(*records: bytes) -> bytes:
    data = b"EMF+" + b"".join(records)
    return emf_record(70, words(len(data)) + data)


VERSION = words(0xDBC01002)


def plus(*records: bytes, dual: bool = False) -> bytes:
    header = plus_record(0x4001, int(dual), VERSION + words(1, 96, 96))
    return plus_comment(header, *records, plus_record(0x4002))


def plus_object(index: int, kind: int, data: bytes) -> bytes:
    return plus_record(0x4008, kind << 8 | index, data)


def plus_path(points: Sequence[tuple[float, float]], types: Sequence[int]) -> bytes:
    flat = [number for point in points for number in point]
    data = VERSION + words(len(points), 0) + floats(*flat) + bytes(types)
    return data + bytes(-len(data) % 4)


# ---- WMF


def wmf_record(function: int, *numbers: int, data: bytes = b"") -> bytes:
    body = b"".join(struct.pack("<H", number & 0xFFFF) for number in numbers) + data
    body += bytes(len(body) % 2)
    return struct.pack("<IH", 3 + len(body) // 2, function) + body


def wmf(*records: bytes, units: int = SIDE, placeable: bool = True) -> bytes:
    """A picture of an inch to a side, of so many units."""
    body = b"".join(records) + wmf_record(0)
    largest = max(len(record) for record in (*records, wmf_record(0))) // 2
    header = struct.pack("<3HIHIH", 1, 9, 0x300, 9 + len(body) // 2, 8, largest, 0)
    if not placeable:
        return header + body
    start = struct.pack("<IH4hHI", 0x9AC6CDD7, 0, 0, 0, units, units, units, 0)
    checksum = 0
    for (number, ) in struct.iter_unpack("<H", start):
        checksum ^= number
    return start + struct.pack("<H", checksum) + header + body


def wmf_pen(color: int, width: int = 1, style: int = 0) -> bytes:
    return wmf_record(0x02FA, style, width, 0, colorref(color) & 0xFFFF, colorref(color) >> 16)


def wmf_brush(color: int, style: int = 0, hatch: int = 0) -> bytes:
    return wmf_record(0x02FC, style, colorref(color) & 0xFFFF, colorref(color) >> 16, hatch)


def wmf_select(index: int) -> bytes:
    return wmf_record(0x012D, index)


def wmf_color(function: int, color: int) -> bytes:
    return wmf_record(function, colorref(color) & 0xFFFF, colorref(color) >> 16)


def wmf_font(height: int, face: bytes, escapement: int = 0, charset: int = 0) -> bytes:
    return wmf_record(0x02FB, height, 0, escapement, escapement, 400,
                      data=bytes([0, 0, 0, charset, 0, 0, 0, 0]) + face.ljust(32, b"\0"))
