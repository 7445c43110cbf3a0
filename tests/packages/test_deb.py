"""The Debian packages and the wheel in a clean Debian system: installed, used and removed (scenario.sh).

`make test-packages` makes the packages and runs this. It takes minutes and needs the network of apt.
"""

from __future__ import annotations

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

from tools.packages.libraries import is_elf, needed, packages_of
from tools.packages.project import read_version

from packages.clean_root import run_in_clean_root
from packages.places import COMMANDS, SMOKE

if "ZELMOR_PACKAGES" not in os.environ:
    pytest.skip("make test-packages makes the packages and runs these tests", allow_module_level=True)
if shutil.which("mmdebstrap") is None:
    pytest.skip("the Debian package mmdebstrap is not installed", allow_module_level=True)

MADE = Path(os.environ["ZELMOR_PACKAGES"])


@pytest.fixture(scope="module")
def steps(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The folder with the output of each step."""
    work = tmp_path_factory.mktemp("root")
    inputs = work / "packages"
    inputs.mkdir()
    for file in [*MADE.glob("*.deb"), *MADE.glob("*.whl"), SMOKE, COMMANDS]:
        shutil.copy(file, inputs)
    return run_in_clean_root(Path(__file__).with_name("scenario.sh"), inputs, work)


def said(steps: Path, name: str, code: int = 0) -> str:
    """The output of a step that ended with the code."""
    output = (steps / name).read_text()
    assert (steps / f"{name}.code").read_text().strip() == str(code), output
    return output


def test_the_packages_have_the_version() -> None:
    for name in MADE.glob("*.deb"):
        fields = subprocess.run(["dpkg-deb", "-f", name, "Version"], check=True, text=True, capture_output=True).stdout
        assert fields.strip().rpartition("-")[0] == read_version()


def test_the_packages_are_installed_and_used(steps: Path) -> None:
    said(steps, "install")
    for name in ("smoke", "user"):
        lines = said(steps, name).splitlines()
        assert lines[-2:] == ["/usr/lib/python3/dist-packages/zelmor/__init__.py", read_version()]
    # What is installed is what was packed; nothing writes there.
    assert said(steps, "verify") == ""


def test_the_command(steps: Path) -> None:
    output = said(steps, "command")
    assert f"zelmor {read_version()}\n" in output and "usage: zelmor" in output
    refusal, nothing = output.splitlines()[-2:]
    assert refusal.startswith("zelmor: a.eps: drawing PostScript needs Ghostscript's library (the Debian package "
                              "libgs10), which is not installed")
    assert nothing == "+ test ! -e d.png"


def test_the_command_draws_postscript_with_the_recommended_package(steps: Path) -> None:
    said(steps, "recommended")
    said(steps, "command-draws")


def test_the_package_depends_on_all_that_it_is_linked_to(tmp_path: Path) -> None:
    package, = MADE.glob("python3-zelmor-imaging_*.deb")
    subprocess.run(["dpkg-deb", "-x", package, tmp_path], check=True)
    files = [path for path in tmp_path.rglob("*") if path.is_file() and is_elf(path)]
    libraries = set().union(*(needed(path) for path in files)) - {path.name for path in files}
    fields = subprocess.run(["dpkg-deb", "-f", package, "Depends"], check=True, text=True, capture_output=True).stdout
    depends = {field.split()[0].removesuffix(":any") for field in fields.split(",")}
    assert depends == {*packages_of(libraries).values(), "python3"}


def test_the_documents(steps: Path) -> None:
    names = said(steps, "documents").split()
    assert {"README.md", "examples", "architecture.md", "package.md", "html"} <= set(names)


def test_nothing_is_left_behind(steps: Path) -> None:
    said(steps, "purge")
    assert said(steps, "left") == ""
    said(steps, "autoremove")
    assert said(steps, "after") == said(steps, "before")


def test_a_wheel_alone_says_what_it_lacks(steps: Path) -> None:
    said(steps, "venv")
    said(steps, "create")
    said(steps, "pip")
    error = said(steps, "wheel-alone", 1).splitlines()[-1]
    text = (r"RuntimeError: Proxy error\(DllNotFoundException\): The image library '.*' cannot be loaded: \S+: cannot "
            r"open shared object file: No such file or directory \(it is in the Debian package \S+; all system "
            r"libraries are installed by: apt-get install .*\blibvips42\b.*\)\.")
    assert re.fullmatch(text, error), error


def test_the_wheel_works_with_the_packages_that_it_asks_for(steps: Path) -> None:
    said(steps, "advice")
    assert said(steps, "wheel-complete").splitlines()[-1] == read_version()
    said(steps, "uninstall")
