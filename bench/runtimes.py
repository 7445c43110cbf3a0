"""What the bridge costs on .NET, beside the embedded runtime: the start, calls in both directions, elements, streams.

Each figure is that of fresh processes, which take turns on both runtimes, in processor time. Run alone by
`bench/runtimes.py [rounds]`; without the .NET half, which `make dotnet` builds, only the embedded runtime is measured.
"""

from __future__ import annotations

import json
import os
import resource
import statistics
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path

PYTHON = "/usr/bin/python3"
ROUNDS = 5

#: Measures everything in one process, and prints it as JSON: milliseconds of the start, nanoseconds of an operation.
PROGRAM = """
import io, json, sys, tempfile, time
from timeit import Timer

def took(action):
    start = time.process_time()
    action()
    return time.process_time() - start

def started():
    import zelmor.pygc

def imported():
    import zelmor.imaging

found = {"start": took(started) * 1e3}
found["statement"] = found["start"] + took(imported) * 1e3
from zelmor.imaging import Color, FileStreamContainer, Image, NonGenericList, Point, StreamContainer
from zelmor.imaging.fileformats.emf.emf.objects import EmfDesignVector
found["bind"] = took(lambda: Image._type_of()) * 1e3

def each(name, statement, count, **names):
    timer = Timer(statement, timer=time.process_time, globals=names)
    end = time.process_time() + 0.5  # the time that .NET takes to compile for good what is used often
    while time.process_time() < end:
        timer.timeit(count // 10)
    time.sleep(0.3)
    found[name] = min(timer.repeat(5, count)) / count * 1e9

each("property", "x.x", 200_000, x=Point(3, 4))
each("text", "f('tomato')", 20_000, f=Color.from_name)
each("callback", "x[0]", 50_000, x=NonGenericList([1]))
holder = EmfDesignVector()
holder.values = list(range(1000))
each("element", "x[500]", 200_000, x=holder.values)
with tempfile.NamedTemporaryFile(suffix=".bin") as file:
    file.write(bytes(64 << 20))
    file.flush()
    stream = FileStreamContainer.open_file_stream(file.name).stream
    def read():
        for _ in range(16):
            stream.seek(0)
            while stream.read(1 << 20):
                pass
    read()
    found["stream"] = took(read) * 1e3
print(json.dumps(found))
"""

#: What is measured: its name, its unit, and its goal. Goals are milliseconds beyond the embedded runtime's ("import"),
#: milliseconds in all ("bind"), and a ratio to the embedded runtime ("property").
NAMES: dict[str, tuple[str, str, float | None]] = {
    "start": ("start of the runtime", "ms", None),
    "import": ("import and exit, beyond a bare interpreter", "ms", 60.0),
    "bind": ("binding of `Image`", "ms", 5.0),
    "property": ("property read", "ns", 1.5),
    "text": ("static method, string", "ns", None),
    "callback": ("a call that calls back: an element of a Python list", "ns", None),
    "element": ("element of an `int32` array", "ns", None),
    "stream": ("1 GiB of a file by `read(1 MiB)`", "ms", None)}


@dataclass
class Cost:
    """One figure on both runtimes; `theirs` has no rounds where .NET is missing."""

    name: str
    unit: str
    limit: float | None
    key: str
    ours: list[float] = field(default_factory=list)  # the embedded runtime
    theirs: list[float] = field(default_factory=list)

    @property
    def embedded(self) -> float:
        return statistics.median(self.ours)

    @property
    def dotnet(self) -> float:
        return statistics.median(self.theirs)

    @property
    def met(self) -> bool:
        if self.limit is None or not self.theirs:
            return True
        if self.key == "property":
            return self.dotnet <= self.limit * self.embedded
        return self.dotnet - (self.embedded if self.key == "import" else 0.0) < self.limit

    def __str__(self) -> str:
        theirs = f"{self.dotnet:12.1f} {self.dotnet / self.embedded:8.2f}" if self.theirs else ""
        return f"    {self.name:54}{self.unit:>4}{self.embedded:12.1f}{theirs}{'' if self.met else '  MISS'}"


def _child(program: str, variables: dict[str, str]) -> tuple[str, float]:
    """What a program prints, and the milliseconds of processor time of its process."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    done = subprocess.run([PYTHON, "-c", program], check=True, text=True, capture_output=True,
                          env=os.environ | variables)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return done.stdout, (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1e3


def variables_of_dotnet(build: Path) -> dict[str, str] | None:
    """The variables that select .NET; None where `make dotnet` has not built its half."""
    root = build / "dotnet"
    if not (root / "assemblies" / "imaging" / "WrpInterop.Zelmor.Imaging.dll").exists():
        return None
    return {"NETCORE_WRAPPER_NETCORE_DIR_zelmor": str(root / "runtime"),
            "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor": str(root / "assemblies")}


def run(build: Path, rounds: int = ROUNDS) -> list[Cost]:
    """Measures and prints all figures."""
    costs = {key: Cost(name, unit, limit, key) for key, (name, unit, limit) in NAMES.items()}
    dotnet = variables_of_dotnet(build)
    contestants = [("ours", dict[str, str]())] + ([("theirs", dotnet)] if dotnet is not None else [])
    for turn in range(rounds + 1):
        _, bare = _child("pass", {})
        for side, variables in contestants:
            _, whole = _child("import zelmor.imaging", variables)
            if turn == 0:
                continue  # brings the files into the page cache
            found = json.loads(_child(PROGRAM, variables)[0]) | {"import": whole - bare}
            for key, cost in costs.items():
                getattr(cost, side).append(found[key])
    print(f"Both runtimes, medians of {rounds} fresh processes each, in processor time:\n"
          f"    {'':58}{'embedded':>12}{'.NET':>12}{'ratio':>9}")
    if dotnet is None:
        print("    .NET: its half is not built; `make dotnet` builds it")
    for cost in costs.values():
        print(cost)
    return list(costs.values())


def main() -> None:
    """Measures alone."""
    run(Path(__file__).resolve().parents[1] / "build", int(sys.argv[1]) if len(sys.argv) > 1 else ROUNDS)


if __name__ == "__main__":
    main()
