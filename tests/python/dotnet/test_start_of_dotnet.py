"""What the start of .NET loads, and what it leaves alone."""

from __future__ import annotations

import pytest

from support.dotnet import needs_dotnet, run_on_dotnet
from support.places import BUILD_DIR

pytestmark = needs_dotnet
NATIVE = BUILD_DIR / "dotnet" / "ahead"


def test_no_tables_of_cultures_are_loaded() -> None:
    run_on_dotnet("""
import decimal, datetime
from zelmor.imaging import Color, PointF
from support.anything import holder
tag = holder()
for value in ("gr\\u00fcn", decimal.Decimal("1.5"), datetime.datetime(2020, 2, 29), 2.5):
    tag.value = value
    assert tag.value == value
assert str(PointF(1.5, 2)) == "{X=1.5, Y=2}" and Color.from_name("TOMATO") == Color.from_name("tomato")
assert "libicu" not in open("/proc/self/maps").read()
""")


@pytest.mark.skipif(not (NATIVE / "inputs").exists(), reason="`make dotnet` had no compiler of native code")
def test_an_import_compiles_next_to_nothing() -> None:
    """The code of the assemblies is native; what is left to compile are small adapters."""
    run_on_dotnet("""
import ctypes
import zelmor.imaging
from support.control import control
compiled = control.delegate("Zelmor.WrpGen.Control.Exports", "CompiledMethods", ctypes.c_int64,
                            assembly="Zelmor.WrpGen.Control")
assert 0 < compiled() < 60, compiled()
""")
