"""Metadata of the pages of a TIFF: each page keeps its own, wherever it goes; read by exiftool and by the tests' own
reader."""

from __future__ import annotations

import io
import struct
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, RotateFlipType
from zelmor.imaging.exif import ExifData
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.fileformats.tiff.tifftagtypes import TiffASCIIType
from zelmor.imaging.imageoptions import BigTiffOptions, JpegOptions, MultiPageOptions, TiffOptions
from zelmor.imaging.xmp import XmpPacketWrapper

from support import tiff_files
from support.metadata_files import exiftool, iptc_resources, loaded, saved

WORDS = {269: "Document", 270: "Description", 271: "Make", 272: "Model", 305: "Software", 315: "Artist", 316: "Host",
         33432: "Copyright"}
EXIF_POINTER, GPS_POINTER, XMP, PHOTOSHOP, IPTC, DATE = 34665, 34853, 700, 34377, 33723, 306


def packet(number: int) -> bytes:
    return ('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
            '<rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/" '
            f'xmp:CreatorTool="Tool {number}"/></rdf:RDF></x:xmpmeta>').encode()


def iptc(number: int) -> bytes:
    city = f"City {number}".encode()
    return b"\x1c\x02\x5a" + struct.pack(">H", len(city)) + city


def directory(at: int, order: str, tags: dict[int, tuple[int, bytes, int]], following: int) -> bytes:
    """A directory at that offset, its values behind it: type, data and number of values by tag."""
    head = 2 + 12 * len(tags) + 4
    entries, values = struct.pack(order + "H", len(tags)), b""
    for tag in sorted(tags):
        kind, data, count = tags[tag]
        entries += struct.pack(order + "HHI", tag, kind, count)
        if len(data) > 4:
            entries += struct.pack(order + "I", at + head + len(values))
            values += data + b"\0" * (len(data) % 2)
        else:
            entries += data.ljust(4, b"\0")
    return entries + struct.pack(order + "I", following) + values


def described_pages(count: int = 4, order: str = "<", without: tuple[int, ...] = ()) -> bytes:
    """Pages of one pixel, of gray 10 times their number, with metadata that have their number; some without any."""
    file = struct.pack(order + "2sHI", b"II" if order == "<" else b"MM", 42, 0)
    link = 4
    for number in range(count):
        def short(value: int) -> tuple[int, bytes, int]:
            return 3, struct.pack(order + "H", value), 1

        def words(text: str) -> tuple[int, bytes, int]:
            return 2, text.encode() + b"\0", len(text) + 1

        def many(kind: int, data: bytes) -> tuple[int, bytes, int]:
            return kind, data, len(data)

        inner_at = len(file)
        text = f"Lens of page {number}"
        file += directory(inner_at, order, {33437: (5, struct.pack(order + "II", 28 + number, 10), 1),
                                            42036: words(text)}, 0)
        gps_at = len(file)
        file += directory(gps_at, order, {1: words("N"), 29: words(f"2024:05:{number + 1:02}")}, 0)
        pixel_at = len(file)
        file += bytes([10 * number, 0])
        tags = {256: short(1), 257: short(1), 258: short(8), 259: short(1), 262: short(1),
                273: (4, struct.pack(order + "I", pixel_at), 1), 277: short(1), 278: short(1),
                279: (4, struct.pack(order + "I", 1), 1)}
        if number not in without:
            tags |= {tag: words(f"{word} {number}") for tag, word in WORDS.items()}
            tags |= {DATE: words(f"2020:01:0{number + 1} 10:20:30"), XMP: many(1, packet(number)),
                     EXIF_POINTER: (4, struct.pack(order + "I", inner_at), 1),
                     GPS_POINTER: (4, struct.pack(order + "I", gps_at), 1)}
            tags |= {PHOTOSHOP: many(7, iptc_resources(f"City {number}".encode()))} if number % 2 else {
                IPTC: many(7, iptc(number))}
        file = file[:link] + struct.pack(order + "I", len(file)) + file[link + 4:]
        link = len(file) + 2 + 12 * len(tags)
        file += directory(len(file), order, tags, 0)
    return file


def numbers(data: bytes) -> list[int]:
    """The pages of a file, by their pixels."""
    with Pillow.open(io.BytesIO(data)) as file:
        shades = []
        for page in range(file.n_frames):
            file.seek(page)
            shades.append(file.convert("L").getpixel((0, 0)) // 10)
        return shades


def described(data: bytes) -> list[int | None]:
    """Which page's metadata each page has: all of its kinds have to say the same. None for one without any."""
    found: list[int | None] = []
    for at, page in enumerate(tiff_files.pages(data)):
        words = {page.tags[tag][0].rstrip(b"\0").decode() for tag in WORDS if tag in page.tags}
        group = "" if at == 0 else str(at)
        if not words and not {EXIF_POINTER, GPS_POINTER, XMP, PHOTOSHOP, IPTC, DATE} & page.tags.keys():
            found.append(None)
            continue
        number = int(words.copy().pop().split()[-1])
        assert words == {f"{word} {number}" for word in WORDS.values()}
        assert page.tags[DATE][0].rstrip(b"\0").decode() == f"2020:01:0{number + 1} 10:20:30"
        assert bytes(page.tags[XMP] if isinstance(page.tags[XMP][0], int) else page.tags[XMP][0]) == packet(number)
        resources = page.tags[PHOTOSHOP]
        resources = bytes(resources) if isinstance(resources[0], int) else resources[0]
        assert resources == iptc_resources(f"City {number}".encode())
        assert page.tags[EXIF_POINTER] and page.tags[GPS_POINTER], group
        found.append(number)
    lenses = inner_texts(data)
    assert lenses == [None if number is None else f"Lens of page {number}" for number in found]
    return found


def inner_texts(data: bytes) -> list[str | None]:
    """The lens in the EXIF directory of each page."""
    texts: list[str | None] = []
    for page in tiff_files.pages(data):
        if EXIF_POINTER not in page.tags:
            texts.append(None)
            continue
        offset = page.number(EXIF_POINTER)
        link = struct.pack(page.order + ("Q" if page.big else "I"), offset)
        start = 8 if page.big else 4
        inner = tiff_files.pages(data[:start] + link + data[start + len(link):] if not page.big
                                 else data[:8] + link + data[16:])[0]
        texts.append(inner.tags[42036][0].rstrip(b"\0").decode())
    return texts


def artist(image: Any) -> str:
    """The artist that the EXIF data of an image or a page name."""
    tag, = [tag for tag in image.exif_data.common_tags if tag.id == 315]
    text: str = tag.value
    return text


def set_artist(data: Any, name: str) -> None:
    tag = TiffASCIIType(315)
    tag.text = name
    data.common_tags = [*[tag for tag in data.common_tags or () if tag.id != 315], tag]


def image_of(data: bytes) -> Any:
    return loaded(data, TiffImage)


@pytest.mark.parametrize("order", ["<", ">"])
def test_pages_keep_their_metadata(order: str) -> None:
    data = described_pages(4, order)
    out = saved(image_of(data))
    assert numbers(out) == described(out) == [0, 1, 2, 3]
    assert tiff_files.pages(out)[0].order == order
    found = exiftool(out, "-G1", "-D")
    assert len([name for name in found if name.endswith("Artist")]) >= 1


def test_exiftool_sees_the_metadata_of_each_page() -> None:
    found = exiftool(saved(image_of(described_pages(3))), "-G1")
    for group, number in (("IFD0", 0), ("IFD1", 1), ("IFD2", 2)):
        assert found[f"{group}:Artist"] == f"Artist {number}"
        assert found[f"{group}:Copyright"] == f"Copyright {number}"


@pytest.mark.parametrize("options", [None, TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB),
                                     BigTiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB)])
def test_pages_without_metadata_get_none(options: TiffOptions | None) -> None:
    out = saved(image_of(described_pages(5, without=(0, 2, 4))), options)
    assert numbers(out) == [0, 1, 2, 3, 4]
    assert described(out) == [None, 1, None, 3, None]
    assert tiff_files.pages(out)[0].big == isinstance(options, BigTiffOptions)


def test_metadata_move_with_their_page() -> None:
    image = image_of(described_pages(4))
    image.add_frame(image.remove_frame(0))
    image.insert_frame(0, image.remove_frame(2))
    out = saved(image)
    assert numbers(out) == described(out) == [3, 1, 2, 0]
    image.remove_frame(1)
    out = saved(image)
    assert numbers(out) == described(out) == [3, 2, 0]


def test_metadata_stay_with_changed_pixels() -> None:
    image = image_of(described_pages(3))
    image.frames[1].rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    image.frames[2].resize(3, 2)
    image.frames[2].set_argb_32_pixel(0, 0, -0x1000000 + 0x141414)
    assert described(saved(image)) == [0, 1, 2]
    image.resize(5, 5)
    assert described(saved(image)) == [0, 1, 2]


def test_chosen_pages_keep_their_metadata() -> None:
    image = image_of(described_pages(4))
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    options.multi_page_options = MultiPageOptions([3, 1])
    assert described(saved(image, options)) == [3, 1]
    jpeg = JpegOptions()
    jpeg.multi_page_options = MultiPageOptions([2])
    assert exiftool(saved(image, jpeg))["EXIF:Artist"] == "Artist 2"
    assert described(saved(image.frames[2], TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))) == [2]


def test_copies_of_pages_have_a_copy_of_their_metadata() -> None:
    source = image_of(described_pages(3))
    image = TiffImage(TiffFrame.copy_frame(source.frames[2]))
    image.add_page(source.frames[1])
    image.add(source)
    image.add_page(loaded(saved(source.frames[1], JpegOptions())))
    out = saved(image)
    assert described(out)[:5] == [2, 1, 0, 1, 2]
    assert tiff_files.pages(out)[5].tags[315][0] == b"Artist 1\0"
    made = Image.create([source, source.frames[2]])
    assert described(saved(made)) == [0, 1, 2, 2]
    set_artist(image.frames[0].exif_data, "Another")
    assert artist(image.frames[0]) == "Another" and artist(source.frames[2]) == "Artist 2"


def test_properties_of_pages() -> None:
    image = image_of(described_pages(3))
    own = image.exif_data
    assert artist(image) == "Artist 0"
    assert [artist(frame) for frame in image.frames] == ["Artist 0", "Artist 1", "Artist 2"]
    assert image.frames[0].exif_data == own == image.exif_data != image.frames[1].exif_data
    assert [frame.exif_data.lens_model for frame in image.frames] == [f"Lens of page {i}" for i in range(3)]
    assert [frame.xmp_data.packages_count for frame in image.frames] == [1, 1, 1]
    set_artist(image.frames[1].exif_data, "Other")
    image.active_frame = image.frames[1]
    assert image.exif_data == image.frames[1].exif_data and artist(image) == "Other"
    out = saved(image)
    assert [page.tags[315][0] for page in tiff_files.pages(out)] == [b"Artist 0\0", b"Other\0", b"Artist 2\0"]


def test_what_is_set_at_the_image_goes_for_its_active_page() -> None:
    data = ExifData()
    set_artist(data, "New")
    image = image_of(described_pages(3))
    image.exif_data = data
    out = saved(image)
    assert [page.tags[315][0] for page in tiff_files.pages(out)] == [b"New\0", b"Artist 1\0", b"Artist 2\0"]
    assert image.frames[0].exif_data == data


@pytest.mark.parametrize("opened", [False, True])
def test_none_removes_the_metadata_of_all_pages(opened: bool) -> None:
    image = image_of(described_pages(3))
    if opened:
        set_artist(image.frames[1].exif_data, "Other")
    image.exif_data = None
    assert all(frame.exif_data is None for frame in image.frames)
    assert [page.tags.keys() & {315, EXIF_POINTER} for page in tiff_files.pages(saved(image))] == [set()] * 3
    image.xmp_data = None
    assert described(saved(image)) == [None, None, None]
    assert exiftool(saved(image)).keys() == exiftool(saved(image_of(described_pages(3, without=(0, 1, 2))))).keys()


def test_one_page_loses_its_metadata_alone() -> None:
    image = image_of(described_pages(3))
    image.frames[1].exif_data = None
    image.frames[1].xmp_data = None
    assert described(saved(image)) == [0, None, 2]


def test_options_go_for_all_pages() -> None:
    image = image_of(described_pages(3))
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    options.artist = "Everybody"
    options.xmp_data = XmpPacketWrapper()
    pages = tiff_files.pages(saved(image, options))
    assert [page.tags[315][0] for page in pages] == [b"Everybody\0"] * 3
    assert all(XMP not in page.tags for page in pages)
    assert [page.tags[33432][0] for page in pages] == [b"Copyright %d\0" % i for i in range(3)]
