"""Whole metafiles: what is wrong with damaged ones, and the sums in the headers of those that were changed."""

from __future__ import annotations

import io
import struct
from typing import Any

import pytest
from zelmor.imaging import Image, Point
from zelmor.imaging.fileformats.emf import EmfImage
from zelmor.imaging.fileformats.emf.emf.records import EmfMoveToEx
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.fileformats.wmf.objects import WmfMoveTo

from support.image_oracles import managed_error
from support.metafiles import brush, emf, emf_record, pen, wmf, wmf_brush, wmf_pen, wmf_record, words

EARLY = "the file ends before its last record"
BEGIN = len(wmf()) - 6  # where the records of a WMF begin
PLAIN = wmf(wmf_record(0x0102, 1), placeable=False)


@pytest.mark.parametrize(("file", "text"), [
    (emf()[:88], f"Record 2: {EARLY}"), (emf()[:95], f"Record 2: {EARLY}"),
    (emf()[:96], "Record 2: it has 20 bytes where there are 8"),
    (emf()[:107], "Record 2: it has 20 bytes where there are 19"),
    (emf(struct.pack("<II", 27, 7)), "Record 2: it has 7 bytes where there are 28"),
    (emf(brush(1, 0))[:-20], f"Record 4: {EARLY}"),
    (PLAIN[:18], f"Record 1: {EARLY}"), (PLAIN[:23], f"Record 1: {EARLY}"),
    (PLAIN[:24], "Record 1: it has 8 bytes where there are 6"),
    (PLAIN[:25], "Record 1: it has 8 bytes where there are 7"),
    (PLAIN[:26], f"Record 2: {EARLY}"), (PLAIN[:31], f"Record 2: {EARLY}"),
    (wmf(struct.pack("<IH", 2, 0x0102)), "Record 1: it has 4 bytes where there are 12"),
    (wmf()[:BEGIN], f"Record 1: {EARLY}"), (wmf()[:BEGIN - 1], "the WMF data has no complete header")],
    ids=lambda value: str(len(value)) if isinstance(value, bytes) else "")
def test_what_is_wrong_with_a_file(file: bytes, text: str) -> None:
    with managed_error("ImageLoadException", f"{text}."):
        Image.load(io.BytesIO(file))


def moved(kind: Any, image: Any, index: int) -> bytes:
    """The file after a change of a record."""
    record = kind._cast_to(image.records[index]).value
    assert record is not None
    if kind is EmfMoveToEx:
        record.offset = Point(11, 12)
    else:
        record.point = Point(11, 12)
    target = io.BytesIO()
    image.save(target)
    return target.getvalue()


@pytest.mark.parametrize(("objects", "handles"), [
    (b"", 1), (brush(5, 0), 6), (brush(5, 0) + pen(8, 0), 9), (pen(9, 0) + brush(3, 0), 10)])
def test_sums_of_a_changed_emf(objects: bytes, handles: int) -> None:
    """Bytes, records, and one more than the largest handle. What lies behind the last record stays there."""
    file = emf(emf_record(27, words(1, 2)), objects) + b"behind"
    out = moved(EmfMoveToEx, EmfImage._cast_to(Image.load(io.BytesIO(file))).value, 1)
    count = 3 + (2 * (1 if handles == 6 else 2) if objects else 0)
    expected = bytearray(file.replace(words(27, 16, 1, 2), words(27, 16, 11, 12)))
    expected[48:58] = struct.pack("<IIH", len(file) - 6, count, handles)
    assert out == bytes(expected)


def delete(index: int) -> bytes:
    return wmf_record(0x01F0, index)


@pytest.mark.parametrize(("objects", "count"), [
    ([], 0), ([wmf_brush(1), wmf_pen(2)], 2), ([wmf_brush(1), delete(0), wmf_pen(2)], 1),
    ([wmf_brush(1), wmf_pen(2), delete(0), wmf_pen(3), wmf_pen(4)], 3),
    ([wmf_brush(1), wmf_pen(2), delete(2), wmf_pen(3)], 3), ([wmf_brush(1), delete(9), wmf_pen(3)], 2),
    ([wmf_brush(1), wmf_pen(2), delete(1), delete(0), wmf_pen(3), wmf_pen(4)], 2)])
def test_sums_of_a_changed_wmf(objects: list[bytes], count: int) -> None:
    """Words of all records and of the largest one, and how many objects there are at once: a new one takes the first
    free place, and places that were never taken are none."""
    long = wmf_record(0x0324, 5, *range(10))
    file = wmf(wmf_record(0x0214, 2, 1), long, *objects) + b"behind"
    out = moved(WmfMoveTo, WmfImage._cast_to(Image.load(io.BytesIO(file))).value, 0)
    expected = bytearray(file.replace(wmf_record(0x0214, 2, 1), wmf_record(0x0214, 12, 11)))
    expected[28:38] = struct.pack("<IHI", (len(file) - 22 - 6) // 2, count, len(long) // 2)
    assert out == bytes(expected)
