"""The command that writes the site of the API reference."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from .site import write_site


def _reference(out: Path, docs: Path, examples: Path, catalogues: list[Path]) -> str:
    return f"reference: {write_site([load(path) for path in catalogues], out, docs, examples)} pages"


COMMANDS = (
    Command("reference", ("out", "docs", "examples", "catalogues..."),
            "write the pages of the site and the settings of mkdocs: the API reference, the guides and front page of "
            "the folder DOCS, the programs of the folder EXAMPLES on the pages of their types", _reference),
)
