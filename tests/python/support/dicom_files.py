"""DICOM files of any form, made element by element, and their compression by the programs of DCMTK and GDCM."""

from __future__ import annotations

import struct
import subprocess
import zlib
from collections.abc import Iterable
from pathlib import Path

import numpy as np

from support.arrays import Pixels

IMPLICIT, EXPLICIT = "1.2.840.10008.1.2", "1.2.840.10008.1.2.1"
DEFLATED, BIG_ENDIAN = "1.2.840.10008.1.2.1.99", "1.2.840.10008.1.2.2"

_LONG = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ", "SV", "UC", "UN", "UR", "UT", "UV"}

#: An element: its tag, its type and its value.
Element = tuple[int, str, bytes]


def element(tag: int, kind: str, value: bytes, syntax: str = EXPLICIT) -> bytes:
    order = ">" if syntax == BIG_ENDIAN else "<"
    value += (b"\0" if kind in ("UI", "OB", "UN") else b" ") * (len(value) % 2)
    begin = struct.pack(order + "HH", tag >> 16, tag & 0xFFFF)
    if syntax == IMPLICIT:
        return begin + struct.pack("<I", len(value)) + value
    if kind in _LONG:
        return begin + kind.encode() + struct.pack(order + "HI", 0, len(value)) + value
    return begin + kind.encode() + struct.pack(order + "H", len(value)) + value


def words(*values: int, syntax: str = EXPLICIT) -> bytes:
    return struct.pack((">" if syntax == BIG_ENDIAN else "<") + f"{len(values)}H", *values)


def file_of(elements: Iterable[Element], syntax: str = EXPLICIT) -> bytes:
    """A file of these elements; the last one given for a tag counts."""
    head = b"".join(element(*each) for each in [
        (0x00020001, "OB", b"\0\1"), (0x00020002, "UI", b"1.2.840.10008.5.1.4.1.1.7"), (0x00020003, "UI", b"1.2.3.4.5"),
        (0x00020010, "UI", syntax.encode()), (0x00020012, "UI", b"1.2.3")])
    written = {tag: element(tag, kind, value, syntax) for tag, kind, value in elements}
    data = b"".join(written[tag] for tag in sorted(written))
    if syntax == DEFLATED:
        packer = zlib.compressobj(9, zlib.DEFLATED, -15)
        data = packer.compress(data) + packer.flush()
        data += bytes(len(data) % 2)
    return bytes(128) + b"DICM" + element(0x00020000, "UL", struct.pack("<I", len(head))) + head + data


def picture(array: Pixels, photometric: str = "MONOCHROME2", stored: int = 0, *, syntax: str = EXPLICIT,
            planar: int = 0, frames: int = 1, allocated: int = 0, raw: bytes | None = None,
            more: Iterable[Element] = ()) -> bytes:
    """A file with the samples of the array, whose first axis counts the frames if there are several."""
    allocated = allocated or array.dtype.itemsize * 8
    stored = stored or allocated
    gray = photometric in ("MONOCHROME1", "MONOCHROME2", "PALETTE COLOR")
    height, width = (array.shape[1:] if frames > 1 else array.shape)[:2]

    def count(*values: int) -> bytes:
        return words(*values, syntax=syntax)

    elements = [
        (0x00080016, "UI", b"1.2.840.10008.5.1.4.1.1.7"), (0x00080018, "UI", b"1.2.3.4.5"), (0x00080060, "CS", b"OT"),
        (0x00100010, "PN", b"Doe^Jane"), (0x0020000D, "UI", b"1.2.3.4"), (0x0020000E, "UI", b"1.2.3.4.6"),
        (0x00280002, "US", count(1 if gray else 3)), (0x00280004, "CS", photometric.encode()),
        (0x00280010, "US", count(height)), (0x00280011, "US", count(width)), (0x00280100, "US", count(allocated)),
        (0x00280101, "US", count(stored)), (0x00280102, "US", count(stored - 1)),
        (0x00280103, "US", count(int(array.dtype.kind == "i")))]
    if not gray:
        elements.append((0x00280006, "US", count(planar)))
    if frames > 1:
        elements.append((0x00280008, "IS", str(frames).encode()))
    if raw is None:
        planes = np.moveaxis(array, -1, -3) if planar else array
        raw = planes.astype(planes.dtype.newbyteorder(">" if syntax == BIG_ENDIAN else "<")).tobytes()
    elements.append((0x7FE00010, "OW" if allocated > 8 or allocated == 1 else "OB", raw))
    return file_of([*elements, *more], syntax)


def palette_elements(colors: Pixels, first: int = 0, bits: int = 16) -> list[Element]:
    """The tables of a palette of 8 or 16 bits; `colors` has a row of three numbers for each entry."""
    tables: list[Element] = []
    for band in range(3):
        tables.append((0x00281101 + band, "US", words(len(colors) % 65536, first % 65536, bits)))
        data = colors[:, band].astype(np.uint8 if bits == 8 else "<u2").tobytes()
        tables.append((0x00281201 + band, "OW", data + bytes(len(data) % 2)))
    return tables


def run(*command: str) -> None:
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    assert done.returncode == 0, (command, done.stderr)


def compressed(path: Path, *command: str) -> Path:
    """The file as one of the programs compresses it."""
    target = path.with_name(path.stem + "-" + "".join(command).replace("-", "").replace("+", "") + ".dcm")
    run(*command, str(path), str(target))
    return target
