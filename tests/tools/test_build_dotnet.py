"""Building the .NET half: what it says without an SDK, and which runtime and directories it chooses."""

from __future__ import annotations

import re
import subprocess
import sys
from pathlib import Path

from tools.build_dotnet import MODULES, ROOT, find_runtime, lay_out


def test_without_an_sdk_one_line_says_what_to_install() -> None:
    done = subprocess.run([sys.executable, "-B", str(ROOT / "tools" / "build_dotnet.py"), "--build", "/nonexistent"],
                          env={"PATH": "/nonexistent"}, capture_output=True, text=True, check=False)
    assert done.returncode == 1 and done.stdout == ""
    assert re.fullmatch(r"no \.NET SDK was found: install the package dotnet-sdk-8\.0 .*\n", done.stderr)


def _install(root: Path, *versions: str) -> None:
    for version in versions:
        directory = root / "shared" / "Microsoft.NETCore.App" / version
        directory.mkdir(parents=True)
        for name in ("libcoreclr.so", "System.Private.CoreLib.dll", "createdump"):
            (directory / name).touch()


def test_the_newest_runtime_is_taken_by_its_number(tmp_path: Path) -> None:
    _install(tmp_path, "8.0.2", "9.0.0", "10.0.12", "11.0.0-preview.1")
    runtime = find_runtime(tmp_path / "dotnet")
    assert runtime is not None and runtime.name == "10.0.12"
    assert find_runtime(tmp_path / "nowhere" / "dotnet") is None


def test_the_directories_are_real_and_hold_links(tmp_path: Path) -> None:
    _install(tmp_path, "10.0.12")
    wrapper = tmp_path / "libwrapper.so"
    wrapper.touch()
    for _ in range(2):  # a second time replaces the first
        lay_out(tmp_path / "shared" / "Microsoft.NETCore.App" / "10.0.12", wrapper, tmp_path / "dotnet")
    directory = tmp_path / "dotnet" / "runtime" / "netcore10.0"
    assert directory.is_dir() and not directory.is_symlink()
    assert sorted(path.name for path in directory.iterdir()) == [
        "System.Private.CoreLib.dll", "libcoreclr.so", "libwrapper.so"]
    assert all(path.is_symlink() for path in directory.iterdir())
    modules = tmp_path / "dotnet" / "assemblies"
    assert {path.name for path in modules.iterdir()} == set(MODULES)
    assert (modules / "imaging" / "WrpInterop.Zelmor.Imaging.dll").is_symlink()
