"""Managed exceptions in Python, wherever they are raised."""

from __future__ import annotations

import gc
import sys

import pytest
import zelmor.imaging
from support.control import Control
from zelmor.imaging import Cache, Image, Point, ResolutionSetting, Size
from zelmor.imaging.imageloadoptions import OdLoadOptions
from zelmor.imaging.imageoptions import DxfOptions

DXF = "Zelmor.Imaging.ImageOptions.DxfOptions"
IMAGE = "Zelmor.Imaging.Image"


def test_a_static_method_raises(control: Control) -> None:
    control.raise_next(IMAGE, "call_000_CanLoad", "ImageLoadException", "the header is damaged")
    with pytest.raises(RuntimeError) as raised:
        Image.can_load("a.png")
    assert raised.type is RuntimeError
    assert raised.value.args == ("Proxy error(ImageLoadException): the header is damaged",)
    assert raised.value.__cause__ is None


def test_text_beyond_latin_comes_through(control: Control) -> None:
    control.raise_next(IMAGE, "call_000_CanLoad", "Ausnahme\u00e4", "Datei \u20ac \U0001f600 fehlt")
    with pytest.raises(RuntimeError) as raised:
        Image.can_load("a.png")
    assert str(raised.value) == "Proxy error(Ausnahme\u00e4): Datei \u20ac \U0001f600 fehlt"


def test_per_cent_signs_are_text(control: Control) -> None:
    control.raise_next(IMAGE, "call_000_CanLoad", "X%U", "100%s %n")
    with pytest.raises(RuntimeError) as raised:
        Image.can_load("a.png")
    assert str(raised.value) == "Proxy error(X%U): 100%s %n"


@pytest.mark.parametrize(("name", "detail", "text"), [
    (None, None, "Proxy error(<unknown>): <unknown>"),
    ("X", None, "Proxy error(X): <unknown>"),
    (None, "text", "Proxy error(<unknown>): text"),
    ("", "", "Proxy error(): "),
])
def test_a_part_that_is_missing_is_unknown(control: Control, name: str | None, detail: str | None, text: str) -> None:
    control.raise_next(IMAGE, "call_000_CanLoad", name, detail)
    with pytest.raises(RuntimeError) as raised:
        Image.can_load("a.png")
    assert str(raised.value) == text


def test_a_constructor_raises(control: Control) -> None:
    control.raise_next(DXF, "ctor_000_DxfOptions", "ArgumentException", "no options")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(ArgumentException\): no options$"):
        DxfOptions()


def test_a_getter_raises_whatever_it_returns(control: Control) -> None:
    options = DxfOptions()
    control.raise_next(DXF, "get_TextAsLines", "X", "no value", result=1)
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no value$"):
        options.text_as_lines
    assert options.text_as_lines is False


def test_a_setter_raises_and_the_property_keeps_its_value(control: Control) -> None:
    options = DxfOptions()
    options.text_as_lines = True
    control.raise_next(DXF, "set_TextAsLines", "X", "read-only")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): read-only$"):
        options.text_as_lines = False
    assert options.text_as_lines is True


def test_a_result_without_an_exception_is_a_result_whatever_its_value(control: Control) -> None:
    options = DxfOptions()
    control.return_next(DXF, "get_TextAsLines", 0)
    assert options.text_as_lines is False
    control.return_next(DXF, "get_TextAsLines", 1)
    assert options.text_as_lines is True


def test_static_properties_raise(control: Control) -> None:
    control.raise_next("Zelmor.Imaging.Cache", "getsa_CacheFolder", "X", "no folder")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no folder$"):
        Cache.cache_folder
    control.raise_next("Zelmor.Imaging.Cache", "setsa_CacheFolder", "X", "no such folder")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no such folder$"):
        Cache.set_cache_folder("/")


def test_hash_comparison_and_text_raise(control: Control) -> None:
    options = DxfOptions()
    services = "Zelmor.WrpGen.Interop.ObjectHost"
    control.raise_next(services, "GetHashOfObj", "X", "no hash")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no hash$"):
        hash(options)
    control.raise_next(services, "IsEqualsOfObj", "X", "no equality")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no equality$"):
        options == DxfOptions()
    control.raise_next(services, "ToStringOfObj", "X", "no text")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no text$"):
        str(options)


def test_a_cast_that_raises(control: Control) -> None:
    control.raise_next(DXF, "btp_CastTo", "InvalidCastException", "not today", result=-1)
    with pytest.raises(RuntimeError, match=r"^Proxy error\(InvalidCastException\): not today$"):
        DxfOptions._cast_to(DxfOptions())


def test_a_struct_method_raises(control: Control) -> None:
    control.raise_next("Zelmor.Imaging.Point", "call_000_Offset", "X", "no offset")
    control.raise_next("Zelmor.Imaging.Point", "call_001_Offset", "X", "no offset")
    point = Point(1, 2)
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no offset$"):
        point.offset(1, 1)
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): no offset$"):
        point.offset(Point(1, 1))


def test_an_exception_is_not_left_behind_for_the_next_call(control: Control) -> None:
    for _ in range(3):
        control.raise_next(DXF, "ctor_000_DxfOptions", "X", "once")
        with pytest.raises(RuntimeError):
            DxfOptions()
        assert isinstance(DxfOptions(), DxfOptions)


def test_the_handled_exception_becomes_the_context(control: Control) -> None:
    control.raise_next(DXF, "ctor_000_DxfOptions", "X", "later")
    with pytest.raises(RuntimeError) as raised:
        try:
            raise KeyError("earlier")
        except KeyError:
            DxfOptions()
    assert isinstance(raised.value.__context__, KeyError)


def test_a_raised_exception_is_released(control: Control) -> None:
    def fail() -> None:
        control.raise_next(DXF, "ctor_000_DxfOptions", "X", "released")
        try:
            DxfOptions()
        except RuntimeError:
            pass

    fail()
    gc.collect()
    before = sys.getallocatedblocks()
    for _ in range(200):
        fail()
    gc.collect()
    # A leak of the exception, its text or the two parts of it would leave hundreds of objects.
    assert sys.getallocatedblocks() - before < 100


def test_the_real_runtime_names_its_exceptions() -> None:
    with pytest.raises(RuntimeError, match=r"^Proxy error\(FileNotFoundException\): "):
        Image.load("no such file.png")


def test_nothing_else_is_a_runtime_error() -> None:
    with pytest.raises(TypeError):
        Size("x", "y")
    with pytest.raises(TypeError):
        OdLoadOptions().password = object()
    with pytest.raises(TypeError):
        ResolutionSetting("1", 2.0)
    assert zelmor.imaging.VERSION.major == 23
