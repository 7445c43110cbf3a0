"""Pictures of more than 2 GiB decoded, in processes that have far less memory than that.

The files are sparse, or compressed to almost nothing, so that they take no room themselves.
"""

from __future__ import annotations

import struct
import zlib
from pathlib import Path

import numpy as np
import pytest

from support.child import run_child

WIDTH, HEIGHT = 50_000, 20_000  # as RGB three billion bytes

#: Memory for 400 MB beyond what the program has after its imports.
START = """
import resource, sys
from zelmor.imaging import Color, Image, RasterImage, Rectangle, ResizeType
from zelmor.imaging.fileformats.tiff.enums import TiffCompressions, TiffExpectedFormat
from zelmor.imaging.imageoptions import BmpOptions, PngOptions, TiffOptions

def loaded(path):
    return RasterImage._cast_to(Image.load(path)).value

def limit(more):
    size = int(open("/proc/self/statm").read().split()[0]) * resource.getpagesize()
    resource.setrlimit(resource.RLIMIT_AS, (size + more, resource.RLIM_INFINITY))

def refused(call, *words):
    try:
        call()
    except Exception as error:
        assert all(word in str(error) for word in words), error
    else:
        raise AssertionError("not refused")

loaded(sys.argv[2]).save(sys.argv[2] + ".png", PngOptions())  # loads the libraries and starts their threads
limit(400 << 20)
image = loaded(sys.argv[1])
"""


def small(folder: Path) -> str:
    """A picture of one pixel."""
    path = folder / "small.bmp"
    path.write_bytes(struct.pack("<2sIII", b"BM", 58, 0, 54) + struct.pack("<IiiHHIIiiII", 40, 1, 1, 1, 24, *[0] * 6)
                     + bytes(4))
    return str(path)


def sparse_bmp(folder: Path, width: int, height: int, bits: int) -> str:
    """A BMP whose pixels are a hole in the file."""
    path = folder / "a.bmp"
    colors = 1 << bits if bits <= 8 else 0
    start = 54 + 4 * colors
    size = start + (width * bits + 31) // 32 * 4 * height
    with path.open("wb") as file:
        file.write(struct.pack("<2sIII", b"BM", size, 0, start))
        file.write(struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, 0, 0, 0, 0, colors, 0))
        for i in range(colors):
            file.write(bytes([i, i, i, 0]))
        file.truncate(size)
    return str(path)


def sparse_tiff(folder: Path, width: int, height: int) -> str:
    """A TIFF of RGB in strips of one row, whose pixels are a hole in the file."""
    path = folder / "a.tif"
    entries = [(256, 4, 1, width), (257, 4, 1, height), (258, 3, 3, 8), (259, 3, 1, 1), (262, 3, 1, 2),
               (273, 4, height, 0), (277, 3, 1, 3), (278, 4, 1, 1), (279, 4, height, 0)]
    tables = 8 + 2 + 12 * len(entries) + 4
    bits, offsets, counts = tables, tables + 6, tables + 6 + 4 * height
    pixels = counts + 4 * height
    values = {258: bits, 273: offsets, 279: counts}
    with path.open("wb") as file:
        file.write(struct.pack("<2sHIH", b"II", 42, 8, len(entries)))
        for tag, kind, count, value in entries:
            file.write(struct.pack("<HHII", tag, kind, count, values.get(tag, value)))
        file.write(struct.pack("<I3H", 0, 8, 8, 8))
        file.write(struct.pack(f"<{height}I", *(pixels + 3 * width * i for i in range(height))))
        file.write(struct.pack(f"<{height}I", *[3 * width] * height))
        file.truncate(pixels + 3 * width * height)
    return str(path)


def chunk(name: bytes, body: bytes) -> bytes:
    return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))


def black_png(folder: Path, width: int, height: int) -> str:
    """A PNG of black RGB pixels: the same compressed rows over and over."""
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    rows = packer.compress(bytes((1 + 3 * width) * 20)) + packer.flush(zlib.Z_FULL_FLUSH)
    checksum = (1 + 3 * width) * height % 65521 << 16 | 1  # of zeros
    path = folder / "a.png"
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
                     + chunk(b"IDAT", b"\x78\xda" + rows * (height // 20) + b"\x03\0" + struct.pack(">I", checksum))
                     + chunk(b"IEND", b""))
    return str(path)


FILES = {"png": lambda folder: black_png(folder, WIDTH, HEIGHT),
         "tif": lambda folder: sparse_tiff(folder, WIDTH, HEIGHT),
         "bmp": lambda folder: sparse_bmp(folder, WIDTH, HEIGHT, 24)}


@pytest.mark.parametrize("kind", FILES)
def test_size_and_crops_of_a_picture_of_3_gb(tmp_path: Path, kind: str) -> None:
    run_child(START + """
assert (image.width, image.height, image.bits_per_pixel) == (50_000, 20_000, 24)
image.crop(Rectangle(49_000, 40, 1000, 60))
assert (image.width, image.height) == (1000, 60)
assert set(image.load_argb_32_pixels(image.bounds)) == {-0x1000000}
image.save(sys.argv[1] + ".out.tif", TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))
assert loaded(sys.argv[1] + ".out.tif").width == 1000
""", FILES[kind](tmp_path), small(tmp_path))


def test_a_thumbnail_of_a_picture_of_more_than_2_gb(tmp_path: Path) -> None:
    run_child(START + """
assert image.width * image.height > 1 << 31
image.resize(320, 240, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
image.save(sys.argv[1] + ".png", PngOptions())
assert set(image.load_argb_32_pixels(image.bounds)) == {-0x1000000}
""", sparse_bmp(tmp_path, 48_000, 45_000, 8), small(tmp_path))


@pytest.mark.parametrize("kind", FILES)
def test_rows_that_are_saved_again_are_not_kept(tmp_path: Path, kind: str) -> None:
    """Smaller pictures are kept in memory when their rows are wanted for the second time."""
    run_child(START + """
for i in range(3):
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    image.save(sys.argv[1] + ".out.tif", options, Rectangle(49_000, 30, 1000, 20))
    found = loaded(sys.argv[1] + ".out.tif")
    assert (found.width, found.height) == (1000, 20)
assert (image.width, image.height, image.is_cached) == (50_000, 20_000, False)
""", FILES[kind](tmp_path), small(tmp_path))


def test_what_gives_all_pixels_as_one_array_has_its_limit(tmp_path: Path) -> None:
    run_child(START + """
area = image.bounds
for name in ("load_argb_32_pixels", "load_pixels", "load_argb_64_pixels", "load_cmyk_pixels", "load_cmyk_32_pixels",
             "get_default_argb_32_pixels"):
    refused(lambda: getattr(image, name)(area), "OutOfMemoryException", "50000 by 20000",
            "larger than a managed array can be")
refused(lambda: image.get_default_raw_data(area, image.raw_data_settings), "OutOfMemoryException",
        "The raw data would be larger than a managed array can be.")
refused(lambda: image.resize(60_000, 60_000), "60000 by 60000", "limit of 4294967296 bytes", "'new_width'")
assert not image.is_cached
""", sparse_tiff(tmp_path, WIDTH, HEIGHT), small(tmp_path))


def test_operations_enlarge_beyond_2_gb(tmp_path: Path) -> None:
    """Each works on rows until something needs pixels in another order."""
    run_child(START + """
image.resize(30_000, 30_000)
assert 3 * image.width * image.height > 1 << 31
image.crop(Rectangle(100, 100, 50, 20))
assert set(image.load_argb_32_pixels(image.bounds)) == {-0x1000000}
""", sparse_bmp(tmp_path, 100, 80, 24), small(tmp_path))


def test_a_picture_of_more_than_2_gb_is_saved_as_a_whole(tmp_path: Path) -> None:
    """Rows go from the decoder to the encoder, so that no more than a few are in memory."""
    width, height = 50_000, 44_000
    path = Path(sparse_bmp(tmp_path, width, height, 1))
    line = (width + 31) // 32 * 4
    marks = {0: 3, 1234: 700, height - 1: 6249}  # a black byte of a row from the top
    with path.open("r+b") as file:
        for row, column in marks.items():
            file.seek(62 + line * (height - 1 - row) + column)
            file.write(b"\xA5")
    run_child(START + """
assert image.width * image.height > 1 << 31
image.save(sys.argv[1] + ".png", PngOptions())
assert not image.is_cached
""", str(path), small(tmp_path))
    data = Path(str(path) + ".png").read_bytes()
    assert len(data) < 2_000_000
    assert struct.unpack(">IIB", data[16:25]) == (width, height, 1)
    unpacker, at, found, offset = zlib.decompressobj(), 8, {}, 0
    stride = 1 + (width + 7) // 8
    while at < len(data):
        size = struct.unpack(">I", data[at:at + 4])[0]
        part = data[at + 8:at + 8 + size] if data[at + 4:at + 8] == b"IDAT" else b""
        at += 12 + size
        while part:
            rows = unpacker.decompress(part, 1 << 24)
            part = unpacker.unconsumed_tail
            for place in np.flatnonzero(np.frombuffer(rows, np.uint8)).tolist():
                found[divmod(offset + place, stride)] = rows[place]
            offset += len(rows)
    assert offset == stride * height
    assert found == {(row, column + 1): 0xA5 for row, column in marks.items()}
