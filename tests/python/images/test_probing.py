"""How far files are read: the first bytes of a file that is not a picture, the whole header, a picture to its end."""

from __future__ import annotations

import io
import json
import os
import socket
import struct
import subprocess
import sys
import zlib
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (DataRecoveryMode, FileFormat, Image, ImageLoadersRegistry, LoadOptions,
                            RasterCachedMultipageImage, Rectangle, StreamContainer)
from zelmor.imaging.fileformats.bmp import BmpImage
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.png import PngImage

from support.counting_files import CountingFile
from support.image_oracles import FORMATS, HEIGHT, WIDTH, few_colors, managed_error, noise, pixels, raster, worst, write

MEGABYTE = 1 << 20
A_FEW_HUNDRED = 512
NO_PICTURE = "none of the formats"


def picture_of(tmp_path: Path, extension: str) -> bytes:
    """A file of few colors, which all formats but one store exactly."""
    return Path(write(tmp_path / f"a.{extension}", few_colors())).read_bytes()


LOADING: dict[str, Callable[[Any], Any]] = {
    "load": Image.load,
    "load_stream": Image.load_stream,
    "load with options": lambda stream: Image.load(stream, LoadOptions()),
    "BmpImage": BmpImage,
    "JpegImage": JpegImage,
    "PngImage": PngImage,
}
LOOKING: dict[str, Callable[[Any], Any]] = {
    "can_load": Image.can_load,
    "can_load with options": lambda stream: Image.can_load(stream, LoadOptions()),
    "can_load_stream": Image.can_load_stream,
    "get_file_format": Image.get_file_format,
    "get_file_format_of_stream": Image.get_file_format_of_stream,
    "first descriptor": lambda stream: ImageLoadersRegistry.get_first_supported_descriptor(stream, LoadOptions()),
    "first loader": lambda stream: ImageLoadersRegistry.create_first_supported_loader(stream, LoadOptions()),
    "descriptor of PNG": lambda stream: ImageLoadersRegistry.get_first_supported_descriptor_by_file_format(
        FileFormat.PNG).can_load(StreamContainer(stream), None),
}


class TestNoPicture:
    @pytest.mark.parametrize("can_seek", [True, False])
    @pytest.mark.parametrize("name", LOADING)
    def test_loading_refuses_it_by_its_first_bytes(self, name: str, can_seek: bool) -> None:
        for filler in (b"\0", b"\xff", b"some text "):
            file = CountingFile(b"", filler, can_seek)
            with managed_error("ImageLoadException", NO_PICTURE):
                LOADING[name](file)
            assert file.read_bytes <= A_FEW_HUNDRED

    @pytest.mark.parametrize("name", LOOKING)
    def test_probing_it_reads_no_more(self, name: str) -> None:
        file = CountingFile(b"", b"\0")
        file.seek(77)
        assert not LOOKING[name](file)
        assert file.read_bytes <= A_FEW_HUNDRED
        assert file.tell() == 77

    @pytest.mark.parametrize("device", ["/dev/zero", "/dev/urandom"])
    def test_devices(self, device: str) -> None:
        with managed_error("ImageLoadException", NO_PICTURE):
            Image.load(device)
        assert not Image.can_load(device)
        assert Image.get_file_format(device) == FileFormat.UNDEFINED
        with open(device, "rb") as file, managed_error("ImageLoadException", NO_PICTURE):
            Image.load(file)
        with managed_error("ImageLoadException", "no data in it"):
            Image.load("/dev/null")

    def test_a_stream_that_cannot_seek_is_not_probed(self) -> None:
        file = CountingFile(b"", b"\0", can_seek=False)
        with managed_error("NotSupportedException", "using it up"):
            Image.can_load(file)
        assert file.read_bytes == 0

    def test_the_position_comes_back_after_a_failure(self) -> None:
        class Failing(CountingFile):
            def readinto(self, buffer: Any) -> int:
                super().readinto(buffer)
                raise OSError("the disk is gone")

        file = Failing(b"x" * 100)
        file.seek(5)
        with managed_error("PythonException", "the disk is gone"):
            Image.can_load(file)
        assert file.tell() == 5


def png_chunk(kind: bytes, data: bytes) -> bytes:
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def long_header(data: bytes, extension: str) -> bytes:
    """The same picture, with megabytes of data before the header of its pixels."""
    if extension == "png":
        return data[:33] + png_chunk(b"teXt", b"k\0" + bytes(3 * MEGABYTE)) + data[33:]
    if extension == "jpg":
        return data[:2] + (b"\xff\xef\xff\xff" + bytes(65533)) * 40 + data[2:]
    assert extension == "tif"
    # The directory moves to the end; all offsets stay the same.
    at = struct.unpack_from("<I", data, 4)[0]
    count = struct.unpack_from("<H", data, at)[0]
    directory = data[at:at + 2 + 12 * count + 4]
    padded = data + bytes(3 * MEGABYTE)
    return padded[:4] + struct.pack("<I", len(padded)) + padded[8:] + directory


class TestHeader:
    @pytest.mark.parametrize("extension", FORMATS)
    def test_of_an_endless_file(self, tmp_path: Path, extension: str) -> None:
        data = picture_of(tmp_path, extension)
        file = CountingFile(data, b"\0")
        assert Image.can_load(file)
        assert Image.get_file_format(file) == FileFormat[FORMATS[extension][0]]
        # In this file the TIFF directory is behind the pixels.
        assert file.read_bytes <= 2 * (1500 + 2 * A_FEW_HUNDRED)
        assert file.tell() == 0

    @pytest.mark.parametrize("extension", ["png", "jpg", "tif"])
    def test_what_lies_between_is_skipped(self, tmp_path: Path, extension: str) -> None:
        data = long_header(picture_of(tmp_path, extension), extension)
        path = tmp_path / "long"
        path.write_bytes(data)
        with Pillow.open(path) as picture:
            assert picture.size == (WIDTH, HEIGHT)
        file = CountingFile(data)
        assert Image.can_load(file)
        assert file.read_bytes <= (41 if extension == "jpg" else 3) * A_FEW_HUNDRED
        image = Image.load(str(path))
        assert (image.width, image.height) == (WIDTH, HEIGHT)
        image = Image.load(CountingFile(data, can_seek=False))
        assert (image.width, image.height) == (WIDTH, HEIGHT)

    @pytest.mark.parametrize("start, filler", [
        (b"\xff\xd8\xff", b"\xff"), (b"\xff\xd8\xff", b"\xff\xd0"), (b"GIF89a\1\0\1\0\0\0\0", b"\x21"),
        (b"GIF89a\1\0\1\0\0\0\0", b"\x21\xfe\1\1\0"), (b"\x89PNG\r\n\x1a\n", b"\0"), (b"BM", b"\0"),
        (b"II*\0", b"\x08\0\0\0"), (b"MM\0+\0\x08\0\0", b"\1"), (b"II*\0", b"\xff"), (b"II+\0\x08\0\0\0", b"\xff"),
        (b"RIFF\xff\xff\xff\xffWEBPVP8L", b"\0"), (b"RIFF\xff\xff\xff\xffWEBP", b"\0"),
    ])
    @pytest.mark.parametrize("can_seek", [True, False])
    def test_that_goes_on_for_ever(self, start: bytes, filler: bytes, can_seek: bool) -> None:
        file = CountingFile(start, filler, can_seek)
        with managed_error("ImageLoadException", "stream"):
            Image.load(file)
        assert file.read_bytes <= 66 * MEGABYTE if not can_seek else 2 * MEGABYTE

    def test_lengths_that_lie_beyond_all_files(self, tmp_path: Path) -> None:
        for offset in (2**63 - 1, 2**64 - 1, 2**62, 10**18):
            path = tmp_path / "far.tif"
            path.write_bytes(b"II+\0\x08\0\0\0" + struct.pack("<Q", offset) + bytes(50))
            assert not Image.can_load(str(path))
            with open(path, "rb") as file:
                assert not Image.can_load(file)
                with managed_error("ImageLoadException", "no complete header"):
                    Image.load(file)


class TestPicture:
    @pytest.mark.parametrize("can_seek", [True, False])
    @pytest.mark.parametrize("extension", FORMATS)
    def test_is_read_to_its_end(self, tmp_path: Path, extension: str, can_seek: bool) -> None:
        data = picture_of(tmp_path, extension)
        expected = pixels(Image.load(str(tmp_path / f"a.{extension}")), tmp_path)
        for filler in (b"\0", b"\xff", b"trailing text"):
            file = CountingFile(data, filler, can_seek)
            assert worst(pixels(Image.load(file), tmp_path), expected) == 0
            if can_seek:
                assert file.tell() == len(data)
            assert file.read_bytes <= len(data) + (66 * 1024 + 2000 if can_seek else 1024)

    @pytest.mark.parametrize("extension", FORMATS)
    def test_two_in_one_file(self, tmp_path: Path, extension: str) -> None:
        one, two = picture_of(tmp_path, extension), picture_of(tmp_path, "png")
        file = io.BytesIO(one + two)
        for expected in (FORMATS[extension][0], "PNG"):
            assert Image.load(file).file_format == FileFormat[expected]
        assert file.tell() == len(one + two)

    @pytest.mark.parametrize("extension", ["gif", "png", "webp", "tif"])
    def test_of_several_frames(self, tmp_path: Path, extension: str) -> None:
        frames = [Pillow.fromarray(noise(3, seed)) for seed in range(4)]
        frames[0].save(tmp_path / f"a.{extension}", save_all=True, append_images=frames[1:], duration=100)
        data = (tmp_path / f"a.{extension}").read_bytes()
        file = CountingFile(data, b"\0")
        image = Image.load(file)
        assert len(list(RasterCachedMultipageImage._cast_to(image).value.pages)) == 4
        assert len(data) - 16 < file.tell() <= len(data)  # Pillow writes padding between the pages of a TIFF

    @pytest.mark.parametrize("name, start, filler", [
        ("JPEG", None, b"\0"),
        ("PNG", None, png_chunk(b"IDAT", bytes(4000))),
        ("PNG", None, png_chunk(b"teXt", b"k\0" + bytes(4000))),
        ("GIF", b"GIF89a\1\0\1\0\0\0\0\x2c\0\0\0\0\1\0\1\0\0\2", b"\xff" + bytes(255)),
        ("WEBP", b"RIFF\xfe\xff\xff\xffWEBPVP8L\x0a\0\0\0\x2f" + bytes(9), b"abcd" + struct.pack("<I", 4000)
         + bytes(4000)),
        ("BMP", b"BM" + struct.pack("<IIIIiiHHIIiiII", 0, 0, 54, 40, 3, 3, 1, 8, 1, 0, 0, 0, 0, 0), b"\1"),
    ])
    def test_one_without_end_is_refused(self, tmp_path: Path, name: str, start: bytes | None, filler: bytes) -> None:
        if start is None:
            data = picture_of(tmp_path, "jpg" if name == "JPEG" else "png")
            start = data[:data.index(b"\xff\xda")] + b"\xff\xda\0\2" if name == "JPEG" else data[:33]
        for can_seek in (True, False):
            file = CountingFile(start, filler, can_seek)
            with managed_error("ImageLoadException", "goes on after", "pixels can need"):
                Image.load(file)
            assert file.read_bytes <= 70 * MEGABYTE

    def test_recovery_reads_what_it_may(self, tmp_path: Path) -> None:
        data = Path(write(tmp_path / "a.jpg", noise(3, 1, 64, 96))).read_bytes()
        options = LoadOptions()
        options.data_recovery_mode = DataRecoveryMode.CONSISTENT_RECOVER
        file = CountingFile(data[:len(data) // 2], b"\0")
        image = raster(Image.load(file, options))
        assert (image.width, image.height) == (64, 96)
        assert file.read_bytes <= 70 * MEGABYTE

    def test_a_peer_that_keeps_the_line_open(self, tmp_path: Path) -> None:
        """A picture from a connection is loaded when it is complete, not when the other side closes the connection."""
        for extension in ("png", "gif", "webp", "bmp", "tif", "jpg"):
            data = picture_of(tmp_path, extension)
            here, there = socket.socketpair()
            with here, there:
                here.settimeout(20)
                there.sendall(data)
                with here.makefile("rb", buffering=0) as file:
                    assert Image.load(file).width == WIDTH

    def test_a_pipe_by_its_name(self, tmp_path: Path) -> None:
        os.mkfifo(tmp_path / "pipe")
        data = picture_of(tmp_path, "png")
        for then, check in ((data, lambda path: Image.load(path).width == WIDTH),
                            (data, Image.can_load),
                            (b"no picture" * 100, lambda path: not Image.can_load(path))):
            (tmp_path / "content").write_bytes(then)
            with subprocess.Popen(["sh", "-c", f"cat '{tmp_path}/content' > '{tmp_path}/pipe'"]) as writer:
                assert check(str(tmp_path / "pipe"))  # type: ignore[operator]
                writer.wait(20)


HUGE = """
import json, os, resource, sys
sys.path.insert(0, os.environ["ZELMOR_BUILD_DIR"] + "/python")
from zelmor.imaging import Image
path, small = sys.argv[1], sys.argv[2]
Image.load(small)  # the image library is there from now on
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
seen = []
for source in (path, open(path, "rb")):
    seen.append([Image.can_load(source), int(Image.get_file_format(source))])
    try:
        seen[-1].append(Image.load(source).width)
    except RuntimeError as error:
        seen[-1].append(str(error))
print(json.dumps([seen, resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before]))
"""


@pytest.mark.parametrize("extension", [None, *FORMATS])
def test_a_file_of_three_gigabytes(tmp_path: Path, extension: str | None) -> None:
    small, huge = write(tmp_path / "small.png", noise()), tmp_path / "huge"
    huge.write_bytes(b"no picture" if extension is None else picture_of(tmp_path, extension))
    os.truncate(huge, 3 << 30)
    done = subprocess.run([sys.executable, "-c", HUGE, str(huge), small], capture_output=True, text=True,
                          timeout=100, check=False)
    assert done.returncode == 0, done.stderr
    seen, kilobytes = json.loads(done.stdout)
    assert kilobytes < 50_000
    for readable, file_format, loaded in seen:
        if extension is None:
            assert (readable, file_format) == (False, 0)
            assert NO_PICTURE in loaded
        else:
            assert (readable, file_format, loaded) == (True, int(FileFormat[FORMATS[extension][0]]), WIDTH)


def test_pixels_of_a_large_picture_are_all_there(tmp_path: Path) -> None:
    """A header that takes many rounds of reading."""
    source, last_rows = noise(3, 3, 1500, 1000), Rectangle(0, 990, 1500, 10)
    for extension in ("png", "bmp", "tif"):
        path = write(tmp_path / f"large.{extension}", source)
        with open(path, "rb") as file:
            block = np.array(list(raster(Image.load(file)).load_argb_32_pixels(last_rows)))
        red = block.astype(np.int64) >> 16 & 0xFF
        assert (red.reshape(10, 1500) == source[-10:, :, 0]).all()
