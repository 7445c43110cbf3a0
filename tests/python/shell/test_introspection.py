"""Introspection of the library's types: `help`, signatures, docstrings, `repr`, failing assertions.

Each in a process of its own, since a faulty `repr` could end the process.
"""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pytest

from support.package_process import child

WALK = """
import inspect, pprint, pydoc
import zelmor.imaging

def modules(root=zelmor.imaging):
    found = [root]
    for value in vars(root).values():
        if inspect.ismodule(value) and value.__name__.startswith(root.__name__ + "."):
            found += modules(value)
    return found

def classes():
    found = {}
    for module in modules():
        for value in vars(module).values():
            if isinstance(value, type):
                found[id(value)] = value
    return found.values()
"""


def test_static_and_unbound_methods_tell_themselves() -> None:
    assert child(WALK + """
from zelmor.imaging import FileFormat, Image, Rectangle
result = [repr(Rectangle.inflate), repr(FileFormat._type_of), repr(FileFormat.get_type),
          repr(FileFormat.BMP._type_of), pprint.pformat([Rectangle.intersect]), str(Rectangle.inflate)]
""") == [
        "<extension method inflate of zelmor.imaging.Rectangle>",
        "<extension method _type_of of FileFormat>",
        "<extension method get_type of FileFormat>",
        "<extension method _type_of of FileFormat>",
        "[<extension method intersect of zelmor.imaging.Rectangle>]",
        "<extension method inflate of zelmor.imaging.Rectangle>",
    ]


def test_help_on_a_module_and_on_what_is_in_it() -> None:
    texts = child(WALK + """
from zelmor.imaging import FileFormat, Image, Rectangle
result = [pydoc.plain(pydoc.render_doc(thing))
          for thing in (zelmor.imaging, Rectangle, FileFormat, Image.load, Rectangle.inflate)]
""")
    assert texts[0].startswith("Python Library Documentation: package zelmor.imaging in zelmor")
    assert "class Rectangle(builtins.object)" in texts[0]
    assert "inflate = <extension method inflate of zelmor.imaging.Rectangle>" in texts[1]
    assert "class FileFormat(enum.IntFlag)" in texts[2]
    assert "load(...)" in texts[3] and "_MethodObjectType object" in texts[4]


@pytest.mark.parametrize("part", range(4))
def test_help_on_every_class(part: int) -> None:
    counts = child(WALK + f"""
lengths = [len(pydoc.render_doc(kind)) for kind in list(classes())[{part}::4]]
result = [len(lengths), min(lengths) > 0]
""")
    assert counts[0] > 250 and counts[1] is True


def test_what_a_shell_asks_of_every_member() -> None:
    """A signature, a docstring, a `repr`, a source file: each works, or fails with the interpreter's usual error."""
    asked, refusals = child(WALK + """
asked, refusals = 0, set()
for kind in classes():
    for name in dir(kind):
        value = getattr(kind, name)
        repr(value), inspect.getdoc(value), inspect.isroutine(value), callable(value)
        for ask in (inspect.signature, inspect.getfile):
            asked += 1
            try:
                ask(value)
            except (TypeError, ValueError) as refused:
                refusals.add(type(refused).__name__)
result = [asked, sorted(refusals)]
""")
    assert asked > 10000
    assert refusals == ["TypeError", "ValueError"]


def test_a_failing_assertion_over_a_method_is_told(tmp_path: Path) -> None:
    test = tmp_path / "test_of_a_user.py"
    test.write_text("from zelmor.imaging import FileFormat, Rectangle\n\n\n"
                    "def test_one():\n    assert Rectangle.inflate is None\n\n\n"
                    "def test_two():\n    assert FileFormat.get_type == Rectangle.intersect\n")
    environment = {**os.environ, "PYTHONPATH": str(Path(os.environ["ZELMOR_BUILD_DIR"]) / "python")}
    done = subprocess.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", str(test)], cwd=tmp_path,
                          env=environment, capture_output=True, text=True, timeout=60, check=False)
    assert done.returncode == 1, done.stderr
    assert "assert <extension method inflate of zelmor.imaging.Rectangle> is None" in done.stdout
    assert "2 failed" in done.stdout
