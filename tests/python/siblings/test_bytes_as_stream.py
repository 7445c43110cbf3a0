"""The in-memory stream behaves like io.BytesIO, in whatever order its methods are called."""

import array
import copy
import gc
import io
import os
import pickle
import sys
import tracemalloc
import weakref
import zipfile

import pytest
from hypothesis import given
from hypothesis import strategies as st

from zelmor.pycore import BytesAsStream

SIZES = st.one_of(st.none(), st.integers(-2, 40))
CONTENT = st.binary(max_size=60) | st.lists(st.sampled_from([b"a", b"\n", b"long line "]), max_size=12).map(b"".join)
CALLS = st.one_of(
    st.tuples(st.sampled_from(["read", "read1", "readline"]), st.tuples() | st.tuples(SIZES)),
    st.tuples(st.just("readlines"), st.tuples() | st.tuples(st.none() | st.integers(-2, 30))),
    st.tuples(st.sampled_from(["readinto", "readinto1"]), st.tuples(st.integers(0, 40).map(bytearray))),
    st.tuples(st.just("write"), st.tuples(CONTENT | CONTENT.map(bytearray) | CONTENT.map(memoryview))),
    st.tuples(st.just("writelines"), st.tuples(st.lists(CONTENT, max_size=4))),
    st.tuples(st.just("seek"), st.tuples(st.integers(-70, 130)) | st.tuples(st.integers(-70, 130), st.integers(-1, 4))),
    st.tuples(st.just("truncate"), st.tuples() | st.tuples(st.none() | st.integers(-2, 130))),
    st.tuples(st.sampled_from("tell getvalue readable writable seekable isatty flush".split()), st.tuples()),
    st.tuples(st.sampled_from(["fileno", "detach"]), st.tuples()),
    st.tuples(st.just("__next__"), st.tuples()),
)


def outcome(stream, name, args):
    """The outcome of a call: its result, or the type of its error."""
    try:
        result = getattr(stream, name)(*args)
    except Exception as error:
        return type(error), str(error) if isinstance(error, (ValueError, OverflowError)) else None
    return result, type(result)


@given(initial=CONTENT, calls=st.lists(CALLS, max_size=25))
def test_behaves_as_bytes_io(initial, calls):
    ours = BytesAsStream(initial)
    theirs = io.BytesIO(initial)
    for name, args in calls:
        if name.startswith("readinto"):
            left, right = bytearray(args[0]), bytearray(args[0])
            assert outcome(ours, name, (left,)) == outcome(theirs, name, (right,))
            assert left == right
        else:
            assert outcome(ours, name, args) == outcome(theirs, name, args), name
        assert ours.tell() == theirs.tell()
        assert ours.getvalue() == theirs.getvalue()


@given(initial=CONTENT, calls=st.lists(CALLS, min_size=1, max_size=6))
def test_closed_stream_behaves_as_bytes_io(initial, calls):
    ours = BytesAsStream(initial)
    theirs = io.BytesIO(initial)
    ours.close()
    theirs.close()
    ours.close()
    assert ours.closed is True
    for name, args in calls:
        if name not in ("fileno", "detach"):
            assert outcome(ours, name, args) == outcome(theirs, name, args), name


@pytest.mark.parametrize("initial", [b"abc", bytearray(b"abc"), memoryview(b"abc"), array.array("b", b"abc")])
def test_starts_at_the_front_of_any_buffer(initial):
    stream = BytesAsStream(initial)
    assert stream.tell() == 0
    assert stream.read() == b"abc"
    assert BytesAsStream(initial_bytes=initial).getvalue() == b"abc"


def test_starts_empty():
    assert BytesAsStream().getvalue() == b""
    assert BytesAsStream(None).getvalue() == b""


@pytest.mark.parametrize("wrong", ["text", 3, object()])
def test_refuses_what_is_no_buffer(wrong):
    with pytest.raises(TypeError, match="a bytes-like object is required"):
        BytesAsStream(wrong)
    with pytest.raises(TypeError, match="a bytes-like object is required"):
        BytesAsStream().write(wrong)
    with pytest.raises(TypeError):
        BytesAsStream(b"abc").readinto(b"read-only")
    with pytest.raises(TypeError, match="argument should be integer or None"):
        BytesAsStream(b"abc").read("3")


def test_positions_beyond_the_machine_are_refused():
    stream = BytesAsStream(b"abc")
    stream.seek(sys.maxsize)
    with pytest.raises(OverflowError, match="new position too large"):
        stream.write(b"x")
    with pytest.raises(OverflowError, match="new position too large"):
        stream.seek(1, 1)
    assert stream.tell() == sys.maxsize
    assert stream.read() == b""
    with pytest.raises(OverflowError):
        stream.seek(1 << 80)
    assert stream.getvalue() == b"abc"


@pytest.mark.skipif("asan" in os.environ.get("LD_PRELOAD", ""), reason="that sanitizer ends the process instead")
def test_a_huge_gap_is_a_memory_error():
    stream = BytesAsStream(b"abc")
    stream.seek(1 << 62)
    with pytest.raises(MemoryError):
        stream.write(b"x")
    assert stream.getvalue() == b"abc"


def test_lines():
    stream = BytesAsStream(b"one\ntwo\nthree")
    assert iter(stream) is stream
    assert list(stream) == [b"one\n", b"two\n", b"three"]


def test_context_manager_closes():
    with BytesAsStream(b"abc") as stream:
        assert stream.closed is False
    assert stream.closed is True
    with pytest.raises(ValueError, match="I/O operation on closed file"):
        stream.__enter__()


def test_a_view_keeps_the_content_in_place():
    stream = BytesAsStream(b"abc")
    view = stream.getbuffer()
    view[1] = ord("X")
    assert stream.getvalue() == b"aXc"
    for change in (lambda: stream.write(b"z"), stream.truncate, stream.close, lambda: stream.__init__(b"other")):
        with pytest.raises(BufferError, match="object cannot be re-sized"):
            change()
    assert stream.readinto(view) == 3
    view.release()
    stream.write(b"longer")
    assert stream.getvalue() == b"aXclonger"


def test_a_view_keeps_the_stream_alive():
    stream = BytesAsStream(b"abc")
    view = stream.getbuffer()
    watch = weakref.ref(stream)
    del stream
    assert bytes(view) == b"abc"
    assert watch() is not None
    view.release()
    del view
    gc.collect()
    assert watch() is None


def test_a_view_of_nothing():
    stream = BytesAsStream()
    with stream.getbuffer() as view:
        assert len(view) == 0
    stream.write(b"x")


def test_a_source_that_closes_the_stream_while_it_is_read():
    stream = BytesAsStream(b"abc")

    def lines():
        yield b"one"
        stream.close()
        yield b"two"

    with pytest.raises(ValueError, match="I/O operation on closed file"):
        stream.writelines(lines())


def test_attributes_and_cycles():
    stream = BytesAsStream()
    stream.name = "page.png"
    stream.itself = stream
    watch = weakref.ref(stream)
    del stream
    gc.collect()
    assert watch() is None


class Recorder(BytesAsStream):
    """A derived class that overrides close."""

    closings = 0

    def close(self):
        """Counts the calls."""
        self.closings += 1
        super().close()


def test_can_be_derived_from():
    recorder = Recorder(b"abc")
    with recorder:
        assert recorder.read(1) == b"a"
    assert recorder.closings == 1
    assert recorder.closed is True


@pytest.mark.parametrize("protocol", range(2, pickle.HIGHEST_PROTOCOL + 1))
@pytest.mark.parametrize("kind", [BytesAsStream, Recorder])
def test_pickles_with_content_position_and_attributes(kind, protocol):
    stream = kind(b"abcdef")
    stream.seek(2)
    stream.name = "page.png"
    again = pickle.loads(pickle.dumps(stream, protocol))
    assert type(again) is kind
    assert again.name == "page.png"
    assert again.read() == b"cdef"
    assert again.getvalue() == b"abcdef"


def test_copy_has_content_of_its_own():
    stream = BytesAsStream(b"abc")
    other = copy.copy(stream)
    other.write(b"X")
    assert stream.getvalue() == b"abc"
    assert other.getvalue() == b"Xbc"


@pytest.mark.parametrize("state", [None, (), (1,), (-1, None), ("x", None), (0, 5)])
def test_wrong_states_are_refused(state):
    with pytest.raises((TypeError, ValueError, AttributeError)):
        BytesAsStream(b"abc").__setstate__(state)


def test_size_counts_the_content():
    assert sys.getsizeof(BytesAsStream(bytes(5000))) - sys.getsizeof(BytesAsStream()) >= 5000


def test_growth_by_small_writes():
    stream = BytesAsStream()
    for number in range(20000):
        assert stream.write(b"%05d" % number) == 5
    assert stream.getvalue() == b"".join(b"%05d" % number for number in range(20000))
    assert stream.truncate(10) == 10
    assert sys.getsizeof(stream) < 1000
    assert stream.getvalue() == b"0000000001"


def test_serves_the_standard_library():
    stream = BytesAsStream()
    with zipfile.ZipFile(stream, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("a.txt", b"content" * 100)
    with zipfile.ZipFile(BytesAsStream(stream.getvalue())) as archive:
        assert archive.read("a.txt") == b"content" * 100
    text = io.TextIOWrapper(BytesAsStream(b"caf\xc3\xa9\n"), encoding="utf-8")
    assert text.read() == "café\n"


def test_references_stay_balanced():
    stream = BytesAsStream(b"abc")
    payload = bytes(100)
    before = sys.getrefcount(stream), sys.getrefcount(payload)
    for _ in range(100):
        stream.write(payload)
        stream.getbuffer().release()
        list(stream)
    assert (sys.getrefcount(stream), sys.getrefcount(payload)) == before


def test_the_content_goes_with_the_stream():
    content = bytes(10_000)

    def use_and_drop():
        for _ in range(100):
            BytesAsStream(content).write(content)

    tracemalloc.start()
    try:
        use_and_drop()
        before = tracemalloc.get_traced_memory()[0]
        use_and_drop()
        assert tracemalloc.get_traced_memory()[0] - before < 10_000
    finally:
        tracemalloc.stop()
