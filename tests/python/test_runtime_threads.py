"""Several threads in the runtime at once: a Python file or a Python value lets others in while a call waits for it."""

from __future__ import annotations

import datetime
import threading
from pathlib import Path
from typing import Any

import pytest
from support.child import run_child

from zelmor.imaging import NonGenericDictionary

LOAD_SCRIPTS = {
    # One enters, another enters and stays, the first leaves, the other goes on.
    "in turn": """
class Slow(io.FileIO):
    def __init__(self, path, before):
        super().__init__(path)
        self.before = before
    def readinto(self, buffer):
        self.before()
        return super().readinto(buffer)
    def read(self, size=-1):
        self.before()
        return super().read(size)

inside, entered, left = threading.Event(), threading.Event(), threading.Event()

def first():
    def before():
        inside.set()
        assert entered.wait(20)
    load(Slow(path, before))
    left.set()

def second():
    assert inside.wait(20)
    def before():
        entered.set()
        assert left.wait(20)
    load(Slow(path, before))

run([first, second])
""",
    "eight threads": """
def often():
    for _ in range(30):
        load(open(path, "rb"))
run([often] * 8)
""",
    "asyncio.to_thread": """
async def main():
    await asyncio.gather(*(asyncio.to_thread(lambda: load(open(path, "rb"))) for _ in range(200)))
asyncio.run(main())
assert loaded == 200
""",
}
PROLOGUE = """
import asyncio, io, sys, threading
from zelmor.imaging import Image
sys.setswitchinterval(1e-5)
path = sys.argv[1]
loaded = 0
failures = []

def load(file):
    global loaded
    with file, Image.load(file) as image:
        assert (image.width, image.height) == (8, 6), image
    loaded += 1

def run(bodies):
    def guarded(body):
        try:
            body()
        except BaseException as failure:
            failures.append(failure)
    threads = [threading.Thread(target=guarded, args=[body]) for body in bodies]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures, failures
"""


@pytest.mark.parametrize("name", LOAD_SCRIPTS)
def test_threads_load_pictures_from_files_of_their_own(name: str, tmp_path: Path) -> None:
    from support.pictures import write_png
    run_child(PROLOGUE + LOAD_SCRIPTS[name], str(write_png(tmp_path / "picture.png", 8, 6)))


class Waiting(datetime.tzinfo):
    """A zone that waits for something when it is asked for its offset."""

    def __init__(self, before: Any) -> None:
        self.before = before

    def utcoffset(self, dt: datetime.datetime | None) -> datetime.timedelta:
        self.before()
        return datetime.timedelta(0)


def nested(depth: int, innermost: Any) -> list[Any]:
    """A list in a list in a list."""
    made = [innermost]
    for _ in range(depth - 1):
        made = [made]
    return made


def test_each_thread_counts_the_depth_of_its_own_lists() -> None:
    inside, done = threading.Event(), threading.Event()
    dictionary, failures = NonGenericDictionary(), []

    def first() -> None:
        def before() -> None:
            inside.set()
            assert done.wait(20)
        try:
            value = datetime.datetime(2000, 1, 1, tzinfo=Waiting(before))
            dictionary.add("first", nested(60, value))
        except BaseException as failure:  # noqa: B902 (told by the other thread)
            failures.append(failure)

    thread = threading.Thread(target=first)
    thread.start()
    try:
        assert inside.wait(20)
        dictionary.add("second", nested(60, 1))
        with pytest.raises(RuntimeError, match="nested too deeply"):
            dictionary.add("third", nested(101, 1))
    finally:
        done.set()
        thread.join()
    assert not failures
    assert list(dictionary.keys) == ["second", "first"]
