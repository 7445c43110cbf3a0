"""The runtime that the tests of this process drive: the embedded one, or with ZELMOR_RUNTIME=dotnet .NET.

Both are the test flavor, with the control interface in front.
"""

from __future__ import annotations

import os
from pathlib import Path

import pytest

from .places import BUILD_DIR

#: Whether this process runs on .NET.
ON_DOTNET = os.environ.get("ZELMOR_RUNTIME") == "dotnet"

#: The directories that the two variables name.
EMBEDDED_ROOT = BUILD_DIR / "test-runtime"
DOTNET_ROOT, DOTNET_ASSEMBLIES = BUILD_DIR / "dotnet" / "test-runtime", BUILD_DIR / "dotnet" / "test-assemblies"
TEST_RUNTIME_ROOT = DOTNET_ROOT if ON_DOTNET else EMBEDDED_ROOT
TEST_ASSEMBLY_ROOT = DOTNET_ASSEMBLIES if ON_DOTNET else EMBEDDED_ROOT


def versioned(root: Path) -> Path:
    """The directory of the runtime below its root."""
    found = sorted(root.glob("netcore*"))
    assert len(found) == 1, f"{root} has {len(found)} runtimes: `make test` or `make dotnet` lays one out"
    return found[0]


TEST_RUNTIME = versioned(TEST_RUNTIME_ROOT)

#: The variables by which a process finds this runtime.
VARIABLES = {"NETCORE_WRAPPER_NETCORE_DIR_zelmor": str(TEST_RUNTIME_ROOT),
             "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor": str(TEST_ASSEMBLY_ROOT)}

if ON_DOTNET:
    # Most processes of the tests end long before code that was measured and compiled again could pay.
    os.environ.setdefault("DOTNET_TieredPGO", "0")

#: The mark of tests that .NET cannot run; it takes the reason: `embedded_only("...")`.
embedded_only = pytest.mark.embedded_only
