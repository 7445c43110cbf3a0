"""The wheel: what it contains and says, and its life in an environment that pip has no network for."""

from __future__ import annotations

import base64
import hashlib
import re
import subprocess
import zipfile
from email.parser import Parser
from pathlib import Path

from tools.packages.project import read_project, source_date
from tools.packages.staging import MODULES
from tools.packages.wheel import TABLE, TAG, write_wheel

from packages.places import BUILD, CLEAN, COMMANDS, PYTHON, ROOT, SMOKE, run

INFO = f"{read_project().file_name}.dist-info"


def text(wheel: Path, name: str) -> str:
    """A file of the wheel."""
    with zipfile.ZipFile(wheel) as archive:
        return archive.read(name).decode()


def test_the_version_is_that_of_cmake(wheel: Path) -> None:
    version = re.search(r"VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text().split("project(")[1])
    assert version is not None
    assert wheel.name == f"zelmor_imaging-{version[1]}-{TAG}.whl"
    assert Parser().parsestr(text(wheel, f"{INFO}/METADATA"))["Version"] == version[1]
    assert f'"{version[1]}"' in text(wheel, "zelmor/_version.py")


def test_the_record_is_true_and_complete(wheel: Path) -> None:
    rows = [line.rsplit(",", 2) for line in text(wheel, f"{INFO}/RECORD").splitlines()]
    with zipfile.ZipFile(wheel) as archive:
        assert sorted(archive.namelist()) == sorted(row[0] for row in rows)
        for name, digest, size in rows:
            data = archive.read(name)
            if name == f"{INFO}/RECORD":
                assert (digest, size) == ("", "")
                continue
            sum = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).decode().rstrip("=")
            assert (digest, int(size)) == (f"sha256={sum}", len(data))


def test_a_wheel_of_the_same_state_is_the_same(wheel: Path, installed: Path, tmp_path: Path) -> None:
    """Also where the package was used, which leaves bytecode behind."""
    run(PYTHON, "-P", "-c", "import zelmor", folder=tmp_path, PYTHONPATH=str(installed / MODULES))
    assert (installed / MODULES / "zelmor" / "__pycache__").is_dir()
    assert write_wheel(read_project(), installed, tmp_path, source_date()).read_bytes() == wheel.read_bytes()


def test_pip_makes_the_same_of_the_tree(environment: Path, wheel: Path, tmp_path: Path) -> None:
    """Through the build backend, in an environment of pip's own, without an index; the build tree has all there is."""
    run(environment / "bin/pip", "wheel", "--no-index", "--no-deps", "--disable-pip-version-check", "--wheel-dir",
        tmp_path, "--config-settings", f"build-dir={BUILD}", ROOT, folder=tmp_path)
    assert (tmp_path / wheel.name).read_bytes() == wheel.read_bytes()


def test_system_libraries_are_named(wheel: Path, installed: Path) -> None:
    named = Parser().parsestr(text(wheel, f"{INFO}/METADATA")).get_all("Requires-External")
    assert named is not None and {"libvips42", "libcairo2", "libcdr-0.1-1", "libdjvulibre21", "libc6"} <= set(named)
    table = dict(line.split(" ") for line in text(wheel, str(TABLE)).splitlines())
    assert set(table.values()) <= set(named)
    # Every library that the dynamic linker finds for the runtime is in the table, or loaded with the modules already.
    runtime = installed / MODULES / TABLE.parent
    modules = subprocess.run(["ldd", *(installed / MODULES / "zelmor").glob("*.so")], check=True, text=True,
                             capture_output=True).stdout
    for file in runtime.iterdir():
        direct = subprocess.run(["objdump", "-p", file], check=True, text=True, capture_output=True).stdout
        for name in re.findall(r"NEEDED +(\S+)", direct):
            assert name in table or name in modules, (file.name, name)


def test_debian_has_the_named_packages(wheel: Path) -> None:
    table = [line.split(" ") for line in text(wheel, str(TABLE)).splitlines()]
    assert len(table) > 15
    files = {package: subprocess.run(["dpkg-query", "-L", package], check=True, text=True, capture_output=True).stdout
             for package in {package for _, package in table}}
    assert [name for name, package in table if f"/{name}\n" not in files[package]] == []


def test_an_environment_with_the_wheel(environment: Path, tmp_path: Path) -> None:
    """One test, since its parts follow each other: use, a conflict with nothing, removal."""
    python = environment / "bin/python"
    said = run(python, "-P", SMOKE, folder=tmp_path).splitlines()
    assert said[-1] == read_project().version
    assert said[-2] == str(environment / "lib/python3.11/site-packages/zelmor/__init__.py")

    listed = run(environment / "bin/pip", "--disable-pip-version-check", "show", "zelmor-imaging", folder=tmp_path)
    assert "Version: " + read_project().version in listed
    run(environment / "bin/pip", "--disable-pip-version-check", "check", folder=tmp_path)

    bin = f"{environment / 'bin'}:{CLEAN['PATH']}"
    assert f"zelmor {read_project().version}\n" in run(COMMANDS, "draws", folder=tmp_path, PATH=bin)
    assert (environment / "share/man/man1/zelmor.1").read_text().startswith(".TH ZELMOR 1")
    assert (environment / "share/bash-completion/completions/zelmor").stat().st_size > 0

    run(environment / "bin/pip", "--disable-pip-version-check", "uninstall", "-y", "zelmor-imaging", folder=tmp_path)
    left = [path for path in environment.rglob("*zelmor*") if "__pycache__" not in path.parts]
    assert left == []
    gone = subprocess.run([python, "-P", "-c", "import zelmor"], cwd=tmp_path, env=CLEAN, check=False, text=True,
                          capture_output=True)
    assert "No module named 'zelmor'" in gone.stderr
