"""Cost of having zelmor.imaging at all: time to import it, what that time goes into, sizes on disk, memory.

Import times are those of fresh processes, net of an interpreter that imports nothing, the two taken in turn. The target
is for processor time: an import has one thread and waits for nothing, so that on an idle machine the clock says the
same.
"""

import os
import resource
import statistics
import struct
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

PYTHON = "/usr/bin/python3"
PROCESSES = 25
TARGET_MILLISECONDS = 60.0

#: Builds the enumerations of the module anew from their own members, to see what Python alone would take for them.
ENUMERATIONS = """
import enum, gc, time, types
import zelmor.imaging
found, seen, queue = {}, set(), [zelmor.imaging]
while queue:
    module = queue.pop()
    seen.add(id(module))
    for value in vars(module).values():
        if isinstance(value, enum.EnumType):
            found[id(value)] = value
        elif isinstance(value, types.ModuleType) and id(value) not in seen:
            if value.__name__.startswith("zelmor.imaging"):
                queue.append(value)
plans = [(e.__mro__[1], e.__name__, {n: m.value for n, m in e.__members__.items()}) for e in found.values()]
plans = [(enum.IntFlag if issubclass(e, enum.IntFlag) else enum.IntEnum, n, m) for e, n, m in plans]
gc.disable()  # as in the import
start = time.process_time()
for base, name, members in plans:
    base(name, members)
print(len(plans), sum(len(m) for _, _, m in plans), time.process_time() - start)
"""

PEAK = "print(next(line.split()[1] for line in open('/proc/self/status') if line.startswith('VmHWM')))"


TIMED = """
import time
start = time.perf_counter(), time.process_time()
import {}
print(time.perf_counter() - start[0], time.process_time() - start[1])
"""

#: Children keep the byte code of the package, as a user's interpreter does.
ENVIRONMENT = {name: value for name, value in os.environ.items() if name != "PYTHONDONTWRITEBYTECODE"}


@dataclass
class Start:
    """Milliseconds of an import in a fresh process."""

    net: float  # what the process takes longer, from start to exit
    spread: float
    processor: float  # the same in processor time, which a busy machine stretches less
    statement: float  # the import statement alone, in processor time

    @property
    def met(self) -> bool:
        return self.processor < TARGET_MILLISECONDS


def _run(program: str, *options: str, **variables: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([PYTHON, *options, "-c", program], check=True, text=True, capture_output=True,
                          env=ENVIRONMENT | variables)


def _timed(program: str) -> tuple[float, float, str]:
    """Seconds by the clock and on the processor that a program takes, and what it prints."""
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.perf_counter()
    shown = _run(program).stdout
    clock, after = time.perf_counter() - start, resource.getrusage(resource.RUSAGE_CHILDREN)
    return clock, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, shown


def import_time(module: str) -> Start:
    """Median time to import `module`, net of the interpreter's own start."""
    net, statement, processor = [], [], []
    for turn in range(PROCESSES + 1):
        bare_clock, bare_processor, _ = _timed("import time")
        clock, on_processor, shown = _timed(TIMED.format(module))
        if turn > 0:  # the first turn brings the files into the page cache
            net.append((clock - bare_clock) * 1e3)
            processor.append((on_processor - bare_processor) * 1e3)
            statement.append(float(shown.split()[1]) * 1e3)
    quarters = statistics.quantiles(net, n=4)
    return Start(statistics.median(net), quarters[2] - quarters[0], statistics.median(processor),
                 statistics.median(statement))


def import_profile(module: str) -> dict[str, float]:
    """Own milliseconds of each module that an import brings in, as the interpreter accounts for them; medians."""
    own: dict[str, list[int]] = {}
    for _ in range(9):
        shown = _run(f"import {module}", "-X", "importtime").stderr
        for line in shown.splitlines()[1:]:
            mine, _, name = line.removeprefix("import time:").split("|")
            own.setdefault(name.strip(), []).append(int(mine))
    return {name: statistics.median(times) / 1e3 for name, times in own.items()}


def type_ready_time(audit: Path) -> tuple[int, float]:
    """How many types an import makes ready, and the processor time of that in milliseconds."""
    with tempfile.NamedTemporaryFile() as figures:
        took = []
        for _ in range(9):
            _run("import zelmor.imaging", LD_AUDIT=str(audit), TYPE_READY_FILE=figures.name)
            calls, nanoseconds = struct.unpack("QQ", Path(figures.name).read_bytes())
            took.append(nanoseconds / 1e6)
    return calls, statistics.median(took)


def enumeration_time() -> tuple[int, int, float]:
    """Enumerations, members, and the processor time in milliseconds that Python itself takes to make them."""
    made = [_run(ENUMERATIONS).stdout.split() for _ in range(9)]
    return int(made[0][0]), int(made[0][1]), statistics.median(float(each[2]) for each in made) * 1e3


def print_import(bench: Path) -> Start:
    """Prints how long an import takes and what it goes into. `bench` holds what was built for the bench."""
    start = import_time("zelmor.imaging")
    miss = "" if start.met else "  MISS"
    print(f"Import of zelmor.imaging, {PROCESSES} fresh processes: {start.processor:.1f} ms of processor time more "
          f"than an\ninterpreter without it; target {TARGET_MILLISECONDS:.0f} ms{miss}. By the clock {start.net:.1f} "
          f"ms, middle half {start.spread:.1f} ms wide.\nOf the processor time:")
    types, ready = type_ready_time(bench / "type_ready_audit.so")
    enumerations, members, made = enumeration_time()
    # What the interpreter imports for itself before it runs a program is not part of the import.
    before = import_profile("sys")
    parts = {name: own for name, own in import_profile("zelmor.imaging").items() if name not in before}
    print(f"    {start.processor - start.statement:8.2f} ms  taking everything down at exit\n"
          f"    {start.statement:8.2f} ms  the import statement; of it\n"
          f"    {ready:8.2f} ms  PyType_Ready of {types} types\n"
          f"    {start.statement - ready:8.2f} ms  the rest. By the clock, for each module alone:")
    for name, own in parts.items():
        if name.startswith("zelmor"):
            note = ", with the start of the runtime" if name == "zelmor.pygc" else ""
            print(f"    {own:8.2f} ms  {name}{note}")
    library = sum(own for name, own in parts.items() if not name.startswith("zelmor"))
    print(f"    {library:8.2f} ms  modules of the standard library\n"
          f"By Python alone, the {enumerations} enumerations with their {members} members would take {made:.2f} ms.")
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
    bare, loaded = int(_run(PEAK).stdout), int(_run("import zelmor.imaging\n" + PEAK).stdout)
    print(f"\nPeak resident memory: {bare / 1024:.1f} MB for the bare interpreter, {loaded / 1024:.1f} MB with "
          f"zelmor.imaging, which adds {(loaded - bare) / 1024:.1f} MB")
