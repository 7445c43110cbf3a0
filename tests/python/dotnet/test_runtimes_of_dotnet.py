"""The versions of .NET that the assemblies run on, and a machine that has a runtime and no SDK."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pytest

from support.dotnet import needs_dotnet
from support.places import BUILD_DIR

pytestmark = needs_dotnet

ASSEMBLIES, RUNTIME = BUILD_DIR / "dotnet" / "assemblies", BUILD_DIR / "dotnet" / "runtime"
PACKAGE = "microsoft.netcore.app.runtime.linux-x64"

#: Uses values, texts, Python files and lists, errors and garbage of both sides, and shows which runtime did it.
PROGRAM = """
import datetime, decimal, gc, io
from zelmor.imaging import Color, NonGenericList, Point, Rectangle, StreamContainer
from zelmor.imaging.sources import StreamSource
from zelmor.imaging.imageoptions import PngOptions

assert str(Point(3, 4)) == "{X=3,Y=4}" and Rectangle(0, 0, 4, 4).contains(1, 2)
assert Color.from_name("tomato").to_argb() & 0xFFFFFF == 0xFF6347
file, target = io.BytesIO(bytes(range(256)) * 100), io.BytesIO()
StreamContainer(file).save(target)
assert target.getvalue() == file.getvalue()
stream = StreamSource().stream
assert stream.write("gr\\u00fcn \\U0001f600".encode()) == 10 and stream.seek(0) == 0 and len(stream.read()) == 10
items = [1, decimal.Decimal("1.50"), "a", None, datetime.datetime(2020, 2, 29)]
around = NonGenericList(items)
around.append(7)
assert list(around) == items and items[-1] == 7
try:
    Color.from_argb(0, 0, 300)
except RuntimeError as error:
    assert "ArgumentException" in str(error)
else:
    raise AssertionError("it was taken")
assert PngOptions().full_frame in (True, False)
for _ in range(1000):
    StreamContainer(io.BytesIO(b"abc")).read_byte()
gc.collect()
print(*{line.split()[-1] for line in open("/proc/self/maps") if line.rstrip().endswith("libcoreclr.so")})
"""


def run(runtime: Path, **variables: str) -> Path:
    """Runs the program on a runtime; returns the runtime's library."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith("DOTNET_")}
    environment |= {"NETCORE_WRAPPER_NETCORE_DIR_zelmor": str(runtime), "PYTHONPATH": str(BUILD_DIR / "python"),
                    "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor": str(ASSEMBLIES), **variables}
    done = subprocess.run([sys.executable, "-B", "-c", PROGRAM], env=environment, capture_output=True, text=True,
                          timeout=120, check=False)
    assert done.returncode == 0, done.stdout[-1000:] + done.stderr[-3000:]
    return Path(done.stdout.strip())


def files_of(version: int) -> list[Path]:
    """The files of the newest installed runtime of a major version, or of the one in NuGet's folder of packages."""
    roots = [Path(root) / "shared" / "Microsoft.NETCore.App"
             for root in (os.environ.get("DOTNET_ROOT", ""), "/usr/share/dotnet", "/usr/lib/dotnet") if root]
    found = [path for root in roots for path in root.glob(f"{version}.*.*") if (path / "libcoreclr.so").is_file()]
    if found:
        return list(max(found).iterdir())
    packages = Path(os.environ.get("NUGET_PACKAGES") or Path.home() / ".nuget" / "packages") / PACKAGE
    for path in sorted(packages.glob(f"{version}.*.*"), reverse=True):
        parts = path / "runtimes" / "linux-x64"
        files = [*(parts / "lib" / f"net{version}.0").glob("*.dll"), *(parts / "native").iterdir()]
        if any(file.name == "libcoreclr.so" for file in files):
            return files
    return []


@pytest.mark.parametrize("version", [8, 9, 10])
def test_the_assemblies_run_on_every_version(version: int, tmp_path: Path) -> None:
    files = files_of(version)
    if not files:
        pytest.skip(f"there is no runtime of .NET {version}, nor the package {PACKAGE} {version}")
    directory = tmp_path / f"netcore{version}.0"
    directory.mkdir()
    [built] = RUNTIME.iterdir()
    for file in [*files, built / "libzelmor.embed.coreclrwrap.so"]:
        if file.suffix in (".dll", ".so"):
            (directory / file.name).symlink_to(file.resolve())
    assert run(tmp_path).resolve() == (directory / "libcoreclr.so").resolve()


def test_it_runs_without_any_sdk_on_the_path() -> None:
    assert run(RUNTIME, PATH="/nonexistent", DOTNET_ROOT="/nonexistent", HOME="/nonexistent").name == "libcoreclr.so"
