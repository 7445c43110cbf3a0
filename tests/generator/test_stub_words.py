"""The docstrings of the stubs: the documentation texts of modules, types, members, parameters and values."""

from __future__ import annotations

import ast
from collections.abc import Callable
from typing import Any

import pytest

from tools.generator.model import Model
from tools.generator.writers.stubs.package import StubWriter

from .conftest import ROOT

CATALOGUE = """
class Brush disposable
    ctor (width: int32, is_soft: bool)
    static mix Mix (first: Brush, second: Brush) -> Brush
    static mix Mix (first: Brush) -> Brush
    method wash Wash (hot: bool)
    getset width Width int32
    get used Used bool
    static_getset limit Limit int32
    mixed_static grow Grow (brush: Brush) -> Brush
    mixed grow Grow ()
enum Mode : int32
    NONE 0
    SOFT 1
"""
LONG = "Paints a line that is so long that what is said of it does not fit into one line of an editor's window. " * 2
WORDS = f"""
module: Painting with tools of every kind.
Brush: A tool for painting.
  ctor: Makes a brush from bristles.
    is_soft: True for hair, `False` for nylon.
  mix: Makes one brush of two.
    second: None for a copy of the first.
    -> The new brush.
    ! ValueError: A brush has lost its hair.
  wash: {LONG[:104].strip()}
      {LONG[104:].strip()}
  width: The width in pixels.
    ! OverflowError: The width does not fit into 32 bits.
  used: True after the first line; a path such as `C:\\temp` is none.
  limit: The most bristles that are allowed.
  grow: Adds bristles to \"\"\"this\"\"\" brush or "that"
Mode: How bristles are treated.
  SOFT: They are washed.
"""


@pytest.fixture
def stub(build: Callable[..., Model]) -> str:
    """The stub of the small catalogue, as its file."""
    model = build(CATALOGUE)
    (model.directory / f"{ROOT}.doc").write_text(WORDS)
    return "\n".join(StubWriter([model]).write(None)["pictures/__init__.pyi"])


def members(stub: str, name: str) -> dict[str, list[str | None]]:
    """The docstrings of a class's members, in their order; values and attributes have theirs behind them."""
    found: dict[str, list[str | None]] = {}
    entry = class_of(stub, name)
    for number, item in enumerate(entry.body):
        if isinstance(item, ast.FunctionDef):
            found.setdefault(item.name, []).append(ast.get_docstring(item))
        elif isinstance(item, (ast.Assign, ast.AnnAssign)):
            target: Any = item.targets[0] if isinstance(item, ast.Assign) else item.target
            behind = entry.body[number + 1] if number + 1 < len(entry.body) else None
            is_text = isinstance(behind, ast.Expr) and isinstance(behind.value, ast.Constant)
            text = ast.get_docstring(ast.Module([behind], [])) if is_text and behind is not None else None
            found.setdefault(target.id, []).append(text)
    return found


def class_of(stub: str, name: str) -> ast.ClassDef:
    """A class of a stub."""
    return next(item for item in ast.parse(stub).body if isinstance(item, ast.ClassDef) and item.name == name)


def test_modules_and_types_open_with_their_texts(stub: str) -> None:
    assert ast.get_docstring(ast.parse(stub)) == (
        "Painting with tools of every kind.\n\nManaged namespace Acme.Pictures.")
    assert ast.get_docstring(class_of(stub, "Brush")) == (
        "A tool for painting.\n\nManaged class Acme.Pictures.Brush, a context manager.")
    assert (ast.get_docstring(class_of(stub, "Mode")) or "").startswith("How bristles are treated.\n\n")


def test_each_overload_tells_of_its_own_parameters(stub: str) -> None:
    first, second = members(stub, "Brush")["mix"]
    assert first == ("Makes one brush of two.\n\nArgs:\n    second: None for a copy of the first.\n\nReturns:\n"
                     "    The new brush.\n\nRaises:\n    ValueError: A brush has lost its hair.\n\n"
                     "Managed Mix(Brush, Brush).")
    assert second is not None and "Args:" not in second and second.endswith("Managed Mix(Brush).")


def test_a_constructor_takes_the_text_of_a_property(stub: str) -> None:
    assert members(stub, "Brush")["__init__"] == [
        "Makes a brush from bristles.\n\nArgs:\n    width: The width in pixels.\n"
        "    is_soft: True for hair, `False` for nylon.\n\nManaged Brush(Int32, Boolean). width: wraps beyond 32 bits."]


def test_properties_and_values_have_their_texts_behind_them(stub: str) -> None:
    found = members(stub, "Brush")
    assert found["width"] == [
        "The width in pixels.\n\nRaises:\n    OverflowError: The width does not fit into 32 bits.\n\n"
        "Managed Width: Int32. Wraps beyond 32 bits."]
    assert found["used"] == ["True after the first line; a path such as `C:\\temp` is none.\n\n"
                             "Managed Used: Boolean, read-only."]
    assert found["limit"] == ["The most bristles that are allowed.\n\nManaged Limit: Int32, static. "
                              "Wraps beyond 32 bits."]
    assert found["set_limit"] == ["The most bristles that are allowed.\n\nSets the managed Limit."]
    assert members(stub, "Mode")["SOFT"] == ["They are washed."]
    assert members(stub, "Mode")["NONE"] == [None]


def test_an_enumeration_lists_its_values_too(stub: str) -> None:
    """For editors that show the text of the enumeration where a value is."""
    assert (ast.get_docstring(class_of(stub, "Mode")) or "").split("\n\n") == [
        "How bristles are treated.", "Values:\n    SOFT: They are washed.",
        "Managed enumeration Acme.Pictures.Mode of Int32. A parameter takes its members alone, no plain\ninteger."]


def test_long_texts_are_filled_and_quotes_kept(stub: str) -> None:
    wash = members(stub, "Brush")["wash"][0]
    assert wash is not None
    assert " ".join(wash.split()) == f"{LONG.strip()} Managed Wash(Boolean)."
    assert all(len(line) <= 120 for line in stub.splitlines())
    on_class = members(stub, "_Brush_grow_on_class")["__call__"][0]
    assert on_class == 'Adds bristles to """this""" brush or "that"\n\nManaged Grow(Brush).'


def test_without_texts_there_is_the_managed_side_alone(build: Callable[..., Model]) -> None:
    stub = "\n".join(StubWriter([build(CATALOGUE)]).write(None)["pictures/__init__.pyi"])
    assert '"""Managed namespace Acme.Pictures."""' in stub.splitlines()
    assert members(stub, "Brush")["wash"] == ["Managed Wash(Boolean)."]
    assert members(stub, "Mode")["SOFT"] == [None]
