"""The command that writes the site of the API reference."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from .site import write_site


def _reference(out: Path, docs: Path, examples: Path, pictures: Path, catalogues: list[Path]) -> str:
    return f"reference: {write_site([load(path) for path in catalogues], out, docs, examples, pictures)} pages"


COMMANDS = (
    Command("reference", ("out", "docs", "examples", "pictures", "catalogues..."),
            "write the pages of the site and the settings of mkdocs: the API reference, the guides and other pages of "
            "the folder DOCS, the programs of the folder EXAMPLES, and from the folder PICTURES what these have "
            "made", _reference),
)
