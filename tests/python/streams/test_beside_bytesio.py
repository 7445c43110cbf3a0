"""The same calls on a managed stream and on an io.BytesIO, compared byte for byte; the model states the differences."""

from __future__ import annotations

import array
import io
import tempfile
from pathlib import Path
from typing import Any

import pytest
import zelmor.imaging
from hypothesis import settings
from hypothesis import strategies as st
from hypothesis.stateful import RuleBasedStateMachine, invariant, precondition, rule, run_state_machine_as_test

from zelmor.imaging import FileStreamContainer, SplitStreamContainer, StreamContainer
from zelmor.imaging.sources import StreamSource

from support.draws import examples
from support.own_file import OwnFile

KIND = zelmor.imaging._wrpgen._interop._StreamWrapper
CONTENT = st.binary(max_size=60) | st.lists(st.sampled_from([b"a", b"\n", b"line "]), max_size=12).map(b"".join)
SIZES = st.none() | st.integers(-2, 70)
#: The position at which a call begins; None stands for the position after the previous call.
PLACES = st.none() | st.integers(0, 80)


class BesideBytesIO(RuleBasedStateMachine):
    """A managed stream and an io.BytesIO on which the same operations run."""

    #: Whether seeking before the beginning stops there, as in io.BytesIO; otherwise it is an error.
    stops_at_the_beginning = False
    #: Whether an empty write behind the end fills the gap with zeros.
    empty_write_fills = False
    #: Whether the stream can be shortened.
    shrinks = True
    #: Whether a read returns as much as requested, if the data is there.
    short = False

    def __init__(self) -> None:
        super().__init__()
        self.ours: Any = self.make()
        self.theirs = io.BytesIO()
        assert type(self.ours) is KIND

    def make(self) -> Any:
        raise NotImplementedError

    @property
    def size(self) -> int:
        return len(self.theirs.getvalue())

    def go(self, at: int | None) -> None:
        if at is not None:
            assert self.ours.seek(at) == self.theirs.seek(at)

    @rule(at=PLACES, data=CONTENT,
          kind=st.sampled_from([bytes, bytearray, memoryview, lambda data: array.array("B", data)]))
    def write(self, at: int | None, data: bytes, kind: Any) -> None:
        self.go(at)
        assert self.ours.write(kind(data)) == self.theirs.write(data)
        if not data and self.empty_write_fills and self.theirs.tell() > self.size:
            self.theirs.truncate(self.size)
            end = self.theirs.tell()
            self.theirs.seek(0, 2)
            self.theirs.write(bytes(end - self.size))

    @rule(lines=st.lists(CONTENT.filter(bool), max_size=4))
    def writelines(self, lines: list[bytes]) -> None:
        assert self.ours.writelines(lines) is self.theirs.writelines(lines) is None

    @precondition(lambda self: self.size > 0)
    @rule(at=PLACES, size=SIZES)
    def read(self, at: int | None, size: int | None) -> None:
        self.go(at)
        got, expected = self.ours.read(size), self.theirs.read(size)
        if self.short and size is not None and size >= 0:
            assert expected.startswith(got) and bool(got) == bool(expected)
            self.theirs.seek(len(got) - len(expected), 1)
        else:
            assert got == expected

    @precondition(lambda self: self.size > 0)
    @rule(at=PLACES, method=st.sampled_from(["readline", "readlines"]), size=SIZES)
    def read_lines(self, at: int | None, method: str, size: int | None) -> None:
        self.go(at)
        assert getattr(self.ours, method)(size) == getattr(self.theirs, method)(size)

    @rule(at=PLACES)
    def readall(self, at: int | None) -> None:
        self.go(at)
        assert self.ours.readall() == self.theirs.read()

    @precondition(lambda self: self.size > 0)
    @rule(at=PLACES, size=st.integers(0, 70), start=st.integers(0, 5))
    def readinto(self, at: int | None, size: int, start: int) -> None:
        self.go(at)
        left, right = bytearray(size + start), bytearray(size + start)
        got, expected = (self.ours.readinto(memoryview(left)[start:]), self.theirs.readinto(memoryview(right)[start:]))
        if self.short:
            assert got <= expected and bool(got) == bool(expected)
            self.theirs.seek(got - expected, 1)
            right[start + got:] = bytes(size - got)
        else:
            assert got == expected
        assert left == right

    @precondition(lambda self: self.size > 0)
    @rule(at=PLACES, count=st.integers(0, 3))
    def iterate(self, at: int | None, count: int) -> None:
        self.go(at)
        assert [next(self.ours, None) for _ in range(count)] == [next(self.theirs, None) for _ in range(count)]
        assert count or list(self.ours) == list(self.theirs)

    @rule(whence=st.integers(0, 2), offset=st.integers(-80, 120))
    def seek(self, whence: int, offset: int) -> None:
        base = (0, self.theirs.tell(), self.size)[whence]
        if base + offset >= 0 or (self.stops_at_the_beginning and whence > 0):
            assert self.ours.seek(offset, whence) == self.theirs.seek(offset, whence)
        else:
            with pytest.raises(ValueError if whence == 0 else RuntimeError):
                self.ours.seek(offset, whence)

    @rule(at=PLACES, size=st.none() | st.integers(0, 120))
    def truncate(self, at: int | None, size: int | None) -> None:
        self.go(at)
        wanted = self.theirs.tell() if size is None else size
        if wanted < self.size and not self.shrinks:
            with pytest.raises(RuntimeError, match=r"^Proxy error\(NotSupportedException\)"):
                self.ours.truncate(size)
            return
        assert self.ours.truncate(size) == wanted
        # There a file does not grow, and its position stays behind the end.
        position = self.theirs.tell()
        self.theirs.truncate(wanted)
        missing = wanted - self.size
        self.theirs.seek(0, 2)
        self.theirs.write(bytes(max(0, missing)))
        self.theirs.seek(min(position, wanted))

    @rule()
    def state(self) -> None:
        for method in ("readable", "writable", "seekable", "isatty", "flush", "tell"):
            assert getattr(self.ours, method)() == getattr(self.theirs, method)()
        assert self.ours.closed is self.theirs.closed is False

    @rule(data=st.sampled_from(["text", None, 3, [b"a"]]), whence=st.integers(3, 5) | st.integers(-5, -1))
    def what_is_wrong(self, data: object, whence: int) -> None:
        for file in (self.ours, self.theirs):
            with pytest.raises(TypeError):
                file.write(data)
            with pytest.raises(TypeError):
                file.readinto(data)
            with pytest.raises(TypeError):
                file.read([data])
            with pytest.raises(ValueError, match="invalid whence"):
                file.seek(0, whence)

    @precondition(lambda self: hasattr(self, "again"))
    @rule()
    def another_wrapper(self) -> None:
        self.ours = self.again()

    @invariant()
    def same(self) -> None:
        position = self.theirs.tell()
        assert self.ours.tell() == position
        assert self.ours.seek(0, 2) == self.size
        self.ours.seek(0)
        assert self.ours.readall() == self.theirs.getvalue()
        self.ours.seek(position)

    def teardown(self) -> None:
        """At the end both are closed and refuse the same operations."""
        for file in (self.ours, self.theirs):
            assert file.close() is None and file.close() is None and file.closed is True
        for method, *arguments in (("read",), ("readline",), ("readlines",), ("readinto", bytearray(1)), ("write", b""),
                                   ("seek", 0), ("tell",), ("truncate",), ("readable",), ("writable",), ("seekable",),
                                   ("isatty",), ("flush",), ("writelines", [])):
            for file in (self.ours, self.theirs):
                with pytest.raises(ValueError, match="closed"):
                    getattr(file, method)(*arguments)


class InMemory(BesideBytesIO):
    """A managed stream in memory."""

    empty_write_fills = True

    def make(self) -> Any:
        self.source = StreamSource()
        return self.again()

    def again(self) -> Any:
        return self.source.stream


class OverAFileOfPython(BesideBytesIO):
    """A managed stream over a Python file that reads and writes everything in one call."""

    stops_at_the_beginning = True
    shrinks = False

    def file(self) -> Any:
        return io.BytesIO()

    def make(self) -> Any:
        boxed = StreamContainer(self.file())._cast_from(KIND._type_of())
        assert boxed.status == 1
        return KIND._reinterpret_obj(boxed.value)


class OverAShortFileOfPython(OverAFileOfPython):
    """The same over a file that reads and writes a few bytes in each call."""

    short = True

    def file(self) -> Any:
        return OwnFile(most=7)


class OnDisk(BesideBytesIO):
    """A managed stream over a file on disk."""

    def make(self) -> Any:
        self.directory = tempfile.TemporaryDirectory()
        self.container = FileStreamContainer.create_file_stream(str(Path(self.directory.name) / "file"), False)
        return self.again()

    def again(self) -> Any:
        return self.container.stream

    def teardown(self) -> None:
        super().teardown()
        self.directory.cleanup()


class Joined(BesideBytesIO):
    """Several streams joined, one of them a Python file. They hold the initial content."""

    short = True

    def make(self) -> Any:
        self.split = SplitStreamContainer(StreamSource().stream)
        for file in (StreamSource().stream, io.BytesIO(), OwnFile(most=5)):
            file.write(b"some\nbytes")
            self.split.insert(self.split.length // 2, StreamContainer(file), False)
        return self.split.stream

    def __init__(self) -> None:
        super().__init__()
        self.theirs.write(self.split.to_bytes())
        self.theirs.seek(0)


@pytest.mark.parametrize("machine", [InMemory, OverAFileOfPython, OverAShortFileOfPython, OnDisk, Joined])
def test_it_behaves_like_io_bytes_io(machine: type[BesideBytesIO]) -> None:
    run_state_machine_as_test(machine, settings=settings(max_examples=examples(25), stateful_step_count=30))
