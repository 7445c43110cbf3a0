"""The delegates that a module binds and the callbacks that it hands over during its import, and their order."""

from __future__ import annotations

from importlib import import_module

import pytest
from support.callbacks import TABLES
from support.control import Control
from support.service_hosts import EXCHANGE_ENTRIES, EXCHANGE_HOST, HANDED_OVER, OBJECT_ENTRIES, OBJECT_HOST

#: The managed assembly of each module with one; pycore has none.
ASSEMBLIES = {
    "zelmor.pygc": "WrpInterop.Zelmor.PyGc",
    "zelmor.pyreflection": "WrpInterop.Zelmor.PyReflection",
    "zelmor.pyio": "WrpInterop.Zelmor.PyIo",
    "zelmor.pydrawing": "WrpInterop.Zelmor.PyDrawing",
    "zelmor.imaging": "WrpInterop.Zelmor.Imaging",
}


def events_of(control: Control, assembly: str) -> list[tuple[str, str, str]]:
    """Event, class and method of every step of one module at its start, in order."""
    services = (EXCHANGE_HOST, OBJECT_HOST)
    return [(entry["event"], entry["type"], entry["method"]) for entry in control.order()
            if entry["assembly"] == assembly and entry["type"] in services]


def expected_events() -> list[tuple[str, str, str]]:
    """Binds the channel, hands over all callbacks, lets the services be built, then binds the object services."""
    return ([("create_delegate", EXCHANGE_HOST, method) for method in EXCHANGE_ENTRIES]
            + [("call", EXCHANGE_HOST, method) for method in HANDED_OVER]
            + [("create_delegate", OBJECT_HOST, method) for method in OBJECT_ENTRIES])


@pytest.mark.parametrize(("module", "assembly"), ASSEMBLIES.items())
def test_each_module_brings_the_boundary_up_in_the_same_order(control: Control, module: str, assembly: str) -> None:
    import_module(module)
    assert events_of(control, assembly) == expected_events()


def test_the_module_itself_comes_after_its_siblings(control: Control) -> None:
    order = [entry["assembly"] for entry in control.order()]
    assert order.index("WrpInterop.Zelmor.Imaging") > order.index("WrpInterop.Zelmor.PyGc")
    assert order.index("WrpInterop.Zelmor.Imaging") > order.index("WrpInterop.Zelmor.PyDrawing")


def test_every_lookup_of_the_start_succeeded(control: Control) -> None:
    services = [entry for entry in control.order() if entry["type"] in (EXCHANGE_HOST, OBJECT_HOST)]
    assert {entry["status"] for entry in services if entry["event"] == "create_delegate"} == {0}


@pytest.mark.parametrize("table,name", [(table, entry[0]) for table, entries in TABLES.items() for entry in entries])
def test_every_callback_is_there(control: Control, table: str, name: str) -> None:
    assert control.callback(table, name) is not None
