"""Limits: what a file claims is compared with them before memory is taken for it."""

from __future__ import annotations

import io
import struct
import time
import zlib
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from support import png_files
from support.child import run_child
from support.image_oracles import managed_error, noise, write
from support.runtimes import embedded_only
from zelmor.imaging import Image, LoadOptions, RasterImage
from zelmor.imaging.fileformats.apng import ApngImage
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import ApngOptions, GifOptions, PngOptions, TiffOptions, WebPOptions
from zelmor.imaging.memorymanagement import Configuration

#: 1,000 by 700 pixels: 2.1 million bytes as RGB.
PIXELS = np.arange(1000 * 700 * 3, dtype=np.uint8).reshape(700, 1000, 3)
#: Of address space, for programs that a small file must not make large.
ENOUGH = 3 << 30


@pytest.fixture(autouse=True)
def limit() -> Iterator[None]:
    """The limit of the process as it was."""
    yield
    Configuration.set_buffer_size_hint(0)


def decode(path: str, hint: int = 0) -> int:
    """Loads a picture and reads a pixel, so that it is decoded."""
    options = LoadOptions()
    options.buffer_size_hint = hint
    with Image.load(path, options) as image:
        return RasterImage._cast_to(image).value.get_argb_32_pixel(0, 0)


@pytest.mark.parametrize("extension", ["png", "bmp", "jpg", "tiff", "webp"])
def test_the_limit_of_the_load_options(tmp_path: Path, extension: str) -> None:
    path = write(tmp_path / f"a.{extension}", PIXELS)
    with managed_error("ImageLoadException", "buffer_size_hint"):
        decode(path, 1)
    assert decode(path, 3) == decode(path)


def test_the_limit_of_the_process(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", PIXELS)
    Configuration.set_buffer_size_hint(1)
    with managed_error("ImageLoadException", "buffer_size_hint", "1048576"):
        decode(path)
    decode(path, 3)  # the options come first
    Configuration.set_buffer_size_hint(0)
    decode(path)


def test_a_negative_limit_is_refused() -> None:
    options = LoadOptions()
    with managed_error("ArgumentOutOfRangeException", "LoadOptions.BufferSizeHint", "-1"):
        options.buffer_size_hint = -1
    assert options.buffer_size_hint == 0
    with managed_error("ArgumentOutOfRangeException", "Configuration.BufferSizeHint", "-1"):
        Configuration.set_buffer_size_hint(-1)
    assert Configuration.buffer_size_hint == 0


def test_frames_that_nobody_changed_are_let_go(tmp_path: Path) -> None:
    """All twelve frames together are larger than the limit; one that was looked at makes room for the next."""
    frames = [Pillow.fromarray(PIXELS[:200, :200] // 64 * number) for number in range(1, 13)]
    path = str(tmp_path / "a.png")
    frames[0].save(path, save_all=True, append_images=frames[1:], duration=50)
    options = LoadOptions()
    options.buffer_size_hint = 1  # enough for six frames at a time
    with Image.load(path, options) as image:
        for frame, page in zip(frames, ApngImage._cast_to(image).value.pages, strict=True):
            colors = list(RasterImage._cast_to(page).value.load_argb_32_pixels(page.bounds))
            expected = np.asarray(frame.convert("RGB")).reshape(-1, 3).astype(np.int64) @ [1 << 16, 1 << 8, 1]
            assert np.array_equal(np.array(colors, np.int64) & 0xFFFFFF, expected)


def chunk(kind: bytes, data: bytes) -> bytes:
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(*extra: bytes, width: int = 4, height: int = 4) -> bytes:
    rows = zlib.compress((b"\0" + bytes(width)) * height)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)) + \
        b"".join(extra) + chunk(b"IDAT", rows) + chunk(b"IEND", b"")


def tags_over_each_other(count: int, value_bytes: int) -> bytes:
    """A TIFF picture of one pixel with a directory of EXIF tags that all claim the same bytes."""
    def entry(tag: int, kind: int, number: int, value: int) -> bytes:
        return struct.pack("<HHII", tag, kind, number, value)
    values, exif = 256, 256 + value_bytes
    tags = [(256, 1), (257, 1), (258, 8), (259, 1), (262, 1), (273, values), (277, 1), (278, 1), (279, 1),
            (34665, exif)]
    main = struct.pack("<H", len(tags)) + b"".join(entry(tag, 4, 1, value) for tag, value in tags) + bytes(4)
    below = struct.pack("<H", count) + b"".join(
        entry(0x9000 + number, 7, value_bytes, values) for number in range(count)) + bytes(4)
    return (b"II*\0" + struct.pack("<I", 8) + main).ljust(values, b"\0") + bytes(value_bytes) + below


def xmp_of(elements: int) -> bytes:
    head = (b'<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
            b'<rdf:Description xmlns:a="http://a/"><a:b><rdf:Bag>')
    return head + b"<rdf:li/>" * elements + b"</rdf:Bag></a:b></rdf:Description></rdf:RDF></x:xmpmeta>"


def packed_text(packet: bytes) -> bytes:
    return chunk(b"iTXt", b"XML:com.adobe.xmp\0\1\0\0\0" + zlib.compress(packet, 9))


BOMBS: dict[str, Callable[[], bytes]] = {
    "EXIF tags over each other": lambda: tags_over_each_other(2_000, 4_000_000),
    "an XMP packet of many elements": lambda: png(packed_text(xmp_of(6_000_000))),
    "an XMP packet of endless text": lambda: png(packed_text(b"<a>" + b" " * (1 << 28))),
    "many packets that do not unpack": lambda: png(*[packed_text(b"<a>" + b" " * (1 << 27))] * 40),
}


@embedded_only(".NET ends the process where the address space has no room")
@pytest.mark.parametrize("name", BOMBS)
def test_metadata_take_no_more_than_their_limits(tmp_path: Path, name: str) -> None:
    path = tmp_path / "a"
    path.write_bytes(BOMBS[name]())
    run_child(f"""
import resource, sys, time
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.tiff import TiffImage
loaded = Image.load(sys.argv[1])
image, tiff = RasterImage._cast_to(loaded).value, TiffImage._cast_to(loaded).value
image.get_argb_32_pixel(0, 0)
resource.setrlimit(resource.RLIMIT_AS, ({ENOUGH}, {ENOUGH}))
start = time.thread_time()
for read in (lambda: image.xmp_data, lambda: tiff and tiff.exif_data):
    try:
        read()
    except RuntimeError as error:
        assert "OutOfMemory" not in str(error), error
assert time.thread_time() - start < 10
assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss < 1_500_000  # KiB
image.get_argb_32_pixel(0, 0)
""", str(path), PYTHONMALLOC="default", MALLOC_PERTURB_="0")


def test_directories_over_each_other_are_walked_for_a_while_only(tmp_path: Path) -> None:
    """Each byte pair of the file begins a directory of thousands of entries, whose next one begins two bytes later."""
    size = 1 << 20
    words = np.full(size // 2, 8000, dtype="<u2")
    path = tmp_path / "a.tiff"
    path.write_bytes(b"II*\0" + struct.pack("<I", 8) + words.tobytes())
    run_child("""
import sys, time
from zelmor.imaging import Image
start = time.thread_time()
try:
    Image.load(sys.argv[1])
except RuntimeError:
    pass
assert time.thread_time() - start < 20
""", str(path))


def test_coefficients_of_a_progressive_jpeg_count_beside_its_pixels(tmp_path: Path) -> None:
    """4.2 MB of coefficients, and 2.1 MB of pixels: either fits five, but both do not."""
    path = write(tmp_path / "a.jpg", PIXELS, progressive=True, subsampling=0)
    with managed_error("ImageLoadException", "buffer_size_hint"):
        decode(path, 5)
    assert decode(path, 7) == decode(path)
    assert decode(write(tmp_path / "b.jpg", PIXELS, subsampling=0), 5) == decode(path)


HEADERS = {
    "jpg": lambda: b"\xff\xd8" + b"\xff\xe0\0\2" * (1 << 24),
    "gif": lambda: b"GIF89a\1\0\1\0\0\0\0" + b"\x21\xfe\1\1\0" * (1 << 23),
}


@pytest.mark.parametrize("extension", HEADERS)
@pytest.mark.parametrize("by_path", [True, False])
def test_headers_that_go_on_are_walked_for_a_while_only(tmp_path: Path, extension: str, by_path: bool) -> None:
    path = tmp_path / f"a.{extension}"
    path.write_bytes(HEADERS[extension]())
    start = time.process_time()
    with path.open("rb") as file:
        given = str(path) if by_path else file
        with managed_error("ImageLoadException", "goes on after 1048576 bytes"):
            Image.load(given)
        assert not Image.can_load(given)
    assert time.process_time() - start < 1


class Counted(io.BytesIO):
    """Counts how often it is read."""

    reads = 0

    def read(self, size: int | None = -1, /) -> bytes:
        self.reads += 1
        return super().read(size)

    def readinto(self, buffer: Any, /) -> int:
        self.reads += 1
        return super().readinto(buffer)


MANY = 300_000
TINY: dict[str, Callable[[], bytes]] = {
    "without a name": lambda: png(chunk(b"teSt", b"") * 80_000),  # before the pixels: the header has a limit
    "of data": lambda: png().replace(chunk(b"IEND", b""), b"") + chunk(b"IDAT", b"") * MANY + chunk(b"IEND", b""),
    "of time": lambda: png().replace(chunk(b"IEND", b""), b"") + chunk(b"teSt", b"") * MANY + chunk(b"IEND", b""),
}


@pytest.mark.parametrize("name", TINY)
@pytest.mark.parametrize("by_path", [True, False])
def test_tiny_chunks_cost_their_bytes(tmp_path: Path, name: str, by_path: bool) -> None:
    """A stream is read in pieces, and not chunk by chunk."""
    content = TINY[name]()
    stream = Counted(content)
    path = tmp_path / "a.png"
    path.write_bytes(content)
    image = RasterImage._cast_to(Image.load(str(path) if by_path else stream)).value
    assert image is not None and image.get_argb_32_pixel(0, 0) & 0xFFFFFF == 0
    assert image.xmp_data is None
    # One of 80,000 chunks or more for each read would be far beyond this.
    assert by_path or 0 < stream.reads < 1000
    image.save(str(tmp_path / "b.png"), PngOptions())
    assert (tmp_path / "b.png").stat().st_size < 1000


@pytest.mark.parametrize("kind", ["tEXt", "COM"])
def test_texts_of_a_file_are_counted(tmp_path: Path, kind: str) -> None:
    path = tmp_path / "a"
    if kind == "tEXt":
        path.write_bytes(png(chunk(b"tEXt", b"a\0") * 65537))
    else:
        jpeg = Path(write(tmp_path / "b.jpg", PIXELS[:8, :8])).read_bytes()
        path.write_bytes(jpeg[:2] + b"\xff\xfe\0\2" * 65537 + jpeg[2:])
    image = RasterImage._cast_to(Image.load(str(path))).value
    assert image is not None
    image.get_argb_32_pixel(0, 0)
    with managed_error("ImageLoadException", "more than 65536 pieces of metadata"):
        print(image.xmp_data)


def test_sizes_count_the_bytes_of_the_pixels(tmp_path: Path) -> None:
    """Pixels of eight bytes, of which a picture has half as many as of those of four."""
    (tmp_path / "a.png").write_bytes(png_files.to_bytes(
        png_files.Png(png_files.RGBA, 16, np.zeros((3, 4, 4), np.uint16))))
    image = RasterImage._cast_to(Image.load(str(tmp_path / "a.png"))).value
    with managed_error("ArgumentOutOfRangeException", "'new_width'", "25000 by 25000"):
        image.resize(25_000, 25_000)
    options = PngOptions()
    options.color_type, options.bit_depth = PngColorType.TRUECOLOR_WITH_ALPHA, 16
    with managed_error("ArgumentOutOfRangeException", "'width'", "25000 by 25000"):
        Image.create(options, 25_000, 25_000)


@pytest.mark.parametrize("options", [WebPOptions, GifOptions, ApngOptions, TiffOptions])
def test_the_limit_of_a_save_counts_all_frames(options: Any) -> None:
    """Also where they are written one after the other, or kept coded by the encoder."""
    frames = [Pillow.fromarray(noise(3, i, 200, 150)) for i in range(14)]
    file = io.BytesIO()
    frames[0].save(file, "TIFF", save_all=True, append_images=frames[1:])
    image = Image.load(io.BytesIO(file.getvalue()))
    settings = options(TiffExpectedFormat.TIFF_LZW_RGB) if options is TiffOptions else options()
    settings.buffer_size_hint = 1
    with managed_error("OutOfMemoryException", "its pixels take 2 megabytes, more than the 1 of", "BufferSizeHint"):
        image.save(io.BytesIO(), settings)
    settings.buffer_size_hint = 2
    target = io.BytesIO()
    image.save(target, settings)
    with Pillow.open(target) as saved:
        assert saved.n_frames == 14


def gif_of_frames(count: int) -> bytes:
    head = b"GIF89a" + struct.pack("<HHBBB", 1, 1, 0x80, 0, 0) + bytes(6)
    return head + (b"," + struct.pack("<4HB", 0, 0, 1, 1, 0) + b"\2\1\x44\0") * count + b";"


def webp_of_frames(count: int) -> bytes:
    picture = b"VP8L" + struct.pack("<I", 5) + b"\x2f" + bytes(4) + b"\0"
    frame = b"ANMF" + struct.pack("<I", 16 + len(picture)) + bytes(16) + picture
    body = (b"WEBPVP8X" + struct.pack("<I", 10) + b"\2\0\0\0" + bytes(6) + b"ANIM" + struct.pack("<I", 6) + bytes(6)
            + frame * count)
    return b"RIFF" + struct.pack("<I", len(body)) + body


@pytest.mark.parametrize(("make", "text"), [
    (gif_of_frames, "it has more than 1048576 frames."),
    (webp_of_frames, "the animation has more than 1048576 frames.")])
def test_frames_of_an_animation_are_counted(make: Any, text: str) -> None:
    most = 1 << 20
    assert Image.load(io.BytesIO(make(most))).width == 1
    with managed_error("ImageLoadException", text):
        Image.load(io.BytesIO(make(most + 1)))
