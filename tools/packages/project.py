"""Facts about the project that packages state: its name, version, date and files."""

from __future__ import annotations

import os
import re
import subprocess
import tomllib
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


class PackagingError(Exception):
    """Something that keeps a package from being made, for the person who asked for it."""


@dataclass(frozen=True)
class Project:
    """What pyproject.toml and CMakeLists.txt say."""

    name: str
    version: str
    summary: str
    readme: Path
    requires_python: str
    extras: Mapping[str, Sequence[str]]
    scripts: Mapping[str, str]

    @property
    def file_name(self) -> str:
        """The name and version as they stand in names of wheels and source distributions."""
        return f"{re.sub('[-_.]+', '_', self.name)}-{self.version}"


def read_version(root: Path = ROOT) -> str:
    """The version of the product."""
    text = (root / "CMakeLists.txt").read_text()
    match = re.search(r"^project\(\s*\w+\s+VERSION\s+([\d.]+)", text, re.MULTILINE)
    if match is None:
        raise PackagingError("CMakeLists.txt has no project() with a version")
    return match[1]


def read_project(root: Path = ROOT) -> Project:
    """The project in a folder."""
    facts = tomllib.loads((root / "pyproject.toml").read_text())["project"]
    return Project(facts["name"], read_version(root), facts["description"], root / facts["readme"],
                   facts["requires-python"], facts["optional-dependencies"], facts["scripts"])


def git(*arguments: str, root: Path = ROOT) -> str:
    """The output of a git command in the project."""
    done = subprocess.run(["git", *arguments], cwd=root, check=False, capture_output=True, text=True)
    if done.returncode != 0:
        raise PackagingError(f"git {arguments[0]} failed: {done.stderr.strip()}")
    return done.stdout


def in_git(root: Path = ROOT) -> bool:
    """Whether the folder is a clone, and not an unpacked source distribution."""
    return (root / ".git").exists()


def source_date(root: Path = ROOT) -> int:
    """The time that packages carry, so that equal sources give equal packages, in seconds since 1970.

    SOURCE_DATE_EPOCH if it is set, else the time of the last commit. A source distribution has it as the time of its
    files.
    """
    given = os.environ.get("SOURCE_DATE_EPOCH")
    if given:
        return int(given)
    if in_git(root):
        return int(git("log", "-1", "--format=%ct", root=root))
    return int((root / "CMakeLists.txt").stat().st_mtime)


def source_files(root: Path = ROOT) -> list[str]:
    """The files that the project consists of: those that git tracks, or all of a source distribution."""
    if in_git(root):
        listed = git("ls-files", "-z", root=root).split("\0")
        return sorted(name for name in listed if name and (root / name).is_file())
    found = (path.relative_to(root) for path in root.rglob("*") if path.is_file())
    return sorted(str(path) for path in found if str(path) != "PKG-INFO" and not path.parts[0].startswith("build")
                  and "__pycache__" not in path.parts)
