"""EXIF data of files beside exiftool and Pillow: every directory, notes that end far behind, odd kinds of values."""

from __future__ import annotations

import io
import struct
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging.exif import ExifData, ExifProperties, JpegExifData
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.tiff import TiffRational
from zelmor.imaging.fileformats.tiff.tifftagtypes import (TiffASCIIType, TiffByteType, TiffLongType, TiffRationalType,
                                                          TiffShortType, TiffUndefinedType)
from zelmor.imaging.imageoptions import PngOptions

from support.image_oracles import managed_error
from support.metadata_files import encoded, exiftool, loaded, saved

EXIF_IFD, INTEROPERABILITY = 34665, 40965


def entry(order: str, tag: int, kind: int, count: int, content: bytes | int) -> bytes:
    field = struct.pack(order + "I", content) if isinstance(content, int) else content.ljust(4, b"\0")
    return struct.pack(order + "HHI", tag, kind, count) + field


def directory(order: str, *entries: bytes) -> bytes:
    return struct.pack(order + "H", len(entries)) + b"".join(entries) + bytes(4)


def with_interoperability(order: str) -> bytes:
    """EXIF data whose directory of EXIF has one of interoperability below it."""
    def text(kind: int, count: int, content: bytes) -> tuple[int, int, bytes]:
        return kind, count, content

    common = directory(order, entry(order, EXIF_IFD, 4, 1, 8 + 18))
    inner = directory(order, entry(order, 36864, 7, 4, b"0231"), entry(order, INTEROPERABILITY, 4, 1, 8 + 18 + 30))
    below = directory(order, entry(order, 1, *text(2, 4, b"R98\0")), entry(order, 2, *text(7, 4, b"0100")))
    head = {"<": b"II*\0", ">": b"MM\0*"}[order] + struct.pack(order + "I", 8)
    return head + common + inner + below


@pytest.mark.parametrize("order", "<>")
def test_the_directory_of_interoperability_stays(order: str) -> None:
    data = encoded("JPEG", exif=b"Exif\0\0" + with_interoperability(order))
    before = exiftool(data)
    assert (before["EXIF:InteropIndex"], before["EXIF:InteropVersion"]) == ("R98", "0100")
    image = loaded(data, JpegImage)
    assert image.exif_data.exif_version == b"0231"
    image.exif_data.artist = "Somebody whose name is longer than an entry"
    written = saved(image)
    after = exiftool(written)
    assert after.pop("EXIF:Artist") == "Somebody whose name is longer than an entry"
    assert after == before
    with Pillow.open(io.BytesIO(written)) as read:
        assert dict(read.getexif().get_ifd(INTEROPERABILITY)) == {1: "R98", 2: b"0100"}
    # It stays where it is all that the directory of EXIF has.
    image.exif_data.remove_tag_id(36864)
    assert exiftool(saved(image))["EXIF:InteropIndex"] == "R98"


@pytest.mark.parametrize(("size", "keeps"), [(60_000, True), (65_534 - 200, True), (65_535 - 200, True),
                                             (65_536 - 200, False), (70_000, False)])
def test_a_note_keeps_its_place_within_a_segment(size: int, keeps: bool) -> None:
    """A PNG can have more EXIF data than a JPEG; there a note that ends behind 65,535 bytes may move."""
    note = (bytes(range(256)) * 300)[:size]
    common = directory("<", entry("<", EXIF_IFD, 4, 1, 8 + 18))
    inner = directory("<", entry("<", 37500, 7, size, 200), entry("<", 40962, 4, 1, 40))
    exif = (b"II*\0" + struct.pack("<I", 8) + common + inner).ljust(200, b"\0") + note
    image = loaded(encoded("PNG", exif=exif))
    image.resize(20, 15)  # which the EXIF data tell
    with Pillow.open(io.BytesIO(saved(image, PngOptions()))) as read:
        found = read.info["exif"]
        assert read.getexif().get_ifd(EXIF_IFD) == {37500: note, 40962: 20}
    data = found[6:] if found.startswith(b"Exif") else found
    assert data.find(note) == (200 if keeps else 56)


def tag(kind: Any, number: int, value: Any) -> Any:
    made = kind(number)
    made.value = value
    return made


def test_numbers_of_tags_of_other_kinds() -> None:
    data = ExifData()
    for kind, value, expected in ((TiffShortType, [7], 7), (TiffLongType, [70_000], 70_000), (TiffByteType, b"\x07", 7),
                                  (TiffUndefinedType, b"\x07\x08", 7)):
        data.exif_tags = [tag(kind, 40962, value)]
        assert data.pixel_x_dimension == expected
    for kind, value, name in ((TiffASCIIType, "7", "System.String"),
                              (TiffRationalType, [TiffRational(7, 1)], "TiffRational[]")):
        data.exif_tags = [tag(kind, 40962, value)]
        with managed_error("InvalidCastException", name, "System.Int32"):
            data.pixel_x_dimension
    data.exif_tags = [TiffLongType(40962)]
    assert data.pixel_x_dimension == 0


def test_fractions_of_tags_of_other_kinds() -> None:
    data = ExifData()
    for kind, value, expected in ((TiffShortType, [7, 8], TiffRational(7, 1)), (TiffLongType, [9], TiffRational(9, 1)),
                                  (TiffRationalType, [TiffRational(1, 2), TiffRational(3, 4)], TiffRational(1, 2))):
        data.exif_tags = [tag(kind, 33437, value)]
        assert data.f_number == expected
    for kind in (TiffRationalType, TiffUndefinedType, TiffASCIIType):
        data.exif_tags = [kind(33437)]
        assert data.f_number is None


@pytest.mark.parametrize(("stored", "order", "text"), [
    (b"ASCII\0\0\0plain", "<", "plain"), (b"ASCII\0\0\0plain \0 \0", "<", "plain"), (b"ASCII\0\0\0", "<", ""),
    (b"\0" * 8 + b" a b\0", "<", " a b"), (b"ASCII\0\0\0\0\0\0", "<", ""),
    (b"UNICODE\0" + "\xc4b".encode("utf-16-le"), "<", "\xc4b"), (b"UNICODE\0" + "\xc4b".encode("utf-16-be"), ">",
                                                                 "\xc4b"),
    (b"UNICODE\0" + "a\0b\0\0".encode("utf-16-le"), "<", "a\0b"), (b"UNICODE\0" + bytes(6), "<", ""),
    (b"UNICODE\0" + b"a\0b", "<", "a"), (b"UNICODE\0", "<", "")])
def test_comments_that_are_filled_up(stored: bytes, order: str, text: str) -> None:
    data = ExifData()
    data.is_big_endian = order == ">"
    data.exif_tags = [tag(TiffUndefinedType, 37510, stored)]
    assert data.user_comment == text


@pytest.mark.parametrize("stored", [b"", b"abc", b"ASCII\0\0", b"ascii\0\0\0text", b"\0" * 7, b"JIS\0\0\0\0\0text"])
def test_comments_of_other_encodings(stored: bytes) -> None:
    data = ExifData()
    data.exif_tags = [tag(TiffUndefinedType, 37510, stored)]
    with managed_error("NotSupportedException", "ExifData.UserComment in an encoding other than ASCII and Unicode "
                       "(its tag has the bytes)"):
        data.user_comment


@pytest.mark.parametrize(("number", "place"), [
    *[(number, "gps_tags") for number in (0, 1, 31, 253)],
    *[(number, "common_tags") for number in (254, 271, 33433, 40091, 40095, 33550, 33723, 33922, 34264, 34377, 34675,
                                             34735, 34736, 34737, 50341, 50001, 65535)],
    *[(number, "exif_tags") for number in (33434, 33437, 40090, 40096, 33551, 34733, 34738, 36864, 42240, 50000)]])
def test_directories_of_tags(number: int, place: str) -> None:
    data = ExifData([tag(TiffShortType, number, [1])])
    places = {name: [found.id for found in getattr(data, name)] for name in ("common_tags", "exif_tags", "gps_tags")}
    assert places == {name: [number] if name == place else [] for name in places}
    assert [found.id for found in data.properties] == [number]
    data.remove_tag_id(number)
    assert list(data.properties) == []


def test_tags_that_are_missing() -> None:
    for call in (lambda: ExifData([None]), lambda: ExifData([], [None], []), lambda: JpegExifData([None])):
        with managed_error("ArgumentNullException", "Value cannot be null. (Parameter 'an element of the tags')"):
            call()
    data = ExifData([tag(TiffShortType, 271, [1])])
    with managed_error("ArgumentNullException", "an element of the tags"):
        data.exif_tags = [None]
    data.remove_tag(ExifProperties.MAKE)
    data.properties = None
    assert list(data.properties) == []


@pytest.mark.parametrize(("note", "name"), [
    (b"Nikon\0\x02", "Nikon"), (b"abc", "abc"), (b"AZ\0", "MakerNote"), (b"zaZ[", "zaZ"), (b"@AAAA", "MakerNote"),
    (b"`aaa", "MakerNote"), (b"{", "MakerNote"), (b"aa{a", "MakerNote"), (b"ABC\xc4", "ABC"), (b"\0abc", "MakerNote")])
def test_names_of_notes(note: bytes, name: str) -> None:
    data = ExifData()
    data.maker_note_raw_data = note
    found, = data.maker_notes
    assert (found.name, found.value) == (name, note.hex().upper())
