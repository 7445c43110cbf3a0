"""Cost of having zelmor.imaging at all: time to import it, what that time goes into, sizes on disk, memory.

Import times are those of fresh processes, net of an interpreter that imports nothing, the two taken in turn.
"""

import os
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

PYTHON = "/usr/bin/python3"
PROCESSES = 25
TARGET_MILLISECONDS = 60.0

#: Builds the enumerations of the module anew from their own members, to see what that part of an import takes.
ENUMERATIONS = """
import enum, importlib, time, types
import zelmor.imaging
found, seen, todo = {}, set(), [zelmor.imaging]
while todo:
    module = todo.pop()
    seen.add(id(module))
    for value in vars(module).values():
        if isinstance(value, enum.EnumType):
            found[id(value)] = value
        elif isinstance(value, types.ModuleType) and id(value) not in seen:
            if value.__name__.startswith("zelmor.imaging"):
                todo.append(value)
plans = [(e.__mro__[1], e.__name__, {n: m.value for n, m in e.__members__.items()}) for e in found.values()]
plans = [(enum.IntFlag if issubclass(e, enum.IntFlag) else enum.IntEnum, n, m) for e, n, m in plans]
start = time.perf_counter()
for base, name, members in plans:
    base(name, members)
print(len(plans), sum(len(m) for _, _, m in plans), time.perf_counter() - start)
"""

PEAK = "print(next(line.split()[1] for line in open('/proc/self/status') if line.startswith('VmHWM')))"


@dataclass
class Start:
    """Milliseconds of an import in a fresh process."""

    net: float
    spread: float

    @property
    def met(self) -> bool:
        return self.net < TARGET_MILLISECONDS


def _seconds(program: str) -> float:
    start = time.perf_counter()
    subprocess.run([PYTHON, "-c", program], check=True)
    return time.perf_counter() - start


def import_time(module: str) -> Start:
    """Median time to import `module`, net of the interpreter's own start."""
    for program in ("pass", f"import {module}"):
        _seconds(program)  # the files are in the page cache from here on
    pairs = [(_seconds(f"import {module}"), _seconds("pass")) for _ in range(PROCESSES)]
    net = [(with_import - without) * 1e3 for with_import, without in pairs]
    quarters = statistics.quantiles(net, n=4)
    return Start(statistics.median(net), quarters[2] - quarters[0])


def import_profile(module: str) -> list[tuple[str, float, float]]:
    """(module, own milliseconds, milliseconds with what it imports) of each part of an import; medians."""
    own: dict[str, list[int]] = {}
    whole: dict[str, list[int]] = {}
    for _ in range(9):
        # The environment is kept, so a start-up hook of the site shows up in both runs and falls out.
        shown = subprocess.run([PYTHON, "-X", "importtime", "-c", f"import {module}"], check=True, text=True,
                               capture_output=True).stderr
        for line in shown.splitlines()[1:]:
            mine, cumulated, name = line.removeprefix("import time:").split("|")
            own.setdefault(name.strip(), []).append(int(mine))
            whole.setdefault(name.strip(), []).append(int(cumulated))
    return [(name, statistics.median(own[name]) / 1e3, statistics.median(whole[name]) / 1e3) for name in own]


def _run(program: str) -> str:
    return subprocess.run([PYTHON, "-c", program], check=True, text=True, capture_output=True).stdout


def print_import() -> Start:
    """Prints how long an import takes and what it goes into."""
    start = import_time("zelmor.imaging")
    print(f"\nImport of zelmor.imaging, {PROCESSES} fresh processes, net of the interpreter's start: "
          f"{start.net:.1f} ms (middle half {start.spread:.1f} ms wide), target {TARGET_MILLISECONDS:.0f} ms"
          f"{'' if start.met else '  MISS'}")
    # What the interpreter imports for itself before it runs a program is not part of the import.
    before = {name for name, _, _ in import_profile("sys")}
    parts = [part for part in import_profile("zelmor.imaging") if part[0] not in before]
    library = sum(own for name, own, _ in parts if not name.startswith("zelmor"))
    print("    own time of each part, as the interpreter accounts for it (the first bridge module, zelmor.pygc or the\n"
          "    one that it comes in by, also starts the runtime):")
    for name, own, _ in parts:
        if name.startswith("zelmor"):
            print(f"    {own:8.2f} ms  {name}")
    print(f"    {library:8.2f} ms  modules of the standard library")
    count, members, seconds = _run(ENUMERATIONS).split()
    print(f"    {float(seconds) * 1e3:8.2f} ms  of these are Python's own cost of making {count} enumerations with "
          f"{members} members")
    return start


def print_sizes(package: Path) -> None:
    """Prints the size of each shared object of the package, as built and stripped."""
    print("\nShared objects, bytes as built and stripped:")
    for library in sorted(package.rglob("*.so")):
        with tempfile.NamedTemporaryFile() as stripped:
            subprocess.run(["strip", "-o", stripped.name, str(library)], check=True)
            small = os.stat(stripped.name).st_size
        print(f"    {library.stat().st_size:12,}{small:12,}  {library.relative_to(package)}")


def print_memory() -> None:
    """Prints the peak of resident memory before and after the import."""
    bare, loaded = int(_run(PEAK)), int(_run("import zelmor.imaging\n" + PEAK))
    print(f"\nPeak resident memory: {bare / 1024:.1f} MB for the bare interpreter, {loaded / 1024:.1f} MB with "
          "zelmor.imaging")


if __name__ == "__main__":
    print_import()
    sys.exit(0)
