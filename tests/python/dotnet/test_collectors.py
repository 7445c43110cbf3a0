"""Two collectors: what .NET collects changes nothing for Python, and its finalizers never run Python code."""

from __future__ import annotations

import os
import subprocess
import sys

import pytest

from support.dotnet import needs_dotnet, run_on_dotnet
from support.places import ROOT

pytestmark = needs_dotnet


def test_python_objects_are_released_by_the_thread_that_calls() -> None:
    run_on_dotnet("""
import gc, io, threading
from zelmor.imaging import StreamContainer
from support.control import control

class File(io.BytesIO):
    def __del__(self):
        released.append(threading.get_native_id())

released = []
for _ in range(100):
    StreamContainer(File(b"abc")).read_byte()
worker = threading.Thread(target=control.collect)
worker.start()
ident = worker.native_id
worker.join()
control.collect()
# The finalizer has a thread of its own, which is neither of these.
assert len(released) == 100 and set(released) <= {ident, threading.get_native_id()}, (len(released), set(released))
""")


def test_an_object_that_went_keeps_its_python_object_until_a_call() -> None:
    run_on_dotnet("""
import ctypes, io, time, weakref
from zelmor.imaging import Point, StreamContainer
from support.control import control

class File(io.BytesIO):
    pass

file = File(b"abc")
seen = weakref.ref(file)
container = StreamContainer(file)
del file, container
collect = control.delegate("Zelmor.WrpGen.Control.Exports", "CollectWithoutReleasing", None,
                           assembly="Zelmor.WrpGen.Control")
collect()
assert seen() is not None  # finalized, and in the queue
point = Point(1, 2)
del point  # gives a handle back
assert seen() is None
""")


@pytest.mark.parametrize("method", ["save", "save_to_stream"])
def test_an_argument_that_is_not_kept_is_released_at_the_end_of_the_call(method: str) -> None:
    run_on_dotnet(f"""
import io, sys
from zelmor.imaging import StreamContainer
source, target = io.BytesIO(b"abc"), io.BytesIO()
container = StreamContainer(source)
before = sys.getrefcount(target)
container.{method}(target)
assert target.getvalue() == b"abc" and sys.getrefcount(target) == before
""")


def test_an_argument_of_a_call_that_failed_is_released() -> None:
    run_on_dotnet("""
import io, sys
from zelmor.imaging.sources import StreamSource
from zelmor.imaging import StreamContainer, SplitStreamContainer

class Odd(io.BytesIO):
    def seekable(self):
        return False

file = Odd(b"abc")
before = sys.getrefcount(file)
container = SplitStreamContainer(io.BytesIO(b"xyz"), False)
for _ in range(10):
    inner = StreamContainer(file)
    try:
        container.insert(0, inner, False)
    except RuntimeError as error:
        assert "cannot seek" in str(error)
    else:
        raise AssertionError("it was inserted")
del inner
from support.control import control
control.collect()
assert sys.getrefcount(file) == before
""")


def test_collections_between_any_two_calls_change_nothing() -> None:
    tests = ["streams/test_containers.py", "collections/test_callbacks.py", "wire/test_null_results.py",
             "siblings/test_values.py"]
    done = subprocess.run([sys.executable, "-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", "-x",
                           *(f"tests/python/{test}" for test in tests)], cwd=ROOT, capture_output=True, text=True,
                          timeout=300, check=False,
                          env=os.environ | {"ZELMOR_RUNTIME": "dotnet", "ZELMOR_COLLECT": "1",
                                            "HYPOTHESIS_PROFILE": "check"})
    assert done.returncode == 0, done.stdout[-3000:] + done.stderr[-1000:]
