"""Small pictures for tests, made without any image library."""

from __future__ import annotations

import struct
import zlib
from pathlib import Path

Pixel = tuple[int, int, int]


def png_chunk(kind: bytes, data: bytes) -> bytes:
    """A chunk of a PNG file, with its length and checksum."""
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png_bytes(width: int, height: int, pixels: list[Pixel]) -> bytes:
    """A PNG file of the pixels, row by row."""
    rows = b"".join(b"\0" + b"".join(bytes(pixel) for pixel in pixels[row * width:(row + 1) * width])
                    for row in range(height))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + png_chunk(b"IDAT", zlib.compress(rows))
            + png_chunk(b"IEND", b""))


def write_png(path: Path, width: int = 4, height: int = 3) -> Path:
    """A PNG file of a gradient in which all pixels differ."""
    pixels = [(x * 255 // max(width - 1, 1), y * 255 // max(height - 1, 1), (x + y * width) % 256)
              for y in range(height) for x in range(width)]
    path.write_bytes(png_bytes(width, height, pixels))
    return path
