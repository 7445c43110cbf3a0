"""BmpImage.bitmap_info_header: the header of the file, with the size that the image has now."""

from __future__ import annotations

import io
import struct
from typing import Any

import pytest
from zelmor.imaging import ColorPalette, Image
from zelmor.imaging.fileformats.bmp import (BitmapCompression, BitmapV4Header, BitmapV5Header, BmpImage,
                                            Os22XBitmapHeader)
from zelmor.imaging.imageoptions import BmpOptions

from support.image_oracles import few_colors, managed_error, noise
from support.metadata_files import encoded


def header_of(data: bytes) -> Any:
    return BmpImage._cast_to(Image.load(io.BytesIO(data))).value.bitmap_info_header


def fields(header: Any) -> tuple[int, ...]:
    return (header.header_size, header.bitmap_width, header.bitmap_height, header.bitmap_planes, header.bits_per_pixel,
            header.bitmap_compression, header.bitmap_image_size, header.bitmap_x_pels_per_meter,
            header.bitmap_y_pels_per_meter, header.bitmap_colors_used, header.bitmap_colors_important)


def of_bytes(data: bytes) -> tuple[int, ...]:
    return struct.unpack_from("<IiiHHIIiiII", data, 14)


def bitmap(bits: int, compression: BitmapCompression = BitmapCompression.RGB) -> bytes:
    from PIL import Image as Pillow
    options = BmpOptions()
    options.bits_per_pixel, options.compression = bits, compression
    file = io.BytesIO()
    png = io.BytesIO()
    Pillow.fromarray(few_colors() if bits < 32 else noise(4)).save(png, "PNG", dpi=(300, 150))
    Image.load(io.BytesIO(png.getvalue())).save(file, options)
    return file.getvalue()


@pytest.mark.parametrize("bits", [1, 4, 8, 16, 24, 32])
def test_the_header_of_a_file(bits: int) -> None:
    data = bitmap(bits)
    assert fields(header_of(data)) == of_bytes(data)


@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_indices_of_every_width(bits: int) -> None:
    """The pixels of a row are packed from the highest bit on, and rows have four bytes or a multiple."""
    width, count = 13, 1 << bits
    rows = [[(3 * x + 5 * y + x * y) % count for x in range(width)] for y in range(3)]
    size = (width * bits + 31) // 32 * 4
    packed = b"".join(int("".join(f"{index:0{bits}b}" for index in row).ljust(8 * size, "0"), 2).to_bytes(size, "big")
                      for row in reversed(rows))
    palette = [(7 * i % 256, 255 - i, 31 * i % 256) for i in range(count)]  # blue, green, red
    header = struct.pack("<IiiHHIIiiII", 40, width, 3, 1, bits, 0, 0, 0, 0, 0, 0)
    header += b"".join(bytes([*color, 0]) for color in palette)
    data = struct.pack("<2sIII", b"BM", 14 + len(header) + len(packed), 0, 14 + len(header)) + header + packed
    image = BmpImage._cast_to(Image.load(io.BytesIO(data))).value
    assert image.bits_per_pixel == bits
    for y, row in enumerate(rows):
        for x, index in enumerate(row):
            blue, green, red = palette[index]
            assert image.get_pixel(x, y).to_argb() & 0xFFFFFFFF == 0xFF000000 | red << 16 | green << 8 | blue


def test_of_another_writer() -> None:
    data = encoded("BMP")
    assert fields(header_of(data)) == of_bytes(data)
    assert header_of(data).extra_bit_masks is None


@pytest.mark.parametrize("bits", [16, 32])
def test_bit_masks(bits: int) -> None:
    data = bitmap(bits, BitmapCompression.BITFIELDS)
    header = header_of(data)
    assert header.bitmap_compression == BitmapCompression.BITFIELDS
    masks = [mask & 0xFFFFFFFF for mask in header.extra_bit_masks]
    assert masks == list(struct.unpack_from(f"<{len(masks)}I", data, 54)) and len(masks) >= 3


def test_the_size_follows_the_image() -> None:
    image = BmpImage._cast_to(Image.load(io.BytesIO(bitmap(24)))).value
    image.resize(10, 7)
    assert (image.bitmap_info_header.bitmap_width, image.bitmap_info_header.bitmap_height) == (10, 7)


def test_of_a_new_image() -> None:
    assert fields(BmpImage(9, 5).bitmap_info_header) == (40, 9, 5, 1, 24, 0, 0, 3780, 3780, 0, 0)


@pytest.mark.parametrize(("size", "compression", "count"), [
    (40, 3, 3), (40, 6, 4), (52, 0, 3), (52, 3, 3), (56, 0, 4), (56, 3, 4), (108, 0, 4), (124, 3, 4)])
def test_all_fields_have_all_their_bytes(size: int, compression: int, count: int) -> None:
    """No two bytes are alike, so that each shows whether it was read, and in which place."""
    masks = (0x7C00, 0x03E0, 0x001F, 0x8000)[:count]
    later = struct.pack("<IIiiII", compression, 0x04030201, 0x0C0B0A09, 0x14131211, 0x1C1B1A19, 0x24232221)
    header = (struct.pack("<IiiHH", size, 2, 1, 1, 16) + later + struct.pack(f"<{count}I", *masks)).ljust(size, b"\0")
    at = 14 + len(header)
    data = struct.pack("<2sIII", b"BM", at + 4, 0, at) + header + struct.pack("<2H", 0x7C1F, 0x03E0)
    found = header_of(data)
    assert fields(found) == of_bytes(data)
    assert [mask & 0xFFFFFFFF for mask in found.extra_bit_masks] == list(masks)


def versioned(size: int, tail: bytes) -> bytes:
    """A file with a header of that size, whose fields behind the 40 bytes of all are given."""
    header = struct.pack("<IiiHHIIiiII", size, 2, 1, 1, 24, 0, 8, 2835, 2835, 0, 0) + tail
    assert len(header) == size
    return struct.pack("<2sIII", b"BM", 14 + size + 8, 0, 14 + size) + header + bytes(range(8))


def test_the_fourth_and_the_fifth_version() -> None:
    words = [0x01020304 + 0x01010101 * i for i in range(21)]
    words[-1] = 0x80706050  # shown as a signed number
    for size, kind in ((108, BitmapV4Header), (124, BitmapV5Header)):
        image_header = header_of(versioned(size, struct.pack(f"<{(size - 40) // 4}I", *words[:(size - 40) // 4])))
        assert fields(image_header)[:3] == (size, 2, 1)
        header = kind._cast_to(image_header).value
        assert type(image_header) is kind or kind._is_assignable(image_header)
        found = [header.red_mask, header.green_mask, header.blue_mask, header.alpha_mask, header.cs_type]
        for point in (header.endpoints.cie_xyz_red, header.endpoints.cie_xyz_green, header.endpoints.cie_xyz_blue):
            found += [point.cie_coordinates_x, point.cie_coordinates_y, point.cie_coordinates_z]
        found += [header.gamma_red, header.gamma_green, header.gamma_blue]
        if size == 124:
            found += [header.intent, header.profile_data, header.profile_size, header.reserved]
        assert [value & 0xFFFFFFFF for value in found] == words[:(size - 40) // 4]
    assert not BitmapV5Header._is_assignable(header_of(versioned(108, bytes(68))))


def test_the_header_of_os_2() -> None:
    tail = struct.pack("<4H4I", 0x0102, 0x0304, 0x0506, 0x0708, 0x090A0B0C, 0x0D0E0F10, 0x11121314, 0x15161718)
    plain = header_of(versioned(64, tail))
    header = Os22XBitmapHeader._cast_to(plain).value
    assert (header.units, header.reserved, header.recording, header.rendering) == (0x0102, 0x0304, 0x0506, 0x0708)
    assert (header.size1, header.size2, header.color_encoding, header.identifier) == (
        0x090A0B0C, 0x0D0E0F10, 0x11121314, 0x15161718)
    assert header.extra_bit_masks is None
    for size in (40, 52, 56):
        other = header_of(versioned(size, bytes(size - 40)))
        assert not Os22XBitmapHeader._is_assignable(other) and not BitmapV4Header._is_assignable(other)


@pytest.mark.parametrize(("bits", "most"), [(1, 2), (4, 16), (8, 256), (24, 0)])
def test_the_palette_of_a_new_picture(bits: int, most: int) -> None:
    """As many entries as indices of so many bits can tell apart; the pixels are all of the first one."""
    for entries in {max(most, 1), most + 1}:
        palette = ColorPalette([-16777216 + 7 * i for i in range(entries)])
        if entries > most:
            with managed_error("ArgumentException", f"{entries} entries", f"{bits} bits", "palette"):
                BmpImage(3, 2, bits, palette)
            continue
        file = io.BytesIO()
        BmpImage(3, 2, bits, palette).save(file)
        data = file.getvalue()
        assert of_bytes(data)[4] == bits
        at = 14 + of_bytes(data)[0]
        assert data[at:at + 4 * entries] == b"".join(struct.pack("<I", 7 * i) for i in range(entries))
