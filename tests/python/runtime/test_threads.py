"""Several threads in the runtime at once: a Python file or value lets other threads run while a call waits for it."""

from __future__ import annotations

from pathlib import Path

import pytest
from support.child import run_child
from support.pictures import write_png

#: One thread enters, a second enters and stays, the first leaves, the second continues.
IN_TURN = """
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

"""
LOAD_SCRIPTS = {
    "in turn": IN_TURN + "run([first, second])",
    "eight threads": """
def often():
    for _ in range(30):
        load(open(path, "rb"))
run([often] * 8)
""",
    "asyncio.to_thread": IN_TURN + """
async def main():
    await asyncio.gather(asyncio.to_thread(first), asyncio.to_thread(second))
asyncio.run(main())
assert loaded == 2
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
    run_child(PROLOGUE + LOAD_SCRIPTS[name], str(write_png(tmp_path / "picture.png", 8, 6)))


DEPTH = """
import datetime
from support.collections import new_dictionary

class Waiting(datetime.tzinfo):
    def utcoffset(self, dt):
        inside.set()
        assert done.wait(20)
        return datetime.timedelta(0)

def nested(depth, innermost):
    made = [innermost]
    for _ in range(depth - 1):
        made = [made]
    return made

inside, done = threading.Event(), threading.Event()
dictionary = new_dictionary()

def first():
    dictionary.add("first", nested(60, datetime.datetime(2000, 1, 1, tzinfo=Waiting())))

def second():
    try:
        assert inside.wait(20)
        dictionary.add("second", nested(60, 1))
        try:
            dictionary.add("third", nested(101, 1))
        except RuntimeError as failure:
            assert "nested too deeply" in str(failure), failure
        else:
            raise AssertionError("it was taken")
    finally:
        done.set()

run([first, second])
assert list(dictionary.keys) == ["second", "first"]
"""


def test_the_depth_of_nested_lists_is_thread_local() -> None:
    run_child(PROLOGUE + DEPTH, "")
