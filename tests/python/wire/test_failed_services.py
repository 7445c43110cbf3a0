"""Failed services of the managed side: the error indicator is checked directly after the call, whatever its status.

An error that stays pending would surface in an unrelated statement or end the process; therefore the tests fork.
"""

from __future__ import annotations

import itertools
import struct
from collections.abc import Callable
from typing import Any

import pytest
from support.collections import INTEROP, make_interop, make_typed, new_object, typed
from support.control import Control
from support.forked import outcome_of
from zelmor.imaging import FileFormat, IColorPalette, Point, Size
from zelmor.imaging.imageoptions import BmpOptions, PngOptions

INT32 = "A4A29720"
EXCHANGE_HOST = "Zelmor.WrpGen.Interop.ExchangeHost"
DICTIONARY = "Zelmor.Imaging.NonGenericDictionary"
OBJECT_HOST = "Zelmor.WrpGen.Interop.ObjectHost"
FAILED = "RuntimeError: Proxy error(X): failed"
#: The values that a service can return together with its error.
STATUSES = [-1, 0, 1, 5]
#: Run-time type ids that no managed type and no other test uses.
NEW_IDS = itertools.count(1 << 41)

#: Every family of casts: a type, the class of its services, an object to cast to it.
FAMILIES: dict[str, tuple[Any, str, Callable[[], Any]]] = {
    "class": (PngOptions, "Zelmor.Imaging.ImageOptions.PngOptions", PngOptions),
    "struct": (Size, "Zelmor.Imaging.Size", Size),
    "interface": (IColorPalette, "Zelmor.Imaging.IColorPalette", PngOptions),
    "enumeration": (FileFormat, "Zelmor.Imaging.FileFormat", PngOptions),
    "interop class": (INTEROP._ArrayWrapper, "Zelmor.WrpGen.Interop.SiApiArray", lambda: make_interop("array", [1])),
    "interop interface": (INTEROP._IListWrapper, "Zelmor.WrpGen.Interop.SiApiCntList",
                          lambda: make_interop("ilist", [1])),
    "stream": (INTEROP._StreamWrapper, "Zelmor.WrpGen.Interop.SiApiStream", lambda: make_interop("ilist")),
    "typed class": (typed(INT32, "array"), f"Zelmor.WrpGen.Generic.SiApiArray_{INT32}",
                    lambda: make_typed(INT32, "array", [1])),
    "typed interface": (typed(INT32, "iterator"), f"Zelmor.WrpGen.Generic.SiApiEnumerator_{INT32}",
                        lambda: make_typed(INT32, "array", [1])),
}
REINTERPRETED = ["class", "struct", "enumeration", "interop class", "stream", "typed class"]


def failure(control: Control, services: str, service: str, status: int, call: Callable[[], Any]) -> str:
    """The outcome of a call whose service raises an error and returns this status."""

    def step() -> Any:
        control.raise_next(services, service, "X", "failed", status)
        return call()

    return outcome_of(step)


@pytest.mark.parametrize("status", STATUSES)
@pytest.mark.parametrize("operation", ["CastTo", "CastAs", "IsAssignable"])
@pytest.mark.parametrize("family", FAMILIES)
def test_a_failed_cast_raises_whatever_it_answers(control: Control, family: str, operation: str, status: int) -> None:
    type_, services, make = FAMILIES[family]
    cast = getattr(type_, {"CastTo": "_cast_to", "CastAs": "_cast_as", "IsAssignable": "_is_assignable"}[operation])
    value = make()
    assert failure(control, services, f"btp_{operation}", status, lambda: cast(value)) == FAILED


@pytest.mark.parametrize("status", STATUSES)
@pytest.mark.parametrize("family", FAMILIES)
def test_a_failed_question_for_a_type_raises(control: Control, family: str, status: int) -> None:
    type_, services, _ = FAMILIES[family]
    assert failure(control, services, "btp_TypeOf", status, lambda: type_._type_of()) == FAILED


@pytest.mark.parametrize("status", STATUSES)
@pytest.mark.parametrize("family", REINTERPRETED)
def test_a_failed_reinterpretation_raises(control: Control, family: str, status: int) -> None:
    type_, services, _ = FAMILIES[family]
    value = Size()._cast_from(Point._type_of()).value  # a System.Object
    assert failure(control, services, "btp_ReInterpretObj", status, lambda: type_._reinterpret_obj(value)) == FAILED


@pytest.mark.parametrize("status", STATUSES)
def test_a_failed_conversion_of_a_value_itself_raises(control: Control, status: int) -> None:
    size, target = Size(), Point._type_of()
    assert failure(control, "Zelmor.Imaging.Size", "btp_CastFrom", status, lambda: size._cast_from(target)) == FAILED


@pytest.mark.parametrize("status", STATUSES)
@pytest.mark.parametrize(("service", "value"), [("GetObjType", PngOptions), ("GetStcType", Size)])
def test_a_failed_question_for_the_type_of_an_instance_raises(control: Control, service: str, value: Any,
                                                              status: int) -> None:
    asked = value()
    assert failure(control, OBJECT_HOST, service, status, asked.get_type) == FAILED


@pytest.mark.parametrize("status", STATUSES)
@pytest.mark.parametrize(("service", "method"), [("GetType", "get_type"), ("AsUniEnum", "_as_uni_enum")])
def test_a_failed_service_of_a_member_raises(control: Control, service: str, method: str, status: int) -> None:
    ask = getattr(FileFormat.BMP, method)
    assert failure(control, "Zelmor.Imaging.FileFormat", f"btp_{service}", status, ask) == FAILED


@pytest.mark.parametrize("answer", [0, 1])
def test_a_failed_question_whether_an_argument_fits_ends_the_call(control: Control, answer: int) -> None:
    """The member itself is not called."""
    options, other = BmpOptions(), PngOptions()
    control.raise_next("Zelmor.Imaging.IColorPalette", "btp_IsAssignable", "X", "failed", answer)
    with control.journal() as calls, pytest.raises(RuntimeError, match=r"^Proxy error\(X\): failed$"):
        options.palette = other
    assert [call.method for call in calls] == ["btp_IsAssignable"]


def test_a_failure_to_tell_a_type_stands(control: Control) -> None:
    """The managed side returns an object of a type whose name it then fails to tell."""
    write = control.callback("write", "tpo")
    handle, type_id = control.new_object("Zelmor.Imaging.LoadOptions"), next(NEW_IDS)
    control.raise_next(EXCHANGE_HOST, "GetTypeName", "X", "failed")
    with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): failed$"):
        write(handle, type_id)


class TestBoxing:
    """A struct that is returned as an interface is boxed first."""

    def test_a_box(self, control: Control) -> None:
        shown = self._keys(control, new_object(DICTIONARY))
        assert type(shown) is INTEROP._IColWrapper

    def test_a_failure_raises_and_gives_the_struct_back(self, control: Control) -> None:
        owner = new_object(DICTIONARY)
        control.raise_next(EXCHANGE_HOST, "BoxStcTarget", "X", "failed")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(X\): failed$"):
            self._keys(control, owner)

    @staticmethod
    def _keys(control: Control, owner: Any) -> Any:
        """A result of interface type that is a struct of an unregistered type."""
        record = struct.pack("<ixxxxQq", 1, control.new_object("System.Object"), next(NEW_IDS))
        control.return_next(DICTIONARY, "get_Keys", 0, 1, record)
        return owner.keys
