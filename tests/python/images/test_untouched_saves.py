"""What files say beside their pixels comes back from an untouched save: chunks, tags, bit fields, sampling."""

from __future__ import annotations

import io
import struct
import zlib
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import TiffImagePlugin
from support.image_oracles import load, noise, raster, smooth
from support.pictures import png_chunk
from zelmor.imaging import Color, Image, Rectangle
from zelmor.imaging.fileformats.tiff import TiffImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, TiffOptions

WIDTH, HEIGHT = 19, 13


# ---- PNG

NOTES = {
    b"cICP": bytes([9, 16, 0, 1]),
    b"sBIT": b"\5\6\5",
    b"bKGD": struct.pack(">HHH", 1, 2, 3),
    b"oFFs": struct.pack(">iiB", 5, -7, 0),
    b"sCAL": b"\x010.5\x000.25",
    b"mDCV": bytes(range(24)),
}


def png(*chunks: bytes, color: int = 2, levels: int = 256) -> bytes:
    """RGB or indices of 8 bits, with chunks before the pixels."""
    rows = noise(3 if color == 2 else 1, 1, WIDTH, HEIGHT) % levels
    head = struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, color, 0, 0, 0)
    data = zlib.compress(b"".join(b"\0" + row.astype(np.uint8).tobytes() for row in rows))
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", head) + b"".join(chunks) + png_chunk(b"IDAT", data)
            + png_chunk(b"IEND", b""))


def chunks_of(data: bytes) -> list[tuple[bytes, bytes]]:
    found, at = [], 8
    while at < len(data):
        size, = struct.unpack(">I", data[at:at + 4])
        assert zlib.crc32(data[at + 4:at + 8 + size]) == struct.unpack(">I", data[at + 8 + size:at + 12 + size])[0]
        found.append((data[at + 4:at + 8], data[at + 8:at + 8 + size]))
        at += 12 + size
    return found


def saved_png(data: bytes) -> list[tuple[bytes, bytes]]:
    target = io.BytesIO()
    image = Image.load(io.BytesIO(data))
    image.save(target)
    return chunks_of(target.getvalue())


def test_notes_of_a_png_stay() -> None:
    data = png(*(png_chunk(kind, content) for kind, content in NOTES.items()))
    saved = saved_png(data)
    assert {kind: content for kind, content in saved if kind in NOTES} == NOTES
    kinds = [kind for kind, _ in saved]
    assert kinds.count(b"bKGD") == 1 and all(kinds.index(kind) < kinds.index(b"IDAT") for kind in NOTES)
    again = b"\x89PNG\r\n\x1a\n" + b"".join(png_chunk(*chunk) for chunk in saved)
    assert Pillow.open(io.BytesIO(again)).tobytes() == Pillow.open(io.BytesIO(data)).tobytes()


def test_notes_of_a_palette_stand_behind_it() -> None:
    palette = noise(3, 2, 5, 1).tobytes()
    notes = {b"hIST": struct.pack(">5H", 1, 2, 3, 4, 5), b"bKGD": b"\2"}
    kept = [png_chunk(*note) for note in notes.items()]
    saved = saved_png(png(png_chunk(b"PLTE", palette), *kept, color=3, levels=5))
    assert {kind: content for kind, content in saved if kind in notes} == notes
    kinds = [kind for kind, _ in saved]
    assert kinds.index(b"PLTE") < min(kinds.index(b"hIST"), kinds.index(b"bKGD"))


def test_notes_of_other_pixels_or_another_form_go() -> None:
    image = raster(Image.load(io.BytesIO(png(*(png_chunk(kind, content) for kind, content in NOTES.items())))))
    image.set_pixel(0, 0, Color.red)
    target = io.BytesIO()
    image.save(target)
    assert {kind for kind, _ in chunks_of(target.getvalue())} & set(NOTES) == {b"cICP", b"mDCV", b"sBIT", b"bKGD"}
    image.grayscale()
    target = io.BytesIO()
    image.save(target, PngOptions())
    assert not {kind for kind, _ in chunks_of(target.getvalue())} & set(NOTES)


@pytest.mark.parametrize("physical", [None, struct.pack(">IIB", 3, 4, 0), struct.pack(">IIB", 3780, 5000, 1)])
def test_the_size_of_a_pixel_stays_as_it_was_or_untold(physical: bytes | None) -> None:
    data = png() if physical is None else png(png_chunk(b"pHYs", physical))
    assert [content for kind, content in saved_png(data) if kind == b"pHYs"] == ([] if physical is None else [physical])
    image = raster(Image.load(io.BytesIO(data)))
    image.set_resolution(300.0, 300.0)
    target = io.BytesIO()
    image.save(target)
    assert (b"pHYs", struct.pack(">IIB", 11811, 11811, 1)) in chunks_of(target.getvalue())


# ---- BMP


def fields_bmp(masks: tuple[int, int, int, int], resolution: int) -> bytes:
    """Random pixels of 16 bits with fields."""
    words = np.random.default_rng(4).integers(0, 65536, (HEIGHT, WIDTH + 1)).astype("<u2")
    used = masks[0] | masks[1] | masks[2] | masks[3]
    words &= used
    words[:, WIDTH] = 0  # rows are filled up to four bytes
    header = struct.pack("<IiiHHIIiiII4I", 108, WIDTH, HEIGHT, 1, 16, 3, words.nbytes, resolution, resolution, 0, 0,
                         *masks) + b"BGRs" + bytes(48)
    file = b"BM" + struct.pack("<IHHI", 14 + len(header) + words.nbytes, 0, 0, 14 + len(header))
    return file + header + words.tobytes()


@pytest.mark.parametrize("resolution", [0, 5000])
@pytest.mark.parametrize("masks", [(0x7C00, 0x03E0, 0x001F, 0), (0xF800, 0x07E0, 0x001F, 0),
                                   (0x0F00, 0x00F0, 0x000F, 0xF000), (0x7C00, 0x03E0, 0x001F, 0x8000),
                                   (0x001F, 0x07E0, 0xF800, 0)])
def test_bit_fields_of_a_bmp_stay(tmp_path: Path, masks: tuple[int, int, int, int], resolution: int) -> None:
    data = fields_bmp(masks, resolution)
    (tmp_path / "a.bmp").write_bytes(data)
    image = load(tmp_path / "a.bmp")
    assert image.has_alpha == (masks[3] != 0)
    image.save(str(tmp_path / "b.bmp"))
    saved = (tmp_path / "b.bmp").read_bytes()
    assert saved[10:14] == data[10:14] and saved[28:34] == data[28:34] and saved[54:70] == data[54:70]
    assert saved[38:46] == data[38:46]  # the resolution, or none
    assert saved[122:] == data[122:]


# ---- JPEG


def sampling(data: bytes) -> list[int]:
    """The factors of each component, from the frame's header."""
    at = 2
    while data[at + 1] not in (0xC0, 0xC1, 0xC2):
        at += 2 + int.from_bytes(data[at + 2:at + 4], "big")
    return [data[at + 11 + 3 * i] for i in range(data[at + 9])]


@pytest.mark.parametrize("quality", [60, 95])
@pytest.mark.parametrize("factors", [[0x11, 0x11, 0x11], [0x21, 0x11, 0x11], [0x12, 0x11, 0x11], [0x41, 0x11, 0x11],
                                     [0x22, 0x11, 0x11]])
def test_a_jpeg_keeps_its_sampling(factors: list[int], quality: int) -> None:
    options = JpegOptions()
    options.quality = quality
    options.horizontal_sampling = bytes(factor >> 4 for factor in factors)
    options.vertical_sampling = bytes(factor & 15 for factor in factors)
    source = io.BytesIO()
    Pillow.fromarray(smooth()).save(source, "PNG")
    first, second = io.BytesIO(), io.BytesIO()
    Image.load(io.BytesIO(source.getvalue())).save(first, options)
    assert sampling(first.getvalue()) == factors
    Image.load(io.BytesIO(first.getvalue())).save(second)
    assert sampling(second.getvalue()) == factors


# ---- TIFF

#: Tags of other programs and standards, and of the page itself.
TAGS = {
    254: (4, 2), 286: (5, TiffImagePlugin.IFDRational(3, 2)), 297: (3, (1, 3)),
    318: (5, tuple(TiffImagePlugin.IFDRational(n, 10000) for n in (3127, 3290))),
    319: (5, tuple(TiffImagePlugin.IFDRational(n, 100) for n in (64, 33, 30, 60, 15, 6))),
    33550: (12, (1.5, 1.5, 0.0)), 33922: (12, (0.0, 0.0, 0.0, 400000.5, 5000000.25, 0.0)),
    34735: (3, (1, 1, 0, 1, 1024, 0, 1, 1)), 42113: (2, "-9999"), 65000: (7, b"private data of a program"),
}
PLACES = {33550, 33922}


def tagged(path: Path) -> None:
    directory = TiffImagePlugin.ImageFileDirectory_v2()
    for number, (kind, value) in TAGS.items():
        directory.tagtype[number] = kind
        directory[number] = value
    Pillow.fromarray(noise()).save(path, tiffinfo=directory)


def tags_of(path: Path) -> dict[int, object]:
    with Pillow.open(path) as picture:
        tags = picture.tag_v2  # type: ignore[attr-defined]
        return {number: tags[number] for number in TAGS if number in tags}


def test_tags_of_a_tiff_page_stay(tmp_path: Path) -> None:
    tagged(tmp_path / "a.tif")
    before = tags_of(tmp_path / "a.tif")
    assert set(before) == set(TAGS)
    image = TiffImage._cast_to(load(tmp_path / "a.tif")).value
    assert image.exif_data is None
    image.save(str(tmp_path / "b.tif"))
    assert tags_of(tmp_path / "b.tif") == before
    image.set_pixel(0, 0, Color.red)
    image.save(str(tmp_path / "c.tif"))
    assert tags_of(tmp_path / "c.tif") == {number: value for number, value in before.items() if number not in PLACES}
    image.save(str(tmp_path / "d.jpg"))
    with Pillow.open(tmp_path / "d.jpg") as picture:
        assert not set(picture.getexif()) & set(TAGS)


#: SMinSampleValue, SMaxSampleValue, HalftoneHints, Threshholding, TransferFunction, MinSampleValue, MaxSampleValue.
OF_SAMPLES: dict[int, tuple[int, object]] = {
    340: (11, (-3.5,)), 341: (11, (17.25,)), 321: (3, (10, 240)), 263: (3, 2), 301: (3, tuple(range(0, 65536, 256))),
    280: (3, (1,)), 281: (3, (250,)),
}


def test_what_a_tiff_page_says_of_its_samples_stays_with_them(tmp_path: Path) -> None:
    directory = TiffImagePlugin.ImageFileDirectory_v2()
    for number, (kind, value) in OF_SAMPLES.items():
        directory.tagtype[number] = kind
        directory[number] = value
    Pillow.fromarray(noise(1)).save(tmp_path / "a.tif", tiffinfo=directory)

    def kept(name: str) -> dict[int, object]:
        with Pillow.open(tmp_path / name) as picture:
            tags = picture.tag_v2  # type: ignore[attr-defined]
            return {number: tags[number] for number in OF_SAMPLES if number in tags}

    before = kept("a.tif")
    assert set(before) == set(OF_SAMPLES)
    image = load(tmp_path / "a.tif")
    image.save(str(tmp_path / "b.tif"))
    assert kept("b.tif") == before
    image.save(str(tmp_path / "c.tif"), TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))
    assert not kept("c.tif")
    image.set_pixel(0, 0, Color.white)
    image.save(str(tmp_path / "d.tif"))
    assert not kept("d.tif")


def test_tags_of_a_tiff_page_go_with_its_exif_data(tmp_path: Path) -> None:
    tagged(tmp_path / "a.tif")
    image = TiffImage._cast_to(load(tmp_path / "a.tif")).value
    image.exif_data = None
    image.save(str(tmp_path / "b.tif"))
    assert not tags_of(tmp_path / "b.tif").keys() - {254}
    part = load(tmp_path / "a.tif")
    part.crop(Rectangle(1, 1, 20, 20))
    part.save(str(tmp_path / "c.tif"))
    assert set(tags_of(tmp_path / "c.tif")) == set(TAGS) - PLACES
