"""What records of metafiles can hold: values at their bounds, what is refused and how, and what is kept as it was."""

from __future__ import annotations

import io
from collections.abc import Sequence
from typing import Any

import pytest
from zelmor.imaging import Image, Point, PointF, Rectangle
from zelmor.imaging.fileformats.emf import EmfImage
from zelmor.imaging.fileformats.emf.emf.records import EmfCommentEmfPlus, EmfSetWorldTransform
from zelmor.imaging.fileformats.emf.emfplus import records as plus_records
from zelmor.imaging.fileformats.emf.emfplus.objects import EmfPlusPath, EmfPlusPathPointTypeRle
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.fileformats.wmf.objects import WmfMoveTo, WmfRectangle

from support.drawn_metafiles import color_at, drawn
from support.image_oracles import managed_error
from support.metafiles import (VERSION, brush, emf, emf_record, floats, font, plus, plus_comment, plus_object,
                               plus_record, wmf, wmf_brush, wmf_font, wmf_record, words)


def emf_image(*records: bytes) -> Any:
    return EmfImage._cast_to(Image.load(io.BytesIO(emf(*records)))).value


def wmf_image(*records: bytes) -> Any:
    return WmfImage._cast_to(Image.load(io.BytesIO(wmf(*records)))).value


def saved(image: Any) -> bytes:
    target = io.BytesIO()
    image.save(target)
    return target.getvalue()


def expect_refusal(image: Any, text: str) -> None:
    with managed_error("ImageSaveException", f"Cannot save the image to the stream: {text}."):
        saved(image)


def expect_damage(file: bytes, text: str) -> None:
    with managed_error("ImageLoadException", text):
        Image.load(io.BytesIO(file))


def plus_record_of(image: Any, kind: Any, index: int = 1) -> Any:
    """A record in the first comment of EMF+."""
    comment: Any = EmfCommentEmfPlus._cast_to(image.records[1]).value
    return kind._cast_to(comment.records[index]).value


def path_of(image: Any) -> Any:
    return EmfPlusPath._cast_to(plus_record_of(image, plus_records.EmfPlusObject).object_data).value


# ---- Numbers


@pytest.mark.parametrize("rectangle, refused", [
    (Rectangle(0, 0, 32767, 32767), None), (Rectangle(1, 0, 32767, 3), 32768), (Rectangle(0, 5, 3, 32763), 32768),
    (Rectangle(-32768, -32768, 3, 3), None), (Rectangle(-32769, 0, 3, 3), -32769),
    (Rectangle(0, -32769, 3, 3), -32769)])
def test_sides_have_sixteen_bits_in_a_wmf(rectangle: Rectangle, refused: int | None) -> None:
    with wmf_image(wmf_record(0x041B, 9, 9, 0, 0)) as image:
        record: Any = WmfRectangle._cast_to(image.records[0]).value
        record.rectangle = rectangle
        if refused is not None:
            expect_refusal(image, f"WmfRectangle.Rectangle: the file has no place for {refused}")
            return
        right, bottom = rectangle.x + rectangle.width, rectangle.y + rectangle.height
        assert wmf_record(0x041B, bottom, right, rectangle.y, rectangle.x) in saved(image)


@pytest.mark.parametrize("point, refused", [(Point(32767, -32768), None), (Point(32768, 0), 32768),
                                            (Point(0, -32769), -32769)])
def test_points_have_sixteen_bits_in_a_wmf(point: Point, refused: int | None) -> None:
    with wmf_image(wmf_record(0x0214, 1, 2)) as image:
        record: Any = WmfMoveTo._cast_to(image.records[0]).value
        assert (record.point.x, record.point.y) == (2, 1)
        record.point = point
        if refused is not None:
            expect_refusal(image, f"WmfMoveTo.Point: the file has no place for {refused}")
        else:
            assert wmf_record(0x0214, point.y, point.x) in saved(image)


def test_a_matrix_has_to_be_there() -> None:
    with emf_image(emf_record(35, floats(2, 0, 0, 2, 0, 0))) as image:
        record: Any = EmfSetWorldTransform._cast_to(image.records[1]).value
        record.xform = None
        expect_refusal(image, "EmfSetWorldTransform.Xform: the file has no place for None")


# ---- Text


@pytest.mark.parametrize("name, refused", [("x" * 31, None), ("x" * 32, None), ("\u0416" * 32, None), ("", None),
                                           ("x" * 33, "more than 32 characters")])
def test_names_of_fonts_have_32_characters(name: str, refused: str | None) -> None:
    with emf_image(font(3, -20, "DejaVu Sans")) as image:
        image.records[1].elw.facename = name
        if refused is not None:
            expect_refusal(image, f"EmfLogFontPanose.Facename: the file has no place for {refused}")
        else:
            assert name.encode("utf-16-le").ljust(64, b"\0") in saved(image)


def test_characters_of_a_wmf_have_one_byte() -> None:
    with wmf_image(wmf_font(-20, b"DejaVu Sans")) as image:
        image.records[0].facename = "a\xff"
        assert b"a\xff\0" in saved(image)
        image.records[0].facename = "a\u0100"
        expect_refusal(image, "WmfCreateFontInDirect.Facename: the file has no place for a character of more than one "
                       "byte")


# ---- Points and types of EMF+


def steps(*numbers: int) -> bytes:
    """Distances: seven bits, or fifteen in two bytes with the highest bit set."""
    return b"".join(bytes([n & 0x7F]) if -64 <= n < 64 else (n & 0x7FFF | 0x8000).to_bytes(2, "big") for n in numbers)


def relative_path(numbers: Sequence[int]) -> bytes:
    data = VERSION + words(len(numbers) // 2, 0x800) + steps(*numbers) + bytes([0] + [1] * (len(numbers) // 2 - 1))
    return data + bytes(-len(data) % 4)


@pytest.mark.parametrize("points, refused", [
    ([(0, 0), (63, -64), (0, 0)], None), ([(0, 0), (64, -65), (0, 0)], None), ([(0, 0)] + [(16383, -16384)] * 2, None),
    ([(0, 0), (16384, 0), (0, 0)], "a distance of 16384"), ([(0, -16385), (0, 0), (0, 0)], "a distance of -16385"),
    ([(0.5, 0), (0, 0), (0, 0)], "0.500000 in whole numbers"), ([(0, 0), (0, 1e9), (0, 0)],
                                                                "1000000000.000000 in whole numbers")])
def test_relative_points(points: list[tuple[float, float]], refused: str | None) -> None:
    with emf_image(plus(plus_object(3, 3, relative_path([10, 10, 20, 0, 0, 20])))) as image:
        path = path_of(image)
        assert [(point.x, point.y) for point in path.path_points] == [(10, 10), (30, 10), (30, 30)]
        path.path_points = [PointF(x, y) for x, y in points]
        if refused is not None:
            expect_refusal(image, f"EmfPlusPath.PathPoints: the file has no place for {refused}")
            return
        flat = [0, 0] + [int(coordinate) for point in points for coordinate in point]
        assert relative_path([b - a for a, b in zip(flat, flat[2:])]) in saved(image)


def test_relative_points_that_end_too_early() -> None:
    expect_damage(emf(plus(plus_object(3, 3, VERSION + words(3, 0x800) + steps(10, 10, 1000, 1000, 1000)))),
                  "a list of relative points ends too early")
    expect_damage(emf(plus(plus_object(3, 3, VERSION + words(3, 0x800) + steps(10, 10, 20, 0)))),
                  "EmfPlusPath.PathPoints has 3 elements, but there are 4 bytes")


@pytest.mark.parametrize("points, refused", [
    ([(0, 0), (32767, -32768)], None), ([(0, 0), (32768, 0)], "32768.000000 in whole numbers of 16 bits"),
    ([(0, 0), (0, -32769)], "-32769.000000 in whole numbers of 16 bits"),
    ([(0.25, 0), (0, 0)], "0.250000 in whole numbers of 16 bits")])
def test_short_points(points: list[tuple[float, float]], refused: str | None) -> None:
    data = VERSION + words(2, 0x4000) + bytes(8) + bytes([0, 1, 0, 0])
    with emf_image(plus(plus_object(3, 3, data))) as image:
        path_of(image).path_points = [PointF(x, y) for x, y in points]
        if refused is not None:
            expect_refusal(image, f"EmfPlusPath.PathPoints: the file has no place for {refused}")
        else:
            assert b"\0\0\0\0\xff\x7f\0\x80\0\1" in saved(image)


def runs(*counts: int, points: int = 5) -> bytes:
    data = VERSION + words(points, 0x1000) + floats(*range(2 * points))
    data += b"".join(bytes([count, min(i, 1)]) for i, count in enumerate(counts))
    return data + bytes(-len(data) % 4)


@pytest.mark.parametrize("count, refused", [(4, None), (63, None), (64, 64), (255, 255)])
def test_lengths_of_runs_have_six_bits(count: int, refused: int | None) -> None:
    with emf_image(plus(plus_object(3, 3, runs(1, 4)))) as image:
        run: Any = EmfPlusPathPointTypeRle._cast_to(path_of(image).path_point_types[1]).value
        assert (run.run_count, run.bezier) == (4, False)
        run.run_count = count
        if refused is not None:
            expect_refusal(image, f"EmfPlusPathPointTypeRle.RunCount has no place for {refused}")
        else:
            assert bytes([1, 0, count, 1]) in saved(image)


def test_runs_that_end_too_early() -> None:
    expect_damage(emf(plus(plus_object(3, 3, runs(1, 3)))), "EmfPlusPath.PathPointTypes ends too early")
    with emf_image(plus(plus_object(3, 3, runs(1, 60)))) as image:  # more than there are points
        assert len(path_of(image).path_point_types) == 2


def test_terminal_clips_of_steps_are_kept() -> None:
    data = bytes(number & 0x7F | 0x80 for number in (10, 10, 50, 40, 20, 20, 40, 40))
    with emf_image(plus(plus_record(0x403A, 0x8002, data))) as image:
        record = plus_record_of(image, plus_records.EmfPlusSetTsClip)
        assert [(r.x, r.y, r.width, r.height) for r in record.rects] == [(10, 10, 40, 40), (30, 30, 60, 40)]
        record.rects = [Rectangle(1, 2, 300, 64)]
        file = saved(image)
        assert plus_record(0x403A, 0x8001, b"\x81\x82" + (301).to_bytes(2, "big") + (64).to_bytes(2, "big")) in file


# ---- Objects


def region(depth: int) -> bytes:
    """Nodes within each other: each is the intersection of nothing and the next one."""
    return plus_object(4, 4, VERSION + words(2 * depth) + words(1, 0x10000002) * depth + words(0x10000002))


def test_objects_within_objects() -> None:
    """At most 400, the record and the region among them; the children of a node are one level, too."""
    file = emf(plus(region(198)))
    with Image.load(io.BytesIO(file)) as image:
        assert saved(image) == file
    expect_damage(emf(plus(region(200))), "has too many objects within objects")


def test_lists_without_one_of_their_objects() -> None:
    with emf_image(plus(plus_record(0x4009, 0, words(5)))) as image:
        comment: Any = EmfCommentEmfPlus._cast_to(image.records[1]).value
        comment.records = [comment.records[0], None, comment.records[2]]
        expect_refusal(image, "EmfCommentEmfPlus.Records has an element that is None")
    with emf_image(plus(plus_object(3, 3, runs(1, 4)))) as image:
        path = path_of(image)
        path.path_point_types = [path.path_point_types[0], None]
        expect_refusal(image, "EmfPlusPath.PathPointTypes has an element that is None")


def test_lists_of_a_size_that_is_stated_elsewhere() -> None:
    """Each point has a type."""
    data = VERSION + words(3, 0) + floats(*range(6)) + bytes([0, 1, 1, 0])
    with emf_image(plus(plus_object(3, 3, data))) as image:
        path = path_of(image)
        path.path_point_types = list(path.path_point_types)[:2]
        expect_refusal(image, "EmfPlusPath.PathPointTypes has 2 elements, but the record has place for 3")
        path.path_points = list(path.path_points)[:2]
        assert VERSION + words(2, 0) + floats(0, 1, 2, 3) + bytes([0, 1, 0, 0]) in saved(image)


def test_what_stands_behind_the_last_record_of_a_comment_is_kept() -> None:
    head = plus_record(0x4001, 0, VERSION + words(1, 96, 96))
    comment = plus_comment(head, plus_record(0x4002), bytes([1, 2, 3, 4, 5, 6, 7, 8]))
    file = emf(comment)
    with emf_image(comment) as image:
        assert saved(image) == file
    expect_damage(emf(plus_comment(head, words(0x4002, 11, 0))), "has a record of 11 bytes where there are 12")
    expect_damage(emf(plus_comment(words(0x4002, 13, 0))), "has a record of 13 bytes where there are 12")


# ---- Heads of files


def handles(file: bytes) -> int:
    return int.from_bytes(file[56:58], "little")


def test_the_head_of_an_emf_counts_its_objects() -> None:
    """One more than the largest number; more than the file said only if a record was added."""
    with emf_image(brush(3, 0xFF0000), font(7, 10, "A")) as image:
        assert handles(saved(image)) == 16  # as it was
        image.records[1].ih_brush = 40
        assert handles(saved(image)) == 41


def objects(file: bytes) -> int:
    return int.from_bytes(file[22 + 10:22 + 12], "little")


def test_the_head_of_a_wmf_counts_its_objects() -> None:
    """As many as exist at the same time: a new one has the lowest number that is free."""
    def count(*records: bytes) -> int:
        with wmf_image() as image, wmf_image(*records) as source:
            for record in list(source.records)[:-1]:
                image.records.insert(len(image.records) - 1, record)
            return objects(saved(image))

    made, deleted = wmf_brush(0xFF), [wmf_record(0x01F0, i) for i in range(9)]
    assert count(made * 9) == 9
    assert count(made * 9, deleted[3], made, made) == 10
    assert count(made * 9, deleted[3], deleted[3], made, made) == 10
    assert count(made * 9, deleted[3], deleted[8], made, made, made) == 10
    assert count(made * 8, wmf_record(0x01F0, 8), made, made) == 10  # which did not exist


# ---- What the formats do not name


def test_unknown_records_are_kept_and_draw_nothing() -> None:
    plus_kept = plus_comment(plus_record(0x4001, 0, VERSION + words(1, 96, 96)), plus_record(0x4FFF, 5, b"1234"),
                             plus_record(0x4002))
    file = emf(emf_record(200, b"abcd"), emf_record(201), plus_kept)
    with Image.load(io.BytesIO(file)) as image:
        assert saved(image) == file
    old = wmf(wmf_record(0x0777, 1, 2, 3), wmf_record(0x0778))
    with Image.load(io.BytesIO(old)) as image:
        assert wmf_record(0x0777, 1, 2, 3) + wmf_record(0x0778) in saved(image)
    for each in (file, old):
        assert drawn(each).getextrema() == ((255, 255), ) * 3


def continued(kind: int, *parts: bytes) -> list[bytes]:
    """Records that together have an object; all but the last one say how large it is."""
    size = sum(map(len, parts))
    return [plus_record(0x4008, 0x8000 | kind << 8 | 3, words(size) + part) for part in parts[:-1]] + [
        plus_record(0x4008, kind << 8 | 3, parts[-1])]


FILL = plus_record(0x400A, 0, words(3, 1) + floats(10, 10, 30, 30))


@pytest.mark.parametrize("at", [4, 8])
def test_objects_in_several_records(at: int) -> None:
    """A brush, split behind its version or its type."""
    brush_data = VERSION + words(0, 0xFF123456)
    file = emf(plus(*continued(1, brush_data[:at], brush_data[at:]), FILL))
    with Image.load(io.BytesIO(file)) as image:
        assert saved(image) == file
    assert color_at(drawn(file), (20, 20)) == 0x123456


def test_objects_that_are_interrupted() -> None:
    """A record of another object ends the one before it; what follows is an object of its own."""
    brush_data, other = VERSION + words(0, 0xFF123456), plus_object(4, 1, VERSION + words(0, 0xFF00FF00))
    first, last = continued(1, brush_data[:4], brush_data[4:])
    assert color_at(drawn(emf(plus(first, other, last, FILL))), (20, 20)) == 0xFFFFFF
    first, last = continued(1, brush_data[:8], brush_data[8:])
    expect_damage(emf(plus(first, other, last)), "EmfPlusBrush.Type takes 4 bytes, but there are 0")


def test_objects_of_an_unknown_kind_in_several_records() -> None:
    file = emf(plus(*continued(0x55, b"abcd", b"efgh"), FILL))
    with Image.load(io.BytesIO(file)) as image:
        assert saved(image) == file
    assert drawn(file).getextrema() == ((255, 255), ) * 3
