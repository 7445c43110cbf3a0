"""The command that writes the package of type stubs."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from .package import write_stubs


def _stubs(out: Path, handwritten: Path, catalogues: list[Path]) -> str:
    return f"stubs: {write_stubs([load(path) for path in catalogues], out, handwritten)} files"


COMMANDS = (
    Command("stubs", ("out", "handwritten", "catalogues..."), "write the stub package for all assemblies; types that "
            "no catalogue has stand in the folder HANDWRITTEN", _stubs),
)
