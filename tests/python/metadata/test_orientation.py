"""Turning pictures upright, beside Pillow; and the dates of pictures."""

from __future__ import annotations

import datetime
import os
import struct
import zlib
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageOps
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.exif.enums import ExifOrientation
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

from support.metadata_files import XMP_MARK, encoded, exiftool, loaded, opened, picture, saved, segment, with_segments


def exif(**tags: Any) -> Pillow.Exif:
    data = Pillow.Exif()
    for name, value in tags.items():
        data[int(name[1:])] = value
    return data


@pytest.mark.parametrize("orientation", range(1, 9))
@pytest.mark.parametrize("read_first", [False, True])
def test_every_orientation_is_turned_upright(orientation: int, read_first: bool) -> None:
    file = encoded("JPEG", picture((48, 32)), exif=exif(_274=orientation), quality=95)
    image = loaded(file, JpegImage)
    if read_first:
        assert image.exif_data.orientation == orientation
    image.auto_rotate()
    expected = ImageOps.exif_transpose(opened(file))
    assert (image.width, image.height) == expected.size
    written = opened(saved(image, PngOptions()))
    difference = np.asarray(written.convert("RGB")).astype(int) - np.asarray(expected).astype(int)
    assert np.abs(difference).max() <= 4
    assert image.exif_data.orientation == ExifOrientation.TOP_LEFT
    for options in (JpegOptions(), PngOptions()):
        assert exiftool(saved(image, options))["EXIF:Orientation"] == 1
    image.auto_rotate()
    assert (image.width, image.height) == expected.size


def test_nothing_to_turn() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.auto_rotate()
    assert (image.width, image.height) == (40, 30) and image.exif_data is None
    image = loaded(encoded("JPEG", exif=exif(_274=77)), JpegImage)
    image.auto_rotate()
    assert (image.width, image.height) == (40, 30)


def test_the_orientation_in_the_packet_is_reset_too() -> None:
    packet = ('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
              '<rdf:Description rdf:about="" xmlns:tiff="http://ns.adobe.com/tiff/1.0/" tiff:Orientation="6"/>'
              "</rdf:RDF></x:xmpmeta>")
    file = with_segments(encoded("JPEG", exif=exif(_274=6)), segment(0xE1, XMP_MARK + packet.encode()))
    image = loaded(file, JpegImage)
    image.auto_rotate()
    found = exiftool(saved(image, JpegOptions()))
    assert (found["XMP:Orientation"], found["EXIF:Orientation"]) == (1, 1)


# ---- Dates


def test_dates_of_metadata() -> None:
    image = loaded(encoded("JPEG", exif=exif(_306="2024:05:17 10:20:30")))
    assert image.get_modify_date(False) == datetime.datetime(2024, 5, 17, 10, 20, 30)
    assert image.get_modify_date(True) == datetime.datetime(2024, 5, 17, 10, 20, 30)
    packet = ('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
              '<rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/" '
              'xmp:ModifyDate="2023-02-01T04:05:06+02:00"/></rdf:RDF></x:xmpmeta>')
    image = loaded(with_segments(encoded("JPEG"), segment(0xE1, XMP_MARK + packet.encode())))
    assert image.get_modify_date(False) == datetime.datetime(2023, 2, 1, 4, 5, 6)


def test_the_date_of_a_png() -> None:
    body = b"tIME" + struct.pack(">HBBBBB", 2022, 12, 31, 23, 59, 58)
    data = encoded("PNG")
    image = loaded(data[:33] + struct.pack(">I", 7) + body + struct.pack(">I", zlib.crc32(body)) + data[33:])
    assert image.get_modify_date(False) == datetime.datetime(2022, 12, 31, 23, 59, 58)
    assert exiftool(saved(image))["PNG:ModifyDate"] == "2022:12:31 23:59:58"


@pytest.mark.parametrize("text", ["    :  :     :  :  ", "2024:13:45 10:20:30", "yesterday"])
def test_dates_that_are_none(text: str) -> None:
    image = loaded(encoded("JPEG", exif=exif(_306=text)))
    assert image.get_modify_date(False) == datetime.datetime.min
    assert image.get_modify_date(True) == datetime.datetime.min


def test_the_date_of_the_file(tmp_path: Path) -> None:
    path = tmp_path / "a.png"
    path.write_bytes(encoded("PNG"))
    os.utime(path, (1_700_000_000, 1_700_000_000))
    image = RasterImage._cast_to(Image.load(str(path))).value
    assert image.get_modify_date(False) == datetime.datetime.min
    assert image.get_modify_date(True) == datetime.datetime.fromtimestamp(1_700_000_000)
