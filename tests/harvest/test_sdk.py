"""Real assemblies: our own in C# of an altered catalogue, harvested, and spoken to by a module that is built after it.

The catalogue is that of the drawing module with two more types, so that compilers take seconds.
"""

from __future__ import annotations

import os
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

from tools.build_dotnet import MANAGED, ROOT
from tools.generator.builder import load
from tools.generator.identifiers import Identifiers
from tools.harvest.__main__ import main

from .conftest import run, substitute, texts
from .sdk import compile_sources, needs_sdk

pytestmark = needs_sdk
BUILD = Path(os.environ.get("ZELMOR_BUILD_DIR", ROOT / "build")).resolve()
OWN = BUILD / "dotnet" / "assemblies"
MORE = """
enum Grain : int32
    FINE 1
    COARSE 2

class Canvas
    ctor ()
    ctor (width: int32)
    getset width Width int32
    getset note Note string
    getset grain Grain Grain

class Easel
    ctor ()
    getset height Height double
"""
ADDED = ("System.Drawing.Canvas", "System.Drawing.Easel", "System.Drawing.Grain")


def _identifiers(directory: Path, names: tuple[str, ...]) -> None:
    table = Identifiers.read(directory / "identifiers.tab")
    table.complete(list(names), {})
    table.write()


@pytest.fixture(scope="module")
def base(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The catalogue before the harvest."""
    directory = tmp_path_factory.mktemp("base") / "pydrawing"
    shutil.copytree(ROOT / "siblings" / "catalogue" / "pydrawing", directory)
    path = directory / "System.Drawing.cat"
    path.write_text(path.read_text() + MORE)
    _identifiers(directory, ADDED)
    return directory


@pytest.fixture(scope="module")
def altered(base: Path) -> Path:
    """The catalogue of the assembly: a renamed class, other identifiers and widths, a member less and two more."""
    directory = base.parent / "altered"
    shutil.copytree(base, directory)
    rows = Identifiers.read(directory / "identifiers.tab").rows
    substitute(directory, "identifiers.tab", (rows["System.Drawing.Pen"][1], "0BADCAFE"),
               (rows["System.Drawing.RotateFlipType"][1], "FEEDF00D"), ("System.Drawing.Easel", "System.Drawing.Stand"))
    substitute(directory, "System.Drawing.cat", ("class Easel", "class Stand"), ("Grain : int32", "Grain : uint8"),
               ("    getset note Note string\n", ""),
               ("    getset width Width int32\n", "    getset width Width int64\n    getset depth Depth float\n"),
               ("    ctor (width: int32)\n", "    ctor (width: int64)\n    ctor (width: int64, depth: float)\n"))
    return directory


@pytest.fixture(scope="module")
def assemblies(altered: Path) -> Path:
    """The directory with the assemblies of the altered catalogue."""
    generated, out = altered.parent / "generated", altered.parent / "assemblies"
    subprocess.run([sys.executable, "-B", "-m", "tools.generator", "csharp", altered, MANAGED / "Zelmor.Drawing",
                    generated], cwd=ROOT, check=True)
    core = compile_sources((MANAGED / "Core").glob("*.cs"), out / "Zelmor.WrpGen.Core.dll")
    library = compile_sources((generated / "Zelmor.Drawing").glob("*.cs"), out / "Zelmor.Drawing.dll")
    interop = load(altered).assembly
    compile_sources([*(MANAGED / "Interop" / "Shared").glob("*.cs"), *(generated / interop).glob("*.cs")],
                    out / f"{interop}.dll", (core, library))
    return out


@pytest.fixture(scope="module")
def harvested(base: Path, assemblies: Path) -> tuple[Path, list[str]]:
    """The catalogue after the harvest, and the differences."""
    directory = base.parent / "harvested"
    shutil.copytree(base, directory)
    return directory, texts(run(assemblies / "WrpInterop.Zelmor.PyDrawing.dll", directory, base.parent))


def test_all_alterations_are_found_and_nothing_else(harvested: tuple[Path, list[str]], base: Path,
                                                    altered: Path) -> None:
    directory, found = harvested
    old = Identifiers.read(base / "identifiers.tab").rows
    start = "WRITTEN System.Drawing."
    assert sorted(found) == sorted([
        f"{start}Pen: the identifier on the managed side is 0BADCAFE instead of {old['System.Drawing.Pen'][1]}",
        f"{start}RotateFlipType: the identifier on the managed side is FEEDF00D instead of "
        f"{old['System.Drawing.RotateFlipType'][1]}",
        f"{start}Easel: the name is Stand instead of Easel",
        f"{start}Grain: the values are uint8 instead of int32",
        f"{start}Canvas.Canvas: the types are (width: int64) instead of (width: int32)",
        f"{start}Canvas.Width: the type is int64 instead of int32",
        "LACKING System.Drawing.Canvas.Note: there is no get_Note; the line is removed",
        "LACKING System.Drawing.Canvas.Note: there is no set_Note; the line is removed",
        "EXTRA System.Drawing.Canvas.Canvas: an overload (width: int64, depth: float); the line is added",
        "EXTRA System.Drawing.Canvas.Depth: a property of the type float; the line is added"])
    for name in ("System.Drawing.cat", "identifiers.tab"):
        assert (directory / name).read_text() == (altered / name).read_text()


def test_a_second_harvest_finds_no_difference(harvested: tuple[Path, list[str]], assemblies: Path,
                                              capsys: pytest.CaptureFixture[str]) -> None:
    assert main([str(assemblies / "WrpInterop.Zelmor.PyDrawing.dll"), "--catalogue", str(harvested[0])]) == 0
    assert capsys.readouterr().out.endswith("\nno difference\n")


@pytest.mark.skipif(not OWN.exists(), reason="the .NET half is not built: `make dotnet` builds it")
@pytest.mark.parametrize("name", ["imaging", "pydrawing", "pyio", "pyreflection"])
def test_on_our_own_assemblies_there_is_no_difference(name: str, capsys: pytest.CaptureFixture[str]) -> None:
    (assembly,) = (OWN / name).glob("WrpInterop.*.dll")
    assert main([str(assembly), "--check"]) == 0
    assert capsys.readouterr().out.endswith("\nno difference\n")


PROGRAM = """
import sys
import zelmor.imaging
from zelmor import pydrawing
from tools.generator.builder import load
from pathlib import Path
import importlib

for entry in load(Path(sys.argv[1])).types:
    getattr(importlib.import_module(entry.module), entry.name)._type_of()
canvas = pydrawing.Canvas(1 << 40, 2.5)
assert (canvas.width, canvas.depth) == (1 << 40, 2.5)
canvas.width, canvas.grain = 7, pydrawing.Grain.COARSE
assert canvas.width == 7 and canvas.grain is pydrawing.Grain.COARSE and not hasattr(canvas, "note")
stand = pydrawing.Stand()
stand.height = 1.25
assert stand.height == 1.25 and not hasattr(pydrawing, "Easel")
assert pydrawing.RotateFlipType._type_of() is not None and pydrawing.Pen._type_of() is not None
"""


def _commands() -> list[list[str]]:
    """The commands that build the drawing module, as the build tree has them."""
    done = subprocess.run(["ninja", "-C", BUILD, "-t", "commands", "zelmor_pydrawing"], text=True, capture_output=True,
                          check=True)
    lines = [line.removeprefix(": && ").removesuffix(" && :") for line in done.stdout.splitlines()]
    return [shlex.split(line) for line in lines if "zelmor_pydrawing_generated.dir" in line]


def _build(catalogue: Path, scratch: Path, module: Path) -> None:
    """Builds the drawing module of a catalogue: its generated sources anew, and the rest as it is in the build tree."""
    out = scratch / "generated" / "pydrawing"
    subprocess.run([sys.executable, "-B", "-m", "tools.generator", "module", catalogue, out], cwd=ROOT, check=True)
    (scratch / "all.cpp").write_text("".join(f'#include "{path}"\n' for path in sorted(out.glob("*.cpp"))))
    compiles = next(command for command in _commands() if "-c" in command)
    flags = [part for part in compiles if part.startswith(("-D", "-f", "-std", "-I")) and "FORTIFY" not in part]
    system = [part for at, part in enumerate(compiles) if "-isystem" in (part, compiles[at - 1])]
    source, target = str(scratch / "all.cpp"), str(scratch / "all.o")
    subprocess.run(["c++", f"-I{scratch}", *flags, *system, "-O0", "-c", source, "-o", target], check=True)
    link = next(command for command in _commands() if "-shared" in command)
    objects = [part for part in link if "zelmor_pydrawing_generated.dir" not in part]
    objects[objects.index("-o") + 1] = str(module)
    subprocess.run([*objects[:1], target, *objects[1:]], cwd=BUILD, check=True)


@pytest.mark.skipif(not OWN.exists() or not (BUILD / "build.ninja").exists(),
                    reason="the .NET half is not built: `make dotnet` builds it")
def test_a_module_of_the_harvested_catalogue_speaks_to_the_assembly(
        harvested: tuple[Path, list[str]], assemblies: Path, tmp_path: Path) -> None:
    package = tmp_path / "python"
    shutil.copytree(BUILD / "python", package, symlinks=True)
    (module,) = (package / "zelmor").glob("pydrawing.*.so")
    module.unlink()
    _build(harvested[0], tmp_path, module)
    directory = tmp_path / "assemblies"
    shutil.copytree(OWN, directory, symlinks=True)
    for name in ("Zelmor.Drawing.dll", "WrpInterop.Zelmor.PyDrawing.dll"):
        (directory / "pydrawing" / name).unlink()
        shutil.copy(assemblies / name, directory / "pydrawing" / name)
    environment = {**os.environ, "PYTHONPATH": f"{package}:{ROOT}",
                   "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor": str(directory),
                   "NETCORE_WRAPPER_NETCORE_DIR_zelmor": str(BUILD / "dotnet" / "runtime")}
    done = subprocess.run(["/usr/bin/python3", "-B", "-c", PROGRAM, harvested[0]], env=environment, text=True,
                          capture_output=True, check=False)
    assert done.returncode == 0, done.stdout[-2000:] + done.stderr[-4000:]
