"""Paths as resources of knots, and back."""

from __future__ import annotations

import struct
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow
from PIL import TiffImagePlugin
from zelmor.imaging import Figure, GraphicsPath, Image, Point, PointF, RectangleF, Size
from zelmor.imaging.fileformats.core.vectorpaths import BezierKnotRecord, LengthRecord, VectorPathType
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage
from zelmor.imaging.fileformats.tiff.pathresources import PathResource, PathResourceConverter
from zelmor.imaging.shapes import BezierShape, PolygonShape, RectangleShape

from support.image_oracles import managed_error

SIZE = Size(200, 100)


def cast(kind: Any, value: Any) -> Any:
    return kind._cast_to(value).value


def path_of(*shapes: Any) -> GraphicsPath:
    path = GraphicsPath()
    for shape in shapes:
        figure = Figure()
        figure.add_shape(shape)
        path.add_figure(figure)
    return path


def points(*pairs: tuple[float, float]) -> list[PointF]:
    return [PointF(x, y) for x, y in pairs]


def pairs_of(shape: Any) -> list[tuple[float, float]]:
    return [(point.x, point.y) for point in cast(BezierShape, shape).points]


def records_of(path: GraphicsPath) -> list[Any]:
    resources = PathResourceConverter.from_graphics_path(path, SIZE)
    assert len(resources) == 1
    assert (resources[0].block_id, resources[0].name) == (2000, "Path 1")
    return list(resources[0].records)


def test_the_records_of_a_rectangle() -> None:
    records = records_of(path_of(RectangleShape(RectangleF(50, 25, 100, 50))))
    assert [record.type for record in records] == [
        VectorPathType.PATH_FILL_RULE_RECORD, VectorPathType.INITIAL_FILL_RULE_RECORD,
        VectorPathType.CLOSED_SUBPATH_LENGTH_RECORD] + [VectorPathType.CLOSED_SUBPATH_BEZIER_KNOT_UNLINKED] * 4
    assert cast(LengthRecord, records[2]).bezier_knot_records_count == 4
    anchors = []
    for record in records[3:]:
        before, anchor, behind = cast(BezierKnotRecord, record).path_points
        assert before == anchor == behind
        anchors.append((anchor.x, anchor.y))
        raw = list(cast(BezierKnotRecord, record).points)[1]
        assert (raw.x / 2**24, raw.y / 2**24) == anchors[-1]
    assert sorted(anchors) == [(0.25, 0.25), (0.25, 0.75), (0.75, 0.25), (0.75, 0.75)]


@pytest.mark.parametrize("closed", [False, True])
def test_curves_come_back(closed: bool) -> None:
    corners = [(10.0, 20.0), (30.0, 5.0), (60.0, 5.0), (80.0, 20.0), (90.0, 40.0), (90.0, 60.0), (80.0, 80.0)]
    resources = PathResourceConverter.from_graphics_path(path_of(BezierShape(points(*corners), closed)), SIZE)
    path = PathResourceConverter.to_graphics_path(resources, SIZE)
    figures = list(path.figures)
    assert len(figures) == 1
    shape = figures[0].shapes[0]
    back = pairs_of(shape)
    assert back[:7] == pytest.approx([pytest.approx(pair, abs=1e-4) for pair in corners])
    assert cast(BezierShape, shape).is_closed == closed
    # The last line of a closed figure returns to its first point.
    rest = [(80.0, 80.0), (10.0, 20.0), (10.0, 20.0)] if closed else []
    assert back[7:] == [pytest.approx(pair, abs=1e-4) for pair in rest]


def test_figures_stay_apart_and_scale_with_the_picture() -> None:
    path = path_of(PolygonShape(points((0, 0), (20, 10), (40, 0))), RectangleShape(RectangleF(10, 10, 20, 20)))
    resources = PathResourceConverter.from_graphics_path(path, SIZE)
    twice = PathResourceConverter.to_graphics_path(resources, Size(400, 200))
    assert len(twice.figures) == 2
    bounds = twice.figures[1].bounds
    assert (bounds.x, bounds.y, bounds.width, bounds.height) == pytest.approx((20, 20, 40, 40), abs=1e-3)
    assert pairs_of(twice.figures[0].shapes[0])[::3] == [(0, 0), pytest.approx((40, 20)), pytest.approx((80, 0))]


def test_knots_without_fractions_are_read_from_their_numbers() -> None:
    resource = PathResource()
    length, knot = LengthRecord(), BezierKnotRecord()
    length.is_open, length.record_count = True, 1
    source = cast(BezierKnotRecord, records_of(path_of(PolygonShape(points((100, 50), (0, 0)))))[3])
    knot.points = source.points
    resource.records = [length, knot]
    path = PathResourceConverter.to_graphics_path([resource], SIZE)
    assert pairs_of(path.figures[0].shapes[0]) == [(100.0, 50.0)]


def test_what_is_no_path() -> None:
    resource = PathResource()
    assert len(PathResourceConverter.to_graphics_path([resource], SIZE).figures) == 0
    length, knot = LengthRecord(), BezierKnotRecord()
    length.record_count = 2
    for records in ([knot], [length], [length, length], [length, knot]):
        resource.records = records
        with pytest.raises(RuntimeError, match="ArgumentException"):
            PathResourceConverter.to_graphics_path([resource], SIZE)
    for width, height in ((0, 5), (5, 0), (-1, 5), (5, -1)):
        with pytest.raises(RuntimeError, match=f"ArgumentOutOfRangeException.*A picture of {width} by {height} has no"):
            PathResourceConverter.to_graphics_path([], Size(width, height))
    assert len(PathResourceConverter.to_graphics_path([], Size(1, 1)).figures) == 0
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        PathResourceConverter.from_graphics_path(None, SIZE)
    with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException.*too far"):
        PathResourceConverter.from_graphics_path(path_of(PolygonShape(points((1e6, 0), (0, 0)))), SIZE)


# ---- Paths of TIFF pages

RESOURCES = 34377


def with_resources(path: Path, resources: bytes) -> Any:
    info = TiffImagePlugin.ImageFileDirectory_v2()
    info[RESOURCES], info.tagtype[RESOURCES] = resources, 1
    Pillow.new("RGB", (200, 100)).save(path, tiffinfo=info)
    return TiffImage._cast_to(Image.load(str(path))).value


def resource(number: int, name: bytes, data: bytes) -> bytes:
    head = b"8BIM" + struct.pack(">HB", number, len(name)) + name + bytes((len(name) + 1) % 2)
    return head + struct.pack(">I", len(data)) + data + bytes(len(data) % 2)


def knots(*pairs: tuple[float, float]) -> bytes:
    """A closed path: its rule, its length and its knots, with down before right."""
    records = struct.pack(">h24x", 6) + struct.pack(">h24x", 8) + struct.pack(">hHh6xI10x", 0, len(pairs), 1, 5)
    for x, y in pairs:
        records += struct.pack(">h6i", 1, *[round(v * 2**24) for v in (y, x)] * 3)
    return records


def written(path: Path) -> bytes:
    with Pillow.open(path) as picture:
        return bytes(picture.tag_v2.get(RESOURCES, b""))


PATH = resource(2000, b"Outline", knots((0.25, 0.25), (0.75, 0.25), (0.5, 0.75)))
IPTC = resource(1028, b"", b"\x1c\x02\x05\x00\x05Title")


def test_paths_of_a_page_are_read_and_written_again(tmp_path: Path) -> None:
    image = with_resources(tmp_path / "a.tif", IPTC + PATH)
    frame = image.frames[0]
    [path] = frame.path_resources
    assert (path.block_id, path.name) == (2000, "Outline")
    length = cast(LengthRecord, path.records[2])
    assert (length.bezier_knot_records_count, length.shape_index) == (3, 5)
    anchors = [cast(BezierKnotRecord, record).path_points[1] for record in list(path.records)[3:]]
    assert [(point.x, point.y) for point in anchors] == [(0.25, 0.25), (0.75, 0.25), (0.5, 0.75)]
    image.save(str(tmp_path / "b.tif"))
    assert written(tmp_path / "b.tif") == IPTC + PATH


def test_paths_are_changed_added_and_taken_away(tmp_path: Path) -> None:
    image = with_resources(tmp_path / "a.tif", PATH + IPTC)
    frame = image.frames[0]
    frame.path_resources[0].name = "Other"
    [more] = PathResourceConverter.from_graphics_path(path_of(RectangleShape(RectangleF(50, 25, 100, 50))), SIZE)
    more.block_id = 0
    frame.path_resources.append(more)
    image.save(str(tmp_path / "b.tif"))
    data = written(tmp_path / "b.tif")
    changed = resource(2000, b"Other", knots((0.25, 0.25), (0.75, 0.25), (0.5, 0.75)))
    assert data.startswith(IPTC + changed)
    assert data[len(IPTC + changed):].startswith(b"8BIM" + struct.pack(">H", 2001))
    again = TiffImage._cast_to(Image.load(str(tmp_path / "b.tif"))).value.frames[0]
    assert [path.block_id for path in again.path_resources] == [2000, 2001]
    assert len(PathResourceConverter.to_graphics_path(list(again.path_resources), SIZE).figures) == 2
    frame.path_resources = None
    image.save(str(tmp_path / "c.tif"))
    assert written(tmp_path / "c.tif") == IPTC


def test_a_page_without_paths_gets_some(tmp_path: Path) -> None:
    Pillow.new("RGB", (200, 100)).save(tmp_path / "a.tif")
    image = TiffImage._cast_to(Image.load(str(tmp_path / "a.tif"))).value
    assert image.frames[0].path_resources is None
    image.frames[0].path_resources = list(PathResourceConverter.from_graphics_path(
        path_of(RectangleShape(RectangleF(50, 25, 100, 50))), SIZE))
    copy = TiffFrame.copy_frame(image.frames[0])
    image.save(str(tmp_path / "b.tif"))
    assert written(tmp_path / "b.tif").startswith(b"8BIM" + struct.pack(">HB", 2000, 6) + b"Path 1")
    TiffImage(copy).save(str(tmp_path / "c.tif"))
    assert written(tmp_path / "c.tif") == written(tmp_path / "b.tif")


@pytest.mark.parametrize(("number", "name", "error"), [
    (1999, "a", "ArgumentOutOfRangeException"), (2998, "a", "ArgumentOutOfRangeException"),
    (2000, "x" * 256, "ArgumentException")])
def test_paths_that_no_file_holds(tmp_path: Path, number: int, name: str, error: str) -> None:
    Pillow.new("RGB", (200, 100)).save(tmp_path / "a.tif")
    image = TiffImage._cast_to(Image.load(str(tmp_path / "a.tif"))).value
    path = PathResource()
    path.block_id, path.name = number, name
    image.frames[0].path_resources = [path]
    with managed_error(error):
        image.save(str(tmp_path / "b.tif"))
    path.block_id, path.name = 2000, "a"
    image.frames[0].path_resources = [path, path]
    with managed_error("ArgumentException", "2000"):
        image.save(str(tmp_path / "b.tif"))


def written_path(folder: Path, *records: Any) -> bytes:
    """The bytes of the resources of a page with one path."""
    Pillow.new("RGB", (200, 100)).save(folder / "a.tif")
    image = TiffImage._cast_to(Image.load(str(folder / "a.tif"))).value
    path = PathResource()
    path.block_id, path.name, path.records = 2000, "a", list(records)
    image.frames[0].path_resources = [path]
    image.save(str(folder / "b.tif"))
    return written(folder / "b.tif")


def knot_at(x: float, y: float, count: int = 3) -> BezierKnotRecord:
    knot = BezierKnotRecord()
    knot.path_points = points(*[(x, y)] * count)
    return knot


@pytest.mark.parametrize("number", [0.0, 0.5, -1.25, 127.5, -127.5, 1 / 2**24])
def test_numbers_of_knots(tmp_path: Path, number: float) -> None:
    """With 24 bits behind the point, down before right."""
    data = written_path(tmp_path, knot_at(number, 0.25))
    assert struct.pack(">6i", *[1 << 22, round(number * 2**24)] * 3) in data


@pytest.mark.parametrize("number", [128.0, -128.0, 1e9, float("nan"), float("inf")])
def test_numbers_of_knots_that_are_too_large(tmp_path: Path, number: float) -> None:
    for knot in (knot_at(number, 0), knot_at(0, number)):
        with managed_error("ArgumentException", "A number of a path record is too large for a file."):
            written_path(tmp_path, knot)


@pytest.mark.parametrize("count", [0, 2, 4])
def test_knots_have_three_points(tmp_path: Path, count: int) -> None:
    with managed_error("ArgumentException", f"A knot has three points, not {count}."):
        written_path(tmp_path, knot_at(0, 0, count))


def test_exact_numbers_of_a_knot(tmp_path: Path) -> None:
    """They are written where they say the same as the fractions, or where there are none."""
    exact = [Point(1 << 22, -1), Point(5, 6), Point(7, 8)]
    alone = BezierKnotRecord()
    alone.points = exact
    raw = struct.pack(">6i", -1, 1 << 22, 6, 5, 8, 7)
    assert raw in written_path(tmp_path, alone)
    alone.path_points = points(*[(point.x / 2**24, point.y / 2**24) for point in exact])
    assert raw in written_path(tmp_path, alone)
    alone.path_points = points((0.5, 0.25), (0, 0), (0, 0))
    assert struct.pack(">6i", 1 << 22, 1 << 23, 0, 0, 0, 0) in written_path(tmp_path, alone)


@pytest.mark.parametrize("count", [0, 1, 65535, 65536, -1])
def test_lengths_of_figures(tmp_path: Path, count: int) -> None:
    length = LengthRecord()
    length.record_count = count
    if 0 <= count <= 65535:
        assert struct.pack(">hH", 3 if length.is_open else 0, count) in written_path(tmp_path, length)
        return
    with managed_error("ArgumentException", f"A figure of {count} points does not fit a path resource."):
        written_path(tmp_path, length)


def test_figures_of_too_many_points() -> None:
    many = [(float(i % 150), float(i // 150 % 90)) for i in range(65536)]
    with managed_error("ArgumentException", "A figure of 65536 points does not fit a path resource."):
        PathResourceConverter.from_graphics_path(path_of(PolygonShape(points(*many))), SIZE)
    assert len(records_of(path_of(PolygonShape(points(*many[:-1]))))) == 65535 + 3


def test_resources_and_records_of_nothing() -> None:
    with managed_error("ArgumentNullException", "path_resources"):
        PathResourceConverter.to_graphics_path([None], SIZE)
    resource = PathResource()
    resource.records = [LengthRecord(), None]
    with managed_error("ArgumentException", "A record of the path resource is null. (Parameter 'path_resources')"):
        PathResourceConverter.to_graphics_path([resource], SIZE)


def test_a_closed_curve_that_ends_where_it_begins_has_no_knot_twice() -> None:
    corners = points((10, 10), (20, 5), (40, 5), (50, 10), (60, 40), (20, 50), (10, 10))
    records = records_of(path_of(BezierShape(corners, True)))
    assert cast(LengthRecord, records[2]).bezier_knot_records_count == 2
    first, second = (cast(BezierKnotRecord, record).path_points for record in records[3:])
    assert [(round(p.x * 200), round(p.y * 100)) for p in (*first, *second)] == [
        (20, 50), (10, 10), (20, 5), (40, 5), (50, 10), (60, 40)]


def test_a_closed_figure_of_one_point_has_its_knot() -> None:
    records = records_of(path_of(PolygonShape(points((10, 20)), True)))
    assert cast(LengthRecord, records[2]).bezier_knot_records_count == 1
    [knot] = (cast(BezierKnotRecord, record).path_points for record in records[3:])
    assert [(round(p.x * 200), round(p.y * 100)) for p in knot] == [(10, 20)] * 3


def fixed(*numbers: float) -> bytes:
    """Numbers with 24 bits behind the point."""
    return struct.pack(f">{len(numbers)}i", *[round(number * 2**24) for number in numbers])


#: Every kind of record, as it is published: 26 bytes.
EVERY_RECORD = [
    struct.pack(">h24x", 6), struct.pack(">hH22x", 8, 1), struct.pack(">hHh6xI10x", 0, 2, 1, 7),
    struct.pack(">h", 1) + fixed(0.125, 0.25, 0.375, 0.5, 0.625, 0.75),
    struct.pack(">h", 2) + fixed(-0.125, 1.25, 0.375, -0.5, 0.625, 0.75), struct.pack(">hHh6xI10x", 3, 1, 3, 9),
    struct.pack(">h", 4) + fixed(0.1, 0.2, 0.3, 0.4, 0.5, 0.6),
    struct.pack(">h", 5) + fixed(0.9, 0.8, 0.7, 0.6, 0.5, 0.4),
    struct.pack(">h", 7) + fixed(0.25, 0.5, 0.75, 1.5, 2.5) + bytes(4)]


def test_every_kind_of_record_is_written_as_it_was_read(tmp_path: Path) -> None:
    """Where the path has another name, its records are made anew."""
    image = with_resources(tmp_path / "a.tif", resource(2000, b"Outline", b"".join(EVERY_RECORD)))
    [path] = image.frames[0].path_resources
    assert [int(record.type) for record in path.records] == [6, 8, 0, 1, 2, 3, 4, 5, 7]
    path.name = "Other"
    image.save(str(tmp_path / "b.tif"))
    data = written(tmp_path / "b.tif")
    assert data == resource(2000, b"Other", b"".join(EVERY_RECORD))


@pytest.mark.parametrize(("more", "count"), [
    (b"", 9), (bytes(25), 9), (bytes(26), 10), (struct.pack(">h24x", 9), 9), (struct.pack(">h24x", -1), 9),
    (struct.pack(">h24x", 9) + EVERY_RECORD[0], 9)])
def test_a_record_of_no_known_kind_ends_the_path(more: bytes, count: int, tmp_path: Path) -> None:
    image = with_resources(tmp_path / "a.tif", resource(2000, b"Outline", b"".join(EVERY_RECORD) + more))
    [path] = image.frames[0].path_resources
    assert len(path.records) == count
    # Nobody changed it: the bytes stay, also those that are not understood.
    image.save(str(tmp_path / "b.tif"))
    assert written(tmp_path / "b.tif") == resource(2000, b"Outline", b"".join(EVERY_RECORD) + more)


@pytest.mark.parametrize(("number", "is_path"), [(1999, False), (2000, True), (2997, True), (2998, False),
                                                 (2999, False), (1025, False)])
def test_which_resources_are_paths(number: int, is_path: bool, tmp_path: Path) -> None:
    image = with_resources(tmp_path / "a.tif", resource(number, b"Outline", EVERY_RECORD[0]))
    found = image.frames[0].path_resources
    assert ([path.block_id for path in found] if found else []) == ([number] if is_path else [])


def test_a_path_without_a_number_gets_the_first_free_one(tmp_path: Path) -> None:
    Pillow.new("RGB", (200, 100)).save(tmp_path / "a.tif")
    image = TiffImage._cast_to(Image.load(str(tmp_path / "a.tif"))).value
    paths = []
    for number, name in ((0, "a"), (2001, "b" * 255), (0, ""), (2997, "\xe9"), (0, "c")):
        path = PathResource()
        path.block_id, path.name = number, name
        paths.append(path)
    image.frames[0].path_resources = paths
    image.save(str(tmp_path / "b.tif"))
    expected = [(2000, b"a"), (2001, b"b" * 255), (2002, b""), (2997, "\xe9".encode()), (2003, b"c")]
    assert written(tmp_path / "b.tif") == b"".join(resource(number, name, b"") for number, name in expected)


def test_names_of_bytes_that_are_no_text(tmp_path: Path) -> None:
    """Each byte is a character then."""
    image = with_resources(tmp_path / "a.tif", resource(2000, b"\xe9t\xff", b"") + resource(2001, "\xe9".encode(), b""))
    assert [path.name for path in image.frames[0].path_resources] == ["\xe9t\xff", "\xe9"]


def test_paths_and_records_of_nothing(tmp_path: Path) -> None:
    Pillow.new("RGB", (200, 100)).save(tmp_path / "a.tif")
    image = TiffImage._cast_to(Image.load(str(tmp_path / "a.tif"))).value
    image.frames[0].path_resources = [None]
    with managed_error("ArgumentException", "A path of TiffFrame.PathResources is null."):
        image.save(str(tmp_path / "b.tif"))
    path = PathResource()
    path.records = [None]
    image.frames[0].path_resources = [path]
    with managed_error("ArgumentException", "A record of a path of TiffFrame.PathResources is null."):
        image.save(str(tmp_path / "b.tif"))
