"""Programs on the real .NET runtime, which a process of their own starts.

`make dotnet` builds what they need. Where it has not been run, or found no SDK, the tests are skipped and say so.
"""

from __future__ import annotations

import pytest

from .child import run_child
from .runtimes import DOTNET_ASSEMBLIES, DOTNET_ROOT

#: The mark of tests that need .NET.
needs_dotnet = pytest.mark.skipif(
    not (DOTNET_ASSEMBLIES / "imaging" / "WrpInterop.Zelmor.Imaging.dll").exists(),
    reason="the .NET half is not built: `make dotnet` builds it, with a .NET SDK from 8 on")


def run_on_dotnet(script: str, *arguments: str, seconds: float = 120) -> None:
    """Runs a program with zelmor.imaging on .NET; it has to end by itself with exit code 0."""
    # The runtime changes what freed memory holds by itself, and takes no other allocator.
    run_child(script, *arguments, seconds=seconds, NETCORE_WRAPPER_NETCORE_DIR_zelmor=str(DOTNET_ROOT),
              NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor=str(DOTNET_ASSEMBLIES), ZELMOR_RUNTIME="dotnet", MALLOC_PERTURB_="0")
