"""Stream containers where things go wrong or come close to it: nothing is lost, nothing is left behind."""

from __future__ import annotations

import io
import os
import stat
from pathlib import Path
from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st

from zelmor.imaging import FileStreamContainer, SeekOrigin, SplitStreamContainer, StreamContainer
from zelmor.imaging.sources import FileCreateSource, FileOpenSource, StreamSource

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


def test_what_the_runtime_cannot_do_is_said_by_name() -> None:
    with refused("NotSupportedException", r"SplitStreamContainer\.Insert"):
        SplitStreamContainer(io.BytesIO()).insert(0, StreamContainer(io.BytesIO()), False)
    with refused("NotSupportedException", r"StreamContainer\.Read\(buffer, offset, count\)"):
        StreamContainer(io.BytesIO(DIGITS)).read(bytearray(3), 0, 3)


class TestFiles:
    def test_saving_onto_the_file_that_it_stands_over(self, tmp_path: Path) -> None:
        path = tmp_path / "file"
        path.write_bytes(DIGITS * 1000)
        with FileStreamContainer.open_file_stream(str(path)) as container:
            container.save(str(path))
            assert path.read_bytes() == DIGITS * 1000
            container.save(str(path), 16, 4)
        assert path.read_bytes() == b"0123"

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

    def test_a_temporary_file_goes_with_the_last_reference(self, tmp_path: Path) -> None:
        path = tmp_path / "passing"
        container = FileStreamContainer.create_file_stream(str(path), True)
        container.write(DIGITS)
        assert path.read_bytes() == DIGITS
        del container
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
