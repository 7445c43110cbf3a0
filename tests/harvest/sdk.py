"""The compiler and the runtime of an installed .NET SDK, called without its build system: no project, no restore."""

from __future__ import annotations

import json
import os
import subprocess
from collections.abc import Iterable
from pathlib import Path

import pytest

from tools.build_dotnet import find_runtime, find_sdk

SDK = find_sdk()
RUNTIME = find_runtime(SDK) if SDK is not None else None
COMPILERS = sorted(SDK.parent.glob("sdk/*/Roslyn/bincore/csc.dll")) if SDK is not None else []

#: The mark of tests that need an SDK.
needs_sdk = pytest.mark.skipif(not COMPILERS or RUNTIME is None, reason="there is no .NET SDK")
_QUIET = os.environ | {"DOTNET_CLI_TELEMETRY_OPTOUT": "1", "DOTNET_NOLOGO": "1", "DOTNET_TieredPGO": "0"}


def _run(*command: object) -> str:
    done = subprocess.run([str(part) for part in command], env=_QUIET, text=True, capture_output=True, check=False)
    assert done.returncode == 0, done.stdout[-4000:] + done.stderr[-4000:]
    return done.stdout


def compile_sources(sources: Iterable[Path], out: Path, references: Iterable[Path] = (), program: bool = False) -> Path:
    """Compiles C# to an assembly."""
    assert RUNTIME is not None
    out.parent.mkdir(parents=True, exist_ok=True)
    framework = [f"-r:{path}" for path in RUNTIME.glob("*.dll")
                 if path.name.startswith("System") or path.name in ("mscorlib.dll", "netstandard.dll")]
    response = out.with_suffix(".rsp")
    response.write_text("\n".join(["-nologo", "-nostdlib", "-unsafe", "-langversion:12", "-nullable:enable",
                                   "-deterministic", "-optimize", f"-target:{'exe' if program else 'library'}",
                                   f'-out:"{out}"', *framework, *(f'-r:"{path}"' for path in references),
                                   *(f'"{path}"' for path in sources)]))
    _run(SDK, COMPILERS[-1], "-noconfig", f"@{response}")
    return out


def run_program(program: Path, *arguments: object) -> str:
    """Runs a compiled program on the installed runtime; gives what it prints."""
    assert RUNTIME is not None
    framework = {"name": "Microsoft.NETCore.App", "version": RUNTIME.name}
    configuration = program.with_suffix(".runtimeconfig.json")
    configuration.write_text(json.dumps({"runtimeOptions": {
        "framework": framework, "configProperties": {"System.Globalization.Invariant": True}}}))
    return _run(SDK, "exec", "--runtimeconfig", configuration, program, *arguments)
