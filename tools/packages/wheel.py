"""Writing a wheel of an installed product."""

from __future__ import annotations

import base64
import hashlib
import stat
import time
import zipfile
from pathlib import Path, PurePosixPath

from .libraries import system_libraries
from .metadata import metadata
from .project import Project
from .staging import MODULES

TAG = "cp311-cp311-linux_x86_64"
#: The table of libraries that the embedded runtime reads when one is missing (runtime/native/core/load_failure.h).
TABLE = PurePosixPath("zelmor/_runtime/netcore3.1/system_libraries.txt")


class _Archive:
    """A wheel that is being written: its files, and a record of each."""

    def __init__(self, path: Path, date: int) -> None:
        self._zip = zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED)
        # Dates of a zip file begin in 1980.
        self._date = time.gmtime(max(date, 315532800))[:6]
        self._records: list[str] = []

    def add(self, name: str, data: bytes, executable: bool = False) -> None:
        entry = zipfile.ZipInfo(name, self._date)
        entry.compress_type = zipfile.ZIP_DEFLATED
        entry.external_attr = (stat.S_IFREG | (0o755 if executable else 0o644)) << 16
        self._zip.writestr(entry, data)
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        self._records.append(f"{name},sha256={digest},{len(data)}\n")

    def close(self, record: str) -> None:
        self._records.append(f"{record},,\n")
        entry = zipfile.ZipInfo(record, self._date)
        entry.compress_type = zipfile.ZIP_DEFLATED
        entry.external_attr = (stat.S_IFREG | 0o644) << 16
        self._zip.writestr(entry, "".join(self._records))
        self._zip.close()


def write_wheel(project: Project, installed: Path, folder: Path, date: int) -> Path:
    """Writes the wheel of the product that is installed below `installed` to the folder; returns its path."""
    modules = installed / MODULES
    libraries, may_miss = system_libraries(modules / "zelmor")
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / f"{project.file_name}-{TAG}.whl"
    archive = _Archive(path, date)
    for root, prefix in ((modules, PurePosixPath()),
                         # pip puts these below the prefix of the environment: manual pages and completions.
                         (installed / "share", PurePosixPath(f"{project.file_name}.data/data/share"))):
        # The interpreter leaves bytecode where the installed package was used; pip makes its own.
        for file in sorted(file for file in root.rglob("*") if file.is_file() and "__pycache__" not in file.parts):
            archive.add(str(prefix / file.relative_to(root)), file.read_bytes(), bool(file.stat().st_mode & 0o100))
    archive.add(str(TABLE), "".join(f"{name} {package}\n" for name, package in may_miss.items()).encode())
    info = f"{project.file_name}.dist-info"
    archive.add(f"{info}/METADATA", metadata(project, sorted(set(libraries.values()))).encode())
    archive.add(f"{info}/WHEEL", ("Wheel-Version: 1.0\nGenerator: tools.packages\nRoot-Is-Purelib: false\n"
                                  f"Tag: {TAG}\n").encode())
    archive.add(f"{info}/top_level.txt", b"zelmor\nzelmor-stubs\n")
    scripts = "".join(f"{name} = {target}\n" for name, target in project.scripts.items())
    archive.add(f"{info}/entry_points.txt", f"[console_scripts]\n{scripts}".encode())
    archive.close(f"{info}/RECORD")
    return path
