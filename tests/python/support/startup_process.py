"""Starts of the bridge in child processes, with a chosen runtime directory and wrapper library.

A process starts a runtime only once, and a failed start ends it, so that each test needs a child. Most children use the
fake wrapper library, which logs every call and forwards it to the real one.
"""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from .places import BUILD_DIR
from .runtimes import ON_DOTNET, TEST_ASSEMBLY_ROOT, TEST_RUNTIME

TEST_NATIVE = BUILD_DIR / "test-native"

WRAPPER = "libzelmor.embed.coreclrwrap.so"
NETCORE_DIR = "NETCORE_WRAPPER_NETCORE_DIR_zelmor"
ASSEMBLY_DIR = "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor"
ASSEMBLY = "WrpInterop.Zelmor.Imaging"
#: The directory in which the bridge looks without configuration.
EXE = os.path.realpath(sys.executable)
EXE_DIR = os.path.dirname(EXE)

#: A program that prints the exceptions of an import as JSON, from the outermost to its first cause.
REPORTING_IMPORT = """
import json, sys
def chain(error):
    found = []
    while error is not None:
        assert error.__cause__ is error.__context__
        found.append([type(error).__name__, str(error)])
        error = error.__cause__
    return found
def attempt():
    try:
        import zelmor.imaging
    except BaseException as error:
        return chain(error)
    return []
"""


@dataclass
class Start:
    """The runtime root of one test, and the children that start a runtime from it."""

    root: Path
    environment: dict[str, str] = field(default_factory=dict)

    @property
    def log_file(self) -> Path:
        """The calls that the fake wrapper library logged."""
        return self.root / "calls.log"

    @property
    def runtime_root(self) -> Path:
        """The directory that holds the versioned runtime directories."""
        return self.root / "runtime"

    @property
    def assembly_root(self) -> Path:
        """The directory whose subdirectories hold managed assemblies."""
        return self.root / "assemblies"

    def install(self, wrapper: str = "fake_wrapper", version: str = "netcore3.1", root: Path | None = None) -> Path:
        """A runtime directory with one of the built wrapper libraries and the test runtime. It is searched for
        assemblies, too, whatever a test says of their directories, so that those of .NET stand there."""
        directory = (root or self.runtime_root) / version
        directory.mkdir(parents=True)
        shutil.copy(TEST_NATIVE / f"lib{wrapper}.so", directory / WRAPPER)
        for library in TEST_RUNTIME.iterdir():
            if library.name != WRAPPER:
                (directory / library.name).symlink_to(library)
        for assembly in TEST_ASSEMBLY_ROOT.glob("*/*.dll") if ON_DOTNET else ():
            (directory / assembly.name).symlink_to(assembly)
        return directory

    def run(self, code: str, *options: str, **variables: str) -> subprocess.CompletedProcess[str]:
        """Runs the code in a child; further environment variables are added to those of the start."""
        environment = {
            name: value
            for name, value in os.environ.items()
            if not name.startswith(("NETCORE_WRAPPER_", "FAKE_WRAP_", "COREHOST_"))
        }
        environment |= {
            "PYTHONPATH": str(BUILD_DIR / "python"),
            "PYTHONDONTWRITEBYTECODE": "1",
            NETCORE_DIR: str(self.runtime_root),
            ASSEMBLY_DIR: str(self.assembly_root),
            "FAKE_WRAP_LOG": str(self.log_file),
            "FAKE_WRAP_REAL": str(TEST_RUNTIME / WRAPPER),
        }
        environment |= self.environment | variables
        # Universal newlines would hide the line endings of the trace.
        result = subprocess.run(
            [sys.executable, *options, "-c", code], env=environment, capture_output=True, timeout=120, check=False
        )
        return subprocess.CompletedProcess(
            result.args, result.returncode, result.stdout.decode(), result.stderr.decode(errors="replace")
        )

    def run_reporting(self, code: str, **variables: str) -> Any:
        """Runs the code, which may call `attempt`, and parses the JSON that it prints."""
        result = self.run(REPORTING_IMPORT + code, **variables)
        assert result.returncode == 0, result.stderr
        return json.loads(result.stdout)

    def calls(self, *kinds: str) -> list[str]:
        """The logged calls, all or those of the given kinds."""
        if not self.log_file.exists():
            return []
        lines = self.log_file.read_text().splitlines()
        return [line for line in lines if not kinds or line.split(" ", 1)[0] in kinds]

    def properties(self) -> dict[str, str]:
        """The properties that the runtime was started with."""
        return dict(line.removeprefix("property ").split("=", 1) for line in self.calls("property"))
