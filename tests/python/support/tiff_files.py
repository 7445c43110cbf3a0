"""TIFF files made and taken apart with the struct module, and rewritten by the tools of libtiff."""

from __future__ import annotations

import struct
import subprocess
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing

from support.other_programs import plain_environment

#: Rows, columns and bands.
Samples = numpy.typing.NDArray[Any]
Tags = dict[int, tuple[Any, ...]]

SUBFILE_TYPE, ORIENTATION, SUB_DIRECTORIES = 254, 274, 330
WIDTH, HEIGHT, BITS, COMPRESSION, PHOTOMETRIC, FILL_ORDER = 256, 257, 258, 259, 262, 266
STRIP_OFFSETS, SAMPLES, ROWS_PER_STRIP, STRIP_SIZES, X_RESOLUTION, Y_RESOLUTION = 273, 277, 278, 279, 282, 283
PLANES, PAGE_NAME, FAX_OPTIONS, RESOLUTION_UNIT, PREDICTOR, COLOR_MAP = 284, 285, 292, 296, 317, 320
TILE_WIDTH, TILE_HEIGHT, TILE_OFFSETS, TILE_SIZES = 322, 323, 324, 325
EXTRA_SAMPLES, SAMPLE_FORMAT, SUBSAMPLING, PROFILE = 338, 339, 530, 34675

#: Letters of the struct module by the types of tags.
TYPES = {1: "B", 2: "s", 3: "H", 4: "I", 5: "II", 6: "b", 7: "B", 8: "h", 9: "i", 11: "f", 12: "d", 13: "I",
         16: "Q", 18: "Q"}

WHITE_IS_ZERO, BLACK_IS_ZERO, RGB, PALETTE, MASK, CMYK, YCBCR, LAB, ICC_LAB = 0, 1, 2, 3, 4, 5, 6, 8, 9


@dataclass
class Form:
    """How the samples of a file are stored."""

    name: str
    photometric: int
    bands: int
    bits: int = 8
    numbers: int = 1  # unsigned, 2 signed, 3 floating-point
    extra: int | None = None  # the kind of the last band, where that is no color
    tags: Tags = field(default_factory=dict)

    def type(self) -> np.dtype[Any]:
        """The type of a sample as its file has it; of those that share bytes the byte."""
        return np.dtype({1: "u", 2: "i", 3: "f"}[self.numbers] + str(max(1, self.bits // 8)))

    def noise(self, width: int, height: int) -> Samples:
        """A picture of random samples among runs of equal ones."""
        random = np.random.default_rng(self.bits + self.bands)
        shape = (height, width, self.bands)
        if self.numbers == 3:
            samples = random.normal(0.5, 2.0, shape)
        elif self.numbers == 2:
            samples = random.integers(-2 ** (self.bits - 1), 2 ** (self.bits - 1), shape)
        else:
            samples = random.integers(0, 2 ** self.bits, shape)
        samples[:, ::3] = samples[:, 1:2]
        return samples.astype(self.type())


def packed(samples: Samples, bits: int) -> bytes:
    """Rows of samples as a file has them, each of whole bytes."""
    rows = samples.reshape(samples.shape[0], -1)
    if bits >= 8:
        return rows.tobytes()
    spread = (rows[..., None] >> np.arange(bits - 1, -1, -1)) & 1
    return np.packbits(spread.reshape(rows.shape[0], -1).astype(np.uint8), axis=1).tobytes()


def unpacked(data: bytes, form: Form, width: int, height: int) -> Samples:
    """The samples of rows as a little-endian file has them."""
    count = width * form.bands
    if form.bits >= 8:
        return np.frombuffer(data, form.type()).reshape(height, width, form.bands)
    rows = np.unpackbits(np.frombuffer(data, np.uint8).reshape(height, -1), axis=1)[:, :count * form.bits]
    weights = 1 << np.arange(form.bits - 1, -1, -1)
    numbers: Samples = (rows.reshape(height, count, form.bits) * weights).sum(-1).astype(np.uint8)
    return numbers.reshape(height, width, form.bands)


@dataclass
class Layer:
    """A picture of a file and those that its directory points to."""

    samples: Samples
    form: Form
    below: list[Layer] = field(default_factory=list)


def tiff_bytes(samples: Samples, form: Form) -> bytes:
    """A little-endian file of one strip without compression."""
    return layered_tiff([Layer(samples, form)])


def layered_tiff(pages: list[Layer]) -> bytes:
    """A little-endian file of pages, each of one strip without compression."""
    file = bytearray(struct.pack("<2sHI", b"II", 42, 0))
    link = 4
    for page in pages:
        below = tuple(_append(file, layer, ())[0] for layer in page.below)
        struct.pack_into("<I", file, link, (found := _append(file, page, below))[0])
        link = found[1]
    return bytes(file)


def _append(file: bytearray, layer: Layer, below: tuple[int, ...]) -> tuple[int, int]:
    """Adds a picture, and gives where its directory is and where the offset of the next one belongs."""
    samples, form = layer.samples, layer.form
    height, width, bands = samples.shape
    data = packed(samples, form.bits)
    tags: Tags = {
        WIDTH: (width,), HEIGHT: (height,), BITS: (form.bits,) * bands, COMPRESSION: (1,),
        PHOTOMETRIC: (form.photometric,), STRIP_OFFSETS: (len(file),), SAMPLES: (bands,), ROWS_PER_STRIP: (height,),
        STRIP_SIZES: (len(data),), PLANES: (1,), SAMPLE_FORMAT: (form.numbers,) * bands,
    }
    if form.extra is not None:
        tags[EXTRA_SAMPLES] = (form.extra,)
    if below:
        tags[SUB_DIRECTORIES] = below
    tags.update(form.tags)
    longs = (SUBFILE_TYPE, WIDTH, HEIGHT, STRIP_OFFSETS, ROWS_PER_STRIP, STRIP_SIZES, SUB_DIRECTORIES)
    file += data + b"\0" * (-len(data) % 2)
    entries = b""
    for tag in sorted(tags):
        kind = 4 if tag in longs else 7 if tag == PROFILE else 5 if tag in (X_RESOLUTION, Y_RESOLUTION) else 3
        value = struct.pack("<" + (TYPES[kind][0] * len(tags[tag])), *tags[tag])
        count = len(tags[tag]) // (2 if kind == 5 else 1)
        if len(value) > 4:
            file += b"\0" * (len(file) % 2)
            at = len(file)
            file += value
            value = struct.pack("<I", at)
        entries += struct.pack("<HHI", tag, kind, count) + value.ljust(4, b"\0")
    file += b"\0" * (len(file) % 2)
    at = len(file)
    file += struct.pack("<H", len(tags)) + entries + struct.pack("<I", 0)
    return at, len(file) - 4


@dataclass
class Page:
    """One directory of a file."""

    order: str
    big: bool
    tags: Tags

    def number(self, tag: int, otherwise: int = 0) -> int:
        """The first value of a tag."""
        return int(self.tags[tag][0]) if tag in self.tags else otherwise


def pages(data: bytes) -> list[Page]:
    """All directories of a file with all of their values."""
    order = {b"II": "<", b"MM": ">"}[data[:2]]
    big = struct.unpack_from(order + "H", data, 2)[0] == 43
    found = []
    offset = struct.unpack_from(order + ("Q" if big else "I"), data, 8 if big else 4)[0]
    while offset:
        count = struct.unpack_from(order + ("Q" if big else "H"), data, offset)[0]
        at, size = offset + (8 if big else 2), 20 if big else 12
        tags: Tags = {}
        for entry in range(at, at + count * size, size):
            tag, kind, values = struct.unpack_from(order + ("HHQ" if big else "HHI"), data, entry)
            letters = TYPES[kind]
            form = order + (f"{values}s" if letters == "s" else letters * values)
            value = entry + (12 if big else 8)
            if struct.calcsize(form) > (8 if big else 4):
                value = struct.unpack_from(order + ("Q" if big else "I"), data, value)[0]
            tags[tag] = struct.unpack_from(form, data, value)
        found.append(Page(order, big, tags))
        offset = struct.unpack_from(order + ("Q" if big else "I"), data, at + count * size)[0]
    return found


def page(path: Path | str) -> Page:
    """The first directory of a file."""
    return pages(Path(path).read_bytes())[0]


def tool(*arguments: object) -> str:
    """Runs a tool of another maker, such as those of libtiff."""
    done = subprocess.run([str(argument) for argument in arguments], check=True, capture_output=True, text=True,
                          env=plain_environment())
    return done.stdout


def plain_samples(path: Path, form: Form) -> Samples:
    """The samples of a file, after tiffcp has taken compression and layout away."""
    plain = path.with_suffix(".plain")
    tool("tiffcp", "-c", "none", "-p", "contig", "-s", "-L", "-r", 1000, "-f", "msb2lsb", path, plain)
    data = plain.read_bytes()
    first = page(plain)
    assert (first.order, first.number(FILL_ORDER, 1), first.number(COMPRESSION)) == ("<", 1, 1)
    assert first.number(PHOTOMETRIC) == form.photometric
    assert first.tags[BITS] == (form.bits,) * form.bands and first.number(SAMPLE_FORMAT, 1) == form.numbers
    at = first.tags[STRIP_OFFSETS]
    assert len(at) == 1
    return unpacked(data[at[0]:at[0] + first.tags[STRIP_SIZES][0]], form, first.number(WIDTH), first.number(HEIGHT))
