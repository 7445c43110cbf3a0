"""A small writer of DNG files, tag by tag, so that tests know every sample of a raw picture."""

from __future__ import annotations

import struct
from dataclasses import dataclass, field
from typing import Any

from support.arrays import Pixels

BYTE, ASCII, SHORT, LONG, RATIONAL, UNDEFINED, SRATIONAL = 1, 2, 3, 4, 5, 7, 10
FORMATS = {BYTE: "B", ASCII: "s", SHORT: "H", LONG: "I", RATIONAL: "I", UNDEFINED: "B", SRATIONAL: "i"}
COLOR_FILTERS, LINEAR = 32803, 34892

#: From CIE XYZ to the colors of a camera that sees sRGB.
SRGB_CAMERA = [(32404542, 10**7), (-15371385, 10**7), (-4985314, 10**7), (-9692660, 10**7), (18760108, 10**7),
               (415560, 10**7), (556434, 10**7), (-2040259, 10**7), (10572252, 10**7)]

Tags = dict[int, tuple[int, Any]]


def rationals(*values: float) -> list[tuple[int, int]]:
    return [(round(value * 10000), 10000) for value in values]


@dataclass
class Dng:
    """One raw picture: samples of 16 bits, of one color each (`filters` has the colors of the upper left four pixels)
    or with the colors as a last axis."""

    samples: Pixels
    filters: tuple[int, int, int, int] | None = (0, 1, 1, 2)
    bits: int = 16
    white: int = 65535
    lossless_jpeg: bool = False
    big_endian: bool = False
    neutral: tuple[float, ...] | None = (1.0, 1.0, 1.0)
    tags: Tags = field(default_factory=dict)  # of the first directory
    raw_tags: Tags = field(default_factory=dict)
    below: bool = False  # the raw picture lies in a directory below the first one, which has a preview
    exif: Tags = field(default_factory=dict)
    gps: Tags = field(default_factory=dict)

    @property
    def order(self) -> str:
        return ">" if self.big_endian else "<"

    def value_bytes(self, kind: int, values: Any) -> tuple[int, bytes]:
        if kind == ASCII:
            data = values.encode() + b"\0"
            return len(data), data
        if isinstance(values, bytes):
            return len(values), values
        values = list(values) if isinstance(values, (list, tuple)) else [values]
        flat = [part for value in values for part in (value if isinstance(value, tuple) else (value,))]
        return len(values), struct.pack(f"{self.order}{len(flat)}{FORMATS[kind]}", *flat)

    def directory(self, tags: Tags, at: int) -> bytes:
        """A directory at that offset, with its values behind it."""
        head = struct.pack(self.order + "H", len(tags))
        behind = b""
        values_at = at + 2 + 12 * len(tags) + 4
        for tag, (kind, values) in sorted(tags.items()):
            count, data = self.value_bytes(kind, values)
            if len(data) > 4:
                place = struct.pack(self.order + "I", values_at + len(behind))
                behind += data + bytes(len(data) % 2)
            else:
                place = data.ljust(4, b"\0")
            head += struct.pack(self.order + "HHI", tag, kind, count) + place
        return head + bytes(4) + behind

    def pixel_data(self) -> bytes:
        height, width = self.samples.shape[:2]
        if self.lossless_jpeg:
            return lossless_jpeg(self.samples, self.bits)
        if self.bits == 16:
            return self.samples.astype(self.order + "u2").tobytes()
        if self.bits == 8:
            return self.samples.astype("u1").tobytes()
        rows = []
        for row in self.samples.reshape(height, -1):
            text = "".join(format(int(value), f"0{self.bits}b") for value in row)
            text += "0" * (-len(text) % 8)
            rows.append(int(text, 2).to_bytes(len(text) // 8, "big"))
        assert width > 0
        return b"".join(rows)

    def tobytes(self) -> bytes:
        height, width = self.samples.shape[:2]
        bands = self.samples.shape[2] if self.samples.ndim == 3 else 1
        data = self.pixel_data()
        raw: Tags = {
            254: (LONG, 0), 256: (LONG, width), 257: (LONG, height), 258: (SHORT, [self.bits] * bands),
            259: (SHORT, 7 if self.lossless_jpeg else 1), 262: (SHORT, COLOR_FILTERS if self.filters else LINEAR),
            277: (SHORT, bands), 284: (SHORT, 1), 50717: (LONG, [self.white] * bands)}
        if self.lossless_jpeg:
            raw |= {322: (LONG, width), 323: (LONG, height), 324: (LONG, 8), 325: (LONG, len(data))}
        else:
            raw |= {273: (LONG, 8), 278: (LONG, height), 279: (LONG, len(data))}
        if self.filters:
            raw |= {33421: (SHORT, [2, 2]), 33422: (BYTE, bytes(self.filters)), 50710: (BYTE, b"\0\1\2"),
                    50711: (SHORT, 1)}
        raw |= self.raw_tags
        first: Tags = {271: (ASCII, "Maker"), 272: (ASCII, "Model 1"), 274: (SHORT, 1),
                       50706: (BYTE, b"\1\4\0\0"), 50707: (BYTE, b"\1\1\0\0"), 50708: (ASCII, "Maker Model 1")}
        if bands == 3 or self.filters:
            first |= {50721: (SRATIONAL, SRGB_CAMERA), 50778: (SHORT, 21)}
            if self.neutral:
                first |= {50728: (RATIONAL, rationals(*self.neutral))}
        first |= self.tags
        blob = bytearray((b"MM\0*" if self.big_endian else b"II*\0") + bytes(4) + data)
        blob += bytes(len(blob) % 2)

        def append(tags: Tags) -> int:
            at = len(blob)
            blob.extend(self.directory(tags, at))
            return at

        if self.exif:
            first[34665] = (LONG, append(self.exif))
        if self.gps:
            first[34853] = (LONG, append(self.gps))
        if self.below:
            preview = len(blob)
            blob.extend(bytes(range(4 * 3 * 3)))
            first |= {330: (LONG, append(raw)), 254: (LONG, 1), 256: (LONG, 4), 257: (LONG, 3), 258: (SHORT, [8, 8, 8]),
                      259: (SHORT, 1), 262: (SHORT, 2), 277: (SHORT, 3), 273: (LONG, preview), 278: (LONG, 3),
                      279: (LONG, 36)}
        else:
            first = raw | first
        blob[4:8] = struct.pack(self.order + "I", append(first))
        return bytes(blob)


def lossless_jpeg(samples: Pixels, bits: int) -> bytes:
    """One scan with the predictor of the left neighbor. Its Huffman code gives every length of a difference 5 bits."""
    height, width = samples.shape[:2]
    bands = samples.shape[2] if samples.ndim == 3 else 1
    lengths = list(range(17))
    counts = [0] * 16
    counts[4] = len(lengths)
    table = bytes([0x00]) + bytes(counts) + bytes(lengths)
    frame = struct.pack(">BHHB", bits, height, width, bands) + b"".join(bytes([i + 1, 0x11, 0]) for i in range(bands))
    scan = bytes([bands]) + b"".join(bytes([i + 1, 0]) for i in range(bands)) + bytes([1, 0, 0])
    text = []
    rows = samples.reshape(height, width, bands).astype(int)
    for y in range(height):
        for x in range(width):
            for band in range(bands):
                before = (1 << bits - 1) if x == 0 and y == 0 else rows[y - 1, 0, band] if x == 0 else \
                    rows[y, x - 1, band]
                difference = int(rows[y, x, band] - before)
                difference = (difference + 32768) % 65536 - 32768  # modulo 2^16, as the standard counts
                size = abs(difference).bit_length()
                text.append(format(size, "05b"))
                if 0 < size < 16:
                    text.append(format(difference if difference > 0 else difference + (1 << size) - 1, f"0{size}b"))
    packed = "".join(text)
    packed += "1" * (-len(packed) % 8)
    data = int(packed, 2).to_bytes(len(packed) // 8, "big").replace(b"\xff", b"\xff\0")

    def segment(marker: int, content: bytes) -> bytes:
        return bytes([0xFF, marker]) + struct.pack(">H", len(content) + 2) + content

    return b"\xff\xd8" + segment(0xC4, table) + segment(0xC3, frame) + segment(0xDA, scan) + data + b"\xff\xd9"
