"""Stream containers and sources, over Python files, managed streams and files on disk."""

from __future__ import annotations

import io
import shutil
import sys
from pathlib import Path

import pytest
import zelmor.imaging
from support.child import run_child
from support.control import Control
from support.pictures import png_bytes
from support.runtimes import ON_DOTNET

from zelmor.imaging import FileStreamContainer, Image, SplitStreamContainer, StreamContainer
from zelmor.imaging.sources import FileCreateSource, FileOpenSource, StreamSource

MANAGED_STREAM = zelmor.imaging._wrpgen._interop._StreamWrapper


class TestContainers:
    def test_a_python_file_is_kept_and_given_back(self) -> None:
        file = io.BytesIO(b"0123456789")
        with StreamContainer(file) as container:
            assert container.stream is file
            assert not container.is_stream_disposed_on_close
            assert (container.length, container.position) == (10, 0)
            assert container.can_read and container.can_seek and container.can_write
        assert not file.closed

    def test_it_closes_what_it_owns(self) -> None:
        file = io.BytesIO(b"abc")
        with StreamContainer(file, True) as container:
            assert container.is_stream_disposed_on_close
        assert file.closed
        assert container.disposed
        with pytest.raises(RuntimeError, match=r"^Proxy error\(ObjectDisposedException\)"):
            container.length  # noqa: B018

    def test_bytes_leave_the_position_alone(self) -> None:
        file = io.BytesIO(b"0123456789")
        file.seek(3)
        container = StreamContainer(file)
        assert container.to_bytes() == b"0123456789"
        assert container.to_bytes(2, 5) == b"23456"
        assert file.tell() == 3
        with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
            container.to_bytes(8, 5)

    def test_reading_and_writing(self) -> None:
        file = io.BytesIO()
        container = StreamContainer(file)
        container.write(b"hello")
        container.write(b"xxworldxx", 2, 5)
        container.write_byte(33)
        assert file.getvalue() == b"helloworld!"
        assert container.seek(-1, zelmor.imaging.SeekOrigin.END) == 10
        assert [container.read_byte(), container.read_byte()] == [33, -1]
        container.seek_begin()
        container.position = 4
        assert container.read_byte() == ord("o")
        with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
            container.write(b"abc", 2, 2)

    def test_saving(self, tmp_path: Path) -> None:
        container = StreamContainer(io.BytesIO(b"0123456789"))
        container.position = 5
        target = io.BytesIO()
        container.save(target)
        container.save(target, 3)
        container.save(target, 3, 4)
        container.save_to_stream(target)
        assert target.getvalue() == b"0123456789" * 2 + b"0123" + b"0123456789"
        container.save(str(tmp_path / "all"))
        container.save_with_buf_size_and_len(str(tmp_path / "part"), 1, 7)
        assert (tmp_path / "all").read_bytes() == b"0123456789"
        assert (tmp_path / "part").read_bytes() == b"0123456"
        assert container.position == 5
        other = StreamContainer(io.BytesIO())
        container.write_to(other, 3)
        assert other.to_bytes() == b"567"

    def test_what_a_python_file_raises_arrives(self) -> None:
        class Broken(io.RawIOBase):
            def readable(self) -> bool:
                return True

            def readinto(self, buffer: object) -> int:
                raise ValueError("no more paper")

        with pytest.raises(RuntimeError, match=r"(?s)^Proxy error\(PythonException\).*ValueError: no more paper"):
            StreamContainer(Broken()).read_byte()

    def test_none_is_no_stream(self) -> None:
        with pytest.raises(RuntimeError, match=r"^Proxy error\(ArgumentNullException\): .*'stream'"):
            StreamContainer(None)

    def test_a_container_converts_to_its_stream(self) -> None:
        file = StreamSource().stream
        boxed = StreamContainer(file)._cast_from(MANAGED_STREAM._type_of())
        assert boxed.status == 1
        assert MANAGED_STREAM._reinterpret_obj(boxed.value) is not None

    def test_a_split_container_is_a_container(self) -> None:
        file = io.BytesIO(b"abc")
        for container in (SplitStreamContainer(file), SplitStreamContainer.create_from_stream(file, False),
                          SplitStreamContainer(StreamContainer(file), False)):
            assert container.to_bytes() == b"abc"
            assert container.read_byte() == ord("a")
            container.seek_begin()

    def test_that_of_an_image_leaves_the_file_open(self) -> None:
        file = io.BytesIO(png_bytes(1, 1, [(1, 2, 3)]))
        container = Image.load(file).data_stream_container
        assert not container.is_stream_disposed_on_close and container.stream is file
        with container:
            pass
        assert container.disposed and not file.closed

    def test_it_lets_go_of_the_file(self, control: Control) -> None:
        file = io.BytesIO()
        references = sys.getrefcount(file)
        before = control.live()
        container = StreamContainer(file)
        assert (sys.getrefcount(file), control.live()) == (references + 1, before + 1)
        del container
        control.settle()
        assert (sys.getrefcount(file), control.live()) == (references, before)


class TestManagedStreams:
    def test_a_source_without_a_stream_has_memory(self) -> None:
        source = StreamSource()
        assert type(source.stream) is MANAGED_STREAM
        source.get_stream_container().write(b"abc")
        assert source.get_stream_container().to_bytes() == b"abc"
        assert source.stream == source.stream and source.stream is not source.stream

    def test_containers_share_it(self) -> None:
        stream = StreamSource().stream
        one, other = StreamContainer(stream), StreamContainer(stream)
        one.write(b"0123")
        assert other.position == 4
        other.length = 2
        assert one.to_bytes() == b"01"

    def test_a_disposed_stream_says_so(self) -> None:
        source = StreamSource()
        container = source.get_stream_container()
        with source.get_stream_container():
            pass
        text = r"Cannot access a closed Stream\." if ON_DOTNET else ".*MemoryStream"
        with pytest.raises(RuntimeError, match=rf"^Proxy error\(ObjectDisposedException\): {text}"):
            container.to_bytes()


class TestFiles:
    def test_create_and_open(self, tmp_path: Path) -> None:
        path = tmp_path / "made.bin"
        with FileCreateSource(str(path)).get_stream_container() as container:
            container.write(b"content")
        assert path.read_bytes() == b"content"
        with FileOpenSource(str(path)).get_stream_container() as container:
            assert container.to_bytes() == b"content"

    def test_a_temporary_file_goes_with_its_container(self, tmp_path: Path) -> None:
        path = tmp_path / "passing.bin"
        source = FileCreateSource(str(path), True)
        assert source.is_temporal and source.file_path == str(path)
        with source.get_stream_container():
            assert path.exists()
        assert not path.exists()

    def test_a_container_knows_its_file(self, tmp_path: Path) -> None:
        path = tmp_path / "known.bin"
        with FileStreamContainer.create_file_stream(str(path), False) as container:
            assert (container.file_path, container.is_created, container.is_temporal) == (str(path), True, False)
            container.is_temporal = True
        assert not path.exists()

    def test_a_temporary_file_is_the_one_that_was_made(self, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
        """Not one of its name in the directory that is the working one at the end."""
        for name in ("made", "other"):
            (tmp_path / name).mkdir()
        monkeypatch.chdir(tmp_path / "made")
        with FileStreamContainer.create_file_stream("a", True) as container:
            monkeypatch.chdir(tmp_path / "other")
            Path("a").write_text("mine")
            assert container.file_path == "a"
        assert Path("a").exists() and not (tmp_path / "made" / "a").exists()

    def test_a_file_that_was_made_after_it_stays(self, tmp_path: Path, control: Control) -> None:
        path = tmp_path / "a"
        with FileStreamContainer.create_file_stream(str(path), True) as container:
            pass
        path.write_text("mine")
        del container
        control.settle()
        assert path.exists()

    @pytest.mark.parametrize("disposed", [True, False])
    def test_a_temporary_file_may_be_gone_with_its_directory(
            self, tmp_path: Path, control: Control, disposed: bool) -> None:
        (tmp_path / "made").mkdir()
        container = FileStreamContainer.create_file_stream(str(tmp_path / "made" / "a"), True)
        shutil.rmtree(tmp_path / "made")
        if disposed:
            container.__exit__(None, None, None)
        del container
        control.settle()

    def test_temporary_files_go_with_the_process(self, tmp_path: Path) -> None:
        run_child("""
import sys
from zelmor.imaging import FileStreamContainer
kept = FileStreamContainer.create_file_stream(sys.argv[1] + "/a", True)
with FileStreamContainer.create_file_stream(sys.argv[1] + "/b", True) as ended:
    pass
open(sys.argv[1] + "/b", "w").write("mine")
""", str(tmp_path))
        assert [path.name for path in tmp_path.iterdir()] == ["b"]

    def test_a_file_that_is_not_there(self, tmp_path: Path) -> None:
        with pytest.raises(RuntimeError, match=r"^Proxy error\(FileNotFoundException\): .*missing\.bin"):
            FileStreamContainer.open_file_stream(str(tmp_path / "missing.bin"))
