"""The module on the real .NET runtime: start, binding of every type, values, errors, files, collections, lifetimes."""

from __future__ import annotations

import pytest

from support.dotnet import needs_dotnet, run_on_dotnet

pytestmark = needs_dotnet


def test_the_runtime_starts_and_a_value_answers() -> None:
    run_on_dotnet("""
from zelmor.imaging import Color, Point, PointF, Rectangle, Size
point = Point(3, 4)
point.offset(1, -1)
assert (point.x, point.y, str(point)) == (4, 3, "{X=4,Y=3}")
assert point == Point(4, 3) and hash(point) == hash(Point(4, 3)) and point != Point(3, 4)
assert Point.round(PointF(2.5, 3.5)) == Point(2, 4)
assert Rectangle.intersect(Rectangle(0, 0, 4, 4), Rectangle(2, 2, 4, 4)) == Rectangle(2, 2, 2, 2)
assert Color.from_name("tomato").to_argb() & 0xFFFFFFFF == 0xFFFF6347 and Color.red != Color.from_argb(255, 255, 0, 0)
""")


def test_the_library_is_that_of_dotnet() -> None:
    run_on_dotnet("""
import zelmor.imaging
names = {line.rsplit("/", 1)[-1] for line in map(str.strip, open("/proc/self/maps")) if "/" in line}
assert "System.Private.CoreLib.dll" in names and "WrpInterop.Zelmor.Imaging.dll" in names, sorted(names)
""")


def test_every_type_finds_all_its_entry_points() -> None:
    run_on_dotnet("""
import importlib
from tools.generator.builder import load
from support.places import CATALOGUE, ROOT
checked = 0
for catalogue in (CATALOGUE, *(ROOT / "siblings" / "catalogue").iterdir()):
    for entry in load(catalogue).types:
        found = getattr(importlib.import_module(entry.module), entry.name)
        found._type_of()
        checked += 1
assert checked > 1146, checked
""")


@pytest.mark.parametrize(("program", "error"), [
    ("StringFormat().digit_substitution_language = 5",
     "Proxy error(NotSupportedException): The value 5 of StringFormat.DigitSubstitutionLanguage is not supported "),
    ("Color.from_argb(0, 0, 300)", "Proxy error(ArgumentException): Value of '300' is not valid for 'blue'."),
    ("StreamSource(None).get_stream_container()",
     "Proxy error(InvalidOperationException): The source has no stream."),
    ("StreamContainer(Raises()).read_byte()",
     "Proxy error(PythonException): readinto() of the stream failed in Python"),
])
def test_what_is_thrown_becomes_a_python_error(program: str, error: str) -> None:
    run_on_dotnet(f"""
import io
from zelmor.imaging import Color, StreamContainer, StringFormat
from zelmor.imaging.sources import StreamSource

class Raises(io.RawIOBase):
    def readable(self):
        return True

    def readinto(self, buffer):
        raise KeyError("mine")

try:
    {program}
except RuntimeError as raised:
    assert str(raised).startswith({error!r}), raised
    assert "mine" in str(raised) or "PythonException" not in str(raised)
else:
    raise AssertionError("nothing was raised")
""")


def test_a_python_file_and_a_managed_stream_carry_bytes_both_ways() -> None:
    run_on_dotnet("""
import io
from zelmor.imaging import StreamContainer
from zelmor.imaging.sources import StreamSource
content = bytes(range(256)) * 5000
file = io.BytesIO(content)
target = io.BytesIO()
StreamContainer(file).save(target)
assert target.getvalue() == content and file.tell() == 0
stream = StreamSource().stream
assert stream.write(content) == len(content) and stream.seek(0) == 0
assert stream.read() == content and stream.seek(-3, 2) == len(content) - 3 and stream.read() == content[-3:]
assert StreamContainer(file).stream is file
""")


def test_any_value_comes_back_as_it_went_in() -> None:
    run_on_dotnet("""
import datetime, decimal, uuid
from support.anything import holder
zone = datetime.timezone(datetime.timedelta(hours=-3, minutes=-30))
for value in (None, True, 0, -2**31, 2**31, 2**63, 1.5, "", "a\\u20ac\\U0001f600\\x00", decimal.Decimal("-1.20"),
              datetime.datetime(2023, 6, 1, 12, 30, 15, 123456), datetime.datetime(2023, 6, 1, tzinfo=zone),
              datetime.timedelta(-1, 5, 7), uuid.UUID(int=2**127 + 5)):
    tag = holder()
    tag.value = value
    assert tag.value == value and type(tag.value) is type(value), (value, tag.value)
tag.value = b"bytes"
assert tag.value == bytearray(b"bytes")
tag.value = [1, "two", [3.0]]
shown = tag.value
assert (len(shown), shown[0], shown[1], list(shown[2])) == (3, 1, "two", [3.0])
shown[0] = 7
shown.append(b"x")
assert list(tag.value)[0] == 7 and len(tag.value) == 4
""")


def test_handles_balance_and_collections_change_nothing() -> None:
    run_on_dotnet("""
import gc, io, weakref
from zelmor.imaging import Point, StreamContainer
from support.control import control

class File(io.BytesIO):
    pass

before = control.live()
points = [Point(i, i) for i in range(5000)]
control.collect()
assert [point.x for point in points] == list(range(5000)) and control.live() == before + 5000
file = File(b"abc")
seen = weakref.ref(file)
container = StreamContainer(file)
del file
control.collect()
assert container.read_byte() == 97 and seen() is not None
del container, points
gc.collect()
control.collect()
assert control.live() == before and seen() is None
""")


def test_a_handle_that_was_given_back_is_refused() -> None:
    run_on_dotnet("""
import ctypes
from zelmor.imaging import Point
point = Point(1, 2)
word = ctypes.c_void_p.from_address(id(point) + 16)
kept = word.value
other = Point.__new__(Point)
del point
ctypes.c_void_p.from_address(id(other) + 16).value = kept
try:
    other.x
except RuntimeError as raised:
    assert str(raised).startswith("Proxy error(InvalidOperationException): The handle 0x"), raised
else:
    raise AssertionError("nothing was raised")
ctypes.c_void_p.from_address(id(other) + 16).value = None
""")
