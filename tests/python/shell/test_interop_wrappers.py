"""The wrappers of managed collections, disposables and streams: their modules, base classes and casts."""

from __future__ import annotations

from typing import Any

import pytest
import zelmor.imaging
from support.control import Control, control
from zelmor.imaging import Image, Point, Size
from zelmor.imaging.imageoptions import DxfOptions

INTEROP = zelmor.imaging._wrpgen._interop
OBJECT_HOST = "Zelmor.WrpGen.Interop.ObjectHost"

#: The wrapper, its managed type, and the interfaces that it is marked with.
KINDS = {
    "_IDisposableWrapper": ("System.IDisposable", set()),
    "_IterWrapper": ("System.Collections.IEnumerator", set()),
    "_IterableWrapper": ("System.Collections.IEnumerable", set()),
    "_IColWrapper": ("System.Collections.ICollection", {"_IterableWrapper"}),
    "_IListWrapper": ("System.Collections.IList", {"_IterableWrapper", "_IColWrapper"}),
    "_RoColBaseWrapper": ("System.Collections.ReadOnlyCollectionBase", {"_IterableWrapper", "_IColWrapper"}),
    "_ColBaseWrapper": ("System.Collections.CollectionBase", {"_IterableWrapper", "_IColWrapper", "_IListWrapper"}),
    "_ArrayWrapper": ("System.Array", {"_IterableWrapper", "_IColWrapper", "_IListWrapper"}),
    "_ArrListWrapper": ("System.Collections.ArrayList", {"_IterableWrapper", "_IColWrapper", "_IListWrapper"}),
    "_StreamWrapper": ("System.IO.Stream", {"_IDisposableWrapper"}),
}
INTERFACES = ["_IDisposableWrapper", "_IterWrapper", "_IterableWrapper", "_IColWrapper", "_IListWrapper"]


def kind(name: str) -> Any:
    return getattr(INTEROP, name)


def test_the_internal_modules_are_attributes() -> None:
    assert INTEROP.__name__ == "zelmor.imaging._wrpgen._interop"
    assert zelmor.imaging._wrpgen._generic.__name__ == "zelmor.imaging._wrpgen._generic"
    assert [name for name in vars(INTEROP) if name.startswith("_") and not name.startswith("__")] == [
        *(name for name in KINDS if name != "_StreamWrapper"), "_ShlBufferView", "_StreamWrapper"]


@pytest.mark.parametrize("name", KINDS)
def test_a_kind_stands_for_its_managed_type(name: str) -> None:
    assert str(kind(name)._type_of()) == KINDS[name][0]
    assert kind(name).__module__ == "zelmor.imaging._wrpgen._interop"
    assert kind(name).__bases__ == (object,)


@pytest.mark.parametrize("name", KINDS)
def test_a_kind_is_marked_with_its_interfaces(name: str) -> None:
    interfaces = {kind(interface) for interface in KINDS[name][1]}
    assert vars(kind(name)).get("_additional_interfaces", set()) == interfaces
    assert vars(kind(name)).get("_implicit_interfaces", set()) == interfaces
    assert kind(name)._zelmor_clr_host is None
    assert kind(name)._zelmor_clr_castable_obj is None


@pytest.mark.parametrize("name", KINDS)
def test_python_cannot_make_one(name: str) -> None:
    with pytest.raises(TypeError, match="^type has no available constructor$"):
        kind(name)()


def test_python_cannot_make_a_buffer_view() -> None:
    with pytest.raises(TypeError, match="^cannot create 'zelmor.imaging._wrpgen._interop._ShlBufferView' instances$"):
        INTEROP._ShlBufferView()


@pytest.mark.parametrize("name", KINDS)
def test_a_cast_of_something_else_has_no_value_and_asks_nobody(control: Control, name: str) -> None:
    kind(name)._type_of()
    with control.journal() as calls:
        for cast in (kind(name)._cast_to, kind(name)._cast_as):
            result = cast(5)
            assert (result.status, result.value) == (0, None)
        assert kind(name)._is_assignable(5) is False
        assert kind(name)._is_assignable(None) is False
    assert [entry.method for entry in calls if entry.type.startswith("Zelmor.WrpGen.Interop.SiApi")] == []


def test_an_image_is_disposable(picture: str) -> None:
    with Image.load(picture) as image:
        disposable = INTEROP._IDisposableWrapper
        assert disposable._is_assignable(image) is True
        result = disposable._cast_to(image)
        assert type(result.value) is disposable
        assert result.value == image


def test_a_struct_is_not_disposable() -> None:
    assert INTEROP._IDisposableWrapper._is_assignable(Size(1, 2)) is False
    assert INTEROP._IDisposableWrapper._cast_as(Size(1, 2)).status == 0


@pytest.mark.parametrize("name", INTERFACES)
def test_an_interface_cannot_be_reinterpreted_as(name: str) -> None:
    with pytest.raises(TypeError) as refused:
        kind(name)._reinterpret_obj(Point(1, 2))
    assert str(refused.value) == (f"cannot convert from  'zelmor.imaging.Point' to "
                                  f"'zelmor.imaging._wrpgen._interop.{name}'")


@pytest.mark.parametrize("name", sorted(set(KINDS) - set(INTERFACES)))
def test_a_class_kind_reinterprets_objects_only(name: str) -> None:
    with pytest.raises(TypeError, match="^_reinterpret_obj\\(\\) expects a .Net Object argument, got a int object$"):
        kind(name)._reinterpret_obj(5)


def test_leaving_a_with_block_disposes_and_lets_the_exception_through(picture: str) -> None:
    image = Image.load(picture)
    with control.journal() as calls, pytest.raises(KeyError, match="mine"):
        with image:
            raise KeyError("mine")
    assert [entry.method for entry in calls if entry.type == OBJECT_HOST] == ["Dispose"]
    assert image.disposed is True


def test_entering_a_with_block_does_nothing(picture: str) -> None:
    image = Image.load(picture)
    with control.journal() as calls:
        assert image.__enter__() is image
    assert calls == []
    image.__exit__(None, None, None)


def test_a_disposal_that_fails_takes_the_place_of_the_bodys_exception(picture: str) -> None:
    control.raise_next(OBJECT_HOST, "Dispose", "IOException", "cannot close")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(IOException\): cannot close$") as raised:
        with Image.load(picture):
            raise KeyError("mine")
    assert isinstance(raised.value.__context__, KeyError)


def test_a_wrapper_of_a_kind_shows_the_managed_text_and_type(control: Control) -> None:
    name = "Zelmor.Imaging.ImageOptions.DxfOptions"
    shown = control.callback("olist", "write_clr_ilist")(control.new_object(name))
    assert type(shown) is INTEROP._IListWrapper
    assert str(shown.get_type()) == name
    assert str(shown) == str(DxfOptions())
