"""Every number of the objects in a CMX document, in files with numbers of 16 and of 32 bits."""

from __future__ import annotations

import io
import struct
from typing import Any

import pytest
from zelmor.imaging import Image
from zelmor.imaging.fileformats.cmx import CmxImage
from zelmor.imaging.fileformats.cmx.objectmodel import CmxGroup, CmxObject
from zelmor.imaging.fileformats.cmx.objectmodel.enums import FillTypes, LineTypes, PathJumpTypes
from zelmor.imaging.fileformats.cmx.objectmodel.specs import (CmxEllipseSpec, CmxImageSpec, CmxPathSpec,
                                                              CmxRectangleSpec)

from support.office_files import CMX_END, cast, cmx, cmx_command, cmx_part, cmx_rectangle, long_cmx, long_length

LONG, SHORT = True, False


def lengths(long: bool, *inches: float) -> bytes:
    return b"".join(long_length(each) if long else struct.pack("<h", round(each * 1000)) for each in inches)


def angle(long: bool, degrees: float) -> bytes:
    return struct.pack("<i", round(degrees * 1e6)) if long else struct.pack("<h", round(degrees * 10))


def part(long: bool, number: int, data: bytes) -> bytes:
    return cmx_part(number, data) if long else data


def end(long: bool) -> bytes:
    return CMX_END if long else b""


def uniform(long: bool, color: int = 1) -> bytes:
    """The attributes of a shape that is filled with a color."""
    if long:
        return b"\1" + cmx_part(1, struct.pack("<H", 1) + cmx_part(1, struct.pack("<HH", color, 1)) + CMX_END) + CMX_END
    return struct.pack("<BHHH", 1, 1, color, 1)


def shape(long: bool, code: int, data: bytes, attributes: bytes | None = None) -> bytes:
    attributes = uniform(long) if attributes is None else attributes
    return cmx_command(code, part(long, 1, attributes) + part(long, 2, data) + end(long))


def document(long: bool, shapes: bytes, tables: Any = (), **more: Any) -> Any:
    # The library that draws refuses a page without any shape; this one comes last.
    drawn = shape(long, 68, lengths(long, 0, 0, 0.25, 0.25, 0) + angle(long, 0))
    data = long_cmx(shapes + drawn, tables=tables, **more) if long else cmx(shapes + drawn, tables=tables, **more)
    return cast(CmxImage, Image.load(io.BytesIO(data))).document


def elements(long: bool, shapes: bytes, tables: Any = (), **more: Any) -> list[Any]:
    return list(document(long, shapes, tables, **more).pages[0].layers[0].elements)


def first(long: bool, shapes: bytes, tables: Any = (), **more: Any) -> Any:
    return cast(CmxObject, elements(long, shapes, tables, **more)[0])


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_ellipses(long: bool) -> None:
    for pie in (0, 1):
        data = lengths(long, 0.5, -0.25, 1.5, 0.75) + angle(long, 30) + angle(long, -120.5) + angle(long, 45)
        spec = cast(CmxEllipseSpec, first(long, shape(long, 66, data + struct.pack("<H", pie))).object_spec)
        assert (spec.center_x, spec.center_y, spec.diameter_x, spec.diameter_y) == (0.5, -0.25, 1.5, 0.75)
        assert (spec.angle1, spec.angle2, spec.rotation, spec.pie) == (30, -120.5, 45, bool(pie))


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_rectangles(long: bool) -> None:
    data = lengths(long, 0.5, -0.25, 1.5, 0.75, 0.125) + angle(long, 60.5)
    spec = cast(CmxRectangleSpec, first(long, shape(long, 68, data)).object_spec)
    assert (spec.center_x, spec.center_y, spec.width, spec.height, spec.radius, spec.angle) == (
        0.5, -0.25, 1.5, 0.75, 0.125, 60.5)


JUMPS = [(0x00, PathJumpTypes.MOVE_TO, False), (0x40, PathJumpTypes.LINE_TO, False),
         (0xC0, PathJumpTypes.BEZIER_SUPPORT, False), (0xF7, PathJumpTypes.BEZIER_SUPPORT, False),
         (0x80, PathJumpTypes.BEZIER_TO, False), (0x48, PathJumpTypes.LINE_TO, True)]


@pytest.mark.parametrize("missing", [0, 1])
@pytest.mark.parametrize("long", [SHORT, LONG])
def test_curves(long: bool, missing: int) -> None:
    """Places and how the path comes there; none of them if one is missing."""
    places = [(0.125 * i, 0.5 - 0.25 * i) for i in range(6)]
    data = struct.pack("<H", 6 + missing) + b"".join(lengths(long, *place) for place in places)
    data += bytes(jump for jump, _, _ in JUMPS)
    spec = cast(CmxPathSpec, first(long, shape(long, 67, data)).object_spec)
    found = [(point.x, point.y, point.jump_type, point.is_closed_path) for point in spec.points or []]
    expected = [(x, y, kind, closed) for (x, y), (_, kind, closed) in zip(places, JUMPS, strict=True)]
    assert found == ([] if missing else expected)


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_groups_stand_within_each_other(long: bool) -> None:
    def box(*corners: float) -> bytes:
        return part(long, 1, lengths(long, *corners)) + end(long)
    square = shape(long, 68, lengths(long, 0, 0, 0.5, 0.5, 0) + angle(long, 0))
    inside = cmx_command(13, box(0.5, 0.25, -0.5, -0.125)) + square + cmx_command(14)
    found = elements(long, cmx_command(13, box(-1, -0.5, 0.75, 0.5)) + square + inside + square + cmx_command(14))
    outer, alone = found
    outer = cast(CmxGroup, outer)
    assert CmxObject._is_assignable(alone)
    one, inner, two = outer.elements
    inner = cast(CmxGroup, inner)
    assert CmxObject._is_assignable(one) and CmxObject._is_assignable(two) and len(list(inner.elements)) == 1
    assert [(each.x, each.y, each.width, each.height) for each in (outer.bound_box, inner.bound_box)] == [
        (-1, -0.5, 1.75, 1), (-0.5, -0.125, 1, 0.375)]


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_pages_and_layers(long: bool) -> None:
    page = document(long, b"").pages[0]
    box = page.bound_box
    assert (page.page_number, page.flags, page.width, page.height) == (1, 0, 2, 1)
    assert (box.x, box.y, box.width, box.height) == (-1, -0.5, 2, 1)
    layer = page.layers[0]
    assert (layer.name, layer.number, layer.flags, layer.is_visible) == ("lines", 1, 0, True)
    more = struct.pack("<HHIIH", 1, 7, 0x12345, 3, 4) + b"more"
    layers = document(long, cmx_command(12) + cmx_command(11, part(long, 1, more) + end(long))).pages[0].layers
    assert [(each.name, each.number, each.flags) for each in layers] == [("lines", 1, 0), ("more", 7, 0x12345)]
    assert [len(list(each.elements)) for each in layers] == [0, 1]


# ---- Colors and lines


def tables_of(long: bool, name: bytes, *entries: bytes) -> tuple[bytes, bytes]:
    return name, struct.pack("<H", len(entries)) + b"".join(part(long, 1, entry) + end(long) for entry in entries)


#: The bytes of a color in each of the models, the first of which is none.
SIZES = [0, 4, 4, 4, 4, 3, 4, 4, 1, 1, 3, 4]


@pytest.mark.parametrize("model", range(1, 12))
def test_models_of_colors(model: int) -> None:
    """The values are the bytes, the first of them highest."""
    data = struct.pack("<H", 2) + bytes((model, 9)) + bytes(range(1, 1 + SIZES[model])) + bytes((8, 9, 77))
    source = cmx(cmx_rectangle(0, 0, 0.5, 0.5, 1) + cmx_rectangle(0, 0, 0.5, 0.5, 2), colors=[])
    plain = chunk_of(source, b"rclr")
    image = cast(CmxImage, Image.load(io.BytesIO(replaced(source, plain, data))))
    one, two = (cast(CmxObject, each) for each in image.document.pages[0].layers[0].elements)
    value = int.from_bytes(bytes(range(1, 1 + SIZES[model])), "big")
    assert (one.fill_style.color1.color_model, one.fill_style.color1.value & 0xFFFFFFFF) == (model, value)
    assert (two.fill_style.color1.color_model, two.fill_style.color1.value) == (8, 77)


def chunk_of(data: bytes, name: bytes) -> bytes:
    at = data.index(name)
    size, = struct.unpack_from("<I", data, at + 4)
    return data[at:at + 8 + size + (size & 1)]


def replaced(data: bytes, old: bytes, content: bytes) -> bytes:
    """Another content of a chunk, in the room of a longer one that is made before."""
    at = data.index(old)
    new = old[:4] + struct.pack("<I", len(content)) + content + bytes(len(content) & 1)
    shift = len(new) - len(old)
    out = bytearray(data[:at] + new + data[at + len(old):])
    struct.pack_into("<I", out, 4, len(out) - 8)
    # The places of pages and tables, which stand behind: in the header, the list of pages and the master index.
    for name, offsets in ((b"ixpg", [2]), (b"ixmr", [14])):
        place = bytes(out).index(name) + 8
        for offset in offsets:
            number, = struct.unpack_from("<I", out, place + offset)
            struct.pack_into("<I", out, place + offset, number + shift)
    head = bytes(out).index(b"cont") + 8 + 84
    number, = struct.unpack_from("<I", out, head)
    struct.pack_into("<I", out, head, number + shift)
    return bytes(out)


def lined(long: bool, number: int) -> bytes:
    attributes = b"\2" + part(long, 1, struct.pack("<H", number)) + end(long)
    return shape(long, 68, lengths(long, 0, 0, 0.5, 0.5, 0) + angle(long, 0), attributes)


def pen(long: bool, width: float, aspect: int, degrees: float, *matrix: float) -> bytes:
    data = lengths(long, width) + struct.pack("<H", aspect) + angle(long, degrees) + (b"" if long else bytes(2))
    return data + (struct.pack("<H6d", 2, *matrix) if matrix else struct.pack("<H", 1))


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_outlines(long: bool) -> None:
    """The second of each table; a number that no table has leaves what is usual."""
    tables = (
        tables_of(long, b"rotl", struct.pack("<6H", 1, 0, 1, 0, 1, 1), struct.pack("<6H", 2, 0, 2, 0, 2, 2),
                  struct.pack("<6H", 3, 0, 3, 0, 3, 3), struct.pack("<6H", 1, 0, 1, 0, 3, 0)),
        tables_of(long, b"rott", bytes((1, 0x12)), bytes((4, 0x21))),
        tables_of(long, b"rpen", pen(long, 0.1, 100, 10), pen(long, 0.2, 150, 20.5, 2, 0, 0, 4, 0, 0),
                  pen(long, 0.3, 100, 0, 3, 4, 0, 0, 0, 0)),
        tables_of(long, b"rdot", struct.pack("<Hhh", 2, 3, 1), struct.pack("<Hhhh", 3, 5, 1, 2)))

    def outline(number: int) -> Any:
        return first(long, lined(long, number), tables).outline
    one, two, three, four = (outline(number) for number in range(1, 5))
    assert (one.line_type, one.caps_type, one.join_type) == (1, 2, 1) and list(one.stroke) == [3, 1]
    assert (one.line_width, one.stretch, one.angle) == pytest.approx((0.1, 1, 10), abs=1e-6)
    assert (two.line_type, two.caps_type, two.join_type) == (4, 1, 2) and list(two.stroke) == [5, 1, 2]
    assert (two.line_width, two.stretch, two.angle) == pytest.approx((0.2 * 3, 1.5 / 2, 20.5), abs=1e-5)
    assert (one.color.value, two.color.value) == (0xFF0000, 0x0000FF)
    assert (three.line_type, three.line_width, three.color.value) == (LineTypes.SOLID, pytest.approx(0.75, abs=1e-5), 0)
    assert (four.line_width, four.stretch, four.stroke) == (pytest.approx(0.75, abs=1e-5), 1, None)
    for number in (0, 5):
        none = outline(number)
        assert (none.line_type, none.line_width, none.color) == (LineTypes.SOLID, 0, None)


@pytest.mark.parametrize("kind", range(1, 5))
def test_what_stands_behind_a_lens(kind: int) -> None:
    """Each kind has a length of its own."""
    size = [0, 7, 4, 4, 8][kind]
    fill = struct.pack("<BHHH", 5, 1, 1, 1) + bytes([kind]) + bytes(size)
    spec = first(SHORT, shape(SHORT, 68, lengths(SHORT, 0.25, 0, 0.5, 0.75, 0) + bytes(2), fill)).object_spec
    found = cast(CmxRectangleSpec, spec)
    assert (found.center_x, found.width, found.height) == (0.25, 0.5, 0.75)


@pytest.mark.parametrize("attributes", [struct.pack("<BHHHB", 5, 1, 1, 1, 0), struct.pack("<BHHHB", 5, 1, 1, 1, 5),
                                        struct.pack("<BH", 1, 3), struct.pack("<BHHH", 9, 1, 1, 1),
                                        struct.pack("<BHHH", 17, 1, 1, 1)])
def test_behind_attributes_of_an_unknown_length_nothing_is_read(attributes: bytes) -> None:
    data = lengths(SHORT, 0.25, 0, 0.5, 0.75, 0) + bytes(2)
    found = cast(CmxRectangleSpec, first(SHORT, shape(SHORT, 68, data, attributes)).object_spec)
    assert (found.center_x, found.width, found.height) == (0, 0, 0)


def test_kinds_of_fills() -> None:
    for kind, expected in ((0, FillTypes.NO_FILL), (1, FillTypes.UNIFORM), (3, FillTypes.UNKNOWN),
                           (12, FillTypes.UNKNOWN)):
        found = first(SHORT, shape(SHORT, 68, bytes(12), struct.pack("<BHHH", 1, kind, 1, 1)))
        assert found.fill_style.fill_type == expected


@pytest.mark.parametrize("flags", [0, 4, 3, 255])
def test_sizes_of_tiles(flags: int) -> None:
    """In inches, or in hundredths of the shape."""
    tiles = struct.pack("<7H", 1, 500, 250, 25, 50, 75, flags) + struct.pack("<3H", 1, 2, 0)
    attributes = b"\1" + struct.pack("<H", 7) + tiles
    fill = first(SHORT, shape(SHORT, 68, bytes(12), attributes)).fill_style.image_fill
    relative = flags & 4 != 0
    assert fill.is_relative == relative
    assert (fill.pattern_width, fill.pattern_height) == pytest.approx((5, 2.5) if relative else (0.5, 0.25))
    assert (fill.tile_offset_x, fill.tile_offset_y, fill.rcp_offset) == (0.25, 0.5, 0.75)


def test_tiles_of_long_files() -> None:
    tiles = struct.pack("<H", 1) + cmx_part(1, struct.pack("<ii4H", 254000, 127000, 25, 50, 75, 0)) + CMX_END
    for kind, more in ((7, struct.pack("<3H", 1, 2, 0)), (9, bytes(16))):
        attributes = b"\1" + cmx_part(1, struct.pack("<H", kind) + cmx_part(1, tiles + more) + CMX_END) + CMX_END
        style = first(LONG, shape(LONG, 68, lengths(LONG, 0.25, 0, 0.5, 0.75, 0) + bytes(4), attributes)).fill_style
        fill = style.image_fill
        assert (fill.pattern_width, fill.pattern_height, fill.is_relative) == (1, 0.5, False)
        assert (fill.tile_offset_x, fill.tile_offset_y, fill.rcp_offset) == (0.25, 0.5, 0.75)
        if kind == 7:
            assert (style.color1.value, style.color2.value) == (0xFF0000, 0x0000FF)


@pytest.mark.parametrize("size", [-5, 0, 3])
def test_commands_shorter_than_their_head_are_passed_over(size: int) -> None:
    square = cmx_rectangle(0, 0, 0.5, 0.5, 1)
    odd = struct.pack("<hh", size, 99) if size >= 0 else struct.pack("<hih", -1, 8, 99)
    assert len(elements(SHORT, odd + square)) == 2


def test_a_command_with_a_long_size() -> None:
    square = cmx_rectangle(0, 0, 0.5, 0.25, 1)
    long_size = struct.pack("<hi", -1, len(square) + 4) + square[2:]
    found = [cast(CmxRectangleSpec, cast(CmxObject, each).object_spec).height for each in elements(SHORT, long_size)]
    assert found == [0.25, 0.25]


# ---- Pictures

PLACE_OF_PICTURE = struct.pack("<8h", -500, -250, 500, 250, 0, 0, 100, 50) + struct.pack("<H6d", 2, *[1] * 6)


def picture_of(data: bytes) -> Any:
    """The picture of a file that has one."""
    file = cmx(cmx_command(69, b"\0" + PLACE_OF_PICTURE + struct.pack("<HH", 5, 1)), pictures=[data])
    shape, = cast(CmxImage, Image.load(io.BytesIO(file))).document.pages[0].layers[0].elements
    picture, = cast(CmxImageSpec, cast(CmxObject, shape).object_spec).images
    return picture


def bitmap(width: int, height: int, bits: int, colors: bytes, rows: bytes, header: int = 40, gap: bytes = b"") -> bytes:
    """A BMP file."""
    begin = 14 + header + len(colors) + len(gap)
    head = struct.pack("<IiiHH", header, width, height, 1, bits).ljust(header, b"\7")
    return struct.pack("<2sIHHI", b"BM", begin + len(rows), 0, 0, begin) + head + colors + gap + rows


@pytest.mark.parametrize(("width", "bits", "line"), [(3, 1, 4), (32, 1, 4), (33, 1, 8), (3, 4, 4), (9, 4, 8), (4, 8, 4),
                                                     (5, 8, 8), (3, 24, 12), (1, 32, 4)])
@pytest.mark.parametrize("header", [40, 108])
def test_pictures_that_are_bmp_files(width: int, bits: int, line: int, header: int) -> None:
    colors, rows = bytes(range(8)) if bits <= 8 else b"", bytes(range(line * 2))
    picture = picture_of(bitmap(width, 2, bits, colors, rows, header))
    assert (picture.width, picture.height, picture.bits_per_pixel, picture.bytes_per_line) == (width, 2, bits, line)
    assert bytes(picture.color_palette or b"") == colors and bytes(picture.raw_data) == rows


def test_a_bmp_file_with_a_short_header_has_no_facts() -> None:
    """The header of the first version has other numbers."""
    for header, width in ((12, 0), (39, 0), (40, 3)):
        picture = picture_of(bitmap(3, 2, 8, b"", bytes(8), header) if header >= 20 else
                             struct.pack("<2sIHHI", b"BM", 34, 0, 0, 26) + struct.pack("<IHHHH", 12, 3, 2, 1, 8)
                             + bytes(8))
        assert (picture.width, bool(picture.raw_data)) == (width, width > 0)


@pytest.mark.parametrize(("model", "bits", "indexed"), [(3, 8, True), (1, 8, True), (5, 8, False), (6, 1, False),
                                                        (1, 24, False), (2, 32, False), (3, 23, True)])
def test_pictures_in_the_form_of_cdr(model: int, bits: int, indexed: bool) -> None:
    """Those of gray, of black and white, and of true colors have no table."""
    colors, rows = bytes(range(50, 59)), bytes(range(16))
    data = b"RI" + bytes(12)
    data += struct.pack("<I4xII4xIII32x", model, 4, 2, bits, 8, len(rows))
    data += (b"\1\1" + struct.pack("<H", 3) + colors if indexed else b"") + rows + b"more"
    picture = picture_of(data)
    assert (picture.color_model, picture.width, picture.height) == (model, 4, 2)
    assert (picture.bits_per_pixel, picture.bytes_per_line) == (bits, 8)
    assert bytes(picture.color_palette or b"") == (colors if indexed else b"")
    assert bytes(picture.raw_data) == rows


@pytest.mark.parametrize("data", [b"GIF89a", b"Bm12", b"RJ34", b"B", b"MB", b"IR"])
def test_pictures_of_another_form_are_bytes(data: bytes) -> None:
    picture = picture_of(data)
    assert bytes(picture.raw_data) == data
    assert (picture.width, picture.height, picture.type, picture.size) == (0, 0, 1, len(data))
