"""The control interface of the runtime: its journal, scripts, faults, callbacks and counts of handles.

Both runtimes have it. What concerns calls is the same library in both; what concerns objects are functions of the
embedded runtime, or of an assembly that only the tests have. A test does not know which runtime it drives.

A process has one runtime, so `control` is a single object. A setting stays active until it is removed; the fixture in
conftest.py removes the settings that a test left behind.
"""

from __future__ import annotations

import ctypes
import json
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from ctypes import c_char_p, c_int, c_int64, c_size_t, c_uint64, c_void_p
from dataclasses import dataclass
from typing import Any

from .callbacks import prototype, slot_of
from .runtimes import ON_DOTNET, TEST_RUNTIME

IMAGING = "WrpInterop.Zelmor.Imaging"

#: The arguments of a hook: pointers to the argument slots, and to the result slot.
Hook = Callable[[Any, int], None]
_HOOK = ctypes.PYFUNCTYPE(None, ctypes.POINTER(c_void_p), c_void_p)

_CALLS: dict[str, tuple[Any, list[Any]]] = {
    "journal_start": (None, []),
    "journal_stop": (None, []),
    "journal_clear": (None, []),
    "journal_read": (c_size_t, [c_char_p, c_size_t]),
    "order_read": (c_size_t, [c_char_p, c_size_t]),
    "startup_read": (c_size_t, [c_char_p, c_size_t]),
    "settings_add": (c_int, [c_char_p]),
    "settings_clear": (None, []),
    "script_exception": (None, [c_char_p, c_char_p, c_char_p, c_char_p, c_uint64]),
    "script_result": (None, [c_char_p, c_char_p, c_uint64, c_int, c_char_p, c_size_t]),
    "script_hook": (None, [c_char_p, c_char_p, _HOOK]),
    "script_clear": (None, []),
    "script_count": (c_size_t, []),
    "callback": (c_void_p, [c_char_p, c_char_p, c_int]),
    "delegate": (c_void_p, [c_char_p, c_char_p, c_char_p]),
}
_OBJECTS: dict[str, tuple[Any, list[Any]]] = {
    "live_handles": (c_int64, [c_int]),
    "live_describe": (c_size_t, [c_char_p, c_size_t]),
    "tracked_objects": (c_size_t, []),
    "collect": (c_size_t, []),
    "new_object": (c_void_p, [c_char_p]),
    "new_list": (c_void_p, [c_char_p, c_char_p, c_size_t]),
    "type_id": (c_int64, [c_char_p]),
}
_DOTNET_OBJECTS = (b"Zelmor.WrpGen.Control", b"Zelmor.WrpGen.Control.Exports")

KINDS = {"any": 0, "object": 1, "struct": 2, "type": 3}


@dataclass(frozen=True)
class Call:
    """One call of a delegate, with every argument as it was passed on the wire."""

    assembly: str
    type: str  # the name of the class that the module asked for
    name: str | None  # the managed type that a host class belongs to
    method: str
    signature: str  # one character for the result, then one for each argument
    arguments: list[int]  # the argument words, zero-extended from their width
    records: list[bytes | None]  # the records that arguments point to, before the call
    contents: list[bytes | None]  # the characters or bytes that such a record points to
    after: list[bytes | None]  # the records after the call
    result: int

    @classmethod
    def from_json(cls, entry: dict[str, Any]) -> Call:
        def blocks(key: str) -> list[bytes | None]:
            return [None if text is None else bytes.fromhex(text) for text in entry[key]]

        words = [int(word, 16) for word in entry["arguments"]]
        return cls(entry["assembly"], entry["type"], entry["name"], entry["method"], entry["signature"], words,
                   blocks("records"), blocks("contents"), blocks("after"), int(entry["result"], 16))


class Control:
    """The runtime that this process uses."""

    def __init__(self) -> None:
        # If the library is loaded already, the loader returns that one; otherwise it loads the one that the import will
        # use.
        self._library = ctypes.PyDLL(str(TEST_RUNTIME / "libcoreclr.so"))
        self._functions = {name: self._exported(name, *shape) for name, shape in _CALLS.items()}
        self._hooks: list[Any] = []
        self._hook_errors: list[BaseException] = []

    def _exported(self, name: str, result: Any, arguments: list[Any]) -> Any:
        function = getattr(self._library, f"zelmor_control_{name}")
        function.restype, function.argtypes = result, arguments
        return function

    def _of_objects(self, name: str) -> Any:
        """A function of the runtime itself; .NET has it only after its start."""
        result, arguments = _OBJECTS[name]
        if not ON_DOTNET:
            return self._exported(name, result, arguments)
        managed = "".join(word.capitalize() for word in name.split("_"))
        address = self._call("delegate", *_DOTNET_OBJECTS, managed)
        if not address:
            raise LookupError(f".NET has no control function {managed}")
        return ctypes.PYFUNCTYPE(result, *arguments)(address)

    def _call(self, name: str, *arguments: Any) -> Any:
        if name not in self._functions:
            self._functions[name] = self._of_objects(name)
        words = (text.encode() if isinstance(text, str) else text for text in arguments)
        return self._functions[name](*words)

    def _text(self, name: str) -> str:
        size = self._call(name, None, 0)
        buffer = ctypes.create_string_buffer(size)
        self._call(name, buffer, size)
        return buffer.value.decode()

    # Journal

    @contextmanager
    def journal(self) -> Iterator[list[Call]]:
        """Records every delegate call during the block; the list is filled when the block ends."""
        calls: list[Call] = []
        self._call("journal_clear")
        self._call("journal_start")
        try:
            yield calls
        finally:
            self._call("journal_stop")
            calls.extend(self.recorded())
            self._call("journal_clear")

    def recorded(self) -> list[Call]:
        """The calls recorded so far."""
        return [Call.from_json(entry) for entry in json.loads(self._text("journal_read"))]

    def order(self) -> list[dict[str, Any]]:
        """Every request for a delegate, and every hand-over call, since the process started."""
        return json.loads(self._text("order_read"))

    def startup(self) -> dict[str, Any]:
        """The arguments of the start: "exe_path", "domain_name", and "properties" as pairs."""
        return json.loads(self._text("startup_read"))

    # Handles

    def live(self, kind: str = "any") -> int:
        """The number of live handles."""
        return self._call("live_handles", KINDS[kind])

    def live_by_type(self) -> dict[str, int]:
        """The number of live handles for each managed type."""
        return json.loads(self._text("live_describe"))

    # Cycles of managed objects

    def tracked(self) -> int:
        """The number of objects that hold references to others."""
        return self._call("tracked_objects")

    def collect(self) -> int:
        """Runs the cycle collector over all objects; returns the number of objects that it ended."""
        return self._call("collect")

    def collect_before_each_call(self) -> None:
        """Collects the garbage of the managed side before each call, until `reset`."""
        self._call("settings_add", "collect=1")

    def settle(self) -> None:
        """Waits until Python objects that the managed side has no use for any more are released: on .NET its collector
        finds them. The embedded runtime has released them already, so that nothing is done there."""
        if ON_DOTNET:
            self.collect()

    # Faults and scripts. A type is identified by its host class or by its managed name.

    @contextmanager
    def missing(self, type_name: str, method: str) -> Iterator[None]:
        """Makes an entry point unavailable: "get_X", or "#3" for the third one that is requested of the type."""
        if self._call("settings_add", f"missing={type_name}::{method}") != 0:
            raise ValueError(f"not understood: {type_name}::{method}")
        try:
            yield
        finally:
            self._call("settings_clear")

    def raise_next(self, type_name: str, method: str, name: str | None, detail: str | None, result: int = 0) -> None:
        """The next call of the entry point raises a managed exception."""
        self._call("script_exception", type_name, method, name, detail, result)

    def return_next(self, type_name: str, method: str, result: int = 0, out: int = -1, data: bytes = b"") -> None:
        """The next call of the entry point returns a word, and writes `data` through the pointer in argument `out`."""
        self._call("script_result", type_name, method, result & (1 << 64) - 1, out, data, len(data))

    def run_next(self, type_name: str, method: str, hook: Hook) -> None:
        """The next call of the entry point runs the hook instead, in the role of the managed side.

        The hook gets the argument slots (pointers to the argument words) and the address of the result slot. An
        exception in the hook is raised again by `check`.
        """

        def guarded(arguments: Any, result: int) -> None:
            try:
                hook(arguments, result)
            except BaseException as error:  # no Python exception may pass through the managed side
                self._hook_errors.append(error)

        self._hooks.append(_HOOK(guarded))
        self._call("script_hook", type_name, method, self._hooks[-1])

    def check(self) -> None:
        """Raises the exception that a hook raised."""
        if self._hook_errors:
            raise self._hook_errors.pop(0)

    def reset(self) -> int:
        """Removes everything but the records of the start; returns the number of scripts that were not used."""
        unused = self._call("script_count")
        self._call("script_clear")
        self._call("settings_clear")
        self._call("journal_stop")
        self._call("journal_clear")
        self._hooks.clear()
        return unused

    # Functions of the managed side

    def callback(self, table: str, name: str, assembly: str = IMAGING) -> Any:
        """A callback of the module, which the test calls in the role of the managed side."""
        address = self._call("callback", assembly, table, slot_of(table, name))
        if not address:
            raise LookupError(f"the callback {table}.{name} was not handed over")
        return prototype(table, name)(address)

    def generic_callback(self, slot: int, function_type: Any, assembly: str = IMAGING) -> Any:
        """The typed list or sequence reader in a slot of the generic tables."""
        address = self._call("callback", assembly, "generic", slot)
        if not address:
            raise LookupError(f"the generic callback {slot} was not handed over")
        return function_type(address)

    def delegate(self, type_name: str, method: str, result: Any, *arguments: Any, assembly: str = IMAGING) -> Any:
        """An entry point of the runtime, without the journal. `type_name` is the class that the module asks for."""
        address = self._call("delegate", assembly, type_name, method)
        if not address:
            raise LookupError(f"there is no entry point {type_name}::{method}")
        return ctypes.PYFUNCTYPE(result, *arguments)(address)

    def new_object(self, full_name: str) -> int:
        """A handle to a new object of a managed type; the caller hands it to a wrapper or frees it."""
        handle = self._call("new_object", full_name)
        if not handle:
            raise LookupError(f"there is no managed type {full_name}")
        return handle

    def new_list(self, shape: str, element: str = "", count: int = 0) -> int:
        """A handle to a new managed list: an "array", "arraylist", "list", "colbase" or "rocolbase" of `count` empty
        elements of the type with this identifier, or of any type. The caller hands it to a wrapper or frees it."""
        handle = self._call("new_list", shape, element, count)
        if not handle:
            raise LookupError(f"there is no {shape} of {element}")
        return handle

    def type_id(self, full_name: str) -> int:
        """The run-time type id of a managed type."""
        return self._call("type_id", full_name)


control = Control()
