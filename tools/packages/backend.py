"""The build backend that pip and `python3 -m build` call, as PEP 517 has it: wheels and source distributions by CMake.

Settings, given to pip as `--config-settings NAME=VALUE`:

    build-dir  the build tree; what is built there is not built again (default: build)
    jobs       compilers at a time (default: the number of processors)

It needs the Debian packages of packages.txt, purposes compile and build, and installs or downloads nothing.
"""

from __future__ import annotations

import tempfile
from collections.abc import Mapping
from pathlib import Path

from .project import ROOT, read_project, source_date
from .sdist import write_sdist
from .staging import build_product, install_product
from .wheel import write_wheel

Settings = Mapping[str, str] | None


def build_wheel(wheel_directory: str, config_settings: Settings = None, metadata_directory: str | None = None) -> str:
    """Builds a wheel into the directory; returns its file name."""
    settings = config_settings or {}
    build = Path(settings.get("build-dir", ROOT / "build")).resolve()
    build_product(build, int(settings["jobs"]) if "jobs" in settings else None)
    with tempfile.TemporaryDirectory() as installed:
        install_product(build, Path(installed))
        return write_wheel(read_project(), Path(installed), Path(wheel_directory), source_date()).name


def build_sdist(sdist_directory: str, config_settings: Settings = None) -> str:
    """Builds a source distribution into the directory; returns its file name."""
    return write_sdist(read_project(), Path(sdist_directory), source_date()).name
