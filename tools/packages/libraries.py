"""The system libraries that the shared objects and programs of the package are linked to, with their Debian packages.

A wheel cannot make the system install them, so it names them.
"""

from __future__ import annotations

import re
import subprocess
from collections.abc import Iterable
from pathlib import Path

from .project import PackagingError


def is_elf(path: Path) -> bool:
    """Whether the file is a shared object or a program."""
    with path.open("rb") as file:
        return file.read(4) == b"\x7fELF"


def needed(path: Path) -> set[str]:
    """The libraries that the dynamic linker loads for a file, by the names that the file has for them."""
    output = subprocess.run(["readelf", "-d", path], check=True, capture_output=True, text=True).stdout
    return set(re.findall(r"\(NEEDED\)\s+Shared library: \[(.+)\]", output))


def packages_of(libraries: Iterable[str]) -> dict[str, str]:
    """The Debian package of each library."""
    listing = subprocess.run(["/sbin/ldconfig", "-p"], check=True, capture_output=True, text=True).stdout
    # The linker takes the first of several that have the name.
    listed = re.findall(r"^\s+(\S+) \(libc6,x86-64\b.*\) => (\S+)$", listing, re.MULTILINE)
    paths = dict(reversed(listed))
    # The list may say /lib where the package has /usr/lib, or the other way round: both are one directory. So both are
    # asked for, and one of them is not found.
    wanted = {name: paths.get(name, name).removeprefix("/usr") for name in sorted(libraries)}
    output = subprocess.run(["dpkg-query", "-S", *wanted.values(), *(f"/usr{path}" for path in wanted.values())],
                            check=False, capture_output=True, text=True).stdout
    found = re.findall(r"^([^:,\s]+).*: (/\S+)$", output, re.MULTILINE)
    owners = {path.removeprefix("/usr"): package for package, path in found}
    for name, path in wanted.items():
        if path not in owners:
            raise PackagingError(f"no installed Debian package has the library {name}")
    return {name: owners[path] for name, path in wanted.items()}


def system_libraries(package: Path) -> tuple[dict[str, str], dict[str, str]]:
    """All system libraries of an installed package, and those that may be missing when it is used.

    Packages with libraries of the extension modules are left out of the second: without them nothing could be imported.
    """
    files = [path for path in sorted(package.rglob("*")) if path.is_file() and is_elf(path)]
    everything = set().union(*(needed(path) for path in files)) - {path.name for path in files}
    modules = set().union(*(needed(path) for path in files if path.parent == package))
    owners = packages_of(everything)
    present = {owners[name] for name in modules}
    return owners, {name: owner for name, owner in owners.items() if owner not in present}
