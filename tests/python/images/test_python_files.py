"""Images from and to Python files."""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, DataRecoveryMode, FileFormat, Image, LoadOptions, Rectangle
from zelmor.imaging.imageoptions import BmpOptions, PngOptions
from zelmor.imaging.sources import StreamSource

from support.image_oracles import (FORMATS, HEIGHT, WIDTH, Pixels, few_colors, load, managed_error, noise, pixels,
                                   raster, read, worst, write)


def decoded(data: bytes, mode: str = "RGB") -> Pixels:
    """The pixels of a file in memory."""
    with Pillow.open(io.BytesIO(data)) as picture:
        return np.asarray(picture.convert(mode)).astype(int)


@pytest.mark.parametrize("extension", FORMATS)
def test_load_from_memory_and_from_a_file(tmp_path: Path, extension: str) -> None:
    path = write(tmp_path / f"a.{extension}", few_colors())
    expected = pixels(Image.load(path), tmp_path)
    with open(path, "rb") as file:
        for stream in (io.BytesIO(Path(path).read_bytes()), file):
            assert Image.can_load(stream)
            assert Image.get_file_format(stream) == FileFormat[FORMATS[extension][0]]
            assert stream.tell() == 0
            image = Image.load(stream)
            assert (image.width, image.height) == (WIDTH, HEIGHT)
            assert worst(pixels(image, tmp_path), expected) == 0


def test_load_begins_at_the_position(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    stream = io.BytesIO(b"something else" + Path(path).read_bytes())
    with managed_error("ImageLoadException", "stream", "none of the formats"):
        Image.load(stream)
    stream.seek(14)
    assert worst(pixels(Image.load(stream), tmp_path), noise()) == 0


def test_load_with_options(tmp_path: Path) -> None:
    data = Path(write(tmp_path / "a.png", noise(3, 1, 64, 96))).read_bytes()
    cut = data[:len(data) // 2]
    with managed_error("ImageLoadException", "stream", "PNG"):
        raster(Image.load(io.BytesIO(cut))).cache_data()
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.CONSISTENT_RECOVER
    image = Image.load(io.BytesIO(cut), options)
    assert worst(pixels(image, tmp_path)[:20], noise(3, 1, 64, 96)[:20]) == 0
    assert Image.can_load(io.BytesIO(data), options)


@pytest.mark.parametrize("bounds", [None, (5, 6, 20, 10)])
def test_save_to_memory(tmp_path: Path, bounds: tuple[int, int, int, int] | None) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    stream = io.BytesIO()
    if bounds:
        image.save(stream, BmpOptions(), Rectangle(*bounds))
        assert worst(decoded(stream.getvalue()), noise()[6:16, 5:25]) == 0
    else:
        image.save(stream, BmpOptions())
        assert worst(decoded(stream.getvalue()), noise()) == 0
    assert stream.getvalue().startswith(b"BM")


def test_save_without_options_keeps_the_format(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.tif", noise()))
    stream = io.BytesIO(b"in front")
    stream.seek(8)
    image.save(stream)
    assert stream.getvalue().startswith(b"in frontII*\0")
    assert worst(decoded(stream.getvalue()[8:]), noise()) == 0
    image.save_to_stream_with_options(stream, PngOptions())


def test_save_to_a_file(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with open(tmp_path / "b.png", "wb") as file:
        image.save(file)
        assert not file.closed
    assert worst(read(tmp_path / "b.png"), noise()) == 0


def test_create_over_a_stream() -> None:
    stream = io.BytesIO()
    options = PngOptions()
    options.source = StreamSource(stream)
    image = load_created(options)
    image.save()
    assert decoded(stream.getvalue(), "RGBA").shape == (4, 6, 4)


def load_created(options: PngOptions) -> Image:
    image = Image.create(options, 6, 4)
    image.background_color = Color.red
    return image


def test_an_image_from_a_stream_belongs_to_no_file(tmp_path: Path) -> None:
    image = Image.load(io.BytesIO(Path(write(tmp_path / "a.png", noise())).read_bytes()))
    with managed_error("InvalidOperationException", "no file"):
        image.save()


class Broken(io.RawIOBase):
    """A file that fails in the middle."""

    def readable(self) -> bool:
        return True

    def writable(self) -> bool:
        return True

    def readinto(self, buffer: object) -> int:
        raise OSError("the line is dead")

    def write(self, data: object) -> int:
        raise OSError("the line is dead")


def test_errors_of_the_python_file_arrive(tmp_path: Path) -> None:
    with pytest.raises(RuntimeError, match="the line is dead"):
        Image.load(Broken())
    image = load(write(tmp_path / "a.png", noise()))
    with pytest.raises(RuntimeError, match="the line is dead"):
        image.save(Broken(), PngOptions())


def test_a_stream_that_cannot_seek_is_loaded_but_not_looked_at(tmp_path: Path) -> None:
    class Pipe(io.RawIOBase):
        def __init__(self, data: bytes) -> None:
            self.data = io.BytesIO(data)

        def readable(self) -> bool:
            return True

        def readinto(self, buffer: Any) -> int:
            view = memoryview(buffer)
            part = self.data.read(min(1000, len(view)))
            view[:len(part)] = part
            return len(part)

    data = Path(write(tmp_path / "a.png", noise())).read_bytes()
    assert worst(pixels(Image.load(Pipe(data)), tmp_path), noise()) == 0
    with managed_error("NotSupportedException", "seek"):
        Image.can_load(Pipe(data))
