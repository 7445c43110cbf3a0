"""Building the .NET half: what it says without an SDK, and which runtime and directories it chooses."""

from __future__ import annotations

import re
import subprocess
import sys
from pathlib import Path

import pytest

from tools.build_dotnet import COMPILER, MODULES, ROOT, compile_native, find_runtime, find_sdk, lay_out


def test_without_an_sdk_one_line_says_what_to_install() -> None:
    done = subprocess.run([sys.executable, "-B", str(ROOT / "tools" / "build_dotnet.py"), "--build", "/nonexistent"],
                          env={"PATH": "/nonexistent"}, capture_output=True, text=True, check=False)
    assert done.returncode == 1 and done.stdout == ""
    assert re.fullmatch(r"no \.NET SDK was found: install the package dotnet-sdk-8\.0 .*\n", done.stderr)


@pytest.mark.parametrize(("versions", "found"), [
    (["6.0.400", "7.0.100"], False), (["6.0.400", "8.0.100"], True), (["10.0.401"], True), ([], False),
    (["11.0.100-preview.1"], True), (["NuGetFallbackFolder"], False)])
def test_an_sdk_is_one_that_can_compile(tmp_path: Path, monkeypatch: pytest.MonkeyPatch, versions: list[str],
                                        found: bool) -> None:
    for root in ("set", "path"):
        (tmp_path / root / "sdk").mkdir(parents=True)
        (tmp_path / root / "dotnet").touch(0o755)
    for version in versions:
        (tmp_path / "path" / "sdk" / version).mkdir()
    monkeypatch.setenv("DOTNET_ROOT", str(tmp_path / "set"))  # a runtime alone, which is passed over
    monkeypatch.setenv("PATH", str(tmp_path / "path"))
    assert find_sdk() == (tmp_path / "path" / "dotnet" if found else None)


def test_a_compiler_that_fails_is_the_last_to_speak(tmp_path: Path) -> None:
    (tmp_path / "sdk" / "8.0.100").mkdir(parents=True)
    _install(tmp_path, "8.0.2")
    sdk = tmp_path / "dotnet"
    sdk.write_text("#!/bin/sh\necho 'error CS0000: no' >&2\nexit 1\n")
    sdk.chmod(0o755)
    done = subprocess.run([sys.executable, "-B", str(ROOT / "tools" / "build_dotnet.py"), "--build",
                           str(tmp_path / "build")], env={"PATH": "/nonexistent", "DOTNET_ROOT": str(tmp_path)},
                          capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (1, "error CS0000: no\n")


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


def _native_inputs(tmp_path: Path) -> tuple[Path, Path, Path]:
    """An SDK's command, a runtime, and a build with empty assemblies."""
    _install(tmp_path, "10.0.12")
    build = tmp_path / "build"
    for name in (name for names in MODULES.values() for name in names):
        (build / "out" / name).mkdir(parents=True)
        (build / "out" / name / f"{name}.dll").touch()
    (build / "out" / "inputs").write_text("inputs")
    sdk = tmp_path / "dotnet"
    sdk.write_text("#!/bin/sh\nexit 1\n")
    sdk.chmod(0o755)
    return sdk, tmp_path / "shared" / "Microsoft.NETCore.App" / "10.0.12", build


def test_without_the_compiler_of_native_code_the_assemblies_are_taken_as_they_are(
        tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    sdk, runtime, build = _native_inputs(tmp_path)
    monkeypatch.setenv("NUGET_PACKAGES", str(tmp_path / "packages"))
    assert not compile_native(sdk, runtime, build)
    lay_out(runtime, tmp_path / "libwrapper.so", build)
    link = build / "assemblies" / "imaging" / "Zelmor.Imaging.dll"
    assert link.readlink() == build / "out" / "Zelmor.Imaging" / "Zelmor.Imaging.dll"


def test_native_code_is_made_once_for_each_runtime(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    sdk, runtime, build = _native_inputs(tmp_path)
    tools = tmp_path / "packages" / COMPILER / "10.0.12" / "tools"
    tools.mkdir(parents=True)
    # Notes what it is asked for, and makes the file that it is asked for.
    (tools / "crossgen2").write_text(f'#!/bin/sh\necho "$1" >> {tmp_path}/asked\ntouch "${{2#--out:}}"\n')
    (tools / "crossgen2").chmod(0o755)
    monkeypatch.setenv("NUGET_PACKAGES", str(tmp_path / "packages"))
    for _ in range(2):
        assert compile_native(sdk, runtime, build)
    asked = (tmp_path / "asked").read_text().splitlines()
    assert sorted(Path(path).stem for path in asked) == sorted(name for names in MODULES.values() for name in names)
    lay_out(runtime, tmp_path / "libwrapper.so", build)
    link = build / "assemblies" / "imaging" / "Zelmor.Imaging.dll"
    assert link.readlink() == build / "ahead" / "Zelmor.Imaging.dll"
    (build / "out" / "inputs").write_text("other inputs")
    assert compile_native(sdk, runtime, build)
    assert len((tmp_path / "asked").read_text().splitlines()) == 2 * len(asked)
