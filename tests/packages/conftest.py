"""An installed tree, a wheel and a virtual environment of the build tree, made once."""

from __future__ import annotations

import subprocess
from pathlib import Path

import pytest

from tools.packages.project import read_project, source_date
from tools.packages.staging import install_product
from tools.packages.wheel import write_wheel

from packages.places import BUILD, PYTHON, run


@pytest.fixture(scope="session")
def installed(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A prefix with the installed product."""
    prefix = tmp_path_factory.mktemp("installed")
    install_product(BUILD, prefix)
    return prefix


@pytest.fixture(scope="session")
def wheel(installed: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The wheel."""
    return write_wheel(read_project(), installed, tmp_path_factory.mktemp("wheel"), source_date())


@pytest.fixture(scope="session")
def environment(wheel: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A virtual environment with the wheel, installed by pip without a network."""
    if subprocess.run([PYTHON, "-c", "import ensurepip, venv"], check=False, capture_output=True).returncode != 0:
        pytest.skip("the Debian package python3-venv is not installed")
    folder = tmp_path_factory.mktemp("environment")
    run(PYTHON, "-m", "venv", folder, folder=folder)
    # No network is the least that can be had: no index, and proxies that nobody serves.
    run(folder / "bin/pip", "install", "--no-index", "--disable-pip-version-check", wheel, folder=folder,
        http_proxy="http://127.0.0.1:9", https_proxy="http://127.0.0.1:9")
    return folder
