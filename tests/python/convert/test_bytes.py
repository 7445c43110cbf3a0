"""Byte arguments: the memory that the managed side may use, how long it may use it, and refused values."""

from __future__ import annotations

import array
import struct
from typing import Any

import pytest
from support.control import Call, control
from zelmor.imaging import FontSettings, RasterImage, RawDataSettings, Rectangle
from zelmor.imaging.extensions import StreamExtensions

OWNER = "Zelmor.Imaging.RasterImage"
METHOD = "call_000_SaveRawData"


@pytest.fixture(name="image")
def image_fixture() -> Any:
    """A wrapper of a raster image without a picture: its methods are not run."""
    return control.callback("write", "tpo")(control.new_object(OWNER), control.type_id(OWNER))


def save(image: RasterImage, data: Any) -> None:
    image.save_raw_data(data, 0, Rectangle(0, 0, 1, 1), None)


def bytes_on_the_wire(image: RasterImage, data: Any) -> Call:
    """A call with bytes; the entry point itself is not run."""
    control.return_next(OWNER, METHOD)
    with control.journal() as calls:
        save(image, data)
    [made] = [entry for entry in calls if entry.method == METHOD]
    return made


def record_of(made: Call) -> tuple[int, int, int]:
    """The fields acquired, length and data of the record."""
    return struct.unpack("<iiQ", made.records[1] or b"")


@pytest.mark.parametrize("data", [b"abc", bytearray(b"abc"), memoryview(b"abc"), array.array("B", b"abc")],
                         ids=lambda data: type(data).__name__)
def test_whatever_has_a_buffer_is_lent(image: RasterImage, data: Any) -> None:
    made = bytes_on_the_wire(image, data)
    acquired, length, _ = record_of(made)
    assert (acquired, length) == (1, 3)
    assert made.contents[1] == b"abc"


def test_none_is_a_null_array_and_empty_bytes_are_not(image: RasterImage) -> None:
    acquired, length, data = record_of(bytes_on_the_wire(image, None))
    assert (acquired, length, data) == (0, -1, 0)
    acquired, length, data = record_of(bytes_on_the_wire(image, b""))
    assert (acquired, length) == (1, 0)
    assert data != 0


def test_the_length_is_in_bytes(image: RasterImage) -> None:
    assert record_of(bytes_on_the_wire(image, array.array("i", [1, 2, 3])))[1] == 12


def test_a_bytearray_is_locked_while_the_call_runs(image: RasterImage) -> None:
    data = bytearray(b"abc")
    seen = []

    def try_to_grow(_arguments: Any, _result: int) -> None:
        try:
            data.append(1)
        except BufferError as error:
            seen.append(str(error))

    control.run_next(OWNER, METHOD, try_to_grow)
    save(image, data)
    control.check()
    assert seen == ["Existing exports of data: object cannot be re-sized"]
    data.append(1)
    assert data == b"abc\1"


def test_a_view_with_a_step_is_not_contiguous_and_is_released(image: RasterImage) -> None:
    view = memoryview(bytearray(10))[::2]
    with pytest.raises(BufferError, match="^buffer is not contiguous$"):
        save(image, view)
    view.release()


def test_a_buffer_is_released_when_a_later_argument_is_refused(image: RasterImage) -> None:
    data = bytearray(b"abc")
    with pytest.raises(TypeError, match="^can't build 'Int32' from 'str'$"):
        image.save_raw_data(data, "0", Rectangle(0, 0, 1, 1), RawDataSettings())
    data.append(1)


@pytest.mark.parametrize("data", ["abc", 5, [1, 2], object()], ids=["str", "int", "list", "object"])
def test_what_has_no_buffer_is_refused(image: RasterImage, data: Any) -> None:
    with pytest.raises(TypeError) as refused:
        save(image, data)
    assert str(refused.value) == f"can't build byte[] from '{type(data).__name__}'"


def test_an_exporter_that_refuses_is_reported(image: RasterImage) -> None:
    view = memoryview(b"abc")
    view.release()
    with pytest.raises(BufferError, match="^can't get internal buffer$"):
        save(image, view)


def test_a_null_array_or_text_is_refused_by_the_name_of_its_parameter() -> None:
    with pytest.raises(RuntimeError, match=r"\(ArgumentNullException\).*\(Parameter 'array'\)"):
        StreamExtensions.create_memory_stream_from_bytes(None)
    with pytest.raises(RuntimeError, match=r"\(ArgumentNullException\).*\(Parameter 'font_folder'\)"):
        FontSettings.set_fonts_folder(None)
