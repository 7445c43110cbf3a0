"""Icons and cursors through the API, beside Pillow: pages of several sizes, options, and what is kept."""

from __future__ import annotations

import io
import struct
import zlib
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image, Rectangle, ResizeType, RotateFlipType
from zelmor.imaging.fileformats.ico import IcoImage
from zelmor.imaging.imageoptions import IcoOptions, MultiPageOptions, PngOptions

from support import png_files
from support.image_oracles import Pixels, load, managed_error, noise, raster, write

SIDES = [16, 32, 48]


def picture(side: int) -> Pixels:
    return noise(4, seed=side, width=side, height=side)


def png(side: int) -> bytes:
    file = io.BytesIO()
    Pillow.fromarray(picture(side)).save(file, "PNG")
    return file.getvalue()


def file_of(kind: int = 1, sides: list[int] | None = None) -> bytes:
    """A file of PNG entries; those of cursors point at (3, 4)."""
    pieces = [png(side) for side in sides or SIDES]
    at = 6 + 16 * len(pieces)
    directory = struct.pack("<HHH", 0, kind, len(pieces))
    for side, piece in zip(sides or SIDES, pieces):
        directory += struct.pack("<BBBBHHII", side, side, 0, 0, *((1, 32) if kind == 1 else (3, 4)), len(piece), at)
        at += len(piece)
    return directory + b"".join(pieces)


def saved(image: Image, *options: Any) -> bytes:
    file = io.BytesIO()
    image.save(file, *options)
    return file.getvalue()


def entries(data: bytes) -> list[tuple[int, int, int, bytes]]:
    """The sides, the bits, and the first bytes of each entry."""
    found = []
    for i in range(struct.unpack_from("<H", data, 4)[0]):
        width, height, _, _, _, bits, _, at = struct.unpack_from("<BBBBHHII", data, 6 + 16 * i)
        found.append((width, height, bits, data[at:at + 4]))
    return found


def by_pillow(data: bytes, side: int) -> Pixels:
    with Pillow.open(io.BytesIO(data)) as icon:
        assert icon.format in ("ICO", "CUR")
        icon.size = (side, side)
        icon.load()
        return np.asarray(icon.convert("RGBA"))


def ico(image: Image) -> IcoImage:
    return IcoImage._cast_to(image).value


def test_the_pages_of_a_file(tmp_path: Path) -> None:
    (tmp_path / "a.ico").write_bytes(file_of())
    path = str(tmp_path / "a.ico")
    assert Image.can_load(path)
    assert Image.get_file_format(path) == FileFormat.ICO
    image = ico(Image.load(path))
    assert (image.file_format, image.page_count, image.has_alpha) == (FileFormat.ICO, 3, True)
    for page, side in zip(image.pages, SIDES):
        assert (page.width, page.height) == (side, side)
        page.save(str(tmp_path / "page.png"), PngOptions())
        with Pillow.open(tmp_path / "page.png") as read:
            assert (np.asarray(read.convert("RGBA")) == picture(side)).all()
    assert saved(image) == file_of()  # entries as they were


def test_a_stream_stands_behind_its_icons() -> None:
    stream = io.BytesIO(file_of() + b"more")
    assert ico(Image.load(stream)).page_count == 3
    assert stream.tell() == len(file_of())


def test_cursors_stay_cursors() -> None:
    image = ico(Image.load(io.BytesIO(file_of(kind=2))))
    assert image.file_format == FileFormat.ICO
    assert saved(image) == file_of(kind=2)
    raster(image.pages[1]).set_argb_32_pixel(0, 0, -1)
    data = saved(image)
    assert struct.unpack_from("<HHH", data) == (0, 2, 3)
    assert [struct.unpack_from("<HH", data, 6 + 16 * i + 4) for i in range(3)] == [(3, 4)] * 3


def test_the_hot_spot_of_a_single_cursor() -> None:
    data = file_of(2, [32])
    image = ico(Image.load(io.BytesIO(data)))
    assert saved(image) == data
    options = IcoOptions(FileFormat.BMP, 32)
    assert struct.unpack_from("<HH", saved(image, options), 10) == (3, 4)
    image.set_argb_32_pixel(0, 0, -1)
    for file in (saved(image), saved(image, options)):
        assert struct.unpack_from("<HHHBBBBHH", file) == (0, 2, 1, 32, 32, 0, 0, 3, 4)
    several = ico(Image.load(io.BytesIO(file_of(2))))
    options.multi_page_options = MultiPageOptions([1])
    assert struct.unpack_from("<HHHBBBBHH", saved(several, options)) == (0, 2, 1, 32, 32, 0, 0, 3, 4)


def test_the_hot_spots_of_several_cursors() -> None:
    """Options apply to all entries, whose hot spots are their own, also where the pixels were changed."""
    data = bytearray(file_of(2))
    count, = struct.unpack_from("<H", data, 4)
    for i in range(count):
        struct.pack_into("<HH", data, 6 + 16 * i + 4, i + 1, 2 * i + 1)
    image = ico(Image.load(io.BytesIO(bytes(data))))
    for options in (IcoOptions(FileFormat.BMP, 32), IcoOptions(FileFormat.PNG, 32)):
        for page in (None, 0, 2):
            if page is not None:
                raster(image.pages[page]).set_argb_32_pixel(0, 0, -1)
            found = saved(image, options)
            assert struct.unpack_from("<HHH", found) == (0, 2, count)
            assert [struct.unpack_from("<HH", found, 6 + 16 * i + 4) for i in range(count)] == \
                [(i + 1, 2 * i + 1) for i in range(count)]


def hot_spots(data: bytes) -> list[tuple[int, int]]:
    count, = struct.unpack_from("<H", data, 4)
    return [struct.unpack_from("<HH", data, 6 + 16 * i + 4) for i in range(count)]


@pytest.mark.parametrize(("change", "expected"), [
    (lambda image: image.resize(64, 96), [(12, 24), (6, 12), (4, 8)]),
    (lambda image: image.resize(8, 8), [(1, 2), (0, 1), (0, 0)]),
    (lambda image: image.resize(50, 60, ResizeType.CENTER_TO_CENTER), [(20, 26), (12, 18), (4, 10)]),
    (lambda image: image.crop(Rectangle(2, 1, 10, 12)), [(1, 3)] * 3),
    (lambda image: image.crop(Rectangle(5, 6, 10, 10)), [(0, 0)] * 3),  # outside, so that the nearest pixel points
    (lambda image: image.crop(1, 2, 3, 4), [(2, 1)] * 3),
    (lambda image: image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE), [(11, 3), (27, 3), (43, 3)]),
    (lambda image: image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X), [(12, 4), (28, 4), (44, 4)]),
    (lambda image: image.rotate_flip(RotateFlipType.ROTATE_270_FLIP_Y), [(4, 3)] * 3),
    (lambda image: image.rotate(180.0, True, Color.transparent), [(12, 11), (28, 27), (44, 43)]),
])
def test_hot_spots_go_where_the_pixels_go(change: Any, expected: list[tuple[int, int]]) -> None:
    image = ico(Image.load(io.BytesIO(file_of(2))))
    change(image)
    assert hot_spots(saved(image)) == expected
    assert hot_spots(saved(image, IcoOptions(FileFormat.BMP, 32))) == expected
    single = ico(Image.load(io.BytesIO(file_of(2, [32]))))
    change(single)
    assert hot_spots(saved(single)) == hot_spots(saved(single, IcoOptions(FileFormat.PNG, 32))) == [expected[1]]


def test_the_extension_of_cursors(tmp_path: Path) -> None:
    for source, expected in ((file_of(1), (0, 2, 3)), (png(16), (0, 2, 1))):
        Image.load(io.BytesIO(source)).save(str(tmp_path / "a.cur"))
        data = (tmp_path / "a.cur").read_bytes()
        assert struct.unpack_from("<HHH", data) == expected
        assert hot_spots(data) == [(0, 0)] * expected[2]
        at, = struct.unpack_from("<I", data, 18)
        assert np.array_equal(np.asarray(Pillow.open(io.BytesIO(data[at:]))), picture(16))


def test_a_changed_page_is_written_anew() -> None:
    image = ico(Image.load(io.BytesIO(file_of())))
    raster(image.pages[1]).set_argb_32_pixel(5, 6, -1)
    data = saved(image)
    expected = picture(32).copy()
    expected[6, 5] = 255
    assert (by_pillow(data, 32) == expected).all()
    assert (by_pillow(data, 16) == picture(16)).all()
    assert [entry[:3] for entry in entries(data)] == [(side, side, 32) for side in SIDES]


@pytest.mark.parametrize(("kind", "bits", "begin"), [
    (FileFormat.PNG, 32, b"\x89PNG"), (FileFormat.PNG, 8, b"\x89PNG"), (FileFormat.BMP, 32, b"\x28\0\0\0"),
    (FileFormat.BMP, 24, b"\x28\0\0\0"), (FileFormat.BMP, 8, b"\x28\0\0\0"), (FileFormat.BMP, 1, b"\x28\0\0\0")])
def test_the_options_of_entries(tmp_path: Path, kind: FileFormat, bits: int, begin: bytes) -> None:
    options = IcoOptions(kind, bits)
    assert (options.format, options.bits_per_pixel) == (kind, bits)
    image = Image.load(write(tmp_path / "a.png", picture(32)))
    data = saved(image, options)
    assert entries(data) == [(32, 32, bits, begin)]
    if bits == 32:
        assert (by_pillow(data, 32) == picture(32)).all()
    again = IcoOptions._cast_to(Image.load(io.BytesIO(data)).get_original_options()).value
    assert (again.format, again.bits_per_pixel) == (kind, bits)


def test_what_options_are_refused(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", picture(32)))
    with managed_error("NotSupportedException", "IcoOptions.Format"):
        saved(image, IcoOptions(FileFormat.GIF, 32))
    with managed_error("ImageSaveException", "a BMP entry of an icon has no form of 7 bits per pixel"):
        saved(image, IcoOptions(FileFormat.BMP, 7))
    with managed_error("ImageSaveException", "a PNG entry of 16 bits per pixel has gray and alpha, and the picture "):
        saved(image, IcoOptions(FileFormat.PNG, 16))
    raster(image).grayscale()
    gray = by_pillow(saved(image, IcoOptions(FileFormat.PNG, 16)), 32)
    assert (gray[..., 0] == gray[..., 1]).all() and (gray[..., 3] == picture(32)[..., 3]).all()
    large = Image.load(write(tmp_path / "b.png", noise(3, width=257, height=9)))
    with managed_error("ImageSaveException", "ICO holds at most 256 pixels to a side; the image is 257 by 9"):
        saved(large, IcoOptions())


def test_one_page_of_several() -> None:
    image = Image.load(io.BytesIO(file_of()))
    options = IcoOptions()
    options.multi_page_options = MultiPageOptions([1])
    assert entries(saved(image, options)) == [(32, 32, 32, b"\x89PNG")]


def test_making_icons_of_pages(tmp_path: Path) -> None:
    image = IcoImage(load(write(tmp_path / "a.png", picture(16))), IcoOptions())
    image.add_page(load(write(tmp_path / "b.png", picture(32))))
    image.add_page(load(write(tmp_path / "c.png", picture(48))), IcoOptions(FileFormat.BMP, 32))
    image.add_raster_page(load(write(tmp_path / "d.png", picture(20))))
    assert image.page_count == 4
    data = saved(image)
    assert [entry[:3] for entry in entries(data)] == [(side, side, 32) for side in (16, 32, 48, 20)]
    assert entries(data)[2][3] == b"\x28\0\0\0"
    for side in (16, 32, 48, 20):
        assert (by_pillow(data, side) == picture(side)).all()
    image.remove_page(1)
    assert [entry[0] for entry in entries(saved(image))] == [16, 48, 20]
    with managed_error("ArgumentOutOfRangeException", "index"):
        image.remove_page(3)
    with managed_error("ArgumentNullException", "page"):
        image.add_raster_page(None)


def test_a_new_icon() -> None:
    for image in (IcoImage(9, 5, IcoOptions()), ico(Image.create(IcoOptions(), 9, 5))):
        assert (image.width, image.height, image.page_count) == (9, 5, 1)
        image.set_argb_32_pixel(4, 2, -1)
        assert entries(saved(image))[0][:2] == (9, 5)
        with Pillow.open(io.BytesIO(saved(image))) as read:
            assert read.convert("RGBA").getpixel((4, 2)) == (255, 255, 255, 255)


def test_pages_of_other_formats_make_no_icon(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", picture(16))
    assert Image.create([Image.load(path), Image.load(path)]).file_format == FileFormat.TIFF


def test_a_damaged_entry_is_not_copied() -> None:
    data = png_files.Png(6, 8, np.zeros((8, 8, 4), np.uint16))
    whole = png_files.to_bytes(data)
    at = whole.index(b"IDAT")
    length = int.from_bytes(whole[at - 4:at], "big")
    rows = bytearray(zlib.decompress(whole[at + 4:at + 4 + length]))
    rows[0] = 9  # no filter
    packed = b"IDAT" + zlib.compress(rows)
    entry = (whole[:at - 4] + struct.pack(">I", len(packed) - 4) + packed + struct.pack(">I", zlib.crc32(packed))
             + whole[at + 4 + length + 4:])
    head = struct.pack("<3H4B2H2I", 0, 1, 1, 8, 8, 0, 0, 1, 32, len(entry), 22)
    image = Image.load(io.BytesIO(head + entry))
    with managed_error("ImageLoadException", "ICO"):
        image.save(io.BytesIO(), IcoOptions())


def test_damage_is_an_error() -> None:
    for size in (30, 200, len(file_of()) - 100):
        with managed_error("ImageLoadException", "ICO"):
            Image.load(io.BytesIO(file_of()[:size])).page_count


@pytest.mark.parametrize(("bits", "name"), [
    (1, "Rgba32Bpp"), (4, "Rgba32Bpp"), (8, "Rgba32Bpp"), (16, "Rgba32Bpp"), (24, "Rgb24Bpp"), (32, "Rgba32Bpp"),
    (48, "Rgb"), (64, "Rgba")])
def test_a_new_icon_has_the_channels_of_its_entry(bits: int, name: str) -> None:
    image = raster(Image.create(IcoOptions(FileFormat.PNG, bits), 5, 4))
    assert str(image.raw_data_format) == name
    channels = len(image.raw_data_format.channel_bits)
    assert channels == (3 if bits in (24, 48) else 4)
    assert list(image.raw_data_format.channel_bits) == [16 if bits >= 48 else 8] * channels
