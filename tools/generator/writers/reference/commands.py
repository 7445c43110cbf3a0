"""The command that writes the pages of the API reference."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from .pages import GUIDES, write_reference


def _reference(out: Path, guides: Path, catalogues: list[Path]) -> str:
    pages = write_reference([load(path) for path in catalogues], out, [guides / name for name in GUIDES])
    return f"reference: {pages} pages"


COMMANDS = (
    Command("reference", ("out", "guides", "catalogues..."), "write the pages of the API reference and the settings of "
            "mkdocs, with the guide pages of the folder GUIDES that they refer to", _reference),
)
