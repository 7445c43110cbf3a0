"""`cmake --install`: the installed package is that of the build tree, complete, stripped and free of its paths."""

from __future__ import annotations

import re
import subprocess
from pathlib import Path

from tools.packages.libraries import is_elf, needed
from tools.packages.project import read_version
from tools.packages.staging import MODULES

from packages.places import BUILD, PYTHON, ROOT, run


def contents(folder: Path) -> dict[str, bool]:
    """The files below a folder, and whether they can be executed."""
    return {str(path.relative_to(folder)): bool(path.stat().st_mode & 0o100) for path in folder.rglob("*")
            if path.is_file() and "__pycache__" not in path.parts}


def test_the_package_of_the_build_tree_is_installed(installed: Path) -> None:
    found = contents(installed / MODULES / "zelmor")
    # The build tree may have old files in Python; its shared objects and programs are those of CMake.
    binary = {name for name in contents(BUILD / "python" / "zelmor") if is_elf(BUILD / "python" / "zelmor" / name)}
    source = {name for name in contents(ROOT / "python" / "zelmor") if name.endswith((".py", "py.typed"))}
    assert set(found) == binary | source | {"_version.py", "_words.zip"}
    programs = {name: executable for name, executable in found.items() if Path(name).name.startswith("zelmor.embed.")}
    assert {Path(name).name for name in programs} == {
        "zelmor.embed.drawings", "zelmor.embed.postscript", "zelmor.embed.rehearsal"}
    assert all(programs.values())


def test_the_stubs_are_installed_beside_it(installed: Path) -> None:
    stubs = contents(installed / MODULES / "zelmor-stubs")
    assert set(stubs) == set(contents(BUILD / "python" / "zelmor-stubs"))
    assert "py.typed" in stubs and not any(stubs.values())


def test_nothing_else_is_installed(installed: Path) -> None:
    assert {path.name for path in installed.iterdir()} == {"bin", "lib", "share"}
    assert set(contents(installed / "bin")) == {"zelmor"}
    assert set(contents(installed / "share")) == {
        "man/man1/zelmor.1", "bash-completion/completions/zelmor", "zsh/vendor-completions/_zelmor",
        "fish/vendor_completions.d/zelmor.fish"}
    assert {path.name for path in (installed / MODULES).iterdir()} == {"zelmor", "zelmor-stubs"}


def test_shared_objects_are_stripped_and_have_no_path(installed: Path) -> None:
    files = [path for path in installed.rglob("*") if path.is_file() and is_elf(path)]
    assert len(files) > 15
    for file in files:
        sections = subprocess.run(["readelf", "-SdW", file], check=True, capture_output=True, text=True).stdout
        assert ".dynsym" in sections
        assert not [word for word in (".symtab", ".debug_info", "(RPATH)", "(RUNPATH)") if word in sections], file


def test_the_installed_tree_can_be_used(installed: Path, tmp_path: Path) -> None:
    said = run(PYTHON, "-P", "-B", "-c", "import zelmor; print(zelmor.__version__, zelmor.imaging.__file__)",
               folder=tmp_path, PYTHONPATH=str(installed / MODULES))
    assert str(installed) in said


def test_the_installed_command_finds_the_package(installed: Path, tmp_path: Path) -> None:
    """Below any prefix, also through a link, and with nothing set."""
    link = tmp_path / "zelmor"
    link.symlink_to(installed / "bin" / "zelmor")
    assert run(link, "--version", folder=tmp_path).strip() == f"zelmor {read_version()}"
    assert run(link, "doc", "zelmor.open", folder=tmp_path).startswith("zelmor.open: function")


def test_the_command_of_the_build_tree_uses_the_build_tree(tmp_path: Path) -> None:
    assert run(BUILD / "python" / "bin" / "zelmor", "--version", folder=tmp_path).strip() == f"zelmor {read_version()}"


def test_libraries_that_are_loaded_by_name_are_linked_to_elsewhere(installed: Path) -> None:
    """So the tables of dependencies, which are made of what is linked to, name them too; Ghostscript is recommended."""
    files = [path for path in (installed / MODULES / "zelmor").rglob("*") if path.is_file() and is_elf(path)]
    linked = set().union(*(needed(path) for path in files))
    named = {name.decode() for path in files
             for name in re.findall(rb"(?<=\0)lib[\w+.-]+\.so\.\d+(?=\0)", path.read_bytes())}
    assert {"libz.so.1", "libexpat.so.1", "libvips.so.42"} <= linked & named
    assert named - linked == {"libgs.so.10", "libgs.so.9"}
    control = (ROOT / "packaging" / "debian" / "control.in").read_text()
    assert " libgs10,\n" in control.split("Recommends:")[1].split("Suggests:")[0]
