"""Records that are parsed from the bytes of a file, and packed words."""

from __future__ import annotations

import struct
from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st
from zelmor.imaging import PointF
from zelmor.imaging.fileformats.bmp.structures import CieCoordinates, CieCoordinatesTriple
from zelmor.imaging.fileformats.cdr.types import PointD
from zelmor.imaging.fileformats.core.vectorpaths import (
    BezierKnotRecord, ClipboardRecord, InitialFillRuleRecord, LengthRecord, PathFillRuleRecord, PathOperations,
    VectorPathRecordFactory, VectorPathType)
from zelmor.imaging.fileformats.emf.dtyp.commondatastructures import GuidPacketRepresentation
from zelmor.imaging.fileformats.emf.emf.objects import EmfHeaderExtension1, EmfHeaderExtension2
from zelmor.imaging.fileformats.emf.emf.records import AlphaFormatEnum, EmfBlendFunction, EmfRop4

INT32 = st.integers(-2**31, 2**31 - 1)
ONE = 1 << 24  # of a fixed point coordinate
KNOTS = [VectorPathType.CLOSED_SUBPATH_BEZIER_KNOT_LINKED, VectorPathType.CLOSED_SUBPATH_BEZIER_KNOT_UNLINKED,
         VectorPathType.OPEN_SUBPATH_BEZIER_KNOT_LINKED, VectorPathType.OPEN_SUBPATH_BEZIER_KNOT_UNLINKED]


def record(selector: int, layout: str = "", *values: int) -> bytes:
    """The 26 bytes of a path record."""
    return (struct.pack(">h", selector) + struct.pack(">" + layout, *values)).ljust(26, b"\0")


def cast(kind: Any, value: Any) -> Any:
    return kind._cast_to(value).value


@given(st.sampled_from(KNOTS), st.lists(INT32, min_size=6, max_size=6))
def test_bezier_knots(kind: VectorPathType, values: list[int]) -> None:
    data = record(int(kind), "6i", *values)
    knot = BezierKnotRecord(data)
    pairs = [(values[i + 1], values[i]) for i in range(0, 6, 2)]
    assert [(point.x, point.y) for point in knot.points] == pairs
    expected = [struct.unpack("2f", struct.pack("2f", x / ONE, y / ONE)) for x, y in pairs]
    assert [(point.x, point.y) for point in knot.path_points] == expected
    assert knot.type == kind
    assert knot.is_open == ("OPEN" in kind.name)
    assert knot.is_closed != knot.is_open
    assert knot.is_linked == (not kind.name.endswith("UNLINKED"))
    assert cast(BezierKnotRecord, VectorPathRecordFactory().produce_path_record(data)).type == kind


def test_a_knot_is_open_or_closed() -> None:
    knot = BezierKnotRecord()
    assert (knot.is_open, knot.is_closed, knot.type) == (False, True, KNOTS[1])
    knot.is_open = knot.is_linked = True
    assert (knot.is_closed, knot.type) == (False, KNOTS[2])
    knot.is_closed = True
    assert (knot.is_open, knot.type) == (False, KNOTS[0])


@given(st.booleans(), st.integers(0, 0xFFFF), st.sampled_from(list(PathOperations)), INT32)
def test_lengths(is_open: bool, count: int, operation: PathOperations, index: int) -> None:
    kind = VectorPathType.OPEN_SUBPATH_LENGTH_RECORD if is_open else VectorPathType.CLOSED_SUBPATH_LENGTH_RECORD
    length = LengthRecord(record(int(kind), "HhhIi", count, int(operation), 1, 0, index))
    assert (length.type, length.is_open, length.is_closed) == (kind, is_open, not is_open)
    assert (length.record_count, length.bezier_knot_records_count) == (count, count)
    assert (length.path_operations, length.shape_index) == (operation, index)


def test_a_length_without_operation_combines() -> None:
    assert LengthRecord(record(0, "Hh", 3, -1)).path_operations == PathOperations.COMBINE_SHAPES


def test_other_path_records() -> None:
    clipboard = ClipboardRecord(record(7, "5i", ONE // 4, ONE // 8, ONE, ONE // 2, 3 * ONE))
    rect = clipboard.bounding_rect
    assert (rect.x, rect.y, rect.width, rect.height, clipboard.resolution) == (0.125, 0.25, 0.375, 0.75, 3.0)
    assert clipboard.type == VectorPathType.CLIPBOARD_RECORD
    assert PathFillRuleRecord(record(6)).type == VectorPathType.PATH_FILL_RULE_RECORD
    for value in (0, 1):
        rule = InitialFillRuleRecord(record(8, "h", value))
        assert rule.is_fill_starts_with_all_pixels == bool(value)
        assert rule.type == VectorPathType.INITIAL_FILL_RULE_RECORD
        made = InitialFillRuleRecord.create_from_bytes(record(8, "h", value))
        assert made.is_fill_starts_with_all_pixels == bool(value)
    assert InitialFillRuleRecord(True).is_fill_starts_with_all_pixels
    assert InitialFillRuleRecord.create_filled_with_pixels(True).is_fill_starts_with_all_pixels


@pytest.mark.parametrize("selector, kind", [(0, LengthRecord), (3, LengthRecord), (1, BezierKnotRecord),
                                            (2, BezierKnotRecord), (4, BezierKnotRecord), (5, BezierKnotRecord),
                                            (6, PathFillRuleRecord), (7, ClipboardRecord), (8, InitialFillRuleRecord)])
def test_the_factory_makes_the_class_of_the_selector(selector: int, kind: Any) -> None:
    made = VectorPathRecordFactory().produce_path_record(record(selector))
    assert made.type == selector
    assert kind._is_assignable(made)
    for other in {LengthRecord, BezierKnotRecord, PathFillRuleRecord, ClipboardRecord, InitialFillRuleRecord} - {kind}:
        assert not other._is_assignable(made)
        with pytest.raises(RuntimeError, match="ArgumentException"):
            other(record(selector))


@pytest.mark.parametrize("data", [b"", b"\0", record(1)[:25], record(9), record(-1)])
def test_damaged_path_records(data: bytes) -> None:
    for make in (BezierKnotRecord, ClipboardRecord, LengthRecord, InitialFillRuleRecord, PathFillRuleRecord,
                 VectorPathRecordFactory().produce_path_record):
        with pytest.raises(RuntimeError, match="ArgumentException"):
            make(data)


@given(st.lists(INT32, min_size=9, max_size=9))
def test_end_points_of_a_color_space(values: list[int]) -> None:
    triple = CieCoordinatesTriple(struct.pack("<9i", *values))
    read = [(each.cie_coordinates_x, each.cie_coordinates_y, each.cie_coordinates_z)
            for each in (triple.cie_xyz_red, triple.cie_xyz_green, triple.cie_xyz_blue)]
    assert [number for each in read for number in each] == values
    one = CieCoordinates(struct.pack("<3i", *values[:3]))
    assert (one.cie_coordinates_x, one.cie_coordinates_y, one.cie_coordinates_z) == tuple(values[:3])


def test_too_few_bytes_of_a_color_space() -> None:
    with pytest.raises(RuntimeError, match="ArgumentException.*11 bytes"):
        CieCoordinates(bytes(11))
    with pytest.raises(RuntimeError, match="ArgumentException.*35 bytes"):
        CieCoordinatesTriple(bytes(35))


@given(st.integers(0, 255), st.integers(0, 255), st.integers(0, 255), st.sampled_from(list(AlphaFormatEnum)))
def test_blend_functions(operation: int, flags: int, alpha: int, alpha_format: AlphaFormatEnum) -> None:
    word = struct.unpack("<i", bytes([operation, flags, alpha, int(alpha_format)]))[0]
    blend = EmfBlendFunction(word)
    assert (blend.blend_operation, blend.blend_flags, blend.src_constant_alpha) == (operation, flags, alpha)
    assert (blend.alpha_format, blend.to_int()) == (alpha_format, word)
    assert blend == EmfBlendFunction(word)
    with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
        EmfBlendFunction(0x02000000)


def test_an_empty_blend_function() -> None:
    assert EmfBlendFunction().to_int() == 0
    assert EmfBlendFunction().alpha_format == AlphaFormatEnum.NOT_TRANSPARENCY


def test_quaternary_raster_operations() -> None:
    operation = EmfRop4(struct.unpack("<i", bytes([0, 0, 0xCC, 0xAA]))[0])
    assert (operation.foreground_rop3, operation.background_rop3) == (0xCC, 0xAA)


def test_small_values() -> None:
    packet = GuidPacketRepresentation(-1, 2, -3, 1 << 62)
    assert (packet.data1, packet.data2, packet.data3, packet.data4) == (-1, 2, -3, 1 << 62)
    point = PointD(1.5, -2.25)
    assert point.to_point_f() == PointF(1.5, -2.25)
    point.from_point_f(PointF(7, 8))
    assert (point.x, point.y) == (7.0, 8.0)


def test_a_header_extension_goes_on_where_another_ended() -> None:
    first = EmfHeaderExtension1()
    first.b_open_gl, first.handles, first.records = 1, 3, 17
    for second in (EmfHeaderExtension2(first), EmfHeaderExtension2.create_from_header_extension1(first)):
        assert (second.handles, second.records, second.micrometers_x) == (3, 17, 0)
        assert second.valid
