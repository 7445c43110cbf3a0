"""TGA images through the API, beside Pillow: loading, saving, and what their files say besides the pixels."""

from __future__ import annotations

import io
import struct
from datetime import datetime, timedelta
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image
from zelmor.imaging.fileformats.tga import TgaImage
from zelmor.imaging.imageoptions import PngOptions, TgaOptions

from support.image_oracles import HEIGHT, WIDTH, Pixels, few_colors, load, managed_error, noise, read, write

SIGNATURE = b"TRUEVISION-XFILE.\0"


def tga(image: Image) -> TgaImage:
    return TgaImage._cast_to(image).value


def by_pillow(data: bytes, mode: str) -> Pixels:
    with Pillow.open(io.BytesIO(data)) as picture:
        assert picture.format == "TGA"
        return np.asarray(picture.convert(mode)).astype(int)


def saved(image: Image, *options: Any) -> bytes:
    file = io.BytesIO()
    image.save(file, *options)
    return file.getvalue()


def with_extension() -> bytes:
    """A file whose author has bytes behind the end of his name, and with a gamma."""
    area = bytearray(495)
    area[0:2] = struct.pack("<H", 495)
    area[2:10] = b"Ada\0rest"
    area[43:48] = b"first"
    area[124:130] = b"second"
    area[367:379] = struct.pack("<6H", 5, 17, 2024, 10, 20, 30)
    area[379:382] = b"job"
    area[420:426] = struct.pack("<3H", 30, 1, 2)
    area[426:430] = b"soft"
    area[467:470] = struct.pack("<HB", 110, ord("b"))
    area[470:474] = struct.pack("<I", 0xFF102030)
    area[474:482] = struct.pack("<4H", 4, 3, 22, 10)
    area[494] = 0
    header = struct.pack("<BBBHHBHHHHBB", 2, 0, 2, 0, 0, 0, 7, 9, 2, 1, 24, 0x20)
    body = header + b"id" + bytes([1, 2, 3, 4, 5, 6])
    return body + bytes(area) + struct.pack("<II", len(body), 0) + SIGNATURE


@pytest.mark.parametrize(("picture", "mode"), [(noise(), "RGB"), (noise(4), "RGBA"), (noise(1), "L")])
@pytest.mark.parametrize("runs", [None, "tga_rle"])
def test_a_file_is_loaded_and_written_again_as_it_was(tmp_path: Path, picture: Pixels, mode: str, runs: str | None) \
        -> None:
    path = write(tmp_path / "a.tga", picture, compression=runs)
    assert Image.can_load(path)
    assert Image.get_file_format(path) == FileFormat.TGA
    image = load(path)
    assert (image.width, image.height, image.file_format) == (WIDTH, HEIGHT, FileFormat.TGA)
    assert image.has_alpha == (mode == "RGBA")
    image.save(str(tmp_path / "b.png"))
    assert (read(tmp_path / "b.png", mode) == picture).all()
    data = saved(image)
    assert (by_pillow(data, mode) == picture).all()
    assert data[2] == Path(path).read_bytes()[2]  # the image type: runs stay runs
    assert (by_pillow(saved(image, TgaOptions()), mode) == picture).all()


def test_a_stream_is_read_to_its_end() -> None:
    stream = io.BytesIO(with_extension())
    assert Image.get_file_format(stream) == FileFormat.TGA
    assert Image.can_load(stream)
    assert tga(Image.load(stream)).author_name == "Ada"


def test_pictures_of_other_formats(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise(4)))
    assert (by_pillow(saved(image, TgaOptions()), "RGBA") == noise(4)).all()
    image.save(str(tmp_path / "b.tga"))
    assert (read(tmp_path / "b.tga", "RGBA") == noise(4)).all()
    with Pillow.fromarray(few_colors()).quantize(16) as indexed:
        indexed.save(tmp_path / "p.png")
    data = saved(Image.load(str(tmp_path / "p.png")), TgaOptions())
    assert data[1:3] == b"\1\1"  # a color map, and indices
    assert (by_pillow(data, "RGB") == read(tmp_path / "p.png", "RGB")).all()


def test_damage_is_an_error(tmp_path: Path) -> None:
    data = Path(write(tmp_path / "a.tga", noise())).read_bytes()
    for size in (19, 500):
        with managed_error("ImageLoadException", "TGA"):
            Image.load(io.BytesIO(data[:size]))
    huffman = bytes([0, 1, 32, 0, 0, 1, 0, 24, 0, 0, 0, 0, 1, 0, 1, 0, 8, 0]) + bytes(20)
    assert not Image.can_load(io.BytesIO(huffman))
    with managed_error("NotSupportedException", "Huffman-coded data (image type 32)"):
        Image.load(io.BytesIO(huffman))


def test_a_new_image() -> None:
    image = TgaImage._cast_to(Image.create(TgaOptions(), 6, 4)).value
    image.set_argb_32_pixel(1, 2, -1)
    assert by_pillow(saved(image), "RGBA")[2, 1].tolist() == [255] * 4
    for options in (PngOptions(), TgaOptions()):
        with managed_error("ArgumentOutOfRangeException", "width"):
            Image.create(options, 0, 1)


def test_constructors(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    for image in (TgaImage(path), TgaImage(load(path)), TgaImage(io.BytesIO(Path(path).read_bytes())),
                  TgaImage.create_from_image(load(path)),
                  TgaImage.create_from_stream(io.BytesIO(Path(path).read_bytes()))):
        assert (image.file_format, image.bits_per_pixel, image.author_name) == (FileFormat.TGA, 24, None)
        assert (by_pillow(saved(image), "RGB") == noise()).all()
    with managed_error("ArgumentNullException", "raster_image"):
        TgaImage.create_from_image(None)


def test_what_a_file_says() -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    assert (image.x_origin, image.y_origin, image.image_id) == (7, 9, "id")
    assert (image.author_name, image.author_comments) == ("Ada", "first\nsecond")
    assert (image.job_name_or_id, image.software_id) == ("job", "soft")
    assert image.date_time_stamp == datetime(2024, 5, 17, 10, 20, 30)
    assert image.job_time == timedelta(hours=30, minutes=1, seconds=2)
    assert (image.software_version, image.software_version_number) == ("1.10b", 110)
    assert image.software_version_letter == "b"
    assert (image.pixel_aspect_ratio_numerator, image.pixel_aspect_ratio_denominator) == (4, 3)
    assert (image.gamma_value_numerator, image.gamma_value_denominator) == (22, 10)
    assert image.has_background_color
    assert image.background_color.to_argb() & 0xFFFFFFFF == 0xFF102030
    assert not image.has_color_map
    data = with_extension()
    assert saved(image) == data  # with the bytes behind the end of a text
    assert saved(image, TgaOptions()) == data


def test_what_a_file_says_nothing_of(tmp_path: Path) -> None:
    for pixels, size, gray in ((noise(), 3, False), (noise(4), 4, False), (noise(1), 1, True)):
        image = tga(Image.load(write(tmp_path / "a.tga", pixels)))
        assert (image.bytes_per_pixel, image.is_gray_scale) == (size, gray)
        assert (image.pixel_aspect_ratio_numerator, image.pixel_aspect_ratio_denominator) == (0, 0)
        assert (image.gamma_value_numerator, image.gamma_value_denominator) == (0, 0)
    new = TgaImage.create_from_image(load(write(tmp_path / "a.png", noise())))
    assert (new.bytes_per_pixel, new.gamma_value_numerator) == (3, 0)


def test_images_with_the_same_pixels_and_texts_are_equal() -> None:
    one, other = tga(Image.load(io.BytesIO(with_extension()))), tga(Image.load(io.BytesIO(with_extension())))
    assert one.equals(one) and one.equals(other) and not one.equals(None)
    other.author_name = "Grace"
    assert not one.equals(other)
    other.author_name = "Ada"
    assert one.equals(other)
    other.set_argb_32_pixel(0, 0, 5)
    assert not one.equals(other)


def of_parts(size: tuple[int, int] = (2, 1), identity: bytes = b"id", origin: tuple[int, int] = (7, 9),
             color_map: tuple[int, int, bytes] | None = None, tags: tuple[tuple[int, bytes], ...] = (),
             stamp: bytes = b"", color: int = 1, runs: bool = False) -> bytes:
    """A file with a color map that its pixels do not use, tags of developers and a stamp."""
    width, height = size
    first, entry_bits, entries = color_map or (0, 0, b"")
    header = struct.pack("<BBBHHBHHHHBB", len(identity), int(color_map is not None), 10 if runs else 2, first,
                         len(entries) // (entry_bits // 8) if entry_bits else 0, entry_bits, *origin, width, height, 24,
                         0x20)
    body = header + identity + entries
    for _ in range(height):
        pixel = bytes([color, 2, 3])
        body += bytes([0x80 | width - 1]) + pixel if runs else pixel * width
    directory = area = 0
    if tags:
        places = []
        for number, content in tags:
            places.append(struct.pack("<HII", number, len(body), len(content)))
            body += content
        directory = len(body)
        body += struct.pack("<H", len(tags)) + b"".join(places)
    if stamp:
        area = len(body)
        content = bytearray(495)
        content[0:2] = struct.pack("<H", 495)
        content[486:490] = struct.pack("<I", area + 495)
        body += bytes(content) + stamp
    return body + struct.pack("<II", area, directory) + SIGNATURE


PARTS: list[dict[str, Any]] = [
    {}, {"identity": b"ie"}, {"identity": b""}, {"origin": (8, 9)}, {"origin": (7, 8)}, {"size": (3, 1)},
    {"size": (2, 2)}, {"color": 2}, {"runs": True}, {"color_map": (0, 24, b"abcdef")}, {"color_map": (1, 24,
                                                                                                      b"abcdef")},
    {"color_map": (0, 24, b"abcdeg")}, {"color_map": (0, 24, b"abc")}, {"color_map": (0, 16, b"abcdef")},
    {"tags": ((1, b"one"),)}, {"tags": ((2, b"one"),)}, {"tags": ((1, b"two"),)}, {"tags": ((1, b"one"), (2, b""))},
    {"stamp": b"\2\1abcdef"}, {"stamp": b"\1\2abcdef"}, {"stamp": b"\2\1abcdeg"}, {"stamp": b"\1\1abc"}]


def test_everything_that_a_file_says_tells_images_apart() -> None:
    images = [tga(Image.load(io.BytesIO(of_parts(**parts)))) for parts in PARTS]
    again = [tga(Image.load(io.BytesIO(of_parts(**parts)))) for parts in PARTS]
    for i, image in enumerate(images):
        assert [j for j, other in enumerate(again) if image.equals(other)] == [i], PARTS[i]
        written = saved(image)
        assert tga(Image.load(io.BytesIO(written))).equals(image)
        assert "stamp" in PARTS[i] or written == of_parts(**PARTS[i])  # stamps go before the area that tells of them


def test_the_color_map_of_a_file() -> None:
    for parts in PARTS:
        image = tga(Image.load(io.BytesIO(of_parts(**parts))))
        assert image.has_color_map == ("color_map" in parts)


@pytest.mark.parametrize(("bands", "bits"), [(1, 8), (2, 16), (3, 24), (4, 32)])
def test_new_images_of_others_have_their_form(tmp_path: Path, bands: int, bits: int) -> None:
    picture = load(write(tmp_path / "a.png", noise(bands)))
    for image in (TgaImage.create_from_image(picture), TgaImage(picture)):
        assert image.bits_per_pixel == bits
        assert image.equals(tga(Image.load(io.BytesIO(saved(image)))))
        new = Image.create(TgaOptions._cast_to(image.get_original_options()).value, 4, 3)
        assert tga(new).bits_per_pixel == 32  # the options say nothing of it


def test_a_new_image_of_one_with_a_palette(tmp_path: Path) -> None:
    few = Pillow.fromarray(noise(3, width=4, height=1)[np.newaxis, 0].repeat(5, 0)).convert("P", palette=1, colors=4)
    few.save(tmp_path / "a.png")
    picture = load(str(tmp_path / "a.png"))
    for image in (TgaImage.create_from_image(picture), TgaImage(picture)):
        assert image.bits_per_pixel == 8 and image.has_color_map
        assert np.array_equal(by_pillow(saved(image), "RGB"), np.asarray(few.convert("RGB")))


def test_an_image_becomes_like_itself() -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    image.author_name = "Grace"
    image.clone(image)
    assert image.author_name == "Grace" and image.width == 2


@pytest.mark.parametrize(("stored", "text"), [
    ("M\xfcller".encode(), "M\xfcller"), ("M\xfcller".encode("latin-1"), "M\xfcller"), (b"\xff\x80", "\xff\x80")])
def test_texts_in_utf_8_and_in_latin_1(stored: bytes, text: str) -> None:
    data = bytearray(with_extension())
    area = len(data) - 26 - 495
    data[area + 2:area + 43] = stored.ljust(41, b"\0")
    image = tga(Image.load(io.BytesIO(bytes(data))))
    assert image.author_name == text
    assert saved(image) == bytes(data)
    name = of_parts(identity=stored)
    image = tga(Image.load(io.BytesIO(name)))
    assert image.image_id == text and saved(image) == name


def test_original_options_make_images_of_the_format() -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    options = image.get_original_options()
    assert TgaOptions._is_assignable(options)
    new = Image.create(TgaOptions._cast_to(options).value, 4, 3)
    assert (new.file_format, new.width, new.height) == (image.file_format, 4, 3)
    assert tga(new).bits_per_pixel == 32


def test_an_image_becomes_like_another_one(tmp_path: Path) -> None:
    one, other = tga(Image.load(write(tmp_path / "a.tga", noise()))), tga(Image.load(io.BytesIO(with_extension())))
    other.author_name = "Grace"
    one.clone(other)
    assert (one.width, one.height, one.author_name, one.image_id) == (other.width, other.height, "Grace", "id")
    assert one.equals(other) and saved(one) == saved(other)
    other.set_argb_32_pixel(0, 0, 5)
    assert not one.equals(other)
    with managed_error("ArgumentNullException", "tga_image"):
        one.clone(None)


def test_a_clone_is_an_image_of_its_own() -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    image.author_name = "Grace"
    twin = image.clone()
    assert twin.equals(image) and twin.author_name == "Grace" and saved(twin) == saved(image)
    twin.set_argb_32_pixel(0, 0, 5)
    twin.image_id = "other"
    assert not twin.equals(image) and image.image_id == "id" and image.get_argb_32_pixel(0, 0) != 5
    with managed_error("InvalidOperationException", "belongs to no file"):
        twin.save()


def test_what_is_set_is_written() -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    image.x_origin, image.y_origin, image.image_id = 65535, 0, "b\u00e4r"
    image.author_name, image.author_comments = "Grace", "one\n\nthree"
    image.job_name_or_id, image.software_id = None, "x" * 40
    image.date_time_stamp = None
    image.job_time = timedelta(hours=65535, minutes=59, seconds=59)
    image.software_version = "3.2"
    image.background_color = Color.red
    again = tga(Image.load(io.BytesIO(saved(image))))
    assert (again.x_origin, again.y_origin, again.image_id) == (65535, 0, "b\u00e4r")
    assert (again.author_name, again.author_comments) == ("Grace", "one\n\nthree")
    assert (again.job_name_or_id, again.software_id) == (None, "x" * 40)
    assert again.date_time_stamp is None
    assert again.job_time == timedelta(hours=65535, minutes=59, seconds=59)
    assert (again.software_version, again.software_version_number) == ("3.20", 320)
    assert again.background_color.to_argb() == Color.red.to_argb()
    again.date_time_stamp = datetime(1999, 12, 31, 23, 59, 58)
    again.has_background_color = False
    last = tga(Image.load(io.BytesIO(saved(again))))
    assert last.date_time_stamp == datetime(1999, 12, 31, 23, 59, 58)
    assert not last.has_background_color


def test_an_extension_area_is_made_where_something_is_said(tmp_path: Path) -> None:
    image = tga(Image.load(write(tmp_path / "a.tga", noise())))
    assert (image.author_name, image.software_version, image.date_time_stamp) == (None, None, None)
    plain = saved(image)
    image.author_name = "Ada"
    assert len(saved(image)) == len(plain) + 495
    assert tga(Image.load(io.BytesIO(saved(image)))).author_name == "Ada"


@pytest.mark.parametrize(("text", "number", "letter", "shown"), [
    ("1", 100, " ", "1.00"), ("1.1", 110, " ", "1.10"), ("3.25", 325, " ", "3.25"), ("3.25c", 325, "c", "3.25c"),
    ("12.3Z", 1230, "Z", "12.30Z"), ("7b", 700, "b", "7.00b"), ("655.35", 65535, " ", "655.35"),
    ("0.01", 1, " ", "0.01")])
def test_versions_of_programs(text: str, number: int, letter: str, shown: str) -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    image.software_version = text
    again = tga(Image.load(io.BytesIO(saved(image))))
    assert (again.software_version_number, again.software_version_letter, again.software_version) == (
        number, letter, shown)


@pytest.mark.parametrize("text", ["1.", ".5", "3.256", "1a2", "1.1ab", "655.36", "1000", "1 2", "-1", "1.\u00e4"])
def test_texts_that_are_no_versions(text: str) -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    with managed_error("ArgumentException", "no version of the form"):
        image.software_version = text


@pytest.mark.parametrize(("name", "value", "kind"), [
    ("author_name", "x" * 41, "ArgumentException"), ("job_name_or_id", "\u00e4" * 21, "ArgumentException"),
    ("software_id", "a\0b", "ArgumentException"), ("author_comments", "\n" * 4, "ArgumentException"),
    ("author_comments", "x" * 81, "ArgumentException"), ("image_id", "x" * 256, "ArgumentException"),
    ("x_origin", -1, "ArgumentOutOfRangeException"), ("y_origin", 65536, "ArgumentOutOfRangeException"),
    ("software_version_number", 65536, "ArgumentOutOfRangeException"),
    ("software_version_letter", "\u0142", "ArgumentException"), ("software_version", "1.2.3", "ArgumentException"),
    ("software_version", "", "ArgumentException"), ("software_version", "656", "ArgumentException"),
    ("job_time", timedelta(seconds=-1), "ArgumentOutOfRange"),
    ("job_time", timedelta(hours=65536), "ArgumentOutOfRangeException"),
])
def test_what_a_file_has_no_room_for_is_refused(name: str, value: Any, kind: str) -> None:
    image = tga(Image.load(io.BytesIO(with_extension())))
    before = getattr(image, name)
    with managed_error("ArgumentOutOfRangeException" if kind.startswith("ArgumentOutOf") else kind, "value"):
        setattr(image, name, value)
    assert getattr(image, name) == before
    assert saved(image) == with_extension()
