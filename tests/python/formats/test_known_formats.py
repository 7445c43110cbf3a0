"""Files of formats that the API names and this runtime does not read: told by their first bytes, refused by name."""

from __future__ import annotations

import gzip
import io
from pathlib import Path

import pytest
from zelmor.imaging import FileFormat, Image, ImageExportersRegistry, ImageLoadersRegistry, RasterImage, imageoptions
from zelmor.imaging.xmp import XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support.image_oracles import managed_error, smooth, write
from support.places import ROOT


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


#: Names in the table of docs/formats.md that are no members of FileFormat in capital letters.
MEMBERS = {"BigTIFF": "BIG_TIFF", "JPEG 2000": "JPEG2000", "FODG": "F_ODG", "HTML5 canvas": "HTML_5_CANVAS"}
#: Kinds of a format that have no member of their own, or share that of the format when they are written.
KINDS = {"PSB", "CUR"}


def test_the_table_of_formats_is_that_of_the_registries() -> None:
    text = (ROOT / "docs" / "formats.md").read_text()
    rows = text[text.index("| Format | Read"):].split("\n\n", 1)[0].splitlines()[2:]
    read, written = 0, 0
    for row in rows:
        cells = [cell.strip() for cell in row.strip("|").split("|")]
        assert len(cells) == 5, row
        for name in cells[0].split(", "):
            if name not in KINDS:
                member = int(FileFormat[MEMBERS.get(name, name.upper())])
                assert not (read | written) & member, name
                read |= member if cells[1] != "no" else 0
                written |= member if cells[2] != "no" else 0
    assert read == int(ImageLoadersRegistry.registered_formats)
    # Packed SVG is written by the options of SVG.
    assert written == int(ImageExportersRegistry.registered_formats) | int(FileFormat.SVGZ)


@pytest.mark.parametrize("name", ["TgaOptions", "IcoOptions", "BmpOptions"])
def test_formats_without_a_place_for_a_packet_refuse_one(tmp_path: Path, name: str) -> None:
    path = write(tmp_path / "a.png", smooth())
    options = getattr(imageoptions, name)()
    options.xmp_data = XmpPacketWrapper()
    package = DublinCorePackage()
    package.set_title("a title")
    options.xmp_data.add_package(package)
    with managed_error("NotSupportedException", f"{name}.XmpData"):
        Image.load(path).save(io.BytesIO(), options)
    # The packet of an image is left out, as every other thing that a format has no place for.
    with Image.load(path) as image:
        cast = RasterImage._cast_to(image).value
        cast.xmp_data = options.xmp_data
        target = io.BytesIO()
        image.save(target, getattr(imageoptions, name)())
    assert b"a title" not in target.getvalue()
