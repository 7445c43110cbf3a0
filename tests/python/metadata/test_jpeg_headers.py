"""JFIF headers and comments of JPEG files: read, kept, edited and written."""

from __future__ import annotations

import struct
from typing import Any

import pytest
from zelmor.imaging import ResolutionSetting, ResolutionUnit
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.jpeg import (
    JFIFData, JfifDensityUnits, JpegCompressionColorMode, JpegCompressionMode, JpegImage)
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

from support.image_oracles import managed_error
from support.metadata_files import (bodies, encoded, exiftool, loaded, opened, picture, saved, segment, segments,
                                    with_segments)

COMMENT = 0xFE


def jfif_file(units: int = 1, x: int = 72, y: int = 72, minor: int = 1, thumbnail: bytes = b"\0\0",
              *more: bytes) -> bytes:
    """A JPEG with a JFIF header of our own, and with further segments."""
    plain = encoded("JPEG")
    rest = plain[2 + 2 + struct.unpack_from(">H", plain, 4)[0]:]
    header = b"JFIF\0" + struct.pack(">BBBHH", 1, minor, units, x, y) + thumbnail
    return plain[:2] + segment(0xE0, header) + b"".join(more) + rest


def header(jpeg: bytes) -> tuple[int, ...]:
    """Version, units and densities of the first segment."""
    assert jpeg[2:4] == b"\xff\xe0"
    return struct.unpack_from(">BBBHH", bodies(jpeg, 0xE0, b"JFIF\0")[0])


def test_the_header_is_read() -> None:
    image = loaded(jfif_file(2, 118, 59, minor=2), JpegImage)
    assert image.jfif.version == 0x0102
    assert image.jfif.density_units == JfifDensityUnits.PIXELS_PER_CM
    assert (image.jfif.x_density, image.jfif.y_density) == (118, 59)
    assert image.jfif.thumbnail is None
    assert image.horizontal_resolution == pytest.approx(118 * 2.54, abs=0.01)


@pytest.mark.parametrize("file", [(0, 1, 1, 1), (0, 4, 3, 2), (1, 300, 150, 1), (2, 118, 59, 2)])
def test_an_untouched_header_is_kept(file: tuple[int, int, int, int]) -> None:
    units, x, y, minor = file
    for read_it in (False, True):
        image = loaded(jfif_file(units, x, y, minor), JpegImage)
        if read_it:
            assert image.jfif.x_density == x
        for options in (None, JpegOptions()):
            assert header(saved(image, options)) == (1, minor, units, x, y)


def test_the_density_follows_the_resolution() -> None:
    image = loaded(jfif_file(2, 118, 118), JpegImage)
    image.set_resolution(254.0, 127.0)
    assert header(saved(image, JpegOptions()))[2:] == (2, 100, 50)
    options = JpegOptions()
    options.resolution_settings = ResolutionSetting(508.0, 508.0)
    assert header(saved(image, options))[2:] == (2, 200, 200)


def test_the_header_is_edited() -> None:
    image = loaded(jfif_file(1, 72, 72), JpegImage)
    image.jfif.x_density = 5
    image.jfif.y_density = 4
    image.jfif.density_units = JfifDensityUnits.NO_UNITS
    image.jfif.version = 0x0100
    assert header(saved(image, JpegOptions())) == (1, 0, 0, 5, 4)
    options = JpegOptions()
    options.jfif = JFIFData()
    options.jfif.density_units, options.jfif.x_density = JfifDensityUnits.PIXELS_PER_INCH, 11
    assert header(saved(image, options)) == (1, 2, 1, 11, 1)
    image.jfif = None
    assert image.jfif is None
    assert header(saved(image, JpegOptions()))[2:] == (1, 72, 72)


def test_the_unit_of_the_options() -> None:
    image = loaded(encoded("PNG", dpi=(254, 254)))
    options = JpegOptions()
    options.resolution_unit = ResolutionUnit.CM
    assert header(saved(image, options))[2:] == (2, 100, 100)
    options.resolution_unit = ResolutionUnit.NONE
    assert header(saved(image, options))[2:] == (0, 254, 254)


COLORS = JpegCompressionColorMode


@pytest.mark.parametrize(("color", "lossless"), [(COLORS.RGB, False), (COLORS.CMYK, False), (COLORS.YCCK, False),
                                                 (COLORS.RGB, True), (COLORS.CMYK, True)])
def test_the_resolution_of_files_without_a_header(color: JpegCompressionColorMode, lossless: bool) -> None:
    """JFIF would say that three colors are YCbCr, and has nothing of inks."""
    options = JpegOptions()
    options.color_type = color
    if lossless:
        options.compression_type = JpegCompressionMode.LOSSLESS
    image = loaded(encoded("TIFF", dpi=(300, 150)))
    data = saved(image, options)
    assert not [segment for segment in segments(data) if segment[0] == 0xE0]
    tags = exiftool(data)
    assert [tags["EXIF:" + name] for name in ("XResolution", "YResolution", "ResolutionUnit")] == [300, 150, 2]
    again = loaded(data)
    assert (again.horizontal_resolution, again.vertical_resolution) == (300, 150)
    options.resolution_unit = ResolutionUnit.CM
    data = saved(image, options)
    tags = exiftool(data)
    assert (tags["EXIF:XResolution"], tags["EXIF:ResolutionUnit"]) == (pytest.approx(300 / 2.54), 3)
    assert loaded(data).vertical_resolution == pytest.approx(150)
    options.resolution_unit = ResolutionUnit.NONE
    assert not bodies(saved(image, options), 0xE1, b"Exif")
    # Data that tell nothing of it get it, too, unless it is what they stand for.
    options.resolution_unit = ResolutionUnit.INCH
    for dots in (300, 72):
        image = loaded(encoded("TIFF", dpi=(dots, dots)))
        options.exif_data = JpegExifData()
        options.exif_data.camera_owner_name = "me"
        data = saved(image, options)
        assert loaded(data).horizontal_resolution == dots
        assert (b"\x1a\1\5\0" in bodies(data, 0xE1, b"Exif")[0]) == (dots == 300)


def test_thumbnails_of_the_header() -> None:
    rgb = bytes([255, 0, 0, 0, 255, 0])
    image = loaded(jfif_file(1, 72, 72, 2, bytes([2, 1]) + rgb), JpegImage)
    thumbnail = image.jfif.thumbnail
    assert (thumbnail.width, thumbnail.height) == (2, 1)
    assert list(thumbnail.load_argb_32_pixels(thumbnail.bounds)) == [0xFFFF0000 - (1 << 32), 0xFF00FF00 - (1 << 32)]
    assert bodies(saved(image, JpegOptions()), 0xE0, b"JFIF\0")[0][7:] == bytes([2, 1]) + rgb
    image.jfif.thumbnail = loaded(encoded("PNG", picture((4, 3))))
    written = bodies(saved(image, JpegOptions()), 0xE0, b"JFIF\0")[0]
    assert written[7:9] == bytes([4, 3]) and written[9:] == picture((4, 3)).tobytes()
    with managed_error("ArgumentException", "at most 255 by 255 and 21839 pixels in all; this one has 256 by 1"):
        image.jfif.thumbnail = loaded(encoded("PNG", picture((256, 1))))
    assert image.jfif.thumbnail.width == 4
    image.jfif.thumbnail = None
    assert len(bodies(saved(image, JpegOptions()), 0xE0, b"JFIF\0")[0]) == 9


@pytest.mark.parametrize(("code", "body"), [
    (0x10, encoded("JPEG", picture((16, 12)))),
    (0x13, bytes([16, 12]) + picture((16, 12)).tobytes()),
    (0x11, bytes([16, 12]) + bytes(range(256)) * 3 + bytes(range(192)))])
def test_thumbnails_of_the_extension(code: int, body: bytes) -> None:
    extension = segment(0xE0, b"JFXX\0" + bytes([code]) + body)
    image = loaded(jfif_file(1, 72, 72, 2, b"\0\0", extension), JpegImage)
    assert (image.jfif.thumbnail.width, image.jfif.thumbnail.height) == (16, 12)
    assert bodies(saved(image, JpegOptions()), 0xE0, b"JFXX\0") == [bytes([code]) + body]


@pytest.mark.parametrize("body", [
    b"\x13", b"\x13\x10", b"\x13\x10\x0c", b"\x13\x10\x0c" + bytes(3 * 16 * 12 - 1), b"\x13\0\0",
    b"\x11\x10\x0c" + bytes(3 * 256 + 16 * 12 - 1), b"\x12\x10\x0c" + bytes(2000)])
def test_no_thumbnail_is_made_of_a_damaged_extension(body: bytes) -> None:
    """It ends early, has no pixels or is of a kind that was never published; the bytes are kept."""
    image = loaded(jfif_file(1, 72, 72, 2, b"\0\0", segment(0xE0, b"JFXX\0" + body)), JpegImage)
    assert image.jfif.thumbnail is None
    assert bodies(saved(image, JpegOptions()), 0xE0, b"JFXX\0") == [body]


@pytest.mark.parametrize(("size", "fits"), [
    ((255, 85), True), ((1, 255), True), ((212, 103), True), ((256, 1), False), ((1, 256), False), ((240, 91), False),
    ((255, 86), False)])
def test_sizes_of_thumbnails(size: tuple[int, int], fits: bool) -> None:
    """A side has a byte, and three bytes for each pixel have to fit into the segment."""
    image = loaded(jfif_file(), JpegImage)
    if fits:
        image.jfif.thumbnail = loaded(encoded("PNG", picture(size)))
        written = bodies(saved(image, JpegOptions()), 0xE0, b"JFIF\0")[0]
        assert written[7:] == bytes(size) + picture(size).tobytes()
        return
    with managed_error("ArgumentException", "The thumbnail of a JFIF header has at most 255 by 255 and 21839 pixels in "
                       f"all; this one has {size[0]} by {size[1]}."):
        image.jfif.thumbnail = loaded(encoded("PNG", picture(size)))


def shown(image: Any) -> list[int]:
    return [color & 0xFFFFFFFF for color in image.load_argb_32_pixels(image.bounds)]


@pytest.mark.parametrize(("thumbnail", "size"), [
    (bytes([3, 1]) + bytes(range(9)), (3, 1)), (bytes([1, 3]) + bytes(range(12)), (1, 3)),
    (bytes([3, 1]) + bytes(range(8)), None), (bytes([0, 3]) + bytes(9), None), (bytes([3, 0]) + bytes(9), None)])
def test_bytes_of_thumbnails(thumbnail: bytes, size: tuple[int, int] | None) -> None:
    """More bytes than the sides tell of are nothing of it; fewer are none."""
    found = loaded(jfif_file(1, 72, 72, 2, thumbnail), JpegImage).jfif.thumbnail
    if size is None:
        assert found is None
        return
    assert (found.width, found.height, found.bits_per_pixel) == (*size, 24)
    assert shown(found) == [0xFF000102, 0xFF030405, 0xFF060708]


def test_colors_of_thumbnails_of_the_extension() -> None:
    colors = bytes(range(10, 16))
    palette = bytes((i * 7 + band) % 256 for i in range(256) for band in range(3))
    for body in (b"\x13\x02\x01" + colors, b"\x13\x02\x01" + colors + b"more"):
        image = loaded(jfif_file(1, 72, 72, 2, b"\0\0", segment(0xE0, b"JFXX\0" + body)), JpegImage)
        assert shown(image.jfif.thumbnail) == [0xFF0A0B0C, 0xFF0D0E0F]
    for body in (b"\x11\x02\x01" + palette + b"\xff\x01", b"\x11\x02\x01" + palette + b"\xff\x01more"):
        image = loaded(jfif_file(1, 72, 72, 2, b"\0\0", segment(0xE0, b"JFXX\0" + body)), JpegImage)
        assert shown(image.jfif.thumbnail) == [0xFF000000 | int.from_bytes(palette[3 * i:3 * i + 3], "big")
                                               for i in (255, 1)]


@pytest.mark.parametrize(("units", "found"), [(0, JfifDensityUnits.NO_UNITS), (1, JfifDensityUnits.PIXELS_PER_INCH),
                                              (2, JfifDensityUnits.PIXELS_PER_CM), (3, JfifDensityUnits.PIXELS_PER_CM),
                                              (255, JfifDensityUnits.PIXELS_PER_CM)])
def test_units_of_the_header(units: int, found: JfifDensityUnits) -> None:
    image = loaded(jfif_file(units, 0x1234, 0x0506, 3), JpegImage)
    assert (image.jfif.density_units, image.jfif.version) == (found, 0x0103)
    assert (image.jfif.x_density, image.jfif.y_density) == (0x1234, 0x0506)


def test_new_headers_say_one_dot() -> None:
    new = JFIFData()
    assert (new.version, new.density_units, new.x_density, new.y_density, new.thumbnail) == (
        0x0102, JfifDensityUnits.NO_UNITS, 1, 1, None)


@pytest.mark.parametrize(("units", "dots", "densities"), [
    (1, (0.3, 70000.0), (1, 65535)), (1, (95.5, 95.4), (96, 95)), (2, (1.0, 200000.0), (1, 65535)),
    (2, (254.0, 3.81), (100, 2)), (0, (300.0, 150.0), (300, 150))])
def test_densities_are_whole_numbers(units: int, dots: tuple[float, float], densities: tuple[int, int]) -> None:
    image = loaded(jfif_file(units, 11, 12), JpegImage)
    image.set_resolution(*dots)
    assert header(saved(image, JpegOptions()))[2:] == (max(units, 1), *densities)


def test_a_file_without_the_header_gets_none_of_it() -> None:
    image = loaded(encoded("PNG"))
    options = JpegOptions()
    options.color_type = JpegCompressionColorMode.CMYK
    assert not bodies(saved(image, options), 0xE0)


def test_a_comment_is_read_kept_edited_and_removed() -> None:
    image = loaded(with_segments(encoded("JPEG"), segment(COMMENT, "Wörter".encode())), JpegImage)
    assert image.comment == "Wörter"
    for options in (None, JpegOptions()):
        assert bodies(saved(image, options), COMMENT) == ["Wörter".encode()]
    image.comment = "other words"
    assert opened(saved(image, JpegOptions())).info["comment"] == b"other words"
    assert exiftool_comment(saved(image)) == "other words"
    image.comment = None
    assert image.comment is None
    for options in (None, JpegOptions()):
        assert not bodies(saved(image, options), COMMENT)


def exiftool_comment(data: bytes) -> Any:
    import json
    import subprocess
    run = subprocess.run(["exiftool", "-json", "-Comment", "-"], input=data, capture_output=True, check=True,
                         timeout=60)
    return json.loads(run.stdout)[0].get("Comment")


def test_several_comments_and_one_in_latin_1() -> None:
    file = with_segments(encoded("JPEG"), segment(COMMENT, b"first"), segment(COMMENT, b"gr\xfcn"))
    image = loaded(file, JpegImage)
    assert image.comment == "first\ngrün"
    assert bodies(saved(image, JpegOptions()), COMMENT) == [b"first", b"gr\xfcn"]


def test_a_comment_of_the_options_goes_first() -> None:
    image = loaded(with_segments(encoded("JPEG"), segment(COMMENT, b"old")), JpegImage)
    options = JpegOptions()
    options.comment = "new"
    assert bodies(saved(image, options), COMMENT) == [b"new"]
    options.comment = ""
    assert not bodies(saved(image, options), COMMENT)
    assert image.comment == "old"


def test_a_comment_that_is_too_long() -> None:
    options = JpegOptions()
    options.comment = "x" * 65533
    assert len(bodies(saved(loaded(encoded("PNG")), options), COMMENT)[0]) == 65533
    options.comment += "x"
    with managed_error("ArgumentException", "The comment has 65534 bytes. A JPEG file has room for 65533."):
        saved(loaded(encoded("PNG")), options)


def test_comments_stay_in_their_format() -> None:
    image = loaded(with_segments(encoded("JPEG"), segment(COMMENT, b"words")), JpegImage)
    assert b"words" not in saved(image, PngOptions())


def test_the_order_of_segments() -> None:
    from PIL import ImageCms
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    file = encoded("JPEG", icc_profile=profile, exif=b"Exif\0\0II*\0\x08\0\0\0\0\0\0\0\0\0")
    written = saved(loaded(with_segments(file, segment(COMMENT, b"words")), JpegImage), JpegOptions())
    markers = [marker for marker, _ in segments(written)]
    assert markers[:2] == [0xE0, 0xE1] and 0xE2 in markers
    assert markers.index(0xE2) < markers.index(COMMENT)
    assert "ICC_Profile:ProfileDescription" in exiftool(written)
