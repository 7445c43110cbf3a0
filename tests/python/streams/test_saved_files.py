"""Files that the library writes: the old or the new content is there, never a part, and all else of a file stays.

A container saves the bytes that it has, so that the tests know the content; images are saved the same way.
"""

from __future__ import annotations

import fcntl
import io
import os
import signal
import stat
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path

import pytest
from support.child import run_child
from support.image_oracles import managed_error, noise, write
from support.runtimes import embedded_only
from zelmor.imaging import Image, StreamContainer

pytestmark = embedded_only("the embedded runtime's way of replacing files")

OLD, NEW = b"old content " * 400, b"new content, which is longer " * 400

ROOT_ONLY = pytest.mark.skipif(os.geteuid() != 0, reason="only the superuser can become somebody else")

CHILD = """
import ctypes, errno, io, os, resource, sys
from pathlib import Path
from zelmor.imaging import StreamContainer
OLD, NEW = b"old content " * 400, b"new content, which is longer " * 400
folder = Path(sys.argv[1])

def save(path, content=NEW):
    StreamContainer(io.BytesIO(content), False).save(str(path))

def refused(path, *words, content=NEW):
    try:
        save(path, content)
    except RuntimeError as error:
        assert all(word in str(error) for word in words), error
    else:
        raise AssertionError("it was written")
"""


def save(path: Path | str, content: bytes = NEW) -> None:
    StreamContainer(io.BytesIO(content), False).save(str(path))


def beside(path: Path, suffix: str) -> Path:
    """The name of a draft or backup of a file: a hash (FNV-1a) of its name."""
    number = 0xcbf29ce484222325
    for byte in os.fsencode(path.name):
        number = (number ^ byte) * 0x100000001b3 & (1 << 64) - 1
    return path.with_name(f".zelmor-{number:016x}{suffix}")


@pytest.fixture(name="path")
def old_file(tmp_path: Path) -> Path:
    """A file with the old content."""
    path = tmp_path / "a.bin"
    path.write_bytes(OLD)
    return path


def only(path: Path) -> bool:
    """Whether nothing else is in the file's folder."""
    return os.listdir(path.parent) == [path.name]


def test_a_file_is_replaced(path: Path) -> None:
    before = path.stat()
    with path.open("rb") as still_open:
        save(path)
        assert still_open.read() == OLD
    assert path.read_bytes() == NEW and only(path)
    assert path.stat().st_ino != before.st_ino


def test_content_reaches_the_disk_before_the_name(tmp_path: Path, path: Path) -> None:
    """The order of the system calls: the content is flushed, then it gets the name, then the folder is flushed."""
    strace = "/usr/bin/strace"
    log = tmp_path.parent / "calls"
    run_child(CHILD + f"""
import subprocess
tracer = subprocess.Popen([{strace!r}, "-qq", "-o", {str(log)!r}, "-e", "trace=fsync,rename,linkat,openat",
                           "-p", str(os.getpid())], stderr=subprocess.PIPE)
import time
time.sleep(0.5)
save(folder / "a.bin")
time.sleep(0.2)
tracer.terminate()
tracer.wait()
""", str(tmp_path))
    calls = [line.split("(")[0] for line in log.read_text().splitlines() if "fsync" in line or "rename" in line]
    assert calls == ["fsync", "rename", "fsync"], log.read_text()


def test_hard_links_stay_one_file(path: Path) -> None:
    other = path.with_name("b.bin")
    os.link(path, other)
    save(path)
    assert path.read_bytes() == other.read_bytes() == NEW
    assert path.samefile(other) and sorted(os.listdir(path.parent)) == ["a.bin", "b.bin"]
    save(other, OLD)
    assert path.read_bytes() == OLD


def test_extended_attributes_stay(path: Path) -> None:
    try:
        os.setxattr(path, "user.comment", b"mine")
    except OSError:
        pytest.skip("the file system has no extended attributes")
    save(path)
    assert path.read_bytes() == NEW and os.listxattr(path).count("user.comment") == 1
    assert os.getxattr(path, "user.comment") == b"mine"


#: user::rw-, user:65534:rw-, group::r--, mask::rw-, other::---, as the kernel keeps it.
ACL = bytes.fromhex("02000000" "01000600ffffffff" "02000600feff0000" "04000400ffffffff" "10000600ffffffff"
                    "20000000ffffffff")


def test_an_access_control_list_stays(path: Path) -> None:
    try:
        os.setxattr(path, "system.posix_acl_access", ACL)
    except OSError:
        pytest.skip("the file system has no access control lists")
    mode = path.stat().st_mode
    save(path)
    assert path.read_bytes() == NEW
    assert os.getxattr(path, "system.posix_acl_access") == ACL and path.stat().st_mode == mode


def test_a_list_that_the_folder_gives_new_files_is_not_taken(path: Path) -> None:
    try:
        os.setxattr(path.parent, "system.posix_acl_default", ACL)
    except OSError:
        pytest.skip("the file system has no access control lists")
    os.chmod(path, 0o604)
    save(path)
    assert path.read_bytes() == NEW and stat.S_IMODE(path.stat().st_mode) == 0o604
    assert "system.posix_acl_access" not in os.listxattr(path)


@ROOT_ONLY
def test_the_owner_stays(path: Path) -> None:
    os.chown(path, 1234, 4321)
    os.chmod(path, 0o640)
    save(path)
    now = path.stat()
    assert path.read_bytes() == NEW
    assert (now.st_uid, now.st_gid, stat.S_IMODE(now.st_mode)) == (1234, 4321, 0o640)


@pytest.fixture
def reachable() -> Iterator[Path]:
    """A file in a folder that other users can reach; those of pytest are closed to them, by each pytest that starts."""
    with tempfile.TemporaryDirectory() as directory:
        os.chmod(directory, 0o755)
        file = Path(directory) / "a.bin"
        file.write_bytes(OLD)
        yield file


@ROOT_ONLY
def test_a_file_of_another_user_keeps_its_owner(reachable: Path) -> None:
    """A file that this user may write to, and whose owner this user cannot give away, in a folder of this user."""
    path = reachable
    os.chown(path, 1234, 4321)
    os.chmod(path, 0o666)
    os.chmod(path.parent, 0o777)
    run_child(CHILD + """
os.setresgid(65534, 65534, 65534)
os.setresuid(65534, 65534, 65534)
save(folder / "a.bin")
""", str(path.parent))
    assert path.read_bytes() == NEW and only(path)
    assert (path.stat().st_uid, path.stat().st_gid) == (1234, 4321)


@ROOT_ONLY
def test_a_folder_that_cannot_be_written_does_not_stop_a_writable_file(reachable: Path) -> None:
    path = reachable
    os.chmod(path, 0o666)
    os.chmod(path.parent, 0o555)
    run_child(CHILD + """
os.setresgid(65534, 65534, 65534)
os.setresuid(65534, 65534, 65534)
save(folder / "a.bin")
assert (folder / "a.bin").read_bytes() == NEW
refused(folder / "b.bin", "UnauthorizedAccessException", "write to its directory")
""", str(path.parent))
    assert path.read_bytes() == NEW and only(path)
    os.chmod(path.parent, 0o755)


def test_a_dangling_link_makes_its_target(tmp_path: Path) -> None:
    (tmp_path / "inner").mkdir()
    (tmp_path / "link").symlink_to("inner/second")
    (tmp_path / "inner" / "second").symlink_to("third")
    save(tmp_path / "link")
    assert (tmp_path / "link").is_symlink() and (tmp_path / "inner" / "second").is_symlink()
    assert (tmp_path / "inner" / "third").read_bytes() == NEW


def test_a_link_to_no_folder_and_links_in_a_ring_are_refused(tmp_path: Path) -> None:
    (tmp_path / "nowhere").symlink_to("none/target")
    with managed_error("DirectoryNotFoundException", "none"):
        save(tmp_path / "nowhere")
    (tmp_path / "a").symlink_to("b")
    (tmp_path / "b").symlink_to("a")
    with managed_error("IOException", "symbolic links"):
        save(tmp_path / "a")
    assert sorted(os.listdir(tmp_path)) == ["a", "b", "nowhere"]


@pytest.mark.parametrize("links", [1, 2])
def test_a_full_disc_leaves_the_old_content(path: Path, links: int) -> None:
    if links == 2:
        os.link(path, path.with_name("b.bin"))
    run_child(CHILD + """
resource.setrlimit(resource.RLIMIT_FSIZE, (8192, 8192))
refused(folder / "a.bin", "IOException", "too large", content=NEW * 3)
assert (folder / "a.bin").read_bytes() == OLD
""", str(path.parent))
    assert path.read_bytes() == OLD
    assert not [name for name in os.listdir(path.parent) if name.startswith(".")]


@ROOT_ONLY
@pytest.mark.parametrize("links", [1, 2])
def test_a_full_file_system_leaves_the_old_content(tmp_path: Path, links: int) -> None:
    run_child(CHILD + f"""
libc = ctypes.CDLL(None, use_errno=True)
if libc.unshare(0x00020000) != 0 or libc.mount(b"none", b"/", None, 0x44000, None) != 0:  # a mount namespace, private
    sys.exit(0)
if libc.mount(b"tmpfs", str(folder).encode(), b"tmpfs", 0, b"size=256k") != 0:
    sys.exit(0)
path = folder / "a.bin"
path.write_bytes(OLD)
if {links} == 2:
    os.link(path, folder / "b.bin")
refused(path, "IOException", "No space left", content=NEW * 60)
assert path.read_bytes() == OLD
assert not [name for name in os.listdir(folder) if name.startswith(".")], os.listdir(folder)
save(path)
assert path.read_bytes() == NEW
""", str(tmp_path))


@pytest.mark.parametrize("links", [1, 2])
def test_a_killed_save_leaves_a_whole_file_or_a_backup(path: Path, links: int) -> None:
    size = 8 << 20
    contents = {bytes([letter]) * size for letter in b"ab"}
    path.write_bytes(b"a" * size)
    if links == 2:
        os.link(path, path.with_name("b.bin"))
    for milliseconds in (0, 3, 9, 20):
        with subprocess.Popen([sys.executable, "-c", CHILD + """
contents = [bytes([letter]) * (8 << 20) for letter in b"ab"]
print("ready", flush=True)
while True:
    for content in contents:
        save(folder / "a.bin", content)
""", str(path.parent)], stdout=subprocess.PIPE, env=child_environment()) as child:
            assert child.stdout is not None and child.stdout.readline() == b"ready\n"
            time.sleep(0.1 + milliseconds / 1000)
            child.send_signal(signal.SIGKILL)
        backup = beside(path, ".backup")
        whole = path if links == 1 or not backup.exists() else backup
        assert whole.read_bytes() in contents
    save(path)
    assert path.read_bytes() == NEW
    assert sorted(os.listdir(path.parent)) == ["a.bin", "b.bin"][:links]


def child_environment() -> dict[str, str]:
    """For a process that can import the module."""
    return {**os.environ, "PYTHONPATH": os.pathsep.join(entry for entry in sys.path if entry)}


def test_left_overs_of_a_killed_save_are_removed(path: Path) -> None:
    for suffix in (".part", "-1.part", "-7.part"):
        beside(path, suffix).write_bytes(b"half")
    other = beside(path.with_name("other.bin"), ".part")
    other.write_bytes(b"of another file")
    save(path)
    assert path.read_bytes() == NEW
    assert sorted(os.listdir(path.parent)) == [other.name, path.name]


def test_the_draft_of_another_program_stays(path: Path) -> None:
    busy = beside(path, ".part")
    with busy.open("wb") as draft:
        fcntl.flock(draft, fcntl.LOCK_EX)
        save(path)
        assert path.read_bytes() == NEW and busy.exists()
    save(path, OLD)
    assert only(path)


def test_the_backup_of_a_killed_save_stays_until_a_save_succeeds(path: Path) -> None:
    os.link(path, path.with_name("b.bin"))
    backup = beside(path, ".backup")
    backup.write_bytes(b"whole")
    run_child(CHILD + """
resource.setrlimit(resource.RLIMIT_FSIZE, (8192, 8192))
refused(folder / "a.bin", "IOException", content=NEW * 3)
""", str(path.parent))
    assert backup.read_bytes() == b"whole" and path.read_bytes() == OLD
    save(path)
    assert not backup.exists() and path.read_bytes() == NEW


@pytest.mark.parametrize("name", ["a\ud800.png", "\udc00.png", "x\udfff", "\udcc3\udca9.png", "\udcff\ud801.png"])
def test_names_with_lone_surrogates_are_refused(tmp_path: Path, name: str) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    for call in (lambda: image.save(str(tmp_path / name)), lambda: Image.load(str(tmp_path / name))):
        with managed_error("ArgumentException", "lone surrogate", "file_path"):
            call()
    assert os.listdir(tmp_path) == ["a.png"]


def test_names_that_are_no_text_are_kept_apart(tmp_path: Path) -> None:
    names = [os.fsdecode(tmp_path) + "/" + name for name in ("\udcff.bin", "\udcfe.bin", "\xff.bin", "\xe9.bin")]
    for number, name in enumerate(names):
        save(name, bytes([number]))
    for number, name in enumerate(names):
        with open(name, "rb") as file:
            assert file.read() == bytes([number])
    assert len(os.listdir(tmp_path)) == 4
