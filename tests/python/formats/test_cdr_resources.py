"""Every number of fills, lines, pictures and patterns in CDR files, in the layouts of several versions.

Bytes that mean nothing are not zero here, so that a number that is read at another place is another one."""

from __future__ import annotations

import itertools
import struct
from typing import Any

import pytest
from zelmor.imaging.fileformats.cdr.objects import (CdrArrow, CdrBmp, CdrFill, CdrFillTransform, CdrOutline, CdrPattern,
                                                    CdrPpdt)

from support.cdr_documents import objects_of
from support.office_files import cdr, cdr_shape, chunk, long_length

SHORT_VERSIONS, LONG_VERSIONS = (600, 700, 800, 900, 1200), (1300, 1400, 1500)
NO_PALETTE = 0x1E  # a model of colors


def gap(count: int) -> bytes:
    return bytes(0x91 + index % 64 for index in range(count))


def color(value: int, model: int = 5) -> bytes:
    return struct.pack("<H", model) + (b"" if model == NO_PALETTE else gap(6)) + struct.pack("<I", value)


def facts(made: Any) -> tuple[int, int]:
    return int(made.color_model), made.color_value


def of_chunks(kind: Any, version: int, *chunks: bytes) -> list[Any]:
    """The objects of a class that come from chunks, behind those which every file has."""
    file = cdr(cdr_shape(2, bytes(20), 0, 0, 1, version=version), more=b"".join(chunks), version=version)
    return objects_of(file, kind)[-len(chunks):]


def only(kind: Any, data: bytes, version: int) -> Any:
    return of_chunks(kind, version, data)[0]


# ---- Fills


@pytest.mark.parametrize("version", [600, 1200, 1300, 1500])
def test_fills_of_a_color(version: int) -> None:
    long = version >= 1300
    data = struct.pack("<I", 77) + gap(8 if long else 0) + struct.pack("<H", 1) + gap(13 if long else 2)
    models = (5, 2, NO_PALETTE)
    fills = of_chunks(CdrFill, version, *(chunk(b"fild", data + color(0x12345678, model) + gap(30))
                                          for model in models))
    for model, fill in zip(models, fills, strict=True):
        assert (fill.id, int(fill.fill_type), facts(fill.color1)) == (77, 1, (model, 0x12345678))


@pytest.mark.parametrize("version", [*SHORT_VERSIONS, *LONG_VERSIONS])
def test_every_number_of_a_gradient(version: int) -> None:
    long = version >= 1300
    numbers = struct.pack("<iii", 30_000_000, -11, 12)  # angle and center
    # Of the mode a byte counts, and of numbers of colors and of places two.
    tail = gap(2) + struct.pack("<IB", 0x4502, 35) + gap(1) + struct.pack("<I", 0x70003)
    stops = [(0x11223344, 0), (0x21223344, 45), (0x31223344, 100)]
    if long:
        data = struct.pack("<I8sH8sB17sh", 3, gap(8), 2, gap(8), 4, gap(17), -10) + numbers + tail + gap(3)
        between, behind = gap(26 if version >= 1500 else 5), gap(3)
    else:
        data = struct.pack("<IH2sB19si", 3, 2, gap(2), 4, gap(19), -10) + numbers + tail
        between = behind = b""
    data += b"".join(color(value) + between + struct.pack("<I", 0x50000 | at) + behind for value, at in stops)
    # The library that draws reads longer stops of version 14 in some of its releases.
    fill = only(CdrFill, chunk(b"fild", data + gap(80)), version)
    gradient = fill.gradient
    assert (fill.id, gradient.type, gradient.edge_offset, gradient.angle) == (3, 4, -10, 30)
    assert (gradient.center_x_offset, gradient.center_y_offset, gradient.mode) == (-11, 12, 2)
    assert gradient.mid_point == pytest.approx(0.35)
    found = [(facts(stop.color), round(stop.offset, 6)) for stop in gradient.stops]
    assert found == [((5, value), at / 100) for value, at in stops]
    assert (facts(fill.color1), facts(fill.color2)) == ((5, 0x11223344), (5, 0x31223344))


@pytest.mark.parametrize("version", [600, 800, 900, 1200])
def test_tiles(version: int) -> None:
    """Sizes are lengths, or in older files hundredths of the shape; newer ones have no offsets."""
    offsets = version < 900
    places = struct.pack("<HH", 25, 50) if offsets else gap(4)

    def data(kind: int, flags: int) -> bytes:
        head = struct.pack("<IH2sIii4sHB", 3, kind, gap(2), 55, 508000, 127000, places, 75, flags)
        colors = gap(1) + color(0x1234567) + color(0x2345678)
        return head + (colors if kind == 7 else gap(21) + struct.pack("<I", 66)) + gap(20)
    cases = list(itertools.product((7, 9, 10, 11), (0, 4, 0xFB, 0xFF)))
    fills = of_chunks(CdrFill, version, *(chunk(b"fild", data(*case)) for case in cases))
    for (kind, flags), fill in zip(cases, fills, strict=True):
        image = fill.image_fill
        relative = offsets and flags & 4 != 0
        assert (image.flags, image.is_relative, image.id) == (flags, relative, 55 if kind == 7 else 66)
        assert (image.width, image.height) == pytest.approx((5080, 1270) if relative else (2, 0.5))
        assert (image.x_offset, image.y_offset, image.rcp_offset) == ((0.25, 0.5, 0.75) if offsets else (0, 0, 0.75))
        if kind == 7:
            assert (facts(fill.color1), facts(fill.color2)) == ((5, 0x1234567), (5, 0x2345678))


@pytest.mark.parametrize("version", LONG_VERSIONS)
def test_patterns_of_the_later_versions(version: int) -> None:
    data = struct.pack("<I8sH8sI", 3, gap(8), 7, gap(8), 55) + struct.pack("<ii4sHB", 508000, 127000, gap(4), 75, 4)
    data += gap(6) + color(0x1234567) + gap(10) + color(0x2345678) + gap(20)
    fill = only(CdrFill, chunk(b"fild", data), version)
    image = fill.image_fill
    assert (fill.id, image.id, image.width, image.height, image.rcp_offset) == (3, 55, 2, 0.5, 0.75)
    assert (image.flags, image.is_relative, image.x_offset, image.y_offset) == (4, False, 0, 0)
    assert (facts(fill.color1), facts(fill.color2)) == ((5, 0x1234567), (5, 0x2345678))


SIZED, FIXED = struct.pack("<II7s", 0x640, 7, gap(7)), struct.pack("<I4s", 0x514, gap(4))


OPTIONAL = (b"", SIZED, FIXED, SIZED + FIXED, FIXED + SIZED, SIZED + SIZED + FIXED, struct.pack("<II", 0x640, 0))


def test_parts_before_the_tiles_of_a_picture() -> None:
    def data(optional: bytes) -> bytes:
        head = struct.pack("<I8sH", 3, gap(8), 9) + optional + struct.pack("<ii4sHB", 508000, 127000, gap(4), 75, 1)
        return head + gap(17) + struct.pack("<I", 66) + gap(20)
    for fill in of_chunks(CdrFill, 1300, *(chunk(b"fild", data(optional)) for optional in OPTIONAL)):
        image = fill.image_fill
        assert (image.id, image.width, image.height, image.rcp_offset, image.flags) == (66, 2, 0.5, 0.75, 1)


# ---- Lines


def line(long: bool, dashes: int) -> bytes:
    data = struct.pack("<HHH", 2, 1, 3) + gap(0 if long else 2) + long_length(0.25) + struct.pack("<H", 150) + gap(2)
    data += struct.pack("<i", -45_000_000) + gap(46 if long else 52) + color(0x1234567) + gap(16)
    return data + struct.pack("<H11HII", dashes, *range(21, 32), 66, 77)


@pytest.mark.parametrize("version", [600, 1200, 1300, 1500])
def test_every_number_of_a_line(version: int) -> None:
    """There is room for eleven lengths of dashes. In later files the numbers are in the first of numbered parts."""
    long = version >= 1300
    size = len(line(long, 0))
    before = struct.pack("<II5sII", 7, 5, gap(5), 3, 0) + struct.pack("<II", 1, size) if long else b""
    counts = (0, 1, 10, 11, 12, 999)
    lines = of_chunks(CdrOutline, version, *(chunk(b"outl", struct.pack("<I", 88) + before + line(long, count))
                                             for count in counts))
    for count, found in zip(counts, lines, strict=True):
        assert (found.id, int(found.line_type), int(found.caps_type), int(found.join_type)) == (88, 2, 1, 3)
        assert (found.line_width, found.stretch, found.aangle) == (0.25, 1.5, -45)
        assert facts(found.color) == (5, 0x1234567)
        assert list(found.dash_array) == list(range(21, 32))[:count]
        assert (found.start_marker_id, found.end_marker_id) == (66, 77)


# ---- Pictures and shapes of others


@pytest.mark.parametrize("version", [600, 700, 1300])
def test_pictures(version: int) -> None:
    """Those of gray, of black and white, and of true colors have no table."""
    cases = ((3, 8, True), (1, 23, True), (5, 8, False), (6, 1, False), (1, 24, False), (4, 8, True), (7, 8, True))
    colors, rows = bytes(range(50, 59)), bytes(range(16))

    def data(model: int, bits: int, indexed: bool) -> bytes:
        head = struct.pack("<I", 9) + gap(46 if version < 700 else 50) + struct.pack("<I", model) + gap(4)
        head += struct.pack("<II4sIII", 4, 2, gap(4), bits, 8, len(rows)) + gap(32)
        return head + (gap(2) + struct.pack("<H", 3) + colors if indexed else b"") + rows + b"more"
    pictures = of_chunks(CdrBmp, version, *(chunk(b"bmp ", data(*case)) for case in cases))
    for (model, bits, indexed), found in zip(cases, pictures, strict=True):
        assert (found.id, found.color_model, found.width, found.height) == (9, model, 4, 2)
        assert (found.bits_per_pixel, found.bytes_per_line, found.image_size) == (bits, 8, 16)
        assert bytes(found.color_palette or b"") == (colors if indexed else b"") and bytes(found.data) == rows


@pytest.mark.parametrize(("header", "known"), [(40, True), (39, False), (41, False), (12, False)])
def test_patterns_have_a_header_of_forty_bytes(header: int, known: bool) -> None:
    data = struct.pack("<IIII2sH4sI", 9, header, 16, 3, gap(2), 1, gap(4), 12) + gap(16 + 8)
    data += bytes(range(12)) + b"more"
    found = only(CdrPattern, chunk(b"bmpf", data), 600)
    facts_of = (found.width, found.height, found.bits_per_pixel, found.data_size, bytes(found.data or b""))
    assert found.id == 9 and facts_of == ((16, 3, 1, 12, bytes(range(12))) if known else (0, 0, 0, 0, b""))


@pytest.mark.parametrize("missing", [0, 1])
def test_arrows_and_splines_have_all_points_or_none(missing: int) -> None:
    places = [(1, 0.5), (-0.25, 2), (3, -4)]
    points = b"".join(long_length(x) + long_length(y) for x, y in places)
    arrow_data = struct.pack("<I4sH4s", 9, gap(4), 3, gap(4)) + b"\0\x40\x48" + gap(1) + points
    arrow = only(CdrArrow, chunk(b"arrw", arrow_data[:len(arrow_data) - missing]), 600)
    spline_data = struct.pack("<H4s", 3, gap(4)) + points + struct.pack("<III", 7, 0x80000001, 5)
    spline = only(CdrPpdt, chunk(b"ppdt", spline_data[:len(spline_data) - missing]), 600)
    assert arrow.id == 9 and bytes(arrow.point_types or b"") == (b"" if missing else b"\0\x40\x48")
    for found in (arrow, spline):
        assert [(point.x, point.y) for point in found.points or []] == ([] if missing else places)
    assert list(spline.knot_vector or []) == ([] if missing else [7, 0x80000001, 5])


def test_the_transform_of_a_fill() -> None:
    data = struct.pack("<6d", 1, 2, 254000, 3, 4, 508000)
    assert list(only(CdrFillTransform, chunk(b"ftil", data), 600).transform.elements) == [1, 3, 2, 4, 1, 2]
