"""Images from and to binary files of every kind: a stream gives the same result as a path."""

from __future__ import annotations

import io
import os
import threading
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow

from zelmor.imaging import FileFormat, FileStreamContainer, Image, Rectangle, StreamContainer
from zelmor.imaging.imageoptions import BmpOptions, JpegOptions, PngOptions
from zelmor.imaging.sources import StreamSource
from zelmor.pycore import BytesAsStream

from support.image_oracles import noise

FORMATS = {"PNG": FileFormat.PNG, "BMP": FileFormat.BMP, "TIFF": FileFormat.TIFF, "GIF": FileFormat.GIF,
           "JPEG": FileFormat.JPEG, "WEBP": FileFormat.WEBP}


def encoded(name: str = "PNG") -> bytes:
    """A picture of random colors in a format."""
    file = io.BytesIO()
    Pillow.fromarray(noise()).save(file, name)
    return file.getvalue()


def pixels(data: bytes) -> np.ndarray:
    """The colors of an encoded picture."""
    with Pillow.open(io.BytesIO(data)) as picture:
        return np.asarray(picture.convert("RGB"))


def memory_stream(data: bytes) -> Any:
    """A managed stream in memory."""
    stream = StreamSource().stream
    stream.write(data)
    stream.seek(0)
    return stream


class Dripping(io.RawIOBase):
    """A file that reads a few bytes in each call, and cannot seek."""

    def __init__(self, data: bytes) -> None:
        super().__init__()
        self.source = io.BytesIO(data)

    def readable(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int:
        return self.source.readinto(memoryview(buffer)[:7])


SOURCES: dict[str, Callable[[bytes], Any]] = {
    "BytesIO": io.BytesIO, "BytesAsStream": BytesAsStream, "dripping": Dripping,
    "buffered": lambda data: io.BufferedReader(Dripping(data)), "managed": memory_stream,
}


class TestLoading:
    @pytest.mark.parametrize("source", SOURCES)
    @pytest.mark.parametrize("name", FORMATS)
    def test_from_files_of_every_kind(self, source: str, name: str) -> None:
        data = encoded(name)
        with Image.load(SOURCES[source](data)) as image:
            assert image.file_format == FORMATS[name]
            copy = io.BytesIO()
            image.save(copy, PngOptions())
        if name not in ("JPEG", "WEBP"):  # two decoders of lossy formats may round differently
            assert np.array_equal(pixels(copy.getvalue()), pixels(data))

    def test_from_where_the_stream_stands(self) -> None:
        data = encoded()
        file = io.BytesIO(b"a header of its own" + data)
        file.seek(19)
        with Image.load(file) as image:
            assert image.width == pixels(data).shape[1]

    def test_from_a_real_file(self, tmp_path: Path) -> None:
        (tmp_path / "a.png").write_bytes(encoded())
        with open(tmp_path / "a.png", "rb") as file, Image.load(file) as image:
            assert not file.closed
            by_path = Image.load(str(tmp_path / "a.png"))
            assert (image.width, image.height, image.bits_per_pixel) == (by_path.width, by_path.height, 24)

    def test_from_the_stream_of_a_container(self, tmp_path: Path) -> None:
        (tmp_path / "a.bmp").write_bytes(encoded("BMP"))
        with FileStreamContainer.open_file_stream(str(tmp_path / "a.bmp")) as container:
            with Image.load(container.stream) as image:
                assert image.file_format == FileFormat.BMP

    def test_the_image_outlives_its_file(self) -> None:
        with io.BytesIO(encoded()) as file:
            image = Image.load(file)
        copy = io.BytesIO()
        image.save(copy)
        assert np.array_equal(pixels(copy.getvalue()), pixels(encoded()))

    @pytest.mark.parametrize("source", ["BytesIO", "BytesAsStream", "managed"])
    def test_looking_first(self, source: str) -> None:
        file = SOURCES[source](encoded("BMP"))
        assert Image.can_load(file)
        assert Image.get_file_format(file) == FileFormat.BMP
        assert file.tell() == 0
        assert not Image.can_load(SOURCES[source](b"no image at all"))

    def test_looking_at_what_cannot_seek(self) -> None:
        with pytest.raises(RuntimeError, match=r"^Proxy error\(NotSupportedException\)"):
            Image.can_load(Dripping(encoded()))

    @pytest.mark.parametrize("data", [b"", b"no image", encoded()[:20]])
    def test_what_is_no_image(self, data: bytes) -> None:
        for source in SOURCES.values():
            with pytest.raises(RuntimeError, match=r"^Proxy error\(ImageLoadException\)"):
                Image.load(source(data))

    def test_files_that_fail(self) -> None:
        class Failing(Dripping):
            def readinto(self, buffer: Any) -> int:
                raise OSError("the tape is torn")

        with pytest.raises(RuntimeError, match=r"(?s)^Proxy error\(PythonException\).*the tape is torn"):
            Image.load(Failing(b""))
        closed = io.BytesIO(encoded())
        closed.close()
        with pytest.raises(RuntimeError, match=r"(?s)^Proxy error\(PythonException\).*I/O operation on closed file"):
            Image.load(closed)
        for wrong in (io.StringIO("text"), b"bytes", 5):
            with pytest.raises(TypeError):
                Image.load(wrong)


class TestSaving:
    @pytest.mark.parametrize("options, name", [(PngOptions, "PNG"), (BmpOptions, "BMP"), (JpegOptions, "JPEG")])
    def test_to_files_of_every_kind(self, tmp_path: Path, options: type, name: str) -> None:
        with Image.load(io.BytesIO(encoded())) as image:
            image.save(str(tmp_path / "by_path"), options())
            expected = (tmp_path / "by_path").read_bytes()
            for make in (io.BytesIO, BytesAsStream, lambda: memory_stream(b"")):
                file = make()
                image.save(file, options())
                assert file.tell() == len(expected)
                file.seek(0)
                assert file.read() == expected
            with open(tmp_path / "by_file", "wb") as file:
                image.save(file, options())
            assert (tmp_path / "by_file").read_bytes() == expected
        with Pillow.open(tmp_path / "by_path") as picture:
            assert picture.format == name

    def test_without_options_the_format_stays(self) -> None:
        for name in ("PNG", "BMP", "TIFF"):
            file = io.BytesIO()
            with Image.load(io.BytesIO(encoded(name))) as image:
                image.save(file)
            assert np.array_equal(pixels(file.getvalue()), pixels(encoded(name)))
            file.seek(0)
            assert Image.get_file_format(file) == FORMATS[name]

    def test_a_part(self) -> None:
        file = io.BytesIO()
        with Image.load(io.BytesIO(encoded())) as image:
            image.save(file, PngOptions(), Rectangle(2, 3, 5, 4))
        assert np.array_equal(pixels(file.getvalue()), pixels(encoded())[3:7, 2:7])

    def test_goes_on_where_the_file_stands(self) -> None:
        file = io.BytesIO()
        file.write(b"before")
        with Image.load(io.BytesIO(encoded())) as image:
            image.save(file, BmpOptions())
        assert file.getvalue()[:8] == b"beforeBM"

    def test_files_that_take_little_at_a_time(self) -> None:
        class Narrow(io.RawIOBase):
            taken = bytearray()

            def writable(self) -> bool:
                return True

            def write(self, data: Any) -> int:
                part = bytes(memoryview(data)[:11])
                self.taken += part
                return len(part)

        file = Narrow()
        with Image.load(io.BytesIO(encoded())) as image:
            image.save(file, PngOptions())
        assert np.array_equal(pixels(bytes(file.taken)), pixels(encoded()))

    def test_files_that_fail(self, tmp_path: Path) -> None:
        class Full(io.RawIOBase):
            def writable(self) -> bool:
                return True

            def write(self, data: Any) -> int:
                raise OSError(28, "no space left")

        (tmp_path / "a").write_bytes(b"")
        with Image.load(io.BytesIO(encoded())) as image:
            with pytest.raises(RuntimeError, match=r"(?s)^Proxy error\(PythonException\).*no space left"):
                image.save(Full(), PngOptions())
            with open(tmp_path / "a", "rb") as file:
                with pytest.raises(RuntimeError, match=r"(?s)^Proxy error\(PythonException\).*UnsupportedOperation"):
                    image.save(file, PngOptions())
            with pytest.raises(RuntimeError, match=r"^Proxy error\(ArgumentNullException\)"):
                image.save(io.BytesIO(), None)

    def test_through_a_pipe_to_another_thread(self) -> None:
        """A Python file that waits releases the interpreter lock: the other thread reads meanwhile."""
        reader, writer = os.pipe()
        received: list[bytes] = []

        def receive() -> None:
            with os.fdopen(reader, "rb") as file:
                received.append(file.read())

        thread = threading.Thread(target=receive)
        thread.start()
        with os.fdopen(writer, "wb", buffering=0) as file, Image.load(io.BytesIO(encoded("BMP"))) as image:
            for _ in range(30):
                image.save(file, BmpOptions())
        thread.join()
        with io.BytesIO() as one:
            with Image.load(io.BytesIO(encoded("BMP"))) as image:
                image.save(one, BmpOptions())
            assert received == [one.getvalue() * 30]


def test_a_new_image_over_a_stream() -> None:
    """A source of an image to be created keeps the file; saving without a target writes to it."""
    file = io.BytesIO()
    options = BmpOptions()
    source = StreamSource(file)
    options.source = source
    assert source.stream is file
    with Image.create(options, 7, 5) as image:
        image.save()
    assert pixels(file.getvalue()).shape == (5, 7, 3)


def test_a_new_image_in_memory() -> None:
    options = PngOptions()
    options.source = StreamSource()
    with Image.create(options, 7, 5) as image:
        image.save()
    data = options.source.get_stream_container().to_bytes()
    assert pixels(bytes(data)).shape == (5, 7, 3)
    with Image.load(StreamContainer(io.BytesIO(data)).stream) as image:
        assert (image.width, image.height) == (7, 5)
