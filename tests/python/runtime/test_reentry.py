"""Re-entrancy: Python code that runs in the middle of a managed call and removes the objects that the call uses."""

from __future__ import annotations

import pytest
from support.child import run_child
from support.collections import make_interop
from support.meddling_values import moment
from support.runtimes import embedded_only

# An element of a Python list is kept alive while it is converted


@pytest.mark.parametrize("others", [(), (1, 2)])
def test_an_element_that_empties_its_list_is_not_read(others: tuple[int, ...]) -> None:
    run_child(f"""
from support.collections import new_dictionary
from support.meddling_values import LOST, emptying
items = emptying([], *{others!r})
dictionary = new_dictionary()
try:
    dictionary.add("key", items)
except RuntimeError as failure:
    text = str(failure)
    assert text.startswith("Proxy error(PythonException): Reading element 0 failed in Python: "), text
    assert text.endswith("RuntimeError: " + LOST), text
else:
    raise AssertionError("it was read")
assert items == [] and list(dictionary.keys) == []
""")


def test_an_element_that_moves_in_its_list_is_read() -> None:
    run_child("""
from support.collections import new_dictionary
from support.meddling_values import Text
items = []
text = Text("text")
text.act = lambda: items.insert(0, 1) if len(items) == 1 else None
items.append(text)
dictionary = new_dictionary()
dictionary.add("key", items)
assert list(list(dictionary.values)[0]) == ["text"]
""")


@pytest.mark.parametrize("script", [
    # The list holds the only reference to the element.
    """
class Element(str):
    @property
    def __class__(self):
        items.clear()
        gc.collect()
        return str
items = [Element("x" * 100)]
try:
    dictionary.add("key", items)
except RuntimeError as failure:
    assert "lost the element" in str(failure), failure
else:
    raise AssertionError("it was read")
""",
    # A list in a list, of values of any kind and of numbers.
    """
class Zone(datetime.tzinfo):
    def utcoffset(self, dt):
        outer.clear()
        gc.collect()
        return datetime.timedelta(0)
outer = [[datetime.datetime(2000, 1, 1, tzinfo=Zone()), 1, 2, 3]]
dictionary.add("key", outer)
assert len(list(dictionary.values)[0][0]) == 4
""", """
from zelmor.imaging import ColorMatrix
class Row:
    def __len__(self):
        return 5
    def __getitem__(self, index):
        outer.clear()
        gc.collect()
        return float(index)
outer = [Row(), *([0.0] * 5 for _ in range(4))]
try:
    ColorMatrix(outer)
except RuntimeError as failure:
    assert "IndexError" in str(failure), failure
else:
    raise AssertionError("it was read")
"""], ids=["an element", "a list in a list", "a row"])
def test_what_is_taken_out_is_not_used(script: str) -> None:
    run_child("import datetime, gc\nfrom support.collections import new_dictionary\n"
              "dictionary = new_dictionary()\n" + script)


# Collections that change during an operation


@pytest.mark.parametrize("change", ["store", "insert", "index"])
def test_a_list_that_shrinks_while_the_value_is_read(change: str) -> None:
    run_child(f"""
from support.collections import make_interop
from support.meddling_values import moment
items = make_interop("arrlist", range(1000))
value = moment(items.clear)
if {change!r} == "store":
    try:
        items[999] = value
    except IndexError:
        pass
    else:
        raise AssertionError("it was stored")
elif {change!r} == "insert":
    items.insert(999, value)
    assert len(items) == 1
else:
    try:
        items.index(value, 500)
    except ValueError:
        pass
    else:
        raise AssertionError("it was found")
""")


@pytest.mark.parametrize("change", [
    "whole.clear()", "whole.remove(0)", "values[0] = 1", "del values[0]", "del values[:50]", "values.clear()",
    "values.pop(0)", "values.remove(values[0])", "values *= 0"])
def test_what_goes_may_come_back_to_its_holder(change: str) -> None:
    """Dropping an element destroys a Python object, whose finalizer changes the same collection."""
    run_child(f"""
import gc
from support.collections import make_interop, new_dictionary
from support.control import control
from zelmor.imaging import NonGenericList

class Last:
    def __del__(self):
        ended.append(1)
        for i in range(100, 200):
            if not any(key == i for key in whole.keys):
                whole.add(i, i)
        values.extend(range(100))

ended = []
whole = new_dictionary()
values = make_interop("arrlist")
whole.add(0, NonGenericList([Last()]))
values.append(NonGenericList([Last()]))
for i in range(1, 100):
    whole.add(i, i)
    values.append(i)
{change}
gc.collect()
control.settle()
assert ended == [1], ended
whole.clear()
values.clear()
control.settle()
assert len(ended) == 2, ended
""")


@embedded_only("a package of .NET gets a copy of the list at once")
def test_a_package_that_changes_while_it_is_written() -> None:
    run_child("""
from support.meddling_values import moment
from zelmor.imaging import NonGenericList
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage
package = DublinCorePackage()
package.set_prop_value("dc:a", NonGenericList([moment(package.clear)]))
for name in "bcdefghij":
    package.set_prop_value("dc:" + name, "x" * 100)
assert package.get_xml_value().count("x" * 100) == 9
assert "x" not in package.get_xml_value().replace("xml", "").replace("xmp", "").split(">", 1)[1]
""")


def test_an_image_that_its_target_file_disposes_of() -> None:
    run_child("""
import io
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import BmpOptions
from zelmor.imaging.sources import StreamSource

class File(io.BytesIO):
    def write(self, data):
        if images:
            images.pop().__exit__(None, None, None)
        return super().write(data)

images = []
file = File()
options = BmpOptions()
options.source = StreamSource(file)
image = Image.create(options, 20, 10)
images.append(image)
image.save()
assert file.getvalue()[:2] == b"BM", file.getvalue()
""")


def test_an_iterator_that_is_moved_on_by_the_element_that_goes() -> None:
    """The previous element is released when the next one is there; its finalizer may run any code."""
    run_child("""
import datetime
from zelmor.imaging import NonGenericList
from support.meddling_values import moment

class Going(datetime.datetime):
    def __del__(self):
        if walk:
            next(walk[0], None)

def items():
    for i in range(6):
        yield Going(2000, 1, 1 + i)

class Items(list):
    def __iter__(self):
        return items()

walk = []
walk.append(iter(NonGenericList(Items([1]))))
seen = [value.day for value in walk[0]]
assert seen[0] == 1, seen
walk.clear()
""")


def test_the_elements_of_a_changed_list_are_those_that_were_there() -> None:
    items = make_interop("arrlist", [1, 2, 3])
    items[1] = moment(lambda: items.append(4))
    assert [items[0], items[2], items[3]] == [1, 3, 4]
