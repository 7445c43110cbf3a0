"""The source distribution: complete, the same each time, and enough to configure the build and to make itself again.

That it compiles to a wheel is tested by `make test-packages`, since that compiles everything once more.
"""

from __future__ import annotations

import os
import re
import tarfile
import zipfile
from pathlib import Path

import pytest

from tools.packages.project import git, in_git, read_project, source_date, source_files
from tools.packages.sdist import write_sdist

from packages.places import PYTHON, ROOT, SMOKE, run


@pytest.fixture(scope="module")
def sdist(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The archive."""
    return write_sdist(read_project(), tmp_path_factory.mktemp("sdist"), source_date())


@pytest.fixture(scope="module")
def unpacked(sdist: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The tree in the archive."""
    folder = tmp_path_factory.mktemp("unpacked")
    with tarfile.open(sdist) as archive:
        archive.extractall(folder)
    assert [path.name for path in folder.iterdir()] == [read_project().file_name]
    return folder / read_project().file_name


def test_it_has_the_tracked_files_and_no_others(unpacked: Path) -> None:
    if not in_git():
        pytest.skip("the tree is not a clone")
    tracked = {name for name in git("ls-files", "-z").split("\0") if name and (ROOT / name).is_file()}
    found = {str(path.relative_to(unpacked)) for path in unpacked.rglob("*") if path.is_file()}
    assert found == tracked | {"PKG-INFO"}
    for name in tracked:
        assert (unpacked / name).read_bytes() == (ROOT / name).read_bytes()
        assert os.access(unpacked / name, os.X_OK) == os.access(ROOT / name, os.X_OK), name


def test_an_archive_made_of_itself_is_the_same(sdist: Path, unpacked: Path, tmp_path: Path) -> None:
    """By the backend in the archive, which has no git there."""
    (unpacked / "build").mkdir()
    (unpacked / "build" / "left over").touch()
    assert source_files(unpacked) == sorted(
        str(path.relative_to(unpacked)) for path in unpacked.rglob("*")
        if path.is_file() and path.name != "PKG-INFO" and "build" not in path.relative_to(unpacked).parts)
    run(PYTHON, "-B", "-c", f"from tools.packages.backend import build_sdist; build_sdist({str(tmp_path)!r})",
        folder=unpacked)
    assert (tmp_path / sdist.name).read_bytes() == sdist.read_bytes()


def test_the_build_finds_all_that_it_needs(unpacked: Path, tmp_path: Path) -> None:
    """CMake generates the code and the build, and each source of the product is there."""
    run("cmake", "-S", unpacked, "-B", tmp_path, "-G", "Ninja", "-DZELMOR_BUILD_TESTS=OFF", folder=tmp_path)
    inputs = [Path(tmp_path, line) for line in run("ninja", "-C", tmp_path, "-t", "inputs", "product",
                                                   folder=tmp_path).splitlines()]
    # Sources that are compiled together stand in one that includes them.
    included = [Path(name) for path in inputs if "Unity" in path.parts and path.is_file()
                for name in re.findall(r'^#include "(.*)"', path.read_text(), re.MULTILINE)]
    sources = [path for path in [*inputs, *included] if path.is_relative_to(unpacked)]
    assert len(sources) > 400
    assert [path for path in sources if not path.is_file()] == []


@pytest.mark.skipif("ZELMOR_PACKAGES" not in os.environ, reason="make test-packages compiles the source distribution")
def test_it_builds_to_the_same_wheel(environment: Path, unpacked: Path, wheel: Path, tmp_path: Path) -> None:
    run(environment / "bin/pip", "wheel", "--no-index", "--no-deps", "--disable-pip-version-check", "--wheel-dir",
        tmp_path, unpacked, folder=tmp_path)
    made = tmp_path / wheel.name
    with zipfile.ZipFile(made) as compiled, zipfile.ZipFile(wheel) as packed:
        assert sorted(compiled.namelist()) == sorted(packed.namelist())
        for name in packed.namelist():
            if not name.endswith((".so", "RECORD")) and "zelmor.embed." not in name:
                assert compiled.read(name) == packed.read(name), name
    run(environment / "bin/pip", "install", "--no-index", "--no-deps", "--disable-pip-version-check", "--target",
        tmp_path / "site", made, folder=tmp_path)
    said = run(PYTHON, "-P", "-B", SMOKE, folder=tmp_path, PYTHONPATH=str(tmp_path / "site")).splitlines()
    assert said[-2:] == [str(tmp_path / "site" / "zelmor" / "__init__.py"), read_project().version]
