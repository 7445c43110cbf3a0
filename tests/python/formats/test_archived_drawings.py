"""Drawings in ZIP archives: CDR documents in their two places, and what each kind of damage of an archive is called."""

from __future__ import annotations

import io
import struct
import zipfile
from typing import Any

import pytest
from zelmor.imaging import FileFormat, Image
from zelmor.imaging.fileformats.cdr import CdrImage
from zelmor.imaging.fileformats.cdr import objects as cdr_objects

from support.image_oracles import managed_error
from support.office_files import cast, cdr, cdr_ellipse, cdr_rectangle, odg

ONE = cdr(cdr_rectangle(-0.75, -0.25, 0.5, 0.5, 1))
TWO = cdr(cdr_ellipse(0.25, -0.125, 0.5, 0.25, 1) + cdr_rectangle(0, 0, 0.1, 0.1, 1))


def archive(*entries: tuple[str, bytes], method: int = zipfile.ZIP_DEFLATED) -> bytes:
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", method) as written:
        for name, data in entries:
            written.writestr(name, data)
    return out.getvalue()


def kinds(data: bytes) -> list[str]:
    """The classes of all objects of a CDR document."""
    found: list[str] = []

    def walk(items: Any) -> None:
        for item in items:
            found.append(str(item.get_type()).rpartition(".")[2])
            own = cast(getattr(cdr_objects, found[-1]), item)
            if hasattr(own, "items"):
                walk(own.items)
    walk(cast(CdrImage, Image.load(io.BytesIO(data))).cdr_document.items)
    return found


@pytest.mark.parametrize("method", [zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED])
def test_cdr_documents_in_archives(method: int) -> None:
    mime = ("mimetype", b"application/x-vnd.corel.draw.document+zip")
    assert len(kinds(ONE)) > 5 and kinds(ONE) != kinds(TWO)
    for name in ("content/riffData.cdr", "content/root.dat"):
        data = archive(mime, ("other.xml", b"<a/>"), (name, TWO), method=method)
        assert Image.get_file_format(io.BytesIO(data)) == FileFormat.CDR
        assert kinds(data) == kinds(TWO)
    both = archive(("content/root.dat", TWO), ("content/riffData.cdr", ONE), method=method)
    assert kinds(both) == kinds(ONE)


def altered(data: bytes, name: bytes, field: int, value: int, form: str = "<H") -> bytes:
    """Another number in the entry of a name in the directory at the end of an archive."""
    at = data.rindex(name) - 46
    assert data[at:at + 4] == b"PK\1\2"
    out = bytearray(data)
    struct.pack_into(form, out, at + field, value)
    return bytes(out)


CONTENT = b"content.xml"
GOOD = odg('<draw:rect draw:style-name="red" svg:width="9px" svg:height="9px"/>')
STORED = odg('<draw:rect draw:style-name="red" svg:width="9px" svg:height="9px"/>', method=zipfile.ZIP_STORED)


def number_of(data: bytes, field: int, form: str = "<I") -> int:
    return int(struct.unpack_from(form, data, data.rindex(CONTENT) - 46 + field)[0])


@pytest.mark.parametrize(("data", "name", "text"), [
    (altered(GOOD, CONTENT, 8, 1), "NotSupportedException", "'content.xml' in the zip archive is encrypted"),
    (altered(GOOD, CONTENT, 10, 9), "NotSupportedException",
     "'content.xml' in the zip archive is packed by method 9, not by deflate"),
    (altered(GOOD, CONTENT, 42, 2**31, "<I"), "ImageLoadException",
     "'content.xml' in the zip archive lies outside of the file"),
    (altered(GOOD, CONTENT, 42, number_of(GOOD, 42) + 1, "<I"), "ImageLoadException", "lies outside of the file"),
    (altered(GOOD, CONTENT, 20, len(GOOD), "<I"), "ImageLoadException", "lies outside of the file"),
    (altered(GOOD, CONTENT, 20, 20, "<I"), "ImageLoadException", "'content.xml' in the zip archive cannot be unpacked"),
    (altered(GOOD, CONTENT, 24, number_of(GOOD, 24) - 1, "<I"), "ImageLoadException", "content.xml' in the zip"),
    (altered(GOOD, CONTENT, 24, number_of(GOOD, 24) + 1, "<I"), "ImageLoadException",
     "'content.xml' in the zip archive is damaged"),
    (altered(GOOD, CONTENT, 16, number_of(GOOD, 16) ^ 1, "<I"), "ImageLoadException",
     "'content.xml' in the zip archive is damaged"),
    (altered(STORED, CONTENT, 20, number_of(STORED, 20) - 1, "<I"), "ImageLoadException",
     "'content.xml' in the zip archive is damaged"),
    (altered(GOOD, CONTENT, 0, 0, "<I"), "ImageLoadException", "the directory of the zip archive ends early"),
])
def test_each_damage_of_an_archive_has_its_name(data: bytes, name: str, text: str) -> None:
    with managed_error(name, text):
        Image.load(io.BytesIO(data))


def test_a_comment_may_follow_an_archive() -> None:
    """It may be 65,535 bytes long."""
    comment = b"PK" * 32767 + b"P"
    data = GOOD[:-2] + struct.pack("<H", len(comment)) + comment
    assert Image.load(io.BytesIO(data)).size == Image.load(io.BytesIO(GOOD)).size
    with managed_error("ImageLoadException", "the zip archive has no directory at its end"):
        Image.load(io.BytesIO(data + b"K"))
