"""Makes packages of the project in a folder; prints the path of each (docs/packaging.md)."""

from __future__ import annotations

import argparse
import hashlib
import os
import sys
from collections.abc import Iterable
from pathlib import Path

from .backend import build_sdist, build_wheel
from .debian import build_debs
from .project import PackagingError, read_version
from .release import check_release

SUMS = "SHA256SUMS"


def main() -> int:
    parser = argparse.ArgumentParser(prog="tools.packages", description=__doc__)
    parser.add_argument("what", nargs="+", choices=("check-release", "wheel", "sdist", "deb", "sums", "version"),
                        help="check-release: fail unless the tree is a tagged state; sums: write SHA256SUMS")
    parser.add_argument("--build", type=Path, default=Path("build"), help="the build tree")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, help="compilers at a time")
    parser.add_argument("--out", type=Path, help="the folder (default: packages in the build tree)")
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    out = (arguments.out or build / "packages").resolve()
    try:
        for what in arguments.what:
            make(what, build, out, arguments.jobs)
    except PackagingError as error:
        print(f"packages: {error}", file=sys.stderr)
        return 1
    return 0


def make(what: str, build: Path, out: Path, jobs: int) -> None:
    """Makes one kind of packages."""
    if what == "check-release":
        check_release()
    elif what == "version":
        print(read_version())
    elif what == "wheel":
        remove(out.glob("*.whl"))
        print(out / build_wheel(str(out), {"build-dir": str(build), "jobs": str(jobs)}))
    elif what == "sdist":
        remove(out.glob("zelmor_imaging-*.tar.gz"))
        print(out / build_sdist(str(out)))
    elif what == "deb":
        for path in build_debs(out, build):
            print(path)
    else:
        print(write_sums(out))


def remove(old: Iterable[Path]) -> None:
    """Removes packages of other versions."""
    for path in list(old):
        path.unlink()


def write_sums(out: Path) -> Path:
    """Writes the checksums of all files in the folder, as sha256sum reads them."""
    files = sorted(path for path in out.iterdir() if path.is_file() and path.name != SUMS)
    sums = ((hashlib.sha256(path.read_bytes()).hexdigest(), path.name) for path in files)
    (out / SUMS).write_text("".join(f"{sum}  {name}\n" for sum, name in sums))
    return out / SUMS


if __name__ == "__main__":
    sys.exit(main())
