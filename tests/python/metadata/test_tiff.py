"""TIFF tags, fractions, readers and writers, compared with Python's struct module; options as sets of tags."""

from __future__ import annotations

import fractions
import io
import struct

import pytest
from zelmor.imaging import StreamContainer
from zelmor.imaging.fileformats.tiff import TiffDataType, TiffExifIfd, TiffRational, TiffSRational
from zelmor.imaging.fileformats.tiff import tifftagtypes as types
from zelmor.imaging.fileformats.tiff.enums import (TiffByteOrder, TiffCompressions, TiffDataTypes, TiffExpectedFormat,
                                                   TiffTags)
from zelmor.imaging.fileformats.tiff.filemanagement import (TiffBigEndianStreamReader, TiffBigEndianStreamWriter,
                                                            TiffStreamFactory, TiffStreamReader, TiffStreamWriter)
from zelmor.imaging.fileformats.tiff.filemanagement.bigtiff import (BigTiffReader, BigTiffReaderBE, BigTiffWriter,
                                                                    BigTiffWriterBE)
from zelmor.imaging.fileformats.tiff.instancefactory import TiffTagFactory
from zelmor.imaging.imageoptions import BigTiffOptions, TiffOptions

READERS = {"<": TiffStreamReader, ">": TiffBigEndianStreamReader}
WRITERS = {"<": TiffStreamWriter, ">": TiffBigEndianStreamWriter}

# Class, number of the type, bytes of a value, possible values.
NUMBERS = [
    (types.TiffByteType, 1, 1, [0, 255]),
    (types.TiffShortType, 3, 2, [0, 1, 65535]),
    (types.TiffLongType, 4, 4, [0, 2 ** 32 - 1]),
    (types.TiffSByteType, 6, 1, [-128, 127]),
    (types.TiffSShortType, 8, 2, [-32768, 32767]),
    (types.TiffSLongType, 9, 4, [-2 ** 31, 2 ** 31 - 1]),
    (types.TiffFloatType, 11, 4, [0.5, -2.0]),
    (types.TiffDoubleType, 12, 8, [0.1, 1e300]),
    (types.TiffIfdType, 13, 4, [8, 16]),
    (types.TiffLong8Type, 16, 8, [0, 2 ** 64 - 1]),
    (types.TiffSLong8Type, 17, 8, [-2 ** 63, 2 ** 63 - 1]),
    (types.TiffIfd8Type, 18, 8, [8, 2 ** 40]),
]


@pytest.mark.parametrize(("kind", "number", "size", "values"), NUMBERS)
def test_number_tags_keep_their_values(kind: type, number: int, size: int, values: list) -> None:
    tag = kind(4242)
    assert (tag.id, int(tag.tag_type), tag.element_size, tag.count) == (4242, number, size, 0)
    assert not tag.is_valid
    tag.values = given(kind, values)
    assert list(tag.values) == values and list(tag.value) == values
    assert list(tag.values_container) == values
    assert (tag.count, tag.data_size, tag.is_valid) == (len(values), size * len(values), True)
    clone = tag.deep_clone()
    assert clone == tag and list(clone.value) == values
    tag.value = values[-1]
    assert list(tag.values) == values[-1:]
    assert list(clone.value) == values
    tag.values = None
    assert tag.values is None and tag.count == 0
    with pytest.raises(RuntimeError, match="InvalidCastException"):
        tag.value = ["text"]
    with pytest.raises((TypeError, RuntimeError), match="can't build "):
        tag.values = ["text"]
    assert tag.values is None


@pytest.mark.parametrize(("kind", "element"), [
    (types.TiffShortType, "UInt16"), (types.TiffLongType, "UInt32"), (types.TiffSByteType, "SByte"),
    (types.TiffSShortType, "Int16"), (types.TiffSLongType, "Int32"), (types.TiffFloatType, "Single"),
    (types.TiffDoubleType, "Double"), (types.TiffIfdType, "UInt32"), (types.TiffLong8Type, "UInt64"),
    (types.TiffSLong8Type, "Int64"), (types.TiffIfd8Type, "UInt64")])
def test_a_list_becomes_an_array_of_the_numbers_of_its_tag(kind: type, element: str) -> None:
    tag = kind(1)
    tag.value = [1, 2]
    assert str(tag.value.get_type()) == f"System.{element}[]"


def given(kind: type, values: list) -> object:
    """Values in the form that their tag accepts: bytes are bytes."""
    return bytes(values) if issubclass(kind, types.TiffByteType) else values


@pytest.mark.parametrize(("kind", "bad"), [(types.TiffByteType, 256), (types.TiffShortType, -1),
                                           (types.TiffSByteType, 128), (types.TiffLongType, 2 ** 32),
                                           (types.TiffUndefinedType, -1)])
def test_numbers_out_of_range_are_refused(kind: type, bad: int) -> None:
    tag = kind(1)
    with pytest.raises(RuntimeError, match="OverflowException"):
        tag.value = [bad]
    assert tag.count == 0


def test_text_and_bytes() -> None:
    text = types.TiffASCIIType(TiffTags.ARTIST)
    assert (text.tag_id, text.tag_type, text.text) == (TiffTags.ARTIST, TiffDataTypes.ASCII, None)
    text.text = "Käthe"
    assert (text.value, text.count) == ("Käthe", len("Käthe".encode()) + 1)
    data = types.TiffUndefinedType.create_with_tag_id(7)
    data.data = b"\x00\x01\xff"
    assert (bytes(data.value), data.count) == (b"\x00\x01\xff", 3)
    with pytest.raises(TypeError, match="^can't build String from 'int'$"):
        text.text = 5
    with pytest.raises(RuntimeError, match="InvalidCastException"):
        text.value = 5


def test_fractions_in_tags() -> None:
    tag = types.TiffRationalType.create_with_tag(TiffTags.XRESOLUTION)
    tag.value = [TiffRational(1, 3), 2, 0.25]
    assert [(value.nominator, value.denominator) for value in tag.values] == [(1, 3), (2, 1), (1, 4)]
    signed = types.TiffSRationalType(1)
    signed.value = TiffSRational(-1, 2)
    assert signed.values[0].value == -0.5
    with pytest.raises(RuntimeError, match="OverflowException"):
        tag.value = [TiffSRational(-1, 2)]


def test_the_factory_makes_each_type() -> None:
    for kind in TiffDataTypes:
        tag = TiffTagFactory.create_instance(int(kind), 5)
        assert (tag.id, tag.tag_type) == (5, kind)
    with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
        TiffTagFactory.create_instance(99, 5)


def test_tags_are_ordered_by_number() -> None:
    one, two = types.TiffByteType(1), types.TiffASCIIType(2)
    assert one.compare_to(two) == -1 and two.compare_to(one) == 1
    assert one.compare_to(one) == 0 and one.compare_to(None) == 1


def test_fractions() -> None:
    assert (TiffRational().nominator, TiffRational().denominator) == (0, 1)
    assert TiffRational(5).value == 5.0
    half = TiffRational(1, 2)
    assert (half.value, half.value_d) == (0.5, 0.5)
    assert half == TiffRational(2, 4) != TiffRational(1, 3)
    assert hash(half) == hash(TiffRational(2, 4))
    assert hash(TiffSRational(-1, 2)) == hash(TiffSRational(2, -4)) != hash(TiffSRational(1, 2))
    # Few of other values share one.
    values = {fractions.Fraction(above, below) for above in range(40) for below in range(1, 40)}
    hashes = {hash(TiffRational(value.numerator, value.denominator)) for value in values}
    assert len(hashes) > 0.8 * len(values)
    assert half != TiffSRational(1, 2)
    assert str(TiffSRational(-1, 2)) == "-1/2"
    assert TiffRational(1, 0).value == float("inf")


@pytest.mark.parametrize("value", [0.0, 0.5, 1 / 3, 3.14159265358979, 2.8, 1e-5, 123456.789, 4e9])
def test_fractions_come_near_enough(value: float) -> None:
    near = TiffRational.approximate_fraction(value)
    assert abs(near.nominator / near.denominator - value) <= TiffRational.EPSILON
    rough = TiffRational.approximate_fraction(value, 0.01)
    # No fraction with a smaller denominator than the one that Python finds for this size is nearer.
    best = fractions.Fraction(value).limit_denominator(rough.denominator)
    assert abs(rough.nominator / rough.denominator - value) <= 0.01
    assert fractions.Fraction(rough.nominator, rough.denominator) == best
    assert TiffSRational.approximate_double_fraction(-value / 2).value_d == pytest.approx(-value / 2, abs=1e-6)


def test_what_is_no_fraction_is_refused() -> None:
    for value in (float("nan"), float("inf"), -1.0):
        with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
            TiffRational.approximate_double_fraction(value)
    with pytest.raises(RuntimeError, match="OverflowException"):
        TiffRational.approximate_double_fraction(1e10)
    with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
        TiffRational.approximate_double_fraction_eps(0.5, 0.0)


@pytest.mark.parametrize("order", "<>")
def test_readers_read_numbers(order: str) -> None:
    data = struct.pack(f"{order}bBhHiIqQfd", -5, 200, -300, 60000, -70000, 4000000000, -2 ** 40, 2 ** 63, 0.5, 0.1)
    reader = READERS[order](data)
    assert reader.length == len(data)
    assert (reader.read_s_byte(0), reader.read_s_short(2), reader.read_u_short(4)) == (-5, -300, 60000)
    assert (reader.read_s_int(6), reader.read_u_int(10)) == (-70000, 4000000000)
    assert (reader.read_long(14), reader.read_u_long(22)) == (-2 ** 40, 2 ** 63)
    assert (reader.read_float(30), reader.read_double(34)) == (0.5, 0.1)


@pytest.mark.parametrize("order", "<>")
@pytest.mark.parametrize(("method", "code"), [("read_s_byte_array", "b"), ("read_s_short_array", "h"),
                                              ("read_u_short_array", "H"), ("read_s_int_array", "i"),
                                              ("read_u_int_array", "I"), ("read_long_array", "q"),
                                              ("read_u_long_array", "Q"), ("read_float_array", "f"),
                                              ("read_double_array", "d")])
def test_readers_read_arrays(order: str, method: str, code: str) -> None:
    values = [0.5, 2.0, 8.0] if code in "fd" else [1, 2, 100]
    reader = READERS[order](b"xx" + struct.pack(f"{order}3{code}", *values), 1)
    assert list(getattr(reader, method)(1, 3)) == values
    assert list(getattr(reader, method)(1, 0)) == []


def test_readers_read_bytes_and_fractions() -> None:
    reader = TiffStreamReader(struct.pack("<4I", 1, 2, 3, 4) + struct.pack("<2i", -1, 2))
    assert bytes(reader.read_bytes(0, 4)) == b"\x01\0\0\0"
    memory = bytearray(6)
    reader.read_bytes(memory, 1, 4, 4)
    assert memory == b"\0\x02\0\0\0\0"
    assert [(f.nominator, f.denominator) for f in reader.read_rational_array(0, 2)] == [(1, 2), (3, 4)]
    assert reader.read_s_rational(16).value == -0.5
    assert reader.read_rational(0).value == 0.5
    assert [f.value for f in reader.read_s_rational_array(16, 1)] == [-0.5]
    container = reader.to_stream_container(20)
    assert bytes(container.to_bytes()) == b"\x02\0\0\0"


def test_a_reader_refuses_to_read_beyond_the_end() -> None:
    reader = TiffStreamReader(b"\x01\x02\x03")
    for call in (lambda: reader.read_u_int(0), lambda: reader.read_u_short(-1), lambda: reader.read_bytes(0, 4),
                 lambda: reader.read_u_short_array(0, 2 ** 60)):
        with pytest.raises(RuntimeError, match="EndOfStreamException|ArgumentOutOfRangeException"):
            call()
    reader.throw_exceptions = False
    assert reader.read_u_int(0) == 0x030201
    assert list(reader.read_u_short_array(0, 2 ** 60)) == [0x0201]
    for arguments in ((b"abc", 4), (b"abc", -1), (b"abc", 1, 3), (b"abc", 0, -1)):
        with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
            TiffStreamReader(*arguments)


def test_readers_leave_a_stream_where_it_was() -> None:
    file = io.BytesIO(b"\0\x05\0\x07")
    file.seek(1)
    with StreamContainer(file) as container:
        reader = TiffBigEndianStreamReader(container)
        assert (reader.read_u_short(2), reader.read_u_short(0)) == (7, 5)
        assert file.tell() == 1


@pytest.mark.parametrize("order", "<>")
def test_writers_write_numbers(order: str) -> None:
    file = io.BytesIO()
    with StreamContainer(file) as container:
        writer = WRITERS[order](container)
        writer.write_s_byte(-5)
        writer.write_byte(200)
        writer.write_short(-300)
        writer.write_ushort(60000)
        writer.write_int(-70000)
        writer.write_uint(4000000000)
        writer.write_long(-2 ** 40)
        writer.write_ulong(2 ** 63)
        writer.write_float(0.5)
        writer.write_double(0.1)
        assert writer.position == file.tell() == 42
        writer.write_bytes(b"abc")
        writer.write(b"abcdef", 1, 2)
        writer.write_rational(TiffRational(1, 2))
        writer.write_s_rationals([TiffSRational(-1, 2)])
        writer.write_ushorts([1, 2])
        writer.write_doubles([0.25])
    expected = struct.pack(f"{order}bBhHiIqQfd", -5, 200, -300, 60000, -70000, 4000000000, -2 ** 40, 2 ** 63, 0.5, 0.1)
    expected += b"abcbc" + struct.pack(f"{order}IIiiHHd", 1, 2, -1, 2, 1, 2, 0.25)
    assert file.getvalue() == expected


def test_a_writer_writes_all_or_nothing() -> None:
    file = io.BytesIO()
    with StreamContainer(file) as container:
        writer = TiffStreamWriter(container)
        with pytest.raises((RuntimeError, TypeError, OverflowError)):
            writer.write_ushorts([1, 70000])
        with pytest.raises(RuntimeError, match="ArgumentNullException"):
            writer.write_rational(None)
        writer.position = 3
        writer.write_byte(9)
    assert file.getvalue() == b"\0\0\0\x09"


def test_the_factory_of_streams_chooses_by_order_and_form() -> None:
    for order, big, kind in ((TiffByteOrder.LITTLE_ENDIAN, False, TiffStreamReader),
                             (TiffByteOrder.BIG_ENDIAN, False, TiffBigEndianStreamReader),
                             (TiffByteOrder.LITTLE_ENDIAN, True, BigTiffReader),
                             (TiffByteOrder.BIG_ENDIAN, True, BigTiffReaderBE)):
        reader = TiffStreamFactory.get_tiff_reader(b"\x01\x02", 0, 2, order, big)
        assert reader.read_u_short(0) == (0x0102 if order == TiffByteOrder.BIG_ENDIAN else 0x0201)
        assert type(kind._cast_to(reader).value) is kind
    with StreamContainer(io.BytesIO()) as container:
        writer = TiffStreamFactory.get_tiff_writer(container, TiffByteOrder.BIG_ENDIAN, True)
        assert type(BigTiffWriterBE._cast_to(writer).value) is BigTiffWriterBE


@pytest.mark.parametrize(("reader_kind", "writer_kind", "entry"), [
    (TiffStreamReader, TiffStreamWriter, 12), (TiffBigEndianStreamReader, TiffBigEndianStreamWriter, 12),
    (BigTiffReader, BigTiffWriter, 20), (BigTiffReaderBE, BigTiffWriterBE, 20)])
def test_tags_go_through_a_file(reader_kind: type, writer_kind: type, entry: int) -> None:
    tags = []
    for kind, _, _, values in NUMBERS:
        tags.append(kind(100 + len(tags)))
        tags[-1].values = given(kind, values * 3)
    tags.append(types.TiffASCIIType(300))
    tags[-1].text = "a text that is longer than an entry"
    tags.append(types.TiffASCIIType(301))
    tags[-1].text = "ab"
    tags.append(types.TiffUndefinedType(302))
    tags[-1].data = bytes(range(11))
    tags.append(types.TiffSRationalType(303))
    tags[-1].values = [TiffSRational(-1, 2), TiffSRational(3, 4)]
    file = io.BytesIO()
    with StreamContainer(file) as container:
        writer = writer_kind(container)
        offset = entry * len(tags)
        for tag in tags:
            tag.write_tag(writer, offset)
            offset += tag.get_additional_data_size(8 if entry == 20 else 4)
        assert file.tell() == entry * len(tags)
        written = sum(tag.write_additional_data(writer) for tag in tags)
        assert entry * len(tags) + written == file.tell() == offset
    reader = reader_kind(file.getvalue())
    for index, tag in enumerate(tags):
        back = TiffDataType.read_tag(reader, entry * index)
        assert back == tag, tag.id


def test_unknown_types_are_kept_and_not_written() -> None:
    reader = TiffStreamReader(struct.pack("<HHII", 700, 99, 3, 5))
    tag = types.TiffUnknownType._cast_to(TiffDataType.read_tag(reader, 0)).value
    assert (tag.id, tag.count, tag.offset_or_value, tag.is_valid) == (700, 3, 5, False)
    with StreamContainer(io.BytesIO()) as container:
        with pytest.raises(RuntimeError, match="NotSupportedException"):
            tag.write_tag(TiffStreamWriter(container), 0)


def test_a_tag_beyond_the_end_is_refused() -> None:
    for count, offset in ((100, 0), (2 ** 32 - 1, 8), (3, 2 ** 32 - 1)):
        with pytest.raises(RuntimeError, match="EndOfStreamException"):
            TiffDataType.read_tag(TiffStreamReader(struct.pack("<HHII", 700, 3, count, offset)), 0)


def options() -> TiffOptions:
    return TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)


def ids(made: TiffOptions) -> list[int]:
    return [tag.id for tag in made.tags]


def test_options_are_tags() -> None:
    made = options()
    assert ids(made) == [258, 259, 262]
    made.artist = "Me"
    assert made.is_tag_present(TiffTags.ARTIST)
    assert made.get_tag_by_type(TiffTags.ARTIST).value == "Me"
    assert made.get_tag_by_type(TiffTags.COPYRIGHT) is None
    made.get_tag_by_type(TiffTags.ARTIST).value = "You"
    assert made.artist == "You"
    assert made.remove_tag(TiffTags.ARTIST) and not made.remove_tag(TiffTags.ARTIST)
    assert made.artist is None and not made.is_tag_present(TiffTags.ARTIST)


def test_tags_set_options() -> None:
    made = options()
    compression = types.TiffShortType(TiffTags.COMPRESSION)
    compression.values = [8]
    own = types.TiffASCIIType(65000)
    own.text = "mine"
    title = types.TiffByteType(TiffTags.XP_TITLE)
    title.values = "Titel".encode("utf-16-le") + b"\0\0"
    made.add_tags([compression, own])
    made.add_tag(title)
    assert made.compression == TiffCompressions(8)
    assert made.xp_title == "Titel"
    assert 65000 in ids(made)
    assert made.remove_tags([TiffTags.COMPRESSION, TiffTags.ARTIST])
    assert not made.remove_tags([TiffTags.COMPRESSION])
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        made.add_tag(None)


def test_options_refuse_what_their_tags_cannot_have() -> None:
    made = options()
    for name, value in (("artist", 5), ("xp_title", b"bytes"), ("page_number", 7), ("bits_per_sample", ["text"]),
                        ("page_number", [70000])):
        before = getattr(made, name)
        with pytest.raises((TypeError, RuntimeError), match="can't build |UInt16"):
            setattr(made, name, value)
        assert getattr(made, name) == before


def test_options_say_whether_they_are_valid() -> None:
    made = options()
    made.validate()
    assert made.is_valid and made.valid_tag_count == 3
    empty = types.TiffASCIIType(65000)
    made.add_tag(empty)
    assert not made.is_valid and made.valid_tag_count == 3
    assert TiffOptions.get_valid_tags_count([empty]) == 0
    with pytest.raises(RuntimeError, match="InvalidOperationException.*65000"):
        made.validate()


def test_options_from_tags_and_from_options() -> None:
    artist = types.TiffASCIIType(TiffTags.ARTIST)
    artist.text = "Me"
    own = types.TiffShortType(65000)
    own.values = [1, 2]
    for kind in (TiffOptions, BigTiffOptions):
        made = kind([artist, own])
        assert made.artist == "Me"
        copied = kind(made)
        assert ids(copied) == ids(made)
        own_copy = next(tag for tag in copied.tags if tag.id == 65000)
        own_copy.value = [9]
        assert list(own.values) == [1, 2]
        clone = made.clone()
        assert TiffOptions._cast_to(clone).value.artist == "Me"
    made.tags = []
    assert ids(made) == []


def test_pages_and_pointers_of_options() -> None:
    made = options()
    assert (made.total_pages, made.is_extra_samples_present, made.extra_samples) == (0, False, None)
    made.page_number = [1, 7]
    assert made.total_pages == 7
    assert not made.exif_ifd.has_value
    assert (TiffExifIfd(12).offset, TiffExifIfd(12).has_value, TiffExifIfd().has_value) == (12, True, False)
