"""Runs clang-tidy over the C++ sources that git tracks, except those that it has passed before.

Sources that the build compiles together are looked at together, which takes a third of the time. Sources that are named
as arguments are looked at one by one, so that a header which one of them lacks is missed.

A source, or a group of them, stays passed as long as everything that its findings depend on is the same: its text, the
headers of the project that it includes (as the build recorded them), its compile command, and the configuration and
version of clang-tidy. What has passed is recorded in the build tree. Headers are not checked on their own; their
findings are reported with the sources that include them. Sources without a compile command in the build tree (bench/
has a build of its own) are left out. The exit code is 1 if there is any finding.

Half of a whole run would be the path-sensitive analyzer, which looks into the functions that are called. It does so
with --deep; without it, it stays within each function, which halves the time.
"""

import argparse
import hashlib
import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

TOP = Path(__file__).resolve().parents[1]


def output(*command: str | Path, directory: Path = TOP) -> str:
    """The output of a command that must not fail."""
    return subprocess.run(command, cwd=directory, check=True, text=True, capture_output=True).stdout


def read_dependencies(build: Path) -> dict[str, list[Path]]:
    """For each object file of the build tree, the files of the project and of the build that its compilation read."""
    found: dict[str, list[Path]] = {}
    files: list[Path] = []
    for line in output("ninja", "-t", "deps", directory=build).splitlines():
        if line.startswith("    "):
            path = (build / line.strip()).resolve()
            if path.is_relative_to(TOP) or path.is_relative_to(build):
                files.append(path)
        elif line:
            files = found[line.split(": #deps")[0]] = []
    return found


class Hashes:
    """The hash of each file's text, computed once."""

    def __init__(self) -> None:
        self._known: dict[Path, bytes] = {}

    def of(self, path: Path) -> bytes:
        if path not in self._known:
            self._known[path] = hashlib.sha256(path.read_bytes() if path.exists() else b"").digest()
        return self._known[path]


def signature(common: bytes, command: str, files: list[Path], hashes: Hashes) -> str:
    """A hash of everything that the findings of one source depend on."""
    total = hashlib.sha256(common + command.encode())
    for path in files:
        total.update(str(path).encode() + hashes.of(path))
    return total.hexdigest()


def members(entry: dict[str, str]) -> list[str]:
    """The sources that a command compiles: those of a group (a unity build), or the one that it names."""
    if "/Unity/unity_" not in entry["file"]:
        return [entry["file"]]
    return re.findall(r'^#include "(.*)"', Path(entry["file"]).read_text(), re.MULTILINE)


def apart(entry: dict[str, str]) -> list[dict[str, str]]:
    """The commands for each of the sources that a command compiles."""
    return [{**entry, "file": member, "command": entry["command"].replace(f" -c {entry['file']}", f" -c {member}")}
            for member in members(entry)]


def for_clang(command: str) -> str:
    """A compile command without what is GCC's alone: its passes of optimization, and its precompiled headers, for which
    clang reads the headers themselves."""
    return re.sub(r" (-include \S+/cmake_pch\.hxx|-Winvalid-pch|-fpch-preprocess|-ftree-sra|"
                  r"-finline-functions-called-once)(?= )", "", command)


# Arguments of the compiler behind clang-tidy. Assertions tell the analyzer what a function takes for granted; GCC has
# warnings that clang does not know.
WITH_ASSERTIONS = ["--extra-arg=-UNDEBUG", "--extra-arg=-Wno-unknown-warning-option"]
# A group includes its sources.
TOGETHER = ["--checks=-bugprone-suspicious-include"]
WITHIN_FUNCTIONS = [f"--extra-arg={word}" for word in ("-Xclang", "-analyzer-config", "-Xclang", "mode=shallow")]


def findings(commands: Path, build: Path, source: Path, deep: bool) -> str:
    """The findings of clang-tidy for a source or a group of them; empty if it is clean."""
    options = WITH_ASSERTIONS + ([] if deep else WITHIN_FUNCTIONS) + ([] if source.suffix == ".cpp" else TOGETHER)
    command = ["clang-tidy", "--quiet", "-p", str(commands), *options, str(source)]
    run = subprocess.run(command, cwd=build, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if run.returncode == 0:
        return ""
    lines = [line for line in run.stdout.splitlines() if re.search(r"(warning|error):", line)]
    # A finding in a header of others says nothing without the source.
    lines = [line if line.startswith(str(TOP)) else f"{line} (in {source})" for line in lines]
    return "\n".join(lines) or f"{source}: clang-tidy fails ({run.returncode})\n{run.stdout}"


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=Path("build"), help="build tree")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, help="sources at a time")
    parser.add_argument("--deep", action="store_true", help="let the analyzer follow calls")
    parser.add_argument("--product", action="store_true", help="leave the tests out")
    parser.add_argument("sources", nargs="*", type=Path, help="only these sources")
    arguments = parser.parse_args()
    build = arguments.build.resolve()

    tracked = {TOP / name for name in output("git", "ls-files", "-z", "--", "*.cpp").split("\0")
               if name and not (arguments.product and name.startswith("tests/"))}
    wanted = tracked & ({path.resolve() for path in arguments.sources} or tracked)
    dependencies = read_dependencies(build)
    hashes = Hashes()
    common = hashes.of(TOP / ".clang-tidy") + output("clang-tidy", "--version").encode()
    common += b"deep" if arguments.deep else b""

    passed = build / "tidy"
    passed.mkdir(exist_ok=True)
    entries = json.loads((build / "compile_commands.json").read_text())
    if arguments.sources:
        entries = [part for entry in entries for part in apart(entry)]
    # A source that several targets build has several commands; clang-tidy checks all of them in one run.
    parts: dict[Path, list[str]] = {}
    for entry in entries:
        entry["command"] = for_clang(entry["command"])
    (passed / "compile_commands.json").write_text(json.dumps(entries))
    for entry in entries:
        if wanted.isdisjoint(map(Path, members(entry))):
            continue
        target = re.search(r" -o (\S+)", entry["command"])
        if target is None or target[1] not in dependencies:
            if arguments.product:
                continue  # a flavor of the tests; that of the product is built
            sys.exit(f"{entry['file']} is not built")
        parts.setdefault(Path(entry["file"]), []).append(
            signature(common, entry["command"], dependencies[target[1]], hashes))
    marks = {source: passed / hashlib.sha256("".join(own).encode()).hexdigest() for source, own in parts.items()}
    waiting = {source: mark for source, mark in marks.items() if not mark.exists()}

    said: set[str] = set()
    with ThreadPoolExecutor(arguments.jobs) as pool:
        texts = pool.map(lambda source: findings(passed, build, source, arguments.deep), waiting)
        for mark, text in zip(waiting.values(), texts, strict=True):
            if not text:
                mark.touch()
            for line in text.splitlines():
                if line not in said:
                    print(line, flush=True)
                    said.add(line)
    print(f"clang-tidy: {len(waiting)} sources and groups of them looked at, {len(said)} findings")
    return 1 if said else 0


if __name__ == "__main__":
    sys.exit(main())
