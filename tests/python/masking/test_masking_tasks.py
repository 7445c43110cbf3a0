"""Masking in the background: tasks that run on a thread of the runtime, and what they say of themselves."""

from __future__ import annotations

import os
import signal
import threading
import time
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Rectangle
from zelmor.imaging.asynctask import IAsyncTask
from zelmor.imaging.masking import IMaskingAsyncTask, ImageMasking
from zelmor.imaging.masking.options import AutoMaskingArgs, GraphCutMaskingOptions, MaskingOptions, SegmentationMethod
from zelmor.imaging.masking.result import MaskingResult
from zelmor.imaging.multithreading import InterruptMonitor

from support import masks as known
from support.child import run_child
from support.control import Control
from support.forked import outcome_of
from support.image_oracles import managed_error
from support.masks import disk, image, masks, noisy
from support.runtimes import embedded_only

RED, DISK = (200, 40, 50), (48, 36, 20)


def options() -> GraphCutMaskingOptions:
    found, arguments = GraphCutMaskingOptions(), AutoMaskingArgs()
    arguments.objects_rectangles = [known.around(*DISK)]
    found.args, found.feathering_radius = arguments, 0
    return found


def picture() -> Any:
    return image(noisy({RED: disk(*DISK)}))


def long_work() -> tuple[Any, MaskingOptions]:
    """A picture and options that take many seconds: clusters of noise that never come to rest."""
    found, arguments = MaskingOptions(), AutoMaskingArgs()
    arguments.number_of_objects, arguments.precision, arguments.max_iteration_number = 40, 0.0, 1_000_000
    found.method, found.args = SegmentationMethod.FUZZY_C_MEANS, arguments
    return image(np.random.default_rng(1).integers(0, 256, (400, 400, 3), dtype=np.uint8)), found


def long_task() -> Any:
    found, settings = long_work()
    return ImageMasking(found).decompose_async(settings)


def until(condition: Any) -> None:
    end = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.002)


def states(task: Any) -> tuple[bool, bool, bool]:
    return task.is_busy, task.is_canceled, task.is_faulted


def test_a_task_gives_what_the_call_gives() -> None:
    expected = masks(ImageMasking(picture()).decompose(options()))
    task = ImageMasking(picture()).decompose_async(options())
    assert type(task) is IMaskingAsyncTask and states(task) == (False, False, False) and task.result is None
    task.run_async()
    task.wait_on_done()
    assert states(task) == (False, False, False) and task.get_error() is None
    assert type(task.result) is MaskingResult and task.result == task.get_masking_result()
    found = masks(task.get_masking_result())
    assert found.keys() == expected.keys() and all((found[i] == expected[i]).all() for i in found)


def test_a_task_can_be_asked_instead_of_waited_for() -> None:
    task = ImageMasking(picture()).decompose_async(options())
    task.run_async()
    until(lambda: not task.is_busy)
    assert task.get_masking_result().length == 2


def test_a_task_is_one_of_the_common_interface() -> None:
    task = ImageMasking(picture()).decompose_async(options())
    common = IAsyncTask._cast_to(task).value
    assert type(common) is IAsyncTask
    common.run_async()
    common.wait_on_done()
    assert type(common.result) is MaskingResult


def test_sessions_have_tasks_too() -> None:
    session = ImageMasking(picture()).create_session(options())
    first = session.decompose_async()
    first.run_async()
    first.wait_on_done()
    orphans = AutoMaskingArgs()
    orphans.orphaned_points = known.points(disk(48, 36, 6), 200)
    better = session.improve_decomposition_async(orphans)
    better.run_async()
    better.wait_on_done()
    found = masks(better.get_masking_result())[0]
    assert all(found[point.y, point.x] == 255 for point in orphans.orphaned_points)
    with managed_error("ArgumentNullException"):
        session.improve_decomposition_async(None)


def test_the_thread_of_a_task_is_one_of_the_runtime() -> None:
    # Threads of the image library that have nothing to do end after a while.
    before, task = set(os.listdir("/proc/self/task")), long_task()
    task.run_async()
    more = set(os.listdir("/proc/self/task")) - before
    assert task.is_busy and len(more) == 1
    task.cancel()
    task.wait_on_done()
    assert not set(os.listdir("/proc/self/task")) & more


def test_python_runs_while_the_task_does() -> None:
    task = long_task()
    task.run_async()
    total = sum(range(100_000))
    assert total and task.is_busy
    with managed_error("InvalidOperationException", "The task is under way."):
        task.get_masking_result()
    assert task.result is None
    task.abort()


def test_a_canceled_task_has_no_result() -> None:
    task = long_task()
    task.run_async()
    task.cancel()
    task.wait_on_done()
    assert states(task) == (False, True, False) and task.result is None and task.get_error() is None
    with managed_error("OperationCanceledException", "The task was canceled."):
        task.get_masking_result()
    task.cancel()


def test_an_aborted_task_is_over_at_once() -> None:
    task = long_task()
    task.run_async()
    task.abort()
    assert states(task) == (False, True, False)
    task.wait_on_done()


def test_a_task_that_was_canceled_before_never_runs() -> None:
    task = long_task()
    task.cancel()
    assert states(task) == (False, True, False)
    with managed_error("InvalidOperationException", "The task was canceled."):
        task.run_async()
    task.wait_on_done()


def test_a_task_runs_once() -> None:
    task = ImageMasking(picture()).decompose_async(options())
    with managed_error("InvalidOperationException", "nothing would end the waiting"):
        task.wait_on_done()
    with managed_error("InvalidOperationException", "The task was not run."):
        task.get_masking_result()
    task.run_async()
    task.wait_on_done()
    with managed_error("InvalidOperationException", "The task was run before."):
        task.run_async()


def test_what_does_not_fit_is_refused_before_the_thread_is_started() -> None:
    found = options()
    found.feathering_radius = -1
    with managed_error("ArgumentOutOfRangeException", "feathering_radius"):
        ImageMasking(picture()).decompose_async(found)
    wrong = picture()
    task = ImageMasking(wrong).decompose_async(options())
    wrong.crop(Rectangle(0, 0, 10, 10))
    with managed_error("InvalidOperationException", "smaller than the masking area"):
        task.run_async()


def test_the_picture_may_change_while_the_task_runs() -> None:
    expected, target = masks(ImageMasking(picture()).decompose(options())), picture()
    task = ImageMasking(target).decompose_async(options())
    task.run_async()
    target.crop(Rectangle(0, 0, 10, 10))
    target.dispose() if hasattr(target, "dispose") else target.__exit__(None, None, None)
    until(lambda: not task.is_busy)
    assert (masks(task.get_masking_result())[1] == expected[1]).all()


def test_an_interrupted_monitor_ends_the_waiting() -> None:
    monitor = InterruptMonitor()
    target, settings = long_work()
    target.interrupt_monitor = monitor
    task = ImageMasking(target).decompose_async(settings)
    task.run_async()
    monitor.interrupt()
    with managed_error("OperationInterruptedException"):
        task.wait_on_done()
    assert states(task) == (False, True, False)


def test_a_failure_in_finishing_belongs_to_the_task() -> None:
    session = ImageMasking(picture()).create_session(options())
    task = session.decompose_async()
    task.run_async()
    session.__exit__(None, None, None)
    task.wait_on_done()
    assert states(task) == (False, False, True)
    assert task.get_error().startswith("ObjectDisposedException: ")
    with managed_error("ObjectDisposedException"):
        task.get_masking_result()
    assert task.result is None


def threads() -> set[str]:
    """The threads of this process that .NET does not start and end for itself."""
    def name(number: str) -> str:
        try:
            return Path(f"/proc/self/task/{number}/comm").read_text()
        except OSError:  # it has just ended
            return ""
    return {number for number in os.listdir("/proc/self/task") if not name(number).startswith(".NET")}


def test_tasks_may_be_dropped_while_they_run(control: Control) -> None:
    before = threads()
    for _ in range(5):
        task = long_task()
        task.run_async()
        del task
    control.settle()
    MaskingOptions()  # what .NET has collected ends with the next call of the picture library
    assert not threads() - before


def test_a_disposed_task_is_stopped() -> None:
    before = len(os.listdir("/proc/self/task"))
    with long_task() as task:
        task.run_async()
    assert len(os.listdir("/proc/self/task")) == before
    with managed_error("ObjectDisposedException"):
        task.is_busy


def test_several_tasks_run_side_by_side() -> None:
    expected = masks(ImageMasking(picture()).decompose(options()))
    tasks = [ImageMasking(picture()).decompose_async(options()) for _ in range(4)]
    for task in tasks:
        task.run_async()
    for task in tasks:
        task.wait_on_done()
        assert (masks(task.get_masking_result())[1] == expected[1]).all()


@embedded_only("a forked child does not call .NET")
def test_a_forked_process_does_not_wait_for_the_thread_of_its_parent() -> None:
    task = long_task()
    task.run_async()

    def in_the_child() -> tuple[bool, bool, bool, str]:
        task.wait_on_done()
        return *states(task), task.get_error()

    found = outcome_of(in_the_child)
    assert found.startswith("(False, False, True, ") and "parent of this process" in found, found
    assert task.is_busy
    task.cancel()
    task.wait_on_done()


def test_signals_go_to_the_threads_of_python() -> None:
    seen = []
    before = signal.signal(signal.SIGUSR1, lambda number, frame: seen.append(threading.current_thread()))
    try:
        task = long_task()
        task.run_async()
        os.kill(os.getpid(), signal.SIGUSR1)
        until(lambda: seen)
        task.abort()
    finally:
        signal.signal(signal.SIGUSR1, before)
    assert seen == [threading.main_thread()]


@pytest.mark.parametrize("end", ["", "raise SystemExit(0)", "held = [task]; held.append(held)"])
def test_a_process_ends_while_a_task_runs(end: str) -> None:
    run_child(f"""
import sys
sys.path.insert(0, {str(os.path.dirname(__file__))!r})
import test_masking_tasks
task = test_masking_tasks.long_task()
task.run_async()
assert task.is_busy
{end}
""", seconds=60)
