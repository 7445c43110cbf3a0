"""The date of a file: which of the dates that it tells is taken, and texts and numbers that are none."""

from __future__ import annotations

import datetime
import struct
import zlib
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, WebPOptions
from zelmor.imaging.xmp import Namespaces, XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support.metadata_files import XMP_MARK, encoded, loaded, saved, segment, with_segments

NONE = datetime.datetime.min
RDF = "http://www.w3.org/1999/02/22-rdf-syntax-ns#"


def png(*chunks: tuple[bytes, bytes]) -> bytes:
    plain = encoded("PNG")
    at = plain.index(b"IDAT") - 4
    more = b"".join(struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
                    for kind, content in chunks)
    return plain[:at] + more + plain[at:]


def time(*numbers: int) -> tuple[bytes, bytes]:
    return b"tIME", struct.pack(">H5B", *numbers)


def jpeg_with_date(text: str) -> bytes:
    packet = (f'<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="{RDF}"><rdf:Description rdf:about="" '
              f'xmlns:xmp="{Namespaces.XMP_BASIC}" xmp:ModifyDate="{text}"/></rdf:RDF></x:xmpmeta>')
    return with_segments(encoded("JPEG"), segment(0xE1, XMP_MARK + packet.encode()))


@pytest.mark.parametrize(("chunks", "date"), [
    ([time(2022, 12, 31, 23, 59, 58)], datetime.datetime(2022, 12, 31, 23, 59, 58)),
    ([(b"tEXt", b"Title\0a title"), time(2022, 1, 2, 3, 4, 5)], datetime.datetime(2022, 1, 2, 3, 4, 5)),
    ([(b"tIME", b"\7\xe6\1\2\3\4"), time(2022, 1, 2, 3, 4, 5)], datetime.datetime(2022, 1, 2, 3, 4, 5)),
    ([(b"tIME", b"\7\xe6\1\2\3\4\5\6")], NONE), ([(b"tEXt", b"abcdef\0")], NONE), ([], NONE),
    ([time(2022, 13, 1, 0, 0, 0)], NONE), ([time(2022, 0, 1, 0, 0, 0)], NONE), ([time(2022, 2, 29, 0, 0, 0)], NONE),
    ([time(2024, 2, 29, 0, 0, 0)], datetime.datetime(2024, 2, 29)), ([time(2022, 1, 1, 24, 0, 0)], NONE),
    ([time(2022, 1, 1, 0, 60, 0)], NONE), ([time(2022, 1, 1, 0, 0, 60)], NONE), ([time(0, 1, 1, 0, 0, 0)], NONE),
    ([time(9999, 12, 31, 0, 0, 0)], datetime.datetime(9999, 12, 31))])
def test_the_date_of_a_png(chunks: list[tuple[bytes, bytes]], date: datetime.datetime) -> None:
    assert loaded(png(*chunks)).get_modify_date(False) == date


@pytest.mark.parametrize(("text", "date"), [
    ("2023-02-01T04:05:06", datetime.datetime(2023, 2, 1, 4, 5, 6)),
    ("2023-02-01T04:05:06Z", datetime.datetime(2023, 2, 1, 4, 5, 6, tzinfo=datetime.timezone.utc)),
    ("2023-02-01T04:05:06+02:00", datetime.datetime(2023, 2, 1, 4, 5, 6)),  # the clock that the text shows
    ("2023-02-01", datetime.datetime(2023, 2, 1)), ("2023", datetime.datetime(2023, 1, 1)), ("yesterday", NONE),
    ("2023-02-30", NONE), ("", NONE)])
def test_the_date_of_a_packet(text: str, date: datetime.datetime) -> None:
    assert loaded(jpeg_with_date(text)).get_modify_date(False) == date


@pytest.mark.parametrize(("text", "date"), [
    ("2024:05:17 10:20:30", datetime.datetime(2024, 5, 17, 10, 20, 30)), ("2024:05:17", NONE), ("    :  :     :  :  ",
                                                                                                NONE),
    ("2024:13:17 10:20:30", NONE), ("2024:02:30 10:20:30", NONE), ("2024:05:17 24:20:30", NONE), ("", NONE)])
def test_the_date_of_exif_data(text: str, date: datetime.datetime) -> None:
    image = loaded(encoded("JPEG", exif=exif_with(text)))
    assert image.get_modify_date(False) == date


def exif_with(text: str) -> Any:
    exif = Pillow.Exif()
    exif[306] = text
    return exif


@pytest.mark.parametrize("options", [JpegOptions, PngOptions, WebPOptions])
def test_a_packet_that_is_brought_up_to_date_gets_the_dates(options: type) -> None:
    """Also where it had no package for them."""
    image = loaded(encoded("JPEG"))
    packet, package = XmpPacketWrapper(), DublinCorePackage()
    package.set_title("a title")
    packet.add_package(package)
    image.xmp_data = packet
    image.update_xmp_data = True
    before = datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)
    found = loaded(saved(image, options())).xmp_data
    assert found.get_package(Namespaces.DUBLIN_CORE).contains_key("title")
    basic = found.get_package(Namespaces.XMP_BASIC)
    for name in ("ModifyDate", "MetadataDate"):
        date = datetime.datetime.fromisoformat(basic.get_prop_value(name).replace("Z", "+00:00"))
        assert before <= date <= datetime.datetime.now(datetime.timezone.utc)
    assert sorted(basic) == ["xmp:MetadataDate", "xmp:ModifyDate"]
    assert not packet.contains_package(Namespaces.XMP_BASIC)  # the object itself stays as it is
