"""Metadata on the way from format to format, and how all of it is removed."""

from __future__ import annotations

import base64
import io
import struct
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL.PngImagePlugin import PngInfo
from PIL.TiffImagePlugin import AppendingTiffWriter
from zelmor.imaging import RasterImage, Rectangle, RotateFlipType
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.gif.blocks import GifCommentBlock, GifFrameBlock
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import (GifOptions, JpegOptions, MultiPageOptions, PngOptions, TiffOptions,
                                         WebPOptions)
from zelmor.imaging.xmp import Namespaces, XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support import gif_files
from support.metadata_files import (PHOTOSHOP_MARK, XMP_MARK, bodies, encoded, exiftool, iptc_resources, loaded, opened,
                                    picture, saved, segment, with_segments)

PACKET = ('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
          '<rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/" xmp:CreatorTool="Tool"/>'
          "</rdf:RDF></x:xmpmeta>")


def exif(orientation: int = 6) -> Pillow.Exif:
    data = Pillow.Exif()
    data[271], data[274] = "Maker", orientation
    data[34665] = {33437: 2.8}
    return data


def targets() -> dict[str, Any]:
    return {"JPEG": JpegOptions(), "PNG": PngOptions(), "WEBP": WebPOptions(),
            "TIFF": TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)}


@pytest.mark.parametrize("source", ["JPEG", "PNG", "WEBP", "TIFF"])
@pytest.mark.parametrize("target", ["JPEG", "PNG", "WEBP", "TIFF"])
def test_orientation_and_exif_are_carried(source: str, target: str) -> None:
    file = encoded(source, exif=exif().tobytes() if source == "TIFF" else exif())
    found = exiftool(saved(loaded(file), targets()[target]))
    assert (found["EXIF:Orientation"], found["EXIF:Make"]) == (6, "Maker")
    assert found["EXIF:FNumber"] == pytest.approx(2.8)


@pytest.mark.parametrize("source", ["JPEG", "PNG", "TIFF"])
@pytest.mark.parametrize("target", ["JPEG", "PNG", "WEBP", "TIFF"])
def test_xmp_is_carried(source: str, target: str) -> None:
    file = {"JPEG": lambda: with_segments(encoded("JPEG"), segment(0xE1, XMP_MARK + PACKET.encode())),
            "PNG": lambda: encoded("PNG", pnginfo=png_text(PACKET)),
            "TIFF": lambda: encoded("TIFF", tiffinfo={700: PACKET.encode()})}[source]()
    assert exiftool(saved(loaded(file), targets()[target]))["XMP:CreatorTool"] == "Tool"


def gif_with_packet(place: int) -> bytes:
    """An animation with blocks of every kind, and a packet among them: in front of a frame or behind the last one."""
    mark = b"\x21\xff\x0bXMP DataXMP" + PACKET.encode() + bytes([1, *range(255, -1, -1), 0])
    extensions = [gif_files.extension(0xFE, b"!" * 255, b"words"),
                  gif_files.extension(0xFF, b"SOMEAPP 1.0", b"!" * 255, b"more")]
    indices = [np.arange(i, i + 63, dtype=np.uint8).reshape(7, 9) % 16 for i in range(3)]
    frames = [gif_files.Frame(each, palette=gif_files.random_palette(16, i) if i == 1 else b"",
                              blocks=[*extensions, mark] if i == place else list(extensions))
              for i, each in enumerate(indices)]
    return gif_files.to_bytes(gif_files.Gif(9, 7, gif_files.random_palette(16), frames, loops=3,
                                            behind=[*extensions, mark] if place == 3 else []))


@pytest.mark.parametrize("place", range(4))
def test_the_packet_of_a_gif_is_found_at_every_place(place: int) -> None:
    source = gif_with_packet(place)
    assert exiftool(source)["XMP:CreatorTool"] == "Tool"
    image = loaded(source)
    assert exiftool(saved(image, PngOptions()))["XMP:CreatorTool"] == "Tool"
    written = saved(image)
    assert written.count(b"XMP DataXMP") == 1 and exiftool(written)["XMP:CreatorTool"] == "Tool"
    with opened(written) as picture:
        assert picture.n_frames == 3


def png_text(packet: str) -> PngInfo:
    info = PngInfo()
    info.add_itxt("XML:com.adobe.xmp", packet)
    return info


def test_iptc_is_carried_between_jpeg_and_tiff() -> None:
    jpeg = with_segments(encoded("JPEG"), segment(0xED, PHOTOSHOP_MARK + iptc_resources()))
    assert bodies(saved(loaded(jpeg), JpegOptions()), 0xED, PHOTOSHOP_MARK) == [iptc_resources()]
    tiff = saved(loaded(jpeg), targets()["TIFF"])
    assert exiftool(tiff)["IPTC:City"] == "Bonn"
    assert exiftool(saved(loaded(tiff), JpegOptions()))["IPTC:City"] == "Bonn"
    assert exiftool(saved(loaded(tiff), targets()["TIFF"]))["IPTC:City"] == "Bonn"


def test_iptc_alone_in_a_tiff() -> None:
    record = b"\x1c\x02\x5a\0\x04Bonn"
    tiff = encoded("TIFF", tiffinfo={33723: record})
    assert exiftool(saved(loaded(tiff), JpegOptions()))["IPTC:City"] == "Bonn"


def test_resources_longer_than_a_segment() -> None:
    resources = iptc_resources() + b"8BIM\x10\0\0\0" + struct.pack(">I", 100000) + bytes(range(250)) * 400
    jpeg = with_segments(encoded("JPEG"), segment(0xED, PHOTOSHOP_MARK + resources[:60000]),
                         segment(0xED, PHOTOSHOP_MARK + resources[60000:]))
    assert b"".join(bodies(saved(loaded(jpeg)), 0xED, PHOTOSHOP_MARK)) == resources


def test_texts_of_a_png_are_kept() -> None:
    info = PngInfo()
    info.add_text("Comment", "words")
    info.add_text("Title", "packed", zip=True)
    info.add_itxt("Author", "Zoë", "fr", "Auteur")
    file = encoded("PNG", pnginfo=info)
    for options in (None, PngOptions()):
        found = opened(saved(loaded(file), options)).text
        assert found == {"Comment": "words", "Title": "packed", "Author": "Zoë"}
        assert (found["Author"].lang, found["Author"].tkey) == ("fr", "Auteur")


def test_an_image_made_of_another_has_its_metadata() -> None:
    source = loaded(encoded("PNG", exif=exif()))
    jpeg = JpegImage(source)
    assert jpeg.exif_data.make == "Maker"
    jpeg.exif_data.make = "Other"
    assert exiftool(saved(jpeg, JpegOptions()))["EXIF:Make"] == "Other"
    assert exiftool(saved(PngImage(source), PngOptions()))["EXIF:Make"] == "Maker"
    of_tiff = JpegImage(loaded(encoded("TIFF", exif=exif().tobytes())))
    assert isinstance(of_tiff.exif_data, JpegExifData) and int(of_tiff.exif_data.orientation) == 6
    edited = loaded(encoded("TIFF", exif=exif().tobytes()), TiffImage)
    edited.exif_data.make = "Edited"
    assert JpegImage(edited).exif_data.make == "Edited"


# ---- Removal


def remove_all(image: Any) -> None:
    """The way that the documentation shows."""
    for name in ("exif_data", "xmp_data", "comment", "jfif"):
        if hasattr(image, name):
            setattr(image, name, None)


def thumbnail() -> bytes:
    return encoded("JPEG", picture((16, 12)))


def exif_with_a_thumbnail() -> bytes:
    jpeg = loaded(encoded("JPEG"), JpegImage)
    jpeg.exif_data = JpegExifData()
    jpeg.exif_data.make = "Maker"
    jpeg.exif_data.thumbnail = loaded(encoded("PNG", picture((16, 12))))
    return bodies(saved(jpeg, JpegOptions()), 0xE1, b"Exif\0\0")[0]


def full_jpeg() -> bytes:
    """A JPEG with everything that describes a picture."""
    plain = encoded("JPEG")
    rest = plain[2 + 2 + struct.unpack_from(">H", plain, 4)[0]:]
    rgb = bytes([2, 1]) + bytes([255, 0, 0, 0, 255, 0])
    shown = base64.b64encode(thumbnail()).decode()
    packet = PACKET.replace("/></rdf:RDF>", '><xmp:Thumbnails><rdf:Alt><rdf:li rdf:parseType="Resource">'
                            '<g:width xmlns:g="http://ns.adobe.com/xap/1.0/g/img/">16</g:width>'
                            f'<g:image xmlns:g="http://ns.adobe.com/xap/1.0/g/img/">{shown}</g:image>'
                            "</rdf:li></rdf:Alt></xmp:Thumbnails></rdf:Description></rdf:RDF>")
    stale = b"8BIM\x04\x0c\0\0" + struct.pack(">I", 28 + len(thumbnail())) + bytes(28) + thumbnail()
    return (plain[:2] + segment(0xE0, b"JFIF\0\1\2\1\0\x48\0\x48" + rgb)
            + segment(0xE0, b"JFXX\0\x10" + thumbnail())
            + segment(0xE1, b"Exif\0\0" + exif_with_a_thumbnail()) + segment(0xE1, XMP_MARK + packet.encode())
            + segment(0xED, PHOTOSHOP_MARK + iptc_resources() + stale + b"\0" * (len(stale) % 2))
            + segment(0xFE, b"words") + rest)


SECRETS = [b"Maker", b"Bonn", b"words", b"Tool", thumbnail()[20:200], b"8BIM", b"xmpmeta"]


def test_everything_of_a_jpeg_is_removed() -> None:
    for touch in (False, True):
        image = loaded(full_jpeg(), JpegImage)
        if touch:
            assert image.exif_data.thumbnail.width == 16 and image.xmp_data.packages_count == 1
            assert image.comment == "words" and image.jfif.thumbnail.width == 2
        assert all(secret in saved(image, JpegOptions()) for secret in SECRETS)
        remove_all(image)
        for options in (None, *targets().values()):
            written = saved(image, options)
            assert not [secret for secret in SECRETS if secret in written]
        assert set(exiftool(saved(image))) <= {"JFIF:JFIFVersion", "JFIF:ResolutionUnit", "JFIF:XResolution",
                                               "JFIF:YResolution"}


def test_everything_of_a_png_is_removed() -> None:
    info = png_text(PACKET)
    info.add_text("Comment", "words")
    image = loaded(encoded("PNG", pnginfo=info, exif=exif()))
    assert b"words" in saved(image) and b"Maker" in saved(image)
    remove_all(image)
    for options in (None, *targets().values()):
        written = saved(image, options)
        assert not [secret for secret in SECRETS if secret in written]
    assert not {name for name in exiftool(saved(image)) if "Comment" in name or name.startswith(("EXIF", "XMP"))}


def gif_with_everything(frames: int) -> bytes:
    """Extensions of every kind before each frame and behind the last, and those that belong to the pixels."""
    mark = b"\x21\xff\x0bXMP DataXMP" + PACKET.encode() + bytes([1, *range(255, -1, -1), 0])
    blocks = [mark, gif_files.comment(b"words"), gif_files.extension(0xFF, b"SOMEAPP 1.0", b"Maker"),
              gif_files.extension(0x01, bytes(12), b"8BIM"), gif_files.extension(0x77, b"Bonn")]
    kept = [gif_files.extension(0xFF, b"ICCRGBG1012", b"profile"),
            gif_files.extension(0xFF, b"ANIMEXTS1.0", b"\1\3\0")]
    indices = [np.arange(i, i + 63, dtype=np.uint8).reshape(7, 9) % 16 for i in range(frames)]
    shown = [gif_files.Frame(each, delay=4, blocks=[*blocks, *kept]) for each in indices]
    return gif_files.to_bytes(gif_files.Gif(9, 7, gif_files.random_palette(16), shown, loops=3, behind=blocks))


@pytest.mark.parametrize("frames", [1, 3])
def test_everything_of_a_gif_is_removed(frames: int) -> None:
    secrets = [secret for secret in SECRETS if len(secret) < 20]
    image = loaded(gif_with_everything(frames), GifImage)
    assert all(secret in saved(image) for secret in secrets)
    remove_all(image)
    assert sorted({type(block).__name__ for block in image.blocks}) == ["GifApplicationExtensionBlock", "GifFrameBlock"]
    for options in (None, GifOptions(), *targets().values()):
        written = saved(image, options)
        assert not [secret for secret in (*secrets, b"XMP DataXMP") if secret in written]
    written = saved(image)
    assert (written.count(b"ICCRGBG1012"), written.count(b"ANIMEXTS1.0"), written.count(b"NETSCAPE2.0")) == (
        frames, frames, 1)
    image.add_block(GifCommentBlock("new words"))
    assert b"new words" in saved(image)


def test_what_describes_one_frame_of_a_gif_is_removed() -> None:
    image = loaded(gif_with_everything(3), GifImage)
    before = saved(image).count(b"words")
    GifFrameBlock._cast_to(image.pages[1]).value.xmp_data = None
    assert saved(image).count(b"words") == before - 1


@pytest.mark.parametrize("pages", [1, 3])
def test_the_names_of_the_pages_of_a_tiff_are_removed(pages: int) -> None:
    file = io.BytesIO()
    with AppendingTiffWriter(file, True) as writer:
        for i in range(pages):
            picture((8 + i, 6)).save(writer, "TIFF", tiffinfo={285: "words", 270: "Bonn", 271: "Maker"})
            writer.newFrame()
    image = loaded(file.getvalue(), TiffImage)
    assert saved(image).count(b"words") == pages
    TiffFrame._cast_to(image.pages[pages - 1]).value.xmp_data = None
    assert saved(image).count(b"words") == pages - 1
    remove_all(image)
    for options in (None, *targets().values()):
        written = saved(image, options)
        assert not [secret for secret in SECRETS if secret in written]


@pytest.mark.parametrize("kind", ["JPEG", "PNG", "WEBP", "TIFF", "GIF"])
def test_an_empty_packet_is_none_in_a_file(kind: str) -> None:
    files = {"JPEG": lambda: with_segments(encoded("JPEG"), segment(0xE1, XMP_MARK + PACKET.encode())),
             "PNG": lambda: encoded("PNG", pnginfo=png_text(PACKET)),
             "WEBP": lambda: encoded("WEBP", xmp=PACKET.encode()),
             "TIFF": lambda: encoded("TIFF", tiffinfo={700: PACKET.encode()}),
             "GIF": lambda: gif_with_packet(1)}
    options: Any = GifOptions() if kind == "GIF" else targets()[kind]
    image = loaded(files[kind]())
    assert b"xmpmeta" in saved(image) and b"xmpmeta" in saved(image, options)
    options.xmp_data = XmpPacketWrapper()
    marks = (b"xmpmeta", b"XMP", XMP_MARK, b"xpacket")
    assert not [mark for mark in marks if mark in saved(image, options)]
    options.xmp_data = None
    image.xmp_data = XmpPacketWrapper()
    image.xmp_data.add_package(DublinCorePackage())  # which has no property either
    for each in (None, options):
        assert not [mark for mark in marks if mark in saved(image, each)]
    assert loaded(saved(image)).xmp_data is None


@pytest.mark.parametrize("source", ["WEBP", "TIFF"])
def test_everything_of_other_files_is_removed(source: str) -> None:
    more: dict[str, Any] = {"tiffinfo": {270: "words", 700: PACKET.encode(), 33723: b"\x1c\x02\x5a\0\x04Bonn",
                                         271: "Maker", 274: 6}} if source == "TIFF" else {"xmp": PACKET.encode(),
                                                                                          "exif": exif()}
    image = loaded(encoded(source, **more), TiffImage if source == "TIFF" else RasterImage)
    assert b"Maker" in saved(image)
    remove_all(image)
    for options in (None, *targets().values()):
        written = saved(image, options)
        assert not [secret for secret in SECRETS if secret in written]


def test_one_kind_is_removed_alone() -> None:
    image = loaded(full_jpeg(), JpegImage)
    image.xmp_data = XmpPacketWrapper()
    found = exiftool(saved(image, JpegOptions()))
    assert found["IPTC:City"] == "Bonn" and found["EXIF:Make"] == "Maker" and "XMP:CreatorTool" not in found
    image = loaded(full_jpeg(), JpegImage)
    image.exif_data = None
    found = exiftool(saved(image, JpegOptions()))
    assert found["IPTC:City"] == "Bonn" and found["XMP:CreatorTool"] == "Tool" and "EXIF:Make" not in found


# ---- Stale thumbnails


def has_thumbnails(data: bytes) -> bool:
    return thumbnail()[20:200] in data or base64.b64encode(thumbnail()) in data


def changes() -> dict[str, Any]:
    return {
        "crop": lambda image: image.crop(Rectangle(0, 0, 10, 10)),
        "resize": lambda image: image.resize(20, 15),
        "one pixel": lambda image: image.set_argb_32_pixel(0, 0, -1),
        "flip": lambda image: image.rotate_flip(RotateFlipType.ROTATE_180_FLIP_NONE),
        "grayscale": lambda image: image.grayscale(),
        "pixels": lambda image: image.save_argb_32_pixels(Rectangle(0, 0, 2, 1), [-1, -1]),
    }


@pytest.mark.parametrize("change", changes())
def test_a_thumbnail_goes_with_the_pixels_that_it_shows(change: str) -> None:
    image = loaded(full_jpeg(), JpegImage)
    assert has_thumbnails(saved(image)) and has_thumbnails(saved(image, JpegOptions()))
    changes()[change](image)
    for options in (None, JpegOptions()):
        written = saved(image, options)
        assert not has_thumbnails(written)
        assert len(bodies(written, 0xE0, b"JFIF\0")[0]) == 9 and not bodies(written, 0xE0, b"JFXX\0")
        found = exiftool(written)
        assert found["EXIF:Make"] == "Maker" and found["IPTC:City"] == "Bonn" and found["XMP:CreatorTool"] == "Tool"
    assert not has_thumbnails(saved(image, PngOptions()))


def test_a_part_is_saved_without_the_thumbnail_of_the_whole() -> None:
    image = loaded(full_jpeg(), JpegImage)
    file = io.BytesIO()
    image.save(file, JpegOptions(), Rectangle(0, 0, 8, 8))
    assert not has_thumbnails(file.getvalue())
    options = JpegOptions()
    options.multi_page_options = MultiPageOptions(0, Rectangle(0, 0, 8, 8))
    assert not has_thumbnails(saved(image, options))
    assert has_thumbnails(saved(image, JpegOptions()))


def test_a_thumbnail_that_is_set_after_the_change_is_written() -> None:
    image = loaded(full_jpeg(), JpegImage)
    image.crop(Rectangle(0, 0, 10, 10))
    image.exif_data.thumbnail = loaded(encoded("PNG", picture((8, 6))))
    back = loaded(saved(image, JpegOptions()), JpegImage)
    assert back.exif_data.thumbnail.width == 8
    image.crop(Rectangle(0, 0, 5, 5))
    assert loaded(saved(image, JpegOptions()), JpegImage).exif_data.thumbnail is None


def test_a_packet_of_the_options_is_written_as_it_is() -> None:
    image = loaded(full_jpeg(), JpegImage)
    options = JpegOptions()
    options.xmp_data = image.xmp_data
    image.crop(Rectangle(0, 0, 10, 10))
    assert loaded(saved(image, options)).xmp_data.get_package(Namespaces.XMP_BASIC).contains_key("Thumbnails")
