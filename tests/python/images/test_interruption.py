"""Operations that an interrupted monitor stops: that of the thread, and that of the image."""

from __future__ import annotations

import io
import threading
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, RasterImage, Rectangle, RotateFlipType
from zelmor.imaging.imagefilters.filteroptions import GaussianBlurFilterOptions
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.multithreading import InterruptMonitor

from support.image_oracles import managed_error
from support.metadata_files import encoded, picture


@pytest.fixture(autouse=True)
def no_monitor_stays() -> Iterator[None]:
    yield
    InterruptMonitor.set_thread_local_instance(None)


def image() -> Any:
    return RasterImage._cast_to(Image.load(io.BytesIO(encoded("PNG")))).value


OPERATIONS: dict[str, Callable[[Any], object]] = {
    "resize": lambda found: found.resize(10, 10),
    "crop": lambda found: found.crop(Rectangle(0, 0, 5, 5)),
    "rotate_flip": lambda found: found.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE),
    "grayscale": lambda found: found.grayscale(),
    "filter": lambda found: found.filter(found.bounds, GaussianBlurFilterOptions(3, 1.0)),
    "save": lambda found: found.save(io.BytesIO(), PngOptions()),
    "load": lambda found: Image.load(io.BytesIO(encoded("PNG"))),
    "create": lambda found: Image.create(PngOptions(), 5, 5),
}


@pytest.mark.parametrize("name", OPERATIONS)
def test_an_interrupted_monitor_stops_the_next_operation(name: str) -> None:
    found, monitor = image(), InterruptMonitor()
    InterruptMonitor.set_thread_local_instance(monitor)
    OPERATIONS[name](image())
    monitor.interrupt()
    assert monitor.is_interrupted
    with managed_error("OperationInterruptedException", "The operation was interrupted by its monitor."):
        OPERATIONS[name](found)
    assert (found.width, found.height) == (40, 30)
    InterruptMonitor.set_thread_local_instance(InterruptMonitor())
    OPERATIONS[name](found)


def test_the_monitor_of_an_image_stops_its_operations_only() -> None:
    found, other, monitor = image(), image(), InterruptMonitor()
    found.interrupt_monitor = monitor
    monitor.interrupt()
    with managed_error("OperationInterruptedException"):
        found.resize(10, 10)
    with managed_error("OperationInterruptedException"):
        found.save(io.BytesIO(), PngOptions())
    other.resize(10, 10)


def test_a_stopped_save_leaves_the_file(tmp_path: Path) -> None:
    path = tmp_path / "a.png"
    path.write_bytes(b"as it was")
    found, monitor = image(), InterruptMonitor()
    found.interrupt_monitor = monitor
    monitor.interrupt()
    with managed_error("OperationInterruptedException"):
        found.save(str(path))
    assert path.read_bytes() == b"as it was" and list(tmp_path.iterdir()) == [path]


def test_another_thread_has_another_monitor() -> None:
    monitor = InterruptMonitor()
    InterruptMonitor.set_thread_local_instance(monitor)
    monitor.interrupt()
    results: list[object] = []

    def work() -> None:
        results.append(InterruptMonitor.thread_local_instance)
        found = image()
        found.resize(10, 10)
        results.append(found.width)

    thread = threading.Thread(target=work)
    thread.start()
    thread.join(30)
    assert results == [None, 10]


def test_another_thread_interrupts() -> None:
    monitor, ready, done = InterruptMonitor(), threading.Event(), threading.Event()
    errors: list[str] = []

    def work() -> None:
        InterruptMonitor.set_thread_local_instance(monitor)
        found = image()
        found.grayscale()
        ready.set()
        done.wait(30)
        try:
            found.resize(10, 10)
        except RuntimeError as error:
            errors.append(str(error))

    thread = threading.Thread(target=work)
    thread.start()
    assert ready.wait(30)
    monitor.interrupt()
    done.set()
    thread.join(30)
    assert len(errors) == 1 and "OperationInterruptedException" in errors[0]


def test_work_on_many_frames_stops_between_them() -> None:
    """The monitor is interrupted while the file of an animation is read, before its frames are decoded."""
    monitor = InterruptMonitor()
    InterruptMonitor.set_thread_local_instance(monitor)

    class Interrupting(io.BytesIO):
        def readinto(self, buffer: Any) -> int:
            monitor.interrupt()
            return super().readinto(buffer)

    frames = [picture(), picture().transpose(Pillow.Transpose.ROTATE_180)]
    file = io.BytesIO()
    frames[0].save(file, "GIF", save_all=True, append_images=frames[1:])
    with managed_error("OperationInterruptedException"):
        Image.load(Interrupting(file.getvalue()))


def test_frames_are_not_decoded_for_an_interrupted_image() -> None:
    frames = [picture(), picture().transpose(Pillow.Transpose.ROTATE_180)]
    file = io.BytesIO()
    frames[0].save(file, "GIF", save_all=True, append_images=frames[1:])
    found = RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value
    found.interrupt_monitor = monitor = InterruptMonitor()
    monitor.interrupt()
    with managed_error("OperationInterruptedException"):
        found.cache_data()
    found.interrupt_monitor = None
    found.cache_data()
    assert found.is_cached
