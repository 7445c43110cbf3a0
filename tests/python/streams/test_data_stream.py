"""The data stream of an image: the stream that it was loaded from, or the stream that it will be written to."""

from __future__ import annotations

import io
import os
import sys
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow

from zelmor.imaging import FileStreamContainer, Image, StreamContainer
from zelmor.imaging.imageoptions import BmpOptions
from zelmor.imaging.sources import FileCreateSource, StreamSource

from support.control import Control
from support.image_oracles import noise


def png() -> bytes:
    """A small picture."""
    file = io.BytesIO()
    Pillow.fromarray(noise()).save(file, "PNG")
    return file.getvalue()


PNG = png()


def on_disk(container: StreamContainer) -> FileStreamContainer:
    """The container in its run-time type; the declared type of the property is the base class of streams."""
    made, cast = FileStreamContainer._cast_to(container)
    assert made
    return cast


def test_of_an_image_from_a_python_file() -> None:
    file = io.BytesIO(b"in front" + PNG)
    file.seek(8)
    with Image.load(file) as image:
        container = image.data_stream_container
        assert type(container) is StreamContainer
        assert container.stream is file
        assert container.to_bytes() == b"in front" + PNG
        with container:
            pass
        assert not file.closed
        assert image.data_stream_container.length == 8 + len(PNG)


def test_of_an_image_from_a_managed_stream() -> None:
    stream = StreamSource().stream
    stream.write(PNG)
    stream.seek(0)
    with Image.load(stream) as image:
        assert image.data_stream_container.stream == stream


def test_of_an_image_from_a_file_on_disk(tmp_path: Path) -> None:
    path = tmp_path / "a.png"
    path.write_bytes(PNG)
    with Image.load(str(path)) as image:
        before = len(os.listdir("/proc/self/fd"))
        with image.data_stream_container as container:
            file = on_disk(container)
            assert (file.file_path, file.is_created, file.is_temporal) == (str(path), False, False)
            assert container.to_bytes() == PNG
        assert len(os.listdir("/proc/self/fd")) == before
        image.save(str(path), BmpOptions())
        assert image.data_stream_container.to_bytes()[:2] == b"BM"
        path.unlink()
        assert image.data_stream_container is None
    assert not path.exists()


@pytest.mark.parametrize("name", [b"plain", "żółw \N{TURTLE}".encode(), b"odd\xff", b"\xc3", b"\xed\xa0\x80 \xf5x"])
def test_of_a_file_with_any_name(tmp_path: Path, name: bytes) -> None:
    path = os.fsdecode(os.fsencode(tmp_path) + b"/" + name)
    Path(path).write_bytes(PNG)
    with Image.load(path) as image, image.data_stream_container as container:
        assert container.length == len(PNG)
        if path.isprintable():  # managed text that contains a byte that is not UTF-8 cannot be converted to Python
            assert on_disk(container).file_path == path


def test_of_a_new_image(tmp_path: Path) -> None:
    file = io.BytesIO()
    options = BmpOptions()
    options.source = StreamSource(file)
    with Image.create(options, 4, 3) as image:
        assert image.data_stream_container.stream is file
        image.save()
        assert image.data_stream_container.to_bytes()[:2] == b"BM"
    options.source = FileCreateSource(str(tmp_path / "new.bmp"))
    with Image.create(options, 4, 3) as image:
        assert image.data_stream_container is None
        image.save()
        assert on_disk(image.data_stream_container).file_path == str(tmp_path / "new.bmp")
    with Image.create(BmpOptions(), 4, 3) as image:
        assert image.data_stream_container is None


@pytest.mark.parametrize("make", [lambda file: Image.load(file), lambda file: created(file)])
def test_the_file_is_let_go_with_the_image(control: Control, make: Any) -> None:
    file = io.BytesIO(PNG)
    before = sys.getrefcount(file)
    image = make(file)
    assert sys.getrefcount(file) > before
    with image:
        pass
    control.settle()
    with pytest.raises(RuntimeError, match=r"^Proxy error\(ObjectDisposedException\)"):
        image.data_stream_container  # noqa: B018
    control.settle()  # the call has released what the source held
    assert sys.getrefcount(file) == before


def created(file: Any) -> Any:
    """A new image over a file."""
    options = BmpOptions()
    options.source = StreamSource(file)
    return Image.create(options, 4, 3)
