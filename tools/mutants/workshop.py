"""A copy of the tree, with a build tree of its own, in which sources are changed, built and tested.

Where the system lets us, the commands see the copy in the place of the tree that it is a copy of. So all paths are
those of an ordinary build, and the compiler cache knows what is not changed. Elsewhere the copy is built where it is.
"""

from __future__ import annotations

import fcntl
import hashlib
import json
import os
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import IO

# What a test may take of memory, so that a change which lets something grow does not take the machine.
_MEMORY = 16 << 30
BUILD = "build"  # the build tree in the copy

# As an ordinary user one is root only until the copy is in its place. The shell stays, as the first process of those
# that the command sees, to wait for what the others leave behind.
_IN_PLACE = 'mount --bind "$0" "$1" && cd "$1" && shift && "$@"; exit $?'
# A change may end whatever it can reach: the commands see no processes but their own.
_APART = ["--mount", "--pid", "--fork", "--mount-proc"]
_WITHOUT_RIGHTS = ["setpriv", "--inh-caps=-all", "--ambient-caps=-all"]


@dataclass(frozen=True)
class Commands:
    """How a project is made and tested. The commands run at the top of the tree."""

    configure: Callable[[Path], list[str]]  # for a tree that lies there; only while there is no build tree
    build: Callable[[Sequence[str]], list[str]]  # whatever these tests need
    test: Callable[[Path, Sequence[str]], list[str]]  # one folder of unit tests, or files of tests in Python
    # How a source becomes objects, one at a time: for the copy, the path of the source and that of the object.
    compile: Callable[[Path, str, Path], list[list[str]]] = lambda copy, source, target: []
    environment: Mapping[str, str] = field(default_factory=dict)
    # Besides, while a source has one change alone.
    alone_environment: Mapping[str, str] = field(default_factory=dict)


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
    user = [] if os.geteuid() == 0 else ["--map-current-user", "--keep-caps"]
    command = ["unshare", *user, *_APART, "sh", "-c", _IN_PLACE, str(copy), str(tree)]
    command += _WITHOUT_RIGHTS if user else []
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
        self._compiling = threading.Lock()

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

    def build(self, tests: Sequence[str], limit: float | None = None, alone: bool = False) -> Run:
        return self.run(self.commands.build(tests), limit, self.commands.alone_environment if alone else {})

    def test(self, names: Sequence[str], limit: float | None = None,
             environment: Mapping[str, str] | None = None) -> Run:
        return self.run(self.commands.test(self.place, names), limit, environment, memory=_MEMORY)

    def objects_of(self, source: str, text: str) -> list[bytes | None]:
        """The objects that a source would become with this text, none where it does not compile."""
        file, target = self.copy / source, Path(BUILD) / "object"
        found: list[bytes | None] = []
        with self._compiling:
            before = file.read_text()
            try:
                file.write_text(text)
                for command in self.commands.compile(self.copy, source, self.place / target):
                    run = self.run(command, environment=self.commands.alone_environment)
                    found.append(hashlib.sha256((self.copy / target).read_bytes()).digest() if run.code == 0 else None)
            finally:
                file.write_text(before)
        return found

    def run(self, command: list[str], limit: float | None = None, environment: Mapping[str, str] | None = None,
            memory: int | None = None) -> Run:
        """Runs a command in the copy; it and what it has started are ended when the limit is over. Several threads may
        run commands at a time."""
        def restrict() -> None:
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            if memory is not None:
                most = resource.getrlimit(resource.RLIMIT_AS)[1]
                resource.setrlimit(resource.RLIMIT_AS, (
                    memory if most == resource.RLIM_INFINITY else min(memory, most), most))

        begun = time.monotonic()
        # Into a file: a pipe would be held open by whatever a test leaves behind.
        with tempfile.TemporaryFile() as output, subprocess.Popen(
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
            output.seek(0)
            text = output.read().decode(errors="replace")
        return Run(code, text, time.monotonic() - begun)

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
        return ["cmake", "-S", ".", "-B", BUILD, "-G", "Ninja", "-DZELMOR_TOGETHER=OFF",
                f"-DCMAKE_C_COMPILER_LAUNCHER={words}", f"-DCMAKE_CXX_COMPILER_LAUNCHER={words}"]

    def build(tests: Sequence[str]) -> list[str]:
        # Some errors at a time; more are those of one header, and need not be found in all that includes it.
        folders = sorted({f"{name}/all" for name in tests if not name.endswith(".py")})
        return ["cmake", "--build", BUILD, "-j", str(jobs), "--target", "product", "test-runtime", "tests/native/all",
                *folders, "--", "-k", "10"]

    def test(place: Path, names: Sequence[str]) -> list[str]:
        if not names[0].endswith(".py"):
            return [sys.executable, "-m", "tools.mutants.unit_tests", f"{BUILD}/{names[0]}"]
        return ["env", f"PYTHONPATH={place / BUILD / 'python'}", f"ZELMOR_BUILD_DIR={place / BUILD}", sys.executable,
                "-m", "pytest", "-q", "-x", "-p", "no:cacheprovider", "-p", "tools.pytest_byte_code",
                "-p", "tools.mutants.cases", *names]

    def compile(copy: Path, source: str, target: Path) -> list[list[str]]:
        commands = []
        for entry in json.loads((copy / BUILD / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            if Path(entry["file"]).as_posix().endswith(f"/{source}"):
                words[words.index("-o") + 1] = str(target)
                commands.append(["env", "-C", entry["directory"], *words])
        return commands

    return Commands(configure, build, test, compile, {"PYTHONDONTWRITEBYTECODE": "1"}, {"CCACHE_READONLY": "1"})
