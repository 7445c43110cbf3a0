"""Every number of the objects in a CDR document, in files of all forms of the chunks.

The layouts are those that are published; what is written here is made from them and nothing else.
"""

from __future__ import annotations

import io
import struct
import zlib
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image
from zelmor.imaging.fileformats.cdr import CdrImage
from zelmor.imaging.fileformats.cdr import objects as cdr_objects
from zelmor.imaging.imageoptions import CdrRasterizationOptions, PngOptions

from support.image_oracles import managed_error
from support.office_files import cast


@dataclass(frozen=True)
class Layout:
    """How a version writes its numbers: 16 bits before the sixth, 32 from there on."""

    version: int

    @property
    def is_long(self) -> bool:
        return self.version >= 600

    def pack(self, form: str, *values: Any) -> bytes:
        return struct.pack("<" + form, *values)

    def lengths(self, *inches: float) -> bytes:
        unit, form = (254000, "i") if self.is_long else (1000, "h")
        return b"".join(self.pack(form, round(each * unit)) for each in inches)

    def angle(self, degrees: float) -> bytes:
        return self.pack("i", round(degrees * 1_000_000)) if self.is_long else self.pack("h", round(degrees * 10))

    def count(self, number: int) -> bytes:
        return self.pack("I" if self.is_long else "H", number)

    def points(self, *points: tuple[float, float], types: bytes = b"") -> bytes:
        return self.count(len(points)) + b"".join(self.lengths(*point) for point in points) + types

    def chunk(self, name: bytes, data: bytes) -> bytes:
        return name + self.pack("I", len(data)) + data + b"\0" * (len(data) & 1)

    def listed(self, kind: bytes, *chunks: bytes) -> bytes:
        return self.chunk(b"LIST", kind + b"".join(chunks))

    def parts(self, kind: int, *parts: tuple[int, bytes]) -> bytes:
        """A record of parts, whose kinds stand in the opposite order."""
        width = 4 if self.is_long else 2
        head = 5 * width
        places, data = [], b""
        for _, content in parts:
            places.append(head + 2 * width * len(parts) + len(data))
            data += content
        numbers = [head + 2 * width * len(parts) + len(data), len(parts), head, head + width * len(parts), kind]
        kinds = [part[0] for part in reversed(parts)]
        return b"".join(map(self.count, [*numbers, *places, *kinds])) + data

    def file(self, *content: bytes, before: bytes = b"") -> bytes:
        """A page of 3 by 2 inches, and what stands on it."""
        gap = 12 if self.version >= 1300 else 4 if self.version >= 900 else 0x1C if 600 <= self.version < 700 else 0
        # The library that draws refuses a file without any shape; this one comes last.
        drawn = self.listed(b"obj ", self.listed(b"lgob", self.chunk(b"loda", self.parts(
            2, (0x1E, self.lengths(0.5, 0.5) + self.angle(0) * 2 + self.count(0))))))
        page = self.listed(b"page", self.chunk(b"flgs", self.pack("I", 0x12000034)),
                           self.listed(b"gobj", self.listed(b"layr", *content, drawn)))
        body = self.chunk(b"vrsn", self.pack("H", self.version))
        body += before + self.chunk(b"mcfg", bytes(gap) + self.lengths(3, 2) + bytes(64)) + page
        letter = f"{self.version // 100:X}".encode()
        return b"RIFF" + self.pack("I", len(body) + 4) + b"CDR" + letter + body


def objects_of(data: bytes) -> list[Any]:
    """Every object of the document, each as one of its own class."""
    found: list[Any] = []

    def walk(items: Any) -> None:
        for item in items:
            name = str(item.get_type()).rpartition(".")[2]
            found.append(cast(getattr(cdr_objects, name), item))
            if hasattr(found[-1], "items"):
                walk(found[-1].items)
    walk(cast(CdrImage, Image.load(io.BytesIO(data))).cdr_document.items)
    return found


def first(data: bytes, kind: str) -> Any:
    return next(each for each in objects_of(data) if type(each).__name__ == kind)


def told(thing: Any, names: Any) -> dict[str, Any]:
    """The properties of these names; points as pairs, and numbers as far as the file has them."""
    def plain(value: Any) -> Any:
        if hasattr(value, "x"):
            return pytest.approx((value.x, value.y), abs=1e-9)
        if isinstance(value, float):
            return pytest.approx(value, abs=1e-9)
        if isinstance(value, (bytes, bytearray, memoryview)):
            return bytes(value)
        return [plain(each) for each in value] if hasattr(value, "__iter__") and not isinstance(value, str) else value
    return {name: plain(getattr(thing, name)) for name in names}


def shaped(layout: Layout, kind: int, coordinates: bytes, *more: tuple[int, bytes]) -> bytes:
    """A file with one shape of fill 11, line 12 and style 13."""
    looks = [(0x14, layout.pack("I", 11)), (0x0A, layout.pack("I", 12)), (0xC8, layout.pack("I", 13))]
    return layout.file(layout.listed(b"obj ", layout.listed(b"lgob", layout.chunk(b"loda", layout.parts(
        kind, *more[:1], (0x1E, coordinates), *looks, *more[1:])))))


LAYOUTS = [Layout(500), Layout(599), Layout(600), Layout(899), Layout(900), Layout(1299), Layout(1300), Layout(1499),
           Layout(1500)]
PATH = [(0.1, 0.2), (-0.3, 0.4), (0.5, -0.6), (0.1, 0.2)]
TYPES = b"\0\x40\x50\x48"


def curve_of(layout: Layout) -> bytes:
    return layout.points(*PATH, types=TYPES)


SHAPES = [
    (2, "CdrEllipse", lambda layout: layout.lengths(-0.5, 0.25) + layout.angle(30) + layout.angle(-90.5)
     + layout.count(1),
     {"center_x": -0.25, "center_y": 0.125, "rx": 0.25, "ry": 0.125, "angle1": 30, "angle2": -90.5, "pie": True}),
    (3, "CdrCurve", curve_of, {"points": PATH, "point_types": TYPES}),
    (4, "CdrArtisticText", lambda layout: layout.lengths(0.75, -1.25), {"origin": (0.75, -1.25)}),
    (6, "CdrParagraph", lambda layout: layout.lengths(9, 8, 1.5, 0.5), {"width": 1.5, "height": 0.5}),
    (0x14, "CdrPolygon", curve_of, {"points": PATH, "point_types": TYPES}),
    (0x25, "CdrPathObject", lambda layout: bytes(4) + curve_of(layout), {"points": PATH, "point_types": TYPES}),
]


@pytest.mark.parametrize("layout", LAYOUTS, ids=str)
@pytest.mark.parametrize(("kind", "name", "coordinates", "expected"), SHAPES, ids=[shape[1] for shape in SHAPES])
def test_every_shape(kind: int, name: str, coordinates: Any, expected: dict[str, Any], layout: Layout) -> None:
    shape = first(shaped(layout, kind, coordinates(layout)), name)
    assert told(shape, expected) == expected
    assert (shape.fill_id, shape.outline_id, shape.style_id) == (11, 12, 13)


@pytest.mark.parametrize("layout", LAYOUTS, ids=str)
def test_the_corners_of_a_rectangle(layout: Layout) -> None:
    """All alike before version 9; each with a kind of its own, and in parts of the side if it says so, since 15."""
    def corners(scaled: int) -> bytes:
        return b"".join(layout.pack("dB15x", 0.125 * (i + 1) * (1 if scaled else 254000), i + 4) for i in range(4))
    sides = {"width": 0.5, "height": -0.25}
    if layout.version < 1500:
        data = layout.lengths(0.5, -0.25, 0.125, *([0.25, 0.375, 0.5] if layout.version >= 900 else []))
        corner = {"r3": 0.125, "r2": 0.25, "r1": 0.375, "r0": 0.5} if layout.version >= 900 else dict.fromkeys(
            ["r0", "r1", "r2", "r3"], 0.125)
        expected = {**sides, **corner, "scale_x": 1, "scale_y": 1, "corner_type": 0}
        shape = first(shaped(layout, 1, data), "CdrRectangle")
        assert told(shape, expected) == expected
        return
    for scaled in (0, 1):
        data = layout.lengths(0.5, -0.25) + layout.pack("ddB7x", 2.5, 0.5, scaled) + corners(scaled)
        shape = first(shaped(layout, 1, data), "CdrRectangle")
        expected = {**sides, "r3": 0.125, "r2": 0.25, "r1": 0.375, "r0": 0.5, "scale_x": 2.5, "scale_y": 0.5,
                    "corner_type": 7}
        assert told(shape, expected) == expected


@pytest.mark.parametrize("layout", [each for each in LAYOUTS if each.is_long], ids=str)
@pytest.mark.parametrize(("one", "two", "next_point"), [(0, 3, 3), (1, 3, 3), (2, 3, 2)])
def test_how_a_polygon_repeats_its_side(layout: Layout, one: int, two: int, next_point: int) -> None:
    before, after = (0, 4) if layout.version >= 1300 else (4, 0)
    numbers = bytes(before) + layout.pack("III", 5, one, two) + bytes(after) + layout.pack("dd", 0.75, 1.25)
    polygon = first(shaped(layout, 0x14, curve_of(layout), (0x2AF8, numbers + layout.lengths(0.5, -0.25))),
                    "CdrPolygonTransform")
    expected = {"num_angles": 5, "next_point": next_point, "rx": 0.75, "ry": 1.25, "cx": 0.5, "cy": -0.25}
    assert told(polygon, expected) == expected


@pytest.mark.parametrize("layout", [Layout(400), Layout(499), *LAYOUTS], ids=str)
def test_where_a_shape_stands(layout: Layout) -> None:
    """Fixed-point numbers before version 5, floating ones since, whose moves are in the unit of lengths."""
    def matrix(*values: float) -> bytes:
        head = bytes(8 if layout.version >= 1300 else 0) + layout.pack("H", 8) + bytes(6 if layout.is_long else 0)
        unit = 254000 if layout.is_long else 1000
        if layout.version >= 500:
            return head + layout.pack("6d", *(each * (unit if i % 3 == 2 else 1) for i, each in enumerate(values)))
        return head + layout.pack("6i", *(round(each * (unit if i % 3 == 2 else 65536))
                                          for i, each in enumerate(values)))
    values = [0.5, -0.25, 1.5, 2, 0.75, -0.5]
    other = bytes(8 if layout.version >= 1300 else 0) + layout.pack("H", 16) + bytes(80)
    data = layout.chunk(b"trfd", layout.parts(8, (1, matrix(*values)), (2, other), (3, matrix(1, 0, 3, 0, 1, 4))))
    moved = first(layout.file(layout.listed(b"trfl", data)), "CdrTransforms")
    assert list(moved.transforms) == pytest.approx([*values, 1, 0, 3, 0, 1, 4])


@pytest.mark.parametrize("beyond", [0, 1])
def test_more_parts_than_a_chunk_has_room_for_are_none(beyond: int) -> None:
    """The library that draws goes on reading in the chunk behind it, where every place lies in the file."""
    layout = Layout(500)
    matrix = layout.pack("H", 8) + layout.pack("6d", 0, 0, 0, 0, 0, 0)
    plain = layout.parts(8, (1, matrix))
    data = plain[:2] + layout.count(len(plain) // 2 + beyond) + plain[4:]
    file = layout.file(layout.chunk(b"trfd", data), layout.chunk(b"udta", bytes(70000)))
    found = list(first(file, "CdrTransforms").transforms or [])
    assert found[:6] == ([] if beyond else [0] * 6)


def test_an_old_drawing_is_where_the_document_says(tmp_path: Path) -> None:
    """The library that draws reads the same places: half an inch to the right of the middle, and a quarter up."""
    layout = Layout(499)
    fill = layout.listed(b"doc ", layout.listed(b"filt", layout.chunk(b"fild", layout.pack(
        "IHHHHHHH", 1, 1, 0, 2, 0, 0, 0, 100) + bytes(20))))
    places = layout.chunk(b"trfd", layout.parts(8, (1, layout.pack("Hiiiiii", 8, 65536, 0, 500, 0, 65536, 250))))
    shape = layout.chunk(b"loda", layout.parts(1, (0x1E, layout.lengths(0.5, 0.25, 0)), (0x14, layout.pack("I", 1))))
    data = layout.file(layout.listed(b"obj ", layout.listed(b"lgob", layout.listed(b"trfl", places), shape)),
                       before=fill)
    assert list(first(data, "CdrTransforms").transforms) == [1, 0, 0.5, 0, 1, 0.25]
    image = Image.load(io.BytesIO(data))
    options, shown = PngOptions(), CdrRasterizationOptions()
    shown.background_color = Color.white
    shown.page_width, shown.page_height = float(image.width), float(image.height)
    options.vector_rasterization_options = shown
    image.save(str(tmp_path / "page.png"), options)
    ink = np.asarray(Pillow.open(tmp_path / "page.png").convert("L")) < 128
    rows, columns = np.flatnonzero(ink.any(axis=1)), np.flatnonzero(ink.any(axis=0))
    assert (columns[0], columns[-1], rows[0], rows[-1]) == (192, 239, 48, 71)


@pytest.mark.parametrize("layout", LAYOUTS, ids=str)
def test_chunks_with_few_numbers(layout: Layout) -> None:
    wide = layout.version >= 1200
    letters = "Sans\0".encode("utf-16-le" if wide else "latin-1")
    data = layout.file(
        layout.chunk(b"DISP", layout.pack("I", 8) + b"DIB"), layout.chunk(b"iccp", b"profile"),
        layout.chunk(b"udta", b"user"), layout.chunk(b"bbox", layout.lengths(-0.5, 0.75, 1.25, -1.5)),
        layout.chunk(b"font", layout.pack("HH14x", 7, 204) + letters))
    for kind, expected in {
            "CdrVersion": {"version": layout.version}, "CdrMcfg": {"width": 3, "height": 2},
            "CdrPage": {"page_number": 1, "width": 3, "height": 2}, "CdrFlgs": {"flags": 0x12000034},
            "CdrDisp": {"type": 8, "data": b"DIB"}, "CdrIcc": {"data": b"profile"}, "CdrUdta": {"data": b"user"},
            "CdrBbox": {"left_top": (-0.5, 0.75), "right_bottom": (1.25, -1.5)},
            "CdrFont": {"id": 7, "encoding": 204, "font_name": "Sans"}}.items():
        found = first(data, kind)
        assert told(found, expected) == expected
        assert found.document.version == layout.version and found.parent is not None


def test_the_other_order_of_bytes_is_refused() -> None:
    data = Layout(600).file()
    with managed_error("NotSupportedException", "the CDR file has a version that libcdr does not read"):
        Image.load(io.BytesIO(b"RIFX" + data[4:8][::-1] + data[8:]))


def test_the_longest_name_of_a_font() -> None:
    for layout, coding in (Layout(600), "latin-1"), (Layout(1200), "utf-16-le"):
        name = ("n" * 256 + "m").encode(coding)
        font = first(layout.file(layout.chunk(b"font", bytes(18) + name)), "CdrFont")
        assert font.font_name == "n" * 256


@pytest.mark.parametrize(("missing", "read"), [(0, 4), (1, 0)])
@pytest.mark.parametrize("layout", [Layout(500), Layout(600)], ids=str)
def test_points_beyond_the_end_are_not_read(layout: Layout, missing: int, read: int) -> None:
    """The points and their types have to be there, so many as the count says."""
    shape = layout.parts(3, (0x1E, curve_of(layout)))
    found = first(layout.file(layout.chunk(b"loda", shape[:len(shape) - missing])), "CdrCurve")
    assert len(list(found.points or [])) == read


def test_a_packed_list() -> None:
    """The sizes of its chunks are numbers of entries in a table, which is packed behind them."""
    layout = Layout(600)
    inside = b"font" + layout.pack("I", 1) + layout.pack("HH14x", 7, 204) + b"Serif\0"
    inside += b"udta" + layout.pack("I", 0) + b"odd" + b"\0" + b"iccp" + layout.pack("I", 2) + b"more"
    packed = zlib.compress(inside)
    table = zlib.compress(layout.pack("III", 3, 24, 4))
    head = layout.pack("IIII", len(packed), len(inside), len(table), 12)
    content = head + b"CPng" + bytes((1, 0, 4, 0)) + packed + b"CPng" + bytes((1, 0, 4, 0)) + table
    data = layout.file(layout.listed(b"cmpr", content), layout.chunk(b"bbox", layout.lengths(1, 2, 3, 4)))
    assert told(first(data, "CdrFont"), ["id", "font_name"]) == {"id": 7, "font_name": "Serif"}
    assert bytes(first(data, "CdrUdta").data) == b"odd" and bytes(first(data, "CdrIcc").data) == b"more"
    assert first(data, "CdrBbox").left_top.x == 1
