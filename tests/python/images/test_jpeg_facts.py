"""What a JPEG file says of itself before its pixels: its quality by the tables, its colors, sampling and resolution."""

from __future__ import annotations

import io
import struct
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, Rectangle
from zelmor.imaging.fileformats.jpeg import JpegCompressionColorMode, JpegCompressionMode
from zelmor.imaging.imageoptions import JpegOptions

from support.image_oracles import raster, smooth


def encoded(bands: int = 3, **how: Any) -> bytes:
    out = io.BytesIO()
    pixels = smooth(bands, 40, 24)
    (Pillow.fromarray(pixels, "CMYK") if bands == 4 else Pillow.fromarray(pixels)).save(out, "JPEG", **how)
    return out.getvalue()


def options(data: bytes) -> JpegOptions:
    found: JpegOptions = JpegOptions._cast_to(Image.load(io.BytesIO(data)).get_original_options()).value
    return found


def table_of(quality: int) -> list[int]:
    """That of the library's encoder for luminance."""
    with Pillow.open(io.BytesIO(encoded(1, quality=quality))) as picture:
        return list(picture.quantization[0])


USUAL = np.array(table_of(50))


def sums(most: int) -> list[int]:
    """By quality: of the tables that encoders make of the usual one. There is none for 0."""
    found = [10**9]
    for quality in range(1, 101):
        scale = 5000 // quality if quality < 50 else 200 - 2 * quality
        found.append(int(np.clip((USUAL * scale + 50) // 100, 1, most).sum()))
    return found


def with_table(values: list[int], wide: bool) -> bytes:
    data = encoded(1)
    at = data.index(b"\xff\xdb")
    size, = struct.unpack_from(">H", data, at + 2)
    content = bytes([16 if wide else 0]) + (struct.pack(">64H", *values) if wide else bytes(values))
    return data[:at + 2] + struct.pack(">H", 2 + len(content)) + content + data[at + 2 + size:]


def spread_over(total: int) -> list[int]:
    return [total // 64 + (1 if i < total % 64 else 0) for i in range(64)]


@pytest.mark.parametrize("quality", range(1, 101))
def test_the_quality_of_the_usual_tables(quality: int) -> None:
    assert sums(255)[quality] == sum(table_of(quality))
    assert options(encoded(3, quality=quality)).quality == quality


@pytest.mark.parametrize("wide", [False, True])
def test_the_quality_of_other_tables(wide: bool) -> None:
    """The quality whose table has the nearest sum, and of two that are as near the better one."""
    of_quality = sums(32767 if wide else 255)
    totals = {of_quality[quality] + step for quality in range(1, 101) for step in (-1, 0, 1)}
    for low, high in zip(of_quality[2:], of_quality[1:]):
        totals |= {(low + high) // 2 + step for step in (-1, 0, 1, 2)}
    for total in sorted(totals):
        if total < 64 or not wide and total > 64 * 255:
            continue
        best = max(range(1, 101), key=lambda quality: (-abs(of_quality[quality] - total), quality))
        assert options(with_table(spread_over(total), wide)).quality == best, total


def segments(data: bytes) -> list[tuple[int, bytes]]:
    """Those before the scan."""
    found, at = [], 2
    while data[at + 1] != 0xDA:
        size, = struct.unpack_from(">H", data, at + 2)
        found.append((data[at + 1], data[at + 4:at + 2 + size]))
        at += 2 + size
    return [*found, (0xDA, data[at:])]


def joined(parts: list[tuple[int, bytes]]) -> bytes:
    out = b"\xff\xd8"
    for marker, content in parts:
        out += content if marker == 0xDA else bytes([0xFF, marker]) + struct.pack(">H", len(content) + 2) + content
    return out


def adobe(transform: int) -> tuple[int, bytes]:
    return 0xEE, b"Adobe\0\x64\0\0\0\0" + bytes([transform])


def named(content: bytes, names: bytes) -> bytes:
    """The header of a frame whose components have these names."""
    out = bytearray(content)
    out[6::3] = names
    return bytes(out)


@pytest.mark.parametrize(("jfif", "marks", "names", "expected"), [
    (True, [], b"\1\2\3", "Y_CB_CR"), (False, [], b"\1\2\3", "Y_CB_CR"), (False, [], b"RGB", "RGB"),
    (False, [], b"RGC", "Y_CB_CR"), (False, [], b"SGB", "Y_CB_CR"), (False, [], b"RHB", "Y_CB_CR"),
    (True, [], b"RGB", "Y_CB_CR"), (False, [adobe(0)], b"\1\2\3", "RGB"), (False, [adobe(1)], b"\1\2\3", "Y_CB_CR"),
    (False, [adobe(1)], b"RGB", "Y_CB_CR"), (True, [adobe(0)], b"\1\2\3", "Y_CB_CR"),
    (False, [(0xEE, b"Adobf\0\x64\0\0\0\0\0")], b"\1\2\3", "Y_CB_CR")])
def test_three_components(jfif: bool, marks: Any, names: bytes, expected: str) -> None:
    parts = []
    for marker, content in segments(encoded(3, subsampling=0)):
        if marker == 0xE0 and not jfif:
            continue
        if marker == 0xC0:
            parts += marks
            content = named(content, names)
        if marker == 0xDA:
            scan = bytearray(content)
            scan[5:11:2] = names
            content = bytes(scan)
        parts.append((marker, content))
    found = options(joined(parts)).color_type
    assert found == JpegCompressionColorMode[expected]


@pytest.mark.parametrize(("bands", "marks", "expected"), [
    (1, [], "GRAYSCALE"), (1, [adobe(1)], "GRAYSCALE"), (4, [adobe(0)], "CMYK"), (4, [adobe(2)], "YCCK"),
    (4, [adobe(1)], "CMYK")])
def test_other_components(bands: int, marks: Any, expected: str) -> None:
    parts = [part for part in segments(encoded(bands)) if part[0] != 0xEE]
    assert options(joined([*marks, *parts])).color_type == JpegCompressionColorMode[expected]


@pytest.mark.parametrize("factors", [
    [(1, 1), (1, 1), (1, 1)], [(2, 2), (1, 1), (1, 1)], [(2, 1), (1, 1), (1, 1)], [(1, 2), (1, 1), (1, 1)],
    [(4, 2), (1, 1), (1, 1)], [(4, 1), (2, 1), (1, 1)], [(2, 4), (1, 1), (1, 1)], [(3, 1), (1, 1), (3, 1)],
    [(1, 4), (1, 2), (1, 4)], [(1, 1), (2, 2), (1, 1)]], ids=str)
def test_the_sampling_is_kept(factors: list[tuple[int, int]], tmp_path: Path) -> None:
    Pillow.fromarray(smooth(3, 64, 48)).save(tmp_path / "a.ppm")
    subprocess.run(["cjpeg", "-sample", ",".join(f"{across}x{down}" for across, down in factors), "-outfile",
                    str(tmp_path / "a.jpg"), str(tmp_path / "a.ppm")], check=True)
    image = raster(Image.load(str(tmp_path / "a.jpg")))
    image.crop(Rectangle(0, 0, 40, 30))
    image.save(str(tmp_path / "b.jpg"))
    frame = dict(segments((tmp_path / "b.jpg").read_bytes()))[0xC0]
    assert [(each >> 4, each & 15) for each in frame[7::3]] == factors


@pytest.mark.parametrize(("marker", "expected"), [
    (0xC0, JpegCompressionMode.BASELINE), (0xC1, JpegCompressionMode.BASELINE),
    (0xC2, JpegCompressionMode.PROGRESSIVE),
    (0xC9, JpegCompressionMode.BASELINE), (0xCA, JpegCompressionMode.PROGRESSIVE),
    (0xC3, JpegCompressionMode.LOSSLESS)])
def test_kinds_of_frames(marker: int, expected: JpegCompressionMode) -> None:
    parts = [(marker if kind == 0xC0 else kind, content) for kind, content in segments(encoded(1))]
    image = Image.load(io.BytesIO(joined(parts)))
    assert (image.width, image.height, image.bits_per_pixel) == (40, 24, 8)
    assert options(joined(parts)).compression_type == expected


def test_comments_fill_bytes_and_bare_markers() -> None:
    parts = segments(encoded(1))
    data = joined([(0xFE, b"first"), (0xFE, b"second"), *parts])
    data = data[:2] + b"\xff\xff\xff" + data[2:11] + b"\xff" + data[11:]
    image = Image.load(io.BytesIO(data))
    assert (image.width, image.height) == (40, 24)
    assert options(data).comment == "first"
    bare = data[:2] + b"\xff\xd0\xff\x01" + data[2:]
    assert Image.load(io.BytesIO(bare)).width == 40


@pytest.mark.parametrize("size", [2, 10, 65533])
@pytest.mark.parametrize("marker", [0xE3, 0xE7, 0xEF, 0xFE])
def test_what_looks_like_a_marker_within_a_segment(marker: int, size: int) -> None:
    """Nothing within a segment of a program counts, however long."""
    plain = encoded(quality=80)
    content = (b"\xff\xd9\xff\xda\xff\xc4" * size)[:size]
    image = raster(Image.load(io.BytesIO(joined([(marker, content)] * 3 + segments(plain)))))
    same = raster(Image.load(io.BytesIO(plain)))
    assert list(image.load_argb_32_pixels(image.bounds)) == list(same.load_argb_32_pixels(same.bounds))
