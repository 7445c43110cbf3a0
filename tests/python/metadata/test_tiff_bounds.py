"""Tags, readers, writers and options of TIFF at their bounds: what is refused and by which words, and what is not."""

from __future__ import annotations

import io
import struct
from typing import Any, Callable

import pytest
from zelmor.imaging import StreamContainer
from zelmor.imaging.fileformats.tiff import TiffDataType, TiffRational, TiffSRational
from zelmor.imaging.fileformats.tiff import tifftagtypes as types
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat, TiffTags
from zelmor.imaging.fileformats.tiff.filemanagement import (TiffBigEndianStreamReader, TiffBigEndianStreamWriter,
                                                            TiffStreamReader, TiffStreamWriter)
from zelmor.imaging.fileformats.tiff.filemanagement.bigtiff import (BigTiffReader, BigTiffReaderBE, BigTiffWriter,
                                                                    BigTiffWriterBE)
from zelmor.imaging.fileformats.tiff.instancefactory import TiffTagFactory
from zelmor.imaging.imageoptions import BigTiffOptions, TiffOptions

from support.image_oracles import managed_error

READERS = [TiffStreamReader, TiffBigEndianStreamReader, BigTiffReader, BigTiffReaderBE]
WRITERS = [TiffStreamWriter, TiffBigEndianStreamWriter, BigTiffWriter, BigTiffWriterBE]


def tag(kind: Any, number: int, value: Any) -> Any:
    made = kind(number)
    made.value = value
    return made


def short(number: int = 65000, *values: int) -> Any:
    made = types.TiffShortType(number)
    made.values = list(values)
    return made


def writer_to(file: io.BytesIO, kind: Any = TiffStreamWriter) -> Any:
    return kind(StreamContainer(file))


NOTHING: list[tuple[Callable[[], object], str]] = [
    *[(lambda kind=kind: kind._cast_to(None) and kind(None), "data") for kind in READERS[:1]],
    *[(lambda kind=kind: kind(None), "writer") for kind in WRITERS],
    (lambda: TiffDataType.read_tag(None, 0), "data_stream"),
    (lambda: short(1, 2).write_tag(None, 0), "data_stream"),
    (lambda: short(1, 2).write_additional_data(None), "data_stream"),
    (lambda: types.TiffUnknownType(None, 99, 700, 1, 0), "stream"),
    (lambda: writer_to(io.BytesIO()).write_rational(None), "data"),
    (lambda: writer_to(io.BytesIO()).write_s_rational(None), "data"),
    (lambda: writer_to(io.BytesIO()).write_rationals([TiffRational(1, 2), None]), "an element of data"),
    (lambda: writer_to(io.BytesIO()).write_ushorts(None), "data"),
    (lambda: TiffOptions([None]), "an element of the tags"),
    (lambda: TiffOptions(None), "options"),
    (lambda: BigTiffOptions(None), "options")]


@pytest.mark.parametrize(("call", "parameter"), NOTHING)
def test_what_has_to_be_given(call: Callable[[], object], parameter: str) -> None:
    with managed_error("ArgumentNullException", f"Value cannot be null. (Parameter '{parameter}')"):
        call()


@pytest.mark.parametrize("kind", READERS)
def test_where_a_reader_may_read(kind: Any) -> None:
    reader = kind(bytes(range(8)))
    for position, count, parameter, text in (
            (0, -1, "count", "A count is not negative."), (9, -1, "count", "A count is not negative."),
            (-1, 1, "position", "A position is not negative."), (-1, 0, "position", "A position is not negative.")):
        with managed_error("ArgumentOutOfRangeException", f"{text} (Parameter '{parameter}')"):
            reader.read_bytes(position, count)
        with managed_error("ArgumentOutOfRangeException", f"{text} (Parameter '{parameter}')"):
            reader.read_u_short_array(position, count)
    assert [bytes(reader.read_bytes(at, count)) for at, count in ((0, 0), (8, 0), (9, 0), (0, 8), (7, 1))] == [
        b"", b"", b"", bytes(range(8)), b"\x07"]
    for position, count in ((0, 9), (8, 1), (9, 1), (1, 8)):
        with managed_error("EndOfStreamException",
                           f"There are no {count} values of 1 bytes at the position {position}."):
            reader.read_bytes(position, count)
    assert len(list(reader.read_u_short_array(0, 4))) == 4
    with managed_error("EndOfStreamException", "There are no 4 values of 2 bytes at the position 1."):
        reader.read_u_short_array(1, 4)
    reader.throw_exceptions = False
    assert [len(list(reader.read_u_short_array(at, 4))) for at in (0, 1, 2, 6, 7, 8, 99)] == [4, 3, 3, 1, 0, 0, 0]
    for position in (-1, 9):
        with managed_error("ArgumentOutOfRangeException",
                           "The position is not within the stream. (Parameter 'start_position')"):
            reader.to_stream_container(position)
    assert reader.to_stream_container(8).length == 0


def test_where_a_reader_puts_bytes() -> None:
    reader = TiffStreamReader(b"abcdef")
    for index in (-1, 5):
        with managed_error("ArgumentOutOfRangeException",
                           "The index is not within the 4 bytes. (Parameter 'array_index')"):
            reader.read_bytes(bytearray(4), index, 0, 0)
    for index, count in ((0, 5), (4, 1), (3, 2), (0, -1)):
        with managed_error("ArgumentOutOfRangeException",
                           f"There is no room for {count} bytes behind the index. (Parameter 'count')"):
            reader.read_bytes(bytearray(4), index, 0, count)
    for index, position, count, expected in ((0, 0, 4, b"abcd"), (4, 0, 0, b"...."), (3, 5, 1, b"...f"),
                                             (1, 2, 2, b".cd.")):
        memory = bytearray(b"....")
        reader.read_bytes(memory, index, position, count)
        assert memory == expected


@pytest.mark.parametrize("kind", READERS)
def test_parts_of_bytes(kind: Any) -> None:
    for start, length in ((0, 6), (6, 0), (2, 3), (0, 0)):
        reader = kind(b"abcdef", start, length)
        assert (reader.length, bytes(reader.read_bytes(0, length))) == (length, b"abcdef"[start:start + length])
    assert kind(b"abcdef", 2).length == 4
    for arguments in ((-1,), (7,), (-1, 0), (7, 0)):
        with managed_error("ArgumentOutOfRangeException",
                           "The index is not within the 6 bytes. (Parameter 'start_index')"):
            kind(b"abcdef", *arguments)
    for start, length in ((0, 7), (6, 1), (3, 4), (0, -1)):
        with managed_error("ArgumentOutOfRangeException",
                           f"There are no {length} bytes behind the index. (Parameter 'data_length')"):
            kind(b"abcdef", start, length)


@pytest.mark.parametrize("kind", WRITERS)
def test_parts_that_are_written(kind: Any) -> None:
    file = io.BytesIO()
    writer = writer_to(file, kind)
    for offset, length in ((-1, 0), (4, 0), (4, 1)):
        with managed_error("ArgumentOutOfRangeException", "The offset is not within the bytes. (Parameter 'offset')"):
            writer.write(b"abc", offset, length)
    for offset, length in ((0, 4), (3, 1), (1, 3), (0, -1)):
        with managed_error("ArgumentOutOfRangeException",
                           f"There are no {length} bytes behind the offset. (Parameter 'data_length')"):
            writer.write(b"abc", offset, length)
    assert file.getvalue() == b""
    for offset, length in ((0, 3), (3, 0), (1, 1), (2, 1)):
        writer.write(b"abc", offset, length)
    assert file.getvalue() == b"abcbc"
    with managed_error("ArgumentOutOfRangeException", "A position is not negative. (Parameter 'value')"):
        writer.position = -1
    writer.position = 0
    writer.write_byte(1)
    assert file.getvalue() == b"\x01bcbc"


@pytest.mark.parametrize("size", [1, 2, 3, 4, 8, 255])
def test_sizes_of_values(size: int) -> None:
    """What does not fit in its entry is rounded up to whole entries."""
    for count in range(1, 9):
        made = short(700, *range(count))
        rounded = -(-2 * count // size) * size
        assert made.get_aligned_data_size(size) == rounded
        assert made.get_additional_data_size(size) == (0 if 2 * count <= size else rounded)


def test_values_of_no_size() -> None:
    for name in ("get_aligned_data_size", "get_additional_data_size"):
        with managed_error("ArgumentOutOfRangeException", "The space for the value of a tag is not empty. "
                           "(Parameter 'size_of_tag_value')"):
            getattr(short(700, 1), name)(0)


@pytest.mark.parametrize(("kind", "code", "word", "last"), [
    (TiffStreamWriter, "<HHI", 4, 2 ** 32 - 1), (TiffBigEndianStreamWriter, ">HHI", 4, 2 ** 32 - 1),
    (BigTiffWriter, "<HHQ", 8, 2 ** 63 - 1), (BigTiffWriterBE, ">HHQ", 8, 2 ** 63 - 1)])
def test_entries_of_tags(kind: Any, code: str, word: int, last: int) -> None:
    order = code[0]
    for count in range(7):
        made = short(700, *range(1, count + 1)) if count else types.TiffShortType(700)
        for offset in (0, 1000, last):
            file = io.BytesIO()
            writer = writer_to(file, kind)
            made.write_tag(writer, offset)
            data = struct.pack(f"{order}{count}H", *range(1, count + 1))
            if len(data) > word:
                data = struct.pack(order + code[-1], offset)
            assert file.getvalue() == struct.pack(code, 700, 3, count) + data.ljust(word, b"\0")
            written = made.write_additional_data(writer)
            assert file.getvalue()[4 + 2 * word:] == (
                struct.pack(f"{order}{count}H", *range(1, count + 1)).ljust(written,
                                                                            b"\0") if 2 * count > word else b"")
    for offset in (-1, *([last + 1] if word == 4 else [])):
        with managed_error("ArgumentOutOfRangeException", "The offset does not fit in the entry of a tag. "
                           "(Parameter 'additional_data_offset')"):
            short(700, *range(9)).write_tag(writer_to(io.BytesIO(), kind), offset)
        short(700, 1).write_tag(writer_to(io.BytesIO(), kind), offset)  # which needs none


def test_tags_of_kinds_that_nobody_knows() -> None:
    reader = TiffStreamReader(struct.pack("<HHII", 700, 99, 3, 5) * 2)
    found = types.TiffUnknownType._cast_to(TiffDataType.read_tag(reader, 0)).value
    assert (found.value, found.data_size, found.element_size) == (None, 0, 0)
    assert (found.id, int(found.tag_id), found.count, found.offset_or_value) == (700, 700, 3, 5)
    made = types.TiffUnknownType(reader, 99, 700, 3, 5)
    assert made != found and found == found and hash(found) == hash(found)
    clone = types.TiffUnknownType._cast_to(found.deep_clone()).value
    assert (clone.id, clone.count, clone.offset_or_value, clone.is_valid) == (700, 3, 5, False)
    assert bytes(clone.stream.read_bytes(0, 2)) == b"\xbc\x02"
    found.value = "own"
    assert types.TiffUnknownType._cast_to(found.deep_clone()).value.value == "own"
    refusal = "A tag of the unknown type 99 cannot be written: nobody knows how long its values are."
    for call in (lambda: found.write_tag(writer_to(io.BytesIO()), 0),
                 lambda: found.write_additional_data(writer_to(io.BytesIO()))):
        with managed_error("NotSupportedException", refusal):
            call()


def test_tags_that_are_equal_have_one_hash() -> None:
    one, same = short(700, 1, 2), short(700, 1, 2)
    assert one == same and hash(one) == hash(same)
    others = [short(701, 1, 2), short(700, 1), short(700, 2, 1), tag(types.TiffSShortType, 700, [1, 2]),
              tag(types.TiffByteType, 700, [1, 0, 2, 0])]
    for other in others:
        assert one != other
    assert len({hash(one), *(hash(other) for other in (others[0], others[3], others[4]))}) == 4
    assert one.compare_to(same) == 0 and one.compare_to(None) == 1
    assert (one.compare_to(short(701)), one.compare_to(short(699)), one.compare_to(short(65535))) == (-1, 1, -1)
    with managed_error("ArgumentException", "obj: A tag is compared with a tag."):
        one.compare_to(5)


def test_fractions_without_a_denominator() -> None:
    """They have no value to compare: they are equal if their numbers are."""
    for kind in (TiffRational, TiffSRational):
        assert kind(1, 0) == kind(1, 0) and hash(kind(1, 0)) == hash(kind(1, 0))
        assert kind(1, 0) != kind(2, 0) and kind(0, 0) != kind(1, 0)
        assert kind(0, 0) != kind(0, 1) and kind(0, 1) != kind(0, 0)
        assert kind(1, 2) == kind(2, 4) and kind(1, 2) != kind(2, 3) and kind(0, 1) == kind(0, 7)
        assert hash(kind(1, 2)) == hash(kind(2, 4))
    assert TiffRational(1, 2) != TiffSRational(1, 2)
    assert TiffSRational(-1, 2) == TiffSRational(1, -2) and hash(TiffSRational(-1, 2)) == hash(TiffSRational(1, -2))


@pytest.mark.parametrize(("values", "expected"), [
    (b"\0\x01\xff", b"\0\x01\xff"), ([0, 1, 255], b"\0\x01\xff"), ([], b"")])
def test_bytes_of_a_tag_without_a_kind(values: Any, expected: bytes) -> None:
    made = types.TiffUndefinedType(700)
    made.value = values
    assert (bytes(made.value), made.count) == (expected, len(expected))


@pytest.mark.parametrize(("values", "error", "text"), [
    ([256], "OverflowException", "The number 256 is no byte."), ([-1], "OverflowException",
                                                                 "The number -1 is no byte."),
    ([0, "a"], "InvalidCastException", "System.String"), ([0.5], "InvalidCastException", "System.Double"),
    ([None], "InvalidCastException", "System.Byte")])
def test_values_that_are_no_bytes(values: Any, error: str, text: str) -> None:
    made = types.TiffUndefinedType(700)
    with managed_error(error, text):
        made.value = values
    assert made.count == 0


def test_types_of_the_factory() -> None:
    for number, name in ((1, "Byte"), (2, "ASCII"), (3, "Short"), (4, "Long"), (5, "Rational"), (6, "SByte"),
                         (7, "Undefined"), (8, "SShort"), (9, "SLong"), (10, "SRational"), (11, "Float"), (12,
                                                                                                           "Double"),
                         (13, "Ifd"), (16, "Long8"), (17, "SLong8"), (18, "Ifd8")):
        made = TiffTagFactory.create_instance(number, 700)
        kind = getattr(types, f"Tiff{name}Type")
        assert type(kind._cast_to(made).value) is kind
        assert (made.id, int(made.tag_type), made.count) == (700, number, 0)
    for number in (0, 14, 15, 19, 65535):
        with managed_error("ArgumentOutOfRangeException",
                           f"The number {number} is no type of TIFF. (Parameter 'data_type')"):
            TiffTagFactory.create_instance(number, 700)


def test_numbers_of_tags_in_other_kinds() -> None:
    """A file may have a number in a tag of another kind than the format states."""
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    for kind in (types.TiffByteType, types.TiffShortType, types.TiffLongType, types.TiffLong8Type,
                 types.TiffSShortType):
        options.add_tag(tag(kind, TiffTags.COMPRESSION, [5]))
        assert int(options.compression) == 5
    for kind, value, text in ((types.TiffASCIIType, "a", "System.String"),
                              (types.TiffUndefinedType, b"a", "System.Byte[]"),
                              (types.TiffRationalType, [TiffRational(1, 2)], "TiffRational[]")):
        with managed_error("InvalidCastException", text, "System.Int32"):
            options.add_tag(tag(kind, TiffTags.COMPRESSION, value))
        assert int(options.compression) == 5
    resolution = tag(types.TiffRationalType, TiffTags.XRESOLUTION, [TiffRational(300, 1)])
    options.add_tag(resolution)
    assert options.xresolution == TiffRational(300, 1)
    resolution.value = [TiffRational(72, 1)]
    assert options.xresolution == TiffRational(72, 1)
    resolution.value = None
    assert options.xresolution is None
    options.add_tag(tag(types.TiffShortType, TiffTags.EXTRA_SAMPLES, [2, 0]))
    assert options.is_extra_samples_present and list(options.extra_samples) == [2, 0]
    options.add_tag(tag(types.TiffLongType, 34665, [1234]))
    assert (options.exif_ifd.offset, options.exif_ifd.has_value) == (1234, True)
    with managed_error("InvalidCastException", "System.UInt16[]"):
        options.add_tag(tag(types.TiffASCIIType, TiffTags.EXTRA_SAMPLES, "a"))
        options.extra_samples
