"""Starts of .NET that fail, and assemblies that are not there or broken: each in a process of its own.

Where the bridge itself cannot tell what happened, .NET ends the process with a text that does.
"""

from __future__ import annotations

import os
import shutil
import signal
import subprocess
import sys
from pathlib import Path

import pytest

from support.dotnet import needs_dotnet
from support.places import BUILD_DIR, FOLDERS
from support.runtimes import DOTNET_ASSEMBLIES, DOTNET_ROOT

pytestmark = needs_dotnet

NETCORE, ASSEMBLIES = "NETCORE_WRAPPER_NETCORE_DIR_zelmor", "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor"
IMPORT = "import zelmor.imaging"
#: Prints the exceptions of a failed import, outermost first.
REPORT = f"""
try:
    {IMPORT}
except BaseException as error:
    while error is not None:
        print(type(error).__name__, error)
        error = error.__cause__
"""


def run(code: str, runtime: Path = DOTNET_ROOT, assemblies: Path = DOTNET_ASSEMBLIES,
        **variables: str) -> subprocess.CompletedProcess[str]:
    environment = os.environ | {NETCORE: str(runtime), ASSEMBLIES: str(assemblies), "ZELMOR_RUNTIME": "dotnet",
                                "PYTHONPATH": os.pathsep.join([str(BUILD_DIR / "python"), *FOLDERS]), **variables}
    return subprocess.run([sys.executable, "-c", code], env=environment, capture_output=True, text=True, timeout=120,
                          check=False)


@pytest.fixture
def runtime(tmp_path: Path) -> Path:
    """A copy of the runtime's directory, as links."""
    shutil.copytree(DOTNET_ROOT, tmp_path / "runtime", symlinks=True)
    return tmp_path / "runtime"


@pytest.fixture
def assemblies(tmp_path: Path) -> Path:
    """A copy of the directories of assemblies, as links."""
    shutil.copytree(DOTNET_ASSEMBLIES, tmp_path / "assemblies", symlinks=True)
    return tmp_path / "assemblies"


def version(runtime: Path) -> Path:
    (found,) = runtime.iterdir()
    return found


@pytest.mark.parametrize(("lost", "text"), [
    ("System.Private.CoreLib.dll", "coreclr_initialize failed - status:0x"),
    ("libclrjit.so", "Failed to load JIT compiler")])
def test_a_runtime_that_is_not_whole_ends_the_process(runtime: Path, lost: str, text: str) -> None:
    (version(runtime) / lost).unlink()
    done = run(f"try:\n    {IMPORT}\nexcept BaseException:\n    print('caught')", runtime)
    assert (done.returncode, done.stdout) == (-signal.SIGABRT, "")
    assert text in done.stderr


def test_directories_have_to_be_absolute() -> None:
    done = run(IMPORT, Path(os.path.relpath(DOTNET_ROOT)), Path(os.path.relpath(DOTNET_ASSEMBLIES)))
    assert done.returncode == -signal.SIGABRT
    assert "coreclr_initialize failed - status:0x80070057" in done.stderr


def test_an_interop_assembly_that_is_missing_fails_the_import(assemblies: Path) -> None:
    (assemblies / "imaging" / "WrpInterop.Zelmor.Imaging.dll").unlink()
    done = run(REPORT, assemblies=assemblies)
    assert done.returncode == 0, done.stderr
    outermost, cause = done.stdout.splitlines()
    assert outermost == "ImportError One or more errors occurred while loading the module 'zelmor.imaging' (-1007)"
    assert cause == ("TypeError While initializing the host for the 'Zelmor.WrpGen.Interop.ExchangeHost "
                     "(Assembly=WrpInterop.Zelmor.Imaging)' type, an error occurred - Method 'GetTypeName' not found "
                     "(error=-2147024894)")


def test_an_assembly_that_is_none_fails_the_import(assemblies: Path) -> None:
    library = assemblies / "imaging" / "WrpInterop.Zelmor.Imaging.dll"
    library.unlink()
    library.write_bytes(b"MZ this is no assembly" * 100)
    done = run(REPORT, assemblies=assemblies)
    assert done.returncode == 0, done.stderr
    assert "Method 'GetTypeName' not found (error=-21470" in done.stdout


def test_an_assembly_without_the_methods_fails_the_import(assemblies: Path) -> None:
    # Any other assembly under the name: it has no such class.
    library = assemblies / "imaging" / "WrpInterop.Zelmor.Imaging.dll"
    library.unlink()
    library.symlink_to(os.path.realpath(DOTNET_ASSEMBLIES / "core" / "Zelmor.WrpGen.Core.dll"))
    done = run(REPORT, assemblies=assemblies)
    assert done.returncode == 0, done.stderr
    assert done.stdout.startswith("ImportError") and "Method 'GetTypeName' not found (error=-21" in done.stdout


@pytest.mark.parametrize(("lost", "use"), [
    ("imaging/Zelmor.Imaging.dll", "zelmor.imaging.Size(1, 2)"), ("core/Zelmor.WrpGen.Core.dll", "None")])
def test_an_assembly_that_others_need_ends_the_process_by_its_name(assemblies: Path, lost: str, use: str) -> None:
    (assemblies / lost).unlink()
    done = run(f"{IMPORT}\n{use}\nprint('went on')", assemblies=assemblies)
    assert (done.returncode, done.stdout) == (-signal.SIGABRT, ""), done.stderr
    assert f"Could not load file or assembly '{Path(lost).stem}" in done.stderr


@pytest.mark.parametrize(("setting", "text"), [
    ("init_status=0x80070002", "coreclr_initialize failed - status:0x80070002"),
    ("init_status=what", "init_status wants a number")])
def test_a_start_that_is_made_to_fail(setting: str, text: str) -> None:
    done = run(IMPORT, ZELMOR_EMBED_CONTROL=setting)
    assert done.returncode == -signal.SIGABRT and text in done.stderr


def test_a_method_that_is_missing_is_named() -> None:
    done = run(f"{IMPORT}\ntry:\n    zelmor.imaging.Size(1, 2)\nexcept TypeError as error:\n    print(error)",
               ZELMOR_EMBED_CONTROL="missing=Zelmor.Imaging.Size::btp_TypeOf")
    assert done.returncode == 0, done.stderr
    assert "Method 'btp_TypeOf' not found (error=-2146233069)" in done.stdout


USE = """
import ctypes, zelmor.imaging
from support.control import control
use = control.delegate("Zelmor.WrpGen.Control.{}", "Use", ctypes.c_int, assembly="Zelmor.WrpGen.Control")
for _ in range(2):
    try:
        use()
    except RuntimeError as error:
        print(error)
"""


def test_a_static_constructor_of_the_library_that_throws_is_an_error_each_time() -> None:
    done = run(USE.format("FaultyLibrary"))
    assert done.returncode == 0, done.stderr
    assert done.stdout.splitlines() == ["Proxy error(InvalidOperationException): The library is broken."] * 2


def test_a_static_constructor_of_a_host_that_throws_ends_the_process() -> None:
    done = run(USE.format("FaultyHost"))
    assert (done.returncode, done.stdout) == (-signal.SIGABRT, "")
    assert "The host is broken." in done.stderr
