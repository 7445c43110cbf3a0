"""A Python file behind a managed stream: the accepted objects, and how results and errors of their methods are
passed on."""

from __future__ import annotations

import io
import os
import re
import socket
import sys
import tempfile
import zipfile
from pathlib import Path
from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st
from support.control import Control
from support.own_file import OwnFile

from zelmor.imaging import SeekOrigin, Size, StreamContainer
from zelmor.imaging.sources import StreamSource
from zelmor.pycore import BytesAsStream

DIGITS = b"0123456789"


def managed(name: str, detail: str = "") -> str:
    """A regular expression for the text of a managed exception."""
    return rf"(?s)^Proxy error\({name}\).*{detail}"


class TestWhatIsTaken:
    def test_files_of_every_kind(self, tmp_path: Path) -> None:
        path = tmp_path / "digits"
        path.write_bytes(DIGITS)
        with open(path, "rb") as reader, open(path, "r+b") as both, io.FileIO(path) as raw:
            for file in (reader, both, raw, io.BytesIO(DIGITS), BytesAsStream(DIGITS), OwnFile(DIGITS),
                         io.BufferedReader(OwnFile(DIGITS)), io.BufferedRandom(OwnFile(DIGITS))):
                container = StreamContainer(file)
                assert (container.length, container.position, container.to_bytes()) == (10, 0, DIGITS)
                assert container.stream is file

    def test_a_file_that_is_neither_raw_nor_buffered(self) -> None:
        with tempfile.SpooledTemporaryFile() as file, pytest.raises(TypeError):
            StreamContainer(file)

    def test_a_member_of_an_archive(self) -> None:
        store = io.BytesIO()
        with zipfile.ZipFile(store, "w", zipfile.ZIP_DEFLATED) as archive:
            archive.writestr("digits", DIGITS)
        with zipfile.ZipFile(store) as archive, archive.open("digits") as member:
            assert StreamContainer(member).to_bytes() == DIGITS

    def test_managed_streams(self) -> None:
        stream = StreamSource().stream
        stream.write(DIGITS)
        container = StreamContainer(stream)
        assert container.stream == stream
        assert type(container.stream) is type(stream)
        assert container.to_bytes() == DIGITS

    class Reads:
        """An object with the methods of a file that is not an instance of a file class."""

        def read(self, size: int = -1) -> bytes:
            return DIGITS[:size]

    @pytest.mark.parametrize("wrong, name", [
        (io.StringIO("text"), "_io.StringIO"), ("path", "str"), (DIGITS, "bytes"), (Reads(), "Reads"), (5, "int"),
        (bytearray(3), "bytearray")])
    def test_what_is_no_file(self, wrong: object, name: str) -> None:
        with pytest.raises(TypeError, match=f"can't build Stream from '{name}'"):
            StreamSource(wrong, False)

    def test_a_text_file(self, tmp_path: Path) -> None:
        with open(tmp_path / "text", "w") as file, pytest.raises(TypeError) as refused:
            StreamContainer(file)
        assert "can't build Stream from '_io.TextIOWrapper'" in str(refused.value)

    def test_other_managed_objects(self) -> None:
        for other in (Size(1, 2), StreamSource()):
            with pytest.raises(TypeError, match="can't build Stream from '"):
                StreamContainer(other)

    def test_none_arrives_as_null(self, control: Control) -> None:
        with control.journal() as calls, pytest.raises(RuntimeError, match=managed("ArgumentNullException", "stream")):
            StreamContainer(None)
        (call,) = (call for call in calls if call.method == "ctor_000_StreamContainer")
        assert call.records[0][:4] == bytes(4) and call.records[0][8:] == bytes(8)


class TestWorkingOnFiles:
    def test_the_length_leaves_the_position(self) -> None:
        file = io.BytesIO(DIGITS)
        file.seek(4)
        container = StreamContainer(file)
        assert (container.length, container.position, file.tell()) == (10, 4, 4)

    def test_on_a_user_s_own_file(self) -> None:
        file = OwnFile()
        container = StreamContainer(file)
        container.write(b"hello")
        container.write_byte(0x21)
        container.flush()
        assert container.seek(-1, SeekOrigin.CURRENT) == 5
        assert container.read_byte() == 0x21
        assert container.read_byte() == -1
        assert file.memory.getvalue() == b"hello!"

    def test_the_length_of_a_python_file_cannot_be_set(self) -> None:
        with pytest.raises(RuntimeError, match=managed("NotSupportedException", "Setting the length of a Python file")):
            StreamContainer(io.BytesIO(DIGITS)).length = 3

    @given(content=st.binary(max_size=300), most=st.integers(1, 50), size=st.integers(1, 70))
    def test_short_reads_and_writes_lose_nothing(self, content: bytes, most: int, size: int) -> None:
        source, target = OwnFile(content, most), OwnFile(b"", most)
        StreamContainer(source).save(target, size)
        assert target.memory.getvalue() == content
        assert StreamContainer(source).to_bytes() == content

    def test_a_real_file(self, tmp_path: Path) -> None:
        path = tmp_path / "file"
        with open(path, "w+b") as file:
            with StreamContainer(file, True) as container:
                container.write(DIGITS)
                container.position = 2
                container.write_byte(ord("x"))
            assert file.closed
        assert path.read_bytes() == b"01x3456789"

    def test_what_cannot_seek(self) -> None:
        left, right = socket.socketpair()
        with left, right, left.makefile("rb") as reader:
            right.sendall(DIGITS)
            right.close()
            container = StreamContainer(reader)
            assert (container.can_read, container.can_write, container.can_seek) == (True, False, False)
            with pytest.raises(RuntimeError, match=managed("NotSupportedException", "seek")):
                container.length  # noqa: B018
            assert container.read_byte() == ord("0")
            assert container.to_bytes() == DIGITS[1:]

    def test_a_closed_file(self) -> None:
        file = io.BytesIO(DIGITS)
        container = StreamContainer(file)
        file.close()
        assert (container.can_read, container.can_write, container.can_seek) == (False, False, False)
        with pytest.raises(RuntimeError, match=managed("ObjectDisposedException")):
            container.length  # noqa: B018
        with pytest.raises(RuntimeError, match=managed("PythonException", "I/O operation on closed file")):
            container.read_byte()

    def test_a_file_that_is_read_only(self, tmp_path: Path) -> None:
        (tmp_path / "file").write_bytes(DIGITS)
        with open(tmp_path / "file", "rb") as file:
            container = StreamContainer(file)
            assert not container.can_write
            with pytest.raises(RuntimeError, match=managed("PythonException", "UnsupportedOperation")):
                container.write(b"x")

    def test_references(self, control: Control) -> None:
        file = io.BytesIO(DIGITS)
        before = sys.getrefcount(file)
        container = StreamContainer(file)
        assert sys.getrefcount(file) > before
        container.to_bytes()
        assert container.stream is file
        del container
        control.settle()
        assert sys.getrefcount(file) == before
        for _ in range(10):
            with pytest.raises(TypeError):
                StreamContainer(file, "no bool")
        assert sys.getrefcount(file) == before


def lying(**members: Any) -> StreamContainer:
    """A container around a file, some of whose members are replaced."""
    return StreamContainer(type("Lying", (OwnFile,), members)(DIGITS))


def raising(error: Exception) -> Any:
    """A method that raises."""

    def method(*arguments: Any) -> Any:
        raise error

    return method


class TestFilesThatLie:
    def test_a_closed_that_is_no_bool(self) -> None:
        container = lying(closed=1)
        for ask in ("can_read", "can_write", "can_seek", "length"):
            with pytest.raises(RuntimeError, match=managed("PythonException", "An error occurred while checking if the "
                                                                              "stream is closed")):
                getattr(container, ask)

    def test_a_closed_that_raises(self) -> None:
        error = KeyError("lost")
        with pytest.raises(RuntimeError, match=managed("PythonException", "An error occurred while checking if the "
                                                                          "stream is closed")):
            lying(closed=property(raising(error))).can_read  # noqa: B018

    @pytest.mark.parametrize("answer", [1, None, "yes"])
    def test_capabilities_that_are_no_bool(self, answer: object) -> None:
        for method, name in (("readable", "can_read"), ("writable", "can_write"), ("seekable", "can_seek")):
            with pytest.raises(RuntimeError, match=managed("PythonException", "can't build 'Boolean'|bool")):
                getattr(lying(**{method: lambda self: answer}), name)

    @pytest.mark.parametrize("answer", [True, "3", 1.0, b"x"])
    def test_counts_that_are_no_int(self, answer: object) -> None:
        for members, use in (({"readinto": lambda self, view: answer}, lambda c: c.read_byte()),
                             ({"write": lambda self, view: answer}, lambda c: c.write(b"abc")),
                             ({"tell": lambda self: answer}, lambda c: c.position),
                             ({"seek": lambda self, *args: answer}, lambda c: c.seek_begin())):
            with pytest.raises(RuntimeError, match=managed("PythonException", "TypeError")):
                use(lying(**members))

    @pytest.mark.parametrize("answer", [2**63, -2**63 - 1, 2**200])
    def test_positions_of_more_than_64_bits(self, answer: int) -> None:
        """The message is that of the only conversion of Int64."""
        with pytest.raises(OverflowError) as refused:
            lying().position = answer
        for members, use in (({"tell": lambda self: answer}, lambda c: c.position),
                             ({"seek": lambda self, *args: answer}, lambda c: c.seek(1, SeekOrigin.BEGIN))):
            with pytest.raises(RuntimeError, match=managed("PythonException",
                                                           f"OverflowError: {re.escape(str(refused.value))}")):
                use(lying(**members))

    def test_positions_that_are_no_plain_integer(self) -> None:
        class Index:
            def __index__(self) -> int:
                return 3

        class Five(int):
            pass

        for answer in (Index(), Five(5), SeekOrigin.END, 3.0, "3", None, True):
            words = f"can't build 'Int64' from '{type(answer).__name__}'"
            for members, use in (({"tell": lambda self: answer}, lambda c: c.position),
                                 ({"seek": lambda self, *args: answer}, lambda c: c.seek(1, SeekOrigin.BEGIN))):
                with pytest.raises(RuntimeError, match=managed("PythonException", re.escape(words))):
                    use(lying(**members))

    def test_a_length_that_is_no_position(self) -> None:
        for answer in (2**63, 3.0, "3", None, True):
            with pytest.raises(RuntimeError, match=managed("PythonException", "While calculating the length")):
                lying(seek=lambda self, *args, answer=answer: answer).length  # noqa: B018

    def test_positions_that_cannot_be(self) -> None:
        for members, use in (({"tell": lambda self: -5}, lambda c: c.position),
                             ({"seek": lambda self, *args: -5}, lambda c: c.seek_begin()),
                             ({"seek": lambda self, *args: -5}, lambda c: c.length)):
            with pytest.raises(RuntimeError, match=managed("IOException", "answered -5")):
                use(lying(**members))

    def test_more_bytes_than_there_was_room_for(self) -> None:
        room: list[int] = []
        with pytest.raises(RuntimeError, match=managed("IOException", "answered ")) as raised:
            lying(readinto=lambda self, view: (room.append(len(memoryview(view))), room[-1] + 1)[1]).to_bytes()
        assert f"answered {room[-1] + 1}, but it had {room[-1]} bytes" in str(raised.value)

    def test_more_bytes_written_than_given(self) -> None:
        container = lying(write=lambda self, view: 1000)
        with pytest.raises(RuntimeError, match=managed("IOException", "answered 1000, but it had 3 bytes")):
            container.write(b"abc")

    def test_negative_counts(self) -> None:
        for members, use in (({"readinto": lambda self, view: -5}, lambda c: c.to_bytes()),
                             ({"write": lambda self, view: -5}, lambda c: c.write(b"abc"))):
            with pytest.raises(RuntimeError, match=r"^Proxy error\("):
                use(lying(**members))

    def test_none_for_reading_is_the_end(self) -> None:
        assert lying(readinto=lambda self, view: None).to_bytes() == b""

    def test_none_for_a_single_byte_is_not_the_end(self) -> None:
        with pytest.raises(RuntimeError, match=managed("PythonException", "no bytes are available for reading")):
            lying(readinto=lambda self, view: None).read_byte()

    def test_none_for_writing_is_an_error(self) -> None:
        with pytest.raises(RuntimeError, match=managed("IOException", "took no bytes")):
            lying(write=lambda self, view: None).write(b"abc")
        with pytest.raises(RuntimeError, match=managed("IOException", "took no bytes")):
            lying(write=lambda self, view: None).write_byte(1)

    @pytest.mark.parametrize("error", [ValueError("no more paper"), OSError(5, "broken"), KeyboardInterrupt()])
    def test_exceptions_arrive_as_text(self, error: Exception) -> None:
        uses = {"readinto": lambda c: c.to_bytes(), "write": lambda c: c.write(b"abc"), "tell": lambda c: c.position,
                "seek": lambda c: c.seek_begin(), "flush": lambda c: c.flush(), "readable": lambda c: c.can_read}
        for method, use in uses.items():
            with pytest.raises(RuntimeError, match=managed("PythonException", type(error).__name__)):
                use(lying(**{method: raising(error)}))

    def test_a_length_that_cannot_be_found(self) -> None:
        for members in ({"seekable": raising(ValueError("lost"))}, {"seekable": lambda self: 1},
                        {"seek": raising(ValueError("lost"))}, {"seek": lambda self, *args: "3"}):
            with pytest.raises(RuntimeError, match=managed("PythonException", "While calculating the length of the "
                                                                              "stream, an error occurred")):
                lying(**members).length  # noqa: B018

    @pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
    def test_a_failing_close_is_reported_and_does_not_stop_the_call(self, monkeypatch: pytest.MonkeyPatch) -> None:
        told: list[Any] = []
        monkeypatch.setattr(sys, "unraisablehook", lambda report: told.append(report.exc_value))
        file = type("Unclosable", (OwnFile,), {"close": raising(ValueError("stuck"))})(DIGITS)
        with StreamContainer(file, True):
            pass
        assert [str(error) for error in told] == ["stuck"]
        # A base class closes itself when it is destroyed; that is not tested here.
        type(file).close = lambda self: None

    def test_a_view_that_is_kept_shows_no_more_than_memory_that_was(self) -> None:
        kept: list[Any] = []

        def keep(self: OwnFile, view: Any) -> int:
            kept.append(view)
            return 0

        assert lying(readinto=keep).to_bytes() == b""
        assert len(kept) == 1 and type(kept[0]).__name__ == "_ShlBufferView"

    def test_a_view_for_writing_is_read_only(self) -> None:
        seen: list[bool] = []

        def write(self: OwnFile, view: Any) -> int:
            seen.append(memoryview(view).readonly)
            return len(memoryview(view))

        lying(write=write).write(b"abc")
        assert seen == [True]

    def test_a_file_that_uses_its_own_container(self) -> None:
        """The managed side is re-entered while it reads."""
        holder: list[StreamContainer] = []

        class Reentrant(OwnFile):
            def readinto(self, buffer: Any) -> int:
                assert holder[0].can_write
                assert holder[0].length == 10
                return super().readinto(buffer)

        holder.append(StreamContainer(Reentrant(DIGITS)))
        assert holder[0].to_bytes() == DIGITS
        holder.clear()  # the garbage collector cannot break a cycle over the managed side


def test_many_files_at_once(tmp_path: Path) -> None:
    """Files own their descriptors: none stays open."""
    before = len(os.listdir("/proc/self/fd"))
    for number in range(50):
        (tmp_path / str(number)).write_bytes(DIGITS)
        with open(tmp_path / str(number), "rb") as file:
            assert StreamContainer(file).to_bytes() == DIGITS
    assert len(os.listdir("/proc/self/fd")) == before
