"""Which Python type a managed result gets."""

from __future__ import annotations

import io
import struct
import zlib
from pathlib import Path
from typing import Any

import pytest
from module_tree import API_WRAPPERS, dotted

import zelmor.imaging as imaging
from zelmor.imaging import Image, RasterImage, Size, StreamContainer
from zelmor.imaging._wrpgen import _interop
from zelmor.imaging.fileformats.bmp import BmpImage
from zelmor.imaging.fileformats.png import PngImage


def png(path: Path) -> Path:
    """A picture of one white pixel."""

    def chunk(kind: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", 1, 1, 8, 2, 0, 0, 0)
    pixels = zlib.compress(b"\0\xff\xff\xff")
    path.write_bytes(
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")
    )
    return path


@pytest.fixture
def loaded(tmp_path: Path) -> Any:
    return Image.load(str(png(tmp_path / "pixel.png")))


class TestClassResults:
    """A class or struct result keeps its declared type."""

    def test_an_image_that_is_a_png_stays_an_image(self, loaded: Any) -> None:
        assert type(loaded) is Image
        assert loaded.get_type() == PngImage._type_of()

    def test_the_cast_shows_what_it_is(self, loaded: Any) -> None:
        casted = PngImage._cast_to(loaded).value
        assert type(casted) is PngImage
        assert casted == loaded
        assert casted is not loaded

    def test_a_cast_to_what_it_is_not(self, loaded: Any) -> None:
        assert BmpImage._cast_as(loaded).value is None

    def test_each_crossing_makes_a_new_wrapper(self) -> None:
        rectangle = imaging.Rectangle(1, 2, 3, 4)
        assert type(rectangle.size) is Size
        assert rectangle.size is not rectangle.size
        assert rectangle.size == rectangle.size

    def test_null_is_none(self) -> None:
        assert imaging.imageoptions.PngOptions().palette is None


class TestInterfaceResults:
    """An interface result is shown in the wrapper of its run-time type, if that lists the interface."""

    def test_a_registered_type_that_lists_it(self) -> None:
        options = imaging.imageoptions.BmpOptions()
        options.palette = imaging.ColorPalette([0, -1])
        assert type(options.palette) is imaging.ColorPalette


class TestStreamResults:
    """A stream comes back as what it is."""

    def test_a_managed_stream_is_a_stream_wrapper(self) -> None:
        stream = imaging.extensions.StreamExtensions.create_memory_stream()
        assert type(stream) is _interop._StreamWrapper

    def test_a_python_file_that_went_in_comes_back_itself(self) -> None:
        file = io.BytesIO(b"0123456789")
        container = StreamContainer(file)
        assert container.stream is file

    def test_a_managed_stream_that_went_in_comes_back_in_a_wrapper_of_its_own(self) -> None:
        stream = imaging.extensions.StreamExtensions.create_memory_stream()
        container = StreamContainer(stream)
        assert type(container.stream) is _interop._StreamWrapper
        assert container.stream is not stream


class TestRegisteredNames:
    """The types that a run-time type can lead to."""

    def test_are_891(self) -> None:
        assert len(API_WRAPPERS) == 891

    def test_have_names_of_their_own(self) -> None:
        assert len(set(map(dotted, API_WRAPPERS))) == len(API_WRAPPERS)


def test_a_raster_image_in_an_image_wrapper_passes_as_raster_image(loaded: Any) -> None:
    assert RasterImage._is_assignable(loaded)
    assert not BmpImage._is_assignable(loaded)
