"""BMP files of every kind of header, and the runs of those with run lengths, compared with Pillow and NumPy."""

from __future__ import annotations

import io
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, RasterImage, RotateFlipType
from zelmor.imaging.fileformats.bmp import BitmapCompression, BmpImage
from zelmor.imaging.imageoptions import BmpOptions

from support.image_oracles import Pixels, load, noise, pixels, worst, write
from support.tiff_files import packed

WIDTH, HEIGHT = 7, 5
CORE, SHORTEST, INFO = 12, 16, 40
#: Masks of red, green, blue and alpha by the bits of a pixel.
MASKS = {16: (0x7C00, 0x03E0, 0x001F, 0), 32: (0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000)}


def palette_of(bits: int) -> Pixels:
    """Arbitrary colors for all indices."""
    return np.random.default_rng(bits).integers(0, 256, (1 << bits, 3), dtype=np.uint8)


def picture_of(bits: int) -> tuple[Pixels, bytes]:
    """A picture as colors, and its rows as a file has them, from the last to the first."""
    random = np.random.default_rng(bits)
    if bits <= 8:
        indices = random.integers(0, 1 << bits, (HEIGHT, WIDTH), dtype=np.uint8)
        colors, rows = palette_of(bits)[indices], packed(indices[..., None], bits)
    elif bits == 16:
        five = random.integers(0, 32, (HEIGHT, WIDTH, 3))
        colors = np.rint(five * 255 / 31).astype(np.uint8)
        rows = (five @ (1 << 10, 1 << 5, 1)).astype("<u2").tobytes()
    else:
        colors = random.integers(0, 256, (HEIGHT, WIDTH, 3), dtype=np.uint8)
        stored = colors[..., ::-1]
        rows = (np.pad(stored, ((0, 0), (0, 0), (0, 1)), constant_values=255) if bits == 32 else stored).tobytes()
    length = len(rows) // HEIGHT
    ordered = [rows[y * length:(y + 1) * length] for y in reversed(range(HEIGHT))]
    return colors, b"".join(row + b"\0" * (-length % 4) for row in ordered)


def bitmap(size: int, bits: int, fields: bool = False, gap: int = 0) -> bytes:
    """A file whose header has this size; the gap is between all headers and the pixels."""
    rows = picture_of(bits)[1]
    if size == CORE:
        header = struct.pack("<IHHHH", size, WIDTH, HEIGHT, 1, bits)
    else:
        header = struct.pack("<IiiHHIIiiII", size, WIDTH, HEIGHT, 1, bits, 3 if fields else 0, len(rows), 3780, 3780,
                             0, 0)[:size]
        masks = struct.pack("<4I", *MASKS.get(bits, (0,) * 4)) if fields else b""
        header = (header + masks[:max(12, min(16, size - INFO))]).ljust(size, b"\0") if fields else header.ljust(
            size, b"\0")
    table = b""
    if bits <= 8:
        entries = palette_of(bits)[:, ::-1]
        table = (entries if size == CORE else np.pad(entries, ((0, 0), (0, 1)))).tobytes()
    at = 14 + len(header) + len(table) + gap
    return struct.pack("<2sIII", b"BM", at + len(rows), 0, at) + header + table + b"\0" * gap + rows


@pytest.mark.parametrize(("size", "bits", "fields"), [
    *((size, bits, False) for size in (CORE, SHORTEST, INFO, 52, 56, 64, 108, 124) for bits in (1, 4, 8, 24)),
    *((size, bits, fields) for size in (INFO, 52, 56, 108, 124) for bits in (16, 32) for fields in (False, True)),
])
@pytest.mark.parametrize("gap", [0, 6])
def test_every_header_is_read(tmp_path: Path, size: int, bits: int, fields: bool, gap: int) -> None:
    data = bitmap(size, bits, fields, gap)
    (tmp_path / "a.bmp").write_bytes(data)
    image = load(tmp_path / "a.bmp")
    assert (image.width, image.height, image.bits_per_pixel) == (WIDTH, HEIGHT, bits)
    found = pixels(image, tmp_path)
    assert worst(found, picture_of(bits)[0]) == 0
    if size not in (SHORTEST, 52, 56):  # which not every Pillow reads
        assert worst(np.asarray(Pillow.open(io.BytesIO(data)).convert("RGB")), found) <= 1


#: Whether the fields are such that a file can be written with them.
MASKS_16 = {(0x7C00, 0x03E0, 0x001F, 0): True, (0xF800, 0x07E0, 0x001F, 0): True,
            (0x000F, 0x00F0, 0x0F00, 0xF000): True, (0x00FF, 0x0700, 0xF800, 0): True,
            (0xFF00, 0x00E0, 0x001F, 0): True, (0xFF80, 0x0060, 0x001F, 0): False,
            (0x7C00, 0x03E0, 0x003F, 0): False, (0x5000, 0x03E0, 0x001F, 0): False, (0x7C00, 0, 0x001F, 0): False,
            (0x17C00, 0x03E0, 0x001F, 0): False, (0x7C00, 0x03E0, 0x001F, 0x8000): True}


@pytest.mark.parametrize("masks", MASKS_16)
def test_fields_of_16_bits_are_kept_where_they_can_be(tmp_path: Path, masks: tuple[int, int, int, int]) -> None:
    """Each a run of at most eight bits, and none with a bit of another; the usual fields take their place otherwise."""
    header = struct.pack("<IiiHHIIiiII", 108, 8, 4, 1, 16, 3, 64, 3780, 3780, 0, 0) + struct.pack("<4I", *masks)
    rows = np.random.default_rng(2).integers(0, 65536, 32).astype("<u2").tobytes()
    header = header.ljust(108, b"\0")
    (tmp_path / "a.bmp").write_bytes(struct.pack("<2sIII", b"BM", 14 + 108 + 64, 0, 14 + 108) + header + rows)
    image = load(tmp_path / "a.bmp")
    image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_Y)
    image.save(str(tmp_path / "b.bmp"))
    data = (tmp_path / "b.bmp").read_bytes()
    assert struct.unpack_from("<HI", data, 28) == (16, 3)
    kept = struct.unpack_from("<4I", data, 54)
    assert kept == (masks if MASKS_16[masks] else (0xF800, 0x07E0, 0x001F, 0))
    if MASKS_16[masks]:  # the same samples, from the other end
        at, = struct.unpack_from("<I", data, 10)
        before, after = (np.frombuffer(part, "<u2").reshape(4, 8) for part in (rows, data[at:at + 64]))
        used = np.bitwise_or.reduce(np.array(masks))
        assert np.array_equal(after & used, before[::-1] & used)


# ---- Run lengths


def runs_of(data: bytes) -> list[list[tuple[int, int]]]:
    """The runs of each row of a file, from the last row to the first: length and value."""
    at, = struct.unpack_from("<I", data, 10)
    rows: list[list[tuple[int, int]]] = [[]]
    while True:
        count, value = data[at], data[at + 1]
        at += 2
        if count > 0:
            rows[-1].append((count, value))
        elif value == 0:
            rows.append([])
        else:
            assert value == 1 and at == len(data)
            return rows if rows[-1] else rows[:-1]


@pytest.mark.parametrize(("bits", "compression"), [(8, BitmapCompression.RLE8), (4, BitmapCompression.RLE4)])
@pytest.mark.parametrize("width", [1, 254, 255, 256, 509, 510, 511, 766])
def test_plain_rows_are_as_few_runs_as_the_format_allows(tmp_path: Path, bits: int, compression: BitmapCompression,
                                                         width: int) -> None:
    source = np.full((2, width, 3), 255, np.uint8)
    source[1] = 0
    options = BmpOptions()
    options.bits_per_pixel, options.compression = bits, compression
    Image.load(write(tmp_path / "a.png", source)).save(str(tmp_path / "b.bmp"), options)
    most = 255  # pixels of one run
    lengths = [sorted(count for count, _ in row) for row in runs_of((tmp_path / "b.bmp").read_bytes())]
    wanted = sorted([most] * (width // most) + ([width % most] if width % most else []))
    assert lengths == [wanted, wanted]
    assert worst(pixels(load(tmp_path / "b.bmp"), tmp_path), source) == 0


def ink(width: int, height: int = 5) -> Pixels:
    return np.random.default_rng(width).integers(0, 2, (height, width)).astype(bool)


def one_bit_file(pixels: Pixels, indexed: bool) -> bytes:
    """A PNG of 1 bit a pixel, in black and white or with two colors."""
    file = io.BytesIO()
    if indexed:
        picture = Pillow.fromarray(pixels.astype(np.uint8), "P")
        picture.putpalette([10, 20, 200, 250, 240, 0])
        picture.save(file, "PNG", bits=1)
    else:
        Pillow.fromarray(pixels).save(file, "PNG")
    return file.getvalue()


@pytest.mark.parametrize("width", [1, 7, 8, 9, 16, 31, 33, 100])
@pytest.mark.parametrize("indexed", [False, True])
def test_a_picture_of_one_bit_keeps_it(tmp_path: Path, width: int, indexed: bool) -> None:
    pixels = ink(width)
    image = Image.load(io.BytesIO(one_bit_file(pixels, indexed)))
    unset, plain = BmpOptions(), BmpOptions()
    assert unset.bits_per_pixel == 24
    plain.bits_per_pixel = 24
    image.save(str(tmp_path / "options.bmp"), unset)
    image.save(str(tmp_path / "extension.bmp"))
    image.save(str(tmp_path / "asked.bmp"), plain)
    colors = np.array([[10, 20, 200], [250, 240, 0]] if indexed else [[0] * 3, [255] * 3])[pixels.astype(int)]
    for name, bits in (("options", 1), ("extension", 1), ("asked", 24)):
        data = (tmp_path / f"{name}.bmp").read_bytes()
        assert struct.unpack_from("<H", data, 28) == (bits,)
        assert len(data) == 54 + (8 if bits == 1 else 0) + (width * bits + 31) // 32 * 4 * len(pixels)
        with Pillow.open(tmp_path / f"{name}.bmp") as picture:
            assert np.array_equal(np.asarray(picture.convert("RGB")), colors)
    again = Image.load(str(tmp_path / "options.bmp"))
    assert again.bits_per_pixel == 1
    again.save(str(tmp_path / "again.bmp"))
    assert (tmp_path / "again.bmp").read_bytes() == (tmp_path / "options.bmp").read_bytes()


@pytest.mark.parametrize("bits", [1, 4, 8, 16, 24, 32])
@pytest.mark.parametrize("bands", [1, 3, 4])
def test_all_depths_are_written_from_all_colors(tmp_path: Path, bits: int, bands: int) -> None:
    """Two colors, which every depth has."""
    chosen = np.array([[16, 24, 240, 255], [0, 255, 8, 255]], np.uint8)[ink(13, 6).astype(int)]
    pixels = chosen[..., :bands] if bands > 1 else np.where(ink(13, 6), 255, 0).astype(np.uint8)
    Pillow.fromarray(pixels).save(tmp_path / "a.png")
    wanted = BmpOptions()
    wanted.bits_per_pixel = bits
    Image.load(str(tmp_path / "a.png")).save(str(tmp_path / "a.bmp"), wanted)
    data = (tmp_path / "a.bmp").read_bytes()
    assert struct.unpack_from("<H", data, 28) == (bits,)
    with Pillow.open(tmp_path / "a.bmp") as picture:
        found = np.asarray(picture.convert("RGB")).astype(int)
    expected = pixels[..., :3] if bands > 1 else np.stack([pixels] * 3, -1)
    assert np.abs(found - expected).max() <= (8 if bits == 16 else 0)


@pytest.mark.parametrize(("bands", "bits", "fields"), [(1, 24, False), (2, 32, True), (3, 24, False), (4, 32, True)])
def test_new_images_have_alpha_where_their_source_has(tmp_path: Path, bands: int, bits: int, fields: bool) -> None:
    picture = load(write(tmp_path / "a.png", noise(bands)))
    image = BmpImage(picture)
    assert image.bits_per_pixel == bits
    file = io.BytesIO()
    image.save(file)
    data = file.getvalue()
    assert struct.unpack_from("<HI", data, 28) == (bits, 3 if fields else 0)
    found = pixels(load_bytes(data), tmp_path, "RGBA")
    assert worst(found, pixels(picture, tmp_path, "RGBA")) == 0


def load_bytes(data: bytes) -> Any:
    return RasterImage._cast_to(Image.load(io.BytesIO(data))).value


@pytest.mark.parametrize("bits", [1, 4, 8])
def test_more_colors_than_a_file_had_make_it_one_of_true_colors(tmp_path: Path, bits: int) -> None:
    """An untouched depth is kept; one that the pixels have outgrown is not."""
    colors = np.random.default_rng(1).integers(0, 256, (1 << bits, 3), dtype=np.uint8)
    indices = np.arange(24 * 16).reshape(16, 24) % (1 << bits)
    source = tmp_path / "a.bmp"
    picture = Pillow.fromarray(indices.astype(np.uint8), "P")
    picture.putpalette(colors.tobytes())
    picture.save(source, bits=bits) if bits == 8 else Pillow.fromarray(colors[indices]).quantize(1 << bits).save(source)
    image = load(source)
    image.save(str(tmp_path / "same.bmp"))
    assert struct.unpack_from("<H", (tmp_path / "same.bmp").read_bytes(), 28) == (8,)
    noisy = noise(3, 5, 24, 16)
    packed_colors = (0xFF << 24 | noisy[..., 0].astype(np.int64) << 16 | noisy[..., 1].astype(np.int64) << 8
                     | noisy[..., 2]) - (1 << 32)
    image.save_argb_32_pixels(image.bounds, packed_colors.ravel().tolist())
    image.save(str(tmp_path / "more.bmp"))
    assert struct.unpack_from("<H", (tmp_path / "more.bmp").read_bytes(), 28) == (24,)
    assert worst(pixels(load(tmp_path / "more.bmp"), tmp_path)[..., :3], noisy) == 0
