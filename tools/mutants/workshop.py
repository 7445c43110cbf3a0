"""A copy of the tree, with a build tree of its own, in which sources are changed, built and tested.

Where the system lets us, the commands see the copy in the place of the tree that it is a copy of. So all paths are
those of an ordinary build, and the compiler cache knows what is not changed. Elsewhere the copy is built where it is.
"""

from __future__ import annotations

import fcntl
import hashlib
import os
import resource
import shutil
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import IO

# What a test may take of memory, so that a change which lets something grow does not take the machine.
_MEMORY = 16 << 30
BUILD = "build"  # the build tree in the copy

# As an ordinary user one is root only until the copy is in its place.
_IN_PLACE = 'mount --bind "$0" "$1" && cd "$1" && shift && exec "$@"'
_WITHOUT_RIGHTS = ["setpriv", "--inh-caps=-all", "--ambient-caps=-all"]


@dataclass(frozen=True)
class Commands:
    """How a project is made and tested. The commands run at the top of the tree."""

    configure: Callable[[Path], list[str]]  # for a tree that lies there; only while there is no build tree
    build: Callable[[Sequence[str]], list[str]]  # whatever these tests need
    test: Callable[[Path, str], list[str]]
    environment: Mapping[str, str] = field(default_factory=dict)
    # Besides, while a source is changed.
    changed_environment: Mapping[str, str] = field(default_factory=dict)


@dataclass(frozen=True)
class Run:
    """What became of a command; without a code it took too long and was ended."""

    code: int | None
    output: str
    seconds: float


class Occupied(Exception):
    """Another run is at work in the copy."""


def files_of(tree: Path) -> list[str]:
    """The files of a tree that git knows or would take."""
    names = subprocess.run(["git", "-C", str(tree), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           check=True, text=True, capture_output=True).stdout.split("\0")
    return sorted({name for name in names if name and (tree / name).is_file()})


def _in_place(tree: Path, copy: Path) -> list[str]:
    """What is put in front of a command so that it sees the copy as the tree; nothing if that cannot be done."""
    ways = [["unshare", "--mount"]] if os.geteuid() == 0 else [
        ["unshare", "--map-current-user", "--keep-caps", "--mount"]]
    for way in ways:
        command = [*way, "sh", "-c", _IN_PLACE, str(copy), str(tree)]
        command += [] if os.geteuid() == 0 else _WITHOUT_RIGHTS
        if shutil.which("unshare") and subprocess.run([*command, "true"], capture_output=True).returncode == 0:
            return command
    return []


class Workshop:
    """The copy and what is done in it."""

    def __init__(self, tree: Path, copy: Path, commands: Commands) -> None:
        self.tree = tree.resolve()
        self.copy = copy.resolve()
        self.commands = commands
        self.copy.mkdir(parents=True, exist_ok=True)
        self._front = _in_place(self.tree, self.copy)
        self._objects: dict[Path, tuple[int, str]] = {}

    @property
    def place(self) -> Path:
        """Where the commands see the copy."""
        return self.tree if self._front else self.copy

    def reserve(self) -> IO[str]:
        """Keeps other runs out of the copy, as long as the result is open."""
        held = self.copy.with_name("lock").open("w")
        try:
            fcntl.flock(held, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            held.close()
            raise Occupied(f"another run is at work in {self.copy}") from None
        return held

    def take_sources(self) -> None:
        """Brings the copy to what the tree is. Files that are the same keep their time, and are not built again."""
        names = files_of(self.tree)
        for name in names:
            source, target = self.tree / name, self.copy / name
            if not target.is_file() or target.read_bytes() != source.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
        wanted = {self.copy / name for name in names}
        for file in self.copy.rglob("*"):
            inside = file.relative_to(self.copy).parts
            if inside[0] != BUILD and not file.is_dir() and file not in wanted:
                file.unlink()

    def configure(self) -> Run | None:
        """Prepares the build tree, unless there is one for this place."""
        build, mark = self.copy / BUILD, self.copy / BUILD / "configured-for"
        if mark.is_file() and mark.read_text() == str(self.place):
            return None
        shutil.rmtree(build, ignore_errors=True)
        build.mkdir()
        run = self.run(self.commands.configure(self.place))
        if run.code == 0:
            mark.write_text(str(self.place))
        return run

    def build(self, tests: Sequence[str], limit: float | None = None, changed: bool = False) -> Run:
        return self.run(self.commands.build(tests), limit, self.commands.changed_environment if changed else {})

    def test(self, name: str, limit: float | None = None) -> Run:
        return self.run(self.commands.test(self.place, name), limit, memory=_MEMORY)

    def same_objects(self) -> bool:
        """Whether the object files are what they were when `remember_objects` was called: the change changes nothing.

        Without any object file that cannot be told.
        """
        files = self._object_files()
        return bool(files) and files.keys() == self._objects.keys() and all(
            stamp == self._objects[file][0] or self._digest(file) == self._objects[file][1]
            for file, stamp in files.items())

    def remember_objects(self) -> None:
        self._objects = {file: (stamp, self._digest(file)) for file, stamp in self._object_files().items()}

    def _object_files(self) -> dict[Path, int]:
        return {file: file.stat().st_mtime_ns for file in (self.copy / BUILD).rglob("*.o")}

    @staticmethod
    def _digest(file: Path) -> str:
        return hashlib.sha256(file.read_bytes()).hexdigest()

    def run(self, command: list[str], limit: float | None = None, environment: Mapping[str, str] | None = None,
            memory: int | None = None) -> Run:
        """Runs a command in the copy; it and what it has started are ended when the limit is over."""
        def restrict() -> None:
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            if memory is not None:
                most = resource.getrlimit(resource.RLIMIT_AS)[1]
                resource.setrlimit(resource.RLIMIT_AS, (
                    memory if most == resource.RLIM_INFINITY else min(memory, most), most))

        begun = time.monotonic()
        log = self.copy.parent / "command.log"
        # Into a file: a pipe would be held open by whatever a test leaves behind.
        with log.open("wb") as output, subprocess.Popen(
                [*self._front, *command], cwd=None if self._front else self.copy, stdin=subprocess.DEVNULL,
                stdout=output, stderr=subprocess.STDOUT, start_new_session=True, preexec_fn=restrict,
                env={**os.environ, **self.commands.environment, **(environment or {})}) as process:
            code: int | None = None
            try:
                code = process.wait(limit)
            except subprocess.TimeoutExpired:
                pass
            finally:
                self._end(process.pid)
        return Run(code, log.read_text(errors="replace"), time.monotonic() - begun)

    @staticmethod
    def _end(group: int) -> None:
        try:
            os.killpg(group, signal.SIGKILL)
        except ProcessLookupError:
            pass  # all of them have ended


def project_commands(jobs: int, launcher: str) -> Commands:
    """The commands of this project. `launcher` stands before the compiler, its words separated by semicolons."""
    def configure(place: Path) -> list[str]:
        words = ";".join(["sh", str(place / "tools/mutants/compile.sh"), *filter(None, launcher.split(";"))])
        return ["cmake", "-S", ".", "-B", BUILD, "-G", "Ninja", f"-DCMAKE_C_COMPILER_LAUNCHER={words}",
                f"-DCMAKE_CXX_COMPILER_LAUNCHER={words}"]

    def build(tests: Sequence[str]) -> list[str]:
        folders = sorted({f"{name}/all" for name in tests if not name.endswith(".py")})
        return ["cmake", "--build", BUILD, "-j", str(jobs), "--target", "product", "test-runtime", "tests/native/all",
                *folders]

    def test(place: Path, name: str) -> list[str]:
        if not name.endswith(".py"):
            return ["ctest", "--test-dir", f"{BUILD}/{name}", "--output-on-failure", "--stop-on-failure",
                    "--no-tests=error", "-j", str(jobs)]
        return ["env", f"PYTHONPATH={place / BUILD / 'python'}", f"ZELMOR_BUILD_DIR={place / BUILD}", sys.executable,
                "-m", "pytest", "-q", "-x", "-p", "no:cacheprovider", *(["-n", str(jobs)] if jobs > 1 else []), name]

    return Commands(configure, build, test, {"PYTHONDONTWRITEBYTECODE": "1"}, {"CCACHE_READONLY": "1"})
