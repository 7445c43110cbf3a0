"""Debian packages, made by Debian's own tools from the templates in packaging/debian.

The source distribution is the upstream archive. Beside its files, in the folder debian/, come the templates, of which
two are completed: the changelog, which has the version, and the control file, which has the packages of packages.txt
that a build needs.
"""

from __future__ import annotations

import os
import shutil
import tarfile
from datetime import UTC, datetime
from email.utils import format_datetime
from pathlib import Path

from .project import ROOT, Project, read_project, source_date
from .sdist import write_sdist
from .staging import run

SOURCE = "zelmor-imaging"
REVISION = "1"
#: Packages of the purposes "compile" and "build" that a build of the package does not need: g++ is in every Debian
#: build environment, ccache saves time where builds are repeated, and libgtest-dev is for the tests.
NOT_NEEDED = ("g++", "ccache", "libgtest-dev")


def packages_for(*purposes: str, root: Path = ROOT) -> list[str]:
    """The Debian packages that packages.txt lists under some purposes."""
    found, current = [], ""
    for line in (root / "packages.txt").read_text().splitlines():
        if line.startswith("# purpose: "):
            current = line.removeprefix("# purpose: ")
        elif line and not line.startswith("#") and current in purposes:
            found.append(line)
    return found


def maintainer() -> str:
    """The person who makes the packages, from the variables that Debian's tools read."""
    name = os.environ.get("DEBFULLNAME", "Developers of zelmor.imaging")
    return f"{name} <{os.environ.get('DEBEMAIL', 'zelmor-imaging@example.org')}>"


def complete(template: str, project: Project, date: int, root: Path = ROOT) -> str:
    """A file of debian/ with its values."""
    build = sorted(set(packages_for("compile", "build", root=root)) - set(NOT_NEEDED))
    values = {"VERSION": f"{project.version}-{REVISION}", "UPSTREAM_VERSION": project.version,
              "DATE": format_datetime(datetime.fromtimestamp(date, UTC)), "MAINTAINER": maintainer(),
              "BUILD_DEPENDS": ",\n ".join(build)}
    for name, value in values.items():
        template = template.replace(f"@{name}@", value)
    return template


def write_source(folder: Path, root: Path = ROOT) -> Path:
    """Lays out the source package in the folder; returns the source tree."""
    project, date = read_project(root), source_date(root)
    archive = write_sdist(project, folder, date, root)
    upstream = folder / f"{SOURCE}_{project.version}.orig.tar.gz"
    archive.rename(upstream)
    with tarfile.open(upstream) as packed:
        packed.extractall(folder)
    tree = folder / project.file_name
    shutil.copytree(tree / "packaging" / "debian", tree / "debian")
    for file in ("changelog", "control"):
        template = tree / "debian" / f"{file}.in"
        (tree / "debian" / file).write_text(complete(template.read_text(), project, date, root))
        template.unlink()
    return tree


def build_debs(out: Path, build: Path, root: Path = ROOT) -> list[Path]:
    """Makes the source package and the binary packages of what a build tree holds; lintian must find no error.

    Returns the binary packages.
    """
    work = build / "debian"
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    tree = write_source(work, root)
    run(["dpkg-source", "--build", tree], work)
    # -d: the build tree is there, and with it what its compilation needs.
    run(["dpkg-buildpackage", "--unsigned-source", "--unsigned-changes", "--build=binary", "-d"], tree,
        ZELMOR_BUILD=str(build), SOURCE_DATE_EPOCH=str(source_date(root)))
    shutil.rmtree(tree)
    run(["lintian", "--fail-on", "error", *sorted(work.glob("*.changes")), *sorted(work.glob("*.dsc"))], work)
    out.mkdir(parents=True, exist_ok=True)
    for old in [*out.glob("*.deb"), *out.glob(f"{SOURCE}_*")]:
        old.unlink()
    return [made for file in sorted(work.iterdir()) if file.is_file()
            for made in [Path(shutil.move(file, out / file.name))] if made.suffix == ".deb"]
