"""The command that writes the tables of the embedded runtime."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from ..cpp_layout import laid_out
from ..text import write_if_changed
from .tables import Tables


def _runtime(out: Path, catalogues: list[Path]) -> str:
    write_if_changed(out, laid_out(Tables([load(path) for path in catalogues]).write()))
    return ""


COMMANDS = (
    Command("runtime", ("out", "catalogues..."), "write the tables of the embedded runtime for all assemblies",
            _runtime),
)
