"""The tables of pictures and patterns in CMX files with numbers of 16 and of 32 bits, and the parts of picture data."""

from __future__ import annotations

import io
import struct
from collections.abc import Callable, Sequence
from typing import Any

import pytest
from zelmor.imaging import Image
from zelmor.imaging.fileformats.cmx import CmxImage
from zelmor.imaging.fileformats.cmx.objectmodel import CmxObject
from zelmor.imaging.fileformats.cmx.objectmodel.specs import CmxImageSpec

from support.office_files import CMX_END, cast, chunk, cmx, cmx_command, cmx_part, long_cmx, long_length

Table = Callable[[Sequence[int]], bytes]
LONG, SHORT = True, False
PICTURE, ARROW = 0x11, 0x12  # kinds of embedded things
MATRIX = struct.pack("<H6d", 2, 1, 2, 3, 4, 508000, 1016000)


def lengths(long: bool, *inches: float) -> bytes:
    return b"".join(long_length(each) if long else struct.pack("<h", round(each * 1000)) for each in inches)


def parts(long: bool, *data: bytes) -> bytes:
    return b"".join(cmx_part(number, each) for number, each in enumerate(data, 1)) + CMX_END if long else b"".join(data)


def image_command(long: bool, number: int) -> bytes:
    box = lengths(long, -0.5, -0.25, 0.5, 0.25, 0, 0, 0.1, 0.05)
    return cmx_command(69, parts(long, b"\0", box + MATRIX + struct.pack("<HH", 5, number)))


def tiled_command(long: bool, number: int) -> bytes:
    """A rectangle with a pattern of two colors."""
    if long:
        tiles = struct.pack("<H", number) + parts(LONG, struct.pack("<ii4H", 254000, 127000, 25, 50, 75, 0))
        fill = parts(LONG, struct.pack("<H", 7) + parts(LONG, tiles + struct.pack("<3H", 1, 2, 0)))
    else:
        fill = struct.pack("<H7H3H", 7, number, 500, 250, 25, 50, 75, 0, 1, 2, 0)
    angle = bytes(4 if long else 2)
    return cmx_command(68, parts(long, b"\1" + fill, lengths(long, 0.25, 0, 0.5, 0.75, 0) + angle))


def information(long: bool, kind: int, compression: int, size: int, packed: int) -> bytes:
    return chunk(b"info", parts(long, struct.pack("<HHII", kind, compression, size, packed)))


def simple(text: bytes) -> Callable[[bool], bytes]:
    """The chunks of a picture whose data are some bytes."""
    return lambda long: information(long, 1, 0, len(text), len(text)) + chunk(b"data", text)


PICTURES = [simple(b"first"), simple(b"the second")]


def shapes_of(long: bool, shapes: bytes, name: bytes, table: Table, pictures: Sequence[Any]) -> list[Any]:
    """The shapes of a file with pictures and a table, which is made for their places in the file."""
    lists = [(b"LIST", b"imag" + each(long)) for each in pictures]
    make: Any = long_cmx if long else cmx
    shapes += cmx_command(68, parts(long, b"\0", lengths(long, 0, 0, 0.25, 0.25, 0) + bytes(4 if long else 2)))
    laid_out = make(shapes, tables=lists)
    places, at = [], 0
    for each in lists:
        at = laid_out.index(chunk(*each), at)
        places.append(at)
        at += 1
    # Short files have empty tables of the same names behind it, which take nothing away.
    file = make(shapes, tables=[*lists, (name, table(places))])
    document = cast(CmxImage, Image.load(io.BytesIO(file))).document
    return [cast(CmxObject, each) for each in document.pages[0].layers[0].elements][:-1]


def embedded(long: bool, table: Table, count: int, pictures: Sequence[Any] = PICTURES) -> list[Any]:
    """The picture of each number from 1, or none."""
    shapes = shapes_of(long, b"".join(image_command(long, number) for number in range(1, count + 1)), b"ixef", table,
                       pictures)
    specs = [cast(CmxImageSpec, shape.object_spec) for shape in shapes]
    assert len(specs) == count
    return [next(iter(spec.images), None) for spec in specs]


def patterns(long: bool, table: Table, count: int) -> list[Any]:
    shapes = shapes_of(long, b"".join(tiled_command(long, number) for number in range(1, count + 1)), b"ixtl", table,
                       PICTURES)
    assert len(shapes) == count
    return [next(iter(shape.fill_style.image_fill.images), None) for shape in shapes]


def data_of(pictures: Sequence[Any]) -> list[bytes | None]:
    return [None if each is None else bytes(each.raw_data) for each in pictures]


def entry(long: bool, place: int, kind: int = PICTURE, more: int = 0) -> bytes:
    """Of the table of embedded things; in long files with its size, and with bytes that mean nothing."""
    return (struct.pack("<H", 6 + more) if long else b"") + struct.pack("<IH", place, kind) + b"\1" * more


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_embedded_pictures_have_the_numbers_of_their_entries(long: bool) -> None:
    def table(places: Sequence[int]) -> bytes:
        return struct.pack("<H", 5) + b"".join((
            entry(long, places[1]), entry(long, places[0], ARROW), entry(long, places[0] + 1), entry(long, places[0]),
            entry(long, places[1]), entry(long, places[0])))  # the last is beyond the count

    assert data_of(embedded(long, table, 6)) == [b"the second", None, None, b"first", b"the second", None]


def test_entries_of_long_files_may_be_longer() -> None:
    def table(places: Sequence[int]) -> bytes:
        return struct.pack("<H", 3) + entry(LONG, places[0], more=3) + entry(LONG, places[1], more=8) + entry(
            LONG, places[0])

    assert data_of(embedded(LONG, table, 3)) == [b"first", b"the second", b"first"]


@pytest.mark.parametrize("size", [0, 5])
def test_an_entry_that_is_too_short_ends_the_table(size: int) -> None:
    def table(places: Sequence[int]) -> bytes:
        odd = struct.pack("<H", size) + struct.pack("<IH", places[1], PICTURE)
        return struct.pack("<H", 3) + entry(LONG, places[0]) + odd + entry(LONG, places[1])

    assert data_of(embedded(LONG, table, 3)) == [b"first", None, None]


@pytest.mark.parametrize("long", [SHORT, LONG])
@pytest.mark.parametrize("missing", [0, 3])
def test_a_table_of_pictures_that_is_cut(long: bool, missing: int) -> None:
    def table(places: Sequence[int]) -> bytes:
        whole = struct.pack("<H", 999) + entry(long, places[0]) + entry(long, places[1])
        return whole[:len(whole) - missing]

    assert data_of(embedded(long, table, 3)) == [b"first", None if missing else b"the second", None]


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_patterns_have_the_numbers_of_their_places(long: bool) -> None:
    def table(places: Sequence[int]) -> bytes:
        numbers = (places[1], 7, places[0], places[0], places[1])  # the last is beyond the count
        return struct.pack("<HHH" if long else "<HH", *((4, 4, 5) if long else (4, 5))) + struct.pack("<5I", *numbers)

    assert data_of(patterns(long, table, 5)) == [b"the second", None, b"first", b"first", None]


@pytest.mark.parametrize(("size", "kind", "known"), [(4, 5, True), (5, 5, True), (9, 5, True), (3, 5, False),
                                                     (0, 5, False), (4, 4, False), (4, 6, False)])
def test_sizes_and_kinds_of_tables_of_patterns(size: int, kind: int, known: bool) -> None:
    """Tables of the same name have other kinds of things too. What is left of a place has no meaning."""
    def table(places: Sequence[int]) -> bytes:
        return struct.pack("<HHH", 2, size, kind) + b"".join(struct.pack("<I", place) + b"\1" * (size - 4)
                                                             for place in reversed(places))

    expected = [b"the second", b"first"]
    assert data_of(patterns(LONG, table, 2)) == [each if known else None for each in expected]


@pytest.mark.parametrize("kind", [4, 6])
def test_tables_of_other_things_in_short_files(kind: int) -> None:
    assert data_of(patterns(SHORT, lambda places: struct.pack("<HHII", 2, kind, *places), 2)) == [None, None]


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_a_table_of_patterns_that_is_cut(long: bool) -> None:
    def table(places: Sequence[int]) -> bytes:
        head = struct.pack("<HHH", 9, 4, 5) if long else struct.pack("<HH", 9, 5)
        return head + struct.pack("<II", places[1], places[0])[:7]

    assert data_of(patterns(long, table, 2)) == [b"the second", None]


def single(long: bool, chunks: bytes) -> Any:
    picture, = embedded(long, lambda places: struct.pack("<H", 1) + entry(long, places[0]), 1, [lambda _: chunks])
    return picture


@pytest.mark.parametrize("long", [SHORT, LONG])
def test_what_a_picture_says_of_its_data(long: bool) -> None:
    picture = single(long, information(long, 3, 2, 0x12345, 0x678) + chunk(b"data", b"abcde"))
    assert (picture.type, picture.compression, picture.size, picture.compressed_size) == (3, 2, 0x12345, 0x678)
    assert bytes(picture.raw_data) == b"abcde"
    without = single(long, information(long, 3, 2, 7, 5))
    assert (without.type, without.size, bytes(without.raw_data or b"")) == (3, 7, b"")
    unknown = single(long, chunk(b"data", b"abcde"))
    assert (unknown.type, unknown.size, bytes(unknown.raw_data)) == (0, 0, b"abcde")


def tagged(number: int, data: bytes) -> bytes:
    return cmx_part(number, data, "<I")


END = tagged(255, b"")


@pytest.mark.parametrize(("data", "expected"), [
    (tagged(2, b"abcdef"), b"abcdef"), (tagged(2, b"a"), b"a"), (tagged(2, b""), b""),
    (tagged(1, b"before") + tagged(2, b"abc") + tagged(3, b"behind"), b"abc"),
    (tagged(1, b"") + tagged(2, b"abc") + END + tagged(2, b"behind the end"), b"abc"),
    (END + tagged(2, b"abc"), b""), (tagged(2, b"x" * 70000), b"x" * 70000), (tagged(1, b"other alone"), b""),
    (b"", b"")],
    ids=lambda value: value[:20].hex())
def test_tagged_data_of_long_files(data: bytes, expected: bytes) -> None:
    """Data of kind 16 are in parts with sizes of 32 bits, which count their heads."""
    size = len(data)
    picture = single(LONG, information(LONG, 16, 0, size, size) + chunk(b"data", data + END))
    assert bytes(picture.raw_data or b"") == expected and picture.type == 16


@pytest.mark.parametrize(("long", "kind"), [(SHORT, 16), (LONG, 15), (LONG, 17)])
def test_data_of_other_kinds_have_no_parts(long: bool, kind: int) -> None:
    data = tagged(2, b"abcdef")
    assert bytes(single(long, information(long, kind, 0, 1, 1) + chunk(b"data", data)).raw_data) == data


@pytest.mark.parametrize("tag", [LONG, SHORT])
def test_bmp_files_in_long_files(tag: bool) -> None:
    """Their numbers have widths of their own; what is between the table of colors and the pixels is part of it."""
    colors, rows = bytes(range(11, 19)), b"\xaa\1\2\3\x55\4\5\6"
    file = b"BM" + struct.pack("<III", 62 + len(rows), 0, 62) + struct.pack("<IiiHH24x", 40, 7, 2, 1, 1) + colors + rows
    data = tagged(2, file) + END if tag else file
    picture = single(LONG, information(LONG, 16 if tag else 1, 0, 9, 9) + chunk(b"data", data))
    assert (picture.width, picture.height, picture.bits_per_pixel, picture.bytes_per_line) == (7, 2, 1, 4)
    assert bytes(picture.color_palette) == colors and bytes(picture.raw_data) == rows


def test_the_place_of_a_picture_in_a_long_file() -> None:
    shape, = shapes_of(LONG, image_command(LONG, 1), b"ixef",
                       lambda places: struct.pack("<H", 1) + entry(LONG, places[0]), PICTURES)
    spec = cast(CmxImageSpec, shape.object_spec)
    box, crop = spec.bound_box, spec.crop_box
    assert (box.x, box.width, spec.image_type) == (-0.5, 1, 5)
    assert (crop.x, round(crop.width, 6), round(crop.height, 6)) == (0, 0.1, 0.05)
    assert list(spec.matrix.elements) == [1, 2, 3, 4, 2, 4]
