"""Stream containers with failing files and at the limits of sizes: no data is lost, no handle or file leaks."""

from __future__ import annotations

import array
import io
import os
import stat
import sys
from pathlib import Path
from typing import Any

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from hypothesis.stateful import RuleBasedStateMachine, invariant, rule, run_state_machine_as_test

from zelmor.imaging import FileStreamContainer, SeekOrigin, SplitStreamContainer, StreamContainer
from zelmor.imaging.sources import FileCreateSource, FileOpenSource, StreamSource

from support.control import Control
from support.draws import examples
from support.runtimes import embedded_only

DIGITS = b"0123456789"


def refused(name: str, detail: str = "") -> Any:
    """A managed exception with this name and text."""
    return pytest.raises(RuntimeError, match=rf"(?s)^Proxy error\({name}\): .*{detail}")


def memory(content: bytes = b"") -> Any:
    """A managed stream in memory."""
    stream = StreamSource().stream
    stream.write(content)
    stream.seek(0)
    return stream


@pytest.mark.parametrize("make", [io.BytesIO, memory])
@pytest.mark.parametrize("container", [StreamContainer, SplitStreamContainer])
class TestOverAnyStream:
    def test_range_and_position(self, container: type, make: Any) -> None:
        stream = container(make(DIGITS))
        stream.position = 3
        for first, count in ((0, 10), (0, 0), (4, 3), (10, 0)):
            assert stream.to_bytes(first, count) == DIGITS[first:first + count]
        for first, count in ((-1, 1), (0, 11), (11, 0), (0, -1), (2**62, 2**62)):
            with refused("ArgumentOutOfRangeException"):
                stream.to_bytes(first, count)
        assert stream.position == 3
        assert [stream.seek(2, SeekOrigin.CURRENT), stream.seek(-1, SeekOrigin.END)] == [5, 9]
        stream.seek_begin()
        assert stream.read_byte() == ord("0")

    def test_a_refused_save_leaves_everything_as_it_was(self, container: type, make: Any, tmp_path: Path) -> None:
        stream, target = container(make(DIGITS)), tmp_path / "target"
        target.write_bytes(b"precious")
        stream.position = 3
        for size in (0, -1):
            with refused("ArgumentOutOfRangeException", "'buffer_size'"):
                stream.save(io.BytesIO(), size)
            with refused("ArgumentOutOfRangeException", "'buffer_size'"):
                stream.save(str(target), size)
        with refused("ArgumentOutOfRangeException", "'length'"):
            stream.save(str(target), 10, -1)
        with refused("ArgumentOutOfRangeException", "'length'"):
            stream.save_with_buf_size_and_len(str(target), 10, -1)
        assert target.read_bytes() == b"precious"
        assert stream.position == 3

    def test_a_target_that_fails_leaves_the_position(self, container: type, make: Any) -> None:
        class Full(io.RawIOBase):
            def writable(self) -> bool:
                return True

            def write(self, data: object) -> int:
                raise OSError("no space left")

        stream = container(make(DIGITS))
        stream.position = 3
        with refused("PythonException", "no space left"):
            stream.save(Full())
        assert stream.position == 3

    def test_it_is_not_copied_onto_itself(self, container: type, make: Any) -> None:
        file = make(DIGITS)
        stream = container(file)
        with refused("ArgumentException", "onto itself"):
            stream.save(file)
        with refused("ArgumentException", "onto itself"):
            stream.write_to(StreamContainer(file))
        assert stream.to_bytes() == DIGITS

    def test_its_own_lock_object(self, container: type, make: Any) -> None:
        stream = container(make())
        assert stream.sync_root == stream

    def test_ranges_of_what_is_written(self, container: type, make: Any) -> None:
        stream = container(make())
        for offset, count in ((-1, 1), (0, -1), (0, 11), (10, 1), (2**31 - 1, 2**31 - 1)):
            with refused("ArgumentOutOfRangeException"):
                stream.write(DIGITS, offset, count)
        stream.write(DIGITS, 10, 0)
        stream.write(DIGITS, 2, 3)
        with refused("ArgumentNullException"):
            stream.write(None)
        assert stream.to_bytes() == b"234"

    def test_after_disposal(self, container: type, make: Any) -> None:
        stream = container(make(DIGITS))
        with stream:
            pass
        for use in (lambda: stream.length, lambda: stream.position, lambda: stream.can_read, lambda: stream.stream,
                    stream.read_byte, stream.to_bytes, stream.flush, lambda: stream.write(b"a"),
                    lambda: stream.save(io.BytesIO()), stream.seek_begin):
            with refused("ObjectDisposedException"):
                use()
        with stream:
            pass


@given(content=st.binary(max_size=200), size=st.integers(1, 50), length=st.integers(0, 220))
def test_copies_are_the_beginning_of_the_content(content: bytes, size: int, length: int) -> None:
    stream, target = StreamContainer(memory(content)), io.BytesIO()
    stream.save(target, size, length)
    assert target.getvalue() == content[:length]
    other = StreamContainer(io.BytesIO())
    stream.write_to(other, length)
    assert other.to_bytes() == content[:length]
    assert stream.position == min(length, len(content))


def test_the_length_of_a_managed_stream_can_be_set() -> None:
    stream = StreamContainer(memory(DIGITS))
    stream.length = 3
    assert stream.to_bytes() == b"012"
    stream.length = 5
    assert stream.to_bytes() == b"012\0\0"
    with refused("ArgumentOutOfRangeException"):
        stream.length = -1


class TestLengthOfAPythonFile:
    def test_it_grows_by_zeros(self) -> None:
        file = io.BytesIO(DIGITS)
        stream = StreamContainer(file)
        stream.position = 4
        stream.length = 10
        stream.length = 200_000
        assert file.getvalue() == DIGITS + bytes(199_990)
        assert stream.position == 4

    @pytest.mark.skipif("ZELMOR_SANITIZED" in os.environ, reason="the sanitizer ends a process that asks for too much")
    def test_a_length_beyond_memory_is_refused_at_once(self) -> None:
        file = io.BytesIO(DIGITS)
        with refused("PythonException", "MemoryError|OverflowError"):
            StreamContainer(file).length = 2**62
        assert file.getvalue() == DIGITS

    def test_it_is_not_made_shorter(self) -> None:
        file = io.BytesIO(DIGITS)
        with refused("NotSupportedException", r"call its truncate\(\)"):
            StreamContainer(file).length = 9
        with refused("ArgumentOutOfRangeException", "negative"):
            StreamContainer(file).length = -1
        assert file.getvalue() == DIGITS

    def test_one_that_cannot_seek_has_none_to_set(self) -> None:
        reader, writer = os.pipe()
        os.close(writer)
        with open(reader, "rb", buffering=0) as file, refused("NotSupportedException", "seek"):
            StreamContainer(file).length = 3


@pytest.mark.parametrize("make", [io.BytesIO, memory])
@pytest.mark.parametrize("container", [StreamContainer, SplitStreamContainer])
class TestReadingIntoMemory:
    def test_it_is_filled_as_far_as_the_stream_goes(self, container: type, make: Any) -> None:
        stream, buffer = container(make(DIGITS)), bytearray(6)
        assert stream.read(buffer) is None
        assert buffer == b"012345"
        stream.read(buffer)
        assert buffer == b"678945"
        numbers = array.array("H", [0, 0])
        stream.position = 2
        stream.read(numbers)
        assert numbers.tobytes() == b"2345"
        window = memoryview(buffer)[1:3]
        stream.read(window)
        assert buffer == b"667945"

    def test_a_range_is_one_call(self, container: type, make: Any) -> None:
        stream, buffer = container(make(DIGITS)), bytearray(12)
        assert [stream.read(buffer, 2, 4), stream.read(buffer, 0, 0), stream.read(buffer, 12, 0)] == [4, 0, 0]
        assert buffer == b"\0\x000123" + bytes(6)
        assert stream.read(buffer, 0, 12) == 6
        assert stream.read(buffer, 0, 12) == 0
        assert buffer == b"456789" + bytes(6)

    def test_ranges_outside(self, container: type, make: Any) -> None:
        stream, buffer = container(make(DIGITS)), bytearray(4)
        for offset, count in ((-1, 1), (0, -1), (0, 5), (4, 1), (2**31 - 1, 2**31 - 1)):
            with refused("ArgumentOutOfRangeException"):
                stream.read(buffer, offset, count)
        assert (buffer, stream.position) == (bytes(4), 0)

    @pytest.mark.parametrize("constant", [bytes(3), memoryview(bytearray(3)).toreadonly(), b""],
                             ids=["bytes", "view", "empty"])
    def test_what_may_not_be_changed_is_refused(self, container: type, make: Any, constant: object) -> None:
        stream = container(make(DIGITS))
        before = sys.getrefcount(constant)
        for arguments in ((constant,), (constant, 0, 1)):
            with pytest.raises(TypeError, match="buffer is read-only"):
                stream.read(*arguments)
        del arguments
        assert sys.getrefcount(constant) == before
        assert (bytes(constant), stream.position) in ((bytes(3), 0), (b"", 0))

    def test_what_is_no_memory(self, container: type, make: Any) -> None:
        stream = container(make(DIGITS))
        with pytest.raises(TypeError, match=r"can't build byte\[\] from 'str'"):
            stream.read("text")
        with pytest.raises(TypeError, match="buffer is not contiguous"):
            stream.read(memoryview(bytearray(9))[::2])
        with refused("ArgumentNullException"):
            stream.read(None)

    def test_the_memory_is_let_go(self, container: type, make: Any) -> None:
        stream, buffer = container(make(DIGITS)), bytearray(3)
        stream.read(buffer)
        with refused("ArgumentOutOfRangeException"):
            stream.read(buffer, 5, 5)
        buffer.extend(b"more")


@pytest.mark.parametrize("make", [io.BytesIO, memory])
class TestInsertion:
    def test_the_content_comes_in_between(self, make: Any) -> None:
        stream = SplitStreamContainer(make(DIGITS))
        stream.position = 3
        stream.insert(4, StreamContainer(make(b"abc")), False)
        assert (stream.length, stream.position) == (13, 3)
        assert stream.to_bytes() == b"0123abc456789"
        assert stream.to_bytes(2, 7) == b"23abc45"
        stream.insert(0, StreamContainer(make(b"<<")), False)
        stream.insert(stream.length, StreamContainer(make(b">>")), False)
        stream.insert(7, StreamContainer(make(b"")), False)
        assert stream.to_bytes() == b"<<0123abc456789>>"
        buffer = bytearray(20)
        stream.seek_begin()
        stream.read(buffer)
        assert buffer == b"<<0123abc456789>>" + bytes(3)
        assert stream.stream.readable() and stream.can_seek and stream.can_write

    def test_changes_go_to_the_streams_behind(self, make: Any) -> None:
        inner, outer = make(b"abc"), make(DIGITS)
        stream = SplitStreamContainer(outer)
        stream.insert(4, StreamContainer(inner), False)
        stream.position = 3
        stream.write(b"WXYZ4")
        assert (StreamContainer(inner).to_bytes(), StreamContainer(outer).to_bytes()) == (b"XYZ", b"012W456789")
        stream.position = stream.length
        stream.write(b"!")
        stream.position = stream.length + 2
        stream.write_byte(63)
        assert stream.to_bytes() == b"012WXYZ456789!\0\0?"
        assert StreamContainer(outer).to_bytes() == b"012W456789!\0\0?"
        stream.flush()

    def test_moves_of_its_position(self, make: Any) -> None:
        """As those of a file in memory, also behind the end; before the beginning nothing moves."""
        stream, plain = SplitStreamContainer(make(DIGITS)), io.BytesIO(b"0123abc456789")
        stream.insert(4, StreamContainer(make(b"abc")), False)
        for origin, whence in ((SeekOrigin.BEGIN, 0), (SeekOrigin.CURRENT, 1), (SeekOrigin.END, 2)):
            for offset in (0, 1, 3, 4, 6, 7, 12, 13, 20, -1, -6, -12, -13):
                for start in (0, 5, 13):
                    stream.position = start
                    plain.seek(start)
                    target = (0, start, 13)[whence] + offset
                    if target < 0:
                        with refused("IOException", "The position cannot be moved before the beginning of the stream."):
                            stream.seek(offset, origin)
                        assert stream.position == start
                        continue
                    assert stream.seek(offset, origin) == plain.seek(offset, whence) == target
                    read = plain.read(1)
                    assert stream.read_byte() == (read[0] if read else -1)
        stream.position = 5
        for offset, origin in ((2**63 - 1, SeekOrigin.CURRENT), (2**63 - 1, SeekOrigin.END),
                               (-2**63, SeekOrigin.BEGIN)):
            with refused("IOException", "before the beginning of the stream"):
                stream.seek(offset, origin)
            assert stream.position == 5
        assert stream.seek(2**63 - 1, SeekOrigin.BEGIN) == 2**63 - 1

    def test_its_length(self, make: Any) -> None:
        inner, outer = make(b"abc"), make(DIGITS)
        stream = SplitStreamContainer(outer)
        stream.insert(4, StreamContainer(inner), False)
        stream.position = 9
        stream.length = 6
        assert (stream.to_bytes(), stream.position) == (b"0123ab", 6)
        assert (StreamContainer(inner).to_bytes(), StreamContainer(outer).to_bytes()) == (b"abc", DIGITS)
        stream.length = 8
        assert stream.to_bytes() == b"0123ab\0\0"
        with refused("ArgumentOutOfRangeException"):
            stream.length = -1

    @pytest.mark.skipif("ZELMOR_SANITIZED" in os.environ, reason="the sanitizer ends a process that asks for too much")
    def test_a_length_beyond_memory_is_refused_at_once(self, make: Any) -> None:
        stream = SplitStreamContainer(make(DIGITS))
        stream.insert(4, StreamContainer(make(b"abc")), False)
        for length in (2**62, 2**63 - 1):
            with pytest.raises((RuntimeError, MemoryError)):
                stream.length = length
            stream.position = length
            with pytest.raises((RuntimeError, MemoryError)):
                stream.write(b"x")
        assert stream.to_bytes() == b"0123abc456789"

    def test_what_is_refused(self, make: Any) -> None:
        file = make(DIGITS)
        stream = SplitStreamContainer(file)
        for position in (-1, 11):
            with refused("ArgumentOutOfRangeException", "'position'"):
                stream.insert(position, StreamContainer(make(b"a")), False)
        with refused("ArgumentNullException", "'stream'"):
            stream.insert(0, None, False)
        with refused("ArgumentException", "into itself"):
            stream.insert(0, StreamContainer(file), False)
        reader, writer = os.pipe()
        os.close(writer)
        with open(reader, "rb", buffering=0) as pipe, refused("NotSupportedException", "seek"):
            stream.insert(0, StreamContainer(pipe), False)
        assert stream.to_bytes() == DIGITS
        with stream:
            pass
        with refused("ObjectDisposedException"):
            stream.insert(0, StreamContainer(make(b"a")), False)

    @pytest.mark.parametrize("dispose", [False, True])
    def test_what_was_put_in_is_disposed_of_if_wanted(self, make: Any, dispose: bool) -> None:
        inner, outer = make(b"abc"), make(DIGITS)
        put_in = StreamContainer(inner)
        with SplitStreamContainer(outer, not dispose) as stream:
            stream.insert(4, put_in, dispose)
        assert StreamContainer(inner).can_read is not dispose
        assert StreamContainer(outer).can_read is dispose

    def test_a_stream_that_has_become_shorter(self, make: Any) -> None:
        inner = StreamSource().stream
        inner.write(b"abc")
        stream = SplitStreamContainer(make(DIGITS))
        stream.insert(4, StreamContainer(inner), False)
        inner.truncate(1)
        with refused("EndOfStreamException", "shorter"):
            stream.to_bytes()


class BesideBytes(RuleBasedStateMachine):
    """A split container, and the bytes that it should contain."""

    def __init__(self) -> None:
        super().__init__()
        self.content, self.position = bytearray(DIGITS), 0
        self.stream = SplitStreamContainer(memory(DIGITS))

    @rule(at=st.integers(0, 40), content=st.binary(max_size=6), python=st.booleans())
    def insert(self, at: int, content: bytes, python: bool) -> None:
        at = min(at, len(self.content))
        self.stream.insert(at, StreamContainer(io.BytesIO(content) if python else memory(content)), False)
        self.content[at:at] = content

    @rule(position=st.integers(0, 40))
    def seek(self, position: int) -> None:
        self.stream.position = self.position = position

    @rule(data=st.binary(min_size=1, max_size=9))
    def write(self, data: bytes) -> None:
        self.stream.write(data)
        self.content.extend(bytes(max(0, self.position - len(self.content))))
        self.content[self.position:self.position + len(data)] = data
        self.position += len(data)

    @rule(size=st.integers(0, 12))
    def read(self, size: int) -> None:
        buffer = bytearray(size)
        self.stream.read(buffer)
        part = self.content[self.position:self.position + size]
        assert buffer == part + bytes(size - len(part))
        self.position += len(part)

    @rule(length=st.integers(0, 40))
    def set_length(self, length: int) -> None:
        self.stream.length = length
        del self.content[length:]
        self.content.extend(bytes(length - len(self.content)))
        self.position = min(self.position, length)

    @invariant()
    def same(self) -> None:
        assert (self.stream.length, self.stream.position) == (len(self.content), self.position)
        assert self.stream.to_bytes() == self.content


def test_a_split_container_holds_what_was_put_in() -> None:
    run_state_machine_as_test(BesideBytes, settings=settings(max_examples=examples(40), stateful_step_count=20))


class TestFiles:
    def test_saving_onto_the_file_that_it_stands_over(self, tmp_path: Path) -> None:
        path = tmp_path / "file"
        path.write_bytes(DIGITS * 1000)
        with FileStreamContainer.open_file_stream(str(path)) as container:
            container.save(str(path))
            assert path.read_bytes() == DIGITS * 1000
            container.save(str(path), 16, 4)
        assert path.read_bytes() == b"0123"

    @embedded_only("System.IO takes the name of a file as text")
    def test_names_that_are_no_utf_8(self, tmp_path: Path) -> None:
        name = os.fsdecode(os.fsencode(tmp_path) + b"/odd\xff")
        with FileStreamContainer.create_file_stream(name, False) as container:
            container.write(DIGITS)
        with FileOpenSource(name).get_stream_container() as container:
            assert container.to_bytes() == DIGITS
            container.save(name + "copy")
        assert sorted(os.listdir(os.fsencode(tmp_path))) == [b"odd\xff", b"odd\xffcopy"]

    @pytest.mark.parametrize("make", [FileCreateSource, FileOpenSource, FileStreamContainer.open_file_stream,
                                      lambda path: FileStreamContainer.create_file_stream(path, False)])
    def test_names_that_name_no_file(self, make: Any) -> None:
        with refused("ArgumentNullException", "'file_"):
            make(None)
        for wrong in ("", "a\0b"):
            with refused("ArgumentException", "'file_"):
                make(wrong)

    def test_where_there_is_no_file(self, tmp_path: Path) -> None:
        for path, name in ((tmp_path / "no" / "file", "DirectoryNotFoundException"),
                           (tmp_path / "file", "FileNotFoundException"), (tmp_path, "UnauthorizedAccessException")):
            with refused(name, str(path)):
                FileStreamContainer.open_file_stream(str(path))
            with refused(name, str(path)):
                FileOpenSource(str(path)).get_stream_container()
        with refused("DirectoryNotFoundException"):
            FileCreateSource(str(tmp_path / "no" / "file")).get_stream_container()
        with refused("UnauthorizedAccessException"):
            StreamContainer(io.BytesIO()).save(str(tmp_path))

    @pytest.mark.skipif(os.geteuid() == 0, reason="to the superuser every file is open")
    def test_a_file_that_may_only_be_read(self, tmp_path: Path) -> None:
        path = tmp_path / "file"
        path.write_bytes(DIGITS)
        path.chmod(stat.S_IRUSR)
        with FileStreamContainer.open_file_stream(str(path)) as container:
            assert not container.can_write
            assert container.to_bytes() == DIGITS
            with refused("NotSupportedException", "read-only"):
                container.write(b"x")

    def test_a_temporary_file_goes_with_the_last_reference(self, control: Control, tmp_path: Path) -> None:
        path = tmp_path / "passing"
        container = FileStreamContainer.create_file_stream(str(path), True)
        container.write(DIGITS)
        assert path.read_bytes() == DIGITS
        del container
        control.settle()
        assert not path.exists()

    def test_a_temporary_file_can_be_kept_after_all(self, tmp_path: Path) -> None:
        path = tmp_path / "kept"
        with FileStreamContainer.create_file_stream(str(path), True) as container:
            container.is_temporal = False
        assert path.exists()

    def test_a_file_that_is_there_is_emptied_by_creation_alone(self, tmp_path: Path) -> None:
        path = tmp_path / "file"
        path.write_bytes(DIGITS)
        source = FileCreateSource(str(path))
        assert path.read_bytes() == DIGITS
        with source.get_stream_container() as container:
            assert container.length == 0 and container.is_stream_disposed_on_close

    def test_closing_the_stream_closes_the_file(self, tmp_path: Path) -> None:
        before = len(os.listdir("/proc/self/fd"))
        container = FileStreamContainer.create_file_stream(str(tmp_path / "file"), False)
        with container.stream as stream:
            assert len(os.listdir("/proc/self/fd")) == before + 1
            assert stream.write(DIGITS) == 10
        assert len(os.listdir("/proc/self/fd")) == before
        with refused("ObjectDisposedException"):
            container.read_byte()
        assert not container.can_read
