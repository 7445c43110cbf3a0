"""Symbol visibility: each shared object exports only its entry points, so that modules share nothing by accident."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

import pytest

from support.places import BUILD_DIR
from support.startup_process import TEST_RUNTIME, WRAPPER

PACKAGE = BUILD_DIR / "python" / "zelmor"
RUNTIME = PACKAGE / "_runtime" / "netcore3.1"
MODULES = ["imaging", "pycore", "pydrawing", "pygc", "pyio", "pyreflection"]


def exports(library: Path) -> set[str]:
    """The dynamic symbols that a shared object defines."""
    listing = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
    return {line.split()[-1].split("@")[0] for line in listing.stdout.splitlines()}


@pytest.mark.parametrize("module", MODULES)
def test_module(module: str) -> None:
    (library,) = PACKAGE.rglob(f"{module}.cpython-*.so")
    assert exports(library) == {f"PyInit_{module}", "ZelmorDomainName"}


@pytest.mark.parametrize("directory", [RUNTIME, TEST_RUNTIME], ids=["product", "tests"])
def test_wrapper_library(directory: Path) -> None:
    assert exports(directory / WRAPPER) == {
        "coreclr_wrap_load",
        "coreclr_wrap_initialize",
        "coreclr_wrap_create_delegate",
        "coreclr_wrap_shutdown",
        "coreclr_wrap_is_domain_initialized",
    }


def test_embedded_runtime() -> None:
    assert exports(RUNTIME / "libcoreclr.so") == {
        "coreclr_initialize",
        "coreclr_create_delegate",
        "coreclr_shutdown",
        "coreclr_shutdown_2",
    }


def test_image_backend() -> None:
    assert exports(RUNTIME / "libzelmor.embed.imagework.so") == {"zelmor_imagework_backend"}


def test_drawing_backend() -> None:
    assert exports(RUNTIME / "libzelmor.embed.drawwork.so") == {"zelmor_drawwork_backend"}


def test_segmentation_backend() -> None:
    assert exports(RUNTIME / "libzelmor.embed.maskwork.so") == {"zelmor_maskwork_backend"}


def test_only_the_image_backend_is_linked_with_codecs() -> None:
    """An import loads the module, its siblings and the runtime, but no image libraries."""
    libraries = [*PACKAGE.rglob("*.cpython-*.so"), RUNTIME / "libcoreclr.so", RUNTIME / WRAPPER]
    for library in libraries:
        listing = subprocess.run(["readelf", "-d", library], capture_output=True, text=True, check=True)
        needed = [line for line in listing.stdout.splitlines() if "(NEEDED)" in line]
        assert needed
        others = ("vips", "jpeg", "png", "tiff", "webp", "lcms", "cairo", "pango")
        assert not any(name in line for line in needed for name in others)


@pytest.mark.skipif("ZELMOR_SANITIZED" in os.environ, reason="the sanitizers' build has checks of its own")
def test_hardened() -> None:
    """Every shared object is compiled with stack protection and with checks of the sizes that the compiler knows."""
    libraries = [*PACKAGE.rglob("*.cpython-*.so"), *RUNTIME.glob("*.so")]
    assert len(libraries) >= len(MODULES) + 4
    checked = 0
    for library in libraries:
        listing = subprocess.run(["nm", "-D", "--undefined-only", library], capture_output=True, text=True, check=True)
        needed = {line.split()[-1].split("@")[0] for line in listing.stdout.splitlines()}
        assert "__stack_chk_fail" in needed, library.name
        checked += any(name.endswith("_chk") for name in needed)
    assert checked > 0
