"""The part of the control interface that the .NET runtime has: the number of handles.

With ZELMOR_RUNTIME=dotnet the tests run on .NET. A test that uses the journal, scripts or faults of the embedded
runtime's test flavor is skipped there.
"""

from __future__ import annotations

import ctypes
import os
from collections.abc import Callable
from typing import Any

import pytest

from .places import BUILD_DIR

#: Whether this process runs on .NET.
ON_DOTNET = os.environ.get("ZELMOR_RUNTIME") == "dotnet"
RUNTIME, ASSEMBLIES = BUILD_DIR / "dotnet" / "runtime", BUILD_DIR / "dotnet" / "assemblies"


class DotnetControl:
    """The .NET runtime that this process uses."""

    def __init__(self) -> None:
        wrapper = next(RUNTIME.glob("netcore*/libzelmor.embed.coreclrwrap.so"))
        self._create = ctypes.PyDLL(str(wrapper)).coreclr_wrap_create_delegate
        self._functions: dict[str, Any] = {}

    def _call(self, name: str, result: Any) -> Any:
        if name not in self._functions:
            address = ctypes.c_void_p()
            status = self._create(b"Zelmor.WrpGen.Core", b"Zelmor.WrpGen.Core.Diagnostics", name.encode(),
                                  ctypes.byref(address))
            assert status == 0, f"{name} is not there: {status & 0xFFFFFFFF:#x}"
            self._functions[name] = ctypes.PYFUNCTYPE(result)(address.value)
        return self._functions[name]()

    def live(self, kind: str = "any") -> int:
        """The number of handles; those of one kind are not counted apart."""
        if kind != "any":
            pytest.skip("this runtime does not count handles by kind")
        return int(self._call("LiveHandles", ctypes.c_int64))

    @staticmethod
    def live_by_type() -> dict[str, int]:
        """Handles are not counted by type."""
        return {}

    def collect(self) -> int:
        """Collects the garbage of both sides."""
        self._call("Collect", None)
        return 0

    @staticmethod
    def reset() -> int:
        """Nothing was set."""
        return 0

    @staticmethod
    def check() -> None:
        """No hook could fail."""

    def __getattr__(self, name: str) -> Callable[..., Any]:
        if name.startswith("_"):
            raise AttributeError(name)

        def skip(*_: Any, **__: Any) -> Any:
            pytest.skip(f"the .NET runtime has no control function '{name}'")
        return skip
