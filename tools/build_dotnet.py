"""Builds the .NET half and lays out the directories in which the bridge looks for a runtime and for assemblies.

    build/dotnet/runtime/netcore<version>/   links to the installed .NET runtime, and to the wrapper library
    build/dotnet/assemblies/<module>/        the assemblies of each module

The two variables that select a runtime then name `runtime` and `assemblies`; --print shows them as shell words.

Where the libraries of the tests are built, the directories `test-runtime` and `test-assemblies` are laid out, too. They
hold the same files and the control interface of the tests: a library in front of the runtime, and one more assembly.

The assemblies of the product hold native code beside their own, made ahead of time for the runtime that is laid out, so
that nothing is compiled when it is first used. The compiler for that is a package of NuGet, which is fetched once; where
it cannot be had, a line says so, and the runtime compiles by itself. Another runtime than the one laid out does so, too.
"""

from __future__ import annotations

import argparse
import hashlib
import os
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
MANAGED = ROOT / "runtime" / "managed"
INSTALL = ("no .NET SDK was found: install the package dotnet-sdk-8.0 or a later one, or set DOTNET_ROOT to the "
           "directory of an SDK")

# Where each catalogue's class library stands; a catalogue of types that .NET has itself needs none.
CATALOGUES = (("api/catalogue", "Zelmor.Imaging"), ("siblings/catalogue/pydrawing", "Zelmor.Drawing"),
              ("siblings/catalogue/pyio", ""), ("siblings/catalogue/pyreflection", ""))
# The assemblies of each module's directory.
MODULES = {"core": ("Zelmor.WrpGen.Core",), "imaging": ("Zelmor.Imaging", "WrpInterop.Zelmor.Imaging"),
           "pydrawing": ("Zelmor.Drawing", "WrpInterop.Zelmor.PyDrawing"), "pyio": ("WrpInterop.Zelmor.PyIo",),
           "pyreflection": ("WrpInterop.Zelmor.PyReflection",), "pygc": ("WrpInterop.Zelmor.PyGc",)}
# The libraries beside the class library that works on pictures.
PICTURES = "imaging"
# What the tests have besides, in the directory of the module "core".
CONTROL = "Zelmor.WrpGen.Control"
# The package of the compiler to native code. Its version is that of the runtime: other ones refuse its code.
COMPILER = "microsoft.netcore.app.crossgen2.linux-x64"
# The first number of the oldest SDK that compiles the assemblies.
OLDEST = 8
QUIET = {"DOTNET_CLI_TELEMETRY_OPTOUT": "1", "DOTNET_NOLOGO": "1", "DOTNET_SKIP_FIRST_TIME_EXPERIENCE": "1"}


def find_sdk() -> Path | None:
    """The `dotnet` command of an SDK that is new enough: that of DOTNET_ROOT, else the one on the path."""
    root = os.environ.get("DOTNET_ROOT")
    candidates = [Path(root) / "dotnet"] if root else []
    on_path = shutil.which("dotnet")
    candidates += [Path(on_path).resolve()] if on_path else []
    return next((path for path in candidates if path.is_file() and _newest_sdk(path) >= OLDEST), None)


def _newest_sdk(command: Path) -> int:
    """The first number of the newest SDK beside a command; 0 where there is none."""
    names = [path.name for path in (command.parent / "sdk").glob("*.*.*")]
    return max((int(name.split(".")[0]) for name in names if name.split(".")[0].isdigit()), default=0)


def find_runtime(sdk: Path) -> Path | None:
    """The newest installed runtime beside an SDK."""
    found = [path for path in (sdk.parent / "shared" / "Microsoft.NETCore.App").glob("*.*.*")
             if path.name.replace(".", "").isdigit() and (path / "libcoreclr.so").is_file()]
    if not found:
        return None
    return max(found, key=lambda path: [int(part) for part in path.name.split(".")])


def _link(target: Path, link: Path) -> None:
    link.unlink(missing_ok=True)
    link.symlink_to(target)


def generate(build: Path) -> None:
    """Writes the C# of all assemblies."""
    command = [sys.executable, "-B", "-m", "tools.generator"]
    subprocess.run([*command, "csharp-services", str(build / "generated" / "WrpInterop.Zelmor.PyGc")], cwd=ROOT,
                   check=True)
    for catalogue, library in CATALOGUES:
        subprocess.run([*command, "csharp", catalogue, str(MANAGED / (library or "none")), str(build / "generated")],
                       cwd=ROOT, check=True)


def _inputs(sdk: Path, build: Path) -> str:
    """A hash of everything that the assemblies are compiled from."""
    found = hashlib.sha256(" ".join(sorted(path.name for path in (sdk.parent / "sdk").iterdir())).encode())
    for folder in (MANAGED, build / "generated"):
        for path in sorted(folder.rglob("*")):
            if path.suffix in (".cs", ".csproj", ".props"):
                found.update(f"\0{path.relative_to(folder)}\0".encode() + path.read_bytes())
    return found.hexdigest()


def compile_all(sdk: Path, build: Path) -> None:
    """Compiles all assemblies if anything has changed, without servers that outlive the build."""
    stamp, inputs = build / "out" / "inputs", _inputs(sdk, build)
    if stamp.exists() and stamp.read_text() == inputs:
        return
    stamp.unlink(missing_ok=True)
    subprocess.run([sdk, "build", MANAGED / "Zelmor.Managed.csproj", "-m:1", "--nologo", "-v", "q",
                    "-p:UseSharedCompilation=false", "-nodeReuse:false", f"-p:ZelmorBuild={build}"],
                   env=os.environ | QUIET, check=True)
    stamp.write_text(inputs)


def find_compiler(sdk: Path, version: str, build: Path) -> list[str]:
    """The command of the compiler to native code for a version of the runtime; empty where it cannot be had."""
    packages = Path(os.environ.get("NUGET_PACKAGES") or Path.home() / ".nuget" / "packages")
    tools = packages / COMPILER / version / "tools"
    if not tools.is_dir():
        project = MANAGED / "NativeCode" / "NativeCode.csproj"
        command = [str(sdk), "msbuild", str(project), "-t:Restore", "-nologo", "-v:q", "-nodeReuse:false",
                   f"-p:ZelmorBuild={build}", f"-p:ZelmorCompiler={version}"]
        try:
            subprocess.run(command, env=os.environ | QUIET, check=False, timeout=300, capture_output=True)
        except subprocess.TimeoutExpired:
            return []
    if (tools / "crossgen2.dll").is_file():
        return [str(sdk), str(tools / "crossgen2.dll")]
    return [str(tools / "crossgen2")] if (tools / "crossgen2").is_file() else []


def compile_native(sdk: Path, runtime: Path, build: Path) -> bool:
    """Makes copies of the product's assemblies with native code in them; False where there is no compiler."""
    native, out = build / "ahead", build / "out"
    # Made of what the assemblies are made of, for one runtime.
    stamp, inputs = native / "inputs", f"{(out / 'inputs').read_text()} {runtime.name}"
    if stamp.exists() and stamp.read_text() == inputs:
        return True
    shutil.rmtree(native, ignore_errors=True)
    compiler = find_compiler(sdk, runtime.name, build)
    if not compiler:
        return False
    native.mkdir()
    names = [name for module in MODULES.values() for name in module]
    references = [f"--reference:{path}" for path in (runtime / "*.dll", *(out / name / f"{name}.dll" for name in names))]
    for name in names:
        subprocess.run([*compiler, str(out / name / f"{name}.dll"), f"--out:{native / name}.dll", "--targetos:linux",
                        "--targetarch:x64", "-O", *references], env=os.environ | QUIET, check=True, capture_output=True)
    stamp.write_text(inputs)
    return True


def lay_out(runtime: Path, wrapper: Path, build: Path) -> None:
    """Makes the directories of the product."""
    _lay_out_runtime(runtime, wrapper, build / "runtime")
    _lay_out_assemblies(build, build / "assemblies", MODULES)
    _lay_out_pictures(build / "native", wrapper.parent, build / "assemblies" / PICTURES)


def lay_out_tests(runtime: Path, wrapper: Path, control: Path, build: Path) -> None:
    """Makes the directories of the tests: the library of the control interface stands in front of the runtime."""
    directory = _lay_out_runtime(runtime, wrapper, build / "test-runtime")
    (directory / "libcoreclr.so").rename(directory / "libcoreclr.real.so")
    _link(control, directory / "libcoreclr.so")
    _lay_out_assemblies(build, build / "test-assemblies", MODULES | {"core": (*MODULES["core"], CONTROL)})
    _lay_out_pictures(build / "native", wrapper.parent, build / "test-assemblies" / PICTURES)


def _lay_out_runtime(runtime: Path, wrapper: Path, root: Path) -> Path:
    version = ".".join(runtime.name.split(".")[:2])
    directory = root / f"netcore{version}"
    shutil.rmtree(root, ignore_errors=True)
    directory.mkdir(parents=True)
    for path in runtime.iterdir():
        if path.suffix in (".dll", ".so"):
            _link(path, directory / path.name)
    _link(wrapper, directory / wrapper.name)
    return directory


def _lay_out_pictures(native: Path, embedded: Path, directory: Path) -> None:
    """The picture library, and the backends that it looks for in its own directory."""
    for path in [*native.glob("*.so"), *embedded.glob("libzelmor.embed.*.so"), *embedded.glob("zelmor.embed.*")]:
        _link(path, directory / path.name)


def _lay_out_assemblies(build: Path, root: Path, modules: dict[str, tuple[str, ...]]) -> None:
    shutil.rmtree(root, ignore_errors=True)
    for module, names in modules.items():
        (root / module).mkdir(parents=True)
        for name in names:
            native = build / "ahead" / f"{name}.dll"
            made = native if native.is_file() else build / "out" / name / f"{name}.dll"
            _link(made, root / module / f"{name}.dll")


def variables(build: Path) -> dict[str, str]:
    """The variables that select what was built."""
    return {"NETCORE_WRAPPER_NETCORE_DIR_zelmor": str(build / "runtime"),
            "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor": str(build / "assemblies")}


def main() -> int:
    """Builds everything; the exit status is 1 where there is no SDK."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, required=True, help="the build tree")
    parser.add_argument("--print", action="store_true", help="only show the variables")
    options = parser.parse_args()
    tree = options.build.resolve()
    build = tree / "dotnet"
    if options.print:
        print(" ".join(f"{name}={value}" for name, value in variables(build).items()))
        return 0
    sdk = find_sdk()
    runtime = find_runtime(sdk) if sdk is not None else None
    if sdk is None or runtime is None:
        print(INSTALL, file=sys.stderr)
        return 1
    generate(build)
    try:
        compile_all(sdk, build)
    except subprocess.CalledProcessError:  # the compiler has said why
        return 1
    if not compile_native(sdk, runtime, build):
        print(f"without native code, so that the start takes longer: the package {COMPILER} {runtime.name} could not be "
              "had", file=sys.stderr)
    wrapper = tree / "python" / "zelmor" / "_runtime" / "netcore3.1" / "libzelmor.embed.coreclrwrap.so"
    lay_out(runtime, wrapper, build)
    control = tree / "test-native" / "dotnet" / "libcoreclr.so"
    if control.exists():
        lay_out_tests(runtime, wrapper, control, build)
    return 0


if __name__ == "__main__":
    sys.exit(main())
