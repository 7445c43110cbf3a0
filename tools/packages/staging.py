"""Building the product, and installing it into a folder from which a package is made."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

from .project import ROOT, PackagingError

#: Where the modules lie below the folder (ZELMOR_INSTALL_DIR in CMakeLists.txt).
MODULES = Path("lib/python3/dist-packages")


def run(command: list[str | Path], folder: Path = ROOT, **variables: str) -> None:
    """Runs a program, whose output goes where that of this one goes."""
    # A make that runs this program has put its own targets and options there.
    environment = {name: value for name, value in os.environ.items() if name not in ("MAKEFLAGS", "MAKEOVERRIDES")}
    done = subprocess.run(command, cwd=folder, check=False, env={**environment, **variables})
    if done.returncode != 0:
        raise PackagingError(f"{' '.join(str(word) for word in command[:3])} ... failed")


def build_product(build: Path, jobs: int | None = None, root: Path = ROOT) -> None:
    """Builds what is missing in the build tree, which is made if there is none. Installs no Debian package."""
    options = [] if (build / "build.ninja").exists() else ["CMAKE_OPTIONS=-DZELMOR_BUILD_TESTS=OFF"]
    run(["make", "--no-print-directory", "-o", "setup-build", "product", f"BUILD={build}",
         f"JOBS={jobs or os.cpu_count() or 1}", *options], root)


def install_product(build: Path, prefix: Path) -> None:
    """Installs the product of a build tree below `prefix`, without debugging symbols."""
    done = subprocess.run(["cmake", "--install", build, "--strip", "--prefix", prefix], check=False, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if done.returncode != 0:
        raise PackagingError(f"cmake --install failed:\n{done.stdout}")
