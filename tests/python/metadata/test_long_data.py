"""XMP packets longer than a segment of a JPEG, beside exiftool; and maker's notes."""

from __future__ import annotations

import hashlib
import struct

import pytest
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.imageoptions import JpegOptions, PngOptions
from zelmor.imaging.xmp import Namespaces, XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage
from zelmor.imaging.xmp.schemas.xmpbaseschema import XmpBasicPackage

from support.image_oracles import managed_error
from support.metadata_files import (EXTENSION_MARK, XMP_MARK, bodies, encoded, exiftool, loaded, opened, saved, segment,
                                    with_segments)

RDF = 'xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"'


def packet(**sizes: int) -> XmpPacketWrapper:
    """A packet with texts of these lengths and a short one."""
    made, own = XmpPacketWrapper(), XmpBasicPackage("own", "http://example.org/own/")
    core = DublinCorePackage()
    core.set_title("Short")
    for name, size in sizes.items():
        own.add_value(name, f"{name}-" + "x" * (size - len(name) - 1))
    made.add_package(core)
    made.add_package(own)
    return made


def value(image: object, name: str) -> str:
    return image.xmp_data.get_package("http://example.org/own/").get_prop_value(name)


def guids(jpeg: bytes) -> set[bytes]:
    return {body[:32] for body in bodies(jpeg, 0xE1, EXTENSION_MARK)}


def extension(jpeg: bytes) -> bytes:
    """The extension, put together as the format says."""
    parts = bodies(jpeg, 0xE1, EXTENSION_MARK)
    whole = bytearray(struct.unpack_from(">I", parts[0], 32)[0])
    for part in parts:
        offset, = struct.unpack_from(">I", part, 36)
        whole[offset:offset + len(part) - 40] = part[40:]
    return bytes(whole)


def test_a_long_packet_is_split_and_read_again() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.xmp_data = packet(long=150_000, middle=40_000, small=100)
    file = saved(image, JpegOptions())
    main, = bodies(file, 0xE1, XMP_MARK)
    assert len(main) <= 65502 and b"Short" in main and b"small-" in main and b"long-" not in main
    assert len(bodies(file, 0xE1, EXTENSION_MARK)) == 3
    digest = hashlib.md5(extension(file)).hexdigest().upper().encode()
    assert guids(file) == {digest} and digest in main
    found = exiftool(file, "-b")
    assert found["XMP:Title"] == "Short" and found["XMP:HasExtendedXMP"] == digest.decode()
    assert found["XMP:Long"].startswith("long-x") and len(found["XMP:Long"]) == 150_000
    back = loaded(file)
    assert len(value(back, "long")) == 150_000 and value(back, "small").startswith("small-")
    assert back.xmp_data.get_package(Namespaces.DUBLIN_CORE) is not None
    assert not back.xmp_data.contains_package("http://ns.adobe.com/xmp/note/")


def test_an_untouched_long_packet_is_kept_as_it_is() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.xmp_data = packet(long=100_000)
    file = saved(image, JpegOptions())
    again = saved(loaded(file), JpegOptions())
    for mark in (XMP_MARK, EXTENSION_MARK):
        assert bodies(again, 0xE1, mark) == bodies(file, 0xE1, mark)


def test_a_changed_packet_that_became_short_is_one_segment() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.xmp_data = packet(long=100_000)
    back = loaded(saved(image, JpegOptions()))
    back.xmp_data.get_package("http://example.org/own/").remove("long")
    file = saved(back, JpegOptions())
    assert not guids(file) and b"HasExtendedXMP" not in bodies(file, 0xE1, XMP_MARK)[0]


def test_a_long_packet_goes_to_and_from_other_formats() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.xmp_data = packet(long=100_000)
    png = saved(loaded(saved(image, JpegOptions())), PngOptions())
    text = opened(png).info["XML:com.adobe.xmp"]
    assert len(text) > 100_000 and "HasExtendedXMP" not in text
    assert len(exiftool(saved(loaded(png), JpegOptions()), "-b")["XMP:Long"]) == 100_000


def test_many_small_properties_are_split() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.xmp_data = packet(**{f"p{i}": 120 for i in range(900)})
    file = saved(image, JpegOptions())
    assert len(bodies(file, 0xE1, XMP_MARK)[0]) <= 65502
    back = loaded(file)
    assert all(value(back, f"p{i}").startswith(f"p{i}-") for i in range(900))


def foreign(parts: list[tuple[int, bytes]], total: int, guid: bytes) -> bytes:
    """A JPEG whose extension stands in parts of another writer's."""
    main = (f'<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF {RDF}><rdf:Description rdf:about="" '
            'xmlns:xmpNote="http://ns.adobe.com/xmp/note/" '
            f'xmpNote:HasExtendedXMP="{guid.decode()}"/></rdf:RDF></x:xmpmeta>').encode()
    more = [segment(0xE1, EXTENSION_MARK + guid + struct.pack(">II", total, offset) + data) for offset, data in parts]
    return with_segments(encoded("JPEG"), segment(0xE1, XMP_MARK + main), *more)


def foreign_extension() -> bytes:
    return (f'<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF {RDF}><rdf:Description rdf:about="" '
            'xmlns:own="http://example.org/own/" own:far="away"/></rdf:RDF></x:xmpmeta>').encode()


def test_parts_in_any_order_and_of_other_packets() -> None:
    whole = foreign_extension()
    guid = hashlib.md5(whole).hexdigest().upper().encode()
    parts = [(100, whole[100:]), (0, whole[:100])]
    assert value(loaded(foreign(parts, len(whole), guid)), "far") == "away"
    stray = segment(0xE1, EXTENSION_MARK + b"0" * 32 + struct.pack(">II", 4, 0) + b"<a/>")
    assert value(loaded(with_segments(foreign(parts, len(whole), guid), stray)), "far") == "away"


@pytest.mark.parametrize("damage", ["missing", "outside", "huge"])
def test_a_damaged_extension_is_left_out(damage: str) -> None:
    whole = foreign_extension()
    guid = hashlib.md5(whole).hexdigest().upper().encode()
    file = {"missing": foreign([(0, whole[:100])], len(whole), guid),
            "outside": foreign([(50, whole)], len(whole), guid),
            "huge": foreign([(0, whole)], 0xFFFFFFFF, guid)}[damage]
    image = loaded(file)
    assert not image.xmp_data.contains_package("http://example.org/own/")
    assert saved(image, JpegOptions())[:2] == b"\xff\xd8"


# ---- Maker's notes


NOTE = b"Nikon\0\x02\x10\0\0" + bytes(range(60))


def exif_with_note(note: bytes = NOTE, order: str = "<") -> tuple[bytes, int]:
    """EXIF data with a note behind all directories, and the offset of the note."""
    def entry(tag: int, kind: int, count: int, content: int) -> bytes:
        return struct.pack(order + "HHII", tag, kind, count, content)

    mark = b"II*\0" if order == "<" else b"MM\0*"
    first = 8
    second = first + 2 + 2 * 12 + 4
    make = second + 2 + 1 * 12 + 4
    at = make + 6
    return (mark + struct.pack(order + "I", first)
            + struct.pack(order + "H", 2) + entry(271, 2, 6, make) + entry(34665, 4, 1, second) + bytes(4)
            + struct.pack(order + "H", 1) + entry(37500, 7, len(note), at) + bytes(4) + b"Maker\0" + note), at


def place_of_note(exif: bytes) -> tuple[int, bytes]:
    """Where the note stands in EXIF data, found by walking the directories, and its bytes."""
    order = "<" if exif[:2] == b"II" else ">"

    def find(directory: int, tag: int) -> tuple[int, int]:
        count, = struct.unpack_from(order + "H", exif, directory)
        for i in range(count):
            found, _, length, content = struct.unpack_from(order + "HHII", exif, directory + 2 + 12 * i)
            if found == tag:
                return length, content
        raise AssertionError(f"there is no tag {tag}")

    inner = find(struct.unpack_from(order + "I", exif, 4)[0], 34665)[1]
    length, at = find(inner, 37500)
    return at, exif[at:at + length]


@pytest.mark.parametrize("order", ["<", ">"])
def test_a_note_keeps_its_place_when_other_tags_change(order: str) -> None:
    exif, at = exif_with_note(order=order)
    image = loaded(with_segments(encoded("JPEG"), segment(0xE1, b"Exif\0\0" + exif)), JpegImage)
    assert bytes(image.exif_data.maker_note_raw_data) == NOTE
    image.exif_data.copyright = "a text that is longer than all gaps " * 4
    image.exif_data.make = "M"
    image.exif_data.lens_model = "another tag in the directory of the note"
    written = bodies(saved(image, JpegOptions()), 0xE1, b"Exif\0\0")[0]
    assert place_of_note(written) == (at, NOTE)
    back = loaded(saved(image, JpegOptions()), JpegImage).exif_data
    assert (back.make, back.lens_model) == ("M", "another tag in the directory of the note")
    assert bytes(back.maker_note_raw_data) == NOTE
    assert exiftool(saved(image, JpegOptions()))["EXIF:LensModel"] == "another tag in the directory of the note"


def test_a_note_whose_place_cannot_be_kept() -> None:
    exif, at = exif_with_note()
    odd = exif[:at] + b"\0" + NOTE
    odd = odd.replace(struct.pack("<HHII", 37500, 7, len(NOTE), at), struct.pack("<HHII", 37500, 7, len(NOTE), at + 1))
    image = loaded(with_segments(encoded("JPEG"), segment(0xE1, b"Exif\0\0" + odd)), JpegImage)
    image.exif_data.make = "M"
    assert place_of_note(bodies(saved(image, JpegOptions()), 0xE1, b"Exif\0\0")[0])[1] == NOTE


def test_a_new_note() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.exif_data = JpegExifData()
    image.exif_data.maker_note_raw_data = NOTE
    assert place_of_note(bodies(saved(image, JpegOptions()), 0xE1, b"Exif\0\0")[0])[1] == NOTE


def test_notes_are_listed() -> None:
    exif, _ = exif_with_note()
    image = loaded(with_segments(encoded("JPEG"), segment(0xE1, b"Exif\0\0" + exif)), JpegImage)
    note, = image.exif_data.maker_notes
    assert note.name == "Nikon" and bytes.fromhex(note.value) == NOTE
    exif, _ = exif_with_note(bytes(range(20)))
    image = loaded(with_segments(encoded("JPEG"), segment(0xE1, b"Exif\0\0" + exif)), JpegImage)
    assert [note.name for note in image.exif_data.maker_notes] == ["MakerNote"]
    assert list(JpegExifData().maker_notes) == []


def test_exif_data_longer_than_a_segment() -> None:
    image = loaded(encoded("JPEG"), JpegImage)
    image.exif_data = JpegExifData()
    image.exif_data.maker_note_raw_data = bytes(70000)
    with managed_error("ArgumentException", "The EXIF data has", "A JPEG file has room for 65527."):
        saved(image, JpegOptions())
