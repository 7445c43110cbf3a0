"""Images from and to files of every origin; errors of these files cross the wire twice and arrive as text."""

from __future__ import annotations

import contextlib
import gzip
import io
import os
import socket
import sys
import tempfile
import zipfile
from collections.abc import Callable, Iterator
from contextlib import AbstractContextManager
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import zelmor.imaging
from PIL import Image as Pillow

from zelmor.imaging import FileFormat, FileStreamContainer, Image, SplitStreamContainer, StreamContainer
from zelmor.imaging.fileformats.tiff.filemanagement import TiffStreamReader
from zelmor.imaging.imageoptions import BmpOptions, PngOptions
from zelmor.imaging.sources import StreamSource
from zelmor.pycore import BytesAsStream

from support.control import control
from support.image_oracles import noise
from support.own_file import OwnFile

KIND = zelmor.imaging._wrpgen._interop._StreamWrapper
PIXELS = noise()


def png() -> bytes:
    """The picture that is loaded."""
    file = io.BytesIO()
    Pillow.fromarray(PIXELS).save(file, "PNG")
    return file.getvalue()


PNG = png()


def pixels(data: bytes) -> Any:
    """The colors of an encoded picture."""
    with Pillow.open(io.BytesIO(data)) as picture:
        return np.asarray(picture.convert("RGB"))


@contextlib.contextmanager
def from_socket(buffering: int) -> Iterator[Any]:
    """A picture that comes through a socket."""
    left, right = socket.socketpair()
    with left, right:
        right.sendall(PNG)
        right.shutdown(socket.SHUT_WR)
        with left.makefile("rb", buffering=buffering) as file:
            assert buffering or isinstance(file, socket.SocketIO)
            yield file


@contextlib.contextmanager
def from_pipe() -> Iterator[Any]:
    """A picture that comes through a pipe."""
    reader, writer = os.pipe()
    assert os.write(writer, PNG) == len(PNG)
    os.close(writer)
    with open(reader, "rb", buffering=0) as file:
        assert isinstance(file, io.FileIO)
        yield file


@contextlib.contextmanager
def from_disk(buffering: int) -> Iterator[Any]:
    """A picture in a file on disk."""
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / "a.png"
        path.write_bytes(PNG)
        with open(path, "rb", buffering=buffering) as file:
            yield file


@contextlib.contextmanager
def from_container() -> Iterator[Any]:
    """A picture in a file on disk, as a managed stream."""
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / "a.png"
        path.write_bytes(PNG)
        with FileStreamContainer.open_file_stream(str(path)) as container:
            yield container.stream


@contextlib.contextmanager
def from_archive() -> Iterator[Any]:
    """A picture in an archive."""
    store = io.BytesIO()
    with zipfile.ZipFile(store, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("a.png", PNG)
    with zipfile.ZipFile(store) as archive, archive.open("a.png") as file:
        yield file


def managed(data: bytes = b"") -> Any:
    """A managed stream in memory."""
    stream = StreamSource().stream
    stream.write(data)
    stream.seek(0)
    return stream


def managed_over_python(data: bytes = b"") -> Any:
    """A managed stream that has a Python file behind it."""
    return KIND._reinterpret_obj(StreamContainer(OwnFile(data))._cast_from(KIND._type_of()).value)


def joined() -> Any:
    """A managed stream of several pieces."""
    container = SplitStreamContainer(io.BytesIO(PNG[:100] + PNG[200:]))
    container.insert(100, StreamContainer(managed(PNG[100:200])), False)
    return container.stream


Maker = Callable[[], AbstractContextManager[Any]]
SEEKABLE: dict[str, Maker] = {
    "open": lambda: from_disk(-1), "open unbuffered": lambda: from_disk(0), "BytesIO": lambda: io.BytesIO(PNG),
    "own": lambda: contextlib.nullcontext(OwnFile(PNG)),
    "BytesAsStream": lambda: contextlib.nullcontext(BytesAsStream(PNG)),
    "own, buffered": lambda: io.BufferedRandom(OwnFile(PNG)), "managed": lambda: contextlib.nullcontext(managed(PNG)),
    "managed over Python": lambda: contextlib.nullcontext(managed_over_python(PNG)),
    "joined": lambda: contextlib.nullcontext(joined()), "managed on disk": from_container, "archive": from_archive,
    "compressed": lambda: gzip.GzipFile(fileobj=io.BytesIO(gzip.compress(PNG))),
}
ONCE_ONLY: dict[str, Maker] = {
    "socket": lambda: from_socket(0), "socket, buffered": lambda: from_socket(-1), "pipe": from_pipe,
}


class TestFrom:
    @pytest.mark.parametrize("origin", [*SEEKABLE, *ONCE_ONLY])
    def test_load(self, origin: str) -> None:
        with (SEEKABLE | ONCE_ONLY)[origin]() as file, Image.load(file) as image:
            copy = io.BytesIO()
            image.save(copy, PngOptions())
            assert not file.closed
        assert np.array_equal(pixels(copy.getvalue()), PIXELS)

    @pytest.mark.parametrize("origin", SEEKABLE)
    def test_looking_leaves_the_file_where_it_was(self, origin: str) -> None:
        with SEEKABLE[origin]() as file:
            for _ in range(2):
                assert Image.can_load(file) is True
                assert Image.get_file_format(file) == FileFormat.PNG
                assert file.tell() == 0
            file.seek(1)
            assert Image.can_load(file) is False
            assert file.tell() == 1

    @pytest.mark.parametrize("origin", ONCE_ONLY)
    def test_what_cannot_seek_is_not_looked_at_and_stays_whole(self, origin: str) -> None:
        with ONCE_ONLY[origin]() as file:
            for look in (Image.can_load, Image.get_file_format):
                with pytest.raises(RuntimeError, match=r"^Proxy error\(NotSupportedException\): .*seek"):
                    look(file)
            with Image.load(file) as image:
                assert (image.height, image.width) == PIXELS.shape[:2]


class TestTo:
    @pytest.fixture
    def image(self) -> Iterator[Any]:
        with Image.load(io.BytesIO(PNG)) as image:
            yield image

    @pytest.mark.parametrize("make", [io.BytesIO, BytesAsStream, OwnFile, managed, managed_over_python])
    def test_memory(self, image: Any, make: Callable[[], Any]) -> None:
        file, expected = make(), io.BytesIO()
        image.save(file, BmpOptions())
        image.save(expected, BmpOptions())
        assert file.tell() == len(expected.getvalue())
        file.seek(0)
        assert file.read(file.seek(0, 2) + file.seek(0)) == expected.getvalue()

    @pytest.mark.parametrize("buffering", [-1, 0])
    def test_a_file_on_disk(self, image: Any, tmp_path: Path, buffering: int) -> None:
        with open(tmp_path / "a.png", "wb", buffering=buffering) as file:
            image.save(file, PngOptions())
        assert np.array_equal(pixels((tmp_path / "a.png").read_bytes()), PIXELS)

    @pytest.mark.parametrize("buffering", [-1, 0])
    def test_a_socket(self, image: Any, buffering: int) -> None:
        left, right = socket.socketpair()
        with left, right:
            with right.makefile("wb", buffering=buffering) as file:
                image.save(file, PngOptions())
            right.shutdown(socket.SHUT_WR)
            with left.makefile("rb") as reader:
                assert np.array_equal(pixels(reader.read()), PIXELS)

    def test_a_pipe(self, image: Any) -> None:
        reader, writer = os.pipe()
        with open(reader, "rb") as got:
            with open(writer, "wb", buffering=0) as file:
                image.save(file, PngOptions())
            assert np.array_equal(pixels(got.read()), PIXELS)

    def test_a_pipe_that_nobody_reads(self, image: Any) -> None:
        reader, writer = os.pipe()
        os.close(reader)
        with open(writer, "wb", buffering=0) as file:
            with pytest.raises(RuntimeError, match=r"(?s)^Proxy error\(PythonException\).*BrokenPipeError"):
                image.save(file, PngOptions())

    def test_a_pipe_that_would_block(self, image: Any) -> None:
        reader, writer = os.pipe()
        os.set_blocking(writer, False)
        with open(reader, "rb"), open(writer, "wb", buffering=0) as file:
            with contextlib.suppress(BlockingIOError):
                while os.write(writer, bytes(4096)):
                    pass
            with pytest.raises(RuntimeError, match=r"^Proxy error\(IOException\): The stream took no bytes"):
                image.save(file, PngOptions())


class Unspeakable(Exception):
    """An exception whose `str` raises."""

    def __str__(self) -> str:
        raise ValueError("no words")


ERRORS: dict[str, tuple[Callable[[], BaseException], str]] = {
    "plain": (lambda: ValueError("the tape is torn"), "ValueError: the tape is torn"),
    "of the system": (lambda: OSError(28, "no space"), r"OSError: \[Errno 28\] no space"),
    "astral": (lambda: KeyError("żółw \N{TURTLE} \0 end"), r"KeyError: 'żółw \N{TURTLE} \\x00 end'"),
    "a lone surrogate": (lambda: ValueError("\ud800"), "ValueError: "),
    "of several lines": (lambda: RuntimeError("one\ntwo\n\nthree"), "RuntimeError: one\ntwo\n\nthree"),
    "with braces and per cents": (lambda: ValueError("%s %n {0} %U"), r"ValueError: %s %n \{0\} %U"),
    "without words": (lambda: Unspeakable(), "Unspeakable: <exception str\\(\\) failed>"),
    "empty": (lambda: AssertionError(), "AssertionError"),
    "interrupt": (KeyboardInterrupt, "KeyboardInterrupt"),
    "exit": (lambda: SystemExit(3), "SystemExit: 3"),
    "iteration": (lambda: StopIteration("here"), "StopIteration: here"),
    "long": (lambda: ValueError("x" * 100_000), "ValueError: x{100000}"),
}


def failing(method: str, error: BaseException) -> Any:
    """A file with a method that raises."""

    def fail(self: Any, *arguments: Any) -> Any:
        raise error

    return type("Failing", (OwnFile,), {method: fail})(PNG)


USES: dict[str, tuple[str, Callable[[Any, Any], Any]]] = {
    "load": ("readinto", lambda image, file: Image.load(file)),
    "save": ("write", lambda image, file: image.save(file, PngOptions())),
    "can_load": ("readinto", lambda image, file: Image.can_load(file)),
    "seek": ("seek", lambda image, file: StreamContainer(file).seek_begin()),
    "position": ("tell", lambda image, file: StreamContainer(file).position),
    "load by tell": ("tell", lambda image, file: Image.load(file)),
    "load by seekable": ("seekable", lambda image, file: Image.load(file)),
    "can_load by tell": ("tell", lambda image, file: Image.can_load(file)),
    "save by flush": ("flush", lambda image, file: image.save(file, PngOptions())),
    "container": ("readinto", lambda image, file: StreamContainer(file).to_bytes()),
    "stream": ("readinto", lambda image, file: StreamSource(file).get_stream_container().read_byte()),
}
#: Those that work on an image.
OF_IMAGES = {"load", "save", "can_load", "load by tell", "load by seekable", "can_load by tell", "save by flush"}


class TestErrorsThatCrossTwice:
    @pytest.mark.parametrize("kind", ERRORS)
    @pytest.mark.parametrize("use", USES)
    def test_they_arrive_as_text(self, use: str, kind: str) -> None:
        make, text = ERRORS[kind]
        method, act = USES[use]
        file = failing(method, make())
        with Image.load(io.BytesIO(PNG)) if use in OF_IMAGES else contextlib.nullcontext() as image:
            before = sys.getrefcount(file)
            with pytest.raises(RuntimeError, match=rf"(?s)^Proxy error\(PythonException\): .*{text}") as raised:
                act(image, file)
            # Only text crosses the wire: neither the exception nor its frames do.
            assert raised.value.__cause__ is None and raised.value.__context__ is None
            raised.value.__traceback__ = None
            del raised
            assert sys.exc_info() == (None, None, None)
            # The exception of a method holds its frame, and with it the file, as long as the method holds the
            # exception.
            control.settle()
            assert sys.getrefcount(file) <= before + 1
            if use in OF_IMAGES:
                image.save(io.BytesIO(), PngOptions())
        # The base class flushes the file when it is destroyed.
        setattr(type(file), method, getattr(OwnFile, method))

    @pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
    @pytest.mark.parametrize("kind", ERRORS)
    def test_those_of_closing_are_told_and_pass(self, kind: str, monkeypatch: pytest.MonkeyPatch) -> None:
        told: list[Any] = []
        monkeypatch.setattr(sys, "unraisablehook", lambda report: told.append((report.exc_type, report.object)))
        error = ERRORS[kind][0]()
        file = failing("close", error)
        with StreamContainer(file, True) as container:
            assert container.read_byte() == PNG[0]
        assert told == [(type(error), file)]
        told.clear()
        type(file).close = io.RawIOBase.close

    @pytest.mark.parametrize("act", [lambda file: StreamContainer(file).length,
                                     lambda file: TiffStreamReader(StreamContainer(file)).length,
                                     lambda file: SplitStreamContainer(file).length])
    def test_a_failure_to_determine_the_length_has_its_own_message(self, act: Callable[[Any], Any]) -> None:
        """Determining the length replaces the exception with another one, which has no traceback: only that text
        arrives."""
        with pytest.raises(RuntimeError) as raised:
            act(failing("seek", ValueError("the tape is torn")))
        assert str(raised.value) == ("Proxy error(PythonException): Finding out the length of the stream failed in "
                                     "Python: TypeError: While calculating the length of the stream, an error "
                                     "occurred.")

    def test_an_error_inside_an_error(self) -> None:
        class Nested(OwnFile):
            def readinto(self, buffer: Any) -> int:
                Image.load(failing("readinto", ValueError("the innermost")))
                return 0

        with pytest.raises(RuntimeError) as raised:
            Image.load(Nested(PNG))
        text = str(raised.value)
        assert text.count("Proxy error(PythonException)") == 2
        assert text.index("the innermost") < len(text)

    def test_the_traceback_names_the_place(self) -> None:
        with pytest.raises(RuntimeError, match=r"(?s)Traceback.*test_sources.py.*in fail"):
            Image.load(failing("readinto", ValueError("here")))

    def test_a_chained_error_tells_of_its_cause(self) -> None:
        error = ValueError("the effect")
        error.__cause__ = KeyError("the cause")
        with pytest.raises(RuntimeError, match="(?s)KeyError: 'the cause'.*direct cause.*ValueError: the effect"):
            Image.load(failing("readinto", error))

    def test_a_file_that_is_closed_meanwhile(self) -> None:
        class Closing(OwnFile):
            def readinto(self, buffer: Any) -> int | None:
                count = super().readinto(memoryview(buffer)[:10])
                self.close()
                self.memory.close()
                return count

        with pytest.raises(RuntimeError, match=r"(?s)^Proxy error\(PythonException\).*ValueError: I/O operation on"):
            Image.load(Closing(PNG))


class TestObjectsOfOtherModules:
    def test_a_managed_stream_of_another_module_s_type_is_one(self) -> None:
        """The run-time type on the managed side decides, not the Python type."""
        boxed = StreamContainer(OwnFile(PNG))._cast_from(KIND._type_of()).value
        assert not isinstance(boxed, KIND)
        with Image.load(boxed) as image:
            assert (image.height, image.width) == PIXELS.shape[:2]

    def test_any_other_managed_object_is_none(self) -> None:
        boxed = StreamContainer(OwnFile(PNG))._cast_from(StreamContainer._type_of()).value
        for other in (boxed, PngOptions(), KIND._type_of()):
            with pytest.raises(TypeError, match=f"can't build Stream from '{type(other).__module__}"):
                StreamContainer(other)

    def test_a_check_that_fails_is_no_refusal(self, control: Any) -> None:
        boxed = StreamContainer(OwnFile(PNG))._cast_from(KIND._type_of()).value
        control.raise_next("Zelmor.WrpGen.Interop.SiApiStream", "btp_IsAssignable", "IOException", "not now", 0)
        with pytest.raises(TypeError, match="not now"):
            StreamContainer(boxed)


@pytest.mark.parametrize("dispose", [True, False])
def test_an_image_closes_the_stream_of_its_source(dispose: bool) -> None:
    file = io.BytesIO()
    options = PngOptions()
    options.source = StreamSource(file, dispose)
    with Image.create(options, 4, 3) as image:
        image.save()
        assert not file.closed and file.getvalue().startswith(b"\x89PNG")
    assert file.closed == dispose
