"""Files of formats that the API names and this runtime does not read: told by their first bytes, refused by name."""

from __future__ import annotations

import gzip
import io
from pathlib import Path

import pytest
from zelmor.imaging import FileFormat, Image

from support.image_oracles import managed_error


#: The member of FileFormat, the name in messages, a beginning of a file.
KNOWN = [
    ("DXF", "DXF", b"  0\r\nSECTION\r\n  2\r\nHEADER\r\n"),
    ("PDF", "PDF", b"%PDF-1.4\n"),
    ("HTML_5_CANVAS", "HTML5 canvas", b"<!DOCTYPE html>\n<canvas></canvas>"),
]


@pytest.mark.parametrize(("member", "name", "data"), KNOWN, ids=[f"{row[0]}-{len(row[2])}" for row in KNOWN])
def test_a_known_format_is_told_and_refused_by_its_name(tmp_path: Path, member: str, name: str, data: bytes) -> None:
    path = tmp_path / "a.png"  # the name does not count
    path.write_bytes(data)
    text = f"this runtime does not read {name} files."
    assert Image.get_file_format(str(path)) == FileFormat[member]
    assert Image.get_file_format(io.BytesIO(data)) == FileFormat[member]
    assert not Image.can_load(str(path))
    assert not Image.can_load(io.BytesIO(data))
    with managed_error("NotSupportedException", f"Cannot load '{path}': {text}"):
        Image.load(str(path))
    with managed_error("NotSupportedException", f"Cannot load the image from the stream: {text}"):
        Image.load(io.BytesIO(data))


@pytest.mark.parametrize("data", [b"some text", b"<html>no picture</html>", b"0\nSECTIONS\n",
                                  gzip.compress(b"text", mtime=0), bytes(200), b"PK\3\4" + bytes(60)])
def test_what_only_resembles_a_format_is_undefined(data: bytes) -> None:
    assert Image.get_file_format(io.BytesIO(data)) == FileFormat.UNDEFINED
    known = ("none of the formats BMP, CDR, CMX, DICOM, DNG, DjVu, EMF, EPS, GIF, ICO, JPEG, JPEG 2000, ODG, OTG, PNG, "
             "PSD, SVG, TGA, TIFF, WMF, WebP")
    with managed_error("ImageLoadException", known):
        Image.load(io.BytesIO(data))
