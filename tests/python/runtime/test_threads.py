"""Several threads in the runtime at once: a Python file or value lets other threads run while a call waits for it."""

from __future__ import annotations

from pathlib import Path

import pytest
from support.child import run_child
from support.pictures import write_png
from support.runtimes import embedded_only

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


#: What a service with pictures does: files that stay open, results in memory, work handed to threads.
WORK_SCRIPTS = {
    "a web service": """
def answer(number):
    with open(path, "rb") as file, Image.load(file) as image:
        raster = RasterImage._cast_to(image).value
        raster.resize(number % 7 + 1, number % 5 + 1)
        result = io.BytesIO()
        raster.save(result, PngOptions())
    with Image.load(io.BytesIO(result.getvalue())) as saved:
        assert (saved.width, saved.height) == (number % 7 + 1, number % 5 + 1)
    return number

async def main():
    answers = await asyncio.gather(*(asyncio.to_thread(answer, number) for number in range(150)))
    assert answers == list(range(150))
asyncio.run(main())
""",
    "a pool of eight over one open file": """
from concurrent.futures import ThreadPoolExecutor
content = open(path, "rb").read()
def work(number):
    with Image.load(io.BytesIO(content)) as image:
        raster = RasterImage._cast_to(image).value
        raster.rotate_flip(RotateFlipType.ROTATE_180_FLIP_NONE)
        file = f"{path}-{number}.bmp"
        raster.save(file)
        with open(file, "rb") as saved, Image.load(saved) as again:
            return RasterImage._cast_to(again).value.load_argb_32_pixels(again.bounds)[0]
with ThreadPoolExecutor(8) as pool:
    assert len(set(pool.map(work, range(120)))) == 1
""",
    "one image for all threads": """
image = RasterImage._cast_to(Image.load(path)).value
before = list(image.load_argb_32_pixels(image.bounds))
class Yielding(io.BytesIO):
    def write(self, data):
        time.sleep(0.0005)
        return super().write(data)
def use():
    for step in range(25):
        image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
        assert (image.width, image.height) == (8, 6)
        target = Yielding()
        image.save(target, BmpOptions())
        with Image.load(io.BytesIO(target.getvalue())) as saved:
            assert (saved.width, saved.height) == (8, 6)
        row = list(image.load_argb_32_pixels(image.bounds))
        assert sorted(row) == sorted(before)
run([use] * 8)
assert list(image.load_argb_32_pixels(image.bounds)) == before  # turned over 200 times
""",
    "cycles in all threads": """
from support.collections import make_interop
from support.control import control
def use():
    for _ in range(2000):
        own = make_interop("arrlist")
        own.append(own)
        with Image.load(io.BytesIO(content)) as image:
            own.append(image)
content = open(path, "rb").read()
control.collect()
before = control.tracked()
run([use] * 4)
control.collect()
assert control.tracked() == before, (before, control.tracked())
""",
}


@pytest.mark.parametrize("name", [
    pytest.param(name, marks=embedded_only("the cycle collector of the embedded runtime counts what it knows"))
    if "cycles" in name else name for name in WORK_SCRIPTS])
def test_threads_work_at_the_same_time(name: str, tmp_path: Path) -> None:
    run_child(PROLOGUE + """
import time
from zelmor.imaging import RasterImage, RotateFlipType
from zelmor.imaging.imageoptions import BmpOptions, PngOptions
""" + WORK_SCRIPTS[name], str(write_png(tmp_path / "picture.png", 8, 6)))


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
